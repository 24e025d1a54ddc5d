// SPDX-License-Identifier: MIT
// Reads the lines that a search writes, and checks them against the rules of chess.

import assert from 'node:assert/strict';
import { Chess, playUci } from '../../tools/lib/chess.mjs';

const move = '[a-h][1-8][a-h][1-8][nbrq]?';
const line = `pv ((?:${move} )+)`;

// The forms of the lines. A PV ends with a space. The share of the hash table in use is always 0,
// and a line of a helper thread leaves it out.
const scoreLine = new RegExp(
  '^info score cp (-?\\d+) depth (\\d+) seldepth (\\d+) nodes (\\d+) time (\\d+)( hashfull 0)? ' +
    `${line}$`,
);
const mateLine = new RegExp(
  `^info score mate (-?[1-9]\\d*) depth (\\d+) nodes (\\d+) time (\\d+) ${line}$`,
);
const matedLine = 'info score mate 0';
const resultLine = new RegExp(`^bestmove (${move})(?: ponder (${move}))?$`);

export const bestMovePattern = /^bestmove /;

// The null move.
export const noMove = 'a1a1';

// Reads the lines of one search, the "bestmove" line last. Returns { best, ponder, infos }, each of
// infos with kind "cp", "mate" or "mated". Fails at lines of any other form, except for answers to
// `isready`.
export function readSearch(lines) {
  const infos = [];
  let result = null;
  for (const text of lines) {
    assert.equal(result, null, `line after the result: ${text}`);
    let match;
    if ((match = scoreLine.exec(text))) {
      const [score, depth, selDepth, nodes, time] = match.slice(1, 6).map(Number);
      const helper = match[6] === undefined;
      const pv = match[7].trimEnd().split(' ');
      infos.push({ kind: 'cp', score, depth, selDepth, nodes, time, helper, pv, text });
    } else if ((match = mateLine.exec(text))) {
      const [score, depth, nodes, time] = match.slice(1, 5).map(Number);
      const pv = match[5].trimEnd().split(' ');
      infos.push({ kind: 'mate', score, depth, nodes, time, pv, text });
    } else if (text === matedLine) {
      infos.push({ kind: 'mated', pv: [], text });
    } else if ((match = resultLine.exec(text))) {
      result = { best: match[1], ponder: match[2] ?? null };
    } else {
      assert.equal(text, 'readyok', 'a search writes only its own lines');
    }
  }
  assert.ok(result, 'a search ends with "bestmove"');
  return { ...result, infos };
}

// The position after a move as a FEN, or null if the move is illegal. chess.js is slow and searches
// repeat their lines, so positions are kept.
const known = new Map();
function fenAfter(fen, move) {
  const key = `${fen} ${move}`;
  if (!known.has(key)) {
    if (known.size > 1e5) known.clear();
    const chess = new Chess(fen);
    known.set(key, playUci(chess, move) && chess.fen());
  }
  return known.get(key);
}

function checkLine(start, moves, what) {
  let fen = start;
  for (const move of moves) {
    fen = fenAfter(fen, move);
    assert.ok(fen, `${move} is illegal: ${what} in ${start}`);
  }
}

// Fails unless the best move, the ponder move and all lines of a search are legal in a position
// and the lines have depths that are allowed. A search that was stopped may have no move. end: how
// the game has ended there, see endOf().
export function checkSearch({ fen, end }, { best, ponder, infos }) {
  if (/mate$/.test(end)) {
    // A mated side reports that and doesn't search; a stalemated one searches, with scores of 0.
    assert.deepEqual([best, ponder], [noMove, null], fen);
    if (end === 'checkmate') assert.deepEqual(infos.map(({ text }) => text), [matedLine], fen);
    else for (const { score, pv } of infos) assert.deepEqual([score, pv], [0, [noMove]], fen);
  } else {
    if (best !== noMove) checkLine(fen, ponder ? [best, ponder] : [best], 'bestmove');
    else assert.equal(ponder, null);
    for (const { pv, text } of infos) checkLine(fen, pv, text);
  }
  for (const { kind, helper, depth, text } of infos) {
    if (kind === 'cp') assert.ok(helper || depth >= 10, text);
  }
}
