// SPDX-License-Identifier: MIT
//
// The rules of chess and chess as text: positions, games and moves as people and engines write
// them, scores as people read them. The rules are those of chess.js. Its reader of games takes a
// single game and fails at the first wrong move, so this file has its own.

let library;
try {
  library = await import('../../node_modules/chess.js/dist/esm/chess.js');
} catch (error) {
  if (error.code !== 'ERR_MODULE_NOT_FOUND') throw error;
  const program = process.argv[1]?.split('/').at(-1) ?? 'quillon';
  console.error(`${program}: chess.js is missing; please run "npm ci"`);
  process.exit(1);
}

export const { Chess } = library;
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

/** Plays a move in any usual notation: "Nf3", "Ngf3", "0-0", "e8Q", "g1f3".
 *  @returns {import('chess.js').Move | null} null if it isn't legal; nothing is played then */
export function playText(chess, text) {
  try {
    return chess.move(text.replace(/^0-0/, 'O-O').replace(/-0$/, '-O'));
  } catch {
    return null;
  }
}

/** Plays a move in UCI notation ("e2e4", "e7e8q").
 *  @returns {import('chess.js').Move | null} null if it isn't legal; nothing is played then */
export function playUci(chess, text) {
  if (!/^[a-h][1-8][a-h][1-8][qrbn]?$/.test(text)) return null;
  try {
    return chess.move({ from: text.slice(0, 2), to: text.slice(2, 4), promotion: text[4] });
  } catch {
    return null;
  }
}

/** The legal moves of a position in UCI notation. */
export const uciMoves = (chess) => chess.moves({ verbose: true }).map((move) => move.lan);

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
 *  @param {string[]} moves in UCI notation
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

/** White's expected score, 0 to 1, if a pawn is worth 100 Elo: 0.64 for a pawn.
 *  @param {{cp: number} | {mate: number}} score from White's view; checkmate has `mate` 0 and a
 *      `winner`, 'w' or 'b' */
export function expectation(score) {
  if (score.mate === 0) return score.winner === 'w' ? 1 : 0;
  if ('mate' in score) return score.mate > 0 ? 1 : 0;
  return 1 / (1 + 10 ** (-score.cp / 400));
}

/** The words of a PGN text: { kind: 'tag', name, value } or { kind: 'move' | 'result' | 'number',
 *  text }. Comments, variations, annotations and escaped lines are skipped. */
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
      // An unclosed variation ends with its game.
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

/** Splits a PGN text into games: { tags: Map, words: string[], result: ?string }. */
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
      // A game without moves and result ends at a repeated tag.
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
 *      result: ?string, error: ?string}[]} `start` is a FEN; `moves` end before an error */
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

/** The players of a game: "White - Black" if the tags don't name them.
 *  @param {Map<string, string>} tags */
export function playersOf(tags) {
  const name = (key) => tags.get(key)?.replace(/^\?$/, '') || key;
  return `${name('White')} - ${name('Black')}`;
}
