import assert from 'node:assert/strict';
import { test } from 'node:test';
import { DEFINE_WINDOW_0, DELAY, packets, rows, softcc, text } from './helpers.js';

// A window, then "A", a Delay of 1 s, then "B" held back until the alarm.
const stream = packets([...DEFINE_WINDOW_0, ...text('A'), ...DELAY(10), ...text('B')]);

function recorder(clock) {
  const seen = [];
  const decoder = softcc.createDecoder({
    format: 708,
    clock,
    updateWindows: (ws, d) => { for (const w of ws) seen.push(`${d.now} ${rows(w).join('|')}`); },
    setDelayAlarm: (ms) => { seen.push(`set ${ms}`); },
  });
  return { decoder, seen };
}

test('media clock: the alarm runs at its own media time, before later input', () => {
  const { decoder, seen } = recorder('media');
  decoder.decode(stream, 500);
  assert.deepEqual(seen, ['set 1000', '500 0:0:A']);
  assert.equal(decoder.alarmTime, 1500);
  decoder.advanceTo(1499);
  assert.equal(seen.length, 2);
  decoder.decode(new Uint8Array(0), 2000);
  assert.deepEqual(seen.slice(2), ['1500 0:0:AB']);
  assert.deepEqual([decoder.now, decoder.alarmTime], [2000, null]);
  assert.throws(() => decoder.advanceTo(NaN), TypeError);
  decoder.close();
});

test('timer clock: setTimeout runs the alarm; close cancels it', async () => {
  const { decoder, seen } = recorder('timer');
  decoder.decode(packets([...DEFINE_WINDOW_0, ...text('A'), ...DELAY(1), ...text('B')]));
  assert.deepEqual(seen, ['set 100', '0 0:0:A']);
  await new Promise((resolve) => setTimeout(resolve, 250));
  assert.deepEqual(seen.slice(2), ['0 0:0:AB']);
  decoder.decode(packets([...DELAY(1), ...text('C')], { next: 2 }));
  decoder.close();
  await new Promise((resolve) => setTimeout(resolve, 250));
  assert.ok(!seen.some((line) => line.endsWith('ABC')), 'no alarm after close');
});
