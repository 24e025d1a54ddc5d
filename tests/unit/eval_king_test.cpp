// SPDX-License-Identifier: MIT
//
// King safety: shield, flank and danger. In most tests of the danger the white king is on g1, its
// zone being f1 to h3 and its flank the files e to h.

#include <algorithm>

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

// Weights of attackers, and points of safe checks.
const int knight = plain(EVALKINGATTWEIGHT[1]);
const int bishop = plain(EVALKINGATTWEIGHT[2]);
const int rook = plain(EVALKINGATTWEIGHT[3]);
const int queen = plain(EVALKINGATTWEIGHT[4]);
const int queenCheck = plain(EVALCHECKSAFEQUEEN);
const int rookCheck = plain(EVALCHECKSAFEROOK);
const int bishopCheck = plain(EVALCHECKSAFEBISHOP);
const int knightCheck = plain(EVALCHECKSAFEKNIGHT);

/// An attack on a king in numbers, counted by hand.
struct attack
{
    int attackers = 0;
    int weight = 0;   // the sum of their weights
    int adjacent = 0; // attacks by pieces on squares next to the king
    int flank = 0;    // attacked squares, those attacked twice counted twice
    int weak = 0;     // weak squares of the zone
    int unsafe = 0;   // squares of unsafe checks
    int checks = 0;   // points of safe checks
    int noQueen = 0;  // 1 if the attackers have none
    int pinned = 0;   // pinned pieces in the zone

    attack operator+(const attack& b) const
    {
        return {attackers + b.attackers, weight + b.weight,   adjacent + b.adjacent,
                flank + b.flank,         weak + b.weak,       unsafe + b.unsafe,
                checks + b.checks,       noQueen + b.noQueen, pinned + b.pinned};
    }
};

/// What an attack costs the king's side: quadratic in the mid-game, linear in the end-game.
combEval cost(const attack& a)
{
    const auto each = [](int i) { return plain(EVALKINGDANGER[i]); };
    const int points = a.attackers * a.weight + each(0) * a.adjacent + each(1) * a.weak +
                       each(2) * a.unsafe + each(3) * a.flank + each(4) * a.noQueen + each(5) +
                       each(6) * a.pinned + a.checks;
    if (points < 1) return none;
    return X(-(points * points / plain(EVALKINGDANGERTRANSMG)),
             -(points / plain(EVALKINGDANGERTRANSEG)));
}

// The knight on e4 attacks f2 and g3; with the queen on a5 the flank has e1 e5 f2 f5 g3 g5 h5 and
// g5 twice. The queen has a safe check on e1.
const attack base = {
    .attackers = 1, .weight = knight, .adjacent = 1, .flank = 8, .weak = 2, .checks = queenCheck};

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
                  {"Kb4 Qh1 Pa6 Pc5 kh8", shield("a6 c5", 2), "the own queen is no reason"},
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


// Danger: when it is looked at

TEST(EvalDanger, NeedsTwoOfAttackersAndEnemyQueens)
{
    // The bishop on b8, and a knight that attacks g3. Flank e1 to e5 f4 g3 h2, all but e1 e3 h2
    // twice.
    const attack two = {.attackers = 2,
                        .weight = bishop + knight,
                        .adjacent = 1,
                        .flank = 13,
                        .weak = 2,
                        .checks = rookCheck + bishopCheck + knightCheck,
                        .noQueen = 1};
    // The queen itself attacks h2. Flank e1 to e4 f4 f5 g3 g5 h2 h5.
    const attack queenItself = {.attackers = 1,
                                .weight = queen,
                                .adjacent = 1,
                                .flank = 10,
                                .weak = 1,
                                .checks = queenCheck};
    expectWhites(termDanger, {{"Kg1 ka8 re8 bb8 nc3", none, "the bishop alone"},
                              {"Kg1 ka8 re8 bb8 nc3 nh5", cost(two)},
                              {"Kg1 ka8 qa5 ne4", cost(base), "a queen that attacks nothing"},
                              {"Kg1 ka8 ne4", none},
                              {"Kg1 ka8 qa5", none},
                              // Flank e1, e4 to h4 and e5 to h5.
                              {"Kg1 ka8 qa4 qa5", cost({.flank = 9, .checks = queenCheck})},
                              {"Kg1 Pf2 Pg2 Ph2 ka8 qe5 pd4", cost(queenItself)}});
}

TEST(EvalDanger, EachZoneSquareThatPawnsAttackIsAnAttackerWithoutWeight)
{
    // f3 and h3. Flank e1 to e5 f3 h3 and e2 e4 twice.
    const attack pawn = {.attackers = 2,
                         .flank = 9,
                         .weak = 2,
                         .checks = rookCheck + bishopCheck + knightCheck,
                         .noQueen = 1};
    expectWhites(termDanger, {{"Kg1 ka8 re8 bb4 nc3 pg4", cost(pawn)},
                              {"Kg1 ka8 re8 bb4 nc3 ph4", none, "g3 alone"},
                              {"Kg1 ka8 re8 bb4 nc3 pf4 ph4", none, "g3 twice is one"}});
}


// Danger: what is counted

TEST(EvalDanger, TheNumberOfAttackersMultipliesTheirWeights)
{
    // The bishop on a6 takes a7 and attacks e2 and f1.
    const attack more = {.attackers = 1, .weight = bishop, .adjacent = 1, .flank = 2, .weak = 1};
    // f2 g2 h2; flank e2 e5 f2 f5 g2 g5 h2 h5; checks on a1 and d1.
    const attack byRook = {.attackers = 1,
                           .weight = rook,
                           .adjacent = 3,
                           .flank = 8,
                           .weak = 3,
                           .checks = queenCheck + rookCheck};
    // g2 h1; flank e1 e2 e4 e5 f5 g2 g4 g5 h1 h5, h5 twice.
    const attack byBishop = {.attackers = 1,
                             .weight = bishop,
                             .adjacent = 2,
                             .flank = 11,
                             .weak = 2,
                             .checks = queenCheck};
    expectWhites(termDanger, {{"Kg1 ka8 qa5 ba6 ne4", cost(base + more)},
                              {"Kg1 ka8 qa5 rd2", cost(byRook)},
                              {"Kg1 ka8 qa5 bf3", cost(byBishop)}});
}

TEST(EvalDanger, FlankSquaresCountOnTheKingsFiveRanksAndTwiceWithoutAPawnsDefence)
{
    expectWhites(termDanger,
                 {{"Kg1 ka8 qa5 ne4 pe6", cost(base + attack{.flank = 1}), "f5 twice"},
                  {"Kg1 ka8 qa5 ne4 pe7", cost(base), "f6 is on the sixth rank"},
                  {"Kg1 ka8 qa5 ne4 pc7", cost(base), "b6 and d6"},
                  {"Kg1 ka8 qa5 bc6 ne4", cost(base + attack{.flank = 1}), "e4 once"},
                  {"Kg1 Ph4 ka8 qa5 ne4", cost(base + attack{.flank = -1}), "h4 defends g5"},
                  {"Kg1 Pa4 ka8 qa5 ne4", cost(base)}});
}

TEST(EvalDanger, AZoneSquareIsWeakWithOneDefenderThatIsKingOrQueen)
{
    const combEval less = cost(base + attack{.weak = -1});
    expectWhites(termDanger, {{"Kg1 Rg7 ka8 qa5 ne4", less, "a rook on g3"},
                              {"Kg1 Qg7 ka8 qa5 ne4", cost(base), "a queen on g3"},
                              {"Kg1 Rf7 ka8 qa5 ne4", less, "two on f2"}});
}

TEST(EvalDanger, UnsafeChecksCountUnlessTheirKindHasASafeOne)
{
    // The knight on d4 attacks f3. Flank e1 e2 e5 f3 f5 g5 h5 and f5 twice.
    const attack far = {.attackers = 1, .weight = knight, .flank = 8, .checks = queenCheck};
    // The rook's, on g2 with its bishop: f1 g2 h1 beside the king; flank e4 f1 f3 f4 g2 g3 g4 g5 h1
    // h3, g5 twice; weak f1 f3 g2 g3 h1 h3.
    const attack byRook = {.attackers = 2,
                           .weight = rook + bishop,
                           .adjacent = 3,
                           .flank = 11,
                           .weak = 6,
                           .unsafe = 1,
                           .noQueen = 1};
    // The bishop's, on h2, which g1 defends: flank e1 e2 e5 f3 f4 f5 g3 g5 h2 h5, e5 f5 twice.
    const attack byBishop = {.attackers = 2,
                             .weight = bishop + knight,
                             .adjacent = 1,
                             .flank = 12,
                             .weak = 1,
                             .unsafe = 1,
                             .checks = queenCheck + knightCheck};
    expectWhites(
        termDanger,
        {{"Kg1 ka8 qa5 nd4", cost(far + attack{.weak = 1, .checks = knightCheck}), "f3 is weak"},
         {"Kg1 Bd1 ka8 qa5 nd4", cost(far + attack{.unsafe = 2}), "e2 and f3"},
         {"Kg1 Rf7 ka8 qa5 nd4", cost(far + attack{.checks = knightCheck}), "f3 is not safe"},
         {"Kg1 Bd1 Pg2 ka8 qa5 nd4", cost(far + attack{.unsafe = 1}),
          "a pawn attacks f3, which is no square for black"},
         {"Kg1 ka8 rg6 bg2 ne6", cost(byRook)},
         {"Kg1 Pg2 Ph2 ka8 qa5 bb8 nd4", cost(byBishop)}});
}

TEST(EvalDanger, APinnedPieceInTheZoneIsCounted)
{
    // The pawn on f2 defends g3, so that f2 alone is weak. The pinning bishop attacks e3 and f2,
    // and has a safe check there.
    const attack pawn = base + attack{.weak = -1};
    const attack pin = {.attackers = 1,
                        .weight = bishop,
                        .adjacent = 1,
                        .flank = 2,
                        .checks = bishopCheck,
                        .pinned = 1};
    expectWhites(termDanger, {{"Kg1 Pf2 ka8 qa5 ne4", cost(pawn)},
                              {"Kg1 Pf2 ka8 qa5 bb6 ne4", cost(pawn + pin)},
                              {"Kg1 Pg7 ka8 qa5 rg8 ne4", cost(base + attack{.checks = rookCheck}),
                               "outside of the zone; the rook checks on g7"}});
}

TEST(EvalDanger, SafeChecksCountOnceForEachKind)
{
    // Behind its pawns the king can be checked on e1 only: by the queen, and by the rook, which
    // looks through the queen on e5, adding e5 to the flank and e1 e2 e4 as attacked twice.
    const attack byRook = {.attackers = 1,
                           .weight = queen,
                           .adjacent = 1,
                           .flank = 14,
                           .weak = 1,
                           .checks = rookCheck};
    // h4, and e5 twice.
    const attack byBishop = {.flank = 2, .checks = bishopCheck};
    expectWhites(
        termDanger,
        {{"Kg1 ka8 qa5 ne4 rb8", cost(base + attack{.checks = rookCheck}), "b1 and g8"},
         {"Kg1 ka8 qa5 bf6 ne4", cost(base + byBishop), "d4"},
         {"Kg1 Pf2 Pg2 Ph2 ka8 qe5 re8 pd4", cost(byRook + attack{.checks = queenCheck})},
         {"Kg1 Qb4 Pf2 Pg2 Ph2 ka8 qe5 re8 pd4", cost(byRook), "the own queen attacks e1"}});
}

TEST(EvalDanger, ACheckIsSafeOnAFreeSquareThatIsUndefendedOrWeakAndAttackedTwice)
{
    // The knight on e1 attacks f3 and g2 and is in the rook's way. Flank e1 to e5 f3 f4 f5 g2 g3 g5
    // h2 h5, e1 e2 e4 twice.
    const attack ownPiece = {.attackers = 2,
                             .weight = queen + knight,
                             .adjacent = 2,
                             .flank = 16,
                             .weak = 2,
                             .unsafe = 1};
    // The queen on f8: f1 f2; flank f1 to f5. The knight: f2 once more; g3 g5, and f2 twice.
    const attack once = {.attackers = 1, .weight = queen, .adjacent = 2, .flank = 5, .weak = 2};
    const attack again = {
        .attackers = 1, .weight = knight, .adjacent = 1, .flank = 3, .checks = queenCheck};
    // The queen on h8: h2, flank e5 h2 to h5, a check on d4. The rooks attack c1 twice.
    const attack line = {.attackers = 1,
                         .weight = queen,
                         .adjacent = 1,
                         .flank = 5,
                         .weak = 1,
                         .checks = queenCheck};
    expectWhites(termDanger,
                 {{"Kg1 Pf2 Pg2 Ph2 ka8 qe5 re8 ne1 pd4", cost(ownPiece), "an own piece on e1"},
                  {"Kg1 Bf1 Pe3 Pg2 Ph2 ka8 qf8", cost(once)},
                  {"Kg1 Bf1 Pe3 Pg2 Ph2 ka8 qf8 ne4", cost(once + again)},
                  {"Kg1 Re1 Pg2 Ph2 ka8 qh8 rc7 rc8", cost(line), "the rook is in the way"},
                  {"Kg1 Qe1 Pg2 Ph2 ka8 qh8 rc7 rc8", cost(line + attack{.checks = rookCheck}),
                   "the queen is not"}});
}


// Danger: what it costs

TEST(EvalDanger, CostsItsSquareInTheMidGameAndAShareInTheEndGameAndNothingIfNotPositive)
{
    // With the stock numbers 0, -250, 1, 34 and 63 points: adjacent f2 h1 h2; flank e3 e5 f2 h1 to
    // h5; weak f2 h1 h2 h3; h1 unsafe, d4 safe.
    const attack zero = {.attackers = 2,
                         .weight = rook + knight,
                         .adjacent = 3,
                         .flank = 8,
                         .weak = 4,
                         .unsafe = 1,
                         .checks = bishopCheck,
                         .noQueen = 1};
    // f2 h2 h2; flank e3 e5 f2 f4 g3 h2, e5 h2 twice; weak f2 h2; h2 safe.
    const attack negative = {.attackers = 2,
                             .weight = bishop + knight,
                             .adjacent = 3,
                             .flank = 8,
                             .weak = 2,
                             .checks = bishopCheck,
                             .noQueen = 1};
    // Flank e2 f1 f2 g3; weak f1 f2 g3.
    const attack one = {.attackers = 2,
                        .weight = bishop + knight,
                        .adjacent = 2,
                        .flank = 4,
                        .weak = 3,
                        .checks = rookCheck,
                        .noQueen = 1};
    // Flank e1 e3 f1 g3 h2; weak f1 g3 h2.
    const attack below = {.attackers = 2,
                          .weight = rook + knight,
                          .adjacent = 2,
                          .flank = 5,
                          .weak = 3,
                          .checks = rookCheck,
                          .noQueen = 1};
    // Flank e1 e3 e5 f2 f3 g4; weak f2 f3.
    const attack small = {.attackers = 2,
                          .weight = bishop + knight,
                          .adjacent = 1,
                          .flank = 6,
                          .weak = 2,
                          .checks = bishopCheck + knightCheck,
                          .noQueen = 1};
    // h2; flank e5 f4 g3 h2; weak h2; b1 safe only without the rook.
    const attack queenAlone = {
        .attackers = 1, .weight = queen, .adjacent = 1, .flank = 4, .weak = 1};
    expectWhites(termDanger,
                 {{"Kg1 ka8 rh8 bg7 nd1", cost(zero)},
                  {"Kg1 Pf2 Pg2 Ph2 ka8 bd6 ng4", cost(negative)},
                  {"Kg1 ka8 rd7 bc4 nh1", cost(one)},
                  {"Kg1 ka8 rc6 rd1 nf1", cost(below)},
                  {"Kg1 ka8 rb3 bc3 nd1 ne5", cost(small)},
                  {"Kg1 Rd1 Pf2 Pg2 Ph2 ka8 qb8", cost(queenAlone)},
                  {"Kg1 Pf2 Pg2 Ph2 ka8 qb8", cost(queenAlone + attack{.checks = queenCheck})}});
}
