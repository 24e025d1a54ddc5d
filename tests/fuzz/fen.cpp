// SPDX-License-Identifier: MIT
//
// A FEN: set up both ways, shown, evaluated both ways, and counted two plies deep.

#include "eval.h"
#include "general.h"
#include "hash.h"
#include "perft.h"
#include "search.h"
#include "targets.h"

namespace
{

void examine(positionStruct* position)
{
    constexpr size_t pictureSize = 17UL * 34;
    require(boardToString(position).size() == pictureSize, "a board has 17 lines");
    if (!makePlayable(position)) return;

    require(isBoardStructOK(position), "a playable board agrees with its bitboards");
    require(position->hashKey == calcHashKey(0, position), "the key is that of the record");
    require(position->pawnHashKey == calcHashKeyPawn(0, position), "so is the pawn key");

    // Once past the caches, once into them, once out of them.
    const int traced = evaluateTraced(position).score;
    require(evaluateN(0, position) == traced, "the terms add up to the evaluation");
    require(evaluateN(0, position) == traced, "the caches give back what was put into them");

    const positionStruct before = *position;
    const u64 one = perft(0, 1, position);
    const u64 two = perft(0, 2, position);
    require(perftRev(0, 2, position) == two, "the order of moves doesn't change a count");
    require(one > 0 || two == 0, "no move, no second move");
    require(position->hashKey == before.hashKey, "perft gives the position back");
    require(isBoardStructOK(position), "and its board");
}

} // namespace

void fuzzFen(const std::string& input)
{
    positionStruct* const position = bareBoard();
    setPositionG(input, position);
    examine(position);
    setPosition(input, position);
    examine(position);
}
