/*
 * A/53 cc_data: triplets of a header byte (cc_valid in bit 2, cc_type in
 * bits 0-1) and two data bytes.  cc_type 0 and 1 carry the 608 pairs of
 * fields 1 and 2; cc_type 3 starts a DTVCC packet and 2 continues it.  A
 * triplet with cc_valid 0 carries nothing, and packet data without a start
 * has nothing to join and is dropped.
 *
 * A packet cut short by the next start (or by the end of the input) is
 * completed with zero bytes to the size its header declares: the 708
 * decoder finds packet boundaries only by counting, so it stays in step.
 *
 * The sink is a type with pair(cc_type, bytes) and packet(bytes, size); both
 * the decoders' own input and the JavaScript helper use these rules.
 */
#ifndef VQSOFTCC_WASM_CCDATA_H
#define VQSOFTCC_WASM_CCDATA_H

#include "vqsoftcc_platform.h"
#include "wasm_host.h"

namespace vqjs {

inline uint32_t declared_packet_size(uint8_t header)
{
    uint32_t code = header & 0x3Fu;
    return code == 0 ? 128 : code * 2;
}

template <class Sink>
void complete_packet(VqjsCcData &input, Sink &sink)
{
    if (input.fill == 0)
        return;
    if (input.fill < input.size) {
        VQMemset(input.packet + input.fill, 0, input.size - input.fill);
        input.packets_zero_filled++;
    }
    input.fill = 0;
    sink.packet(input.packet, input.size);
}

template <class Sink>
void collect_packet_bytes(VqjsCcData &input, uint32_t cc_type, const uint8_t *data, Sink &sink)
{
    if (cc_type == 3) {
        complete_packet(input, sink);
        input.size = declared_packet_size(data[0]);
    } else if (input.fill == 0) {
        return;
    }
    input.packet[input.fill++] = data[0];
    input.packet[input.fill++] = data[1];
    if (input.fill >= input.size)
        complete_packet(input, sink);
}

template <class Sink>
void split_triplets(VqjsCcData &input, const uint8_t *data, uint32_t length, Sink &sink)
{
    for (const uint8_t *end = data + length / 3 * 3; data < end; data += 3) {
        if ((data[0] & 0x04) == 0)
            continue;
        uint32_t cc_type = data[0] & 0x03u;
        if (cc_type < 2)
            sink.pair(cc_type, data + 1);
        else
            collect_packet_bytes(input, cc_type, data + 1, sink);
    }
}

}  // namespace vqjs

#endif /* VQSOFTCC_WASM_CCDATA_H */
