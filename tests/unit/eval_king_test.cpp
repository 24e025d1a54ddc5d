// SPDX-License-Identifier: MIT
//
// King safety: shield, flank and danger, at the limits of their rules. In most tests of the danger
// the white king is on g1; its zone is f1 to h3 and its flank the files e to h.

#include <algorithm>
#include <iterator>
#include <sstream>

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

/// What an attack on the king costs its side: quadratic in the mid-game, linear in the end-game.
/// The attack is a text of words and numbers counted by hand; repeated words add up:
///
///   attackers N by LETTERS     their number, and the pieces whose weights count
///   adjacent N                 attacks by pieces on squares next to the king
///   flank N                    attacked squares, those attacked twice counted twice
///   weak N, unsafe N           weak squares of the zone, unsafe checks
///   pinned N                   pinned pieces in the zone
///   checks LETTERS             pieces with a safe check
///   queens 0                   the attackers have no queen
combEval cost(const std::string& attack)
{
    const combEval safeChecks[] = {0, EVALCHECKSAFEKNIGHT, EVALCHECKSAFEBISHOP, EVALCHECKSAFEROOK,
                                   EVALCHECKSAFEQUEEN};
    const std::string terms[] = {"adjacent", "weak", "unsafe", "flank", "queens", "", "pinned"};
    int attackers = 0;
    int weight = 0;
    int points = plain(EVALKINGDANGER[5]);
    std::istringstream words(attack);
    for (std::string word, value; words >> word >> value;)
        if (word == "attackers")
            attackers += std::stoi(value);
        else if (word == "by" || word == "checks")
            for (const char letter : value)
            {
                const size_t type = std::string("PNBRQ").find(letter);
                if (word == "by")
                    weight += plain(EVALKINGATTWEIGHT[type]);
                else
                    points += plain(safeChecks[type]);
            }
        else
        {
            const auto term = std::find(std::begin(terms), std::end(terms), word);
            const int count = word == "queens" ? 1 : std::stoi(value);
            points += count * plain(EVALKINGDANGER[term - std::begin(terms)]);
        }
    points += attackers * weight;
    if (points < 1) return none;
    return X(-(points * points / plain(EVALKINGDANGERTRANSMG)),
             -(points / plain(EVALKINGDANGERTRANSEG)));
}

// Comments list the squares that are counted. Here the knight on e4 attacks f2 and g3; with the
// queen on a5 the flank has e1 e5 f2 f5 g3 g5 h5 and g5 twice. The queen has a safe check on e1.
const std::string base = "attackers 1 by N adjacent 1 flank 8 weak 2 checks Q";

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


// Danger: when it is computed

TEST(EvalDanger, NeedsTwoOfAttackersAndEnemyQueens)
{
    // The bishop on b8, and a knight that attacks g3. Flank e1 to e5 f4 g3 h2, all but e1 e3 h2
    // twice.
    const std::string two = "attackers 2 by BN adjacent 1 flank 13 weak 2 checks RBN queens 0";
    expectWhites(termDanger, {{"Kg1 ka8 re8 bb8 nc3", none, "the bishop alone"},
                              {"Kg1 ka8 re8 bb8 nc3 nh5", cost(two)},
                              {"Kg1 ka8 qa5 ne4", cost(base), "a queen that attacks nothing"},
                              {"Kg1 ka8 ne4", none},
                              {"Kg1 ka8 qa5", none},
                              // Flank e1, e4 to h4 and e5 to h5.
                              {"Kg1 ka8 qa4 qa5", cost("flank 9 checks Q")}});
}

TEST(EvalDanger, EachZoneSquareThatPawnsAttackIsAnAttackerWithoutWeight)
{
    // The pawn attacks f3 and h3. Flank e1 to e5 f3 h3, and e2 e4 twice.
    const std::string pawn = "attackers 2 flank 9 weak 2 checks RBN queens 0";
    expectWhites(termDanger, {{"Kg1 ka8 re8 bb4 nc3 pg4", cost(pawn)},
                              {"Kg1 ka8 re8 bb4 nc3 ph4", none, "g3 alone"},
                              {"Kg1 ka8 re8 bb4 nc3 pf4 ph4", none, "g3 twice is one"}});
}


// Danger: what is counted

TEST(EvalDanger, FlankSquaresCountOnTheKingsFiveRanksAndTwiceWithoutAPawnsDefence)
{
    expectWhites(termDanger, {{"Kg1 ka8 qa5 ne4 pe6", cost(base + " flank 1"), "f5 twice"},
                              {"Kg1 ka8 qa5 ne4 pe7", cost(base), "f6 is on the sixth rank"},
                              {"Kg1 ka8 qa5 ne4 pc7", cost(base), "b6 and d6"},
                              {"Kg1 ka8 qa5 bc6 ne4", cost(base + " flank 1"), "e4 once"},
                              {"Kg1 Ph4 ka8 qa5 ne4", cost(base + " flank -1"), "h4 defends g5"},
                              {"Kg1 Pa4 ka8 qa5 ne4", cost(base)}});
}

TEST(EvalDanger, AZoneSquareIsWeakWithOneDefenderThatIsKingOrQueen)
{
    const combEval less = cost(base + " weak -1");
    expectWhites(termDanger, {{"Kg1 Rg7 ka8 qa5 ne4", less, "a rook defends g3"},
                              {"Kg1 Qg7 ka8 qa5 ne4", cost(base), "a queen does"},
                              {"Kg1 Rf7 ka8 qa5 ne4", less, "f2 has two defenders"}});
}

TEST(EvalDanger, UnsafeChecksCountUnlessTheirKindHasASafeOne)
{
    // The knight on d4 attacks f3. Flank e1 e2 e5 f3 f5 g5 h5 and f5 twice.
    const std::string far = "attackers 1 by N flank 8 checks Q";
    expectWhites(termDanger, {{"Kg1 ka8 qa5 nd4", cost(far + " weak 1 checks N"), "f3 is weak"},
                              {"Kg1 Bd1 ka8 qa5 nd4", cost(far + " unsafe 2"), "e2 and f3"},
                              {"Kg1 Rf7 ka8 qa5 nd4", cost(far + " checks N"), "f3 is not safe"},
                              {"Kg1 Bd1 Pg2 ka8 qa5 nd4", cost(far + " unsafe 1"),
                               "a pawn attacks f3, so it doesn't count for black"}});
}

TEST(EvalDanger, APinnedPieceInTheZoneIsCounted)
{
    // The pawn on f2 defends g3, so that f2 alone is weak. The pinning bishop attacks e3 and f2,
    // and has a safe check there.
    const std::string pawn = base + " weak -1";
    const std::string pin = " attackers 1 by B adjacent 1 flank 2 checks B pinned 1";
    expectWhites(termDanger, {{"Kg1 Pf2 ka8 qa5 ne4", cost(pawn)},
                              {"Kg1 Pf2 ka8 qa5 bb6 ne4", cost(pawn + pin)},
                              {"Kg1 Pg7 ka8 qa5 rg8 ne4", cost(base + " checks R"),
                               "outside of the zone; the rook checks on g7"}});
}

TEST(EvalDanger, SafeChecksCountOnceForEachKind)
{
    // Shut in by its pawns, the king can be checked on e1 only: by the queen, and by the rook,
    // which looks through the queen on e5. That adds e5 to the flank, and e1 e2 e4 a second time.
    const std::string byRook = "attackers 1 by Q adjacent 1 flank 14 weak 1 checks R";
    expectWhites(termDanger, {{"Kg1 ka8 qa5 ne4 rb8", cost(base + " checks R"), "b1 and g8"},
                              {"Kg1 Pf2 Pg2 Ph2 ka8 qe5 re8 pd4", cost(byRook + " checks Q")},
                              {"Kg1 Qb4 Pf2 Pg2 Ph2 ka8 qe5 re8 pd4", cost(byRook),
                               "the own queen attacks e1"}});
}


// Danger: what it costs

TEST(EvalDanger, NothingIsCostWhenThePointsAreNotPositive)
{
    // With the stock numbers 0, -250 and 1 points: adjacent f2 h1 h2; flank e3 e5 f2 h1 to h5; weak
    // f2 h1 h2 h3; h1 unsafe, d4 safe.
    const std::string zero =
        "attackers 2 by RN adjacent 3 flank 8 weak 4 unsafe 1 checks B queens 0";
    // f2 h2 h2; flank e3 e5 f2 f4 g3 h2, e5 h2 twice; weak f2 h2; h2 safe.
    const std::string negative = "attackers 2 by BN adjacent 3 flank 8 weak 2 checks B queens 0";
    // Flank e2 f1 f2 g3; weak f1 f2 g3.
    const std::string one = "attackers 2 by BN adjacent 2 flank 4 weak 3 checks R queens 0";
    expectWhites(termDanger, {{"Kg1 ka8 rh8 bg7 nd1", cost(zero)},
                              {"Kg1 Pf2 Pg2 Ph2 ka8 bd6 ng4", cost(negative)},
                              {"Kg1 ka8 rd7 bc4 nh1", cost(one)}});
}
