// SPDX-License-Identifier: MIT
//
// What a position is worth and why, by quillon_explain in WebAssembly. explain.d.ts describes it.

const file = new URL('./engine/quillon-explain.wasm', import.meta.url);
const isNode = typeof process === 'object' && Boolean(process.versions?.node);

async function read() {
  if (isNode) return (await import('node:fs/promises')).readFile(file);
  const response = await fetch(file);
  if (!response.ok) throw new Error(`${file} can't be loaded: status ${response.status}`);
  return response.arrayBuffer();
}

export async function Explain() {
  // It reads and writes nothing, and makes no system calls.
  const nothing = new Proxy({}, { get: () => () => 0 });
  const imports = { env: nothing, wasi_snapshot_preview1: nothing };
  const { exports } = (await WebAssembly.instantiate(await read(), imports)).instance;
  exports._initialize();
  return (...fens) => {
    const line = new TextEncoder().encode(`${fens.join(' | ')}\0`);
    const place = exports.malloc(line.length);
    new Uint8Array(exports.memory.buffer).set(line, place);
    const start = exports.quillonExplain(place);
    exports.free(place);
    const memory = new Uint8Array(exports.memory.buffer);
    return JSON.parse(new TextDecoder().decode(memory.subarray(start, memory.indexOf(0, start))));
  };
}
