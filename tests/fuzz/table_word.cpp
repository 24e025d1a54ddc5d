// SPDX-License-Identifier: MIT
//
// A data word of the table in a position: the first line has the word, up to 16 hexadecimal digits,
// the second one a FEN. Whatever the word, its move is judged, played and taken back when it is
// accepted, and a search finds the word at its root and after each move.

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

#include "hash.h"
#include "move.h"
#include "moveTable.h"
#include "search.h"
#include "targets.h"
#include "uci.h"

namespace
{

/// The bytes of a position but for the child's record, which makeMove is free to leave, and the
/// keys beyond the path.
std::vector<unsigned char> imageOf(const positionStruct& position)
{
    std::vector<unsigned char> bytes(sizeof position);
    std::memcpy(bytes.data(), &position, sizeof position);
    const auto clear = [&](size_t from, size_t size)
    { std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(from), size, 0); };
    clear(offsetof(positionStruct, plies) + sizeof(plyStruct), sizeof(plyStruct));
    const size_t used = static_cast<size_t>(position.keyIndex) * sizeof(u64);
    clear(offsetof(positionStruct, keyHistory) + used, sizeof position.keyHistory - used);
    return bytes;
}

/// Plays an accepted move and takes it back.
void playAndTakeBack(moveStruct move, positionStruct* position)
{
    const std::vector<unsigned char> before = imageOf(*position);
    require(makeMove(1, &move, position, false), "a move taken on trust is made");
    require(isBoardStructOK(position), "board and bitboards agree after an accepted move");
    // A pawn that is believed to double-push to a1 leaves square 0, which stands for none.
    const bool toNone = move.kind == KINDDOUBLEPUSH && move.to == A1;
    const u64 noneKey = toNone ? hashCodeEnpassant[0] : 0;
    require(position->hashKey == (calcHashKey(1, position) ^ noneKey), "so does the key");
    require(position->pawnHashKey == calcHashKeyPawn(1, position), "so does the pawn key");
    const bool leftInCheck = isSquareAttacked(kingSquareOf(position->sideToMove ^ 1, position),
                                              position->sideToMove, position);
    require(!leftInCheck, "an accepted move leaves no king to be taken");
    unmakeMove(1, &move, position);
    require(imageOf(*position) == before, "taking back restores every field");
}

void judge(moveStruct move, positionStruct* position)
{
    const bool pseudo = isLegalMove(0, &move, position, true);
    const bool legal = isLegalMove(0, &move, position, false);
    require(pseudo || !legal, "a legal move is pseudo-legal");
    const plyStruct& root = position->plies[0];
    const bool listed = std::any_of(root.moveListStart, root.moveListEnd,
                                    [&](moveStruct other) { return sameMove(move, other); });
    // A pawn's test is loose: it trusts the kind and ignores direction and edges.
    const bool isPawn = legal && position->board[move.from] < KNIGHT;
    if (legal) playAndTakeBack(move, position);
    if (legal && !isPawn) require(listed, "what is accepted can be generated");
    if (listed && move.score == position->board[move.from])
        require(legal, "what is generated is accepted");
}

/// Makes a word the entry of a key.
void plant(u64 word, u64 key)
{
    hashTable[key & hashKeyMask] = {key ^ (word & HASHDATAMASK), word, {}};
}

} // namespace

void fuzzTableWord(const std::string& input)
{
    std::istringstream lines(input);
    std::string digits;
    std::string fen;
    std::getline(lines, digits);
    std::getline(lines, fen);
    const u64 word = std::strtoull(digits.substr(0, 16).c_str(), nullptr, 16);

    positionStruct* const position = bareBoard();
    setPosition(fen, position);
    if (!makePlayable(position)) return;
    generateMovesLegal(0, position->plies[0].moveListStart, position);

    // The word as it is, then the same with each destination, and with the code of the mover.
    moveStruct move = wordMove(word);
    judge(move, position);
    for (int i = 0; i < NOFSQUARES; ++i)
    {
        move.from = static_cast<u8>((move.from + (i % 8 == 0)) & 63);
        move.to = static_cast<u8>((move.to + 1) & 63);
        move.score = position->board[move.from];
        judge(move, position);
    }

    plant(word, position->hashKey);
    const plyStruct& root = position->plies[0];
    for (const moveStruct* child = root.moveListStart; child < root.moveListEnd; ++child)
    {
        makeMove(1, child, position, false);
        plant(word, position->hashKey);
        unmakeMove(1, child, position);
    }

    std::istringstream words("fen " + fen);
    UCIposition(words);
    std::istringstream limits("depth " + std::to_string(1 + word % 4));
    UCIgo(limits);
    finishSearch();
}
