// SPDX-License-Identifier: MIT
// Headless Chromium, and a server of static files for it.

import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import { chromium } from 'playwright-core';

const types = {
  '.html': 'text/html',
  '.mjs': 'text/javascript',
  '.js': 'text/javascript',
  '.css': 'text/css',
  '.svg': 'image/svg+xml',
  '.wasm': 'application/wasm',
  '.webmanifest': 'application/manifest+json',
};

/** What a page needs to share memory between threads. */
export const isolation = {
  'Cross-Origin-Opener-Policy': 'same-origin',
  'Cross-Origin-Embedder-Policy': 'require-corp',
};

/** Starts Chromium. */
export function launch(...args) {
  if (process.getuid() === 0) args.push('--no-sandbox');
  return chromium.launch({ executablePath: '/usr/bin/chromium', args });
}

/** What the pages of a context complain of, as it comes. */
export function faultsOf(context) {
  const faults = [];
  context.on('console', (message) => message.type() === 'error' && faults.push(message.text()));
  context.on('weberror', (error) => faults.push(String(error.error())));
  return faults;
}

/** Waits until a text in the page matches. */
export const see = (page, selector, hasText) =>
  page.locator(selector).filter({ hasText }).first().waitFor();

export const waitMoves = (page, count) =>
  page.waitForFunction((n) => document.querySelectorAll('#moves .main').length === n, count);

/** Types moves below the board. */
export async function type(page, ...moves) {
  for (const move of moves) {
    await page.fill('#typed', move);
    await page.press('#typed', 'Enter');
  }
}

/** Serves the files of a folder, and an empty page if it has none. Resolves to its address. */
export async function serve(folder, headers = {}) {
  const server = http.createServer((request, response) => {
    const { pathname } = new URL(request.url, 'http://localhost');
    const file = path.join(folder, pathname.replace(/\/$/, '/index.html'));
    if (fs.existsSync(file) && fs.statSync(file).isFile()) {
      response.writeHead(200, { 'Content-Type': types[path.extname(file)] ?? '', ...headers });
      fs.createReadStream(file).pipe(response);
    } else if (pathname === '/') {
      response.writeHead(200, { 'Content-Type': 'text/html', ...headers });
      response.end('<!doctype html><title>Quillon</title>');
    } else {
      response.writeHead(pathname === '/favicon.ico' ? 204 : 404);
      response.end();
    }
  });
  server.unref();
  await new Promise((done) => server.listen(0, '127.0.0.1', done));
  return `http://127.0.0.1:${server.address().port}/`;
}
