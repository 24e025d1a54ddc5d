// SPDX-License-Identifier: MIT
// Quillon in other people's programs: the settings files and the settings that docs/connect.md
// gives are ones that the engine has, polyglot plays with it, PyChess is spared its second
// "readyok", and the document's pictures and files are there.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { Chess, playUci, uciMoves } from '../../tools/lib/chess.mjs';
import { Engine } from '../../tools/lib/uci.mjs';
import { enginePath, file, folder, read, root } from './support.mjs';

const patience = 60000 * Number(process.env.QUILLON_TIME_SCALE ?? 1);
const doc = (name) => path.join(root, 'docs', name);
const guide = read(doc('connect.md'));
const script = doc('connect/quillon-pychess.sh');

// The files name the engine as it is installed: "quillon", found by the search path.
fs.symlinkSync(path.resolve(enginePath), file('quillon'));
const env = { ...process.env, PATH: `${folder}:${process.env.PATH}`, HOME: folder };

/** Fails with the name of the Debian package that brings a program. */
function need(program, debianPackage) {
  assert.ok(fs.existsSync(program), `please install the Debian package ${debianPackage}`);
  return program;
}

/** The engine's options by name, as { type, default, min, max }. */
async function readOptions() {
  const engine = await Engine.start(enginePath, { patience });
  await engine.quit();
  return new Map(
    [...engine.options].map(([name, text]) => {
      const words = text.split(' ');
      const after = (word) => words[words.indexOf(word) + 1];
      const type = after('type');
      if (type !== 'spin') return [name, { type, default: after('default') }];
      const [initial, min, max] = ['default', 'min', 'max'].map((word) => Number(after(word)));
      return [name, { type: 'spin', default: initial, min, max }];
    }),
  );
}
const options = await readOptions();

/** Fails unless the engine has a spin option and takes the value. */
function checkValue(name, value, where) {
  const { type, min, max } = options.get(name) ?? {};
  assert.equal(type, 'spin', `${where}: ${name}`);
  const isRight = Number.isInteger(value) && value >= min && value <= max;
  assert.ok(isRight, `${where}: ${name} = ${value}`);
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
  const list = JSON.parse(read(doc('connect/engines.json')));
  assert.equal(list.length, 1);
  const [{ name, command, protocol, variants, options: given }] = list;
  assert.deepEqual([name, command, protocol], ['Quillon', 'quillon', 'uci']);
  assert.deepEqual(variants, ['standard']);
  // Cute Chess handles pondering itself and keeps the option out of its lists.
  const names = [...options.keys()].filter((one) => one !== 'Ponder');
  assert.deepEqual(given.map((option) => option.name).sort(), names.sort());
  for (const { name: option, value, alias, ...rest } of given) {
    assert.equal(alias, '');
    assert.deepEqual(rest, options.get(option), option);
    checkValue(option, value, 'engines.json');
  }
});

test('the lichess-bot settings are YAML and name no unknown option', () => {
  const program = 'import json, sys, yaml; json.dump(yaml.safe_load(sys.stdin), sys.stdout)';
  need('/usr/lib/python3/dist-packages/yaml/__init__.py', 'python3-yaml');
  const input = read(doc('connect/lichess-bot.yml'));
  const settings = JSON.parse(execFileSync('python3', ['-c', program], { input }));
  assert.deepEqual(Object.keys(settings).sort(), ['engine', 'move_overhead']);
  const { uci_options: given, ...others } = settings.engine;
  const engine = { dir: '/usr/games', name: 'quillon', protocol: 'uci', ponder: false };
  assert.deepEqual(others, engine);
  assert.deepEqual(Object.keys(given).sort(), ['Hash', 'Threads']);
  for (const [option, value] of Object.entries(given)) checkValue(option, value, 'lichess-bot.yml');
  // In milliseconds: longer than the way to the server, shorter than a move of a bullet game.
  assert.ok(settings.move_overhead >= 100 && settings.move_overhead <= 2000);
});

test('the polyglot settings leave pondering to xboard and name no unknown option', () => {
  const sections = parseIni(read(doc('connect/polyglot.ini')));
  assert.deepEqual([...sections.keys()], ['PolyGlot', 'Engine']);
  assert.equal(sections.get('PolyGlot').get('EngineCommand'), 'quillon');
  const given = sections.get('Engine');
  assert.ok(given.size > 0 && !given.has('Ponder'));
  for (const [name, value] of given) checkValue(name, Number(value), 'polyglot.ini');
});

test('the settings in docs/connect.md are ones that the engine has', () => {
  const given = [...blocks('text').join('\n').matchAll(/\boption\.([A-Za-z]+)=(\S+)/g)];
  assert.ok(given.length >= 4);
  for (const [, name, value] of given) checkValue(name, Number(value), 'docs/connect.md');

  const profiles = blocks('ini').map(parseIni);
  assert.equal(profiles.length, 1);
  const quillon = profiles[0].get('Quillon');
  assert.equal(quillon.get('protocol'), 'uci');
  for (const [key, value] of quillon) {
    if (['protocol', 'binary'].includes(key)) continue;
    // GNOME Chess puts the rest after "setoption" and "go": "option-hard-0=Hash 512".
    const [, kind, name, number] =
      `${key}=${value}`.match(/^(uci-go-)?option-(?:easy|normal|hard)-\d=(.+) (\d+)$/) ?? [];
    assert.ok(name, `${key}=${value}`);
    if (kind) assert.ok(name === 'depth' && Number(number) > 0, value);
    else checkValue(name, Number(number), 'docs/connect.md');
  }
});

test('polyglot plays legal moves with the engine, by the settings file', async (t) => {
  const args = [doc('connect/polyglot.ini')];
  const polyglot = new Engine(need('/usr/games/polyglot', 'polyglot'), { args, env, cwd: folder });
  t.after(() => polyglot.kill());
  polyglot.send('xboard', 'protover 2');
  await polyglot.until('feature myname="Quillon Version 2.0"', patience);
  await polyglot.until('feature done=1', patience);
  polyglot.send('new', 'sd 4');
  const chess = new Chess();
  for (const move of ['e2e4', 'g1f3', 'f1b5']) {
    // A bishop that has been taken or a way that is closed would make the plan illegal.
    const legal = uciMoves(chess);
    const mine = legal.includes(move) ? move : legal[0];
    playUci(chess, mine);
    polyglot.send(`usermove ${mine}`);
    const answer = (await polyglot.until(/^move /, patience)).at(-1).split(' ')[1];
    assert.ok(playUci(chess, answer), `${answer} in ${chess.fen()}`);
  }
  polyglot.send('quit');
  await polyglot.ended;
  const bad = polyglot.log.filter(({ text }) => /^(error|illegal|resign|tell)/i.test(text));
  assert.deepEqual(bad, []);
});

test('by the script for PyChess "readyok" answers "isready" only', async (t) => {
  const engine = new Engine(script, { env });
  t.after(() => engine.kill());
  engine.send('uci');
  await engine.until('uciok', patience);
  engine.send('isready');
  await engine.until('readyok', patience);
  engine.send('ucinewgame', 'position startpos moves e2e4', 'go depth 3');
  const lines = await engine.until(/^bestmove /, patience);
  const chess = new Chess();
  playUci(chess, 'e2e4');
  assert.ok(playUci(chess, lines.at(-1).split(' ')[1]), lines.at(-1));
  // PyChess holds the pipe open when it is done with an engine.
  engine.send('quit');
  assert.equal((await engine.ended).status, 0);
  assert.equal(engine.log.filter(({ text }) => text === 'readyok').length, 1);
});

test('a script for PyChess that finds no engine says so', async () => {
  const engine = new Engine(script, { env: { ...env, QUILLON: '/nowhere/quillon' } });
  assert.equal((await engine.ended).status, 127);
  assert.match(engine.stderr, /\/nowhere\/quillon: No such file/);
});

test('pictures and files that docs/connect.md names exist, and all are used', () => {
  const links = [...guide.matchAll(/\]\(([^)#]+)\)/g)].map((link) => link[1]);
  const local = links.filter((link) => !link.includes('://'));
  for (const link of local) assert.ok(fs.existsSync(doc(link)), link);

  const pictures = local.filter((link) => link.endsWith('.png'));
  const list = (name, pattern) => fs.readdirSync(doc(name)).filter((one) => pattern.test(one));
  const drawn = list('pictures', /^connect-/).map((one) => `pictures/${one}`);
  assert.deepEqual([...pictures].sort(), drawn.sort());
  for (const picture of pictures) {
    const bytes = fs.readFileSync(doc(picture));
    assert.equal(bytes.subarray(0, 8).toString('latin1'), '\x89PNG\r\n\x1a\n', picture);
    assert.ok(bytes.length < 150000, `${picture} has ${bytes.length} bytes`);
  }
  for (const one of list('connect', /./)) assert.ok(local.includes(`connect/${one}`), one);
});
