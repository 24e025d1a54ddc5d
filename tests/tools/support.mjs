// SPDX-License-Identifier: MIT
// What the tests of the tools for analysis share: a folder for their files, running a tool, and
// engines that misbehave.

import { spawn } from 'node:child_process';
import fs from 'node:fs';
import { createRequire } from 'node:module';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';
import { fileURLToPath } from 'node:url';

const here = path.dirname(fileURLToPath(import.meta.url));
export const root = path.resolve(here, '..', '..');
export const { Chess } = createRequire(path.join(root, 'tools', 'package.json'))('chess.js');
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-tools-'));
test.after(() => fs.rmSync(folder, { recursive: true }));

/** A file of that name in the tests' folder, written unless the text is missing. */
export function file(name, text) {
  const place = path.join(folder, name);
  if (text !== undefined) fs.writeFileSync(place, text);
  return place;
}

/** Runs a tool to its end: { status, out, err }.
 *  @param {string} tool its name in tools/
 *  @param {string[]} args
 *  @param {{input?: string, env?: object, each?: (out: string, child) => void}} [how] `each` is
 *      called with all output so far, whenever there is more */
export function run(tool, args, { input = '', env = {}, each } = {}) {
  return new Promise((resolve) => {
    const child = spawn(path.join(root, 'tools', tool), args, {
      cwd: root,
      env: { ...process.env, ...env },
      // A group of its own, so that a test can interrupt it as a terminal does.
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

/** The program of the fake engine, with its arguments. */
export function fake(...args) {
  const place = file(`fake-${args.join('-')}`);
  const module = path.join(here, 'fake-analyst.mjs');
  fs.writeFileSync(place, `#!/bin/sh\nexec "${process.execPath}" "${module}" ${args.join(' ')}\n`);
  fs.chmodSync(place, 0o755);
  return place;
}

/** The lines of a text, without the empty ones. */
export const linesOf = (text) => text.split('\n').filter((line) => line.trim());
