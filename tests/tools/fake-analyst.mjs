// SPDX-License-Identifier: MIT
// An engine for the tests of analysis. It shows 10 centipawns for the mover and the first legal
// move, and its arguments say what it does otherwise:
//
//   dies N      ends with status 3 at its search number N
//   rubbish     answers with moves that don't exist
//   waits N     from its search number N on answers only to "stop"

import { createRequire } from 'node:module';
import readline from 'node:readline';

const { Chess } = createRequire(new URL('../../tools/package.json', import.meta.url))('chess.js');
const [manner, number] = process.argv.slice(2);
const say = (text) => process.stdout.write(`${text}\n`);
let chess = new Chess();
let searches = 0;
let waiting = null;

for await (const line of readline.createInterface({ input: process.stdin })) {
  const [command, ...words] = line.split(' ');
  if (command === 'uci') {
    say('id name Fake 1.0');
    say('uciok');
  }
  if (command === 'isready') say('readyok');
  if (command === 'quit') process.exit(0);
  if (command === 'stop' && waiting) {
    say(`bestmove ${waiting}`);
    waiting = null;
  }
  if (command === 'position') {
    const [fen, moves] = words.slice(1).join(' ').split(' moves ');
    chess = new Chess(fen);
    for (const move of moves?.split(' ') ?? []) chess.move(move);
  }
  if (command === 'go') {
    searches++;
    const best = chess.moves({ verbose: true })[0].lan;
    if (manner === 'dies' && searches === Number(number)) process.exit(3);
    if (manner === 'rubbish') {
      say('info depth x score pawns many pv e9e9 \u0001');
      say('bestmove e9e9');
      continue;
    }
    say(`info depth 12 score cp 10 time 1 pv ${best} e9e9`);
    if (manner === 'waits' && searches >= Number(number)) waiting = best;
    else say(`bestmove ${best}`);
  }
}
