// What the text caption formats (SCC, MCC) share: lines, hex digits and
// SMPTE timecodes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace softcc {

// Lines without their end (LF or CRLF).
std::vector<std::string> split_lines(const std::string &text);
int hex_value(char c);  // -1 for a character that is not a hex digit

struct Timecode {
    int h = 0, m = 0, s = 0, f = 0;
    bool drop = false;  // ';' or ',' before the frames
};

// Parses "HH:MM:SS:FF" or "HH:MM:SS;FF" (also '.' or ',' before the frames)
// at the start of `line`; returns the number of characters used, 0 if none.
size_t parse_timecode(const std::string &line, Timecode &tc);
// A timecode that names a frame that exists: fields in range, and in
// drop-frame not frames 0 and 1 of a minute that is not a tenth.
bool timecode_valid(const Timecode &tc, int nominal_fps);
// Frame count of a timecode; drop-frame skips frames 0 and 1 of every minute
// except each tenth.
int64_t timecode_frames(int h, int m, int s, int f, int nominal_fps, bool drop_frame);

}  // namespace softcc
