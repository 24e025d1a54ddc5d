// SPDX-License-Identifier: MIT
//
// Elo differences from the results of a match.
//
// Each opening is played twice, with colours swapped. The two games aren't independent, since an
// opening that favours one colour gives both sides a point, so the pair is the unit of measurement:
// it scores 0, 0.5, 1, 1.5 or 2, hence "pentanomial". The error of pairs is smaller than that of
// single games, where the influence of the openings counts as noise. See Michel Van den Bergh,
// "Comments on normalized Elo" (2020).

/** The Elo difference for an expected score.
 *  @param {number} score points a game, 0 to 1; clamped so that the result is finite */
export function eloOf(score) {
  const share = Math.min(Math.max(score, 1e-4), 1 - 1e-4);
  return 400 * Math.log10(share / (1 - share));
}

/** Evaluates a match.
 *  @param {number[][]} pairs points of the first side in the games of each pair; incomplete pairs
 *      don't count for the error
 *  @returns {{games, wins, draws, losses: number, score: number, pentanomial: number[],
 *      elo: number, low: number, high: number}} score is the share of the points; low and high are
 *      the 95 % confidence interval; pentanomial counts the complete pairs by points */
export function evaluateMatch(pairs) {
  const games = pairs.flat();
  const count = (points) => games.filter((value) => value === points).length;
  const score = games.length ? games.reduce((a, b) => a + b, 0) / games.length : 0.5;
  const complete = pairs.filter((pair) => pair.length === 2).map(([a, b]) => a + b);
  const pentanomial = [0, 0.5, 1, 1.5, 2].map(
    (points) => complete.filter((value) => value === points).length,
  );
  // The standard error needs at least two pairs.
  let error = 0.5;
  if (complete.length > 1) {
    const mean = complete.reduce((a, b) => a + b, 0) / complete.length / 2;
    const squares = complete.reduce((sum, points) => sum + (points / 2 - mean) ** 2, 0);
    error = 1.959964 * Math.sqrt(squares / (complete.length - 1) / complete.length);
  }
  return {
    games: games.length,
    wins: count(1),
    draws: count(0.5),
    losses: count(0),
    score,
    pentanomial,
    elo: eloOf(score),
    low: eloOf(score - error),
    high: eloOf(score + error),
  };
}
