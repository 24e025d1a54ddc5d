#!/usr/bin/env node
// SPDX-License-Identifier: MIT
//
// What several threads do against one: by the clock, on the positions of the node signature, in
// turn. Prints the ratios of nodes per second and of the time to a depth, median and quartiles.
// Each search begins with a cleared table of 256 MB, whose memory has been touched before, as in a
// game after "ucinewgame". Positions that one thread finishes within 0.3 seconds are left out.
//
// Usage: bench/threads.mjs [DEPTH, 20] [THREADS, 2]
// QUILLON_ENGINE is the engine measured (build/release/quillon).

import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { quantile } from '../tools/lib/statistics.mjs';
import { Engine } from '../tools/lib/uci.mjs';

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..');
const file = process.env.QUILLON_ENGINE ?? path.join(root, 'build', 'release', 'quillon');
const [depth, threads] = [process.argv[2] ?? '20', process.argv[3] ?? '2'].map(Number);
if (process.argv.length > 4 || !(depth > 0) || !(threads > 0)) {
  console.error('usage: bench/threads.mjs [DEPTH, 20] [THREADS, 2]');
  process.exit(2);
}

const listing = fs.readFileSync(path.join(root, 'bench', 'positions.h'), 'utf8');
const fens = [...listing.matchAll(/^ {4}"(.+)",$/gm)].map((match) => match[1]);

function start(count) {
  return Engine.start(file, { options: { Hash: 256, Threads: count } });
}

/** Nodes, and seconds by the clock. */
async function search(engine, fen) {
  await engine.newGame();
  const begin = performance.now();
  const { info } = await engine.search(`fen ${fen}`, `depth ${depth}`);
  return { nodes: info.nodes, seconds: (performance.now() - begin) / 1000 };
}

function report(name, values) {
  const [low, middle, high] = [0.25, 0.5, 0.75].map((share) => quantile(values, share).toFixed(2));
  console.log(`${name}: ${middle} (quartiles ${low} to ${high})`);
}

try {
  const [one, many] = [await start(1), await start(threads)];
  const speeds = [];
  const times = [];
  for (const [i, fen] of fens.entries()) {
    const results = new Map();
    // Neither always runs first.
    for (const engine of i % 2 ? [one, many] : [many, one]) {
      results.set(engine, await search(engine, fen));
    }
    const [a, b] = [results.get(one), results.get(many)];
    if (a.seconds < 0.3) continue;
    speeds.push(b.nodes / b.seconds / (a.nodes / a.seconds));
    times.push(b.seconds / a.seconds);
  }
  await Promise.all([one.quit(), many.quit()]);
  if (!speeds.length) throw new Error(`no search to depth ${depth} takes 0.3 seconds`);
  console.log(`${speeds.length} of ${fens.length} positions, ${threads} threads against one`);
  report('nodes per second', speeds);
  report(`time to depth ${depth}`, times);
} catch (error) {
  console.error(`threads.mjs: ${error.message}`);
  process.exit(1);
}
