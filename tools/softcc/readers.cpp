#include "readers.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>

namespace softcc {
namespace {

constexpr double kNtscFrame = 1001.0 / 30000.0;

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

struct Timecode {
    int h, m, s, f;
    bool drop;
};

// Parses "HH:MM:SS:FF" or "HH:MM:SS;FF" (also '.' or ',' before the frames)
// at the start of `line`; returns the number of characters used, 0 if none.
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
    // Drop-frame timecodes never name frames 0 and 1 of a minute not divisible by ten.
    return !(tc.drop && tc.s == 0 && tc.f < 2 && tc.m % 10 != 0);
}

void add_pair(Stream &out, double time, Channel channel, uint8_t b1, uint8_t b2)
{
    if ((b1 & 0x7F) != 0 || (b2 & 0x7F) != 0)
        out.has_608 = true;
    out.chunks.push_back(Chunk{time, channel, {b1, b2}});
}

}  // namespace

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

bool read_scc(const std::string &text, Stream &out, std::string &error)
{
    std::vector<std::string> lines = split_lines(text);
    size_t first = 0;
    while (first < lines.size() && lines[first].empty()) first++;
    if (first == lines.size() || lines[first].rfind("Scenarist_SCC", 0) != 0) {
        error = "not an SCC file (no Scenarist_SCC header)";
        return false;
    }
    int64_t next_frame = 0;  // first frame not yet given a pair
    for (size_t i = first + 1; i < lines.size(); i++) {
        const std::string &line = lines[i];
        int line_no = (int)i + 1;
        if (line.find_first_not_of(" \t") == std::string::npos)
            continue;
        Timecode tc{};
        size_t pos = parse_timecode(line, tc);
        if (pos == 0) {
            out.warnings.push_back({line_no, "line does not start with a timecode"});
            continue;
        }
        if (!timecode_valid(tc, 30)) {
            out.warnings.push_back({line_no, "impossible timecode"});
            continue;
        }
        int64_t frame = timecode_frames(tc.h, tc.m, tc.s, tc.f, 30, tc.drop);
        // Frames between the last pair and this line carry null pairs, as a
        // real field-1 stream would.  Pairs that run past the next line's
        // timecode push that line's pairs later, never back in time.
        for (; next_frame < frame; next_frame++)
            add_pair(out, next_frame * kNtscFrame, Channel::Field1, 0x80, 0x80);
        std::istringstream words(line.substr(pos));
        std::string word;
        while (words >> word) {
            int v[4];
            bool ok = word.size() == 4;
            for (int k = 0; ok && k < 4; k++)
                ok = (v[k] = hex_value(word[k])) >= 0;
            if (!ok) {
                out.warnings.push_back({line_no, "malformed hex word '" + word + "'"});
                continue;
            }
            add_pair(out, next_frame * kNtscFrame, Channel::Field1, (uint8_t)(v[0] << 4 | v[1]),
                     (uint8_t)(v[2] << 4 | v[3]));
            next_frame++;
        }
    }
    return true;
}

namespace {

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
        } else if (c == 'P') {
            bytes.insert(bytes.end(), {0xFB, 0x80, 0x80});
        } else if (c == 'Q') {
            bytes.insert(bytes.end(), {0xFC, 0x80, 0x80});
        } else if (c == 'R') {
            bytes.insert(bytes.end(), {0xFD, 0x80, 0x80});
        } else if (c == 'S') {
            bytes.insert(bytes.end(), {0x96, 0x69});
        } else if (c == 'T') {
            bytes.insert(bytes.end(), {0x61, 0x01});
        } else if (c == 'U') {
            bytes.insert(bytes.end(), {0xE1, 0x00, 0x00, 0x00});
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

// Collects DTVCC packets from cc_type 3 and 2 triplets.
struct PacketAssembler {
    std::vector<uint8_t> packet;
    size_t size = 0;

    // A packet cut short by the next start is completed with zero bytes, so
    // the decoder, which finds packet boundaries only by counting, stays in step.
    bool flush_short(Stream &out, double time)
    {
        if (packet.empty())
            return false;
        packet.resize(size, 0);
        emit(out, time);
        return true;
    }
    void emit(Stream &out, double time)
    {
        out.has_708 = true;
        out.chunks.push_back(Chunk{time, Channel::Dtvcc, packet});
        packet.clear();
        size = 0;
    }
    void add(Stream &out, double time, int cc_type, uint8_t b1, uint8_t b2, int line_no)
    {
        if (cc_type == 3) {
            if (flush_short(out, time))
                out.warnings.push_back({line_no, "DTVCC packet cut short by the next packet start"});
            size = dtvcc_packet_size(b1);
        } else if (packet.empty()) {
            return;  // continuation without a start: nothing to attach it to
        }
        packet.push_back(b1);
        packet.push_back(b2);
        if (packet.size() >= size) {
            packet.resize(size);
            emit(out, time);
        }
    }
};

// A/53 cc_data triplets: cc_type 0 and 1 are field 1 and field 2 pairs, 3
// and 2 the DTVCC packet bytes; cc_valid 0 carries nothing.
void read_triplets(const uint8_t *p, unsigned count, double time, int line_no, Stream &out, PacketAssembler &dtvcc)
{
    for (unsigned k = 0; k < count; k++, p += 3) {
        if (!(p[0] & 0x04))
            continue;
        int cc_type = p[0] & 0x03;
        if (cc_type == 0 || cc_type == 1)
            add_pair(out, time, cc_type == 0 ? Channel::Field1 : Channel::Field2, p[1], p[2]);
        else
            dtvcc.add(out, time, cc_type, p[1], p[2], line_no);
    }
}

// Decodes one CDP's cc_data; returns a description of the damage or "".
std::string read_cdp(const uint8_t *cdp, size_t n, double time, int line_no, Stream &out,
                     PacketAssembler &dtvcc)
{
    if (n < 11 || cdp[0] != 0x96 || cdp[1] != 0x69)
        return "no CDP in the ANC packet";
    std::string damage;
    if (cdp[2] != n)
        damage = "CDP length " + std::to_string(cdp[2]) + " but " + std::to_string(n) + " bytes";
    size_t end = cdp[2] < n ? cdp[2] : n;
    unsigned sum = 0;
    for (size_t i = 0; i < end; i++) sum += cdp[i];
    if (damage.empty() && (sum & 0xFF) != 0)
        damage = "CDP checksum mismatch";
    size_t p = 7;
    while (p < end) {
        uint8_t id = cdp[p];
        if (id == 0x71) {
            p += 5;
        } else if (id == 0x72) {
            if (p + 1 >= end) break;
            unsigned count = std::min<size_t>(cdp[p + 1] & 0x1F, (end - p - 2) / 3);
            read_triplets(cdp + p + 2, count, time, line_no, out, dtvcc);
            p += 2 + 3 * count;
        } else if (id == 0x73) {
            if (p + 1 >= end) break;
            p += 2 + (cdp[p + 1] & 0x0F) * 7u;
        } else {
            break;  // the footer 0x74, or a section this reader does not know
        }
    }
    return damage;
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
    PacketAssembler dtvcc;
    double last_time = 0;
    for (size_t i = 1; i < lines.size(); i++) {
        const std::string &line = lines[i];
        int line_no = (int)i + 1;
        if (line.empty() || line.rfind("//", 0) == 0)
            continue;
        if (line.rfind("Time Code Rate=", 0) == 0) {
            std::string rate = line.substr(15);
            fps = std::atoi(rate.c_str());
            drop = rate.find("DF") != std::string::npos;
            if (fps <= 0 || fps > 60) {
                out.warnings.push_back({line_no, "unknown time code rate '" + rate + "'"});
                fps = 30;
            }
            // 30, 60 and the drop-frame rates run at 1000/1001 of nominal; 24, 25 and 50 as named.
            frame_seconds = (fps == 30 || fps == 60 || drop) ? 1001.0 / (1000.0 * fps) : 1.0 / fps;
            continue;
        }
        if (line.find('=') != std::string::npos && !std::isdigit((unsigned char)line[0]))
            continue;  // other header fields
        Timecode tc{};
        size_t pos = parse_timecode(line, tc);
        if (pos == 0) {
            out.warnings.push_back({line_no, "line does not start with a timecode"});
            continue;
        }
        // Version 2 may add a field mark ".0" / ".1" after the frames.
        if (pos + 1 < line.size() && line[pos] == '.' && std::isdigit((unsigned char)line[pos + 1]))
            pos += 2;
        if (!timecode_valid(tc, fps)) {
            out.warnings.push_back({line_no, "impossible timecode"});
            continue;
        }
        double time = timecode_frames(tc.h, tc.m, tc.s, tc.f, fps, tc.drop || drop) * frame_seconds;
        last_time = time;
        std::vector<uint8_t> anc;
        std::string what;
        if (!expand_mcc(line.substr(pos), anc, what)) {
            out.warnings.push_back({line_no, what});
            continue;
        }
        if (anc.size() < 4 || anc[0] != 0x61 || anc[1] != 0x01) {
            out.warnings.push_back({line_no, "not a caption ANC packet (61 01)"});
            continue;
        }
        size_t count = anc[2];
        if (count + 4 != anc.size())
            out.warnings.push_back({line_no, "ANC count " + std::to_string(count) + " but " +
                                                 std::to_string(anc.size() - 4) + " data bytes"});
        size_t n = count < anc.size() - 3 ? count : anc.size() - 3;
        std::string damage = read_cdp(anc.data() + 3, n, time, line_no, out, dtvcc);
        if (!damage.empty())
            out.warnings.push_back({line_no, damage});
    }
    if (dtvcc.flush_short(out, last_time))
        out.warnings.push_back({(int)lines.size(), "DTVCC packet cut short by the end of the file"});
    return true;
}

void read_raw_608(const std::vector<uint8_t> &data, Stream &out)
{
    for (size_t i = 0; i + 1 < data.size(); i += 2)
        add_pair(out, (i / 2) * kNtscFrame, Channel::Field1, data[i], data[i + 1]);
}

void read_raw_708(const std::vector<uint8_t> &data, Stream &out)
{
    size_t frame = 0;
    for (size_t i = 0; i < data.size(); frame++) {
        size_t size = dtvcc_packet_size(data[i]);
        size_t n = size < data.size() - i ? size : data.size() - i;
        out.chunks.push_back(
            Chunk{frame * kNtscFrame, Channel::Dtvcc, std::vector<uint8_t>(data.begin() + i, data.begin() + i + n)});
        out.has_708 = true;
        i += n;
    }
}

namespace {

// Seconds per frame by the sequence header's frame_rate_code (0 and 9-15 are reserved).
double mpeg2_frame_seconds(unsigned code)
{
    static const double rates[9] = {0, 24000.0 / 1001, 24, 25, 30000.0 / 1001, 30, 50, 60000.0 / 1001, 60};
    return code >= 1 && code <= 8 ? 1.0 / rates[code] : kNtscFrame;
}

struct Picture {
    int64_t presentation = 0;   // frame number in presentation order
    int number = 0;             // 1-based, in decode order
    std::vector<uint8_t> cc;    // its cc_data triplets
};

}  // namespace

bool read_mpeg2_es(const std::vector<uint8_t> &data, Stream &out, std::string &error)
{
    if (data.size() < 4 || data[0] != 0 || data[1] != 0 || data[2] != 1 || data[3] != 0xB3) {
        error = "not an MPEG-2 video elementary stream (no sequence header at the start)";
        return false;
    }
    double frame_seconds = kNtscFrame;
    std::vector<Picture> pictures;
    int64_t gop_base = 0, gop_end = 0;  // first frame of the group, one past its last
    for (size_t i = 0; i + 4 <= data.size(); i++) {
        if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1 || i + 4 == data.size())
            continue;
        const uint8_t *p = data.data() + i + 4;
        size_t left = data.size() - i - 4;
        uint8_t code = data[i + 3];
        if (code == 0xB3 && left >= 4) {
            frame_seconds = mpeg2_frame_seconds(p[3] & 0x0F);
        } else if (code == 0xB8) {
            // Temporal references count from 0 again in each group of pictures.  The
            // group ends after its highest reference: a stream cut inside a group
            // lacks some of its leading pictures.
            gop_base = gop_end;
        } else if (code == 0x00 && left >= 2) {
            int temporal_reference = p[0] << 2 | p[1] >> 6;
            pictures.push_back(Picture{gop_base + temporal_reference, (int)pictures.size() + 1, {}});
            gop_end = std::max(gop_end, gop_base + temporal_reference + 1);
        } else if (code == 0xB2 && left >= 7 && std::equal(p, p + 5, (const uint8_t *)"GA94\x03") &&
                   !pictures.empty() && (p[5] & 0x40)) {
            // GA94 user data of the picture before it: flags and cc_count, em_data, triplets.
            size_t count = p[5] & 0x1F;
            if (7 + 3 * count > left) {
                out.warnings.push_back({pictures.back().number, "cc_data cut short by the end of the stream"});
                count = (left - 7) / 3;
            }
            pictures.back().cc.insert(pictures.back().cc.end(), p + 7, p + 7 + 3 * count);
        }
    }
    // The decoder needs the pictures' captions in the order they are shown.
    std::stable_sort(pictures.begin(), pictures.end(),
                     [](const Picture &a, const Picture &b) { return a.presentation < b.presentation; });
    PacketAssembler dtvcc;
    double last_time = 0;
    for (const Picture &picture : pictures) {
        last_time = picture.presentation * frame_seconds;
        read_triplets(picture.cc.data(), (unsigned)(picture.cc.size() / 3), last_time, picture.number, out, dtvcc);
    }
    if (dtvcc.flush_short(out, last_time))
        out.warnings.push_back({pictures.empty() ? 0 : pictures.back().number,
                                "DTVCC packet cut short by the end of the stream"});
    return true;
}

}  // namespace softcc
