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

const Eia608State &state_of(const SoftCCContext *context)
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

/* The host redraws a window it cannot see at the next swap, not now. */
void refresh_if_visible(SoftCCContext *context, CaptionWindow *window)
{
    if (!vqsoftcc_internal_is_visible(window))
        return;
    window->next = nullptr;
    refresh_one(context, window);
}

/* Hands the host the list first, second; the link lives only for the call. */
void refresh_both(SoftCCContext *context, CaptionWindow *first, CaptionWindow *second)
{
    first->next = second;
    refresh_one(context, first);
    first->next = nullptr;
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

/* ---- Pair input and control-code interpreter ------------------------------ */

namespace {

constexpr uint32_t kNoService = 0xFFFFFFFFu;
constexpr uint32_t kXdsService = 15;
constexpr uint32_t kLinkService = 5;
constexpr uint32_t kCaptionReportLine = 242;
constexpr uint32_t kTextReportLine = 252;

constexpr uint32_t kModeRollUp = 1;
constexpr uint32_t kModePopOn = 2;
constexpr uint32_t kModePaintOn = 3;
constexpr uint32_t kModeText = 4;

enum Path : uint8_t { kCaptionPath, kTextPath };

/* Every command the interpreter can run on a control pair. */
enum Command : uint8_t {
    kNothing,
    kResumeCaptionLoading,
    kBackspace,
    kDeleteToEndOfRow,
    kRollUp,
    kFlashOn,
    kResumeDirectCaptioning,
    kTextRestart,
    kResumeTextDisplay,
    kEraseDisplayedMemory,
    kCaptionCarriageReturn,
    kRollUpCarriageReturn,
    kEraseNonDisplayedMemory,
    kEndOfCaption,
    kPreambleAddress,
    kMidRow,
    kTabOffset,
    kBackground,
    kBackgroundTransparent,
};

struct MiscCodeCommands {
    uint8_t caption; /* Command on the caption path */
    uint8_t text;    /* Command on the text path */
};

/* The miscellaneous control codes b2 0x20-0x2F, by path. */
const MiscCodeCommands kMiscCodeCommands[16] = {
    {kResumeCaptionLoading, kNothing},          /* 0x20 */
    {kBackspace, kBackspace},                   /* 0x21 */
    {kNothing, kNothing},                       /* 0x22 alarm off */
    {kNothing, kNothing},                       /* 0x23 alarm on */
    {kDeleteToEndOfRow, kDeleteToEndOfRow},     /* 0x24 */
    {kRollUp, kNothing},                        /* 0x25 */
    {kRollUp, kNothing},                        /* 0x26 */
    {kRollUp, kNothing},                        /* 0x27 */
    {kFlashOn, kFlashOn},                       /* 0x28 */
    {kResumeDirectCaptioning, kNothing},        /* 0x29 */
    {kNothing, kTextRestart},                   /* 0x2A */
    {kNothing, kResumeTextDisplay},             /* 0x2B */
    {kEraseDisplayedMemory, kNothing},          /* 0x2C */
    {kCaptionCarriageReturn, kRollUpCarriageReturn}, /* 0x2D */
    {kEraseNonDisplayedMemory, kNothing},       /* 0x2E */
    {kEndOfCaption, kNothing},                  /* 0x2F */
};

/* Basic-set codes that do not stand for the code point of the same value. */
struct BasicException {
    uint8_t code;
    uint16_t ucs2;
};

constexpr BasicException kBasicExceptions[] = {
    {0x2A, 0x00E1}, {0x5C, 0x00E9}, {0x5E, 0x00ED}, {0x5F, 0x00F3}, {0x60, 0x00FA},
    {0x7B, 0x00E7}, {0x7C, 0x00F7}, {0x7D, 0x00D1}, {0x7E, 0x00F1}, {0x7F, 0x25A0},
};

/* The byte's bits folded into a nibble keep its parity; bit n of 0x6996 is
 * the parity of n. */
bool has_odd_parity(uint8_t byte)
{
    uint32_t nibble = (byte ^ (byte >> 4)) & 0x0Fu;
    return ((0x6996u >> nibble) & 1u) != 0;
}

uint8_t channel_bit(uint8_t b1)
{
    return (b1 >> 3) & 1u;
}

bool on_selected_channel(const SoftCCContext *context, uint8_t b1)
{
    return channel_bit(b1) == (context->service & 1u);
}

bool is_misc_code(uint8_t b1, uint8_t b2)
{
    uint8_t base = b1 & 0x77;
    return (base == 0x14 || base == 0x15) && b2 >= 0x20 && b2 <= 0x2F;
}

bool is_text_mode_start(uint8_t b1, uint8_t b2)
{
    return is_misc_code(b1, b2) && (b2 == 0x2A || b2 == 0x2B);
}

bool is_caption_mode_start(uint8_t b1, uint8_t b2)
{
    return is_misc_code(b1, b2) &&
           (b2 == 0x20 || (b2 >= 0x25 && b2 <= 0x27) || b2 == 0x29 || b2 == 0x2F);
}

bool in_range(uint8_t value, uint8_t low, uint8_t high)
{
    return value >= low && value <= high;
}

/* What a pair carries once its parity bits are cleared. */
enum PairClass : uint8_t { kControlPair, kBasicPair, kExtendedPair, kSpecialPair };

PairClass classify_pair(uint8_t b1, uint8_t b2)
{
    if (in_range(b1, 0x20, 0x7F))
        return (b2 == 0x00 || in_range(b2, 0x20, 0x7F)) ? kBasicPair : kControlPair;
    if (b1 == 0x00)
        return in_range(b2, 0x20, 0x7F) ? kBasicPair : kControlPair;
    uint8_t base = b1 & 0xF7;
    if ((base == 0x12 || base == 0x13) && in_range(b2, 0x20, 0x3F))
        return kExtendedPair;
    if (base == 0x11 && in_range(b2, 0x30, 0x3F))
        return kSpecialPair;
    return kControlPair;
}

/* Code points of the basic set 0x20-0x7F: the code itself but for the exceptions. */
struct BasicCharacterTable {
    uint16_t ucs2[0x60];
};

constexpr BasicCharacterTable basic_character_table()
{
    BasicCharacterTable table{};
    for (int code = 0x20; code < 0x80; ++code)
        table.ucs2[code - 0x20] = static_cast<uint16_t>(code);
    for (const BasicException &exception : kBasicExceptions)
        table.ucs2[exception.code - 0x20] = exception.ucs2;
    return table;
}

constexpr BasicCharacterTable kBasicCharacters = basic_character_table();

uint16_t basic_character(uint8_t code)
{
    return kBasicCharacters.ucs2[code - 0x20];
}

uint16_t extended_character(uint8_t b1, uint8_t b2)
{
    uint32_t half = ((b1 & 0xF7) == 0x13) ? 32u : 0u;
    return ExtendedEIA608_UCS2_LookupTable[half + (b2 - 0x20u)];
}

uint32_t color_of(uint8_t b2)
{
    return Color_LookupTable[(b2 >> 1) & 7u];
}

void set_attribute_bit(PenStyle &pen, uint8_t bit, bool on)
{
    pen.attributes = static_cast<uint8_t>(on ? (pen.attributes | bit) : (pen.attributes & ~bit));
}

/* ---- Putting characters on screen ----------------------------------------- */

/* Closes the run at once: every 608 character becomes a run of its own,
 * tagged with the mode it was written in, and the display model joins it. */
SoftCCStatus tag_and_close(SoftCCContext *context, CaptionWindow *window)
{
    window->current_segment->caption_mode = static_cast<uint16_t>(state_of(context).segment_mode);
    return vqsoftcc_internal_terminate_current_segment(context);
}

/* Most characters continue the run before them and go straight onto it;
 * the fresh run is tagged first, since the tag decides whether they join. */
SoftCCStatus emit_character(SoftCCContext *context, CaptionWindow *window, uint16_t ch)
{
    if (window->current_segment != nullptr) {
        window->current_segment->caption_mode =
            static_cast<uint16_t>(state_of(context).segment_mode);
        if (vqsoftcc_internal_type_onto_previous_run(window, ch))
            return window->current_segment != nullptr ? SOFTCC_OK : SOFTCC_ERR_NO_MEMORY;
    }
    SoftCCStatus status = vqsoftcc_internal_add_char_to_current_segment(window, ch);
    if (status != SOFTCC_OK)
        return status;
    return tag_and_close(context, window);
}

SoftCCStatus emit_basic_pair(SoftCCContext *context, CaptionWindow *window, uint8_t b1, uint8_t b2)
{
    if (b1 == 0x00)
        return emit_character(context, window, basic_character(b2));
    /* A character lost to a failed step does not take its partner with it. */
    SoftCCStatus status = emit_character(context, window, basic_character(b1));
    if (b2 == 0x00) /* a second byte of 0 is padding */
        return status;
    SoftCCStatus second = emit_character(context, window, basic_character(b2));
    return status != SOFTCC_OK ? status : second;
}

/* The stream sends a basic-set stand-in first; the extended code replaces it. */
SoftCCStatus emit_extended(SoftCCContext *context, CaptionWindow *window, uint8_t b1, uint8_t b2)
{
    SoftCCStatus status = vqsoftcc_internal_backspace(window);
    if (status != SOFTCC_OK)
        return status;
    return emit_character(context, window, extended_character(b1, b2));
}

SoftCCStatus emit_pair_characters(SoftCCContext *context, CaptionWindow *window, PairClass kind,
                                  uint8_t b1, uint8_t b2)
{
    switch (kind) {
    case kBasicPair: return emit_basic_pair(context, window, b1, b2);
    case kExtendedPair: return emit_extended(context, window, b1, b2);
    default: return emit_character(context, window, SpecialEIA608_UCS2_LookupTable[b2 - 0x30u]);
    }
}

/* Pop-on text goes into the hidden memory and reaches the host at the swap. */
SoftCCStatus put_character_pair(SoftCCContext *context, PairClass kind)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    if (window == nullptr)
        return SOFTCC_OK;
    const Eia608State &state = state_of(context);
    SoftCCStatus status =
        emit_pair_characters(context, window, kind, state.first_byte, state.second_byte);
    if (status != SOFTCC_OK)
        return status;
    refresh_if_visible(context, window);
    return SOFTCC_OK;
}

/* ---- Caption modes and memories ------------------------------------------- */

void retag_leaving_roll_up(Eia608State &state, CaptionWindow *displayed)
{
    displayed->row_count = 15;
    uint32_t shift = state.rollup_base_row + 1u - state.rollup_depth;
    for (TextSegment *s = displayed->segments; s != nullptr; s = s->next) {
        if (s->caption_mode != kModeRollUp)
            continue;
        s->row = static_cast<int8_t>(static_cast<uint32_t>(s->row) + shift);
        s->caption_mode = kModePaintOn;
    }
}

/* Roll-up text becomes paint-on text at its screen rows in a full window. */
void leave_roll_up(SoftCCContext *context)
{
    Eia608State &state = state_of(context);
    if (state.caption_mode == kModeRollUp)
        retag_leaving_roll_up(state, displayed_window(context));
}

void set_caption_window(SoftCCContext *context, const CaptionWindow *window)
{
    state_of(context).caption_window = window->id;
    context->current_window = window->id;
}

/* Pop-on and paint-on start alike; roll-up text stays on screen as paint-on text. */
void start_pop_on_or_paint_on(SoftCCContext *context, uint32_t mode, const CaptionWindow *window)
{
    leave_roll_up(context);
    Eia608State &state = state_of(context);
    state.caption_mode = mode;
    state.segment_mode = mode;
    set_caption_window(context, window);
}

void resume_caption_loading(SoftCCContext *context)
{
    start_pop_on_or_paint_on(context, kModePopOn, non_displayed_window(context));
    refresh_both(context, displayed_window(context), non_displayed_window(context));
}

void resume_direct_captioning(SoftCCContext *context)
{
    start_pop_on_or_paint_on(context, kModePaintOn, displayed_window(context));
}

void remove_other_than_roll_up(CaptionWindow *window)
{
    TextSegment **link = &window->segments;
    while (*link != nullptr) {
        TextSegment *segment = *link;
        if (segment->caption_mode == kModeRollUp) {
            link = &segment->next;
            continue;
        }
        *link = segment->next;
        VQFree(segment);
    }
}

bool holds_roll_up_text(const CaptionWindow *window)
{
    for (const TextSegment *s = window->segments; s != nullptr; s = s->next) {
        if (s->caption_mode == kModeRollUp)
            return true;
    }
    return false;
}

void shift_rows(CaptionWindow *window, uint32_t by, bool roll_up_only)
{
    for (TextSegment *s = window->segments; s != nullptr; s = s->next) {
        if (!roll_up_only || s->caption_mode == kModeRollUp)
            s->row = static_cast<int8_t>(static_cast<uint32_t>(s->row) + by);
    }
}

uint8_t roll_up_row_count(uint32_t depth, uint32_t base_row)
{
    return static_cast<uint8_t>(depth + 14u - base_row);
}

/* Text of every other mode leaves both memories; roll-up text turns window-relative. */
void enter_roll_up(SoftCCContext *context, CaptionWindow *displayed)
{
    Eia608State &state = state_of(context);
    remove_other_than_roll_up(&context->windows[0]);
    remove_other_than_roll_up(&context->windows[1]);
    displayed->next = nullptr;
    refresh_one(context, displayed);
    shift_rows(displayed, state.rollup_depth - 1u - state.rollup_base_row, true);
    displayed->row_count = roll_up_row_count(state.rollup_depth, state.rollup_base_row);
    state.caption_mode = kModeRollUp;
    state.segment_mode = kModeRollUp;
    displayed->cursor_column = 0;
}

/* A new depth keeps the base row: the oldest rows go, or empty rows appear on top. */
void change_roll_up_depth(Eia608State &state, CaptionWindow *displayed, uint32_t depth)
{
    int32_t change = static_cast<int32_t>(depth) - static_cast<int32_t>(state.rollup_depth);
    state.rollup_depth = depth;
    uint8_t rows = roll_up_row_count(depth, state.rollup_base_row);
    for (int32_t i = change; i < 0; ++i)
        vqsoftcc_internal_scroll_window(displayed);
    if (change > 0)
        shift_rows(displayed, static_cast<uint32_t>(change), false);
    displayed->row_count = rows;
}

void roll_up(SoftCCContext *context, uint8_t b2)
{
    Eia608State &state = state_of(context);
    CaptionWindow *displayed = displayed_window(context);
    uint32_t depth = b2 - 0x23u;
    set_caption_window(context, displayed);
    if (state.caption_mode != kModeRollUp)
        enter_roll_up(context, displayed);
    displayed->cursor_row = static_cast<int16_t>(depth - 1u);
    if (!holds_roll_up_text(displayed)) {
        displayed->row_count = static_cast<uint8_t>(depth);
        state.rollup_depth = depth;
        state.rollup_base_row = 14;
        return;
    }
    if (depth != state.rollup_depth)
        change_roll_up_depth(state, displayed, depth);
}

/* In pop-on mode writing goes on in the memory now hidden; otherwise in the one shown. */
void end_of_caption(SoftCCContext *context)
{
    CaptionWindow *displayed = displayed_window(context);
    CaptionWindow *hidden = non_displayed_window(context);
    displayed->flags = static_cast<uint8_t>(displayed->flags & ~SOFTCC_WINDOW_VISIBLE);
    hidden->flags = static_cast<uint8_t>(hidden->flags | SOFTCC_WINDOW_VISIBLE);
    int32_t next = (context->current_window == displayed->id) ? hidden->id : displayed->id;
    context->current_window = next;
    state_of(context).caption_window = next;
    refresh_both(context, displayed, hidden);
}

void erase_displayed_memory(SoftCCContext *context)
{
    CaptionWindow *displayed = displayed_window(context);
    vqsoftcc_internal_clear_window(displayed);
    displayed->next = nullptr;
    displayed->style.fill_opacity = 3;
    refresh_one(context, displayed);
}

void erase_non_displayed_memory(SoftCCContext *context)
{
    CaptionWindow *hidden = non_displayed_window(context);
    hidden->style.fill_opacity = 3;
    vqsoftcc_internal_clear_window(hidden);
}

/* Captions scroll on every return; text moves down a row and scrolls from the last. */
void roll_up_carriage_return(SoftCCContext *context)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    if (window == nullptr)
        return;
    const Eia608State &state = state_of(context);
    vqsoftcc_internal_carriage_return(window);
    bool on_last_row = window->cursor_row == window->row_count - 1;
    if (!state.caption_active && (!state.text_active || !on_last_row)) {
        ++window->cursor_row;
        return;
    }
    vqsoftcc_internal_scroll_window(window);
    if (!vqsoftcc_internal_is_visible(window))
        return;
    window->next = nullptr;
    (void)context->profile.scroll_windows(context->profile.user, window);
}

void caption_carriage_return(SoftCCContext *context)
{
    if (state_of(context).caption_mode == kModeRollUp)
        roll_up_carriage_return(context);
}

/* Text mode shows an opaque box over the whole caption area. */
void resume_text_display(SoftCCContext *context)
{
    CaptionWindow *displayed = displayed_window(context);
    Eia608State &state = state_of(context);
    displayed->row_count = 15;
    displayed->column_count = 32;
    displayed->style.fill_color = 0;
    displayed->style.fill_opacity = 0;
    state.segment_mode = kModeText;
    state.text_window = displayed->id;
    context->current_window = displayed->id;
    refresh_one(context, displayed);
}

void text_restart(SoftCCContext *context)
{
    CaptionWindow *displayed = displayed_window(context);
    Eia608State &state = state_of(context);
    vqsoftcc_internal_clear_window(displayed);
    displayed->cursor_row = 0;
    displayed->cursor_column = 0;
    state.in_angle_link = 0;
    state.in_square_link = 0;
    resume_text_display(context);
}

/* ---- Commands on the current window --------------------------------------- */

/* Backspace and Delete to End of Row show their result at once. */
SoftCCStatus refresh_after(SoftCCContext *context, CaptionWindow *window, SoftCCStatus status)
{
    if (status == SOFTCC_OK)
        refresh_if_visible(context, window);
    return status;
}

SoftCCStatus add_space_and_close(SoftCCContext *context, CaptionWindow *window, bool alone)
{
    SoftCCStatus status = vqsoftcc_internal_add_char_to_current_segment(window, 0x20);
    if (status != SOFTCC_OK)
        return status;
    if (alone)
        window->current_segment->no_merge = 1;
    return tag_and_close(context, window);
}

/* The flashing space must stay a run of its own. */
SoftCCStatus flash_on(SoftCCContext *context, CaptionWindow *window)
{
    window->pen.fg_opacity = 1;
    return add_space_and_close(context, window, true);
}

/* A roll-up PAC moves the whole roll-up area, text included, to the named base row. */
void move_roll_up_base_row(Eia608State &state, CaptionWindow *window, uint32_t row)
{
    if (row == state.rollup_base_row)
        return;
    window->row_count = roll_up_row_count(state.rollup_depth, row);
    state.rollup_base_row = row;
}

void preamble_address(SoftCCContext *context, CaptionWindow *window, uint8_t b1, uint8_t b2)
{
    Eia608State &state = state_of(context);
    int32_t row = PAC_Row_LookupTable[((b1 & 7u) << 1) | ((b2 >> 5) & 1u)];
    uint8_t kind = b2 & 0xDF;
    uint32_t color = (kind <= 0x4D) ? color_of(b2) : 0x2A;
    bool italics = kind == 0x4E || kind == 0x4F;
    int16_t indent = (kind >= 0x50) ? static_cast<int16_t>(4 * ((b2 >> 1) & 7u)) : 0;

    set_attribute_bit(window->pen, SOFTCC_PEN_UNDERLINE, (b2 & 1u) != 0);
    set_attribute_bit(window->pen, SOFTCC_PEN_ITALICS, italics);
    window->pen.fg_color = static_cast<uint8_t>(color);
    window->pen.fg_opacity = 0; /* ends a flash */
    if (!state.text_active) {
        if (state.caption_mode == kModeRollUp)
            move_roll_up_base_row(state, window, static_cast<uint32_t>(row));
        else
            window->cursor_row = static_cast<int16_t>(row);
    }
    window->cursor_column = indent;
}

/* The space before the new attributes keeps the old colour and italics, never underline. */
SoftCCStatus mid_row(SoftCCContext *context, CaptionWindow *window, uint8_t b2)
{
    bool italics = b2 >= 0x2E;
    PenStyle pen = window->pen;
    uint8_t color = italics ? window->pen.fg_color : static_cast<uint8_t>(color_of(b2));
    set_attribute_bit(window->pen, SOFTCC_PEN_UNDERLINE, false);
    SoftCCStatus status = add_space_and_close(context, window, false);
    if (status != SOFTCC_OK)
        return status;
    pen.fg_color = color;
    set_attribute_bit(pen, SOFTCC_PEN_ITALICS, italics);
    set_attribute_bit(pen, SOFTCC_PEN_UNDERLINE, (b2 & 1u) != 0);
    pen.fg_opacity = 0;
    window->pen = pen;
    return SOFTCC_OK;
}

void tab_offset(CaptionWindow *window, uint8_t b2)
{
    int32_t column = window->cursor_column + (b2 & 0x0F);
    window->cursor_column = static_cast<int16_t>(column < 31 ? column : 31);
}

/* The stream puts a standard space before a background code; it is replaced. */
SoftCCStatus background(SoftCCContext *context, CaptionWindow *window, uint8_t color,
                        uint32_t opacity)
{
    SoftCCStatus status = vqsoftcc_internal_backspace(window);
    if (status != SOFTCC_OK)
        return status;
    window->pen.bg_color = color;
    window->pen.bg_opacity = opacity;
    return add_space_and_close(context, window, false);
}

SoftCCStatus background_attribute(SoftCCContext *context, CaptionWindow *window, uint8_t b2)
{
    uint32_t opacity = (b2 & 1u) ? 2u : 0u;
    return background(context, window, static_cast<uint8_t>(color_of(b2)), opacity);
}

/* ---- Dispatch --------------------------------------------------------------- */

Command command_of(uint8_t b1, uint8_t b2, Path path)
{
    if (is_misc_code(b1, b2)) {
        const MiscCodeCommands &entry = kMiscCodeCommands[b2 - 0x20];
        return static_cast<Command>(path == kCaptionPath ? entry.caption : entry.text);
    }
    bool control = in_range(b1, 0x10, 0x1F);
    uint8_t base = b1 & 0xF7;
    if (control && in_range(b2, 0x40, 0x7F) && !((b1 & 0x77) == 0x10 && b2 >= 0x60))
        return kPreambleAddress;
    if (base == 0x11 && in_range(b2, 0x20, 0x2F))
        return kMidRow;
    if (base == 0x17 && in_range(b2, 0x21, 0x23))
        return kTabOffset;
    if (base == 0x10 && in_range(b2, 0x20, 0x2F))
        return kBackground;
    if (base == 0x17 && b2 == 0x2D)
        return kBackgroundTransparent;
    return kNothing;
}

/* Commands on the memories, which need no current window. */
void run_mode_command(SoftCCContext *context, Command command, uint8_t b2)
{
    switch (command) {
    case kResumeCaptionLoading: resume_caption_loading(context); break;
    case kResumeDirectCaptioning: resume_direct_captioning(context); break;
    case kRollUp: roll_up(context, b2); break;
    case kEndOfCaption: end_of_caption(context); break;
    case kEraseDisplayedMemory: erase_displayed_memory(context); break;
    case kEraseNonDisplayedMemory: erase_non_displayed_memory(context); break;
    case kCaptionCarriageReturn: caption_carriage_return(context); break;
    case kRollUpCarriageReturn: roll_up_carriage_return(context); break;
    case kTextRestart: text_restart(context); break;
    case kResumeTextDisplay: resume_text_display(context); break;
    default: break;
    }
}

/* Commands on the current window; without one they succeed doing nothing. */
SoftCCStatus run_window_command(SoftCCContext *context, Command command, uint8_t b1, uint8_t b2)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    if (window == nullptr)
        return SOFTCC_OK;
    switch (command) {
    case kBackspace:
        return refresh_after(context, window, vqsoftcc_internal_backspace(window));
    case kDeleteToEndOfRow:
        return refresh_after(context, window, vqsoftcc_internal_delete_to_end_of_row(window));
    case kFlashOn: return flash_on(context, window);
    case kPreambleAddress: preamble_address(context, window, b1, b2); return SOFTCC_OK;
    case kMidRow: return mid_row(context, window, b2);
    case kTabOffset: tab_offset(window, b2); return SOFTCC_OK;
    case kBackground: return background_attribute(context, window, b2);
    case kBackgroundTransparent: return background(context, window, 0x22, 3);
    default: return SOFTCC_OK;
    }
}

bool needs_window(Command command)
{
    return command == kBackspace || command == kDeleteToEndOfRow || command == kFlashOn ||
           command >= kPreambleAddress;
}

SoftCCStatus run_command(SoftCCContext *context, Command command, uint8_t b1, uint8_t b2)
{
    if (needs_window(command))
        return run_window_command(context, command, b1, b2);
    run_mode_command(context, command, b2);
    return SOFTCC_OK;
}

void report_failure(Path path, SoftCCStatus status)
{
    if (path == kCaptionPath)
        vqsoftcc_internal_report(SOFTCC_EIA608_SOURCE, status, kCaptionReportLine,
                                 "Could not process captioning code\n");
    else
        vqsoftcc_internal_report(SOFTCC_EIA608_SOURCE, status, kTextReportLine,
                                 "Could not process text code\n");
}

/* A control code sent twice in a row is acted on once; a third copy counts again. */
void handle_control_pair(SoftCCContext *context, Path path, uint8_t b1, uint8_t b2)
{
    Eia608State &state = state_of(context);
    uint16_t code = static_cast<uint16_t>((b1 << 8) | b2);
    if (code == 0 || code == state.last_control_code) {
        state.last_control_code = 0;
        return;
    }
    SoftCCStatus status = run_command(context, command_of(b1, b2, path), b1, b2);
    state.last_control_code = code;
    if (status != SOFTCC_OK)
        report_failure(path, status);
}

void handle_pair(SoftCCContext *context, Path path)
{
    Eia608State &state = state_of(context);
    uint8_t b1 = state.first_byte;
    uint8_t b2 = state.second_byte;
    PairClass kind = classify_pair(b1, b2);
    if (kind != kControlPair) {
        (void)put_character_pair(context, kind);
        state.last_control_code = 0;
        return;
    }
    handle_control_pair(context, path, b1, b2);
}

/* ---- Channel, mode and XDS tracking -------------------------------------- */

void start_mode(SoftCCContext *context, uint8_t b1, uint8_t &mode_flag, uint8_t &other_flag)
{
    Eia608State &state = state_of(context);
    state.xds_active = 0;
    other_flag = 0;
    mode_flag = on_selected_channel(context, b1) && context->service != kXdsService;
}

void enter_xds_data(SoftCCContext *context)
{
    context->current_window = state_of(context).xds_window;
}

/* Follows the mode-start codes of either channel; answers whether the pair is XDS data. */
bool track_modes(SoftCCContext *context)
{
    Eia608State &state = state_of(context);
    uint8_t b1 = state.first_byte;
    uint8_t b2 = state.second_byte;
    if (in_range(b1, 0x01, 0x0F)) {
        state.xds_active = (context->service >> 1) & 1u;
        if (state.xds_active)
            enter_xds_data(context);
        return state.xds_active != 0;
    }
    if (is_text_mode_start(b1, b2)) {
        start_mode(context, b1, state.text_active, state.caption_active);
        return false;
    }
    if (is_caption_mode_start(b1, b2)) {
        start_mode(context, b1, state.caption_active, state.text_active);
        return false;
    }
    if (!state.xds_active)
        return false;
    if (in_range(b1, 0x10, 0x1F)) {
        state.xds_active = 0;
        return false;
    }
    enter_xds_data(context);
    return true;
}

void select_window(SoftCCContext *context)
{
    const Eia608State &state = state_of(context);
    if (state.text_active)
        context->current_window = state.text_window;
    else if (state.caption_active)
        context->current_window = state.caption_window;
}

/* ---- Paths by service ------------------------------------------------------- */

bool is_selected_erase(const SoftCCContext *context, uint8_t b1, uint8_t b2)
{
    return is_misc_code(b1, b2) && (b2 == 0x2C || b2 == 0x2E) && on_selected_channel(context, b1);
}

/* Without a caption mode only the erase codes of the followed channel get through. */
void caption_path(SoftCCContext *context)
{
    const Eia608State &state = state_of(context);
    if (!state.caption_active && !is_selected_erase(context, state.first_byte, state.second_byte))
        return;
    handle_pair(context, kCaptionPath);
}

/* Updates the link flags for one byte; answers whether it belongs to a link. */
bool byte_in_link(Eia608State &state, uint8_t byte)
{
    switch (byte) {
    case '<': state.in_angle_link = 1; return true;
    case '>': state.in_angle_link = 0; return true;
    case '[': state.in_square_link = 1; return true;
    case ']': state.in_square_link = 0; return true;
    default: return state.in_angle_link != 0 || state.in_square_link != 0;
    }
}

void forward_link(SoftCCContext *context, const uint8_t *bytes, uint32_t count)
{
    (void)context->profile.forward_link_data(context->profile.user, bytes, count);
}

/* Link text of the second text service goes to the host, not the screen.
 * Answers whether anything of the pair is left to process. */
bool filter_link_bytes(SoftCCContext *context)
{
    Eia608State &state = state_of(context);
    uint8_t b1 = state.first_byte;
    uint8_t b2 = state.second_byte;
    bool first = (b1 == 0x00 || in_range(b1, 0x20, 0x7E)) && byte_in_link(state, b1);
    bool second = in_range(b2, 0x20, 0x7E) && byte_in_link(state, b2);
    if (first && second) {
        forward_link(context, &state.first_byte, 2);
        return false;
    }
    if (second) {
        forward_link(context, &state.second_byte, 1);
        state.second_byte = 0;
    } else if (first) {
        forward_link(context, &state.first_byte, 1);
        state.first_byte = 0;
    }
    return true;
}

void text_path(SoftCCContext *context)
{
    if (!state_of(context).text_active)
        return;
    if (context->service == kLinkService && !filter_link_bytes(context))
        return;
    handle_pair(context, kTextPath);
}

void forward_xds(SoftCCContext *context)
{
    (void)context->profile.forward_xds_data(context->profile.user, &state_of(context).first_byte,
                                            2);
}

/* The null pair 80 80 fills most frames of a stream.  On a caption service
 * outside XDS it only selects the window and clears the repeat filter. */
bool is_null_pair(const uint8_t *pair)
{
    uint16_t both;
    __builtin_memcpy(&both, pair, 2);
    return both == 0x8080; /* the same in either byte order */
}

bool null_pair_is_plain(const SoftCCContext *context)
{
    return context->service < 4 && !state_of(context).xds_active;
}

void process_null_pair(SoftCCContext *context)
{
    Eia608State &state = state_of(context);
    state.first_byte = 0;
    state.second_byte = 0;
    select_window(context);
    if (state.caption_active)
        state.last_control_code = 0;
}

/* Out of line, so that the byte input around the null pairs saves no
 * registers.  Failures are reported, never returned: the result is SOFTCC_OK. */
VQSOFTCC_NOINLINE SoftCCStatus process_pair(SoftCCContext *context)
{
    Eia608State &state = state_of(context);
    if (!has_odd_parity(state.first_byte) || !has_odd_parity(state.second_byte)) {
        display_reset(context);
        return SOFTCC_OK;
    }
    if (context->service == kNoService)
        return SOFTCC_OK;
    state.first_byte &= 0x7F;
    state.second_byte &= 0x7F;
    bool xds_data = track_modes(context);
    if (!xds_data)
        select_window(context);

    uint32_t service = context->service;
    if (service < 4)
        caption_path(context);
    else if (service < 8)
        text_path(context);
    else if (service == kXdsService && xds_data)
        forward_xds(context);
    return SOFTCC_OK;
}

/* Pairs the bytes, which may split a pair across calls. */
VQSOFTCC_NOINLINE SoftCCStatus take_bytes(SoftCCContext *context, const uint8_t *data,
                                          uint32_t length)
{
    Eia608State &state = state_of(context);
    for (uint32_t i = 0; i < length; ++i) {
        if (!state.have_first_byte) {
            state.first_byte = data[i];
            state.have_first_byte = 1;
            continue;
        }
        state.second_byte = data[i];
        state.have_first_byte = 0;
        if (is_null_pair(&state.first_byte) && null_pair_is_plain(context))
            process_null_pair(context);
        else
            process_pair(context);
    }
    return SOFTCC_OK;
}

} // namespace

/* Byte input: failures are reported, never returned. */
SoftCCStatus vqsoftcc_internal_decode_eia608(SoftCCContext *context, const uint8_t *data,
                                             uint32_t length)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    if (length == 0)
        return SOFTCC_OK;
    if (data == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    Eia608State &state = state_of(context);
    if (length != 2 || state.have_first_byte)
        return take_bytes(context, data, length);
    /* One pair a frame, as hosts feed them; most frames bring the null pair. */
    if (is_null_pair(data) && null_pair_is_plain(context)) {
        process_null_pair(context);
        return SOFTCC_OK;
    }
    state.first_byte = data[0];
    state.second_byte = data[1];
    return process_pair(context);
}
