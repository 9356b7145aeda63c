// The shared cc_data stage.  Every reader hands its caption data to a CcStage:
// frames of A/53 cc_data triplets with a media time (or, for formats that
// carry them bare, 608 pairs and DTVCC bytes), and the stage splits them into
// what the decoder takes: the 608 pairs of each field, and the DTVCC bytes
// each frame carries, with every packet completed to its declared size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cc_data_split.h"

namespace softcc {

enum class Channel : uint8_t { Field1, Field2, Dtvcc };

// One 608 pair, or the bytes of one DTVCC packet that one frame carries,
// kept in its stream's payload: a long input has hundreds of thousands, and
// one heap block each costs more than the decoding.
struct Chunk {
    double time = 0;  // media time in seconds
    Channel channel = Channel::Field1;
    uint8_t size = 0;
    bool packet_start = false;  // DTVCC: the bytes begin with a packet header
    uint32_t offset = 0;        // in Stream::payload
};

struct Warning {
    std::string at;  // where in the input: a line number, "picture 12", "packet 40 (00:00:01.500)"
    std::string message;
};

// Where a frame sits in its input, spelled out only for a warning: a line
// number, "picture 12", "packet 40 (00:00:01.500)".
struct Position {
    const char *unit = "";  // "" for a line number
    size_t number = 0;
    double time = -1;       // media time, when known
    std::string text() const;
};

struct Stream {
    std::vector<Chunk> chunks;      // in media-time order
    std::vector<uint8_t> payload;   // the chunks' bytes
    std::vector<Warning> warnings;  // damage found inside the input
    bool has_608 = false;           // carries any non-null 608 pair
    bool has_708 = false;           // carries any DTVCC packet
    std::string carrier;            // what the captions came in, for the inventory
    std::map<std::string, std::string> languages;  // service name ("CC1", "1") to language code

    void add(double time, Channel channel, const uint8_t *bytes, size_t size, bool packet_start = false)
    {
        chunks.push_back(Chunk{time, channel, (uint8_t)size, packet_start, (uint32_t)payload.size()});
        payload.insert(payload.end(), bytes, bytes + size);
    }
    const uint8_t *bytes(const Chunk &c) const { return payload.data() + c.offset; }
    std::vector<uint8_t> bytes_of(size_t chunk) const
    {
        const Chunk &c = chunks.at(chunk);
        return std::vector<uint8_t>(bytes(c), bytes(c) + c.size);
    }
    void warn(const std::string &at, const std::string &message) { warnings.push_back({at, message}); }
    void warn(const Position &at, const std::string &message) { warnings.push_back({at.text(), message}); }
};

class CcStage {
public:
    explicit CcStage(Stream &out) : out_(out) {}

    void pair(double time, Channel field, uint8_t b1, uint8_t b2);
    // `count` triplets of one frame, split as cc_data_split.h says.  `at`
    // names the frame in warnings.  The frame's DTVCC bytes go out at its
    // time, as a player hands them to the decoder frame by frame.
    void triplets(double time, const uint8_t *p, size_t count, const Position &at);
    // A packet still open at the end is completed with zeros, with a warning
    // that it was cut short by the end of the `what` ("file", "stream").
    void finish(double time, const Position &at, const char *what);

private:
    struct Splitting;  // the sink of split_cc_data for one frame
    void emit(double time);

    Stream &out_;
    std::vector<uint8_t> piece_;  // bytes of the open packet not yet handed on
    bool piece_starts_ = false;   // piece_ begins with the packet header
    uint32_t missing_ = 0;        // bytes the open packet still lacks
};

// Joins a stream's DTVCC chunks back into whole packets: calls
// `packet(time, bytes)` for each, with the time of its last chunk.
template <typename F>
void for_each_dtvcc_packet(const Stream &s, F packet)
{
    std::vector<uint8_t> bytes;
    double time = 0;
    for (const Chunk &c : s.chunks) {
        if (c.channel != Channel::Dtvcc)
            continue;
        if (c.packet_start && !bytes.empty()) {
            packet(time, bytes);
            bytes.clear();
        }
        bytes.insert(bytes.end(), s.bytes(c), s.bytes(c) + c.size);
        time = c.time;
    }
    if (!bytes.empty())
        packet(time, bytes);
}

}  // namespace softcc
