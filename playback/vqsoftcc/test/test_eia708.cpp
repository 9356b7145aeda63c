// The EIA-708 decoder as a host sees it: DTVCC packets in, window callbacks
// and window contents out.
#include "context_fixture.h"

#include <algorithm>
#include <random>
#include <string>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using test_host::describe;

namespace {

using Bytes = std::vector<uint8_t>;

// ---- Building caption data ---------------------------------------------------

Bytes text(const std::string &s) { return Bytes(s.begin(), s.end()); }

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct WindowSpec {
    int id = 0; bool visible = true;
    int rows = 2, columns = 10, window_style = 1, pen_style = 1, anchor_horizontal = 0;
};

Bytes define_window(const WindowSpec &w)
{
    return {uint8_t(0x98 + w.id), uint8_t(w.visible ? 0x20 : 0x00), 0, uint8_t(w.anchor_horizontal),
            uint8_t(w.rows - 1), uint8_t(w.columns - 1), uint8_t(w.window_style << 3 | w.pen_style)};
}

const Bytes kEtx = {0x03}, kBs = {0x08}, kFf = {0x0C}, kCr = {0x0D}, kHcr = {0x0E};
const Bytes kDelayCancel = {0x8E}, kReset = {0x8F};
Bytes delay(int tenths) { return {0x8D, static_cast<uint8_t>(tenths)}; }
Bytes pen_location(int row, int column) { return {0x92, uint8_t(row), uint8_t(column)}; }
Bytes window_attributes(uint8_t directions) { return {0x97, 0x00, 0x00, directions, 0x00}; }

const char *const kCodeFailed = "EIA-708 code interpretation failed\n";
const char *const kRefreshFailed = "refresh_windows failed\n";
const char *const kDeleteFailed = "delete_windows failed\n";

// Packs service data into DTVCC packets: one service block of at most 31
// bytes per packet, padded to even length with a null block header.
Bytes packets(int &sequence, int service, const Bytes &data)
{
    Bytes out;
    for (size_t at = 0; at < data.size(); at += 31) {
        Bytes chunk(data.begin() + at, data.begin() + std::min(data.size(), at + 31));
        Bytes body = service < 7 ? Bytes{uint8_t(service << 5 | chunk.size())}
                                 : Bytes{uint8_t(0xE0 | chunk.size()), uint8_t(service)};
        body = body + chunk + Bytes((body.size() + chunk.size()) % 2 == 0 ? 1 : 0, 0x00);
        out = out + Bytes{uint8_t(sequence << 6 | (body.size() + 1) / 2)} + body;
        sequence = (sequence + 1) & 3;
    }
    return out;
}

class Eia708Test : public ContextTest {
protected:
    void SetUp() override { ContextTest::SetUp(), open(SOFTCC_FORMAT_EIA708, 1); }

    // Feeds codes of a service in well-formed packets.
    void send(const Bytes &codes, int service = 1)
    {
        ASSERT_EQ(decode(packets(sequence, service, codes)), SOFTCC_OK);
    }

    Eia708State &state() { return context->format_state.eia708; }
    std::string shown(size_t event) const { return describe(host.events.at(event).windows.at(0).segments); }
    // "rows x columns at cursor row,column"
    static std::string layout(const CaptionWindow &w)
    {
        return std::to_string(w.row_count) + "x" + std::to_string(w.column_count) + " at " +
               std::to_string(w.cursor_row) + "," + std::to_string(w.cursor_column);
    }

    int sequence = 1;
};

// ---- A caption session --------------------------------------------------------

TEST_F(Eia708Test, SessionDrivesTheRendererThroughAVisibleWindow)
{
    send(define_window({.id = 2, .visible = true, .rows = 2, .columns = 10}));
    ASSERT_THAT(host.names(), ElementsAre("define", "refresh"));
    const CaptionWindow &defined = host.events[0].windows[0].record;
    EXPECT_EQ(layout(defined), "2x10 at 0,0");
    EXPECT_EQ(defined.flags, SOFTCC_WINDOW_VISIBLE);

    host.clear();
    send(Bytes{0x91, 0x30, 0x00, 0x00} + Bytes{0x90, 0x00, 0x80} + text("HI"));
    // Left-justified: each character reaches the renderer at once.
    ASSERT_THAT(host.names(), ElementsAre("refresh", "refresh"));
    EXPECT_EQ(shown(0) + "/" + shown(1), "0:0:H/0:0:HI");
    const PenStyle &pen = host.events[1].windows[0].segments[0].pen;
    EXPECT_EQ(pen.fg_color, 0x30);
    EXPECT_EQ(pen.attributes, SOFTCC_PEN_ITALICS);

    host.clear();
    send(kCr + text("YO") + kCr);
    // The first CR moves to row 1; the second is on the last row and scrolls.
    ASSERT_THAT(host.names(), ElementsAre("refresh", "refresh", "scroll"));
    EXPECT_EQ(shown(1) + "/" + shown(2), "0:0:HI|1:0:YO/0:0:YO");
    EXPECT_EQ(layout(window(2)), "2x10 at 1,0");

    // Hide, display, clear: each refreshes its windows, changed or not.
    host.clear();
    send(Bytes{0x8A, 0x04} + Bytes{0x8B, 0x05} + Bytes{0x88, 0xFF});
    ASSERT_THAT(host.names(), ElementsAre("refresh", "refresh", "refresh"));
    EXPECT_THAT(host.events[2].window_ids, ElementsAre(2)); // undefined windows stay out
    EXPECT_EQ(host.events[0].windows[0].record.flags & SOFTCC_WINDOW_VISIBLE, 0);
    EXPECT_EQ(host.events[1].windows[0].record.flags, SOFTCC_WINDOW_VISIBLE);
    EXPECT_EQ(shown(1) + "/" + shown(2), "0:0:YO/");

    host.clear();
    send(Bytes{0x8C, 0x04}); // DeleteWindows 2
    ASSERT_THAT(host.names(), ElementsAre("delete"));
    EXPECT_EQ(window(2).defined, 0);
    EXPECT_EQ(context->current_window, -1);
    EXPECT_THAT(fake_platform::reports(), IsEmpty());
}

// SetWindowAttributes refreshes even a hidden window, but only when the
// style really changes.
TEST_F(Eia708Test, HiddenWindowKeepsTextUntilDisplayed)
{
    send(define_window({.id = 0, .visible = false}) + define_window({.id = 3, .visible = false}) +
         text("AB") + kEtx + window_attributes(0x0E) + window_attributes(0x0E));
    EXPECT_THAT(host.names(), ElementsAre("define", "define", "refresh"));
    EXPECT_EQ(describe(window(3)), "0:0:AB");

    host.clear();
    send(Bytes{0x89, 0x09}); // DisplayWindows 0 and 3
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(3, 0));
    EXPECT_EQ(window(3).next, nullptr); // the list is unlinked afterwards
}

TEST_F(Eia708Test, CentredAndRightJustifiedLinesAppearAtTheNextControlCode)
{
    for (uint8_t justify : {1, 2}) {
        send(kReset + define_window({.id = 0, .window_style = 3}) + window_attributes(0x0C | justify));
        host.clear();
        send(text("AB") + Bytes{0x85}); // SetCurrentWindow of an undefined window only flushes
        ASSERT_THAT(host.names(), ElementsAre("refresh"));
        EXPECT_EQ(shown(0), "0:0:AB");
        EXPECT_EQ(context->current_window, 0);
    }
}

// Every print direction types away from the start of its line.  BS steps
// back and erases without a refresh; HCR empties the cursor's line, always
// towards higher positions, so right-to-left and upward lines keep their far
// part.  Window style 7 prints downwards and its CR moves right; on the last
// column CR scrolls right to left.
TEST_F(Eia708Test, EachPrintDirectionTypesBackspacesAndEmptiesTheLine)
{
    const struct {
        uint8_t directions; // SetWindowAttributes byte 3: print << 4 | scroll << 2
        const char *typed, *after_hcr;
    } cases[] = {
        {0x0C, "0:0:XY|1:0:AB", "0:0:XY"},
        {0x1C, "0:3:YX|1:3:BA", "0:3:YX|1:3:B"},
        {0x24, "0:0:XY|0:1:AB", "0:0:XY"},
        {0x34, "3:0:YX|3:1:BA", "3:0:YX|3:1:B"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.directions);
        send(kReset + define_window({.rows = 5, .columns = 5}) + window_attributes(c.directions) +
             kHcr + text("XY") + kCr + text("ABC"));
        host.clear();
        send(kBs);
        EXPECT_THAT(host.names(), IsEmpty());
        EXPECT_EQ(describe(window(0)), c.typed);
        send(kHcr);
        EXPECT_THAT(host.names(), ElementsAre("refresh"));
        EXPECT_EQ(describe(window(0)), c.after_hcr);
    }

    send(kReset + define_window({.id = 1, .rows = 4, .columns = 3, .window_style = 7}) + text("AB") +
         kCr + text("C"));
    EXPECT_EQ(describe(window(1)), "0:0:AB|0:1:C");
    EXPECT_EQ(layout(window(1)), "4x3 at 1,1");
    host.clear();
    send(kCr + kCr);
    ASSERT_THAT(host.names(), ElementsAre("scroll"));
    EXPECT_EQ(shown(0), "0:0:C"); // column 0 left the window
}

TEST_F(Eia708Test, CharacterSetsMapToUcs2)
{
    send(define_window({.id = 0, .visible = false, .rows = 1, .columns = 12}) + Bytes{0x7F, 0xA9} +
         Bytes{0x10, 0x25, 0x10, 0x20, 0x10, 0x50, 0x10, 0xA0, 0x10, 0xA1, 0x18, 0x12, 0x34} +
         Bytes{0x10, 0x7F} + kEtx);
    EXPECT_EQ(describe(window(0)), "0:0:\u266A\u00A9\u2026\uF8FE_\uF8FF_?\u250C");
}

TEST_F(Eia708Test, RedefinitionKeepsTextAndChangesPenOnlyInPlace)
{
    send(define_window({.visible = false}) + text("AB") + define_window({.visible = false, .pen_style = 2}));
    EXPECT_EQ(window(0).pen.font_style, 1u);
    EXPECT_EQ(describe(window(0)) + " " + layout(window(0)), "0:0:AB 2x10 at 0,2");

    send(define_window({.visible = false, .pen_style = 3, .anchor_horizontal = 9}));
    EXPECT_EQ(window(0).pen.font_style, 1u); // moved: the pen stays
    send(define_window({.visible = false, .window_style = 4, .pen_style = 6, .anchor_horizontal = 9}));
    EXPECT_EQ(window(0).style.word_wrap, 1);
    EXPECT_EQ(window(0).pen.font_style, 1u); // in place too, a new style wins over the pen

    // A small pen lets the window grow to hold the cursor, unless locked.
    send(Bytes{0x90, 0x00, 0x00} + pen_location(5, 12));
    EXPECT_EQ(layout(window(0)), "6x13 at 5,12");
    send(Bytes{0x98, 0x10, 0x00, 0x09, 0x01, 0x09, 0x00} + pen_location(7, 14)); // rows locked
    EXPECT_EQ(layout(window(0)), "2x15 at 7,14");
}

// ---- Services and packets -------------------------------------------------------

TEST_F(Eia708Test, OtherServicesAreIgnoredAndExtendedServicesDecode)
{
    send(define_window({}) + text("A"), 2);
    EXPECT_THAT(host.names(), IsEmpty());

    VQSoftCCSelectService(context, 10);
    sequence = 1;
    send(define_window({}) + text("Z"), 10);
    EXPECT_EQ(describe(window(0)), "0:0:Z");
}

TEST_F(Eia708Test, CodesAssembleAcrossCallsPacketsAndNullPadding)
{
    // DefineWindow one byte per call, each in its own 4-byte packet (the
    // null block pads the packet).
    for (uint8_t byte : define_window({.visible = false}))
        send(Bytes{byte});

    // EXT1 + C3 0x90 with 5 data bytes only flushes; the 'A' after it types.
    host.clear();
    send(Bytes{0x10, 0x90, 0x05, 'x', 'x', 'x', 'x', 'x'} + text("A") + Bytes{0x10, 0x90, 0x00} +
         text("B") + kEtx);
    EXPECT_EQ(describe(window(0)), "0:0:AB");

    // A 128-byte packet (size code 0): 1 block of 2 bytes then padding.
    const Bytes big = Bytes{uint8_t(sequence << 6), 0x22, 'C', 'D', 0x00} + Bytes(123, 0x41);
    sequence = (sequence + 1) & 3;
    ASSERT_EQ(decode(big), SOFTCC_OK);
    send(kEtx);
    EXPECT_EQ(describe(window(0)), "0:0:ABCD");
}

// The first packet must carry sequence 1, but a break on a fresh decoder
// costs nothing.  Later, one lost packet costs the windows, the delay with
// its held-back codes and the partly assembled code.
TEST_F(Eia708Test, SequenceBreakDropsWindowsDelayAndPartialCode)
{
    sequence = 2;
    send(define_window({.id = 4}) + delay(5) + text("A"));
    EXPECT_THAT(host.names(), ElementsAre("define", "refresh", "set_alarm"));
    send(Bytes{0x9D, 0x20, 0x00}); // DefineWindow 5 cut short
    host.clear();
    sequence = (sequence + 1) & 3;
    send(text("Q"));
    EXPECT_THAT(host.names(), ElementsAre("delete", "cancel_alarm"));
    EXPECT_EQ(window(4).defined + window(5).defined, 0);
    EXPECT_EQ(state().code_bytes_missing + state().delayed_fill, 0u);
}

// ---- Delay ----------------------------------------------------------------------

TEST_F(Eia708Test, DelayHoldsCodesBackUntilDelayCancelAndResetDropsThem)
{
    send(define_window({}) + delay(25));
    host.clear();
    send(text("AB"));
    EXPECT_THAT(host.names(), IsEmpty());
    EXPECT_EQ(state().delayed_fill, 2u);
    send(kDelayCancel);
    ASSERT_THAT(host.names(), ElementsAre("cancel_alarm", "refresh", "refresh"));
    EXPECT_EQ(shown(2), "0:0:AB");
    EXPECT_EQ(state().delay_active, 0);
    send(kDelayCancel); // without a delay in force the host still hears of it
    EXPECT_EQ(host.names().back(), "cancel_alarm");

    // A Reset acts at once even during a delay and drops the held-back codes.
    host.clear();
    send(delay(10) + text("CD") + kReset + text("E"));
    EXPECT_THAT(host.names(), ElementsAre("set_alarm", "delete", "cancel_alarm"));
    EXPECT_EQ(state().delayed_fill, 0u);
}

TEST_F(Eia708Test, AlarmReplaysUpToAHeldBackDelay)
{
    send(define_window({.id = 1, .visible = false}) + define_window({}) + delay(5) + text("A") +
         Bytes{0x8C, 0x02} + delay(10) + text("B"));
    ASSERT_NE(host.alarm, nullptr);
    host.clear();
    host.fail("delete", 31);
    EXPECT_EQ(host.alarm(host.alarm_context), SOFTCC_OK);
    ASSERT_THAT(host.names(), ElementsAre("cancel_alarm", "refresh", "delete", "set_alarm"));
    EXPECT_EQ(host.events[3].milliseconds, 1000u);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(31, 934, kDeleteFailed), report708(31, 328, kCodeFailed)));
    EXPECT_EQ(state().delayed_fill, 1u);

    host.clear();
    host.succeed("delete");
    EXPECT_EQ(host.alarm(host.alarm_context), SOFTCC_OK);
    EXPECT_THAT(host.names(), ElementsAre("cancel_alarm", "refresh"));
    EXPECT_EQ(describe(window(0)), "0:0:AB");
}

TEST_F(Eia708Test, DelayBufferOverflowsAfterExactly128Bytes)
{
    send(define_window({}) + delay(100));
    host.clear();
    send(Bytes(126, 0x00) + Bytes{0x10, 0x25}); // 128 bytes: all held back
    EXPECT_EQ(state().delayed_fill, 128u);

    // FF overflows: the held codes go first, then FF; a failing character
    // refresh is only reported, FF's own failure is the overflowing code's.
    host.fail("refresh", 21);
    send(kFf);
    ASSERT_THAT(host.names(), ElementsAre("cancel_alarm", "refresh", "refresh"));
    EXPECT_EQ(shown(1), "0:0:\u2026");
    EXPECT_EQ(describe(window(0)), "");
    EXPECT_EQ(state().delayed_fill, 0u);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(21, 799, kRefreshFailed), report708(21, 695, kRefreshFailed), report708(21, 204, kCodeFailed)));

    // A Delay among the replayed codes holds the rest back again, yet the
    // overflowing code itself is still interpreted.
    host.succeed("refresh");
    host.clear();
    send(delay(1) + Bytes(124, 0x00) + delay(2) + Bytes{0x10, 0x25} + text("C"));
    EXPECT_THAT(host.names(), ElementsAre("set_alarm", "cancel_alarm", "set_alarm", "refresh"));
    EXPECT_EQ(describe(window(0)), "0:0:C");
    EXPECT_EQ(state().delayed_fill, 2u);
}

// ---- Failures ---------------------------------------------------------------------


// A refused refresh, scroll or alarm fails its code; a refused flush stops
// the command behind it, a refused alarm leaves the delay in force and a
// refused delete keeps the windows (but not the current window).
TEST_F(Eia708Test, RefusedCallbacksAreReportedAtTheirLines)
{
    send(define_window({}) + text("A"));
    host.fail("refresh", 5);
    host.fail("scroll", 66);
    host.fail("set_alarm", 14);
    fake_platform::clear_reports();
    send(kFf + pen_location(1, 0) + kCr + delay(3) + text("A"));
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(5, 695, kRefreshFailed), report708(5, 214, kCodeFailed),
                            report708(66, 750, "scroll_windows failed\n"),
                            report708(66, 214, kCodeFailed),
                            report708(14, 1203, "set_delay_alarm failed\n"),
                            report708(14, 214, kCodeFailed)));
    EXPECT_EQ(state().delayed_fill, 1u); // held back: the delay is in force

    send(kReset + define_window({.window_style = 3}) + text("A"));
    fake_platform::clear_reports();
    send(Bytes{0x8A, 0x01}); // HideWindows 0
    EXPECT_TRUE(window(0).flags & SOFTCC_WINDOW_VISIBLE);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(5, 799, kRefreshFailed), report708(5, 214, kCodeFailed)));

    host.succeed("refresh");
    host.fail("delete", 13);
    fake_platform::clear_reports();
    send(Bytes{0x8C, 0x01} + kReset); // DeleteWindows 0, then Reset
    EXPECT_EQ(window(0).defined, 1);
    EXPECT_EQ(context->current_window, -1);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(13, 934, kDeleteFailed), report708(13, 214, kCodeFailed),
                            report708(13, 934, kDeleteFailed)));
    host.succeed("delete");

    // A refused definition resets the service, yet a window defined visible
    // is still refreshed.
    send(kReset + define_window({.id = 1, .visible = false}) + delay(1));
    host.clear();
    host.fail("define", 70);
    fake_platform::clear_reports();
    send(kDelayCancel + define_window({.id = 3}));
    EXPECT_THAT(host.names(), ElementsAre("cancel_alarm", "define", "delete", "refresh"));
    EXPECT_THAT(host.events[2].window_ids, ElementsAre(3, 1));
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(70, 898, "define_windows failed. Resetting...\n")));
    EXPECT_EQ(context->current_window, -1);
}

// ---- Bad input --------------------------------------------------------------------

TEST_F(Eia708Test, RandomInputNeverCrashesOrLeaks)
{
    std::mt19937 random(708);
    auto noise = [&](size_t count) {
        Bytes out(count);
        std::generate(out.begin(), out.end(), [&] { return static_cast<uint8_t>(random()); });
        return out;
    };
    for (int round = 0; round < 300; ++round) {
        Bytes codes = define_window({.id = round % 8, .rows = 1 + round % 16, .columns = 1 + round % 64,
                                     .window_style = round % 8, .pen_style = (round / 8) % 8});
        for (int command = 0x80; command <= 0x9F; ++command)
            codes = codes + Bytes{static_cast<uint8_t>(command)} + noise(6) + text("xy") + kCr;
        send(codes);
        ASSERT_EQ(decode(noise(1 + random() % 300)), SOFTCC_OK);
        if (host.alarm != nullptr && round % 3 == 0)
            host.alarm(host.alarm_context);
        host.clear();
    }
    for (const CaptionWindow &w : context->windows)
        EXPECT_LE(test_host::segments_of(w).size(), 64u * 16u);
}

} // namespace
