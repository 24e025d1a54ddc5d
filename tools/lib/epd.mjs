// SPDX-License-Identifier: MIT
//
// Records of test positions (EPD): a position of four fields, then operations such as "bm Nf3;".

import { Chess, playMove, readFen } from './chess.mjs';

/** Reads one line.
 *  @param {string} line a position, perhaps with its two counters, then operations; the last
 *      semicolon may be missing
 *  @returns {{fen: string, operations: Map<string, string>}} operands without quotes
 *  @throws if the position is illegal or an operation isn't complete */
export function parseEpd(line) {
  const [, fields, rest] = line.trim().match(/^(\S+(?:\s+\S+){0,3})\s*(.*)$/) ?? [null, '', ''];
  const counters = rest.match(/^(\d+)\s+(\d+)(?=\s|$)\s*/);
  const operations = new Map();
  let text = rest.slice(counters?.[0].length ?? 0);
  while (text) {
    const match = text.match(/^([A-Za-z]\w*)((?:\s+(?:"[^"]*"|[^\s";]+))*)\s*(?:;\s*|$)/);
    if (!match) throw new Error(`not an operation: ${text}`);
    operations.set(match[1], match[2].trim().replace(/^"(.*)"$/, '$1'));
    text = text.slice(match[0].length);
  }
  const half = counters?.[1] ?? operations.get('hmvc') ?? '0';
  const full = counters?.[2] ?? operations.get('fmvn') ?? '1';
  return { fen: readFen(`${fields} ${half} ${full}`).fen(), operations };
}

/** The moves of an operand such as "Nf3 O-O".
 *  @param {string} fen
 *  @param {string} text moves as people write them, with or without "+", "#", "!"
 *  @returns {Set<string>} in UCI notation
 *  @throws if one of them isn't legal */
export function movesOf(fen, text) {
  const moves = new Set();
  for (const word of text.split(/[\s,]+/).filter(Boolean)) {
    const move = playMove(new Chess(fen), word);
    if (!move) throw new Error(`${word} is not a legal move`);
    moves.add(move.lan);
  }
  return moves;
}

/** What a record asks of an engine.
 *  @param {{fen: string, operations: Map<string, string>}} record
 *  @returns {{best: ?Set<string>, avoid: ?Set<string>, mate: ?number}} moves of "bm" and "am" in
 *      UCI notation, and the number of moves of "dm"
 *  @throws if it has no task, or an invalid one */
export function taskOf({ fen, operations }) {
  const task = { best: null, avoid: null, mate: null };
  for (const [name, key] of [['bm', 'best'], ['am', 'avoid']]) {
    if (!operations.has(name)) continue;
    task[key] = movesOf(fen, operations.get(name));
    if (!task[key].size) throw new Error(`"${name}" names no move`);
  }
  if (operations.has('dm')) {
    task.mate = Number(operations.get('dm'));
    if (!Number.isSafeInteger(task.mate) || task.mate < 1) {
      throw new Error(`"dm" takes a number of moves, not "${operations.get('dm')}"`);
    }
  }
  if (!task.best && !task.avoid && !task.mate) throw new Error('no "bm", "am" or "dm"');
  return task;
}
