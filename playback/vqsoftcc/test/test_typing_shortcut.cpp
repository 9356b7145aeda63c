// Typing a character and closing its run at once has a short way for text
// shown as it is typed: straight onto the run before the cursor.  Nothing may
// tell it from typing into the fresh run and closing that.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "vqsoftcc_internal.h"

namespace {

const int kPenFields[] = {0, 4, 8, 12, 16, 20, 24, 28, 29, 32};

// After each character typed: the runs' bytes and text, the cursor, the
// close's status and the allocations so far.
std::vector<std::string> type_randomly(bool shortcut, uint32_t seed, void (*fail)(uint64_t),
                                       uint64_t failing)
{
    fake_platform::reset(), fail(failing);
    SoftCCContext context = {};
    CaptionWindow &w = context.windows[0];
    w.defined = 1, w.row_count = 3, w.column_count = 60, w.style.scroll_direction = 3;
    std::mt19937 rng(seed);
    std::vector<std::string> log;
    for (int step = 0; step < 300; ++step) {
        // Runs break where the cursor jumps (past the edges too), and the pen
        // or the fresh run's tags may change there; in between typing goes
        // on, so runs fill up and reach the window's edge.
        if (rng() % 30 == 0) {
            w.cursor_row = (int16_t)(rng() % 4);
            w.cursor_column = (int16_t)(rng() % 2 ? rng() % 62 : rng() % 8);
            if (rng() % 2) // the first byte of one of the pen's ten fields
                reinterpret_cast<uint8_t *>(&w.pen)[kPenFields[rng() % 10]] ^= 1;
            if (TextSegment *fresh = w.current_segment; fresh != nullptr && rng() % 3 == 0)
                rng() % 2 ? fresh->caption_mode ^= 1 : fresh->no_merge ^= 1;
        }
        char16_t ch = (char16_t)('a' + step % 26);
        SoftCCStatus status;
        if (shortcut && vqsoftcc_internal_type_onto_previous_run(&w, ch))
            status = w.current_segment != nullptr ? SOFTCC_OK : SOFTCC_ERR_NO_MEMORY;
        else if ((status = vqsoftcc_internal_add_char_to_current_segment(&w, ch)) == SOFTCC_OK)
            status = vqsoftcc_internal_terminate_current_segment(&context);
        std::string seen;
        for (const TextSegment *s = w.segments; s != nullptr; s = s->next)
            seen += std::to_string(s->row * 100 + s->column) + ":" + std::to_string(s->reserved_a) +
                    std::string((const char *)&s->pen, sizeof s->pen) +
                    std::to_string(s->caption_mode * 2 + s->no_merge) + ":" +
                    std::to_string(s->text - s->chars) +
                    std::string((const char *)s->text, 2 * s->length) + "|";
        log.push_back(seen + std::to_string(w.cursor_row * 100 + w.cursor_column) + " " +
                      std::to_string(status) + " " + std::to_string(fake_platform::malloc_calls()));
    }
    vqsoftcc_internal_delete_window(&w);
    return log;
}

TEST(TypingShortcut, CannotBeToldFromTypingAFreshRunAndClosingIt)
{
    for (uint32_t seed = 0; seed < 10; ++seed)
        for (auto fail : {fake_platform::fail_nth_malloc, fake_platform::fail_mallocs_from})
            for (uint64_t n : {0, 3, 60, 138}) // seed 5, 138: a split fails, typing goes on
                ASSERT_EQ(type_randomly(true, seed, fail, n), type_randomly(false, seed, fail, n))
                    << "seed " << seed << ", failing allocation " << n;
}

} // namespace
