// SPDX-License-Identifier: MIT
// The report as an HTML file, in the browser: it loads nothing, and shows the position clicked.

import assert from 'node:assert/strict';
import test from 'node:test';
import { readGame } from '../../tools/lib/game-tree.mjs';
import { reportHtml } from '../../tools/lib/report-html.mjs';
import { makeReport } from '../../tools/lib/report.mjs';
import { launch } from '../web/browser.mjs';
import { file } from './support.mjs';

const hostile = '<img src=x onerror=alert(1)></script>&"';
const browser = await launch();
test.after(() => browser.close());

/** Opens a report in a page: { page, faults }; what it loads or complains of is a fault. */
async function open(pgn, scores, lines, size) {
  const tree = readGame(pgn);
  const results = scores.map((cp, i) => ({ score: { cp }, line: lines[i]?.split(' ') ?? [] }));
  const name = file(
    'report.html',
    reportHtml(tree, makeReport(tree, results), { engine: hostile }),
  );
  const page = await browser.newPage({ viewport: size });
  const faults = [];
  page.on('pageerror', ({ message }) => faults.push(message));
  page.on('console', (message) => faults.push(message.text()));
  page.on('dialog', (dialog) => faults.push(dialog.message()));
  page.on('request', (request) => request.url() === `file://${name}` || faults.push(request.url()));
  await page.goto(`file://${name}`);
  return { page, faults };
}

/** The board's placement, as in a FEN, from where its pieces are drawn. */
const placementOf = (page) =>
  page.$$eval('#board use', (uses) => {
    const rows = Array.from({ length: 8 }, () => Array(8).fill('.'));
    for (const use of uses) {
      const at = (name) => Number(use.getAttribute(name)) / 45;
      rows[at('y')][at('x')] = use.getAttribute('href').slice(-1);
    }
    const joined = rows.map((row) => row.join('')).join('/');
    return joined.replace(/\.+/g, (dots) => String(dots.length));
  });

const pgn = `[White "${hostile.replaceAll('"', '\\"')}"]
[Event "A <b>game</b>"]

1. f3 {a <i>comment</i>} (1. e4 c5! (1... e5) 2. Nf3) 1... e5 2. g4 d6 3. a3 Qh4# 0-1`;
const scores = [20, -60, -70, -600, -200, -600, 0];
const lines = { 2: 'd2d4 e5d4 d1d4', 3: 'Qh4#' };

test('it shows the game, its marks and the positions that are clicked', async () => {
  const { page, faults } = await open(pgn, scores, lines, { width: 1280, height: 800 });
  const text = await page.innerText('body');
  for (const said of [
    hostile,
    'A <b>game</b>',
    'a <i>comment</i>',
    '(1. e4 c5! (1... e5) 2. Nf3)',
  ]) {
    assert.ok(text.includes(said), said);
  }
  assert.match(text, /Barnes Opening/);
  assert.match(text, /Blunder: -0\.70 to -6\.00; better 2\. d4\./);
  assert.equal(await page.locator('.turning figure').count(), 3);
  assert.equal(await page.locator('.graph .point').count(), 4);
  const final = 'rnb1kbnr/ppp2ppp/3p4/4p3/6Pq/P4P2/1PPPP2P/RNBQKBNR';
  assert.equal(await placementOf(page), final);
  await page.click('.moves a:text("f3")');
  assert.equal(await placementOf(page), 'rnbqkbnr/pppppppp/8/8/8/5P2/PPPPP1PP/RNBQKBNR');
  await page.keyboard.press('ArrowRight');
  assert.equal(await placementOf(page), 'rnbqkbnr/pppp1ppp/8/4p3/8/5P2/PPPPP1PP/RNBQKBNR');
  // The second move of a better line; back from it is the line's first, then the game.
  await page.click('.line a:text("exd4")');
  assert.equal(await placementOf(page), 'rnbqkbnr/pppp1ppp/8/8/3p4/5P2/PPP1P1PP/RNBQKBNR');
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('ArrowLeft');
  assert.equal(await placementOf(page), 'rnbqkbnr/pppp1ppp/8/4p3/8/5P2/PPPPP1PP/RNBQKBNR');
  await page.keyboard.press('End');
  await page.keyboard.press('ArrowRight');
  assert.equal(await placementOf(page), final);
  await page.click('text=Flip the board');
  assert.equal(await placementOf(page), [...final].reverse().join(''));
  await page.keyboard.press('Home');
  assert.equal(await page.getAttribute('.graph .current', 'data-at'), '0');
  await page.hover('.graph [data-at="3"]');
  await page.mouse.down();
  await page.mouse.up();
  assert.equal(await page.textContent('.moves a.current'), 'g4??');
  assert.deepEqual(faults, []);
  await page.close();
});

test('it fits a phone, and a game without anything in it', async () => {
  const { page, faults } = await open(pgn, scores, lines, { width: 320, height: 600 });
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), 320);
  await page.close();
  const { page: empty, faults: others } = await open('*', [], {}, { width: 320, height: 600 });
  assert.equal(await placementOf(empty), 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR');
  assert.deepEqual([...faults, ...others], []);
  await empty.close();
});
