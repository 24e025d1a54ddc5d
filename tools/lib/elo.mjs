// SPDX-License-Identifier: MIT
//
// What the results of a match say about the difference in strength.
//
// Each opening is played twice, with colours swapped. The two games aren't independent, since an
// opening that favours one colour gives both sides a point, so the pair is the unit of measurement:
// it scores 0, 0.5, 1, 1.5 or 2, hence "pentanomial". The error out of pairs is smaller than
// the one out of single games, which takes the openings' share for chance. See Michel Van den
// Bergh, "Comments on normalized Elo" (2020).

/** The Elo difference at which a score is expected.
 *  @param {number} score points a game, 0 to 1; clipped so that the result is finite */
export function eloOf(score) {
  const share = Math.min(Math.max(score, 1e-4), 1 - 1e-4);
  return 400 * Math.log10(share / (1 - share));
}

/** Evaluates a match.
 *  @param {number[][]} pairs points of the first side in the games of each pair, colours swapped;
 *      pairs that are not complete are left out of the error
 *  @returns {{games, wins, draws, losses: number, score: number, pentanomial: number[],
 *      elo: number, low: number, high: number}} score is a share of the points; low and high
 *      enclose the true difference with 95 % confidence; pentanomial counts the complete pairs by
 *      points */
export function evaluateMatch(pairs) {
  const games = pairs.flat();
  const count = (points) => games.filter((value) => value === points).length;
  const score = games.length ? games.reduce((a, b) => a + b, 0) / games.length : 0.5;
  const complete = pairs.filter((pair) => pair.length === 2).map(([a, b]) => a + b);
  const pentanomial = [0, 0.5, 1, 1.5, 2].map(
    (points) => complete.filter((value) => value === points).length,
  );
  // Of a pair's mean score a game; with few pairs the sample's own variance would be too small.
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
