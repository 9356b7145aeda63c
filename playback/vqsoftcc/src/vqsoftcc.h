/*
 * libvqsoftcc: software closed-caption decoder (EIA-608 and EIA-708).
 *
 * The host player feeds caption bytes with VQSoftCCDecode; the library keeps
 * up to eight caption windows and drives the host's renderer through the
 * callbacks of the open profile.  It draws nothing itself.
 *
 * Usable from C99 and C++.  The records below have fixed layouts: the host's
 * renderer reads them at the offsets noted (32-bit target; on 64-bit builds
 * pointers widen and nothing else changes).
 */
#ifndef VQSOFTCC_H
#define VQSOFTCC_H

#include <stdint.h>

#if defined(__GNUC__)
#define VQSOFTCC_API __attribute__((visibility("default")))
#else
#define VQSOFTCC_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status and format codes ------------------------------------------ */

typedef uint32_t SoftCCStatus;

#define SOFTCC_OK               ((SoftCCStatus)6)
#define SOFTCC_ERR_UNSUPPORTED  ((SoftCCStatus)9)
#define SOFTCC_ERR_FORMAT       ((SoftCCStatus)11)
#define SOFTCC_ERR_NULL_POINTER ((SoftCCStatus)38)
#define SOFTCC_ERR_NO_MEMORY    ((SoftCCStatus)40)

#define SOFTCC_FORMAT_EIA608 ((uint32_t)0)
#define SOFTCC_FORMAT_EIA708 ((uint32_t)1)

/* ---- Display records ---------------------------------------------------- */

/* Colours are 6-bit RRGGBB values in one byte (0x3F white, 0x00 black).
 * Opacity: 0 solid, 1 flash, 2 translucent, 3 transparent.
 * Direction: 0 left to right, 1 right to left, 2 top to bottom, 3 bottom to top. */

/* Attributes of a run of characters (36 bytes). */
typedef struct PenStyle {
    uint32_t pen_size;    /*  0: 0 small, 1 standard, 2 large */
    uint32_t font_style;  /*  4: 0..7 */
    uint8_t fg_color;     /*  8 */
    uint32_t fg_opacity;  /* 12 */
    uint8_t bg_color;     /* 16 */
    uint32_t bg_opacity;  /* 20 */
    uint32_t edge_type;   /* 24: 0 none .. 5 right drop shadow */
    uint8_t edge_color;   /* 28 */
    uint8_t attributes;   /* 29: bit 0 italics, bit 1 underline */
    uint32_t pen_offset;  /* 32: 0 subscript, 1 normal, 2 superscript */
} PenStyle;

#define SOFTCC_PEN_ITALICS   0x01u
#define SOFTCC_PEN_UNDERLINE 0x02u

/* Attributes of a window (44 bytes). */
typedef struct WindowStyle {
    uint32_t justify;          /*  0: 0 left, 1 right, 2 centre, 3 full */
    uint32_t print_direction;  /*  4 */
    uint32_t scroll_direction; /*  8 */
    uint8_t word_wrap;         /* 12 */
    uint32_t display_effect;   /* 16: 0 snap, 1 fade, 2 wipe */
    uint32_t effect_direction; /* 20 */
    uint8_t effect_speed;      /* 24: units of half a second */
    uint8_t reserved_speed[3]; /* 25: keeps fill_color at offset 28 */
    uint8_t fill_color;        /* 28 */
    uint32_t fill_opacity;     /* 32 */
    uint32_t border_type;      /* 36 */
    uint8_t border_color;      /* 40 */
} WindowStyle;

struct TextSegment;

/* One caption window (116 bytes).  The eight records live in the context. */
typedef struct CaptionWindow {
    uint8_t id;                 /*   0: 0..7 */
    uint8_t priority;           /*   1 */
    uint8_t flags;              /*   2: see SOFTCC_WINDOW_* */
    uint32_t anchor_point;      /*   4: 0 top left .. 8 bottom right */
    uint8_t anchor_vertical;    /*   8 */
    uint8_t anchor_horizontal;  /*   9 */
    uint8_t row_count;          /*  10 */
    uint8_t column_count;       /*  11 */
    WindowStyle style;          /*  12 */
    PenStyle pen;               /*  56: pen given to each run when it closes */
    struct TextSegment *segments; /* 92: the window's text, in position order */
    struct CaptionWindow *next; /*  96: chains windows into one callback's list */
    uint8_t defined;            /* 100 */
    int16_t cursor_row;         /* 102 */
    int16_t cursor_column;      /* 104 */
    struct TextSegment *current_segment; /* 108: run being typed, not in segments */
    uint32_t text_tag;          /* 112 */
} CaptionWindow;

#define SOFTCC_WINDOW_RELATIVE    0x01u
#define SOFTCC_WINDOW_ROW_LOCK    0x02u
#define SOFTCC_WINDOW_COLUMN_LOCK 0x04u
#define SOFTCC_WINDOW_VISIBLE     0x08u

#define SOFTCC_SEGMENT_CHARS 52

/* A run of up to 52 UCS-2 characters of one pen on one line (168 bytes).
 * text[i] sits at column + i (horizontal lines) or row + i (vertical lines). */
typedef struct TextSegment {
    uint8_t in_use;              /*   0 */
    uint16_t *text;              /*   4: first character, inside chars */
    int8_t row;                  /*   8 */
    int8_t column;               /*   9 */
    uint8_t length;              /*  10 */
    uint32_t reserved_a;         /*  12 */
    PenStyle pen;                /*  16 */
    struct TextSegment *next;    /*  52 */
    uint32_t reserved_b;         /*  56 */
    uint16_t chars[SOFTCC_SEGMENT_CHARS]; /* 60 */
    uint16_t caption_mode;       /* 164: 608 only: 1 roll-up, 2 pop-on, 3 paint-on, 4 text */
    uint8_t no_merge;            /* 166 */
} TextSegment;

/* ---- Open profile and callbacks ----------------------------------------- */

typedef struct SoftCCContext SoftCCContext;

typedef SoftCCStatus (*SoftCCAlarmFunction)(void *alarm_context);

/* Eleven words.  Every callback gets `user` first; any result other than
 * SOFTCC_OK counts as a failure. */
typedef struct SoftCCOpenProfile {
    uint32_t format;  /* SOFTCC_FORMAT_EIA608 or SOFTCC_FORMAT_EIA708 */
    uint32_t service; /* 608 channel code or 708 service number */
    void *user;
    SoftCCStatus (*define_windows)(void *user, CaptionWindow *window);
    SoftCCStatus (*refresh_windows)(void *user, CaptionWindow *windows);
    SoftCCStatus (*scroll_windows)(void *user, CaptionWindow *window);
    SoftCCStatus (*delete_windows)(void *user, CaptionWindow *windows);
    SoftCCStatus (*set_delay_alarm)(void *user, uint32_t milliseconds,
                                    SoftCCAlarmFunction alarm, void *alarm_context);
    SoftCCStatus (*cancel_delay_alarm)(void *user);
    SoftCCStatus (*forward_xds_data)(void *user, const uint8_t *data, uint32_t count);
    SoftCCStatus (*forward_link_data)(void *user, const uint8_t *data, uint32_t count);
} SoftCCOpenProfile;

/* ---- Functions ----------------------------------------------------------- */

VQSOFTCC_API SoftCCStatus VQSoftCCOpen(const SoftCCOpenProfile *profile, SoftCCContext **context);
VQSOFTCC_API SoftCCStatus VQSoftCCClose(SoftCCContext *context);
VQSOFTCC_API SoftCCStatus VQSoftCCReset(SoftCCContext *context);
VQSOFTCC_API SoftCCStatus VQSoftCCDecode(SoftCCContext *context, const uint8_t *data, uint32_t length);
VQSOFTCC_API SoftCCStatus VQSoftCCSelectFormat(SoftCCContext *context, uint32_t format);
VQSOFTCC_API SoftCCStatus VQSoftCCSelectService(SoftCCContext *context, uint32_t service);

/* The alarm function handed to set_delay_alarm; the host calls it with the
 * alarm context once the delay has run out. */
VQSOFTCC_API SoftCCStatus delay_alarm_expired_eia708(void *context);

/* ---- Constant tables ------------------------------------------------------ */

VQSOFTCC_API extern const PenStyle PredefinedPenStyles[8];
VQSOFTCC_API extern const WindowStyle PredefinedWindowStyles[8];
VQSOFTCC_API extern const PenStyle EIA608DefaultPenStyle;
VQSOFTCC_API extern const WindowStyle EIA608WindowStyle;
VQSOFTCC_API extern const uint32_t Color_LookupTable[8];
VQSOFTCC_API extern const int32_t PAC_Row_LookupTable[16];
VQSOFTCC_API extern const uint16_t SpecialEIA608_UCS2_LookupTable[16];
VQSOFTCC_API extern const uint16_t ExtendedEIA608_UCS2_LookupTable[64];
VQSOFTCC_API extern const uint16_t EIA708_G2_UCS2_LookupTable[48];

#ifdef __cplusplus
}
#endif

#endif /* VQSOFTCC_H */
