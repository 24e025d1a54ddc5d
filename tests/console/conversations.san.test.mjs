// SPDX-License-Identifier: MIT
// Holds the conversations of `tests/conversations`, each in the builds that it names. Their
// language stands at the top of talk.mjs.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { describe, test } from 'node:test';

import { sourceDir } from './engine.mjs';
import { buildUnderTest, parseTalk, playTalk } from './talk.mjs';

const folder = path.join(sourceDir, 'tests', 'conversations');
const files = fs.readdirSync(folder).filter((name) => name.endsWith('.talk')).sort();

assert.ok(files.length > 0, `${folder} has no conversation`);

describe('conversations', () => {
  for (const name of files) {
    const talk = parseTalk(
      path.join('tests', 'conversations', name),
      fs.readFileSync(path.join(folder, name), 'latin1'),
    );
    if (talk.builds.includes(buildUnderTest)) test(talk.title, () => playTalk(talk));
  }
});
