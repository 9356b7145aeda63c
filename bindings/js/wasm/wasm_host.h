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

/* What the package last built a run object from (wasm_snapshot.cpp): the
 * run's words that the object shows besides its characters, and those. */
typedef struct VqjsRunCopy {
    uint32_t place;   /* row, column and length: the run's word at offset 8, its padding byte cleared */
    uint32_t tail;    /* caption_mode and no_merge: the word at offset 164, likewise */
    PenStyle pen;
    uint16_t chars[SOFTCC_SEGMENT_CHARS];
} VqjsRunCopy;

/* The runs of a window's objects that have copies; later ones are built afresh. */
#define VQJS_RUN_COPIES 24u

/* vqjs_window_since: bits of what differs from the window's last object. */
#define VQJS_SNAPSHOT_STYLE 1u
#define VQJS_SNAPSHOT_PEN 2u
#define VQJS_SNAPSHOT_OTHER 4u
#define VQJS_SNAPSHOT_FIRST 8u /* no object was built before */
/* vqjs_run_since, vqjs_current_since: a run against the one at its place in the last object. */
#define VQJS_SNAPSHOT_SAME 0u
#define VQJS_SNAPSHOT_GROWN 1u /* only longer, at its end */
#define VQJS_SNAPSHOT_NEW_SAME_PEN 2u
#define VQJS_SNAPSHOT_NEW 3u

/* What the last object of one window was built from. */
typedef struct VqjsWindowCopy {
    uint32_t record[sizeof(CaptionWindow) / 4];
    uint32_t built;         /* non-zero once an object was built */
    uint32_t runs;          /* runs of the last object with copies */
    uint32_t had_runs;      /* the same, for the object before, while a new one is built */
    uint32_t current;       /* non-zero: the last object had a current run */
    VqjsRunCopy run[VQJS_RUN_COPIES];
    VqjsRunCopy current_run;
} VqjsWindowCopy;

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
    VqjsWindowCopy copies[8];     /* per window id: what the package built its last object from */
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
