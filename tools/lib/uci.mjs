// SPDX-License-Identifier: MIT
//
// A UCI engine as a child process, for all programs here that talk to engines: start, options,
// searches, an orderly end, and a clear error when the engine can't do what is asked.

import { spawn } from 'node:child_process';
import path from 'node:path';
import { Conversation } from './conversation.mjs';

export { parseInfo } from './conversation.mjs';

/** An engine in a process of its own. */
export class Engine extends Conversation {
  /** @param {string} file the program
   *  @param {object} [settings]
   *  @param {string[]} [settings.args]
   *  @param {object} [settings.env]
   *  @param {string} [settings.cwd]
   *  @param {BufferEncoding} [settings.encoding] of what it writes */
  constructor(file, { args = [], encoding = 'utf8', ...settings } = {}) {
    super(path.basename(file));
    this.file = file;
    /** Text on the error stream. */
    this.stderr = '';
    this.child = spawn(file, args, { stdio: 'pipe', ...settings });
    this.child.stdout.setEncoding(encoding);
    this.child.stdout.on('data', (data) => this.receive(data));
    this.child.stderr.setEncoding(encoding);
    this.child.stderr.on('data', (data) => {
      if (this.stderr.length < 1e6) this.stderr += data;
    });
    // The end of the process is noticed by `ended`.
    this.child.stdin.on('error', () => {});
    this.child.on('error', ({ message }) => this.end({ error: `cannot start ${file}: ${message}` }));
    this.child.on('close', (status, signal) => this.end({ status, signal }));
  }

  write(text) {
    this.child.stdin.write(text);
  }

  kill() {
    this.child.kill('SIGKILL');
  }
}
