// SPDX-License-Identifier: MIT
//
// The service worker of an exported page: keeps the files, so that the page works without a
// network, and adds the headers with which a browser allows threads. `files` and `version` are
// written above by export.mjs.

/* global files, version */

const isolation = {
  'Cross-Origin-Opener-Policy': 'same-origin',
  'Cross-Origin-Embedder-Policy': 'require-corp',
  'Cross-Origin-Resource-Policy': 'same-origin',
};

async function keepFiles() {
  const cache = await caches.open(version);
  await cache.addAll(files.map((file) => new Request(file, { cache: 'no-cache' })));
}

async function takeOver() {
  const others = (await caches.keys()).filter((name) => /^quillon-/.test(name) && name !== version);
  await Promise.all(others.map((name) => caches.delete(name)));
  await self.clients.claim();
}

async function answer(request) {
  const cache = await caches.open(version);
  const address = request.url.replace(/(index\.html)?([?#].*)?$/, '');
  const response = (await cache.match(address)) ?? (await fetch(request));
  const { body, status, statusText } = response;
  const headers = { ...Object.fromEntries(response.headers), ...isolation };
  return new Response(body, { status, statusText, headers });
}

self.addEventListener('install', (event) => event.waitUntil(keepFiles()));
self.addEventListener('activate', (event) => event.waitUntil(takeOver()));
self.addEventListener('fetch', (event) => {
  const { method, url } = event.request;
  if (method === 'GET' && url.startsWith(self.registration.scope)) {
    event.respondWith(answer(event.request));
  }
});
