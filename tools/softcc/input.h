// One input, read on demand through functions the caller supplies (a file,
// standard input, a buffer).  The first bytes are kept for the probes and
// replayed, so that a pipe can be probed and then read from its start.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace softcc {

class Input {
public:
    using ReadFn = std::function<long(uint8_t *buffer, size_t size)>;  // bytes read; 0 at the end, < 0 on error
    using SeekFn = std::function<bool(int64_t offset)>;                // to an absolute offset
    using SizeFn = std::function<int64_t()>;                           // total size, < 0 when unknown

    // `seek` and `size` may be empty: a pipe.
    Input(std::string name, ReadFn read, SeekFn seek = nullptr, SizeFn size = nullptr);
    static Input from_bytes(std::string name, std::vector<uint8_t> bytes);

    const std::string &name() const { return name_; }
    // Up to `n` bytes from the start (fewer when the input is shorter).
    const std::vector<uint8_t> &head(size_t n = 1 << 16);
    // Reads from the current position; 0 at the end.  `failed()` tells an error from the end.
    size_t read(uint8_t *buffer, size_t size);
    bool seekable() const { return bool(seek_); }
    bool seek(int64_t offset);
    int64_t size() const { return size_ ? size_() : -1; }
    int64_t position() const { return position_; }
    // Everything from the start.
    std::vector<uint8_t> all();
    bool failed() const { return failed_; }

private:
    size_t read_source(uint8_t *buffer, size_t size);

    std::string name_;
    ReadFn read_;
    SeekFn seek_;
    SizeFn size_;
    std::vector<uint8_t> head_;  // bytes 0 .. head_.size() of the input
    int64_t position_ = 0;       // where read() goes on
    int64_t source_position_ = 0;
    bool ended_ = false, failed_ = false;
};

}  // namespace softcc
