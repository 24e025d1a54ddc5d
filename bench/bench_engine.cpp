// SPDX-License-Identifier: MIT
//
// Google Benchmark cases for the parts that a search spends its time in. Read them as ratios
// between two builds in one run; one absolute time says little on a shared machine.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "eval.h"
#include "general.h"
#include "hash.h"
#include "move.h"
#include "moveTable.h"
#include "perft.h"
#include "positions.h"
#include "search.h"
#include "texel.h"

namespace
{

/// One position of the list with what a searcher needs to evaluate and move in it.
struct searcher
{
    positionStruct position{};
    moveStruct stack[MOVESTACKSIZE + MOVESTACKSLACK];
    pawnHashTableStruct pawns{};
    evalHashTableStruct evaluations{};

    explicit searcher(std::string_view fen)
    {
        position.plies[0].moveListStart = stack;
        position.pawnHashTable = &pawns;
        position.evalHashTable = &evaluations;
        setPosition(std::string(fen), &position);
        generateMovesLegal(0, stack, &position);
    }
};

/// All positions of the list, made once.
std::vector<std::unique_ptr<searcher>>& searchers()
{
    static std::vector<std::unique_ptr<searcher>> all = []
    {
        std::vector<std::unique_ptr<searcher>> made;
        for (const std::string_view fen : benchPositions)
            made.push_back(std::make_unique<searcher>(fen));
        return made;
    }();
    return all;
}

void perftStart(benchmark::State& state)
{
    searcher start(fenStartPos);
    u64 leaves = 0;
    for (auto _ : state) leaves += perft(0, 5, &start.position);
    state.SetItemsProcessed(static_cast<int64_t>(leaves));
}
BENCHMARK(perftStart)->Unit(benchmark::kMillisecond);

void perftMiddlegame(benchmark::State& state)
{
    searcher middlegame("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1");
    u64 leaves = 0;
    for (auto _ : state) leaves += perft(0, 4, &middlegame.position);
    state.SetItemsProcessed(static_cast<int64_t>(leaves));
}
BENCHMARK(perftMiddlegame)->Unit(benchmark::kMillisecond);

/// Keeps what the engine writes on the way out of the report.
class silence
{
  public:
    silence() : output(dup(STDOUT_FILENO))
    {
        std::fflush(stdout);
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    ~silence()
    {
        std::fflush(stdout);
        dup2(output, STDOUT_FILENO);
        close(output);
    }
    silence(const silence&) = delete;
    silence& operator=(const silence&) = delete;

  private:
    int output;
};

/// Leaves from the initial position; 0 threads stand for the counter of one thread, to which the
/// others' items per second are the ratio.
void perftThreads(benchmark::State& state)
{
    searcher start(fenStartPos);
    const u32 threads = static_cast<u32>(state.range(0));
    u64 leaves = 0;
    const silence quiet;
    for (auto _ : state)
        leaves += threads ? perftMt(0, 6, &start.position, threads) : perft(0, 6, &start.position);
    state.SetItemsProcessed(static_cast<int64_t>(leaves));
}
BENCHMARK(perftThreads)
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Arg(3)
    ->Arg(24)
    ->ArgName("threads")
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

void makeAndUnmake(benchmark::State& state)
{
    int64_t moves = 0;
    for (auto _ : state)
        for (const auto& each : searchers())
        {
            generateMovesLegal(0, each->stack, &each->position);
            plyStruct& root = each->position.plies[0];
            for (const moveStruct* move = root.moveListStart; move < root.moveListEnd; ++move)
            {
                makeMove(1, move, &each->position, false);
                unmakeMove(1, move, &each->position);
                ++moves;
            }
        }
    state.SetItemsProcessed(moves);
}
BENCHMARK(makeAndUnmake);

/// A generator over all positions that suit it.
void runGenerator(benchmark::State& state, void (*generate)(int, moveStruct*, positionStruct*),
                  bool inCheck)
{
    int64_t lists = 0;
    for (auto _ : state)
        for (const auto& each : searchers())
        {
            if ((each->position.plies[0].inCheck != 0) != inCheck) continue;
            generate(0, each->stack, &each->position);
            benchmark::DoNotOptimize(each->position.plies[0].moveListEnd);
            ++lists;
        }
    state.SetItemsProcessed(lists);
}
BENCHMARK_CAPTURE(runGenerator, captures, generateMovesCaptures, false);
BENCHMARK_CAPTURE(runGenerator, quiets, generateMovesQuiets, false);
BENCHMARK_CAPTURE(runGenerator, quiescence, generateMovesQuiescence, false);
BENCHMARK_CAPTURE(runGenerator, legal, generateMovesLegal, false);
BENCHMARK_CAPTURE(runGenerator, simpleChecks, generateSimpleChecks, false);
BENCHMARK_CAPTURE(runGenerator, evasions, generateMovesEvade, true);

void recaptures(benchmark::State& state)
{
    int64_t lists = 0;
    for (auto _ : state)
        for (const auto& each : searchers())
        {
            if (each->position.plies[0].inCheck) continue;
            positionStruct& position = each->position;
            generateMovesCaptures(0, each->stack, &position);
            if (position.plies[0].moveListEnd == each->stack) continue;
            position.plies[0].currentMove = *each->stack;
            makeMove(1, each->stack, &position, false);
            position.plies[1].inCheck = isSideInCheck(&position);
            generateMovesRecapture(1, position.plies[1].moveListStart, &position);
            unmakeMove(1, each->stack, &position);
            ++lists;
        }
    state.SetItemsProcessed(lists);
}
BENCHMARK(recaptures);

void exchangeEvaluation(benchmark::State& state)
{
    int64_t asked = 0;
    for (const auto& each : searchers()) generateMovesLegal(0, each->stack, &each->position);
    for (auto _ : state)
        for (const auto& each : searchers())
        {
            const plyStruct& root = each->position.plies[0];
            for (const moveStruct* move = root.moveListStart; move < root.moveListEnd; ++move)
            {
                benchmark::DoNotOptimize(see(*move, 0, &each->position));
                ++asked;
            }
        }
    state.SetItemsProcessed(asked);
}
BENCHMARK(exchangeEvaluation);

/// `warm` leaves the caches as they are, else each evaluation is computed with the pawn table
/// warm, as in a search.
void evaluation(benchmark::State& state, bool warm)
{
    int64_t asked = 0;
    for (auto _ : state)
        for (const auto& each : searchers())
        {
            if (!warm)
                putEvalHashEntry(&each->evaluations, each->position.hashKey ^ (1ULL << 63), 0);
            benchmark::DoNotOptimize(evaluateN(0, &each->position));
            ++asked;
        }
    state.SetItemsProcessed(asked);
}
BENCHMARK_CAPTURE(evaluation, cached, true);
BENCHMARK_CAPTURE(evaluation, computed, false);

/// Keys of a random walk through the table, the same in every run.
std::vector<u64> someKeys()
{
    std::mt19937_64 random(1);
    std::vector<u64> keys(1 << 16);
    for (u64& key : keys) key = random();
    return keys;
}

void tableStore(benchmark::State& state)
{
    const std::vector<u64> keys = someKeys();
    size_t i = 0;
    for (auto _ : state)
        putHashTableEntry(keys[i++ & 0xffff], {E1, E8, KINDPLAIN, ROOK}, 12, 7, boundLower, 3);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(tableStore);

void tableProbe(benchmark::State& state)
{
    const std::vector<u64> keys = someKeys();
    for (const u64 key : keys) putHashTableEntry(key, EMPTYMOVE, 12, 7, boundLower, 3);
    size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(getHashTableEntry(keys[i++ & 0xffff]));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(tableProbe);


// Tuner

/// One error of a training set; items are positions. The pool says "Lets go" once a thread.
void tunerError(benchmark::State& state)
{
    const size_t count = static_cast<size_t>(state.range(0));
    const int threads = static_cast<int>(state.range(1));
    texelPositions.clear();
    for (size_t i = 0; i < count; ++i)
        texelPositions.push_back(
            {std::string(benchPositions[i % std::size(benchPositions)]), 0.5, 0});
    theTexelWorkForce.setNofWorkers(threads);
    for (auto _ : state) benchmark::DoNotOptimize(theTexelWorkForce.calcTexelError());
    state.SetItemsProcessed(state.iterations() * state.range(0));
    theTexelWorkForce.setNofWorkers(0);
    texelPositions.clear();
    texelPositions.shrink_to_fit();
}
BENCHMARK(tunerError)
    ->ArgsProduct({{10000, 100000, 700000}, {1, 2, 24}})
    ->ArgNames({"positions", "threads"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    engine.hashSizeMB = 16;
    initBitboardConstants();
    initHashCodeTables();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    destroyHashTable();
    return 0;
}
