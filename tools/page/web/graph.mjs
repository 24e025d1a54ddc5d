// SPDX-License-Identifier: MIT
//
// The score over the game as a picture: White's share from the bottom, a line at the middle, a mark
// at the position on the board. A click goes to the position below it.

import { scoreText, whiteShare } from './score.mjs';

const namespace = 'http://www.w3.org/2000/svg';
const width = 600;
const height = 120;

function add(parent, name, attributes) {
  const element = document.createElementNS(namespace, name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  parent.append(element);
  return element;
}

/** @param {SVGElement} svg
 *  @param {(ply: number) => void} goTo */
export class Graph {
  #svg;
  #last = 1;

  constructor(svg, goTo) {
    this.#svg = svg;
    svg.setAttribute('viewBox', `0 0 ${width} ${height}`);
    svg.setAttribute('preserveAspectRatio', 'none');
    svg.addEventListener('click', (event) => {
      const { left, width: size } = svg.getBoundingClientRect();
      goTo(Math.round(((event.clientX - left) / size) * this.#last));
    });
  }

  /** Draws the scores.
   *  @param {({kind, value} | undefined)[]} scores by ply; missing ones are bridged
   *  @param {number} length moves of the game
   *  @param {number} cursor the position on the board */
  draw(scores, length, cursor) {
    const svg = this.#svg;
    this.#last = Math.max(length, 20);
    svg.replaceChildren();
    const x = (ply) => ((ply / this.#last) * width).toFixed(1);
    const points = [];
    for (let ply = 0; ply <= length; ply++) {
      if (scores[ply])
        points.push({ ply, score: scores[ply], y: (1 - whiteShare(scores[ply])) * height });
    }
    add(svg, 'rect', { class: 'nothing', width, height });
    if (points.length) {
      const edge = points.map(({ ply, y }) => `${x(ply)},${y.toFixed(1)}`).join(' L');
      const first = x(points[0].ply);
      const last = x(points.at(-1).ply);
      add(svg, 'rect', { class: 'ground', x: first, width: last - first, height });
      add(svg, 'path', { class: 'area', d: `M${first},${height} L${edge} L${last},${height} Z` });
      add(svg, 'path', { class: 'edge', d: `M${edge}` });
    }
    for (const share of [0.25, 0.75]) {
      add(svg, 'line', { class: 'grid', x1: 0, x2: width, y1: share * height, y2: share * height });
    }
    add(svg, 'line', { class: 'middle', x1: 0, x2: width, y1: height / 2, y2: height / 2 });
    add(svg, 'line', { class: 'cursor', x1: x(cursor), x2: x(cursor), y1: 0, y2: height });
    // A line of no length with round ends stays round however the picture is stretched.
    for (const { ply, y } of points.length < 3
      ? points
      : points.filter((one) => one.ply === cursor)) {
      add(svg, 'path', { class: 'point', d: `M${x(ply)},${y.toFixed(1)} h0` });
    }
    const end = points.at(-1);
    const text = end
      ? `${points.length} scores, the last ${scoreText(end.score)}`
      : 'no scores yet';
    svg.setAttribute('aria-label', `Score over the game: ${text}`);
  }
}
