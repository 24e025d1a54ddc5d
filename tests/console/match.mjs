// SPDX-License-Identifier: MIT
// A referee: plays a game between two UCI programs with clocks and pondering, and holds every
// line of the engine under test against the rules of chess.

import assert from 'node:assert/strict';
import { monitorEventLoopDelay } from 'node:perf_hooks';
import { scaled } from './engine.mjs';
import { waitsOf } from './process.mjs';
import { Rules } from './rules.mjs';
import { bestMovePattern, checkSearch, readSearch } from './search.mjs';

// A move's time is measured from the `go` (or `ponderhit`) that the referee writes to the
// arrival of "bestmove". The clock shown to the engine is exact, but it loses on time only when it
// oversteps by more than this many milliseconds: it looks at the clock every 4096 nodes, two pipes
// lie between it and the referee, and a busy machine slows down what it runs. On top comes what
// the machine is plainly to blame for: the time that threads of the engine and of the referee
// stood ready to run without a processor, which the kernel counts, and the referee's longest
// standstill (the collection of garbage), which its event loop measures.
const slack = 50;

const loopDelay = monitorEventLoopDelay({ resolution: 1 });
loopDelay.enable();

// The waits for a processor so far: of the engine's threads, in sum, since they wait one after the
// other (the reader of commands wakes the searchers, and the first of these waits for the others
// before it answers), and of the referee's main thread.
function readWaits(engine) {
  return { engine: waitsOf(engine.child.pid), own: waitsOf(process.pid).get(String(process.pid)) };
}

// What of a move's time the machine is to blame for, the waits read before it.
function machinePart(engine, before) {
  const { engine: waits, own } = readWaits(engine);
  let sum = 0;
  for (const [id, time] of waits) sum += time - (before.engine.get(id) ?? time);
  return sum + takeStandstill() + own - before.own;
}

// The longest standstill of this process since the last call, in milliseconds.
function takeStandstill() {
  const longest = loopDelay.max / 1e6;
  loopDelay.reset();
  return Number.isFinite(longest) ? Math.min(longest, 10000) : 0;
}

// One side of a game. trusted: the opponent, of which only legal best moves are asked.
export class Player {
  constructor(engine, { name, trusted = false, ponder = false }) {
    this.engine = engine;
    this.name = name;
    this.trusted = trusted;
    this.ponder = ponder;
    this.searches = 0;
    this.results = engine.count(bestMovePattern);
    this.pondered = null; // a running ponder search: its expected move, its lines once stopped
    this.standstill = 0; // the machine's part of the last search's time, in milliseconds
    this.ponderHits = 0;
    this.ponderMisses = 0;
  }

  start(words) {
    assert.equal(this.engine.count(bestMovePattern), this.results + this.searches, this.name);
    this.searches++;
    this.engine.send(`go ${words}`);
  }

  // Waits for the result of the running search and checks it in the given position. waits: what
  // readWaits said before it.
  async finish(rules, milliseconds, { waits = null, ...options } = {}) {
    const lines = await this.engine.until(bestMovePattern, milliseconds);
    if (waits) this.standstill = machinePart(this.engine, waits);
    if (this.trusted) {
      const [, best] = lines.at(-1).split(' ');
      return { best, ponder: null, infos: [] };
    }
    const search = readSearch(lines);
    checkSearch(rules, search, options);
    return search;
  }

  // Ends a ponder search whose move wasn't played. Its lines are checked later, by checkDropped,
  // so that the player doesn't pay for the referee's time.
  async stopPondering() {
    this.ponderMisses++;
    this.engine.send('stop');
    this.pondered.lines = await this.engine.until(bestMovePattern, 5000);
  }

  // Checks the lines of a dropped ponder search, if there was one. last: index of this player's
  // last move in the game, behind which the expected move would have come.
  checkDropped(rules, last) {
    if (!this.pondered?.lines) return;
    const before = new Rules();
    for (const move of rules.moves.slice(0, last + 1)) before.play(move);
    before.play(this.pondered.move);
    checkSearch(before, readSearch(this.pondered.lines), { mayBeEmpty: true });
  }

  // Every `go` so far has had exactly one answer.
  async checkAnswers() {
    this.engine.send('isready');
    const lines = await this.engine.until('readyok');
    assert.deepEqual(lines, ['readyok'], `${this.name}: nothing is written between searches`);
    assert.equal(
      this.engine.count(bestMovePattern),
      this.results + this.searches,
      this.engine.describe(`${this.name}: one "bestmove" for each go`),
    );
  }
}

// Plays a game and returns { result, plies, hits, misses, overstep, late, lateOnTheWall }. base and
// increment are the clock in milliseconds; the sanitizer builds get more of both. opening: moves
// that are played before. overstep: the longest time by which a player under test was over its
// clock, the machine's part taken off; negative if none ever was. late: how many moves were over
// the clock so, and lateOnTheWall with the machine's part.
export async function playGame(
  players,
  { base = 1000, increment = 10, maxPlies = 300, opening = [] } = {},
) {
  const rules = new Rules();
  for (const move of opening) rules.play(move);
  const clocks = [scaled(base), scaled(base)];
  const step = Math.round(scaled(increment));
  const clockWords = () =>
    `wtime ${Math.floor(clocks[0])} btime ${Math.floor(clocks[1])} winc ${step} binc ${step}`;
  let result = null;
  let overstep = -Infinity;
  let late = 0;
  let lateOnTheWall = 0;

  while (result === null && rules.moves.length < maxPlies) {
    const side = rules.turn;
    const player = players[side];
    takeStandstill();
    const waits = readWaits(player.engine);
    const started = performance.now();
    if (player.pondered && player.pondered.move === rules.moves.at(-1)) {
      // The search may have ended by itself, and its result be here already.
      player.ponderHits++;
      player.engine.send('ponderhit');
    } else {
      if (player.pondered) await player.stopPondering();
      player.engine.send(rules.positionCommand());
      player.start(clockWords());
    }
    const search = await player.finish(rules, clocks[side] + 5000, { waits });
    player.checkDropped(rules, rules.moves.length - 2);
    const used = Math.max(0, player.engine.lastAt - started);
    const margin = scaled(slack) + player.standstill;
    if (!player.trusted) {
      const over = used - clocks[side];
      overstep = Math.max(overstep, over - player.standstill);
      if (over > player.standstill) late++;
      if (over > 0) lateOnTheWall++;
      assert.ok(
        used <= clocks[side] + margin,
        player.engine.describe(
          `${player.name} lost on time at ply ${rules.moves.length}: ` +
            `${used.toFixed(1)} of ${clocks[side].toFixed(1)} ms, margin ${margin.toFixed(1)}`,
        ),
      );
    }
    player.pondered = null;
    clocks[side] = Math.max(0, clocks[side] - used) + step;
    assert.ok(rules.isLegal(search.best), `${player.name}: ${search.best} in ${rules.fen()}`);
    rules.play(search.best);
    result = rules.result();

    if (player.ponder && search.ponder && result === null) {
      rules.play(search.ponder);
      if (rules.result() === null) {
        player.engine.send(rules.positionCommand());
        player.start(`ponder ${clockWords()}`);
        player.pondered = { move: search.ponder, lines: null };
      }
      rules.undo();
    }
  }

  for (const [side, player] of players.entries()) {
    if (player.pondered) {
      await player.stopPondering();
      // The position under the search: behind this player's last move.
      player.checkDropped(rules, rules.moves.length - (side === rules.turn ? 1 : 0) - 1);
      player.pondered = null;
    }
    await player.checkAnswers();
  }
  return {
    result: result ?? 'longest',
    plies: rules.moves.length,
    hits: players.map((player) => player.ponderHits),
    misses: players.map((player) => player.ponderMisses),
    overstep,
    late,
    lateOnTheWall,
  };
}
