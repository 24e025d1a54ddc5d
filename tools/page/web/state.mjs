// SPDX-License-Identifier: MIT
//
// The page's state: the game, the position on the board, and what the person has chosen. Every
// change goes through changed(): it asks the engine for what is wanted now, draws the page and
// saves the game. refresh() only draws.

import { GameTree, readGame } from '../../lib/game-tree.mjs';
import { Clock } from './clock.mjs';
import { endingOf, turnOf } from './rules.mjs';

/** Depth or seconds of the engine's moves at each strength. */
export const levels = [
  { depth: 1 },
  { depth: 2 },
  { depth: 3 },
  { depth: 4 },
  { depth: 6 },
  { depth: 8 },
  { seconds: 0.3 },
  { seconds: 2 },
];

const first = new GameTree();
export const state = {
  game: first,
  /** The position on the board. */
  node: first.root,
  /** The end of the line that is shown; in a game, the last move. */
  tip: first.root,
  /** 'play' or 'analyse' */
  mode: 'play',
  person: 'w',
  /** { kind: 'level' | 'time' | 'clock' | 'depth', level, seconds, minutes, increment, depth } */
  pace: { kind: 'level', level: 5, seconds: 1, minutes: 5, increment: 3, depth: 4 },
  clock: null,
  /** How the game has ended, if not by the rules: { result, text } at the tip, or null. */
  verdict: null,
  isAnalysing: true,
  isTurned: false,
  isShowing: true,
  areDepthsShown: false,
  /** The number of lines that analysis shows, 1 to 5. */
  lineCount: 3,
  /** How each position is searched for a report: { kind: 'time' | 'depth', seconds, depth } */
  scoring: { kind: 'time', seconds: 0.5, depth: 14 },
  hasSound: false,
  /** Where the engine runs, if the person has chosen: 'server' or 'page' */
  place: null,
  /** { hash, threads, engine } that the person has set */
  options: null,
  /** 'moves', 'why' or 'report' */
  tab: 'moves',
};

/** What isn't saved: { nodes, index } while a whole game is scored; the games of a file. */
export const passing = { review: null, library: [], libraryIndex: 0 };

let show = () => {};
let drive = () => {};
let frame = 0;

/** @param {() => void} onShow draws the page
 *  @param {() => void} onDrive makes the engine do what is wanted */
export function connect(onShow, onDrive) {
  [show, drive] = [onShow, onDrive];
}

/** Draws what the engine has changed; at most once per frame. */
export function refresh() {
  frame ||= requestAnimationFrame(() => {
    frame = 0;
    show();
  });
}

/** Lets the browser do its waiting work, so that a long task does not block it for long. */
export const pause = () => new Promise((resolve) => setTimeout(resolve));

/** The state has changed. */
export function changed() {
  drive();
  show();
  save();
}

/** The game as PGN. */
export function pgnOf() {
  const { game, tip, mode } = state;
  const ending = endAt(game.isMain(tip) ? tip : lastOf(game.root));
  if (ending || mode === 'play') game.result = ending?.result ?? '*';
  return game.toPgn();
}

/** The state as plain data for JSON; revert() restores it. */
export function snapshot() {
  const { game, clock, node, tip, ...others } = state;
  const nodes = game.nodes();
  return {
    ...others,
    pgn: pgnOf(),
    reviews: nodes.map(({ review }) => review ?? null),
    node: nodes.indexOf(node),
    tip: nodes.indexOf(tip),
    clock: clock?.record ?? null,
  };
}

export function revert(kept) {
  const { pgn, reviews, ...others } = kept;
  const game = readGame(pgn);
  const nodes = game.nodes();
  nodes.forEach((node, index) => (node.review = reviews[index]));
  const clock = kept.clock && new Clock(kept.clock);
  const [node, tip] = [nodes[kept.node], nodes[kept.tip]];
  Object.assign(state, others, { game, clock, node, tip });
}

/** Saves the state, so that a tab keeps its game when it is reloaded. */
export function save() {
  try {
    sessionStorage.setItem('board', JSON.stringify(snapshot()));
  } catch {
    // Without storage, closing the page loses the game; everything else works.
  }
}

export function restore() {
  try {
    const kept = JSON.parse(sessionStorage.getItem('board'));
    if (kept) revert(kept);
  } catch {
    sessionStorage.removeItem('board');
  }
}

/** The positions from the start of the game to this one, both included. */
export const lineOf = (node) => [state.game.root, ...state.game.pathTo(node)];
/** The end of the line that continues from a position. */
export const lastOf = (node) => state.game.lineFrom(node).at(-1) ?? node;
/** Milliseconds that a side has at a position, by the clock times in the game; null without any. */
export const clockOf = (node, side) =>
  lineOf(node).findLast((one) => one.clock !== null && turnOf(one.fen) !== side)?.clock ?? null;

export const isAtTip = () => state.node === state.tip;

/** How the game has ended at a node, or null. */
export function endAt(node) {
  return (node === state.tip && state.verdict) || endingOf(node);
}

/** Whose pieces the person may move now: 'w', 'b' or null. */
export function movable() {
  const { node, mode, person } = state;
  const turn = turnOf(node.fen);
  if (passing.review) return null;
  if (mode === 'analyse') return endingOf(node)?.isFinal ? null : turn;
  return isAtTip() && turn === person && !endAt(node) ? turn : null;
}

/** Shows another position of the game. */
export function goTo(node) {
  state.node = node;
  // A game continues from its last move, whatever position is shown.
  if (state.mode === 'analyse' && !lineOf(state.tip).includes(node)) setTip(lastOf(node));
  changed();
}

/** Sets another end of the line; the old end's verdict does not apply to it. */
export function setTip(node) {
  if (node !== state.tip) state.verdict = null;
  state.tip = node;
}

/** The node after this one on the line that is shown. */
export function nextOf(node) {
  const line = lineOf(state.tip);
  return line[line.indexOf(node) + 1] ?? node.children[0] ?? null;
}
