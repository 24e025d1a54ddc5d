// SPDX-License-Identifier: MIT
//
// A game between two engines with clocks and pondering; chess.js has the rules.

import { endOf, playUci, readPosition } from './chess.mjs';

/** Reasons for the end of a game in addition to endOf(); all but the first are faults. */
export const endings = {
  longest: 'longest game',
  time: 'time forfeit',
  illegal: 'illegal move',
  crash: 'engine has ended',
  silence: 'engine does not answer',
};
export const faults = Object.values(endings).slice(1);

/** The PGN comment of a move, from the mover's view: "+0.35/12 0.050s". */
function comment({ score, depth }, milliseconds) {
  const time = `${(milliseconds / 1000).toFixed(3)}s`;
  if (!score) return time;
  const sign = score.value < 0 ? '-' : '+';
  const size =
    score.kind === 'mate' ? `M${Math.abs(score.value)}` : (Math.abs(score.value) / 100).toFixed(2);
  return `${sign}${size}/${depth} ${time}`;
}

/** Plays a game.
 *  @param {object} game
 *  @param {{engine: import('./uci.mjs').Engine, limits?: string, ponder?: boolean,
 *      margin?: number}[]} game.players White, Black; limits are added to the clock of each `go`
 *  @param {string} game.start the words after "position": "startpos moves e2e4", "fen ..."
 *  @param {number} game.base milliseconds on each clock at the beginning
 *  @param {number} game.increment milliseconds added after each move
 *  @param {number} [game.margin] milliseconds by which a clock may be overstepped, for the delay of
 *      pipes and other processes; a player can have its own
 *  @param {number} [game.longest] half-moves after which it is a draw
 *  @param {(engine) => () => number} [game.watch] called before each move; returns a function that
 *      is called after it and returns the milliseconds that the machine cost
 *  @returns {Promise<{result: '1-0' | '0-1' | '1/2-1/2', ending: string, detail: string,
 *      chess: import('chess.js').Chess, slowest: number, hits: number[], misses: number[]}>}
 *      slowest: the most milliseconds by which a clock was overstepped, negative if none was; hits
 *      and misses: how often each player pondered on the right and on a wrong move */
export async function playGame({
  players,
  start,
  base,
  increment,
  margin = 20,
  longest = 600,
  watch = () => () => 0,
}) {
  const chess = readPosition(start);
  const moves = [];
  const clocks = [base, base];
  const expected = [null, null]; // the moves on which the players ponder
  const game = { chess, slowest: -Infinity, hits: [0, 0], misses: [0, 0] };
  const lossOf = { w: '0-1', b: '1-0' };

  const positionAfter = (list) => {
    const word = / moves /.test(start) ? ' ' : ' moves ';
    return list.length ? `${start}${word}${list.join(' ')}` : start;
  };
  const clockText = () =>
    `wtime ${Math.floor(clocks[0])} btime ${Math.floor(clocks[1])} ` +
    `winc ${increment} binc ${increment}`;

  /** Stops a ponder search and returns the milliseconds that this took. */
  async function stopPondering(side) {
    const { engine } = players[side];
    const from = performance.now();
    expected[side] = null;
    game.misses[side]++;
    engine.stop();
    await engine.result(undefined, 5000);
    return Math.max(0, engine.lastAt - from);
  }

  async function over(result, ending, detail = '') {
    for (const [side, { engine }] of players.entries()) {
      if (expected[side] && engine.isRunning) await stopPondering(side);
    }
    return { ...game, result, ending, detail };
  }

  for (;;) {
    const end = endOf(chess) ?? (moves.length >= longest ? endings.longest : null);
    if (end) return over(end === 'checkmate' ? lossOf[chess.turn()] : '1/2-1/2', end);

    const side = chess.turn() === 'w' ? 0 : 1;
    const loss = lossOf[chess.turn()];
    const { engine, limits = '', ponder = false, margin: own = margin } = players[side];
    const holdUp = watch(engine);
    let used = 0;
    let reply;
    try {
      const isHit = expected[side] !== null && expected[side] === moves.at(-1);
      if (expected[side] && !isHit) used += await stopPondering(side);
      const from = performance.now();
      if (isHit) {
        // The search may have ended by itself; then its result has been received.
        expected[side] = null;
        game.hits[side]++;
        engine.send('ponderhit');
      } else engine.begin(positionAfter(moves), `${clockText()} ${limits}`.trim());
      reply = await engine.result(undefined, clocks[side] + 5000);
      used += Math.max(0, engine.lastAt - from);
    } catch (error) {
      if (!engine.isRunning) return over(loss, endings.crash, error.message);
      if (error.isLate) return over(loss, endings.silence, error.message);
      throw error;
    }
    const held = holdUp();
    const late = used - clocks[side] - held;
    if (own < Infinity) game.slowest = Math.max(game.slowest, late);
    if (!playUci(chess, reply.best)) return over(loss, endings.illegal, reply.best);
    chess.setComment(comment(reply.info, used));
    if (late > own) {
      const times = [used, clocks[side], held].map((time) => time.toFixed(1));
      return over(loss, endings.time, `${times[0]} of ${times[1]} ms, held up ${times[2]}`);
    }
    moves.push(reply.best);
    clocks[side] = Math.max(0, clocks[side] - used) + increment;

    if (!ponder || !reply.ponder || endOf(chess) || !playUci(chess, reply.ponder)) continue;
    const goesOn = !endOf(chess);
    chess.undo();
    if (!goesOn) continue;
    expected[side] = reply.ponder;
    engine.begin(positionAfter([...moves, reply.ponder]), `ponder ${clockText()}`);
  }
}
