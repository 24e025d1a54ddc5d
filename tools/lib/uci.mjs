// SPDX-License-Identifier: MIT
//
// A UCI engine as a child process.

import { spawn } from 'node:child_process';
import path from 'node:path';
import { Conversation } from './conversation.mjs';

/** An engine in its own process. */
export class Engine extends Conversation {
  /** @param {string} file the program
   *  @param {object} [settings]
   *  @param {string[]} [settings.args]
   *  @param {object} [settings.env]
   *  @param {string} [settings.cwd]
   *  @param {BufferEncoding} [settings.encoding] of its output */
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
    // `ended` reports the end of the process.
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
