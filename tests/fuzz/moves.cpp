// SPDX-License-Identifier: MIT
//
// The rest of a `position` line: set up and played, then counted one ply deep and searched. The
// depth of the search is the number of the input's bytes, 1 to 3.

#include <sstream>

#include "hash.h"
#include "perft.h"
#include "search.h"
#include "targets.h"
#include "uci.h"

void fuzzMoves(const std::string& input)
{
    std::istringstream words(input);
    UCIposition(words);
    require(GPS->keyIndex >= 0 && GPS->keyIndex < KEYHISTORYSIZE, "the next key has a slot");

    positionStruct* const position = bareBoard();
    moveStruct* const list = position->plies[0].moveListStart;
    *position = *GPS;
    position->plies[0].moveListStart = list;
    if (makePlayable(position))
    {
        require(position->hashKey == calcHashKey(0, position), "the key is right");
        perft(0, 1, position);
    }
    std::istringstream limits("depth " + std::to_string(1 + input.size() % 3));
    UCIgo(limits);
    finishSearch();
}
