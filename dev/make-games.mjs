// SPDX-License-Identifier: MIT
// Prints games as PGN: random moves, captures preferred, the same games each time.
//
//   node dev/make-games.mjs [games, default 200] [half-moves at most, default 80]

import { Chess } from '../tools/lib/chess.mjs';
import { pick, randomNumbers } from '../tools/lib/random.mjs';

const [games = 200, length = 80] = process.argv.slice(2).map(Number);
const random = randomNumbers(1);
for (let i = 1; i <= games; i++) {
  const chess = new Chess();
  for (let ply = 0; ply < length && !chess.isGameOver(); ply++) {
    const moves = chess.moves();
    const captures = moves.filter((san) => san.includes('x'));
    chess.move(pick(random, captures.length && random() < 0.4 ? captures : moves));
  }
  chess.setHeader('Event', 'made at random');
  chess.setHeader('Round', String(i));
  console.log(`${chess.pgn({ maxWidth: 80 })}\n`);
}
