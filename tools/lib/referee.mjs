// SPDX-License-Identifier: MIT
//
// A game between two engines with clocks, refereed by chess.js.

import { Chess } from 'chess.js';

/** Why a game has ended. The last four are faults of the side that lost by them. */
export const endings = {
  mate: 'checkmate',
  stalemate: 'stalemate',
  material: 'insufficient material',
  repetition: 'threefold repetition',
  fifty: 'fifty moves',
  longest: 'longest game',
  time: 'time forfeit',
  illegal: 'illegal move',
  crash: 'engine has ended',
  silence: 'engine does not answer',
};
export const faults = [endings.time, endings.illegal, endings.crash, endings.silence];

function drawOf(chess) {
  if (chess.isStalemate()) return endings.stalemate;
  if (chess.isInsufficientMaterial()) return endings.material;
  if (chess.isThreefoldRepetition()) return endings.repetition;
  if (chess.isDrawByFiftyMoves()) return endings.fifty;
  return null;
}

/** How a move's score stands in a PGN comment: "+0.35/12 0.05s", from the mover's view. */
function comment({ score, depth }, milliseconds) {
  const time = `${(milliseconds / 1000).toFixed(3)}s`;
  if (!score) return time;
  const sign = score.value < 0 ? '-' : '+';
  const size =
    score.kind === 'mate' ? `M${Math.abs(score.value)}` : (Math.abs(score.value) / 100).toFixed(2);
  return `${sign}${size}/${depth} ${time}`;
}

/** The answer to a search, or null when it takes longer than the clock and `patience` more. */
async function answer(engine, position, limits, milliseconds, patience) {
  let timer;
  const late = new Promise((resolve) => {
    timer = setTimeout(() => resolve(null), milliseconds + patience);
  });
  const search = engine.search(position, limits);
  search.catch(() => {}); // of an engine that is given up on
  try {
    return await Promise.race([search, late]);
  } finally {
    clearTimeout(timer);
  }
}

/** Plays a game.
 *  @param {object} game
 *  @param {{engine: import('./uci.mjs').UciEngine, limits?: string}[]} game.players White, Black;
 *      limits are added to the clock of each `go`
 *  @param {string} game.fen where it begins
 *  @param {number} game.base milliseconds on each clock at the beginning
 *  @param {number} game.increment milliseconds added after each move
 *  @param {number} [game.margin] milliseconds by which a clock may be overstepped: what pipes and
 *      the machine's other work take
 *  @param {number} [game.longest] half-moves after which it is a draw
 *  @returns {Promise<{result: '1-0' | '0-1' | '1/2-1/2', ending: string, chess: Chess,
 *      slowest: number}>} slowest: the largest time over a clock, in milliseconds, negative when
 *      no move was late */
export async function playGame({ players, fen, base, increment, margin = 20, longest = 600 }) {
  const chess = new Chess(fen);
  const moves = [];
  const clocks = [base, base];
  const lossOf = { w: '0-1', b: '1-0' };
  let slowest = -Infinity;
  const over = (result, ending) => ({ result, ending, chess, slowest });

  for (;;) {
    if (chess.isCheckmate()) return over(lossOf[chess.turn()], endings.mate);
    const draw = moves.length >= longest ? endings.longest : drawOf(chess);
    if (draw) return over('1/2-1/2', draw);

    const side = chess.turn() === 'w' ? 0 : 1;
    const loss = lossOf[chess.turn()];
    const { engine, limits = '' } = players[side];
    const position = `fen ${fen}${moves.length ? ` moves ${moves.join(' ')}` : ''}`;
    const clock = `wtime ${Math.floor(clocks[0])} btime ${Math.floor(clocks[1])}`;
    const go = `${clock} winc ${increment} binc ${increment} ${limits}`.trim();
    const started = performance.now();
    let reply;
    try {
      reply = await answer(engine, position, go, clocks[side], 5000);
    } catch {
      return over(loss, endings.crash);
    }
    const used = performance.now() - started;
    if (!reply) return over(loss, endings.silence);
    slowest = Math.max(slowest, used - clocks[side]);
    try {
      const [, from, to, promotion] = reply.best.match(/^([a-h][1-8])([a-h][1-8])([nbrq])?$/) ?? [];
      chess.move({ from, to, promotion });
    } catch {
      return over(loss, endings.illegal);
    }
    chess.setComment(comment(reply.info, used));
    if (used > clocks[side] + margin) return over(loss, endings.time);
    moves.push(reply.best);
    clocks[side] = Math.max(0, clocks[side] - used) + increment;
  }
}
