// SPDX-License-Identifier: MIT
//
// Scores as the page shows them. A score is { cp } or { mate }, and may have a depth: hundredths of
// a pawn or moves to mate, from White's view; mate 0 is a mate on the board, by `winner`.

import { mateWinner, scoreText as plainText } from '../../lib/chess.mjs';
import { nameOf } from './rules.mjs';

/** A text with its scores as the page writes them: "#3" is "+M3", "-1.20" is "−1.20". */
export const pageText = (text) =>
  text
    .replace(/#(-?)(?=\d)/g, (_, minus) => `${minus || '+'}M`)
    .replace(/(?<!\d)-(?=M?\d)/g, '\u2212');

/** "+0.35", "−1.20", "0.00", "+M3" (White mates in 3), "−M3"; "1-0" for a mate on the board. */
export const scoreText = (score) => pageText(plainText(score));

/** The same in words, for screen readers. */
export function scoreWords(score) {
  const winner = mateWinner(score);
  if (winner) {
    return `${nameOf(winner)} ${score.mate ? `mates in ${Math.abs(score.mate)}` : 'has mated'}`;
  }
  if (score.cp === 0) return 'even';
  const pawns = (Math.abs(score.cp) / 100).toFixed(2);
  return `${nameOf(score.cp > 0 ? 'w' : 'b')} is ${pawns} pawns ahead`;
}
