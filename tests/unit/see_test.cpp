// SPDX-License-Identifier: MIT
//
// The oddities of the static exchange evaluation (SEE), which model_test.cpp compares with the
// model, and the scores that it changes.

#include "support.h"

namespace
{

/// Sets the list of ply 0 to these moves and lets a function update their scores from a slot on.
/// Returns all scores.
template <typename Update>
std::string scoresAfter(Board& board, const std::vector<moveStruct>& moves, Update update,
                        int firstSlot = 0)
{
    plyStruct& here = board.ply(0);
    here.moveListEnd = std::copy(moves.begin(), moves.end(), here.moveListStart);
    update(0, here.moveListStart + firstSlot, board.get());
    std::string scores;
    for (const moveStruct& move : board.list()) scores += std::to_string(move.score) + ' ';
    return scores;
}

} // namespace

// The limits of the x-ray table are deliberate.
TEST(SearchSee, SeeXrayTable)
{
    // Two rooks on a file both count: black's second rook captures last.
    Board doubled("3r1k2/3r4/8/3p4/8/8/3R4/3R1K2 w - - 0 1");
    EXPECT_FALSE(see(doubled.move("d2d5"), 0, doubled.get()));
    Board single("3r1k2/8/8/3p4/8/8/3R4/3R1K2 w - - 0 1");
    EXPECT_TRUE(see(single.move("d2d5"), 0, single.get()));

    // A rook behind a queen on a file does not: queen takes pawn, queen takes queen, rook takes
    // queen, and black's rook on d8, which could capture once more, is not counted.
    Board queenAndRook("3r3k/3q4/8/Q2p4/8/8/8/3R2K1 w - - 0 1");
    EXPECT_TRUE(see(queenAndRook.move("a5d5"), 0, queenAndRook.get()));

    // Nor does a slider behind a piece of the other colour: knight takes pawn, rook takes knight,
    // and white's rook on d8, behind the black one, could recapture.
    Board otherColour("3R4/3r4/7k/3p4/8/2N5/8/6K1 w - - 0 1");
    EXPECT_FALSE(see(otherColour.move("c3d5"), 0, otherColour.get()));
}

// Which side captures first is deliberate.
TEST(SearchSee, SeeAfterSide)
{
    // A queen gives check where a pawn attacks it and no friendly piece defends it: true.
    Board queen("4k3/8/5p2/8/8/8/8/K3Q3 w - - 0 1");
    const moveStruct check = queen.move("e1e5");
    makeMove(1, &check, queen.get(), true);
    EXPECT_TRUE(seeAfter(check, 0, queen.get(), 0));

    // A knight gives check, protected by a friendly pawn: -340 + 87 < 0, false.
    Board knight("4k3/8/8/8/4P3/2N5/8/4K3 w - - 0 1");
    const moveStruct jump = knight.move("c3d5");
    makeMove(1, &jump, knight.get(), true);
    EXPECT_FALSE(seeAfter(jump, 0, knight.get(), 0));
}

TEST(SearchSee, TheScoresOfBadCapturesAreRaisedBy100TheKingsToo)
{
    // Pawn takes knight wins; queen and king take pawns that a pawn defends.
    Board board("7k/1p1p4/2p1p3/1n2K3/P7/2Q5/8/8 w - - 0 1");
    const moveStruct pawn{sq("a4"), sq("b5"), 0, 38};
    const moveStruct king{sq("e5"), sq("e6"), 0, 12};
    const auto queen = [](u8 score) { return moveStruct{sq("c3"), sq("c6"), 0, score}; };
    EXPECT_EQ(scoresAfter(board, {pawn, queen(14), king}, updateSeeScore), "38 114 112 ");
    EXPECT_EQ(scoresAfter(board, {queen(14), queen(200)}, updateSeeScore, 1), "14 44 ")
        << "from a later slot on; the byte wraps around";
    EXPECT_EQ(scoresAfter(board, {queen(250)}, updateSeeScore), "94 ")
        << "250 is no exception here";
}

TEST(SearchSee, TheScoresOfBadEvasionsAreLoweredBy100ExceptTheKingsAnd250)
{
    // The rook on g8 attacks g1.
    Board board("6rk/8/8/8/8/8/8/R3K2R w KQ - 0 1");
    const auto rook = [](u8 score, u8 kind = KINDPLAIN) {
        return moveStruct{sq("h1"), sq("g1"), kind, score};
    };
    const moveStruct king{sq("e1"), sq("g1"), 0, 202};
    const moveStruct safe{sq("a1"), sq("a2"), 0, 204};
    EXPECT_EQ(scoresAfter(board, {rook(250), rook(204), king, safe}, updateSeeScoreEvade),
              "250 104 202 204 ");
    EXPECT_EQ(scoresAfter(board, {rook(204), rook(204)}, updateSeeScoreEvade, 1), "204 104 ");
    // Both functions skip en passant and castling; 60 less 100 wraps around.
    const moveStruct castling{sq("e1"), sq("g1"), KINDCASTLEKING, 60};
    const std::vector<moveStruct> list{castling, rook(60), rook(60, KINDENPASSANT)};
    EXPECT_EQ(scoresAfter(board, list, updateSeeScore), "60 160 60 ");
    EXPECT_EQ(scoresAfter(board, list, updateSeeScoreEvade), "60 216 60 ");
}
