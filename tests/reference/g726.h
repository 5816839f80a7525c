// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.726, sample by sample as the recommendation writes it: the plain form that the library's coder is compared with.
// It shares the library's tables and G.711 conversions, which the conformance vectors check.
#pragma once

#include <cstdint>

namespace reference::g726 {

enum class Law { mu, a, linear };

template <int bits> class Codec {
public:
    Codec();
    int encode(int x);
    int decode(int octet, Law law);

private:
    void estimate();
    int quantise(int x) const;
    void reconstruct(int code);
    void adapt(int code);

    int yu = 544, yl = 34816, ap = 0, dms = 0, dml = 0, td = 0;
    int a[2] = {}, b[6] = {};
    int dqWord[6], srWord[2];
    bool dqNegative[6] = {}, srNegative[2] = {}, pk[2] = {};
    int se = 0, sez = 0, y = 0, dqm = 0, sr = 0, p = 0;
    bool negative = false;
};

} // namespace reference::g726
