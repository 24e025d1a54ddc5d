// SPDX-License-Identifier: MIT
//
// Lists of positions: those of the node signature, of random games, and random placements.

import { readFileSync } from 'node:fs';
import { join } from 'node:path';

import { Chess, endOf } from '../../tools/lib/chess.mjs';
import { pick, randomNumbers } from '../../tools/lib/random.mjs';
import { sourceDir } from './talk.mjs';

/** The positions of the node signature. */
export function signaturePositions() {
  return [...readFileSync(join(sourceDir, 'bench/positions.h'), 'utf8')
    .matchAll(/^ {4}"([^"]+)",$/gm)].map((match) => match[1]);
}

/** A game of so many random moves, fewer where it is over before.
 *  @returns {{moves: string[], fens: string[]}} the moves as an engine is told, the positions after
 *      them */
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

/** Positions after every move of games of random moves. */
export function positionsOfRandomGames(count, random = randomNumbers()) {
  const positions = [];
  while (positions.length < count) positions.push(...randomGame(random, 150).fens);
  return positions.slice(0, count);
}

/** Random pieces on random squares: two kings, the side not to move not in check. */
export function randomPlacements(count, random = randomNumbers()) {
  const positions = [];
  while (positions.length < count) {
    const board = new Chess();
    board.clear();
    const squares = [...'abcdefgh'].flatMap((file) => [...'12345678'].map((rank) => file + rank));
    const take = () => squares.splice(Math.floor(random() * squares.length), 1)[0];
    const kings = { w: take(), b: take() };
    for (const color of ['w', 'b']) board.put({ type: 'k', color }, kings[color]);
    const pieces = Math.floor(random() * pick(random, [4, 10, 20, 32]));
    const pawnShare = random();
    for (let i = 0; i < pieces; i++) {
      const square = take();
      const type = random() < pawnShare ? 'p' : pick(random, [...'nnbbrrq']);
      if (type !== 'p' || /[2-7]/.test(square))
        board.put({ type, color: pick(random, ['w', 'b']) }, square);
    }
    const side = pick(random, ['w', 'b']);
    const other = side === 'w' ? 'b' : 'w';
    if (board.isAttacked(kings[other], side)) continue;
    positions.push(`${board.fen().split(' ')[0]} ${side} - - 0 1`);
  }
  return positions;
}
