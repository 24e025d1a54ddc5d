// SPDX-License-Identifier: MIT
//
// The numbers of the evaluation as text: the tables in the source, in the transcription
// tests/data/evaluation.txt and in docs/evaluation.md. Used by dev/adopt-tables and by the test of
// the document.

import assert from 'node:assert/strict';

// Numbers of eval.h that the tuner leaves alone: name and number of entries.
const fixedNumbers = [['pieceValuePhase', 6], ['GAMEPHASEMAXMG', 1], ['GAMEPHASEMINEG', 1]];

/**
 * The list EVALTABLES of eval.h: for each table its name as it is printed, the C++ variable and the
 * place of its first entry there, the number of entries, and which of them are tuned.
 */
export function tableList(header) {
  const size = (shape) => [...shape.matchAll(/\[(\w+)\]/g)]
    .reduce((product, [, n]) => product * (n === 'NOFSQUARES' ? 64 : Number(n)), 1);
  const rows = /\b(TABLE|SQUARES)\((\w+), *([[\w\]]*), *(\d+), *(\d+), (\w+)\)/g;
  return [...header.matchAll(rows)].map(([, macro, name, middle, first, tuned]) => ({
    ...(macro === 'TABLE'
      ? { name: name + middle, variable: name, start: 0, size: size(middle) }
      : { name: `pieceSquareScore ${name}`, variable: 'pieceSquareScore', start: 64 * middle,
        size: 64 }),
    first: Number(first),
    tuned: Number(tuned),
  }));
}

// A comment, a pair, or a plain number with the spaces before it.
const token = /\/\/.*|X\( *(-?\d+), *(-?\d+)\)|( *)(-?\d+)/g;
const definition = /^(?:TCONST combEval|constexpr \w+) (\w+)(?:\[\w+\])* = ([^;]*);/gm;

/** Variable -> entries of all definitions in C++ source or in the tuner's output; the last wins. */
export function definitions(source) {
  return new Map([...source.matchAll(definition)].map(([, name, text]) => [name,
    [...text.matchAll(token)].filter(([match]) => !match.startsWith('//'))
      .map(([, mg, eg, , number]) => (mg ? [Number(mg), Number(eg)] : [Number(number)]))]));
}

/** Name -> entries of all tables and fixed numbers, from the two source files. */
export function tablesOfSource(header, source) {
  const inSource = definitions(source);
  const inHeader = definitions(header);
  const tables = new Map();
  for (const { name, variable, start, size } of tableList(header)) {
    const entries = inSource.get(variable)?.slice(start, start + size) ?? [];
    assert.equal(entries.length, size, `entries of ${name} in eval.cpp`);
    tables.set(name, entries);
  }
  for (const [name, size] of fixedNumbers) {
    assert.equal(inHeader.get(name)?.length, size, `entries of ${name} in eval.h`);
    tables.set(size > 1 ? `${name}[${size}]` : name, inHeader.get(name));
  }
  return tables;
}

/** The source with the numbers of `tables` in its definitions, laid out as before. */
export function writeTables(header, source, tables) {
  const flat = new Map();
  for (const { name, variable } of tableList(header))
    flat.set(variable, [...(flat.get(variable) ?? []), ...tables.get(name)]);
  return source.replace(definition, (whole, variable, text) => {
    if (!flat.has(variable)) return whole;
    const entries = [...flat.get(variable)];
    const written = text.replace(token, (match, mg, eg, spaces) => {
      if (match.startsWith('//')) return match;
      const entry = entries.shift();
      if (mg) {
        const width = match.length < 'X(   0,    0)'.length ? 0 : 4; // of a table's columns
        const [first, second] = entry.map((half) => String(half).padStart(width));
        return `X(${first}, ${second})`;
      }
      return spaces.length > 1 ? String(entry[0]).padStart(match.length) : spaces + entry[0];
    });
    return whole.replace(text, () => written);
  });
}

/** A checksum over all entries in order, in 32 bits. */
export function checksum(tables) {
  let sum = 0;
  for (const entries of tables.values())
    for (const [mg, eg = 0] of entries) sum = (Math.imul(sum, 31) + mg + eg * 65536) >>> 0;
  return sum.toString(16).padStart(8, '0');
}

const entryText = ([mg, eg]) => (eg === undefined ? String(mg) : `${mg}/${eg}`);

/** The transcription: a name, then its entries, eight in a line. */
export function transcription(tables) {
  const lines = ['# Every number of the evaluation, pairs as mid-game/end-game. The reference model',
    '# reads them from here. Written by dev/adopt-tables.', '', `checksum ${checksum(tables)}`];
  for (const [name, entries] of tables) {
    lines.push('', name);
    for (let i = 0; i < entries.length; i += 8)
      lines.push(` ${entries.slice(i, i + 8).map(entryText).join(' ')}`);
  }
  return `${lines.join('\n')}\n`;
}

/** Name -> entries, from a transcription or from what `quillon_explain --tables` prints. */
export function readTranscription(text) {
  const tables = new Map();
  for (const block of text.trim().split('\n\n')) {
    const [name, ...lines] = block.split('\n');
    if (name.startsWith('#') || name.startsWith('checksum')) continue;
    tables.set(name, lines.join('').trim().split(/ +/)
      .map((entry) => entry.split('/').map(Number)));
  }
  return tables;
}
