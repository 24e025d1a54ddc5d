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

    /// Ends the thread as the destructor does, but while the error function is still there; leaves
    /// one behind that the destructor can join.
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

    /// The result that a line with this behind its position is read as.
    static double resultOf(const std::string& rest)
    {
        read("8/8/8/8/8/8/8/8 w - - " + rest + '\n');
        EXPECT_EQ(texelPositions.size(), 1U) << rest;
        if (texelPositions.size() != 1) return -1.0;
        EXPECT_EQ(texelPositions[0].fen, "8/8/8/8/8/8/8/8 w - - ") << rest;
        EXPECT_EQ(texelPositions[0].spare, 0) << rest;
        return texelPositions[0].result;
    }

    /// The pool with n workers; what they say when they start is what is returned.
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

    /// Replaces the pool by one worker with this error function, and the training set by a single
    /// record, so that the mean is the function's value.
    static void landscape(const std::function<double()>& surface)
    {
        hire(0);
        texelPositions = {{"8/8/8/8/8/8/8/8 w - - ", 0.5, 0}};
        outputOf([&] { theTexelWorkForce.workers.push_back(new SurfaceWorker(0, surface)); });
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

// Mirror images of each other, so that only the move counts: 25 in the mid-game.
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

TEST_F(TexelFile, ADrawIsHalfWhateverStandsBehindTheThreeCharacters)
{
    for (const char* rest :
         {"c9 \"1/2-1/2\";", "c9 \"1/2", "c9 x1/2junk and more", "c9 \"1/21-0\";"})
        EXPECT_EQ(resultOf(rest), 0.5) << rest;
}

TEST_F(TexelFile, AWhiteWinIsOneAndAnythingElseIsZero)
{
    for (const char* rest : {"c9 \"1-0\";", "c9 \"1-0", "c9 .1-0/2", "c9\t\"1-0\"; c9 \"0-1\";"})
        EXPECT_EQ(resultOf(rest), 1.0) << rest;
    // Black's win needs no test of its own; a result without the opening quote starts too early.
    for (const char* rest : {"c9 \"0-1\";", "c9 \"*\";", "c9 1-0", "c9 1/2-1/2", "c9 \"\"1-0\"",
                             "c9 \"1-1\"", "c9 \"1/3\"", "c9 \"1/\"2"})
        EXPECT_EQ(resultOf(rest), 0.0) << rest;
}

TEST_F(TexelFile, AWordTooShortForThreeCharactersIsZero)
{
    for (const char* rest : {"c9 \"", "c9 \"1", "c9 \"1-", "c9 \"1/", "c9 1"})
        EXPECT_EQ(resultOf(rest), 0.0) << rest;
}

TEST_F(TexelFile, ALineThatEndsAtTheWordCountsAsABlackWin)
{
    for (const char* rest : {"c9", "c9 ", "c9 \t "}) EXPECT_EQ(resultOf(rest), 0.0) << rest;
}

TEST_F(TexelFile, TheWordsAreJoinedByBlanksWhateverSeparatesThem)
{
    read(" \t4k3/8/8/8/8/8/8/4K3\t\tw   -\t -  hmvc 3\tc9   \t\"1-0\";\n");
    ASSERT_EQ(texelPositions.size(), 1U);
    EXPECT_EQ(texelPositions[0].fen, "4k3/8/8/8/8/8/8/4K3 w - - hmvc 3 ");
    EXPECT_EQ(texelPositions[0].result, 1.0);
}

TEST_F(TexelFile, OnlyTheTwoCharactersAreTheWord)
{
    read("one c99 xc9 C9 c 9 c9; c9 \"1-0\"; c9 \"1/2\"\n"
         "c9 \"1/2-1/2\";\n");
    ASSERT_EQ(texelPositions.size(), 2U);
    EXPECT_EQ(texelPositions[0].fen, "one c99 xc9 C9 c 9 c9; ");
    EXPECT_EQ(texelPositions[0].result, 1.0);
    EXPECT_EQ(texelPositions[1].fen, "");
    EXPECT_EQ(texelPositions[1].result, 0.5);
}

TEST_F(TexelFile, TheLastLineEndLeavesNoRecordBehindAndMayBeMissing)
{
    read("a c9 \"1-0\";\nb c9 \"1/2-1/2\";\n");
    EXPECT_EQ(texelPositions.size(), 2U);
    read("a c9 \"1-0\";\nb c9 \"1/2-1/2\";");
    ASSERT_EQ(texelPositions.size(), 2U);
    EXPECT_EQ(texelPositions[1].fen, "b ");
    EXPECT_EQ(texelPositions[1].result, 0.5);
    read("a c9 \"1-0\";\r\nb c9 \"1-0\r\n");
    EXPECT_EQ(texelPositions.size(), 2U);
    EXPECT_EQ(texelPositions[1].result, 1.0);
}

TEST_F(TexelFile, EachRecordIsKeptInTheOrderOfTheFile)
{
    constexpr const char* results[3] = {"1-0", "1/2-1/2", "0-1"};
    constexpr double values[3] = {1.0, 0.5, 0.0};
    constexpr size_t count = 5000;
    const auto numbered = [](size_t i)
    {
        std::ostringstream words;
        words << 'p' << i << " w ";
        return words.str();
    };
    std::string content;
    for (size_t i = 0; i < count; ++i) content += numbered(i) + "c9 \"" + results[i % 3] + "\";\n";
    read(content);
    ASSERT_EQ(texelPositions.size(), count);
    for (size_t i = 0; i < count; ++i)
    {
        ASSERT_EQ(texelPositions[i].fen, numbered(i));
        ASSERT_EQ(texelPositions[i].result, values[i % 3]);
    }
}

TEST_F(TexelFile, ALineWithoutTheWordIsLeftOutAndTheOthersAreKept)
{
    read("a c9 \"1-0\";\nb \"1/2-1/2\";\n\n \t \nc c9 \"1/2-1/2\";\nd");
    ASSERT_EQ(texelPositions.size(), 2U);
    EXPECT_EQ(texelPositions[0].fen, "a ");
    EXPECT_EQ(texelPositions[1].fen, "c ");
}

TEST_F(TexelFile, AnEmptyFileIsNoErrorAndHasNoRecord)
{
    read("");
    EXPECT_TRUE(texelPositions.empty());
    read("\n\n\n");
    EXPECT_TRUE(texelPositions.empty());
}

TEST_F(TexelFile, ASecondFileReplacesTheFirst)
{
    read("a c9 \"1-0\";\nb c9 \"1-0\";\n");
    read("c c9 \"1/2-1/2\";\n");
    ASSERT_EQ(texelPositions.size(), 1U);
    EXPECT_EQ(texelPositions[0].fen, "c ");
}

TEST_F(TexelFile, ALineOfAMegabyteIsReadLikeAnyOther)
{
    const std::string word(1 << 20, 'x');
    const std::string words = repeated("k ", 1 << 19);
    read("a c9 \"1-0\";\n" + word + "\n" + word + " c9 \"1/2-1/2\";\n" + words + "c9 \"1-0\";\n" +
         words + "\nb c9 \"1-0\";\n");
    ASSERT_EQ(texelPositions.size(), 4U);
    EXPECT_EQ(texelPositions[1].fen, word + ' ');
    EXPECT_EQ(texelPositions[1].result, 0.5);
    EXPECT_EQ(texelPositions[2].fen, words);
    EXPECT_EQ(texelPositions[3].fen, "b ");
    hire(2);
    EXPECT_TRUE(std::isfinite(theTexelWorkForce.calcTexelError()));
}

TEST_F(TexelFile, BytesThatAreNoTextHarmNothing)
{
    std::mt19937 random(84);
    std::string noise;
    for (int i = 0; i < 100000; ++i) noise += static_cast<char>(random());
    // A record made of every byte but the blanks and the line end.
    std::string word;
    for (int code = 0; code < 256; ++code)
        if (!std::isspace(code)) word += static_cast<char>(code);
    const std::string good = std::string(whiteToMove) + "c9 \"1-0\";\n";
    read(good + noise + '\n' + word + " c9 \"1/2\"\n" + good + noise);
    ASSERT_GE(texelPositions.size(), 3U);
    EXPECT_EQ(texelPositions[0].fen, whiteToMove);
    EXPECT_EQ(texelPositions[0].result, 1.0);
    hire(3);
    EXPECT_TRUE(std::isfinite(theTexelWorkForce.calcTexelError()));
}

TEST_F(TexelFile, AMissingFileGetsOneMessageAndNoPositions)
{
    int status = 0;
    EXPECT_EQ(outputOf([&] { status = readTexelPos(); }), fileMessage);
    EXPECT_EQ(status, 9);
    EXPECT_TRUE(texelPositions.empty());
}

TEST_F(TexelFile, AFolderOfThatNameCannotBeRead)
{
    fs::create_directory(trainingFile);
    int status = 0;
    EXPECT_EQ(outputOf([&] { status = readTexelPos(); }), fileMessage);
    EXPECT_EQ(status, 9);
    EXPECT_TRUE(texelPositions.empty());
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

TEST_F(TexelPrinter, KindsOneAndThreeAreLoneValues)
{
    combEval lone = X(-5, 7);
    EXPECT_EQ(printed("LONE", &lone, 1, 1, true), "TCONST combEval LONE = X(  -5,   7);\n");
    combEval number = -47;
    EXPECT_EQ(printed("NUMBER", &number, 1, 3, false, 1), "TCONST combEval NUMBER = -47;\n");
}

TEST_F(TexelPrinter, KindsZeroTwoAndFourAreTables)
{
    combEval table[3] = {X(12, -3), X(-1234, 5678), X(-12345, 12345)};
    for (const i32 kind : {0, 2, 4})
        EXPECT_EQ(printed("TABLE[3]", table, 3, kind, true),
                  "TCONST combEval TABLE[3] = \n"
                  "{\n"
                  "X(  12,  -3), X(-1234,5678), X(-12345,12345)\n"
                  "};\n");
    combEval numbers[2] = {-638, 0};
    for (const i32 kind : {0, 2, 4})
        EXPECT_EQ(printed("NUMBERS[2]", numbers, 2, kind, false, 1),
                  "TCONST combEval NUMBERS[2] = \n"
                  "{\n"
                  "-638, 0\n"
                  "};\n");
}

TEST_F(TexelPrinter, EightElementsMakeALineAndTheLastEndsNone)
{
    combEval table[17];
    for (int i = 0; i < 17; ++i) table[i] = i;
    const std::string head = "TCONST combEval T = \n{\n";
    EXPECT_EQ(printed("T", table, 7, 0, false, 1), head + "0, 1, 2, 3, 4, 5, 6\n};\n");
    EXPECT_EQ(printed("T", table, 8, 0, false, 1), head + "0, 1, 2, 3, 4, 5, 6, 7\n};\n");
    EXPECT_EQ(printed("T", table, 9, 0, false, 1), head + "0, 1, 2, 3, 4, 5, 6, 7, \n8\n};\n");
    EXPECT_EQ(printed("T", table, 16, 0, false, 1),
              head + "0, 1, 2, 3, 4, 5, 6, 7, \n8, 9, 10, 11, 12, 13, 14, 15\n};\n");
    EXPECT_EQ(printed("T", table, 17, 0, false, 1),
              head + "0, 1, 2, 3, 4, 5, 6, 7, \n8, 9, 10, 11, 12, 13, 14, 15, \n16\n};\n");
}

TEST_F(TexelPrinter, KindFiveStartsWithAZero)
{
    combEval table[2] = {X(30, 9), X(-28, 30)};
    EXPECT_EQ(printed("T[4]", table, 2, 5, true), "TCONST combEval T[4] = \n"
                                                  "{\n"
                                                  " X(   0,   0), X(  30,   9), X( -28,  30)\n"
                                                  "};\n");
}

TEST_F(TexelPrinter, KindSixStartsAndEndsWithAZero)
{
    combEval table[2] = {X(4, -4), X(2, 147)};
    EXPECT_EQ(printed("T[4]", table, 2, 6, true),
              "TCONST combEval T[4] = \n"
              "{\n"
              " X(   0,   0), X(   4,  -4), X(   2, 147), X( 0, 0) \n"
              "};\n");
}

TEST_F(TexelPrinter, KindSevenStartsWithTwoZerosAndEndsWithOne)
{
    combEval table[2] = {X(11, 5), X(104, 39)};
    EXPECT_EQ(printed("T[5]", table, 2, 7, true),
              "TCONST combEval T[5] = \n"
              "{\n"
              " X(   0,   0),  X(   0,   0), X(  11,   5), X( 104,  39), X( 0, 0) \n"
              "};\n");
}

TEST_F(TexelPrinter, KindEightIsPlainBehindAZero)
{
    combEval table[4] = {25, 25, 30, -21};
    EXPECT_EQ(printed("T[5]", table, 4, 8, false, 1), "TCONST combEval T[5] = \n"
                                                      "{\n"
                                                      " 0, 25, 25, 30, -21\n"
                                                      "};\n");
}

TEST_F(TexelPrinter, KindNineStandsBetweenTheFixedPawnAndKing)
{
    combEval table[4] = {X(352, 274), X(381, 293), X(484, 514), X(1043, 960)};
    EXPECT_EQ(printed("values[6]", table, 4, 9, true),
              "TCONST combEval values[6] = \n"
              "{\n"
              " X(  82,  94), X( 352, 274), X( 381, 293), X( 484, 514), X(1043, 960), "
              "X(12000, 12000) \n"
              "};\n");
}

TEST_F(TexelPrinter, KindsTenToTwelveMakeOneTableOfPieces)
{
    combEval pawns[2] = {X(1, -1), X(2, -2)};
    combEval knights[1] = {X(3, -3)};
    combEval kings[9] = {X(4, 4), X(4, 4), X(4, 4), X(4, 4), X(4, 4),
                         X(4, 4), X(4, 4), X(4, 4), X(5, 5)};
    enter("the pawns", pawns, 2, 10, true);
    enter("the knights", knights, 1, 11, true);
    enter("the kings", kings, 9, 12, true);
    EXPECT_EQ(outputOf(printTexelParameters),
              "TCONST combEval pieceSquareScore[6][NOFSQUARES] = \n"
              "{\n"
              "X(   1,  -1), X(   2,  -2),\n"
              "// the knights\n"
              "X(   3,  -3),\n"
              "// the kings\n"
              "X(   4,   4), X(   4,   4), X(   4,   4), X(   4,   4), "
              "X(   4,   4), X(   4,   4), X(   4,   4), X(   4,   4), \n"
              "X(   5,   5)\n"
              "};\n");
}

TEST_F(TexelPrinter, PaddedRowsStartARowEarlyAndPrintTwoRowsMore)
{
    combEval table[32];
    for (int i = 0; i < 32; ++i) table[i] = i;
    EXPECT_EQ(printed("T", table + 8, 8, 0, false, 1, true), "TCONST combEval T = \n"
                                                             "{\n"
                                                             "0, 1, 2, 3, 4, 5, 6, 7, \n"
                                                             "8, 9, 10, 11, 12, 13, 14, 15, \n"
                                                             "16, 17, 18, 19, 20, 21, 22, 23\n"
                                                             "};\n");
}

TEST_F(TexelPrinter, AMirroredTablePrintsBothWings)
{
    combEval table[16];
    for (int i = 0; i < 16; ++i) table[i] = X(i, -i);
    EXPECT_EQ(printed("T", table, 8, 0, true, 0, false, true),
              "TCONST combEval T = \n"
              "{\n"
              "X(   0,   0), X(   1,  -1), X(   2,  -2), X(   3,  -3), "
              "X(   4,  -4), X(   5,  -5), X(   6,  -6), X(   7,  -7), \n"
              "X(   8,  -8), X(   9,  -9), X(  10, -10), X(  11, -11), "
              "X(  12, -12), X(  13, -13), X(  14, -14), X(  15, -15)\n"
              "};\n");
}

TEST_F(TexelPrinter, TheNextTableStartsBehindAllParametersOfTheLast)
{
    combEval both[2] = {X(1, 2), X(3, 4)};
    combEval midGameOnly[3] = {X(5, 0), X(6, 0), X(7, 0)};
    combEval number = 8;
    combEval last = X(9, 10);
    enter("A", both, 2, 0, true);
    enter("B", midGameOnly, 3, 0, true, 1);
    enter("C", &number, 1, 3, false, 1);
    enter("D", &last, 1, 1, true);
    EXPECT_EQ(outputOf(printTexelParameters), "TCONST combEval A = \n"
                                              "{\n"
                                              "X(   1,   2), X(   3,   4)\n"
                                              "};\n"
                                              "TCONST combEval B = \n"
                                              "{\n"
                                              "X(   5,   0), X(   6,   0), X(   7,   0)\n"
                                              "};\n"
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

TEST_F(TexelStep, AnEndGameStepRepaysAndTakesTheBorrowOfANegativeMidGame)
{
    combEval pair = X(-5, 7);
    enter("PAIR", &pair, 1, 1, true);
    stepTexelParameter(1, +1);
    EXPECT_EQ(pair, X(-5, 8));
    stepTexelParameter(1, -2);
    EXPECT_EQ(pair, X(-5, 6));
    stepTexelParameter(1, +1);
    EXPECT_EQ(pair, X(-5, 7));
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

TEST_F(TexelStep, AMirroredElementWritesToTheOtherWingOfItsRank)
{
    combEval other = X(0, 0);
    combEval table[24];
    for (combEval& element : table) element = X(-5, 7);
    enter("OTHER", &other, 1, 1, true); // so that the table doesn't start at parameter 0
    enter("TABLE", table, 12, 0, true, 0, false, true);

    // Element 3 is d1, element 4 a2, element 10 c3: two parameters each, behind two of the other.
    stepTexelParameter(2 + 2 * 3 + 1, +1);
    stepTexelParameter(2 + 2 * 4, +1);
    stepTexelParameter(2 + 2 * 10 + 1, -2);
    for (int i = 0; i < 24; ++i)
    {
        combEval expected = X(-5, 7);
        if (i == 3 || i == 4) expected = X(-5, 8);   // d1, e1
        if (i == 8 || i == 15) expected = X(-4, 7);  // a2, h2
        if (i == 18 || i == 21) expected = X(-5, 5); // c3, f3
        EXPECT_EQ(table[i], expected) << i;
    }
    EXPECT_EQ(other, X(0, 0));
}


// Error function

TEST_F(TexelError, AScoreIsTurnedIntoAShareByTheLogisticFunction)
{
    K = 1.0;
    EXPECT_EQ(sigma(0), 0.5);
    EXPECT_DOUBLE_EQ(sigma(400), 10.0 / 11.0);
    EXPECT_DOUBLE_EQ(sigma(-400), 1.0 / 11.0);
    EXPECT_DOUBLE_EQ(sigma(800), 100.0 / 101.0);
    K = 2.0;
    EXPECT_DOUBLE_EQ(sigma(400), 100.0 / 101.0);
    EXPECT_DOUBLE_EQ(sigma(-200), 1.0 / 11.0);
}

TEST_F(TexelError, KStartsAt172AndThePoolAtOne)
{
    EXPECT_EQ(K, 1.72);
    EXPECT_EQ(nofTexelThreads, 1);
    EXPECT_EQ(sigma(0), 0.5);
    EXPECT_NEAR(sigma(25), 0.5615679389736461, 1e-15);
    EXPECT_NEAR(sigma(-25), 0.43843206102635396, 1e-15);
}

TEST_F(TexelError, WithKZeroEveryScoreIsAHalf)
{
    K = 0.0;
    for (const int score : {-32768, -32767, -1, 0, 1, 500, 32767})
        EXPECT_EQ(sigma(static_cast<i16>(score)), 0.5) << score;

    // A quarter for each game that was won or lost.
    std::vector<texelPosStruct> set;
    for (int i = 0; i < 8; ++i) set.push_back({manyPositions()[static_cast<size_t>(i)], 0.0, 0});
    for (const size_t i : {1U, 2U, 5U}) set[i].result = 0.5;
    set[3].result = 1.0;
    EXPECT_DOUBLE_EQ(errorOf(set, 3), 5 * 0.25 / 8);
}

TEST_F(TexelError, APositionWorthNothingContributesTheSquareOfItsResultLessAHalf)
{
    for (const char* fen : drawn)
    {
        EXPECT_EQ(errorOf({{fen, 1.0, 0}}, 1), 0.25) << fen;
        EXPECT_EQ(errorOf({{fen, 0.5, 0}}, 1), 0.0) << fen;
        EXPECT_EQ(errorOf({{fen, 0.0, 0}}, 1), 0.25) << fen;
    }
    // 1/4 + 0 + 1/4 + 1/4 + 1/4 over five records.
    EXPECT_DOUBLE_EQ(errorOf({{drawn[0], 1.0, 0},
                              {drawn[1], 0.5, 0},
                              {drawn[2], 0.0, 0},
                              {drawn[3], 1.0, 0},
                              {drawn[4], 0.0, 0}},
                             2),
                     0.2);
}

TEST_F(TexelError, AHandfulOfPositionsGivesTheErrorComputedByHand)
{
    // The one to move is 25 up, and a share of 0.5615679389736461: four games, two of them with
    // white to move and won and lost, one with black to move and drawn, and a draw that is worth 0.
    constexpr double up = 0.5615679389736461;
    constexpr double sum =
        (1 - up) * (1 - up) + up * up + (0.5 - (1 - up)) * (0.5 - (1 - up)) + 0.25;
    const std::vector<texelPosStruct> set = {
        {whiteToMove, 1.0, 0}, {whiteToMove, 0.0, 0}, {blackToMove, 0.5, 0}, {drawn[0], 0.0, 0}};
    EXPECT_NEAR(errorOf(set, 1), sum / 4, 1e-15);
    EXPECT_NEAR(errorOf(set, 4), sum / 4, 1e-15);
}

TEST_F(TexelError, TheScoreIsTheStaticEvaluationFromWhitesView)
{
    for (const char* fen : {"r1bq1rk1/ppp2ppp/2np1n2/4p3/2B1P3/2PP1N2/PP3PPP/RNBQ1RK1 w - - 0 7",
                            "r1bq1rk1/ppp2ppp/2np1n2/4p3/2B1P3/2PP1N2/PP3PPP/RNBQ1RK1 b - - 0 7",
                            "8/5pk1/4p1p1/3pP2p/1P1P1P1P/2K3P1/8/8 b - - 3 40"})
    {
        Board board(fen);
        int score = evaluateN(0, board.get());
        ASSERT_NE(score, 0);
        if (board->sideToMove == BLACK) score = -score;
        const double share = 1.0 / (1.0 + std::exp(-score * 1.72 / 400.0 * std::log(10.0)));
        EXPECT_NEAR(errorOf({{fen, 1.0, 0}}, 1), (1 - share) * (1 - share), 1e-13) << fen;
        EXPECT_NEAR(errorOf({{fen, 0.0, 0}}, 1), share * share, 1e-13) << fen;
    }
}

TEST_F(TexelError, AWonGameWithAHighScoreIsNearlyNothingWhoeverIsToMove)
{
    for (const char* fen : {"4k3/8/8/8/8/8/PPP5/1K1QQ3 w - - ", "4k3/8/8/8/8/8/PPP5/1K1QQ3 b - - "})
    {
        EXPECT_LT(errorOf({{fen, 1.0, 0}}, 1), 1e-6) << fen;
        EXPECT_GT(errorOf({{fen, 0.0, 0}}, 1), 1.0 - 1e-6) << fen;
    }
    for (const char* fen : {"1k1qq3/ppp5/8/8/8/8/8/4K3 w - - ", "1k1qq3/ppp5/8/8/8/8/8/4K3 b - - "})
    {
        EXPECT_LT(errorOf({{fen, 0.0, 0}}, 1), 1e-6) << fen;
        EXPECT_GT(errorOf({{fen, 1.0, 0}}, 1), 1.0 - 1e-6) << fen;
    }
}

TEST_F(TexelError, OneWorkerAndTwentyFourGiveTheSameError)
{
    const double alone = errorOf(trainingSet(), 1);
    ASSERT_GT(alone, 0.0);
    ASSERT_LT(alone, 1.0);
    EXPECT_NEAR(errorOf(trainingSet(), 24), alone, 1e-12 * alone);
    EXPECT_NEAR(errorOf(trainingSet(), 7), alone, 1e-12 * alone);
}

TEST_F(TexelError, TheSameTablesGiveTheSameErrorAgain)
{
    const double first = errorOf(trainingSet(), 3);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(theTexelWorkForce.calcTexelError(), first);
}

TEST_F(TexelError, SlicesAreEqualAndTheLastWorkerGetsTheRest)
{
    texelPositions = trainingSet();
    ASSERT_EQ(texelPositions.size(), 200U);
    hire(24);
    ASSERT_EQ(theTexelWorkForce.workers.size(), 24U);
    for (size_t w = 0; w < 24; ++w)
    {
        const texelWorker& worker = *theTexelWorkForce.workers[w];
        EXPECT_EQ(worker.id, static_cast<int>(w));
        ASSERT_EQ(worker.positions.size(), w < 23 ? 8U : 16U); // 23 x 8 + 16
        for (size_t i = 0; i < worker.positions.size(); ++i)
        {
            EXPECT_EQ(worker.positions[i].fen, texelPositions[8 * w + i].fen);
            EXPECT_EQ(worker.positions[i].result, texelPositions[8 * w + i].result);
        }
    }
}

TEST_F(TexelError, FewerPositionsThanWorkersAllGoToTheLast)
{
    const std::vector<texelPosStruct> set = {
        {drawn[0], 1.0, 0}, {drawn[1], 0.5, 0}, {drawn[2], 0.0, 0}};
    EXPECT_DOUBLE_EQ(errorOf(set, 24), 0.5 / 3);
    for (size_t w = 0; w < 23; ++w)
    {
        EXPECT_TRUE(theTexelWorkForce.workers[w]->positions.empty());
        EXPECT_EQ(theTexelWorkForce.workers[w]->error(), 0.0);
    }
    EXPECT_EQ(theTexelWorkForce.workers[23]->positions.size(), 3U);
    EXPECT_EQ(theTexelWorkForce.workers[23]->error(), 0.5);
}

TEST_F(TexelError, WithoutPositionsItIsNotANumberAndComparesWithNothing)
{
    const double error = errorOf({}, 24);
    EXPECT_TRUE(std::isnan(error));
    for (const texelWorker* worker : theTexelWorkForce.workers) EXPECT_EQ(worker->error(), 0.0);
}

TEST_F(TexelError, APoolOfNobodyIsPossible)
{
    hire(3);
    EXPECT_EQ(hire(0), "");
    EXPECT_TRUE(theTexelWorkForce.workers.empty());
    texelPositions = {{drawn[0], 1.0, 0}};
    EXPECT_EQ(hire(-1), "");
    EXPECT_TRUE(theTexelWorkForce.workers.empty());
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), 0.0);
}

TEST_F(TexelError, ARecordThatIsNoPositionIsEvenAndHarmsNoOther)
{
    // A king is missing, or the clock is no number that fits.
    for (const char* fen :
         {"", " ", "x", "8/8/8/8/8/8/8/8 w - - ", "4k3/8/8/8/8/8/PPPP4/QQQ5 w - - ",
          "qqq5/pppp4/8/8/8/8/8/4K3 w - - ", "qqq5/pppp4/8/8/8/8/8/8 b - - ",
          "4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - x 1 ", "4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - 2147483648 1 ",
          "4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - -2147483649 1 ",
          "4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - 99999999999999999999 1 ",
          "4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - - "})
        EXPECT_DOUBLE_EQ(errorOf({{drawn[0], 0.5, 0}, {fen, 1.0, 0}, {drawn[1], 0.0, 0}}, 1),
                         (0.0 + 0.25 + 0.25) / 3)
            << fen;
    // A clock that can be read is no obstacle: won, and nearly nothing.
    for (const char* fen : {"4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - 2147483647 1 ",
                            "4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - -2147483648 ",
                            "4k3/8/8/8/8/8/PPPP4/QQQ1K3 w - - 12; 1 "})
        EXPECT_LT(errorOf({{fen, 1.0, 0}}, 1), 1e-6) << fen;
}

TEST_F(TexelError, BoardsThatNoGameHasAreEvaluatedWithoutAFault)
{
    std::mt19937 random(83);
    constexpr std::string_view letters = "PpNnBbRrQqKk12345678//";
    std::vector<texelPosStruct> set;
    for (int i = 0; i < 3000; ++i)
    {
        std::string fen;
        const int length = 1 + static_cast<int>(random() % 90);
        for (int n = 0; n < length; ++n) fen += letters[random() % letters.size()];
        fen += random() % 2 ? "k/K w " : "K/k b ";
        set.push_back({fen, 0.5, 0});
    }
    const double error = errorOf(set, 2);
    EXPECT_GE(error, 0.0);
    EXPECT_LE(error, 0.25); // each at most a half away from its draw
}

TEST_F(TexelError, EachRecordCountsAsTheBoardOfItsText)
{
    // Played positions, boards of any men, and texts with men beyond h8 or no man's letters.
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
    std::vector<double> differences;
    int kinds[3] = {};
    for (const std::string& fen : fens)
    {
        const auto board = std::make_unique<Board>(fen);
        int score = evaluateN(0, board->get());
        if ((*board)->sideToMove == BLACK) score = -score;
        set.push_back({fen, 0.5, 0});
        differences.push_back(0.5 - sigma(static_cast<i16>(score)));
    }
    double sum = 0.0;
    for (const double difference : differences) sum += difference * difference;

    // To the last bit, and again.
    EXPECT_EQ(errorOf(set, 1), sum / static_cast<double>(set.size()));
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), sum / static_cast<double>(set.size()));
    const texelWorker& worker = *theTexelWorkForce.workers[0];
    ASSERT_EQ(worker.boards.size(), set.size());
    for (size_t i = 0; i < set.size(); ++i)
    {
        EXPECT_EQ(worker.positions[i].fen, set[i].fen);
        ++kinds[worker.boards[i].kind];
    }
    EXPECT_EQ(kinds[boardEven], 0);
    EXPECT_GT(kinds[boardPlanes], 200);
    EXPECT_GT(kinds[boardText], 100);
}

TEST_F(TexelError, OnlyATextWithoutABoardIsReadAgain)
{
    const std::pair<const char*, texelBoardKind> cases[] = {
        {"4k3/8/8/8/8/8/PPPP4/QQQ1K3 b - - 7 1 ", boardPlanes},
        {"kkk5/KKKKKKKK/pppppppp/PPPPPPPP/qqqqqqqq/QQQQQQQQ/rrrrrrrr/RNBQrnbq w", boardPlanes},
        {"4k3/8/8/8/8/8/1PPP4/QQQ1K3N w - - ", boardPlanes}, // behind h1: on a2
        {"k7/8/8/8/8/8/8/7K w - - x 1 ", boardEven},
        {"8/8/8/8/8/8/8/7K w - - ", boardEven},
        {"k7/8/8/8/8/8/8/8 w - - ", boardEven},
        {"", boardEven},
        {"k6rP/8/8/8/8/8/8/7K w - - ", boardPlanes},       // behind h8: on a1
        {"4k3/8/8/8/8/8/PPPP4/QQQ1K3N w - - ", boardText}, // a2 twice
        {"k7/8/8/x7/8/8/8/7K w - - ", boardText}};         // no man's letter
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
    EXPECT_LT(errorOf({{fen, 1.0, 0}}, 1), 1e-6);

    // An empty entry of the pawn cache is a structure worth nothing, without a passed pawn.
    const std::string pawns = "4k3/8/8/3P4/8/4p3/1P6/2R1K3 b - - ";
    const u64 pawnKey = Board(pawns)->pawnHashKey;
    const double structured = errorOf({{pawns, 1.0, 0}}, 1);
    hashCodePiece[KING + WHITE][E1] ^= pawnKey;
    const auto board = std::make_unique<Board>(pawns);
    ASSERT_EQ((*board)->pawnHashKey, 0U);
    const double difference = 1.0 - sigma(static_cast<i16>(-evaluateN(0, board->get())));
    EXPECT_EQ(errorOf({{pawns, 1.0, 0}}, 1), difference * difference);
    EXPECT_EQ(theTexelWorkForce.workers[0]->boards[0].kind, boardText);
    hashCodePiece[KING + WHITE][E1] ^= pawnKey;
    EXPECT_NE(structured, difference * difference);
    EXPECT_EQ(errorOf({{pawns, 1.0, 0}}, 1), structured);
}


// Workers

TEST_F(TexelError, EachWorkerSaysThatItHasStartedOnceAndThenWaits)
{
    texelPositions = trainingSet();
    EXPECT_EQ(hire(5), "Lets go\nLets go\nLets go\nLets go\nLets go\n");
    for (texelWorker* worker : theTexelWorkForce.workers) worker->waitToTakeABreak();
    EXPECT_EQ(outputOf([] { theTexelWorkForce.calcTexelError(); }), "");
    EXPECT_EQ(hire(2), "Lets go\nLets go\n");
    EXPECT_EQ(theTexelWorkForce.workers.size(), 2U);
}

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
    outputOf(
        [&]
        {
            for (int id = 0; id < 3; ++id)
                theTexelWorkForce.workers.push_back(new SurfaceWorker(id, meet));
        });
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), 3.0);
}

TEST_F(TexelError, SharesAreSummedInTheOrderOfTheWorkersAndDividedByTheRecords)
{
    texelPositions = {{drawn[0], 0.5, 0}, {drawn[1], 0.5, 0}};
    // Too large to notice the one that is added to it: only one order keeps it.
    const double shares[3] = {1e16, -1e16, 1.0};
    outputOf(
        [&]
        {
            for (int id = 0; id < 3; ++id)
                theTexelWorkForce.workers.push_back(
                    new SurfaceWorker(id, [share = shares[id]] { return share; }));
        });
    EXPECT_EQ(theTexelWorkForce.calcTexelError(), 0.5);
}

TEST_F(TexelError, WorkersLeaveTheLastFirst)
{
    std::vector<int> graveyard;
    outputOf(
        [&]
        {
            for (int id = 0; id < 4; ++id)
            {
                auto* worker = new SurfaceWorker(id, [] { return 0.0; });
                worker->graveyard = &graveyard;
                theTexelWorkForce.workers.push_back(worker);
            }
        });
    hire(0);
    EXPECT_EQ(graveyard, (std::vector<int>{3, 2, 1, 0}));
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

namespace
{

/// What a scan has tried, and what it has printed and returned.
struct scanReport
{
    std::vector<double> tried;
    std::vector<std::string> lines;
    double best;
};

/// Runs the scan on an error that is a function of K; the pool must be the landscape's.
scanReport scan(const std::vector<double>& tried)
{
    scanReport report{};
    report.lines = linesOf(outputOf([&] { report.best = calcOptimalK(); }));
    report.tried = tried;
    return report;
}

} // namespace

TEST_F(TexelK, TheScanEndsInTheMinimumAndPrintsItsWay)
{
    std::vector<double> tried;
    landscape(
        [&]
        {
            tried.push_back(K);
            return std::abs(K - 1.2345);
        });
    const scanReport report = scan(tried);
    EXPECT_NEAR(report.best, 1.2345, 1e-9);
    ASSERT_GT(report.lines.size(), 3U);
    EXPECT_EQ(report.lines[0], "Trying the following K value 0 error: 1.2345");
    EXPECT_EQ(report.lines[1], "Trying the following K value 0.1 error: 1.1345");
    EXPECT_EQ(report.lines[2], "Trying the following K value 0.2 error: 1.0345");
    EXPECT_EQ(report.lines.back(), " Optimal K calculated : 1.2345");
    EXPECT_EQ(report.lines.size(), report.tried.size() + 1);
    // K stays at the last candidate, at the upper end of the finest level.
    EXPECT_EQ(K, report.tried.back());
    EXPECT_GT(K, 1.2345 + 0.00008);
    EXPECT_LT(K, 1.2345 + 0.00011);
}

TEST_F(TexelK, FiveLevelsRunFromOneBelowTheBestToOneAboveInTenthsOfTheirStep)
{
    std::vector<double> tried;
    landscape(
        [&]
        {
            tried.push_back(K);
            return (K - 1.0) * (K - 1.0);
        });
    const scanReport report = scan(tried);
    EXPECT_NEAR(report.best, 1.0, 1e-9);
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
        EXPECT_LT(level.back(), 1.0 + step + 1e-9);
        EXPECT_GT(level.back(), 1.0 + step - 0.11 * step);
        step /= 10;
    }
}

TEST_F(TexelK, ANewBestExtendsTheScanUpward)
{
    std::vector<double> tried;
    landscape(
        [&]
        {
            tried.push_back(K);
            return (K - 3.46) * (K - 3.46);
        });
    const scanReport report = scan(tried);
    EXPECT_NEAR(report.best, 3.46, 1e-9);
    // The first level begins at 0 and ends one above its own best, which is 3.5.
    double last = report.tried[0];
    for (const double candidate : report.tried)
    {
        if (candidate < last) break;
        last = candidate;
    }
    EXPECT_GT(last, 4.39);
    EXPECT_LT(last, 4.51);
}

TEST_F(TexelK, TiesKeepTheEarlierCandidate)
{
    std::vector<double> tried;
    landscape(
        [&]
        {
            tried.push_back(K);
            return 0.125;
        });
    const scanReport report = scan(tried);
    EXPECT_EQ(report.best, 0.0); // 1.0 - 1.0, the very first
    EXPECT_EQ(report.lines.back(), " Optimal K calculated : 0");
    // From then on the first level ends at 1, so it never comes near 2.
    for (const double candidate : report.tried) EXPECT_LT(candidate, 1.01);
}

TEST_F(TexelK, WithoutPositionsNoCandidateIsBetterThanTheFirstGuess)
{
    texelPositions.clear();
    hire(1);
    double best = 0.0;
    const std::vector<std::string> lines = linesOf(outputOf([&] { best = calcOptimalK(); }));
    EXPECT_EQ(best, 1.0);
    EXPECT_EQ(lines.back(), " Optimal K calculated : 1");
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
            const int a = plain(number) - 3;
            const int b = mgHalf(pair) + 4;
            const int c = egHalf(pair) - 5;
            return static_cast<double>(a * a + b * b + c * c);
        });
    // 9 + 16 + 25, and each pass brings each of the three one nearer.
    EXPECT_EQ(outputOf(doTexelTuning), "Starting error 50\n"
                                       "Min error 45 parameter 0 number\n"
                                       "Min error 38 parameter 1 pair\n"
                                       "Min error 29 parameter 2 pair\n"
                                       "\n Improving: 1\n"
                                       "Min error 26 parameter 0 number\n"
                                       "Min error 21 parameter 1 pair\n"
                                       "Min error 14 parameter 2 pair\n"
                                       "\n Improving: 2\n"
                                       "Min error 13 parameter 0 number\n"
                                       "Min error 10 parameter 1 pair\n"
                                       "Min error 5 parameter 2 pair\n"
                                       "\n Improving: 3\n"
                                       "Min error 4 parameter 1 pair\n"
                                       "Min error 1 parameter 2 pair\n"
                                       "\n Improving: 4\n"
                                       "Min error 0 parameter 2 pair\n"
                                       "\n Improving: 5\n"
                                       "\n Improving: 6\n"
                                       "Ending error 0 Minimum error 0\n");
    EXPECT_EQ(plain(number), 3);
    EXPECT_EQ(pair, X(-4, 5));
}

TEST_F(TexelDescent, ErrorsHaveSixSignificantDigits)
{
    landscape([] { return 0.123456789; });
    EXPECT_EQ(outputOf(doTexelTuning), "Starting error 0.123457\n"
                                       "\n Improving: 1\n"
                                       "Ending error 0.123457 Minimum error 0.123457\n");
}

TEST_F(TexelDescent, TheStepDownIsTakenFromTheStartAndBothAreTakenBack)
{
    combEval number = 7;
    combEval pair = X(-5, 7);
    enter("number", &number, 1, 3, false, 1);
    enter("pair", &pair, 1, 1, true);
    std::vector<std::pair<int, combEval>> seen;
    landscape(
        [&]
        {
            seen.emplace_back(plain(number), pair);
            // The start is a minimum.
            return number == combEval(7) && pair == X(-5, 7) ? 0.0 : 1.0;
        });
    EXPECT_EQ(outputOf(doTexelTuning), "Starting error 0\n"
                                       "\n Improving: 1\n"
                                       "Ending error 0 Minimum error 0\n");
    const std::vector<std::pair<int, combEval>> expected = {
        {7, X(-5, 7)},                // the start
        {8, X(-5, 7)}, {6, X(-5, 7)}, // the number up and down
        {7, X(-4, 7)}, {7, X(-6, 7)}, // the mid-game
        {7, X(-5, 8)}, {7, X(-5, 6)}, // the end-game
        {7, X(-5, 7)}};               // the end
    EXPECT_EQ(seen, expected);
}

TEST_F(TexelDescent, AStepUpThatIsKeptIsNotTriedDownwards)
{
    combEval number = 0;
    enter("number", &number, 1, 3, false, 1);
    std::vector<int> seen;
    landscape(
        [&]
        {
            seen.push_back(plain(number));
            return static_cast<double>(std::abs(plain(number) - 2));
        });
    outputOf(doTexelTuning);
    EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 3, 1, 2}));
}

TEST_F(TexelDescent, ATieIsNotKept)
{
    combEval table[2] = {X(-1, 3), X(4, -4)};
    enter("table", table, 2, 0, true);
    int jobs = 0;
    landscape(
        [&]
        {
            ++jobs;
            return 0.25;
        });
    EXPECT_EQ(outputOf(doTexelTuning), "Starting error 0.25\n"
                                       "\n Improving: 1\n"
                                       "Ending error 0.25 Minimum error 0.25\n");
    EXPECT_EQ(table[0], X(-1, 3));
    EXPECT_EQ(table[1], X(4, -4));
    EXPECT_EQ(jobs, 1 + 4 * 2 + 1);
}

TEST_F(TexelDescent, AnErrorThatIsNotANumberKeepsNothingAndEnds)
{
    combEval pair = X(-5, 7);
    enter("pair", &pair, 1, 1, true);
    landscape([] { return std::numeric_limits<double>::quiet_NaN(); });
    const std::vector<std::string> lines = linesOf(outputOf(doTexelTuning));
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2], " Improving: 1");
    EXPECT_EQ(pair, X(-5, 7));
}

TEST_F(TexelDescent, AMirroredTableStaysSymmetric)
{
    // Rank 1 wants 3 and rank 2 wants -2 more in file a and file d of both halves of the pairs; the
    // error reads the other wing.
    combEval table[16];
    for (combEval& element : table) element = X(0, 0);
    enter("table", table, 8, 0, true, 0, false, true);
    landscape(
        [&]
        {
            const auto offBy = [](combEval element, int mg, int eg)
            { return std::abs(mgHalf(element) - mg) + std::abs(egHalf(element) - eg); };
            return static_cast<double>(offBy(table[7], 3, -1) + offBy(table[4], -3, 1) +
                                       offBy(table[15], -2, 2) + offBy(table[10], 1, 1));
        });
    const std::string text = outputOf(doTexelTuning);
    EXPECT_NE(text.find("Ending error 0 Minimum error 0\n"), std::string::npos) << text;
    for (const int i : {0, 7}) EXPECT_EQ(table[i], X(3, -1));
    for (const int i : {3, 4}) EXPECT_EQ(table[i], X(-3, 1));
    for (const int i : {8, 15}) EXPECT_EQ(table[i], X(-2, 2));
    for (const int i : {10, 13}) EXPECT_EQ(table[i], X(1, 1));
    for (const int i : {1, 2, 5, 6, 9, 11, 12, 14}) EXPECT_EQ(table[i], X(0, 0)) << i;
}

TEST_F(TexelDescent, TheTenthPassPrintsTheTablesAndTheNinthDoesNot)
{
    combEval number = 0;
    enter("number", &number, 1, 3, false, 1);
    int target = 8;
    landscape([&] { return static_cast<double>(std::abs(plain(number) - target)); });

    // Eight passes reach it, the ninth finds nothing.
    std::string text = outputOf(doTexelTuning);
    EXPECT_NE(text.find(" Improving: 9\nEnding error"), std::string::npos) << text;
    EXPECT_EQ(text.find("TCONST"), std::string::npos) << text;

    // Nineteen more: the tables as they are after pass 10, and once more after the last.
    target = 8 + 19;
    text = outputOf(doTexelTuning);
    const std::string checkpoint = "\n Improving: 10\nTCONST combEval number = 18;\nMin error 8 ";
    EXPECT_NE(text.find(checkpoint), std::string::npos) << text;
    EXPECT_NE(text.find(" Improving: 20\nTCONST combEval number = 27;\nEnding error 0 "),
              std::string::npos)
        << text;
    size_t prints = 0;
    for (size_t at = text.find("TCONST"); at != std::string::npos; at = text.find("TCONST", at + 1))
        ++prints;
    EXPECT_EQ(prints, 2U);
}


// The command

TEST_F(TexelDescent, AMissingFileEndsTheCommandBeforeAnyWorkerStarts)
{
    EXPECT_EQ(outputOf(doTheTexel), fileMessage);
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
    for (int id = 0; id < 24; ++id)
        EXPECT_EQ(theTexelWorkForce.workers[static_cast<size_t>(id)]->id, id);
    EXPECT_EQ(K, 1.72);
}

TEST_F(TexelDescent, AnEmptyFileTerminatesWithAnErrorThatIsNotANumber)
{
    writeFile("");
    const std::vector<std::string> lines = linesOf(outputOf(doTheTexel));
    ASSERT_EQ(lines.size(), 24U + 5U);
    const std::string shown = lines[25].substr(std::string("Starting error ").size());
    EXPECT_TRUE(shown == "nan" || shown == "-nan") << shown;
    EXPECT_EQ(lines[24], "Starting texel tuning....");
    EXPECT_EQ(lines[25], "Starting error " + shown);
    EXPECT_EQ(lines[26], "");
    EXPECT_EQ(lines[27], " Improving: 1");
    EXPECT_EQ(lines[28], "Ending error " + shown + " Minimum error " + shown);
}

TEST_F(TexelDescent, TheCommandBuildsTheTablesAnewEvenWithoutAFile)
{
    const u64 key = std::exchange(hashCodeBlackToMove, 0);
    outputOf(doTheTexel);
    EXPECT_EQ(hashCodeBlackToMove, key);
}
