// Caption tracks: the 608 services (CC1-CC4, T1-T4, XDS) and the 708
// services 1-63, their names, and which of them a stream carries.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stream.h"

namespace softcc {

struct Track {
    bool is708 = false;
    uint32_t service = 0;  // 608: the library's channel code (CC1 0 ... T4 7, XDS 15); 708: 1-63
};

std::string track_name(const Track &t);       // what --service takes: "CC1", "T2", "XDS", "1" ... "63"
std::string track_file_name(const Track &t);  // in output file names: "CC1", "XDS", "708-1"
bool parse_track(const std::string &name, Track &t);
// The field whose pairs carry a 608 service, or the DTVCC channel.
Channel track_channel(const Track &t);

struct TrackData {
    Track track;
    double first = 0, last = 0;  // media times of its first and last data
};

// The tracks with data in the stream: 608 services in channel-code order,
// then 708 services by number.  A 608 pair belongs to the channel and mode
// (caption or text) the last control code of its field chose, or to XDS
// between an XDS start and the next control code; a DTVCC service carries
// data when one of its service blocks is not empty.
std::vector<TrackData> tracks_present(const Stream &stream);

}  // namespace softcc
