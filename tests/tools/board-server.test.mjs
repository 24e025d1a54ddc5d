// SPDX-License-Identifier: MIT
// The board's server under hostile and unlucky conditions: foreign pages, invalid requests and
// messages, too many tabs, tabs that are silent or don't read, engines that end or hang, ports that
// are taken, signals.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import test from 'node:test';
import { WebSocket } from 'ws';
import { startFen } from '../../tools/lib/chess.mjs';
import { startBoard } from '../../tools/page/server.mjs';
import { checkUse, enginePath, file, folder, pause, read, root, run, until } from './support.mjs';

const options = ['Hash', 'Threads'].map((name) => `option name ${name} type spin`).join('\\n');

/** A UCI engine of a few lines: answers "go" with e2e4 unless it is told otherwise. */
function fakeEngine(name, onGo = "say('bestmove e2e4')") {
  const log = file(`${name}.log`, '');
  const program = `#!${process.execPath}
const fs = require('node:fs');
const say = (text) => fs.writeSync(1, text + '\\n');
const log = '${log}';
const note = (text) => fs.appendFileSync(log, text + '\\n');
note('start');
require('node:readline').createInterface({ input: process.stdin }).on('line', (line) => {
  note(line);
  if (line === 'uci') say('id name Fake\\n${options}\\nuciok');
  if (line === 'isready') say('readyok');
  if (line === 'quit') process.exit(0);
  if (line.startsWith('go')) { ${onGo} }
});
`;
  const starts = () => read(log).match(/^start$/gm).length;
  return { file: file(name, program, 0o755), log: () => read(log), starts };
}

const quick = fakeEngine('quick');
const boards = [];
/** For tests that wait for something to end. */
const limited = { timeout: 60000 };

async function start(settings = {}) {
  // Whether there is an engine for the page depends on what is built.
  const usual = { file: quick.file, hash: 16, threads: 1, port: 0, ownEngine: folder };
  const board = await startBoard({ ...usual, ...settings });
  boards.push(board);
  return { ...board, port: new URL(board.url).port };
}

const board = await start();
const { port } = board;

test.after(() => Promise.all(boards.map((one) => one.close())));

/** A request as it stands; `name` isn't tidied up. Resolves with { status, headers, text }. */
function ask(name, { method = 'GET', headers = {}, body } = {}) {
  const address = { host: '127.0.0.1', port, path: name, method };
  const all = { host: `127.0.0.1:${port}`, ...headers };
  return new Promise((resolve, reject) => {
    const request = http.request({ ...address, headers: all }, (response) => {
      let text = '';
      response.on('data', (part) => (text += part));
      const { statusCode: status, headers: received } = response;
      response.on('end', () => resolve({ status, headers: received, text }));
    });
    request.on('error', reject);
    request.end(body);
  });
}

/** A tab. `received` holds its messages; `closed` settles with the close code or the HTTP status of
 *  a refusal. */
class Client {
  received = [];
  #wake = () => {};

  constructor(at = port, settings = {}) {
    const own = `127.0.0.1:${at}`;
    const { origin = `http://${own}`, host = own, name = '/engine', autoPong = true } = settings;
    this.socket = new WebSocket(`ws://${settings.address ?? own}${name}`, { origin, headers: { host }, autoPong });
    this.socket.on('message', (data) => {
      this.received.push(JSON.parse(data));
      this.#wake();
    });
    this.socket.on('error', () => {}); // "close" follows
    this.closed = new Promise((resolve) => {
      this.socket.on('unexpected-response', (request, response) => {
        resolve(response.statusCode);
        request.destroy();
      });
      this.socket.on('close', resolve);
    });
  }

  /** A tab whose engine is ready. */
  static async open(...settings) {
    const client = new Client(...settings);
    await client.engine('ready');
    return client;
  }

  /** One at a server of its own, with this engine; the end of the server ends it. */
  static async with(engine, settings) {
    const { port: at } = await start({ file: engine.file, ...settings });
    return Client.open(at);
  }

  send(message) {
    this.socket.send(JSON.stringify(message));
  }

  search(id, limits = { kind: 'infinite' }, lines = 0) {
    this.send({ type: 'search', id, fen: startFen, moves: [], limits, lines });
  }

  /** The first message, received already or later, for which a condition holds. */
  async until(condition, what) {
    for (;;) {
      const found = this.received.find(condition);
      if (found) return found;
      await Promise.race([
        new Promise((resolve) => (this.#wake = resolve)),
        this.closed.then((code) => assert.fail(`closed (${code}) before ${what}`)),
      ]);
    }
  }

  engine(state) {
    return this.until((message) => message.state === state, `engine ${state}`);
  }

  best(id) {
    return this.until((message) => message.type === 'best' && message.id === id, `best ${id}`);
  }

  /** The searches that have been answered. */
  get answers() {
    return this.received.filter(({ type }) => type === 'best').map(({ id }) => id);
  }

  async end() {
    this.socket.terminate();
    await this.closed;
  }
}

test('the page comes with a policy that lets it talk to this server only', async () => {
  const { status, headers, text } = await ask('/');
  assert.equal(status, 200);
  assert.match(headers['content-type'], /^text\/html/);
  const policy = headers['content-security-policy'];
  assert.match(policy, /default-src 'none'; script-src 'self'; style-src 'self'/);
  const sources = policy.match(/\b(?:https?|wss?):[^ ;]*/g);
  assert.deepEqual(sources, [`ws://127.0.0.1:${port}`, `ws://localhost:${port}`]);
  assert.doesNotMatch(text, /(src|href)="(https?:)?\/\//);
  assert.equal(headers['x-frame-options'], 'DENY');
});

test('it can be reached by its own names only', async () => {
  assert.equal((await ask('/', { headers: { host: `localhost:${port}` } })).status, 200);
  for (const host of ['evil.example', `evil.example:${port}`, '127.0.0.1', '127.0.0.1:1']) {
    assert.equal((await ask('/', { headers: { host } })).status, 421, host);
  }
});

test('only the files of the page are given out', async () => {
  for (const name of ['/tools/page/web/page.mjs', '/node_modules/chess.js/dist/esm/chess.js?x=1']) {
    assert.equal((await ask(name)).status, 200, name);
  }
  for (const name of [
    '/../package.json',
    '/tools/page/web/../server.mjs',
    '/tools/page/web/%2e%2e/server.mjs',
    '/tools/page/web/..%2fserver.mjs',
    '/tools/page/server.mjs',
    '/tools/page/web/',
    '/package.json',
    '//etc/passwd',
    '/node_modules/playwright-core/package.json',
    '/node_modules/cm-chessboard/assets/pieces/standard.svg',
    '/node_modules/cm-chessboard/assets/extensions/markers/markers.svg',
    '/constructor',
    '/tools/page/web/page.mjs%00',
  ]) {
    assert.equal((await ask(name)).status, 404, name);
  }
});

test('POST requests are refused, however long', async () => {
  const { status, headers } = await ask('/', { method: 'POST', body: 'x'.repeat(1000) });
  assert.equal(status, 405);
  assert.equal(headers.connection, 'close');
  assert.equal((await ask('/', { method: 'HEAD' })).text, '');
});

test('a foreign page gets no engine', async () => {
  for (const settings of [
    { origin: 'http://evil.example' },
    { origin: null },
    { origin: 'null' },
    { origin: `https://127.0.0.1:${port}` },
    { origin: `http://127.0.0.1:${port}.evil.example` },
  ]) {
    assert.equal(await new Client(port, settings).closed, 403, JSON.stringify(settings));
  }
  assert.equal(await new Client(port, { host: 'evil.example' }).closed, 421);
  assert.equal(await new Client(port, { name: '/other' }).closed, 404);
  assert.equal(board.sessions.size, 0);
});

test('on a host other than the loopback address everything needs the secret', async () => {
  const one = await start({ host: '127.0.0.2' });
  const { host, origin, pathname } = new URL(one.url);
  assert.match(pathname, /^\/[\w-]{22}\/$/);
  const other = new URL((await start({ host: '127.0.0.2' })).url).pathname;
  assert.notEqual(other, pathname);
  for (const [base, status] of [[pathname, 200], ['/', 404], [other, 404]]) {
    for (const name of ['', 'tools/page/web/page.mjs']) {
      assert.equal((await fetch(`${origin}${base}${name}`)).status, status, base + name);
    }
  }
  const open = (name) => new Client(one.port, { host, origin, name, address: host });
  assert.equal(await open('/engine').closed, 404);
  assert.equal(await open(`${other}engine`).closed, 404);
  const client = open(`${pathname}engine`);
  await client.engine('ready');
  await client.end();
});

test('an invalid message is answered with an error and never reaches the engine', async () => {
  const client = await Client.open();
  for (const text of [
    'nonsense',
    '{}',
    'null',
    '[]',
    '7',
    '{"type":"quit"}',
    '{"type":"options","hash":0,"threads":1}',
    '{"type":"options","hash":1,"threads":"1\\nquit"}',
    `{"type":"search","id":1,"fen":"${startFen}\\nquit","moves":[],"limits":{"kind":"infinite"}}`,
  ]) {
    const before = client.received.length;
    client.socket.send(text);
    await client.until((message) => client.received.indexOf(message) >= before, text);
    assert.equal(client.received.at(-1).type, 'error', text);
  }
  client.search(2);
  await client.best(2);
  assert.doesNotMatch(quick.log(), /nonsense/);
  assert.doesNotMatch(quick.log(), /^position .*quit/m);
  await client.end();
});

test('a message that is too long or binary ends the connection', limited, async () => {
  for (const [code, act] of [
    [1009, ({ socket }) => socket.send(' '.repeat(16385))],
    [1009, ({ socket }) => [false, true].forEach((fin) => socket.send('x'.repeat(9000), { fin }))],
    [1003, ({ socket }) => socket.send(Buffer.from('{}'))],
    [1000, ({ socket }) => socket.close(1000)],
  ]) {
    const client = await Client.open();
    // The longest text that it may send, but not a valid message.
    client.socket.send(' '.repeat(16384));
    await client.until(({ type }) => type === 'error', 'an answer');
    act(client);
    assert.equal(await client.closed, code);
  }
  await until(() => board.sessions.size === 0, 'the end of all sessions');
});

test('what follows a forbidden message is ignored', limited, async () => {
  const busy = fakeEngine('busy');
  const one = await start({ file: busy.file });
  const client = await Client.open(one.port);
  client.socket.send(Buffer.from('{}'));
  client.search(1);
  assert.equal(await client.closed, 1003);
  await until(() => one.sessions.size === 0, 'the end of the session');
  assert.doesNotMatch(busy.log(), /^go/m);
});

test('a tab that answers no pings loses its engine, one that does keeps it', limited, async (t) => {
  t.mock.timers.enable({ apis: ['setInterval'] });
  const strict = await start({ heartbeat: 1000 });
  const at = strict.port;
  const answering = await Client.open(at);
  const silent = await Client.open(at, { autoPong: false });
  const clients = [answering, silent];
  const pinged = clients.map(({ socket }) => new Promise((resolve) => socket.on('ping', resolve)));
  t.mock.timers.tick(1000);
  await Promise.all(pinged);
  // Its pong was sent before this.
  answering.search(1);
  await answering.best(1);
  t.mock.timers.tick(1000);
  // The code for a connection that ends without a close message.
  assert.equal(await silent.closed, 1006);
  await until(() => strict.sessions.size === 1, 'the end of one session');
  answering.search(2);
  await answering.best(2);
  await answering.end();
});

test('a tab that does not read loses its engine', async () => {
  // 28 MB of messages, more than the system and the server hold for it.
  const line = "`info depth 20 score cp 1 nodes 1 time 1 pv${' e2e4'.repeat(400)}`";
  const wordy = fakeEngine('wordy', `for (let i = 0; i < 10000; i++) say(${line});`);
  const one = await start({ file: wordy.file });
  const client = await Client.open(one.port);
  client.search(1);
  client.socket.pause();
  await until(() => one.sessions.size === 0, 'the end of the session');
  await client.end();
});

test('the number of tabs is limited, and a closed tab makes room for another', async () => {
  const small = await start({ mostSessions: 2 });
  const at = small.port;
  const clients = [await Client.open(at), await Client.open(at)];
  const third = new Client(at);
  assert.equal(await third.closed, 1013);
  assert.match(third.received[0].text, /2 tabs already have an engine/);
  await clients[0].end();
  await until(() => small.sessions.size === 1, 'room');
  await (await Client.open(at)).end();
  await clients[1].end();
});

test('other options are set before a search goes on, which is answered once', async () => {
  const patient = fakeEngine('options', "} if (line === 'stop') { say('bestmove d2d4');");
  const client = await Client.with(patient);
  client.search(1);
  await until(() => /^go/m.test(patient.log()), 'a search');
  client.send({ type: 'options', hash: 32, threads: 2 });
  await client.until(({ hash, threads }) => hash === 32 && threads === 2, 'the options');
  await until(() => patient.log().match(/^go/gm).length === 2, 'the search');
  client.send({ type: 'stop' });
  await client.best(1);
  const [, before] = patient.log().split(/^go.*\nstop\n/m);
  assert.match(before, /^setoption name Hash value 32\nsetoption name Threads value 2\n/);
  // Time for an answer too many.
  await pause(100);
  assert.deepEqual(client.answers, [1]);
});

test('another engine goes on with the search', limited, async () => {
  const first = fakeEngine('first', "} if (line === 'stop') { say('bestmove d2d4');");
  const engines = [first, fakeEngine('second')].map((one, i) => ({ name: `No. ${i}`, file: one.file }));
  const client = await Client.with(first, { engines });
  assert.deepEqual(client.received[0].engines, ['No. 0', 'No. 1']);
  client.search(1);
  await until(() => /^go/m.test(first.log()), 'a search');
  client.send({ type: 'options', hash: 16, threads: 1, engine: -1 });
  await client.until(({ type }) => type === 'error', 'an error');
  client.send({ type: 'options', hash: 16, threads: 1, engine: 1 });
  assert.equal((await client.best(1)).move, 'e2e4');
  await client.until(({ engine }) => engine === 1, 'the other engine');
  assert.match(first.log(), /quit\n$/);
  // A page can remember an engine that the server was started with before.
  client.send({ type: 'options', hash: 32, threads: 1, engine: 2 });
  assert.equal((await client.until(({ hash }) => hash === 32, 'the options')).engine, 0);
});

test('a newer search replaces the one before, and a cancelled one gives no answer', async () => {
  const stops =
    "if (line !== 'go infinite') say('bestmove d2d4'); } " +
    "if (line === 'stop') { say('bestmove d2d4');";
  const patient = fakeEngine('patient', stops);
  const client = await Client.with(patient);
  client.search(1);
  client.search(2);
  await until(() => /^go/m.test(patient.log()), 'a search');
  client.send({ type: 'cancel' });
  client.search(3);
  client.send({ type: 'stop' });
  assert.equal((await client.best(3)).move, 'd2d4');
  assert.deepEqual(client.answers, [3]);
});

test('positions are explained by a program that is started when needed and when it has ended', async () => {
  const program = `#!${process.execPath}
require('node:readline').createInterface({ input: process.stdin }).on('line', (line) => {
  if (line.startsWith('8/')) process.exit(1);
  if (line.startsWith('7k/')) console.log('{');
  console.log(JSON.stringify({ line, pid: process.pid }));
});
`;
  const client = await Client.with(quick, { explainFile: file('explain', program, 0o755) });
  const explain = async (id, ...fens) => {
    client.send({ type: 'explain', id, fens });
    const isIt = (message) => message.type === 'explained' && message.id === id;
    return (await client.until(isIt, `explanation ${id}`)).explanation;
  };
  const first = await explain(1, startFen);
  assert.equal(first.line, startFen);
  const pair = await explain(2, startFen, startFen);
  assert.deepEqual(pair, { line: `${startFen} | ${startFen}`, pid: first.pid });
  assert.match((await explain(3, '8/8/8/8/8/8/8/8 w - - 0 1')).error, /has ended/);
  assert.match((await explain(4, '7k/8/8/8/8/8/8/K7 w - - 0 1')).error, /has ended/);
  assert.notEqual((await explain(5, startFen)).pid, first.pid);
  const none = await Client.with(quick, { explainFile: '/no/such/file' });
  none.send({ type: 'explain', id: 1, fens: [startFen] });
  assert.match((await none.until(({ type }) => type === 'explained', 'an error')).explanation.error, /missing/);
});

test('an engine that keeps ending is not restarted until the page asks for it', async () => {
  const weak = fakeEngine('weak', 'process.exit(3)');
  const engines = [weak, quick].map(({ file: one }) => ({ name: one, file: one }));
  const client = await Client.with(weak, { engines });
  client.search(1);
  assert.match((await client.engine('failed')).text, /Fake has ended with status 3/);
  assert.equal(weak.starts(), 4);
  client.send({ type: 'restart' });
  const failures = () => client.received.filter(({ state }) => state === 'failed').length;
  await until(() => failures() === 2, 'another try');
  // The other engine has not ended yet.
  client.send({ type: 'options', hash: 16, threads: 1, engine: 1 });
  const other = await client.until(({ engine, name }) => engine === 1 && name, 'the other engine');
  assert.equal(other.state, 'ready');
});

test('an engine that does not stop is replaced', async () => {
  const deaf = fakeEngine('deaf', '');
  const client = await Client.with(deaf, { stopPatience: 200 });
  for (const [i, lines] of [0, 3].entries()) {
    client.search(i, undefined, lines);
    const searches = () => deaf.log().match(/^go/gm)?.length;
    await until(() => searches() === i + 1, 'a search');
    client.send({ type: 'cancel' });
    await until(() => deaf.starts() === i + 2, 'another engine');
  }
  await client.engine('restarted');
});

test('an engine that freezes is replaced and its search goes on', limited, async () => {
  const onGo = "if (!fs.existsSync(log + '2')) { fs.writeFileSync(log + '2', ''); " +
    "process.kill(process.pid, 'SIGSTOP'); } say('bestmove e2e4');";
  const frozen = fakeEngine('frozen', onGo);
  const client = await Client.with(frozen, { stopPatience: 200 });
  client.search(1);
  await client.engine('restarted');
  assert.equal((await client.best(1)).move, 'e2e4');
  assert.equal(frozen.starts(), 2);
});

test('wrong usage and impossible requests get one line and a status', async () => {
  const { out } = await run('board', ['--help']);
  for (const name of ['engine', 'port', 'host', 'hash', 'threads', 'open', 'export']) assert.ok(out.includes(name));
  await checkUse([
    ['board', ['--nonsense'], 2, /--nonsense/],
    ['board', ['--port', '70000'], 2, /--port takes a whole number from 0 to 65535, not "70000"/],
    ['board', ['--hash', '0'], 2, /--hash/],
    ['board', ['--host', 'all'], 2, /--host takes an IPv4 address/],
    ['board', ['--threads', 'two'], 2, /--threads/],
    ['board', ['--engine', '/no/such/engine'], 1, /\/no\/such\/engine/],
    ['board', ['--engine', '/bin/true'], 1, /has ended with status 0/],
    ['board', ['--engine', quick.file, '--port', port], 1, new RegExp(`port ${port} is taken`)],
  ]);
});

test('--open calls the browser, and says where to go when there is none', async () => {
  const bin = path.join(folder, 'bin');
  const opened = path.join(folder, 'opened');
  fs.mkdirSync(bin);
  fs.symlinkSync(process.execPath, path.join(bin, 'node'));
  const openAt = async (condition) => {
    const args = ['--engine', quick.file, '--port', '0', '--open'];
    const child = spawn(path.join(root, 'tools/board'), args, {
      stdio: ['ignore', 'pipe', 'pipe'],
      env: { ...process.env, PATH: bin },
    });
    let out = '';
    let err = '';
    child.stdout.on('data', (data) => (out += data));
    child.stderr.on('data', (data) => (err += data));
    await until(() => out && condition(err), 'a browser');
    child.kill();
    await new Promise((resolve) => child.once('exit', resolve));
    return { address: out.match(/http:\S+/)[0], err };
  };
  const none = await openAt((err) => err);
  assert.equal(none.err, `board: cannot open a browser; go to ${none.address}\n`);
  file('bin/xdg-open', `#!/bin/sh\necho "$1" > "${opened}"\n`, 0o755);
  const some = await openAt(() => fs.existsSync(opened) && read(opened).endsWith('\n'));
  assert.equal(read(opened).trim(), some.address);
});

for (const signal of ['SIGINT', 'SIGTERM']) {
  test(`tools/board offers several engines, and ${signal} ends it with those`, async () => {
    const args = ['--engine', enginePath, '--engine', quick.file, '--port', '0'];
    const child = spawn(path.join(root, 'tools/board'), args, {
      stdio: ['ignore', 'pipe', 'inherit'],
    });
    const line = await new Promise((resolve) =>
      child.stdout.once('data', (data) => resolve(String(data))),
    );
    const at = line.match(/127\.0\.0\.1:(\d+)/)[1];
    const client = await Client.open(at);
    client.search(1);
    await client.until(({ type }) => type === 'info', 'a line');
    const names = client.received[0].engines.map((name) => name.replace(/ \(.*/, ''));
    assert.match(names.join(), /^Quillon .*,Fake$/);
    const pid = fs.readFileSync(`/proc/${child.pid}/task/${child.pid}/children`, 'utf8').trim();
    assert.match(pid, /^\d+$/);
    child.kill(signal);
    assert.equal(await new Promise((resolve) => child.once('exit', resolve)), 0);
    assert.equal(fs.existsSync(`/proc/${pid}`), false);
    assert.equal(await client.closed, 1001);
  });
}
