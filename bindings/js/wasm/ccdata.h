/*
 * cc_data for the package: the split rules are softcc's own
 * (tools/softcc/cc_data_split.h); here the DTVCC bytes are gathered into
 * whole packets, which is what the package's decoders and splitter hand on.
 *
 * `Take` is a type with pair(cc_type, bytes) and packet(bytes, size).
 */
#ifndef VQSOFTCC_WASM_CCDATA_H
#define VQSOFTCC_WASM_CCDATA_H

#include "cc_data_split.h"
#include "wasm_host.h"

namespace vqjs {

template <class Take>
struct WholePackets {
    VqjsCcData &input;
    Take &take;

    void pair(uint32_t cc_type, const uint8_t *bytes) { take.pair(cc_type, bytes); }
    void packet_start() { input.fill = 0; }
    void packet_bytes(const uint8_t *bytes, uint32_t count)
    {
        // The split never gives an open packet more than its declared size, at most 128 bytes.
        for (uint32_t i = 0; i < count; i++) input.packet[input.fill++] = bytes[i];
    }
    void packet_short(bool) { input.packets_zero_filled++; }
    void packet_end() { take.packet(input.packet, input.fill); }
};

template <class Take>
void split_triplets(VqjsCcData &input, const uint8_t *data, uint32_t length, Take &take)
{
    WholePackets<Take> sink{input, take};
    softcc::split_cc_data(input.missing, data, length / 3, sink);
}

// The end of the input: a packet still open is completed with zero bytes.
template <class Take>
void complete_packet(VqjsCcData &input, Take &take)
{
    WholePackets<Take> sink{input, take};
    softcc::end_cc_data(input.missing, sink);
}

}  // namespace vqjs

#endif /* VQSOFTCC_WASM_CCDATA_H */
