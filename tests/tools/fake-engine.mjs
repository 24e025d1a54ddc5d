// SPDX-License-Identifier: MIT
// An engine for the tests of the tools. It plays a mate in one or else the first legal move, with a
// score of 10 centipawns. Its arguments change that from search number N on:
//
//   dies N      exits with status 3
//   once N      the same, unless there is the file QUILLON_MARK, which it makes
//   illegal N   answers with an illegal move
//   rubbish N   answers with moves that don't exist
//   waits N     answers only to "stop"
//   late N      answers after 1.5 seconds

import fs from 'node:fs';
import readline from 'node:readline';
import { readPosition } from '../../tools/lib/chess.mjs';

const [manner, number = '1'] = process.argv.slice(2);
const say = (text) => process.stdout.write(`${text}\n`);
let chess;
let searches = 0;
let waiting = null;

async function search() {
  const moves = chess.moves({ verbose: true });
  const best = (moves.find(({ san }) => san.endsWith('#')) ?? moves[0]).lan;
  const is = (what) => manner === what && searches >= Number(number);
  if (is('dies')) process.exit(3);
  if (is('once') && !fs.existsSync(process.env.QUILLON_MARK)) {
    fs.writeFileSync(process.env.QUILLON_MARK, '');
    process.exit(3);
  }
  if (is('rubbish')) say('info depth x score pawns many pv e9e9 \u0001');
  if (is('late')) await new Promise((resolve) => setTimeout(resolve, 1500));
  say(`info depth 12 score cp 10 time 1 pv ${best} e9e9`);
  if (is('waits')) waiting = best;
  else say(`bestmove ${is('rubbish') ? 'e9e9' : is('illegal') ? 'a1a8' : best}`);
}

for await (const line of readline.createInterface({ input: process.stdin })) {
  const command = line.split(' ')[0];
  if (command === 'uci') {
    say('id name Fake 1.0\noption name Hash type spin default 16 min 1 max 1024\nuciok');
  }
  if (command === 'isready') say('readyok');
  if (command === 'quit') process.exit(0);
  if (command === 'stop' && waiting) say(`bestmove ${waiting}`);
  if (command === 'position') chess = readPosition(line.slice(9));
  if (command === 'go') {
    searches++;
    await search();
  }
}
