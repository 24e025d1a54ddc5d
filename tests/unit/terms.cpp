// SPDX-License-Identifier: MIT

#include "terms.h"

#include <cctype>

std::string fenOf(const std::string& pieces, int sideToMove)
{
    std::string ranks[8];
    for (std::string& rank : ranks) rank = "11111111";
    for (size_t i = 0; i + 2 < pieces.size(); i += 4)
    {
        const u8 square = sq(pieces.substr(i + 1, 2));
        char& place = ranks[square / 8][square % 8];
        EXPECT_EQ(place, '1') << "two pieces on one square: " << pieces;
        place = pieces[i];
    }
    std::string fen;
    for (int rank = 7; rank >= 0; --rank)
    {
        fen += ranks[rank];
        if (rank) fen += '/';
    }
    return fen + (sideToMove == WHITE ? " w - - 0 1" : " b - - 0 1");
}

std::string exchanged(std::string pieces)
{
    for (size_t i = 0; i + 2 < pieces.size(); i += 4)
    {
        const bool isWhite = std::isupper(static_cast<unsigned char>(pieces[i]));
        pieces[i] = static_cast<char>(isWhite ? std::tolower(pieces[i]) : std::toupper(pieces[i]));
        pieces[i + 2] = static_cast<char>('1' + '8' - pieces[i + 2]);
    }
    return pieces;
}

namespace
{

/// A term's value for a colour. The other colour's, and its squares, must be the same with the
/// colours exchanged.
combEval valueOf(const std::string& pieces, int term, int colour, int sideToMove)
{
    Board board(fenOf(pieces, sideToMove));
    Board mirror(fenOf(exchanged(pieces), sideToMove ^ 1));
    const evalTrace trace = evaluateTraced(board.get());
    const evalTrace other = evaluateTraced(mirror.get());
    const std::string text = std::string(evalTermTexts[term].name) + ", " + pieces;
    EXPECT_EQ(trace.terms[term][colour], other.terms[term][colour ^ 1]) << text;
    for (int square = 0; square < NOFSQUARES; ++square)
        EXPECT_EQ(trace.squares[term][colour][square], other.squares[term][colour ^ 1][square ^ 56])
            << text;
    return trace.terms[term][colour];
}

} // namespace

combEval whites(const std::string& pieces, int term, int sideToMove)
{
    return valueOf(pieces, term, WHITE, sideToMove);
}

combEval blacks(const std::string& pieces, int term, int sideToMove)
{
    return valueOf(pieces, term, BLACK, sideToMove);
}

void expectWhites(int term, const std::vector<termCase>& cases)
{
    for (const auto& [pieces, value, why] : cases)
        EXPECT_EQ(whites(pieces, term), value)
            << evalTermTexts[term].name << ", " << pieces << ' ' << why;
}
