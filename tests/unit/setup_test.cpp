// SPDX-License-Identifier: MIT
//
// FEN and position set-up.

#include "support.h"

TEST(SetUp, TwoTokensAreEnough)
{
    Board board("4k3/8/8/8/8/8/8/4K3 w");
    EXPECT_EQ(board->sideToMove, WHITE);
    EXPECT_EQ(board.ply(0).castlingRights, 0);
    EXPECT_EQ(board.ply(0).enPassantSquare, 0);
    EXPECT_EQ(board->halfMoveClock, 0);
    EXPECT_EQ(board->keyIndex, 1);
}

TEST(SetUp, ATrailingBlankChangesNothing)
{
    Board plain("4k3/8/8/8/8/8/8/4K3 w - - 3 9");
    Board blank("4k3/8/8/8/8/8/8/4K3 w - - 3 9 ");
    EXPECT_EQ(plain->hashKey, blank->hashKey);
    EXPECT_EQ(plain->keyIndex, blank->keyIndex);
    EXPECT_EQ(plain->halfMoveClock, blank->halfMoveClock);
}

TEST(SetUp, TheStartPositionHasAllRightsAndOneKey)
{
    Board board{std::string(fenStartPos)};
    EXPECT_EQ(board->keyIndex, 1);
    EXPECT_EQ(board->halfMoveClock, 0);
    EXPECT_EQ(board.ply(0).castlingRights, 15);
    EXPECT_EQ(board.ply(0).enPassantSquare, 0);
    EXPECT_EQ(board->keyHistory[0], board->hashKey);
}

TEST(SetUp, TheClockGivesTheKeySlotAndTheMoveNumberIsNotUsed)
{
    for (const char* number : {"1", "40", "999"})
    {
        Board board(std::string("4k3/8/8/8/4P3/8/8/4K3 b - e3 3 ") + number);
        EXPECT_EQ(board->sideToMove, BLACK);
        EXPECT_EQ(board.ply(0).enPassantSquare, sq("e4"));
        EXPECT_EQ(board->halfMoveClock, 3);
        EXPECT_EQ(board->keyIndex, 6);
    }
}

TEST(SetUp, TheSideNotToMoveMayStandInCheck)
{
    Board board("4k3/8/8/8/8/8/8/4R1K1 w - - 0 1");
    EXPECT_TRUE(isBoardStructOK(board.get()));
    EXPECT_EQ(board.ply(0).inCheck, 0);
}

TEST(SetUp, AClockOf300GivesSlot512)
{
    Board board("4k3/8/8/8/8/8/8/4K3 w - - 300 200");
    EXPECT_EQ(board->keyIndex, 513);
    EXPECT_EQ(board->halfMoveClock, 300);
}

TEST(SetUp, RightsAreReadLetterByLetter)
{
    const std::pair<const char*, int> cases[] = {{"KQkq", 15}, {"qkQK", 15}, {"Kq", 9},
                                                 {"-", 0},     {"xyz", 0},   {"QxK", 5}};
    for (const auto& [text, rights] : cases)
    {
        Board board(std::string("r3k2r/8/8/8/8/8/8/R3K2R w ") + text + " - 0 1");
        EXPECT_EQ(board.ply(0).castlingRights, rights) << text;
    }
}

TEST(SetUp, ABadLetterLeavesCode255AndABitAmongTheBlackMen)
{
    Board board("4k3/8/8/8/8/8/X7/4K3 w - - 0 1");
    EXPECT_EQ(board->board[sq("a2")], 255);
    EXPECT_TRUE(board->pieceBB[BLACK] & bit(sq("a2")));
    EXPECT_FALSE(makePlayable(board.get()));
}

TEST(SetUp, AnyTextButWIsBlackToMove)
{
    EXPECT_EQ(Board("4k3/8/8/8/8/8/8/4K3 x")->sideToMove, BLACK);
    EXPECT_EQ(Board("4k3/8/8/8/8/8/8/4K3 white")->sideToMove, WHITE);
}

TEST(SetUp, ANonNumericClockThrows)
{
    positionStruct position{};
    EXPECT_THROW(setPosition("4k3/8/8/8/8/8/8/4K3 w - - x 1", &position), std::invalid_argument);
}

TEST(SetUp, TheStreamTwinTakesTheMoveNumberForTheSlotAndABadClockAsZero)
{
    const auto position = std::make_unique<positionStruct>();
    setPositionG("4k3/8/8/8/4P3/8/8/4K3  b - e3 3 40", position.get());
    EXPECT_EQ(position->halfMoveClock, 3);
    EXPECT_EQ(position->keyIndex, 1 + 2 * 40 - 2 + 1);
    EXPECT_EQ(position->plies[0].enPassantSquare, sq("e4"));
    setPositionG("4k3/8/8/8/8/8/8/4K3 w - - x 1", position.get());
    EXPECT_EQ(position->halfMoveClock, 0);
    EXPECT_EQ(position->keyIndex, 1);
    setPositionG("4k3/8/8/8/8/8/8/4K3 w", position.get());
    EXPECT_EQ(position->plies[0].castlingRights, 0);
}

TEST(SetUp, HostileTextsTouchNothingBeyondTheBoard)
{
    const std::string texts[] = {
        "",
        " ",
        "   ",
        "x",
        "pppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppppp w",
        "////////////////k w",
        "8/8/8/8/8/8/8/8/8/8/8/8/PPPP b - zz 7",
        "4k3/8/8/8/8/8/8/4K3 w  KQ",
        "4k3/8/8/8/8/8/8/4K3 w - \xff\xff 0"};
    for (const std::string& text : texts)
    {
        const auto position = std::make_unique<positionStruct>();
        setPosition(text, position.get());
        makePlayable(position.get());
    }
}

TEST(SetUp, OnlyPlayableRecordsAreSearched)
{
    const char* const refused[] = {
        "8/8/8/8/8/8/8/4K3 w - - 0 1",      // no black king
        "4k3/8/8/8/8/8/8/8 w - - 0 1",      // no white king
        "4k2k/8/8/8/8/8/8/4K3 w - - 0 1",   // two
        "4k2P/8/8/8/8/8/8/4K3 w - - 0 1",   // pawn on rank 8
        "4k3/8/8/8/8/8/8/p3K3 w - - 0 1",   // pawn on rank 1
        "4k3/8/8/8/8/8/8/4RK2 w - - 0 1",   // the side not to move is in check
        "4k3/8/8/3?4/8/8/8/4K3 w - - 0 1",  // no man's code
        "4k3PP/8/8/8/8/8/8/4K3 w - - 0 1"}; // men beyond h8
    for (const char* fen : refused) EXPECT_FALSE(makePlayable(Board(fen).get())) << fen;
    for (const std::string& fen : manyPositions())
    {
        Board board(fen);
        const u64 key = board->hashKey;
        EXPECT_TRUE(makePlayable(board.get())) << fen;
        EXPECT_EQ(board->hashKey, key) << fen;
    }
}

TEST(SetUp, RightsWithoutKingOrRookAtHomeAreDropped)
{
    Board board("r3k3/8/8/8/8/8/8/4K2R w KQkq - 0 1");
    ASSERT_TRUE(makePlayable(board.get()));
    EXPECT_EQ(board.ply(0).castlingRights, WHITEKINGSIDE | BLACKQUEENSIDE);
    EXPECT_EQ(inconsistency(board.get(), 0), "");
    EXPECT_EQ(board->keyHistory[board->keyIndex - 1], board->hashKey);
}

TEST(SetUp, APositionTakesNothingOverFromTheOneBefore)
{
    // The first has everything that the second lacks: rights, a pawn that may be taken, a clock.
    Board board("rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR b KQkq e3 37 3");
    EXPECT_EQ(board.ply(0).enPassantSquare, sq("e4"));
    setPosition("4k3/8/8/8/8/8/8/4K3 w - - 0 1", board.get());
    EXPECT_EQ(board.ply(0).enPassantSquare, 0);
    EXPECT_EQ(board.ply(0).castlingRights, 0);
    EXPECT_EQ(board->halfMoveClock, 0);
    EXPECT_EQ(board->sideToMove, WHITE);
    EXPECT_EQ(popcount(board->pieceBB[WHITE] | board->pieceBB[BLACK]), 2);
    EXPECT_EQ(board->gamePhase, 0);
}
