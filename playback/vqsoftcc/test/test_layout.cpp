// The records a renderer reads and the context the library allocates have fixed
// layouts on 32-bit targets: every field offset is pinned here at compile time.
// 64-bit builds keep the same field order and integer widths (pointers grow).
#include <stddef.h>
#include <stdint.h>

#include "vqsoftcc_internal.h"

#define AT(type, field, offset) static_assert(offsetof(type, field) == (offset), #type "." #field)
#define WIDTH(type, field, bytes) static_assert(sizeof(((type *)nullptr)->field) == (bytes), #type "." #field " width")
#define BEFORE(type, a, b) static_assert(offsetof(type, a) < offsetof(type, b), #type "." #a " before " #b)

// ---- Layouts that hold on every build (no pointers inside) ----

static_assert(sizeof(PenStyle) == 36, "PenStyle size");
AT(PenStyle, pen_size, 0);
AT(PenStyle, font_style, 4);
AT(PenStyle, fg_color, 8);
AT(PenStyle, fg_opacity, 12);
AT(PenStyle, bg_color, 16);
AT(PenStyle, bg_opacity, 20);
AT(PenStyle, edge_type, 24);
AT(PenStyle, edge_color, 28);
AT(PenStyle, attributes, 29);
AT(PenStyle, pen_offset, 32);

static_assert(sizeof(WindowStyle) == 44, "WindowStyle size");
AT(WindowStyle, justify, 0);
AT(WindowStyle, print_direction, 4);
AT(WindowStyle, scroll_direction, 8);
AT(WindowStyle, word_wrap, 12);
AT(WindowStyle, display_effect, 16);
AT(WindowStyle, effect_direction, 20);
AT(WindowStyle, effect_speed, 24);
AT(WindowStyle, fill_color, 28);
AT(WindowStyle, fill_opacity, 32);
AT(WindowStyle, border_type, 36);
AT(WindowStyle, border_color, 40);

// The 708 state: natural alignment, filling the format state area exactly.
static_assert(sizeof(Eia708State) == 360, "Eia708State size");
AT(Eia708State, last_sequence_number, 0);
AT(Eia708State, packet_bytes_remaining, 4);
AT(Eia708State, block_service_number, 8);
AT(Eia708State, extended_header_pending, 12);
AT(Eia708State, block_bytes_remaining, 16);
AT(Eia708State, code_buffer, 20);
AT(Eia708State, code_length, 88);
AT(Eia708State, code_bytes_missing, 92);
AT(Eia708State, delay_active, 96);
AT(Eia708State, delayed_codes, 97);
AT(Eia708State, delayed_code_lengths, 225);
AT(Eia708State, delayed_fill, 356);
WIDTH(Eia708State, code_buffer, 66);
WIDTH(Eia708State, delayed_codes, 128);
WIDTH(Eia708State, delayed_code_lengths, 128);

// ---- Integer widths and field order: every build ----

WIDTH(CaptionWindow, id, 1);
WIDTH(CaptionWindow, priority, 1);
WIDTH(CaptionWindow, flags, 1);
WIDTH(CaptionWindow, anchor_point, 4);
WIDTH(CaptionWindow, anchor_vertical, 1);
WIDTH(CaptionWindow, anchor_horizontal, 1);
WIDTH(CaptionWindow, row_count, 1);
WIDTH(CaptionWindow, column_count, 1);
WIDTH(CaptionWindow, defined, 1);
WIDTH(CaptionWindow, cursor_row, 2);
WIDTH(CaptionWindow, cursor_column, 2);
WIDTH(CaptionWindow, text_tag, 4);
BEFORE(CaptionWindow, column_count, style);
BEFORE(CaptionWindow, style, pen);
BEFORE(CaptionWindow, pen, segments);
BEFORE(CaptionWindow, segments, next);
BEFORE(CaptionWindow, next, defined);
BEFORE(CaptionWindow, defined, cursor_row);
BEFORE(CaptionWindow, cursor_row, cursor_column);
BEFORE(CaptionWindow, cursor_column, current_segment);
BEFORE(CaptionWindow, current_segment, text_tag);

WIDTH(TextSegment, in_use, 1);
WIDTH(TextSegment, row, 1);
WIDTH(TextSegment, column, 1);
WIDTH(TextSegment, length, 1);
WIDTH(TextSegment, reserved_a, 4);
WIDTH(TextSegment, reserved_b, 4);
WIDTH(TextSegment, chars, 2 * SOFTCC_SEGMENT_CHARS);
WIDTH(TextSegment, caption_mode, 2);
WIDTH(TextSegment, no_merge, 1);
BEFORE(TextSegment, in_use, text);
BEFORE(TextSegment, text, row);
BEFORE(TextSegment, length, reserved_a);
BEFORE(TextSegment, reserved_a, pen);
BEFORE(TextSegment, pen, next);
BEFORE(TextSegment, next, reserved_b);
BEFORE(TextSegment, reserved_b, chars);
BEFORE(TextSegment, chars, caption_mode);
BEFORE(TextSegment, caption_mode, no_merge);

WIDTH(SoftCCOpenProfile, format, 4);
WIDTH(SoftCCOpenProfile, service, 4);
BEFORE(SoftCCOpenProfile, service, user);
BEFORE(SoftCCOpenProfile, user, define_windows);
BEFORE(SoftCCOpenProfile, define_windows, refresh_windows);
BEFORE(SoftCCOpenProfile, refresh_windows, scroll_windows);
BEFORE(SoftCCOpenProfile, scroll_windows, delete_windows);
BEFORE(SoftCCOpenProfile, delete_windows, set_delay_alarm);
BEFORE(SoftCCOpenProfile, set_delay_alarm, cancel_delay_alarm);
BEFORE(SoftCCOpenProfile, cancel_delay_alarm, forward_xds_data);
BEFORE(SoftCCOpenProfile, forward_xds_data, forward_link_data);

WIDTH(SoftCCContext, format, 4);
WIDTH(SoftCCContext, service, 4);
WIDTH(SoftCCContext, format_state, 360);
WIDTH(SoftCCContext, current_window, 4);
AT(SoftCCContext, profile, 8);
BEFORE(SoftCCContext, profile, format_state);
BEFORE(SoftCCContext, format_state, windows);
BEFORE(SoftCCContext, windows, current_window);
static_assert(sizeof(((SoftCCContext *)nullptr)->windows) == SOFTCC_WINDOW_COUNT * sizeof(CaptionWindow),
              "eight windows in the context");

// ---- Exact offsets of the pointer-holding records on 32-bit targets ----

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(CaptionWindow) == 116, "CaptionWindow size");
AT(CaptionWindow, id, 0);
AT(CaptionWindow, priority, 1);
AT(CaptionWindow, flags, 2);
AT(CaptionWindow, anchor_point, 4);
AT(CaptionWindow, anchor_vertical, 8);
AT(CaptionWindow, anchor_horizontal, 9);
AT(CaptionWindow, row_count, 10);
AT(CaptionWindow, column_count, 11);
AT(CaptionWindow, style, 12);
AT(CaptionWindow, pen, 56);
AT(CaptionWindow, segments, 92);
AT(CaptionWindow, next, 96);
AT(CaptionWindow, defined, 100);
AT(CaptionWindow, cursor_row, 102);
AT(CaptionWindow, cursor_column, 104);
AT(CaptionWindow, current_segment, 108);
AT(CaptionWindow, text_tag, 112);

static_assert(sizeof(TextSegment) == 168, "TextSegment size");
AT(TextSegment, in_use, 0);
AT(TextSegment, text, 4);
AT(TextSegment, row, 8);
AT(TextSegment, column, 9);
AT(TextSegment, length, 10);
AT(TextSegment, reserved_a, 12);
AT(TextSegment, pen, 16);
AT(TextSegment, next, 52);
AT(TextSegment, reserved_b, 56);
AT(TextSegment, chars, 60);
AT(TextSegment, caption_mode, 164);
AT(TextSegment, no_merge, 166);

static_assert(sizeof(SoftCCOpenProfile) == 44, "SoftCCOpenProfile size");
AT(SoftCCOpenProfile, format, 0);
AT(SoftCCOpenProfile, service, 4);
AT(SoftCCOpenProfile, user, 8);
AT(SoftCCOpenProfile, define_windows, 12);
AT(SoftCCOpenProfile, refresh_windows, 16);
AT(SoftCCOpenProfile, scroll_windows, 20);
AT(SoftCCOpenProfile, delete_windows, 24);
AT(SoftCCOpenProfile, set_delay_alarm, 28);
AT(SoftCCOpenProfile, cancel_delay_alarm, 32);
AT(SoftCCOpenProfile, forward_xds_data, 36);
AT(SoftCCOpenProfile, forward_link_data, 40);

static_assert(sizeof(SoftCCContext) == 1344, "SoftCCContext size");
AT(SoftCCContext, format, 0);
AT(SoftCCContext, service, 4);
AT(SoftCCContext, format_state, 52);
AT(SoftCCContext, windows, 412);
AT(SoftCCContext, current_window, 1340);
#endif
