// MPEG-2 video elementary stream: the GA94 cc_data in each picture's user
// data, fed in presentation order.
#include <algorithm>
#include <cstring>

#include "cc_data.h"
#include "readers.h"

namespace softcc {
namespace {

// Seconds per frame by the sequence header's frame_rate_code (0 and 9-15 are reserved).
double mpeg2_frame_seconds(unsigned code)
{
    static const double rates[9] = {0, 24000.0 / 1001, 24, 25, 30000.0 / 1001, 30, 50, 60000.0 / 1001, 60};
    return code >= 1 && code <= 8 ? 1.0 / rates[code] : kNtscFrame;
}

struct Picture {
    int64_t presentation = 0;   // frame number in presentation order
    size_t number = 0;          // 1-based, in decode order
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
            pictures.push_back(Picture{gop_base + temporal_reference, pictures.size() + 1, {}});
            gop_end = std::max(gop_end, gop_base + temporal_reference + 1);
        } else if (code == 0xB2 && left >= 4 && std::memcmp(p, "GA94", 4) == 0 && !pictures.empty()) {
            std::string damage = ga94_triplets(p + 4, left - 4, pictures.back().cc);
            if (!damage.empty())
                out.warn(Position{"picture", pictures.back().number}, damage);
        }
    }
    // The decoder needs the pictures' captions in the order they are shown.
    std::stable_sort(pictures.begin(), pictures.end(),
                     [](const Picture &a, const Picture &b) { return a.presentation < b.presentation; });
    CcStage stage(out);
    double last_time = 0;
    for (const Picture &picture : pictures) {
        last_time = picture.presentation * frame_seconds;
        stage.triplets(last_time, picture.cc.data(), picture.cc.size() / 3, Position{"picture", picture.number});
    }
    stage.finish(last_time, Position{"picture", pictures.empty() ? 0 : pictures.back().number}, "stream");
    out.carrier = "MPEG-2 video";
    return true;
}

}  // namespace softcc
