/*
 * Window snapshots for the package's objects (src/records.js): each window
 * object is built after comparing the window with copies of what its last
 * object was built from, so that JavaScript builds only what changed and
 * never reads its own strings back.  The copies live in the decoder's host;
 * comparing words here costs a fraction of doing it in JavaScript.
 */
#include <stddef.h>

#include "vqsoftcc_platform.h"
#include "wasm_host.h"

namespace {

// Words of a window record that hold pointers: the runs are compared by
// what they hold, and `next` belongs to the callback's list.
constexpr uint32_t kSegmentsWord = offsetof(CaptionWindow, segments) / 4;
constexpr uint32_t kNextWord = offsetof(CaptionWindow, next) / 4;
constexpr uint32_t kCurrentWord = offsetof(CaptionWindow, current_segment) / 4;
constexpr uint32_t kStyleWords[2] = {offsetof(CaptionWindow, style) / 4, offsetof(CaptionWindow, pen) / 4};
constexpr uint32_t kPenWords[2] = {offsetof(CaptionWindow, pen) / 4, kSegmentsWord};


uint32_t word_at(const void *record, uint32_t offset)
{
    uint32_t word;
    VQMemcpy(&word, static_cast<const uint8_t *>(record) + offset, 4);
    return word;
}

bool same_words(const void *a, const void *b, uint32_t bytes)
{
    const uint32_t *x = static_cast<const uint32_t *>(a);
    const uint32_t *y = static_cast<const uint32_t *>(b);
    for (uint32_t i = 0; i < bytes / 4; i++)
        if (x[i] != y[i])
            return false;
    return true;
}

// Compares the run with its copy (if `had` one), then makes the copy the run's.
uint32_t run_since(const TextSegment *run, VqjsRunCopy *copy, bool had)
{
    const uint16_t *text = run->text;
    uint32_t length = text == nullptr ? 0 : run->length;
    if (length > SOFTCC_SEGMENT_CHARS)
        length = SOFTCC_SEGMENT_CHARS;
    uint32_t place = word_at(run, 8) & 0xFFFFFFu;
    uint32_t tail = word_at(run, offsetof(TextSegment, caption_mode)) & 0xFFFFFFu;
    uint32_t code = VQJS_SNAPSHOT_NEW;
    if (had) {
        uint32_t old_length = copy->place >> 16 & 0xFFu;
        bool pen = same_words(&run->pen, &copy->pen, sizeof(PenStyle));
        code = pen ? VQJS_SNAPSHOT_NEW_SAME_PEN : VQJS_SNAPSHOT_NEW;
        if (pen && text != nullptr && tail == copy->tail && (place & 0xFFFFu) == (copy->place & 0xFFFFu) &&
            length >= old_length) {
            uint32_t i = 0;
            while (i < old_length && text[i] == copy->chars[i]) i++;
            if (i == old_length)
                code = length == old_length ? VQJS_SNAPSHOT_SAME : VQJS_SNAPSHOT_GROWN;
        }
    }
    if (code != VQJS_SNAPSHOT_SAME) {
        copy->place = place;
        copy->tail = tail;
        copy->pen = run->pen;
        for (uint32_t i = 0; i < length; i++) copy->chars[i] = text[i];
    }
    return code;
}

}  // namespace

extern "C" {

// Before the object of `window` is built: the bits of what differs from
// its last object's record (VQJS_SNAPSHOT_*); its runs follow one by one.
VQJS_EXPORT(vqjs_window_since) uint32_t vqjs_window_since(VqjsHost *host, const CaptionWindow *window)
{
    VqjsWindowCopy *copy = &host->copies[window->id & 7u];
    const uint32_t *words = reinterpret_cast<const uint32_t *>(window);
    uint32_t changes = copy->built ? 0 : VQJS_SNAPSHOT_FIRST;
    for (uint32_t i = 0; i < sizeof(CaptionWindow) / 4; i++) {
        if (words[i] == copy->record[i])
            continue;
        copy->record[i] = words[i];
        if (i >= kStyleWords[0] && i < kStyleWords[1])
            changes |= VQJS_SNAPSHOT_STYLE;
        else if (i >= kPenWords[0] && i < kPenWords[1])
            changes |= VQJS_SNAPSHOT_PEN;
        else if (i != kSegmentsWord && i != kNextWord && i != kCurrentWord)
            changes |= VQJS_SNAPSHOT_OTHER;
    }
    copy->built = 1;
    copy->had_runs = copy->runs;
    copy->runs = 0;
    return changes;
}

// The k-th run of the window being built (k counts from 0, in list order):
// the same as the last object's k-th, grown at its end, new with the same
// pen, or new.  Runs past the copies are always new.
VQJS_EXPORT(vqjs_run_since) uint32_t vqjs_run_since(VqjsHost *host, uint32_t id, uint32_t k, const TextSegment *run)
{
    VqjsWindowCopy *copy = &host->copies[id & 7u];
    if (k >= VQJS_RUN_COPIES)
        return VQJS_SNAPSHOT_NEW;
    copy->runs = k + 1;
    return run_since(run, &copy->run[k], k < copy->had_runs);
}

// The run being typed in the window being built (null: none).
VQJS_EXPORT(vqjs_current_since) uint32_t vqjs_current_since(VqjsHost *host, uint32_t id, const TextSegment *run)
{
    VqjsWindowCopy *copy = &host->copies[id & 7u];
    bool had = copy->current != 0;
    copy->current = run != nullptr;
    return run == nullptr ? VQJS_SNAPSHOT_NEW : run_since(run, &copy->current_run, had);
}

}  // extern "C"
