/*
 * EIA-708 (DTVCC) decoder: packets and service blocks into codes, codes into
 * up to eight caption windows, and the Delay machinery.
 */
#include "vqsoftcc_internal.h"

/* ---- Constant tables -------------------------------------------------------- */

extern "C" {

/* Predefined window styles by DefineWindow style id; row 0 equals row 1.
 * effect_direction 4 is a value SetWindowAttributes can never produce. */
#define SOFTCC_WS(justify, print, scroll, wrap, fill_opacity) \
    { justify, print, scroll, wrap, 0, 4, 0, {0, 0, 0}, 0, fill_opacity, 0, 0 }
const WindowStyle PredefinedWindowStyles[8] = {
    SOFTCC_WS(0, 0, 3, 0, 0),
    SOFTCC_WS(0, 0, 3, 0, 0),
    SOFTCC_WS(0, 0, 3, 0, 3), /* transparent fill */
    SOFTCC_WS(2, 0, 3, 0, 0), /* centred */
    SOFTCC_WS(0, 0, 3, 1, 0), /* word wrap */
    SOFTCC_WS(0, 0, 3, 1, 3),
    SOFTCC_WS(2, 0, 3, 1, 0),
    SOFTCC_WS(0, 2, 1, 0, 0), /* top to bottom, scrolling right to left */
};
#undef SOFTCC_WS

/* Predefined pen styles by DefineWindow pen id; row 0 equals row 1. */
#define SOFTCC_PS(font, bg_opacity, edge) { 1, font, 0x3F, 0, 0x00, bg_opacity, edge, 0x00, 0, 1 }
const PenStyle PredefinedPenStyles[8] = {
    SOFTCC_PS(0, 0, 0), SOFTCC_PS(0, 0, 0), SOFTCC_PS(1, 0, 0), SOFTCC_PS(2, 0, 0),
    SOFTCC_PS(3, 0, 0), SOFTCC_PS(4, 0, 0), SOFTCC_PS(3, 3, 3), SOFTCC_PS(4, 3, 3),
};
#undef SOFTCC_PS

/* G2 codes 0x20-0x3F (entries 0-31) and 0x70-0x7F (entries 32-47). */
const uint16_t EIA708_G2_UCS2_LookupTable[48] = {
    /* 0x20 */ 0xF8FE, 0xF8FD, 0x005F, 0x005F, 0x005F, 0x2026, 0x005F, 0x005F,
    /* 0x28 */ 0x005F, 0x005F, 0x0160, 0x005F, 0x0152, 0x005F, 0x005F, 0x005F,
    /* 0x30 */ 0x2588, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x005F, 0x005F,
    /* 0x38 */ 0x005F, 0x2122, 0x0161, 0x005F, 0x0153, 0x2120, 0x005F, 0x0178,
    /* 0x70 */ 0x005F, 0x005F, 0x005F, 0x005F, 0x005F, 0x005F, 0x215B, 0x215C,
    /* 0x78 */ 0x215D, 0x215E, 0x2502, 0x2510, 0x2514, 0x2500, 0x2518, 0x250C,
};

} // extern "C"

namespace {

/* Report lines: each reporting site has its fixed line in the diagnostics. */
constexpr uint32_t kOverflowCodeFailedLine = 204;
constexpr uint32_t kCodeFailedLine = 214;
constexpr uint32_t kDelayedCodeFailedLine = 328;
constexpr uint32_t kFormFeedRefreshLine = 695;
constexpr uint32_t kScrollFailedLine = 750;
constexpr uint32_t kHcrRefreshLine = 774;
constexpr uint32_t kFlushRefreshLine = 799;
constexpr uint32_t kDefineFailedLine = 898;
constexpr uint32_t kDefineRefreshLine = 905;
constexpr uint32_t kDeleteWindowsFailedLine = 934;
constexpr uint32_t kSetWindowAttributesRefreshLine = 1124;
constexpr uint32_t kSetDelayAlarmFailedLine = 1203;
constexpr uint32_t kCancelDelayAlarmFailedLine = 1218;

constexpr const char *kCodeFailedMessage = "EIA-708 code interpretation failed\n";
constexpr const char *kRefreshFailedMessage = "refresh_windows failed\n";

Eia708State &state_of(SoftCCContext *context)
{
    return context->format_state.eia708;
}

void report(SoftCCStatus status, uint32_t line, const char *message)
{
    vqsoftcc_internal_report(SOFTCC_EIA708_SOURCE, status, line, message);
}

/* After a successful list callback the windows leave the list again. */
void unlink_window_list(CaptionWindow *head)
{
    while (head != nullptr) {
        CaptionWindow *next = head->next;
        head->next = nullptr;
        head = next;
    }
}

/*
 * Deletes the defined windows named by the bitmap through one delete_windows
 * call, highest id first.  The current window is forgotten when its bit is
 * set, defined or not, and stays forgotten when the host refuses.
 */
SoftCCStatus delete_windows_in_bitmap(SoftCCContext *context, uint8_t bitmap)
{
    CaptionWindow *head = nullptr;
    for (int32_t index = 0; index < SOFTCC_WINDOW_COUNT; ++index) {
        if ((bitmap & (1u << index)) == 0)
            continue;
        CaptionWindow *window = &context->windows[index];
        if (window->defined) {
            window->next = head;
            head = window;
        }
        if (context->current_window == index)
            context->current_window = SOFTCC_NO_WINDOW;
    }
    if (head == nullptr)
        return SOFTCC_OK;

    SoftCCStatus status = context->profile.delete_windows(context->profile.user, head);
    if (status != SOFTCC_OK) {
        report(status, kDeleteWindowsFailedLine, "delete_windows failed\n");
        return status;
    }
    while (head != nullptr) {
        CaptionWindow *next = head->next;
        vqsoftcc_internal_delete_window(&context->windows[head->id]);
        head->next = nullptr;
        head = next;
    }
    return SOFTCC_OK;
}

/* Deletes every defined window; a refusal is reported, never returned. */
void sweep_windows(SoftCCContext *context)
{
    (void)delete_windows_in_bitmap(context, 0xFF);
}

/* Ends the delay and disarms the host's alarm whether or not one is armed;
 * the flag drops before the host hears of it. */
SoftCCStatus end_delay(SoftCCContext *context)
{
    state_of(context).delay_active = 0;
    SoftCCStatus status = context->profile.cancel_delay_alarm(context->profile.user);
    if (status != SOFTCC_OK)
        report(status, kCancelDelayAlarmFailedLine, "cancel_delay_alarm failed\n");
    return status;
}

/* Ends a delay in force; without one the host is not bothered. */
void cancel_delay(SoftCCContext *context)
{
    if (state_of(context).delay_active)
        (void)end_delay(context);
}

VQSOFTCC_INLINE void interpret_and_report(SoftCCContext *context, const uint8_t *code,
                                          uint32_t length, uint32_t line)
{
    SoftCCStatus status = interpret_code_eia708(context, code, length);
    if (status != SOFTCC_OK)
        report(status, line, kCodeFailedMessage);
}

/*
 * Moves the held-back codes behind `index` to the front of the buffer, their
 * lengths with them.  Copied in pieces no longer than the gap so that source
 * and destination never overlap.
 */
void move_delayed_codes_to_front(Eia708State &state, uint32_t index)
{
    for (uint32_t moved = 0; moved < state.delayed_fill;) {
        uint32_t piece = state.delayed_fill - moved;
        if (piece > index)
            piece = index;
        VQMemcpy(&state.delayed_codes[moved], &state.delayed_codes[index + moved], piece);
        VQMemcpy(&state.delayed_code_lengths[moved], &state.delayed_code_lengths[index + moved],
                 piece);
        moved += piece;
    }
}

/*
 * Replays the codes held back during a delay, in arrival order.  A replayed
 * Delay starts a new delay and leaves the rest waiting; a replayed code whose
 * define_windows failed resets the service, which empties the buffer.
 */
void flush_delayed_codes(SoftCCContext *context)
{
    Eia708State &state = state_of(context);
    if (state.delayed_fill == 0 || state.delay_active)
        return;
    uint32_t index = 0;
    for (;;) {
        uint32_t length = state.delayed_code_lengths[index];
        state.delayed_fill -= length;
        interpret_and_report(context, &state.delayed_codes[index], length,
                             kDelayedCodeFailedLine);
        index += length;
        if (state.delayed_fill == 0)
            return;
        if (state.delay_active) {
            move_delayed_codes_to_front(state, index);
            return;
        }
    }
}

} // namespace
/* ---- Lifecycle ---------------------------------------------------------------- */

SoftCCStatus vqsoftcc_internal_open_eia708(const SoftCCOpenProfile *profile, SoftCCContext **slot)
{
    if (profile == nullptr || slot == nullptr || *slot == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    (*slot)->current_window = SOFTCC_NO_WINDOW;
    return SOFTCC_OK;
}

SoftCCStatus vqsoftcc_internal_close_eia708(SoftCCContext *context)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    sweep_windows(context);
    cancel_delay(context);
    return SOFTCC_OK;
}

SoftCCStatus vqsoftcc_internal_reset_eia708(SoftCCContext *context)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    sweep_windows(context);
    cancel_delay(context);
    VQMemset(&state_of(context), 0, sizeof(Eia708State));
    context->current_window = SOFTCC_NO_WINDOW;
    return SOFTCC_OK;
}

SoftCCStatus vqsoftcc_internal_select_service_eia708(SoftCCContext *context, uint32_t service)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    if (service != context->service)
        (void)vqsoftcc_internal_reset_eia708(context);
    context->service = service;
    (void)vqsoftcc_internal_reset_eia708(context);
    return SOFTCC_OK;
}

/* Used by the Reset command, by a Reset held up in a delay and after a failed
 * define_windows.  Failures are reported, never returned. */
SoftCCStatus reset_service_eia708(SoftCCContext *context)
{
    sweep_windows(context);
    cancel_delay(context);
    state_of(context).delayed_fill = 0;
    return SOFTCC_OK;
}

/* ---- Code interpreter: characters and the segment flush --------------------------- */

namespace {

constexpr uint8_t kExt1 = 0x10;
constexpr uint8_t kP16 = 0x18;

bool is_graphic(uint8_t byte)
{
    return (byte >= 0x20 && byte <= 0x7F) || byte >= 0xA0;
}

/* G0 is ASCII but for the music note at 0x7F; G1 is Latin-1. */
uint16_t g0_g1_code_point(uint8_t byte)
{
    return byte == 0x7F ? 0x266A : byte;
}

/* G2 (0x20-0x7F after EXT1) and G3 (0xA0-0xFF after EXT1); everything the
 * renderer cannot show becomes a low line. */
uint16_t g2_g3_code_point(uint8_t byte)
{
    if (byte >= 0x20 && byte <= 0x3F)
        return EIA708_G2_UCS2_LookupTable[byte - 0x20];
    if (byte >= 0x70 && byte <= 0x7F)
        return EIA708_G2_UCS2_LookupTable[byte - 0x50];
    if (byte == 0xA0)
        return 0xF8FF;
    return 0x005F;
}

SoftCCStatus refresh_one_window(SoftCCContext *context, CaptionWindow *window, uint32_t line)
{
    SoftCCStatus status = context->profile.refresh_windows(context->profile.user, window);
    if (status != SOFTCC_OK)
        report(status, line, kRefreshFailedMessage);
    return status;
}

/* Closes the window's pending run and shows it if the window is visible. */
VQSOFTCC_INLINE SoftCCStatus flush_window(SoftCCContext *context, CaptionWindow *window)
{
    const TextSegment *pending = window->current_segment;
    if (pending == nullptr || pending->length == 0)
        return SOFTCC_OK;
    SoftCCStatus status = vqsoftcc_internal_terminate_current_segment(context);
    if (status != SOFTCC_OK)
        return status;
    if (!vqsoftcc_internal_is_visible(window))
        return SOFTCC_OK;
    return refresh_one_window(context, window, kFlushRefreshLine);
}

SoftCCStatus flush_current_segment_eia708(SoftCCContext *context)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    return window == nullptr ? SOFTCC_OK : flush_window(context, window);
}

/* A character that does not go straight onto the run before it: typed into
 * the window's open run, which a left-justified window shows at once.  Out
 * of line: the input loop takes the short way far more often. */
VQSOFTCC_NOINLINE SoftCCStatus type_into_open_run(SoftCCContext *context, CaptionWindow *window,
                                                  uint16_t code_point)
{
    if (vqsoftcc_internal_add_char_to_current_segment(window, code_point) != SOFTCC_OK)
        return SOFTCC_OK;
    if (window->style.justify == 0)
        (void)flush_window(context, window);
    return SOFTCC_OK;
}

/* A left-justified window shows every character at once; the others wait
 * for the next control code, since their line is laid out only when whole.
 * Character failures never reach the caller.  Inline: characters are most
 * codes, and the input loop that finds them has the context at hand. */
VQSOFTCC_INLINE SoftCCStatus add_character(SoftCCContext *context, uint16_t code_point)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    if (window == nullptr)
        return SOFTCC_OK;
    if (window->style.justify != 0 ||
        !vqsoftcc_internal_type_onto_previous_run(window, code_point))
        return type_into_open_run(context, window, code_point);
    /* Closing failed when it found no memory for the next run. */
    if (window->current_segment != nullptr && vqsoftcc_internal_is_visible(window))
        (void)refresh_one_window(context, window, kFlushRefreshLine);
    return SOFTCC_OK;
}

/* ---- C0 codes ---------------------------------------------------------------------- */

SoftCCStatus refresh_if_visible(SoftCCContext *context, CaptionWindow *window, uint32_t line)
{
    if (!vqsoftcc_internal_is_visible(window))
        return SOFTCC_OK;
    window->next = nullptr;
    return refresh_one_window(context, window, line);
}

SoftCCStatus form_feed(SoftCCContext *context)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    if (window == nullptr)
        return SOFTCC_OK;
    vqsoftcc_internal_clear_window(window);
    window->cursor_row = 0;
    window->cursor_column = 0;
    return refresh_if_visible(context, window, kFormFeedRefreshLine);
}

/* Empties the cursor's line and puts the cursor at its start. */
SoftCCStatus horizontal_carriage_return(SoftCCContext *context)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    if (window == nullptr)
        return SOFTCC_OK;
    vqsoftcc_internal_carriage_return(window);
    (void)vqsoftcc_internal_delete_to_end_of_row(window);
    return refresh_if_visible(context, window, kHcrRefreshLine);
}

SoftCCStatus backspace(SoftCCContext *context)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    return window == nullptr ? SOFTCC_OK : vqsoftcc_internal_backspace(window);
}

/* Codes 0x00-0x1F; those without an action of their own only flush. */
SoftCCStatus run_c0_code(SoftCCContext *context, uint8_t code)
{
    switch (code) {
    case 0x08:
        return backspace(context);
    case 0x0C:
        return form_feed(context);
    case 0x0D:
        return carriage_return_eia708(context);
    case 0x0E:
        return horizontal_carriage_return(context);
    default:
        return SOFTCC_OK;
    }
}

} // namespace
/* ---- C1 window commands ------------------------------------------------------------ */

namespace {

constexpr uint8_t kSetCurrentWindow0 = 0x80;
constexpr uint8_t kClearWindows = 0x88;
constexpr uint8_t kDeleteWindows = 0x8C;
constexpr uint8_t kDelay = 0x8D;
constexpr uint8_t kDelayCancel = 0x8E;
constexpr uint8_t kReset = 0x8F;
constexpr uint8_t kSetPenAttributes = 0x90;
constexpr uint8_t kSetPenColor = 0x91;
constexpr uint8_t kSetPenLocation = 0x92;
constexpr uint8_t kSetWindowAttributes = 0x97;
constexpr uint8_t kDefineWindow0 = 0x98;

/* ClearWindows, DisplayWindows, HideWindows and ToggleWindows, in code order
 * from 0x88, with the line of their refresh report. */
enum WindowListChange { kClearText, kShow, kHide, kToggle };
constexpr uint32_t kWindowListRefreshLines[4] = {1006, 971, 1041, 1076};

void change_window(CaptionWindow *window, WindowListChange change)
{
    switch (change) {
    case kClearText:
        vqsoftcc_internal_clear_window(window);
        break;
    case kShow:
        window->flags |= SOFTCC_WINDOW_VISIBLE;
        break;
    case kHide:
        window->flags &= static_cast<uint8_t>(~SOFTCC_WINDOW_VISIBLE);
        break;
    case kToggle:
        window->flags ^= SOFTCC_WINDOW_VISIBLE;
        break;
    }
}

/* Every listed window is refreshed, whether or not it changed. */
SoftCCStatus change_windows_in_bitmap(SoftCCContext *context, uint8_t command, uint8_t bitmap)
{
    WindowListChange change = static_cast<WindowListChange>(command - kClearWindows);
    CaptionWindow *head = nullptr;
    for (int32_t index = 0; index < SOFTCC_WINDOW_COUNT; ++index) {
        CaptionWindow *window = &context->windows[index];
        if ((bitmap & (1u << index)) == 0 || !window->defined)
            continue;
        change_window(window, change);
        window->next = head;
        head = window;
    }
    if (head == nullptr)
        return SOFTCC_OK;
    SoftCCStatus status = context->profile.refresh_windows(context->profile.user, head);
    if (status != SOFTCC_OK) {
        report(status, kWindowListRefreshLines[change], kRefreshFailedMessage);
        return status;
    }
    unlink_window_list(head);
    return SOFTCC_OK;
}

void set_current_window(SoftCCContext *context, uint8_t id)
{
    if (context->windows[id].defined)
        context->current_window = id;
}

/* Holds codes back from now on; the alarm stays the host's to keep. */
SoftCCStatus start_delay(SoftCCContext *context, uint8_t tenths)
{
    state_of(context).delay_active = 1;
    SoftCCStatus status = context->profile.set_delay_alarm(
        context->profile.user, tenths * 100u, delay_alarm_expired_eia708, context);
    if (status != SOFTCC_OK)
        report(status, kSetDelayAlarmFailedLine, "set_delay_alarm failed\n");
    return status;
}

/* ---- DefineWindow ----------------------------------------------------------------- */

struct WindowGeometry {
    uint8_t priority;
    uint8_t flags;
    uint32_t anchor_point;
    uint8_t anchor_vertical;
    uint8_t anchor_horizontal;
    uint8_t row_count;
    uint8_t column_count;
};

WindowGeometry decode_geometry(const uint8_t *parameters)
{
    WindowGeometry geometry;
    geometry.priority = parameters[0] & 0x07;
    geometry.flags = static_cast<uint8_t>(((parameters[0] & 0x20) ? SOFTCC_WINDOW_VISIBLE : 0) |
                                          ((parameters[0] & 0x10) ? SOFTCC_WINDOW_ROW_LOCK : 0) |
                                          ((parameters[0] & 0x08) ? SOFTCC_WINDOW_COLUMN_LOCK : 0) |
                                          ((parameters[1] & 0x80) ? SOFTCC_WINDOW_RELATIVE : 0));
    geometry.anchor_vertical = parameters[1] & 0x7F;
    geometry.anchor_horizontal = parameters[2];
    geometry.anchor_point = parameters[3] >> 4;
    geometry.row_count = static_cast<uint8_t>((parameters[3] & 0x0F) + 1);
    geometry.column_count = static_cast<uint8_t>((parameters[4] & 0x3F) + 1);
    return geometry;
}

bool geometry_differs(const CaptionWindow *window, const WindowGeometry &geometry)
{
    return window->priority != geometry.priority || window->flags != geometry.flags ||
           window->anchor_point != geometry.anchor_point ||
           window->anchor_vertical != geometry.anchor_vertical ||
           window->anchor_horizontal != geometry.anchor_horizontal ||
           window->row_count != geometry.row_count ||
           window->column_count != geometry.column_count;
}

void store_geometry(CaptionWindow *window, const WindowGeometry &geometry)
{
    window->priority = geometry.priority;
    window->flags = geometry.flags;
    window->anchor_point = geometry.anchor_point;
    window->anchor_vertical = geometry.anchor_vertical;
    window->anchor_horizontal = geometry.anchor_horizontal;
    window->row_count = geometry.row_count;
    window->column_count = geometry.column_count;
}

void create_window(CaptionWindow *window, uint8_t id, uint8_t window_style, uint8_t pen_style)
{
    window->id = id;
    window->style = PredefinedWindowStyles[window_style];
    window->pen = PredefinedPenStyles[pen_style];
    window->segments = nullptr;
    window->current_segment = nullptr;
    window->cursor_row = 0;
    window->cursor_column = 0;
    window->text_tag = 0;
    window->defined = 1;
}

/* A redefinition keeps text and cursor.  A new window style wins over a new
 * pen style, and the pen changes only when the geometry stays put. */
void redefine_window(CaptionWindow *window, const WindowGeometry &geometry, uint8_t window_style,
                     uint8_t pen_style)
{
    bool changed = geometry_differs(window, geometry);
    if (window_style != 0 &&
        !vqsoftcc_internal_window_style_cmp(&window->style, &PredefinedWindowStyles[window_style])) {
        window->style = PredefinedWindowStyles[window_style];
        return;
    }
    if (pen_style != 0 && !changed)
        window->pen = PredefinedPenStyles[pen_style];
}

/* A host that cannot define the window gets a clean slate: the whole service
 * is reset, yet a window defined visible is still refreshed. */
SoftCCStatus define_window(SoftCCContext *context, const uint8_t *code)
{
    uint8_t id = static_cast<uint8_t>(code[0] - kDefineWindow0);
    const uint8_t *parameters = code + 1;
    WindowGeometry geometry = decode_geometry(parameters);
    uint8_t window_style = (parameters[5] >> 3) & 0x07;
    uint8_t pen_style = parameters[5] & 0x07;

    CaptionWindow *window = &context->windows[id];
    if (!window->defined)
        create_window(window, id, window_style, pen_style);
    else
        redefine_window(window, geometry, window_style, pen_style);
    store_geometry(window, geometry);
    context->current_window = id;

    SoftCCStatus status = context->profile.define_windows(context->profile.user, window);
    if (status != SOFTCC_OK) {
        report(status, kDefineFailedLine, "define_windows failed. Resetting...\n");
        (void)reset_service_eia708(context);
    }
    if (!vqsoftcc_internal_is_visible(window))
        return SOFTCC_OK;
    return refresh_one_window(context, window, kDefineRefreshLine);
}

/* ---- Attribute commands on the current window -------------------------------------- */

WindowStyle decode_window_style(const uint8_t *parameters)
{
    /* Zeroed through the host: `style{}` becomes a libc memset call on ARM. */
    WindowStyle style;
    VQMemset(&style, 0, sizeof style);
    style.fill_opacity = parameters[0] >> 6;
    style.fill_color = parameters[0] & 0x3F;
    style.border_type = (parameters[1] >> 6) | ((parameters[2] >> 7) << 2);
    style.border_color = parameters[1] & 0x3F;
    style.word_wrap = (parameters[2] >> 6) & 0x01;
    style.print_direction = (parameters[2] >> 4) & 0x03;
    style.scroll_direction = (parameters[2] >> 2) & 0x03;
    style.justify = parameters[2] & 0x03;
    style.effect_speed = parameters[3] >> 4;
    style.effect_direction = (parameters[3] >> 2) & 0x03;
    style.display_effect = parameters[3] & 0x03;
    return style;
}

/* Refreshes even a hidden window, but only when the style really changed. */
SoftCCStatus set_window_attributes(SoftCCContext *context, CaptionWindow *window,
                                   const uint8_t *parameters)
{
    WindowStyle style = decode_window_style(parameters);
    if (vqsoftcc_internal_window_style_cmp(&style, &window->style))
        return SOFTCC_OK;
    window->style = style;
    return refresh_one_window(context, window, kSetWindowAttributesRefreshLine);
}

void set_pen_attributes(CaptionWindow *window, const uint8_t *parameters)
{
    window->text_tag = parameters[0] >> 4;
    window->pen.pen_offset = (parameters[0] >> 2) & 0x03;
    window->pen.pen_size = parameters[0] & 0x03;
    window->pen.attributes = static_cast<uint8_t>(((parameters[1] & 0x80) ? SOFTCC_PEN_ITALICS : 0) |
                                                  ((parameters[1] & 0x40) ? SOFTCC_PEN_UNDERLINE : 0));
    window->pen.edge_type = (parameters[1] >> 3) & 0x07;
    window->pen.font_style = parameters[1] & 0x07;
}

void set_pen_color(CaptionWindow *window, const uint8_t *parameters)
{
    window->pen.fg_opacity = parameters[0] >> 6;
    window->pen.fg_color = parameters[0] & 0x3F;
    window->pen.bg_opacity = parameters[1] >> 6;
    window->pen.bg_color = parameters[1] & 0x3F;
    window->pen.edge_color = parameters[2] & 0x3F;
}

/* A small pen lets the window grow to hold the cursor, lock bits allowing;
 * otherwise the text model keeps the cursor inside when it types. */
void set_pen_location(CaptionWindow *window, const uint8_t *parameters)
{
    uint8_t row = parameters[0] & 0x0F;
    uint8_t column = parameters[1] & 0x3F;
    window->cursor_row = row;
    window->cursor_column = column;
    if (window->pen.pen_size != 0)
        return;
    if (!(window->flags & SOFTCC_WINDOW_ROW_LOCK) && window->row_count < row + 1)
        window->row_count = static_cast<uint8_t>(row + 1);
    if (!(window->flags & SOFTCC_WINDOW_COLUMN_LOCK) && window->column_count < column + 1)
        window->column_count = static_cast<uint8_t>(column + 1);
}

/* The four commands that act on the current window do nothing without one. */
SoftCCStatus run_current_window_command(SoftCCContext *context, const uint8_t *code)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    if (window == nullptr)
        return SOFTCC_OK;
    const uint8_t *parameters = code + 1;
    switch (code[0]) {
    case kSetWindowAttributes:
        return set_window_attributes(context, window, parameters);
    case kSetPenAttributes:
        set_pen_attributes(window, parameters);
        break;
    case kSetPenColor:
        set_pen_color(window, parameters);
        break;
    case kSetPenLocation:
        set_pen_location(window, parameters);
        break;
    default:
        break;
    }
    return SOFTCC_OK;
}

/* Codes 0x80-0x9F; 0x93-0x96 only flush. */
SoftCCStatus run_c1_command(SoftCCContext *context, const uint8_t *code)
{
    uint8_t command = code[0];
    if (command < kClearWindows) {
        set_current_window(context, static_cast<uint8_t>(command - kSetCurrentWindow0));
        return SOFTCC_OK;
    }
    if (command < kDeleteWindows)
        return change_windows_in_bitmap(context, command, code[1]);
    if (command >= kDefineWindow0)
        return define_window(context, code);
    switch (command) {
    case kDeleteWindows:
        return delete_windows_in_bitmap(context, code[1]);
    case kDelay:
        return start_delay(context, code[1]);
    case kDelayCancel:
        return end_delay(context);
    case kReset:
        return reset_service_eia708(context);
    case kSetPenAttributes:
    case kSetPenColor:
    case kSetPenLocation:
    case kSetWindowAttributes:
        return run_current_window_command(context, code);
    default:
        return SOFTCC_OK;
    }
}

/* Which way CR moves the cursor to the next line, by scroll direction: along
 * rows or columns, one line back (-1) or forward (+1).  Forward lines end at
 * the last row or column, backward ones at 0. */
struct NextLine {
    bool along_rows;
    int8_t step;
};
constexpr NextLine kNextLineByScrollDirection[4] = {
    {false, -1}, /* left to right: the cursor moves towards column 0 */
    {false, +1}, /* right to left */
    {true, -1},  /* top to bottom */
    {true, +1},  /* bottom to top */
};

} // namespace

/* ---- Interpreter entry points -------------------------------------------------------- */

namespace {

/* Everything but G0 and G1 characters. */
VQSOFTCC_NOINLINE SoftCCStatus interpret_other_code(SoftCCContext *context, const uint8_t *code,
                                                    uint32_t length)
{
    uint8_t first = code[0];
    if (length == 2 && first == kExt1 && is_graphic(code[1]))
        return add_character(context, g2_g3_code_point(code[1]));
    if (length == 3 && first == kP16)
        return add_character(context, 0x003F); /* 16-bit characters are not shown */
    if (first == 0x00)
        return SOFTCC_OK;

    SoftCCStatus status = flush_current_segment_eia708(context);
    if (status != SOFTCC_OK)
        return status;
    if (first < 0x20)
        return run_c0_code(context, first);
    if (first >= 0x80 && first <= 0x9F)
        return run_c1_command(context, code);
    return SOFTCC_OK;
}

/* G0 and G1 characters, most codes, go straight to typing. */
VQSOFTCC_INLINE SoftCCStatus interpret_code(SoftCCContext *context, const uint8_t *code,
                                            uint32_t length)
{
    uint8_t first = code[0];
    if (length == 1 && is_graphic(first))
        return add_character(context, g0_g1_code_point(first));
    return interpret_other_code(context, code, length);
}

} // namespace

SoftCCStatus interpret_code_eia708(SoftCCContext *context, const uint8_t *code, uint32_t length)
{
    return interpret_code(context, code, length);
}

/* CR: the cursor goes to the start of the next line; on the last line the
 * window scrolls instead and the cursor stays. */
SoftCCStatus carriage_return_eia708(SoftCCContext *context)
{
    CaptionWindow *window = vqsoftcc_internal_current_window(context);
    if (window == nullptr)
        return SOFTCC_OK;
    vqsoftcc_internal_carriage_return(window);

    uint32_t direction = window->style.scroll_direction;
    const NextLine &next = kNextLineByScrollDirection[direction > 3 ? 3 : direction];
    int16_t &cursor = next.along_rows ? window->cursor_row : window->cursor_column;
    int32_t count = next.along_rows ? window->row_count : window->column_count;
    int32_t edge = next.step > 0 ? count - 1 : 0;
    if (cursor != edge) {
        cursor = static_cast<int16_t>(cursor + next.step);
        return SOFTCC_OK;
    }

    vqsoftcc_internal_scroll_window(window);
    if (!vqsoftcc_internal_is_visible(window))
        return SOFTCC_OK;
    window->next = nullptr;
    SoftCCStatus status = context->profile.scroll_windows(context->profile.user, window);
    if (status != SOFTCC_OK)
        report(status, kScrollFailedLine, "scroll_windows failed\n");
    return status;
}

/* ---- Caption input ------------------------------------------------------------------- */

namespace {

/* Code length by first byte, as ranges: each entry covers the bytes up to and
 * including `last`.  EXT1 starts at 2 and is worked out again once its second
 * byte is in. */
struct LengthRange {
    uint8_t last;
    uint8_t length;
};

constexpr uint8_t kVariableLength = 0; /* C3 0x90-0x9F: 3 + its length byte */

constexpr LengthRange kFirstByteLengths[] = {
    {0x0F, 1}, {0x10, 2}, {0x17, 2}, {0x1F, 3}, {0x7F, 1}, {0x87, 1}, {0x8D, 2}, {0x8F, 1},
    {0x90, 3}, {0x91, 4}, {0x92, 3}, {0x96, 1}, {0x97, 5}, {0x9F, 7}, {0xFF, 1},
};

/* Length of an EXT1 code, EXT1 included, by its second byte. */
constexpr LengthRange kExt1Lengths[] = {
    {0x07, 2}, {0x0F, 3}, {0x17, 4}, {0x1F, 5}, {0x7F, 2},
    {0x87, 6}, {0x8F, 7}, {0x9F, kVariableLength}, {0xFF, 2},
};

/* The ranges spread out over all 256 byte values, at compile time, so that a
 * code's length is one load. */
struct LengthTable {
    uint8_t length[256];
};

template <size_t N> constexpr LengthTable length_table(const LengthRange (&ranges)[N])
{
    LengthTable table{};
    size_t index = 0;
    for (int byte = 0; byte < 256; ++byte) {
        while (ranges[index].last < byte)
            ++index;
        table.length[byte] = ranges[index].length;
    }
    return table;
}

constexpr LengthTable kFirstByteLengthTable = length_table(kFirstByteLengths);
constexpr LengthTable kExt1LengthTable = length_table(kExt1Lengths);

/* The length the bytes held so far say the code has. */
uint32_t code_length_so_far(const Eia708State &state)
{
    if (state.code_buffer[0] != kExt1)
        return state.code_length;
    uint8_t length = kExt1LengthTable.length[state.code_buffer[1]];
    if (length != kVariableLength)
        return length;
    /* until the length byte is in, the code is known to have 3 bytes */
    return state.code_length < 3 ? 3 : 3 + (state.code_buffer[2] & 0x3Fu);
}

/* Codes straight from the input, characters most of them, take the
 * interpreter's inline way. */
VQSOFTCC_INLINE void interpret_input_code(SoftCCContext *context, const uint8_t *code,
                                          uint32_t length)
{
    SoftCCStatus status = interpret_code(context, code, length);
    if (status != SOFTCC_OK)
        report(status, kCodeFailedLine, kCodeFailedMessage);
}

/* Hands a complete code on: straight to the interpreter, or while a delay is
 * in force into the delay buffer.  DelayCancel and Reset act at once during a
 * delay, and a code that no longer fits ends the delay early. */
void dispatch_code(SoftCCContext *context)
{
    Eia708State &state = state_of(context);
    const uint8_t *code = state.code_buffer;
    uint32_t length = state.code_length;
    if (!state.delay_active) {
        interpret_input_code(context, code, length);
        return;
    }
    if (code[0] == kDelayCancel) {
        (void)end_delay(context);
        flush_delayed_codes(context);
        return;
    }
    if (code[0] == kReset) {
        (void)reset_service_eia708(context);
        return;
    }
    if (state.delayed_fill + length <= SOFTCC_EIA708_DELAY_BYTES) {
        VQMemcpy(&state.delayed_codes[state.delayed_fill], code, length);
        state.delayed_code_lengths[state.delayed_fill] = static_cast<uint8_t>(length);
        state.delayed_fill += length;
        return;
    }
    (void)end_delay(context);
    flush_delayed_codes(context);
    interpret_and_report(context, code, length, kOverflowCodeFailedLine);
}

/* Collects one byte of the selected service into the code being assembled;
 * a complete code goes on at once. */
void collect_code_byte(SoftCCContext *context, uint8_t byte)
{
    Eia708State &state = state_of(context);
    if (state.code_bytes_missing == 0) {
        state.code_buffer[0] = byte;
        state.code_length = kFirstByteLengthTable.length[byte];
        state.code_bytes_missing = state.code_length - 1;
    } else {
        state.code_buffer[state.code_length - state.code_bytes_missing] = byte;
        --state.code_bytes_missing;
        if (state.code_bytes_missing == 0) {
            uint32_t length = code_length_so_far(state);
            state.code_bytes_missing = length - state.code_length;
            state.code_length = length;
        }
    }
    if (state.code_bytes_missing == 0)
        dispatch_code(context);
}

/* Lost packets cost every window, the delay, the held-back codes and any
 * partly assembled code. */
void break_sequence(SoftCCContext *context)
{
    Eia708State &state = state_of(context);
    state.extended_header_pending = 0;
    state.block_bytes_remaining = 0;
    state.code_bytes_missing = 0;
    sweep_windows(context);
    cancel_delay(context);
    state.delayed_fill = 0;
}

void read_packet_header(SoftCCContext *context, uint8_t byte)
{
    Eia708State &state = state_of(context);
    uint32_t sequence = byte >> 6;
    if (sequence != ((state.last_sequence_number + 1) & 0x03))
        break_sequence(context);
    uint32_t size_code = byte & 0x3F;
    state.last_sequence_number = sequence;
    state.packet_bytes_remaining = size_code == 0 ? 127 : size_code * 2 - 1;
    state.extended_header_pending = 0;
    state.block_bytes_remaining = 0;
}

/* Service 0 with a size is an empty block; service 7 announces an extended
 * service byte, which follows even when the block is empty and does not
 * count towards its size.  A null block header makes the rest of the packet
 * padding: it is counted as the data of a block of no service, so that
 * padding which runs on into the next buffer is skipped there too. */
void read_block_header(Eia708State &state, uint8_t byte)
{
    if (byte == 0x00) {
        state.block_service_number = 0;
        state.block_bytes_remaining = state.packet_bytes_remaining - 1;
        return;
    }
    state.block_service_number = byte >> 5;
    state.block_bytes_remaining = state.block_service_number == 0 ? 0 : (byte & 0x1Fu);
    state.extended_header_pending = state.block_service_number == 7;
}

void read_extended_header(Eia708State &state, uint8_t byte)
{
    state.block_service_number = byte & 0x3Fu;
    state.extended_header_pending = 0;
}

/* A byte inside a packet that carries no service data: an extended service
 * byte or a block header. */
void read_header_in_packet(Eia708State &state, uint8_t byte)
{
    if (state.extended_header_pending)
        read_extended_header(state, byte);
    else
        read_block_header(state, byte);
    --state.packet_bytes_remaining;
}

bool is_selected(const SoftCCContext *context, uint32_t service)
{
    return service >= 1 && service <= 63 && service == context->service;
}

/* How many of the `available` bytes are data of the current block: the block
 * and the packet may end sooner. */
uint32_t data_bytes_ahead(const Eia708State &state, uint32_t available)
{
    uint32_t count = state.block_bytes_remaining;
    if (count > state.packet_bytes_remaining)
        count = state.packet_bytes_remaining;
    return count < available ? count : available;
}

} // namespace

/* Reads headers a byte at a time and a block's data as one stretch: the
 * selected service's bytes go to code assembly, all others are jumped over.
 * The stretch is counted off before its codes run, since nothing the
 * interpreter does looks at the counts; every count carries over to the next
 * call. */
SoftCCStatus vqsoftcc_internal_decode_eia708(SoftCCContext *context, const uint8_t *data,
                                             uint32_t length)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    if (length == 0)
        return SOFTCC_OK;
    if (data == nullptr)
        return SOFTCC_ERR_NULL_POINTER;

    Eia708State &state = state_of(context);
    const uint8_t *end = data + length;
    while (data < end) {
        if (state.packet_bytes_remaining == 0) {
            read_packet_header(context, *data++);
            continue;
        }
        if (state.extended_header_pending || state.block_bytes_remaining == 0) {
            read_header_in_packet(state, *data++);
            continue;
        }
        uint32_t count = data_bytes_ahead(state, static_cast<uint32_t>(end - data));
        state.block_bytes_remaining -= count;
        state.packet_bytes_remaining -= count;
        if (is_selected(context, state.block_service_number)) {
            for (uint32_t i = 0; i < count; ++i)
                collect_code_byte(context, data[i]);
        }
        data += count;
    }
    return SOFTCC_OK;
}

/* ---- Delay alarm ------------------------------------------------------------------------ */

/* The host's alarm ran out: the held-back codes are replayed. */
extern "C" VQSOFTCC_API SoftCCStatus delay_alarm_expired_eia708(void *alarm_context)
{
    if (alarm_context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    SoftCCContext *context = static_cast<SoftCCContext *>(alarm_context);
    (void)end_delay(context);
    flush_delayed_codes(context);
    return SOFTCC_OK;
}
