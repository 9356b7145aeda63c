// The host the fuzz targets drive the library with: it checks every window
// list and segment list the library hands over, fails callbacks on request,
// and keeps the alarm the library armed.  Any broken rule traps at once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "fake_platform.h"
#include "vqsoftcc.h"

namespace fuzz_host {

struct Host {
    uint8_t failing_callbacks = 0; // bit n fails callback n (define, refresh, scroll, delete, ...)
    SoftCCAlarmFunction alarm = nullptr;
    void *alarm_context = nullptr;
};

SoftCCOpenProfile profile(Host *host, uint32_t format, uint32_t service);

// Traps unless the window's segment list is well formed: bounded, sorted by
// line then position, non-overlapping, every run 1..52 characters inside chars.
void check_window(const CaptionWindow *window);

// Blocks a context may hold at most: the context and, per window, one run per
// character cell a run can start on plus the open run.
constexpr int64_t kMaxLiveBlocks = 1 + 8 * (256 * 256 + 1);

// Runs one input through a fresh context of the format and checks that the
// block count stayed bounded and nothing is left after close.
void run_stream(uint32_t format, uint32_t service, const uint8_t *data, size_t size);

} // namespace fuzz_host
