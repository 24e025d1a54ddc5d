// SPDX-License-Identifier: MIT
//
// Set-up of a position from a FEN.

#include "support.h"

namespace
{

constexpr const char* kings = "4k3/8/8/8/8/8/8/4K3";
constexpr const char* rooks = "r3k2r/8/8/8/8/8/8/R3K2R";
constexpr const char* passing = "4k3/8/8/8/4P3/8/8/4K3";

/// A FEN in two parts, placement and other fields, and what the other fields give.
struct setUp
{
    const char *placement, *fields;
    int side, rights, enPassant, clock, keyIndex;
};

/// Sets up a fresh record from each row, and one record from all rows in turn.
template <size_t count>
void expectSetUps(void (*set)(std::string, positionStruct*), const setUp (&rows)[count])
{
    Board used{std::string(fenStartPos)};
    for (const setUp& row : rows)
    {
        const std::string fen = std::string(row.placement) + row.fields;
        Board fresh("8/8/8/8/8/8/8/8 w");
        for (positionStruct* const position : {fresh.get(), used.get()})
        {
            set(fen, position);
            const plyStruct& root = position->plies[0];
            EXPECT_EQ(position->sideToMove, row.side) << fen;
            EXPECT_EQ(root.castlingRights, row.rights) << fen;
            EXPECT_EQ(root.enPassantSquare, row.enPassant) << fen;
            EXPECT_EQ(position->halfMoveClock, row.clock) << fen;
            EXPECT_EQ(position->keyIndex, row.keyIndex) << fen;
            EXPECT_EQ(position->keyHistory[position->keyIndex - 1], position->hashKey) << fen;
            EXPECT_EQ(inconsistency(position, 0), "") << fen;
        }
        EXPECT_EQ(used->hashKey, fresh->hashKey) << fen << ": nothing is left over";
    }
}

} // namespace

TEST(GeneralSetUp, EveryFieldOfAFenIsRead)
{
    expectSetUps(
        setPosition,
        {{"rnbqkbnr/ppp1pppp/8/8/3pP3/8/PPPP1PPP/RNBQKBNR", " b KQkq e3 37 3", 1, 15, 28, 37, 74},
         // Missing fields, a trailing space, two spaces in a row.
         {kings, " w", 0, 0, 0, 0, 1},
         {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR", " w KQkq - 0 1", 0, 15, 0, 0, 1},
         {kings, " w - - 3 9", 0, 0, 0, 3, 5},
         {kings, " w - - 3 9 ", 0, 0, 0, 3, 5},
         {kings, " w - - ", 0, 0, 0, 0, 1},
         {rooks, " w  - 5", 0, 0, 0, 5, 9},
         // Any side but "w" is black.
         {kings, " x", 1, 0, 0, 0, 1},
         {kings, " white", 0, 0, 0, 0, 1},
         // Twice the half-move clock gives keyIndex, up to 512; the move number is not used. Only
         // the low 16 bits of the clock are kept.
         {passing, " b - e3 3 1", 1, 0, 28, 3, 6},
         {passing, " b - e3 3 40", 1, 0, 28, 3, 6},
         {passing, " b - e3 3 999", 1, 0, 28, 3, 6},
         {kings, " w - - 300 200", 0, 0, 0, 300, 513},
         {kings, " w - - 65539 1", 0, 0, 0, 3, 513},
         {kings, " w - - 40000 1", 0, 0, 0, 40000 - 65536, 513},
         {kings, " w - - -65536 1", 0, 0, 0, 0, 1},
         // Any order of the rights; other letters are ignored.
         {rooks, " w KQkq - 0 1", 0, 15, 0, 0, 1},
         {rooks, " w qkQK - 0 1", 0, 15, 0, 0, 1},
         {rooks, " w Kq - 0 1", 0, 9, 0, 0, 1},
         {rooks, " w xyz - 0 1", 0, 0, 0, 0, 1},
         {rooks, " w QxK - 0 1", 0, 5, 0, 0, 1},
         // Any en passant text becomes a square by 8-bit arithmetic: 8 * (second character + 14, or
         // 16 for black) + first character - 'a'.
         {kings, " w - d6 0 1", 0, 0, 35, 0, 1},
         {kings, " w - e9 0 1", 0, 0, 60, 0, 1},
         {kings, " b - a4 0 1", 1, 0, 32, 0, 1},
         {kings, " w - zz 0 1", 0, 0, (136 * 8 + 25) % 256, 0, 1},
         {kings, " b - D6 0 1", 1, 0, (70 * 8 + 68 - 97) % 256, 0, 1}});
}

TEST(GeneralSetUp, TheTwinOfSetPositionSplitsOnWhiteSpaceAndTakesKeyIndexFromTheMoveNumber)
{
    expectSetUps(setPositionG,
                 {{"r3k2r/8/8/8/3pP3/8/8/R3K2R", " \t b   Kq \n e3   7    3", 1, 9, 28, 7, 6},
                  {passing, "  b - e3 3 40", 1, 0, 28, 3, 80},
                  {kings, " w - - x 1", 0, 0, 0, 0, 1},
                  {kings, " b", 1, 0, 0, 0, 1},
                  {kings, " w - - 0 300", 0, 0, 0, 0, 513}});
}

TEST(GeneralSetUp, EveryLetterHasItsCodeAndAnyOtherCharacterIs255AndABlackPiece)
{
    const std::string signs = "PpNnBbRrQqKk90X";
    for (size_t i = 0; i < signs.size(); ++i)
    {
        const int code = i < 12 ? static_cast<int>(i) + 2 : 255;
        Board board(std::string("8/8/8/8/4") + signs[i] + "2P/8/8/8 w - - 0 1");
        EXPECT_EQ(board->board[sq("e4")], code) << signs[i];
        EXPECT_EQ(board->board[sq("h4")], PAWN) << signs[i] << " takes one square";
        EXPECT_EQ(board->pieceBB[code & 1] & ~squares("h4"), squares("e4")) << signs[i];
        EXPECT_EQ(board->pieceBB[(code & 1) ^ 1] & ~squares("h4"), 0U) << signs[i];
        if (code == 255) continue;
        EXPECT_EQ(board->pieceBB[code] & ~squares("h4"), squares("e4")) << signs[i];
    }
}

TEST(GeneralSetUp, AnEnPassantSquareCountsForAPawnThatHasJustPassedAnEmptySquare)
{
    for (const auto& [fen, square] : {std::pair("4k3/8/8/8/4P3/5N2/8/4K3 b - e3 0 1", "e4"),
                                      {"4k3/8/8/8/4P3/4N3/8/4K3 b - e3 0 1", "a1"},
                                      {"4k3/8/5n2/4p3/8/8/8/4K3 w - e6 0 1", "e5"},
                                      {"4k3/8/4n3/4p3/8/8/8/4K3 w - e6 0 1", "a1"},
                                      {"4k3/8/8/4P3/8/8/8/4K3 w - e6 0 1", "a1"}})
    {
        Board board(fen);
        ASSERT_TRUE(makePlayable(board.get()));
        EXPECT_EQ(board.ply(0).enPassantSquare, sq(square)) << fen; // a1 is none
        EXPECT_EQ(board->keyHistory[board->keyIndex - 1], board->hashKey) << fen;
        EXPECT_EQ(inconsistency(board.get(), 0), "");
    }
}
