// SPDX-License-Identifier: MIT
//
// Why a position is worth what it is: the evaluation by groups and terms, what the last move has
// changed and where the engine's line is heading. Pointing at a row marks its squares on the board.

import { pointAt } from './board.mjs';
import { engine, explain, link } from './engine.mjs';
import { $, html, nothing } from './html.mjs';
import { endingOf, nameOf, quietEnd, turnOf } from './rules.mjs';
import { pawnText, scoreText } from './score.mjs';
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

const pawns = (cp) => pawnText(cp / 100);
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

/** What pointing at a row does, by mouse, finger or keyboard. */
const pointing = (squares, words) => ({
  enter: (event) => point(event, squares(), words),
  leave: unpoint,
});

const bar = (cp, scale, side) => html`<span class="bar ${side} ${cp < 0 ? 'is-negative' : ''}"
  style="width: ${Math.min(50, (Math.abs(cp) / scale) * 50).toFixed(1)}%"></span>`;

const bars = (white, black, scale) => html`
  <span class="bars" aria-hidden="true"
    >${bar(black, scale, 'black')}${bar(white, scale, 'white')}</span>`;

const figures = (white, black, cp) => html`
  <span class="figure" title="White">${pawns(white)}</span>
  <span class="figure" title="Black">${pawns(black)}</span>
  <b class="figure ${cp < 0 ? 'is-black' : ''}">${pawns(cp)}</b>`;

function toggle(name) {
  if (!open.delete(name)) open.add(name);
  // The part that opens says more.
  if (said) said.texts = [];
  refresh();
}

function termView(term, scale) {
  const squares = squaresOf([term]);
  const { enter, leave } = pointing(() => squares, term.meaning);
  const isOpen = open.has(`term ${term.name}`);
  return html`
    <button type="button" class="why-row is-term" aria-expanded=${isOpen}
      @click=${() => toggle(`term ${term.name}`)}
      @pointerenter=${enter} @pointerleave=${leave} @focus=${enter} @blur=${leave}>
      <span class="why-name">${tidy(term.name)}</span>${bars(term.white.cp, term.black.cp, scale)}
      ${figures(term.white.cp, term.black.cp, term.cp)}</button>
    ${
      isOpen
        ? html`<div class="sentences"><p>${term.meaning}</p>
      ${squares.map((one) => {
        const own = pointing(() => [one]);
        return html`<button type="button" @pointerenter=${own.enter} @pointerleave=${own.leave}
          @focus=${own.enter} @blur=${own.leave}>${one[2]}</button>`;
      })}</div>`
        : nothing
    }`;
}

function groupView(group, terms, scale) {
  const { name, white, black, cp } = group;
  const own = terms.filter((term) => term.group === name);
  const isOpen = open.has(name);
  const { enter, leave } = pointing(() => squaresOf(own), '');
  // A side's material is many times larger than any other group.
  const size = name === 'material' ? Math.max(white.cp, black.cp, 1) : scale;
  return html`
    <button type="button" class="why-row ${own.length ? '' : 'is-empty'}" aria-expanded=${isOpen}
      @click=${() => toggle(name)}
      @pointerenter=${enter} @pointerleave=${leave} @focus=${enter} @blur=${leave}>
      <span class="why-name">${tidy(name)}</span>${bars(white.cp, black.cp, size)}
      ${figures(white.cp, black.cp, cp)}</button>
    ${isOpen ? own.map((term) => termView(term, size)) : nothing}`;
}

function evaluationView({ groups, terms, blend, whiteScore, isDraw }) {
  const shared = groups.filter(({ name }) => name !== 'material');
  const scale = Math.max(
    100,
    ...shared.flatMap(({ white, black }) => [Math.abs(white.cp), Math.abs(black.cp)]),
  );
  const middlegame = Math.round(blend.midgame * 100);
  const line = (
    words,
    cp,
    title = '',
  ) => html`<div class="why-line" title=${title}><span>${words}</span>
    <b class="figure">${pawns(cp)}</b></div>`;
  return html`
    <div class="why-head" aria-hidden="true">
      <span></span><span></span><span>White</span><span>Black</span><span>Both</span></div>
    ${groups.map((group) => groupView(group, terms, scale))}
    ${line(
      `Blend: ${middlegame} % middlegame, ${100 - middlegame} % endgame`,
      blend.exact,
      'Each term has a middlegame and an endgame value; the pieces on the board decide the mix',
    )}
    ${
      blend.rounding
        ? html`<div class="why-line"><span>Rounding to whole hundredths</span>
      <b class="figure">${pawnText(blend.rounding / 100, 4)}</b></div>`
        : nothing
    }
    ${isDraw ? line('A draw: neither side has the material to win', blend.draw) : nothing}
    <div class="why-line is-total"><span>Evaluation</span>
      <b class="figure">${pawns(whiteScore)}</b></div>`;
}

/** Rows of what has changed most between two positions. */
function changeView({ before, after, terms, score }) {
  const rows = terms.filter(({ cp }) => Math.abs(cp) >= 1).slice(0, 6);
  return html`
    <p class="why-note">${pawns(before.whiteScore)} before, ${pawns(after.whiteScore)} after:
      <b>${pawns(score)}</b> ${score ? `for ${score > 0 ? 'White' : 'Black'}` : ''}</p>
    ${rows.map((term) => {
      const of = (position) => position.terms.filter(({ name }) => name === term.name);
      const { enter, leave } = pointing(() => squaresOf(of(after)), term.meaning);
      return html`<button type="button" class="why-row is-change"
        @pointerenter=${enter} @pointerleave=${leave} @focus=${enter} @blur=${leave}>
        <span class="why-name">${tidy(term.name)}</span>
        <span class="figure">${pawns(term.before)}</span>
        <span class="figure">→ ${pawns(term.after)}</span>
        <b class="figure ${term.cp < 0 ? 'is-black' : ''}">${pawns(term.cp)}</b></button>`;
    })}
    ${
      rows.length
        ? nothing
        : html`<p class="why-note">The evaluation has not changed.</p>`
    }`;
}

/** A part that opens and closes; it requests its explanation only when it is open. */
function part(name, title, fens) {
  const isOpen = open.has(name);
  let content = nothing;
  if (isOpen) {
    const change = fens
      ? explanationOf(name, ...fens)
      : { error: 'The engine has no line yet.' };
    content = !change
      ? html`<p class="why-note">…</p>`
      : change.error
        ? html`<p class="why-note">${change.error}</p>`
        : changeView(change);
  }
  return html`<button type="button" class="why-part" id=${name} aria-expanded=${isOpen}
      @click=${() => toggle(name)}>${title}</button>
    ${content}`;
}
open.add('why-move');

export function whyView() {
  const { node } = state;
  const ending = endingOf(node);
  const explanation = explanationOf('position', node.fen);
  const [line] = engine.thinking?.node === node ? engine.thinking.lines : [];
  const end = line && quietEnd(line.moves);
  const isCheck = explanation && !explanation.error && node.score;
  return html`
    <div id="why" tabindex="0" role="group" aria-label="Why the position is worth what it is">
      ${
        ending
          ? html`<p class="why-note">${ending.text}: the rules decide, not the evaluation.</p>`
          : nothing
      }
      ${
        !explanation
          ? html`<p class="why-note">Evaluating …</p>`
          : explanation.error
            ? html`<p class="why-note">${explanation.error}</p>`
            : evaluationView(explanation)
      }
      ${
        isCheck && state.isShowing
          ? html`<p class="why-note">The search says ${scoreText(node.score)}:
        it also looks ahead, with ${nameOf(turnOf(node.fen))} to move.</p>`
          : nothing
      }
      ${
        node.parent
          ? part('why-move', `What did ${node.san} change?`, [node.parent.fen, node.fen])
          : nothing
      }
      ${part('why-line', 'Where is the line heading?', end && [node.fen, end])}
    </div>
    <div id="why-said" role="status" class=${said?.isAbove ? 'is-above' : ''}
      ?hidden=${!said?.texts.length}>
      ${said?.texts.map((text) => html`<p>${text}</p>`)}</div>`;
}
