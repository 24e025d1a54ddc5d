// SPDX-License-Identifier: MIT
//
// The games of a PGN text that arrives in pieces, one after the other, so that a file may be larger
// than the memory. This needs neither Node nor a page.

import { splitGames } from './game-tree.mjs';

/** A longer game is cut off after so many characters; perhaps the end of a comment is missing. */
const mostCharacters = 1 << 24;
const longLine = 1 << 16;

/** A game that hasn't been read yet, or text between games.
 *  @typedef {object} Part
 *  @property {string} text
 *  @property {number} line of the file on which it begins, from 1
 *  @property {number} column from 1
 *  @property {number} end characters of the file up to its end
 *  @property {boolean} isGame
 *  @property {boolean} isCut whether it was too long and cut off */

/** Cuts a text into games. It holds one piece and the game at its end.
 *  @param {AsyncIterable<string> | Iterable<string>} pieces
 *  @returns {AsyncGenerator<Part>} without separators and comments that belong to no game */
export async function* streamGames(pieces) {
  let text = '';
  /** Where the text begins in the file. */
  let begin = { line: 1, column: 1, end: 0 };
  const columnOf = (index) => {
    const before = text.lastIndexOf('\n', index - 1);
    return index && before >= 0 ? index - before : begin.column + index;
  };
  const partOf = (entry, isCut = false) => {
    const { tags, result, hasMoves, hasJunk, start, end } = entry;
    const hasTags = Object.keys(tags).length > 0;
    if (!hasTags && !result && !hasMoves && !hasJunk) return [];
    // Any text has words; without tags or a legal first move it isn't a game.
    const isGame = hasTags || entry.read().root.children.length > 0;
    const place = { line: begin.line + entry.line - 1, column: columnOf(start) };
    return [{ text: text.slice(start, end), ...place, end: begin.end + end, isGame, isCut }];
  };
  const forget = (index, line) => {
    begin = { line: begin.line + line - 1, column: columnOf(index), end: begin.end + index };
    text = text.slice(index);
  };

  let enough = 0;
  for await (const piece of pieces) {
    text += begin.end || text ? piece : piece.replace(/^\uFEFF/, '');
    if (text.length < enough) continue;
    // A line that isn't complete can be read differently, but some files are a single line.
    const lineEnd = text.lastIndexOf('\n') + 1;
    const isLong = text.length - lineEnd > longLine;
    const entries = splitGames(isLong ? text : text.slice(0, lineEnd));
    const last = entries.pop();
    for (const entry of entries) yield* partOf(entry);
    if (last) forget(last.start, last.line);
    if (text.length > mostCharacters) {
      for (const entry of splitGames(text.slice(0, 1 << 16))) yield* partOf(entry, true);
      forget(text.length, text.split('\n').length);
    }
    // A long game is scanned again only when twice as much of it has arrived.
    enough = Math.min(2 * text.length, mostCharacters + 1);
  }
  for (const entry of splitGames(text)) yield* partOf(entry);
}
