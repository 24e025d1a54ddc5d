// SPDX-License-Identifier: MIT
//
// Attack tables and masks against plain geometry, fills, and the keys of positions.

#include <algorithm>
#include <set>

#include "support.h"

namespace
{

/// What a slider attacks: each direction up to the first piece, or with `inner` without its last
/// square.
u64 slowSlider(int square, u64 occupied, bool diagonal, bool inner = false)
{
    const auto inside = [](int n) { return n >= 0 && n < 8; };
    u64 attacks = 0;
    for (int df = -1; df <= 1; ++df)
        for (int dr = -1; dr <= 1; ++dr)
        {
            if ((df == 0 && dr == 0) || (df != 0 && dr != 0) != diagonal) continue;
            for (int f = square % 8 + df, r = square / 8 + dr; inside(f) && inside(r);
                 f += df, r += dr)
            {
                if (!inner || (inside(f + df) && inside(r + dr))) attacks |= bit(8 * r + f);
                if (occupied & bit(8 * r + f)) break;
            }
        }
    return attacks;
}

} // namespace

TEST(MoveTable, MasksAreTheInnerSquaresOfTheRaysAndSlicesFillTheTables)
{
    const u64* slices[2] = {rookAttackTable, bishopAttackTable};
    for (int s = 0; s < 64; ++s)
        for (const int diagonal : {0, 1})
        {
            const magicStruct& entry = (diagonal ? bishopAttackLUT : rookAttackLUT)[s];
            const u64 mask = slowSlider(s, 0, diagonal, true);
            EXPECT_EQ(entry.mask, mask) << s;
            EXPECT_EQ(entry.shift, 64 - popcount(mask)) << s;
            EXPECT_EQ(popcount(entry.magic), 9) << s;
            EXPECT_EQ(entry.attacks, slices[diagonal]) << s;
            slices[diagonal] += 1 << popcount(mask);
        }
    EXPECT_EQ(slices[0], rookAttackTable + 102400);
    EXPECT_EQ(slices[1], bishopAttackTable + 5248);
    EXPECT_EQ(rookAttackLUT[sq("d4")].mask, squares("d2 d3 d5 d6 d7 b4 c4 e4 f4 g4"));
    EXPECT_EQ(bishopAttackLUT[H1].mask, squares("g2 f3 e4 d5 c6 b7"));
}

TEST(MoveTable, SlidersEqualTheSlowWalkWhateverMultipliersTheSearchFinds)
{
    for (const bool seeded : {false, true})
    {
        EXPECT_GT(searchMagics(seeded), 0) << seeded;
        for (const bool diagonal : {false, true})
            for (u8 s = 0; s < 64; ++s)
            {
                const magicStruct& entry = (diagonal ? bishopAttackLUT : rookAttackLUT)[s];
                std::vector<u64> cells(size_t{1} << popcount(entry.mask));
                u64 subset = 0;
                do {
                    const u64 walked = slowSlider(s, subset, diagonal);
                    ASSERT_EQ(diagonal ? getBishopAttackTable(s, subset)
                                       : getRookAttackTable(s, subset),
                              walked);
                    ASSERT_EQ(diagonal ? createBishopAttackFromVar(s, subset)
                                       : createRookAttackFromVar(s, subset),
                              walked);
                    // The multiplier itself, because a lookup need not use it. 0 is a free cell:
                    // every slider attacks something.
                    u64& cell = cells[(subset * entry.magic) >> entry.shift];
                    ASSERT_TRUE(cell == 0 || cell == walked) << int{s};
                    cell = walked;
                    subset = (subset - entry.mask) & entry.mask;
                } while (subset);
                EXPECT_EQ((diagonal ? bishopAttackAll : rookAttackAll)[s],
                          slowSlider(s, 0, diagonal));
            }
    }
    // Pieces outside the mask make no difference.
    EXPECT_EQ(getBishopAttackTable(sq("d4"), squares("e5 c3 a7 d8 e4")),
              squares("e5 c3 c5 b6 a7 e3 f2 g1"));
}

TEST(MoveTable, EveryTableFollowsItsGeometry)
{
    for (int a = 0; a < 64; ++a)
    {
        const int fa = a % 8;
        const int ra = a / 8;
        u64 knight = 0, king = 0, isolated = 0, enPassant = 0, file = 0, north = 0, south = 0;
        u64 pawn[2] = {}, ranks[2] = {}, passed[2] = {}, box[2] = {};
        const int cf = std::clamp(fa, 1, 6);
        for (int b = 0; b < 64; ++b)
        {
            const int df = b % 8 - fa;
            const int dr = b / 8 - ra;
            const int d = std::max(std::abs(df), std::abs(dr));
            EXPECT_EQ(distance[a][b], d);
            EXPECT_EQ(getDistanceSquares(static_cast<u8>(a), static_cast<u8>(b)), d);
            if (std::abs(df * dr) == 2) knight |= bit(b);
            if (d == 1) king |= bit(b);
            if (df == 0) file |= bit(b);
            if (df == 0 && dr >= 0) north |= bit(b);
            if (df == 0 && dr <= 0) south |= bit(b);
            if (std::abs(df) == 1) isolated |= bit(b);
            if (std::abs(df) == 1 && dr == 0 && (ra == 3 || ra == 4)) enPassant |= bit(b);
            if (std::abs(df) == 1 && dr == -1 && ra >= 2) pawn[0] |= bit(b);
            if (std::abs(df) == 1 && dr == 1 && ra <= 5) pawn[1] |= bit(b);
            if (dr >= 0) ranks[0] |= bit(b);
            if (dr <= 0) ranks[1] |= bit(b);
            if (std::abs(df) <= 1 && dr > 0 && ra > 0 && ra < 7) passed[0] |= bit(b);
            if (std::abs(df) <= 1 && dr < 0 && ra > 0 && ra < 7) passed[1] |= bit(b);
            if (std::abs(b % 8 - cf) <= 1 && dr >= -1 && dr <= 2) box[0] |= bit(b);
            if (std::abs(b % 8 - cf) <= 1 && dr >= -2 && dr <= 1) box[1] |= bit(b);

            const bool line = a != b && (df == 0 || dr == 0 || std::abs(df) == std::abs(dr));
            u64 between = 0, whole = 0;
            if (line)
                for (int c = 0; c < 64; ++c)
                {
                    const int ef = c % 8 - fa;
                    const int er = c / 8 - ra;
                    if (ef * dr != er * df) continue;
                    if (c == a || ef * df + er * dr != 0) whole |= bit(c);
                    if (ef * df + er * dr > 0 && std::max(std::abs(ef), std::abs(er)) < d)
                        between |= bit(c);
                }
            EXPECT_EQ(inBetweenSquares[a][b], between) << a << ' ' << b;
            EXPECT_EQ(inLineSquares[a][b], whole) << a << ' ' << b;
        }
        EXPECT_EQ(knightAttackTable[a], knight);
        EXPECT_EQ(kingAttackTable[a], king);
        EXPECT_EQ(isolatedPawns[a], isolated);
        EXPECT_EQ(enpassantTable[a], enPassant);
        EXPECT_EQ(files[fa], file);
        EXPECT_EQ(northFill(bit(a)), north);
        EXPECT_EQ(southFill(bit(a)), south);
        for (const int c : {0, 1})
        {
            EXPECT_EQ(pawnAttackTable[c][a], pawn[c]);
            EXPECT_EQ(ranksAtOrAbove[c][a], ranks[c]);
            EXPECT_EQ(passedPawnsMask[c][a], passed[c]);
            EXPECT_EQ(kingSafetyArea[c][a], box[c]) << c << ' ' << a;
        }
    }
    // A few by hand.
    EXPECT_EQ(passedPawnsMask[WHITE][sq("a7")], squares("a8 b8"));
    EXPECT_EQ(kingSafetyArea[WHITE][sq("a1")], squares("a1 b1 c1 a2 b2 c2 a3 b3 c3"));
    EXPECT_EQ(kingSafetyArea[BLACK][sq("e8")], squares("d8 e8 f8 d7 e7 f7 d6 e6 f6"));
    EXPECT_EQ(inBetweenSquares[sq("a1")][sq("h8")], squares("b2 c3 d4 e5 f6 g7"));
    EXPECT_EQ(inLineSquares[sq("b2")][sq("c3")], squares("a1 b2 c3 d4 e5 f6 g7 h8"));
    EXPECT_EQ(pawnAttackTable[WHITE][sq("b2")], 0U);
    EXPECT_EQ(pawnAttackTable[BLACK][sq("b1")], squares("a2 c2"));
    EXPECT_EQ(northFill(squares("a5 h8")), squares("a5 a6 a7 a8 h8"));
    EXPECT_EQ(southFill(squares("a5 h1")), squares("a5 a4 a3 a2 a1 h1"));
}

TEST(MoveTable, AMagicNumberHasTheBitsAskedFor)
{
    for (const int bits : {-3, 0, 1, 9, 40, 64})
        EXPECT_EQ(popcount(generateMagicNumber(bits)), std::max(bits, 0));
}

TEST(MoveTable, EveryKindOfPieceAttacksItsSquaresForItsColourOnly)
{
    // A piece on d4, with friendly pawns on d6 and f6 in the way.
    const std::pair<u8, const char*> cases[] = {
        {KNIGHT, "b3 b5 c2 c6 e2 e6 f3 f5"},
        {BISHOP, "a1 b2 c3 e5 f6 a7 b6 c5 e3 f2 g1"},
        {ROOK, "a4 b4 c4 e4 f4 g4 h4 d1 d2 d3 d5 d6"},
        {QUEEN, "a1 b2 c3 e5 f6 a7 b6 c5 e3 f2 g1 a4 b4 c4 e4 f4 g4 h4 d1 d2 d3 d5 d6"},
        {KING, "c3 c4 c5 d3 d5 e3 e4 e5"}};
    Board board("8/8/8/8/8/8/8/8 w - - 0 1");
    const auto attacked = [&board](u8 colour)
    {
        u64 set = 0;
        for (u8 s = 0; s < 64; ++s)
            if (isSquareAttacked(s, colour, board.get())) set |= bit(s);
        return set;
    };
    for (const u8 colour : {WHITE, BLACK})
        for (const auto& [type, hit] : cases)
        {
            initPosition(board.get());
            addPiece(static_cast<u8>(type + colour), sq("d4"), board.get());
            addPiece(static_cast<u8>(PAWN + colour), sq("d6"), board.get());
            addPiece(static_cast<u8>(PAWN + colour), sq("f6"), board.get());
            const u64 pawns = colour == WHITE ? squares("c7 e7 g7") : squares("c5 e5 g5");
            EXPECT_EQ(attacked(colour), squares(hit) | pawns) << int{type};
            EXPECT_EQ(attacked(colour ^ 1), 0U) << int{type};
        }
}


// Keys

TEST(HashKeys, TheNumbersDifferAndNoneIsZero)
{
    std::set<u64> numbers{0, hashCodeBlackToMove};
    for (int code = PAWN; code < NOFPIECECODES; ++code)
        numbers.insert(std::begin(hashCodePiece[code]), std::end(hashCodePiece[code]));
    numbers.insert(std::begin(hashCodeCastling), std::end(hashCodeCastling));
    numbers.insert(std::begin(hashCodeEnpassant), std::end(hashCodeEnpassant));
    EXPECT_EQ(numbers.size(), 1U + 12 * 64 + 16 + 8 + 1);
    EXPECT_EQ(hashCodePiece[PAWN][A1], 0xacfeaf947971818aU) << "the first of the list";
    EXPECT_EQ(hashCodeBlackToMove, 0xf31fa94fe63f529fU);
    EXPECT_EQ(hashCodePiece[0][5] | hashCodePiece[1][5], 0U);
}

TEST(HashKeys, AKeyIsItsNumbersAndNothingElse)
{
    const u64 kings = hashCodePiece[KING + WHITE][E1] ^ hashCodePiece[KING + BLACK][E8];
    const u64 pawn = hashCodePiece[PAWN + WHITE][sq("e4")];
    const u64 rooks = hashCodePiece[ROOK + WHITE][A1] ^ hashCodePiece[ROOK + BLACK][H8];
    const struct
    {
        const char* fen;
        u64 key, pawnKey;
    } cases[] = {
        {"4k3/8/8/8/4P3/8/8/4K3 w - -", kings ^ pawn ^ hashCodeCastling[0], kings ^ pawn},
        // The en passant square counts even if no pawn can capture.
        {"4k3/8/8/8/4P3/8/8/4K3 b - e3",
         kings ^ pawn ^ hashCodeCastling[0] ^ hashCodeEnpassant[4] ^ hashCodeBlackToMove,
         kings ^ pawn},
        // The set of rights has one number. Pieces are not in the pawn key.
        {"4k2r/8/8/8/8/8/8/R3K3 w Qk -", kings ^ rooks ^ hashCodeCastling[6], kings},
    };
    for (const auto& c : cases)
    {
        Board board(c.fen);
        EXPECT_EQ(board->hashKey, c.key) << c.fen;
        EXPECT_EQ(board->pawnHashKey, c.pawnKey) << c.fen;
        EXPECT_EQ(calcHashKey(0, board.get()), c.key) << c.fen;
        EXPECT_EQ(calcHashKeyPawn(0, board.get()), c.pawnKey) << c.fen;
    }
}

TEST(HashKeys, EveryDoublePushEntersItsFile)
{
    for (char file = 'a'; file <= 'h'; ++file)
    {
        Board board{std::string(fenStartPos)};
        const std::string from{file, '2'};
        const std::string to{file, '4'};
        const moveStruct push = board.move(from + to);
        const u64 key = board->hashKey ^ hashCodeBlackToMove ^ hashCodePiece[PAWN][sq(from)] ^
                        hashCodePiece[PAWN][sq(to)] ^ hashCodeEnpassant[file - 'a'];
        makeMove(1, &push, board.get(), true);
        EXPECT_EQ(board.ply(1).enPassantSquare, sq(to));
        EXPECT_EQ(board->hashKey, key) << file;
        EXPECT_EQ(calcHashKey(1, board.get()), key) << file;
    }
}
