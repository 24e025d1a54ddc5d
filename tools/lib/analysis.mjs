// SPDX-License-Identifier: MIT
//
// Reads positions and games, analyses positions with an engine and makes a table of the results.

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
import { streamGames } from './pgn-stream.mjs';

/** One piece of work for an engine: a game, or a position of a list.
 *  @typedef {object} Job
 *  @property {string} input the name of the file
 *  @property {number} number of the game or position in it, from 1
 *  @property {boolean} isOnly whether it is the only one there
 *  @property {number} end characters of the file up to its end
 *  @property {Position} [position] of a list
 *  @property {number} [width] of the first column for the list
 *  @property {string} [text] of a game, as `line`, `column` and `isCut`; see pgn-stream.mjs
 *
 *  @typedef {object} Position
 *  @property {string} name for the first column
 *  @property {string} start FEN of the game's position after its last irreversible move
 *  @property {string[]} moves from there, in UCI notation
 *  @property {string} fen
 *  @property {?string} played the move of the game, in SAN
 *  @property {?string} end why the game is over, from `endOf`; null if it isn't */

/** Tells records (EPD or FEN) from games by the first line that is not a comment.
 *  @param {string} text
 *  @returns {'epd' | 'pgn'} */
export function kindOf(text) {
  const line = text.split('\n').find((each) => each.trim() && !/^[#%]/.test(each)) ?? '';
  return looksLikeFen(line) || line.trim() === 'startpos' ? 'epd' : 'pgn';
}

function* readRecords(input, text, complain) {
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
      complain(`${input}, line ${i + 1}: ${error.message}`);
    }
  }
  const width = Math.max(8, ...positions.map(({ name }) => name.length));
  const isOnly = positions.length === 1;
  for (const [i, position] of positions.entries()) {
    const end = (text.length * (i + 1)) / positions.length;
    yield { input, number: i + 1, isOnly, end, position, width };
  }
}

async function* readGames(input, pieces, complain) {
  let number = 0;
  let isEmpty = true;
  /** A game is held until it is known whether another one follows. */
  let held = null;
  for await (const { isGame, ...part } of streamGames(pieces)) {
    isEmpty = false;
    if (isGame) {
      if (held) yield held;
      held = { input, number: ++number, isOnly: false, ...part };
    } else {
      const message = 'this is neither a position nor a game';
      complain(`${input}, ${problemText({ ...part, message })}`);
    }
  }
  if (held) yield { ...held, isOnly: number === 1 };
  if (isEmpty) complain(`${input}: the file is empty`);
}

/** Reads the text of a file as it arrives, one game at a time.
 *  @param {string} input the name of the file
 *  @param {AsyncIterable<string> | Iterable<string>} pieces
 *  @param {(problem: string) => void} complain called for each part that can't be read
 *  @param {'epd' | 'pgn'} [kind] by default what `kindOf` says
 *  @returns {AsyncGenerator<Job>} */
export async function* readJobs(input, pieces, complain, kind) {
  const source = (pieces[Symbol.asyncIterator] ?? pieces[Symbol.iterator]).call(pieces);
  let head = '';
  while (!kind) {
    const { value = '', done } = await source.next();
    head += value;
    const isEnough = done || head.length > 1 << 16 || /^(?![#%]).*\S.*\n/m.test(head);
    if (isEnough) kind = kindOf(head);
  }
  async function* all() {
    yield head;
    yield* source;
  }
  if (kind === 'pgn') return yield* readGames(input, all(), complain);
  let text = '';
  for await (const piece of all()) text += piece;
  return yield* readRecords(input, text, complain);
}

/** Reads the game of a job.
 *  @param {Job} job
 *  @returns {{title: string, tree: import('./game-tree.mjs').GameTree, positions: Position[],
 *      problem: ?string}} those before each move and the last one, none where no move could be
 *      read; `problem` says what was left out */
export function readGame({ number, isOnly, text, line: firstLine, column: firstColumn, isCut }) {
  const tree = listGames(text)[0].read();
  const line = tree.lineFrom();
  const problems = [...tree.problems].sort((a, b) => b.endsGame - a.endsGame);
  const complain = (message) => problems.push({ line: 1, column: 1, message });
  if (isCut) complain('the game is too long; only its beginning is read');
  // Engines don't take null moves.
  const nullMove = line.findIndex(({ san }) => san === '--');
  if (nullMove >= 0) {
    tree.remove(line[nullMove]);
    line.length = nullMove;
    complain('the game is read up to its null move');
  }
  const [problem = null, ...others] = problems.map(({ line: row, column, message }) => {
    const first = row === 1 ? firstColumn - 1 : 0;
    return problemText({ line: firstLine + row - 1, column: first + column, message });
  });
  const isUnread = !line.length && tree.problems.some(({ endsGame }) => endsGame);
  const nodes = isUnread ? [] : [tree.root, ...line];
  const positions = nodes.map(({ fen }, i) => {
    const played = line[i]?.san ?? null;
    const name = played ? `${moveNumber(fen)} ${played}` : 'end';
    // A draw that must be claimed ends a game only after its last move.
    const end = played ? endOf(new Chess(fen), false) : endOf(tree.chessAt(nodes[i]));
    // Nothing before the last capture or pawn move can be repeated.
    const start = Math.max(0, i - Number(fen.split(' ')[4]));
    const moves = line.slice(start, i).map(({ uci }) => uci);
    return { name, start: nodes[start].fen, moves, fen, played, end };
  });
  const title = playersOf(tree.tags) + (isOnly ? '' : ` (game ${number})`);
  const more = others.length ? ` (and ${others.length} more)` : '';
  return { title, tree, positions, problem: problem && problem + more };
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

/** The head of the table.
 *  @param {'played' | 'position'} first column
 *  @param {number} width of that */
export function formatHead(first, width) {
  return [first.padEnd(width), '  score', 'depth', 'best   ', 'line'].join('  ');
}

/** The name of a game's output file: FILE if there is only one game, else with the game's number.
 *  @param {string} file "score.svg"
 *  @param {number} number from 1
 *  @param {boolean} isOnly
 *  @param {string} kind the usual end of such names, "svg" */
export function outputFile(file, number, isOnly, kind) {
  const end = new RegExp(`(\\.${kind})?$`, 'i');
  return isOnly ? file : file.replace(end, `-${number}.${kind}`);
}
