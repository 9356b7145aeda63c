// One caption track on media time: the windows at any moment, the list of
// moments at which the screen changes, and the library's callbacks.
//
// A track's feed is what the caption reader gives for it: chunk i is
// bytes[ends[i-1] .. ends[i]) at times[i] seconds, exactly as softcc hands it
// to the library.  A Session feeds it forward through one decoder on the
// media clock; the screen at time t is the decoder's windows once every
// chunk up to t (and every Delay alarm due by then) has been decoded.
// Going back replays from the start with a fresh decoder, which costs a few
// milliseconds per hour of captions, and gives the same windows as playing
// straight through.  As softcc does, the decoder closes one second after the
// input's last frame or the last Delay alarm, whichever is later, which takes
// the last captions off the screen.

import { cellsOf, piecesOf } from './render.js';

const LOG_LIMIT = 100000;
const LABEL_LENGTH = 60;

// ---- What a window shows ----------------------------------------------------------

// The text of a window, one string per line (blank cells as spaces), in line order.
export function windowLines(window) {
  const lines = cellsOf(window);
  return [...lines.keys()].sort((a, b) => a - b)
    .map((line) => piecesOf(lines.get(line)).map((p) => (p.gap ? ' '.repeat(p.length) : p.text)).join('').trim())
    .filter(Boolean);
}

const keys = new WeakMap();
function keyOf(style) {
  if (!keys.has(style)) keys.set(style, JSON.stringify(style));
  return keys.get(style);
}

// Whether a window puts anything on the screen: text, a fill or a border.
function draws(w) {
  return w && w.visible && (w.segments.length > 0 || w.current_segment !== null || w.style.fill_opacity !== 3
    || w.style.border_type !== 0);
}

// Everything the screen draws of a window, as one string ('' for nothing).
function drawnKey(w) {
  if (!draws(w)) return '';
  const parts = [`${w.flags} ${w.priority} ${w.anchor_point} ${w.anchor_vertical} ${w.anchor_horizontal}`
    + ` ${w.row_count}x${w.column_count} ${keyOf(w.style)}`];
  const runs = w.current_segment ? [...w.segments, w.current_segment] : w.segments;
  for (const s of runs) parts.push(`${s.row},${s.column},${keyOf(s.pen)},${s.text}`);
  return parts.join('\n');
}

// The end of a long text: new caption text comes last.
function shorten(text) {
  return text.length > LABEL_LENGTH ? `…${text.slice(1 - LABEL_LENGTH)}` : text;
}

// A short label of a change: what the windows that changed show now.  708
// names each window ("2 off" for one no longer drawn); 608 shows one memory
// at a time and needs no names.
export function changeLabel(windows, changed, format) {
  if (!windows.some(draws)) return '(no captions)';
  const parts = changed.map((id) => {
    const w = windows[id];
    const text = draws(w) ? shorten(windowLines(w).join(' / ')) || '(empty)' : 'off';
    return format === 708 ? `${id}: ${text}` : text;
  });
  return format === 708 ? parts.join(' · ') : parts.filter((p) => p !== 'off').join(' / ') || '(empty)';
}

function describeWindows(windows) {
  return windows.map((w) => {
    const state = !w.defined ? 'deleted' : w.visible ? 'visible' : 'hidden';
    const text = w.defined ? windowLines(w).join(' / ') : '';
    return `${w.id} ${state}${text ? ` "${text}"` : ''}`;
  }).join('; ');
}

// ---- Feeding a track ----------------------------------------------------------------

// One decoder fed forward on media time.  `end` is the close time, once known;
// `hooks.log(name, detail, seconds)` receives every callback and
// `hooks.update(session, seconds)` every step that changed windows.
export class Session {
  constructor(softcc, feed, end = Infinity, hooks = {}) {
    this.feed = feed;
    this.end = end;
    this.hooks = hooks;
    this.next = 0; // the next chunk to decode
    this.time = -Infinity; // the media time reached, in seconds
    this.windows = new Array(8).fill(null);
    this.version = 0; // counts the changes of `windows`
    this.closed = false;
    this.decoder = softcc.createDecoder({
      format: feed.format,
      service: feed.service,
      clock: 'media',
      updateWindows: (windows, decoder) => this.onUpdate(windows, decoder),
      ...(hooks.log ? this.logCallbacks() : {}),
    });
  }

  // Every callback as a log entry, at the media time the decoder is at.
  logCallbacks() {
    const log = (name, detail, decoder) => this.hooks.log(name, detail, decoder.now / 1000);
    const windows = (name) => (list, decoder) => log(name, describeWindows([list].flat()), decoder);
    return {
      defineWindows: windows('defineWindows'),
      refreshWindows: windows('refreshWindows'),
      scrollWindows: windows('scrollWindows'),
      deleteWindows: windows('deleteWindows'),
      setDelayAlarm: (ms, decoder) => log('setDelayAlarm', `${ms} ms`, decoder),
      cancelDelayAlarm: (decoder) => log('cancelDelayAlarm', '', decoder),
      delayAlarmExpired: (decoder) => log('delayAlarmExpired', '', decoder),
      forwardXdsData: (bytes, decoder) => log('forwardXdsData', hex(bytes), decoder),
      forwardLinkData: (bytes, decoder) => log('forwardLinkData', hex(bytes), decoder),
      report: (r, decoder) => log('report', `${r.statusName} ${r.path}:${r.line}: ${r.message.trim()}`, decoder),
    };
  }

  onUpdate(windows, decoder) {
    for (const w of windows) this.windows[w.id] = w.defined ? w : null;
    this.version++;
    this.hooks.update?.(this, decoder.now / 1000);
  }

  // Decodes everything up to media time t (seconds).
  advance(t) {
    if (this.closed) return;
    const { times, ends, bytes } = this.feed;
    while (this.next < times.length && times[this.next] <= t) {
      const i = this.next++;
      this.decoder.decode(bytes.subarray(i === 0 ? 0 : ends[i - 1], ends[i]), times[i] * 1000);
    }
    if (t >= this.end) this.close();
    else if (t > this.time) this.decoder.advanceTo(t * 1000);
    this.time = Math.max(this.time, t);
  }

  // Decodes the whole track, runs the alarms still pending, and closes one
  // second after them or after `inputEnd`, the time of the input's last
  // frame; returns that close time.
  finish(inputEnd) {
    this.advance(this.feed.times.length ? this.feed.times[this.feed.times.length - 1] : 0);
    while (this.decoder.alarmTime !== null) this.decoder.advanceTo(this.decoder.alarmTime);
    const last = Math.max(inputEnd, this.time, this.decoder.now / 1000);
    this.end = Math.max(0, last) + 1;
    this.decoder.advanceTo(this.end * 1000);
    this.close();
    return this.end;
  }

  close() {
    if (this.closed) return;
    this.closed = true;
    this.decoder.close();
    if (this.windows.some(Boolean)) {
      this.windows = new Array(8).fill(null);
      this.version++;
      this.hooks.update?.(this, this.end);
    }
  }
}

function hex(bytes) {
  return Array.from(bytes, (b) => b.toString(16).padStart(2, '0')).join(' ');
}

// ---- The whole track ------------------------------------------------------------------

// Index of the last entry of `list` whose time is at most t, or -1.
function lastAtOrBefore(list, t) {
  let low = 0;
  let high = list.length;
  while (low < high) {
    const mid = (low + high) >> 1;
    if (list[mid].time <= t) low = mid + 1;
    else high = mid;
  }
  return low - 1;
}

export class Timeline {
  // Runs the track once to find its changes, its callbacks and its end;
  // inputEnd is the media time of the input's last frame, any track.
  constructor(softcc, feed, inputEnd = 0) {
    this.softcc = softcc;
    this.feed = feed;
    this.changes = []; // { time, label, changed }: the moments the screen changes, the windows changed
    this.log = []; // { time, name, detail }: every callback, up to LOG_LIMIT
    this.logTruncated = false;
    const drawn = new Array(8).fill('');
    const scan = new Session(softcc, feed, Infinity, {
      log: (name, detail, time) => this.record(name, detail, time),
      update: (session, time) => {
        const changed = [];
        session.windows.forEach((w, id) => {
          const key = drawnKey(w);
          if (key !== drawn[id]) changed.push(id);
          drawn[id] = key;
        });
        if (changed.length) this.addChange(time, changed, session.windows);
      },
    });
    this.end = scan.finish(inputEnd);
    this.session = null;
  }

  record(name, detail, time) {
    if (this.log.length >= LOG_LIMIT) {
      this.logTruncated = true;
      return;
    }
    this.log.push({ time, name, detail });
  }

  // Steps at one media time make one change, labelled with every window they changed.
  addChange(time, changed, windows) {
    let last = this.changes[this.changes.length - 1];
    if (!last || last.time !== time) this.changes.push((last = { time, label: '', changed: [] }));
    last.changed = [...new Set([...last.changed, ...changed])].sort((a, b) => a - b);
    last.label = changeLabel(windows, last.changed, this.feed.format);
  }

  // The windows at media time t: forward from where the last call left off,
  // or replayed from the start when t lies before it.
  windowsAt(t) {
    if (this.session === null || t < this.session.time) {
      this.session?.close();
      this.session = new Session(this.softcc, this.feed, this.end);
    }
    this.session.advance(t);
    return this.session.windows;
  }

  // Index in `changes` of the screen shown at t, or -1 before the first.
  changeAt(t) {
    return lastAtOrBefore(this.changes, t);
  }

  // The callbacks of the latest moment at or before t.
  logAt(t) {
    const last = lastAtOrBefore(this.log, t);
    if (last < 0) return [];
    let first = last;
    while (first > 0 && this.log[first - 1].time === this.log[last].time) first--;
    return this.log.slice(first, last + 1);
  }

  close() {
    this.session?.close();
    this.session = null;
  }
}
