// SPDX-License-Identifier: MIT
// A chess program for the tests of the referee: it plays the first legal move at once, and does
// wrong what its argument says, from its third move on.

import fs from 'node:fs';
import readline from 'node:readline';
import { Rules } from './rules.mjs';

const fault = process.argv[2];
const hoard = [];
let rules = new Rules();
let turns = 0;

function answer() {
  const faulty = ++turns >= 3;
  const say = (text) => process.stdout.write(`${text}\n`);
  if (faulty && fault === 'silent') return;
  if (faulty && fault === 'crash') process.exit(3);
  if (faulty && fault === 'chatter') process.stderr.write('something odd\n');
  if (faulty && fault === 'memory') hoard.push(Buffer.alloc(1 << 17, turns));
  if (faulty && fault === 'file') fs.openSync('/dev/null');
  const move = faulty && fault === 'illegal' ? 'a1a8' : rules.legalMoves()[0].text;
  const repeated = faulty && fault === 'double';
  say(repeated ? `bestmove ${move}\nbestmove ${move}` : `bestmove ${move}`);
  if (faulty && fault === 'info') say('info string and another thing');
}

for await (const line of readline.createInterface({ input: process.stdin })) {
  const [command, ...words] = line.split(' ');
  if (command === 'isready') process.stdout.write('readyok\n');
  if (command === 'quit') process.exit(fault === 'status' ? 1 : 0);
  if (command === 'position') {
    rules = new Rules();
    for (const move of words.slice(2)) rules.play(move);
  }
  if (command === 'go') {
    const late = fault === 'late' && turns === 2;
    if (late) await new Promise((resolve) => setTimeout(resolve, 2500));
    answer();
  }
}
