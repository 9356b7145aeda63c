#include "recording_host.h"

#include <algorithm>
#include <stdexcept>

namespace test_host {

std::string utf8(const std::u16string &text)
{
    std::string out;
    for (char16_t c : text) {
        // A lead byte marking how many 6-bit continuation bytes follow.
        int tail = c < 0x80 ? 0 : c < 0x800 ? 1 : 2;
        out += static_cast<char>(tail == 0 ? c : ((0xFF00 >> (tail + 1)) & 0xFF) | (c >> (6 * tail)));
        for (int i = tail - 1; i >= 0; --i)
            out += static_cast<char>(0x80 | ((c >> (6 * i)) & 0x3F));
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
        out.push_back(
            {s->row, s->column, {s->text, s->text + s->length}, s->pen, s->caption_mode, s->no_merge});
    }
    return out;
}

std::string describe(const CaptionWindow &window) { return describe(segments_of(window)); }

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

std::vector<std::string> RecordingHost::names() const
{
    std::vector<std::string> out(events.size());
    std::transform(events.begin(), events.end(), out.begin(), [](const Event &e) { return e.name; });
    return out;
}

SoftCCStatus RecordingHost::windows(const char *name, int, CaptionWindow *head)
{
    Event e{name};
    int guard = 0;
    for (CaptionWindow *w = head; w != nullptr; w = w->next) {
        if (++guard > 8)
            throw std::runtime_error(std::string(name) + ": window list longer than 8 or cyclic");
        e.window_ids.push_back(w->id);
        e.windows.push_back({*w, segments_of(*w)});
    }
    return record(std::move(e));
}

SoftCCStatus RecordingHost::record(Event e)
{
    events.push_back(e);
    auto it = results_.find(e.name);
    return it == results_.end() ? SOFTCC_OK : it->second;
}

} // namespace test_host
