// softcc: decodes a caption file with libvqsoftcc and shows, exports or logs
// what the library produces.  See tools/softcc/README.md.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "host.h"
#include "outputs.h"
#include "readers.h"

// softcc defines the platform's diagnostic sink itself: the executable's
// definition takes precedence over the one in libvqsoftcc_platform (which
// still supplies the memory routines), so every library report reaches the
// chosen output.
extern "C" __attribute__((visibility("default"))) uint32_t
VQNOTIFY_implementation(uint32_t level, SoftCCStatus status, const char *path, uint32_t line, const char *message);

namespace {

softcc::Host *g_host = nullptr;  // the report sink has no user pointer
int g_reports = 0;

const char kUsage[] =
    "usage: softcc [--input scc|mcc|mpeg2|608|708] [--output screen|json|vtt|srt] [--service CC1-CC4|T1-T4|XDS|1-63]\n"
    "              [--strict] FILE\n";

struct Options {
    std::string file, input, output = "screen", service;
    bool strict = false;
};

int fail(const std::string &message)
{
    std::fprintf(stderr, "softcc: %s\n", message.c_str());
    return 2;
}

// 608 services map to their channel codes; numbers 1-63 are 708 services.
bool parse_service(const std::string &s, bool &is708, uint32_t &code)
{
    static const char *names[] = {"CC1", "CC2", "CC3", "CC4", "T1", "T2", "T3", "T4"};
    for (uint32_t i = 0; i < 8; i++)
        if (strcasecmp(s.c_str(), names[i]) == 0) {
            is708 = false;
            code = i;
            return true;
        }
    if (strcasecmp(s.c_str(), "XDS") == 0) {
        is708 = false;
        code = 15;
        return true;
    }
    char *end = nullptr;
    long n = std::strtol(s.c_str(), &end, 10);
    if (!s.empty() && *end == 0 && n >= 1 && n <= 63) {
        is708 = true;
        code = (uint32_t)n;
        return true;
    }
    return false;
}

std::string extension(const std::string &path)
{
    size_t dot = path.rfind('.');
    if (dot == std::string::npos)
        return "";
    std::string ext = path.substr(dot + 1);
    for (char &c : ext) c = (char)std::tolower((unsigned char)c);
    return ext;
}

}  // namespace

extern "C" uint32_t VQNOTIFY_implementation(uint32_t, SoftCCStatus status, const char *path, uint32_t line,
                                            const char *message)
{
    g_reports++;
    softcc::Report r;
    r.time = g_host ? g_host->now() : 0;
    r.status = status;
    r.path = path ? path : "?";
    r.line = line;
    r.message = message ? message : "";
    while (!r.message.empty() && r.message.back() == '\n')
        r.message.pop_back();
    std::fprintf(stderr, "softcc: library report at %s: %s:%u: %s\n", softcc::timestamp(r.time, '.').c_str(),
                 r.path.c_str(), r.line, r.message.c_str());
    if (g_host)
        g_host->report(r);
    return 0;
}

int main(int argc, char **argv)
{
    Options o;
    for (int i = 1; i < argc; i++) {
        std::string a = argv[i];
        auto value = [&](std::string &into) {
            if (i + 1 >= argc)
                return false;
            into = argv[++i];
            return true;
        };
        if (a == "--input") {
            if (!value(o.input)) return fail("--input needs a value");
        } else if (a == "--output") {
            if (!value(o.output)) return fail("--output needs a value");
        } else if (a == "--service") {
            if (!value(o.service)) return fail("--service needs a value");
        } else if (a == "--strict") {
            o.strict = true;
        } else if (a == "-h" || a == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (a.size() > 1 && a[0] == '-') {
            return fail("unknown option '" + a + "'");
        } else if (o.file.empty()) {
            o.file = a;
        } else {
            return fail("more than one input file ('" + o.file + "', '" + a + "')");
        }
    }
    if (o.file.empty())
        return fail("no input file (try --help)");
    if (o.output != "screen" && o.output != "json" && o.output != "vtt" && o.output != "srt")
        return fail("unknown output format '" + o.output + "'");

    std::ifstream in(o.file, std::ios::binary);
    if (!in)
        return fail(o.file + ": cannot read: " + std::strerror(errno));
    std::stringstream buffer;
    buffer << in.rdbuf();
    std::string text = buffer.str();

    std::string input = o.input.empty() ? extension(o.file) : o.input;
    if (input == "m2v" || (o.input.empty() && text.compare(0, 4, std::string("\0\0\1\xB3", 4)) == 0))
        input = "mpeg2";  // an MPEG-2 video stream, whatever its name
    if (input != "scc" && input != "mcc" && input != "mpeg2" && input != "608" && input != "708")
        return fail(o.file + ": unknown input format '" + input + "' (use --input scc|mcc|mpeg2|608|708)");

    softcc::Stream stream;
    std::string error;
    if (input == "scc" && !softcc::read_scc(text, stream, error))
        return fail(o.file + ": " + error);
    if (input == "mcc" && !softcc::read_mcc(text, stream, error))
        return fail(o.file + ": " + error);
    if (input == "mpeg2" && !softcc::read_mpeg2_es(std::vector<uint8_t>(text.begin(), text.end()), stream, error))
        return fail(o.file + ": " + error);
    if (input == "608")
        softcc::read_raw_608(std::vector<uint8_t>(text.begin(), text.end()), stream);
    if (input == "708")
        softcc::read_raw_708(std::vector<uint8_t>(text.begin(), text.end()), stream);
    for (const softcc::Warning &w : stream.warnings)
        std::fprintf(stderr, "%s:%d: %s%s\n", o.file.c_str(), w.line, o.strict ? "error: " : "warning: ",
                     w.message.c_str());
    if (o.strict && !stream.warnings.empty())
        return 1;

    bool is708 = input == "708" || ((input == "mcc" || input == "mpeg2") && stream.has_708 && !stream.has_608);
    uint32_t service = is708 ? 1 : 0;
    if (!o.service.empty() && !parse_service(o.service, is708, service))
        return fail("unknown service '" + o.service + "' (use CC1-CC4, T1-T4, XDS or 1-63)");
    if (is708 && input == "608")
        return fail(o.file + ": raw 608 input has no 708 service " + o.service);
    if (!is708 && input == "708")
        return fail(o.file + ": raw 708 input has no 608 service " + o.service);

    softcc::Channel wanted = is708 ? softcc::Channel::Dtvcc
                             : (service == 15 || (service & 2)) ? softcc::Channel::Field2
                                                                : softcc::Channel::Field1;
    bool any_field = input == "608";  // a raw stream is the field of the chosen service

    auto sink = softcc::make_sink(o.output, stdout, o.output == "screen" && isatty(STDOUT_FILENO), is708 ? 42 : 32);
    softcc::Host host(*sink, is708);
    g_host = &host;
    SoftCCOpenProfile profile = host.profile(service);
    SoftCCContext *context = nullptr;
    SoftCCStatus status = VQSoftCCOpen(&profile, &context);
    if (status != SOFTCC_OK) {
        g_host = nullptr;
        return fail(o.file + ": the library did not open (status " + std::to_string(status) + ")");
    }
    double end = 0;
    for (const softcc::Chunk &c : stream.chunks) {
        end = std::max(end, c.time);
        if (c.channel != wanted && !(any_field && !is708))
            continue;
        host.advance_to(c.time);
        VQSoftCCDecode(context, c.bytes.data(), (uint32_t)c.bytes.size());
    }
    host.drain_alarm();
    // Captions still on screen at the end last one more second: closing the
    // decoder deletes its windows, so the close happens at that time.
    end = std::max(end, host.now()) + 1.0;
    host.advance_to(end);
    VQSoftCCClose(context);
    sink->finish(end);
    g_host = nullptr;
    std::fflush(stdout);
    if (o.strict && g_reports > 0)
        return 1;
    return 0;
}
