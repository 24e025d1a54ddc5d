// SPDX-License-Identifier: MIT
//
// The engine of one tab, a process of its own or a worker of the page. It does the last search that
// the page has asked for. If it ends by itself, another one replaces it and goes on with that
// search.

import { readScore } from '../lib/chess.mjs';
import { isQuillon, searchLines } from '../lib/lines.mjs';

/** If the engine ends more often within `restartWindow` milliseconds, it is not restarted. */
const mostRestarts = 3;
const restartWindow = 10000;
const isWhole = (value, least, most) =>
  Number.isSafeInteger(value) && value >= least && value <= most;
const longestTime = 1e9;
const mostLines = 5;
/** Milliseconds between messages about the results of a search. */
const infoInterval = 40;

// The programs read lines, so whatever goes into a line is checked strictly.
const isFen = (fen) =>
  typeof fen === 'string' &&
  fen.length <= 100 &&
  /^[1-8/pnbrqkPNBRQK]+ [wb] (-|[KQkq]+) (-|[a-h][36]) \d{1,4} \d{1,4}$/.test(fen);

/** Parses a search request from a page. With `lines` it asks for analysis, without for a move.
 *  @returns {{id: number, fen: string, moves: string[], turn: 'w' | 'b', limits: object,
 *      lines: number}}
 *  @throws when it contains anything that must not be sent to an engine */
export function readRequest({ id, fen, moves, limits, lines = 0 }) {
  if (!isWhole(id, 0, Number.MAX_SAFE_INTEGER)) throw new Error('a search has a number');
  if (!isFen(fen)) throw new Error('not a position');
  if (!isWhole(lines, 0, mostLines)) throw new Error('not a number of lines');
  const isMove = (move) => typeof move === 'string' && /^([a-h][1-8]){2}[qrbn]?$/.test(move);
  if (!Array.isArray(moves) || moves.length > 1000 || !moves.every(isMove)) {
    throw new Error('not a list of moves');
  }
  const first = fen.split(' ')[1];
  const turn = moves.length % 2 === 0 ? first : first === 'w' ? 'b' : 'w';
  const { kind, ...numbers } = limits ?? {};
  const names = {
    infinite: [],
    depth: ['depth'],
    movetime: ['movetime'],
    clock: ['wtime', 'btime', 'winc', 'binc'],
  };
  if (!Object.hasOwn(names, kind)) throw new Error('not a limit');
  for (const name of names[kind]) {
    const most = name === 'depth' ? 127 : longestTime;
    if (!isWhole(numbers[name], kind === 'clock' ? 0 : 1, most))
      throw new Error(`${name} is wrong`);
  }
  return { id, fen, moves, turn, limits: { kind, ...numbers }, lines };
}

/** The words after "go".
 *  @param {object} limits as in a request
 *  @param {'w' | 'b'} turn
 *  @param {number} elapsed milliseconds that the search took in an engine that has ended */
export function goOf(limits, turn, elapsed) {
  switch (limits.kind) {
    case 'depth':
      return `depth ${limits.depth}`;
    case 'movetime':
      return `movetime ${Math.max(10, limits.movetime - elapsed)}`;
    case 'clock': {
      const left = (side, time) => Math.max(1, side === turn ? time - elapsed : time);
      const times = `wtime ${left('w', limits.wtime)} btime ${left('b', limits.btime)}`;
      return `${times} winc ${limits.winc} binc ${limits.binc}`;
    }
    default:
      return 'infinite';
  }
}

/** The engine of a tab. Reports by messages:
 *    { type: 'engine', state: 'ready' | 'restarted' | 'restarting' | 'failed', name, text, hash,
 *      threads, engines, engine }
 *    { type: 'info', id, lines: [{ score, depth, moves }], seldepth, nodes, time, hashfull }
 *    { type: 'best', id, move, ponder }
 *    { type: 'explained', id, explanation }
 *  Scores are White's: { cp } or { mate }. `engines` has the names of all engines, `engine` is the
 *  index of the chosen one. */
export class Session {
  #settings;
  #send;
  #engine = null;
  #request = null;
  #isNewGame = false;
  #areNewOptions = false;
  #isClosed = false;
  #ends = [];
  #patience = null;
  /** Ends a search for several lines. */
  #lines = null;
  #wake = () => {};

  /** @param {object} settings
   *  @param {(engine: number) => Promise<import('../lib/conversation.mjs').Conversation>}
   *      settings.start
   *  @param {string[]} [settings.engines] the names of the engines that it can start
   *  @param {number} settings.hash megabytes
   *  @param {number} settings.threads
   *  @param {(fens: string[]) => Promise<object>} settings.explain explains one position or the
   *      change between two
   *  @param {number} settings.stopPatience milliseconds that it may take from "stop" to "bestmove",
   *      and to answer while it searches
   *  @param {(message: object) => void} send */
  constructor(settings, send) {
    this.#settings = { engines: [''], engine: 0, ...settings };
    this.#send = send;
    this.running = this.#run();
  }

  /** Takes a message from the page.
   *  @throws when it is invalid; then nothing changes */
  take(message) {
    switch (message?.type) {
      case 'search':
        this.#request = readRequest(message);
        this.#interrupt();
        break;
      case 'stop': // and answer
        if (this.#request) this.#request.isStopped = true;
        this.#interrupt();
        break;
      case 'cancel': // and don't
        this.#request = null;
        this.#interrupt();
        break;
      case 'options': {
        const { engines, engine: current } = this.#settings;
        const { hash, threads, engine: wanted = current } = message;
        const isRight = isWhole(hash, 1, 32768) && isWhole(threads, 1, 64);
        if (!isRight || !isWhole(wanted, 0, 1000)) throw new Error('not an option');
        // A page may remember more engines than there are now.
        const engine = wanted < engines.length ? wanted : 0;
        if (engine !== current) this.#ends = [];
        this.#settings = { ...this.#settings, hash, threads, engine };
        this.#areNewOptions = true;
        // The search under way starts over.
        this.#request &&= { ...this.#request };
        this.#interrupt();
        break;
      }
      case 'explain': {
        const { fens } = message;
        const isRight = Array.isArray(fens) && [1, 2].includes(fens.length) && fens.every(isFen);
        if (!isRight) throw new Error('not a position');
        this.#explain(message);
        return;
      }
      case 'newgame':
        this.#isNewGame = true;
        break;
      case 'restart':
        this.#ends = [];
        break;
      default:
        throw new Error('unknown message');
    }
    this.#wake();
  }

  /** Ends the engine; the promise settles when it has ended. */
  async end() {
    this.#isClosed = true;
    this.#wake();
    await this.#engine?.quit(1000);
    await this.running;
  }

  #interrupt() {
    const engine = this.#engine;
    this.#lines?.abort();
    if (!engine?.isSearching) return;
    engine.stop();
    // An engine that hangs is replaced.
    this.#patience ??= setTimeout(() => engine.kill(), this.#settings.stopPatience);
  }

  async #explain({ id, fens }) {
    const explanation = await this.#settings
      .explain(fens)
      .catch(({ message: error }) => ({ error }));
    if (!this.#isClosed) this.#send({ type: 'explained', id, explanation });
  }

  async #setOptions(engine) {
    this.#areNewOptions = false;
    engine.setKnown({ Hash: this.#settings.hash, Threads: this.#settings.threads });
    // A gigabyte takes seconds in a web page.
    const lines = await engine.isReady(30000);
    // Quillon takes a smaller table if memory is short.
    const less = lines.join('\n').match(/^info string .* using (\d+) MB$/m);
    if (less) this.#settings = { ...this.#settings, hash: Number(less[1]) };
  }

  #tell(state, name, text = '') {
    const { hash, threads, engines, engine } = this.#settings;
    this.#send({ type: 'engine', state, name, text, hash, threads, engines, engine });
  }

  async #run() {
    let state = 'ready';
    while (!this.#isClosed) {
      const { engine } = this.#settings;
      try {
        this.#engine = await this.#settings.start(engine);
        await this.#setOptions(this.#engine);
        this.#tell(state, this.#engine.name);
        await this.#serve(this.#engine, engine);
        // Another one is wanted, or none.
        await this.#engine.quit(1000);
        state = 'ready';
      } catch (error) {
        if (this.#isClosed) break;
        this.#engine?.kill();
        await this.#mourn(error);
        state = this.#settings.engine === engine ? 'restarted' : 'ready';
      }
    }
    await this.#engine?.quit(1000);
  }

  /** Reports that the engine has ended, and waits if that has happened too often. */
  async #mourn(error) {
    const now = Date.now();
    this.#ends = [...this.#ends.filter((end) => now - end < restartWindow), now];
    const isFailed = this.#ends.length > mostRestarts;
    this.#tell(isFailed ? 'failed' : 'restarting', '', error.message);
    while (this.#ends.length > mostRestarts && !this.#isClosed) await this.#woken();
  }

  #woken() {
    return new Promise((resolve) => {
      this.#wake = resolve;
    });
  }

  /** Does searches until the tab or the engine is gone, or another engine is wanted.
   *  @throws when the engine has ended */
  async #serve(engine, index) {
    while (!this.#isClosed && this.#settings.engine === index) {
      if (this.#areNewOptions) {
        await this.#setOptions(engine);
        this.#tell('ready', engine.name);
      } else if (this.#request) {
        if (this.#isNewGame) {
          this.#isNewGame = false;
          await engine.newGame();
        }
        if (this.#request) await this.#search(engine, this.#request);
      } else {
        await Promise.race([this.#woken(), engine.ended]);
        // Throws when the process is gone.
        if (!this.#isClosed) await engine.isReady();
      }
    }
  }

  /** Ends an engine that doesn't answer while it searches. */
  #watch(engine) {
    let askedAt = 0;
    return setInterval(() => {
      if (engine.heardAt < askedAt) engine.kill();
      askedAt = performance.now();
      engine.send('isready');
    }, this.#settings.stopPatience);
  }

  async #search(engine, request) {
    request.begin ??= Date.now();
    const watch = this.#watch(engine);
    try {
      const result = request.lines
        ? await this.#findLines(engine, request)
        : await this.#findMove(engine, request);
      if (request !== this.#request) return;
      this.#request = null;
      this.#send({ type: 'best', id: request.id, ...result });
    } finally {
      clearInterval(watch);
      clearTimeout(this.#patience);
      this.#patience = null;
    }
  }

  async #findMove(engine, request) {
    const { id, fen, moves, turn, limits } = request;
    const position = `fen ${fen}${moves.length ? ` moves ${moves.join(' ')}` : ''}`;
    const go = request.isStopped ? 'movetime 10' : goOf(limits, turn, Date.now() - request.begin);
    const how = { isBlack: turn === 'b', isQuillon: isQuillon(engine) };
    const { best, ponder } = await engine.search(position, go, ({ score, depth, pv, ...stats }) => {
      if (request !== this.#request || !score || !pv?.length) return;
      const line = { score: readScore(score, how), depth, moves: pv };
      this.#send({ type: 'info', id, lines: [line], ...statsOf(stats) });
    });
    return { move: best, ponder };
  }

  async #findLines(engine, request) {
    const { id, fen, moves, limits, lines: count } = request;
    this.#lines = new AbortController();
    if (request.isStopped) this.#lines.abort();
    let timer = null;
    let found = [];
    let stats = {};
    let deepest = 1;
    const tell = () => {
      timer = null;
      if (request === this.#request) this.#send({ type: 'info', id, lines: found, ...stats });
    };
    const tellSoon = () => (timer ??= setTimeout(tell, infoInterval));
    try {
      found = await searchLines(
        engine,
        { start: fen, moves },
        {
          count,
          depth: limits.depth,
          time: limits.movetime && Math.max(10, limits.movetime - (Date.now() - request.begin)),
          signal: this.#lines.signal,
          onLines(lines) {
            found = lines;
            tellSoon();
          },
          onInfo(info, isOfRoot) {
            // Searches of other moves come between, and each of this position begins at depth 1.
            if (!isOfRoot || !(info.depth >= deepest)) return;
            deepest = info.depth;
            stats = statsOf(info);
            tellSoon();
          },
        },
      );
      tell();
    } finally {
      clearTimeout(timer);
      this.#lines = null;
    }
    return { move: found[0]?.moves[0] ?? null };
  }
}

const statsOf = ({ seldepth, nodes, time, hashfull }) => ({ seldepth, nodes, time, hashfull });
