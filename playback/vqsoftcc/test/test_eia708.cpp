// The EIA-708 decoder as a host sees it: DTVCC packets in, window callbacks
// and window contents out.
#include "context_fixture.h"

#include <random>
#include <string>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using test_host::describe;

namespace {

using Bytes = std::vector<uint8_t>;

// ---- Building caption data ---------------------------------------------------

Bytes text(const std::string &s)
{
    return Bytes(s.begin(), s.end());
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct WindowSpec {
    int id = 0;
    bool visible = true;
    int rows = 2;
    int columns = 10;
    int window_style = 1;
    int pen_style = 1;
    int anchor_horizontal = 0;
};

Bytes define_window(const WindowSpec &w)
{
    return {static_cast<uint8_t>(0x98 + w.id), static_cast<uint8_t>(w.visible ? 0x20 : 0x00), 0,
            static_cast<uint8_t>(w.anchor_horizontal), static_cast<uint8_t>(w.rows - 1),
            static_cast<uint8_t>(w.columns - 1),
            static_cast<uint8_t>((w.window_style << 3) | w.pen_style)};
}

const Bytes kEtx = {0x03};
const Bytes kCr = {0x0D};
const Bytes kBs = {0x08};
const Bytes kHcr = {0x0E};
const Bytes kDelayCancel = {0x8E};
const Bytes kReset = {0x8F};
Bytes delay(int tenths) { return {0x8D, static_cast<uint8_t>(tenths)}; }
Bytes bitmap_command(uint8_t command, uint8_t bitmap) { return {command, bitmap}; }
Bytes pen_location(int row, int column)
{
    return {0x92, static_cast<uint8_t>(row), static_cast<uint8_t>(column)};
}

// Packs service data into DTVCC packets: one service block of at most 31
// bytes per packet, padded to even length with a null block header.
class PacketWriter {
public:
    Bytes packets(int service, const Bytes &data)
    {
        Bytes out;
        for (size_t at = 0; at < data.size(); at += 31) {
            Bytes chunk(data.begin() + at, data.begin() + std::min(data.size(), at + 31));
            out = out + packet(block(service, chunk));
        }
        return out;
    }

    static Bytes block(int service, const Bytes &data)
    {
        Bytes out;
        if (service < 7) {
            out.push_back(static_cast<uint8_t>((service << 5) | data.size()));
        } else {
            out.push_back(static_cast<uint8_t>(0xE0 | data.size()));
            out.push_back(static_cast<uint8_t>(service));
        }
        return out + data;
    }

    Bytes packet(Bytes body)
    {
        if (body.size() % 2 == 0)
            body.push_back(0x00);
        size_t total = body.size() + 1;
        Bytes out = {static_cast<uint8_t>((sequence << 6) | ((total / 2) & 0x3F))};
        sequence = (sequence + 1) & 3;
        return out + body;
    }

    int sequence = 1;
};

class Eia708Test : public ContextTest {
protected:
    void SetUp() override
    {
        ContextTest::SetUp();
        open(SOFTCC_FORMAT_EIA708, 1);
    }

    // Feeds codes of service 1 in well-formed packets.
    void send(const Bytes &codes, int service = 1)
    {
        ASSERT_EQ(decode(writer.packets(service, codes)), SOFTCC_OK);
    }

    Eia708State &state() { return context->format_state.eia708; }
    std::string shown(size_t event) const { return describe(host.events.at(event).windows.at(0).segments); }

    PacketWriter writer;
};

// ---- A caption session --------------------------------------------------------

TEST_F(Eia708Test, SessionDrivesTheRendererThroughAVisibleWindow)
{
    send(define_window({.id = 2, .visible = true, .rows = 2, .columns = 10}));
    ASSERT_THAT(host.names(), ElementsAre("define", "refresh"));
    const CaptionWindow &defined = host.events[0].windows[0].record;
    EXPECT_EQ(defined.row_count, 2);
    EXPECT_EQ(defined.column_count, 10);
    EXPECT_EQ(defined.flags, SOFTCC_WINDOW_VISIBLE);
    EXPECT_EQ(context->current_window, 2);

    host.clear();
    send(Bytes{0x91, 0x30, 0x00, 0x00} + Bytes{0x90, 0x00, 0x80} + text("HI"));
    // Left-justified: each character reaches the renderer at once.
    ASSERT_THAT(host.names(), ElementsAre("refresh", "refresh"));
    EXPECT_EQ(shown(0), "0:0:H");
    EXPECT_EQ(shown(1), "0:0:HI");
    const PenStyle &pen = host.events[1].windows[0].segments[0].pen;
    EXPECT_EQ(pen.fg_color, 0x30);
    EXPECT_EQ(pen.attributes, SOFTCC_PEN_ITALICS);

    host.clear();
    send(kCr + text("YO") + kCr);
    // The first CR moves to row 1; the second is on the last row and scrolls.
    ASSERT_THAT(host.names(), ElementsAre("refresh", "refresh", "scroll"));
    EXPECT_EQ(shown(1), "0:0:HI|1:0:YO");
    EXPECT_EQ(shown(2), "0:0:YO");
    EXPECT_EQ(window(2).cursor_row, 1);
    EXPECT_EQ(window(2).cursor_column, 0);

    host.clear();
    send(bitmap_command(0x8A, 0x04) + bitmap_command(0x8B, 0x05) + bitmap_command(0x88, 0xFF));
    ASSERT_THAT(host.names(), ElementsAre("refresh", "refresh", "refresh"));
    EXPECT_EQ(host.events[0].windows[0].record.flags & SOFTCC_WINDOW_VISIBLE, 0);
    EXPECT_EQ(host.events[1].windows[0].record.flags & SOFTCC_WINDOW_VISIBLE,
              SOFTCC_WINDOW_VISIBLE);
    EXPECT_EQ(shown(1), "0:0:YO");
    EXPECT_EQ(shown(2), "");
    EXPECT_EQ(window(2).next, nullptr);

    host.clear();
    send(bitmap_command(0x8C, 0x04));
    ASSERT_THAT(host.names(), ElementsAre("delete"));
    EXPECT_EQ(window(2).defined, 0);
    EXPECT_EQ(context->current_window, -1);
    EXPECT_THAT(fake_platform::reports(), IsEmpty());
}

// SetWindowAttributes refreshes even a hidden window, but only when the
// style really changes.
TEST_F(Eia708Test, HiddenWindowKeepsTextUntilDisplayed)
{
    const Bytes attributes = {0x97, 0x00, 0x00, 0x0E, 0x00};
    send(define_window({.id = 0, .visible = false}) + define_window({.id = 3, .visible = false}) +
         text("AB") + kEtx + attributes + attributes);
    EXPECT_THAT(host.names(), ElementsAre("define", "define", "refresh"));
    EXPECT_EQ(describe(window(3)), "0:0:AB");

    host.clear();
    send(bitmap_command(0x89, 0x09));
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(3, 0));
    EXPECT_EQ(window(0).next, nullptr);
    EXPECT_EQ(window(3).next, nullptr);
}

TEST_F(Eia708Test, CentredAndRightJustifiedLinesAppearAtTheNextControlCode)
{
    for (uint8_t justify : {1, 2}) {
        send(define_window({.id = 0, .window_style = 3}));
        send(Bytes{0x97, 0x00, 0x00, static_cast<uint8_t>(0x0C | justify), 0x00});
        host.clear();
        send(text("AB"));
        EXPECT_THAT(host.names(), IsEmpty());
        send(Bytes{0x85}); // SetCurrentWindow of an undefined window only flushes
        ASSERT_THAT(host.names(), ElementsAre("refresh"));
        EXPECT_EQ(shown(0), "0:0:AB");
        EXPECT_EQ(context->current_window, 0);
        send(kReset);
    }
}

TEST_F(Eia708Test, WindowStyleSevenPrintsDownwardsAndCrMovesRight)
{
    send(define_window({.id = 1, .rows = 4, .columns = 3, .window_style = 7}) + text("AB") + kCr +
         text("C"));
    EXPECT_EQ(describe(window(1)), "0:0:AB|0:1:C");
    EXPECT_EQ(window(1).cursor_row, 1);
    EXPECT_EQ(window(1).cursor_column, 1);
    host.clear();
    send(kCr + kCr); // column 2 is the last line: the second CR scrolls right to left
    ASSERT_THAT(host.names(), ElementsAre("scroll"));
    EXPECT_EQ(shown(0), "0:0:C"); // column 0 left the window
}

// Every print direction types away from the start of its line.  BS steps
// back and erases without a refresh; HCR empties the cursor's line, always
// towards higher positions, so right-to-left and upward lines keep their far
// part.
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
        send(kReset + define_window({.rows = 5, .columns = 5}) + Bytes{0x97, 0, 0, c.directions, 0} +
             kHcr + text("XY") + kCr + text("ABC"));
        host.clear();
        send(kBs);
        EXPECT_THAT(host.names(), IsEmpty());
        EXPECT_EQ(describe(window(0)), c.typed);
        send(kHcr);
        EXPECT_THAT(host.names(), ElementsAre("refresh"));
        EXPECT_EQ(describe(window(0)), c.after_hcr);
    }
}

TEST_F(Eia708Test, CharacterSetsMapToUcs2)
{
    send(define_window({.id = 0, .visible = false, .rows = 1, .columns = 12}) + Bytes{0x7F, 0xA9} +
         Bytes{0x10, 0x25, 0x10, 0x20, 0x10, 0x50, 0x10, 0xA0, 0x10, 0xA1, 0x18, 0x12, 0x34} +
         Bytes{0x10, 0x7F} + kEtx);
    const auto segments = test_host::segments_of(window(0));
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments[0].text, std::u16string(u"\u266A\u00A9\u2026\uF8FE_\uF8FF_?\u250C"));
}

TEST_F(Eia708Test, RedefinitionKeepsTextAndChangesPenOnlyInPlace)
{
    send(define_window({.visible = false}) + text("AB"));
    send(define_window({.visible = false, .pen_style = 2}));
    EXPECT_EQ(window(0).pen.font_style, 1u);
    EXPECT_EQ(describe(window(0)), "0:0:AB");
    EXPECT_EQ(window(0).cursor_column, 2);

    send(define_window({.visible = false, .pen_style = 3, .anchor_horizontal = 9}));
    EXPECT_EQ(window(0).pen.font_style, 1u); // moved: the pen stays
    send(define_window({.visible = false, .window_style = 4, .pen_style = 6}));
    EXPECT_EQ(window(0).style.word_wrap, 1);
    EXPECT_EQ(window(0).pen.font_style, 1u); // new style wins over the pen

    // A small pen lets the window grow to hold the cursor, unless locked.
    send(Bytes{0x90, 0x00, 0x00} + pen_location(5, 12));
    EXPECT_EQ(window(0).row_count, 6);
    EXPECT_EQ(window(0).column_count, 13);
}

// ---- Services and packets -------------------------------------------------------

TEST_F(Eia708Test, OtherServicesAreIgnoredAndExtendedServicesDecode)
{
    send(define_window({}) + text("A"), 2);
    EXPECT_THAT(host.names(), IsEmpty());

    VQSoftCCSelectService(context, 10);
    writer.sequence = 1;
    send(define_window({}) + text("Z"), 10);
    EXPECT_THAT(host.names(), ElementsAre("define", "refresh", "refresh"));
    EXPECT_EQ(describe(window(0)), "0:0:Z");
}

TEST_F(Eia708Test, CodesAssembleAcrossCallsPacketsAndNullPadding)
{
    // DefineWindow one byte per call, each in its own 4-byte packet (the
    // null block pads the packet).
    for (uint8_t byte : define_window({.visible = false}))
        send(Bytes{byte});
    EXPECT_THAT(host.names(), ElementsAre("define"));

    // EXT1 + C3 0x90 with 5 data bytes only flushes; the 'A' after it types.
    host.clear();
    send(Bytes{0x10, 0x90, 0x05, 'x', 'x', 'x', 'x', 'x'} + text("A") + Bytes{0x10, 0x90, 0x00} +
         text("B") + kEtx);
    EXPECT_EQ(describe(window(0)), "0:0:AB");
    EXPECT_THAT(host.names(), IsEmpty());

    // A 128-byte packet (size code 0): 1 block of 2 bytes then padding.
    Bytes big = {static_cast<uint8_t>(writer.sequence << 6), 0x22, 'C', 'D', 0x00};
    big.resize(128, 0x41);
    writer.sequence = (writer.sequence + 1) & 3;
    ASSERT_EQ(decode(big), SOFTCC_OK);
    send(kEtx);
    EXPECT_EQ(describe(window(0)), "0:0:ABCD");
}

// The first packet must carry sequence 1, but a break on a fresh decoder
// costs nothing.  Later, one lost packet costs the windows, the delay with
// its held-back codes and the partly assembled code.
TEST_F(Eia708Test, SequenceBreakDropsWindowsDelayAndPartialCode)
{
    writer.sequence = 2;
    send(define_window({.id = 4}) + delay(5) + text("A"));
    EXPECT_THAT(host.names(), ElementsAre("define", "refresh", "set_alarm"));
    Bytes partial = define_window({.id = 5});
    partial.resize(3);
    send(partial);
    host.clear();
    writer.sequence = (writer.sequence + 1) & 3;
    send(text("Q"));
    EXPECT_THAT(host.names(), ElementsAre("delete", "cancel_alarm"));
    EXPECT_EQ(window(4).defined, 0);
    EXPECT_EQ(window(5).defined, 0);
    EXPECT_EQ(state().code_bytes_missing, 0u);
    EXPECT_EQ(state().delayed_fill, 0u);
}

// ---- Delay ----------------------------------------------------------------------

TEST_F(Eia708Test, DelayHoldsCodesBackUntilDelayCancel)
{
    send(define_window({}) + delay(25));
    ASSERT_EQ(host.names().back(), "set_alarm");
    EXPECT_EQ(host.events.back().milliseconds, 2500u);
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
}

TEST_F(Eia708Test, AlarmReplaysUpToAHeldBackDelay)
{
    send(define_window({.id = 1, .visible = false}) + define_window({}) + delay(5) + text("A") +
         bitmap_command(0x8C, 0x02) + delay(10) + text("B"));
    ASSERT_NE(host.alarm, nullptr);
    host.clear();
    host.fail("delete", 31);
    EXPECT_EQ(host.alarm(host.alarm_context), SOFTCC_OK);
    ASSERT_THAT(host.names(), ElementsAre("cancel_alarm", "refresh", "delete", "set_alarm"));
    EXPECT_EQ(host.events[3].milliseconds, 1000u);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(31, 934, "delete_windows failed\n"),
                            report708(31, 328, "EIA-708 code interpretation failed\n")));
    EXPECT_EQ(state().delayed_fill, 1u);
    EXPECT_EQ(state().delayed_codes[0], 'B');
    EXPECT_EQ(state().delayed_code_lengths[0], 1);

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
    EXPECT_EQ(state().delay_active, 1);
    EXPECT_THAT(host.names(), IsEmpty());

    // FF overflows: the held codes go first, then FF; a failing character
    // refresh is only reported, FF's own failure is the overflowing code's.
    host.fail("refresh", 21);
    send(Bytes{0x0C});
    ASSERT_THAT(host.names(), ElementsAre("cancel_alarm", "refresh", "refresh"));
    EXPECT_EQ(shown(1), "0:0:\u2026");
    EXPECT_EQ(describe(window(0)), "");
    EXPECT_EQ(state().delayed_fill, 0u);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(21, 799, "refresh_windows failed\n"),
                            report708(21, 695, "refresh_windows failed\n"),
                            report708(21, 204, "EIA-708 code interpretation failed\n")));

    // A Delay among the replayed codes holds the rest back again, yet the
    // overflowing code itself is still interpreted.
    host.succeed("refresh");
    host.clear();
    send(delay(1) + Bytes(124, 0x00) + delay(2) + Bytes{0x10, 0x25} + text("C"));
    EXPECT_THAT(host.names(), ElementsAre("set_alarm", "cancel_alarm", "set_alarm", "refresh"));
    EXPECT_EQ(describe(window(0)), "0:0:C");
    EXPECT_EQ(state().delayed_fill, 2u);
}

TEST_F(Eia708Test, ResetDuringDelayDropsHeldBackCodes)
{
    send(define_window({}) + delay(10));
    host.clear();
    send(text("AB") + kReset + text("C"));
    EXPECT_THAT(host.names(), ElementsAre("delete", "cancel_alarm"));
    EXPECT_EQ(state().delayed_fill, 0u);
    EXPECT_EQ(window(0).defined, 0);
}

// ---- Failures ---------------------------------------------------------------------

TEST_F(Eia708Test, FailedDefineResetsTheServiceButRefreshesTheWindow)
{
    send(define_window({.id = 1, .visible = false}) + delay(1));
    host.clear();
    host.fail("define", 70);
    send(kDelayCancel + define_window({.id = 3}));
    EXPECT_THAT(host.names(), ElementsAre("cancel_alarm", "define", "delete", "refresh"));
    EXPECT_THAT(host.events[2].window_ids, ElementsAre(3, 1));
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(70, 898, "define_windows failed. Resetting...\n")));
    EXPECT_EQ(context->current_window, -1);
}

TEST_F(Eia708Test, FailingCommandsAreReportedAtTheirLines)
{
    send(define_window({}) + text("A"));
    host.fail("refresh", 5);
    host.fail("scroll", 66);
    host.fail("set_alarm", 14);
    fake_platform::clear_reports();
    send(Bytes{0x0C} + pen_location(1, 0) + kCr + delay(3) + text("A"));
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(5, 695, "refresh_windows failed\n"),
                            report708(5, 214, "EIA-708 code interpretation failed\n"),
                            report708(66, 750, "scroll_windows failed\n"),
                            report708(66, 214, "EIA-708 code interpretation failed\n"),
                            report708(14, 1203, "set_delay_alarm failed\n"),
                            report708(14, 214, "EIA-708 code interpretation failed\n")));
    // The refused alarm leaves the delay in force: codes are held back.
    EXPECT_EQ(state().delay_active, 1);
    EXPECT_EQ(state().delayed_fill, 1u);
}

TEST_F(Eia708Test, FailedFlushStopsTheCommandAndFailedDeleteKeepsWindows)
{
    send(define_window({.window_style = 3}) + text("A"));
    host.fail("refresh", 12);
    fake_platform::clear_reports();
    send(bitmap_command(0x8A, 0x01)); // the flush's refresh fails: no hide
    EXPECT_TRUE(window(0).flags & SOFTCC_WINDOW_VISIBLE);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(12, 799, "refresh_windows failed\n"),
                            report708(12, 214, "EIA-708 code interpretation failed\n")));

    host.succeed("refresh");
    host.fail("delete", 13);
    fake_platform::clear_reports();
    send(bitmap_command(0x8C, 0x01) + kReset);
    EXPECT_EQ(window(0).defined, 1);
    EXPECT_EQ(context->current_window, -1);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(13, 934, "delete_windows failed\n"),
                            report708(13, 214, "EIA-708 code interpretation failed\n"),
                            report708(13, 934, "delete_windows failed\n")));
    host.succeed("delete");
}

// ---- Bad input --------------------------------------------------------------------

TEST_F(Eia708Test, RandomInputNeverCrashesOrLeaks)
{
    std::mt19937 random(708);
    auto byte = [&] { return static_cast<uint8_t>(random()); };
    for (int round = 0; round < 300; ++round) {
        Bytes codes = define_window({.id = round % 8, .rows = 1 + round % 16,
                                     .columns = 1 + round % 64, .window_style = round % 8,
                                     .pen_style = (round / 8) % 8});
        for (int command = 0x80; command <= 0x9F; ++command) {
            codes.push_back(static_cast<uint8_t>(command));
            for (int i = 0; i < 6; ++i)
                codes.push_back(byte());
            codes = codes + text("xy") + kCr;
        }
        send(codes);
        Bytes noise(1 + random() % 300);
        for (uint8_t &b : noise)
            b = byte();
        ASSERT_EQ(decode(noise), SOFTCC_OK);
        if (host.alarm != nullptr && round % 3 == 0)
            host.alarm(host.alarm_context);
        if (round % 50 == 0)
            host.clear();
    }
    for (const CaptionWindow &w : context->windows)
        EXPECT_LE(test_host::segments_of(w).size(), 64u * 16u);
}

} // namespace
