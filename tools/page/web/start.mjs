// SPDX-License-Identifier: MIT
//
// Starts a page that has no server of ours. Its service worker comes first: it keeps the files, and
// with its headers the browser allows threads, though only to a page that is loaded through it.

async function startWorker() {
  const { serviceWorker } = navigator;
  const registration = await serviceWorker.register('service-worker.js');
  const worker = registration.installing;
  if (worker && !registration.active) {
    await new Promise((resolve) => {
      worker.onstatechange = () => /^(activated|redundant)$/.test(worker.state) && resolve();
    });
  }
  // Once only, as not every browser allows threads after that.
  if (window.crossOriginIsolated || !registration.active) return;
  if (sessionStorage.getItem('isReloaded')) return;
  sessionStorage.setItem('isReloaded', 'true');
  window.location.reload();
  await new Promise(() => {});
}

// Addresses without TLS and private windows can be without service workers.
await startWorker().catch(() => {});
await import('./page.mjs');
