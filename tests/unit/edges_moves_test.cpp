// SPDX-License-Identifier: MIT
//
// Corners of the board, the moves and what the console hands to them: codes and notation tables,
// set-up by odd texts, masks and fills, rights, the order and the scores of generated lists,
// exchange scores of a list, and the pickers' bookkeeping. Expectations are derived by hand.

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include "support.h"
#include "uci.h"

namespace
{

/// A list as texts with their scores, as it lies at a ply.
std::string scored(Board& board, int ply = 0)
{
    std::string text;
    for (const moveStruct* move = board.ply(ply).moveListStart; move < board.ply(ply).moveListEnd;
         ++move)
        text += moveToLA(move, board->sideToMove) + ':' + std::to_string(move->score) + ' ';
    return text;
}

/// The texts of what a generator appends at the start of ply 0's list, with scores.
std::string scoredBy(void (*generate)(u8, moveStruct*, positionStruct*), Board& board)
{
    generate(0, board.ply(0).moveListStart, board.get());
    return scored(board);
}

/// Sets the list of ply 0 to these moves.
void setList(Board& board, const std::vector<moveStruct>& moves)
{
    plyStruct& here = board.ply(0);
    here.moveListEnd = std::copy(moves.begin(), moves.end(), here.moveListStart);
    board.ply(1).moveListStart = here.moveListEnd;
}

/// Sets a node up for the pickers as the search does, without or with a hash move.
void startNode(Board& board, moveStruct hashMove = EMPTYMOVE)
{
    plyStruct& here = board.ply(0);
    here.hashMove = hashMove;
    here.moveListEnd = here.moveListStart;
    here.pickerStage = stageMakeCaptures;
    here.killers[0] = here.killers[1] = EMPTYMOVE;
    if (moveWord(hashMove))
    {
        *here.moveListEnd++ = hashMove;
        here.pickerStage = stageHashMove;
    }
    board.ply(1).moveListStart = here.moveListEnd;
}

/// Makes ply 1 ready for a generator, the move before it having reached this square.
void behindMoveTo(Board& board, const char* square)
{
    board.ply(1).moveListStart = board.ply(0).moveListStart;
    board.ply(1).inCheck = board.ply(0).inCheck;
    board.ply(1).enPassantSquare = board.ply(0).enPassantSquare;
    board.ply(0).currentMove = {0, sq(square), 0, 0};
}

void command(void (*handler)(std::istream&), const std::string& words)
{
    std::istringstream stream(words);
    handler(stream);
}

} // namespace


// Codes, records, notation

TEST(RecordEdges, EveryLetterOfAFenHasItsCode)
{
    const std::pair<char, int> codes[] = {{'P', 2},  {'p', 3},  {'N', 4},  {'n', 5},
                                          {'B', 6},  {'b', 7},  {'R', 8},  {'r', 9},
                                          {'Q', 10}, {'q', 11}, {'K', 12}, {'k', 13}};
    for (const auto& [letter, code] : codes)
    {
        Board board(std::string("8/8/8/8/4") + letter + "3/8/8/8 w - - 0 1");
        EXPECT_EQ(board->board[sq("e4")], code) << letter;
        EXPECT_EQ(board->pieceBB[code], squares("e4")) << letter;
        EXPECT_EQ(board->pieceBB[code & 1], squares("e4")) << letter;
        EXPECT_EQ(board->pieceBB[(code & 1) ^ 1], 0U) << letter;
    }
}

TEST(RecordEdges, NotationTablesAreTheseTexts)
{
    EXPECT_EQ(fenLabelPieces, "  PpNnBbRrQqKk");
    EXPECT_EQ(promotionPieces, " pnbrqk");
    EXPECT_EQ(promotionLabels, "  ppnnbbrrqq");
    EXPECT_EQ(debugFilename, "debuggi.txt");
    EXPECT_EQ(fenStartPos, "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
}

TEST(RecordEdges, AMoveLiesInMemoryAsFromToKindScore)
{
    const moveStruct move = packMove(12, 28, 13, 2);
    u8 bytes[4];
    std::memcpy(bytes, &move, 4);
    EXPECT_EQ(bytes[0], 12);
    EXPECT_EQ(bytes[1], 28);
    EXPECT_EQ(bytes[2], 13);
    EXPECT_EQ(bytes[3], 2);
}

TEST(RecordEdges, EverySortOfMoveCarriesItsKind)
{
    const struct
    {
        const char *fen, *text;
        int kind;
        const char* to;
    } cases[] = {
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1g1", 14, "g1"},
        {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", "e1c1", 15, "c1"},
        {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", "e8g8", 14, "g8"},
        {"r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1", "e8c8", 15, "c8"},
        {"4k3/8/8/8/8/8/4P3/4K3 w - - 0 1", "e2e4", 13, "e4"},
        {"4k3/8/8/8/8/8/4P3/4K3 w - - 0 1", "e2e3", 0, "e3"},
        {"4k3/4p3/8/8/8/8/8/4K3 b - - 0 1", "e7e5", 13, "e5"},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", 12, "d5"},
        {"4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1", "d4e3", 12, "e4"},
        {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8n", 4, "a8"},
        {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8b", 6, "a8"},
        {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8r", 8, "a8"},
        {"4k3/P7/8/8/8/8/8/4K3 w - - 0 1", "a7a8q", 10, "a8"},
        {"4k3/8/8/8/8/8/p7/4K3 b - - 0 1", "a2a1n", 4, "a1"},
        {"4k3/8/8/8/8/8/p7/1B2K3 b - - 0 1", "a2b1r", 8, "b1"},
        {"4k3/8/8/3p4/4P3/8/8/4K3 w - - 0 1", "e4d5", 0, "d5"},
    };
    for (const auto& c : cases)
    {
        Board board(c.fen);
        const moveStruct move = board.move(c.text);
        EXPECT_EQ(move.kind, c.kind) << c.fen << ' ' << c.text;
        EXPECT_EQ(move.to, sq(c.to)) << c.fen << ' ' << c.text;
    }
}

TEST(RecordEdges, SettingsStandInTheirOrderAndBeginWithTheirDefaults)
{
    const size_t offsets[] = {
        offsetof(engineStruct, nodeLimit),         offsetof(engineStruct, elapsedTime),
        offsetof(engineStruct, startTime),         offsetof(engineStruct, timeFactor),
        offsetof(engineStruct, timeLeft),          offsetof(engineStruct, timeInc),
        offsetof(engineStruct, movesToGo),         offsetof(engineStruct, gamePly),
        offsetof(engineStruct, depthLimit),        offsetof(engineStruct, mateLimit),
        offsetof(engineStruct, moveTime),          offsetof(engineStruct, targetTime),
        offsetof(engineStruct, maxTime),           offsetof(engineStruct, hashSizeMB),
        offsetof(engineStruct, nofThreads),        offsetof(engineStruct, hashFull),
        offsetof(engineStruct, nodeCheckInterval), offsetof(engineStruct, infinite),
        offsetof(engineStruct, ponderEnabled),     offsetof(engineStruct, movesToGoGiven)};
    for (size_t i = 1; i < std::size(offsets); ++i) EXPECT_LT(offsets[i - 1], offsets[i]) << i;

    const engineStruct fresh{};
    EXPECT_EQ(fresh.hashSizeMB, 256);
    EXPECT_EQ(fresh.nofThreads, 1);
    EXPECT_EQ(fresh.hashFull, 0);
    EXPECT_EQ(fresh.ponderEnabled, 0);
    EXPECT_EQ(fresh.nodeLimit + fresh.elapsedTime + fresh.startTime, 0U);
    EXPECT_EQ(fresh.timeFactor, 0.0F);
    EXPECT_EQ(fresh.depthLimit + fresh.mateLimit + fresh.moveTime + fresh.gamePly, 0);
    EXPECT_EQ(fresh.nodeCheckInterval + fresh.infinite + fresh.movesToGoGiven, 0);
}

TEST(RecordEdges, RemovePieceDoesNothing)
{
    setPosition(std::string(fenStartPos), GPS);
    const auto before = std::make_unique<positionStruct>();
    std::memcpy(static_cast<void*>(before.get()), GPS, sizeof(positionStruct));
    for (u8 square = 0; square < 64; ++square) removePiece(square);
    EXPECT_EQ(std::memcmp(before.get(), GPS, sizeof(positionStruct)), 0);
}

TEST(NotationEdges, OnlyKindsOneToElevenAddALetter)
{
    const std::string letters = "? ppnnbbrrqq";
    for (int kind = 0; kind < 256; ++kind)
    {
        const moveStruct move = packMove(sq("b2"), sq("c3"), kind, 0);
        std::string expected = "b2c3";
        if (kind == 12) expected = "b2c4";
        if (kind >= 1 && kind <= 11) expected += letters[static_cast<size_t>(kind)];
        EXPECT_EQ(moveToLA(&move, WHITE), expected) << kind;
    }
}

TEST(NotationEdges, TheLineOfCurrentMovesBeginsWithWhiteWhoeverIsToMove)
{
    Board board("4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1");
    board.ply(0).currentMove = {sq("e5"), sq("d5"), KINDENPASSANT, 0};
    board.ply(1).currentMove = {sq("d4"), sq("e4"), KINDENPASSANT, 0};
    EXPECT_EQ(currentMovesToString(0, board.get()), "e5d6 ");
    EXPECT_EQ(currentMovesToString(1, board.get()), "e5d6 d4e3 ");
}


// Set-up and limits

TEST(SetUpEdges, AFenThatEndsInABlankGetsNoSecondOne)
{
    // A second blank would make an empty fifth field, which is no number.
    positionStruct position{};
    EXPECT_NO_THROW(setPosition("4k3/8/8/8/8/8/8/4K3 w - - ", &position));
    EXPECT_EQ(position.halfMoveClock, 0);
    EXPECT_THROW(setPosition("4k3/8/8/8/8/8/8/4K3 w - -  ", &position), std::invalid_argument);
}

TEST(SetUpEdges, TwoBlanksInARowMakeAnEmptyField)
{
    Board board("r3k2r/8/8/8/8/8/8/R3K2R w  - 5");
    EXPECT_EQ(board.ply(0).castlingRights, 0);
    EXPECT_EQ(board.ply(0).enPassantSquare, 0);
    EXPECT_EQ(board->halfMoveClock, 5);
    EXPECT_EQ(board->keyIndex, 0 + 2 * 5 - 2 + 1);
}

TEST(SetUpEdges, TheStreamTwinSplitsOnRunsOfAnyWhiteSpace)
{
    const auto position = std::make_unique<positionStruct>();
    setPositionG("r3k2r/8/8/8/3pP3/8/8/R3K2R \t b   Kq \n e3   7    3", position.get());
    EXPECT_EQ(position->sideToMove, BLACK);
    EXPECT_EQ(position->plies[0].castlingRights, 9);
    EXPECT_EQ(position->plies[0].enPassantSquare, sq("e4"));
    EXPECT_EQ(position->halfMoveClock, 7);
    EXPECT_EQ(position->keyIndex, 1 + 2 * 3 - 2 + 1);
    EXPECT_EQ(position->hashKey, calcHashKey(0, position.get()));
}

TEST(SetUpEdges, TheStreamTwinWithoutClocksBeginsAtSlotZero)
{
    const auto position = std::make_unique<positionStruct>();
    position->halfMoveClock = 44;
    setPositionG("4k3/8/8/8/8/8/8/4K3 b", position.get());
    EXPECT_EQ(position->halfMoveClock, 0);
    EXPECT_EQ(position->keyIndex, 1) << "slot 0, and the key has been pushed";
    setPositionG("4k3/8/8/8/8/8/8/4K3 w - - 0 300", position.get());
    EXPECT_EQ(position->keyIndex, 513) << "598 is held to 512";
}

TEST(GoEdges, EveryWordSetsItsLimitAndTheNextGoStartsAfresh)
{
    // A board without men isn't searched: the answer comes at once.
    command(UCIposition, "fen 8/8/8/8/8/8/8/8 w - - 0 1");
    const u64 before = static_cast<u64>(now());
    testing::internal::CaptureStdout();
    command(UCIgo, "some ponder wtime 1000 btime 2000 winc 3 binc 4 movestogo 17 word depth 5 "
                   "nodes 6000000000 mate 7 movetime 8 infinite");
    EXPECT_TRUE(theWorkForce.ponderSearch);
    EXPECT_EQ(engine.timeLeft[WHITE], 1000);
    EXPECT_EQ(engine.timeLeft[BLACK], 2000);
    EXPECT_EQ(engine.timeInc[WHITE], 3);
    EXPECT_EQ(engine.timeInc[BLACK], 4);
    EXPECT_EQ(engine.movesToGo, 17);
    EXPECT_TRUE(engine.movesToGoGiven);
    EXPECT_EQ(engine.depthLimit, 5);
    EXPECT_EQ(engine.nodeLimit, 6000000000U);
    EXPECT_EQ(engine.mateLimit, 7);
    EXPECT_EQ(engine.moveTime, 8);
    EXPECT_TRUE(engine.infinite);
    EXPECT_GE(engine.startTime, before);
    EXPECT_LE(engine.startTime, static_cast<u64>(now()));

    command(UCIgo, "");
    EXPECT_FALSE(theWorkForce.ponderSearch);
    for (const int colour : {WHITE, BLACK})
    {
        EXPECT_EQ(engine.timeLeft[colour], 900000);
        EXPECT_EQ(engine.timeInc[colour], 0);
    }
    EXPECT_EQ(engine.movesToGo, 30);
    EXPECT_EQ(engine.depthLimit + engine.mateLimit + engine.moveTime, 0);
    EXPECT_EQ(engine.nodeLimit, 0U);
    EXPECT_EQ(engine.nodeCheckInterval, 4096);
    EXPECT_FALSE(engine.infinite);
    EXPECT_FALSE(engine.movesToGoGiven);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "bestmove a1a1\nbestmove a1a1\n");
    command(UCIposition, "startpos");
}

TEST(GoEdges, TheFirstNumberThatCantBeReadEndsTheWords)
{
    command(UCIposition, "fen 8/8/8/8/8/8/8/8 w - - 0 1");
    testing::internal::CaptureStdout();
    command(UCIgo, "winc 12 depth seven mate 3 infinite");
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "bestmove a1a1\n");
    EXPECT_EQ(engine.timeInc[WHITE], 12) << "what was read stands";
    EXPECT_EQ(engine.mateLimit, 0);
    EXPECT_FALSE(engine.infinite);
    command(UCIposition, "startpos");
    engine.timeInc[WHITE] = 0;
}


// Attack tables and keys

TEST(MoveTableEdges, FilesAreTheColumnsOfTheBoard)
{
    EXPECT_EQ(files[0], 0x0101010101010101U);
    for (int file = 0; file < 8; ++file)
    {
        std::string names;
        for (char rank = '1'; rank <= '8'; ++rank)
            names += std::string(1, static_cast<char>('a' + file)) + rank + ' ';
        EXPECT_EQ(files[file], squares(names)) << file;
    }
}

TEST(MoveTableEdges, MasksAreTheRaysWithoutTheirLastSquares)
{
    const auto mask = [](int square, bool diagonal)
    {
        u64 set = 0;
        for (int df = -1; df <= 1; ++df)
            for (int dr = -1; dr <= 1; ++dr)
            {
                if ((df == 0 && dr == 0) || (df != 0 && dr != 0) != diagonal) continue;
                // A square belongs to the mask when the ray goes on behind it.
                const auto inside = [](int n) { return n >= 0 && n < 8; };
                for (int f = square % 8 + df, r = square / 8 + dr; inside(f + df) && inside(r + dr);
                     f += df, r += dr)
                    set |= bit(r * 8 + f);
            }
        return set;
    };
    const u64* rookSlice = rookAttackTable;
    const u64* bishopSlice = bishopAttackTable;
    for (int s = 0; s < 64; ++s)
    {
        EXPECT_EQ(rookAttackLUT[s].mask, mask(s, false)) << s;
        EXPECT_EQ(bishopAttackLUT[s].mask, mask(s, true)) << s;
        EXPECT_EQ(rookAttackLUT[s].shift, 64 - popcount(mask(s, false))) << s;
        EXPECT_EQ(bishopAttackLUT[s].shift, 64 - popcount(mask(s, true))) << s;
        EXPECT_EQ(popcount(rookAttackLUT[s].magic), 9) << s;
        EXPECT_EQ(popcount(bishopAttackLUT[s].magic), 9) << s;
        EXPECT_EQ(rookAttackLUT[s].attacks, rookSlice) << s;
        EXPECT_EQ(bishopAttackLUT[s].attacks, bishopSlice) << s;
        rookSlice += 1 << popcount(mask(s, false));
        bishopSlice += 1 << popcount(mask(s, true));
    }
    EXPECT_EQ(rookAttackLUT[A1].mask, squares("a2 a3 a4 a5 a6 a7 b1 c1 d1 e1 f1 g1"));
    EXPECT_EQ(rookAttackLUT[sq("d4")].mask, squares("d2 d3 d5 d6 d7 b4 c4 e4 f4 g4"));
    EXPECT_EQ(bishopAttackLUT[sq("d4")].mask, squares("c3 b2 e5 f6 g7 c5 b6 e3 f2"));
    EXPECT_EQ(bishopAttackLUT[H1].mask, squares("g2 f3 e4 d5 c6 b7"));
}

TEST(MoveTableEdges, DistanceIsTheLargerOfFilesAndRanks)
{
    for (int a = 0; a < 64; ++a)
        for (int b = 0; b < 64; ++b)
            EXPECT_EQ(getDistanceSquares(static_cast<u8>(a), static_cast<u8>(b)),
                      std::max(std::abs(a % 8 - b % 8), std::abs(a / 8 - b / 8)));
    EXPECT_EQ(getDistanceSquares(sq("a1"), sq("h8")), 7);
    EXPECT_EQ(getDistanceSquares(sq("h1"), sq("a2")), 7) << "no wrap around the side";
    EXPECT_EQ(getDistanceSquares(sq("e4"), sq("f6")), 2);
    EXPECT_EQ(getDistanceSquares(sq("e4"), sq("e4")), 0);
}

TEST(MoveTableEdges, FillsRunToTheEdgeAndHoldTheirStart)
{
    EXPECT_EQ(northFill(squares("a5 h8")), squares("a5 a6 a7 a8 h8"));
    EXPECT_EQ(southFill(squares("a5 h1")), squares("a5 a4 a3 a2 a1 h1"));
    EXPECT_EQ(northFill(squares("e1")), files[4]);
    EXPECT_EQ(southFill(squares("e8")), files[4]);
    EXPECT_EQ(northFill(0), 0U);
    EXPECT_EQ(southFill(0), 0U);
    for (int s = 0; s < 64; ++s)
    {
        u64 north = 0;
        u64 south = 0;
        for (int t = s; t < 64; t += 8) north |= bit(t);
        for (int t = s; t >= 0; t -= 8) south |= bit(t);
        EXPECT_EQ(northFill(bit(s)), north) << s;
        EXPECT_EQ(southFill(bit(s)), south) << s;
    }
}

TEST(MoveTableEdges, EveryKindOfManAttacksItsSquaresForItsColourOnly)
{
    // A man on d4, with a pawn of its own on f6 and on d6 in the way.
    const struct
    {
        u8 type;
        const char* squares;
    } cases[] = {{KNIGHT, "b3 b5 c2 c6 e2 e6 f3 f5"},
                 {BISHOP, "a1 b2 c3 e5 f6 a7 b6 c5 e3 f2 g1"},
                 {ROOK, "a4 b4 c4 e4 f4 g4 h4 d1 d2 d3 d5 d6"},
                 {QUEEN, "a1 b2 c3 e5 f6 a7 b6 c5 e3 f2 g1 a4 b4 c4 e4 f4 g4 h4 d1 d2 d3 d5 d6"},
                 {KING, "c3 c4 c5 d3 d5 e3 e4 e5"}};
    Board board("8/8/8/8/8/8/8/8 w - - 0 1");
    const auto attacked = [&board](u8 colour)
    {
        u64 set = 0;
        for (u8 s = 0; s < 64; ++s)
            if (isSquareAttacked(s, colour, board.get())) set |= bit(s);
        return set;
    };
    for (const u8 colour : {WHITE, BLACK})
    {
        const u64 pawns = colour == WHITE ? squares("c7 e7 g7") : squares("c5 e5 g5");
        for (const auto& c : cases)
        {
            initPosition(board.get());
            addPiece(static_cast<u8>(c.type + colour), sq("d4"), board.get());
            addPiece(static_cast<u8>(PAWN + colour), sq("d6"), board.get());
            addPiece(static_cast<u8>(PAWN + colour), sq("f6"), board.get());
            EXPECT_EQ(attacked(colour), squares(c.squares) | pawns) << int{c.type};
            EXPECT_EQ(attacked(colour ^ 1), 0U) << int{c.type};
        }
    }
}

TEST(MoveTableEdges, BuildingTheTablesPointsTheMainPositionAtItsMoveStack)
{
    GPS->plies[0].moveListStart = nullptr;
    initBitboardConstants();
    EXPECT_EQ(GPS->plies[0].moveListStart, GMS);
    EXPECT_EQ(getRookAttackTable(A1, squares("a3 c1")), squares("a2 a3 b1 c1"));
    EXPECT_EQ(getBishopAttackTable(sq("d4"), squares("e5 c3")), squares("e5 c3 c5 b6 a7 e3 f2 g1"));
}

TEST(KeyEdges, NoTwoNumbersAreEqualAndNoneIsZero)
{
    std::set<u64> numbers{0, hashCodeBlackToMove};
    for (int code = PAWN; code < NOFPIECECODES; ++code)
        numbers.insert(std::begin(hashCodePiece[code]), std::end(hashCodePiece[code]));
    numbers.insert(std::begin(hashCodeCastling), std::end(hashCodeCastling));
    numbers.insert(std::begin(hashCodeEnpassant), std::end(hashCodeEnpassant));
    EXPECT_EQ(numbers.size(), 1U + 12 * 64 + 16 + 8 + 1);
    EXPECT_EQ(hashCodePiece[2][1], 0x1e1a986bcee58e3bU);
    EXPECT_EQ(hashCodePiece[2][2], 0xd1dd9bbc7b8c8d68U);
}

TEST(KeyEdges, AKeyIsItsNumbersAndNothingElse)
{
    Board board("4k3/8/8/8/8/8/P7/4K3 w - - 0 1");
    const u64 kings = hashCodePiece[KING + WHITE][E1] ^ hashCodePiece[KING + BLACK][E8];
    const u64 pawn = hashCodePiece[PAWN + WHITE][sq("a2")];
    EXPECT_EQ(calcHashKey(0, board.get()), kings ^ pawn ^ hashCodeCastling[0]);
    EXPECT_EQ(calcHashKeyPawn(0, board.get()), kings ^ pawn);
}

TEST(KeyEdges, ADoublePushRecordsItsFileInTheKey)
{
    for (char file = 'a'; file <= 'h'; ++file)
    {
        Board board{std::string(fenStartPos)};
        const std::string from = std::string(1, file) + "2";
        const std::string to = std::string(1, file) + "4";
        const moveStruct push = board.move(from + to);
        makeMove(1, &push, board.get(), true);
        const u64 with = calcHashKey(1, board.get());
        board.ply(1).enPassantSquare = 0;
        EXPECT_EQ(with ^ calcHashKey(1, board.get()), hashCodeEnpassant[file - 'a']);
        EXPECT_EQ(board->hashKey, with);
    }
}


// Make and unmake

TEST(MakeMoveEdges, ARefusedMoveTouchesNothing)
{
    const struct
    {
        const char* fen;
        moveStruct move;
    } cases[] = {// A king into check, en passant that opens the rank, a pinned rook off its line.
                 {"4k3/8/8/8/8/8/3r4/4K3 w - - 0 1", {sq("e1"), sq("d1"), 0, 0}},
                 {"4k3/8/8/K2pP2r/8/8/8/8 w - d6 0 1", {sq("e5"), sq("d5"), KINDENPASSANT, 0}},
                 {"4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1", {sq("e2"), sq("d2"), 0, 0}},
                 {"4k3/8/8/8/6r1/8/8/4K2R w K - 0 1", {sq("e1"), sq("g1"), KINDCASTLEKING, 0}}};
    for (const auto& c : cases)
    {
        Board board(c.fen);
        generateMovesCaptures(0, board.ply(0).moveListStart, board.get());
        board.ply(0).inCheck = 0;
        const auto before = std::make_unique<positionStruct>();
        std::memcpy(static_cast<void*>(before.get()), board.get(), sizeof(positionStruct));
        EXPECT_FALSE(makeMove(1, &c.move, board.get(), true)) << c.fen;
        EXPECT_EQ(std::memcmp(before.get(), board.get(), sizeof(positionStruct)), 0) << c.fen;
        EXPECT_TRUE(makeMove(1, &c.move, board.get(), false)) << c.fen << ": not asked to test";
    }
}

TEST(MakeMoveEdges, RightsFallByTheMoverAndByTheCornersOfTheMove)
{
    const char* const rooks = "r3k2r/8/8/8/8/8/8/R3K2R";
    const struct
    {
        const char* men;
        char side;
        int rights;
        const char *from, *to;
        int left;
    } cases[] = {
        {rooks, 'w', 15, "a1", "b1", 11},
        {rooks, 'w', 15, "h1", "g1", 14},
        {rooks, 'w', 15, "e1", "e2", 10},
        {rooks, 'b', 15, "a8", "b8", 7},
        {rooks, 'b', 15, "h8", "g8", 13},
        {rooks, 'b', 15, "e8", "e7", 5},
        {rooks, 'w', 15, "a1", "a8", 3},
        {rooks, 'w', 15, "h1", "h8", 12},
        {rooks, 'b', 15, "a8", "a1", 3},
        {rooks, 'b', 15, "h8", "h1", 12},
        {rooks, 'w', 10, "a1", "a8", 2},
        {rooks, 'b', 5, "h8", "h1", 4},
        // A knight takes in the corner.
        {"r3k2r/8/1N4N1/8/8/1n4n1/8/R3K2R", 'w', 15, "b6", "a8", 7},
        {"r3k2r/8/1N4N1/8/8/1n4n1/8/R3K2R", 'w', 15, "g6", "h8", 13},
        {"r3k2r/8/1N4N1/8/8/1n4n1/8/R3K2R", 'b', 15, "b3", "a1", 11},
        {"r3k2r/8/1N4N1/8/8/1n4n1/8/R3K2R", 'b', 15, "g3", "h1", 14},
        {"r3k2r/8/1N4N1/8/8/1n4n1/8/R3K2R", 'b', 15, "g3", "e2", 15},
        // A right may stay behind without its rook. Any move onto a1 and h1 takes it, of a8 and
        // h8 only a white one.
        {"4k3/8/1n4n1/8/8/1N4N1/8/4K3", 'w', 15, "b3", "a1", 11},
        {"4k3/8/1n4n1/8/8/1N4N1/8/4K3", 'w', 15, "g3", "h1", 14},
        {"4k3/8/1n4n1/8/8/1N4N1/8/4K3", 'b', 15, "b6", "a8", 15},
        {"4k3/8/1n4n1/8/8/1N4N1/8/4K3", 'b', 15, "g6", "h8", 15},
        {"4k3/8/1N4N1/8/8/8/8/4K3", 'w', 15, "b6", "a8", 7},
        // A man in the corner that is no rook, and a rook from elsewhere.
        {"r3k2q/8/8/8/8/8/8/Q3K2R", 'w', 15, "a1", "b1", 15},
        {"r3k2q/8/8/8/8/8/8/Q3K2R", 'b', 15, "h8", "g8", 15},
        {"r3k2r/8/8/8/3R4/8/8/R3K2R", 'w', 15, "d4", "d5", 15},
    };
    for (const auto& c : cases)
    {
        std::string rights;
        for (int i = 0; i < 4; ++i)
            if (c.rights & 1 << i) rights += "KkQq"[i];
        Board board(std::string(c.men) + ' ' + c.side + ' ' + rights + " - 0 1");
        const moveStruct move{sq(c.from), sq(c.to), 0, 0};
        makeMove(1, &move, board.get(), false);
        EXPECT_EQ(board.ply(1).castlingRights, c.left) << c.men << ' ' << c.from << c.to;
        EXPECT_EQ(inconsistency(board.get(), 1), "") << c.men << ' ' << c.from << c.to;
        EXPECT_EQ(board.ply(0).castlingRights, c.rights) << "the parent keeps its own";
    }
}

TEST(MakeMoveEdges, TheClockRunsOnWithQuietMenAndStartsAfreshWithPawnsAndCaptures)
{
    const struct
    {
        const char *fen, *text;
        int clock, captured;
    } cases[] = {
        {"4k3/8/8/8/8/8/4P3/1N2K3 w - - 7 9", "b1c3", 8, 0},
        {"4k3/8/8/8/8/8/4P3/1N2K3 w - - 7 9", "e2e3", 0, 0},
        {"4k3/8/8/8/8/8/4P3/1N2K3 w - - 7 9", "e2e4", 0, 0},
        {"4k3/8/8/8/8/2p5/8/1N2K3 w - - 7 9", "b1c3", 0, PAWN + BLACK},
        {"4k3/8/8/8/8/8/8/4K2R w K - 7 9", "e1g1", 8, 0},
        {"4k3/P7/8/8/8/8/8/4K3 w - - 7 9", "a7a8q", 0, 0},
        {"1r2k3/P7/8/8/8/8/8/4K3 w - - 7 9", "a7b8n", 0, ROOK + BLACK},
        {"4k3/8/8/3pP3/8/8/8/4K3 w - d6 7 9", "e5d6", 0, PAWN + BLACK},
        {"4k3/8/8/8/3pP3/8/8/4K3 b - e3 7 9", "d4e3", 0, PAWN + WHITE},
    };
    for (const auto& c : cases)
    {
        Board board(c.fen);
        const moveStruct move = board.move(c.text);
        makeMove(1, &move, board.get(), true);
        EXPECT_EQ(board->halfMoveClock, c.clock) << c.fen << ' ' << c.text;
        EXPECT_EQ(board.ply(1).savedHalfMoveClock, 7);
        EXPECT_EQ(board.ply(1).capturedPiece, c.captured) << c.fen << ' ' << c.text;
        unmakeMove(1, &move, board.get());
        EXPECT_EQ(board->halfMoveClock, 7);
    }
}


// Legality

TEST(LegalityEdges, CastlingAsksForRightEmptySquaresRookAndACrossingOutOfAttack)
{
    const struct
    {
        u8 side, kind, right;
        const char *king, *to, *rook, *crossed;
        std::vector<const char*> empty;
    } wings[] = {{WHITE, 14, 1, "e1", "g1", "h1", "f1", {"f1", "g1"}},
                 {WHITE, 15, 4, "e1", "c1", "a1", "d1", {"b1", "c1", "d1"}},
                 {BLACK, 14, 2, "e8", "g8", "h8", "f8", {"f8", "g8"}},
                 {BLACK, 15, 8, "e8", "c8", "a8", "d8", {"b8", "c8", "d8"}}};
    for (const auto& w : wings)
    {
        const auto board = [&w]
        {
            return Board(w.side == WHITE ? "4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1"
                                         : "r3k2r/8/8/8/8/8/8/4K3 b kq - 0 1");
        };
        const moveStruct move{sq(w.king), sq(w.to), w.kind, static_cast<u8>(KING + w.side)};
        const auto isGenerated = [&move](Board& at)
        {
            generateMovesQuiets(0, at.ply(0).moveListStart, at.get());
            const std::vector<moveStruct> list = at.list();
            return std::any_of(list.begin(), list.end(),
                               [&move](moveStruct m) { return sameMove(m, move); });
        };
        const auto isVouchedFor = [&move](Board& at)
        { return isLegalMove(0, &move, at.get(), true); };
        const auto where =
            std::string("kind ") + std::to_string(w.kind) + " of " + std::to_string(w.side);
        const u8 enemyRook = static_cast<u8>(ROOK + (w.side ^ 1));
        const auto onFileOf = [](const char* square)
        { return sq(std::string(1, square[0]) + "4"); };

        Board plain = board();
        EXPECT_TRUE(isGenerated(plain)) << where;
        EXPECT_TRUE(isVouchedFor(plain)) << where;
        EXPECT_TRUE(isLegalMove(0, &move, plain.get(), false)) << where;

        Board rightless = board();
        rightless.ply(0).castlingRights = static_cast<u8>(15 & ~w.right);
        EXPECT_FALSE(isGenerated(rightless)) << where;
        EXPECT_FALSE(isVouchedFor(rightless)) << where;

        for (const char* square : w.empty)
        {
            Board blocked = board();
            addPiece(static_cast<u8>(KNIGHT + w.side), sq(square), blocked.get());
            EXPECT_FALSE(isGenerated(blocked)) << where << ' ' << square;
            EXPECT_FALSE(isVouchedFor(blocked)) << where << ' ' << square;
        }

        Board crossed = board();
        addPiece(enemyRook, onFileOf(w.crossed), crossed.get());
        EXPECT_FALSE(isGenerated(crossed)) << where;
        EXPECT_FALSE(isVouchedFor(crossed)) << where;

        // The destination is left to the moment of the move, and the rook's way is no matter.
        Board into = board();
        addPiece(enemyRook, onFileOf(w.to), into.get());
        EXPECT_TRUE(isGenerated(into)) << where;
        EXPECT_TRUE(isVouchedFor(into)) << where;
        EXPECT_FALSE(isLegalMove(0, &move, into.get(), false)) << where;
        EXPECT_FALSE(makeMove(1, &move, into.get(), true)) << where;
        Board rookHit = board();
        addPiece(enemyRook, onFileOf(w.rook), rookHit.get());
        EXPECT_TRUE(isGenerated(rookHit)) << where;
        EXPECT_TRUE(isLegalMove(0, &move, rookHit.get(), false)) << where;
        if (w.kind == KINDCASTLEQUEEN)
        {
            Board besideRook = board();
            addPiece(enemyRook, sq("b4"), besideRook.get());
            EXPECT_TRUE(isGenerated(besideRook)) << where;
            EXPECT_TRUE(isVouchedFor(besideRook)) << where;
        }

        Board checked = board();
        checked.ply(0).inCheck = 1;
        EXPECT_FALSE(isGenerated(checked)) << where;
        EXPECT_FALSE(isVouchedFor(checked)) << where;

        // The rook has gone and the right stayed: only a stored move is looked at that closely.
        Board rookless = board();
        rookless->pieceBB[ROOK + w.side] ^= bit(sq(w.rook));
        rookless->pieceBB[w.side] ^= bit(sq(w.rook));
        rookless->board[sq(w.rook)] = NOPIECE;
        EXPECT_FALSE(isVouchedFor(rookless)) << where;
    }
}

TEST(LegalityEdges, AStoredMoveWithoutItsMansCodeIsRefused)
{
    Board board{std::string(fenStartPos)};
    const moveStruct right{sq("g1"), sq("f3"), 0, KNIGHT};
    EXPECT_TRUE(isLegalMove(0, &right, board.get(), false));
    for (const u8 code : {NOPIECE, PAWN, u8{3}, u8{5}, BISHOP, KING})
    {
        const moveStruct wrong{sq("g1"), sq("f3"), 0, code};
        EXPECT_FALSE(isLegalMove(0, &wrong, board.get(), true)) << int{code};
    }
    const moveStruct enemys{sq("g8"), sq("f6"), 0, KNIGHT + BLACK};
    EXPECT_FALSE(isLegalMove(0, &enemys, board.get(), true)) << "not the side to move";
    const moveStruct ownMan{sq("a1"), sq("a2"), 0, ROOK};
    EXPECT_FALSE(isLegalMove(0, &ownMan, board.get(), true));
}


// Generators

TEST(GeneratorEdges, APinnedRooksStepOffTheLineIsListedAndRefusedWhenMade)
{
    Board board("4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1");
    generateMovesCaptures(0, board.ply(0).moveListStart, board.get());
    generateMovesQuiets(0, board.ply(0).moveListEnd, board.get());
    int along = 0;
    int off = 0;
    for (const moveStruct& move : board.list())
    {
        if (move.from != sq("e2")) continue;
        const bool onLine = (move.to & 7) == (move.from & 7);
        ++(onLine ? along : off);
        EXPECT_EQ(makeMove(1, &move, board.get(), true), onLine) << move;
        if (onLine) unmakeMove(1, &move, board.get());
    }
    EXPECT_EQ(along, 5) << "e3 to e7";
    EXPECT_EQ(off, 7) << "the rest of rank 2";
}

TEST(GeneratorEdges, BlackMenTakeWithTheWhiteCodesScores)
{
    // Every kind takes the rook on d4 (code 8): 64 less 2, 4, 6, 8, 10 and 12.
    Board rook("3r4/8/1bn5/4p3/q2R4/2k5/7K/8 b - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, rook),
              "e5d4:62 c6d4:60 b6d4:58 d8d4:56 a4d4:54 c3d4:52 ");
    Board promotion("4k3/8/8/8/8/8/p7/1N2K3 b - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, promotion), "a2b1q:18 a2b1r:18 a2b1b:18 a2b1n:18 ");
    Board passing("4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, passing), "d4e3:14 ");
}

TEST(GeneratorEdges, PawnCapturesComeByDirectionPromotionsFirst)
{
    Board white("k3n1r1/5P2/8/3p1p2/4P3/8/8/4K3 w - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, white),
              "f7g8q:58 f7g8r:58 f7g8b:58 f7g8n:58 e4f5:22 "
              "f7e8q:26 f7e8r:26 f7e8b:26 f7e8n:26 e4d5:22 ");
    EXPECT_EQ(scoredBy(generateMovesQuiescence, white),
              "f7g8q:58 e4f5:22 f7e8q:26 e4d5:22 f7f8q:1 ");
    Board black("4k3/8/8/4p3/3P1P2/8/5p2/K3N1R1 b - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, black),
              "f2e1q:18 f2e1r:18 f2e1b:18 f2e1n:18 e5d4:14 "
              "f2g1q:50 f2g1r:50 f2g1b:50 f2g1n:50 e5f4:14 ");
    EXPECT_EQ(scoredBy(generateMovesQuiescence, black),
              "f2e1q:18 e5d4:14 f2g1q:50 e5f4:14 f2f1q:1 ");
}

TEST(GeneratorEdges, PawnsOnTheSideFilesDoNotTakeAroundTheBoard)
{
    // Seven and nine squares on from each pawn an enemy stands on the other side of the board.
    for (const char* side : {"w", "b"})
    {
        Board board(std::string("4k3/8/p7/P6p/7P/8/8/4K3 ") + side + " - - 0 1");
        EXPECT_EQ(scoredBy(generateMovesCaptures, board), "") << side;
    }
}

TEST(GeneratorEdges, QuietMovesComePromotionsPushesDoublePushesCastlingThenMen)
{
    Board white("4k3/P7/8/8/8/8/1P6/R3K2R w KQ - 0 1");
    generateMovesCaptures(0, white.ply(0).moveListStart, white.get());
    white.ply(0).moveListStart->score = 77;
    generateMovesQuiets(0, white.ply(0).moveListStart, white.get());
    EXPECT_EQ(white.texts(white.list()),
              "a7a8q a7a8r a7a8b a7a8n b2b3 b2b4 e1g1 e1c1 "
              "a1b1 a1c1 a1d1 a1a2 a1a3 a1a4 a1a5 a1a6 "
              "h1f1 h1g1 h1h2 h1h3 h1h4 h1h5 h1h6 h1h7 h1h8 e1d1 e1f1 e1d2 e1e2 e1f2");
    EXPECT_EQ(white.list()[0].score, 0);

    // The knight before the bishop, the bishop before the rook, the rook before the queen.
    Board men("7k/8/8/8/p6p/P5pP/6P1/RK2N1BQ w - - 0 1");
    men.ply(0).notPinned = ~0ULL;
    generateMovesQuiets(0, men.ply(0).moveListStart, men.get());
    EXPECT_EQ(men.texts(men.list()), "e1c2 e1d3 e1f3 g1f2 g1h2 g1e3 g1d4 g1c5 g1b6 g1a7 "
                                     "a1a2 h1h2 b1c1 b1a2 b1b2 b1c2");
}

TEST(GeneratorEdges, EvasionsByPromotionScoreAsTakingAndBlockingPawns)
{
    Board white("r6K/1P1P4/8/8/8/8/8/k7 w - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, white),
              "h8g7:202 h8h7:202 b7a8q:250 b7a8r:250 b7a8b:250 b7a8n:250 "
              "b7b8q:210 b7b8r:210 b7b8b:210 b7b8n:210 d7d8q:210 d7d8r:210 d7d8b:210 d7d8n:210 ");
    Board black("K7/8/8/8/8/8/1p1p4/R6k b - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, black),
              "h1g2:202 h1h2:202 b2a1q:250 b2a1r:250 b2a1b:250 b2a1n:250 "
              "b2b1q:210 b2b1r:210 b2b1b:210 b2b1n:210 d2d1q:210 d2d1r:210 d2d1b:210 d2d1n:210 ");
}

TEST(GeneratorEdges, TheKingTakesTheOnlyCheckerForOneMore)
{
    // A white rook (code 8) takes and is taken: 220 + 8 + 1; another man is no checker.
    Board rook("K7/8/8/8/8/8/8/5Rk1 b - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, rook), "g1f1:229 g1g2:202 g1h2:202 ");
    Board second("K7/8/8/8/8/8/4N3/5Rk1 b - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, second), "g1f1:228 g1g2:202 g1h2:202 ")
        << "the knight gives check too";
    Board bystander("K7/8/8/8/8/8/7B/R5k1 b - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, bystander), "g1f2:202 g1g2:202 g1h2:226 ")
        << "two checkers: a bishop (code 6) for its code alone";
    Board idle("K7/8/8/8/8/8/6N1/R5k1 b - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, idle), "g1f2:202 g1g2:224 g1h2:202 ")
        << "a knight (code 4) that gives no check";
}

TEST(GeneratorEdges, PinnedMenGiveNoEvasionAndRaysRunOnThroughTheKing)
{
    Board pinned("4r2k/8/8/8/1b6/8/4R3/4K3 w - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, pinned), "e1d1:202 e1f1:202 e1f2:202 ");
    Board ray("7k/8/8/8/8/8/8/r3K3 w - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, ray), "e1d2:202 e1e2:202 e1f2:202 ");
    // A pinned knight that could stand on d2 or d4, a pinned pawn that could take the checker.
    Board knight("3r3k/8/8/7b/8/5N2/8/3K4 w - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, knight), "d1c1:202 d1e1:202 d1c2:202 d1e2:202 ");
    Board pawn("7k/8/8/8/b7/3q4/2P5/3K4 w - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, pawn), "d1c1:202 d1e1:202 ");
}

TEST(GeneratorEdges, AMateLeavesTheEvasionsThemselvesEmpty)
{
    for (const char* fen : {"R3k3/8/4K3/8/8/8/8/8 b - - 0 1", "4k3/8/8/8/8/8/5PPP/3r2K1 w - - 0 1",
                            "r1bqkb1r/pppp1Qpp/2n2n2/4p3/2B1P3/8/PPPP1PPP/RNB1K1NR b KQkq - 0 4"})
    {
        Board board(fen);
        ASSERT_TRUE(board.ply(0).inCheck) << fen;
        generateMovesCaptures(0, board.ply(0).moveListStart, board.get());
        generateMovesEvade(0, board.ply(0).moveListStart, board.get());
        EXPECT_TRUE(board.list().empty()) << fen;
        EXPECT_EQ(board.ply(1).moveListStart, board.ply(0).moveListStart);
        EXPECT_TRUE(board.legalMoves().empty()) << fen;
    }
}

TEST(GeneratorEdges, QuiescenceInCheckGivesEvasionsAndLeavesTheStage)
{
    Board board("4r2k/8/3p4/R7/8/8/8/4K3 w - - 0 1");
    board.ply(0).pickerStage = 7;
    EXPECT_EQ(scoredBy(generateMovesQuiescence, board),
              "e1d1:202 e1f1:202 e1d2:202 e1f2:202 a5e5:204 ");
    EXPECT_EQ(board.ply(0).pickerStage, 7);
    generateMovesCaptures(0, board.ply(0).moveListStart, board.get());
    EXPECT_EQ(board.ply(0).pickerStage, 99);
}

TEST(GeneratorEdges, QuiescenceDropsPinnedKnightsAndRecapturesDoNot)
{
    Board board("4r2k/8/5p2/8/4N3/8/8/4K3 w - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesQuiescence, board), "");
    behindMoveTo(board, "f6");
    board.ply(1).notPinned = 0x123;
    generateMovesRecapture(1, board.ply(1).moveListStart, board.get());
    EXPECT_EQ(scored(board, 1), "e4f6:20 ");
    EXPECT_EQ(board.ply(1).notPinned, 0x123U) << "left as it was";
}

TEST(GeneratorEdges, RecapturesPromoteToAQueenAloneAndPushNothing)
{
    Board board("r3k3/1P4P1/8/8/8/8/8/R3K3 w - - 0 1");
    behindMoveTo(board, "a8");
    generateMovesRecapture(1, board.ply(1).moveListStart, board.get());
    EXPECT_EQ(scored(board, 1), "b7a8q:58 a1a8:64 ");
}

TEST(GeneratorEdges, RecapturesTakeADoublePushedPawnByPiecesOnly)
{
    Board board("4k3/8/8/3pP3/8/2N5/8/4K3 w - d6 0 1");
    ASSERT_EQ(board.ply(0).enPassantSquare, sq("d5"));
    behindMoveTo(board, "d5");
    generateMovesRecapture(1, board.ply(1).moveListStart, board.get());
    EXPECT_EQ(scored(board, 1), "c3d5:20 ");
}

TEST(GeneratorEdges, RecapturesInCheckAreTheEvasionsWithPinsComputed)
{
    Board board("4r2k/8/8/8/1b6/8/4R3/4K3 w - - 0 1");
    behindMoveTo(board, "b4");
    board.ply(1).notPinned = ~0ULL;
    generateMovesRecapture(1, board.ply(1).moveListStart, board.get());
    EXPECT_EQ(scored(board, 1), "e1d1:202 e1f1:202 e1f2:202 ");
    EXPECT_EQ(~board.ply(1).notPinned, squares("e2"));
}

TEST(GeneratorEdges, SimpleChecksScoreTheirFirstSlot255AndTouchNoOther)
{
    Board board("7k/8/8/8/8/8/8/K4R2 w - - 0 1");
    board.ply(0).notPinned = ~0ULL;
    for (int i = 0; i < 8; ++i) board.ply(0).moveListStart[i] = {1, 2, 3, 77};
    EXPECT_EQ(scoredBy(generateSimpleChecks, board), "f1h1:255 f1f8:77 ");
    EXPECT_EQ(board.ply(0).moveListStart[2].score, 77);
    Board none("4k3/8/8/8/8/8/8/K7 w - - 0 1");
    none.ply(0).notPinned = ~0ULL;
    EXPECT_EQ(scoredBy(generateSimpleChecks, none), "");
    EXPECT_EQ(none.ply(0).moveListStart->score, 255);
}

TEST(GeneratorEdges, APromotionChecksThroughTheSquareThatThePawnLeaves)
{
    // On d8 a queen sees the king on d2 once the pawn has left d7, and a knight doesn't.
    Board through("8/3P4/8/8/8/8/3k4/7K w - - 0 1");
    through.ply(0).notPinned = ~0ULL;
    generateSimpleChecks(0, through.ply(0).moveListStart, through.get());
    EXPECT_EQ(through.texts(through.list()), "d7d8q");
    // From d8 to e6 is a knight's step, and no queen's.
    Board knight("8/3P4/4k3/8/8/8/8/7K w - - 0 1");
    knight.ply(0).notPinned = ~0ULL;
    generateSimpleChecks(0, knight.ply(0).moveListStart, knight.get());
    EXPECT_EQ(knight.texts(knight.list()), "d7d8n");
    Board pushes("8/8/8/3k4/8/4P3/2P5/7K w - - 0 1");
    pushes.ply(0).notPinned = ~0ULL;
    generateSimpleChecks(0, pushes.ply(0).moveListStart, pushes.get());
    EXPECT_EQ(pushes.texts(pushes.list()), "e3e4 c2c4");
}

TEST(GeneratorEdges, TheLegalListSwapsAnIllegalMoveWithTheLast)
{
    // Listed: the rook's capture, its steps a2 to d2, f2 to h2 (illegal, pinned), e3 to e6, and
    // the king's d1, f1, d2, f2. Each illegal one makes room for the last that is left.
    Board board("4k3/4r3/8/8/8/8/4R3/4K3 w - - 0 1");
    EXPECT_EQ(board.texts(board.legalMoves()), "e2e7 e1f2 e1d2 e1f1 e1d1 e2e6 e2e5 e2e4 e2e3");
    EXPECT_EQ(board.ply(1).moveListStart, board.ply(0).moveListEnd);
}


// Exchange evaluation

TEST(SeeEdges, VictimsAreWorthTheirValuesToTheUnit)
{
    const std::pair<const char*, int> victims[] = {
        {"p", 87}, {"n", 340}, {"b", 340}, {"r", 515}, {"q", 1005}};
    for (const auto& [letter, value] : victims)
    {
        Board board(std::string("7k/8/8/3") + letter + "4/8/2N5/8/K7 w - - 0 1");
        const moveStruct takes{sq("c3"), sq("d5"), 0, 0};
        EXPECT_TRUE(see(takes, static_cast<i16>(value), board.get())) << letter;
        EXPECT_FALSE(see(takes, static_cast<i16>(value + 1), board.get())) << letter;
    }
}

TEST(SeeEdges, MoversAreLostForTheirValuesToTheUnit)
{
    // Each takes a pawn that a pawn defends: 87 less its own value and no more.
    const struct
    {
        const char *fen, *from;
        int value;
    } movers[] = {{"7k/8/2p5/3p4/8/2N5/8/K7 w - - 0 1", "c3", 340},
                  {"7k/8/2p5/3p4/8/1B6/8/K7 w - - 0 1", "b3", 340},
                  {"7k/8/2p5/3p4/8/8/8/K2R4 w - - 0 1", "d1", 515},
                  {"7k/8/2p5/3p4/8/8/8/K2Q4 w - - 0 1", "d1", 1005},
                  {"7k/8/2p5/3p4/4P3/8/8/K7 w - - 0 1", "e4", 87}};
    for (const auto& m : movers)
    {
        Board board(m.fen);
        const moveStruct takes{sq(m.from), sq("d5"), 0, 0};
        EXPECT_TRUE(see(takes, static_cast<i16>(87 - m.value), board.get())) << m.fen;
        EXPECT_FALSE(see(takes, static_cast<i16>(88 - m.value), board.get())) << m.fen;
    }
}

TEST(SeeEdges, ASliderBehindAPawnBishopRookOrQueenTakesBack)
{
    // Knight takes pawn, knight takes knight, and the man in front takes back. Black's man on d8
    // takes that one only if nothing stands behind it, which would leave white less than 50.
    for (const char* fen : {"3r2k1/8/5n2/3p4/4P3/2N2B2/8/K7 w - - 0 1",  // bishop behind pawn
                            "3r2k1/8/5n2/3p4/4B3/2N2Q2/8/K7 w - - 0 1",  // queen behind bishop
                            "3q2k1/8/5n2/3p4/4Q3/2N2B2/8/K7 w - - 0 1",  // bishop behind queen
                            "3r2k1/8/5n2/3p4/8/2N5/3R4/K2R4 w - - 0 1"}) // rook behind rook
    {
        Board board(fen);
        EXPECT_TRUE(see({sq("c3"), sq("d5"), 0, 0}, 50, board.get())) << fen;
    }
    for (const char* fen :
         {"3r2k1/8/5n2/3p4/4P3/2N5/8/K7 w - - 0 1", "3r2k1/8/5n2/3p4/4B3/2N5/8/K7 w - - 0 1",
          "3q2k1/8/5n2/3p4/4Q3/2N5/8/K7 w - - 0 1", "3r2k1/8/5n2/3p4/8/2N5/3R4/K7 w - - 0 1"})
    {
        Board board(fen);
        EXPECT_FALSE(see({sq("c3"), sq("d5"), 0, 0}, 50, board.get())) << fen;
    }
}

TEST(SeeEdges, LosingCapturesOfAListAreRaisedByAHundredTheKingsToo)
{
    // Pawn takes knight wins; queen and king take pawns that a pawn defends.
    Board board("7k/1p1p4/2p1p3/1n2K3/P7/2Q5/8/8 w - - 0 1");
    EXPECT_EQ(scoredBy(generateMovesCaptures, board), "a4b5:38 c3c6:14 e5e6:12 ");
    updateSeeScore(0, board.ply(0).moveListStart, board.get());
    EXPECT_EQ(scored(board), "a4b5:38 c3c6:114 e5e6:112 ");
    // From a later slot on, and around the end of the byte.
    setList(board, {{sq("c3"), sq("c6"), 0, 14}, {sq("c3"), sq("c6"), 0, 200}});
    updateSeeScore(0, board.ply(0).moveListStart + 1, board.get());
    EXPECT_EQ(scored(board), "c3c6:14 c3c6:44 ");
    // 250 is a score as any other here.
    setList(board, {{sq("c3"), sq("c6"), 0, 250}});
    updateSeeScore(0, board.ply(0).moveListStart, board.get());
    EXPECT_EQ(scored(board), "c3c6:94 ");
}

TEST(SeeEdges, ListScoresPassOverEnPassantAndCastling)
{
    // The rook on g8 takes whatever lands on g1.
    Board board("6rk/8/8/8/8/8/8/R3K2R w KQ - 0 1");
    const std::vector<moveStruct> list = {{sq("e1"), sq("g1"), KINDCASTLEKING, 60},
                                          {sq("h1"), sq("g1"), 0, 60},
                                          {sq("h1"), sq("g1"), KINDENPASSANT, 60}};
    setList(board, list);
    updateSeeScore(0, board.ply(0).moveListStart, board.get());
    EXPECT_EQ(board.list()[0].score, 60);
    EXPECT_EQ(board.list()[1].score, 160);
    EXPECT_EQ(board.list()[2].score, 60);
    setList(board, list);
    updateSeeScoreEvade(0, board.ply(0).moveListStart, board.get());
    EXPECT_EQ(board.list()[0].score, 60);
    EXPECT_EQ(board.list()[1].score, 216) << "60 less 100, around the end of the byte";
    EXPECT_EQ(board.list()[2].score, 60);
}

TEST(SeeEdges, LosingEvasionsByTheKingOrOfScore250AreNotLowered)
{
    Board board("6rk/8/8/8/8/8/8/R3K2R w KQ - 0 1");
    setList(board, {{sq("h1"), sq("g1"), 0, 250},
                    {sq("h1"), sq("g1"), 0, 204},
                    {sq("e1"), sq("g1"), 0, 202},
                    {sq("a1"), sq("a2"), 0, 204}});
    updateSeeScoreEvade(0, board.ply(0).moveListStart, board.get());
    EXPECT_EQ(scored(board), "h1g1:250 h1g1:104 e1g1:202 a1a2:204 ");
    // From a later slot on.
    setList(board, {{sq("h1"), sq("g1"), 0, 204}, {sq("h1"), sq("g1"), 0, 204}});
    updateSeeScoreEvade(0, board.ply(0).moveListStart + 1, board.get());
    EXPECT_EQ(scored(board), "h1g1:204 h1g1:104 ");
}


// Pickers

TEST(PickerEdges, TheFirstOfEqualScoresIsSwappedToTheFront)
{
    moveStruct list[] = {{1, 1, 0, 5}, {2, 2, 0, 200}, {3, 3, 0, 200}, {4, 4, 0, 9}};
    getBestMove(list, std::end(list));
    EXPECT_EQ(list[0].from, 2);
    EXPECT_EQ(list[1].from, 1);
    EXPECT_EQ(list[2].from, 3);
    getBestMove(list + 3, std::end(list));
    EXPECT_EQ(list[3].from, 4);
    getBestMove(list, std::end(list));
    EXPECT_EQ(list[0].from, 2) << "the one in front stays among equals";
}

TEST(PickerEdges, TheHistoryRatioIsInUnitsOf128AndEqualsKeepTheirOrder)
{
    Board board{std::string(fenStartPos)};
    std::memset(board->historyGood, 0, sizeof board->historyGood);
    std::memset(board->historyBad, 0, sizeof board->historyBad);
    // Knights to a3, c3, f3, h3: no data 64; 2 of 4 64; 129 of 256 truncates to 64; 2 of 3 85.
    board->historyGood[KNIGHT - 2][sq("c3")] = 2;
    board->historyBad[KNIGHT - 2][sq("c3")] = 2;
    board->historyGood[KNIGHT - 2][sq("f3")] = 129;
    board->historyBad[KNIGHT - 2][sq("f3")] = 127;
    board->historyGood[KNIGHT - 2][sq("h3")] = 2;
    board->historyBad[KNIGHT - 2][sq("h3")] = 1;
    moveStruct list[] = {{sq("b1"), sq("a3"), 0, 0},
                         {sq("b1"), sq("c3"), 0, 0},
                         {sq("g1"), sq("f3"), 0, 0},
                         {sq("g1"), sq("h3"), 0, 0}};
    getBestMoveHist(list, list + 3, board.get());
    EXPECT_EQ(list[0].to, sq("a3")) << "all at 64";
    getBestMoveHist(list, list + 4, board.get());
    EXPECT_EQ(list[0].to, sq("h3"));
    EXPECT_EQ(list[3].to, sq("a3"));
}

TEST(PickerEdges, ANodesListHoldsHashMoveCapturesThreeSlotsLosersAndQuiets)
{
    Board board("4k3/8/2p5/3p3p/6P1/2N5/8/4K3 w - - 0 1");
    startNode(board, board.move("e1e2"));
    moveStruct* const start = board.ply(0).moveListStart;
    std::vector<std::pair<int, std::string>> played; // slot and text, stage 9 left out
    for (moveStruct* cursor = start; cursor <= board.ply(0).moveListEnd; ++cursor)
    {
        if (!doNextMoveStaged(0, cursor, board.get(), false)) continue;
        if (board.ply(0).pickerStage != 9)
            played.emplace_back(cursor - start, moveToLA(cursor, WHITE));
        unmakeMove(1, cursor, board.get());
    }
    const std::vector<std::pair<int, std::string>> expected = {
        {0, "e1e2"}, {1, "g4h5"}, {6, "c3d5"}};
    EXPECT_EQ(played, expected) << "slots 2 the loser set aside, 3 to 5 reserved";
    EXPECT_EQ(moveToLA(start + 2, WHITE), "c3d5");
    EXPECT_EQ(board.ply(0).quietsStart, start + 7);
    EXPECT_EQ(board.ply(1).moveListStart, board.ply(0).moveListEnd);
    EXPECT_FALSE(doNextMoveStaged(0, board.ply(0).moveListEnd, board.get(), false))
        << "and nothing more, however often it is asked";
}

TEST(PickerEdges, LosingEvasionsComeBehindTheKingsFlights)
{
    Board board("4r2k/8/3p4/R7/8/8/8/4K3 w - - 0 1");
    startNode(board);
    std::string order;
    for (moveStruct* cursor = board.ply(0).moveListStart; cursor <= board.ply(0).moveListEnd;
         ++cursor)
    {
        if (!doNextMoveStaged(0, cursor, board.get(), false)) continue;
        EXPECT_EQ(board.ply(0).pickerStage, 99);
        order += moveToLA(cursor, WHITE) + ' ';
        unmakeMove(1, cursor, board.get());
    }
    EXPECT_EQ(order, "e1d1 e1f1 e1d2 e1f2 a5e5 ");
}

TEST(PickerEdges, QuiescencePlaysEvasionsByScoreWithoutAnExchangeTest)
{
    Board board("4r2k/8/3p4/R7/8/8/8/4K3 w - - 0 1");
    generateMovesQuiescence(0, board.ply(0).moveListStart, board.get());
    std::string order;
    for (moveStruct* cursor = board.ply(0).moveListStart; cursor < board.ply(0).moveListEnd;
         ++cursor)
    {
        EXPECT_TRUE(doNextMoveQuiesc(0, cursor, board.get(), 0));
        order += moveToLA(cursor, WHITE) + ' ';
        unmakeMove(1, cursor, board.get());
    }
    EXPECT_EQ(order.substr(0, 5), "a5e5 ") << "204 although a pawn takes the rook";
    EXPECT_EQ(order.size(), 25U);
}

TEST(PickerEdges, QuiescenceTestsExchangesFromDepthZeroToMinusFourOnly)
{
    // The queen takes a pawn that a bishop defends.
    Board board("4k3/3b4/2p5/8/8/2Q5/8/4K3 w - - 0 1");
    for (const int depth : {1, 0, -1, -4, -5, -9})
    {
        generateMovesQuiescence(0, board.ply(0).moveListStart, board.get());
        moveStruct* cursor = board.ply(0).moveListStart;
        const bool expected = depth > 0 || depth < -4;
        EXPECT_EQ(doNextMoveQuiesc(0, cursor, board.get(), depth), expected) << depth;
        if (expected) unmakeMove(1, cursor, board.get());
    }
}

TEST(PickerEdges, QuiescenceSelectsTheHighestScoreThatLosesNothing)
{
    // Queen takes rook scores most and loses to a pawn.
    Board board("4k3/1p6/2r5/3p2n1/4P2P/2Q2N2/8/4K3 w - - 0 1");
    generateMovesQuiescence(0, board.ply(0).moveListStart, board.get());
    EXPECT_EQ(scored(board), "e4d5:22 h4g5:38 f3g5:36 c3c6:62 ");
    std::vector<std::string> order;
    for (moveStruct* cursor = board.ply(0).moveListStart; cursor < board.ply(0).moveListEnd;
         ++cursor)
    {
        const bool made = doNextMoveQuiesc(0, cursor, board.get(), 0);
        order.push_back(made ? moveToLA(cursor, WHITE) : "none");
        if (made) unmakeMove(1, cursor, board.get());
    }
    EXPECT_EQ(order, (std::vector<std::string>{"h4g5", "f3g5", "e4d5", "none"}));
}

TEST(PickerEdges, ProbCutPlaysTheHashCaptureOnceAndCountsItsStages)
{
    Board board("4k3/8/3n4/4P3/8/8/8/4K3 w - - 0 1");
    startNode(board, board.move("e5d6"));
    moveStruct* cursor = board.ply(0).moveListStart;
    ASSERT_TRUE(doNextMoveProbCut(0, cursor, board.get(), 340));
    EXPECT_EQ(board.ply(0).pickerStage, 1);
    unmakeMove(1, cursor++, board.get());
    EXPECT_FALSE(doNextMoveProbCut(0, cursor, board.get(), 340)) << "the same capture again";
    EXPECT_EQ(board.ply(0).pickerStage, 2);
    EXPECT_EQ(board.ply(0).moveListEnd, board.ply(0).moveListStart + 2);
    EXPECT_FALSE(doNextMoveProbCut(0, ++cursor, board.get(), 340)) << "the end of the list";
    startNode(board, board.move("e5d6"));
    EXPECT_FALSE(doNextMoveProbCut(0, board.ply(0).moveListStart, board.get(), 341));
}

TEST(PickerEdges, ProbCutLetsAHashPromotionPassAndNoOtherQuietMove)
{
    Board board("4k3/P7/8/8/8/8/4P3/4K2R w K - 0 1");
    const std::pair<const char*, bool> moves[] = {
        {"a7a8q", true}, {"a7a8n", true}, {"e2e4", false}, {"e1g1", false}, {"e2e3", false}};
    for (const auto& [text, expected] : moves)
    {
        startNode(board, board.move(text));
        moveStruct* cursor = board.ply(0).moveListStart;
        EXPECT_EQ(doNextMoveProbCut(0, cursor, board.get(), 0), expected) << text;
        if (expected) unmakeMove(1, cursor, board.get());
    }
}

TEST(PickerEdges, ProbCutTakesCapturesByScoreAndSkipsIllegalOnes)
{
    // Pawn takes queen, rook takes rook; the pinned rook may not leave its file for the knight.
    Board board("4k3/4r3/8/1q6/P7/8/n3R3/4K3 w - - 0 1");
    startNode(board);
    std::vector<std::string> order;
    for (moveStruct* cursor = board.ply(0).moveListStart; cursor <= board.ply(0).moveListEnd;
         ++cursor)
    {
        const bool made = doNextMoveProbCut(0, cursor, board.get(), 0);
        order.push_back(made ? moveToLA(cursor, WHITE) : "none");
        if (made) unmakeMove(1, cursor, board.get());
    }
    EXPECT_EQ(order, (std::vector<std::string>{"a4b5", "e2e7", "none", "none"}));
    EXPECT_EQ(moveToLA(board.ply(0).moveListStart + 2, WHITE), "e2a2");
}


// Perft file

TEST(PerftFileEdges, AFileWithoutSectionsIsReadToItsEndAtAnyLevel)
{
    const std::string record = std::string(fenStartPos) + ";1;20\n";
    for (const int level : {1, 2, 3})
    {
        std::ofstream("./perft.txt") << record << record << record;
        testing::internal::CaptureStdout();
        EXPECT_TRUE(checkMoveGenWithPerft(level));
        std::fflush(stdout);
        const std::string text = testing::internal::GetCapturedStdout();
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4) << level;
        std::remove("./perft.txt");
    }
    createHashTable(1);
}

TEST(PerftFileEdges, BlanksBesideTheSemicolonsAndTextBehindTheCountDoNoHarm)
{
    std::ofstream("./perft.txt") << fenStartPos << " ; 2 ; 400 ; as everybody knows\n";
    testing::internal::CaptureStdout();
    EXPECT_TRUE(checkMoveGenWithPerft(1));
    std::fflush(stdout);
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(text.find("1; " + std::string(fenStartPos) + " ; 2; 400; 400; "), 0U) << text;
    std::remove("./perft.txt");
    createHashTable(1);
}
