// SPDX-License-Identifier: MIT
// Reads conversations with the engine from data files (`tests/conversations/*.talk`) and holds
// them. The language, line by line; README.md beside the files tells it with examples.
//
// The first line is a comment and names the conversation. Blank lines and other lines that begin
// with "#" say nothing. Indentation is free.
//
// Before the first step:
//   builds bare asan tsan   the builds it runs in; all three without this line
//   slack 3                 factor for all its waiting times
//   memory 200              megabytes that the process can have in one piece
//
// Steps, one a line. The first step, and the first behind an `exit`, starts a process, whose
// banner is read without a word here. A process that is left at the end gets `quit` and must end
// with status 0.
//   send TEXT               TEXT and a line end. What stands behind one blank counts to the byte
//   bytes TEXT              TEXT alone
//   close                   end of input
//   expect [500ms] WHAT     a line that is WHAT comes; lines before it are passed over
//   next [500ms] WHAT       the very next line is WHAT
//   bestmove [500ms] [FLAGS]   the result of the oldest search that has none comes. Flags:
//       e2e4                this move
//       or a1a1             the search was stopped from outside, before it had to have a move
//       info                with a line with a score
//       silent              without any line before it
//   board [FEN]             `showboard` draws the board of FEN, or of the position sent last
//   perft N                 `perft` N counts what the rules of chess count there
//   forbid WHAT             no line is WHAT until the next expect, next, bestmove or exit is met
//   count WHAT N            so far N lines of this process are WHAT
//   pause 20ms              pause 0..5ms: a random time from a fixed seed, in steps far below 1 ms
//   exit STATUS [500ms]     the process ends with STATUS; what it wrote has been read, but for
//                           whole lines of a search that was running
//   repeat N                the steps up to `done`, N times
//   each NAME A | B | 1..9  the steps up to `done` for each value; {NAME} stands for it
//   done
// The number of `repeat` or `count` and the list of `each` can be another in a sanitizer build:
// `repeat 500 (san 20)`, `repeat 500 (asan 20) (tsan 5)`. The value "-" is the empty text.
//
// WHAT is an exact text or a /pattern/. Waiting times are 10 s unless given, and are multiplied
// by the slack and, in sanitizer builds, by QUILLON_TIME_SCALE; pauses are not.
//
// In a TEXT: \0 \t \r \n \v \f \\ and \xff are bytes; {knights 6000} a game of 6000 plies in which
// the knights go out and home; {fill 65536 x} 65536 times x; {pick a|b} one of these at random.
//
// Beside what the steps say, every line that a search writes must have its form, and every move
// in it must be legal in the position that was sent last before its `go`.

import assert from 'node:assert/strict';

import { banner, Engine, perft, showBoard } from './engine.mjs';
import { pick, randomNumbers, seed } from './random.mjs';
import { pictureOf, Rules } from './rules.mjs';
import { checkSearch, noMove, readSearch } from './search.mjs';

const defaultWait = 10000;
export const builds = ['bare', 'asan', 'tsan'];

// The build under test, by the sanitizer in it.
export const buildUnderTest = { address: 'asan', thread: 'tsan' }[process.env.QUILLON_SANITIZER] ??
  'bare';

class SyntaxFault extends Error {}

const fault = (message) => {
  throw new SyntaxFault(message);
};

// Pieces of text

const escapes = { 0: '\0', t: '\t', r: '\r', n: '\n', v: '\v', f: '\f', '\\': '\\' };

// Returns the text with its escapes turned into characters of one byte each.
function unescape(text) {
  return text.replace(/\\(x[0-9a-fA-F]{2}|[^])?/g, (whole, code) => {
    if (code?.length === 3) return String.fromCharCode(parseInt(code.slice(1), 16));
    return escapes[code] ?? fault(`unknown escape ${whole}`);
  });
}

// A game of any length from the start position: the knights go out and home again.
function knightDance(plies) {
  const moves = ['g1f3', 'g8f6', 'f3g1', 'f6g8'];
  return Array.from({ length: plies }, (_, i) => moves[i % 4]).join(' ');
}

const wholeNumber = (text) =>
  /^\d+$/.test(text ?? '') ? Number(text) : fault(`"${text ?? ''}" is no number`);

const generators = {
  knights: (plies) => knightDance(wholeNumber(plies)),
  fill: (text) => {
    const [, count, piece] = /^(\d+) (.+)$/.exec(text) ?? fault('fill needs a number and a text');
    return piece.repeat(Number(count));
  },
  pick: (text, random) => pick(random, text.split('|')),
};

const variable = /\{([a-z]\w*)\}/g;
const generator = /\{([a-z]+) ([^{}]*)\}/g;

const fillIn = (text, values) => text.replace(variable, (_, name) => values[name]);

// Makes the pieces, those within others first.
function generate(text, random) {
  const made = text.replace(generator, (_, name, words) => generators[name](words, random));
  return made === text ? text : generate(made, random);
}

// Parts of steps

function takeTime(words) {
  const match = /^(\d+)ms(?: |$)(.*)$/.exec(words);
  return match
    ? { wait: Number(match[1]), rest: match[2] }
    : { wait: defaultWait, rest: words };
}

function readWhat(text) {
  if (text === '') fault('a text or a /pattern/ is missing');
  const match = /^\/(.*)\/$/.exec(text);
  if (!match) return unescape(text);
  try {
    return new RegExp(match[1]);
  } catch (error) {
    return fault(error.message);
  }
}

const fits = (what, line) => (typeof what === 'string' ? line === what : what.test(line));

function expectation(words) {
  const { wait, rest } = takeTime(words);
  return { wait, what: readWhat(rest) };
}

// Each kind of step reads its words. `send` and `bytes` keep theirs: pieces are made at each round.
const readers = {
  send: (words) => ({ text: words }),
  bytes: (words) => ({ text: words === '' ? fault('bytes needs a text') : words }),
  close: (words) => (words === '' ? {} : fault('close stands alone')),
  expect: expectation,
  next: expectation,
  bestmove: (words) => {
    const { wait, rest } = takeTime(words);
    const result = { wait, move: null, orNone: false, info: false, silent: false };
    const flags = rest.replace(/(^| )or a1a1( |$)/, (_, before, after) => {
      result.orNone = true;
      return before && after;
    });
    for (const flag of flags.split(' ').filter(Boolean)) {
      if (flag === 'info' || flag === 'silent') result[flag] = true;
      else if (/^[a-h][1-8][a-h][1-8][nbrq]?$/.test(flag)) result.move = flag;
      else fault(`unknown flag "${flag}"`);
    }
    return result;
  },
  board: (words) => ({ fen: words }),
  perft: (words) => ({ depth: wholeNumber(words) }),
  forbid: (words) => ({ what: readWhat(words) }),
  count: (words) => {
    const [, what, number] = /^(.+) (\S+)$/.exec(words) ?? fault('count needs WHAT and a number');
    return { what: readWhat(what), number: wholeNumber(number) };
  },
  pause: (words) => {
    const match = /^(\d+)(?:\.\.(\d+))?ms$/.exec(words) ?? fault('a pause is "20ms" or "0..5ms"');
    return { from: Number(match[1]), to: Number(match[2] ?? match[1]) };
  },
  exit: (words) => {
    const [, status, rest] = /^(\S*) ?(.*)$/.exec(words);
    const { wait, rest: more } = takeTime(rest);
    if (more !== '') fault(`"${more}" behind the status`);
    return { status: wholeNumber(status), wait };
  },
};

// Takes the notes in parentheses off the end of a step's words and returns what this build uses.
function forBuild(words, build) {
  const notes = {};
  let match;
  while ((match = /^(.*\S)\s+\((\w+) ([^()]*)\)$/.exec(words))) {
    const [, before, name, value] = match;
    if (!['san', 'asan', 'tsan'].includes(name)) fault(`"${name}" is no build`);
    notes[name] = value;
    words = before;
  }
  words = words.trim();
  if (build === 'bare') return words;
  return notes[build] ?? notes.san ?? words;
}

function readValues(words) {
  return words.split(/\s*\|\s*/).flatMap((value) => {
    const match = /^(\d+)\.\.(\d+)$/.exec(value);
    if (!match) return [value === '-' ? '' : value.trim()];
    const [from, to] = match.slice(1).map(Number);
    return Array.from({ length: to - from + 1 }, (_, i) => String(from + i));
  });
}

// Returns a loop's { rounds }: the values of its variable, one set for each round.
function readLoop(kind, words, build) {
  if (kind === 'repeat') {
    return { name: null, rounds: Array(wholeNumber(forBuild(words, build))).fill({}) };
  }
  const [, name, list] = /^([a-z]\w*) (.+)$/.exec(words) ?? fault('each needs a name and values');
  if (generators[name]) fault(`"${name}" is a piece's name`);
  return {
    name,
    rounds: readValues(forBuild(list, build)).map((value) => ({ [name]: value })),
  };
}

// Fails on a word in braces that nothing stands for, on pieces that cannot be made and on
// escapes that don't exist.
function checkText(text, names, isSent) {
  for (const [, name] of text.matchAll(variable)) {
    if (!names.includes(name)) fault(`nothing is called {${name}} here`);
  }
  if (!isSent) return;
  for (const [, name, words] of text.matchAll(generator)) {
    if (!generators[name]) fault(`no piece is called {${name} ...}`);
    if (!words.includes('{')) generators[name](words.replace(variable, '1'), () => 0);
  }
  unescape(text.replace(variable, '').replace(generator, ''));
}

// Reads a conversation. Faults name the file and the line.
export function parseTalk(file, source, build = buildUnderTest) {
  const lines = source.replace(/\n$/, '').split('\n');
  const talk = { file, title: '', builds: [...builds], slack: 1, memory: null, steps: [] };
  const open = []; // the loops around the line, with the steps outside them
  let steps = talk.steps;
  let number = 1;
  try {
    talk.title = /^# (\S.*)$/.exec(lines[0])?.[1] ?? fault('the first line is "# " and the name');
    for (const line of lines.slice(1)) {
      number++;
      const [, kind, words] = /^\s*(\S*) ?(.*)$/.exec(line);
      if (kind === '' || kind.startsWith('#')) continue;
      const names = open.map((loop) => loop.name);
      const step = { line: number, text: line.trim(), kind };
      if (['builds', 'slack', 'memory'].includes(kind)) {
        if (talk.steps.length || open.length) fault(`"${kind}" stands before the first step`);
        if (kind === 'builds') {
          talk.builds = words.split(' ').filter(Boolean);
          const stranger = talk.builds.find((name) => !builds.includes(name));
          if (stranger !== undefined) fault(`"${stranger}" is no build`);
        } else talk[kind] = wholeNumber(words) || fault(`${kind} 0`);
      } else if (kind === 'repeat' || kind === 'each') {
        checkText(words, names, false);
        Object.assign(step, readLoop(kind, words, build), { steps: [], outside: steps });
        steps.push(step);
        open.push(step);
        steps = step.steps;
      } else if (kind === 'done') {
        const loop = open.pop() ?? fault('"done" without a loop');
        if (!loop.steps.length) fault('a loop without steps');
        steps = loop.outside;
      } else {
        const read = readers[kind] ?? fault(`unknown step "${kind}"`);
        checkText(words, names, kind === 'send' || kind === 'bytes');
        const own = kind === 'count' ? words.replace(/\d+( \([^()]*\))*$/, (number) =>
          forBuild(number, build)) : words;
        // Words with a variable are read when it has a value.
        const fixed = own.search(variable) < 0 ? read(own) : null;
        step.read = (values) => fixed ?? read(fillIn(own, values));
        steps.push(step);
      }
    }
    if (open.length) {
      number = open.at(-1).line;
      fault('this loop has no "done"');
    }
    if (!talk.steps.length) fault('no step');
  } catch (error) {
    if (error instanceof SyntaxFault) throw new Error(`${file}:${number}: ${error.message}`);
    throw error;
  }
  return talk;
}

// Positions

// Returns the rules in the position of a `position` line, or null where chess can't be played.
const known = new Map();
function rulesAfter(words) {
  const key = words.join(' ');
  if (known.has(key)) return known.get(key);
  let rules = null;
  try {
    const fromStart = words[1] === 'startpos';
    const end = fromStart ? 2 : words.indexOf('moves');
    const fen = words.slice(2, end < 0 ? undefined : end).join(' ');
    rules = fromStart ? new Rules() : new Rules(fen);
    for (const move of end < 0 ? [] : words.slice(end + 1)) rules.play(move);
  } catch {
    rules = null;
  }
  if (known.size > 100) known.clear();
  known.set(key, rules);
  return rules;
}

// Not the line about a table that can't be had.
const searchLine = /^(info (?!string )|bestmove )/;

const startPosition = ['position', 'startpos'];

// The player

class Player {
  constructor(talk) {
    this.talk = talk;
    this.random = randomNumbers(seed);
    this.engine = null;
  }

  async start() {
    if (this.engine) return;
    this.engine = new Engine({ memory: this.talk.memory });
    this.position = startPosition;
    this.unended = ''; // sent, without a line end so far
    this.searches = []; // { rules, lines } of each `go` without a result
    this.forbidden = []; // { what, from }
    await this.engine.expectLines(banner, 20000);
  }

  async play(steps, values = {}) {
    for (const step of steps) {
      if (step.rounds) {
        for (const round of step.rounds) {
          const inner = { ...values };
          for (const [name, value] of Object.entries(round)) inner[name] = fillIn(value, values);
          await this.play(step.steps, inner);
        }
        continue;
      }
      try {
        await this.start();
        await this[step.kind](step.read(values));
        this.checkForbidden(this.engine?.log.length);
      } catch (error) {
        if (error.told) throw error;
        const round = Object.entries(values).map(([name, value]) => `, ${name} = ${value}`);
        const where = round.join('');
        const { message } = error;
        const shown = !this.engine || message.includes(this.engine.file);
        const told = new Error(
          `${this.talk.file}:${step.line}: ${step.text.slice(0, 200)}\n` +
            `(seed ${seed}${where})\n${shown ? message : this.engine.describe(message)}`,
          { cause: error },
        );
        told.told = true;
        throw told;
      }
    }
  }

  async leave() {
    if (!this.engine) return;
    await this.play([
      { line: 'end', text: 'send quit', kind: 'send', read: () => ({ text: 'quit' }) },
      { line: 'end', text: 'exit 0', kind: 'exit', read: () => ({ status: 0, wait: defaultWait }) },
    ]);
  }

  limit(wait) {
    return wait * this.talk.slack;
  }

  // Sending

  write(text) {
    this.engine.sendBytes(Buffer.from(text, 'latin1'));
    const lines = (this.unended + text).split('\n');
    this.unended = lines.pop();
    for (const line of lines) this.note(line);
  }

  // Follows what a line that was sent means for the lines to come.
  note(line) {
    const words = line.split(/[ \t\r\v\f]+/).filter(Boolean);
    if (words[0] === 'position' && ['startpos', 'fen'].includes(words[1])) this.position = words;
    if (words[0] === 'go') this.searches.push({ rules: rulesAfter(this.position), lines: [] });
  }

  send({ text }) {
    this.write(`${unescape(generate(text, this.random))}\n`);
  }

  bytes({ text }) {
    this.write(unescape(generate(text, this.random)));
  }

  close() {
    if (this.unended !== '') this.note(this.unended);
    this.engine.closeInput();
  }

  async pause({ from, to }) {
    const time = from + this.random() * (to - from);
    const end = performance.now() + time;
    // A timer knows whole milliseconds.
    if (time >= 1) await new Promise((resolve) => setTimeout(resolve, Math.floor(time)));
    while (performance.now() < end);
  }

  // Receiving

  // Takes lines that have been read to the searches that wrote them. Returns the searches that
  // got their result.
  take(lines) {
    const ended = [];
    for (const line of lines) {
      if (!searchLine.test(line)) continue;
      const search = this.searches[0];
      assert.ok(search, `a line of a search where none runs: ${line}`);
      search.lines.push(line);
      if (!line.startsWith('bestmove ')) continue;
      this.searches.shift();
      const result = readSearch(search.lines);
      if (search.rules) checkSearch(search.rules, result, { mayBeEmpty: true });
      else assert.deepEqual([result.best, result.infos], [noMove, []], 'no position to play on');
      ended.push({ ...result, rules: search.rules });
    }
    return ended;
  }

  // Lines that a search lets pass while something else is awaited.
  checkPassed(lines) {
    if (!this.searches.length) return;
    for (const line of lines) if (line !== 'readyok') assert.match(line, searchLine);
  }

  checkForbidden(end) {
    if (!this.engine) return;
    for (const { what, from } of this.forbidden) {
      const line = this.engine.log.slice(from, end).find(({ text }) => fits(what, text));
      assert.equal(line, undefined, `forbidden line: ${line?.text}`);
    }
  }

  // An expectation has been met by the line consumed last.
  met() {
    this.checkForbidden(this.engine.cursor - 1);
    this.forbidden = [];
  }

  async expect({ wait, what }) {
    const lines = await this.engine.until(what, this.limit(wait));
    this.met();
    this.checkPassed(lines.slice(0, -1));
    this.take(lines);
  }

  async next({ wait, what }) {
    const line = await this.engine.expect(/(?:)/, this.limit(wait));
    assert.ok(fits(what, line), `next line: ${line}`);
    this.met();
    this.take([line]);
  }

  async bestmove({ wait, move, orNone, info, silent }) {
    assert.ok(this.searches.length, 'no search lacks a result');
    const lines = await this.engine.until(/^bestmove /, this.limit(wait));
    this.met();
    this.checkPassed(lines);
    const [search] = this.take(lines);
    if (move) assert.equal(search.best, move);
    if (!orNone && search.rules?.legalMoves().length) assert.notEqual(search.best, noMove);
    if (info) assert.ok(search.infos.some(({ kind }) => kind !== 'mated'), 'a line with a score');
    if (silent) assert.deepEqual(search.infos, [], 'no line but the result');
  }

  async board({ fen }) {
    const rules = fen === '' ? rulesAfter(this.position) : null;
    assert.ok(fen !== '' || rules, 'the position sent last is none of chess: name the board');
    assert.deepEqual(await showBoard(this.engine), rules?.picture() ?? pictureOf(fen));
  }

  async perft({ depth }) {
    const { count } = await perft(this.engine, depth);
    assert.equal(count, rulesAfter(this.position).countLeaves(depth));
  }

  forbid({ what }) {
    this.forbidden.push({ what, from: this.engine.cursor });
  }

  count({ what, number }) {
    assert.equal(this.engine.log.filter(({ text }) => fits(what, text)).length, number);
  }

  async exit({ status, wait }) {
    const { engine } = this;
    const end = await engine.waitExit(this.limit(wait));
    engine.checkStderr();
    assert.deepEqual(end, { status, signal: null }, engine.describe('bad end'));
    assert.equal(engine.rest, '', 'a line cut short');
    this.checkForbidden(engine.log.length);
    const left = engine.log.slice(engine.cursor).map(({ text }) => text);
    for (const line of left) assert.match(line, searchLine, 'a line that nobody read');
    this.take(left);
    // The lines of a search that the end cut off, with a result of no meaning behind them.
    for (const { lines } of this.searches) {
      readSearch([...lines, `bestmove ${noMove}`]);
      assert.ok(!lines.includes('info score mate 0'), 'half an answer');
    }
    this.engine = null;
  }
}

// Holds a conversation; fails with the file and the line of the step that failed.
export async function playTalk(talk) {
  const player = new Player(talk);
  try {
    await player.play(talk.steps);
    await player.leave();
  } finally {
    await player.engine?.kill();
  }
}
