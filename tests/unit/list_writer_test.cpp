// SPDX-License-Identifier: MIT
//
// The list writers of this build against the layout of a move. Besides the plain one there are
// others for processors with AVX2 and AVX-512.

#include <random>

#include "../oracle/model.h"
#include "moveTable.h"
#include "support.h"

namespace
{

/// The words of the moves that a writer function appends for a set of squares.
template <typename... Types, typename... Arguments>
std::vector<u32> listOf(moveStruct* (*append)(moveStruct*, u64, Types...), u64 targets,
                        Arguments... arguments)
{
    moveStruct slots[48 + 8] = {}; // a writer may write whole groups of eight
    const moveStruct* const end = append(slots, targets, arguments...);
    std::vector<u32> words;
    for (const moveStruct* move = slots; move < end; ++move) words.push_back(moveWord(*move));
    return words;
}

/// What `wordTo` gives for each square of a set.
std::vector<u32> listTo(u64 targets, const auto& wordTo)
{
    std::vector<u32> words;
    for (const int to : oracle::Squares(targets)) words.push_back(wordTo(to));
    return words;
}

u32 word(int from, int to, int kind, int score)
{
    return static_cast<u32>(from | to << 8 | kind << 16 | score << 24);
}

} // namespace

TEST(MoveListWriter, AMoveIsItsSquaresItsKindAndTheVictimsCodeTimesEightLessTheMalus)
{
    constexpr u32 byTo = 0x100;   // `to` in its byte
    constexpr u32 byBoth = 0x101; // `from` follows `to`
    Board board{std::string(fenStartPos)};
    std::mt19937 random(32);
    const auto below = [&random](u32 limit) { return static_cast<int>(random() % limit); };
    const auto anySet = [&random] { return u64{random()} << 32 | random(); };
    for (int i = 0; i < 200000; ++i)
    {
        if (i % 256 == 0)
            for (u8& code : board->board) code = static_cast<u8>(below(NOFPIECECODES));
        u64 set = i % 7 == 0 ? anySet() : i % 3 == 0 ? ~0ULL : anySet() & anySet();
        if (i % 5 == 0) set &= anySet() & anySet();
        const int kind = below(16);
        const int malus = below(16);
        const int from = below(64);
        const u32 base = word(from, 0, kind, -malus);
        const u64 line[] = {knightAttackTable[from], bishopAttackAll[from], rookAttackAll[from],
                            bishopAttackAll[from] | rookAttackAll[from], kingAttackTable[from]};

        // All pawns come from so many squares below, or above. They have 32 targets at most.
        const int step = below(33) - 16;
        const u32 pawnBase = word(0, 0, kind, -malus) - static_cast<u32>(step);
        const u64 half = 0x5555555555555555ULL << below(2);
        const u64 pawns = set & half & (step > 0 ? ~0ULL << step : ~0ULL >> -step);
        const int low = below(8);
        const int high = low + below(8U - static_cast<u32>(low));
        const u64 ranks = ~0ULL << 8 * low & ~0ULL >> 8 * (7 - high);

        const positionStruct* const position = board.get();
        const auto gain = [&](int to) { return position->board[to] * 8 - malus; };
        for (const listWriter& writer : listWriters())
        {
            ASSERT_EQ(
                listOf(writer.appendPawnMoves, pawns & ranks, pawnBase, low, high),
                listTo(pawns & ranks, [=](int to) { return word(to - step, to, kind, -malus); }));
            ASSERT_EQ(listOf(writer.appendCaptures, pawns, byBoth, pawnBase, position),
                      listTo(pawns, [=](int to) { return word(to - step, to, kind, gain(to)); }));
            ASSERT_EQ(listOf(writer.appendCaptures, set & half, byTo, base, position),
                      listTo(set & half, [=](int to) { return word(from, to, kind, gain(to)); }));
            for (int type = KNIGHT; type <= KING; type += 2)
                ASSERT_EQ(listOf(writer.appendPieceMoves, set & line[type / 2 - 2], from, type),
                          listTo(set & line[type / 2 - 2],
                                 [=](int to) { return word(from, to, KINDPLAIN, 0); }));
        }
    }
}
