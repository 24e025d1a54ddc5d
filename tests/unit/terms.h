// SPDX-License-Identifier: MIT
//
// Single terms of the evaluation of a list of pieces such as "Kg1 Pf2 kg8 qd5", with letters as in
// a FEN. Every position is also evaluated with the colours exchanged.
//
// These tests check the rules. Their expected values refer to the tables of the evaluation, whose
// numbers eval_tables_test.cpp checks.
#pragma once

#include <string>
#include <vector>

#include "support.h"

constexpr combEval none = X(0, 0);

/// A FEN without castling rights from a list of pieces.
std::string fenOf(const std::string& pieces, int sideToMove = WHITE);

/// The same pieces with the ranks mirrored and the colours exchanged.
std::string exchanged(std::string pieces);

/// White's value of a term. Black's must be the same with the colours exchanged.
combEval whites(const std::string& pieces, int term, int sideToMove = WHITE);

/// Black's value of a term, and likewise white's with the colours exchanged.
combEval blacks(const std::string& pieces, int term, int sideToMove = WHITE);

/// A list of pieces, white's value of a term there, and what the case is about.
struct termCase
{
    const char* pieces;
    combEval value;
    const char* why = "";
};

/// Expects white's value of a term in each case.
void expectWhites(int term, const std::vector<termCase>& cases);
