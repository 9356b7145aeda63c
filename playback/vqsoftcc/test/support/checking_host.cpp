#include "checking_host.h"

namespace checking_host {
namespace {

void require(Host *host, bool condition)
{
    if (condition)
        return;
    if (host->trap)
        __builtin_trap();
    ++host->broken;
}

// Ids are not required to differ: a 608 open whose define_windows failed
// leaves window 1 unset (id 0), and close still hands it over.
void check_list(Host *host, CaptionWindow *head)
{
    const CaptionWindow *seen[8] = {};
    int count = 0;
    for (CaptionWindow *w = head; w != nullptr; w = w->next) {
        require(host, count < 8 && w->id < 8);
        for (int i = 0; i < count; ++i)
            require(host, seen[i] != w);
        if (count == 8)
            return;
        seen[count++] = w;
        check_window(host, w, host->sorted);
    }
}

} // namespace

void check_window(Host *host, const CaptionWindow *w, bool sorted)
{
    // Line and position of a run by the window's scroll axis.
    const bool rows = w->style.scroll_direction >= 2;
    auto line_of = [rows](const TextSegment *s) { return rows ? s->row : s->column; };
    auto position_of = [rows](const TextSegment *s) { return rows ? s->column : s->row; };
    int count = 0;
    const TextSegment *previous = nullptr;
    for (const TextSegment *s = w->segments; s != nullptr; s = s->next) {
        if (++count > 256 * 256)
            return require(host, false);
        require(host, s != w->current_segment);
        require(host, s->length >= 1 && s->length <= SOFTCC_SEGMENT_CHARS);
        require(host, s->text >= s->chars && s->text + s->length <= s->chars + SOFTCC_SEGMENT_CHARS);
        if (sorted && previous != nullptr)
            require(host, line_of(previous) < line_of(s) ||
                              (line_of(previous) == line_of(s) &&
                               position_of(previous) + previous->length <= position_of(s)));
        previous = s;
    }
}

SoftCCStatus Host::windows(const char *, int callback, CaptionWindow *head)
{
    require(this, head != nullptr && (callback != 2 || head->next == nullptr));
    if (head != nullptr && (callback == 0 || callback == 2)) // one window, not a list
        check_window(this, head, sorted);
    else
        check_list(this, head);
    return result(callback);
}

SoftCCStatus Host::armed(uint32_t ms)
{
    return require(this, ms <= 25500), result(4);
}

SoftCCStatus Host::bytes(const char *, const uint8_t *data, uint32_t count)
{
    return require(this, data != nullptr && count >= 1 && count <= 2), result(6);
}

void run_stream(Host *host, uint32_t format, uint32_t service, const uint8_t *data, size_t size)
{
    const int64_t before = fake_platform::live_blocks();
    SoftCCOpenProfile p = profile(host, format, service);
    SoftCCContext *context = nullptr;
    if (VQSoftCCOpen(&p, &context) != SOFTCC_OK)
        return;
    // Uneven slices, so that pairs, packets and codes split across calls.
    size_t offset = 0, slice = 1;
    while (offset < size) {
        size_t n = slice < size - offset ? slice : size - offset;
        require(host, VQSoftCCDecode(context, data + offset, static_cast<uint32_t>(n)) == SOFTCC_OK);
        require(host, fake_platform::live_blocks() - before <= kMaxLiveBlocks);
        offset += n;
        slice = slice % 61 + 7;
        if (host->alarm != nullptr && (data[offset - 1] & 0x0F) == 0)
            require(host, host->alarm(host->alarm_context) == SOFTCC_OK);
    }
    VQSoftCCClose(context);
    require(host, fake_platform::live_blocks() == before);
}

} // namespace checking_host
