// SPDX-License-Identifier: MIT
// The commands of the documents, and what runs them: each line of a ```sh block has a row here.
//
//   quick   docs.test.mjs, in a folder of links to the tree, so that what they write stays there
//   clone   docs.long.test.mjs, one after the other in a fresh clone
//   self    what runs the tests, and so has run when this is read
//
// `as` is a shorter run of the same command, where the one in the document takes very long; `says`
// is a pattern that the output must match; `status` is the expected one, 0 unless told.

import { execFile } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..', '..');

/** The documents with commands, by their paths from the root. */
export function documents() {
  const folder = fs.readdirSync(path.join(root, 'docs')).filter((name) => name.endsWith('.md'));
  return ['README.md', 'CONTRIBUTING.md', ...folder.sort().map((name) => `docs/${name}`)];
}

/** The commands of a text: the lines of its ```sh blocks, continued lines joined, comments off. */
export function commandsOf(text) {
  const blocks = [...text.matchAll(/^```sh\n(.*?)^```$/gms)].map((match) => match[1]);
  return blocks
    .flatMap((block) => block.replace(/\\\n\s*/g, '').split('\n'))
    .map((line) => line.replace(/\s+# .*$/, '').trim())
    .filter((line) => line && !line.startsWith('#'));
}

/** Runs a command of a document in a folder, and returns { status, output }. */
export function run(command, folder, environment = {}) {
  return new Promise((resolve) => {
    const options = {
      cwd: folder,
      // Node's runner does nothing below another one that it knows of.
      env: { ...process.env, ...environment, NODE_TEST_CONTEXT: undefined },
      maxBuffer: 1 << 28,
      timeout: 3600000,
    };
    const child = execFile('bash', ['-c', command], options, (error, out, err) => {
      resolve({ status: error ? (error.code ?? error.signal) : 0, output: out + err });
    });
    child.stdin.end();
  });
}

const kiwi = '"r2q1rk1/1b2bppp/p1n1pn2/1p6/3N4/1BN1P3/PP2QPPP/R1BR2K1 b - - 3 13"';

const profile =
  "valgrind --tool=callgrind --toggle-collect='worker::searchRoot()' " +
  '--callgrind-out-file=callgrind.out build/v3/bench/quillon_signature';
const fuzzer = 'fuzzer=$PWD/build/fuzz/tests/fuzz/quillon_fuzz_console';
const minimize = '$fuzzer -minimize_crash=1 -max_total_time=60 -exact_artifact_path=/tmp/small $PWD/FINDING';

/** A program with a window: it is right when it still runs after some seconds. */
const onScreen = (command) => ({
  by: 'clone',
  as: `PATH=$PWD/build/release:/usr/games:$PATH xvfb-run -a timeout 8 ${command}`,
  status: 124,
});

// In the order in which a clone can run them: what builds comes before what it has built.
export const rows = {
  './test.sh': { by: 'self' },

  // Has been run by the script that starts the tests.
  'npm ci --prefix tools': { by: 'self' },
  [`tools/analyse --time 1000 ${kiwi}`]: { by: 'quick', says: /^1 +[-+]\d+\.\d\d +\d+ +\S+ +13\.\.\. /m },
  'tools/analyse --depth 12 --json startpos': { by: 'quick', says: /^\{"input":.*"depth":12/m },
  'tools/analyse --depth 10 data/suites/mates.epd': { by: 'quick', says: /#\d/ },
  'tools/analyse --time 2000 --svg score.svg data/immortal.pgn': {
    by: 'quick',
    as: 'tools/analyse --time 50 --svg score.svg data/immortal.pgn && grep -q "<svg" score.svg',
    says: /Largest swings:/,
  },
  'tools/suite --time 1000 data/suites/tactics.epd data/suites/mates.epd': {
    by: 'quick',
    as: 'tools/suite --time 100 data/suites/tactics.epd data/suites/mates.epd',
    says: /solved/,
  },
  'tools/release --help': { by: 'quick', says: /linux-arm64/ },

  [`build/release/quillon_explain ${kiwi}`]: { by: 'quick', says: /material/ },
  'echo rtest | build/release/quillon | tail -n 1': {
    by: 'quick',
    says: /^Results of the perft checks is OK: 1$/m,
  },
  'tools/mutate --list': { by: 'quick', says: /src\/search\.cpp/ },

  './run.sh': { by: 'clone', says: /^Quillon Version 2\.0\n/m },
  './run.sh demo': { by: 'clone', says: /^bestmove /m },
  'cmake --preset release': { by: 'clone' },
  'cmake --build --preset release --target quillon': { by: 'clone' },
  'cmake --build --preset release --target quillon_explain': { by: 'clone' },

  'bench/compare.sh main HEAD': { by: 'clone', as: 'bench/compare.sh main HEAD 1', says: /signature/ },
  'bench/compare.sh HEAD . 5': { by: 'clone', as: 'bench/compare.sh HEAD . 1', says: /signature/ },
  'bench/peers.sh': { by: 'clone', as: 'bench/peers.sh 1', says: /^\| nodes .*stockfish/m },
  'bench/threads.mjs': { by: 'clone', as: 'bench/threads.mjs 15', says: /^nodes per second: \d/m },
  'tools/flame-graph.sh': { by: 'clone', as: 'tools/flame-graph.sh 11', says: /getHashTableEntry/ },
  "cmake -S . -B build/v3 -DCMAKE_BUILD_TYPE=Release -DQUILLON_ARCH=x86-64-v3 -DCMAKE_CXX_FLAGS_RELEASE='-O3 -DNDEBUG -g' -DQUILLON_BENCH=ON":
    { by: 'clone' },
  'cmake --build build/v3 --target quillon_signature': { by: 'clone' },
  [`${profile} 11`]: { by: 'clone', as: `${profile} 7`, says: /Collected : [1-9]/ },
  'callgrind_annotate callgrind.out | head -n 40': { by: 'clone', says: /PROGRAM TOTALS/ },

  'npm ci --prefix tests/console': { by: 'clone' },
  'tools/mutate --sample 300 --jobs 2 --out build/mutants.jsonl': {
    by: 'clone',
    as: 'tools/mutate --sample 2 --jobs 2 --out build/mutants.jsonl',
  },
  // A sample of two may leave none.
  'tools/mutate --survivors build/mutants.jsonl': {
    by: 'clone',
    as: `echo '{"id": "src/uci.cpp:70:48:name:0", "result": "survived"}' > build/mutants.jsonl && tools/mutate --survivors build/mutants.jsonl`,
    says: /uci\.cpp:70:48/,
  },
  'tools/mutate --file src/hash.cpp': { by: 'clone', as: 'tools/mutate --file src/hash.cpp --sample 1' },
  'tools/mutate --only src/uci.cpp:70:48:name:0': { by: 'clone' },

  'tools/fuzz.sh 20': { by: 'clone', as: 'tools/fuzz.sh 1' },
  'tools/fuzz.sh 20 console moves': { by: 'clone', as: 'tools/fuzz.sh 1 console moves' },
  // An input that ends the fuzzer is needed for what is told of findings; there is none, and it
  // says so.
  [fuzzer]: { by: 'clone', as: `${fuzzer} && test -x $fuzzer` },
  [minimize]: {
    by: 'clone',
    as: `${fuzzer}; echo uci > FINDING; ${minimize.replace('=60', '=1')}; test $? -ne 0`,
    says: /did not crash/,
  },
  'mkdir -p tests/fuzz/regressions/console': { by: 'clone' },
  'cp /tmp/small tests/fuzz/regressions/console/what_it_is': {
    by: 'clone',
    as: 'cp FINDING tests/fuzz/regressions/console/what_it_is',
  },
  'cmake --build --preset asan --target quillon_replay': {
    by: 'clone',
    as: 'cmake --preset asan -DQUILLON_TESTS=ON && cmake --build --preset asan --target quillon_replay',
  },
  'build/asan/tests/fuzz/quillon_replay console tests/fuzz/regressions/console': { by: 'clone' },

  'make install PREFIX=$HOME/.local': {
    by: 'clone',
    as: 'HOME=$PWD/build/home make install PREFIX=$PWD/build/home/.local && echo rtest | build/home/.local/bin/quillon',
    says: /^Results of the perft checks is OK: 1$/m,
  },
  'cmake --preset release -DQUILLON_ARCH=x86-64-v2 -DCMAKE_INSTALL_PREFIX=/usr/local': { by: 'clone' },
  'DESTDIR=$PWD/build/stage cmake --install build/release': { by: 'clone', says: /quillon\.6/ },
  // It releases commits, without what the commands before have left, as a new flame graph.
  'tools/release linux-x86-64-v3 deb': {
    by: 'clone',
    as: 'git reset --hard -q && git clean -dfq && tools/release linux-x86-64-v3 deb',
  },
  'tools/release': { by: 'clone' },
  'cmake --preset linux-arm64': { by: 'clone' },
  'cmake --build --preset linux-arm64': { by: 'clone' },
  'qemu-aarch64 build/linux-arm64/bench/quillon_signature 10 | tail -n 1': {
    by: 'clone',
    says: /^1671282 nodes/m,
  },
  'cmake --preset deb && cmake --build --preset deb': { by: 'clone' },
  'cpack --config build/deb/CPackConfig.cmake -B build/deb': { by: 'clone', says: /generated/ },
  "ctest --test-dir build/release -R '^package\\.deb$' --output-on-failure": {
    by: 'clone',
    as: "cmake --preset release -DQUILLON_ARCH=native -DQUILLON_TESTS=ON && ctest --test-dir build/release -R '^package\\.deb$' --output-on-failure --no-tests=error",
  },

  'npm ci --omit=dev --prefix tools': { by: 'clone' },
  'tools/board --open': {
    by: 'clone',
    as: 'BROWSER=true timeout --preserve-status 5 tools/board --port 0 --open',
    says: /http:\/\/127\.0\.0\.1:\d+/,
  },
  'node --test tests/tools/board*.test.mjs': {
    by: 'clone',
    as: 'npm ci --prefix tools && node --test tests/tools/board*.test.mjs',
    says: /\bpass [1-9]/,
  },
  'tools/gauntlet --pgn build/games.pgn --opponent /usr/games/ethereal-chess --opponent /usr/games/glaurung --opponent /usr/games/toga2 --opponent "/usr/games/gnuchess,name=GNU Chess 6.2.7,args=--uci" --opponent "/usr/games/stockfish,name=stockfish 15 kN,Use NNUE=false,nodes=15000"':
    {
      by: 'clone',
      as: 'tools/gauntlet --games 2 --time 0.2+0.01 --pgn build/games.pgn --opponent /usr/games/ethereal-chess --opponent /usr/games/glaurung --opponent /usr/games/toga2 --opponent "/usr/games/gnuchess,name=GNU Chess 6.2.7,args=--uci" --opponent "/usr/games/stockfish,name=stockfish 15 kN,Use NNUE=false,nodes=15000"',
      says: /^\| stockfish 15 kN \| 2 \|/m,
    },
  'tools/openings --judge /usr/games/stockfish > data/openings.epd': {
    by: 'clone',
    as: 'tools/openings --judge /usr/games/stockfish --count 3 --nodes 20000',
    says: / ce -?\d+;$/m,
  },
  'apt-get install toga2 glaurung gnuchess ethereal-chess stockfish': {
    by: 'clone',
    as: 'apt-get install --dry-run toga2 glaurung gnuchess ethereal-chess stockfish',
  },
  'tools/make-suite --judge /usr/games/stockfish --output tactics.epd games.pgn': {
    by: 'clone',
    as: 'tools/make-suite --judge /usr/games/stockfish --depth 10 --count 1 --output tactics.epd data/immortal.pgn',
  },
  'tools/make-suite --judge /usr/games/stockfish --kind mates --count 50 --output mates.epd games.pgn': {
    by: 'clone',
    as: 'tools/make-suite --judge /usr/games/stockfish --kind mates --depth 10 --count 1 --output mates.epd build/games.pgn && test -s mates.epd',
  },

  // They run until they are ended: on a screen of their own, with the engine on the path.
  'xboard -fcp quillon -fUCI': onScreen('xboard -fcp quillon -fUCI'),
  'xboard -fcp quillon -fUCI -scp fairymax -matchGames 2 -timeControl 1:00 -timeIncrement 1 -saveGameFile games.pgn':
    onScreen('xboard -fcp quillon -fUCI -scp fairymax -matchGames 2 -timeControl 1:00 -timeIncrement 1 -saveGameFile games.pgn'),
  'xboard -fcp quillon -fUCI -initialMode analysis': onScreen('xboard -fcp quillon -fUCI -initialMode analysis'),
  'xboard -fcp "polyglot docs/connect/polyglot.ini"': onScreen('xboard -fcp "polyglot docs/connect/polyglot.ini"'),

  'cmake --preset tune && cmake --build --preset tune': { by: 'clone' },
  'build/release/quillon_selfplay 100000 6 > quiet-labeled.epd': {
    by: 'clone',
    as: 'cmake --build --preset release --target quillon_selfplay && build/release/quillon_selfplay 2000 2 > quiet-labeled.epd',
  },
  'build/tune/quillon-tune texel | node tools/tuner-progress.mjs progress.svg': {
    by: 'clone',
    as: 'timeout 300 build/tune/quillon-tune texel EVALMOBILITYROOK | node tools/tuner-progress.mjs progress.svg && test -s progress.svg',
  },
};
