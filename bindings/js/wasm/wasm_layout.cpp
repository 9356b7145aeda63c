/*
 * Sizes and offsets as the compiler laid the records out, for the
 * JavaScript package to check its own against (bindings/js/src/layout.js,
 * in the same order).
 */
#include <stddef.h>

#include "vqsoftcc_internal.h"
#include "wasm_host.h"

#define OFFSET(type, field) static_cast<uint32_t>(offsetof(type, field))

namespace {

const uint32_t layout[] = {
    sizeof(PenStyle),
    OFFSET(PenStyle, pen_size),
    OFFSET(PenStyle, font_style),
    OFFSET(PenStyle, fg_color),
    OFFSET(PenStyle, fg_opacity),
    OFFSET(PenStyle, bg_color),
    OFFSET(PenStyle, bg_opacity),
    OFFSET(PenStyle, edge_type),
    OFFSET(PenStyle, edge_color),
    OFFSET(PenStyle, attributes),
    OFFSET(PenStyle, pen_offset),
    sizeof(WindowStyle),
    OFFSET(WindowStyle, justify),
    OFFSET(WindowStyle, print_direction),
    OFFSET(WindowStyle, scroll_direction),
    OFFSET(WindowStyle, word_wrap),
    OFFSET(WindowStyle, display_effect),
    OFFSET(WindowStyle, effect_direction),
    OFFSET(WindowStyle, effect_speed),
    OFFSET(WindowStyle, fill_color),
    OFFSET(WindowStyle, fill_opacity),
    OFFSET(WindowStyle, border_type),
    OFFSET(WindowStyle, border_color),
    sizeof(CaptionWindow),
    OFFSET(CaptionWindow, id),
    OFFSET(CaptionWindow, priority),
    OFFSET(CaptionWindow, flags),
    OFFSET(CaptionWindow, anchor_point),
    OFFSET(CaptionWindow, anchor_vertical),
    OFFSET(CaptionWindow, anchor_horizontal),
    OFFSET(CaptionWindow, row_count),
    OFFSET(CaptionWindow, column_count),
    OFFSET(CaptionWindow, style),
    OFFSET(CaptionWindow, pen),
    OFFSET(CaptionWindow, segments),
    OFFSET(CaptionWindow, next),
    OFFSET(CaptionWindow, defined),
    OFFSET(CaptionWindow, cursor_row),
    OFFSET(CaptionWindow, cursor_column),
    OFFSET(CaptionWindow, current_segment),
    OFFSET(CaptionWindow, text_tag),
    sizeof(TextSegment),
    OFFSET(TextSegment, in_use),
    OFFSET(TextSegment, text),
    OFFSET(TextSegment, row),
    OFFSET(TextSegment, column),
    OFFSET(TextSegment, length),
    OFFSET(TextSegment, pen),
    OFFSET(TextSegment, next),
    OFFSET(TextSegment, chars),
    OFFSET(TextSegment, caption_mode),
    OFFSET(TextSegment, no_merge),
    OFFSET(SoftCCContext, format),
    OFFSET(SoftCCContext, windows),
    OFFSET(VqjsHost, context),
    OFFSET(VqjsHost, alarm),
    OFFSET(VqjsHost, now),
    OFFSET(VqjsHost, alarm_time),
    OFFSET(VqjsHost, forward),
    OFFSET(VqjsHost, updates),
    OFFSET(VqjsHost, input.packets_zero_filled),
    OFFSET(VqjsSplitter, input.packets_zero_filled),
    OFFSET(VqjsSplitter, field_length),
    OFFSET(VqjsHeapStats, live_blocks),
    OFFSET(VqjsHeapStats, live_bytes),
    OFFSET(VqjsHeapStats, allocations),
    OFFSET(VqjsHeapStats, failures),
    OFFSET(VqjsHeapStats, peak_bytes),
    OFFSET(VqjsHeapStats, fail_countdown),
    VQJS_SNAPSHOT_STYLE,
    VQJS_SNAPSHOT_PEN,
    VQJS_SNAPSHOT_FIRST,
    VQJS_SNAPSHOT_SAME,
    VQJS_SNAPSHOT_GROWN,
    VQJS_SNAPSHOT_NEW_SAME_PEN,
};

}  // namespace

extern "C" {

VQJS_EXPORT(vqjs_layout) const uint32_t *vqjs_layout(void)
{
    return layout;
}

VQJS_EXPORT(vqjs_layout_count) uint32_t vqjs_layout_count(void)
{
    return sizeof(layout) / sizeof(layout[0]);
}

VQJS_EXPORT(vqjs_heap) VqjsHeapStats *vqjs_heap(void)
{
    return vqjs_heap_stats();
}

}  // extern "C"
