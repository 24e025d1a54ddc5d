// SPDX-License-Identifier: MIT
//
// Writes the tunable tables, for a test that pastes them over their source.
//
//   quillon_tables print [disturbed]     as the tuner prints them
//   quillon_tables numbers [disturbed]   every element, tuned or not, one a line
//
// "disturbed" moves most of the tuned values first, so that it shows whether a table was replaced.

#include "tables.h"

#include <string>
#include <string_view>

#include "general.h"
#include "texel.h"

int main(int argc, char** argv)
{
    const std::string_view what = argc > 1 ? argv[1] : "";
    const bool disturbed = argc > 2 && std::string_view(argv[2]) == "disturbed";
    setTexelParameters();
    if (disturbed)
        for (int i = 0; i < nofTexelPars; ++i)
        {
            // No two neighbours alike: up, down, down twice, as it was.
            if (i % 4 == 0) stepTexelParameter(i, +1);
            if (i % 4 == 1 || i % 4 == 2) stepTexelParameter(i, -2);
            if (i % 4 == 2) stepTexelParameter(i, -2);
        }

    if (what == "print")
        printTexelParameters();
    else if (what == "numbers")
    {
        std::string text;
        for (const tunableTable& table : tunableTables)
            for (u32 i = 0; i < table.size; ++i)
                text += table.name + (' ' + std::to_string(i)) + ' ' +
                        std::to_string(table.start[i].packed) + '\n';
        writeText(text);
    }
    else
    {
        writeLine("usage: quillon_tables print|numbers [disturbed]");
        return 2;
    }
    return 0;
}
