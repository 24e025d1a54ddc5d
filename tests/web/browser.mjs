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
  '.wasm': 'application/wasm',
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

/** Serves an empty page, and the files of a folder. Resolves to the page's address. */
export async function serve(folder, headers = {}) {
  const server = http.createServer((request, response) => {
    const { pathname } = new URL(request.url, 'http://localhost');
    const file = path.join(folder, pathname);
    if (pathname === '/') {
      response.writeHead(200, { 'Content-Type': 'text/html', ...headers });
      response.end('<!doctype html><title>Quillon</title>');
    } else if (fs.existsSync(file) && fs.statSync(file).isFile()) {
      response.writeHead(200, { 'Content-Type': types[path.extname(file)] ?? '', ...headers });
      fs.createReadStream(file).pipe(response);
    } else {
      response.writeHead(pathname === '/favicon.ico' ? 204 : 404);
      response.end();
    }
  });
  server.unref();
  await new Promise((done) => server.listen(0, '127.0.0.1', done));
  return `http://127.0.0.1:${server.address().port}/`;
}
