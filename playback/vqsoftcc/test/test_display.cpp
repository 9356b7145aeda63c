// Text runs and cursor editing of the caption display model.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "fake_platform.h"
#include "vqsoftcc_internal.h"

namespace {

class DisplayTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        fake_platform::reset();
        context = {};
        context.current_window = 0;
        window().defined = 1;
        window().row_count = 15;
        window().column_count = 32;
        window().style.scroll_direction = 3;
    }
    void TearDown() override
    {
        vqsoftcc_internal_delete_window(&window());
        EXPECT_EQ(fake_platform::live_blocks(), 0);
    }
    CaptionWindow &window() { return context.windows[0]; }

    void type(int row, int column, const std::u16string &text)
    {
        window().cursor_row = (int16_t)row;
        window().cursor_column = (int16_t)column;
        for (char16_t ch : text)
            ASSERT_EQ(vqsoftcc_internal_add_char_to_current_segment(&window(), ch), SOFTCC_OK);
        ASSERT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_OK);
    }
    // "row:column:text" per run, in list order.
    std::string runs()
    {
        std::string out;
        for (TextSegment *s = window().segments; s != nullptr; s = s->next) {
            out += std::to_string(s->row) + ":" + std::to_string(s->column) + ":";
            for (int i = 0; i < s->length; ++i)
                out += s->text[i] ? (char)s->text[i] : '_';
            out += " ";
        }
        return out;
    }

    SoftCCContext context;
};

TEST_F(DisplayTest, TypingLeftToRightMakesOneRun)
{
    type(2, 5, u"XYZ");
    EXPECT_EQ(runs(), "2:5:XYZ ");
    EXPECT_EQ(window().segments->text, window().segments->chars);
}

TEST_F(DisplayTest, TypingRightToLeftIsRightAligned)
{
    window().style.print_direction = 1;
    type(2, 10, u"XYZ");
    EXPECT_EQ(runs(), "2:8:ZYX ");
    EXPECT_EQ(window().segments->text, &window().segments->chars[49]);
}

TEST_F(DisplayTest, CloseOverMiddleSplitsAndDifferentPenDoesNotJoin)
{
    type(0, 1, u"ABCDEFG");
    window().pen.fg_color = 5;
    type(0, 3, u"XY");
    EXPECT_EQ(runs(), "0:1:AB 0:3:XY 0:5:EFG ");
}

TEST_F(DisplayTest, SamePenNeighboursJoin)
{
    type(0, 1, u"ABC");
    type(0, 4, u"DE");
    EXPECT_EQ(runs(), "0:1:ABCDE ");
}

TEST_F(DisplayTest, BackspaceSplitsRun)
{
    type(0, 0, u"ABCDE");
    window().cursor_column = 3;
    ASSERT_EQ(vqsoftcc_internal_backspace(&window()), SOFTCC_OK);
    EXPECT_EQ(runs(), "0:0:AB 0:3:DE ");
    EXPECT_EQ(window().cursor_column, 2);
}

TEST_F(DisplayTest, ScrollUpReleasesTopRow)
{
    type(0, 0, u"A");
    type(1, 0, u"B");
    vqsoftcc_internal_scroll_window(&window());
    EXPECT_EQ(runs(), "0:0:B ");
}

TEST_F(DisplayTest, FiftyThirdCharacterIsDroppedButCursorMoves)
{
    window().column_count = 60;
    type(0, 0, std::u16string(53, u'A'));
    EXPECT_EQ(window().segments->length, 52);
    EXPECT_EQ(window().cursor_column, 53);
}

TEST_F(DisplayTest, ExactCoverRemovesOldRunAndJoinLimitHolds)
{
    type(0, 3, u"AB");
    window().pen.fg_color = 2;
    type(0, 3, u"XY");
    EXPECT_EQ(runs(), "0:3:XY ");
    window().column_count = 60;
    type(1, 0, std::u16string(26, u'a'));
    type(1, 26, std::u16string(27, u'b'));
    EXPECT_EQ(window().segments->next->next->length, 27);
}

TEST_F(DisplayTest, ClosingWithoutWindowDoesNothing)
{
    context.current_window = -1;
    EXPECT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_OK);
}

TEST_F(DisplayTest, FailedSplitLeavesListAndRunCurrent)
{
    type(0, 1, u"ABCDEFG");
    window().pen.fg_color = 5;
    window().cursor_column = 3;
    ASSERT_EQ(vqsoftcc_internal_add_char_to_current_segment(&window(), 'X'), SOFTCC_OK);
    fake_platform::fail_nth_malloc(1);
    EXPECT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(runs(), "0:1:ABCDEFG ");
    ASSERT_NE(window().current_segment, nullptr);
    EXPECT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_OK);
    EXPECT_EQ(runs(), "0:1:AB 0:3:X 0:4:DEFG ");
}

TEST_F(DisplayTest, DeleteToEndCarriageReturnAndSidewaysScroll)
{
    type(0, 5, u"ABCDEFGH");
    window().cursor_column = 10;
    ASSERT_EQ(vqsoftcc_internal_delete_to_end_of_row(&window()), SOFTCC_OK);
    EXPECT_EQ(runs(), "0:5:ABCDE ");
    EXPECT_EQ(window().cursor_column, 10);
    window().style.print_direction = 1;
    vqsoftcc_internal_carriage_return(&window());
    EXPECT_EQ(window().cursor_column, 31);
}

TEST_F(DisplayTest, ScrollLeftToRightReleasesRunOnLastColumn)
{
    window().style.scroll_direction = 0;
    window().style.print_direction = 2;
    type(0, 31, u"A");
    type(0, 30, u"B");
    vqsoftcc_internal_scroll_window(&window());
    EXPECT_EQ(runs(), "0:31:B ");
}

// Random typing, closing and erasing left to right, compared cell by cell with
// a grid and checked for sorted, non-overlapping, unjoinable runs.
TEST_F(DisplayTest, RandomEditsMatchGridModel)
{
    std::mt19937 random(12345);
    uint16_t grid_char[15][32] = {};
    uint8_t grid_pen[15][32] = {};
    for (int step = 0; step < 20000; ++step) {
        int row = (int)(random() % 15), column = (int)(random() % 32);
        if (random() % 3 != 0) {
            int count = 1 + (int)(random() % 8);
            uint8_t pen = (uint8_t)(random() % 2);
            window().pen.fg_color = pen;
            window().cursor_row = (int16_t)row;
            window().cursor_column = (int16_t)column;
            for (int i = 0; i < count; ++i) {
                uint16_t ch = (uint16_t)('a' + random() % 26);
                int at = std::min((int)window().cursor_column, 31);
                ASSERT_EQ(vqsoftcc_internal_add_char_to_current_segment(&window(), ch), SOFTCC_OK);
                grid_char[row][at] = ch;
                grid_pen[row][at] = pen;
            }
            ASSERT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_OK);
        } else {
            int count = 1 + (int)(random() % 10);
            window().cursor_row = (int16_t)row;
            window().cursor_column = (int16_t)column;
            ASSERT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_OK);
            ASSERT_EQ(vqsoftcc_internal_erase_at_cursor(&window(), (uint8_t)count), SOFTCC_OK);
            for (int c = column; c < std::min(32, column + count); ++c)
                grid_char[row][c] = 0;
        }
        uint16_t seen[15][32] = {};
        TextSegment *previous = nullptr;
        for (TextSegment *s = window().segments; s != nullptr; s = s->next) {
            ASSERT_GE(s->length, 1);
            ASSERT_EQ(s->text, s->chars);
            if (previous != nullptr) {
                ASSERT_TRUE(previous->row < s->row ||
                            (previous->row == s->row && previous->column + previous->length <= s->column));
                ASSERT_FALSE(previous->row == s->row &&
                             previous->column + previous->length == s->column &&
                             previous->pen.fg_color == s->pen.fg_color);
            }
            ASSERT_NE(s, window().current_segment);
            for (int i = 0; i < s->length; ++i) {
                seen[s->row][s->column + i] = s->text[i];
                ASSERT_EQ(s->pen.fg_color, grid_pen[s->row][s->column + i]);
            }
            previous = s;
        }
        for (int r = 0; r < 15; ++r)
            for (int c = 0; c < 32; ++c)
                ASSERT_EQ(seen[r][c], grid_char[r][c]) << "step " << step << " at " << r << "," << c;
    }
}

TEST_F(DisplayTest, RightAlignedRunsSplitAndJoinKeepingLayout)
{
    window().style.print_direction = 1;
    type(0, 7, u"GFEDCBA");
    window().pen.fg_color = 5;
    type(0, 4, u"YX");
    EXPECT_EQ(runs(), "0:1:AB 0:3:XY 0:5:EFG ");
    for (TextSegment *s = window().segments; s != nullptr; s = s->next)
        EXPECT_EQ(s->text, &s->chars[52 - s->length]);
    window().pen.fg_color = 0;
    type(0, 4, u"UV");
    EXPECT_EQ(runs(), "0:1:ABVUEFG ");
    EXPECT_EQ(window().segments->text, &window().segments->chars[45]);
}

} // namespace
