// Reads the library's records out of the module's memory into plain objects
// that keep the records' own field names.  Callbacks get these objects; they
// stay valid after the callback returns (nothing points back into memory).
//
// Pens and window styles come from a cache: equal styles are one frozen
// object, so a renderer can compare them by identity, and a refresh of a
// window whose styles did not change builds no style objects.

import { PEN, SEGMENT, SNAPSHOT, WINDOW, WINDOW_STYLE } from './layout.js';

const CACHE_LIMIT = 4096; // distinct styles kept; a hostile stream cannot grow it further
const MAX_WINDOWS = 8;

const FLAG_RELATIVE = 0x01;
const FLAG_ROW_LOCK = 0x02;
const FLAG_COLUMN_LOCK = 0x04;
const FLAG_VISIBLE = 0x08;
const PEN_ITALICS = 0x01;
const PEN_UNDERLINE = 0x02;

// Typed views of one memory buffer; a grown memory gets new views.
export class MemoryViews {
  constructor(memory) {
    this.memory = memory;
    this.buffer = null;
    this.refresh();
  }

  // A grown memory detaches the old buffer, whose views then have length 0:
  // cheaper to test than asking the memory for its buffer on every call.
  refresh() {
    if (this.buffer !== null && this.u8.length !== 0) return this;
    const buffer = this.memory.buffer;
    this.buffer = buffer;
    this.u8 = new Uint8Array(buffer);
    this.i8 = new Int8Array(buffer);
    this.u16 = new Uint16Array(buffer);
    this.i16 = new Int16Array(buffer);
    this.u32 = new Uint32Array(buffer);
    this.f64 = new Float64Array(buffer);
    return this;
  }
}

function trimCache(cache) {
  if (cache.size >= CACHE_LIMIT) cache.clear();
}

// The words of a style record and the object last built from them: most
// records in a row carry the same style, found again without hashing.
class LastStyle {
  constructor(words) {
    this.words = new Uint32Array(words);
    this.object = null;
  }

  // The object if the record at word index w holds the same words.
  find(u32, w) {
    const words = this.words;
    if (this.object === null) return null;
    for (let i = 0; i < words.length; i++) if (u32[w + i] !== words[i]) return null;
    return this.object;
  }

  remember(u32, w, object) {
    this.words.set(u32.subarray(w, w + this.words.length));
    this.object = object;
    return object;
  }
}

export class RecordReader {
  constructor() {
    this.exports = null; // the module's, for the snapshot calls (wasm_snapshot.cpp)
    this.pens = new Map();
    this.windowStyles = new Map();
    this.lastPen = new LastStyle(PEN.size / 4);
    this.lastWindowStyle = new LastStyle(WINDOW_STYLE.size / 4);
  }

  pen(m, p) {
    const last = this.lastPen.find(m.u32, p >> 2);
    return last !== null ? last : this.lastPen.remember(m.u32, p >> 2, this.buildPen(m, p));
  }

  windowStyle(m, p) {
    const last = this.lastWindowStyle.find(m.u32, p >> 2);
    return last !== null ? last : this.lastWindowStyle.remember(m.u32, p >> 2, this.buildWindowStyle(m, p));
  }

  buildPen(m, p) {
    const { u8, u32 } = m;
    const penSize = u32[(p + PEN.pen_size) >> 2];
    const fontStyle = u32[(p + PEN.font_style) >> 2];
    const fgColor = u8[p + PEN.fg_color];
    const fgOpacity = u32[(p + PEN.fg_opacity) >> 2];
    const bgColor = u8[p + PEN.bg_color];
    const bgOpacity = u32[(p + PEN.bg_opacity) >> 2];
    const edgeType = u32[(p + PEN.edge_type) >> 2];
    const edgeColor = u8[p + PEN.edge_color];
    const attributes = u8[p + PEN.attributes];
    const penOffset = u32[(p + PEN.pen_offset) >> 2];
    // Every 32-bit field below 8 (as any stream gives them): one exact key of 50 bits.
    const cacheable = ((penSize | fontStyle | fgOpacity | bgOpacity | edgeType | penOffset) >>> 3) === 0;
    let key = 0;
    if (cacheable) {
      key = ((((((((penSize * 8 + fontStyle) * 256 + fgColor) * 8 + fgOpacity) * 256 + bgColor) * 8 + bgOpacity)
        * 8 + edgeType) * 256 + edgeColor) * 256 + attributes) * 8 + penOffset;
      const cached = this.pens.get(key);
      if (cached !== undefined) return cached;
    }
    const pen = Object.freeze({
      pen_size: penSize,
      font_style: fontStyle,
      fg_color: fgColor,
      fg_opacity: fgOpacity,
      bg_color: bgColor,
      bg_opacity: bgOpacity,
      edge_type: edgeType,
      edge_color: edgeColor,
      attributes,
      italics: (attributes & PEN_ITALICS) !== 0,
      underline: (attributes & PEN_UNDERLINE) !== 0,
      pen_offset: penOffset,
    });
    if (cacheable) {
      trimCache(this.pens);
      this.pens.set(key, pen);
    }
    return pen;
  }

  buildWindowStyle(m, p) {
    const { u8, u32 } = m;
    const justify = u32[(p + WINDOW_STYLE.justify) >> 2];
    const printDirection = u32[(p + WINDOW_STYLE.print_direction) >> 2];
    const scrollDirection = u32[(p + WINDOW_STYLE.scroll_direction) >> 2];
    const wordWrap = u8[p + WINDOW_STYLE.word_wrap];
    const displayEffect = u32[(p + WINDOW_STYLE.display_effect) >> 2];
    const effectDirection = u32[(p + WINDOW_STYLE.effect_direction) >> 2];
    const effectSpeed = u8[p + WINDOW_STYLE.effect_speed];
    const fillColor = u8[p + WINDOW_STYLE.fill_color];
    const fillOpacity = u32[(p + WINDOW_STYLE.fill_opacity) >> 2];
    const borderType = u32[(p + WINDOW_STYLE.border_type) >> 2];
    const borderColor = u8[p + WINDOW_STYLE.border_color];
    const cacheable = ((justify | printDirection | scrollDirection | displayEffect | effectDirection
      | fillOpacity | borderType) >>> 3) === 0;
    let key = 0;
    if (cacheable) {
      // 53 bits: still exact in a double.
      key = (((((((((justify * 8 + printDirection) * 8 + scrollDirection) * 256 + wordWrap) * 8 + displayEffect)
        * 8 + effectDirection) * 256 + effectSpeed) * 256 + fillColor) * 8 + fillOpacity) * 8 + borderType)
        * 256 + borderColor;
      const cached = this.windowStyles.get(key);
      if (cached !== undefined) return cached;
    }
    const style = Object.freeze({
      justify,
      print_direction: printDirection,
      scroll_direction: scrollDirection,
      word_wrap: wordWrap,
      display_effect: displayEffect,
      effect_direction: effectDirection,
      effect_speed: effectSpeed,
      fill_color: fillColor,
      fill_opacity: fillOpacity,
      border_type: borderType,
      border_color: borderColor,
    });
    if (cacheable) {
      trimCache(this.windowStyles);
      this.windowStyles.set(key, style);
    }
    return style;
  }

  segment(m, s, pen = this.pen(m, s + SEGMENT.pen)) {
    const length = m.u8[s + SEGMENT.length];
    const text = m.u32[(s + SEGMENT.text) >> 2];
    return {
      row: m.i8[s + SEGMENT.row],
      column: m.i8[s + SEGMENT.column],
      length,
      text: text === 0 ? '' : ucs2(m.u16, text >> 1, length),
      pen,
      caption_mode: m.u16[(s + SEGMENT.caption_mode) >> 1],
      no_merge: m.u8[s + SEGMENT.no_merge] !== 0,
    };
  }

  // The runs of the window being built, in list order: the last object's
  // run at the same place when the module finds it unchanged, its text
  // extended when the run only grew at its end (typing), else a new object;
  // the last object's very array when nothing changed.  Each run is a block
  // of its own, so a list never meets itself; the bound only guards against
  // a damaged one.
  segments(m, first, host, id, old) {
    const runSince = this.exports.vqjs_run_since;
    const runs = [];
    const limit = m.u8.length / SEGMENT.size;
    let reused = 0;
    for (let s = first; s !== 0 && runs.length < limit; s = m.u32[(s + SEGMENT.next) >> 2]) {
      const k = runs.length;
      const run = this.runOf(m, s, runSince(host, id, k, s), old[k]);
      if (run === old[k]) reused++;
      runs.push(run);
    }
    return reused === old.length && reused === runs.length ? old : runs;
  }

  // The run at s as the module's snapshot code says (SNAPSHOT_*), given the
  // object of its place in the window's last object.
  runOf(m, s, code, old) {
    if (code === SNAPSHOT.SAME) return old;
    if (code !== SNAPSHOT.GROWN) return this.segment(m, s, code === SNAPSHOT.NEW_SAME_PEN ? old.pen : undefined);
    const length = m.u8[s + SEGMENT.length];
    const oldLength = old.length;
    return {
      row: old.row,
      column: old.column,
      length,
      text: old.text + ucs2(m.u16, (m.u32[(s + SEGMENT.text) >> 2] >> 1) + oldLength, length - oldLength),
      pen: old.pen,
      caption_mode: old.caption_mode,
      no_merge: old.no_merge,
    };
  }

  // The run being typed, or null.
  currentSegment(m, current, host, id, old) {
    const run = current !== 0 && m.u8[current + SEGMENT.in_use] !== 0 ? current : 0;
    const code = this.exports.vqjs_current_since(host, id, run);
    return run === 0 ? null : this.runOf(m, run, code, old);
  }

  // The window at w of the decoder whose host is `host`; `old` is the last
  // object built for it.  A window whose record and runs did not change is
  // that object again; styles that did not change are the last object's.
  window(m, w, host, old) {
    const { u8, u32, i16 } = m;
    const id = u8[w + WINDOW.id] & 7;
    const changes = this.exports.vqjs_window_since(host, w);
    const first = (changes & SNAPSHOT.FIRST) !== 0;
    const segments = this.segments(m, u32[(w + WINDOW.segments) >> 2], host, id, first ? EMPTY : old.segments);
    const currentSegment = this.currentSegment(m, u32[(w + WINDOW.current_segment) >> 2], host, id,
      first || old.current_segment === null ? undefined : old.current_segment);
    if (changes === 0 && segments === old.segments && currentSegment === old.current_segment) return old;
    const flags = u8[w + WINDOW.flags];
    return {
      id: u8[w + WINDOW.id],
      priority: u8[w + WINDOW.priority],
      flags,
      visible: (flags & FLAG_VISIBLE) !== 0,
      relative_positioning: (flags & FLAG_RELATIVE) !== 0,
      row_lock: (flags & FLAG_ROW_LOCK) !== 0,
      column_lock: (flags & FLAG_COLUMN_LOCK) !== 0,
      anchor_point: u32[(w + WINDOW.anchor_point) >> 2],
      anchor_vertical: u8[w + WINDOW.anchor_vertical],
      anchor_horizontal: u8[w + WINDOW.anchor_horizontal],
      row_count: u8[w + WINDOW.row_count],
      column_count: u8[w + WINDOW.column_count],
      style: first || (changes & SNAPSHOT.STYLE) !== 0 ? this.windowStyle(m, w + WINDOW.style) : old.style,
      pen: first || (changes & SNAPSHOT.PEN) !== 0 ? this.pen(m, w + WINDOW.pen) : old.pen,
      segments,
      current_segment: currentSegment,
      defined: u8[w + WINDOW.defined] !== 0,
      cursor_row: i16[(w + WINDOW.cursor_row) >> 1],
      cursor_column: i16[(w + WINDOW.cursor_column) >> 1],
      text_tag: u32[(w + WINDOW.text_tag) >> 2],
    };
  }

  // A callback's list of windows, chained through `next`.  `built` holds
  // the last object of each window id, and gets the new ones.
  windowList(m, head, host, built) {
    const windows = [];
    for (let w = head; w !== 0 && windows.length < MAX_WINDOWS; w = m.u32[(w + WINDOW.next) >> 2]) {
      windows.push(this.windowOf(m, w, host, built));
    }
    return windows;
  }

  windowOf(m, w, host, built) {
    const id = m.u8[w + WINDOW.id] & 7;
    const window = this.window(m, w, host, built[id]);
    built[id] = window;
    return window;
  }
}

const EMPTY = Object.freeze([]);

// UCS-2 code units to a string, four at a time: fewer and shorter
// intermediate strings than one by one, and no array as apply() needs.
function ucs2(u16, index, length) {
  let text = '';
  let i = index;
  const end = index + length;
  for (; i + 4 <= end; i += 4) text += String.fromCharCode(u16[i], u16[i + 1], u16[i + 2], u16[i + 3]);
  for (; i < end; i++) text += String.fromCharCode(u16[i]);
  return text;
}
