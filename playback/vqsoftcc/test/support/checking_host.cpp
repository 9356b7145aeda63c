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

// Line and position of a run by the window's scroll axis.
int line_of(const CaptionWindow *w, const TextSegment *s)
{
    return w->style.scroll_direction >= 2 ? s->row : s->column;
}

int position_of(const CaptionWindow *w, const TextSegment *s)
{
    return w->style.scroll_direction >= 2 ? s->column : s->row;
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

SoftCCStatus result(void *user, int callback)
{
    auto *host = static_cast<Host *>(user);
    return (host->failing_callbacks >> callback) & 1u ? SOFTCC_ERR_NO_MEMORY : SOFTCC_OK;
}

SoftCCStatus on_define(void *user, CaptionWindow *w)
{
    auto *host = static_cast<Host *>(user);
    require(host, w != nullptr);
    if (w != nullptr)
        check_window(host, w, host->sorted);
    return result(user, 0);
}

SoftCCStatus on_refresh(void *user, CaptionWindow *head)
{
    auto *host = static_cast<Host *>(user);
    require(host, head != nullptr);
    check_list(host, head);
    return result(user, 1);
}

SoftCCStatus on_scroll(void *user, CaptionWindow *w)
{
    auto *host = static_cast<Host *>(user);
    require(host, w != nullptr && w->next == nullptr);
    if (w != nullptr)
        check_window(host, w, host->sorted);
    return result(user, 2);
}

SoftCCStatus on_delete(void *user, CaptionWindow *head)
{
    auto *host = static_cast<Host *>(user);
    require(host, head != nullptr);
    check_list(host, head);
    return result(user, 3);
}

SoftCCStatus on_set_alarm(void *user, uint32_t ms, SoftCCAlarmFunction alarm, void *ctx)
{
    auto *host = static_cast<Host *>(user);
    require(host, ms <= 25500);
    host->alarm = alarm;
    host->alarm_context = ctx;
    return result(user, 4);
}

SoftCCStatus on_cancel_alarm(void *user)
{
    auto *host = static_cast<Host *>(user);
    host->alarm = nullptr;
    host->alarm_context = nullptr;
    return result(user, 5);
}

SoftCCStatus on_data(void *user, const uint8_t *data, uint32_t count)
{
    require(static_cast<Host *>(user), data != nullptr && count >= 1 && count <= 2);
    return result(user, 6);
}

} // namespace

void check_window(Host *host, const CaptionWindow *w, bool sorted)
{
    int count = 0;
    const TextSegment *previous = nullptr;
    for (const TextSegment *s = w->segments; s != nullptr; s = s->next) {
        require(host, ++count <= 256 * 256);
        if (count > 256 * 256)
            return;
        require(host, s != w->current_segment);
        require(host, s->length >= 1 && s->length <= SOFTCC_SEGMENT_CHARS);
        require(host, s->text >= s->chars && s->text + s->length <= s->chars + SOFTCC_SEGMENT_CHARS);
        if (sorted && previous != nullptr)
            require(host, line_of(w, previous) < line_of(w, s) ||
                              (line_of(w, previous) == line_of(w, s) &&
                               position_of(w, previous) + previous->length <= position_of(w, s)));
        previous = s;
    }
}

SoftCCOpenProfile profile(Host *host, uint32_t format, uint32_t service)
{
    SoftCCOpenProfile p{};
    p.format = format;
    p.service = service;
    p.user = host;
    p.define_windows = on_define;
    p.refresh_windows = on_refresh;
    p.scroll_windows = on_scroll;
    p.delete_windows = on_delete;
    p.set_delay_alarm = on_set_alarm;
    p.cancel_delay_alarm = on_cancel_alarm;
    p.forward_xds_data = on_data;
    p.forward_link_data = on_data;
    return p;
}

void run_stream(Host *host, uint32_t format, uint32_t service, const uint8_t *data, size_t size)
{
    const int64_t before = fake_platform::live_blocks();
    SoftCCOpenProfile p = profile(host, format, service);
    SoftCCContext *context = nullptr;
    if (VQSoftCCOpen(&p, &context) != SOFTCC_OK)
        return;
    // Uneven slices, so that pairs, packets and codes split across calls.
    size_t offset = 0;
    size_t slice = 1;
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
