// Caption readers, one file per carrier, behind one table: each has a name
// (what --input takes), a content probe, and a read that turns an input into
// a Stream through the shared cc_data stage (stream.h).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "input.h"
#include "stream.h"

namespace softcc {

struct Reader {
    const char *name;        // the --input value
    const char *extensions;  // lower case, space separated: the choice when no probe matches
    // True when the input's first bytes are of this format; null for formats
    // that only a name or extension chooses.
    bool (*probe)(Input &in);
    // False with `error` set when the input is not of this format.
    bool (*read)(Input &in, Stream &out, std::string &error);
};

// The readers that need nothing beyond the standard library, in probing order.
std::vector<Reader> core_readers();
// Video containers in a build without libavformat: recognised by their first
// bytes (and named by --input container) only to be refused in one line.
Reader container_refusal();
// The readers' names joined by `separator`.
std::string reader_names(const std::vector<Reader> &readers, const char *separator);
// softcc's complaint about an --input value that names no reader.
std::string unknown_input(const std::vector<Reader> &readers, const std::string &name);
// The reader chosen by content, else by the file name's extension; null when none.
const Reader *detect_reader(const std::vector<Reader> &readers, Input &in);
const Reader *reader_named(const std::vector<Reader> &readers, const std::string &name);

bool read_scc(const std::string &text, Stream &out, std::string &error);
bool read_mcc(const std::string &text, Stream &out, std::string &error);
// MPEG-2 video elementary stream: the A/53 cc_data of each picture's GA94
// user data, in presentation order (by temporal reference within each group
// of pictures) at the sequence header's frame rate.  A warning names the
// picture by its number in decode order.
bool read_mpeg2_es(const std::vector<uint8_t> &data, Stream &out, std::string &error);
// Raw field pairs, one per frame at 29.97 fps.
void read_raw_608(const std::vector<uint8_t> &data, Stream &out);
// Raw DTVCC byte stream, split into packets by their size codes, one per frame.
void read_raw_708(const std::vector<uint8_t> &data, Stream &out);

constexpr double kNtscFrame = 1001.0 / 30000.0;

}  // namespace softcc
