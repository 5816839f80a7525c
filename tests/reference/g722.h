// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.722, sample by sample as the recommendation writes it: the plain forms that the library's kernels are compared
// with. They share nothing with the library; the numbers are the recommendation's tables.
#pragma once

#include <cstdint>

namespace reference::g722 {

// One sub-band: predictors and scale factor. The low band has a quantiser of its own.
class Band {
public:
    Band(int det, int logMax, int antilogOffset);

    int prediction() const { return s; }
    int reconstruction() const { return r; }
    int scaleFactor() const { return det; }

    // level: signed inverse quantiser output; logStep: WL or WH.
    void adapt(int level, int logStep);

    // After concealed frames: new signal history, halved or fresh scale factor.
    void restart(const int16_t *recon, int prediction);
    void halveScale();
    void resetScale(int startDet);

private:
    int antilog(int k) const;
    void adaptZeros(int difference);
    void adaptPoles(int partial);

    int det, logMax, antilogOffset;
    int nb = 0;
    int a[2] = {}, b[6] = {}, d[6] = {};
    int p[2] = {};
    int s = 0, sz = 0, r = 0;
};

class Codec {
public:
    void encode(const int16_t *bands, int16_t *codes);
    void decode(const int16_t *codes, int16_t *bands, int mode);
    void updateState(const int16_t *recon, int prediction, bool reset);

private:
    void adapt(int lowCode, int highCode);

    Band low{32, 18432, 64}, high{8, 22528, 0};
};

// 24-tap QMFs; the delay line has the newest pair in front.
void transmitQmf(const int16_t *pair, int16_t *bands, int16_t *delay);
void receiveQmf(const int16_t *bands, int16_t *pair, int16_t *delay);

} // namespace reference::g722
