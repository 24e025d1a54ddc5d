// SPDX-License-Identifier: MIT
//
// The terms of the driver, of pawns and of pieces, one by one; threats and king safety have files
// of their own. Unless the kings matter they are in corners where they touch nothing.

#include "terms.h"

namespace
{

/// A corner for the white king from which it touches no pawn of a file.
std::string kingFarFrom(int file)
{
    return file < 4 ? "Kh1 " : "Ka1 ";
}

/// What a passed pawn on the a-file has for two kings seven squares away, and for a free path.
const combEval bothFar = EVALPAWNPASSEDDISTOWN[7] + EVALPAWNPASSEDDISTOTHER[7];
const combEval& freePath = EVALPAWNPASSEDPROMO[0];

combEval dividedBy(combEval value, int divisor)
{
    return X(mgHalf(value) / divisor, egHalf(value) / divisor);
}

} // namespace


// The driver

TEST(EvalDriver, MaterialCountsAllPiecesButTheKing)
{
    expectWhites(termMaterial, {{"Kh1 kh8", none},
                                {"Kh1 Pa2 kh8", pieceValue[0]},
                                {"Kh1 Na2 kh8", pieceValue[1]},
                                {"Kh1 Ba2 kh8", pieceValue[2]},
                                {"Kh1 Ra2 kh8", pieceValue[3]},
                                {"Kh1 Qa2 Qb2 kh8 pa7", pieceValue[4] * 2}});
}

TEST(EvalDriver, ExactlyTwoBishopsAreAPair)
{
    expectWhites(termBishopPair, {{"Kh1 Bc1 Pa2 kh8", none},
                                  {"Kh1 Bc1 Bf1 Pa2 kh8", EVALBISHOPPAIR},
                                  {"Kh1 Bc1 Ba3 Pa2 kh8", EVALBISHOPPAIR, "both on dark squares"},
                                  {"Kh1 Bc1 Bf1 Ba3 Pa2 kh8", none}});
    EXPECT_EQ(blacks("Kh1 Bc1 Bf1 Pa2 kh8", termBishopPair), none);
}

TEST(EvalDriver, TempoIsForTheSideToMove)
{
    EXPECT_EQ(whites("Kh1 Pa2 kh8", termTempo), EVALTEMPO);
    EXPECT_EQ(blacks("Kh1 Pa2 kh8", termTempo), none);
    EXPECT_EQ(whites("Kh1 Pa2 kh8", termTempo, BLACK), none);
}


// Pawn structure

TEST(EvalPawns, ACandidateHasOnlyLeversAndGuardsOfItsStopSquareInFront)
{
    const combEval bare = EVALPAWNPASSEDCANDIDATE[0][3];
    const combEval enough = EVALPAWNPASSEDCANDIDATE[1][3];
    expectWhites(termPawnCandidate,
                 {{"Kh1 Pe4 kh8 pd5", bare, "a lever"},
                  {"Kh1 Pe4 kh8 pe5", none, "an enemy pawn on its file"},
                  {"Kh1 Pe4 kh8 pe7", none},
                  {"Kh1 Pe4 kh8 pd5 pe7", none},
                  {"Kh1 Pe4 kh8 pd7", none, "beyond the stop square"},
                  {"Kh1 Pe4 kh8 pd6", none, "a guard and no neighbour"},
                  {"Kh1 Pe4 Pf4 kh8 pd6", enough},
                  {"Kh1 Pe4 Pf4 kh8 pd6 pf6", none, "two guards and one neighbour"},
                  {"Kh1 Pd4 Pe4 Pf4 kh8 pd6 pf6", enough},
                  {"Kh1 Pd3 Pe4 kh8 pd5", enough, "a defender for a lever"},
                  {"Kh1 Pd3 Pe4 kh8 pd5 pf5", bare, "one for two"},
                  {"Kh1 Pd3 Pe4 Pf3 kh8 pd5 pf5", enough}});
    EXPECT_EQ(blacks("Kh1 Pe4 kh8 pd5", termPawnCandidate), bare);
}

TEST(EvalPawns, CandidatesByRank)
{
    for (int rank = 1; rank <= 5; ++rank)
    {
        const std::string bare = "Kh1 kh8 " + piece('P', 4, rank) + piece('p', 3, rank + 1);
        EXPECT_EQ(whites(bare, termPawnCandidate), EVALPAWNPASSEDCANDIDATE[0][rank]) << rank;
        if (rank == 1) continue;
        EXPECT_EQ(whites(bare + piece('P', 3, rank - 1), termPawnCandidate),
                  EVALPAWNPASSEDCANDIDATE[1][rank])
            << rank;
    }
}

TEST(EvalPawns, TermsByFile)
{
    for (int file = 0; file < 8; ++file)
    {
        const std::string kings = kingFarFrom(file) + "kd8 ";
        EXPECT_EQ(whites(kings + piece('P', file, 3), termPawnIsolated), EVALPAWNISOLATED[file]);
        EXPECT_EQ(whites(kings + piece('P', file, 3), termPawnKsIsolated), none);

        const std::string two = kings + piece('P', file, 1) + piece('P', file, 4);
        EXPECT_EQ(whites(two, termPawnDoubled), EVALPAWNDOUBLED[file]);
        EXPECT_EQ(whites(two, termPawnKsDoubled), none);
        EXPECT_EQ(whites(two + piece('P', file, 5), termPawnDoubled), EVALPAWNDOUBLED[file] * 2);

        const std::string guarded =
            kings + piece('P', file, 2) + piece('p', file ? file - 1 : 1, 4);
        EXPECT_EQ(whites(guarded, termPawnBackHalf), EVALPAWNBACKHALF[file]);
        EXPECT_EQ(whites(guarded, termPawnKsBackward), none);
    }
}

TEST(EvalPawns, APawnIsIsolatedWithoutOwnPawnsOnTheFilesBesideIt)
{
    expectWhites(termPawnIsolated,
                 {{"Kh1 Pa2 Pb7 kh8", none, "any rank will do"},
                  {"Kh1 Pa2 Pc2 kh8", EVALPAWNISOLATED[0] + EVALPAWNISOLATED[2]},
                  {"Kh1 Pa2 kh8 pb7", EVALPAWNISOLATED[0], "an enemy pawn"},
                  {"Ka1 Pa2 Ph3 kh8", EVALPAWNISOLATED[0] + EVALPAWNISOLATED[7], "no wrap"}});
}

TEST(EvalPawns, TheKingsFilesAreThreeAlsoAtTheEdge)
{
    constexpr int middle[] = {1, 1, 2, 3, 4, 5, 6, 6};
    for (int king = 0; king < 8; ++king)
        for (int file = 0; file < 8; ++file)
            EXPECT_EQ(whites(piece('K', king, 0) + piece('P', file, 3) + "kd8", termPawnKsIsolated),
                      std::abs(file - middle[king]) <= 1 ? EVALPAWNKSISOLATED : none)
                << king << ' ' << file;
}

TEST(EvalPawns, NearTheirKingWeakPawnsGetTheTermsOfTheKingAsWell)
{
    EXPECT_EQ(whites("Kb1 Pa4 kh8", termPawnIsolated), EVALPAWNISOLATED[0]);
    expectWhites(termPawnKsIsolated, {{"Kb1 Pa4 Pc7 kh8", EVALPAWNKSISOLATED * 2},
                                      {"Kh1 Pa4 ka8", none, "the enemy king doesn't matter"}});
    expectWhites(termPawnKsDoubled, {{"Kb1 Pc2 Pc4 kh8", EVALPAWNKSDOUBLED},
                                     {"Kb1 Pc2 Pc4 Pc5 kh8", EVALPAWNKSDOUBLED * 2},
                                     {"Kb1 Pc2 kh8", none}});
    EXPECT_EQ(whites("Kb1 Pb3 kh8 pc5", termPawnBackHalf), EVALPAWNBACKHALF[1]);
    expectWhites(termPawnKsBackward, {{"Kb1 Pb3 kh8 pc5", EVALPAWNKSBACKWARD},
                                      {"Kb1 Pb3 kh8 pb6 pc5", EVALPAWNKSBACKWARD, "any file"},
                                      {"Kb1 Pb3 Pa2 kh8 pc5", none}});
}

TEST(EvalPawns, OnlyAnOwnPawnOfTheFileMakesADoubledOne)
{
    expectWhites(termPawnDoubled, {{"Kh1 Pa2 kh8 pa5", none},
                                   {"Kh1 Pa2 Pa6 kh8 pa5", EVALPAWNDOUBLED[0], "one between"},
                                   {"Kh1 Pa2 Pb3 kh8", none}});
}

TEST(EvalPawns, APawnIsBackwardWhenItsStopSquareIsGuardedAndNoOwnPawnIsFurtherBack)
{
    const combEval backward = EVALPAWNBACKHALF[1];
    expectWhites(termPawnBackHalf, {{"Kh1 Pb3 kh8 pc5", backward},
                                    {"Kh1 Pb3 kh8 pc6", none, "b4 is not guarded"},
                                    {"Kh1 Pb3 kh8 pb6 pc5", none, "the file is not half-open"},
                                    {"Kh1 Pb3 kh8 pb2 pc5", none, "nor with an enemy pawn on b2"},
                                    {"Kh1 Pb3 Pa2 kh8 pc5", none, "a2 can support it"},
                                    {"Kh1 Pb3 Pb2 kh8 pc5", none, "its own file counts as well"},
                                    {"Kh1 Pb3 Pa3 kh8 pc5", backward, "beside is not behind"},
                                    {"Kh1 Pb3 Pa4 kh8 pc5", backward}});
}

TEST(EvalPawns, ConnectedPawnsAndNeighboursByRank)
{
    for (int rank = 1; rank <= 6; ++rank)
    {
        const std::string kings = "Kh1 kh8 ";
        EXPECT_EQ(whites(kings + piece('P', 0, rank) + piece('P', 1, rank), termPawnNeighbour),
                  EVALPAWNNEIGHBOUR[rank] * 2);
        if (rank == 1) continue;
        EXPECT_EQ(whites(kings + piece('P', 3, rank - 1) + piece('P', 4, rank), termPawnConnected),
                  EVALPAWNCONNECTED[rank]);
    }
    expectWhites(termPawnConnected,
                 {{"Kh1 Pc3 Pd4 Pe3 kh8", EVALPAWNCONNECTED[3], "two defenders count as one"},
                  {"Kh1 Pd3 Pd4 kh8", none}});
    expectWhites(termPawnNeighbour, {{"Kh1 Pa4 Pb4 Pc4 kh8", EVALPAWNNEIGHBOUR[3] * 3},
                                     {"Kh1 Pa4 Pb3 Pc4 kh8", none}});
}

TEST(EvalPawns, AKingThatChangesWingsChangesTheScoreThoughNoPawnMoves)
{
    const std::string other = fenOf("Kh1 Pa4 Pc4 ke8 pe6");
    Board board(fenOf("Ka1 Pa4 Pc4 ke8 pe6"));
    const u64 key = board->pawnHashKey;
    evaluateN(0, board.get());
    setPosition(other, board.get());
    EXPECT_NE(board->pawnHashKey, key);
    EXPECT_EQ(evaluateN(0, board.get()), evaluateN(0, Board(other).get()));
    expectWhites(termPawnKsIsolated,
                 {{"Ka1 Pa4 Pc4 ke8 pe6", EVALPAWNKSISOLATED * 2}, {"Kh1 Pa4 Pc4 ke8 pe6", none}});
}


// Passed pawns

TEST(EvalPassed, ByRankAndByWhatIsOnTheStopSquareAndAttacksIt)
{
    for (int rank = 1; rank <= 6; ++rank)
    {
        // The knight on the c-file attacks the stop square and not the pawn.
        const std::string pawn = "Kh1 kh8 " + piece('P', 0, rank);
        const std::string attacker = piece('n', 2, rank == 6 ? 6 : rank + 2);
        const std::string blocker = piece('N', 0, rank + 1);
        EXPECT_EQ(whites(pawn, termPassedPawns), EVALPAWNPASSED[1][0][rank] + bothFar + freePath);
        EXPECT_EQ(whites(pawn + blocker, termPassedPawns),
                  EVALPAWNPASSED[0][0][rank] + bothFar + freePath);
        EXPECT_EQ(whites(pawn + attacker, termPassedPawns), EVALPAWNPASSED[1][1][rank] + bothFar);
        EXPECT_EQ(whites((pawn + attacker).append(blocker), termPassedPawns),
                  EVALPAWNPASSED[0][1][rank] + bothFar);
    }
    EXPECT_EQ(whites("Kh1 Pa5 kh8 na6", termPassedPawns),
              EVALPAWNPASSED[0][0][4] + bothFar + freePath)
        << "an enemy piece blocks as an own one does";
}

TEST(EvalPassed, TheDistanceToBothKings)
{
    const combEval stop = EVALPAWNPASSED[1][0][1];
    const std::string squares[] = {"b1 ", "c1 ", "d2 ", "e2 ", "f1 ", "g2 ", "h1 "};
    for (int i = 0; i < 7; ++i)
    {
        EXPECT_EQ(whites("K" + squares[i] + "Pa2 kh8", termPassedPawns),
                  EVALPAWNPASSEDDISTOWN[i + 1] + stop + EVALPAWNPASSEDDISTOTHER[7] + freePath);
        // Beside the pawn the enemy king attacks it, so that its path is not free.
        EXPECT_EQ(whites("k" + squares[i] + "Pa2 Kh8", termPassedPawns),
                  EVALPAWNPASSEDDISTOTHER[i + 1] + stop + EVALPAWNPASSEDDISTOWN[7] +
                      (i ? freePath : none));
    }
    EXPECT_EQ(whites("Ka8 Pa2 kh8", termPassedPawns),
              EVALPAWNPASSEDDISTOWN[6] + stop + EVALPAWNPASSEDDISTOTHER[7] + freePath)
        << "six ranks away";
}

TEST(EvalPassed, ThePathIsFreeWhenNoSquareFromThePawnsOwnOnIsAttacked)
{
    const combEval stop = EVALPAWNPASSED[1][0][4] + bothFar;
    expectWhites(termPassedPawns, {{"Kh1 Pa5 kh8 nd3", stop + freePath},
                                   {"Kh1 Pa5 kh8 nb3", stop, "a5 itself"},
                                   {"Kh1 Pa5 kh8 nb6", stop, "a8"},
                                   {"Kh1 Pa5 kh8 nc3", stop + freePath, "a4"}});
}

TEST(EvalPassed, AnOwnRookOrQueenAheadHalvesOrQuartersEachHalfTowardZero)
{
    const combEval open = EVALPAWNPASSED[1][0][4] + bothFar + freePath;
    const combEval hit = EVALPAWNPASSED[1][0][4] + bothFar;
    const combEval stopHit = EVALPAWNPASSED[0][1][6] + bothFar;
    // Three squares from either king, the stop square attacked from b5.
    const combEval near =
        EVALPAWNPASSEDDISTOWN[3] + EVALPAWNPASSED[1][1][1] + EVALPAWNPASSEDDISTOTHER[3];
    expectWhites(termPassedPawns,
                 {{"Kh1 Pa5 Ra8 kh7", dividedBy(open, 2)},
                  {"Kh1 Pa5 Qa8 kh7", dividedBy(open, 2)},
                  {"Kh1 Pa5 Ra8 Qa7 kh7", dividedBy(open, 2), "no more for two"},
                  {"Kh1 Pa5 Rb8 kh7", open, "on the file beside"},
                  {"Kh1 Pa5 Ra1 kh7", open, "behind the pawn"},
                  {"Kh1 Pa5 Ba8 kh7", open, "a bishop"},
                  {"Kh1 Pa5 kh7 ra8", EVALPAWNPASSED[1][1][4] + bothFar, "an enemy rook"},
                  {"Kh1 Pa5 kh7 ra1", hit, "an enemy rook behind it"},
                  {"Kh1 Pa5 kh7 nb3", hit, "the pawn is attacked"},
                  {"Kh1 Pa5 Ra8 kh7 nb3", dividedBy(hit, 4), "a quarter"},
                  {"Kh1 Pa5 Ra8 kh7 nd3", dividedBy(open, 2)},
                  {"Kd1 Pa2 kd4 nb5", near},
                  {"Kd1 Pa2 Ra6 kd4 nb5", dividedBy(near, 2), "both halves are negative"},
                  {"Kh1 Pa7 Ra8 kh6 nc7", dividedBy(stopHit, 2), "one half is"}});
}

TEST(EvalPassed, AnEnemyPawnAheadOnAFileBesideMakesAPawnNotPassed)
{
    const combEval open = EVALPAWNPASSED[1][0][4] + bothFar + freePath;
    expectWhites(termPassedPawns, {{"Kh1 Pa5 kh8 pb6", none},
                                   {"Kh1 Pa5 kh8 pb7", none},
                                   {"Kh1 Pa5 kh8 pa7", none},
                                   {"Kh1 Pa5 kh8 pb5", open},
                                   {"Kh1 Pa5 kh8 pc6", open}});
}


// Pins and discoveries

TEST(EvalPieces, PinsDependOnAnAttackByAnEnemyPawn)
{
    expectWhites(termPinnedKnight,
                 {{"Ke1 Ne4 kh8 re8", EVALPINNEDFREE[1]}, {"Ke1 Ne4 kh8 re8 pd5", EVALPINNED[1]}});
    expectWhites(termPinnedBishop,
                 {{"Ke1 Bf2 kh8 bh4", EVALPINNEDFREE[2]}, {"Ke1 Bf2 kh8 bh4 pe3", EVALPINNED[2]}});
    expectWhites(termPinnedRook,
                 {{"Ke1 Re4 kh8 re8", EVALPINNEDFREE[3]}, {"Ke1 Re4 kh8 re8 pf5", EVALPINNED[3]}});
    expectWhites(termPinnedQueen,
                 {{"Ke1 Qe4 kh8 re8", EVALPINNEDFREE[4]}, {"Ke1 Qe4 kh8 re8 pd5", EVALPINNED[4]}});
}

TEST(EvalPieces, OnlyAPieceAloneBeforeAFittingSliderIsPinned)
{
    const combEval pinned = EVALPINNEDFREE[1];
    expectWhites(termPinnedKnight, {{"Ke1 Ne4 kh8 be8", none, "a bishop on a file"},
                                    {"Ke1 Nf2 kh8 rh4", none, "a rook on a diagonal"},
                                    {"Ke1 Ne4 kh8 qe8", pinned},
                                    {"Ke1 Nf2 kh8 qh4", pinned},
                                    {"Ke1 Nc1 kh8 ra1", pinned},
                                    {"Ke1 Ne3 Ne4 kh8 re8", none, "two own pieces"},
                                    {"Ke1 Ne4 kh8 re8 pe5", none, "an enemy piece too"},
                                    {"Ke1 Ne4 kh8 Re8", none, "an own rook"}});
}

TEST(EvalPieces, APinnedPieceAttacksAlongTheLineOnlyAlsoInTheMaps)
{
    EXPECT_EQ(whites("Ke1 Ne4 kh8 nf6 re8", termMobilityKnight), EVALMOBILITYKNIGHT[0]);
    EXPECT_EQ(whites("Ke1 Ne4 kh8 nf6 rd8", termMobilityKnight), EVALMOBILITYKNIGHT[8]);
    // Black's knight on f6 is attacked by the knight on e4 unless that is pinned.
    EXPECT_EQ(blacks("Ke1 Ne4 kh8 nf6 re8", termThreatMinorByMinor), none);
    EXPECT_EQ(blacks("Ke1 Ne4 kh8 nf6 rd8", termThreatMinorByMinor), EVALTHREADMINORABMINOR);
    // f2: g3 and h4; e1 is the king's. e4: e2, e3 and e5 to e8.
    EXPECT_EQ(whites("Ke1 Bf2 kh8 bh4", termMobilityBishop), EVALMOBILITYBISHOP[2]);
    EXPECT_EQ(whites("Ke1 Re4 kh8 re8", termMobilityRook), EVALMOBILITYROOK[6]);
    EXPECT_EQ(whites("Ke1 Qe4 kh8 re8", termMobilityQueen), EVALMOBILITYQUEEN[6]);
}

TEST(EvalPieces, APieceAloneBetweenAnOwnSliderAndTheEnemyKingCanDiscoverCheck)
{
    expectWhites(termDiscoveredKnight, {{"Kh1 Re1 Ne4 ke8", EVALDISCOVERED[1]},
                                        {"Kh1 Re1 Ne3 Ne4 ke8", none, "two pieces"},
                                        {"Kh1 Be1 Ne4 ke8", none, "a bishop on a file"},
                                        {"Ke1 Ne4 kh8 re8", none, "the own king"}});
    EXPECT_EQ(whites("Kh1 Re1 Be4 ke8", termDiscoveredBishop), EVALDISCOVERED[2]);
    EXPECT_EQ(whites("Kh1 Ba4 Rc6 ke8", termDiscoveredRook), EVALDISCOVERED[3]);
    EXPECT_EQ(whites("Kh1 Re1 Qe4 ke8", termDiscoveredQueen, BLACK), EVALDISCOVERED[4])
        << "though the queen itself gives check";
}

TEST(EvalPieces, PawnsAreScoredForNeitherPinNorDiscovery)
{
    for (int term = termPinnedKnight; term <= termDiscoveredQueen; ++term)
        expectWhites(term, {{"Ke1 Pe4 kh8 re8", none}, {"Kh1 Re1 Pe4 ke8", none}});
}


// Mobility

TEST(EvalPieces, MobilityLeavesOutEnemyPawnAttacksBlockedPawnsAndTheKing)
{
    const auto& squares = EVALMOBILITYKNIGHT;
    expectWhites(termMobilityKnight, {{"Kh1 Na1 kh8", squares[2]},
                                      {"Kh1 Nb1 kh8", squares[3]},
                                      {"Kh1 Na3 kh8", squares[4]},
                                      {"Kh1 Nc2 kh8", squares[6]},
                                      {"Kh1 Nd4 kh8", squares[8]},
                                      {"Kh1 Nd4 kh8 pd7", squares[6], "c6 and e6"},
                                      {"Kh1 Nd4 Pb3 kh8", squares[8], "an own free pawn"},
                                      {"Kh1 Nd4 Pb3 Bb4 kh8", squares[7], "a blocked one"},
                                      {"Kh1 Nd4 Pb3 kh8 bb4", squares[7]},
                                      {"Ke2 Nd4 kh8", squares[7], "the own king's square"},
                                      {"Kh1 Nd4 Be2 kh8", squares[8], "an own bishop's"},
                                      {"Kh1 Nd4 kh8 be2", squares[8], "an enemy's"},
                                      {"Kh1 Nd4 ke6", squares[8], "the enemy king's"},
                                      {"Kh1 Nd4 kh8 nc7", squares[8], "attacked by a knight"}});
}

TEST(EvalPieces, RaysPassThroughOwnQueensAndOnRanksAndFilesThroughOwnRooks)
{
    const auto& bishop = EVALMOBILITYBISHOP;
    expectWhites(termMobilityBishop, {{"Kh1 Ba1 kg8", bishop[7]},
                                      {"Kh1 Ba1 Qd4 kg8", bishop[7]},
                                      {"Kh1 Ba1 Rd4 kg8", bishop[3], "an own rook"},
                                      {"Kh1 Ba1 kg8 qd4", bishop[3], "an enemy queen"},
                                      {"Kh2 Bd4 kg8", bishop[13]}});
    const auto& rook = EVALMOBILITYROOK;
    expectWhites(termMobilityRook, {{"Kh2 Ra1 kg8", rook[14]},
                                    {"Kh2 Ra1 Ra4 kg8", rook[14] * 2, "from both sides"},
                                    {"Kh2 Ra1 Qa4 kg8", rook[14]},
                                    {"Kh2 Ra1 Ba4 kg8", rook[10], "a4 and the rank"},
                                    {"Kh2 Ra1 kg8 ra4", rook[10]},
                                    {"Kh2 Ra1 Nb1 Ba2 kg8", rook[2]}});
    // From a1 seven squares on the file, the rank and the diagonal; with a piece on d4 b2, c3, d4.
    // The queen on a4 sees seven on the file and on the rank, a4 to d1 and a4 to e8.
    const auto& queen = EVALMOBILITYQUEEN;
    expectWhites(termMobilityQueen, {{"Kh2 Qa1 kg8", queen[21]},
                                     {"Kh2 Qa1 Ra4 kg8", queen[21]},
                                     {"Kh2 Qa1 Rd4 kg8", queen[17], "a rook on the diagonal"},
                                     {"Kh2 Qa1 Bd4 kg8", queen[17]},
                                     {"Kh2 Qa1 Ba4 kg8", queen[17]},
                                     {"Kh1 Qd4 kg8", queen[27]},
                                     {"Kh2 Qa1 Qd4 kg8", queen[21] + queen[27]},
                                     {"Kh2 Qa1 Qa4 kg8", queen[21] * 2},
                                     {"Qa1 Kb1 Pa2 Pb2 Na3 Nb3 kh8", queen[0]},
                                     {"Qa1 Kb1 Pa2 Pb2 Na3 kh8", queen[1], "b2"}});
}


// Outposts, files, bad bishops, distances

TEST(EvalPieces, AnOutpostIsWhereNoEnemyPawnAheadOnAFileBesideCanAttackIt)
{
    expectWhites(termOutpostKnight,
                 {{"Kh1 Ne5 kh8 pe6 pe7", EVALOUTPOSTKNIGHT[0]},
                  {"Kh1 Ne5 Pd4 kh8 pe7", EVALOUTPOSTKNIGHT[1]},
                  {"Kf4 Ne5 kg8 pe7", EVALOUTPOSTKNIGHT[0], "a king defends it"},
                  {"Kh1 Ne5 Pd4 kh8 pd6", none},
                  {"Kh1 Ne5 Pd4 kh8 pf7", none},
                  {"Kh1 Ne5 kh8 pd5 pf4", EVALOUTPOSTKNIGHT[0], "passed already"},
                  {"Kh1 Ne5 kh8 pc6 pg7", EVALOUTPOSTKNIGHT[0], "too far away"}});
    expectWhites(termOutpostBishop, {{"Kh1 Be5 kg8", EVALOUTPOSTBISHOP[0]},
                                     {"Kh1 Be5 Nd3 kg8", EVALOUTPOSTBISHOP[0], "a knight"},
                                     {"Kh1 Be5 Pd4 kg8", EVALOUTPOSTBISHOP[1]},
                                     {"Kh1 Be5 Pd4 kh8 pf6", none},
                                     {"Kh1 Be5 Pd4 kh8 pd7", none}});
    for (int rank = 0; rank < 8; ++rank)
    {
        const bool counts = rank >= 3 && rank <= 5;
        EXPECT_EQ(whites("Kh1 kh8 " + piece('N', 0, rank), termOutpostKnight),
                  counts ? EVALOUTPOSTKNIGHT[0] : none);
        EXPECT_EQ(whites("Kg1 kg8 " + piece('B', 7, rank), termOutpostBishop),
                  counts ? EVALOUTPOSTBISHOP[0] : none);
    }
}

TEST(EvalPieces, KnightsAndBishopsCountTheirDistanceToTheirKing)
{
    const combEval& step = EVALKINGDIST[0];
    expectWhites(termKingDistanceKnight,
                 {{"Ke1 Ne5 kh8", step * 4}, {"Ke1 Nb2 kh8", step * 3}, {"Kh1 Ra4 Qb4 kg8", none}});
    expectWhites(
        termKingDistanceBishop,
        {{"Kh1 Bb2 kg8", step * 6}, {"Kh1 Bb2 Ba1 kg8", step * 13}, {"Kh1 Ra4 Qb4 kg8", none}});
}

TEST(EvalPieces, ABishopPaysForAllBlockedOwnPawnsOfItsColour)
{
    expectWhites(termBadBishop, {{"Kh1 Bc1 Pd4 kg8 pd5", EVALTEST},
                                 {"Kh1 Bc1 Pd4 Ph4 kg8 pd5 nh5", EVALTEST * 2, "anywhere"},
                                 {"Kh1 Bc1 Pd4 Nd5 kg8", EVALTEST, "blocked by its own"},
                                 {"Kh1 Bc1 Pd4 kg8", none, "free"},
                                 {"Kh1 Bc1 Pe4 kg8 pe5", none, "on the other colour"},
                                 {"Kh1 Bf1 Pe4 kg8 pe5", EVALTEST},
                                 {"Kh1 Bc1 Be1 Pd4 kg8 pd5", EVALTEST * 2, "two bishops"}});
    EXPECT_EQ(blacks("Kh1 Bc1 Pd4 kg8 pd5", termBadBishop), none);
}

TEST(EvalPieces, ARookWantsNoOwnPawnOnItsFile)
{
    const combEval halfOpen = EVALROOKONOPEN[0];
    const combEval open = EVALROOKONOPEN[1];
    expectWhites(termRookFile, {{"Kh1 Ra1 kh8", open},
                                {"Kh1 Ra1 kh8 pa7", halfOpen},
                                {"Kh1 Ra6 kh8 pa2", halfOpen, "behind it too"},
                                {"Kh1 Ra1 Pa6 kh8", none},
                                {"Kh1 Ra6 Pa2 kh8", none},
                                {"Kh1 Ra1 Pa6 kh8 pa7", none, "whatever else is there"},
                                {"Kh1 Ra1 Pb6 kh8 pb7", open},
                                {"Kh1 Ra1 Rb1 Pc2 kh8 pb7", open + halfOpen}});
}
