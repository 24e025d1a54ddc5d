// SPDX-License-Identifier: MIT
// The client notices faults of the engine, which is replaced by small programs that misbehave, and
// the check of a process's memory notices growth.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import { test } from 'node:test';
import { checkFlat, readUse, tolerance } from './process.mjs';
import { readSearch } from './search.mjs';
import { Talk } from './talk.mjs';

// A program that runs `code` for each line and otherwise behaves; `say` writes a line.
function impostor(t, code, settings) {
  const frame = `
    const say = (text) => process.stdout.write(text + '\\n');
    let turns = 0;
    require('node:readline').createInterface({ input: process.stdin }).on('line', (line) => {
      if (line.startsWith('go')) turns++;
      ${code}
      if (line === 'isready') say('readyok');
      if (line === 'quit') process.exit(0);
    });`;
  const talk = new Talk({ file: process.execPath, args: ['-e', frame], ...settings });
  t.after(() => talk.kill().catch(() => {}));
  return talk;
}

const onGo = (code) => `if (line.startsWith('go')) { ${code} }`;
const info = 'info score cp 1 depth 10 seldepth 11 nodes 9 time 1 hashfull 0 pv';
const answer = (...lines) => onGo(lines.map((line) => `say('${line}');`).join(' '));
const go = (wanted) => (talk) => talk.go('depth 1', { patience: 2000, ...wanted });
const quit = (talk) => talk.quit();

for (const [what, code, act, message] of [
  ['a line that never comes', '', (talk) => talk.until('uciok', 50), /doesn't answer \(uciok\)/],
  ['an early end', 'process.exit(0);', (talk) => talk.ready(), /has ended with status 0/],
  ['a bad status', "if (line === 'quit') process.exit(3);", quit, /bad end/],
  ['an end by a signal', "if (line === 'quit') process.kill(process.pid, 'SIGSEGV');", quit,
    /bad end/],
  ['text on the error stream', "process.stderr.write('hm\\n');", quit, /text on the error stream/],
  ['an unread line', "say('hm');", quit, /an unread line/],
  ['a line cut short', "process.stdout.write('hm');", quit, /a line cut short/],
  ['another line than the next', "say('hm');", (talk) => talk.ready(), /readyok/],
  ['an illegal move', answer('bestmove e2e5'), go(), /e2e5 is illegal/],
  ['an illegal ponder move', answer('bestmove e2e4 ponder e2e4'), go(), /e2e4 is illegal/],
  ['an illegal move in a line', answer(`${info} e2e4 e7e4 `, 'bestmove e2e4'), go(),
    /e7e4 is illegal/],
  ['no move where there is one', answer('bestmove a1a1'), go(), /a1a1/],
  ['another move than wanted', answer('bestmove e2e4'), go({ move: 'd2d4' }), /d2d4/],
  ['a missing line', answer('bestmove e2e4'), go({ info: true }), /a line with a score/],
  ['a line too many', answer(`${info} e2e4 `, 'bestmove e2e4'), go({ silent: true }),
    /no line but/],
  ['an answer before the result', answer('readyok', 'bestmove e2e4'), go({ unanswered: true }),
    /before/],
  ['a line of no search', answer('hm', 'bestmove e2e4'), go(), /hm/],
  ['a result that comes early', answer('bestmove e2e4'), async (talk) => {
    await talk.ready();
    talk.send('go infinite');
    return talk.silence(500);
  }, /the search still runs/],
  ['two results', answer('bestmove e2e4', 'bestmove e2e4'), async (talk) => {
    await talk.go('depth 1');
    await talk.ready();
  }, /where none runs/],
  ['a wrong board', "if (line === 'showboard') say('+---+');", (talk) => talk.board(),
    /\+---\+---/],
  ['a wrong count', "say('Perft results for depth: 1  21  Nodes per sec: 1');",
    (talk) => talk.checkPerft(1), /startpos/],
]) {
  test(`the client notices ${what}`, (t) => assert.rejects(act(impostor(t, code)), message));
}

test("where text may be on the error stream, a sanitizer's report may not", async (t) => {
  const settings = { stderrAllowed: /^terminate called/ };
  await impostor(t, "process.stderr.write('terminate called\\n');", settings).quit();
  for (const report of ['ThreadSanitizer: data race', 'x.cpp:3:4: runtime error: overflow']) {
    const talk = impostor(t, `process.stderr.write('terminate called ${report}\\n');`, settings);
    await assert.rejects(talk.quit(), /text on the error stream/);
  }
});

test('lines of a search in any other form are errors', () => {
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
  assert.throws(() => readSearch(['bestmove e2e4', good]), /after the result/);
});

test('the check of a process sees memory and files, and allows exactly the tolerance', () => {
  const before = readUse(process.pid);
  const file = fs.openSync('/dev/null');
  const memory = Buffer.alloc(1 << 26, 1);
  const after = readUse(process.pid);
  fs.closeSync(file);
  assert.equal(after.files, before.files + 1);
  assert.ok(after.rss > before.rss + memory.length / 2048);
  const first = { rss: 30000, peak: 31000, threads: 3, files: 4 };
  checkFlat(first, { ...first, rss: 30000 + tolerance, peak: 31000 + tolerance }, 'at the limit');
  const [rss, peak] = [30001 + tolerance, 31001 + tolerance];
  for (const more of [{ rss }, { peak }, { threads: 4 }, { files: 5 }]) {
    assert.throws(() => checkFlat(first, { ...first, ...more }, 'beyond'));
  }
});
