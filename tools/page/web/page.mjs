// SPDX-License-Identifier: MIT
//
// The board's page: puts its parts together, draws them whenever something has changed, and handles
// the keys.

import { prepareOpenings } from '../../lib/openings.mjs';
import { boardView, isAsking, knock, showBoard, startBoard } from './board.mjs';
import { isDialogOpen, openDialog } from './dialog.mjs';
import { openEditor } from './editor.mjs';
import { drive, engine, openLink } from './engine.mjs';
import { openExchange, openLibrary, takeAddress, watchDrops } from './games.mjs';
import { graphView } from './graph.mjs';
import { $, button, html, icon, nothing, render } from './html.mjs';
import { linesView, previewView } from './lines.mjs';
import {
  editComment,
  mark,
  menuView,
  moveGlyphs,
  promoteMove,
  showCurrent,
  switchVariation,
  treeView,
} from './moves.mjs';
import {
  canTakeBack,
  goOrStop,
  removeMove,
  resign,
  setMode,
  tagsOf,
  takeBack,
  watchClock,
} from './play.mjs';
import { reportView, startScoring, updateReport } from './report.mjs';
import { endingOf } from './rules.mjs';
import { openNewGame, openSettings } from './settings.mjs';
import {
  changed,
  connect,
  endAt,
  goTo,
  nextOf,
  passing,
  pause,
  refresh,
  restore,
  save,
  state,
} from './state.mjs';
import { unpoint, whyView } from './why.mjs';

const wide = window.matchMedia('(min-width: 1700px)');

const go = (node) => node && !passing.review && goTo(node);
const flip = () => {
  state.isTurned = !state.isTurned;
  changed();
};

function setTab(tab) {
  state.tab = tab;
  unpoint();
  changed();
}

function paceText() {
  const { mode, pace, clock } = state;
  if (mode === 'analyse') return '';
  if (pace.kind === 'level') return `Level ${pace.level}`;
  if (pace.kind === 'depth') return `Depth ${pace.depth}`;
  if (clock) return `${pace.minutes} min + ${pace.increment} s`;
  return `${pace.seconds} s per move`;
}

function headView() {
  const { library, libraryIndex } = passing;
  const place = `${libraryIndex + 1} of ${library.length}`;
  const games = () => button('games', 'list', place, 'Games in the file', openLibrary);
  return html`
    <header class="top">
      <h1><img src="tools/page/web/icon.svg" alt="" width="28" height="28"
        /><span>Quillon</span></h1>
      <button type="button" id="engine" class="pill ${engine.isBad ? 'is-bad' : ''}"
        title="Engine settings (s)" @click=${openSettings}>
        <span id="engine-state" role="status"
          >${engine.news}<span class="more">${engine.details}</span></span></button>
      <nav class="top-buttons" aria-label="Page">
        ${button('new', 'new', 'New game', 'New game (n)', openNewGame)}
        ${button('exchange', 'text', 'Games & PGN', 'Games, PGN and FEN (p)', openExchange)}
        ${library.length ? games() : nothing}
        ${button('edit', 'edit', 'Edit', 'Edit the position (e)', openEditor)}
        ${button('flip', 'flip', 'Flip', 'Flip the board (f)', flip)}
        ${button('settings-open', 'gear', '', 'Settings (s)', openSettings)}
        ${button('keys-open', 'help', '', 'Keyboard and mouse (?)', openKeys)}
      </nav>
    </header>`;
}

function modesView() {
  const { mode, node, isAnalysing } = state;
  const isBusy = Boolean(passing.review || (engine.search && (mode === 'play' || isAnalysing)));
  const label = mode === 'play' && !passing.review ? 'Move now' : isBusy ? 'Stop' : 'Go';
  const picture = label === 'Stop' ? 'stop' : 'go';
  const isDisabled = !isBusy && (mode === 'play' || endingOf(node)?.isFinal);
  const switchTo = (name, words) => html`<button type="button" id="mode-${name}"
    aria-pressed=${mode === name} @click=${() => setMode(name)}>${words}</button>`;
  return html`
    <div class="modes">
      <div class="switch" role="group" aria-label="Mode"
        >${switchTo('play', 'Play')}${switchTo('analyse', 'Analyse')}</div>
      <span id="pace">${paceText()}</span>
      ${button('go', picture, label, `${label} (space)`, goOrStop, { isDisabled, kind: 'primary' })}
    </div>`;
}

function controlsView() {
  const { node, mode, tip, game } = state;
  const isBusy = Boolean(passing.review);
  const back = { isDisabled: isBusy || !node.parent };
  const on = { isDisabled: isBusy || !nextOf(node) };
  const isOver = { isDisabled: endAt(tip) || !tip.parent };
  const isEmpty = { isDisabled: isBusy || !game.root.children.length };
  const scoring = 'Score each position and make a report';
  return html`
    <div class="controls">
      ${button('first', 'first', '', 'First position (Home)', actions.first, back)}
      ${button('prev', 'prev', '', 'One move back (left arrow)', actions.prev, back)}
      ${button('next', 'next', '', 'One move forward (right arrow)', actions.next, on)}
      ${button('last', 'last', '', 'Last position (End)', actions.last, on)}
      ${button('back', 'back', 'Take back', 'Take the move back (u)', takeBack, {
        isDisabled: !canTakeBack(),
      })}
      ${
        mode === 'play'
          ? button('resign', 'flag', 'Resign', 'Resign the game', resign, isOver)
          : button('review', 'chart', 'Score game', scoring, startScoring, isEmpty)
      }
    </div>`;
}

const tabNames = { moves: 'Moves', why: 'Why?', report: 'Report' };
const tabViews = { moves: treeView, why: whyView, report: reportView };

/** A card with one tab, and with the buttons for it and others. */
function tabbedView(chosen, ids) {
  const tab = (id) => html`
    <button type="button" role="tab" id="tab-${id}" aria-selected=${id === chosen}
      aria-controls="panel-${id}" @click=${() => setTab(id)}>${tabNames[id]}</button>`;
  return html`
    <section class="card tabbed">
      <div class="tabs" role="tablist" aria-label="Moves and explanations" ?hidden=${!ids.length}
        >${ids.map(tab)}</div>
      <div class="tab-panel" id="panel-${chosen}" role="tabpanel" aria-label=${tabNames[chosen]}>
        ${tabViews[chosen]()}</div>
    </section>`;
}

function pageView() {
  const { tab } = state;
  // If there is room, the moves are always shown, with the other tab beside them.
  const isWide = wide.matches;
  const insight = () => html`<aside class="panel insight" aria-label="Explanations">
    ${tabbedView(tab === 'moves' ? 'why' : tab, ['why', 'report'])}</aside>`;
  return html`
    ${headView()}
    <main>
      ${boardView()}
      <aside class="panel" aria-label="Engine and moves">
        ${modesView()}${linesView()}${controlsView()}
        ${isWide ? tabbedView('moves', []) : tabbedView(tab, Object.keys(tabNames))}
        ${graphView()}
      </aside>
      ${isWide ? insight() : nothing}
    </main>
    ${previewView()}${menuView()}`;
}

let nodeShown = null;
function show() {
  updateReport();
  render(pageView(), $('app'));
  showBoard();
  showCurrent();
  if (state.node === nodeShown) return;
  if (nodeShown && nodeShown === state.node.parent) knock();
  nodeShown = state.node;
  unpoint();
}

const deleteMove = () =>
  state.mode === 'analyse' && state.node.parent && removeMove(state.node);

const actions = {
  first: () => go(state.game.root),
  prev: () => go(state.node.parent),
  next: () => go(nextOf(state.node)),
  last: () => go(state.tip),
};

/** Keys as they are shown, what they do, and the functions by the names of the keys. */
const keyList = [
  [['←', '→'], 'One move back, one move forward', { ArrowLeft: actions.prev, ArrowRight: actions.next }],
  [
    ['↑', '↓'],
    'Previous variation, next variation',
    { ArrowUp: () => switchVariation(-1), ArrowDown: () => switchVariation(1) },
  ],
  [['Home', 'End'], 'First position, last position', { Home: actions.first, End: actions.last }],
  [['Space'], 'Start or stop the engine', { ' ': goOrStop }],
  [
    moveGlyphs,
    'Mark the move with ! ? !! ?? !? ?!',
    Object.fromEntries(moveGlyphs.map((nag) => [nag, () => mark(nag)])),
  ],
  [['c'], 'Comment on the move', { c: () => editComment() }],
  [
    ['v'],
    'Move the variation up (with Shift: make it the main line)',
    { v: () => promoteMove(false), V: () => promoteMove(true) },
  ],
  [['Delete'], 'Delete the move and what follows', { Delete: deleteMove }],
  [['m'], 'The menu of the move', { m: () => $('move-more')?.click() }],
  [['u'], 'Take back the last move', { u: takeBack }],
  [['f'], 'Flip the board', { f: flip }],
  [['n'], 'New game', { n: openNewGame }],
  [['p'], 'Games, PGN and FEN', { p: openExchange }],
  [['e'], 'Edit the position', { e: openEditor }],
  [['s'], 'Settings', { s: openSettings }],
  [['w'], 'Why this score?', { w: () => setTab('why') }],
  [['?'], 'This list', { '?': openKeys }],
  [['Mouse wheel'], 'On the board: step through the moves'],
  [
    ['Right button'],
    'On the board: draw an arrow or a circle; Shift and Alt change the colour. On a move: its menu',
  ],
];
const keys = Object.assign({}, ...keyList.map(([, , acts]) => acts));

function openKeys() {
  openDialog({
    id: 'keys',
    title: 'Keyboard and mouse',
    body: () => html`<dl class="keys">${keyList.map(
      ([names, what]) => html`<dt>${names.map((name) => html`<kbd>${name}</kbd> `)}</dt>
        <dd>${what}</dd>`,
    )}</dl>
      <p>You can type moves below the board: e4, Nf3, 0-0, e7e8q.</p>`,
  });
}

document.addEventListener('keydown', (event) => {
  const { key, target } = event;
  if (event.defaultPrevented || event.ctrlKey || event.altKey || event.metaKey) return;
  if (isDialogOpen() || isAsking() || passing.review || target.matches('input, textarea, select'))
    return;
  if (key === ' ' && target.matches('button')) return;
  if (!Object.hasOwn(keys, key)) return;
  event.preventDefault();
  keys[key]();
});

setInterval(() => {
  if (!state.clock?.side) return;
  watchClock();
  refresh();
}, 100);
wide.addEventListener('change', refresh);
window.addEventListener('pagehide', save);

state.game.tags = tagsOf(state);
restore();
await openLink();
await pause();
render(pageView(), $('app'));
await pause();
startBoard();
await pause();
connect(show, drive);
show();
watchDrops();
takeAddress();
prepareOpenings().then(refresh);
