// SPDX-License-Identifier: MIT
//
// Makes the pictures of the board in docs/pictures: a game with clocks, and a game after its
// report. It needs the engine, quillon_explain and Debian's chromium, and takes a minute.

import path from 'node:path';
import { launch, type, waitMoves } from '../tests/web/browser.mjs';
import { root, startBoard } from '../tools/page/server.mjs';

const game = `[White "Morphy"]
[Black "Duke Karl / Count Isouard"]

1. e4 e5 2. Nf3 d6 3. d4 Bg4 4. dxe5 Bxf3 5. Qxf3 dxe5 6. Bc4 Nf6 7. Qb3 Qe7 8. Nc3 c6 9. Bg5 b5
10. Nxb5 cxb5 11. Bxb5+ Nbd7 12. O-O-O Rd8 13. Rxd7 Rxd7 14. Rd1 Qe6 15. Bxd7+ Nxd7 16. Qb8+ Nxb8
17. Rd8# 1-0`;
const file = path.join(root, 'build', 'release', 'quillon');
const picture = (name) => ({ path: path.join(root, 'docs', 'pictures', `board-${name}.png`) });

const board = await startBoard({ file, hash: 64, threads: 1, port: 0 });
const browser = await launch();
const page = await browser.newPage({
  viewport: { width: 1280, height: 800 },
  reducedMotion: 'reduce',
});
page.setDefaultTimeout(120000);
await page.goto(board.url);

await page.click('#new');
await page.check('input[value=clock]');
await page.click('#new-game button[value=take]');
for (const [i, move] of ['d4', 'Nf3', 'c4', 'Nc3'].entries()) {
  await type(page, move);
  await waitMoves(page, 2 * i + 2);
}
await page.click('#board rect[data-square=c1]');
await page.screenshot(picture('play'));

await page.click('#exchange');
await page.fill('#pgn', game);
await page.click('#pgn-load');
await page.click('#review');
await page.locator('.marked button').first().click();
await page.click('#go');
await page.locator('#lines .line').nth(2).waitFor();
await page.waitForFunction(() => Number(document.querySelector('#depth').textContent) > 17);
await page.click('#tab-why');
await page.hover('.why-row:has-text("Mobility")');
await page.screenshot(picture('analysis'));
await browser.close();
await board.close();
