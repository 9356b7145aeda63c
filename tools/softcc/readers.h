// Caption file readers: turn SCC, MCC and raw caption streams into timed
// chunks of decoder input (608 pairs of one field, or whole DTVCC packets).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace softcc {

enum class Channel : uint8_t { Field1, Field2, Dtvcc };

struct Chunk {
    double time = 0;             // media time in seconds
    Channel channel = Channel::Field1;
    std::vector<uint8_t> bytes;  // one 608 pair, or one DTVCC packet
};

struct Warning {
    int line = 0;
    std::string message;
};

struct Stream {
    std::vector<Chunk> chunks;     // in media-time order
    std::vector<Warning> warnings; // damage found inside the file
    bool has_608 = false;          // carries any non-null 608 pair
    bool has_708 = false;          // carries any DTVCC packet
};

// Each returns false with `error` set when the text is not of its format.
bool read_scc(const std::string &text, Stream &out, std::string &error);
bool read_mcc(const std::string &text, Stream &out, std::string &error);
// MPEG-2 video elementary stream: the A/53 cc_data of each picture's GA94
// user data, in presentation order (by temporal reference within each group
// of pictures) at the sequence header's frame rate.  A warning's line is the
// number of the picture in decode order.
bool read_mpeg2_es(const std::vector<uint8_t> &data, Stream &out, std::string &error);
// Raw field pairs, one per frame at 29.97 fps.
void read_raw_608(const std::vector<uint8_t> &data, Stream &out);
// Raw DTVCC byte stream, split into packets by their size codes, one per frame.
void read_raw_708(const std::vector<uint8_t> &data, Stream &out);

// Frame count of a timecode; drop-frame skips frames 0 and 1 of every minute
// except each tenth.
int64_t timecode_frames(int h, int m, int s, int f, int nominal_fps, bool drop_frame);

// Total size in bytes of a DTVCC packet from its header byte.
inline size_t dtvcc_packet_size(uint8_t header)
{
    unsigned code = header & 0x3Fu;
    return code == 0 ? 128 : code * 2;
}

}  // namespace softcc
