// SPDX-License-Identifier: MIT
//
// What the unit tests share: tables built once per process, a position with a move stack and
// caches of its own, and moves by their text. Link with support.cpp.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "eval.h"
#include "general.h"
#include "global.h"
#include "hash.h"
#include "move.h"
#include "moveTable.h"
#include "perft.h"
#include "search.h"

/// A position with everything that a searcher has, set from a FEN.
class Board
{
  public:
    explicit Board(const std::string& fen);

    positionStruct* get() { return state.get(); }
    positionStruct* operator->() { return state.get(); }
    plyStruct& ply(int n) { return state->plies[n]; }

    /// The legal moves at ply 0, in generated order.
    std::vector<moveStruct> legalMoves();

    /// The legal move with this text at ply 0, its score byte the mover's code; fails the test and
    /// returns EMPTYMOVE when there is none.
    moveStruct move(const std::string& text);

    /// The list of ply 0 as a generator has left it.
    std::vector<moveStruct> list();

    /// Texts of a list in its order, separated by spaces.
    std::string texts(const std::vector<moveStruct>& moves);

  private:
    std::unique_ptr<positionStruct> state;
    std::unique_ptr<moveStruct[]> stack;
    std::unique_ptr<pawnHashTableStruct> pawns;
    std::unique_ptr<evalHashTableStruct> evaluations;
};

/// A square from its name, such as sq("e4").
u8 sq(const std::string& name);

/// The union of squares named in a text, such as squares("a1 b2").
u64 squares(const std::string& names);

/// The first difference between the incremental state and one computed from scratch at a ply, or
/// an empty text.
std::string inconsistency(const positionStruct* position, int ply);

/// What a function writes to standard output.
template <typename Function> std::string written(Function function)
{
    testing::internal::CaptureStdout();
    function();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

/// The lines of a text, without their ends.
std::vector<std::string> linesOf(const std::string& text);

std::string repeated(const std::string& text, int times);

/// The positions of the bench and of the perft file: more than two hundred, of all phases and with
/// every special move.
const std::vector<std::string>& manyPositions();

inline std::ostream& operator<<(std::ostream& out, combEval score)
{
    return out << "X(" << mgHalf(score) << "," << egHalf(score) << ")";
}

inline std::ostream& operator<<(std::ostream& out, moveStruct move)
{
    return out << moveToString(&move, -1);
}

inline bool operator==(moveStruct a, moveStruct b)
{
    return moveWord(a) == moveWord(b);
}
