// SPDX-License-Identifier: MIT
//
// Single terms of an evaluation, read from men named in a text such as "Kg1 Pf2 kg8 qd5": letter
// as in a FEN, then the square. Every look is a double one, also with the colours exchanged.
#pragma once

#include <string>

#include "support.h"

/// A FEN without rights from a list of men.
std::string fenOf(const std::string& men, int sideToMove = WHITE);

/// The same men with the ranks mirrored and the colours exchanged.
std::string exchanged(std::string men);

/// White's value of a term. Black's must be the same with the colours exchanged.
combEval whites(const std::string& men, int term, int sideToMove = WHITE);

/// Black's value of a term, and likewise white's with the colours exchanged.
combEval blacks(const std::string& men, int term, int sideToMove = WHITE);

/// One man as an entry of a list, from its letter and the file and rank, both from 0.
std::string man(char letter, int file, int rank);
