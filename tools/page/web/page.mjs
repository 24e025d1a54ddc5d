// SPDX-License-Identifier: MIT
//
// The board's page: what the person does, what the engine is asked and what is shown of both. Every
// change goes through changed(): it keeps the game, asks the engine for what is wanted now and
// shows the whole.
//
//   State and messages       state, say, save, restore
//   The engine               wanted, drive, takeMessage
//   Moves and games          makeMove, takeBack, startGame, loadGame
//   What is shown            renderBoard, renderEngine, renderMoves, changed
//   What the person does     onBoardInput, buttons, keys, dialogs

import {
  BORDER_TYPE,
  Chessboard,
  INPUT_EVENT_TYPE,
} from '../../../node_modules/cm-chessboard/src/Chessboard.js';
import { Arrows } from '../../../node_modules/cm-chessboard/src/extensions/arrows/Arrows.js';
import { Markers } from '../../../node_modules/cm-chessboard/src/extensions/markers/Markers.js';
// prettier-ignore
import { PromotionDialog }
  from '../../../node_modules/cm-chessboard/src/extensions/promotion-dialog/PromotionDialog.js';
import { Clock, timeText } from './clock.mjs';
import { Game, nameOf, otherSide, readFen, splitPgn } from './game.mjs';
import { Graph } from './graph.mjs';
import { Link } from './link.mjs';
import { fromMover, scoreText, scoreWords, whiteShare } from './score.mjs';

const $ = (id) => document.getElementById(id);
/** A new element. */
const make = (name, className = '', text = '') =>
  Object.assign(document.createElement(name), { className, textContent: text });
const assets = new URL('../../../node_modules/cm-chessboard/assets/', import.meta.url).href;
const markers = {
  played: { class: 'marker-played', slice: 'markerSquare' },
  chosen: { class: 'marker-chosen', slice: 'markerSquare' },
  checked: { class: 'marker-checked', slice: 'markerSquare' },
  target: { class: 'marker-target', slice: 'markerDot', position: 'above' },
  capture: { class: 'marker-capture', slice: 'markerCircle', position: 'above' },
};
const bestArrow = { class: 'arrow-best' };
/** Milliseconds for each position when a whole game is scored. */
const reviewTime = 500;
/** Milliseconds of its clock that the engine isn't told of: the way here and back. */
const clockMargin = 30;
const mostLines = 40;

// State and messages

const state = {
  game: new Game(),
  /** Moves of the game that are on the board. */
  cursor: 0,
  /** 'play' or 'analyse' */
  mode: 'play',
  person: 'w',
  /** { kind: 'time' | 'clock' | 'depth', seconds, minutes, increment, depth } */
  pace: { kind: 'time', seconds: 1, minutes: 5, increment: 3, depth: 4 },
  clock: null,
  isAnalysing: true,
  isTurned: false,
  isShowing: true,
  /** { hash, threads } that the person has set */
  options: null,
};
/** { ply } while a whole game is being scored. */
let review = null;
let engineName = 'Quillon';
/** { hash, threads } that the engine has, once it has started. */
let options = null;

/** Shows a message for some seconds.
 *  @param {string} text
 *  @param {{isBad?: boolean, label?: string, act?: () => void}} [more] a button and what it does; a
 *      message with a button stays longer */
function say(text, { isBad = false, label, act } = {}) {
  const message = make('div', isBad ? 'message is-bad' : 'message', text);
  if (isBad) message.setAttribute('role', 'alert');
  const remove = () => message.remove();
  if (label) {
    const button = make('button', '', label);
    button.type = 'button';
    button.addEventListener('click', () => {
      remove();
      act();
    });
    message.append(button);
  }
  $('messages').append(message);
  while ($('messages').childElementCount > 3) $('messages').firstElementChild.remove();
  setTimeout(remove, label ? 12000 : 6000);
  return remove;
}

/** The state as it survives JSON, and back. */
function snapshot() {
  const { game, clock, ...others } = state;
  return { ...others, game: game.record, clock: clock?.record ?? null };
}

function revert(kept) {
  const clock = kept.clock && Clock.fromRecord(kept.clock);
  Object.assign(state, kept, { game: Game.fromRecord(kept.game), clock });
}

/** A tab keeps its game when it is loaded again. */
function save() {
  try {
    sessionStorage.setItem('board', JSON.stringify(snapshot()));
  } catch {
    // Without a store the game is lost with the page, and the rest works.
  }
}

function restore() {
  try {
    const kept = JSON.parse(sessionStorage.getItem('board'));
    if (kept) revert(kept);
  } catch {
    sessionStorage.removeItem('board');
  }
}

const isAtEnd = () => state.cursor === state.game.length;

/** Whose pieces the person may move now: 'w', 'b' or null. */
function movable() {
  const { game, cursor, mode, person } = state;
  const turn = game.turnAt(cursor);
  if (review) return null;
  if (mode === 'analyse') return game.endingAt(cursor)?.isFinal ? null : turn;
  return isAtEnd() && turn === person && !game.ending ? turn : null;
}

// The engine

let searchCount = 0;
/** The search under way: { id, key, kind, ply }, or null. */
let search = null;
/** What is shown of the last search: { key, ply, fen, lines: [{ depth, score, text, first }] }. */
let thinking = null;
let stats = {};
/** The key of a search that has ended by itself. */
let finished = null;
let isFailed = false;

function playLimits() {
  const { pace, clock } = state;
  if (pace.kind === 'depth') return { kind: 'depth', depth: pace.depth };
  if (pace.kind === 'clock' && clock) {
    const told = (side) => Math.max(1, Math.round(clock.left(side)) - clockMargin);
    const increment = Math.round(clock.increment);
    return { kind: 'clock', wtime: told('w'), btime: told('b'), winc: increment, binc: increment };
  }
  return { kind: 'movetime', movetime: Math.max(10, Math.round(pace.seconds * 1000)) };
}

/** What the engine should be doing now, or null. */
function wanted() {
  const { game, cursor, mode, person, isAnalysing } = state;
  let task = null;
  if (review) {
    task = { kind: 'review', ply: review.ply };
  } else if (mode === 'play') {
    const isEngineTurn = !game.ending && game.turnAt(game.length) !== person;
    if (isEngineTurn) task = { kind: 'move', ply: game.length };
  } else if (isAnalysing && !game.endingAt(cursor)?.isFinal) {
    task = { kind: 'analysis', ply: cursor };
  }
  if (!task) return null;
  task.position = game.positionAt(task.ply);
  task.key = JSON.stringify([task.kind, task.ply, task.position]);
  return task.key === finished ? null : task;
}

/** Lets the engine do what is wanted. */
function drive() {
  if (!link.isOpen) return;
  const task = wanted();
  if (task?.key === search?.key) return;
  if (!task) {
    search = null;
    link.send({ type: 'cancel' });
    return;
  }
  const limits = {
    review: () => ({ kind: 'movetime', movetime: reviewTime }),
    move: playLimits,
    analysis: () => ({ kind: 'infinite' }),
  }[task.kind]();
  const { key, kind, ply, position } = task;
  search = { id: ++searchCount, key, kind, ply };
  thinking = { key, ply, fen: state.game.fenAt(ply), lines: [] };
  stats = {};
  link.send({ type: 'search', id: search.id, ...position, limits });
}

function takeInfo(message) {
  const { ply } = search;
  const { game } = state;
  const { depth, pv } = message;
  const score = fromMover(message.score, game.turnAt(ply), depth);
  stats = message;
  game.scores[ply] = score;
  const line = { depth, score, text: game.lineText(ply, pv), first: pv[0] };
  const { lines } = thinking;
  const [top] = lines;
  const isSame = top && top.text === line.text && scoreText(top.score) === scoreText(score);
  if (isSame || top?.depth === depth) lines[0] = line;
  else lines.unshift(line);
  lines.length = Math.min(lines.length, mostLines);
  renderSoon();
}

/** What a score is worth when the move that it expects has been made. */
function scoreAfter({ kind, value, depth }, side) {
  const isOwnMate = kind === 'mate' && (side === 'w' ? value > 0 : value < 0);
  return { kind, value: isOwnMate ? value - Math.sign(value) : value, depth };
}

function takeBest({ move }) {
  const { kind, key, ply } = search;
  const { game } = state;
  const [line] = thinking.lines;
  search = null;
  if (kind === 'review') {
    reviewNext();
  } else if (kind === 'analysis') {
    finished = key;
  } else if (!makeMove(ply, move)) {
    finished = key;
    say(`${engineName} has no move; take back or start a new game.`, { isBad: true });
  } else if (line?.first === move && !game.endingAt(ply + 1)) {
    game.scores[ply + 1] = scoreAfter(line.score, game.turnAt(ply));
  }
  changed();
}

let forgetFailure = () => {};

function takeEngineState({ state: news, name, text, hash, threads }) {
  options = { hash, threads };
  isFailed = news === 'failed';
  forgetFailure();
  if (name) engineName = name.replace(/ version /i, ' ');
  if (news === 'restarting') {
    setPill('restarting …', true);
  } else if (isFailed) {
    setPill('engine stopped', true);
    const again = () => link.send({ type: 'restart' });
    forgetFailure = say(`The engine keeps stopping: ${text}.`, {
      isBad: true,
      label: 'Start again',
      act: again,
    });
  } else {
    const threadsText = threads === 1 ? '1 thread' : `${threads} threads`;
    const parts = [engineName, `(${link.kind}),`, `${threadsText}, ${hash} MB`];
    // Where there is little room, each part is a line.
    setPill(parts.map((part) => part.replaceAll(' ', '\u00a0')).join(' '));
    if (news === 'restarted') {
      say(`${engineName} stopped and was restarted${search ? '; the search goes on' : ''}.`);
    }
  }
  render();
}

function takeMessage(message) {
  switch (message.type) {
    case 'engine':
      takeEngineState(message);
      break;
    case 'info':
      if (message.id === search?.id) takeInfo(message);
      break;
    case 'best':
      if (message.id === search?.id) takeBest(message);
      break;
    case 'error':
      say(`The server reports: ${message.text}.`, { isBad: true });
      break;
    default: // of a newer server
  }
}

function setPill(text, isBad = false) {
  $('engine-state').textContent = text;
  $('engine-state').classList.toggle('is-bad', isBad);
}

// A page without a server brings its own engine.
const isAlone = document.documentElement.dataset.engine === 'own';
const link = new (isAlone ? (await import('./own-engine.mjs')).OwnEngine : Link)({
  onMessage: takeMessage,
  onOpen() {
    setPill('starting …');
    if (state.options) link.send({ type: 'options', ...state.options });
    runClock();
    drive();
    render();
  },
  onLost() {
    setPill('not connected', true);
    search = null;
    state.clock?.stop();
    render();
  },
  onRefused(text) {
    setPill('no engine', true);
    search = null;
    render();
    say(`${text[0].toUpperCase()}${text.slice(1)}.`, {
      isBad: true,
      label: 'Try again',
      act: () => link.open(),
    });
  },
});

// Moves and games

/** Plays a move for whoever is to move; what followed is forgotten.
 *  @returns {boolean} false for an illegal move, which changes nothing */
function makeMove(ply, move) {
  const { game, clock } = state;
  const side = game.turnAt(ply);
  const isTimed = state.mode === 'play' && clock;
  if (!game.findMove(ply, move)) return false;
  // Nobody's time runs before the first move.
  if (isTimed && clock.side === side) clock.moved(side);
  game.play(ply, move, { clocks: isTimed ? { w: clock.left('w'), b: clock.left('b') } : null });
  const wasFollowing = state.cursor >= ply;
  if (wasFollowing) state.cursor = ply + 1;
  runClock();
  return true;
}

/** Starts the clock of the side to move, if any should run. */
function runClock() {
  const { game, clock, mode } = state;
  if (!clock) return;
  clock.stop();
  if (mode === 'play' && game.length && !game.ending && link.isOpen) {
    clock.start(game.turnAt(game.length));
  }
}

/** A person's move.
 *  @returns {boolean} */
function personMoves(move) {
  const { game, cursor } = state;
  if (!movable() || !game.findMove(cursor, move)) return false;
  const made = game.findMove(cursor, move);
  if (game.moves[cursor]?.uci === made.lan) {
    state.cursor++;
  } else {
    const forgotten = game.length - cursor;
    const before = forgotten ? snapshot() : null;
    makeMove(cursor, move);
    if (before) offerUndo(`${made.san} replaces ${countMoves(forgotten)}.`, before);
  }
  changed();
  return true;
}

const countMoves = (plies) => (plies === 1 ? 'the move that was there' : `${plies} half-moves`);

function offerUndo(text, before) {
  const act = () => {
    review = null;
    revert({ ...before, isShowing: state.isShowing, options: state.options });
    finished = null;
    runClock();
    changed();
  };
  say(text, { label: 'Undo', act });
}

function takeBackCount() {
  const { game, mode, person, cursor } = state;
  if (mode === 'analyse') return cursor ? game.length - cursor + 1 : 0;
  // The person's own last move goes, and the engine's answer to it.
  const count = game.turnAt(game.length) === person ? 2 : 1;
  return game.length >= count ? count : 0;
}

function takeBack() {
  const count = takeBackCount();
  if (!count) return;
  const { game, clock, mode } = state;
  const before = mode === 'analyse' && count > 1 ? snapshot() : null;
  const ply = game.length - count;
  game.verdict = null;
  game.cut(ply);
  state.cursor = ply;
  finished = null;
  if (clock) {
    clock.set(game.moves.at(-1)?.clocks ?? { w: clock.base, b: clock.base });
    runClock();
  }
  if (before) offerUndo(`Took back ${count} half-moves.`, before);
  changed();
}

function goTo(ply) {
  state.cursor = Math.min(Math.max(ply, 0), state.game.length);
  changed();
}

const today = () => {
  const date = new Date();
  const pad = (number) => String(number).padStart(2, '0');
  return `${date.getFullYear()}.${pad(date.getMonth() + 1)}.${pad(date.getDate())}`;
};

function tagsOf({ person, pace }) {
  const names = { [person]: 'Human', [otherSide(person)]: engineName };
  const tags = { Event: 'Casual game', Date: today(), White: names.w, Black: names.b };
  if (pace.kind === 'clock')
    tags.TimeControl = `${Math.round(pace.minutes * 60)}+${pace.increment}`;
  return tags;
}

/** Begins with another game, and offers the one before. */
function replaceGame(text, settings) {
  const before = state.game.length || settings.mode === 'analyse' ? snapshot() : null;
  review = null;
  finished = null;
  thinking = null;
  stats = {};
  Object.assign(state, settings);
  link.send({ type: 'newgame' });
  if (before) offerUndo(text, before);
  changed();
}

function startGame({ person, pace, fen }) {
  const game = new Game(fen, tagsOf({ person, pace }));
  const times = { base: pace.minutes * 60000, increment: pace.increment * 1000 };
  const clock = pace.kind === 'clock' ? new Clock(times) : null;
  const isTurned = person === 'b';
  replaceGame('A new game.', { game, clock, person, pace, cursor: 0, mode: 'play', isTurned });
}

/** Takes a game or a position that came from outside, for analysis. */
function loadGame(game, text) {
  // Nothing begins to think by itself that didn't before.
  const isAnalysing = state.mode === 'analyse' && state.isAnalysing;
  replaceGame(text, { game, clock: null, cursor: game.length, mode: 'analyse', isAnalysing });
}

function setMode(mode) {
  if (mode === state.mode && !review) return;
  review = null;
  finished = null;
  state.mode = mode;
  if (mode === 'play') state.cursor = state.game.length;
  else state.isAnalysing = true;
  runClock();
  changed();
}

/** The button that stops the engine, or lets it go on. */
function goOrStop() {
  if (review) {
    review = null;
  } else if (state.mode === 'play') {
    if (search) link.send({ type: 'stop' });
    return;
  } else {
    state.isAnalysing = !(state.isAnalysing && search);
    finished = null;
  }
  changed();
}

function startReview() {
  if (review || !state.game.length) return;
  review = { ply: -1 };
  if (state.mode === 'play') setMode('analyse');
  review = { ply: -1 };
  state.isAnalysing = false;
  reviewNext();
  changed();
}

function reviewNext() {
  if (!review) return;
  const { game } = state;
  do review.ply++;
  while (review.ply <= game.length && game.endingAt(review.ply)?.isFinal);
  if (review.ply > game.length) {
    review = null;
    say('Every position of the game has a score.');
  } else {
    state.cursor = review.ply;
  }
}

// What is shown

const isStill = window.matchMedia('(prefers-reduced-motion: reduce)').matches;
const board = new Chessboard($('board'), {
  position: state.game.fen,
  assetsUrl: assets,
  style: {
    cssClass: 'quillon',
    borderType: BORDER_TYPE.none,
    animationDuration: isStill ? 0 : 180,
    pieces: { file: 'pieces/standard.svg' },
  },
  extensions: [
    { class: Markers, props: { autoMarkers: null } },
    { class: Arrows, props: { headSize: 5 } },
    { class: PromotionDialog, props: { language: 'en' } },
  ],
});
const graph = new Graph($('graph'), goTo);

let inputSide = null;
function renderInput() {
  const side = movable();
  if (side === inputSide) return;
  board.cancelMoveInput();
  if (inputSide) board.disableMoveInput();
  if (side) board.enableMoveInput(onBoardInput, side);
  inputSide = side;
  hideTargets();
}

function hideTargets() {
  for (const type of [markers.chosen, markers.target, markers.capture]) board.removeMarkers(type);
}

function renderBoard() {
  const { game, cursor, isTurned } = state;
  const side = isTurned ? 'b' : 'w';
  if (board.getOrientation() !== side && !board.boardTurning) {
    board.setOrientation(side).then(() => renderBoard());
  }
  board.setPosition(game.fenAt(cursor), !isStill);
  board.removeMarkers(markers.played);
  board.removeMarkers(markers.checked);
  const last = game.moves[cursor - 1]?.uci;
  if (last) {
    board.addMarker(markers.played, last.slice(0, 2));
    board.addMarker(markers.played, last.slice(2, 4));
  }
  const king = game.checkAt(cursor);
  if (king) board.addMarker(markers.checked, king);
  const svg = $('board').querySelector('svg.cm-chessboard');
  const after = cursor ? `, after ${game.moves[cursor - 1].san}` : '';
  svg.setAttribute('aria-label', `Board, ${nameOf(game.turnAt(cursor))} to move${after}`);
  renderInput();
}

let arrowShown = '';
function renderArrow() {
  const isShown =
    state.isShowing &&
    state.mode === 'analyse' &&
    thinking?.lines.length &&
    thinking.ply === state.cursor &&
    thinking.fen === state.game.fenAt(state.cursor);
  const first = isShown ? thinking.lines[0].first : '';
  if (first === arrowShown) return;
  arrowShown = first;
  board.removeArrows();
  if (first) board.addArrow(bestArrow, first.slice(0, 2), first.slice(2, 4));
}

/** The last score that is known at the position on the board or before it. */
function scoreAt(ply) {
  const { scores } = state.game;
  for (let at = Math.min(ply, scores.length - 1); at >= 0; at--) if (scores[at]) return scores[at];
  return null;
}

const short = (number) => {
  if (number === undefined || !Number.isFinite(number)) return '–';
  if (number < 10000) return String(Math.round(number));
  return number < 1e6 ? `${(number / 1e3).toFixed(0)} k` : `${(number / 1e6).toFixed(1)} M`;
};

function renderEngine() {
  const { game, cursor, isTurned, isShowing } = state;
  document.body.classList.toggle('is-blind', !isShowing);
  const isOwn =
    thinking &&
    thinking.ply <= game.length &&
    thinking.fen === game.fenAt(thinking.ply) &&
    (state.mode === 'play' || thinking.ply === cursor);
  const score = (isOwn && thinking.lines[0]?.score) || scoreAt(cursor);
  $('score').textContent = score ? scoreText(score) : '–';
  const share = score ? whiteShare(score) : 0.5;
  $('bar-white').style.height = `${(share * 100).toFixed(1)}%`;
  $('bar').classList.toggle('is-turned', isTurned);
  $('bar').setAttribute('aria-label', score ? scoreWords(score) : 'no score yet');
  const { depth, seldepth, nodes, time } = isOwn ? stats : {};
  $('depth').textContent = depth ?? score?.depth ?? '–';
  $('seldepth').textContent = seldepth ?? '–';
  $('nodes').textContent = short(nodes);
  // A quotient of a few milliseconds says nothing.
  $('speed').textContent = time >= 20 ? short((nodes * 1000) / time) : '–';
  const lines = isOwn ? thinking.lines : [];
  $('lines').replaceChildren(...lines.map(lineElement));
  if (!lines.length) {
    $('lines').append(make('li', 'empty', isOwn ? 'Lines begin at depth 10.' : 'Engine idle.'));
  }
  graph.draw(isShowing ? game.scores : [], game.length, cursor);
  renderArrow();
}

function lineElement({ depth, score, text }) {
  const element = make('li');
  element.title = text;
  // Castling isn't broken at its hyphen.
  const parts = { depth, worth: scoreText(score), line: text.replaceAll('-', '\u2011') };
  for (const [name, content] of Object.entries(parts)) element.append(make('span', name, content));
  return element;
}

let movesShown = '';
let moveButtons = [];

function renderMoves() {
  const { game, cursor, isShowing } = state;
  const key = game.fen + game.moves.map(({ san }) => san).join(' ');
  if (key !== movesShown) {
    movesShown = key;
    moveButtons = [];
    const rows = [];
    const firstNumber = Number(game.fen.split(' ')[5]);
    const offset = game.turnAt(0) === 'w' ? 0 : 1;
    game.moves.forEach(({ san }, index) => {
      const isFirst = (index + offset) % 2 === 0;
      if (isFirst || !rows.length) {
        const row = make('li');
        row.append(make('span', 'number', `${firstNumber + Math.floor((index + offset) / 2)}.`));
        if (!isFirst) row.append(make('span'));
        rows.push(row);
      }
      const button = make('button', '', san);
      button.type = 'button';
      button.append(make('small'));
      button.addEventListener('click', () => goTo(index + 1));
      moveButtons[index] = button;
      rows.at(-1).append(button);
    });
    if (!rows.length) rows.push(make('li', 'nothing', 'No moves yet.'));
    $('moves').replaceChildren(...rows);
  }
  moveButtons.forEach((button, index) => {
    const isCurrent = index + 1 === cursor;
    if (isCurrent !== button.hasAttribute('aria-current')) {
      if (isCurrent) button.setAttribute('aria-current', 'true');
      else button.removeAttribute('aria-current');
      if (isCurrent) scrollInto($('moves'), button);
    }
    const score = isShowing && game.scores[index + 1];
    const text = score ? scoreText(score) : '';
    if (button.lastChild.textContent !== text) button.lastChild.textContent = text;
  });
  if (!cursor) $('moves').scrollTop = 0;
}

/** Scrolls a list and nothing around it. */
function scrollInto(list, element) {
  const outer = list.getBoundingClientRect();
  const inner = element.getBoundingClientRect();
  if (inner.top < outer.top) list.scrollTop += inner.top - outer.top - 6;
  if (inner.bottom > outer.bottom) list.scrollTop += inner.bottom - outer.bottom + 6;
}

function renderPlayers() {
  const { game, mode, person, clock, isTurned } = state;
  const nameFor = (side) => {
    if (mode === 'play') return side === person ? 'You' : engineName;
    return game.tags[nameOf(side)] ?? nameOf(side);
  };
  const sides = isTurned ? { top: 'w', bottom: 'b' } : { top: 'b', bottom: 'w' };
  for (const [place, side] of Object.entries(sides)) {
    const element = $(`player-${place}`);
    element.classList.toggle('is-black', side === 'b');
    element.querySelector('.name').textContent = nameFor(side);
    const face = element.querySelector('.clock');
    face.hidden = !clock;
    if (!clock) continue;
    const times = isAtEnd() ? null : game.moves[state.cursor - 1]?.clocks;
    const left = times?.[side] ?? clock.left(side);
    face.textContent = timeText(left);
    face.classList.toggle('is-running', clock.side === side);
    face.classList.toggle('is-short', left < 20000 && clock.base > 20000);
  }
}

function paceText() {
  const { mode, pace } = state;
  if (mode === 'analyse') return '';
  if (pace.kind === 'depth') return `Depth ${pace.depth}`;
  if (pace.kind === 'clock') return `${pace.minutes} min + ${pace.increment} s`;
  return `${pace.seconds} s a move`;
}

const resultText = ({ result }) => result.replaceAll('1/2', '½');

function statusText() {
  const { game, cursor, mode, person } = state;
  if (review) return `Scoring position ${review.ply} of ${game.length} …`;
  const ending = isAtEnd() ? game.ending : game.endingAt(cursor);
  if (ending) return `${ending.text} (${resultText(ending)})`;
  const turn = nameOf(game.turnAt(cursor));
  if (mode === 'analyse') {
    return search ? `${turn} to move, analysing …` : `${turn} to move`;
  }
  if (!isAtEnd()) return 'An earlier position; the game goes on from the last one';
  if (game.turnAt(cursor) === person) return `Your move (${turn})`;
  return search ? `${engineName} is thinking …` : `Waiting for ${engineName} …`;
}

function renderControls() {
  const { game, cursor, mode, isAnalysing } = state;
  const isOver = Boolean(isAtEnd() ? game.ending : game.endingAt(cursor));
  const status = statusText();
  // Said aloud, so only when there is something new.
  if ($('status').textContent !== status) $('status').textContent = status;
  $('status').classList.toggle('is-over', isOver && !review);
  $('result').hidden = !game.ending;
  $('result').textContent = game.ending ? `${resultText(game.ending)} · ${game.ending.text}` : '';
  $('mode-play').setAttribute('aria-pressed', String(mode === 'play'));
  $('mode-analyse').setAttribute('aria-pressed', String(mode === 'analyse'));
  $('pace').textContent = paceText();
  const isBusy = Boolean(review || (search && (mode === 'play' || isAnalysing)));
  const label = mode === 'play' && !review ? 'Move now' : isBusy ? 'Stop' : 'Go';
  $('go').querySelector('span').textContent = label;
  const icon = label === 'Stop' ? '#icon-stop' : '#icon-go';
  $('go').querySelector('use').setAttribute('href', icon);
  $('resign').hidden = mode !== 'play';
  $('review').hidden = mode !== 'analyse';
  for (const [id, isDisabled] of Object.entries({
    go: !isBusy && (mode === 'play' || game.endingAt(cursor)?.isFinal),
    first: cursor === 0,
    prev: cursor === 0,
    next: isAtEnd(),
    last: isAtEnd(),
    back: review || !takeBackCount(),
    resign: game.ending || !game.length,
    review: review || !game.length,
    typed: !movable(),
  })) {
    $(id).disabled = Boolean(isDisabled);
  }
  $('show-lines').checked = state.isShowing;
}

let renderRequest = 0;

/** Shows what has changed by thinking; at most once a frame. */
function renderSoon() {
  renderRequest ||= requestAnimationFrame(() => {
    renderRequest = 0;
    renderEngine();
    renderMoves();
  });
}

function render() {
  renderBoard();
  renderEngine();
  renderMoves();
  renderPlayers();
  renderControls();
}

/** The state has changed. */
function changed() {
  drive();
  render();
  save();
}

// What the person does

function onBoardInput({ type, squareFrom, squareTo }) {
  const { game, cursor } = state;
  switch (type) {
    case INPUT_EVENT_TYPE.moveInputStarted: {
      const moves = game.movesFrom(cursor, squareFrom);
      hideTargets();
      if (!moves.length) return false;
      board.addMarker(markers.chosen, squareFrom);
      for (const to of new Set(moves.map((move) => move.to))) {
        const isCapture = moves.some((move) => move.to === to && move.captured);
        board.addMarker(isCapture ? markers.capture : markers.target, to);
      }
      return true;
    }
    case INPUT_EVENT_TYPE.validateMoveInput: {
      const moves = game.movesFrom(cursor, squareFrom).filter((move) => move.to === squareTo);
      hideTargets();
      if (!moves.length) return false;
      const move = { from: squareFrom, to: squareTo };
      // The board moves the piece when this has returned; the move is made after that.
      if (moves[0].promotion) queueMicrotask(() => choosePromotion(move));
      else queueMicrotask(() => personMoves(move) || renderBoard());
      return true;
    }
    case INPUT_EVENT_TYPE.moveInputCanceled:
      hideTargets();
      return true;
    default:
      return true;
  }
}

function choosePromotion(move) {
  const { game, cursor } = state;
  board.showPromotionDialog(move.to, game.turnAt(cursor), ({ piece }) => {
    const isStillThere = game === state.game && cursor === state.cursor;
    if (!piece || !isStillThere || !personMoves({ ...move, promotion: piece[1] })) renderBoard();
  });
}

/** A move as people type it: "e4", "Nf3", "nf3", "0-0", "e2-e4", "e7e8q". */
function readTyped(text) {
  const plain = text.trim().replaceAll('0', 'O');
  const long = text.trim().toLowerCase().replace(/[-x=]/g, '');
  const raised = plain[0]?.toUpperCase() + plain.slice(1);
  const { game, cursor } = state;
  return [plain, long, raised].find((move) => move && game.findMove(cursor, move)) ?? null;
}

$('type-move').addEventListener('submit', (event) => {
  event.preventDefault();
  const field = $('typed');
  const move = readTyped(field.value);
  if (move && personMoves(move)) {
    field.value = '';
  } else if (field.value.trim()) {
    say(`${field.value.trim()} is not a legal move.`, { isBad: true });
    field.select();
  }
});

function resign() {
  const { game, person } = state;
  if (state.mode !== 'play' || game.ending || !game.length) return;
  const before = snapshot();
  game.resign(person);
  state.clock?.stop();
  offerUndo('You have resigned.', before);
  changed();
}

function flip() {
  state.isTurned = !state.isTurned;
  changed();
}

const actions = {
  flip,
  go: goOrStop,
  first: () => goTo(0),
  prev: () => goTo(state.cursor - 1),
  next: () => goTo(state.cursor + 1),
  last: () => goTo(state.game.length),
  back: takeBack,
  resign,
  review: startReview,
  new: openNewGame,
  engine: openEngine,
  exchange: openExchange,
  'mode-play': () => setMode('play'),
  'mode-analyse': () => setMode('analyse'),
};
for (const [id, act] of Object.entries(actions)) $(id).addEventListener('click', act);
$('show-lines').addEventListener('change', ({ target }) => {
  state.isShowing = target.checked;
  changed();
});

const keys = {
  ArrowLeft: actions.prev,
  ArrowRight: actions.next,
  Home: actions.first,
  End: actions.last,
  ' ': actions.go,
  f: flip,
  n: openNewGame,
  p: openExchange,
  u: takeBack,
};
document.addEventListener('keydown', (event) => {
  const { key, target } = event;
  if (event.defaultPrevented || event.ctrlKey || event.altKey || event.metaKey) return;
  if (document.querySelector('dialog[open]') || board.isPromotionDialogShown()) return;
  if (target.matches('input, textarea, select')) return;
  if (key === ' ' && target.matches('button')) return;
  if (!keys[key]) return;
  event.preventDefault();
  keys[key]();
});

// Dialogs

const newForm = $('new-game').querySelector('form');
const paceFields = ['seconds', 'minutes', 'increment', 'depth'];

function openNewGame() {
  const { pace, person } = state;
  const { elements } = newForm;
  for (const name of paceFields) elements[name].value = pace[name];
  elements.pace.value = pace.kind;
  if (elements.side.value !== 'random') elements.side.value = person;
  elements.from.value = 'start';
  showPace();
  $('new-game').returnValue = '';
  $('new-game').showModal();
}

/** Only the fields of the chosen pace are seen and checked. */
function showPace() {
  for (const part of newForm.querySelectorAll('.pace')) {
    const isChosen = part.dataset.pace === newForm.elements.pace.value;
    part.hidden = !isChosen;
    for (const input of part.querySelectorAll('input')) input.disabled = !isChosen;
  }
}
newForm.addEventListener('change', showPace);

$('new-game').addEventListener('close', () => {
  if ($('new-game').returnValue !== 'start') return;
  const { elements } = newForm;
  const [side, from] = [elements.side.value, elements.from.value];
  const pace = { kind: elements.pace.value };
  for (const name of paceFields) pace[name] = Number(elements[name].value);
  startGame({
    person: side === 'random' ? (Math.random() < 0.5 ? 'w' : 'b') : side,
    pace,
    fen: from === 'here' ? state.game.fenAt(state.cursor) : undefined,
  });
});

const engineForm = $('engine-dialog').querySelector('form');

function openEngine() {
  if (!options) return;
  const { threads, hash } = engineForm.elements;
  $('engine-place').textContent = link.place;
  [threads.value, hash.value] = [options.threads, options.hash];
  [threads.max, hash.max] = [link.mostThreads, link.mostHash];
  $('engine-dialog').returnValue = '';
  $('engine-dialog').showModal();
}

$('engine-dialog').addEventListener('close', () => {
  if ($('engine-dialog').returnValue !== 'set') return;
  const { threads, hash } = engineForm.elements;
  state.options = { threads: Number(threads.value), hash: Number(hash.value) };
  if (link.isOpen && !isFailed) setPill('setting …');
  link.send({ type: 'options', ...state.options });
  save();
});

function showError(text) {
  $('exchange-error').textContent = text;
  $('exchange-error').hidden = !text;
}

function openExchange() {
  const { game, cursor } = state;
  $('fen').value = game.fenAt(cursor);
  $('pgn').value = game.pgn();
  showError('');
  $('exchange-dialog').showModal();
}

/** Reads what has been put in, and tells why when it can't be; the game stays then. */
function readInto(read) {
  let game;
  let text;
  try {
    ({ game, text } = read());
  } catch (error) {
    showError(error.message);
    return;
  }
  $('exchange-dialog').close();
  loadGame(game, text);
}

function setFen() {
  readInto(() => ({ game: new Game(readFen($('fen').value)), text: 'Position set.' }));
}

$('fen-set').addEventListener('click', setFen);
$('fen').addEventListener('keydown', (event) => {
  if (event.key !== 'Enter') return;
  event.preventDefault();
  setFen();
});
$('pgn-load').addEventListener('click', () => {
  readInto(() => {
    const text = $('pgn').value;
    const count = splitPgn(text).length;
    const which = count > 1 ? `Loaded the first of ${count} games.` : 'Game loaded.';
    return { game: Game.fromPgn(text), text: which };
  });
});

async function copy(field) {
  try {
    await navigator.clipboard.writeText(field.value);
  } catch {
    field.select();
    document.execCommand('copy');
  }
  say('Copied.');
}
$('fen-copy').addEventListener('click', () => copy($('fen')));
$('pgn-copy').addEventListener('click', () => copy($('pgn')));

$('pgn-save').addEventListener('click', () => {
  const anchor = make('a');
  const blob = new Blob([$('pgn').value], { type: 'application/x-chess-pgn' });
  anchor.href = URL.createObjectURL(blob);
  anchor.download = `quillon-${today().replaceAll('.', '-')}.pgn`;
  anchor.click();
  setTimeout(() => URL.revokeObjectURL(anchor.href), 10000);
});
$('pgn-file').addEventListener('click', () => $('file').click());
$('file').addEventListener('change', async ({ target }) => {
  const [file] = target.files;
  target.value = '';
  if (!file) return;
  if (file.size > 2e6) showError('This file is larger than 2 MB.');
  else {
    $('pgn').value = await file.text();
    showError('');
  }
});

setInterval(() => {
  const { clock, game } = state;
  if (!clock?.side) return;
  if (clock.left(clock.side) <= 0) {
    game.loseOnTime(clock.side);
    clock.stop();
    changed();
  }
  renderPlayers();
}, 100);
window.addEventListener('pagehide', save);

state.game.tags = tagsOf(state);
restore();
render();
link.open();
