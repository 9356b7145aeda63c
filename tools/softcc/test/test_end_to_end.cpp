// softcc run as a program: the demo against its expected outputs, and every
// real sample file decoding without a library report.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

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

TEST(Samples, BigBuckBunnyHasEighteenShortPacketsAndBothFields)
{
    std::string path = std::string(VQSOFTCC_SAMPLES_DIR) + "/caption-inspector/BigBuckBunny_256x144-24fps.mcc";
    std::string text = slurp(path);
    if (text.empty())
        GTEST_SKIP() << "samples absent";
    softcc::Stream s;
    std::string error;
    ASSERT_TRUE(softcc::read_mcc(text, s, error));
    int cut = 0;
    for (const softcc::Warning &w : s.warnings) cut += w.message.find("cut short") != std::string::npos;
    EXPECT_EQ(cut, 18);
    EXPECT_TRUE(s.has_608);
    EXPECT_TRUE(s.has_708);
}
