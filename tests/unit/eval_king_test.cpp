// SPDX-License-Identifier: MIT
//
// King safety: shield, flank and danger. In most tests of the danger the white king is on g1, its
// zone being f1 to h3 and its flank the files e to h.

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
/// The attack is a text of words and numbers counted by hand, which add up if they come again:
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

// The knight on e4 attacks f2 and g3; with the queen on a5 the flank has e1 e5 f2 f5 g3 g5 h5 and
// g5 twice. The queen has a safe check on e1.
const std::string base = "attackers 1 by N adjacent 1 flank 8 weak 2 checks Q";

} // namespace


// Shield

TEST(EvalShield, TheRearmostPawnOfEachFileInTheZoneCountsByItsSquare)
{
    expectWhites(termShield, {{"Kg1 Pf2 kg8 qd8", shield("f2")},
                              {"Kg1 Pf2 Pg3 Ph2 kg8 qd8", shield("f2 g3 h2")},
                              {"Kg1 Pf2 Pg2 Ph2 Pg3 kg8 qd8", shield("f2 g2 h2"), "not g3"},
                              {"Kg1 kg8 qd8", none, "no pawn, no punishment"},
                              {"Kg1 Pg4 kg8 qd8", none, "three ranks ahead"},
                              {"Kg1 Pe2 kg8 qd8", none, "two files away"},
                              {"Kg2 Pg4 kg8 qd8", shield("g4")},
                              {"Kg3 Pg2 kg8 qd8", shield("g2"), "one rank behind"},
                              {"Kg4 Pg2 kg8 qd8", none, "two ranks behind"},
                              {"Ka1 Pc2 kg8 qd8", shield("c2"), "three files at the edge"},
                              {"Kh1 Pf2 kg8 qd8", shield("f2")},
                              {"Ka1 Pd2 kg8 qd8", none},
                              {"Kg1 kg8 qd8 pg2", none, "an enemy pawn"}});
    EXPECT_EQ(blacks("Kg1 Pf2 kg8 qd8", termShield), none);
}

TEST(EvalShield, CountsHalfWithoutAnEnemyQueenRoundedTowardZero)
{
    expectWhites(termShield,
                 {{"Kb4 Pa6 Pc5 kh8 qh1", shield("a6 c5")},
                  {"Kb4 Pa6 Pc5 kh8", shield("a6 c5", 2)},
                  {"Kb4 Qh1 Pa6 Pc5 kh8", shield("a6 c5", 2), "an own queen doesn't matter"},
                  {"Ke3 Pd4 Pe4 kh8 qa8", shield("d4 e4")},
                  {"Ke3 Pd4 Pe4 kh8", shield("d4 e4", 2), "a negative one"}});
}


// Flank

TEST(EvalFlank, IsThreeFilesWideForARooksFileAndFourForTheOthers)
{
    constexpr int first[] = {0, 0, 0, 2, 2, 4, 4, 5};
    constexpr int last[] = {2, 3, 3, 5, 5, 7, 7, 7};
    const combEval& bare = EVALKINGNOPAWNONFILES[0];
    for (int king = 0; king < 8; ++king)
        for (int file = 0; file < 8; ++file)
            EXPECT_EQ(whites(piece('K', king, 0) + piece('P', file, 4) + "kd8", termFlank),
                      file >= first[king] && file <= last[king] ? none : bare)
                << king << ' ' << file;
    EXPECT_EQ(whites("Kg1 Pa2 kb8 pg7", termFlank), bare) << "an enemy pawn there";
}


// Danger: when it is computed

TEST(EvalDanger, NeedsTwoOfAttackersAndEnemyQueens)
{
    // The bishop on b8, and a knight that attacks g3. Flank e1 to e5 f4 g3 h2, all but e1 e3 h2
    // twice.
    const std::string two = "attackers 2 by BN adjacent 1 flank 13 weak 2 checks RBN queens 0";
    // The queen itself attacks h2. Flank e1 to e4 f4 f5 g3 g5 h2 h5.
    const std::string queenItself = "attackers 1 by Q adjacent 1 flank 10 weak 1 checks Q";
    expectWhites(termDanger, {{"Kg1 ka8 re8 bb8 nc3", none, "the bishop alone"},
                              {"Kg1 ka8 re8 bb8 nc3 nh5", cost(two)},
                              {"Kg1 ka8 qa5 ne4", cost(base), "a queen that attacks nothing"},
                              {"Kg1 ka8 ne4", none},
                              {"Kg1 ka8 qa5", none},
                              // Flank e1, e4 to h4 and e5 to h5.
                              {"Kg1 ka8 qa4 qa5", cost("flank 9 checks Q")},
                              {"Kg1 Pf2 Pg2 Ph2 ka8 qe5 pd4", cost(queenItself)}});
}

TEST(EvalDanger, EachZoneSquareThatPawnsAttackIsAnAttackerWithoutWeight)
{
    // f3 and h3. Flank e1 to e5 f3 h3 and e2 e4 twice.
    const std::string pawn = "attackers 2 flank 9 weak 2 checks RBN queens 0";
    expectWhites(termDanger, {{"Kg1 ka8 re8 bb4 nc3 pg4", cost(pawn)},
                              {"Kg1 ka8 re8 bb4 nc3 ph4", none, "g3 alone"},
                              {"Kg1 ka8 re8 bb4 nc3 pf4 ph4", none, "g3 twice is one"}});
}


// Danger: what is counted

TEST(EvalDanger, TheNumberOfAttackersMultipliesTheirWeights)
{
    // The bishop on a6 takes a7 and attacks e2 and f1.
    const std::string more = " attackers 1 by B adjacent 1 flank 2 weak 1";
    // f2 g2 h2; flank e2 e5 f2 f5 g2 g5 h2 h5; checks on a1 and d1.
    const std::string byRook = "attackers 1 by R adjacent 3 flank 8 weak 3 checks QR";
    // g2 h1; flank e1 e2 e4 e5 f5 g2 g4 g5 h1 h5, h5 twice.
    const std::string byBishop = "attackers 1 by B adjacent 2 flank 11 weak 2 checks Q";
    expectWhites(termDanger, {{"Kg1 ka8 qa5 ba6 ne4", cost(base + more)},
                              {"Kg1 ka8 qa5 rd2", cost(byRook)},
                              {"Kg1 ka8 qa5 bf3", cost(byBishop)}});
}

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
    expectWhites(termDanger, {{"Kg1 Rg7 ka8 qa5 ne4", less, "a rook on g3"},
                              {"Kg1 Qg7 ka8 qa5 ne4", cost(base), "a queen on g3"},
                              {"Kg1 Rf7 ka8 qa5 ne4", less, "two on f2"}});
}

TEST(EvalDanger, UnsafeChecksCountUnlessTheirKindHasASafeOne)
{
    // The knight on d4 attacks f3. Flank e1 e2 e5 f3 f5 g5 h5 and f5 twice.
    const std::string far = "attackers 1 by N flank 8 checks Q";
    // The rook's, on g2 with its bishop: f1 g2 h1 beside the king; flank e4 f1 f3 f4 g2 g3 g4 g5 h1
    // h3, g5 twice; weak f1 f3 g2 g3 h1 h3.
    const std::string byRook = "attackers 2 by RB adjacent 3 flank 11 weak 6 unsafe 1 queens 0";
    // The bishop's, on h2, which g1 defends: flank e1 e2 e5 f3 f4 f5 g3 g5 h2 h5, e5 f5 twice.
    const std::string byBishop = "attackers 2 by BN adjacent 1 flank 12 weak 1 unsafe 1 checks QN";
    expectWhites(termDanger, {{"Kg1 ka8 qa5 nd4", cost(far + " weak 1 checks N"), "f3 is weak"},
                              {"Kg1 Bd1 ka8 qa5 nd4", cost(far + " unsafe 2"), "e2 and f3"},
                              {"Kg1 Rf7 ka8 qa5 nd4", cost(far + " checks N"), "f3 is not safe"},
                              {"Kg1 Bd1 Pg2 ka8 qa5 nd4", cost(far + " unsafe 1"),
                               "a pawn attacks f3, so it doesn't count for black"},
                              {"Kg1 ka8 rg6 bg2 ne6", cost(byRook)},
                              {"Kg1 Pg2 Ph2 ka8 qa5 bb8 nd4", cost(byBishop)}});
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
    // Behind its pawns the king can be checked on e1 only: by the queen, and by the rook, which
    // looks through the queen on e5, adding e5 to the flank and e1 e2 e4 as attacked twice.
    const std::string byRook = "attackers 1 by Q adjacent 1 flank 14 weak 1 checks R";
    // h4, and e5 twice.
    const std::string byBishop = " flank 2 checks B";
    expectWhites(termDanger, {{"Kg1 ka8 qa5 ne4 rb8", cost(base + " checks R"), "b1 and g8"},
                              {"Kg1 ka8 qa5 bf6 ne4", cost(base + byBishop), "d4"},
                              {"Kg1 Pf2 Pg2 Ph2 ka8 qe5 re8 pd4", cost(byRook + " checks Q")},
                              {"Kg1 Qb4 Pf2 Pg2 Ph2 ka8 qe5 re8 pd4", cost(byRook),
                               "the own queen attacks e1"}});
}

TEST(EvalDanger, ACheckIsSafeOnAFreeSquareThatIsUndefendedOrWeakAndAttackedTwice)
{
    // The knight on e1 attacks f3 and g2 and is in the rook's way. Flank e1 to e5 f3 f4 f5 g2 g3 g5
    // h2 h5, e1 e2 e4 twice.
    const std::string ownPiece = "attackers 2 by QN adjacent 2 flank 16 weak 2 unsafe 1";
    // The queen on f8: f1 f2; flank f1 to f5. The knight: f2 once more; g3 g5, and f2 twice.
    const std::string once = "attackers 1 by Q adjacent 2 flank 5 weak 2";
    const std::string again = " attackers 1 by N adjacent 1 flank 3 checks Q";
    // The queen on h8: h2, flank e5 h2 to h5, a check on d4. The rooks attack c1 twice.
    const std::string line = "attackers 1 by Q adjacent 1 flank 5 weak 1 checks Q";
    expectWhites(
        termDanger,
        {{"Kg1 Pf2 Pg2 Ph2 ka8 qe5 re8 ne1 pd4", cost(ownPiece), "an own piece on e1"},
         {"Kg1 Bf1 Pe3 Pg2 Ph2 ka8 qf8", cost(once)},
         {"Kg1 Bf1 Pe3 Pg2 Ph2 ka8 qf8 ne4", cost(once + again)},
         {"Kg1 Re1 Pg2 Ph2 ka8 qh8 rc7 rc8", cost(line), "the rook is in the way"},
         {"Kg1 Qe1 Pg2 Ph2 ka8 qh8 rc7 rc8", cost(line + " checks R"), "the queen is not"}});
}


// Danger: what it costs

TEST(EvalDanger, CostsItsSquareInTheMidGameAndAShareInTheEndGameAndNothingIfNotPositive)
{
    // With the stock numbers 0, -250, 1, 34 and 63 points: adjacent f2 h1 h2; flank e3 e5 f2 h1 to
    // h5; weak f2 h1 h2 h3; h1 unsafe, d4 safe.
    const std::string zero =
        "attackers 2 by RN adjacent 3 flank 8 weak 4 unsafe 1 checks B queens 0";
    // f2 h2 h2; flank e3 e5 f2 f4 g3 h2, e5 h2 twice; weak f2 h2; h2 safe.
    const std::string negative = "attackers 2 by BN adjacent 3 flank 8 weak 2 checks B queens 0";
    // Flank e2 f1 f2 g3; weak f1 f2 g3.
    const std::string one = "attackers 2 by BN adjacent 2 flank 4 weak 3 checks R queens 0";
    // Flank e1 e3 f1 g3 h2; weak f1 g3 h2.
    const std::string below = "attackers 2 by RN adjacent 2 flank 5 weak 3 checks R queens 0";
    // Flank e1 e3 e5 f2 f3 g4; weak f2 f3.
    const std::string small = "attackers 2 by BN adjacent 1 flank 6 weak 2 checks BN queens 0";
    // h2; flank e5 f4 g3 h2; weak h2; b1 safe only without the rook.
    const std::string queenAlone = "attackers 1 by Q adjacent 1 flank 4 weak 1";
    expectWhites(termDanger, {{"Kg1 ka8 rh8 bg7 nd1", cost(zero)},
                              {"Kg1 Pf2 Pg2 Ph2 ka8 bd6 ng4", cost(negative)},
                              {"Kg1 ka8 rd7 bc4 nh1", cost(one)},
                              {"Kg1 ka8 rc6 rd1 nf1", cost(below)},
                              {"Kg1 ka8 rb3 bc3 nd1 ne5", cost(small)},
                              {"Kg1 Rd1 Pf2 Pg2 Ph2 ka8 qb8", cost(queenAlone)},
                              {"Kg1 Pf2 Pg2 Ph2 ka8 qb8", cost(queenAlone + " checks Q")}});
}
