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

// The stage as the sink of split_cc_data, for one frame.
struct CcStage::Splitting {
    CcStage &stage;
    double time;
    const Position &at;
    const char *what;  // what ends the input, for a packet that the end cuts short

    void pair(uint32_t field, const uint8_t *bytes)
    {
        stage.pair(time, field == 0 ? Channel::Field1 : Channel::Field2, bytes[0], bytes[1]);
    }
    void packet_start()
    {
        stage.emit(time);
        stage.out_.has_708 = true;
        stage.piece_starts_ = true;
    }
    void packet_bytes(const uint8_t *bytes, uint32_t count)
    {
        stage.piece_.insert(stage.piece_.end(), bytes, bytes + count);
    }
    void packet_short(bool at_end)
    {
        stage.out_.warn(at, at_end ? std::string("DTVCC packet cut short by the end of the ") + what
                                   : std::string("DTVCC packet cut short by the next packet start"));
    }
    void packet_end() {}
};

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
    Splitting sink{*this, time, at, ""};
    split_cc_data(missing_, p, count, sink);
    emit(time);
}

void CcStage::finish(double time, const Position &at, const char *what)
{
    Splitting sink{*this, time, at, what};
    end_cc_data(missing_, sink);
    emit(time);
}

}  // namespace softcc
