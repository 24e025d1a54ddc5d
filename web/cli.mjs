#!/usr/bin/env node
// SPDX-License-Identifier: MIT
//
// The console: what programs start that run UCI engines by command. Arguments are one command.

import { createInterface } from 'node:readline';
import { Quillon } from './index.mjs';

const engine = await Quillon({ hash: 256, args: process.argv.slice(2) });
engine.onLine = (line) => process.stdout.write(`${line}\n`);
// A reader that has gone is no reason to complain: end of input ends the engine.
process.stdout.on('error', () => {});

const input = createInterface({ input: process.stdin });
input.on('line', (line) => {
  if (engine.isRunning) engine.send(line);
});
input.on('close', () => engine.quit());

const fault = await engine.ended;
process.stdin.destroy();
if (fault) {
  process.stderr.write(`quillon: ${fault.message}\n`);
  process.exitCode = 1;
}
