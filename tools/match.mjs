// SPDX-License-Identifier: MIT
//
// A match between two engines, each opening played with both colours, refereed by the rules of
// chess. Prints a line a game and the score with its Elo difference and 95 % error.
//
// Usage: node tools/match.mjs ENGINE OPPONENT [games, default 100] [base ms] [increment ms]
// Needs the test packages: (cd tests/console && npm ci).

import { Engine } from '../tests/console/engine.mjs';
import { playGame, Player } from '../tests/console/match.mjs';

const openings = `
e2e4 e7e5 g1f3 b8c6 f1b5 a7a6 b5a4 g8f6
e2e4 e7e5 g1f3 b8c6 f1c4 f8c5 c2c3 g8f6
e2e4 e7e5 g1f3 b8c6 d2d4 e5d4 f3d4 g8f6
e2e4 e7e5 g1f3 g8f6 f3e5 d7d6 e5f3 f6e4
e2e4 e7e5 f2f4 e5f4 g1f3 g7g5
e2e4 e7e5 b1c3 g8f6 f2f4 d7d5
e2e4 c7c5 g1f3 d7d6 d2d4 c5d4 f3d4 g8f6 b1c3 a7a6
e2e4 c7c5 g1f3 b8c6 d2d4 c5d4 f3d4 g7g6
e2e4 c7c5 g1f3 e7e6 d2d4 c5d4 f3d4 a7a6
e2e4 c7c5 g1f3 d7d6 d2d4 c5d4 f3d4 g8f6 b1c3 g7g6
e2e4 c7c5 b1c3 b8c6 g2g3 g7g6
e2e4 c7c5 c2c3 d7d5 e4d5 d8d5
e2e4 e7e6 d2d4 d7d5 b1c3 f8b4
e2e4 e7e6 d2d4 d7d5 b1d2 g8f6
e2e4 e7e6 d2d4 d7d5 e4e5 c7c5
e2e4 c7c6 d2d4 d7d5 b1c3 d5e4 c3e4 c8f5
e2e4 c7c6 d2d4 d7d5 e4e5 c8f5
e2e4 c7c6 d2d4 d7d5 e4d5 c6d5 c2c4 g8f6
e2e4 d7d5 e4d5 d8d5 b1c3 d5a5
e2e4 d7d6 d2d4 g8f6 b1c3 g7g6
e2e4 g7g6 d2d4 f8g7 b1c3 d7d6
e2e4 g8f6 e4e5 f6d5 d2d4 d7d6
d2d4 d7d5 c2c4 e7e6 b1c3 g8f6 c1g5 f8e7
d2d4 d7d5 c2c4 c7c6 g1f3 g8f6 b1c3 d5c4
d2d4 d7d5 c2c4 c7c6 g1f3 g8f6 b1c3 e7e6
d2d4 d7d5 c2c4 d5c4 g1f3 g8f6
d2d4 d7d5 c2c4 e7e5 d4e5 d5d4
d2d4 d7d5 c2c4 e7e6 b1c3 c7c5 c4d5 e6d5
d2d4 d7d5 g1f3 g8f6 c1f4 e7e6
d2d4 g8f6 c2c4 g7g6 b1c3 f8g7 e2e4 d7d6
d2d4 g8f6 c2c4 g7g6 b1c3 d7d5 c4d5 f6d5
d2d4 g8f6 c2c4 e7e6 b1c3 f8b4 e2e3 e8g8
d2d4 g8f6 c2c4 e7e6 b1c3 f8b4 d1c2 d7d5
d2d4 g8f6 c2c4 e7e6 g1f3 b7b6 g2g3 c8b7
d2d4 g8f6 c2c4 e7e6 g2g3 d7d5 f1g2 d5c4
d2d4 g8f6 c2c4 c7c5 d4d5 e7e6 b1c3 e6d5
d2d4 g8f6 c2c4 c7c5 d4d5 b7b5 c4b5 a7a6
d2d4 g8f6 c2c4 e7e5 d4e5 f6g4
d2d4 f7f5 g2g3 g8f6 f1g2 g7g6
d2d4 f7f5 c2c4 g8f6 g2g3 e7e6
d2d4 d7d6 e2e4 g8f6 b1c3 e7e5
d2d4 g8f6 c1g5 e7e6 e2e4 h7h6
c2c4 e7e5 b1c3 g8f6 g1f3 b8c6
c2c4 c7c5 g1f3 g8f6 b1c3 d7d5
c2c4 g8f6 b1c3 e7e6 e2e4 d7d5
g1f3 d7d5 g2g3 g8f6 f1g2 e7e6
g1f3 d7d5 c2c4 d5d4 g2g3 b8c6
g1f3 g8f6 c2c4 b7b6 g2g3 c8b7
b2b3 e7e5 c1b2 b8c6 e2e3 d7d5
f2f4 d7d5 g1f3 g8f6 e2e3 g7g6
`.trim().split('\n').map((line) => line.split(' '));

const [first, second, games = '100', base = '1000', increment = '10'] = process.argv.slice(2);
if (!second) {
  console.error('usage: node tools/match.mjs ENGINE OPPONENT [games] [base ms] [increment ms]');
  process.exit(2);
}

/** The Elo difference that an expected score stands for. */
const elo = (score) => -400 * Math.log10(1 / Math.min(Math.max(score, 0.001), 0.999) - 1);

const players = [first, second].map((file, i) => {
  const engine = new Engine({ file });
  engine.send('setoption name Hash value 16');
  return new Player(engine, { name: i ? 'opponent' : 'engine', trusted: true });
});
const points = [];
for (let game = 0; game < Number(games); game++) {
  for (const { engine } of players) engine.send('ucinewgame');
  const engineIsWhite = game % 2 === 0;
  const { result, plies } = await playGame(engineIsWhite ? players : [...players].reverse(), {
    base: Number(base),
    increment: Number(increment),
    maxPlies: 400,
    opening: openings[Math.floor(game / 2) % openings.length],
  });
  const whiteWon = plies % 2 === 1;
  points.push(result !== 'mate' ? 0.5 : Number(whiteWon === engineIsWhite));
  console.log(`game ${game + 1}: ${points.at(-1)} (${result}, ${plies} plies)`);
}

const mean = points.reduce((a, b) => a + b, 0) / points.length;
const variance = points.reduce((sum, x) => sum + (x - mean) ** 2, 0) / points.length;
const error = 1.96 * Math.sqrt(variance / points.length);
const count = (value) => points.filter((x) => x === value).length;
console.log(
  `${count(1)} wins, ${count(0.5)} draws, ${count(0)} losses of ${points.length}: ` +
    `${(100 * mean).toFixed(1)} %, Elo ${elo(mean).toFixed(0)} ` +
    `(${elo(mean - error).toFixed(0)} to ${elo(mean + error).toFixed(0)})`,
);
for (const { engine } of players) engine.kill();
