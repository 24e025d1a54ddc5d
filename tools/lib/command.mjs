// SPDX-License-Identifier: MIT
//
// What the tools share: command lines, one clear line for each error, the engine to start, and a
// progress line.

import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { parseArgs } from 'node:util';
import { Engine } from './uci.mjs';

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..', '..');

/** The reason, in plain words, why a file or folder can't be used. */
function reason({ code, message }, what) {
  const reasons = { ENOENT: `no such ${what}`, EISDIR: 'is a folder', EACCES: 'permission denied' };
  return reasons[code] ?? message;
}

/** A tool's command line. */
export class Command {
  /** Reads the arguments. Exits with status 0 after printing the usage for --help, and with status
   *  2 and one line for invalid arguments.
   *  @param {string} name the tool's name
   *  @param {string} usage
   *  @param {import('node:util').ParseArgsConfig['options']} options without "help" */
  constructor(name, usage, options) {
    this.name = name;
    try {
      const help = { type: 'boolean', short: 'h' };
      const parsed = parseArgs({ options: { ...options, help }, allowPositionals: true });
      this.values = parsed.values;
      this.inputs = parsed.positionals;
    } catch (error) {
      // Node adds advice in further sentences.
      this.fail(error.message.replace(/\. To specify .*/s, ''), 2);
    }
    if (this.values.help) {
      console.log(usage);
      process.exit(0);
    }
    // `tool | head` is not an error.
    process.stdout.on('error', (error) => process.exit(error.code === 'EPIPE' ? 0 : 1));
  }

  /** Prints an error in one line. */
  complain(text) {
    console.error(`${this.name}: ${text.replace(/\s*\n\s*/g, ' ')}`);
  }

  /** Prints an error and exits. */
  fail(text, status = 1) {
    this.complain(text);
    process.exit(status);
  }

  /** The whole number given for an option, or undefined. Exits with status 2 if it isn't a number
   *  in the range. */
  number(name, least, most = Number.MAX_SAFE_INTEGER) {
    const text = this.values[name];
    if (text === undefined) return undefined;
    const value = Number(text);
    if (/^\d+$/.test(text) && value >= least && value <= most) return value;
    const range = most === Number.MAX_SAFE_INTEGER ? `from ${least}` : `from ${least} to ${most}`;
    return this.fail(`--${name} takes a whole number ${range}, not "${text}"`, 2);
  }

  /** Exits with one line if a file can't be written, before any work is done.
   *  @param {string} [file] */
  checkOutput(file) {
    if (file === undefined) return;
    const found = fs.statSync(file, { throwIfNoEntry: false });
    if (found?.isDirectory()) this.fail(`cannot write ${file}: is a folder`);
    try {
      fs.accessSync(found ? file : path.dirname(file), fs.constants.W_OK);
    } catch (error) {
      this.fail(`cannot write ${file}: ${reason(error, 'folder')}`);
    }
  }

  /** The text of a file, or of standard input for "-", in pieces.
   *  @returns {AsyncIterable<string>} which throws an error with a plain reason */
  async *stream(file) {
    const stream = file === '-' ? process.stdin : fs.createReadStream(file);
    try {
      yield* stream.setEncoding('utf8');
    } catch (error) {
      throw new Error(`${file}: ${reason(error, 'file')}`);
    }
  }

  /** The text of a file, or of standard input for "-".
   *  @throws with a plain reason */
  async read(file) {
    let text = '';
    for await (const piece of this.stream(file)) text += piece;
    return text;
  }
}

/** The engine to start: the one given, the one named by QUILLON_ENGINE, the one built here, or the
 *  installed one. */
export function engineFile(file) {
  const built = path.join(root, 'build', 'release', 'quillon');
  return file || process.env.QUILLON_ENGINE || (fs.existsSync(built) ? built : 'quillon');
}

/** Starts the engine of a command line.
 *  @param {string} [file] see engineFile()
 *  @param {Record<string, number>} options set if the engine has them
 *  @returns {Promise<Engine>}
 *  @throws if it can't be started or an option is out of its range */
export async function startEngine(file, options) {
  const engine = await Engine.start(engineFile(file));
  for (const [name, value] of Object.entries(options)) {
    const [, min, max] = engine.options.get(name)?.match(/\bmin (-?\d+) max (-?\d+)/) ?? [];
    if (value < Number(min) || value > Number(max)) {
      engine.kill();
      throw new Error(`${engine.name} takes ${name} from ${min} to ${max}, not ${value}`);
    }
  }
  engine.setKnown(options);
  await engine.isReady();
  return engine;
}

/** "1:02:03". */
const hoursText = (seconds) => {
  const pad = (number) => String(Math.floor(number)).padStart(2, '0');
  return `${Math.floor(seconds / 3600)}:${pad((seconds / 60) % 60)}:${pad(seconds % 60)}`;
};

/** A progress line on standard error. Without a terminal it is written only on request, every ten
 *  seconds. */
export class Progress {
  #started = performance.now();
  #shareBefore = null;
  #next = 0;

  /** @param {?number} total number of pieces of work, null if it isn't known
   *  @param {string} what they are, in the plural
   *  @param {boolean} [isAsked] */
  constructor(total, what, isAsked = false) {
    Object.assign(this, { total, what, isAsked, done: 0 });
  }

  /** Removes the line so that something else can be printed. */
  hide() {
    if (process.stderr.isTTY) process.stderr.write('\r\x1b[K');
  }

  /** Shows the line.
   *  @param {number} [done] pieces finished
   *  @param {?number} [share] of all work, 0 to 1, for the time left */
  show(done = this.done, share = null) {
    this.done = done;
    this.#shareBefore ??= share;
    const now = performance.now();
    const isTerminal = process.stderr.isTTY;
    if (!(isTerminal ? this.total !== 1 : this.isAsked && now >= this.#next)) return;
    this.#next = now + 10000;
    const seconds = (now - this.#started) / 1000;
    const words = [`${done}${this.total ? ` of ${this.total}` : ''} ${this.what}`];
    if (!this.total) words.push(`${Math.round((done / seconds) * 3600)} per hour`);
    if (share !== null) words.push(`${Math.floor(100 * share)} %`);
    const gone = share - this.#shareBefore;
    if (gone > 0) words.push(`${hoursText((seconds * (1 - share)) / gone)} left`);
    this.hide();
    process.stderr.write(words.join(', ') + (isTerminal ? '' : '\n'));
  }

  /** Without a terminal, ends with a line about the whole work. */
  end() {
    this.#next = 0;
    this.show(this.done, 1);
    this.hide();
  }
}
