// SPDX-License-Identifier: MIT
//
// The list writers: the plain one against the layout of a move, and the one in use against the
// plain one. They differ on a processor with AVX-512.

#include <algorithm>
#include <random>
#include <vector>

#include "support.h"

namespace
{

constexpr u32 byTo = 0x100;   // `to` in its byte
constexpr u32 byBoth = 0x101; // `from` follows `to`

/// The words of the moves that a writer function appends for a set of squares.
class Lists
{
  public:
    template <typename... Arguments>
    const std::vector<u32>& write(moveStruct* (*append)(moveStruct*, u64, u32, u32, Arguments...),
                                  u64 targets, u32 step, u32 base, Arguments... arguments)
    {
        const moveStruct* const end = append(slots, targets, step, base, arguments...);
        words.clear();
        for (const moveStruct* move = slots; move < end; ++move) words.push_back(moveWord(*move));
        return words;
    }

  private:
    moveStruct slots[32 + 8] = {}; // a writer may write whole groups of eight
    std::vector<u32> words;
};

/// Fails when the two writers differ on a set.
void compare(u64 targets, u32 step, u32 base, const positionStruct* position)
{
    static Lists plain, used;
    ASSERT_EQ(used.write(listWriterInUse.appendMoves, targets, step, base),
              plain.write(plainListWriter.appendMoves, targets, step, base))
        << std::hex << targets << ' ' << step << ' ' << base;
    ASSERT_EQ(used.write(listWriterInUse.appendCaptures, targets, step, base, position),
              plain.write(plainListWriter.appendCaptures, targets, step, base, position))
        << std::hex << targets << ' ' << step << ' ' << base;
}

void fillAtRandom(positionStruct* position, std::mt19937_64& random)
{
    for (u8& code : position->board) code = static_cast<u8>(random() % NOFPIECECODES);
}

} // namespace

TEST(MoveListWriter, AMoveIsItsSquaresItsKindAndTheVictimsCodeTimesEightLessTheMalus)
{
    Board board("4k3/8/8/8/1q3r2/8/8/4K3 w - - 0 1");
    const u64 victims = squares("b4 f4");
    // A knight on d5 (code 4): 10 * 8 - 4 for the queen, 8 * 8 - 4 for the rook, both black.
    const u32 knight = sq("d5") - (4U << 24);
    // Black pawns that capture towards file h; they come from seven squares above.
    const u32 pawns = 7U - (2U << 24);
    const auto word = [](const char* from, const char* to, u32 kind, u32 score)
    { return u32{sq(from)} | u32{sq(to)} << 8 | kind << 16 | score << 24; };
    for (const listWriter* writer : {&plainListWriter, &listWriterInUse})
    {
        Lists lists;
        const positionStruct* const position = board.get();
        EXPECT_EQ(lists.write(writer->appendCaptures, victims, byTo, knight, position),
                  (std::vector{word("d5", "b4", 0, 84), word("d5", "f4", 0, 68)}));
        EXPECT_EQ(lists.write(writer->appendCaptures, victims, byBoth, pawns, position),
                  (std::vector{word("a5", "b4", 0, 86), word("e5", "f4", 0, 70)}));
        EXPECT_EQ(lists.write(writer->appendMoves, squares("a4 h4"), byBoth, (13U << 16) - 16U),
                  (std::vector{word("a2", "a4", 13, 0), word("h2", "h4", 13, 0)}));
        EXPECT_TRUE(lists.write(writer->appendMoves, 0, byTo, knight).empty());
        EXPECT_TRUE(lists.write(writer->appendCaptures, 0, byTo, knight, position).empty());
    }
}

TEST(MoveListWriter, BothWriteTheSameForAMillionRandomSetsOfUpTo32)
{
    std::mt19937_64 random(32);
    Board board{std::string(fenStartPos)};
    for (int i = 0; i < 1000000; ++i)
    {
        if (i % 256 == 0) fillAtRandom(board.get(), random);
        const u64 word = random();
        u64 set = word & random(); // 16 on average
        if (i % 3 == 0) set = word & 0x5555555555555555ULL << word % 2;
        if (i % 7 == 0) set = word; // 32 on average
        while (popcount(set) > 32) set &= set - 1;
        ASSERT_NO_FATAL_FAILURE(
            compare(set, random() % 2 ? byTo : byBoth, static_cast<u32>(random()), board.get()));
    }
}
