// SPDX-License-Identifier: MIT
//
// Measures an engine and others in turn and prints a table of ratios; above 1 the first engine is
// faster. Speeds are by processor time, which other work on the machine disturbs least, start-up
// by the clock. Run by bench/peers.sh.
//
// Usage: node bench/peers.mjs ROUNDS ENGINE PEER...
//
//   row              | one value a round
//   -----------------|--------------------------------------------------------------------------
//   nodes            | median over five positions of the nodes a second of one thread, 256 MB
//   perft ...        | leaves a second; stockfish alone of the peers counts them
//   start            | from the start of the process to "readyok" with a table of 256 MB
//   memory           | resident then
//
// A second table tells what two threads do against one of the same engine, for the first engine
// and stockfish: by the clock, and by processor time, which is what two idle processors would give.

import fs from 'node:fs';
import path from 'node:path';
import { quantile } from '../tools/lib/statistics.mjs';
import { Engine } from '../tools/lib/uci.mjs';

const [rounds, ...files] = process.argv.slice(2);
if (!(Number(rounds) > 0) || files.length < 2) {
  console.error('usage: node bench/peers.mjs ROUNDS ENGINE PEER...');
  process.exit(2);
}

const kiwipete = 'r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1';
const quiet = 'r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10';
const positions = [
  'startpos',
  `fen ${kiwipete}`,
  'fen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1',
  `fen ${quiet}`,
  'fen r1bq1rk1/pp1nbppp/2p1pn2/3p4/2PP1B2/2N1PN2/PPQ2PPP/R3KB1R w KQ - 4 8',
];
const counts = [
  { name: 'perft 6, start', position: 'startpos', depth: 6 },
  { name: 'perft 5, Kiwipete', position: `fen ${kiwipete}`, depth: 5 },
  { name: 'perft 5, quiet', position: `fen ${quiet}`, depth: 5 },
];
const searchTime = 1000;

/** Nanoseconds that the threads of a process have run. */
function processorTime(pid) {
  let sum = 0;
  for (const task of fs.readdirSync(`/proc/${pid}/task`)) {
    try {
      sum += Number(fs.readFileSync(`/proc/${pid}/task/${task}/schedstat`, 'latin1').split(' ')[0]);
    } catch {
      // A thread that has ended since the folder was read.
    }
  }
  return sum;
}

// A table of 256 MB, no book, no network where that can be switched off.
const settings = { Hash: 256, 'Use NNUE': false, OwnBook: false };

function fail(text) {
  console.error(`peers.mjs: ${text}`);
  process.exit(1);
}

async function withEngine(file, threads, job) {
  const known = { ...settings, Threads: threads, 'Number of Threads': threads };
  const engine = await Engine.start(file, { known, patience: 60000 });
  const result = await job(engine);
  await engine.quit();
  return result;
}

/** Nodes by the clock and by the processor, per second, between the first and the last line that
 *  tells nodes: some engines prepare for long when a search begins, and some say nothing at its
 *  end. */
function search(file, threads, position, attempts = 3) {
  return withEngine(file, threads, async (engine) => {
    let first;
    let last;
    // Clears the table, and so has the system find its memory before the search.
    await engine.newGame();
    await engine.search(position, `movetime ${searchTime}`, ({ nodes }) => {
      if (!(nodes > 0)) return;
      last = { nodes, clock: performance.now() * 1e6, processor: processorTime(engine.child.pid) };
      first ??= last;
    });
    if (!(last?.nodes > first?.nodes)) return null;
    const rate = (unit) => ((last.nodes - first.nodes) * 1e9) / (last[unit] - first[unit]);
    return { clock: rate('clock'), processor: rate('processor') };
  }).then((rates) => {
    // On a machine that is busy elsewhere a search may be over before its second line.
    if (!rates && attempts === 1) fail(`${file} tells no nodes on its way: ${position}`);
    return rates ?? search(file, threads, position, attempts - 1);
  });
}

const isStockfish = (file) => path.basename(file) === 'stockfish';
const hasAllRows = (file) => file === files[0] || isStockfish(file);

/** Leaves, and how many in a second. Only the count is timed, not the start of the process. */
function count(file, { position, depth }) {
  return withEngine(file, 1, async (engine) => {
    const [command, pattern] = isStockfish(file)
      ? ['go perft', /^Nodes searched: (\d+)/]
      : ['perft', /^Perft results for depth: \d+ +(\d+)/];
    engine.send(`position ${position}`);
    await engine.isReady();
    const before = processorTime(engine.child.pid);
    engine.send(`${command} ${depth}`);
    const leaves = Number((await engine.until(pattern)).at(-1).match(pattern)[1]);
    return { leaves, rate: (leaves * 1e9) / (processorTime(engine.child.pid) - before) };
  });
}

/** Milliseconds to "readyok", and megabytes resident then. */
function start(file) {
  return withEngine(file, 1, (engine) => {
    const milliseconds = performance.now() - engine.started;
    const status = fs.readFileSync(`/proc/${engine.child.pid}/status`, 'latin1');
    return { milliseconds, memory: Number(status.match(/^VmRSS:\s+(\d+) kB/m)[1]) / 1024 };
  });
}

const median = (values) => quantile(values, 0.5);

// Values of each row by engine, one a round.
const rows = new Map();
function enter(row, file, value) {
  if (!rows.has(row)) rows.set(row, new Map());
  const byFile = rows.get(row);
  if (!byFile.has(file)) byFile.set(file, []);
  byFile.get(file).push(value);
}

process.on('unhandledRejection', (error) => fail(error.message));

for (let round = 0; round < Number(rounds); round++) {
  process.stderr.write(`round ${round + 1} of ${rounds}\n`);
  // No engine always runs first.
  const turn = round % 2 ? [...files].reverse() : files;

  const speeds = new Map(files.map((file) => [file, []]));
  for (const position of positions) {
    for (const file of turn) speeds.get(file).push((await search(file, 1, position)).processor);
  }
  for (const file of files) enter('nodes', file, median(speeds.get(file)) / 1e6);

  const counters = turn.filter(hasAllRows);
  for (const job of counters.length > 1 ? counts : []) {
    const leaves = new Set();
    for (const file of counters) {
      const result = await count(file, job);
      leaves.add(result.leaves);
      enter(job.name, file, result.rate / 1e6);
    }
    if (leaves.size > 1) fail(`${job.name}: the counts differ: ${[...leaves].join(', ')}`);
  }

  for (const file of turn) {
    const starts = [];
    for (let i = 0; i < 5; i++) starts.push(await start(file));
    enter('start', file, median(starts.map((s) => s.milliseconds)));
    enter('memory', file, median(starts.map((s) => s.memory)));
  }

  for (const file of turn.filter(hasAllRows)) {
    const one = await search(file, 1, `fen ${quiet}`);
    const two = await search(file, 2, `fen ${quiet}`);
    enter('threads, clock', file, two.clock / one.clock);
    enter('threads, processor', file, (2 * two.processor) / one.processor);
  }
}

const units = { nodes: 'M/s', start: 'ms', memory: 'MB' };
const widths = [18, 14, 11, 11, 5, 0];
const line = (...cells) => `| ${cells.map((cell, i) => cell.padEnd(widths[i])).join(' | ')} |`;
const spread = (values) => [
  median(values).toFixed(2),
  `${quantile(values, 0.25).toFixed(2)} to ${quantile(values, 0.75).toFixed(2)}`,
];
console.log(line('measurement', 'peer', 'ours', 'theirs', 'ratio', 'quartiles'));
console.log('|---|---|---|---|---|---|');
for (const [row, byFile] of rows) {
  if (row.startsWith('threads')) continue;
  const ours = byFile.get(files[0]);
  const less = row === 'start' || row === 'memory';
  const unit = units[row] ?? 'M/s';
  for (const file of files.slice(1).filter((peer) => byFile.has(peer))) {
    const theirs = byFile.get(file);
    const ratios = ours.map((own, i) => (less ? theirs[i] / own : own / theirs[i]));
    console.log(line(row, path.basename(file), `${median(ours).toFixed(2)} ${unit}`,
      `${median(theirs).toFixed(2)} ${unit}`, ...spread(ratios)));
  }
}
console.log();
console.log('| two against one | engine | ratio | quartiles |');
console.log('|---|---|---|---|');
for (const row of ['threads, clock', 'threads, processor']) {
  for (const [file, ratios] of rows.get(row)) {
    console.log(`| ${row} | ${path.basename(file)} | ${spread(ratios).join(' | ')} |`);
  }
}
