// SPDX-License-Identifier: MIT
//
// The rules of the terms of the driver, of pawns and of pieces, each at its limits; model_test.cpp
// compares all terms with the model. Kings that don't matter are in corners, out of the way.

#include "terms.h"

namespace
{

// What a passed pawn on the a-file gets for two kings seven squares away, and for a free path.
const combEval bothFar = EVALPAWNPASSEDDISTOWN[7] + EVALPAWNPASSEDDISTOTHER[7];
const combEval& freePath = EVALPAWNPASSEDPROMO[0];

combEval dividedBy(combEval value, int divisor)
{
    return X(mgHalf(value) / divisor, egHalf(value) / divisor);
}

} // namespace


// The driver

TEST(EvalDriver, ExactlyTwoBishopsAreAPair)
{
    expectWhites(termBishopPair, {{"Kh1 Bc1 Pa2 kh8", none},
                                  {"Kh1 Bc1 Ba3 Pa2 kh8", EVALBISHOPPAIR, "both on dark squares"},
                                  {"Kh1 Bc1 Bf1 Ba3 Pa2 kh8", none}});
}


// Pawn structure

TEST(EvalPawns, ACandidateHasOnlyLeversAndGuardsOfItsStopSquareInFront)
{
    const combEval bare = EVALPAWNPASSEDCANDIDATE[0][3];
    const combEval enough = EVALPAWNPASSEDCANDIDATE[1][3];
    expectWhites(termPawnCandidate,
                 {{"Kh1 Pe4 kh8 pd5", bare, "a lever"},
                  {"Kh1 Pe4 kh8 pd5 pe7", none, "an enemy pawn on its file"},
                  {"Kh1 Pe4 kh8 pd7", none, "beyond the stop square"},
                  {"Kh1 Pe4 kh8 pd6", none, "a guard and no neighbour"},
                  {"Kh1 Pe4 Pf4 kh8 pd6", enough},
                  {"Kh1 Pe4 Pf4 kh8 pd6 pf6", none, "two guards and one neighbour"},
                  {"Kh1 Pd3 Pe4 kh8 pd5", enough, "a defender for a lever"},
                  {"Kh1 Pd3 Pe4 kh8 pd5 pf5", bare, "one defender for two levers"}});
}

TEST(EvalPawns, APawnIsIsolatedWithoutOwnPawnsOnTheFilesBesideIt)
{
    expectWhites(termPawnIsolated,
                 {{"Kh1 Pa2 Pb7 kh8", none, "any rank will do"},
                  {"Kh1 Pa2 Pc2 kh8", EVALPAWNISOLATED[0] + EVALPAWNISOLATED[2]},
                  {"Kh1 Pa2 kh8 pb7", EVALPAWNISOLATED[0], "an enemy pawn"},
                  {"Ka1 Pa2 Ph3 kh8", EVALPAWNISOLATED[0] + EVALPAWNISOLATED[7], "no wrap"}});
}

TEST(EvalPawns, OnItsKingsThreeFilesAWeakPawnGetsTheTermOfTheKingAsWell)
{
    EXPECT_EQ(whites("Kb1 Pa4 kh8", termPawnIsolated), EVALPAWNISOLATED[0]);
    expectWhites(termPawnKsIsolated, {{"Kb1 Pa4 Pc7 kh8", EVALPAWNKSISOLATED * 2},
                                      {"Ka1 Pc4 kh8", EVALPAWNKSISOLATED, "three at the edge too"},
                                      {"Kc1 Pa4 kh8", none},
                                      {"Kh1 Pa4 ka8", none, "the enemy king doesn't matter"}});
    expectWhites(termPawnKsDoubled, {{"Kb1 Pc2 Pc4 kh8", EVALPAWNKSDOUBLED},
                                     {"Kb1 Pc2 Pc4 Pc5 kh8", EVALPAWNKSDOUBLED * 2}});
    EXPECT_EQ(whites("Kb1 Pb3 kh8 pc5", termPawnBackHalf), EVALPAWNBACKHALF[1]);
    expectWhites(termPawnKsBackward, {{"Kb1 Pb3 kh8 pb6 pc5", EVALPAWNKSBACKWARD, "any file"},
                                      {"Kb1 Pb3 Pa2 kh8 pc5", none}});
}

TEST(EvalPawns, APawnIsConnectedByADefenderAndHasNeighboursOnItsRank)
{
    expectWhites(termPawnConnected,
                 {{"Kh1 Pc3 Pd4 Pe3 kh8", EVALPAWNCONNECTED[3], "two defenders count as one"},
                  {"Kh1 Pd3 Pd4 kh8", none}});
    expectWhites(termPawnNeighbour, {{"Kh1 Pa4 Pb4 Pc4 kh8", EVALPAWNNEIGHBOUR[3] * 3},
                                     {"Kh1 Pa4 Pb3 Pc4 kh8", none}});
}

TEST(EvalPawns, OnlyAnOwnPawnOfTheFileMakesADoubledOne)
{
    expectWhites(termPawnDoubled, {{"Kh1 Pa2 kh8 pa5", none},
                                   {"Kh1 Pa2 Pa6 kh8 pa5", EVALPAWNDOUBLED[0], "one between"},
                                   {"Kh1 Pa2 Pa5 Pa6 kh8", EVALPAWNDOUBLED[0] * 2}});
}

TEST(EvalPawns, APawnIsBackwardWhenItsStopSquareIsGuardedAndNoOwnPawnIsFurtherBack)
{
    const combEval backward = EVALPAWNBACKHALF[1];
    expectWhites(termPawnBackHalf, {{"Kh1 Pb3 kh8 pc5", backward},
                                    {"Kh1 Pb3 kh8 pc6", none, "b4 is not guarded"},
                                    {"Kh1 Pb3 kh8 pb6 pc5", none, "the file is not half-open"},
                                    {"Kh1 Pb3 Pa2 kh8 pc5", none, "a2 can support it"},
                                    {"Kh1 Pb3 Pb2 kh8 pc5", none, "its own file counts as well"},
                                    {"Kh1 Pb3 Pa3 kh8 pc5", backward, "a3 is beside, not behind"}});
}


// Passed pawns

TEST(EvalPassed, TheStopSquareTheKingsAndTheAttackedSquaresDecide)
{
    const combEval free = bothFar + freePath;
    const combEval stop = EVALPAWNPASSED[1][0][4];
    expectWhites(termPassedPawns,
                 {{"Kh1 Pa5 kh8", stop + free},
                  {"Kh1 Pa5 Na6 kh8", EVALPAWNPASSED[0][0][4] + free, "a friendly piece blocks"},
                  {"Kh1 Pa5 kh8 na6", EVALPAWNPASSED[0][0][4] + free, "as an enemy piece does"},
                  {"Kh1 Pa5 kh8 nc7", EVALPAWNPASSED[1][1][4] + bothFar, "the stop square"},
                  {"Kh1 Pa5 kh8 nb3", stop + bothFar, "a5 itself"},
                  {"Kh1 Pa5 kh8 nb6", stop + bothFar, "a8"},
                  {"Kh1 Pa5 kh8 nc3", stop + free, "a4"},
                  {"Kd2 Pa2 kh8", EVALPAWNPASSED[1][0][1] + EVALPAWNPASSEDDISTOWN[3] +
                                      EVALPAWNPASSEDDISTOTHER[7] + freePath},
                  {"Kh8 Pa2 kb1", EVALPAWNPASSED[1][0][1] + EVALPAWNPASSEDDISTOWN[7] +
                                      EVALPAWNPASSEDDISTOTHER[1]}});
}

TEST(EvalPassed, AnOwnRookOrQueenAheadHalvesOrQuartersEachHalfTowardZero)
{
    const combEval open = EVALPAWNPASSED[1][0][4] + bothFar + freePath;
    const combEval hit = EVALPAWNPASSED[1][0][4] + bothFar;
    const combEval stopHit = EVALPAWNPASSED[0][1][6] + bothFar;
    // Three squares from either king, with the stop square attacked from b5.
    const combEval near =
        EVALPAWNPASSEDDISTOWN[3] + EVALPAWNPASSED[1][1][1] + EVALPAWNPASSEDDISTOTHER[3];
    expectWhites(termPassedPawns,
                 {{"Kh1 Pa5 Ra8 kh7", dividedBy(open, 2)},
                  {"Kh1 Pa5 Qa8 kh7", dividedBy(open, 2)},
                  {"Kh1 Pa5 Ra8 Qa7 kh7", dividedBy(open, 2), "no more for two"},
                  {"Kh1 Pa5 Ra1 kh7", open, "behind the pawn"},
                  {"Kh1 Pa5 Ba8 kh7", open, "a bishop"},
                  {"Kh1 Pa5 kh7 ra8", EVALPAWNPASSED[1][1][4] + bothFar, "an enemy rook"},
                  {"Kh1 Pa5 Ra8 kh7 nb3", dividedBy(hit, 4), "a quarter"},
                  {"Kd1 Pa2 Ra6 kd4 nb5", dividedBy(near, 2), "both halves are negative"},
                  {"Kh1 Pa7 Ra8 kh6 nc7", dividedBy(stopHit, 2), "one half is"}});
}

TEST(EvalPassed, AnEnemyPawnAheadOnAFileBesideMakesAPawnNotPassed)
{
    const combEval open = EVALPAWNPASSED[1][0][4] + bothFar + freePath;
    expectWhites(termPassedPawns, {{"Kh1 Pa5 kh8 pb7", none},
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
    expectWhites(termPinnedKnight, {{"Ke1 Ne4 kh8 be8", none, "a bishop on a file"},
                                    {"Ke1 Nf2 kh8 rh4", none, "a rook on a diagonal"},
                                    {"Ke1 Nf2 kh8 qh4", EVALPINNEDFREE[1]},
                                    {"Ke1 Ne3 Ne4 kh8 re8", none, "two friendly pieces"},
                                    {"Ke1 Ne4 kh8 re8 pe5", none, "an enemy piece too"},
                                    {"Ke1 Ne4 kh8 Re8", none, "a friendly rook"}});
}

TEST(EvalPieces, APinnedPieceAttacksAlongTheLineOnly)
{
    EXPECT_EQ(whites("Ke1 Ne4 kh8 nf6 re8", termMobilityKnight), EVALMOBILITYKNIGHT[0]);
    EXPECT_EQ(whites("Ke1 Ne4 kh8 nf6 rd8", termMobilityKnight), EVALMOBILITYKNIGHT[8]);
    // The knight on e4 attacks black's on f6 unless it is pinned.
    EXPECT_EQ(blacks("Ke1 Ne4 kh8 nf6 re8", termThreatMinorByMinor), none);
    EXPECT_EQ(blacks("Ke1 Ne4 kh8 nf6 rd8", termThreatMinorByMinor), EVALTHREADMINORABMINOR);
    // e2, e3 and e5 to e8; e1 is the king's.
    EXPECT_EQ(whites("Ke1 Re4 kh8 re8", termMobilityRook), EVALMOBILITYROOK[6]);
}

TEST(EvalPieces, APieceAloneBetweenAnOwnSliderAndTheEnemyKingCanDiscoverCheck)
{
    expectWhites(termDiscoveredKnight, {{"Kh1 Re1 Ne4 ke8", EVALDISCOVERED[1]},
                                        {"Kh1 Re1 Ne3 Ne4 ke8", none, "two pieces"},
                                        {"Kh1 Be1 Ne4 ke8", none, "a bishop on a file"},
                                        {"Ke1 Ne4 kh8 re8", none, "before its own king"}});
    EXPECT_EQ(whites("Kh1 Re1 Qe4 ke8", termDiscoveredQueen, BLACK), EVALDISCOVERED[4])
        << "though the queen itself gives check";
}


// Mobility

TEST(EvalPieces, MobilityLeavesOutEnemyPawnAttacksBlockedPawnsAndTheKing)
{
    const auto& squares = EVALMOBILITYKNIGHT;
    expectWhites(termMobilityKnight, {{"Kh1 Na1 kh8", squares[2]},
                                      {"Kh1 Nd4 kh8", squares[8]},
                                      {"Kh1 Nd4 kh8 pd7", squares[6], "c6 and e6"},
                                      {"Kh1 Nd4 Pb3 kh8", squares[8], "a friendly free pawn"},
                                      {"Kh1 Nd4 Pb3 Bb4 kh8", squares[7], "a blocked one"},
                                      {"Kh1 Nd4 Pb3 kh8 bb4", squares[7]},
                                      {"Ke2 Nd4 kh8", squares[7], "its own king's square"},
                                      {"Kh1 Nd4 Be2 kh8", squares[8], "a friendly bishop's"},
                                      {"Kh1 Nd4 ke6", squares[8], "the enemy king's"},
                                      {"Kh1 Nd4 kh8 nc7", squares[8], "attacked by a knight"}});
}

TEST(EvalPieces, RaysPassThroughOwnQueensAndOnRanksAndFilesThroughOwnRooks)
{
    const auto& bishop = EVALMOBILITYBISHOP;
    expectWhites(termMobilityBishop, {{"Kh1 Ba1 Qd4 kg8", bishop[7]},
                                      {"Kh1 Ba1 Rd4 kg8", bishop[3], "a friendly rook"},
                                      {"Kh1 Ba1 kg8 qd4", bishop[3], "an enemy queen"}});
    const auto& rook = EVALMOBILITYROOK;
    expectWhites(termMobilityRook, {{"Kh2 Ra1 Ra4 kg8", rook[14] * 2, "from both sides"},
                                    {"Kh2 Ra1 Qa4 kg8", rook[14]},
                                    {"Kh2 Ra1 Ba4 kg8", rook[10], "a4 and the rank"},
                                    {"Kh2 Ra1 kg8 ra4", rook[10]}});
    // From a1 the queen has seven squares on the file, the rank and the diagonal. A piece on d4
    // leaves b2, c3 and d4.
    const auto& queen = EVALMOBILITYQUEEN;
    expectWhites(termMobilityQueen, {{"Kh2 Qa1 Ra4 kg8", queen[21]},
                                     {"Kh2 Qa1 Rd4 kg8", queen[17], "a rook on the diagonal"},
                                     {"Kh2 Qa1 Qd4 kg8", queen[21] + queen[27]},
                                     {"Qa1 Kb1 Pa2 Pb2 Na3 Nb3 kh8", queen[0]}});
}


// Outposts, files, bad bishops, distances

TEST(EvalPieces, AnOutpostIsOnRanks4To6WhereNoEnemyPawnAheadOnAFileBesideCanAttackIt)
{
    expectWhites(termOutpostKnight,
                 {{"Kh1 Ne5 kh8 pe6 pe7", EVALOUTPOSTKNIGHT[0]},
                  {"Kh1 Ne5 Pd4 kh8 pe7", EVALOUTPOSTKNIGHT[1]},
                  {"Kf4 Ne5 kg8 pe7", EVALOUTPOSTKNIGHT[0], "a king defends it"},
                  {"Kh1 Ne5 Pd4 kh8 pd6", none},
                  {"Kh1 Ne5 Pd4 kh8 pf7", none},
                  {"Kh1 Ne5 kh8 pd5 pf4", EVALOUTPOSTKNIGHT[0], "passed already"},
                  {"Kh1 Ne5 kh8 pc6 pg7", EVALOUTPOSTKNIGHT[0], "too far away"},
                  {"Kh1 Na3 kh8", none},
                  {"Kh1 Na4 kh8", EVALOUTPOSTKNIGHT[0]},
                  {"Kh1 Na6 kh8", EVALOUTPOSTKNIGHT[0]},
                  {"Kh1 Na7 kh8", none}});
    expectWhites(termOutpostBishop, {{"Kh1 Be5 Nd3 kg8", EVALOUTPOSTBISHOP[0], "a knight"},
                                     {"Kh1 Be5 Pd4 kg8", EVALOUTPOSTBISHOP[1]},
                                     {"Kh1 Be5 Pd4 kh8 pd7", none}});
}

TEST(EvalPieces, KnightsAndBishopsCountTheirDistanceToTheirKing)
{
    const combEval& step = EVALKINGDIST[0];
    EXPECT_EQ(whites("Ke1 Ne5 Nb2 Rh8 kg8", termKingDistanceKnight), step * 7);
    EXPECT_EQ(whites("Kh1 Bb2 Ba1 Qh8 kg7", termKingDistanceBishop), step * 13);
}

TEST(EvalPieces, ABishopPaysForAllBlockedOwnPawnsOfItsColour)
{
    expectWhites(termBadBishop, {{"Kh1 Bc1 Pd4 kg8 pd5", EVALTEST},
                                 {"Kh1 Bc1 Pd4 Ph4 kg8 pd5 nh5", EVALTEST * 2, "anywhere"},
                                 {"Kh1 Bc1 Pd4 Nd5 kg8", EVALTEST, "blocked by its own"},
                                 {"Kh1 Bc1 Pd4 kg8", none, "free"},
                                 {"Kh1 Bc1 Pe4 kg8 pe5", none, "on the other colour"},
                                 {"Kh1 Bc1 Be1 Pd4 kg8 pd5", EVALTEST * 2, "two bishops"}});
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
                                {"Kh1 Ra1 Rb1 Pc2 kh8 pb7", open + halfOpen}});
}
