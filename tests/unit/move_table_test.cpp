// SPDX-License-Identifier: MIT
//
// Attack tables and masks against plain geometry and that of the model, fills, and the keys of
// positions.

#include <algorithm>
#include <set>

#include "../oracle/model.h"
#include "support.h"

namespace
{

/// What a slider attacks, by the model's walk.
u64 walk(int square, u64 occupied, bool diagonal)
{
    return oracle::reach(diagonal ? oracle::bishop : oracle::rook, square, occupied);
}

} // namespace

TEST(MoveTable, MasksAreTheInnerSquaresOfTheRaysAndSlicesFillTheTables)
{
    const u64* slices[2] = {rookAttackTable, bishopAttackTable};
    for (int s = 0; s < 64; ++s)
        for (const int diagonal : {0, 1})
        {
            const magicStruct& entry = (diagonal ? bishopAttackLUT : rookAttackLUT)[s];
            u64 mask = 0;
            for (const int end : oracle::Squares(walk(s, 0, diagonal)))
                mask |= oracle::between(s, end);
            EXPECT_EQ(entry.mask, mask) << s;
            EXPECT_EQ(entry.shift, 64 - popcount(mask)) << s;
            EXPECT_EQ(popcount(entry.magic), 9) << s;
            EXPECT_EQ(entry.attacks, slices[diagonal]) << s;
            slices[diagonal] += 1 << popcount(mask);
        }
    EXPECT_EQ(slices[0], rookAttackTable + 102400);
    EXPECT_EQ(slices[1], bishopAttackTable + 5248);
}

TEST(MoveTable, SlidersEqualTheWalkOfTheModelWhateverMultipliersTheSearchFinds)
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
                    const u64 walked = walk(s, subset, diagonal);
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
                EXPECT_EQ((diagonal ? bishopAttackAll : rookAttackAll)[s], walk(s, 0, diagonal));
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
        u64 isolated = 0, enPassant = 0, file = 0, north = 0, south = 0;
        u64 pawn[2] = {}, ranks[2] = {}, passed[2] = {}, box[2] = {};
        const int cf = std::clamp(fa, 1, 6);
        for (int b = 0; b < 64; ++b)
        {
            const int df = b % 8 - fa;
            const int dr = b / 8 - ra;
            const int d = std::max(std::abs(df), std::abs(dr));
            EXPECT_EQ(distance[a][b], d);
            EXPECT_EQ(getDistanceSquares(static_cast<u8>(a), static_cast<u8>(b)), d);
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

            EXPECT_EQ(inBetweenSquares[a][b], oracle::between(a, b)) << a << ' ' << b;
            EXPECT_EQ(inLineSquares[a][b], oracle::lineFrom(a, b) | oracle::lineFrom(b, a));
        }
        EXPECT_EQ(knightAttackTable[a], oracle::reach(oracle::knight, a, 0));
        EXPECT_EQ(kingAttackTable[a], oracle::reach(oracle::king, a, 0));
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
    EXPECT_EQ(northFill(squares("a5 h8")), squares("a5 a6 a7 a8 h8"));
    EXPECT_EQ(southFill(squares("a5 h1")), squares("a5 a4 a3 a2 a1 h1"));
}

TEST(MoveTable, AMagicNumberHasTheBitsAskedFor)
{
    for (const int bits : {-3, 0, 1, 9, 40, 64})
        EXPECT_EQ(popcount(generateMagicNumber(bits)), std::max(bits, 0));
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
