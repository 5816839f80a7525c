// SPDX-License-Identifier: BSD-2-Clause
#include "reference/amrwb_codebook.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "amrwb/codebook_tables.h"
#include "common/fixed_point.h"
#include "common/inv_sqrt.h"

namespace reference::amrwb {

namespace {

using namespace ryxsc;
using ryxsc::amrwb::Codebook;

struct Best {
    int16_t score = -1, energy = 1;
    int p = 0, q = 0;

    void consider(int16_t correlation, int16_t energyOfNext, int nextP, int nextQ) {
        const int16_t next = mult(correlation, correlation);
        if (L_msu(L_mult(energy, next), score, energyOfNext) > 0) *this = {next, energyOfNext, nextP, nextQ};
    }
};

struct Pulses {
    int16_t correlation = 0, energy = 0;
    std::vector<int> positions = {};
    Samples sum = {}; // of their responses
};

int16_t &at(Samples &v, int n) {
    return v[static_cast<size_t>(n)];
}
int16_t at(const Samples &v, int n) {
    return v[static_cast<size_t>(n)];
}

int16_t gain(const Samples &v, int shift) {
    int32_t energy = 1;
    for (const int16_t x : v)
        energy = L_mac(energy, x, x);
    const int s = norm_l(energy), e = 30 - s;
    const int32_t root = inverseSqrtOfMantissa((energy << s) >> (e & 1));
    return round(L_shl(root, shift - ((e - 1) >> 1)));
}

class Search {
public:
    Search(const Codebook &codebook, const Samples &target, const Samples &residual, const Samples &impulse)
        : codebook_(codebook), h_(impulse) {
        filterTarget(target);
        const int16_t residualGain = gain(residual, 5), targetGain = mult_r(codebook.mixingFactor, gain(dn_, 8));
        for (int n = 0; n < 64; n++) {
            const int32_t sum = L_mac(L_mult(residualGain, at(residual, n)), targetGain, at(dn_, n));
            at(mix_, n) = extract_h(L_shl(sum, 8));
            at(sign_, n) = at(mix_, n) >= 0 ? max16 : min16;
            if (at(mix_, n) >= 0) continue;
            at(dn_, n) = negate(at(dn_, n));
            at(mix_, n) = negate(at(mix_, n));
        }
    }

    Found twoTracks() {
        buildMatrix(0x10000, 1);
        Best best = {-1, 1, 0, 1};
        for (int p = 0; p < 64; p += 2)
            for (int q = 1; q < 64; q += 2)
                best.consider(add(at(dn_, p), at(dn_, q)), add(terms_[p][p], add(terms_[q][q], terms_[p][q])), p, q);
        Pulses pulses;
        place(pulses, {best.p, best.q});
        return output(pulses, 512);
    }

    Found fourTracks() {
        int32_t energy = 0;
        for (const int16_t x : h_)
            energy = L_mac(energy, x, x);
        const bool isHalved = codebook_.pulses >= 12 && extract_h(energy) > 1024;
        for (int16_t &x : h_)
            x = static_cast<int16_t>(x >> int{isHalved});
        buildMatrix(0x8000, 0);
        markCandidates();
        Best best;
        Pulses kept;
        for (int k = 0; k < codebook_.iterations; k++) {
            const Pulses next = iterate(k);
            best.consider(next.correlation, next.energy, k, 0);
            if (best.p == k) kept = next;
        }
        return output(kept, isHalved ? 256 : 512);
    }

private:
    void filterTarget(const Samples &target) {
        int32_t sums[64] = {}, largest[4] = {}, total = 1;
        for (int n = 0; n < 64; n++) {
            for (int j = n; j < 64; j++)
                sums[n] = wrapAdd32(sums[n], at(target, j) * at(h_, j - n));
            largest[n % 4] = std::max(largest[n % 4], L_abs(sums[n]));
        }
        for (const int32_t x : largest)
            total = L_add(L_add(total, x >> 2), x >> 3);
        for (int n = 0; n < 64; n++)
            at(dn_, n) = round(L_shl(sums[n], norm_l(total) - 4));
    }

    void buildMatrix(int32_t diagonalStart, int diagonalShift) {
        for (int p = 0; p < 64; p++)
            for (int q = 0; q < 64; q++) {
                int32_t sum = p == q ? diagonalStart : 0x8000;
                for (int n = 0; n < 64 - std::max(p, q); n++)
                    sum = L_mac(sum, at(h_, n), at(h_, n + std::abs(p - q)));
                const int16_t sign = at(sign_, p) == at(sign_, q) ? max16 : min16;
                terms_[p][q] = p == q ? shr(extract_h(sum), diagonalShift) : mult(extract_h(sum), sign);
            }
    }

    void markCandidates() {
        for (int t = 0; t < 4; t++)
            for (int mark = -8; mark < 0; mark++) {
                int best = t, largest = -1;
                for (int p = t; p < 64; p += 4)
                    if (at(mix_, p) > largest) largest = at(mix_, best = p);
                at(mix_, best) = static_cast<int16_t>(mark);
                if (mark == -8) bestOfTrack_[t] = best;
            }
    }

    // Adds the sum of the responses of the positions, made first, to those of the pulses.
    void place(Pulses &pulses, const std::vector<int> &positions) const {
        Samples sum = {};
        for (const int p : positions) {
            pulses.positions.push_back(p);
            for (int n = p; n < 64; n++)
                at(sum, n) = add(at(sum, n), at(sign_, p) > 0 ? at(h_, n - p) : negate(at(h_, n - p)));
        }
        for (int n = 0; n < 64; n++)
            at(pulses.sum, n) = add(at(pulses.sum, n), at(sum, n));
    }

    Pulses firstStage(const uint8_t *order) const {
        Pulses pulses;
        std::vector<int> positions;
        for (int k = 0; k < codebook_.firstStage; k++) {
            positions.push_back(bestOfTrack_[order[k]]);
            pulses.correlation = add(pulses.correlation, at(dn_, positions.back()));
        }
        place(pulses, positions);
        int32_t energy = 0;
        if (positions.size() == 2) {
            const int p = positions[0], q = positions[1];
            energy = L_mac(L_mac(L_mult(terms_[p][p], 4096), terms_[q][q], 4096), terms_[p][q], 8192);
        } else {
            for (const int16_t x : pulses.sum)
                energy = L_mac(energy, x, x);
            energy >>= 3;
        }
        pulses.energy = round(energy);
        return pulses;
    }

    Pulses iterate(int k) const {
        const uint8_t *const order = &ryxsc::amrwb::trackOrder[static_cast<size_t>(4 * k)];
        Pulses pulses = firstStage(order);
        for (int j = codebook_.firstStage, pair = 0; j < codebook_.pulses; j += 2, pair++) {
            const bool isExtra = codebook_.pulses % 4 != 0 && j == codebook_.pulses - 2;
            placePair(pulses, isExtra ? 0 : order[j], isExtra ? 1 : order[j + 1],
                      codebook_.tried[static_cast<size_t>(pair)]);
        }
        return pulses;
    }

    int16_t increment(const Pulses &pulses, int p) const {
        int32_t sum = 0;
        for (int n = p; n < 64; n++)
            sum = L_mac(sum, at(h_, n - p), at(pulses.sum, n));
        return add(mult(round(L_shl(sum, 1)), at(sign_, p)), terms_[p][p]);
    }

    void placePair(Pulses &pulses, int x, int y, int tried) const {
        Best best = {-1, 1, x, y};
        for (int p = x; p < 64; p += 4) {
            if (at(mix_, p) >= tried - 8) continue;
            const int32_t energyP = L_mac(pulses.energy * 65536 + 0x8000, increment(pulses, p), 4096);
            for (int q = y; q < 64; q += 4) {
                const int32_t energy = L_mac(L_mac(energyP, increment(pulses, q), 4096), terms_[p][q], 8192);
                best.consider(add(add(pulses.correlation, at(dn_, p)), at(dn_, q)), extract_h(energy), p, q);
            }
        }
        pulses.correlation = add(pulses.correlation, add(at(dn_, best.p), at(dn_, best.q)));
        pulses.energy = best.energy;
        place(pulses, {best.p, best.q});
    }

    Found output(const Pulses &pulses, int amplitude) const {
        Found found = {};
        for (const int p : pulses.positions)
            at(found.code, p) = static_cast<int16_t>(at(found.code, p) + (at(sign_, p) > 0 ? amplitude : -amplitude));
        for (int n = 0; n < 64; n++)
            at(found.filtered, n) = shr_r(at(pulses.sum, n), 3);
        return found;
    }

    const Codebook &codebook_;
    Samples h_, dn_ = {}, mix_ = {}, sign_ = {};
    int16_t terms_[64][64]; // energies on the diagonal
    int bestOfTrack_[4];
};

} // namespace

Found searchCodebook(const Samples &target, const Samples &residual, const Samples &impulse, int mode) {
    const Codebook &codebook = *ryxsc::amrwb::codebookOf(mode);
    Search search(codebook, target, residual, impulse);
    return codebook.hasTwoTracks() ? search.twoTracks() : search.fourTracks();
}

} // namespace reference::amrwb
