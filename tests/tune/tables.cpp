// SPDX-License-Identifier: MIT
//
// Prints the tunable tables as the tuner does, for a test that adopts them. With the argument
// "disturbed" it first changes most of the tuned values.

#include <string_view>

#include "texel.h"

int main(int argc, char** argv)
{
    setTexelParameters();
    if (argc > 1 && std::string_view(argv[1]) == "disturbed")
        for (int i = 0; i < nofTexelPars; ++i)
        {
            // Four neighbours change by different amounts: +1, -2, -4, 0.
            if (i % 4 == 0) stepTexelParameter(i, +1);
            if (i % 4 == 1 || i % 4 == 2) stepTexelParameter(i, -2);
            if (i % 4 == 2) stepTexelParameter(i, -2);
        }
    printTexelParameters();
    return 0;
}
