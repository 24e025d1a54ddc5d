// SPDX-License-Identifier: MIT
//
// Making moves, and isLegalMove, where model_test.cpp doesn't compare them with the model.

#include <algorithm>
#include <cstring>

#include "support.h"


// Making moves

TEST(MoveMake, AnIllegalMoveIsRefusedAndTouchesNothing)
{
    const char* const pinnedRook = "4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1";
    const struct
    {
        const char* fen;
        moveStruct move;
        bool legal;
    } cases[] = {
        {"4k3/8/8/8/8/8/3r4/4K3 w - - 0 1", {sq("e1"), sq("d1"), 0, 0}, false},
        {"4k3/8/8/b7/8/8/3r4/4K3 w - - 0 1", {sq("e1"), sq("d2"), 0, 0}, false},
        // En passant opens the rank, although neither pawn is pinned.
        {"4k3/8/8/K2pP2r/8/8/8/8 w - d6 0 1", {sq("e5"), sq("d5"), KINDENPASSANT, 0}, false},
        {pinnedRook, {sq("e2"), sq("d2"), 0, 0}, false},
        {pinnedRook, {sq("e2"), sq("e5"), 0, 0}, true},
        {pinnedRook, {sq("e2"), sq("e7"), 0, 0}, true},
        {"4k3/4r3/8/8/8/8/4B3/4K3 w - - 0 1", {sq("e2"), sq("d3"), 0, 0}, false},
        {"4k3/8/8/8/6r1/8/8/4K2R w K - 0 1", {sq("e1"), sq("g1"), KINDCASTLEKING, 0}, false}};
    for (const auto& c : cases)
    {
        Board board(c.fen);
        generateMovesCaptures(0, board.ply(0).moveListStart, board.get());
        board.ply(0).inCheck = 0;
        const auto before = std::make_unique<positionStruct>();
        std::memcpy(static_cast<void*>(before.get()), board.get(), sizeof(positionStruct));
        ASSERT_EQ(makeMove(1, &c.move, board.get(), true), c.legal) << c.fen << ' ' << c.move;
        if (c.legal) continue;
        EXPECT_EQ(std::memcmp(before.get(), board.get(), sizeof(positionStruct)), 0) << c.fen;
        EXPECT_TRUE(makeMove(1, &c.move, board.get(), false)) << c.fen << ": not asked to test";
        unmakeMove(1, &c.move, board.get());
        board.ply(0).inCheck = 1;
        EXPECT_TRUE(makeMove(1, &c.move, board.get(), true)) << c.fen << ": no test in check";
    }
}

TEST(MoveMake, AMoveFromOrToACornerAndAMoveOfTheKingLoseRights)
{
    const char* const rooks = "r3k2r/8/8/8/8/8/8/R3K2R";
    const char* const knights = "r3k2r/8/1N4N1/8/8/1n4n1/8/R3K2R";
    const char* const noRooks = "4k3/8/1n4n1/8/8/1N4N1/8/4K3";
    const struct
    {
        const char* pieces;
        char side;
        int rights;
        const char *from, *to;
        int left;
    } cases[] = {
        {rooks, 'w', 15, "a1", "b1", 11},
        {rooks, 'w', 15, "h1", "g1", 14},
        {rooks, 'w', 15, "e1", "e2", 10},
        {rooks, 'b', 15, "a8", "b8", 7},
        {rooks, 'b', 15, "h8", "g8", 13},
        {rooks, 'b', 15, "e8", "e7", 5},
        {rooks, 'w', 15, "a1", "a8", 3},
        {rooks, 'b', 15, "h8", "h1", 12},
        {rooks, 'w', 10, "a1", "a8", 2},
        // A knight captures in the corner.
        {knights, 'w', 15, "b6", "a8", 7},
        {knights, 'w', 15, "g6", "h8", 13},
        {knights, 'b', 15, "b3", "a1", 11},
        {knights, 'b', 15, "g3", "h1", 14},
        {knights, 'b', 15, "g3", "e2", 15},
        // Rights without rooks. Any move to a1 or h1 removes the right; to a8 or h8 only a white
        // move does.
        {noRooks, 'w', 15, "b3", "a1", 11},
        {noRooks, 'w', 15, "g3", "h1", 14},
        {noRooks, 'b', 15, "b6", "a8", 15},
        {noRooks, 'b', 15, "g6", "h8", 15},
        {"4k3/8/1N4N1/8/8/8/8/4K3", 'w', 15, "b6", "a8", 7},
        // Another piece than a rook in the corner, and a rook from elsewhere.
        {"r3k2q/8/8/8/8/8/8/Q3K2R", 'w', 15, "a1", "b1", 15},
        {"r3k2q/8/8/8/8/8/8/Q3K2R", 'b', 15, "h8", "g8", 15},
        {"r3k2r/8/8/8/3R4/8/8/R3K2R", 'w', 15, "d4", "d5", 15},
    };
    for (const auto& c : cases)
    {
        std::string rights;
        for (int i = 0; i < 4; ++i)
            if (c.rights & 1 << i) rights += "KkQq"[i];
        Board board(std::string(c.pieces) + ' ' + c.side + ' ' + rights + " - 0 1");
        const moveStruct move{sq(c.from), sq(c.to), 0, 0};
        makeMove(1, &move, board.get(), false);
        EXPECT_EQ(board.ply(1).castlingRights, c.left) << c.pieces << ' ' << c.from << c.to;
        EXPECT_EQ(inconsistency(board.get(), 1), "") << c.pieces << ' ' << c.from << c.to;
        EXPECT_EQ(board.ply(0).castlingRights, c.rights) << "the parent keeps its own";
    }
}


// Legality

TEST(MoveLegality, AStoredMoveOfNoPieceOfTheSideToMoveIsRefused)
{
    Board board{std::string(fenStartPos)};
    const moveStruct right{sq("g1"), sq("f3"), 0, KNIGHT};
    EXPECT_TRUE(isLegalMove(0, &right, board.get(), false));
    std::vector<moveStruct> wrong{{64, 3, 0, 0},          {3, 200, 0, QUEEN},
                                  {8, 16, 254, PAWN},     {255, 255, 255, 255},
                                  {sq("e4"), 36, 0, 0},   {sq("g8"), sq("f6"), 0, KNIGHT + BLACK},
                                  {sq("a1"), 8, 0, ROOK}, EMPTYMOVE};
    for (const u8 code : {NOPIECE, PAWN, u8{3}, u8{5}, BISHOP, KING})
        wrong.push_back({sq("g1"), sq("f3"), 0, code});
    for (const moveStruct move : wrong)
        for (const bool pseudoOnly : {true, false})
            EXPECT_FALSE(isLegalMove(0, &move, board.get(), pseudoOnly)) << move;
}

TEST(MoveLegality, TheGeneratorTrustsARightWithoutItsRookAndIsLegalMoveDoesNot)
{
    const struct
    {
        const char *fen, *king, *to, *rook;
        u8 kind;
    } wings[] = {{"4k3/8/8/8/8/8/8/4K3 w K - 0 1", "e1", "g1", "h1", KINDCASTLEKING},
                 {"4k3/8/8/8/8/8/8/4K3 w Q - 0 1", "e1", "c1", "a1", KINDCASTLEQUEEN},
                 {"4k3/8/8/8/8/8/8/4K3 b k - 0 1", "e8", "g8", "h8", KINDCASTLEKING},
                 {"4k3/8/8/8/8/8/8/4K3 b q - 0 1", "e8", "c8", "a8", KINDCASTLEQUEEN}};
    for (const auto& w : wings)
        for (const bool hasRook : {false, true})
        {
            Board board(w.fen);
            const u8 king = board->board[sq(w.king)];
            const moveStruct move{sq(w.king), sq(w.to), w.kind, king};
            if (hasRook) addPiece(static_cast<u8>(king - KING + ROOK), sq(w.rook), board.get());
            generateMovesQuiets(0, board.ply(0).moveListStart, board.get());
            const std::vector<moveStruct> list = board.list();
            EXPECT_TRUE(std::any_of(list.begin(), list.end(),
                                    [&move](moveStruct m) { return sameMove(m, move); }))
                << w.fen;
            for (const bool pseudoOnly : {true, false})
                EXPECT_EQ(isLegalMove(0, &move, board.get(), pseudoOnly), hasRook) << w.fen;
        }
}
