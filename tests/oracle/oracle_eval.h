// SPDX-License-Identifier: MIT
//
// The static score that the reference search asks for, and the terms that it is made of. A board is
// 64 piece codes, a1 first: 0 empty, 2 to 13 pawn to king, even white and odd black. A score is
// from the view of the side to move, 0 white and 1 black.
#ifndef QUILLON_ORACLE_EVAL_H
#define QUILLON_ORACLE_EVAL_H

#include <array>
#include <map>
#include <string>

int oracleEvaluate(const unsigned char board[64], int sideToMove);

// A mid-game and an end-game value; what is good for the colour that owns it counts positive.
struct OracleValue
{
    int mg;
    int eg;
};

// The terms by the names that the engine prints, each with white's and black's value. White's
// values minus black's add up to the pair that is blended.
using OracleTerms = std::map<std::string, std::array<OracleValue, 2>>;

OracleTerms oracleTerms(const unsigned char board[64], int sideToMove);

#endif
