// SPDX-License-Identifier: MIT
//
// A report of a game as one HTML file that loads nothing: figures, graph, moves with their marks,
// diagrams of the turning points, and a board that shows the move that is clicked.

import { Chess, moveNumber, scoreText, winPercent } from './chess.mjs';
import {
  boardSource,
  boardStyle,
  boardSvg,
  escapeText as escape,
  pieceSymbols,
} from './diagram.mjs';
import { nagText } from './game-tree.mjs';
import { betterText, markText, reportRows } from './report.mjs';

const width = 900;
const height = 200;
const shownMoves = 8;

const style = `:root { color-scheme: light dark; --paper: #fff; --ink: #1c2126; --soft: #5d6770;
  --line: #d5dbe0; --field: #59656f; --white: #fff; --accent: #1f5fa8; --lit: #e3edf8;
  --blunder: #c8321f; --mistake: #cf6a12; --inaccuracy: #8a6d00 }
@media (prefers-color-scheme: dark) { :root { --paper: #14181c; --ink: #e8ecf0; --soft: #9aa5af;
  --line: #343c44; --field: #0b0d0f; --white: #b9c2cb; --accent: #7db8ff; --lit: #22384f;
  --blunder: #ff7a66; --mistake: #ff9d4d; --inaccuracy: #e5c04a } }
* { box-sizing: border-box }
body { margin: 0 auto; max-width: 1200px; padding: 1rem; background: var(--paper);
  color: var(--ink); font: 16px/1.45 system-ui, sans-serif }
h1 { font-size: 1.5rem; margin: 0 } h2 { font-size: 1.1rem; margin: 0 0 .5rem }
header p { margin: .2rem 0 1rem; color: var(--soft) }
main { display: grid; gap: 1.5rem; grid-template-columns: minmax(0, 26rem) minmax(0, 1fr);
  grid-template-areas: 'figures course' 'position moves' 'turning turning' }
.figures { grid-area: figures } .course { grid-area: course } .moves { grid-area: moves }
.position { grid-area: position } .turning { grid-area: turning }
table { border-collapse: collapse; width: 100%; font-size: .95rem }
th, td { text-align: right; padding: .15rem 0 .15rem .8rem; border-bottom: 1px solid var(--line);
  font-variant-numeric: tabular-nums; overflow-wrap: anywhere }
th[scope=row] { text-align: left; padding-left: 0; font-weight: normal }
svg { display: block; width: 100% }
.graph { cursor: pointer; height: 12rem; overflow: visible; fill: none;
  outline: 1px solid var(--line) }
.graph path { vector-effect: non-scaling-stroke }
.field, .ground { fill: var(--field) } .area { fill: var(--white) } .middle { stroke: #8a949e }
.edge { stroke: var(--accent); stroke-width: 1.5 } .phase { stroke: #8a949e; stroke-dasharray: 3 4 }
.point { stroke-linecap: round; stroke-width: 9; stroke: #c8321f }
.point.mistake { stroke: #e07b1f } .point.inaccuracy { stroke: #c9a100; stroke-width: 7 }
.point.turning-point { stroke-width: 13 } .touch { fill: transparent }
.touch:hover, .touch.current { fill: var(--accent); fill-opacity: .35 }
.phases { display: flex; margin: .2rem 0 0; color: var(--soft); font-size: .8rem }
.phases span { min-width: 0; overflow: hidden; text-overflow: ellipsis }
#board { position: sticky; top: 1rem }
.keys { position: sticky; top: 29rem; display: flex; gap: .4rem }
button { font: inherit; padding: .2rem .6rem }
.pair { display: grid; grid-template-columns: 3rem 1fr 1fr; padding: .05rem 0 }
.pair b { font-weight: normal; color: var(--soft) }
.pair small { color: var(--soft); margin-left: .5rem; font-variant-numeric: tabular-nums }
a { color: inherit; text-decoration: none; border-radius: 3px; padding: 0 .15rem }
a:hover { text-decoration: underline } a.current { background: var(--lit) }
.note { margin: .2rem 0 .4rem 3rem; padding-left: .6rem; border-left: 3px solid var(--line) }
.note p { margin: .1rem 0 } .line, .variation { color: var(--soft) }
.mark { font-weight: bold } .mark.blunder { color: var(--blunder) }
.mark.mistake { color: var(--mistake) } .mark.inaccuracy { color: var(--inaccuracy) }
.turning { display: grid; gap: 1.2rem;
  grid-template-columns: repeat(auto-fill, minmax(15rem, 1fr)) }
.turning h2 { grid-column: 1 / -1; margin: 0 } figure { margin: 0 }
@media (max-width: 50rem) {
  main { display: block } section { margin-bottom: 1.5rem }
  .position { position: sticky; top: 0; background: var(--paper); z-index: 1; padding: .3rem 0 }
  #board { position: static; width: min(100%, 42vh); margin: auto }
  .keys { position: static; justify-content: center; margin: .3rem 0 0 }
}
@media print { .keys { display: none } #board { position: static }
  figure { break-inside: avoid } }`;

/** Shows a position when a move of the text or the graph is clicked, or a key is pressed. */
const script = `let at = length - 1;
let isFlipped = false;
const board = document.querySelector('#board');
function show(next) {
  at = next;
  const [fen, uci] = positions[at];
  const marked = /^[a-h]/.test(uci) ? [uci.slice(0, 2), uci.slice(2, 4)] : [];
  board.innerHTML = boardSvg(fen, { isFlipped, marked, label: 'Board' });
  for (const each of document.querySelectorAll('[data-at]')) {
    each.classList.toggle('current', Number(each.dataset.at) === at);
  }
}
const keys = {
  Home: () => 0,
  End: () => length - 1,
  ArrowLeft: () => Math.max(0, positions[at][2]),
  ArrowRight: () => (positions[at + 1]?.[2] === at ? at + 1 : at),
  f: () => { isFlipped = !isFlipped; return at; },
};
function press(key, event) {
  if (!Object.hasOwn(keys, key) || event.ctrlKey || event.altKey || event.metaKey) return;
  event.preventDefault();
  show(keys[key]());
}
document.addEventListener('keydown', (event) => press(event.key, event));
document.addEventListener('click', (event) => {
  const target = event.target.closest('[data-at], [data-go]');
  if (target?.dataset.go) press(target.dataset.go, event);
  else if (target) { event.preventDefault(); show(Number(target.dataset.at)); }
});
show(at);`;

/** The score over a game: White's win %, with marks and phases. Points are lines of length zero,
 *  which stay round however the picture is stretched.
 *  @param {import('./report.mjs').Report} report
 *  @param {{least?: number, current?: number}} [how] half-moves for which there is room at least,
 *      and the ply that is shown; without it, each position has a column that can be clicked
 *  @returns {string} an svg element and the names of the phases below it */
export function graph({ scores, moves, phases, turningPoints }, { least = 1, current } = {}) {
  const last = Math.max(least, scores.length - 1);
  const x = (ply) => ((ply / last) * width).toFixed(1);
  const y = (score) => (height - (winPercent(score) / 100) * height).toFixed(1);
  const known = scores.map((score, ply) => ({ score, ply })).filter(({ score }) => score);
  const parts = [`<rect class="field" width="${width}" height="${height}"/>`];
  if (known.length) {
    const edge = known.map(({ score, ply }) => `${x(ply)} ${y(score)}`).join('L');
    const [from, to] = [x(known[0].ply), x(known.at(-1).ply)];
    parts.push(
      `<rect class="ground" x="${from}" width="${to - from}" height="${height}"/>`,
      `<path class="area" d="M${from} ${height}L${edge}L${to} ${height}Z"/>`,
      `<path class="edge" d="M${edge}"/>`,
    );
  }
  parts.push(`<path class="middle" d="M0 ${height / 2}H${width}"/>`);
  for (const { from } of phases.slice(1)) {
    parts.push(`<path class="phase" d="M${x(from - 1)} 0V${height}"/>`);
  }
  for (const { ply, mark } of moves) {
    if (!mark) continue;
    const size = turningPoints.includes(ply) ? 'turning-point' : '';
    parts.push(`<path class="point ${mark.name} ${size}" d="M${x(ply)} ${y(scores[ply])}h0"/>`);
  }
  if (scores[current]) {
    parts.push(`<path class="point here" d="M${x(current)} ${y(scores[current])}h0"/>`);
  }
  const column = width / last;
  for (const [ply, score] of scores.entries()) {
    if (ply !== (current ?? ply)) continue;
    const name = ply ? moves[ply - 1].name + (moves[ply - 1].mark?.text ?? '') : 'start';
    parts.push(
      `<rect class="touch" data-at="${ply}" x="${(ply * column - column / 2).toFixed(1)}" ` +
        `width="${column.toFixed(1)}" height="${height}"><title>${escape(name)}: ` +
        `${score ? scoreText(score) : 'no score'}</title></rect>`,
    );
  }
  const names = phases.map(
    ({ name, from, to }) => `<span style="flex: ${to - from + 1}">${name}</span>`,
  );
  return (
    `<svg class="graph" viewBox="0 0 ${width} ${height}" preserveAspectRatio="none" role="img" ` +
    `aria-label="White's win % over the game">${parts.join('\n')}</svg>` +
    `<p class="phases">${names.join('')}</p>`
  );
}

/** A variation as text: "(12... Nf6 13. d4 {so})". */
function variationText(first) {
  const words = [];
  let needsNumber = true;
  for (let node = first; node; [node] = node.children) {
    const number = moveNumber(node.parent.fen);
    if (node.before) words.push(`<i>${escape(node.before)}</i>`);
    if (needsNumber || !number.endsWith('...')) words.push(number);
    words.push(escape(node.san + node.nags.map(nagText).join('')));
    if (node.comment) words.push(`<i>${escape(node.comment)}</i>`);
    const others = node === first ? [] : node.parent.children.slice(1);
    words.push(...others.map(variationText));
    needsNumber = Boolean(node.comment || others.length);
  }
  return `<span class="variation">(${words.join(' ')})</span>`;
}

const figureOf = ({ mark }) => `<span class="mark ${mark.name}">${mark.text}</span>`;

/** Makes the file.
 *  @param {import('./game-tree.mjs').GameTree} tree
 *  @param {import('./report.mjs').Report} report of it
 *  @param {object} [how]
 *  @param {string} [how.engine] name and depth, as "Quillon 1.0, depth 14"
 *  @returns {string} */
export function reportHtml(tree, report, { engine = '' } = {}) {
  const { tags } = tree;
  const names = [tags.White ?? 'White', tags.Black ?? 'Black'];
  const title = names.join(' \u2013 ');
  const about = [tags.Event, tags.Site, tags.Date, report.result, report.opening?.name, engine];
  // Positions that the board can show: those of the game, then those of the better lines.
  const nodes = [tree.root, ...tree.lineFrom()];
  /** Each with the move that led to it and the index of the one before. */
  const positions = nodes.map(({ fen, uci }, i) => [fen, uci ?? '', i - 1]);
  const link = (at, words) => `<a href="#board" data-at="${at}">${words}</a>`;

  const better = (move) => {
    if (!move.better.length) return '';
    const chess = new Chess(move.before);
    const words = [];
    for (const [i, san] of move.better.slice(0, shownMoves).entries()) {
      const number = moveNumber(chess.fen());
      if (!i || !number.endsWith('...')) words.push(number);
      const { after, lan } = chess.move(san);
      const from = i ? positions.length - 1 : move.ply - 1;
      words.push(link(positions.push([after, lan, from]) - 1, escape(san)));
    }
    return `<p class="line">${words.join(' ')}</p>`;
  };

  const rows = [];
  const notes = (node, move) => {
    const own = [
      node.nags.length && !move?.mark ? escape(node.nags.map(nagText).join(' ')) : '',
      node.comment && escape(node.comment),
    ];
    const parts = own.filter(Boolean).map((text) => `<p><i>${text}</i></p>`);
    if (move?.mark) parts.push(`<p>${escape(markText(move, report))}</p>${better(move)}`);
    const others = node.parent?.children[0] === node ? node.parent.children.slice(1) : [];
    parts.push(...others.map((other) => `<p>${variationText(other)}</p>`));
    return parts.join('');
  };
  const opened = notes(tree.root);
  if (opened) rows.push(`<div class="note">${opened}</div>`);
  let isOpen = false;
  for (const [i, move] of report.moves.entries()) {
    if (!isOpen || move.side === 'w') {
      if (isOpen) rows.push('</div>');
      rows.push(`<div class="pair"><b>${moveNumber(move.before).replace('...', '.')}</b>`);
      if (move.side === 'b') rows.push('<span>...</span>');
      isOpen = true;
    }
    const score = report.scores[move.ply];
    const words = escape(move.san) + (move.mark ? figureOf(move) : '');
    const worth = score ? `<small>${scoreText(score)}</small>` : '';
    rows.push(`<span>${link(move.ply, words)}${worth}</span>`);
    const said = notes(nodes[i + 1], move);
    if (said) {
      rows.push(`</div><div class="note">${said}</div>`);
      isOpen = false;
    }
  }
  if (isOpen) rows.push('</div>');

  const diagrams = report.turningPoints.map((ply) => {
    const move = report.moves[ply - 1];
    const played = nodes[ply].uci;
    const arrows = [[played.slice(0, 2), played.slice(2, 4), 'played']];
    if (move.better.length) {
      const { from, to } = new Chess(move.before).move(move.better[0]);
      arrows.unshift([from, to, 'better']);
    }
    const label = `Position before ${move.name}`;
    const board = boardSvg(move.before, { arrows, label, isFlipped: move.side === 'b' });
    const line = betterText(move);
    return (
      `<figure>${board}<figcaption><b>${link(ply, escape(move.name) + figureOf(move))}</b> ` +
      `${escape(markText(move, report))}${line ? `<br>${escape(line)}` : ''}</figcaption></figure>`
    );
  });

  const figures = reportRows(report).map(([name, ...values]) => {
    const cells = values.map((value) => `<td>${escape(value)}</td>`).join('');
    return `<tr><th scope="row">${escape(name)}</th>${cells}</tr>`;
  });
  return `<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<title>${escape(title)}</title>
<style>
${style}
${boardStyle}
</style>
</head>
<body>
${pieceSymbols()}
<header>
<h1>${escape(title)}</h1>
<p>${about.filter(Boolean).map(escape).join(' \u00b7 ')}</p>
</header>
<main>
<section class="figures">
<table>
<tr><td></td><th scope="col">${escape(names[0])}</th><th scope="col">${escape(names[1])}</th></tr>
${figures.join('\n')}
</table>
</section>
<section class="course">
${graph(report)}
</section>
<section class="position">
<div id="board">${boardSvg(nodes.at(-1).fen, { label: 'Board' })}</div>
<p class="keys"><button data-go="Home" aria-label="First position">|&lt;</button>
<button data-go="ArrowLeft" aria-label="One move back">&lt;</button>
<button data-go="ArrowRight" aria-label="One move forward">&gt;</button>
<button data-go="End" aria-label="Last position">&gt;|</button>
<button data-go="f">Flip the board</button></p>
</section>
<section class="moves">
<h2>Moves</h2>
${rows.join('\n')}
<p class="result">${escape(report.result)}</p>
</section>
${diagrams.length ? `<section class="turning"><h2>Turning points</h2>\n${diagrams.join('\n')}\n</section>` : ''}
</main>
<script>
const positions = ${JSON.stringify(positions).replace(/</g, '\\u003c')};
const length = ${nodes.length};
${boardSource}
${script}
</script>
</body>
</html>
`;
}
