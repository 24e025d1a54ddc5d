// SPDX-License-Identifier: MIT
// The board in the browser, used as a person uses it: headless Chromium, mouse, touch and keys, and
// the real engine.

import assert from 'node:assert/strict';
import test from 'node:test';
import { startFen } from '../../tools/lib/chess.mjs';
import { readGame } from '../../tools/lib/game-tree.mjs';
import { startBoard } from '../../tools/page/server.mjs';
import { faultsOf, launch, see, type, waitMoves } from '../web/browser.mjs';
import { enginePath as engine, fake, file, folder, pause, read, run, until } from './support.mjs';

// The first mates in one move. In the second Kh1 is forced (the bishop sees f1, the king the rest)
// and loses at once.
const mateInOne = '6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - 0 1';
const matedInOne = 'r7/8/8/1b6/8/6k1/8/6K1 w - - 0 1';

const settings = { file: engine, hash: 16, threads: 1, ownEngine: folder };
const engines = [engine, fake()].map((one) => ({ name: one, file: one }));
const { url, sessions, close } = await startBoard({ ...settings, engines, port: 0 });
const browser = await launch();
test.after(async () => {
  await browser.close();
  await close();
});

/** A test with its own tab, which fails on any error that the page reports. */
function tabTest(name, act, screen = {}) {
  test(name, { timeout: 60000 }, async () => {
    const context = await browser.newContext({
      viewport: { width: 1280, height: 800 },
      reducedMotion: 'reduce',
      ...screen,
    });
    const faults = faultsOf(context);
    context.on('request', (request) => {
      const { origin, protocol } = new URL(request.url());
      if (protocol !== 'blob:' && `${origin}/` !== url) faults.push(`asks for ${request.url()}`);
    });
    const open = async (hash = '') => {
      const page = await context.newPage();
      page.setDefaultTimeout(20000);
      await page.goto(url + hash);
      await page.locator('#engine-state', { hasText: 'Quillon' }).waitFor();
      return page;
    };
    try {
      await act(await open(), { open, context });
      assert.deepEqual(faults, []);
    } catch (error) {
      // The page's own errors are closer to the cause.
      throw faults.length ? new Error(faults.join('; '), { cause: error }) : error;
    } finally {
      await context.close();
      await until(() => sessions.size === 0, 'the end of the engine');
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

async function drag(page, from, to, button = 'left') {
  await page.mouse.move(...(await pointOf(page, from)));
  await page.mouse.down({ button });
  await page.mouse.move(...(await pointOf(page, to)), { steps: 5 });
  await page.mouse.up({ button });
}

const pieceOn = (page, square) => page.locator(`#board .pieces g[data-square="${square}"]`);
/** The moves of the main line, without glyphs and scores. */
const movesOf = (page) =>
  page.locator('#moves .main').evaluateAll((all) => all.map(({ dataset }) => dataset.san));

/** Waits until the main line is this one. */
async function seeMoves(page, ...moves) {
  let seen;
  const isSo = async () => (seen = await movesOf(page)).join() === moves.join();
  await until(isSo, `the moves ${moves.join(' ')}`).catch(() => assert.deepEqual(seen, moves));
}

/** What a field of the dialog for games holds. */
async function textOf(page, field) {
  await page.click('#exchange');
  const text = await page.inputValue(field);
  await page.keyboard.press('Escape');
  await page.locator('dialog').waitFor({ state: 'detached' });
  return text;
}

async function put(page, field, text, button) {
  await page.click('#exchange');
  await page.fill(field, text);
  await page.click(button);
}
const setFen = (page, fen) => put(page, '#fen', fen, '#fen-set');
const loadPgn = (page, pgn) => put(page, '#pgn', pgn, '#pgn-load');

const easy = { side: 'w', pace: 'depth', from: 'start', fields: { depth: '1' } };
async function newGame(page, settings) {
  const { side, pace, from, fields } = { ...easy, ...settings };
  await page.click('#new');
  await page.check(`input[name=side][value=${side}]`);
  await page.check(`input[name=pace][value=${pace}]`);
  for (const [name, value] of Object.entries(fields)) await page.fill(`input[name=${name}]`, value);
  await page.check(`input[name=from][value=${from}]`);
  await page.click('#new-game button[value=take]');
}

async function playFrom(page, fen, side = 'w') {
  await setFen(page, fen);
  await newGame(page, { side, from: 'here' });
}

/** The process id of the only engine. */
function engineId() {
  const children = read(`/proc/${process.pid}/task/${process.pid}/children`).trim().split(' ');
  const [pid, ...others] = children.filter((one) => read(`/proc/${one}/cmdline`) === `${engine}\0`);
  assert.deepEqual(others, []);
  return pid;
}

/** Settles when a process is busy, or idle. */
async function untilBusy(pid, isBusy = true) {
  const ticks = () => read(`/proc/${pid}/stat`).split(' ').slice(13, 15).join();
  await until(async () => {
    const before = ticks();
    await pause(200);
    return (ticks() !== before) === isBusy;
  }, `an engine that is ${isBusy ? 'busy' : 'idle'}`);
}

tabTest('pieces are dragged and clicked, legal targets shown, and answered', async (page) => {
  await newGame(page);
  await drag(page, 'e2', 'e5'); // illegal
  await drag(page, 'e7', 'e5'); // not the person's
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
  const heightOf = async () => (await pieceOn(page, 'f3').boundingBox())?.height;
  await until(async () => (await heightOf()) > 30, 'a knight that can be seen');
  assert.equal(await page.locator('#board .marker-target').count(), 0);
  await page.click('#back');
  await waitMoves(page, 2);
});

tabTest('castling by drag also moves the rook, en passant removes the pawn', async (page) => {
  await setFen(page, '4k3/8/8/8/4p3/8/3P4/4K2R w K - 0 1');
  await click(page, 'd2', 'd4');
  await drag(page, 'e4', 'd3');
  await until(async () => (await pieceOn(page, 'd4').count()) === 0, 'the pawn to be gone');
  await drag(page, 'e1', 'g1');
  await until(async () => (await pieceOn(page, 'f1').count()) === 1, 'the rook to come along');
  await seeMoves(page, 'd4', 'exd3', 'O-O');
  // For screen readers.
  await see(page, '#last-move', 'White castles kingside');
});

tabTest('a promotion asks for the piece and can be cancelled', async (page) => {
  await playFrom(page, '8/P6k/8/8/8/8/8/K7 w - - 0 1');
  await drag(page, 'a7', 'a8');
  await page.locator('.promotion-dialog-button-group').nth(3).waitFor();
  await page.keyboard.press('Escape');
  await pieceOn(page, 'a7').waitFor();
  await seeMoves(page);
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

tabTest('a mate ends the game, by either side; the person can take back', async (page) => {
  await playFrom(page, mateInOne);
  await drag(page, 'a1', 'a8');
  await see(page, '#status', 'Checkmate: White wins (1-0)');
  await drag(page, 'g8', 'h8');
  await drag(page, 'g1', 'h1');
  await seeMoves(page, 'Ra8#');
  assert.equal(await page.isDisabled('#go'), true);
  await playFrom(page, matedInOne);
  await click(page, 'g1', 'h1');
  await see(page, '#status', 'Checkmate: Black wins (0-1)');
  await seeMoves(page, 'Kh1', 'Ra1#');
  await page.click('#back');
  await seeMoves(page);
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

tabTest('"move now" makes the engine play at once', async (page) => {
  await newGame(page, { pace: 'time', fields: { seconds: '3000' } });
  await click(page, 'd2', 'd4');
  await see(page, '#status', 'is thinking');
  await see(page, '#lines .line', '1...');
  // It isn't the person's turn, nor are these the person's pieces.
  await drag(page, 'e7', 'e5');
  await drag(page, 'e2', 'e4');
  await seeMoves(page, 'd4');
  await page.click('#go');
  await waitMoves(page, 2);
  await see(page, '#status', 'Your move (White)');
});

tabTest('analysis shows lines, follows the moves, plays what is clicked, stops', async (page) => {
  await setFen(page, 'r2q1rk1/1b2bppp/p1n1pn2/1p6/3N4/1BN1P3/PP2QPPP/R1BR2K1 b - - 3 13');
  const pid = engineId();
  await untilBusy(pid, false);
  await page.click('#go');
  await until(async () => (await page.locator('#lines .line').count()) === 3, 'three lines');
  await see(page, '#lines .line', /^13\.\.\. ?\S+ 14\. ?\S+/);
  await see(page, '#score', /^[+\u2212]?\d+\.\d\d$/);
  await until(async () => Number(await page.textContent('#depth')) >= 10, 'depth 10');
  assert.equal(await page.locator('#board .arrow-engine').count(), 3);
  assert.equal(await page.locator('#graph .point').count(), 1);
  await page.click('#show-depths');
  await page.locator('#depths .line').first().waitFor();
  await page.selectOption('#line-count', '1');
  await until(async () => (await page.locator('#lines .line').count()) === 1, 'one line');
  await click(page, 'c6', 'd4');
  await see(page, '#lines .line', /^14\. /);
  await page.click('#go');
  await see(page, '#go', 'Go');
  await untilBusy(pid, false);
  const third = page.locator('#lines .line button').nth(2);
  const moves = await page.locator('#lines .line button').allTextContents();
  await third.hover();
  await page.locator('.preview svg').waitFor();
  await third.click();
  await seeMoves(page, 'Nxd4', ...moves.slice(0, 3));
});

tabTest('the same position in another game is analysed anew', async (page) => {
  await page.click('#mode-analyse');
  await see(page, '#lines .line', /^1\. ?\S+/);
  await setFen(page, startFen);
  await see(page, '#lines .line', /^1\. ?\S+/);
});

tabTest('mates are counted as people count them, in both directions', async (page) => {
  await page.click('#mode-analyse');
  // 1... Kh1 is forced, then Ra1 mates; by the rules, not by a program.
  await setFen(page, matedInOne);
  await see(page, '#score', /^\u2212M1$/);
  await setFen(page, mateInOne);
  await see(page, '#score', /^\+M1$/);
  assert.match(await page.getAttribute('#bar-white', 'style'), /height: 100/);
});

tabTest('a killed engine is started again and the search goes on', async (page) => {
  await page.click('#mode-analyse');
  await untilBusy(engineId());
  process.kill(engineId(), 'SIGKILL');
  await see(page, '.message', /stopped and was restarted; the search goes on/);
  await untilBusy(engineId());
  // An engine that is killed while it thinks about its move still plays one.
  await newGame(page, { pace: 'time', fields: { seconds: '2' } });
  await click(page, 'e2', 'e4');
  await untilBusy(engineId());
  process.kill(engineId(), 'SIGKILL');
  await waitMoves(page, 2);
});

tabTest('two tabs have two games and engines, which end with them', async (page, { open }) => {
  const other = await open();
  assert.equal(sessions.size, 2);
  await newGame(page);
  await newGame(other, { side: 'b' });
  // A browser slows down a page that is not visible.
  await page.bringToFront();
  await click(page, 'a2', 'a4');
  await waitMoves(page, 2);
  await waitMoves(other, 1);
  assert.equal((await movesOf(page))[0], 'a4');
  await other.close();
  await until(() => sessions.size === 1, 'the end of one engine');
  await click(page, 'h2', 'h4');
  await waitMoves(page, 4);
});

const pgn = `[Event "Opera"]
[White "Morphy"]
[Black "Allies"]
[Result "1-0"]

1. e4 e5 2. Nf3 d6 (2... Nc6 $1 3. Bb5 (3. Bc4 Bc5) 3... a6 {Spanish}) 3. d4 Bg4 {weak} 4. dxe5 Bxf3
5. Qxf3 dxe5 6. Bc4 Nf6 7. Qb3 Qe7 8. Nc3 c6 9. Bg5 b5 10. Nxb5 cxb5 11. Bxb5+ Nbd7 12. O-O-O Rd8
13. Rxd7 Rxd7 14. Rd1 Qe6 15. Bxd7+ Nxd7 16. Qb8+ Nxb8 17. Rd8# 1-0
`;

/** Variations, comments and glyphs of a PGN as they are in the tree. */
const shapeOf = (text) => {
  const shape = ({ san, nags, comment, children }) => [san, nags, comment, children.map(shape)];
  return shape(readGame(text).root);
};

tabTest('a game is loaded, stepped through, changed and exported as a tree', async (page, { context }) => {
  await loadPgn(page, pgn);
  await waitMoves(page, 33);
  await see(page, '#player-bottom .name', 'Morphy');
  await see(page, '#moves .variation', /2\.\.\. ?Nc6! 3\. ?Bb5 \(3\. ?Bc4 Bc5\) 3\.\.\. ?a6 Spanish/);
  assert.deepEqual(shapeOf(await textOf(page, '#pgn')), shapeOf(pgn));
  await page.click('#moves .main >> nth=4');
  // After 3. d4, written down by hand.
  const fen = 'rnbqkbnr/ppp2ppp/3p4/4p3/3PP3/5N2/PPP2PPP/RNBQKB1R b KQkq - 0 3';
  assert.equal(await textOf(page, '#fen'), fen);
  await page.mouse.move(...(await pointOf(page, 'e5')));
  await page.mouse.wheel(0, 100);
  await until(async () => (await pieceOn(page, 'g4').count()) === 1, 'the next move by wheel');

  // A different move starts a variation, which gets a mark and a comment and becomes the main line.
  await page.keyboard.press('ArrowLeft');
  await type(page, 'exd4');
  await page.locator('#moves').focus();
  await page.keyboard.press('1');
  await page.keyboard.press('c');
  await page.fill('#comment-dialog textarea', 'Takes {the} pawn');
  await page.click('#comment-dialog button[value=take]');
  await see(page, '#moves .variation', /3\.\.\. ?exd4! Takes {the\) pawn/);
  assert.equal((await movesOf(page)).length, 33);
  await page.click('#moves .variation .move:has-text("exd4")', { button: 'right' });
  await page.click('#move-menu >> text=Make main line');
  await seeMoves(page, 'e4', 'e5', 'Nf3', 'd6', 'd4', 'exd4');
  await page.keyboard.press('Delete');
  await see(page, '.message', 'were removed');
  await waitMoves(page, 33);
  await page.click('.message button:has-text("Undo")');
  await seeMoves(page, 'e4', 'e5', 'Nf3', 'd6', 'd4', 'exd4');

  await page.click('#exchange');
  const [download] = await Promise.all([page.waitForEvent('download'), page.click('#pgn-save')]);
  const saved = readGame(read(await download.path()));
  assert.deepEqual([saved.tags.White, saved.result], ['Morphy', '1-0']);
  assert.equal(saved.nodes().length, readGame(pgn).nodes().length + 1);
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
    ['#fen', '#fen-set', '4k3/4R3/8/8/8/8/8/4K3 w - - 0 1', /in check/],
    ['#fen', '#fen-set', '<img src=x onerror=alert(1)> w - - 0 1', /FEN/],
    ['#pgn', '#pgn-load', '', /no game/],
    ['#pgn', '#pgn-load', '[Event "x"]\n\n1. Ke3', /Line 3, column 4: 1\. Ke3 is not a legal move/],
    ['#pgn', '#pgn-load', '{never closed 1. e4', /./],
  ]) {
    await page.fill(field, text);
    await page.click(button);
    assert.match(await page.textContent('#exchange-error'), message, text);
    assert.equal(await page.isVisible('#exchange-error'), true);
  }
  await page.keyboard.press('Escape');
  assert.deepEqual(await movesOf(page), before);
  await type(page, 'Ke5');
  await see(page, '.message', 'Ke5 is not a legal move');
  assert.deepEqual(await movesOf(page), before);
  // The legal moves before an illegal one are kept.
  await loadPgn(page, '1. e4 e5 2. Ke3');
  await see(page, '.message', 'Line 1, column 13: 2. Ke3 is not a legal move');
  await seeMoves(page, 'e4', 'e5');
});

tabTest('games are loaded by link, paste, drop and from a list', async (page, { open }) => {
  const fen = '4k3/8/8/8/8/8/8/R3K3 w Q - 0 1';
  const linked = await open(`#fen=${fen.replaceAll(' ', '_')}`);
  assert.equal(await textOf(linked, '#fen'), fen);
  const sent = await open(`#pgn=${encodeURIComponent('1. d4 d5 (1... Nf6) *')}`);
  await seeMoves(sent, 'd4', 'd5');
  await page.bringToFront();
  const hand = (kind, text, name) => page.evaluate(([event, data, fileName]) => {
    const transfer = new DataTransfer();
    if (fileName) transfer.items.add(new File([data], fileName));
    else transfer.setData('text/plain', data);
    const Kind = event === 'paste' ? ClipboardEvent : DragEvent;
    const key = event === 'paste' ? 'clipboardData' : 'dataTransfer';
    document.body.dispatchEvent(new Kind(event, { [key]: transfer, bubbles: true, cancelable: true }));
  }, [kind, text, name]);
  await hand('paste', '1. c4 e5');
  await seeMoves(page, 'c4', 'e5');
  const two = '[White "Ann"]\n[Black "Ben"]\n\n1. e4 *\n\n[White "Cleo"]\n[Black "Dan"]\n\n1. d4 1-0\n';
  await hand('drop', two, 'two.pgn');
  await page.fill('#filter', 'cleo');
  await page.click('#library [role=option]');
  await seeMoves(page, 'd4');
  await see(page, '#player-bottom .name', 'Cleo');
  await page.click('#games');
  await page.click('#library [role=option] >> nth=0');
  await seeMoves(page, 'e4');
  await page.click('#exchange');
  await page.setInputFiles('#file', file('one.pgn', '1. b3 *'));
  await seeMoves(page, 'b3');
});

tabTest('a file of many games opens a list that grows and can be filtered', async (page) => {
  const games = Array.from({ length: 450 }, (_, i) => `[White "No. ${i}"]\n\n1. e4 {${'x'.repeat(99)}} *\n`);
  await page.click('#exchange');
  await page.setInputFiles('#file', file('many.pgn', games.join('\n')));
  await see(page, '#library h2', '450 games');
  const rows = page.locator('#library [role=option]');
  assert.equal(await rows.count(), 200);
  await see(page, '#more-games', '250 more');
  await page.click('#more-games');
  assert.equal(await rows.count(), 400);
  await page.fill('#filter', 'nobody');
  await see(page, '#library', 'No game contains all these words');
  await page.fill('#filter', 'no. 444');
  await page.press('#filter', 'Enter');
  await see(page, '#player-bottom .name', 'No. 444');
  await see(page, '#games', '445 of 450');
});

tabTest('a position is set up in the editor', async (page) => {
  await page.keyboard.press('e');
  await page.click('#edit-clear');
  await page.click('#edit-set');
  await see(page, '#edit-error', 'king');
  for (const [piece, square, act] of [
    ['white king', 'e1', (locator) => locator.click()],
    ['black king', 'e8', (locator) => locator.press('Enter')],
    ['white rook', 'h1', (locator) => locator.press(' ')],
  ]) {
    await page.click(`.palette [aria-label="${piece}"]`);
    await act(page.locator(`[data-edit=${square}]`));
  }
  await page.click('.palette [aria-label="white rook"]'); // and now to move pieces
  await page.dragAndDrop('[data-edit=h1]', '[data-edit=a1]');
  await page.check('input[name=turn][value=b]');
  await page.click('#edit-set');
  assert.equal(await textOf(page, '#fen'), '4k3/8/8/8/8/8/8/R3K3 b Q - 0 1');
});

tabTest('the keyboard alone is enough: typed moves, arrows, variations, dialogs', async (page) => {
  await page.click('#mode-analyse');
  await page.click('#go');
  await page.focus('#typed');
  for (const move of ['e4', 'e7e5', 'nf3', 'Nc6', 'Bb5', 'a6', '0-0']) {
    await page.keyboard.type(`${move}\n`);
  }
  await seeMoves(page, 'e4', 'e5', 'Nf3', 'Nc6', 'Bb5', 'a6', 'O-O');
  await page.focus('#moves');
  const current = () => page.locator('#moves [aria-current]').allTextContents();
  await page.keyboard.press('ArrowLeft');
  assert.match(String(await current()), /^a6/);
  await page.keyboard.press('Home');
  assert.deepEqual(await current(), []);
  await page.keyboard.press('End');
  assert.match(String(await current()), /^O-O/);
  await page.keyboard.press('u');
  assert.equal((await movesOf(page)).length, 6);
  await page.keyboard.press('Home');
  await type(page, 'd4');
  await page.focus('#moves');
  await page.keyboard.press('ArrowUp');
  assert.match(String(await current()), /^e4/);
  // Keys go to the page again as soon as a dialog is closed, by whatever means.
  const isTurned = async () => (await pointOf(page, 'e8'))[1] > (await pointOf(page, 'e1'))[1];
  for (const [key, id, close] of [['?', 'keys', 'Escape'], ['s', 'settings', 'Escape'], ['n', 'new-game', '']]) {
    await page.keyboard.press(key);
    await page.locator(`#${id}[open]`).waitFor();
    await page.keyboard.press('f');
    if (close) await page.keyboard.press(close);
    else await page.click(`#${id} button[value=cancel]`);
    assert.equal(await isTurned(), false);
    await page.keyboard.press('f');
    await until(isTurned, 'a turned board');
    await page.keyboard.press('f');
    await until(async () => !(await isTurned()), 'a board as before');
  }
  await page.keyboard.press('m');
  await page.locator('#move-menu button:focus').waitFor();
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  await see(page, '#moves .move', 'e4?');
  await page.locator('#moves:focus').waitFor();
});

tabTest('controls have names, and a screen reader can read the board', async (page, { context }) => {
  await loadPgn(page, '1. e4 e5 (1... c5 {Sicilian}) 2. Nf3');
  await waitMoves(page, 3);
  await page.click('#last');
  await page.click('#go');
  await see(page, '#lines .line', /^2\.\.\. ?\S+/);
  const client = await context.newCDPSession(page);
  const roles = /^(button|textbox|searchbox|combobox|checkbox|radio|spinbutton|option|tab|tabpanel|tablist|menu\w*|dialog|image|list|listbox|group|region)$/;
  const nameless = async () => {
    const { nodes } = await client.send('Accessibility.getFullAXTree');
    const used = nodes.filter(({ ignored, role }) => !ignored && roles.test(role?.value));
    assert.ok(used.length > 1);
    return used.filter(({ name }) => !name?.value).map(({ role }) => role.value);
  };
  assert.deepEqual(await nameless(), []);
  await see(page, '#last-move', 'White: knight to f3');
  const pieces = await page.textContent('#pieces');
  assert.match(pieces, /White: king e1, queen d1, rook a1, rook h1, .* pawn e4, .*Black: .* pawn e5/s);
  for (const key of ['w', 'n', 's', 'p', 'e', '?', 'c', 'm']) {
    await page.keyboard.press(key);
    if (key === 'm') await page.locator('#move-menu').waitFor();
    else if (key === 'w') await page.locator('.why-row').first().waitFor();
    else await page.locator('dialog[open]').waitFor();
    assert.deepEqual(await nameless(), [], key);
    if (key === 'w') await page.click('#tab-moves');
    else await page.keyboard.press('Escape');
  }
});

tabTest('settings are kept, and so is a game when the page is loaded again', async (page) => {
  await newGame(page);
  await click(page, 'e2', 'e4');
  await waitMoves(page, 2);
  await page.keyboard.press('s');
  await see(page, '#engine-place', '(native)');
  // The page's own engine isn't built here.
  assert.equal(await page.locator('input[name=place]').count(), 0);
  await page.check('input[name=pace][value=level]');
  await page.selectOption('select[name=level]', '2');
  await page.fill('input[name=hash]', '32');
  await page.click('#settings button[value=take]');
  await see(page, '#engine-state', '32 MB');
  const before = await movesOf(page);
  await page.reload();
  await waitMoves(page, 2);
  assert.deepEqual(await movesOf(page), before);
  await see(page, '#engine-state', '32 MB');
  await see(page, '#pace', 'Level 2');
  await see(page, '#status', 'Your move (White)');
  await page.keyboard.press('s');
  await page.selectOption('select[name=engine]', { index: 1 });
  await page.click('#settings button[value=take]');
  await see(page, '#engine-state', 'Fake');
  // Analysis goes on with whichever engine it is.
  await page.click('#mode-analyse');
  await see(page, '#lines .line', /^2\. ?\S+/);
  // The other one has no more to find.
  await see(page, '#go', 'Go');
  await page.keyboard.press('s');
  await page.selectOption('select[name=engine]', { index: 0 });
  await page.click('#settings button[value=take]');
  await see(page, '#engine-state', 'Quillon');
  await until(async () => Number(await page.textContent('#depth')) > 12, 'more than the 12 of the other');
});

tabTest('a whole game gets its scores and a report, and the graph goes where it is clicked', async (page) => {
  await loadPgn(page, '1. e4 e5 2. Qh5 Ke7 3. Qxe5#');
  await waitMoves(page, 5);
  await page.click('#review');
  await see(page, '.message', 'Every position of the game has a score');
  const blunder = page.locator('#report .is-blunder');
  await see(page, '#report .is-blunder', /2\.\.\. Ke7\?\?.*Blunder: .* to \+M1/s);
  await see(page, '#report', 'accuracy');
  await blunder.locator('button').first().click();
  await page.click('#tab-moves');
  assert.match(await page.textContent('#moves [aria-current]'), /^Ke7\?\?\+M1/);
  assert.equal(await page.locator('#graph .blunder').count(), 1);
  const { x, y, width, height } = await page.locator('#graph').boundingBox();
  await page.mouse.click(x + 1, y + height / 2);
  assert.equal(await page.locator('#moves [aria-current]').count(), 0);
  await page.mouse.click(x + width / 10, y + height / 2);
  assert.match(await page.textContent('#moves [aria-current]'), /^e5/);
  await page.click('#tab-report');
  const [download] = await Promise.all([page.waitForEvent('download'), page.click('#report-pgn')]);
  const [, , , bad] = readGame(read(await download.path())).lineFrom();
  assert.deepEqual([bad.san, bad.nags], ['Ke7', [4]]);
  const [page2] = await Promise.all([page.waitForEvent('download'), page.click('#report-html')]);
  assert.match(read(await page2.path()), /^<!doctype html>[^]*Ke7/i);
});

tabTest('the report is that of tools/analyse, whatever was searched before', async (page) => {
  await page.keyboard.press('s');
  await page.check('input[name=scoring][value=depth]');
  await page.fill('input[name=scoringDepth]', '10');
  await page.click('#settings button[value=take]');
  await page.click('#mode-analyse');
  const moves = 'e4 e5 Nf3 Nc6 Bc4 Bc5 d3 Nf6 Ng5 O-O h4 h6 Nxf7 Rxf7 Bxf7+ Kxf7 g4 Nxg4 Qxg4 d6 Qf3+';
  await loadPgn(page, `[White "Ann"]\n[TimeControl "60"]\n\n${moves} {[%clk 0:40]} *`);
  await page.keyboard.press('ArrowRight');
  await until(async () => Number(await page.textContent('#depth')) >= 12, 'depth 12');
  await page.click('#review');
  await see(page, '.message', 'Every position of the game has a score');
  const table = await page.locator('#report tbody tr').evaluateAll((rows) =>
    rows.map(({ cells }) => [...cells].map(({ textContent }) => textContent).join(' ')));
  // The reasons of blunders come a little later.
  await see(page, '#report .is-blunder p', 'After 9... Nxg4 Black');
  const [download] = await Promise.all([page.waitForEvent('download'), page.click('#report-pgn')]);
  const other = file('analysed.pgn');
  const args = ['--depth', '10', '--hash', '16', '--engine', engine, '--report', '--pgn', other];
  const { out, err } = await run('analyse', [...args, file('blunders.pgn', await textOf(page, '#pgn'))]);
  assert.ok(table.length >= 5, err);
  const printed = out.split('\n').map((line) => line.trim().replace(/ +/g, ' '));
  for (const row of table) assert.ok(printed.includes(row), `${row} is not in ${out}`);
  // One says how deep it searched with each score, the other with its name.
  const plain = (text) => text.replace(/^\[Annotator .*\n/m, '').replace(/,\d+(?=\])/g, '').split(/\s+/);
  assert.deepEqual(plain(read(await download.path())), plain(read(other)));
});

tabTest('the evaluation is explained, and pointing at a row marks its squares', async (page) => {
  // Nothing but a rook more, whose square is marked.
  await setFen(page, '4k3/8/8/8/8/8/8/R3K3 w - - 0 1');
  await page.keyboard.press('w');
  const row = page.locator('.why-row', { hasText: 'Material' }).first();
  await row.hover();
  await page.locator('#board .marker-good').waitFor();
  assert.equal(await page.locator('#board .markers g[data-square=a1] .marker-good').count(), 1);
  await see(page, '#why-said', /rook on a1: \+\d\.\d\d/);
  await row.click();
  await page.locator('.why-row.is-term').first().waitFor();
  const total = await page.locator('.is-total .figure').textContent();
  assert.match(total, /^\+[4-9]\.\d\d$/);
  await type(page, 'Ra8');
  await see(page, '#why', 'What did Ra8+ change?');
  await page.locator('.why-row.is-change').first().waitFor();
  // The sentences don't cover the row that they explain, however low it is.
  const last = page.locator('.why-row').last();
  await last.hover();
  await page.locator('#why-said').waitFor();
  const boxes = [last, page.locator('#why-said')].map((one) => one.boundingBox());
  const [box, said] = await Promise.all(boxes);
  assert.ok(said.y + said.height <= box.y || box.y + box.height <= said.y);
});

tabTest('arrows and circles are drawn by the right button and go with the position', async (page) => {
  await drag(page, 'e2', 'e4', 'right');
  await drag(page, 'd4', 'd4', 'right');
  const arrow = page.locator('#board .arrow-success .arrow-line');
  const circle = page.locator('#board .marker-circle-success');
  for (const one of [arrow, circle]) {
    // Green.
    assert.equal(await one.evaluate((node) => getComputedStyle(node).stroke), 'rgb(42, 157, 63)');
  }
  const seen = async () => [await arrow.count(), await circle.count()];
  await seeMoves(page);
  await page.click('#mode-analyse');
  await type(page, 'd4');
  await seeMoves(page, 'd4');
  assert.deepEqual(await seen(), [0, 0]);
  await page.click('#first');
  await until(async () => String(await seen()) === '1,1', 'the arrow and the circle');
  assert.match(await textOf(page, '#pgn'), /\[%cal Ge2e4\] \[%csl Gd4\]\}\s1\. d4/);
  await page.reload();
  await until(async () => String(await seen()) === '1,1', 'the arrow and the circle');
  await drag(page, 'e2', 'e4', 'right');
  await drag(page, 'd4', 'd4', 'right');
  assert.deepEqual(await seen(), [0, 0]);
  assert.doesNotMatch(await textOf(page, '#pgn'), /%c[as]l/);
  await loadPgn(page, '1. e4 {[%cal Rd2d4,Yg1f3] [%csl Be5]} e5');
  await page.click('#next');
  for (const kind of ['arrow-danger', 'arrow-warning', 'marker-circle-info']) {
    await page.locator(`#board .${kind}`).waitFor({ state: 'attached' });
  }
});

test('a page goes on when its server is back', { timeout: 60000 }, async () => {
  let board = await startBoard({ ...settings, port: 0 });
  const page = await browser.newPage();
  try {
    await page.goto(board.url);
    await page.locator('#engine-state', { hasText: 'Quillon' }).waitFor();
    await board.close();
    await see(page, '#engine-state', 'offline');
    await click(page, 'e2', 'e4');
    await see(page, '#status', 'Waiting for Quillon');
    board = await startBoard({ ...settings, port: Number(new URL(board.url).port) });
    await waitMoves(page, 2);
  } finally {
    await page.close();
    await board.close();
  }
});

tabTest('both sides have a clock, and a side that runs out of time loses', async (page) => {
  await page.clock.install();
  await newGame(page, { pace: 'clock', fields: { minutes: '1', increment: '2' } });
  assert.equal(await page.textContent('#player-bottom .clock'), '1:00');
  await page.clock.fastForward(5000);
  // The clocks start with the first move.
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

for (const [width, height] of [[320, 640], [390, 800], [900, 700], [2560, 1440]]) {
  const isSmall = width < 600;
  tabTest(`all fits on a screen of ${width} by ${height}, by touch`, async (page) => {
    await newGame(page);
    await page.touchscreen.tap(...(await pointOf(page, 'e2')));
    await page.touchscreen.tap(...(await pointOf(page, 'e4')));
    await waitMoves(page, 2);
    const [scroll, board] = await page.evaluate(() => [
      document.documentElement.scrollWidth,
      document.querySelector('#board').getBoundingClientRect().toJSON(),
    ]);
    assert.ok(Math.max(scroll, board.right) <= width, `${scroll} ${board.right}`);
    await loadPgn(page, `[White "${'Long '.repeat(20)}"]\n[Black "${'x'.repeat(99)}"]\n\n1. e4 {[%clk 1:00:00]} *`);
    await waitMoves(page, 1);
    const isWide = () => document.documentElement.scrollWidth > window.innerWidth;
    assert.equal(await page.evaluate(isWide), false);
    // The board is there whatever is looked at.
    await page.click('#tab-why');
    await page.locator('.why-row').last().scrollIntoViewIfNeeded();
    assert.ok((await page.locator('#board').boundingBox()).y >= 0);
    // The board has what room there is.
    assert.ok(board.width > (isSmall ? 0.88 * width : 0.6 * Math.min(width, height)), `${board.width}`);
  }, { viewport: { width, height }, hasTouch: true, isMobile: isSmall, colorScheme: 'dark' });
}
