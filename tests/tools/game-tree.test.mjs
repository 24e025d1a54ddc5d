// SPDX-License-Identifier: MIT
// Games as trees: reading and writing PGN, editing variations, messages about invalid text.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { Chess, startFen } from '../../tools/lib/chess.mjs';
import {
  GameTree, listGames, nagText, problemText, readGame, scanGames,
} from '../../tools/lib/game-tree.mjs';
import { pick, randomNumbers, seed } from '../../tools/lib/random.mjs';

/** A tree without its links: what saving must preserve. */
function shapeOf({ children, san, before, comment, nags, clock, elapsed, score, commands }) {
  const own = { san, before, comment, nags, clock, elapsed, score, commands };
  return { ...own, children: children.map(shapeOf) };
}

const sansOf = (nodes) => nodes.map(({ san }) => san).join(' ');
/** A line with its variations: "e4 (d4 d5) e5". */
function linesOf(node) {
  const [main, ...others] = node.children;
  if (!main) return '';
  const variations = others.map((other) => ` (${`${other.san} ${linesOf(other)}`.trim()})`);
  return `${main.san}${variations.join('')} ${linesOf(main)}`.trim();
}

/** A random game with variations and all that a move can have. */
function makeGame(random) {
  const chance = (share) => random() < share;
  const number = (limit) => Math.floor(random() * limit);
  const words = ['(or)', '1-0', '[x]', ';', '$3', '"', '%', 'über', 'e4', '{', 'x  y', 'a\nb'];
  const phrase = () => Array.from({ length: 1 + number(4) }, () => pick(random, words)).join(' ');
  const castles = 'r3k2r/1P3pp1/2n2q2/3pP3/8/2N2Q2/1p3PP1/R3K2R w KQkq d6 0 20';
  const tags = { White: 'A "quoted" \\ name', Annotator: `no. ${number(99)}` };
  const tree = new GameTree(chance(0.3) ? castles : startFen, tags);
  tree.result = pick(random, ['1-0', '0-1', '1/2-1/2', '*']);

  const annotate = (node) => {
    while (chance(0.25) && node.nags.length < 3) tree.toggleNag(node, number(160));
    if (node.parent && chance(0.1)) tree.setComment(node, phrase(), 'before');
    if (chance(0.25)) tree.setComment(node, phrase() + (chance(0.2) ? '[%cal Gd2d4,Re4e5]' : ''));
    if (chance(0.1)) node.clock = number(4e4) * 100;
    if (chance(0.1)) node.score = chance(0.5) ? { mate: 1 + number(9) } : { cp: -number(900) - 1 };
  };
  const playLine = (from, length, depth) => {
    let node = from;
    for (let i = 0; i < length; i++) {
      const moves = new Chess(node.fen).moves();
      if (!moves.length) break;
      const next = tree.play(node, pick(random, moves));
      annotate(next);
      while (depth < 4 && chance(0.12)) playLine(node, 1 + number(5), depth + 1);
      node = next;
    }
  };
  annotate(tree.root);
  playLine(tree.root, number(40), 0);
  return tree;
}

/** The PGN of a game as other programs might write it. */
function writeOddly(tree, random) {
  const chance = (share) => random() < share;
  const spaces = [' ', ' ', ' ', '\n', '  ', '\t', '\r\n', '\n% 1. h4 ( { "\n'];
  const [, head, moves] = tree.toPgn().match(/^(.*?\n\n)(.*)$/s);
  const words = moves.match(/\{[^}]*\}|[()]|[^\s(){}]+/g);
  let text = head.replaceAll('\n', pick(random, ['\n', '\r\n']));
  for (const [i, word] of words.entries()) {
    // A number before a comment tells which move that belongs to.
    const isSpare = /^\d+\.+$/.test(word) && !words[i + 1].startsWith('{');
    if (isSpare && chance(0.3)) continue;
    let odd = word;
    if (chance(0.3)) odd = word.replace(/^\{([^\n]*)\}$/, ';$1\n').replace(/^(\d+)\./, '$1 .');
    if (chance(0.7)) odd = odd.replace(/^\$[1-6]$/, (nag) => nagText(Number(nag.slice(1))));
    // Words of letters and digits need a space between them; others may do without.
    const canTouch = /^[({)!?$]/.test(odd) ? /[\w)}]$/.test(text) : /\.$/.test(text);
    text += (canTouch && chance(0.4) ? '' : pick(random, spaces)) + odd;
  }
  return text;
}

/** Fails unless a tree survives saving, and saving it again changes nothing. */
function checkSurvives(tree, text) {
  const saved = tree.toPgn();
  const games = listGames(saved);
  assert.equal(games.length, 1, text);
  const again = games[0].read();
  assert.deepEqual(again.problems, [], saved);
  assert.deepEqual(shapeOf(again.root), shapeOf(tree.root), text);
  const head = ({ tags, fen, result }) => ({ tags, fen, result });
  assert.deepEqual(head(again), head(tree));
  assert.equal(again.toPgn(), saved);
}

test('200 generated games are read as they were made, and survive saving', () => {
  const random = randomNumbers();
  for (let i = 0; i < 200; i++) {
    const made = makeGame(random);
    const text = writeOddly(made, random);
    const about = `seed ${seed}, game ${i}: ${text}`;
    const tree = readGame(text);
    assert.deepEqual(tree.problems, [], about);
    assert.deepEqual(shapeOf(tree.root), shapeOf(made.root), about);
    assert.deepEqual([tree.tags, tree.result], [made.tags, made.result], about);
    checkSurvives(tree, about);
  }
});

/** The games of other programs: every PGN file in some of Debian's packages. */
function shippedFiles() {
  const base = process.env.QUILLON_SHARE ?? '/usr/share';
  const files = [];
  for (const folder of ['scid', 'pychess', 'games/xboard', 'doc/xboard']) {
    const place = path.join(base, folder);
    if (!fs.existsSync(place)) continue;
    for (const name of fs.readdirSync(place, { recursive: true, encoding: 'utf8' })) {
      if (name.endsWith('.pgn')) files.push(path.join(place, name));
    }
  }
  return files.sort();
}

const files = shippedFiles();
const skip = files.length ? false : 'no games of scid-data, pychess or xboard are installed';
test('games that other programs ship survive saving', { skip }, () => {
  // Every seventh: they are more than a thousand.
  const games = files.flatMap((file) => listGames(fs.readFileSync(file, 'utf8')));
  assert.ok(games.length > 200);
  for (const [i, game] of games.entries()) {
    if (i % 7) continue;
    const tree = game.read();
    const start = tree.root;
    checkSurvives(tree, JSON.stringify(game.tags));
    if (tree.problems.length) continue;
    // The main line as another reader sees it, of the moves alone.
    const chess = new Chess();
    chess.loadPgn(tree.toPgn());
    assert.equal(chess.history().join(' '), sansOf(tree.lineFrom(start)));
  }
});

test('main lines are read: comments, NAGs, variations, stray numbers, any start, wrong moves', () => {
  const hard = `
% this line is escaped 1. h4
[Event	"one [two] {three}"]
[White "a \\"b\\" c"]

1.e4 {a (comment) 1-0 [here} e5! $14 2 Nf3 (2. f4 exf4 (2... d5 {so}) 3. Nf3) 2 ... Nc6 ; rest 3. h4
3. Bb5 a6?! 4. Ba4 Nf6 5. 0-0 {open`;
  const tag = '[FEN "r3k2r/4P3/8/8/8/8/1p6/4K2R b kq - 0 9"]\n';
  // Each game is its moves, and what is wrong with the next one.
  for (const [text, ...expected] of [
    [hard, 'e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O'],
    ['1. g1f3 d7-d5 2. Nfh4 0-1', 'Nf3 d5 Nh4'],
    ['[White "a"]\n1. e4 e5 1-0\n[White "b"]\n1. d4 *\n', 'e4 e5', 'd4'],
    ['1. e4 e5 1-0 1. d4 1/2-1/2 1. c4 c5 2. g3', 'e4 e5', 'd4', 'c4 c5 g3'],
    ['[White "a"]\n\n1. e4 (1. d4 \n[White "b"]\n\n1. d4 d5\n', 'e4', 'd4 d5'],
    ['[White "a"]\n[White "b"]\n1. d4\n', '', 'd4'],
    [`${tag}9... b1Q+ 10. Ke2 Qa2+ *`, 'b1=Q+ Ke2 Qa2+'],
    [`${tag}9... 0-0 *`, ': 9... 0-0 is not a legal move'],
    ['1. e4 e5 2. Ke3 Nf6 *\n\n1. d4 *', 'e4 e5: 2. Ke3 is not a legal move', 'd4'],
    ['1. e4 Nf3', 'e4: 1... Nf3 is not a legal move'],
    ['[FEN "8/8"]\n1. e4', ': not a position: must contain six space-delimited fields'],
  ]) {
    const games = listGames(text).map((game) => {
      const tree = game.read();
      const problem = tree.problems.find(({ endsGame }) => endsGame);
      return sansOf(tree.lineFrom()) + (problem ? `: ${problem.message}` : '');
    });
    assert.deepEqual(games, expected);
  }
  const { tags } = readGame(hard);
  assert.deepEqual(tags, { Event: 'one [two] {three}', White: 'a "b" c' });
});

test('comments and glyphs in odd places go to the right move', () => {
  for (const [text, saved] of [
    ['1. e4 (1. d4 1-0) e5 *', '1. e4 (1. d4) 1... e5 *'],
    ['1. e4 ({x}) e5', '1. e4 {x} 1... e5 *'],
    ['1. e4 (1. d4 d5) {z} *', '1. e4 {z} (1. d4 d5) *'],
    ['1. e4 (1. d4) {z} e5', '1. e4 (1. d4) 1... {z} e5 *'],
    ['1. e4 $1 ! $1 e5 *', '1. e4 $1 e5 *'],
    ['1. e4 ($2 {x} 1. d4) 1/2', '1. e4 ({x} 1. d4 $2) 1/2-1/2'],
    ['1. e4 ({a} 1. d4 d5) ({b} 1. d4! Nf6) *', '1. e4 ({a b} 1. d4 $1 d5 (1... Nf6)) *'],
    ['1. e4 (1. e4 c5) 1... e5 *', '1. e4 e5 (1... c5) *'],
    ['1. e4 d5 2. e5 f5 3. exf6 e.p. +- *', '1. e4 d5 2. e5 f5 3. exf6 $18 *'],
    ['{a} {b} 1. e4 {c} {d} 0-1 {e}', '{a b} 1. e4 {c d e} 0-1'],
  ]) {
    assert.equal(readGame(text).toPgn().split('\n\n')[1], `${saved}\n`);
  }
});

test('games pasted from lichess and chess.com keep clocks and scores', () => {
  const lichess = readGame(`[Event "Rated Blitz game"]
[Site "https://lichess.org/abcdefgh"]
[Result "0-1"]
[FEN "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"]
[TimeControl "180+2"]

1. f3?! { [%eval -0.62] [%clk 0:03:00] } { Inaccuracy. e4 was best. } (1. e4 e5 2. Nf3) 1... e5 { [%eval -0.53] [%clk 0:02:59] } 2. g4?? { [%eval #-1] [%clk 0:02:58] [%emt 0:00:03.5] } 2... Qh4# { [%clk 0:02:57] } { Black wins by checkmate. } 0-1
`);
  assert.deepEqual(lichess.problems, []);
  assert.equal(linesOf(lichess.root), 'f3 (e4 e5 Nf3) e5 g4 Qh4#');
  const [f3, , g4, mate] = lichess.lineFrom();
  assert.deepEqual([f3.score, f3.clock, f3.nags], [{ cp: -62 }, 180000, [6]]);
  assert.equal(f3.comment, 'Inaccuracy. e4 was best.');
  assert.deepEqual(
    [g4.score, g4.elapsed, mate.comment],
    [{ mate: -1 }, 3500, 'Black wins by checkmate.'],
  );
  assert.equal(lichess.result, '0-1');

  const chessCom = readGame(`[Event "Live Chess"]
[Site "Chess.com"]
[Result "1-0"]
[Termination "a won by resignation"]

1. e4 {[%clk 0:09:58.4]} 1... e5 {[%clk 0:09:59]} 2. Nf3 {[%clk 0:09:57]} 1-0`);
  assert.deepEqual(
    chessCom.lineFrom().map(({ clock }) => clock),
    [598400, 599000, 597000],
  );
  assert.match(chessCom.toPgn(), /^1\. e4 \{\[%clk 0:09:58\.4\]\} 1\.\.\. e5 /m);
});

test('games of a file are listed by their tags and read on demand', () => {
  const text = `\uFEFF% a file
[White "Loyd "Sam" Samuel"]
[Result "1-0"]

1. e4 (1. d4 {not a tag:
[White "b"]
}) 1-0
1. c4 c5 1/2 {agreed} 1. g3 *

[White "c"]`;
  const games = listGames(text);
  const trees = games.map((game) => game.read());
  assert.deepEqual(games.map(({ tags, line }, i) => [tags.White, line, trees[i].result]), [
    ['Loyd "Sam" Samuel', 1, '1-0'], [undefined, 8, '1/2-1/2'], [undefined, 8, '*'], ['c', 10, '*'],
  ]);
  assert.equal(trees[1].lineFrom()[1].comment, 'agreed');
  assert.deepEqual(listGames(' \n% nothing\n'), []);
  // A thousand open variations don't hide the game after them.
  const many = listGames(`[White "a"]\n1. e4 ${'('.repeat(1000)}\n[White "b"]\n1. d4 *`);
  assert.equal(many.length, 2);
  assert.equal(many[1].read().problems.length, 0);
});

test('each problem is reported with its line and column; the rest is read', () => {
  for (const [text, lines, problem] of [
    ['[White "a"]\n\n1. e4 e5\n2. Ke3 Nf6 *', 'e4 e5',
      'line 4, column 4: 2. Ke3 is not a legal move'],
    ['1. e4 (1. d4 Nf3 2. c4) e5 *', 'e4 (d4) e5',
      'line 1, column 14: 1... Nf3 is not a legal move'],
    ['1. e4 {open', 'e4', 'line 1, column 7: the comment that begins here has no end'],
    ['1. e4 ) e5', 'e4 e5', "line 1, column 7: a variation ends here that hasn't begun"],
    ['1. e4\n(1. d4', 'e4 (d4)', 'line 2, column 7: a variation has no end'],
    ['(1. d4) 1. e4', 'e4', 'line 1, column 1: a variation before the first move'],
    ['1. e4 § e5', 'e4 e5', 'line 1, column 7: "§" is unexpected here'],
    ['[FEN "8/8 w"]\n1. e4', '',
      'line 1, column 1: not a position: must contain six space-delimited fields'],
    ['hello', '', 'line 1, column 1: 1. hello is not a legal move'],
  ]) {
    const tree = readGame(text);
    assert.equal(linesOf(tree.root), lines, text);
    assert.deepEqual(tree.problems.map(problemText), [problem]);
  }
});

test('a game begins at a FEN of four, five or six fields', () => {
  const fields = ['4k3/8/8/8/8/8/4P3/4K3', 'b', '-', '-', '7', '30'];
  for (const count of [4, 5, 6]) {
    const tree = new GameTree(fields.slice(0, count).join(' '));
    assert.ok(tree.play(tree.root, 'Kd8'));
    const [, setUp, fen] = tree.toPgn().match(/\[SetUp "(.)"\]\n\[FEN "(.*)"\]/);
    const full = [...fields.slice(0, count), ...['0', '1'].slice(count - 4)].join(' ');
    assert.deepEqual([setUp, fen], ['1', full]);
    assert.match(tree.toPgn(), count === 6 ? /^30\.\.\. Kd8 \*$/m : /^1\.\.\. Kd8 \*$/m);
  }
  assert.throws(() => new GameTree('8/8/8/8/8/8/8/8 w - - 0 1'), /king/);
});

test('a different move starts a variation; the same move goes to its old node', () => {
  const tree = new GameTree();
  const [e4, e5] = tree.playLine(tree.root, ['e4', 'e7e5']);
  assert.equal(tree.play(tree.root, { from: 'e2', to: 'e4' }), e4);
  const c5 = tree.play(e4, 'c5');
  assert.deepEqual([tree.isMain(e5), tree.isMain(c5), tree.variationOf(c5)], [true, false, c5]);
  assert.equal(tree.play(e4, 'Ke7'), null);
  assert.deepEqual([e4.uci, c5.uci, c5.parent], ['e2e4', 'c7c5', e4]);
  tree.playLine(c5, ['Nf3', 'd6', 'Ke3', 'd4']);
  assert.equal(linesOf(tree.root), 'e4 e5 (c5 Nf3 d6)');
  assert.equal(tree.chessAt(c5).history().join(' '), 'e4 c5');
  assert.equal(tree.play(c5, '--').uci, '0000');
});

test('variations are promoted, made the main line and deleted', () => {
  const read = () => readGame('1. e4 e5 (1... c5 2. Nf3 (2. c3 d5) d6) (1... e6) 2. Nf3 *');
  const nodeOf = (tree, san) => tree.nodes().find((node) => node.san === san);
  for (const [how, san, lines] of [
    ['promote', 'e6', 'e4 e5 (e6) (c5 Nf3 (c3 d5) d6) Nf3'],
    ['promote', 'd6', 'e4 c5 (e5 Nf3) (e6) Nf3 (c3 d5) d6'],
    ['promote', 'd5', 'e4 e5 (c5 c3 (Nf3 d6) d5) (e6) Nf3'],
    ['makeMain', 'd5', 'e4 c5 (e5 Nf3) (e6) c3 (Nf3 d6) d5'],
    ['remove', 'c3', 'e4 e5 (c5 Nf3 d6) (e6) Nf3'],
    ['remove', 'e5', 'e4 c5 (e6) Nf3 (c3 d5) d6'],
  ]) {
    const tree = read();
    tree[how](nodeOf(tree, san));
    assert.equal(linesOf(tree.root), lines, `${how} ${san}`);
  }
  const tree = read();
  assert.equal(tree.promote(nodeOf(tree, 'e5')), false);
  assert.equal(tree.remove(nodeOf(tree, 'e6')).san, 'e4');
  assert.equal(tree.remove(tree.root), tree.root);
  assert.equal(linesOf(tree.root), '');
});

test('comments and glyphs are set, replaced and removed', () => {
  const tree = readGame('1. e4 {[%clk 0:01:00] good} *');
  const [e4] = tree.lineFrom();
  tree.setComment(e4, ' a } brace [%cal Ge2e4] ');
  tree.setComment(e4, 'why', 'before');
  for (const nag of [14, 1, 5]) tree.toggleNag(e4, nag);
  assert.deepEqual([e4.comment, e4.clock, e4.nags], ['a ) brace', 60000, [5, 14]]);
  assert.match(
    tree.toPgn(),
    /\n1\. \{why\} e4 \$5 \$14 \{\[%clk 0:01:00\] \[%cal Ge2e4\] a \) brace\} \*\n$/,
  );
  checkSurvives(tree, 'edited');
  tree.toggleNag(e4, 5);
  tree.setComment(e4, '');
  assert.deepEqual([e4.comment, e4.nags], ['', [14]]);
  assert.deepEqual([1, 4, 7, 140].map(nagText), ['!', '??', '□', '$140']);
});

test('moves are saved in lines of at most 80 characters, comments unbroken', () => {
  const tree = new GameTree();
  const shuffle = Array.from({ length: 120 }, (_, i) => ['Nf3', 'Nf6', 'Ng1', 'Ng8'][i % 4]);
  const line = tree.playLine(tree.root, shuffle);
  const long = `${'word '.repeat(30)}end`;
  tree.setComment(line[60], long);
  const lines = tree.toPgn().split('\n');
  assert.ok(lines.some((each) => each.includes(long)));
  for (const each of lines) if (!each.includes(long)) assert.ok(each.length <= 80, each);
  assert.ok(lines.filter((each) => each.length > 70).length > 8);
});

test('a long text is scanned in short steps, and gives all games', () => {
  const game = `[White "Ann"]\n\n${'1. Nf3 Nf6 2. Ng1 Ng8 '.repeat(500)}1-0\n\n`;
  const scan = scanGames(game.repeat(10));
  const shares = [];
  let step = scan.next();
  for (; !step.done; step = scan.next()) shares.push(step.value);
  assert.equal(step.value.length, 10);
  // Thousands of words are some ten thousand characters.
  assert.ok(shares.length >= 5, shares);
  assert.ok(shares.every((share, i) => share > (shares[i - 1] ?? 0) && share < 1), shares);
});
