// The caption reader: softcc's own readers and cc_data stage (tools/softcc)
// in a WebAssembly module of their own (caption-reader.wasm, from
// bindings/js/emscripten/caption_reader.cpp).  A file is read as softcc
// reads it; a track's feed is what softcc hands the decoder for that track,
// call by call, at the same media times.

import { instantiate } from './load.js';

const DEFAULT_URL = new URL('../caption-reader.wasm', import.meta.url);
const utf8 = new TextDecoder();
const encoder = new TextEncoder();

// Loads the module, from any `source` loadSoftCC takes; by default the
// caption-reader.wasm beside this package.
export async function loadCaptionReader(source = DEFAULT_URL) {
  const reader = new CaptionReader();
  reader.attach(await instantiate(source, reader.imports(), 'loadCaptionReader'));
  return reader;
}

export class CaptionReader {
  constructor() {
    this.exports = null;
    this.closed = false;
    // Files nobody closed are freed once they are collected.
    this._files = typeof FinalizationRegistry === 'function'
      ? new FinalizationRegistry((handle) => this._release(handle)) : null;
  }

  // The module's few system calls: it reads no file and no environment.
  imports() {
    const refuse = (name) => () => { throw new Error(`caption reader: ${name}`); };
    return {
      env: { emscripten_notify_memory_growth() {} },
      wasi_snapshot_preview1: {
        environ_sizes_get: (count, size) => {
          const u32 = new Uint32Array(this.exports.memory.buffer);
          u32[count >> 2] = 0;
          u32[size >> 2] = 0;
          return 0;
        },
        environ_get: () => 0,
        proc_exit: refuse('exit'),
      },
    };
  }

  attach(instance) {
    this.exports = instance.exports;
    this.exports._initialize();
  }

  // Reads a whole file.  `name` chooses the reader by extension when the
  // content does not, and names the file in complaints; `input` names the
  // reader ('scc', 'mcc', 'mpeg2', '608', '708').  Throws an Error with
  // softcc's complaint for an input it does not read.
  read(bytes, { name = '-', input = '' } = {}) {
    this._checkOpen('read');
    if (!(bytes instanceof Uint8Array)) throw new TypeError('read: bytes must be a Uint8Array');
    if (typeof name !== 'string' || typeof input !== 'string') throw new TypeError('read: name and input must be strings');
    const e = this.exports;
    const data = e.malloc(Math.max(bytes.length, 1));
    new Uint8Array(e.memory.buffer).set(bytes, data);
    const nameAt = this._cString(name);
    const inputAt = this._cString(input);
    const handle = e.caption_read(data, bytes.length, nameAt, inputAt);
    e.free(data);
    e.free(nameAt);
    e.free(inputAt);
    const complaint = this._string(e.caption_complaint(handle));
    if (complaint !== '') {
      e.caption_close(handle);
      throw new Error(complaint);
    }
    const file = new CaptionFile(this, handle);
    this._files?.register(file, handle, file);
    return file;
  }

  // Frees the module and its memory; files read from it can no longer feed.
  close() {
    this.closed = true;
    this.exports = null;
  }

  _checkOpen(call) {
    if (this.closed) throw new Error(`${call}: the caption reader is closed`);
  }

  _release(handle) {
    if (!this.closed) this.exports.caption_close(handle);
  }

  // A NUL-terminated UTF-8 copy of `text` in the module's memory.
  _cString(text) {
    const bytes = encoder.encode(text);
    const at = this.exports.malloc(bytes.length + 1);
    const u8 = new Uint8Array(this.exports.memory.buffer);
    u8.set(bytes, at);
    u8[at + bytes.length] = 0;
    return at;
  }

  _string(at) {
    const u8 = new Uint8Array(this.exports.memory.buffer);
    let end = at;
    while (u8[end] !== 0) end++;
    return utf8.decode(u8.subarray(at, end));
  }
}

const roundMs = (seconds) => Math.round(seconds * 1000) / 1000;

// One file as softcc reads it.
export class CaptionFile {
  constructor(reader, handle) {
    const e = reader.exports;
    const s = (at) => reader._string(at);
    this._reader = reader;
    this._handle = handle;
    this.carrier = s(e.caption_carrier(handle));
    // As softcc --probe lists them: times in seconds, to the millisecond.
    this.tracks = Array.from({ length: e.caption_track_count(handle) }, (_, i) => ({
      service: s(e.caption_track_name(handle, i)),
      first: roundMs(e.caption_track_first(handle, i)),
      last: roundMs(e.caption_track_last(handle, i)),
    }));
    this.defaultTrack = s(e.caption_default_track(handle));
    this.warnings = Array.from({ length: e.caption_warning_count(handle) }, (_, i) => ({
      at: s(e.caption_warning_at(handle, i)),
      message: s(e.caption_warning_message(handle, i)),
    }));
    // The media time of the input's last frame, any track: softcc closes a
    // track's decoder one second after this, or after its last Delay alarm.
    this.end = e.caption_end(handle);
  }

  // What softcc hands the decoder for a track (a --service name: 'CC1' ..
  // 'T4', 'XDS', 1 .. 63; by default the track softcc decodes without
  // --service): chunk i is bytes[ends[i-1] .. ends[i]) (from 0 for the
  // first) at times[i] seconds.
  feed(service = this.defaultTrack) {
    const reader = this._checkOpen('feed');
    const e = reader.exports;
    const serviceAt = reader._cString(String(service));
    const feed = e.caption_feed(this._handle, serviceAt);
    e.free(serviceAt);
    try {
      const complaint = reader._string(e.caption_feed_complaint(feed));
      if (complaint !== '') throw new Error(complaint);
      const count = e.caption_feed_count(feed);
      const { buffer } = e.memory;
      return {
        format: e.caption_feed_format(feed),
        service: e.caption_feed_service(feed),
        times: new Float64Array(buffer, e.caption_feed_times(feed), count).slice(),
        ends: new Uint32Array(buffer, e.caption_feed_ends(feed), count).slice(),
        bytes: new Uint8Array(buffer, e.caption_feed_bytes(feed), e.caption_feed_size(feed)).slice(),
      };
    } finally {
      e.caption_feed_close(feed);
    }
  }

  // Frees the file in the module (also done when the file is collected).
  close() {
    if (this._handle === 0) return;
    this._reader._files?.unregister(this);
    this._reader._release(this._handle);
    this._handle = 0;
  }

  _checkOpen(call) {
    this._reader._checkOpen(call);
    if (this._handle === 0) throw new Error(`${call}: the file is closed`);
    return this._reader;
  }
}
