// SPDX-License-Identifier: MIT
// Runs a chess program as a child process and talks to it line by line. All console tests go
// through this driver, so that each of them notices a crash, a sanitizer's report, text on the
// error stream, a line that never comes and a process that never ends.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const here = path.dirname(fileURLToPath(import.meta.url));

// Where the source tree is, and the engine under test.
export const sourceDir = process.env.QUILLON_SOURCE_DIR ?? path.resolve(here, '..', '..');
export const enginePath =
  process.env.QUILLON_ENGINE ?? path.join(sourceDir, 'build', 'release', 'quillon');

// All waiting times are multiplied by this: sanitizer builds are an order of magnitude slower.
export const timeScale = Number(process.env.QUILLON_TIME_SCALE ?? 1);
assert.ok(timeScale > 0, 'QUILLON_TIME_SCALE must be a positive number');

export const banner = [
  'Quillon Version 2.0',
  'by Velmar Dask',
  '',
  "enter 'help' to see the commands",
];

const sanitizerReport = /(Address|Leak|Memory|Thread|UndefinedBehavior)Sanitizer|runtime error:/;

// What a sanitizer with limited memory says to each block that it refuses.
const refusal = /^==\d+==WARNING: \w+Sanitizer failed to allocate 0x[0-9a-f]+ bytes\n/gm;

// Returns milliseconds scaled for the build under test.
export function scaled(milliseconds) {
  return milliseconds * timeScale;
}

// Returns the path of a tool, or fails with the name of the package that brings it.
export function requireTool(file, debianPackage) {
  if (!fs.existsSync(file)) {
    throw new Error(`${file} not found: install the Debian package "${debianPackage}"`);
  }
  return file;
}

export const stockfishPath = () => requireTool('/usr/games/stockfish', 'stockfish');

// Returns the command that runs another with little memory, and its environment. A sanitizer needs
// address space without end, but can refuse a single block.
function limited(command, megabytes) {
  if (process.env.QUILLON_SANITIZER) {
    const env = { ...process.env };
    for (const name of ['ASAN_OPTIONS', 'TSAN_OPTIONS']) {
      const limit = `max_allocation_size_mb=${megabytes}:allocator_may_return_null=1`;
      env[name] = `${env[name] ?? ''}:${limit}`;
    }
    return { command, env };
  }
  const script = 'ulimit -v "$1" && shift && exec "$@"';
  const shell = requireTool('/bin/sh', 'dash');
  return { command: [shell, '-c', script, 'sh', String(megabytes * 1024), ...command] };
}

export class Engine {
  // file, args: what to run. stderrAllowed: a pattern that text on the error stream may match.
  // memory: megabytes that it can have, as far as a limit can say; null for no limit.
  constructor({ file = enginePath, args = [], stderrAllowed = null, memory = null } = {}) {
    if (!fs.existsSync(file)) throw new Error(`${file} not found: build it, or set QUILLON_ENGINE`);
    const full = [file, ...args];
    const { command, env } = memory ? limited(full, memory) : { command: full };
    this.file = file;
    this.isLimited = memory !== null;
    this.stderrAllowed = stderrAllowed;
    this.log = []; // { text, at } of each complete line received, `at` in milliseconds
    this.cursor = 0; // first line of the log that no expectation has consumed
    this.rest = ''; // received behind the last line end
    this.stderr = '';
    this.exit = null; // { status, signal } once the process has ended and its output is read
    this.waiter = null;
    this.child = spawn(command[0], command.slice(1), { stdio: 'pipe', env });
    // One byte, one character: what the engine writes is compared to the byte.
    this.child.stdout.setEncoding('latin1');
    this.child.stderr.setEncoding('latin1');
    this.child.stdout.on('data', (data) => this.#receive(data));
    this.child.stderr.on('data', (data) => {
      this.stderr += data;
    });
    // Writing to a process that has ended must not end the test run; the expectations report it.
    this.child.stdin.on('error', () => {});
    this.child.on('error', (error) => {
      this.stderr += `cannot start ${file}: ${error.message}\n`;
      this.#ended(null, null);
    });
    this.child.on('close', (status, signal) => this.#ended(status, signal));
  }

  #receive(data) {
    const at = performance.now();
    const parts = (this.rest + data).split('\n');
    this.rest = parts.pop();
    for (const text of parts) this.log.push({ text, at });
    this.waiter?.look();
  }

  #ended(status, signal) {
    if (this.exit) return;
    this.exit = { status, signal };
    this.waiter?.look();
  }

  // Sends each argument as a line.
  send(...lines) {
    for (const line of lines) this.child.stdin.write(`${line}\n`);
  }

  // Sends bytes as they are: no line end, any value.
  sendBytes(bytes) {
    this.child.stdin.write(bytes);
  }

  closeInput() {
    this.child.stdin.end();
  }

  // Waits until done() answers something other than null, and returns that.
  #wait(what, milliseconds, done) {
    assert.equal(this.waiter, null, 'one expectation at a time');
    return new Promise((resolve, reject) => {
      const end = (act) => {
        clearTimeout(timer);
        this.waiter = null;
        act();
      };
      const limit = scaled(milliseconds);
      const timer = setTimeout(
        () => end(() => reject(new Error(this.describe(`no ${what} within ${limit} ms`)))),
        limit,
      );
      this.waiter = {
        look: () => {
          const result = done();
          if (result !== null) end(() => resolve(result));
          else if (this.exit) {
            end(() => reject(new Error(this.describe(`process ended, no ${what}`))));
          }
        },
      };
      this.waiter.look();
    });
  }

  // Consumes lines up to the first that matches, and returns all of them. A text matches a line
  // that equals it, a pattern one that it fits.
  until(pattern, milliseconds = 10000) {
    const from = this.cursor;
    const fits = typeof pattern === 'string' ? (s) => s === pattern : (s) => pattern.test(s);
    return this.#wait(`line ${pattern}`, milliseconds, () => {
      while (this.cursor < this.log.length) {
        const { text } = this.log[this.cursor++];
        if (fits(text)) return this.log.slice(from, this.cursor).map((line) => line.text);
      }
      return null;
    });
  }

  // Consumes lines up to the first that matches, and returns that line.
  async expect(pattern, milliseconds) {
    return (await this.until(pattern, milliseconds)).at(-1);
  }

  // Consumes exactly the given lines, which must come next.
  async expectLines(lines, milliseconds = 10000) {
    const from = this.cursor;
    await this.#wait(`${lines.length} lines`, milliseconds, () =>
      this.log.length >= from + lines.length ? true : null,
    );
    this.cursor = from + lines.length;
    assert.deepEqual(this.log.slice(from, this.cursor).map((line) => line.text), lines);
  }

  // Sends a line and returns what is written up to the answer to an `isready` behind it.
  async reply(line, milliseconds) {
    this.send(line, 'isready');
    const lines = await this.until('readyok', milliseconds);
    return lines.slice(0, -1);
  }

  // Time at which the line consumed last arrived.
  get lastAt() {
    return this.log[this.cursor - 1].at;
  }

  // Number of lines received so far that match.
  count(pattern) {
    return this.log.filter((line) => pattern.test(line.text)).length;
  }

  // Drops the consumed lines, so that a long-lived process doesn't fill the memory. They no longer
  // count.
  forget() {
    this.log.splice(0, this.cursor);
    this.cursor = 0;
  }

  // Waits for the end of the process and returns { status, signal }.
  async waitExit(milliseconds = 10000) {
    await this.#wait('end of the process', milliseconds, () => this.exit);
    return this.exit;
  }

  // Waits for an end with status 0, a clean error stream and no line cut short.
  async expectCleanExit(milliseconds) {
    const { status, signal } = await this.waitExit(milliseconds);
    this.checkStderr();
    assert.deepEqual({ status, signal }, { status: 0, signal: null }, this.describe('bad end'));
  }

  // Sends `quit` and waits for a clean end.
  async quit(milliseconds) {
    this.send('quit');
    await this.expectCleanExit(milliseconds);
  }

  checkStderr() {
    const stderr = this.isLimited ? this.stderr.replace(refusal, '') : this.stderr;
    const clean = stderr === '' || this.stderrAllowed?.test(stderr);
    if (!clean || sanitizerReport.test(stderr)) {
      throw new Error(this.describe('text on the error stream'));
    }
  }

  // Ends the process whatever it does, and fails if it had reported an error of its own.
  async kill() {
    if (!this.exit) {
      this.child.kill('SIGKILL');
      this.waiter = null;
      await this.waitExit();
    }
    this.checkStderr();
  }

  describe(problem) {
    const tail = this.log.slice(-12).map((line) => `  | ${line.text.slice(0, 400)}`);
    if (this.rest) tail.push(`  | ${this.rest.slice(0, 400)} (no line end)`);
    const end = this.exit ? `status ${this.exit.status}, signal ${this.exit.signal}` : 'running';
    const errors = this.stderr ? `\nerror stream:\n${this.stderr.slice(0, 4000)}` : '';
    return `${problem}\n${this.file} (${end}), last lines:\n${tail.join('\n')}${errors}`;
  }
}

// Starts the engine for a test, consumes its banner, and makes sure that it is gone afterwards.
export async function startEngine(t, options) {
  const engine = new Engine(options);
  t.after(() => engine.kill());
  await engine.expectLines(banner, 20000);
  return engine;
}

// Starts stockfish at its lowest skill, for a game or a count.
export async function startStockfish(t) {
  const engine = new Engine({ file: stockfishPath() });
  t.after(() => engine.kill());
  engine.send('uci', 'setoption name Skill Level value 0', 'setoption name Hash value 16');
  engine.send('isready');
  await engine.expect('readyok');
  return engine;
}

// Sends `perft` and returns { board, depth, count, lines }; depth undefined sends it bare.
export async function perft(engine, depth, milliseconds = 60000) {
  engine.send(depth === undefined ? 'perft' : `perft ${depth}`);
  const lines = await engine.until(/^Perft results for depth: /, milliseconds);
  const match = /^Perft results for depth: (-?\d+) {2}(\d+) {2}Nodes per sec: \S+$/.exec(
    lines.at(-1),
  );
  assert.ok(match, `form of the perft result: ${lines.at(-1)}`);
  return {
    board: lines.slice(0, 17),
    depth: Number(match[1]),
    count: Number(match[2]),
    lines,
  };
}

// Sends `showboard` and returns its 17 lines.
export async function showBoard(engine) {
  engine.send('showboard');
  const from = engine.cursor;
  await engine.until(/^\+---/);
  for (let rank = 0; rank < 8; rank++) await engine.until(/^\+---/);
  return engine.log.slice(from, engine.cursor).map((line) => line.text);
}
