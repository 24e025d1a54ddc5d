// SPDX-License-Identifier: MIT
//
// Explanations of positions by quillon_explain, which answers line by line. One process serves all
// tabs; it is started by the first question, and again if it has ended.

import { spawn } from 'node:child_process';
import readline from 'node:readline';

export class Explainer {
  #file;
  #child = null;
  /** The questions that wait for answers, the oldest first. */
  #waiting = [];

  /** @param {string} file the program */
  constructor(file) {
    this.#file = file;
  }

  #start() {
    const child = spawn(this.#file, ['--json'], { stdio: ['pipe', 'pipe', 'ignore'] });
    this.#child = child;
    const end = () => {
      if (this.#child !== child) return;
      this.#child = null;
      const error = new Error('The program quillon_explain is missing or has ended');
      for (const { reject } of this.#waiting.splice(0)) reject(error);
    };
    readline.createInterface({ input: child.stdout }).on('line', (line) => {
      if (this.#child !== child) return;
      try {
        const answer = JSON.parse(line);
        this.#waiting.shift()?.resolve(answer);
      } catch {
        // From here on, answers may belong to other questions.
        end();
        child.kill();
      }
    });
    child.stdin.on('error', end);
    child.on('error', end);
    child.on('close', end);
  }

  /** Explains one position, or the change between two.
   *  @param {string[]} fens that hold no line breaks
   *  @returns {Promise<object>} what the program prints
   *  @throws when it can't be started or has ended */
  explain(fens) {
    if (!this.#child) this.#start();
    return new Promise((resolve, reject) => {
      this.#waiting.push({ resolve, reject });
      this.#child.stdin.write(`${fens.join(' | ')}\n`);
    });
  }

  end() {
    this.#child?.kill();
  }
}
