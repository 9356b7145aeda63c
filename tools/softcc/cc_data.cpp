#include "cc_data.h"

#include <algorithm>
#include <cstring>

namespace softcc {
namespace {

uint32_t big_endian(const uint8_t *p, int bytes)
{
    uint32_t v = 0;
    for (int i = 0; i < bytes; i++) v = v << 8 | p[i];
    return v;
}

void keep_first(std::string &damage, const std::string &found)
{
    if (damage.empty())
        damage = found;
}

// Offset of the first start code (00 00 01) at or after `from`, or n.  Looks
// for the 01 with memchr: a video packet is mostly slice data.
size_t next_start_code(const uint8_t *d, size_t from, size_t n)
{
    for (size_t i = from; i + 2 < n;) {
        const void *hit = std::memchr(d + i + 2, 1, n - i - 2);
        if (!hit)
            return n;
        size_t k = (size_t)((const uint8_t *)hit - d);
        if (d[k - 1] == 0 && d[k - 2] == 0)
            return k - 2;
        i = k - 1;
    }
    return n;
}

// A NAL unit's payload as the syntax reads it: an encoder inserts 03 after
// every two zero bytes that a 00, 01, 02 or 03 follows, so that no start
// code appears inside.
std::vector<uint8_t> remove_emulation_prevention(const uint8_t *p, size_t n)
{
    std::vector<uint8_t> out;
    out.reserve(n);
    int zeros = 0;
    for (size_t i = 0; i < n; i++) {
        if (zeros >= 2 && p[i] == 3) {
            zeros = 0;
            continue;
        }
        out.push_back(p[i]);
        zeros = p[i] == 0 ? zeros + 1 : 0;
    }
    return out;
}

// user_data_registered_itu_t_t35: country 0xB5 (United States), provider
// 0x0031 (ATSC), user identifier 'GA94'.
std::string t35_triplets(const uint8_t *p, size_t n, std::vector<uint8_t> &triplets)
{
    if (n < 7 || p[0] != 0xB5 || p[1] != 0x00 || p[2] != 0x31 || std::memcmp(p + 3, "GA94", 4) != 0)
        return "";
    return ga94_triplets(p + 7, n - 7, triplets);
}

// The SEI messages of one SEI RBSP, up to its trailing bits.
std::string sei_message_triplets(const uint8_t *p, size_t n, std::vector<uint8_t> &triplets)
{
    std::string damage;
    size_t i = 0;
    while (i < n && !(n - i == 1 && p[i] == 0x80)) {
        size_t type = 0, size = 0;
        while (i < n && p[i] == 0xFF) type += p[i++];
        if (i == n) break;
        type += p[i++];
        while (i < n && p[i] == 0xFF) size += p[i++];
        if (i == n) break;
        size += p[i++];
        if (size > n - i) {
            keep_first(damage, "SEI message of " + std::to_string(size) + " bytes runs past its NAL unit");
            size = n - i;
        }
        if (type == 4)
            keep_first(damage, t35_triplets(p + i, size, triplets));
        i += size;
    }
    return damage;
}

enum class Nal { Other, Sei, Picture };

Nal nal_kind(VideoCodec codec, const uint8_t *nal, size_t n)
{
    if (codec == VideoCodec::H264) {
        unsigned type = nal[0] & 0x1F;
        return type == 6 ? Nal::Sei : (type >= 1 && type <= 5) ? Nal::Picture : Nal::Other;
    }
    if (n < 2)
        return Nal::Other;
    unsigned type = (nal[0] >> 1) & 0x3F;
    return type == 39 ? Nal::Sei : type < 32 ? Nal::Picture : Nal::Other;
}

// Reads one NAL unit; false once the access unit's picture data starts,
// since the SEI that carries captions comes before it.
bool nal_triplets(VideoCodec codec, const uint8_t *nal, size_t n, std::vector<uint8_t> &triplets,
                  std::string &damage)
{
    if (n == 0)
        return true;
    Nal kind = nal_kind(codec, nal, n);
    if (kind == Nal::Sei) {
        size_t header = codec == VideoCodec::H264 ? 1 : 2;
        std::vector<uint8_t> rbsp = remove_emulation_prevention(nal + header, n - header);
        keep_first(damage, sei_message_triplets(rbsp.data(), rbsp.size(), triplets));
    }
    return kind != Nal::Picture;
}

}  // namespace

std::string cdp_triplets(const uint8_t *cdp, size_t n, std::vector<uint8_t> &triplets)
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
            size_t count = std::min<size_t>(cdp[p + 1] & 0x1F, (end - p - 2) / 3);
            triplets.insert(triplets.end(), cdp + p + 2, cdp + p + 2 + 3 * count);
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

std::string ga94_triplets(const uint8_t *p, size_t n, std::vector<uint8_t> &triplets)
{
    // Type 3 is cc_data; process_cc_data_flag 0 says the triplets are to be ignored.
    if (n < 3 || p[0] != 3 || !(p[1] & 0x40))
        return "";
    size_t count = p[1] & 0x1F, room = (n - 3) / 3;
    std::string damage;
    if (count > room) {
        damage = "cc_data cut short (cc_count " + std::to_string(count) + ", room for " + std::to_string(room) + ")";
        count = room;
    }
    triplets.insert(triplets.end(), p + 3, p + 3 + 3 * count);
    return damage;
}

std::string mpeg2_triplets(const uint8_t *data, size_t n, std::vector<uint8_t> &triplets)
{
    std::string damage;
    for (size_t i = next_start_code(data, 0, n); i + 3 < n;) {
        uint8_t code = data[i + 3];
        size_t end = next_start_code(data, i + 4, n);
        if (code >= 0x01 && code <= 0xAF)
            break;  // slices: the picture's user data came before them
        if (code == 0xB2 && end - i >= 8 && std::memcmp(data + i + 4, "GA94", 4) == 0)
            keep_first(damage, ga94_triplets(data + i + 8, end - i - 8, triplets));
        i = end;
    }
    return damage;
}

std::string sei_triplets(VideoCodec codec, const uint8_t *data, size_t n, int length_size,
                         std::vector<uint8_t> &triplets)
{
    std::string damage;
    if (length_size == 0) {
        for (size_t i = next_start_code(data, 0, n); i < n;) {
            size_t start = i + 3, end = next_start_code(data, start, n);
            size_t last = end;
            while (last > start && data[last - 1] == 0) last--;  // zero bytes before a 4-byte start code
            if (!nal_triplets(codec, data + start, last - start, triplets, damage))
                break;
            i = end;
        }
        return damage;
    }
    for (size_t i = 0; i + (size_t)length_size <= n;) {
        size_t length = big_endian(data + i, length_size);
        i += (size_t)length_size;
        if (length > n - i) {
            keep_first(damage, "NAL unit of " + std::to_string(length) + " bytes runs past the sample");
            length = n - i;
        }
        if (!nal_triplets(codec, data + i, length, triplets, damage))
            break;
        i += length;
    }
    return damage;
}

int nal_length_size(VideoCodec codec, const uint8_t *extradata, size_t n)
{
    // configurationVersion 1, then lengthSizeMinusOne in the low bits of byte 4 (avcC) or 21 (hvcC).
    size_t at = codec == VideoCodec::H264 ? 4 : 21;
    if (!extradata || n <= at || extradata[0] != 1)
        return 0;
    return (extradata[at] & 3) + 1;
}

std::string quicktime_triplets(const uint8_t *data, size_t n, std::vector<uint8_t> &triplets)
{
    std::string damage;
    for (size_t i = 0; i + 8 <= n;) {
        size_t size = big_endian(data + i, 4);
        if (size < 8 || size > n - i) {
            keep_first(damage, "atom of " + std::to_string(size) + " bytes runs past the sample");
            size = n - i;
        }
        const uint8_t *payload = data + i + 8;
        size_t length = size - 8;
        if (std::memcmp(data + i + 4, "cdat", 4) == 0 || std::memcmp(data + i + 4, "cdt2", 4) == 0) {
            uint8_t head = data[i + 7] == 't' ? 0xFC : 0xFD;  // cc_valid, cc_type 0 (field 1) or 1
            for (size_t k = 0; k + 1 < length; k += 2)
                triplets.insert(triplets.end(), {head, payload[k], payload[k + 1]});
        } else if (std::memcmp(data + i + 4, "ccdp", 4) == 0) {
            keep_first(damage, cdp_triplets(payload, length, triplets));
        }
        i += size;
    }
    return damage;
}

namespace {

// The caption service descriptor: per service a language, and either a
// line-21 field (608) or a DTVCC service number.
void caption_services(const uint8_t *d, size_t n, std::map<std::string, std::string> &languages)
{
    if (n < 1)
        return;
    size_t count = d[0] & 0x1F;
    for (size_t k = 0; k < count && 1 + 6 * (k + 1) <= n; k++) {
        const uint8_t *e = d + 1 + 6 * k;
        std::string language(e, e + 3);
        if (!std::all_of(language.begin(), language.end(), [](char c) { return c >= 'a' && c <= 'z'; }) &&
            !std::all_of(language.begin(), language.end(), [](char c) { return c >= 'A' && c <= 'Z'; }))
            continue;
        std::string service = (e[3] & 0x80) ? std::to_string(e[3] & 0x3F) : (e[3] & 1) ? "CC3" : "CC1";
        languages.emplace(service, language);
    }
}

void descriptors(const uint8_t *d, size_t n, std::map<std::string, std::string> &languages)
{
    for (size_t i = 0; i + 2 <= n && i + 2 + d[i + 1] <= n; i += 2 + d[i + 1])
        if (d[i] == 0x86)
            caption_services(d + i + 2, d[i + 1], languages);
}

// A program map section: program descriptors, then per elementary stream
// its type, PID and descriptors.
void program_map(const uint8_t *s, size_t n, std::map<std::string, std::string> &languages)
{
    if (n < 12)
        return;
    size_t info = big_endian(s + 10, 2) & 0x0FFF;
    if (12 + info > n)
        return;
    descriptors(s + 12, info, languages);
    for (size_t i = 12 + info; i + 5 <= n;) {
        size_t es_info = big_endian(s + i + 3, 2) & 0x0FFF;
        if (i + 5 + es_info > n)
            return;
        descriptors(s + i + 5, es_info, languages);
        i += 5 + es_info;
    }
}

}  // namespace

std::map<std::string, std::string> ts_caption_languages(const uint8_t *data, size_t n)
{
    std::map<std::string, std::string> languages;
    std::vector<unsigned> map_pids;
    for (size_t at = 0; at + 188 <= n && data[at] == 0x47; at += 188) {
        const uint8_t *p = data + at;
        unsigned pid = big_endian(p + 1, 2) & 0x1FFF;
        bool unit_start = p[1] & 0x40;
        unsigned control = p[3] >> 4 & 3;
        size_t off = 4 + ((control & 2) ? 1 + p[4] : 0);
        if (!unit_start || !(control & 1) || off >= 188 || off + 1 + p[off] >= 188)
            continue;
        // Tables that fit in their first packet, which is how encoders send these.
        const uint8_t *s = p + off + 1 + p[off];
        size_t room = (size_t)(p + 188 - s);
        if (room < 3)
            continue;
        size_t length = std::min<size_t>(3 + (big_endian(s + 1, 2) & 0x0FFF), room);
        if (length < 4)
            continue;
        length -= 4;  // the CRC
        if (pid == 0 && s[0] == 0x00) {
            for (size_t i = 8; i + 4 <= length; i += 4)
                if (big_endian(s + i, 2) != 0)
                    map_pids.push_back(big_endian(s + i + 2, 2) & 0x1FFF);
        } else if (s[0] == 0x02 && std::find(map_pids.begin(), map_pids.end(), pid) != map_pids.end()) {
            program_map(s, length, languages);
        }
    }
    return languages;
}

}  // namespace softcc
