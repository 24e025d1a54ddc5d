// SPDX-License-Identifier: MIT
//
// Files of analysed games, one record for each game of the input: PGN, JSON lines or CSV. A record
// has the number of its game, so that a run can go on where the file ends, and the files of shards
// can be merged.

import fs from 'node:fs';
import path from 'node:path';
import { csvRow } from './suite.mjs';

const columns = [
  ...['game', 'ply', 'move', 'fen', 'cp', 'mate', 'depth', 'best', 'line', 'loss', 'mark'],
  ...['white', 'black', 'result', 'problem'],
];
const formats = {
  pgn: {
    begin: '[Event "',
    first: /^\[Event "/,
    number: /^\[GameNumber "(\d+)"\]$/m,
    end: /(^|\s)(1-0|0-1|1\/2-1\/2|\*)\n\n$/,
  },
  jsonl: { begin: '{"game":', number: /^\{"game":(\d+),/, end: /\}\n$/ },
  // The last row of a game has no move.
  csv: { begin: `${columns}\n`, number: /^(\d+),/, end: /(^|\n)\d+,\d*,,.*\n$/ },
};

/** The format of a file by the end of its name: "pgn", "jsonl" or "csv"; undefined for others.
 *  @param {string} file */
export function formatOf(file) {
  const kind = path.extname(file).slice(1).toLowerCase();
  return Object.hasOwn(formats, kind) ? kind : undefined;
}

/** What a file begins with, before its first record. */
export const headOf = (format) => (format === 'csv' ? formats.csv.begin : '');

/** The rows of a game: one for each position, and one for what is left out. */
export function csvRows(game, { tree, positions, problem }, results, { moves }) {
  const { White: white, Black: black } = tree.tags;
  const rows = results.map(({ score, depth, best, line }, ply) => {
    const { fen, played: move } = positions[ply];
    const { loss, mark } = moves[ply] ?? {};
    const given = { ply, move, fen, ...score, depth, best, line: line.join(' ') };
    return { ...given, loss: loss?.toFixed(2), mark: mark?.text };
  });
  if (problem || !rows.length) rows.push({ problem });
  const common = { game, white, black, result: tree.result };
  // A row is a line, so that the last one tells whether it is complete.
  const cell = (value) => String(value ?? '').replace(/\s*[\r\n]+\s*/g, ' ');
  return rows
    .map((row) => `${csvRow(columns.map((name) => cell({ ...row, ...common }[name])))}\n`)
    .join('');
}

async function* linesOf(file) {
  let rest = '';
  for await (const piece of fs.createReadStream(file, 'utf8')) {
    const lines = (rest + piece).split('\n');
    rest = lines.pop();
    for (const line of lines) yield `${line}\n`;
  }
  if (rest) yield rest;
}

/** Reads the records of a file, one at a time.
 *  @param {string} file
 *  @returns {AsyncGenerator<{game: number, text: string, start: number, isWhole: boolean}>} game
 *      NaN if it has no number; `start` in bytes
 *  @throws if the file can't be read or begins with something else */
async function* readRecords(file) {
  const format = formatOf(file);
  const { begin, first, number, end } = formats[format];
  const numberOf = (text) => Number(text.match(number)?.[1]);
  const isWhole = ({ lines }) => end.test(lines.slice(-2).join(''));
  /** Whether a line begins a record. The rest of an unfinished line doesn't. */
  const isNext = (line, record) => {
    if (first) return isWhole(record) || first.test(line);
    const isOther = numberOf(line) !== numberOf(record.lines[0]);
    return isOther && (isWhole(record) || numberOf(line) > 0);
  };
  const finish = (record) => {
    const text = record.lines.join('');
    return { start: record.start, text, game: numberOf(text), isWhole: isWhole(record) };
  };
  let record = null;
  let at = 0;
  for await (const line of linesOf(file)) {
    if (!at && !line.startsWith(begin) && !begin.startsWith(line)) {
      throw new Error(`${file} isn't a file of results from --out`);
    }
    if (record && isNext(line, record)) {
      yield finish(record);
      record = null;
    }
    if (at || line !== headOf(format)) record ??= { start: at, lines: [] };
    record?.lines.push(line);
    at += Buffer.byteLength(line);
  }
  if (record) yield finish(record);
}

/** Cuts off an incomplete record at the end of a file.
 *  @param {string} file need not exist
 *  @returns {Promise<number>} the last game in it, 0 for none
 *  @throws if it can't be read or isn't a file of results */
export async function lastGame(file) {
  let last = 0;
  let cut = null;
  if (!fs.existsSync(file)) return last;
  for await (const { game, text, start, isWhole } of readRecords(file)) {
    const isForeign = Number.isNaN(game) && (isWhole || /\n\s*\n/.test(text));
    if (isForeign || cut !== null) throw new Error(`${file} has a record that --out didn't write`);
    if (isWhole) last = game;
    else cut = start;
  }
  if (cut !== null) fs.truncateSync(file, cut);
  return last;
}

/** The records of several files in the order of their games.
 *  @param {string[]} files of one format
 *  @returns {AsyncGenerator<string>}
 *  @throws if a game is missing, incomplete or present twice */
export async function* mergeRecords(files) {
  const sources = files.map((file) => ({ file, records: readRecords(file), head: null }));
  const advance = async (source) => {
    const { file, records, head: before } = source;
    source.head = (await records.next()).value ?? null;
    const { game, isWhole } = source.head ?? {};
    if (isWhole === false) throw new Error(`${file} is incomplete; please finish it with --resume`);
    if (game <= before?.game) throw new Error(`${file} has game ${game} after ${before.game}`);
  };
  for (const source of sources) await advance(source);
  for (let game = 1; sources.some(({ head }) => head); game++) {
    const [source, other] = sources.filter(({ head }) => head?.game === game);
    if (!source) throw new Error(`game ${game} is missing; is there a file for each shard?`);
    if (other) throw new Error(`game ${game} is in ${source.file} and in ${other.file}`);
    yield source.head.text;
    await advance(source);
  }
}
