// SPDX-License-Identifier: MIT
//
// Several lines from an engine that prints one: the best move comes from a search of the position,
// the other moves from searches of the positions after them. All searches share the transposition
// table, so these are short: first a shallow one for every move, then deeper ones for the best.
// Quillon prints no score before depth 10, and with a limit none for a forced move. Here every line
// has a score, and every mate its true distance. Works in Node and in a web page.

import { Chess, endOf, playUci, readScore, uciMoves } from './chess.mjs';

/** The first depth for which Quillon prints a score. */
const scoreDepth = 10;
/** The share of the time that the position itself gets. */
const rootShare = 0.8;
/** Milliseconds of the first round of searches without a time limit. A round ends at six times
 *  the time at which the last one did: every search begins at depth 1, so they have to grow. */
const firstRound = 600;
const roundFactor = 6;
/** Moves that are at most so many centipawns below the lines shown take part in every round. */
const margin = 100;

/** Whether an engine is Quillon.
 *  @param {import('./conversation.mjs').Conversation} engine */
export const isQuillon = (engine) => /^Quillon\b/i.test(engine.name);

// Values are from the view of the side to move: centipawns, or `mateValue` less the plies to mate.
const mateValue = 1e6;
const isMate = (value) => Math.abs(value) > mateValue / 2;

function valueOf({ cp, mate }) {
  if (mate === undefined) return cp;
  return mate > 0 ? mateValue - 2 * mate + 1 : -mateValue - 2 * mate;
}

/** The value of a position for the side that was to move some plies earlier. */
function valueBefore(value, plies) {
  const distant = isMate(value) ? value - Math.sign(value) * plies : value;
  return plies % 2 ? -distant : distant;
}

function scoreOf(value, isBlack) {
  if (value === null) return null;
  const sign = isBlack ? -1 : 1;
  // No negative zero, which JSON and comparisons would show.
  if (!isMate(value)) return { cp: sign * value || 0 };
  return { mate: sign * Math.sign(value) * Math.ceil((mateValue - Math.abs(value)) / 2) };
}

/** Whether a shorter mate is unlikely, because the search is much deeper than the mate. */
function isShortestMate({ score, depth }) {
  if (score.kind !== 'mate') return false;
  return Math.abs(score.value) <= 1 || depth >= 2 * Math.abs(score.value) + 8;
}

/** The first words of "position". Engines score the first repetition as a draw, so they get the
 *  moves of the game only if one legal move makes a threefold repetition. */
function positionText(chess, start, moves) {
  // The third time is at least eight plies after the first.
  const isRepeatable = moves.length >= 7 && uciMoves(chess).some((move) => {
    playUci(chess, move);
    const isThird = chess.isThreefoldRepetition();
    chess.undo();
    return isThird;
  });
  return isRepeatable ? `fen ${start} moves ${moves.join(' ')}` : `fen ${chess.fen()} moves`;
}

/** The position to search for a line, as { path, legal, end }: the moves up to it, its legal moves
 *  and, if the game is over, the reason. Forced moves are played first, because a depth limit has
 *  no effect on them.
 *  @param {Chess} chess the root; it is left as it was
 *  @param {string} [first] move; none for the root itself */
function targetOf(chess, first) {
  const path = [];
  let end = null;
  let legal = uciMoves(chess);
  for (let move = first ?? (legal.length === 1 && legal[0]); move; ) {
    playUci(chess, move);
    path.push(move);
    end = endOf(chess);
    legal = end ? [] : uciMoves(chess);
    move = legal.length === 1 && legal[0];
  }
  for (let i = 0; i < path.length; i++) chess.undo();
  return { path, legal, end };
}

/** Searches a position for its best lines. With one thread and a depth, an engine with an empty
 *  table finds the same lines each time.
 *  @param {import('./conversation.mjs').Conversation} engine it is not told of a new game
 *  @param {{start: string, moves: string[]}} position a FEN, and moves from there in UCI notation;
 *      the position after them must have a legal move
 *  @param {object} [limits] without `depth` and `time`, the search goes on until it is aborted or
 *      can't find more
 *  @param {number} [limits.count] lines, 1 to 5; there are fewer where there are fewer moves
 *  @param {number} [limits.depth] plies; Quillon searches at least 10, and 11 for several lines
 *  @param {number} [limits.time] milliseconds; it takes longer until every line has a score
 *  @param {number} [limits.patience] milliseconds that the engine may take to answer after `time`
 *  @param {AbortSignal} [limits.signal] ends the search; the lines so far are the result
 *  @param {(lines: Line[]) => void} [limits.onLines] called whenever a line has changed
 *  @param {(info: object, isOfRoot: boolean) => void} [limits.onInfo] called for every "info" line of
 *      the engine, also of a search after another move
 *  @returns {Promise<Line[]>} sorted, the best line first
 *  @throws if the engine exits, doesn't answer or answers with an illegal move
 *
 *  @typedef {object} Line
 *  @property {number} rank from 1
 *  @property {?number} depth plies; it differs between lines
 *  @property {?({cp: number} | {mate: number})} score from White's view, in centipawns or moves to
 *      mate; null if the engine has printed none
 *  @property {string[]} moves in UCI notation */
export async function searchLines(engine, { start, moves }, limits = {}) {
  const { count = 1, depth, time = Infinity, patience = 10000, signal } = limits;
  const { onLines = () => {}, onInfo = () => {} } = limits;
  const began = performance.now();
  const elapsed = () => performance.now() - began;
  const chess = new Chess(start);
  for (const move of moves) playUci(chess, move);
  const isBlack = chess.turn() === 'b';
  const firstMoves = uciMoves(chess);
  const text = positionText(chess, start, moves);
  /** What is known of each line, by its first move: { value, depth, moves }. */
  const known = new Map();
  /** The first move of the best line. */
  let best = null;

  function learn(line, value, lineDepth) {
    const old = known.get(line[0]);
    // A PV from the transposition table ends where an entry has been overwritten.
    const isShorter = old && line.every((move, i) => move === old.moves[i]);
    const longest = isShorter ? old.moves : line;
    known.set(line[0], { value, depth: lineDepth, moves: longest });
  }

  /** All other moves, best first; those that aren't known come last. */
  function others() {
    const valueOfMove = (move) => known.get(move)?.value ?? -Infinity;
    const list = firstMoves.filter((move) => move !== best);
    return list.sort((a, b) => valueOfMove(b) - valueOfMove(a) || 0);
  }

  function lines() {
    const first = known.get(best);
    if (!first) return [];
    const rest = others().flatMap((move) => known.get(move) ?? []);
    // The search of the root, the deepest one, has found no better move. A mate is
    // proven at any depth.
    const capped = rest.map((line) => ({
      ...line,
      value: isMate(line.value) && line.value > 0 ? line.value : Math.min(line.value, first.value),
    }));
    return [first, ...capped]
      .sort((a, b) => b.value - a.value)
      .slice(0, count)
      .map(({ value, depth: plies, moves: line }, i) => {
        return { rank: i + 1, depth: plies, score: scoreOf(value, isBlack), moves: line };
      });
  }

  const targets = new Map();
  /** The target of a move; of the root for null. */
  function target(move) {
    if (!targets.has(move)) {
      const made = { ...targetOf(chess, move ?? undefined), depth: 0, isDone: false };
      const { path, end } = made;
      if (end) {
        made.isDone = true;
        learn(path, valueBefore(end === 'checkmate' ? -mateValue : 0, path.length), path.length);
        if (!move) [best] = path;
        onLines(lines());
      }
      targets.set(move, made);
    }
    return targets.get(move);
  }

  /** Searches the target of a move until the engine ends. "infinite" ends at the depth, at a mate
   *  or after the milliseconds, but not without a score. */
  async function search(move, limit, ms = Infinity, most = Infinity) {
    const that = target(move);
    if (that.isDone || signal?.aborted) return;
    let isStopped = false;
    let isLate = false;
    const stop = () => {
      isStopped = true;
      engine.stop();
    };
    const late = () => {
      isLate = true;
      if (that.depth) stop();
    };
    const note = (info) => {
      onInfo(info, !move);
      // The line that comes after "stop" has an incomplete depth.
      const isIncomplete = isStopped && that.depth;
      if (isIncomplete || !info.score || info.score.bound || (info.multipv ?? 1) > 1) return;
      if (!that.legal.includes(info.pv?.[0]) || !(info.depth >= that.depth)) return;
      that.depth = info.depth;
      const value = valueOf(readScore(info.score, { isQuillon: isQuillon(engine) }));
      const { path } = that;
      learn([...path, ...info.pv], valueBefore(value, path.length), path.length + info.depth);
      if (!move) best = path[0] ?? info.pv[0];
      onLines(lines());
      that.isDone = limit === 'infinite' && isShortestMate(info);
      if (limit === 'infinite' && (isLate || info.depth >= most || that.isDone)) stop();
    };
    const timer = ms < Infinity && setTimeout(late, ms);
    signal?.addEventListener('abort', stop);
    const place = [text, ...that.path].join(' ').replace(/ moves$/, '');
    const mostTime = time < Infinity ? Math.max(0, time - elapsed()) + patience : Infinity;
    try {
      const result = await engine.search(place, limit, note, mostTime);
      if (!that.legal.includes(result.best)) {
        throw new Error(`${engine.name} answers "${result.best}", which is not a legal move`);
      }
      if (limit === 'infinite' && !isStopped) that.isDone = true;
      const first = that.path[0] ?? result.best;
      if (!move && first !== best) {
        // A stopped search may have found another move after its last PV, or printed none.
        const { value = null, depth: plies = null } = known.get(best) ?? {};
        const line = [...that.path, result.best, ...(result.ponder ? [result.ponder] : [])];
        known.set(first, { value, depth: plies, moves: known.get(first)?.moves ?? line });
        best = first;
        onLines(lines());
      }
    } finally {
      clearTimeout(timer);
      signal?.removeEventListener('abort', stop);
    }
  }

  async function searchAllToDepth() {
    const least = isQuillon(engine) ? scoreDepth : 1;
    const searchToDepth = async (move, plies) => {
      const { path, depth: reached } = target(move);
      const own = Math.max(least, plies - path.length);
      if (reached < own) await search(move, `depth ${own}`);
    };
    // No other move may be searched deeper than the best one.
    const deepest = count > 1 ? Math.max(depth, least + 1) : depth;
    await searchToDepth(null, deepest);
    if (count === 1) return;
    for (const move of others()) await searchToDepth(move, Math.max(deepest - 4, least + 1));
    // One more than is shown, since deeper searches change the order.
    const tried = new Set();
    const next = () => others().find((move, i) => i < count && !tried.has(move));
    for (let move = next(); move && !signal?.aborted; move = next()) {
      tried.add(move);
      await searchToDepth(move, deepest);
    }
  }

  /** One round of the other moves: shallow searches first, then the rest of the time for the lines
   *  shown and the next one. */
  async function searchOthers(until, round) {
    const isMissing = () => known.size < Math.min(count, firstMoves.length);
    const isOver = () => signal?.aborted || (elapsed() >= until && !isMissing());
    const plies = scoreDepth + round;
    for (const move of others()) {
      if (isOver()) return;
      const shown = known.get(others()[count - 2]) ?? { value: -Infinity };
      const { value, depth: reached } = known.get(move) ?? { value: Infinity, depth: 0 };
      if (reached > plies || value < shown.value - margin) continue;
      await search(move, 'infinite', until - elapsed(), plies);
    }
    const tried = new Set();
    for (;;) {
      const left = others().filter((move, i) => i < count && !tried.has(move));
      if (!left.length || isOver()) return;
      tried.add(left[0]);
      await search(left[0], 'infinite', (until - elapsed()) / left.length);
    }
  }

  async function searchInRounds() {
    let end = Math.min(time, firstRound);
    // Short rounds at first, so that the last one ends when the time is up.
    if (time < Infinity) for (end = time; end >= roundFactor * firstRound; ) end /= roundFactor;
    await search(null, 'infinite', end * (1 - rootShare));
    for (let round = 0; !signal?.aborted; round++) {
      const root = target(null);
      await searchOthers(end - (root.isDone ? 0 : rootShare * (end - elapsed())), round);
      if (end > elapsed()) await search(null, 'infinite', end - elapsed());
      const isDone = [null, ...others().slice(0, count)].every((move) => target(move).isDone);
      if (isDone || elapsed() >= time - 1) return;
      end = Math.min(time, end * roundFactor);
    }
  }

  if (depth) await searchAllToDepth();
  else if (count === 1 || firstMoves.length === 1) await search(null, 'infinite', time);
  else await searchInRounds();
  return lines();
}
