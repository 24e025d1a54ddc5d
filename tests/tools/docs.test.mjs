// SPDX-License-Identifier: MIT
// The documents: their commands are known and the quick ones work, their links are valid, and they
// describe the commands and options that the engine has.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { commandsOf, documents, quick, rows, run, shortened } from '../../dev/docs-commands.mjs';
import { enginePath as engine, folder, root } from './support.mjs';

const read = (file) => fs.readFileSync(path.join(root, file), 'utf8');

test('each command of the documents has a row, and each row has a command', () => {
  const written = new Set(documents().flatMap((file) => commandsOf(read(file))));
  assert.ok(written.size > 20, `only ${written.size} commands`);
  assert.deepEqual([...written].filter((command) => !rows[command]), [], 'commands without a row');
  assert.deepEqual(Object.keys(rows).filter((row) => !written.has(row)), [], 'rows without a command');
});

test('the quick commands of the documents do what they say', async () => {
  // Relative paths lead into the tree, and new files stay out of it.
  for (const name of fs.readdirSync(root)) {
    fs.symlinkSync(path.join(root, name), path.join(folder, name));
  }
  for (const [command, row] of Object.entries(quick)) {
    const { status, output } = await run(shortened(command, row), folder);
    assert.equal(status, 0, `${command}\n${output.slice(-2000)}`);
    assert.match(output, row.says, command);
  }
});

test('the index has every document, and together they have at most 13,000 words', () => {
  const index = read('docs/README.md');
  for (const file of documents().filter((name) => /^docs\/[a-z]/.test(name))) {
    assert.ok(index.includes(`](${path.basename(file)})`), file);
  }
  const files = execFileSync('git', ['ls-files', '*.md'], { cwd: root, encoding: 'utf8' }).trim();
  const words = files.split('\n').flatMap((file) => read(file).match(/\S+/g));
  assert.ok(words.length <= 13000, `${words.length} words`);
});

test('the links of the documents lead to files and headings that exist', () => {
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

test('docs/uci.md describes exactly the commands of the console', () => {
  // docs/tuning.md describes those of the tuning build.
  const source = read('src/quillon.cpp').replace(/^#ifdef QUILLON_TUNE$.*?^#endif$/gms, '');
  const known = [...source.matchAll(/^ {4}\{"([a-z]+)",/gm)].map((match) => match[1]);
  assert.ok(known.length >= 14, `found ${known.length} commands in the source`);
  const [, section] = read('docs/uci.md').match(/^## Commands\n(.*?)^## /ms);
  const cells = [...section.matchAll(/^\| (`[^|]*)/gm)].map((match) => match[1]).join(' ');
  const described = [...cells.matchAll(/`(\w+)[^`]*`/g)].map((match) => match[1]);
  assert.deepEqual([...new Set(described)].sort(), [...new Set(known)].sort());
});

test('docs/uci.md has the options of the engine with their limits', async () => {
  const { output } = await run(`printf 'uci\\nquit\\n' | ${engine}`, root);
  const offered = [...output.matchAll(/^option name (\w+) type (.*)$/gm)];
  assert.equal(offered.length, 3);
  for (const [, name, type] of offered) {
    const row = read('docs/uci.md').split('\n').find((line) => line.startsWith(`| \`${name}\` |`));
    for (const [, value] of type.matchAll(/(?:default|min|max) (\S+)/g)) {
      assert.match(row, new RegExp(`\\b${value}\\b`), `${name} ${value}`);
    }
  }
});

test('the examples in README.md and docs/uci.md show what the engine answers', async () => {
  const timeless = (line) => line.replace(/ time \d+/, '').trim();
  for (const file of ['README.md', 'docs/uci.md']) {
    const [, example] = read(file).match(/^```\n\$ \S+quillon\n(.*?)^```$/ms);
    const lines = example.trim().split('\n').map(timeless);
    const isAnswer = (line) => /^(info|bestmove)/.test(line);
    const input = lines.filter((line) => !isAnswer(line)).join('\n');
    const { stdin, stdout } = spawn(engine);
    stdin.write(`${input}\n`);
    let output = '';
    for await (const chunk of stdout) {
      output += chunk;
      if (/^bestmove/m.test(output)) stdin.end();
    }
    const answers = output.split('\n').filter(isAnswer).map(timeless);
    assert.deepEqual(answers, lines.filter(isAnswer), file);
  }
});
