// Cost of typing and closing one character while filling a 15x32 window.
#include <benchmark/benchmark.h>

#include "fake_platform.h"
#include "vqsoftcc_internal.h"

static void BM_DisplayTypeAndCloseFillingWindow(benchmark::State &state)
{
    fake_platform::reset();
    SoftCCContext context = {}; // window 0 is the current window
    CaptionWindow &window = context.windows[0];
    window.defined = 1;
    window.row_count = 15;
    window.column_count = 32;
    window.style.scroll_direction = 3;
    for (auto _ : state) {
        for (int row = 0; row < 15; ++row) {
            window.cursor_row = (int16_t)row;
            window.cursor_column = 0;
            for (int column = 0; column < 32; ++column) {
                vqsoftcc_internal_add_char_to_current_segment(&window, (uint16_t)('A' + column % 26));
                vqsoftcc_internal_terminate_current_segment(&context);
            }
        }
        state.PauseTiming();
        vqsoftcc_internal_clear_window(&window);
        state.ResumeTiming();
    }
    const int64_t typed = state.iterations() * 15 * 32;
    state.SetItemsProcessed(typed);
    state.counters["allocs_per_char"] = (double)fake_platform::malloc_calls() / (double)typed;
    state.counters["ns_per_char"] = benchmark::Counter(
        (double)typed, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    vqsoftcc_internal_delete_window(&window);
}
BENCHMARK(BM_DisplayTypeAndCloseFillingWindow);
