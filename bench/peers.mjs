#!/usr/bin/env node
// SPDX-License-Identifier: MIT
//
// Compares the speed with that of other engines from Debian packages. The engines run in turn; the
// ratios in the table are above 1 where Quillon is faster.
//
// Usage: bench/peers.mjs [ROUNDS, 5]     a minute per round
// QUILLON_ENGINE is the engine measured (build/release/quillon). Speeds are per second of processor
// time, which other load on the machine affects least: nodes of one thread with a table of 256 MB
// (median of five positions), and leaves of perft, which only stockfish among the others can count.

import fs from 'node:fs';
import { engineFile } from '../tools/lib/command.mjs';
import { quantile } from '../tools/lib/statistics.mjs';
import { Engine } from '../tools/lib/uci.mjs';

const own = engineFile();
const rounds = Number(process.argv[2] ?? 5);
if (process.argv.length > 3 || !(rounds > 0)) {
  console.error('usage: bench/peers.mjs [ROUNDS, 5]');
  process.exit(2);
}

const positions = [
  'startpos',
  'fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1',
  'fen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1',
  'fen r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10',
  'fen r1bq1rk1/pp1nbppp/2p1pn2/3p4/2PP1B2/2N1PN2/PPQ2PPP/R3KB1R w KQ - 4 8',
];
// No book, and no network if it can be switched off.
const known = { Hash: 256, Threads: 1, 'Number of Threads': 1, 'Use NNUE': false, OwnBook: false };

/** Nanoseconds that the threads of a process have run. */
function processorTime(pid) {
  const read = (task) => fs.readFileSync(`/proc/${pid}/task/${task}/schedstat`, 'latin1');
  const tasks = fs.readdirSync(`/proc/${pid}/task`);
  return tasks.reduce((sum, task) => sum + Number(read(task).split(' ')[0]), 0);
}

/** Millions of nodes per second between the first and the last line with a node count: some engines
 *  prepare for a long time when a search begins. */
async function nodes(engine) {
  const rates = [];
  for (const position of positions) {
    const seen = [];
    await engine.newGame();
    await engine.search(position, 'movetime 1000', (info) => {
      if (info.nodes > 0) seen.push([info.nodes, processorTime(engine.child.pid)]);
    });
    if (seen.length < 2) throw new Error(`${engine.name} prints too few lines: ${position}`);
    const [[firstNodes, firstTime], [lastNodes, lastTime]] = [seen[0], seen.at(-1)];
    rates.push(((lastNodes - firstNodes) * 1e3) / (lastTime - firstTime));
  }
  return quantile(rates, 0.5);
}

/** Millions of leaves per second six plies below the start. */
async function perft(engine) {
  engine.send('position startpos');
  await engine.isReady();
  const before = processorTime(engine.child.pid);
  engine.send(engine.file === own ? 'perft 6' : 'go perft 6');
  await engine.until(/\b119060324\b/, 60000);
  return 119060324e3 / (processorTime(engine.child.pid) - before);
}

const peers = ['stockfish', 'toga2', 'glaurung', 'ethereal-chess'].filter((name) => {
  if (fs.existsSync(`/usr/games/${name}`)) return true;
  console.error(`peers.mjs: ${name} is left out; please install its Debian package`);
  return false;
});
const files = [own, ...peers.map((name) => `/usr/games/${name}`)];
const speeds = { nodes: files.map(() => []), perft: files.map(() => []) };
for (let round = 0; round < rounds; round++) {
  console.error(`round ${round + 1} of ${rounds}`);
  for (const [i, file] of files.entries()) {
    const engine = await Engine.start(file, { known });
    speeds.nodes[i].push(await nodes(engine));
    if (i === 0 || file.endsWith('/stockfish')) speeds.perft[i].push(await perft(engine));
    await engine.quit();
  }
}

const median = (values) => quantile(values, 0.5).toFixed(2);
console.log('| measurement | Quillon | peer | ratio |\n|---|---|---|---|');
for (const [what, [ours, ...others]] of Object.entries(speeds)) {
  for (const [i, theirs] of others.entries()) {
    if (!theirs.length) continue;
    const ratios = ours.map((speed, round) => speed / theirs[round]);
    const [low, high] = [0.25, 0.75].map((share) => quantile(ratios, share).toFixed(2));
    console.log(`| ${what} | ${median(ours)} M/s | ${peers[i]}: ${median(theirs)} M/s | ` +
      `${median(ratios)} (${low} to ${high}) |`);
  }
}
