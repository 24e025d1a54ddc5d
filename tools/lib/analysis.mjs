// SPDX-License-Identifier: MIT
//
// Reads positions and games, analyses them with an engine and prints what it finds.

import fs from 'node:fs';
import {
  Chess,
  endOf,
  looksLikeFen,
  moveNumber,
  numbered,
  playersOf,
  readFen,
  sanLine,
  scoreText,
} from './chess.mjs';
import { parseEpd } from './epd.mjs';
import { listGames, problemText } from './game-tree.mjs';
import { searchLines } from './lines.mjs';

/** A game, or a list of unrelated positions.
 *  @typedef {object} Work
 *  @property {'game' | 'positions'} kind
 *  @property {string} title
 *  @property {Position[]} positions
 *  @property {?string} result of a game
 *  @property {import('./game-tree.mjs').GameTree} [tree] the whole of a game
 *
 *  @typedef {object} Position
 *  @property {string} name for the first column
 *  @property {string} start FEN of the first position of the game
 *  @property {string[]} moves from there, in UCI notation
 *  @property {string} fen
 *  @property {?string} played the move of the game, in SAN
 *  @property {?string} end why the game is over, from `endOf`; null if it isn't */

function gameWork(tree, line, title) {
  const nodes = [tree.root, ...line];
  const positions = nodes.map(({ fen }, i) => {
    const played = line[i]?.san ?? null;
    const name = played ? `${moveNumber(fen)} ${played}` : 'end';
    // A draw that has to be claimed ends a game only where its moves end.
    const end = played ? endOf(new Chess(fen), false) : endOf(tree.chessAt(nodes[i]));
    // Nothing before the last capture or pawn move can be repeated.
    const first = Math.max(0, i - Number(fen.split(' ')[4]));
    const moves = line.slice(first, i).map(({ uci }) => uci);
    return { name, start: nodes[first].fen, moves, fen, played, end };
  });
  return { kind: 'game', title, positions, result: tree.result, tree };
}

/** Tells records (EPD or FEN) from games by the first line that is not a comment.
 *  @param {string} text
 *  @returns {'epd' | 'pgn'} */
export function kindOf(text) {
  const line = text.split('\n').find((each) => each.trim() && !/^[#%]/.test(each)) ?? '';
  return looksLikeFen(line) || line.trim() === 'startpos' ? 'epd' : 'pgn';
}

function readRecords(title, text, complain) {
  const positions = [];
  for (const [i, line] of text.split('\n').entries()) {
    if (!line.trim() || line.startsWith('#')) continue;
    try {
      const record = line.trim() === 'startpos' ? null : parseEpd(line);
      const chess = record ? new Chess(record.fen) : readFen('startpos');
      const fen = chess.fen();
      const name = record?.operations.get('id') ?? String(positions.length + 1);
      positions.push({ name, start: fen, moves: [], fen, played: null, end: endOf(chess) });
    } catch (error) {
      complain(`${title}, line ${i + 1}: ${error.message}`);
    }
  }
  return positions.length ? [{ kind: 'positions', title, positions, result: null }] : [];
}

/** Reads the text of a file.
 *  @param {string} title the name of the file
 *  @param {string} text
 *  @param {(problem: string) => void} complain called for each part that can't be read
 *  @param {'epd' | 'pgn'} [kind] `kindOf` finds it out
 *  @returns {Work[]} */
export function readWork(title, text, complain, kind = kindOf(text)) {
  if (kind === 'epd') return readRecords(title, text, complain);
  const games = listGames(text).map((entry) => ({ ...entry, tree: entry.read() }));
  // Any text has words; without tags or a legal first move it isn't a game.
  if (games.every(({ tags, tree }) => !Object.keys(tags).length && !tree.root.children.length)) {
    complain(`${title}: ${text.trim() ? 'neither positions nor games' : 'the file is empty'}`);
    return [];
  }
  return games.flatMap(({ tree }, i) => {
    const problem = tree.problems.find(({ endsGame }) => endsGame);
    if (problem) complain(`${title}, ${problemText(problem)}`);
    const line = tree.lineFrom();
    // Engines don't take null moves.
    const nullMove = line.findIndex(({ san }) => san === '--');
    if (nullMove >= 0) {
      tree.remove(line[nullMove]);
      complain(`${title}: game ${i + 1}: it is read up to its null move`);
      line.length = nullMove;
    }
    if (problem && !line.length) return [];
    const number = games.length > 1 ? ` (game ${i + 1} of ${games.length})` : '';
    return gameWork(tree, line, playersOf(tree.tags) + number);
  });
}

/** Analyses one position.
 *  @param {import('./conversation.mjs').Conversation} engine
 *  @param {Position} position
 *  @param {object} limits those of `searchLines`
 *  @returns {Promise<{score: ?object, depth: ?number, best: ?string, line: string[],
 *      lines: object[]}>} the best line, its moves in SAN and its score from White's view, and all
 *      lines, which have the `moves` in UCI notation and the same in SAN as `san`
 *  @throws if the engine exits, doesn't answer or answers with an illegal move */
export async function analysePosition(engine, position, limits) {
  const { fen, end } = position;
  if (end) {
    const winner = fen.split(' ')[1] === 'w' ? 'b' : 'w';
    const score = end === 'checkmate' ? { mate: 0, winner } : { cp: 0 };
    return { score, depth: null, best: null, line: [], lines: [] };
  }
  const found = await searchLines(engine, position, limits);
  const lines = found.map(({ moves, ...line }) => {
    const san = sanLine(fen, moves);
    return { ...line, moves: moves.slice(0, san.length), san };
  });
  const { score = null, depth = null, san = [] } = lines[0] ?? {};
  return { score, depth, best: san[0] ?? null, line: san, lines };
}

/** The rows of a position in the table, one for each line.
 *  @param {Position} position
 *  @param {Awaited<ReturnType<typeof analysePosition>>} result
 *  @param {number} width of the first column */
export function formatRows({ name, fen, end }, { score, lines }, width) {
  const rows = lines.length ? lines : [{ score, depth: null, san: [] }];
  return rows.map((line, i) => {
    const cells = [
      (i ? '' : name).padEnd(width),
      scoreText(line.score).padStart(7),
      String(line.depth ?? '-').padStart(5),
      (line.san[0] ?? '-').padEnd(7),
      end ?? numbered(fen, line.san),
    ];
    return cells.join('  ').trimEnd();
  });
}

/** The head of the table. */
export function formatHead(kind, width) {
  const first = kind === 'game' ? 'played' : 'position';
  return [first.padEnd(width), '  score', 'depth', 'best   ', 'line'].join('  ');
}

/** Where a file of a game goes: the file itself for one game, else one with the game's number.
 *  @param {string} file "score.svg"
 *  @param {number} number from 1
 *  @param {number} total of games
 *  @param {string} kind the usual end of such names, "svg" */
export function outputFile(file, number, total, kind) {
  const end = new RegExp(`(\\.${kind})?$`, 'i');
  return total < 2 ? file : file.replace(end, `-${number}.${kind}`);
}

/** Whether an input is a file, or standard input. */
export const isFile = (input) => input === '-' || fs.existsSync(input);
