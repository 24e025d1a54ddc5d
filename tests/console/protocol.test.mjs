// SPDX-License-Identifier: MIT
// What the console promises, command by command: start and end of the process, the texts, the
// options, the positions, and the lines of a search. What a short run of a sanitizer build should
// see as well stands in protocol.san.test.mjs and in tests/conversations.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import { describe, test } from 'node:test';
import {
  banner, Engine, perft, showBoard, startEngine, startStockfish,
} from './engine.mjs';
import { readPerftFile } from './perft-file.mjs';
import { pictureOf, Rules, startFen } from './rules.mjs';
import { bestMovePattern, checkSearch, go, readSearch } from './search.mjs';

const uciAnswer = [
  'id name Quillon Version 2.0',
  'id author Velmar Dask',
  'option name Hash type spin default 256 min 1 max 32768',
  'option name Threads type spin default 1 min 1 max 64',
  'option name Ponder type check default false',
  'uciok',
];

const helpAnswer = [
  "supported UCI commands 'uci' 'ucinewgame' 'position' 'go' 'ponderhit' 'stop 'quit' " +
    "'setoption' 'isready'",
  "other commands 'perft depth', default depth=6, change board with 'position'; 'showboard' " +
    'shows the current board',
];

// Runs the engine with arguments, its input open, and returns the lines behind the banner.
async function runWithArguments(t, args) {
  const engine = new Engine({ args });
  t.after(() => engine.kill());
  await engine.expectCleanExit(30000);
  const lines = engine.log.map((line) => line.text);
  assert.deepEqual(lines.slice(0, 4), banner);
  return lines.slice(4);
}

describe('start and end of the process', () => {
  test('the banner comes by itself, before anything is read', async (t) => {
    const engine = await startEngine(t);
    assert.equal(engine.log.length, 4);
    await engine.quit();
    assert.equal(engine.log.length, 4, 'and nothing else was written');
  });

  test('one argument with blanks in it is the same line as several arguments', async (t) => {
    const [several, one] = [
      await runWithArguments(t, ['perft', '3']),
      await runWithArguments(t, ['perft 3']),
    ];
    for (const lines of [several, one]) {
      assert.deepEqual(lines.slice(0, 17), pictureOf(startFen));
      assert.match(lines.at(-1), /^Perft results for depth: 3 {2}8902 {2}/);
    }
  });

  test('any command can be an argument', async (t) => {
    assert.deepEqual(await runWithArguments(t, ['uci']), uciAnswer);
    assert.deepEqual(await runWithArguments(t, ['help']), helpAnswer);
    assert.deepEqual(await runWithArguments(t, ['isready']), ['readyok']);
    assert.deepEqual(await runWithArguments(t, ['showboard']), pictureOf(startFen));
    assert.deepEqual(await runWithArguments(t, ['quit']), []);
    assert.deepEqual(await runWithArguments(t, ['position', 'startpos']), []);
    assert.deepEqual(await runWithArguments(t, ['frobnicate']), ['Unknown command']);
    assert.deepEqual(await runWithArguments(t, ['']), ['Unknown command']);
  });
});

describe('words of a line', () => {
  test('uci, isready and help write exactly their texts', async (t) => {
    const engine = await startEngine(t);
    engine.send('uci');
    await engine.expectLines(uciAnswer);
    engine.send('isready');
    await engine.expectLines(['readyok']);
    engine.send('help');
    await engine.expectLines(helpAnswer);
    await engine.quit();
  });

  test('only the first word counts: uci with other words is uci', async (t) => {
    const engine = await startEngine(t);
    engine.send('uci isready quit');
    await engine.expectLines(uciAnswer);
    await engine.quit();
  });

  test('leading, repeated and trailing white space of any sort separates words', async (t) => {
    const engine = await startEngine(t);
    const rules = new Rules();
    rules.play('e2e4');
    for (const line of [
      '   position   startpos   moves   e2e4   ',
      '\tposition\tstartpos\tmoves\te2e4\t',
      'position startpos moves e2e4\r',
      '\v\fposition startpos moves\r\r e2e4',
    ]) {
      engine.send('position startpos', line);
      assert.deepEqual(await showBoard(engine), rules.picture(), JSON.stringify(line));
    }
    engine.sendBytes('isready\r\nuci\r\n');
    await engine.expectLines(['readyok', ...uciAnswer]);
    engine.send('   perft    2   ');
    assert.match(await engine.expect(/^Perft results/), /depth: 2 {2}/);
    await engine.quit();
  });

  test('a FEN that comes with repeated blanks or a carriage return is the same FEN', async (t) => {
    const engine = await startEngine(t);
    const fen = 'r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 4 9';
    for (const line of [fen, fen.replaceAll(' ', '   '), `${fen}\r`]) {
      engine.send('position startpos', `position fen ${line}`);
      assert.deepEqual(await showBoard(engine), pictureOf(fen));
      assert.equal((await perft(engine, 2)).count, new Rules(fen).countLeaves(2));
    }
    await engine.quit();
  });

  test('an empty line, a blank line and an unknown word get "Unknown command" each', async (t) => {
    const engine = await startEngine(t);
    for (const line of ['', '    ', '\t', '\r', 'frobnicate', 'e2e4', 'position1 startpos']) {
      assert.deepEqual(await engine.reply(line), ['Unknown command'], JSON.stringify(line));
    }
    await engine.quit();
  });

  test('upper-case spellings of a command are unknown', async (t) => {
    const engine = await startEngine(t);
    for (const line of ['UCI', 'Isready', 'QUIT', 'Perft 1', 'HELP', 'Go depth 1']) {
      assert.deepEqual(await engine.reply(line), ['Unknown command'], line);
    }
    await engine.quit();
  });

  test('help and an unknown command change no state', async (t) => {
    const engine = await startEngine(t);
    engine.send('position startpos moves d2d4 d7d5 c2c4');
    const board = await showBoard(engine);
    const before = await perft(engine, 2);
    await engine.reply('help');
    await engine.reply('frobnicate');
    assert.deepEqual(await showBoard(engine), board);
    const after = await perft(engine); // the depth is remembered too
    assert.deepEqual([after.depth, after.count], [2, before.count]);
    await engine.quit();
  });
});

describe('showboard and perft', () => {
  test('the board of the start position has nine borders and eight ranks', async (t) => {
    const engine = await startEngine(t);
    assert.deepEqual(await engine.reply('showboard'), [
      '+---+---+---+---+---+---+---+---+',
      '| r | n | b | q | k | b | n | r |',
      '+---+---+---+---+---+---+---+---+',
      '| p | p | p | p | p | p | p | p |',
      '+---+---+---+---+---+---+---+---+',
      '|   |   |   |   |   |   |   |   |',
      '+---+---+---+---+---+---+---+---+',
      '|   |   |   |   |   |   |   |   |',
      '+---+---+---+---+---+---+---+---+',
      '|   |   |   |   |   |   |   |   |',
      '+---+---+---+---+---+---+---+---+',
      '|   |   |   |   |   |   |   |   |',
      '+---+---+---+---+---+---+---+---+',
      '| P | P | P | P | P | P | P | P |',
      '+---+---+---+---+---+---+---+---+',
      '| R | N | B | Q | K | B | N | R |',
      '+---+---+---+---+---+---+---+---+',
    ]);
    await engine.quit();
  });

  test('the first bare perft runs depth 6, a later one the depth of the last', async (t) => {
    const engine = await startEngine(t);
    const record = readPerftFile().base.find(({ depth, count }) => depth === 6 && count > 1e5);
    engine.send(`position fen ${record.fen}`);
    const first = await perft(engine);
    assert.deepEqual([first.depth, first.count], [6, record.count]);
    engine.send('position startpos');
    for (const depth of [3, undefined, undefined]) {
      const { depth: said, count } = await perft(engine, depth);
      assert.deepEqual([said, count], [3, 8902]);
    }
    await engine.quit();
  });

  test('perft with a word that is no number counts depth 0 and remembers it', async (t) => {
    const engine = await startEngine(t);
    for (const word of ['x', undefined]) {
      const { depth, count } = await perft(engine, word);
      assert.deepEqual([depth, count], [0, 1]);
    }
    await engine.quit();
  });
});

describe('options', () => {
  // Beside the main thread. The pool is made after the banner, so ask `isready` before.
  const threadsOf = (engine) => fs.readdirSync(`/proc/${engine.child.pid}/task`).length - 1;
  const megabytesOf = (engine) => {
    const status = fs.readFileSync(`/proc/${engine.child.pid}/status`, 'latin1');
    return Number(/^VmSize:\s+(\d+) kB$/m.exec(status)[1]) / 1024;
  };

  test('Threads is forced into 1 to 64 without a word', async (t) => {
    const engine = await startEngine(t);
    await engine.reply('setoption name Hash value 1'); // the thread that warms the table has ended
    assert.equal(threadsOf(engine), 1);
    for (const [value, threads] of [
      ['3', 3], ['0', 1], ['-7', 1], ['65', 64], ['2147483647', 64], ['2 and more', 2],
    ]) {
      assert.deepEqual(await engine.reply(`setoption name Threads value ${value}`), []);
      assert.equal(threadsOf(engine), threads, value);
    }
    await engine.quit();
  });

  test('Hash is forced up to 1 megabyte without a word', async (t) => {
    const engine = await startEngine(t);
    await engine.reply('setoption name Hash value 256');
    const before = megabytesOf(engine);
    for (const value of ['0', '-1']) {
      assert.deepEqual(await engine.reply('setoption name Hash value 256'), []);
      assert.deepEqual(await engine.reply(`setoption name Hash value ${value}`), []);
      const freed = before - megabytesOf(engine);
      assert.ok(freed > 250 && freed < 260, `${freed} megabytes less than with 256`);
    }
    await engine.quit();
  });

  test('names are compared exactly: unknown ones do nothing and say nothing', async (t) => {
    const engine = await startEngine(t);
    await engine.reply('setoption name Hash value 256');
    const size = megabytesOf(engine);
    for (const line of [
      'setoption name hash value 1',
      'setoption name Clear Hash',
      'setoption name Hash Size value 1',
      'setoption name threads value 4',
      'setoption name Skill Level value 3',
      'setoption name UCI_Chess960 value true',
      'setoption name value 5',
      'setoption',
    ]) {
      assert.deepEqual(await engine.reply(line), [], line);
    }
    assert.equal(threadsOf(engine), 1);
    assert.ok(Math.abs(megabytesOf(engine) - size) < 1);
    await engine.quit();
  });

  test('Ponder takes any text and says nothing', async (t) => {
    const engine = await startEngine(t);
    for (const value of ['true', 'false', 'True', '1', '', 'true true']) {
      assert.deepEqual(await engine.reply(`setoption name Ponder value ${value}`), []);
    }
    await engine.quit();
  });

  for (const line of [
    'setoption name Hash value abc',
    'setoption name Hash',
    'setoption name Threads value',
    'setoption name Threads value 99999999999',
    'position fen 4k3/8/8/8/8/8/8/4K3 w - - x 1',
  ]) {
    test(`"${line}" ends the process: the number cannot be read`, async (t) => {
      const engine = new Engine({ stderrAllowed: /^terminate called/ });
      t.after(() => engine.kill());
      engine.send(line, 'uci');
      assert.deepEqual(await engine.waitExit(), { status: null, signal: 'SIGABRT' });
      assert.equal(engine.log.length, 4, 'the line behind it is not read');
    });
  }

  test('ucinewgame answers with "readyok"', async (t) => {
    const engine = await startEngine(t);
    assert.deepEqual(await engine.reply('ucinewgame'), []); // consumed its own answer
    await engine.expectLines(['readyok']);
    await engine.quit();
  });
});

describe('position', () => {
  test('a wrong or missing first word changes nothing', async (t) => {
    const engine = await startEngine(t);
    engine.send('position startpos moves e2e4');
    const board = await showBoard(engine);
    for (const line of ['position', 'position moves d2d4', 'position Startpos', 'position e7e5']) {
      assert.deepEqual(await engine.reply(line), []);
      assert.deepEqual(await showBoard(engine), board, line);
    }
    await engine.quit();
  });

  test('any word behind startpos stands for "moves"', async (t) => {
    const engine = await startEngine(t);
    const rules = new Rules();
    rules.play('e2e4');
    rules.play('e7e5');
    engine.send('position startpos with e2e4 e7e5');
    assert.deepEqual(await showBoard(engine), rules.picture());
    engine.send('position startpos moves');
    assert.deepEqual(await showBoard(engine), pictureOf(startFen));
    await engine.quit();
  });

  test('missing fields of a FEN: no rights, no en passant', async (t) => {
    const engine = await startEngine(t);
    const full = 'r3k2r/8/8/8/3pP3/8/8/R3K2R b - - 0 1';
    for (const fields of [2, 3, 4, 5, 6]) {
      engine.send(`position fen ${full.split(' ', fields).join(' ')}`);
      assert.deepEqual(await showBoard(engine), pictureOf(full));
      assert.equal((await perft(engine, 2)).count, new Rules(full).countLeaves(2));
    }
    await engine.quit();
  });

  test('rights count in any order, and other letters are passed over', async (t) => {
    const engine = await startEngine(t);
    const at = (rights) => `r3k2r/8/8/8/8/8/8/R3K2R w ${rights} - 0 1`;
    for (const [text, proper] of [
      ['qkQK', 'KQkq'], ['HKxq', 'Kq'], ['AHah', '-'], ['QQ', 'Q'],
    ]) {
      engine.send(`position fen ${at(text)}`);
      assert.equal((await perft(engine, 2)).count, new Rules(at(proper)).countLeaves(2), text);
    }
    await engine.quit();
  });

  test('any side but "w" is black', async (t) => {
    const engine = await startEngine(t);
    const at = (side) => `4k3/8/8/8/8/8/8/R3K3 ${side} - - 0 1`;
    for (const [text, proper] of [['b', 'b'], ['white', 'w'], ['W', 'b'], ['-', 'b']]) {
      engine.send(`position fen ${at(text)}`);
      assert.equal((await perft(engine, 1)).count, new Rules(at(proper)).countLeaves(1), text);
    }
    await engine.quit();
  });

  test('the en passant field names the square behind the pawn, for both sides', async (t) => {
    const engine = await startEngine(t);
    for (const fen of [
      '4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1', '4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 1',
    ]) {
      engine.send(`position fen ${fen}`);
      const { count } = await perft(engine, 1);
      assert.equal(count, new Rules(fen).countLeaves(1));
      assert.equal(count, new Rules(fen.replace(/ e[36] /, ' - ')).countLeaves(1) + 1);
    }
    await engine.quit();
  });

  const boards = [
    ['castling king side for white', 'r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1', 'e1g1',
      'r3k2r/8/8/8/8/8/8/R4RK1'],
    ['castling queen side for white', 'r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1', 'e1c1',
      'r3k2r/8/8/8/8/8/8/2KR3R'],
    ['castling king side for black', 'r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1', 'e8g8',
      'r4rk1/8/8/8/8/8/8/R3K2R'],
    ['castling queen side for black', 'r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1', 'e8c8',
      '2kr3r/8/8/8/8/8/8/R3K2R'],
    ['promotion to a queen by white', '4k3/P7/8/8/8/8/8/4K3 w - - 0 1', 'a7a8q',
      'Q3k3/8/8/8/8/8/8/4K3'],
    ['promotion to a knight by black', '4k3/8/8/8/8/8/p7/4K3 b - - 0 1', 'a2a1n',
      '4k3/8/8/8/8/8/8/n3K3'],
    ['promotion to a rook by capture', '1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1', 'a7b8r',
      '1R2k3/8/8/8/8/8/8/4K3'],
    ['en passant by white', '4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 1', 'd5e6',
      '4k3/8/4P3/8/8/8/8/4K3'],
    ['en passant by black', '4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1', 'd4e3',
      '4k3/8/8/8/8/4p3/8/4K3'],
    ['a diagonal pawn step onto an empty square counts as en passant without the right',
      '4k3/8/8/3pP3/8/8/8/4K3 w - - 0 1', 'e5d6', '4k3/8/3P4/8/8/8/8/4K3'],
    ['a pawn that reaches the last rank without a letter stays a pawn',
      '4k3/P7/8/8/8/8/8/4K3 w - - 0 1', 'a7a8', 'P3k3/8/8/8/8/8/8/4K3'],
  ];
  for (const [title, fen, move, board] of boards) {
    test(`${title}: ${move}`, async (t) => {
      const engine = await startEngine(t);
      engine.send(`position fen ${fen} moves ${move}`);
      assert.deepEqual(await showBoard(engine), pictureOf(board));
      await engine.quit();
    });
  }

  test('the en passant chance and the rights follow the moves', async (t) => {
    const engine = await startEngine(t);
    for (const moves of [
      'e2e4 a7a6 e4e5 d7d5', 'e2e4 a7a6 e4e5 d7d5 a2a3 a6a5', 'e2e4 e7e5 g1f3 g8f6 f1c4 f8c5',
      'e2e4 e7e5 g1f3 g8f6 f1c4 f8c5 h1g1 h8g8 g1h1 g8h8', 'a2a4 h7h5 a4a5 b7b5 a5b6 h5h4 g2g4',
    ]) {
      const rules = new Rules();
      for (const move of moves.split(' ')) rules.play(move);
      engine.send(rules.positionCommand());
      assert.deepEqual(await showBoard(engine), rules.picture());
      assert.equal((await perft(engine, 3)).count, rules.countLeaves(3), moves);
    }
    await engine.quit();
  });
});

describe('moves in the output', () => {
  // In each position one move is the only one, or the only one that mates at once.
  const positions = [
    ['en passant by white', '2r4k/3n4/5n2/4pP2/3K4/2PPP3/8/8 w - e6 0 2', 'f5e6'],
    ['en passant by black', '8/8/2ppp3/3k4/4Pp2/5N2/3N4/2R4K b - e3 0 1', 'f4e3'],
    ['a double push', '7k/8/8/7r/K6r/7r/4P3/8 w - - 0 1', 'e2e4'],
    ['a promotion by black, in lower case', '5n1K/5k2/8/8/8/8/p7/8 b - - 0 1', 'a2a1q'],
    ['a promotion by white', '8/P7/8/8/8/8/5K2/5N1k w - - 0 1', 'a7a8q'],
  ];
  for (const [title, fen, expected] of positions) {
    test(`${title} is written ${expected}`, async (t) => {
      const engine = await startEngine(t);
      engine.send(`position fen ${fen}`);
      const search = await go(engine, '');
      assert.equal(search.best, expected);
      checkSearch(new Rules(fen), search);
      await engine.quit();
    });
  }
});

describe('lines of a search', () => {
  const middlegame = 'r1bq1rk1/pp2nppp/2n1p3/2ppP3/3P2Q1/P1PB4/2P2PPP/R1B1K1NR w KQ - 5 9';

  test('below depth 10 only the result is written', async (t) => {
    const engine = await startEngine(t);
    const rules = new Rules(middlegame);
    engine.send(rules.positionCommand());
    for (const depth of [1, 2, 5, 9]) {
      const search = await go(engine, `depth ${depth}`);
      assert.deepEqual(search.infos, [], `depth ${depth}`);
      checkSearch(rules, search);
    }
    await engine.quit();
  });

  test('the first line is that of depth 10, and one comes for each depth behind it', async (t) => {
    const engine = await startEngine(t);
    const rules = new Rules(middlegame);
    engine.send(rules.positionCommand());
    const search = await go(engine, 'depth 13');
    assert.deepEqual(search.infos.map(({ depth }) => depth), [10, 11, 12, 13]);
    checkSearch(rules, search);
    for (const [i, info] of search.infos.entries()) {
      assert.equal(info.kind, 'cp');
      assert.equal(info.helper, false, 'hashfull stands in each line, and reads 0');
      assert.ok(info.selDepth >= info.depth - 1 && info.selDepth <= 127, info.text);
      assert.ok(info.pv.length <= info.depth, info.text);
      if (i > 0) assert.ok(info.nodes > search.infos[i - 1].nodes, info.text);
    }
    assert.equal(search.best, search.infos.at(-1).pv[0]);
    assert.equal(search.ponder, search.infos.at(-1).pv[1]);
    await engine.quit();
  });

  test('a depth limit on a pool of threads: the result alone at depth 5', async (t) => {
    const engine = await startEngine(t);
    const rules = new Rules(middlegame);
    engine.send('setoption name Threads value 4', rules.positionCommand());
    for (let i = 0; i < 10; i++) {
      const search = await go(engine, 'depth 5');
      assert.deepEqual(search.infos, []);
      checkSearch(rules, search);
    }
    await engine.quit();
  });

  test('the same search to a fixed depth gives the same lines, ucinewgame between', async (t) => {
    const engine = await startEngine(t);
    const search = async () => {
      engine.send(`position fen ${middlegame}`);
      const { best, ponder, infos } = await go(engine, 'depth 12');
      const facts = infos.map(({ text }) => text.replace(/ time \d+/, ''));
      return { best, ponder, facts };
    };
    const first = await search();
    assert.equal(first.facts.length, 3);
    // The table still holds the first search.
    assert.notDeepEqual(await search(), first);
    engine.send('ucinewgame');
    await engine.expect('readyok');
    assert.deepEqual(await search(), first);
    // Other games leave no trace either.
    engine.send('position startpos moves e2e4 e7e5 g1f3');
    await go(engine, 'depth 10');
    engine.send('ucinewgame');
    await engine.expect('readyok');
    assert.deepEqual(await search(), first);
    await engine.quit();
    const fresh = await startEngine(t);
    fresh.send(`position fen ${middlegame}`);
    const { best, ponder, infos } = await go(fresh, 'depth 12');
    const facts = infos.map(({ text }) => text.replace(/ time \d+/, ''));
    assert.deepEqual({ best, ponder, facts }, first, 'nor does it matter which process searches');
    await fresh.quit();
  });

  test('words that go does not know are passed over, a bad number ends the reading', async (t) => {
    const engine = await startEngine(t);
    const rules = new Rules(middlegame);
    engine.send(rules.positionCommand());
    for (const words of [
      'frob movetime 50',
      'searchmoves e1g1 movetime 50',
      'movetime 50 depth x infinite', // `infinite` is no longer read
      'depth 3 wtime',
      'depth 2 nodes -1 x y',
    ]) {
      checkSearch(rules, await go(engine, words, 10000));
    }
    await engine.quit();
  });

});

describe('mates', () => {
  // Moves to the mate, negative for the side that is mated; stockfish must say the same.
  const positions = [
    ['6k1/5ppp/8/8/8/8/8/K2R4 w - - 0 1', 1],
    ['7k/8/5K2/8/8/8/8/6Q1 w - - 0 1', 1],
    ['5n1K/5k2/8/8/8/8/p7/8 b - - 0 1', 1],
    ['2bqkbn1/2pppp2/np2N3/r3P1p1/p2N2B1/5Q2/PPPPKPP1/RNB2r2 w - - 0 1', 2],
    ['8/4k3/R7/1R6/8/8/8/7K w - - 0 1', 2],
    ['r5rk/5p1p/5R2/4B3/8/8/7P/7K w - - 0 1', 3],
    ['r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq - 0 1', 3],
    ['8/8/4k3/R7/1R6/8/8/7K w - - 0 1', 4],
    ['4k3/R7/8/8/8/8/8/1R5K b - - 0 1', -1],
    ['2k5/R7/1R6/8/8/8/8/7K b - - 0 1', -1],
    ['3k4/R7/1R6/8/8/8/8/7K b - - 0 1', -2],
    ['8/3k4/R7/1R6/8/8/8/7K b - - 0 1', -4],
  ];

  // Here quiet first moves mate, and reductions and pruning let the search meet a longer mate
  // before the shortest. What it announces must be a mate all the same.
  const detours = [
    ['k7/8/2K5/8/8/8/8/7R w - - 0 1', 2],
    ['8/8/8/8/8/2k5/7r/K7 b - - 0 1', 2],
    ['6k1/8/5K2/8/8/8/8/R7 w - - 0 1', 2],
    ['7k/8/8/8/4K3/8/8/6Q1 w - - 0 1', 3],
    ['5r1k/6pp/8/6N1/2Q5/8/6PP/6K1 w - - 0 1', 4],
    ['1k6/8/2K5/8/8/8/8/7R b - - 0 1', -2],
  ];

  // The engine's own count: for the side that is mated it is one lower than usual.
  const announced = (mate) => (mate > 0 ? mate : mate - 1);

  async function mateSaidBy(stockfish, position) {
    stockfish.send('setoption name Skill Level value 20', position, 'go depth 26');
    const lines = await stockfish.until(bestMovePattern, 60000);
    const scores = lines.map((line) => /score mate (-?\d+)/.exec(line)).filter(Boolean);
    return Number(scores.at(-1)?.[1]);
  }

  for (const [fen, mate] of positions) {
    test(`a mate in ${mate} is announced as ${announced(mate)}, the end: ${fen}`, async (t) => {
      const engine = await startEngine(t);
      const stockfish = await startStockfish(t);
      const rules = new Rules(fen);
      assert.equal(await mateSaidBy(stockfish, rules.positionCommand()), mate);
      engine.send(rules.positionCommand());
      const search = await go(engine, '');
      checkSearch(rules, search);
      const last = search.infos.at(-1);
      assert.deepEqual([last.kind, last.score], ['mate', announced(mate)]);
      assert.equal(search.infos.filter(({ kind }) => kind === 'mate').length, 1);
      // A mate within the depth searched: its plies are 2n - 1 for the winner, 2n for the loser.
      assert.ok(last.depth >= (mate > 0 ? 2 * mate - 1 : -2 * mate), last.text);
      if (last.depth < 10) assert.equal(search.infos.length, 1, 'no other line below depth 10');
      // The move keeps the promise.
      rules.play(search.best);
      if (mate === 1) assert.equal(rules.result(), 'mate');
      else {
        const left = mate > 0 ? 1 - mate : -mate;
        assert.equal(await mateSaidBy(stockfish, rules.positionCommand()), left);
      }
      await engine.quit();
      await stockfish.quit();
    });
  }

  for (const [fen, mate] of detours) {
    test(`a longer mate than in ${mate} is a mate: ${fen}`, async (t) => {
      const engine = await startEngine(t);
      const stockfish = await startStockfish(t);
      const rules = new Rules(fen);
      engine.send(rules.positionCommand());
      const search = await go(engine, '');
      checkSearch(rules, search);
      const last = search.infos.at(-1);
      assert.equal(last.kind, 'mate');
      const said = last.score > 0 ? last.score : last.score + 1; // as stockfish counts
      assert.equal(Math.sign(said), Math.sign(mate));
      assert.ok(Math.abs(said) >= Math.abs(mate), 'no shorter than the shortest');
      rules.play(search.best);
      const left = -(await mateSaidBy(stockfish, rules.positionCommand()));
      assert.equal(Math.sign(left), Math.sign(mate));
      const moves = mate > 0 ? said - 1 : -said;
      assert.ok(Math.abs(left) <= moves, `${left} left of ${said}`);
      await engine.quit();
      await stockfish.quit();
    });
  }

  test('go infinite goes on beyond a mate, with two lines for each depth from 10', async (t) => {
    const engine = await startEngine(t);
    engine.send('position fen 8/4k3/R7/1R6/8/8/8/7K w - - 0 1', 'go infinite');
    const lines = await engine.until(/^info score mate 2 depth 12 /, 60000);
    engine.send('stop');
    lines.push(...(await engine.until(bestMovePattern)));
    const { infos } = readSearch(lines);
    for (const depth of [10, 11, 12]) {
      const [first, second] = infos.filter((info) => info.depth === depth);
      assert.deepEqual([first.kind, first.score], ['cp', 31997]);
      assert.deepEqual([second.kind, second.score], ['mate', 2]);
    }
    assert.ok(infos.every(({ kind, depth }) => kind === 'mate' || depth >= 10));
    await engine.quit();
  });

  test('a mate ends a ponder search too, and bestmove does not wait for ponderhit', async (t) => {
    const engine = await startEngine(t);
    engine.send('position fen 6k1/5ppp/8/8/8/8/8/K2R4 w - - 0 1');
    const search = await go(engine, 'ponder wtime 60000 btime 60000', 10000);
    assert.equal(search.best, 'd1d8');
    assert.deepEqual(await engine.reply('ponderhit'), []);
    await engine.quit();
  });
});
