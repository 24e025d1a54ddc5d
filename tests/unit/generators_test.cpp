// SPDX-License-Identifier: MIT
//
// The moves that each generator lists, with their order and scores, derived by hand; perft.

#include "support.h"

namespace
{

using generator = void (*)(int, moveStruct*, positionStruct*);

/// The list of a ply, each move with its score.
std::string scored(Board& board, int ply)
{
    std::string text;
    for (const moveStruct* move = board.ply(ply).moveListStart; move < board.ply(ply).moveListEnd;
         ++move)
        text += moveToLA(move, board->sideToMove) + ':' + std::to_string(move->score) + ' ';
    return text;
}

} // namespace

TEST(MoveGenerators, CapturesAndEvasionsComeInTheirOrderWithTheirScores)
{
    const generator captures = generateMovesCaptures;
    const generator quiescence = generateMovesQuiescence;
    const std::string white = "k3n1r1/5P2/8/3p1p2/4P3/8/8/4K3 w - - 0 1";
    const std::string black = "4k3/8/8/4p3/3P1P2/8/5p2/K3N1R1 b - - 0 1";
    const std::string promoting = "1n2k3/P7/8/8/8/8/8/4K3 w - - 0 1";
    const std::string passing = "7k/8/4K3/3pP3/8/1B6/8/8 w - d6 0 1";
    const struct
    {
        generator generate;
        std::string fen;
        const char* list;
    } cases[] = {
        // Each type of piece takes the rook: 8 times its code 9, less 2, 4, 6, 8, 10 and 12.
        {captures, "8/7k/2K5/Q2r4/4P3/1BN5/8/3R4 w - - 0 1",
         "e4d5:70 c3d5:68 b3d5:66 d1d5:64 a5d5:62 c6d5:60 "},
        // Pawns by direction, promotions first. In quiescence only to a queen, and pushes last.
        {captures, white,
         "f7g8q:58 f7g8r:58 f7g8b:58 f7g8n:58 e4f5:22 f7e8q:26 f7e8r:26 f7e8b:26 f7e8n:26 "
         "e4d5:22 "},
        {quiescence, white, "f7g8q:58 e4f5:22 f7e8q:26 e4d5:22 f7f8q:1 "},
        {captures, black,
         "f2e1q:18 f2e1r:18 f2e1b:18 f2e1n:18 e5d4:14 f2g1q:50 f2g1r:50 f2g1b:50 f2g1n:50 "
         "e5f4:14 "},
        {captures, promoting, "a7b8q:26 a7b8r:26 a7b8b:26 a7b8n:26 "},
        {quiescence, promoting, "a7b8q:26 a7a8q:1 "},
        // Pawn captures do not wrap around the edge.
        {captures, "4k3/8/p7/P6p/7P/8/8/4K3 w - - 0 1", ""},
        {captures, "4k3/8/p7/P6p/7P/8/8/4K3 b - - 0 1", ""},
        // En passant comes before the king's captures, in quiescence after them.
        {captures, passing, "b3d5:18 e5d6:14 e6d5:12 "},
        {quiescence, passing, "b3d5:18 e6d5:12 e5d6:14 "},
        {captures, "4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1", "d4e3:14 "},
        // A pinned rook is listed, a pinned knight is not.
        {captures, "4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1", "e2e7:64 "},
        {captures, "4k3/4r3/8/8/5p2/8/4N3/4K3 w - - 0 1", ""},
        {quiescence, "4r2k/8/5p2/8/4N3/8/8/4K3 w - - 0 1", ""},

        // In check: every kind of piece takes the rook or blocks.
        {captures, "4B1k1/Q7/8/8/r6K/1P6/1NP5/R2R4 w - - 0 1",
         "h4g3:202 h4h3:202 h4g5:202 h4h5:202 b3a4:250 b3b4:210 c2c4:210 "
         "b2a4:236 b2c4:206 e8a4:235 a1a4:234 d1d4:204 a7a4:233 a7d4:203 "},
        {captures, "r6K/1P1P4/8/8/8/8/8/k7 w - - 0 1",
         "h8g7:202 h8h7:202 b7a8q:250 b7a8r:250 b7a8b:250 b7a8n:250 "
         "b7b8q:210 b7b8r:210 b7b8b:210 b7b8n:210 d7d8q:210 d7d8r:210 d7d8b:210 d7d8n:210 "},
        {quiescence, "4r2k/8/3p4/R7/8/8/8/4K3 w - - 0 1",
         "e1d1:202 e1f1:202 e1d2:202 e1f2:202 a5e5:204 "},
        // A pawn (code 3) has given check on d5: the king and two pawns en passant can take it.
        {captures, "7k/8/8/2PpP3/4K3/8/8/8 w - d6 0 1",
         "e4d3:202 e4e3:202 e4f3:202 e4d4:202 e4f4:202 e4d5:224 e4f5:202 c5d6:250 e5d6:250 "},
        // A capture by the king: 220, the code of the victim, and 1 if that gives the only check.
        {captures, "K7/8/8/8/8/8/8/5Rk1 b - - 0 1", "g1f1:229 g1g2:202 g1h2:202 "},
        {captures, "K7/8/8/8/8/8/4N3/5Rk1 b - - 0 1", "g1f1:228 g1g2:202 g1h2:202 "},
        {captures, "K7/8/8/8/8/8/6N1/R5k1 b - - 0 1", "g1f2:202 g1g2:224 g1h2:202 "},
        // In double check only the king moves; the queen could take the rook.
        {captures, "7k/8/8/7Q/1b6/8/4r3/4K3 w - - 0 1", "e1d1:202 e1f1:202 e1e2:229 "},
        // Pinned pieces have no evasion: rook, knight, and a pawn that could take the checker.
        {captures, "4r2k/8/8/8/1b6/8/4R3/4K3 w - - 0 1", "e1d1:202 e1f1:202 e1f2:202 "},
        {captures, "3r3k/8/8/7b/8/5N2/8/3K4 w - - 0 1", "d1c1:202 d1e1:202 d1c2:202 d1e2:202 "},
        {captures, "7k/8/8/8/b7/3q4/2P5/3K4 w - - 0 1", "d1c1:202 d1e1:202 "},
        // The ray goes on through the king. A checker on a1 is not the en passant square 0.
        {captures, "7k/8/8/8/8/8/1P6/r3K3 w - - 0 1", "e1d2:202 e1e2:202 e1f2:202 "},
        // Mates.
        {captures, "R3k3/8/4K3/8/8/8/8/8 b - - 0 1", ""},
        {quiescence, "4k3/8/8/8/8/8/5PPP/3r2K1 w - - 0 1", ""},
        {generateMovesLegal, "r1bqkb1r/pppp1Qpp/2n2n2/4p3/2B1P3/8/PPPP1PPP/RNB1K1NR b KQkq - 0 4",
         ""},
    };
    for (const auto& c : cases)
    {
        Board board(c.fen);
        plyStruct& here = board.ply(0);
        here.moveListStart->score = 77;
        here.pickerStage = 7;
        c.generate(0, here.moveListStart, board.get());
        EXPECT_EQ(scored(board, 0), c.list) << c.fen;
        EXPECT_EQ(board.ply(1).moveListStart, here.moveListEnd) << c.fen;
        // Evasions are a node's last stage; quiescence has no stages.
        EXPECT_EQ(here.pickerStage, here.inCheck && c.generate != quiescence ? 99 : 7) << c.fen;
        if (*c.list) continue;
        EXPECT_EQ(here.moveListStart->score, c.generate == quiescence ? 77 : 0)
            << c.fen << ": the first slot's score";
    }
}

TEST(MoveGenerators, QuietMovesAndLegalMovesComeInTheirOrder)
{
    const generator quiets = generateMovesQuiets;
    const generator legal = generateMovesLegal;
    const generator checks = generateSimpleChecks;
    const char* const pinnedRook = "4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1";
    const struct
    {
        generator generate;
        const char *fen, *list;
    } cases[] = {
        // Promotions, pushes, double pushes, castling, then the pieces, the king last.
        {quiets, "4k3/P7/8/8/8/8/1P6/R3K2R w KQ - 0 1",
         "a7a8q a7a8r a7a8b a7a8n b2b3 b2b4 e1g1 e1c1 "
         "a1b1 a1c1 a1d1 a1a2 a1a3 a1a4 a1a5 a1a6 "
         "h1f1 h1g1 h1h2 h1h3 h1h4 h1h5 h1h6 h1h7 h1h8 e1d1 e1f1 e1d2 e1e2 e1f2"},
        {quiets, "7k/8/8/8/p6p/P5pP/6P1/RK2N1BQ w - - 0 1",
         "e1c2 e1d3 e1f3 g1f2 g1h2 g1e3 g1d4 g1c5 g1b6 g1a7 a1a2 h1h2 b1c1 b1a2 b1b2 b1c2"},
        // A pinned rook is listed on and off its line, a pinned knight never.
        {quiets, pinnedRook,
         "e2a2 e2b2 e2c2 e2d2 e2f2 e2g2 e2h2 e2e3 e2e4 e2e5 e2e6 e1d1 e1f1 e1d2 e1f2"},
        {quiets, "4k3/4r3/8/8/5p2/8/4N3/4K3 w - - 0 1", "e1d1 e1f1 e1d2 e1f2"},
        // The last move of the list replaces an illegal one.
        {legal, pinnedRook, "e2e7 e1f2 e1d2 e1f1 e1d1 e2e6 e2e5 e2e4 e2e3"},
        // A promotion to queen or knight may check, also through the square that the pawn leaves.
        {checks, "8/3P4/8/8/8/8/3k4/7K w - - 0 1", "d7d8q"},
        {checks, "8/3P4/4k3/8/8/8/8/7K w - - 0 1", "d7d8n"},
        {checks, "k7/8/8/8/8/8/p7/7K b - - 0 1", "a2a1q"},
        {checks, "8/8/8/3k4/8/4P3/2P5/7K w - - 0 1", "e3e4 c2c4"},
        {checks, "4k3/4p3/8/8/3K4/8/8/8 b - - 0 1", "e7e5"},
        {checks, "7k/8/8/8/8/8/8/K4R2 w - - 0 1", "f1h1 f1f8"},
        {checks, "4k3/8/8/8/8/8/8/K7 w - - 0 1", ""},
    };
    for (const auto& c : cases)
    {
        Board board(c.fen);
        moveStruct* const start = board.ply(0).moveListStart;
        generateMovesCaptures(0, start, board.get()); // computes pins
        for (int i = 0; i < 100; ++i) start[i] = {1, 2, 3, 77};
        c.generate(0, start, board.get());
        EXPECT_EQ(board.texts(board.list()), c.list) << c.fen;
        EXPECT_EQ(board.ply(1).moveListStart, board.ply(0).moveListEnd) << c.fen;
        if (c.generate == legal) continue;
        EXPECT_EQ(start->score, c.generate == checks ? 255 : 0) << c.fen;
        if (c.generate == quiets)
            for (const moveStruct& move : board.list()) EXPECT_EQ(move.score, 0) << c.fen;
        else
            for (int i = 1; i < 100; ++i) EXPECT_EQ(start[i].score, 77) << c.fen;
    }
}

TEST(MoveGenerators, RecapturesCaptureOnThePreviousTargetSquareOnly)
{
    const struct
    {
        const char *fen, *square, *list;
    } cases[] = {
        {"4k3/2p1p3/3P4/8/8/8/8/4K3 b - - 0 1", "d6", "e7d6:14 c7d6:14 "},
        // After an en passant capture the square is empty.
        {"4k3/2p1p3/3P4/8/8/8/8/4K3 b - - 0 1", "d5", ""},
        // Promotions only to a queen, and only by captures.
        {"r3k3/1P4P1/8/8/8/8/8/R3K3 w - - 0 1", "a8", "b7a8q:58 a1a8:64 "},
        // No en passant: only pieces take a pawn that has double-pushed.
        {"4k3/8/8/3pP3/8/2N5/8/4K3 w - d6 0 1", "d5", "c3d5:20 "},
        // Pins are not computed, so a pinned knight is listed.
        {"4r2k/8/5p2/8/4N3/8/8/4K3 w - - 0 1", "f6", "e4f6:20 "},
        // In check pins are computed and all evasions are listed.
        {"4r2k/8/8/8/1b6/8/4R3/4K3 w - - 0 1", "b4", "e1d1:202 e1f1:202 e1f2:202 "},
    };
    for (const auto& c : cases)
    {
        Board board(c.fen);
        board.ply(0).currentMove = {0, sq(c.square), 0, 0};
        board.ply(1) = board.ply(0);
        board.ply(1).notPinned = 0x123;
        generateMovesRecapture(1, board.ply(1).moveListStart, board.get());
        EXPECT_EQ(scored(board, 1), c.list) << c.fen;
        EXPECT_EQ(board.ply(1).notPinned, board.ply(1).inCheck ? ~squares("e2") : 0x123) << c.fen;
    }
}


// Perft

TEST(Perft, CountsKnownPositionsAndOneNodeForADepthOfZeroOrLess)
{
    const std::pair<std::string, std::vector<u64>> cases[] = {
        {std::string(fenStartPos), {1, 20, 400, 8902, 197281}},
        {"R3k3/8/4K3/8/8/8/8/8 b - - 0 1", {1, 0, 0, 0, 0, 0}}, // mate
        {"7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", {1, 0, 0, 0, 0, 0}}, // stalemate
    };
    for (const auto& [fen, counts] : cases)
    {
        Board board(fen);
        for (int depth = 0; depth < static_cast<int>(counts.size()); ++depth)
            EXPECT_EQ(perft(0, depth, board.get()), counts[static_cast<size_t>(depth)]) << fen;
        EXPECT_EQ(perft(0, -5, board.get()), 1U);
    }
}
