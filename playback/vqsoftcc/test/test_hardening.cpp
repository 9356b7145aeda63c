// Real caption streams under allocation failure, and the inputs the fuzz
// targets found: nothing may crash, leak, or hand the host a run whose text
// lies outside its buffer.
#include "checking_host.h"
#include "context_fixture.h"

#include <fstream>
#include <regex>
#include <sstream>
#include <string>

namespace {

using Bytes = std::vector<uint8_t>;

std::string read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string read_sample(const std::string &name)
{
    return read_file(std::string(VQSOFTCC_SAMPLES_DIR) + "/" + name);
}

// The byte pairs of an SCC file: every four-digit hex word.
Bytes scc_pairs(const std::string &text)
{
    Bytes out;
    const std::regex word(R"(\s([0-9a-fA-F]{4})(?=\s|$))");
    for (std::sregex_iterator it(text.begin(), text.end(), word), end; it != end; ++it) {
        unsigned value = std::stoul((*it)[1].str(), nullptr, 16);
        out.push_back(static_cast<uint8_t>(value >> 8));
        out.push_back(static_cast<uint8_t>(value));
    }
    return out;
}

// DTVCC packets from a per-frame cc_data dump: each packet start (PS) and
// its data (PD), a packet cut short by the next start completed with zeros
// (the decoder finds packet boundaries only by counting).
Bytes dtvcc_packets(const std::string &dump)
{
    Bytes out;
    size_t packet_end = 0;
    const std::regex word(R"((P[SD]):([0-9A-F]{4}))");
    for (std::sregex_iterator it(dump.begin(), dump.end(), word), end; it != end; ++it) {
        unsigned value = std::stoul((*it)[2].str(), nullptr, 16);
        if ((*it)[1].str() == "PS") {
            out.resize(std::max(out.size(), packet_end), 0);
            unsigned size_code = (value >> 8) & 0x3F;
            packet_end = out.size() + (size_code == 0 ? 128 : size_code * 2);
        }
        out.push_back(static_cast<uint8_t>(value >> 8));
        out.push_back(static_cast<uint8_t>(value));
    }
    return out;
}

// Runs the stream once per allocation it makes, failing that allocation
// alone and then every allocation from it on (n = 0: none fails).  Returns
// the count.
uint64_t sweep(uint32_t format, uint32_t service, const Bytes &stream)
{
    uint64_t allocations = 0;
    for (uint64_t n = 0; n <= allocations; ++n)
        for (auto fail : {fake_platform::fail_nth_malloc, fake_platform::fail_mallocs_from}) {
            fake_platform::reset();
            fail(n);
            checking_host::Host host{.trap = false, .sorted = true};
            checking_host::run_stream(&host, format, service, stream.data(), stream.size());
            allocations = n == 0 ? fake_platform::malloc_calls() : allocations;
            if (host.broken != 0) {
                ADD_FAILURE() << "allocation " << n << (fail == fake_platform::fail_nth_malloc ? "" : " on")
                              << " failing: " << host.broken << " broken rules";
                return allocations;
            }
        }
    return allocations;
}

TEST(AllocationSweep, DemoStreamsOfBothFormats)
{
    // Written by the build, so the sweep runs on a clean clone: pop-on,
    // roll-up, paint-on, 708 windows, scrolling and Delay.
    const struct { const char *name; uint32_t format, service; } demos[] = {
        {"demo.608", SOFTCC_FORMAT_EIA608, 0}, {"demo.708", SOFTCC_FORMAT_EIA708, 1}};
    for (const auto &demo : demos) {
        const std::string stream = read_file(std::string(VQSOFTCC_DEMO_DIR) + "/" + demo.name);
        if (stream.empty())
            GTEST_SKIP() << "no " << demo.name << " under " << VQSOFTCC_DEMO_DIR << " (needs python3)";
        EXPECT_GT(sweep(demo.format, demo.service, Bytes(stream.begin(), stream.end())), 50u) << demo.name;
    }
}

TEST(AllocationSweep, Eia608StreamWithEveryCaptionMode)
{
    // Its second half, as a player tuning in would see it: pop-on, roll-up
    // 2-4, paint-on, mid-row codes, tab offsets (the sweep's cost grows with
    // the square of the length).
    std::string scc = read_sample("gst-plugins-rs/608-all-features.scc");
    if (scc.empty())
        GTEST_SKIP() << "no samples under " << VQSOFTCC_SAMPLES_DIR;
    Bytes pairs = scc_pairs(scc);
    pairs.erase(pairs.begin(), pairs.begin() + pairs.size() / 4 * 2);
    EXPECT_GT(sweep(SOFTCC_FORMAT_EIA608, 0, pairs), 100u);
}

TEST(AllocationSweep, Eia708StreamsOfSixServices)
{
    // Services 1-5 in 8-bit and 6 in 16-bit characters.
    std::string dump = read_sample("caption-inspector/BigBuckBunny_256x144-24fps.ccd");
    if (dump.empty())
        GTEST_SKIP() << "no samples under " << VQSOFTCC_SAMPLES_DIR;
    const Bytes dtvcc = dtvcc_packets(dump);
    for (uint32_t service : {1u, 6u})
        EXPECT_GT(sweep(SOFTCC_FORMAT_EIA708, service, dtvcc), 50u) << "service " << service;
}

// SetWindowAttributes may turn a window's lines from columns into rows while
// it holds text; its old runs then overlap on the new lines, and closing a
// run over them must not stretch one past its characters.
using FuzzFindings = ContextTest;

TEST_F(FuzzFindings, RunsFromAnOldScrollAxisNeverGrowPastTheirText)
{
    open(SOFTCC_FORMAT_EIA708, 1);
    CaptionWindow &w = window(0);
    w.defined = 1, w.row_count = 4, w.column_count = 8;
    context->current_window = 0;
    // Types text at a cursor position with the given directions, then closes the run.
    auto type = [&](int16_t row, int16_t column, uint32_t print, uint32_t scroll, const char *text) {
        w.style.print_direction = print, w.style.scroll_direction = scroll;
        w.cursor_row = row, w.cursor_column = column;
        for (const char *c = text; *c != '\0'; ++c)
            ASSERT_EQ(vqsoftcc_internal_add_char_to_current_segment(&w, *c), SOFTCC_OK);
        ASSERT_EQ(vqsoftcc_internal_terminate_current_segment(context), SOFTCC_OK);
    };
    type(0, 0, 2, 1, "ABCD"); // down column 0, a vertical line
    type(0, 1, 3, 1, "E");    // right-aligned one-character runs
    type(0, 2, 3, 1, "F");
    type(0, 3, 0, 3, "X"); // rows are lines now
    checking_host::Host host{.trap = false};
    checking_host::check_window(&host, &w);
    EXPECT_EQ(host.broken, 0);
}

} // namespace
