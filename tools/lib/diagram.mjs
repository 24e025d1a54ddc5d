// SPDX-License-Identifier: MIT
//
// Boards as pictures (SVG) that draw their own pieces, for documents that load nothing.

/** Outlines of white's pieces on a square of 45 units, and lines on them. */
const shapes = {
  p: [
    'M22.5 9a5.5 5.5 0 0 1 3.4 9.8h2.1v2.4h-2.2c.4 5 2.4 8 6 10.3 2.2 1.4 2.9 3.4 2.9 6.5h-24.4c0-3.1' +
      '.7-5.1 2.9-6.5 3.6-2.3 5.6-5.3 6-10.3h-2.2v-2.4h2.1a5.5 5.5 0 0 1 3.4-9.8z',
    '',
  ],
  n: [
    'M14 38c0-6 2-9.3 6-12.6-3.4.3-5.3 1.6-6.9 4.1-.9 1.4-2.4 1.5-3.5.5l-2.2-2.3c-.8-.9-.7-2 0-3 2-3 3' +
      '-5.6 4-9 .7-2.4 2.2-4.4 4.2-5.9l-.6-4.3 4.8 2.6c10.4-.2 16.4 8.4 16.4 20.4 0 3.8-.4 6.6-1 9.5z',
    'M16.4 16.2h1.4M10.2 26.2l1-1M24 12c5 2 8 7 8 14',
  ],
  b: [
    'M22.5 5a2.5 2.5 0 0 1 1.6 4.4c4.4 3.4 7 7.3 7 11.9 0 3.2-1.3 5.5-3.4 7.2l1.3 4.2c4.2.4 6.5 1.9 6.5 5.3' +
      'h-26c0-3.4 2.3-4.9 6.5-5.3l1.3-4.2c-2.1-1.7-3.4-4-3.4-7.2 0-4.6 2.6-8.5 7-11.9a2.5 2.5 0 0 1 1.6-4.4z',
    'M22.5 15v8M18.5 19h8M17.3 28.5h10.4M16 32.7h13',
  ],
  r: [
    'M11 9h5v3.5h4V9h5v3.5h4V9h5v7.5l-3.5 3V30l3 3.5V38h-22v-4.5l3-3.5V19.5l-3.5-3z',
    'M14.5 19.5h16M14.5 30h16',
  ],
  q: [
    'M7.5 11.5l6 10.5 1.3-14 5.4 13 2.3-14.5 2.3 14.5 5.4-13 1.3 14 6-10.5-4 18.5 1.5 4.5v3.5h-25v-3.5l1.5-4.5z',
    'M11.5 30h22M10 34.5h25',
  ],
  k: [
    'M21.2 3.5h2.6v2.8h2.8v2.6h-2.8v3.6c4.4-4.6 12.7-2.6 12.7 4.2 0 5-4 8.3-5 13.3l1.5 4v4h-21v-4l1.5-4' +
      'c-1-5-5-8.3-5-13.3 0-6.8 8.3-8.8 12.7-4.2V8.9h-2.8V6.3h2.8z',
    'M22.5 12.5V30M13.5 30h18M12 34h21',
  ],
};
const square = 45;
const margin = 16;

/** A text that is safe in SVG and HTML. */
export function escapeText(text) {
  // XML does not allow control characters at all.
  return String(text)
    .replace(/[\u0000-\u0008\u000b-\u001f\u007f]/g, ' ')
    .replace(/[&<>"]/g, (c) => ({ '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;' })[c]);
}

/** The drawings of the pieces by their letters in a FEN. */
const drawings = Object.entries(shapes).flatMap(([piece, [outline, lines]]) =>
  [
    [piece.toUpperCase(), '#ffffff', '#1f2428', '#1f2428'],
    [piece, '#3c444b', '#14181b', '#e4e8eb'],
  ].map(([letter, fill, edge, line]) => [
    letter,
    '<g stroke-width="1.5" stroke-linejoin="round" stroke-linecap="round">' +
      `<path d="${outline}" fill="${fill}" stroke="${edge}"/>` +
      `<path d="${lines}" fill="none" stroke="${line}"/></g>`,
  ]),
);

const unseen = 'width="0" height="0" style="position:absolute" aria-hidden="true"';

/** The pieces as symbols; a document that has boards in it needs them once. */
export function pieceSymbols() {
  const symbols = drawings.map(
    ([letter, drawing]) =>
      `<symbol id="piece-${letter}" viewBox="0 0 ${square} ${square}">${drawing}</symbol>`,
  );
  return `<svg ${unseen}>${symbols.join('')}</svg>`;
}

/** The pieces as a sprite with the names and the size that cm-chessboard expects: "wn", on squares of
 *  40 units.
 *  @param {string} id of the svg element */
export function pieceSprite(id) {
  const groups = drawings.map(([letter, drawing]) => {
    const piece = letter.toLowerCase();
    const name = (letter === piece ? 'b' : 'w') + piece;
    return `<g id="${name}" transform="scale(${40 / square})">${drawing}</g>`;
  });
  return `<svg id="${id}" ${unseen}>${groups.join('')}</svg>`;
}

/** The pieces of a position, as uses of the symbols. */
function piecesOf(fen, isFlipped) {
  const uses = [];
  for (const [rank, row] of fen.split(' ')[0].split('/').entries()) {
    let file = 0;
    for (const letter of row) {
      if (/\d/.test(letter)) file += Number(letter);
      else {
        const [column, line] = isFlipped ? [7 - file, 7 - rank] : [file, rank];
        const place = `x="${column * square}" y="${line * square}"`;
        uses.push(`<use href="#piece-${letter}" ${place} width="${square}" height="${square}"/>`);
        file++;
      }
    }
  }
  return uses.join('');
}

/** The middle of a square in the picture. */
function middleOf(name, isFlipped) {
  const [file, rank] = [name.charCodeAt(0) - 97, Number(name[1]) - 1];
  const [column, line] = isFlipped ? [7 - file, rank] : [file, 7 - rank];
  return [(column + 0.5) * square, (line + 0.5) * square];
}

function arrow([from, to, kind], isFlipped) {
  const [[x1, y1], [x2, y2]] = [middleOf(from, isFlipped), middleOf(to, isFlipped)];
  const length = Math.hypot(x2 - x1, y2 - y1);
  const [dx, dy] = [(x2 - x1) / length, (y2 - y1) / length];
  const at = (along, aside) =>
    `${(x2 + dx * along - dy * aside).toFixed(1)} ${(y2 + dy * along + dx * aside).toFixed(1)}`;
  return (
    `<path class="arrow ${kind}" d="M${at(-length, 3)}L${at(-15, 3)}L${at(-15, 9)}L${at(2, 0)}` +
    `L${at(-15, -9)}L${at(-15, -3)}L${at(-length, -3)}Z"/>`
  );
}

/** The style of boards; a document that has them in it needs it once. */
export const boardStyle = `.board .light { fill: #e6ebef } .board .dark { fill: #8ba1b3 }
.board .marked { fill: #e8c14a; fill-opacity: 0.55 } .board text { fill: #66707a; font: 11px sans-serif }
.arrow { fill-opacity: 0.8 } .arrow.played { fill: #c8321f } .arrow.better { fill: #23824a }`;

/** Draws a board.
 *  @param {string} fen
 *  @param {object} [how]
 *  @param {boolean} [how.isFlipped] seen by Black
 *  @param {string[]} [how.marked] squares
 *  @param {[string, string, 'played' | 'better'][]} [how.arrows] from, to
 *  @param {string} [how.label] for screen readers
 *  @returns {string} an svg element; `pieceSymbols` and `boardStyle` have to be in the document */
export function boardSvg(fen, { isFlipped = false, marked = [], arrows = [], label } = {}) {
  const side = 8 * square;
  const parts = [`<rect class="light" width="${side}" height="${side}"/>`];
  const dark = [];
  for (let i = 0; i < 64; i++) {
    if ((i + (i >> 3)) % 2)
      dark.push(`M${(i % 8) * square} ${(i >> 3) * square}h${square}v${square}h-${square}z`);
  }
  parts.push(`<path class="dark" d="${dark.join('')}"/>`);
  for (const name of marked) {
    const [x, y] = middleOf(name, isFlipped);
    const corner = `x="${x - square / 2}" y="${y - square / 2}"`;
    parts.push(`<rect class="marked" ${corner} width="${square}" height="${square}"/>`);
  }
  parts.push(piecesOf(fen, isFlipped));
  for (const each of arrows) parts.push(arrow(each, isFlipped));
  for (let i = 0; i < 8; i++) {
    const [file, rank] = isFlipped ? [7 - i, i + 1] : [i, 8 - i];
    const middle = (i + 0.5) * square;
    parts.push(
      `<text x="${middle}" y="${side + 13}" text-anchor="middle">${'abcdefgh'[file]}</text>`,
      `<text x="-9" y="${middle + 4}" text-anchor="middle">${rank}</text>`,
    );
  }
  const name = label ? ` role="img" aria-label="${escapeText(label)}"` : '';
  return (
    `<svg class="board" viewBox="-${margin} -2 ${side + margin + 2} ${side + margin + 2}"${name}>` +
    `${parts.join('')}</svg>`
  );
}

/** `boardSvg` as the text of a script, for documents that draw boards themselves. */
export const boardSource = [
  `const square = ${square};\nconst margin = ${margin};`,
  ...[escapeText, piecesOf, middleOf, arrow, boardSvg],
].join('\n');
