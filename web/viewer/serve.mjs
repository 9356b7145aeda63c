#!/usr/bin/env node
// A small static server for the viewer, on 127.0.0.1 only:
//   /          the viewer (web/viewer)
//   /js/       the JavaScript package (bindings/js) with its WebAssembly modules
//   /files/    the caption files given, by base name (the first of a name wins);
//              /files/ lists them (JSON)
//
//   node web/viewer/serve.mjs [--port N] FILE...      (port 0: any free port)
//
// It prints the address, opening the first file.

import { createServer } from 'node:http';
import { readFile, stat } from 'node:fs/promises';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const VIEWER = path.dirname(fileURLToPath(import.meta.url));
const PACKAGE = path.resolve(VIEWER, '../../bindings/js');
const TYPES = {
  '.html': 'text/html; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
  '.mjs': 'text/javascript; charset=utf-8',
  '.css': 'text/css; charset=utf-8',
  '.json': 'application/json',
  '.wasm': 'application/wasm',
  '.png': 'image/png',
  '.ts': 'text/plain; charset=utf-8',
};

// The file under `root` that a URL path names, or null outside it.
function under(root, urlPath) {
  const file = path.resolve(root, `.${path.posix.normalize(`/${urlPath}`)}`);
  return file === root || file.startsWith(root + path.sep) ? file : null;
}

async function send(response, file, type) {
  try {
    const info = await stat(file);
    if (info.isDirectory()) return send(response, path.join(file, 'index.html'));
    const body = await readFile(file);
    response.writeHead(200, {
      'Content-Type': type ?? TYPES[path.extname(file)] ?? 'application/octet-stream',
      'Cache-Control': 'no-store',
    });
    response.end(body);
  } catch {
    fail(response, 404);
  }
}

function fail(response, code) {
  response.writeHead(code, { 'Content-Type': 'text/plain' });
  response.end(`${code}\n`);
}

// Serves the viewer with `files` (paths; each served by its base name).
// Resolves to { url, close() } once listening.
export function serve({ port = 8015, files = [] } = {}) {
  const byName = new Map();
  for (const file of files) if (!byName.has(path.basename(file))) byName.set(path.basename(file), path.resolve(file));
  const server = createServer((request, response) => {
    let urlPath;
    try {
      urlPath = decodeURIComponent(new URL(request.url, 'http://localhost').pathname);
    } catch {
      return fail(response, 400);
    }
    if (request.method !== 'GET' && request.method !== 'HEAD') return fail(response, 405);
    if (urlPath === '/files/') {
      response.writeHead(200, { 'Content-Type': 'application/json', 'Cache-Control': 'no-store' });
      return response.end(JSON.stringify([...byName.keys()].sort()));
    }
    if (urlPath.startsWith('/files/')) {
      const file = byName.get(urlPath.slice('/files/'.length));
      return file ? send(response, file, 'application/octet-stream') : fail(response, 404);
    }
    const file = urlPath.startsWith('/js/') ? under(PACKAGE, urlPath.slice(3)) : under(VIEWER, urlPath);
    return file ? send(response, file) : fail(response, 404);
  });
  return new Promise((resolve, reject) => {
    server.once('error', reject);
    server.listen(port, '127.0.0.1', () => {
      resolve({
        url: `http://127.0.0.1:${server.address().port}/`,
        close: () => new Promise((done) => server.close(done)),
      });
    });
  });
}

function parse(argv) {
  const options = { port: 8015, files: [] };
  for (let i = 0; i < argv.length; i++) {
    const arg = argv[i];
    const port = arg === '--port' ? argv[++i] : arg.startsWith('--port=') ? arg.slice(7) : null;
    if (port !== null) {
      if (!/^\d+$/.test(port ?? '') || Number(port) > 65535) throw new Error(`--port: not a port number: '${port ?? ''}'`);
      options.port = Number(port);
    } else {
      options.files.push(arg);
    }
  }
  return options;
}

if (process.argv[1] && path.resolve(process.argv[1]) === fileURLToPath(import.meta.url)) {
  try {
    const options = parse(process.argv.slice(2));
    for (const file of options.files) {
      if (!(await stat(file).catch(() => null))?.isFile()) throw new Error(`${file}: no such file`);
    }
    const { url } = await serve(options);
    const first = options.files.length ? `?file=${encodeURIComponent(path.basename(options.files[0]))}` : '';
    console.log(`caption viewer at ${url}${first}  (Ctrl-C stops it)`);
  } catch (error) {
    console.error(`serve.mjs: ${error.code === 'EADDRINUSE' ? `port in use: ${error.port}` : error.message}`);
    process.exit(2);
  }
}
