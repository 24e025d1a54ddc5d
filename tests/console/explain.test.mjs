// SPDX-License-Identifier: MIT
//
// quillon_explain, with text for people and JSON for programs: its numbers add up, it compares
// positions, and it says what is wrong with a FEN.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import test from 'node:test';

import { randomNumbers } from '../../tools/lib/random.mjs';
import { randomGame, signaturePositions } from './positions.mjs';

const { QUILLON_EXPLAIN: program } = process.env;
assert.ok(program, 'the build sets QUILLON_EXPLAIN');

function run(options, input = '') {
  return spawnSync(program, options, { input, encoding: 'utf8', maxBuffer: 2 ** 28 });
}

/** The answers to lines of the input. */
function ask(lines) {
  const { stdout } = run(['--json'], `${lines.join('\n')}\n`);
  return stdout.trim().split('\n').map((line) => JSON.parse(line));
}

const random = randomNumbers();
const games = [200, 200].flatMap((count) => randomGame(random, count).fens);
const positions = [...signaturePositions(), ...games, '4k3/8/8/8/8/8/8/4KB2 w - -'];
// Two positions of the signature are unplayable.
const answers = ask(positions).filter(({ error }) => !error);
const sum = (parts, key) => parts.reduce((total, part) => total + part[key], 0);
/** Expects that numbers are equal, apart from the rounding of `count` numbers. */
function near(a, b, count = 1) {
  assert.ok(Math.abs(a - b) < 0.0051 * (count + 1), `${a} and ${b}`);
}

test('squares add up to terms, these to groups and the total, whose blend is the score', () => {
  assert.equal(answers.length, positions.length - 2);
  for (const { fen, sideToMove, score, whiteScore, blend, groups, terms, isDraw } of answers) {
    const side = (colour, name) => terms.filter((term) => !name || term.group === name)
      .map((term) => term[colour]);
    for (const colour of ['white', 'black']) {
      for (const half of ['mg', 'eg']) {
        for (const part of side(colour)) {
          assert.equal(sum(part.squares, half) + part.shared[half], part[half], fen);
        }
        for (const group of groups) {
          assert.equal(sum(side(colour, group.name), half), group[colour][half], fen);
        }
      }
    }
    for (const half of ['mg', 'eg']) {
      assert.equal(sum(side('white'), half) - sum(side('black'), half), blend[half], fen);
    }
    for (const rows of [groups, terms]) near(sum(rows, 'cp'), blend.exact, rows.length);
    const weight = (Math.min(Math.max(blend.phase, 497), 6183) - 497) / 5686;
    const exact = blend.mg * weight + blend.eg * (1 - weight);
    near(blend.exact, exact);
    assert.equal(whiteScore, isDraw ? 0 : Math.trunc(Number(exact.toFixed(6))), fen);
    near(blend.exact + blend.rounding + blend.draw, whiteScore, 3);
    assert.equal(score + 0, (sideToMove === 'white' ? whiteScore : -whiteScore) + 0);
    assert.equal(sideToMove, fen.split(' ')[1] === 'w' ? 'white' : 'black');
  }
  assert.ok(answers.some(({ isDraw }) => isDraw));
});

test('a sentence names the piece and its square, and no placeholder is left', () => {
  const names = { p: 'pawn', n: 'knight', b: 'bishop', r: 'rook', q: 'queen', k: 'king' };
  for (const { fen, terms } of answers) {
    const rows = fen.split(' ')[0].replace(/\d/g, (count) => ' '.repeat(count)).split('/');
    for (const { white, black } of terms) {
      for (const { square, piece, text } of [...white.squares, ...black.squares]) {
        assert.equal(rows[8 - square[1]]['abcdefgh'.indexOf(square[0])], piece);
        assert.ok(text.includes(`${names[piece.toLowerCase()]} on ${square}`), text);
        assert.ok(!text.includes('%'), text);
      }
    }
  }
});

test('two positions are compared, the largest change first', () => {
  const [before, after] = ['6k1/8/8/1P6/8/8/8/6K1 w - -', '6k1/8/1P6/8/8/8/8/6K1 b - -'];
  const options = [before, after];
  const [answer] = ask([options.join(' | ')]);
  assert.deepEqual(answer, JSON.parse(run(['--json', ...options]).stdout));
  assert.deepEqual([answer.before, answer.after], ask(options));
  near(answer.cp, answer.after.blend.exact - answer.before.blend.exact, 2);
  assert.equal(answer.score, answer.after.whiteScore - answer.before.whiteScore);
  assert.equal(answer.groups.length, answer.before.groups.length);
  for (const rows of [answer.terms, answer.groups]) {
    near(sum(rows, 'cp'), answer.cp, rows.length);
    for (const [i, row] of rows.entries()) {
      near(row.after - row.before, row.cp, 2);
      near(row.white.cp - row.black.cp, row.cp, 2);
      assert.ok(!i || Math.abs(rows[i - 1].cp) >= Math.abs(row.cp));
    }
  }
  assert.equal(answer.terms[0].name, 'passed pawns');
  assert.ok(answer.terms.every(({ name }) => name !== 'material'));
  const { stdout } = run(options);
  assert.match(stdout, /^passed pawns +\| +(\d+\.\d\d +){2}\+\d+\.\d\d$/m);
  const shown = [...stdout.matchAll(/^(.+?) +\| +-?\d+\.\d\d /gm)].map(([, name]) => name);
  assert.deepEqual(shown, [...answer.terms.map(({ name }) => name), 'total', 'score']);
});

test('lines are answered one by one, wrong ones too', () => {
  const { stdout, status } = run(['--json'], '4k3/8/8/8/8/8/8/4K3 w - - bm Kd2;\r\n\n"\\\x01\n');
  const [good, bad] = stdout.trim().split('\n').map((line) => JSON.parse(line));
  assert.equal(good.isDraw, true);
  assert.equal(bad.fen, '"\\\x01');
  assert.equal(status, 1);
});

for (const [fen, fault] of [
  ['8/8/8/8/8/8/8', /board has 7 ranks: write 8/],
  ['4k3/8/8/8/8/8/8/4K3', /side to move is missing.*quotes/],
  ['4k3/8/8/8/8/8/8/4K3 white - -', /write w or b/],
  ['4k3/8/8/7/8/8/8/4K3 w - -', /"7" has 7 squares: give each rank 8/],
  ['4k3/8/8/4x3/8/8/8/4K3 w - -', /'x' is not a piece: write/],
  ['4k3/8/8/8/8/8/8/8 w - -', /give each side one king/],
  ['4k3/8/8/8/8/8/8/4K2P w - -', /pawns off the first and the last rank/],
  ['4k3/4R3/8/8/8/8/8/4K3 w - -', /not to move is in check: let that side move/],
  ['', /./],
]) {
  test(`what is wrong with "${fen}" is said`, () => {
    const { stderr, stdout, status } = run([fen]);
    assert.match(stderr, fault);
    assert.deepEqual([stderr.split('\n').length, stdout, status], [2, '', 1]);
    const inJson = run(['--json', fen]);
    const { error, fen: given } = JSON.parse(inJson.stdout);
    assert.match(error, fault);
    assert.deepEqual([given, inJson.stderr, inJson.status], [fen, '', 1]);
  });
}

test('help, an unknown option, and words of a FEN without quotes', () => {
  const help = run(['--help']);
  assert.match(help.stdout, /^usage: quillon_explain .*--json.*FEN FEN/s);
  assert.deepEqual([help.stderr, help.status], ['', 0]);
  const unknown = run(['--nothing']);
  assert.match(unknown.stderr, /no option --nothing; try --help/);
  assert.equal(unknown.status, 2);
  assert.match(run(['4k3/8/8/8/8/8/8/4K3', 'w', '-', '-']).stderr, /quotes/);
});
