// SPDX-License-Identifier: MIT
//
// Plays fast games of the engine against itself and prints their quiet positions with the result
// of the game, in the form that `texel` reads:
//
//   rnbqkbnr/pppp1ppp/8/4p3/8/2N5/PPPPPPPP/R1BQKBNR w KQkq - c9 "1/2-1/2";
//
// A position is quiet when the side to move isn't in check, quiescence finds nothing better than
// the static score, and the move played is neither a capture nor a promotion. Each position is
// printed once.
//
// Usage: quillon_selfplay [positions, default 10000] [depth, default 4] [seed] > quiet-labeled.epd

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "eval.h"
#include "general.h"
#include "hash.h"
#include "move.h"
#include "moveTable.h"
#include "search.h"
#include "uci.h"

namespace
{

constexpr int RANDOMPLIES = 8;     // at the start of a game, so that no two games are alike
constexpr int LONGESTGAME = 300;   // plies; a longer game is a draw
constexpr int DECIDEDSCORE = 1000; // a game is won once both sides have seen this score ...
constexpr int DECIDEDPLIES = 6;    // ... for this many plies
constexpr int KEEPONEOF = 3;       // quiet positions, since neighbours are alike

/// A searcher on this thread.
class searcher : public worker
{
  public:
    searcher() : worker(0) {}

    using worker::position;

    std::vector<moveStruct> legalMoves()
    {
        setPosition(GPS);
        plyStruct& root = position->plies[0];
        generateMovesLegal(0, root.moveListStart, position);
        return {root.moveListStart, root.moveListEnd};
    }

    /// The score for the side to move; the best move is left in plies[0].
    int search(int depth)
    {
        setPosition(GPS);
        int score = 0;
        for (int d = 1; d <= depth; ++d)
            score = alfabeta(0, d, -SCOREINFINITE, SCOREINFINITE, position, 2);
        return score;
    }

    bool isQuiet(moveStruct best)
    {
        if (position->plies[0].inCheck || position->board[best.to] || best.kind != KINDPLAIN)
            return false;
        setPosition(GPS);
        return quiescence(0, 0, -SCOREINFINITE, SCOREINFINITE, position) == evaluateN(0, position);
    }
};

/// The first four fields of a FEN of GPS: board, side, rights and en passant square.
std::string fenOfGame()
{
    std::string fen;
    for (int rank = 7; rank >= 0; --rank)
    {
        for (int file = 0; file < 8; ++file)
        {
            const u8 code = GPS->board[rank * 8 + file];
            if (code != NOPIECE)
                fen += fenLabelPieces[code];
            else if (file > 0 && GPS->board[rank * 8 + file - 1] == NOPIECE)
                ++fen.back(); // one more empty square
            else
                fen += '1';
        }
        fen += rank ? '/' : ' ';
    }
    fen += GPS->sideToMove == WHITE ? "w " : "b ";

    const u8 rights = GPS->plies[0].castlingRights;
    if (rights & WHITEKINGSIDE) fen += 'K';
    if (rights & WHITEQUEENSIDE) fen += 'Q';
    if (rights & BLACKKINGSIDE) fen += 'k';
    if (rights & BLACKQUEENSIDE) fen += 'q';
    if (rights == 0) fen += '-';

    const u8 pawn = GPS->plies[0].enPassantSquare;
    if (pawn == 0) return fen + " -";
    return fen + ' ' + squareToLA(narrow<u8>(enPassantLanding(pawn, GPS->sideToMove)));
}

void play(moveStruct move)
{
    UCIprocesMove(moveToLA(&move, GPS->sideToMove));
    GPS->hashKey = calcHashKey(0, GPS);
    GPS->plies[0].inCheck = isSideInCheck(GPS);
}

/// Plays a game that starts with random moves. Adds its quiet positions to `fens` and returns the
/// result as the file spells it.
// cppcheck-suppress constParameter ; each draw changes the generator
const char* playGame(searcher& player, int depth, std::mt19937& random,
                     std::vector<std::string>& fens)
{
    constexpr const char* won[2] = {"1-0", "0-1"};
    constexpr const char* drawn = "1/2-1/2";
    setPosition(std::string(fenStartPos), GPS);
    clearHashTable();

    std::vector<u64> keys;
    int decided[2] = {};
    for (int ply = 0; ply < LONGESTGAME; ++ply)
    {
        const std::vector<moveStruct> moves = player.legalMoves();
        const u8 us = GPS->sideToMove;
        if (moves.empty()) return GPS->plies[0].inCheck ? won[us ^ 1] : drawn;
        if (GPS->halfMoveClock >= 100) return drawn;
        if (std::count(keys.begin(), keys.end(), GPS->hashKey) >= 2) return drawn;
        keys.push_back(GPS->hashKey);

        if (ply < RANDOMPLIES)
        {
            play(moves[random() % moves.size()]);
            continue;
        }
        const int score = player.search(depth);
        moveStruct best = player.position->plies[0].bestMove;
        if (moveWord(best) == 0) best = moves[random() % moves.size()];

        const int whiteScore = us == WHITE ? score : -score;
        decided[WHITE] = whiteScore > DECIDEDSCORE ? decided[WHITE] + 1 : 0;
        decided[BLACK] = whiteScore < -DECIDEDSCORE ? decided[BLACK] + 1 : 0;
        for (const int colour : {WHITE, BLACK})
            if (decided[colour] >= DECIDEDPLIES) return won[colour];

        if (std::abs(score) < SCOREMATELIMIT && random() % KEEPONEOF == 0 && player.isQuiet(best))
            fens.push_back(fenOfGame());
        play(best);
    }
    return drawn;
}

} // namespace

int main(int argc, char** argv)
{
    const long wanted = argc > 1 ? std::atol(argv[1]) : 10000;
    const int depth = argc > 2 ? std::atoi(argv[2]) : 4;
    const unsigned seed = argc > 3 ? static_cast<unsigned>(std::atol(argv[3])) : 1;
    if (wanted < 1 || depth < 1 || depth > 30)
    {
        std::fputs("usage: quillon_selfplay [positions] [depth 1 to 30] [seed]\n", stderr);
        return 2;
    }

    engine.hashSizeMB = 1;
    initBitboardConstants();
    initHashCodeTables();
    engine.infinite = true; // no clock

    const auto player = std::make_unique<searcher>();
    std::mt19937 random(seed);
    std::unordered_set<std::string> seen;
    while (static_cast<long>(seen.size()) < wanted)
    {
        std::vector<std::string> fens;
        const std::string result = playGame(*player, depth, random, fens);
        for (const std::string& fen : fens)
            if (static_cast<long>(seen.size()) < wanted && seen.insert(fen).second)
                std::printf("%s c9 \"%s\";\n", fen.c_str(), result.c_str());
    }
    destroyHashTable();
    return 0;
}
