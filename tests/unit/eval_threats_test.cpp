// SPDX-License-Identifier: MIT
//
// The threats, one by one. All but the last are from the view of the side whose pieces hang.

#include "terms.h"

TEST(EvalThreats, AnAttackedPawnIsWeakByItsDefendersButForAnAttackByAPawn)
{
    expectWhites(termThreatWeakPawn, {{"Kh1 Pa4 kg8 ra8", EVALTHREADWEAKPAWN},
                                      {"Kh1 Pa4 Ph4 kg8 ra8 qh8", EVALTHREADWEAKPAWN * 2},
                                      {"Kh1 Pa4 kg8", none},
                                      {"Kh1 Pa4 kg8 pb5", none, "a pawn"},
                                      {"Kh1 Pa4 kg8 ra8 pb5", none, "a pawn too"},
                                      {"Kb3 Pa4 kg8 ra8", none, "defended once"},
                                      {"Kb3 Pa4 kg8 ra7 ra8", EVALTHREADWEAKPAWN, "and twice"},
                                      {"Kb3 Ra1 Pa4 kg8 ra7 ra8", none, "twice each"},
                                      {"Kh1 Pb3 Pa4 kg8 ra7 ra8", none, "defended by a pawn"},
                                      {"Kh1 Pb2 Pa4 kg8 ra7 ra8", EVALTHREADWEAKPAWN}});
    EXPECT_EQ(blacks("Kh1 Pa4 kg8 ra8", termThreatWeakPawn), none);
}

TEST(EvalThreats, AMinorAttackedByAPawn)
{
    const combEval once = EVALTHREADMINORABPAWN;
    expectWhites(termThreatMinorByPawn, {{"Kh1 Ne4 kg8 pd5", once},
                                         {"Kh1 Be4 kg8 pf5", once},
                                         {"Kh1 Ne4 Pd3 kg8 pd5", once, "defended or not"},
                                         {"Kh1 Ne4 kg8 pd5 pf5", once, "pieces, not attacks"},
                                         {"Kh1 Ba4 Ne4 kg8 pb5 pd5", once * 2},
                                         {"Kh1 Re4 Qa4 kg8 pb5 pd5", none},
                                         {"Kh1 Ne4 kg8 pe5 pd6", none},
                                         {"Kg1 Be4 kg8 nf6 pd5", once, "besides the knight"}});
}

TEST(EvalThreats, AMinorAttackedByAMinor)
{
    const combEval once = EVALTHREADMINORABMINOR;
    expectWhites(termThreatMinorByMinor, {{"Kg1 Ne4 kg8 nf6", once},
                                          {"Kg1 Be4 kg8 nf6", once},
                                          {"Kg1 Ne4 kg8 bb7", once},
                                          {"Kg1 Ne4 Pd3 Pf3 kg8 nf6", once, "defended or not"},
                                          {"Kg1 Ba4 Ne4 kg8 nf6 bd7", once * 2},
                                          {"Kg1 Re4 kg8 nf6", none},
                                          {"Kg1 Ne4 kd5", none},
                                          {"Kg1 Ne4 kg8 re8", none},
                                          {"Kg1 Be4 kg8 nf6 pd5", once, "besides the pawn"}});
}

TEST(EvalThreats, APinnedPieceDefendsAndAttacksAlongThePinOnly)
{
    // The knight on e3 defends c4, the bishop the pawn on f4; a rook on e8 pins them on their file.
    for (const char* piece : {"Ne3 Pc4", "Be5 Pf4"})
    {
        const std::string pieces = std::string("Ke1 ") + piece + " kh8 rc8 rf8";
        EXPECT_EQ(whites(pieces, termThreatWeakPawn), none) << piece;
        EXPECT_EQ(whites(pieces + " re8", termThreatWeakPawn), EVALTHREADWEAKPAWN) << piece;
    }
}

TEST(EvalThreats, AMinorOnAWeakSquareAttackedByARookOrQueen)
{
    const combEval once = EVALTHREADMINORABMAJOR;
    expectWhites(termThreatMinorByMajor, {{"Kh1 Ne4 kg8 re8", once},
                                          {"Kh1 Be4 kg8 qe8", once},
                                          {"Kh1 Ne4 Bb4 kg8 qe8 rb8", once * 2},
                                          {"Kg1 Re1 Ne4 kg8 re8", none, "once by each side"},
                                          {"Kg1 Re1 Ne4 kg8 re7 re8", once},
                                          {"Kg1 Pd3 Ne4 kg8 re7 re8", none, "by a pawn"},
                                          {"Kh1 Pd3 Ne4 kg8 re8", none},
                                          {"Kg1 Ne4 kg8 nf6", none, "weak, but no major"},
                                          {"Kh1 Re4 kg8 re8", none}});
}

TEST(EvalThreats, ARookAttackedByAPawnOrMinor)
{
    const combEval once = EVALTHREADROOKABLESS;
    expectWhites(termThreatRookByLess, {{"Kg1 Re4 kg8 pd5", once},
                                        {"Kg1 Re4 kg8 nf6", once},
                                        {"Kg1 Re4 kg8 bb7", once},
                                        {"Kg1 Re4 kg8 bb7 nf6 pd5", once, "once a rook"},
                                        {"Kg1 Re4 Rc4 kg8 pd5", once * 2},
                                        {"Kg1 Pd3 Re4 kg8 nf6", once, "besides being overloaded"},
                                        {"Kg1 Re4 kg8 re8", none},
                                        {"Kg1 Re4 kg8 qe8", none},
                                        {"Kg1 Re4 kd5", none},
                                        {"Kg1 Qe4 kg8 nf6", none}});
}

TEST(EvalThreats, AQueenAttackedByAnythingAlsoByQueenOrKing)
{
    const combEval once = EVALTHREADQUEENABALL;
    expectWhites(termThreatQueenByAll, {{"Kg1 Qe4 kh8", none},
                                        {"Kg1 Qe4 kg8 pd5", once},
                                        {"Kg1 Qe4 kg8 nf6", once},
                                        {"Kg1 Qe4 kg8 bb7", once},
                                        {"Kg1 Qe4 kg8 re8", once},
                                        {"Kg1 Qe4 kg8 qe8", once},
                                        {"Kg1 Qe4 Qa4 kg8 re8 ra8", once * 2},
                                        {"Kg1 Re4 kg8 re8", none}});
    EXPECT_EQ(whites("Kg1 Qe4 kd5", termThreatQueenByAll, BLACK), once);
}

TEST(EvalThreats, AnAttackedPieceWithOneDefenderIsOverloaded)
{
    const combEval once = EVALTHREADOVERLOADED;
    expectWhites(termThreatOverloaded, {{"Kg1 Pd3 Ne4 kg8 re8", once},
                                        {"Kg1 Pd3 Be4 kg8 re8", once},
                                        {"Kg1 Pd3 Re4 kg8 re8", once},
                                        {"Kg1 Pd3 Qe4 kg8 re8", once},
                                        {"Kf3 Ne4 kg8 re8", once, "a king defends as well"},
                                        {"Kg1 Pd3 Re4 kg8 nf6", once, "any attacker"},
                                        {"Kg1 Pd3 Pf3 Ne4 kg8 re8", none, "two defenders"},
                                        {"Kg1 Ne4 kg8 re8", none, "no defender"},
                                        {"Kg1 Pd3 Ne4 kg8 rd8", none, "no attacker"},
                                        {"Kg1 Pd3 Pe4 kg8 re8", none, "a pawn"},
                                        {"Kg1 Pd3 Ne4 Pa3 Bb4 kg8 re8 rb8", once * 2}});
}

TEST(EvalThreats, ASafePushThatNewlyAttacksEnemyPiecesEarnsForEachOfThem)
{
    const combEval once = EVALTHREADPAWNPUSH;
    expectWhites(termThreatPawnPush,
                 {{"Kg1 Pe4 kg8 nd6", once},
                  {"Kg1 Pe4 kg8 nd6 nf6", once * 2},
                  {"Kg1 Pc4 Pe4 kg8 nd6", once, "pieces, not attacks"},
                  {"Kg1 Pe4 Nd6 kg8", none, "an own piece"},
                  {"Kg1 Pe4 kg8 nd6 be5", none, "no push"},
                  {"Kg1 Pe4 kg8 nd7", none},
                  {"Kg1 Pc5 Pe4 kg8 nd6", none, "attacked already"},
                  {"Kg1 Pe4 kg8 nd6 re8", none, "e5 is attacked"},
                  {"Kf4 Pe4 kg8 nd6 re8", once, "and defended"},
                  {"Kf4 Pe4 kg8 nd6 pf6", none, "but not from a pawn"},
                  {"Kg1 Pe2 kg8 nd5", once, "a double push; a knight attacks e3"},
                  {"Kg1 Pe2 kg8 nd5 pd4", none, "a pawn attacks e3"},
                  {"Kg1 Pe2 kg8 nd5 ph4", once},
                  {"Kg1 Pe2 Ne3 kg8 nd5", none, "blocked"},
                  {"Kg1 Pe2 kg8 nd5 ne4", none},
                  {"Kg1 Pe3 kg8 nd6", none, "no double push from the third rank"},
                  {"Kf4 Pe4 kd6", once, "a king"},
                  {"Kf4 Pe4 kg8 pd6", none, "a pawn that guards the square"},
                  {"Kg1 Pa4 kg8 nh5 nh6 nh7", none, "no wrap"},
                  {"Kg1 Ph4 kg8 na5 na6 na7", none, "no wrap"}});
    EXPECT_EQ(blacks("Kg1 Pe4 kg8 nd6", termThreatPawnPush), none);
}
