// The first stage of the comfort-noise LSF quantisers of ITU-T G.729 Annex B, in what the 16-bit and the float form
// share.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "g729/lsp_codebooks.h"
#include "g729/lsp_tables.h"

namespace ryxsc::g729 {

// The four candidates with the smallest errors, the best first and the earlier offer before an equal one. A candidate
// is named by mode * 32 + first-stage index.
template <class Error> class Candidates {
public:
    static constexpr size_t count = 4;

    // Only errors below the start are taken; the places that remain name candidate 0.
    explicit Candidates(Error start) { errors.fill(start); }

    void offer(Error error, size_t name) {
        if (!(error < errors[count - 1])) return;
        size_t place = count - 1;
        for (; place > 0 && error < errors[place - 1]; place--) {
            errors[place] = errors[place - 1];
            names[place] = names[place - 1];
        }
        errors[place] = error;
        names[place] = name;
    }

    size_t operator[](size_t place) const { return names[place]; }
    const size_t *begin() const { return names.data(); }
    const size_t *end() const { return names.data() + count; }

private:
    std::array<Error, count> errors;
    std::array<size_t, count> names{};
};

struct NoiseIndices {
    size_t mode, l1, l2;
};

// found: place of the candidate times 16, plus the index of the second stage.
template <class Error> NoiseIndices noiseIndices(const Candidates<Error> &candidates, size_t found) {
    const size_t candidate = candidates[found / noiseSecondSize];
    return {candidate / noiseFirstSize, candidate % noiseFirstSize, found % noiseSecondSize};
}

inline void storeIndices(const NoiseIndices &choice, int16_t *indices) {
    indices[0] = static_cast<int16_t>(choice.mode);
    indices[1] = static_cast<int16_t>(choice.l1);
    indices[2] = static_cast<int16_t>(choice.l2);
}

} // namespace ryxsc::g729
