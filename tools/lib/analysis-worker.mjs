// SPDX-License-Identifier: MIT
//
// A thread of tools/analyse: analyses jobs, one after the other, with an engine of its own.
//
// It is sent { job } (a Job with its numbers `index` and `game` in the run), { stop: true } to end
// a search, and { quit: true }. It sends
//   { lines }    to print
//   { problem }  what it has left out
//   { share }    how much of the job is done
//   { done }     at the end of a job: { pgn, record }, the annotated game and what goes to the file
//                of results, null if the job was interrupted
//   { fatal }    there is no engine

import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { parentPort, workerData as settings } from 'node:worker_threads';
import { analysePosition, formatHead, formatRows, outputFile, readGame } from './analysis.mjs';
import { engineFile, startEngine } from './command.mjs';
import { reportHtml } from './report-html.mjs';
import { addReasons, annotatedPgn, formatReport, makeReport, swingsOf } from './report.mjs';
import { csvRows } from './results.mjs';
import { drawScores } from './score-graph.mjs';

const { format, json } = settings;
let engine = null;
let engineName = '';
let isStopped = false;
const send = (message) => parentPort.postMessage(message);
const print = (...lines) => send({ lines });

async function wakeEngine() {
  try {
    engine ??= await startEngine(settings.engine, settings.options);
    engineName = engine.name;
  } catch ({ message }) {
    send({ fatal: message });
    await new Promise(() => {}); // the program exits
  }
}

/** Compares two positions with the quillon_explain beside the engine. Returns null if it can't. */
function compare(...fens) {
  const program = engineFile(settings.engine);
  if (!program.includes('/')) return null;
  const explain = path.resolve(path.dirname(program), 'quillon_explain');
  try {
    return JSON.parse(execFileSync(explain, ['--json', ...fens], { stdio: 'pipe' }));
  } catch {
    return null;
  }
}

/** Analyses positions; starts over once if the engine fails.
 *  @param {import('./analysis.mjs').Position[]} positions
 *  @param {(index: number, result: object) => void} show called for each result
 *  @returns {Promise<{results: object[], problem: ?string}>} */
async function searchAll(positions, show) {
  let shown = 0;
  if (!positions.length) return { results: [], problem: null };
  for (let isAgain = false; ; isAgain = true) {
    const results = [];
    await wakeEngine();
    try {
      // They share the transposition table.
      await engine.newGame();
      for (const position of positions) {
        const result = isStopped || (await analysePosition(engine, position, settings.limits));
        // A search that is interrupted is incomplete.
        if (isStopped) break;
        if (results.length === shown) show(shown++, result);
        results.push(result);
        send({ share: results.length / positions.length });
      }
      return { results, problem: null };
    } catch ({ message }) {
      engine.kill();
      engine = null;
      // Ctrl-C in a terminal ends the engines too, perhaps before this thread hears of it.
      await new Promise((resolve) => setTimeout(resolve, 100));
      if (isStopped) return { results, problem: null };
      if (isAgain) return { results, problem: `${positions[results.length].name}: ${message}` };
    }
  }
}

const rowOf = ({ name, fen, played, end }, result) => ({ name, fen, played, end, ...result });

/** Reads and searches a job, and prints its table. */
async function analyse(job) {
  const { input, number, position, game } = job;
  const work = position ? { title: input, positions: [position], problem: null } : readGame(job);
  const { title, tree, positions } = work;
  const complain = (problem) =>
    send({ problem: `${input}${position ? '' : `, game ${number}`}, ${problem}` });
  if (work.problem) complain(work.problem);
  const isPrinted = !format && positions.length > 0;
  const width = job.width ?? Math.max(8, ...positions.map(({ name }) => name.length));
  await wakeEngine();
  if (isPrinted && !json && (tree || number === 1)) {
    if (job.index) print('');
    if (tree) print(`${title}\n`);
    print(formatHead(tree ? 'played' : 'position', width));
  }
  const { results, problem } = await searchAll(positions, (index, result) => {
    if (!isPrinted) return;
    const row = rowOf(positions[index], result);
    if (json) print(JSON.stringify({ game, input: title, ...row }));
    else print(...formatRows(positions[index], result, width));
  });
  if (problem) complain(problem);
  work.problem ??= problem;
  return tree ? finish(job, work, results) : {};
}

/** Prints the swings of a game or its report, and makes its files, from the results so far. */
async function finish({ game, isOnly }, work, results) {
  const { title, tree, positions, problem } = work;
  const isAnnotated = settings.pgn || format === 'pgn';
  const report = makeReport(tree, results);
  if (settings.report || settings.html || isAnnotated) await addReasons(report, compare);
  const swings = swingsOf(report);
  const summary = {
    game,
    input: title,
    result: tree.result,
    swings: swings.map(({ index, loss, text }) => ({ index, loss, text })),
    report: settings.report ? report : undefined,
    problem: problem ?? undefined,
  };
  if (!format && positions.length) {
    if (json) print(JSON.stringify(summary));
    else if (settings.report) print(`\n${formatReport(report)}`.trimEnd());
    else if (results.length > 1) {
      print(swings.length ? '\nLargest swings:' : '\nNo large swings.');
      for (const { text } of swings) print(`  ${text}`);
    }
  }

  const how = `${engineName}, ${settings.effort}`;
  const write = (option, text) => {
    if (!settings[option] || !positions.length) return;
    const file = outputFile(settings[option], game, isOnly && settings.isOneFile, option);
    try {
      fs.writeFileSync(file, text());
    } catch ({ message }) {
      send({ problem: `cannot write ${file}: ${message}` });
    }
  };
  const scores = report.scores.slice(0, results.length).map((score) => ({ score }));
  const subtitle = `${tree.result}, ${how}; White's score in pawns`;
  write('svg', () => drawScores({ title, positions, results: scores, swings, subtitle }));
  write('html', () => reportHtml(tree, report, { engine: how }));

  const annotate = () => {
    const last = tree.lineFrom().at(-1) ?? tree.root;
    if (problem) tree.setComment(last, `${last.comment} Incomplete: ${problem}`);
    if (format) tree.tags.GameNumber = String(game);
    return `${annotatedPgn(tree, report, how)}\n`;
  };
  const records = {
    pgn: (pgn) => pgn,
    csv: () => csvRows(game, work, results, report),
    jsonl: () => {
      const rows = results.map((result, i) => rowOf(positions[i], result));
      return `${JSON.stringify({ ...summary, tags: tree.tags, positions: rows })}\n`;
    },
  };
  const pgn = isAnnotated ? annotate() : '';
  return { pgn, record: format && !isStopped ? records[format](pgn) : null };
}

/** Does a job. An unexpected error costs only that game. */
async function take(job) {
  try {
    return await analyse(job);
  } catch ({ message: problem }) {
    send({ problem: `${job.input}, ${job.number}: ${problem}` });
    if (job.position) return {};
    return finish(job, { ...readGame({ ...job, text: '*' }), positions: [], problem }, []);
  }
}

parentPort.on('message', async ({ job, quit }) => {
  if (job) {
    send({ done: await take(job) });
    return;
  }
  isStopped = true;
  engine?.stop();
  if (!quit) return;
  if (engine?.isSearching) engine.kill();
  else if (engine?.isRunning) await engine.quit();
  parentPort.close();
});
