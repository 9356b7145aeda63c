// The parsers of cc_data in video and containers: the first byte chooses one
// (and the codec and NAL length size), the rest is its input; whatever
// triplets come out go through the cc_data stage and the track inventory.
#include "cc_data.h"
#include "tracks.h"

using namespace softcc;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    uint8_t mode = data[0];
    data++;
    size--;
    VideoCodec codec = (mode & 1) ? VideoCodec::Hevc : VideoCodec::H264;
    std::vector<uint8_t> cc;
    switch ((mode >> 1) & 7) {
    case 0:
    case 1: sei_triplets(codec, data, size, (mode >> 4) % 5, cc); break;
    case 2: mpeg2_triplets(data, size, cc); break;
    case 3: quicktime_triplets(data, size, cc); break;
    case 4: cdp_triplets(data, size, cc); break;
    case 5: ga94_triplets(data, size, cc); break;
    case 6: ts_caption_languages(data, size); break;
    case 7:
        nal_length_size(codec, data, size);
        cc.assign(data, data + size / 3 * 3);
        break;
    }
    Stream stream;
    CcStage stage(stream);
    stage.triplets(0, cc.data(), cc.size() / 3, Position{"frame", 1});
    stage.finish(0, Position{"frame", 1}, "stream");
    tracks_present(stream);
    return 0;
}
