// SPDX-License-Identifier: MIT
//
// The list writers: the plain one against the layout of a move, and the others of this build
// against the plain one. Others exist for processors with AVX2 and AVX-512.

#include <algorithm>
#include <random>
#include <vector>

#include "moveTable.h"
#include "support.h"

namespace
{

constexpr u32 byTo = 0x100;   // `to` in its byte
constexpr u32 byBoth = 0x101; // `from` follows `to`

/// The words of the moves that a writer function appends for a set of squares.
class Lists
{
  public:
    template <typename... Types, typename... Arguments>
    const std::vector<u32>& write(moveStruct* (*append)(moveStruct*, u64, Types...), u64 targets,
                                  Arguments... arguments)
    {
        const moveStruct* const end = append(slots, targets, arguments...);
        words.clear();
        for (const moveStruct* move = slots; move < end; ++move) words.push_back(moveWord(*move));
        return words;
    }

  private:
    moveStruct slots[48 + 8] = {}; // a writer may write whole groups of eight
    std::vector<u32> words;
};

/// Fails when the plain writer and another one differ on parts of a set.
void compare(const listWriter& writer, u64 set, std::mt19937_64& random,
             const positionStruct* position)
{
    static const listWriter plain = listWriters().front();
    static Lists expected, found;
    const auto base = static_cast<u32>(random());
    const int low = static_cast<int>(random() % 8);
    const int high = low + static_cast<int>(random() % (8U - static_cast<u32>(low)));
    const u64 ranks = ~0ULL << 8 * low & ~0ULL >> 8 * (7 - high);
    const u64 half = 0x5555555555555555ULL << random() % 2; // for the limit of 32 targets
    ASSERT_EQ(found.write(writer.appendPawnMoves, set & ranks & half, base, low, high),
              expected.write(plain.appendPawnMoves, set & ranks & half, base, low, high))
        << std::hex << (set & ranks & half) << ' ' << base << ' ' << low << ' ' << high;

    const auto from = static_cast<int>(random() % 64);
    const u64 bishop = bishopAttackAll[from], rook = rookAttackAll[from];
    const u64 reach[] = {knightAttackTable[from], bishop, rook, bishop | rook,
                         kingAttackTable[from]};
    for (int type = KNIGHT; type <= KING; type += 2)
    {
        const u64 targets = set & reach[type / 2 - 2];
        ASSERT_EQ(found.write(writer.appendPieceMoves, targets, from, type),
                  expected.write(plain.appendPieceMoves, targets, from, type))
            << std::hex << targets << ' ' << from << ' ' << type;
    }

    const u32 step = random() % 2 ? byTo : byBoth;
    ASSERT_EQ(found.write(writer.appendCaptures, set & half, step, base, position),
              expected.write(plain.appendCaptures, set & half, step, base, position))
        << std::hex << (set & half) << ' ' << step << ' ' << base;
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
    for (const listWriter& writer : listWriters())
    {
        Lists lists;
        const positionStruct* const position = board.get();
        EXPECT_EQ(lists.write(writer.appendCaptures, victims, byTo, knight, position),
                  (std::vector{word("d5", "b4", 0, 84), word("d5", "f4", 0, 68)}));
        EXPECT_EQ(lists.write(writer.appendCaptures, victims, byBoth, pawns, position),
                  (std::vector{word("a5", "b4", 0, 86), word("e5", "f4", 0, 70)}));
        EXPECT_EQ(lists.write(writer.appendPawnMoves, squares("a4 h4"), (13U << 16) - 16U, 3, 3),
                  (std::vector{word("a2", "a4", 13, 0), word("h2", "h4", 13, 0)}));
        EXPECT_EQ(lists.write(writer.appendPieceMoves, squares("b4 f4"), sq("d5"), KNIGHT),
                  (std::vector{word("d5", "b4", 0, 0), word("d5", "f4", 0, 0)}));
        EXPECT_TRUE(lists.write(writer.appendPawnMoves, 0, 0U, 1, 6).empty());
        EXPECT_TRUE(lists.write(writer.appendPieceMoves, 0, sq("d5"), KNIGHT).empty());
        EXPECT_TRUE(lists.write(writer.appendCaptures, 0, byTo, knight, position).empty());
    }
}

TEST(MoveListWriter, AllWriteTheSameForHalfAMillionRandomSets)
{
    std::mt19937_64 random(32);
    Board board{std::string(fenStartPos)};
    for (int i = 0; i < 500000; ++i)
    {
        if (i % 256 == 0) fillAtRandom(board.get(), random);
        const u64 word = random();
        u64 set = word & random();                  // 16 squares on average
        if (i % 3 == 0) set = ~0ULL;                // all
        if (i % 7 == 0) set = word;                 // 32 on average
        if (i % 5 == 0) set &= random() & random(); // 4 on average
        for (const listWriter& writer : listWriters())
            ASSERT_NO_FATAL_FAILURE(compare(writer, set, random, board.get()));
    }
}
