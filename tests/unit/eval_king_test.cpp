// SPDX-License-Identifier: MIT
//
// King safety: shield, flank and danger, each against a value worked out by hand. In most tests of
// the danger the white king stands on g1, its zone being f1 to h3 and its flank the files e to h.

#include "terms.h"

namespace
{

constexpr combEval none = X(0, 0);

/// What so many points of danger cost: quadratic in the mid-game, linear in the end-game.
constexpr combEval costOf(int points)
{
    return X(-(points * points / 4095), -(points / 35));
}

} // namespace


// Shield

TEST(Shield, EachFileCountsByTheSquareOfItsPawn)
{
    EXPECT_EQ(whites("Kg1 Pf2 kg8 qd8", termShield), X(35, 0));
    EXPECT_EQ(whites("Kg1 Pg2 kg8 qd8", termShield), X(27, 0));
    EXPECT_EQ(whites("Kg1 Pg3 kg8 qd8", termShield), X(11, 0));
    EXPECT_EQ(whites("Kg1 Pf2 Pg3 Ph2 kg8 qd8", termShield), X(35 + 11 + 9, 0));
    EXPECT_EQ(whites("Kg1 kg8 qd8", termShield), none) << "no pawn, no punishment";
    EXPECT_EQ(blacks("Kg1 Pf2 kg8 qd8", termShield), none);
}

TEST(Shield, OnlyTheRearmostPawnOfAFileCounts)
{
    EXPECT_EQ(whites("Kg1 Pf2 Pg2 Ph2 kg8 qd8", termShield), X(35 + 27 + 9, 0));
    EXPECT_EQ(whites("Kg1 Pf2 Pg2 Ph2 Pg3 kg8 qd8", termShield), X(35 + 27 + 9, 0));
}

TEST(Shield, IsWhatStandsInTheKingsZone)
{
    EXPECT_EQ(whites("Kg1 Pg4 kg8 qd8", termShield), none) << "three ranks ahead";
    EXPECT_EQ(whites("Kg1 Pe2 kg8 qd8", termShield), none) << "two files away";
    EXPECT_EQ(whites("Kg2 Pg4 kg8 qd8", termShield), X(7, 0));
    EXPECT_EQ(whites("Kg3 Pg2 kg8 qd8", termShield), X(27, 0)) << "one rank behind";
    EXPECT_EQ(whites("Kg4 Pg2 kg8 qd8", termShield), none) << "two ranks behind";
    EXPECT_EQ(whites("Ka1 Pc2 kg8 qd8", termShield), X(32, 0)) << "three files at the edge";
    EXPECT_EQ(whites("Kh1 Pf2 kg8 qd8", termShield), X(35, 0));
    EXPECT_EQ(whites("Ka1 Pd2 kg8 qd8", termShield), none);
    EXPECT_EQ(whites("Kg1 kg8 qd8 pg2", termShield), none) << "an enemy pawn";
}

TEST(Shield, CountsHalfWithoutAnEnemyQueen)
{
    // a6 132 and c5 57.
    EXPECT_EQ(whites("Kb4 Pa6 Pc5 kh8 qh1", termShield), X(189, 0));
    EXPECT_EQ(whites("Kb4 Pa6 Pc5 kh8", termShield), X(94, 0));
    EXPECT_EQ(whites("Kb4 Qh1 Pa6 Pc5 kh8", termShield), X(94, 0)) << "the own queen is no reason";
}

TEST(Shield, ANegativeOneIsHalvedTowardZero)
{
    // d4 -8 and e4 -11.
    EXPECT_EQ(whites("Ke3 Pd4 Pe4 kh8 qa8", termShield), X(-19, 0));
    EXPECT_EQ(whites("Ke3 Pd4 Pe4 kh8", termShield), X(-9, 0));
}


// Flank

TEST(Flank, WithoutAnOwnPawnOnItTheMidGameGainsAndTheEndGameLoses)
{
    EXPECT_EQ(whites("Kg1 Pa2 kb8", termFlank), X(11, -16));
    EXPECT_EQ(whites("Kg1 Pe7 kb8", termFlank), none);
    EXPECT_EQ(whites("Kg1 Pa2 kb8 pg7", termFlank), X(11, -16)) << "an enemy pawn there";
}

TEST(Flank, IsThreeFilesWideForARooksFileAndFourForTheOthers)
{
    constexpr int first[] = {0, 0, 0, 2, 2, 4, 4, 5};
    constexpr int last[] = {2, 3, 3, 5, 5, 7, 7, 7};
    for (int king = 0; king < 8; ++king)
        for (int file = 0; file < 8; ++file)
            EXPECT_EQ(whites(man('K', king, 0) + man('P', file, 4) + "kd8", termFlank),
                      file >= first[king] && file <= last[king] ? none : X(11, -16))
                << king << ' ' << file;
}


// Danger: when it is looked at

TEST(Danger, OneAttackerWithoutAQueenIsNone)
{
    // The bishop attacks g3 and h2, and all three have safe checks, on e1, a7 and e2.
    EXPECT_EQ(whites("Kg1 ka8 re8 bb8 nc3", termDanger), none);
    // With a knight that attacks g3 there are two. Weights 2 * 50; h2 beside the king 27; flank
    // e1 to e5 f4 g3 h2 and all but e1 e3 h2 twice 23 * 13; weak g3 h2 142; safe checks 475, 176
    // and 413; 638 off without a queen and 295 always.
    EXPECT_EQ(whites("Kg1 ka8 re8 bb8 nc3 nh5", termDanger), costOf(699));
}

TEST(Danger, AQueenAnywhereMakesOneAttackerEnough)
{
    // The knight attacks f2 and g3: weight 25, f2 beside the king 27; flank e1 e5 f2 f5 g3 g5 h5
    // and g5 twice 184; weak f2 g3 142; the queen's safe check on e1 355; 295 off.
    EXPECT_EQ(whites("Kg1 ka8 qa5 ne4", termDanger), costOf(438));
    EXPECT_EQ(whites("Kg1 ka8 ne4", termDanger), none);
}

TEST(Danger, AQueenWithoutAnAttackerIsNoneAndTwoQueensAre)
{
    EXPECT_EQ(whites("Kg1 ka8 qa5", termDanger), none);
    // Neither touches the zone. Flank e1, e4 to h4 and e5 to h5 207, the check on e1 355, 295 off.
    EXPECT_EQ(whites("Kg1 ka8 qa4 qa5", termDanger), costOf(267));
}

TEST(Danger, AQueenInTheZoneIsAnAttackerItself)
{
    // The queen attacks h2: weight 21, beside the king 27; flank e1 to e4 f4 f5 g3 g5 h2 h5 230;
    // weak h2 71; safe check on e1 355; 295 off.
    EXPECT_EQ(whites("Kg1 Pf2 Pg2 Ph2 ka8 qe5 pd4", termDanger), costOf(409));
}

TEST(Danger, EachZoneSquareThatPawnsAttackIsAnAttackerWithoutWeight)
{
    // f3 and h3. Flank e1 to e5 f3 h3 and e2 e4 twice 207; weak f3 h3 142; safe checks of rook,
    // bishop (c5) and knight 475, 176, 413; 638 and 295 off.
    EXPECT_EQ(whites("Kg1 ka8 re8 bb4 nc3 pg4", termDanger), costOf(480));
    EXPECT_EQ(whites("Kg1 ka8 re8 bb4 nc3 ph4", termDanger), none) << "g3 alone";
    EXPECT_EQ(whites("Kg1 ka8 re8 bb4 nc3 pf4 ph4", termDanger), none) << "g3 twice is one";
}


// Danger: what is counted

TEST(Danger, TheNumberOfAttackersMultipliesTheirWeights)
{
    // As with the knight alone, 438, and the bishop on a6, which takes a7 and sees e2 and f1:
    // 2 * 50 for 25; f1 too beside the king 27; e2 f1 on the flank 46; f1 weak 71.
    EXPECT_EQ(whites("Kg1 ka8 qa5 ba6 ne4", termDanger), costOf(438 + 75 + 27 + 46 + 71));
    // A rook weighs 30. From d2 it attacks f2 g2 h2: 81; flank e2 e5 f2 f5 g2 g5 h2 h5 184; weak
    // f2 g2 h2 213; safe checks of queen (a1) and rook (d1) 355, 475; 295 off.
    EXPECT_EQ(whites("Kg1 ka8 qa5 rd2", termDanger), costOf(30 + 81 + 184 + 213 + 355 + 475 - 295));
    // A bishop on f3 weighs 25. g2 h1 54; flank e1 e2 e4 e5 f5 g2 g4 g5 h1 h5, h5 twice, 253;
    // weak g2 h1 142; the queen's check 355; 295 off.
    EXPECT_EQ(whites("Kg1 ka8 qa5 bf3", termDanger), costOf(25 + 54 + 253 + 142 + 355 - 295));
}

TEST(Danger, FlankSquaresCountOnTheKingsFiveRanks)
{
    EXPECT_EQ(whites("Kg1 ka8 qa5 ne4 pe6", termDanger), costOf(438 + 23)) << "f5 twice";
    EXPECT_EQ(whites("Kg1 ka8 qa5 ne4 pe7", termDanger), costOf(438)) << "f6 is on the sixth rank";
    EXPECT_EQ(whites("Kg1 ka8 qa5 ne4 pc7", termDanger), costOf(438)) << "b6 and d6";
    EXPECT_EQ(whites("Kg1 ka8 qa5 bc6 ne4", termDanger), costOf(438 + 23)) << "e4 once";
}

TEST(Danger, AFlankSquareThatOwnPawnsAttackDoesNotCountTwice)
{
    EXPECT_EQ(whites("Kg1 Ph4 ka8 qa5 ne4", termDanger), costOf(438 - 23)) << "g5";
    EXPECT_EQ(whites("Kg1 Pa4 ka8 qa5 ne4", termDanger), costOf(438));
}

TEST(Danger, AZoneSquareIsWeakWithOneDefenderThatIsKingOrQueen)
{
    EXPECT_EQ(whites("Kg1 Rg7 ka8 qa5 ne4", termDanger), costOf(438 - 71)) << "a rook on g3";
    EXPECT_EQ(whites("Kg1 Qg7 ka8 qa5 ne4", termDanger), costOf(438)) << "a queen on g3";
    EXPECT_EQ(whites("Kg1 Rf7 ka8 qa5 ne4", termDanger), costOf(438 - 71)) << "two on f2";
}

TEST(Danger, UnsafeChecksCountUnlessTheirKindHasASafeOne)
{
    // The knight attacks f3: weight 25; flank e1 e2 e5 f3 f5 g5 h5 and f5 twice 184; the queen's
    // check 355; 295 off: 269.
    constexpr int rest = 25 + 184 + 355 - 295;
    EXPECT_EQ(whites("Kg1 ka8 qa5 nd4", termDanger), costOf(rest + 413 + 71)) << "f3 is weak";
    EXPECT_EQ(whites("Kg1 Bd1 ka8 qa5 nd4", termDanger), costOf(rest + 2 * 98)) << "e2 and f3";
    EXPECT_EQ(whites("Kg1 Rf7 ka8 qa5 nd4", termDanger), costOf(rest + 413)) << "f3 is not safe";
    EXPECT_EQ(whites("Kg1 Bd1 Pg2 ka8 qa5 nd4", termDanger), costOf(rest + 98))
        << "a pawn attacks f3, which is no square for black";
}

TEST(Danger, UnsafeChecksOfRookAndBishopCountToo)
{
    // The rook on g6 has one on g2 besides its bishop: weights 2 * 55; f1 g2 h1 beside the king
    // 81; flank e4 f1 f3 f4 g2 g3 g4 g5 h1 h3, g5 twice, 253; weak f1 f3 g2 g3 h1 h3 426; 98;
    // 638 and 295 off.
    EXPECT_EQ(whites("Kg1 ka8 rg6 bg2 ne6", termDanger), costOf(35));
    // The bishop on b8 has one on h2, which g1 defends: weight 2 * 50; h2 27; flank e1 e2 e5 f3 f4
    // f5 g3 g5 h2 h5, e5 f5 twice, 276; weak h2 71; 98; queen and knight (e2) 355, 413; 295 off.
    EXPECT_EQ(whites("Kg1 Pg2 Ph2 ka8 qa5 bb8 nd4", termDanger),
              costOf(100 + 27 + 276 + 71 + 98 + 355 + 413 - 295));
}

TEST(Danger, APinnedManInTheZoneTakesSomeOff)
{
    // The pawn defends g3, so that f2 alone is weak.
    EXPECT_EQ(whites("Kg1 Pf2 ka8 qa5 ne4", termDanger), costOf(438 - 71));
    // Behind the pin: weights 2 * 50 for 25, f2 once more 27, e3 and f2 twice 46, f2 a safe check.
    EXPECT_EQ(whites("Kg1 Pf2 ka8 qa5 bb6 ne4", termDanger),
              costOf(438 - 71 + 75 + 27 + 46 + 176 - 47));
    EXPECT_EQ(whites("Kg1 Pg7 ka8 qa5 rg8 ne4", termDanger), costOf(438 + 475))
        << "pinned outside of the zone; the rook checks on g7";
}

TEST(Danger, SafeChecksCountOnceForEachKind)
{
    EXPECT_EQ(whites("Kg1 ka8 qa5 ne4 rb8", termDanger), costOf(438 + 475)) << "b1 and g8";
    // d4; on the flank h4, and e5 twice.
    EXPECT_EQ(whites("Kg1 ka8 qa5 bf6 ne4", termDanger), costOf(438 + 176 + 46));
}

TEST(Danger, ASafeRookCheckAndASafeQueenCheckOnOneSquareBothCount)
{
    // Behind its pawns the king can be checked on e1 only. The rook looks through the queen on e5,
    // adding e5 to the flank and e1 e2 e4 as attacked twice: 92.
    EXPECT_EQ(whites("Kg1 Pf2 Pg2 Ph2 ka8 qe5 re8 pd4", termDanger), costOf(409 + 92 + 475));
}

TEST(Danger, ASquareThatTheOwnQueenAttacksIsNoQueenCheck)
{
    EXPECT_EQ(whites("Kg1 Qb4 Pf2 Pg2 Ph2 ka8 qe5 re8 pd4", termDanger),
              costOf(409 - 355 + 92 + 475))
        << "e1, still safe for the rook";
}

TEST(Danger, AManOfItsOwnOnTheSquareMakesACheckUnsafe)
{
    // The knight on e1 attacks f3 and g2. Weights 2 * 46; g2 and h2 54; flank e1 to e5 f3 f4 f5 g2
    // g3 g5 h2 h5, e1 e2 e4 twice, 368; weak g2 h2 142; the rook's check on e1 98; 295 off.
    EXPECT_EQ(whites("Kg1 Pf2 Pg2 Ph2 ka8 qe5 re8 ne1 pd4", termDanger),
              costOf(92 + 54 + 368 + 142 + 98 - 295));
}

TEST(Danger, ACheckIsSafeOnASquareAttackedTwiceThatOnlyTheKingDefends)
{
    // f2 alone. Queen: weight 21, f1 f2 54, flank f1 to f5 115, weak f1 f2 142, 295 off.
    EXPECT_EQ(whites("Kg1 Bf1 Pe3 Pg2 Ph2 ka8 qf8", termDanger), costOf(21 + 54 + 115 + 142 - 295));
    // With the knight: 2 * 46; f2 27 more; g3 g5 on the flank, f2 twice, 69; the check 355.
    EXPECT_EQ(whites("Kg1 Bf1 Pe3 Pg2 Ph2 ka8 qf8 ne4", termDanger),
              costOf(92 + 81 + 184 + 142 + 355 - 295));
}

TEST(Danger, TheOwnQueenDoesNotBlockTheLinesOfCheck)
{
    // The black queen attacks h2: 21, 27, flank e5 h2 to h5 115, weak h2 71, its check (d4) 355,
    // 295 off. The rooks attack c1 twice, behind a white queen or rook on e1.
    constexpr int rest = 21 + 27 + 115 + 71 + 355 - 295;
    EXPECT_EQ(whites("Kg1 Re1 Pg2 Ph2 ka8 qh8 rc7 rc8", termDanger), costOf(rest));
    EXPECT_EQ(whites("Kg1 Qe1 Pg2 Ph2 ka8 qh8 rc7 rc8", termDanger), costOf(rest + 475));
}


// Danger: what it costs

TEST(Danger, NoneOrLessCostsNothingAndGivesNoBonus)
{
    // Weights 2 * 55; f2 h1 h2 81; flank e3 e5 f2 h1 to h5 184; weak f2 h1 h2 h3 284; unsafe h1 98;
    // safe d4 176; 638 and 295 off: 0.
    EXPECT_EQ(whites("Kg1 ka8 rh8 bg7 nd1", termDanger), none);
    // Weights 2 * 50; f2 h2 and h2 81; flank e3 e5 f2 f4 g3 h2, e5 h2 twice, 184; weak f2 h2 142;
    // safe h2 176; 638 and 295 off: -250.
    EXPECT_EQ(whites("Kg1 Pf2 Pg2 Ph2 ka8 bd6 ng4", termDanger), none);
    // Weight 21; h2 27; flank e5 f4 g3 h2 92; weak h2 71; b1 not safe; 295 off: -84.
    EXPECT_EQ(whites("Kg1 Rd1 Pf2 Pg2 Ph2 ka8 qb8", termDanger), none);
    EXPECT_EQ(whites("Kg1 Pf2 Pg2 Ph2 ka8 qb8", termDanger), costOf(355 - 84));
}

TEST(Danger, TheMidGameLosesTheSquareOverFourThousandAndTheEndGameAThirtyFifth)
{
    // 2 * 50, 54, flank e2 f1 f2 g3 92, weak f1 f2 g3 213, 475, 638 and 295 off: 1.
    EXPECT_EQ(whites("Kg1 ka8 rd7 bc4 nh1", termDanger), none);
    // 2 * 55, 54, flank e1 e3 f1 g3 h2 115, weak f1 g3 h2 213, 475, 638 and 295 off: 34.
    EXPECT_EQ(whites("Kg1 ka8 rc6 rd1 nf1", termDanger), none);
    // 35, as counted above.
    EXPECT_EQ(whites("Kg1 ka8 rg6 bg2 ne6", termDanger), X(0, -1));
    // 2 * 50, 27, flank e1 e3 e5 f2 f3 g4 138, weak f2 f3 142, 176, 413, 638 and 295 off: 63.
    EXPECT_EQ(whites("Kg1 ka8 rb3 bc3 nd1 ne5", termDanger), X(0, -1));
    // 25, 54, flank e3 e5 f2 g4 g5 h2 138, weak f2 h2 142, 295 off: 64.
    EXPECT_EQ(whites("Kg1 ka8 qg8 ng4", termDanger), X(-1, -1));
    // 438: 191844 / 4095 and 438 / 35.
    EXPECT_EQ(whites("Kg1 ka8 qa5 ne4", termDanger), X(-46, -12));
}
