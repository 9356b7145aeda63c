// Loading libvqsoftcc.wasm, and the instance that decoders share: its memory,
// its allocator counters and the imports that route each callback to the
// decoder it belongs to.

import { CcDataSplitter } from './ccdata.js';
import { Decoder } from './decoder.js';
import { STATUS, statusName } from './errors.js';
import { compareLayout, HEAP } from './layout.js';
import { instantiate } from './load.js';
import { MemoryViews, RecordReader } from './records.js';

const DEFAULT_URL = new URL('../libvqsoftcc.wasm', import.meta.url);

// Loads the module and returns a SoftCC instance.  `source` is any of: the
// module's bytes (ArrayBuffer or a typed array), a compiled
// WebAssembly.Module, a fetch Response (or a promise of one), a URL (URL or
// string; in Node also a file path), or nothing for the libvqsoftcc.wasm that
// sits beside this package.
export async function loadSoftCC(source = DEFAULT_URL) {
  const softcc = new SoftCC();
  softcc.attach(await instantiate(source, softcc.imports(), 'loadSoftCC'));
  return softcc;
}

// One instance of the module.  Create decoders and splitters from it; every
// one of them shares its memory.
export class SoftCC {
  constructor() {
    this.exports = null;
    this.views = null;
    this.reader = new RecordReader();
    this.decoders = new Map(); // host address -> Decoder
    this.splitter = null;      // the CcDataSplitter inside its push()
    this.active = [];          // decoders inside a call, innermost last: reports go to it
  }

  attach(instance) {
    this.exports = instance.exports;
    this.reader.exports = instance.exports;
    this.views = new MemoryViews(this.exports.memory);
    const m = this.views;
    const table = this.exports.vqjs_layout();
    const differences = compareLayout(Array.from(m.u32.subarray(table >> 2, (table >> 2) + this.exports.vqjs_layout_count())));
    if (differences.length) throw new Error(`libvqsoftcc.wasm does not match this package: ${differences.join('; ')}`);
  }

  // Memory views, renewed if the module's memory grew.
  memory() {
    return this.views.refresh();
  }

  createDecoder(options) {
    return new Decoder(this, options);
  }

  createCcDataSplitter() {
    return new CcDataSplitter(this);
  }

  // The allocator's counters: blocks and bytes live now, allocations and
  // failures so far, and the most bytes ever live at once.
  heap() {
    const m = this.memory();
    const base = this.exports.vqjs_heap() >> 2;
    return {
      liveBlocks: m.u32[base + HEAP.live_blocks / 4],
      liveBytes: m.u32[base + HEAP.live_bytes / 4],
      allocations: m.u32[base + HEAP.allocations / 4],
      failures: m.u32[base + HEAP.failures / 4],
      peakBytes: m.u32[base + HEAP.peak_bytes / 4],
    };
  }

  // For tests of out-of-memory paths: the n-th allocation from now (1 is the
  // next one) fails, once.  0 turns it off.
  failAllocation(n) {
    if (!Number.isInteger(n) || n < 0) throw new RangeError('failAllocation: n must be an integer >= 0');
    const m = this.memory();
    m.u32[(this.exports.vqjs_heap() + HEAP.fail_countdown) >> 2] = n;
  }

  // The imports of the module: each finds the decoder by its host address.
  imports() {
    const decoders = this.decoders;
    return {
      host: {
        define_windows: (host, window) => decoders.get(host).onDefine(window),
        refresh_windows: (host, windows) => decoders.get(host).onRefresh(windows),
        scroll_windows: (host, window) => decoders.get(host).onScroll(window),
        delete_windows: (host, windows) => decoders.get(host).onDelete(windows),
        set_delay_alarm: (host, milliseconds) => decoders.get(host).onSetAlarm(milliseconds),
        cancel_delay_alarm: (host) => decoders.get(host).onCancelAlarm(),
        alarm_fires: (host) => decoders.get(host).onAlarmFires(),
        update_windows: (host, changed, windows) => decoders.get(host).onUpdate(changed, windows),
        forward_xds_data: (host, data, count) => decoders.get(host).onForward('forwardXdsData', data, count),
        forward_link_data: (host, data, count) => decoders.get(host).onForward('forwardLinkData', data, count),
        report: (level, status, path, line, message) => this.report(level, status, path, line, message),
        packet: (splitter, packet, size) => this.splitter.packet(packet, size),
      },
    };
  }

  // The library's diagnostics carry no context: they belong to the decoder
  // whose call is running.
  report(level, status, path, line, message) {
    const decoder = this.active[this.active.length - 1];
    if (decoder !== undefined) {
      decoder.onReport({
        level, status, statusName: statusName(status), path: this.string(path), line, message: this.string(message),
      });
    }
    return STATUS.SOFTCC_OK;
  }

  // A NUL-terminated Latin-1 string from memory.
  string(address) {
    if (address === 0) return '';
    const { u8 } = this.memory();
    let end = address;
    while (end < u8.length && u8[end] !== 0) end++;
    return String.fromCharCode.apply(null, u8.subarray(address, end));
  }
}
