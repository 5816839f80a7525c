// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.728, Annex G, operation by operation as the recommendation writes it: the plain forms that the library's kernels are
// compared with.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "common/fixed_point.h"
#include "g728/tables.h"

namespace reference::g728 {

using namespace ryxsc;
using Words = std::vector<int16_t>;

inline int16_t upper(int64_t x) {
    return static_cast<int16_t>(std::min<int64_t>((x + 32768) >> 16, 32767));
}
inline int64_t shifted(int64_t x, int count) {
    return x >> std::min(count, 63);
}
inline int norm(int32_t x) {
    if (x == 0) return 31;
    int count = 0;
    for (; x < 1 << 30 && x >= -(1 << 30); count++)
        x *= 2;
    return count;
}

// A recursion in progress: coefficients with 15 - scale fraction bits.
struct Recursion {
    Words a;
    int energy = 0, scale = 0, reflection = 0;
};

inline int quotient(int n, int d) {
    int q = 0;
    for (int i = 0; i < 16; i++) {
        q *= 2;
        n *= 2;
        if (n >= d) {
            n -= d;
            q++;
        }
    }
    return q;
}

inline bool fits(int64_t x) {
    return x == sat32(x);
}

inline bool levinson(const int16_t *r, int to, Recursion &s) {
    if (s.a.empty()) {
        if (r[0] <= 0) return false;
        const int k = upper(int64_t{quotient(std::abs(r[1]), r[0])} << 15);
        s.reflection = r[1] > 0 ? -k : k;
        s.a = {static_cast<int16_t>(s.reflection)};
        s.energy = upper(sat32(r[0] * int64_t{65536} + 2 * int64_t{s.reflection} * r[1]));
    }
    for (int i = static_cast<int>(s.a.size()); i < to; i++) {
        int64_t sum = 0;
        for (int n = 1; n <= i; n++)
            sum += r[n] * s.a[static_cast<size_t>(i - n)];
        const int x = upper(sat32(r[i + 1] * int64_t{65536} + sum * (2 << s.scale)));
        if (std::abs(x) >= s.energy) return false;
        const int64_t u = int64_t{quotient(std::abs(x), s.energy)} << 15;
        const int64_t k = x > 0 ? -2 * upper(u) : 2 * upper(u);
        const int64_t energy = s.energy * int64_t{65536} + k * x;
        if (energy <= 0) return false;
        s.energy = upper(energy);
        for (size_t f = 0, g = s.a.size() - 1; f <= g && g < s.a.size();) {
            const int64_t p = s.a[f] * int64_t{65536} + k * s.a[g], q = s.a[g] * int64_t{65536} + k * s.a[f];
            if (!fits(p) || !fits(q)) {
                if (++s.scale > 2) return false;
                for (int16_t &a : s.a)
                    a = static_cast<int16_t>(a >> 1);
                continue;
            }
            s.a[f++] = upper(p);
            s.a[g--] = upper(q);
        }
        const int last = upper(u >> s.scale);
        s.a.push_back(static_cast<int16_t>(x > 0 ? -last : last));
    }
    return true;
}

// The hybrid window behind the windowing. w by age, the newest sample first.
struct HybridWindow {
    int lags, entering, nonRecursive, attenuation;
    Words memory = Words(static_cast<size_t>(lags) + 1);
    int exponent = 31;

    int64_t sum(const Words &w, int from, int len, int lag) const {
        int64_t total = 0;
        for (int i = from; i < from + len; i++)
            total += w[static_cast<size_t>(i)] * w[static_cast<size_t>(i + lag)];
        return total;
    }

    bool operator()(const Words &w, int na2, Words &r) {
        const int na = 2 * na2, factor = 65536 - (1 << (16 - attenuation));
        int tail = 1 + std::max(exponent - na, 0), fresh = 1 + std::max(na - exponent, 0);
        exponent = std::min(exponent, na);
        const auto recursive = [&](int l) {
            return shifted(memory[static_cast<size_t>(l)] * int64_t{factor}, tail) +
                   shifted(sum(w, nonRecursive, entering, l), fresh);
        };
        const auto a = static_cast<int32_t>(recursive(0));
        const int n0 = norm(a);
        for (int l = 0; l <= lags; l++)
            memory[static_cast<size_t>(l)] = upper(sat32(recursive(l) * (int64_t{1} << n0)));
        exponent += n0 - 1;
        tail = 1 + std::max(exponent - na, 0);
        fresh = 1 + std::max(na - exponent, 0);
        const auto whole = [&](int l) {
            return shifted(memory[static_cast<size_t>(l)] * int64_t{65536}, tail) +
                   shifted(sum(w, 0, nonRecursive, l), fresh);
        };
        const int64_t raised = whole(0) + (whole(0) >> 8);
        const int n1 = norm(static_cast<int32_t>(raised));
        r.assign(1, upper(raised * (int64_t{1} << n1)));
        for (int l = 1; l <= lags; l++)
            r.push_back(upper(sat32(whole(l) * (int64_t{1} << n1))));
        return whole(lags) != 0;
    }
};

inline int16_t limited(int64_t x) {
    return static_cast<int16_t>(std::clamp<int64_t>(x, -32768, 32767));
}
// x >> shift, rounded and limited.
inline int16_t rounded(int64_t x, int shift) {
    return limited((x + (1 << (shift - 1))) >> shift);
}

// Energies of the filtered shapes, exactly.
inline std::vector<int64_t> energies(const int16_t *impulse) {
    std::vector<int64_t> all;
    for (const auto &shape : ryxsc::g728::singleShapes.samples) {
        int64_t sum = 0;
        for (int n = 0; n < 5; n++) {
            int64_t x = 0;
            for (int m = 0; m <= n; m++)
                x += shape[m] * impulse[n - m];
            sum += (x >> 14) * (x >> 14);
        }
        all.push_back(sum >> 15);
    }
    return all;
}

// Index of shape and gain: 8 times the shape, 4 for a negative gain, and its magnitude.
inline int codebookSearch(const int16_t *target, int exponent, const int16_t *impulse,
                          const std::vector<int64_t> &energies) {
    int64_t backward[5], smallest = max32;
    for (int n = 0; n < 5; n++) {
        int64_t sum = 0;
        for (int m = n; m < 5; m++)
            sum += impulse[m - n] * target[m];
        sum = sat32(sum);
        backward[n] =
            limited(exponent >= -6 ? shifted(sum, exponent + 6) : sat32(sum * (int64_t{1} << -(exponent + 6))));
    }
    int index = 0;
    for (size_t j = 0; j < energies.size(); j++) {
        int64_t correlation = 0;
        for (int n = 0; n < 5; n++)
            correlation += ryxsc::g728::singleShapes.samples[j][n] * backward[n];
        const int64_t magnitude = std::abs(correlation), energy = energies[j];
        int gain = 0;
        while (gain < 3 && magnitude > ryxsc::g728::gainMagnitudes[gain].boundary * energy)
            gain++;
        const auto &g = ryxsc::g728::gainMagnitudes[gain];
        const int64_t distortion = g.square * energy - g.gain * std::min<int64_t>(magnitude >> 14, max16);
        if (distortion < smallest) {
            smallest = distortion;
            index = static_cast<int>(8 * j) + gain + (correlation <= 0 ? 4 : 0);
        }
    }
    return index;
}

// Long-term and short-term post-filter; memories in time order.
struct PostFilter {
    Words inputs = Words(10), outputs = Words(10);

    // period: the sample one lag back.
    int16_t operator()(int16_t x, int16_t period, int gain, int pitchGain, const Words &zeros, const Words &poles,
                       int16_t tilt) {
        int64_t sum = int64_t{gain} * x + int64_t{pitchGain} * period;
        const int16_t longTerm = rounded(sum, 14), before = outputs.back();
        for (size_t i = 0; i < 10; i++)
            sum += int64_t{zeros[i]} * inputs[9 - i] - int64_t{poles[i]} * outputs[9 - i];
        const auto next = [](Words &memory, int16_t value) {
            memory.erase(memory.begin());
            memory.push_back(value);
        };
        next(inputs, longTerm);
        next(outputs, limited(sum >> 14));
        return limited((sum + tilt * before) >> 14);
    }
};

// Automatic gain control of a vector.
inline void gainControl(const int16_t *speech, const int16_t *src, int16_t *dst, int16_t &scale) {
    int32_t wanted = 0, actual = 0;
    for (int n = 0; n < 5; n++) {
        wanted += std::abs(speech[n]);
        actual += std::abs(src[n]);
    }
    int ratio = 16384, exponent = 14;
    if (actual > 4) {
        const auto mantissa = [](int32_t sum) { return int64_t{upper(int64_t{sum} << norm(sum))}; };
        int64_t n = mantissa(wanted);
        const int64_t d = mantissa(actual);
        exponent += norm(wanted) - norm(actual);
        if (n < d) {
            exponent++;
            n *= 2;
        }
        ratio = static_cast<int>((32768 * n + d - 1) / (2 * d));
    }
    const int64_t product = int64_t{20972} * ratio;
    const int64_t step = exponent >= 7 ? shifted(product, exponent - 7) : int64_t{sat32(product << (7 - exponent))};
    for (int n = 0; n < 5; n++) {
        scale = rounded(step + int64_t{16220} * scale, 14);
        dst[n] = limited(2 * rounded(int64_t{scale} * src[n], 14));
    }
}

} // namespace reference::g728
