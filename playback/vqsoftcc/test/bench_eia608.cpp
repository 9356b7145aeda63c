// Throughput of the 608 decoder on long pop-on and roll-up streams, with
// broadcast-style doubled control codes and a host whose callbacks do nothing:
// bytes per second and VQMalloc calls per displayed character.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "fake_platform.h"
#include "vqsoftcc_internal.h"

namespace {

SoftCCStatus ignore_window(void *, CaptionWindow *)
{
    return SOFTCC_OK;
}

uint8_t odd(uint8_t b)
{
    return __builtin_parity(b) ? b : static_cast<uint8_t>(b | 0x80);
}

// A stream under construction that counts the characters it will display.
struct Stream {
    std::vector<uint8_t> bytes;
    int64_t characters = 0;

    void code(uint8_t b1, uint8_t b2)
    {
        for (int copy = 0; copy < 2; ++copy) // broadcast sends control codes twice
            bytes.insert(bytes.end(), {odd(b1), odd(b2)});
    }

    void text(const std::string &line)
    {
        for (char c : line)
            bytes.push_back(odd(static_cast<uint8_t>(c)));
        if (line.size() % 2 != 0)
            bytes.push_back(odd(0));
        characters += static_cast<int64_t>(line.size());
    }
};

// 500 two-line captions built in the hidden memory and swapped in.
Stream pop_on_stream()
{
    Stream s;
    for (int caption = 0; caption < 500; ++caption) {
        s.code(0x14, 0x20); // Resume Caption Loading
        s.code(0x14, 0x2E); // Erase Non-Displayed Memory
        s.code(0x14, 0x52); // row 13, indent 4
        s.text("The quick brown fox jumps");
        s.code(0x14, 0x72); // row 14, indent 4
        s.text("over the lazy dog again.");
        s.code(0x14, 0x2C); // Erase Displayed Memory
        s.code(0x14, 0x2F); // End Of Caption
    }
    return s;
}

// 1000 lines of three-row roll-up, each a Carriage Return and a full row.
Stream roll_up_stream()
{
    Stream s;
    s.code(0x14, 0x26); // Roll-Up 3
    for (int line = 0; line < 1000; ++line) {
        s.code(0x14, 0x2D); // Carriage Return
        s.code(0x14, 0x70); // base row, column 0
        s.text("rolling caption line of text 32");
    }
    return s;
}

void decode_stream(benchmark::State &state, const Stream &stream)
{
    SoftCCOpenProfile profile{};
    profile.format = SOFTCC_FORMAT_EIA608;
    profile.define_windows = profile.refresh_windows = ignore_window;
    profile.scroll_windows = profile.delete_windows = ignore_window;
    SoftCCContext *context = nullptr;
    if (VQSoftCCOpen(&profile, &context) != SOFTCC_OK) {
        state.SkipWithError("open failed");
        return;
    }
    const uint64_t mallocs_before = fake_platform::malloc_calls();
    for (auto _ : state)
        VQSoftCCDecode(context, stream.bytes.data(), static_cast<uint32_t>(stream.bytes.size()));
    const double mallocs = static_cast<double>(fake_platform::malloc_calls() - mallocs_before);
    const double characters = static_cast<double>(state.iterations() * stream.characters);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(stream.bytes.size()));
    state.counters["allocs_per_char"] = mallocs / characters;
    VQSoftCCClose(context);
}

void BM_Eia608PopOn(benchmark::State &state)
{
    static const Stream stream = pop_on_stream();
    decode_stream(state, stream);
}
BENCHMARK(BM_Eia608PopOn);

void BM_Eia608RollUp(benchmark::State &state)
{
    static const Stream stream = roll_up_stream();
    decode_stream(state, stream);
}
BENCHMARK(BM_Eia608RollUp);

} // namespace
