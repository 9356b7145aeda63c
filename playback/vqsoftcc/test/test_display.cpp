// Text runs and cursor editing of the caption display model.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "checking_host.h"
#include "recording_host.h"
#include "vqsoftcc_internal.h"

namespace {

// One run typed from a cursor (text in typing order), closed with these attributes.
struct Typed { int row, column; std::u16string text; uint8_t pen = 0, mode = 0, no_merge = 0; };

// Runs typed in a 15-row window, then maybe an edit at a cursor column on
// their row, and what the list and the cursor show afterwards.
struct EditCase {
    const char *name;
    uint32_t print;
    std::vector<Typed> typed;
    std::string expected;
    SoftCCStatus (*edit)(CaptionWindow *) = nullptr;
    int column = 0, column_after = 0;
};

const auto kBackspace = vqsoftcc_internal_backspace;

// Windows are 60 columns wide without an edit, 32 with one.
const EditCase kEditCases[] = {
    {"other pen splits", 0, {{0, 1, u"ABCDEFG"}, {0, 3, u"XY", 5}}, "0:1:AB|0:3:XY|0:5:EFG"},
    {"leftward split, join", 1, {{0, 5, u"EDCBA"}, {0, 3, u"YX", 5}, {0, 3, u"UV"}}, "0:1:AVUDE"},
    {"no_merge before", 0, {{0, 1, u"A", 0, 0, 1}, {0, 4, u"D"}, {0, 2, u"BC"}}, "0:1:A|0:2:BCD"},
    {"backspace inside splits", 0, {{0, 0, u"ABCDE"}}, "0:0:AB|0:3:DE", kBackspace, 3, 2},
    // At the far edge of the line backspace erases two characters.
    {"backspace at the last column", 0, {{0, 27, u"VWXYZ"}}, "0:27:VWX", kBackspace, 31, 30},
    {"leftward delete runs right", 1, {{0, 12, u"ABCDEFGH"}}, "0:5:HGFED",
     vqsoftcc_internal_delete_to_end_of_row, 10, 10},
    {"roll-up line", 0, {{13, 0, u"FIRST"}, {14, 0, u"HELLO WORLD"}, {14, 3, u"XY", 5}},
     "12:0:FIRST|13:0:HEL|13:3:XY|13:5: WORLD",
     [](CaptionWindow *w) { return vqsoftcc_internal_scroll_window(w), SOFTCC_OK; }, 11, 11},
    {"undefined window does not scroll", 0, {{14, 0, u"STAY"}}, "14:0:STAY",
     [](CaptionWindow *w) { return w->defined = 0, vqsoftcc_internal_scroll_window(w), SOFTCC_OK; }},
};

class DisplayTest : public ::testing::Test {
protected:
    void SetUp() override { fake_platform::reset(), reshape(15, 32, 0, 3); } // window 0 is current
    void TearDown() override
    {
        vqsoftcc_internal_delete_window(&window());
        EXPECT_EQ(fake_platform::live_blocks(), 0);
    }
    CaptionWindow &window() { return context.windows[0]; }
    // Empties the window, puts the cursor home and gives it this size and
    // these directions; forgets the statuses seen.
    void reshape(uint8_t rows, uint8_t columns, uint32_t print, uint32_t scroll)
    {
        vqsoftcc_internal_delete_window(&window());
        at(0, 0), statuses.clear();
        window().defined = 1, window().row_count = rows, window().column_count = columns;
        window().style.print_direction = print, window().style.scroll_direction = scroll;
    }
    void at(int16_t row, int16_t col) { window().cursor_row = row, window().cursor_column = col; }
    // Types and closes one run, noting every status; the close's status.
    SoftCCStatus type(const Typed &run)
    {
        at(run.row, run.column);
        for (char16_t ch : run.text)
            statuses.push_back(vqsoftcc_internal_add_char_to_current_segment(&window(), ch));
        window().pen.fg_color = run.pen;
        if (TextSegment *open = window().current_segment)
            open->caption_mode = run.mode, open->no_merge = run.no_merge;
        statuses.push_back(vqsoftcc_internal_terminate_current_segment(&context));
        return statuses.back();
    }
    // Types a case's runs into a fresh window, then makes its edit.
    void play(const EditCase &c)
    {
        reshape(15, c.edit ? 32 : 60, c.print, 3);
        for (const Typed &run : c.typed)
            type(run);
        if (c.edit != nullptr)
            window().cursor_column = (int16_t)c.column, statuses.push_back(c.edit(&window()));
    }
    std::string runs() { return test_host::describe(window()); }
    // Rules the list breaks: the checking host's (runs sorted by line and
    // position without overlap, 1..52 characters inside the buffer, the
    // open run not among them), and text kept at the buffer's end when
    // typed leftwards or upwards.
    int list_problems()
    {
        checking_host::Host host{.trap = false};
        checking_host::check_window(&host, &window(), true);
        bool right = window().style.print_direction % 2 == 1;
        for (const TextSegment *s = window().segments; s != nullptr; s = s->next)
            host.broken += s->text != (right ? &s->chars[52 - s->length] : s->chars);
        return host.broken;
    }

    SoftCCContext context = {};
    std::vector<SoftCCStatus> statuses;
};

// Each case, and then each with every allocation failing in turn (once, and
// from then on), which reaches every allocation of typing, closing,
// splitting and erasing: the failed allocations, and only they, show as a
// no-memory status, the list keeps its shape and deleting the window
// releases every block.
TEST_F(DisplayTest, EditCasesCutSplitAndJoinRunsAndSurviveFailedAllocations)
{
    for (const EditCase &c : kEditCases) {
        SCOPED_TRACE(c.name);
        fake_platform::reset(); // no failure left armed by the case before
        play(c);
        EXPECT_THAT(statuses, testing::Each(SOFTCC_OK));
        EXPECT_EQ(runs(), c.expected);
        EXPECT_EQ(list_problems(), 0);
        if (c.edit != nullptr)
            EXPECT_EQ(window().cursor_column, c.column_after);
        for (auto fail : {fake_platform::fail_nth_malloc, fake_platform::fail_mallocs_from})
            for (uint64_t n = 1; n == 1 || fake_platform::failed_mallocs() != 0; ++n) {
                SCOPED_TRACE(testing::Message() << "failing allocation " << n);
                fake_platform::reset(), fail(n);
                play(c);
                EXPECT_THAT(statuses, testing::Each(testing::AnyOf(SOFTCC_OK, SOFTCC_ERR_NO_MEMORY)));
                EXPECT_EQ(fake_platform::failed_mallocs() != 0,
                          std::count(statuses.begin(), statuses.end(), SOFTCC_ERR_NO_MEMORY) != 0);
                EXPECT_EQ(list_problems(), 0);
                vqsoftcc_internal_delete_window(&window());
                ASSERT_EQ(fake_platform::live_blocks(), 0);
            }
    }
    EXPECT_EQ(vqsoftcc_internal_terminate_current_segment(nullptr), SOFTCC_ERR_NULL_POINTER);
}

TEST_F(DisplayTest, FailedSplitsLeaveListAndOpenRun)
{
    // Closing: the list is unchanged, the run stays open and a later close retries.
    ASSERT_EQ(type({0, 1, u"ABCDEFG"}), SOFTCC_OK);
    fake_platform::fail_nth_malloc(1);
    EXPECT_EQ(type({0, 3, u"X", 5}), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(runs(), "0:1:ABCDEFG");
    EXPECT_EQ(type({0, 4, u"", 5}), SOFTCC_OK);
    EXPECT_EQ(runs(), "0:1:AB|0:3:X|0:4:DEFG");
    // Erasing: the list is unchanged and the range stays open, so later
    // erases refuse, a backspace only after moving the cursor.
    at(0, 5), fake_platform::fail_nth_malloc(1);
    EXPECT_EQ(vqsoftcc_internal_erase_at_cursor(&window(), 1), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(vqsoftcc_internal_backspace(&window()), SOFTCC_ERR_NO_MEMORY);
    EXPECT_EQ(window().cursor_column, 4);
    EXPECT_EQ(runs(), "0:1:AB|0:3:X|0:4:DEFG");
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
    // Closes a run of n cells at a (erase: an erase range, placed, then taken out).
    void place(int l, int a, const Cell *run, int n, bool erase)
    {
        int b = std::min(a + n, positions);
        if (continues(l, a) && run_end(l, a) > b) // splitting: the head starts afresh
            for (int p = run_begin(l, a - 1); p < a; ++p)
                lines[l][p].no_merge = false;
        for (int p = a; p < b; ++p)
            (lines[l][p] = erase ? Cell{} : run[p - a]).start = p == a;
        if (b < positions)
            lines[l][b].start = true;
        for (int p : {a, b}) { // join with the run before, then the one after
            if (erase || b == a || !used(l, p - 1) || !used(l, p))
                continue;
            const Cell &x = lines[l][p - 1], &y = lines[l][p];
            if (x.pen == y.pen && x.mode == y.mode && !x.no_merge && !y.no_merge &&
                run_end(l, p) - run_begin(l, p - 1) <= SOFTCC_SEGMENT_CHARS)
                lines[l][p].start = false;
        }
    }
};

// Random typing with pens, caption modes and no_merge runs, cursor moves,
// erasing, backspace, delete to end, carriage return and scrolling, for each
// print direction with each scroll direction across it; after every step
// the list and the cursor must match the model.
TEST_F(DisplayTest, RandomEditsMatchGridModelInEveryDirection)
{
    const int lines = 5, positions = 60; // beyond 52, so the run limit shows
    for (uint32_t pairing = 0; pairing < 8; ++pairing) {
        const uint32_t print = pairing / 2, scroll = pairing % 2 + (print < 2 ? 2 : 0);
        SCOPED_TRACE(testing::Message() << "print " << print << " scroll " << scroll);
        const bool vertical = scroll <= 1, right = print == 1 || print == 3;
        reshape(vertical ? positions : lines, vertical ? lines : positions, print, scroll);
        const std::vector<Cell> empty(positions);
        GridModel model{positions, std::vector<std::vector<Cell>>(lines, empty)};
        int line = 0, pos = 0;
        auto erase = [&](int n) { model.place(line, pos, nullptr, n, true); };
        // The model's cursor as the window's row and column.
        auto cursor = [&] { return vertical ? std::pair(pos, line) : std::pair(line, pos); };
        std::mt19937 rng(2024 + print * 4 + scroll);
        for (int step = 0; step < 3000; ++step) {
            int what = (int)(rng() % 16);
            if (what < 7) {
                std::u16string text(rng() % 8 == 0 ? 1 + rng() % 60 : 1 + rng() % 8, u' ');
                std::generate(text.begin(), text.end(), [&] { return char16_t('a' + rng() % 26); });
                Cell look{0, uint8_t(rng() % 3), uint8_t(rng() % 2), true, rng() % 16 == 0};
                auto [row, column] = cursor();
                ASSERT_EQ(type({row, column, text, look.pen, look.mode, look.no_merge}), SOFTCC_OK);
                // The cursor stops at the window's edge; a run keeps 52 characters from its first.
                std::vector<Cell> cells(positions, look);
                int first = std::min(pos, positions - 1), low = first, high = first;
                for (char16_t ch : text) {
                    pos = std::min(pos, positions - 1);
                    if ((right ? first - pos : pos - first) < SOFTCC_SEGMENT_CHARS) {
                        cells[pos].ch = ch;
                        low = std::min(low, pos), high = std::max(high, pos);
                    }
                    pos = right ? std::max(pos - 1, 0) : pos + 1;
                }
                model.place(line, low, &cells[low], high - low + 1, false);
            } else if (what < 9) {
                line = (int)(rng() % lines), pos = (int)(rng() % (positions + 1));
                at(cursor().first, cursor().second);
            } else if (what == 9) {
                int n = (int)(rng() % 12);
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
                bool forward = scroll % 2 == 0; // towards higher lines
                model.lines.erase(forward ? model.lines.end() - 1 : model.lines.begin());
                model.lines.insert(forward ? model.lines.begin() : model.lines.end(), empty);
            }
            ASSERT_EQ(list_problems(), 0) << "step " << step;
            ASSERT_EQ(cursor(), std::pair(int(window().cursor_row), int(window().cursor_column)))
                << "step " << step;
            // The list holds exactly the model's runs, in order, each cell as
            // {line, its run's first position, character, pen, mode, no_merge}.
            std::vector<std::array<int, 6>> want, got;
            for (int l = 0; l < lines; ++l)
                for (int p = 0; p < positions; ++p)
                    if (const Cell &c = model.lines[l][p]; c.used)
                        want.push_back({l, model.run_begin(l, p), c.ch, c.pen, c.mode, c.no_merge});
            for (const TextSegment *s = window().segments; s != nullptr; s = s->next)
                for (int i = 0; i < s->length; ++i)
                    got.push_back({vertical ? s->column : s->row, vertical ? s->row : s->column,
                                   s->text[i], s->pen.fg_color, s->caption_mode, s->no_merge != 0});
            ASSERT_EQ(got, want) << "step " << step;
        }
    }
}

} // namespace
