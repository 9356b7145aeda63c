/*
 * The caption reader of the JavaScript package (bindings/js/src/reader.js):
 * softcc's own readers and cc_data stage (tools/softcc) behind plain C
 * functions, built with emscripten as a module of its own.  An input is read
 * as softcc reads it, and a track's feed is exactly what softcc hands
 * VQSoftCCDecode for that track: the bytes of each call with its media time.
 */
#include <emscripten.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "source.h"

namespace {

struct Feed {
    std::string complaint;  // softcc's complaint about the service, or ""
    uint32_t format = 0;    // 608 or 708
    uint32_t service = 0;   // the library's service code
    std::vector<double> times;
    std::vector<uint32_t> ends;
    std::vector<uint8_t> bytes;
};

std::vector<softcc::Reader> caption_readers()
{
    std::vector<softcc::Reader> readers = softcc::core_readers();
    readers.push_back(softcc::container_refusal());
    return readers;
}

}  // namespace

struct CaptionFile {
    std::string name;
    std::string complaint;  // softcc's complaint about the input, or ""
    std::vector<softcc::Reader> readers = caption_readers();
    softcc::CaptionSource source;
    std::vector<std::string> track_names;
    std::string default_track;
};

extern "C" {

// Reads `size` bytes as softcc reads a file named `name` ("-" when unnamed),
// with the reader `input` names (empty: by content, then by extension).
EMSCRIPTEN_KEEPALIVE CaptionFile *caption_read(const uint8_t *bytes, uint32_t size, const char *name,
                                               const char *input)
{
    CaptionFile *file = new CaptionFile;
    file->name = name;
    softcc::Input in = softcc::Input::from_bytes(name, std::vector<uint8_t>(bytes, bytes + size));
    if (!softcc::read_source(file->readers, input, in, file->source, file->complaint))
        return file;
    for (const softcc::TrackData &d : file->source.tracks) file->track_names.push_back(softcc::track_name(d.track));
    file->default_track = softcc::track_name(file->source.default_track());
    return file;
}

EMSCRIPTEN_KEEPALIVE void caption_close(CaptionFile *file) { delete file; }

EMSCRIPTEN_KEEPALIVE const char *caption_complaint(const CaptionFile *file) { return file->complaint.c_str(); }
EMSCRIPTEN_KEEPALIVE const char *caption_carrier(const CaptionFile *file) { return file->source.stream.carrier.c_str(); }
EMSCRIPTEN_KEEPALIVE const char *caption_default_track(const CaptionFile *file) { return file->default_track.c_str(); }
EMSCRIPTEN_KEEPALIVE double caption_end(const CaptionFile *file) { return file->source.end; }

EMSCRIPTEN_KEEPALIVE uint32_t caption_track_count(const CaptionFile *file) { return file->track_names.size(); }
EMSCRIPTEN_KEEPALIVE const char *caption_track_name(const CaptionFile *file, uint32_t i)
{
    return file->track_names[i].c_str();
}
EMSCRIPTEN_KEEPALIVE double caption_track_first(const CaptionFile *file, uint32_t i)
{
    return file->source.tracks[i].first;
}
EMSCRIPTEN_KEEPALIVE double caption_track_last(const CaptionFile *file, uint32_t i)
{
    return file->source.tracks[i].last;
}

EMSCRIPTEN_KEEPALIVE uint32_t caption_warning_count(const CaptionFile *file)
{
    return file->source.stream.warnings.size();
}
EMSCRIPTEN_KEEPALIVE const char *caption_warning_at(const CaptionFile *file, uint32_t i)
{
    return file->source.stream.warnings[i].at.c_str();
}
EMSCRIPTEN_KEEPALIVE const char *caption_warning_message(const CaptionFile *file, uint32_t i)
{
    return file->source.stream.warnings[i].message.c_str();
}

// The feed of the track `service` names (empty: the default track).
EMSCRIPTEN_KEEPALIVE Feed *caption_feed(const CaptionFile *file, const char *service)
{
    Feed *feed = new Feed;
    const softcc::CaptionSource &source = file->source;
    softcc::Track track;
    if (!source.choose(file->name, service, track, feed->complaint))
        return feed;
    feed->format = track.is708 ? 708 : 608;
    feed->service = track.service;
    for (const softcc::Chunk &c : source.stream.chunks) {
        if (!source.takes(track, c))
            continue;
        feed->times.push_back(c.time);
        feed->bytes.insert(feed->bytes.end(), source.stream.bytes(c), source.stream.bytes(c) + c.size);
        feed->ends.push_back(feed->bytes.size());
    }
    return feed;
}

EMSCRIPTEN_KEEPALIVE void caption_feed_close(Feed *feed) { delete feed; }
EMSCRIPTEN_KEEPALIVE const char *caption_feed_complaint(const Feed *feed) { return feed->complaint.c_str(); }
EMSCRIPTEN_KEEPALIVE uint32_t caption_feed_format(const Feed *feed) { return feed->format; }
EMSCRIPTEN_KEEPALIVE uint32_t caption_feed_service(const Feed *feed) { return feed->service; }
EMSCRIPTEN_KEEPALIVE uint32_t caption_feed_count(const Feed *feed) { return feed->times.size(); }
EMSCRIPTEN_KEEPALIVE const double *caption_feed_times(const Feed *feed) { return feed->times.data(); }
EMSCRIPTEN_KEEPALIVE const uint32_t *caption_feed_ends(const Feed *feed) { return feed->ends.data(); }
EMSCRIPTEN_KEEPALIVE const uint8_t *caption_feed_bytes(const Feed *feed) { return feed->bytes.data(); }
EMSCRIPTEN_KEEPALIVE uint32_t caption_feed_size(const Feed *feed) { return feed->bytes.size(); }

}  // extern "C"
