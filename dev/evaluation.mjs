// SPDX-License-Identifier: MIT
//
// The numbers of the evaluation as text: in the source, in tests/data/evaluation.txt (the
// transcription) and in docs/evaluation.md. Used by dev/adopt-tables and the test of the document.

import assert from 'node:assert/strict';

// Numbers of eval.h that aren't tuned: name and number of entries.
const fixedNumbers = [['pieceValuePhase', 6], ['GAMEPHASEMAXMG', 1], ['GAMEPHASEMINEG', 1]];

/** The list EVALTABLES of eval.h: for each table its printed name, the C++ variable, the index of
 *  its first entry there, the number of entries, and the first and number of the tuned entries. */
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

// A comment, a pair, or a number with the spaces before it.
const token = /\/\/.*|X\( *(-?\d+), *(-?\d+)\)|( *)(-?\d+)/g;
const definition = /^(?:TCONST combEval|constexpr \w+) (\w+)(?:\[\w+\])* = ([^;]*);/gm;

/** Maps variables to entries, from C++ source or the tuner's output; the last definition counts. */
function definitions(source) {
  return new Map([...source.matchAll(definition)].map(([, name, text]) => [name,
    [...text.matchAll(token)].filter(([match]) => !match.startsWith('//'))
      .map(([, mg, eg, , number]) => (mg ? [Number(mg), Number(eg)] : [Number(number)]))]));
}

/** Maps the names of all tables and fixed numbers to their entries, from the two source files. */
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

/** The tables of the source, with the tuned entries that the tuner has printed. */
export function adoptedTables(header, source, printed) {
  const tables = tablesOfSource(header, source);
  const found = definitions(printed);
  const adopted = tableList(header).filter(({ variable }) => found.has(variable));
  assert.ok(adopted.length, 'it contains no table');
  for (const { name, variable, start, first, tuned } of adopted)
    for (let i = first; i < first + tuned; i++) {
      const entry = found.get(variable)[start + i];
      assert.equal(entry?.length, tables.get(name)[i].length, `${name} is incomplete`);
      tables.get(name)[i] = entry;
    }
  return tables;
}

/** The source with the numbers of `tables` in its definitions, with the same layout. */
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
        const width = match.length < 'X(   0,    0)'.length ? 0 : 4; // of the columns
        const [first, second] = entry.map((half) => String(half).padStart(width));
        return `X(${first}, ${second})`;
      }
      return spaces.length > 1 ? String(entry[0]).padStart(match.length) : spaces + entry[0];
    });
    return whole.replace(text, () => written);
  });
}

/** A 32-bit checksum of all entries in order. */
export function checksum(tables) {
  let sum = 0;
  for (const entries of tables.values())
    for (const [mg, eg = 0] of entries) sum = (Math.imul(sum, 31) + mg + eg * 65536) >>> 0;
  return sum.toString(16).padStart(8, '0');
}

/** The name of an entry, such as "EVALPAWNPASSED[1][0][4]" or "pieceSquareScore king e1". */
export function entryName(name, index) {
  const variable = name.replace(/\[.*/, '');
  if (/^pieceSquareScore|\[NOFSQUARES\]$/.test(name))
    return `${variable} ${axes.file[index % 8]}${8 - Math.floor(index / 8)}`;
  let rest = index;
  return variable + [...name.matchAll(/\[(\d+)\]/g)].reverse().map(([, size]) => {
    const place = rest % size;
    rest = (rest - place) / size;
    return `[${place}]`;
  }).reverse().join('');
}

const entryText = ([mg, eg]) => (eg === undefined ? String(mg) : `${mg}/${eg}`);

/** The transcription: each name followed by its entries, eight in a line. */
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

/** Maps names to entries, from a transcription or the output of `quillon_explain --tables`. */
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

// The document

const axes = {
  file: [...'abcdefgh'],
  rank: [...'12345678'],
  piece: ['pawn', 'knight', 'bishop', 'rook', 'queen', 'king'],
  number: Array.from({ length: 28 }, (_, i) => String(i)),
};
const mostColumns = 9;

/** Rows of cells as lines with aligned columns. */
function aligned(rows) {
  const width = (column) => Math.max(...rows.map((row) => row[column]?.length ?? 0));
  return rows.map((row) => row.map((cell, i) => (
    i ? cell.padStart(width(i)) : cell.padEnd(width(0)))).join('  ').trimEnd());
}

/** The rows of a table, { label, cells }: one for each value of the leading indices. */
function rowsOf(listed, entries) {
  const cells = entries.map((entry, i) => {
    const isRead = (i >= listed.first && i < listed.first + listed.tuned) || entry.some(Boolean);
    return isRead ? entryText(entry) : '.';
  });
  const length = Number(listed.name.match(/\[(\d+)\]$/)?.[1] ?? 1);
  return Array.from({ length: cells.length / length }, (_, row) => ({
    label: entryName(listed.name.replace(/\[\d+\]$/, ''), row),
    cells: cells.slice(row * length, (row + 1) * length),
  }));
}

/** A board of entries, ranks from 8 to 1. */
function boardLines(entries) {
  return aligned([...[...axes.rank].reverse().map((rank, i) => [rank,
    ...entries.slice(8 * i, 8 * i + 8).map(entryText)]), ['', ...axes.file]]);
}

/** Tables with a common axis, as lines. */
function tableLines(axis, names, list, tables) {
  const listedTables = names.flatMap((name) => {
    const listed = list.filter((entry) => [entry.variable, entry.name].includes(name));
    assert.ok(listed.length, `no table ${name}`);
    return listed;
  });
  if (axis === 'square')
    return listedTables.flatMap(({ name }, i) => [...(i ? [''] : []), name.replace(/\[.*/, ''),
      ...boardLines(tables.get(name))]);
  const rows = listedTables.flatMap((listed) => rowsOf(listed, tables.get(listed.name)));
  if (axis === 'none') return aligned(rows.map(({ label, cells }) => [label, cells[0]]));

  const isUsed = (column) => rows.some(({ cells }) => (cells[column] ?? '.') !== '.');
  const columns = axes[axis].map((_, i) => i).filter(isUsed);
  const parts = [];
  for (let i = 0; i < columns.length; i += mostColumns) {
    const part = columns.slice(i, i + mostColumns);
    parts.push(...aligned([[axis, ...part.map((column) => axes[axis][column])],
      ...rows.filter(({ cells }) => part.some((column) => cells[column]))
        .map(({ label, cells }) => [label, ...part.map((column) => cells[column] ?? '')])]));
  }
  return parts;
}

/** The board of a FEN. */
function diagramLines(fen) {
  const ranks = fen.split(' ')[0].split('/').map((rank, i) => `${8 - i} |${
    [...rank.replace(/\d/g, (count) => '.'.repeat(Number(count)))].join('|')}|`);
  return [...ranks, '  |a|b|c|d|e|f|g|h|'];
}

/** The name and sentence of a term, or of "* NAME" for all pieces that have a term of this name. */
function termLines(name, meanings) {
  const isShared = name.startsWith('* ');
  const names = (isShared ? axes.piece.map((piece) => name.replace('*', piece)) : [name])
    .filter((each) => meanings.has(each));
  const sentences = new Set(names.map((each) => (
    isShared ? meanings.get(each).replace(each.split(' ')[0], 'piece') : meanings.get(each))));
  assert.equal(sentences.size, 1, `terms ${name} with one sentence`);
  return `- ${names.map((each) => `**${each}**`).join(', ')}: ${[...sentences]}`
    .replace(/(.{1,98})( |$)/g, '$1\n  ').trimEnd();
}

/** The document with new text between its markers. `explain` returns the output of quillon_explain
 *  for its arguments, `header` is eval.h.
 *
 *    <!-- terms: NAME; * NAME -->         the names with their sentences; * is any piece
 *    <!-- tables AXIS: NAME, NAME; AXIS: NAME -->   by file, rank, piece, number, square or none
 *    <!-- position FEN: NAME COLOUR; ... -->   a diagram and the values of terms
 *    <!-- explain: FEN -->                the whole output of the program
 *    <!--end-->                           ends each of them */
export function writeDocument(text, header, explain) {
  const list = [...tableList(header),
    ...fixedNumbers.map(([name, size]) => ({ name: size > 1 ? `${name}[${size}]` : name,
      variable: name, first: 0, tuned: size }))];
  const tables = readTranscription(explain('--tables'));
  const meanings = new Map(explain('--terms').trim().split('\n').map((line) => line.split('\t')));
  const fenced = (lines) => ['```', ...lines, '```'];
  const writers = [
    [/^terms: (.+)$/, (names) => names.split('; ').map((name) => termLines(name, meanings))],
    [/^tables (.+)$/, (groups) => fenced(groups.split('; ').map((group) => {
      const [axis, names] = group.split(': ');
      return tableLines(axis, names.split(', '), list, tables).join('\n');
    }).join('\n\n').split('\n'))],
    [/^position ([^:]+): (.+)$/, (fen, wanted) => {
      const { terms } = JSON.parse(explain('--json', fen));
      const values = wanted.split('; ').map((what) => {
        const [, name, colour] = what.match(/^(.+) (white|black)$/);
        const { mg, eg } = terms.find((term) => term.name === name)[colour];
        return `**${name}**, ${colour}: ${mg}/${eg}`;
      });
      return [...fenced(diagramLines(fen)), '', `\`${fen}\`: ${values.join('; ')}`];
    }],
    [/^explain: (.+)$/, (fen) => fenced([`$ build/release/quillon_explain "${fen}"`,
      ...explain(fen).trimEnd().split('\n')])],
  ];
  return text.replace(/(<!-- (.+?) -->\n)[^]*?\n?(<!--end-->)/g, (_, marker, what, end) => {
    for (const [form, write] of writers) {
      const match = what.match(form);
      if (match) return `${marker}\n${write(...match.slice(1)).join('\n')}\n\n${end}`;
    }
    throw new Error(`unknown marker: ${what}`);
  });
}
