// SPDX-License-Identifier: MIT
// Quillon in other people's programs: the settings files and the settings that docs/connect.md
// gives are ones that the engine has, polyglot plays with it, PyChess is spared its second
// "readyok", and the document's pictures and files are there.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import readline from 'node:readline';
import test from 'node:test';
import { fileURLToPath } from 'node:url';
import { UciEngine } from '../../tools/lib/uci.mjs';
import { Rules } from '../console/rules.mjs';

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..', '..');
const enginePath = process.env.QUILLON_ENGINE ?? path.join(root, 'build', 'release', 'quillon');
const patience = 60000 * Number(process.env.QUILLON_TIME_SCALE ?? 1);

const read = (name) => fs.readFileSync(path.join(root, 'docs', name), 'utf8');
const guide = read('connect.md');

// The files name the engine as it is installed: "quillon", found by the search path.
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-connect-'));
fs.symlinkSync(path.resolve(enginePath), path.join(folder, 'quillon'));
const env = { ...process.env, PATH: `${folder}:${process.env.PATH}`, HOME: folder };
test.after(() => fs.rmSync(folder, { recursive: true }));

/** The path of a program, or an error that names the Debian package which brings it. */
function need(file, debianPackage) {
  if (!fs.existsSync(file)) {
    throw new Error(`${file} not found: install the Debian package "${debianPackage}"`);
  }
  return file;
}

/** The engine's options by name, as { type, default, min, max }. */
async function readOptions() {
  const engine = await UciEngine.start(enginePath, { patience });
  await engine.quit();
  return new Map(
    [...engine.options].map(([name, line]) => {
      const words = line.split(' ');
      const after = (word) => words[words.indexOf(word) + 1];
      const spin = { min: Number(after('min')), max: Number(after('max')) };
      const initial = after('default');
      return after('type') === 'spin'
        ? [name, { type: 'spin', default: Number(initial), ...spin }]
        : [name, { type: after('type'), default: initial }];
    }),
  );
}
const options = await readOptions();

/** Fails unless the engine has a spin option and takes the value. */
function checkValue(name, value, where) {
  const option = options.get(name);
  assert.ok(option, `${where}: the engine has no option "${name}"`);
  assert.equal(option.type, 'spin', `${where}: ${name}`);
  assert.ok(Number.isInteger(value), `${where}: ${name} = ${value}`);
  assert.ok(value >= option.min && value <= option.max, `${where}: ${name} = ${value}`);
}

/** The contents of the fenced blocks of the guide that are marked with a language. */
const blocks = (language) =>
  [...guide.matchAll(/^```(\w+)\n(.*?)^```$/gms)]
    .filter((block) => block[1] === language)
    .map((block) => block[2]);

/** Sections of an .ini file, each a map of its entries; anything else in it is an error. */
function parseIni(text) {
  const sections = new Map();
  let entries;
  for (const line of text.split('\n').filter((each) => !/^\s*(#|$)/.test(each))) {
    const [, title, key, value] = line.match(/^(?:\[(.+)\]|([^=[\]]+?)\s*=\s*(.*))$/) ?? [];
    assert.ok(title || (key && entries), `neither section nor entry: ${line}`);
    if (title) sections.set(title, (entries = new Map()));
    else entries.set(key, value);
  }
  return sections;
}

test('the Cute Chess entry offers just the options that the engine has, as the engine does', () => {
  const list = JSON.parse(read('connect/engines.json'));
  assert.equal(list.length, 1);
  const [entry] = list;
  assert.equal(entry.name, 'Quillon');
  assert.equal(entry.command, 'quillon');
  assert.equal(entry.protocol, 'uci');
  assert.deepEqual(entry.variants, ['standard']);
  // Cute Chess sees to pondering itself and keeps the option out of its lists.
  const names = [...options.keys()].filter((name) => name !== 'Ponder');
  assert.deepEqual(entry.options.map(({ name }) => name).sort(), names.sort());
  for (const { name, value, alias, ...rest } of entry.options) {
    assert.equal(alias, '');
    assert.deepEqual(rest, options.get(name), name);
    checkValue(name, value, 'engines.json');
  }
});

test('the lichess-bot settings are YAML and name no unknown option', () => {
  const program = 'import json, sys, yaml; json.dump(yaml.safe_load(sys.stdin), sys.stdout)';
  need('/usr/lib/python3/dist-packages/yaml/__init__.py', 'python3-yaml');
  const python = need('/usr/bin/python3', 'python3');
  const input = read('connect/lichess-bot.yml');
  const settings = JSON.parse(execFileSync(python, ['-c', program], { input }));
  assert.deepEqual(Object.keys(settings).sort(), ['engine', 'move_overhead']);
  const { dir, name, protocol, ponder, uci_options: given, ...others } = settings.engine;
  assert.deepEqual([dir, name, protocol, ponder], ['/usr/games', 'quillon', 'uci', false]);
  assert.deepEqual(others, {});
  assert.deepEqual(Object.keys(given).sort(), ['Hash', 'Threads']);
  for (const [option, value] of Object.entries(given)) checkValue(option, value, 'lichess-bot.yml');
  // Milliseconds: more than a way to the server takes, less than a move of a bullet game.
  assert.ok(settings.move_overhead >= 100 && settings.move_overhead <= 2000);
});

test('the polyglot settings leave pondering to xboard and name no unknown option', () => {
  const sections = parseIni(read('connect/polyglot.ini'));
  assert.deepEqual([...sections.keys()], ['PolyGlot', 'Engine']);
  assert.equal(sections.get('PolyGlot').get('EngineCommand'), 'quillon');
  const given = sections.get('Engine');
  assert.ok(given.size > 0 && !given.has('Ponder'));
  for (const [name, value] of given) checkValue(name, Number(value), 'polyglot.ini');
});

test('the settings in docs/connect.md are ones that the engine has', () => {
  const runners = blocks('text').join('\n');
  const given = [...runners.matchAll(/\boption\.([A-Za-z]+)=(\S+)/g)];
  assert.ok(given.length >= 4);
  for (const [, name, value] of given) checkValue(name, Number(value), 'docs/connect.md');

  const profiles = blocks('ini').map(parseIni);
  assert.equal(profiles.length, 1);
  const quillon = profiles[0].get('Quillon');
  assert.equal(quillon.get('protocol'), 'uci');
  for (const [key, value] of quillon) {
    if (['protocol', 'binary'].includes(key)) continue;
    // GNOME Chess puts the rest behind "setoption" and "go": "option-hard-0=Hash 512".
    const [, kind, name, number] =
      `${key}=${value}`.match(/^(uci-go-)?option-(?:easy|normal|hard)-\d=(.+) (\d+)$/) ?? [];
    assert.ok(name, `${key}=${value}`);
    if (kind) assert.ok(name === 'depth' && Number(number) > 0, value);
    else checkValue(name, Number(number), 'docs/connect.md');
  }
});

/** Starts a program, and returns it with next(pattern), which resolves with the next line that
 *  matches and is rejected when the program ends or stays silent too long. */
function talk(file, args, settings) {
  const child = spawn(file, args, { stdio: ['pipe', 'pipe', 'inherit'], env, ...settings });
  const lines = readline.createInterface({ input: child.stdout });
  const unread = [];
  let look = () => {};
  const said = [];
  lines.on('line', (line) => {
    said.push(line);
    unread.push(line);
    look();
  });
  const ended = new Promise((resolve, reject) => {
    child.on('error', reject);
    child.on('close', resolve);
  });
  return {
    child,
    said,
    ended,
    send: (text) => child.stdin.write(`${text}\n`),
    next: (pattern) =>
      new Promise((resolve, reject) => {
        const fail = (why) =>
          reject(new Error(`${why}, waiting for ${pattern}: ${said.join('\n')}`));
        const timer = setTimeout(() => fail('silence'), patience);
        ended.then(() => fail('the end'), reject);
        look = () => {
          while (unread.length > 0) {
            const match = unread.shift().match(pattern);
            if (!match) continue;
            clearTimeout(timer);
            look = () => {};
            resolve(match);
            return;
          }
        };
        look();
      }),
  };
}

test('polyglot plays legal moves with the engine, by the settings file', async () => {
  const polyglot = need('/usr/games/polyglot', 'polyglot');
  const ini = path.join(root, 'docs', 'connect', 'polyglot.ini');
  const { child, said, next, send, ended } = talk(polyglot, [ini], { cwd: folder });
  try {
    send('xboard');
    send('protover 2');
    assert.equal((await next(/^feature myname="(.*)"$/))[1], 'Quillon Version 2.0');
    await next(/^feature done=1$/);
    send('new');
    send('sd 4');
    const game = new Rules();
    for (const move of ['e2e4', 'g1f3', 'f1b5']) {
      // A bishop that has been taken or a way that is closed would make the plan illegal.
      const mine = game.isLegal(move) ? move : game.legalMoves()[0].text;
      game.play(mine);
      send(`usermove ${mine}`);
      const [, answer] = await next(/^move (\S+)$/);
      assert.ok(game.isLegal(answer), `${answer} in ${game.fen()}`);
      game.play(answer);
    }
    send('quit');
    await ended;
    const bad = said.filter((line) => /^(error|illegal|resign|tell)/i.test(line));
    assert.deepEqual(bad, []);
  } finally {
    child.kill('SIGKILL');
  }
});

test('by the script for PyChess "readyok" answers "isready" only, and the engine ends', async () => {
  const script = path.join(root, 'docs', 'connect', 'quillon-pychess.sh');
  const { child, said, next, send, ended } = talk(script, []);
  try {
    send('uci');
    await next(/^uciok$/);
    send('isready');
    await next(/^readyok$/);
    send('ucinewgame');
    send('position startpos moves e2e4');
    send('go depth 3');
    const [, answer] = await next(/^bestmove (\S+)/);
    const game = new Rules();
    game.play('e2e4');
    assert.ok(game.isLegal(answer), answer);
    // PyChess holds the pipe open when it is done with an engine.
    send('quit');
    assert.equal(await ended, 0);
    assert.equal(said.filter((line) => line === 'readyok').length, 1);
  } finally {
    child.kill('SIGKILL');
  }
});

test('a script for PyChess that finds no engine says so', () => {
  const script = path.join(root, 'docs', 'connect', 'quillon-pychess.sh');
  const settings = {
    env: { ...env, QUILLON: '/nowhere/quillon' },
    stdio: ['ignore', 'pipe', 'pipe'],
  };
  assert.throws(() => execFileSync(script, settings), (error) => {
    assert.equal(error.status, 127);
    assert.match(String(error.stderr), /\/nowhere\/quillon: No such file/);
    return true;
  });
});

test('pictures and files that docs/connect.md names are there, and none lies idle', () => {
  const links = [...guide.matchAll(/\]\(([^)#]+)\)/g)].map((link) => link[1]);
  const local = links.filter((link) => !link.includes('://'));
  for (const link of local) assert.ok(fs.existsSync(path.join(root, 'docs', link)), link);

  const pictures = local.filter((link) => link.endsWith('.png'));
  const list = (name, pattern) =>
    fs.readdirSync(path.join(root, 'docs', name)).filter((file) => pattern.test(file));
  const drawn = list('pictures', /^connect-/).map((file) => `pictures/${file}`);
  assert.deepEqual([...pictures].sort(), drawn.sort());
  for (const picture of pictures) {
    const bytes = fs.readFileSync(path.join(root, 'docs', picture));
    assert.equal(bytes.subarray(0, 8).toString('latin1'), '\x89PNG\r\n\x1a\n', picture);
    assert.ok(bytes.length < 150000, `${picture} has ${bytes.length} bytes`);
  }
  for (const file of list('connect', /./)) assert.ok(local.includes(`connect/${file}`), file);
});
