// The table of the readers that need nothing beyond the standard library,
// and the choice of a reader for an input.
#include "readers.h"

#include <cctype>
#include <cstring>

namespace softcc {
namespace {

// The input as text, without a UTF-8 byte order mark.
std::string text_of(Input &in)
{
    std::vector<uint8_t> bytes = in.all();
    size_t skip = bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF ? 3 : 0;
    return std::string(bytes.begin() + (long)skip, bytes.end());
}

// True when the text starts, after a byte order mark and blank lines, with `prefix`.
bool text_starts_with(Input &in, const char *prefix)
{
    const std::vector<uint8_t> &head = in.head();
    size_t i = head.size() >= 3 && head[0] == 0xEF && head[1] == 0xBB && head[2] == 0xBF ? 3 : 0;
    while (i < head.size() && (head[i] == '\r' || head[i] == '\n')) i++;
    size_t n = std::strlen(prefix);
    return head.size() - i >= n && std::memcmp(head.data() + i, prefix, n) == 0;
}

bool probe_scc(Input &in) { return text_starts_with(in, "Scenarist_SCC"); }
bool probe_mcc(Input &in) { return text_starts_with(in, "File Format=MacCaption_MCC"); }
bool probe_mpeg2(Input &in)
{
    const std::vector<uint8_t> &h = in.head();
    return h.size() >= 4 && h[0] == 0 && h[1] == 0 && h[2] == 1 && h[3] == 0xB3;
}

bool scc(Input &in, Stream &out, std::string &error) { return read_scc(text_of(in), out, error); }
bool mcc(Input &in, Stream &out, std::string &error) { return read_mcc(text_of(in), out, error); }
bool mpeg2(Input &in, Stream &out, std::string &error) { return read_mpeg2_es(in.all(), out, error); }
bool raw608(Input &in, Stream &out, std::string &)
{
    read_raw_608(in.all(), out);
    return true;
}
bool raw708(Input &in, Stream &out, std::string &)
{
    read_raw_708(in.all(), out);
    return true;
}

std::string extension(const std::string &path)
{
    size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos)
        return "";
    std::string ext = path.substr(dot + 1);
    for (char &c : ext) c = (char)std::tolower((unsigned char)c);
    return ext;
}

}  // namespace

std::vector<Reader> core_readers()
{
    return {
        {"scc", "scc", probe_scc, scc},
        {"mcc", "mcc", probe_mcc, mcc},
        {"mpeg2", "m2v", probe_mpeg2, mpeg2},
        {"608", "608", nullptr, raw608},
        {"708", "708", nullptr, raw708},
    };
}

std::string reader_names(const std::vector<Reader> &readers, const char *separator)
{
    std::string names;
    for (const Reader &r : readers) names += (names.empty() ? "" : separator) + std::string(r.name);
    return names;
}

std::string unknown_input(const std::vector<Reader> &readers, const std::string &name)
{
    return "unknown input format '" + name + "' (use --input " + reader_names(readers, "|") + ")";
}

const Reader *reader_named(const std::vector<Reader> &readers, const std::string &name)
{
    for (const Reader &r : readers)
        if (name == r.name)
            return &r;
    return nullptr;
}

const Reader *detect_reader(const std::vector<Reader> &readers, Input &in)
{
    for (const Reader &r : readers)
        if (r.probe && r.probe(in))
            return &r;
    std::string ext = extension(in.name());
    for (const Reader &r : readers) {
        std::string list = std::string(" ") + r.extensions + " ";
        if (!ext.empty() && list.find(" " + ext + " ") != std::string::npos)
            return &r;
    }
    return nullptr;
}

}  // namespace softcc
