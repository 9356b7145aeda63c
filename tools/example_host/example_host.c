/*
 * The smallest useful host: opens a 608 and a 708 context, switches each to
 * the other format and closes them, printing every callback it receives.
 */
#include <stdio.h>

#include "vqsoftcc.h"

static void print_list(const char *what, const char *name, CaptionWindow *windows)
{
    printf("[%s] %s:", what, name);
    for (CaptionWindow *w = windows; w != NULL; w = w->next)
        printf(" window %u (%ux%u%s)", w->id, w->row_count, w->column_count,
               (w->flags & SOFTCC_WINDOW_VISIBLE) ? ", visible" : "");
    printf("\n");
}

static SoftCCStatus on_define(void *user, CaptionWindow *window)
{
    print_list((const char *)user, "define_windows", window);
    return SOFTCC_OK;
}

static SoftCCStatus on_refresh(void *user, CaptionWindow *windows)
{
    print_list((const char *)user, "refresh_windows", windows);
    return SOFTCC_OK;
}

static SoftCCStatus on_scroll(void *user, CaptionWindow *window)
{
    print_list((const char *)user, "scroll_windows", window);
    return SOFTCC_OK;
}

static SoftCCStatus on_delete(void *user, CaptionWindow *windows)
{
    print_list((const char *)user, "delete_windows", windows);
    return SOFTCC_OK;
}

static SoftCCStatus on_set_alarm(void *user, uint32_t ms, SoftCCAlarmFunction alarm, void *ctx)
{
    (void)alarm;
    (void)ctx;
    printf("[%s] set_delay_alarm: %u ms\n", (const char *)user, (unsigned)ms);
    return SOFTCC_OK;
}

static SoftCCStatus on_cancel_alarm(void *user)
{
    printf("[%s] cancel_delay_alarm\n", (const char *)user);
    return SOFTCC_OK;
}

static SoftCCStatus on_data(void *user, const uint8_t *data, uint32_t count)
{
    (void)data;
    printf("[%s] data: %u bytes\n", (const char *)user, (unsigned)count);
    return SOFTCC_OK;
}

static int run(const char *name, uint32_t format, uint32_t other)
{
    SoftCCOpenProfile profile = {format, format == SOFTCC_FORMAT_EIA608 ? 0u : 1u, (void *)name,
                                 on_define, on_refresh, on_scroll, on_delete, on_set_alarm,
                                 on_cancel_alarm, on_data, on_data};
    SoftCCContext *context = NULL;
    SoftCCStatus status = VQSoftCCOpen(&profile, &context);
    printf("[%s] VQSoftCCOpen -> %u\n", name, (unsigned)status);
    if (status != SOFTCC_OK)
        return 1;
    printf("[%s] VQSoftCCSelectFormat(%u) -> %u\n", name, (unsigned)other,
           (unsigned)VQSoftCCSelectFormat(context, other));
    printf("[%s] VQSoftCCSelectFormat(%u) -> %u\n", name, (unsigned)format,
           (unsigned)VQSoftCCSelectFormat(context, format));
    printf("[%s] VQSoftCCClose -> %u\n", name, (unsigned)VQSoftCCClose(context));
    return 0;
}

int main(void)
{
    int failures = run("608", SOFTCC_FORMAT_EIA608, SOFTCC_FORMAT_EIA708);
    failures += run("708", SOFTCC_FORMAT_EIA708, SOFTCC_FORMAT_EIA608);
    return failures == 0 ? 0 : 1;
}
