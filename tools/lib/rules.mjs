// SPDX-License-Identifier: MIT
//
// The rules of chess for the tools: chess.js, or one line that tells how to get it.

import path from 'node:path';

let library;
try {
  library = await import('chess.js');
} catch (error) {
  if (error.code !== 'ERR_MODULE_NOT_FOUND') throw error;
  const tool = path.basename(process.argv[1] ?? 'tools');
  console.error(`${tool}: chess.js is missing; please run "npm ci" in the folder tools`);
  process.exit(1);
}

export const { Chess, validateFen } = library;
