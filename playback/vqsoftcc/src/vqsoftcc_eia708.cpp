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

constexpr uint32_t kDeleteWindowsFailedLine = 934;
constexpr uint32_t kCancelDelayAlarmFailedLine = 1218;

Eia708State &state_of(SoftCCContext *context)
{
    return context->format_state.eia708;
}

void report(SoftCCStatus status, uint32_t line, const char *message)
{
    vqsoftcc_internal_report(SOFTCC_EIA708_SOURCE, status, line, message);
}

/*
 * Deletes every defined window through one delete_windows call, highest id
 * first.  The current window is forgotten whether or not it was defined.
 */
void sweep_windows(SoftCCContext *context)
{
    CaptionWindow *head = nullptr;
    for (int32_t index = 0; index < SOFTCC_WINDOW_COUNT; ++index) {
        CaptionWindow *window = &context->windows[index];
        if (window->defined) {
            window->next = head;
            head = window;
        }
        if (context->current_window == index)
            context->current_window = SOFTCC_NO_WINDOW;
    }
    if (head == nullptr)
        return;

    SoftCCStatus status = context->profile.delete_windows(context->profile.user, head);
    if (status != SOFTCC_OK) {
        report(status, kDeleteWindowsFailedLine, "delete_windows failed\n");
        return;
    }
    while (head != nullptr) {
        CaptionWindow *next = head->next;
        vqsoftcc_internal_delete_window(&context->windows[head->id]);
        head->next = nullptr;
        head = next;
    }
}

/* Ends a delay in force; the flag drops before the host hears of it. */
void cancel_delay(SoftCCContext *context)
{
    Eia708State &state = state_of(context);
    if (!state.delay_active)
        return;
    state.delay_active = 0;
    SoftCCStatus status = context->profile.cancel_delay_alarm(context->profile.user);
    if (status != SOFTCC_OK)
        report(status, kCancelDelayAlarmFailedLine, "cancel_delay_alarm failed\n");
}

/* Replays the codes held back during a delay.  Arrives with the caption input. */
void flush_delayed_codes(SoftCCContext *context)
{
    (void)context;
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

/* ---- Caption input ---------------------------------------------------------------- */

/* Until the packet layer lands this checks its arguments and consumes the
 * bytes without acting on them. */
SoftCCStatus vqsoftcc_internal_decode_eia708(SoftCCContext *context, const uint8_t *data,
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

/* ---- Delay alarm ------------------------------------------------------------------------ */

extern "C" VQSOFTCC_API SoftCCStatus delay_alarm_expired_eia708(void *alarm_context)
{
    if (alarm_context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    SoftCCContext *context = static_cast<SoftCCContext *>(alarm_context);
    state_of(context).delay_active = 0;
    SoftCCStatus status = context->profile.cancel_delay_alarm(context->profile.user);
    if (status != SOFTCC_OK)
        report(status, kCancelDelayAlarmFailedLine, "cancel_delay_alarm failed\n");
    flush_delayed_codes(context);
    return SOFTCC_OK;
}
