// A 608 or 708 decoder: one context of the library, its callbacks as
// JavaScript functions, and the Delay alarm on a timer or on media time.

import { SoftCCError, STATUS } from './errors.js';
import { CONTEXT, HOST, WINDOW } from './layout.js';

const OK = STATUS.SOFTCC_OK;
const LIBRARY_FORMAT = new Map([[608, 0], [708, 1]]);
const SERVICES_608 = new Map([
  ['CC1', 0], ['CC2', 1], ['CC3', 2], ['CC4', 3], ['T1', 4], ['T2', 5], ['T3', 6], ['T4', 7], ['XDS', 15],
]);
const CODES_608 = new Set(SERVICES_608.values());
const CALLBACKS = [
  'defineWindows', 'refreshWindows', 'scrollWindows', 'deleteWindows', 'updateWindows', 'setDelayAlarm',
  'cancelDelayAlarm', 'delayAlarmExpired', 'forwardXdsData', 'forwardLinkData', 'report',
];
// The library callbacks the module hands over one by one (wasm_host.h),
// by the options that take them; the others stay inside the module.
const FORWARD = [
  [0x01, ['defineWindows']], [0x02, ['refreshWindows']], [0x04, ['scrollWindows']], [0x08, ['deleteWindows']],
  [0x10, ['setDelayAlarm', 'cancelDelayAlarm', 'delayAlarmExpired']], [0x20, ['forwardXdsData']],
  [0x40, ['forwardLinkData']],
];
const FORWARD_ALARM = 0x10;
const MIN_BUFFER = 256;

function checkFormat(format, call) {
  if (!LIBRARY_FORMAT.has(format)) throw new RangeError(`${call}: format must be 608 or 708, not ${String(format)}`);
  return format;
}

// The library's service number: for 608 a channel code (0 CC1 .. 7 T4, 15
// XDS) or its name, for 708 a service number 1 to 63.
function checkService(format, service, call) {
  if (format === 608) {
    if (typeof service === 'string' && SERVICES_608.has(service.toUpperCase())) {
      return SERVICES_608.get(service.toUpperCase());
    }
    if (CODES_608.has(service)) return service;
    throw new RangeError(`${call}: a 608 service is CC1-CC4, T1-T4, XDS or their codes 0-7, 15; not ${String(service)}`);
  }
  if (Number.isInteger(service) && service >= 1 && service <= 63) return service;
  throw new RangeError(`${call}: a 708 service is a number from 1 to 63, not ${String(service)}`);
}

function checkBytes(bytes, call) {
  if (!(bytes instanceof Uint8Array)) throw new TypeError(`${call}: bytes must be a Uint8Array`);
}

function checkTime(time, call) {
  if (typeof time !== 'number' || !Number.isFinite(time)) throw new TypeError(`${call}: time must be a finite number of milliseconds`);
}

export class Decoder {
  // Use SoftCC.createDecoder(options).
  constructor(softcc, options = {}) {
    if (options === null || typeof options !== 'object') throw new TypeError('createDecoder: options must be an object');
    const format = checkFormat(options.format ?? 608, 'createDecoder');
    const service = checkService(format, options.service ?? (format === 608 ? 0 : 1), 'createDecoder');
    const clock = options.clock ?? 'timer';
    if (clock !== 'timer' && clock !== 'media') throw new RangeError(`createDecoder: clock must be 'timer' or 'media', not ${String(clock)}`);
    for (const name of CALLBACKS) {
      if (options[name] !== undefined && typeof options[name] !== 'function') {
        throw new TypeError(`createDecoder: ${name} must be a function`);
      }
    }
    this._softcc = softcc;
    this._exports = softcc.exports;
    this._options = { ...options };
    this._format = format;
    this._service = service;
    this._clock = clock;
    this._timer = null;
    this._busy = false;
    this._closed = false;
    this._error = null; // the first exception of a callback during the current call
    this._onTimer = () => this._alarmTimerExpired();
    this._built = new Array(8); // the last object of each window, whose parts the next may reuse
    this._host = this._exports.vqjs_new_host();
    if (this._host === 0) throw new SoftCCError('VQMalloc', STATUS.SOFTCC_ERR_NO_MEMORY);
    this._buffer = 0;
    this._bufferSize = 0;
    softcc.decoders.set(this._host, this);
    let forward = clock === 'timer' ? FORWARD_ALARM : 0;
    for (const [bit, names] of FORWARD) if (names.some((name) => options[name] !== undefined)) forward |= bit;
    const m = softcc.memory();
    m.u32[(this._host + HOST.forward) >> 2] = forward;
    m.u32[(this._host + HOST.updates) >> 2] = options.updateWindows === undefined ? 0 : 1;
    try {
      this._reserve(MIN_BUFFER);
      const status = this._run(() => this._exports.vqjs_open(this._host, LIBRARY_FORMAT.get(format), service));
      if (status !== OK) throw new SoftCCError('VQSoftCCOpen', status);
    } catch (error) {
      this._release();
      throw error;
    }
    this._context = softcc.memory().u32[(this._host + HOST.context) >> 2];
  }

  get format() { return this._format; }
  get service() { return this._service; }
  get clock() { return this._clock; }
  get closed() { return this._closed; }

  // Media time in milliseconds (media clock): the latest time given, or the
  // time of the alarm whose callbacks are running.
  get now() {
    if (this._closed) return NaN;
    return this._softcc.memory().f64[(this._host + HOST.now) >> 3];
  }

  // Media clock: when the armed Delay alarm falls due (ms), or null.
  get alarmTime() {
    if (this._closed || this._clock !== 'media') return null;
    const m = this._softcc.memory();
    return m.u32[(this._host + HOST.alarm) >> 2] === 0 ? null : m.f64[(this._host + HOST.alarm_time) >> 3];
  }

  // DTVCC packets that arrived cut short and were completed with zero bytes.
  get packetsZeroFilled() {
    if (this._closed) return 0;
    return this._softcc.memory().u32[(this._host + HOST.packets_zero_filled) >> 2];
  }

  // Caption bytes as the library takes them: 608 byte pairs of the field that
  // carries the service, or the DTVCC packet stream.  With the media clock a
  // time (ms) may come along; a Delay alarm due by then runs first.
  decode(bytes, time) {
    this._check('decode');
    checkBytes(bytes, 'decode');
    const at = this._timeOf(time, 'decode');
    const p = this._copyIn(bytes);
    let status;
    this._enter();
    try {
      status = this._exports.vqjs_decode(this._host, p, bytes.length, at);
    } finally {
      this._leave();
    }
    this._ok('VQSoftCCDecode', status);
  }

  // One frame's A/53 cc_data (triplets of 3 bytes): a 608 decoder takes the
  // valid pairs of its service's field, a 708 decoder the DTVCC packets,
  // each packet whole.  One call into the module, as a player makes per frame.
  decodeCcData(triplets, time) {
    this._check('decodeCcData');
    checkBytes(triplets, 'decodeCcData');
    const at = this._timeOf(time, 'decodeCcData');
    const p = this._copyIn(triplets);
    let status;
    this._enter();
    try {
      status = this._exports.vqjs_decode_ccdata(this._host, this._ccType(), p, triplets.length, at);
    } finally {
      this._leave();
    }
    this._ok('VQSoftCCDecode', status);
  }

  // Many frames of cc_data at once (media clock): frame i is
  // triplets[ends[i-1] .. ends[i]) (from 0 for the first) at times[i] ms.
  // The same as decodeCcData frame by frame, in one call into the module.
  decodeCcDataFrames(triplets, ends, times) {
    this._check('decodeCcDataFrames');
    this._needMediaClock('decodeCcDataFrames');
    checkBytes(triplets, 'decodeCcDataFrames');
    const count = ends?.length;
    if (!Number.isInteger(count) || times?.length !== count) {
      throw new TypeError('decodeCcDataFrames: ends and times must be arrays of the same length');
    }
    // times (8-byte aligned), then ends, then the bytes.
    const p = this._reserve(count * 12 + triplets.length);
    const m = this._softcc.memory();
    m.f64.set(times, p >> 3);
    m.u32.set(ends, (p + count * 8) >> 2);
    m.u8.set(triplets, p + count * 12);
    const status = this._run(() => this._exports.vqjs_decode_frames(this._host, this._ccType(), p + count * 12,
      triplets.length, p + count * 8, p, count));
    if (status === STATUS.SOFTCC_ERR_FORMAT) {
      throw new RangeError('decodeCcDataFrames: ends must rise from 0 to at most the length of triplets');
    }
    this._ok('VQSoftCCDecode', status);
  }

  // The end of the cc_data: a DTVCC packet still incomplete is completed
  // with zero bytes and decoded.
  endCcData() {
    this._check('endCcData');
    this._ok('VQSoftCCDecode', this._run(() => this._exports.vqjs_end_ccdata(this._host, this._ccType())));
  }

  // Media clock: time moves on to `time` ms; a Delay alarm due by then runs
  // at its own time first (and any alarm that one arms, likewise).
  advanceTo(time) {
    this._check('advanceTo');
    this._needMediaClock('advanceTo');
    checkTime(time, 'advanceTo');
    this._run(() => this._exports.vqjs_advance_to(this._host, time));
  }

  reset() {
    this._check('reset');
    this._ok('VQSoftCCReset', this._control(() => this._exports.VQSoftCCReset(this._context)));
  }

  selectService(service) {
    this._check('selectService');
    const code = checkService(this._format, service, 'selectService');
    this._ok('VQSoftCCSelectService', this._control(() => this._exports.VQSoftCCSelectService(this._context, code)));
    this._service = code;
  }

  // Switches between 608 and 708: the old windows are deleted, and the
  // service starts again at CC1 or service 1.
  selectFormat(format) {
    this._check('selectFormat');
    checkFormat(format, 'selectFormat');
    const status = this._control(() => this._exports.VQSoftCCSelectFormat(this._context, LIBRARY_FORMAT.get(format)));
    // The context's format word says whether the switch happened: a failed
    // close keeps the old format, a failed open of the new decoder does not.
    if (format !== this._format
        && this._softcc.memory().u32[(this._context + CONTEXT.format) >> 2] === LIBRARY_FORMAT.get(format)) {
      this._format = format;
      this._service = format === 608 ? 0 : 1;
    }
    this._ok('VQSoftCCSelectFormat', status);
  }

  // Closes the decoder: its windows are deleted and a pending alarm
  // cancelled.  Closing a closed decoder does nothing.
  close() {
    if (this._closed) return;
    if (this._busy) throw new Error('close: called from inside one of this decoder\'s own callbacks');
    let status = OK;
    try {
      status = this._run(() => this._exports.VQSoftCCClose(this._context));
    } finally {
      this._release();
    }
    this._ok('VQSoftCCClose', status);
  }

  // ---- Callbacks from the module -------------------------------------------

  onDefine(window) {
    return this._windows(this._options.defineWindows, window, false);
  }

  onRefresh(head) {
    return this._windows(this._options.refreshWindows, head, true);
  }

  onScroll(window) {
    return this._windows(this._options.scrollWindows, window, false);
  }

  onDelete(head) {
    return this._windows(this._options.deleteWindows, head, true);
  }

  // The windows changed by one step of input, in id order.
  onUpdate(changed, windows) {
    const m = this._softcc.memory();
    const reader = this._softcc.reader;
    const list = [];
    for (let id = 0; id < 8; id++) {
      if ((changed & (1 << id)) !== 0) {
        list.push(reader.windowOf(m, windows + id * WINDOW.size, this._host, this._built));
      }
    }
    this._deliver(this._options.updateWindows, list);
  }

  onSetAlarm(milliseconds) {
    if (this._clock === 'timer') {
      clearTimeout(this._timer);
      this._timer = setTimeout(this._onTimer, milliseconds);
    }
    const callback = this._options.setDelayAlarm;
    return callback === undefined ? OK : this._deliver(callback, milliseconds);
  }

  onCancelAlarm() {
    if (this._timer !== null) {
      clearTimeout(this._timer);
      this._timer = null;
    }
    const callback = this._options.cancelDelayAlarm;
    return callback === undefined ? OK : this._deliver(callback, this);
  }

  onAlarmFires() {
    const callback = this._options.delayAlarmExpired;
    if (callback !== undefined) this._deliver(callback, this);
  }

  onForward(name, data, count) {
    const callback = this._options[name];
    if (callback === undefined) return OK;
    return this._deliver(callback, this._softcc.memory().u8.slice(data, data + count));
  }

  onReport(report) {
    const callback = this._options.report;
    if (callback !== undefined) this._deliver(callback, report);
  }

  // ---- Inside ------------------------------------------------------------------

  // A window callback: one window, or the list chained from it.
  _windows(callback, address, list) {
    if (callback === undefined) return OK;
    const reader = this._softcc.reader;
    const m = this._softcc.memory();
    return this._deliver(callback, list ? reader.windowList(m, address, this._host, this._built)
      : reader.windowOf(m, address, this._host, this._built));
  }

  // Calls a host callback with its argument and this decoder.  A number it
  // returns is its status; an exception
  // becomes a failure for the library and is thrown again once the library
  // call has finished, so the decoder's state stays whole.
  _deliver(callback, argument) {
    try {
      const result = callback(argument, this);
      return typeof result === 'number' ? result >>> 0 : OK;
    } catch (error) {
      if (this._error === null) this._error = error;
      return STATUS.CALLBACK_THREW;
    }
  }

  // A time given with input: NaN for none; the media clock takes one.
  _timeOf(time, call) {
    if (time === undefined) return NaN;
    this._needMediaClock(call);
    checkTime(time, call);
    return time;
  }

  // The bytes in the module's buffer, at the address returned.
  _copyIn(bytes) {
    const p = this._reserve(bytes.length);
    this._softcc.memory().u8.set(bytes, p);
    return p;
  }

  // Around every call into the module: the decoder is busy, and the
  // library's reports go to it; what a callback threw is thrown when the
  // call is over.  Hot paths call these inline, the rest through _run().
  _enter() {
    this._busy = true;
    this._softcc.active.push(this);
  }

  _leave() {
    this._softcc.active.pop();
    this._busy = false;
    const error = this._error;
    if (error !== null) {
      this._error = null;
      throw error;
    }
  }

  _run(call) {
    this._enter();
    try {
      return call();
    } finally {
      this._leave();
    }
  }

  // A control call of the library, then the update it caused.
  _control(call) {
    return this._run(() => {
      const status = call();
      this._exports.vqjs_deliver_updates(this._host);
      return status;
    });
  }

  _ok(call, status) {
    if (status !== OK) throw new SoftCCError(call, status);
  }

  _check(call) {
    if (this._closed) throw new Error(`${call}: the decoder is closed`);
    if (this._busy) throw new Error(`${call}: called from inside one of this decoder's own callbacks`);
  }

  _needMediaClock(call) {
    if (this._clock !== 'media') throw new Error(`${call}: needs a decoder with clock 'media'`);
  }

  // cc_data the decoder takes: 608 field 1 or 2 (by the service), or DTVCC.
  _ccType() {
    if (this._format === 708) return 2;
    return (this._service & 2) === 0 ? 0 : 1;
  }

  _alarmTimerExpired() {
    this._timer = null;
    if (this._closed) return;
    this._run(() => this._exports.vqjs_fire_alarm(this._host));
  }

  // A buffer in the module's memory of at least `size` bytes.
  _reserve(size) {
    if (size <= this._bufferSize) return this._buffer;
    const capacity = Math.max(size, this._bufferSize * 2, MIN_BUFFER);
    this._exports.VQFree(this._buffer);
    this._buffer = this._exports.VQMalloc(capacity);
    this._bufferSize = this._buffer === 0 ? 0 : capacity;
    if (this._buffer === 0) throw new SoftCCError('VQMalloc', STATUS.SOFTCC_ERR_NO_MEMORY);
    return this._buffer;
  }

  _release() {
    clearTimeout(this._timer);
    this._timer = null;
    this._exports.VQFree(this._buffer);
    this._exports.vqjs_free_host(this._host);
    this._softcc.decoders.delete(this._host);
    this._buffer = 0;
    this._bufferSize = 0;
    this._closed = true;
  }
}
