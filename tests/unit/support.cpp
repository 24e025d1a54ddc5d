// SPDX-License-Identifier: MIT
//
// See support.h. The tables are built before the first test, the transposition table at 1 MB.

#include "support.h"

#include <random>
#include <sstream>

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
    // From random games that begin at the start position and at positions with many special moves.
    // The seed is fixed, so every run has the same positions.
    static const std::vector<std::string> positions = []
    {
        std::vector<std::string> fens;
        std::mt19937 random(20);
        const std::string roots[] = {
            std::string(fenStartPos),
            "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
            "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1", "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
            "r2q1rk1/pP1p2pp/Q4n2/bbp1p3/Np6/1B3NBn/pPPP1PPP/R3K2R b KQ - 0 1"};
        for (int game = 0; fens.size() < 200; ++game)
        {
            Board board(roots[game % 5]);
            for (int ply = 0; ply < 120 && fens.size() < 200; ++ply)
            {
                const std::vector<moveStruct> moves = board.legalMoves();
                if (moves.empty()) break;
                const moveStruct move = moves[random() % moves.size()];
                makeMove(1, &move, board.get(), false);
                board.ply(0).enPassantSquare = board.ply(1).enPassantSquare;
                board.ply(0).castlingRights = board.ply(1).castlingRights;
                if (random() % 8) continue;

                std::string fen;
                for (int rank = 7; rank >= 0; --rank)
                {
                    for (int file = 0; file < 8; ++file)
                    {
                        const u8 code = board->board[rank * 8 + file];
                        fen += code ? std::string(1, fenLabelPieces[code]) : "1";
                    }
                    if (rank) fen += '/';
                }
                fen += board->sideToMove == WHITE ? " w " : " b ";
                const u8 rights = board.ply(0).castlingRights;
                std::string letters;
                if (rights & WHITEKINGSIDE) letters += 'K';
                if (rights & WHITEQUEENSIDE) letters += 'Q';
                if (rights & BLACKKINGSIDE) letters += 'k';
                if (rights & BLACKQUEENSIDE) letters += 'q';
                fen += letters.empty() ? "-" : letters;
                const u8 pawn = board.ply(0).enPassantSquare;
                const int behind = board->sideToMove == WHITE ? pawn + 8 : pawn - 8;
                fen += ' ';
                fen += pawn ? squareToLA(static_cast<u8>(behind)) : "-";
                fens.push_back(fen + " 0 1");
            }
        }
        return fens;
    }();
    return positions;
}
