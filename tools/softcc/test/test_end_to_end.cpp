// softcc run as a program (and its core in this process): the demo against
// its expected outputs, every real sample file decoding without a library
// report, the caption samples in video against their sibling caption files,
// and bad input.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <cmath>
#include <iterator>
#include <sstream>

#include "app.h"
#include "readers.h"
#ifdef SOFTCC_WITH_AVFORMAT
#include "reader_av.h"
#endif

namespace fs = std::filesystem;

namespace {

FILE *g_reports = nullptr;  // where the library's reports go while softcc's core runs in this process

}  // namespace

// As softcc's main does: the library reports through softcc's core.
extern "C" __attribute__((visibility("default"))) uint32_t
VQNOTIFY_implementation(uint32_t, SoftCCStatus status, const char *path, uint32_t line, const char *message)
{
    softcc::library_report(status, path, line, message, g_reports ? g_reports : stderr);
    return 0;
}

namespace {

struct Result {
    int status = -1;
    std::string output;
};

// Runs softcc, its standard input the output of `feed` when one is given;
// `output` is its stdout, or its stderr when `stderr_only`.
Result run_softcc(const std::string &args, bool stderr_only, const std::string &feed = "")
{
    std::string command = (feed.empty() ? "" : feed + " | ") + SOFTCC_EXE + " " + args +
                          (stderr_only ? " 2>&1 >/dev/null" : " 2>/dev/null");
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

std::vector<softcc::Reader> all_readers()
{
    std::vector<softcc::Reader> readers = softcc::core_readers();
#ifdef SOFTCC_WITH_AVFORMAT
    readers.push_back(softcc::av_reader());
#endif
    return readers;
}

softcc::Input input_of(const std::string &path)
{
    std::string s = slurp(path);
    return softcc::Input::from_bytes(path, std::vector<uint8_t>(s.begin(), s.end()));
}

// softcc's core on a file in this process, for sweeps where starting a
// process per run (with its media libraries) would cost the most: its exit
// status and its stdout, or its stderr when `stderr_only`.
Result run_core(std::vector<std::string> args, bool stderr_only)
{
    args.insert(args.begin(), "softcc");
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(a.data());
    char *text[2] = {nullptr, nullptr};
    size_t size[2] = {0, 0};
    softcc::Io io;
    io.out = open_memstream(&text[0], &size[0]);
    io.err = g_reports = open_memstream(&text[1], &size[1]);
    softcc::Options o;
    std::vector<softcc::Reader> readers = all_readers();
    Result r;
    r.status = softcc::parse_options((int)argv.size(), argv.data(), readers, "", o, io.out, io.err);
    if (r.status == softcc::kGoOn) {
        softcc::Input in = input_of(o.file);
        r.status = softcc::run(o, in, readers, io);
    }
    g_reports = nullptr;
    std::fclose(io.out);
    std::fclose(io.err);
    r.output.assign(text[stderr_only], size[stderr_only]);
    std::free(text[0]);
    std::free(text[1]);
    return r;
}

const char *kFormats[] = {"screen", "json", "vtt", "srt"};
const std::string kSamples = VQSOFTCC_SAMPLES_DIR;

// The cue texts of an SRT, without numbers and times.
std::string cue_texts(const std::string &srt)
{
    std::istringstream in(srt);
    std::string out;
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line.find("-->") == std::string::npos && !std::isdigit((unsigned char)line[0]))
            out += line + "\n";
    return out;
}

}  // namespace

// SOFTCC_UPDATE_EXPECTED=1 rewrites the expected files after a deliberate change.  Each format is asked for
// in another spelling of the command line: a separate value, --opt=value after --, or standard input.
TEST(EndToEnd, DemoMatchesExpectedOutputInEveryFormat)
{
    if (!fs::exists(fs::path(SOFTCC_DEMO_DIR) / "demo.scc"))
        GTEST_SKIP() << "demo not generated (no python3)";
    bool update = std::getenv("SOFTCC_UPDATE_EXPECTED") != nullptr;
    int spelling = 0;
    for (const char *input : {"demo.scc", "demo.mcc"})
        for (std::string format : kFormats) {
            std::string in = (fs::path(SOFTCC_DEMO_DIR) / input).string();
            fs::path expected = fs::path(SOFTCC_EXPECTED_DIR) / (std::string(input) + "." + format);
            const std::string args[] = {"--output " + format + " " + in, "--output=" + format + " -- " + in,
                                        "--output=" + format + " - < " + in};
            Result r = run_softcc(args[spelling++ % 3], false);
            ASSERT_EQ(r.status, 0) << args[(spelling - 1) % 3];
            if (update)
                std::ofstream(expected, std::ios::binary) << r.output;
            EXPECT_TRUE(r.output == slurp(expected)) << "softcc " << args[(spelling - 1) % 3] << " differs from "
                                                     << expected;
        }
}

TEST(EndToEnd, EverySampleDecodesWithoutLibraryReport)
{
    if (!fs::is_directory(kSamples))
        GTEST_SKIP() << "samples absent";
    int files = 0;
    for (const auto &entry : fs::recursive_directory_iterator(kSamples)) {
        std::string ext = entry.path().extension().string();
        if (ext != ".scc" && ext != ".mcc" && ext != ".dat" && ext != ".ts")  // .dat: the MPEG-2 stream
            continue;
        files++;
        for (const char *format : kFormats) {
            Result r = run_core({"--output", format, entry.path().string()}, true);
            EXPECT_EQ(r.status, 0) << entry.path() << " " << format;
            EXPECT_EQ(r.output.find("library report"), std::string::npos) << entry.path() << ": " << r.output;
        }
    }
    EXPECT_GT(files, 0);
}

// The sample's cc_data dump lists each frame's triplets after its timestamp:
// F1/F2 field pairs, PS a DTVCC packet start, PD its continuation.  The MCC
// and the transport stream (in decode order, H.264 SEI) both carry it.
TEST(Samples, CcDataOfTheMccAndTheTransportStreamMatchTheDumpByteForByte)
{
    std::string base = kSamples + "/caption-inspector/BigBuckBunny_256x144-24fps";
    std::string ccd = slurp(base + ".ccd");
    if (ccd.empty())
        GTEST_SKIP() << "samples absent";
    std::vector<std::string> dump_pairs, dump_packets;
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
    std::vector<std::pair<std::string, double>> carriers = {{".mcc", 24}};
#ifdef SOFTCC_WITH_AVFORMAT
    carriers.push_back({".ts", 24000.0 / 1001});
#endif
    for (const auto &[ext, fps] : carriers) {
        softcc::Input input = input_of(base + ext);
        std::vector<softcc::Reader> readers = all_readers();
        softcc::Stream s;
        std::string error;
        ASSERT_TRUE(softcc::detect_reader(readers, input)->read(input, s, error)) << ext << error;
        int cut = 0;
        for (const softcc::Warning &w : s.warnings) cut += w.message.find("cut short") != std::string::npos;
        EXPECT_EQ(cut, 18) << ext;
        auto hex = [](const std::vector<uint8_t> &bytes) {
            std::string h;
            for (uint8_t b : bytes) h += "0123456789ABCDEF"[b >> 4], h += "0123456789ABCDEF"[b & 15];
            return h;
        };
        std::vector<std::string> pairs, packets;
        for (size_t i = 0; i < s.chunks.size(); i++)
            if (s.chunks[i].channel != softcc::Channel::Dtvcc)
                pairs.push_back(std::to_string(std::lround(s.chunks[i].time * fps)) +
                                (s.chunks[i].channel == softcc::Channel::Field1 ? "F1:" : "F2:") + hex(s.bytes_of(i)));
        softcc::for_each_dtvcc_packet(s, [&](double, const std::vector<uint8_t> &p) { packets.push_back(hex(p)); });
        // The stream has two frames more than the MCC's CDPs, both null.
        ASSERT_GE(pairs.size(), dump_pairs.size()) << ext;
        for (size_t i = 0; i < pairs.size(); i++)
            ASSERT_EQ(pairs[i].substr(pairs[i].size() - 4), i < dump_pairs.size() ? dump_pairs[i].substr(dump_pairs[i].size() - 4) : "8080")
                << ext << " pair " << i;
        pairs.resize(dump_pairs.size());
        EXPECT_EQ(pairs, dump_pairs) << ext;
        ASSERT_EQ(packets.size(), dump_packets.size()) << ext;
        // A packet cut short is completed with zeros; the dump may carry padding after a whole one.
        for (size_t i = 0; i < packets.size(); i++) {
            size_t n = std::min(packets[i].size(), dump_packets[i].size());
            EXPECT_EQ(packets[i].substr(0, n), dump_packets[i].substr(0, n)) << ext << " packet " << i;
            EXPECT_EQ(packets[i].find_first_not_of('0', n), std::string::npos) << ext << " packet " << i;
        }
    }
}

#ifdef SOFTCC_WITH_AVFORMAT
TEST(Samples, CaptionsInVideoDecodeToWhatTheyCarry)
{
    std::string bbb = kSamples + "/caption-inspector/BigBuckBunny_256x144-24fps";
    if (!fs::exists(bbb + ".ts"))
        GTEST_SKIP() << "samples absent";
    // The transport stream shows the MCC's cue texts on every track.
    for (const char *track : {"CC1", "CC3", "1", "2", "3", "4", "5", "6"}) {
        std::string ts = cue_texts(run_core({"--output=srt", "-s", track, bbb + ".ts"}, false).output);
        EXPECT_EQ(ts, cue_texts(run_core({"--output=srt", "-s", track, bbb + ".mcc"}, false).output)) << track;
        EXPECT_GT(ts.size(), 100u) << track;
    }
    // Two 608 channels at once, an HEVC fragmented MP4 through a pipe, a c608 track.
    std::string shaka = "cat " + kSamples + "/shaka/", multi = kSamples + "/muxjs/multi-channel-608-captions.ts";
    const struct {
        std::string args, feed, text;
    } cases[] = {
        {"-s CC1 " + multi, "", "PERIOD, FOLKS.\nWE'RE LOSING TIME"},
        {"-s CC3 " + multi, "", "très courte, chers députés.\n"},
        {"-s CC1 -", shaka + "h265-cea-init.mp4 " + shaka.substr(4) + "h265-cea-segment.mp4", "WE WILL BREAK DOWN WHAT THIS\nME\n"},
        {"-s 1 -", shaka + "h265-cea-init.mp4 " + shaka.substr(4) + "h265-cea-segment.mp4", "WE WILL BREAK DOWN WHAT THIS\nME\n"},
        {"-", shaka + "cea608-track-init.mp4 " + shaka.substr(4) + "cea608-track-segment.mp4",
         "[woman narrating]\n<i>There are days</i>\n<i>in every child's life</i>\n<i>that change who they are</i>\n"
         "<i>forever.</i>\n"},
    };
    for (const auto &c : cases) {
        Result r = run_softcc("--output srt " + c.args, false, c.feed);
        EXPECT_EQ(r.status, 0) << c.args;
        EXPECT_NE(cue_texts(r.output).find(c.text), std::string::npos) << c.args << "\n" << r.output;
    }
}

TEST(EndToEnd, InventoryTracksFilesAndBadInput)
{
    std::string ts = kSamples + "/muxjs/multi-channel-608-captions.ts";
    if (!fs::exists(ts))
        GTEST_SKIP() << "samples absent";
    Result probe = run_softcc("--probe --output json " + ts, false);
    EXPECT_NE(probe.output.find("\"tracks\":[{\"service\":\"CC1\",\"first\":0.0,\"last\":4.705,\"captions\":3,"),
              std::string::npos) << probe.output;
    EXPECT_NE(probe.output.find("{\"service\":\"CC3\""), std::string::npos) << probe.output;
    // One file per track, named after the track.
    fs::path prefix = fs::temp_directory_path() / ("softcc-test-" + std::to_string(getpid()));
    EXPECT_EQ(run_softcc("--service all --output srt -o " + prefix.string() + " " + ts, false).status, 0);
    for (const char *track : {".CC1.srt", ".CC3.srt"}) {
        EXPECT_GT(fs::file_size(prefix.string() + track), 100u) << track;
        fs::remove(prefix.string() + track);
    }
    // A cut transport stream warns with the position and goes on; --strict makes it an error.
    Result warned = run_softcc("-", true, "head -c 100000 " + ts);
    EXPECT_EQ(warned.status, 0);
    EXPECT_NE(warned.output.find("-:packet "), std::string::npos) << warned.output;
    EXPECT_NE(warned.output.find("warning: the stream ends inside a transport packet"), std::string::npos);
    EXPECT_EQ(run_softcc("--strict -", true, "head -c 100000 " + ts).status, 1);
    // Not a media file: one line, exit 2.
    Result text = run_softcc(std::string(SOFTCC_EXPECTED_DIR) + "/demo.scc.json", true);
    EXPECT_EQ(text.status, 2);
    EXPECT_EQ(std::count(text.output.begin(), text.output.end(), '\n'), 1) << text.output;
}
#endif
