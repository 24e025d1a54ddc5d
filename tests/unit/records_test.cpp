// SPDX-License-Identifier: MIT
//
// The records: sizes, order of fields, and the plain operations on a board.

#include <cstddef>

#include "support.h"

TEST(Records, AreTriviallyCopyableAndOfTheirSizes)
{
    EXPECT_TRUE(std::is_trivially_copyable_v<moveStruct>);
    EXPECT_TRUE(std::is_trivially_copyable_v<plyStruct>);
    EXPECT_TRUE(std::is_trivially_copyable_v<positionStruct>);
    EXPECT_EQ(sizeof(moveStruct), 4U);
    EXPECT_EQ(sizeof(positionStruct{}.plies) / sizeof(plyStruct), 128U);
    EXPECT_EQ(sizeof(positionStruct{}.keyHistory), 1024U * 8);
}

TEST(Records, FieldsOfAPlyStandInTheirOrder)
{
    const size_t offsets[] = {offsetof(plyStruct, savedMaterial),
                              offsetof(plyStruct, savedPstScore),
                              offsetof(plyStruct, savedHashKey),
                              offsetof(plyStruct, savedPawnHashKey),
                              offsetof(plyStruct, moveListStart),
                              offsetof(plyStruct, moveListEnd),
                              offsetof(plyStruct, quietsStart),
                              offsetof(plyStruct, currentMove),
                              offsetof(plyStruct, hashMove),
                              offsetof(plyStruct, killers),
                              offsetof(plyStruct, bestMove),
                              offsetof(plyStruct, notPinned),
                              offsetof(plyStruct, savedHalfMoveClock),
                              offsetof(plyStruct, savedGamePhase),
                              offsetof(plyStruct, capturedPiece),
                              offsetof(plyStruct, enPassantSquare),
                              offsetof(plyStruct, castlingRights),
                              offsetof(plyStruct, pickerStage),
                              offsetof(plyStruct, inCheck),
                              offsetof(plyStruct, rankedAt)};
    for (size_t i = 1; i < std::size(offsets); ++i) EXPECT_LT(offsets[i - 1], offsets[i]) << i;
    EXPECT_EQ(offsets[1], offsets[0] + 8) << "the four sums are one block of 16 bytes";
    EXPECT_EQ(offsets[3], offsets[2] + 8) << "the two keys are one block of 16 bytes";
    EXPECT_EQ(offsetof(plyStruct, castlingRights), offsetof(plyStruct, enPassantSquare) + 1);
}

TEST(Records, FieldsOfAPositionStandInTheirOrder)
{
    const size_t offsets[] = {offsetof(positionStruct, board),
                              offsetof(positionStruct, hashKey),
                              offsetof(positionStruct, pawnHashKey),
                              offsetof(positionStruct, pieceBB),
                              offsetof(positionStruct, sideToMove),
                              offsetof(positionStruct, material),
                              offsetof(positionStruct, pstScore),
                              offsetof(positionStruct, gamePhase),
                              offsetof(positionStruct, pawnHashTable),
                              offsetof(positionStruct, evalHashTable),
                              offsetof(positionStruct, nodes),
                              offsetof(positionStruct, qNodes),
                              offsetof(positionStruct, keyIndex),
                              offsetof(positionStruct, halfMoveClock),
                              offsetof(positionStruct, rootBestChanges),
                              offsetof(positionStruct, rootScore),
                              offsetof(positionStruct, rootDepth),
                              offsetof(positionStruct, rootDepthComplete),
                              offsetof(positionStruct, nodesToClockCheck),
                              offsetof(positionStruct, workerIndex),
                              offsetof(positionStruct, pvLength),
                              offsetof(positionStruct, selDepth),
                              offsetof(positionStruct, plies),
                              offsetof(positionStruct, keyHistory),
                              offsetof(positionStruct, historyGood),
                              offsetof(positionStruct, historyBad),
                              offsetof(positionStruct, counterMoves),
                              offsetof(positionStruct, historyChanges)};
    for (size_t i = 1; i < std::size(offsets); ++i) EXPECT_LT(offsets[i - 1], offsets[i]) << i;
}

TEST(Records, AFreshRecordHasItsStatedFieldsZero)
{
    const auto fresh = std::make_unique<positionStruct>();
    EXPECT_EQ(fresh->sideToMove, 0);
    EXPECT_EQ(fresh->keyIndex, 0);
    EXPECT_EQ(fresh->halfMoveClock, 0);
    EXPECT_EQ(fresh->pvLength, 0);
    EXPECT_EQ(fresh->selDepth, 0);
    EXPECT_EQ(fresh->nodes + fresh->qNodes, 0U);
    for (const plyStruct& ply : fresh->plies)
    {
        EXPECT_EQ(ply.inCheck, 0);
        EXPECT_EQ(ply.notPinned, 0U) << "everything pinned is the safe side";
    }
}

TEST(Records, NoEnPassantSquareIsA1WhichNoPawnCanReachByADoublePush)
{
    Board board("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(board.ply(0).enPassantSquare, 0);
    EXPECT_EQ(board->board[A1], NOPIECE);
    EXPECT_EQ(enpassantTable[0], 0U);
}

TEST(Records, EnPassantOfE4ByD4NamesE4AndLandsOnE3)
{
    Board board("4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1");
    const moveStruct move = board.move("d4e3");
    EXPECT_EQ(move.kind, KINDENPASSANT);
    EXPECT_EQ(move.to, sq("e4"));
    makeMove(1, &move, board.get(), true);
    EXPECT_EQ(board->board[sq("e3")], PAWN + BLACK);
    EXPECT_EQ(board->board[sq("e4")], NOPIECE);
}

TEST(Records, APromotionByBlackCarriesTheWhiteCode)
{
    Board board("4k3/8/8/8/8/8/p7/4K3 b - - 0 1");
    const moveStruct move = board.move("a2a1q");
    EXPECT_EQ(move.kind, 10);
    makeMove(1, &move, board.get(), true);
    EXPECT_EQ(board->board[A1], 11);
}

TEST(Records, ComparingMovesIgnoresTheScore)
{
    EXPECT_TRUE(sameMove({1, 2, 0, 77}, {1, 2, 0, 4}));
    EXPECT_FALSE(sameMove({1, 2, 0, 4}, {1, 2, 13, 4}));
    EXPECT_EQ(moveWord(EMPTYMOVE), 0U);
    EXPECT_TRUE(wordMove(moveWord({1, 2, 3, 4})) == (moveStruct{1, 2, 3, 4}));
}

TEST(Records, AStrayBitAmongAllWhiteMenIsFound)
{
    Board board{std::string(fenStartPos)};
    EXPECT_TRUE(isBoardStructOK(board.get()));
    board->pieceBB[WHITE] |= bit(sq("e5"));
    EXPECT_FALSE(isBoardStructOK(board.get()));
}

TEST(Records, AddPieceAndInitPositionTouchBoardAndBitboardsOnly)
{
    Board board{std::string(fenStartPos)};
    const u64 key = board->hashKey;
    initPosition(board.get());
    addPiece(KNIGHT + BLACK, 18, board.get());
    EXPECT_TRUE(isBoardStructOK(board.get()));
    EXPECT_EQ(board->pieceBB[BLACK], bit(18));
    EXPECT_EQ(board->board[18], KNIGHT + BLACK);
    EXPECT_EQ(board->hashKey, key);
}
