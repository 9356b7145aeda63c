// Scenarist SCC: field-1 pairs as hex words after a timecode, one pair per
// frame at 29.97 fps from the line's timecode.
#include <sstream>

#include "readers.h"
#include "text_formats.h"

namespace softcc {
namespace {

// A timecode whose frames run past the rate, or that names a frame
// drop-frame skips, still says where its author meant the line to go: it is
// read as the frame count it spells.
bool repairable(const Timecode &tc)
{
    return tc.h >= 0 && tc.m >= 0 && tc.m <= 59 && tc.s >= 0 && tc.s <= 59 && tc.f >= 0;
}

}  // namespace

bool read_scc(const std::string &text, Stream &out, std::string &error)
{
    std::vector<std::string> lines = split_lines(text);
    size_t first = 0;
    while (first < lines.size() && lines[first].empty()) first++;
    if (first == lines.size() || lines[first].rfind("Scenarist_SCC", 0) != 0) {
        error = "not an SCC file (no Scenarist_SCC header)";
        return false;
    }
    CcStage stage(out);
    int64_t next_frame = 0;  // first frame not yet given a pair
    for (size_t i = first + 1; i < lines.size(); i++) {
        const std::string &line = lines[i];
        std::string at = std::to_string(i + 1);
        if (line.find_first_not_of(" \t") == std::string::npos)
            continue;
        Timecode tc;
        size_t pos = parse_timecode(line, tc);
        if (pos == 0) {
            out.warn(at, "line does not start with a timecode");
            continue;
        }
        if (!timecode_valid(tc, 30)) {
            if (!repairable(tc)) {
                out.warn(at, "impossible timecode");
                continue;
            }
            out.warn(at, "timecode " + line.substr(0, pos) + " names no frame; read as frame " +
                             std::to_string(timecode_frames(tc.h, tc.m, tc.s, tc.f, 30, tc.drop)));
        }
        int64_t frame = timecode_frames(tc.h, tc.m, tc.s, tc.f, 30, tc.drop);
        // Frames between the last pair and this line carry null pairs, as a
        // real field-1 stream would.  Pairs that run past the next line's
        // timecode push that line's pairs later, never back in time.
        for (; next_frame < frame; next_frame++)
            stage.pair(next_frame * kNtscFrame, Channel::Field1, 0x80, 0x80);
        std::istringstream words(line.substr(pos));
        std::string word;
        while (words >> word) {
            int v[4];
            bool ok = word.size() == 4;
            for (int k = 0; ok && k < 4; k++)
                ok = (v[k] = hex_value(word[k])) >= 0;
            if (!ok) {
                out.warn(at, "malformed hex word '" + word + "'");
                continue;
            }
            stage.pair(next_frame * kNtscFrame, Channel::Field1, (uint8_t)(v[0] << 4 | v[1]),
                       (uint8_t)(v[2] << 4 | v[3]));
            next_frame++;
        }
    }
    out.carrier = "SCC";
    return true;
}

}  // namespace softcc
