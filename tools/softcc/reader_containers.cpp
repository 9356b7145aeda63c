// Video containers in a build without libavformat (softcc for Node, the
// browser's caption reader): --input container, and an input that starts as
// a common container does, get one line that says so rather than "not a
// caption or media file".
#include <cstring>

#include "readers.h"

namespace softcc {
namespace {

// The container the first bytes show, or null.
const char *container_kind(Input &in)
{
    const std::vector<uint8_t> &h = in.head();
    auto at = [&h](size_t i, uint8_t b) { return i < h.size() && h[i] == b; };
    if (at(0, 0x47) && (h.size() <= 188 || at(188, 0x47)))
        return "an MPEG transport stream";
    if (at(4, 0x47) && (h.size() <= 196 || at(196, 0x47)))
        return "an MPEG transport stream (192-byte packets)";
    if (at(0, 0) && at(1, 0) && at(2, 1) && at(3, 0xBA))
        return "an MPEG program stream";
    if (at(0, 0x1A) && at(1, 0x45) && at(2, 0xDF) && at(3, 0xA3))
        return "a Matroska file";
    static const char *const boxes[] = {"ftyp", "styp", "moov", "moof", "mdat", "sidx", "free", "skip", "wide"};
    for (const char *box : boxes)
        if (h.size() >= 8 && std::memcmp(h.data() + 4, box, 4) == 0)
            return "an MP4 or QuickTime file";
    return nullptr;
}

bool probe(Input &in) { return container_kind(in) != nullptr; }

bool refuse(Input &in, Stream &, std::string &error)
{
    const char *kind = container_kind(in);
    error = std::string(kind ? kind : "a video container") +
            ": video containers need the native softcc with libavformat; this one reads caption files only "
            "(scc, mcc, mpeg2, 608, 708)";
    return false;
}

}  // namespace

Reader container_refusal() { return Reader{"container", "", probe, refuse}; }

}  // namespace softcc
