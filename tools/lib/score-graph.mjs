// SPDX-License-Identifier: MIT
//
// The score over a game as a picture (SVG). Heights are what White may expect of the point, so that
// a pawn counts for much in an even game and for little in a decided one; the axis is labelled in
// pawns. Readers with a dark background get a dark picture.

import { expectation, scoreText } from './chess.mjs';

const width = 960;
const height = 400;
const plot = { left: 64, right: width - 24, top: 64, bottom: height - 48 };
const labels = [5, 3, 2, 1, 0, -1, -2, -3, -5];

const fixed = (value) => Number(value.toFixed(1));

/** A text that is safe in an SVG. */
function escape(text) {
  // Control characters have no place in XML at all.
  return text
    .replace(/[\u0000-\u001f\u007f]/g, ' ')
    .replace(/[&<>"]/g, (c) => ({ '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;' })[c]);
}

/** The moves that are numbered: every 1, 2, 5, ... so that numbers have 40 units each. */
function numberStep(moves) {
  const room = Math.max(1, Math.floor((plot.right - plot.left) / 40));
  return [1, 2, 5, 10, 20, 50, 100, 200, 500].find((step) => moves / step <= room) ?? 1000;
}

/** Draws a game.
 *  @param {object} game
 *  @param {string} game.title
 *  @param {{fen: string, name: string}[]} game.positions all of the game
 *  @param {({score: ?object} | undefined)[]} game.results by position; scores are White's, in
 *      centipawns or moves to mate
 *  @param {{index: number, mark: string, text: string}[]} [game.swings] to be marked; index is that
 *      of the position before the move
 *  @param {string} [game.subtitle]
 *  @returns {string} an SVG document, 960 by 400 units */
export function drawScores({ title, subtitle = '', positions, results, swings = [] }) {
  const last = Math.max(positions.length - 1, 1);
  const x = (i) => fixed(plot.left + (i / last) * (plot.right - plot.left));
  const y = (part) => fixed(plot.bottom - part * (plot.bottom - plot.top));
  const middle = y(0.5);
  const marks = [];
  const text = (atX, atY, words, anchor, kind = '') =>
    marks.push(
      `<text x="${fixed(atX)}" y="${fixed(atY)}" text-anchor="${anchor}"` +
        `${kind && ` class="${kind}"`}>${escape(words)}</text>`,
    );

  text(plot.left, 26, title, 'start', 'title');
  if (subtitle) text(plot.left, 46, subtitle, 'start', 'soft');
  marks.push(
    `<rect x="${plot.left}" y="${plot.top}" width="${plot.right - plot.left}" ` +
      `height="${plot.bottom - plot.top}" class="field"/>`,
  );

  // The area between the line and the even score: White's above, Black's below.
  const points = results
    .map((result, i) => ({ i, score: result?.score }))
    .filter(({ score }) => score)
    .map(({ i, score }) => ({ i, score, at: expectation(score) }));
  if (points.length > 1) {
    const path = points.map(({ i, at }) => `${x(i)} ${y(at)}`).join('L');
    const area = `M${x(points[0].i)} ${middle}L${path}L${x(points.at(-1).i)} ${middle}Z`;
    marks.push(
      `<clipPath id="above"><rect x="0" y="0" width="${width}" height="${middle}"/></clipPath>`,
      `<clipPath id="below"><rect x="0" y="${middle}" width="${width}" height="${middle}"/></clipPath>`,
      `<path d="${area}" class="white" clip-path="url(#above)"/>`,
      `<path d="${area}" class="black" clip-path="url(#below)"/>`,
    );
  }

  for (const pawns of labels) {
    const at = y(expectation({ cp: 100 * pawns }));
    const kind = pawns === 0 ? 'zero' : 'grid';
    marks.push(
      `<line x1="${plot.left}" x2="${plot.right}" y1="${at}" y2="${at}" class="${kind}"/>`,
    );
    text(
      plot.left - 8,
      at + 4,
      pawns > 0 ? `+${pawns}` : String(pawns).replace('-', '\u2212'),
      'end',
    );
  }
  text(plot.left - 8, plot.top - 6, 'White', 'end', 'soft');
  text(plot.left - 8, plot.bottom + 16, 'Black', 'end', 'soft');

  const numberOf = (position) => Number(position.fen.split(' ')[5]);
  const first = numberOf(positions[0]);
  const step = numberStep(numberOf(positions.at(-1)) - first + 1);
  let shown = null;
  for (const [i, position] of positions.entries()) {
    const number = numberOf(position);
    if (number === shown || (number % step && i)) continue;
    shown = number;
    // The first number stays clear of the next one.
    const next = Math.ceil((number + 1) / step) * step;
    if (i === 0 && number % step && (next - number) * 2 * ((plot.right - plot.left) / last) < 24)
      continue;
    marks.push(
      `<line x1="${x(i)}" x2="${x(i)}" y1="${plot.bottom}" y2="${plot.bottom + 5}" class="tick"/>`,
    );
    text(x(i), plot.bottom + 18, String(number), 'middle');
  }
  text((plot.left + plot.right) / 2, height - 10, 'move', 'middle', 'soft');

  if (points.length > 1) {
    marks.push(
      `<path d="M${points.map(({ i, at }) => `${x(i)} ${y(at)}`).join('L')}" class="line"/>`,
    );
  } else if (points.length === 1) {
    marks.push(`<circle cx="${x(points[0].i)}" cy="${y(points[0].at)}" r="3" class="dot"/>`);
  }

  // Columns that tell a position's score under the mouse.
  const column = x(1) - x(0);
  for (const { i, score } of points) {
    marks.push(
      `<rect x="${fixed(x(i) - column / 2)}" y="${plot.top}" width="${fixed(column)}" ` +
        `height="${plot.bottom - plot.top}" class="touch">` +
        `<title>${escape(`${positions[i].name}: ${scoreText(score)}`)}</title></rect>`,
    );
  }

  for (const { index, mark, text: words } of swings) {
    const { score } = results[index + 1];
    const at = y(expectation(score));
    // The label stands on the side to which the score has swung, at the field's edges beside.
    const isUp = expectation(score) > expectation(results[index].score);
    const labelX = x(index + 1);
    const over = isUp ? at - 10 : at + 18;
    const isOutside = over < plot.top + 12 || over > plot.bottom - 4;
    const labelY = isOutside ? Math.min(Math.max(at + 4, plot.top + 12), plot.bottom - 6) : over;
    const isLeft = labelX > (plot.left + plot.right) / 2;
    const near = labelX > plot.right - 60 || labelX < plot.left + 60;
    const anchor = !isOutside && !near ? 'middle' : isLeft ? 'end' : 'start';
    const shift = isOutside ? (isLeft ? -8 : 8) : 0;
    const size = mark === '?!' ? 'small' : 'large';
    const move = words.slice(0, words.indexOf(' ('));
    marks.push(
      `<g class="swing"><title>${escape(words)}</title>` +
        `<circle cx="${labelX}" cy="${at}" r="4" class="${size}"/></g>`,
    );
    text(labelX + shift, labelY, move, anchor, 'label');
  }

  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${width} ${height}" role="img"
  width="${width}" height="${height}" font-family="sans-serif" font-size="12">
<title>${escape(title)}</title>
<style>
.paper { fill: #ffffff } .field { fill: #e9edf2 } text { fill: #1c2126 } .soft { fill: #667079 }
.title { font-size: 16px; font-weight: bold } .grid { stroke: #cdd4db; stroke-width: 0.7 }
.zero, .tick { stroke: #8a949e } .white { fill: #ffffff } .black { fill: #596572 }
.line { fill: none; stroke: #1f5fa8; stroke-width: 2; stroke-linejoin: round }
.dot { fill: #1f5fa8 }
.large { fill: #c8321f; stroke: #ffffff } .small { fill: #dd9212; stroke: #ffffff }
.label { font-weight: bold; paint-order: stroke }
.label { stroke: #e9edf2; stroke-width: 3px; stroke-linejoin: round }
.touch { fill: #000000; fill-opacity: 0 }
@media (prefers-color-scheme: dark) {
.paper { fill: #14181c } .field { fill: #2a3138 } text { fill: #e8ecf0 } .soft { fill: #97a2ad }
.grid { stroke: #434c55 } .zero, .tick { stroke: #77828d }
.white { fill: #b9c2cb } .black { fill: #0b0d0f }
.line { stroke: #6db0ff } .dot { fill: #6db0ff } .large { fill: #ff6a55; stroke: #14181c }
.small { fill: #ffb43f; stroke: #14181c } .label { stroke: #2a3138 }
}
</style>
<rect width="${width}" height="${height}" class="paper"/>
${marks.join('\n')}
</svg>
`;
}
