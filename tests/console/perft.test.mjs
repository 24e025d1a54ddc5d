// SPDX-License-Identifier: MIT
// The move generator's self test: the file of known counts, the `rtest` command that checks the
// engine against it, and the `perft` command.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import {
  banner, Engine, perft, sourceDir, startEngine, startStockfish,
} from './engine.mjs';
import { exchangeColours, readPerftFile } from './perft-file.mjs';
import { pick, randomNumbers, seed } from './random.mjs';
import { pictureOf, Rules, startFen } from './rules.mjs';

const { base, extended, full } = readPerftFile();

test('the perft file has its three sections, the base one with at least 80 records', () => {
  assert.ok(base.length >= 80, `${base.length} records`);
  assert.ok(extended.length > 0);
  assert.ok(full.length > 0);
});

test('the perft file holds the positions and depths of its source list', () => {
  const output = execFileSync(path.join(sourceDir, 'tools', 'make-perft'), ['--check'], {
    encoding: 'utf8',
  });
  assert.match(output, /records, as in the list/);
});

test('exchanging the colours changes no count of the perft file', () => {
  const counts = new Map(base.map((record) => [`${record.fen};${record.depth}`, record.count]));
  let pairs = 0;
  for (const record of base) {
    const twin = counts.get(`${exchangeColours(record.fen)};${record.depth}`);
    if (twin === undefined) continue;
    pairs++;
    assert.equal(twin, record.count, record.text);
  }
  assert.ok(pairs >= 160, `only ${pairs} records have a twin`);
});

test('the perft file reaches every special move, and every kind of pin and check', () => {
  const seen = new Set();
  for (const { fen, count } of base) {
    const rules = new Rules(fen);
    const colour = rules.turn === 0 ? 'white' : 'black';
    const moves = rules.legalMoves();
    const inCheck = rules.chess.isCheck();
    if (moves.length === 0) {
      assert.equal(count, 0, fen);
      seen.add(`${colour} ${inCheck ? 'mated' : 'stalemated'}`);
    }
    for (const { text, move } of moves) {
      rules.play(text);
      const checks = rules.chess.attackers(kingSquare(rules), rules.turn === 0 ? 'b' : 'w');
      rules.undo();
      const onMove = (what) => seen.add(`${colour} ${what}`);
      // chess.js flags: 8 en passant, 16 promotion, 32 and 64 castling, 2 capture.
      if (move.flags & 8) onMove(inCheck ? 'en passant out of check' : 'en passant');
      if (move.flags & 8 && checks.length) onMove('en passant with check');
      if (move.promotion) {
        const capture = move.flags & 2 ? ' by capture' : '';
        onMove(`promotion to ${move.promotion}${capture}`);
        if (checks.length) onMove(`promotion to ${move.promotion} with check`);
        if (inCheck) onMove(`promotion${capture} out of check`);
      }
      if (move.flags & 96) {
        onMove(move.flags & 32 ? 'castling king side' : 'castling queen side');
        if (checks.length) onMove('castling with check');
      }
      if (checks.length > 1) onMove('double check');
    }
    if (inCheck && rules.chess.attackers(kingSquare(rules), other(rules)).length > 1) {
      seen.add(`${colour} in double check`);
    }
    for (const pin of pinsOf(fen)) seen.add(pin);
    // An en passant square without the capture in the list: refused.
    if (fen.split(' ')[3] !== '-' && !moves.some(({ move }) => move.flags & 8)) {
      seen.add(`${colour} en passant refused`);
    }
  }
  const wanted = [
    'mated', 'stalemated', 'en passant', 'en passant out of check', 'en passant with check',
    'en passant refused', 'castling king side', 'castling queen side', 'castling with check',
    'double check', 'in double check', 'promotion out of check',
    'promotion by capture out of check',
    ...[...'nbrq'].flatMap((man) => [
      `promotion to ${man}`, `promotion to ${man} by capture`, `promotion to ${man} with check`,
    ]),
  ];
  for (const line of ['file', 'rank', 'diagonal a1-h8', 'diagonal a8-h1']) {
    wanted.push(`pinned on a ${line}`);
  }
  for (const man of 'pnbrq') wanted.push(`pinned ${man}`);
  const missing = ['white', 'black']
    .flatMap((colour) => wanted.map((what) => `${colour} ${what}`))
    .filter((what) => !seen.has(what));
  assert.deepEqual(missing, []);
});

// Names the pins that stand on the board: the first man on a line from a king is its own, the
// second an enemy that moves along that line.
function pinsOf(fen) {
  const rows = fen
    .split(' ')[0]
    .split('/')
    .map((rank) => rank.replace(/\d/g, (digit) => ' '.repeat(Number(digit))));
  const at = (x, y) => rows[y]?.[x]; // y counts from rank 8 down
  const lines = [
    ['file', 0, 1], ['rank', 1, 0], ['diagonal a1-h8', 1, -1], ['diagonal a8-h1', 1, 1],
  ];
  const pins = [];
  for (const [name, dx, dy] of lines) {
    for (const [colour, king, own] of [['white', 'K', /[A-Z]/], ['black', 'k', /[a-z]/]]) {
      const y = rows.findIndex((row) => row.includes(king));
      const x = rows[y].indexOf(king);
      for (const step of [1, -1]) {
        const men = [];
        for (let i = step; at(x + i * dx, y + i * dy) !== undefined; i += step) {
          const man = at(x + i * dx, y + i * dy);
          if (man !== ' ') men.push(man);
        }
        if (men.length < 2 || !own.test(men[0]) || own.test(men[1])) continue;
        const sliders = name.startsWith('diagonal') ? 'bq' : 'rq';
        if (!sliders.includes(men[1].toLowerCase())) continue;
        pins.push(`${colour} pinned on a ${name}`, `${colour} pinned ${men[0].toLowerCase()}`);
      }
    }
  }
  return pins;
}

function kingSquare(rules) {
  const colour = rules.turn === 0 ? 'w' : 'b';
  return rules.chess.findPiece({ type: 'k', color: colour })[0];
}

function other(rules) {
  return rules.turn === 0 ? 'b' : 'w';
}

test('stockfish counts what a sample of the perft file says', async (t) => {
  const stockfish = await startStockfish(t);
  const random = randomNumbers();
  const cheap = base.filter((record) => record.count < 3e6);
  const sample = new Set();
  while (sample.size < 15) sample.add(pick(random, cheap));
  for (const record of sample) {
    stockfish.send(`position fen ${record.fen}`, `go perft ${record.depth}`);
    const line = await stockfish.expect(/^Nodes searched: /, 60000);
    assert.equal(line, `Nodes searched: ${record.count}`, `${record.text} (seed ${seed})`);
  }
});

test('rtest finds every count of the base section and says so', async (t) => {
  const engine = await startEngine(t);
  engine.send('rtest');
  const lines = await engine.until(/^Results of the perft checks/, 120000);
  assert.equal(lines.at(-1), 'Results of the perft checks is OK: 1');
  assert.equal(lines.length - 1, base.length, 'one line for each record, none of "extended"');
  for (const [i, { fen, depth, count }] of base.entries()) {
    assert.match(lines[i], /; \d+$/, 'the time in nanoseconds comes last');
    assert.equal(lines[i].replace(/\d+$/, ''), `1; ${fen}; ${depth}; ${count}; ${count}; `);
  }
  // The check works on a record of its own.
  assert.equal((await perft(engine, 1)).count, 20);
  await engine.quit();
});

test('perft leaves a table of 256 MB and rtest one of 128 MB', async (t) => {
  const engine = await startEngine(t);
  const megabytes = () => {
    const status = fs.readFileSync(`/proc/${engine.child.pid}/status`, 'utf8');
    return Number(/^VmData:\s*(\d+) kB$/m.exec(status)[1]) / 1024;
  };
  engine.send('setoption name Hash value 64', 'isready');
  await engine.expect('readyok');
  const before = megabytes() - 64;
  // Rounded, since a thread's stack may come or go.
  const tableSize = () => Math.round((megabytes() - before) / 64) * 64;
  await perft(engine, 1);
  assert.equal(tableSize(), 256);
  engine.send('rtest');
  await engine.expect(/^Results of the perft checks/, 120000);
  assert.equal(tableSize(), 128);
  await engine.quit();
});

test('rtest reads perft.txt from the first place that has one', (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  const file = (...parts) => {
    const name = path.join(folder, ...parts);
    fs.mkdirSync(path.dirname(name), { recursive: true });
    return name;
  };
  assert.ok(process.env.QUILLON_PLACES, 'QUILLON_PLACES is set by the build');
  fs.copyFileSync(process.env.QUILLON_PLACES, file('root/bin/quillon'));
  // Started through a link in another folder, where the engine must not look.
  fs.symlinkSync('../root/bin/quillon', file('links/quillon'));
  fs.writeFileSync(file('links/perft.txt'), 'not a record\n');
  const rtest = () =>
    execFileSync(file('links/quillon'), ['rtest'], { cwd: folder, encoding: 'utf8' });

  const greeting = `${banner.join('\n')}\n`;
  assert.equal(rtest(), `${greeting}There seems to be a problem with the perftFile. check of the `
    + 'move generator not executed\n');
  // From the last place to the first, so that each new file has to win over the ones before. The
  // first place is compiled into this engine.
  const places = [
    '.', 'root/share/games/quillon', 'root/share/quillon', 'root/bin', 'compiled-in',
  ];
  for (const [i, place] of places.entries()) {
    const board = startFen.replace(/1$/, i + 1);
    fs.writeFileSync(file(place, 'perft.txt'), `${board};1;20\n`);
    const output = rtest();
    assert.ok(output.startsWith(`${greeting}1; ${board}; 1; 20; 20; `), `${place}: ${output}`);
    assert.ok(output.endsWith('\nResults of the perft checks is OK: 1\n'), output);
  }
});

test('the arguments "perft 4" count 197281 from the start and end the process', async (t) => {
  // The input stays open: with arguments it is never read.
  const engine = new Engine({ args: ['perft', '4'] });
  t.after(() => engine.kill());
  await engine.expectCleanExit(30000);
  const lines = engine.log.map((line) => line.text);
  assert.deepEqual(lines.slice(0, 4), banner);
  assert.deepEqual(lines.slice(4, 21), pictureOf(startFen));
  assert.match(lines[21], /^\d+ ns and \S+ in seconds$/);
  assert.match(lines[22], /^Perft results for depth: 4 {2}197281 {2}Nodes per sec: \S+$/);
  assert.equal(lines.length, 23);
});

test('perft draws the board, then gives time, depth, count and speed', async (t) => {
  const engine = await startEngine(t);
  const fen = 'r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1';
  engine.send(`position fen ${fen}`);
  const { lines, board, count } = await perft(engine, 2);
  assert.equal(lines.length, 19);
  assert.deepEqual(board, pictureOf(fen));
  const time = /^(\d+) ns and (\S+) in seconds$/.exec(lines[17]);
  assert.ok(time, lines[17]);
  assert.ok(Math.abs(Number(time[1]) / 1e9 - Number(time[2])) <= Number(time[2]) * 1e-4);
  assert.equal(count, new Rules(fen).countLeaves(2));
  await engine.quit();
});

test('perft leaves the position as it was', async (t) => {
  const engine = await startEngine(t);
  engine.send('position startpos moves e2e4 c7c5');
  const first = await perft(engine, 3);
  assert.deepEqual(await perft(engine, 3).then((again) => again.count), first.count);
  assert.equal(first.count, playedOut(['e2e4', 'c7c5']).countLeaves(3));
  await engine.quit();
});

function playedOut(moves) {
  const rules = new Rules();
  for (const text of moves) rules.play(text);
  return rules;
}

test('the initial position has 20, 400, 8902 and 197281 sequences of 1 to 4 moves', async (t) => {
  const engine = await startEngine(t);
  const counts = [];
  for (const depth of [1, 2, 3, 4]) counts.push((await perft(engine, depth)).count);
  assert.deepEqual(counts, [20, 400, 8902, 197281]);
  await engine.quit();
});
