#include "app.h"

#include <getopt.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>

#include "host.h"
#include "outputs.h"
#include "source.h"

namespace softcc {
namespace {

// The library's report sink has no user pointer: reports go to the host of
// the one track being decoded.
Host *g_host = nullptr;
int g_reports = 0;

const char kUsage[] =
    "usage: softcc [OPTION]... FILE          (FILE - reads standard input)\n"
    "  -i, --input=FORMAT   %s (default: by content, then by extension)\n"
    "      --output=FORMAT  screen, json, vtt, srt (default screen); with --probe: screen or json\n"
    "  -s, --service=NAME   CC1-CC4, T1-T4, XDS, 1-63, or all (every track that carries data)\n"
    "  -o, --to=PATH        write to PATH; with --service all, PATH.TRACK.EXT for each track\n"
    "      --probe          list the caption tracks: first and last time, captions, language\n"
    "      --strict         warnings and library reports are errors (exit 1)\n"
    "  -V, --version        print the version\n"
    "  -h, --help           print this help\n";

int fail(FILE *err, const std::string &message)
{
    std::fprintf(err, "softcc: %s\n", message.c_str());
    return 2;
}

// Decodes one track through the library into `sink`; false when the library
// did not open.
bool decode_track(const CaptionSource &source, const Track &track, Sink &sink, SoftCCStatus &status)
{
    Host host(sink, track.is708);
    g_host = &host;
    SoftCCOpenProfile profile = host.profile(track.service);
    SoftCCContext *context = nullptr;
    status = VQSoftCCOpen(&profile, &context);
    if (status != SOFTCC_OK) {
        g_host = nullptr;
        return false;
    }
    for (const Chunk &c : source.stream.chunks) {
        if (!source.takes(track, c))
            continue;
        host.advance_to(c.time);
        VQSoftCCDecode(context, source.stream.bytes(c), c.size);
    }
    host.drain_alarm();
    // Captions still on screen at the end last one more second: closing the
    // decoder deletes its windows, so the close happens at that time.
    double end = std::max(source.end, host.now()) + 1.0;
    host.advance_to(end);
    VQSoftCCClose(context);
    sink.finish(end);
    g_host = nullptr;
    return true;
}

// Counts the cues a track shows, as vtt and srt would write them.
class CueCounter : public Sink {
public:
    bool wants_events() const override { return false; }
    void picture(double time, const std::vector<Line> &lines) override { builder_.picture(time, lines); }
    void finish(double end_time) override { count = builder_.finish(end_time).size(); }
    size_t count = 0;

private:
    CueBuilder builder_;
};

int probe(const Options &o, const CaptionSource &source, FILE *out)
{
    const std::vector<TrackData> &tracks = source.tracks;
    const Stream &stream = source.stream;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    std::string table;
    for (const TrackData &d : tracks) {
        CueCounter counter;
        SoftCCStatus status;
        decode_track(source, d.track, counter, status);
        auto language = stream.languages.find(track_name(d.track));
        std::string code = language == stream.languages.end() ? "" : language->second;
        nlohmann::ordered_json t = {{"service", track_name(d.track)},
                                    {"first", std::round(d.first * 1000) / 1000},
                                    {"last", std::round(d.last * 1000) / 1000},
                                    {"captions", counter.count}};
        t["language"] = code.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(code);
        list.push_back(t);
        char row[128];
        std::snprintf(row, sizeof row, "%-7s %s  %s  %8zu  %s\n", track_name(d.track).c_str(),
                      timestamp(d.first, '.').c_str(), timestamp(d.last, '.').c_str(), counter.count,
                      code.empty() ? "-" : code.c_str());
        table += row;
    }
    if (o.output == "json") {
        nlohmann::ordered_json j = {{"file", o.file}, {"carrier", stream.carrier}, {"tracks", list}};
        std::fprintf(out, "%s\n", j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
        return 0;
    }
    std::fprintf(out, "%s: %s, %zu caption track%s\n", o.file.c_str(), stream.carrier.c_str(), tracks.size(),
                 tracks.size() == 1 ? "" : "s");
    if (!tracks.empty())
        std::fprintf(out, "track   first         last          captions  language\n%s", table.c_str());
    return 0;
}

// Each kind of damage is named at its first ten places; a long recording
// may repeat it thousands of times.
void print_warnings(const Options &o, const std::vector<Warning> &warnings, FILE *err)
{
    const char *kind = o.strict ? "error: " : "warning: ";
    std::map<std::string, size_t> seen;
    for (const Warning &w : warnings)
        if (++seen[w.message] <= 10)
            std::fprintf(err, "%s:%s: %s%s\n", o.file.c_str(), w.at.c_str(), kind, w.message.c_str());
    for (const auto &[message, count] : seen)
        if (count > 10)
            std::fprintf(err, "%s: %s%zu more: %s\n", o.file.c_str(), kind, count - 10, message.c_str());
}

std::string file_extension(const std::string &output) { return output == "screen" ? "txt" : output; }

}  // namespace

int parse_options(int argc, char **argv, const std::vector<Reader> &readers, const std::string &version,
                  Options &o, FILE *out, FILE *err)
{
    enum { kOutput = 256, kStrict, kProbe };
    static const option longs[] = {
        {"input", required_argument, nullptr, 'i'},   {"output", required_argument, nullptr, kOutput},
        {"service", required_argument, nullptr, 's'}, {"to", required_argument, nullptr, 'o'},
        {"strict", no_argument, nullptr, kStrict},    {"probe", no_argument, nullptr, kProbe},
        {"version", no_argument, nullptr, 'V'},       {"help", no_argument, nullptr, 'h'},
        {nullptr, 0, nullptr, 0},
    };
    opterr = 0;
    optind = 0;  // 0 also resets GNU getopt's state, for a second parse in one process
    for (int c; (c = getopt_long(argc, argv, ":i:s:o:Vh", longs, nullptr)) != -1;) {
        std::string arg = optarg ? optarg : "";
        switch (c) {
        case 'i': o.input = arg; break;
        case kOutput: o.output = arg; break;
        case 's': o.service = arg; break;
        case 'o': o.to = arg; break;
        case kStrict: o.strict = true; break;
        case kProbe: o.probe = true; break;
        case 'V':
            std::fprintf(out, "%s\n", version.c_str());
            return 0;
        case 'h':
            std::fprintf(out, kUsage, reader_names(readers, ", ").c_str());
            return 0;
        case ':':
            return fail(err, std::string(argv[optind - 1]) + " needs a value");
        default:
            return fail(err, "unknown option '" + std::string(argv[optind - 1]) + "'");
        }
    }
    if (optind == argc)
        return fail(err, "no input file (try --help)");
    if (argc - optind > 1)
        return fail(err, "more than one input file ('" + std::string(argv[optind]) + "', '" + argv[optind + 1] + "')");
    o.file = argv[optind];
    if (o.output != "screen" && o.output != "json" && o.output != "vtt" && o.output != "srt")
        return fail(err, "unknown output format '" + o.output + "'");
    if (o.probe && o.output != "screen" && o.output != "json")
        return fail(err, "--probe writes screen or json, not '" + o.output + "'");
    if (!o.input.empty() && !reader_named(readers, o.input))
        return fail(err, unknown_input(readers, o.input));
    Track t;
    if (!o.service.empty() && o.service != "all" && !parse_track(o.service, t))
        return fail(err, "unknown service '" + o.service + "' (use CC1-CC4, T1-T4, XDS, 1-63 or all)");
    if (o.service == "all" && o.to.empty() && !o.probe)
        return fail(err, "--service all writes one file per track: give -o PREFIX");
    return kGoOn;
}

int run(const Options &o, Input &in, const std::vector<Reader> &readers, const Io &io)
{
    CaptionSource source;
    std::string complaint;
    if (!read_source(readers, o.input, in, source, complaint))
        return fail(io.err, complaint);
    print_warnings(o, source.stream.warnings, io.err);
    if (o.strict && !source.stream.warnings.empty())
        return 1;

    const std::vector<TrackData> &present = source.tracks;
    if (present.empty())
        std::fprintf(io.err, "softcc: %s: no captions found\n", o.file.c_str());
    if (o.probe)
        return probe(o, source, io.out);

    std::vector<Track> tracks;
    if (o.service == "all") {
        for (const TrackData &d : present)
            if (d.track.is708 || d.track.service != 15 || o.output == "json")  // XDS shows nothing but in json
                tracks.push_back(d.track);
    } else {
        Track t;
        if (!source.choose(o.file, o.service, t, complaint))
            return fail(io.err, complaint);
        if (!present.empty() && !source.find(t) && !source.raw608()) {
            std::string names;
            for (const TrackData &d : present) names += (names.empty() ? "" : ", ") + track_name(d.track);
            std::fprintf(io.err, "%s: %s%s%s carries no data (the input has %s)\n", o.file.c_str(),
                         o.strict ? "error: " : "warning: ", t.is708 ? "708 service " : "", track_name(t).c_str(),
                         names.c_str());
            if (o.strict)
                return 1;
        }
        tracks.push_back(t);
    }
    g_reports = 0;
    for (const Track &t : tracks) {
        std::string path = o.to;
        if (o.service == "all")
            path += "." + track_file_name(t) + "." + file_extension(o.output);
        FILE *out = path.empty() ? io.out : io.create(path);
        if (!out)
            return fail(io.err, path + ": cannot write");
        auto sink = make_sink(o.output, out, path.empty() && io.ansi && o.output == "screen", t.is708 ? 42 : 32);
        SoftCCStatus status;
        bool opened = decode_track(source, t, *sink, status);
        sink.reset();
        if (out != io.out)
            std::fclose(out);
        if (!opened)
            return fail(io.err, o.file + ": the library did not open (status " + std::to_string(status) + ")");
    }
    std::fflush(io.out);
    return o.strict && g_reports > 0 ? 1 : 0;
}

void library_report(SoftCCStatus status, const char *path, uint32_t line, const char *message, FILE *err)
{
    g_reports++;
    Report r;
    r.time = g_host ? g_host->now() : 0;
    r.status = status;
    r.path = path ? path : "?";
    r.line = line;
    r.message = message ? message : "";
    while (!r.message.empty() && r.message.back() == '\n')
        r.message.pop_back();
    std::fprintf(err, "softcc: library report at %s: %s:%u: %s\n", timestamp(r.time, '.').c_str(), r.path.c_str(),
                 r.line, r.message.c_str());
    if (g_host)
        g_host->report(r);
}

}  // namespace softcc
