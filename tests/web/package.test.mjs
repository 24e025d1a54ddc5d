// SPDX-License-Identifier: MIT
// The npm package: packed, installed into an empty folder, and used from there in Node and in
// headless Chromium.

import assert from 'node:assert/strict';
import { execFileSync, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { Conversation } from '../../tools/lib/conversation.mjs';
import { Engine } from '../../tools/lib/uci.mjs';
import { enginePath, folder, root } from '../tools/support.mjs';
import { isolation, launch, serve } from './browser.mjs';

const packageDir = process.env.QUILLON_PACKAGE ?? path.join(root, 'build', 'wasm', 'package');
const installed = path.join(folder, 'node_modules', 'quillon');
let Quillon;

test.before(async () => {
  execFileSync('npm', ['pack', '--pack-destination', folder, packageDir], { stdio: 'pipe' });
  fs.writeFileSync(path.join(folder, 'package.json'), '{}');
  const tarball = path.join(folder, 'quillon-2.0.0.tgz');
  execFileSync('npm', ['install', '--offline', '--no-audit', tarball], { cwd: folder });
  ({ Quillon } = await import(path.join(installed, 'index.mjs')));
});

/** Starts an engine. `until` waits for a line and returns it. */
async function start(settings) {
  const engine = await Quillon(settings);
  const talk = new Conversation('quillon');
  engine.onLine = (line) => talk.receive(`${line}\n`);
  return { engine, until: async (pattern) => (await talk.until(pattern)).at(-1) };
}

for (const threaded of [true, false]) {
  const build = threaded ? 'with threads' : 'without threads';

  test(`${build}: a search has the same nodes as in the native engine`, async () => {
    const { engine, until } = await start({ threaded });
    engine.send('go depth 12');
    const native = await Engine.start(enginePath);
    native.send('go depth 12');
    const expected = (await native.until(/^info .* depth 12 /)).at(-1);
    const line = await until(/^info .* depth 12 /);
    assert.equal(line.replace(/ time \d+/, ''), expected.replace(/ time \d+/, ''));
    await native.quit();
    await engine.quit();
  });

  test(`${build}: isready, ponderhit and stop are answered during a search`, async () => {
    const { engine, until } = await start({ threaded });
    engine.send('go infinite');
    engine.send('isready');
    await until(/^readyok$/);
    await until(/^info .* depth 10 /);
    engine.send('stop');
    assert.match(await until(/^bestmove/), /^bestmove [a-h][1-8][a-h][1-8]/);
    engine.send('go ponder movetime 50');
    engine.send('isready');
    await until(/^readyok$/);
    engine.send('ponderhit');
    assert.match(await until(/^bestmove/), /^bestmove [a-h][1-8][a-h][1-8]/);
    assert.equal(await engine.quit(), null);
    assert.throws(() => engine.send('isready'), /has ended/);
  });

  test(`${build}: the engine can be killed during a search, which is reported`, async () => {
    const { engine, until } = await start({ threaded });
    engine.send('go infinite');
    await until(/^info .* depth 10 /);
    const reported = new Promise((resolve) => (engine.onExit = resolve));
    engine.kill();
    assert.match((await engine.ended).message, /killed/);
    assert.match((await reported).message, /killed/);
  });

  test(`${build}: rtest and perft count right`, async () => {
    const { engine, until } = await start({ threaded });
    engine.send('perft 4');
    await until(/^Perft results for depth: 4 {2}197281 /);
    engine.send('rtest');
    await until(/^Results of the perft checks is OK: 1$/);
    await engine.quit();
  });
}

test('an invalid option ends the engine with a message', async () => {
  const { engine } = await start({});
  engine.send('setoption name Hash value lots');
  assert.match((await engine.ended).message, /crashed/);
});

test('a table that is too large for WebAssembly is made smaller, with a message', async () => {
  const { engine, until } = await start({});
  engine.send('setoption name Hash value 32768');
  await until(/^info string a hash table of 32768 MB can't be allocated, using (1024|2048) MB$/);
  await engine.quit();
});

test('settings out of range are refused', async () => {
  await assert.rejects(Quillon({ threads: 0 }), /1 to 64/);
  await assert.rejects(Quillon({ hash: 0.5 }), /1 to 32768/);
});

test('Explain answers as the native program does', async () => {
  const { Explain } = await import(path.join(installed, 'explain.mjs'));
  const explain = await Explain();
  const program = path.join(path.dirname(enginePath), 'quillon_explain');
  for (const fens of [
    ['r1bq1r1k/1pp1n1pp/1p1p4/4p2Q/4PpP1/1BNP4/PPP2P1P/3R1RK1 b - g3 0 14'],
    ['4k3/8/8/8/8/8/4P3/4K3 w - -', '4k3/8/8/8/4P3/8/8/4K3 b - -'],
    ['4k3/8/8'],
  ]) {
    const { stdout } = spawnSync(program, ['--json', ...fens], { encoding: 'utf8' });
    assert.deepEqual(explain(...fens), JSON.parse(stdout));
  }
});

test('npx quillon is the console', () => {
  const input = 'uci\nposition startpos moves e2e4\nshowboard\nquit\n';
  const ours = spawnSync('npx', ['quillon'], { cwd: folder, input, encoding: 'utf8' });
  const native = spawnSync(enginePath, { input, encoding: 'utf8' });
  assert.equal(ours.status, 0);
  assert.equal(ours.stdout, native.stdout);
});

// The long run has a thousand engines.
test('a hundred engines leave no threads and no memory behind', async () => {
  const cycle = async (times) => {
    for (let i = 0; i < times; i++) await (await start({ hash: 1 })).engine.quit();
    await new Promise((done) => setTimeout(done, 500));
    const threads = fs.readdirSync('/proc/self/task').length;
    return { threads, megabytes: process.memoryUsage().rss / 2 ** 20 };
  };
  const before = await cycle(10);
  const after = await cycle(process.env.QUILLON_LONG === '1' ? 900 : 90);
  // An engine has four threads and touches five megabytes or more.
  const seen = JSON.stringify({ before, after });
  assert.ok(after.threads <= before.threads + 2, seen);
  assert.ok(after.megabytes < before.megabytes + 200, seen);
});

test.describe('in Chromium', () => {
  let browser;
  test.before(async () => {
    browser = await launch();
  });
  test.after(() => browser?.close());

  test('Explain loads in a page', async () => {
    const page = await browser.newPage();
    await page.goto(await serve(folder));
    const { error, isDraw } = await page.evaluate(async () => {
      const { Explain } = await import('/node_modules/quillon/explain.mjs');
      return (await Explain())('4k3/8/8/8/8/8/8/4K3 w - -');
    });
    assert.deepEqual([error, isDraw], [undefined, true]);
  });

  for (const [name, headers, threaded] of [
    ['an isolated page has threads, and room for two engines', isolation, true],
    ['a page without shared memory gets the build without threads', {}, false],
  ]) {
    test(name, async () => {
      const page = await browser.newPage();
      const faults = [];
      page.on('pageerror', (error) => faults.push(error.message));
      page.on('console', (message) => faults.push(message.text()));
      await page.goto(await serve(folder, headers));
      const results = await page.evaluate(async () => {
        const { Quillon } = await import('/node_modules/quillon/index.mjs');
        const search = async () => {
          const engine = await Quillon({ threads: 2, hash: 16 });
          const lines = [];
          const best = new Promise((done) => {
            engine.onLine = (line) => {
              lines.push(line);
              if (line.startsWith('bestmove')) done(line);
            };
          });
          engine.send('go infinite');
          engine.send('isready');
          setTimeout(() => engine.send('stop'), 1500);
          const result = { best: await best, threaded: engine.threaded };
          result.isAnswered = lines.indexOf('readyok') < lines.length - 1;
          result.fault = await engine.quit();
          return result;
        };
        return Promise.all([search(), search()]);
      });
      for (const { best, isAnswered, fault, threaded: has } of results) {
        assert.match(best, /^bestmove [a-h][1-8][a-h][1-8]/);
        assert.equal(has, threaded);
        assert.ok(isAnswered);
        assert.equal(fault, null);
      }
      assert.deepEqual(faults, []);
    });
  }
});
