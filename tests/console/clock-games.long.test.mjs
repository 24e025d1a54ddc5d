// SPDX-License-Identifier: MIT
// Two hundred fast games of one thread against two, twelve of them in a sanitizer build.

import { clockGames } from './clock-games.mjs';
import { timeScale } from './engine.mjs';

clockGames(timeScale <= 1 ? { games: 200, pairs: 20 } : { games: 12, pairs: 2 });
