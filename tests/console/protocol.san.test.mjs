// SPDX-License-Identifier: MIT
// Bad positions and texts that are none: what must never crash, hang or touch memory that it
// doesn't own. Short enough for the sanitizer builds, which run this file too. More bad input, and
// commands at bad moments, stand in tests/conversations.

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { perft, showBoard, startEngine } from './engine.mjs';
import { pick, randomNumbers } from './random.mjs';
import { Rules } from './rules.mjs';
import { bestMovePattern, checkSearch, go, noMove, readSearch } from './search.mjs';

// After whatever was sent before, a proper position works: board, counts and search.
async function checkRecovered(engine) {
  const fen = 'r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1';
  const rules = new Rules(fen);
  engine.send(rules.positionCommand());
  assert.deepEqual(await showBoard(engine), rules.picture());
  assert.equal((await perft(engine, 2)).count, 2039);
  checkSearch(rules, await go(engine, 'depth 4'));
}

describe('positions that cannot be played on', () => {
  const fens = [
    ['no men at all', '8/8/8/8/8/8/8/8 w - - 0 1'],
    ['no white king', '4k3/8/8/8/8/8/8/R7 w - - 0 1'],
    ['no black king', '8/8/8/8/8/8/8/4K3 b - - 0 1'],
    ['two white kings', '4k3/8/8/8/8/8/8/K3K3 w - - 0 1'],
    ['nine black kings', 'kkkkkkkk/k7/8/8/8/8/8/4K3 b - - 0 1'],
    ['a letter that is no man', '4k3/8/8/3x4/8/8/8/4K3 w - - 0 1'],
    ['a board of letters that are no men', 'xyzxyzxy/abcdefgh/8/8/8/8/8/4K2k w - - 0 1'],
    ['the digits 9 and 0', '4k3/9/8/0/8/8/8/4K3 w - - 0 1'],
    ['a white pawn on rank 8', 'P3k3/8/8/8/8/8/8/4K3 w - - 0 1'],
    ['a white pawn on rank 1', '4k3/8/8/8/8/8/8/P3K3 b - - 0 1'],
    ['a black pawn on rank 1', '4k3/8/8/8/8/8/8/p3K3 w - - 0 1'],
    ['a black pawn on rank 8', 'p3k3/8/8/8/8/8/8/4K3 w - - 0 1'],
    ['the side not to move in check by a rook', '4k3/8/8/8/8/8/8/4RK2 w - - 0 1'],
    ['the side not to move in check by a pawn', '8/8/8/4k3/3P4/8/8/4K3 w - - 0 1'],
    ['kings side by side', '8/8/8/3kK3/8/8/8/8 w - - 0 1'],
    // A rank too long shifts the next one by a square, and its last man falls on another.
    ['two men on one square', 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP1/RNBQKBNR w - - 0 1'],
  ];
  test('go answers "bestmove a1a1" at once, perft counts 0, the next position works', async (t) => {
    const engine = await startEngine(t);
    for (const [what, fen] of fens) {
      engine.send(`position fen ${fen}`);
      for (const words of ['', 'infinite', 'depth 5', 'ponder']) {
        const { best, ponder, infos } = await go(engine, words, 5000);
        assert.deepEqual([best, ponder, infos], [noMove, null, []], `${what}: go ${words}`);
      }
      for (const depth of [1, 3]) assert.equal((await perft(engine, depth)).count, 0, what);
      await checkRecovered(engine);
    }
    await engine.quit();
  });

  test('the same after moves that lead to such a position', async (t) => {
    const engine = await startEngine(t);
    for (const [what, line] of [
      ['a pawn left on rank 8', 'fen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1 moves a7a8'],
      ['a pinned man that left', 'fen 4k3/4r3/8/8/8/8/4B3/4K3 w - - 0 1 moves e2d3'],
      ['a king that was taken', 'fen 4k3/8/8/8/8/8/4R3/4K3 w - - 0 1 moves e2e8'],
    ]) {
      engine.send(`position ${line}`);
      const { best, infos } = await go(engine, '', 5000);
      assert.deepEqual([best, infos], [noMove, []], what);
      assert.equal((await perft(engine, 1)).count, 0, what);
      await checkRecovered(engine);
    }
    await engine.quit();
  });

  test('rights whose king or rook is not at home are dropped', async (t) => {
    const engine = await startEngine(t);
    for (const [board, kept] of [
      ['4k3/8/8/8/8/8/8/4K3', '-'], // no rooks
      ['r3k2r/8/8/8/8/8/8/R4K1R', 'kq'], // king beside its square
      ['r3k1r1/8/8/8/8/8/8/1R2K2R', 'Kq'], // rooks beside theirs
      ['N3k2N/8/8/8/8/8/8/n3K2n', '-'], // other men in the corners
    ]) {
      const rules = new Rules(`${board} w ${kept} - 0 1`);
      engine.send(`position fen ${board} w KQkq - 0 1`);
      assert.equal((await perft(engine, 2)).count, rules.countLeaves(2), board);
      checkSearch(rules, await go(engine, 'depth 6'));
    }
    await engine.quit();
  });
});

describe('text that is no position', () => {
  const lines = [
    'position fen',
    'position fen ',
    'position fen moves',
    'position fen moves e2e4',
    'position fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR',
    'position fen w',
    'position fen -',
    'position fen 8 8',
    'position fen x x x x',
    'position fen / / / /',
    'position fen //////// w - - 0 1',
    'position fen //////////////////////////////// w - - 0 1',
    `position fen ${'Q'.repeat(300)} w - - 0 1`,
    `position fen ${'8'.repeat(300)}K w - - 0 1`,
    `position fen ${'x'.repeat(1000)} w - - 0 1`,
    'position fen 4k3ppppppppppppppppp/8/8/8/8/8/8/4K3 w - - 0 1',
    'position fen 4k3/8/8/8/8/8/8/4K3QQQQQQQQQQ w - - 0 1',
    'position fen 4k3/8/8/8/8/8/8/4K3 w - zz 0 1',
    'position fen 4k3/8/8/8/8/8/8/4K3 w - e 0 1',
    'position fen 4k3/8/8/8/8/8/8/4K3 w - \xff\xff 0 1',
    'position fen 4k3/8/8/8/8/8/8/4K3 w - e9 0 1',
    'position fen 4k3/8/8/8/8/8/8/4K3 w - a1 0 1',
    'position fen 4k3/8/8/8/8/8/8/4K3 b - h8 0 1',
    'position fen 4k3/8/8/8/8/8/8/4K3 w KKKKKKKKKKKKKKKK - 99999 1',
    'position fen 4k3/8/8/8/8/8/8/4K3 w - - -99999 1',
    'position fen 4k3/8/8/8/8/8/8/4K3 w - - 2147483647 -2147483648',
    'position fen 4k3/8/8/8/8/8/8/4K3 w - - 300 1 and more words behind it',
    `position fen 8/8/8/8 w - - 0 ${'1 '.repeat(2000)}`,
  ];
  test('a broken FEN is survived, and the next proper position works', async (t) => {
    const engine = await startEngine(t);
    for (const line of lines) {
      engine.sendBytes(Buffer.from(`${line}\n`, 'latin1'));
      // What stands on the board then is nobody's promise: it must be drawn, counted and
      // searched without harm, and a search must end.
      engine.send('showboard', 'isready');
      await engine.until('readyok');
      await perft(engine, 1);
      engine.send('go movetime 20');
      readSearch(await engine.until(bestMovePattern, 5000));
      await checkRecovered(engine);
    }
    await engine.quit();
  });

  test('move texts of any bytes and length are survived', async (t) => {
    const engine = await startEngine(t);
    const random = randomNumbers();
    const words = [
      'e', 'e2', 'e2e', 'e9e9', 'i1i9', 'a1a1', '0000', 'e1g1', 'e8c8', 'e2e4x', 'a7a8q', 'a2a4Q',
      'e7e8k', 'e2e4qqqqqqqq', '\xff\xff\xff\xff', '\x80\x7f\x01\x02q', '(none)', 'NULL', 'O-O',
      'x'.repeat(5000),
    ];
    for (let i = 0; i < 60; i++) {
      const moves = Array.from({ length: 1 + Math.floor(random() * 40) }, () =>
        random() < 0.5 ? pick(random, words) : randomSquares(random),
      );
      const text = `position startpos moves ${moves.join(' ')}`;
      engine.sendBytes(Buffer.from(`${text}\n`, 'latin1'));
      engine.send('showboard', 'isready');
      await engine.until('readyok');
      await perft(engine, 1);
      engine.send('go depth 2');
      readSearch(await engine.until(bestMovePattern, 5000));
    }
    await checkRecovered(engine);
    await engine.quit();
  });

  function randomSquares(random) {
    const square = () => pick(random, 'abcdefgh') + pick(random, '12345678');
    return square() + square() + pick(random, ['', '', '', 'q', 'n']);
  }
});

test('perft of depth 0 or less counts one node', async (t) => {
  const engine = await startEngine(t);
  for (const depth of [0, -1, -3, -2147483648]) {
    const { depth: said, count } = await perft(engine, depth);
    assert.deepEqual([said, count], [depth, 1]);
  }
  await engine.quit();
});
