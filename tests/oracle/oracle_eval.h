// SPDX-License-Identifier: MIT
//
// The static score that the reference search asks for, and the same score taken apart. A board is
// 64 man codes, a1 first: 0 empty, 2 to 13 pawn to king, even white and odd black. Scores are from
// the view of the side to move, 0 white and 1 black.
#ifndef QUILLON_ORACLE_EVAL_H
#define QUILLON_ORACLE_EVAL_H

#include <vector>

int oracleEvaluate(const unsigned char board[64], int sideToMove);

// A term of one colour, for a comparison term by term. mg and eg are from the view of `color`: what
// is good for that colour counts positive. White's entries minus black's add up to the pair that is
// blended.
struct OracleTerm
{
    const char* name;
    int color; // 0 white, 1 black
    int mg;
    int eg;
};

// One entry per term and colour, always in the same order, under the names that the engine prints.
// They are there even when a rule for drawn material makes the score 0.
std::vector<OracleTerm> oracleTerms(const unsigned char board[64], int sideToMove);

#endif
