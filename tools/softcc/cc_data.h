// Where A/53 cc_data travels, and how to take it out: caption distribution
// packets (CDP), MPEG-2 picture user data, H.264 and HEVC SEI, and the
// samples of QuickTime closed-caption tracks.  Each function appends the
// cc_data triplets (3 bytes each) it finds to `triplets` and returns a
// description of the first damage it met, or "" (it still takes what it can).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace softcc {

// One CDP (96 69 length ...): the triplets of its cc_data section.
std::string cdp_triplets(const uint8_t *cdp, size_t n, std::vector<uint8_t> &triplets);

// The bytes after a 'GA94' identifier: user_data_type_code 3, then cc_data
// (flags and cc_count, em_data, the triplets).  Other type codes carry none.
std::string ga94_triplets(const uint8_t *p, size_t n, std::vector<uint8_t> &triplets);

// MPEG-2 video: the GA94 user data (00 00 01 B2) of the pictures in `data`.
std::string mpeg2_triplets(const uint8_t *data, size_t n, std::vector<uint8_t> &triplets);

enum class VideoCodec { H264, Hevc };

// One access unit's SEI (H.264 NAL type 6, HEVC prefix SEI type 39): the
// registered ITU-T T.35 messages of country 0xB5, provider 0x0031, 'GA94',
// with emulation prevention removed.  `length_size` 1-4 reads NAL units
// prefixed by big-endian lengths (MP4, Matroska); 0 reads start codes.
std::string sei_triplets(VideoCodec codec, const uint8_t *data, size_t n, int length_size,
                         std::vector<uint8_t> &triplets);
// The NAL length size an avcC or hvcC record declares; 0 for extradata that
// is not such a record (start codes).
int nal_length_size(VideoCodec codec, const uint8_t *extradata, size_t n);

// A sample of a QuickTime c608 track: 'cdat' atoms carry field-1 pairs and
// 'cdt2' atoms field-2 pairs (turned into triplets of cc_type 0 and 1); a
// c708 track's 'ccdp' atoms carry a CDP.
std::string quicktime_triplets(const uint8_t *data, size_t n, std::vector<uint8_t> &triplets);

// Languages of the caption services that a transport stream's program map
// tables name in caption service descriptors (tag 0x86), found in `data`
// (whole 188-byte packets from the start of the stream): service name ("CC1",
// "CC3", "1" ... "63") to ISO 639 code.
std::map<std::string, std::string> ts_caption_languages(const uint8_t *data, size_t n);

}  // namespace softcc
