// SPDX-License-Identifier: MIT
//
// Perft on several threads, against perft on one thread and against known counts.

#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>

#include "support.h"

namespace
{

std::atomic<int> threadsStarted{0};

} // namespace

/// All threads of this program start here, so that tests can count them.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*run)(void*), void* argument) noexcept
{
    using function = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<function>(dlsym(RTLD_NEXT, "pthread_create"));
    ++threadsStarted;
    return create(thread, attributes, run, argument);
}

namespace
{

/// The result of perftMt, what it writes and the threads it starts.
struct counted
{
    u64 leaves;
    std::string text;
    int threads;
};

counted countMt(positionStruct* position, i32 depth, u32 threads)
{
    threadsStarted = 0;
    u64 leaves = 0;
    const std::string text = written([&] { leaves = perftMt(0, depth, position, threads); });
    return {leaves, text, threadsStarted};
}

/// What perftMt writes: the size of its list of jobs at the start and at the end.
std::string linesOf(u64 jobMoves)
{
    return "aantal elementen : 0\naantal elementen : " + std::to_string(jobMoves) + "\n";
}

const std::string start{fenStartPos};

} // namespace

TEST(PerftMt, AnyNumberOfThreadsCountsAsOneDoesWritesTheSizeOfTheListOfJobsAndRestoresThePosition)
{
    // A job is a pair of moves, each with two entries in the list.
    for (size_t i = 0; i < 200; i += 10)
    {
        const std::string& fen = manyPositions()[i];
        Board board(fen);
        const int depth = fen == start ? 4 : 3;
        const u64 expected = perft(0, depth, board.get());
        ASSERT_EQ(perftRev(0, depth, board.get()), expected) << fen;
        const u64 pairs = perft(0, 2, board.get());
        const auto before = std::make_unique<positionStruct>(*board.get());
        for (const u32 threads : {1U, 3U, 24U})
        {
            board.ply(1).moveListStart = board.ply(2).moveListStart = nullptr;
            const counted result = countMt(board.get(), depth, threads);
            EXPECT_EQ(result.leaves, expected) << fen << ' ' << threads;
            EXPECT_EQ(result.text, linesOf(2 * pairs));
            // The lists of answers are one after the other.
            if (pairs == 0) continue;
            EXPECT_EQ(board.ply(1).moveListEnd - board.ply(0).moveListEnd, static_cast<i64>(pairs));
        }
        EXPECT_EQ(std::memcmp(before.get(), board.get(), offsetof(positionStruct, plies)), 0);
        EXPECT_EQ(board.ply(0).castlingRights, before->plies[0].castlingRights);
    }
}

TEST(PerftMt, ADepthBelow3IsCountedByOneThreadAndWritesNothing)
{
    Board board(start);
    for (const auto& [depth, leaves] : {std::pair(-1, 1), {0, 1}, {1, 20}, {2, 400}})
    {
        const counted result = countMt(board.get(), depth, 2);
        EXPECT_EQ(result.leaves, static_cast<u64>(leaves)) << depth;
        EXPECT_EQ(result.text, "");
    }
}

TEST(PerftMt, APositionFurtherDownIsCountedByOneThread)
{
    // Only the ply after the double push has the en passant square.
    Board board("4k3/3p4/8/4P3/8/8/8/4K3 b - - 0 1");
    Board pushed("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 2");
    const moveStruct move = board.move("d7d5");
    makeMove(1, &move, board.get(), false);
    EXPECT_EQ(perftMt(1, 3, board.get(), 2), perft(0, 3, pushed.get()));
}

TEST(PerftMt, ARootWithoutMovesHasNoJobsAndStartsNoThread)
{
    for (const char* fen : {"7k/5Q2/6K1/8/8/8/8/8 b - - 0 1", "R5k1/5ppp/8/8/8/8/8/4K3 b - - 0 1"})
        for (const u32 threads : {1U, 5U})
        {
            Board board(fen);
            const counted result = countMt(board.get(), 4, threads);
            EXPECT_EQ(result.leaves, 0U) << fen;
            EXPECT_EQ(result.text, linesOf(0));
            EXPECT_EQ(result.threads, 0) << fen;
        }
}

TEST(PerftMt, NoMoreThreadsStartThanTheListOfJobsHasEntries)
{
    // Black has one move and white then 19, 14 with the rook and 5 with the king: 38 entries.
    Board board("7k/8/6K1/8/8/8/8/7R b - - 0 1");
    const u64 expected = perft(0, 3, board.get());
    for (const auto& [wanted, started] :
         {std::pair(0U, 0), {1U, 1}, {37U, 37}, {38U, 38}, {39U, 38}})
    {
        const counted result = countMt(board.get(), 3, wanted);
        EXPECT_EQ(result.leaves, wanted ? expected : 0) << wanted;
        EXPECT_EQ(result.text, linesOf(38)) << wanted;
        EXPECT_EQ(result.threads, started);
    }
}

TEST(PerftMt, ListsThatExceedTheMoveStackAreNotWrittenBeyondIt)
{
    // With so many queens the lists of answers to all first moves together are longer than the move
    // stack.
    Board board("qqqqqqqk/q5pp/1q1q1q1q/1q6/1Q6/1Q1Q1Q1Q/Q5PP/QQQQQQQK w - - 0 1");
    const size_t whole = MOVESTACKSIZE + MOVESTACKSLACK;
    std::vector<moveStruct> stack(whole + 40000, moveStruct{1, 2, 3, 4});
    board.ply(0).moveListStart = stack.data();
    const u64 pairs = perft(0, 2, board.get());
    ASSERT_GT(pairs, whole);
    const counted result = countMt(board.get(), 3, 2);
    EXPECT_EQ(result.text, linesOf(2 * pairs));
    EXPECT_EQ(result.leaves, perft(0, 3, board.get()));
    EXPECT_TRUE(std::all_of(stack.begin() + whole, stack.end(),
                            [](moveStruct move) {
                                return move == moveStruct{1, 2, 3, 4};
                            }));
}
