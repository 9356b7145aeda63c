#!/usr/bin/env node
// softcc for Node: the native softcc's own C++ (tools/softcc, its main.cpp
// included, without the libavformat reader) and libvqsoftcc, built with
// emscripten by scripts/build-wasm.  Files and the standard streams go
// through Node's fs, so it prints what the native softcc prints.  Video
// containers get one line saying that the native softcc reads them.
//
//   node bindings/js/bin/softcc.mjs [OPTION]... FILE      (see softcc --help)
//
// runSoftCC() runs it inside another program, with the standard streams on
// file descriptors of the caller's choosing.

import { existsSync, readFileSync, realpathSync } from 'node:fs';
import { createRequire } from 'node:module';
import { isatty } from 'node:tty';
import { fileURLToPath } from 'node:url';

const GLUE = fileURLToPath(new URL('../softcc-node.cjs', import.meta.url));
const WASM = new URL('../softcc-node.wasm', import.meta.url);

let compiled = null; // the WebAssembly module, compiled once per process

// Runs softcc with `args` (what follows the program's name) and resolves to
// its exit status.  Each run starts from a fresh instance, as a process
// would.
export async function runSoftCC(args, { stdin = 0, stdout = 1, stderr = 2 } = {}) {
  if (!existsSync(GLUE)) throw new Error(`${GLUE} is missing: build it with scripts/build-wasm`);
  compiled ??= WebAssembly.compile(readFileSync(WASM));
  const wasm = await compiled;
  const createSoftCC = createRequire(import.meta.url)(GLUE);
  const program = await createSoftCC({
    noInitialRun: true,
    instantiateWasm(imports, receive) {
      WebAssembly.instantiate(wasm, imports).then((instance) => receive(instance, wasm));
      return {};
    },
    // main's return ends the run, never the process.
    quit(status, reason) {
      throw reason;
    },
  });
  // The program's descriptors 0-2 become the ones given; a terminal gets
  // colour, as isatty() tells the native softcc.
  const { streams } = program.FS;
  for (const [fd, to] of [[0, stdin], [1, stdout], [2, stderr]]) {
    streams[fd].nfd = to;
    streams[fd].tty = isatty(to);
  }
  try {
    return program.callMain(args.map(String));
  } finally {
    program._fflush(0); // what exit() does with the C library's buffers
  }
}

function invokedAsProgram() {
  try {
    return realpathSync(process.argv[1]) === realpathSync(fileURLToPath(import.meta.url));
  } catch {
    return false;
  }
}

if (invokedAsProgram()) {
  try {
    process.exitCode = await runSoftCC(process.argv.slice(2));
  } catch (error) {
    process.stderr.write(`softcc: ${error?.message ?? error}\n`);
    process.exitCode = 70;
  }
}
