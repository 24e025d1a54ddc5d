// SPDX-License-Identifier: MIT
//
// Lists of positions: those of the node signature and of random games.

import { readFileSync } from 'node:fs';
import { join } from 'node:path';

import { Chess, endOf } from '../../tools/lib/chess.mjs';
import { pick } from '../../tools/lib/random.mjs';
import { sourceDir } from './talk.mjs';

/** The positions of the node signature. */
export function signaturePositions() {
  return [...readFileSync(join(sourceDir, 'bench/positions.h'), 'utf8')
    .matchAll(/^ {4}"([^"]+)",$/gm)].map((match) => match[1]);
}

/** A game of random moves, at most `count`.
 *  @returns {{moves: string[], fens: string[]}} the moves in UCI notation, positions after them */
export function randomGame(random, count) {
  const chess = new Chess();
  const game = { moves: [], fens: [] };
  while (game.moves.length < count && !endOf(chess)) {
    const { lan, after } = chess.move(pick(random, chess.moves()));
    game.moves.push(lan);
    game.fens.push(after);
  }
  return game;
}
