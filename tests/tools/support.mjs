// SPDX-License-Identifier: MIT
// Shared by the tests of the tools: a folder for their files, running a tool, and faulty engines.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';
import { fileURLToPath } from 'node:url';

const here = path.dirname(fileURLToPath(import.meta.url));
export const root = path.resolve(here, '..', '..');
export const enginePath =
  process.env.QUILLON_ENGINE ?? path.join(root, 'build', 'release', 'quillon');
export const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-tools-'));
test.after(() => fs.rmSync(folder, { recursive: true }));

/** The path of a file in the tests' folder, which is written if there is a text. */
export function file(name, text, mode) {
  const place = path.join(folder, name);
  if (text !== undefined) fs.writeFileSync(place, text, { mode });
  return place;
}

export const read = (place) => fs.readFileSync(place, 'utf8');

/** Runs a tool to its end: { status, out, err }.
 *  @param {string} tool its name in tools/
 *  @param {string[]} args
 *  @param {{input?: string, env?: object, each?: (out: string, child) => void}} [how] `each` is
 *      called with the whole output so far whenever there is more */
export function run(tool, args, { input = '', env = {}, each } = {}) {
  return new Promise((resolve) => {
    const child = spawn(path.join(root, 'tools', tool), args, {
      cwd: root,
      env: { ...process.env, ...env },
      // Its own process group, so that a test can interrupt it as a terminal does.
      detached: true,
    });
    let out = '';
    let err = '';
    child.stdout.on('data', (data) => {
      out += data;
      each?.(out, child);
    });
    child.stderr.on('data', (data) => (err += data));
    child.stdin.on('error', () => {});
    child.stdin.end(input);
    child.on('close', (status) => resolve({ status, out, err }));
  });
}

/** Fails unless each tool prints its usage for --help, and exits with one line in each case.
 *  @param {[string, string[], number, RegExp][]} cases tool, arguments, status, line
 *  @param {string} [place] of the tools, relative to tools/ */
export async function checkUse(cases, place = '.') {
  for (const [tool, args, expected, message] of cases) {
    const { status, out, err } = await run(path.join(place, tool), args);
    assert.equal(status, expected, err);
    assert.match(err, message);
    assert.ok(err.startsWith(`${tool}: `) && /^[^\n]*\n$/.test(err), err);
    assert.equal(out, '');
  }
  for (const tool of new Set(cases.map(([name]) => name))) {
    const { status, out } = await run(path.join(place, tool), ['--help']);
    assert.equal(status, 0);
    assert.ok(out.startsWith(`usage: tools/${tool} `), out);
  }
}

export const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

/** Waits until a condition holds, 20 seconds at most. */
export async function until(condition, what) {
  for (let i = 0; i < 400; i++) {
    if (await condition()) return;
    await pause(50);
  }
  assert.fail(`waited in vain for ${what}`);
}

/** The path of a program that runs the fake engine with arguments. */
export function fake(...args) {
  const module = path.join(here, 'fake-engine.mjs');
  const script = `#!/bin/sh\nexec "${process.execPath}" "${module}" ${args.join(' ')}\n`;
  return file(`fake-${args.join('-')}`, script, 0o755);
}

/** The lines of a text, without the empty ones. */
export const linesOf = (text) => text.split('\n').filter((line) => line.trim());
