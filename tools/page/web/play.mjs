// SPDX-License-Identifier: MIT
//
// The person's actions: moves, taking back, new games, loading games.

import { GameTree } from '../../lib/game-tree.mjs';
import { Clock } from './clock.mjs';
import { engine, forgetSearch, link } from './engine.mjs';
import { say } from './messages.mjs';
import { endingOf, findMove, nameOf, otherSide, timeOver, turnOf } from './rules.mjs';
import {
  changed,
  clockOf,
  endAt,
  lastOf,
  lineOf,
  movable,
  passing,
  revert,
  setTip,
  snapshot,
  state,
} from './state.mjs';

/** Plays a move for the side to move; a move that differs from the game's starts a variation.
 *  @returns {boolean} false for an illegal move, which changes nothing */
export function makeMove(node, move) {
  const { clock } = state;
  const side = turnOf(node.fen);
  if (!findMove(node.fen, move)) return false;
  const isTimed = state.mode === 'play' && clock;
  // The clocks start with the first move.
  if (isTimed && clock.side === side) clock.moved(side);
  const next = state.game.play(node, move);
  if (isTimed) next.clock = clock.left(side);
  if (state.mode === 'play' || !lineOf(state.tip).includes(next)) setTip(lastOf(next));
  if (state.node === node) state.node = next;
  runClock();
  return true;
}

/** Starts the clock of the side to move, if any should run. */
export function runClock() {
  const { clock, mode, tip } = state;
  if (!clock) return;
  clock.stop();
  if (mode === 'play' && tip.parent && !endAt(tip) && link.isOpen) clock.start(turnOf(tip.fen));
}

/** A person's move.
 *  @returns {boolean} */
export function personMoves(move) {
  if (!movable() || !makeMove(state.node, move)) return false;
  changed();
  return true;
}

/** Offers to undo a change. */
function offerUndo(text, before) {
  const act = () => {
    passing.review = null;
    const { isShowing, place, options, hasSound, lineCount } = state;
    revert({ ...before, isShowing, place, options, hasSound, lineCount });
    forgetSearch();
    runClock();
    changed();
  };
  say(text, { label: 'Undo', act });
}

function takeBackCount() {
  const { node, tip, mode, person } = state;
  if (mode === 'analyse') return node.parent ? 1 : 0;
  // The person's last move is taken back, and the engine's answer to it.
  const count = turnOf(tip.fen) === person ? 2 : 1;
  return lineOf(tip).length > count ? count : 0;
}

export const canTakeBack = () => !passing.review && takeBackCount() > 0;

/** Takes back the last move and what follows from it. */
export function takeBack() {
  const count = takeBackCount();
  if (!count || passing.review) return;
  if (state.mode === 'analyse') {
    removeMove(state.node);
    return;
  }
  const { clock } = state;
  const line = lineOf(state.tip);
  state.game.remove(line.at(-count));
  const tip = line.at(-count - 1);
  state.verdict = null;
  Object.assign(state, { node: tip, tip });
  engine.finished = null;
  if (clock) {
    const left = (side) => clockOf(tip, side) ?? clock.base;
    state.clock = new Clock({ ...clock.record, w: left('w'), b: left('b') });
    runClock();
  }
  changed();
}

/** Removes a move and all that follows from it. */
export function removeMove(node) {
  const isMore = node.children.length > 0 || node.comment;
  const before = isMore ? snapshot() : null;
  const isShown = lineOf(state.node).includes(node);
  const isOnLine = lineOf(state.tip).includes(node);
  state.game.remove(node);
  if (isShown) state.node = node.parent;
  if (isOnLine) setTip(lastOf(node.parent));
  engine.finished = null;
  if (before) offerUndo(`${node.san} and the moves after it were removed.`, before);
  changed();
}

const today = () => {
  const date = new Date();
  const pad = (number) => String(number).padStart(2, '0');
  return `${date.getFullYear()}.${pad(date.getMonth() + 1)}.${pad(date.getDate())}`;
};

/** Lets the person save a text as a file. */
export function saveFile(ending, text) {
  const anchor = document.createElement('a');
  const types = { pgn: 'application/x-chess-pgn', html: 'text/html' };
  anchor.href = URL.createObjectURL(new Blob([text], { type: types[ending] }));
  anchor.download = `quillon-${today().replaceAll('.', '-')}.${ending}`;
  anchor.click();
  setTimeout(() => URL.revokeObjectURL(anchor.href), 10000);
}

export function tagsOf({ person, pace }) {
  const names = { [person]: 'Human', [otherSide(person)]: engine.name };
  const tags = { Event: 'Casual game', Date: today(), White: names.w, Black: names.b };
  if (pace.kind === 'clock') {
    tags.TimeControl = `${Math.round(pace.minutes * 60)}+${pace.increment}`;
  }
  return tags;
}

/** Starts another game, and offers to undo that. */
function replaceGame(text, settings) {
  const isWorth = state.game.root.children.length || settings.mode === 'analyse';
  const before = isWorth ? snapshot() : null;
  passing.review = null;
  forgetSearch();
  Object.assign(state, { verdict: null, clock: null }, settings);
  link.send({ type: 'newgame' });
  if (before) offerUndo(text, before);
  changed();
}

export function startGame({ person, pace, fen }) {
  const game = new GameTree(fen, tagsOf({ person, pace }));
  const times = { base: pace.minutes * 60000, increment: pace.increment * 1000 };
  const clock = pace.kind === 'clock' ? new Clock(times) : null;
  const [node, tip] = [game.root, game.root];
  const isTurned = person === 'b';
  const settings = { game, clock, person, pace, node, tip, mode: 'play', isTurned, tab: 'moves' };
  replaceGame('New game started.', settings);
}

/** Takes a game or a position that came from outside, for analysis. */
export function loadGame(game, text) {
  // If the engine was not analysing before, it does not start now.
  const isAnalysing = state.mode === 'analyse' && state.isAnalysing;
  const tip = game.lineFrom().at(-1) ?? game.root;
  const texts = { '1-0': 'White has won', '0-1': 'Black has won', '1/2-1/2': 'A draw' };
  const { result } = game;
  const verdict = !endingOf(tip) && texts[result] ? { result, text: texts[result] } : null;
  replaceGame(text, { game, verdict, node: game.root, tip, mode: 'analyse', isAnalysing });
}

export function setMode(mode) {
  if (mode === state.mode && !passing.review) return;
  passing.review = null;
  engine.finished = null;
  state.mode = mode;
  if (mode === 'play') state.node = state.tip;
  else state.isAnalysing = true;
  runClock();
  changed();
}

/** The button that stops the engine or starts it again. */
export function goOrStop() {
  if (passing.review) {
    passing.review = null;
  } else if (state.mode === 'play') {
    if (engine.search) link.send({ type: 'stop' });
    return;
  } else {
    state.isAnalysing = !(state.isAnalysing && engine.search);
    engine.finished = null;
  }
  changed();
}

export function resign() {
  const { person, tip } = state;
  if (state.mode !== 'play' || endAt(tip) || !tip.parent) return;
  const before = snapshot();
  const winner = otherSide(person);
  state.verdict = { result: winner === 'w' ? '1-0' : '0-1', text: `${nameOf(person)} resigns` };
  state.clock?.stop();
  offerUndo('You have resigned.', before);
  changed();
}

/** Checks whether a side has run out of time. */
export function watchClock() {
  const { clock, tip } = state;
  if (!clock?.side || clock.left(clock.side) > 0) return;
  state.verdict = timeOver(tip.fen, clock.side);
  clock.stop();
  changed();
}
