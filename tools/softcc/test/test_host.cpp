#include <gtest/gtest.h>

#include <cstring>

#include "host.h"
#include "outputs.h"

using namespace softcc;

namespace {

struct Recorder : Sink {
    std::vector<Event> events;
    std::vector<std::pair<double, std::vector<Line>>> pictures;
    void event(const Event &e) override { events.push_back(e); }
    void picture(double t, const std::vector<Line> &l) override { pictures.emplace_back(t, l); }
};

// A 608-like window: bottom centre, relative, 15 x 32, holding `text` on `row`.
struct FakeWindow {
    CaptionWindow window{};
    TextSegment segment{};
    FakeWindow(uint8_t id, int row, int column, const char *text, bool visible)
    {
        window.id = id;
        window.flags = SOFTCC_WINDOW_RELATIVE | (visible ? SOFTCC_WINDOW_VISIBLE : 0);
        window.anchor_point = 7;
        window.anchor_vertical = 100;
        window.anchor_horizontal = 50;
        window.row_count = 15;
        window.column_count = 32;
        segment.in_use = 1;
        segment.row = (int8_t)row;
        segment.column = (int8_t)column;
        segment.length = (uint8_t)std::strlen(text);
        for (size_t i = 0; text[i]; i++) segment.chars[i] = (uint16_t)text[i];
        segment.text = segment.chars;
        window.segments = &segment;
    }
};

int g_alarms = 0;
SoftCCStatus count_alarm(void *context)
{
    g_alarms += *static_cast<int *>(context);
    return SOFTCC_OK;
}

Line line(int window, int row, const char *text)
{
    Line l;
    l.window = window;
    l.window_row = row;
    l.screen_row = row;
    SegmentCopy s;
    for (size_t i = 0; text[i]; i++) s.text += (char16_t)text[i];
    s.pen.fg_color = 0x3F;
    l.runs.push_back(s);
    return l;
}

}  // namespace

TEST(Host, PictureFollowsVisibleWindowsOnly)
{
    Recorder r;
    Host host(r, false);
    SoftCCOpenProfile p = host.profile(0);
    FakeWindow hidden(1, 14, 2, "later", false);
    FakeWindow shown(0, 14, 4, "Hello", true);
    host.advance_to(2.0);
    EXPECT_EQ(p.refresh_windows(p.user, &hidden.window), SOFTCC_OK);
    EXPECT_TRUE(r.pictures.empty());  // nothing visible changed
    shown.window.next = &hidden.window;
    p.refresh_windows(p.user, &shown.window);
    ASSERT_EQ(r.pictures.size(), 1u);
    EXPECT_EQ(r.pictures[0].first, 2.0);
    ASSERT_EQ(r.pictures[0].second.size(), 1u);
    EXPECT_EQ(utf8(r.pictures[0].second[0].text()), "Hello");
    EXPECT_EQ(r.pictures[0].second[0].screen_row, 14);
    EXPECT_EQ(r.pictures[0].second[0].screen_column, 4);
    // The same picture again draws nothing new; deleting the window clears it.
    p.refresh_windows(p.user, &shown.window);
    EXPECT_EQ(r.pictures.size(), 1u);
    shown.window.next = nullptr;
    p.delete_windows(p.user, &shown.window);
    ASSERT_EQ(r.pictures.size(), 2u);
    EXPECT_TRUE(r.pictures[1].second.empty());
    EXPECT_EQ(r.events.size(), 4u);
    EXPECT_EQ(r.events[1].windows.size(), 2u);
}

TEST(Host, DelayAlarmRunsOnceMediaTimePassesItAndCancelDisarms)
{
    Recorder r;
    Host host(r, true);
    SoftCCOpenProfile p = host.profile(1);
    int one = 1;
    g_alarms = 0;
    host.advance_to(1.0);
    p.set_delay_alarm(p.user, 500, count_alarm, &one);
    host.advance_to(1.4);
    EXPECT_EQ(g_alarms, 0);
    host.advance_to(1.6);
    EXPECT_EQ(g_alarms, 1);
    host.advance_to(5.0);
    EXPECT_EQ(g_alarms, 1);
    p.set_delay_alarm(p.user, 100, count_alarm, &one);
    p.cancel_delay_alarm(p.user);
    host.advance_to(6.0);
    EXPECT_EQ(g_alarms, 1);
    // An alarm pending at the end of the input still runs, at its own time.
    p.set_delay_alarm(p.user, 2000, count_alarm, &one);
    host.drain_alarm();
    EXPECT_EQ(g_alarms, 2);
    EXPECT_DOUBLE_EQ(host.now(), 8.0);
    EXPECT_EQ(r.events.back().callback, "delay_alarm_expired");
}

TEST(Cues, PopOnCaptionIsOneCuePerLineFromShowToRemove)
{
    CueBuilder b;
    b.picture(1.0, {line(0, 13, "first"), line(0, 14, "second")});
    b.picture(3.0, {});
    std::vector<Cue> cues = b.finish(10);
    ASSERT_EQ(cues.size(), 2u);
    EXPECT_EQ(cues[0].start, 1.0);
    EXPECT_EQ(cues[0].end, 3.0);
    EXPECT_EQ(cues[1].screen_row, 14);
    EXPECT_EQ(timestamp(3661.5, ','), "01:01:01,500");  // styles and escapes: the demo's expected outputs
}

TEST(Cues, RollUpLinesNeverRepeatAcrossCues)
{
    CueBuilder b;
    b.picture(1.0, {line(0, 14, "on")});
    b.picture(1.5, {line(0, 14, "one")});                        // still being typed
    b.picture(2.0, {line(0, 13, "one"), line(0, 14, "")});      // scrolled up
    b.picture(2.5, {line(0, 13, "one"), line(0, 14, "two")});
    b.picture(3.0, {line(0, 13, "two"), line(0, 14, "three")});  // "one" scrolls out
    std::vector<Cue> cues = b.finish(4.0);
    ASSERT_EQ(cues.size(), 3u);
    EXPECT_EQ(utf8(cues[0].runs[0].text), "one");
    EXPECT_EQ(cues[0].start, 1.0);
    EXPECT_EQ(cues[0].end, 3.0);
    EXPECT_EQ(utf8(cues[1].runs[0].text), "two");
    EXPECT_EQ(cues[1].start, 2.5);
    EXPECT_EQ(cues[1].end, 4.0);
    EXPECT_EQ(cues[2].start, 3.0);
}

TEST(Outputs, JsonLinesCarryWindowsSegmentsAndPens)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *out = open_memstream(&text, &size);
    auto sink = make_sink("json", out, false, 32);
    FakeWindow w(0, 14, 0, "caf\xe9", true);
    w.segment.chars[3] = 0xE9;
    Event e{1.25, "refresh_windows", {copy_window(w.window)}, 0, {}};
    sink->event(e);
    sink->event(Event{2, "forward_xds_data", {}, 0, {1, 3}});
    std::fclose(out);
    std::string s(text, size);
    std::free(text);
    EXPECT_EQ(s.rfind("{\"time\":1.250,\"callback\":\"refresh_windows\",\"windows\":[{\"id\":0,", 0), 0u) << s;
    EXPECT_NE(s.find("\"text\":\"caf\xc3\xa9\",\"pen\":{"), std::string::npos) << s;
    EXPECT_NE(s.find("{\"time\":2.000,\"callback\":\"forward_xds_data\",\"data\":[1,3]}\n"), std::string::npos);
}
