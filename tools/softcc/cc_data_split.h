// How A/53 cc_data becomes what the decoders take: the 608 pairs of each
// field and the DTVCC packets.  softcc's cc_data stage (stream.cpp) and the
// JavaScript package's module (bindings/js/wasm) both split through this
// header, which needs nothing at all (no C library, no allocation), since
// the package's module is built without a C library.
//
// A triplet is a header byte (cc_valid in bit 2, cc_type in bits 0-1) and two
// data bytes.  cc_valid 0 carries nothing; cc_type 0 and 1 are the pairs of
// fields 1 and 2; cc_type 3 starts a DTVCC packet and 2 continues it.  Bytes
// past the size a packet's header declares, and continuations without a
// start, have no packet to go to and are dropped.  A packet cut short by the
// next start, or by the end of the input, is completed with zero bytes to its
// declared size: the 708 decoder finds packet boundaries only by counting, so
// it stays in step.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace softcc {

// Total size in bytes of a DTVCC packet from its header byte.
inline uint32_t dtvcc_packet_size(uint8_t header)
{
    uint32_t code = header & 0x3Fu;
    return code == 0 ? 128 : code * 2;
}

inline constexpr uint8_t kDtvccZeros[128] = {};

// The state between calls is one number, `missing`: the bytes the open DTVCC
// packet still lacks, 0 when none is open.  What a sink has:
//   void pair(uint32_t field, const uint8_t *bytes);   a 608 pair of field 0 or 1
//   void packet_start();                               a DTVCC packet begins with the next bytes
//   void packet_bytes(const uint8_t *bytes, uint32_t count);
//   void packet_short(bool at_end);                    the open packet was cut short (by the end of the
//                                                      input when at_end); zero bytes complete it
//   void packet_end();                                 the packet has all its bytes

template <class Sink>
void complete_short_packet(uint32_t &missing, bool at_end, Sink &sink)
{
    if (missing == 0)
        return;
    sink.packet_short(at_end);
    sink.packet_bytes(kDtvccZeros, missing);
    missing = 0;
    sink.packet_end();
}

// `count` triplets, in order.
template <class Sink>
void split_cc_data(uint32_t &missing, const uint8_t *p, size_t count, Sink &sink)
{
    for (const uint8_t *end = p + 3 * count; p < end; p += 3) {
        if ((p[0] & 0x04) == 0)
            continue;
        uint32_t cc_type = p[0] & 0x03u;
        if (cc_type < 2) {
            sink.pair(cc_type, p + 1);
            continue;
        }
        if (cc_type == 3) {
            complete_short_packet(missing, false, sink);
            sink.packet_start();
            missing = dtvcc_packet_size(p[1]);
        }
        uint32_t n = missing < 2 ? missing : 2;
        if (n == 0)
            continue;
        sink.packet_bytes(p + 1, n);
        missing -= n;
        if (missing == 0)
            sink.packet_end();
    }
}

// The end of the input: a packet still open is completed.
template <class Sink>
void end_cc_data(uint32_t &missing, Sink &sink)
{
    complete_short_packet(missing, true, sink);
}

}  // namespace softcc
