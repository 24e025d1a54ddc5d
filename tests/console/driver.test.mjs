// SPDX-License-Identifier: MIT
// The driver and the referee must notice what they are there for: small programs that misbehave
// stand in for the engine.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Engine } from './engine.mjs';
import { playGame, Player } from './match.mjs';
import { Rules } from './rules.mjs';
import { checkSearch, readSearch } from './search.mjs';

// A program that answers each line by the given code; `say` writes a line.
function impostor(code) {
  const frame = `
    const say = (text) => process.stdout.write(text + '\\n');
    let searches = 0;
    require('node:readline').createInterface({ input: process.stdin }).on('line', (line) => {
      ${code}
      if (line === 'isready') say('readyok');
      if (line === 'quit') process.exit(0);
    });`;
  return new Engine({ file: process.execPath, args: ['-e', frame] });
}

test('a line that never comes, an early end and a bad status are failures', async () => {
  const silent = impostor('');
  await assert.rejects(silent.expect('uciok', 50), /no line uciok/);
  await silent.quit();
  const short = impostor('process.exit(0);');
  short.send('uci');
  await assert.rejects(short.expect('uciok'), /process ended/);
  const failing = impostor('process.exit(3);');
  failing.send('uci');
  await assert.rejects(failing.expectCleanExit(), /bad end/);
  const killed = impostor("process.kill(process.pid, 'SIGSEGV');");
  killed.send('uci');
  await assert.rejects(killed.expectCleanExit(), /bad end/);
  const unstartable = new Engine({ file: '/dev/null' });
  await assert.rejects(unstartable.expectCleanExit(), /cannot start/);
});

test("text on the error stream fails, a sanitizer's report even where text may come", async () => {
  const noisy = impostor("process.stderr.write('hm\\n');");
  noisy.send('isready');
  await noisy.expect('readyok');
  await assert.rejects(noisy.quit(), /text on the error stream/);
  const allowed = new Engine({
    file: process.execPath,
    args: ['-e', "process.stderr.write('terminate called\\n')"],
    stderrAllowed: /^terminate called/,
  });
  await allowed.expectCleanExit();
  for (const report of ['ThreadSanitizer: data race', 'x.cpp:3:4: runtime error: overflow']) {
    const racing = impostor(`process.stderr.write('terminate called ${report}\\n');`);
    racing.stderrAllowed = /terminate called/;
    racing.send('isready');
    await racing.expect('readyok');
    await assert.rejects(racing.kill(), /text on the error stream/);
  }
});

test('lines of a search in any other form are failures', () => {
  const good = 'info score cp 12 depth 10 seldepth 12 nodes 999 time 3 hashfull 0 pv e2e4 e7e5 ';
  assert.equal(readSearch([good, 'bestmove e2e4 ponder e7e5']).infos.length, 1);
  for (const bad of [
    good.trimEnd(), good.replace('hashfull 0', 'hashfull 1'), `${good} `, ` ${good}`,
    good.replace('cp 12', 'cp'), good.replace('e7e5', 'e7e9'), `${good}readyok`, '',
    'info score mate 0 depth 1 nodes 1 time 1 pv e2e4 ', 'info string hello',
  ]) {
    assert.throws(() => readSearch([bad, 'bestmove e2e4']), undefined, bad);
  }
  assert.throws(() => readSearch([good]), /ends with "bestmove"/);
  for (const bad of ['bestmove', 'bestmove e2e4 ', 'bestmove e2e4 ponder', 'bestmove (none)']) {
    assert.throws(() => readSearch([bad]), undefined, bad);
  }
  assert.throws(() => readSearch(['bestmove e2e4', good]), /behind the result/);
});

test('illegal moves in the result and in the lines are failures', () => {
  const rules = new Rules();
  const search = (line, result) =>
    readSearch([
      `info score cp 1 depth 10 seldepth 11 nodes 9 time 1 hashfull 0 pv ${line} `,
      `bestmove ${result}`,
    ]);
  checkSearch(rules, search('e2e4 e7e5', 'e2e4 ponder e7e5'));
  for (const [line, result] of [
    ['e2e4 e2e4', 'e2e4'], ['e2e5', 'e2e4'], ['e2e4', 'e2e5'], ['e2e4', 'e2e4 ponder e2e4'],
    ['e2e4', 'a1a1'],
  ]) {
    assert.throws(() => checkSearch(rules, search(line, result)), undefined, `${line}, ${result}`);
  }
  assert.equal(rules.moves.length, 0, 'the rules are as before');
});

test('the referee sees illegal moves, double answers, and clocks that run out', async (t) => {
  const white = (code) => new Player(impostor(code), { name: 'white' });
  const black = () =>
    new Player(impostor("if (line.startsWith('go')) say('bestmove e7e5');"), {
      name: 'black', trusted: true,
    });
  const refused = async (code, pattern, options) => {
    const players = [white(code), black()];
    for (const player of players) t.after(() => player.engine.kill());
    for (const { engine } of players) {
      engine.send('isready');
      await engine.expect('readyok');
    }
    await assert.rejects(playGame(players, { maxPlies: 2, ...options }), pattern);
  };
  const onGo = (code) => `if (line.startsWith('go')) { ${code} }`;
  await refused(onGo("say('bestmove e2e5');"), /illegal/);
  // Both answers may have been read with the first, or the second arrive in front of "readyok".
  await refused(
    onGo("say('bestmove e2e4'); say('bestmove e2e4');"),
    /one "bestmove"|nothing is written between searches/,
  );
  await refused(onGo("setTimeout(say, 400, 'bestmove e2e4');"), /lost on time/, { base: 20 });
});
