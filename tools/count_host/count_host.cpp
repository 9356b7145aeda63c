// count_host: decodes a caption file with libvqsoftcc behind callbacks that
// only return SOFTCC_OK, so that an instruction count of decode_stream()
// (scripts/count-instructions) measures the library and nothing of a
// renderer.  Frames are fed as a player feeds them: one VQSoftCCDecode call
// per 608 pair, null pairs included, or per frame's DTVCC bytes.
//
//   count_host FILE [--service N] [--repeat N]
//
// FILE is .scc, .mcc, .608 (raw pairs) or .708 (raw DTVCC).  The service is
// CC1, or 708 service 1 for input that carries only DTVCC data; --service
// 1-63 picks a 708 service.  --repeat decodes the stream N times in one
// context.  Prints the number of bytes decoded.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "readers.h"
#include "vqsoftcc.h"

namespace {

struct Alarm {
    bool armed = false;
    double due = 0, now = 0;
    SoftCCAlarmFunction function = nullptr;
    void *context = nullptr;

    // Fires before any byte of a later media time reaches the decoder.
    void advance_to(double time)
    {
        if (armed && due <= time) {
            armed = false;
            function(context);
        }
        now = time;
    }
};

SoftCCStatus on_window(void *, CaptionWindow *) { return SOFTCC_OK; }
SoftCCStatus on_data(void *, const uint8_t *, uint32_t) { return SOFTCC_OK; }

SoftCCStatus on_set_alarm(void *user, uint32_t ms, SoftCCAlarmFunction function, void *context)
{
    Alarm *alarm = static_cast<Alarm *>(user);
    *alarm = {true, alarm->now + ms / 1000.0, alarm->now, function, context};
    return SOFTCC_OK;
}

SoftCCStatus on_cancel_alarm(void *user)
{
    static_cast<Alarm *>(user)->armed = false;
    return SOFTCC_OK;
}

// Open, every decode call, close.
size_t decode_stream(const softcc::Stream &stream, softcc::Channel channel, uint32_t format,
                     uint32_t service, int repeat)
{
    Alarm alarm;
    SoftCCOpenProfile profile = {format, service, &alarm,
                                 on_window, on_window, on_window, on_window, // define .. delete
                                 on_set_alarm, on_cancel_alarm, on_data, on_data};
    SoftCCContext *context = nullptr;
    if (VQSoftCCOpen(&profile, &context) != SOFTCC_OK)
        return 0;
    size_t bytes = 0;
    double offset = 0, end = 0;
    for (int round = 0; round < repeat; round++, offset = end) {
        for (const softcc::Chunk &chunk : stream.chunks) {
            end = offset + chunk.time;
            if (chunk.channel != channel)
                continue;
            alarm.advance_to(end);
            VQSoftCCDecode(context, stream.bytes(chunk), chunk.size);
            bytes += chunk.size;
        }
    }
    if (alarm.armed)
        alarm.advance_to(alarm.due);
    VQSoftCCClose(context);
    return bytes;
}

int fail(const std::string &message)
{
    std::fprintf(stderr, "count_host: %s\n", message.c_str());
    return 2;
}

}  // namespace

int main(int argc, char **argv)
{
    std::string path;
    int service = 0, repeat = 1;
    for (int i = 1; i < argc; i++) {
        if (!std::strcmp(argv[i], "--service") && i + 1 < argc)
            service = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--repeat") && i + 1 < argc)
            repeat = std::atoi(argv[++i]);
        else if (path.empty() && argv[i][0] != '-')
            path = argv[i];
        else
            return fail(std::string("unknown argument '") + argv[i] + "'");
    }
    if (path.empty() || service < 0 || service > 63 || repeat < 1)
        return fail("usage: count_host FILE [--service 1-63] [--repeat N]");
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return fail(path + ": cannot read");
    std::stringstream text;
    text << in.rdbuf();
    std::string data = text.str();
    std::string ext = path.substr(path.rfind('.') + 1);

    softcc::Stream stream;
    std::string error;
    if (ext == "608")
        softcc::read_raw_608(std::vector<uint8_t>(data.begin(), data.end()), stream);
    else if (ext == "708")
        softcc::read_raw_708(std::vector<uint8_t>(data.begin(), data.end()), stream);
    else if (ext == "scc" ? !softcc::read_scc(data, stream, error)
                          : !softcc::read_mcc(data, stream, error))
        return fail(path + ": " + error);
    bool is708 = service > 0 || ext == "708" || (stream.has_708 && !stream.has_608);
    softcc::Channel channel = is708 ? softcc::Channel::Dtvcc : softcc::Channel::Field1;
    uint32_t format = is708 ? SOFTCC_FORMAT_EIA708 : SOFTCC_FORMAT_EIA608;
    uint32_t chosen = is708 ? (uint32_t)(service > 0 ? service : 1) : 0u;
    std::printf("%zu\n", decode_stream(stream, channel, format, chosen, repeat));
    return 0;
}
