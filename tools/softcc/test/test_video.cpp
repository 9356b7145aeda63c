// cc_data out of video: SEI in every NAL framing, emulation prevention,
// QuickTime caption samples, transport stream languages, the track
// inventory's field routing, and presentation order through a real muxer.
#include <gtest/gtest.h>

#include "cc_data.h"
#include "tracks.h"
#ifdef SOFTCC_WITH_AVFORMAT
#include "reader_av.h"
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}
#endif

using namespace softcc;
using Bytes = std::vector<uint8_t>;

namespace {

// A GA94 SEI message carrying one field-1 pair, with the NAL header of the
// codec.  The pair 00 00 is escaped as the encoder would (00 00 03 00) when
// `escape` asks for it.
Bytes sei_nal(VideoCodec codec, uint8_t b1, uint8_t b2)
{
    Bytes payload = {0xB5, 0x00, 0x31, 'G', 'A', '9', '4', 0x03, 0x42, 0xFF, 0xFC, b1, b2, 0xFA, 0x00, 0x00, 0xFF};
    Bytes nal = codec == VideoCodec::H264 ? Bytes{0x06} : Bytes{0x4E, 0x01};
    nal.insert(nal.end(), {0x04, (uint8_t)payload.size()});
    int zeros = 0;
    for (uint8_t b : payload) {
        if (zeros == 2 && b <= 3) {
            nal.push_back(3);
            zeros = 0;
        }
        nal.push_back(b);
        zeros = b == 0 ? zeros + 1 : 0;
    }
    nal.push_back(0x80);
    return nal;
}

// A picture's slice, long enough for a container's probe to see many packets.
Bytes picture_nal(VideoCodec codec)
{
    Bytes nal = codec == VideoCodec::H264 ? Bytes{0x65, 0x88, 0x80} : Bytes{0x26, 0x01, 0xAF};
    nal.resize(600, 0x11);
    return nal;
}

// An access unit: the SEI, a picture, then perhaps an SEI after the picture
// (in a sample of its own, which no reader may take for this picture's).
Bytes access_unit(VideoCodec codec, int length_size, uint8_t b1, bool sei_after = true)
{
    Bytes au;
    std::vector<Bytes> nals = {sei_nal(codec, b1, 0x00), picture_nal(codec)};
    if (sei_after)
        nals.push_back(sei_nal(codec, 0x7F, 0x7F));
    for (const Bytes &nal : nals) {
        if (length_size == 0)
            au.insert(au.end(), {0, 0, 0, 1});
        for (int i = length_size - 1; i >= 0; i--) au.push_back((uint8_t)(nal.size() >> (8 * i)));
        au.insert(au.end(), nal.begin(), nal.end());
    }
    return au;
}

}  // namespace

TEST(Video, SeiInEveryFramingYieldsTheUnescapedTripletsBeforeThePicture)
{
    const Bytes expected = {0xFC, 0xC1, 0x00, 0xFA, 0x00, 0x00};
    for (VideoCodec codec : {VideoCodec::H264, VideoCodec::Hevc})
        for (int length_size : {0, 1, 2, 4}) {
            Bytes cc;
            Bytes au = access_unit(codec, length_size, 0xC1);
            EXPECT_EQ(sei_triplets(codec, au.data(), au.size(), length_size, cc), "");
            EXPECT_EQ(cc, expected) << "codec " << (int)codec << " length size " << length_size;
        }
    // cc_count past the end of the message: the triplets that are there, and a warning.
    Bytes cut = {0, 0, 1, 0x06, 0x04, 0x0D, 0xB5, 0x00, 0x31, 'G', 'A', '9', '4', 0x03, 0x45, 0xFF, 0xFC, 0x94, 0x20};
    Bytes cc;
    EXPECT_NE(sei_triplets(VideoCodec::H264, cut.data(), cut.size(), 0, cc).find("cc_count 5"), std::string::npos);
    EXPECT_EQ(cc, (Bytes{0xFC, 0x94, 0x20}));
    // A length that runs past the sample.
    Bytes longer = {0, 0, 0, 0x40, 0x06};
    EXPECT_NE(sei_triplets(VideoCodec::H264, longer.data(), longer.size(), 4, cc), "");
}

TEST(Video, LengthSizeComesFromTheDecoderConfiguration)
{
    Bytes avcc = {1, 0x64, 0, 0x1F, 0xFD};  // lengthSizeMinusOne 1
    Bytes hvcc(23, 0);
    hvcc[0] = 1;
    hvcc[21] = 0x0F;  // lengthSizeMinusOne 3
    EXPECT_EQ(nal_length_size(VideoCodec::H264, avcc.data(), avcc.size()), 2);
    EXPECT_EQ(nal_length_size(VideoCodec::Hevc, hvcc.data(), hvcc.size()), 4);
    Bytes annex_b = {0, 0, 0, 1, 0x67};
    EXPECT_EQ(nal_length_size(VideoCodec::H264, annex_b.data(), annex_b.size()), 0);
}

TEST(Video, QuickTimeAtomsGiveFieldOneAndFieldTwoPairsAndCdps)
{
    Bytes sample = {0, 0, 0, 12, 'c', 'd', 'a', 't', 0x94, 0x20, 0x94, 0x20, 0, 0, 0, 10, 'c', 'd', 't', '2', 0x15, 0x2A};
    Bytes cc;
    EXPECT_EQ(quicktime_triplets(sample.data(), sample.size(), cc), "");
    EXPECT_EQ(cc, (Bytes{0xFC, 0x94, 0x20, 0xFC, 0x94, 0x20, 0xFD, 0x15, 0x2A}));
    sample[3] = 200;  // an atom longer than the sample
    EXPECT_NE(quicktime_triplets(sample.data(), sample.size(), cc), "");
}

TEST(Video, TransportStreamLanguagesComeFromTheCaptionServiceDescriptor)
{
    // PAT naming PMT PID 0x100; PMT with one H.264 stream whose 0x86 descriptor names CC3 (line 21
    // field 2) in French and DTVCC service 2 in Spanish.
    Bytes ts = {0x47, 0x40, 0x00, 0x10, 0x00, 0x00, 0xB0, 0x0D, 0, 1, 0xC1, 0, 0, 0, 1, 0xE1, 0x00, 0, 0, 0, 0};
    ts.resize(188, 0xFF);
    Bytes pmt = {0x47, 0x41, 0x00, 0x10, 0x00, 0x02, 0xB0, 0x25, 0, 1, 0xC1, 0, 0, 0xE1, 0x01, 0xF0, 0x00,
                 0x1B, 0xE1, 0x01, 0xF0, 0x0F, 0x86, 0x0D, 0xC2, 'f', 'r', 'a', 0x41, 0xFF, 0xFF,
                 's', 'p', 'a', 0x82, 0xFF, 0xFF, 0, 0, 0, 0};
    pmt.resize(188, 0xFF);
    ts.insert(ts.end(), pmt.begin(), pmt.end());
    auto languages = ts_caption_languages(ts.data(), ts.size());
    EXPECT_EQ(languages, (std::map<std::string, std::string>{{"CC3", "fra"}, {"2", "spa"}}));
}

TEST(Tracks, PairsGoToTheChannelModeAndFieldTheirControlCodesChose)
{
    Stream s;
    CcStage stage(s);
    const struct { double time; Channel field; uint8_t b1, b2; } pairs[] = {
        {0, Channel::Field1, 0x14, 0x20}, {1, Channel::Field1, 0xC1, 0xC2},  // CC1
        {2, Channel::Field2, 0x1C, 0x2A}, {3, Channel::Field2, 0xC1, 0x80},  // T4: channel 2, text restart
        {4, Channel::Field2, 0x01, 0x03}, {5, Channel::Field2, 0xC1, 0xC1},  // XDS start and its data
        {6, Channel::Field2, 0x0F, 0x1B}, {7, Channel::Field2, 0x15, 0x25},  // XDS end; CC3 roll-up
        {8, Channel::Field2, 0xC1, 0x80}, {9, Channel::Field1, 0x80, 0x80},  // CC3 text; null pair
    };
    for (const auto &p : pairs) stage.pair(p.time, p.field, p.b1, p.b2);
    const uint8_t packet[] = {0x02, 0xE2, 0x05, 0x41, 0x00};  // extended header: service 5
    s.add(10, Channel::Dtvcc, packet, sizeof packet);
    std::string found;
    for (const TrackData &t : tracks_present(s))
        found += track_name(t.track) + "@" + std::to_string((int)t.first) + "-" + std::to_string((int)t.last) + " ";
    EXPECT_EQ(found, "CC1@0-1 CC3@7-8 T4@2-3 XDS@4-6 5@10-10 ");
}

#ifdef SOFTCC_WITH_AVFORMAT
namespace {

struct Packet {
    int64_t pts, dts;  // in 90 kHz
    Bytes data;
};

// Writes one video stream of the given packets with libavformat's own muxer.
Bytes mux(const char *format, AVCodecID codec, const Bytes &extradata, const std::vector<Packet> &packets)
{
    AVFormatContext *f = nullptr;
    avformat_alloc_output_context2(&f, nullptr, format, nullptr);
    AVStream *st = avformat_new_stream(f, nullptr);
    st->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    st->codecpar->codec_id = codec;
    st->codecpar->width = st->codecpar->height = 64;
    st->codecpar->extradata = (uint8_t *)av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    std::copy(extradata.begin(), extradata.end(), st->codecpar->extradata);
    st->codecpar->extradata_size = (int)extradata.size();
    st->time_base = {1, 90000};
    EXPECT_GE(avio_open_dyn_buf(&f->pb), 0);
    EXPECT_GE(avformat_write_header(f, nullptr), 0);
    for (const Packet &p : packets) {
        AVPacket *pkt = av_packet_alloc();
        av_new_packet(pkt, (int)p.data.size());
        std::copy(p.data.begin(), p.data.end(), pkt->data);
        pkt->pts = av_rescale_q(p.pts, {1, 90000}, st->time_base);
        pkt->dts = av_rescale_q(p.dts, {1, 90000}, st->time_base);
        pkt->duration = av_rescale_q(3000, {1, 90000}, st->time_base);
        pkt->flags = &p == &packets[0] ? AV_PKT_FLAG_KEY : 0;
        EXPECT_GE(av_write_frame(f, pkt), 0);
        av_packet_free(&pkt);
    }
    av_write_trailer(f);
    uint8_t *buffer = nullptr;
    int n = avio_close_dyn_buf(f->pb, &buffer);
    Bytes out(buffer, buffer + n);
    av_free(buffer);
    avformat_free_context(f);
    return out;
}

}  // namespace

// An MPEG-2 picture of coding type 1 (I), 2 (P) or 3 (B): sequence header,
// picture header, GA94 user data with one field-1 pair, a slice.  Larger than
// a program stream pack, so that each picture starts a PES packet of its own
// with its time stamp, as real pictures do.
Bytes mpeg2_picture(int temporal_reference, int type, uint8_t b1)
{
    Bytes p = {0, 0, 1, 0xB3, 0x04, 0x00, 0x40, 0x14, 0xFF, 0xFF, 0xE0, 0x18, 0, 0, 1, 0x00,
               (uint8_t)(temporal_reference >> 2), (uint8_t)(temporal_reference << 6 | type << 3), 0xFF, 0xF8,
               0, 0, 1, 0xB2, 'G', 'A', '9', '4', 3, 0x41, 0xFF, 0xFC, b1, 0x80, 0xFF, 0, 0, 1, 0x01};
    p.resize(5000, 0x11);
    return p;
}

TEST(Containers, CaptionsFollowPresentationTimeInEveryContainerAndCodec)
{
    // Decode order I0 P3 B1 B2, each picture carrying one letter; shown A B C D.
    const uint8_t letters[] = {'A', 'D', 'B', 'C'};
    const int64_t shown[] = {0, 3, 1, 2};
    const int types[] = {1, 2, 3, 3};
    Bytes avcc = {1, 0x64, 0, 0x1F, 0xFD, 0xE0, 0x00};  // lengthSizeMinusOne 1, no parameter sets
    const struct { const char *format; AVCodecID codec; int length_size; } cases[] = {
        {"mpegts", AV_CODEC_ID_H264, 0}, {"mp4", AV_CODEC_ID_H264, 2}, {"matroska", AV_CODEC_ID_H264, 2},
        {"mpegts", AV_CODEC_ID_MPEG2VIDEO, 0}, {"vob", AV_CODEC_ID_MPEG2VIDEO, 0},  // MPEG-2 in TS and PS
    };
    for (const auto &c : cases) {
        std::string name = std::string(c.format) + " " + avcodec_get_name(c.codec);
        std::vector<Packet> packets;
        for (int i = 0; i < 4; i++)
            packets.push_back({9000 + shown[i] * 3000, 6000 + i * 3000,
                               c.codec == AV_CODEC_ID_H264 ? access_unit(VideoCodec::H264, c.length_size, letters[i], false)
                                                           : mpeg2_picture((int)shown[i], types[i], letters[i])});
        Bytes file = mux(c.format, c.codec, c.length_size ? avcc : Bytes{}, packets);
        Input in = Input::from_bytes("test", file);
        Stream s;
        std::string error;
        ASSERT_TRUE(av_reader().probe(in)) << name;
        ASSERT_TRUE(av_reader().read(in, s, error)) << error;
        std::string text;
        for (const Chunk &chunk : s.chunks)
            if (chunk.channel == Channel::Field1) {
                text += (char)(s.bytes(chunk)[0] & 0x7F);
                EXPECT_NEAR(chunk.time, (text.size() - 1) / 30.0, 1e-3) << name;  // Matroska counts milliseconds
            }
        EXPECT_EQ(text, "ABCD") << name;
    }
}
#endif
