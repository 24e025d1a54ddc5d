// SPDX-License-Identifier: MIT
// The board in the browser, used as a person uses it: headless Chromium, mouse, touch and keys, and
// the real engine.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import path from 'node:path';
import readline from 'node:readline';
import test from 'node:test';
import { chromium } from 'playwright-core';
import { Chess, startFen } from '../../tools/lib/chess.mjs';
import { startBoard } from '../../tools/page/server.mjs';
import { enginePath as engine, pause, read, root, until } from './support.mjs';

const executablePath = '/usr/bin/chromium';
// The first mates in one move. In the second Kh1 is forced (the bishop sees f1, the king the rest)
// and loses at once.
const mateInOne = '6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - 0 1';
const matedInOne = 'r7/8/8/1b6/8/6k1/8/6K1 w - - 0 1';

let server;
let url;
let browser;

test.before(async () => {
  assert.ok(fs.existsSync(executablePath), 'please install the Debian package chromium');
  const args = ['--engine', engine, '--port', '0', '--hash', '16'];
  server = spawn(path.join(root, 'tools', 'board'), args, { stdio: ['ignore', 'pipe', 'inherit'] });
  const [line] = await once(readline.createInterface({ input: server.stdout }), 'line');
  [url] = line.match(/http:\S+/) ?? assert.fail(`the board says "${line}"`);
  // Chromium's sandbox refuses to work for root.
  const sandbox = process.getuid() === 0 ? ['--no-sandbox'] : [];
  browser = await chromium.launch({ executablePath, args: sandbox });
});

test.after(async () => {
  await browser?.close();
  if (!server) return;
  const ended = once(server, 'exit');
  server.kill('SIGTERM');
  if (server.exitCode === null) await ended;
  assert.equal(server.exitCode, 0);
});

/** A test with a tab of its own, in which nothing may go wrong unseen. */
function tabTest(name, act, settings = {}) {
  test(name, { timeout: 60000 }, async () => {
    const context = await browser.newContext({
      viewport: { width: 1280, height: 800 },
      reducedMotion: 'reduce',
      ...settings,
    });
    const faults = [];
    context.on('request', (request) => {
      const { origin, protocol } = new URL(request.url());
      if (protocol !== 'blob:' && `${origin}/` !== url) faults.push(`asks for ${request.url()}`);
    });
    context.on('console', (message) => {
      if (message.type() === 'error') faults.push(message.text());
    });
    context.on('weberror', (error) => faults.push(String(error.error())));
    const open = async () => {
      const page = await context.newPage();
      page.setDefaultTimeout(20000);
      await page.goto(url);
      await page.locator('#engine-state', { hasText: 'Quillon' }).waitFor();
      return page;
    };
    try {
      await act(await open(), { open, context });
      assert.deepEqual(faults, []);
    } catch (error) {
      // What the page has complained of is nearer to the cause.
      throw faults.length ? new Error(faults.join('; '), { cause: error }) : error;
    } finally {
      await context.close();
    }
  });
}

/** The middle of a square on the screen. */
async function pointOf(page, square) {
  const locator = page.locator(`#board .board rect[data-square="${square}"]`);
  let box = null;
  // The board draws its squares anew when it turns or grows: there is a moment without them.
  await until(async () => (box = await locator.boundingBox()), `the square ${square}`);
  return [box.x + box.width / 2, box.y + box.height / 2];
}

async function click(page, ...squares) {
  for (const square of squares) await page.mouse.click(...(await pointOf(page, square)));
}

async function drag(page, from, to) {
  await page.mouse.move(...(await pointOf(page, from)));
  await page.mouse.down();
  await page.mouse.move(...(await pointOf(page, to)), { steps: 5 });
  await page.mouse.up();
}

const pieceOn = (page, square) => page.locator(`#board .pieces g[data-square="${square}"]`);
const movesOf = (page) =>
  page.locator('#moves button').evaluateAll((all) => all.map((one) => one.firstChild.textContent));

/** Waits until the list of moves is this one. */
async function seeMoves(page, moves) {
  let seen;
  const isSo = async () => (seen = await movesOf(page)).join() === moves.join();
  await until(isSo, `the moves ${moves.join(' ')}`).catch(() => assert.deepEqual(seen, moves));
}

/** Waits until a text in the page matches. */
async function see(page, selector, pattern) {
  const find = () => page.locator(selector).filter({ hasText: pattern }).first();
  await find().waitFor();
}

async function waitMoves(page, count) {
  await page.waitForFunction((n) => document.querySelectorAll('#moves button').length === n, count);
}

async function fenOf(page) {
  await page.click('#exchange');
  const fen = await page.inputValue('#fen');
  await page.keyboard.press('Escape');
  return fen;
}

async function setFen(page, fen) {
  await page.click('#exchange');
  await page.fill('#fen', fen);
  await page.click('#fen-set');
}

const easy = { side: 'w', pace: 'depth', from: 'start', fields: { depth: '1' } };
async function newGame(page, settings) {
  const { side, pace, from, fields } = { ...easy, ...settings };
  await page.click('#new');
  await page.check(`input[name=side][value=${side}]`);
  await page.check(`input[name=pace][value=${pace}]`);
  for (const [name, value] of Object.entries(fields)) await page.fill(`input[name=${name}]`, value);
  await page.check(`input[name=from][value=${from}]`);
  await page.click('#new-game button[value=start]');
}

async function playFrom(page, fen, side = 'w') {
  await setFen(page, fen);
  await newGame(page, { side, from: 'here' });
}

/** The fields of a process after its name: state, parent, ...; none when it has ended. */
function fieldsOf(pid) {
  try {
    return read(`/proc/${pid}/stat`).split(') ').at(-1).split(' ');
  } catch {
    return [];
  }
}

/** The engines' process ids: the children of the server. */
function engines() {
  return fs.readdirSync('/proc').map(Number).filter((pid) => {
    const [state, parent] = pid ? fieldsOf(pid) : [];
    return Number(parent) === server.pid && state !== 'Z';
  });
}

/** Processor time of a process, in ticks. */
const ticksOf = (pid) => Number(fieldsOf(pid)[11]) + Number(fieldsOf(pid)[12]);

/** Settles when a process has come to rest. */
async function untilIdle(pid) {
  await until(async () => {
    const before = ticksOf(pid);
    await pause(200);
    return ticksOf(pid) === before;
  }, 'an idle engine');
}

async function untilBusy(pid) {
  const before = ticksOf(pid);
  await until(() => ticksOf(pid) > before + 5, 'a busy engine');
}

tabTest('pieces are dragged and clicked, legal targets shown, and answered', async (page) => {
  await newGame(page);
  await drag(page, 'e2', 'e4');
  await waitMoves(page, 2);
  assert.equal((await movesOf(page))[0], 'e4');
  await click(page, 'g1');
  const targets = await page
    .locator('#board .marker-target')
    .evaluateAll((all) => all.map((one) => one.parentNode.dataset.square).sort());
  assert.deepEqual(targets.filter((one) => one !== 'e2'), ['f3', 'h3']);
  await click(page, 'f3');
  await waitMoves(page, 4);
  assert.equal((await movesOf(page))[2], 'Nf3');
  assert.equal(await pieceOn(page, 'f3').getAttribute('data-piece'), 'wn');
  assert.equal(await page.locator('#board .marker-target').count(), 0);
});

tabTest('an illegal drag puts the piece back and plays nothing', async (page) => {
  await drag(page, 'e2', 'e5');
  assert.equal(await pieceOn(page, 'e2').getAttribute('data-piece'), 'wp');
  assert.equal(await pieceOn(page, 'e5').count(), 0);
  await drag(page, 'e7', 'e5'); // not the person's
  await seeMoves(page, []);
  assert.equal(await fenOf(page), startFen);
});

tabTest('castling by drag takes the rook along, en passant takes the pawn away', async (page) => {
  await setFen(page, '4k3/8/8/8/4p3/8/3P4/4K2R w K - 0 1');
  await click(page, 'd2', 'd4');
  await drag(page, 'e4', 'd3');
  await until(async () => (await pieceOn(page, 'd4').count()) === 0, 'the pawn to be gone');
  await drag(page, 'e1', 'g1');
  await until(async () => (await pieceOn(page, 'f1').count()) === 1, 'the rook to come along');
  await seeMoves(page, ['d4', 'exd3', 'O-O']);
});

tabTest('a promotion asks for the piece and can be called off', async (page) => {
  await playFrom(page, '8/P6k/8/8/8/8/8/K7 w - - 0 1');
  await drag(page, 'a7', 'a8');
  await page.locator('.promotion-dialog-button-group').nth(3).waitFor();
  await page.keyboard.press('Escape');
  await pieceOn(page, 'a7').waitFor();
  await seeMoves(page, []);
  await drag(page, 'a7', 'a8');
  const rook = page.locator('.promotion-dialog-button-group[data-piece=wr]');
  await rook.waitFor();
  const { x, y, width, height } = await rook.boundingBox();
  await page.mouse.click(x + width / 2, y + height / 2);
  await waitMoves(page, 2);
  assert.equal((await movesOf(page))[0], 'a8=R');
  const isRook = async () => (await pieceOn(page, 'a8').getAttribute('data-piece')) === 'wr';
  await until(isRook, 'a rook');
});

tabTest('the person mates: the game is over and neither side can move', async (page) => {
  await playFrom(page, mateInOne);
  await drag(page, 'a1', 'a8');
  await see(page, '#status', 'Checkmate: White wins (1-0)');
  await seeMoves(page, ['Ra8#']);
  await drag(page, 'g8', 'h8');
  await drag(page, 'g1', 'h1');
  await seeMoves(page, ['Ra8#']);
  assert.equal(await page.isDisabled('#go'), true);
});

tabTest('the engine mates: the person hears of it and can take back', async (page) => {
  await playFrom(page, matedInOne);
  await click(page, 'g1', 'h1');
  await see(page, '#status', 'Checkmate: Black wins (0-1)');
  await seeMoves(page, ['Kh1', 'Ra1#']);
  await page.click('#back');
  await seeMoves(page, []);
  await see(page, '#status', 'Your move (White)');
});

tabTest('the person can be Black: the board turns and the engine begins', async (page) => {
  await newGame(page, { side: 'b' });
  await waitMoves(page, 1);
  const [, blackHome] = await pointOf(page, 'e8');
  const [, whiteHome] = await pointOf(page, 'e1');
  assert.ok(blackHome > whiteHome);
  assert.equal(await page.isDisabled('#back'), true);
  await page.click('#flip');
  const isTurned = async () => (await pointOf(page, 'e8'))[1] < (await pointOf(page, 'e1'))[1];
  await until(isTurned, 'a turned board');
});

tabTest('"move now" ends the thinking and plays', async (page) => {
  await newGame(page, { pace: 'time', fields: { seconds: '3000' } });
  await click(page, 'd2', 'd4');
  await see(page, '#status', 'is thinking');
  await see(page, '#lines .line', '1...');
  // It isn't the person's turn, nor are these the person's pieces.
  await drag(page, 'e7', 'e5');
  await drag(page, 'e2', 'e4');
  await seeMoves(page, ['d4']);
  await page.click('#go');
  await waitMoves(page, 2);
  await see(page, '#status', 'Your move (White)');
});

tabTest('analysis shows lines as people write them, follows the moves, and stops', async (page) => {
  await setFen(page, 'r2q1rk1/1b2bppp/p1n1pn2/1p6/3N4/1BN1P3/PP2QPPP/R1BR2K1 b - - 3 13');
  const [pid] = engines();
  await untilIdle(pid);
  await page.click('#go');
  await see(page, '#lines .line', /^13\.\.\. \S+ 14\. \S+/);
  await see(page, '#score', /^[+\u2212]?\d+\.\d\d$/);
  assert.ok(Number(await page.textContent('#depth')) >= 10);
  assert.ok(Number(await page.textContent('#seldepth')) >= 1);
  assert.equal(await page.locator('#graph .point').count(), 1);
  await click(page, 'c6', 'd4');
  await see(page, '#lines .line', /^14\. /);
  await page.click('#go');
  await see(page, '#go', 'Go');
  await untilIdle(pid);
});

tabTest('mates are counted as people count them, in both directions', async (page) => {
  await page.click('#mode-analyse');
  // 1... Kh1 is forced, then Ra1 mates; by the rules, not by a program.
  await setFen(page, matedInOne);
  await see(page, '#score', /^\u2212M1$/);
  await setFen(page, mateInOne);
  await see(page, '#score', /^\+M1$/);
});

tabTest('a killed engine is started again and the analysis goes on', async (page) => {
  await page.click('#mode-analyse');
  const [pid] = engines();
  await untilBusy(pid);
  process.kill(pid, 'SIGKILL');
  await see(page, '.message', /stopped and was restarted; the search goes on/);
  await until(() => engines().length === 1 && engines()[0] !== pid, 'another engine');
  await untilBusy(engines()[0]);
  await see(page, '#lines .line', /^1\. \S+/);
});

tabTest('an engine that is killed while it owes a move gives it after all', async (page) => {
  await newGame(page, { pace: 'time', fields: { seconds: '2' } });
  await click(page, 'e2', 'e4');
  await see(page, '#status', 'is thinking');
  const [pid] = engines();
  await untilBusy(pid);
  process.kill(pid, 'SIGKILL');
  await waitMoves(page, 2);
  await see(page, '#status', 'Your move (White)');
});

tabTest('two tabs have two games and engines, which end with them', async (page, { open }) => {
  const other = await open();
  await until(() => engines().length === 2, 'two engines');
  await newGame(page);
  await newGame(other, { side: 'b' });
  // A browser slows a page down that nobody sees.
  await page.bringToFront();
  await click(page, 'a2', 'a4');
  await waitMoves(page, 2);
  await waitMoves(other, 1);
  assert.equal((await movesOf(page))[0], 'a4');
  assert.equal((await movesOf(other)).length, 1);
  await other.close();
  await until(() => engines().length === 1, 'one engine');
  await click(page, 'h2', 'h4');
  await waitMoves(page, 4);
});

tabTest('take back undoes both moves in a game, one in analysis', async (page) => {
  await newGame(page);
  await click(page, 'e2', 'e4');
  await waitMoves(page, 2);
  await page.click('#back');
  await seeMoves(page, []);
  await pieceOn(page, 'e2').waitFor();
  await page.click('#mode-analyse');
  await page.click('#go');
  for (const [i, squares] of [
    ['e2', 'e4'],
    ['e7', 'e5'],
    ['g1', 'f3'],
  ].entries()) {
    // A click that falls into the change of the mode is lost; a person clicks again.
    await until(async () => {
      if ((await movesOf(page)).length > i) return true;
      await click(page, ...squares);
      return false;
    }, `the move ${squares}`);
  }
  await page.click('#back');
  await seeMoves(page, ['e4', 'e5']);
  await page.click('#first');
  await click(page, 'd2', 'd4');
  await seeMoves(page, ['d4']);
  await page.click('.message button:has-text("Undo") >> nth=-1');
  await seeMoves(page, ['e4', 'e5']);
});

const pgn = `[Event "Opera"]
[White "Morphy"]
[Black "Allies"]
[Result "1-0"]

1. e4 e5 2. Nf3 d6 3. d4 Bg4 {weak} 4. dxe5 Bxf3 5. Qxf3 dxe5 6. Bc4 Nf6 7. Qb3 Qe7
8. Nc3 c6 9. Bg5 b5 10. Nxb5 cxb5 11. Bxb5+ Nbd7 12. O-O-O Rd8 13. Rxd7 Rxd7
14. Rd1 Qe6 15. Bxd7+ Nxd7 16. Qb8+ Nxb8 17. Rd8# 1-0
`;

tabTest('a PGN is read, clicked through and given back; FEN too', async (page, { context }) => {
  await page.click('#exchange');
  await page.fill('#pgn', pgn);
  await page.click('#pgn-load');
  await waitMoves(page, 33);
  await see(page, '#status', 'Checkmate: White wins');
  await see(page, '#player-bottom .name', 'Morphy');
  await page.click('#moves button >> nth=4');
  // After 3. d4, written down by hand.
  const fen = 'rnbqkbnr/ppp2ppp/3p4/4p3/3PP3/5N2/PPP2PPP/RNBQKB1R b KQkq - 0 3';
  assert.equal(await fenOf(page), fen);
  await page.keyboard.press('ArrowRight');
  assert.equal(await pieceOn(page, 'g4').getAttribute('data-piece'), 'bb');
  await page.click('#exchange');
  const [download] = await Promise.all([page.waitForEvent('download'), page.click('#pgn-save')]);
  const [saved, original] = [new Chess(), new Chess()];
  saved.loadPgn(read(await download.path()));
  original.loadPgn(pgn);
  assert.deepEqual(saved.history(), original.history());
  const { White: white, Result: result } = saved.getHeaders();
  assert.deepEqual([white, result], ['Morphy', '1-0']);
  await context.grantPermissions(['clipboard-read', 'clipboard-write']);
  await page.click('#fen-copy');
  await see(page, '.message', 'Copied');
  const copied = await page.evaluate(() => navigator.clipboard.readText());
  assert.equal(copied, await page.inputValue('#fen'));
});

tabTest('bad FEN and PGN get a clear message and the game stays', async (page) => {
  await newGame(page);
  await click(page, 'e2', 'e4');
  await waitMoves(page, 2);
  const before = await movesOf(page);
  await page.click('#exchange');
  for (const [field, button, text, message] of [
    ['#fen', '#fen-set', 'hello', /six fields/],
    ['#fen', '#fen-set', '8/8/8/8/8/8/8/8 w - - 0 1', /king/],
    ['#fen', '#fen-set', '4k3/4R3/8/8/8/8/8/4K3 w - - 0 1', /Black is in check/],
    ['#fen', '#fen-set', '<img src=x onerror=alert(1)> w - - 0 1', /FEN/],
    ['#pgn', '#pgn-load', '', /no game/],
    ['#pgn', '#pgn-load', '1. e4 e5 2. Ke3', /Ke3/],
    ['#pgn', '#pgn-load', '[Event "x"', /./],
    ['#pgn', '#pgn-load', '{never closed 1. e4', /./],
  ]) {
    await page.fill(field, text);
    await page.click(button);
    assert.match(await page.textContent('#exchange-error'), message, text);
    assert.equal(await page.isVisible('#exchange-error'), true);
  }
  await page.keyboard.press('Escape');
  assert.deepEqual(await movesOf(page), before);
  await page.fill('#typed', 'Ke5');
  await page.press('#typed', 'Enter');
  await see(page, '.message', 'Ke5 is not a legal move');
  assert.deepEqual(await movesOf(page), before);
});

tabTest('the keyboard is enough: typed moves, arrows, take back, flip', async (page) => {
  await page.click('#mode-analyse');
  await page.click('#go');
  await page.focus('#typed');
  for (const move of ['e4', 'e7e5', 'nf3', 'Nc6', 'Bb5', 'a6', '0-0']) {
    await page.keyboard.type(`${move}\n`);
  }
  await seeMoves(page, ['e4', 'e5', 'Nf3', 'Nc6', 'Bb5', 'a6', 'O-O']);
  await page.focus('#moves');
  const current = () => page.textContent('#moves [aria-current]');
  await page.keyboard.press('ArrowLeft');
  assert.match(await current(), /^a6/);
  await page.keyboard.press('Home');
  assert.equal(await page.locator('#moves [aria-current]').count(), 0);
  await page.keyboard.press('End');
  assert.match(await current(), /^O-O/);
  await page.keyboard.press('u');
  assert.equal((await movesOf(page)).length, 6);
  await page.keyboard.press('n');
  await page.locator('#new-game[open]').waitFor();
});

tabTest('a game is kept when the page is loaded again', async (page) => {
  await newGame(page);
  await click(page, 'e2', 'e4');
  await waitMoves(page, 2);
  const before = await movesOf(page);
  await page.reload();
  await waitMoves(page, 2);
  assert.deepEqual(await movesOf(page), before);
  await see(page, '#status', 'Your move (White)');
});

tabTest('a whole game gets its scores, and the graph goes where it is clicked', async (page) => {
  await page.click('#exchange');
  await page.fill('#pgn', '1. f3 e5 2. g4 Qh4#');
  await page.click('#pgn-load');
  await waitMoves(page, 4);
  await page.click('#review');
  await see(page, '.message', 'Every position of the game has a score');
  const scores = await page.locator('#moves small').allTextContents();
  // Qh4 mates: one move before the end the count is known by the rules.
  assert.equal(scores[2], '\u2212M1');
  for (const score of scores.slice(0, 2)) assert.match(score, /^[+\u2212]?\d/);
  const { x, y, width, height } = await page.locator('#graph').boundingBox();
  await page.mouse.click(x + 1, y + height / 2);
  assert.equal(await page.locator('#moves [aria-current]').count(), 0);
  await page.mouse.click(x + width / 10, y + height / 2);
  assert.match(await page.textContent('#moves [aria-current]'), /^e5/);
});

test('a page whose server was away goes on when it is back', { timeout: 60000 }, async () => {
  const settings = { file: engine, hash: 16, threads: 1 };
  let board = await startBoard({ ...settings, port: 0 });
  const page = await browser.newPage();
  try {
    await page.goto(board.url);
    await page.locator('#engine-state', { hasText: 'Quillon' }).waitFor();
    await board.close();
    await see(page, '#engine-state', 'not connected');
    await click(page, 'e2', 'e4');
    await see(page, '#status', 'Waiting for Quillon');
    board = await startBoard({ ...settings, port: Number(new URL(board.url).port) });
    await waitMoves(page, 2);
  } finally {
    await page.close();
    await board.close();
  }
});

tabTest('a clock runs for both sides and a side whose time is over loses', async (page) => {
  await page.clock.install();
  await newGame(page, { pace: 'clock', fields: { minutes: '1', increment: '2' } });
  assert.equal(await page.textContent('#player-bottom .clock'), '1:00');
  await page.clock.fastForward(5000);
  // Nobody's time runs before the first move.
  assert.equal(await page.textContent('#player-bottom .clock'), '1:00');
  await click(page, 'e2', 'e4');
  await until(async () => (await movesOf(page)).length === 2, 'an answer');
  await page.clock.fastForward(30000);
  await see(page, '#player-bottom .clock', '0:30');
  await page.clock.fastForward(31000);
  await see(page, '#status', 'Black wins on time (0-1)');
  await drag(page, 'd2', 'd4');
  assert.equal((await movesOf(page)).length, 2);
});

tabTest(
  'a narrow screen with fingers: all fits, taps move',
  async (page) => {
    await newGame(page);
    await page.touchscreen.tap(...(await pointOf(page, 'e2')));
    await page.touchscreen.tap(...(await pointOf(page, 'e4')));
    await waitMoves(page, 2);
    const sizes = await page.evaluate(() => [
      document.documentElement.scrollWidth,
      document.querySelector('#board').getBoundingClientRect().right,
    ]);
    assert.ok(Math.max(...sizes) <= 390, String(sizes));
  },
  { viewport: { width: 390, height: 800 }, hasTouch: true, isMobile: true, colorScheme: 'dark' },
);
