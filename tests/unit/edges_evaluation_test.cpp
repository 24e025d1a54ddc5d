// SPDX-License-Identifier: MIT
//
// Corners of the material sums, of the blend and the draw rules, and of the three tables. What the
// positional terms make of a position is left out of every expectation: the tests change a sum of
// the record by hand, or look at differences in which those terms cancel.

#include <cstddef>
#include <cstring>

#include "piece_square_expected.h"
#include "support.h"

namespace
{

enum typeNumbers
{
    pawn,
    knight,
    bishop,
    rook,
    queen,
    king
};

// By type pawn to king: mid-game and end-game value; the king counts nothing.
constexpr expectedHalves expectedValue[6] = {{82, 94},   {352, 274},  {381, 293},
                                             {484, 514}, {1043, 960}, {0, 0}};
constexpr int expectedPhase[6] = {0, 352, 381, 484, 1043, 0};

combEval value(int type)
{
    return X(expectedValue[type].mg, expectedValue[type].eg);
}

/// Expected piece-square score of a man, from its owner's view.
combEval square(int type, int colour, const std::string& name)
{
    // White looks the board up from its far side: a8 is entry 0.
    const int rank = name[1] - '1';
    const int row = colour == WHITE ? 7 - rank : rank;
    const expectedHalves& entry = expectedPieceSquare[type][row * 8 + name[0] - 'a'];
    return X(entry.mg, entry.eg);
}

/// Plays a move of ply 0 and leaves it made.
void play(Board& board, const std::string& text)
{
    const moveStruct move = board.move(text);
    ASSERT_TRUE(makeMove(1, &move, board.get(), true));
    EXPECT_EQ(inconsistency(board.get(), 1), "") << text;
}

/// White's score of a position with these sums added to white's material, at a phase.
int scoreWith(const char* fen, combEval extra, int phase)
{
    Board board(fen);
    board->material[WHITE] += extra;
    board->gamePhase = static_cast<i16>(phase);
    const int score = evaluateN(0, board.get());
    return board->sideToMove == WHITE ? score : -score;
}

constexpr int mostPhase = 6183;
constexpr int leastPhase = 497;

/// Whether a position is one of the pawnless draws, which score 0 and are not kept.
bool isDrawByRule(Board& board)
{
    const int score = evaluateN(0, board.get());
    const bool kept = getEvalHashEntry(board->evalHashTable, board->hashKey) != nullptr;
    EXPECT_TRUE(kept || score == 0);
    return !kept;
}

bool isDrawByRule(const char* fen)
{
    Board board(fen);
    return isDrawByRule(board);
}

/// A small table and age 0 for one test, and again behind it.
class HashTableEdges : public testing::Test
{
  protected:
    void SetUp() override
    {
        createHashTable(1);
        hashAgeCounter = 0;
    }
    void TearDown() override
    {
        createHashTable(1);
        hashAgeCounter = 0;
    }
};

/// The eight bytes at an offset of a line of the table.
u64 wordAt(u64 line, size_t offset)
{
    u64 word;
    std::memcpy(&word, reinterpret_cast<const char*>(hashTable) + 64 * line + offset, 8);
    return word;
}

} // namespace


// Packed scores

TEST(PackedScoreEdges, HalvesSeparateAtEverySignAndEdge)
{
    const int edges[] = {-32768, -32767, -12000, -257, -256, -1, 0, 1, 255, 256, 12000, 32767};
    for (const int mg : edges)
        for (const int eg : edges)
        {
            EXPECT_EQ(mgHalf(X(mg, eg)), mg) << mg << ',' << eg;
            EXPECT_EQ(egHalf(X(mg, eg)), eg) << mg << ',' << eg;
        }
    EXPECT_EQ(X(0, 1).packed, 65536);
    EXPECT_EQ(X(12000, 12000).packed, 786444000);
}

TEST(PackedScoreEdges, ATotalThatSumsToMinusOneHasNoEndGameHalf)
{
    const combEval total = X(32, -7) - X(33, -7);
    EXPECT_EQ(mgHalf(total), -1);
    EXPECT_EQ(egHalf(total), 0);
    EXPECT_EQ(egHalf(X(-1, 0) * 5), 0);
    EXPECT_EQ(egHalf(-X(1, 0)), 0);
    combEval sum = X(0, 0);
    for (int i = 0; i < 62; ++i) sum += X(1043, 960);
    EXPECT_EQ(sum, X(1043, 960) * 62) << "a sum beyond the word wraps around";
}


// Material

TEST(MaterialEdges, TheExpectedSquareTableIsWhole)
{
    u32 sum = 0;
    int count = 0;
    for (const auto& table : expectedPieceSquare)
        for (const expectedHalves& entry : table)
        {
            sum = sum * 31 + static_cast<u32>(entry.mg) + static_cast<u32>(entry.eg) * 65536U;
            ++count;
        }
    EXPECT_EQ(count, 384);
    EXPECT_EQ(sum, expectedPieceSquareChecksum);
}

TEST(MaterialEdges, ALoneManHasItsTableEntriesOnEverySquare)
{
    Board board("8/8/8/8/8/8/8/8 w - - 0 1");
    for (int type = pawn; type <= king; ++type)
        for (const int colour : {WHITE, BLACK})
            for (int s = 0; s < 64; ++s)
            {
                const std::string name = squareToLA(static_cast<u8>(s));
                initPosition(board.get());
                addPiece(static_cast<u8>(2 * type + 2 + colour), static_cast<u8>(s), board.get());
                initEvaluation(board.get());
                ASSERT_EQ(board->pstScore[colour], square(type, colour, name))
                    << type << ' ' << colour << ' ' << name;
                ASSERT_EQ(board->pstScore[colour ^ 1], X(0, 0));
                ASSERT_EQ(board->material[colour], value(type)) << type;
                ASSERT_EQ(board->material[colour ^ 1], X(0, 0));
                ASSERT_EQ(board->gamePhase, expectedPhase[type]) << type;
            }
}

TEST(MaterialEdges, EveryCaptureTakesTheVictimsValueAndPhase)
{
    for (int type = pawn; type <= queen; ++type)
        for (const int us : {WHITE, BLACK})
        {
            const char letter = fenLabelPieces[static_cast<size_t>(2 * type + 2 + (us ^ 1))];
            const char* knightsSide = us == WHITE ? "N" : "n";
            Board board(std::string("4k3/8/8/3") + letter + "4/8/2" + knightsSide + "5/8/4K3 " +
                        (us == WHITE ? "w" : "b") + " - - 0 1");
            const moveStruct takes{sq("c3"), sq("d5"), 0, 0};
            ASSERT_EQ(board->gamePhase, 352 + expectedPhase[type]);
            makeMove(1, &takes, board.get(), false);
            EXPECT_EQ(board->gamePhase, 352) << letter;
            EXPECT_EQ(board->material[us ^ 1], X(0, 0)) << letter;
            EXPECT_EQ(board->material[us], value(knight));
            EXPECT_EQ(board->pstScore[us ^ 1], square(king, us ^ 1, us == WHITE ? "e8" : "e1"));
            EXPECT_EQ(inconsistency(board.get(), 1), "");
            unmakeMove(1, &takes, board.get());
            EXPECT_EQ(board->gamePhase, 352 + expectedPhase[type]);
            EXPECT_EQ(inconsistency(board.get(), 0), "");
        }
}

TEST(MaterialEdges, APromotionRaisesThePhaseByTheNewMan)
{
    const std::pair<const char*, int> kinds[] = {
        {"q", queen}, {"r", rook}, {"b", bishop}, {"n", knight}};
    for (const auto& [letter, type] : kinds)
    {
        Board white("8/P3k3/8/8/8/8/8/4K3 w - - 0 1");
        play(white, std::string("a7a8") + letter);
        EXPECT_EQ(white->gamePhase, expectedPhase[type]) << letter;
        EXPECT_EQ(white->material[WHITE], value(type)) << letter;
        EXPECT_EQ(white->pstScore[WHITE], square(king, WHITE, "e1") + square(type, WHITE, "a8"));
        Board black("4k3/8/8/8/8/8/4K2p/8 b - - 0 1");
        play(black, std::string("h2h1") + letter);
        EXPECT_EQ(black->gamePhase, expectedPhase[type]) << letter;
        EXPECT_EQ(black->material[BLACK], value(type)) << letter;
        EXPECT_EQ(black->pstScore[BLACK], square(king, BLACK, "e8") + square(type, BLACK, "h1"));
    }
}

TEST(MaterialEdges, ACapturingPromotionCountsBothChanges)
{
    Board board("4k3/8/8/8/8/8/p7/1N2K3 b - - 0 1");
    ASSERT_EQ(board->gamePhase, 352);
    play(board, "a2b1q");
    EXPECT_EQ(board->gamePhase, 1043) << "the knight has gone, the queen has come";
    EXPECT_EQ(board->material[WHITE], X(0, 0));
    EXPECT_EQ(board->material[BLACK], X(1043, 960)) << "the pawn has gone";
    EXPECT_EQ(board->pstScore[BLACK], square(king, BLACK, "e8") + square(queen, BLACK, "b1"));
}

TEST(MaterialEdges, BlacksEnPassantTakesOnOneSquareAndLandsOnAnother)
{
    Board black("4k3/8/8/8/3Pp3/8/8/4K3 b - d3 0 1");
    play(black, "e4d3");
    EXPECT_EQ(black->pstScore[WHITE], square(king, WHITE, "e1"));
    EXPECT_EQ(black->pstScore[BLACK], square(king, BLACK, "e8") + square(pawn, BLACK, "d3"));
    EXPECT_EQ(black->material[WHITE], X(0, 0));
    EXPECT_EQ(black->material[BLACK], X(82, 94));
    EXPECT_EQ(black->gamePhase, 0);
}

TEST(MaterialEdges, CastlingMovesKingAndRook)
{
    const struct
    {
        const char* text;
        int colour;
        const char *king, *rook, *otherRook;
    } castlings[] = {{"e1g1", WHITE, "g1", "f1", "a1"},
                     {"e1c1", WHITE, "c1", "d1", "h1"},
                     {"e8g8", BLACK, "g8", "f8", "a8"},
                     {"e8c8", BLACK, "c8", "d8", "h8"}};
    for (const auto& c : castlings)
    {
        Board board(std::string("r3k2r/8/8/8/8/8/8/R3K2R ") + (c.colour == WHITE ? "w" : "b") +
                    " KQkq - 0 1");
        const combEval other = board->pstScore[c.colour ^ 1];
        play(board, c.text);
        EXPECT_EQ(board->pstScore[c.colour], square(king, c.colour, c.king) +
                                                 square(rook, c.colour, c.rook) +
                                                 square(rook, c.colour, c.otherRook))
            << c.text;
        EXPECT_EQ(board->pstScore[c.colour ^ 1], other);
        EXPECT_EQ(board->gamePhase, 4 * 484);
    }
}

TEST(MaterialEdges, ADoublePushMovesThePawnTwoRows)
{
    Board board{std::string(fenStartPos)};
    const combEval before = board->pstScore[WHITE];
    play(board, "e2e4");
    EXPECT_EQ(board->pstScore[WHITE] - before, X(6, -5) - X(-4, 14));
}

TEST(MaterialEdges, UnmakeCopiesTheSavedSumsBackAndComputesNothing)
{
    Board board("4k3/8/8/3p4/4P3/8/8/4K3 w - - 0 1");
    const moveStruct takes = board.move("e4d5");
    makeMove(1, &takes, board.get(), true);
    board.ply(1).savedMaterial[WHITE] = X(1, 2);
    board.ply(1).savedMaterial[BLACK] = X(3, 4);
    board.ply(1).savedPstScore[WHITE] = X(5, 6);
    board.ply(1).savedPstScore[BLACK] = X(7, 8);
    board.ply(1).savedGamePhase = 9;
    unmakeMove(1, &takes, board.get());
    EXPECT_EQ(board->material[WHITE], X(1, 2));
    EXPECT_EQ(board->material[BLACK], X(3, 4));
    EXPECT_EQ(board->pstScore[WHITE], X(5, 6));
    EXPECT_EQ(board->pstScore[BLACK], X(7, 8));
    EXPECT_EQ(board->gamePhase, 9);
}


// Blend and driver

constexpr const char* queenAndPawn = "4k3/4p3/8/8/8/8/4P3/3QK3 w - - 0 1";

TEST(DriverEdges, AtTheLeastPhaseAndBelowTheMidGameHalfHasNoWeight)
{
    for (const int phase : {leastPhase, leastPhase - 1, 0, -100})
    {
        const int plain = scoreWith(queenAndPawn, X(0, 0), phase);
        EXPECT_EQ(scoreWith(queenAndPawn, X(3000, 0), phase), plain) << phase;
        EXPECT_EQ(scoreWith(queenAndPawn, X(0, 100), phase), plain + 100) << phase;
    }
    // One step above: 1 of 5686.
    const int above = scoreWith(queenAndPawn, X(0, 0), leastPhase + 1);
    EXPECT_EQ(scoreWith(queenAndPawn, X(5686, 0), leastPhase + 1), above + 1);
}

TEST(DriverEdges, AtTheMostPhaseAndAboveTheEndGameHalfHasNoWeight)
{
    for (const int phase : {mostPhase, mostPhase + 1, 6954, 30000})
    {
        const int plain = scoreWith(queenAndPawn, X(0, 0), phase);
        EXPECT_EQ(scoreWith(queenAndPawn, X(0, 3000), phase), plain) << phase;
        EXPECT_EQ(scoreWith(queenAndPawn, X(100, 0), phase), plain + 100) << phase;
    }
    const int below = scoreWith(queenAndPawn, X(0, 0), mostPhase - 1);
    EXPECT_EQ(scoreWith(queenAndPawn, X(0, 5686), mostPhase - 1), below + 1);
}

TEST(DriverEdges, InBetweenEachHalfWeighsItsDistanceFromTheOtherBound)
{
    for (const int phase : {498, 1000, 3340, 6000, 6182})
    {
        const int plain = scoreWith(queenAndPawn, X(0, 0), phase);
        ASSERT_GT(plain, 0) << "so that truncation goes one way";
        EXPECT_EQ(scoreWith(queenAndPawn, X(5686, 0), phase), plain + phase - 497) << phase;
        EXPECT_EQ(scoreWith(queenAndPawn, X(0, 5686), phase), plain + 6183 - phase) << phase;
        EXPECT_EQ(scoreWith(queenAndPawn, X(700, 700), phase), plain + 700) << phase;
    }
}

TEST(DriverEdges, TheStartPositionsPhaseLeavesTheEndGameHalvesOut)
{
    Board board{std::string(fenStartPos)};
    ASSERT_EQ(board->gamePhase, 6954);
    board->material[WHITE] += X(0, 5000);
    EXPECT_EQ(evaluateN(0, board.get()), 25);
}

TEST(DriverEdges, TheTempoIs25And17ForTheSideToMove)
{
    // Whatever else a position holds cancels between the two sides to move.
    for (const auto& [phase, tempo] : {std::pair(7000, 25), std::pair(0, 17)})
        for (const char* men : {"4k3/4p3/8/8/8/8/4P3/3QK3", "r2k4/p4ppp/8/3n4/8/8/PP3PPP/3RK2B"})
        {
            Board white(std::string(men) + " w - - 0 1");
            Board black(std::string(men) + " b - - 0 1");
            white->gamePhase = black->gamePhase = static_cast<i16>(phase);
            EXPECT_EQ(evaluateN(0, white.get()) + evaluateN(0, black.get()), 2 * tempo) << men;
        }
}

TEST(DriverEdges, ExactlyTwoBishopsEarnThePairOnSquaresOfOneColourToo)
{
    // Bishops far from both kings that attack no man and cross no other's way, so that each is
    // worth the same beside any of the others; a weight on white's material keeps the draw rules
    // away. What two or three are worth beyond their single worths is the pair.
    const auto score = [](const std::string& firstRank, int phase)
    {
        const std::string fen = "k7/8/8/8/8/8/8/" + firstRank + " w - - 0 1";
        return scoreWith(fen.c_str(), X(5000, 5000), phase);
    };
    for (const auto& [phase, pair] : {std::pair(7000, 33), std::pair(0, 44)})
    {
        const int none = score("7K", phase);
        const int a1 = score("B6K", phase) - none;
        const int b1 = score("1B5K", phase) - none;
        const int c1 = score("2B4K", phase) - none;
        const int e1 = score("4B2K", phase) - none;
        EXPECT_EQ(score("B1B4K", phase) - none, a1 + c1 + pair) << "both on dark squares";
        EXPECT_EQ(score("BB5K", phase) - none, a1 + b1 + pair) << "one on each colour";
        EXPECT_EQ(score("B1B1B2K", phase) - none, a1 + c1 + e1) << "three: no pair";
        EXPECT_EQ(score("BBB1B2K", phase) - none, a1 + b1 + c1 + e1) << "four: no pair";
    }
}

TEST(DriverEdges, BlacksPairCountsForBlack)
{
    const auto score = [](const std::string& lastRank)
    {
        const std::string fen = lastRank + "/8/8/8/8/8/8/K7 w - - 0 1";
        return scoreWith(fen.c_str(), X(5000, 5000), 7000);
    };
    const int none = score("7k");
    const int a8 = score("b6k") - none;
    const int c8 = score("2b4k") - none;
    const int e8 = score("4b2k") - none;
    EXPECT_EQ(score("b1b4k") - none, a8 + c8 - 33);
    EXPECT_EQ(score("b1b1b2k") - none, a8 + c8 + e8);
}

TEST(DriverEdges, ScoresTurnToTheSideToMoveInAMirroredPositionAlike)
{
    Board white("6k1/5ppp/8/8/8/8/3R1PPP/6K1 w - - 0 1");
    Board black("6k1/3r1ppp/8/8/8/8/5PPP/6K1 b - - 0 1");
    const int score = evaluateN(0, white.get());
    EXPECT_GT(score, 200);
    EXPECT_EQ(evaluateN(0, black.get()), score);
}

TEST(DriverEdges, AtMostOneMinorPieceEachOrRookAgainstRookIsADraw)
{
    for (const char* fen : {"4k3/8/8/8/8/8/8/4K3 w - - 0 1", "4k3/8/8/8/8/8/8/2B1K3 w - - 0 1",
                            "4k3/8/8/8/8/8/8/2B1K3 b - - 0 1", "4kn2/8/8/8/8/8/8/2B1K3 w - - 0 1",
                            "4kn2/8/8/8/8/8/8/1N2K3 b - - 0 1", "2b1k3/8/8/8/8/8/8/2B1K3 w - - 0 1",
                            "4k3/r7/8/8/8/8/7R/4K3 w - - 0 1", "4k3/r7/8/8/8/8/7R/4K3 b - - 0 1",
                            "4k3/r7/8/8/8/8/R7/4K3 w - - 0 1"}) // the rooks attack each other
        EXPECT_TRUE(isDrawByRule(fen)) << fen;
    for (const char* fen :
         {"4k3/8/8/8/8/8/8/1NN1K3 w - - 0 1", "4k3/8/8/8/8/8/8/1BN1K3 b - - 0 1",
          "4k3/8/8/8/8/8/8/4K2R w - - 0 1", "4k2r/8/8/8/8/8/8/2B1K3 w - - 0 1",
          "r3k3/8/8/8/8/8/8/R1B1K3 w - - 0 1", "r1b1k3/8/8/8/8/8/8/R3K3 b - - 0 1",
          "r3k3/8/8/8/8/8/8/Q3K3 w - - 0 1", "q3k3/8/8/8/8/8/8/Q3K3 w - - 0 1"})
        EXPECT_FALSE(isDrawByRule(fen)) << fen;
}

TEST(DriverEdges, APawnOfEitherSideSwitchesTheDrawRulesOff)
{
    for (const char* fen :
         {"4k3/8/8/8/8/8/P7/4K3 w - - 0 1", "4k3/p7/8/8/8/8/8/4K3 w - - 0 1",
          "4kn2/8/8/8/8/8/P7/2B1K3 w - - 0 1", "4kn2/p7/8/8/8/8/8/2B1K3 w - - 0 1",
          "r3k3/8/8/8/8/8/7P/R3K3 w - - 0 1", "r3k3/7p/8/8/8/8/8/R3K3 b - - 0 1"})
        EXPECT_FALSE(isDrawByRule(fen)) << fen;
}

TEST(DriverEdges, TheDrawRulesReadTheMidGameHalvesAtTheirBounds)
{
    const auto isDraw = [](combEval white, combEval black)
    {
        Board board("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
        board->material[WHITE] = white;
        board->material[BLACK] = black;
        return isDrawByRule(board);
    };
    EXPECT_TRUE(isDraw(X(381, 999), X(381, -999)));
    EXPECT_FALSE(isDraw(X(382, 0), X(0, 0)));
    EXPECT_FALSE(isDraw(X(0, 0), X(382, 0)));
    EXPECT_TRUE(isDraw(X(484, 1), X(484, 7)));
    EXPECT_FALSE(isDraw(X(484, 514), X(483, 514)));
    EXPECT_FALSE(isDraw(X(485, 514), X(484, 514)));
    EXPECT_FALSE(isDraw(X(484, 514), X(381, 293)));
}

TEST(DriverEdges, ACacheEntryStandsBeforeTheDrawRulesAndADrawStoresNone)
{
    Board draw("4k3/8/8/8/8/8/8/4K3 b - - 0 1");
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(evaluateN(0, draw.get()), 0);
        EXPECT_EQ(getEvalHashEntry(draw->evalHashTable, draw->hashKey), nullptr);
    }
    putEvalHashEntry(draw->evalHashTable, draw->hashKey, 321);
    EXPECT_EQ(evaluateN(0, draw.get()), -321);
}


// Caches

TEST(CacheEdges, AnEvaluationIsKeptForWhiteAndReadForTheSideToMove)
{
    Board white("4k3/8/8/8/8/8/8/Q3K3 w - - 0 1");
    Board black("4k3/8/8/8/8/8/8/Q3K3 b - - 0 1");
    for (Board* board : {&white, &black})
        putEvalHashEntry((*board)->evalHashTable, (*board)->hashKey, -1);
    EXPECT_EQ(evaluateN(0, white.get()), -1);
    EXPECT_EQ(evaluateN(0, black.get()), 1);

    Board fresh("4k3/8/8/8/8/8/8/Q3K3 b - - 0 1");
    const int score = evaluateN(0, fresh.get());
    EXPECT_LT(score, 0);
    ASSERT_NE(getEvalHashEntry(fresh->evalHashTable, fresh->hashKey), nullptr);
    EXPECT_EQ(getEvalHashEntry(fresh->evalHashTable, fresh->hashKey)->score, -score);
}

TEST(CacheEdges, PawnSlotsAreTheLow16BitsAndTheWholeKeyIsCompared)
{
    const auto table = std::make_unique<pawnHashTableStruct>();
    for (u64 slot = 1; slot < 65536; ++slot) putPawnHashEntry(table.get(), slot, slot, X(1, 1));
    for (u64 slot = 1; slot < 65536; ++slot)
    {
        const pawnEntry* entry = getPawnHashEntry(table.get(), slot);
        ASSERT_NE(entry, nullptr) << slot;
        ASSERT_EQ(entry->passedPawns, slot);
    }
    for (int i = 16; i < 64; ++i)
        EXPECT_EQ(getPawnHashEntry(table.get(), 0x1234 | 1ULL << i), nullptr) << i;
    putPawnHashEntry(table.get(), 0x8000000000001234, 7, X(5, 6));
    EXPECT_EQ(getPawnHashEntry(table.get(), 0x1234), nullptr);
    EXPECT_EQ(getPawnHashEntry(table.get(), 0x8000000000001234)->passedPawns, 7U);
}

TEST(CacheEdges, AKnownPawnStructureStillHalvesTheShieldWithoutAnEnemyQueen)
{
    // The same pawns and kings, so one pawn entry: only the black queen's presence differs. The
    // shield of f2, g2 and h2 is 35 + 27 + 9 = 71, in the mid-game only.
    Board withQueen("3q2k1/8/8/8/8/8/5PPP/6K1 w - - 0 1");
    Board without("3r2k1/8/8/8/8/8/5PPP/6K1 w - - 0 1");
    ASSERT_EQ(withQueen->pawnHashKey, without->pawnHashKey);
    for (const auto& [board, shield] : {std::pair{&withQueen, 71}, std::pair{&without, 35}})
    {
        evaluateN(0, board->get());
        const pawnEntry* entry = getPawnHashEntry((*board)->pawnHashTable, (*board)->pawnHashKey);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->shield[WHITE], 71);
        EXPECT_EQ(entry->shield[BLACK], 0);
        const evalTrace trace = evaluateTraced(board->get());
        EXPECT_EQ(trace.terms[termShield][WHITE], X(shield, 0));
        (*board)->evalHashTable->entries[(*board)->hashKey & 0x3fff].key = 0;
        EXPECT_EQ(evaluateN(0, board->get()), trace.score) << "out of the pawn table";
    }
}

TEST(CacheEdges, EvaluationSlotsAreTheLow14BitsAndTheWholeKeyIsCompared)
{
    const auto table = std::make_unique<evalHashTableStruct>();
    for (int slot = 1; slot < 16384; ++slot)
        putEvalHashEntry(table.get(), static_cast<u64>(slot), slot);
    for (int slot = 1; slot < 16384; ++slot)
    {
        const evalEntry* entry = getEvalHashEntry(table.get(), static_cast<u64>(slot));
        ASSERT_NE(entry, nullptr) << slot;
        ASSERT_EQ(entry->score, slot);
    }
    for (int i = 14; i < 64; ++i)
        EXPECT_EQ(getEvalHashEntry(table.get(), 0x1234 | 1ULL << i), nullptr) << i;
    putEvalHashEntry(table.get(), 0x8000000000001234, 7);
    EXPECT_EQ(getEvalHashEntry(table.get(), 0x1234), nullptr);
    EXPECT_EQ(getEvalHashEntry(table.get(), 0x8000000000001234)->score, 7);
}

TEST(CacheEdges, ZeroScoresAndNoPassedPawnsAreData)
{
    const auto pawns = std::make_unique<pawnHashTableStruct>();
    putPawnHashEntry(pawns.get(), 77, 0, X(0, 0));
    ASSERT_NE(getPawnHashEntry(pawns.get(), 77), nullptr);
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 77)->passedPawns, 0U);
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 77)->score, X(0, 0));
    const auto evaluations = std::make_unique<evalHashTableStruct>();
    putEvalHashEntry(evaluations.get(), 77, 0);
    ASSERT_NE(getEvalHashEntry(evaluations.get(), 77), nullptr);
    EXPECT_EQ(getEvalHashEntry(evaluations.get(), 77)->score, 0);
}

TEST(CacheEdges, ScoresKeepTheirSignAndTheLow16Bits)
{
    const auto table = std::make_unique<evalHashTableStruct>();
    for (const int score : {-1, -32000, 32000, -32768, 32767})
    {
        putEvalHashEntry(table.get(), 9, score);
        EXPECT_EQ(getEvalHashEntry(table.get(), 9)->score, score);
    }
    putEvalHashEntry(table.get(), 9, 0x7fff0005);
    EXPECT_EQ(getEvalHashEntry(table.get(), 9)->score, 5);
    const auto pawns = std::make_unique<pawnHashTableStruct>();
    putPawnHashEntry(pawns.get(), 9, ~0ULL, X(-1, 0));
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 9)->score, X(-1, 0));
    EXPECT_EQ(getPawnHashEntry(pawns.get(), 9)->passedPawns, ~0ULL);
}

TEST(CacheEdges, EntriesHaveTheirFieldsInTheirPlaces)
{
    EXPECT_EQ(sizeof(pawnEntry), 24U);
    EXPECT_EQ(offsetof(pawnEntry, key), 0U);
    EXPECT_EQ(offsetof(pawnEntry, passedPawns), 8U);
    EXPECT_EQ(offsetof(pawnEntry, score), 16U);
    EXPECT_EQ(sizeof(pawnHashTableStruct), 1572864U);
    EXPECT_EQ(sizeof(evalEntry), 16U);
    EXPECT_EQ(offsetof(evalEntry, key), 0U);
    EXPECT_EQ(offsetof(evalEntry, score), 8U);
    EXPECT_EQ(sizeof(evalHashTableStruct), 262144U);
}

TEST(CacheEdges, TwoSearchersDoNotSeeEachOthersEntries)
{
    struct openWorker : worker
    {
        using worker::position;
        using worker::worker;
    };
    Board board("4k3/8/8/8/8/8/8/Q3K3 w - - 0 1");
    const auto first = std::make_unique<openWorker>(1);
    const auto second = std::make_unique<openWorker>(2);
    first->setPosition(board.get());
    second->setPosition(board.get());
    positionStruct* const one = first->position;
    positionStruct* const two = second->position;
    EXPECT_NE(one->evalHashTable, two->evalHashTable);
    EXPECT_NE(one->pawnHashTable, two->pawnHashTable);
    EXPECT_NE(one->evalHashTable, board->evalHashTable);
    const int score = evaluateN(0, one);
    EXPECT_NE(getEvalHashEntry(one->evalHashTable, one->hashKey), nullptr);
    EXPECT_EQ(getEvalHashEntry(two->evalHashTable, two->hashKey), nullptr);
    EXPECT_EQ(evaluateN(0, two), score);
}


// Transposition table

TEST_F(HashTableEdges, AnEntryIsTwoWordsAtTheHeadOfItsLine)
{
    hashAgeCounter = 37;
    constexpr u64 key = 0xfedcba9876540000 | 9;
    putHashTableEntry(key, {12, 28, 13, 2}, -2, 100, boundLower, 0);
    const u64 data = 12 | 28 << 8 | 13 << 16 | 2 << 24 | 0xfffeULL << 32 | 100ULL << 48 |
                     2ULL << 56 | 37ULL << 58;
    EXPECT_EQ(wordAt(9, 8), data);
    EXPECT_EQ(wordAt(9, 0), key ^ (data & 0x03ffffffffffffff)) << "all bits but the age";
    for (size_t offset = 16; offset < 64; offset += 8) EXPECT_EQ(wordAt(9, offset), 0U) << offset;
    EXPECT_EQ(getHashTableEntry(key), data);
}

TEST_F(HashTableEdges, AHitRenewsTheAgeAndNothingElse)
{
    hashAgeCounter = 5;
    putHashTableEntry(3, {1, 2, 0, 4}, 31990, 9, boundExact, 7);
    const u64 stored = wordAt(3, 8);
    const u64 check = wordAt(3, 0);
    hashAgeCounter = 63;
    EXPECT_EQ(getHashTableEntry(3) & HASHDATAMASK, stored & HASHDATAMASK);
    EXPECT_EQ(wordAt(3, 8), (stored & HASHDATAMASK) | 63ULL << 58);
    EXPECT_EQ(wordAt(3, 0), check);
    EXPECT_EQ(hashBound(getHashTableEntry(3)), boundExact);
    hashAgeCounter = 0;
    EXPECT_EQ(getHashTableEntry(3 | 1ULL << 40), 0U);
    EXPECT_EQ(wordAt(3, 8) >> 58, 63U) << "a miss renews nothing";
}

TEST_F(HashTableEdges, AnExactBoundCountsForOnePlyAndTheEarliestOfEqualsGoes)
{
    const auto keyOf = [](u64 n) { return n << 40 | 500; };
    const auto fill = [&keyOf](std::initializer_list<std::pair<int, u8>> entries)
    {
        clearHashTable();
        u64 n = 0;
        for (const auto& [depth, bound] : entries)
            putHashTableEntry(keyOf(++n), {1, 2, 0, 4}, 0, static_cast<i8>(depth), bound, 0);
        putHashTableEntry(keyOf(9), {1, 2, 0, 4}, 0, 1, boundUpper, 0);
        for (u64 i = 1; i <= 4; ++i)
            if (getHashTableEntry(keyOf(i)) == 0) return static_cast<int>(i);
        return 0;
    };
    EXPECT_EQ(fill({{5, boundExact}, {5, boundUpper}, {6, boundLower}, {7, boundLower}}), 2);
    EXPECT_EQ(fill({{5, boundExact}, {6, boundUpper}, {6, boundLower}, {7, boundLower}}), 1);
    EXPECT_EQ(fill({{9, boundLower}, {9, boundUpper}, {8, boundExact}, {9, boundLower}}), 1);
    EXPECT_EQ(fill({{9, boundLower}, {9, boundUpper}, {9, boundExact}, {3, boundLower}}), 4);
}

TEST_F(HashTableEdges, TheScanGoesOnBeyondAnEmptyLine)
{
    const auto keyOf = [](u64 n) { return n << 40 | 700; };
    for (u64 n = 1; n <= 4; ++n) putHashTableEntry(keyOf(n), {1, 2, 0, 4}, 0, 5, boundLower, 0);
    for (const u64 line : {u64{700}, u64{701}, u64{702}})
        hashTable[line].check = hashTable[line].data = 0;
    EXPECT_NE(getHashTableEntry(keyOf(4)), 0U);
    EXPECT_EQ(wordAt(704, 0), 0U) << "and no further than four lines";
}

TEST_F(HashTableEdges, TheLastHomeLinesReachIntoTheSpareOnes)
{
    const u64 last = hashKeyMask;
    ASSERT_EQ(last, 16383U);
    for (u64 n = 1; n <= 4; ++n)
        putHashTableEntry(n << 40 | last, {1, 2, 0, 4}, 0, static_cast<i8>(n), boundLower, 0);
    for (u64 n = 1; n <= 4; ++n)
    {
        const u64 key = n << 40 | last;
        EXPECT_EQ(hashDepth(getHashTableEntry(key)), static_cast<int>(n));
        EXPECT_EQ(hashDepth(wordAt(last + n - 1, 8)), static_cast<int>(n)) << "line by line";
    }
    EXPECT_EQ(wordAt(0, 0), 0U) << "no wrap around to the first line";
    clearHashTable();
    for (u64 line = last; line < last + 4; ++line) EXPECT_EQ(wordAt(line, 0), 0U) << line;
}

TEST_F(HashTableEdges, ClearingEmptiesTheLinesAndTheCountOfSearchesAndKeepsTheAge)
{
    hashAgeCounter = 11;
    hashHartBeat = 75;
    hashCountUse = 4;
    putHashTableEntry(123, {1, 2, 0, 4}, 0, 5, boundLower, 0);
    clearHashTable();
    EXPECT_EQ(getHashTableEntry(123), 0U);
    EXPECT_EQ(wordAt(123, 8), 0U);
    EXPECT_EQ(hashHartBeat, 0U);
    EXPECT_EQ(hashCountUse, 0U);
    EXPECT_EQ(hashAgeCounter, 11);
}

TEST_F(HashTableEdges, KeysThatDifferInTheirTopBitsAreToldApart)
{
    putHashTableEntry(123, {1, 2, 0, 4}, 0, 5, boundLower, 0);
    for (int i = 14; i < 64; ++i) EXPECT_EQ(getHashTableEntry(123 | 1ULL << i), 0U) << i;
    EXPECT_NE(getHashTableEntry(123), 0U);
}
