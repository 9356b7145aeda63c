#!/usr/bin/env node
// Decodes a ccd file (one video frame a line: "<pts_ms> <triplet> ...", each
// triplet 6 hex digits) through the JavaScript package, as a renderer host
// would: every window callback keeps the window object it gets, and after
// each media time the visible text becomes a cue.  Speaks the peer drivers'
// contract:
//
//   node bench_driver.mjs IN.ccd [--channel 1-4] [--service N] [--feed batch|frame]
//                                [--segment-frames N] [--windows update|callback] [--render frame|none]
//                                [--bench N]
//
// Without --channel and --service: CC1, plus 708 service 1 when the input
// carries DTVCC data.  --feed batch (default) hands over --segment-frames
// frames per call (default 300, as a player at segment boundaries; 0: the
// whole input), --feed frame one call per frame.  --windows update (default)
// takes each changed window once per media time (updateWindows), --windows
// callback every define, refresh, scroll and delete as the library makes it.
// --render frame (default) turns the visible text after each media time into
// cues; --render none only keeps the latest object of each window, as a
// renderer that draws at its own pace would (the cue count is then the
// number of window objects received).  Output: the cues as JSON
// lines, or with --bench N one JSON line of timings: the median over N
// repetitions (after 3 unmeasured ones) of open, decode, callbacks, cue
// building and close, per input byte (3 per triplet).

import { readFileSync } from 'node:fs';
import { loadSoftCC } from '../index.js';

function usage(message) {
  if (message) process.stderr.write(`bench_driver: ${message}\n`);
  process.stderr.write('usage: node bench_driver.mjs IN.ccd [--channel 1-4] [--service N] [--feed batch|frame] '
    + '[--segment-frames N] [--bench N]\n');
  process.exit(2);
}

function parseArgs(argv) {
  const options = {
    channel: 0, service: 0, feed: 'batch', segmentFrames: 300, windows: 'update', render: 'frame', bench: 0, input: null,
  };
  for (let i = 0; i < argv.length; i++) {
    const arg = argv[i];
    if (arg === '--channel') options.channel = parseInt(argv[++i], 10);
    else if (arg === '--service') options.service = parseInt(argv[++i], 10);
    else if (arg === '--feed') options.feed = argv[++i];
    else if (arg === '--segment-frames') options.segmentFrames = parseInt(argv[++i], 10);
    else if (arg === '--windows') options.windows = argv[++i];
    else if (arg === '--render') options.render = argv[++i];
    else if (arg === '--bench') options.bench = parseInt(argv[++i], 10);
    else if (arg.startsWith('--')) usage(`unknown option ${arg}`);
    else options.input = arg;
  }
  if (!options.input) usage();
  if (options.feed !== 'batch' && options.feed !== 'frame') usage('--feed must be batch or frame');
  if (options.windows !== 'update' && options.windows !== 'callback') usage('--windows must be update or callback');
  if (options.render !== 'frame' && options.render !== 'none') usage('--render must be frame or none');
  if (options.render === 'none' && !options.bench) usage('--render none goes with --bench');
  return options;
}

// ccd -> all triplets, the end of each frame's triplets, each frame's time.
function readCcd(file) {
  const lines = readFileSync(file, 'latin1').split('\n');
  const bytes = [];
  const ends = [];
  const times = [];
  let has708 = false;
  for (let n = 0; n < lines.length; n++) {
    const line = lines[n].trim();
    if (!line || line[0] === '#') continue;
    const words = line.split(/\s+/);
    const time = parseFloat(words[0]);
    if (Number.isNaN(time)) throw new Error(`${file}:${n + 1}: bad pts`);
    for (let k = 1; k < words.length; k++) {
      if (words[k].length !== 6) throw new Error(`${file}:${n + 1}: bad triplet ${words[k]}`);
      const value = parseInt(words[k], 16);
      bytes.push(value >> 16, (value >> 8) & 0xff, value & 0xff);
      if ((value >> 16 & 0x06) === 0x06) has708 = true;
    }
    ends.push(bytes.length);
    times.push(time);
  }
  return { triplets: Uint8Array.from(bytes), ends: Uint32Array.from(ends), times: Float64Array.from(times), has708 };
}

// A run's text with gaps and transparent spaces as blanks.  Unchanged runs
// come back as the same object, so each is cleaned once.
const cleaned = new WeakMap();
function runText(run) {
  let text = cleaned.get(run);
  if (text === undefined) {
    text = run.text.replace(/[\0\uf8fe\uf8fd]/g, ' ');
    cleaned.set(run, text);
  }
  return text;
}

// The visible text of a set of windows: each visible window's rows, top to
// bottom, runs placed at their columns.
function screenText(windows) {
  const shown = [];
  for (const window of windows.values()) if (window.visible) shown.push(window);
  if (shown.length > 1) shown.sort((a, b) => a.anchor_vertical - b.anchor_vertical || a.id - b.id);
  let screen = '';
  for (const window of shown) {
    let row = -1;
    let line = '';
    for (const run of window.segments) {
      if (run.row !== row) {
        screen = addLine(screen, line);
        row = run.row;
        line = '';
      }
      if (line.length < run.column) line = line.padEnd(run.column, ' ');
      line += runText(run);
    }
    screen = addLine(screen, line);
  }
  return screen;
}

function addLine(screen, line) {
  const trimmed = line.trimEnd();
  if (!trimmed) return screen;
  return screen ? `${screen}\n${trimmed}` : trimmed;
}

// A renderer host: the latest object of every window, and one cue per
// stretch of unchanged visible text.
class Screen {
  constructor(render) {
    this.render = render !== 'none';
    this.received = 0;
    this.windows = new Map();
    this.time = 0;
    this.dirty = false;
    this.text = '';
    this.since = 0;
    this.cues = [];
  }

  callbacks(delivery) {
    if (delivery === 'update') {
      return {
        updateWindows: (windows, decoder) => {
          for (const window of windows) {
            if (window.defined) this.keep(window, decoder.now);
            else this.drop(window, decoder.now);
          }
        },
      };
    }
    const keep = (window, decoder) => this.keep(window, decoder.now);
    return {
      defineWindows: keep,
      scrollWindows: keep,
      refreshWindows: (windows, decoder) => { for (const window of windows) this.keep(window, decoder.now); },
      deleteWindows: (windows, decoder) => { for (const window of windows) this.drop(window, decoder.now); },
    };
  }

  moveTo(time) {
    if (time === this.time) return;
    this.settle();
    this.time = time;
  }

  keep(window, time) {
    this.received++;
    if (this.render) this.moveTo(time);
    this.windows.set(window.id, window);
    this.dirty = true;
  }

  drop(window, time) {
    this.received++;
    if (this.render) this.moveTo(time);
    this.windows.delete(window.id);
    this.dirty = true;
  }

  // The picture after the last change at the current time.
  settle() {
    if (!this.dirty) return;
    this.dirty = false;
    const text = screenText(this.windows);
    if (text === this.text) return;
    if (this.text) this.cues.push({ start_ms: Math.round(this.since), end_ms: Math.round(this.time), text: this.text });
    this.text = text;
    this.since = this.time;
  }

  finish(time) {
    if (!this.render) {
      this.cues.length = this.received;
      return;
    }
    this.moveTo(time);
    this.settle();
    if (this.text) this.cues.push({ start_ms: Math.round(this.since), end_ms: Math.round(time), text: this.text });
    this.text = '';
  }
}

function open(softcc, format, service, delivery, render) {
  const screen = new Screen(render);
  return { screen, decoder: softcc.createDecoder({ format, service, clock: 'media', ...screen.callbacks(delivery) }) };
}

function feedBatch(decoder, cc, segmentFrames) {
  const { triplets, ends, times } = cc;
  const step = segmentFrames > 0 ? segmentFrames : ends.length;
  const segmentEnds = new Uint32Array(Math.min(step, ends.length));
  for (let first = 0; first < ends.length; first += step) {
    const count = Math.min(step, ends.length - first);
    const base = first === 0 ? 0 : ends[first - 1];
    for (let i = 0; i < count; i++) segmentEnds[i] = ends[first + i] - base;
    decoder.decodeCcDataFrames(triplets.subarray(base, ends[first + count - 1]), segmentEnds.subarray(0, count),
      times.subarray(first, first + count));
  }
}

function feedFrames(decoder, cc) {
  const { triplets, ends, times } = cc;
  let start = 0;
  for (let i = 0; i < ends.length; i++) {
    decoder.decodeCcData(triplets.subarray(start, ends[i]), times[i]);
    start = ends[i];
  }
}

// One whole decode: open, every frame, the end of the input (a packet cut
// short, a pending alarm at its own time), close.
function run(softcc, cc, options, selected) {
  const screens = [];
  const lastTime = cc.times.length ? cc.times[cc.times.length - 1] : 0;
  for (const [format, service] of selected) {
    const { screen, decoder } = open(softcc, format, service, options.windows, options.render);
    if (options.feed === 'batch') feedBatch(decoder, cc, options.segmentFrames);
    else feedFrames(decoder, cc);
    decoder.endCcData();
    const alarm = decoder.alarmTime;
    if (alarm !== null) decoder.advanceTo(alarm);
    screen.finish(lastTime + 1000 / 29.97);
    decoder.close();
    screens.push(screen);
  }
  return screens;
}

function median(values) {
  const sorted = values.slice().sort((a, b) => a - b);
  const middle = sorted.length >> 1;
  return sorted.length % 2 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

async function main() {
  const options = parseArgs(process.argv.slice(2));
  const cc = readCcd(options.input);
  const softcc = await loadSoftCC(process.env.VQSOFTCC_WASM || undefined);
  const selected = [];
  if (options.channel) selected.push([608, options.channel - 1]);
  if (options.service) selected.push([708, options.service]);
  if (!selected.length) {
    selected.push([608, 0]);
    if (cc.has708) selected.push([708, 1]);
  }
  if (!options.bench) {
    const screens = run(softcc, cc, options, selected);
    for (const cue of screens[0].cues) process.stdout.write(`${JSON.stringify(cue)}\n`);
    process.stderr.write(`bench_driver: ${cc.times.length} frames, cues ${screens.map((s) => s.cues.length).join(' + ')}\n`);
    return;
  }
  const bytes = cc.triplets.length;
  const frames = cc.times.length;
  const warm = Math.min(3, options.bench);
  const samples = [];
  let cues = 0;
  for (let r = 0; r < warm + options.bench; r++) {
    const start = process.hrtime.bigint();
    const screens = run(softcc, cc, options, selected);
    const elapsed = Number(process.hrtime.bigint() - start);
    if (r >= warm) samples.push(elapsed);
    cues = screens.reduce((sum, screen) => sum + screen.cues.length, 0);
  }
  const heap = softcc.heap();
  if (heap.liveBlocks !== 0) throw new Error(`bench_driver: ${heap.liveBlocks} blocks still allocated`);
  const middle = median(samples);
  process.stdout.write(`${JSON.stringify({
    peer: `vqsoftcc-js-${options.feed}-${options.windows}-${options.render}`, input: options.input, reps: options.bench, warmup_reps: warm, bytes, frames, cues,
    ns_per_byte: +(middle / bytes).toFixed(3), ns_per_byte_min: +(Math.min(...samples) / bytes).toFixed(3),
    ns_per_frame: +(middle / frames).toFixed(1), mb_per_s: +(bytes / (middle / 1e9) / 1e6).toFixed(2), node: process.version,
  })}\n`);
}

await main();
