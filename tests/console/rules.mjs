// SPDX-License-Identifier: MIT
// The rules of chess for the console tests: a thin layer over chess.js, in the engine's move
// notation. Random play and counting need far more moves than chess.js's public operations can
// give in reasonable time (they write each move in standard notation), so its list, make and
// undo are called directly; package-lock.json pins the version that has them in this form.

let library;
try {
  library = await import('chess.js');
} catch (error) {
  throw new Error('chess.js not found: run "npm ci" in tests/console', { cause: error });
}
const { Chess } = library;

export const startFen = 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1';

// chess.js numbers squares by 16 a rank, from a8.
const squareText = (square) => 'abcdefgh'[square & 15] + '87654321'[square >> 4];

const textOf = (move) => squareText(move.from) + squareText(move.to) + (move.promotion ?? '');

export class Rules {
  constructor(fen = startFen) {
    this.chess = new Chess(fen);
    for (const name of ['_moves', '_makeMove', '_undoMove']) {
      if (typeof this.chess[name] !== 'function') throw new Error(`chess.js has no ${name}`);
    }
    this.root = fen;
    this.moves = []; // texts of the moves played
    this.seen = new Map(); // how often each position has stood on the board
    this.#note(1);
  }

  #note(step) {
    const key = this.chess.fen().split(' ', 4).join(' ');
    this.seen.set(key, (this.seen.get(key) ?? 0) + step);
    return this.seen.get(key);
  }

  // Returns the legal moves as { text, move }.
  legalMoves() {
    return this.chess._moves().map((move) => ({ text: textOf(move), move }));
  }

  isLegal(text) {
    return this.chess._moves().some((move) => textOf(move) === text);
  }

  // Plays a move given by its text; refuses an illegal one.
  play(text) {
    const move = this.chess._moves().find((candidate) => textOf(candidate) === text);
    if (!move) throw new Error(`illegal move ${text} in ${this.chess.fen()}`);
    this.chess._makeMove(move);
    this.moves.push(text);
    this.repeats = this.#note(1);
  }

  undo() {
    this.#note(-1);
    this.chess._undoMove();
    this.moves.pop();
  }

  // Number of moves of a line that can be played one after the other. Nothing is left played.
  countPlayable(texts) {
    let played = 0;
    for (const text of texts) {
      const move = this.chess._moves().find((candidate) => textOf(candidate) === text);
      if (!move) break;
      this.chess._makeMove(move);
      played++;
    }
    for (let i = 0; i < played; i++) this.chess._undoMove();
    return played;
  }

  fen() {
    return this.chess.fen();
  }

  get turn() {
    return this.chess.turn() === 'w' ? 0 : 1;
  }

  // Number of move sequences of the given length.
  countLeaves(depth) {
    const moves = this.chess._moves();
    if (depth === 1) return moves.length;
    let count = 0;
    for (const move of moves) {
      this.chess._makeMove(move);
      count += this.countLeaves(depth - 1);
      this.chess._undoMove();
    }
    return count;
  }

  // Why the game is over, or null.
  result() {
    if (this.chess._moves().length === 0) return this.chess.isCheck() ? 'mate' : 'stalemate';
    if (this.chess.isInsufficientMaterial()) return 'too few men';
    if (this.chess.isDrawByFiftyMoves()) return 'fifty moves';
    if (this.repeats >= 3) return 'repetition';
    return null;
  }

  // The `position` command that leads here.
  positionCommand() {
    const base = this.root === startFen ? 'startpos' : `fen ${this.root}`;
    const moves = this.moves.length ? ` moves ${this.moves.join(' ')}` : '';
    return `position ${base}${moves}`;
  }

  picture() {
    return pictureOf(this.chess.fen());
  }
}

// The board of a FEN as the engine draws it: 17 lines, rank 8 first.
export function pictureOf(fen) {
  const border = '+---+---+---+---+---+---+---+---+';
  const lines = [border];
  for (const rank of fen.split(' ')[0].split('/')) {
    const men = rank.replace(/\d/g, (digit) => ' '.repeat(Number(digit)));
    lines.push(`| ${[...men].join(' | ')} |`, border);
  }
  return lines;
}
