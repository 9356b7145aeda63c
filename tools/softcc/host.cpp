#include "host.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace softcc {

std::string utf8(const std::u16string &text)
{
    std::string out;
    for (char16_t c : text) {
        if (c < 0x80) {
            out += (char)c;
        } else if (c < 0x800) {
            out += (char)(0xC0 | (c >> 6));
            out += (char)(0x80 | (c & 0x3F));
        } else {
            out += (char)(0xE0 | (c >> 12));
            out += (char)(0x80 | ((c >> 6) & 0x3F));
            out += (char)(0x80 | (c & 0x3F));
        }
    }
    return out;
}

namespace {

SegmentCopy copy_segment(const TextSegment &s)
{
    SegmentCopy c;
    c.row = s.row;
    c.column = s.column;
    const uint16_t *text = s.text ? s.text : s.chars;
    size_t length = std::min<size_t>(s.length, SOFTCC_SEGMENT_CHARS);
    c.text.assign(text, text + length);
    c.pen = s.pen;
    c.caption_mode = s.caption_mode;
    return c;
}

bool same_pen(const PenStyle &a, const PenStyle &b)
{
    return a.fg_color == b.fg_color && a.attributes == b.attributes && a.bg_color == b.bg_color &&
           a.fg_opacity == b.fg_opacity && a.bg_opacity == b.bg_opacity;
}

}  // namespace

WindowCopy copy_window(const CaptionWindow &w)
{
    WindowCopy c;
    c.record = w;
    c.record.segments = nullptr;
    c.record.next = nullptr;
    c.record.current_segment = nullptr;
    // Bounded walk: a broken chain must not hang the host.
    int guard = 0;
    for (const TextSegment *s = w.segments; s && guard < 4096; s = s->next, guard++)
        if (s->in_use)
            c.segments.push_back(copy_segment(*s));
    if (w.current_segment && w.current_segment->in_use && w.current_segment->length > 0) {
        c.has_current = true;
        c.current = copy_segment(*w.current_segment);
    }
    return c;
}

std::u16string Line::text() const
{
    std::u16string out;
    if (runs.empty())
        return out;
    int base = runs.front().column;
    for (const SegmentCopy &r : runs) {
        if (r.column - base > (int)out.size())
            out.append((size_t)(r.column - base) - out.size(), u' ');
        out += r.text;
    }
    return out;
}

bool same_picture(const std::vector<Line> &a, const std::vector<Line> &b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); i++) {
        if (a[i].window != b[i].window || a[i].screen_row != b[i].screen_row ||
            a[i].screen_column != b[i].screen_column || a[i].runs.size() != b[i].runs.size())
            return false;
        for (size_t k = 0; k < a[i].runs.size(); k++)
            if (a[i].runs[k].text != b[i].runs[k].text || a[i].runs[k].column != b[i].runs[k].column ||
                !same_pen(a[i].runs[k].pen, b[i].runs[k].pen))
                return false;
    }
    return true;
}

Host::Host(Sink &sink, bool is708) : sink_(sink), is708_(is708) {}

SoftCCOpenProfile Host::profile(uint32_t service)
{
    SoftCCOpenProfile p{};
    p.format = is708_ ? SOFTCC_FORMAT_EIA708 : SOFTCC_FORMAT_EIA608;
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

void Host::advance_to(double time)
{
    // The alarm fires before any byte of a later time reaches the decoder.
    while (alarm_armed_ && alarm_time_ <= time) {
        alarm_armed_ = false;
        now_ = std::max(now_, alarm_time_);
        sink_.event(Event{now_, "delay_alarm_expired", {}, 0, {}});
        alarm_(alarm_context_);
    }
    now_ = std::max(now_, time);
}

void Host::drain_alarm()
{
    if (alarm_armed_)
        advance_to(alarm_time_);
}

void Host::window_callback(const char *name, CaptionWindow *windows, bool follow_list, bool remove)
{
    bool events = sink_.wants_events();
    Event e{now_, name, {}, 0, {}};
    int guard = 0;
    for (CaptionWindow *w = windows; w && guard < 8; w = follow_list ? w->next : nullptr, guard++) {
        if (events)
            e.windows.push_back(copy_window(*w));
        if (remove)
            windows_.erase(w->id);
        else
            windows_[w->id] = events ? e.windows.back() : copy_window(*w);
    }
    if (events)
        sink_.event(e);
    update_picture();
}

std::vector<Line> Host::visible_lines() const
{
    std::vector<Line> lines;
    const double grid_rows = 15, grid_cols = grid_columns();
    for (const auto &[id, w] : windows_) {
        const CaptionWindow &r = w.record;
        if (!(r.flags & SOFTCC_WINDOW_VISIBLE))
            continue;
        // Anchor as an edge position on the grid, then back off by the anchor point.
        double v = (r.flags & SOFTCC_WINDOW_RELATIVE) ? r.anchor_vertical * grid_rows / 100 : r.anchor_vertical / 5.0;
        double h = (r.flags & SOFTCC_WINDOW_RELATIVE) ? r.anchor_horizontal * grid_cols / 100
                                                       : r.anchor_horizontal / 5.0;
        int top = (int)std::lround(v - r.row_count * ((r.anchor_point % 9) / 3) / 2.0);
        int left = (int)std::lround(h - r.column_count * ((r.anchor_point % 9) % 3) / 2.0);
        std::vector<SegmentCopy> segments = w.segments;
        if (w.has_current)
            segments.push_back(w.current);
        std::map<int, Line> rows;
        for (const SegmentCopy &s : segments) {
            if (s.text.empty())
                continue;
            Line &l = rows[s.row];
            l.window = id;
            l.window_row = s.row;
            l.screen_row = std::clamp(top + s.row, 0, 14);
            l.runs.push_back(s);
        }
        for (auto &[row, l] : rows) {
            std::stable_sort(l.runs.begin(), l.runs.end(),
                      [](const SegmentCopy &a, const SegmentCopy &b) { return a.column < b.column; });
            l.screen_column = std::max(0, left + l.runs.front().column);
            lines.push_back(l);
        }
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const Line &a, const Line &b) { return a.screen_row < b.screen_row; });
    return lines;
}

void Host::update_picture()
{
    std::vector<Line> picture = visible_lines();
    if (same_picture(picture, last_picture_))
        return;
    last_picture_ = picture;
    sink_.picture(now_, picture);
}

SoftCCStatus Host::on_define(void *user, CaptionWindow *window)
{
    static_cast<Host *>(user)->window_callback("define_windows", window, false, false);
    return SOFTCC_OK;
}

SoftCCStatus Host::on_refresh(void *user, CaptionWindow *windows)
{
    static_cast<Host *>(user)->window_callback("refresh_windows", windows, true, false);
    return SOFTCC_OK;
}

SoftCCStatus Host::on_scroll(void *user, CaptionWindow *window)
{
    static_cast<Host *>(user)->window_callback("scroll_windows", window, false, false);
    return SOFTCC_OK;
}

SoftCCStatus Host::on_delete(void *user, CaptionWindow *windows)
{
    static_cast<Host *>(user)->window_callback("delete_windows", windows, true, true);
    return SOFTCC_OK;
}

SoftCCStatus Host::on_set_alarm(void *user, uint32_t ms, SoftCCAlarmFunction alarm, void *ctx)
{
    Host *h = static_cast<Host *>(user);
    h->alarm_armed_ = alarm != nullptr;
    h->alarm_time_ = h->now_ + ms / 1000.0;
    h->alarm_ = alarm;
    h->alarm_context_ = ctx;
    h->sink_.event(Event{h->now_, "set_delay_alarm", {}, ms, {}});
    return SOFTCC_OK;
}

SoftCCStatus Host::on_cancel_alarm(void *user)
{
    Host *h = static_cast<Host *>(user);
    h->alarm_armed_ = false;
    h->sink_.event(Event{h->now_, "cancel_delay_alarm", {}, 0, {}});
    return SOFTCC_OK;
}

SoftCCStatus Host::on_xds(void *user, const uint8_t *data, uint32_t count)
{
    Host *h = static_cast<Host *>(user);
    h->sink_.event(Event{h->now_, "forward_xds_data", {}, 0, std::vector<uint8_t>(data, data + count)});
    return SOFTCC_OK;
}

SoftCCStatus Host::on_link(void *user, const uint8_t *data, uint32_t count)
{
    Host *h = static_cast<Host *>(user);
    h->sink_.event(Event{h->now_, "forward_link_data", {}, 0, std::vector<uint8_t>(data, data + count)});
    return SOFTCC_OK;
}

}  // namespace softcc
