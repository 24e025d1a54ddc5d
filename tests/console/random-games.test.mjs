// SPDX-License-Identifier: MIT
// Random games, checked against chess.js, an independent implementation of the rules. The long run
// plays more of them and counts more positions in depth.

import assert from 'node:assert/strict';
import { randomNumbers, seed } from '../../tools/lib/random.mjs';
import { randomGame } from './positions.mjs';
import { conversation, isLong } from './talk.mjs';

const [games, sample] = isLong ? [2000, 4] : [200, 16];
const longestGame = 160;

// After every move the engine's board and number of legal moves must be those of chess.js. The
// number alone doesn't identify the moves, so in each `sample`-th position the leaves at depth 2 are
// counted too, from the moves of the game and from a FEN: a wrong move, a lost castling right or a
// lost en passant square changes that count.
const title = `board and legal moves agree with chess.js in ${games} random games`;
conversation(title, async (talk, _, t) => {
  const random = randomNumbers();
  let positions = 0;
  for (let game = 0; game < games; game++) {
    talk.forget();
    const { moves, fens } = randomGame(random, longestGame);
    t.diagnostic(`seed ${seed}, game ${game}, ${moves.length} plies`);
    for (const [ply, fen] of fens.entries()) {
      talk.send(`position startpos moves ${moves.slice(0, ply + 1).join(' ')}`);
      await talk.board(fen);
      await talk.checkPerft(1, `fen ${fen}`);
      if (positions++ % sample) continue;
      await talk.checkPerft(2, `fen ${fen}`);
      talk.send(`position fen ${fen}`);
      await talk.board(fen);
      await talk.checkPerft(2);
    }
  }
  assert.ok(positions > 20 * games, `only ${positions} positions`);
});
