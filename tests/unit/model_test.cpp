// SPDX-License-Identifier: MIT
//
// Evaluation, static exchange evaluation, attacks, legality and generators against the model in
// tests/oracle, which shares no code with the engine. oracle_test.cpp does so with whole searches.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <random>

#include "../oracle/model.h"
#include "support.h"

namespace
{

/// The model's record of a position; one for all tests, since it is large.
oracle::Position& modelOf(const std::string& fen)
{
    static const auto position = std::make_unique<oracle::Position>();
    position->set(fen);
    position->computePins();
    return *position;
}

oracle::Move modelMove(moveStruct move)
{
    return {move.from, move.to, move.kind, move.score};
}

/// Two kings and up to 40 more pieces anywhere, also more of a kind than a game can have.
void placeAtRandom(Board& board, std::mt19937& random)
{
    initPosition(board.get());
    const auto place = [&](int code)
    {
        const u8 square = random() % NOFSQUARES;
        const bool isOnEdge = square < 8 || square >= 56;
        if (board->board[square] == NOPIECE && !(code < KNIGHT && isOnEdge))
            addPiece(static_cast<u8>(code), square, board.get());
    };
    for (const int king : {KING + WHITE, KING + BLACK})
        while (!board->pieceBB[king]) place(king);
    for (auto pieces = random() % 40; pieces; --pieces)
        place(PAWN + static_cast<int>(random() % 10));
    board->sideToMove = random() & 1;
    board->hashKey = calcHashKey(0, board.get());
    board->pawnHashKey = calcHashKeyPawn(0, board.get());
    initEvaluation(board.get());
}

/// Expects that each term is the sum of its squares, on which there are pieces of the right colour.
/// The shared part is the tempo, and what rounding may leave.
void checkSquares(const positionStruct* position, const evalTrace& trace)
{
    for (int term = 0; term < NOFEVALTERMS; ++term)
        for (const int colour : {WHITE, BLACK})
        {
            const int owner = colour ^ (term == termDanger || term == termThreatPawnPush);
            combEval sum = X(0, 0);
            int nofParts = 0;
            for (u8 square = 0; square < NOFSQUARES; ++square)
            {
                const combEval part = trace.squares[term][colour][square];
                if (part == X(0, 0)) continue;
                ASSERT_TRUE(position->pieceBB[owner] & bit(square)) << evalTermTexts[term].name;
                sum += part;
                ++nofParts;
            }
            const combEval shared = trace.shared[term][colour];
            ASSERT_EQ(sum + shared, trace.terms[term][colour]) << evalTermTexts[term].name;
            const bool isRounded =
                term == termDanger || term == termShield || term == termBishopPair;
            const int most = isRounded && nofParts ? popcount(position->pieceBB[owner]) : 0;
            if (term == termTempo || (term == termDanger && !nofParts)) continue;
            ASSERT_LE(std::abs(mgHalf(shared)), most) << evalTermTexts[term].name;
            ASSERT_LE(std::abs(egHalf(shared)), most) << evalTermTexts[term].name;
        }
}

/// Expects the score and the terms of the model, and that all parts add up.
void compareScore(Board& board)
{
    const evalTrace trace = evaluateTraced(board.get());
    oracle::Board model;
    std::copy_n(board->board, NOFSQUARES, model.squares);
    oracle::Terms terms;
    EXPECT_EQ(trace.score, oracle::evaluate(model, board->sideToMove, &terms));
    EXPECT_EQ(evaluateN(0, board.get()), trace.score);
    combEval total = X(0, 0);
    for (int term = 0; term < NOFEVALTERMS; ++term)
        for (const int colour : {WHITE, BLACK})
        {
            const oracle::Pair value = terms[evalTermTexts[term].name][static_cast<size_t>(colour)];
            ASSERT_EQ(trace.terms[term][colour], X(value.mg, value.eg))
                << evalTermTexts[term].name << '\n'
                << boardToString(board.get());
            total += colour == WHITE ? trace.terms[term][WHITE] : -trace.terms[term][BLACK];
        }
    EXPECT_EQ(total, trace.total);
    checkSquares(board.get(), trace);
}

/// Makes each legal move of many positions on both boards, calls `visit` with them and a text for
/// messages, and takes the move back, which must leave no trace.
void forManyNodes(const std::function<void(Board&, oracle::Position&, const std::string&)>& visit)
{
    for (const std::string& fen : manyPositions())
    {
        Board board(fen);
        oracle::Position& model = modelOf(fen);
        const auto before = std::make_unique<positionStruct>(*board.get());
        for (const moveStruct& move : board.legalMoves())
        {
            board.ply(0).currentMove = move;
            model.here().currentMove = modelMove(move);
            makeMove(1, &move, board.get(), false);
            model.make(modelMove(move), false);
            board.ply(1).inCheck = isSideInCheck(board.get());
            model.here().inCheck = model.isInCheck();
            visit(board, model, fen + ' ' + moveToString(&move, -1));
            if (testing::Test::HasFatalFailure()) return;
            model.unmake();
            unmakeMove(1, &move, board.get());
            ASSERT_EQ(std::memcmp(before.get(), board.get(), offsetof(positionStruct, plies)), 0)
                << fen << ' ' << move;
        }
    }
}

/// Each move of the list of ply 1 with its score.
std::vector<u32> listOf(Board& board)
{
    std::vector<u32> words;
    for (const moveStruct* move = board.ply(1).moveListStart; move < board.ply(1).moveListEnd;
         ++move)
        words.push_back(moveWord(*move));
    return words;
}

u32 wordOf(const oracle::Move& move)
{
    return moveWord(packMove(move.from, move.to, move.kind, move.score));
}

std::vector<u32> listOf(const oracle::Position& model)
{
    std::vector<u32> words;
    for (int i = 0; i < model.here().listEnd; ++i) words.push_back(wordOf(model.stack[i]));
    return words;
}

} // namespace

TEST(EvalModel, TenThousandPositionsHaveTheScoresAndTermsOfTheModelAndTheirPartsAddUp)
{
    int nofPositions = 6000; // the random ones
    for (const std::string& fen : manyPositions())
    {
        Board board(fen);
        for (const moveStruct& move : board.legalMoves())
        {
            makeMove(1, &move, board.get(), false);
            compareScore(board);
            ASSERT_FALSE(HasFatalFailure()) << fen << ' ' << move;
            unmakeMove(1, &move, board.get());
            ++nofPositions;
        }
    }
    EXPECT_GT(nofPositions, 10000);
    Board board{std::string(fenStartPos)};
    std::mt19937 random(5);
    for (int i = 0; i < 6000; ++i)
    {
        placeAtRandom(board, random);
        compareScore(board);
        ASSERT_FALSE(HasFatalFailure());
    }
}

TEST(SearchSee, AgreesWithTheModelOnManyMoves)
{
    int asked = 0;
    for (const std::string& fen : manyPositions())
    {
        Board board(fen);
        const oracle::Position& model = modelOf(fen);
        for (const moveStruct& move : board.legalMoves())
            for (const int threshold :
                 {-600, -253, -252, -1, 0, 1, 87, 88, 340, 341, 515, 516, 1005, 1006})
            {
                ASSERT_EQ(see(move, static_cast<i16>(threshold), board.get()),
                          model.see(modelMove(move), threshold))
                    << fen << ' ' << move << ' ' << threshold;
                ++asked;
            }
    }
    EXPECT_GT(asked, 20000);
}

TEST(MoveLegality, EveryWordIsAcceptedOrRefusedAsTheModelSays)
{
    int accepted = 0;
    std::vector<std::string> fens = manyPositions();
    fens.emplace_back("4k3/8/8/K2pP2r/8/8/8/8 w - d6 0 1"); // en passant opens the rank
    for (const std::string& fen : fens)
    {
        Board board(fen);
        oracle::Position& model = modelOf(fen);
        const std::vector<moveStruct> legal = board.legalMoves();
        const auto before = std::make_unique<positionStruct>(*board.get());
        const int home = board->sideToMove == WHITE ? E1 : E8;
        size_t found = 0;
        for (int from = 0; from < 64; ++from)
            for (int to = 0; to < 64; ++to)
                for (int kind = 0; kind < 16; ++kind)
                {
                    const u8 piece = board->board[from];
                    const moveStruct move = packMove(from, to, kind, piece);
                    const bool pseudo = isLegalMove(0, &move, board.get(), true);
                    ASSERT_EQ(pseudo, moveWord(move) != 0 && model.isPseudoLegal(modelMove(move)))
                        << fen << ' ' << move;
                    // A kind that the piece can have, so that the move can be taken back.
                    const bool fits =
                        (piece & ~1) == PAWN
                            ? kind == 12 || kind == 13 || (kind <= 10 && kind % 2 == 0 && kind != 2)
                            : kind == 0 || (isKing(piece) && from == home &&
                                            to == (kind == KINDCASTLEKING ? home + 2 : home - 2));
                    const bool full = isLegalMove(0, &move, board.get(), false);
                    ASSERT_EQ(full, fits && model.isLegal(modelMove(move))) << fen << ' ' << move;
                    accepted += full;
                    if (!full) continue;

                    // What is accepted can be played and taken back.
                    found += std::any_of(legal.begin(), legal.end(),
                                         [move](moveStruct m) { return sameMove(m, move); });
                    makeMove(1, &move, board.get(), false);
                    unmakeMove(1, &move, board.get());
                    ASSERT_EQ(std::memcmp(before.get(), board.get(),
                                          offsetof(positionStruct, sideToMove)),
                              0)
                        << fen << ' ' << move;
                }
        ASSERT_EQ(found, legal.size()) << fen;
    }
    EXPECT_GT(accepted, 5000);
}

TEST(MoveTable, EverySquareIsAttackedByTheColoursOfTheModel)
{
    for (const std::string& fen : manyPositions())
    {
        Board board(fen);
        const oracle::Position& model = modelOf(fen);
        for (u8 square = 0; square < NOFSQUARES; ++square)
            for (const u8 colour : {WHITE, BLACK})
                ASSERT_EQ(isSquareAttacked(square, colour, board.get()),
                          model.isAttacked(square, colour))
                    << fen << ' ' << squareToLA(square);
    }
}

TEST(MoveMake, LeavesTheStateOfTheModelWithAllSumsAsComputedFromScratchAndUnmakeRestoresIt)
{
    forManyNodes(
        [](Board& board, oracle::Position& model, const std::string& text)
        {
            ASSERT_TRUE(std::equal(board->board, board->board + NOFSQUARES, model.board.squares))
                << text;
            ASSERT_EQ(board.ply(1).castlingRights, model.here().rights) << text;
            ASSERT_EQ(board.ply(1).enPassantSquare, model.here().enPassantPawn) << text;
            ASSERT_EQ(board.ply(1).capturedPiece, model.here().captured) << text;
            ASSERT_EQ(board->halfMoveClock, model.halfMoveClock) << text;
            ASSERT_EQ(inconsistency(board.get(), 1), "") << text;
            ASSERT_EQ(board->keyHistory[board->keyIndex - 1], board->hashKey) << text;
        });
}

TEST(MoveGenerators, EveryListHasTheMovesAndScoresOfTheModelInItsOrder)
{
    using generator = void (*)(int, moveStruct*, positionStruct*);
    using modelGenerator = void (oracle::Position::*)(int);
    // The quiet moves need the pins of the captures before them.
    const std::pair<generator, modelGenerator> generators[] = {
        {generateMovesLegal, &oracle::Position::generateLegal},
        {generateMovesQuiescence, &oracle::Position::generateQuiescence},
        {generateMovesRecapture, &oracle::Position::generateRecaptures},
        {generateMovesCaptures, &oracle::Position::generateCaptures},
        {generateMovesQuiets, &oracle::Position::generateQuiets}};
    forManyNodes(
        // cppcheck-suppress constParameter ; the generators write to it
        [&](Board& board, oracle::Position& model, const std::string& text)
        {
            for (const auto& [generate, modelGenerate] : generators)
            {
                if (generate == generateMovesQuiets && board.ply(1).inCheck) continue;
                generate(1, board.ply(1).moveListStart, board.get());
                (model.*modelGenerate)(0);
                ASSERT_EQ(listOf(board), listOf(model))
                    << text << ", generator " << &modelGenerate - &generators[0].second;
                ASSERT_EQ(board.ply(2).moveListStart, board.ply(1).moveListEnd) << text;
            }
        });
}
