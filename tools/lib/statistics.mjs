// SPDX-License-Identifier: MIT
//
// Quantiles.

/** A quantile, interpolated between two values.
 *  @param {number[]} values at least one, in any order
 *  @param {number} share 0 for the smallest, 0.5 for the median, 1 for the largest */
export function quantile(values, share) {
  const sorted = [...values].sort((a, b) => a - b);
  const place = share * (sorted.length - 1);
  const below = Math.floor(place);
  const above = Math.min(below + 1, sorted.length - 1);
  return sorted[below] + (place - below) * (sorted[above] - sorted[below]);
}
