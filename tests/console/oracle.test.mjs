// SPDX-License-Identifier: MIT
//
// Whole searches at fixed depth have the same nodes, scores and lines as a slow model of the search
// that shares no code with the engine.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import test from 'node:test';

import { enginePath, Talk } from './talk.mjs';
import { signaturePositions } from './positions.mjs';

const { QUILLON_ORACLE: oracle } = process.env;

/** The output of a program for its whole input. */
function run(program, input) {
  assert.ok(program, 'QUILLON_ORACLE is set by the build');
  const { stdout, status } = spawnSync(program, [],
    { input, encoding: 'utf8', maxBuffer: 2 ** 30 });
  assert.equal(status, 0, program);
  return stdout;
}

/** The lines of searches without the time. */
function searchLines(lines) {
  return lines.filter((line) => /^(info score|bestmove)/.test(line))
    .map((line) => line.replace(/ time \d+/, '').trimEnd());
}

// A depth alone would leave the default time budget in force.
const noClock = ' wtime 2000000000 btime 2000000000';

/** A program's lines of one search after another, each from an empty table. */
function searches(program, positions, depth, limits, lastCommands) {
  return positions.map((fen) => {
    const input = `ucinewgame\nposition fen ${fen}\ngo depth ${depth}${limits}\n${lastCommands}`;
    return searchLines(run(program, input).split('\n'));
  });
}

function compareSearches(positions, depth) {
  // Setting the threads waits for the end of the search.
  const ours = searches(enginePath, positions, depth, noClock,
    'setoption name Threads value 1\nquit\n');
  const theirs = searches(oracle, positions, depth, '', 'quit\n');
  for (const [i, fen] of positions.entries()) assert.deepEqual(ours[i], theirs[i], fen);
}

test('the positions of the node signature are searched to depth 10 as by the model', () => {
  const positions = signaturePositions();
  assert.ok(positions.length >= 40);
  compareSearches(positions, 10);
});

// Castling in a PV is tested with the check flag that the search left in the record of that ply; if
// pruning left the record untouched, the flag would be that of an earlier move.
test('PVs with castling end where those of the model do', () => {
  compareSearches([
    'rnbqkbnr/1pp1pp2/p2p2pp/8/P2P4/4P3/1PP1QPPP/RNB1KBNR w KQkq - 0 1',
    'r1bqkbnr/pp1p1ppp/4p3/2p5/2Pn4/6PN/PPQPPP1P/RNB1KB1R w KQkq - 0 1',
    'rnbqkb1r/pp2pp1p/2pp2pn/8/P7/2N3P1/1PPPPP1P/1RBQKBNR w Kkq - 0 1',
    'r1bqkbnr/ppp1ppp1/7p/2np4/P7/1P6/RBPPPPPP/1N1QKBNR w Kkq - 0 1',
  ], 12);
});

// The hash table with its ages and the keys of the game persist from search to search; histories,
// killers and counter moves start empty in each.
test('the searches of games in one process are those of the model', async (t) => {
  const engine = await Talk.start(t);
  const commands = [];
  const ours = [];
  const starts = ['startpos', 'fen 8/5pk1/4p1p1/3pP2p/1p1P3P/pP3PP1/P3K3/8 w - - 12 40'];
  for (const start of starts) {
    const moves = [];
    const depths = [10, 7, 11, 4, 10, 8];
    for (let i = 0; i < 18; i++) {
      const set = `position ${start}${moves.length ? ` moves ${moves.join(' ')}` : ''}`;
      const go = `go depth ${depths[i % depths.length]}`;
      commands.push(set, go);
      engine.send(set, go + noClock);
      const lines = await engine.until(/^bestmove/, 60000);
      ours.push(...searchLines(lines));
      const [, best, , ponder] = lines.at(-1).split(' ');
      moves.push(...[best, ponder].filter(Boolean));
    }
    commands.push('ucinewgame');
    await engine.newGame();
  }
  await engine.quit();
  assert.deepEqual(ours, searchLines(run(oracle, `${commands.join('\n')}\n`).split('\n')));
});
