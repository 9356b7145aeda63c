// Text runs and cursor editing of the caption display model.
#include <gtest/gtest.h>

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

} // namespace
