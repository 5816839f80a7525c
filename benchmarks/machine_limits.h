// SPDX-License-Identifier: BSD-2-Clause
// What one core of this machine can do with the instructions that the library uses.
#pragma once

namespace ryxsc::bench {

enum class Limit {
    cycles,                // of the core clock
    multiplyAdds,          // 16-bit products, summed in 32 bits, operands in registers
    multiplyAddsWithLoads, // the same with one load for every eight products
    roundedProducts,       // 16-bit products rounded to 16 bits, then summed in 32 bits, with loads
    floatMultiplyAdds,     // single-precision products, summed, with loads
    bytesLoaded,           // from the first-level cache
    bytesStored,           // to the first-level cache
};

// The measured rate. All limits are measured at the first call, within about half a second.
double perSecond(Limit limit);

} // namespace ryxsc::bench
