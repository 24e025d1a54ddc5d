// SPDX-License-Identifier: MIT
//
// Notation, and the dumps for a debugger.

#include <bitset>
#include <random>

#include "support.h"

namespace
{

const std::string border = "+---+---+---+---+---+---+---+---+\n";
const std::string emptyGridRow = "|   |   |   |   |   |   |   |   |\n" + border;
const std::string emptyRow = ". . . . . . . . \n";

} // namespace

TEST(GeneralDumps, TheLargeBitboardIsAGridWithRank8AtTheTop)
{
    EXPECT_EQ(bitboardToStringL(squares("a8 d8 h7 a1 b1")),
              border + "| * |   |   | * |   |   |   |   |\n" + border +
                  "|   |   |   |   |   |   |   | * |\n" + border + repeated(emptyGridRow, 5) +
                  "| * | * |   |   |   |   |   |   |\n" + border);
    EXPECT_EQ(bitboardToStringL(0), border + repeated(emptyGridRow, 8));
}

TEST(GeneralDumps, TheSmallBitboardOfA1HasItsBitAtTheStartOfTheLastRow)
{
    EXPECT_EQ(bitboardToStringS(1), repeated(emptyRow, 7) + "1 . . . . . . . \n");
    EXPECT_EQ(bitboardToStringS(squares("h8 c7 e4")), ". . . . . . . 1 \n"
                                                      ". . 1 . . . . . \n"
                                                      ". . . . . . . . \n"
                                                      ". . . . . . . . \n"
                                                      ". . . . 1 . . . \n"
                                                      ". . . . . . . . \n"
                                                      ". . . . . . . . \n"
                                                      ". . . . . . . . \n");
    EXPECT_EQ(bitboardToStringS(~0ULL), repeated("1 1 1 1 1 1 1 1 \n", 8));
}

TEST(GeneralDumps, AllFourteenBitboardsAreShownInTheOrderOfTheirCodes)
{
    // White: king e1, rook a1. Black: king e8, pawn h7.
    Board board("4k3/7p/8/8/8/8/8/R3K3 w - - 0 1");
    const u64 expected[14] = {
        squares("a1 e1"), squares("e8 h7"), 0, squares("h7"), 0, 0, 0, 0, squares("a1"), 0, 0, 0,
        squares("e1"),    squares("e8")};
    std::string large;
    std::string small;
    for (int i = 0; i < 14; ++i)
    {
        const std::string title = "Bitboard " + std::to_string(i) + "\n";
        large += title + bitboardToStringL(expected[i]);
        small += title + bitboardToStringS(expected[i]);
    }
    EXPECT_EQ(written([&] { showBitboardsL(board.get()); }), large);
    EXPECT_EQ(written([&] { showBitboardsS(board.get()); }), small);
}

TEST(GeneralDumps, ABoardIsPrintedAsItsCodesAndAnEmptyLine)
{
    Board board(std::string{fenStartPos});
    EXPECT_EQ(written([&] { printBoard(board->board); }), "9,5,7,11,13,7,5,9,\n"
                                                          "3,3,3,3,3,3,3,3,\n"
                                                          "0,0,0,0,0,0,0,0,\n"
                                                          "0,0,0,0,0,0,0,0,\n"
                                                          "0,0,0,0,0,0,0,0,\n"
                                                          "0,0,0,0,0,0,0,0,\n"
                                                          "2,2,2,2,2,2,2,2,\n"
                                                          "8,4,6,10,12,6,4,8,\n"
                                                          "\n");
}

TEST(GeneralDumps, ATableIsPrintedInRowsOfPairsInColumnsOfFour)
{
    i16 first[64] = {1, -2, 30, -400, 5000, -32768};
    i16 second[64] = {-1, 12, 345, 6789, 0, 32767};
    first[63] = 7;
    second[56] = -8;
    const std::string zero = "X(   0,   0), ";
    const std::string zeros = repeated(zero, 8) + "\n";
    EXPECT_EQ(written([&] { printTableInFormatX(first, second); }),
              "X(   1,  -1), X(  -2,  12), X(  30, 345), X(-400,6789), X(5000,   0), "
              "X(-32768,32767), X(   0,   0), X(   0,   0), \n" +
                  repeated(zeros, 6) + "X(   0,  -8), " + repeated(zero, 6) + "X(   7,   0), \n");
}

TEST(GeneralDumps, ThePackedSquareTableIsPrintedAsTwoArraysOfItsHalves)
{
    // The mid-game half is first in memory. A negative one has borrowed from the other half.
    std::vector<i16> halves;
    for (const auto& table : pieceSquareScore)
        for (const combEval score : table)
        {
            halves.push_back(narrow<i16>(mgHalf(score)));
            halves.push_back(narrow<i16>(egHalf(score) - (mgHalf(score) < 0)));
        }
    ASSERT_EQ(halves.size(), 768U);
    std::string expected;
    for (const i16* first = &halves[0]; first < &halves[384]; first += NOFSQUARES)
        expected += written([=] { printTableInFormatX(first, first + 384); }) + '\n';
    EXPECT_EQ(written(printPSTinFormatX), expected);
}

TEST(GeneralDumps, SoftwarePopcountCountsTheBits)
{
    std::mt19937_64 random(5);
    u64 dense = ~0ULL;
    for (int bits = 64; bits >= 0; --bits)
    {
        const u64 word = random();
        EXPECT_EQ(softwarePopcount(word), std::bitset<64>(word).count());
        EXPECT_EQ(softwarePopcount(dense), static_cast<u64>(bits));
        dense &= dense - 1;
    }
}

TEST(GeneralDumps, AMoveWithoutIndentHasNoTabsAndIndent0HasOne)
{
    const moveStruct move = {sq("e2"), sq("e4"), KINDDOUBLEPUSH, PAWN};
    for (const auto& [indent, tabs] : {std::pair(-1, ""), {0, "\t"}, {2, "\t\t\t"}})
        EXPECT_EQ(moveToString(&move, indent), tabs + std::string("e2e4 13"));
}

TEST(GeneralNotation, ASquareWithoutAPieceCodeIsAQuestionMarkOnTheBoard)
{
    Board board{std::string(fenStartPos)};
    EXPECT_EQ(boardToString(board.get()).find('?'), std::string::npos);
    board->board[20] = 255;
    EXPECT_NE(boardToString(board.get()).find('?'), std::string::npos);
}
