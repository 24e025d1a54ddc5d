// SPDX-License-Identifier: MIT
//
// Single nodes of the main search and of quiescence: the cases that whole searches rarely reach,
// which oracle_test.cpp compares with the model. The tests fill the evaluation cache with static
// evaluations and the transposition table with the scores of children, so each expectation follows
// from the rules of the node alone. A child's score is from its own side to move.

#include <algorithm>
#include <functional>

#include "support.h"

namespace
{

constexpr i8 DEEP = 127; // an entry of this depth decides every node

/// A position at a ply of a search without a clock, with empty tables.
class Node : public Board
{
  public:
    explicit Node(const std::string& fen, int at = 1) : Board(fen), here(static_cast<u8>(at))
    {
        theWorkForce.stopSearch = false;
        engine.infinite = true;
        engine.nodeCheckInterval = 4096;
        get()->nodesToClockCheck = 4096;
        clearHashTable();
        ply(here) = plyStruct(ply(0));
        ply(here).inCheck = isSideInCheck(get());
    }
    ~Node() { engine.infinite = false; }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    int search(int depth, int alpha, int beta)
    {
        return alfabeta(here, depth, static_cast<i16>(alpha), static_cast<i16>(beta), get(), 2);
    }

    int quiet(int depth, int alpha, int beta)
    {
        return quiescence(here, depth, static_cast<i16>(alpha), static_cast<i16>(beta), get());
    }

    int quietHash(int depth, int alpha, int beta)
    {
        return quiescenceHash(here, depth, static_cast<i16>(alpha), static_cast<i16>(beta), get());
    }

    /// Puts an entry for this position into the table and returns it as it is found.
    u64 enter(int score, int bound, moveStruct move = EMPTYMOVE, i8 depth = 0)
    {
        putHashTableEntry(get()->hashKey, move, static_cast<i16>(score), depth,
                          static_cast<u8>(bound), here);
        return entry();
    }

    u64 entry() { return getHashTableEntry(get()->hashKey); }

    /// Sets what evaluateN returns for a key with this side to move.
    void setEvaluation(int score, u64 key, u8 sideToMove)
    {
        putEvalHashEntry(get()->evalHashTable, key, sideToMove == WHITE ? score : -score);
    }

    void setEvaluation(int score) { setEvaluation(score, get()->hashKey, get()->sideToMove); }

    /// Makes each legal move in generated order and calls `visit` with its index and the move.
    void forEachChild(const std::function<void(size_t, moveStruct)>& visit)
    {
        generateMovesLegal(here, ply(here).moveListStart, get());
        const std::vector<moveStruct> moves(ply(here).moveListStart, ply(here).moveListEnd);
        for (size_t i = 0; i < moves.size(); ++i)
        {
            makeMove(static_cast<u8>(here + 1), &moves[i], get(), false);
            visit(i, moves[i]);
            unmakeMove(static_cast<u8>(here + 1), &moves[i], get());
        }
    }

    /// Sets the score of the child that has just been made, for the node search and quiescence.
    void settleChild(int score)
    {
        putHashTableEntry(get()->hashKey, EMPTYMOVE, static_cast<i16>(score), DEEP, boundExact,
                          static_cast<u8>(here + 1));
        setEvaluation(score);
    }

    void settleChildren(int score)
    {
        forEachChild([this, score](size_t, moveStruct) { settleChild(score); });
    }

    /// The key after a null move.
    u64 nullKey() { return get()->hashKey ^ hashCodeBlackToMove; }

    u64 visits() { return get()->nodes - 1 + get()->qNodes; }

  private:
    u8 here;
};

const std::string start{fenStartPos};
const std::string pawns = "4k3/8/8/8/8/8/PPPP4/4K3 w - - 0 1";
const std::string pawnsAndKnight = "4k3/8/8/8/8/8/PPPP4/1N2K3 w - - 0 1";
const std::string rookTakesPawn = "4k3/8/8/8/p7/8/8/R3K3 w - - 0 1"; // the only capture

} // namespace

TEST(SearchNode, ARepetitionOrATableEntryIsTheResultExceptAtTheRoot)
{
    for (const bool isRoot : {true, false})
    {
        Node node(start, isRoot ? 0 : 1);
        for (const char* text : {"g1f3", "g8f6", "f3g1", "f6g8"})
        {
            const moveStruct move = node.move(text);
            makeMove(1, &move, node.get(), false);
            node.ply(0).castlingRights = node.ply(1).castlingRights;
        }
        ASSERT_EQ(node->keyHistory[node->keyIndex - 5], node->hashKey);
        EXPECT_TRUE(node.search(1, -32767, 32767) == 0 || isRoot);
        EXPECT_EQ(node.visits() > 19, isRoot);

        Node stored(start, isRoot ? 0 : 1);
        stored.enter(123, boundExact, EMPTYMOVE, 9);
        EXPECT_EQ(stored.search(2, -32767, 32767) == 123, !isRoot);
        EXPECT_EQ(stored.visits() > 0, isRoot);
    }
}

TEST(SearchNode, APositionWithTheOtherSideToMoveIsNoRepetition)
{
    Node node(start, 1);
    for (const char* text : {"g1f3", "g8f6", "f3g1", "f6g8", "b1c3", "b8c6", "c3b1", "c6b8"})
    {
        const moveStruct move = node.move(text);
        makeMove(1, &move, node.get(), false);
        node.ply(0).castlingRights = node.ply(1).castlingRights;
    }
    // A null move can bring the same key to an odd distance.
    for (const int back : {5, 9}) node->keyHistory[node->keyIndex - back] = 0;
    for (const int back : {6, 8}) node->keyHistory[node->keyIndex - back] = node->hashKey;
    node.search(1, -32767, 32767);
    EXPECT_GT(node.visits(), 19U);
}

TEST(SearchNode, StalemateMateFromThePlyAndADrawByTheFiftyMoveCounterAreNotStored)
{
    for (const auto& [fen, ply, score] : {std::tuple("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", 1, 0),
                                          {"R3k3/8/4K3/8/8/8/8/8 b - - 0 1", 0, -32000},
                                          {"R3k3/8/4K3/8/8/8/8/8 b - - 0 1", 7, -31993},
                                          {"7k/8/8/8/8/8/Q7/K7 w - - 100 80", 1, 0}})
    {
        Node node(fen, ply);
        EXPECT_EQ(node.search(3, -32000, 32000), score) << fen;
        EXPECT_EQ(node.entry(), 0U) << fen;
    }
}

TEST(SearchNode, AtAHundredPliesOnlyACutOffOrAMateKeepsItsScore)
{
    // In check nothing is pruned before the moves. Taking the rook wins; the other evasions lose.
    const auto evade = [](int clock, int beta)
    {
        Node node("4k3/8/8/8/8/8/4r3/4K2Q w - - " + std::to_string(clock) + " 80");
        node.forEachChild([&node](size_t, moveStruct move)
                          { node.settleChild(move.to == sq("e2") ? -700 : 300); });
        return node.search(2, -1000, beta);
    };
    EXPECT_EQ(evade(99, 1000), 700);
    EXPECT_EQ(evade(100, 1000), 0);
    EXPECT_EQ(evade(100, 700), 700) << "a cut-off does not check the counter";
    EXPECT_EQ(evade(100, 701), 0);
    Node mate("6k1/5ppp/8/8/8/8/8/R3K3 w - - 99 80", 0);
    EXPECT_EQ(mate.search(2, -32767, 32767), 31999);
}

TEST(SearchNode, AMateFoundByPassingIsCutToBeta)
{
    for (const auto& [passed, result] : {std::pair(31872, 31872), {31873, 0}})
    {
        Node node("4k3/8/8/8/8/8/PPPP4/1N2K3 w - - 0 1");
        node.setEvaluation(50);
        putHashTableEntry(node.nullKey(), EMPTYMOVE, static_cast<i16>(-passed), DEEP, boundExact,
                          2);
        EXPECT_EQ(node.search(4, -1, 0), result);
    }
}

TEST(SearchNode, ProbCutSkipsAHashMoveThatIsNotLegal)
{
    // The bishop that could take the queen is pinned.
    Node node("4r2k/8/8/8/8/3q4/4B3/4K3 w - - 0 1");
    node.setEvaluation(0);
    node.settleChildren(50);
    const moveStruct pinned{sq("e2"), sq("d3"), KINDPLAIN, BISHOP};
    makeMove(2, &pinned, node.get(), false);
    node.settleChild(-2000);
    unmakeMove(2, &pinned, node.get());
    node.enter(0, boundUpper, pinned);
    EXPECT_EQ(node.search(5, 0, 1), -50);
}

TEST(SearchNode, TheCountdownToTheClockIsReloadedWithTheWholeInterval)
{
    Node node(start, 127); // the last ply searches no further
    hashHartBeat = 0;
    for (const auto& [before, after] : {std::pair(2, 1), {1, 0}, {0, 777}, {-1, 777}})
    {
        engine.nodeCheckInterval = 777;
        node->nodesToClockCheck = before;
        node.search(1, 0, 1);
        EXPECT_EQ(node->nodesToClockCheck, after);
    }
}

TEST(SearchNode, TheHistoryIsHalvedWhenACutOffRaisesACellToItsLimit)
{
    // The second move cuts off, so it gains 9, and the first is charged as much.
    for (const auto& [good, bad, isHalved] :
         {std::tuple(131062U, 131062U, false), {131063U, 131062U, true}, {131062U, 131063U, true}})
    {
        Node node(pawns);
        node.setEvaluation(0);
        node.forEachChild([&](size_t i, moveStruct) { node.settleChild(i == 1 ? -200 : 50); });
        const std::vector<moveStruct> order = node.legalMoves();
        ASSERT_EQ(node->board[order[0].from] + node->board[order[1].from], PAWN + PAWN);
        u32& gained = node->historyGood[0][order[1].to] = good;
        u32& charged = node->historyBad[0][order[0].to] = bad;
        // The first move still has the highest ratio.
        node->historyGood[0][order[0].to] = 1U << 24;
        node->historyBad[0][order[1].to] = 100000;
        node->historyGood[11][0] = node->historyBad[11][63] = 7;
        EXPECT_EQ(node.search(3, 0, 100), 200);
        EXPECT_EQ(gained, (good + 9) >> isHalved);
        EXPECT_EQ(charged, (bad + 9) >> isHalved);
        EXPECT_EQ(node->historyGood[11][0] + node->historyBad[11][63], isHalved ? 6U : 14U);
    }
}

TEST(SearchNode, AStoppedNodeReturns0)
{
    Node node(pawnsAndKnight);
    node.setEvaluation(300);
    theWorkForce.stopSearch = true;
    EXPECT_EQ(node.search(5, 0, 100), 0);
    EXPECT_EQ(node.visits(), 0U);
}

TEST(SearchNode, LateMovePruningSparesFullWindowsAndTheRoot)
{
    for (const bool isRoot : {false, true})
    {
        Node node(start, isRoot ? 0 : 1);
        node.setEvaluation(0);
        node.settleChildren(50);
        EXPECT_EQ(node.search(1, 0, isRoot ? 1 : 2), -50);
        EXPECT_EQ(node.visits(), 20U);
    }
}

TEST(SearchNode, AtPly127TheEvaluationIsReturnedEvenInCheck)
{
    Node node("4k3/8/8/8/8/8/4r3/4K3 w - - 0 1", 127);
    EXPECT_EQ(node.quiet(0, -32767, 32767), evaluateN(0, node.get()));
    EXPECT_EQ(node.search(3, -32767, 32767), evaluateN(0, node.get()));
}


// Quiescence

// A deliberate oddity: the deepest band searches only recaptures, in check too.
TEST(SearchQuiescence, DeepBandForgetsChecks)
{
    // The king can take the rook unless it is defended, which leaves bare kings.
    for (const auto& [fen, score] : {std::pair("4k3/8/8/8/8/8/4r3/4K3 w - - 0 1", 0),
                                     {"4k3/8/8/8/8/4r3/4r3/4K3 w - - 0 1", -31999}})
    {
        Node node(fen);
        node.ply(0).currentMove = {sq("d2"), sq("e2"), 0, ROOK + BLACK};
        EXPECT_EQ(node.quiet(-14, -32767, 32767), score);
        EXPECT_EQ(node->qNodes, score ? 1U : 2U);
        EXPECT_EQ(node.ply(1).inCheck, 0);
    }
}

TEST(SearchQuiescence, AboveTheDeepBandAllEvasionsAreSearched)
{
    // No capture, three king moves.
    for (const int depth : {0, -4, -5, -13, -14, -40})
    {
        Node node("4k3/8/8/8/8/8/8/r3K3 w - - 0 1");
        node.ply(0).currentMove = {sq("a8"), sq("a1"), 0, ROOK + BLACK};
        node.forEachChild([&node](size_t i, moveStruct)
                          { node.setEvaluation(500 - static_cast<int>(i)); });
        EXPECT_EQ(node.quiet(depth, -32767, 32767), depth > -14 ? -498 : -31999) << depth;
        EXPECT_EQ(node.ply(1).inCheck != 0, depth > -14) << depth;
    }
}

TEST(SearchQuiescence, WithoutEvasionsItIsMateFromThePlyAndStalemateIsNotNoticed)
{
    for (const int depth : {0, -4, -5, -13, -14})
        for (const int ply : {1, 6})
        {
            Node node("R3k3/8/4K3/8/8/8/8/8 b - - 0 1", ply);
            EXPECT_EQ(node.quiet(depth, -32767, 32767), ply - 32000);
            EXPECT_EQ(node->qNodes, 1U);
        }
    Node stalemate("7k/5Q2/6K1/8/8/8/8/8 b - - 0 1");
    EXPECT_EQ(stalemate.quiet(0, -32767, 32767), evaluateN(1, stalemate.get()));
}

TEST(SearchQuiescence, AWindowClosedByMateDistanceReturnsAtOnce)
{
    // One point wider, the window returns the stand pat of 10. The last window lies between the
    // best mate from this ply and the best from the root.
    const int cases[][4] = {{0, -32767, -32000, -32000}, {0, 32001, 32767, 32001},
                            {0, -32767, -31999, 10},     {5, -32767, -31995, -31995},
                            {5, 31996, 32767, 31996},    {5, -32767, -31994, 10},
                            {5, 31997, 32000, 31997}};
    for (const auto& [ply, alpha, beta, score] : cases)
    {
        Node node(start, ply);
        node.setEvaluation(10);
        node.ply(ply).moveListEnd = nullptr;
        EXPECT_EQ(node.quiet(0, alpha, beta), score);
        EXPECT_EQ(node->qNodes, 1U);
        EXPECT_EQ(node.ply(ply).moveListEnd, nullptr);
    }
}


// Quiescence with the table

TEST(SearchQuiescenceHash, WithAnEmptyTableItEqualsQuiescence)
{
    for (size_t i = 0; i < manyPositions().size(); i += 3)
        for (const auto& [alpha, beta] : {std::pair(-32767, 32767), std::pair(0, 1),
                                          std::pair(-400, -350), std::pair(300, 500)})
            for (const int depth : {0, -6, -15})
            {
                Node plain(manyPositions()[i]);
                Node stored(manyPositions()[i]);
                EXPECT_EQ(plain.quiet(depth, alpha, beta), stored.quietHash(depth, alpha, beta));
                EXPECT_EQ(plain->qNodes, stored->qNodes) << manyPositions()[i];
                EXPECT_EQ(plain->nodes, stored->nodes);
            }
}

TEST(SearchQuiescenceHash, AnEntryOfAnyDepthCutsOffOrImprovesTheStandPat)
{
    const int cases[][5] = {{0, 10, boundExact, 10, true},      {0, 90, boundExact, 90, true},
                            {0, 50, boundLower, 50, true},      {0, 49, boundLower, 49, false},
                            {0, -50, boundUpper, -50, true},    {0, -49, boundUpper, -49, false},
                            {0, 90, boundUpper, 0, false},      {0, -90, boundLower, 0, false},
                            {30, 0, boundLower, 30, false},     {30, 0, boundUpper, 0, false},
                            {60, 30, boundUpper, 30, false},    {50, 20, boundLower, 50, true},
                            {0, 31990, boundExact, 31990, true}};
    for (const auto& [evaluation, score, bound, result, decides] : cases)
    {
        // Standing pat is always better than the capture.
        Node node(rookTakesPawn, 3);
        node.setEvaluation(evaluation);
        node.settleChildren(200);
        const u64 before = node.enter(score, bound);
        EXPECT_EQ(hashScore(before, 0), score > 31000 ? score + 3 : score);
        EXPECT_EQ(node.quietHash(0, -50, 50), result) << evaluation << ' ' << score;
        EXPECT_EQ(node->qNodes, decides ? 1U : 2U);
        EXPECT_TRUE(node.entry() == before || !decides);
    }
}

TEST(SearchQuiescenceHash, TheResultIsStoredAtDepth0WithItsBoundAndMove)
{
    // What the capture is worth, alpha, and the result; beta is 50, the stand pat 0. The last row
    // stays below alpha and stores the ply's hash move, although that is not a move of white.
    const moveStruct foreign{sq("e8"), sq("e7"), KINDPLAIN, KING + BLACK};
    for (const auto& [worth, alpha, score, bound] : {std::tuple(60, -10, 60, boundLower),
                                                     {50, -10, 50, boundLower},
                                                     {20, -10, 20, boundExact},
                                                     {-20, 10, 0, boundUpper}})
    {
        Node node(rookTakesPawn, 4);
        const moveStruct expected = bound == boundUpper ? foreign : node.move("a1a4");
        node.ply(4).hashMove = foreign;
        node.setEvaluation(0);
        node.settleChildren(-worth);
        EXPECT_EQ(node.quietHash(0, alpha, 50), score);
        const u64 entry = node.entry();
        EXPECT_EQ(hashBound(entry), bound) << worth;
        EXPECT_EQ(hashDepth(entry), 0);
        EXPECT_EQ(hashScore(entry, 4), score);
        EXPECT_EQ(wordMove(entry), expected);
    }

    // Mated: Qg7 is covered by the king.
    Node mated("7k/6Q1/6K1/8/8/8/8/8 b - - 0 1", 4);
    EXPECT_EQ(mated.quietHash(0, -32767, 32767), 4 - 32000);
    EXPECT_EQ(hashScore(mated.entry(), 4), 4 - 32000);
    EXPECT_EQ(hashBound(mated.entry()), boundUpper);
}

TEST(SearchQuiescenceHash, TheHashMoveOfThePlyIsPlayedFirstEvenIfItIsQuiet)
{
    // At beta, 50, nothing is generated. Below it the capture is searched too and is worth nothing.
    for (const int worth : {50, 49})
    {
        Node node(rookTakesPawn, 2);
        const moveStruct quiet = node.ply(2).hashMove = node.move("e1d1");
        node.setEvaluation(0);
        node.forEachChild([&](size_t, moveStruct move)
                          { node.settleChild(sameMove(move, quiet) ? -worth : 0); });
        node.ply(2).moveListEnd = nullptr;
        node.ply(3).inCheck = 1;
        EXPECT_EQ(node.quietHash(0, -10, 50), worth);
        EXPECT_TRUE(sameMove(wordMove(node.entry()), quiet));
        EXPECT_EQ(hashBound(node.entry()), worth == 50 ? boundLower : boundExact);
        EXPECT_EQ(node.ply(2).moveListEnd == nullptr, worth == 50);
        EXPECT_EQ(node->qNodes, worth == 50 ? 2U : 3U);
        EXPECT_EQ(node.ply(3).inCheck, 0) << "the child's record says whether it is in check";
    }
}
