#include "stream.h"

namespace softcc {

void CcStage::pair(double time, Channel field, uint8_t b1, uint8_t b2)
{
    if ((b1 & 0x7F) != 0 || (b2 & 0x7F) != 0)
        out_.has_608 = true;
    out_.chunks.push_back(Chunk{time, field, {b1, b2}});
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
    out_.chunks.push_back(Chunk{time, Channel::Dtvcc, packet_});
    packet_.clear();
    size_ = 0;
}

void CcStage::triplets(double time, const uint8_t *p, size_t count, const std::string &at)
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

void CcStage::finish(double time, const std::string &at, const char *what)
{
    if (flush_short(time))
        out_.warn(at, std::string("DTVCC packet cut short by the end of the ") + what);
}

}  // namespace softcc
