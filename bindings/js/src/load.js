// Instantiating a WebAssembly module of the package from whatever the caller
// has: its bytes, a compiled module, a fetch Response (or a promise of one),
// a URL, or (in Node) a file path.

const IN_NODE = typeof process === 'object' && typeof process.versions?.node === 'string';

// `call` names the loader in errors.
export async function instantiate(source, imports, call) {
  source = await source;
  if (source instanceof ArrayBuffer || ArrayBuffer.isView(source)) {
    return (await WebAssembly.instantiate(source, imports)).instance;
  }
  if (source instanceof WebAssembly.Module) return WebAssembly.instantiate(source, imports);
  if (typeof source === 'string' || source instanceof URL) {
    return (await WebAssembly.instantiate(await fetchBytes(source, call), imports)).instance;
  }
  if (typeof globalThis.Response === 'function' && source instanceof globalThis.Response) {
    return instantiateResponse(source, imports, call);
  }
  throw new TypeError(`${call}: source must be bytes, a WebAssembly.Module, a Response, a URL or a path`);
}

async function instantiateResponse(response, imports, call) {
  if (!response.ok) throw new Error(`${call}: ${response.url}: HTTP ${response.status}`);
  if (typeof WebAssembly.instantiateStreaming === 'function'
      && response.headers.get('Content-Type') === 'application/wasm') {
    return (await WebAssembly.instantiateStreaming(response, imports)).instance;
  }
  return (await WebAssembly.instantiate(await response.arrayBuffer(), imports)).instance;
}

async function fetchBytes(location, call) {
  const isFile = location instanceof URL ? location.protocol === 'file:' : !/^[a-z][a-z0-9+.-]*:/i.test(location);
  if (IN_NODE && (isFile || String(location).startsWith('file:'))) {
    const { readFile } = await import(/* webpackIgnore: true */ 'node:fs/promises');
    return readFile(location);
  }
  const response = await fetch(location);
  if (!response.ok) throw new Error(`${call}: ${location}: HTTP ${response.status}`);
  return response.arrayBuffer();
}
