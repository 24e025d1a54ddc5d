// SPDX-License-Identifier: MIT
//
// The terms of the driver, of pawns and of pieces, one by one, each against a value worked out by
// hand; threats and king safety have files of their own. terms.h looks at every position from both
// colours. Unless the kings matter they stand in corners from which they touch nothing.

#include <algorithm>

#include "terms.h"

namespace
{

constexpr combEval none = X(0, 0);

// Places in a range of terms for each kind of piece.
constexpr int knight = 0;
constexpr int bishop = 1;
constexpr int rook = 2;
constexpr int queen = 3;

/// A corner for the white king from which it touches no pawn of a file.
std::string kingFarFrom(int file)
{
    return file < 4 ? "Kh1 " : "Ka1 ";
}

/// What a passed pawn on the a-file has for two kings seven squares away: -30 + 40, -13 + 5.
constexpr combEval bothFar = X(10, -8);
constexpr combEval freePath = X(-25, 28);

} // namespace


// The driver

TEST(EvalDriver, EveryTermHasANameOfItsOwn)
{
    std::vector<std::string> names;
    for (int term = 0; term < NOFEVALTERMS; ++term) names.emplace_back(evalTermName(term));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
    EXPECT_FALSE(names.front().empty());
}

TEST(EvalDriver, MaterialCountsAllMenButTheKing)
{
    EXPECT_EQ(whites("Kh1 kh8", termMaterial), none);
    EXPECT_EQ(whites("Kh1 Pa2 kh8", termMaterial), X(82, 94));
    EXPECT_EQ(whites("Kh1 Na2 kh8", termMaterial), X(352, 274));
    EXPECT_EQ(whites("Kh1 Ba2 kh8", termMaterial), X(381, 293));
    EXPECT_EQ(whites("Kh1 Ra2 kh8", termMaterial), X(484, 514));
    EXPECT_EQ(whites("Kh1 Qa2 kh8", termMaterial), X(1043, 960));
    EXPECT_EQ(whites("Kh1 Qa2 Qb2 kh8 pa7", termMaterial), X(2086, 1920));
}

TEST(EvalDriver, PieceSquaresAreReadFromTheOwnersView)
{
    // A king on h1 has 7, -39 of its own.
    constexpr combEval king = X(7, -39);
    EXPECT_EQ(whites("Kh1 kh8", termPieceSquares), king);
    EXPECT_EQ(whites("Kh1 Pa2 kh8", termPieceSquares), king + X(-15, 5));
    EXPECT_EQ(whites("Kh1 Ph7 kg6", termPieceSquares), king + X(10, 133));
    EXPECT_EQ(whites("Kh1 Nb1 kh8", termPieceSquares), king + X(-5, -34));
    EXPECT_EQ(whites("Kh1 Bc4 kh8", termPieceSquares), king + X(9, 5));
    EXPECT_EQ(whites("Kh1 Ra8 kh7", termPieceSquares), king + X(-18, 27));
    EXPECT_EQ(whites("Kh1 Qf5 kh8", termPieceSquares), king + X(-2, 7));
    EXPECT_EQ(whites("Kc8 kh8", termPieceSquares), X(21, -20));
}

TEST(EvalDriver, ExactlyTwoBishopsAreAPair)
{
    EXPECT_EQ(whites("Kh1 Bc1 Pa2 kh8", termBishopPair), none);
    EXPECT_EQ(whites("Kh1 Bc1 Bf1 Pa2 kh8", termBishopPair), X(33, 44));
    EXPECT_EQ(whites("Kh1 Bc1 Ba3 Pa2 kh8", termBishopPair), X(33, 44)) << "both on dark squares";
    EXPECT_EQ(whites("Kh1 Bc1 Bf1 Ba3 Pa2 kh8", termBishopPair), none);
    EXPECT_EQ(blacks("Kh1 Bc1 Bf1 Pa2 kh8", termBishopPair), none);
}

TEST(EvalDriver, TempoIsForTheSideToMove)
{
    EXPECT_EQ(whites("Kh1 Pa2 kh8", termTempo), X(25, 17));
    EXPECT_EQ(blacks("Kh1 Pa2 kh8", termTempo), none);
    Board board(fenOf("Kh1 Pa2 kh8", BLACK));
    EXPECT_EQ(evaluateTraced(board.get()).terms[termTempo][BLACK], X(25, 17));
    EXPECT_EQ(evaluateTraced(board.get()).terms[termTempo][WHITE], none);
}


// Pawn structure

TEST(PawnStructure, AColourWithoutPawnsHasNothingAndNoPassedPawn)
{
    for (int term = termPawnCandidate; term <= termPawnNeighbour; ++term)
        EXPECT_EQ(blacks("Kh1 Pa2 Pa3 Pc4 Pd4 Pe5 kd6", term), none) << evalTermName(term);
    EXPECT_EQ(blacks("Kh1 Pa2 Pa3 Pc4 Pd4 Pe5 kd6", termPassedPawns), none);
}

TEST(PawnStructure, TwoLonePawnsOfAFileAreBothPassedAndIsolatedAndOneIsDoubled)
{
    const std::string board = "Kh1 Pa2 Pa3 kh8";
    EXPECT_EQ(whites(board, termPawnDoubled), X(-22, -29));
    EXPECT_EQ(whites(board, termPawnIsolated), X(-4, -12));
    // a2, behind an occupied square, -22 - 25, -7 + 28; a3 -7 - 25, 8 + 28; both with far kings.
    EXPECT_EQ(whites(board, termPassedPawns), X(-47, 21) + X(-32, 36) + bothFar * 2);
}

TEST(PawnStructure, ALoneLeverMakesACandidate)
{
    EXPECT_EQ(whites("Kh1 Pe4 kh8 pd5", termPawnCandidate), X(2, 4));
    EXPECT_EQ(blacks("Kh1 Pe4 kh8 pd5", termPawnCandidate), X(2, 4));
}

TEST(PawnStructure, APawnBehindAnEnemyPawnOfItsFileIsNoCandidate)
{
    EXPECT_EQ(whites("Kh1 Pe4 kh8 pe5", termPawnCandidate), none);
    EXPECT_EQ(whites("Kh1 Pe4 kh8 pe7", termPawnCandidate), none);
    EXPECT_EQ(whites("Kh1 Pe4 kh8 pd5 pe7", termPawnCandidate), none);
    EXPECT_EQ(whites("Kh1 Pe4 kh8 pd7", termPawnCandidate), none);
}

TEST(PawnStructure, ACandidateNeedsAsManyNeighboursAsGuardsOfItsStopSquare)
{
    EXPECT_EQ(whites("Kh1 Pe4 kh8 pd6", termPawnCandidate), none);
    EXPECT_EQ(whites("Kh1 Pe4 Pf4 kh8 pd6", termPawnCandidate), X(1, 18));
    // With a guard on either side f4 has one too many itself.
    EXPECT_EQ(whites("Kh1 Pe4 Pf4 kh8 pd6 pf6", termPawnCandidate), none);
    EXPECT_EQ(whites("Kh1 Pd4 Pe4 Pf4 kh8 pd6 pf6", termPawnCandidate), X(1, 18));
}

TEST(PawnStructure, ACandidateIsWorthMoreWithAsManyDefendersAsLevers)
{
    EXPECT_EQ(whites("Kh1 Pd3 Pe4 kh8 pd5", termPawnCandidate), X(1, 18));
    EXPECT_EQ(whites("Kh1 Pd3 Pe4 kh8 pd5 pf5", termPawnCandidate), X(2, 4));
    EXPECT_EQ(whites("Kh1 Pd3 Pe4 Pf3 kh8 pd5 pf5", termPawnCandidate), X(1, 18));
}

TEST(PawnStructure, CandidatesByRank)
{
    constexpr combEval bare[] = {X(-40, -12), X(-18, -10), X(2, 4), X(12, 25), X(32, 17)};
    for (int rank = 1; rank <= 5; ++rank)
        EXPECT_EQ(whites("Kh1 kh8 " + man('P', 4, rank) + man('p', 3, rank + 1), termPawnCandidate),
                  bare[rank - 1])
            << rank;
    constexpr combEval defended[] = {X(-3, 14), X(1, 18), X(9, 13), X(18, 21)};
    for (int rank = 2; rank <= 5; ++rank)
        EXPECT_EQ(
            whites("Kh1 kh8 " + man('P', 4, rank) + man('P', 3, rank - 1) + man('p', 3, rank + 1),
                   termPawnCandidate),
            defended[rank - 2])
            << rank;
}

TEST(PawnStructure, IsolatedPawnsByFile)
{
    constexpr combEval byFile[] = {X(-2, -6),   X(-5, -6), X(-6, -16), X(-13, -14),
                                   X(-15, -18), X(4, -15), X(-2, -5),  X(-15, -6)};
    for (int file = 0; file < 8; ++file)
    {
        const std::string board = kingFarFrom(file) + "kd8 " + man('P', file, 3);
        EXPECT_EQ(whites(board, termPawnIsolated), byFile[file]) << file;
        EXPECT_EQ(whites(board, termPawnKsIsolated), none) << file;
    }
}

TEST(PawnStructure, APawnIsIsolatedWithoutOwnPawnsOnTheFilesBesideIt)
{
    EXPECT_EQ(whites("Kh1 Pa2 Pb7 kh8", termPawnIsolated), none) << "any rank will do";
    EXPECT_EQ(whites("Kh1 Pa2 Pc2 kh8", termPawnIsolated), X(-2, -6) + X(-6, -16));
    EXPECT_EQ(whites("Kh1 Pa2 kh8 pb7", termPawnIsolated), X(-2, -6)) << "an enemy pawn";
    EXPECT_EQ(whites("Ka1 Pa2 Ph3 kh8", termPawnIsolated), X(-2, -6) + X(-15, -6));
}

TEST(PawnStructure, NearItsKingAnIsolatedPawnPaysLess)
{
    EXPECT_EQ(whites("Kb1 Pa4 kh8", termPawnKsIsolated), X(-8, 4));
    EXPECT_EQ(whites("Kb1 Pa4 kh8", termPawnIsolated), X(-2, -6));
    EXPECT_EQ(whites("Kb1 Pa4 Pc7 kh8", termPawnKsIsolated), X(-16, 8));
    EXPECT_EQ(whites("Kh1 Pa4 ka8", termPawnKsIsolated), none) << "the enemy king doesn't matter";
}

TEST(PawnStructure, TheKingsFilesAreThreeAlsoAtTheEdge)
{
    constexpr int middle[] = {1, 1, 2, 3, 4, 5, 6, 6};
    for (int king = 0; king < 8; ++king)
        for (int file = 0; file < 8; ++file)
            EXPECT_EQ(whites(man('K', king, 0) + man('P', file, 3) + "kd8", termPawnKsIsolated),
                      std::abs(file - middle[king]) <= 1 ? X(-8, 4) : none)
                << king << ' ' << file;
}

TEST(PawnStructure, AFileOfSeveralPawnsIsDoubledOnceLess)
{
    constexpr combEval byFile[] = {X(-22, -29), X(6, -16),   X(-9, -17), X(-16, -10),
                                   X(-14, -7),  X(-10, -16), X(13, -15), X(-4, -23)};
    for (int file = 0; file < 8; ++file)
    {
        const std::string two = kingFarFrom(file) + "kd8 " + man('P', file, 1) + man('P', file, 4);
        EXPECT_EQ(whites(two, termPawnDoubled), byFile[file]) << file;
        EXPECT_EQ(whites(two, termPawnKsDoubled), none) << file;
        EXPECT_EQ(whites(two + man('P', file, 5), termPawnDoubled), byFile[file] * 2) << file;
    }
    EXPECT_EQ(whites("Kh1 Pa2 kh8 pa5", termPawnDoubled), none);
    EXPECT_EQ(whites("Kh1 Pa2 Pa6 kh8 pa5", termPawnDoubled), X(-22, -29)) << "with one between";
    EXPECT_EQ(whites("Kh1 Pa2 Pb3 kh8", termPawnDoubled), none);
}

TEST(PawnStructure, NearItsKingADoubledPawnEarnsSomethingBack)
{
    EXPECT_EQ(whites("Kb1 Pc2 Pc4 kh8", termPawnKsDoubled), X(10, -1));
    EXPECT_EQ(whites("Kb1 Pc2 Pc4 Pc5 kh8", termPawnKsDoubled), X(20, -2));
    EXPECT_EQ(whites("Kb1 Pc2 kh8", termPawnKsDoubled), none);
}

TEST(PawnStructure, ABackwardPawnOnAHalfOpenFilePaysByFile)
{
    constexpr combEval byFile[] = {X(-10, -10), X(-14, -11), X(-16, -14), X(-14, -13),
                                   X(-10, -12), X(-14, -12), X(-14, -8),  X(-7, -4)};
    for (int file = 0; file < 8; ++file)
    {
        std::string board = kingFarFrom(file) + "kd8 ";
        board += man('P', file, 2);
        board += man('p', file ? file - 1 : 1, 4);
        EXPECT_EQ(whites(board, termPawnBackHalf), byFile[file]) << file;
        EXPECT_EQ(whites(board, termPawnKsBackward), none) << file;
    }
}

TEST(PawnStructure, APawnIsBackwardWhenItsStopSquareIsGuardedAndNobodyIsBehindIt)
{
    constexpr combEval backward = X(-14, -11);
    EXPECT_EQ(whites("Kh1 Pb3 kh8 pc5", termPawnBackHalf), backward);
    EXPECT_EQ(whites("Kh1 Pb3 kh8 pc6", termPawnBackHalf), none) << "b4 is not guarded";
    EXPECT_EQ(whites("Kh1 Pb3 kh8 pb6 pc5", termPawnBackHalf), none) << "the file is not open";
    EXPECT_EQ(whites("Kh1 Pb3 kh8 pb2 pc5", termPawnBackHalf), none) << "nor with one behind it";
    EXPECT_EQ(whites("Kh1 Pb3 Pa2 kh8 pc5", termPawnBackHalf), none) << "a2 can support it";
    EXPECT_EQ(whites("Kh1 Pb3 Pb2 kh8 pc5", termPawnBackHalf), none) << "as little as behind it";
    EXPECT_EQ(whites("Kh1 Pb3 Pa3 kh8 pc5", termPawnBackHalf), backward) << "beside is not behind";
    EXPECT_EQ(whites("Kh1 Pb3 Pa4 kh8 pc5", termPawnBackHalf), backward);
}

TEST(PawnStructure, ABackwardPawnNearItsKingPaysOnAnyFile)
{
    EXPECT_EQ(whites("Kb1 Pb3 kh8 pc5", termPawnKsBackward), X(-1, 4));
    EXPECT_EQ(whites("Kb1 Pb3 kh8 pc5", termPawnBackHalf), X(-14, -11));
    EXPECT_EQ(whites("Kb1 Pb3 kh8 pb6 pc5", termPawnKsBackward), X(-1, 4));
    EXPECT_EQ(whites("Kb1 Pb3 kh8 pb6 pc5", termPawnBackHalf), none);
    EXPECT_EQ(whites("Kb1 Pb3 Pa2 kh8 pc5", termPawnKsBackward), none);
}

TEST(PawnStructure, ConnectedPawnsByRank)
{
    constexpr combEval byRank[] = {X(11, 5), X(11, -1), X(17, 4), X(37, 29), X(104, 39)};
    for (int rank = 2; rank <= 6; ++rank)
        EXPECT_EQ(whites("Kh1 kh8 " + man('P', 3, rank - 1) + man('P', 4, rank), termPawnConnected),
                  byRank[rank - 2])
            << rank;
    EXPECT_EQ(whites("Kh1 Pc3 Pd4 Pe3 kh8", termPawnConnected), X(11, -1)) << "two defenders";
    EXPECT_EQ(whites("Kh1 Pd3 Pd4 kh8", termPawnConnected), none);
}

TEST(PawnStructure, NeighboursByRank)
{
    constexpr combEval byRank[] = {X(4, -4), X(4, -2), X(10, 2), X(17, 17), X(48, 67), X(2, 147)};
    for (int rank = 1; rank <= 6; ++rank)
        EXPECT_EQ(whites("Kh1 kh8 " + man('P', 0, rank) + man('P', 1, rank), termPawnNeighbour),
                  byRank[rank - 1] * 2)
            << rank;
    EXPECT_EQ(whites("Kh1 Pa4 Pb4 Pc4 kh8", termPawnNeighbour), X(30, 6));
    EXPECT_EQ(whites("Kh1 Pa4 Pb3 Pc4 kh8", termPawnNeighbour), none);
}

TEST(PawnStructure, AKingThatChangesWingsChangesTheScoreThoughNoPawnMoves)
{
    Board board(fenOf("Ka1 Pa4 Pc4 ke8 pe6"));
    const u64 key = board->pawnHashKey;
    evaluateN(0, board.get());
    const std::string other = fenOf("Kh1 Pa4 Pc4 ke8 pe6");
    setPosition(other, board.get());
    EXPECT_NE(board->pawnHashKey, key);
    Board fresh(other);
    EXPECT_EQ(evaluateN(0, board.get()), evaluateN(0, fresh.get()));
    EXPECT_EQ(whites("Ka1 Pa4 Pc4 ke8 pe6", termPawnKsIsolated), X(-16, 8));
    EXPECT_EQ(whites("Kh1 Pa4 Pc4 ke8 pe6", termPawnKsIsolated), none);
}


// Passed pawns

TEST(PassedPawns, AreWorthMoreByRankWithAFreeAndUnattackedStopSquare)
{
    constexpr combEval byRank[] = {X(-20, 2), X(-7, 8),   X(2, 35),
                                   X(26, 78), X(73, 151), X(105, 168)};
    for (int rank = 1; rank <= 6; ++rank)
        EXPECT_EQ(whites("Kh1 kh8 " + man('P', 0, rank), termPassedPawns),
                  byRank[rank - 1] + bothFar + freePath)
            << rank;
}

TEST(PassedPawns, OnTheSeventhRankWithAFreeStopSquare)
{
    EXPECT_EQ(whites("Kh1 Pa7 kh8", termPassedPawns), X(105 + 10 - 25, 168 - 8 + 28));
}

TEST(PassedPawns, AnOwnManInFrontStopsAPawnAsAnEnemyManDoes)
{
    // Neither knight attacks a square of the a-file.
    constexpr combEval stopped = X(33, 52) + bothFar + freePath;
    EXPECT_EQ(whites("Kh1 Pa5 Na6 kh8", termPassedPawns), stopped);
    EXPECT_EQ(whites("Kh1 Pa5 kh8 na6", termPassedPawns), stopped);
    EXPECT_EQ(whites("Kh1 Pa5 kh8", termPassedPawns), X(26, 78) + bothFar + freePath);
}

TEST(PassedPawns, AnAttackedStopSquareHasTablesOfItsOwn)
{
    constexpr combEval empty[] = {X(-29, 16), X(-22, 20), X(-8, 44),
                                  X(38, 53),  X(89, 62),  X(134, 32)};
    constexpr combEval occupied[] = {X(-36, -11), X(-39, 33), X(-4, 36),
                                     X(30, 62),   X(72, 32),  X(125, -55)};
    for (int rank = 1; rank <= 6; ++rank)
    {
        // A knight two files beside the stop square and a rank above or below it attacks it, and
        // on neither rank the pawn.
        const std::string attacker = man('n', 2, rank == 6 ? 6 : rank + 2);
        const std::string board = "Kh1 kh8 " + man('P', 0, rank) + attacker;
        EXPECT_EQ(whites(board, termPassedPawns), empty[rank - 1] + bothFar) << rank;
        EXPECT_EQ(whites(board + man('N', 0, rank + 1), termPassedPawns),
                  occupied[rank - 1] + bothFar)
            << rank;
    }
}

TEST(PassedPawns, AnOccupiedStopSquareByRank)
{
    constexpr combEval byRank[] = {X(-22, -7), X(-1, 9), X(-1, 31), X(33, 52), X(67, 54), X(65, 4)};
    for (int rank = 1; rank <= 6; ++rank)
        EXPECT_EQ(whites("Kh1 kh8 " + man('P', 0, rank) + man('N', 0, rank + 1), termPassedPawns),
                  byRank[rank - 1] + bothFar + freePath)
            << rank;
}

TEST(PassedPawns, TheDistanceToTheOwnKing)
{
    constexpr combEval byDistance[] = {X(20, 0),    X(15, -7),   X(5, -19),  X(-15, -21),
                                       X(-20, -17), X(-25, -13), X(-30, -13)};
    const std::string names[] = {"Kb1 ", "Kc1 ", "Kd2 ", "Ke2 ", "Kf1 ", "Kg2 ", "Kh1 "};
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(whites(names[i] + "Pa2 kh8", termPassedPawns),
                  byDistance[i] + X(-20, 2) + X(40, 5) + freePath)
            << i + 1;
    EXPECT_EQ(whites("Ka8 Pa2 kh8", termPassedPawns), X(-25, -13) + X(-20, 2) + X(40, 5) + freePath)
        << "six ranks away";
}

TEST(PassedPawns, TheDistanceToTheEnemyKing)
{
    constexpr combEval byDistance[] = {X(-20, -38), X(-5, -16), X(0, -1),
                                       X(20, 5),    X(30, 7),   X(40, 5)};
    const std::string names[] = {"kc1 ", "kd2 ", "ke1 ", "kf2 ", "kg1 ", "kh2 "};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(whites(names[i] + "Pa2 Kh8", termPassedPawns),
                  byDistance[i] + X(-20, 2) + X(-30, -13) + freePath)
            << i + 2;
    // Beside the pawn the king attacks it, so that its path is not free.
    EXPECT_EQ(whites("kb1 Pa2 Kh8", termPassedPawns), X(-30, -39) + X(-20, 2) + X(-30, -13));
}

TEST(PassedPawns, ThePathIsFreeWhenNoSquareFromThePawnsOwnOnIsAttacked)
{
    constexpr combEval unattackedStop = X(26, 78) + bothFar;
    EXPECT_EQ(whites("Kh1 Pa5 kh8 nd3", termPassedPawns), unattackedStop + freePath);
    EXPECT_EQ(whites("Kh1 Pa5 kh8 nb3", termPassedPawns), unattackedStop) << "a5 itself";
    EXPECT_EQ(whites("Kh1 Pa5 kh8 nb6", termPassedPawns), unattackedStop) << "a8";
    EXPECT_EQ(whites("Kh1 Pa5 kh8 nc3", termPassedPawns), unattackedStop + freePath) << "a4";
}

TEST(PassedPawns, AnOwnRookOrQueenInFrontHalvesThemTowardZero)
{
    // 26 + 10 - 25 = 11 and 78 - 8 + 28 = 98.
    EXPECT_EQ(whites("Kh1 Pa5 kh7", termPassedPawns), X(11, 98));
    EXPECT_EQ(whites("Kh1 Pa5 Ra8 kh7", termPassedPawns), X(5, 49));
    EXPECT_EQ(whites("Kh1 Pa5 Qa8 kh7", termPassedPawns), X(5, 49));
    EXPECT_EQ(whites("Kh1 Pa5 Ra8 Qa7 kh7", termPassedPawns), X(5, 49)) << "no more for two";
    EXPECT_EQ(whites("Kh1 Pa5 Rb8 kh7", termPassedPawns), X(11, 98)) << "on the file beside";
    EXPECT_EQ(whites("Kh1 Pa5 Ba8 kh7", termPassedPawns), X(11, 98));
}

TEST(PassedPawns, ANegativeValueIsHalvedTowardZero)
{
    // Three squares from either king, the stop square attacked from b5: -29 + 5 - 5, 16 - 19 - 16.
    EXPECT_EQ(whites("Kd1 Pa2 kd4 nb5", termPassedPawns), X(-29, -19));
    EXPECT_EQ(whites("Kd1 Pa2 Ra6 kd4 nb5", termPassedPawns), X(-14, -9));
}

TEST(PassedPawns, EachHalfIsDividedByItself)
{
    // The rook stands on the attacked stop square: 125 + 10, -55 - 8.
    EXPECT_EQ(whites("Kh1 Pa7 Na8 kh6 nc7", termPassedPawns), X(135, -63));
    EXPECT_EQ(whites("Kh1 Pa7 Ra8 kh6 nc7", termPassedPawns), X(67, -31));
}

TEST(PassedPawns, AnAttackOnThePawnChangesOnlyPathAndDivisor)
{
    // The stop square a6 is not attacked: 26 + 10 and 78 - 8, without the free path.
    EXPECT_EQ(whites("Kh1 Pa5 kh7 nb3", termPassedPawns), X(36, 70));
    EXPECT_EQ(whites("Kh1 Pa5 Ra8 kh7 nb3", termPassedPawns), X(9, 17));
    EXPECT_EQ(whites("Kh1 Pa5 Ra8 kh7 nd3", termPassedPawns), X(5, 49));
}

TEST(PassedPawns, ARookBehindThemOrAnEnemyRookReducesNothing)
{
    EXPECT_EQ(whites("Kh1 Pa5 Ra1 kh7", termPassedPawns), X(11, 98));
    EXPECT_EQ(whites("Kh1 Pa5 kh7 ra8", termPassedPawns), X(38, 53) + bothFar);
    EXPECT_EQ(whites("Kh1 Pa5 kh7 ra1", termPassedPawns), X(26, 78) + bothFar);
}

TEST(PassedPawns, AnEnemyPawnAheadOnAFileBesideMakesAPawnNotPassed)
{
    EXPECT_EQ(whites("Kh1 Pa5 kh8 pb6", termPassedPawns), none);
    EXPECT_EQ(whites("Kh1 Pa5 kh8 pb7", termPassedPawns), none);
    EXPECT_EQ(whites("Kh1 Pa5 kh8 pa7", termPassedPawns), none);
    EXPECT_NE(whites("Kh1 Pa5 kh8 pb5", termPassedPawns), none);
    EXPECT_NE(whites("Kh1 Pa5 kh8 pc6", termPassedPawns), none);
}


// Pins and discoveries

TEST(Pieces, APinnedKnightOnTheKingsFileHasNoMobilityAndItsReducedAttacksEnterTheMaps)
{
    // Black's knight on f6 is attacked by the knight on e4 unless that is pinned.
    EXPECT_EQ(whites("Ke1 Ne4 kh8 nf6 re8", termMobility + knight), X(-22, -17));
    EXPECT_EQ(whites("Ke1 Ne4 kh8 nf6 rd8", termMobility + knight), X(44, 31));
    EXPECT_EQ(blacks("Ke1 Ne4 kh8 nf6 re8", termThreatMinorByMinor), none);
    EXPECT_EQ(blacks("Ke1 Ne4 kh8 nf6 rd8", termThreatMinorByMinor), X(-19, -22));
}

TEST(Pieces, APinIsASmallBonusUnlessAnEnemyPawnAttacksThePinnedMan)
{
    EXPECT_EQ(whites("Ke1 Ne4 kh8 re8", termPinned + knight), X(30, 9));
    EXPECT_EQ(whites("Ke1 Ne4 kh8 re8 pd5", termPinned + knight), X(-46, -95));
    EXPECT_EQ(whites("Ke1 Bf2 kh8 bh4", termPinned + bishop), X(25, 21));
    EXPECT_EQ(whites("Ke1 Bf2 kh8 bh4 pe3", termPinned + bishop), X(-84, -160));
    EXPECT_EQ(whites("Ke1 Re4 kh8 re8", termPinned + rook), X(28, 29));
    EXPECT_EQ(whites("Ke1 Re4 kh8 re8 pf5", termPinned + rook), X(-25, -113));
    EXPECT_EQ(whites("Ke1 Qe4 kh8 re8", termPinned + queen), X(-28, 30));
    EXPECT_EQ(whites("Ke1 Qe4 kh8 re8 pd5", termPinned + queen), X(-83, -404));
}

TEST(Pieces, OnlyAManAloneBeforeAFittingSliderIsPinned)
{
    EXPECT_EQ(whites("Ke1 Ne4 kh8 be8", termPinned + knight), none) << "a bishop on a file";
    EXPECT_EQ(whites("Ke1 Nf2 kh8 rh4", termPinned + knight), none) << "a rook on a diagonal";
    EXPECT_EQ(whites("Ke1 Ne4 kh8 qe8", termPinned + knight), X(30, 9));
    EXPECT_EQ(whites("Ke1 Nf2 kh8 qh4", termPinned + knight), X(30, 9));
    EXPECT_EQ(whites("Ke1 Nc1 kh8 ra1", termPinned + knight), X(30, 9));
    EXPECT_EQ(whites("Ke1 Ne3 Ne4 kh8 re8", termPinned + knight), none) << "two own men";
    EXPECT_EQ(whites("Ke1 Ne4 kh8 re8 pe5", termPinned + knight), none) << "an enemy man too";
    EXPECT_EQ(whites("Ke1 Ne4 kh8 Re8", termPinned + knight), none) << "an own rook";
}

TEST(Pieces, APinnedSliderMovesAlongTheLineOnly)
{
    // f2: g3 and h4; e1 is the king's. e4: e2, e3 and e5 to e8.
    EXPECT_EQ(whites("Ke1 Bf2 kh8 bh4", termMobility + bishop), X(-28, -1));
    EXPECT_EQ(whites("Ke1 Re4 kh8 re8", termMobility + rook), X(0, 25));
    EXPECT_EQ(whites("Ke1 Qe4 kh8 re8", termMobility + queen), X(-20, -30));
}

TEST(Pieces, AManAloneBetweenAnOwnSliderAndTheEnemyKingCanDiscoverCheck)
{
    EXPECT_EQ(whites("Kh1 Re1 Ne4 ke8", termDiscovered + knight), X(149, 66));
    EXPECT_EQ(whites("Kh1 Re1 Be4 ke8", termDiscovered + bishop), X(139, 58));
    EXPECT_EQ(whites("Kh1 Ba4 Rc6 ke8", termDiscovered + rook), X(190, 128));
    EXPECT_EQ(whites("Kh1 Re1 Ne3 Ne4 ke8", termDiscovered + knight), none) << "two men";
    EXPECT_EQ(whites("Kh1 Be1 Ne4 ke8", termDiscovered + knight), none) << "a bishop on a file";
    EXPECT_EQ(whites("Ke1 Ne4 kh8 re8", termDiscovered + knight), none) << "the own king";
}

TEST(Pieces, AQueenBetweenARookAndTheEnemyKingCountsThoughItChecksItself)
{
    EXPECT_EQ(whites("Kh1 Re1 Qe4 ke8", termDiscovered + queen, BLACK), X(400, 389));
}

TEST(Pieces, PawnsAreScoredForNeitherPinNorDiscovery)
{
    for (int term = termPinned; term < termMobility; ++term)
    {
        EXPECT_EQ(whites("Ke1 Pe4 kh8 re8", term), none) << evalTermName(term);
        EXPECT_EQ(whites("Kh1 Re1 Pe4 ke8", term), none) << evalTermName(term);
    }
}


// Mobility

TEST(Pieces, AKnightsMobilityIsTheNumberOfItsSquares)
{
    EXPECT_EQ(whites("Kh1 Na1 kh8", termMobility + knight), X(-8, 15));
    EXPECT_EQ(whites("Kh1 Nb1 kh8", termMobility + knight), X(1, 29));
    EXPECT_EQ(whites("Kh1 Na3 kh8", termMobility + knight), X(13, 32));
    EXPECT_EQ(whites("Kh1 Nc2 kh8", termMobility + knight), X(26, 39));
    EXPECT_EQ(whites("Kh1 Nd4 kh8", termMobility + knight), X(44, 31));
}

TEST(Pieces, MobilityLeavesOutEnemyPawnAttacksBlockedPawnsAndTheKing)
{
    EXPECT_EQ(whites("Kh1 Nd4 kh8 pd7", termMobility + knight), X(26, 39)) << "c6 and e6";
    EXPECT_EQ(whites("Kh1 Nd4 Pb3 kh8", termMobility + knight), X(44, 31)) << "an own free pawn";
    EXPECT_EQ(whites("Kh1 Nd4 Pb3 Bb4 kh8", termMobility + knight), X(34, 40)) << "a blocked one";
    EXPECT_EQ(whites("Kh1 Nd4 Pb3 kh8 bb4", termMobility + knight), X(34, 40));
    EXPECT_EQ(whites("Ke2 Nd4 kh8", termMobility + knight), X(34, 40)) << "the own king's square";
    EXPECT_EQ(whites("Kh1 Nd4 Be2 kh8", termMobility + knight), X(44, 31)) << "an own bishop's";
    EXPECT_EQ(whites("Kh1 Nd4 kh8 be2", termMobility + knight), X(44, 31)) << "an enemy's";
    EXPECT_EQ(whites("Kh1 Nd4 ke6", termMobility + knight), X(44, 31)) << "the enemy king's";
    EXPECT_EQ(whites("Kh1 Nd4 kh8 nc7", termMobility + knight), X(44, 31))
        << "attacked by a knight";
}

TEST(Pieces, ABishopLooksThroughOwnQueensAndStopsAtAnOwnRook)
{
    EXPECT_EQ(whites("Kh1 Ba1 kg8", termMobility + bishop), X(8, 35));
    EXPECT_EQ(whites("Kh1 Ba1 Qd4 kg8", termMobility + bishop), X(8, 35));
    EXPECT_EQ(whites("Kh1 Ba1 Rd4 kg8", termMobility + bishop), X(-17, 16));
    EXPECT_EQ(whites("Kh1 Ba1 kg8 qd4", termMobility + bishop), X(-17, 16)) << "an enemy queen";
    EXPECT_EQ(whites("Kh2 Bd4 kg8", termMobility + bishop), X(43, 26));
}

TEST(Pieces, RooksCountTheSquaresBeyondOwnRooksAndQueens)
{
    // Fourteen squares on the bare board.
    EXPECT_EQ(whites("Kh2 Ra1 kg8", termMobility + rook), X(40, 40));
    EXPECT_EQ(whites("Kh2 Ra1 Ra4 kg8", termMobility + rook), X(80, 80)) << "behind and in front";
    EXPECT_EQ(whites("Kh2 Ra1 Qa4 kg8", termMobility + rook), X(40, 40));
    EXPECT_EQ(whites("Kh2 Ra1 Ba4 kg8", termMobility + rook), X(17, 37)) << "a4 and the rank: 10";
    EXPECT_EQ(whites("Kh2 Ra1 kg8 ra4", termMobility + rook), X(17, 37));
    EXPECT_EQ(whites("Kh2 Ra1 Nb1 Ba2 kg8", termMobility + rook), X(-13, -23));
}

TEST(Pieces, AQueenLooksThroughOwnRooksOnRanksAndFilesOnly)
{
    // From a1: seven squares on the file, the rank and the diagonal.
    EXPECT_EQ(whites("Kh2 Qa1 kg8", termMobility + queen), X(22, 56));
    EXPECT_EQ(whites("Kh2 Qa1 Ra4 kg8", termMobility + queen), X(22, 56));
    EXPECT_EQ(whites("Kh2 Qa1 Rd4 kg8", termMobility + queen), X(-7, 60)) << "17: b2, c3 and d4";
    EXPECT_EQ(whites("Kh2 Qa1 Bd4 kg8", termMobility + queen), X(-7, 60));
    EXPECT_EQ(whites("Kh2 Qa1 Ba4 kg8", termMobility + queen), X(-7, 60));
    EXPECT_EQ(whites("Kh1 Qd4 kg8", termMobility + queen), X(48, 18));
    EXPECT_EQ(whites("Kh2 Qa1 Qd4 kg8", termMobility + queen), X(22 + 48, 56 + 18));
    // The other queen, on a4, sees seven on the file and on the rank, a4 to d1 and a4 to e8: 21.
    EXPECT_EQ(whites("Kh2 Qa1 Qa4 kg8", termMobility + queen), X(44, 112));
}

TEST(Pieces, AQueenWithOneSquareIsWorthMoreThanWithNone)
{
    EXPECT_EQ(whites("Qa1 Kb1 Pa2 Pb2 Na3 Nb3 kh8", termMobility + queen), X(-77, 52));
    EXPECT_EQ(whites("Qa1 Kb1 Pa2 Pb2 Na3 kh8", termMobility + queen), X(53, 28)) << "b2";
}


// Outposts, files, bad bishops, distances

TEST(Pieces, OutpostsStandWhereNoEnemyPawnAheadOnAFileBesideCanAttackThem)
{
    EXPECT_EQ(whites("Kh1 Ne5 kh8 pe6 pe7", termOutpost + knight), X(4, -15));
    EXPECT_EQ(whites("Kh1 Ne5 Pd4 kh8 pe7", termOutpost + knight), X(23, 5));
    EXPECT_EQ(whites("Kf4 Ne5 kg8 pe7", termOutpost + knight), X(4, -15)) << "a king defends it";
    EXPECT_EQ(whites("Kh1 Be5 Nd3 kg8", termOutpost + bishop), X(6, -7)) << "a knight does";
    for (const char* pawn : {"pd6", "pf6", "pd7", "pf7"})
    {
        EXPECT_EQ(whites(std::string("Kh1 Ne5 Pd4 kh8 ") + pawn, termOutpost + knight), none)
            << pawn;
        EXPECT_EQ(whites(std::string("Kh1 Be5 Pd4 kh8 ") + pawn, termOutpost + bishop), none)
            << pawn;
    }
    EXPECT_EQ(whites("Kh1 Ne5 kh8 pd5 pf4", termOutpost + knight), X(4, -15)) << "passed already";
    EXPECT_EQ(whites("Kh1 Ne5 kh8 pc6 pg7", termOutpost + knight), X(4, -15)) << "too far away";
    EXPECT_EQ(whites("Kh1 Be5 kg8", termOutpost + bishop), X(6, -7));
    EXPECT_EQ(whites("Kh1 Be5 Pd4 kg8", termOutpost + bishop), X(32, 0));
}

TEST(Pieces, OutpostsAreOnRanks4To6)
{
    for (int rank = 0; rank < 8; ++rank)
    {
        const bool counts = rank >= 3 && rank <= 5;
        EXPECT_EQ(whites("Kh1 kh8 " + man('N', 0, rank), termOutpost + knight),
                  counts ? X(4, -15) : none)
            << rank;
        EXPECT_EQ(whites("Kg1 kg8 " + man('B', 7, rank), termOutpost + bishop),
                  counts ? X(6, -7) : none)
            << rank;
    }
}

TEST(Pieces, AKnightOrBishopPaysForItsDistanceToItsKingInTheMidGameOnly)
{
    EXPECT_EQ(whites("Ke1 Ne5 kh8", termKingDistance + knight), X(-12, 0));
    EXPECT_EQ(whites("Ke1 Nb2 kh8", termKingDistance + knight), X(-9, 0));
    EXPECT_EQ(whites("Kh1 Bb2 kg8", termKingDistance + bishop), X(-18, 0));
    EXPECT_EQ(whites("Kh1 Bb2 Ba1 kg8", termKingDistance + bishop), X(-39, 0));
    EXPECT_EQ(whites("Kh1 Ra4 Qb4 kg8", termKingDistance + knight), none);
    EXPECT_EQ(whites("Kh1 Ra4 Qb4 kg8", termKingDistance + bishop), none);
}

TEST(Pieces, ABishopPaysForAllBlockedOwnPawnsOfItsColour)
{
    EXPECT_EQ(whites("Kh1 Bc1 Pd4 kg8 pd5", termBadBishop), X(-2, -11));
    EXPECT_EQ(whites("Kh1 Bc1 Pd4 Ph4 kg8 pd5 nh5", termBadBishop), X(-4, -22)) << "anywhere";
    EXPECT_EQ(whites("Kh1 Bc1 Pd4 Nd5 kg8", termBadBishop), X(-2, -11)) << "blocked by its own";
    EXPECT_EQ(whites("Kh1 Bc1 Pd4 kg8", termBadBishop), none) << "free";
    EXPECT_EQ(whites("Kh1 Bc1 Pe4 kg8 pe5", termBadBishop), none) << "on the other colour";
    EXPECT_EQ(whites("Kh1 Bf1 Pe4 kg8 pe5", termBadBishop), X(-2, -11));
    EXPECT_EQ(whites("Kh1 Bc1 Be1 Pd4 kg8 pd5", termBadBishop), X(-4, -22)) << "two bishops";
    EXPECT_EQ(blacks("Kh1 Bc1 Pd4 kg8 pd5", termBadBishop), none);
}

TEST(Pieces, ARookWantsNoOwnPawnOnItsFile)
{
    EXPECT_EQ(whites("Kh1 Ra1 kh8", termRookFile), X(40, -6));
    EXPECT_EQ(whites("Kh1 Ra1 kh8 pa7", termRookFile), X(17, 3));
    EXPECT_EQ(whites("Kh1 Ra6 kh8 pa2", termRookFile), X(17, 3)) << "behind it too";
    EXPECT_EQ(whites("Kh1 Ra1 Pa6 kh8", termRookFile), none);
    EXPECT_EQ(whites("Kh1 Ra6 Pa2 kh8", termRookFile), none);
    EXPECT_EQ(whites("Kh1 Ra1 Pa6 kh8 pa7", termRookFile), none) << "whatever else is there";
    EXPECT_EQ(whites("Kh1 Ra1 Pb6 kh8 pb7", termRookFile), X(40, -6));
    EXPECT_EQ(whites("Kh1 Ra1 Rb1 Pc2 kh8 pb7", termRookFile), X(57, -3));
}
