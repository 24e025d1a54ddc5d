// SPDX-License-Identifier: MIT
//
// A report of a game: how accurately each side played, which moves gave something away and what
// would have been better. The formulas are those that lichess publishes; docs/analysis.md states
// them. This needs neither Node nor a page.

import {
  Chess, endOf, mateWinner, moveNumber, numbered, sanLine, scoreText, winPercent,
} from './chess.mjs';
import { readGame } from './game-tree.mjs';
import { openingOf } from './openings.mjs';

/** What an engine has found in a position of the main line.
 *  @typedef {object} Result
 *  @property {?Score} score
 *  @property {string[]} [line] the best moves, as the engine protocol or as people write them
 *
 *  @typedef {{cp: number} | {mate: number, winner?: 'w' | 'b'}} Score White's, perhaps with its
 *      `depth`; a mate on the board is 0 and has its `winner`
 *
 *  @typedef {object} ReportMove
 *  @property {number} ply from 1; `report.scores[ply]` is the position's after the move
 *  @property {'w' | 'b'} side
 *  @property {string} name "12... Rd8"
 *  @property {string} san
 *  @property {string} before FEN
 *  @property {string} after FEN
 *  @property {?number} loss points of win %, 0 when nothing is lost; null without two scores, as
 *      are `accuracy` and `cpLoss`
 *  @property {?number} accuracy 0 to 100
 *  @property {?number} cpLoss centipawns
 *  @property {?Mark} mark
 *  @property {string[]} better the engine's line in standard notation, of a move with a mark
 *  @property {string[]} reply the engine's line after it, of a move with a mark
 *  @property {boolean} isForced whether it was the only legal move
 *  @property {?number} elapsed milliseconds
 *  @property {?string} reason what a blunder costs, in a sentence, once `addReasons` has found it
 *
 *  @typedef {object} Side
 *  @property {?number} accuracy null without a scored move, as is `acpl`
 *  @property {?number} acpl average centipawn loss
 *  @property {number} moves
 *  @property {number} inaccuracies
 *  @property {number} mistakes
 *  @property {number} blunders
 *
 *  @typedef {object} Report
 *  @property {string} result "1-0", ...
 *  @property {?{name: string, ply: number}} opening
 *  @property {(?Score)[]} scores by position; before a forced move and one of the engine's own,
 *      that of the position after it
 *  @property {ReportMove[]} moves
 *  @property {{w: Side, b: Side}} sides
 *  @property {number[]} turningPoints plies of moves
 *  @property {{name: string, from: number, to: number, w: PhaseSide, b: PhaseSide}[]} phases those
 *      that have moves; plies of the first and the last move
 *  @typedef {{moves: number, acpl: ?number, time: ?number}} PhaseSide time in milliseconds */

/** Marks of moves, by the points of win % from which a move gets them; the worst first.
 *  @typedef {{name: string, plural: string, from: number, text: string, nag: number}} Mark */
export const marks = [
  { name: 'blunder', plural: 'blunders', from: 15, text: '??', nag: 4 },
  { name: 'mistake', plural: 'mistakes', from: 10, text: '?', nag: 2 },
  { name: 'inaccuracy', plural: 'inaccuracies', from: 5, text: '?!', nag: 6 },
];
/** Centipawns that a score counts for at most, and that a mate counts for. */
const mostCentipawns = 1000;
/** Win % from which a side is winning, 100 less it from which it is losing. */
const winning = 70;
/** Moves of a better line that are shown. */
const shownMoves = 8;

/** The accuracy of a move, 0 to 100.
 *  @param {number} loss points of win %, not negative */
export function moveAccuracy(loss) {
  const accuracy = 103.1668 * Math.exp(-0.04354 * loss) - 3.1669;
  return Math.min(100, Math.max(0, accuracy));
}

/** @param {number} loss points of win %
 *  @returns {?Mark} */
export const markOf = (loss) => marks.find(({ from }) => loss >= from) ?? null;

/** White's centipawns, at most ten pawns for either side. */
function centipawns(score) {
  const winner = mateWinner(score);
  const cp = winner ? (winner === 'w' ? Infinity : -Infinity) : score.cp;
  return Math.min(mostCentipawns, Math.max(-mostCentipawns, cp));
}

const mean = (numbers) => numbers.reduce((sum, each) => sum + each, 0) / numbers.length;
const average = (numbers) => (numbers.length ? mean(numbers) : null);

function standardDeviation(numbers) {
  const middle = mean(numbers);
  return Math.sqrt(mean(numbers.map((each) => (each - middle) ** 2)));
}

/** The accuracy of a side: the average of the mean of its moves, weighted by how much the win %
 *  changed around each, and their harmonic mean.
 *  @param {number[]} wins White's win % by position
 *  @param {{ply: number, accuracy: number}[]} moves of the side
 *  @returns {?number} 0 to 100, null without moves */
function sideAccuracy(wins, moves) {
  if (!moves.length) return null;
  const count = wins.length - 1;
  const size = Math.min(8, Math.max(2, Math.floor(count / 10)));
  const weights = moves.map(({ ply }) => {
    // The window ends after the move; the first moves share the first one.
    const end = Math.max(ply, Math.min(size - 1, count));
    const window = wins.slice(Math.max(0, end - size + 1), end + 1);
    return Math.min(12, Math.max(0.5, standardDeviation(window)));
  });
  const total = weights.reduce((sum, each) => sum + each, 0);
  const weighted = moves.reduce((sum, { accuracy }, i) => sum + weights[i] * accuracy, 0) / total;
  const harmonic = 1 / mean(moves.map(({ accuracy }) => 1 / Math.max(1, accuracy)));
  return (weighted + harmonic) / 2;
}

/** The score before a move, out of that after it. */
function scoreBefore(score, side) {
  const winner = mateWinner(score);
  if (!winner) return { ...score };
  // A mate is counted in the winner's moves.
  const moves = Math.abs(score.mate) + (winner === side ? 1 : 0);
  const { winner: _, ...rest } = score;
  return { ...rest, mate: winner === 'w' ? moves : -moves };
}

/** Milliseconds that the moves took, as far as the clocks show them.
 *  @param {import('./game-tree.mjs').Node[]} line
 *  @param {?string} control the tag TimeControl, "180+2" */
function elapsedTimes(line, control) {
  const [, base, increment = 0] = control?.match(/^(\d+)(?:\+(\d+))?$/) ?? [];
  return line.map(({ clock, elapsed }, i) => {
    if (elapsed !== null || clock === null) return elapsed;
    // There is no increment for the first move.
    if (i < 2) return base === undefined ? null : Math.max(0, base * 1000 - clock);
    const before = line[i - 2].clock;
    if (before === null) return null;
    const time = before + increment * 1000 - clock;
    // If the clock gained more than that, time was added in another way.
    return time < -1000 ? null : Math.max(0, time);
  });
}

/** The phase of a position: an endgame has at most six pieces besides kings and pawns, a
 *  middlegame at most ten, or fewer than four pieces of a side on its first rank. */
function phaseOf(fen) {
  const [placement] = fen.split(' ');
  const pieces = placement.match(/[nbrq]/gi)?.length ?? 0;
  if (pieces <= 6) return 'endgame';
  const ranks = placement.split('/');
  const isDeveloped =
    ranks[0].match(/[a-z]/g)?.length >= 4 && ranks[7].match(/[A-Z]/g)?.length >= 4;
  return pieces > 10 && isDeveloped ? 'opening' : 'middlegame';
}

const phaseNames = ['opening', 'middlegame', 'endgame'];

function phasesOf(moves) {
  // The game never returns to an earlier phase.
  let phase = 0;
  const byPhase = phaseNames.map((name) => ({ name, moves: [] }));
  for (const move of moves) {
    phase = Math.max(phase, phaseNames.indexOf(phaseOf(move.before)));
    byPhase[phase].moves.push(move);
  }
  const sideOf = (list, side) => {
    const own = list.filter((move) => move.side === side);
    const times = own.map(({ elapsed }) => elapsed).filter((each) => each !== null);
    const losses = own.map(({ cpLoss }) => cpLoss).filter((each) => each !== null);
    const time = times.length ? times.reduce((sum, each) => sum + each, 0) : null;
    return { moves: own.length, acpl: average(losses), time };
  };
  return byPhase
    .filter((each) => each.moves.length)
    .map(({ name, moves: own }) => ({
      name,
      from: own[0].ply,
      to: own.at(-1).ply,
      w: sideOf(own, 'w'),
      b: sideOf(own, 'b'),
    }));
}

/** Reports on the main line of a game.
 *  @param {import('./game-tree.mjs').GameTree} tree
 *  @param {(?Result)[]} results by position, the beginning first; what is missing isn't reported on
 *  @returns {Report} plain data */
export function makeReport(tree, results) {
  const line = tree.lineFrom();
  const nodes = [tree.root, ...line];
  const scores = nodes.map((_, i) => results[i]?.score ?? null);
  const last = nodes.at(-1);
  const end = endOf(tree.chessAt(last));
  if (end === 'checkmate') {
    scores[line.length] = { mate: 0, winner: last.fen.split(' ')[1] === 'w' ? 'b' : 'w' };
  } else if (end) scores[line.length] = { cp: 0 };
  const times = elapsedTimes(line, tree.tags.TimeControl);
  const forced = line.map(({ parent }) => new Chess(parent.fen).moves().length === 1);
  const bestLine = (i, count) => sanLine(nodes[i].fen, results[i]?.line?.slice(0, count) ?? []);
  // A forced move, or the engine's own choice, gets the score of the position after it: that was
  // searched deeper, and such a move is never a mistake.
  for (let i = line.length - 1; i >= 0; i--) {
    const { san, parent } = line[i];
    if (!scores[i + 1] || !(forced[i] || bestLine(i, 1)[0] === san)) continue;
    scores[i] = scoreBefore(scores[i + 1], parent.fen.split(' ')[1]);
  }
  const moves = line.map(({ san, fen, parent }, i) => {
    const side = parent.fen.split(' ')[1];
    const sign = side === 'w' ? 1 : -1;
    const [before, after] = [scores[i], scores[i + 1]];
    const isScored = before !== null && after !== null;
    const lossBy = (worth) =>
      isScored ? Math.max(0, sign * (worth(before) - worth(after))) : null;
    const loss = lossBy(winPercent);
    const mark = isScored ? markOf(loss) : null;
    return {
      ply: i + 1,
      side,
      name: `${moveNumber(parent.fen)} ${san}`,
      san,
      before: parent.fen,
      after: fen,
      loss,
      accuracy: isScored ? moveAccuracy(loss) : null,
      cpLoss: lossBy(centipawns),
      mark,
      better: mark ? bestLine(i) : [],
      reply: mark ? bestLine(i + 1) : [],
      isForced: forced[i],
      elapsed: times[i],
      reason: null,
    };
  });

  // A missing score counts as equal to the one before it.
  const wins = [];
  for (const score of scores) wins.push(score ? winPercent(score) : (wins.at(-1) ?? 50));
  const sideOf = (side) => {
    const own = moves.filter((move) => move.side === side);
    const scored = own.filter(({ loss }) => loss !== null);
    const counts = marks.map(({ name, plural }) => [
      plural,
      own.filter(({ mark }) => mark?.name === name).length,
    ]);
    return {
      accuracy: sideAccuracy(wins, scored),
      acpl: average(scored.map(({ cpLoss }) => cpLoss)),
      moves: own.length,
      ...Object.fromEntries(counts),
    };
  };
  return {
    result: tree.result,
    opening: openingOf(nodes.map(({ fen }) => fen)),
    scores,
    moves,
    sides: { w: sideOf('w'), b: sideOf('b') },
    turningPoints: turningPoints(moves, wins),
    phases: phasesOf(moves),
  };
}

/** The mistakes and blunders that took the game from winning, even or losing to another of these;
 *  of many, the five largest. */
function turningPoints(moves, wins) {
  const zone = (win) => (win >= winning ? 1 : win <= 100 - winning ? -1 : 0);
  return moves
    .filter(({ ply, loss }) => loss >= marks[1].from && zone(wins[ply - 1]) !== zone(wins[ply]))
    .sort((a, b) => b.loss - a.loss)
    .slice(0, 5)
    .map(({ ply }) => ply)
    .sort((a, b) => a - b);
}

/** Where a line ends. */
function endOfLine(fen, line) {
  const chess = new Chess(fen);
  for (const san of line) chess.move(san);
  return chess.fen();
}

const sideNames = { w: 'White', b: 'Black' };
const pieces = {
  q: ['queen', 9],
  r: ['rook', 5],
  b: ['bishop', 3],
  n: ['knight', 3],
  p: ['pawn', 1],
};
const counts = ['', 'a', 'two', 'three', 'four', 'five', 'six', 'seven', 'eight'];

/** "White loses a rook for two pawns" if that explains most of a loss; null otherwise. */
function materialLost({ side, cpLoss }, from, to) {
  const [own, others] = side === 'w' ? [/[QRBNP]/, /[qrbnp]/] : [/[qrbnp]/, /[QRBNP]/];
  const balance = (fen, piece) => {
    const [placement] = fen.split(' ');
    const letters = [...placement].filter((letter) => letter.toLowerCase() === piece);
    const count = (pattern) => letters.filter((letter) => pattern.test(letter)).length;
    return count(own) - count(others);
  };
  const changes = Object.entries(pieces).map(([piece, [name, value]]) => {
    return { name, value, count: balance(to, piece) - balance(from, piece) };
  });
  const lost = -100 * changes.reduce((sum, { count, value }) => sum + count * value, 0);
  // A line may end in the middle of an exchange.
  if (cpLoss < 0.4 * lost || lost < 0.4 * cpLoss) return null;
  const list = (sign) =>
    changes
      .filter(({ count }) => Math.sign(count) === sign)
      .map(({ name, count }) => {
        const number = Math.abs(count);
        return `${counts[number] ?? number} ${name}${number > 1 ? 's' : ''}`;
      })
      .join(' and ');
  const won = list(1);
  return `${sideNames[side]} loses ${list(-1)}${won && ` for ${won}`}`;
}

/** "the pawn on c6 is passed, which costs Black 1.4 pawns": the term of the evaluation that hurts
 *  a side most; null if that explains little of the loss. */
function termLost({ side, cpLoss }, { terms, after }) {
  const colours = { w: 'white', b: 'black' };
  let worst = { harm: 0 };
  for (const { name, group, ...term } of terms) {
    if (name === 'material' || group === 'tempo') continue;
    for (const [key, colour] of Object.entries(colours)) {
      const harm = (key === side ? -1 : 1) * (term[colour]?.cp ?? 0);
      if (harm > worst.harm) worst = { harm, name, key, colour };
    }
  }
  const { harm, name, key, colour } = worst;
  if (harm < 20 || harm < 0.25 * cpLoss) return null;
  const cost = `${(harm / 100).toFixed(1)} pawns`;
  // The square that contributes most.
  const sign = key === side ? -1 : 1;
  const squares = after.terms.find((term) => term.name === name)?.[colour].squares ?? [];
  const [square] = [...squares].sort((a, b) => sign * (b.cp - a.cp));
  if (!square || sign * square.cp < harm / 2) {
    return `${sideNames[key]} has ${cost} ${key === side ? 'less' : 'more'} for ${name}`;
  }
  const fact = square.text[0].toLowerCase() + square.text.slice(1);
  const isFact = !/^the \w+ of the /.test(fact);
  return `${fact}${isFact ? ', which' : ''} costs ${sideNames[side]} ${cost}`;
}

/** Says what each blunder costs: a mate, pieces, or the term of the evaluation that explains most;
 *  otherwise names the reply. It compares the end of the engine's line after the move with the end
 *  of its better line.
 *  @param {Report} report gets the `reason` of its moves
 *  @param {(before: string, after: string) => object | Promise<object>} [compare] two FENs, as
 *      "quillon_explain --json" does; without it, terms are left out
 *  @returns {Promise<Report>} the same */
export async function addReasons(report, compare = null) {
  for (const move of report.moves) {
    if (move.mark?.name !== 'blunder') continue;
    const { side, name, before, after, better, reply, ply } = move;
    const [old, now] = [report.scores[ply - 1], report.scores[ply]];
    const opponent = side === 'w' ? 'b' : 'w';
    let fact = null;
    if (mateWinner(now) === opponent)
      fact = `${sideNames[opponent]} mates in ${Math.abs(now.mate)}`;
    else if (mateWinner(old) === side) fact = `the mate in ${Math.abs(old.mate)} is gone`;
    else if (better.length && reply.length) {
      const ends = [endOfLine(before, better), endOfLine(after, reply)];
      fact = materialLost(move, ...ends);
      if (!fact && compare) {
        const comparison = await compare(...ends);
        if (comparison?.terms) fact = termLost(move, comparison);
      }
    }
    if (!fact && reply.length) fact = `${sideNames[opponent]} has ${numbered(after, [reply[0]])}`;
    if (fact) move.reason = `After ${name} ${fact}.`;
  }
  return report;
}

/** A better line with its numbers: "18. Re1 Nc6 19. Qd2"; "" for none. */
export const betterText = ({ before, better }) =>
  better.length ? numbered(before, better.slice(0, shownMoves)) : '';

/** A sentence on a move with a mark: "Blunder: +1.11 to -6.20; better 18. Re1."
 *  @param {ReportMove} move
 *  @param {Report} report */
export function markText({ mark, ply, before, better, reason }, { scores }) {
  const name = mark.name[0].toUpperCase() + mark.name.slice(1);
  const change = `${scoreText(scores[ply - 1])} to ${scoreText(scores[ply])}`;
  const advice = better.length ? `; better ${numbered(before, better.slice(0, 1))}` : '';
  return `${name}: ${change}${advice}.${reason ? ` ${reason}` : ''}`;
}

/** The moves of a game that lost most: "18. Bd6?? (+1.11 -> -6.20; better 18. Re1)".
 *  @param {Report} report
 *  @param {number} [count] the most moves to return
 *  @returns {{index: number, loss: number, mark: string, text: string}[]} in the order of the game;
 *      `index` is that of the position before the move */
export function swingsOf({ moves, scores }, count = 6) {
  return moves
    .filter(({ mark }) => mark)
    .sort((a, b) => b.loss - a.loss)
    .slice(0, count)
    .sort((a, b) => a.ply - b.ply)
    .map(({ ply, name, loss, mark, before, better }) => {
      const advice = better.length ? `; better ${numbered(before, better.slice(0, 1))}` : '';
      const change = `${scoreText(scores[ply - 1])} -> ${scoreText(scores[ply])}${advice}`;
      return { index: ply - 1, loss, mark: mark.text, text: `${name}${mark.text} (${change})` };
    });
}

/** The game with the report in it: scores, marks, sentences, and better lines as variations.
 *  @param {import('./game-tree.mjs').GameTree} tree is left as it is
 *  @param {Report} report of it
 *  @param {string} [annotator] who made the report
 *  @returns {string} PGN */
export function annotatedPgn(tree, report, annotator) {
  const copy = readGame(tree.toPgn());
  if (annotator) copy.tags.Annotator = annotator;
  if (report.opening && !copy.tags.Opening) copy.tags.Opening = report.opening.name;
  const line = copy.lineFrom();
  for (const [i, node] of [copy.root, ...line].entries()) {
    const score = report.scores[i];
    if (score && !score.winner) node.score = score;
  }
  for (const move of report.moves) {
    if (!move.mark) continue;
    const node = line[move.ply - 1];
    const { nag } = move.mark;
    if (!node.nags.includes(nag)) copy.toggleNag(node, nag);
    const text = markText(move, report);
    if (!node.comment.includes(text)) node.comment = `${node.comment} ${text}`.trim();
    copy.playLine(node.parent, move.better.slice(0, shownMoves));
  }
  return copy.toPgn();
}

const number = (value) => (value === null ? '-' : value.toFixed(1));

/** "1:02:03", "2:03". */
export function timeText(milliseconds) {
  const seconds = Math.round(milliseconds / 1000);
  const pad = (each) => String(each).padStart(2, '0');
  const minutes = Math.floor(seconds / 60);
  const rest = pad(seconds % 60);
  return minutes < 60
    ? `${minutes}:${rest}`
    : `${Math.floor(minutes / 60)}:${pad(minutes % 60)}:${rest}`;
}

/** The figures of a report, for a table: a name, White's and Black's.
 *  @param {Report} report
 *  @returns {[string, string, string][]} */
export function reportRows({ sides: { w, b }, phases }) {
  const rows = [
    [
      'accuracy',
      ...[w, b].map(({ accuracy }) => (accuracy === null ? '-' : `${number(accuracy)} %`)),
    ],
    ['average centipawn loss', ...[w, b].map(({ acpl }) => number(acpl))],
    ...[...marks].reverse().map(({ plural }) => [plural, String(w[plural]), String(b[plural])]),
  ];
  for (const { name, w: white, b: black } of phases) {
    if (white.time === null && black.time === null) continue;
    const time = ({ time: each }) => (each === null ? '-' : timeText(each));
    rows.push([`time in the ${name}`, time(white), time(black)]);
  }
  return rows;
}

/** A report as text for a terminal.
 *  @param {Report} report
 *  @returns {string} lines */
export function formatReport(report) {
  const lines = [];
  if (report.opening) lines.push(`Opening: ${report.opening.name}`, '');
  const rows = [['', 'White', 'Black'], ...reportRows(report)];
  const width = Math.max(...rows.map(([name]) => name.length));
  for (const [name, white, black] of rows) {
    lines.push(`${name.padEnd(width)}  ${white.padStart(8)}  ${black.padStart(8)}`.trimEnd());
  }
  const marked = report.moves.filter(({ mark }) => mark);
  if (marked.length) lines.push('');
  for (const move of marked) {
    const isTurning = report.turningPoints.includes(move.ply);
    lines.push(`${isTurning ? '*' : ' '} ${move.name}${move.mark.text} ${markText(move, report)}`);
    const better = betterText(move);
    if (better) lines.push(`    ${better}`);
  }
  if (report.turningPoints.length) lines.push('', '* turning point');
  return `${lines.join('\n')}\n`;
}
