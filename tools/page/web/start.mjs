// SPDX-License-Identifier: MIT
//
// Starts a page that is not served by server.mjs. It first installs the service worker, which keeps
// the files and adds the headers that threads need; a page loaded without it is loaded again.

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

// Service workers may be missing without TLS and in private windows.
await startWorker().catch(() => {});
await import('./page.mjs');
