import assert from 'node:assert/strict';
import { test } from 'node:test';
import { SoftCCError } from '../index.js';
import { compareLayout } from '../src/layout.js';
import { DEFINE_WINDOW_0, DELAY, EOC, PAC_ROW15, RCL, packets, pairs, softcc, text } from './helpers.js';

const input608 = pairs(RCL, PAC_ROW15, 'CAPTION TEXT', EOC, [0x14, 0x25], PAC_ROW15, 'ROLL UP', [0x14, 0x2d]);
const input708 = packets([...DEFINE_WINDOW_0, ...text('ONE TWO'), 0x0d, ...text('THREE'), ...DELAY(50), ...text('X')]);

// A whole life of a decoder; what it allocated must all come back.
function life(format, bytes) {
  const decoder = softcc.createDecoder({ format, updateWindows: () => {}, refreshWindows: () => {} });
  try {
    decoder.decode(bytes);
    decoder.selectFormat(format === 608 ? 708 : 608);
    decoder.decode(bytes);
  } finally {
    decoder.close();
  }
}

test('open, decode, switch and close leave nothing allocated', () => {
  for (let i = 0; i < 50; i++) {
    life(608, input608);
    life(708, input708);
  }
  const splitter = softcc.createCcDataSplitter();
  splitter.push(new Uint8Array(3000));
  splitter.close();
  assert.equal(softcc.heap().liveBlocks, 0);
});

test('every allocation failing in turn: SoftCCError or decoding on, and no leak', () => {
  for (const [format, bytes] of [[608, input608], [708, input708]]) {
    const before = softcc.heap().allocations;
    life(format, bytes);
    const count = softcc.heap().allocations - before;
    let errors = 0;
    for (let n = 1; n <= count; n++) {
      softcc.failAllocation(n);
      try {
        life(format, bytes);
      } catch (error) {
        assert.ok(error instanceof SoftCCError && error.code === 'SOFTCC_ERR_NO_MEMORY', String(error));
        errors++;
      }
      softcc.failAllocation(0);
      assert.equal(softcc.heap().liveBlocks, 0, `${format}: allocation ${n} of ${count}`);
    }
    assert.ok(errors > 0 && errors < count);
  }
});

test('the package reads the records at the offsets the module was built with', () => {
  const count = softcc.exports.vqjs_layout_count();
  assert.deepEqual(compareLayout(Array.from({ length: count }, () => -1)).length, count);
  // The module's own table matched at load; a shifted field would be named.
  const m = softcc.memory();
  const table = softcc.exports.vqjs_layout() >> 2;
  const offsets = Array.from(m.u32.subarray(table, table + softcc.exports.vqjs_layout_count()));
  assert.deepEqual(compareLayout(offsets), []);
  offsets[3] += 1;
  assert.deepEqual(compareLayout(offsets), ['PenStyle.fg_color: js 8, module 9']);
});
