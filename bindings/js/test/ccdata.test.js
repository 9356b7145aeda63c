import assert from 'node:assert/strict';
import { test } from 'node:test';
import { DEFINE_WINDOW_0, packets, rows, softcc, text, triplets } from './helpers.js';

test('the splitter: fields, validity, packets whole, cut short or orphaned', () => {
  const splitter = softcc.createCcDataSplitter();
  const hex = (bytes) => Buffer.from(bytes).toString('hex');
  const cases = [
    // [triplets, field1, field2, packets, packets completed with zeros so far]
    [[[0, 0x94, 0x20], [1, 0x15, 0x2c], [0, 0x41, 0x42, false]], '9420', '152c', [], 0],
    [[[2, 0x11, 0x22]], '', '', [], 0], // continuation without a start
    [[[3, 0x02, 0x21], [2, 0x41, 0x00]], '', '', ['02214100'], 0],
    [[[3, 0x03, 0x22]], '', '', [], 0],
    [[[2, 0x41, 0x42], [3, 0x42, 0x21]], '', '', ['032241420000'], 1], // cut short by the next start
    [[[0, 0x80, 0x80], [2, 0x43, 0x00]], '8080', '', ['42214300'], 1],
  ];
  for (const [input, field1, field2, packetList, zeroFilled] of cases) {
    const out = splitter.push(triplets(...input));
    assert.deepEqual([hex(out.field1), hex(out.field2), out.packets.map(hex), splitter.packetsZeroFilled],
      [field1, field2, packetList, zeroFilled], JSON.stringify(input));
  }
  splitter.push(triplets([3, 0x83, 0x21]));
  assert.deepEqual(splitter.end().map(hex), ['832100000000']);
  assert.deepEqual(splitter.end(), []);
  splitter.close();
});

test('cc_data into decoders: frame by frame and in one call give the same updates', () => {
  // Field 2 carries a 608 erase, DTVCC a window with text, spread over frames.
  const dtvcc = packets([...DEFINE_WINDOW_0, ...text('HELLO')]);
  const frames = [];
  for (let i = 0; i < dtvcc.length; i += 2) frames.push(triplets([i ? 2 : 3, dtvcc[i], dtvcc[i + 1]], [1, 0x94, 0x2c]));
  const all = Uint8Array.from(frames.flatMap((f) => [...f]));
  const ends = frames.map((_, i) => (i + 1) * 6);
  const times = frames.map((_, i) => i * 33);

  const run = (feed) => {
    const seen = [];
    const decoder = softcc.createDecoder({
      format: 708, clock: 'media', updateWindows: (ws, d) => { for (const w of ws) seen.push(`${d.now} ${rows(w)}`); },
    });
    feed(decoder);
    decoder.close();
    return seen;
  };
  const oneByOne = run((d) => frames.forEach((f, i) => d.decodeCcData(f, times[i])));
  const together = run((d) => d.decodeCcDataFrames(all, ends, times));
  assert.deepEqual(together, oneByOne);
  assert.equal(together.at(-1), `${times.at(-1)} 0:0:HELLO`);
  assert.throws(() => run((d) => d.decodeCcDataFrames(all, [6, 3], [0, 1])), RangeError);
});
