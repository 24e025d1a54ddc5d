// SPDX-License-Identifier: MIT
// Conversations with the engine at awkward moments: commands during a search, the end of the
// process, odd limits, stray bytes. They run in the optimised build and, with fewer rounds, under
// the sanitizers. talk.mjs also checks every line of each search. The expectations come from the
// protocol and docs/uci.md. Random moments and choices come from a fixed seed; QUILLON_SEED changes
// it.

import assert from 'node:assert/strict';
import { pick, randomNumbers, seed } from '../../tools/lib/random.mjs';
import { bestMovePattern, noMove } from './search.mjs';
import { conversation as talkTest, pause, sanitizer, timeScale } from './talk.mjs';

const startpos = 'startpos';
const middlegame = 'fen r1bq1rk1/pp2nppp/2n1p3/2ppP3/3P2Q1/P1PB4/2P2PPP/R1B1K1NR w KQ - 5 9';
const stalemated = 'fen 7k/5Q2/6K1/8/8/8/8/8 b - - 0 1';
const depth10 = /^info score cp -?\d+ depth 10 /;

// What a search must end with, see Talk.bestmove.
const silent = { silent: true };
const stopped = { stopped: true };
const info = { info: true, patience: 60000 };

// One value for the optimised build, others for slow ones: with sanitizers and WebAssembly.
const forBuild = (bare, address, thread = address) =>
  ({ address, thread })[sanitizer] ?? (timeScale > 1 ? address : bare);

// Fails if a search that was cut off has written a result.
const checkMoveless = (lines) => assert.ok(!lines.some((line) => bestMovePattern.test(line)));

let random;
const any = (...list) => pick(random, list);
const endless = () => any('infinite', 'ponder', 'depth 60', 'movetime 10000');

// Waits for a random time, with a resolution far below a millisecond.
async function pauseUpTo(milliseconds) {
  const time = random() * milliseconds;
  const end = performance.now() + time;
  if (time >= 1) await pause(Math.floor(time));
  while (performance.now() < end);
}

async function repeat(count, act) {
  for (let i = 0; i < count; i++) await act();
}

// Sends a line up to so many milliseconds after a `go`, and waits for the result of that search.
async function interrupt(talk, words, milliseconds, line, wanted = stopped) {
  talk.send(`go ${words}`);
  await pauseUpTo(milliseconds);
  talk.send(line);
  return talk.bestmove(wanted);
}

// Starts another process with any number of threads.
async function startAny(start) {
  const talk = await start();
  talk.send(`setoption name Threads value ${any(1, 2, 4)}`, 'position startpos moves e2e4');
  await talk.ready();
  return talk;
}

// Defines a conversation with its own random numbers.
function conversation(title, act, settings) {
  talkTest(title, (talk, start) => {
    random = randomNumbers(seed);
    return act(talk, start);
  }, settings);
}

// Defines a conversation that is repeated with each number of threads.
function conversationWith(threads, title, act) {
  conversation(title, async (talk) => {
    for (const count of threads) {
      talk.send(`setoption name Threads value ${count}`);
      await act(talk, count);
    }
  });
}

conversation('boards full of pieces are searched to depth 30 or a stop', async (talk) => {
  // Where captures are almost endless, and in all positions of a sanitizer build, the stop may come
  // before the first move.
  const wanted = forBuild({}, stopped);
  const boards = [
    // 218 moves for each side, queens everywhere, knights, only passed pawns, perpetual checks,
    // open kings and rooks.
    ['R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - - 0 1', wanted],
    ['Kbnn1kb1/PP1q4/q4q2/2q4q/4q3/1q4q1/3q4/r6r b - - 0 1', wanted],
    ['kbQQQQQQ/ppQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/KQQQQQQQ w - - 0 1', wanted],
    ['nnnnknnn/nnnnnnnn/8/8/8/8/NNNNNNNN/NNNNKNNN w - - 0 1', wanted],
    ['8/PPPPPPPP/k7/8/8/7K/pppppppp/8 w - - 0 1', wanted],
    ['8/k7/8/6QQ/qq6/8/7K/8 w - - 0 1', wanted],
    ['8/3r4/2r2r2/3k4/8/4K3/2R2R2/4R3 w - - 0 1', wanted],
    ['qqqqkqqq/qqqqqqqq/8/8/8/8/QQQQQQQQ/QQQQKQQQ w - - 0 1', stopped],
    ['kqqqqqqq/qqqqqqqq/qqqqqqqq/qqqqqqq1/1QQQQQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQK w - - 0 1', stopped],
  ];
  for (const [fen, result] of boards) {
    for (const threads of [1, 2]) {
      talk.send(`setoption name Threads value ${threads}`, `position fen ${fen}`);
      await talk.board();
      await talk.checkPerft(2);
      talk.send('go depth 30');
      await pause(200);
      talk.send('stop');
      await talk.bestmove(result);
      if (result === stopped) await talk.go('movetime 100', stopped);
      await talk.ready();
    }
  }
});

conversation('the end of the input ends the process without a move', async (talk, start) => {
  talk.closeInput();
  await talk.exit();
  // The last line needs no line end.
  const texts = [['position startpos\ngo infinite\n'], ['isready', 'readyok'], ['go infinite']];
  for (const [text, answer] of texts) {
    const other = await start();
    other.bytes(text);
    other.closeInput();
    if (answer) await other.next(answer);
    checkMoveless(await other.exit());
  }
  await repeat(forBuild(40, 6), async () => {
    // A search that has been stopped still gives its move.
    const early = await startAny(start);
    early.bytes(`go ${endless()}\nstop\n`);
    early.closeInput();
    await early.bestmove(stopped);
    await early.exit();

    const other = await startAny(start);
    other.send(`go ${endless()}`);
    await pauseUpTo(20);
    other.closeInput();
    checkMoveless(await other.exit());
  });
});

conversation('quit at any moment ends the process without a move', async (talk, start) => {
  talk.send('quit now', 'uci'); // which isn't read
  await talk.exit();
  await repeat(forBuild(500, 20), async () => {
    const other = await startAny(start);
    other.send(`go ${endless()}`);
    await pauseUpTo(20);
    checkMoveless(await other.quit());
  });
  // The iteration that is cut short writes no line either.
  const deep = await start();
  deep.send('position startpos', 'go infinite');
  await deep.until(new RegExp(`^info score cp -?\\d+ depth ${forBuild(16, 12)} `), 60000);
  await pause(10); // until the next one has begun
  assert.deepEqual(await deep.quit(), []);
  // The search is over, or about to be.
  await repeat(forBuild(25, 4), async () => {
    const other = await startAny(start);
    other.send(`go ${any('depth 1', 'depth 4', 'movetime 2')}`);
    await pauseUpTo(4);
    await other.quit();
  });
  // A search that has been stopped still gives its move. A mated side gets a whole answer or none.
  for (const [position, text] of [
    [startpos, 'stop\nquit'],
    ['fen 3R2k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1', 'quit'],
  ]) {
    await repeat(forBuild(100, 10), async () => {
      const other = await startAny(start);
      other.bytes(`position ${position}\ngo ${endless()}\n${text}\n`);
      if (position === startpos) await other.bestmove(stopped);
      await other.exit();
    });
  }
});

const tooLarge = (size) => new RegExp(`\\b${size} MB\\b.*\\b(1|2|4|8|16|32|64|128) MB$`);

conversation('a hash table that is too large is reported with the size used', async (talk) => {
  await talk.next(/\b256 MB\b.*\b128 MB$/); // the default size
  await talk.ready();
  // Clamped to 32768, and rounded up to a power of two.
  for (const size of [40000, 2147483647, 32768, 16385]) {
    talk.send(`setoption name Hash value ${size}`);
    await talk.next(tooLarge(32768));
    talk.send('position startpos');
    await talk.go('depth 6', silent);
  }
  talk.send('setoption name Hash value 16384');
  await talk.next(tooLarge(16384));
  // A running search ends first.
  await interrupt(talk, 'infinite', 20, 'setoption name Hash value 1024');
  await talk.next(tooLarge(1024));
  await talk.go('depth 6', silent);
  talk.send('setoption name Hash value 1');
  await talk.ready();
  await talk.go('depth 6', silent);
}, { memory: 200 });

conversation('ucinewgame answers readyok, and so does the isready right after it', async (talk) => {
  // A ThreadSanitizer build needs four times the size of the table to clear it.
  for (const size of forBuild([1, 256, 1024], [1, 256, 1024], [1, 256])) {
    talk.send(`setoption name Hash value ${size}`, 'position startpos');
    await talk.go('depth 6', silent);
    await repeat(2, async () => {
      talk.send('ucinewgame', 'isready');
      await talk.next('readyok');
      await talk.next('readyok');
      await talk.ready();
    });
    talk.send('position startpos moves d2d4');
    await talk.go('depth 6', silent);
  }
}, { slack: 6 });

conversation('stop and ponderhit without a search do and say nothing', async (talk) => {
  for (const command of ['stop', 'ponderhit']) {
    talk.send(command);
    await talk.ready();
    await talk.go('depth 8', silent);
    talk.send(...Array(100).fill(command));
    await talk.ready();
    // The same after a search that was stopped.
    await interrupt(talk, 'infinite', 20, 'stop');
    talk.send(command);
    await talk.ready();
    await talk.go('movetime 30');
    // An earlier ponderhit doesn't affect a ponder search that starts later.
    talk.send(command, 'go ponder wtime 100 btime 100');
    await talk.silence(200);
    talk.send('stop');
    await talk.bestmove();
  }
});

conversation('isready is answered at once and whole, during a search too', async (talk, start) => {
  const endgame = 'fen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1';
  for (const threads of [1, 4]) {
    for (const position of [startpos, 'fen 8/k7/8/6QQ/qq6/8/7K/8 w - - 0 1', endgame]) {
      const other = await start();
      other.send(`setoption name Threads value ${threads}`, 'setoption name Hash value 16');
      await other.ready();
      other.send(`position ${position}`, 'go infinite');
      await repeat(100, async () => {
        other.send('isready');
        await other.until('readyok', 5000);
        await pauseUpTo(1);
      });
      // All at once: the answers come before the result, each in one piece.
      other.send(...Array(100).fill('isready'));
      await other.silence(100);
      other.send('stop');
      await other.bestmove(stopped);
      assert.equal(other.count(/^readyok$/), 201);
      await other.ready();
      await other.quit();
    }
  }
  // A search that writes a hundred lines within milliseconds, and answers between them.
  const rounds = forBuild(100, 30);
  talk.send(`position ${stalemated}`);
  await repeat(rounds, async () => {
    talk.bytes(`go infinite\n${'isready\n'.repeat(100)}`);
    await talk.bestmove();
    talk.send('over');
    await talk.until('Unknown command');
  });
  assert.equal(talk.count(/^readyok$/), 100 * rounds);
});

conversation('odd limits of go give a legal move', async (talk) => {
  const least = -2147483648;
  const most = 2147483647;
  const clocks = (time) => `wtime ${time} btime ${time} winc ${time} binc ${time}`;
  for (const position of [startpos, middlegame]) {
    talk.send(`position ${position}`);
    // The time is just enough for a move.
    for (const words of ['movetime 1', 'movetime -1', `movetime ${least}`, clocks(least),
      `${clocks(least)} movestogo ${least}`, clocks(-10), clocks(0), clocks(1), clocks(10),
      `${clocks(11)} movestogo 1`, 'wtime 80 btime 80 movestogo 40', 'depth 0 movetime 20',
      'wtime 0 btime 0 winc 100 binc 100', 'depth 1000 movetime 20',
      `depth ${most} movetime 20`, 'movestogo 1 movetime 20', 'frob movetime 20',
      'searchmoves e1g1 movetime 20', `movestogo ${most} wtime 100 btime 100`,
    ]) {
      await talk.go(words);
    }
    // A search with a negative depth ends after the first iteration. After an invalid number the
    // rest of the line is ignored, and the search still starts.
    for (const words of ['depth -1 movetime 100', `depth ${least}`, `movetime ${most} depth 3`,
      `${clocks(most)} movestogo ${most} depth 3`, 'nodes 99999999999 depth 2', 'depth 3 wtime',
      'depth 3 movetime x infinite', 'depth 2 nodes -1 x y',
    ]) {
      await talk.go(words, silent);
    }
    // A depth of 0 is not a limit.
    for (const words of ['depth 0', 'movetime 0', 'movetime 0 depth 0', 'depth 1000',
      `depth ${most}`, 'nodes 1', 'nodes 99999999999', 'mate 1',
      'infinite depth 2 movetime 10 wtime 10', `${clocks(most)} movestogo ${most}`,
    ]) {
      talk.send(`go ${words}`);
      await talk.until(depth10, 60000);
      talk.send('stop');
      await talk.bestmove(info);
    }
    for (const words of ['wtime 99999999999999999999', 'movetime x']) {
      await interrupt(talk, words, 20, 'stop');
    }
  }
});

// All kinds of `go`.
const limits = [
  '', 'depth 1', 'depth 3', 'depth 20', 'depth 0', 'depth -1', 'depth 1000', 'ponder', 'mate 1',
  'movetime 100', 'movetime 0', 'movetime 1', 'movetime -1', 'nodes 100', 'wtime 1 btime 1',
  'wtime 600000 btime 600000 winc 1000 binc 1000', 'ponder wtime 1000 btime 1000 movestogo 1',
];

conversationWith([1, 2, 4, 8], 'a side without a legal move gets the null move at once', async (talk) => {
  for (const [fen, lines] of [
    ['rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3', ['info score mate 0']],
    ['3R2k1/5ppp/8/8/8/8/5PPP/6K1 b - - 0 1', ['info score mate 0']],
    ['7k/5Q2/6K1/8/8/8/8/8 b - - 0 1'],
    ['8/8/8/8/8/k7/p7/K7 w - - 0 1'],
  ]) {
    for (const words of [...limits, 'infinite']) {
      talk.send(`position fen ${fen}`);
      const { best, infos } = await talk.go(words);
      assert.equal(best, noMove);
      if (lines) assert.deepEqual(infos.map(({ text }) => text), lines);
      talk.send(any('stop', 'ponderhit'));
      await talk.ready();
    }
    const words = () => any('infinite', 'ponder', 'depth 5', 'movetime 1000');
    await repeat(forBuild(100, 10), () => talk.go(words()));
  }
});

conversationWith([4, 8, 2, 1], 'the only legal move is played at once', async (talk, threads) => {
  for (const [fen, move] of [
    ['2r4k/3n4/5n2/4pP2/3K4/2PPP3/8/8 w - e6 0 2', 'f5e6'],
    ['8/8/2ppp3/3k4/4Pp2/5N2/3N4/2R4K b - e3 0 1', 'f4e3'],
  ]) {
    talk.send(`position fen ${fen}`);
    // With more threads, the one that is chosen may have written a line.
    await repeat(forBuild(5, 1), async () => {
      for (const words of limits) await talk.go(words, { move, silent: threads === 1 });
    });
    talk.send('go infinite');
    await talk.until(depth10, 60000);
    await talk.silence(50);
    talk.send('stop');
    await talk.bestmove({ move, info: true });
  }
});

conversationWith([1, 4], 'ponder searches end by ponderhit or stop', async (talk) => {
  talk.send('setoption name Ponder value true', 'position startpos moves e2e4');
  // At once: the search goes on with its clock.
  await repeat(forBuild(10, 5), async () => {
    talk.bytes('go ponder wtime 300 btime 300\nponderhit\n');
    await talk.bestmove();
  });
  await repeat(forBuild(15, 8), () =>
    interrupt(talk, 'ponder wtime 300 btime 300', 30, 'ponderhit', {}));
  // Long after the budget: there is no result before ponderhit, which ends the search.
  await repeat(2, async () => {
    talk.send('go ponder wtime 300 btime 300');
    await talk.silence(400);
    talk.send('ponderhit');
    await talk.bestmove({ patience: 1000 });
    await talk.ready();
  });
  // After the soft budget of about half a second, before the hard one of 3 s.
  talk.send('go ponder wtime 20000 btime 20000');
  await talk.silence(1500);
  talk.send('ponderhit');
  await talk.bestmove();
  // stop needs no ponderhit, and a later one does nothing.
  await repeat(forBuild(15, 8), async () => {
    await interrupt(talk, 'ponder wtime 300 btime 300', 40, 'stop');
    talk.send('ponderhit');
    await talk.ready();
  });
  // A search that reaches its depth doesn't wait for ponderhit.
  await talk.go('ponder depth 3 wtime 60000 btime 60000', silent);
  talk.send('ponderhit', 'stop');
  await talk.ready();
});

conversationWith([1, 2], 'position and setoption do not disturb a search', async (talk) => {
  talk.send(`position ${middlegame}`, 'go infinite');
  await pause(30);
  talk.send('position startpos moves e2e4');
  await talk.until(/^info score cp -?\d+ depth 11 /, 60000);
  talk.send('stop');
  await talk.bestmove();
  await talk.board();
  talk.send(`go ${any('infinite', 'ponder', 'depth 60')}`);
  talk.send(`setoption name Ponder value ${any(true, false)}`);
  talk.send('setoption name Cache value 3', 'setoption');
  await talk.silence(100);
  talk.send('isready');
  await talk.until('readyok');
  talk.send('stop');
  await talk.bestmove();
  await talk.go('depth 6', silent);
  await repeat(10, async () => {
    talk.send('go movetime 30');
    await repeat(20, () => talk.send(`position startpos moves ${any('', 'e2e4', 'd2d4 d7d5')}`));
    await talk.bestmove();
  });
});

conversation('stop 0 to 5 ms after go gets one result each time', async (talk) => {
  for (const threads of [1, 2]) {
    talk.send(`setoption name Threads value ${threads}`);
    talk.send(`position ${any('startpos', 'startpos moves e2e4 e7e5')}`);
    await repeat(forBuild(1000, 150, 100), async () => {
      await interrupt(talk, any('', 'infinite', 'ponder', 'depth 60'), 5, 'stop');
      // Nothing more comes, and a second stop says nothing.
      talk.send('stop');
      await talk.ready();
    });
  }
  // More threads, both commands in one write.
  for (const threads of [3, 8]) {
    talk.send(`setoption name Threads value ${threads}`);
    await repeat(forBuild(100, 20), async () => {
      talk.bytes('go infinite\nstop\n');
      await talk.bestmove(stopped);
      await talk.ready();
    });
  }
});

conversation('NUL, high bytes and lines of 64 KB are unknown commands', async (talk) => {
  for (const line of [
    '\0', '\0\xff\xfe\x80', '\0isready', 'isready\0', 'x'.repeat(65536), ' '.repeat(65536),
    '\xff'.repeat(200000), '\xef\xbb\xbfuci',
  ]) {
    talk.send(line);
    await talk.next('Unknown command');
    await talk.board();
    await talk.ready();
  }
  // The same as the arguments of known commands.
  const long = 'x'.repeat(65536);
  talk.send(`isready ${long}`);
  await talk.next('readyok');
  talk.send(`setoption name ${long} value ${'\xff'.repeat(65536)}`);
  talk.send('setoption name Ponder value \0');
  await talk.go(`${long} depth 2`, silent);
  await talk.go('\0\xff depth 2', silent);
  talk.send(`position startpos moves e2e4${' '.repeat(65536)}`);
  await talk.board();
  await talk.go('depth 2', silent);
  talk.send('position \0', `position ${long}`);
  await talk.board();
  await talk.ready();
  // The same during a search.
  talk.send('go infinite');
  await repeat(20, async () => {
    talk.send(`\0\xff${'\x01'.repeat(3000)}`);
    await talk.until('Unknown command');
  });
  talk.send('stop');
  await talk.bestmove();
});

conversationWith([1, 4], 'commands that change tables end a search first', async (talk) => {
  talk.send('position startpos');
  await repeat(forBuild(40, 8), async () => {
    await interrupt(talk, endless(), 20, 'ucinewgame');
    await talk.next('readyok');
    await interrupt(talk, endless(), 20, `setoption name Hash value ${any(1, 2, 16, 64)}\nisready`);
    await talk.next('readyok');
    await interrupt(talk, endless(), 20, 'perft 1');
    await talk.next('+---+---+---+---+---+---+---+---+');
    await talk.until(/^Perft results for depth: 1 {2}20 /);
    await interrupt(talk, endless(), 20, 'texel'); // its file is missing
    await talk.next(/tuning not executed/);
    // A search that is about to end by itself.
    const line = any('ucinewgame', 'setoption name Hash value 1');
    await interrupt(talk, any('depth 1', 'depth 4', 'movetime 2'), 4, line);
    if (line === 'ucinewgame') await talk.next('readyok');
  });
  await talk.go('depth 6');
});

conversation('Threads from 1 to 64 and back, idle and during a search', async (talk) => {
  const all = Array.from({ length: 64 }, (_, i) => i + 1);
  talk.send('setoption name Hash value 16', 'position startpos');
  for (const threads of forBuild([64, 1, 64, 2, 63, 1, 33, 8, 3, ...all], [64, 1, 8, 2, 3])) {
    talk.send(`setoption name Threads value ${threads}`);
    await talk.ready();
    await talk.go('depth 5', silent);
  }
  // During a search the command waits for the end of the search.
  for (const threads of [8, 1, 3, 64, 2, 2, 64, 1]) {
    talk.send('go movetime 50', `setoption name Threads value ${threads}`, 'isready');
    await talk.bestmove({ unanswered: true });
    await talk.next('readyok');
    await talk.go('depth 5', silent);
  }
  // A search that may end at any moment.
  await repeat(forBuild(40, 8), () => interrupt(talk, any('depth 1', 'depth 3', 'movetime 1'), 3,
    `setoption name Threads value ${any(1, 2, 3, 16)}`, {}));
});

conversationWith([1, 2], 'a go during a search waits, and each gets its result', async (talk) => {
  talk.send('position startpos', 'go movetime 50', 'go movetime 50', 'go movetime 50');
  await repeat(3, () => talk.bestmove());
  await talk.ready();
  // Nothing is read while the second waits.
  talk.send('go movetime 100', 'position startpos moves e2e4', 'go movetime 100', 'isready');
  await talk.bestmove({ unanswered: true });
  // The limits of the second also apply to the first while that runs, so the second may end before
  // the answer or after it.
  const { cursor } = talk;
  await talk.bestmove();
  if (!talk.texts.slice(cursor, talk.cursor).includes('readyok')) await talk.next('readyok');
  await interrupt(talk, 'infinite', 30, 'go movetime 50');
  await talk.bestmove();
  await talk.ready();
  // Two searches without a limit, in a position where a search ends by itself.
  talk.send(`position ${stalemated}`, 'go infinite', 'go infinite');
  await repeat(2, () => talk.bestmove());
  talk.send('stop');
  await talk.ready();
});

conversation('lines may begin with spaces and tabs and end with carriage returns', async (talk) => {
  talk.bytes('isready\r\nuci\r\n');
  await talk.next('readyok');
  await talk.next('id name Quillon Version 2.0');
  await talk.until('uciok');
  talk.bytes('position startpos\r\ngo depth 3\r\n');
  await talk.bestmove(silent);
  talk.bytes('\tstop\r\n isready\t\r\n');
  await talk.next('readyok');
  talk.bytes('   quit\r\n');
  await talk.exit();
});
