// Text runs and cursor editing of the caption display model.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "fake_platform.h"
#include "vqsoftcc_internal.h"

namespace {

// One run typed from a cursor (text in typing order), closed with these attributes.
struct Typed {
    int row, column;
    std::u16string text;
    uint8_t pen = 0, mode = 0, no_merge = 0;
};

class DisplayTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        fake_platform::reset();
        context.current_window = 0;
        reshape(15, 32, 0, 3);
    }
    void TearDown() override
    {
        vqsoftcc_internal_delete_window(&window());
        EXPECT_EQ(fake_platform::live_blocks(), 0);
    }
    CaptionWindow &window() { return context.windows[0]; }
    // Empties the window and gives it this size and these directions.
    void reshape(int rows, int columns, uint32_t print, uint32_t scroll)
    {
        vqsoftcc_internal_delete_window(&window());
        window().defined = 1;
        window().row_count = (uint8_t)rows;
        window().column_count = (uint8_t)columns;
        window().style.print_direction = print;
        window().style.scroll_direction = scroll;
    }
    void at(int row, int column) { window().cursor_row = (int16_t)row, window().cursor_column = (int16_t)column; }
    // Types and closes one run; a failure of either, or SOFTCC_OK.
    SoftCCStatus type(const Typed &run)
    {
        SoftCCStatus typed = SOFTCC_OK;
        at(run.row, run.column);
        for (char16_t ch : run.text)
            if (vqsoftcc_internal_add_char_to_current_segment(&window(), ch) != SOFTCC_OK)
                typed = SOFTCC_ERR_NO_MEMORY;
        window().pen.fg_color = run.pen;
        if (TextSegment *open = window().current_segment)
            open->caption_mode = run.mode, open->no_merge = run.no_merge;
        SoftCCStatus closed = vqsoftcc_internal_terminate_current_segment(&context);
        return typed != SOFTCC_OK ? typed : closed;
    }
    // "row:column:text" per run, in list order; unwritten characters as '_'.
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
    // The first run breaking the list's shape, "" if none: runs are sorted
    // by line then position without overlap, hold 1..52 characters in the
    // alignment of the print direction, and the open run is not among them.
    std::string list_problem()
    {
        const CaptionWindow &w = window();
        bool vertical = w.style.scroll_direction <= 1, right = w.style.print_direction % 2 == 1;
        int line = -1, end = 0;
        for (const TextSegment *s = w.segments; s != nullptr; s = s->next) {
            int l = vertical ? s->column : s->row, start = vertical ? s->row : s->column;
            if (s == w.current_segment || s->text != (right ? &s->chars[52 - s->length] : s->chars) ||
                l < line || (l == line && start < end) || s->length < 1 || s->length > 52)
                return "bad run at line " + std::to_string(l) + " position " + std::to_string(start);
            line = l, end = start + s->length;
        }
        return "";
    }

    SoftCCContext context = {};
};

// Runs typed, then maybe an edit at a cursor column, and what the list and cursor show.
struct EditCase {
    const char *name;
    uint32_t print;
    std::vector<Typed> typed;
    std::string expected;
    SoftCCStatus (*edit)(CaptionWindow *) = nullptr;
    int column = 0, column_after = 0;
};

TEST_F(DisplayTest, ClosingAndErasingCutSplitAndJoinRuns)
{
    const auto backspace = vqsoftcc_internal_backspace;
    const std::u16string a26(26, u'a'), b27(27, u'b');
    const EditCase cases[] = {
        {"other pen splits", 0, {{0, 1, u"ABCDEFG"}, {0, 3, u"XY", 5}}, "0:1:AB 0:3:XY 0:5:EFG "},
        {"right-aligned split, join", 1, {{0, 7, u"GFEDCBA"}, {0, 4, u"YX", 5}, {0, 4, u"UV"}},
         "0:1:ABVUEFG "},
        {"53 together", 0, {{1, 0, a26}, {1, 26, b27}}, "1:0:" + std::string(26, 'a') + " 1:26:" + std::string(27, 'b') + " "},
        {"caption mode", 0, {{0, 1, u"ABC", 0, 2}, {0, 4, u"DE", 0, 1}}, "0:1:ABC 0:4:DE "},
        {"no_merge new", 0, {{0, 1, u"ABC"}, {0, 6, u"FG"}, {0, 4, u"DE", 0, 0, 1}}, "0:1:ABC 0:4:DE 0:6:FG "},
        {"no_merge before", 0, {{0, 1, u"ABC", 0, 0, 1}, {0, 6, u"FG"}, {0, 4, u"DE"}}, "0:1:ABC 0:4:DEFG "},
        // At the far edge of the line backspace erases two characters.
        {"backspace at the last column", 0, {{0, 27, u"VWXYZ"}}, "0:27:VWX ", backspace, 31, 30},
        {"leftward backspace at column 0", 1, {{0, 2, u"ABC"}}, "0:2:A ", backspace, 0, 1},
        {"leftward delete runs right", 1, {{0, 12, u"ABCDEFGH"}}, "0:5:HGFED ",
         vqsoftcc_internal_delete_to_end_of_row, 10, 10},
    };
    for (const EditCase &c : cases) {
        SCOPED_TRACE(c.name);
        reshape(15, c.edit ? 32 : 60, c.print, 3);
        for (const Typed &run : c.typed)
            EXPECT_EQ(type(run), SOFTCC_OK);
        if (c.edit) {
            window().cursor_column = (int16_t)c.column;
            EXPECT_EQ(c.edit(&window()), SOFTCC_OK);
            EXPECT_EQ(window().cursor_column, c.column_after);
            EXPECT_EQ(window().current_segment, nullptr);
        }
        EXPECT_EQ(runs(), c.expected);
        EXPECT_EQ(list_problem(), "");
    }
    window().defined = 0;
    vqsoftcc_internal_scroll_window(&window());
    EXPECT_EQ(runs(), "0:5:HGFED ");
    context.current_window = -1;
    EXPECT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_OK);
}

TEST_F(DisplayTest, FailedSplitsLeaveListAndOpenRun)
{
    // Closing: the list is unchanged, the run stays open and a later close retries.
    ASSERT_EQ(type({0, 1, u"ABCDEFG"}), SOFTCC_OK);
    at(0, 3);
    ASSERT_EQ(vqsoftcc_internal_add_char_to_current_segment(&window(), 'X'), SOFTCC_OK);
    fake_platform::fail_nth_malloc(1);
    EXPECT_EQ(type({0, 4, u"", 5}), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(runs(), "0:1:ABCDEFG ");
    EXPECT_EQ(type({0, 4, u"", 5}), SOFTCC_OK);
    EXPECT_EQ(runs(), "0:1:AB 0:3:X 0:4:DEFG ");
    // Erasing: the list is unchanged and the range stays open, so later
    // erases refuse, a backspace only after moving the cursor.
    at(0, 5);
    fake_platform::fail_nth_malloc(1);
    EXPECT_EQ(vqsoftcc_internal_erase_at_cursor(&window(), 1), SOFTCC_ERR_NO_MEMORY);
    TextSegment *range = window().current_segment;
    ASSERT_TRUE(range && range->in_use && range->no_merge && range->length == 1);
    EXPECT_EQ(vqsoftcc_internal_backspace(&window()), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(window().cursor_column, 4);
    EXPECT_EQ(runs(), "0:1:AB 0:3:X 0:4:DEFG ");
}

// A realistic editing session with each allocation failing in turn (once,
// and from then on): every step works or reports no memory, the list keeps
// its shape, and deleting the window releases every block.
TEST_F(DisplayTest, AllocationFailureSweepKeepsListWhole)
{
    const std::tuple<int, int, SoftCCStatus (*)(CaptionWindow *)> edits[] = {
        {13, 8, vqsoftcc_internal_backspace},
        {13, 1, [](CaptionWindow *w) { return vqsoftcc_internal_erase_at_cursor(w, 3); }},
        {14, 4, vqsoftcc_internal_delete_to_end_of_row}};
    for (bool from_then_on : {false, true})
        for (uint64_t n = 1;; ++n) {
            SCOPED_TRACE(testing::Message() << "failing allocation " << n << (from_then_on ? " on" : ""));
            reshape(15, 32, 0, 3);
            fake_platform::reset();
            (from_then_on ? fake_platform::fail_mallocs_from : fake_platform::fail_nth_malloc)(n);
            int steps = 0, failures = 0;
            auto step = [&](SoftCCStatus status) {
                failures += status != SOFTCC_OK;
                EXPECT_TRUE(status == SOFTCC_OK || status == SOFTCC_ERR_NO_MEMORY) << status;
                EXPECT_EQ(list_problem(), "") << "step " << ++steps;
            };
            step(type({14, 0, u"HELLO WORLD"}));
            step(type({14, 3, u"XY", 5}));
            vqsoftcc_internal_scroll_window(&window());
            step(type({14, 0, u"SECOND LINE", 0, 1}));
            for (auto [row, column, edit] : edits) {
                at(row, column);
                step(edit(&window()));
            }
            vqsoftcc_internal_scroll_window(&window());
            step(type({14, 28, u"ABCDEFGH", 2}));
            bool failed = fake_platform::failed_mallocs() != 0;
            vqsoftcc_internal_delete_window(&window());
            ASSERT_EQ(fake_platform::live_blocks(), 0);
            if (!failed) {
                EXPECT_TRUE(failures == 0 && n > 10) << "a dozen allocations, all of them fine";
                break;
            }
        }
}

// One window's text cell by cell: what each position holds and where runs
// begin, with the joining rules (same pen and mode, neither marked no_merge,
// 52 characters at most together) applied at each close.
struct Cell {
    uint16_t ch = 0;
    uint8_t pen = 0, mode = 0;
    bool used = false, no_merge = false, start = false; // start: a run begins here
};

struct GridModel {
    int positions;
    std::vector<std::vector<Cell>> lines;

    bool used(int l, int p) { return p >= 0 && p < positions && lines[l][p].used; }
    bool continues(int l, int p) { return used(l, p - 1) && used(l, p) && !lines[l][p].start; }
    int run_begin(int l, int p) { return continues(l, p) ? run_begin(l, p - 1) : p; }
    int run_end(int l, int p) { return continues(l, p + 1) ? run_end(l, p + 1) : p + 1; }
    // Closes a run over [a, a + size); an erase range is placed, then taken out.
    void place(int l, int a, const std::vector<Cell> &run, bool erase)
    {
        int b = std::min(a + (int)run.size(), positions);
        if (continues(l, a) && run_end(l, a) > b) // splitting: the head starts afresh
            for (int p = run_begin(l, a - 1); p < a; ++p)
                lines[l][p].no_merge = false;
        for (int p = a; p < b; ++p) {
            lines[l][p] = erase ? Cell{} : run[p - a];
            lines[l][p].start = p == a;
        }
        if (b < positions)
            lines[l][b].start = true;
        for (int p : {a, b}) { // join with the run before, then the one after
            Cell *x = used(l, p - 1) ? &lines[l][p - 1] : nullptr, *y = used(l, p) ? &lines[l][p] : nullptr;
            if (!erase && b > a && x && y && x->pen == y->pen && x->mode == y->mode && !x->no_merge &&
                !y->no_merge && run_end(l, p) - run_begin(l, p - 1) <= SOFTCC_SEGMENT_CHARS)
                y->start = false;
        }
    }
};

// Random typing, pens, caption modes,
// no_merge runs, cursor moves, erasing, backspace, delete to end, carriage
// return and scrolling, for each print direction with each scroll direction
// across it; after every step the list and cursor must match the model.
TEST_F(DisplayTest, RandomEditsMatchGridModelInEveryDirection)
{
    const uint32_t pairings[][2] = {{0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 0}, {2, 1}, {3, 0}, {3, 1}};
    const int lines = 5, positions = 60; // beyond 52, so the run limit shows
    for (const auto &pairing : pairings) {
        const uint32_t print = pairing[0], scroll = pairing[1];
        SCOPED_TRACE(testing::Message() << "print " << print << " scroll " << scroll);
        const bool vertical = scroll <= 1, right = print == 1 || print == 3;
        reshape(vertical ? positions : lines, vertical ? lines : positions, print, scroll);
        GridModel model{positions, std::vector<std::vector<Cell>>(lines, std::vector<Cell>(positions))};
        int line = 0, pos = 0;
        auto set_cursor = [&] { at(vertical ? pos : line, vertical ? line : pos); };
        auto erase = [&](int n) { model.place(line, pos, std::vector<Cell>(n), true); };
        std::mt19937 random(2024 + print * 4 + scroll);
        set_cursor();
        for (int step = 0; step < 3000; ++step) {
            int what = (int)(random() % 16);
            if (what < 7) {
                int count = 1 + (int)(random() % (random() % 8 == 0 ? 60 : 8)), anchor = -1;
                std::map<int, uint16_t> typed; // position -> character
                for (int i = 0; i < count; ++i) {
                    pos = std::min(pos, positions - 1);
                    anchor = anchor < 0 ? pos : anchor; // the first character fixes one end
                    uint16_t ch = (uint16_t)('a' + random() % 26);
                    ASSERT_EQ(vqsoftcc_internal_add_char_to_current_segment(&window(), ch), SOFTCC_OK);
                    int offset = right ? anchor - pos : pos - anchor;
                    if (offset >= 0 && offset < SOFTCC_SEGMENT_CHARS)
                        typed[pos] = ch;
                    pos = right ? std::max(pos - 1, 0) : pos + 1;
                }
                Cell look{0, (uint8_t)(random() % 3), (uint8_t)(random() % 2), true, random() % 16 == 0};
                window().pen.fg_color = look.pen;
                window().current_segment->caption_mode = look.mode;
                window().current_segment->no_merge = look.no_merge;
                ASSERT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_OK);
                int first = typed.begin()->first;
                std::vector<Cell> run(typed.rbegin()->first - first + 1, look);
                for (const auto &[p, ch] : typed)
                    run[p - first].ch = ch;
                model.place(line, first, run, false);
            } else if (what < 9) {
                line = (int)(random() % lines);
                pos = (int)(random() % (positions + 1));
                set_cursor();
            } else if (what == 9) {
                int n = (int)(random() % 12);
                ASSERT_EQ(vqsoftcc_internal_erase_at_cursor(&window(), (uint8_t)n), SOFTCC_OK);
                erase(n);
            } else if (what == 10) {
                ASSERT_EQ(vqsoftcc_internal_backspace(&window()), SOFTCC_OK);
                if (pos == (right ? 0 : positions - 1))
                    erase(1);
                pos = right ? std::min(pos + 1, positions - 1) : std::max(pos - 1, 0);
                erase(1);
            } else if (what == 11) {
                ASSERT_EQ(vqsoftcc_internal_delete_to_end_of_row(&window()), SOFTCC_OK);
                erase(positions - pos);
            } else if (what == 12) {
                vqsoftcc_internal_carriage_return(&window());
                pos = right ? positions - 1 : 0;
            } else {
                vqsoftcc_internal_scroll_window(&window());
                bool forward = scroll % 2 == 0; // to higher lines
                model.lines.erase(forward ? model.lines.end() - 1 : model.lines.begin());
                model.lines.insert(forward ? model.lines.begin() : model.lines.end(), std::vector<Cell>(positions));
            }
            ASSERT_EQ(list_problem(), "") << "step " << step;
            ASSERT_EQ(window().cursor_row, vertical ? pos : line) << "step " << step;
            ASSERT_EQ(window().cursor_column, vertical ? line : pos) << "step " << step;
            // Each run is exactly one of the model's, and together they hold all its text.
            int listed = 0, modelled = 0;
            for (const TextSegment *s = window().segments; s != nullptr; listed += s->length, s = s->next) {
                int l = vertical ? s->column : s->row, start = vertical ? s->row : s->column;
                bool same = model.run_begin(l, start) == start && model.run_end(l, start) == start + s->length;
                for (int i = 0; i < s->length; ++i) {
                    const Cell &c = model.lines[l][start + i];
                    same = same && c.used && c.ch == s->text[i] && c.pen == s->pen.fg_color &&
                           c.mode == s->caption_mode && c.no_merge == (s->no_merge != 0);
                }
                ASSERT_TRUE(same) << "step " << step << ": run at line " << l << " position " << start;
            }
            for (const auto &cells : model.lines)
                modelled += (int)std::count_if(cells.begin(), cells.end(), [](const Cell &c) { return c.used; });
            ASSERT_EQ(listed, modelled) << "step " << step;
        }
    }
}

} // namespace
