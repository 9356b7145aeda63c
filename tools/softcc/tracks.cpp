#include "tracks.h"

#include <strings.h>

#include <cstdlib>
#include <map>

namespace softcc {
namespace {

const char *const kNames608[] = {"CC1", "CC2", "CC3", "CC4", "T1", "T2", "T3", "T4"};
constexpr uint32_t kXds = 15;

// Follows one field's control codes to tell which service each pair serves.
struct FieldRouter {
    bool field2 = false;
    uint32_t channel = 0;  // 0 or 1: the data channel of the last control code
    bool text = false;     // text mode (TR, RTD) rather than captions
    bool xds = false;      // inside an XDS packet (field 2)

    // The service code of the pair, or -1 for a null pair.
    int route(uint8_t b1, uint8_t b2)
    {
        b1 &= 0x7F;
        b2 &= 0x7F;
        if (b1 == 0 && b2 == 0)
            return -1;
        if (b1 >= 0x01 && b1 <= 0x0F && field2) {
            xds = b1 != 0x0F;  // 0F ends the packet (its checksum is the last XDS pair)
            return kXds;
        }
        if (b1 >= 0x10 && b1 <= 0x1F) {
            xds = false;
            channel = (b1 & 0x08) ? 1 : 0;
            // Miscellaneous control codes: 14/1C (15/1D on field 2) with 20-2F.
            if ((b1 & 0x76) == 0x14 && b2 >= 0x20 && b2 <= 0x2F) {
                if (b2 == 0x2A || b2 == 0x2B)
                    text = true;  // Text Restart, Resume Text Display
                else if (b2 == 0x20 || b2 == 0x29 || (b2 >= 0x25 && b2 <= 0x27))
                    text = false;  // Resume Caption Loading, Resume Direct Captioning, Roll-Up
            }
        } else if (xds) {
            return kXds;
        }
        return (int)(channel + (field2 ? 2 : 0) + (text ? 4 : 0));
    }
};

void seen(std::map<uint32_t, TrackData> &tracks, bool is708, uint32_t service, double time)
{
    uint32_t key = (is708 ? 64 : 0) + service;
    auto it = tracks.find(key);
    if (it == tracks.end())
        tracks.emplace(key, TrackData{Track{is708, service}, time, time});
    else
        it->second.last = time;
}

// The services whose blocks in a DTVCC packet are not empty, framed as the
// decoder frames them: a null block header ends the packet's data, a block of
// service 0 is empty whatever its size, and service 7 is followed by the
// extended service number even when its block is empty.
void packet_services(double time, const std::vector<uint8_t> &p, std::map<uint32_t, TrackData> &tracks)
{
    for (size_t i = 1; i < p.size() && p[i] != 0;) {
        uint32_t service = p[i] >> 5, size = service == 0 ? 0 : p[i] & 0x1F;
        i++;
        if (service == 7) {
            if (i >= p.size()) break;
            service = p[i++] & 0x3F;
        }
        if (size > 0 && service != 0)
            seen(tracks, true, service, time);
        i += size;
    }
}

}  // namespace

std::string track_name(const Track &t)
{
    if (t.is708)
        return std::to_string(t.service);
    return t.service < 8 ? kNames608[t.service] : "XDS";
}

std::string track_file_name(const Track &t) { return t.is708 ? "708-" + track_name(t) : track_name(t); }

bool parse_track(const std::string &name, Track &t)
{
    for (uint32_t i = 0; i < 8; i++)
        if (strcasecmp(name.c_str(), kNames608[i]) == 0) {
            t = Track{false, i};
            return true;
        }
    if (strcasecmp(name.c_str(), "XDS") == 0) {
        t = Track{false, kXds};
        return true;
    }
    char *end = nullptr;
    long n = std::strtol(name.c_str(), &end, 10);
    if (!name.empty() && *end == 0 && n >= 1 && n <= 63) {
        t = Track{true, (uint32_t)n};
        return true;
    }
    return false;
}

Channel track_channel(const Track &t)
{
    if (t.is708)
        return Channel::Dtvcc;
    return (t.service == kXds || (t.service & 2)) ? Channel::Field2 : Channel::Field1;
}

std::vector<TrackData> tracks_present(const Stream &stream)
{
    std::map<uint32_t, TrackData> tracks;
    FieldRouter fields[2];
    fields[1].field2 = true;
    for_each_dtvcc_packet(stream, [&](double time, const std::vector<uint8_t> &packet) {
        packet_services(time, packet, tracks);
    });
    for (const Chunk &c : stream.chunks) {
        if (c.channel != Channel::Dtvcc && c.size == 2) {
            const uint8_t *p = stream.bytes(c);
            int service = fields[c.channel == Channel::Field2].route(p[0], p[1]);
            if (service >= 0)
                seen(tracks, false, (uint32_t)service, c.time);
        }
    }
    std::vector<TrackData> out;
    for (const auto &[key, data] : tracks) out.push_back(data);
    return out;
}

}  // namespace softcc
