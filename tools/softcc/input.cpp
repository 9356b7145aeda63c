#include "input.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace softcc {

Input::Input(std::string name, ReadFn read, SeekFn seek, SizeFn size)
    : name_(std::move(name)), read_(std::move(read)), seek_(std::move(seek)), size_(std::move(size))
{
}

Input Input::from_bytes(std::string name, std::vector<uint8_t> bytes)
{
    auto data = std::make_shared<std::vector<uint8_t>>(std::move(bytes));
    auto at = std::make_shared<size_t>(0);
    return Input(
        std::move(name),
        [data, at](uint8_t *buffer, size_t size) {
            size_t n = std::min(size, data->size() - *at);
            std::memcpy(buffer, data->data() + *at, n);
            *at += n;
            return (long)n;
        },
        [data, at](int64_t offset) {
            if (offset < 0 || (size_t)offset > data->size())
                return false;
            *at = (size_t)offset;
            return true;
        },
        [data] { return (int64_t)data->size(); });
}

size_t Input::read_source(uint8_t *buffer, size_t size)
{
    size_t total = 0;
    while (total < size && !ended_) {
        long n = read_(buffer + total, size - total);
        if (n <= 0) {
            ended_ = true;
            failed_ = n < 0;
            break;
        }
        total += (size_t)n;
    }
    source_position_ += (int64_t)total;
    return total;
}

const std::vector<uint8_t> &Input::head(size_t n)
{
    // The head is read from the source's start; nothing but the head has been read when it grows.
    if (head_.size() < n && source_position_ == (int64_t)head_.size() && !ended_) {
        size_t had = head_.size();
        head_.resize(n);
        head_.resize(had + read_source(head_.data() + had, n - had));
    }
    return head_;
}

size_t Input::read(uint8_t *buffer, size_t size)
{
    size_t total = 0;
    if (position_ < (int64_t)head_.size()) {
        total = std::min(size, head_.size() - (size_t)position_);
        std::memcpy(buffer, head_.data() + position_, total);
        position_ += (int64_t)total;
    }
    if (total < size) {
        if (source_position_ != position_) {
            if (!seek_ || !seek_(position_))
                return total;
            source_position_ = position_;
            ended_ = false;
        }
        size_t n = read_source(buffer + total, size - total);
        position_ += (int64_t)n;
        total += n;
    }
    return total;
}

bool Input::seek(int64_t offset)
{
    if (offset < 0 || (!seek_ && offset > (int64_t)head_.size() && offset != source_position_))
        return false;
    position_ = offset;
    return true;
}

std::vector<uint8_t> Input::all()
{
    seek(0);
    std::vector<uint8_t> bytes;
    uint8_t buffer[1 << 16];
    for (size_t n; (n = read(buffer, sizeof buffer)) > 0;)
        bytes.insert(bytes.end(), buffer, buffer + n);
    return bytes;
}

}  // namespace softcc
