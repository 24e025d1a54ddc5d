// SPDX-License-Identifier: MIT
//
// Writes the board as a folder for any web host: the page, the libraries, the engine in
// WebAssembly, a service worker and what a phone needs to install it.

import { createHash } from 'node:crypto';
import fs from 'node:fs';
import path from 'node:path';
import { listFiles, markPage, ownStart, root } from './server.mjs';

const unused = /\/extensions\/(?!arrows|markers|promotion-dialog|right-click-annotator)/;
const manifest = {
  name: 'Quillon',
  description: 'Play chess against Quillon and analyse with it',
  start_url: './',
  display: 'standalone',
  background_color: '#2f6f64',
  theme_color: '#2f6f64',
  icons: [{ src: 'tools/page/web/icon.svg', sizes: 'any', type: 'image/svg+xml' }],
};

/** Many hosts leave out folders named node_modules. */
const libraries = (text) => text.replaceAll('node_modules/', 'libraries/');

/** What the page loads, by its place in the folder. */
function pageFiles(places) {
  const files = new Map();
  for (const [name, file] of places) {
    if (unused.test(name) || name === '/') continue;
    const content = fs.readFileSync(file);
    const isOwnText = /^\/tools.*\.(html|mjs)$/.test(name);
    files.set(libraries(name.slice(1)), isOwnText ? libraries(String(content)) : content);
  }
  const page = markPage(files.get('tools/page/web/index.html'), 'own')
    .replace('web/page.mjs', 'web/start.mjs')
    .replace('</title>', '</title>\n        <link rel="manifest" href="manifest.webmanifest" />');
  files.delete('tools/page/web/index.html');
  return files.set('index.html', page).set('manifest.webmanifest', JSON.stringify(manifest));
}

/** Writes the folder; files that are already in it are overwritten.
 *  @param {string} folder
 *  @param {string} [engine] the folder of its npm package, from the root of this project
 *  @throws when the package isn't built, or the folder can't be written */
export function exportBoard(folder, engine = 'build/wasm/package') {
  const places = listFiles(engine);
  if (!places.has(ownStart)) {
    const commands = 'cmake --preset wasm && cmake --build --preset wasm';
    throw new Error(`${engine} is missing; please build it: ${commands}`);
  }
  const files = pageFiles(places);
  const hash = createHash('sha256');
  for (const [place, content] of files) hash.update(place).update(content);
  const version = JSON.stringify(`quillon-${hash.digest('hex').slice(0, 12)}`);
  const kept = JSON.stringify([...files.keys()].map((place) => place.replace('index.html', './')));
  const worker = fs.readFileSync(path.join(root, 'tools/page/service-worker.js'));
  files.set('service-worker.js', `const version = ${version};\nconst files = ${kept};\n${worker}`);
  for (const name of ['cm-chessboard', 'chess.js', 'lit-html']) {
    const licence = fs.readFileSync(path.join(root, 'node_modules', name, 'LICENSE'));
    files.set(`libraries/${name}/LICENSE`, licence);
  }
  for (const [place, content] of files) {
    const file = path.join(folder, place);
    fs.mkdirSync(path.dirname(file), { recursive: true });
    fs.writeFileSync(file, content);
  }
}
