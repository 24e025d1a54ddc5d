// SPDX-License-Identifier: MIT
//
// The engine's lines: score, depth and moves. Pointing at a move shows its position on a small
// board, a click plays the moves up to it.

import { boardSvg } from '../../lib/diagram.mjs';
import { engine, scoreNow } from './engine.mjs';
import { html, nothing } from './html.mjs';
import { scoreText } from './score.mjs';
import { changed, goTo, refresh, state } from './state.mjs';

/** The move under the pointer and where its board is shown: { move, x, y }, or null. */
let preview = null;

const short = (number) => {
  if (number === undefined || !Number.isFinite(number)) return '–';
  if (number < 10000) return String(Math.round(number));
  return number < 1e6 ? `${(number / 1e3).toFixed(0)} k` : `${(number / 1e6).toFixed(1)} M`;
};

/** Plays the first moves of a line from where it begins. */
export function playLine(start, moves) {
  const line = state.game.playLine(
    start,
    moves.map(({ uci }) => uci),
  );
  goTo(line.at(-1) ?? start);
}

/** Shows the position after the move under the pointer, below it or, without room, above it. */
function point(event, move) {
  const { left, bottom, top } = event.currentTarget.getBoundingClientRect();
  const size = 200;
  const isBelow = bottom + size + 8 < window.innerHeight;
  const x = Math.max(4, Math.min(left, window.innerWidth - size - 8));
  preview = { move, x, y: isBelow ? bottom + 4 : top - size - 4 };
  refresh();
}

function leave() {
  preview = null;
  refresh();
}

/** The moves of a line as buttons.
 *  @param {object} start the node where it begins
 *  @param {object[]} moves as readLine() gives them */
export function movesView(start, moves) {
  const act = (index) => () => {
    preview = null;
    playLine(start, moves.slice(0, index + 1));
  };
  const number = (text) => (text ? html`<span class="number">${text}</span> ` : nothing);
  const word = (move, index) => html`${number(move.number)}<button type="button"
    @click=${act(index)}
    @pointerenter=${(event) => event.pointerType === 'mouse' && point(event, move)}
    @focus=${(event) => event.target.matches(':focus-visible') && point(event, move)}
    @pointerleave=${leave} @blur=${leave}>${move.san}</button> `;
  return html`<span class="line" @pointerleave=${leave}>${moves.map(word)}</span>`;
}

export function previewView() {
  if (!preview) return nothing;
  const { move, x, y } = preview;
  const marked = [move.uci.slice(0, 2), move.uci.slice(2, 4)];
  const board = boardSvg(move.fen, { isFlipped: state.isTurned, marked });
  return html`<div class="preview" style="left: ${x}px; top: ${y}px" .innerHTML=${board}></div>`;
}

const lineView =
  (node) =>
  ({ score, depth, moves }) => html`
  <li><span class="worth ${scoreText(score).startsWith('\u2212') ? 'is-black' : ''}"
      >${scoreText(score)}</span>
    <span class="depth" title="Depth of this line">${depth}</span>${movesView(node, moves)}</li>`;

function setLineCount({ target }) {
  state.lineCount = Number(target.value);
  changed();
}

const check = (id, key, words, title) => html`
  <label class="check" title=${title}><input type="checkbox" id=${id} .checked=${state[key]}
    @change=${({ target }) => {
      state[key] = target.checked;
      changed();
    }} />${words}</label>`;

const bestOfDepths = 'The best line at each depth';

export function linesView() {
  const { node, isShowing, mode, lineCount, areDepthsShown } = state;
  const { thinking } = engine;
  // In a game, the engine's line for its last move stays while the person thinks.
  const isOwn = thinking && (mode === 'play' || thinking.node === node);
  const lines = isOwn ? thinking.lines : [];
  const { stats } = isOwn ? thinking : { stats: {} };
  const score = lines[0]?.score ?? (mode === 'play' ? scoreNow() : node.score);
  const figures = [
    ['depth', 'depth', lines[0]?.depth ?? score?.depth ?? '–'],
    ['seldepth', 'seldepth', stats.seldepth ?? '–'],
    ['nodes', 'nodes', short(stats.nodes)],
    // Over a few milliseconds, the speed means nothing.
    ['speed', 'per second', stats.time >= 20 ? short((stats.nodes * 1000) / stats.time) : '–'],
  ];
  const isAnalysis = mode === 'analyse';
  const count = isAnalysis ? lineCount : 1;
  const idle = engine.search && isOwn ? 'Thinking …' : 'The engine is idle.';
  const figure = ([id, name, value]) => html`
    <div><dt>${name}</dt><dd id=${id}>${isShowing ? value : '–'}</dd></div>`;
  const option = (n) => html`<option ?selected=${n === lineCount}>${n}</option>`;
  const list = () => html`
    <ol id="lines" aria-label="Lines, best first" style="--lines: ${count}">${
      lines.length
        ? lines.slice(0, count).map(lineView(thinking.node))
        : html`<li class="empty">${idle}</li>`
    }</ol>
    ${check('show-depths', 'areDepthsShown', 'earlier depths', bestOfDepths)}
    ${areDepthsShown ? depths() : nothing}`;
  const depths = () => html`<ol id="depths" tabindex="0" aria-label=${bestOfDepths}>
    ${(isOwn ? thinking.depths : []).map(lineView(thinking?.node))}</ol>`;
  return html`
    <section class="card engine" aria-label="The engine's lines">
      <div class="score-row">
        <strong id="score">${isShowing && score ? scoreText(score) : '–'}</strong>
        <dl>${figures.map(figure)}</dl>
        <label class="check" title="Number of lines to show" ?hidden=${!isAnalysis}>
          <select id="line-count" aria-label="Number of lines" .value=${String(lineCount)}
            @change=${setLineCount}>${[1, 2, 3, 4, 5].map(option)}</select>
          ${lineCount === 1 ? 'line' : 'lines'}</label>
        ${check('show-lines', 'isShowing', 'show', "Show the engine's score and lines")}
      </div>
      ${isShowing ? list() : nothing}
    </section>`;
}
