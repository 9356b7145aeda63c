// libvqsoftcc for JavaScript: the EIA-608 / EIA-708 caption decoder in WebAssembly.
//
// Records keep the library's own field names.  Colours are 6-bit RRGGBB values
// (2 bits each, 0x3F white, 0x00 black; 608 white is 0x2A).  Opacity: 0 solid,
// 1 flash, 2 translucent, 3 transparent.  Directions: 0 left to right, 1 right
// to left, 2 top to bottom, 3 bottom to top.  Treat every object as read-only:
// styles are shared frozen objects, and unchanged runs, run arrays and windows
// are handed over again as the same objects.

/** How the characters of a run are drawn.  Equal pens are one frozen object. */
export interface PenStyle {
  readonly pen_size: number; // 0 small, 1 standard, 2 large
  readonly font_style: number; // 0 default .. 7 small capitals
  readonly fg_color: number;
  readonly fg_opacity: number;
  readonly bg_color: number;
  readonly bg_opacity: number;
  readonly edge_type: number; // 0 none, 1 raised, 2 depressed, 3 uniform, 4 left / 5 right drop shadow
  readonly edge_color: number;
  readonly attributes: number; // bit 0 italics, bit 1 underline
  readonly italics: boolean;
  readonly underline: boolean;
  readonly pen_offset: number; // 0 subscript, 1 normal, 2 superscript
}

/** How a window lays out, scrolls and fills.  Equal styles are one frozen object. */
export interface WindowStyle {
  readonly justify: number; // 0 left, 1 right, 2 centre, 3 full
  readonly print_direction: number;
  readonly scroll_direction: number;
  readonly word_wrap: number;
  readonly display_effect: number; // 0 snap, 1 fade, 2 wipe
  readonly effect_direction: number;
  readonly effect_speed: number; // half seconds
  readonly fill_color: number;
  readonly fill_opacity: number;
  readonly border_type: number;
  readonly border_color: number;
}

/**
 * A run of characters of one pen on one line.  `text[i]` sits at column
 * `column + i` when the window's scroll direction is 2 or 3 (lines are rows),
 * else at row `row + i`.  Characters never written are U+0000; U+F8FE is a
 * transparent space, U+F8FD a non-breaking transparent space, U+F8FF the
 * caption icon.
 */
export interface TextSegment {
  readonly row: number;
  readonly column: number;
  readonly length: number;
  readonly text: string;
  readonly pen: PenStyle;
  readonly caption_mode: number; // 608: 1 roll-up, 2 pop-on, 3 paint-on, 4 text; 708: 0
  readonly no_merge: boolean;
}

/** One caption window as the library holds it. */
export interface CaptionWindow {
  readonly id: number; // 0..7
  readonly priority: number;
  readonly flags: number; // bit 0 relative, bit 1 row lock, bit 2 column lock, bit 3 visible
  readonly visible: boolean;
  readonly relative_positioning: boolean;
  readonly row_lock: boolean;
  readonly column_lock: boolean;
  /** 0 top left, 1 top centre, 2 top right, 3 middle left, 4 centre, 5 middle right, 6-8 bottom left/centre/right. */
  readonly anchor_point: number;
  /** In percent with relative positioning (608 windows: 100 and 50). */
  readonly anchor_vertical: number;
  readonly anchor_horizontal: number;
  readonly row_count: number;
  readonly column_count: number;
  readonly style: WindowStyle;
  /** The current pen, which the next closed run takes. */
  readonly pen: PenStyle;
  /** The window's text, in position order. */
  readonly segments: readonly TextSegment[];
  /** The run being typed at the cursor, not yet in `segments`; null when none. */
  readonly current_segment: TextSegment | null;
  readonly defined: boolean;
  readonly cursor_row: number;
  readonly cursor_column: number;
  readonly text_tag: number;
}

/** A diagnostic of the library: a callback or a decoding step failed. */
export interface Report {
  level: number;
  status: number;
  statusName: string;
  path: string;
  line: number;
  message: string;
}

/** A callback's result: nothing (or STATUS.SOFTCC_OK) for success, or any other status for a failure. */
type Status = number | void;

export interface DecoderOptions {
  /** 608 (default) or 708. */
  format?: 608 | 708;
  /** 608: 'CC1'..'CC4', 'T1'..'T4', 'XDS' or their codes 0-7, 15 (default CC1); 708: 1-63 (default 1). */
  service?: number | string;
  /** 'timer' (default): Delay alarms run on setTimeout.  'media': on the media time the caller gives. */
  clock?: 'timer' | 'media';
  defineWindows?(window: CaptionWindow, decoder: Decoder): Status;
  refreshWindows?(windows: CaptionWindow[], decoder: Decoder): Status;
  scrollWindows?(window: CaptionWindow, decoder: Decoder): Status;
  deleteWindows?(windows: CaptionWindow[], decoder: Decoder): Status;
  /**
   * Every window that the callbacks above touched, once per step of input (a
   * decode call, a frame of decodeCcDataFrames, an alarm, a control call), as
   * it stands at the end of the step, in id order.  Deleted windows come with
   * `defined` false.  A renderer needs only this.
   */
  updateWindows?(windows: CaptionWindow[], decoder: Decoder): void;
  setDelayAlarm?(milliseconds: number, decoder: Decoder): Status;
  cancelDelayAlarm?(decoder: Decoder): Status;
  /** The alarm ran out; the held-back captions follow. */
  delayAlarmExpired?(decoder: Decoder): void;
  forwardXdsData?(bytes: Uint8Array, decoder: Decoder): Status;
  forwardLinkData?(bytes: Uint8Array, decoder: Decoder): Status;
  report?(report: Report, decoder: Decoder): void;
}

export declare class Decoder {
  private constructor();
  readonly format: 608 | 708;
  readonly service: number;
  readonly clock: 'timer' | 'media';
  readonly closed: boolean;
  /** Media time in ms (media clock). */
  readonly now: number;
  /** Media clock: when the armed Delay alarm falls due, or null. */
  readonly alarmTime: number | null;
  /** DTVCC packets of the cc_data input completed with zero bytes. */
  readonly packetsZeroFilled: number;
  /** 608 byte pairs of the service's field, or the DTVCC packet stream.  `time` needs the media clock. */
  decode(bytes: Uint8Array, time?: number): void;
  /** One frame's A/53 cc_data triplets; the decoder takes its field's pairs or the DTVCC packets. */
  decodeCcData(triplets: Uint8Array, time?: number): void;
  /** Frame i is triplets[ends[i-1] .. ends[i]) at times[i] ms (media clock). */
  decodeCcDataFrames(triplets: Uint8Array, ends: ArrayLike<number>, times: ArrayLike<number>): void;
  /** The end of the cc_data: an incomplete DTVCC packet is completed with zero bytes. */
  endCcData(): void;
  /** Media clock: time moves on; a Delay alarm due by then runs at its own time first. */
  advanceTo(time: number): void;
  reset(): void;
  selectService(service: number | string): void;
  selectFormat(format: 608 | 708): void;
  /** Deletes the windows, cancels the alarm, frees the decoder.  Idempotent. */
  close(): void;
}

export interface SplitCcData {
  field1: Uint8Array;
  field2: Uint8Array;
  packets: Uint8Array[];
}

export declare class CcDataSplitter {
  private constructor();
  push(triplets: Uint8Array): SplitCcData;
  /** The packet still being collected, completed with zero bytes (empty if none). */
  end(): Uint8Array[];
  readonly packetsZeroFilled: number;
  close(): void;
}

export interface HeapCounters {
  liveBlocks: number;
  liveBytes: number;
  allocations: number;
  failures: number;
  peakBytes: number;
}

export declare class SoftCC {
  private constructor();
  createDecoder(options?: DecoderOptions): Decoder;
  createCcDataSplitter(): CcDataSplitter;
  /** The module allocator's counters: blocks live now should be 0 once everything is closed. */
  heap(): HeapCounters;
  /** Tests: the n-th allocation from now fails, once (0: none). */
  failAllocation(n: number): void;
}

/**
 * Loads libvqsoftcc.wasm: from its bytes, a compiled module, a fetch Response,
 * a URL (in Node also a file path), or by default the file beside this package.
 */
export declare function loadSoftCC(
  source?: BufferSource | WebAssembly.Module | Response | Promise<Response> | URL | string,
): Promise<SoftCC>;

/** A library call that did not return SOFTCC_OK. */
export declare class SoftCCError extends Error {
  readonly code: string; // the status name, e.g. 'SOFTCC_ERR_NO_MEMORY'
  readonly status: number;
  readonly call: string;
}

export declare const STATUS: {
  readonly SOFTCC_OK: 6;
  readonly SOFTCC_ERR_UNSUPPORTED: 9;
  readonly SOFTCC_ERR_FORMAT: 11;
  readonly SOFTCC_ERR_NULL_POINTER: 38;
  readonly SOFTCC_ERR_NO_MEMORY: 40;
  readonly CALLBACK_THREW: 0xffffffff;
};

export declare function statusName(status: number): string;

/** A caption track with data, as softcc --probe lists it. */
export interface CaptionTrack {
  /** 'CC1'..'CC4', 'T1'..'T4', 'XDS', or a 708 service '1'..'63'. */
  service: string;
  /** Media time of its first and last data, in seconds (to the millisecond). */
  first: number;
  last: number;
}

/** Damage softcc found inside the file (decoding goes on). */
export interface CaptionWarning {
  /** Where: a line number, 'picture 12', 'packet 40 (00:00:01.500)'. */
  at: string;
  message: string;
}

/**
 * What softcc hands VQSoftCCDecode for one track: chunk i is
 * bytes[ends[i-1] .. ends[i]) (from 0 for i = 0) at media time times[i]
 * (seconds).  Feed it to a Decoder with this format and service, clock
 * 'media': decode(chunk, times[i] * 1000) for each, then advanceTo(alarmTime)
 * while an alarm is pending, and close at (max(file.end, last time) + 1) s.
 */
export interface CaptionFeed {
  format: 608 | 708;
  /** The library's service code: 608 channel code 0-7 or 15 (XDS), or the 708 service 1-63. */
  service: number;
  times: Float64Array;
  ends: Uint32Array;
  bytes: Uint8Array;
}

export declare class CaptionFile {
  private constructor();
  /** What the captions came in, as softcc --probe says: 'SCC', 'MCC', 'MPEG-2 video', 'raw 608', 'raw 708'. */
  readonly carrier: string;
  readonly tracks: CaptionTrack[];
  /** The track softcc decodes without --service. */
  readonly defaultTrack: string;
  readonly warnings: CaptionWarning[];
  /** Media time of the input's last frame (any track), in seconds. */
  readonly end: number;
  /** The feed of a track (a --service name or a 708 number; default: defaultTrack).  Throws softcc's complaint for a track the input cannot carry. */
  feed(service?: string | number): CaptionFeed;
  /** Frees the file in the module (also done when it is collected).  Idempotent. */
  close(): void;
}

export declare class CaptionReader {
  private constructor();
  /**
   * Reads a whole caption file as softcc does.  `name` chooses the reader by
   * extension when the content does not; `input` names it.  Throws an Error
   * with softcc's one-line complaint when the input is not one it reads.
   */
  read(bytes: Uint8Array, options?: { name?: string; input?: 'scc' | 'mcc' | 'mpeg2' | '608' | '708' }): CaptionFile;
  /** Drops the module and its memory. */
  close(): void;
}

/** Loads caption-reader.wasm: from any source loadSoftCC takes; by default the file beside this package. */
export declare function loadCaptionReader(
  source?: BufferSource | WebAssembly.Module | Response | Promise<Response> | URL | string,
): Promise<CaptionReader>;
