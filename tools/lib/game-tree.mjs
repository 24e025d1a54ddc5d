// SPDX-License-Identifier: MIT
//
// Games as trees: moves with variations, comments, annotation glyphs, clocks and scores; PGN in and
// out. This needs neither Node nor a page. It has its own PGN reader, because the libraries that
// were tried reject a whole file for a "0-0", an unescaped quote in a tag or a "%" line.

import { Chess, moveNumber, playMove, readFen, startFen } from './chess.mjs';

/** A position of a game, with the move that led to it.
 *  @typedef {object} Node
 *  @property {number} id unique in its game, 0 for the beginning
 *  @property {?Node} parent null at the beginning
 *  @property {Node[]} children what has been played from here; the first goes on, the others are
 *      variations
 *  @property {string} fen
 *  @property {?string} san the move, "--" for a null move; null at the beginning
 *  @property {?string} uci the same as the engine protocol writes it
 *  @property {string} before a comment before the move
 *  @property {string} comment after the move
 *  @property {number[]} nags annotation glyphs: 1 is "!", 2 is "?", ...
 *  @property {?number} clock milliseconds that the mover has left
 *  @property {?number} elapsed milliseconds that the move took
 *  @property {?Score} score of the position
 *  @property {Record<string, string>} commands others in comments, as "cal" of [%cal Gd2d4]
 *
 *  @typedef {{cp: number, depth?: number} | {mate: number, depth?: number}} Score White's, in
 *      centipawns or moves to mate
 *
 *  @typedef {object} Problem
 *  @property {number} line of the text, from 1
 *  @property {number} column from 1
 *  @property {string} message
 *  @property {boolean} endsGame whether the main line is not read further */

/** The tags that all games have, with their values for "unknown". */
const roster = {
  Event: '?',
  Site: '?',
  Date: '????.??.??',
  Round: '?',
  White: '?',
  Black: '?',
  Result: '*',
};
const results = ['1-0', '0-1', '1/2-1/2'];
/** At most so many problems of a game are listed. */
const mostProblems = 100;
/** Glyphs by their numbers; if several have the same number, the first is the usual one. */
const glyphs = new Map(
  Object.entries({ '!': 1, '?': 2, '!!': 3, '??': 4, '!?': 5, '?!': 6, '□': 7 }).concat(
    Object.entries({ '=': 10, '∞': 13, '⩲': 14, '⩱': 15, '±': 16, '∓': 17 }),
    Object.entries({ '+-': 18, '-+': 19, '+=': 14, '=+': 15, '+/-': 16, '-/+': 17 }),
  ),
);
const glyphOf = new Map([...glyphs].reverse().map(([text, nag]) => [nag, text]));
/** Groups of glyphs, of which a move has one each: the quality of the move, of the position. */
const groups = [
  [1, 2, 3, 4, 5, 6, 7],
  [10, 11, 12, 13, 14, 15, 16, 17, 18, 19],
];

/** A glyph as people read it: "!?", "$140". */
export const nagText = (nag) => glyphOf.get(nag) ?? `$${nag}`;

const lexer = new RegExp(
  [
    /^%.*$/, // escaped line
    // No comment goes beyond the first tag of the next game.
    /\{(?<comment>[^}]*?)(?<end>\}|(?=\n\[Event ")|$(?![\s\S]))/,
    /;(?<rest>.*)$/,
    /\[\s*(?<name>\w+)\s*"(?<value>[^"\\\n]*(?:\\.[^"\\\n]*)*)"\s*\]/,
    /^\[\s*(?<name2>\w+)\s*"(?<value2>.*)"\s*\]\s*$/, // quotes that aren't escaped
    /(?<open>\()|(?<close>\))/,
    /(?<result>1-0|0-1|1\/2-1\/2|½-½|1\/2|\*)(?![\w/-])/,
    /\$(?<nag>\d{1,3})/,
    /(?<glyph>!!|\?\?|!\?|\?!|[!?□∞⩲⩱±∓=]|\+\/?-|-\/?\+(?!\w)|\+=|=\+)/,
    /e\.?p\.?(?!\w)/,
    /(?<number>\d+)(?:\s*[.…]+|(?=\s))/,
    /(?<move>--|[A-Za-z0-9@][-\w+#=:@]*)/,
    /[.…]|(?<junk>\0+|\S)/,
  ]
    .map((part) => part.source)
    .join('|'),
  'gm',
);

/** A comment may not contain the brace that ends it. */
const clean = (text) => text.replace(/\r\n?/g, '\n').replaceAll('}', ')').trim();
const join = (first, second) => (first && second ? `${first} ${second}` : first || second);

/** Milliseconds of "1:02:03.5", "2:03"; null for anything else. */
function readClock(text) {
  const match = text.match(/^(?:(\d{1,4}):)?(\d{1,3}):(\d{1,2}(?:\.\d{1,3})?)$/);
  if (!match) return null;
  const [hours, minutes, seconds] = match.slice(1).map((each) => Number(each ?? 0));
  return Math.round(((hours * 60 + minutes) * 60 + seconds) * 1000);
}

function clockText(milliseconds) {
  const seconds = Math.floor(milliseconds / 1000);
  const pad = (number) => String(number).padStart(2, '0');
  const rest = milliseconds % 1000 ? `.${String(milliseconds % 1000).padStart(3, '0')}` : '';
  return (
    `${Math.floor(seconds / 3600)}:${pad(Math.floor(seconds / 60) % 60)}:${pad(seconds % 60)}` +
    rest.replace(/0+$/, '')
  );
}

/** The score in "[%eval ...]": "0.31", "#-3", "-1.20,17"; null for anything else.
 *  @returns {?Score} */
function readEval(text) {
  const match = text.match(/^(?:#([+-]?\d{1,3})|([+-]?\d{1,4}(?:\.\d{1,3})?))(?:,(\d{1,3}))?$/);
  if (!match) return null;
  const [, mate, pawns, depth] = match;
  // No negative zero.
  const score = mate ? { mate: Number(mate) || 0 } : { cp: Math.round(Number(pawns) * 100) || 0 };
  return depth ? { ...score, depth: Number(depth) } : score;
}

function evalText({ cp, mate, depth }) {
  const text = mate === undefined ? (cp / 100).toFixed(2) : `#${mate}`;
  return depth ? `${text},${depth}` : text;
}

const readers = {
  clk: ['clock', readClock],
  emt: ['elapsed', readClock],
  eval: ['score', readEval],
};

/** Adds a comment's text to a node, and applies its commands. */
function addComment(node, text) {
  const rest = text.replace(/\s*\[%(\w+)\s+([^\]]*?)\s*\]\s*/g, (_, name, value) => {
    const [field, read] = readers[name] ?? [];
    const known = read?.(value);
    if (known !== null && known !== undefined) node[field] = known;
    else node.commands[name] = join(node.commands[name], value);
    return ' ';
  });
  node.comment = join(node.comment, clean(rest));
}

function commentText({ comment, commands, clock, elapsed, score }) {
  const parts = [];
  const add = (name, value) => parts.push(`[%${name} ${value}]`);
  if (score) add('eval', evalText(score));
  if (clock !== null) add('clk', clockText(clock));
  if (elapsed !== null) add('emt', clockText(elapsed));
  for (const [name, value] of Object.entries(commands)) add(name, value);
  return [...parts, comment].filter(Boolean).join(' ');
}

/** A game with its variations. */
export class GameTree {
  #nextId = 0;
  #chess = new Chess();
  /** The node whose position #chess holds, so that a line is played without loading each one. */
  #at = null;

  /** @param {string} [fen] where it begins, of four to six fields
   *  @param {Record<string, string>} [tags] of PGN, without Result, SetUp and FEN
   *  @throws when the FEN isn't a position */
  constructor(fen = startFen, tags = {}) {
    this.tags = tags;
    /** "1-0", "0-1", "1/2-1/2" or "*". */
    this.result = '*';
    /** What was wrong in the text that it was read from.
     *  @type {Problem[]} */
    this.problems = [];
    /** @type {Node} */
    this.root = this.#makeNode(null, readFen(fen).fen());
  }

  get fen() {
    return this.root.fen;
  }

  #makeNode(parent, fen, move) {
    return {
      id: this.#nextId++,
      parent,
      children: [],
      fen,
      san: move?.san ?? null,
      uci: move ? (move.san === '--' ? '0000' : move.lan) : null,
      before: '',
      comment: '',
      nags: [],
      clock: null,
      elapsed: null,
      score: null,
      commands: {},
    };
  }

  /** Plays a move from a position: goes to it if it has been played before, else adds it, as a
   *  variation if the position already has a move.
   *  @param {Node} node
   *  @param {string | {from: string, to: string, promotion?: string}} move in any usual notation
   *  @returns {?Node} null when the move isn't legal */
  play(node, move) {
    if (this.#at !== node) this.#chess.load(node.fen, { skipValidation: true });
    this.#at = null;
    const isNull = /^(--|Z0|0000|@@@@)$/.test(move);
    const made = playMove(this.#chess, isNull ? '--' : move);
    if (!made) return null;
    const known = node.children.find(({ san }) => san === made.san);
    if (!known) node.children.push(this.#makeNode(node, made.after, made));
    this.#at = known ?? node.children.at(-1);
    return this.#at;
  }

  /** Plays a line up to the first illegal move.
   *  @param {Node} node
   *  @param {string[]} moves
   *  @returns {Node[]} the moves that were played */
  playLine(node, moves) {
    const line = [];
    for (const move of moves) {
      const next = this.play(line.at(-1) ?? node, move);
      if (!next) break;
      line.push(next);
    }
    return line;
  }

  /** The moves that lead to a position, without the beginning.
   *  @param {Node} node
   *  @returns {Node[]} */
  pathTo(node) {
    const path = [];
    for (let each = node; each.parent; each = each.parent) path.push(each);
    return path.reverse();
  }

  /** The continuation of a line: the first move from each position.
   *  @param {Node} [node] its own move isn't among them
   *  @returns {Node[]} */
  lineFrom(node = this.root) {
    const line = [];
    for (let [each] = node.children; each; [each] = each.children) line.push(each);
    return line;
  }

  /** Whether a position belongs to the main line. */
  isMain(node) {
    return this.variationOf(node) === null;
  }

  /** The first move of the variation that a position belongs to; null in the main line. */
  variationOf(node) {
    for (let each = node; each.parent; each = each.parent) {
      if (each.parent.children[0] !== each) return each;
    }
    return null;
  }

  /** All positions, the starting position first. */
  nodes() {
    const all = [this.root];
    for (const node of all) all.push(...node.children);
    return all;
  }

  /** A position for chess.js, with the moves that led to it as its history. */
  chessAt(node) {
    const chess = new Chess(this.fen);
    for (const { san } of this.pathTo(node)) chess.move(san);
    return chess;
  }

  /** Moves the variation that a position belongs to up by one place; the first variation takes the
   *  place of the line that it leaves.
   *  @returns {boolean} false in the main line */
  promote(node) {
    const first = this.variationOf(node);
    if (!first) return false;
    const { children } = first.parent;
    const at = children.indexOf(first);
    children.splice(at, 1);
    children.splice(at - 1, 0, first);
    return true;
  }

  /** Makes the line to a position the main line. */
  makeMain(node) {
    while (this.promote(node));
  }

  /** Deletes a move and all that follows it.
   *  @returns {Node} the position before it; the starting position can't be deleted */
  remove(node) {
    if (!node.parent) {
      node.children = [];
      return node;
    }
    const { children } = node.parent;
    if (children.includes(node)) children.splice(children.indexOf(node), 1);
    return node.parent;
  }

  /** Replaces a comment. Commands in it, as "[%clk 0:01:00]", set what they name.
   *  @param {Node} node
   *  @param {string} text
   *  @param {'comment' | 'before'} [place] after or before the move */
  setComment(node, text, place = 'comment') {
    node[place] = '';
    if (place === 'before') node.before = clean(text);
    else addComment(node, text);
  }

  /** Sets a glyph, or removes it if it is set. It replaces another one of its group.
   *  @param {Node} node
   *  @param {number} nag */
  toggleNag(node, nag) {
    const isSet = node.nags.includes(nag);
    const group = groups.find((each) => each.includes(nag)) ?? [nag];
    node.nags = node.nags.filter((each) => !group.includes(each));
    if (!isSet) node.nags.push(nag);
    node.nags.sort((a, b) => a - b);
  }

  /** The game as PGN: lines of at most 80 characters, except for comments, which stay whole.
   *  @returns {string} */
  toPgn() {
    const tags = { ...roster, ...this.tags, Result: this.result };
    if (this.fen !== startFen) Object.assign(tags, { SetUp: '1', FEN: this.fen });
    const lines = Object.entries(tags).map(
      ([name, value]) => `[${name} "${String(value).replace(/["\\]/g, '\\$&')}"]`,
    );
    lines.push('');
    const words = [];
    const comment = (text) => text && words.push(`{${text}}`);
    words.push(...this.root.nags.map((nag) => `$${nag}`));
    comment(commentText(this.root));
    writeLine(this.root, words);
    words.push(this.result);
    let line = '';
    for (const word of words) {
      const length = line.length - line.lastIndexOf('\n') - 1;
      const [head] = word.split('\n', 1);
      if (line && length + 1 + head.length > 80) {
        lines.push(line);
        line = word;
      } else line += (line && ' ') + word;
    }
    return `${[...lines, line].join('\n')}\n`;
  }
}

/** Writes the continuation from a position, or the variation that begins with a move. */
function writeLine(start, words, variation = null) {
  let needsNumber = true;
  let isFirst = variation !== null;
  let next = variation ?? start.children[0];
  while (next) {
    const { parent, before } = next;
    if (isFirst && before) words.push(`{${before}}`);
    const number = moveNumber(parent.fen);
    if (needsNumber || before || !number.endsWith('...')) words.push(number);
    if (!isFirst && before) words.push(`{${before}}`);
    words.push(next.san, ...next.nags.map((nag) => `$${nag}`));
    const text = commentText(next);
    if (text) words.push(`{${text}}`);
    needsNumber = text !== '';
    // The others are variations of the first, and follow it.
    if (parent.children[0] === next) {
      for (const other of parent.children.slice(1)) {
        const from = words.length;
        writeLine(parent, words, other);
        words[from] = `(${words[from]}`;
        words[words.length - 1] += ')';
        needsNumber = true;
      }
    }
    isFirst = false;
    [next] = next.children;
  }
}

/** A game of a PGN text that has not been read further than its tags.
 *  @typedef {object} Entry
 *  @property {Record<string, string>} tags all of them
 *  @property {?string} result at the end of the moves
 *  @property {boolean} hasMoves
 *  @property {boolean} hasJunk whether it contains characters that are not PGN
 *  @property {number} line of its first word, from 1
 *  @property {number} start of that word in the text
 *  @property {number} end
 *  @property {() => GameTree} read */

/** Words that are read at a time, in some milliseconds. */
const wordsOfStep = 4096;

function finish(steps) {
  let step = steps.next();
  while (!step.done) step = steps.next();
  return step.value;
}

/** Finds the games of a PGN text.
 *  @param {string} text
 *  @returns {Entry[]} none when there is no word in it */
export const listGames = (text) => finish(scanGames(text));

/** The same in small steps, so that a page stays responsive.
 *  @param {string} text
 *  @yields {number} the share that has been read, 0 to 1
 *  @returns {Generator<number, Entry[]>} */
export function* scanGames(text) {
  const parts = yield* cutGames(text.replace(/^\uFEFF/, ''));
  return parts.filter(({ tags, result, hasMoves }) => (
    hasMoves || result || Object.keys(tags).length));
}

/** Cuts a PGN text into its games and what is between them. A part ends where the next one begins,
 *  so more text can change only the last.
 *  @param {string} text
 *  @returns {Entry[]} those without moves, result and tags are not games */
export const splitGames = (text) => finish(cutGames(text));

function* cutGames(text) {
  const games = [];
  let words = 0;
  let game = null;
  let depth = 0;
  let line = 1;
  let counted = 0;
  for (const { 0: word, index, groups: is } of text.matchAll(lexer)) {
    if (++words % wordsOfStep === 0) yield index / text.length;
    const isComment = is.comment !== undefined || is.rest !== undefined;
    const name = is.name ?? is.name2;
    const isSilent = isComment || word.startsWith('%');
    // Another game begins after a result, with a tag after moves, or with a tag that occurs again.
    const isNext =
      game?.result ||
      (name !== undefined && (game?.hasMoves || Object.hasOwn(game?.tags ?? {}, name)));
    if (!game || (isNext && !isSilent)) {
      line += countLines(text, counted, index);
      counted = index;
      game = { tags: {}, result: null, hasMoves: false, hasJunk: false, line, start: index };
      games.push(game);
    }
    game.end = index + word.length;
    // A variation that is never closed mustn't swallow the games after it.
    if (name !== undefined) {
      depth = 0;
      game.tags[name] = (is.value ?? is.value2).replace(/\\(.)/gs, '$1');
    } else if (is.open) depth++;
    else if (is.close) depth = Math.max(0, depth - 1);
    else if (is.result && !depth) game.result = resultOf(is.result);
    if (is.move) game.hasMoves = true;
    if (is.junk) game.hasJunk = true;
  }
  return games.map((entry) => ({ ...entry, read: () => readTree(text, entry) }));
}

const resultOf = (word) => word.replace('½-½', '1/2-1/2').replace(/^1\/2$/, '1/2-1/2');

function countLines(text, from, to) {
  let count = 0;
  for (let at = text.indexOf('\n', from); at >= 0 && at < to; at = text.indexOf('\n', at + 1)) {
    count++;
  }
  return count;
}

function readTree(text, { start, end, tags, result }) {
  const { FEN: fen, SetUp: setUp, Result: tagged, ...others } = tags;
  const known = Object.entries(others).filter(([name, value]) => value && value !== roster[name]);
  const problems = [];
  const complain = (index, message, endsGame = false) => {
    if (problems.length >= mostProblems && !endsGame) return;
    const column = index - text.lastIndexOf('\n', index - 1);
    problems.push({ line: 1 + countLines(text, 0, index), column, message, endsGame });
  };
  let tree;
  try {
    tree = new GameTree(fen, Object.fromEntries(known));
  } catch (error) {
    tree = new GameTree(startFen, Object.fromEntries(known));
    complain(start + Math.max(0, text.slice(start, end).search(/\[\s*FEN\b/)), error.message, true);
  }
  tree.problems = problems;
  const isUsual = result && result !== '*';
  tree.result = isUsual ? result : results.includes(tagged) ? tagged : '*';
  if (!problems.length) readMoves(tree, text, start, end, complain);
  return tree;
}

function readMoves(tree, text, start, end, complain) {
  /** Lines that are being read; `node` is where the next move is played. `isOwn` is set if the
   *  line has added that node. Its move then becomes the main one, even if a variation that repeats
   *  the moves has added others first. */
  const stack = [];
  const nothing = { before: '', nags: [], isFresh: false, isBroken: false };
  let line = { ...nothing, node: tree.root, isOwn: true };
  /** Whether a comment belongs to the move that follows: after its number, or at the beginning of
   *  a variation. */
  let isAhead = false;
  const close = () => {
    // A comment before a move that doesn't follow belongs to the move before it.
    addComment(line.isFresh ? line.from : line.node, line.before);
  };
  for (const match of text.slice(start, end).matchAll(lexer)) {
    const { groups: is } = match;
    const index = start + match.index;
    const comment = is.comment ?? is.rest;
    if (comment !== undefined) {
      if (is.end === '') complain(index, 'the comment that begins here has no end');
      if (line.isBroken) continue;
      if (isAhead) line.before = join(line.before, clean(comment));
      else addComment(line.node, comment);
    } else if (is.open) {
      const { node } = line;
      if (!line.isBroken && (line.isFresh || !node.parent)) {
        complain(index, 'a variation before the first move');
      }
      const isBroken = line.isBroken || line.isFresh || !node?.parent;
      stack.push(line);
      line = { ...nothing, node: node?.parent, from: node, isOwn: false, isFresh: true, isBroken };
      isAhead = true;
    } else if (is.close) {
      if (!stack.length) {
        complain(index, "a variation ends here that hasn't begun");
        continue;
      }
      if (!line.isBroken) close();
      line = stack.pop();
      isAhead = true;
    } else if (line.isBroken) {
      continue;
    } else if (is.number) {
      isAhead = true;
    } else if (is.nag || is.glyph) {
      const nag = is.nag ? Number(is.nag) : glyphs.get(is.glyph);
      const nags = line.isFresh ? line.nags : line.node.nags;
      if (!nags.includes(nag)) nags.push(nag);
    } else if (is.move) {
      const { children } = line.node;
      const count = children.length;
      const node = tree.play(line.node, is.move);
      if (!node) {
        const message = `${moveNumber(line.node.fen)} ${is.move} is not a legal move`;
        complain(index, message, !stack.length);
        line.isBroken = true;
        continue;
      }
      node.before = join(node.before, line.before);
      node.nags.push(...line.nags.filter((nag) => !node.nags.includes(nag)));
      if (line.isOwn) children.unshift(...children.splice(children.indexOf(node), 1));
      line = { ...line, ...nothing, node, isOwn: children.length > count };
      isAhead = false;
    } else if (is.junk) {
      complain(index, `${JSON.stringify(is.junk[0])} is unexpected here`);
    }
  }
  if (stack.length) complain(end, 'a variation has no end');
  for (; line; line = stack.pop()) if (!line.isBroken) close();
}

/** Reads the first game of a PGN text.
 *  @param {string} text
 *  @returns {?GameTree} null when there is none */
export function readGame(text) {
  return listGames(text)[0]?.read() ?? null;
}

/** A problem for people: "line 3, column 12: 5. Ke3 is not a legal move".
 *  @param {Problem} problem */
export const problemText = ({ line, column, message }) =>
  `line ${line}, column ${column}: ${message}`;
