#include <gtest/gtest.h>

#include "readers.h"
#include "text_formats.h"

using namespace softcc;

namespace {

std::vector<uint8_t> pair_at(const Stream &s, size_t i) { return s.bytes_of(i); }

}  // namespace

TEST(Timecode, DropFrameSkipsTwoFramesPerMinuteExceptTenth)
{
    EXPECT_EQ(timecode_frames(0, 0, 59, 29, 30, true), 1799);
    EXPECT_EQ(timecode_frames(0, 1, 0, 2, 30, true), 1800);
    EXPECT_EQ(timecode_frames(0, 10, 0, 0, 30, true), 17982);
    EXPECT_EQ(timecode_frames(1, 0, 0, 0, 30, true), 107892);
    EXPECT_EQ(timecode_frames(0, 1, 0, 0, 30, false), 1800);
}

TEST(Scc, PairsGoOutOnePerFrameWithNullsBetweenLines)
{
    Stream s;
    std::string error;
    ASSERT_TRUE(read_scc("Scenarist_SCC V1.0\r\n\r\n00:00:00:02\t9420 9420\r\n\r\n00:00:00;05 c1c2\r\n", s, error));
    ASSERT_EQ(s.chunks.size(), 6u);
    EXPECT_EQ(pair_at(s, 0), (std::vector<uint8_t>{0x80, 0x80}));
    EXPECT_EQ(pair_at(s, 2), (std::vector<uint8_t>{0x94, 0x20}));
    EXPECT_EQ(pair_at(s, 4), (std::vector<uint8_t>{0x80, 0x80}));
    EXPECT_EQ(pair_at(s, 5), (std::vector<uint8_t>{0xC1, 0xC2}));
    EXPECT_NEAR(s.chunks[5].time, 5 * 1001.0 / 30000.0, 1e-9);
    EXPECT_TRUE(s.has_608);
    EXPECT_TRUE(s.warnings.empty());
    // Pairs that run past the next line's timecode push that line later, never back.
    Stream over;
    ASSERT_TRUE(read_scc("Scenarist_SCC V1.0\n00:00:00:00 9420 9420 9420\n00:00:00:01 c1c1\n", over, error));
    ASSERT_EQ(over.chunks.size(), 4u);
    EXPECT_NEAR(over.chunks[3].time, 3 * 1001.0 / 30000.0, 1e-9);
}

// A timecode that names no frame is read as the frame count it spells: its line's pairs are kept.
TEST(Scc, DamageWarnsWithLineAndDecodingContinues)
{
    Stream s;
    std::string error;
    ASSERT_TRUE(read_scc("Scenarist_SCC V1.0\n\n00:00:00:00 94zz c1c1\n00:00:01:45 c2c2\nrubbish\n00:08:00;00 9420\n"
                         "00:00:10:00 9421\n00:61:00:00 9422\n", s, error));
    std::vector<std::string> where;
    for (const Warning &w : s.warnings) where.push_back(w.at + " " + w.message.substr(0, 24));
    EXPECT_EQ(where, (std::vector<std::string>{"3 malformed hex word '94zz", "4 timecode 00:00:01:45 nam",
                                               "5 line does not start with", "6 timecode 00:08:00;00 nam",
                                               "8 impossible timecode"}));
    EXPECT_NE(s.warnings[1].message.find("read as frame 75"), std::string::npos);
    EXPECT_EQ(pair_at(s, 75), (std::vector<uint8_t>{0xC2, 0xC2}));
    EXPECT_EQ(pair_at(s, 14384), (std::vector<uint8_t>{0x94, 0x20}));  // 8 minutes of drop-frame
    EXPECT_EQ(pair_at(s, 14385), (std::vector<uint8_t>{0x94, 0x21}));  // pushed later, never back
    EXPECT_EQ(s.chunks.size(), 14386u);
}

TEST(Mcc, ExtractsFieldPairsAndDtvccPacketsFromCdp)
{
    // ANC 61 01, count, CDP (96 69 len rate flags seq; 72 E4 and four triplets: field 1, field 2,
    // a DTVCC start of size code 2 and its continuation; footer 74 seq sum), ANC checksum.
    std::string hex = "T19S194F43000172E4FC9420FD152CFF0221FE8C01740001EF7B";
    Stream s;
    std::string error;
    ASSERT_TRUE(read_mcc("File Format=MacCaption_MCC V2.0\n\nTime Code Rate=30DF\n\n00:00:01;00\t" + hex + "\n", s,
                         error))
        << error;
    EXPECT_TRUE(s.warnings.empty()) << s.warnings[0].message;
    ASSERT_EQ(s.chunks.size(), 3u);
    EXPECT_EQ(s.chunks[0].channel, Channel::Field1);
    EXPECT_EQ(s.chunks[1].channel, Channel::Field2);
    EXPECT_EQ(s.chunks[2].channel, Channel::Dtvcc);
    EXPECT_EQ(s.bytes_of(2), (std::vector<uint8_t>{0x02, 0x21, 0x8C, 0x01}));
    EXPECT_NEAR(s.chunks[0].time, 30 * 1001.0 / 30000.0, 1e-9);
}

TEST(Mcc, ShortPacketIsCompletedWithZerosAndInvalidTripletsCarryNothing)
{
    // Two CDPs with a broken checksum and a wrong length on purpose: both warn,
    // yet the packets still come out.
    std::string first = "T0FS0F4F4300017282FF0421FA0000";  // start, size 8; then an invalid triplet
    std::string second = "T0FS0F4F4300027282FF0221FE8C01";
    Stream s;
    std::string error;
    ASSERT_TRUE(read_mcc("File Format=MacCaption_MCC V1.0\nTime Code Rate=24\n00:00:00:00\t" + first +
                             "00\n00:00:00:01\t" + second + "00\n",
                         s, error));
    // Each frame's bytes go out at its time; the zeros complete the first
    // packet when the second starts.
    ASSERT_EQ(s.chunks.size(), 3u);
    EXPECT_EQ(s.bytes_of(0), (std::vector<uint8_t>{0x04, 0x21}));
    EXPECT_EQ(s.bytes_of(1), (std::vector<uint8_t>(6, 0)));
    EXPECT_FALSE(s.chunks[1].packet_start);
    EXPECT_EQ(s.bytes_of(2), (std::vector<uint8_t>{0x02, 0x21, 0x8C, 0x01}));
    EXPECT_TRUE(s.chunks[2].packet_start);
    EXPECT_NEAR(s.chunks[1].time, 1.0 / 24, 1e-9);
    bool cut_short = false;
    for (const Warning &w : s.warnings) cut_short |= w.message.find("cut short") != std::string::npos;
    EXPECT_TRUE(cut_short);
}

TEST(Readers, MalformedHexWarnsAndOtherFormatsAreRefused)
{
    Stream s;
    std::string error;
    ASSERT_TRUE(read_mcc("File Format=MacCaption_MCC V1.0\nTime Code Rate=30\n00:00:00:00\tT0Xq\n", s, error));
    ASSERT_EQ(s.warnings.size(), 1u);
    EXPECT_EQ(s.warnings[0].at, "3");
    // A file of another format is refused whole, with a reason.
    EXPECT_FALSE(read_mcc("Scenarist_SCC V1.0\n", s, error));
    error.clear();
    EXPECT_FALSE(read_scc("00:00:00:00 9420\n", s, error));
    EXPECT_FALSE(error.empty());
}

TEST(Raw, Dtvcc708SplitsPacketsBySizeCode)
{
    Stream s;
    read_raw_708({0x02, 0x21, 0x8C, 0x01, 0x41, 0x21}, s);
    ASSERT_EQ(s.chunks.size(), 2u);
    EXPECT_EQ(s.chunks[1].size, 2u);
}

TEST(Mpeg2, CaptionsFollowPresentationOrderAcrossGroupsOfPictures)
{
    // Sequence header at 25 fps; a group cut before its picture 0 (references 2, 1), then a new group (0).
    std::vector<uint8_t> es = {0, 0, 1, 0xB3, 0x16, 0x01, 0x20, 0x13, 0, 0, 1, 0xB8, 0, 0, 0, 0};
    auto picture = [&](int temporal_reference, uint8_t b1) {
        es.insert(es.end(), {0, 0, 1, 0x00, (uint8_t)(temporal_reference >> 2), (uint8_t)(temporal_reference << 6),
                             0, 0, 1, 0xB2, 'G', 'A', '9', '4', 3, 0x42, 0xFF, 0xFC, b1, 0x80, 0xFA, 0, 0});
    };
    picture(2, 0xC2);
    picture(1, 0xC1);
    es.insert(es.end(), {0, 0, 1, 0xB8, 0, 0, 0, 0});
    picture(0, 0xC3);
    Stream s;
    std::string error;
    ASSERT_TRUE(read_mpeg2_es(es, s, error)) << error;
    ASSERT_EQ(s.chunks.size(), 3u);
    EXPECT_EQ(pair_at(s, 0)[0], 0xC1);
    EXPECT_DOUBLE_EQ(s.chunks[0].time, 1 / 25.0);
    EXPECT_EQ(pair_at(s, 1)[0], 0xC2);
    EXPECT_EQ(pair_at(s, 2)[0], 0xC3);
    EXPECT_DOUBLE_EQ(s.chunks[2].time, 3 / 25.0);  // the first group ends after reference 2
    EXPECT_FALSE(read_mpeg2_es({0, 0, 1, 0xB2}, s, error));
}

// Without libavformat, a container is known by its first bytes and refused in one line.
TEST(ContainerRefusal, KnowsTheCommonContainersByTheirFirstBytes)
{
    auto ts = std::vector<uint8_t>(376, 0);
    ts[0] = ts[188] = 0x47;
    const std::pair<std::vector<uint8_t>, const char *> heads[] = {
        {ts, "an MPEG transport stream"},
        {{0, 0, 1, 0xBA, 0x44}, "an MPEG program stream"},
        {{0, 0, 0, 24, 'f', 't', 'y', 'p', 'i', 's', 'o', 'm'}, "an MP4 or QuickTime file"},
        {{0x1A, 0x45, 0xDF, 0xA3, 0x9F}, "a Matroska file"},
        {{0x47, 1, 2}, "an MPEG transport stream"},  // too short for a second sync byte
        {{'S', 'c', 'e', 'n'}, nullptr},
        {{0, 0, 1, 0xB3}, nullptr},
    };
    Reader refusal = container_refusal();
    for (const auto &[bytes, kind] : heads) {
        Input in = Input::from_bytes("x", bytes);
        Stream s;
        std::string error;
        EXPECT_EQ(refusal.probe(in), kind != nullptr) << (kind ? kind : "not a container");
        EXPECT_FALSE(refusal.read(in, s, error));
        if (kind)
            EXPECT_EQ(error.rfind(std::string(kind) + ": video containers need the native softcc", 0), 0u) << error;
    }
}
