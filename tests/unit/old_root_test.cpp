// SPDX-License-Identifier: MIT
//
// The previous root search, which nothing but these tests runs: what it finds beside the present
// one, its list of moves, its lines, its depths and its clock.

#include <algorithm>
#include <sstream>

#include "root_support.h"

namespace
{

/// A helper that runs the previous root search.
class OldHelper : public OpenWorker
{
  public:
    using OpenWorker::OpenWorker;
    void searchRoot() override { searchRootOld(); }
};

class OldRoot : public RootSteps
{
  protected:
    std::string oldLines(Board& board) { return lines(board, &boss::searchRootOld); }

    plyStruct& root() { return pool->position->plies[0]; }

    /// The root's list as the search has left it.
    std::vector<moveStruct> rootList() { return {root().moveListStart, root().moveListEnd}; }

    /// All nodes of the boss.
    u64 nodes() { return pool->position->nodes + pool->position->qNodes; }
};

struct matePosition
{
    const char* fen;
    int moves; // as the mate line gives it: one more than is usual when the side to move loses
};

const matePosition mates[] = {
    {"6k1/5ppp/8/8/8/8/8/R3K3 w - - 0 1", 1},
    {"7k/8/5K2/6Q1/8/8/8/8 w - - 0 1", 1},
    {"k7/8/1K6/8/8/8/8/7R w - - 0 1", 1},
    {"r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - 4 4", 1},
    {"rnbqkbnr/pppp1ppp/8/4p3/6P1/5P2/PPPPP2P/RNBQKBNR b KQkq - 0 2", 1},
    {"r1bq2rk/pp3pbp/2p1p1pQ/7P/3P4/2PB1N2/PP3PPR/2KR4 w - - 0 1", 2},
    {"6k1/pp4p1/2p5/2bp4/8/P5Pb/1P3rrP/2BRRN1K b - - 0 1", 2},
    {"r6k/6pp/7N/8/2Q5/8/8/6K1 w - - 0 1", 2},
    {"r5rk/5p1p/5R2/4B3/8/8/7P/7K w - - 0 1", 3},
    {"7k/R7/8/8/8/8/1R6/K7 b - - 0 1", -2},
    {"k7/2K5/8/8/8/8/8/1R6 b - - 0 1", -2},
    {"5k2/R7/8/8/8/8/8/1R4K1 b - - 0 1", -2},
};

const char* const quietPositions[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "rnbqkbnr/pp2pppp/8/2ppP3/8/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 3",
    "5rk1/1b3p1p/pp3p2/3n1N2/1P6/P1qB1PP1/3Q3P/4R1K1 w - - 0 1",
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "8/5pk1/6p1/R6p/7P/6P1/r4P2/6K1 b - - 5 45",
};

/// The number of a mate line in a text, 0 without one.
int mateIn(const std::string& text)
{
    const size_t at = text.rfind("info score mate ");
    return at == std::string::npos ? 0 : std::stoi(text.substr(at + 16));
}

/// The text of the move behind "bestmove ".
std::string bestMoveIn(const std::string& text)
{
    const std::string last = lineFromEnd(text, 1);
    return last.substr(9, last.find(' ', 9) - 9);
}

/// A text with '#' for each word behind one of these: what differs from run to run.
std::string masked(const std::string& text)
{
    std::string result;
    std::string word;
    bool mask = false;
    for (const char letter : text)
    {
        if (letter != ' ' && letter != '\n')
        {
            word += letter;
            continue;
        }
        result += mask ? "#" : word;
        result += letter;
        mask = word == "cp" || word == "seldepth" || word == "nodes" || word == "time";
        word.clear();
    }
    return result;
}

/// Fails the test unless two records are the same position.
void expectSamePosition(const positionStruct* a, const positionStruct* b)
{
    EXPECT_TRUE(std::equal(a->board, a->board + NOFSQUARES, b->board));
    EXPECT_TRUE(std::equal(a->pieceBB, a->pieceBB + NOFPIECECODES, b->pieceBB));
    EXPECT_EQ(a->hashKey, b->hashKey);
    EXPECT_EQ(a->pawnHashKey, b->pawnHashKey);
    EXPECT_EQ(a->sideToMove, b->sideToMove);
    EXPECT_EQ(a->keyIndex, b->keyIndex);
    EXPECT_EQ(a->halfMoveClock, b->halfMoveClock);
    EXPECT_EQ(a->plies[0].castlingRights, b->plies[0].castlingRights);
    EXPECT_EQ(a->plies[0].enPassantSquare, b->plies[0].enPassantSquare);
    EXPECT_EQ(inconsistency(a, 0), "");
}

/// Notes what each root move is worth to the side to move, for searches of any depth. The worths
/// of moves that are not named are `others`; a NOWORTH leaves a move to be searched.
constexpr int NOWORTH = 32000;
void setWorths(Board& board, const std::vector<std::pair<size_t, int>>& worths, int others,
               u8 bound = boundExact)
{
    const std::vector<moveStruct> moves = board.legalMoves();
    for (size_t i = 0; i < moves.size(); ++i)
    {
        int worth = others;
        for (const auto& [index, named] : worths)
            if (index == i) worth = named;
        if (worth == NOWORTH) continue;
        makeMove(1, &moves[i], board.get(), false);
        putHashTableEntry(board->hashKey, EMPTYMOVE, static_cast<i16>(-worth), 127, bound, 1);
        unmakeMove(1, &moves[i], board.get());
    }
}

} // namespace

TEST_F(OldRoot, TwelveMatesAreFoundAsThePresentSearchFindsThem)
{
    for (const auto& [fen, moves] : mates)
    {
        Board board(fen);
        for (const auto search : {&boss::searchRoot, &boss::searchRootOld})
        {
            liftLimits();
            clearHashTable();
            engine.depthLimit = 12;
            const std::string text = lines(board, search);
            EXPECT_EQ(mateIn(text), moves) << fen << '\n' << text;
            expectSamePosition(pool->position, board.get());
        }
    }
}

TEST_F(OldRoot, EightPositionsGetAMoveThatThePresentSearchWouldNotRegret)
{
    constexpr int depth = 8;
    constexpr int margin = 60; // two searches of one depth differ by as much
    for (const char* fen : quietPositions)
    {
        Board board(fen);
        clearHashTable();
        engine.depthLimit = depth;
        const std::string found = bestMoveIn(oldLines(board));
        expectSamePosition(pool->position, board.get());
        EXPECT_EQ(pool->position->rootDepth, depth);
        EXPECT_EQ(pool->position->rootDepthComplete, 1);
        const int oldScore = pool->position->rootScore;

        liftLimits();
        clearHashTable();
        engine.depthLimit = depth;
        lines(board);
        const int presentScore = pool->position->rootScore;

        liftLimits();
        clearHashTable();
        const moveStruct move = board.move(found);
        board->nodesToClockCheck = 4096;
        makeMove(1, &move, board.get(), false);
        board.ply(1).inCheck = isSideInCheck(board.get());
        const int worth = -alfabeta(1, depth - 1, -SCOREMATE, SCOREMATE, board.get(), 2);
        unmakeMove(1, &move, board.get());
        EXPECT_GE(worth, presentScore - margin) << fen << ' ' << found;
        EXPECT_NEAR(oldScore, presentScore, margin) << fen;
    }
}

TEST_F(OldRoot, TheFirstScoreIsThatOfTheCapturesAtDepth1)
{
    // No capture in the initial position: what stands is its evaluation. One node of the first
    // iteration, and the clock has run out.
    Board board(start);
    engine.nodeCheckInterval = 0;
    engine.maxTime = 0;
    EXPECT_EQ(oldLines(board), "bestmove a1a1\n");
    EXPECT_EQ(pool->position->rootScore, evaluateN(0, board.get()));
    EXPECT_EQ(pool->position->rootDepth, 1);
    EXPECT_EQ(pool->position->rootDepthComplete, 1);
    EXPECT_EQ(pool->position->nodes, 1U);

    // A queen stands to be taken for nothing.
    Board hanging("4k3/8/8/3q4/8/2N5/8/4K3 w - - 0 1");
    const int standing = evaluateN(0, hanging.get());
    oldLines(hanging);
    EXPECT_GT(pool->position->rootScore, standing + 500);
    EXPECT_EQ(pool->position->rootDepth, 1);
}

TEST_F(OldRoot, AMatedRootGetsItsAnswerFromEveryThreadAndIsSearchedAllTheSame)
{
    Board board("R5k1/5ppp/8/8/8/8/8/4K3 b - - 0 1");
    board.ply(0).bestMove = {1, 2, 3, 4};
    board->pvLength = 3;
    EXPECT_EQ(masked(oldLines(board)), "info score mate 0\nbestmove a1a1\n"
                                       "info score mate -1 depth 2 nodes # time # pv a1a1 \n"
                                       "bestmove a1a1\n");
    EXPECT_EQ(pool->position->pvLength, 0);

    liftLimits();
    openSoftClock();
    engine.depthLimit = 4;
    OpenWorker helper(2);
    helper.setPosition(board.get());
    testing::internal::CaptureStdout();
    helper.searchRootOld();
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "info score mate 0\nbestmove a1a1\n");
    EXPECT_EQ(helper.currentDepth, 4) << "it has gone on";
}

TEST_F(OldRoot, AStalematedRootEndsByItselfAtDepth127WithoutAMoveOrAnEntry)
{
    Board board(stalemated);
    for (const bool infinite : {false, true})
    {
        liftLimits();
        engine.infinite = infinite;
        const std::string text = oldLines(board);
        EXPECT_EQ(lineFromEnd(text, 1), "bestmove a1a1");
        const std::string score =
            "info score cp " + std::to_string(evaluateN(0, board.get())) + " depth ";
        EXPECT_EQ(text.find(score + "11 "), 0U) << text;
        EXPECT_EQ(lineFromEnd(text, 2).find(score + "127 "), 0U) << text;
        EXPECT_EQ(pool->currentDepth, 127);
        EXPECT_EQ(hashBound(getHashTableEntry(board->hashKey)), 0)
            << "else a draw would be worth an evaluation";
    }
}

TEST_F(OldRoot, LinesAreWrittenFromDepth11On)
{
    Board board("8/8/1p1k4/p1p2ppp/P1P2P2/1P1K2PP/8/8 w - - 0 40");
    engine.depthLimit = 13;
    const std::string text = oldLines(board);
    std::istringstream stream(masked(text));
    std::string line;
    std::string move;
    for (int depth = 11; depth <= 13; ++depth)
    {
        const std::string head = "info score cp # depth " + std::to_string(depth) +
                                 " seldepth # nodes # time # hashfull 0 pv ";
        std::getline(stream, line);
        ASSERT_EQ(line.substr(0, head.size()), head) << text;
        ASSERT_EQ(line.back(), ' ') << text;
        move = line.substr(head.size(), 4);
        EXPECT_NE(moveWord(board.move(move)), 0U) << text;
    }
    std::getline(stream, line);
    EXPECT_EQ(line.substr(0, 13), "bestmove " + move);
    EXPECT_FALSE(std::getline(stream, line)) << text;

    liftLimits();
    engine.depthLimit = 10;
    EXPECT_EQ(oldLines(board).find("bestmove "), 0U);
}

TEST_F(OldRoot, TheFirstIterationIsDepth2AndAnOnlyMoveIsSearchedToDepth3)
{
    Board board(start);
    engine.depthLimit = 1;
    oldLines(board);
    EXPECT_EQ(pool->position->rootDepth, 2);

    Board single("7k/8/6K1/8/8/8/8/7R b - - 0 1");
    for (const int limit : {0, 1, 30})
    {
        liftLimits();
        engine.depthLimit = limit;
        EXPECT_EQ(oldLines(single), "bestmove h8g8\n");
        EXPECT_EQ(pool->position->rootDepth, 3);
    }
}

TEST_F(OldRoot, BestMovesComeToTheHeadOfTheListAndTheOthersFollowByTheirNodes)
{
    // One iteration over moves whose scores are in the table: a node each, and another one for a
    // move that beats the best so far. The sixth is said to be worth 600 at least in a narrow
    // window, so it is searched in the wider one, where it is not worth that much. So it costs
    // more than a node and comes before the rest.
    Board board(start);
    const std::vector<moveStruct> moves = board.legalMoves();
    ASSERT_EQ(moves.size(), 20U);
    setWorths(board, {{0, 0}, {3, 500}, {5, NOWORTH}, {9, 700}}, -3000);
    makeMove(1, &moves[5], board.get(), false);
    putHashTableEntry(board->hashKey, EMPTYMOVE, -600, 127, boundUpper, 1);
    unmakeMove(1, &moves[5], board.get());
    engine.depthLimit = 2;
    const std::string text = oldLines(board);

    std::vector<moveStruct> expected = {moves[9], moves[3], moves[0], moves[5]};
    for (size_t i = 0; i < 20; ++i)
        if (i != 9 && i != 3 && i != 0 && i != 5) expected.push_back(moves[i]);
    EXPECT_EQ(board.texts(rootList()), board.texts(expected));
    for (size_t i = 0; i < 20; ++i)
    {
        const int score = rootList()[i].score;
        if (i == 3)
            EXPECT_TRUE(score > 1 && score < 255) << score;
        else
            EXPECT_EQ(score, i < 3 ? 255 : 1) << i;
    }
    EXPECT_EQ(bestMoveIn(text), moveToLA(&moves[9], WHITE));
    EXPECT_EQ(pool->position->rootScore, 700);
    EXPECT_EQ(pool->position->rootBestChanges, 3);

    // What the best move left in the table: its man's code, exact, at the iteration's depth.
    EXPECT_EQ(root().bestMove.score, board->board[moves[9].from]);
    const u64 entry = getHashTableEntry(board->hashKey);
    EXPECT_EQ(hashBound(entry), boundExact);
    EXPECT_EQ(hashDepth(entry), 2);
    EXPECT_EQ(hashScore(entry, 0), 700);
    EXPECT_EQ(moveWord(wordMove(entry)), moveWord(root().bestMove));
}

TEST_F(OldRoot, TheListLivesAcrossIterations)
{
    Board board(start);
    const std::vector<moveStruct> moves = board.legalMoves();
    setWorths(board, {{0, 0}, {3, 500}, {9, 700}}, -3000);
    engine.depthLimit = 3;
    oldLines(board);
    // In the second iteration the ninth move goes first and stays; the former best ones are
    // nothing but moves of one node now.
    std::vector<moveStruct> expected = {moves[9], moves[3], moves[0]};
    for (size_t i = 0; i < 20; ++i)
        if (i != 9 && i != 3 && i != 0) expected.push_back(moves[i]);
    EXPECT_EQ(board.texts(rootList()), board.texts(expected));
    EXPECT_EQ(rootList()[0].score, 255);
    EXPECT_EQ(rootList()[1].score, 1);
    EXPECT_EQ(pool->position->rootBestChanges, 1);
    EXPECT_EQ(pool->position->rootDepth, 3);
    EXPECT_TRUE(sameMove(root().currentMove, moves[19])) << "the last one searched";
    // The two that beat the first in the first iteration did so in a null window, and then again.
    EXPECT_EQ(pool->position->nodes, 20U + 2U + 20U);
}

TEST_F(OldRoot, AMovesByteIsItsNodesIn128thsOfTheFirstMovesButAtMost254)
{
    // All moves but one are in the table and cost a node each, so the nodes of an iteration, the
    // difference of two searches, give those of that one.
    int halves = 0;
    int wholes = 0;
    int held = 0;
    for (const char* fen : quietPositions)
    {
        Board board(fen);
        const size_t count = board.legalMoves().size();
        const moveStruct first = board.legalMoves()[0];
        const moveStruct last = board.legalMoves()[count - 1];
        const auto nodesUpTo = [&](int depth, const std::vector<std::pair<size_t, int>>& worths)
        {
            liftLimits();
            clearHashTable();
            setWorths(board, worths, -5000);
            engine.depthLimit = depth;
            oldLines(board);
            return nodes();
        };
        const auto byteOf = [&](moveStruct move)
        {
            for (const moveStruct& listed : rootList())
                if (sameMove(listed, move)) return int{listed.score};
            return -1;
        };
        for (int depth = 3; depth < 9; ++depth)
        {
            // The first move's nodes: of the other moves' one each, below 256 a whole, else
            // nothing.
            u64 before = nodesUpTo(depth - 1, {{0, NOWORTH}});
            const u64 firsts = nodesUpTo(depth, {{0, NOWORTH}}) - before - (count - 1);
            EXPECT_EQ(byteOf(first), 255);
            EXPECT_EQ(byteOf(last), firsts < 256 ? 1 : 0) << fen << " of " << firsts;
            halves += firsts >= 128 && firsts < 256;
            wholes += firsts >= 256 && firsts < 512;

            // The last move's nodes, beside one of the first.
            before = nodesUpTo(depth - 1, {{0, 30}, {count - 1, NOWORTH}});
            const u64 lasts =
                nodesUpTo(depth, {{0, 30}, {count - 1, NOWORTH}}) - before - (count - 1);
            if (sameMove(root().bestMove, last)) continue;
            EXPECT_EQ(byteOf(last), static_cast<int>(std::min<u64>(lasts, 254))) << fen;
            held += lasts > 254;
        }
    }
    EXPECT_GT(halves, 0);
    EXPECT_GT(wholes, 0);
    EXPECT_GT(held, 0);
}

TEST_F(OldRoot, LinesCutToLegalMovesLeaveTheListAlone)
{
    // More than one thread makes the boss check each line that it writes.
    Board board("8/8/1p1k4/p1p2ppp/P1P2P2/1P1K2PP/8/8 w - - 0 40");
    engine.nofThreads = 2;
    engine.depthLimit = 12;
    const std::string text = oldLines(board);
    EXPECT_NE(text.find(" depth 12 "), std::string::npos) << text;
    std::vector<moveStruct> list = rootList();
    ASSERT_EQ(list.size(), board.legalMoves().size());
    EXPECT_EQ(list[0].score, 255);
    EXPECT_EQ(bestMoveIn(text), moveToLA(&list[0], WHITE));
    for (const moveStruct& legal : board.legalMoves())
        EXPECT_TRUE(std::any_of(list.begin(), list.end(),
                                [&](moveStruct move) { return sameMove(move, legal); }));
}

TEST_F(OldRoot, AStoppedIterationLeavesItsNewBestMoveButNotItsScore)
{
    // The first move's score is in the table; at the second node the clock has run out.
    Board board(start);
    setWorths(board, {{0, 300}}, NOWORTH);
    engine.nodeCheckInterval = 1;
    engine.maxTime = 0;
    const moveStruct first = board.legalMoves()[0];
    EXPECT_EQ(oldLines(board), "bestmove " + moveToLA(&first, WHITE) + "\n");
    EXPECT_EQ(pool->position->nodes, 2U);
    EXPECT_EQ(pool->position->rootDepth, 2);
    EXPECT_EQ(pool->position->rootDepthComplete, 0);
    EXPECT_EQ(pool->position->rootScore, evaluateN(0, board.get()));
    expectSamePosition(pool->position, board.get());
}

TEST_F(OldRoot, HelpersLeaveOutEveryThirdOrSixthDepthByTheirNumberAndTheSearch)
{
    struct
    {
        int id;
        int threads;
        u32 searches;
        std::vector<int> depths;
    } const schedules[] = {
        // (id + counter + 1 + searches / 2) divisible by 3, the depth being the counter + 2.
        {1, 2, 0, {2, 4, 5, 7, 8, 10, 11, 13}},
        {2, 4, 0, {3, 4, 6, 7, 9, 10, 12, 13}},
        {3, 4, 1, {2, 3, 5, 6, 8, 9, 11, 12}},
        {1, 2, 2, {3, 4, 6, 7, 9, 10, 12}},
        {1, 2, 5, {2, 3, 5, 6, 8, 9, 11, 12}},
        // The same by 6.
        {1, 5, 0, {2, 3, 4, 5, 7, 8, 9, 10, 11, 13}},
        {2, 8, 0, {2, 3, 4, 6, 7, 8, 9, 10, 12}},
        {17, 8, 3, {2, 3, 4, 5, 6, 8, 9, 10, 11, 12}},
    };
    Board board(stalemated);
    for (const auto& schedule : schedules)
        for (int limit = 2; limit <= 12; ++limit)
        {
            liftLimits();
            openSoftClock();
            engine.depthLimit = limit;
            engine.nofThreads = schedule.threads;
            hashHartBeat = schedule.searches;
            OpenWorker helper(schedule.id);
            helper.setPosition(board.get());
            helper.searchRootOld();
            const int reached = *std::find_if(schedule.depths.begin(), schedule.depths.end(),
                                              [limit](int depth) { return depth >= limit; });
            EXPECT_EQ(helper.currentDepth, reached) << schedule.id << " to " << limit;
            EXPECT_TRUE(theWorkForce.stopSearch);
        }
}

TEST_F(OldRoot, OfFiveThreadsAHelperLeavesADepthFrom11OnThatMoreThanTwoHaveBegun)
{
    struct
    {
        int threads;
        int others;
        int begun;
        int reached; // to the limit 11, by the helper 1, which leaves out depth 6 and 12 of itself
    } const cases[] = {
        {5, 3, 127, 10}, // to the last depth none is searched
        {5, 3, 9, 11},   // not beyond the counter, which is 9
        {5, 3, 10, 13},  {5, 2, 127, 11}, {6, 3, 127, 11}, {4, 3, 127, 11},
    };
    Board board(stalemated);
    for (const auto& each : cases)
    {
        theWorkForce.setNofWorkers(0);
        theWorkForce.workers.push_back(pool = new OpenBoss);
        pool->currentDepth = each.begun;
        for (int id = 2; id <= each.others; ++id)
        {
            auto* const other = new OpenWorker(id);
            other->currentDepth = each.begun;
            theWorkForce.workers.push_back(other);
        }
        liftLimits();
        openSoftClock();
        engine.depthLimit = 11;
        engine.nofThreads = each.threads;
        hashHartBeat = 0;
        OpenWorker helper(1);
        helper.setPosition(board.get());
        helper.searchRootOld();
        EXPECT_EQ(helper.currentDepth, each.reached)
            << each.threads << " threads, " << each.others << " at " << each.begun;
    }
}

TEST_F(OldRoot, TheShareOfTheBudgetFallsFromDepth6OnWhileTheFirstMoveStaysBest)
{
    // So long a time has passed that the search ends as soon as its share falls below the first or
    // the second tenth.
    Board board(start);
    for (const auto& [target, reached] :
         {std::pair(9'900'000, 2), {10'500'000, 6}, {11'700'000, 7}, {12'900'000, 8}})
    {
        liftLimits();
        clearHashTable();
        setWorths(board, {{0, 0}}, -3000);
        engine.startTime = static_cast<u64>(now() - 10'000'000);
        engine.targetTime = target;
        oldLines(board);
        EXPECT_EQ(pool->position->rootDepth, reached) << target;
    }

    // Without a move none stays best.
    Board none(stalemated);
    liftLimits();
    engine.startTime = static_cast<u64>(now() - 10'000'000);
    engine.targetTime = 10'500'000;
    oldLines(none);
    EXPECT_EQ(pool->currentDepth, 127);
}

TEST_F(OldRoot, WokenHelpersCompeteWithTheBoss)
{
    Board board(start);
    theWorkForce.workers.push_back(new Claimant(1, board.move("b1a3")));
    engine.nofThreads = 2;
    theWorkForce.stopSearch = true;
    const std::string claimed = oldLines(board);
    EXPECT_EQ(claimed.find("info score cp 31000 depth 60 seldepth "), 0U) << claimed;
    EXPECT_EQ(lineFromEnd(claimed, 1), "bestmove b1a3");
}

TEST_F(OldRoot, TwoThreadsEndWithOneLegalMove)
{
    for (const char* fen : {quietPositions[0], quietPositions[1], quietPositions[6]})
        for (const bool byDepth : {false, true})
        {
            theWorkForce.setNofWorkers(0);
            theWorkForce.workers.push_back(pool = new OpenBoss);
            theWorkForce.workers.push_back(new OldHelper(1));
            engine.nofThreads = 2;
            liftLimits();
            if (byDepth)
                engine.depthLimit = 7;
            else
            {
                engine.targetTime = 100;
                engine.maxTime = 300;
            }
            Board board(fen);
            const std::string text = oldLines(board);
            EXPECT_EQ(text.find("bestmove"), text.rfind("bestmove")) << text;
            EXPECT_NE(moveWord(board.move(bestMoveIn(text))), 0U) << text;
            for (const worker* each : theWorkForce.workers)
                expectSamePosition(OpenWorker::positionOf(each), board.get());
        }
}
