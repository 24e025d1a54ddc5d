#!/usr/bin/env node
// SPDX-License-Identifier: MIT
//
// The console, for programs that start UCI engines as commands. The arguments are one command.

import { Quillon } from './index.mjs';

const engine = await Quillon({ hash: 256, args: process.argv.slice(2) });
engine.onLine = (line) => process.stdout.write(`${line}\n`);
// A closed output is not an error: the end of the input ends the engine.
process.stdout.on('error', () => {});

// Bytes are passed on unchanged; the engine splits them into lines.
let isLineOpen = false;
process.stdin.setEncoding('latin1');
process.stdin.on('data', (text) => {
  isLineOpen = !text.endsWith('\n');
  if (engine.isRunning) engine.write(text);
});
process.stdin.on('end', () => {
  if (engine.isRunning) engine.write(isLineOpen ? '\nquit\n' : 'quit\n');
});

const fault = await engine.ended;
process.stdin.destroy();
if (fault) {
  process.stderr.write(`quillon: ${fault.message}\n`);
  process.exitCode = 1;
}
