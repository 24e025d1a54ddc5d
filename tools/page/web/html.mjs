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
export function button(id, picture, words, title, act, { isDisabled = false, kind = '' } = {}) {
  return html`
    <button type="button" id=${id} class=${kind} title=${title}
      aria-label=${title.replace(/ \(.*/, '')} ?disabled=${isDisabled} @click=${act}>
      ${icon(picture)}${words ? html`<span>${words}</span>` : nothing}
    </button>`;
}

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
