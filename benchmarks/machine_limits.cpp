// SPDX-License-Identifier: BSD-2-Clause
// Each limit is the rate of a loop that does nothing else. The loops are assembly, because compilers move and spill
// what is to be counted.
#include "machine_limits.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <string>

#include "measuring.h"

namespace ryxsc::bench {

namespace {

constexpr int turnsPerCall = 2000;
constexpr int stepsPerTurn = 12;

// Values that neither the integer nor the float sums suffer from: no denormal, no overflow within a call.
alignas(64) float block[4 * stepsPerTurn];

// Runs a step for i = 0..11 in turn. It may use the accumulator xmm\i, the vector 16*\i(%[block]) in the first-level
// cache, xmm12 and the constant xmm13. Twelve accumulators cover the latency of an addition (up to four cycles) at
// three additions per cycle. The block is short and the loop long, so that leaving the loop costs nothing.
#define TURNS(step)                                                                                                    \
    int turns = turnsPerCall;                                                                                          \
    asm volatile("movaps (%[block]), %%xmm13\n\t"                                                                      \
                 ".irp i, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11\n\t"                                                    \
                 "pxor %%xmm\\i, %%xmm\\i\n\t"                                                                         \
                 ".endr\n\t"                                                                                           \
                 ".balign 64\n"                                                                                        \
                 "1:\n\t"                                                                                              \
                 ".irp i, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11\n\t" step ".endr\n\t"                                   \
                 "subl $1, %[turns]\n\t"                                                                               \
                 "jnz 1b"                                                                                              \
                 : [turns] "+r"(turns)                                                                                 \
                 : [block] "r"(block)                                                                                  \
                 : "cc", "memory", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9",     \
                   "xmm10", "xmm11", "xmm12", "xmm13", "rax")

// A chain: every addition waits one cycle for the one before. Processors may fold additions of constants.
void cycle() {
    TURNS("addq %%rax, %%rax\n\t");
}

void multiplyAdd() {
    TURNS("movdqa %%xmm13, %%xmm12\n\t"
          "pmaddwd %%xmm13, %%xmm12\n\t"
          "paddd %%xmm12, %%xmm\\i\n\t");
}

void multiplyAddWithLoads() {
    TURNS("movdqa 16*\\i(%[block]), %%xmm12\n\t"
          "pmaddwd %%xmm13, %%xmm12\n\t"
          "paddd %%xmm12, %%xmm\\i\n\t");
}

void roundedProduct() {
    TURNS("movdqa 16*\\i(%[block]), %%xmm12\n\t"
          "pmulhrsw %%xmm13, %%xmm12\n\t"
          "pmaddwd %%xmm13, %%xmm12\n\t"
          "paddd %%xmm12, %%xmm\\i\n\t");
}

void floatMultiplyAdd() {
    TURNS("movaps 16*\\i(%[block]), %%xmm12\n\t"
          "mulps %%xmm13, %%xmm12\n\t"
          "addps %%xmm12, %%xmm\\i\n\t");
}

void load() {
    TURNS("movdqa 16*\\i(%[block]), %%xmm\\i\n\t");
}

void store() {
    TURNS("movdqa %%xmm13, 16*\\i(%[block])\n\t");
}

struct Loop {
    const char *name, *unit;
    double unitsPerStep;
    void (*run)();

    double unitsPerCall() const { return unitsPerStep * stepsPerTurn * turnsPerCall; }
};

// In the order of Limit.
constexpr Loop loops[] = {
    {"cycle", "cycle", 1, cycle},
    {"multiply_add", "product", 8, multiplyAdd},
    {"multiply_add_with_loads", "product", 8, multiplyAddWithLoads},
    {"rounded_product", "product", 8, roundedProduct},
    {"float_multiply_add", "product", 4, floatMultiplyAdd},
    {"load", "byte", 16, load},
    {"store", "byte", 16, store},
};

// Long enough for the clock's resolution, short enough to fit between two disturbances.
double rateOfBurst(const Loop &loop) {
    using Clock = std::chrono::steady_clock;
    constexpr int calls = 100;
    const auto start = Clock::now();
    for (int i = 0; i < calls; i++)
        loop.run();
    const std::chrono::duration<double> time = Clock::now() - start;
    return calls * loop.unitsPerCall() / time.count();
}

using Rates = std::array<double, std::size(loops)>;

// The best of many bursts, the loops in turn: others use the machine too, for longer than a burst.
Rates measureRates() {
    std::fill(std::begin(block), std::end(block), 0.75F);
    Rates best = {};
    for (int round = 0; round < 100; round++)
        for (size_t i = 0; i < best.size(); i++)
            best[i] = std::max(best[i], rateOfBurst(loops[i]));
    return best;
}

void measureLoop(benchmark::State &run, size_t index) {
    const Loop &loop = loops[index];
    for (auto _ : run)
        loop.run();
    const double units = loop.unitsPerCall();
    report(run, {.units = units, .unit = loop.unit, .products = units, .limit = static_cast<Limit>(index)});
}

// As cases of the table the limits read 100 % of themselves; much more means that the machine was busy when they were
// measured.
const Registration registration([] {
    for (size_t i = 0; i < std::size(loops); i++)
        addCase(std::string("machine/") + loops[i].name, measureLoop, i);
});

} // namespace

double perSecond(Limit limit) {
    static const Rates rates = measureRates();
    return rates[static_cast<size_t>(limit)];
}

} // namespace ryxsc::bench
