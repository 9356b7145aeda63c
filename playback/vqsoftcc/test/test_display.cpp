// Text runs and cursor editing of the caption display model.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "vqsoftcc_internal.h"

namespace {

// One run typed from a cursor (text in typing order), closed with these attributes.
struct Typed {
    int row, column;
    std::u16string text;
    uint8_t pen = 0;
    uint16_t mode = 0;
    uint8_t no_merge = 0;
};

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

    // Types and closes one run; the first failure, or SOFTCC_OK.
    SoftCCStatus type(const Typed &run)
    {
        SoftCCStatus first = SOFTCC_OK;
        window().cursor_row = (int16_t)run.row;
        window().cursor_column = (int16_t)run.column;
        for (char16_t ch : run.text) {
            SoftCCStatus status = vqsoftcc_internal_add_char_to_current_segment(&window(), ch);
            first = first != SOFTCC_OK ? first : status;
        }
        window().pen.fg_color = run.pen;
        if (TextSegment *open = window().current_segment) {
            open->caption_mode = run.mode;
            open->no_merge = run.no_merge;
        }
        SoftCCStatus status = vqsoftcc_internal_terminate_current_segment(&context);
        return first != SOFTCC_OK ? first : status;
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
    // The first run breaking the list's shape, "" if none: runs lie in the
    // window sorted by line then position without overlap, hold 1..52
    // characters inside their buffer (at its end for leftward or upward
    // typing, when exact), and the open run is never among them.
    std::string list_problem(bool exact_alignment = true)
    {
        const CaptionWindow &w = window();
        bool vertical = w.style.scroll_direction <= 1;
        bool right = w.style.print_direction == 1 || w.style.print_direction == 3;
        int last_line = -1, last_end = 0;
        for (const TextSegment *s = w.segments; s != nullptr; s = s->next) {
            int line = vertical ? s->column : s->row, start = vertical ? s->row : s->column;
            const uint16_t *aligned = right ? &s->chars[52 - s->length] : s->chars;
            bool misplaced = exact_alignment ? s->text != aligned
                                             : s->text < s->chars || s->text + s->length > s->chars + 52;
            if (s == w.current_segment || line < last_line || (line == last_line && start < last_end) ||
                line >= (vertical ? w.column_count : w.row_count) || start < 0 ||
                start + s->length > (vertical ? w.row_count : w.column_count) || s->length < 1 ||
                s->length > SOFTCC_SEGMENT_CHARS || misplaced)
                return "bad run at line " + std::to_string(line) + " position " + std::to_string(start);
            last_line = line;
            last_end = start + s->length;
        }
        return "";
    }

    SoftCCContext context;
};

enum class Edit { kNone, kBackspace, kDeleteToEnd };

struct EditCase {
    const char *name;
    uint32_t print;
    std::vector<Typed> typed;
    std::string expected;
    Edit edit = Edit::kNone;
    int column = 0, column_after = 0; // the cursor before and after the edit
};

TEST_F(DisplayTest, ClosingAndErasingCutSplitAndJoinRuns)
{
    const std::u16string a26(26, u'a'), b27(27, u'b');
    const EditCase cases[] = {
        {"left to right", 0, {{2, 5, u"XYZ"}}, "2:5:XYZ "},
        {"right to left", 1, {{2, 10, u"XYZ"}}, "2:8:ZYX "},
        {"53rd character dropped", 0, {{0, 0, std::u16string(53, u'A')}}, "0:0:" + std::string(52, 'A') + " "},
        {"split by another pen", 0, {{0, 1, u"ABCDEFG"}, {0, 3, u"XY", 5}}, "0:1:AB 0:3:XY 0:5:EFG "},
        {"right-aligned split", 1, {{0, 7, u"GFEDCBA"}, {0, 4, u"YX", 5}}, "0:1:AB 0:3:XY 0:5:EFG "},
        {"right-aligned join both sides", 1, {{0, 7, u"GFEDCBA"}, {0, 4, u"YX", 5}, {0, 4, u"UV"}},
         "0:1:ABVUEFG "},
        {"exact cover replaces", 0, {{0, 3, u"AB"}, {0, 3, u"XY", 2}}, "0:3:XY "},
        {"same pen joins", 0, {{0, 1, u"ABC"}, {0, 4, u"DE"}}, "0:1:ABCDE "},
        {"53 together stay apart", 0, {{1, 0, a26}, {1, 26, b27}},
         "1:0:" + std::string(26, 'a') + " 1:26:" + std::string(27, 'b') + " "},
        {"caption mode differs", 0, {{0, 1, u"ABC", 0, 2}, {0, 4, u"DE", 0, 1}}, "0:1:ABC 0:4:DE "},
        {"no_merge on the new run", 0, {{0, 1, u"ABC"}, {0, 6, u"FG"}, {0, 4, u"DE", 0, 0, 1}},
         "0:1:ABC 0:4:DE 0:6:FG "},
        {"no_merge on a neighbour", 0, {{0, 1, u"ABC", 0, 0, 1}, {0, 6, u"FG"}, {0, 4, u"DE"}},
         "0:1:ABC 0:4:DEFG "},
        // The head split off a run does not inherit no_merge, so it may join.
        {"split head may join", 0, {{0, 1, u"ABCDEFG", 0, 0, 1}, {0, 3, u"XY"}}, "0:1:ABXY 0:5:EFG "},
        {"backspace after the text", 0, {{0, 0, u"ABCDE"}}, "0:0:ABCD ", Edit::kBackspace, 5, 4},
        {"backspace inside splits", 0, {{0, 0, u"ABCDE"}}, "0:0:AB 0:3:DE ", Edit::kBackspace, 3, 2},
        {"backspace at the first column", 0, {{0, 0, u"ABCDE"}}, "0:1:BCDE ", Edit::kBackspace, 0, 0},
        {"backspace at the last column", 0, {{0, 27, u"VWXYZ"}}, "0:27:VWX ", Edit::kBackspace, 31, 30},
        {"leftward backspace at column 0", 1, {{0, 2, u"ABC"}}, "0:2:A ", Edit::kBackspace, 0, 1},
        {"delete to end cuts", 0, {{0, 5, u"ABCDEFGH"}}, "0:5:ABCDE ", Edit::kDeleteToEnd, 10, 10},
        {"leftward delete runs right", 1, {{0, 12, u"ABCDEFGH"}}, "0:5:HGFED ", Edit::kDeleteToEnd, 10, 10},
    };
    for (const EditCase &c : cases) {
        SCOPED_TRACE(c.name);
        vqsoftcc_internal_clear_window(&window());
        window().column_count = c.edit == Edit::kNone ? 60 : 32;
        window().style.print_direction = c.print;
        for (const Typed &run : c.typed)
            EXPECT_EQ(type(run), SOFTCC_OK);
        if (c.edit != Edit::kNone) {
            window().cursor_column = (int16_t)c.column;
            EXPECT_EQ(c.edit == Edit::kBackspace ? vqsoftcc_internal_backspace(&window())
                                                 : vqsoftcc_internal_delete_to_end_of_row(&window()),
                      SOFTCC_OK);
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

TEST_F(DisplayTest, FailedAllocationsLeaveTheDocumentedState)
{
    // Typing: no current segment, the character is lost and the cursor stays.
    fake_platform::fail_nth_malloc(1);
    EXPECT_EQ(vqsoftcc_internal_add_char_to_current_segment(&window(), 'Q'), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(window().current_segment, nullptr);
    EXPECT_EQ(window().cursor_column, 0);
    // A split on close: list unchanged, the run stays open and a later close retries.
    ASSERT_EQ(type({0, 1, u"ABCDEFG"}), SOFTCC_OK);
    window().cursor_column = 3;
    ASSERT_EQ(vqsoftcc_internal_add_char_to_current_segment(&window(), 'X'), SOFTCC_OK);
    window().pen.fg_color = 5;
    fake_platform::fail_nth_malloc(1);
    EXPECT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(runs(), "0:1:ABCDEFG ");
    EXPECT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_OK);
    // The fresh segment after a close: the run is in, no current segment.
    fake_platform::fail_nth_malloc(1);
    EXPECT_EQ(type({1, 0, u"Z", 5}), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(runs(), "0:1:AB 0:3:X 0:4:DEFG 1:0:Z ");
    EXPECT_EQ(window().current_segment, nullptr);
    // An erase that must split: list unchanged and the range stays open, so
    // later erases refuse, a backspace only after moving the cursor.
    window().cursor_row = 0;
    window().cursor_column = 5;
    fake_platform::fail_nth_malloc(2);
    EXPECT_EQ(vqsoftcc_internal_erase_at_cursor(&window(), 1), SOFTCC_ERR_NO_MEMORY);
    ASSERT_NE(window().current_segment, nullptr);
    EXPECT_EQ(window().current_segment->in_use + window().current_segment->no_merge, 2);
    EXPECT_EQ(vqsoftcc_internal_backspace(&window()), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(window().cursor_column, 4);
    EXPECT_EQ(runs(), "0:1:AB 0:3:X 0:4:DEFG 1:0:Z ");
}

// A realistic editing session with each allocation failing in turn (once,
// and from then on): every step works or reports no memory, the list keeps
// its shape, and deleting the window releases every block.
TEST_F(DisplayTest, AllocationFailureSweepKeepsListWhole)
{
    for (uint32_t print : {0u, 1u})
        for (bool from_then_on : {false, true})
            for (uint64_t n = 1;; ++n) {
                SCOPED_TRACE(testing::Message() << "print " << print << " failing " << n << (from_then_on ? "+" : ""));
                fake_platform::reset();
                (from_then_on ? fake_platform::fail_mallocs_from : fake_platform::fail_nth_malloc)(n);
                window().defined = 1;
                window().style.print_direction = print;
                // Leftward typing mirrors every column, so both meet the same text.
                auto col = [&](int column) { return print == 1 ? 31 - column : column; };
                std::vector<SoftCCStatus> results;
                auto step = [&](SoftCCStatus status) {
                    results.push_back(status);
                    EXPECT_TRUE(status == SOFTCC_OK || status == SOFTCC_ERR_NO_MEMORY) << status;
                    EXPECT_EQ(list_problem(false), "") << "step " << results.size();
                };
                auto edit_at = [&](int row, int column, SoftCCStatus (*edit)(CaptionWindow *)) {
                    window().cursor_row = (int16_t)row;
                    window().cursor_column = (int16_t)col(column);
                    step(edit(&window()));
                };
                step(type({14, col(0), u"HELLO WORLD"}));
                step(type({14, col(3), u"XY", 5}));
                vqsoftcc_internal_carriage_return(&window());
                vqsoftcc_internal_scroll_window(&window());
                step(type({14, col(0), u"SECOND LINE", 0, 1}));
                edit_at(13, 8, vqsoftcc_internal_backspace);
                edit_at(13, 1, [](CaptionWindow *w) { return vqsoftcc_internal_erase_at_cursor(w, 3); });
                edit_at(14, 4, vqsoftcc_internal_delete_to_end_of_row);
                vqsoftcc_internal_scroll_window(&window());
                step(type({14, col(28), u"ABCDEFGH", 2}));
                bool failed = fake_platform::failed_mallocs() != 0;
                vqsoftcc_internal_delete_window(&window());
                ASSERT_EQ(fake_platform::live_blocks(), 0);
                if (!failed) {
                    EXPECT_EQ(results, std::vector<SoftCCStatus>(results.size(), SOFTCC_OK));
                    EXPECT_GT(n, 10u); // the session really allocates
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
    int run_begin(int l, int p)
    {
        while (continues(l, p))
            --p;
        return p;
    }
    int run_end(int l, int p)
    {
        do
            ++p;
        while (continues(l, p));
        return p;
    }
    void join_at(int l, int p)
    {
        if (!used(l, p - 1) || !used(l, p))
            return;
        Cell &a = lines[l][p - 1], &b = lines[l][p];
        if (a.pen == b.pen && a.mode == b.mode && !a.no_merge && !b.no_merge &&
            run_end(l, p) - run_begin(l, p - 1) <= SOFTCC_SEGMENT_CHARS)
            b.start = false;
    }
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
        if (!erase && b > a) {
            join_at(l, a);
            join_at(l, b);
        }
    }
};

// Random typing (with cursor jumps inside the open run), pens, caption modes,
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
        vqsoftcc_internal_delete_window(&window());
        window().defined = 1;
        window().style.print_direction = print;
        window().style.scroll_direction = scroll;
        window().row_count = (uint8_t)(vertical ? positions : lines);
        window().column_count = (uint8_t)(vertical ? lines : positions);
        GridModel model{positions, std::vector<std::vector<Cell>>(lines, std::vector<Cell>(positions))};
        int line = 0, pos = 0;
        auto set_cursor = [&] {
            window().cursor_row = (int16_t)(vertical ? pos : line);
            window().cursor_column = (int16_t)(vertical ? line : pos);
        };
        auto erase = [&](int n) { model.place(line, pos, std::vector<Cell>(n), true); };
        set_cursor();
        std::mt19937 random(2024 + print * 4 + scroll);
        for (int step = 0; step < 3000; ++step) {
            int what = (int)(random() % 16);
            if (what < 7) {
                int count = 1 + (int)(random() % (random() % 8 == 0 ? 60 : 8));
                int anchor = -1, extent = 0; // the run's first character stays its fixed end
                std::vector<Cell> run(SOFTCC_SEGMENT_CHARS);
                for (int i = 0; i < count; ++i) {
                    if (random() % 16 == 0) {
                        pos = (int)(random() % (positions + 1));
                        set_cursor();
                    }
                    pos = std::min(pos, positions - 1);
                    anchor = anchor < 0 ? pos : anchor;
                    uint16_t ch = (uint16_t)('a' + random() % 26);
                    ASSERT_EQ(vqsoftcc_internal_add_char_to_current_segment(&window(), ch), SOFTCC_OK);
                    int offset = right ? anchor - pos : pos - anchor;
                    if (offset >= 0 && offset < SOFTCC_SEGMENT_CHARS) {
                        run[offset].ch = ch;
                        extent = std::max(extent, offset + 1);
                    }
                    pos = right ? std::max(pos - 1, 0) : pos + 1;
                }
                Cell look{0, (uint8_t)(random() % 3), (uint8_t)(random() % 2), true, random() % 16 == 0};
                window().pen.fg_color = look.pen;
                window().current_segment->caption_mode = look.mode;
                window().current_segment->no_merge = look.no_merge;
                ASSERT_EQ(vqsoftcc_internal_terminate_current_segment(&context), SOFTCC_OK);
                run.resize(extent);
                for (Cell &cell : run)
                    cell = Cell{cell.ch, look.pen, look.mode, true, look.no_merge};
                if (right)
                    std::reverse(run.begin(), run.end());
                model.place(line, right ? anchor - extent + 1 : anchor, run, false);
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
                const std::vector<Cell> empty(positions);
                if (scroll == 0 || scroll == 2) {
                    model.lines.pop_back();
                    model.lines.insert(model.lines.begin(), empty);
                } else {
                    model.lines.erase(model.lines.begin());
                    model.lines.push_back(empty);
                }
            }
            ASSERT_EQ(list_problem(), "") << "step " << step;
            ASSERT_EQ(window().cursor_row, vertical ? pos : line) << "step " << step;
            ASSERT_EQ(window().cursor_column, vertical ? line : pos) << "step " << step;
            // Every run is one of the model's runs, and together they hold all its text.
            int listed = 0, modelled = 0;
            for (const TextSegment *s = window().segments; s != nullptr; s = s->next) {
                int l = vertical ? s->column : s->row, start = vertical ? s->row : s->column;
                bool same = model.run_begin(l, start) == start && model.run_end(l, start) == start + s->length;
                for (int i = 0; i < s->length; ++i) {
                    const Cell &cell = model.lines[l][start + i];
                    same = same && cell.used && cell.ch == s->text[i] && cell.pen == s->pen.fg_color &&
                           cell.mode == s->caption_mode && cell.no_merge == (s->no_merge != 0);
                }
                ASSERT_TRUE(same) << "step " << step << ": run at line " << l << " position " << start;
                listed += s->length;
            }
            for (const auto &cells : model.lines)
                modelled += (int)std::count_if(cells.begin(), cells.end(), [](const Cell &c) { return c.used; });
            ASSERT_EQ(listed, modelled) << "step " << step;
        }
    }
}

} // namespace
