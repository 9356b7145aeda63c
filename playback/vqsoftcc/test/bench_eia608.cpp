// Throughput of the 608 decoder on long pop-on and roll-up streams, with
// broadcast-style doubled control codes and a host whose callbacks do nothing:
// bytes per second and VQMalloc calls per displayed character.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "fake_platform.h"
#include "vqsoftcc_internal.h"

namespace {

SoftCCStatus ignore(void *, CaptionWindow *) { return SOFTCC_OK; }

uint8_t odd(uint8_t b) { return __builtin_parity(b) ? b : static_cast<uint8_t>(b | 0x80); }

// A stream under construction that counts the characters it will display.
struct Stream {
    std::vector<uint8_t> bytes;
    int64_t characters = 0;

    void codes(std::initializer_list<uint16_t> list) // broadcast sends control codes twice
    {
        for (uint16_t c : list)
            bytes.insert(bytes.end(), {odd(c >> 8), odd(c & 0xFF), odd(c >> 8), odd(c & 0xFF)});
    }

    void text(const std::string &line)
    {
        for (char c : line + std::string(line.size() % 2, '\0')) // padded to whole pairs
            bytes.push_back(odd(static_cast<uint8_t>(c)));
        characters += static_cast<int64_t>(line.size());
    }
};

// 500 two-line captions built in the hidden memory and swapped in.
Stream pop_on_stream()
{
    Stream s;
    for (int caption = 0; caption < 500; ++caption) {
        // Resume Caption Loading, Erase Non-Displayed Memory, row 13 indent 4
        s.codes({0x1420, 0x142E, 0x1452});
        s.text("The quick brown fox jumps");
        s.codes({0x1472}); // row 14, indent 4
        s.text("over the lazy dog again.");
        s.codes({0x142C, 0x142F}); // Erase Displayed Memory, End Of Caption
    }
    return s;
}

// 1000 lines of three-row roll-up, each a Carriage Return and a full row.
Stream roll_up_stream()
{
    Stream s;
    s.codes({0x1426}); // Roll-Up 3
    for (int line = 0; line < 1000; ++line) {
        s.codes({0x142D, 0x1470}); // Carriage Return; base row, column 0
        s.text("rolling caption line of text 32");
    }
    return s;
}

void BM_Eia608(benchmark::State &state, const Stream &stream)
{
    SoftCCOpenProfile profile{SOFTCC_FORMAT_EIA608, 0, nullptr, ignore, ignore, ignore, ignore};
    SoftCCContext *context = nullptr;
    if (VQSoftCCOpen(&profile, &context) != SOFTCC_OK)
        return state.SkipWithError("open failed");
    const uint64_t mallocs_before = fake_platform::malloc_calls();
    for (auto _ : state)
        VQSoftCCDecode(context, stream.bytes.data(), static_cast<uint32_t>(stream.bytes.size()));
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(stream.bytes.size()));
    state.counters["allocs_per_char"] = double(fake_platform::malloc_calls() - mallocs_before) /
                                        double(state.iterations() * stream.characters);
    VQSoftCCClose(context);
}
BENCHMARK_CAPTURE(BM_Eia608, PopOn, pop_on_stream());
BENCHMARK_CAPTURE(BM_Eia608, RollUp, roll_up_stream());

} // namespace
