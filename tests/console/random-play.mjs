// SPDX-License-Identifier: MIT
// Random games in which the engine follows every move: the work of the two random game tests.

import assert from 'node:assert/strict';
import { perft, showBoard, startEngine } from './engine.mjs';
import { pick, randomNumbers, seed } from './random.mjs';
import { Rules } from './rules.mjs';

const longestGame = 160;

// After every move the engine's board and its number of legal moves must be those of chess.js.
// A number doesn't tell the moves themselves, so in each `sample`-th position all continuations
// of two moves are counted too, once from the moves of the game and once from a FEN: a wrong
// move in the list, a lost right or en passant chance gives other numbers a move later.
export async function playRandomGames(t, games, sample) {
  const engine = await startEngine(t);
  const random = randomNumbers();
  const endings = new Map();
  let positions = 0;
  for (let game = 0; game < games; game++) {
    const rules = new Rules();
    let result = null;
    while (rules.moves.length < longestGame) {
      rules.play(pick(random, rules.legalMoves()).text);
      const where = `seed ${seed}, game ${game}: ${rules.positionCommand()}\n${rules.fen()}`;
      engine.send(rules.positionCommand());
      const { board, count } = await perft(engine, 1);
      assert.deepEqual(board, rules.picture(), where);
      assert.equal(count, rules.countLeaves(1), where);
      if (positions++ % sample === 0) {
        const expected = rules.countLeaves(2);
        assert.equal((await perft(engine, 2)).count, expected, where);
        engine.send(`position fen ${rules.fen()}`);
        assert.deepEqual(await showBoard(engine), rules.picture(), where);
        assert.equal((await perft(engine, 2)).count, expected, `by FEN, ${where}`);
      }
      result = rules.result();
      // Repetition and fifty moves end nothing here: the moves go on being legal.
      if (result === 'mate' || result === 'stalemate' || result === 'too few men') break;
    }
    endings.set(result ?? 'longest', (endings.get(result ?? 'longest') ?? 0) + 1);
  }
  await engine.quit();
  t.diagnostic(`${positions} positions; ends: ${[...endings].flat().join(' ')}`);
}
