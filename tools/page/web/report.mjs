// SPDX-License-Identifier: MIT
//
// The report on the game: searches each position of the main line for its score, and shows what the
// scores say about both sides and about single moves.

import {
  addReasons,
  annotatedPgn,
  betterText,
  makeReport,
  markText,
  reportRows,
} from '../../lib/report.mjs';
import { reportHtml } from '../../lib/report-html.mjs';
import { engine, explain, link } from './engine.mjs';
import { button, html, nothing } from './html.mjs';
import { movesView } from './lines.mjs';
import { say } from './messages.mjs';
import { saveFile, setMode } from './play.mjs';
import { endingOf, nameOf, readLine } from './rules.mjs';
import { pageText } from './score.mjs';
import { changed, goTo, passing, refresh, state } from './state.mjs';

/** The report on the game, with the marks of its moves by their nodes; `report` is null when no
 *  position has been scored for one. */
let made = { key: '', report: null, marks: new Map() };

const mainLine = () => [state.game.root, ...state.game.lineFrom()];

/** Brings the report up to date; called before the page is drawn. */
export function updateReport() {
  const nodes = mainLine();
  const isScored = !passing.review && nodes.some(({ review }) => review);
  const key = isScored ? JSON.stringify(nodes.map(({ id, review }) => [id, review])) : '';
  if (key === made.key) return;
  const report = isScored
    ? makeReport(
        state.game,
        nodes.map(({ review }) => review),
      )
    : null;
  const marks = new Map(report?.moves.map(({ mark }, i) => [nodes[i + 1], mark]));
  made = { key, report, marks };
  if (report) addReasons(report, (before, after) => explain([before, after])).then(refresh);
}

/** The mark of a move in the report, or null. */
export const markAt = (node) => made.marks.get(node) ?? null;

export function startScoring() {
  if (passing.review || !state.game.root.children.length) return;
  if (state.mode === 'play') setMode('analyse');
  const nodes = mainLine();
  passing.review = { nodes, index: -1, from: state.node };
  state.tip = nodes.at(-1);
  engine.finished = null;
  state.isAnalysing = false;
  // What the engine remembers of a position must not change the result.
  link.send({ type: 'newgame' });
  goOn();
  changed();
}

/** Keeps the score of a position and goes on with the next one.
 *  @param {{score: ?object, depth?: number, moves: object[]}} line that was found */
export function scoreNext({ score, depth, moves }) {
  const { review } = passing;
  if (!review) return;
  const node = review.nodes[review.index];
  node.review = { score: score && { ...score, depth }, line: moves.map(({ uci }) => uci) };
  goOn();
}

function goOn() {
  const { review } = passing;
  do review.index++;
  while (review.index < review.nodes.length && endingOf(review.nodes[review.index])?.isFinal);
  if (review.index < review.nodes.length) {
    state.node = review.nodes[review.index];
    return;
  }
  passing.review = null;
  state.tab = 'report';
  state.node = review.from;
  updateReport();
  made.report.scores.forEach((score, ply) => {
    if (score) review.nodes[ply].score = score;
  });
  say('Every position of the game has a score.');
}

function moveView(move, report, nodes) {
  const node = nodes[move.ply];
  const { mark } = move;
  const best = readLine(move.before, node.parent.review?.line ?? []);
  const isTurning = report.turningPoints.includes(move.ply);
  return html`
    <li class="is-${mark.name}">
      <button type="button" aria-current=${node === state.node ? 'true' : nothing}
        @click=${() => goTo(node)}>
        <b>${move.name}${mark.text}</b>
        <span class="turning" ?hidden=${!isTurning}>turning point</span></button>
      <p>${pageText(markText(move, report))}</p>
      ${betterText(move) ? html`<p>${movesView(node.parent, best)}</p>` : nothing}
    </li>`;
}

const progressView = ({ index, nodes }) => html`
  <p class="why-note"><label>Scoring the game
    <progress max=${nodes.length} value=${index}></progress></label></p>`;

function startView() {
  const how = { isDisabled: !state.game.root.children.length, kind: 'primary' };
  const title = 'Score each position of the game';
  return html`
    <p>A report says how accurately each side played, which moves were mistakes and what would
      have been better.</p>
    <p>${button('report-start', 'chart', 'Score game', title, startScoring, how)}</p>`;
}

export function reportView() {
  const { report } = made;
  const { tags } = state.game;
  if (!report) {
    return html`<div id="report" class="why-note"
      >${passing.review ? progressView(passing.review) : startView()}</div>`;
  }
  const nodes = mainLine();
  const marked = report.moves.filter(({ mark }) => mark);
  const savePgn = () => saveFile('pgn', annotatedPgn(state.game, report, engine.name));
  const saveHtml = () => saveFile('html', reportHtml(state.game, report, { engine: engine.name }));
  const player = (side) => html`<th scope="col">${tags[nameOf(side)] ?? nameOf(side)}</th>`;
  const row = ([name, white, black]) => html`
    <tr><th scope="row">${name}</th><td>${white}</td><td>${black}</td></tr>`;
  return html`
    <div id="report" tabindex="0" role="group" aria-label="Report on the game">
      <table>
        <thead><tr><td>${report.opening?.name ?? ''}</td>${['w', 'b'].map(player)}</tr></thead>
        <tbody>${reportRows(report).map(row)}</tbody>
      </table>
      <ol class="marked">${marked.map((move) => moveView(move, report, nodes))}</ol>
      ${marked.length ? nothing : html`<p class="why-note">No move gave much away.</p>`}
      <div class="with-buttons">
        ${button('report-pgn', 'text', 'Annotated PGN', 'The game with better lines', savePgn)}
        ${button('report-html', 'text', 'HTML', 'The report as one file for any browser', saveHtml)}
        ${button('report-again', 'chart', 'Score again', 'Score each position again', startScoring)}
      </div>
    </div>`;
}
