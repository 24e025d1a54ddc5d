// SPDX-License-Identifier: MIT
// Reproducible random numbers. QUILLON_SEED changes the seed.

export const seed = Number(process.env.QUILLON_SEED ?? 20240607);

// Returns a function that gives numbers from 0 (included) to 1 (excluded): "mulberry32", a
// 32-bit generator in the public domain by Tommy Ettinger.
export function randomNumbers(start = seed) {
  let state = start >>> 0;
  return () => {
    state = (state + 0x6d2b79f5) >>> 0;
    let word = Math.imul(state ^ (state >>> 15), state | 1);
    word ^= word + Math.imul(word ^ (word >>> 7), word | 61);
    return ((word ^ (word >>> 14)) >>> 0) / 4294967296;
  };
}

// Returns one element of a list.
export function pick(random, list) {
  return list[Math.floor(random() * list.length)];
}
