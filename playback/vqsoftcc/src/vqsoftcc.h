/* vqsoftcc.h -- interface of libvqsoftcc, a software closed-caption decoder
 *
 * The library turns caption data into caption windows: EIA-608 line-21 byte
 * pairs, or the EIA-708 (DTVCC) packet stream.  It keeps up to eight windows
 * (geometry, styles, cursor and rows of styled text runs) and tells the
 * host's renderer through callbacks which windows to define, refresh,
 * scroll or delete.  It draws nothing itself.
 *
 * Usage.  Fill a SoftCCOpenProfile (format, service, a user pointer and the
 * eight callbacks) and call VQSoftCCOpen.  Hand every buffer of caption
 * bytes to VQSoftCCDecode as it arrives; buffers may be cut anywhere, since
 * a pair, packet or code split across calls is completed by the next call.
 * Call VQSoftCCReset on a seek or a discontinuity, VQSoftCCSelectService
 * and VQSoftCCSelectFormat when the viewer chooses, and VQSoftCCClose last.
 * The callbacks run inside these calls.
 *
 * Memory.  The host supplies VQMalloc, VQFree, VQMemset, VQMemcpy and the
 * diagnostic sink VQNOTIFY_implementation (vqsoftcc_platform.h).  The
 * context and the text runs are the library's only dynamic memory; all of
 * it is released by VQSoftCCClose, except as noted under delete_windows.
 * The library keeps no global state and reads no file or environment.
 *
 * Threads.  The library has no threads and takes no locks.  Separate
 * contexts are independent.  All calls on one context, the alarm function
 * included, must come from one thread at a time and never overlap; a
 * callback must not call into the library for its own context.
 *
 * Failures while decoding (a callback that fails, memory that runs out)
 * never stop decoding.  The decoders report them through
 * VQNOTIFY_implementation (level 0, the status, the decoder's source path,
 * a fixed line number and a fixed message ending in a newline), or ignore
 * them where nothing depends on them, and go on with the next byte.  The
 * six functions below report nothing themselves.
 *
 * The records have fixed layouts: the renderer reads them at the offsets
 * noted (32-bit target; on 64-bit builds the pointers widen and nothing else
 * changes).  Usable from C99 and C++.
 */
#ifndef VQSOFTCC_H
#define VQSOFTCC_H

#include <stdint.h>

/* The library's version (the build takes it from here, soname included). */
#define VQSOFTCC_VERSION_MAJOR 1
#define VQSOFTCC_VERSION_MINOR 0
#define VQSOFTCC_VERSION_PATCH 0
/* 0xMMmmpp: compare with >= to require a version. */
#define VQSOFTCC_VERSION_NUMBER \
    ((VQSOFTCC_VERSION_MAJOR << 16) | (VQSOFTCC_VERSION_MINOR << 8) | VQSOFTCC_VERSION_PATCH)
#define VQSOFTCC_STRINGIFY_(x) #x
#define VQSOFTCC_STRINGIFY(x) VQSOFTCC_STRINGIFY_(x)
/* "1.0.0" */
#define VQSOFTCC_VERSION VQSOFTCC_STRINGIFY(VQSOFTCC_VERSION_MAJOR) "." \
    VQSOFTCC_STRINGIFY(VQSOFTCC_VERSION_MINOR) "." VQSOFTCC_STRINGIFY(VQSOFTCC_VERSION_PATCH)

#if defined(__GNUC__)
#define VQSOFTCC_API __attribute__((visibility("default")))
#else
#define VQSOFTCC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status and format codes ------------------------------------------ */

/* The result of every function and every callback.  Anything but SOFTCC_OK
 * is a failure; a callback may return any value, and where the library
 * passes a callback's failure on it passes it unchanged. */
typedef uint32_t SoftCCStatus;

#define SOFTCC_OK               ((SoftCCStatus)6)
#define SOFTCC_ERR_UNSUPPORTED  ((SoftCCStatus)9)  /* Open: unknown format in the profile */
#define SOFTCC_ERR_FORMAT       ((SoftCCStatus)11) /* the context holds an unknown format */
#define SOFTCC_ERR_NULL_POINTER ((SoftCCStatus)38) /* a required pointer is null */
#define SOFTCC_ERR_NO_MEMORY    ((SoftCCStatus)40) /* VQMalloc returned null */

#define SOFTCC_FORMAT_EIA608 ((uint32_t)0)
#define SOFTCC_FORMAT_EIA708 ((uint32_t)1)

/* ---- Codes a renderer reads ---------------------------------------------- */

/* Colours are 6-bit values in one byte, 2 bits each of red, green and blue,
 * red highest: 0x3F white, 0x00 black (the 608 decoder's white is 0x2A). */
#define SOFTCC_COLOR_RED(c)   (((c) >> 4) & 3u)
#define SOFTCC_COLOR_GREEN(c) (((c) >> 2) & 3u)
#define SOFTCC_COLOR_BLUE(c)  ((c) & 3u)

/* Opacity: PenStyle fg_opacity and bg_opacity, WindowStyle fill_opacity. */
#define SOFTCC_OPACITY_SOLID       0u
#define SOFTCC_OPACITY_FLASH       1u
#define SOFTCC_OPACITY_TRANSLUCENT 2u
#define SOFTCC_OPACITY_TRANSPARENT 3u

/* Directions: WindowStyle print_direction, scroll_direction (the way the
 * contents move) and effect_direction. */
#define SOFTCC_DIRECTION_LEFT_TO_RIGHT 0u
#define SOFTCC_DIRECTION_RIGHT_TO_LEFT 1u
#define SOFTCC_DIRECTION_TOP_TO_BOTTOM 2u
#define SOFTCC_DIRECTION_BOTTOM_TO_TOP 3u

/* WindowStyle justify. */
#define SOFTCC_JUSTIFY_LEFT   0u
#define SOFTCC_JUSTIFY_RIGHT  1u
#define SOFTCC_JUSTIFY_CENTER 2u
#define SOFTCC_JUSTIFY_FULL   3u

/* WindowStyle display_effect. */
#define SOFTCC_EFFECT_SNAP 0u
#define SOFTCC_EFFECT_FADE 1u
#define SOFTCC_EFFECT_WIPE 2u

/* PenStyle edge_type and WindowStyle border_type (6 and 7 are unnamed). */
#define SOFTCC_EDGE_NONE              0u
#define SOFTCC_EDGE_RAISED            1u
#define SOFTCC_EDGE_DEPRESSED         2u
#define SOFTCC_EDGE_UNIFORM           3u
#define SOFTCC_EDGE_LEFT_DROP_SHADOW  4u
#define SOFTCC_EDGE_RIGHT_DROP_SHADOW 5u
#define SOFTCC_BORDER_NONE              SOFTCC_EDGE_NONE
#define SOFTCC_BORDER_RAISED            SOFTCC_EDGE_RAISED
#define SOFTCC_BORDER_DEPRESSED         SOFTCC_EDGE_DEPRESSED
#define SOFTCC_BORDER_UNIFORM           SOFTCC_EDGE_UNIFORM
#define SOFTCC_BORDER_LEFT_DROP_SHADOW  SOFTCC_EDGE_LEFT_DROP_SHADOW
#define SOFTCC_BORDER_RIGHT_DROP_SHADOW SOFTCC_EDGE_RIGHT_DROP_SHADOW

/* CaptionWindow anchor_point: which point of the window sits at the anchor. */
#define SOFTCC_ANCHOR_TOP_LEFT      0u
#define SOFTCC_ANCHOR_TOP_CENTER    1u
#define SOFTCC_ANCHOR_TOP_RIGHT     2u
#define SOFTCC_ANCHOR_MIDDLE_LEFT   3u
#define SOFTCC_ANCHOR_CENTER        4u
#define SOFTCC_ANCHOR_MIDDLE_RIGHT  5u
#define SOFTCC_ANCHOR_BOTTOM_LEFT   6u
#define SOFTCC_ANCHOR_BOTTOM_CENTER 7u
#define SOFTCC_ANCHOR_BOTTOM_RIGHT  8u

/* PenStyle pen_size and pen_offset. */
#define SOFTCC_PEN_SIZE_SMALL         0u
#define SOFTCC_PEN_SIZE_STANDARD      1u
#define SOFTCC_PEN_SIZE_LARGE         2u
#define SOFTCC_PEN_OFFSET_SUBSCRIPT   0u
#define SOFTCC_PEN_OFFSET_NORMAL      1u
#define SOFTCC_PEN_OFFSET_SUPERSCRIPT 2u

/* PenStyle font_style. */
#define SOFTCC_FONT_DEFAULT                0u
#define SOFTCC_FONT_MONOSPACED_SERIF       1u
#define SOFTCC_FONT_PROPORTIONAL_SERIF     2u
#define SOFTCC_FONT_MONOSPACED_SANS_SERIF  3u
#define SOFTCC_FONT_PROPORTIONAL_SANS_SERIF 4u
#define SOFTCC_FONT_CASUAL                 5u
#define SOFTCC_FONT_CURSIVE                6u
#define SOFTCC_FONT_SMALL_CAPITALS         7u

/* TextSegment caption_mode: the 608 caption mode a run was written in
 * (0 for 708 runs). */
#define SOFTCC_CAPTION_MODE_ROLL_UP  1u
#define SOFTCC_CAPTION_MODE_POP_ON   2u
#define SOFTCC_CAPTION_MODE_PAINT_ON 3u
#define SOFTCC_CAPTION_MODE_TEXT     4u

/* Private-use characters the renderer gives their caption meaning. */
#define SOFTCC_CHAR_TRANSPARENT_SPACE    0xF8FEu
#define SOFTCC_CHAR_NB_TRANSPARENT_SPACE 0xF8FDu /* non-breaking */
#define SOFTCC_CHAR_CAPTION_ICON         0xF8FFu

/* ---- Display records ----------------------------------------------------- */

/* The library owns every record.  The renderer reads them inside a callback
 * only: it never writes them and keeps no pointer into them once the
 * callback returns (copy what it needs).  Fields marked "bookkeeping" are
 * the library's own and mean nothing to a renderer. */

/* Attributes of a run of characters (36 bytes). */
typedef struct PenStyle {
    uint32_t pen_size;    /*  0: SOFTCC_PEN_SIZE_* */
    uint32_t font_style;  /*  4: SOFTCC_FONT_* */
    uint8_t fg_color;     /*  8 */
    uint32_t fg_opacity;  /* 12: SOFTCC_OPACITY_* */
    uint8_t bg_color;     /* 16 */
    uint32_t bg_opacity;  /* 20 */
    uint32_t edge_type;   /* 24: SOFTCC_EDGE_* */
    uint8_t edge_color;   /* 28 */
    uint8_t attributes;   /* 29: SOFTCC_PEN_ITALICS | SOFTCC_PEN_UNDERLINE */
    uint32_t pen_offset;  /* 32: SOFTCC_PEN_OFFSET_* */
} PenStyle;

#define SOFTCC_PEN_ITALICS   0x01u
#define SOFTCC_PEN_UNDERLINE 0x02u

/* Attributes of a window (44 bytes). */
typedef struct WindowStyle {
    uint32_t justify;          /*  0: SOFTCC_JUSTIFY_* */
    uint32_t print_direction;  /*  4: SOFTCC_DIRECTION_*, the way text is typed */
    uint32_t scroll_direction; /*  8: SOFTCC_DIRECTION_*, the way lines move */
    uint8_t word_wrap;         /* 12: 0 or 1 */
    uint32_t display_effect;   /* 16: SOFTCC_EFFECT_* */
    uint32_t effect_direction; /* 20: SOFTCC_DIRECTION_*; 4 (none) in the fixed styles */
    uint8_t effect_speed;      /* 24: units of half a second */
    uint8_t reserved_speed[3]; /* 25: bookkeeping (keeps fill_color at 28) */
    uint8_t fill_color;        /* 28 */
    uint32_t fill_opacity;     /* 32: SOFTCC_OPACITY_* */
    uint32_t border_type;      /* 36: SOFTCC_BORDER_* */
    uint8_t border_color;      /* 40 */
} WindowStyle;

struct TextSegment;

/* One caption window (116 bytes).  The eight records live in the context,
 * indexed by id, and stay at their addresses until VQSoftCCClose. */
typedef struct CaptionWindow {
    uint8_t id;                 /*   0: 0..7 */
    uint8_t priority;           /*   1: 0..7 */
    uint8_t flags;              /*   2: SOFTCC_WINDOW_* */
    uint32_t anchor_point;      /*   4: SOFTCC_ANCHOR_* */
    uint8_t anchor_vertical;    /*   8: percent when SOFTCC_WINDOW_RELATIVE */
    uint8_t anchor_horizontal;  /*   9: percent when SOFTCC_WINDOW_RELATIVE */
    uint8_t row_count;          /*  10 */
    uint8_t column_count;       /*  11 */
    WindowStyle style;          /*  12 */
    PenStyle pen;               /*  56: pen of the text typed next; runs carry their own */
    struct TextSegment *segments; /* 92: the window's text, sorted by line then position */
    struct CaptionWindow *next; /*  96: the next window of this callback's list, or null */
    uint8_t defined;            /* 100: 1 while the window exists */
    int16_t cursor_row;         /* 102: where the next character goes */
    int16_t cursor_column;      /* 104 */
    struct TextSegment *current_segment; /* 108: bookkeeping (run being typed, not yet shown) */
    uint32_t text_tag;          /* 112: bookkeeping (708 pen text tag) */
} CaptionWindow;

#define SOFTCC_WINDOW_RELATIVE    0x01u /* anchor position in percent */
#define SOFTCC_WINDOW_ROW_LOCK    0x02u
#define SOFTCC_WINDOW_COLUMN_LOCK 0x04u
#define SOFTCC_WINDOW_VISIBLE     0x08u

#define SOFTCC_SEGMENT_CHARS 52

/* A run of up to 52 UCS-2 characters of one pen on one line (168 bytes).
 * Lines are rows when the window scrolls vertically (scroll_direction top
 * to bottom or bottom to top), columns otherwise.  text[i] sits at
 * column + i on a row, or at row + i on a column.  Runs never overlap, and
 * neighbours with equal attributes are already joined. */
typedef struct TextSegment {
    uint8_t in_use;              /*   0: bookkeeping */
    uint16_t *text;              /*   4: first character, inside chars */
    int8_t row;                  /*   8: of the first character */
    int8_t column;               /*   9 */
    uint8_t length;              /*  10: characters in text, 1..52 */
    uint32_t reserved_a;         /*  12: bookkeeping */
    PenStyle pen;                /*  16: of every character of the run */
    struct TextSegment *next;    /*  52: next run of the window, or null */
    uint32_t reserved_b;         /*  56: bookkeeping */
    uint16_t chars[SOFTCC_SEGMENT_CHARS]; /* 60: storage; read the run through text */
    uint16_t caption_mode;       /* 164: SOFTCC_CAPTION_MODE_* (608), 0 (708) */
    uint8_t no_merge;            /* 166: bookkeeping */
} TextSegment;

/* ---- Open profile and callbacks ------------------------------------------ */

typedef struct SoftCCContext SoftCCContext; /* opaque to the host */

/* The alarm function that set_delay_alarm hands over, with its alarm
 * context: delay_alarm_expired_eia708 and the SoftCCContext. */
typedef SoftCCStatus (*SoftCCAlarmFunction)(void *alarm_context);

/*
 * Every callback gets the profile's user pointer first and runs inside the
 * library call that caused it.  Window lists are chained through next, head
 * first, null at the end; the chain is valid during the callback only.
 * 708 lists run from the highest window id down to the lowest.  608 lists
 * hold both windows: window 0 then 1 at close; at Resume Caption Loading and
 * End Of Caption the window displayed before the command, then the other.
 *
 * define_windows (one window): a window was defined or redefined; create or
 * update its surface from id, position, size, flags and style.  The 608
 * decoder defines windows 0 and 1 when it opens (a failure makes Open or
 * SelectFormat fail); the 708 decoder on every DefineWindow command (a
 * failure is reported and deletes every window, as the Reset command does).
 *
 * refresh_windows (a list): redraw each window from its record: visible
 * flag, style and segments.  Sent when text is closed into a visible
 * window, on visibility and clear commands, and on a 608 reset.  After a
 * failure the change it announced stays.
 *
 * scroll_windows (one window): a visible window's text has just moved one
 * line in its scroll direction; the record already holds the moved text.
 * The host may animate the move, then shows the record.
 *
 * delete_windows (a list): the windows are going; drop their surfaces.  Only
 * after SOFTCC_OK does the library release their text and mark them
 * undefined; on a failure they stay defined, with their text.  At
 * VQSoftCCClose, and when VQSoftCCSelectFormat leaves the 708 decoder, the
 * context is then freed or wiped all the same, so a failure there leaves
 * the windows' runs unreleased: return SOFTCC_OK there.
 *
 * set_delay_alarm (milliseconds, alarm, alarm_context): the 708 Delay
 * command (its tenths of a second times 100, at most 25500 ms).  The host
 * owns the timer: arm a one-shot timer and, when it runs out, call
 * alarm(alarm_context) once, on the thread that makes the host's other
 * calls into this context and never during one of them (nor from a
 * callback).  Until then, or until cancel_delay_alarm, the decoder holds
 * the service's codes back.  The result of alarm() may be ignored.
 *
 * cancel_delay_alarm: disarm the pending alarm; with none pending do nothing
 * and return SOFTCC_OK (the library calls it then too, among others from
 * inside the alarm function).  Reset, service and format changes and Close
 * cancel a pending alarm, so none stays armed on a freed or non-708 context.
 *
 * forward_xds_data, forward_link_data (bytes, count): raw bytes of the 608
 * data services that are not displayed: XDS pairs (count 2) when service 15
 * is selected, link text (count 1 or 2) of service 5.  The bytes are valid
 * during the callback only.  Results are ignored.
 *
 * A callback may return any failure status; none stops decoding.  The 608
 * decoder never calls the alarm callbacks and the 708 decoder never the
 * forwarding ones, but a profile that may switch formats sets all eight.
 */
typedef SoftCCStatus (*SoftCCWindowsCallback)(void *user, CaptionWindow *windows);
typedef SoftCCStatus (*SoftCCSetDelayAlarmCallback)(void *user, uint32_t milliseconds,
                                                    SoftCCAlarmFunction alarm,
                                                    void *alarm_context);
typedef SoftCCStatus (*SoftCCCancelDelayAlarmCallback)(void *user);
typedef SoftCCStatus (*SoftCCDataCallback)(void *user, const uint8_t *data, uint32_t count);

/* Eleven words.  VQSoftCCOpen copies it; the host's copy may go afterwards. */
typedef struct SoftCCOpenProfile {
    uint32_t format;  /* SOFTCC_FORMAT_EIA608 or SOFTCC_FORMAT_EIA708 */
    /* 608: 0..3 CC1..CC4, 4..7 T1..T4, 15 XDS, anything else nothing; feed
     * field 1 for CC1, CC2, T1, T2 and field 2 for the others.
     * 708: the service number 1..63; anything else decodes nothing. */
    uint32_t service;
    void *user;       /* handed to every callback, never looked at */
    SoftCCWindowsCallback define_windows;  /* one window */
    SoftCCWindowsCallback refresh_windows; /* a list */
    SoftCCWindowsCallback scroll_windows;  /* one window */
    SoftCCWindowsCallback delete_windows;  /* a list */
    SoftCCSetDelayAlarmCallback set_delay_alarm;
    SoftCCCancelDelayAlarmCallback cancel_delay_alarm;
    SoftCCDataCallback forward_xds_data;
    SoftCCDataCallback forward_link_data;
} SoftCCOpenProfile;

/* ---- Functions ------------------------------------------------------------- */

/*
 * Creates a context for profile->format and stores it in *context.  The 608
 * decoder defines its two windows at once; the 708 decoder defines none
 * until the stream does.
 *   SOFTCC_OK               *context holds the new context.
 *   SOFTCC_ERR_NULL_POINTER profile or context is null; *context untouched.
 *   SOFTCC_ERR_NO_MEMORY    no context; *context untouched.
 *   SOFTCC_ERR_UNSUPPORTED  unknown format; nothing allocated, *context
 *                           untouched.
 *   anything else           the failure of define_windows (608): the
 *                           context is freed and *context set to null.
 */
VQSOFTCC_API SoftCCStatus VQSoftCCOpen(const SoftCCOpenProfile *profile, SoftCCContext **context);

/*
 * Deletes the windows (delete_windows), cancels a pending alarm (708) and
 * frees the context, whatever the result; the handle is invalid afterwards.
 *   SOFTCC_OK               closed.
 *   SOFTCC_ERR_NULL_POINTER null context; nothing done.
 *   SOFTCC_ERR_FORMAT       no decoder was open (see VQSoftCCSelectFormat);
 *                           the context is freed.
 *   anything else           the failure of the 608 delete_windows; the
 *                           context is freed, its runs are not.
 */
VQSOFTCC_API SoftCCStatus VQSoftCCClose(SoftCCContext *context);

/*
 * Starts the decoder afresh, keeping the service: 608 clears the screen
 * (refreshing the displayed window) and keeps both windows defined; 708
 * deletes every window and cancels a pending alarm.  A partial pair, packet
 * or code is dropped.  Callback failures are reported, not returned.
 *   SOFTCC_OK, SOFTCC_ERR_NULL_POINTER (null context), SOFTCC_ERR_FORMAT
 *   (no decoder open; nothing done).
 */
VQSOFTCC_API SoftCCStatus VQSoftCCReset(SoftCCContext *context);

/*
 * Decodes length bytes (0 is allowed).  608: the line-21 byte pairs of the
 * field that carries the service, with their parity bits.  708: DTVCC
 * packets back to back; after Open and Reset the first byte is read as a
 * packet header, and packets are found only by counting, so a packet cut
 * short must be completed to its declared size (with zeros).  Every byte is
 * consumed; a pair, packet or code left incomplete is completed by the next
 * call.  Failures on the way are reported, not returned.
 *   SOFTCC_OK               all bytes consumed.
 *   SOFTCC_ERR_NULL_POINTER context or data is null (even for length 0);
 *                           nothing read.
 *   SOFTCC_ERR_FORMAT       no decoder open; nothing read.
 */
VQSOFTCC_API SoftCCStatus VQSoftCCDecode(SoftCCContext *context, const uint8_t *data, uint32_t length);

/*
 * Switches to another format: the current decoder is closed (its windows
 * deleted, a pending alarm cancelled), its state, the windows and the
 * current window wiped, and the new decoder opened on its first service
 * (608: CC1, 708: service 1; call VQSoftCCSelectService for another).
 *   SOFTCC_OK               switched, or format is the current one (then
 *                           nothing happens at all).  An unknown format is
 *                           accepted and leaves no decoder open: from then
 *                           on every call but Close and a SelectFormat of
 *                           that same value returns SOFTCC_ERR_FORMAT, and
 *                           the context can only be closed.
 *   SOFTCC_ERR_NULL_POINTER null context; nothing done.
 *   SOFTCC_ERR_FORMAT       no decoder open; nothing done.
 *   anything else           from the 608 close: delete_windows failed and
 *                           the 608 decoder stays, with its windows but its
 *                           state wiped; or from the 608 open: define_windows
 *                           failed, and the context holds the 608 format and
 *                           windows without text.
 */
VQSOFTCC_API SoftCCStatus VQSoftCCSelectFormat(SoftCCContext *context, uint32_t format);

/*
 * Selects the service to decode (see SoftCCOpenProfile.service; 708 takes
 * the low 8 bits) and resets the decoder as VQSoftCCReset does, even when
 * the service is the current one.
 *   SOFTCC_OK, SOFTCC_ERR_NULL_POINTER (null context), SOFTCC_ERR_FORMAT
 *   (no decoder open; nothing done).
 */
VQSOFTCC_API SoftCCStatus VQSoftCCSelectService(SoftCCContext *context, uint32_t service);

/*
 * The alarm function handed to set_delay_alarm: the host calls it with the
 * alarm context once the delay has run out.  It calls cancel_delay_alarm and
 * decodes the codes held back.  Returns SOFTCC_ERR_NULL_POINTER for a null
 * context, else SOFTCC_OK.
 */
VQSOFTCC_API SoftCCStatus delay_alarm_expired_eia708(void *context);

/* ---- Constant tables -------------------------------------------------------- */

/* The decoders' read-only tables, for hosts that mirror their mappings. */
VQSOFTCC_API extern const PenStyle PredefinedPenStyles[8];       /* 708 pen styles 0..7 */
VQSOFTCC_API extern const WindowStyle PredefinedWindowStyles[8]; /* 708 window styles 0..7 */
VQSOFTCC_API extern const PenStyle EIA608DefaultPenStyle;
VQSOFTCC_API extern const WindowStyle EIA608WindowStyle;
VQSOFTCC_API extern const uint32_t Color_LookupTable[8];         /* 608 colours */
VQSOFTCC_API extern const int32_t PAC_Row_LookupTable[16];       /* 608 preamble rows */
VQSOFTCC_API extern const uint16_t SpecialEIA608_UCS2_LookupTable[16];
VQSOFTCC_API extern const uint16_t ExtendedEIA608_UCS2_LookupTable[64];
VQSOFTCC_API extern const uint16_t EIA708_G2_UCS2_LookupTable[48];

#ifdef __cplusplus
}
#endif

#endif /* VQSOFTCC_H */
