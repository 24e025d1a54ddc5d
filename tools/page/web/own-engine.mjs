// SPDX-License-Identifier: MIT
//
// The engine in the page: WebAssembly in a worker, which takes and sends the messages of a server.

import { Quillon } from '../../../engine/index.mjs';
import { Conversation } from '../../lib/conversation.mjs';
import { Session } from '../session.mjs';

class WorkerEngine extends Conversation {
  #engine;

  /** @param {boolean} [isThreaded] false for the build without threads */
  constructor(isThreaded) {
    super('Quillon');
    this.#engine = Quillon({ threaded: isThreaded });
    this.#engine.then(
      (engine) => {
        engine.onLine = (line) => this.receive(`${line}\n`);
        engine.onExit = (error) => this.end({ error: error?.message ?? 'the engine has ended' });
      },
      ({ message }) => this.end({ error: message }),
    );
  }

  #use(act) {
    this.#engine.then((engine) => engine.isRunning && act(engine)).catch(() => {}); // see `ended`
  }

  write(text) {
    this.#use((engine) => engine.write(text));
  }

  kill() {
    this.#use((engine) => engine.kill());
  }
}

let explainer = null;
/** Explains one position or the change between two. */
async function explain(fens) {
  explainer ??= import('../../../engine/explain.mjs').then(({ Explain }) => Explain());
  return (await explainer)(...fens);
}

/** Does what Link does for a server; this connection is never lost. */
export class OwnEngine {
  #session = null;
  #handlers;
  #hasThreads = window.crossOriginIsolated;
  kind = 'WebAssembly';
  place = 'page';
  placeText = this.#hasThreads
    ? 'It runs in this page.'
    : 'It runs in this page, where the browser allows only one thread.';
  mostThreads = this.#hasThreads ? Math.max(1, navigator.hardwareConcurrency) : 1;
  mostHash = 1024;

  constructor(handlers) {
    this.#handlers = handlers;
  }

  open() {
    const settings = {
      engines: this.#hasThreads ? ['With threads', 'Without threads'] : ['Without threads'],
      start: (index) => WorkerEngine.start(this.#hasThreads && index === 0),
      explain,
      hash: 64,
      threads: Math.min(4, Math.ceil(this.mostThreads / 2)),
      stopPatience: 5000,
    };
    this.#session = new Session(settings, this.#handlers.onMessage);
    this.#handlers.onOpen();
  }

  close() {
    this.#session?.end();
    this.#session = null;
  }

  get isOpen() {
    return this.#session !== null;
  }

  send(message) {
    const isSingle = message.engine === 1 || !this.#hasThreads;
    // The build without threads would accept any number of them.
    const isTooMany = message.type === 'options' && isSingle;
    this.#session?.take(isTooMany ? { ...message, threads: 1 } : message);
  }
}
