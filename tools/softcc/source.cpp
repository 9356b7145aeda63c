#include "source.h"

#include <algorithm>

namespace softcc {

bool CaptionSource::raw608() const { return reader && std::string(reader->name) == "608"; }
bool CaptionSource::raw708() const { return reader && std::string(reader->name) == "708"; }

const TrackData *CaptionSource::find(const Track &t) const
{
    for (const TrackData &d : tracks)
        if (d.track.is708 == t.is708 && d.track.service == t.service)
            return &d;
    return nullptr;
}

Track CaptionSource::default_track() const
{
    if (raw708())
        return Track{true, 1};
    if (find(Track{false, 0}))
        return Track{false, 0};
    for (const TrackData &d : tracks)
        if (d.track.is708 || d.track.service != 15)
            return d.track;
    return stream.has_708 && !stream.has_608 ? Track{true, 1} : Track{false, 0};
}

bool CaptionSource::choose(const std::string &file, const std::string &service, Track &t,
                           std::string &complaint) const
{
    t = default_track();
    if (!service.empty() && !parse_track(service, t)) {
        complaint = "unknown service '" + service + "' (use CC1-CC4, T1-T4, XDS, 1-63 or all)";
        return false;
    }
    if (t.is708 && raw608())
        complaint = file + ": raw 608 input has no 708 service " + service;
    if (!t.is708 && raw708())
        complaint = file + ": raw 708 input has no 608 service " + service;
    return complaint.empty();
}

bool CaptionSource::takes(const Track &t, const Chunk &c) const
{
    return c.channel == track_channel(t) || (raw608() && c.channel != Channel::Dtvcc);
}

bool read_source(const std::vector<Reader> &readers, const std::string &name, Input &in, CaptionSource &source,
                 std::string &complaint)
{
    const std::string &file = in.name();
    if (!name.empty() && !reader_named(readers, name)) {
        complaint = unknown_input(readers, name);
        return false;
    }
    source.reader = name.empty() ? detect_reader(readers, in) : reader_named(readers, name);
    if (!source.reader) {
        complaint = file + ": not a caption or media file softcc reads (use --input " + reader_names(readers, "|") + ")";
        return false;
    }
    std::string error;
    if (!source.reader->read(in, source.stream, error)) {
        complaint = file + ": " + error;
        return false;
    }
    if (in.failed()) {
        complaint = file + ": read error";
        return false;
    }
    source.tracks = tracks_present(source.stream);
    for (const Chunk &c : source.stream.chunks) source.end = std::max(source.end, c.time);
    return true;
}

}  // namespace softcc
