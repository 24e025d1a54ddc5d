// SPDX-License-Identifier: MIT
// The referee and the watch over memory themselves: each fault that they are there for is found,
// in a program that commits just that one.

import assert from 'node:assert/strict';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { Engine } from './engine.mjs';
import { playGame, Player } from './match.mjs';
import { checkFlat, readUse, tolerance } from './process.mjs';

const fake = fileURLToPath(new URL('fake-engine.mjs', import.meta.url));

function startFake(t, fault) {
  const engine = new Engine({ file: process.execPath, args: [fake, fault] });
  t.after(async () => {
    engine.stderr = '';
    await engine.kill();
  });
  return engine;
}

async function playFakes(t, fault) {
  const engines = [startFake(t, 'none'), startFake(t, fault)];
  const players = engines.map((engine, i) => new Player(engine, { name: i ? fault : 'honest' }));
  // Starting Node takes longer than the clock allows.
  for (const player of players) await player.checkAnswers();
  const end = await playGame(players, { maxPlies: 12 });
  for (const { engine } of players) await engine.quit();
  return end;
}

test('two honest players end their game', async (t) => {
  const { result, plies } = await playFakes(t, 'none');
  assert.deepEqual({ result, plies }, { result: 'longest', plies: 12 });
});

const faults = [
  ['illegal', /a1a8 is illegal/],
  ['late', /late lost on time at ply 5/],
  ['silent', /no line \/\^bestmove \/ within/],
  ['double', /double/],
  ['info', /only its own lines|between searches/],
  ['chatter', /text on the error stream/],
  ['crash', /process ended, no line/],
  ['status', /bad end/],
];
for (const [fault, message] of faults) {
  test(`the referee finds the fault "${fault}"`, (t) =>
    assert.rejects(playFakes(t, fault), message));
}

for (const [fault, message] of [['memory', /memory grows/], ['file', /open files/]]) {
  test(`the watch finds a program that never lets go of its "${fault}"`, async (t) => {
    const player = new Player(startFake(t, fault), { name: fault, trusted: true });
    player.engine.send('position startpos');
    const searches = async (count) => {
      for (let i = 0; i < count; i++) {
        player.start('depth 1');
        await player.finish(null, 5000);
      }
      return readUse(player.engine.child.pid);
    };
    const first = await searches(100);
    const later = await searches(150);
    assert.throws(() => checkFlat(first, later, fault), message);
  });
}

test('the watch allows the tolerance and no more', () => {
  const first = { rss: 30000, peak: 31000, threads: 3, files: 4 };
  checkFlat(first, { ...first, rss: 30000 + tolerance, peak: 31000 + tolerance }, 'at the limit');
  for (const more of [
    { rss: 30001 + tolerance },
    { peak: 31001 + tolerance },
    { threads: 4 },
    { files: 5 },
  ]) {
    assert.throws(() => checkFlat(first, { ...first, ...more }, 'beyond'));
  }
});
