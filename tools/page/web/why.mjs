// SPDX-License-Identifier: MIT
//
// Why a position is worth what it is: the evaluation by groups and terms, what the last move has
// changed and where the engine's line is heading. Pointing at a row marks its squares on the board.

import { pointAt } from './board.mjs';
import { engine, explain, link } from './engine.mjs';
import { $, html, nothing } from './html.mjs';
import { endingOf, nameOf, quietEnd, turnOf } from './rules.mjs';
import { pageText, scoreText } from './score.mjs';
import { refresh, state } from './state.mjs';

/** Explanations of positions and pairs of them, by their FENs; null while one is requested. */
const known = new Map();
const mostKnown = 60;
/** The explanation that each place shows until a newer one has arrived. */
const shown = new Map();
const open = new Set();
/** The sentences of the row under the pointer, and whether it is so low that they are shown above
 *  it: { texts, isAbove }, or null. */
let said = null;

/** The explanation of one position or of the change between two; until it arrives, the one that was
 *  in its place before. */
function explanationOf(place, ...fens) {
  const key = fens.join('|');
  if (!known.has(key) && link.isOpen) {
    if (known.size > mostKnown) known.delete(known.keys().next().value);
    known.set(key, null);
    explain(fens).then((explanation) => {
      // A failed request may be repeated.
      if (explanation.error && !explanation.fen) known.delete(key);
      else known.set(key, explanation);
      refresh();
    });
  }
  if (known.get(key)) shown.set(place, known.get(key));
  return shown.get(place) ?? null;
}

const pawns = (cp) => scoreText({ cp });
const tidy = (name) => name[0].toUpperCase() + name.slice(1);

/** The squares of terms as [square, worth for White, sentence], the largest worth first. */
function squaresOf(terms) {
  const of = (term, side) =>
    (term?.[side].squares ?? []).map(({ square, cp, text }) => {
      const worth = side === 'white' ? cp : -cp;
      return [square, worth, `${text}: ${pawns(worth)}`];
    });
  const all = terms.flatMap((term) => [...of(term, 'white'), ...of(term, 'black')]);
  return all.sort(([, a], [, b]) => Math.abs(b) - Math.abs(a));
}

/** Marks squares, and shows their sentences. */
function point({ currentTarget }, squares, words) {
  const sums = new Map();
  for (const [square, worth] of squares) sums.set(square, (sums.get(square) ?? 0) + worth);
  const [row, panel] = [currentTarget, $('why')].map((one) => one.getBoundingClientRect());
  const isAbove = row.top + row.bottom > panel.top + panel.bottom;
  const texts = [words, ...squares.slice(0, 3).map(([, , text]) => text)].filter(Boolean);
  said = { texts, isAbove };
  pointAt(sums);
  refresh();
}

/** Removes the marks from the board. */
export function unpoint() {
  if (!said) return;
  said = null;
  pointAt(null);
  refresh();
}

/** A button that marks squares while it is pointed at, by mouse, finger or keyboard.
 *  @param {string} kind its classes
 *  @param {unknown} content
 *  @param {() => [string, number, string][]} squares as squaresOf() gives them
 *  @param {{words?: string, name?: string}} [more] what is said of it, and what it opens */
function pointingRow(kind, content, squares, { words = '', name } = {}) {
  const enter = (event) => point(event, squares(), words);
  return html`<button type="button" class=${kind} aria-expanded=${name ? open.has(name) : nothing}
    @click=${() => name && toggle(name)}
    @pointerenter=${enter} @pointerleave=${unpoint} @focus=${enter} @blur=${unpoint}
    >${content}</button>`;
}

const nameView = (name) => html`<span class="why-name">${tidy(name)}</span>`;

const bar = (cp, scale, side) => html`<span class="bar ${side} ${cp < 0 ? 'is-negative' : ''}"
  style="width: ${Math.min(50, (Math.abs(cp) / scale) * 50).toFixed(1)}%"></span>`;

const total = (cp) => html`<b class="figure ${cp < 0 ? 'is-black' : ''}">${pawns(cp)}</b>`;

/** What a group or a term is worth for both sides. */
const worthView = (name, white, black, cp, scale) => html`${nameView(name)}
  <span class="bars" aria-hidden="true"
    >${bar(black, scale, 'black')}${bar(white, scale, 'white')}</span>
  <span class="figure" title="White">${pawns(white)}</span>
  <span class="figure" title="Black">${pawns(black)}</span>${total(cp)}`;

function toggle(name) {
  if (!open.delete(name)) open.add(name);
  // The part that opens says more.
  if (said) said.texts = [];
  refresh();
}

function termView({ name: term, meaning, white, black, cp }, squares, scale) {
  const name = `term ${term}`;
  const worth = worthView(term, white.cp, black.cp, cp, scale);
  const sentence = (one) => pointingRow('', one[2], () => [one]);
  return html`
    ${pointingRow('why-row is-term', worth, () => squares, { words: meaning, name })}
    ${
      open.has(name)
        ? html`<div class="sentences"><p>${meaning}</p>${squares.map(sentence)}</div>`
        : nothing
    }`;
}

function groupView({ name, white, black, cp }, terms, scale) {
  const own = terms.filter((term) => term.group === name);
  // A side's material is many times larger than any other group.
  const size = name === 'material' ? Math.max(white.cp, black.cp, 1) : scale;
  const worth = worthView(name, white.cp, black.cp, cp, size);
  const kind = `why-row ${own.length ? '' : 'is-empty'}`;
  return html`
    ${pointingRow(kind, worth, () => squaresOf(own), { name })}
    ${open.has(name) ? own.map((term) => termView(term, squaresOf([term]), size)) : nothing}`;
}

function evaluationView({ groups, terms, blend, whiteScore, isDraw }) {
  const shared = groups.filter(({ name }) => name !== 'material');
  const scale = Math.max(
    100,
    ...shared.flatMap(({ white, black }) => [Math.abs(white.cp), Math.abs(black.cp)]),
  );
  const middlegame = Math.round(blend.midgame * 100);
  const mix = `Blend: ${middlegame} % middlegame, ${100 - middlegame} % endgame`;
  const why =
    'Each term has a middlegame and an endgame value; the pieces on the board decide the mix';
  const sign = blend.rounding > 0 ? '+' : '';
  const rounding = pageText(sign + (blend.rounding / 100).toFixed(4));
  const line = (words, figure, { title = '', kind = '' } = {}) => html`
    <div class="why-line ${kind}" title=${title}><span>${words}</span>
      <b class="figure">${figure}</b></div>`;
  return html`
    <div class="why-head" aria-hidden="true">
      <span></span><span></span><span>White</span><span>Black</span><span>Both</span></div>
    ${groups.map((group) => groupView(group, terms, scale))}
    ${line(mix, pawns(blend.exact), { title: why })}
    ${blend.rounding ? line('Rounding to whole hundredths', rounding) : nothing}
    ${isDraw ? line('A draw: neither side has the material to win', pawns(blend.draw)) : nothing}
    ${line('Evaluation', pawns(whiteScore), { kind: 'is-total' })}`;
}

const note = (text) => html`<p class="why-note">${text}</p>`;

/** Rows of what has changed most between two positions. */
function changeView({ before, after, terms, score }) {
  const rows = terms.filter(({ cp }) => Math.abs(cp) >= 1).slice(0, 6);
  return html`
    ${note(html`${pawns(before.whiteScore)} before, ${pawns(after.whiteScore)} after:
      <b>${pawns(score)}</b> ${score ? `for ${score > 0 ? 'White' : 'Black'}` : ''}`)}
    ${rows.map(({ name, meaning, before: old, after: now, cp }) => {
      const squares = () => squaresOf(after.terms.filter((term) => term.name === name));
      const content = html`${nameView(name)}<span class="figure">${pawns(old)}</span>
        <span class="figure">→ ${pawns(now)}</span>${total(cp)}`;
      return pointingRow('why-row is-change', content, squares, { words: meaning });
    })}
    ${rows.length ? nothing : note('The evaluation has not changed.')}`;
}

/** What the evaluation has answered, once it has.
 *  @param {(explanation: object) => unknown} view of an answer that is no error */
function answerView(explanation, view) {
  if (!explanation) return note('Evaluating …');
  return explanation.error ? note(explanation.error) : view(explanation);
}

/** A part that opens and closes; it requests its explanation only when it is open. */
function part(name, title, fens) {
  const isOpen = open.has(name);
  const change = () =>
    fens ? explanationOf(name, ...fens) : { error: 'The engine has no line yet.' };
  return html`<button type="button" class="why-part" id=${name} aria-expanded=${isOpen}
      @click=${() => toggle(name)}>${title}</button>
    ${isOpen ? answerView(change(), changeView) : nothing}`;
}
open.add('why-move');

export function whyView() {
  const { node } = state;
  const ending = endingOf(node);
  const explanation = explanationOf('position', node.fen);
  const [line] = engine.thinking?.node === node ? engine.thinking.lines : [];
  const end = line && quietEnd(line.moves);
  const isSearched = state.isShowing && node.score && explanation && !explanation.error;
  const change = node.parent && [node.parent.fen, node.fen];
  return html`
    <div id="why" tabindex="0" role="group" aria-label="Why the position is worth what it is">
      ${ending ? note(`${ending.text}: the rules decide, not the evaluation.`) : nothing}
      ${answerView(explanation, evaluationView)}
      ${
        isSearched
          ? note(`The search says ${scoreText(node.score)}: it also looks ahead, with
              ${nameOf(turnOf(node.fen))} to move.`)
          : nothing
      }
      ${change ? part('why-move', `What did ${node.san} change?`, change) : nothing}
      ${part('why-line', 'Where is the line heading?', end && [node.fen, end])}
    </div>
    <div id="why-said" role="status" class=${said?.isAbove ? 'is-above' : ''}
      ?hidden=${!said?.texts.length}>
      ${said?.texts.map((text) => html`<p>${text}</p>`)}</div>`;
}
