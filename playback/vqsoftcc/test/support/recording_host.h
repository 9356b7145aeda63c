// A host for tests: an open profile whose callbacks record what the library
// hands them (the window list and a snapshot of each window's text), with a
// result chosen per callback.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host_routing.h"

namespace test_host {

struct SegmentView {
    int row, column;
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
// The same for the segments a callback saw.
std::string describe(const std::vector<SegmentView> &segments);
std::string utf8(const std::u16string &text);

class RecordingHost {
public:
    SoftCCOpenProfile profile(uint32_t format, uint32_t service = 0)
    {
        return routed_profile(this, format, service);
    }

    // Result a callback returns from now on ("define", "refresh", ...).
    void fail(const std::string &callback, SoftCCStatus status) { results_[callback] = status; }
    void succeed(const std::string &callback) { results_.erase(callback); }

    std::vector<Event> events;
    std::vector<std::string> names() const;
    void clear() { events.clear(); }

    // The alarm the library armed last (null when none or cancelled).
    SoftCCAlarmFunction alarm = nullptr;
    void *alarm_context = nullptr;

    // Where the routed callbacks arrive (see host_routing.h).
    SoftCCStatus windows(const char *name, int callback, CaptionWindow *head);
    SoftCCStatus armed(uint32_t ms) { return record({"set_alarm", {}, {}, {}, ms}); }
    SoftCCStatus cancelled() { return record({"cancel_alarm"}); }
    SoftCCStatus bytes(const char *name, const uint8_t *data, uint32_t count)
    {
        return record({name, {}, {}, std::vector<uint8_t>(data, data + count)});
    }

private:
    SoftCCStatus record(Event e);

    std::map<std::string, SoftCCStatus> results_;
};

} // namespace test_host
