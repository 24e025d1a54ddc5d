// SPDX-License-Identifier: MIT
// The exported board in headless Chromium, served as plain files from a folder of its own: a game,
// an analysis, other options, and all of it again without the server.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import zlib from 'node:zlib';
import { exportBoard } from '../../tools/page/export.mjs';
import { startBoard } from '../../tools/page/server.mjs';
import { enginePath, folder, run, until } from '../tools/support.mjs';
import { faultsOf, launch, see, serve, type, waitMoves } from './browser.mjs';

const exported = path.join(folder, 'site');
let browser;
let url;

test.before(async () => {
  const { status, err } = await run('board', ['--export', path.join(exported, 'chess')]);
  assert.equal(status, 0, err);
  url = `${await serve(exported)}chess/`;
  browser = await launch();
});

test.after(() => browser?.close());

async function setOptions(page, threads, hash) {
  await page.click('#engine');
  await see(page, '#engine-place', 'in this page');
  await page.fill('input[name=threads]', String(threads));
  await page.fill('input[name=hash]', String(hash));
  await page.click('#settings button[value=take]');
  const threadsText = threads === 1 ? '1 thread' : `${threads} threads`;
  await see(page, '#engine-state', `(WebAssembly), ${threadsText}, ${hash} MB`);
}

test('an export without the engine says what to build', () => {
  const message = /^no.such is missing; please build it: cmake --preset wasm && cmake --build/;
  assert.throws(() => exportBoard(path.join(folder, 'empty'), 'no/such'), { message });
});

test('the export is small and contains no copyleft code', () => {
  let size = 0;
  const files = fs.readdirSync(exported, { recursive: true, withFileTypes: true });
  assert.ok(files.some(({ name }) => name === 'Chessboard.js'));
  for (const one of files.filter((each) => each.isFile())) {
    const content = fs.readFileSync(path.join(one.parentPath ?? one.path, one.name));
    const text = content.toString('latin1');
    assert.doesNotMatch(text, /Share-?Alike|CC BY-SA|General Public License/i, one.name);
    // As a host sends it.
    size += zlib.gzipSync(content).length;
  }
  assert.ok(size < 1.5e6, `${size} bytes`);
});

test('without a service worker the page plays with one thread', async () => {
  const context = await browser.newContext({ serviceWorkers: 'block' });
  const page = await context.newPage();
  await page.goto(url);
  await see(page, '#engine-state', '(WebAssembly), 1 thread');
  await page.click('#engine');
  await see(page, '#engine-place', 'where the browser allows only one thread');
  await page.keyboard.press('Escape');
  await type(page, 'e4');
  await waitMoves(page, 2);
  await context.close();
});

test('a game and an analysis, and both again without the server', { timeout: 90000 }, async () => {
  const context = await browser.newContext({ reducedMotion: 'reduce' });
  const faults = faultsOf(context);
  const page = await context.newPage();
  page.setDefaultTimeout(20000);
  await page.goto(url);
  await see(page, '#engine-state', 'Quillon 2.0 (WebAssembly), ');
  assert.equal(await page.evaluate(() => window.crossOriginIsolated), true);
  await type(page, 'e4');
  await waitMoves(page, 2);

  await setOptions(page, 2, 16);
  await page.click('#mode-analyse');
  await see(page, '#lines .line', /^2\. ?\S+/);
  // The search goes on in the other build, and with other options.
  const requests = [];
  context.on('request', (request) => requests.push(request.url()));
  await page.click('#engine');
  await page.selectOption('select[name=engine]', 'Without threads');
  await page.click('#settings button[value=take]');
  await see(page, '#engine-state', '1 thread, 16 MB');
  await until(() => requests.some((one) => one.endsWith('/quillon-single.wasm')), 'the build');
  await see(page, '#lines .line', /^2\. ?\S+/);
  await setOptions(page, 1, 32);
  await until(async () => Number(await page.textContent('#depth')) >= 10, 'depth 10');

  assert.deepEqual(faults, []);
  await context.setOffline(true);
  const isOffline = () => fetch('nothing').then(() => false, () => true);
  assert.equal(await page.evaluate(isOffline), true);
  faults.length = 0;
  await page.reload();
  await see(page, '#engine-state', '1 thread, 32 MB');
  await see(page, '#lines .line', /^2\. ?\S+/);
  await page.keyboard.press('w');
  await see(page, '.why-row', 'Material');
  await page.click('#mode-play');
  await page.click('#tab-moves');
  await type(page, 'a3');
  await waitMoves(page, 4);
  assert.deepEqual(faults, []);
  await context.close();
});

test('a page that is served can use its own engine too, and go back', { timeout: 90000 }, async (t) => {
  const board = await startBoard({ file: enginePath, hash: 16, threads: 1, port: 0 });
  const page = await browser.newPage({ reducedMotion: 'reduce' });
  t.after(() => Promise.all([page.close(), board.close()]));
  const faults = faultsOf(page.context());
  await page.goto(board.url);
  const choose = async (place) => {
    await page.click('#engine');
    await page.check(`input[name=place][value=${place}]`);
    await page.click('#settings button[value=take]');
  };
  await see(page, '#engine-state', '(native), 1 thread, 16 MB');
  await page.click('#mode-analyse');
  await see(page, '#lines .line', /^1\. ?\S+/);
  await choose('page');
  await until(() => board.sessions.size === 0, 'the end of the engine on the server');
  await see(page, '#engine-state', /\(WebAssembly\), \d threads?, 64 MB/);
  assert.equal(await page.evaluate(() => window.crossOriginIsolated), true);
  await until(async () => Number(await page.textContent('#depth')) >= 10, 'depth 10');
  await page.keyboard.press('w');
  await see(page, '.why-row', 'Material');
  await page.reload();
  await see(page, '#engine-state', '(WebAssembly)');
  await choose('server');
  await see(page, '#engine-state', '(native), 1 thread, 16 MB');
  await see(page, '#lines .line', /^1\. ?\S+/);
  assert.deepEqual(faults, []);
});
