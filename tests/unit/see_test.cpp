// SPDX-License-Identifier: MIT
//
// Exchange evaluation, by hand and against a slow exchange search on a plain board.

#include <array>

#include "support.h"

namespace
{

constexpr int value[] = {0, 0, 87, 87, 340, 340, 340, 340, 515, 515, 1005, 1005, 10000, 10000};

/// A plain board and the exchange on one square, walked square by square.
struct slowExchange
{
    std::array<int, 64> men{};
    std::array<bool, 64> attacker{};
    int target = 0;

    static int steps(int from, int to)
    {
        return std::max(std::abs(from % 8 - to % 8), std::abs(from / 8 - to / 8));
    }

    /// Whether nothing stands strictly between two squares of a line; `ranks` says which lines.
    bool sees(int from, bool ranksAndFiles) const
    {
        const int df = target % 8 - from % 8;
        const int dr = target / 8 - from / 8;
        const bool straight = df == 0 || dr == 0;
        const bool diagonal = std::abs(df) == std::abs(dr);
        if (ranksAndFiles ? !straight : !diagonal) return false;
        const int n = steps(from, target);
        for (int i = 1; i < n; ++i)
            if (men[static_cast<size_t>(from + (dr / n * 8 + df / n) * i)]) return false;
        return n > 0;
    }

    bool bears(int from) const
    {
        const int man = men[static_cast<size_t>(from)];
        const int type = man & ~1;
        const int df = std::abs(target % 8 - from % 8);
        const int dr = target / 8 - from / 8;
        if (type == PAWN) return df == 1 && dr == (man & 1 ? -1 : 1);
        if (type == KNIGHT) return df * std::abs(dr) == 2;
        if (type == KING) return steps(from, target) == 1;
        return ((type == BISHOP || type == QUEEN) && sees(from, false)) ||
               ((type == ROOK || type == QUEEN) && sees(from, true));
    }

    /// The x-ray table: behind which man which own sliders come into view.
    void reveal(int gone)
    {
        const int type = gone & ~1;
        if (type == KNIGHT) return;
        const bool straight = type == ROOK || type == KING;
        for (int s = 0; s < 64; ++s)
        {
            const int man = men[static_cast<size_t>(s)];
            if (!man || (man & 1) != (gone & 1) || s == target) continue;
            const int other = man & ~1;
            if (other == QUEEN || other == (straight ? ROOK : BISHOP))
                if (sees(s, straight)) attacker[static_cast<size_t>(s)] = true;
        }
    }

    int cheapest(int colour) const
    {
        int best = -1;
        for (int s = 0; s < 64; ++s)
        {
            const auto i = static_cast<size_t>(s);
            if (attacker[i] && (men[i] & 1) == colour)
                if (best < 0 || men[i] < men[static_cast<size_t>(best)]) best = s;
        }
        return best;
    }

    /// Whether the side that put its man on the target keeps a balance of zero or more, seen from
    /// that side, `colour` being the one to capture.
    bool holds(int balance, int colour)
    {
        const int from = cheapest(colour);
        if (from < 0) return true;
        const auto i = static_cast<size_t>(from);
        const int man = men[i];
        men[i] = 0;
        attacker[i] = false;
        reveal(man);
        if (man >= KING) return cheapest(colour ^ 1) >= 0;

        // After the capture the other side's loss is made good, unless it can't be any more.
        const int left = balance + value[man];
        if (left < 0) return false;
        return !holds(-left, colour ^ 1);
    }
};

bool slowSee(moveStruct move, int threshold, const positionStruct* position)
{
    if (move.kind == 12 || move.kind >= 14) return threshold <= 0;
    int balance = value[position->board[move.to]] - threshold;
    if (balance < 0) return false;
    balance -= value[position->board[move.from]];
    if (balance >= 0) return true;

    slowExchange exchange;
    exchange.target = move.to;
    for (size_t s = 0; s < 64; ++s) exchange.men[s] = position->board[s];
    exchange.men[move.from] = 0;
    exchange.men[move.to] = 0;
    for (int s = 0; s < 64; ++s)
        if (exchange.men[static_cast<size_t>(s)])
            exchange.attacker[static_cast<size_t>(s)] = exchange.bears(s);
    return exchange.holds(balance, position->sideToMove ^ 1);
}

} // namespace

TEST(See, AgreesWithASlowExchangeOnManyMoves)
{
    int asked = 0;
    for (const std::string& fen : manyPositions())
    {
        Board board(fen);
        for (const moveStruct& move : board.legalMoves())
            for (const int threshold : {-600, -340, -100, -1, 0, 1, 87, 200, 340, 500, 1005})
            {
                ASSERT_EQ(see(move, static_cast<i16>(threshold), board.get()),
                          slowSee(move, threshold, board.get()))
                    << fen << ' ' << move << ' ' << threshold;
                ++asked;
            }
    }
    EXPECT_GT(asked, 20000);
}

TEST(See, APawnTakingAKnightHoldsAtOnce)
{
    Board board("4k3/2p5/3n4/4P3/8/8/8/4K3 w - - 0 1");
    EXPECT_TRUE(see(board.move("e5d6"), 0, board.get()));
}

TEST(See, AKnightTakingAPawnDefendedByAPawnLoses)
{
    Board board("4k3/8/2p5/3p4/8/2N5/8/4K3 w - - 0 1");
    EXPECT_FALSE(see(board.move("c3d5"), 0, board.get()));
}

TEST(See, AQueensRecaptureOnADefendedKnightIsNotWorthMaking)
{
    Board board("3qk3/8/8/3p4/4P3/2N5/8/4K3 w - - 0 1");
    EXPECT_TRUE(see(board.move("c3d5"), 0, board.get()));
}

TEST(See, AKingMayNotTakeWhatIsStillDefended)
{
    Board defended("8/8/3k4/3p4/8/2N5/8/3RK3 w - - 0 1");
    EXPECT_TRUE(see(defended.move("c3d5"), 0, defended.get()));
    Board bare("8/8/3k4/3p4/8/2N5/8/4K3 w - - 0 1");
    EXPECT_FALSE(see(bare.move("c3d5"), 0, bare.get()));
}

TEST(See, EnPassantAndCastlingHoldAtZeroAndNotAtOne)
{
    Board passing("4k3/8/8/3pP3/8/8/8/4K2R w K d6 0 1");
    EXPECT_TRUE(see(passing.move("e5d6"), 0, passing.get()));
    EXPECT_FALSE(see(passing.move("e5d6"), 1, passing.get()));
    EXPECT_TRUE(see(passing.move("e1g1"), 0, passing.get()));
    EXPECT_FALSE(see(passing.move("e1g1"), 1, passing.get()));
}

TEST(See, AThresholdAboveTheVictimFails)
{
    Board board("4k3/8/3n4/4P3/8/8/8/4K3 w - - 0 1");
    EXPECT_TRUE(see(board.move("e5d6"), 340, board.get()));
    EXPECT_FALSE(see(board.move("e5d6"), 341, board.get()));
}

// Pins the deliberate limits of the x-ray table.
TEST(See, SeeXrayTable)
{
    // Both rooks of each side are seen: rook, rook, rook and rook again, the last one black's.
    Board doubled("3r1k2/3r4/8/3p4/8/8/3R4/3R1K2 w - - 0 1");
    EXPECT_FALSE(see(doubled.move("d2d5"), 0, doubled.get()));
    Board single("3r1k2/8/8/3p4/8/8/3R4/3R1K2 w - - 0 1");
    EXPECT_TRUE(see(single.move("d2d5"), 0, single.get()));

    // A rook behind a queen on a file is not: queen takes pawn, queen takes queen, rook takes
    // queen, and black's rook on d8, which really takes once more, bears on nothing.
    Board queenAndRook("3r3k/3q4/8/Q2p4/8/8/8/3R2K1 w - - 0 1");
    EXPECT_TRUE(see(queenAndRook.move("a5d5"), 0, queenAndRook.get()));

    // Nor is a slider of the other colour behind the man removed: knight takes pawn, rook takes
    // knight, and white's rook on d8, which really takes back, stood behind the black rook.
    Board otherColour("3R4/3r4/7k/3p4/8/2N5/8/6K1 w - - 0 1");
    EXPECT_FALSE(see(otherColour.move("c3d5"), 0, otherColour.get()));
}

// Pins the deliberate reading of the side that captures first.
TEST(See, SeeAfterSide)
{
    // A queen gives check on a square that a pawn attacks; no own man bears on it: true.
    Board queen("4k3/8/5p2/8/8/8/8/K3Q3 w - - 0 1");
    const moveStruct check = queen.move("e1e5");
    makeMove(1, &check, queen.get(), true);
    EXPECT_TRUE(seeAfter(check, 0, queen.get(), 0));

    // A knight gives check, protected by an own pawn: -340 + 87 < 0, false.
    Board knight("4k3/8/8/8/4P3/2N5/8/4K3 w - - 0 1");
    const moveStruct jump = knight.move("c3d5");
    makeMove(1, &jump, knight.get(), true);
    EXPECT_FALSE(seeAfter(jump, 0, knight.get(), 0));
}

TEST(See, LosingEvasionsAreLoweredByAHundredAndKeepTheirOrder)
{
    // White king e1 in check from the rook on e8; a rook can block on e5, where a pawn takes it.
    Board board("k3r3/8/3p4/R7/8/8/8/4K3 w - - 0 1");
    generateMovesLegal(0, board.ply(0).moveListStart, board.get());
    updateSeeScoreEvade(0, board.ply(0).moveListStart, board.get());
    bool found = false;
    for (const moveStruct& move : board.list())
        if (moveToLA(&move, WHITE) == "a5e5")
        {
            EXPECT_EQ(move.score, 104);
            found = true;
        }
    EXPECT_TRUE(found);
}
