// softcc run as a program: the demo against its expected outputs, and every
// real sample file decoding without a library report.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <cmath>
#include <iterator>
#include <sstream>

#include "readers.h"

namespace fs = std::filesystem;

namespace {

struct Result {
    int status = -1;
    std::string output;
};

// Runs softcc; `output` is its stdout, or its stderr when `stderr_only`.
Result run_softcc(const std::string &args, bool stderr_only)
{
    std::string command = std::string(SOFTCC_EXE) + " " + args + (stderr_only ? " 2>&1 >/dev/null" : " 2>/dev/null");
    Result r;
    FILE *pipe = popen(command.c_str(), "r");
    char buf[65536];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, pipe)) > 0;) r.output.append(buf, n);
    int status = pclose(pipe);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

std::string slurp(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

const char *kFormats[] = {"screen", "json", "vtt", "srt"};

}  // namespace

// SOFTCC_UPDATE_EXPECTED=1 rewrites the expected files after a deliberate change.
TEST(EndToEnd, DemoMatchesExpectedOutputInEveryFormat)
{
    if (!fs::exists(fs::path(SOFTCC_DEMO_DIR) / "demo.scc"))
        GTEST_SKIP() << "demo not generated (no python3)";
    bool update = std::getenv("SOFTCC_UPDATE_EXPECTED") != nullptr;
    for (const char *input : {"demo.scc", "demo.mcc"})
        for (const char *format : kFormats) {
            fs::path in = fs::path(SOFTCC_DEMO_DIR) / input;
            fs::path expected = fs::path(SOFTCC_EXPECTED_DIR) / (std::string(input) + "." + format);
            Result r = run_softcc("--output " + std::string(format) + " " + in.string(), false);
            ASSERT_EQ(r.status, 0) << input << " " << format;
            if (update)
                std::ofstream(expected, std::ios::binary) << r.output;
            EXPECT_TRUE(r.output == slurp(expected)) << "softcc " << in << " --output " << format
                                                     << " differs from " << expected;
        }
}

TEST(EndToEnd, EverySampleDecodesWithoutLibraryReport)
{
    if (!fs::is_directory(VQSOFTCC_SAMPLES_DIR))
        GTEST_SKIP() << "samples absent";
    int files = 0;
    for (const auto &entry : fs::recursive_directory_iterator(VQSOFTCC_SAMPLES_DIR)) {
        std::string ext = entry.path().extension().string();
        if (ext != ".scc" && ext != ".mcc" && ext != ".dat")  // .dat: the MPEG-2 stream
            continue;
        files++;
        for (const char *format : kFormats) {
            Result r = run_softcc("--output " + std::string(format) + " '" + entry.path().string() + "'", true);
            EXPECT_EQ(r.status, 0) << entry.path() << " " << format;
            EXPECT_EQ(r.output.find("library report"), std::string::npos) << entry.path() << ": " << r.output;
        }
    }
    EXPECT_GT(files, 0);
}

// The sample's cc_data dump lists each frame's triplets after its timestamp:
// F1/F2 field pairs, PS a DTVCC packet start, PD its continuation.
TEST(Samples, MccExtractionMatchesTheCcDataDumpByteForByteAndCompletesShortPackets)
{
    std::string base = std::string(VQSOFTCC_SAMPLES_DIR) + "/caption-inspector/BigBuckBunny_256x144-24fps";
    std::string mcc = slurp(base + ".mcc"), ccd = slurp(base + ".ccd");
    if (mcc.empty() || ccd.empty())
        GTEST_SKIP() << "samples absent";
    std::vector<std::string> dump_pairs, dump_packets, pairs, packets;
    std::istringstream in(ccd.substr(ccd.find("Drop Frame=")));  // after the header's examples
    int frame = -1;
    for (std::string w; in >> w;) {
        if (w.size() == 12 && w[8] == ',' && std::isdigit((unsigned char)w[0]))
            frame++;
        else if (w.size() == 7 && w[2] == ':' && (w[0] == 'F' || w.rfind("PS", 0) == 0))
            (w[0] == 'F' ? dump_pairs : dump_packets).push_back(w[0] == 'F' ? std::to_string(frame) + w : w.substr(3));
        else if (w.size() == 7 && w.rfind("PD:", 0) == 0 && !dump_packets.empty())
            dump_packets.back() += w.substr(3);
    }
    softcc::Stream s;
    std::string error;
    ASSERT_TRUE(softcc::read_mcc(mcc, s, error));
    int cut = 0;
    for (const softcc::Warning &w : s.warnings) cut += w.message.find("cut short") != std::string::npos;
    EXPECT_EQ(cut, 18);
    for (const softcc::Chunk &c : s.chunks) {
        std::string hex;
        for (uint8_t b : c.bytes) hex += "0123456789ABCDEF"[b >> 4], hex += "0123456789ABCDEF"[b & 15];
        if (c.channel == softcc::Channel::Dtvcc)
            packets.push_back(hex);
        else
            pairs.push_back(std::to_string(std::lround(c.time * 24)) + (c.channel == softcc::Channel::Field1 ? "F1:" : "F2:") + hex);
    }
    EXPECT_EQ(pairs, dump_pairs);
    ASSERT_EQ(packets.size(), dump_packets.size());
    // A packet cut short is completed with zeros; the dump may carry padding after a whole one.
    for (size_t i = 0; i < packets.size(); i++) {
        size_t n = std::min(packets[i].size(), dump_packets[i].size());
        EXPECT_EQ(packets[i].substr(0, n), dump_packets[i].substr(0, n)) << "packet " << i;
        EXPECT_EQ(packets[i].find_first_not_of('0', n), std::string::npos) << "packet " << i;
    }
}
