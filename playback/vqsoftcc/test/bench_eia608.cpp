// Throughput of the 608 decoder: a typical mix of pop-on and roll-up captions
// with doubled control codes, decoded by a host whose callbacks do nothing.
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

SoftCCStatus ignore_bytes(void *, const uint8_t *, uint32_t)
{
    return SOFTCC_OK;
}

uint8_t odd(uint8_t b)
{
    return __builtin_parity(b) ? b : static_cast<uint8_t>(b | 0x80);
}

void add_code(std::vector<uint8_t> &out, uint8_t b1, uint8_t b2)
{
    for (int copy = 0; copy < 2; ++copy) { // broadcast sends control codes twice
        out.push_back(odd(b1));
        out.push_back(odd(b2));
    }
}

void add_text(std::vector<uint8_t> &out, const std::string &text)
{
    for (char c : text)
        out.push_back(odd(static_cast<uint8_t>(c)));
    if (out.size() % 2 != 0)
        out.push_back(odd(0));
}

std::vector<uint8_t> caption_stream()
{
    std::vector<uint8_t> out;
    for (int i = 0; i < 20; ++i) {
        add_code(out, 0x14, 0x20); // pop-on
        add_code(out, 0x14, 0x2E);
        add_code(out, 0x13, 0x50);
        add_text(out, "The quick brown fox jumps");
        add_code(out, 0x14, 0x70);
        add_text(out, "over the lazy dog again.");
        add_code(out, 0x14, 0x2F);
        add_code(out, 0x14, 0x26); // roll-up 3
        for (int line = 0; line < 4; ++line) {
            add_code(out, 0x14, 0x2D);
            add_text(out, "rolling caption line of text");
        }
    }
    return out;
}

void BM_Eia608CaptionMix(benchmark::State &state)
{
    SoftCCOpenProfile profile{};
    profile.format = SOFTCC_FORMAT_EIA608;
    profile.define_windows = ignore_window;
    profile.refresh_windows = ignore_window;
    profile.scroll_windows = ignore_window;
    profile.delete_windows = ignore_window;
    profile.forward_xds_data = ignore_bytes;
    profile.forward_link_data = ignore_bytes;
    SoftCCContext *context = nullptr;
    if (VQSoftCCOpen(&profile, &context) != SOFTCC_OK) {
        state.SkipWithError("open failed");
        return;
    }
    const std::vector<uint8_t> stream = caption_stream();
    for (auto _ : state)
        VQSoftCCDecode(context, stream.data(), static_cast<uint32_t>(stream.size()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
    VQSoftCCClose(context);
}
BENCHMARK(BM_Eia608CaptionMix);

} // namespace
