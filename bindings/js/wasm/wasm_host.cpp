/*
 * The decoder host inside WebAssembly: an open profile whose callbacks hand
 * each call to JavaScript (only those it takes), gather the changed windows
 * into one update per step of input, run the Delay alarm on media time as
 * softcc does, and feed cc_data to the decoder.
 */
#include "ccdata.h"
#include "vqsoftcc_internal.h"
#include "vqsoftcc_platform.h"
#include "wasm_host.h"

namespace {

VqjsHost *host_of(void *user)
{
    return static_cast<VqjsHost *>(user);
}

bool forwards(const VqjsHost *host, uint32_t callback)
{
    return (host->forward & callback) != 0;
}

void mark_changed(VqjsHost *host, const CaptionWindow *window)
{
    host->changed |= 1u << (window->id & 7u);
}

// A list handed to one callback: at most the eight windows of the context.
void mark_list_changed(VqjsHost *host, const CaptionWindow *windows)
{
    for (int n = 0; windows != nullptr && n < SOFTCC_WINDOW_COUNT; n++, windows = windows->next)
        mark_changed(host, windows);
}

// The windows changed since the last update, in one call; one per step of
// input (a decode call, a frame, an alarm) rather than one per callback.
void deliver_updates(VqjsHost *host)
{
    uint32_t changed = host->changed;
    host->changed = 0;
    if (changed != 0 && host->updates != 0)
        vqjs_import_update_windows(host, changed, host->context->windows);
}

using WindowImport = SoftCCStatus (*)(VqjsHost *host, CaptionWindow *windows);

// define_windows, refresh_windows, scroll_windows and delete_windows: the
// windows join the next update, and go to JavaScript at once if it takes
// that callback.  Define and scroll hand over one window, the others a list.
template <uint32_t Callback, WindowImport Import, bool List>
SoftCCStatus on_windows(void *user, CaptionWindow *windows)
{
    VqjsHost *host = host_of(user);
    if (List)
        mark_list_changed(host, windows);
    else
        mark_changed(host, windows);
    return forwards(host, Callback) ? Import(host, windows) : SOFTCC_OK;
}

// The alarm function stays here: JavaScript learns only the delay, and asks
// for the alarm through vqjs_fire_alarm (its timer) or the media clock.
SoftCCStatus on_set_alarm(void *user, uint32_t milliseconds, SoftCCAlarmFunction alarm, void *context)
{
    VqjsHost *host = host_of(user);
    host->alarm = alarm;
    host->alarm_context = context;
    host->alarm_time = host->now + milliseconds;
    return forwards(host, VQJS_FORWARD_ALARM) ? vqjs_import_set_delay_alarm(host, milliseconds) : SOFTCC_OK;
}

SoftCCStatus on_cancel_alarm(void *user)
{
    VqjsHost *host = host_of(user);
    host->alarm = nullptr;
    return forwards(host, VQJS_FORWARD_ALARM) ? vqjs_import_cancel_delay_alarm(host) : SOFTCC_OK;
}

SoftCCStatus on_xds(void *user, const uint8_t *data, uint32_t count)
{
    VqjsHost *host = host_of(user);
    return forwards(host, VQJS_FORWARD_XDS) ? vqjs_import_forward_xds_data(host, data, count) : SOFTCC_OK;
}

SoftCCStatus on_link(void *user, const uint8_t *data, uint32_t count)
{
    VqjsHost *host = host_of(user);
    return forwards(host, VQJS_FORWARD_LINK) ? vqjs_import_forward_link_data(host, data, count) : SOFTCC_OK;
}

void keep_status(VqjsHost *host, SoftCCStatus status)
{
    if (status != SOFTCC_OK && host->status == SOFTCC_OK)
        host->status = status;
}

// cc_data into the decoder: the pairs of its field, or whole DTVCC packets.
struct DecoderSink {
    VqjsHost *host;

    void pair(uint32_t cc_type, const uint8_t *bytes)
    {
        if (cc_type == host->cc_type)
            keep_status(host, VQSoftCCDecode(host->context, bytes, 2));
    }
    void packet(const uint8_t *bytes, uint32_t size)
    {
        if (host->cc_type == 2)
            keep_status(host, VQSoftCCDecode(host->context, bytes, size));
    }
};

void decode_triplets(VqjsHost *host, const uint8_t *data, uint32_t length)
{
    DecoderSink sink{host};
    vqjs::split_triplets(host->input, data, length, sink);
}

}  // namespace

extern "C" {

// A zeroed host.  JavaScript registers it and sets what it forwards before
// vqjs_open, whose 608 open already defines windows through it.
VQJS_EXPORT(vqjs_new_host) VqjsHost *vqjs_new_host(void)
{
    VqjsHost *host = static_cast<VqjsHost *>(VQMalloc(sizeof(VqjsHost)));
    if (host != nullptr)
        VQMemset(host, 0, sizeof(VqjsHost));
    return host;
}

VQJS_EXPORT(vqjs_free_host) void vqjs_free_host(VqjsHost *host)
{
    VQFree(host);
}

VQJS_EXPORT(vqjs_open) SoftCCStatus vqjs_open(VqjsHost *host, uint32_t format, uint32_t service)
{
    SoftCCOpenProfile profile = {format,
                                 service,
                                 host,
                                 on_windows<VQJS_FORWARD_DEFINE, vqjs_import_define_windows, false>,
                                 on_windows<VQJS_FORWARD_REFRESH, vqjs_import_refresh_windows, true>,
                                 on_windows<VQJS_FORWARD_SCROLL, vqjs_import_scroll_windows, false>,
                                 on_windows<VQJS_FORWARD_DELETE, vqjs_import_delete_windows, true>,
                                 on_set_alarm,
                                 on_cancel_alarm,
                                 on_xds,
                                 on_link};
    SoftCCStatus status = VQSoftCCOpen(&profile, &host->context);
    if (status == SOFTCC_OK)
        deliver_updates(host);
    return status;
}

// The update after a control call (reset, select service or format).
VQJS_EXPORT(vqjs_deliver_updates) void vqjs_deliver_updates(VqjsHost *host)
{
    deliver_updates(host);
}

// Timer clock: the timer that JavaScript started for set_delay_alarm ran out.
VQJS_EXPORT(vqjs_fire_alarm) SoftCCStatus vqjs_fire_alarm(VqjsHost *host)
{
    SoftCCAlarmFunction alarm = host->alarm;
    if (alarm == nullptr)
        return SOFTCC_OK;
    host->alarm = nullptr;
    if (forwards(host, VQJS_FORWARD_ALARM))
        vqjs_import_alarm_fires(host);
    SoftCCStatus status = alarm(host->alarm_context);
    deliver_updates(host);
    return status;
}

// Media clock: moves to `time` (ms), first running the alarm each time it
// falls due, at its own time; an alarm may arm the next one.
VQJS_EXPORT(vqjs_advance_to) void vqjs_advance_to(VqjsHost *host, double time)
{
    while (host->alarm != nullptr && host->alarm_time <= time) {
        if (host->now < host->alarm_time)
            host->now = host->alarm_time;
        vqjs_fire_alarm(host);
    }
    if (host->now < time)
        host->now = time;
}

// Caption bytes as the library takes them, at media time `time` (ms; NaN:
// none), which first runs an alarm due by then.
VQJS_EXPORT(vqjs_decode) SoftCCStatus vqjs_decode(VqjsHost *host, const uint8_t *data, uint32_t length, double time)
{
    if (time == time)
        vqjs_advance_to(host, time);
    SoftCCStatus status = VQSoftCCDecode(host->context, data, length);
    deliver_updates(host);
    return status;
}

// One frame's cc_data: a 608 decoder takes the pairs of its field (cc_type 0
// or 1), a 708 decoder (cc_type 2) the DTVCC packets.  The frame's media
// time (ms; NaN: none) first runs an alarm due by then.
VQJS_EXPORT(vqjs_decode_ccdata) SoftCCStatus vqjs_decode_ccdata(VqjsHost *host, uint32_t cc_type,
                                                                const uint8_t *data, uint32_t length, double time)
{
    if (time == time)
        vqjs_advance_to(host, time);
    host->status = SOFTCC_OK;
    host->cc_type = cc_type;
    decode_triplets(host, data, length);
    deliver_updates(host);
    return host->status;
}

// Many frames at once, each at its media time: frame i is data[ends[i-1] ..
// ends[i]) (from 0 for the first); the alarm runs between frames as it falls
// due, and each frame ends with its update.  Ends that fall or pass the data
// decode nothing and give SOFTCC_ERR_FORMAT.
VQJS_EXPORT(vqjs_decode_frames) SoftCCStatus vqjs_decode_frames(VqjsHost *host, uint32_t cc_type, const uint8_t *data,
                                                                uint32_t length, const uint32_t *ends,
                                                                const double *times, uint32_t count)
{
    uint32_t start = 0;
    for (uint32_t i = 0; i < count; start = ends[i++]) {
        if (ends[i] < start || ends[i] > length)
            return SOFTCC_ERR_FORMAT;
    }
    host->status = SOFTCC_OK;
    host->cc_type = cc_type;
    start = 0;
    for (uint32_t i = 0; i < count; start = ends[i++]) {
        vqjs_advance_to(host, times[i]);
        decode_triplets(host, data + start, ends[i] - start);
        deliver_updates(host);
    }
    return host->status;
}

// The end of the input: a packet still being collected is completed.
VQJS_EXPORT(vqjs_end_ccdata) SoftCCStatus vqjs_end_ccdata(VqjsHost *host, uint32_t cc_type)
{
    DecoderSink sink{host};
    host->status = SOFTCC_OK;
    host->cc_type = cc_type;
    vqjs::complete_packet(host->input, sink);
    deliver_updates(host);
    return host->status;
}

}  // extern "C"
