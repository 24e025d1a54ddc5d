// SPDX-License-Identifier: MIT
//
// The moves of the game with variations, comments and marks, and what can be done with a move.

import { moveNumber } from '../../lib/chess.mjs';
import { nagText } from '../../lib/game-tree.mjs';
import { areOpeningsReady, openingOf } from '../../lib/openings.mjs';
import { resultText } from './board.mjs';
import { openDialog } from './dialog.mjs';
import { $, button, html, nothing } from './html.mjs';
import { removeMove } from './play.mjs';
import { markAt } from './report.mjs';
import { turnOf } from './rules.mjs';
import { scoreText } from './score.mjs';
import { changed, endAt, goTo, lastOf, lineOf, refresh, setTip, state } from './state.mjs';

/** The node of the move whose menu is open, or null. */
let menuNode = null;
/** The annotation glyphs of a move, in the order of their keys 1 to 6. */
export const moveGlyphs = [1, 2, 3, 4, 5, 6];

/** The number before a move; Black's only when it is forced. */
const numberOf = ({ parent }, isForced) =>
  isForced || turnOf(parent.fen) === 'w' ? moveNumber(parent.fen) : '';

function openMenu(event, node) {
  event.preventDefault();
  const { left, bottom } = event.currentTarget.getBoundingClientRect();
  const isByMouse = event.clientX > 0;
  menuNode = node;
  refresh();
  requestAnimationFrame(() => {
    const menu = $('move-menu');
    menu.showPopover();
    const { offsetWidth: width, offsetHeight: height } = menu;
    const [x, y] = isByMouse ? [event.clientX, event.clientY] : [left, bottom];
    menu.style.left = `${Math.max(4, Math.min(x, window.innerWidth - width - 4))}px`;
    menu.style.top = `${Math.max(4, Math.min(y, window.innerHeight - height - 4))}px`;
    menu.querySelector('button:enabled').focus();
  });
}

function moveInMenu(event) {
  const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  if (!step) return;
  event.preventDefault();
  const items = [...event.currentTarget.querySelectorAll('button:enabled')];
  items.at((items.indexOf(document.activeElement) + step) % items.length).focus();
}

/** A move as a button; one of the main line has its score, or "". */
function moveView(node, score) {
  const [glyphs, kind] = glyphsOf(node);
  const isMain = score !== undefined;
  return html`<button type="button" class="move ${isMain ? 'main' : ''} ${kind}"
    data-san=${node.san} aria-current=${node === state.node ? 'true' : nothing}
    @click=${() => goTo(node)} @contextmenu=${(event) => openMenu(event, node)}
    ><span>${node.san}${glyphs ? html`<b>${glyphs}</b>` : nothing}</span>${
      isMain ? html`<small>${score}</small>` : nothing
    }</button>`;
}

function numberedView(node, isForced) {
  const number = numberOf(node, isForced);
  return html`${number ? html`<span class="number">${number}</span>` : nothing}${moveView(node)}`;
}

const kinds = { 2: 'is-mistake', 4: 'is-blunder', 6: 'is-inaccuracy', 1: 'is-good', 3: 'is-good' };

/** The glyphs of a move, its own before those of the report: [texts, class]. */
function glyphsOf(node) {
  const own = node.nags.find((nag) => moveGlyphs.includes(nag));
  const nag = own ?? markAt(node)?.nag;
  const nags = own === undefined && nag ? [nag, ...node.nags] : node.nags;
  return [nags.map(nagText).join(''), kinds[nag] ?? ''];
}

const commentView = (text) => (text ? html`<span class="comment">${text}</span>` : nothing);

/** Puts spaces between the parts that are not empty. */
const spaced = (parts) =>
  parts
    .filter((part) => part !== nothing)
    .flatMap((part) => [' ', part])
    .slice(1);

/** A variation with its own variations in brackets. */
function variationView(first) {
  const parts = [commentView(first.before), numberedView(first, true), commentView(first.comment)];
  let node = first;
  let isForced = Boolean(first.comment);
  while (node.children.length) {
    const [next, ...others] = node.children;
    parts.push(numberedView(next, isForced), commentView(next.comment));
    for (const other of others) parts.push(html`(${variationView(other)})`);
    isForced = others.length > 0 || Boolean(next.comment);
    node = next;
  }
  return spaced(parts);
}

/** The rows of the main line; comments and variations come between them. */
function rowsOf(root) {
  const rows = [];
  const filler = html`<span class="filler">…</span>`;
  let isOpen = false; // a row that waits for Black's move
  if (root.comment) rows.push(html`<div class="aside">${commentView(root.comment)}</div>`);
  for (let node = root; node.children.length; [node] = node.children) {
    const [next, ...others] = node.children;
    const isWhite = turnOf(node.fen) === 'w';
    if (isWhite || !isOpen) {
      rows.push(html`<span class="number">${node.fen.split(' ')[5]}.</span>`);
      if (!isWhite) rows.push(filler);
    }
    const score = state.isShowing && next.score ? scoreText(next.score) : '';
    rows.push(moveView(next, score));
    isOpen = isWhite;
    if (!others.length && !next.comment) continue;
    if (isWhite) rows.push(filler);
    isOpen = false;
    rows.push(
      html`<div class="aside">${commentView(next.comment)}${others.map(
        (other) => html`<div class="variation">${variationView(other)}</div>`,
      )}</div>`,
    );
  }
  return rows;
}

export function editComment(node = state.node) {
  const take = (form) => {
    state.game.setComment(node, form.elements.comment.value);
    changed();
  };
  openDialog({
    id: 'comment-dialog',
    title: node.san ? `Comment on ${numberOf(node, true)} ${node.san}` : 'Comment on the game',
    body: () =>
      html`<textarea name="comment" rows="5" aria-label="Comment">${node.comment}</textarea>`,
    take,
    label: 'Save',
  });
}

export function mark(nag, node = state.node) {
  if (!node.parent) return;
  state.game.toggleNag(node, nag);
  changed();
}

/** Moves a variation up: one place, or to the main line. */
export function promoteMove(isToMain, node = state.node) {
  if (isToMain) state.game.makeMain(node);
  else state.game.promote(node);
  if (lineOf(state.tip).includes(node)) setTip(lastOf(node));
  changed();
}

/** Shows the variation before or after the one on the board. */
export function switchVariation(step) {
  const { children = [] } = state.node.parent ?? {};
  const next = children[children.indexOf(state.node) + step];
  if (next) goTo(next);
}

export function menuView() {
  if (!menuNode) return nothing;
  const node = menuNode;
  const isMain = state.game.isMain(node);
  const act = (what) => () => {
    $('move-menu').hidePopover();
    what();
  };
  const item = (words, key, what, isDisabled = false) => html`<button type="button" role="menuitem"
    ?disabled=${isDisabled} @click=${act(what)}><span>${words}</span><kbd>${key}</kbd></button>`;
  const glyph = (nag) => html`<button type="button" role="menuitemcheckbox"
    aria-checked=${node.nags.includes(nag)} title="Mark the move with ${nagText(nag)}"
    @click=${act(() => mark(nag, node))}>${nagText(nag)}</button>`;
  const comment = item('Comment …', 'c', () => editComment(node));
  return html`
    <div class="menu" id="move-menu" role="menu" popover @keydown=${moveInMenu}
      aria-label=${node.san ? `The move ${node.san}` : 'The game'}>
      ${
        node.parent
          ? html`<div class="glyphs">${moveGlyphs.map(glyph)}</div>
        ${comment}
        ${item('Move variation up', 'v', () => promoteMove(false, node), isMain)}
        ${item('Make main line', 'Shift v', () => promoteMove(true, node), isMain)}
        ${item('Delete from here', 'Del', () => removeMove(node))}`
          : comment
      }
    </div>`;
}

export function treeView() {
  const { game, node, tip } = state;
  const ending = endAt(tip);
  const showMenu = (event) => openMenu(event, node);
  const rows = rowsOf(game.root);
  const positions = lineOf(node).map(({ fen }) => fen);
  const opening = areOpeningsReady() ? openingOf(positions)?.name : '';
  return html`
    <div class="opening"><span>${opening ?? ''}</span>
      ${button('move-more', 'more', '', 'Mark, comment or delete the move (m)', showMenu)}</div>
    <div id="moves" tabindex="0" role="group" aria-label="Moves of the game">
      ${rows.length ? rows : html`<p class="nothing">No moves yet.</p>`}
    </div>
    <p id="result" ?hidden=${!ending}>
      ${ending ? `${resultText(ending)} · ${ending.text}` : ''}</p>`;
}

let scrolledTo = '';
/** Scrolls the list, and nothing around it, to the move on the board. */
export function showCurrent() {
  const list = $('moves');
  const place = `${state.node.id} ${list?.clientHeight}`;
  if (place === scrolledTo) return;
  scrolledTo = place;
  const element = list?.querySelector('[aria-current]');
  if (!list) return;
  if (!element) {
    list.scrollTop = 0;
    return;
  }
  const [outer, inner] = [list.getBoundingClientRect(), element.getBoundingClientRect()];
  if (inner.top < outer.top) list.scrollTop += inner.top - outer.top - 6;
  if (inner.bottom > outer.bottom) list.scrollTop += inner.bottom - outer.bottom + 6;
}
