// SPDX-License-Identifier: MIT
// Headless Chromium, and a server of static files for it.

import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import zlib from 'node:zlib';
import { chromium } from 'playwright-core';

const types = {
  '.html': 'text/html',
  '.css': 'text/css',
  '.js': 'text/javascript',
  '.mjs': 'text/javascript',
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

/** Serves the files of a folder, and an empty page if it has none of its own.
 *  @returns {Promise<{server: http.Server, url: string, sent: number, missing: string[]}>} `sent`
 *      counts bytes, each answer compressed; `missing` lists what was asked for in vain */
export async function serve(folder, headers = {}) {
  const server = http.createServer((request, response) => {
    const { pathname } = new URL(request.url, 'http://localhost');
    const file = path.join(folder, pathname.replace(/\/$/, '/index.html'));
    const isFile = fs.existsSync(file) && fs.statSync(file).isFile();
    if (!isFile && pathname !== '/') {
      site.missing.push(pathname);
      response.writeHead(pathname === '/favicon.ico' ? 204 : 404).end();
      return;
    }
    const content = isFile ? fs.readFileSync(file) : '<!doctype html><title>Quillon</title>';
    site.sent += zlib.gzipSync(content).length;
    response.writeHead(200, { 'Content-Type': types[path.extname(file)] ?? '', ...headers });
    response.end(content);
  });
  server.unref();
  await new Promise((done) => server.listen(0, '127.0.0.1', done));
  const url = `http://127.0.0.1:${server.address().port}/`;
  const site = { server, url, sent: 0, missing: [] };
  return site;
}
