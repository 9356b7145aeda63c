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
bool CcStage::complete_short()
{
    if (missing_ == 0)
        return false;
    piece_.insert(piece_.end(), missing_, 0);
    missing_ = 0;
    return true;
}

// Hands on what the open packet received since the last time.
void CcStage::emit(double time)
{
    if (!piece_.empty())
        out_.add(time, Channel::Dtvcc, piece_.data(), piece_.size(), piece_starts_);
    piece_.clear();
    piece_starts_ = false;
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
            if (complete_short())
                out_.warn(at, "DTVCC packet cut short by the next packet start");
            emit(time);
            out_.has_708 = true;
            piece_starts_ = true;
            missing_ = dtvcc_packet_size(p[1]);
        }
        // Bytes past the declared size, and continuations without a start,
        // have no packet to go to.
        for (int b = 1; b <= 2 && missing_ > 0; b++, missing_--)
            piece_.push_back(p[b]);
    }
    emit(time);
}

void CcStage::finish(double time, const Position &at, const char *what)
{
    if (complete_short())
        out_.warn(at, std::string("DTVCC packet cut short by the end of the ") + what);
    emit(time);
}

}  // namespace softcc
