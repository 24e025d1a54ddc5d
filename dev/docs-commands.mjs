// SPDX-License-Identifier: MIT
// The commands of the documents, and what runs them: each line of a ```sh block has a row here.
//
//   quick   docs.test.mjs, in a folder of links to the tree, which keeps the files they write
//   clone   docs.long.test.mjs, one after the other in a fresh clone
//
// `says` is a pattern that the output must match, `status` the expected status (0). If a command
// takes too long, `short: [from, to]` is a replacement in it, and `as` is run instead of it.

import { execFile } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..');

/** The paths of the documents with commands, relative to the root. */
export function documents() {
  const folder = fs.readdirSync(path.join(root, 'docs')).filter((name) => name.endsWith('.md'));
  return ['README.md', 'CONTRIBUTING.md', ...folder.sort().map((name) => `docs/${name}`)];
}

/** The commands of a text: the lines of its ```sh blocks, without comments. */
export function commandsOf(text) {
  const blocks = [...text.matchAll(/^```sh\n(.*?)^```$/gms)].map((match) => match[1]);
  return blocks
    .flatMap((block) => block.replace(/\\\n\s*/g, '').split('\n'))
    .map((line) => line.replace(/\s+# .*$/, '').trim())
    .filter((line) => line && !line.startsWith('#'));
}

/** Runs a row in a folder, and returns { status, output }. */
export function run(command, folder) {
  return new Promise((resolve) => {
    const options = {
      cwd: folder,
      // Node's test runner does nothing if it is started by another one.
      env: { ...process.env, NODE_TEST_CONTEXT: undefined },
      maxBuffer: 1 << 28,
      timeout: 3600000,
    };
    const child = execFile('bash', ['-c', command], options, (error, out, err) => {
      resolve({ status: error ? (error.code ?? error.signal) : 0, output: out + err });
    });
    child.stdin.end();
  });
}

/** The command that is run for a row. */
export function shortened(command, { as, short: [from, to] = ['', ''] } = {}) {
  return as ?? command.replace(from, to);
}

const kiwi = '"r2q1rk1/1b2bppp/p1n1pn2/1p6/3N4/1BN1P3/PP2QPPP/R1BR2K1 b - - 3 13"';
const works = {};

export const quick = {
  [`tools/analyse --time 1000 ${kiwi}`]: { says: /^1 +[-+]\d+\.\d\d +\d+ +\S+ +13\.\.\. /m },
  'tools/analyse --depth 12 --lines 3 --json startpos': { says: /^\{"input":.*"rank":3,"depth":12/m },
  'tools/analyse --depth 10 data/suites/mates.epd': { says: /#\d/ },
  'tools/analyse --depth 10 --out marked.csv data/immortal.pgn': { says: /^$/ },
  'tools/analyse --depth 12 --report --html report.html --pgn marked.pgn data/immortal.pgn': {
    short: ['12', '10'],
    says: /turning point/,
  },
  'tools/suite --time 1000 data/suites/tactics.epd data/suites/mates.epd': {
    short: ['1000', '100'],
    says: /solved/,
  },
  'dev/release --help': { says: /linux-arm64/ },
  'dev/mutate --help': { says: /--survivors/ },
  [`build/release/quillon_explain ${kiwi}`]: { says: /material/ },
  'echo rtest | build/release/quillon | tail -n 1': { says: /is OK: 1$/m },
};

/** A program with a window passes if it still runs after some seconds. */
const onScreen = {
  short: [/^/, 'PATH=$PWD/build/release:/usr/games:$PATH xvfb-run -a timeout 8 '],
  status: 124,
};

// In an order that works in a clone: builds come before what they build.
export const clone = {
  './run.sh': { says: /^Quillon Version 2\.0\n/m },
  './run.sh demo': { says: /^bestmove /m },
  'npm ci': works,
  'cmake --preset release': works,
  'cmake --build --preset release --target quillon': works,
  'cmake --build --preset release --target quillon_explain': works,
  'cmake --build --preset release --target quillon_selfplay': works,

  'cmake --preset check -DQUILLON_TESTS=ON -DQUILLON_SIGNATURE=ON': works,
  'cmake --build --preset check -j 2 --target quillon quillon_tests quillon_signature': works,
  'build/check/bench/quillon_signature | tail -n 1': { says: /^\d+ nodes \d+ nps$/m },
  'ctest --test-dir build/check -L eval --output-on-failure': { says: /100% tests passed/ },
  "build/check/tests/quillon_tests --gtest_filter='Eval*'": { says: /PASSED +\] [1-9]/ },

  // A clone may have no branch main.
  'bench/compare.sh main HEAD': { short: [/main HEAD$/, 'HEAD HEAD 1'], says: /signature/ },
  'bench/compare.sh HEAD . 5': { short: ['5', '1'], says: /signature/ },
  'bench/peers.mjs': { short: [/$/, ' 1'], says: /^\| nodes .*stockfish/m },
  'bench/threads.mjs': { short: [/$/, ' 15'], says: /^nodes per second: \d/m },
  'dev/instructions': { says: /^[\d.]+ of the total|not compared/m },

  'dev/mutate --sample 300 --out build/mutants.jsonl': { short: ['300', '2'] },
  // A sample of two may have no survivor, which is an error.
  'dev/mutate --survivors build/mutants.jsonl': { short: [/$/, ' || true'], says: /surviv/ },
  'dev/fuzz.sh 20': { short: ['20', '1'] },
  'dev/fuzz.sh 20 console fen': { short: ['20', '1'] },

  'make install PREFIX=$HOME/.local': {
    as: 'make install PREFIX=$PWD/build/home && echo rtest | build/home/bin/quillon',
    says: /is OK: 1$/m,
  },
  'cmake --preset release -DQUILLON_ARCH=x86-64-v2 -DCMAKE_INSTALL_PREFIX=/usr/local': works,
  'DESTDIR=$PWD/build/stage cmake --install build/release': { says: /quillon\.6/ },
  // It releases commits, so the files that earlier commands have left must go.
  'dev/release linux-x86-64-v3 deb': { short: [/^/, 'git reset --hard -q && git clean -dfq && '] },
  'dev/release': works,
  'cmake --preset deb && cmake --build --preset deb': works,
  'cpack --config build/deb/CPackConfig.cmake -B build/deb': { says: /generated/ },

  'tools/board --open': {
    as: 'BROWSER=true timeout --preserve-status 5 tools/board --port 0 --open',
    says: /http:\/\/127\.0\.0\.1:\d+/,
  },
  'apt-get install toga2 glaurung gnuchess ethereal-chess stockfish': {
    short: ['install', 'install --dry-run'],
  },
  'tools/gauntlet --pgn build/games.pgn --opponent /usr/games/ethereal-chess --opponent /usr/games/glaurung --opponent /usr/games/toga2 --opponent "/usr/games/gnuchess,name=GNU Chess 6.2.7,args=--uci" --opponent "/usr/games/stockfish,name=stockfish 15 kN,Use NNUE=false,nodes=15000"':
    { short: ['--pgn', '--games 2 --time 0.2+0.01 --pgn'], says: /^\| stockfish 15 kN \| 2 \|/m },
  'xboard -fcp quillon -fUCI': onScreen,
  'xboard -fcp quillon -fUCI -initialMode analysis': onScreen,
  'xboard -fcp "polyglot docs/connect/polyglot.ini"': onScreen,

  'cmake --preset tester && cmake --build --preset tester': works,
  'make EXE=quillon-tester CXX=g++': works,
  './quillon-tester bench | tail -n 1': { says: /^\d+ nodes \d+ nps$/m },
  'cmake --preset tune && cmake --build --preset tune': works,
  'build/release/quillon_selfplay 100000 6 > quiet-labeled.epd': { short: ['100000 6', '2000 2'] },
  'build/tune/quillon-tune texel | tee tuned.txt': { short: ['texel', 'texel EVALMOBILITYROOK'] },
  'cmake --preset tune-mpi && cmake --build --preset tune-mpi': works,
  'mpirun -n 2 build/tune-mpi/quillon-tune-mpi texel --workers 1 --fitk | tee tuned.txt': {
    as: 'mpirun --allow-run-as-root --oversubscribe -n 2 build/tune-mpi/quillon-tune-mpi texel --workers 1 --fitk --passes 1 EVALMOBILITYROOK | tee tuned.txt',
    says: /^Pass 1, /m,
  },
};

// ./test.sh runs these tests itself.
export const rows = { ...quick, ...clone, './test.sh': works };
