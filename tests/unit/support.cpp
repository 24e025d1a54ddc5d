// SPDX-License-Identifier: MIT
//
// See support.h. The tables are built before the first test, the transposition table at 1 MB.

#include "support.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "../../bench/positions.h"

namespace
{

class Tables : public testing::Environment
{
  public:
    void SetUp() override
    {
        engine.hashSizeMB = 1;
        initBitboardConstants();
        initHashCodeTables();
        setPosition(std::string(fenStartPos), GPS);
        theWorkForce.setNofWorkers(1);
    }
    void TearDown() override
    {
        theWorkForce.endSearch();
        theWorkForce.setNofWorkers(0);
        destroyHashTable();
    }
};

const testing::Environment* const tables = testing::AddGlobalTestEnvironment(new Tables);

} // namespace

Board::Board(const std::string& fen)
    : state(new positionStruct{}), stack(new moveStruct[MOVESTACKSIZE + MOVESTACKSLACK]),
      pawns(new pawnHashTableStruct{}), evaluations(new evalHashTableStruct{})
{
    state->plies[0].moveListStart = stack.get();
    state->plies[0].moveListEnd = stack.get();
    state->pawnHashTable = pawns.get();
    state->evalHashTable = evaluations.get();
    setPosition(fen, state.get());
}

std::vector<moveStruct> Board::legalMoves()
{
    generateMovesLegal(0, ply(0).moveListStart, get());
    return list();
}

std::vector<moveStruct> Board::list()
{
    return {ply(0).moveListStart, ply(0).moveListEnd};
}

moveStruct Board::move(const std::string& text)
{
    for (moveStruct move : legalMoves())
        if (moveToLA(&move, state->sideToMove) == text)
        {
            move.score = state->board[move.from];
            return move;
        }
    ADD_FAILURE() << text << " is not legal";
    return EMPTYMOVE;
}

std::string Board::texts(const std::vector<moveStruct>& moves)
{
    std::string joined;
    for (const moveStruct& move : moves)
    {
        if (!joined.empty()) joined += ' ';
        joined += moveToLA(&move, state->sideToMove);
    }
    return joined;
}

u8 sq(const std::string& name)
{
    return LAToSquare(name);
}

u64 squares(const std::string& names)
{
    std::istringstream words(names);
    u64 set = 0;
    for (std::string name; words >> name;) set |= bit(sq(name));
    return set;
}

std::string inconsistency(const positionStruct* position, int ply)
{
    const auto copy = std::make_unique<positionStruct>(*position);
    initEvaluation(copy.get());
    if (!isBoardStructOK(position)) return "board and bitboards";
    if (position->hashKey != calcHashKey(static_cast<u8>(ply), position)) return "hashKey";
    if (position->pawnHashKey != calcHashKeyPawn(0, position)) return "pawnHashKey";
    for (const int colour : {WHITE, BLACK})
    {
        if (position->material[colour] != copy->material[colour]) return "material";
        if (position->pstScore[colour] != copy->pstScore[colour]) return "pstScore";
    }
    if (position->gamePhase != copy->gamePhase) return "gamePhase";
    return "";
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::string repeated(const std::string& text, int times)
{
    std::string all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

const std::vector<std::string>& manyPositions()
{
    static const std::vector<std::string> positions = []
    {
        std::vector<std::string> fens(std::begin(benchPositions), std::end(benchPositions));
        std::ifstream file(QUILLON_SOURCE_DIR "/data/perft.txt");
        for (std::string line; std::getline(file, line);)
        {
            const std::string fen = line.substr(0, line.find(';'));
            const bool isKnown = std::find(fens.begin(), fens.end(), fen) != fens.end();
            if (fen.size() < line.size() && !isKnown) fens.push_back(fen);
        }
        std::erase_if(fens, [](const auto& fen) { return !makePlayable(Board(fen).get()); });
        return fens;
    }();
    return positions;
}
