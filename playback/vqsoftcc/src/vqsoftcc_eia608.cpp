/*
 * EIA-608 decoder: line-21 byte pairs of one field into two caption windows,
 * the displayed and the non-displayed memory.
 */
#include "vqsoftcc_internal.h"

/* ---- Constant tables -------------------------------------------------------- */

extern "C" {

const WindowStyle EIA608WindowStyle = {
    0,         /* justify: left */
    0,         /* print_direction: left to right */
    3,         /* scroll_direction: bottom to top */
    0,         /* word_wrap */
    0,         /* display_effect: snap */
    4,         /* effect_direction */
    0,         /* effect_speed */
    {0, 0, 0}, /* reserved */
    0,         /* fill_color: black */
    3,         /* fill_opacity: transparent */
    0,         /* border_type */
    0,         /* border_color */
};

const PenStyle EIA608DefaultPenStyle = {
    1,    /* pen_size: standard */
    0,    /* font_style */
    0x2A, /* fg_color: the 608 white */
    0,    /* fg_opacity: solid */
    0,    /* bg_color: black */
    0,    /* bg_opacity: solid */
    0,    /* edge_type */
    0,    /* edge_color */
    0,    /* attributes */
    1,    /* pen_offset: normal */
};

/* Indexed by bits 1-3 of the second byte of PACs, mid-row and background codes. */
const uint32_t Color_LookupTable[8] = {
    0x2A, /* white */
    0x08, /* green */
    0x02, /* blue */
    0x0A, /* cyan */
    0x20, /* red */
    0x28, /* yellow */
    0x22, /* magenta */
    0x00, /* black */
};

/* Screen row of a preamble address code, indexed by ((b1 & 7) << 1) | bit 5 of b2.
 * Entry 1 (b1 0x10 with b2 0x60-0x7F) is not a PAC and never read. */
const int32_t PAC_Row_LookupTable[16] = {
    10, static_cast<int32_t>(0xBADC0DEDu), 0, 1, 2, 3, 11, 12, 13, 14, 4, 5, 6, 7, 8, 9,
};

/* b1 0x11/0x19, b2 0x30-0x3F. */
const uint16_t SpecialEIA608_UCS2_LookupTable[16] = {
    0x00AE, 0x00BA, 0x00BD, 0x00BF, 0x2122, 0x00A2, 0x00A3, 0x266A,
    0x00E0, 0xF8FE, 0x00E8, 0x00E2, 0x00EA, 0x00EE, 0x00F4, 0x00FB,
};

/* b2 0x20-0x3F; entries 0-31 for b1 0x12/0x1A, 32-63 for b1 0x13/0x1B. */
const uint16_t ExtendedEIA608_UCS2_LookupTable[64] = {
    /* 0x12 / 0x1A */
    0x00C1, 0x00C9, 0x00D3, 0x00DA, 0x00DC, 0x00FC, 0x2018, 0x00A1,
    0x002A, 0x0027, 0x2500, 0x00A9, 0x2120, 0x2022, 0x201C, 0x201D,
    0x00C0, 0x00C2, 0x00C7, 0x00C8, 0x00CA, 0x00CB, 0x00EB, 0x00CE,
    0x00CF, 0x00EF, 0x00D4, 0x00D9, 0x00F9, 0x00DB, 0x00AB, 0x00BB,
    /* 0x13 / 0x1B */
    0x00C3, 0x00E3, 0x00CD, 0x00CC, 0x00EC, 0x00D2, 0x00F2, 0x00D5,
    0x00F5, 0x007B, 0x007D, 0x005C, 0x005E, 0x005F, 0x007C, 0x007E,
    0x00C4, 0x00E4, 0x00D6, 0x00F6, 0x00DF, 0x00A5, 0x00A4, 0x2502,
    0x00C5, 0x00E5, 0x00D8, 0x00F8, 0x250C, 0x2510, 0x2514, 0x2518,
};

} // extern "C"

namespace {

constexpr uint32_t kDeleteWindowsFailedLine = 97;

/* Services 0xFFFFFFFF (none) and 8-15 are caption-like for the display reset. */
bool is_text_service(uint32_t service)
{
    return (service & 0x4u) != 0 && (service & 0x8u) == 0;
}

Eia608State &state_of(SoftCCContext *context)
{
    return context->format_state.eia608;
}

CaptionWindow *displayed_window(SoftCCContext *context)
{
    CaptionWindow *first = &context->windows[0];
    return vqsoftcc_internal_is_visible(first) ? first : &context->windows[1];
}

CaptionWindow *non_displayed_window(SoftCCContext *context)
{
    CaptionWindow *first = &context->windows[0];
    return vqsoftcc_internal_is_visible(first) ? &context->windows[1] : first;
}

void refresh_one(SoftCCContext *context, CaptionWindow *window)
{
    (void)context->profile.refresh_windows(context->profile.user, window);
}

void set_up_window(CaptionWindow *window, uint8_t index)
{
    window->defined = 1;
    window->id = index;
    window->priority = index;
    window->flags |= SOFTCC_WINDOW_RELATIVE | SOFTCC_WINDOW_ROW_LOCK | SOFTCC_WINDOW_COLUMN_LOCK;
    window->anchor_point = 7; /* bottom centre */
    window->anchor_vertical = 100;
    window->anchor_horizontal = 50;
    window->style = EIA608WindowStyle;
    window->row_count = 15;
    window->column_count = 32;
    window->cursor_row = 14;
    window->cursor_column = 0;
    window->pen = EIA608DefaultPenStyle;
    window->text_tag = 0;
}

void clear_window_indices(SoftCCContext *context)
{
    Eia608State &state = state_of(context);
    state.xds_window = SOFTCC_NO_WINDOW;
    context->current_window = SOFTCC_NO_WINDOW;
    state.text_window = SOFTCC_NO_WINDOW;
    state.caption_window = SOFTCC_NO_WINDOW;
}

/*
 * Clears the screen the way the selected service shows it.  Shared by reset
 * and by the parity check; it never changes which memory is displayed.
 */
void display_reset(SoftCCContext *context)
{
    CaptionWindow *displayed = displayed_window(context);
    CaptionWindow *hidden = non_displayed_window(context);

    if (!is_text_service(context->service)) {
        vqsoftcc_internal_clear_window(displayed);
        displayed->style.fill_opacity = 3;
        displayed->next = nullptr;
        refresh_one(context, displayed);
        hidden->style.fill_opacity = 3;
        vqsoftcc_internal_clear_window(hidden);
        return;
    }

    /* Text services show an opaque 15 by 32 box. */
    Eia608State &state = state_of(context);
    vqsoftcc_internal_clear_window(displayed);
    displayed->cursor_row = 0;
    displayed->cursor_column = 0;
    state.in_angle_link = 0;
    state.in_square_link = 0;
    displayed->row_count = 15;
    displayed->column_count = 32;
    displayed->style.fill_color = 0;
    displayed->style.fill_opacity = 0;
    state.segment_mode = 4;
    state.text_window = displayed->id;
    context->current_window = displayed->id;
    refresh_one(context, displayed);
}

} // namespace

SoftCCStatus vqsoftcc_internal_open_eia608(const SoftCCOpenProfile *profile, SoftCCContext **slot)
{
    if (profile == nullptr || slot == nullptr || *slot == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    SoftCCContext *context = *slot;

    context->windows[0].flags = SOFTCC_WINDOW_VISIBLE;
    for (uint8_t index = 0; index < 2; ++index) {
        CaptionWindow *window = &context->windows[index];
        set_up_window(window, index);
        SoftCCStatus status = context->profile.define_windows(context->profile.user, window);
        if (status != SOFTCC_OK)
            return status;
    }
    clear_window_indices(context);
    return SOFTCC_OK;
}

SoftCCStatus vqsoftcc_internal_close_eia608(SoftCCContext *context)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    CaptionWindow *first = &context->windows[0];
    CaptionWindow *second = &context->windows[1];
    first->next = second;
    SoftCCStatus status = context->profile.delete_windows(context->profile.user, first);
    if (status != SOFTCC_OK) {
        vqsoftcc_internal_report(SOFTCC_EIA608_SOURCE, status, kDeleteWindowsFailedLine,
                                 "delete_windows failed\n");
        return status;
    }
    vqsoftcc_internal_delete_window(first);
    vqsoftcc_internal_delete_window(second);
    first->next = nullptr;
    return SOFTCC_OK;
}

SoftCCStatus vqsoftcc_internal_reset_eia608(SoftCCContext *context)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    display_reset(context);
    VQMemset(&state_of(context), 0, sizeof(Eia608State));
    clear_window_indices(context);
    return SOFTCC_OK;
}

SoftCCStatus vqsoftcc_internal_select_service_eia608(SoftCCContext *context, uint32_t service)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    context->service = service;
    return vqsoftcc_internal_reset_eia608(context);
}

/* Byte input.  Until the pair interpreter lands this checks its arguments and
 * consumes the bytes without acting on them. */
SoftCCStatus vqsoftcc_internal_decode_eia608(SoftCCContext *context, const uint8_t *data,
                                             uint32_t length)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    if (length == 0)
        return SOFTCC_OK;
    if (data == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    return SOFTCC_OK;
}
