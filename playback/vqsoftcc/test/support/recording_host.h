// A host for tests: an open profile whose callbacks record what the library
// hands them (the window list and a snapshot of each window's text), with a
// result chosen per callback.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vqsoftcc.h"

namespace test_host {

struct SegmentView {
    int row;
    int column;
    std::u16string text;
    PenStyle pen;
    uint16_t caption_mode;
    uint8_t no_merge;
};

struct WindowView {
    CaptionWindow record; // as it was during the callback (pointers not to be followed)
    std::vector<SegmentView> segments;
};

struct Event {
    std::string name;                // "define", "refresh", "scroll", "delete", "set_alarm",
                                     // "cancel_alarm", "xds", "link"
    std::vector<int> window_ids;     // the list handed over, head first
    std::vector<WindowView> windows; // snapshots, in list order
    std::vector<uint8_t> bytes;      // xds and link data
    uint32_t milliseconds = 0;       // set_alarm
};

std::vector<SegmentView> segments_of(const CaptionWindow &window);
// Text of one window as rows of a character grid, for readable assertions:
// "row:column:text|..." in list order.
std::string describe(const CaptionWindow &window);
std::string describe(const std::vector<SegmentView> &segments); // a snapshot's text alike
std::string utf8(const std::u16string &text);

class RecordingHost {
public:
    SoftCCOpenProfile profile(uint32_t format, uint32_t service = 0);

    // Result a callback returns from now on ("define", "refresh", ...).
    void fail(const std::string &callback, SoftCCStatus status) { results_[callback] = status; }
    void succeed(const std::string &callback) { results_.erase(callback); }

    std::vector<Event> events;
    std::vector<std::string> names() const;
    void clear() { events.clear(); }

    // The alarm the library armed last (null when none or cancelled).
    SoftCCAlarmFunction alarm = nullptr;
    void *alarm_context = nullptr;

private:
    SoftCCStatus result(const std::string &callback) const;
    SoftCCStatus record_list(const char *name, CaptionWindow *head);

    static SoftCCStatus on_define(void *user, CaptionWindow *window);
    static SoftCCStatus on_refresh(void *user, CaptionWindow *windows);
    static SoftCCStatus on_scroll(void *user, CaptionWindow *window);
    static SoftCCStatus on_delete(void *user, CaptionWindow *windows);
    static SoftCCStatus on_set_alarm(void *user, uint32_t ms, SoftCCAlarmFunction alarm, void *ctx);
    static SoftCCStatus on_cancel_alarm(void *user);
    static SoftCCStatus on_xds(void *user, const uint8_t *data, uint32_t count);
    static SoftCCStatus on_link(void *user, const uint8_t *data, uint32_t count);

    std::map<std::string, SoftCCStatus> results_;
};

} // namespace test_host
