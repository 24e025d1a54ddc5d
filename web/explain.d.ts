// SPDX-License-Identifier: MIT

/** Loads the evaluation, without an engine or a thread. The function that it returns takes one FEN,
 *  or two to compare, and returns the JSON of `quillon_explain --json`: an object with `error` if a
 *  position is not playable. */
export function Explain(): Promise<(fen: string, after?: string) => object>;
