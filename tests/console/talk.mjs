// SPDX-License-Identifier: MIT
// A conversation with the engine under test. All console tests use it, so each of them notices a
// crash, a sanitizer report, text on the error stream, a missing line, a process that never ends,
// and a search that writes a wrong line or an illegal move.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { endOf, readPosition } from '../../tools/lib/chess.mjs';
import { Engine } from '../../tools/lib/uci.mjs';
import { bestMovePattern, checkSearch, noMove, readSearch } from './search.mjs';

const here = path.dirname(fileURLToPath(import.meta.url));

export const sourceDir = process.env.QUILLON_SOURCE_DIR ?? path.resolve(here, '..', '..');
export const enginePath =
  process.env.QUILLON_ENGINE ?? path.join(sourceDir, 'build', 'release', 'quillon');

// The factor for all waiting times: sanitizer builds are an order of magnitude slower.
export const timeScale = Number(process.env.QUILLON_TIME_SCALE ?? 1);
assert.ok(timeScale > 0, 'QUILLON_TIME_SCALE must be a positive number');
export const scaled = (milliseconds) => milliseconds * timeScale;

// The sanitizer of the build under test: 'address', 'thread' or undefined.
export const sanitizer = process.env.QUILLON_SANITIZER;

// Whether this is the long run of a test that has one.
export const isLong = process.env.QUILLON_LONG === '1';

export const pause = (milliseconds) => new Promise((done) => setTimeout(done, milliseconds));

export const banner = [
  'Quillon Version 2.0',
  'by Velmar Dask',
  '',
  "enter 'help' to see the commands",
];

const sanitizerReport = /(Address|Leak|Memory|Thread|UndefinedBehavior)Sanitizer|runtime error:/;

// What a sanitizer with limited memory prints for each allocation that it refuses.
const refusal = /^==\d+==WARNING: \w+Sanitizer failed to allocate 0x[0-9a-f]+ bytes\n/gm;

// The lines of a search. The line about a table that can't be allocated is not one of them.
const searchLine = /^(info (?!string )|bestmove )/;

// Returns the path of a program, or fails with the name of its package.
export function requireTool(file, debianPackage) {
  assert.ok(fs.existsSync(file), `${file} not found: install the Debian package ${debianPackage}`);
  return file;
}

// Makes a folder that is removed after a test.
export function makeFolder(t) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  return folder;
}

// The command that runs another one with little memory, and its settings. A sanitizer needs
// unlimited address space, but can refuse single allocations.
function limited(file, args, megabytes) {
  if (sanitizer) {
    const env = { ...process.env };
    for (const name of ['ASAN_OPTIONS', 'TSAN_OPTIONS']) {
      const limit = `max_allocation_size_mb=${megabytes}:allocator_may_return_null=1`;
      env[name] = `${env[name] ?? ''}:${limit}`;
    }
    return [file, { args, env }];
  }
  const script = `ulimit -v ${megabytes * 1024} && exec "$@"`;
  return ['/bin/sh', { args: ['-c', script, 'sh', file, ...args] }];
}

// The board of a FEN as the engine draws it: 17 lines, rank 8 first.
export function pictureOf(fen) {
  const border = '+---+---+---+---+---+---+---+---+';
  const board = fen.split(' ')[0].replace(/\d/g, (digit) => ' '.repeat(Number(digit)));
  const ranks = board.split('/').map((rank) => `| ${[...rank].join(' | ')} |`);
  return [border, ...ranks.flatMap((rank) => [rank, border])];
}

// The position that the words after "position" give, with how the game has ended, or null if it is
// illegal.
const known = new Map();
function positionOf(text) {
  if (!known.has(text)) {
    if (known.size > 100) known.clear();
    try {
      const chess = readPosition(text);
      known.set(text, { chess, fen: chess.fen(), end: endOf(chess, false) });
    } catch {
      known.set(text, null);
    }
  }
  return known.get(text);
}

// The number of leaves at a depth below the position that the words after "position" give.
export const leaves = (text, depth) => positionOf(text).chess.perft(depth);

export class Talk extends Engine {
  // stderrAllowed: a pattern for text on the error stream. memory: a limit in megabytes. slack: a
  // factor for all its waiting times. cwd: the folder in which it runs.
  constructor({ file = enginePath, args = [], stderrAllowed, memory, slack = 1, cwd } = {}) {
    if (!fs.existsSync(file)) throw new Error(`${file} not found: build it, or set QUILLON_ENGINE`);
    const [command, settings] = memory ? limited(file, args, memory) : [file, { args }];
    // One character for each byte.
    super(command, { ...settings, cwd, encoding: 'latin1' });
    Object.assign(this, { stderrAllowed, memory, slack });
    this.position = 'startpos'; // what was sent last
    this.unended = ''; // the part of a line that has been sent
    this.searches = []; // { position, lines } of each `go` without a result
    this.#note(args.join(' '));
  }

  // Starts the engine for a test and reads its banner. The process ends with the test.
  static async start(t, settings) {
    const talk = new Talk(settings);
    t.after(() => talk.kill());
    for (const line of banner) await talk.next(line, 20000);
    return talk;
  }

  // Sends one byte for each character.
  bytes(text) {
    this.child.stdin.write(Buffer.from(text, 'latin1'));
    const lines = (this.unended + text).split('\n');
    this.unended = lines.pop();
    for (const line of lines) this.#note(line);
  }

  // Keeps track of the position and the searches when a line is sent.
  #note(line) {
    const [command, ...words] = line.split(/[ \t\r\v\f]+/).filter(Boolean);
    const isPosition = command === 'position' && /^(startpos|fen)$/.test(words[0]);
    if (isPosition) this.position = words.join(' ');
    if (command === 'go') this.searches.push({ position: this.position, lines: [] });
  }

  send(...lines) {
    this.bytes(lines.map((line) => `${line}\n`).join(''));
  }

  closeInput() {
    if (this.unended !== '') this.#note(this.unended);
    this.child.stdin.end();
  }

  // Adds a line to the search that wrote it, and checks a finished search.
  #take(line) {
    if (!searchLine.test(line)) return;
    const [search] = this.searches;
    if (!search) throw this.problem(`a line of a search where none runs: ${line}`);
    search.lines.push(line);
    if (!bestMovePattern.test(line)) return;
    this.searches.shift();
    const position = positionOf(search.position);
    this.found = readSearch(search.lines);
    if (position) checkSearch(position, this.found);
    this.found.hasMoves = position !== null && !/mate$/.test(position.end);
  }

  // Reads up to the first line that matches. While a search runs, only its lines and answers to
  // `isready` may come before that.
  async until(pattern, patience = 10000, each = () => {}) {
    const isSearching = this.searches.length > 0;
    const lines = await super.until(pattern, scaled(patience) * this.slack, (line) => {
      this.#take(line);
      each(line);
    });
    const others = isSearching ? lines.slice(0, -1).filter((line) => line !== 'readyok') : [];
    for (const line of others) assert.match(line, searchLine);
    return lines;
  }

  // Reads the next line, which must match.
  async next(what, patience) {
    const [line] = await this.until(/(?:)/, patience);
    if (typeof what === 'string') assert.equal(line, what);
    else assert.match(line, what);
  }

  // Sends `isready`; its answer is the next line.
  async ready() {
    this.send('isready');
    await this.next('readyok');
  }

  isReady() {
    return this.ready();
  }

  async newGame() {
    this.send('ucinewgame');
    await this.next('readyok');
  }

  // Sends a line and returns what is written up to the answer to an `isready` after it.
  async reply(line, patience) {
    this.send(line, 'isready');
    return (await this.until('readyok', patience)).slice(0, -1);
  }

  // Waits for the result of the oldest unfinished search and returns that search. `move`: the best
  // move. `stopped`: there may be no move although there is a legal one. `info`: there is a line
  // with a score. `silent`: there is no line. `unanswered`: no `isready` is answered before.
  async bestmove({ move, stopped, info, silent, unanswered, patience } = {}) {
    assert.ok(this.searches.length, 'no search is running');
    const lines = await this.until(bestMovePattern, patience);
    if (unanswered) assert.ok(!lines.includes('readyok'), 'an answer before the result');
    const { found } = this;
    if (move) assert.equal(found.best, move);
    if (!stopped && found.hasMoves) assert.notEqual(found.best, noMove);
    if (info) assert.ok(found.infos.some(({ kind }) => kind !== 'mated'), 'a line with a score');
    if (silent) assert.deepEqual(found.infos, [], 'no line but the result');
    return found;
  }

  // Sends a `go` and waits for its result.
  go(words, wanted) {
    this.send(`go ${words}`);
    return this.bestmove({ patience: 60000, ...wanted });
  }

  // Waits and fails if a search ends meanwhile.
  async silence(milliseconds) {
    await pause(milliseconds);
    const early = this.log.slice(this.cursor).find(({ text }) => bestMovePattern.test(text));
    assert.equal(early, undefined, 'the search still runs');
  }

  // Checks that `showboard` draws the board of a FEN, or of the position that was sent last.
  async board(fen = positionOf(this.position).fen) {
    this.send('showboard');
    for (const line of pictureOf(fen)) await this.next(line);
  }

  // Sends `perft`, without an argument if depth is undefined, and returns { depth, count, lines }.
  async perft(depth, patience = 60000) {
    this.send(depth === undefined ? 'perft' : `perft ${depth}`);
    const lines = await this.until(/^Perft results for depth: /, patience);
    const form = /^Perft results for depth: (-?\d+) {2}(\d+) {2}Nodes per sec: \S+$/;
    assert.match(lines.at(-1), form);
    const [, said, count] = lines.at(-1).match(form);
    return { lines, depth: Number(said), count: Number(count) };
  }

  // Checks that `perft` counts correctly in the last position sent, or as in another one.
  async checkPerft(depth, position = this.position) {
    assert.equal((await this.perft(depth)).count, leaves(position, depth), position);
  }

  // Number of lines received so far that match.
  count(pattern) {
    return this.texts.filter((text) => pattern.test(text)).length;
  }

  // All lines received so far.
  get texts() {
    return this.log.map(({ text }) => text);
  }

  // Waits for the end of the process, by a status or a signal. The error stream must be clean and
  // the last line complete. Returns the unread lines, which must come from searches that were cut
  // off, without a part of an answer.
  async exit(status = 0, patience = 10000) {
    await this.wait('its end', scaled(patience) * this.slack, () => this.exited ?? null);
    this.checkStderr();
    const { signal, status: found, error } = this.exited;
    assert.equal(signal ?? found, status, this.describe(`bad end ${error ?? ''}`));
    assert.equal(this.rest, '', 'a line cut short');
    const left = this.texts.slice(this.cursor);
    for (const line of left) {
      assert.match(line, searchLine, this.describe('an unread line'));
      this.#take(line);
    }
    for (const { lines } of this.searches) {
      readSearch([...lines, `bestmove ${noMove}`]);
      assert.ok(!lines.includes('info score mate 0'), 'half an answer');
    }
    return left;
  }

  // Waits for a clean end and returns the lines before it.
  async finish(patience = 60000) {
    await this.wait('its end', scaled(patience) * this.slack, () => this.exited ?? null);
    const lines = this.texts.slice(this.cursor);
    this.cursor = this.log.length;
    await this.exit();
    return lines;
  }

  // Sends `quit` and waits for a clean end.
  async quit(patience) {
    this.send('quit');
    return this.exit(0, patience);
  }

  checkStderr() {
    const stderr = this.memory ? this.stderr.replace(refusal, '') : this.stderr;
    const isClean = stderr === '' || this.stderrAllowed?.test(stderr);
    if (!isClean || sanitizerReport.test(stderr)) throw this.problem('text on the error stream');
  }

  // Kills the process, and fails if it has reported an error.
  async kill() {
    super.kill();
    await this.ended;
    this.checkStderr();
  }

  problem(text) {
    return new Error(this.describe(text));
  }

  describe(text) {
    const tail = this.log.slice(-12).map((line) => `  | ${line.text.slice(0, 400)}`);
    if (this.rest) tail.push(`  | ${this.rest.slice(0, 400)} (no line end)`);
    const errors = this.stderr ? `\nerror stream:\n${this.stderr.slice(0, 4000)}` : '';
    const state = JSON.stringify(this.exited ?? 'running');
    return `${text}\n${this.file} (${state}), last lines:\n${tail.join('\n')}${errors}`;
  }
}

// Defines a test with a running engine, which must end at `quit` if the test hasn't ended it. act
// gets the talk, a function that starts another process, and the test.
export function conversation(title, act, settings) {
  // Node reserves more memory than it uses, so a limit can't be set for WebAssembly.
  const skip = Boolean(settings?.memory) && enginePath.endsWith('.mjs');
  test(title, { skip }, async (t) => {
    const start = (others) => Talk.start(t, { ...settings, ...others });
    const talk = await start();
    await act(talk, start, t);
    if (talk.isRunning) await talk.quit();
  });
}
