// The softcc host: a libvqsoftcc open profile whose callbacks keep a copy of
// every window the library hands over, a delay alarm run against media time,
// and the picture (visible lines) that the outputs turn into text.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vqsoftcc.h"

namespace softcc {

struct SegmentCopy {
    int row = 0;
    int column = 0;
    std::u16string text;
    PenStyle pen{};
    int caption_mode = 0;
};

// A window as the callback saw it; pointers are not kept, the text is.
struct WindowCopy {
    CaptionWindow record{};  // segments, next and current_segment cleared
    std::vector<SegmentCopy> segments;
    bool has_current = false;
    SegmentCopy current;     // the run being typed
};

// One line of visible text, placed on the caption grid.
struct Line {
    int window = 0;
    int window_row = 0;
    int screen_row = 0;      // 0..14
    int screen_column = 0;   // of the first run
    std::vector<SegmentCopy> runs;  // in column order
    std::u16string text() const;     // runs joined, gaps as spaces
};

struct Event {
    double time = 0;
    std::string callback;
    std::vector<WindowCopy> windows;  // for window callbacks
    uint32_t milliseconds = 0;        // set_delay_alarm
    std::vector<uint8_t> data;        // forward_xds_data, forward_link_data
};

struct Report {
    double time = 0;
    uint32_t status = 0;
    std::string path;
    uint32_t line = 0;
    std::string message;
};

// What the outputs implement.
class Sink {
public:
    virtual ~Sink() = default;
    virtual void event(const Event &) {}
    // False for outputs that show pictures only: the host then spares the
    // copies of the windows that an event carries.
    virtual bool wants_events() const { return true; }
    virtual void report(const Report &) {}
    // The visible picture after a callback changed it.
    virtual void picture(double /*time*/, const std::vector<Line> &) {}
    virtual void finish(double /*end_time*/) {}
};

class Host {
public:
    Host(Sink &sink, bool is708);
    SoftCCOpenProfile profile(uint32_t service);

    // Moves media time to `time`, first running the delay alarm if it falls due.
    void advance_to(double time);
    // Runs an alarm still pending after the input ends.
    void drain_alarm();
    double now() const { return now_; }
    int grid_columns() const { return is708_ ? 42 : 32; }
    void report(const Report &r) { sink_.report(r); }

private:
    static SoftCCStatus on_define(void *user, CaptionWindow *window);
    static SoftCCStatus on_refresh(void *user, CaptionWindow *windows);
    static SoftCCStatus on_scroll(void *user, CaptionWindow *window);
    static SoftCCStatus on_delete(void *user, CaptionWindow *windows);
    static SoftCCStatus on_set_alarm(void *user, uint32_t ms, SoftCCAlarmFunction alarm, void *ctx);
    static SoftCCStatus on_cancel_alarm(void *user);
    static SoftCCStatus on_xds(void *user, const uint8_t *data, uint32_t count);
    static SoftCCStatus on_link(void *user, const uint8_t *data, uint32_t count);

    void window_callback(const char *name, CaptionWindow *windows, bool follow_list, bool remove);
    void update_picture();
    std::vector<Line> visible_lines() const;

    Sink &sink_;
    bool is708_;
    double now_ = 0;
    std::map<int, WindowCopy> windows_;
    std::vector<Line> last_picture_;
    bool alarm_armed_ = false;
    double alarm_time_ = 0;
    SoftCCAlarmFunction alarm_ = nullptr;
    void *alarm_context_ = nullptr;
};

WindowCopy copy_window(const CaptionWindow &w);
std::string utf8(const std::u16string &text);
bool same_picture(const std::vector<Line> &a, const std::vector<Line> &b);

}  // namespace softcc
