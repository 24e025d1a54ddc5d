// SPDX-License-Identifier: MIT
// The build for test frameworks: a line with its speed for every depth, `go nodes`, `bench`, and
// otherwise the ordinary engine.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { parseInfo } from '../../tools/lib/conversation.mjs';
import { Engine } from '../../tools/lib/uci.mjs';
import { signaturePositions } from './positions.mjs';
import { readUse } from './process.mjs';
import { enginePath, scaled, sourceDir } from './talk.mjs';

const testerPath = process.env.QUILLON_TESTER ?? path.join(sourceDir, 'build/tester/quillon');
const patience = scaled(60000);
const read = (name) => fs.readFileSync(path.join(sourceDir, name), 'utf8');

/** Starts an engine that ends with the test. */
async function start(t, file = testerPath, options = { Hash: 16 }) {
  const engine = await Engine.start(file, { options, patience });
  t.after(() => engine.kill());
  return engine;
}

/** Sends lines, the last one a `go`, and reads its answer. The line before "bestmove" must have what
 *  frameworks read. */
async function answer(engine, ...lines) {
  engine.send(...lines);
  const answered = await engine.until(/^bestmove /, patience);
  const [last, result] = answered.slice(-2);
  assert.match(last, /^info /, lines.join('\n'));
  for (const field of [/ time \d+( |$)/, / nps \d+( |$)/, / score (cp|mate) -?\d+ /]) {
    assert.match(last, field, lines.join('\n'));
  }
  return { answered, result, last: parseInfo(last) };
}

test('the conversation with which fastchess tests an engine', async (t) => {
  const engine = await start(t, testerPath, {});
  engine.send('uci');
  const names = await engine.until('uciok', patience);
  for (const name of [/^id name \S/, /^id author \S/]) assert.ok(names.some((line) => name.test(line)));
  await engine.newGame();
  engine.send('position startpos');
  await engine.isReady();
  engine.send('position fen 3r2k1/p5n1/1pq1p2p/2p3p1/2P1P1n1/1P1P2pP/PN1Q2K1/5R2 w - - 0 27');
  await engine.isReady();
  await answer(engine, 'go wtime 100');
  engine.send('position fen rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1');
  await engine.isReady();
  await answer(engine, 'go btime 100');
  await answer(engine, 'go wtime 100 winc 100 btime 100 binc 100');
  await answer(engine, 'go btime 100 binc 100 wtime 100 winc 100');
  await engine.newGame();
  await answer(engine, 'position startpos', 'go wtime 100 btime 100');
  await answer(engine, 'position startpos moves e2e4 e7e5', 'go wtime 100 btime 100');
});

test('a line comes before every result, however the search ends', async (t) => {
  const engine = await start(t);
  for (const [position, limits, score] of [
    ['startpos', 'movetime 1'],
    ['startpos', 'wtime 1 btime 1'],
    ['fen 4k3/8/8/8/8/8/1r6/K7 w - - 0 1', 'wtime 1000'], // a single legal move
    ['fen 6k1/5ppp/8/8/8/8/8/R6K w - - 0 1', 'depth 5', { kind: 'mate', value: 1 }],
    ['fen R5k1/5ppp/8/8/8/8/8/7K b - - 0 1', 'depth 5', { kind: 'mate', value: 0 }],
    ['fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1', 'depth 5', { kind: 'cp', value: 0 }], // stalemate
  ]) {
    const { last } = await answer(engine, `position ${position}`, `go ${limits}`);
    if (score) assert.deepEqual(last.score, score, position);
  }
  // Some of these stops come before the first score.
  engine.send('position startpos');
  for (let i = 0; i < 50; i++) {
    const { last } = await answer(engine, 'go infinite', 'stop');
    assert.ok(Math.abs(last.score.value) < 1000, JSON.stringify(last));
  }
});

test('every depth from 1 on has a line, with nodes per second', async (t) => {
  const engine = await start(t);
  const { answered } = await answer(engine, 'position startpos', 'go depth 12');
  const infos = answered.slice(0, -1).map(parseInfo);
  assert.deepEqual(infos.map(({ depth }) => depth), [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12]);
  for (const { nodes, time, nps, pv } of infos) {
    assert.equal(nps, Math.floor((nodes * 1000) / Math.max(time, 1)));
    assert.ok(pv.length >= 1);
  }
});

test('go nodes ends within 4096 nodes, and repeats after ucinewgame', async (t) => {
  const engine = await start(t);
  for (const fen of signaturePositions().slice(8, 20)) {
    for (const limit of [1, 20000, 50000]) {
      const [first, second] = [1, 2].map(() =>
        ['ucinewgame', `position fen ${fen}`, `go nodes ${limit}`]);
      const { last: { nodes }, result } = await answer(engine, ...first);
      assert.ok(nodes >= limit && nodes < limit + 4096, `${nodes} nodes of ${limit} in ${fen}`);
      const again = await answer(engine, ...second);
      assert.deepEqual([again.last.nodes, again.result], [nodes, result], fen);
    }
  }
});

test('go nodes counts the nodes of all threads', async (t) => {
  const engine = await start(t, testerPath, { Hash: 16, Threads: 2 });
  const { last: { nodes } } = await answer(engine, 'position startpos', 'go nodes 200000');
  assert.ok(nodes >= 200000 && nodes < 210000, `${nodes} nodes`);
});

test('go nodes ends by the clock only if there is one', async (t) => {
  const engine = await start(t);
  // The default clock would allow 40 ms for each of so many moves.
  const { last } = await answer(engine, 'position startpos', 'go nodes 1000000 movestogo 100000');
  assert.ok(last.nodes >= 1000000, `${last.nodes} nodes`);
  for (const limits of ['wtime 100 nodes 4000000000', 'nodes 4000000000 wtime 100']) {
    await answer(engine, `go ${limits}`);
  }
});

test('nodes and moves are those of the ordinary engine, in 100 positions', async (t) => {
  const openings = read('data/openings.epd').split('\n').map((line) => line.replace(/ ce .*/, ' 0 1'));
  const fens = [...signaturePositions(), ...openings].slice(0, 100);
  const searches = async (file) => {
    const engine = await start(t, file);
    const results = [];
    for (const fen of fens) {
      await engine.newGame();
      // The ordinary engine writes no line at depth 6.
      const { best, ponder } = await engine.search(`fen ${fen}`, 'depth 6', undefined, patience);
      const { info, ...moves } = await engine.search(`fen ${fen}`, 'depth 10', undefined, patience);
      const { time, nps, ...others } = info;
      results.push({ fen, shallow: [best, ponder], ...moves, ...others });
    }
    return results;
  };
  const [ordinary, tester] = await Promise.all([enginePath, testerPath].map(searches));
  assert.equal(fens.length, 100);
  assert.deepEqual(tester, ordinary);
});

test('bench gives the node signature, whatever is set', async (t) => {
  const [, signature] = read('bench/signature.txt').match(/^depth 10: (\d+)$/m);
  const { stdout, status } = spawnSync(testerPath, ['bench', '10'], { encoding: 'utf8' });
  assert.equal(status, 0);
  assert.match(stdout, new RegExp(`\n${signature} nodes [1-9]\\d* nps\n$`));

  const engine = await start(t, testerPath, { Hash: 1, Threads: 2, Ponder: true });
  engine.send('position startpos moves e2e4', 'go infinite', 'bench 10');
  const lines = await engine.until(/ nps$/, patience);
  assert.match(lines.at(-1), new RegExp(`^${signature} nodes `));
  await engine.isReady();
  assert.equal(readUse(engine.child.pid).threads, 3, 'the options are as before');
  engine.send('bench 0', 'isready');
  assert.deepEqual(await engine.until('readyok'), ['bench takes a depth from 1 to 127', 'readyok']);
});
