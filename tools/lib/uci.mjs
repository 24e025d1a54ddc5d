// SPDX-License-Identifier: MIT
//
// A UCI engine as a child process, for the tools that talk to engines on behalf of people: start,
// options, searches, an orderly end, and a clear error when the engine can't do what is asked.

import { spawn } from 'node:child_process';
import path from 'node:path';
import readline from 'node:readline';

/** What an "info" line says; fields that it doesn't have are missing.
 *  @param {string} line a line that begins with "info"
 *  @returns {{depth?, seldepth?, multipv?, nodes?, nps?, time?, hashfull?: number,
 *      score?: {kind: 'cp' | 'mate', value: number, bound?: 'lower' | 'upper'},
 *      pv?: string[], text?: string}} time is in milliseconds, a score is the mover's */
export function parseInfo(line) {
  const words = line.trim().split(/\s+/);
  const info = {};
  for (let i = 1; i < words.length; i++) {
    switch (words[i]) {
      case 'depth':
      case 'seldepth':
      case 'multipv':
      case 'nodes':
      case 'nps':
      case 'time':
      case 'hashfull':
        info[words[i]] = Number(words[++i]);
        break;
      case 'score':
        info.score = { kind: words[++i], value: Number(words[++i]) };
        break;
      case 'lowerbound':
      case 'upperbound':
        if (info.score) info.score.bound = words[i].slice(0, 5);
        break;
      case 'pv':
        info.pv = words.slice(i + 1);
        return info;
      case 'string':
        info.text = words.slice(i + 1).join(' ');
        return info;
      default: // a field of no interest here
    }
  }
  return info;
}

/** A running engine. Every promise that waits for it is rejected when the process ends. */
export class UciEngine {
  /** Starts a program and takes it to "readyok".
   *  @param {string} file the program
   *  @param {object} [settings]
   *  @param {string[]} [settings.args] its arguments
   *  @param {Record<string, string | number | boolean>} [settings.options] set before "readyok"; an
   *      option that the engine doesn't have is an error
   *  @param {number} [settings.patience] milliseconds for each of "uciok" and "readyok"
   *  @throws when it can't be started, doesn't speak UCI or lacks an option */
  static async start(file, { args = [], options = {}, patience = 10000 } = {}) {
    const engine = new UciEngine(file, args);
    try {
      await engine.#identify(patience);
      for (const [name, value] of Object.entries(options)) engine.setOption(name, value);
      await engine.isReady(patience);
    } catch (error) {
      engine.kill();
      throw error;
    }
    return engine;
  }

  constructor(file, args) {
    this.file = file;
    /** What the engine calls itself; its file until it has said so. */
    this.name = path.basename(file);
    /** Options by name, with the rest of their line: "type spin default 256 min 1 max 32768". */
    this.options = new Map();
    this.isSearching = false;
    this.waiting = new Set();
    this.child = spawn(file, args, { stdio: ['pipe', 'pipe', 'ignore'] });
    /** Settles when the process has ended, with { status, signal } or { error }. */
    this.ended = new Promise((resolve) => {
      this.child.on('error', (error) => resolve({ error }));
      this.child.on('close', (status, signal) => resolve({ status, signal }));
    });
    this.ended.then((end) => this.#fail(end));
    // The end of the process is noticed by `ended`.
    this.child.stdin.on('error', () => {});
    readline.createInterface({ input: this.child.stdout }).on('line', (line) => {
      for (const wait of this.waiting) wait.take(line);
    });
  }

  get isRunning() {
    return !this.end;
  }

  #fail(end) {
    this.end = end;
    this.isSearching = false;
    for (const wait of this.waiting) wait.reject(this.#endError());
  }

  #endError() {
    const { error, status, signal } = this.end;
    if (error) return new Error(`cannot start ${this.file}: ${error.message}`);
    return new Error(`${this.name} has ended with ${signal ?? `status ${status}`}`);
  }

  async #identify(patience) {
    const known = this.until(/^uciok\b/, patience, (line) => {
      const name = line.match(/^id name (.+)/);
      if (name) this.name = name[1].trim();
      const option = line.match(/^option name (.+?) (type .*)/);
      if (option) this.options.set(option[1], option[2]);
    });
    this.send('uci');
    await known;
  }

  send(line) {
    if (this.isRunning) this.child.stdin.write(`${line}\n`);
  }

  /** The next line that matches.
   *  @param {RegExp} pattern
   *  @param {number} [patience] milliseconds, without end unless given
   *  @param {(line: string) => void} [each] is called with every line up to it, and with it */
  until(pattern, patience = Infinity, each = () => {}) {
    if (!this.isRunning) return Promise.reject(this.#endError());
    return new Promise((resolve, reject) => {
      let timer;
      const done = (act, value) => {
        clearTimeout(timer);
        this.waiting.delete(wait);
        act(value);
      };
      const wait = {
        take: (line) => {
          each(line);
          if (pattern.test(line)) done(resolve, line);
        },
        reject: (error) => done(reject, error),
      };
      this.waiting.add(wait);
      if (patience < Infinity) {
        const wanted = pattern.source.replace(/^\^|\\b$/g, '');
        const late = () => wait.reject(new Error(`${this.name} doesn't answer (${wanted})`));
        timer = setTimeout(late, patience);
      }
    });
  }

  /** @throws when the engine has no such option */
  setOption(name, value) {
    if (!this.options.has(name)) throw new Error(`${this.name} has no option ${name}`);
    this.send(`setoption name ${name} value ${value}`);
  }

  /** Waits for "readyok". */
  async isReady(patience = 10000) {
    const ready = this.until(/^readyok\b/, patience);
    this.send('isready');
    await ready;
  }

  /** Tells the engine that the next position belongs to another game. */
  async newGame() {
    this.send('ucinewgame');
    await this.isReady();
  }

  /** Searches a position.
   *  @param {string} position what stands behind "position": "startpos moves e2e4", "fen ..."
   *  @param {string} limits what stands behind "go": "movetime 1000"
   *  @param {(info: ReturnType<typeof parseInfo>) => void} [onInfo] called as lines arrive
   *  @returns {Promise<{best: string, ponder: ?string, info: ReturnType<typeof parseInfo>}>} info
   *      is the last line that had a score and a line of moves */
  async search(position, limits, onInfo = () => {}) {
    if (this.isSearching) throw new Error(`${this.name} is searching already`);
    let last = {};
    const result = this.until(/^bestmove\b/, Infinity, (line) => {
      if (!line.startsWith('info ')) return;
      const info = parseInfo(line);
      if (info.score && info.pv && (info.multipv ?? 1) === 1) last = info;
      onInfo(info);
    });
    this.isSearching = true;
    this.send(`position ${position}`);
    this.send(`go ${limits}`);
    try {
      const [, best, , ponder] = (await result).trim().split(/\s+/);
      return { best, ponder: ponder ?? null, info: last };
    } finally {
      this.isSearching = false;
    }
  }

  /** Ends a running search; its result comes by its own promise. */
  stop() {
    if (this.isSearching) this.send('stop');
  }

  /** Asks the process to end, and ends it when it doesn't.
   *  @param {number} [patience] milliseconds */
  async quit(patience = 2000) {
    this.send('quit');
    const timer = setTimeout(() => this.kill(), patience);
    await this.ended;
    clearTimeout(timer);
  }

  kill() {
    this.child.kill('SIGKILL');
  }
}
