// SPDX-License-Identifier: MIT
// The board's parts that need no browser: games with FEN and PGN, scores, clocks, and what an
// engine is told.

import assert from 'node:assert/strict';
import test from 'node:test';
import { goOf, readRequest, scoreForPeople } from '../../tools/page/session.mjs';
import { Clock, timeText } from '../../tools/page/web/clock.mjs';
import { Game, readFen, splitPgn, startFen } from '../../tools/page/web/game.mjs';
import {
  fromMover, readScore, scoreText, whiteShare, writeScore,
} from '../../tools/page/web/score.mjs';

function play(moves, fen) {
  const game = new Game(fen);
  for (const move of moves.split(' ')) assert.ok(game.play(game.length, move), move);
  return game;
}

test('a FEN may lack its counters; an impossible one is refused with the reason', () => {
  assert.equal(readFen('  4k3/8/8/8/8/8/8/4K2R  w K - '), '4k3/8/8/8/8/8/8/4K2R w K - 0 1');
  assert.equal(readFen(startFen), startFen);
  for (const [fen, reason] of [
    ['', /six fields/],
    ['8/8/8/8/8/8/8/4K3 w - - 0 1', /king/i],
    ['4k3/8/8/8/8/8/8/4K2P w - - 0 1', /pawn/i],
    ['4k3/8/8/8/8/8/8/4K3 x - - 0 1', /side.to.move/],
    ['4k3/8/8/8/4R3/8/8/4K3 w - - 0 1', /Black is in check and it is not Black's turn/],
    ['4k3/pppppppp/p7/8/8/8/8/4K3 w - - 0 1', /Black has more pieces/],
    ['QQQQkQQQ/QQQQQQQQ/QQ6/8/8/8/8/4K3 b - - 0 1', /White has more pieces/],
  ]) {
    assert.throws(() => readFen(fen), reason, fen);
  }
});

test('a move replaces what was played from there on, an illegal one changes nothing', () => {
  const game = play('e4 e5 Nf3 Nc6');
  game.scores[3] = { kind: 'cp', value: 10 };
  assert.equal(game.play(2, 'Nf6'), null);
  assert.equal(game.length, 4);
  assert.ok(game.play(1, 'c7c5'));
  assert.deepEqual(game.moves.map(({ san }) => san), ['e4', 'c5']);
  assert.equal(game.scores[3], undefined);
});

test('every end by the rules is seen', () => {
  // Sam Loyd's stalemate in ten moves.
  const loyd = 'e3 a5 Qh5 Ra6 Qxa5 h5 Qxc7 Rah6 h4 f6 Qxd7+ Kf7 Qxb7 Qd3 Qxb8 Qh7 Qxc8 Kg6 Qe6';
  const back = 'Nf3 Nf6 Ng1 Ng8';
  for (const [moves, fen, result, text] of [
    ['f3 e5 g4 Qh4#', startFen, '0-1', /Checkmate: Black wins/],
    [loyd, startFen, '1/2-1/2', /stalemate/],
    [`${back} ${back}`, startFen, '1/2-1/2', /threefold/],
    ['Rg1', '7k/8/8/8/8/8/r7/4K2R w - - 99 80', '1/2-1/2', /fifty/],
    ['Kxe2', '4k3/8/8/8/8/8/4p3/4K3 w - - 0 1', '1/2-1/2', /insufficient material/],
  ]) {
    assert.equal(new Game(fen).ending, null);
    const { ending } = play(moves, fen);
    assert.equal(ending.result, result);
    assert.match(ending.text, text);
  }
  assert.equal(play(back).ending, null);
});

test('time that is over loses, unless there is nothing to mate with', () => {
  const game = play('e4');
  game.loseOnTime('b');
  assert.deepEqual(game.ending, { result: '1-0', text: 'White wins on time' });
  const bare = new Game('4k3/8/8/8/8/8/8/QQ2K3 w - - 0 1');
  bare.loseOnTime('w');
  assert.equal(bare.ending.result, '1/2-1/2');
});

test('an engine gets the moves since the last irreversible one, so it sees repetitions', () => {
  const game = play('e4 e5 Nf3 Nc6 Ng1 Nb8');
  assert.deepEqual(game.positionAt(6), {
    fen: 'rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2',
    moves: ['g1f3', 'b8c6', 'f3g1', 'c6b8'],
  });
  assert.deepEqual(new Game().positionAt(0), { fen: startFen, moves: [] });
});

test('lines are numbered as people number them and end where they make no sense', () => {
  const game = play('e4 e5 Nf3');
  assert.equal(game.lineText(3, ['b8c6', 'f1b5', 'a7a6']), '2... Nc6 3. Bb5 a6');
  assert.equal(game.lineText(2, ['g1f3', 'b8c6', 'a1a1']), '2. Nf3 Nc6');
});

test('a PGN with comments, variations and scores comes in and goes out', () => {
  const text = `[Event "x"]\r\n[White "A"]\r\n[Black "?"]\r\n[Result "1/2-1/2"]\r\n\r\n
1. e4 {[%eval 0.31,20]} e5 (1... c5 2. Nf3 $1) 2. Nf3 {good} 1/2-1/2`;
  const game = Game.fromPgn(text);
  assert.deepEqual(game.moves.map(({ uci }) => uci), ['e2e4', 'e7e5', 'g1f3']);
  assert.deepEqual(game.scores[1], { kind: 'cp', value: 31, depth: 20 });
  assert.equal(game.ending.result, '1/2-1/2');
  assert.deepEqual(game.tags, { Event: 'x', White: 'A' });
  const again = Game.fromPgn(game.pgn());
  assert.deepEqual(again.record, game.record);
  assert.match(game.pgn(), /\[Result "1\/2-1\/2"\]/);
});

test('lines of a PGN are short and comments are whole', () => {
  const game = play('e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O Be7 Re1 b5 Bb3 d6 c3 O-O');
  game.moves.forEach((move, index) => {
    game.scores[index + 1] = { kind: 'cp', value: 10 * index, depth: 12 };
    move.clocks = { w: 65000, b: 3605000 };
  });
  const text = game.pgn();
  for (const line of text.split('\n')) {
    assert.ok(line.length <= 80, line);
    assert.equal(line.split('{').length, line.split('}').length, line);
  }
  assert.match(text, /^1\. e4 \{\[%eval 0\.00,12\] \[%clk 0:01:05\]\} /m);
  assert.match(text, /\se5 \{\[%eval 0\.10,12\] \[%clk 1:00:05\]\}\s/);
  assert.doesNotMatch(text, /\}[^\s]/);
  assert.match(text, / \*\n$/);
  assert.deepEqual(Game.fromPgn(text).scores, game.scores);
});

test('a PGN that begins elsewhere keeps its position', () => {
  const game = play('Kd2 Kd7', '4k3/8/8/8/8/8/8/R3K3 w - - 3 40');
  const again = Game.fromPgn(game.pgn());
  assert.equal(again.fen, game.fen);
  assert.match(game.pgn(), /40\. Kd2 Kd7/);
  const black = play('Kd7 Kd2', '4k3/8/8/8/8/8/8/R3K3 b - - 3 40');
  assert.match(black.pgn(), /\]\n\n40\.\.\. Kd7 41\. Kd2 \*\n$/);
  assert.match(new Game().pgn(), /\]\n\n\*\n$/);
});

test('the first of several games is read; text without a game is refused', () => {
  const two = '[Event "a"]\n\n1. e4 *\n\n[Event "b"]\n\n1. d4 *\n';
  assert.equal(splitPgn(two).length, 2);
  assert.equal(splitPgn('\uFEFF1. e4 {[%eval 0.2]\n[%clk 0:01:00]} e5').length, 1);
  assert.equal(Game.fromPgn(two).moves[0].san, 'e4');
  assert.equal(Game.fromPgn('[Event "a"]\n\n*').length, 0);
  for (const text of ['', '   \n', '1. e4 e5 2. Ke3', '1. e4 {open', 'no chess at all']) {
    assert.throws(() => Game.fromPgn(text), /\.$|PGN/, text);
  }
  assert.throws(() => Game.fromPgn('[FEN "8/8/8/8/8/8/8/8 w - - 0 1"]\n\n1. e4 *'), Error);
});

test('a record brings the whole game back, and a forged one is refused', () => {
  const game = play('e4 e5');
  game.scores[1] = { kind: 'mate', value: -3, depth: 12 };
  game.resign('w');
  const record = JSON.parse(JSON.stringify(game.record));
  assert.deepEqual(Game.fromRecord(record).record, game.record);
  assert.equal(Game.fromRecord(record).ending.result, '0-1');
  record.moves[1].uci = 'e2e4';
  assert.throws(() => Game.fromRecord(record), /illegal/);
});

test('scores are turned to White, written and read back', () => {
  const score = fromMover({ kind: 'cp', value: -35 }, 'b', 14);
  assert.equal(scoreText(score), '+0.35');
  assert.equal(scoreText(fromMover({ kind: 'mate', value: -3 }, 'w')), '\u2212M3');
  assert.equal(scoreText({ kind: 'cp', value: 0 }), '0.00');
  assert.equal(writeScore(score), '0.35,14');
  for (const one of [score, { kind: 'mate', value: -12 }, { kind: 'cp', value: -1234, depth: 9 }]) {
    assert.deepEqual(readScore(writeScore(one)), one);
  }
  for (const text of ['', '#', 'x', '1e5', '#1.5', '0.3,']) assert.equal(readScore(text), null);
  // Ten to one at 400 hundredths.
  for (const [kind, value, share] of [
    ['cp', 0, 0.5], ['cp', 400, 10 / 11], ['mate', 9, 1], ['mate', -1, 0],
  ]) {
    assert.ok(Math.abs(whiteShare({ kind, value }) - share) < 1e-9);
  }
});

test("Quillon's mates are counted as people do, those of others as they come", () => {
  for (const [kind, value, name, expected] of [
    ['mate', -6, 'Quillon Version 2.0', -5], ['mate', 2, 'Quillon Version 2.0', 2],
    ['cp', 31997, 'Quillon Version 2.0', undefined], ['cp', -1192, 'Quillon Version 2.0', -1192],
    ['mate', -5, 'Other 1', -5],
  ]) {
    assert.equal(scoreForPeople({ kind, value }, name)?.value, expected);
  }
});

test('a clock counts the mover down, adds the increment and stands still when stopped', () => {
  let now = 0;
  const clock = new Clock({ base: 60000, increment: 2000 }, () => now);
  now = 5000;
  assert.equal(clock.left('w'), 60000);
  clock.start('w');
  now = 8000;
  assert.equal(clock.left('w'), 57000);
  assert.deepEqual(clock.moved('w'), { w: 59000, b: 60000 });
  clock.start('b');
  now = 70000;
  assert.equal(clock.left('b'), -2000);
  clock.stop();
  now = 99000;
  assert.deepEqual([clock.left('w'), clock.left('b')], [59000, -2000]);
});

test('times are shown as on a clock, with tenths when it matters', () => {
  const shown = [300000, 299001, 20000, 9310, 50, 0, -5, 3723000].map(timeText);
  assert.equal(shown.join(' '), '5:00 5:00 0:20 0:09.4 0:00.1 0:00.0 0:00.0 1:02:03');
});

const request = {
  type: 'search',
  id: 1,
  fen: startFen,
  moves: ['e2e4'],
  limits: { kind: 'movetime', movetime: 1000 },
};

test('an engine is told nothing but positions, moves and limits', () => {
  const { position, turn } = readRequest(request);
  assert.equal(position, `fen ${startFen} moves e2e4`);
  assert.equal(turn, 'b');
  for (const change of [
    { id: -1 }, { id: '1' }, { fen: `${startFen}\nquit` }, { fen: 'startpos' }, { fen: 7 },
    { moves: ['e2e4\nquit'] }, { moves: ['e2e4 e7e5'] }, { moves: 'e2e4' },
    { moves: Array(1001).fill('e2e4') }, { limits: undefined },
    { limits: { kind: 'nodes', nodes: 1 } }, { limits: { kind: 'constructor' } },
    { limits: { kind: 'depth', depth: 0 } },
    { limits: { kind: 'depth', depth: '5\nquit' } },
    { limits: { kind: 'movetime', movetime: 1.5 } },
    { limits: { kind: 'clock', wtime: 1, btime: -1, winc: 0, binc: 0 } },
  ]) {
    assert.throws(() => readRequest({ ...request, ...change }), Error, JSON.stringify(change));
  }
});

test('a search that is begun again has the time that is left', () => {
  assert.equal(goOf({ kind: 'movetime', movetime: 1000 }, 'w', 300), 'movetime 700');
  assert.equal(goOf({ kind: 'movetime', movetime: 1000 }, 'w', 5000), 'movetime 10');
  const clock = { kind: 'clock', wtime: 9000, btime: 8000, winc: 1, binc: 2 };
  assert.equal(goOf(clock, 'b', 500), 'wtime 9000 btime 7500 winc 1 binc 2');
  assert.equal(goOf({ kind: 'depth', depth: 7 }, 'w', 500), 'depth 7');
  assert.equal(goOf({ kind: 'infinite' }, 'w', 500), 'infinite');
});
