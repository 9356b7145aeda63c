// The public functions as a host sees them: argument checks, status codes,
// format switches and the lifecycle callbacks of both decoders.
#include "context_fixture.h"

using fake_platform::Report;
using ::testing::ElementsAre;

namespace {

using InterfaceTest = ContextTest;

TEST_F(InterfaceTest, OpenRefusesNullArgumentsAndLeavesHandleAlone)
{
    profile = host.profile(SOFTCC_FORMAT_EIA608);
    SoftCCContext *handle = reinterpret_cast<SoftCCContext *>(0x1234);
    EXPECT_EQ(VQSoftCCOpen(nullptr, &handle), SOFTCC_ERR_NULL_POINTER);
    EXPECT_EQ(VQSoftCCOpen(&profile, nullptr), SOFTCC_ERR_NULL_POINTER);
    EXPECT_EQ(handle, reinterpret_cast<SoftCCContext *>(0x1234));
    EXPECT_EQ(fake_platform::malloc_calls(), 0u);
    EXPECT_TRUE(host.events.empty());
}

TEST_F(InterfaceTest, OpenWithoutMemoryLeavesHandleAlone)
{
    profile = host.profile(SOFTCC_FORMAT_EIA608);
    SoftCCContext *handle = reinterpret_cast<SoftCCContext *>(0x1234);
    fake_platform::fail_nth_malloc(1);
    EXPECT_EQ(VQSoftCCOpen(&profile, &handle), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(handle, reinterpret_cast<SoftCCContext *>(0x1234));
    EXPECT_TRUE(host.events.empty());
}

TEST_F(InterfaceTest, OpenOfUnknownFormatIsUnsupportedAndFreesEverything)
{
    profile = host.profile(2);
    SoftCCContext *handle = reinterpret_cast<SoftCCContext *>(0x1234);
    EXPECT_EQ(VQSoftCCOpen(&profile, &handle), SOFTCC_ERR_UNSUPPORTED);
    EXPECT_EQ(handle, reinterpret_cast<SoftCCContext *>(0x1234));
    EXPECT_EQ(fake_platform::live_blocks(), 0);
}

TEST_F(InterfaceTest, Open608DefinesBothWindowsInOrder)
{
    profile = host.profile(SOFTCC_FORMAT_EIA608, 3);
    ASSERT_EQ(VQSoftCCOpen(&profile, &context), SOFTCC_OK);
    EXPECT_EQ(fake_platform::last_malloc_size(), sizeof(SoftCCContext));
    ASSERT_THAT(host.names(), ElementsAre("define", "define"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(0));
    EXPECT_THAT(host.events[1].window_ids, ElementsAre(1));

    const CaptionWindow &shown = host.events[0].windows[0].record;
    EXPECT_EQ(shown.flags, 15);
    EXPECT_EQ(shown.defined, 1);
    EXPECT_EQ(shown.priority, 0);
    EXPECT_EQ(shown.anchor_point, 7u);
    EXPECT_EQ(shown.anchor_vertical, 100);
    EXPECT_EQ(shown.anchor_horizontal, 50);
    EXPECT_EQ(shown.row_count, 15);
    EXPECT_EQ(shown.column_count, 32);
    EXPECT_EQ(shown.cursor_row, 14);
    EXPECT_EQ(shown.cursor_column, 0);
    EXPECT_EQ(shown.style.scroll_direction, 3u);
    EXPECT_EQ(shown.style.fill_opacity, 3u);
    EXPECT_EQ(shown.pen.fg_color, 0x2A);
    EXPECT_EQ(host.events[1].windows[0].record.flags, 7);
    EXPECT_EQ(host.events[1].windows[0].record.priority, 1);
    EXPECT_EQ(context->service, 3u);
    EXPECT_EQ(context->current_window, -1);
    EXPECT_EQ(context->format_state.eia608.caption_window, -1);
    EXPECT_EQ(context->format_state.eia608.text_window, -1);
    EXPECT_EQ(context->format_state.eia608.xds_window, -1);
}

TEST_F(InterfaceTest, Open608WhoseDefineFailsReturnsThatFailureAndNullsHandle)
{
    profile = host.profile(SOFTCC_FORMAT_EIA608);
    host.fail("define", 77);
    SoftCCContext *handle = reinterpret_cast<SoftCCContext *>(0x1234);
    EXPECT_EQ(VQSoftCCOpen(&profile, &handle), 77u);
    EXPECT_EQ(handle, nullptr);
    EXPECT_THAT(host.names(), ElementsAre("define"));
    EXPECT_TRUE(fake_platform::reports().empty());
}

TEST_F(InterfaceTest, Open708DefinesNothing)
{
    profile = host.profile(SOFTCC_FORMAT_EIA708, 2);
    ASSERT_EQ(VQSoftCCOpen(&profile, &context), SOFTCC_OK);
    EXPECT_TRUE(host.events.empty());
    EXPECT_EQ(context->current_window, -1);
    EXPECT_EQ(context->service, 2u);
}

TEST_F(InterfaceTest, NullContextGivesNullPointerEverywhere)
{
    uint8_t byte = 0;
    EXPECT_EQ(VQSoftCCClose(nullptr), SOFTCC_ERR_NULL_POINTER);
    EXPECT_EQ(VQSoftCCReset(nullptr), SOFTCC_ERR_NULL_POINTER);
    EXPECT_EQ(VQSoftCCDecode(nullptr, &byte, 1), SOFTCC_ERR_NULL_POINTER);
    EXPECT_EQ(VQSoftCCSelectFormat(nullptr, 0), SOFTCC_ERR_NULL_POINTER);
    EXPECT_EQ(VQSoftCCSelectService(nullptr, 0), SOFTCC_ERR_NULL_POINTER);
    EXPECT_EQ(delay_alarm_expired_eia708(nullptr), SOFTCC_ERR_NULL_POINTER);
}

TEST_F(InterfaceTest, DecodeRefusesNullDataEvenWithZeroLength)
{
    for (uint32_t format : {SOFTCC_FORMAT_EIA608, SOFTCC_FORMAT_EIA708}) {
        open(format);
        uint8_t byte = 0x80;
        EXPECT_EQ(VQSoftCCDecode(context, nullptr, 0), SOFTCC_ERR_NULL_POINTER);
        EXPECT_EQ(VQSoftCCDecode(context, nullptr, 4), SOFTCC_ERR_NULL_POINTER);
        EXPECT_EQ(VQSoftCCDecode(context, &byte, 0), SOFTCC_OK);
        EXPECT_TRUE(host.events.empty());
        VQSoftCCClose(context);
        context = nullptr;
    }
}

TEST_F(InterfaceTest, Close608DeletesBothWindowsAsOneList)
{
    open(SOFTCC_FORMAT_EIA608);
    EXPECT_EQ(VQSoftCCClose(context), SOFTCC_OK);
    context = nullptr;
    ASSERT_THAT(host.names(), ElementsAre("delete"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(0, 1));
    EXPECT_TRUE(fake_platform::reports().empty());
}

TEST_F(InterfaceTest, Close608WhoseDeleteFailsReportsLine97AndStillFrees)
{
    open(SOFTCC_FORMAT_EIA608);
    host.fail("delete", 55);
    EXPECT_EQ(VQSoftCCClose(context), 55u);
    context = nullptr;
    EXPECT_THAT(fake_platform::reports(), ElementsAre(report608(55, 97, "delete_windows failed\n")));
}

TEST_F(InterfaceTest, Reset608CaptionServiceRefreshesDisplayedWindowOnce)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    window(0).style.fill_opacity = 0;
    window(1).style.fill_opacity = 0;
    window(1).next = &window(0); // stale link must not reach the host
    window(0).next = &window(1);
    EXPECT_EQ(VQSoftCCReset(context), SOFTCC_OK);
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(0));
    EXPECT_EQ(window(0).style.fill_opacity, 3u);
    EXPECT_EQ(window(1).style.fill_opacity, 3u);
    EXPECT_EQ(context->current_window, -1);
    window(1).next = nullptr;
}

TEST_F(InterfaceTest, Reset608TextServiceTurnsDisplayedWindowIntoOpaqueBox)
{
    open(SOFTCC_FORMAT_EIA608, 5);
    window(0).row_count = 3;
    host.fail("refresh", 99); // ignored
    EXPECT_EQ(VQSoftCCReset(context), SOFTCC_OK);
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
    const CaptionWindow &shown = host.events[0].windows[0].record;
    EXPECT_EQ(shown.row_count, 15);
    EXPECT_EQ(shown.column_count, 32);
    EXPECT_EQ(shown.style.fill_opacity, 0u);
    EXPECT_EQ(shown.cursor_row, 0);
    // The reset then forgets the text window: nothing is current.
    EXPECT_EQ(context->current_window, -1);
    EXPECT_EQ(context->format_state.eia608.text_window, -1);
    EXPECT_EQ(context->format_state.eia608.segment_mode, 0u);
    EXPECT_TRUE(fake_platform::reports().empty());
}

TEST_F(InterfaceTest, SelectService608StoresAll32BitsAndResets)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    EXPECT_EQ(VQSoftCCSelectService(context, 0xFFFFFFFFu), SOFTCC_OK);
    EXPECT_EQ(context->service, 0xFFFFFFFFu);
    EXPECT_THAT(host.names(), ElementsAre("refresh"));
}

TEST_F(InterfaceTest, SelectService708PassesLowByteOnly)
{
    open(SOFTCC_FORMAT_EIA708, 1);
    EXPECT_EQ(VQSoftCCSelectService(context, 0x101), SOFTCC_OK);
    EXPECT_EQ(context->service, 1u);
    EXPECT_EQ(VQSoftCCSelectService(context, 300), SOFTCC_OK);
    EXPECT_EQ(context->service, 44u);
}

TEST_F(InterfaceTest, SelectSameFormatChangesNothing)
{
    open(SOFTCC_FORMAT_EIA608, 2);
    EXPECT_EQ(VQSoftCCSelectFormat(context, SOFTCC_FORMAT_EIA608), SOFTCC_OK);
    EXPECT_TRUE(host.events.empty());
    EXPECT_EQ(context->service, 2u);
}

TEST_F(InterfaceTest, Switch608To708DeletesWindowsAndSelectsService1)
{
    open(SOFTCC_FORMAT_EIA608, 2);
    EXPECT_EQ(VQSoftCCSelectFormat(context, SOFTCC_FORMAT_EIA708), SOFTCC_OK);
    ASSERT_THAT(host.names(), ElementsAre("delete"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(0, 1));
    EXPECT_EQ(context->format, SOFTCC_FORMAT_EIA708);
    EXPECT_EQ(context->profile.format, SOFTCC_FORMAT_EIA708);
    EXPECT_EQ(context->service, 1u);
    EXPECT_EQ(context->profile.service, 1u);
    EXPECT_EQ(context->current_window, -1);
    const CaptionWindow zero{};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(std::memcmp(&window(i), &zero, sizeof zero), 0) << "window " << i;
}

TEST_F(InterfaceTest, Switch708To608DefinesTwoWindowsAndSelectsChannel0)
{
    open(SOFTCC_FORMAT_EIA708, 4);
    EXPECT_EQ(VQSoftCCSelectFormat(context, SOFTCC_FORMAT_EIA608), SOFTCC_OK);
    EXPECT_THAT(host.names(), ElementsAre("define", "define"));
    EXPECT_EQ(context->service, 0u);
    EXPECT_EQ(context->profile.service, 0u);
    EXPECT_EQ(window(0).flags, 15);
}

TEST_F(InterfaceTest, SwitchWhoseCloseFailsKeepsOldFormatButZeroesState)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    context->format_state.eia608.rollup_depth = 3;
    host.fail("delete", 21);
    EXPECT_EQ(VQSoftCCSelectFormat(context, SOFTCC_FORMAT_EIA708), 21u);
    EXPECT_EQ(context->format, SOFTCC_FORMAT_EIA608);
    EXPECT_EQ(window(0).defined, 1);
    EXPECT_EQ(context->format_state.eia608.rollup_depth, 0u);
    EXPECT_EQ(context->format_state.eia608.caption_window, 0);
    host.succeed("delete");
}

TEST_F(InterfaceTest, SwitchWhoseOpenFailsKeepsNewFormat)
{
    open(SOFTCC_FORMAT_EIA708, 1);
    host.fail("define", 13);
    EXPECT_EQ(VQSoftCCSelectFormat(context, SOFTCC_FORMAT_EIA608), 13u);
    EXPECT_EQ(context->format, SOFTCC_FORMAT_EIA608);
    host.succeed("define");
}

TEST_F(InterfaceTest, SwitchToUnknownFormatLeavesNoDecoder)
{
    open(SOFTCC_FORMAT_EIA608, 1);
    uint8_t byte = 0x80;
    EXPECT_EQ(VQSoftCCSelectFormat(context, 7), SOFTCC_OK);
    EXPECT_THAT(host.names(), ElementsAre("delete"));
    EXPECT_EQ(context->format, 7u);
    EXPECT_EQ(context->service, 1u); // no decoder opened: the service stays
    host.clear();
    EXPECT_EQ(VQSoftCCReset(context), SOFTCC_ERR_FORMAT);
    EXPECT_EQ(VQSoftCCDecode(context, &byte, 1), SOFTCC_ERR_FORMAT);
    EXPECT_EQ(VQSoftCCSelectService(context, 0), SOFTCC_ERR_FORMAT);
    EXPECT_EQ(VQSoftCCSelectFormat(context, 7), SOFTCC_OK);
    EXPECT_EQ(VQSoftCCSelectFormat(context, SOFTCC_FORMAT_EIA608), SOFTCC_ERR_FORMAT);
    EXPECT_TRUE(host.events.empty());
    EXPECT_EQ(VQSoftCCClose(context), SOFTCC_ERR_FORMAT);
    context = nullptr;
}

// ---- 708 lifecycle ------------------------------------------------------------

class Lifecycle708Test : public ContextTest {
protected:
    void SetUp() override
    {
        ContextTest::SetUp();
        open(SOFTCC_FORMAT_EIA708, 1);
    }

    // Marks windows defined as a DefineWindow would, with one text run each.
    void define(std::initializer_list<int> ids)
    {
        for (int id : ids) {
            window(id).id = static_cast<uint8_t>(id);
            window(id).defined = 1;
            auto *segment = static_cast<TextSegment *>(VQMalloc(sizeof(TextSegment)));
            std::memset(segment, 0, sizeof(TextSegment));
            window(id).segments = segment;
        }
    }
};

TEST_F(Lifecycle708Test, ResetWithNothingDefinedMakesNoCallback)
{
    context->format_state.eia708.packet_bytes_remaining = 9;
    EXPECT_EQ(VQSoftCCReset(context), SOFTCC_OK);
    EXPECT_TRUE(host.events.empty());
    const uint8_t zero[sizeof(Eia708State)] = {};
    EXPECT_EQ(std::memcmp(&context->format_state.eia708, zero, sizeof zero), 0);
    EXPECT_EQ(context->current_window, -1);
}

TEST_F(Lifecycle708Test, ResetDeletesDefinedWindowsHighestFirst)
{
    define({1, 4, 6});
    context->current_window = 4;
    EXPECT_EQ(VQSoftCCReset(context), SOFTCC_OK);
    ASSERT_THAT(host.names(), ElementsAre("delete"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(6, 4, 1));
    for (int id : {1, 4, 6}) {
        EXPECT_EQ(window(id).defined, 0);
        EXPECT_EQ(window(id).segments, nullptr);
        EXPECT_EQ(window(id).next, nullptr);
    }
    EXPECT_EQ(context->current_window, -1);
}

TEST_F(Lifecycle708Test, FailedDeleteKeepsWindowsButStateIsZeroed)
{
    define({2, 3});
    context->current_window = 5; // names an undefined window: still forgotten
    context->format_state.eia708.delayed_fill = 12;
    host.fail("delete", 44);
    EXPECT_EQ(VQSoftCCReset(context), SOFTCC_OK);
    EXPECT_THAT(fake_platform::reports(), ElementsAre(report708(44, 934, "delete_windows failed\n")));
    EXPECT_EQ(window(2).defined, 1);
    EXPECT_EQ(window(3).next, &window(2));
    EXPECT_EQ(context->format_state.eia708.delayed_fill, 0u);
    EXPECT_EQ(context->current_window, -1);
    host.succeed("delete");
}

TEST_F(Lifecycle708Test, CloseDuringDelayCancelsAlarmAfterSweep)
{
    define({0});
    context->format_state.eia708.delay_active = 1;
    host.fail("cancel_alarm", 3);
    EXPECT_EQ(VQSoftCCClose(context), SOFTCC_OK);
    context = nullptr;
    EXPECT_THAT(host.names(), ElementsAre("delete", "cancel_alarm"));
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report708(3, 1218, "cancel_delay_alarm failed\n")));
}

TEST_F(Lifecycle708Test, SelectingAnotherServiceResetsTwice)
{
    define({0});
    host.fail("delete", 8);
    EXPECT_EQ(VQSoftCCSelectService(context, 2), SOFTCC_OK);
    EXPECT_THAT(host.names(), ElementsAre("delete", "delete"));
    EXPECT_EQ(fake_platform::reports().size(), 2u);
    EXPECT_EQ(context->service, 2u);
    host.succeed("delete");
}

TEST_F(Lifecycle708Test, SelectingTheSameServiceStillResets)
{
    define({3});
    EXPECT_EQ(VQSoftCCSelectService(context, 1), SOFTCC_OK);
    EXPECT_THAT(host.names(), ElementsAre("delete"));
    EXPECT_EQ(window(3).defined, 0);
}

TEST_F(Lifecycle708Test, AlarmExpiryCancelsAlarmEvenWithoutDelay)
{
    EXPECT_EQ(delay_alarm_expired_eia708(context), SOFTCC_OK);
    EXPECT_THAT(host.names(), ElementsAre("cancel_alarm"));
}

TEST_F(Lifecycle708Test, SwitchTo608DuringDelayCancelsAlarm)
{
    context->format_state.eia708.delay_active = 1;
    EXPECT_EQ(VQSoftCCSelectFormat(context, SOFTCC_FORMAT_EIA608), SOFTCC_OK);
    EXPECT_THAT(host.names(), ElementsAre("cancel_alarm", "define", "define"));
}

// ---- Style records and windows ---------------------------------------------------

TEST(StyleRecords, PenComparisonSeesUnderlineButNotPadding)
{
    PenStyle a = EIA608DefaultPenStyle;
    PenStyle b = a;
    reinterpret_cast<uint8_t *>(&b)[9] = 0x5A; // padding after fg_color
    reinterpret_cast<uint8_t *>(&b)[30] = 0x5A; // padding after attributes
    EXPECT_EQ(vqsoftcc_internal_pen_style_cmp(&a, &b), 1);
    b.attributes |= SOFTCC_PEN_UNDERLINE;
    EXPECT_EQ(vqsoftcc_internal_pen_style_cmp(&a, &b), 0);
}

TEST(StyleRecords, WindowStyleComparisonSeesEffectSpeed)
{
    WindowStyle a = PredefinedWindowStyles[1];
    WindowStyle b = a;
    b.reserved_speed[1] = 9;
    EXPECT_EQ(vqsoftcc_internal_window_style_cmp(&a, &b), 1);
    b.effect_speed = 1;
    EXPECT_EQ(vqsoftcc_internal_window_style_cmp(&a, &b), 0);
}

TEST(StyleRecords, ApplyingAPenCopiesFieldsAndToleratesNull)
{
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
        auto *s = static_cast<TextSegment *>(VQMalloc(sizeof(TextSegment)));
        std::memset(s, 0, sizeof *s);
        s->next = next;
        return s;
    };
    CaptionWindow w{};
    w.defined = 1;
    w.cursor_row = 3;
    w.segments = make(make(make(nullptr)));
    w.current_segment = make(nullptr);
    vqsoftcc_internal_clear_window(&w);
    EXPECT_EQ(w.segments, nullptr);
    EXPECT_NE(w.current_segment, nullptr);
    EXPECT_EQ(fake_platform::live_blocks(), before + 1);

    w.segments = make(nullptr);
    vqsoftcc_internal_delete_window(&w);
    EXPECT_EQ(w.defined, 0);
    EXPECT_EQ(w.current_segment, nullptr);
    EXPECT_EQ(w.segments, nullptr);
    EXPECT_EQ(w.cursor_row, 3);
    EXPECT_EQ(fake_platform::live_blocks(), before);
}

} // namespace
