// softcc for Node against the native softcc: the same stdout, stderr, exit
// status and files written, on the demo and every shared caption sample in
// every output format, and with the options.  The Node side runs in this
// process (a fresh instance per run), the native side as a process.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { closeSync, mkdtempSync, openSync, readdirSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { basename, join } from 'node:path';
import test from 'node:test';
import { fileURLToPath } from 'node:url';

import { runSoftCC } from '../bin/softcc.mjs';
import { captionFiles, containerFiles, demo, haveSample, runNative, sample, skip } from './native.js';

const work = mkdtempSync(join(tmpdir(), 'softcc-node-'));
test.after(() => rmSync(work, { recursive: true, force: true }));

async function runNode(args, stdinFile) {
  const paths = [join(work, 'stdout'), join(work, 'stderr')];
  const [stdout, stderr] = paths.map((p) => openSync(p, 'w'));
  const stdin = stdinFile === undefined ? 0 : openSync(stdinFile, 'r');
  let status;
  try {
    status = await runSoftCC(args, { stdin, stdout, stderr });
  } finally {
    [stdout, stderr, ...(stdinFile === undefined ? [] : [stdin])].forEach(closeSync);
  }
  return { status, stdout: readFileSync(paths[0]), stderr: readFileSync(paths[1]) };
}

// Files written under `dir`, by name.
const written = (dir) => Object.fromEntries(readdirSync(dir).sort().map((f) => [f, readFileSync(join(dir, f))]));

function assertSameText(actual, expected, what) {
  if (actual.equals(expected)) return;
  const a = actual.toString().split('\n');
  const e = expected.toString().split('\n');
  const line = a.findIndex((l, i) => l !== e[i]);
  assert.fail(`${what} differs at line ${line + 1}:\n  node:   ${a[line]}\n  native: ${e[line]}`);
}

// Runs both with `args` ({out} is a directory of each side's own), stdin
// from `stdinFile` if given, and compares everything they leave.
async function compare(args, stdinFile) {
  const dirs = ['node', 'native'].map((side) => mkdtempSync(join(work, `${side}-`)));
  const [nodeArgs, nativeArgs] = dirs.map((dir) => args.map((a) => a.replace('{out}', dir)));
  const native = runNative(nativeArgs, { stdin: stdinFile && readFileSync(stdinFile) });
  const node = await runNode(nodeArgs, stdinFile);
  const expected = await native;
  assertSameText(node.stderr, expected.stderr, 'stderr');
  assertSameText(node.stdout, expected.stdout, 'stdout');
  assert.equal(node.status, expected.status, 'exit status');
  assert.deepEqual(written(dirs[0]), written(dirs[1]), 'files written');
}

test('every caption file in every output format', { skip }, async (t) => {
  for (const file of captionFiles) {
    for (const format of ['screen', 'json', 'vtt', 'srt']) {
      await t.test(`${basename(file)} --output ${format}`, () => compare(['--output', format, file]));
    }
  }
});

const BBB = 'caption-inspector/BigBuckBunny_256x144-24fps';
const options = [
  ['--probe', demo('demo.mcc')],
  ['--probe', '--output=json', demo('demo.scc')],
  ['--service', 'all', '--output', 'vtt', '-o', '{out}/all', demo('demo.mcc')],
  ['-s', 'CC1', '--output', 'srt', '--to={out}/one.srt', demo('demo.scc')],
  ['--service', '2', demo('demo.mcc')],
  ['--strict', demo('demo.scc')],
  ['--output', 'json', '--', demo('demo.mcc')],
  ['--input', 'scc', demo('demo.mcc')],
  ['--input', 'mcc', '-s', '1', '-o', '/nonexistent/x', demo('demo.mcc')],
  ['--output', 'xml', 'x'], ['--service', 'CC9', 'x'], ['--service', 'all', 'x'], ['a', 'b'], [], ['--help'],
  ['--output', 'vtt', '/nonexistent/file.scc'],
  ...(haveSample(`${BBB}.mcc`) ? [
    ['--probe', sample(`${BBB}.mcc`)],
    ['--strict', '--output', 'json', sample(`${BBB}.mcc`)],
    ['--service', 'all', '--output', 'json', '-o', '{out}/bbb', sample(`${BBB}.mcc`)],
    ['-s', 'CC3', '--output', 'vtt', sample(`${BBB}-C3.608`)],
    ['-s', '2', sample(`${BBB}-C3.608`)],
    ['--input', '708', '-s', 'CC1', sample(`${BBB}-S2.708`)],
  ] : []),
];

test('options', { skip }, async (t) => {
  for (const args of options) {
    await t.test(args.join(' ').replaceAll(/\S*\//g, '') || '(none)', () => compare(args));
  }
  await t.test('- reads standard input', () => compare(['--output', 'srt', '-'], demo('demo.scc')));
});

const bin = fileURLToPath(new URL('../bin/softcc.mjs', import.meta.url));

test('the command reads a pipe, and refuses containers in one line with exit 2', { skip }, async () => {
  const input = readFileSync(demo('demo.mcc'));
  const node = spawnSync(process.execPath, [bin, '--output', 'vtt', '-'], { input });
  const native = await runNative(['--output', 'vtt', '-'], { stdin: input });
  assert.equal(node.status, 0);
  assert.ok(node.stdout.equals(native.stdout));
  for (const file of containerFiles) {
    const run = spawnSync(process.execPath, [bin, file], { encoding: 'utf8' });
    assert.equal(run.status, 2);
    assert.match(run.stderr, /^softcc: .*: video containers need the native softcc with libavformat; .*\n$/);
  }
});
