#!/usr/bin/env node
// SPDX-License-Identifier: MIT
// The package's engine in a page of a running Chromium, used as a console: standard input goes to
// the engine, its lines to standard output. chromium.test.mjs sets both addresses.

import { chromium } from 'playwright-core';

const browser = await chromium.connectOverCDP(process.env.QUILLON_BROWSER);
const context = await browser.newContext();
const page = await context.newPage();
await page.exposeFunction('print', (line) => process.stdout.write(`${line}\n`));
await page.exposeFunction('finish', async (message) => {
  process.stdin.destroy();
  if (message) process.stderr.write(`quillon: ${message}\n`);
  await context.close();
  process.exit(message ? 1 : 0);
});
await page.goto(process.env.QUILLON_PAGE);
await page.evaluate(async (args) => {
  const { Quillon } = await import('/index.mjs');
  window.engine = await Quillon({ hash: 256, args });
  // The lines reach the console before the end does.
  let printed = Promise.resolve();
  window.engine.onLine = (line) => {
    const call = window.print(line);
    printed = printed.then(() => call);
  };
  window.engine.ended.then(async (fault) => {
    await printed;
    window.finish(fault?.message ?? '');
  });
}, process.argv.slice(2));

let isLineOpen = false;
let sent = Promise.resolve();
const send = (text) => {
  sent = sent.then(() =>
    page.evaluate((input) => window.engine.isRunning && window.engine.write(input), text));
};
process.stdin.setEncoding('latin1');
process.stdin.on('data', (text) => {
  isLineOpen = !text.endsWith('\n');
  send(text);
});
process.stdin.on('end', () => send(isLineOpen ? '\nquit\n' : 'quit\n'));
