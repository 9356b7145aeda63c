#include "text_formats.h"

#include <cctype>
#include <cstdio>
#include <sstream>

namespace softcc {

std::vector<std::string> split_lines(const std::string &text)
{
    std::vector<std::string> lines;
    std::string line;
    std::istringstream in(text);
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

int hex_value(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    c = (char)std::tolower((unsigned char)c);
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

size_t parse_timecode(const std::string &line, Timecode &tc)
{
    int n = 0;
    char sep = 0;
    if (std::sscanf(line.c_str(), "%2d:%2d:%2d%c%2d%n", &tc.h, &tc.m, &tc.s, &sep, &tc.f, &n) != 5)
        return 0;
    if (sep != ':' && sep != ';' && sep != '.' && sep != ',')
        return 0;
    tc.drop = sep == ';' || sep == ',';
    return (size_t)n;
}

bool timecode_valid(const Timecode &tc, int nominal_fps)
{
    if (tc.m > 59 || tc.s > 59 || tc.f >= nominal_fps || tc.h < 0 || tc.m < 0 || tc.s < 0 || tc.f < 0)
        return false;
    return !(tc.drop && tc.s == 0 && tc.f < 2 && tc.m % 10 != 0);
}

int64_t timecode_frames(int h, int m, int s, int f, int nominal_fps, bool drop_frame)
{
    int64_t frames = ((int64_t)h * 3600 + m * 60 + s) * nominal_fps + f;
    if (drop_frame) {
        int64_t minutes = (int64_t)h * 60 + m;
        int64_t dropped_per_minute = nominal_fps / 15;  // 2 at 30 fps, 4 at 60
        frames -= dropped_per_minute * (minutes - minutes / 10);
    }
    return frames;
}

}  // namespace softcc
