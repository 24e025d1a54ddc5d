// SPDX-License-Identifier: MIT
// A whole game in xboard, on a screen without a monitor: started by the option that docs/connect.md
// names, through polyglot, with pondering, to an end by the rules.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';
import readline from 'node:readline';
import test from 'node:test';
import { Chess } from '../../tools/lib/chess.mjs';
import { enginePath, file, folder } from './support.mjs';

// Milliseconds; a game takes half a minute.
const patience = 300000;

for (const [program, debianPackage] of [
  ['/usr/bin/Xvfb', 'xvfb'],
  ['/usr/games/xboard', 'xboard'],
  ['/usr/games/polyglot', 'polyglot'],
]) {
  assert.ok(fs.existsSync(program), `please install the Debian package ${debianPackage}`);
}

/** Ends a program that was started as the first of its group, and those that it has started. */
function end(child) {
  try {
    process.kill(-child.pid, 'SIGKILL');
  } catch {
    // The whole group has ended.
  }
}

test('Quillon plays itself in xboard, by legal moves and in time', async () => {
  fs.symlinkSync(path.resolve(enginePath), file('quillon'));
  const children = [];
  try {
    // The server finds a free number for its display and writes it to the first output.
    const server = spawn('/usr/bin/Xvfb', ['-displayfd', '1', '-nolisten', 'tcp'], {
      stdio: ['ignore', 'pipe', 'ignore'],
      detached: true,
    });
    children.push(server);
    const [display] = await once(readline.createInterface({ input: server.stdout }), 'line');

    const env = {
      ...process.env,
      DISPLAY: `:${display}`,
      HOME: folder,
      PATH: `${folder}:/usr/games:${process.env.PATH}`,
    };
    const games = file('games.pgn');
    const xboard = spawn(
      '/usr/games/xboard',
      [
        ...['-fcp', 'quillon', '-fUCI', '-scp', 'quillon', '-sUCI', '-matchGames', '1'],
        ...['-timeControl', '0:05', '-timeIncrement', '0.1', '-defaultHashSize', '16'],
        ...['-saveGameFile', games, '-saveSettingsOnExit', 'false', '-popupExitMessage', 'false'],
        ...['-soundProgram', '/bin/true'],
      ],
      { cwd: folder, env, stdio: 'ignore', detached: true },
    );
    children.push(xboard);
    // It shows an error in a window and waits for somebody to close it.
    const timer = setTimeout(() => end(xboard), patience);
    const [status] = await once(xboard, 'exit');
    clearTimeout(timer);
    assert.equal(status, 0, 'xboard has come to no end');

    const text = fs.readFileSync(games, 'utf8');
    // xboard's reason stands in the last comment, before the result.
    const [, reason, result] = text.match(/\{([^{}]*)\}\s+(1-0|0-1|1\/2-1\/2)\s*$/) ?? [];
    assert.ok(reason, text);
    assert.doesNotMatch(reason, /illegal|time|forfeit|exit|disconnect|resign/i, text);
    const chess = new Chess();
    // Its comments stand two in a row, which chess.js doesn't read.
    chess.loadPgn(text.replace(/\{[^{}]*\}/g, ''));
    assert.ok(chess.history().length > 20, text);
    if (result !== '1/2-1/2') assert.ok(chess.isCheckmate(), text);
    else assert.ok(chess.isDraw(), text);
  } finally {
    children.forEach(end);
  }
});
