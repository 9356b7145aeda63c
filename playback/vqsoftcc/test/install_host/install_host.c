/* Built out of tree against the installed headers and libraries only: opens
 * a 608 context, feeds a few byte pairs and prints every callback. */
#include <stdio.h>

#include <vqsoftcc.h>

static SoftCCStatus print_windows(void *user, CaptionWindow *windows)
{
    printf("%s:", (const char *)user);
    for (CaptionWindow *w = windows; w != NULL; w = w->next)
        printf(" %u", w->id);
    printf("\n");
    return SOFTCC_OK;
}

static SoftCCStatus on_define(void *user, CaptionWindow *w) { (void)user; return print_windows("define_windows", w); }
static SoftCCStatus on_refresh(void *user, CaptionWindow *w) { (void)user; return print_windows("refresh_windows", w); }
static SoftCCStatus on_scroll(void *user, CaptionWindow *w) { (void)user; return print_windows("scroll_windows", w); }
static SoftCCStatus on_delete(void *user, CaptionWindow *w) { (void)user; return print_windows("delete_windows", w); }

static SoftCCStatus on_set_alarm(void *user, uint32_t ms, SoftCCAlarmFunction alarm, void *context)
{
    (void)user; (void)alarm; (void)context;
    printf("set_delay_alarm: %u\n", (unsigned)ms);
    return SOFTCC_OK;
}

static SoftCCStatus on_cancel_alarm(void *user)
{
    (void)user;
    printf("cancel_delay_alarm\n");
    return SOFTCC_OK;
}

static SoftCCStatus on_data(void *user, const uint8_t *data, uint32_t count)
{
    (void)user; (void)data;
    printf("data: %u\n", (unsigned)count);
    return SOFTCC_OK;
}

int main(void)
{
    /* Resume caption loading, then "HI", on channel 1 (odd parity set). */
    static const uint8_t pairs[] = {0x94, 0x20, 0x94, 0x20, 0xC8, 0x49, 0x94, 0x2F, 0x94, 0x2F};
    SoftCCOpenProfile profile = {SOFTCC_FORMAT_EIA608, 0, NULL, on_define, on_refresh, on_scroll,
                                 on_delete, on_set_alarm, on_cancel_alarm, on_data, on_data};
    SoftCCContext *context = NULL;
    if (VQSoftCCOpen(&profile, &context) != SOFTCC_OK)
        return 1;
    printf("decode: %u\n", (unsigned)VQSoftCCDecode(context, pairs, sizeof pairs));
    return VQSoftCCClose(context) == SOFTCC_OK ? 0 : 1;
}
