#include "fake_platform.h"

#include <cstdlib>
#include <cstring>
#include <unordered_set>

#include "vqsoftcc_platform.h"

namespace fake_platform {
namespace {

struct State {
    uint64_t calls = 0, failed = 0, fail_nth = 0, fail_from = 0, last_size = 0;
    std::unordered_set<void *> live;
    std::vector<Report> reports;
};

State &state()
{
    static State instance;
    return instance;
}

} // namespace

void reset()
{
    State &s = state();
    s.calls = s.failed = s.fail_nth = s.fail_from = s.last_size = 0;
    s.reports.clear();
}

void fail_nth_malloc(uint64_t n) { state().fail_nth = n == 0 ? 0 : state().calls + n; }
void fail_mallocs_from(uint64_t n) { state().fail_from = n == 0 ? 0 : state().calls + n; }

uint64_t malloc_calls() { return state().calls; }
uint64_t failed_mallocs() { return state().failed; }
int64_t live_blocks() { return static_cast<int64_t>(state().live.size()); }
uint64_t last_malloc_size() { return state().last_size; }
const std::vector<Report> &reports() { return state().reports; }
void clear_reports() { state().reports.clear(); }

} // namespace fake_platform

using fake_platform::state;

extern "C" void *VQMalloc(uint32_t size)
{
    auto &s = state();
    ++s.calls;
    s.last_size = size;
    if ((s.fail_nth != 0 && s.calls == s.fail_nth) || (s.fail_from != 0 && s.calls >= s.fail_from)) {
        ++s.failed;
        return nullptr;
    }
    void *block = std::malloc(size == 0 ? 1 : size);
    // Garbage, not zeros: the library must zero what it relies on.
    std::memset(block, 0xA5, size);
    s.live.insert(block);
    return block;
}

extern "C" void VQFree(void *block)
{
    if (block == nullptr)
        return;
    auto &s = state();
    if (s.live.erase(block) == 0)
        std::abort(); // freeing a block that is not ours, or twice
    std::free(block);
}

extern "C" void *VQMemset(void *to, int value, uint32_t n) { return std::memset(to, value, n); }
extern "C" void *VQMemcpy(void *to, const void *from, uint32_t n) { return std::memcpy(to, from, n); }

extern "C" uint32_t VQNOTIFY_implementation(uint32_t level, SoftCCStatus status, const char *path,
                                            uint32_t line, const char *message)
{
    state().reports.push_back({level, status, path ? path : "", line, message ? message : ""});
    return 0;
}
