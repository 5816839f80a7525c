// SPDX-License-Identifier: BSD-2-Clause
#include "codebook_search.h"

#include <cmath>
#include <limits>
#include <numeric>

#include "codec.h"

namespace {

constexpr size_t subframesPerFrame = 4;

// Beyond a subframe's length the vectors are zero.
double dot(const celp::Vector &x, const celp::Vector &y) {
    return std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
}

CodebookResult::Energies energiesOf(const celp::Vector &target, const celp::Vector &filtered) {
    const double product = dot(target, filtered), energy = dot(filtered, filtered);
    return {dot(target, target), energy > 0 ? product * product / energy : 0};
}

bool agree(const FoundPulses &found) {
    celp::Vector twice = found.code;
    for (int16_t &sample : twice)
        sample = static_cast<int16_t>(2 * sample);
    return found.decoded == found.code || found.decoded == twice;
}

} // namespace

Subframes subframesOf(const celp::Codec &codec, const Recordings &recordings) {
    Subframes subframes;
    for (const Recording &recording : recordings.list)
        subframes.push_back(celp::analyse(codec, recording.samples));
    return subframes;
}

std::vector<double> fitted(const celp::Codec &codec, const celp::Subframe &subframe, const FoundPulses &found) {
    const double energy = dot(found.filtered, found.filtered);
    const double gain = energy > 0 ? dot(subframe.target, found.filtered) / energy : 0;
    std::vector<double> samples(found.filtered.begin(), found.filtered.begin() + codec.subframeLength);
    for (double &sample : samples)
        sample *= gain;
    return samples;
}

namespace {

CodebookResult runCodebook(const Codebook &codebook, const celp::Codec &codec, const Subframes &recordings) {
    std::vector<const celp::Subframe *> all;
    for (const auto &recording : recordings)
        for (const celp::Subframe &subframe : recording)
            all.push_back(&subframe);
    std::vector<FoundPulses> found(all.size());
    const auto searchAll = [&] {
        for (size_t i = 0; i < all.size(); i++)
            codebook.search(*all[i], found[i]);
    };
    const auto decodeAll = [&] {
        for (size_t i = 0; i < all.size(); i++)
            codebook.decode(*all[i], found[i]);
    };
    const double seconds = static_cast<double>(codec.subframeLength) / codec.sampleRate;
    const Speed speed = measureSpeed(static_cast<double>(all.size()) * seconds, searchAll, decodeAll);

    CodebookResult result = {codebook, {}, 0, 0, 1e6 * seconds / speed.encoder, 1e9 * seconds / speed.decoder};
    double target = 0, explained = 0;
    auto next = found.begin();
    for (const auto &recording : recordings) {
        auto &track = result.energies.emplace_back();
        for (const celp::Subframe &subframe : recording) {
            track.push_back(energiesOf(subframe.target, next->filtered));
            target += track.back().target;
            explained += track.back().explained;
            result.agreeing += agree(*next++);
        }
    }
    result.explained = explained / target;
    return result;
}

} // namespace

std::vector<CodebookResult> runCodebooks(const std::vector<Codebook> &codebooks, const celp::Codec &codec,
                                         const Subframes &recordings, Progress &progress) {
    std::vector<CodebookResult> results;
    for (const Codebook &codebook : codebooks) {
        results.push_back(runCodebook(codebook, codec, recordings));
        progress.update(results.size());
    }
    return results;
}

void addCodebooks(Report &report, const std::string &codec, const std::vector<CodebookResult> &results) {
    Table table = {{codec + " kbit/s", "bits", "pulses", "target energy explained (%)", "search (us)", "decoder (ns)",
                    "decoder agrees"},
                   {}};
    for (const CodebookResult &r : results) {
        size_t count = 0;
        for (const auto &recording : r.energies)
            count += recording.size();
        table.rows.push_back({r.codebook.rate, std::to_string(r.codebook.bits), std::to_string(r.codebook.pulses),
                              decimal(100 * r.explained, 1), decimal(r.searchMicroseconds, 2),
                              decimal(r.decodeNanoseconds, 0),
                              std::to_string(r.agreeing) + " of " + std::to_string(count)});
        if (&r == &results.front() || &r == &results.back())
            report.addResult(codec + " codebook, " + r.codebook.rate + " kbit/s",
                             "target energy explained: " + decimal(100 * r.explained, 1) + " %",
                             {5000 / r.searchMicroseconds, 5e6 / r.decodeNanoseconds, 0});
    }
    report.addTable(table);
}

Line ratioTrack(const std::string &colour, const CodebookResult &result, const Recordings &recordings,
                const Excerpt &excerpt) {
    const auto &track = result.energies[excerpt.recording];
    const std::vector<bool> isSpeech =
        speechSegments(recordings.list[excerpt.recording].samples, recordings.sampleRate);
    Line line = {result.codebook.rate + " kbit/s", colour, {}};
    for (size_t frame = 0; (frame + 1) * subframesPerFrame <= track.size(); frame++) {
        const double time = (static_cast<double>(frame) + 0.5) / segmentsPerSecond;
        if (time < excerpt.start || time > excerpt.start + excerpt.length) continue;
        double target = 0, rest = 0;
        for (size_t i = frame * subframesPerFrame; i < (frame + 1) * subframesPerFrame; i++) {
            target += track[i].target;
            rest += track[i].target - track[i].explained;
        }
        const bool counts = frame < isSpeech.size() && isSpeech[frame] && rest > 0;
        line.points.emplace_back(time,
                                 counts ? 10 * std::log10(target / rest) : std::numeric_limits<double>::quiet_NaN());
    }
    return line;
}
