// SPDX-License-Identifier: MIT
// The language of the conversations: a file with a fault in it is refused with its name and line,
// and each step can fail.

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';

import { builds, parseTalk, playTalk } from './talk.mjs';

describe('the language of conversations', () => {
  const faults = [
    ['no name', 'send uci', 1],
    ['no step', '# name\n# nothing else', 2],
    ['an unknown step', '# name\nsend uci\nexpct uciok', 3],
    ['an unknown build', '# name\nbuilds bare release\nsend uci', 2],
    ['a header behind a step', '# name\nsend uci\nslack 2', 3],
    ['an unknown escape', '# name\nsend a\\q', 2],
    ['an unknown variable', '# name\nsend {depth}', 2],
    ['an unknown piece', '# name\nsend {bishops 3}', 2],
    ['a piece without its number', '# name\nsend {knights x}', 2],
    ['a pattern that is none', '# name\nsend uci\n\nexpect /(/', 4],
    ['an unknown flag', '# name\nsend go\nbestmove loud', 3],
    ['a pause without a unit', '# name\npause 5', 2],
    ['a loop without an end', '# name\nrepeat 3\nsend uci\nrepeat 2\nsend uci\ndone', 2],
    ['an end without a loop', '# name\nsend uci\ndone', 3],
    ['an empty loop', '# name\nrepeat 3\ndone', 3],
    ['a note for an unknown build', '# name\nrepeat 3 (debug 1)\nsend uci\ndone', 2],
  ];
  for (const [what, source, line] of faults) {
    test(`${what} is refused with its line`, () => {
      assert.throws(() => parseTalk('a.talk', `${source}\n`), {
        message: new RegExp(`^a\\.talk:${line}: .`),
      });
    });
  }

  test('a slower build can have fewer rounds', () => {
    const rounds = (note) =>
      builds.map((build) => {
        const { steps } = parseTalk('a.talk', `# name\nrepeat 9 ${note}\nsend uci\ndone\n`, build);
        return steps[0].rounds.length;
      });
    assert.deepEqual(rounds(''), [9, 9, 9]);
    assert.deepEqual(rounds('(san 4)'), [9, 4, 4]);
    assert.deepEqual(rounds('(asan 4) (tsan 2)'), [9, 4, 2]);
  });

  // What each step must not let pass, told to the real engine.
  const failures = [
    ['expect', 'send isready\nexpect 200ms uciok', 3],
    ['next', 'send uci\nnext uciok', 3],
    ['bestmove without a go', 'send isready\nbestmove 200ms', 3],
    ['bestmove with another move', 'send go depth 1\nbestmove a1a1', 3],
    ['bestmove info', 'send go depth 1\nbestmove info', 3],
    ['bestmove silent', 'send go depth 11\nbestmove silent', 3],
    ['board', 'send position startpos moves e2e4\nboard 8/8/8/8/8/8/8/8', 3],
    ['forbid', 'forbid readyok\nsend isready\nsend uci\nexpect uciok', 5],
    ['count', 'send isready\nnext readyok\ncount readyok 2', 4],
    ['exit with another status', 'send quit\nexit 1', 3],
    ['an answer that nobody reads', 'send isready\nsend quit\nexit 0', 4],
    ['an answer that nobody reads, at the end', 'send isready', 'end'],
    ['a step in a loop', 'repeat 2\neach n 1 | 2\nsend isready\nnext readyok{n}\ndone\ndone', 5],
  ];
  for (const [what, steps, line] of failures) {
    test(`${what} fails with its line`, async () => {
      const talk = parseTalk('a.talk', `# name\n${steps}\n`);
      await assert.rejects(playTalk(talk), { message: new RegExp(`^a\\.talk:${line}: `) });
    });
  }
});
