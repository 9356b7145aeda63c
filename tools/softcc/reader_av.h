// Video containers through FFmpeg's libavformat (demux only): MPEG-TS and
// MPEG-PS, MP4 and fragmented MP4, QuickTime, Matroska and whatever else it
// recognises.  The caption data comes out with softcc's own parsers
// (cc_data.h) and is fed in presentation order.
#pragma once

#include <string>

#include "readers.h"

namespace softcc {

Reader av_reader();  // --input container
std::string av_version();

}  // namespace softcc
