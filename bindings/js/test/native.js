// The native softcc and the caption files that the Node softcc and the
// caption reader are compared with.  scripts/run-js-tests builds softcc and
// names it (SOFTCC_NATIVE, SOFTCC_DEMO_DIR); without it those tests skip.
import { execFile } from 'node:child_process';
import { existsSync, readdirSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

const ROOT = fileURLToPath(new URL('../../../', import.meta.url));
export const NATIVE = process.env.SOFTCC_NATIVE ?? join(ROOT, 'build/tools/softcc/softcc');
const DEMO = process.env.SOFTCC_DEMO_DIR ?? join(ROOT, 'build/tools/softcc/demo');
const STREAMS = process.env.SOFTCC_STREAMS_DIR ?? join(ROOT, 'build/playback/vqsoftcc/test/demo');
const SAMPLES = process.env.VQSOFTCC_SAMPLES ?? join(ROOT, '../shared/samples');

export const skip = existsSync(NATIVE) ? false : `no native softcc at ${NATIVE} (scripts/run-js-tests builds it)`;

function walk(dir) {
  if (!existsSync(dir)) return [];
  return readdirSync(dir, { withFileTypes: true }).flatMap((e) => (e.isDirectory()
    ? walk(join(dir, e.name)) : [join(dir, e.name)])).sort();
}

export const demo = (name) => join(DEMO, name);
// The demo's captions as raw 608 and 708 streams (demo.608, demo.708).
export const demoStream = (name) => join(STREAMS, name);
export const sample = (path) => join(SAMPLES, path);
export const haveSample = (path) => existsSync(sample(path));
// The demo and every shared sample of the formats both read.
export const captionFiles = [demo('demo.scc'), demo('demo.mcc'),
  ...walk(SAMPLES).filter((f) => /\.(scc|mcc|dat|608|708)$/i.test(f))];
export const containerFiles = walk(SAMPLES).filter((f) => /\.(ts|mp4)$/i.test(f));

// The native softcc's stdout and stderr (Buffers) and exit status.
export function runNative(args, { stdin } = {}) {
  return new Promise((resolve) => {
    const child = execFile(NATIVE, args, { encoding: 'buffer', maxBuffer: 1 << 30 }, (error, stdout, stderr) => {
      resolve({ status: error ? error.code : 0, stdout, stderr });
    });
    child.stdin.end(stdin);
  });
}
