// SPDX-License-Identifier: MIT
//
// Draws a flame graph (Brendan Gregg, 2011) of samples that `perf` has taken of a program, and
// prints the shares of its functions as a table. Run by dev/flame-graph.sh.
//
// Usage: perf script --no-inline -F ip,sym,dso | node dev/flame-graph.mjs PROGRAM SVG
//
// Each sample is a stack of calls. A rectangle is a function, as wide as its share of the samples,
// and stands on the function that called it. Three things keep the picture readable:
//   - functions that the compiler has put into their callers are looked up in the debug information
//     and shown as if they had been called;
//   - a recursion counts as one call: a stack is cut back to the first call of the same function;
//   - lambdas, the C++ library, the bit operations of global.h and functions that only pass a
//     search on count as part of their callers, and the kernel is one function.

import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';

const [program, picture] = process.argv.slice(2);
if (!picture) {
  console.error('usage: perf script --no-inline -F ip,sym,dso | ' +
    'node dev/flame-graph.mjs PROGRAM SVG');
  process.exit(2);
}
const programName = path.basename(program);

function fail(text) {
  console.error(`flame-graph.mjs: ${text}`);
  process.exit(1);
}


// Reading

/** Samples as lists of frames { address, symbol, file }, innermost first. */
function readSamples(text) {
  const samples = [];
  for (const block of text.split(/\n\s*\n/)) {
    const frames = [];
    for (const line of block.split('\n')) {
      const fields = line.match(/^\s+([0-9a-f]+) (.*) \((.*)\)$/);
      if (!fields) continue;
      const [, hex, symbol, file] = fields;
      // A caller's address is where the call returns to, which may be another line already.
      const address = BigInt(`0x${hex}`) - (frames.length ? 1n : 0n);
      frames.push({ address, symbol, file });
    }
    if (frames.length) samples.push(frames);
  }
  return samples;
}

/** A name without what stands in brackets of any kind, and without its type and scope. */
function shortName(name) {
  let depth = 0;
  let plain = '';
  for (const letter of name.replaceAll('(anonymous namespace)::', '')) {
    if ('<('.includes(letter)) depth++;
    if (depth === 0) plain += letter;
    if ('>)'.includes(letter)) depth--;
  }
  return plain.replace(/ \[clone [^\]]*\]/g, '').replace(/ const$/, '').trim().split(' ').pop();
}

function binutils(command, options, input) {
  try {
    return execFileSync(command, options, { input, encoding: 'utf8', maxBuffer: 1 << 30 });
  } catch (error) {
    return fail(error.code === 'ENOENT' ? 'please install the Debian package binutils'
      : error.message);
  }
}

/** From a place in the program's file, which is what perf tells, to the address that the debug
 *  information has for it. They differ in a program that is built for fixed addresses. */
function readSegments() {
  const segments = [];
  for (const line of binutils('readelf', ['-lW', program]).split('\n')) {
    const fields = line.match(/^ +LOAD +(0x\w+) (0x\w+) 0x\w+ (0x\w+) /);
    if (!fields) continue;
    const [offset, address, size] = fields.slice(1).map(BigInt);
    segments.push({ offset, address, size });
  }
  return (place) => {
    const own = segments.find((s) => place >= s.offset && place < s.offset + s.size);
    return own ? place - own.offset + own.address : place;
  };
}

/** What stands at each place of the program, innermost first: { name, file } of the functions
 *  that the compiler has put together there. */
function lookUp(places) {
  const found = new Map();
  if (places.length === 0) return found;
  const addressOf = readSegments();
  const text = binutils('addr2line', ['-a', '-f', '-i', '-C', '-e', program],
    places.map((place) => `0x${addressOf(place).toString(16)}\n`).join(''));
  let chain;
  let answered = 0;
  const lines = text.trimEnd().split('\n');
  for (let i = 0; i < lines.length; i++) {
    if (/^0x[0-9a-f]+$/.test(lines[i])) {
      chain = [];
      found.set(places[answered++], chain);
      continue;
    }
    const name = lines[i++];
    const file = lines[i].replace(/:[0-9?]+( .*)?$/, '');
    if (name !== '??') chain.push({ name, file });
  }
  return found;
}

const countsAsCaller = ({ name, file }) =>
  /^std::| std::|operator\(\)/.test(name) || /^search(Child|Node)\b/.test(name) ||
  file.startsWith('/usr/') || path.basename(file) === 'global.h';

/** A sample as names from the outermost call in, each with the part of the program it is from. */
function callsOf(frames, functions) {
  const calls = [];
  const enter = (name, part) => {
    const before = calls.findIndex((call) => call.name === name);
    if (before >= 0) calls.length = before;
    calls.push({ name, part });
  };
  for (const [place, { address, symbol, file }] of [...frames.entries()].reverse()) {
    if (path.basename(file) === programName) {
      const chain = functions.get(address);
      const own = (chain ?? []).filter((call) => !countsAsCaller(call));
      if (!chain?.length && symbol !== '[unknown]') enter(shortName(symbol), 'other');
      for (const call of own.reverse()) {
        // What the compiler has made up has no file.
        const file = path.basename(call.file);
        enter(shortName(call.name), file.startsWith('<') ? 'other' : file.replace(/\..*/, ''));
      }
    } else if (file.startsWith('[kernel')) {
      enter('kernel', 'system');
    } else if (place === 0 && symbol !== '[unknown]') {
      enter(symbol.replace(/^_+|_(avx|evex|sse).*/g, ''), 'system');
    }
  }
  return calls;
}


// Drawing

const width = 1200;
const rowHeight = 19;
const margin = 10;
const letterWidth = 7.3; // of the 12-pixel monospaced letters

const colours = {
  search: '#b9c4e6', eval: '#f4b183', hash: '#8fd19e', move: '#f6dc7a', moveTable: '#e8c468',
  perft: '#d9b8e0', system: '#d0d0d0', other: '#e4e0da',
};

const escaped = (text) =>
  text.replaceAll('&', '&amp;').replaceAll('<', '&lt;').replaceAll('>', '&gt;');

/** The tree of calls with the number of samples in each. */
function makeTree(stacks) {
  const root = { name: 'all', part: 'other', samples: 0, children: new Map() };
  for (const calls of stacks) {
    let node = root;
    node.samples++;
    for (const { name, part } of calls) {
      if (!node.children.has(name)) {
        node.children.set(name, { name, part, samples: 0, children: new Map() });
      }
      node = node.children.get(name);
      node.samples++;
    }
  }
  return root;
}

const percent = (share) => `${(100 * share).toFixed(1)} %`;

function draw(root) {
  const scale = (width - 2 * margin) / root.samples;
  const boxes = [];
  let deepest = 0;
  const place = (node, x, row) => {
    const boxWidth = node.samples * scale;
    if (boxWidth < 1) return; // too narrow to be seen
    deepest = Math.max(deepest, row);
    boxes.push({ node, x, row, boxWidth });
    let left = x;
    for (const child of [...node.children.values()].sort((a, b) => b.samples - a.samples)) {
      place(child, left, row + 1);
      left += child.samples * scale;
    }
  };
  place(root, margin, 0);

  const top = 36;
  const height = top + (deepest + 1) * rowHeight + 40;
  const shapes = boxes.map(({ node, x, row, boxWidth }) => {
    const y = top + (deepest - row) * rowHeight;
    const letters = Math.floor((boxWidth - 8) / letterWidth);
    const label = node.name.length <= letters ? node.name
      : letters >= 5 ? `${node.name.slice(0, letters - 1)}…` : '';
    const text = label && `<text x="${(x + 4).toFixed(1)}" y="${y + 13}">${escaped(label)}</text>`;
    return `<g><title>${escaped(node.name)}: ${percent(node.samples / root.samples)}</title>` +
      `<rect x="${x.toFixed(1)}" y="${y}" width="${Math.max(boxWidth - 0.5, 0.5).toFixed(1)}" ` +
      `height="${rowHeight - 1}" fill="${colours[node.part] ?? colours.other}"/>${text}</g>`;
  });
  const used = Object.keys(colours).filter((part) =>
    part !== 'other' && boxes.some(({ node }) => node.part === part));
  const legend = used.map((part, i) => {
    const x = margin + i * 130;
    const y = height - 26;
    return `<rect x="${x}" y="${y}" width="14" height="14" fill="${colours[part]}"/>` +
      `<text x="${x + 20}" y="${y + 11}">${part}</text>`;
  });
  return `<svg xmlns="http://www.w3.org/2000/svg" width="${width}" height="${height}" ` +
    `viewBox="0 0 ${width} ${height}" font-family="DejaVu Sans Mono, Consolas, monospace" ` +
    'font-size="12">\n' +
    `<rect width="${width}" height="${height}" fill="#ffffff"/>\n` +
    `<text x="${margin}" y="22">${root.samples} samples; a function stands on its caller, ` +
    'its width is its share of the time</text>\n' +
    `${shapes.join('\n')}\n${legend.join('\n')}\n</svg>\n`;
}


// Table

function table(stacks) {
  const rows = new Map();
  for (const calls of stacks) {
    for (const [i, { name, part }] of calls.entries()) {
      if (!rows.has(name)) rows.set(name, { name, part, own: 0, all: 0 });
      const row = rows.get(name);
      row.all++;
      if (i === calls.length - 1) row.own++;
    }
  }
  const lines = ['| function | file | itself | with what it calls |', '|---|---|---|---|'];
  for (const row of [...rows.values()].sort((a, b) => b.own - a.own)) {
    if (row.own < stacks.length / 100) break;
    lines.push(`| \`${row.name}\` | ${row.part} | ${percent(row.own / stacks.length)} | ` +
      `${percent(row.all / stacks.length)} |`);
  }
  const parts = new Map();
  for (const calls of stacks) {
    const { part } = calls.at(-1);
    parts.set(part, (parts.get(part) ?? 0) + 1);
  }
  const shares = [...parts].sort((a, b) => b[1] - a[1])
    .map(([part, own]) => `${part} ${percent(own / stacks.length)}`);
  return `${lines.join('\n')}\n\nBy file: ${shares.join(', ')}.`;
}


const samples = readSamples(fs.readFileSync(0, 'utf8'));
const addresses = new Set();
for (const frames of samples) {
  for (const { address, file } of frames) {
    if (path.basename(file) === programName) addresses.add(address);
  }
}
const functions = lookUp([...addresses]);
const stacks = samples.map((frames) => callsOf(frames, functions)).filter((calls) => calls.length);
if (stacks.length === 0) fail(`no samples of ${programName}`);
fs.writeFileSync(picture, draw(makeTree(stacks)));
console.log(table(stacks));
