// SPDX-License-Identifier: MIT

/** Loads the evaluation of positions, without an engine or a thread. What it gives answers one FEN,
 *  or two to compare, with the JSON of `quillon_explain --json`: an object with `error` when a FEN
 *  can't be played on. */
export function Explain(): Promise<(fen: string, after?: string) => object>;
