// SPDX-License-Identifier: MIT
//
// What the command lines of the tools have in common: reading them, one clear line for what is
// wrong, which engine to start, and a bar that shows how far long work has come.

import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { parseArgs } from 'node:util';
import { Engine } from './uci.mjs';

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..', '..');

/** A tool's command line. */
export class Command {
  /** Reads the arguments; prints the usage and ends with status 0 for --help, and ends with one
   *  line and status 2 for what it can't take.
   *  @param {string} name the tool's
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

  /** Tells what is wrong, in one line. */
  complain(text) {
    console.error(`${this.name}: ${text.replace(/\s*\n\s*/g, ' ')}`);
  }

  /** Tells what is wrong and ends. */
  fail(text, status = 1) {
    this.complain(text);
    process.exit(status);
  }

  /** The whole number of an option, undefined when it isn't given; ends with status 2 when it is
   *  something else. */
  number(name, least, most = Number.MAX_SAFE_INTEGER) {
    const text = this.values[name];
    if (text === undefined) return undefined;
    const value = Number(text);
    if (/^\d+$/.test(text) && value >= least && value <= most) return value;
    const range = most === Number.MAX_SAFE_INTEGER ? `from ${least}` : `from ${least} to ${most}`;
    return this.fail(`--${name} takes a whole number ${range}, not "${text}"`, 2);
  }

  /** Ends with one line when a file can't be made, before there is anything to lose.
   *  @param {string} [file] */
  checkOutput(file) {
    if (file === undefined) return;
    const folder = path.dirname(file);
    try {
      fs.accessSync(fs.existsSync(file) ? file : folder, fs.constants.W_OK);
      if (fs.existsSync(file) && fs.statSync(file).isDirectory()) throw new Error('is a folder');
    } catch (error) {
      const reason = { ENOENT: 'no such folder', EACCES: 'permission denied' }[error.code];
      this.fail(`cannot write ${file}: ${reason ?? error.message}`);
    }
  }

  /** The text of a file, or of standard input for "-".
   *  @throws in plain words */
  read(file) {
    try {
      return fs.readFileSync(file === '-' ? 0 : file, 'utf8');
    } catch (error) {
      const reasons = {
        ENOENT: 'no such file',
        EISDIR: 'is a folder',
        EACCES: 'permission denied',
      };
      throw new Error(`${file}: ${reasons[error.code] ?? error.message}`);
    }
  }
}

/** The engine that is asked for, that of the environment, the one built here, or the one that is
 *  installed. */
export function engineFile(file) {
  if (file) return file;
  if (process.env.QUILLON_ENGINE) return process.env.QUILLON_ENGINE;
  const built = path.join(root, 'build', 'release', 'quillon');
  return fs.existsSync(built) ? built : 'quillon';
}

/** Starts the engine of a command line.
 *  @param {string} [file] Quillon unless given
 *  @param {Record<string, number>} options set where the engine has them
 *  @returns {Promise<Engine>}
 *  @throws when it can't be started or an option is out of its range */
export async function startEngine(file, options) {
  const engine = await Engine.start(engineFile(file));
  try {
    for (const [name, value] of Object.entries(options)) {
      if (!engine.options.has(name)) continue;
      const limit = (key) => engine.options.get(name).match(new RegExp(`\\b${key} (-?\\d+)`))?.[1];
      if (value < Number(limit('min')) || value > Number(limit('max'))) {
        throw new Error(
          `${engine.name} takes ${name} from ${limit('min')} to ${limit('max')}, not ${value}`,
        );
      }
      engine.setOption(name, value);
    }
    await engine.isReady();
  } catch (error) {
    engine.kill();
    throw error;
  }
  return engine;
}

/** A duration for people.
 *  @param {number} seconds */
export function duration(seconds) {
  if (seconds < 90) return `${Math.ceil(seconds)} s`;
  return seconds < 5400 ? `${Math.round(seconds / 60)} min` : `${(seconds / 3600).toFixed(1)} h`;
}

/** A bar on standard error, when that is a terminal: how much is done, and about what is left. */
export class Progress {
  /** @param {number} total pieces of work
   *  @param {string} what they are, in the plural */
  constructor(total, what, stream = process.stderr) {
    this.total = total;
    this.what = what;
    this.stream = stream;
    this.done = 0;
    this.begin = Date.now();
  }

  /** Takes the bar away, to let something be printed. */
  hide() {
    if (this.stream.isTTY) this.stream.write('\r\x1b[K');
  }

  /** Shows the bar.
   *  @param {number} [done] pieces finished */
  show(done = this.done) {
    this.done = done;
    if (!this.stream.isTTY || this.total < 2) return;
    const width = 30;
    const full = Math.round((width * done) / this.total);
    const elapsed = (Date.now() - this.begin) / 1000;
    const left = done ? `, ${duration((elapsed / done) * (this.total - done))} left` : '';
    const bar = '#'.repeat(full) + '.'.repeat(width - full);
    this.stream.write(`\r\x1b[K[${bar}] ${done} of ${this.total} ${this.what}${left}`);
  }
}
