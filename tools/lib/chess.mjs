// SPDX-License-Identifier: MIT
//
// The rules of chess and chess as text: positions, games and moves as people and engines write
// them, scores as people read them. The rules are those of chess.js. Works in Node and in a page.

let library;
try {
  // A page needs a path; Node 18 takes the file at that path for a CommonJS script.
  const path = '../../node_modules/chess.js/dist/esm/chess.js';
  library = await import(typeof process === 'object' ? 'chess.js' : path);
} catch (error) {
  if (error.code !== 'ERR_MODULE_NOT_FOUND') throw error;
  const program = process.argv[1]?.split('/').at(-1) ?? 'quillon';
  console.error(`${program}: chess.js is missing; please run "npm ci"`);
  process.exit(1);
}

export const { Chess, SQUARES: squares } = library;
export const startFen = 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1';

/** Whether a text begins with eight ranks, like a FEN.
 *  @param {string} text */
export function looksLikeFen(text) {
  return /^\s*[A-Za-z0-9]+(\/[A-Za-z0-9]+){7}(\s|$)/.test(text);
}

/** Reads a position.
 *  @param {string} text a FEN, whose counters may be missing, or "startpos"
 *  @returns {Chess}
 *  @throws if it isn't a FEN, or if the side that has moved is in check */
export function readFen(text) {
  const fields = text.trim().split(/\s+/);
  if (fields[0] === 'startpos' && fields.length === 1) return new Chess(startFen);
  if (fields.length === 4 || fields.length === 5) {
    fields.push(...['0', '1'].slice(fields.length - 4));
  }
  if (fields[5] === '0') fields[5] = '1'; // as some composers of problems number
  const fen = fields.join(' ');
  const { ok, error } = library.validateFen(fen);
  if (!ok) throw new Error(error.replace(/^Invalid FEN: /, 'not a position: '));
  const chess = new Chess(fen);
  const mover = chess.turn();
  const [king] = chess.findPiece({ type: 'k', color: mover === 'w' ? 'b' : 'w' });
  if (chess.isAttacked(king, mover)) {
    throw new Error('not a position: the side that has moved is in check');
  }
  return chess;
}

/** Why the game is over: "checkmate", "stalemate" or "insufficient material", and unless `atEnd` is
 *  false also "threefold repetition" or "fifty moves"; null while the game goes on. */
export function endOf(chess, atEnd = true) {
  if (chess.isCheckmate()) return 'checkmate';
  if (chess.isStalemate()) return 'stalemate';
  if (chess.isInsufficientMaterial()) return 'insufficient material';
  if (atEnd && chess.isThreefoldRepetition()) return 'threefold repetition';
  if (atEnd && chess.isDrawByFiftyMoves()) return 'fifty moves';
  return null;
}

/** Plays a move in any usual notation ("Nf3", "Ngf3", "0-0", "e8Q", "g1f3"), or as an object.
 *  @param {string | {from: string, to: string, promotion?: string}} move
 *  @returns {import('chess.js').Move | null} null if it isn't legal; nothing is played then */
export function playMove(chess, move) {
  try {
    return chess.move(move);
  } catch {
    return null;
  }
}

/** Plays a move in UCI notation ("e2e4", "e7e8q").
 *  @returns {import('chess.js').Move | null} null if it isn't legal; nothing is played then */
export function playUci(chess, text) {
  if (!/^[a-h][1-8][a-h][1-8][qrbn]?$/.test(text)) return null;
  return playMove(chess, { from: text.slice(0, 2), to: text.slice(2, 4), promotion: text[4] });
}

/** The legal moves of a position in UCI notation. The library's own list takes twenty times as
 *  long: it has the position before and after each move. */
export function uciMoves(chess) {
  const uciOf = (from, san) => {
    if (san.startsWith('O-O')) return `${from}${san.startsWith('O-O-O') ? 'c' : 'g'}${from[1]}`;
    const [, to, promotion = ''] = san.match(/([a-h][1-8])(?:=(.))?[+#]?$/);
    return from + to + promotion.toLowerCase();
  };
  return library.SQUARES.flatMap((from) =>
    chess.moves({ square: from }).map((san) => uciOf(from, san)),
  );
}

/** Reads the words after "position" in UCI. After "startpos" any word can precede the moves.
 *  @param {string} text "startpos moves e2e4", "fen ... moves e2e4"
 *  @returns {Chess} with the moves as its history
 *  @throws if it isn't a position or a move isn't legal */
export function readPosition(text) {
  const words = text.trim().split(/\s+/);
  const end = words[0] === 'startpos' ? 1 : words.indexOf('moves', 1);
  const fen = words.slice(1, end < 0 ? undefined : end).join(' ');
  const chess = words[0] === 'startpos' ? new Chess() : new Chess(fen);
  for (const move of end < 0 ? [] : words.slice(end + 1)) {
    if (!playUci(chess, move)) throw new Error(`${move} is not legal in ${chess.fen()}`);
  }
  return chess;
}

/** A line in standard notation, up to the first illegal move.
 *  @param {string} fen where it begins
 *  @param {string[]} moves in UCI or any usual notation
 *  @returns {string[]} */
export function sanLine(fen, moves) {
  const chess = new Chess(fen);
  const line = [];
  for (const text of moves) {
    const move = playMove(chess, text);
    if (!move) break;
    line.push(move.san);
  }
  return line;
}

/** The number before a move in a position: "12." or "12...".
 *  @param {string} fen */
export function moveNumber(fen) {
  const fields = fen.split(' ');
  return `${fields[5]}${fields[1] === 'w' ? '.' : '...'}`;
}

/** A line with move numbers: "12... Nf6 13. e5 Nd5".
 *  @param {string} fen where it begins
 *  @param {string[]} line moves in standard notation */
export function numbered(fen, line) {
  const [, side, , , , first] = fen.split(' ');
  const start = 2 * Number(first) + (side === 'w' ? 0 : 1); // in half-moves
  const words = line.map((san, i) => {
    const isWhite = (start + i) % 2 === 0;
    const number = Math.floor((start + i) / 2);
    return isWhite || i === 0 ? `${number}${isWhite ? '.' : '...'} ${san}` : san;
  });
  return words.join(' ');
}

/** Converts an engine's score.
 *  @param {{kind: 'cp' | 'mate', value: number}} score from an "info" line, from the mover's view
 *  @param {object} how
 *  @param {boolean} [how.isBlack] Black is to move, and the result is to be from White's view
 *  @param {boolean} [how.isQuillon] Quillon counts one move too many if it is mated, and also
 *      writes a mate in n plies as 32000 - n centipawns
 *  @returns {{cp: number} | {mate: number}} centipawns, or moves to mate, negative if mated; 0 for
 *      checkmate */
export function readScore(score, { isBlack = false, isQuillon = false } = {}) {
  const sign = isBlack ? -1 : 1;
  let { kind, value } = score;
  if (isQuillon && kind === 'mate' && value < 0) value += 1;
  if (isQuillon && kind === 'cp' && Math.abs(value) >= 31872) {
    kind = 'mate';
    value = Math.sign(value) * Math.ceil((32000 - Math.abs(value)) / 2);
  }
  // `|| 0` turns a negative zero into 0.
  return kind === 'mate' ? { mate: sign * value || 0 } : { cp: sign * value || 0 };
}

/** A score as text: "+0.31", "#3", "#-3", "1-0" for checkmate; "?" for null.
 *  @param {{cp: number} | {mate: number, winner?: 'w' | 'b'} | null} score from White's view */
export function scoreText(score) {
  if (!score) return '?';
  if (score.winner) return score.winner === 'w' ? '1-0' : '0-1';
  if ('mate' in score) return `#${score.mate}`;
  const pawns = Math.abs(score.cp / 100).toFixed(2);
  return Number(pawns) === 0 ? '0.00' : `${score.cp < 0 ? '-' : '+'}${pawns}`;
}

/** The winner if a score is a mate, null otherwise. */
export function mateWinner(score) {
  if (!('mate' in score)) return null;
  return score.winner ?? (score.mate > 0 ? 'w' : 'b');
}

/** White's win %, 0 to 100, by the formula that lichess publishes.
 *  @param {{cp: number} | {mate: number}} score from White's view; checkmate has `mate` 0 and a
 *      `winner`, 'w' or 'b' */
export function winPercent(score) {
  const winner = mateWinner(score);
  if (winner) return winner === 'w' ? 100 : 0;
  return 50 + 50 * (2 / (1 + Math.exp(-0.00368208 * score.cp)) - 1);
}

/** The players of a game: "White - Black" if the tags don't name them.
 *  @param {Record<string, string>} tags */
export const playersOf = ({ White = 'White', Black = 'Black' }) => `${White} - ${Black}`;
