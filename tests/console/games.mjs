// SPDX-License-Identifier: MIT
// Whole games of the engine under test: players, and the part of a move's time that is due to the
// machine.

import assert from 'node:assert/strict';
import { monitorEventLoopDelay } from 'node:perf_hooks';
import { faults, playGame } from '../../tools/lib/referee.mjs';
import { waitsOf } from './process.mjs';
import { scaled, Talk } from './talk.mjs';

// The milliseconds by which a clock may be overstepped. The time of a move runs from the referee's
// `go` or `ponderhit` to the arrival of "bestmove". The engine checks its clock every 4096 nodes,
// and two pipes lie between it and the referee. Time that only the machine cost is added: how long
// threads of the engine and the referee waited for a processor, which the kernel counts, and the
// longest pause of the referee's event loop, for garbage collection.
const slack = 50;

const loopDelay = monitorEventLoopDelay({ resolution: 1 });
loopDelay.enable();

// Measures the waits for a processor: the sum over the engine's threads, which wait one after the
// other (the reader of commands wakes the searchers, and the first of these waits for the others
// before it answers), and the wait of the referee's main thread.
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

// Plays a game that must end by the rules and returns the result of playGame. base and increment
// are in milliseconds; sanitizer builds get more of both.
export async function play(players, { base = 1000, increment = 10, ...others } = {}) {
  const clock = { base: scaled(base), increment: Math.round(scaled(increment)) };
  const settings = { start: 'startpos', ...clock, margin: scaled(slack), watch, ...others };
  const game = await playGame({ players, ...settings });
  const { chess, ending, result, detail } = game;
  const names = players.map(({ engine }) => engine.name).join(' - ');
  assert.ok(!faults.includes(ending), `${names} ${result} by ${ending}, ${detail}: ${chess.pgn()}`);
  // Each `go` had one answer.
  for (const { engine } of players) await engine.isReady();
  return game;
}
