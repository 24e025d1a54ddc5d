// SPDX-License-Identifier: MIT
//
// King safety: shield, flank and danger, at the limits of their rules. In the tests of the danger
// the white king is on g1; its zone is f1 to h3 and its flank the files e to h.

#include "terms.h"

namespace
{

/// Shield value of white pawns on squares such as "f2 g3".
int shieldOf(const std::string& names)
{
    int sum = 0;
    for (size_t i = 0; i < names.size(); i += 3)
        sum += plain(EVALPAWNSHIELD[sq(names.substr(i, 2)) ^ 56]);
    return sum;
}

combEval shield(const std::string& names, int divisor = 1)
{
    return X(shieldOf(names) / divisor, 0);
}

} // namespace


// Shield

TEST(EvalShield, TheRearmostPawnOfEachFileInTheZoneCountsByItsSquare)
{
    expectWhites(termShield, {{"Kg1 Pf2 Pg2 Ph2 Pg3 kg8 qd8", shield("f2 g2 h2"), "not g3"},
                              {"Kg1 Pg4 kg8 qd8", none, "three ranks ahead"},
                              {"Kg1 Pe2 kg8 qd8", none, "two files away"},
                              {"Kg2 Pg4 kg8 qd8", shield("g4")},
                              {"Kg3 Pg2 kg8 qd8", shield("g2"), "one rank behind"},
                              {"Kg4 Pg2 kg8 qd8", none, "two ranks behind"},
                              {"Ka1 Pc2 kg8 qd8", shield("c2"), "three files at the edge"},
                              {"Kg1 kg8 qd8 pg2", none, "an enemy pawn"}});
}

TEST(EvalShield, CountsHalfWithoutAnEnemyQueenRoundedTowardZero)
{
    expectWhites(termShield, {{"Kb4 Qh1 Pa6 Pc5 kh8", shield("a6 c5", 2)},
                              {"Ke3 Pd4 Pe4 kh8", shield("d4 e4", 2), "a negative one"}});
}


// Flank

TEST(EvalFlank, IsThreeFilesWideForAKingOnARooksFileAndFourForAnyOther)
{
    const combEval& bare = EVALKINGNOPAWNONFILES[0];
    expectWhites(termFlank, {{"Ka1 Pc5 kd8", none},
                             {"Ka1 Pd5 kd8", bare},
                             {"Kb1 Pd5 kd8", none},
                             {"Kb1 Pe5 kd8", bare},
                             {"Kd1 Pf5 kd8", none, "c to f"},
                             {"Kd1 Pb5 kd8", bare},
                             {"Kg1 Pe5 kd8", none},
                             {"Kh1 Pe5 kd8", bare},
                             {"Kg1 Pa2 kb8 pg7", bare, "an enemy pawn"}});
}


// Danger

TEST(EvalDanger, NeedsTwoOfAttackersAndEnemyQueens)
{
    const auto isInDanger = [](const char* pieces) { return whites(pieces, termDanger) != none; };
    // The bishop on b8 attacks h2, and the knight on h5 attacks g3.
    EXPECT_FALSE(isInDanger("Kg1 ka8 re8 bb8 nc3"));
    EXPECT_TRUE(isInDanger("Kg1 ka8 re8 bb8 nc3 nh5"));
    // A queen counts even if it attacks nothing near the king.
    EXPECT_TRUE(isInDanger("Kg1 ka8 qa5 ne4"));
    EXPECT_FALSE(isInDanger("Kg1 ka8 ne4"));
    EXPECT_FALSE(isInDanger("Kg1 ka8 qa5"));
    EXPECT_TRUE(isInDanger("Kg1 ka8 qa4 qa5"));
    // So does each square of the zone that a pawn attacks, here f3 and h3.
    EXPECT_TRUE(isInDanger("Kg1 ka8 re8 bb4 nc3 pg4"));
    EXPECT_FALSE(isInDanger("Kg1 ka8 re8 bb4 nc3 pf4 ph4")) << "g3 twice is one square";
}

TEST(EvalDanger, IsQuadraticInTheMidGameAndLinearInTheEndGame)
{
    // The knight on e4 attacks f2 and g3, which are weak, and f2 is adjacent. With the queen on a5
    // the flank has e1 e5 f2 f5 g3 g5 h5, and g5 twice. The queen has a safe check on e1.
    const auto& danger = EVALKINGDANGER;
    const int points = plain(EVALKINGATTWEIGHT[1]) + plain(danger[0]) + 2 * plain(danger[1]) +
                       8 * plain(danger[3]) + plain(danger[5]) + plain(EVALCHECKSAFEQUEEN);
    ASSERT_GT(points, 0);
    EXPECT_EQ(whites("Kg1 ka8 qa5 ne4", termDanger),
              X(-(points * points / plain(EVALKINGDANGERTRANSMG)),
                -(points / plain(EVALKINGDANGERTRANSEG))));
}
