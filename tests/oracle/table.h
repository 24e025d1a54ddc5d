// SPDX-License-Identifier: MIT
//
// The transposition table: lines of one entry, four neighbouring lines probed for a key.
#ifndef QUILLON_ORACLE_TABLE_H
#define QUILLON_ORACLE_TABLE_H

#include "position.h"

#include <cstdlib>
#include <memory>

namespace oracle
{

enum Bound : Byte
{
    noBound = 0,
    upperBound = 1,
    lowerBound = 2,
    exactBound = 3
};

// An entry as read back. A miss has the bound 0.
struct Entry
{
    Move move;
    int score = 0; // mate scores still count from the storing node
    int depth = 0;
    Bound bound = noBound;
};

class Table
{
  public:
    explicit Table(int megabytes) { resize(megabytes); }

    void resize(int megabytes);
    void clear();
    void startSearch();

    Entry get(std::uint64_t key);
    void put(std::uint64_t key, const Move& move, int score, int depth, Bound bound, int ply);

    // How often a put has thrown out another key's entry since the table was cleared. While this
    // is 0 nothing that a search finds depends on the values of the keys.
    std::uint64_t replacements = 0;

  private:
    struct Line
    {
        std::uint64_t check;
        std::uint64_t data;
    };
    struct Release
    {
        void operator()(Line* block) const { std::free(block); }
    };

    Line& line(std::uint64_t key, std::size_t probe);
    int keepValue(const Line& entry) const;

    std::unique_ptr<Line, Release> lines;
    std::size_t homeLines = 0;
    unsigned age = 0;
    unsigned searches = 0;
};

} // namespace oracle

#endif
