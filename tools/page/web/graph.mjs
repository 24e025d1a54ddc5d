// SPDX-License-Identifier: MIT
//
// The score over the game, drawn as in the report's file. A click goes to the position under the
// pointer.

import { graph } from '../../lib/report-html.mjs';
import { html } from './html.mjs';
import { markAt } from './report.mjs';
import { scoreText } from './score.mjs';
import { goTo, lineOf, state } from './state.mjs';

/** Half-moves for which there is room in a short game. */
const least = 20;

export function graphView() {
  const nodes = lineOf(state.tip);
  const scores = nodes.map(({ score }) => (state.isShowing ? score : null));
  const played = nodes.slice(1);
  const moves = played.map((node, i) => ({ ply: i + 1, name: node.san, mark: markAt(node) }));
  const picture = graph(
    { scores, moves, phases: [], turningPoints: [] },
    { least, current: nodes.indexOf(state.node) },
  );
  const click = ({ clientX, currentTarget }) => {
    const { left, width } = currentTarget.getBoundingClientRect();
    const ply = Math.round(((clientX - left) / width) * Math.max(nodes.length - 1, least));
    goTo(nodes[Math.min(Math.max(ply, 0), nodes.length - 1)]);
  };
  const known = scores.filter(Boolean);
  const count = known.length === 1 ? '1 score' : `${known.length} scores`;
  const text = known.length ? `${count}, the last ${scoreText(known.at(-1))}` : 'no scores yet';
  return html`
    <section class="card" id="graph" aria-label="Score over the game: ${text}" @click=${click}
      .innerHTML=${picture}></section>`;
}
