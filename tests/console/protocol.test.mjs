// SPDX-License-Identifier: MIT
// What the console promises, command by command: start and end of the process, texts, options,
// positions, and the lines of a search. Conversations that also run in sanitizer builds are in
// protocol.san.test.mjs and conversations.san.test.mjs.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { playUci, readPosition, startFen } from '../../tools/lib/chess.mjs';
import { readUse } from './process.mjs';
import { banner, conversation, enginePath, makeFolder, pause, pictureOf, Talk } from './talk.mjs';

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

const unknown = ['Unknown command'];

// Start and end of the process

conversation('the engine prints its banner and nothing else', async (talk) => {
  await talk.quit();
  assert.deepEqual(talk.texts, banner);
});

// The process is blocked while it writes.
test('the banner is written before the attack tables are built', async (t) => {
  const pipe = path.join(makeFolder(t), 'pipe');
  execFileSync('mkfifo', [pipe]);

  // A full pipe blocks the process at its first byte.
  const filler = fs.openSync(pipe, fs.constants.O_RDWR | fs.constants.O_NONBLOCK);
  for (const size of [4096, 1]) {
    assert.throws(() => { for (;;) fs.writeSync(filler, Buffer.alloc(size)); }, { code: 'EAGAIN' });
  }
  const child = spawn(enginePath, ['quit'], { stdio: ['ignore', fs.openSync(pipe, 'r+'), 'ignore'] });
  t.after(() => child.kill('SIGKILL'));
  const stateOf = () => fs.readFileSync(`/proc/${child.pid}/stat`, 'latin1').split(' ')[2];
  while (stateOf() !== 'S') await pause(10);

  // The table of rook attacks alone takes 800 kB.
  const status = fs.readFileSync(`/proc/${child.pid}/status`, 'latin1');
  assert.ok(Number(status.match(/RssAnon:\s*(\d+) kB/)[1]) < 600);
});

test('any command can be given as one argument or several', async (t) => {
  const linesAfterBanner = async (args) => (await Talk.start(t, { args })).finish();
  for (const [args, lines] of [
    [['uci'], uciAnswer],
    [['help'], helpAnswer],
    [['isready'], ['readyok']],
    [['showboard'], pictureOf(startFen)],
    [['quit'], []],
    [['position', 'startpos'], []],
    // A search ends with the process, without a line.
    [['go'], []],
    [['go infinite'], []],
    [['go', 'depth', '60'], []],
    [['go', 'ponder'], []],
    [['go movetime 5000'], []],
    [['frobnicate'], unknown],
    [[''], unknown],
  ]) {
    assert.deepEqual(await linesAfterBanner(args), lines);
  }
  for (const args of [['perft', '3'], ['perft 3']]) {
    const lines = await linesAfterBanner(args);
    assert.deepEqual(lines.slice(0, 17), pictureOf(startFen));
    assert.match(lines.at(-1), /^Perft results for depth: 3 {2}8902 {2}/);
  }
});

// Words of a line

conversation('uci, isready and help print their texts, whatever follows the word', async (talk) => {
  for (const [line, answer] of [
    ['uci', uciAnswer], ['uci isready quit', uciAnswer], ['isready', ['readyok']],
    ['help', helpAnswer],
  ]) {
    talk.send(line);
    for (const text of answer) await talk.next(text);
  }
});

conversation('an unknown word, upper case or no word gets "Unknown command"', async (talk) => {
  for (const line of [
    '', '    ', '\t', '\r', 'frobnicate', 'bench', 'e2e4', 'position1 startpos', 'UCI', 'Isready',
    'QUIT', 'Perft 1', 'HELP', 'Go depth 1', 'zero EVALTEMPO', // which the tuning build has
  ]) {
    assert.deepEqual(await talk.reply(line), unknown, JSON.stringify(line));
  }
});

conversation('help and an unknown command change no state', async (talk) => {
  talk.send('position startpos moves d2d4 d7d5 c2c4');
  await talk.checkPerft(2);
  await talk.reply('help');
  await talk.reply('frobnicate');
  await talk.board();
  assert.equal((await talk.perft()).depth, 2); // the depth is remembered too
});

// showboard and perft

conversation('the board of the start position has nine borders and eight ranks', async (talk) => {
  assert.deepEqual(await talk.reply('showboard'), [
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
});

conversation('the first bare perft runs depth 6, a later one the last depth', async (talk) => {
  talk.send('position fen 4r2k/8/8/8/8/8/4N3/4K3 w - - 0 1');
  const first = await talk.perft();
  assert.deepEqual([first.depth, first.count], [6, 1652050]); // as data/perft.txt says
  talk.send('position startpos');
  // A word that is not a number counts as depth 0, and depth 0 or less counts one node.
  for (const [word, depth, count] of [
    [3, 3, 8902], [undefined, 3, 8902], [undefined, 3, 8902], ['   2   ', 2, 400], ['x', 0, 1],
    [undefined, 0, 1], [-1, -1, 1], [-2147483648, -2147483648, 1],
  ]) {
    const found = await talk.perft(word);
    assert.deepEqual([found.depth, found.count], [depth, count]);
  }
});

// Options

// Threads without the main one.
const threadsOf = ({ child }) => readUse(child.pid).threads - 1;
const megabytesOf = ({ child }) => readUse(child.pid).size / 1024;

conversation('Threads is silently clamped to 1 to 64', async (talk) => {
  await talk.reply('setoption name Hash value 1'); // the thread that warms the table has ended
  assert.equal(threadsOf(talk), 1);
  for (const [value, threads] of [
    ['3', 3], ['0', 1], ['-7', 1], ['65', 64], ['2147483647', 64], ['2 and more', 2],
  ]) {
    assert.deepEqual(await talk.reply(`setoption name Threads value ${value}`), []);
    assert.equal(threadsOf(talk), threads, value);
  }
});

conversation('Hash is silently raised to 1 megabyte', async (talk) => {
  await talk.reply('setoption name Hash value 256');
  const before = megabytesOf(talk);
  for (const value of ['0', '-1']) {
    assert.deepEqual(await talk.reply('setoption name Hash value 256'), []);
    assert.deepEqual(await talk.reply(`setoption name Hash value ${value}`), []);
    const freed = before - megabytesOf(talk);
    assert.ok(freed > 250 && freed < 260, `${freed} megabytes less than with 256`);
  }
});

conversation('unknown options and any value of Ponder do and say nothing', async (talk) => {
  await talk.reply('setoption name Hash value 16'); // small enough to be touched soon
  const size = megabytesOf(talk);
  for (const words of [
    ' name hash value 1', ' name Clear Hash', ' name Hash Size value 1', ' name threads value 4',
    ' name Skill Level value 3', ' name UCI_Chess960 value true', ' name value 5', '',
    ...['true', 'false', 'True', '1', '', 'true true'].map((text) => ` name Ponder value ${text}`),
  ]) {
    assert.deepEqual(await talk.reply(`setoption${words}`), [], words);
  }
  assert.ok(Math.abs(megabytesOf(talk) - size) < 1);
  await talk.reply('setoption name Hash value 1'); // the thread that warms the table has ended
  assert.equal(threadsOf(talk), 1);
});

for (const line of [
  'setoption name Hash value abc',
  'setoption name Hash',
  'setoption name Threads value',
  'setoption name Threads value 99999999999',
  'position fen 4k3/8/8/8/8/8/8/4K3 w - - x 1',
]) {
  conversation(`"${line}" ends the process: the number cannot be read`, async (talk) => {
    talk.send(line, 'uci'); // which isn't read
    await talk.exit('SIGABRT');
  }, { stderrAllowed: /^terminate called/ });
}

// Positions

conversation('position with a wrong or missing first word changes nothing', async (talk) => {
  talk.send('position startpos moves e2e4');
  for (const words of ['', ' moves d2d4', ' Startpos', ' e7e5']) {
    assert.deepEqual(await talk.reply(`position${words}`), []);
    await talk.board('rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR');
  }
});

const castling = 'fen r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 4 9';
const ep = 'fen r3k2r/8/8/8/3pP3/8/8/R3K2R b - - 0 1';
const oneMove = 'startpos moves e2e4';
for (const [title, proper, lines] of [
  ['any word after startpos stands for "moves"', `${oneMove} e7e5`, ['startpos with e2e4 e7e5']],
  ['there may be no moves after startpos', 'startpos',
    ['startpos', 'startpos ', 'startpos moves', 'startpos moves ']],
  ['there may be no moves after a FEN', castling, [`${castling} moves`]],
  ['a FEN with repeated spaces or a carriage return is the same FEN', castling,
    [castling.replaceAll(' ', '   '), `${castling}\r`]],
  ['a FEN without its last fields has no rights and no en passant square', ep,
    [3, 4, 5, 6, 7].map((words) => ep.split(' ', words).join(' '))],
  ['white space of any kind separates words', oneMove,
    [`${oneMove}\r`, '   startpos   moves   e2e4    ', '\tstartpos\tmoves\te2e4\t',
      '\v\fstartpos moves\r\r e2e4']],
]) {
  conversation(title, async (talk) => {
    for (const line of lines) {
      talk.send('position startpos moves d2d4', `position ${line}`);
      await talk.board(readPosition(proper).fen());
      for (const depth of [1, 2, 3]) await talk.checkPerft(depth, proper);
    }
  });
}

// Mates

// Moves to the mate, negative for the side that is mated. In the rows marked true the first move is
// quiet, and reductions and pruning let the search find a longer mate first; what it announces must
// still be a mate.
for (const [fen, mate, isLonger = false] of [
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
  ['k7/8/2K5/8/8/8/8/7R w - - 0 1', 2, true],
  ['8/8/8/8/8/2k5/7r/K7 b - - 0 1', 2, true],
  ['6k1/8/5K2/8/8/8/8/R7 w - - 0 1', 2, true],
  ['7k/8/8/8/4K3/8/8/6Q1 w - - 0 1', 3, true],
  ['5r1k/6pp/8/6N1/2Q5/8/6PP/6K1 w - - 0 1', 4, true],
  ['1k6/8/2K5/8/8/8/8/7R b - - 0 1', -2, true],
]) {
  const title = `a mate in ${mate} ${isLonger ? 'or more ' : ''}is announced: ${fen}`;
  conversation(title, async (talk) => {
    talk.send(`position fen ${fen}`);
    const { best, infos } = await talk.go('');
    const last = infos.at(-1);
    assert.equal(last.kind, 'mate');
    // The engine counts one move more for the side that is mated.
    const said = last.score > 0 ? last.score : last.score + 1;
    assert.equal(Math.sign(said), Math.sign(mate));
    if (isLonger) assert.ok(Math.abs(said) >= Math.abs(mate), 'no shorter than the shortest');
    else {
      assert.equal(said, mate);
      assert.equal(infos.filter(({ kind }) => kind === 'mate').length, 1);
      // The search is deep enough: a mate takes 2n - 1 plies for the winner, 2n for the loser.
      assert.ok(last.depth >= (mate > 0 ? 2 * mate - 1 : -2 * mate), last.text);
      if (last.depth < 10) assert.equal(infos.length, 1, 'no other line below depth 10');
    }
    // The PV begins with the best move, and if it is long enough, it ends in the mate.
    assert.equal(last.pv[0], best);
    const chess = readPosition(`fen ${fen}`);
    for (const move of last.pv) playUci(chess, move);
    const plies = said > 0 ? 2 * said - 1 : -2 * said;
    assert.ok(last.pv.length < plies || chess.isCheckmate(), last.text);
  });
}

conversation('go infinite goes on after a mate, with two lines a depth', async (talk) => {
  talk.send('position fen 8/4k3/R7/1R6/8/8/8/7K w - - 0 1', 'go infinite');
  await talk.until(/^info score mate 2 depth 12 /, 60000);
  talk.send('stop');
  const { infos } = await talk.bestmove();
  for (const depth of [10, 11, 12]) {
    const [first, second] = infos.filter((info) => info.depth === depth);
    assert.deepEqual([first.kind, first.score], ['cp', 31997]);
    assert.deepEqual([second.kind, second.score], ['mate', 2]);
  }
});

conversation('a mate ends a ponder search without a ponderhit', async (talk) => {
  talk.send('position fen 6k1/5ppp/8/8/8/8/8/K2R4 w - - 0 1');
  await talk.go('ponder wtime 60000 btime 60000', { move: 'd1d8', patience: 10000 });
  assert.deepEqual(await talk.reply('ponderhit'), []);
});
