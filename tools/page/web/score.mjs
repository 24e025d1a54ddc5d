// SPDX-License-Identifier: MIT
//
// Scores as the page shows them. A score is { cp } or { mate }, and may have a depth: hundredths of
// a pawn or moves to mate, from White's view; mate 0 is a mate on the board, by `winner`.

const sign = (value) => (value > 0 ? '+' : value < 0 ? '\u2212' : '');
const isWon = (score) => (score.mate ? score.mate > 0 : score.winner === 'w');

/** "+0.35", "−1.20", "0.00", "+M3" (White mates in 3), "−M3"; "1-0" for a mate on the board. */
export function scoreText(score) {
  if (score.mate === 0) return isWon(score) ? '1-0' : '0-1';
  if (score.mate) return `${sign(score.mate)}M${Math.abs(score.mate)}`;
  return pawnText(score.cp / 100);
}

/** "+0.35", "−1.20", "0.00".
 *  @param {number} pawns
 *  @param {number} [digits] after the point */
export function pawnText(pawns, digits = 2) {
  const size = Math.abs(pawns).toFixed(digits);
  return Number(size) === 0 ? size : sign(pawns) + size;
}

/** The same in words, for screen readers. */
export function scoreWords(score) {
  if (score.mate !== undefined) {
    const side = isWon(score) ? 'White' : 'Black';
    return score.mate ? `${side} mates in ${Math.abs(score.mate)}` : `${side} has mated`;
  }
  if (score.cp === 0) return 'even';
  const pawns = (Math.abs(score.cp) / 100).toFixed(2);
  return `${score.cp > 0 ? 'White' : 'Black'} is ${pawns} pawns ahead`;
}

/** White's share of the bar, 0 to 1: about 0.64 for a pawn ahead, 0.91 for four. */
export function whiteShare(score) {
  if (score.mate !== undefined) return isWon(score) ? 1 : 0;
  return 1 / (1 + 10 ** (-score.cp / 400));
}
