// SPDX-License-Identifier: MIT
//
// The threats, one by one, each against a value worked out by hand. All but the last are from the
// view of the side whose men hang.

#include "terms.h"

namespace
{

constexpr combEval none = X(0, 0);

} // namespace

TEST(Threats, CancelBetweenTwoSidesWithTheSameMenOnMirroredSquares)
{
    // Queens, rooks and minors attack each other, and the pawns hang.
    const std::string white = "Kg1 Qd1 Rd2 Rh3 Nc4 Nf3 Bb5 Pa2 Pe4";
    const std::string both = white + ' ' + exchanged(white);
    combEval sum = none;
    for (int term = termThreatWeakPawn; term <= termThreatPawnPush; ++term)
    {
        EXPECT_EQ(whites(both, term), blacks(both, term)) << evalTermName(term);
        sum += whites(both, term);
    }
    EXPECT_NE(sum, none) << "something must be there to cancel";
}

TEST(Threats, AnAttackedPawnWithoutDefenceIsWeakButForAnAttackByAPawn)
{
    EXPECT_EQ(whites("Kh1 Pa4 kg8 ra8", termThreatWeakPawn), X(-4, -22));
    EXPECT_EQ(whites("Kh1 Pa4 Ph4 kg8 ra8 qh8", termThreatWeakPawn), X(-8, -44));
    EXPECT_EQ(whites("Kh1 Pa4 kg8", termThreatWeakPawn), none);
    EXPECT_EQ(whites("Kh1 Pa4 kg8 pb5", termThreatWeakPawn), none);
    EXPECT_EQ(whites("Kh1 Pa4 kg8 ra8 pb5", termThreatWeakPawn), none);
    EXPECT_EQ(whites("Kb3 Pa4 kg8 ra8", termThreatWeakPawn), none) << "defended once";
    EXPECT_EQ(blacks("Kh1 Pa4 kg8 ra8", termThreatWeakPawn), none);
}

TEST(Threats, APawnAttackedTwiceIsWeakUnlessDefendedTwice)
{
    EXPECT_EQ(whites("Kb3 Pa4 kg8 ra7 ra8", termThreatWeakPawn), X(-4, -22));
    EXPECT_EQ(whites("Kb3 Ra1 Pa4 kg8 ra7 ra8", termThreatWeakPawn), none);
}

TEST(Threats, APawnDefendedByAPawnAndAttackedTwiceIsNotWeak)
{
    EXPECT_EQ(whites("Kh1 Pb3 Pa4 kg8 ra7 ra8", termThreatWeakPawn), none);
    EXPECT_EQ(whites("Kh1 Pb2 Pa4 kg8 ra7 ra8", termThreatWeakPawn), X(-4, -22));
}

TEST(Threats, APinnedPieceDefendsAndAttacksAlongThePinOnly)
{
    // The knight on e3 defends c4, the bishop the pawn on f4; a rook on e8 pins them on their file.
    for (const char* piece : {"Ne3 Pc4", "Be5 Pf4"})
    {
        const std::string men = std::string("Ke1 ") + piece + " kh8 rc8 rf8";
        EXPECT_EQ(whites(men, termThreatWeakPawn), none) << piece;
        EXPECT_EQ(whites(men + " re8", termThreatWeakPawn), X(-4, -22)) << piece;
    }
}

TEST(Threats, AMinorAttackedByAPawn)
{
    constexpr combEval once = X(-63, -24);
    EXPECT_EQ(whites("Kh1 Ne4 kg8 pd5", termThreatMinorByPawn), once);
    EXPECT_EQ(whites("Kh1 Be4 kg8 pf5", termThreatMinorByPawn), once);
    EXPECT_EQ(whites("Kh1 Ne4 Pd3 kg8 pd5", termThreatMinorByPawn), once) << "defended or not";
    EXPECT_EQ(whites("Kh1 Ne4 kg8 pd5 pf5", termThreatMinorByPawn), once) << "men, not attacks";
    EXPECT_EQ(whites("Kh1 Ba4 Ne4 kg8 pb5 pd5", termThreatMinorByPawn), once * 2);
    EXPECT_EQ(whites("Kh1 Re4 Qa4 kg8 pb5 pd5", termThreatMinorByPawn), none);
    EXPECT_EQ(whites("Kh1 Ne4 kg8 pe5 pd6", termThreatMinorByPawn), none);
}

TEST(Threats, AMinorAttackedByAMinor)
{
    constexpr combEval once = X(-19, -22);
    EXPECT_EQ(whites("Kg1 Ne4 kg8 nf6", termThreatMinorByMinor), once);
    EXPECT_EQ(whites("Kg1 Be4 kg8 nf6", termThreatMinorByMinor), once);
    EXPECT_EQ(whites("Kg1 Ne4 kg8 bb7", termThreatMinorByMinor), once);
    EXPECT_EQ(whites("Kg1 Ne4 Pd3 Pf3 kg8 nf6", termThreatMinorByMinor), once) << "defended or not";
    EXPECT_EQ(whites("Kg1 Ba4 Ne4 kg8 nf6 bd7", termThreatMinorByMinor), once * 2);
    EXPECT_EQ(whites("Kg1 Re4 kg8 nf6", termThreatMinorByMinor), none);
    EXPECT_EQ(whites("Kg1 Ne4 kd5", termThreatMinorByMinor), none);
    EXPECT_EQ(whites("Kg1 Ne4 kg8 re8", termThreatMinorByMinor), none);
}

TEST(Threats, AMinorAttackedByAPawnAndAMinorCountsForBoth)
{
    EXPECT_EQ(whites("Kg1 Be4 kg8 nf6 pd5", termThreatMinorByPawn), X(-63, -24));
    EXPECT_EQ(whites("Kg1 Be4 kg8 nf6 pd5", termThreatMinorByMinor), X(-19, -22));
}

TEST(Threats, AMinorOnAWeakSquareAttackedByARookOrQueen)
{
    constexpr combEval once = X(-20, -28);
    EXPECT_EQ(whites("Kh1 Ne4 kg8 re8", termThreatMinorByMajor), once);
    EXPECT_EQ(whites("Kh1 Be4 kg8 qe8", termThreatMinorByMajor), once);
    EXPECT_EQ(whites("Kh1 Ne4 Bb4 kg8 qe8 rb8", termThreatMinorByMajor), once * 2);
    EXPECT_EQ(whites("Kg1 Re1 Ne4 kg8 re8", termThreatMinorByMajor), none) << "once by each side";
    EXPECT_EQ(whites("Kg1 Re1 Ne4 kg8 re7 re8", termThreatMinorByMajor), once);
    EXPECT_EQ(whites("Kg1 Pd3 Ne4 kg8 re7 re8", termThreatMinorByMajor), none) << "by a pawn";
    EXPECT_EQ(whites("Kg1 Ne4 kg8 nf6", termThreatMinorByMajor), none) << "weak, but no major";
    EXPECT_EQ(whites("Kh1 Re4 kg8 re8", termThreatMinorByMajor), none);
}

TEST(Threats, AKnightDefendedByAPawnAloneAndAttackedByARookIsOverloadedOnly)
{
    EXPECT_EQ(whites("Kh1 Pd3 Ne4 kg8 re8", termThreatMinorByMajor), none);
    EXPECT_EQ(whites("Kh1 Pd3 Ne4 kg8 re8", termThreatOverloaded), X(-3, -15));
}

TEST(Threats, ARookAttackedByAPawnOrMinor)
{
    constexpr combEval once = X(-56, -8);
    EXPECT_EQ(whites("Kg1 Re4 kg8 pd5", termThreatRookByLess), once);
    EXPECT_EQ(whites("Kg1 Re4 kg8 nf6", termThreatRookByLess), once);
    EXPECT_EQ(whites("Kg1 Re4 kg8 bb7", termThreatRookByLess), once);
    EXPECT_EQ(whites("Kg1 Re4 kg8 bb7 nf6 pd5", termThreatRookByLess), once) << "once a rook";
    EXPECT_EQ(whites("Kg1 Re4 Rc4 kg8 pd5", termThreatRookByLess), once * 2);
    EXPECT_EQ(whites("Kg1 Re4 kg8 re8", termThreatRookByLess), none);
    EXPECT_EQ(whites("Kg1 Re4 kg8 qe8", termThreatRookByLess), none);
    EXPECT_EQ(whites("Kg1 Re4 kd5", termThreatRookByLess), none);
    EXPECT_EQ(whites("Kg1 Qe4 kg8 nf6", termThreatRookByLess), none);
}

TEST(Threats, AQueenAttackedByAnythingAlsoByQueenOrKing)
{
    constexpr combEval once = X(-55, 10);
    EXPECT_EQ(whites("Kg1 Qe4 kh8", termThreatQueenByAll), none);
    for (const char* attacker : {"pd5", "nf6", "bb7", "re8", "qe8"})
        EXPECT_EQ(whites(std::string("Kg1 Qe4 kg8 ") + attacker, termThreatQueenByAll), once)
            << attacker;
    EXPECT_EQ(whites("Kg1 Qe4 kd5", termThreatQueenByAll, BLACK), once);
    EXPECT_EQ(whites("Kg1 Qe4 Qa4 kg8 re8 ra8", termThreatQueenByAll), once * 2);
    EXPECT_EQ(whites("Kg1 Re4 kg8 re8", termThreatQueenByAll), none);
}

TEST(Threats, AnAttackedPieceWithOneDefenderIsOverloaded)
{
    constexpr combEval once = X(-3, -15);
    EXPECT_EQ(whites("Kg1 Pd3 Ne4 kg8 re8", termThreatOverloaded), once);
    EXPECT_EQ(whites("Kg1 Pd3 Be4 kg8 re8", termThreatOverloaded), once);
    EXPECT_EQ(whites("Kg1 Pd3 Re4 kg8 re8", termThreatOverloaded), once);
    EXPECT_EQ(whites("Kg1 Pd3 Qe4 kg8 re8", termThreatOverloaded), once);
    EXPECT_EQ(whites("Kf3 Ne4 kg8 re8", termThreatOverloaded), once) << "a king defends as well";
    EXPECT_EQ(whites("Kg1 Pd3 Ne4 kg8 nf6", termThreatOverloaded), once) << "any attacker";
    EXPECT_EQ(whites("Kg1 Pd3 Pf3 Ne4 kg8 re8", termThreatOverloaded), none) << "two defenders";
    EXPECT_EQ(whites("Kg1 Ne4 kg8 re8", termThreatOverloaded), none) << "no defender";
    EXPECT_EQ(whites("Kg1 Pd3 Ne4 kg8 rd8", termThreatOverloaded), none) << "no attacker";
    EXPECT_EQ(whites("Kg1 Pd3 Pe4 kg8 re8", termThreatOverloaded), none) << "a pawn";
    EXPECT_EQ(whites("Kg1 Pd3 Ne4 Pa3 Bb4 kg8 re8 rb8", termThreatOverloaded), once * 2);
}

TEST(Threats, ARookDefendedOnceAndAttackedByAMinorCountsTwice)
{
    EXPECT_EQ(whites("Kg1 Pd3 Re4 kg8 nf6", termThreatRookByLess), X(-56, -8));
    EXPECT_EQ(whites("Kg1 Pd3 Re4 kg8 nf6", termThreatOverloaded), X(-3, -15));
}

TEST(Threats, APushThatAttacksEnemyMenEarnsForEachOfThem)
{
    EXPECT_EQ(whites("Kg1 Pe4 kg8 nd6", termThreatPawnPush), X(16, 10));
    EXPECT_EQ(whites("Kg1 Pe4 kg8 nd6 nf6", termThreatPawnPush), X(32, 20));
    EXPECT_EQ(whites("Kg1 Pc4 Pe4 kg8 nd6", termThreatPawnPush), X(16, 10)) << "men, not attacks";
    EXPECT_EQ(whites("Kg1 Pe4 Nd6 kg8", termThreatPawnPush), none) << "an own man";
    EXPECT_EQ(whites("Kg1 Pe4 kg8 nd6 be5", termThreatPawnPush), none) << "no push";
    EXPECT_EQ(whites("Kg1 Pe4 kg8 nd7", termThreatPawnPush), none);
    EXPECT_EQ(blacks("Kg1 Pe4 kg8 nd6", termThreatPawnPush), none);
}

TEST(Threats, OnlyNewlyAttackedMenCountForAPush)
{
    EXPECT_EQ(whites("Kg1 Pc5 Pe4 kg8 nd6", termThreatPawnPush), none);
}

TEST(Threats, APushMustBeSafe)
{
    EXPECT_EQ(whites("Kg1 Pe4 kg8 nd6 re8", termThreatPawnPush), none) << "e5 is attacked";
    EXPECT_EQ(whites("Kf4 Pe4 kg8 nd6 re8", termThreatPawnPush), X(16, 10)) << "and defended";
    EXPECT_EQ(whites("Kf4 Pe4 kg8 nd6 pf6", termThreatPawnPush), none) << "but not from a pawn";
}

TEST(Threats, ADoublePushCountsUnlessAPawnAttacksItsMiddleSquare)
{
    EXPECT_EQ(whites("Kg1 Pe2 kg8 nd5", termThreatPawnPush), X(16, 10)) << "a knight attacks e3";
    EXPECT_EQ(whites("Kg1 Pe2 kg8 nd5 pd4", termThreatPawnPush), none);
    EXPECT_EQ(whites("Kg1 Pe2 kg8 nd5 ph4", termThreatPawnPush), X(16, 10));
    EXPECT_EQ(whites("Kg1 Pe2 Ne3 kg8 nd5", termThreatPawnPush), none);
    EXPECT_EQ(whites("Kg1 Pe2 kg8 nd5 ne4", termThreatPawnPush), none);
    EXPECT_EQ(whites("Kg1 Pe3 kg8 nd6", termThreatPawnPush), none) << "not from the third rank";
}

TEST(Threats, APushCountsAgainstTheKingAndNotAgainstAPawnThatGuardsItsSquare)
{
    EXPECT_EQ(whites("Kf4 Pe4 kd6", termThreatPawnPush), X(16, 10));
    EXPECT_EQ(whites("Kf4 Pe4 kg8 pd6", termThreatPawnPush), none);
}

TEST(Threats, APushAtTheEdgeOfTheBoardAttacksNothingOnTheOtherSide)
{
    EXPECT_EQ(whites("Kg1 Pa4 kg8 nh5 nh6 nh7", termThreatPawnPush), none);
    EXPECT_EQ(whites("Kg1 Ph4 kg8 na5 na6 na7", termThreatPawnPush), none);
}
