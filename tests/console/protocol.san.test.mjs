// SPDX-License-Identifier: MIT
// Illegal positions and malformed input must never cause a crash, a hang or a wrong memory access.
// The sanitizer builds run this file too.

import assert from 'node:assert/strict';
import { pick, randomNumbers } from '../../tools/lib/random.mjs';
import { noMove } from './search.mjs';
import { conversation } from './talk.mjs';

// Whatever was sent before, a legal position works: board, counts and search.
async function checkRecovered(talk) {
  talk.send('position fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1');
  await talk.board();
  await talk.checkPerft(2);
  await talk.go('depth 4');
}

const unplayable = [
  ['no pieces at all', '8/8/8/8/8/8/8/8 w - - 0 1'],
  ['no white king', '4k3/8/8/8/8/8/8/R7 w - - 0 1'],
  ['no black king', '8/8/8/8/8/8/8/4K3 b - - 0 1'],
  ['two white kings', '4k3/8/8/8/8/8/8/K3K3 w - - 0 1'],
  ['nine black kings', 'kkkkkkkk/k7/8/8/8/8/8/4K3 b - - 0 1'],
  ['a letter that names no piece', '4k3/8/8/3x4/8/8/8/4K3 w - - 0 1'],
  ['a board of letters that name no pieces', 'xyzxyzxy/abcdefgh/8/8/8/8/8/4K2k w - - 0 1'],
  ['the digits 9 and 0', '4k3/9/8/0/8/8/8/4K3 w - - 0 1'],
  ['a white pawn on rank 8', 'P3k3/8/8/8/8/8/8/4K3 w - - 0 1'],
  ['a white pawn on rank 1', '4k3/8/8/8/8/8/8/P3K3 b - - 0 1'],
  ['a black pawn on rank 1', '4k3/8/8/8/8/8/8/p3K3 w - - 0 1'],
  ['a black pawn on rank 8', 'p3k3/8/8/8/8/8/8/4K3 w - - 0 1'],
  ['the side not to move in check by a rook', '4k3/8/8/8/8/8/8/4RK2 w - - 0 1'],
  ['the side not to move in check by a pawn', '8/8/8/4k3/3P4/8/8/4K3 w - - 0 1'],
  ['kings side by side', '8/8/8/3kK3/8/8/8/8 w - - 0 1'],
  // A rank that is too long shifts the next one, whose last piece lands on another.
  ['two pieces on one square', 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP1/RNBQKBNR w - - 0 1'],
  // Moves that lead to such a position
  ['a pawn left on rank 8', '4k3/P7/8/8/8/8/8/4K3 w - - 0 1 moves a7a8'],
  ['a pinned piece that moved away', '4k3/4r3/8/8/8/8/4B3/4K3 w - - 0 1 moves e2d3'],
  ['a king that was taken', '4k3/8/8/8/8/8/4R3/4K3 w - - 0 1 moves e2e8'],
];
conversation('an unplayable position has no moves, and the next one works', async (talk) => {
  for (const [what, fen] of unplayable) {
    talk.send(`position fen ${fen}`);
    for (const words of ['', 'infinite', 'depth 5', 'ponder']) {
      const found = await talk.go(words, { stopped: true, silent: true, patience: 5000 });
      assert.deepEqual([found.best, found.ponder], [noMove, null], `${what}: go ${words}`);
    }
    for (const depth of [1, 3]) assert.equal((await talk.perft(depth)).count, 0, what);
    await checkRecovered(talk);
  }
});

conversation('castling rights without king and rook at home are dropped', async (talk) => {
  for (const [board, kept] of [
    ['4k3/8/8/8/8/8/8/4K3', '-'], // no rooks
    ['r3k2r/8/8/8/8/8/8/R4K1R', 'kq'], // king beside its square
    ['r3k1r1/8/8/8/8/8/8/1R2K2R', 'Kq'], // rooks beside theirs
    ['N3k2N/8/8/8/8/8/8/n3K2n', '-'], // other pieces in the corners
  ]) {
    talk.send(`position fen ${board} w KQkq - 0 1`);
    await talk.checkPerft(2, `fen ${board} w ${kept} - 0 1`);
    await talk.go('depth 6');
  }
});

// The board is unspecified then, but it can be drawn, counted and searched, and the search ends.
async function checkSurvived(talk, line, limits) {
  talk.send(line);
  talk.position = 'unspecified';
  talk.send('showboard');
  talk.send('isready');
  await talk.until('readyok');
  await talk.perft(1);
  await talk.go(limits, { stopped: true, patience: 5000 });
}

const kings = '4k3/8/8/8/8/8/8/4K3';
const brokenFens = [
  '', ' ', ' moves', ' moves e2e4', ' rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR', ' w', ' -',
  ' 8 8', ' x x x x', ' / / / /', ' //////// w - - 0 1', ` ${'/'.repeat(32)} w - - 0 1`,
  ` ${'Q'.repeat(300)} w - - 0 1`, ` ${'8'.repeat(300)}K w - - 0 1`,
  ` ${'x'.repeat(1000)} w - - 0 1`,
  ' 4k3ppppppppppppppppp/8/8/8/8/8/8/4K3 w - - 0 1', ` ${kings}QQQQQQQQQQ w - - 0 1`,
  ` ${kings} w - zz 0 1`, ` ${kings} w - e 0 1`, ` ${kings} w - \xff\xff 0 1`,
  ` ${kings} w - e9 0 1`, ` ${kings} w - a1 0 1`, ` ${kings} b - h8 0 1`,
  ` ${kings} w KKKKKKKKKKKKKKKK - 99999 1`,
  ` ${kings} w - - -99999 1`, ` ${kings} w - - 2147483647 -2147483648`,
  ` ${kings} w - - 300 1 and more words after it`, ` 8/8/8/8 w - - 0 ${'1 '.repeat(2000)}`,
];
conversation('a broken FEN does no harm, and the next legal position works', async (talk) => {
  for (const text of brokenFens) {
    await checkSurvived(talk, `position fen${text}`, 'movetime 20');
    await checkRecovered(talk);
  }
});

conversation('moves of any bytes and length do no harm', async (talk) => {
  const random = randomNumbers();
  const words = [
    'e', 'e2', 'e2e', 'e9e9', 'i1i9', 'a1a1', '0000', 'e1g1', 'e8c8', 'e2e4x', 'a7a8q', 'a2a4Q',
    'e7e8k', 'e2e4qqqqqqqq', '\xff\xff\xff\xff', '\x80\x7f\x01\x02q', '(none)', 'NULL', 'O-O',
    'x'.repeat(5000),
  ];
  const square = () => pick(random, 'abcdefgh') + pick(random, '12345678');
  const move = () => square() + square() + pick(random, ['', '', '', 'q', 'n']);
  for (let i = 0; i < 60; i++) {
    const moves = Array.from({ length: 1 + Math.floor(random() * 40) }, () =>
      random() < 0.5 ? pick(random, words) : move(),
    );
    await checkSurvived(talk, `position startpos moves ${moves.join(' ')}`, 'depth 2');
  }
  await checkRecovered(talk);
});
