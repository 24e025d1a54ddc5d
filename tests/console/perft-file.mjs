// SPDX-License-Identifier: MIT
// Reads data/perft.txt, the file of positions with known move counts.

import fs from 'node:fs';
import path from 'node:path';
import { sourceDir } from './talk.mjs';

// Returns { base, extended, full }, each a list of { fen, depth, count, text }.
export function readPerftFile() {
  const sections = { base: [], extended: [], full: [] };
  let records = sections.base;
  const text = fs.readFileSync(path.join(sourceDir, 'data', 'perft.txt'), 'utf8');
  if (!text.endsWith('\n')) throw new Error('data/perft.txt does not end with a line end');
  for (const line of text.slice(0, -1).split('\n')) {
    if (line === 'extended' || line === 'full') {
      records = sections[line];
      continue;
    }
    const match = /^([^;]+);(\d+);(\d+)$/.exec(line);
    if (!match) throw new Error(`data/perft.txt: not a record: "${line}"`);
    records.push({ fen: match[1], depth: Number(match[2]), count: Number(match[3]), text: line });
  }
  return sections;
}
