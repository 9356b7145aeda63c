// Raw caption streams without framing: 608 pairs of one field, or the DTVCC
// packet stream.  One pair or packet per frame at 29.97 fps.
#include "readers.h"

namespace softcc {

void read_raw_608(const std::vector<uint8_t> &data, Stream &out)
{
    CcStage stage(out);
    for (size_t i = 0; i + 1 < data.size(); i += 2)
        stage.pair((i / 2) * kNtscFrame, Channel::Field1, data[i], data[i + 1]);
    out.carrier = "raw 608";
}

// Packets go out as they are, the last one perhaps short: the stream has no
// framing that could tell a cut from a size code.
void read_raw_708(const std::vector<uint8_t> &data, Stream &out)
{
    size_t frame = 0;
    for (size_t i = 0; i < data.size(); frame++) {
        size_t size = dtvcc_packet_size(data[i]);
        size_t n = size < data.size() - i ? size : data.size() - i;
        out.add(frame * kNtscFrame, Channel::Dtvcc, data.data() + i, n, true);
        out.has_708 = true;
        i += n;
    }
    out.carrier = "raw 708";
}

}  // namespace softcc
