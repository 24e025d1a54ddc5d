// SPDX-License-Identifier: MIT
//
// Explanations of positions by quillon_explain, which answers line by line. One process serves all
// tabs; it is started by the first question, and again if it has ended.

import { Engine } from '../lib/uci.mjs';

export class Explainer {
  #file;
  #program = null;
  /** Settles with the last answer: the program gets one question at a time. */
  #last = Promise.resolve();

  /** @param {string} file the program */
  constructor(file) {
    this.#file = file;
  }

  /** Explains one position, or the change between two.
   *  @param {string[]} fens that hold no line breaks
   *  @returns {Promise<object>} what the program prints
   *  @throws when it can't be started or has ended */
  explain(fens) {
    const answer = this.#last.then(() => this.#ask(fens));
    this.#last = answer.catch(() => {});
    return answer;
  }

  async #ask(fens) {
    if (!this.#program?.isRunning) this.#program = new Engine(this.#file, { args: ['--json'] });
    const program = this.#program;
    program.forget();
    program.send(fens.join(' | '));
    try {
      const [line] = await program.until(/./);
      return JSON.parse(line);
    } catch {
      program.kill();
      this.#program = null;
      throw new Error('The program quillon_explain is missing or has ended');
    }
  }

  end() {
    this.#program?.kill();
  }
}
