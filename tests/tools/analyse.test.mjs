// SPDX-License-Identifier: MIT
// tools/analyse as a program, with the real engine and with engines that misbehave.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { listGames, readGame } from '../../tools/lib/game-tree.mjs';
import { makeReport } from '../../tools/lib/report.mjs';
import { checkUse, fake, file, linesOf, read, root, run } from './support.mjs';

const analyse = (args, how) => run('analyse', args, how);
/** Runs it for 10 ms a position on a fake engine. */
const analyseBy = (program, args, how) =>
  run('analyse', ['--engine', program, '--time', '10', ...args], how);

/** The cells of a row: name, score, depth, best, line. */
const cellsOf = (row) => row.trim().split(/\s{2,}/);
const namesOf = (out) => linesOf(out).map((line) => cellsOf(line)[0]);

test("mates are counted in moves, from White's view", async () => {
  const rows = [
    ['6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - 0 1', '#1', '1. Ra8#'],
    ['r5k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1', '#-1', '1... Ra1#'],
    ['7k/8/5KQ1/8/8/8/8/8 b - - 0 1', '0.00', 'stalemate'],
    ['7k/6Q1/5K2/8/8/8/8/8 b - - 0 1', '1-0', 'checkmate'],
    ['8/8/4k3/8/8/3NK3/8/8 w - - 0 1', '0.00', 'insufficient material'],
  ];
  const { status, out, err } = await analyse(['--time', '500', ...rows.map(([fen]) => fen)]);
  assert.deepEqual([status, err], [0, '']);
  const [head, ...lines] = linesOf(out).map(cellsOf);
  assert.deepEqual(head, ['position', 'score', 'depth', 'best', 'line']);
  for (const [i, [fen, score, line]] of rows.entries()) {
    assert.equal(lines[i][1], score, fen);
    if (line) assert.equal(lines[i][4], line);
  }
});

test('with --lines a position has several lines, each with score, depth and moves', async () => {
  const { status, out } = await analyseBy(fake(), ['--json', '--lines', '2', 'startpos']);
  assert.equal(status, 0);
  // The fake engine scores every position well for the side to move, so all moves but the first
  // look bad.
  assert.deepEqual(JSON.parse(out).lines, [
    { rank: 1, depth: 12, score: { cp: 10 }, moves: ['a2a3'], san: ['a3'] },
    { rank: 2, depth: 13, score: { cp: -10 }, moves: ['a2a4', 'b8c6'], san: ['a4', 'Nc6'] },
  ]);
  const { out: table } = await analyseBy(fake(), ['--lines', '2', 'startpos']);
  const rows = linesOf(table).slice(1).map(cellsOf);
  assert.deepEqual(rows[0].slice(0, 4), ['1', '+0.10', '12', 'a3']);
  assert.deepEqual(rows[1].slice(0, 3), ['-0.10', '13', 'a4']);
});

const foolsMate = '[White "Fool"]\n[Black "Scholar"]\n\n1. f3 e5 2. g4 Qh4# 0-1\n';

test('a game has a row for each position; its blunder is listed and drawn', async () => {
  const svg = file('fool.svg');
  const pgn = file('fool.pgn', foolsMate);
  const { status, out, err } = await analyse(['--depth', '10', '--svg', svg, pgn]);
  assert.deepEqual([status, err], [0, '']);
  const lines = linesOf(out);
  assert.equal(lines[0], 'Fool - Scholar');
  assert.deepEqual(namesOf(out).slice(2, 7), ['1. f3', '1... e5', '2. g4', '2... Qh4#', 'end']);
  assert.deepEqual(cellsOf(lines[5]).slice(1, 4), ['#-1', '1', 'Qh4#']);
  assert.deepEqual(cellsOf(lines[6]).slice(1), ['0-1', '-', '-', 'checkmate']);
  assert.match(lines.slice(7).join('\n'), /^ {2}2\. g4\?\? \(-\d\.\d\d -> #-1; better 2\. \w+\)$/m);
  const graph = read(svg);
  assert.match(graph, /^<svg xmlns="http:\/\/www\.w3\.org\/2000\/svg" /);
  assert.match(graph, />Fool - Scholar<[^]*>2\. g4\?\?</);
  const count = (pattern) => graph.match(pattern).length;
  assert.equal(count(/<[^/?][^>]*[^/]>/g), count(/<\//g));
});

test('--json prints an object for each position and each game', async () => {
  const { status, out } = await analyseBy(fake(), ['--json', '-'], { input: '1. e4 e5 *' });
  assert.equal(status, 0);
  const [before, middle, last, game] = linesOf(out).map((line) => JSON.parse(line));
  assert.equal(before.played, 'e4');
  assert.deepEqual([before.score, middle.score, last.score], [{ cp: 10 }, { cp: -10 }, { cp: 10 }]);
  assert.deepEqual([before.depth, before.line.length, last.end], [12, 1, null]);
  assert.deepEqual(game, { game: 1, input: 'White - Black', result: '*', swings: [] });
});

test('several games have files each; an illegal move ends only its own game', async () => {
  fs.mkdirSync(file('two.b'));
  const input = '1. e4 e5 2. Ke3 *\n\n1. d4 *';
  const args = ['svg', 'html', 'pgn'].flatMap((kind) => [`--${kind}`, file(`two.b/g.${kind}`)]);
  const { status, out, err } = await analyseBy(fake(), [...args, '-'], { input });
  assert.equal(status, 1);
  const message = 'game 1, line 1, column 13: 2. Ke3 is not a legal move';
  assert.equal(err, `analyse: standard input, ${message}\n`);
  const names = namesOf(out).filter((name) => /^(\d|end)/.test(name));
  assert.deepEqual(names, ['1. e4', '1... e5', 'end', '1. d4', 'end']);
  assert.match(out, /White - Black \(game 2\)/);
  const files = ['g-1.html', 'g-1.svg', 'g-2.html', 'g-2.svg', 'g.pgn'];
  assert.deepEqual(fs.readdirSync(file('two.b')).sort(), files);
  assert.match(read(file('two.b/g-2.html')), />d4</);
  const games = listGames(read(file('two.b/g.pgn'))).map((game) => game.read());
  assert.deepEqual(games.map((tree) => tree.lineFrom().length), [2, 1]);
});

const died = /^analyse: .*, game 1, 2\. g4: Fake 1\.0 has ended with status 3\n$/;
// A terminal signals the engine too, a script may signal the tool alone.
for (const [what, engine, status, message, target] of [
  ['an engine that exits', fake('dies', 3), 1, died],
  ['Ctrl-C', fake('waits', 3), 130, /^analyse: interrupted\n$/, (child) => -child.pid],
  ['SIGINT to the tool', fake('waits', 3), 130, /^analyse: interrupted\n$/, (child) => child.pid],
]) {
  test(`${what} keeps the results so far, which are printed and drawn`, async () => {
    const svg = file(`${what}.svg`);
    let isSent = !target;
    const args = ['--engine', engine, '--time', '60000', '--svg', svg, file('fool.pgn', foolsMate)];
    const found = await analyse(args, {
      each(text, child) {
        if (isSent || !text.includes('1... e5')) return;
        isSent = true;
        process.kill(target(child), 'SIGINT');
      },
    });
    assert.equal(found.status, status);
    assert.match(found.err, message);
    assert.deepEqual(namesOf(found.out).slice(2, 4), ['1. f3', '1... e5']);
    assert.doesNotMatch(found.out, /^2\. g4/m);
    assert.match(read(svg), /class="line"/);
  });
}

test('reports to a depth are the same each time, whatever they are written as', async () => {
  const game = '1. e4 e5 2. Nf3 f6 3. Nxe5 fxe5 4. Qh5+ Ke7 5. Qxe5+ Kf7 6. Bc4+ Kg6 *';
  const pgn = file('damiano.pgn', `[White "a"]\n\n${game}\n`);
  const outcomes = [];
  for (const name of ['first', 'second']) {
    const [html, annotated] = [file(`${name}.html`), file(`${name}.pgn`)];
    const args = ['--depth', '10', '--report', '--html', html, '--pgn', annotated, pgn];
    const { status, out, err } = await analyse(args);
    assert.deepEqual([status, err], [0, '']);
    outcomes.push([out, read(html), read(annotated)]);
  }
  assert.deepEqual(outcomes[1], outcomes[0]);
  const [out, html, annotated] = outcomes[0];
  assert.match(out, /^accuracy +\d+\.\d % +\d+\.\d %$/m);
  // 5... Kf7 is forced; 6... d5 keeps the king from the mate.
  assert.match(out, /^. 6\.\.\. Kg6\?\? Blunder: .*; better 6\.\.\. d5\. After 6\.\.\. Kg6 \w/m);
  assert.doesNotMatch(out, /Largest swings/);
  assert.match(html, /^<!doctype html>[^]*better 6\.\.\. d5\./);
  assert.match(annotated, /^\[Annotator "Quillon .*, depth 10"\]$/m);
  assert.match(annotated, /6\.\.\. Kg6 \$4\s\{\[%eval [^\]]+\] Blunder: /);
  assert.match(annotated, /\(6\.\.\. d5 /);
  // The report is made of the scores and lines that are printed.
  const { out: lines } = await analyse(['--depth', '10', '--json', '--report', pgn]);
  const rows = linesOf(lines).map((line) => JSON.parse(line));
  const { report } = rows.pop();
  checkReport(readGame(game), rows, report);
});

/** Fails unless a report, apart from its sentences, follows from the rows. */
function checkReport(tree, rows, report) {
  const expected = JSON.parse(JSON.stringify(makeReport(tree, rows)));
  for (const move of report.moves) move.reason = null;
  assert.deepEqual(report, expected);
}

test('a reader that closes the pipe early is not an error', async () => {
  const { status, err } = await analyseBy(fake(), [file('pipe.pgn', foolsMate)], {
    each: (out, child) => child.stdout.destroy(),
  });
  assert.deepEqual([status, err], [0, '']);
});

test('wrong use gives one line and status 2, a missing file one line and status 1', async () => {
  const records = file('one.epd', '4k3/8/8/8/8/8/8/R3K3 w - -\n');
  const cases = [
    [[], 2, /please give a position or a file/],
    [['--nonsense'], 2, / Unknown option '--nonsense'$/m],
    [['--time', 'long', 'startpos'], 2, /--time takes a whole number from 1/],
    [['--time', '5', '--depth', '5', 'startpos'], 2, /cannot be combined/],
    [['--lines', '6', 'startpos'], 2, /--lines takes a whole number from 1 to 5, not "6"/],
    [['--as', 'txt', 'startpos'], 2, /--as takes "epd" or "pgn", not "txt"/],
    [['--svg', 'x.svg', records], 2, /--svg takes a game, not positions/],
    [['--report', records], 2, /--report takes a game, not positions/],
    [['--html', '/nowhere/x.html', file('b.pgn', foolsMate)], 1, /no such folder/],
    [['4k3/8/8/8/8/8/8/4K3', 'w', '-', '-'], 2, /please put the whole position in quotes/],
    [['/nowhere.pgn'], 1, /\/nowhere\.pgn: neither a file nor a position/],
    [['docs'], 1, /docs: is a folder/],
    [['8/8/8/8/8/8/8/8 w - - 0 1'], 1, /not a position: missing white king/],
    [[file('empty.pgn', '\n')], 1, /empty\.pgn: the file is empty/],
    [['--hash', '99999', 'startpos'], 1, /takes Hash from 1 to 32768, not 99999/],
    [['--engine', '/nowhere/engine', 'startpos'], 1, /cannot start \/nowhere\/engine/],
    [['--svg', '/nowhere/x.svg', file('a.pgn', foolsMate)], 1, /no such folder/],
    [['--out', 'x.txt', 'startpos'], 2, /a name that ends in \.pgn, \.jsonl or \.csv/],
    [['--out', file('x.csv'), records], 2, /--out takes a game, not positions/],
    [['--resume', 'startpos'], 2, /--resume needs --out/],
    [['--shard', '4/3', 'startpos'], 2, /one of several parts, as in 2\/8, not "4\/3"/],
    [['--merge', 'x.csv', 'x.pgn'], 2, /--merge takes files of one kind/],
    [['--merge', '/nowhere.csv'], 1, /nowhere\.csv: no such file/],
  ];
  await checkUse(cases.map((row) => ['analyse', ...row]));
  const rubbish = await analyseBy(fake('rubbish'), ['startpos']);
  const message = 'positions, 1: Fake 1.0 answers "e9e9", which is not a legal move';
  assert.deepEqual([rubbish.status, rubbish.err], [1, `analyse: ${message}\n`]);
});

test('QUILLON_ENGINE names the engine, unless --engine does', async () => {
  const env = { QUILLON_ENGINE: fake() };
  const { out } = await analyse(['--time', '10', '--json', 'startpos'], { env });
  assert.deepEqual(JSON.parse(out).score, { cp: 10 });
});

test('without chess.js each tool prints its usage and says how to install it', async () => {
  for (const name of ['tools', 'package.json']) {
    fs.cpSync(path.join(root, name), file(name), { recursive: true });
  }
  const message = /: chess\.js is missing; please run "npm ci"$/m;
  const cases = ['analyse', 'board', 'gauntlet', 'suite'].map((tool) => [tool, ['x'], 1, message]);
  await checkUse(cases, path.relative(path.join(root, 'tools'), file('tools')));
});
