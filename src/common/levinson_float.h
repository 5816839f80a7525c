// SPDX-License-Identifier: BSD-2-Clause
// Step of the Levinson-Durbin recursion in single precision, on predictors a[0] = 1, a[1], a[2], ...
#pragma once

namespace ryxsc {

// To order m, in place: pairs from the outside to the middle.
inline void extendFilter(float *a, int m, float k) {
    for (int j = 1; j <= m / 2; j++) {
        const float front = a[j] + k * a[m - j];
        a[m - j] += k * a[j];
        a[j] = front;
    }
    a[m] = k;
}

} // namespace ryxsc
