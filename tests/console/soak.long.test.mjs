// SPDX-License-Identifier: MIT
// Twenty thousand searches in one process.

import { test } from 'node:test';
import { soak } from './soak.mjs';

test('after 100 searches a process takes nothing more in 19,900', (t) => soak(t, 20000));
