// SPDX-License-Identifier: MIT
//
// The tuner as the playing build has it: the training file, printing and stepping tables that the
// tests define, the error function and its workers, the scan for K, and the descent on error
// surfaces with a known minimum.

#include <atomic>
#include <chrono>
#include <cmath>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <thread>
#include <utility>

#include "tuner.h"

namespace
{

/// A worker whose error is whatever a function says, without positions.
class SurfaceWorker : public texelWorker
{
  public:
    SurfaceWorker(int number, std::function<double()> errorFunction)
        : texelWorker(number), surface(std::move(errorFunction))
    {
    }
    void calcTexelPosSubset() override { partialError = surface(); }

  private:
    std::function<double()> surface;
};

class Texel : public Tuner
{
  protected:
    static void writeFile(const std::string& content)
    {
        std::ofstream(trainingFile, std::ios::binary) << content;
    }

    /// Reads a training file with this content, silently and with success.
    static void read(const std::string& content)
    {
        writeFile(content);
        int status = -1;
        EXPECT_EQ(written([&] { status = readTexelPos(); }), "");
        EXPECT_EQ(status, 0);
    }

    /// The error of these positions with n workers.
    static double errorOf(const std::vector<texelPosStruct>& positions, int n)
    {
        texelPositions = positions;
        hire(n);
        return theTexelWorkForce.calcTexelError();
    }

    /// Replaces the pool by workers with these error functions.
    static void hireSurfaces(const std::vector<std::function<double()>>& surfaces)
    {
        hire(0);
        for (const auto& surface : surfaces)
            written(
                [&]
                {
                    const int id = static_cast<int>(theTexelWorkForce.workers.size());
                    theTexelWorkForce.workers.push_back(new SurfaceWorker(id, surface));
                });
    }

    /// One such worker, and a single record, so that the mean is the function's value.
    static void landscape(const std::function<double()>& surface)
    {
        hireSurfaces({surface});
        texelPositions = {{"8/8/8/8/8/8/8/8 w - - ", 0.5, 0}};
    }

    /// What a scan for K has tried, printed and returned.
    struct scanReport
    {
        std::vector<double> tried;
        std::vector<std::string> lines;
        double best = 0.0;
    };

    /// Runs the scan on an error that is a function of K.
    static scanReport scan(const std::function<double()>& surface)
    {
        scanReport report;
        landscape(
            [&]
            {
                report.tried.push_back(K);
                return surface();
            });
        report.lines = linesOf(written([&] { report.best = calcOptimalK(); }));
        return report;
    }

    /// Registers a table whose tuned elements are the `count` from `first` on.
    static void enter(const std::string& name, combEval* first, u32 count, i32 kind, bool packed,
                      i32 oneHalf = 0, bool padRows = false, bool mirrored = false)
    {
        const u32 firstIndex = static_cast<u32>(texelPars.size());
        for (u32 i = 0; i < count; ++i)
        {
            // In a mirrored table only files a to d of each rank are tuned.
            combEval* element = mirrored ? first + 8UL * (i / 4) + i % 4 : first + i;
            for (const bool midGame : {true, false})
                if (midGame || !oneHalf)
                    texelPars.push_back({name, &element->packed, count, firstIndex, packed, oneHalf,
                                         padRows, mirrored, midGame, kind});
        }
        nofTexelPars = static_cast<i32>(texelPars.size());
    }

    /// What is printed for a single table, whose arguments are those of `enter`.
    template <typename... Arguments> static std::string printed(Arguments... arguments)
    {
        texelPars.clear();
        enter(arguments...);
        return written(printTexelParameters);
    }
};

using TexelFile = Texel;
using TexelPrinter = Texel;
using TexelStep = Texel;
using TexelError = Texel;
using TexelK = Texel;
using TexelDescent = Texel;

// Pawnless draws, which score 0: bare kings, a knight, bishop against knight, rook against rook.
constexpr const char* drawn[] = {"8/8/4k3/8/8/4K3/8/8 w - - ", "8/8/4k3/8/8/4K3/8/8 b - - ",
                                 "8/8/4k3/8/8/4KN2/8/8 w - - ", "8/3n4/4k3/8/8/4KB2/8/8 b - -",
                                 "8/3r4/4k3/8/8/4KR2/8/8 w - - "};

// The side to move is the only difference, so the score is the tempo.
constexpr const char* whiteToMove = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ";
constexpr const char* blackToMove = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - ";

/// manyPositions() with the three results in turn.
std::vector<texelPosStruct> trainingSet()
{
    std::vector<texelPosStruct> set;
    constexpr double results[3] = {1.0, 0.5, 0.0};
    for (const std::string& fen : manyPositions())
        set.push_back({fen + ' ', results[set.size() % 3], 0});
    return set;
}

} // namespace


// Training file

TEST_F(TexelFile, CharactersOneToThreeOfTheWordAfterC9AreTheResult)
{
    const std::pair<double, std::vector<const char*>> cases[] = {
        {0.5, {"c9 \"1/2-1/2\";", "c9 \"1/2", "c9 x1/2junk and more", "c9 \"1/21-0\";"}},
        {1.0, {"c9 \"1-0\";", "c9 \"1-0", "c9 .1-0/2", "c9\t\"1-0\"; c9 \"0-1\";"}},
        // Anything else is a black win: a result without its opening quote, a word that is too
        // short, a line that ends at c9.
        {0.0,
         {"c9 \"0-1\";", "c9 \"*\";", "c9 1-0", "c9 1/2-1/2", "c9 \"\"1-0\"", "c9 \"1-1\"",
          "c9 \"1/3\"", "c9 \"1/\"2", "c9 \"", "c9 \"1", "c9 \"1-", "c9 1", "c9", "c9 \t "}}};
    for (const auto& [result, rests] : cases)
        for (const char* rest : rests)
        {
            read("8/8/8/8/8/8/8/8 w - - " + std::string(rest) + '\n');
            ASSERT_EQ(texelPositions.size(), 1U) << rest;
            EXPECT_EQ(texelPositions[0].fen, "8/8/8/8/8/8/8/8 w - - ") << rest;
            EXPECT_EQ(texelPositions[0].result, result) << rest;
            EXPECT_EQ(texelPositions[0].spare, 0) << rest;
        }
}

TEST_F(TexelFile, TheWordsBeforeC9AreKeptEachWithASpaceAfterIt)
{
    const std::pair<const char*, const char*> cases[] = {
        {" \t4k3/8/8/8/8/8/8/4K3\t\tw   -\t -  hmvc 3\tc9   \t\"1-0\";\n",
         "4k3/8/8/8/8/8/8/4K3 w - - hmvc 3 "},
        {"one c99 xc9 C9 c 9 c9; c9 \"1-0\"; c9 \"1/2\"\n", "one c99 xc9 C9 c 9 c9; "},
        {"c9 \"1-0\";", ""}, // no line end either
        {"a c9 \"1-0\";\r\n", "a "},
        {"a \"1-0\";\n\n \t \nb c9 \"1-0\";\nc", "b "}}; // lines without the word
    for (const auto& [content, fen] : cases)
    {
        read(content); // replaces what was read before
        ASSERT_EQ(texelPositions.size(), 1U) << content;
        EXPECT_EQ(texelPositions[0].fen, fen);
        EXPECT_EQ(texelPositions[0].result, 1.0) << content;
    }
    read("a c9 \"1-0\";\nb c9 \"0-1\";\nb c9 \"1/2-1/2\";\n");
    ASSERT_EQ(texelPositions.size(), 3U);
    for (const size_t i : {0U, 1U, 2U})
    {
        EXPECT_EQ(texelPositions[i].fen, i ? "b " : "a ") << i;
        EXPECT_EQ(texelPositions[i].result, i == 0 ? 1.0 : i == 1 ? 0.0 : 0.5) << i;
    }
    for (const char* empty : {"", "\n\n\n"})
    {
        read(empty);
        EXPECT_TRUE(texelPositions.empty());
    }
}


// Printer

TEST_F(TexelPrinter, EachKindHasItsForm)
{
    combEval pairs[4] = {X(12, -3), X(-1234, 5678), X(-12345, 12345), X(352, 274)};
    combEval numbers[4] = {25, -638, 30, -21};
    const std::string head = "TCONST combEval T[4] = ";
    const std::string table = "X(  12,  -3), X(-1234,5678), X(-12345,12345)";
    const struct
    {
        i32 kind;
        u32 count;
        bool packed;
        std::string text;
    } cases[] = {
        {1, 1, true, head + "X(  12,  -3);\n"},
        {3, 1, false, head + "25;\n"},
        {0, 3, true, head + "\n{\n" + table + "\n};\n"},
        {2, 3, true, head + "\n{\n" + table + "\n};\n"},
        {4, 3, true, head + "\n{\n" + table + "\n};\n"},
        {0, 2, false, head + "\n{\n25, -638\n};\n"},
        {5, 3, true, head + "\n{\n X(   0,   0), " + table + "\n};\n"},
        {6, 3, true, head + "\n{\n X(   0,   0), " + table + ", X( 0, 0) \n};\n"},
        {7, 3, true, head + "\n{\n X(   0,   0),  X(   0,   0), " + table + ", X( 0, 0) \n};\n"},
        {8, 4, false, head + "\n{\n 0, 25, -638, 30, -21\n};\n"},
        {9, 4, true,
         head + "\n{\n X(  82,  94), " + table + ", X( 352, 274), X(12000, 12000) \n};\n"},
        // Three kinds that make one table of piece squares.
        {10, 3, true, "TCONST combEval pieceSquareScore[6][NOFSQUARES] = \n{\n" + table + ",\n"},
        {11, 3, true, "// T[4]\n" + table + ",\n"},
        {12, 3, true, "// T[4]\n" + table + "\n};\n"}};
    for (const auto& [kind, count, packed, text] : cases)
        EXPECT_EQ(printed("T[4]", packed ? pairs : numbers, count, kind, packed, !packed), text)
            << kind;
}

TEST_F(TexelPrinter, ALineHasEightElementsAlsoOfPaddedAndMirroredTables)
{
    combEval table[32];
    for (int i = 0; i < 32; ++i) table[i] = i;
    const auto upTo = [](int count)
    {
        std::string text = "TCONST combEval T = \n{\n0";
        for (int i = 1; i < count; ++i) text += (i % 8 ? ", " : ", \n") + std::to_string(i);
        return text + "\n};\n";
    };
    for (const u32 count : {7U, 8U, 9U, 16U, 17U})
        EXPECT_EQ(printed("T", table, count, 0, false, 1), upTo(static_cast<int>(count)));
    // The row before the first tuned element and the row after the last; both wings.
    EXPECT_EQ(printed("T", table + 8, 8U, 0, false, 1, true), upTo(24));
    EXPECT_EQ(printed("T", table, 8U, 0, false, 1, false, true), upTo(16));
}


// Steps

TEST_F(TexelStep, AStepChangesOneHalfOrAPlainNumberAsAWhole)
{
    combEval pair;
    combEval number;
    enter("PAIR", &pair, 1, 1, true);
    enter("NUMBER", &number, 1, 3, false, 1);
    for (const int mg : {-32766, -300, -1, 0, 1, 300, 32766})
        for (const int eg : {-32766, -300, -1, 0, 1, 300, 32766})
            for (const int step : {+1, -2})
                for (const int half : {0, 1})
                {
                    pair = X(mg, eg);
                    stepTexelParameter(half, step);
                    EXPECT_EQ(pair, half ? X(mg, eg + step) : X(mg + step, eg)) << mg << ' ' << eg;
                }
    for (const int value : {-1, 65535})
    {
        number = value;
        stepTexelParameter(2, +1);
        EXPECT_EQ(plain(number), value + 1);
        stepTexelParameter(2, -2);
        EXPECT_EQ(plain(number), value - 1);
    }
}

TEST_F(TexelStep, AMirroredTableStaysSymmetric)
{
    combEval other = 0;
    combEval table[16];
    std::fill_n(table, 16, X(0, 0));
    enter("other", &other, 1, 3, false, 1);
    enter("table", table, 8, 0, true, 0, false, true);
    stepTexelParameter(1, +1);         // a1, mid-game
    stepTexelParameter(2 + 2 * 3, +1); // d1, end-game
    stepTexelParameter(1 + 2 * 6, -2); // c2, mid-game
    for (int i = 0; i < 16; ++i)
    {
        combEval expected = X(0, 0);
        if (i == 0 || i == 7) expected = X(1, 0);
        if (i == 3 || i == 4) expected = X(0, 1);
        if (i == 10 || i == 13) expected = X(-2, 0);
        EXPECT_EQ(table[i], expected) << i;
    }
}


// Error function

TEST_F(TexelError, AScoreIsTurnedIntoAShareByTheLogisticFunction)
{
    EXPECT_EQ(K, 1.72);
    EXPECT_EQ(nofTexelThreads, 1);
    EXPECT_NEAR(sigma(25), 0.5615679389736461, 1e-15);
    EXPECT_NEAR(sigma(-25), 0.43843206102635396, 1e-15);
    K = 1.0;
    EXPECT_EQ(sigma(0), 0.5);
    EXPECT_DOUBLE_EQ(sigma(400), 10.0 / 11.0);
    EXPECT_DOUBLE_EQ(sigma(-400), 1.0 / 11.0);
    K = 2.0;
    EXPECT_DOUBLE_EQ(sigma(400), 100.0 / 101.0);
    K = 0.0;
    for (const int score : {-32768, -1, 0, 500, 32767})
        EXPECT_EQ(sigma(static_cast<i16>(score)), 0.5) << score;
}

TEST_F(TexelError, ItIsTheMeanOfTheSquaredDifferences)
{
    // A draw scores 0, which predicts one half.
    for (const char* fen : drawn)
        for (const double result : {1.0, 0.5, 0.0})
            EXPECT_EQ(errorOf({{fen, result, 0}}, 1), result == 0.5 ? 0.0 : 0.25) << fen;
    // The side to move is ahead by the tempo: white to move and won, white to move and lost, black
    // to move and drawn, and a lost game that scores 0.
    const double up = 1.0 / (1.0 + std::pow(10.0, -1.72 * mgHalf(EVALTEMPO) / 400.0));
    const double sum = (1 - up) * (1 - up) + up * up + (0.5 - (1 - up)) * (0.5 - (1 - up)) + 0.25;
    const std::vector<texelPosStruct> set = {
        {whiteToMove, 1.0, 0}, {whiteToMove, 0.0, 0}, {blackToMove, 0.5, 0}, {drawn[0], 0.0, 0}};
    for (const int workers : {1, 4}) EXPECT_NEAR(errorOf(set, workers), sum / 4, 1e-15);
}

TEST_F(TexelError, AnyNumberOfWorkersGivesTheSameErrorAgainAndAgain)
{
    const double alone = errorOf(trainingSet(), 1);
    ASSERT_GT(alone, 0.0);
    ASSERT_LT(alone, 1.0);
    for (const int n : {3, 7, 24})
    {
        const double first = errorOf(trainingSet(), n);
        EXPECT_NEAR(first, alone, 1e-12 * alone);
        EXPECT_EQ(theTexelWorkForce.calcTexelError(), first);
    }
}

TEST_F(TexelError, SlicesAreEqualAndTheLastWorkerGetsTheRest)
{
    for (const auto& [count, slice] : {std::pair<size_t, size_t>{200, 8}, {3, 0}})
    {
        texelPositions = trainingSet();
        texelPositions.resize(count);
        hire(24);
        ASSERT_EQ(theTexelWorkForce.workers.size(), 24U);
        for (size_t w = 0; w < 24; ++w)
        {
            const texelWorker& worker = *theTexelWorkForce.workers[w];
            EXPECT_EQ(worker.id, static_cast<int>(w));
            ASSERT_EQ(worker.positions.size(), w < 23 ? slice : count - 23 * slice);
            for (size_t i = 0; i < worker.positions.size(); ++i)
            {
                EXPECT_EQ(worker.positions[i].fen, texelPositions[slice * w + i].fen);
                EXPECT_EQ(worker.positions[i].result, texelPositions[slice * w + i].result);
            }
        }
    }
}

TEST_F(TexelError, WithoutPositionsItIsNotANumberAndWithoutWorkersItIsZero)
{
    EXPECT_TRUE(std::isnan(errorOf({}, 24)));
    for (const texelWorker* worker : theTexelWorkForce.workers) EXPECT_EQ(worker->error(), 0.0);
    for (const int nobody : {0, -1})
    {
        EXPECT_EQ(errorOf({{drawn[0], 1.0, 0}}, nobody), 0.0);
        EXPECT_TRUE(theTexelWorkForce.workers.empty());
    }
}

TEST_F(TexelError, ARecordThatIsNoPositionIsEvenAndHarmsNoOther)
{
    // A king is missing, or the clock is not a number in range.
    const std::string won = "4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - ";
    for (const std::string& fen :
         {std::string(), std::string(" "), std::string("x"), std::string("8/8/8/8/8/8/8/8 w - - "),
          std::string("4k3/8/8/8/8/8/PPPP4/QQQ5 w - - "),
          std::string("qqq5/pppp4/8/8/8/8/8/4K3 w - - "), won + "x 1 ", won + "2147483648 1 ",
          won + "-2147483649 1 ", won + "99999999999999999999 1 ", won + "- "})
        EXPECT_DOUBLE_EQ(errorOf({{drawn[0], 0.5, 0}, {fen, 1.0, 0}, {drawn[1], 0.0, 0}}, 1),
                         (0.0 + 0.25 + 0.25) / 3)
            << fen;
    // With a readable clock the position is won, so the error is nearly 0.
    for (const char* clock : {"2147483647 1 ", "-2147483648 ", "12; 1 "})
        EXPECT_LT(errorOf({{won + clock, 1.0, 0}}, 1), 1e-6) << clock;
}

TEST_F(TexelError, EachRecordCountsAsTheBoardOfItsText)
{
    // Played positions, boards of any pieces, and texts with pieces beyond h8 or other letters.
    std::vector<std::string> fens = manyPositions();
    std::mt19937 random(85);
    for (const std::string_view letters : {"PpNnBbRrQqKk12345678", "PNBRQKpnbrqk8", "QqKk1x?"})
        for (int i = 0; i < 300; ++i)
        {
            std::string fen = "k";
            for (int n = 0; n < 7 + i % 80; ++n)
                fen += n % 11 == 9 ? '/' : letters[random() % letters.size()];
            fens.push_back(fen + (i % 2 ? "K w KQkq e6 3 9" : "K b - e3"));
        }

    std::vector<texelPosStruct> set;
    double sum = 0.0;
    for (const std::string& fen : fens)
    {
        Board board(fen);
        const int score = evaluateN(0, board.get());
        const double share = sigma(static_cast<i16>(board->sideToMove == WHITE ? score : -score));
        set.push_back({fen, 0.5, 0});
        sum += (0.5 - share) * (0.5 - share);
    }

    // To the last bit, and again.
    EXPECT_EQ(errorOf(set, 1), sum / static_cast<double>(set.size()));
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), sum / static_cast<double>(set.size()));
    int kinds[3] = {};
    for (const texelBoardStruct& board : theTexelWorkForce.workers[0]->boards) ++kinds[board.kind];
    EXPECT_EQ(kinds[boardEven], 0);
    EXPECT_GT(kinds[boardPlanes], 200);
    EXPECT_GT(kinds[boardText], 100);
}

TEST_F(TexelError, OnlyATextWithoutABoardIsReadAgain)
{
    const std::pair<const char*, texelBoardKind> cases[] = {
        {"4k3/8/8/8/8/8/PPPP4/QQQ1K3 b - - 7 1 ", boardPlanes},
        {"kkk5/KKKKKKKK/pppppppp/PPPPPPPP/qqqqqqqq/QQQQQQQQ/rrrrrrrr/RNBQrnbq w", boardPlanes},
        {"4k3/8/8/8/8/8/1PPP4/QQQ1K3N w - - ", boardPlanes}, // beyond h1: on a2
        {"k6rP/8/8/8/8/8/8/7K w - - ", boardPlanes},         // beyond h8: on a1
        {"k7/8/8/8/8/8/8/7K w - - x 1 ", boardEven},
        {"8/8/8/8/8/8/8/7K w - - ", boardEven},
        {"", boardEven},
        {"4k3/8/8/8/8/8/PPPP4/QQQ1K3N w - - ", boardText}, // a2 twice
        {"k7/8/8/x7/8/8/8/7K w - - ", boardText}};         // a letter that names no piece
    for (const auto& [fen, kind] : cases)
    {
        errorOf({{fen, 1.0, 0}}, 1);
        ASSERT_EQ(theTexelWorkForce.workers[0]->boards.size(), 1U) << fen;
        EXPECT_EQ(int{theTexelWorkForce.workers[0]->boards[0].kind}, int{kind}) << fen;
        EXPECT_EQ(theTexelWorkForce.workers[0]->positions[0].fen, fen);
    }
}

TEST_F(TexelError, APositionWithTheKeyZeroTakesAnEmptyEntryForItsOwn)
{
    // Won for white; but an empty entry of the evaluation cache has the key 0 and the score 0.
    const std::string fen = "4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - ";
    const u64 key = Board(fen)->hashKey;
    hashCodeCastling[0] ^= key;
    EXPECT_EQ(errorOf({{fen, 1.0, 0}}, 1), 0.25);
    EXPECT_EQ(theTexelWorkForce.workers[0]->boards[0].kind, boardText);
    hashCodeCastling[0] ^= key;

    // An empty entry of the pawn cache is a structure worth nothing, without a passed pawn.
    const std::string pawns = "4k3/8/8/3P4/8/4p3/1P6/2R1K3 b - - ";
    const u64 pawnKey = Board(pawns)->pawnHashKey;
    hashCodePiece[KING + WHITE][E1] ^= pawnKey;
    Board board(pawns);
    const double difference = 1.0 - sigma(static_cast<i16>(-evaluateN(0, board.get())));
    EXPECT_EQ(board->pawnHashKey, 0U);
    EXPECT_EQ(errorOf({{pawns, 1.0, 0}}, 1), difference * difference);
    EXPECT_EQ(theTexelWorkForce.workers[0]->boards[0].kind, boardText);
    hashCodePiece[KING + WHITE][E1] ^= pawnKey;
}


// Workers

TEST_F(TexelError, AllWorkersAreStartedBeforeTheFirstIsWaitedFor)
{
    texelPositions = {{drawn[0], 0.5, 0}};
    std::atomic<int> arrived = 0;
    const auto meet = [&]
    {
        ++arrived;
        for (int tries = 0; tries < 20000 && arrived < 3; ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return arrived == 3 ? 1.0 : 1000.0;
    };
    hireSurfaces({meet, meet, meet});
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), 3.0);
}

TEST_F(TexelError, SharesAreSummedInTheOrderOfTheWorkers)
{
    texelPositions = {{drawn[0], 0.5, 0}, {drawn[1], 0.5, 0}};
    // 1e16 swallows the 1 that is added to it, so any other order gives 0.
    hireSurfaces({[] { return 1e16; }, [] { return -1e16; }, [] { return 1.0; }});
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), 0.5);
}


// Scan for K

TEST_F(TexelK, FiveLevelsRunFromOneBelowTheBestToOneAboveInTenthsOfTheirStep)
{
    const scanReport report = scan([] { return std::abs(K - 1.0); });
    EXPECT_NEAR(report.best, 1.0, 1e-9);
    EXPECT_EQ(K, report.tried.back()) << "K stays at the last candidate";
    ASSERT_EQ(report.lines.size(), report.tried.size() + 1);
    EXPECT_EQ(report.lines[0], "Trying the following K value 0 error: 1");
    EXPECT_EQ(report.lines[1], "Trying the following K value 0.1 error: 0.9");
    EXPECT_EQ(report.lines.back(), " Optimal K calculated : 1");

    // A level starts where the candidates go down. Its best is always 1.0.
    std::vector<std::vector<double>> levels;
    for (size_t i = 0; i < report.tried.size(); ++i)
    {
        if (i == 0 || report.tried[i] < report.tried[i - 1]) levels.emplace_back();
        levels.back().push_back(report.tried[i]);
    }
    ASSERT_EQ(levels.size(), 5U);
    double step = 1.0;
    for (const std::vector<double>& level : levels)
    {
        EXPECT_NEAR(level.front(), 1.0 - step, 1e-9);
        for (size_t i = 1; i < level.size(); ++i)
            EXPECT_NEAR(level[i] - level[i - 1], step / 10, 1e-9);
        // Rounding decides whether the upper end itself is still tried.
        EXPECT_NEAR(level.back(), 1.0 + 0.95 * step, 0.06 * step);
        step /= 10;
    }
}

TEST_F(TexelK, ANewBestExtendsTheScanUpwardAndATieDoesNot)
{
    const scanReport report = scan([] { return (K - 3.46) * (K - 3.46); });
    EXPECT_NEAR(report.best, 3.46, 1e-9);
    // The first level begins at 0 and ends one above its own best, which is 3.5.
    EXPECT_NEAR(*std::max_element(report.tried.begin(), report.tried.end()), 4.45, 0.06);

    const scanReport even = scan([] { return 0.125; });
    EXPECT_EQ(even.best, 0.0) << "the first candidate";
    EXPECT_LT(*std::max_element(even.tried.begin(), even.tried.end()), 1.01);

    const scanReport none = scan([] { return std::numeric_limits<double>::quiet_NaN(); });
    EXPECT_EQ(none.best, 1.0) << "without positions";
}


// Descent

TEST_F(TexelDescent, ItEndsInTheMinimumAndPrintsEachKeptStep)
{
    combEval number = 0;
    combEval pair = X(0, 0);
    enter("number", &number, 1, 3, false, 1);
    enter("pair", &pair, 1, 1, true);
    landscape(
        [&]
        {
            const int a = plain(number) - 1;
            const int b = mgHalf(pair) + 2;
            const int c = egHalf(pair) - 3;
            return (a * a + b * b + c * c) / 14.0;
        });
    // 1 + 4 + 9 at the start; a pass brings each of the three one nearer. Six digits are printed.
    EXPECT_EQ(written(doTexelTuning), "Starting error 1\n"
                                      "Min error 0.928571 parameter 0 number\n"
                                      "Min error 0.714286 parameter 1 pair\n"
                                      "Min error 0.357143 parameter 2 pair\n"
                                      "\n Improving: 1\n"
                                      "Min error 0.285714 parameter 1 pair\n"
                                      "Min error 0.0714286 parameter 2 pair\n"
                                      "\n Improving: 2\n"
                                      "Min error 0 parameter 2 pair\n"
                                      "\n Improving: 3\n"
                                      "\n Improving: 4\n"
                                      "Ending error 0 Minimum error 0\n");
    EXPECT_EQ(plain(number), 1);
    EXPECT_EQ(pair, X(-2, 3));
}

TEST_F(TexelDescent, AStepThatDoesNotImproveIsTakenBackAndOneThatDoesIsNotTriedDownwards)
{
    combEval number = 7;
    combEval pair = X(-5, 7);
    enter("pair", &pair, 1, 1, true);
    std::vector<combEval> seen;
    // At the start, a step up and a step down of either half, and at the end.
    const std::vector<combEval> stay = {X(-5, 7), X(-4, 7), X(-6, 7), X(-5, 8), X(-5, 6), X(-5, 7)};
    // The start is a minimum; everything is as good; the error is not a number.
    for (const double elsewhere : {1.0, 0.0, std::numeric_limits<double>::quiet_NaN()})
    {
        seen.clear();
        landscape(
            [&]
            {
                seen.push_back(pair);
                return elsewhere == 1.0 && pair == X(-5, 7) ? 0.0 : elsewhere;
            });
        EXPECT_EQ(linesOf(written(doTexelTuning)).size(), 4U) << "one pass without a kept step";
        EXPECT_EQ(seen, stay);
    }
    std::vector<int> tried;
    texelPars.clear();
    enter("number", &number, 1, 3, false, 1);
    landscape(
        [&]
        {
            tried.push_back(plain(number));
            return static_cast<double>(std::abs(plain(number) - 9));
        });
    written(doTexelTuning);
    EXPECT_EQ(tried, (std::vector<int>{7, 8, 9, 10, 8, 9}));
}

TEST_F(TexelDescent, EveryTenthPassPrintsTheTables)
{
    combEval number = 0;
    enter("number", &number, 1, 3, false, 1);
    landscape([&] { return static_cast<double>(std::abs(plain(number) - 19)); });
    // Nineteen passes reach it, the twentieth finds nothing.
    const std::string text = written(doTexelTuning);
    const std::string number10 = "\n Improving: 10\nTCONST combEval number = 10;\nMin error 8 ";
    const std::string number19 = " Improving: 20\nTCONST combEval number = 19;\nEnding error 0 ";
    EXPECT_NE(text.find(number10), std::string::npos) << text;
    EXPECT_NE(text.find(number19), std::string::npos) << text;
    EXPECT_EQ(text.find("TCONST"), text.find(number10) + 16);
    EXPECT_EQ(text.find("TCONST", text.find("TCONST") + 1), text.rfind("TCONST"));
}


// The command

TEST_F(TexelDescent, AMissingFileEndsTheCommandAfterTheTablesAreBuiltAndBeforeAnyWorkerStarts)
{
    const u64 key = std::exchange(hashCodeBlackToMove, 0);
    EXPECT_EQ(written(doTheTexel),
              "There seems to be a problem with the tuning file. tuning not executed\n");
    EXPECT_EQ(hashCodeBlackToMove, key);
    EXPECT_TRUE(theTexelWorkForce.workers.empty());
    EXPECT_EQ(nofTexelThreads, 1);
    written([] { EXPECT_EQ(readTexelPos(), 9); });
}

TEST_F(TexelDescent, TheCommandStarts24WorkersAndHasNothingToTune)
{
    combEval lone = X(1, 2);
    enter("LONE", &lone, 1, 1, true);
    std::string content;
    for (const char* result : {"1-0", "1/2-1/2", "0-1"})
        content += std::string(drawn[0]) + "c9 \"" + result + "\";\n";
    writeFile(content);
    // Two errors of a quarter over three records.
    EXPECT_EQ(written(doTheTexel), repeated("Lets go\n", 24) +
                                       "Starting texel tuning....\n"
                                       "Starting error 0.166667\n"
                                       "\n Improving: 1\n"
                                       "Ending error 0.166667 Minimum error 0.166667\n");
    EXPECT_EQ(nofTexelThreads, 24);
    EXPECT_EQ(theTexelWorkForce.workers.size(), 24U);
}
