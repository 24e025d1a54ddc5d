// SPDX-License-Identifier: MIT
// A chess program for the tests of matches. It plays the first legal move of its list, and its
// arguments say when it does something else:
//
//   mate       plays a mate in one where there is one
//   FAULT      does wrong from its third move on: illegal, crash, silent, late

import readline from 'node:readline';
import { Rules } from '../console/rules.mjs';

const [manner = ''] = process.argv.slice(2);
let rules = new Rules();
let turns = 0;

const say = (text) => process.stdout.write(`${text}\n`);

function choose() {
  const moves = rules.legalMoves().map(({ text }) => text);
  const mate = moves.find((text) => {
    rules.play(text);
    const isMate = rules.result() === 'mate';
    rules.undo();
    return isMate;
  });
  return manner === 'mate' && mate ? mate : moves[0];
}

for await (const line of readline.createInterface({ input: process.stdin })) {
  const [command, ...words] = line.split(' ');
  if (command === 'uci') {
    say(`id name fake ${manner}`);
    say('option name Hash type spin default 16 min 1 max 1024');
    say('uciok');
  }
  if (command === 'isready') say('readyok');
  if (command === 'quit') process.exit(0);
  if (command === 'ucinewgame') turns = 0;
  if (command === 'position') {
    const [fen, moves] = words.slice(1).join(' ').split(' moves ');
    rules = new Rules(fen);
    for (const move of moves?.split(' ') ?? []) rules.play(move);
  }
  if (command === 'go') {
    const faulty = ++turns >= 3;
    if (faulty && manner === 'crash') process.exit(3);
    if (faulty && manner === 'silent') continue;
    if (faulty && manner === 'late') await new Promise((resolve) => setTimeout(resolve, 1500));
    say('info score cp 12 depth 3 pv a2a3');
    say(`bestmove ${faulty && manner === 'illegal' ? 'a1a8' : choose()}`);
  }
}
