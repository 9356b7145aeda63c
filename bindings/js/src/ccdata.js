// Splits A/53 cc_data into what the library's decoders take: the 608 byte
// pairs of each field and whole DTVCC packets.  The module does the work, so
// a decoder's own cc_data input (Decoder.decodeCcData) follows the same
// rules: cc_valid 0 carries nothing, cc_type 0 and 1 are fields 1 and 2,
// cc_type 3 starts a packet and 2 continues it, continuation without a start
// is dropped, and a packet cut short by the next start (or by end()) is
// completed with zero bytes to the size its header declares.

import { SoftCCError, STATUS } from './errors.js';
import { SPLITTER } from './layout.js';

const EMPTY = new Uint8Array(0);

export class CcDataSplitter {
  // Use SoftCC.createCcDataSplitter().
  constructor(softcc) {
    this._softcc = softcc;
    this._exports = softcc.exports;
    this._state = this._exports.vqjs_new_splitter();
    if (this._state === 0) throw new SoftCCError('VQMalloc', STATUS.SOFTCC_ERR_NO_MEMORY);
    this._buffer = 0;
    this._bufferSize = 0;
    this._packets = null;
  }

  // Splits one frame's (or any run of) triplets, 3 bytes each.  Returns the
  // pairs of field 1 and field 2 and the DTVCC packets completed by them.
  push(triplets) {
    if (!(triplets instanceof Uint8Array)) throw new TypeError('push: triplets must be a Uint8Array');
    return this._split(triplets);
  }

  // The end of the input: the packet still being collected, if any,
  // completed with zero bytes.
  end() {
    return this._split(null).packets;
  }

  // Packets completed with zero bytes so far.
  get packetsZeroFilled() {
    this._checkOpen('packetsZeroFilled');
    return this._softcc.memory().u32[(this._state + SPLITTER.packets_zero_filled) >> 2];
  }

  // Releases the splitter's memory in the module.
  close() {
    if (this._state === 0) return;
    this._exports.VQFree(this._buffer);
    this._exports.VQFree(this._state);
    this._state = 0;
  }

  packet(address, size) {
    this._packets.push(this._softcc.memory().u8.slice(address, address + size));
  }

  _split(triplets) {
    this._checkOpen(triplets === null ? 'end' : 'push');
    const length = triplets === null ? 0 : triplets.length;
    const fieldCapacity = Math.floor(length / 3) * 2;
    const data = this._reserve(length + 2 * fieldCapacity);
    if (triplets !== null) this._softcc.memory().u8.set(triplets, data);
    const pairs = data + length;
    this._packets = [];
    this._softcc.splitter = this;
    try {
      this._exports.vqjs_split_ccdata(this._state, triplets === null ? 0 : data, length, pairs, fieldCapacity);
    } finally {
      this._softcc.splitter = null;
    }
    const m = this._softcc.memory();
    const lengths = (this._state + SPLITTER.field_length) >> 2;
    const field1 = fieldCapacity ? m.u8.slice(pairs, pairs + m.u32[lengths]) : EMPTY;
    const field2 = fieldCapacity ? m.u8.slice(pairs + fieldCapacity, pairs + fieldCapacity + m.u32[lengths + 1]) : EMPTY;
    const packets = this._packets;
    this._packets = null;
    return { field1, field2, packets };
  }

  _checkOpen(call) {
    if (this._state === 0) throw new Error(`${call}: the splitter is closed`);
  }

  _reserve(size) {
    if (size <= this._bufferSize && this._buffer !== 0) return this._buffer;
    const capacity = Math.max(size, this._bufferSize * 2, 64);
    this._exports.VQFree(this._buffer);
    this._buffer = this._exports.VQMalloc(capacity);
    this._bufferSize = this._buffer === 0 ? 0 : capacity;
    if (this._buffer === 0) throw new SoftCCError('VQMalloc', STATUS.SOFTCC_ERR_NO_MEMORY);
    return this._buffer;
  }
}
