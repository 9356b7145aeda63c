#include "fuzz_host.h"

namespace fuzz_host {
namespace {

void require(bool condition)
{
    if (!condition)
        __builtin_trap();
}

// Line and position of a run by the window's scroll axis.
[[maybe_unused]] int line_of(const CaptionWindow *w, const TextSegment *s)
{
    return w->style.scroll_direction >= 2 ? s->row : s->column;
}

[[maybe_unused]] int position_of(const CaptionWindow *w, const TextSegment *s)
{
    return w->style.scroll_direction >= 2 ? s->column : s->row;
}

// Ids are not required to differ: a 608 open whose define_windows failed
// leaves window 1 unset (id 0), and close still hands it over.
void check_list(CaptionWindow *head)
{
    const CaptionWindow *seen[8] = {};
    int count = 0;
    for (CaptionWindow *w = head; w != nullptr; w = w->next) {
        require(count < 8);
        require(w->id < 8);
        for (int i = 0; i < count; ++i)
            require(seen[i] != w);
        seen[count++] = w;
        check_window(w);
    }
}

SoftCCStatus result(void *user, int callback)
{
    auto *host = static_cast<Host *>(user);
    return (host->failing_callbacks >> callback) & 1u ? SOFTCC_ERR_NO_MEMORY : SOFTCC_OK;
}

SoftCCStatus on_define(void *user, CaptionWindow *w)
{
    require(w != nullptr);
    check_window(w);
    return result(user, 0);
}

SoftCCStatus on_refresh(void *user, CaptionWindow *head)
{
    require(head != nullptr);
    check_list(head);
    return result(user, 1);
}

SoftCCStatus on_scroll(void *user, CaptionWindow *w)
{
    require(w != nullptr && w->next == nullptr);
    check_window(w);
    return result(user, 2);
}

SoftCCStatus on_delete(void *user, CaptionWindow *head)
{
    require(head != nullptr);
    check_list(head);
    return result(user, 3);
}

SoftCCStatus on_set_alarm(void *user, uint32_t ms, SoftCCAlarmFunction alarm, void *ctx)
{
    require(ms <= 25500);
    auto *host = static_cast<Host *>(user);
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
    require(data != nullptr && count >= 1 && count <= 2);
    return result(user, 6);
}

} // namespace

// Order is not checked: a DefineWindow or SetWindowAttributes may change the
// scroll axis of a window that holds text, and its runs keep the old order.
void check_window(const CaptionWindow *w)
{
    int count = 0;
    const TextSegment *previous = nullptr;
    for (const TextSegment *s = w->segments; s != nullptr; s = s->next) {
        require(++count <= 256 * 256);
        require(s != w->current_segment);
        require(s->length >= 1 && s->length <= SOFTCC_SEGMENT_CHARS);
        require(s->text >= s->chars && s->text + s->length <= s->chars + SOFTCC_SEGMENT_CHARS);
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

void run_stream(uint32_t format, uint32_t service, const uint8_t *data, size_t size)
{
    fake_platform::reset();
    const int64_t before = fake_platform::live_blocks();
    Host host;
    SoftCCOpenProfile p = profile(&host, format, service);
    SoftCCContext *context = nullptr;
    require(VQSoftCCOpen(&p, &context) == SOFTCC_OK);
    // Feed in uneven slices so that pairs, packets and codes split across calls.
    size_t offset = 0;
    size_t slice = 1;
    while (offset < size) {
        size_t n = slice < size - offset ? slice : size - offset;
        require(VQSoftCCDecode(context, data + offset, static_cast<uint32_t>(n)) == SOFTCC_OK);
        require(fake_platform::live_blocks() - before <= kMaxLiveBlocks);
        offset += n;
        slice = slice % 61 + 7;
        if (host.alarm != nullptr && (data[offset - 1] & 0x0F) == 0)
            require(host.alarm(host.alarm_context) == SOFTCC_OK);
    }
    VQSoftCCClose(context);
    require(fake_platform::live_blocks() == before);
}

} // namespace fuzz_host
