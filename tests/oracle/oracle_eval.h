// SPDX-License-Identifier: MIT
//
// The static score that the reference search asks for. A board is 64 man codes, a1 first:
// 0 empty, 2 to 13 pawn to king, even white and odd black. Scores are from the view of the
// side to move, 0 white and 1 black.
#ifndef QUILLON_ORACLE_EVAL_H
#define QUILLON_ORACLE_EVAL_H

// The whole evaluation.
int oracleEvaluate(const unsigned char board[64], int sideToMove);

// Material, piece-square sums, drawn material, bishop pair and tempo only.
int oracleEvaluateDriver(const unsigned char board[64], int sideToMove);

#endif
