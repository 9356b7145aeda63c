/*
 * The host side of libvqsoftcc inside WebAssembly: what the JavaScript
 * package (bindings/js/src) calls besides the library's own functions, and
 * what JavaScript supplies as imports of the module "host".
 *
 * JavaScript reads VqjsHost, VqjsSplitter, VqjsHeapStats and the library's
 * records at fixed offsets; vqjs_layout() hands over the compiler's offsets
 * so that the package can check its own against them when it loads.
 */
#ifndef VQSOFTCC_WASM_HOST_H
#define VQSOFTCC_WASM_HOST_H

#include <stdint.h>

#include "vqsoftcc.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VQJS_IMPORT(name) __attribute__((import_module("host"), import_name(#name)))
#define VQJS_EXPORT(name) __attribute__((export_name(#name)))

/* Allocator counters since the instance started. */
typedef struct VqjsHeapStats {
    uint32_t live_blocks;
    uint32_t live_bytes;     /* capacity of the live blocks */
    uint32_t allocations;
    uint32_t failures;
    uint32_t peak_bytes;
    uint32_t fail_countdown; /* non-zero: the allocation that brings it to 0 fails */
} VqjsHeapStats;

/* A cc_data input: the DTVCC packet being put together from cc_type 3 and 2
 * triplets (tools/softcc/cc_data_split.h). */
typedef struct VqjsCcData {
    uint32_t missing;             /* bytes the open packet still lacks */
    uint32_t fill;                /* bytes of it in `packet` */
    uint32_t packets_zero_filled; /* packets cut short and completed with zero bytes */
    uint8_t packet[128];
} VqjsCcData;

/* Library callbacks that go to JavaScript one by one (VqjsHost.forward). */
#define VQJS_FORWARD_DEFINE 0x01u
#define VQJS_FORWARD_REFRESH 0x02u
#define VQJS_FORWARD_SCROLL 0x04u
#define VQJS_FORWARD_DELETE 0x08u
#define VQJS_FORWARD_ALARM 0x10u /* set_delay_alarm, cancel_delay_alarm and the alarm's expiry */
#define VQJS_FORWARD_XDS 0x20u
#define VQJS_FORWARD_LINK 0x40u

/* One decoder as JavaScript sees it: its context, which callbacks it takes,
 * the windows changed since its last update, the media clock that runs the
 * Delay alarm, and its cc_data input.  Its address is the `user` pointer of
 * every callback. */
typedef struct VqjsHost {
    SoftCCContext *context;
    SoftCCAlarmFunction alarm;    /* armed by set_delay_alarm; null when none */
    void *alarm_context;
    SoftCCStatus status;          /* first failure of a batch of decode calls */
    double now;                   /* media time in milliseconds (media clock) */
    double alarm_time;            /* when the armed alarm falls due (media clock) */
    uint32_t forward;             /* VQJS_FORWARD_* */
    uint32_t updates;             /* non-zero: changed windows are gathered into updates */
    uint32_t changed;             /* bit n: window n changed since the last update */
    uint32_t cc_type;             /* cc_data taken: 0 field 1, 1 field 2, 2 DTVCC */
    VqjsCcData input;
} VqjsHost;

/* The cc_data splitter of the JavaScript helper: the field pairs of one call
 * go to `pairs` (two areas of field_capacity bytes), whole packets to the
 * `packet` import. */
typedef struct VqjsSplitter {
    VqjsCcData input;
    uint8_t *pairs;
    uint32_t field_capacity;
    uint32_t field_length[2];
} VqjsSplitter;

/* Imports from JavaScript (module "host").  Window callbacks take records
 * inside the context; JavaScript reads them before it returns. */
VQJS_IMPORT(define_windows) SoftCCStatus vqjs_import_define_windows(VqjsHost *host, CaptionWindow *window);
VQJS_IMPORT(refresh_windows) SoftCCStatus vqjs_import_refresh_windows(VqjsHost *host, CaptionWindow *windows);
VQJS_IMPORT(scroll_windows) SoftCCStatus vqjs_import_scroll_windows(VqjsHost *host, CaptionWindow *window);
VQJS_IMPORT(delete_windows) SoftCCStatus vqjs_import_delete_windows(VqjsHost *host, CaptionWindow *windows);
VQJS_IMPORT(set_delay_alarm) SoftCCStatus vqjs_import_set_delay_alarm(VqjsHost *host, uint32_t milliseconds);
VQJS_IMPORT(cancel_delay_alarm) SoftCCStatus vqjs_import_cancel_delay_alarm(VqjsHost *host);
VQJS_IMPORT(alarm_fires) void vqjs_import_alarm_fires(VqjsHost *host);
VQJS_IMPORT(forward_xds_data) SoftCCStatus vqjs_import_forward_xds_data(VqjsHost *host, const uint8_t *data,
                                                                       uint32_t count);
VQJS_IMPORT(forward_link_data) SoftCCStatus vqjs_import_forward_link_data(VqjsHost *host, const uint8_t *data,
                                                                         uint32_t count);
/* The windows whose bits are set in `changed`; `windows` is the context's
 * array of eight. */
VQJS_IMPORT(update_windows) void vqjs_import_update_windows(VqjsHost *host, uint32_t changed,
                                                            const CaptionWindow *windows);
VQJS_IMPORT(report) uint32_t vqjs_import_report(uint32_t level, SoftCCStatus status, const char *path,
                                                uint32_t line, const char *message);
VQJS_IMPORT(packet) void vqjs_import_packet(VqjsSplitter *splitter, const uint8_t *packet, uint32_t size);

VqjsHeapStats *vqjs_heap_stats(void);

#ifdef __cplusplus
}
#endif

#endif /* VQSOFTCC_WASM_HOST_H */
