// SPDX-License-Identifier: BSD-2-Clause
#include "tests.h"

#include <algorithm>
#include <cmath>

namespace g168 {

double steadyLimit(double level) {
    return 25.0 / 30 * level - 30;
}

namespace {

using Margins = std::vector<Margin>;

// A line with a canceller, and what the tests play over it.
class Bench {
public:
    Bench(const Tables &tables, const MakeCanceller &make, const Run &run, Suppression suppression)
        : line(tables, make(suppression)), tables_(tables), run_(run) {
        line.setOffset(run.offset);
        takePath(run.path);
    }

    void takePath(size_t path) {
        line.setPath(tables_.paths[path % tables_.paths.size()], run_.returnLoss, run_.delay);
    }
    Source far() const { return composite(tables_.cssFar, run_.level); }
    Source near(double level) const { return composite(tables_.cssNear, level); }

    Line line;

private:
    const Tables &tables_;
    const Run &run_;
};

// 2A: convergence and reconvergence with suppression.
Margins convergenceSuppressed(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::on);
    bench.line.run(0.2, silence(), silence());
    const Source far = bench.far();
    const Reading first = bench.line.run(9.95, far, silence(), 1);
    bench.line.run(0.05, far, silence());
    bench.takePath(run.path + 1);
    const Reading second = bench.line.run(10, bench.far(), silence(), 1);
    return {{"2A convergence", -65 - first.output}, {"2A after a change of path", -65 - second.output}};
}

// 2B: the same without suppression. 20 dB within a second; the steady limit, asked for after 10 s, in the last 2 s.
Margins convergence(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::off);
    bench.line.run(0.2, silence(), silence());
    Margins margins;
    for (const bool changed : {false, true}) {
        if (changed) bench.takePath(run.path + 1);
        const std::string when = changed ? " after a change of path" : "";
        const Source far = bench.far();
        const Reading early = bench.line.run(8, far, silence(), 1);
        const Reading late = bench.line.run(2, far, silence());
        margins.push_back({"2B after 1 s" + when, run.level - 20 - std::max(early.output, late.output)});
        margins.push_back({"2B steady" + when, steadyLimit(run.level) - late.output});
    }
    return margins;
}

// Freezes the canceller and measures what it has learnt.
double residual(Bench &bench, double skip) {
    bench.line.freeze();
    bench.line.run(1, silence(), silence());
    return bench.line.run(skip + 5, bench.far(), silence(), skip).output;
}

// 2C: convergence within a second in noise at the near end.
Margins noise(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::off);
    const Source hoth = hothNoise(std::min(run.level - 15, -30.0));
    bench.line.run(0.2, silence(), hoth);
    const Reading heard = bench.line.run(1, bench.far(), hoth);
    bench.line.run(0.15, silence(), hoth);
    bench.line.freeze();
    bench.line.run(1, silence(), hoth);
    const Reading left = bench.line.run(5.5, bench.far(), silence(), 0.5);
    return {{"2C noise", heard.near - left.output}};
}

// 3A: convergence while somebody speaks softly at the near end.
Margins softDoubleTalk(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::off);
    const Reading talk = bench.line.run(5, bench.far(), bench.near(run.level - 15));
    bench.line.freeze();
    const Reading left = bench.line.run(5.7, bench.far(), silence(), 0.7);
    return {{"3A low near end", talk.near - left.output}};
}

// 3B: what double talk does to a converged canceller.
Margins doubleTalk(const Tables &tables, const MakeCanceller &make, const Run &run) {
    const struct {
        const char *name;
        double nearLevel, allowance;
    } cases[] = {{"3B near end as loud", run.level, 10}, {"3B near end 6 dB lower", run.level - 6, 3}};
    Margins margins;
    for (const auto &[name, nearLevel, allowance] : cases) {
        Bench bench(tables, make, run, Suppression::off);
        const Source far = bench.far();
        bench.line.run(5, far, silence());
        bench.line.run(5, far, bench.near(nearLevel));
        bench.line.run(0.15, silence(), silence());
        margins.push_back({name, steadyLimit(run.level) + allowance - residual(bench, 0.5)});
    }
    return margins;
}

// 3C: a conversation with suppression. Ours: the near end's level is kept to 6 dB.
Margins conversation(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::on);
    Line &line = bench.line;
    const Source far = bench.far(), near = bench.near(run.level);
    const Reading together = line.run(5.6, far, near);
    const Reading farOnly = line.run(1.4, far, silence(), 0.15);
    line.run(5, far, silence());
    const Reading again = line.run(5.6, far, near);
    const Reading nearOnly = line.run(5.6, silence(), near);
    const double loudest = std::max(again.output - again.near, nearOnly.output - nearOnly.near);
    return {{"3C far end only", together.near - farOnly.output},
            {"3C double talk", 6 - loudest},
            {"3C near end's level", nearOnly.output - nearOnly.near + 6}};
}

// 4: two minutes of silence.
Margins leakage(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::off);
    bench.line.run(5, bench.far(), silence());
    bench.line.run(120, silence(), silence());
    bench.line.freeze();
    const Reading left = bench.line.run(5, bench.far(), silence());
    return {{"4 leakage", steadyLimit(run.level) + 10 - left.output}};
}

// 5: the path is cut. Ours: the steady limit after a second.
Margins infiniteReturnLoss(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::off);
    const Source far = bench.far();
    bench.line.run(5, far, silence());
    bench.line.setPath({}, 0);
    const Reading soon = bench.line.run(1, far, silence(), 0.5);
    const Reading later = bench.line.run(3, far, silence());
    return {{"5 path cut, 0.5 s", -37 - std::max(soon.output, later.output)},
            {"5 path cut, 1 s", steadyLimit(run.level) - later.output}};
}

// 6: tones must not spoil what speech has taught. Ours: they never come back louder.
Margins narrowBand(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::off);
    bench.line.run(5, bench.far(), silence());
    double least = 1e9;
    for (const auto &[frequency, second] : tables.tones) {
        const Reading tone = bench.line.run(5, tones(frequency, -11, second, -9), silence());
        least = std::min(least, tone.microphone - tone.output);
    }
    bench.line.freeze();
    const Reading left = bench.line.run(6, bench.far(), silence(), 1);
    return {{"6 after tones", steadyLimit(run.level) + 10 - left.output}, {"6 during tones", least}};
}

// 7: a tone for two minutes into a canceller that knows nothing. Ours: no louder than the tone.
Margins stability(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::off);
    const Reading tone = bench.line.run(120, tones(697, -11, 0, 0), silence(), 1);
    return {{"7 stability", -11 - tone.output}};
}

// 9: noise in the place of echo is as loud as that at the near end.
Margins comfortNoise(const Tables &tables, const MakeCanceller &make, const Run &run) {
    Bench bench(tables, make, run, Suppression::keepsNoise);
    bench.line.run(5, bench.far(), silence());
    Margins margins;
    const struct { double level, seconds; } stretches[] = {{-45, 30}, {-55, 10}, {-45, 10}};
    for (const auto &[level, seconds] : stretches) {
        const Source near = hothNoise(level), far = hothNoise(-10);
        bench.line.run(seconds, silence(), near);
        bench.line.run(2, far, near);
        const Reading mixed = bench.line.run(0.7, far, near);
        margins.push_back({"9 comfort noise", 2 - std::fabs(10 * std::log10(mixed.outputPower / mixed.nearPower))});
    }
    return margins;
}

std::vector<Run> combined(const std::vector<size_t> &paths, const std::vector<double> &levels,
                          const std::vector<double> &losses, const std::vector<double> &delays = {0},
                          const std::vector<double> &offsets = {0}) {
    std::vector<Run> runs;
    for (const size_t path : paths)
        for (const double level : levels)
            for (const double loss : losses)
                for (const double delay : delays)
                    for (const double offset : offsets)
                        runs.push_back({path, level, loss, delay, offset});
    return runs;
}

} // namespace

std::vector<Test> allTests(bool everyRun) {
    const std::vector<size_t> few = {0, 3, 6};
    const std::vector<size_t> paths = everyRun ? std::vector<size_t>{0, 1, 2, 3, 4, 5, 6, 7} : few;
    const std::vector<double> levels = everyRun ? std::vector<double>{-10, -20, -30} : std::vector<double>{-10};
    const std::vector<double> losses = everyRun ? std::vector<double>{6, 15} : std::vector<double>{6};
    std::vector<Test> tests = {{"2A", convergenceSuppressed, combined(paths, levels, {6})},
                               {"2B", convergence, combined(paths, levels, losses)},
                               {"2C", noise, combined(paths, levels, losses)},
                               {"3A", softDoubleTalk, combined(paths, levels, losses)},
                               {"3B", doubleTalk, combined(paths, levels, losses)},
                               {"3C", conversation, combined(paths, {-10}, {6})},
                               {"4", leakage, combined(few, {-10}, {6})},
                               {"5", infiniteReturnLoss, combined(paths, {-10}, {6})},
                               {"6", narrowBand, combined(few, {-10}, {6})},
                               {"7", stability, combined(few, {-10}, {6})},
                               {"9", comfortNoise, combined(few, {-10}, {10})}};
    if (everyRun) {
        tests.push_back({"2B with delay", convergence, combined({0, 3, 6, 7}, {-10, -30}, {6}, {10, 40})});
        tests.push_back({"2B with an offset (15)", convergence, combined(few, {-10}, {6}, {0}, {8, 32, 64})});
    }
    return tests;
}

} // namespace g168
