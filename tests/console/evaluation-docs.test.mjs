// SPDX-License-Identifier: MIT
//
// Keeps docs/evaluation.md true. Each diagram there is followed by a line of the form
//
//   `FEN` : **term**, white: MG EG; **term**, black: MG EG; score N
//
// with one or more statements. The board, the values and the transcript are checked against what
// quillon_explain prints, and every term and constant of src/eval.cpp must be explained.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';

/** The value of an environment variable that the build sets. */
function setting(name, meaning) {
  const value = process.env[name];
  assert.ok(value, `${name} is not set: it names ${meaning}`);
  return value;
}

const program = setting('QUILLON_EXPLAIN', 'the program quillon_explain');
const sourceDir = setting('QUILLON_SOURCE_DIR', 'the source tree');
const documentLines = fs.readFileSync(path.join(sourceDir, 'docs', 'evaluation.md'), 'utf8')
  .split('\n');
const source = fs.readFileSync(path.join(sourceDir, 'src', 'eval.cpp'), 'utf8');

/** What quillon_explain prints. */
function explain(...options) {
  const { stdout, stderr, status, error } = spawnSync(program, options, { encoding: 'utf8' });
  assert.ifError(error);
  assert.equal(status, 0, `${options}: ${stderr}`);
  return stdout;
}

/** Statement -> value of a position from its raw form; a term that is absent is zero. */
function statementsOf(raw) {
  const [score, ...terms] = raw.split('\n');
  const values = new Map([['score', score.replace('score ', '')]]);
  for (const line of terms) {
    const [, name, colour, value] = line.match(/^(.+) ([01]) (-?\d+ -?\d+)$/);
    values.set(`${name}, ${colour === '0' ? 'white' : 'black'}`, value);
  }
  return values;
}

/** The names of all terms, from the source. */
function termNames() {
  const [, list] = source.match(/names\[NOFEVALTERMS\] = \{(.*?)\};/s);
  return [...list.matchAll(/"([^"]+)"/g)].map(([, name]) => name);
}

/** The code blocks: { lines between the fences, end: index of the closing fence }. */
function codeBlocks() {
  const fences = documentLines.flatMap((line, i) => (line.startsWith('```') ? [i] : []));
  assert.equal(fences.length % 2, 0, 'a fence is left open');
  const blocks = [];
  for (let i = 0; i < fences.length; i += 2) {
    const [begin, end] = fences.slice(i, i + 2);
    blocks.push({ end, lines: documentLines.slice(begin + 1, end) });
  }
  return blocks;
}

const isTranscript = ({ lines }) => lines[0].startsWith('$ ');
const diagrams = codeBlocks().filter((block) => !isTranscript(block));
const statementLine = /^`([^`]+)` : (.+)$/;

/** The positions with what is stated of them: { fen, statements: [what, value][] }. */
const positions = documentLines.filter((line) => statementLine.test(line)).map((line) => {
  const [, fen, list] = line.match(statementLine);
  const statements = list.split('; ').map((statement) => {
    const match = statement.match(/^\*\*(.+)\*\*, (white|black): (-?\d+ -?\d+)$/);
    if (match) return [`${match[1]}, ${match[2]}`, match[3]];
    const score = statement.match(/^score (-?\d+)$/);
    assert.ok(score, `not a statement: "${statement}" in ${line}`);
    return ['score', score[1]];
  });
  return { fen, statements };
});

/** The positions, each with the values that the engine gives. */
function evaluated() {
  const blocks = explain('--raw', ...positions.map(({ fen }) => fen)).trimEnd().split('\n\n');
  assert.equal(blocks.length, positions.length);
  return positions.map((position, i) => ({ ...position, values: statementsOf(blocks[i]) }));
}

/** A FEN's board as the document draws it. */
function diagramOf(fen) {
  const ranks = fen.split(' ')[0].split('/').map((rank, i) => {
    const squares = [...rank.replace(/\d/g, (count) => '.'.repeat(Number(count)))];
    assert.equal(squares.length, 8, fen);
    return `${8 - i}  ${squares.join(' ')}`;
  });
  assert.equal(ranks.length, 8, fen);
  return [...ranks, '   a b c d e f g h'];
}

test('every diagram shows the board of the FEN below it', () => {
  assert.equal(diagrams.length, positions.length, 'one line of statements for each diagram');
  for (const { end, lines } of diagrams) {
    const match = documentLines[end + 2]?.match(statementLine);
    assert.ok(match, `line ${end + 3}: no line of statements below the diagram`);
    assert.deepEqual(lines, diagramOf(match[1]), match[1]);
  }
});

test('every stated value is what the engine gives', () => {
  for (const { fen, statements, values } of evaluated())
    for (const [what, value] of statements)
      assert.equal(value, values.get(what) ?? '0 0', `${what} of ${fen}`);
});

test('every term has a paragraph and a position in which it is not zero', () => {
  const names = termNames();
  const text = documentLines.join('\n');
  const stated = new Set(positions.flatMap(({ statements }) => statements
    .filter(([what, value]) => what !== 'score' && value !== '0 0')
    .map(([what]) => what.replace(/, (white|black)$/, ''))));
  assert.deepEqual([...stated].sort(), [...names].sort());

  const paragraphs = text.split('\n\n').filter((paragraph) => paragraph.startsWith('**'));
  for (const name of names)
    assert.ok(paragraphs.some((paragraph) => paragraph.includes(`**${name}**`)), name);
});

test('the document names every term that the engine prints for its positions', () => {
  const names = new Set(termNames());
  const printed = evaluated().flatMap(({ values }) => [...values.keys()]);
  const text = documentLines.join('\n');
  for (const what of printed.filter((key) => key !== 'score')) {
    const name = what.replace(/, (white|black)$/, '');
    assert.ok(names.has(name), `the list of names in the source lacks "${name}"`);
    assert.ok(text.includes(`**${name}**`), name);
  }
});

test('every constant of the evaluation is named', () => {
  const constants = [...source.matchAll(/^TCONST \w+ (\w+)/gm)].map(([, name]) => name);
  assert.ok(constants.length >= 40, `${constants.length} constants`);
  const text = documentLines.join('\n');
  for (const name of constants) assert.match(text, new RegExp(`\`${name}\\b`), name);
});

test('the transcript is what the program prints', () => {
  const transcripts = codeBlocks().filter(isTranscript);
  assert.equal(transcripts.length, 1);
  const [command, ...lines] = transcripts[0].lines;
  const [, fen] = command.match(/^\$ \S*quillon_explain "([^"]+)"$/);
  assert.deepEqual(lines, explain(fen).trimEnd().split('\n'));
});
