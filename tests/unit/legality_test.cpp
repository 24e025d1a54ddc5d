// SPDX-License-Identifier: MIT
//
// isLegalMove on every word, and inCheckAfterMove.

#include <algorithm>
#include <cstring>

#include "support.h"

namespace
{

/// The pseudo-legal tests, told once more on the plain board.
bool modelPseudo(const positionStruct* p, moveStruct m)
{
    const u8* b = p->board;
    const int us = p->sideToMove;
    if (moveWord(m) == 0 || m.score != b[m.from]) return false;
    if (b[m.to] && (b[m.to] & 1) == us) return false;
    if (b[m.to] > 11) return false;
    const int d = b[m.from] - us;
    const int step = us ? -8 : 8;
    const auto at = [b](int s) { return s >= 0 && s < 64 ? b[s] : 0; };
    const int df = std::abs(m.from % 8 - m.to % 8);
    const int dr = std::abs(m.from / 8 - m.to / 8);
    const auto clearLine = [&]
    {
        const int n = std::max(df, dr);
        const int move = (m.to / 8 - m.from / 8) / n * 8 + (m.to % 8 - m.from % 8) / n;
        for (int i = 1; i < n; ++i)
            if (b[m.from + move * i]) return false;
        return true;
    };
    const plyStruct& here = p->plies[0];
    if (d == PAWN)
    {
        if (m.kind == 13) return !b[m.to] && !at(m.from + step);
        if (m.kind >= 12)
        {
            const int e = here.enPassantSquare;
            return e && std::abs(e - m.from) == 1 && e / 8 == m.from / 8 &&
                   b[m.to] == 2 + (us ^ 1) && !at(m.to + step);
        }
        const int reach = std::abs(m.from - m.to);
        if (m.from < 8 || m.from > 55 || reach < 7 || reach > 9) return false;
        return m.to == m.from + step ? !b[m.to] : b[m.to] != 0;
    }
    if (m.kind >= 1 && m.kind <= 13) return false;
    switch (d)
    {
    case KNIGHT: return df * dr == 2;
    case BISHOP: return df == dr && df > 0 && clearLine();
    case ROOK: return (df == 0) != (dr == 0) && clearLine();
    case QUEEN: return (df == dr || df == 0 || dr == 0) && df + dr > 0 && clearLine();
    case KING:
    {
        if (m.kind == 0) return std::max(df, dr) == 1;
        if (here.inCheck) return false;
        const int rank = us ? 56 : 0;
        const bool kingSide = m.kind == 14;
        const int right = (kingSide ? 1 : 4) << us;
        if (!(here.castlingRights & right)) return false;
        for (const int file : kingSide ? std::vector<int>{5, 6} : std::vector<int>{1, 2, 3})
            if (b[rank + file]) return false;
        if (b[rank + (kingSide ? 7 : 0)] != 8 + us) return false;
        return !isSquareAttacked(static_cast<u8>(rank + (kingSide ? 5 : 3)),
                                 static_cast<u8>(us ^ 1), p);
    }
    default: return false;
    }
}

/// Whether a man of a colour attacks a square of a plain board.
bool modelAttacked(const u8* b, int square, int by)
{
    for (int s = 0; s < 64; ++s)
    {
        if (!b[s] || (b[s] & 1) != by || s == square) continue;
        const int df = square % 8 - s % 8;
        const int dr = square / 8 - s / 8;
        const int n = std::max(std::abs(df), std::abs(dr));
        const bool straight = df == 0 || dr == 0;
        const bool diagonal = std::abs(df) == std::abs(dr);
        const int type = b[s] & ~1;
        if (type == PAWN && std::abs(df) == 1 && dr == (by ? -1 : 1)) return true;
        if (type == KNIGHT && std::abs(df * dr) == 2) return true;
        if (type == KING && n == 1) return true;
        if (!((straight && (type == ROOK || type == QUEEN)) ||
              (diagonal && (type == BISHOP || type == QUEEN))))
            continue;
        int i = 1;
        while (i < n && !b[s + (dr / n * 8 + df / n) * i]) ++i;
        if (i == n) return true;
    }
    return false;
}

/// Whether a kind is one that such a man can be given, so that the move can be taken back.
bool modelKindFits(const u8* b, int us, moveStruct m)
{
    const int type = b[m.from] - us;
    const int home = us ? E8 : E1;
    if (type == PAWN)
        return m.kind == 0 || m.kind == 4 || m.kind == 6 || m.kind == 8 || m.kind == 10 ||
               m.kind == 12 || m.kind == 13;
    if (m.kind == 0) return true;
    return type == KING && m.from == home && m.to == (m.kind == 14 ? home + 2 : home - 2);
}

/// Plays a pseudo-legal move on a copy of the plain board and looks at the own king.
bool modelKingSafe(const positionStruct* p, moveStruct m)
{
    u8 b[64];
    std::memcpy(b, p->board, 64);
    const int us = p->sideToMove;
    const u8 mover = b[m.from];
    int landing = m.to;
    if (m.kind == 12)
    {
        b[m.to] = 0;
        landing += us ? -8 : 8;
    }
    else if (m.kind >= 14)
    {
        b[m.kind == 14 ? m.from + 3 : m.from - 4] = 0;
        b[m.kind == 14 ? m.to - 1 : m.to + 1] = static_cast<u8>(8 + us);
    }
    b[m.from] = 0;
    b[landing] = m.kind >= 4 && m.kind <= 10 ? static_cast<u8>(m.kind + us) : mover;
    const int king = static_cast<int>(std::find(b, b + 64, 12 + us) - b);
    return !modelAttacked(b, king, us ^ 1);
}

} // namespace

TEST(Legality, EveryWordIsAcceptedOrRefusedAsTheLooseTestsSay)
{
    int accepted = 0;
    for (const std::string& fen : manyPositions())
    {
        Board board(fen);
        const std::vector<moveStruct> legal = board.legalMoves();
        std::vector<u32> words;
        for (const moveStruct& move : legal) words.push_back(moveWord(move) & 0xffffff);
        std::sort(words.begin(), words.end());
        const auto before = std::make_unique<positionStruct>(*board.get());

        size_t found = 0;
        for (int from = 0; from < 64; ++from)
            for (int to = 0; to < 64; ++to)
                for (int kind = 0; kind < 16; ++kind)
                {
                    const moveStruct move = packMove(from, to, kind, board->board[from]);
                    const bool pseudo = isLegalMove(0, &move, board.get(), true);
                    ASSERT_EQ(pseudo, modelPseudo(board.get(), move)) << fen << ' ' << move;
                    const bool full = isLegalMove(0, &move, board.get(), false);
                    const bool generated =
                        std::binary_search(words.begin(), words.end(), moveWord(move) & 0xffffff);
                    ASSERT_EQ(full, pseudo &&
                                        modelKindFits(board->board, board->sideToMove, move) &&
                                        modelKingSafe(board.get(), move))
                        << fen << ' ' << move;
                    found += generated;
                    accepted += full;
                    ASSERT_TRUE(full || !generated) << fen << ' ' << move;
                    if (!full) continue;

                    // What is accepted can be played and taken back, and leaves the king safe.
                    const int us = board->sideToMove;
                    ASSERT_TRUE(pseudo) << fen << ' ' << move;
                    makeMove(1, &move, board.get(), false);
                    ASSERT_FALSE(isSquareAttacked(kingSquareOf(us, board.get()),
                                                  static_cast<u8>(us ^ 1), board.get()))
                        << fen << ' ' << move;
                    unmakeMove(1, &move, board.get());
                    ASSERT_EQ(std::memcmp(before->board, board->board, 64), 0)
                        << fen << ' ' << move;
                    ASSERT_EQ(std::memcmp(before->pieceBB, board->pieceBB, sizeof before->pieceBB),
                              0)
                        << fen << ' ' << move;
                }
        ASSERT_EQ(found, legal.size()) << fen;
    }
    EXPECT_GT(accepted, 5000);
}

TEST(Legality, BytesThatAreNoMoveAreRefused)
{
    Board board{std::string(fenStartPos)};
    for (const moveStruct move : {moveStruct{64, 3, 0, 0}, moveStruct{3, 200, 0, QUEEN},
                                  moveStruct{8, 16, 254, PAWN}, moveStruct{255, 255, 255, 255}})
        EXPECT_FALSE(isLegalMove(0, &move, board.get(), false)) << move;
}

TEST(Legality, AMoveFromAnEmptySquareIsRefused)
{
    Board board{std::string(fenStartPos)};
    const moveStruct move{sq("e4"), sq("e5"), 0, 0};
    EXPECT_FALSE(isLegalMove(0, &move, board.get(), false));
}

TEST(Legality, AMoveOntoTheKingIsRefused)
{
    Board board("4k3/8/8/8/8/8/8/K3R3 w - - 0 1");
    const moveStruct move{sq("e1"), sq("e8"), 0, ROOK};
    EXPECT_FALSE(isLegalMove(0, &move, board.get(), true));
}

TEST(Legality, CastlingNeedsTheRightOfItsWingAndItsRook)
{
    const moveStruct kingSide{E1, G1, KINDCASTLEKING, KING};
    Board otherWing("4k3/8/8/8/8/8/8/R3K2R w Q - 0 1");
    EXPECT_FALSE(isLegalMove(0, &kingSide, otherWing.get(), false));
    Board noRook("4k3/8/8/8/8/8/8/R3K3 w KQ - 0 1");
    EXPECT_FALSE(isLegalMove(0, &kingSide, noRook.get(), false));
    Board both("4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1");
    EXPECT_TRUE(isLegalMove(0, &kingSide, both.get(), false));
}

TEST(Legality, CastlingThroughAnAttackFailsTheFirstTestsAndIntoOneTheLast)
{
    const moveStruct kingSide{E1, G1, KINDCASTLEKING, KING};
    Board through("4k3/8/8/5r2/8/8/8/4K2R w K - 0 1");
    EXPECT_FALSE(isLegalMove(0, &kingSide, through.get(), true));
    Board into("4k3/8/8/6r1/8/8/8/4K2R w K - 0 1");
    EXPECT_TRUE(isLegalMove(0, &kingSide, into.get(), true));
    EXPECT_FALSE(isLegalMove(0, &kingSide, into.get(), false));
}

TEST(Legality, EnPassantNeedsAPawnThatHasJustDoublePushed)
{
    const moveStruct move{sq("e5"), sq("d5"), KINDENPASSANT, PAWN};
    Board now("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1");
    Board late("4k3/8/8/3pP3/8/8/8/4K3 w - - 0 1");
    EXPECT_TRUE(isLegalMove(0, &move, now.get(), false));
    EXPECT_FALSE(isLegalMove(0, &move, late.get(), false));
}

TEST(Legality, APinnedManMayMoveAlongThePinAndTakeThePinner)
{
    Board board("4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1");
    generateMovesCaptures(0, board.ply(0).moveListStart, board.get());
    EXPECT_FALSE(board.ply(0).notPinned & bit(sq("e2")));
    const auto exposes = [&board](const char* from, const char* to)
    {
        const moveStruct move{sq(from), sq(to), 0, 0};
        return inCheckAfterMove(0, &move, board.get());
    };
    EXPECT_FALSE(exposes("e2", "e7"));
    EXPECT_FALSE(exposes("e2", "e5"));
    EXPECT_TRUE(exposes("e2", "d2"));
}
