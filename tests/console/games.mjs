// SPDX-License-Identifier: MIT
// Whole games of the engine under test: players, and what of a move's time is the machine's.

import assert from 'node:assert/strict';
import { monitorEventLoopDelay } from 'node:perf_hooks';
import { faults, playGame } from '../../tools/lib/referee.mjs';
import { waitsOf } from './process.mjs';
import { scaled, Talk } from './talk.mjs';

// A move's time is measured from the `go` (or `ponderhit`) that the referee writes to the
// arrival of "bestmove". The clock shown to the engine is exact, but it loses on time only when it
// oversteps by more than this many milliseconds: it looks at the clock every 4096 nodes, two pipes
// lie between it and the referee, and a busy machine slows down what it runs. To this is added
// the time that the machine alone cost them: how long threads of the engine and of the referee
// waited for a processor, which the kernel counts, and the referee's longest pause (for garbage
// collection), which its event loop measures.
const slack = 50;

const loopDelay = monitorEventLoopDelay({ resolution: 1 });
loopDelay.enable();

// The waits for a processor: of the engine's threads in sum, since they wait one after the other
// (the reader of commands wakes the searchers, and the first of these waits for the others before
// it answers), and of the referee's main thread.
function watch(engine) {
  loopDelay.reset();
  const ownWait = () => waitsOf(process.pid).get(String(process.pid));
  const before = waitsOf(engine.child.pid);
  const ownBefore = ownWait();
  return () => {
    let sum = ownWait() - ownBefore + Math.min(loopDelay.max / 1e6, 10000);
    for (const [id, time] of waitsOf(engine.child.pid)) sum += time - (before.get(id) ?? time);
    return sum;
  };
}

// Starts the engine for games.
export async function startPlayer(t, { threads = 1, ponder = false } = {}) {
  const engine = await Talk.start(t);
  engine.send('setoption name Hash value 16', `setoption name Threads value ${threads}`);
  engine.send(`setoption name Ponder value ${ponder}`);
  await engine.newGame();
  engine.name = `${threads} thread(s)${ponder ? ', pondering' : ''}`;
  return { engine, ponder };
}

// Plays a game, which must end by the rules, and returns what playGame does. base and increment
// are the clock in milliseconds; sanitizer builds get more of both.
export async function play(players, { base = 1000, increment = 10, ...others } = {}) {
  const clock = { base: scaled(base), increment: Math.round(scaled(increment)) };
  const settings = { start: 'startpos', ...clock, margin: scaled(slack), watch, ...others };
  const game = await playGame({ players, ...settings });
  const { chess, ending, result, detail } = game;
  const names = players.map(({ engine }) => engine.name).join(' - ');
  assert.ok(!faults.includes(ending), `${names} ${result} by ${ending}, ${detail}: ${chess.pgn()}`);
  // Each `go` has had one answer.
  for (const { engine } of players) await engine.isReady();
  return game;
}
