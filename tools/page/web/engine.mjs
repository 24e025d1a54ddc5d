// SPDX-License-Identifier: MIT
//
// The page's side of the engine: what it should be doing, what it has found, and whether it runs.

import { Link } from './link.mjs';
import { say } from './messages.mjs';
import { makeMove, runClock } from './play.mjs';
import { scoreNext } from './report.mjs';
import { endingOf, positionAt, readLine, turnOf } from './rules.mjs';
import { scoreText } from './score.mjs';
import { changed, endAt, levels, lineOf, passing, refresh, state } from './state.mjs';

/** Milliseconds of its clock that the engine isn't told about, for the delay of the connection. */
const clockMargin = 30;
const mostDepths = 40;

export const engine = {
  name: 'Quillon',
  /** What the page shows about it: its name or what is wrong, and its options. */
  news: 'starting …',
  details: '',
  isBad: false,
  isFailed: false,
  /** { hash, threads, engine } that it has, once it has started. */
  options: null,
  /** The names of the engines to choose from; `options.engine` is an index. */
  choices: [],
  /** The search under way: { id, key, kind, node }, or null. */
  search: null,
  /** What the page shows of the last search: { node, lines: [{ score, depth, moves, text }],
   *  depths, stats }, the best line first; `depths` has the best line of each depth. */
  thinking: null,
  /** The key of a search that has ended by itself. */
  finished: null,
};
let searchCount = 0;
let forgetFailure = () => {};
/** Functions that wait for an explanation, by its number. */
const explaining = new Map();
let explainCount = 0;

function paceLimits() {
  const { pace, clock } = state;
  const { seconds, depth } = pace.kind === 'level' ? levels[pace.level - 1] : pace;
  if (pace.kind === 'clock' && clock) {
    const told = (side) => Math.max(1, Math.round(clock.left(side)) - clockMargin);
    const increment = Math.round(clock.increment);
    return { kind: 'clock', wtime: told('w'), btime: told('b'), winc: increment, binc: increment };
  }
  const isDeep = pace.kind === 'depth' || (pace.kind === 'level' && depth);
  return isDeep ? { kind: 'depth', depth } : timeLimits(seconds);
}

const timeLimits = (seconds) => ({
  kind: 'movetime',
  movetime: Math.max(10, Math.round(seconds * 1000)),
});

/** What the engine should be doing now, or null. */
function wanted() {
  const { node, tip, mode, person, isAnalysing, lineCount } = state;
  const { review } = passing;
  let task = null;
  if (review) {
    const { kind, depth, seconds } = state.scoring;
    const limits = kind === 'depth' ? { kind, depth } : timeLimits(seconds);
    task = { kind: 'review', node: review.nodes[review.index], limits, lines: 1 };
  } else if (mode === 'play') {
    const isEngineTurn = !endAt(tip) && turnOf(tip.fen) !== person;
    if (isEngineTurn) task = { kind: 'move', node: tip };
  } else if (isAnalysing && !endingOf(node)?.isFinal) {
    task = { kind: 'analysis', node, limits: { kind: 'infinite' }, lines: lineCount };
  }
  if (!task) return null;
  task.position = positionAt(task.node);
  task.key = JSON.stringify([task.kind, task.node.id, task.lines, task.position]);
  return task.key === engine.finished ? null : task;
}

/** Cancels and forgets the engine's search, whose nodes belong to another game. */
export function forgetSearch() {
  Object.assign(engine, { search: null, thinking: null, finished: null });
  link.send({ type: 'cancel' });
}

/** Makes the engine do what is wanted. */
export function drive() {
  if (!link.isOpen) return;
  const task = wanted();
  if (task?.key === engine.search?.key) return;
  if (!task) {
    engine.search = null;
    link.send({ type: 'cancel' });
    return;
  }
  const { key, kind, node, position, lines, limits = paceLimits() } = task;
  engine.search = { id: ++searchCount, key, kind, node };
  engine.thinking = { node, lines: [], depths: [], stats: {} };
  link.send({ type: 'search', id: searchCount, ...position, limits, lines });
}

function takeInfo({ lines: all, ...stats }) {
  const lines = all.filter(({ score }) => score);
  const { node } = engine.search;
  const { thinking } = engine;
  if (stats.nodes !== undefined) thinking.stats = stats;
  if (!lines.length) return;
  thinking.lines = lines.map(({ score, depth, moves }) => {
    const line = readLine(node.fen, moves);
    const text = line.map(({ number, san }) => (number ? `${number} ${san}` : san)).join(' ');
    return { score, depth, moves: line, text };
  });
  const [best] = thinking.lines;
  node.score = { ...best.score, depth: best.depth };
  const { depths } = thinking;
  const [last] = depths;
  const isSame = last?.text === best.text && scoreText(last.score) === scoreText(best.score);
  if (isSame || last?.depth === best.depth) depths[0] = best;
  else depths.unshift(best);
  depths.length = Math.min(depths.length, mostDepths);
  refresh();
}

/** The score of the position after the expected move. */
function scoreAfter({ mate, ...others }, side) {
  const isOwnMate = side === 'w' ? mate > 0 : mate < 0;
  return mate === undefined
    ? others
    : { ...others, mate: isOwnMate ? mate - Math.sign(mate) : mate };
}

function takeBest({ move }) {
  const { kind, key, node } = engine.search;
  const [line] = engine.thinking.lines;
  engine.search = null;
  if (kind === 'review') {
    scoreNext(line ?? { score: null, moves: readLine(node.fen, [move]) });
  } else if (kind === 'analysis') {
    engine.finished = key;
  } else if (!makeMove(node, move)) {
    engine.finished = key;
    say(`${engine.name} has no move; take a move back or start a new game.`, { isBad: true });
  } else if (line?.moves[0]?.uci === move && !endAt(state.tip)) {
    state.tip.score = scoreAfter(node.score, turnOf(node.fen));
  }
  changed();
}

function setNews(news, isBad = false, details = '') {
  Object.assign(engine, { news, isBad, details });
}

function takeEngineState({ state: news, name, text, hash, threads, engines, engine: index }) {
  engine.options = { hash, threads, engine: index };
  engine.choices = engines;
  engine.isFailed = news === 'failed';
  forgetFailure();
  if (name) engine.name = name.replace(/ version /i, ' ');
  if (news === 'restarting') {
    setNews('restarting …', true);
  } else if (engine.isFailed) {
    setNews('engine stopped', true);
    const act = () => link.send({ type: 'restart' });
    const more = { isBad: true, label: 'Restart', act };
    forgetFailure = say(`The engine keeps stopping: ${text}.`, more);
  } else {
    const threadsText = threads === 1 ? '1 thread' : `${threads} threads`;
    setNews(engine.name, false, ` (${link.kind}), ${threadsText}, ${hash} MB`);
    if (news === 'restarted') {
      say(
        `${engine.name} stopped and was restarted${engine.search ? '; the search goes on' : ''}.`,
      );
    }
  }
  refresh();
}

function takeMessage(message) {
  const isOwn = message.id === engine.search?.id;
  switch (message.type) {
    case 'engine':
      takeEngineState(message);
      break;
    case 'info':
      if (isOwn) takeInfo(message);
      break;
    case 'best':
      if (isOwn) takeBest(message);
      break;
    case 'explained':
      explaining.get(message.id)?.(message.explanation);
      explaining.delete(message.id);
      break;
    case 'error':
      say(`The server reports: ${message.text}.`, { isBad: true });
      break;
    default: // from a newer server
  }
}

/** Asks for the explanation of a position, or of the change between two.
 *  @param {string[]} fens one or two
 *  @returns {Promise<object>} as `quillon_explain --json` prints it; { error } when there is none
 */
export function explain(fens) {
  if (!link.isOpen) return Promise.resolve({ error: 'The engine is not connected.' });
  const id = ++explainCount;
  link.send({ type: 'explain', id, fens });
  return new Promise((resolve) => explaining.set(id, resolve));
}

/** Ends the engine's search, and everything that waits for the engine. */
function lose() {
  engine.search = null;
  for (const settle of explaining.values()) settle({ error: 'The engine is not connected.' });
  explaining.clear();
  state.clock?.stop();
}

const handlers = {
  onMessage: takeMessage,
  onOpen() {
    setNews('starting …');
    if (state.options) link.send({ type: 'options', ...state.options });
    runClock();
    drive();
    refresh();
  },
  onLost() {
    setNews('offline', true);
    lose();
    refresh();
  },
  onRefused(text) {
    setNews('no engine', true);
    engine.search = null;
    const more = { isBad: true, label: 'Try again', act: () => link.open() };
    say(`${text[0].toUpperCase()}${text.slice(1)}.`, more);
    refresh();
  },
};

/** Where the engine can run: 'server', 'page'. */
export const places = { own: ['page'], both: ['server', 'page'] }[
  document.documentElement.dataset.engine
] ?? ['server'];
export let link = new Link(handlers);

/** Connects the page to the engine, wherever the person has chosen to run it. */
export async function openLink() {
  link.close();
  lose();
  const place = places.includes(state.place) ? state.place : places[0];
  const Kind = place === 'page' ? (await import('./own-engine.mjs')).OwnEngine : Link;
  link = new Kind(handlers);
  link.open();
}

/** Sets where the engine runs; it starts with the default options of that place. */
export function setPlace(place) {
  if (place === link.place) return;
  Object.assign(state, { place, options: null });
  Object.assign(engine, { options: null, choices: [], finished: null });
  openLink();
}

/** Sets threads, hash and the choice of the engine. */
export function setOptions(options) {
  const { options: own } = engine;
  if (own && Object.keys(own).every((name) => options[name] === own[name])) return;
  // Another engine may find something else.
  if (own && options.engine !== own.engine) engine.finished = null;
  state.options = options;
  if (link.isOpen && !engine.isFailed) setNews('applying the settings …');
  link.send({ type: 'options', ...options });
}

/** The last known score at the position on the board or before it. */
export function scoreNow() {
  return lineOf(state.node).findLast(({ score }) => score)?.score ?? null;
}
