import assert from 'node:assert/strict';
import { test } from 'node:test';
import { SoftCCError, STATUS } from '../index.js';
import { EOC, PAC_ROW15, RCL, pairs, rows, softcc } from './helpers.js';

const popOn = pairs(RCL, RCL, PAC_ROW15, PAC_ROW15, 'HI', EOC, EOC);

test('a 608 decoder defines its two windows, read at the record offsets', () => {
  const defined = [];
  const decoder = softcc.createDecoder({ defineWindows: (w) => { defined.push(w); } });
  assert.deepEqual(defined.map((w) => [w.id, w.flags, w.visible, w.defined]), [[0, 15, true, true], [1, 7, false, true]]);
  const w = defined[1];
  assert.deepEqual([w.priority, w.anchor_point, w.anchor_vertical, w.anchor_horizontal, w.row_count, w.column_count,
    w.cursor_row, w.cursor_column, w.relative_positioning, w.row_lock, w.column_lock],
  [1, 7, 100, 50, 15, 32, 14, 0, true, true, true]);
  assert.deepEqual([w.style.print_direction, w.style.scroll_direction, w.style.effect_direction], [0, 3, 4]);
  assert.equal(w.style, defined[0].style, 'equal styles are one object');
  decoder.close();
});

test('pop-on text reaches refreshWindows and updateWindows as plain objects', () => {
  const refreshed = [];
  const updates = [];
  const decoder = softcc.createDecoder({
    refreshWindows: (ws) => { refreshed.push(ws.map((w) => w.id)); },
    updateWindows: (ws) => { updates.push(ws); },
  });
  updates.length = 0;
  decoder.decode(popOn);
  assert.deepEqual(refreshed.at(-1), [0, 1], 'End Of Caption refreshes both memories');
  assert.equal(updates.length, 1, 'one update per decode call');
  const shown = updates[0].find((w) => w.visible);
  assert.deepEqual(rows(shown), ['14:0:HI']);
  const run = shown.segments[0];
  assert.deepEqual([run.length, run.caption_mode, run.pen.fg_color, run.pen.italics], [2, 2, 0x2a, false]);
  assert.equal(JSON.parse(JSON.stringify(shown)).segments[0].text, 'HI');
  decoder.close();
});

test('wrong arguments throw clearly; bytes never do', () => {
  const decoder = softcc.createDecoder({ format: 708 });
  const cases = [
    [() => softcc.createDecoder({ format: 609 }), RangeError, /format must be 608 or 708/],
    [() => softcc.createDecoder({ service: 'CC5' }), RangeError, /608 service/],
    [() => softcc.createDecoder({ format: 708, service: 64 }), RangeError, /708 service/],
    [() => softcc.createDecoder({ clock: 'wall' }), RangeError, /clock/],
    [() => softcc.createDecoder({ refreshWindows: 1 }), TypeError, /refreshWindows must be a function/],
    [() => decoder.decode([1, 2]), TypeError, /Uint8Array/],
    [() => decoder.decode(new Uint8Array(2), 5), Error, /clock 'media'/],
    [() => decoder.selectFormat(610), RangeError, /608 or 708/],
    [() => decoder.selectService(0), RangeError, /708 service/],
  ];
  for (const [call, type, message] of cases) assert.throws(call, (e) => e instanceof type && message.test(e.message));
  for (let seed = 1; seed < 200; seed++) {
    decoder.decode(Uint8Array.from({ length: 97 }, (_, i) => (seed * 131 + i * 31) & 0xff));
  }
  decoder.close();
  decoder.close();
  assert.throws(() => decoder.reset(), /decoder is closed/);
});

test('a failing callback: statuses, SoftCCError, reports and exceptions after the call', () => {
  const failing = () => STATUS.SOFTCC_ERR_NO_MEMORY;
  assert.throws(() => softcc.createDecoder({ defineWindows: failing }),
    (e) => e instanceof SoftCCError && e.code === 'SOFTCC_ERR_NO_MEMORY' && e.call === 'VQSoftCCOpen');

  const reports = [];
  const decoder = softcc.createDecoder({ deleteWindows: failing, report: (r) => { reports.push(r); } });
  assert.throws(() => decoder.close(), (e) => e.code === 'SOFTCC_ERR_NO_MEMORY' && e.call === 'VQSoftCCClose');
  assert.deepEqual(reports.map((r) => [r.path, r.line, r.message, r.statusName]),
    [['playback/vqsoftcc/src/vqsoftcc_eia608', 97, 'delete_windows failed\n', 'SOFTCC_ERR_NO_MEMORY']]);
  assert.equal(decoder.closed, true);

  let calls = 0;
  const throwing = softcc.createDecoder({
    refreshWindows: () => { calls++; throw new Error('renderer bug'); },
  });
  assert.throws(() => throwing.decode(popOn), /renderer bug/);
  assert.ok(calls >= 2, 'the decode call went on after the first exception');
  throwing.close();
});

test('calls from inside a callback of the same decoder are refused', () => {
  let inner;
  const decoder = softcc.createDecoder({ refreshWindows: (ws, d) => { try { d.reset(); } catch (e) { inner = e; } } });
  decoder.decode(popOn);
  assert.match(inner.message, /inside one of this decoder's own callbacks/);
  decoder.close();
});

test('select format and service', () => {
  const deleted = [];
  const decoder = softcc.createDecoder({ service: 'CC3', deleteWindows: (ws) => { deleted.push(ws.map((w) => w.id)); } });
  assert.equal(decoder.service, 2);
  decoder.selectFormat(708);
  assert.deepEqual([decoder.format, decoder.service, deleted], [708, 1, [[0, 1]]]);
  decoder.selectService(5);
  decoder.selectFormat(608);
  assert.deepEqual([decoder.format, decoder.service], [608, 0]);
  decoder.close();
});
