// SPDX-License-Identifier: BSD-2-Clause
#include "measuring.h"

namespace ryxsc::bench {

void report(benchmark::State &run, const Workload &work) {
    using benchmark::Counter;
    const Counter::Flags rate = Counter::kIsIterationInvariantRate;
    run.SetLabel(work.unit);
    run.counters["units_per_second"] = Counter(work.units, rate);
    run.counters["cycles_per_unit"] = Counter(work.units / perSecond(Limit::cycles), rate | Counter::kInvert);
    if (work.seconds > 0) run.counters["times_real_time"] = Counter(work.seconds, rate);
    if (work.products > 0)
        run.counters["percent_of_limit"] = Counter(100 * work.products / perSecond(work.limit), rate);
}

} // namespace ryxsc::bench
