// SPDX-License-Identifier: MIT
//
// To which squares a traced evaluation attributes its terms. That the parts add up is tested in
// model_test.cpp.

#include <map>

#include "terms.h"

namespace
{

using parts = std::map<std::string, combEval>;

/// The squares of a colour's term that have a part.
parts partsOf(const evalTrace& trace, int term, int colour)
{
    parts result;
    for (u8 square = 0; square < NOFSQUARES; ++square)
        if (const combEval part = trace.squares[term][colour][square]; part != none)
            result[squareToLA(square)] = part;
    return result;
}

/// Expects the parts of white's term, and that black's are mirrored.
void expectParts(const std::string& pieces, int term, const parts& expected)
{
    whites(pieces, term);
    Board board(fenOf(pieces));
    EXPECT_EQ(partsOf(evaluateTraced(board.get()), term, WHITE), expected)
        << evalTermTexts[term].name << ", " << pieces;
}

} // namespace

TEST(EvalSquares, APartBelongsToThePieceThatTheTermIsAboutInBothColours)
{
    const std::string kings = "Kg1 kg8 ";
    expectParts(kings + "Ne5 Qd1", termMaterial, {{"e5", pieceValue[1]}, {"d1", pieceValue[4]}});
    expectParts(
        kings + "Nd5", termPieceSquares,
        {{"d5", pieceSquareScore[1][sq("d5") ^ 56]}, {"g1", pieceSquareScore[5][sq("g1") ^ 56]}});
    expectParts(kings + "Nd5 Nb1", termOutpostKnight, {{"d5", EVALOUTPOSTKNIGHT[0]}});
    expectParts(kings + "Pc2 Pc3 Pc4", termPawnDoubled,
                {{"c2", EVALPAWNDOUBLED[2]}, {"c3", EVALPAWNDOUBLED[2]}});
    expectParts(kings + "Nd5 Be4 pc6 ph7", termThreatMinorByPawn, {{"d5", EVALTHREADMINORABPAWN}});
    expectParts(kings + "Pe3 rd5 rf5", termThreatPawnPush,
                {{"d5", EVALTHREADPAWNPUSH}, {"f5", EVALTHREADPAWNPUSH}});
    expectParts(kings + "qd8 Pf2 Ph3", termShield,
                {{"f2", X(plain(EVALPAWNSHIELD[sq("f2") ^ 56]), 0)},
                 {"h3", X(plain(EVALPAWNSHIELD[sq("h3") ^ 56]), 0)}});
    expectParts(kings + "Pa2", termFlank, {{"g1", EVALKINGNOPAWNONFILES[0]}});
}

// Black's king is attacked by queen, knight and bishop; the white pawns add nothing.
TEST(EvalSquares, KingDangerIsSharedByWhatItFallsByWithoutEachAttacker)
{
    const std::string others = "Kg1 Pf2 Pg2 kg8 pf7 pg7 ph7 rf8 ";
    const std::vector<std::string> attackers = {"Qh5 ", "Ng5 ", "Bd3 "};
    const combEval danger = blacks(others + "Qh5 Ng5 Bd3", termDanger);
    std::vector<combEval> falls;
    combEval sum = none;
    for (const std::string& absent : attackers)
    {
        std::string pieces = others;
        for (const std::string& attacker : attackers)
            if (attacker != absent) pieces += attacker;
        falls.push_back(blacks(pieces, termDanger) - danger);
        EXPECT_GT(mgHalf(falls.back()), 0);
        sum += falls.back();
    }
    Board board(fenOf(others + "Qh5 Ng5 Bd3"));
    const parts shares = partsOf(evaluateTraced(board.get()), termDanger, BLACK);
    EXPECT_EQ(shares.size(), 3U);
    for (size_t i = 0; i < falls.size(); ++i)
        EXPECT_EQ(shares.at(attackers[i].substr(1, 2)),
                  X(mgHalf(danger) * mgHalf(falls[i]) / mgHalf(sum),
                    egHalf(danger) * egHalf(falls[i]) / egHalf(sum)));
}

TEST(EvalSquares, TheTempoHasNone)
{
    Board board(fenOf("Kg1 kg8"));
    const evalTrace trace = evaluateTraced(board.get());
    EXPECT_TRUE(partsOf(trace, termTempo, WHITE).empty());
    EXPECT_EQ(trace.shared[termTempo][WHITE], EVALTEMPO);
    EXPECT_EQ(trace.shared[termTempo][BLACK], none);
}
