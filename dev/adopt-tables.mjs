// SPDX-License-Identifier: MIT
//
// Adopts new numbers of the evaluation everywhere; see the usage.

import { execFileSync, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

import {
  adoptedTables,
  entryName,
  readTranscription,
  tablesOfSource,
  transcription,
  writeDocument,
  writeTables,
} from './evaluation.mjs';

const usage = `usage: dev/adopt-tables [FILE] [--new-numbers]

Writes the tables of FILE, which quillon-tune has printed, or the tables as they are in src/eval.cpp, to

  src/eval.cpp                the tables (with FILE)
  tests/data/evaluation.txt   the same numbers for the reference model, with their checksum
  docs/evaluation.md          tables, sentences and values
  bench/signature.txt         the node signatures

and prints each number that changes. Without --new-numbers a changed number is an error, and nothing
is written. Builds what it needs in build/adopt.`;

const root = path.dirname(path.dirname(fileURLToPath(import.meta.url)));
const inTree = (name) => path.join(root, name);
const read = (name) => fs.readFileSync(inTree(name), 'utf8');
const names = {
  header: 'src/eval.h',
  source: 'src/eval.cpp',
  numbers: 'tests/data/evaluation.txt',
  document: 'docs/evaluation.md',
  signature: 'bench/signature.txt',
};

const options = process.argv.slice(2).filter((word) => word.startsWith('--'));
const [file, ...others] = process.argv.slice(2).filter((word) => !word.startsWith('--'));
if (others.length || options.some((option) => option !== '--new-numbers')) {
  console.error(usage);
  process.exit(2);
}
const mayChange = options.length > 0;
let changes = 0;

function report(what, before, after) {
  if (before === after) return;
  console.log(`${what}: ${before ?? 'none'} -> ${after ?? 'none'}`);
  changes++;
}

/** Ends the command if numbers have changed and that was not asked for. */
function stopIfUnwanted() {
  if (!changes || mayChange) return;
  console.error(`${changes} numbers differ. Nothing is written; --new-numbers adopts them.`);
  process.exit(1);
}

/** Runs a program to its end and returns its output. */
function run(program, programArguments, input) {
  const result = spawnSync(program, programArguments,
    { input, encoding: 'utf8', maxBuffer: 2 ** 30, cwd: root });
  if (result.status === 0) return result.stdout;
  console.error(`${program} ${programArguments.join(' ')} failed\n${result.stdout}${result.stderr}`);
  process.exit(1);
}

const header = read(names.header);
const tables = file
  ? adoptedTables(header, read(names.source), fs.readFileSync(file, 'utf8'))
  : tablesOfSource(header, read(names.source));
const before = fs.existsSync(inTree(names.numbers))
  ? readTranscription(read(names.numbers)) : new Map();
for (const [name, entries] of tables)
  for (const [i, entry] of entries.entries())
    for (const [half, number] of entry.entries()) {
      const which = ['', ' mid-game', ' end-game'][entry.length - 1 && half + 1];
      report(entryName(name, i) + which, before.get(name)?.[i]?.[half], number);
    }
for (const name of before.keys()) if (!tables.has(name)) report(name, 'a table', undefined);
stopIfUnwanted();

// The programs read the new numbers, so these are written before the rest is known.
const old = Object.fromEntries(Object.entries(names).map(([key, name]) => [key,
  fs.existsSync(inTree(name)) ? read(name) : '']));
const write = (key, text) => fs.writeFileSync(inTree(names[key]), text);
if (file) write('source', writeTables(header, old.source, tables));
write('numbers', transcription(tables));

run('cmake', ['-S', '.', '-B', 'build/adopt/engine', '-DCMAKE_BUILD_TYPE=Release',
  '-DQUILLON_SIGNATURE=ON', '-DQUILLON_LTO=OFF', '-DQUILLON_ARCH=native']);
run('cmake', ['--build', 'build/adopt/engine', '--parallel', '2',
  '--target', 'quillon_explain', 'quillon_signature']);
const signature = old.signature.replace(/^depth (\d+): .*$/gm, (line, depth) => {
  const nodes = run('build/adopt/engine/bench/quillon_signature', [depth])
    .trim().split('\n').at(-1).split(' ')[0];
  report(`signature at depth ${depth}`, line.split(' ').at(-1), nodes);
  return `depth ${depth}: ${nodes}`;
});
stopIfUnwanted();
write('signature', signature);
const explain = (...programArguments) => execFileSync(
  inTree('build/adopt/engine/quillon_explain'), programArguments, { encoding: 'utf8' });
write('document', writeDocument(old.document, header, explain));
console.log(changes ? `${changes} numbers adopted` : 'no number changes');
