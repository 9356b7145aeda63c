// The public functions as a host sees them: argument checks, status codes,
// format switches and the lifecycle callbacks of both decoders.
#include "context_fixture.h"

using fake_platform::Report;
using ::testing::ElementsAre;
using Names = std::vector<std::string>;
using Selection = std::vector<int64_t>;
using Statuses = std::vector<SoftCCStatus>;

namespace {

class InterfaceTest : public ContextTest {
protected:
    // Format and service of the context and of its profile copy, then the current window.
    Selection selection()
    {
        return {context->format, context->profile.format, context->service,
                context->profile.service, context->current_window};
    }
    // Marks windows defined as a 708 DefineWindow would, with one text run each.
    void define(std::initializer_list<int> ids)
    {
        for (int id : ids)
            window(id).id = (uint8_t)id, window(id).defined = 1,
            window(id).segments = vqsoftcc_internal_new_segment();
    }
};

SoftCCContext *const kUntouched = reinterpret_cast<SoftCCContext *>(0x1234);

// Opens that fail: the status, what the host's handle variable holds
// afterwards, the allocations tried and the callbacks made.
struct FailedOpen {
    const char *name; uint32_t format; bool null_profile, null_handle, no_memory;
    SoftCCStatus define_result, expected; SoftCCContext *handle_after; uint64_t mallocs; Names callbacks;
};

const FailedOpen kFailedOpens[] = {
    {"null profile", 0, true, false, false, SOFTCC_OK, SOFTCC_ERR_NULL_POINTER, kUntouched, 0, {}},
    {"null handle", 0, false, true, false, SOFTCC_OK, SOFTCC_ERR_NULL_POINTER, kUntouched, 0, {}},
    {"no memory", 0, false, false, true, SOFTCC_OK, SOFTCC_ERR_NO_MEMORY, kUntouched, 1, {}},
    {"unknown format", 2, false, false, false, SOFTCC_OK, SOFTCC_ERR_UNSUPPORTED, kUntouched, 1, {}},
    {"608 define fails", 0, false, false, false, 77, 77, nullptr, 1, {"define"}},
};

TEST_F(InterfaceTest, FailedOpenLeavesNothingAllocated)
{
    for (const FailedOpen &c : kFailedOpens) {
        SCOPED_TRACE(c.name);
        fake_platform::reset(), host.clear();
        profile = host.profile(c.format);
        host.fail("define", c.define_result);
        fake_platform::fail_nth_malloc(c.no_memory ? 1 : 0);
        SoftCCContext *handle = kUntouched;
        EXPECT_EQ(VQSoftCCOpen(c.null_profile ? nullptr : &profile, c.null_handle ? nullptr : &handle),
                  c.expected);
        EXPECT_EQ(handle, c.handle_after);
        EXPECT_EQ(fake_platform::malloc_calls(), c.mallocs);
        EXPECT_EQ(fake_platform::live_blocks(), 0);
        EXPECT_EQ(host.names(), c.callbacks);
        EXPECT_TRUE(fake_platform::reports().empty());
    }
}

TEST_F(InterfaceTest, OpenDefinesThe608WindowsInOrderAndNo708Window)
{
    profile = host.profile(SOFTCC_FORMAT_EIA608, 3);
    ASSERT_EQ(VQSoftCCOpen(&profile, &context), SOFTCC_OK);
    EXPECT_EQ(fake_platform::last_malloc_size(), sizeof(SoftCCContext));
    ASSERT_THAT(host.names(), ElementsAre("define", "define"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(0));
    EXPECT_THAT(host.events[1].window_ids, ElementsAre(1));
    // Window 0: flags, defined, priority, anchor point, vertical, horizontal, rows, columns,
    // cursor row and column, scroll direction, fill opacity, pen colour; window 1: flags,
    // priority; then the caption, text and XDS windows of the state.
    const CaptionWindow &w = host.events[0].windows[0].record, &w1 = host.events[1].windows[0].record;
    const Eia608State &s = context->format_state.eia608;
    EXPECT_EQ(std::vector<int>({w.flags, w.defined, w.priority, (int)w.anchor_point, w.anchor_vertical,
                                w.anchor_horizontal, w.row_count, w.column_count, w.cursor_row,
                                w.cursor_column, (int)w.style.scroll_direction, (int)w.style.fill_opacity,
                                w.pen.fg_color, w1.flags, w1.priority, s.caption_window, s.text_window,
                                s.xds_window}),
              std::vector<int>({15, 1, 0, 7, 100, 50, 15, 32, 14, 0, 3, 3, 0x2A, 7, 1, -1, -1, -1}));
    EXPECT_EQ(selection(), (Selection{0, 0, 3, 3, -1}));

    open(SOFTCC_FORMAT_EIA708, 2);
    EXPECT_TRUE(host.events.empty());
    EXPECT_EQ(selection(), (Selection{1, 1, 2, 2, -1}));
}

TEST_F(InterfaceTest, NullPointersAreRefused)
{
    uint8_t byte = 0x80;
    EXPECT_EQ(Statuses({VQSoftCCClose(nullptr), VQSoftCCReset(nullptr), VQSoftCCDecode(nullptr, &byte, 1),
                        VQSoftCCSelectFormat(nullptr, 0), VQSoftCCSelectService(nullptr, 0),
                        delay_alarm_expired_eia708(nullptr)}), Statuses(6, SOFTCC_ERR_NULL_POINTER));
    // Decode refuses null data even with length 0; an empty buffer is fine.
    for (uint32_t format : {SOFTCC_FORMAT_EIA608, SOFTCC_FORMAT_EIA708}) {
        open(format);
        EXPECT_EQ(Statuses({VQSoftCCDecode(context, nullptr, 0), VQSoftCCDecode(context, nullptr, 4),
                            VQSoftCCDecode(context, &byte, 0)}),
                  Statuses({SOFTCC_ERR_NULL_POINTER, SOFTCC_ERR_NULL_POINTER, SOFTCC_OK}));
        EXPECT_TRUE(host.events.empty());
    }
}

// Close deletes both windows as one list; a failing delete is reported and
// returned, and the context is freed all the same (the fixture checks).
TEST_F(InterfaceTest, Close608DeletesBothWindowsAsOneList)
{
    for (SoftCCStatus result : {SOFTCC_OK, SoftCCStatus(55)}) {
        open(SOFTCC_FORMAT_EIA608);
        host.fail("delete", result);
        EXPECT_EQ(VQSoftCCClose(context), result);
        context = nullptr;
        ASSERT_THAT(host.names(), ElementsAre("delete"));
        EXPECT_THAT(host.events[0].window_ids, ElementsAre(0, 1));
        EXPECT_EQ(fake_platform::reports(), result == SOFTCC_OK ? std::vector<Report>{}
                      : std::vector<Report>{report608(55, 97, "delete_windows failed\n")});
    }
}

// Reset clears the displayed window as the service shows it: a caption
// service redraws it once and never hands over stale links; a text service
// turns it into an opaque 15 by 32 box.  Either way nothing is current after,
// and a failing refresh is ignored.
TEST_F(InterfaceTest, Reset608ClearsTheDisplayedWindowAsTheServiceShowsIt)
{
    for (uint32_t service : {0u, 5u}) {
        SCOPED_TRACE(service);
        open(SOFTCC_FORMAT_EIA608, service);
        window(0).row_count = 3, window(0).style.fill_opacity = window(1).style.fill_opacity = 1;
        if (service == 0)
            window(0).next = &window(1), window(1).next = &window(0);
        host.fail("refresh", 99);
        EXPECT_EQ(VQSoftCCReset(context), SOFTCC_OK);
        ASSERT_THAT(host.names(), ElementsAre("refresh"));
        EXPECT_THAT(host.events[0].window_ids, ElementsAre(0));
        // Rows, columns, fill opacity and cursor row of the displayed window, fill of the other.
        const CaptionWindow &shown = host.events[0].windows[0].record;
        EXPECT_EQ(std::vector<int>({shown.row_count, shown.column_count, (int)shown.style.fill_opacity,
                                    shown.cursor_row, (int)window(1).style.fill_opacity}),
                  service == 0 ? std::vector<int>({3, 32, 3, 14, 3}) : std::vector<int>({15, 32, 0, 0, 1}));
        const Eia608State &state = context->format_state.eia608;
        EXPECT_TRUE(context->current_window == -1 && state.text_window == -1 && !state.segment_mode);
        EXPECT_TRUE(fake_platform::reports().empty());
        window(1).next = nullptr;
    }
}

// 608 keeps all 32 bits of a service; 708 takes the low byte only.
TEST_F(InterfaceTest, SelectServicePassesTheFormatsWidth)
{
    const uint32_t cases[][3] = {{SOFTCC_FORMAT_EIA608, 0xFFFFFFFFu, 0xFFFFFFFFu},
                                 {SOFTCC_FORMAT_EIA708, 0x101, 1}, {SOFTCC_FORMAT_EIA708, 300, 44}};
    for (const auto &c : cases) { // format, service asked for, service kept
        open(c[0], 2);
        EXPECT_EQ(VQSoftCCSelectService(context, c[1]), SOFTCC_OK);
        EXPECT_EQ(context->service, c[2]);
    }
}

// A switch closes one decoder, wipes the windows and opens the other on its
// first service; selecting the current format changes nothing.
struct Switch { uint32_t from, service, to; Names callbacks; std::vector<int> first_list; uint32_t service_after; };

const Switch kSwitches[] = {
    {SOFTCC_FORMAT_EIA608, 2, SOFTCC_FORMAT_EIA608, {}, {}, 2},
    {SOFTCC_FORMAT_EIA708, 4, SOFTCC_FORMAT_EIA708, {}, {}, 4},
    {SOFTCC_FORMAT_EIA608, 2, SOFTCC_FORMAT_EIA708, {"delete"}, {0, 1}, 1},
    {SOFTCC_FORMAT_EIA708, 4, SOFTCC_FORMAT_EIA608, {"define", "define"}, {0}, 0},
};

TEST_F(InterfaceTest, SwitchingFormatsStartsOnTheFirstService)
{
    const CaptionWindow zero{};
    for (const Switch &c : kSwitches) {
        SCOPED_TRACE(testing::Message() << c.from << " to " << c.to);
        open(c.from, c.service);
        EXPECT_EQ(VQSoftCCSelectFormat(context, c.to), SOFTCC_OK);
        EXPECT_EQ(host.names(), c.callbacks);
        EXPECT_EQ(selection(), (Selection{c.to, c.to, c.service_after, c.service_after, -1}));
        EXPECT_EQ(host.events.empty() ? std::vector<int>{} : host.events[0].window_ids, c.first_list);
        for (int i = 0; i < 8 && c.from != c.to; ++i)
            if (c.to == SOFTCC_FORMAT_EIA608 && i < 2)
                EXPECT_EQ(window(i).flags, i == 0 ? 15 : 7) << "608 window " << i;
            else
                EXPECT_EQ(std::memcmp(&window(i), &zero, sizeof zero), 0) << "window " << i;
    }
}

// A switch whose close fails keeps the old format and its windows but zeroes
// the whole state, -1 markers included; one whose open fails keeps the new format.
TEST_F(InterfaceTest, FailedSwitchesLeave608OnItsFirstService)
{
    for (bool close_fails : {true, false}) {
        open(close_fails ? SOFTCC_FORMAT_EIA608 : SOFTCC_FORMAT_EIA708, close_fails ? 0 : 1);
        if (close_fails)
            context->format_state.eia608.rollup_depth = 3;
        host.fail(close_fails ? "delete" : "define", 21);
        EXPECT_EQ(VQSoftCCSelectFormat(context, close_fails ? SOFTCC_FORMAT_EIA708 : SOFTCC_FORMAT_EIA608), 21u);
        EXPECT_EQ(selection(), (Selection{0, 0, 0, 0, -1}));
        EXPECT_EQ(window(0).defined, 1);
        EXPECT_TRUE(!context->format_state.eia608.rollup_depth && !context->format_state.eia608.caption_window);
        host.succeed(close_fails ? "delete" : "define");
    }
}

TEST_F(InterfaceTest, SwitchToUnknownFormatLeavesNoDecoder)
{
    open(SOFTCC_FORMAT_EIA608, 3);
    context->current_window = 1; // forgotten though no decoder opens
    uint8_t byte = 0x80;
    EXPECT_EQ(VQSoftCCSelectFormat(context, 7), SOFTCC_OK);
    EXPECT_THAT(host.names(), ElementsAre("delete"));
    EXPECT_EQ(selection(), (Selection{7, 7, 3, 3, -1})); // no decoder opened: the service stays
    host.clear();
    // Reset, Decode, SelectService, SelectFormat of the same and of a known format.
    EXPECT_EQ(Statuses({VQSoftCCReset(context), VQSoftCCDecode(context, &byte, 1),
                        VQSoftCCSelectService(context, 0), VQSoftCCSelectFormat(context, 7),
                        VQSoftCCSelectFormat(context, SOFTCC_FORMAT_EIA608)}),
              Statuses({SOFTCC_ERR_FORMAT, SOFTCC_ERR_FORMAT, SOFTCC_ERR_FORMAT, SOFTCC_OK, SOFTCC_ERR_FORMAT}));
    EXPECT_TRUE(host.events.empty());
    EXPECT_EQ(VQSoftCCClose(context), SOFTCC_ERR_FORMAT);
    context = nullptr;
}

// ---- 708 lifecycle ------------------------------------------------------------

// Reset deletes the defined windows as one list, highest first, and forgets the
// state and the current window, even one not defined; a failing delete is
// reported and keeps the windows, still linked, and the rest happens all the same.
TEST_F(InterfaceTest, Reset708DeletesDefinedWindowsHighestFirstAndZeroesState)
{
    open(SOFTCC_FORMAT_EIA708, 1);
    EXPECT_EQ(VQSoftCCReset(context), SOFTCC_OK);
    EXPECT_TRUE(host.events.empty()) << "nothing defined: no callback";
    define({1, 4, 6});
    const uint8_t zero[sizeof(Eia708State)] = {};
    for (SoftCCStatus result : {SoftCCStatus(44), SOFTCC_OK}) {
        const bool failed = result != SOFTCC_OK;
        context->current_window = 5;
        context->format_state.eia708.packet_bytes_remaining = 9;
        host.clear(), fake_platform::clear_reports(), host.fail("delete", result);
        EXPECT_EQ(VQSoftCCReset(context), SOFTCC_OK);
        ASSERT_THAT(host.names(), ElementsAre("delete"));
        EXPECT_THAT(host.events[0].window_ids, ElementsAre(6, 4, 1));
        EXPECT_EQ(fake_platform::reports(), failed ? std::vector<Report>{report708(44, 934, "delete_windows failed\n")}
                                                   : std::vector<Report>{});
        for (int id : {1, 4, 6}) // defined, has a run, links on
            EXPECT_EQ(std::vector<bool>({!!window(id).defined, !!window(id).segments, !!window(id).next}),
                      std::vector<bool>({failed, failed, failed && id != 1})) << id;
        EXPECT_EQ(std::memcmp(&context->format_state.eia708, zero, sizeof zero), 0);
        EXPECT_EQ(context->current_window, -1);
    }
}

// The callbacks of a 708 context (window 3 defined or not, a delay in force
// or not, one callback failing with 3) when the host closes, reselects or
// switches it, and when the alarm runs out.
struct Lifecycle {
    const char *name; bool window_defined, delay; const char *failing; SoftCCStatus (*act)(SoftCCContext *);
    Names callbacks; std::vector<Report> reports; uint32_t service_after; bool window_kept;
};

const Lifecycle kLifecycles[] = {
    {"close in a delay cancels after the sweep", true, true, "cancel_alarm", VQSoftCCClose,
     {"delete", "cancel_alarm"}, {report708(3, 1218, "cancel_delay_alarm failed\n")}, 0, false},
    {"another service resets twice", true, false, "delete",
     [](SoftCCContext *c) { return VQSoftCCSelectService(c, 2); }, {"delete", "delete"},
     std::vector<Report>(2, report708(3, 934, "delete_windows failed\n")), 2, true},
    {"the same service still resets", true, false, "",
     [](SoftCCContext *c) { return VQSoftCCSelectService(c, 1); }, {"delete"}, {}, 1, false},
    {"alarm expiry cancels even without a delay", false, false, "",
     [](SoftCCContext *c) { return delay_alarm_expired_eia708(c); }, {"cancel_alarm"}, {}, 1, false},
    {"switch to 608 in a delay cancels", false, true, "",
     [](SoftCCContext *c) { return VQSoftCCSelectFormat(c, SOFTCC_FORMAT_EIA608); },
     {"cancel_alarm", "define", "define"}, {}, 0, false},
};

TEST_F(InterfaceTest, Lifecycle708SweepsWindowsAndCancelsAlarms)
{
    for (const Lifecycle &c : kLifecycles) {
        SCOPED_TRACE(c.name);
        open(SOFTCC_FORMAT_EIA708, 1);
        fake_platform::clear_reports();
        if (c.window_defined)
            define({3});
        context->format_state.eia708.delay_active = c.delay;
        host.fail(c.failing, 3);
        EXPECT_EQ(c.act(context), SOFTCC_OK);
        if (c.act == VQSoftCCClose)
            context = nullptr;
        else // the service selected afterwards, and whether window 3 is still defined
            EXPECT_EQ(std::make_pair(context->service, window(3).defined != 0),
                      std::make_pair(c.service_after, c.window_kept));
        EXPECT_EQ(host.names(), c.callbacks);
        EXPECT_EQ(fake_platform::reports(), c.reports);
        host.succeed(c.failing);
    }
}

// ---- Style records and windows ---------------------------------------------------

TEST(StyleRecords, ComparisonsSeeEveryFieldButNotPaddingAndApplyingCopies)
{
    PenStyle a = EIA608DefaultPenStyle, b = a;
    reinterpret_cast<uint8_t *>(&b)[9] = 0x5A;  // padding after fg_color
    reinterpret_cast<uint8_t *>(&b)[30] = 0x5A; // padding after attributes
    EXPECT_EQ(vqsoftcc_internal_pen_style_cmp(&a, &b), 1);
    b.attributes |= SOFTCC_PEN_UNDERLINE;
    EXPECT_EQ(vqsoftcc_internal_pen_style_cmp(&a, &b), 0);

    WindowStyle x = PredefinedWindowStyles[1], y = x;
    y.reserved_speed[1] = 9;
    EXPECT_EQ(vqsoftcc_internal_window_style_cmp(&x, &y), 1);
    y.effect_speed = 1;
    EXPECT_EQ(vqsoftcc_internal_window_style_cmp(&x, &y), 0);

    // Applying a pen copies it and tolerates null on either side.
    TextSegment segment{};
    vqsoftcc_internal_apply_pen_style(nullptr, &EIA608DefaultPenStyle);
    vqsoftcc_internal_apply_pen_style(&segment, nullptr);
    EXPECT_EQ(segment.pen.pen_size, 0u);
    vqsoftcc_internal_apply_pen_style(&segment, &PredefinedPenStyles[7]);
    EXPECT_EQ(vqsoftcc_internal_pen_style_cmp(&segment.pen, &PredefinedPenStyles[7]), 1);
}

TEST(StyleRecords, ClearingAndDeletingReleaseEveryRun)
{
    fake_platform::reset();
    const int64_t before = fake_platform::live_blocks();
    auto make = [](TextSegment *next) {
        TextSegment *s = vqsoftcc_internal_new_segment();
        return s->next = next, s;
    };
    CaptionWindow w{};
    w.defined = 1, w.cursor_row = 3;
    w.segments = make(make(make(nullptr)));
    w.current_segment = make(nullptr);
    vqsoftcc_internal_clear_window(&w);
    EXPECT_TRUE(!w.segments && w.current_segment) << "the open run stays";
    EXPECT_EQ(fake_platform::live_blocks(), before + 1);

    w.segments = make(nullptr);
    vqsoftcc_internal_delete_window(&w);
    EXPECT_TRUE(!w.defined && !w.current_segment && !w.segments && w.cursor_row == 3);
    EXPECT_EQ(fake_platform::live_blocks(), before);
}

} // namespace
