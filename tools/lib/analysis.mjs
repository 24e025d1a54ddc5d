// SPDX-License-Identifier: MIT
//
// Analyses positions and games with an engine: what each position is worth, what is best in it,
// and where a game swung.

import fs from 'node:fs';
import {
  Chess,
  endOf,
  expectation,
  looksLikeFen,
  moveNumber,
  numbered,
  playersOf,
  playUci,
  readFen,
  readGames,
  readScore,
  sanLine,
  scoreText,
} from './chess.mjs';
import { parseEpd } from './epd.mjs';

/** Something to analyse: a game, or positions that have nothing to do with each other.
 *  @typedef {object} Work
 *  @property {'game' | 'positions'} kind
 *  @property {string} title
 *  @property {Position[]} positions
 *  @property {?string} result of a game
 *  @property {boolean} [isArgument] whether it comes from the command line itself
 *
 *  @typedef {object} Position
 *  @property {string} name what stands in the first column
 *  @property {string} start FEN of the game's beginning, or of the position
 *  @property {string[]} moves from there, in the engine protocol's notation
 *  @property {string} fen
 *  @property {?string} played the move of the game
 *  @property {?string} end why there is nothing to search, as `endOf` says it */

function positionOf(name, chess) {
  return { name, start: chess.fen(), moves: [], fen: chess.fen(), played: null, end: endOf(chess) };
}

function gameWork(game, number, total) {
  const chess = new Chess(game.start);
  const positions = [];
  const add = (played) => {
    const fen = chess.fen();
    const name = played ? `${moveNumber(fen)} ${played.san}` : 'end';
    // In the middle of a game the players have claimed no draw.
    const end = endOf(chess, !played);
    const moves = game.moves.slice(0, positions.length).map((move) => move.lan);
    positions.push({ name, start: game.start, moves, fen, played: played?.san ?? null, end });
  };
  for (const move of game.moves) {
    add(move);
    chess.move(move.san);
  }
  add(null);
  const title = playersOf(game.tags) + (total > 1 ? ` (game ${number} of ${total})` : '');
  return { kind: 'game', title, positions, result: game.result };
}

/** Finds out what a text is.
 *  @param {string} text
 *  @returns {'epd' | 'pgn'} EPD records and FENs are one kind */
export function kindOf(text) {
  const line = text.split('\n').find((each) => each.trim() && !/^[#%]/.test(each)) ?? '';
  return looksLikeFen(line) || line.trim() === 'startpos' ? 'epd' : 'pgn';
}

function readRecords(text, input, complain) {
  const positions = [];
  for (const [i, line] of text.split('\n').entries()) {
    if (!line.trim() || line.startsWith('#')) continue;
    try {
      const record = line.trim() === 'startpos' ? null : parseEpd(line);
      const name = record?.operations.get('id') ?? String(positions.length + 1);
      positions.push(positionOf(name, record ? new Chess(record.fen) : readFen('startpos')));
    } catch (error) {
      complain(`${input}, line ${i + 1}: ${error.message}`);
    }
  }
  return positions.length ? [{ kind: 'positions', title: input, positions, result: null }] : [];
}

/** Reads what is to be analysed.
 *  @param {string} input a FEN, "startpos", or the name of `text`'s file
 *  @param {?string} text null for a FEN
 *  @param {(problem: string) => void} complain is told what had to be left out
 *  @param {'fen' | 'epd' | 'pgn' | undefined} kind what it is, when that is known
 *  @returns {Work[]} */
export function readWork(input, text, complain, kind) {
  if (text === null) {
    try {
      const positions = [positionOf('1', readFen(input))];
      return [{ kind: 'positions', title: 'positions', positions, result: null, isArgument: true }];
    } catch (error) {
      complain(`"${input}" is ${error.message}`);
      return [];
    }
  }
  if (!text.trim()) {
    complain(`${input}: there is nothing in it`);
    return [];
  }
  if ((kind ?? kindOf(text)) !== 'pgn') return readRecords(text, input, complain);
  const games = readGames(text);
  // Any text has words; text without tags that doesn't begin with a move isn't a game.
  if (games.every(({ tags, moves }) => !tags.size && !moves.length)) {
    complain(`${input}: neither positions nor games`);
    return [];
  }
  const works = [];
  for (const [i, game] of games.entries()) {
    if (game.error) complain(`${input}: game ${i + 1}: ${game.error}`);
    if (game.error && !game.moves.length) continue;
    works.push(gameWork(game, i + 1, games.length));
  }
  return works;
}

/** The score of a position in which the game is over. */
function finalScore({ end, fen }) {
  if (end !== 'checkmate') return { cp: 0 };
  return { mate: 0, winner: fen.split(' ')[1] === 'w' ? 'b' : 'w' };
}

/** Whether an engine is Quillon, whose habits are known.
 *  @param {import('./uci.mjs').Engine} engine */
export const isQuillon = (engine) => /^Quillon\b/.test(engine.name);

/** What follows "position". Engines take the first return to a position of the game for a
 *  draw, so they are told of the game only where a move completes a threefold repetition. */
function protocolPosition({ start, moves, fen }) {
  const chess = new Chess(start);
  for (const move of moves) playUci(chess, move);
  const isRepeated = chess.moves().some((move) => {
    chess.move(move);
    const isThird = chess.isThreefoldRepetition();
    chess.undo();
    return isThird;
  });
  return isRepeated ? `fen ${start} moves ${moves.join(' ')}` : `fen ${fen}`;
}

/** The longest of an engine's lines that begin with all of its last one: a line out of the table
 *  ends where the table has lost a position. */
function longestLine(last, lines) {
  const begin = last.join(' ');
  const goingOn = lines.filter((line) => `${line.join(' ')} `.startsWith(`${begin} `));
  return goingOn.reduce((longest, line) => (line.length > longest.length ? line : longest), last);
}

/** Whether the search is so much deeper than the mate that a shorter one is unlikely. */
function isShortestMate({ score, depth }) {
  if (score?.kind !== 'mate') return false;
  return Math.abs(score.value) <= 1 || depth >= 2 * Math.abs(score.value) + 8;
}

/** Analyses one position.
 *  @param {import('./uci.mjs').Engine} engine
 *  @param {Position} position
 *  @param {object} limits
 *  @param {number} [limits.time] milliseconds
 *  @param {number} [limits.depth] instead of time
 *  @param {number} [limits.patience] milliseconds after `time` in which it must answer
 *  @returns {Promise<{score: ?object, depth: ?number, best: ?string, line: string[]}>} the score is
 *      White's, null when the engine has given none; best and line are in standard notation
 *  @throws when the engine ends, doesn't answer or answers with an illegal move */
export async function analysePosition(engine, position, { time, depth, patience = 10000 }) {
  if (position.end) return { score: finalScore(position), depth: null, best: null, line: [] };

  const text = protocolPosition(position);
  // An engine that may play at once plays an only move without a word about it, and the first mate
  // that it sees; so it is told to stop when there is nothing better to be expected.
  const isForced = new Chess(position.fen).moves().length === 1;
  const isEnough = (info) => (depth ? info.depth >= Math.max(depth, 10) : isShortestMate(info));
  const isToDepth = depth && !isForced;
  const lines = [];
  const note = (info) => {
    if (info.pv && (info.multipv ?? 1) === 1) lines.push(info.pv);
    if (!isToDepth && isEnough(info)) engine.stop();
  };
  const limits = isToDepth ? `depth ${depth}` : 'infinite';
  const search = engine.search(text, limits, note, depth ? Infinity : time + patience);
  // A depth is searched for as long as it takes; an only move isn't worth more than a minute.
  const isTimed = time !== undefined || isForced;
  const timer = isTimed && setTimeout(() => engine.stop(), time ?? 60000);
  const { best, info, ponder } = await search.finally(() => clearTimeout(timer));

  const move = playUci(new Chess(position.fen), best ?? '');
  if (!move) throw new Error(`${engine.name} answers "${best}", which is not a legal move`);
  const how = { isBlack: position.fen.split(' ')[1] === 'b', isQuillon: isQuillon(engine) };
  // A search that ends within a depth may have come to another move than its last line.
  const moves = info.pv?.[0] === best ? longestLine(info.pv, lines) : [best, ponder ?? ''];
  return {
    score: info.score ? readScore(info.score, how) : null,
    depth: info.score ? info.depth : null,
    best: move.san,
    line: sanLine(position.fen, moves),
  };
}

/** The moves of a game that gave most away.
 *  @param {Position[]} positions of a game
 *  @param {object[]} results of `analysePosition`, as far as they have come
 *  @param {object} [how]
 *  @param {number} [how.count] at most so many
 *  @param {number} [how.least] of the point, 0 to 1
 *  @returns {{index: number, loss: number, mark: string, text: string}[]} in the order of the game;
 *      index is that of the position before the move */
export function swingsOf(positions, results, { count = 6, least = 0.1 } = {}) {
  const swings = [];
  for (let i = 0; i + 1 < results.length; i++) {
    const [before, after] = [results[i].score, results[i + 1].score];
    const { played, fen } = positions[i];
    // What the engine would have played as well is its own change of mind.
    if (!before || !after || !played || results[i].best === played) continue;
    const change = expectation(after) - expectation(before);
    const loss = fen.split(' ')[1] === 'w' ? -change : change;
    if (loss < least) continue;
    const mark = loss >= 0.3 ? '??' : loss >= 0.2 ? '?' : '?!';
    const better = numbered(fen, [results[i].best]);
    const text =
      `${numbered(fen, [played])}${mark} ` +
      `(${scoreText(before)} -> ${scoreText(after)}; better ${better})`;
    swings.push({ index: i, loss, mark, text });
  }
  const largest = swings.sort((a, b) => b.loss - a.loss).slice(0, count);
  return largest.sort((a, b) => a.index - b.index);
}

/** A row of the table.
 *  @param {Position} position
 *  @param {Awaited<ReturnType<typeof analysePosition>>} result
 *  @param {number} width of the first column */
export function formatRow(position, result, width) {
  const cells = [
    position.name.padEnd(width),
    scoreText(result.score).padStart(7),
    String(result.depth ?? '-').padStart(5),
    (result.best ?? '-').padEnd(7),
    position.end ?? numbered(position.fen, result.line),
  ];
  return cells.join('  ').trimEnd();
}

/** The head of the table. */
export function formatHead(kind, width) {
  const first = kind === 'game' ? 'played' : 'position';
  return [first.padEnd(width), '  score', 'depth', 'best   ', 'line'].join('  ');
}

/** Where a game's picture goes: the file itself, or one with the game's number.
 *  @param {string} file "score.svg"
 *  @param {number} number from 1
 *  @param {number} total of games */
export function pictureFile(file, number, total) {
  return total < 2 ? file : file.replace(/(\.svg)?$/i, `-${number}.svg`);
}

/** Whether an input names a file that exists. */
export const isFile = (input) => input === '-' || fs.existsSync(input);
