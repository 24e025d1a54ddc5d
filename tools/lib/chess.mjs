// SPDX-License-Identifier: MIT
//
// The rules of chess and chess as text, for all programs here: positions, games and moves as people
// and engines write them, scores as people read them. The rules are those of chess.js; games are
// read here, because chess.js reads one game and gives up on the whole of it for one wrong move.

import path from 'node:path';

let library;
try {
  library = await import('chess.js');
} catch (error) {
  if (error.code !== 'ERR_MODULE_NOT_FOUND') throw error;
  const program = path.basename(process.argv[1] ?? 'quillon');
  console.error(`${program}: chess.js is missing; please run "npm ci"`);
  process.exit(1);
}

export const { Chess } = library;
export const startFen = 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1';

/** Whether a text begins like a position, right or wrong: eight ranks.
 *  @param {string} text */
export function looksLikeFen(text) {
  return /^\s*[A-Za-z0-9]+(\/[A-Za-z0-9]+){7}(\s|$)/.test(text);
}

/** A position to play on.
 *  @param {string} text a FEN, whose two counters may be missing, or "startpos"
 *  @returns {Chess}
 *  @throws when it isn't one, or when the side that has moved is still in check */
export function readFen(text) {
  const fields = text.trim().split(/\s+/);
  if (fields[0] === 'startpos' && fields.length === 1) return new Chess(startFen);
  if (fields.length === 4) fields.push('0', '1');
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

/** Why the game is over: "checkmate", "stalemate", "insufficient material"; null
 *  while the game goes on. With `atEnd` also what a player may claim: "threefold repetition" and
 *  "fifty moves". */
export function endOf(chess, atEnd = true) {
  if (chess.isCheckmate()) return 'checkmate';
  if (chess.isStalemate()) return 'stalemate';
  if (chess.isInsufficientMaterial()) return 'insufficient material';
  if (atEnd && chess.isThreefoldRepetition()) return 'threefold repetition';
  if (atEnd && chess.isDrawByFiftyMoves()) return 'fifty moves';
  return null;
}

/** Plays a move that is written in any usual way: "Nf3", "Ngf3", "0-0", "e8Q", "g1f3".
 *  @returns {import('chess.js').Move | null} null, and nothing played, when it isn't legal */
export function playText(chess, text) {
  try {
    return chess.move(text.replace(/^0-0/, 'O-O').replace(/-0$/, '-O'));
  } catch {
    return null;
  }
}

/** Plays a move of the engine protocol ("e2e4", "e7e8q").
 *  @returns {import('chess.js').Move | null} null, and nothing played, when it isn't legal */
export function playUci(chess, text) {
  if (!/^[a-h][1-8][a-h][1-8][qrbn]?$/.test(text)) return null;
  try {
    return chess.move({ from: text.slice(0, 2), to: text.slice(2, 4), promotion: text[4] });
  } catch {
    return null;
  }
}

/** The legal moves of a position, as the engine protocol writes them. */
export const uciMoves = (chess) => chess.moves({ verbose: true }).map((move) => move.lan);

/** Plays what follows "position" in the engine protocol; the word before the moves can be any.
 *  @param {string} text "startpos moves e2e4", "fen ... moves e2e4"
 *  @returns {Chess} with the moves as its history
 *  @throws when it isn't a position, or a move isn't legal */
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

/** A line of protocol moves in standard notation, cut before the first move that isn't legal.
 *  @param {string} fen where it begins
 *  @param {string[]} moves
 *  @returns {string[]} */
export function sanLine(fen, moves) {
  const chess = new Chess(fen);
  const line = [];
  for (const text of moves) {
    const move = playUci(chess, text);
    if (!move) break;
    line.push(move.san);
  }
  return line;
}

/** "12." or "12...", what stands before a move in a position.
 *  @param {string} fen */
export function moveNumber(fen) {
  const fields = fen.split(' ');
  return `${fields[5]}${fields[1] === 'w' ? '.' : '...'}`;
}

/** A line with its numbers: "12... Nf6 13. e5 Nd5".
 *  @param {string} fen where it begins
 *  @param {string[]} line moves in standard notation */
export function numbered(fen, line) {
  let number = Number(fen.split(' ')[5]);
  let isWhite = fen.split(' ')[1] === 'w';
  const words = [];
  for (const [i, san] of line.entries()) {
    if (isWhite || i === 0) words.push(`${number}${isWhite ? '.' : '...'}`);
    words.push(san);
    if (!isWhite) number++;
    isWhite = !isWhite;
  }
  return words.join(' ');
}

/** What an engine's score means to people.
 *  @param {{kind: 'cp' | 'mate', value: number}} score the mover's, from an "info" line
 *  @param {object} how
 *  @param {boolean} [how.isBlack] the mover is Black, the result is White's
 *  @param {boolean} [how.isQuillon] Quillon counts a lost mate one move too high, and a mate in
 *      plies as 32000 less the plies in its lines of centipawns
 *  @returns {{cp: number} | {mate: number}} centipawns, or moves to mate, negative when mated; a
 *      finished mate is 0 */
export function readScore(score, { isBlack = false, isQuillon = false } = {}) {
  const sign = isBlack ? -1 : 1;
  let { kind, value } = score;
  if (isQuillon && kind === 'mate' && value < 0) value += 1;
  if (isQuillon && kind === 'cp' && Math.abs(value) >= 31872) {
    kind = 'mate';
    value = Math.sign(value) * Math.ceil((32000 - Math.abs(value)) / 2);
  }
  // No negative zero, which JSON and comparisons would show.
  return kind === 'mate' ? { mate: sign * value || 0 } : { cp: sign * value || 0 };
}

/** A score as it is printed: "+0.31", "#3", "#-3", "1-0" for a mate on the board; "?" for null.
 *  @param {{cp: number} | {mate: number, winner?: 'w' | 'b'} | null} score White's */
export function scoreText(score) {
  if (!score) return '?';
  if (score.winner) return score.winner === 'w' ? '1-0' : '0-1';
  if ('mate' in score) return `#${score.mate}`;
  const pawns = Math.abs(score.cp / 100).toFixed(2);
  return Number(pawns) === 0 ? '0.00' : `${score.cp < 0 ? '-' : '+'}${pawns}`;
}

/** The part of the point that White may expect, 0 to 1: one pawn is worth 100 Elo, a usual rule of
 *  thumb, which makes 64 % of it.
 *  @param {{cp: number} | {mate: number}} score White's; a mate on the board has `mate` 0 and its
 *      `winner`, 'w' or 'b' */
export function expectation(score) {
  if (score.mate === 0) return score.winner === 'w' ? 1 : 0;
  if ('mate' in score) return score.mate > 0 ? 1 : 0;
  return 1 / (1 + 10 ** (-score.cp / 400));
}

/** The words of a PGN text: { kind: 'tag', name, value } or { kind: 'move' | 'result' | 'number',
 *  text }. Comments, variations, annotation glyphs and escaped lines are left out. */
function* pgnWords(text) {
  const pattern = new RegExp(
    [
      /^%.*$/, // escaped line
      /\{[^}]*(?:\}|$(?![\s\S]))/, // comment; the last one may lack its end
      /;.*$/,
      /\[\s*(?<name>\w+)\s*"(?<value>(?:\\.|[^"\\])*)"\s*\]/,
      /(?<open>\()|(?<close>\))/,
      /\$\d+/,
      /(?<result>1-0|0-1|1\/2-1\/2|\*)(?![\w/-])/,
      /(?<number>\d+)(?:\.+|\s+(?=\.)\.+|(?=\s))/,
      /(?<move>--|[A-Za-z0-9@][-\w+#=:@]*)[!?]*/,
      /(?<other>\S)/,
    ]
      .map((part) => part.source)
      .join('|'),
    'gm',
  );
  let depth = 0;
  for (const { groups } of text.matchAll(pattern)) {
    if (groups.name !== undefined) {
      // A variation that is never closed mustn't swallow the games after it.
      depth = 0;
      yield { kind: 'tag', name: groups.name, value: groups.value.replace(/\\(.)/g, '$1') };
    } else if (groups.open) depth++;
    else if (groups.close) depth = Math.max(0, depth - 1);
    else if (depth) continue;
    else if (groups.result) yield { kind: 'result', text: groups.result };
    else if (groups.number) yield { kind: 'number', text: groups.number };
    else if (groups.move) yield { kind: 'move', text: groups.move };
    else if (groups.other && !/[!?.]/.test(groups.other))
      yield { kind: 'move', text: groups.other };
  }
}

/** Cuts a PGN text into games: { tags: Map, words: string[], result: ?string }. */
function* pgnGames(text) {
  let game = null;
  const fresh = () => ({ tags: new Map(), words: [], result: null });
  for (const word of pgnWords(text.replace(/^\uFEFF/, ''))) {
    if (word.kind === 'number') continue;
    if (game && (game.result || (word.kind === 'tag' && game.words.length))) {
      yield game;
      game = null;
    }
    game ??= fresh();
    if (word.kind === 'tag') {
      // A game without moves and result ends where the tags begin again.
      if (game.tags.has(word.name)) {
        yield game;
        game = fresh();
      }
      game.tags.set(word.name, word.value);
    } else if (word.kind === 'result') game.result = word.text;
    else game.words.push(word.text);
  }
  if (game) yield game;
}

/** Reads the main lines of all games of a PGN text.
 *  @param {string} text
 *  @returns {{tags: Map<string, string>, start: string, moves: import('chess.js').Move[],
 *      result: ?string, error: ?string}[]} `start` is a FEN; a game with an error has the moves
 *      before it */
export function readGames(text) {
  return [...pgnGames(text)].map(({ tags, words, result }) => {
    const game = { tags, start: startFen, moves: [], result, error: null };
    let chess;
    try {
      chess = readFen(tags.get('FEN') ?? startFen);
    } catch (error) {
      return { ...game, error: error.message };
    }
    game.start = chess.fen();
    for (const word of words) {
      if (/^e\.?p\.?$/.test(word)) continue;
      const move = word === '--' || word === 'Z0' ? null : playText(chess, word);
      if (!move) {
        game.error = `${moveNumber(chess.fen())} ${word} is not a legal move`;
        break;
      }
      game.moves.push(move);
    }
    return game;
  });
}

/** Who plays: "White - Black", as far as the tags say.
 *  @param {Map<string, string>} tags */
export function playersOf(tags) {
  const name = (key) => tags.get(key)?.replace(/^\?$/, '') || key;
  return `${name('White')} - ${name('Black')}`;
}
