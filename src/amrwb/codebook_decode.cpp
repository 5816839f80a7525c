// SPDX-License-Identifier: BSD-2-Clause
// Algebraic codebooks: from index words to the code vector.
#include <cstring>

#include "amrwb/codebook_packing.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int16_t one = 512; // Q9

constexpr int16_t amplitude(bool isNegative) {
    return isNegative ? -one : one;
}

void decodeTwoTracks(int16_t word, int16_t *code) {
    const EvenOddPulses pulses = unpackPulses(word);
    code[2 * (pulses.even % negativeHalfPulse)] = amplitude(pulses.even >= negativeHalfPulse);
    code[2 * (pulses.odd % negativeHalfPulse) + 1] = amplitude(pulses.odd >= negativeHalfPulse);
}

void decodeFourTracks(const Codebook &codebook, const int16_t *words, int16_t *code) {
    TrackPulses pulses;
    unpackPulses(codebook, words, pulses);
    for (int t = 0; t < tracks; t++)
        for (int k = 0; k < codebook.pulsesPerTrack[static_cast<size_t>(t)]; k++) {
            const int pulse = pulses.values[t][k];
            int16_t &sample = code[tracks * (pulse % negativePulse) + t];
            sample = static_cast<int16_t>(sample + amplitude(pulse >= negativePulse));
        }
}

} // namespace

ryxStatus ryxsAlgebraicCodebookDecode_AMRWB_16s_u8(const int16_t *indices, int16_t *code, int mode) {
    if (anyNull(indices, code)) return ryxStsNullPtr;
    const Codebook *codebook = codebookOf(mode);
    if (codebook == nullptr) return ryxStsBadSize;
    std::memset(code, 0, positions * sizeof *code);
    if (codebook->hasTwoTracks())
        decodeTwoTracks(indices[0], code);
    else
        decodeFourTracks(*codebook, indices, code);
    return ryxStsOk;
}
