// SPDX-License-Identifier: MIT
//
// Draws the score of a game as an SVG document, light or dark like the reader's system. Heights
// are White's win %, so a pawn counts for more in an even game than in a decided one; the labels of
// the axis are pawns.

import { scoreText, winPercent } from './chess.mjs';
import { escapeText as escape } from './diagram.mjs';

const width = 960;
const height = 400;
const [left, right, top, bottom] = [64, width - 24, 64, height - 48];

const fixed = (value) => Number(value.toFixed(1));
const yOf = (score) => fixed(bottom - (winPercent(score) / 100) * (bottom - top));

/** An element; `content` is text to escape, or a list of elements. */
function draw(name, attributes, content = []) {
  const list = Object.entries(attributes).map(([key, value]) => ` ${key}="${value}"`);
  const inner = Array.isArray(content) ? content.join('') : escape(content);
  return `<${name}${list.join('')}${inner ? `>${inner}</${name}>` : '/>'}`;
}

const write = (x, y, text, anchor, kind = 'plain') =>
  draw('text', { x: fixed(x), y: fixed(y), 'text-anchor': anchor, class: kind }, text);
const line = (x1, x2, y1, y2, kind) => draw('line', { x1, x2, y1, y2, class: kind });
const box = (x, boxWidth, kind, content) =>
  draw('rect', { x, y: top, width: boxWidth, height: bottom - top, class: kind }, content);

/** Lines across the field at whole pawns. */
function drawGrid() {
  return [5, 3, 2, 1, 0, -1, -2, -3, -5].flatMap((pawns) => {
    const y = yOf({ cp: 100 * pawns });
    const label = pawns > 0 ? `+${pawns}` : String(pawns).replace('-', '\u2212');
    return [line(left, right, y, y, pawns ? 'grid' : 'zero'), write(left - 8, y + 4, label, 'end')];
  });
}

/** Move numbers, at least 40 units apart. */
function drawNumbers(positions, x) {
  const numbers = positions.map(({ fen }) => Number(fen.split(' ')[5]));
  const units = (right - left) / Math.max(1, numbers.at(-1) - numbers[0] + 1);
  const step = [1, 2, 5, 10, 20, 50, 100, 200, 500].find((each) => each * units >= 40) ?? 1000;
  return numbers.flatMap((number, i) => {
    if (number % step || number === numbers[i - 1]) return [];
    const label = write(x(i), bottom + 18, String(number), 'middle');
    return [line(x(i), x(i), bottom, bottom + 5, 'tick'), label];
  });
}

/** The area between the curve and the even score: White's above it, Black's below. */
function drawArea(points) {
  const middle = yOf({ cp: 0 });
  const path = points.map(({ x, y }) => `${x} ${y}`).join('L');
  const area = `M${points[0].x} ${middle}L${path}L${points.at(-1).x} ${middle}Z`;
  const side = (id, y, kind) => [
    draw('clipPath', { id }, [draw('rect', { x: 0, y, width, height: middle })]),
    draw('path', { d: area, class: kind, 'clip-path': `url(#${id})` }),
  ];
  return [...side('above', 0, 'white'), ...side('below', middle, 'black')];
}

function drawCurve(points) {
  const [{ x: cx, y: cy }] = points;
  if (points.length === 1) return draw('circle', { cx, cy, r: 3, class: 'dot' });
  return draw('path', { d: `M${points.map(({ x, y }) => `${x} ${y}`).join('L')}`, class: 'line' });
}

function drawSwing({ index, mark, text }, results, x) {
  const y = yOf(results[index + 1].score);
  // The label is on the side to which the score has moved; beside the dot at the field's edges.
  const over = yOf(results[index].score) > y ? y - 10 : y + 18;
  const labelY = Math.min(Math.max(over, top + 12), bottom - 6);
  const at = x(index + 1);
  const anchor = at < left + 60 ? 'start' : labelY !== over || at > right - 60 ? 'end' : 'middle';
  const labelX = at + { start: 8, end: -8, middle: 0 }[anchor];
  const dot = { cx: at, cy: y, r: 4, class: mark === '?!' ? 'small' : 'large' };
  return [
    draw('circle', dot, [draw('title', {}, text)]),
    write(labelX, labelY, text.slice(0, text.indexOf(' (')), anchor, 'label'),
  ];
}

/** Draws a game.
 *  @param {object} game
 *  @param {string} game.title
 *  @param {{fen: string, name: string}[]} game.positions all of the game
 *  @param {({score: ?object} | undefined)[]} game.results by position; scores are from White's
 *      view, in centipawns or moves to mate
 *  @param {{index: number, mark: string, text: string}[]} [game.swings] moves to mark; `index` is
 *      that of the position before the move
 *  @param {string} [game.subtitle]
 *  @returns {string} an SVG document, 960 by 400 units */
export function drawScores({ title, subtitle = '', positions, results, swings = [] }) {
  const units = (right - left) / Math.max(positions.length - 1, 1);
  const x = (i) => fixed(left + i * units);
  const points = results.flatMap((result, i) =>
    result?.score ? [{ x: x(i), y: yOf(result.score), i, score: result.score }] : [],
  );
  const elements = [
    draw('rect', { width, height, class: 'paper' }),
    write(left, 26, title, 'start', 'title'),
    write(left, 46, subtitle, 'start', 'soft'),
    box(left, right - left, 'field'),
    ...(points.length ? drawArea(points) : []),
    ...drawGrid(),
    ...(points.length ? [drawCurve(points)] : []),
    write(left - 8, top - 6, 'White', 'end', 'soft'),
    write(left - 8, bottom + 16, 'Black', 'end', 'soft'),
    ...drawNumbers(positions, x),
    write((left + right) / 2, height - 10, 'move', 'middle', 'soft'),
    // Invisible columns that show the score under the mouse.
    ...points.map((point) => {
      const words = `${positions[point.i].name}: ${scoreText(point.score)}`;
      return box(fixed(point.x - units / 2), fixed(units), 'touch', [draw('title', {}, words)]);
    }),
    ...swings.flatMap((swing) => drawSwing(swing, results, x)),
  ];
  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${width} ${height}" role="img"
  width="${width}" height="${height}" font-family="sans-serif" font-size="12">
<title>${escape(title)}</title>
<style>
.paper { fill: #ffffff } .field { fill: #e9edf2 } text { fill: #1c2126 } .soft { fill: #667079 }
.title { font-size: 16px; font-weight: bold } .grid { stroke: #cdd4db; stroke-width: 0.7 }
.zero, .tick { stroke: #8a949e } .white { fill: #ffffff } .black { fill: #596572 }
.line { fill: none; stroke: #1f5fa8; stroke-width: 2; stroke-linejoin: round }
.dot { fill: #1f5fa8 } .touch { fill: #000000; fill-opacity: 0 }
.large { fill: #c8321f; stroke: #ffffff } .small { fill: #dd9212; stroke: #ffffff }
.label { font-weight: bold; paint-order: stroke }
.label { stroke: #e9edf2; stroke-width: 3px; stroke-linejoin: round }
@media (prefers-color-scheme: dark) {
.paper { fill: #14181c } .field { fill: #2a3138 } text { fill: #e8ecf0 } .soft { fill: #97a2ad }
.grid { stroke: #434c55 } .zero, .tick { stroke: #77828d }
.white { fill: #b9c2cb } .black { fill: #0b0d0f }
.line { stroke: #6db0ff } .dot { fill: #6db0ff } .large { fill: #ff6a55; stroke: #14181c }
.small { fill: #ffb43f; stroke: #14181c } .label { stroke: #2a3138 }
}
</style>
${elements.join('\n')}
</svg>
`;
}
