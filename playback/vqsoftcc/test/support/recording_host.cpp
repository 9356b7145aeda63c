#include "recording_host.h"

#include <stdexcept>

namespace test_host {

std::string utf8(const std::u16string &text)
{
    std::string out;
    for (char16_t c : text) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::vector<SegmentView> segments_of(const CaptionWindow &window)
{
    std::vector<SegmentView> out;
    int guard = 0;
    for (const TextSegment *s = window.segments; s != nullptr; s = s->next) {
        if (++guard > 10000)
            throw std::runtime_error("segment list does not end");
        std::u16string text;
        for (int i = 0; i < s->length; ++i)
            text += static_cast<char16_t>(s->text[i]);
        out.push_back({s->row, s->column, text, s->pen, s->caption_mode, s->no_merge});
    }
    return out;
}

std::string describe(const CaptionWindow &window)
{
    return describe(segments_of(window));
}

std::string describe(const std::vector<SegmentView> &segments)
{
    std::string out;
    for (const SegmentView &s : segments) {
        if (!out.empty())
            out += '|';
        out += std::to_string(s.row) + ':' + std::to_string(s.column) + ':' + utf8(s.text);
    }
    return out;
}

SoftCCOpenProfile RecordingHost::profile(uint32_t format, uint32_t service)
{
    SoftCCOpenProfile p{};
    p.format = format;
    p.service = service;
    p.user = this;
    p.define_windows = on_define;
    p.refresh_windows = on_refresh;
    p.scroll_windows = on_scroll;
    p.delete_windows = on_delete;
    p.set_delay_alarm = on_set_alarm;
    p.cancel_delay_alarm = on_cancel_alarm;
    p.forward_xds_data = on_xds;
    p.forward_link_data = on_link;
    return p;
}

std::vector<std::string> RecordingHost::names() const
{
    std::vector<std::string> out;
    for (const Event &e : events)
        out.push_back(e.name);
    return out;
}

SoftCCStatus RecordingHost::result(const std::string &callback) const
{
    auto it = results_.find(callback);
    return it == results_.end() ? SOFTCC_OK : it->second;
}

SoftCCStatus RecordingHost::record_list(const char *name, CaptionWindow *head)
{
    Event e;
    e.name = name;
    int guard = 0;
    for (CaptionWindow *w = head; w != nullptr; w = w->next) {
        if (++guard > 8)
            throw std::runtime_error(std::string(name) + ": window list longer than 8 or cyclic");
        e.window_ids.push_back(w->id);
        e.windows.push_back({*w, segments_of(*w)});
    }
    events.push_back(std::move(e));
    return result(name);
}

SoftCCStatus RecordingHost::on_define(void *user, CaptionWindow *window)
{
    return static_cast<RecordingHost *>(user)->record_list("define", window);
}

SoftCCStatus RecordingHost::on_refresh(void *user, CaptionWindow *windows)
{
    return static_cast<RecordingHost *>(user)->record_list("refresh", windows);
}

SoftCCStatus RecordingHost::on_scroll(void *user, CaptionWindow *window)
{
    return static_cast<RecordingHost *>(user)->record_list("scroll", window);
}

SoftCCStatus RecordingHost::on_delete(void *user, CaptionWindow *windows)
{
    return static_cast<RecordingHost *>(user)->record_list("delete", windows);
}

SoftCCStatus RecordingHost::on_set_alarm(void *user, uint32_t ms, SoftCCAlarmFunction alarm,
                                         void *ctx)
{
    auto *host = static_cast<RecordingHost *>(user);
    Event e;
    e.name = "set_alarm";
    e.milliseconds = ms;
    host->events.push_back(e);
    host->alarm = alarm;
    host->alarm_context = ctx;
    return host->result("set_alarm");
}

SoftCCStatus RecordingHost::on_cancel_alarm(void *user)
{
    auto *host = static_cast<RecordingHost *>(user);
    host->events.push_back({"cancel_alarm", {}, {}, {}, 0});
    host->alarm = nullptr;
    host->alarm_context = nullptr;
    return host->result("cancel_alarm");
}

SoftCCStatus RecordingHost::on_xds(void *user, const uint8_t *data, uint32_t count)
{
    auto *host = static_cast<RecordingHost *>(user);
    host->events.push_back({"xds", {}, {}, std::vector<uint8_t>(data, data + count), 0});
    return host->result("xds");
}

SoftCCStatus RecordingHost::on_link(void *user, const uint8_t *data, uint32_t count)
{
    auto *host = static_cast<RecordingHost *>(user);
    host->events.push_back({"link", {}, {}, std::vector<uint8_t>(data, data + count), 0});
    return host->result("link");
}

} // namespace test_host
