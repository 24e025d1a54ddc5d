// SPDX-License-Identifier: MIT
//
// Keeps docs/evaluation.md correct: the text between its markers comes from quillon_explain, and it
// must contain every term and table of the engine.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';

import { readTranscription, tableList, writeDocument } from '../../dev/evaluation.mjs';

const { QUILLON_EXPLAIN: program, QUILLON_SOURCE_DIR: sourceDir } = process.env;
assert.ok(program && sourceDir, 'the build sets QUILLON_EXPLAIN and QUILLON_SOURCE_DIR');
const read = (name) => fs.readFileSync(path.join(sourceDir, name), 'utf8');
const page = read('docs/evaluation.md');
const header = read('src/eval.h');

/** The output of quillon_explain. */
function explain(...options) {
  const { stdout, stderr, status, error } = spawnSync(program, options, { encoding: 'utf8' });
  assert.ifError(error);
  assert.equal(status, 0, `${options}: ${stderr}`);
  return stdout;
}

test('the page has the numbers of the engine, and a wrong number is replaced', () => {
  assert.equal(writeDocument(page, header, explain), page, 'run dev/adopt-tables');
  const wrong = page.replace(/^(EVALTEMPO +)\S+/m, '$19/9').replace(/\|[a-z.]\|/, '|?|');
  assert.notEqual(wrong, page);
  assert.equal(writeDocument(wrong, header, explain), page);
});

test('the page has every term and every table', () => {
  const terms = explain('--terms').trim().split('\n').map((line) => line.split('\t'));
  assert.ok(terms.length > 40);
  const listed = page.match(/^- \*\*.+:/gm).join('\n');
  for (const [name] of terms) assert.ok(listed.includes(`**${name}**`), name);
  const shown = [...page.matchAll(/^<!-- tables (.+) -->$/gm)].flatMap(([, groups]) => groups
    .split('; ').flatMap((group) => group.split(': ')[1].split(', ')));
  for (const { name, variable } of tableList(header))
    assert.ok(shown.includes(name) || shown.includes(variable), name);
});

test('the list of tables in the header is that of the engine', () => {
  assert.deepEqual(tableList(header).map(({ name, size }) => [name, size]),
    [...readTranscription(explain('--tables'))].slice(0, -3)
      .map(([name, entries]) => [name.replace('[64]', '[NOFSQUARES]'), entries.length]));
});

test('the page has at most 4000 words', () => {
  assert.ok(page.trim().split(/\s+/).length <= 4000);
});
