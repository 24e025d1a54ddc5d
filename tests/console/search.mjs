// SPDX-License-Identifier: MIT
// The lines that a search writes: reading them, and holding them against the rules of chess.

import assert from 'node:assert/strict';

const move = '[a-h][1-8][a-h][1-8][nbrq]?';
const line = `pv ((?:${move} )+)`;

// The forms of the lines. Each ends where it says; a line of moves ends with a blank. The count
// of the table's use is always 0, and the line of a helper thread leaves it out.
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

// What stands for "no move".
export const noMove = 'a1a1';

// Reads the lines of one search, the "bestmove" line last. Returns { best, ponder, infos }, each
// of infos with kind "cp", "mate" or "mated". Lines of any other form fail, but for answers to
// `isready`, which may fall between.
export function readSearch(lines) {
  const infos = [];
  let result = null;
  for (const text of lines) {
    assert.equal(result, null, `line behind the result: ${text}`);
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

// Fails unless the moves can be played one after the other.
export function checkLine(rules, moves, what) {
  const played = rules.countPlayable(moves);
  if (played < moves.length) {
    const before = moves.slice(0, played).join(' ');
    throw new Error(`${what}: ${moves[played]} is illegal after "${before}"`);
  }
}

// Fails unless the best move, the ponder move and all lines of a search are legal in the
// position of the rules and the lines are of a depth that their kind allows. mayBeEmpty: the
// search was stopped from outside, so it may have had no time for a move.
export function checkSearch(rules, search, { mayBeEmpty = false } = {}) {
  const where = rules.positionCommand();
  if (rules.legalMoves().length === 0) {
    // A mated side says so and doesn't search; a stalemated one searches to scores of 0.
    const mated = rules.result() === 'mate';
    assert.deepEqual([search.best, search.ponder], [noMove, null], where);
    if (mated) assert.deepEqual(search.infos.map(({ text }) => text), [matedLine], where);
    for (const info of mated ? [] : search.infos) {
      assert.deepEqual([info.kind, info.score, info.pv], ['cp', 0, [noMove]], where);
      assert.ok(info.helper || info.depth >= 10, info.text);
    }
    return;
  }
  if (search.best === noMove) {
    assert.ok(mayBeEmpty, `no move although there is one: ${where}`);
    assert.equal(search.ponder, null);
  } else {
    const moves = search.ponder ? [search.best, search.ponder] : [search.best];
    checkLine(rules, moves, `bestmove in ${where}`);
  }
  for (const info of search.infos) {
    checkLine(rules, info.pv, `${info.text} in ${where}`);
    if (info.kind === 'cp') assert.ok(info.helper || info.depth >= 10, info.text);
  }
}

// Sends a `go` and returns its search, read.
export async function go(engine, words, milliseconds = 60000) {
  engine.send(`go ${words}`);
  return readSearch(await engine.until(bestMovePattern, milliseconds));
}
