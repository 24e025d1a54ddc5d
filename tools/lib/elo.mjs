// SPDX-License-Identifier: MIT
//
// Elo differences from the results of a match, and the test that ends a match early.
//
// Each opening is played twice, with colours swapped. The two games aren't independent, since an
// opening that favours one colour gives both sides a point, so the pair is the unit of measurement:
// it scores 0, 0.5, 1, 1.5 or 2, hence "pentanomial". The error of pairs is smaller than that of
// single games, where the influence of the openings counts as noise. See Michel Van den Bergh,
// "Comments on normalized Elo" (2020).

/** The shares of the points that a pair can give. */
const shares = [0, 0.25, 0.5, 0.75, 1];

/** The Elo difference for an expected score.
 *  @param {number} score points a game, above 0 and below 1 */
const eloOf = (score) => 400 * Math.log10(score / (1 - score));

const scoreOf = (elo) => 1 / (1 + 10 ** (-elo / 400));
const sumOf = (values) => values.reduce((a, b) => a + b, 0);

/** The probability that a standard normal variable is below z; the series of George Marsaglia,
 *  "Evaluating the normal distribution" (2004). */
function normal(z) {
  if (Math.abs(z) > 8) return z > 0 ? 1 : 0;
  let sum = 0;
  for (let term = z, k = 1; sum + term !== sum; term *= z ** 2 / (k += 2)) sum += term;
  return 0.5 + (sum * Math.exp(-(z ** 2) / 2)) / Math.sqrt(2 * Math.PI);
}

/** Evaluates a match.
 *  @param {number[][]} pairs points of the first side in the games of each pair; incomplete pairs
 *      don't count for the error
 *  @returns {{games, wins, draws, losses: number, score: number, pentanomial: number[],
 *      elo, low, high: ?number, superiority: number}} score is the share of the points; pentanomial
 *      counts the complete pairs by points; low and high are the 95 % confidence interval of elo,
 *      each null if there is no such limit, as elo is if the score is 0 or 1; superiority is the
 *      likelihood that the first side is the stronger one */
export function evaluateMatch(pairs) {
  const games = pairs.flat();
  const count = (points) => games.filter((value) => value === points).length;
  const score = games.length ? sumOf(games) / games.length : 0.5;
  const complete = pairs.filter((pair) => pair.length === 2).map(([a, b]) => (a + b) / 2);
  const n = complete.length;
  const mean = sumOf(complete) / n;
  const variance = sumOf(complete.map((share) => (share - mean) ** 2)) / (n - 1);
  const error = Math.sqrt(variance / n);
  // If all pairs are equal, the variance says nothing. But if a share q of all possible pairs
  // differed, none would be among these with probability (1 - q)^n, which is 5 % for this q:
  const q = 1 - 0.05 ** (1 / n);
  const limits = error
    ? [score - 1.959964 * error, score + 1.959964 * error]
    : [score * (1 - q), score * (1 - q) + q];
  const [elo, low, high] = [score, ...limits].map((x) => (x > 0 && x < 1 ? eloOf(x) : null));
  // n pairs can't prove more than n won pairs do. If every share of won pairs is equally likely at
  // first, then after n won pairs the share is above one half with probability 1 - 2^-(n + 1).
  const most = 1 - 0.5 ** (n + 1);
  const likelihood = score === 0.5 ? 0.5 : normal((score - 0.5) / (error || 0));
  return {
    games: games.length,
    wins: count(1),
    draws: count(0.5),
    losses: count(0),
    score,
    pentanomial: shares.map((share) => complete.filter((value) => value === share).length),
    elo,
    low,
    high,
    superiority: Math.min(Math.max(likelihood, 1 - most), most),
  };
}

/** The most likely probabilities, given observed frequencies, with which the mean of values is 0.
 *  They maximise the sum of frequency * log(probability). By Lagrange's method they are
 *  frequency / (1 + m value), where m makes the mean 0; the mean falls as m grows. */
function fitMean(frequencies, values) {
  let low = -1 / Math.max(...values);
  let high = -1 / Math.min(...values);
  let m = 0;
  for (let i = 0; i < 50; i++) {
    m = (low + high) / 2;
    let mean = 0;
    for (let j = 0; j < 5; j++) mean += (frequencies[j] * values[j]) / (1 + m * values[j]);
    if (mean > 0) low = m;
    else high = m;
  }
  return frequencies.map((frequency, i) => frequency / (1 + m * values[i]));
}

/** Of all probabilities with an Elo difference, those that fit the frequencies of pairs best. */
const fits = {
  logistic: (frequencies, elo) =>
    fitMean(frequencies, shares.map((share) => share - scoreOf(elo))),

  // Normalized Elo is 800 / ln 10 * (score - 1/2) / d, where d is the standard deviation of a game,
  // sqrt(2) times that of a pair. So with z = share - 1/2, a pair has mean(z) = t deviation(z). The
  // deviation is sqrt(r^2 - mean(z)^2) with r^2 = mean(z^2), hence mean(z) = k r with
  // k = t / sqrt(1 + t^2). If r is known, this is a linear condition: the mean of
  // z - k (z^2 / r + r) / 2 is 0. So r is taken from the previous solution until it converges.
  normalized(frequencies, elo) {
    const t = (Math.SQRT2 * elo * Math.LN10) / 800;
    const k = t / Math.sqrt(1 + t ** 2);
    let fit = shares.map(() => 1 / shares.length);
    for (let i = 0, change = 1; i < 100 && change > 1e-7; i++) {
      const r = Math.sqrt(sumOf(fit.map((p, i) => p * (shares[i] - 0.5) ** 2)));
      const values = shares.map((x) => x - 0.5 - (k * ((x - 0.5) ** 2 / r + r)) / 2);
      const next = fitMean(frequencies, values);
      change = Math.max(...next.map((p, i) => Math.abs(p - fit[i])));
      fit = next;
    }
    return fit;
  },
};

/** The units in which a difference can be tested: "logistic", the usual Elo, and "normalized",
 *  where the length of a test does not depend on the share of draws. */
export const models = Object.keys(fits);

/** Abraham Wald's sequential probability ratio test ("Sequential tests of statistical hypotheses",
 *  1945) of H0, the Elo difference is elo0, against H1, it is elo1. What the hypotheses leave
 *  free is fitted to the results (Michel Van den Bergh, "A practical introduction to the GSPRT").
 *  @param {number[]} pentanomial numbers of pairs with 0, 0.5, 1, 1.5 and 2 points
 *  @param {object} test
 *  @param {number} test.elo0 -400 to 400
 *  @param {number} test.elo1 -400 to 400
 *  @param {number} test.alpha probability to accept H1 if H0 is true
 *  @param {number} test.beta probability to accept H0 if H1 is true
 *  @param {string} test.model one of `models`
 *  @returns {{llr, lower, upper: number, accepted: ?('H0' | 'H1')}} the logarithm of the ratio of
 *      the likelihoods of H1 and H0, and the limits beyond which one of them is accepted */
export function sprt(pentanomial, { elo0, elo1, alpha, beta, model }) {
  // A little of everything, so that each difference can be fitted.
  const counts = pentanomial.map((count) => count || 1e-3);
  const frequencies = counts.map((count) => count / sumOf(counts));
  const [h0, h1] = [elo0, elo1].map((elo) => fits[model](frequencies, elo));
  const llr = sumOf(counts.map((count, i) => count * Math.log(h1[i] / h0[i])));
  const lower = Math.log(beta / (1 - alpha));
  const upper = Math.log((1 - beta) / alpha);
  return { llr, lower, upper, accepted: llr >= upper ? 'H1' : llr <= lower ? 'H0' : null };
}
