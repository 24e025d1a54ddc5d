// SPDX-License-Identifier: MIT
//
// Runs records of a test suite: what the engine plays, whether that is right, and when it settled
// on it.

import { Chess, playUci, readScore } from './chess.mjs';
import { parseEpd, taskOf } from './epd.mjs';
import { isQuillon } from './lines.mjs';
import { quantile } from './statistics.mjs';

/** Reads the records of a file.
 *  @param {string} text
 *  @param {(problem: string) => void} complain called for each line that is left out
 *  @returns {{id: string, fen: string, operations: Map<string, string>, task: object}[]} */
export function readSuite(text, complain) {
  const records = [];
  for (const [i, line] of text.replace(/^\uFEFF/, '').split('\n').entries()) {
    if (!line.trim() || line.startsWith('#')) continue;
    try {
      const record = parseEpd(line);
      const id = record.operations.get('id') ?? `line ${i + 1}`;
      records.push({ ...record, id, task: taskOf(record) });
    } catch (error) {
      complain(`line ${i + 1}: ${error.message}`);
    }
  }
  return records;
}

/** The task of a record as it is written there: "bm Nxf7 am Qd2". */
export function taskText({ operations }) {
  const names = ['bm', 'am', 'dm'].filter((name) => operations.has(name));
  return names.map((name) => `${name} ${operations.get(name)}`).join(' ');
}

/** Whether a move and its score solve a task.
 *  @param {{best: ?Set<string>, avoid: ?Set<string>, mate: ?number}} task
 *  @param {string} move in UCI notation
 *  @param {?{cp: number} | {mate: number}} score from the mover's view; null if there is none */
function isRight(task, move, score) {
  if ((task.best && !task.best.has(move)) || task.avoid?.has(move)) return false;
  return !task.mate || (score?.mate > 0 && score.mate <= task.mate);
}

/** Runs a record.
 *  @param {import('./uci.mjs').Engine} engine
 *  @param {{fen: string, task: object}} record
 *  @param {number} time milliseconds
 *  @param {object} [how]
 *  @param {boolean} [how.isInfinite] search with "go infinite" and stop when the time is over
 *  @param {number} [how.patience] milliseconds after `time` within which the engine must answer
 *  @returns {Promise<{isSolved: boolean, played: string, time: ?number, depth: ?number,
 *      score: ?object}>} played in standard notation; time in milliseconds of the first of the last
 *      lines that all had the right move, null if it isn't solved; score from the mover's view
 *  @throws if the engine exits, doesn't answer or answers with an illegal move */
export async function runRecord(engine, { fen, task }, time, how = {}) {
  const { isInfinite = false, patience = 10000 } = how;
  const habits = { isQuillon: isQuillon(engine) };
  const begin = performance.now();
  let since = null;
  let score = null;
  let depth = null;
  const search = engine.search(
    `fen ${fen}`,
    isInfinite ? 'infinite' : `movetime ${time}`,
    (info) => {
      if (!info.score || !info.pv || (info.multipv ?? 1) !== 1 || info.score.bound) return;
      score = readScore(info.score, habits);
      depth = info.depth ?? null;
      if (!isRight(task, info.pv[0], score)) since = null;
      else since ??= info.time ?? performance.now() - begin;
    },
    time + patience,
  );
  const timer = isInfinite && setTimeout(() => engine.stop(), time);
  const { best } = await search.finally(() => clearTimeout(timer));
  const move = playUci(new Chess(fen), best ?? '');
  if (!move) throw new Error(`${engine.name} answers "${best}", which is not a legal move`);
  const isSolved = isRight(task, best, score);
  // The last line may have had a different move, or there was no line.
  since ??= performance.now() - begin;
  return { isSolved, played: move.san, time: isSolved ? Math.round(since) : null, depth, score };
}

/** Totals of results.
 *  @param {{isSolved: boolean, time: ?number}[]} results
 *  @returns {{solved: number, total: number, mean: ?number, median: ?number}} times of the solved
 *      ones in milliseconds, null if there is none */
export function totalsOf(results) {
  const times = results.filter(({ isSolved }) => isSolved).map(({ time }) => time);
  const solved = times.length;
  const mean = solved ? times.reduce((sum, time) => sum + time) / solved : null;
  return { solved, total: results.length, mean, median: solved ? quantile(times, 0.5) : null };
}

/** A line of totals: "87 of 100 solved (87.0 %), time to solution: mean 0.21 s, median 0.05 s". */
export function totalsText({ solved, total, mean, median }) {
  const seconds = (milliseconds) => `${(milliseconds / 1000).toFixed(2)} s`;
  const text = `${solved} of ${total} solved (${((100 * solved) / total).toFixed(1)} %)`;
  const times = `, time to solution: mean ${seconds(mean)}, median ${seconds(median)}`;
  return solved ? text + times : text;
}

/** A row of a CSV file. */
export function csvRow(cells) {
  return cells
    .map((cell) => String(cell ?? ''))
    .map((text) => (/[",\n]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text))
    .join(',');
}
