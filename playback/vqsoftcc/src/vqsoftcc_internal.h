/*
 * Private declarations of libvqsoftcc: the decoder context, the per-format
 * decoder state records and the operations that the two decoders share with
 * the display model.  Nothing here is exported from the shared library.
 */
#ifndef VQSOFTCC_INTERNAL_H
#define VQSOFTCC_INTERNAL_H

#include <stddef.h>
#include <stdint.h>

#include "vqsoftcc.h"
#include "vqsoftcc_platform.h"

#define SOFTCC_WINDOW_COUNT 8
#define SOFTCC_NO_WINDOW (-1)
#define SOFTCC_FORMAT_STATE_BYTES 360

/* Source paths named in diagnostics. */
#define SOFTCC_EIA608_SOURCE "playback/vqsoftcc/src/vqsoftcc_eia608"
#define SOFTCC_EIA708_SOURCE "playback/vqsoftcc/src/vqsoftcc_eia708"

/* ---- EIA-608 decoder state ------------------------------------------------ */

struct Eia608State {
    uint8_t first_byte;       /* with its parity bit until the pair passes the check */
    uint8_t second_byte;      /* follows first_byte: the pair buffer handed to the host */
    uint8_t have_first_byte;
    uint32_t segment_mode;    /* caption_mode tag of closed runs: 1 roll-up .. 4 text */
    uint8_t xds_active;
    int32_t xds_window;       /* always -1: pairs inside XDS draw nothing */
    uint8_t text_active;
    int32_t text_window;
    uint8_t in_angle_link;
    uint8_t in_square_link;   /* tested together with in_angle_link as one 16-bit unit */
    uint8_t caption_active;
    int32_t caption_window;
    uint16_t last_control_code;
    uint32_t caption_mode;    /* 0 none, 1 roll-up, 2 pop-on, 3 paint-on */
    uint32_t rollup_depth;
    uint32_t rollup_base_row;
    uint8_t reserved[12];     /* the 608 decoder owns the first 60 bytes of the area */
};

/* ---- EIA-708 decoder state ------------------------------------------------ */

#define SOFTCC_EIA708_CODE_BYTES 66
#define SOFTCC_EIA708_DELAY_BYTES 128

struct Eia708State {
    uint32_t last_sequence_number;
    uint32_t packet_bytes_remaining;
    uint32_t block_service_number;
    uint32_t extended_header_pending;
    uint32_t block_bytes_remaining;
    uint8_t code_buffer[SOFTCC_EIA708_CODE_BYTES];
    uint32_t code_length;
    uint32_t code_bytes_missing;
    uint8_t delay_active;
    uint8_t delayed_codes[SOFTCC_EIA708_DELAY_BYTES];
    uint8_t delayed_code_lengths[SOFTCC_EIA708_DELAY_BYTES];
    uint32_t delayed_fill;
};

/* ---- Decoder context ---------------------------------------------------- */

struct SoftCCContext {
    uint32_t format;
    uint32_t service;          /* the decoders read and write this word */
    SoftCCOpenProfile profile; /* callbacks and user come from here */
    union {
        Eia608State eia608;
        Eia708State eia708;
        uint8_t bytes[SOFTCC_FORMAT_STATE_BYTES];
    } format_state;
    CaptionWindow windows[SOFTCC_WINDOW_COUNT];
    int32_t current_window;    /* SOFTCC_NO_WINDOW for none */
};

static_assert(sizeof(Eia608State) == 60, "Eia608State owns 60 bytes of the state area");
static_assert(sizeof(Eia708State) == SOFTCC_FORMAT_STATE_BYTES,
              "Eia708State fills the state area exactly");
static_assert(sizeof(PenStyle) == 36, "PenStyle layout");
static_assert(sizeof(WindowStyle) == 44, "WindowStyle layout");
static_assert(offsetof(WindowStyle, fill_color) == 28, "WindowStyle layout");
static_assert(offsetof(SoftCCContext, profile) == 8, "context layout");
#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(CaptionWindow) == 116, "CaptionWindow layout");
static_assert(sizeof(TextSegment) == 168, "TextSegment layout");
static_assert(sizeof(SoftCCOpenProfile) == 44, "SoftCCOpenProfile layout");
static_assert(sizeof(SoftCCContext) == 1344, "SoftCCContext layout");
static_assert(offsetof(SoftCCContext, format_state) == 52, "context layout");
static_assert(offsetof(SoftCCContext, windows) == 412, "context layout");
static_assert(offsetof(SoftCCContext, current_window) == 1340, "context layout");
#endif

/* ---- Small shared helpers --------------------------------------------------- */

/* Keeps a rarely taken path out of the function around it, so that the common
 * path needs no registers saved. */
#define VQSOFTCC_RARE __attribute__((noinline, cold))
#define VQSOFTCC_NOINLINE __attribute__((noinline))
/* A small step of a hot path, kept inline wherever it is used; a build for
 * size (-Os) leaves that to the compiler. */
#ifdef __OPTIMIZE_SIZE__
#define VQSOFTCC_INLINE inline
#else
#define VQSOFTCC_INLINE inline __attribute__((always_inline))
#endif

/* Every report the decoders make: level 0, a fixed line and message. */
static inline void vqsoftcc_internal_report(const char *path, SoftCCStatus status, uint32_t line,
                                            const char *message)
{
    (void)VQNOTIFY_implementation(0, status, path, line, message);
}

static inline CaptionWindow *vqsoftcc_internal_current_window(SoftCCContext *context)
{
    int32_t index = context->current_window;
    return (index >= 0 && index < SOFTCC_WINDOW_COUNT) ? &context->windows[index] : nullptr;
}

static inline bool vqsoftcc_internal_is_visible(const CaptionWindow *window)
{
    return (window->flags & SOFTCC_WINDOW_VISIBLE) != 0;
}

/* ---- Display model: styles and windows ---------------------------------- */

int vqsoftcc_internal_window_style_cmp(const WindowStyle *a, const WindowStyle *b);
int vqsoftcc_internal_pen_style_cmp(const PenStyle *a, const PenStyle *b);
void vqsoftcc_internal_apply_pen_style(TextSegment *segment, const PenStyle *pen);
void vqsoftcc_internal_clear_window(CaptionWindow *window);
void vqsoftcc_internal_delete_window(CaptionWindow *window);
void vqsoftcc_internal_debug_char_buffer(CaptionWindow *window);

/* ---- Display model: text runs ----------------------------------------------- */

TextSegment *vqsoftcc_internal_new_segment(void);
SoftCCStatus vqsoftcc_internal_add_char_to_current_segment(CaptionWindow *window, uint16_t ch);
SoftCCStatus vqsoftcc_internal_terminate_current_segment(SoftCCContext *context);
SoftCCStatus vqsoftcc_internal_insert_segment(CaptionWindow *window, TextSegment *segment);
bool vqsoftcc_internal_type_onto_previous_run(CaptionWindow *window, uint16_t ch);
TextSegment *vqsoftcc_internal_merge_segments(TextSegment *a, TextSegment *b,
                                              uint32_t print_direction, uint32_t scroll_direction);

/* ---- Display model: cursor editing and scrolling --------------------------- */

SoftCCStatus vqsoftcc_internal_erase_at_cursor(CaptionWindow *window, uint8_t count);
SoftCCStatus vqsoftcc_internal_backspace(CaptionWindow *window);
SoftCCStatus vqsoftcc_internal_delete_to_end_of_row(CaptionWindow *window);
void vqsoftcc_internal_carriage_return(CaptionWindow *window);
void vqsoftcc_internal_scroll_window(CaptionWindow *window);

/* ---- EIA-608 decoder ---------------------------------------------------------- */

SoftCCStatus vqsoftcc_internal_open_eia608(const SoftCCOpenProfile *profile, SoftCCContext **slot);
SoftCCStatus vqsoftcc_internal_close_eia608(SoftCCContext *context);
SoftCCStatus vqsoftcc_internal_reset_eia608(SoftCCContext *context);
SoftCCStatus vqsoftcc_internal_select_service_eia608(SoftCCContext *context, uint32_t service);
SoftCCStatus vqsoftcc_internal_decode_eia608(SoftCCContext *context, const uint8_t *data,
                                             uint32_t length);

/* ---- EIA-708 decoder ---------------------------------------------------------- */

SoftCCStatus vqsoftcc_internal_open_eia708(const SoftCCOpenProfile *profile, SoftCCContext **slot);
SoftCCStatus vqsoftcc_internal_close_eia708(SoftCCContext *context);
SoftCCStatus vqsoftcc_internal_reset_eia708(SoftCCContext *context);
SoftCCStatus vqsoftcc_internal_select_service_eia708(SoftCCContext *context, uint32_t service);
SoftCCStatus vqsoftcc_internal_decode_eia708(SoftCCContext *context, const uint8_t *data,
                                             uint32_t length);
SoftCCStatus reset_service_eia708(SoftCCContext *context);
SoftCCStatus interpret_code_eia708(SoftCCContext *context, const uint8_t *code, uint32_t length);
SoftCCStatus carriage_return_eia708(SoftCCContext *context);

#endif /* VQSOFTCC_INTERNAL_H */
