// SPDX-License-Identifier: MIT
//
// The score over the game as a picture: White's share from the bottom, a line in the middle, marks
// at the report's marked moves and at the position on the board. A click goes to the position under
// the pointer.

import { html, nothing, svg } from './html.mjs';
import { markAt } from './report.mjs';
import { scoreText, whiteShare } from './score.mjs';
import { goTo, lineOf, state } from './state.mjs';

const width = 600;
const height = 120;

export function graphView() {
  const nodes = lineOf(state.tip);
  const cursor = nodes.indexOf(state.node);
  const last = Math.max(nodes.length - 1, 20);
  const x = (ply) => ((ply / last) * width).toFixed(1);
  const points = state.isShowing
    ? nodes.flatMap((node, ply) =>
        node.score
          ? [
              {
                ply,
                score: node.score,
                kind: markAt(node)?.name,
                y: ((1 - whiteShare(node.score)) * height).toFixed(1),
              },
            ]
          : [],
      )
    : [];
  const click = ({ clientX, currentTarget }) => {
    const { left, width: size } = currentTarget.getBoundingClientRect();
    const ply = Math.round(((clientX - left) / size) * last);
    goTo(nodes[Math.min(Math.max(ply, 0), nodes.length - 1)]);
  };
  const edge = points.map(({ ply, y }) => `${x(ply)},${y}`).join(' L');
  const end = points.at(-1);
  const [left, right] = end ? [x(points[0].ply), x(end.ply)] : [];
  const count = points.length === 1 ? '1 score' : `${points.length} scores`;
  const text = end ? `${count}, the last ${scoreText(end.score)}` : 'no scores yet';
  const flat = (share, kind) => svg`<line class=${kind} x1="0" x2=${width} y1=${share * height}
    y2=${share * height}></line>`;
  // A line of length zero with round ends stays round however the picture is stretched.
  const dot = ({ ply, y }, kind) => svg`<path class="point ${kind}" d="M${x(ply)},${y} h0"></path>`;
  const marked = points.filter(({ kind }) => kind);
  const here = points.length < 3 ? points : points.filter(({ ply }) => ply === cursor);
  return html`
    <section class="card graph" aria-label="Score over the game">
      <svg id="graph" role="img" aria-label="Score over the game: ${text}" @click=${click}
        viewBox="0 0 ${width} ${height}" preserveAspectRatio="none">
        <rect class="nothing" width=${width} height=${height}></rect>
        ${
          end
            ? svg`
          <rect class="ground" x=${left} width=${right - left} height=${height}></rect>
          <path class="area" d="M${left},${height} L${edge} L${right},${height} Z"></path>
          <path class="edge" d="M${edge}"></path>`
            : nothing
        }
        ${flat(0.25, 'grid')}${flat(0.75, 'grid')}${flat(0.5, 'middle')}
        <line class="cursor" x1=${x(cursor)} x2=${x(cursor)} y1="0" y2=${height}
          ?hidden=${cursor < 0}></line>
        ${marked.map((point) => dot(point, `is-${point.kind}`))}
        ${here.map((point) => dot(point, ''))}
      </svg>
    </section>`;
}
