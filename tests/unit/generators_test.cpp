// SPDX-License-Identifier: MIT
//
// Attack tables, keys, make and unmake, generators, perft counters.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>

#include "support.h"

namespace
{

/// All moves of a class as texts with their scores.
std::string generated(Board& board, void (*generate)(u8, moveStruct*, positionStruct*))
{
    generate(0, board.ply(0).moveListStart, board.get());
    std::string text;
    for (const moveStruct& move : board.list())
        text += moveToLA(&move, board->sideToMove) + ':' + std::to_string(move.score) + ' ';
    return text;
}

/// What a slider attacks, by following each direction until something stands in the way.
u64 slowSlider(int square, u64 occupied, bool diagonal)
{
    u64 attacks = 0;
    for (int df = -1; df <= 1; ++df)
        for (int dr = -1; dr <= 1; ++dr)
        {
            if ((df == 0 && dr == 0) || (df != 0 && dr != 0) != diagonal) continue;
            int file = square % 8 + df;
            int rank = square / 8 + dr;
            while (file >= 0 && file <= 7 && rank >= 0 && rank <= 7)
            {
                attacks |= bit(8 * rank + file);
                if (occupied & bit(8 * rank + file)) break;
                file += df;
                rank += dr;
            }
        }
    return attacks;
}

/// Walks the tree with every node's state checked against one computed from scratch.
void walk(Board& board, int ply, int depth)
{
    if (depth == 0) return;
    plyStruct& here = board.ply(ply);
    generateMovesLegal(static_cast<u8>(ply), here.moveListStart, board.get());
    for (moveStruct* move = here.moveListStart; move < here.moveListEnd; ++move)
    {
        positionStruct before;
        std::memcpy(static_cast<void*>(&before), board.get(), offsetof(positionStruct, plies));
        ASSERT_TRUE(makeMove(static_cast<u8>(ply + 1), move, board.get(), true));
        ASSERT_EQ(inconsistency(board.get(), ply + 1), "") << *move;
        ASSERT_EQ(board->keyHistory[board->keyIndex - 1], board->hashKey);
        walk(board, ply + 1, depth - 1);
        unmakeMove(static_cast<u8>(ply + 1), move, board.get());
        ASSERT_EQ(std::memcmp(&before, board.get(), offsetof(positionStruct, plies)), 0) << *move;
    }
}

} // namespace

TEST(MoveTable, SlidersEqualTheSlowWalkOnRandomBoards)
{
    std::mt19937_64 random(3);
    for (int square = 0; square < 64; ++square)
        for (int i = 0; i < 300; ++i)
        {
            const u64 occupied = random() & random();
            const u8 s = static_cast<u8>(square);
            ASSERT_EQ(getRookAttackTable(s, occupied), slowSlider(s, occupied, false));
            ASSERT_EQ(getBishopAttackTable(s, occupied), slowSlider(s, occupied, true));
            ASSERT_EQ(createRookAttackFromVar(s, occupied), slowSlider(s, occupied, false));
            ASSERT_EQ(createBishopAttackFromVar(s, occupied), slowSlider(s, occupied, true));
            ASSERT_EQ(getRookAttackTable(s, occupied | bit(s)),
                      getRookAttackTable(s, occupied & ~bit(s)));
        }
    for (int s = 0; s < 64; ++s)
    {
        EXPECT_EQ(rookAttackAll[s], slowSlider(s, 0, false));
        EXPECT_EQ(bishopAttackAll[s], slowSlider(s, 0, true));
    }
    EXPECT_EQ(getRookAttackTable(A1, 0), rookAttackAll[A1]);
}

TEST(MoveTable, SlicesFillTheTablesExactly)
{
    const auto size = [](const magicStruct& entry) { return 1LL << (64 - entry.shift); };
    EXPECT_EQ(rookAttackLUT[63].attacks + size(rookAttackLUT[63]), rookAttackTable + 102400);
    EXPECT_EQ(bishopAttackLUT[63].attacks + size(bishopAttackLUT[63]), bishopAttackTable + 5248);
    for (int s = 0; s < 63; ++s)
        EXPECT_EQ(rookAttackLUT[s + 1].attacks, rookAttackLUT[s].attacks + size(rookAttackLUT[s]));
}

TEST(MoveTable, EveryTableIsWhatItsGeometrySays)
{
    for (int a = 0; a < 64; ++a)
    {
        const int fa = a % 8;
        const int ra = a / 8;
        u64 knight = 0, king = 0, isolated = 0, enPassant = 0;
        u64 pawn[2] = {}, ranks[2] = {}, passed[2] = {}, box[2] = {};
        const int cf = std::clamp(fa, 1, 6);
        for (int b = 0; b < 64; ++b)
        {
            const int df = b % 8 - fa;
            const int dr = b / 8 - ra;
            const int d = std::max(std::abs(df), std::abs(dr));
            EXPECT_EQ(distance[a][b], d);
            if (std::abs(df * dr) == 2) knight |= bit(b);
            if (d == 1) king |= bit(b);
            if (std::abs(df) == 1) isolated |= bit(b);
            if (std::abs(df) == 1 && dr == 0 && (ra == 3 || ra == 4)) enPassant |= bit(b);
            if (std::abs(df) == 1 && dr == -1 && ra >= 2) pawn[0] |= bit(b);
            if (std::abs(df) == 1 && dr == 1 && ra <= 5) pawn[1] |= bit(b);
            if (dr >= 0) ranks[0] |= bit(b);
            if (dr <= 0) ranks[1] |= bit(b);
            if (std::abs(df) <= 1 && dr > 0 && ra > 0 && ra < 7) passed[0] |= bit(b);
            if (std::abs(df) <= 1 && dr < 0 && ra > 0 && ra < 7) passed[1] |= bit(b);
            if (std::abs(b % 8 - cf) <= 1 && dr >= -1 && dr <= 2) box[0] |= bit(b);
            if (std::abs(b % 8 - cf) <= 1 && dr >= -2 && dr <= 1) box[1] |= bit(b);

            const bool line = a != b && (df == 0 || dr == 0 || std::abs(df) == std::abs(dr));
            u64 between = 0, whole = 0;
            if (line)
                for (int c = 0; c < 64; ++c)
                {
                    const int ef = c % 8 - fa;
                    const int er = c / 8 - ra;
                    if (ef * dr != er * df) continue;
                    if (c == a || ef * df + er * dr != 0) whole |= bit(c);
                    if (ef * df + er * dr > 0 && std::max(std::abs(ef), std::abs(er)) < d)
                        between |= bit(c);
                }
            EXPECT_EQ(inBetweenSquares[a][b], between) << a << ' ' << b;
            EXPECT_EQ(inLineSquares[a][b], whole) << a << ' ' << b;
        }
        EXPECT_EQ(knightAttackTable[a], knight);
        EXPECT_EQ(kingAttackTable[a], king);
        EXPECT_EQ(isolatedPawns[a], isolated);
        EXPECT_EQ(enpassantTable[a], enPassant);
        for (const int c : {0, 1})
        {
            EXPECT_EQ(pawnAttackTable[c][a], pawn[c]);
            EXPECT_EQ(ranksAtOrAbove[c][a], ranks[c]);
            EXPECT_EQ(passedPawnsMask[c][a], passed[c]);
            EXPECT_EQ(kingSafetyArea[c][a], box[c]) << c << ' ' << a;
        }
    }
}

TEST(MoveTable, PassedMaskOfA7HasTwoSquaresAndOfA8None)
{
    EXPECT_EQ(passedPawnsMask[WHITE][sq("a7")], squares("a8 b8"));
    EXPECT_EQ(passedPawnsMask[WHITE][sq("a8")], 0U);
}

TEST(MoveTable, KingAreasAreClippedAtTheEdge)
{
    const u64 corner = squares("a1 b1 c1 a2 b2 c2 a3 b3 c3");
    EXPECT_EQ(kingSafetyArea[WHITE][sq("a1")], corner);
    EXPECT_EQ(kingSafetyArea[WHITE][sq("b1")], corner);
    EXPECT_EQ(kingSafetyArea[BLACK][sq("e8")], squares("d8 e8 f8 d7 e7 f7 d6 e6 f6"));
}

TEST(MoveTable, LinesBetweenSquares)
{
    EXPECT_EQ(inBetweenSquares[sq("a1")][sq("a2")], 0U);
    EXPECT_EQ(inBetweenSquares[sq("a1")][sq("b3")], 0U);
    EXPECT_EQ(inBetweenSquares[sq("a1")][sq("h8")], squares("b2 c3 d4 e5 f6 g7"));
    EXPECT_EQ(inLineSquares[sq("b2")][sq("c3")], squares("a1 b2 c3 d4 e5 f6 g7 h8"));
}

TEST(MoveTable, NoWhitePawnAttacksRank2AndBlackOnesAttackB1FromA2AndC2)
{
    EXPECT_EQ(pawnAttackTable[WHITE][sq("b2")], 0U);
    EXPECT_EQ(pawnAttackTable[BLACK][sq("b1")], squares("a2 c2"));
}

TEST(MoveTable, AMagicNumberHasTheBitsAskedFor)
{
    for (const int bits : {1, 9, 40, 64}) EXPECT_EQ(popcount(generateMagicNumber(bits)), bits);
    EXPECT_EQ(generateMagicNumber(0), 0U);
    EXPECT_EQ(generateMagicNumber(-3), 0U);
    EXPECT_FALSE(onBoard(-1));
    EXPECT_FALSE(onBoard(64));
    EXPECT_TRUE(onBoard(63));
}

TEST(Keys, AnEnPassantPawnThatNobodyCanTakeCounts)
{
    Board with("4k3/8/8/8/4P3/8/8/4K3 b - e3 0 1");
    Board without("4k3/8/8/8/4P3/8/8/4K3 b - - 0 1");
    EXPECT_EQ(with->hashKey ^ without->hashKey, hashCodeEnpassant[4]);
}

TEST(Keys, RightsAreKeyedByTheirWholeValue)
{
    Board all("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    Board none("r3k2r/8/8/8/8/8/8/R3K2R w - - 0 1");
    EXPECT_EQ(all->hashKey ^ none->hashKey, hashCodeCastling[0] ^ hashCodeCastling[15]);
    EXPECT_NE(hashCodeCastling[0], 0U);
}

TEST(Keys, ThePawnKeyFollowsKingsAndPawnsOnly)
{
    Board board("4k3/8/8/8/8/8/4P3/3QK3 w - - 0 1");
    const u64 key = board->pawnHashKey;
    const moveStruct queen = board.move("d1d5");
    makeMove(1, &queen, board.get(), true);
    EXPECT_EQ(board->pawnHashKey, key);
    unmakeMove(1, &queen, board.get());
    const moveStruct king = board.move("e1f1");
    makeMove(1, &king, board.get(), true);
    EXPECT_NE(board->pawnHashKey, key);
}

TEST(Keys, TheStoredNumbersStandInTheirPlaces)
{
    EXPECT_EQ(hashCodePiece[2][0], 0xacfeaf947971818aU);
    EXPECT_EQ(hashCodePiece[2][3], 0x26c7a01e02433fa7U);
    EXPECT_EQ(hashCodeBlackToMove, 0xf31fa94fe63f529fU);
    EXPECT_EQ(hashCodePiece[0][5] | hashCodePiece[1][5], 0U);
}

TEST(MakeMove, KeepsEveryFieldAsComputedFromScratchAndUnmakeRestoresIt)
{
    for (size_t i = 0; i < manyPositions().size(); i += 9)
    {
        Board board(manyPositions()[i]);
        walk(board, 0, 3);
        ASSERT_FALSE(HasFatalFailure()) << manyPositions()[i];
    }
}

TEST(MakeMove, InCheckTheTestIsSwitchedOff)
{
    Board board("4k3/8/8/8/8/8/3r4/4K3 w - - 0 1");
    const moveStruct exposed{E1, sq("d1"), 0, 0};
    board.ply(0).inCheck = 1;
    EXPECT_TRUE(makeMove(1, &exposed, board.get(), true));
    unmakeMove(1, &exposed, board.get());
}

TEST(MakeMove, AKingMayNotTakeAProtectedMan)
{
    const moveStruct takes{E1, sq("d2"), 0, 0};
    Board protectedRook("4k3/8/8/b7/8/8/3r4/4K3 w - - 0 1");
    protectedRook.ply(0).inCheck = 0;
    EXPECT_FALSE(makeMove(1, &takes, protectedRook.get(), true));
    EXPECT_EQ(inconsistency(protectedRook.get(), 0), "");
}

TEST(MakeMove, EnPassantThatOpensTheRankIsRefusedThoughNothingIsPinned)
{
    Board board("4k3/8/8/K2pP2r/8/8/8/8 w - d6 0 1");
    generateMovesCaptures(0, board.ply(0).moveListStart, board.get());
    EXPECT_TRUE(board.ply(0).notPinned & bit(sq("e5")));
    const moveStruct takes{sq("e5"), sq("d5"), KINDENPASSANT, 0};
    EXPECT_FALSE(makeMove(1, &takes, board.get(), true));
}

TEST(MakeMove, APinnedRookMayTakeThePinnerAndAPinnedBishopMayNotLeave)
{
    Board rook("4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1");
    generateMovesCaptures(0, rook.ply(0).moveListStart, rook.get());
    const moveStruct takes{sq("e2"), sq("e7"), 0, 0};
    EXPECT_TRUE(makeMove(1, &takes, rook.get(), true));
    Board bishop("4k3/4r3/8/8/8/8/4B3/4K3 w - - 0 1");
    generateMovesCaptures(0, bishop.ply(0).moveListStart, bishop.get());
    const moveStruct leaves{sq("e2"), sq("d3"), 0, 0};
    EXPECT_FALSE(makeMove(1, &leaves, bishop.get(), true));
}

TEST(MakeMove, AnyWhiteMoveOntoH8TakesTheRight)
{
    Board board("r3k2n/8/8/8/8/8/7R/R3K2R w KQkq - 0 1");
    const moveStruct takes{sq("h2"), H8, 0, 0};
    makeMove(1, &takes, board.get(), false);
    EXPECT_EQ(board.ply(1).castlingRights, 13);
}

TEST(MakeMove, ADoublePushAlwaysSetsEnPassant)
{
    Board board{std::string(fenStartPos)};
    const moveStruct push = board.move("e2e4");
    const u64 key = board->hashKey;
    makeMove(1, &push, board.get(), true);
    EXPECT_EQ(board.ply(1).enPassantSquare, sq("e4"));
    EXPECT_EQ(board->hashKey, key ^ hashCodeBlackToMove ^ hashCodePiece[2][sq("e2")] ^
                                  hashCodePiece[2][sq("e4")] ^ hashCodeEnpassant[4]);
}

TEST(Generators, APinnedRookIsListedOnAndOffThePinLineAndAPinnedKnightNever)
{
    Board rook("4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1");
    generateMovesCaptures(0, rook.ply(0).moveListStart, rook.get());
    generateMovesQuiets(0, rook.ply(0).moveListEnd, rook.get());
    const std::string all = rook.texts(rook.list());
    EXPECT_NE(all.find("e2e7"), std::string::npos);
    EXPECT_NE(all.find("e2d2"), std::string::npos);

    // The knight on e2 could take on f4 and go to six more squares.
    Board knight("4k3/4r3/8/8/5p2/8/4N3/4K3 w - - 0 1");
    generateMovesCaptures(0, knight.ply(0).moveListStart, knight.get());
    EXPECT_TRUE(knight.list().empty());
    generateMovesQuiets(0, knight.ply(0).moveListEnd, knight.get());
    EXPECT_EQ(knight.texts(knight.list()), "e1d1 e1f1 e1d2 e1f2");
}

TEST(Generators, InDoubleCheckOnlyTheKingMoves)
{
    // The rook on e2 and the bishop on b4 give check; the queen on h5 could take the rook.
    Board board("7k/8/8/7Q/1b6/8/4r3/4K3 w - - 0 1");
    EXPECT_EQ(board.texts(board.legalMoves()), "e1d1 e1f1 e1e2");
    EXPECT_EQ(board.list()[2].score, 220 + ROOK + BLACK) << "not the only checker";
}

TEST(Generators, APromotingPawnGivesFourCapturesAndFourPushes)
{
    Board board("1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(generated(board, generateMovesCaptures), "a7b8q:26 a7b8r:26 a7b8b:26 a7b8n:26 ");
    generateMovesQuiets(0, board.ply(0).moveListStart, board.get());
    EXPECT_EQ(board.texts(board.list()).substr(0, 23), "a7a8q a7a8r a7a8b a7a8n");
}

TEST(Generators, QuiescenceHasNoUnderPromotion)
{
    Board board("1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(generated(board, generateMovesQuiescence), "a7b8q:26 a7a8q:1 ");
}

TEST(Generators, CapturesComeByKindOfManWithTheVictimsScore)
{
    // Every kind takes the rook on d5 (code 9): 72 less 2, 4, 6, 8, 10 and 12.
    Board board("8/7k/2K5/Q2r4/4P3/1BN5/8/3R4 w - - 0 1");
    EXPECT_EQ(generated(board, generateMovesCaptures),
              "e4d5:70 c3d5:68 b3d5:66 d1d5:64 a5d5:62 c6d5:60 ");
}

TEST(Generators, EnPassantScores14BehindThePiecesAndInQuiescenceBehindTheKing)
{
    // The bishop takes a pawn (code 3): 24 less 6; the king less 12.
    Board board("7k/8/4K3/3pP3/8/1B6/8/8 w - d6 0 1");
    EXPECT_EQ(generated(board, generateMovesCaptures), "b3d5:18 e5d6:14 e6d5:12 ");
    EXPECT_EQ(generated(board, generateMovesQuiescence), "b3d5:18 e6d5:12 e5d6:14 ");
}

TEST(Generators, EvasionsAreScoredByKind)
{
    // A rook on a4 gives check on h4; every kind of man takes it or stands in between.
    Board rook("4B1k1/Q7/8/8/r6K/1P6/1NP5/R2R4 w - - 0 1");
    EXPECT_EQ(generated(rook, generateMovesCaptures),
              "h4g3:202 h4h3:202 h4g5:202 h4h5:202 b3a4:250 b3b4:210 c2c4:210 "
              "b2a4:236 b2c4:206 e8a4:235 a1a4:234 d1d4:204 a7a4:233 a7d4:203 ");
    EXPECT_EQ(rook.ply(0).pickerStage, 99);

    // A pawn (code 3) has pushed to d5 with check: taken by the king and twice en passant.
    Board pawn("7k/8/8/2PpP3/4K3/8/8/8 w - d6 0 1");
    EXPECT_EQ(generated(pawn, generateMovesCaptures),
              "e4d3:202 e4e3:202 e4f3:202 e4d4:202 e4f4:202 e4d5:224 e4f5:202 "
              "c5d6:250 e5d6:250 ");
}

TEST(Generators, ACheckerOnA1AddsNoEnPassant)
{
    Board board("7k/8/8/8/8/8/1P6/r3K3 w - - 0 1");
    for (const moveStruct& move : board.legalMoves()) EXPECT_NE(move.kind, KINDENPASSANT);
}

TEST(Generators, MateLeavesAnEmptyList)
{
    Board board("R3k3/8/4K3/8/8/8/8/8 b - - 0 1");
    EXPECT_TRUE(board.ply(0).inCheck);
    EXPECT_TRUE(board.legalMoves().empty());
}

TEST(Generators, RecapturesTakeOnlyOnThePreviousSquareAndNothingAfterEnPassant)
{
    Board board("4k3/2p1p3/3P4/8/8/8/8/4K3 b - - 0 1");
    board->plies[1].moveListStart = board.ply(0).moveListStart;
    board.ply(0).currentMove = {sq("d5"), sq("d6"), 0, PAWN};
    board.ply(1).inCheck = 0;
    generateMovesRecapture(1, board.ply(1).moveListStart, board.get());
    EXPECT_EQ(board.ply(1).moveListEnd - board.ply(1).moveListStart, 2);
    board.ply(0).currentMove.to = sq("d5");
    generateMovesRecapture(1, board.ply(1).moveListStart, board.get());
    EXPECT_EQ(board.ply(1).moveListEnd, board.ply(1).moveListStart);
}

TEST(Generators, ADoublePushOfEitherColourMayBeASimpleCheck)
{
    for (const auto& [fen, text] : {std::pair("8/8/8/3k4/8/8/4P3/4K3 w - - 0 1", "e2e4"),
                                    std::pair("4k3/4p3/8/8/3K4/8/8/8 b - - 0 1", "e7e5")})
    {
        Board board(fen);
        generateSimpleChecks(0, board.ply(0).moveListStart, board.get());
        EXPECT_EQ(board.texts(board.list()), text);
        EXPECT_EQ(board.ply(0).moveListStart->kind, KINDDOUBLEPUSH);
    }
}

TEST(Generators, SimpleChecksAreQuietMovesThatHitTheKing)
{
    int found = 0;
    for (const std::string& fen : manyPositions())
    {
        Board board(fen);
        if (board.ply(0).inCheck) continue;
        const std::vector<moveStruct> legal = board.legalMoves();
        generateSimpleChecks(0, board.ply(0).moveListStart, board.get());
        const std::vector<moveStruct> checks = board.list();
        for (const moveStruct& move : checks) EXPECT_EQ(board->board[move.to], NOPIECE);

        // A legal quiet move is listed exactly when the man that moves attacks the king behind it;
        // kings, castling and promotions to rook and bishop are never listed.
        for (const moveStruct& move : legal)
        {
            const bool listed = std::any_of(checks.begin(), checks.end(),
                                            [&](moveStruct m) { return sameMove(m, move); });
            const int us = board->sideToMove;
            const bool left = board->board[move.to] || board->board[move.from] >= KING ||
                              move.kind == KINDENPASSANT || move.kind == ROOK ||
                              move.kind == BISHOP;
            makeMove(1, &move, board.get(), false);
            const int type = board->board[move.to] & ~1;
            const u8 king = kingSquareOf(us ^ 1, board.get());
            const int df = king % 8 - move.to % 8;
            const int dr = king / 8 - move.to / 8;
            bool hits = false;
            if (type == PAWN) hits = std::abs(df) == 1 && dr == (us ? -1 : 1);
            if (type == KNIGHT) hits = std::abs(df * dr) == 2;
            if (type == BISHOP || type == QUEEN)
                hits = slowSlider(move.to, allMen(board.get()), true) & bit(king);
            if (type == ROOK || type == QUEEN)
                hits = hits || (slowSlider(move.to, allMen(board.get()), false) & bit(king));
            unmakeMove(1, &move, board.get());
            EXPECT_EQ(listed, hits && !left) << fen << ' ' << move;
            found += listed;
        }
    }
    EXPECT_GT(found, 100);
}

TEST(Perft, CountsTheStartPosition)
{
    Board board{std::string(fenStartPos)};
    const u64 expected[] = {20, 400, 8902, 197281};
    for (int depth = 1; depth <= 4; ++depth)
        EXPECT_EQ(perft(0, depth, board.get()), expected[depth - 1]);
    EXPECT_EQ(perft(0, 0, board.get()), 1U);
    EXPECT_EQ(perft(0, -5, board.get()), 1U);
}

TEST(Perft, AgreesWithItsReverseEverywhereAndLeavesThePosition)
{
    for (size_t i = 0; i < manyPositions().size(); i += 5)
    {
        Board board(manyPositions()[i]);
        const auto before = std::make_unique<positionStruct>(*board.get());
        EXPECT_EQ(perft(0, 3, board.get()), perftRev(0, 3, board.get())) << manyPositions()[i];
        EXPECT_EQ(std::memcmp(before.get(), board.get(), offsetof(positionStruct, plies)), 0);
    }
}

TEST(Perft, MateAndStalemateCountNothing)
{
    Board mate("R3k3/8/4K3/8/8/8/8/8 b - - 0 1");
    Board stalemate("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
    for (const int depth : {1, 2, 5})
    {
        EXPECT_EQ(perft(0, depth, mate.get()), 0U);
        EXPECT_EQ(perft(0, depth, stalemate.get()), 0U);
    }
}
