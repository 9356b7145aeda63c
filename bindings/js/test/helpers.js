// Byte builders for the tests, and the module loaded once.
import { loadSoftCC } from '../index.js';

export const softcc = await loadSoftCC();

function withParity(byte) {
  let ones = 0;
  for (let b = byte; b; b >>= 1) ones += b & 1;
  return ones % 2 ? byte : byte | 0x80;
}

// 608 pairs from 7-bit values (codes as [b1, b2] or text), odd parity added.
export function pairs(...parts) {
  const bytes = [];
  for (const part of parts) {
    if (typeof part === 'string') {
      for (const ch of part.padEnd(part.length + (part.length % 2), '\0')) bytes.push(ch.charCodeAt(0));
    } else {
      bytes.push(...part);
    }
  }
  return Uint8Array.from(bytes, withParity);
}

export const RCL = [0x14, 0x20];
export const EOC = [0x14, 0x2f];
export const PAC_ROW15 = [0x14, 0x70];

// DTVCC packets of service 1 carrying `codes`, numbered on from `sequence`.
export function packets(codes, sequence = { next: 1 }) {
  const out = [];
  for (let i = 0; i < codes.length; i += 30) {
    const block = codes.slice(i, i + 30);
    const packet = [0, (1 << 5) | block.length, ...block];
    if (packet.length % 2) packet.push(0);
    packet[0] = ((sequence.next++ & 3) << 6) | (packet.length / 2);
    out.push(...packet);
  }
  return Uint8Array.from(out);
}

// DefineWindow 0, visible, 2 rows of 32, window and pen style 1; then text.
export const DEFINE_WINDOW_0 = [0x98, 0x20, 0x00, 0x00, 0x01, 0x1f, 0x09];
export const text = (s) => Array.from(s, (c) => c.charCodeAt(0));
export const DELAY = (tenths) => [0x8d, tenths];

// cc_data triplets: [cc_type, b1, b2] with cc_valid set, or [cc_type, b1, b2, false].
export function triplets(...list) {
  return Uint8Array.from(list.flatMap(([type, b1, b2, valid = true]) => [0xf8 | (valid ? 4 : 0) | type, b1, b2]));
}

// Lines of text a window shows, by row.
export function rows(window) {
  return window.segments.map((s) => `${s.row}:${s.column}:${s.text}`);
}
