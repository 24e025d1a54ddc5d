// SPDX-License-Identifier: MIT
// Quillon in other chess programs: docs/connect.md and its files only set options that the engine
// has, polyglot plays with it, PyChess doesn't get a second "readyok", and the document's pictures
// and files exist.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { Chess, playUci, uciMoves } from '../../tools/lib/chess.mjs';
import { Engine } from '../../tools/lib/uci.mjs';
import { requireTool, scaled } from '../console/talk.mjs';
import { enginePath, file, folder, read, root } from './support.mjs';

const patience = scaled(60000);
const doc = (name) => path.join(root, 'docs', name);
const guide = read(doc('connect.md'));
const testing = read(doc('testing-engines.md'));
const script = doc('connect/quillon-pychess.sh');

// The files name the engine as it is installed: "quillon", found by the search path.
fs.symlinkSync(path.resolve(enginePath), file('quillon'));
const env = { ...process.env, PATH: `${folder}:${process.env.PATH}`, HOME: folder };

/** The engine's options by name, as { type, default, min, max }. */
const options = new Map();
const engine = await Engine.start(enginePath, { patience });
await engine.quit();
for (const [name, text] of engine.options) {
  const [, type, initial, min, max] =
    text.match(/^type (\w+) default (\w+)(?: min (\d+) max (\d+))?$/);
  const numbers = { default: Number(initial), min: Number(min), max: Number(max) };
  options.set(name, { type, ...(type === 'spin' ? numbers : { default: initial }) });
}

/** Fails unless the engine has a spin option with the value in its range. */
function checkValue(name, value, where) {
  const { min, max } = options.get(name) ?? {};
  const isRight = Number.isInteger(value) && value >= min && value <= max;
  assert.ok(isRight, `${where}: ${name} = ${value}`);
}

/** The contents of the guides' code blocks in a language. */
const blocks = (language) => [...(guide + testing).matchAll(/^```(\w+)\n(.*?)^```$/gms)]
  .filter((block) => block[1] === language).map((block) => block[2]);

/** The sections of an .ini file, each an object of its entries; anything else in it is an error. */
function parseIni(text) {
  const sections = {};
  let entries;
  for (const line of text.split('\n').filter((each) => /^\s*[^\s#]/.test(each))) {
    const [, title, key, value] =
      line.match(/^(?:\[(.+)\]|(.+?)\s*=\s*(.*))$/) ?? assert.fail(line);
    if (title) sections[title] = entries = {};
    else entries[key] = value;
  }
  return sections;
}

test('the Cute Chess entry offers the options of the engine, with its limits', () => {
  const [entry, ...others] = JSON.parse(read(doc('connect/engines.json')));
  assert.deepEqual(others, []);
  const { name, command, protocol, variants, options: given } = entry;
  assert.deepEqual([name, command, protocol], ['Quillon', 'quillon', 'uci']);
  assert.deepEqual(variants, ['standard']);
  // Cute Chess handles pondering itself and does not list the option.
  const names = [...options.keys()].filter((one) => one !== 'Ponder');
  assert.deepEqual(given.map((option) => option.name).sort(), names.sort());
  for (const { name: option, value, alias, ...rest } of given) {
    assert.equal(alias, '');
    assert.deepEqual(rest, options.get(option), option);
    checkValue(option, value, 'engines.json');
  }
});

test('the OpenBench entry names options of the engine and bounds of an SPRT', () => {
  const { nps, build, ...presets } = JSON.parse(read(doc('connect/openbench.json')));
  assert.ok(nps > 1e6);
  assert.deepEqual([build.path, ...build.compilers.map((one) => one.replace(/>=.*/, ''))],
    ['', 'g++', 'clang++']);
  const all = ['test', 'tune', 'datagen'].flatMap((kind) => Object.values(presets[`${kind}_presets`]));
  const settings = all.map((one) => one.both_options ?? one.dev_options).filter(Boolean);
  assert.equal(settings.length, 4);
  for (const [, name, value] of settings.join(' ').matchAll(/(\w+)=(\S+)/g)) {
    checkValue(name, Number(value), 'openbench.json');
  }
  const { test_bounds: bounds, test_confidence: errors } = presets.test_presets.default;
  assert.ok(JSON.parse(bounds)[0] < JSON.parse(bounds)[1]);
  assert.deepEqual(JSON.parse(errors), [0.05, 0.05]);
});

test('the lichess-bot settings are YAML and name no unknown option', () => {
  const program = 'import json, sys, yaml; json.dump(yaml.safe_load(sys.stdin), sys.stdout)';
  requireTool('/usr/lib/python3/dist-packages/yaml/__init__.py', 'python3-yaml');
  const input = read(doc('connect/lichess-bot.yml'));
  const settings = JSON.parse(execFileSync('python3', ['-c', program], { input }));
  assert.deepEqual(Object.keys(settings).sort(), ['engine', 'move_overhead']);
  const { uci_options: given, ...others } = settings.engine;
  const expected = { dir: '/usr/games', name: 'quillon', protocol: 'uci', ponder: false };
  assert.deepEqual(others, expected);
  assert.deepEqual(Object.keys(given).sort(), ['Hash', 'Threads']);
  for (const [option, value] of Object.entries(given)) checkValue(option, value, 'lichess-bot.yml');
  // Milliseconds: longer than the network delay, shorter than a move of a bullet game.
  assert.ok(settings.move_overhead >= 100 && settings.move_overhead <= 2000);
});

test('the polyglot settings leave pondering to xboard and name no unknown option', () => {
  const sections = parseIni(read(doc('connect/polyglot.ini')));
  assert.deepEqual(Object.keys(sections), ['PolyGlot', 'Engine']);
  assert.equal(sections.PolyGlot.EngineCommand, 'quillon');
  assert.deepEqual(Object.keys(sections.Engine), ['Hash', 'Threads']);
  for (const [name, value] of Object.entries(sections.Engine)) {
    checkValue(name, Number(value), 'polyglot.ini');
  }
});

test('the guides only set options that the engine has', () => {
  const given = [...blocks('text').join('\n').matchAll(/\boption\.([A-Za-z]+)=(\S+)/g)];
  assert.ok(given.length >= 4);
  for (const [, name, value] of given) checkValue(name, Number(value), 'a guide');

  const [{ Quillon: profile }, ...others] = blocks('ini').map(parseIni);
  assert.deepEqual(others, []);
  const { protocol, binary, ...settings } = profile;
  assert.deepEqual([protocol, typeof binary], ['uci', 'string']);
  for (const [key, value] of Object.entries(settings)) {
    // GNOME Chess appends the value to "setoption" or "go": "option-hard-0=Hash 512".
    const [, kind, name, number] =
      `${key}=${value}`.match(/^(uci-go-)?option-(?:easy|normal|hard)-\d=(.+) (\d+)$/) ?? [];
    assert.ok(name, `${key}=${value}`);
    if (kind) assert.ok(name === 'depth' && Number(number) > 0, value);
    else checkValue(name, Number(number), 'docs/connect.md');
  }
});

test('polyglot plays legal moves with the engine and the settings file', async (t) => {
  const args = [doc('connect/polyglot.ini')];
  const program = requireTool('/usr/games/polyglot', 'polyglot');
  const polyglot = new Engine(program, { args, env, cwd: folder });
  t.after(() => polyglot.kill());
  polyglot.send('xboard', 'protover 2');
  await polyglot.until('feature myname="Quillon Version 2.0"', patience);
  await polyglot.until('feature done=1', patience);
  polyglot.send('new', 'sd 4');
  const chess = new Chess();
  for (const move of ['e2e4', 'g1f3', 'f1b5']) {
    // The engine's moves can make the planned one illegal.
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

test('through the script for PyChess only "isready" is answered with "readyok"', async (t) => {
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
  // PyChess keeps the pipe open when it ends an engine.
  engine.send('quit');
  assert.equal((await engine.ended).status, 0);
  assert.equal(engine.log.filter(({ text }) => text === 'readyok').length, 1);
});

test('the script for PyChess reports a missing engine', async () => {
  const engine = new Engine(script, { env: { ...env, QUILLON: '/nowhere/quillon' } });
  assert.equal((await engine.ended).status, 127);
  assert.match(engine.stderr, /\/nowhere\/quillon: No such file/);
});

test('the pictures and files of the guides exist, and all of them are used', () => {
  const links = [...(guide + testing).matchAll(/\]\(([^)#]+)\)/g)].map((link) => link[1]);
  const local = links.filter((link) => !link.includes('://'));
  for (const link of local) assert.ok(fs.existsSync(doc(link)), link);

  const list = (name, pattern) => fs.readdirSync(doc(name)).filter((one) => pattern.test(one));
  const drawn = list('pictures', /^connect-/).map((one) => `pictures/${one}`);
  assert.deepEqual(local.filter((link) => link.endsWith('.png')).sort(), drawn.sort());
  for (const picture of drawn) {
    const bytes = fs.readFileSync(doc(picture));
    assert.equal(bytes.subarray(1, 4).toString('latin1'), 'PNG', picture);
    assert.ok(bytes.length < 150000, `${picture} has ${bytes.length} bytes`);
  }
  for (const one of list('connect', /./)) assert.ok(local.includes(`connect/${one}`), one);
});
