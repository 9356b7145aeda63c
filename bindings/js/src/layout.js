// Byte offsets of the records the renderer reads (the 32-bit layout that
// wasm32 shares with the ARM target) and of the module's own host records.
// The readers in records.js use these numbers; checkLayout() compares them
// with the offsets the compiler chose, which the module reports, so a
// mismatch stops loading instead of drawing garbage.

export const PEN = {
  size: 36, pen_size: 0, font_style: 4, fg_color: 8, fg_opacity: 12, bg_color: 16, bg_opacity: 20,
  edge_type: 24, edge_color: 28, attributes: 29, pen_offset: 32,
};

export const WINDOW_STYLE = {
  size: 44, justify: 0, print_direction: 4, scroll_direction: 8, word_wrap: 12, display_effect: 16,
  effect_direction: 20, effect_speed: 24, fill_color: 28, fill_opacity: 32, border_type: 36, border_color: 40,
};

export const WINDOW = {
  size: 116, id: 0, priority: 1, flags: 2, anchor_point: 4, anchor_vertical: 8, anchor_horizontal: 9,
  row_count: 10, column_count: 11, style: 12, pen: 56, segments: 92, next: 96, defined: 100,
  cursor_row: 102, cursor_column: 104, current_segment: 108, text_tag: 112,
};

export const SEGMENT = {
  size: 168, in_use: 0, text: 4, row: 8, column: 9, length: 10, pen: 16, next: 52, chars: 60,
  caption_mode: 164, no_merge: 166,
};

// The decoder context: its format word and its array of eight windows.
export const CONTEXT = { format: 0, windows: 412 };

// The module's own records (bindings/js/wasm/wasm_host.h).
export const HOST = {
  context: 0, alarm: 4, now: 16, alarm_time: 24, forward: 32, updates: 36, packets_zero_filled: 56,
};
export const SPLITTER = { packets_zero_filled: 8, field_length: 148 };
export const HEAP = {
  live_blocks: 0, live_bytes: 4, allocations: 8, failures: 12, peak_bytes: 16, fail_countdown: 20,
};

// The codes of the module's window snapshots (wasm_host.h VQJS_SNAPSHOT_*).
export const SNAPSHOT = { STYLE: 1, PEN: 2, FIRST: 8, SAME: 0, GROWN: 1, NEW_SAME_PEN: 2 };

// In the order of the module's layout table (vqjs_layout in wasm_host.c).
const ORDER = [
  ['PenStyle', PEN, ['size', 'pen_size', 'font_style', 'fg_color', 'fg_opacity', 'bg_color', 'bg_opacity',
    'edge_type', 'edge_color', 'attributes', 'pen_offset']],
  ['WindowStyle', WINDOW_STYLE, ['size', 'justify', 'print_direction', 'scroll_direction', 'word_wrap',
    'display_effect', 'effect_direction', 'effect_speed', 'fill_color', 'fill_opacity', 'border_type',
    'border_color']],
  ['CaptionWindow', WINDOW, ['size', 'id', 'priority', 'flags', 'anchor_point', 'anchor_vertical',
    'anchor_horizontal', 'row_count', 'column_count', 'style', 'pen', 'segments', 'next', 'defined',
    'cursor_row', 'cursor_column', 'current_segment', 'text_tag']],
  ['TextSegment', SEGMENT, ['size', 'in_use', 'text', 'row', 'column', 'length', 'pen', 'next', 'chars',
    'caption_mode', 'no_merge']],
  ['SoftCCContext', CONTEXT, ['format', 'windows']],
  ['VqjsHost', HOST, ['context', 'alarm', 'now', 'alarm_time', 'forward', 'updates', 'packets_zero_filled']],
  ['VqjsSplitter', SPLITTER, ['packets_zero_filled', 'field_length']],
  ['VqjsHeapStats', HEAP, ['live_blocks', 'live_bytes', 'allocations', 'failures', 'peak_bytes',
    'fail_countdown']],
  ['snapshot codes', SNAPSHOT, ['STYLE', 'PEN', 'FIRST', 'SAME', 'GROWN', 'NEW_SAME_PEN']],
];

// Returns the differences between these offsets and the module's, as
// "Record.field: js N, module M" lines (none when they agree).
export function compareLayout(moduleOffsets) {
  const differences = [];
  let i = 0;
  for (const [record, offsets, fields] of ORDER) {
    for (const field of fields) {
      const theirs = moduleOffsets[i++];
      if (offsets[field] !== theirs) differences.push(`${record}.${field}: js ${offsets[field]}, module ${theirs}`);
    }
  }
  if (moduleOffsets.length !== i) differences.push(`layout table: js ${i} entries, module ${moduleOffsets.length}`);
  return differences;
}
