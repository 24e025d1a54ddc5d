// SPDX-License-Identifier: MIT
//
// Text and time; see general.h. No function here keeps any state.

#include "general.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <tuple>


// Output

void writeText(std::string_view text)
{
    // A failed write means that the reader has gone. There is no one left to tell, and the end
    // of input is about to end the process.
    std::ignore = std::fwrite(text.data(), 1, text.size(), stdout);
    std::ignore = std::fflush(stdout);
}

void writeLine(std::string_view line)
{
    std::string text(line);
    text += '\n';
    writeText(text);
}


// Clock

i64 now()
{
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceStart).count() / 1000000;
}


// Notation

std::string squareToLA(u8 square)
{
    return {narrow<char>('a' + fileOf(square)), narrow<char>('1' + rankOf(square))};
}

u8 LAToSquare(std::string_view text)
{
    // The 8-bit sum is (rank - '1') * 8 + (file - 'a') for a square's two characters.
    if (text.size() < 2) return 255;
    return static_cast<u8>(text[1] * 8 + text[0] + 23);
}

std::string moveToLA(const moveStruct* move, u8 side)
{
    // The record names the captured pawn's square; the notation names the landing square.
    u8 to = move->to;
    if (move->kind == KINDENPASSANT) to = static_cast<u8>(enPassantLanding(to, side));
    std::string text = squareToLA(move->from) + squareToLA(to);
    if (isPromotion(move->kind)) text += promotionLabels[move->kind];
    return text;
}

std::string PVToString(const positionStruct* position)
{
    std::string text;
    u8 side = position->sideToMove;
    for (int ply = 0; ply <= position->pvLength; ++ply, side ^= 1)
        text += moveToLA(&position->plies[ply].bestMove, side) + ' ';
    return text;
}


// Board picture

namespace
{

constexpr std::string_view gridBorder = "+---+---+---+---+---+---+---+---+\n";

/// Eight rows, rank 8 at the top and file a at the left, as white sees the board; `cell` gives the
/// text of a square.
template <typename Cell> std::string rowsToString(Cell cell, std::string_view rowEnd)
{
    std::string text;
    for (int rank = 7; rank >= 0; --rank)
    {
        for (int file = 0; file < 8; ++file) text += cell(rank * 8 + file);
        text += rowEnd;
    }
    return text;
}

/// A grid of 8 by 8 cells, `cell` giving the character of a square.
template <typename Cell> std::string gridToString(Cell cell)
{
    const std::string rowEnd = "|\n" + std::string(gridBorder);
    return std::string(gridBorder) +
           rowsToString([&](int square) { return std::string("| ") + cell(square) + ' '; }, rowEnd);
}

} // namespace

std::string boardToString(const positionStruct* position)
{
    return gridToString(
        [position](int square)
        {
            const u8 code = position->board[square];
            return code < fenLabelPieces.size() ? fenLabelPieces[code] : '?';
        });
}


// Interface without a caller

std::string currentMovesToString(u8 n, const positionStruct* position)
{
    std::string text;
    u8 side = WHITE;
    for (int ply = 0; ply <= n; ++ply, side ^= 1)
        text += moveToLA(&position->plies[ply].currentMove, side) + ' ';
    return text;
}

std::string moveToString(const moveStruct* move, int indent)
{
    const std::string tabs(narrow<size_t>(std::max(indent + 1, 0)), '\t');
    return tabs + squareToLA(move->from) + squareToLA(move->to) + ' ' + std::to_string(move->kind);
}

std::string bitboardToStringL(u64 bitboard)
{
    return gridToString([bitboard](int square) { return bitboard & bit(square) ? '*' : ' '; });
}

std::string bitboardToStringS(u64 bitboard)
{
    return rowsToString([bitboard](int square) { return bitboard & bit(square) ? "1 " : ". "; },
                        "\n");
}

namespace
{

/// Writes all bitboards of a position by one of the two pictures.
void showBitboards(const positionStruct* position, std::string (*toString)(u64))
{
    std::string text;
    for (int i = 0; i < NOFPIECECODES; ++i)
        text += "Bitboard " + std::to_string(i) + '\n' + toString(position->pieceBB[i]);
    writeText(text);
}

} // namespace

void showBitboardsL(const positionStruct* position)
{
    showBitboards(position, bitboardToStringL);
}

void showBitboardsS(const positionStruct* position)
{
    showBitboards(position, bitboardToStringS);
}

void printBoard(const u8* board)
{
    writeLine(
        rowsToString([board](int square) { return std::to_string(board[square]) + ','; }, "\n"));
}

void printTableInFormatX(const i16* first, const i16* second)
{
    for (int row = 0; row < 8; ++row)
    {
        std::ostringstream line;
        for (int i = row * 8; i < row * 8 + 8; ++i)
            line << "X(" << std::setw(4) << first[i] << ',' << std::setw(4) << second[i] << "), ";
        writeLine(line.str());
    }
}

u64 softwarePopcount(u64 bitboard)
{
    // Fields of 2, 4 and 8 bits hold the counts of their own bits. The multiplication adds up all
    // eight bytes in the top one.
    u64 x = bitboard;
    x -= (x >> 1) & 0x5555555555555555;
    x = (x & 0x3333333333333333) + ((x >> 2) & 0x3333333333333333);
    x = (x + (x >> 4)) & 0x0f0f0f0f0f0f0f0f;
    return (x * 0x0101010101010101) >> 56;
}
