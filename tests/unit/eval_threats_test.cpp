// SPDX-License-Identifier: MIT
//
// The rules of the threats, each at its limits. All but the last are from the view of the side
// whose pieces hang.

#include "terms.h"

TEST(EvalThreats, AnAttackedPawnIsWeakByItsDefendersUnlessAPawnAttacksIt)
{
    expectWhites(termThreatWeakPawn, {{"Kh1 Pa4 Ph4 kg8 ra8 qh8", EVALTHREADWEAKPAWN * 2},
                                      {"Kh1 Pa4 kg8", none},
                                      {"Kh1 Pa4 kg8 ra8 pb5", none, "attacked by a pawn too"},
                                      {"Kb3 Pa4 kg8 ra8", none, "defended once"},
                                      {"Kb3 Pa4 kg8 ra7 ra8", EVALTHREADWEAKPAWN, "attacked twice"},
                                      {"Kb3 Ra1 Pa4 kg8 ra7 ra8", none, "twice each"},
                                      {"Kh1 Pb3 Pa4 kg8 ra7 ra8", none, "defended by a pawn"}});
}

TEST(EvalThreats, AMinorAttackedByAPawnOrAMinorCountsOnceForEach)
{
    const combEval byPawn = EVALTHREADMINORABPAWN;
    expectWhites(termThreatMinorByPawn, {{"Kh1 Ne4 Pd3 kg8 pd5", byPawn, "defended or not"},
                                         {"Kh1 Ne4 kg8 pd5 pf5", byPawn, "pieces, not attacks"},
                                         {"Kh1 Ba4 Ne4 kg8 pb5 pd5", byPawn * 2},
                                         {"Kh1 Re4 Qa4 kg8 pb5 pd5", none}});
    const combEval byMinor = EVALTHREADMINORABMINOR;
    expectWhites(termThreatMinorByMinor, {{"Kg1 Be4 kg8 nf6 pd5", byMinor, "besides the pawn"},
                                          {"Kg1 Ne4 kg8 bb7", byMinor},
                                          {"Kg1 Ba4 Ne4 kg8 nf6 bd7", byMinor * 2},
                                          {"Kg1 Re4 kg8 nf6", none},
                                          {"Kg1 Ne4 kd5", none}});
}

TEST(EvalThreats, AMinorOnAWeakSquareAttackedByARookOrQueen)
{
    const combEval once = EVALTHREADMINORABMAJOR;
    expectWhites(termThreatMinorByMajor, {{"Kh1 Ne4 Bb4 kg8 qe8 rb8", once * 2},
                                          {"Kg1 Re1 Ne4 kg8 re8", none, "once by each side"},
                                          {"Kg1 Re1 Ne4 kg8 re7 re8", once},
                                          {"Kg1 Pd3 Ne4 kg8 re7 re8", none, "defended by a pawn"},
                                          {"Kg1 Ne4 kg8 nf6", none, "weak, but no major"}});
}

TEST(EvalThreats, ARookAttackedByAPawnOrMinorAndAQueenAttackedByAnything)
{
    const combEval rook = EVALTHREADROOKABLESS;
    expectWhites(termThreatRookByLess, {{"Kg1 Re4 kg8 bb7 nf6 pd5", rook, "once a rook"},
                                        {"Kg1 Re4 Rc4 kg8 pd5", rook * 2},
                                        {"Kg1 Re4 kg8 qe8", none},
                                        {"Kg1 Re4 kd5", none}});
    const combEval queen = EVALTHREADQUEENABALL;
    expectWhites(termThreatQueenByAll, {{"Kg1 Qe4 kh8", none},
                                        {"Kg1 Qe4 Qa4 kg8 re8 ra8", queen * 2},
                                        {"Kg1 Qe4 kg8 qe8", queen}});
    EXPECT_EQ(whites("Kg1 Qe4 kd5", termThreatQueenByAll, BLACK), queen);
}

TEST(EvalThreats, AnAttackedPieceWithOneDefenderIsOverloaded)
{
    const combEval once = EVALTHREADOVERLOADED;
    expectWhites(termThreatOverloaded, {{"Kg1 Pd3 Ne4 kg8 re8", once},
                                        {"Kf3 Qe4 kg8 re8", once, "a king defends as well"},
                                        {"Kg1 Pd3 Pf3 Ne4 kg8 re8", none, "two defenders"},
                                        {"Kg1 Ne4 kg8 re8", none, "no defender"},
                                        {"Kg1 Pd3 Ne4 kg8 rd8", none, "no attacker"},
                                        {"Kg1 Pd3 Pe4 kg8 re8", none, "a pawn"}});
}

TEST(EvalThreats, ASafePushThatNewlyAttacksEnemyPiecesEarnsForEachOfThem)
{
    const combEval once = EVALTHREADPAWNPUSH;
    expectWhites(termThreatPawnPush,
                 {{"Kg1 Pe4 kg8 nd6 nf6", once * 2},
                  {"Kg1 Pc4 Pe4 kg8 nd6", once, "pieces, not attacks"},
                  {"Kg1 Pe4 kg8 nd6 be5", none, "blocked"},
                  {"Kg1 Pc5 Pe4 kg8 nd6", none, "attacked already"},
                  {"Kg1 Pe4 kg8 nd6 re8", none, "e5 is attacked"},
                  {"Kf4 Pe4 kg8 nd6 re8", once, "and defended"},
                  {"Kf4 Pe4 kg8 nd6 pf6", none, "but not from a pawn"},
                  {"Kg1 Pe2 kg8 nd5", once, "a double push; a knight attacks e3"},
                  {"Kg1 Pe2 kg8 nd5 pd4", none, "a pawn attacks e3"},
                  {"Kg1 Pe3 kg8 nd6", none, "no double push from the third rank"},
                  {"Kf4 Pe4 kg8 pd6", none, "a pawn that guards the square"},
                  {"Kg1 Pa4 kg8 nh5 nh6 nh7", none, "no wrap"},
                  {"Kg1 Ph4 kg8 na5 na6 na7", none, "no wrap"}});
}
