// SPDX-License-Identifier: MIT
//
// Prints the tunable tables as the tuner does, for a test that adopts them: quillon_tables
// [disturbed]. "disturbed" first moves most of the tuned values.

#include <string_view>

#include "texel.h"

int main(int argc, char** argv)
{
    setTexelParameters();
    if (argc > 1 && std::string_view(argv[1]) == "disturbed")
        for (int i = 0; i < nofTexelPars; ++i)
        {
            // Four neighbours all differently: up, down, down twice, not at all.
            if (i % 4 == 0) stepTexelParameter(i, +1);
            if (i % 4 == 1 || i % 4 == 2) stepTexelParameter(i, -2);
            if (i % 4 == 2) stepTexelParameter(i, -2);
        }
    printTexelParameters();
    return 0;
}
