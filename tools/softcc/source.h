// An input as softcc reads it, before any decoding: the reader that took it,
// its cc_data stream, the tracks that carry data, the track chosen by
// --service (or the default one) and the chunks that track's decoder is
// handed.  softcc, and the caption reader of the JavaScript package, go
// through here.
#pragma once

#include <string>
#include <vector>

#include "readers.h"
#include "tracks.h"

namespace softcc {

struct CaptionSource {
    const Reader *reader = nullptr;
    Stream stream;
    std::vector<TrackData> tracks;  // the tracks with data (tracks_present)
    double end = 0;                 // media time of the last chunk, of any track

    // Raw 608 is one field whose channel nothing says: every pair goes to the
    // decoder, whatever the service.  Raw 708 has no 608 services.
    bool raw608() const;
    bool raw708() const;
    // CC1 when it carries data, else the first track that carries captions
    // (XDS shows none); without any: CC1, or 708 service 1 for DTVCC data
    // alone.  Raw 708 input: service 1.
    Track default_track() const;
    const TrackData *find(const Track &t) const;
    // The track `service` names (a --service name; empty: the default track).
    // False, with softcc's complaint about `file`, for a name that is no
    // track or a track the raw input cannot carry.
    bool choose(const std::string &file, const std::string &service, Track &t, std::string &complaint) const;
    // True when the decoder of track `t` is handed chunk `c`.
    bool takes(const Track &t, const Chunk &c) const;
};

// Reads `in` with the reader named `name` (empty: the one detect_reader
// picks).  False, with softcc's one-line complaint (what follows "softcc: "),
// for an input no reader takes, that its reader refuses, or that could not
// be read.
bool read_source(const std::vector<Reader> &readers, const std::string &name, Input &in, CaptionSource &source,
                 std::string &complaint);

}  // namespace softcc
