// SPDX-License-Identifier: MIT
// The documents: their commands are known and the quick ones are run, their links lead somewhere,
// and what they say of commands and options is what the engine says.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';
import { commandsOf, documents, root, rows, run } from './docs-commands.mjs';

const engine = process.env.QUILLON_ENGINE ?? path.join(root, 'build', 'release', 'quillon');
const read = (file) => fs.readFileSync(path.join(root, file), 'utf8');

/** A folder with links to everything in the tree: relative paths lead into it, new files stay. */
function folderOfLinks() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-docs-'));
  for (const name of fs.readdirSync(root)) fs.symlinkSync(path.join(root, name), path.join(folder, name));
  return folder;
}

test('commands are taken out of a document without comments, continued lines joined', () => {
  const text = 'a\n```sh\none 1   # first\n# no command\ntwo \\\n    2 "# 3"\n```\n```\nno\n```\n';
  assert.deepEqual(commandsOf(text), ['one 1', 'two 2 "# 3"']);
});

test('each command of the documents has a row, and each row a command', () => {
  const written = new Set(documents().flatMap((file) => commandsOf(read(file))));
  assert.ok(written.size > 20, `only ${written.size} commands`);
  assert.deepEqual([...written].filter((command) => !rows[command]), [], 'commands without a row');
  assert.deepEqual(Object.keys(rows).filter((row) => !written.has(row)), [], 'rows without a command');
});

test('the quick commands of the documents do what they say', async (t) => {
  const folder = folderOfLinks();
  t.after(() => fs.rmSync(folder, { recursive: true }));
  for (const [command, { by, as, says, status = 0 }] of Object.entries(rows)) {
    if (by !== 'quick') continue;
    const result = await run(as ?? command, folder);
    assert.equal(result.status, status, `${command}\n${result.output.slice(-2000)}`);
    if (says) assert.match(result.output, says, command);
  }
});

test('the links of the documents lead to files, and to headings that exist', () => {
  const anchor = (heading) =>
    heading.toLowerCase().replace(/[^\w\- ]/g, '').trim().replace(/ /g, '-');
  for (const file of [...documents(), 'CHANGELOG.md']) {
    const prose = read(file).replace(/^```.*?^```$/gms, '').replace(/`[^`]*`/g, '');
    for (const [, target] of prose.matchAll(/\]\(([^)\s]+)\)/g)) {
      if (/^https?:/.test(target)) continue;
      const [name, heading] = target.split('#');
      const aim = name ? path.join(path.dirname(file), name) : file;
      assert.ok(fs.existsSync(path.join(root, aim)), `${file}: ${target}`);
      if (!heading) continue;
      const headings = [...read(aim).matchAll(/^#+ (.*)$/gm)].map((match) => anchor(match[1]));
      assert.ok(headings.includes(heading), `${file}: ${target}`);
    }
  }
});

/** First cells of the rows of the table below a heading. */
function firstCells(file, heading) {
  const section = read(file).split(/^## /m).find((part) => part.startsWith(`${heading}\n`));
  assert.ok(section, `${file} has no section ${heading}`);
  const lines = section.split('\n').filter((line) => line.startsWith('| `'));
  return lines.flatMap((line) => [...line.split('|')[1].matchAll(/`([^`]+)`/g)].map((m) => m[1]));
}

test('docs/uci.md describes each command of the console and nothing else', () => {
  // The tuning build has more of them, which docs/tuning.md describes.
  const source = read('src/quillon.cpp').replace(/^#ifdef QUILLON_TUNE$.*?^#endif$/gms, '');
  const known = [...source.matchAll(/^ {4}\{"([a-z]+)",/gm)].map((match) => match[1]);
  assert.ok(known.length >= 14, `found ${known.length} commands in the source`);
  const described = firstCells('docs/uci.md', 'Commands').map((text) => text.split(' ')[0]);
  assert.deepEqual([...new Set(described)].sort(), [...new Set(known)].sort());
});

test('docs/uci.md and README.md list the options that the engine offers, with their limits', async () => {
  const { output } = await run(`printf 'uci\\nquit\\n' | ${engine}`, root);
  const offered = [...output.matchAll(/^option name (\w+) type (.*)$/gm)];
  assert.equal(offered.length, 3);
  for (const [, name, type] of offered) {
    for (const file of ['docs/uci.md', 'README.md']) {
      const row = read(file).split('\n').find((line) => line.startsWith(`| \`${name}\` |`));
      assert.ok(row, `${file}: ${name}`);
      for (const [, value] of type.matchAll(/(?:default|min|max) (\S+)/g)) {
        assert.ok(new RegExp(`\\b${value}\\b`).test(row), `${file}: ${name} ${value}`);
      }
    }
  }
});

test('the console answers as the example of docs/uci.md shows, times aside', async () => {
  const section = read('docs/uci.md').split('## What a search writes')[1];
  const lines = section.match(/^```\n(.*?)^```$/ms)[1].trim().split('\n');
  const [start, ...rest] = lines;
  assert.equal(start, '$ build/release/quillon');
  const input = rest.filter((line) => !/^(info|bestmove)/.test(line));
  const timeless = (line) => line.replace(/ time \d+/, '').trim();
  const expected = rest.filter((line) => /^(info|bestmove)/.test(line)).map(timeless);
  assert.equal(expected.length, 3);
  const commands = input.map((line) => `echo '${line}'`).join('; ');
  const { output } = await run(`{ ${commands}; sleep 3; } | ${engine}`, root);
  assert.deepEqual(output.split('\n').slice(4).map(timeless).filter(Boolean), expected);
});
