// SPDX-License-Identifier: MIT
// A few fast games of one thread against two; clock-games.long.test.mjs plays many.

import { clockGames } from './clock-games.mjs';

clockGames({ games: 4, pairs: 2 });
