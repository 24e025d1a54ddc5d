// SPDX-License-Identifier: MIT
//
// The board's page: puts its parts together, draws them whenever something has changed, and handles
// the keys.

import { prepareOpenings } from '../../lib/openings.mjs';
import { boardView, isAsking, knock, showBoard, startBoard } from './board.mjs';
import { isDialogOpen, showDialog } from './dialog.mjs';
import { openEditor } from './editor.mjs';
import { drive, engine, openLink } from './engine.mjs';
import { openExchange, openLibrary, takeAddress, watchDrops } from './games.mjs';
import { graphView } from './graph.mjs';
import { $, button, html, icon, nothing, render } from './html.mjs';
import { linesView, previewView } from './lines.mjs';
import {
  closeMenu,
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
import { openKeys, openNewGame, openSettings } from './settings.mjs';
import {
  changed,
  connect,
  endAt,
  goTo,
  isAtTip,
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

const headView = () => html`
  <header class="top">
    <h1><img src="tools/page/web/icon.svg" alt="" width="28" height="28" /><span>Quillon</span></h1>
    <button type="button" id="engine" class="pill ${engine.isBad ? 'is-bad' : ''}"
      title="Engine settings (s)" @click=${openSettings}>
      <span id="engine-state" role="status"
        >${engine.news}<span class="more">${engine.details}</span></span></button>
    <nav class="top-buttons" aria-label="Page">
      ${button('new', 'new', 'New game', 'New game (n)', openNewGame)}
      ${button('exchange', 'text', 'Games & PGN', 'Games, PGN and FEN (p)', openExchange)}
      ${
        passing.library.length
          ? button(
              'games',
              'list',
              `${passing.libraryIndex + 1} of ${passing.library.length}`,
              'Games in the file',
              openLibrary,
            )
          : nothing
      }
      ${button('edit', 'edit', 'Edit', 'Edit the position (e)', openEditor)}
      ${button('flip', 'flip', 'Flip', 'Flip the board (f)', flip)}
      ${button('settings-open', 'gear', '', 'Settings (s)', openSettings)}
      ${button('keys-open', 'help', '', 'Keyboard and mouse (?)', openKeys)}
    </nav>
  </header>`;

function modesView() {
  const { mode, node, isAnalysing } = state;
  const isBusy = Boolean(passing.review || (engine.search && (mode === 'play' || isAnalysing)));
  const label = mode === 'play' && !passing.review ? 'Move now' : isBusy ? 'Stop' : 'Go';
  const isDisabled = !isBusy && (mode === 'play' || endingOf(node)?.isFinal);
  const switchTo = (name, words) => html`<button type="button" id="mode-${name}"
    aria-pressed=${mode === name} @click=${() => setMode(name)}>${words}</button>`;
  return html`
    <div class="modes">
      <div class="switch" role="group" aria-label="Mode"
        >${switchTo('play', 'Play')}${switchTo('analyse', 'Analyse')}</div>
      <span id="pace">${paceText()}</span>
      ${button('go', label === 'Stop' ? 'stop' : 'go', label, `${label} (space)`, goOrStop, {
        isDisabled,
        kind: 'primary',
      })}
    </div>`;
}

function controlsView() {
  const { node, mode, tip } = state;
  const isBusy = Boolean(passing.review);
  const back = { isDisabled: isBusy || !node.parent };
  const on = { isDisabled: isBusy || !nextOf(node) };
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
          ? button('resign', 'flag', 'Resign', 'Resign the game', resign, {
              isDisabled: endAt(tip) || !tip.parent,
            })
          : button(
              'review',
              'chart',
              'Score game',
              'Score each position and make a report',
              startScoring,
              { isDisabled: isBusy || !state.game.root.children.length },
            )
      }
    </div>`;
}

/** If there is room, the moves are always shown, with the other tab beside them. */
function tabsView() {
  const names = { moves: 'Moves', why: 'Why?', report: 'Report' };
  const { tab } = state;
  const shown = wide.matches && tab === 'moves' ? 'why' : tab;
  const views = { moves: treeView, why: whyView, report: reportView };
  const tabs = (ids, chosen) =>
    html`<div class="tabs" role="tablist" aria-label="Moves and explanations">${ids.map(
      (id) => html`
    <button type="button" role="tab" id="tab-${id}" aria-selected=${id === chosen}
      aria-controls="panel-${id}" @click=${() => setTab(id)}>${names[id]}</button>`,
    )}</div>`;
  const panel = (
    id,
  ) => html`<div class="tab-panel" id="panel-${id}" role="tabpanel" aria-label=${names[id]}>
    ${views[id]()}</div>`;
  if (!wide.matches)
    return [
      html`<section class="card tabbed">
        ${tabs(Object.keys(names), shown)}${panel(shown)}</section>`,
      nothing,
    ];
  return [
    html`<section class="card tabbed">${panel('moves')}</section>`,
    html`<aside class="panel insight" aria-label="Explanations"><section class="card tabbed">
      ${tabs(['why', 'report'], shown)}${panel(shown)}</section></aside>`,
  ];
}

function pageView() {
  const [lower, beside] = tabsView();
  return html`
    ${headView()}
    <main>
      ${boardView()}
      <aside class="panel" aria-label="Engine and moves">
        ${modesView()}${linesView()}${controlsView()}${lower}${graphView()}
      </aside>
      ${beside}
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

const actions = {
  first: () => go(state.game.root),
  prev: () => go(state.node.parent),
  next: () => go(nextOf(state.node)),
  last: () => go(state.tip),
};

const keys = {
  ArrowLeft: actions.prev,
  ArrowRight: actions.next,
  ArrowUp: () => switchVariation(-1),
  ArrowDown: () => switchVariation(1),
  Home: actions.first,
  End: actions.last,
  Delete: () => state.mode === 'analyse' && state.node.parent && removeMove(state.node),
  ' ': goOrStop,
  c: () => editComment(),
  e: openEditor,
  f: flip,
  m: () => $('move-more')?.click(),
  n: openNewGame,
  p: openExchange,
  s: openSettings,
  u: takeBack,
  v: () => promoteMove(false),
  V: () => promoteMove(true),
  w: () => setTab('why'),
  '?': openKeys,
  ...Object.fromEntries(moveGlyphs.map((nag) => [nag, () => mark(nag)])),
};

document.addEventListener('keydown', (event) => {
  const { key, target } = event;
  if (event.defaultPrevented || event.ctrlKey || event.altKey || event.metaKey) return;
  if (key === 'Escape' && closeMenu()) return;
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
