// SPDX-License-Identifier: MIT
//
// What all parts of the page use to draw themselves: lit-html's templates, icons, pieces.

import { html, nothing, render, svg } from '../../../node_modules/lit-html/lit-html.js';
import { live } from '../../../node_modules/lit-html/directives/live.js';

export { html, live, nothing, render, svg };
export const $ = (id) => document.getElementById(id);

/** One of the symbols in index.html. */
export const icon = (name) => svg`<svg aria-hidden="true"><use href="#icon-${name}"></use></svg>`;

/** A button with an icon; its words are hidden where there is little room. */
export const button = (
  id,
  picture,
  words,
  title,
  act,
  { isDisabled = false, kind = '' } = {},
) => html`
  <button type="button" id=${id} class=${kind} title=${title}
    aria-label=${title.replace(/ \(.*/, '')} ?disabled=${isDisabled} @click=${act}>
    ${icon(picture)}${words ? html`<span>${words}</span>` : nothing}
  </button>`;

/** @param {string} piece "wn", from the sprite that the board has put into the page */
export const pieceSvg = (piece) => svg`
  <svg class="piece-icon" viewBox="0 0 40 40" aria-hidden="true">
    <use href="#${piece}"></use></svg>`;

export const pieceWords = {
  k: 'king',
  q: 'queen',
  r: 'rook',
  b: 'bishop',
  n: 'knight',
  p: 'pawn',
};
const files = 'abcdefgh';
export const squares = [...'87654321'].flatMap((rank) => [...files].map((file) => file + rank));

/** The pieces of a FEN by their squares: Map of "e4" to "wp". */
export function piecesOf(fen) {
  const rows = fen
    .split(' ')[0]
    .replace(/\d/g, (digit) => ' '.repeat(digit))
    .replaceAll('/', '');
  const codeOf = (letter) => (letter === letter.toUpperCase() ? 'w' : 'b') + letter.toLowerCase();
  const all = squares.map((square, index) => [square, rows[index]]);
  return new Map(
    all.filter(([, one]) => one !== ' ').map(([square, one]) => [square, codeOf(one)]),
  );
}

/** A small picture of a position.
 *  @param {string} fen
 *  @param {boolean} isTurned Black is at the bottom
 *  @param {string} [move] in long algebraic notation, is marked */
export function smallBoard(fen, isTurned, move = '') {
  const place = (square) => {
    const [x, y] = [files.indexOf(square[0]), 8 - Number(square[1])];
    return isTurned ? [7 - x, 7 - y] : [x, y];
  };
  const at = (square, draw) => draw(...place(square).map((one) => one * 40));
  const marked = move ? [move.slice(0, 2), move.slice(2, 4)] : [];
  return svg`<svg class="small-board" viewBox="0 0 320 320" aria-hidden="true">
    <rect class="light" width="320" height="320"></rect>
    ${squares.map((square, i) =>
      (i + (i >> 3)) % 2
        ? at(square, (x, y) => svg`<rect class="dark" x=${x} y=${y} width="40" height="40"></rect>`)
        : nothing,
    )}
    ${marked.map((square) =>
      at(square, (x, y) => svg`<rect class="marked" x=${x} y=${y} width="40" height="40"></rect>`),
    )}
    ${[...piecesOf(fen)].map(([square, piece]) =>
      at(square, (x, y) => svg`<use href="#${piece}" x=${x} y=${y} width="40" height="40"></use>`),
    )}
  </svg>`;
}
