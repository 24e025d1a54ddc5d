// SPDX-License-Identifier: MIT
//
// The check of a perft file, and the command perft. The tests write their files where they run.

#include <algorithm>
#include <cstdio>
#include <fstream>

#include "support.h"

namespace
{

struct report
{
    bool ok;
    std::string text;
};

/// Runs the check on a file with this content.
report check(const char* content, int level)
{
    std::ofstream("./perft.txt") << content;
    bool ok = false;
    const std::string text = written([&] { ok = checkMoveGenWithPerft(level); });
    std::remove("./perft.txt");
    createHashTable(1);
    return {ok, text};
}

constexpr const char* start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

auto records(const std::string& text)
{
    return std::count(text.begin(), text.end(), '\n') - 1;
}

} // namespace

TEST(PerftFile, ARecordIsMarked1Or0AndABadOneDoesNotStopTheRun)
{
    const std::string good = std::string(start) + ";2;400\n";
    const std::string bad = std::string(start) + ";1;21\n";
    const report fine = check(good.c_str(), 1);
    EXPECT_TRUE(fine.ok);
    EXPECT_EQ(fine.text.find("1; " + std::string(start) + "; 2; 400; 400; "), 0U) << fine.text;
    EXPECT_NE(fine.text.find("\nResults of the perft checks is OK: 1\n"), std::string::npos);
    EXPECT_TRUE(check((start + std::string(" ; 2 ; 400 ; as everybody knows\n")).c_str(), 1).ok);
    const report mixed = check((bad + good).c_str(), 1);
    EXPECT_FALSE(mixed.ok);
    EXPECT_EQ(mixed.text.find("0; "), 0U);
    EXPECT_EQ(records(mixed.text), 2);
    EXPECT_NE(mixed.text.find("Results of the perft checks is OK: 0\n"), std::string::npos);
}

TEST(PerftFile, SectionsEndTheFileByLevel)
{
    const std::string record = std::string(start) + ";1;20\n";
    const std::string file = record + "extended\n" + record + "full\n" + record;
    EXPECT_EQ(records(check(file.c_str(), 1).text), 1);
    EXPECT_EQ(records(check(file.c_str(), 2).text), 2);
    EXPECT_EQ(records(check(file.c_str(), 3).text), 3);
    const std::string swapped = record + "full\n" + record + "extended\n" + record;
    EXPECT_EQ(records(check(swapped.c_str(), 1).text), 1);
    EXPECT_EQ(records(check((record + record).c_str(), 1).text), 2);
}

TEST(PerftFile, AMalformedRecordThrows)
{
    for (const char* file : {"\n", "4k3/8/8/8/8/8/8/4K3 w - - 0 1;x;1\n"})
    {
        EXPECT_THROW(check(file, 1), std::invalid_argument);
        testing::internal::GetCapturedStdout();
    }
    std::remove("./perft.txt");
}

TEST(PerftFile, AnUnplayablePositionCounts0)
{
    EXPECT_TRUE(check("8/8/8/8/8/8/8/4K3 w - - 0 1;3;0\n", 1).ok);
}


// The command perft

namespace
{

/// What testFenPosition writes.
std::string count(int depth, const std::string& fen)
{
    return written([&] { testFenPosition(depth, fen, 1, 4); });
}

} // namespace

TEST(PerftCommand, AFenLeavesTheMainPositionAloneWhichIsCurrent)
{
    // Kings and a knight: 5 + 2 moves.
    const std::string fen = "4k3/8/8/8/8/8/8/N3K3 w - - 0 1";
    const u64 key = GPS->hashKey;
    const std::string given = count(1, fen);
    EXPECT_NE(given.find("\n| N |   |   |   | K |   |   |   |\n"), std::string::npos) << given;
    EXPECT_EQ(GPS->hashKey, key);
    setPosition(fen, GPS);
    for (const std::string& text : {given, count(1, "current")})
        EXPECT_NE(text.find("Perft results for depth: 1  7  Nodes per sec: "), std::string::npos)
            << text;
    setPosition(std::string(fenStartPos), GPS);
}
