// Throughput of the 708 decoder: a long DTVCC stream that keeps four windows
// busy (definition, pen changes, text, carriage returns with scrolling,
// display, hide, toggle and clear), decoded by a host that only counts its
// callbacks.
#include <benchmark/benchmark.h>

#include <string_view>
#include <vector>

#include "vqsoftcc.h"

namespace {

using namespace std::string_view_literals;

SoftCCStatus count(void *user, CaptionWindow *)
{
    ++*static_cast<int64_t *>(user);
    return SOFTCC_OK;
}

std::vector<uint8_t> caption_codes()
{
    std::vector<uint8_t> out;
    auto add = [&out](std::initializer_list<uint8_t> codes) { out.insert(out.end(), codes); };
    auto add_text = [&out](std::string_view text) { out.insert(out.end(), text.begin(), text.end()); };
    for (uint8_t caption = 0; caption < 40; ++caption) {
        uint8_t id = caption % 4, bit = static_cast<uint8_t>(1 << id);
        // visible or hidden, 3 rows of 32 columns; window style 1 and pen 1, or
        // centred 3 and pen 6
        add({static_cast<uint8_t>(0x98 + id), static_cast<uint8_t>(caption % 2 ? 0x00 : 0x20), 0x40,
             static_cast<uint8_t>(20 * id), 0x02, 0x1F, static_cast<uint8_t>(caption / 4 % 2 ? 0x1E : 0x09)});
        add({0x90, 0x05, static_cast<uint8_t>(caption % 3 ? 0x00 : 0x80), 0x91, 0x2A, 0x00, 0x00});
        // three lines, the second in another pen colour
        add_text("The quick brown fox jumps\r\x91\x30\0\0over the lazy dog again.\rThird line, then a scroll"sv);
        add({0x0D, 0x89, bit, 0x8A, static_cast<uint8_t>(bit ^ 0x0F), 0x8B, 0x0C, 0x88, 0x0A});
    }
    return out;
}

// One service-1 block per packet, padded to even length by a null block; the
// packet count is a multiple of four, so the stream repeats without a
// sequence break.
std::vector<uint8_t> packets(const std::vector<uint8_t> &codes)
{
    std::vector<uint8_t> out;
    for (size_t at = 0, sequence = 1; at < codes.size() || sequence != 1; sequence = (sequence + 1) & 3) {
        size_t n = codes.size() - at < 31 ? codes.size() - at : 31;
        out.insert(out.end(), {static_cast<uint8_t>(sequence << 6 | (2 + n + n % 2) / 2),
                               static_cast<uint8_t>(0x20 | n)});
        out.insert(out.end(), codes.begin() + at, codes.begin() + at + n);
        out.insert(out.end(), n % 2, 0x00);
        at += n;
    }
    return out;
}

void BM_Eia708CaptionSession(benchmark::State &state)
{
    int64_t calls = 0;
    SoftCCOpenProfile profile{SOFTCC_FORMAT_EIA708, 1, &calls, count, count, count, count};
    SoftCCContext *context = nullptr;
    if (VQSoftCCOpen(&profile, &context) != SOFTCC_OK)
        return state.SkipWithError("open failed");
    const std::vector<uint8_t> stream = packets(caption_codes());
    for (auto _ : state)
        VQSoftCCDecode(context, stream.data(), static_cast<uint32_t>(stream.size()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * stream.size()));
    state.counters["callbacks_per_stream"] = static_cast<double>(calls) / state.iterations();
    VQSoftCCClose(context);
}
BENCHMARK(BM_Eia708CaptionSession);

} // namespace
