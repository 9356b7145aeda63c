// Input split anywhere: both decoders carry every count from one call to the
// next, so a stream handed over in two pieces cut at any byte, or a byte per
// call, gives the host exactly what one call gives.
#include "context_fixture.h"

#include <algorithm>
#include <numeric>
#include <sstream>

using test_host::describe;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

template <typename T> void append_bytes(std::string &out, const T &value)
{
    out.append(reinterpret_cast<const char *>(&value), sizeof value);
}

// One line per callback and one per report: what it shows, then the bytes
// of every record handed over (pointers left out), compared but not printed.
std::vector<std::string> transcript(const test_host::RecordingHost &host)
{
    std::vector<std::string> out;
    for (const test_host::Event &e : host.events) {
        std::string shown = e.name + " " + std::to_string(e.milliseconds);
        std::string bytes(e.bytes.begin(), e.bytes.end());
        for (const test_host::WindowView &w : e.windows) {
            CaptionWindow record = w.record;
            record.segments = record.current_segment = nullptr, record.next = nullptr;
            shown += " [" + std::to_string(record.id) + " " + describe(w.segments) + "]";
            append_bytes(bytes, record);
            for (const test_host::SegmentView &s : w.segments) {
                append_bytes(bytes, s.pen);
                append_bytes(bytes, s.caption_mode);
                append_bytes(bytes, s.no_merge);
            }
        }
        out.push_back(shown + '\n' + bytes);
    }
    for (const fake_platform::Report &r : fake_platform::reports())
        out.push_back("report " + std::to_string(r.level) + " " + std::to_string(r.status) + " " +
                      r.path + ":" + std::to_string(r.line) + " " + r.message);
    return out;
}

// Decodes the stream in calls that end at the cuts, fires an alarm still
// armed at the end, and closes.  A refusing host fails the callbacks whose
// failures the decoders report.
std::vector<std::string> decode(uint32_t format, uint32_t service, const Bytes &stream,
                                const std::vector<size_t> &cuts, bool refusing)
{
    fake_platform::reset(); // no allocation fails, no report left over
    test_host::RecordingHost host;
    for (const char *name : {"refresh", "scroll", "delete", "cancel_alarm", "xds"})
        host.fail(name, refusing ? SOFTCC_ERR_NO_MEMORY : SOFTCC_OK);
    SoftCCOpenProfile profile = host.profile(format, service);
    SoftCCContext *context = nullptr;
    EXPECT_EQ(VQSoftCCOpen(&profile, &context), SOFTCC_OK);
    size_t at = 0;
    for (size_t end : cuts) {
        EXPECT_EQ(VQSoftCCDecode(context, stream.data() + at, uint32_t(end - at)), SOFTCC_OK);
        at = end;
    }
    EXPECT_EQ(VQSoftCCDecode(context, stream.data() + at, uint32_t(stream.size() - at)), SOFTCC_OK);
    if (host.alarm != nullptr)
        host.alarm(host.alarm_context);
    host.succeed("delete"); // a refused delete at close would keep the runs
    VQSoftCCClose(context);
    return transcript(host);
}

std::string first_difference(const std::vector<std::string> &a, const std::vector<std::string> &whole)
{
    auto [x, y] = std::mismatch(a.begin(), a.end(), whole.begin(), whole.end());
    auto shown = [](auto at, auto end) { return at == end ? "(none)" : at->substr(0, at->find('\n')); };
    if (x == a.end() && y == whole.end())
        return "";
    return "line " + std::to_string(x - a.begin()) + ": " + shown(x, a.end()) +
           "\n  whole: " + shown(y, whole.end());
}

void expect_any_split_alike(uint32_t format, uint32_t service, bool refusing, const Bytes &stream)
{
    const auto whole = decode(format, service, stream, {}, refusing);
    ASSERT_GT(whole.size(), 3u) << "nothing but open and close on service " << service;
    std::vector<std::vector<size_t>> plans(1, std::vector<size_t>(stream.size() - 1));
    std::iota(plans[0].begin(), plans[0].end(), 1); // a byte per call
    for (size_t cut = 1; cut < stream.size(); ++cut)
        plans.push_back({cut});
    for (const std::vector<size_t> &cuts : plans) {
        std::string difference = first_difference(decode(format, service, stream, cuts, refusing), whole);
        if (!difference.empty()) {
            ADD_FAILURE() << (cuts.size() == 1 ? "cut at " + std::to_string(cuts[0]) : "a byte per call")
                          << ", service " << service << (refusing ? ", refusing host: " : ": ") << difference;
            return;
        }
    }
}

// Line-21 pairs from words: "^1420" a control code sent twice as broadcast,
// "=1137" a pair sent once (both get odd parity), "!0000" raw bytes, anything
// else text with '_' for space.
Bytes line21(const std::string &words)
{
    auto odd = [](unsigned b) { return uint8_t(__builtin_parity(b) ? b : b | 0x80); };
    Bytes out;
    std::istringstream in(words);
    for (std::string w; in >> w;) {
        unsigned v = w[0] == '^' || w[0] == '=' || w[0] == '!' ? std::stoul(w.substr(1), nullptr, 16) : 0;
        if (w[0] == '!')
            out = out + Bytes{uint8_t(v >> 8), uint8_t(v)};
        else if (w[0] == '^' || w[0] == '=')
            for (int i = w[0] == '^' ? 2 : 1; i > 0; --i)
                out = out + Bytes{odd(v >> 8), odd(v & 0x7F)};
        else
            for (size_t i = 0; i < w.size(); i += 2)
                out = out + Bytes{odd(w[i] == '_' ? ' ' : w[i]),
                                  odd(i + 1 < w.size() ? (w[i + 1] == '_' ? ' ' : w[i + 1]) : 0)};
    }
    return out;
}

// Service data in DTVCC packets that cut codes anywhere: each packet holds a
// block of service 1, one of service 2, the same block as extended service
// 10, now and then empty blocks, and a null block with padding; the third
// packet is a 128-byte one.
Bytes dtvcc(int &sequence, const Bytes &codes)
{
    Bytes out;
    for (size_t at = 0, packet = 0; at < codes.size(); ++packet) {
        size_t n = std::min(codes.size() - at, 4 + packet % 6);
        const Bytes chunk(codes.begin() + at, codes.begin() + at + n);
        at += n;
        Bytes body = Bytes{uint8_t(0x20 | n)} + chunk + Bytes{0x43, 'x', 'y', 'z'} +
                     Bytes{uint8_t(0xE0 | n), 0x0A} + chunk +
                     (packet % 2 ? Bytes{0xE0, 0x0B, 0x05} : Bytes{}) + Bytes{0x00};
        size_t size = packet == 2 ? 128 : (body.size() + 1 + packet % 3 * 2 + 1) / 2 * 2;
        body.resize(size - 1, 0x00);
        out = out + Bytes{uint8_t(sequence << 6 | (size / 2 & 0x3F))} + body;
        sequence = (sequence + 1) & 3;
    }
    return out;
}

TEST(SplitInput, Eia608PairsAnywhere)
{
    const Bytes stream = line21(
        "^1420 ^142E ^1470 Pop-on =0000 ^112E caption =1137 ^142F =0000 =0000 "
        "^1425 ^142D ^1460 Roll_up ^142D ^1460 two_rows ^142D three ^1421 ^1424 "
        "=0103 =4142 =0F1D ^1C20 ^1C70 Other_channel ^1C2F !0000 "
        "^1429 ^1250 Paint ^1722 on =1225 ^1428 ^142A T1_text ^142D ^142B ^142C ^142E");
    for (uint32_t service : {0u, 1u, 4u, 15u})
        for (bool refusing : {false, true})
            expect_any_split_alike(SOFTCC_FORMAT_EIA608, service, refusing, stream);
}

TEST(SplitInput, Eia708PacketsAnywhere)
{
    auto text = [](const std::string &s) { return Bytes(s.begin(), s.end()); };
    // A shown window whose second CR scrolls, a G2 character, a C3 code, a
    // hidden centred window then shown, a Delay ended by DelayCancel, toggle,
    // pen location, clear, and a Delay that a lost packet ends.
    const Bytes before_gap = Bytes{0x98, 0x20, 0, 0, 0x01, 0x0B, 0x09, 0x91, 0x30, 0x00, 0x00} +
                             text("Hello\rworld\rag") + Bytes{0x10, 0x25, 0x10, 0x90, 0x03, 1, 2, 3} +
                             Bytes{0x99, 0x00, 0, 0, 0x00, 0x13, 0x19} + text("Centre\x03") +
                             Bytes{0x89, 0x02, 0x8D, 0x05} + text("held") + Bytes{0x8E, 0x8B, 0x03} +
                             Bytes{0x92, 0x00, 0x02, 'X', 0x88, 0x01, 0x8D, 0x07} + text("lost");
    // A new window, and a Delay that the alarm at the end ends.
    const Bytes after_gap = Bytes{0x9A, 0x20, 0, 0, 0x00, 0x0F, 0x09} + text("After\x8D\x0Alate");
    int sequence = 1;
    Bytes stream = dtvcc(sequence, before_gap);
    sequence = (sequence + 1) & 3; // a packet lost
    stream = stream + dtvcc(sequence, after_gap);
    expect_any_split_alike(SOFTCC_FORMAT_EIA708, 1, false, stream);
    expect_any_split_alike(SOFTCC_FORMAT_EIA708, 1, true, stream);
    expect_any_split_alike(SOFTCC_FORMAT_EIA708, 10, false, stream);
}

using Eia708Input = ContextTest;

// Window 0 shown; "AB" then padding whose last two bytes come with the next
// packet's "C".
TEST_F(Eia708Input, PaddingThatRunsIntoTheNextCallIsSkippedThere)
{
    open(SOFTCC_FORMAT_EIA708, 1);
    ASSERT_EQ(decode({0x45, 0x27, 0x98, 0x20, 0, 0, 0x00, 0x09, 0x09, 0x00}), SOFTCC_OK);
    ASSERT_EQ(decode({0x84, 0x22, 'A', 'B', 0x00, 0x00}), SOFTCC_OK);
    host.clear();
    ASSERT_EQ(decode({0x00, 0x00, 0xC2, 0x22, 'C', 0x03}), SOFTCC_OK);
    EXPECT_THAT(host.names(), ::testing::ElementsAre("refresh"));
    EXPECT_EQ(describe(window(0)), "0:0:ABC");
}

// A service-7 header of size 0 is still followed by its extended service
// byte; the block is empty and the next byte is a block header.
TEST_F(Eia708Input, EmptyExtendedBlockTakesItsServiceByte)
{
    for (uint32_t service : {1u, 10u}) {
        open(SOFTCC_FORMAT_EIA708, service);
        // empty block of service 10, then "AB" in a new window of service 1
        ASSERT_EQ(decode({0x47, 0xE0, 0x0A, 0x29, 0x98, 0x20, 0, 0, 0x00, 0x09, 0x09, 'A', 'B', 0x00}),
                  SOFTCC_OK);
        EXPECT_EQ(describe(window(0)), service == 1 ? "0:0:AB" : "") << "service " << service;
    }
}

} // namespace
