// SPDX-License-Identifier: MIT
//
// The records: order of fields, initial values, plain operations on a board, and notation.

#include <algorithm>
#include <cstring>
#include <new>

#include "support.h"

namespace
{

/// Whether fields are in memory in this order.
template <typename... Fields> bool inOrder(const Fields&... fields)
{
    const void* const places[] = {&fields...};
    return std::is_sorted(std::begin(places), std::end(places), std::less<>());
}

/// A record created in memory that is not zero.
template <typename Record> Record* madeOver(std::vector<std::byte>& memory)
{
    memory.assign(sizeof(Record) + alignof(Record), std::byte{0xa5});
    void* place = memory.data();
    size_t space = memory.size();
    // Keeps the compiler from dropping the bytes written above.
    asm volatile("" : "+r"(place) : : "memory");
    auto* const record = new (std::align(alignof(Record), sizeof(Record), place, space)) Record;
    asm volatile("" : : "r"(record) : "memory");
    return record;
}

} // namespace

TEST(GeneralRecords, AreTriviallyCopyable)
{
    EXPECT_TRUE(std::is_trivially_copyable_v<moveStruct>);
    EXPECT_TRUE(std::is_trivially_copyable_v<plyStruct>);
    EXPECT_TRUE(std::is_trivially_copyable_v<positionStruct>);
    EXPECT_EQ(std::size(positionStruct{}.plies), 128U);
    EXPECT_EQ(std::size(positionStruct{}.keyHistory), 1024U);
}

TEST(GeneralRecords, FieldsAreInTheirOrder)
{
    const auto position = std::make_unique<positionStruct>();
    const plyStruct& y = position->plies[0];
    EXPECT_TRUE(inOrder(y.savedMaterial, y.savedPstScore, y.savedHashKey, y.savedPawnHashKey,
                        y.moveListStart, y.moveListEnd, y.quietsStart, y.currentMove, y.hashMove,
                        y.killers, y.bestMove, y.notPinned, y.savedHalfMoveClock, y.savedGamePhase,
                        y.capturedPiece, y.enPassantSquare, y.castlingRights, y.pickerStage,
                        y.inCheck));
    // Neighbours that are copied together.
    EXPECT_EQ(static_cast<const void*>(y.savedPstScore), y.savedMaterial + 2);
    EXPECT_EQ(&y.savedPawnHashKey, &y.savedHashKey + 1);
    EXPECT_EQ(&y.castlingRights, &y.enPassantSquare + 1);

    const positionStruct& p = *position;
    EXPECT_TRUE(inOrder(p.board, p.hashKey, p.pawnHashKey, p.pieceBB, p.sideToMove, p.material,
                        p.pstScore, p.gamePhase, p.pawnHashTable, p.evalHashTable, p.nodes,
                        p.qNodes, p.keyIndex, p.halfMoveClock, p.rootBestChanges, p.rootScore,
                        p.rootDepth, p.rootDepthComplete, p.nodesToClockCheck, p.workerIndex,
                        p.pvLength, p.selDepth, p.plies, p.keyHistory, p.historyGood, p.historyBad,
                        p.counterMoves));

    const engineStruct& e = engine;
    EXPECT_TRUE(inOrder(e.nodeLimit, e.elapsedTime, e.startTime, e.timeFactor, e.timeLeft,
                        e.timeInc, e.movesToGo, e.gamePly, e.depthLimit, e.mateLimit, e.moveTime,
                        e.targetTime, e.maxTime, e.hashSizeMB, e.nofThreads, e.hashFull,
                        e.nodeCheckInterval, e.infinite, e.ponderEnabled, e.movesToGoGiven));
}

TEST(GeneralRecords, AFreshRecordIsInitialized)
{
    std::vector<std::byte> memory;
    const positionStruct* const fresh = madeOver<positionStruct>(memory);
    EXPECT_EQ(fresh->sideToMove, 0);
    EXPECT_EQ(fresh->keyIndex, 0);
    EXPECT_EQ(fresh->halfMoveClock, 0);
    EXPECT_EQ(fresh->pvLength, 0);
    EXPECT_EQ(fresh->selDepth, 0);
    EXPECT_EQ(fresh->nodes, 0U);
    EXPECT_EQ(fresh->qNodes, 0U);
    for (const plyStruct& ply : fresh->plies)
    {
        EXPECT_EQ(ply.inCheck, 0);
        EXPECT_EQ(ply.notPinned, 0U) << "everything pinned is the safe side";
    }

    const engineStruct& settings = *madeOver<engineStruct>(memory);
    EXPECT_EQ(settings.hashSizeMB, 256);
    EXPECT_EQ(settings.nofThreads, 1);
    EXPECT_EQ(settings.nodeLimit + settings.elapsedTime + settings.startTime, 0U);
    EXPECT_EQ(settings.timeFactor, 0.0F);
    for (const relaxed<i32>* number :
         {&settings.depthLimit, &settings.mateLimit, &settings.moveTime, &settings.gamePly,
          &settings.hashFull, &settings.nodeCheckInterval})
        EXPECT_EQ(*number, 0);
    EXPECT_EQ(settings.ponderEnabled | settings.infinite | settings.movesToGoGiven, 0);
}

TEST(GeneralRecords, AMoveIsFourBytesAndComparedWithoutItsScore)
{
    EXPECT_EQ(moveWord(packMove(12, 28, 13, 2)), 12U | 28U << 8 | 13U << 16 | 2U << 24);
    EXPECT_EQ(moveWord({12, 28, 13, 2}), moveWord(packMove(12, 28, 13, 2)));
    EXPECT_TRUE(wordMove(moveWord({1, 2, 3, 4})) == (moveStruct{1, 2, 3, 4}));
    EXPECT_EQ(moveWord(EMPTYMOVE), 0U);
    EXPECT_TRUE(sameMove({1, 2, 0, 77}, {1, 2, 0, 4}));
    for (const moveStruct other : {moveStruct{2, 2, 0, 4}, {1, 3, 0, 4}, {1, 2, 13, 4}})
        EXPECT_FALSE(sameMove({1, 2, 0, 4}, other)) << other;
}

TEST(GeneralRecords, PlainOperationsTouchBoardAndBitboardsOnly)
{
    Board board{std::string(fenStartPos)};
    const u64 key = board->hashKey;
    removePiece(sq("e2"));
    EXPECT_TRUE(isBoardStructOK(board.get()));
    board->pieceBB[WHITE] |= bit(sq("e5"));
    EXPECT_FALSE(isBoardStructOK(board.get())) << "a stray bit among all white pieces";
    initPosition(board.get());
    addPiece(KNIGHT + BLACK, 18, board.get());
    EXPECT_TRUE(isBoardStructOK(board.get()));
    EXPECT_EQ(board->pieceBB[BLACK], bit(18));
    EXPECT_EQ(board->board[18], KNIGHT + BLACK);
    EXPECT_EQ(board->hashKey, key);
}


// Notation

TEST(GeneralNotation, OnlyKindsOneToElevenAddALetter)
{
    const std::string letters = "? ppnnbbrrqq";
    for (int kind = 0; kind < 256; ++kind)
    {
        const moveStruct move = packMove(sq("b2"), sq("c3"), kind, 0);
        std::string expected = "b2c3";
        if (kind == 12) expected = "b2c4";
        if (kind >= 1 && kind <= 11) expected += letters[static_cast<size_t>(kind)];
        EXPECT_EQ(moveToLA(&move, WHITE), expected) << kind;
    }
}

TEST(GeneralNotation, TheLineOfCurrentMovesBeginsWithWhiteWhoeverIsToMove)
{
    Board board("4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1");
    board.ply(0).currentMove = {sq("e5"), sq("d5"), KINDENPASSANT, 0};
    board.ply(1).currentMove = {sq("d4"), sq("e4"), KINDENPASSANT, 0};
    EXPECT_EQ(currentMovesToString(0, board.get()), "e5d6 ");
    EXPECT_EQ(currentMovesToString(1, board.get()), "e5d6 d4e3 ");
}
