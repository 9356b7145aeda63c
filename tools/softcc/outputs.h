// The output formats of softcc: json (every callback and report), screen
// (each change of the visible picture) and the cue formats vtt and srt.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "host.h"

namespace softcc {

struct Cue {
    double start = 0;
    double end = 0;
    int screen_row = 0;
    int screen_column = 0;
    std::vector<SegmentCopy> runs;
};

// Turns pictures into cues: a line keeps its cue while it stays on screen
// (also when a roll-up scrolls it to another row, or while it is still being
// typed), so no line is ever repeated across cues.
class CueBuilder {
public:
    void picture(double time, const std::vector<Line> &lines);
    // Closes the cues still open and returns all, in start order.
    std::vector<Cue> finish(double end_time);

private:
    struct Open {
        Cue cue;
        int window;
        int window_row;
        std::u16string text;
    };
    std::vector<Open> open_;
    std::vector<Cue> done_;
};

std::string timestamp(double seconds, char fraction_separator);
std::unique_ptr<Sink> make_sink(const std::string &format, FILE *out, bool ansi, int grid_columns);

}  // namespace softcc
