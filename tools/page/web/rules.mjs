// SPDX-License-Identifier: MIT
//
// The rules of chess as the page needs them: whether a FEN is playable, which moves are legal, how
// a game ends, what an engine must be told. chess.js knows the rules.

import {
  Chess, endOf, moveNumber, playMove, playUci, readFen as readChess, squares, startFen,
} from '../../lib/chess.mjs';

export { squares, startFen };
export const otherSide = (side) => (side === 'w' ? 'b' : 'w');
export const nameOf = (side) => (side === 'w' ? 'White' : 'Black');
export const turnOf = (fen) => fen.split(' ')[1];

/** A text as a playable FEN.
 *  @param {string} text four to six fields; the counters may be missing
 *  @throws with a sentence for people if the position is not playable */
export function readFen(text) {
  const fields = text.trim().split(/\s+/);
  if (fields.length < 4 || fields.length > 6) {
    throw new Error('A FEN has six fields: pieces, side, castling, en passant and two counters.');
  }
  let fen;
  try {
    fen = readChess(text).fen();
  } catch ({ message }) {
    throw new Error(`This FEN is invalid: ${message.replace('not a position: ', '')}.`);
  }
  for (const [side, pattern] of [
    ['w', /[A-Z]/g],
    ['b', /[a-z]/g],
  ]) {
    const pieces = fields[0].match(pattern);
    if (pieces.length > 16 || pieces.filter((piece) => /p/i.test(piece)).length > 8) {
      throw new Error(`${nameOf(side)} has more pieces than a game allows.`);
    }
  }
  return fen;
}

/** The move as it would be played in a position, or null when it is illegal.
 *  @param {string} fen
 *  @param {string | {from: string, to: string, promotion?: string}} move an object, SAN or long
 *      algebraic notation */
export const findMove = (fen, move) => playMove(new Chess(fen), move);

/** A move as people type it, "e4", "Nf3", "nf3", "0-0", "e2-e4", "e7e8q": a form that findMove()
 *  takes, or null when there is no such move. */
export function readTyped(fen, text) {
  const plain = text.trim().replaceAll('0', 'O');
  const long = text.trim().toLowerCase().replace(/[-x=]/g, '');
  const raised = plain[0]?.toUpperCase() + plain.slice(1);
  return [plain, long, raised].find((move) => move && findMove(fen, move)) ?? null;
}

/** Legal moves of the piece on a square. */
export const movesFrom = (fen, square) => new Chess(fen).moves({ square, verbose: true });

/** The square of the king that is in check, or null. */
export function checkOf(fen) {
  const chess = new Chess(fen);
  return chess.inCheck() ? chess.findPiece({ type: 'k', color: chess.turn() })[0] : null;
}

/** A line of an engine as moves for people, up to the first illegal one.
 *  @param {string} fen where it begins
 *  @param {string[]} line moves in long algebraic notation
 *  @returns {{san: string, uci: string, fen: string, number: string}[]} `fen` is that after the
 *      move; `number` is "" before Black's moves, but for the first */
export function readLine(fen, line) {
  const moves = [];
  const chess = new Chess(fen);
  for (const uci of line) {
    const move = playUci(chess, uci);
    if (!move) break;
    const number = move.color === 'w' || !moves.length ? moveNumber(move.before) : '';
    moves.push({ san: move.san, uci, fen: move.after, number });
  }
  return moves;
}

/** The position where a line becomes quiet: a capture at its end does not count if it can be
 *  recaptured.
 *  @param {{uci: string, san: string, fen: string}[]} line as readLine() gives it
 *  @returns {?string} FEN; null when nothing is left */
export function quietEnd(line) {
  const isOpen = ({ san, uci, fen }) =>
    san.includes('x') &&
    new Chess(fen)
      .moves({ verbose: true })
      .some(({ to, captured }) => captured && to === uci.slice(2, 4));
  return line.findLast((move) => !isOpen(move))?.fen ?? null;
}

/** The pieces of a position by their squares: Map of "e4" to "wp". */
export const piecesOf = (fen) =>
  new Map(
    new Chess(fen)
      .board()
      .flat()
      .filter(Boolean)
      .map(({ square, color, type }) => [square, color + type]),
  );

const values = { q: 9, r: 5, b: 3, n: 3, p: 1 };
const full = { q: 1, r: 2, b: 2, n: 2, p: 8 };

/** The pieces that each side has lost, as far as the board shows, and White's lead in pawns:
 *  { w: ["p", "n"], b: [...], lead }. */
export function capturedOf(fen) {
  const pieces = [...piecesOf(fen).values()];
  const lost = { w: [], b: [] };
  let lead = 0;
  for (const side of ['w', 'b']) {
    let promoted = 0;
    for (const [kind, worth] of Object.entries(values)) {
      const count = pieces.filter((piece) => piece === side + kind).length;
      lead += (side === 'w' ? count : -count) * worth;
      promoted += Math.max(0, count - full[kind]);
      // A promoted pawn isn't lost.
      const missing = full[kind] - count - (kind === 'p' ? promoted : 0);
      lost[side].push(...Array(Math.max(0, missing)).fill(kind));
    }
  }
  return { ...lost, lead };
}

const endings = new WeakMap();

/** How the rules end the game at a node: { result, text, isFinal }, or null. Repetition and the
 *  fifty-move rule are not final, because the game could go on. */
export function endingOf(node) {
  if (!endings.has(node)) endings.set(node, findEnding(node));
  return endings.get(node);
}

function findEnding(node) {
  const line = [];
  let root = node;
  for (; root.parent; root = root.parent) line.unshift(root.san);
  const chess = new Chess(root.fen);
  for (const san of line) chess.move(san);
  const side = chess.turn();
  const end = endOf(chess);
  if (end === 'checkmate') {
    const text = `Checkmate: ${nameOf(otherSide(side))} wins`;
    return { result: side === 'w' ? '0-1' : '1-0', text, isFinal: true };
  }
  const by = end === 'fifty moves' ? 'the fifty-move rule' : end;
  return end && { result: '1/2-1/2', text: `Draw by ${by}`, isFinal: endOf(chess, false) !== null };
}

/** How a game ends when a side has run out of time. */
export function timeOver(fen, side) {
  const winner = otherSide(side);
  const pieces = fen.split(' ')[0].match(winner === 'w' ? /[A-Z]/g : /[a-z]/g);
  const text = `Draw: ${nameOf(side)} is out of time, but ${nameOf(winner)} can't mate`;
  if (pieces.length === 1) return { result: '1/2-1/2', text };
  return { result: winner === 'w' ? '1-0' : '0-1', text: `${nameOf(winner)} wins on time` };
}

/** The position at a node as an engine needs it to see repetitions: the position after the last
 *  pawn move or capture, and the moves since then.
 *  @returns {{fen: string, moves: string[]}} */
export function positionAt(node) {
  const moves = [];
  let from = node;
  // An engine can't be sent a null move.
  for (; from.parent && Number(from.fen.split(' ')[4]) > 0; from = from.parent) {
    if (from.uci === '0000') break;
    moves.unshift(from.uci);
  }
  return { fen: from.fen, moves };
}
