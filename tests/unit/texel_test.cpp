// SPDX-License-Identifier: MIT
//
// The tuner as the playing build has it: the training file, the printer and the steps on tables of
// the tests' own, the error function and its workers, the scan for K, and the descent on error
// surfaces with a known minimum. Each test runs in a folder of its own, since the file's name is
// fixed, and leaves the tuner's globals as it found them.

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <thread>
#include <utility>

#include "support.h"
#include "texel.h"

namespace
{

namespace fs = std::filesystem;

constexpr const char* trainingFile = "quiet-labeled.epd";

constexpr const char* fileMessage =
    "There seems to be a problem with the tuning file. tuning not executed\n";

/// What a call writes to standard output.
std::string outputOf(const std::function<void()>& call)
{
    testing::internal::CaptureStdout();
    call();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
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

/// A worker whose error is whatever a function says, without positions.
class SurfaceWorker : public texelWorker
{
  public:
    SurfaceWorker(int number, std::function<double()> errorFunction)
        : texelWorker(number), surface(std::move(errorFunction))
    {
    }
    ~SurfaceWorker() override
    {
        if (graveyard) graveyard->push_back(id);
    }
    void calcTexelPosSubset() override { partialError = surface(); }

    /// Ends the thread as the destructor does, but while the error function is still there. Leaves
    /// a thread that the destructor can join.
    void retire()
    {
        ownDesk.dismiss();
        thread.join();
        thread = std::thread([] {});
    }

    std::vector<int>* graveyard = nullptr; // where the numbers of ended workers are noted

  private:
    std::function<double()> surface;
};

class Texel : public testing::Test
{
  protected:
    void SetUp() override
    {
        std::string name = (fs::temp_directory_path() / "quillon-texel-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
        home = fs::current_path();
        fs::current_path(folder);
        scale = K;
        threads = nofTexelThreads;
    }

    void TearDown() override
    {
        theTexelWorkForce.setNofWorkers(0);
        texelPositions.clear();
        texelPars.clear();
        nofTexelPars = 0;
        K = scale;
        nofTexelThreads = threads;
        fs::current_path(home);
        fs::remove_all(folder);
    }

    static void writeFile(const std::string& content)
    {
        std::ofstream(trainingFile, std::ios::binary) << content;
    }

    /// Reads a training file with this content, silently and with success.
    static void read(const std::string& content)
    {
        writeFile(content);
        int status = -1;
        EXPECT_EQ(outputOf([&] { status = readTexelPos(); }), "");
        EXPECT_EQ(status, 0);
    }

    /// Starts n workers and returns what they print.
    static std::string hire(int n)
    {
        return outputOf([=] { theTexelWorkForce.setNofWorkers(n); });
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
            outputOf(
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
        report.lines = linesOf(outputOf([&] { report.best = calcOptimalK(); }));
        return report;
    }

    /// Registers the parameters of `count` elements from `first` on as the next table.
    static void enter(const std::string& name, combEval* first, u32 count, i32 kind, bool packed,
                      i32 oneHalf = 0, bool padRows = false, bool mirrored = false)
    {
        const u32 firstIndex = static_cast<u32>(texelPars.size());
        for (u32 i = 0; i < count; ++i)
        {
            // Of a mirrored table the files a to d of each rank.
            combEval* element = mirrored ? first + 8UL * (i / 4) + i % 4 : first + i;
            for (const bool midGame : {true, false})
                if (midGame || !oneHalf)
                    texelPars.push_back({name, &element->packed, count, firstIndex, packed, oneHalf,
                                         padRows, mirrored, midGame, kind});
        }
        nofTexelPars = static_cast<i32>(texelPars.size());
    }

    /// What the printer makes of one table alone.
    static std::string printed(const std::string& name, combEval* first, u32 count, i32 kind,
                               bool packed, i32 oneHalf = 0, bool padRows = false,
                               bool mirrored = false)
    {
        texelPars.clear();
        enter(name, first, count, kind, packed, oneHalf, padRows, mirrored);
        return outputOf(printTexelParameters);
    }

    fs::path folder;
    fs::path home;
    double scale = 0.0;
    i32 threads = 0;
};

using TexelFile = Texel;
using TexelPrinter = Texel;
using TexelStep = Texel;
using TexelError = Texel;
using TexelK = Texel;
using TexelDescent = Texel;

// Drawn without pawns, so that each is worth 0: bare kings, a knight, bishop against knight, and
// rook against rook.
constexpr const char* drawn[] = {"8/8/4k3/8/8/4K3/8/8 w - - ", "8/8/4k3/8/8/4K3/8/8 b - - ",
                                 "8/8/4k3/8/8/4KN2/8/8 w - - ", "8/3n4/4k3/8/8/4KB2/8/8 b - -",
                                 "8/3r4/4k3/8/8/4KR2/8/8 w - - "};

// Mirror images of each other, so that only the right to move counts.
constexpr const char* whiteToMove = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ";
constexpr const char* blackToMove = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - ";

/// Two hundred positions with results in turn.
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
        // The code has no test for black's win; a result without the opening quote starts too
        // early, some words are too short, and some lines end at the word.
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

TEST_F(TexelFile, ALineOfAMegabyteAndBytesThatAreNoTextHarmNothing)
{
    std::mt19937 random(84);
    std::string noise;
    for (int i = 0; i < 100000; ++i) noise += static_cast<char>(random());
    // A record made of every byte but white space.
    std::string word(1 << 20, 'x');
    for (int code = 0; code < 256; ++code)
        if (!std::isspace(code)) word += static_cast<char>(code);
    const std::string words = repeated("k ", 1 << 19);
    const std::string good = std::string(whiteToMove) + "c9 \"1-0\";\n";
    read(good + word + " c9 \"1/2-1/2\";\n" + words + "c9 \"1-0\";\n" + words + '\n' + good +
         noise);
    ASSERT_GE(texelPositions.size(), 4U);
    EXPECT_EQ(texelPositions[1].fen, word + ' ');
    EXPECT_EQ(texelPositions[1].result, 0.5);
    EXPECT_EQ(texelPositions[2].fen, words);
    EXPECT_EQ(texelPositions[3].fen, whiteToMove);
    hire(3);
    EXPECT_TRUE(std::isfinite(theTexelWorkForce.calcTexelError()));
}

TEST_F(TexelFile, AMissingFileAndAFolderGetOneMessageAndNoPositions)
{
    for (const bool isFolder : {false, true})
    {
        if (isFolder) fs::create_directory(trainingFile);
        int status = 0;
        EXPECT_EQ(outputOf([&] { status = readTexelPos(); }), fileMessage);
        EXPECT_EQ(status, 9);
        EXPECT_TRUE(texelPositions.empty());
    }
}


// Printer

TEST_F(TexelPrinter, WithoutParametersThereIsNothing)
{
    EXPECT_EQ(outputOf(printTexelParameters), "");
    combEval lone = X(1, 2);
    enter("LONE", &lone, 1, 1, true);
    nofTexelPars = 0; // the count decides, not the list
    EXPECT_EQ(outputOf(printTexelParameters), "");
}

TEST_F(TexelPrinter, EachKindHasItsForm)
{
    combEval pairs[4] = {X(12, -3), X(-1234, 5678), X(-12345, 12345), X(352, 274)};
    combEval numbers[4] = {25, -638, 30, -21};
    const std::string table = "X(  12,  -3), X(-1234,5678), X(-12345,12345)";
    const struct
    {
        i32 kind;
        u32 count;
        bool packed;
        std::string text; // after the name
    } cases[] = {
        {1, 1, true, "X(  12,  -3);\n"},
        {3, 1, false, "25;\n"},
        {0, 3, true, "\n{\n" + table + "\n};\n"},
        {2, 3, true, "\n{\n" + table + "\n};\n"},
        {4, 3, true, "\n{\n" + table + "\n};\n"},
        {0, 2, false, "\n{\n25, -638\n};\n"},
        {5, 3, true, "\n{\n X(   0,   0), " + table + "\n};\n"},
        {6, 3, true, "\n{\n X(   0,   0), " + table + ", X( 0, 0) \n};\n"},
        {7, 3, true, "\n{\n X(   0,   0),  X(   0,   0), " + table + ", X( 0, 0) \n};\n"},
        {8, 4, false, "\n{\n 0, 25, -638, 30, -21\n};\n"},
        {9, 4, true, "\n{\n X(  82,  94), " + table + ", X( 352, 274), X(12000, 12000) \n};\n"}};
    for (const auto& [kind, count, packed, text] : cases)
        EXPECT_EQ(printed("T[4]", packed ? pairs : numbers, count, kind, packed, !packed),
                  "TCONST combEval T[4] = " + text)
            << kind;
}

TEST_F(TexelPrinter, EightElementsMakeALineAndTheLastEndsNone)
{
    combEval table[17];
    for (int i = 0; i < 17; ++i) table[i] = i;
    for (const u32 count : {7U, 8U, 9U, 16U, 17U})
    {
        std::string text = "TCONST combEval T = \n{\n0";
        for (u32 i = 1; i < count; ++i) text += (i % 8 ? ", " : ", \n") + std::to_string(i);
        EXPECT_EQ(printed("T", table, count, 0, false, 1), text + "\n};\n");
    }
}

TEST_F(TexelPrinter, KindsTenToTwelveMakeOneTableOfPieces)
{
    combEval pawns[2] = {X(1, -1), X(2, -2)};
    combEval knight = X(3, -3);
    combEval kings[9];
    std::fill_n(kings, 9, X(4, 4));
    enter("the pawns", pawns, 2, 10, true);
    enter("the knights", &knight, 1, 11, true);
    enter("the kings", kings, 9, 12, true);
    EXPECT_EQ(outputOf(printTexelParameters), "TCONST combEval pieceSquareScore[6][NOFSQUARES] = \n"
                                              "{\n"
                                              "X(   1,  -1), X(   2,  -2),\n"
                                              "// the knights\n"
                                              "X(   3,  -3),\n"
                                              "// the kings\n" +
                                                  repeated("X(   4,   4), ", 8) +
                                                  "\n"
                                                  "X(   4,   4)\n"
                                                  "};\n");
}

TEST_F(TexelPrinter, PaddedRowsAndMirroredWingsArePrintedWithTheRest)
{
    // From a row before the first tuned element to a row after the last; twice as many of a
    // mirrored table.
    combEval table[32];
    for (int i = 0; i < 32; ++i) table[i] = i;
    std::string text = "TCONST combEval T = \n{\n0";
    for (int i = 1; i < 24; ++i) text += (i % 8 ? ", " : ", \n") + std::to_string(i);
    EXPECT_EQ(printed("T", table + 8, 8, 0, false, 1, true), text + "\n};\n");

    text = "TCONST combEval T = \n{\nX(   0,   0)";
    for (int i = 0; i < 16; ++i) table[i] = X(i % 8, 0);
    for (int i = 1; i < 16; ++i)
        text += (i % 8 ? ", X(   " : ", \nX(   ") + std::to_string(i % 8) + ",   0)";
    EXPECT_EQ(printed("T", table, 8, 0, true, 0, false, true), text + "\n};\n");
}

TEST_F(TexelPrinter, TheNextTableStartsAfterAllParametersOfTheLast)
{
    combEval both[2] = {X(1, 2), X(3, 4)};
    combEval midGameOnly[3] = {X(5, 0), X(6, 0), X(7, 0)};
    combEval number = 8;
    combEval last = X(9, 10);
    enter("A", both, 2, 0, true);
    enter("B", midGameOnly, 3, 0, true, 1);
    enter("C", &number, 1, 3, false, 1);
    enter("D", &last, 1, 1, true);
    EXPECT_EQ(outputOf(printTexelParameters),
              "TCONST combEval A = \n{\nX(   1,   2), X(   3,   4)\n};\n"
              "TCONST combEval B = \n{\nX(   5,   0), X(   6,   0), X(   7,   0)\n};\n"
              "TCONST combEval C = 8;\n"
              "TCONST combEval D = X(   9,  10);\n");
}


// Steps

TEST_F(TexelStep, ThePlayingBuildHasNothingToTune)
{
    combEval lone = X(1, 2);
    enter("LONE", &lone, 1, 1, true);
    setTexelParameters();
    EXPECT_TRUE(texelPars.empty());
    EXPECT_EQ(nofTexelPars, 0);
}

TEST_F(TexelStep, AStepMovesOneHalfByItsUnitsAndLeavesTheOther)
{
    combEval pair;
    enter("PAIR", &pair, 1, 1, true);
    for (const int mg : {-32767, -300, -2, -1, 0, 1, 2, 3, 300, 32766})
        for (const int eg : {-32766, -300, -2, -1, 0, 1, 2, 300, 32766})
            for (const int step : {+1, -2})
            {
                pair = X(mg, eg);
                stepTexelParameter(1, step);
                EXPECT_EQ(pair, X(mg, eg + step)) << mg << ' ' << eg << ' ' << step;
                if (mg + step < -32768) continue;
                pair = X(mg, eg);
                stepTexelParameter(0, step);
                EXPECT_EQ(pair, X(mg + step, eg)) << mg << ' ' << eg << ' ' << step;
            }
}

TEST_F(TexelStep, APlainNumberIsSteppedAsAWhole)
{
    combEval numbers[2] = {-1, 65535};
    enter("NUMBERS", numbers, 2, 0, false, 1);
    texelPars[1].midGameHalf = false; // a plain number has no halves
    stepTexelParameter(0, +1);
    stepTexelParameter(1, +1);
    EXPECT_EQ(plain(numbers[0]), 0);
    EXPECT_EQ(plain(numbers[1]), 65536);
    stepTexelParameter(0, -2);
    stepTexelParameter(1, -2);
    EXPECT_EQ(plain(numbers[0]), -2);
    EXPECT_EQ(plain(numbers[1]), 65534);
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
    // A position worth nothing contributes the square of its result less a half.
    for (const char* fen : drawn)
    {
        EXPECT_EQ(errorOf({{fen, 1.0, 0}}, 1), 0.25) << fen;
        EXPECT_EQ(errorOf({{fen, 0.5, 0}}, 1), 0.0) << fen;
        EXPECT_EQ(errorOf({{fen, 0.0, 0}}, 1), 0.25) << fen;
    }
    EXPECT_DOUBLE_EQ(errorOf({{drawn[0], 1.0, 0},
                              {drawn[1], 0.5, 0},
                              {drawn[2], 0.0, 0},
                              {drawn[3], 1.0, 0},
                              {drawn[4], 0.0, 0}},
                             2),
                     0.2);
    // The side to move is ahead by the tempo: four games, two of them with white to move and won
    // and lost, one with black to move and drawn, and a draw that is worth 0.
    const double up = 1.0 / (1.0 + std::pow(10.0, -1.72 * mgHalf(EVALTEMPO) / 400.0));
    const double sum = (1 - up) * (1 - up) + up * up + (0.5 - (1 - up)) * (0.5 - (1 - up)) + 0.25;
    const std::vector<texelPosStruct> set = {
        {whiteToMove, 1.0, 0}, {whiteToMove, 0.0, 0}, {blackToMove, 0.5, 0}, {drawn[0], 0.0, 0}};
    EXPECT_NEAR(errorOf(set, 1), sum / 4, 1e-15);
    EXPECT_NEAR(errorOf(set, 4), sum / 4, 1e-15);
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

TEST_F(TexelError, SharesAreSummedInTheOrderOfTheWorkersWhoLeaveTheLastFirst)
{
    texelPositions = {{drawn[0], 0.5, 0}, {drawn[1], 0.5, 0}};
    // Too large to notice the one that is added to it: only one order keeps it.
    hireSurfaces({[] { return 1e16; }, [] { return -1e16; }, [] { return 1.0; }});
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), 0.5);
    std::vector<int> graveyard;
    for (texelWorker* worker : theTexelWorkForce.workers)
        static_cast<SurfaceWorker*>(worker)->graveyard = &graveyard;
    hire(0);
    EXPECT_EQ(graveyard, (std::vector<int>{2, 1, 0}));
}

TEST_F(TexelError, AWorkerThatQuitsDoesNoFurtherJob)
{
    int jobs = 0;
    landscape([&] { return static_cast<double>(++jobs); });
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), 1.0);
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), 2.0);
    static_cast<SurfaceWorker*>(theTexelWorkForce.workers[0])->retire();
    EXPECT_EQ(jobs, 2);
}


// Scan for K

TEST_F(TexelK, TheScanEndsInTheMinimumAndPrintsItsWay)
{
    const scanReport report = scan([] { return std::abs(K - 1.2345); });
    EXPECT_NEAR(report.best, 1.2345, 1e-9);
    ASSERT_GT(report.lines.size(), 3U);
    EXPECT_EQ(report.lines[0], "Trying the following K value 0 error: 1.2345");
    EXPECT_EQ(report.lines[1], "Trying the following K value 0.1 error: 1.1345");
    EXPECT_EQ(report.lines.back(), " Optimal K calculated : 1.2345");
    EXPECT_EQ(report.lines.size(), report.tried.size() + 1);
    // K stays at the last candidate, at the upper end of the finest level.
    EXPECT_EQ(K, report.tried.back());
    EXPECT_NEAR(K, 1.2345 + 0.000095, 0.000016);
}

TEST_F(TexelK, FiveLevelsRunFromOneBelowTheBestToOneAboveInTenthsOfTheirStep)
{
    const scanReport report = scan([] { return (K - 1.0) * (K - 1.0); });
    // The best is 1.0 from the first level on; a level starts where the candidates go down.
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

TEST_F(TexelK, ANewBestExtendsTheScanUpwardAndATieIsNone)
{
    const scanReport report = scan([] { return (K - 3.46) * (K - 3.46); });
    EXPECT_NEAR(report.best, 3.46, 1e-9);
    // The first level begins at 0 and ends one above its own best, which is 3.5.
    EXPECT_NEAR(*std::max_element(report.tried.begin(), report.tried.end()), 4.45, 0.06);

    const scanReport even = scan([] { return 0.125; });
    EXPECT_EQ(even.best, 0.0); // 1.0 - 1.0, the very first
    EXPECT_EQ(even.lines.back(), " Optimal K calculated : 0");
    // From then on the first level ends at 1, so it never comes near 2.
    EXPECT_LT(*std::max_element(even.tried.begin(), even.tried.end()), 1.01);

    const scanReport none = scan([] { return std::numeric_limits<double>::quiet_NaN(); });
    EXPECT_EQ(none.best, 1.0) << "as without positions";
    EXPECT_EQ(none.lines.back(), " Optimal K calculated : 1");
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
    // 1 + 4 + 9, and each pass brings each of the three one nearer. Six digits are printed.
    EXPECT_EQ(outputOf(doTexelTuning), "Starting error 1\n"
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
    enter("number", &number, 1, 3, false, 1);
    enter("pair", &pair, 1, 1, true);
    std::vector<std::pair<int, combEval>> seen;
    const std::vector<std::pair<int, combEval>> stay = {
        {7, X(-5, 7)},                // the start
        {8, X(-5, 7)}, {6, X(-5, 7)}, // the number up and down
        {7, X(-4, 7)}, {7, X(-6, 7)}, // the mid-game
        {7, X(-5, 8)}, {7, X(-5, 6)}, // the end-game
        {7, X(-5, 7)}};               // the end
    // The start is a minimum; everything is as good; the error is not a number.
    for (const double elsewhere : {1.0, 0.0, std::numeric_limits<double>::quiet_NaN()})
    {
        seen.clear();
        landscape(
            [&]
            {
                seen.emplace_back(plain(number), pair);
                return elsewhere > 0.0 && number == combEval(7) && pair == X(-5, 7) ? 0.0
                                                                                    : elsewhere;
            });
        const std::vector<std::string> lines = linesOf(outputOf(doTexelTuning));
        ASSERT_EQ(lines.size(), 4U);
        EXPECT_EQ(lines[2], " Improving: 1");
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
    outputOf(doTexelTuning);
    EXPECT_EQ(tried, (std::vector<int>{7, 8, 9, 10, 8, 9}));
}

TEST_F(TexelDescent, AMirroredTableStaysSymmetric)
{
    // Files a and d of both ranks want something; the error reads the other wing. Another table
    // comes first, so that this one doesn't start at parameter 0.
    combEval other = X(0, 0);
    combEval table[16];
    enter("other", &other, 1, 1, true);
    std::fill_n(table, 16, X(0, 0));
    enter("table", table, 8, 0, true, 0, false, true);
    landscape(
        [&]
        {
            const auto offBy = [](combEval element, int mg, int eg)
            { return std::abs(mgHalf(element) - mg) + std::abs(egHalf(element) - eg); };
            return static_cast<double>(offBy(table[7], 3, -1) + offBy(table[4], -3, 1) +
                                       offBy(table[15], -2, 2) + offBy(table[10], 1, 1));
        });
    outputOf(doTexelTuning);
    for (int i = 0; i < 16; ++i)
    {
        combEval expected = X(0, 0);
        if (i == 0 || i == 7) expected = X(3, -1);
        if (i == 3 || i == 4) expected = X(-3, 1);
        if (i == 8 || i == 15) expected = X(-2, 2);
        if (i == 10 || i == 13) expected = X(1, 1);
        EXPECT_EQ(table[i], expected) << i;
    }
    EXPECT_EQ(other, X(0, 0));
}

TEST_F(TexelDescent, TheTenthPassPrintsTheTablesAndTheNinthDoesNot)
{
    combEval number = 0;
    enter("number", &number, 1, 3, false, 1);
    int target = 8;
    landscape([&] { return static_cast<double>(std::abs(plain(number) - target)); });

    // Eight passes reach it, the ninth finds nothing.
    const auto contains = [](const std::string& text, const std::string& part)
    { return text.find(part) != std::string::npos; };
    std::string text = outputOf(doTexelTuning);
    EXPECT_TRUE(contains(text, " Improving: 9\nEnding error")) << text;
    EXPECT_FALSE(contains(text, "TCONST")) << text;

    // Nineteen more: the tables as they are after passes 10 and 20.
    target = 8 + 19;
    text = outputOf(doTexelTuning);
    const std::string number18 = "\n Improving: 10\nTCONST combEval number = 18;\nMin error 8 ";
    const std::string number27 = " Improving: 20\nTCONST combEval number = 27;\nEnding error 0 ";
    EXPECT_TRUE(contains(text, number18)) << text;
    EXPECT_TRUE(contains(text, number27)) << text;
    EXPECT_EQ(text.find("TCONST", text.find("TCONST") + 1), text.rfind("TCONST"));
}


// The command

TEST_F(TexelDescent, AMissingFileEndsTheCommandAfterTheTablesAreBuiltAndBeforeAnyWorkerStarts)
{
    const u64 key = std::exchange(hashCodeBlackToMove, 0);
    EXPECT_EQ(outputOf(doTheTexel), fileMessage);
    EXPECT_EQ(hashCodeBlackToMove, key);
    EXPECT_TRUE(theTexelWorkForce.workers.empty());
    EXPECT_EQ(nofTexelThreads, 1);
}

TEST_F(TexelDescent, AllWorkersHaveStartedBeforeTheTuningIsAnnounced)
{
    std::string content;
    for (const char* result : {"1-0", "1/2-1/2", "0-1"})
        content += std::string(drawn[0]) + "c9 \"" + result + "\";\n";
    writeFile(content);
    // Two quarters over three records, and nothing to change.
    EXPECT_EQ(outputOf(doTheTexel), repeated("Lets go\n", 24) +
                                        "Starting texel tuning....\n"
                                        "Starting error 0.166667\n"
                                        "\n Improving: 1\n"
                                        "Ending error 0.166667 Minimum error 0.166667\n");
    EXPECT_EQ(nofTexelThreads, 24);
    ASSERT_EQ(theTexelWorkForce.workers.size(), 24U);
    EXPECT_EQ(K, 1.72);
}

TEST_F(TexelDescent, AnEmptyFileTerminatesWithAnErrorThatIsNotANumber)
{
    writeFile("");
    const std::vector<std::string> lines = linesOf(outputOf(doTheTexel));
    ASSERT_EQ(lines.size(), 24U + 5U);
    const std::string shown = lines[25].substr(std::string("Starting error ").size());
    EXPECT_TRUE(shown == "nan" || shown == "-nan") << shown;
    EXPECT_EQ(lines[28], "Ending error " + shown + " Minimum error " + shown);
}
