// MacCaption MCC: one ANC packet (61 01 count CDP checksum) per line, as hex
// with run-length letters, after a timecode at the header's rate.
#include <cctype>
#include <cstdlib>

#include "cc_data.h"
#include "readers.h"
#include "text_formats.h"

namespace softcc {
namespace {

// What the letters P to U stand for; G to O are 1 to 9 DTVCC padding triplets.
const std::vector<uint8_t> kLetters[] = {
    /* P */ {0xFB, 0x80, 0x80},
    /* Q */ {0xFC, 0x80, 0x80},
    /* R */ {0xFD, 0x80, 0x80},
    /* S */ {0x96, 0x69},
    /* T */ {0x61, 0x01},
    /* U */ {0xE1, 0x00, 0x00, 0x00},
};

// Expands one MCC data line (hex with letter substitutions) into bytes.
bool expand_mcc(const std::string &data, std::vector<uint8_t> &bytes, std::string &what)
{
    for (size_t i = 0; i < data.size(); i++) {
        char c = data[i];
        if (c == ' ' || c == '\t')
            continue;
        if (c >= 'G' && c <= 'O') {
            for (int k = 0; k <= c - 'G'; k++)
                bytes.insert(bytes.end(), {0xFA, 0x00, 0x00});
        } else if (c >= 'P' && c <= 'U') {
            bytes.insert(bytes.end(), kLetters[c - 'P'].begin(), kLetters[c - 'P'].end());
        } else if (c == 'Z') {
            bytes.push_back(0x00);
        } else {
            int hi = hex_value(c);
            int lo = i + 1 < data.size() ? hex_value(data[i + 1]) : -1;
            if (hi < 0 || lo < 0) {
                what = std::string("malformed hex at '") + c + "'";
                return false;
            }
            bytes.push_back((uint8_t)(hi << 4 | lo));
            i++;
        }
    }
    return true;
}

}  // namespace

bool read_mcc(const std::string &text, Stream &out, std::string &error)
{
    std::vector<std::string> lines = split_lines(text);
    if (lines.empty() || lines[0].rfind("File Format=MacCaption_MCC", 0) != 0) {
        error = "not an MCC file (no File Format=MacCaption_MCC header)";
        return false;
    }
    int fps = 30;
    bool drop = false;
    double frame_seconds = kNtscFrame;
    CcStage stage(out);
    double last_time = 0;
    for (size_t i = 1; i < lines.size(); i++) {
        const std::string &line = lines[i];
        std::string at = std::to_string(i + 1);
        if (line.empty() || line.rfind("//", 0) == 0)
            continue;
        if (line.rfind("Time Code Rate=", 0) == 0) {
            std::string rate = line.substr(15);
            fps = std::atoi(rate.c_str());
            drop = rate.find("DF") != std::string::npos;
            if (fps <= 0 || fps > 60) {
                out.warn(at, "unknown time code rate '" + rate + "'");
                fps = 30;
            }
            // 30, 60 and the drop-frame rates run at 1000/1001 of nominal; 24, 25 and 50 as named.
            frame_seconds = (fps == 30 || fps == 60 || drop) ? 1001.0 / (1000.0 * fps) : 1.0 / fps;
            continue;
        }
        if (line.find('=') != std::string::npos && !std::isdigit((unsigned char)line[0]))
            continue;  // other header fields
        Timecode tc;
        size_t pos = parse_timecode(line, tc);
        if (pos == 0) {
            out.warn(at, "line does not start with a timecode");
            continue;
        }
        // Version 2 may add a field mark ".0" / ".1" after the frames.
        if (pos + 1 < line.size() && line[pos] == '.' && std::isdigit((unsigned char)line[pos + 1]))
            pos += 2;
        if (!timecode_valid(tc, fps)) {
            out.warn(at, "impossible timecode");
            continue;
        }
        double time = timecode_frames(tc.h, tc.m, tc.s, tc.f, fps, tc.drop || drop) * frame_seconds;
        last_time = time;
        std::vector<uint8_t> anc;
        std::string what;
        if (!expand_mcc(line.substr(pos), anc, what)) {
            out.warn(at, what);
            continue;
        }
        if (anc.size() < 4 || anc[0] != 0x61 || anc[1] != 0x01) {
            out.warn(at, "not a caption ANC packet (61 01)");
            continue;
        }
        size_t count = anc[2];
        if (count + 4 != anc.size())
            out.warn(at, "ANC count " + std::to_string(count) + " but " + std::to_string(anc.size() - 4) +
                             " data bytes");
        size_t n = count < anc.size() - 3 ? count : anc.size() - 3;
        std::vector<uint8_t> triplets;
        std::string damage = cdp_triplets(anc.data() + 3, n, triplets);
        stage.triplets(time, triplets.data(), triplets.size() / 3, Position{"", i + 1});
        if (!damage.empty())
            out.warn(at, damage);
    }
    stage.finish(last_time, Position{"", lines.size()}, "file");
    out.carrier = "MCC";
    return true;
}

}  // namespace softcc
