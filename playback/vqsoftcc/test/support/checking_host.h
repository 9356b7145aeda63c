// A host that checks every window list and segment list the library hands
// over, fails callbacks on request and keeps the alarm the library armed.
// The fuzz targets trap at the first broken rule; tests count them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "fake_platform.h"
#include "host_routing.h"

namespace checking_host {

struct Host {
    uint8_t failing_callbacks = 0; // bit n fails callback n (define, refresh, scroll, delete, ...)
    SoftCCAlarmFunction alarm = nullptr;
    void *alarm_context = nullptr;
    bool trap = true;    // trap at a broken rule, or only count it
    bool sorted = false; // also check the order of runs handed over
    int broken = 0;      // broken rules seen

    SoftCCStatus result(int callback) const
    {
        return (failing_callbacks >> callback) & 1u ? SOFTCC_ERR_NO_MEMORY : SOFTCC_OK;
    }
    SoftCCStatus windows(const char *name, int callback, CaptionWindow *head);
    SoftCCStatus armed(uint32_t ms);
    SoftCCStatus cancelled() { return result(5); }
    SoftCCStatus bytes(const char *name, const uint8_t *data, uint32_t count);
};

// An open profile whose callbacks go to the host.
constexpr auto profile = &test_host::routed_profile<Host>;

// Checks that the window's segment list is bounded, that every run has 1..52
// characters inside its buffer and that the open run is not in the list.
// The order is checked only when `sorted`: a DefineWindow or
// SetWindowAttributes may change the scroll axis of a window holding text,
// and its runs keep the old order.
void check_window(Host *host, const CaptionWindow *window, bool sorted = false);

// Blocks a context may hold at most: the context and, per window, one run per
// character cell a run can start on plus the open run.
constexpr int64_t kMaxLiveBlocks = 1 + 8 * (256 * 256 + 1);

// Runs one input through a fresh context of the format, in uneven slices,
// firing an armed alarm now and then; checks that the block count stayed
// bounded and nothing is left after close.  Open may fail (the first
// allocation can be made to fail); then nothing else happens.
void run_stream(Host *host, uint32_t format, uint32_t service, const uint8_t *data, size_t size);

} // namespace checking_host
