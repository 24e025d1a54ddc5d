// SPDX-License-Identifier: MIT
// Reading games from a text that arrives in pieces.

import assert from 'node:assert/strict';
import test from 'node:test';
import { listGames } from '../../tools/lib/game-tree.mjs';
import { streamGames } from '../../tools/lib/pgn-stream.mjs';
import { pick, randomNumbers, seed } from '../../tools/lib/random.mjs';

async function partsOf(pieces) {
  const parts = [];
  for await (const part of streamGames(pieces)) parts.push(part);
  return parts;
}

function piecesOf(text, size) {
  return Array.from({ length: Math.ceil(text.length / size) }, (_, i) =>
    text.slice(i * size, (i + 1) * size),
  );
}

const games = `[White "a"]\r\n\r\n1. e4 {1. d4\n[White "no"]\n} (1. c4 1-0) 1-0 1. d4 d5 1/2-1/2
% 1. h4
; [White "no"]
[White "b "c" d"]
1. Nf3 *
[Event "x"]\n[Event "y"]\n\n1. g3`;

test('the sizes of the pieces make no difference, and each game has its place', async () => {
  const random = randomNumbers();
  const words = ['{', '}', '(', ')', '[White "x"]', '\n[Event "y"]\n', '1-0', '*', '"', '%', '\n'];
  for (let i = 0; i < 200; i++) {
    let text = games;
    for (let left = i % 10; left; left--) {
      const at = Math.floor(random() * text.length);
      text = text.slice(0, at) + pick(random, words) + text.slice(at + Math.floor(random() * 4));
    }
    const expected = listGames(text).map(({ start, end }) => {
      const before = text.slice(0, start).split('\n');
      const place = { line: before.length, column: before.at(-1).length + 1, end };
      return { text: text.slice(start, end), ...place };
    });
    const found = await partsOf(piecesOf(text, 1 + Math.floor(random() * 40)));
    const real = found.filter((part) => listGames(part.text).length);
    assert.deepEqual(
      real.map(({ isGame: _, isCut: __, ...part }) => part),
      expected,
      `seed ${seed}, text ${i}: ${text}`,
    );
  }
});

test('a byte order mark is skipped, and other text is told from games', async () => {
  const lines = ['\uFEFFDear Sir,', '[White "a"]', '1. e4 *', '{so}', '----- \0\0', '1. d4'];
  const parts = await partsOf([lines.join('\r\n')]);
  assert.deepEqual(parts.map(({ text, line, isGame }) => [text, line, isGame]), [
    ['Dear Sir,', 1, false],
    ['[White "a"]\r\n1. e4 *\r\n{so}', 2, true],
    ['----- \0\0\r\n1. d4', 5, true],
  ]);
  assert.deepEqual(await partsOf([]), []);
  assert.deepEqual(await partsOf(['\r\n% x\r\n', ' == \n']), []);
});

test('a game comes as soon as the next one begins; little of 4 megabytes is held', async () => {
  const game = `[White "a"]\n\n${'1. e4 e5 '.repeat(100)}*\n\n`;
  const piece = game.repeat(Math.ceil(2 ** 16 / game.length));
  let given = 0;
  function* pieces() {
    for (; given < 4e6; given += piece.length) yield piece;
  }
  let count = 0;
  for await (const { end } of streamGames(pieces())) {
    count++;
    assert.ok(given + piece.length - end < 3 * piece.length);
  }
  assert.equal(count, given / game.length);
});

test('a game without an end is cut off after 16 million characters', async () => {
  const piece = 'a comment\n'.repeat(1e5);
  function* pieces() {
    yield '[White "a"]\n\n1. e4 {';
    for (let i = 0; i < 18; i++) yield piece;
    yield '} *\n\n[White "b"]\n\n1. d4 *';
  }
  const parts = await partsOf(pieces());
  assert.deepEqual(parts.map(({ isGame, isCut }) => [isGame, isCut]), [
    [true, true], [false, false], [true, false],
  ]);
  assert.equal(parts[2].line, 18 * 1e5 + 5);
});
