// SPDX-License-Identifier: MIT
//
// Finds positions of games that ask for one move: tactical shots and mates, first by a quick look
// of an engine that judges, then by a long one.

import { Chess, readScore } from './chess.mjs';

const won = 30000;

/** A score of the mover as one number; a nearer mate is worth more.
 *  @param {{cp: number} | {mate: number}} score */
export function worth(score) {
  if (!('mate' in score)) return score.cp;
  return score.mate > 0 ? won - score.mate : -won - score.mate;
}

/** Lets an engine compare the best moves of a position.
 *  @param {import('./uci.mjs').Engine} engine with the option MultiPV set to 2
 *  @param {string} fen
 *  @param {number} depth
 *  @param {number} [nodes] it is given up after so many
 *  @returns {Promise<{move: string, score: object, depth: number}[]>} the best first; one only
 *      where there is one legal move, none when the depth wasn't reached */
export async function judge(engine, fen, depth, nodes) {
  const byDepth = new Map();
  const limits = `depth ${depth}${nodes ? ` nodes ${nodes}` : ''}`;
  await engine.search(`fen ${fen}`, limits, (info) => {
    if (!info.score || info.score.bound || !info.pv) return;
    const lines = byDepth.get(info.depth) ?? [];
    const line = { move: info.pv[0], score: readScore(info.score), depth: info.depth };
    lines[(info.multipv ?? 1) - 1] = line;
    byDepth.set(info.depth, lines);
  });
  return (byDepth.get(depth) ?? []).filter(Boolean);
}

/** Whether two judged moves make a record.
 *  @param {{move: string, score: object}[]} lines of `judge`
 *  @param {object} wanted
 *  @param {'tactics' | 'mates'} wanted.kind
 *  @param {number} wanted.gap centipawns between the best move and the second
 *  @param {[number, number]} wanted.mates fewest and most moves of a mate */
export function isClear(lines, { kind, gap, mates }) {
  const [best, second] = lines;
  if (!second) return false;
  if (kind === 'mates') {
    const moves = best.score.mate ?? 0;
    const other = second.score.mate ?? 0;
    return moves >= mates[0] && moves <= mates[1] && !(other > 0 && other <= moves);
  }
  // A move that decides: it doesn't lose, and the second doesn't win as well. Mates are the other
  // kind of record.
  const [high, low] = [worth(best.score), worth(second.score)];
  return high < won - 100 && high >= -50 && low <= 300 && high - low >= gap;
}

/** Whether a move only takes back what has just been taken.
 *  @param {import('chess.js').Move | undefined} before the move that led to the position
 *  @param {string} move in the engine protocol's notation */
export function isRecapture(before, move) {
  return Boolean(before?.isCapture()) && before.to === move.slice(2, 4);
}

/** Looks deeper and deeper whether a move stays the one clear move. What doesn't last is gone long
 *  before the last depths, which take nearly all time.
 *  @returns {Promise<?object[]>} the lines of the last look, null when the move doesn't stay */
async function confirm(engine, fen, move, wanted) {
  const { quick, depth, nodes, isAlone } = wanted;
  const steps = [1 / 4, 1 / 2, 1];
  let lines = null;
  for (const part of steps) {
    const step = Math.round(quick + part * (depth - quick));
    if (part === 1 && isAlone) {
      const [, second] = lines;
      engine.setOption('MultiPV', 1);
      const best = await judge(engine, fen, step, nodes);
      engine.setOption('MultiPV', 2);
      lines = best.length ? [best[0], second] : [];
    } else lines = await judge(engine, fen, step, Math.ceil(part * part * nodes));
    if (!isClear(lines, wanted) || lines[0].move !== move) return null;
  }
  return lines;
}

/** Looks for the first position of a game that makes a record.
 *  @param {import('./uci.mjs').Engine} engine
 *  @param {ReturnType<typeof import('./chess.mjs').readGames>[number]} game
 *  @param {object} wanted as `isClear` takes it, and:
 *  @param {number} wanted.depth of the long look
 *  @param {number} wanted.quick depth of the quick look
 *  @param {number} wanted.hard the judge mustn't prefer the move at this depth already; 0 takes
 *      easy ones too
 *  @param {number} wanted.nodes after which the last look is given up, those before it earlier
 *  @param {boolean} wanted.isAlone the last look is at the best move only; the second is known from
 *      half the way
 *  @param {(fen: string) => boolean} wanted.isNew whether a position may be taken
 *  @param {(mate: number) => boolean} wanted.hasRoom whether a mate of that length is still wanted
 *  @returns {Promise<?{fen: string, ply: number, move: string, san: string, score: object,
 *      depth: number}>} ply: half-moves played before it; null when there is none */
export async function findRecord(engine, game, wanted) {
  // Mates stand at the end of games; before it, looking for them is only lost time.
  const begin = wanted.kind === 'mates' ? Math.max(0, game.moves.length - 40) : 0;
  for (let ply = begin; ply < game.moves.length; ply++) {
    const fen = game.moves[ply].before;
    if (!wanted.isNew(fen)) continue;
    const trivial = ({ move }) => isRecapture(game.moves[ply - 1], move);
    const room = ([{ score }]) => !score.mate || wanted.hasRoom(score.mate);

    const first = await judge(engine, fen, wanted.quick);
    if (!isClear(first, wanted) || trivial(first[0]) || !room(first)) continue;
    if (wanted.hard) {
      await engine.newGame();
      const [easy] = await judge(engine, fen, wanted.hard);
      if (easy?.move === first[0].move) continue;
    }
    await engine.newGame();
    const lines = await confirm(engine, fen, first[0].move, wanted);
    if (!lines || !room(lines)) continue;
    const { move, score, depth } = lines[0];
    const { san } = new Chess(fen).move(move);
    return { fen, ply, move, san, score, depth };
  }
  return null;
}
