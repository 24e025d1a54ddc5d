// SPDX-License-Identifier: MIT
//
// The board's web server: serves a fixed set of files and gives each tab an engine over a WebSocket.
// It answers only its own page. By default it listens on the loopback address; on others, all paths
// begin with a secret.

import { randomBytes } from 'node:crypto';
import fs from 'node:fs';
import http from 'node:http';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { Engine } from '../lib/uci.mjs';
import { Explainer } from './explainer.mjs';
import { Session } from './session.mjs';

export const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..', '..');
/** Files, and folders with all files in them, that the page may load, by the same paths. */
const places = [
  'tools/page/web',
  'tools/lib/chess.mjs',
  'tools/lib/game-tree.mjs',
  'tools/lib/diagram.mjs',
  'tools/lib/openings.mjs',
  'tools/lib/report.mjs',
  'tools/lib/report-html.mjs',
  'node_modules/chess.js/dist/esm',
  'node_modules/cm-chessboard/src',
  'node_modules/cm-chessboard/assets/chessboard.css',
  'node_modules/cm-chessboard/assets/extensions/promotion-dialog/promotion-dialog.css',
  'node_modules/lit-html/lit-html.js',
  'node_modules/lit-html/directive.js',
  'node_modules/lit-html/directive-helpers.js',
  'node_modules/lit-html/directives/live.js',
];
/** The file that starts an engine in the page, and the others that it needs. */
export const ownStart = '/engine/index.mjs';
const ownPlaces = ['tools/page/session.mjs', 'tools/lib/conversation.mjs', 'tools/lib/lines.mjs'];
const types = {
  '.html': 'text/html; charset=utf-8',
  '.css': 'text/css; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
  '.mjs': 'text/javascript; charset=utf-8',
  '.svg': 'image/svg+xml; charset=utf-8',
  '.wasm': 'application/wasm',
};
/** Bytes of the longest message of a page: a position and a thousand moves fit easily. */
const longestMessage = 16384;
/** Bytes; a page that leaves more than this unread counts as gone. */
const mostUnsent = 4 << 20;
/** Milliseconds for a page to confirm the end of its connection, and for an engine to end. */
const closeTimeout = 1000;
const loopback = '127.0.0.1';

/** Makes sure that a file or folder exists.
 *  @throws when it isn't */
function need(place) {
  if (fs.existsSync(path.join(root, place))) return;
  throw new Error(`${place} is missing; please run "npm ci"`);
}

/** The page's files by their path in a URL; no other file is served.
 *  @param {string} ownEngine the npm package of an engine that runs in the page, whose files are
 *      among them where it is built
 *  @returns {Map<string, string>}
 *  @throws when a folder is missing */
export function listFiles(ownEngine) {
  const files = new Map();
  const visit = (name) => {
    const file = path.join(root, name);
    if (fs.statSync(file).isDirectory()) {
      for (const each of fs.readdirSync(file)) visit(`${name}/${each}`);
    } else if (types[path.extname(name)]) files.set(`/${name}`, file);
  };
  for (const place of places) {
    need(place);
    visit(place);
  }
  files.set('/', files.get('/tools/page/web/index.html'));
  const folder = path.resolve(root, ownEngine);
  if (!fs.existsSync(path.join(folder, 'engine', 'quillon.wasm'))) return files;
  for (const name of ownPlaces) visit(name);
  const built = fs.readdirSync(path.join(folder, 'engine')).map((name) => `engine/${name}`);
  for (const name of ['index.mjs', 'worker.mjs', 'explain.mjs', ...built]) {
    if (types[path.extname(name)]) files.set(`/engine/${name}`, path.join(folder, name));
  }
  return files;
}

/** Tells the page where its engine can run: only in the page ("own"), or also on the server. */
export const markPage = (page, kind) => page.replace('<html ', `<html data-engine="${kind}" `);

function headersOf(hosts, hasOwnEngine) {
  const wasm = hasOwnEngine ? " 'wasm-unsafe-eval'" : '';
  const sockets = [...hosts].map((host) => `ws://${host}`).join(' ');
  return {
    // cm-chessboard sets style attributes (a dragged piece's place, the size of coordinates).
    'Content-Security-Policy':
      `default-src 'none'; script-src 'self'${wasm}; style-src 'self'; ` +
      "style-src-attr 'unsafe-inline'; " +
      `img-src 'self'; connect-src 'self' ${sockets}; base-uri 'none'; form-action 'none'; ` +
      "frame-ancestors 'none'",
    'X-Content-Type-Options': 'nosniff',
    'X-Frame-Options': 'DENY',
    'Referrer-Policy': 'no-referrer',
    // With these two a browser allows threads.
    'Cross-Origin-Opener-Policy': 'same-origin',
    'Cross-Origin-Embedder-Policy': 'require-corp',
    'Cross-Origin-Resource-Policy': 'same-origin',
    'Cache-Control': 'no-cache',
  };
}

/** Starts the server.
 *  @param {object} settings
 *  @param {string} settings.file the engine
 *  @param {{name: string, file: string}[]} [settings.engines] the engines to choose from; a tab
 *      starts with the first
 *  @param {string} [settings.explainFile] quillon_explain, unless it is in the engine's folder
 *  @param {number} settings.hash megabytes of each engine
 *  @param {number} settings.threads of each engine
 *  @param {number} settings.port 0 for any that is free
 *  @param {string} [settings.ownEngine] the npm package of an engine that runs in the page; it is
 *      a choice where it is built
 *  @param {string} [settings.host] address to listen on; any but the loopback address puts a secret
 *      into the URL
 *  @param {number} [settings.mostSessions] tabs that can have an engine at a time
 *  @param {number} [settings.stopPatience] milliseconds, after which an engine that doesn't stop is
 *      replaced
 *  @param {number} [settings.heartbeat] milliseconds between pings; a page that hasn't answered the
 *      one before is gone
 *  @returns {Promise<{url: string, sessions: Set<Session>, close: () => Promise<void>}>} close()
 *      ends all engines
 *  @throws when the port is taken, or a file of the page or a library is missing */
export async function startBoard({
  file,
  engines = [{ name: path.basename(file), file }],
  explainFile = path.join(path.dirname(file), 'quillon_explain'),
  hash,
  threads,
  port,
  ownEngine = 'build/wasm/package',
  host = loopback,
  mostSessions = 8,
  stopPatience = 5000,
  heartbeat = 15000,
}) {
  const files = listFiles(ownEngine);
  const hasOwnEngine = files.has(ownStart);
  need('node_modules/ws');
  // Not at the top, so that its absence can be reported in one line.
  const { WebSocket, WebSocketServer } = await import('ws');
  const wires = new WebSocketServer({
    noServer: true,
    maxPayload: longestMessage,
    perMessageDeflate: false,
    closeTimeout,
  });
  const sessions = new Set();
  const explainer = new Explainer(explainFile);
  const answering = new WeakSet();
  const isOpenToAll = host !== loopback;
  const base = isOpenToAll ? `/${randomBytes(16).toString('base64url')}/` : '/';
  /** The path after the secret, as in "/engine"; "" for a stranger's. */
  const pathOf = ({ url }) => (url.startsWith(base) ? url.slice(base.length - 1) : '');
  let hosts;
  let headers;

  // A page under another name that resolves to this address (DNS rebinding) is a foreign page.
  const isOwnHost = (request) => hosts.has(request.headers.host);
  const isOwnOrigin = ({ headers: { origin } }) =>
    origin?.startsWith('http://') && hosts.has(origin.slice(7));

  function answer(response, status, text, more = {}) {
    const type = { 'Content-Type': 'text/plain; charset=utf-8' };
    response.writeHead(status, { ...headers, ...type, ...more }).end(`${text}\n`);
  }

  const server = http.createServer({ maxHeaderSize: 8192 }, (request, response) => {
    if (!isOwnHost(request)) return answer(response, 421, 'not the name of this server');
    if (request.method !== 'GET' && request.method !== 'HEAD') {
      // What follows the head is not read.
      return answer(response, 405, 'GET only', { Allow: 'GET, HEAD', Connection: 'close' });
    }
    const name = files.get(pathOf(request).split('?')[0]);
    if (!name) return answer(response, 404, 'no such file');
    fs.readFile(name, (error, text) => {
      if (error) return answer(response, 500, 'cannot read the file');
      const isPage = hasOwnEngine && name.endsWith('index.html');
      const content = isPage ? Buffer.from(markPage(String(text), 'both')) : text;
      response.writeHead(200, {
        ...headers,
        'Content-Type': types[path.extname(name)],
        'Content-Length': content.length,
      });
      return response.end(request.method === 'HEAD' ? undefined : content);
    });
    return undefined;
  });

  server.on('upgrade', (request, socket, head) => {
    const refuse = (status) => {
      socket.on('error', () => {});
      socket.end(`HTTP/1.1 ${status}\r\nConnection: close\r\n\r\n`);
    };
    if (!isOwnHost(request)) return refuse('421 Misdirected Request');
    if (!isOwnOrigin(request)) return refuse('403 Forbidden');
    if (pathOf(request) !== '/engine') return refuse('404 Not Found');
    return wires.handleUpgrade(request, socket, head, open);
  });

  function open(wire) {
    // A connection that is closing still delivers messages, and counts what it can't send.
    const isOpen = () => wire.readyState === WebSocket.OPEN;
    const send = (message) => {
      if (!isOpen()) return;
      wire.send(JSON.stringify(message));
      if (wire.bufferedAmount > mostUnsent) wire.terminate();
    };
    answering.add(wire);
    wire.on('pong', () => answering.add(wire));
    wire.on('error', () => {}); // "close" follows
    if (sessions.size >= mostSessions) {
      send({
        type: 'refused',
        text: `${mostSessions} tabs already have an engine; close one and try again`,
      });
      wire.close(1013, 'too many tabs');
      return;
    }
    const start = (index) => Engine.start(engines[index].file);
    const names = engines.map(({ name }) => name);
    const explain = (fens) => explainer.explain(fens);
    const settings = { start, engines: names, explain, hash, threads, stopPatience };
    const session = new Session(settings, send);
    sessions.add(session);
    wire.on('message', (data, isBinary) => {
      if (!isOpen()) return;
      if (isBinary) {
        wire.close(1003, 'text only');
        return;
      }
      try {
        session.take(JSON.parse(data.toString()));
      } catch (error) {
        send({ type: 'error', text: error.message });
      }
    });
    wire.on('close', async () => {
      await session.end();
      sessions.delete(session);
    });
  }

  function beat() {
    for (const wire of wires.clients) {
      if (answering.delete(wire)) wire.ping();
      else wire.terminate();
    }
  }

  await new Promise((resolve, reject) => {
    server.once('error', reject);
    server.listen({ host, port }, resolve);
  });
  const actual = server.address().port;
  const names = [loopback, 'localhost'];
  if (isOpenToAll) {
    const own = Object.values(os.networkInterfaces()).flat();
    const outer = own.filter(({ family, internal }) => family === 'IPv4' && !internal);
    names.unshift(...outer.map(({ address }) => address), os.hostname(), `${os.hostname()}.local`);
    if (host !== '0.0.0.0') names.unshift(host);
  }
  hosts = new Set(names.map((name) => `${name.toLowerCase()}:${actual}`));
  headers = headersOf(hosts, hasOwnEngine);
  // Without TLS browsers take it from the loopback address only, and complain elsewhere.
  if (isOpenToAll) {
    delete headers['Cross-Origin-Opener-Policy'];
    delete headers['Cross-Origin-Embedder-Policy'];
  }
  const timer = setInterval(beat, heartbeat);

  async function close() {
    clearInterval(timer);
    server.close();
    server.closeIdleConnections();
    const closed = new Promise((resolve) => wires.close(resolve));
    for (const wire of wires.clients) wire.close(1001, 'the server has stopped');
    await Promise.all([closed, ...[...sessions].map((session) => session.end())]);
    server.closeAllConnections();
    explainer.end();
  }
  return { url: `http://${names[0]}:${actual}${base}`, sessions, close };
}
