// SPDX-License-Identifier: MIT
//
// A file of training positions: read, dealt out to two threads, and its error computed.

#include <cmath>

#include "targets.h"
#include "texel.h"

void fuzzTraining(const std::string& input)
{
    writeFile("quiet-labeled.epd", input);
    require(readTexelPos() == 0, "a file that is there can be read");
    theTexelWorkForce.setNofWorkers(2);
    const double error = theTexelWorkForce.calcTexelError();
    require(texelPositions.empty() ? std::isnan(error) : error >= 0.0 && error <= 1.0,
            "the mean of squared errors lies within 0 and 1");
    require(texelPositions.empty() || theTexelWorkForce.calcTexelError() == error,
            "the same positions give the same error");
    theTexelWorkForce.setNofWorkers(0);
}
