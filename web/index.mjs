// SPDX-License-Identifier: MIT
//
// Quillon in WebAssembly: starts the engine in a worker and passes lines in both directions.
// index.d.ts describes the exports.

const isNode = typeof process === 'object' && Boolean(process.versions?.node);

/** Starts a worker in Node or a browser. `message` gets its messages; `ended` is called when it has
 *  ended. */
async function startWorker({ message, ended }) {
  const url = new URL('./worker.mjs', import.meta.url);
  if (isNode) {
    const { Worker } = await import('node:worker_threads');
    const worker = new Worker(url);
    worker.on('message', message);
    worker.on('error', (error) => ended(new Error(`the engine has crashed: ${error.message}`)));
    worker.on('exit', () => ended(new Error('the worker was ended')));
    return worker;
  }
  const worker = new Worker(url, { type: 'module' });
  worker.onmessage = (event) => message(event.data);
  worker.onerror = (event) =>
    ended(new Error(`the engine has crashed: ${event.message ?? 'it could not be loaded'}`));
  return worker;
}

export async function Quillon({ threads = 1, hash = 64, args = [], threaded } = {}) {
  threaded ??= isNode || globalThis.crossOriginIsolated === true;
  if (!Number.isInteger(threads) || threads < 1 || threads > 64) {
    throw new RangeError(`threads is ${threads}: give a whole number from 1 to 64`);
  }
  if (!Number.isInteger(hash) || hash < 1 || hash > 32768) {
    throw new RangeError(`hash is ${hash}: give megabytes from 1 to 32768`);
  }

  let isOver = false;
  let worker = null;
  let over;
  let started;
  let failed;
  const isReady = new Promise((resolve, reject) => {
    started = resolve;
    failed = reject;
  });
  let onLine = null;
  const early = []; // lines written before there was a reader
  const engine = {
    threaded,
    onExit: null,
    get isRunning() {
      return !isOver;
    },
    get onLine() {
      return onLine;
    },
    set onLine(reader) {
      onLine = reader;
      if (reader) early.splice(0).forEach((line) => reader(line));
    },
    ended: new Promise((resolve) => {
      over = resolve;
    }),
    send(line) {
      if (/[\n\r]/.test(line)) throw new Error('send takes one line at a time');
      engine.write(`${line}\n`);
    },
    write(text) {
      if (isOver) throw new Error('the engine has ended: start another one');
      worker.postMessage({ input: text });
    },
    quit() {
      if (!isOver) engine.send('quit');
      return engine.ended;
    },
    kill() {
      end(new Error('the engine was killed'));
    },
  };

  function end(error = null) {
    if (isOver) return;
    isOver = true;
    worker?.terminate();
    failed(error ?? new Error('the engine ended at its start'));
    over(error);
    engine.onExit?.(error);
  }

  worker = await startWorker({
    message(data) {
      if (isOver) return;
      if (data.line !== undefined) (onLine ?? ((line) => early.push(line)))(data.line);
      else if (data.isStarted) started();
      else if (data.fault) end(new Error(data.fault));
      else if (data.status !== undefined) {
        end(data.status ? new Error(`the engine ended with status ${data.status}`) : null);
      }
    },
    ended: end,
  });
  worker.postMessage({ start: { build: threaded ? 'quillon' : 'quillon-single', hash, args } });
  await isReady;
  if (threads > 1 && threaded && !args.length) {
    engine.send(`setoption name Threads value ${threads}`);
  }
  return engine;
}
