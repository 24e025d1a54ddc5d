#!/usr/bin/env node
// SPDX-License-Identifier: MIT
//
// Compares several threads with one on the positions of the node signature. Prints the ratios of
// nodes per second and of the time to a depth, as medians with quartiles. Each search begins with a
// cleared table of 256 MB whose memory has been touched, as in a game after "ucinewgame". Positions
// that one thread searches in less than 0.3 seconds are left out.
//
// Usage: bench/threads.mjs [DEPTH, 20] [THREADS, 2]
// QUILLON_ENGINE is the engine measured (build/release/quillon).

import fs from 'node:fs';
import { engineFile } from '../tools/lib/command.mjs';
import { quantile } from '../tools/lib/statistics.mjs';
import { Engine } from '../tools/lib/uci.mjs';

const [depth, threads] = [process.argv[2] ?? '20', process.argv[3] ?? '2'].map(Number);
if (process.argv.length > 4 || !(depth > 0) || !(threads > 0)) {
  console.error('usage: bench/threads.mjs [DEPTH, 20] [THREADS, 2]');
  process.exit(2);
}

const listing = fs.readFileSync(new URL('positions.h', import.meta.url), 'utf8');
const fens = [...listing.matchAll(/^ {4}"(.+)",$/gm)].map((match) => match[1]);

const start = (count) => Engine.start(engineFile(), { options: { Hash: 256, Threads: count } });

/** Nodes, and seconds of wall time. */
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
    // They take turns in running first.
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
