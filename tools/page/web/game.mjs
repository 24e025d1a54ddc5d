// SPDX-License-Identifier: MIT
//
// A game on the board: its moves with scores and clocks, how it has ended, FEN and PGN in and out.
// It knows nothing of the page; chess.js knows the rules.

import { Chess, validateFen } from '../../../node_modules/chess.js/dist/esm/chess.js';
import { readScore, writeScore } from './score.mjs';

export const startFen = 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1';
const sides = { w: 'White', b: 'Black' };
export const otherSide = (side) => (side === 'w' ? 'b' : 'w');
export const nameOf = (side) => sides[side];

/** A text as a FEN that can be played on.
 *  @param {string} text four to six fields; the counters may be missing
 *  @throws with a sentence for people when it is no position of a game */
export function readFen(text) {
  const fields = text.trim().split(/\s+/);
  if (fields.length < 4 || fields.length > 6) {
    throw new Error('A FEN has six fields: pieces, side, castling, en passant and two counters.');
  }
  const fen = [...fields, ...['0', '1'].slice(fields.length - 4)].join(' ');
  const { ok, error } = validateFen(fen);
  if (!ok) throw new Error(`${error.replace(/^Invalid FEN: /, 'This FEN is wrong: ')}.`);
  for (const [side, pattern] of [
    ['w', /[A-Z]/g],
    ['b', /[a-z]/g],
  ]) {
    const pieces = fields[0].match(pattern);
    if (pieces.length > 16 || pieces.filter((piece) => /p/i.test(piece)).length > 8) {
      throw new Error(`${nameOf(side)} has more pieces than a game can bring.`);
    }
  }
  const chess = new Chess(fen);
  const waiting = otherSide(chess.turn());
  const [king] = chess.findPiece({ type: 'k', color: waiting });
  if (chess.isAttacked(king, chess.turn())) {
    throw new Error(`${nameOf(waiting)} is in check and it is not ${nameOf(waiting)}'s turn.`);
  }
  return chess.fen();
}

/** The games in a PGN text, each as its own text; a text without tags is one game. */
export function splitPgn(text) {
  const games = [];
  let isInTags = false;
  for (const line of text.replace(/^\uFEFF/, '').split(/\r?\n/)) {
    const isTag = /^\s*\[[A-Za-z0-9_]+\s+"/.test(line);
    if (!games.length || (isTag && !isInTags && games.at(-1).some((one) => one.trim()))) {
      games.push([]);
    }
    games.at(-1).push(line);
    if (line.trim()) isInTags = isTag;
  }
  return games.map((lines) => lines.join('\n')).filter((game) => game.trim());
}

/** Breaks the moves of a PGN into lines of at most 80 characters, but never inside a comment: some
 *  programs take `[%eval` to be followed by a space. */
function wrapPgn(text) {
  const [, tags, body] = text.match(/^((?:\[.*\]\n)*)([^]*)$/);
  const lines = [''];
  for (const word of body.replace('. ... ', '... ').match(/\{[^}]*\}|[^\s{]+/g) ?? []) {
    const line = lines.at(-1);
    if (!line) lines[lines.length - 1] = word;
    else if (line.length + 1 + word.length <= 80) lines[lines.length - 1] += ` ${word}`;
    else lines.push(word);
  }
  return `${tags}\n${lines.join('\n')}\n`;
}

const clockText = (milliseconds) => {
  const seconds = Math.max(0, Math.floor(milliseconds / 1000));
  const pad = (number) => String(number).padStart(2, '0');
  return `${Math.floor(seconds / 3600)}:${pad(Math.floor(seconds / 60) % 60)}:${pad(seconds % 60)}`;
};

export class Game {
  #endings = new Map();

  /** @param {string} [fen] where it begins, as readFen() gives it
   *  @param {Record<string, string>} [tags] of PGN, without Result, SetUp and FEN */
  constructor(fen = startFen, tags = {}) {
    this.fen = fen;
    this.tags = tags;
    /** { san, uci, fen after it, clocks after it: null | { w, b } in milliseconds } */
    this.moves = [];
    /** Scores after `index` moves from White's view: { kind, value, depth }, or missing. */
    this.scores = [];
    /** How it has ended other than by the rules: { result, text }, or null. */
    this.verdict = null;
  }

  get length() {
    return this.moves.length;
  }

  fenAt(ply) {
    return ply ? this.moves[ply - 1].fen : this.fen;
  }

  turnAt(ply) {
    return this.fenAt(ply).split(' ')[1];
  }

  /** The rules' view of a position, with the moves that led to it. */
  chessAt(ply) {
    const chess = new Chess(this.fen);
    for (const { san } of this.moves.slice(0, ply)) chess.move(san);
    return chess;
  }

  /** The move as it would be played after `ply` moves, or null when it is illegal.
   *  @param {string | {from: string, to: string, promotion?: string}} move an object, SAN or long
   *      algebraic notation */
  findMove(ply, move) {
    const chess = new Chess(this.fenAt(ply));
    const long = typeof move === 'string' && move.match(/^([a-h][1-8])([a-h][1-8])([qrbn])?$/);
    try {
      return chess.move(long ? { from: long[1], to: long[2], promotion: long[3] } : move);
    } catch {
      return null;
    }
  }

  /** Legal moves of the piece on a square after `ply` moves: { to, san, promotion, captured }. */
  movesFrom(ply, square) {
    return new Chess(this.fenAt(ply)).moves({ square, verbose: true });
  }

  /** The square of a king that is in check after `ply` moves, or null. */
  checkAt(ply) {
    const chess = new Chess(this.fenAt(ply));
    return chess.inCheck() ? chess.findPiece({ type: 'k', color: chess.turn() })[0] : null;
  }

  /** Plays a move after `ply` moves; what was played from there on is forgotten.
   *  @param {object} [more] clocks to note
   *  @returns the move, or null when it is illegal */
  play(ply, move, { clocks = null } = {}) {
    const made = this.findMove(ply, move);
    if (!made) return null;
    this.cut(ply);
    this.moves.push({ san: made.san, uci: made.lan, fen: made.after, clocks });
    return made;
  }

  /** Forgets all but the first `ply` moves. */
  cut(ply) {
    if (ply >= this.length) return;
    this.moves.length = ply;
    this.scores.length = Math.min(this.scores.length, ply + 1);
    this.verdict = null;
    this.#endings.clear();
  }

  /** How the rules end the game after `ply` moves: { result, text, isFinal }, or null. After a
   *  repetition or fifty moves it could go on, so these aren't final. */
  endingAt(ply) {
    if (!this.#endings.has(ply)) this.#endings.set(ply, this.#findEnding(ply));
    return this.#endings.get(ply);
  }

  #findEnding(ply) {
    const chess = this.chessAt(ply);
    const side = chess.turn();
    if (chess.isCheckmate()) {
      const winner = nameOf(otherSide(side));
      const result = side === 'w' ? '0-1' : '1-0';
      return { result, text: `Checkmate: ${winner} wins`, isFinal: true };
    }
    const draw = (text, isFinal = false) => ({
      result: '1/2-1/2',
      text: `Draw by ${text}`,
      isFinal,
    });
    if (chess.isStalemate()) return draw('stalemate', true);
    if (chess.isInsufficientMaterial()) return draw('insufficient material', true);
    if (chess.isThreefoldRepetition()) return draw('threefold repetition');
    if (chess.isDrawByFiftyMoves()) return draw('the fifty-move rule');
    return null;
  }

  /** How the whole game has ended, or null. */
  get ending() {
    return this.verdict ?? this.endingAt(this.length);
  }

  /** A side's time is over: it loses, unless the other side has nothing but its king. */
  loseOnTime(side) {
    const winner = otherSide(side);
    const pieces = this.fenAt(this.length)
      .split(' ')[0]
      .match(winner === 'w' ? /[A-Z]/g : /[a-z]/g);
    this.verdict =
      pieces.length === 1
        ? {
            result: '1/2-1/2',
            text: `Draw: ${nameOf(side)}'s time is over, ${nameOf(winner)} can't mate`,
          }
        : { result: winner === 'w' ? '1-0' : '0-1', text: `${nameOf(winner)} wins on time` };
  }

  resign(side) {
    const winner = otherSide(side);
    this.verdict = { result: winner === 'w' ? '1-0' : '0-1', text: `${nameOf(side)} resigns` };
  }

  /** What an engine has to know of the position after `ply` moves: where the last pawn move or
   *  capture has led to and the moves since, so that it sees repetitions.
   *  @returns {{fen: string, moves: string[]}} */
  positionAt(ply) {
    let from = ply;
    while (from > 0 && Number(this.fenAt(from).split(' ')[4]) > 0) from--;
    return { fen: this.fenAt(from), moves: this.moves.slice(from, ply).map(({ uci }) => uci) };
  }

  /** A line of moves as people write it: "12... Nf6 13. d4".
   *  @param {number} ply where it begins
   *  @param {string[]} line moves in long algebraic notation; what is illegal ends it */
  lineText(ply, line) {
    const chess = new Chess(this.fenAt(ply));
    const words = [];
    for (const move of line) {
      const number = chess.moveNumber();
      const isWhite = chess.turn() === 'w';
      let san;
      try {
        ({ san } = chess.move({
          from: move.slice(0, 2),
          to: move.slice(2, 4),
          promotion: move[4],
        }));
      } catch {
        break;
      }
      if (isWhite) words.push(`${number}.`);
      else if (!words.length) words.push(`${number}...`);
      words.push(san);
    }
    return words.join(' ');
  }

  /** The game as PGN, with scores and clocks in comments.
   *  @param {Record<string, string>} [tags] added to its own, which win */
  pgn(tags = {}) {
    const chess = new Chess(this.fen);
    const all = { ...tags, ...this.tags, Result: this.ending?.result ?? this.tags.Result ?? '*' };
    for (const [name, value] of Object.entries(all)) chess.setHeader(name, value);
    this.moves.forEach(({ san, clocks }, index) => {
      const mover = chess.turn();
      chess.move(san);
      const notes = [];
      const score = this.scores[index + 1];
      if (score) notes.push(`[%eval ${writeScore(score)}]`);
      if (clocks) notes.push(`[%clk ${clockText(clocks[mover])}]`);
      if (notes.length) chess.setComment(notes.join(' '));
    });
    return wrapPgn(chess.pgn());
  }

  /** The first game of a PGN text.
   *  @throws with a sentence for people when there is none, or an illegal move in it */
  static fromPgn(text) {
    const [first] = splitPgn(text);
    if (!first) throw new Error('There is no game in this text.');
    const chess = new Chess();
    try {
      chess.loadPgn(first);
    } catch (error) {
      const said = error.message.split('\n')[0];
      const illegal = said.match(/^Invalid move in PGN: (.*)$/);
      throw new Error(
        illegal
          ? `The move ${illegal[1]} is not possible in this game.`
          : `This is not PGN: ${said}`,
      );
    }
    const { FEN: fen, SetUp: setUp, Result: result, ...others } = chess.getHeaders();
    const moves = chess.history({ verbose: true });
    if (!moves.length && !/^\s*\[[A-Za-z0-9_]+\s+"/m.test(first)) {
      throw new Error('There is no game in this text.');
    }
    // "?" stands for what isn't known; the game's own names then come from the board.
    const known = Object.entries(others).filter(([, value]) => value && !/^[?.]+$/.test(value));
    const game = new Game(fen ? readFen(fen) : startFen, Object.fromEntries(known));
    for (const move of moves) {
      const made = game.play(game.length, move.lan);
      if (!made) throw new Error(`The move ${move.san} is not possible in this game.`);
    }
    const comments = new Map(chess.getComments().map(({ fen: at, comment }) => [at, comment]));
    moves.forEach((move, index) => {
      const note = comments.get(move.after)?.match(/\[%eval\s+([^\]\s]+)\]/);
      const score = note && readScore(note[1]);
      if (score) game.scores[index + 1] = score;
    });
    if (!game.ending && /^(1-0|0-1|1\/2-1\/2)$/.test(result)) {
      const texts = { '1-0': 'White has won', '0-1': 'Black has won', '1/2-1/2': 'A draw' };
      game.verdict = { result, text: texts[result] };
    }
    return game;
  }

  /** What fromRecord() takes; it survives JSON. */
  get record() {
    const { fen, tags, verdict } = this;
    const moves = this.moves.map(({ uci, clocks }) => ({ uci, clocks }));
    return { fen, tags, verdict, moves, scores: Array.from(this.scores, (score) => score ?? null) };
  }

  /** @throws when a move of the record is illegal */
  static fromRecord({ fen, tags, verdict, moves, scores }) {
    const game = new Game(readFen(fen), tags);
    for (const { uci, clocks } of moves) {
      if (!game.play(game.length, uci, { clocks })) throw new Error(`illegal move ${uci}`);
    }
    scores.forEach((score, index) => {
      if (score) game.scores[index] = score;
    });
    game.verdict = verdict;
    return game;
  }
}
