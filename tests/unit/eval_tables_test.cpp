// SPDX-License-Identifier: MIT
//
// The numbers themselves: every table of the evaluation against the transcription that the model
// reads, which dev/adopt-tables writes.

#include <iomanip>
#include <map>
#include <set>
#include <sstream>

#include "../oracle/model.h"
#include "support.h"

TEST(EvalTables, AreThoseOfTheTranscriptionWithItsChecksum)
{
    std::map<std::string, std::vector<oracle::Pair>> expected = oracle::tables();
    u32 sum = 0;
    const auto compare = [&](const std::string& table, const std::vector<combEval>& entries)
    {
        std::vector<combEval> transcribed;
        for (const oracle::Pair& entry : expected[table])
            transcribed.push_back(X(entry.mg, entry.eg));
        EXPECT_EQ(entries, transcribed) << table;
        expected.erase(table);
        for (const combEval entry : entries) sum = sum * 31 + entry.word();
    };
    for (const evalTable& table : evalTables)
        compare(table.name, {table.start, table.start + table.size});
    compare("pieceValuePhase[6]", {std::begin(pieceValuePhase), std::end(pieceValuePhase)});
    compare("GAMEPHASEMAXMG", {GAMEPHASEMAXMG});
    compare("GAMEPHASEMINEG", {GAMEPHASEMINEG});
    std::ostringstream checksum;
    checksum << "checksum " << std::hex << std::setw(8) << std::setfill('0') << sum;
    ASSERT_EQ(expected.size(), 1U) << "names that aren't those of tables";
    EXPECT_EQ(expected.begin()->first, checksum.str());
}

TEST(EvalTables, EveryTermHasAGroupAndANameAMeaningAndASentenceOfItsOwn)
{
    for (const auto member : {&evalTermText::name, &evalTermText::meaning, &evalTermText::sentence})
    {
        std::set<std::string> texts;
        for (const evalTermText& text : evalTermTexts) texts.insert(text.*member);
        EXPECT_EQ(texts.size(), NOFEVALTERMS);
        EXPECT_FALSE(texts.count(""));
    }
    std::set<int> groups;
    for (const evalTermText& text : evalTermTexts)
    {
        groups.insert(text.group);
        EXPECT_TRUE(std::string(text.meaning).ends_with('.')) << text.name;
        const std::string sentence = text.sentence;
        EXPECT_FALSE(sentence.ends_with('.')) << text.name;
        EXPECT_TRUE(sentence.find("%square") < sentence.size() || text.group == groupTempo);
    }
    EXPECT_EQ(groups.size(), NOFEVALGROUPS) << "a group without terms";
}
