// SPDX-License-Identifier: MIT
//
// What the generators do besides the lists that model_test.cpp compares with the model; simple
// checks.

#include <tuple>

#include "support.h"

TEST(MoveGenerators, AnEmptyListHasTheScore0InItsFirstSlotExceptInQuiescence)
{
    const char* const mate = "4k3/8/8/8/8/8/5PPP/3r2K1 w - - 0 1";
    for (const auto& [generate, fen, score] :
         {std::tuple(&generateMovesCaptures, "4k3/8/p7/P6p/7P/8/8/4K3 w - - 0 1", 0),
          {&generateMovesCaptures, mate, 0},
          {&generateMovesLegal, mate, 0},
          {&generateMovesQuiescence, mate, 77}})
    {
        Board board(fen);
        board.ply(0).moveListStart->score = 77;
        board.ply(0).pickerStage = 7;
        generate(0, board.ply(0).moveListStart, board.get());
        EXPECT_TRUE(board.list().empty()) << fen;
        EXPECT_EQ(board.ply(0).moveListStart->score, score) << fen;
        // Evasions are a node's last stage; quiescence has no stages.
        EXPECT_EQ(board.ply(0).pickerStage, board.ply(0).inCheck && score == 0 ? 99 : 7) << fen;
    }
}

TEST(MoveGenerators, SimpleChecksComeInTheirOrderAndOnlyTheFirstGetsAScore)
{
    // A promotion to queen or knight may check, also through the square that the pawn leaves.
    for (const auto& [fen, list] : {std::pair("8/3P4/8/8/8/8/3k4/7K w - - 0 1", "d7d8q"),
                                    {"8/3P4/4k3/8/8/8/8/7K w - - 0 1", "d7d8n"},
                                    {"k7/8/8/8/8/8/p7/7K b - - 0 1", "a2a1q"},
                                    {"8/8/8/3k4/8/4P3/2P5/7K w - - 0 1", "e3e4 c2c4"},
                                    {"4k3/4p3/8/8/3K4/8/8/8 b - - 0 1", "e7e5"},
                                    {"7k/8/8/8/8/8/8/K4R2 w - - 0 1", "f1h1 f1f8"},
                                    {"4r3/8/8/7k/8/8/4N1N1/4K3 w - - 0 1", "g2f4"}, // e2 is pinned
                                    {"4k3/8/8/8/8/8/8/K7 w - - 0 1", ""}})
    {
        Board board(fen);
        moveStruct* const start = board.ply(0).moveListStart;
        generateMovesCaptures(0, start, board.get()); // computes pins
        for (int i = 0; i < 9; ++i) start[i] = {1, 2, 3, 77};
        generateSimpleChecks(0, start, board.get());
        EXPECT_EQ(board.texts(board.list()), list) << fen;
        EXPECT_EQ(board.ply(1).moveListStart, board.ply(0).moveListEnd) << fen;
        for (int i = 0; i < 9; ++i) EXPECT_EQ(start[i].score, i ? 77 : 255) << fen;
    }
}

TEST(MoveGenerators, RecapturesComputePinsInCheckOnly)
{
    for (const auto& [fen, square, notPinned] :
         {std::tuple("4r2k/8/5p2/8/4N3/8/8/4K3 w - - 0 1", "f6", u64{0x123}),
          {"4r2k/8/8/8/1b6/8/4R3/4K3 w - - 0 1", "b4", ~squares("e2")}})
    {
        Board board(fen);
        board.ply(0).currentMove = {0, sq(square), 0, 0};
        board.ply(1) = board.ply(0);
        board.ply(1).notPinned = 0x123;
        generateMovesRecapture(1, board.ply(1).moveListStart, board.get());
        EXPECT_EQ(board.ply(1).notPinned, notPinned) << fen;
    }
}
