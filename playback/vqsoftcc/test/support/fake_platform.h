// The tests' own platform layer: counts every block, can fail chosen
// VQMalloc calls, and records every report the library makes.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "vqsoftcc.h"

namespace fake_platform {

struct Report {
    uint32_t level;
    SoftCCStatus status;
    std::string path;
    uint32_t line;
    std::string message;

    bool operator==(const Report &o) const
    {
        return std::tie(level, status, path, line, message) ==
               std::tie(o.level, o.status, o.path, o.line, o.message);
    }
};

inline std::ostream &operator<<(std::ostream &out, const Report &r)
{
    return out << "{level " << r.level << ", status " << r.status << ", " << r.path << ":" << r.line
               << ", \"" << r.message << "\"}";
}

// Forget all counters, failure plans and reports (live blocks stay counted).
void reset();

// Fail the nth VQMalloc call from now on (1 = the next one); 0 disarms.
void fail_nth_malloc(uint64_t n);
// Fail every VQMalloc call from the nth on; 0 disarms.
void fail_mallocs_from(uint64_t n);

uint64_t malloc_calls();     // calls since reset(), failed ones included
uint64_t failed_mallocs();   // calls that returned null since reset()
int64_t live_blocks();       // blocks allocated and not yet freed, ever
uint64_t last_malloc_size(); // size asked for by the latest call

const std::vector<Report> &reports();
void clear_reports();

} // namespace fake_platform
