// SPDX-License-Identifier: MIT
//
// The entry point that libFuzzer calls; the build names the target.

#include <cstddef>
#include <cstdint>

#include "targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    runTarget(QUILLON_FUZZ_TARGET, std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
