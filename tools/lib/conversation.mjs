// SPDX-License-Identifier: MIT
//
// A conversation with a UCI engine, in a process (uci.mjs) or in a web page.

const numbers = ['depth', 'seldepth', 'multipv', 'nodes', 'nps', 'time', 'hashfull'];

/** The fields that an "info" line has.
 *  @param {string} line a line that begins with "info"
 *  @returns {{depth?, seldepth?, multipv?, nodes?, nps?, time?, hashfull?: number,
 *      score?: {kind: 'cp' | 'mate', value: number, bound?: 'lower' | 'upper'},
 *      pv?: string[]}} time in milliseconds, score from the mover's view */
export function parseInfo(line) {
  const words = line.trim().split(/\s+/);
  const info = {};
  for (let i = 1; i < words.length && words[i] !== 'string'; i++) {
    if (numbers.includes(words[i])) info[words[i]] = Number(words[++i]);
    else if (words[i] === 'score') info.score = { kind: words[++i], value: Number(words[++i]) };
    else if (/^(lower|upper)bound$/.test(words[i]) && info.score) {
      info.score.bound = words[i].slice(0, 5);
    } else if (words[i] === 'pv') return { ...info, pv: words.slice(i + 1) };
  }
  return info;
}

/** A running engine. Its lines are kept until they are read. There can be one wait at a time, which
 *  is rejected when the engine ends. Subclasses start the engine in their constructor and have
 *  write(text) and kill(). */
export class Conversation {
  /** Starts a program and waits for "readyok".
   *  @param {string} file the program
   *  @param {object} [settings] those of the constructor, and:
   *  @param {Record<string, string | number | boolean>} [settings.options] options to set
   *  @param {object} [settings.known] options to set if the engine has them
   *  @param {number} [settings.patience] milliseconds for each of "uciok" and "readyok"
   *  @throws if it can't be started, doesn't speak UCI or lacks an option */
  static async start(file, { options = {}, known = {}, patience = 10000, ...settings } = {}) {
    const engine = new this(file, settings);
    try {
      engine.send('uci');
      for (const line of await engine.until(/^uciok\b/, patience)) {
        engine.name = line.match(/^id name (.+)/)?.[1].trim() ?? engine.name;
        const option = line.match(/^option name (.+?) (type .*)/);
        if (option) engine.options.set(option[1], option[2]);
      }
      engine.setKnown(known);
      for (const [name, value] of Object.entries(options)) engine.setOption(name, value);
      await engine.isReady(patience);
    } catch (error) {
      engine.kill();
      throw error;
    }
    return engine;
  }

  /** @param {string} name until the engine has sent its own */
  constructor(name) {
    this.name = name;
    /** Options by name, with the rest of their line: "type spin default 256 min 1 max 32768". */
    this.options = new Map();
    this.isSearching = false;
    /** Complete lines as { text, at }; those before the cursor have been read. */
    this.log = [];
    this.cursor = 0;
    /** Text after the last line end. */
    this.rest = '';
    this.waiter = null;
    /** When its last output arrived. */
    this.heardAt = performance.now();
    /** Resolves when the engine has ended and its output is read, with { status, signal } or
     *  { error }, a sentence. */
    this.ended = new Promise((resolve) => {
      this.end = resolve;
    });
    this.ended.then((end) => {
      this.exited = end;
      this.isSearching = false;
      this.waiter?.();
    });
  }

  /** Called with the output of the engine. */
  receive(data) {
    const at = performance.now();
    this.heardAt = at;
    const parts = (this.rest + data).split('\n');
    this.rest = parts.pop();
    for (const text of parts) this.log.push({ text, at });
    this.waiter?.();
  }

  get isRunning() {
    return !this.exited;
  }

  /** The error of a failed wait. */
  problem(text) {
    return new Error(text);
  }

  #endError() {
    const { error, status, signal } = this.exited;
    if (error) return this.problem(error);
    return this.problem(`${this.name} has ended with ${signal ?? `status ${status}`}`);
  }

  /** Sends each argument as a line. */
  send(...lines) {
    for (const line of lines) if (this.isRunning) this.write(`${line}\n`);
  }

  /** Waits until done() returns something other than null, and returns that.
   *  @param {string} what names it in the error
   *  @param {number} patience milliseconds */
  wait(what, patience, done) {
    if (this.waiter) throw new Error(`${this.name}: one wait at a time`);
    return new Promise((resolve, reject) => {
      let timer;
      const settle = (act, value) => {
        clearTimeout(timer);
        this.waiter = null;
        act(value);
      };
      this.waiter = () => {
        try {
          const result = done();
          if (result !== null) settle(resolve, result);
          else if (this.exited) settle(reject, this.#endError());
        } catch (error) {
          settle(reject, error);
        }
      };
      if (patience < Infinity) {
        timer = setTimeout(() => {
          const error = this.problem(`${this.name} doesn't answer (${what})`);
          settle(reject, Object.assign(error, { isLate: true }));
        }, patience);
      }
      this.waiter();
    });
  }

  /** Reads up to the first line that matches.
   *  @param {string | RegExp} pattern a text matches a line that equals it
   *  @param {number} [patience] milliseconds
   *  @param {(line: string) => void} [each] is called with every line as it is read
   *  @returns {Promise<string[]>} all lines that were read, the one that matches last */
  until(pattern, patience = Infinity, each = () => {}) {
    const isIt = (text) => (typeof pattern === 'string' ? text === pattern : pattern.test(text));
    const lines = [];
    const what = String(pattern.source ?? pattern).replace(/^\^|\\b$/g, '');
    return this.wait(what, patience, () => {
      while (this.cursor < this.log.length) {
        const { text } = this.log[this.cursor++];
        lines.push(text);
        each(text);
        if (isIt(text)) return lines;
      }
      return null;
    });
  }

  /** The time when the last line read arrived. */
  get lastAt() {
    return this.log[this.cursor - 1].at;
  }

  /** Drops the lines that have been read. */
  forget() {
    this.log.splice(0, this.cursor);
    this.cursor = 0;
  }

  /** @throws if the engine has no such option */
  setOption(name, value) {
    if (!this.options.has(name)) throw new Error(`${this.name} has no option ${name}`);
    this.send(`setoption name ${name} value ${value}`);
  }

  /** Sets those options that the engine has. */
  setKnown(values) {
    for (const [name, value] of Object.entries(values)) {
      if (this.options.has(name)) this.setOption(name, value);
    }
  }

  /** Waits for "readyok".
   *  @returns {Promise<string[]>} the lines up to it */
  async isReady(patience = 10000) {
    this.send('isready');
    return this.until(/^readyok\b/, patience);
  }

  /** Tells the engine that the next position belongs to another game. */
  async newGame() {
    this.send('ucinewgame');
    await this.isReady();
  }

  /** Starts a search.
   *  @param {string} position the words after "position": "startpos moves e2e4", "fen ..."
   *  @param {string} limits the words after "go": "movetime 1000" */
  begin(position, limits) {
    if (this.isSearching) throw new Error(`${this.name} is searching already`);
    this.forget();
    this.isSearching = true;
    this.send(`position ${position}`, `go ${limits}`);
  }

  /** Waits for the result of the search that was begun.
   *  @param {(info: ReturnType<typeof parseInfo>) => void} [onInfo] called for each "info" line
   *  @param {number} [patience] milliseconds
   *  @returns {Promise<{best: string, ponder: ?string, info: ReturnType<typeof parseInfo>}>} info
   *      is the last line that had a score and a PV */
  async result(onInfo = () => {}, patience = Infinity) {
    let last = {};
    const lines = await this.until(/^bestmove\b/, patience, (line) => {
      if (!line.startsWith('info ')) return;
      const info = parseInfo(line);
      if (info.score && info.pv && (info.multipv ?? 1) === 1) last = info;
      onInfo(info);
    });
    this.isSearching = false;
    const [, best, , ponder] = lines.at(-1).trim().split(/\s+/);
    return { best, ponder: ponder ?? null, info: last };
  }

  /** begin() and result(). */
  async search(position, limits, onInfo, patience) {
    this.begin(position, limits);
    return this.result(onInfo, patience);
  }

  /** Stops a running search; result() still waits for its result. */
  stop() {
    if (this.isSearching) this.send('stop');
  }

  /** Sends "quit", and kills the engine if it doesn't end.
   *  @param {number} [patience] milliseconds */
  async quit(patience = 2000) {
    this.send('quit');
    const timer = setTimeout(() => this.kill(), patience);
    await this.ended;
    clearTimeout(timer);
  }
}
