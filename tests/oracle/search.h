// SPDX-License-Identifier: MIT
//
// The search of one thread to a fixed depth, without a clock: node search, quiescence, iterative
// deepening, the line from the table, and the lines that a search writes.
#ifndef QUILLON_ORACLE_SEARCH_H
#define QUILLON_ORACLE_SEARCH_H

#include "position.h"
#include "table.h"

#include <string>

namespace oracle
{

std::string moveText(const Move& move, int side);

class Search
{
  public:
    // Searches a copy of the position and prints what it finds. A depth of 0 sets no limit.
    void go(const Position& game, int depthLimit);

    // Empties the table.
    void newGame() { table.clear(); }

  private:
    Score evaluate() const;
    Score alphaBeta(int ply, int depth, int alphaGiven, int betaGiven, bool nullAllowed);
    Score quiescence(int ply, int depth, int alphaGiven, int betaGiven);
    Score child(int ply, int depth, int alpha, int beta);

    int nonPawns() const;
    bool repeated() const;
    Score nullMove(int ply, int depth, Score beta);
    bool probCut(int ply, int depth, Score beta, int staticEval, Score& value);
    void prepareList(int ply);
    int laterMove(int ply, int newDepth, int reduction, Score alpha, Score beta);
    Score failHigh(int ply, int depth, int cursor, Score value);
    void halveHistories();
    Entry lookUp() const;
    void store(const Move& move, int value, int depth, Bound bound, int ply);

    void iterate(int depthLimit);
    void widenUntilHeld(int depth);
    bool reportIteration(int depth);
    void lineFromTable(int depth);
    std::string lineText() const;

    Table table;
    Position p;
    Score score = 0;
    Score alpha = 0;
    Score beta = 0;
    Move ponderFirst;
    Move ponderSecond;
};

} // namespace oracle

#endif
