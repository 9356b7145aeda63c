// The caption reader as the browser viewer uses it: a file's tracks as
// softcc --probe lists them, and each feed decoded through the package's
// Decoder as a player would (media clock, the last alarm run, closed one
// second after the end) gives every callback of softcc --output json.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { basename } from 'node:path';
import test from 'node:test';

import { loadCaptionReader } from '../index.js';
import { softcc } from './helpers.js';
import { demo, demoStream, haveSample, runNative, sample, skip } from './native.js';

const reader = await loadCaptionReader();

const pen = (p) => ({
  pen_size: p.pen_size, font_style: p.font_style, fg_color: p.fg_color, fg_opacity: p.fg_opacity,
  bg_color: p.bg_color, bg_opacity: p.bg_opacity, edge_type: p.edge_type, edge_color: p.edge_color,
  attributes: p.attributes, pen_offset: p.pen_offset,
});
const segment = (s) => ({ row: s.row, column: s.column, caption_mode: s.caption_mode, text: s.text, pen: pen(s.pen) });
// A window as softcc's json writes it.
const window = (w) => ({
  id: w.id, priority: w.priority, flags: w.flags, visible: w.visible, anchor_point: w.anchor_point,
  anchor_vertical: w.anchor_vertical, anchor_horizontal: w.anchor_horizontal, row_count: w.row_count,
  column_count: w.column_count, style: { ...w.style }, defined: Number(w.defined), cursor_row: w.cursor_row,
  cursor_column: w.cursor_column, text_tag: w.text_tag, pen: pen(w.pen), segments: w.segments.map(segment),
  current_segment: w.current_segment?.length ? segment(w.current_segment) : null,
});

// The callbacks of one track's feed, as softcc's json lines.
function decodeFeed(file, feed) {
  const lines = [];
  // Each callback gets the decoder last.
  const log = (callback, rest = () => ({})) => (argument, decoder = argument) => {
    lines.push({ time: decoder.now / 1000, callback, ...rest(argument) });
  };
  const windows = (name) => log(name, (w) => ({ windows: [w].flat().map(window) }));
  const data = (name) => log(name, (bytes) => ({ data: [...bytes] }));
  const decoder = softcc.createDecoder({
    format: feed.format, service: feed.service, clock: 'media',
    defineWindows: windows('define_windows'), refreshWindows: windows('refresh_windows'),
    scrollWindows: windows('scroll_windows'), deleteWindows: windows('delete_windows'),
    setDelayAlarm: log('set_delay_alarm', (milliseconds) => ({ milliseconds })),
    cancelDelayAlarm: log('cancel_delay_alarm'), delayAlarmExpired: log('delay_alarm_expired'),
    forwardXdsData: data('forward_xds_data'), forwardLinkData: data('forward_link_data'),
  });
  feed.ends.forEach((end, i) => decoder.decode(feed.bytes.subarray(i ? feed.ends[i - 1] : 0, end), feed.times[i] * 1000));
  if (decoder.alarmTime !== null) decoder.advanceTo(decoder.alarmTime);
  decoder.advanceTo((Math.max(file.end, decoder.now / 1000) + 1) * 1000);
  decoder.close();
  return lines;
}

function assertSameLog(actual, expected) {
  assert.equal(actual.length, expected.length, 'callbacks');
  actual.forEach((line, i) => {
    const { time, ...rest } = expected[i];
    assert.ok(Math.abs(line.time - time) < 0.0011, `callback ${i}: time ${line.time}, softcc ${time}`);
    assert.deepEqual({ ...line, time }, { time, ...rest }, `callback ${i}`);
  });
}

const BBB = 'caption-inspector/BigBuckBunny_256x144-24fps';
// [file, tracks to decode (null: the default), options of read()]
const inputs = [
  [demo('demo.scc'), [null]],
  [demo('demo.mcc'), [null]],
  [demoStream('demo.608'), [null, 'CC2']],
  [demoStream('demo.708'), ['1']],
  ...(haveSample(`${BBB}.mcc`) ? [
    [sample(`${BBB}.mcc`), ['CC3', '2', '6']],
    [sample(`${BBB}-C3.608`), ['CC3']],
    [sample('gstreamer/mpeg2-es-with-cea708-cc.dat'), [null, 'CC1'], { input: 'mpeg2' }],
  ] : []),
];

for (const [path, services, options = {}] of inputs) {
  test(`${basename(path)}: the tracks of --probe, and the callbacks of softcc for each feed`, { skip }, async () => {
    const file = reader.read(readFileSync(path), { name: path, ...options });
    const probe = JSON.parse((await runNative(['--probe', '--output', 'json', path])).stdout);
    assert.equal(file.carrier, probe.carrier);
    assert.deepEqual(file.tracks, probe.tracks.map(({ service, first, last }) => ({ service, first, last })));
    const stderr = (await runNative([path])).stderr.toString();
    for (const w of file.warnings.slice(0, 10)) assert.ok(stderr.includes(`${path}:${w.at}: warning: ${w.message}\n`));
    for (const service of services) {
      const args = service === null ? ['--output', 'json', path] : ['--service', service, '--output', 'json', path];
      const expected = (await runNative(args)).stdout.toString().split('\n').filter(Boolean).map((l) => JSON.parse(l));
      assertSameLog(decodeFeed(file, file.feed(service ?? undefined)), expected);
    }
    file.close();
  });
}

test('softcc\'s complaints: unknown input, containers, a track the input cannot carry', () => {
  const ts = new Uint8Array(376);
  ts[0] = ts[188] = 0x47;
  const complaints = [
    [() => reader.read(new Uint8Array([1, 2, 3]), { name: 'x.bin' }),
      'x.bin: not a caption or media file softcc reads (use --input scc|mcc|mpeg2|608|708|container)'],
    [() => reader.read(ts, { name: 'a.ts' }), /^a\.ts: an MPEG transport stream: video containers need the native softcc/],
    [() => reader.read(new Uint8Array(4), { input: 'scc' }), '-: not an SCC file (no Scenarist_SCC header)'],
    [() => reader.read(new Uint8Array(4), { input: 'vtt' }), /^unknown input format 'vtt'/],
    [() => reader.read(new Uint8Array([0x94, 0x20]), { name: 'a.608' }).feed('1'), 'a.608: raw 608 input has no 708 service 1'],
  ];
  for (const [call, message] of complaints) assert.throws(call, { message });
  const raw = reader.read(new Uint8Array([0x94, 0x20, 0x94, 0x20]), { name: 'a.608' });
  const feed = raw.feed('CC4'); // raw 608: every pair, whatever the field
  assert.deepEqual({ ...feed, times: [...feed.times] },
    { format: 608, service: 3, times: [0, 1001 / 30000], ends: new Uint32Array([2, 4]), bytes: new Uint8Array([0x94, 0x20, 0x94, 0x20]) });
});
