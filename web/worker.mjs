// SPDX-License-Identifier: MIT
//
// The worker of the engine's threads: loads the engine and passes lines in both directions.

const isNode = typeof process === 'object' && Boolean(process.versions?.node);
const port = isNode ? (await import('node:worker_threads')).parentPort : globalThis;

/** Sets the globals that the engine's loader expects in Node, because it is made for CommonJS. */
async function prepareNode(file) {
  const { createRequire } = await import('node:module');
  const { readFileSync } = await import('node:fs');
  const { fileURLToPath } = await import('node:url');
  globalThis.require = createRequire(import.meta.url);
  globalThis.__dirname = fileURLToPath(new URL('./engine', import.meta.url));
  return readFileSync(new URL(`./engine/${file}.wasm`, import.meta.url));
}

let instance = null;

async function start({ build, hash, args }) {
  const settings = {
    arguments: args,
    print: (line) => port.postMessage({ line }),
    onEnd: (status) => port.postMessage({ status }),
    onExit: (status) => port.postMessage({ status }),
    onAbort: (reason) => port.postMessage({ fault: `the engine has crashed: ${reason}` }),
    onRuntimeInitialized: () => settings._quillonHash(hash),
    locateFile: (file) => new URL(`./engine/${file}`, import.meta.url).href,
  };
  if (isNode) {
    settings.wasmBinary = await prepareNode(build);
    settings.locateFile = (file) => `${globalThis.__dirname}/${file}`;
  }
  const { default: create } = await import(`./engine/${build}.mjs`);
  instance = await create(settings);
  port.postMessage({ isStarted: true });
}

async function receive(message) {
  try {
    if (message.start) await start(message.start);
    else {
      const bytes = Uint8Array.from(message.input, (character) => character.charCodeAt(0));
      instance.ccall('quillonInput', null, ['array', 'number'], [bytes, bytes.length]);
      instance.wake?.();
    }
  } catch (error) {
    if (error?.name !== 'ExitStatus') port.postMessage({ fault: String(error?.message ?? error) });
  }
}

if (isNode) port.on('message', receive);
else port.onmessage = (event) => receive(event.data);
