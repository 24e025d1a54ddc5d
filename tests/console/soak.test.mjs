// SPDX-License-Identifier: MIT
// A short soak; soak.long.test.mjs goes on for longer.

import { test } from 'node:test';
import { soak } from './soak.mjs';

test('after 100 searches a process takes nothing more in the next 400', (t) => soak(t, 500));
