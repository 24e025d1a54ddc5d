// SPDX-License-Identifier: MIT
// Several lines, from the real engine and from scripted ones.

import assert from 'node:assert/strict';
import test from 'node:test';
import { Chess, readPosition, sanLine, startFen, uciMoves } from '../../tools/lib/chess.mjs';
import { searchLines } from '../../tools/lib/lines.mjs';
import { Engine } from '../../tools/lib/uci.mjs';
import { enginePath, fake } from './support.mjs';

const engine = await Engine.start(enginePath, { options: { Hash: 16, Threads: 1 } });
test.after(() => engine.quit());

const middlegame = 'r2q1rk1/1b2bppp/p1n1pn2/1p6/3N4/1BN1P3/PP2QPPP/R1BR2K1 b - - 3 13';
const worthOf = ({ cp, mate }) => cp ?? Math.sign(mate) * (1e6 - Math.abs(mate));

/** Searches a position in an empty table, and tests what holds for all lines. */
async function search(start, limits) {
  await engine.newGame();
  const lines = await searchLines(engine, { start, moves: [] }, limits);
  const sign = start.split(' ')[1] === 'w' ? 1 : -1;
  const firsts = new Set(lines.map(({ moves }) => moves[0]));
  assert.equal(firsts.size, Math.min(limits.count, uciMoves(new Chess(start)).length));
  for (const [i, { rank, score, moves }] of lines.entries()) {
    assert.equal(rank, i + 1);
    assert.equal(sanLine(start, moves).length, moves.length);
    if (i) assert.ok(sign * worthOf(score) <= sign * worthOf(lines[i - 1].score));
  }
  return lines;
}

test('lines begin with different moves, have legal moves and are sorted by score', async () => {
  const lines = await search(middlegame, { depth: 12, count: 5 });
  assert.deepEqual(lines.map(({ depth }) => depth), [12, 12, 12, 12, 12]);
  // The same again.
  assert.deepEqual(await search(middlegame, { depth: 12, count: 5 }), lines);
  // The first line is that of the engine alone.
  await engine.newGame();
  const { info } = await engine.search(`fen ${middlegame}`, 'depth 12');
  assert.deepEqual(lines[0].score, { cp: -info.score.value });
  assert.equal(lines[0].moves[0], info.pv[0]);
});

test('every line has a score, however short the search', async () => {
  for (const limits of [{ depth: 1 }, { time: 1 }]) {
    const lines = await search(startFen, { ...limits, count: 3 });
    for (const { score, depth } of lines) assert.ok(Number.isInteger(score.cp) && depth >= 10);
    if (limits.depth) assert.ok(lines[0].depth >= lines[2].depth);
  }
  // Qe8+ forces Kh7, so its line is two plies deeper than its search.
  await search('6k1/5pp1/7p/8/4Q3/8/3q1PPP/6K1 w - - 0 1', { depth: 11, count: 40 });
});

test('mates have their true distance, forced moves have a score, few moves few lines', async () => {
  for (const [fen, ...expected] of [
    // Ra8# or nothing.
    ['6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - 0 1', { mate: 1 }],
    // After any move, even of the pawn, the rook mates on the back rank.
    ['1r6/8/8/8/8/6k1/P7/7K w - - 0 1', { mate: -1 }, { mate: -1 }, { mate: -1 }],
    ['7k/p7/6K1/8/8/8/8/1R6 b - - 0 1', { mate: 1 }, { mate: 1 }, { mate: 1 }],
    // Ke8 Rf1 Kd8 Rf8#, and Kc8 Rb1 Kd8 Rb8#.
    ['3k4/8/3K4/8/8/8/8/R7 b - - 0 1', { mate: 2 }, { mate: 2 }],
    ['3K4/8/3k4/8/8/8/8/r7 w - - 0 1', { mate: -2 }, { mate: -2 }],
    // Kxb2 is forced, and leaves a king and a pawn that is lost.
    ['7k/p7/8/8/8/8/1r6/K7 w - - 0 1', { cp: 0 }],
    // Kg8 is forced, then Ra8#.
    ['7k/R7/6K1/8/8/8/8/8 b - - 0 1', { mate: 1 }],
  ]) {
    for (const limits of [{ depth: 11 }, { time: 100 }]) {
      const lines = await search(fen, { ...limits, count: 3 });
      assert.deepEqual(lines.slice(0, expected.length).map(({ score }) => score), expected, fen);
    }
  }
});

/** An engine that answers as `reply` says, with the first legal move unless it gives another. */
function stub(reply) {
  const asked = [];
  const search = async (position, limits, onInfo, patience) => {
    const chess = readPosition(position);
    asked.push({ position, limits, patience });
    const { infos = [], ...result } = reply(chess);
    infos.forEach(onInfo);
    return { best: uciMoves(chess)[0], ponder: null, ...result };
  };
  return { name: 'Stub', asked, search, stop() {} };
}

/** A line of 10 centipawns for the mover. */
const info = (...pv) => ({ depth: 12, score: { kind: 'cp', value: 10 }, pv });
const firstMove = (chess) => ({ infos: [info(uciMoves(chess)[0])] });

test('where a move ends the game, the rules give the score', async () => {
  for (const [fen, score, move] of [
    // The fiftieth move without a capture.
    ['8/8/8/8/8/4k3/8/6RK w - - 99 80', { cp: 0 }],
    ['7k/5Q2/5K2/8/8/8/8/8 w - - 0 1', { mate: 1 }, 'f7g7'],
    ['7k/7P/8/5K2/8/8/8/8 w - - 0 1', { cp: 0 }, 'f5g6'], // stalemate
    ['K7/1n6/8/8/3k4/8/8/8 w - - 0 1', { cp: 0 }, 'a8b7'], // two kings are left
  ]) {
    const asking = stub(firstMove);
    const lines = await searchLines(asking, { start: fen, moves: [] }, { depth: 12, count: 5 });
    const ending = lines.filter((line) => (move ? line.moves[0] === move : line.rank > 1));
    assert.ok(ending.length > 0, fen);
    for (const line of ending) {
      assert.deepEqual([line.score, line.depth, line.moves.length], [score, 1, 1]);
      assert.ok(!asking.asked.some(({ position }) => position.endsWith(` ${line.moves[0]}`)));
    }
  }
});

test('the engine gets the moves of the game only if one move makes a repetition', async () => {
  const moves = 'g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1'.split(' ');
  for (let i = 0; i <= moves.length; i++) {
    const asking = stub(firstMove);
    const before = moves.slice(0, i);
    const position = { start: startFen, moves: before };
    const lines = await searchLines(asking, position, { depth: 1, count: 5 });
    // f6g8 returns to the first position for the second time.
    assert.equal(asking.asked[0].position.includes(' moves '), i === 7);
    if (i === 7) assert.deepEqual([lines[1].moves, lines[1].score], [['f6g8'], { cp: 0 }]);
  }
});

test("scores after a move change their sign, and never exceed the best line's", async () => {
  // The root is worth 10; after its other moves the opponent has 10, or -50 after b2b3.
  const value = (chess) => (chess.history().at(-1) === 'b3' ? -50 : 10);
  const asking = stub((chess) => ({
    infos: [{ ...info(uciMoves(chess)[0]), score: { kind: 'cp', value: value(chess) } }],
  }));
  const lines = await searchLines(asking, { start: startFen, moves: [] }, { depth: 12, count: 3 });
  assert.deepEqual(lines.map(({ score }) => score), [{ cp: 10 }, { cp: 10 }, { cp: -10 }]);
  assert.deepEqual(lines.map(({ moves }) => moves[0]), ['a2a3', 'b2b3', 'a2a4']);
  assert.deepEqual(lines.map(({ depth }) => depth), [12, 13, 13]);
});

test('one line is what the engine prints, its PV as long as it has been', async () => {
  for (const [what, reply, limits, expected, asked] of [
    ['a search to a depth takes as long as it takes', {}, { depth: 30 }, [null, 'e2e4'],
      { limits: 'depth 30', patience: Infinity }],
    ['a move without a PV has the expected answer', { ponder: 'e7e5' }, { depth: 9 },
      [null, 'e2e4 e7e5']],
    ['a move that is not in the last PV has its score', { infos: [info('d2d4', 'd7d5')] },
      { depth: 11 }, [10, 'e2e4']],
    ['and the moves of an earlier PV', { infos: [info('e2e4', 'c7c5'), info('d2d4', 'd7d5')] },
      { depth: 11 }, [10, 'e2e4 c7c5']],
    ['a PV goes on like the one before', {
      infos: [
        info('e2e4', 'c7c5'), info('e2e4', 'e7e5', 'g1f3'),
        { ...info('e2e4', 'e7e5', 'b1c3', 'g8f6'), multipv: 2 },
        info('e2e4', 'e7e5'), { ...info('d2d4'), score: { kind: 'cp', value: 90, bound: 'lower' } },
      ],
    }, { time: 1 }, [10, 'e2e4 e7e5 g1f3']],
  ]) {
    const asking = stub(() => ({ best: 'e2e4', ...reply }));
    const [line] = await searchLines(asking, { start: startFen, moves: [] }, limits);
    assert.deepEqual([line.score?.cp ?? null, line.moves.join(' ')], expected, what);
    const { limits: go, patience } = asking.asked[0];
    if (asked) assert.deepEqual({ limits: go, patience }, asked);
  }
});

test('aborted at any moment it returns the lines so far, and the engine goes on', async () => {
  for (const [moment, count] of [[0, 3], [1, 3], [2, 1], [10, 3], [40, 3]]) {
    const abort = new AbortController();
    let seen = [];
    const onLines = (lines) => {
      seen.push(lines);
      if (seen.length === moment) abort.abort();
    };
    if (!moment) abort.abort();
    await engine.newGame();
    const position = { start: middlegame, moves: [] };
    const lines = await searchLines(engine, position, { count, onLines, signal: abort.signal });
    assert.deepEqual(lines, seen.at(-1) ?? []);
    assert.ok(!engine.isSearching);
  }
});

test('faults of the engine are errors, in any of the searches', async () => {
  for (const [program, message, limits = { depth: 12 }] of [
    [fake('dies', 1), /^Error: Fake 1.0 has ended with status 3$/],
    [fake('dies', 4), /^Error: Fake 1.0 has ended with status 3$/],
    [fake('illegal', 1), /^Error: Fake 1.0 answers "a1a8", which is not a legal move$/],
    [fake('rubbish', 4), /^Error: Fake 1.0 answers "e9e9", which is not a legal move$/],
    [fake('late', 2), /^Error: Fake 1.0 doesn't answer \(bestmove\)$/, { time: 1, patience: 100 }],
  ]) {
    const wrong = await Engine.start(program);
    const position = { start: startFen, moves: [] };
    await assert.rejects(searchLines(wrong, position, { ...limits, count: 3 }), message);
    wrong.kill();
  }
});
