#include "stream.h"

#include <cstdio>

namespace softcc {

void CcStage::pair(double time, Channel field, uint8_t b1, uint8_t b2)
{
    if ((b1 & 0x7F) != 0 || (b2 & 0x7F) != 0)
        out_.has_608 = true;
    const uint8_t pair[2] = {b1, b2};
    out_.add(time, field, pair, 2);
}

// A packet cut short by the next start is completed with zero bytes, so the
// decoder, which finds packet boundaries only by counting, stays in step.
bool CcStage::flush_short(double time)
{
    if (packet_.empty())
        return false;
    packet_.resize(size_, 0);
    emit(time);
    return true;
}

void CcStage::emit(double time)
{
    out_.has_708 = true;
    out_.add(time, Channel::Dtvcc, packet_.data(), packet_.size());
    packet_.clear();
    size_ = 0;
}

std::string Position::text() const
{
    std::string s = *unit ? std::string(unit) + " " + std::to_string(number) : std::to_string(number);
    if (time < 0)
        return s;
    char buffer[48];
    long long ms = (long long)(time * 1000 + 0.5);
    std::snprintf(buffer, sizeof buffer, " (%02lld:%02lld:%02lld.%03lld)", ms / 3600000, ms / 60000 % 60,
                  ms / 1000 % 60, ms % 1000);
    return s + buffer;
}

void CcStage::triplets(double time, const uint8_t *p, size_t count, const Position &at)
{
    for (size_t k = 0; k < count; k++, p += 3) {
        if (!(p[0] & 0x04))
            continue;
        int cc_type = p[0] & 0x03;
        if (cc_type == 0 || cc_type == 1) {
            pair(time, cc_type == 0 ? Channel::Field1 : Channel::Field2, p[1], p[2]);
            continue;
        }
        if (cc_type == 3) {
            if (flush_short(time))
                out_.warn(at, "DTVCC packet cut short by the next packet start");
            size_ = dtvcc_packet_size(p[1]);
        } else if (packet_.empty()) {
            continue;  // continuation without a start: nothing to attach it to
        }
        packet_.push_back(p[1]);
        packet_.push_back(p[2]);
        if (packet_.size() >= size_) {
            packet_.resize(size_);
            emit(time);
        }
    }
}

void CcStage::finish(double time, const Position &at, const char *what)
{
    if (flush_short(time))
        out_.warn(at, std::string("DTVCC packet cut short by the end of the ") + what);
}

}  // namespace softcc
