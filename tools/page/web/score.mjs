// SPDX-License-Identifier: MIT
//
// Scores as people read them. A score is { kind: 'cp' | 'mate', value, depth? }: hundredths of a
// pawn or moves to mate, from White's view; mate 0 is a mate on the board.

/** An engine's score, which is the mover's, from White's view.
 *  @param {{kind: 'cp' | 'mate', value: number}} score
 *  @param {'w' | 'b'} turn whose move it is
 *  @param {number} [depth] plies */
export function fromMover({ kind, value }, turn, depth) {
  return { kind, value: turn === 'w' ? value : -value, depth };
}

/** "+0.35", "−1.20", "0.00", "+M3" (White mates in 3), "−M3". */
export function scoreText({ kind, value }) {
  const sign = value > 0 ? '+' : value < 0 ? '\u2212' : '';
  const size = Math.abs(value);
  return kind === 'mate' ? `${sign}M${size}` : `${sign}${(size / 100).toFixed(2)}`;
}

/** The same in words, for the reader of a screen. */
export function scoreWords({ kind, value }) {
  const side = value > 0 ? 'White' : 'Black';
  if (kind === 'mate') return `${side} mates in ${Math.abs(value)}`;
  if (value === 0) return 'even';
  return `${side} is ${(Math.abs(value) / 100).toFixed(2)} pawns ahead`;
}

/** White's share of the whole, 0 to 1: a pawn ahead is about 0.64, four pawns 0.91. */
export function whiteShare({ kind, value }) {
  if (kind === 'mate') return value > 0 ? 1 : 0;
  return 1 / (1 + 10 ** (-value / 400));
}

/** A score as in a PGN comment "[%eval ...]": pawns or "#" and moves, then the depth. */
export function writeScore({ kind, value, depth }) {
  const text = kind === 'mate' ? `#${value}` : (value / 100).toFixed(2);
  return depth ? `${text},${depth}` : text;
}

/** The inverse of writeScore(); null for what isn't a score. */
export function readScore(text) {
  const match = text.match(/^(?:#([+-]?\d{1,3})|([+-]?\d{1,4}(?:\.\d{1,3})?))(?:,(\d{1,3}))?$/);
  if (!match) return null;
  const [, mate, pawns, depth] = match;
  const score =
    mate === undefined
      ? { kind: 'cp', value: Math.round(Number(pawns) * 100) }
      : { kind: 'mate', value: Number(mate) };
  if (depth) score.depth = Number(depth);
  return score;
}
