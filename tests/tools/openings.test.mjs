// SPDX-License-Identifier: MIT
// The names of openings: every line is legal and in order, and games are known by their positions.

import assert from 'node:assert/strict';
import test from 'node:test';
import { Chess } from '../../tools/lib/chess.mjs';
import { openingOf, openings, prepareOpenings } from '../../tools/lib/openings.mjs';

/** The positions of a game, from moves in standard notation. */
function positionsOf(moves) {
  const chess = new Chess();
  return [chess.fen(), ...moves.split(' ').map((san) => chess.move(san).after)];
}

test('all lines are legal, in standard notation, and lead to positions of their own', () => {
  assert.ok(openings.length >= 200);
  const names = new Set();
  const positions = new Set();
  for (const { name, moves } of openings) {
    const chess = new Chess();
    for (const san of moves) assert.equal(chess.move(san, { strict: true }).san, san, name);
    assert.match(name, /^[A-Z][-\w '.,äéöü]+$/, name);
    names.add(name);
    positions.add(chess.fen().split(' ').slice(0, 4).join(' '));
  }
  assert.deepEqual([names.size, positions.size], [openings.length, openings.length]);
});

test('a game has the name of its last position that has one, whatever the order of moves', () => {
  for (const [moves, name, ply] of [
    ['e4 e5 Nf3 Nc6 Bb5 a6 Bxc6 dxc6 O-O', 'Ruy Lopez, Exchange Variation', 7],
    ['d4 d5 e4 e6', 'French Defence, Normal Variation', 4],
    ['Nf3 d5 d4 Nf6 c4 e6 Nc3 Be7 Bf4 O-O', "Queen's Gambit Declined, Harrwitz Attack", 9],
    ['c4 e6 Nc3 d5 d4 Nf6 cxd5 exd5', "Queen's Gambit Declined, Exchange Variation", 8],
    ['e4 d5 exd5 c6 d4 cxd5 c4', 'Caro-Kann Defence, Panov Attack', 7],
    // A move more than the usual line, and the other side to move in between.
    ['e4 c5 Nf3 d6 Bc4 a6 Bf1 a5', 'Sicilian Defence', 2],
    ['d4 e6 e4 d5 exd5 exd5 Nf3 Nf6', 'French Defence, Exchange Variation', 5],
  ]) {
    assert.deepEqual(openingOf(positionsOf(moves)), { name, ply }, moves);
  }
  assert.equal(openingOf(positionsOf('Nh3 d5')), null);
});

test('making the table ahead changes nothing', async () => {
  await prepareOpenings();
  assert.equal(openingOf(positionsOf('e4 c5'))?.name, 'Sicilian Defence');
});
