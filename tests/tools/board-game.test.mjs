// SPDX-License-Identifier: MIT
// The parts of the board that need no browser: rules, scores, clocks, and what it sends to the
// engine and to quillon_explain.

import assert from 'node:assert/strict';
import test from 'node:test';
import { GameTree } from '../../tools/lib/game-tree.mjs';
import { Session, goOf, readRequest } from '../../tools/page/session.mjs';
import { Clock, timeText } from '../../tools/page/web/clock.mjs';
import {
  capturedOf, endingOf, findMove, positionAt, quietEnd, readFen, readLine, readTyped, startFen,
  timeOver,
} from '../../tools/page/web/rules.mjs';
import { scoreText, scoreWords } from '../../tools/page/web/score.mjs';

/** The last position of a game. */
function after(moves, fen) {
  const game = new GameTree(fen);
  const line = game.playLine(game.root, moves.split(' '));
  assert.equal(line.length, moves.split(' ').length);
  return line.at(-1);
}

test('a FEN may lack its counters; an impossible one is refused with the reason', () => {
  assert.equal(readFen('  4k3/8/8/8/8/8/8/4K2R  w K - '), '4k3/8/8/8/8/8/8/4K2R w K - 0 1');
  assert.equal(readFen(startFen), startFen);
  for (const [fen, reason] of [
    ['', /six fields/],
    ['8/8/8/8/8/8/8/4K3 w - - 0 1', /king/i],
    ['4k3/8/8/8/8/8/8/4K2P w - - 0 1', /pawn/i],
    ['4k3/8/8/8/8/8/8/4K3 x - - 0 1', /side.to.move/],
    ['4k3/8/8/8/4R3/8/8/4K3 w - - 0 1', /in check/],
    ['4k3/pppppppp/p7/8/8/8/8/4K3 w - - 0 1', /Black has more pieces/],
    ['QQQQkQQQ/QQQQQQQQ/QQ6/8/8/8/8/4K3 b - - 0 1', /White has more pieces/],
  ]) {
    assert.throws(() => readFen(fen), reason, fen);
  }
});

test('every end of a game by the rules is recognised', () => {
  // Sam Loyd's stalemate in ten moves.
  const loyd = 'e3 a5 Qh5 Ra6 Qxa5 h5 Qxc7 Rah6 h4 f6 Qxd7+ Kf7 Qxb7 Qd3 Qxb8 Qh7 Qxc8 Kg6 Qe6';
  const back = 'Nf3 Nf6 Ng1 Ng8';
  for (const [moves, fen, result, text] of [
    ['f3 e5 g4 Qh4#', startFen, '0-1', /Checkmate: Black wins/],
    [loyd, startFen, '1/2-1/2', /stalemate/],
    [`${back} ${back}`, startFen, '1/2-1/2', /threefold/],
    ['Rf1', '6k1/8/8/8/8/8/r7/4K2R w - - 99 80', '1/2-1/2', /fifty/],
    ['Kxe2', '4k3/8/8/8/8/8/4p3/4K3 w - - 0 1', '1/2-1/2', /insufficient material/],
  ]) {
    const ending = endingOf(after(moves, fen));
    assert.equal(ending.result, result);
    assert.match(ending.text, text);
  }
  assert.equal(endingOf(after(back)), null);
  assert.deepEqual(timeOver(startFen, 'b'), { result: '1-0', text: 'White wins on time' });
  assert.equal(timeOver('4k3/8/8/8/8/8/8/QQ2K3 w - - 0 1', 'w').result, '1/2-1/2');
});

test('an engine gets the moves since the last irreversible one, so it sees repetitions', () => {
  assert.deepEqual(positionAt(after('e4 e5 Nf3 Nc6 Ng1 Nb8')), {
    fen: 'rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2',
    moves: ['g1f3', 'b8c6', 'f3g1', 'c6b8'],
  });
  assert.deepEqual(positionAt(new GameTree().root), { fen: startFen, moves: [] });
});

test('lines are numbered as people number them and end before an illegal move', () => {
  const text = (moves, line) =>
    readLine(after(moves).fen, line).map(({ number, san }) => `${number}${san}`).join(' ');
  assert.equal(text('e4 e5 Nf3', ['b8c6', 'f1b5', 'a7a6']), '2...Nc6 3.Bb5 a6');
  assert.equal(text('e4 e5', ['g1f3', 'b8c6', 'a1a1']), '2.Nf3 Nc6');
});

test('captures at the end of a line do not count while they can be recaptured', () => {
  const end = (moves, line) => quietEnd(readLine(after(moves).fen, line))?.split(' ')[0] ?? null;
  // The knight on e5 can be captured, the pawn on e5 can't.
  const [before, open] = ['r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R', 'f3e5'];
  assert.equal(end('e4 e5 Nf3', ['b8c6', open]), before);
  assert.match(end('e4 e5 Nf3', ['b8c6', open, 'c6e5']), /^r1bqkbnr\/pppp1ppp\/8\/4n3/);
  assert.equal(end('e4 e5 Nf3 Nc6', [open]), null);
});

test('moves are typed in any usual way', () => {
  const { fen } = after('e4 e5 Nf3 Nc6 Bb5 a6');
  const typed = ['O-O', '0-0', 'nc3', 'd2-d4', 'b5xc6', 'Bxc6'];
  const sans = typed.map((text) => findMove(fen, readTyped(fen, text)).san);
  assert.deepEqual(sans, ['O-O', 'O-O', 'Nc3', 'd4', 'Bxc6', 'Bxc6']);
  for (const text of ['', 'Ke5', 'hello']) assert.equal(readTyped(fen, text), null);
});

test('captured pieces are counted; a promoted pawn is not one', () => {
  assert.deepEqual(capturedOf(startFen), { w: [], b: [], lead: 0 });
  const { fen } = after('e4 d5 exd5 Qxd5');
  assert.deepEqual(capturedOf(fen), { w: ['p'], b: ['p'], lead: 0 });
  const promoted = 'rnbqkbnr/1ppppppp/8/8/8/8/1PPPPPPP/QNBQKBNR b - - 0 1';
  assert.deepEqual(capturedOf(promoted), { w: ['r'], b: ['p'], lead: 4 });
});

test('scores are shown from White\'s view', () => {
  for (const [score, text, words] of [
    [{ cp: 35 }, '+0.35', 'White is 0.35 pawns ahead'],
    [{ cp: -120 }, '\u22121.20', 'Black is 1.20 pawns ahead'],
    [{ cp: 0 }, '0.00', 'even'],
    [{ mate: -3 }, '\u2212M3', 'Black mates in 3'],
    [{ mate: 0, winner: 'w' }, '1-0', 'White has mated'],
  ]) {
    assert.deepEqual([scoreText(score), scoreWords(score)], [text, words]);
  }
});

test("a clock counts down the mover's time, adds the increment, and can be stopped", () => {
  let now = 0;
  const clock = new Clock({ base: 60000, increment: 2000 }, () => now);
  now = 5000;
  assert.equal(clock.left('w'), 60000);
  clock.start('w');
  now = 8000;
  assert.equal(clock.left('w'), 57000);
  clock.moved('w');
  assert.deepEqual(clock.record, { base: 60000, increment: 2000, w: 59000, b: 60000 });
  clock.start('b');
  now = 70000;
  assert.equal(clock.left('b'), -2000);
  clock.stop();
  now = 99000;
  assert.deepEqual([clock.left('w'), clock.left('b')], [59000, -2000]);
  const shown = [300000, 299001, 20000, 9310, 50, 0, -5, 3723000].map(timeText);
  assert.equal(shown.join(' '), '5:00 5:00 0:20 0:09.4 0:00.1 0:00.0 0:00.0 1:02:03');
});

const request = {
  type: 'search',
  id: 1,
  fen: startFen,
  moves: ['e2e4'],
  limits: { kind: 'movetime', movetime: 1000 },
  lines: 3,
};

test('an engine is told nothing but positions, moves and limits', async () => {
  const { turn, lines, moves } = readRequest(request);
  assert.deepEqual([turn, lines, moves], ['b', 3, ['e2e4']]);
  for (const change of [
    { id: -1 }, { id: '1' }, { fen: `${startFen}\nquit` }, { fen: 'startpos' }, { fen: 7 },
    { moves: ['e2e4\nquit'] }, { moves: ['e2e4 e7e5'] }, { moves: 'e2e4' },
    { moves: Array(1001).fill('e2e4') }, { limits: undefined },
    { limits: { kind: 'nodes', nodes: 1 } }, { limits: { kind: 'constructor' } },
    { limits: { kind: 'depth', depth: 0 } },
    { limits: { kind: 'depth', depth: '5\nquit' } },
    { limits: { kind: 'movetime', movetime: 1.5 } },
    { limits: { kind: 'clock', wtime: 1, btime: -1, winc: 0, binc: 0 } },
    { lines: 6 }, { lines: '1' },
  ]) {
    assert.throws(() => readRequest({ ...request, ...change }), Error, JSON.stringify(change));
  }
  const asked = [];
  const start = () => Promise.reject(new Error('none'));
  const explain = async (fens) => asked.push(fens);
  const session = new Session({ start, explain, hash: 1, threads: 1, stopPatience: 1 }, () => {});
  for (const fens of [`${startFen}`, [], [startFen, startFen, startFen], [`${startFen}\n`], ['x']]) {
    assert.throws(() => session.take({ type: 'explain', id: 1, fens }), /position/);
  }
  session.take({ type: 'explain', id: 1, fens: [startFen] });
  assert.deepEqual(asked, [[startFen]]);
  await session.end();
});

test('a search that starts over has the remaining time', () => {
  assert.equal(goOf({ kind: 'movetime', movetime: 1000 }, 'w', 300), 'movetime 700');
  assert.equal(goOf({ kind: 'movetime', movetime: 1000 }, 'w', 5000), 'movetime 10');
  const clock = { kind: 'clock', wtime: 9000, btime: 8000, winc: 1, binc: 2 };
  assert.equal(goOf(clock, 'b', 500), 'wtime 9000 btime 7500 winc 1 binc 2');
  assert.equal(goOf({ kind: 'depth', depth: 7 }, 'w', 500), 'depth 7');
  assert.equal(goOf({ kind: 'infinite' }, 'w', 500), 'infinite');
});
