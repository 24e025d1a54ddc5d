// SPDX-License-Identifier: MIT
// Matches: Elo differences, sequential tests, results and faults; an interrupted gauntlet resumes.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import test from 'node:test';
import { evaluateMatch, sprt } from '../../tools/lib/elo.mjs';
import { randomNumbers } from '../../tools/lib/random.mjs';
import { checkUse, fake, file, linesOf, read, run } from './support.mjs';

const fakeNamed = (name, ...manner) => `${fake(...manner)},name=${name}`;

// The side to move mates at once, so White wins.
const mateInOne = file('mate.epd', '6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - id "back rank";\n');
const start = file('start.epd', 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -\n');
// No mating material.
const bare = file('bare.epd', '8/8/4k3/8/8/3NK3/8/8 w - -\n');

/** Runs a gauntlet; row: the cells of the last row of its table.
 *  @param {?number} games null for the tool's default */
async function gauntlet(name, opponent, games, openings, ...more) {
  const pgn = file(`${name}.pgn`);
  const args = ['--engine', fakeNamed('mate'), '--opponent', opponent, '--pgn', pgn];
  const limits = ['--time', '1+0', '--openings', openings];
  if (games) limits.push('--games', String(games));
  const result = await run('gauntlet', [...args, ...limits, ...more]);
  const rows = linesOf(result.out).filter((line) => line.startsWith('|'));
  const row = rows.at(-1).split('|').map((cell) => cell.trim());
  return { ...result, row, text: read(pgn) };
}

const near = (value, expected, tolerance) =>
  assert.ok(Math.abs(value - expected) <= tolerance, `${value}, not ${expected}`);
const times = (count, pair) => Array.from({ length: count }, () => pair);

test('the error comes from pairs: mean 0.6875, standard error 0.11968 by hand', () => {
  const match = evaluateMatch([[1, 0.5], [0.5, 0.5], [0, 1], [1, 1]]);
  assert.deepEqual(match.pentanomial, [0, 0, 2, 1, 1]);
  assert.deepEqual([match.wins, match.draws, match.losses], [4, 3, 1]);
  assert.equal(match.score, 0.6875);
  near(match.low, -32.8, 0.1);
  near(match.high, 429.2, 0.1);
  // 0.1875 / 0.11968 = 1.5667, and a table of the normal distribution has 0.9414 for that.
  near(match.superiority, 0.9414, 1e-4);
});

test('without an upset, or without a difference between pairs, the limits are still finite', () => {
  // 50 pairs: 0.05^(1/50) = exp(-2.995732 / 50) = 0.941846, and 400 log10(0.941846 / 0.058154) is
  // 483.76. With 2 pairs it is the square root of 0.05, 0.223607, hence -216.24.
  for (const [count, limit] of [[50, 483.76], [2, -216.24]]) {
    const won = evaluateMatch(times(count, [1, 1]));
    assert.deepEqual([won.elo, won.high], [null, null]);
    near(won.low, limit, 0.01);
    const lost = evaluateMatch(times(count, [0, 0]));
    assert.deepEqual([lost.elo, lost.low], [null, null]);
    near(lost.high, -limit, 0.01);
    near(won.superiority, 1 - 0.5 ** (count + 1), 1e-12);
    near(lost.superiority, 0.5 ** (count + 1), 1e-12);
  }
  // In 3 pairs the opening decided every game. The cube root of 0.05 is 0.368403; half of this is
  // 0.184202, the lower limit of the score.
  const even = evaluateMatch([[1, 0], [0, 1], [1, 0]]);
  near(even.low, -258.5, 0.1);
  near(even.high, 258.5, 0.1);
  assert.deepEqual([even.elo, even.superiority], [0, 0.5]);
  // 19 of 20 pairs won and a draw: variance 0.0125, standard error 0.025, 0.975 - 0.049 = 0.926,
  // 400 log10(0.926 / 0.074) = 438.95; 0.975 + 0.049 is no score.
  const { elo, low, high } = evaluateMatch([...times(19, [1, 1]), [0, 1]]);
  near(elo, 636.4, 0.1);
  near(low, 438.95, 0.01);
  assert.equal(high, null);
  const none = evaluateMatch([]);
  assert.deepEqual([none.elo, none.low, none.high, none.superiority], [0, null, null, 0.5]);
});

/** The test of two differences with 5 % for each error. */
const ratio = (pentanomial, model, elo0, elo1) =>
  sprt(pentanomial, { elo0, elo1, alpha: 0.05, beta: 0.05, model });

test('likelihood ratios are those computed by hand', () => {
  for (const [counts, model, elo1, expected] of [
    // Pairs won or lost, 60 and 40, are a coin. A score of 0.6 is 400 log10 1.5 = 70.437 Elo;
    // 60 ln(0.6 / 0.5) + 40 ln(0.4 / 0.5) = 2.0136.
    [[40, 0, 0, 0, 60], 'logistic', 70.437, 2.0136],
    // Its deviation with 0.6 is sqrt(0.24), that of a game sqrt(0.48): 0.1 / sqrt(0.48) * 800 /
    // ln 10 = 50.148.
    [[40, 0, 0, 0, 60], 'normalized', 50.148, 2.0136],
    // With draws: 10, 15, 25. H0 makes wins and losses equally likely: 0.35, 0.3, 0.35. Under H1,
    // the score 0.75, the probability x of a loss gives 0.5 - 2x draws and x + 0.5 wins; then
    // 10 / x - 30 / (0.5 - 2x) + 25 / (x + 0.5) = 0 has the root 1/8. So the ratio is
    // 10 ln(0.125 / 0.35) + 15 ln(0.25 / 0.3) + 25 ln(0.625 / 0.35) = 1.4645.
    [[10, 0, 15, 0, 25], 'logistic', 190.849, 1.4645],
    // 2 lost, 34 drawn, 10 won; H0: 6/46, 34/46, 6/46. Let w be the probability of no draw, d half
    // the difference of wins and losses: the variance is w / 4 - d^2. Where the mean is t
    // deviations, d = k sqrt(w) / 2 with k = t / sqrt(1 + t^2). With r = sqrt(w), the likelihood
    // r^12 (r - k)^2 (r + k)^10 (1 - r^2)^34 has for k = 1/4 its maximum at r = 1/2:
    // 24 + 8 + 40/3 - 136/3 = 0. That is 0.0625, 0.75, 0.1875, and the ratio is 2 ln 0.479167 +
    // 34 ln 1.014706 + 10 ln 1.4375 = 2.6540; t = 0.258199 is t / sqrt 2 * 800 / ln 10 = 63.433.
    [[2, 0, 34, 0, 10], 'normalized', 63.433, 2.654],
  ]) {
    near(ratio(counts, model, 0, elo1).llr, expected, 0.01);
    // From the other side's view, every difference changes its sign.
    near(ratio([...counts].reverse(), model, 0, -elo1).llr, expected, 0.01);
    near(ratio(counts, model, elo1, 0).llr, -expected, 0.01);
  }
  // Wald's limits: ln(0.95 / 0.05) = 2.944; with alpha 0.1 and beta 0.2, ln(0.2 / 0.9) = -1.504 and
  // ln(0.8 / 0.1) = 2.079.
  const { lower, upper, accepted } = ratio([60, 0, 0, 0, 90], 'logistic', 0, 70.437);
  near(lower, -2.944, 0.001);
  near(upper, 2.944, 0.001);
  assert.equal(accepted, 'H1'); // 1.5 times 2.0136
  assert.equal(ratio([60, 0, 0, 0, 90], 'logistic', 70.437, 0).accepted, 'H0');
  assert.equal(ratio([40, 0, 0, 0, 60], 'logistic', 0, 70.437).accepted, null);
  const loose = { elo0: 0, elo1: 70.437, alpha: 0.1, beta: 0.2, model: 'logistic' };
  const looser = sprt([40, 0, 0, 0, 60], loose);
  near(looser.lower, -1.504, 0.001);
  near(looser.upper, 2.079, 0.001);
});

test('in 10,000 simulated matches each error is about as frequent as stated', () => {
  const random = randomNumbers(1);
  // The pairs' variance around the score 0.5 is 0.05. Half of the shift is the mean's.
  for (const { model, elo1, each, shift } of [
    { model: 'logistic', elo1: 60, each: 2, shift: 2 / (1 + 10 ** (-60 / 400)) - 1 },
    // The mean m is t deviations: m^2 = t^2 (0.05 - m^2); t = sqrt 2 * 100 ln 10 / 800 = 0.40704.
    { model: 'normalized', elo1: 100, each: 4, shift: 2 * Math.sqrt(0.05 / (1 + 0.40704 ** -2)) },
  ]) {
    for (const [wrong, truth] of [['H1', 0], ['H0', shift]]) {
      const probabilities = [0.05, 0.2 - truth, 0.5, 0.2 + truth, 0.05];
      let errors = 0;
      for (let match = 0; match < 2500; match++) {
        const counts = [0, 0, 0, 0, 0];
        for (let accepted = null; !accepted; ) {
          for (let pair = 0; pair < each; pair++) {
            let place = 0;
            for (let x = random(); place < 4 && x >= probabilities[place]; place++) {
              x -= probabilities[place];
            }
            counts[place]++;
          }
          ({ accepted } = ratio(counts, model, 0, elo1));
          if (accepted === wrong) errors++;
        }
      }
      // Ratios overshoot their limits, so there are slightly fewer errors.
      near(errors / 2500, 0.04, 0.015);
    }
  }
});

test('a game without its partner counts for the score but not for the error', () => {
  const match = evaluateMatch([[1, 0], [0, 1], [1]]);
  assert.deepEqual([match.games, match.score], [5, 0.6]);
  assert.deepEqual(match.pentanomial, [0, 0, 2, 0, 0]);
});

test('White mates in the opening, so each engine wins once in a pair', async () => {
  const { status, row, text } = await gauntlet('mates', fakeNamed('mate two'), 2, mateInOne);
  assert.equal(status, 0);
  assert.deepEqual(row.slice(1, 7), ['mate two', '2', '1', '0', '1', '50.0 %']);
  assert.equal(row[9], '0, 0, 1, 0, 0');
  assert.match(text, /\[White "mate"\]\n\[Black "mate two"\]\n\[Result "1-0"\]/);
  assert.match(text, /\[White "mate two"\]\n\[Black "mate"\]\n\[Result "1-0"\]/);
  assert.match(text, /\[FEN "6k1\/5ppp\/8\/8\/8\/8\/5PPP\/R5K1 w - - 0 1"\]/);
  assert.match(text, /\[Termination "checkmate"\]/);
  assert.match(text, /1\. Ra8# \{\+0\.10\/12 0\.\d+s\} 1-0/);
});

// A score of 0.90909 (400 Elo) allows two draws in a pair with probability 0.18182 at most. So each
// pair adds ln(0.18182) = -1.705 to the ratio or takes that away.
for (const [verdict, range, llr] of [['H0', '0,400', '-3.41'], ['H1', '-400,0', '3.41']]) {
  test(`a match ends when ${verdict} is accepted, and a resumed one plays no more`, async () => {
    const more = [`--sprt=${range}`, '--model', 'logistic'];
    const play = () => gauntlet(verdict, fakeNamed('other'), null, bare, ...more);
    const { out, err } = await play();
    const [elo0, elo1] = range.split(',');
    const hypotheses = `other: H0 ${elo0} against H1 ${elo1}, logistic Elo`;
    const result = `LLR ${llr} (-2.94 to 2.94), pairs 0, 0, 2, 0, 0, ${verdict} accepted`;
    assert.equal(linesOf(out).at(-1), `${hypotheses}: ${result}`);
    // Half of the square root of 0.05 is 0.1118, -360 Elo.
    const [, , third, fourth] = linesOf(err);
    assert.match(third, /^other 3\/100000: 0\.5 .*; LLR -?1\.70 .*; at most [\d:]+ left$/);
    const line = 'other 4/100000: 0.5 (insufficient material, 0 half-moves); Elo +0 (-360 to +360)';
    assert.equal(fourth, `${line}; ${result}`);
    const again = await play();
    assert.deepEqual([again.out, again.err], [out, '']);
  });
}

for (const [fault, ending] of [
  ['illegal', 'illegal move'],
  ['dies', 'engine has ended'],
  ['late', 'time forfeit'],
  ['waits', 'engine does not answer'],
]) {
  test(`an opponent loses by its own fault, which is counted: ${ending}`, async () => {
    const play = () => gauntlet(fault, fakeNamed(fault, fault, 3), 2, start);
    const { status, out, row, text } = await play();
    assert.equal(status, 0);
    // One pair: 0.05 / 0.95 is 1/19.
    const summary = ['2', '2', '0', '0', '100.0 %', 'at least -512', '75.0 %', '0, 0, 0, 0, 1'];
    const faults = ['0', fault === 'late' ? '2 (2 on time)' : '2'];
    assert.deepEqual(row.slice(2, 12), [...summary, ...faults]);
    const terminations = [...text.matchAll(/\[Termination "(.*)"\]/g)].map((match) => match[1]);
    assert.deepEqual(terminations, [`${ending} (Black)`, `${ending} (White)`]);
    assert.match(text, /s\}\s2\. a4\s\{/);
    assert.ok(!/\}\S|.{101}/.test(text), text);
    assert.equal((await play()).out, out);
  });
}

test('a gauntlet resumes where its file of games ends, and plays no game twice', async () => {
  const first = await gauntlet('resumed', fakeNamed('other'), 2, bare);
  assert.deepEqual(first.row.slice(2, 6), ['2', '0', '2', '0']);
  file('resumed.pgn', first.text.slice(0, first.text.lastIndexOf('[Event ')));
  const { row, text } = await gauntlet('resumed', fakeNamed('other'), 4, bare);
  assert.deepEqual(row.slice(2, 6), ['4', '0', '4', '0']);
  const tags = text.match(/\[(Round|Termination) ".*"\]/g);
  const end = '[Termination "insufficient material"]';
  assert.deepEqual(tags, [1, 2, 3, 4].flatMap((round) => [`[Round "${round}"]`, end]));
});

test('wrong arguments and missing files get one line and a status', async () => {
  const opponent = ['--opponent', fakeNamed('other')];
  const pgn = ['--pgn', file('none.pgn')];
  const both = [...opponent, ...pgn];
  await checkUse([
    ['gauntlet', [], 2, /please name an opponent/],
    ['gauntlet', [...opponent], 2, /please name a file/],
    ['gauntlet', [...both, '--games', 'many'], 2, /--games takes a whole number/],
    ['gauntlet', [...both, '--games', '5'], 2, /even number, two for each opening; try 6/],
    ['gauntlet', [...both, '--time', '2'], 2, /--time takes seconds/],
    ...['5', '5,0', '5,5', 'x,y', '0,', '0,5,9', '0,401'].map((text) => {
      const message = RegExp(`two .*, the smaller one first, as in 0,5, not "${text}"`);
      return ['gauntlet', [...both, '--sprt', text], 2, message];
    }),
    ['gauntlet', [...both, '--sprt', '0,5', '--alpha', '0.5'], 2, /--alpha takes a probability/],
    ['gauntlet', [...both, '--sprt', '0,5', '--beta', 'no'], 2, /--beta takes .*, not "no"/],
    ['gauntlet', [...both, '--sprt', '0,5', '--model', 'elo'], 2, /--model takes .*, not "elo"/],
    ['gauntlet', [...both, '--beta', '0.1'], 2, /--beta needs --sprt, such as --sprt 0,5/],
    ['gauntlet', [...opponent, '--pgn', '/nowhere/games.pgn'], 1, /cannot write .*no such folder/],
    ['gauntlet', [...both, 'more'], 2, /what is "more"\?/],
    ['gauntlet', [...both, '--nonsense'], 2, /Unknown option '--nonsense'/],
    ['gauntlet', [...both, '--openings', '/nowhere.epd'], 1, / \/nowhere\.epd: no such file/],
    ['gauntlet', ['--opponent', '/nowhere/engine', ...pgn], 1, /cannot start \/nowhere\/engine/],
    ['gauntlet', ['--opponent', `${fakeNamed('other')},Book=x`, ...pgn], 1, /has no option Book/],
  ]);
  assert.ok(!fs.existsSync(file('none.pgn')));
});
