// SPDX-License-Identifier: MIT
//
// Whole searches at fixed depth, node for node, score for score and line for line, against a slow
// model of the search that shares no code with the engine.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';

const { QUILLON_ENGINE: engine, QUILLON_ORACLE: oracle, QUILLON_SOURCE_DIR: source } = process.env;
const depth = 10;

/** The positions of the node signature. */
const positions = [...readFileSync(join(source, 'bench/positions.h'), 'utf8')
  .matchAll(/^ {4}"([^"]+)",$/gm)].map((match) => match[1]);

/** What a program prints for one search after another, each from an empty table. */
function searches(program, options, limits, lastCommands) {
  return positions.map((fen) => {
    const input = `ucinewgame\nposition fen ${fen}\ngo depth ${depth}${limits}\n${lastCommands}`;
    const { stdout, status } = spawnSync(program, options, { input, encoding: 'utf8' });
    assert.equal(status, 0, program);
    return stdout.split('\n').filter((line) => /^(info score|bestmove)/.test(line))
      .map((line) => line.replace(/ time \d+/, '').trimEnd());
  });
}

test(`the engine searches ${positions.length} positions to depth ${depth} as the model does`, () => {
  assert.ok(oracle, 'QUILLON_ORACLE is not set');
  assert.ok(positions.length >= 40);
  // A depth limit alone would stay under the default time budget.
  // Setting the threads waits for the end of the search.
  const ours = searches(engine, [], ' wtime 2000000000 btime 2000000000',
    'setoption name Threads value 1\nquit\n');
  const theirs = searches(oracle, ['--driver'], '', 'quit\n');
  for (const [i, fen] of positions.entries()) assert.deepEqual(ours[i], theirs[i], fen);
});
