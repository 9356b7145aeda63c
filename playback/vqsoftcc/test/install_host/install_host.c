/* Built out of tree against the installed headers and libraries only: opens
 * a 608 context, feeds a few byte pairs and prints every callback. */
#include <stdio.h>

#include <vqsoftcc.h>

/* Window ids, then each window's runs as row,column "text" (ASCII only). */
static SoftCCStatus print_windows(const char *name, CaptionWindow *windows)
{
    printf("%s:", name);
    for (CaptionWindow *w = windows; w != NULL; w = w->next) {
        printf(" %u", w->id);
        for (const TextSegment *s = w->segments; s != NULL; s = s->next) {
            printf(" %d,%d \"", s->row, s->column);
            for (unsigned i = 0; i < s->length; ++i)
                putchar(s->text[i] < 0x80 ? s->text[i] : '?');
            putchar('"');
        }
    }
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
    /* Channel 1 pop-on, odd parity set: Resume Caption Loading, a row 15
     * preamble, "HI", End Of Caption (control codes sent twice). */
    static const uint8_t pairs[] = {0x94, 0x20, 0x94, 0x20, 0x94, 0x70, 0x94, 0x70,
                                    0xC8, 0x49, 0x94, 0x2F, 0x94, 0x2F};
    SoftCCOpenProfile profile = {SOFTCC_FORMAT_EIA608, 0, NULL, on_define, on_refresh, on_scroll,
                                 on_delete, on_set_alarm, on_cancel_alarm, on_data, on_data};
    SoftCCContext *context = NULL;
    if (VQSoftCCOpen(&profile, &context) != SOFTCC_OK)
        return 1;
    SoftCCStatus status = VQSoftCCDecode(context, pairs, sizeof pairs);
    printf("decode: %s\n", status == SOFTCC_OK ? "SOFTCC_OK" : "failed");
    return VQSoftCCClose(context) == SOFTCC_OK ? 0 : 1;
}
