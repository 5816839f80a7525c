// SPDX-License-Identifier: BSD-2-Clause
#include "reference/gsmamr.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "common/fixed_point.h"
#include "reference/common.h"

using namespace ryxsc;

namespace reference::gsmamr {

namespace {

constexpr int length = 40;
using Positions = Array<int, 10>;
using Order = Array<int, 4>; // of tracks
using Orders = std::vector<Order>;

void sharpen(int lag, int16_t factor, Subframe &x) {
    for (int n = lag; n < length; n++)
        x[n] = wrap16(x[n] + ((factor * x[n - lag]) >> 15));
}

struct Candidate {
    int p = 0, q = -1, a = 1;
};

class Search {
public:
    Search(const Subframe &target, const Subframe &residual, const Subframe &impulse, int pulses, int tracks)
        : pulses_(pulses), tracks_(tracks) {
        std::iota(winner_.begin(), winner_.end(), 0);
        std::fill_n(marked_, length, true);
        correlate(target, impulse);
        pulses > 4 ? combineSigns(residual) : splitSigns();
        buildMatrix(impulse);
    }

    // Two, three and four pulses: the best of each order of the tracks, for every marked position of the first.
    void searchOrders(const Orders &orders) {
        for (const Order &order : orders)
            for (int i0 = order[0]; i0 < length; i0 += 5)
                if (marked_[i0]) {
                    Positions at = {{i0}};
                    Candidate last = {d_[i0], 0, 0};
                    for (int k = 1; k < pulses_; k++)
                        last = bestOnTrack(k, order[k], at, last);
                    keepWinner(last, at);
                }
    }

    // Eight and ten pulses: pair by pair, for every rotation of the tracks behind the first.
    void searchPairs() {
        Positions ip = {};
        for (int k = 0; k < 2 * tracks_; k++)
            ip[k] = (startTrack_ + k) % tracks_;
        for (int turn = 1; turn < tracks_; turn++) {
            Positions at = {{largest_[ip[0]], largest_[ip[1]]}};
            Candidate best = {add(d_[at[0]], d_[at[1]]), 0, 0};
            int32_t energy = 4096 * R_[at[0]][at[0]] + 4096 * R_[at[1]][at[1]] + 8192 * R_[at[0]][at[1]];
            for (int k = 2; k < pulses_; k += 2) {
                best = bestPair(k, ip, at, best.p, energy);
                energy = 32768 * best.a;
            }
            keepWinner(best, at);
            std::rotate(ip.begin() + 1, ip.begin() + 2, ip.begin() + 2 * tracks_);
        }
    }

    Found build(const Subframe &impulse) const {
        const int16_t one = pulses_ == 10 ? 4096 : 8191, minus = pulses_ == 10 ? -4096 : pulses_ == 8 ? -8191 : -8192;
        const int16_t gain = pulses_ == 10 ? 8192 : 32767, minusGain = pulses_ == 10 ? -8192 : -32768;
        Found found = {};
        Array<int32_t, length> sums = {};
        for (int k = 0; k < pulses_; k++) {
            const int at = winner_[k];
            const bool positive = sign_[at] > 0;
            found.code[at] = add(found.code[at], positive ? one : minus);
            for (int n = at; n < length; n++)
                sums[n] = L_mac(sums[n], positive ? gain : minusGain, impulse[n - at]);
        }
        std::transform(sums.begin(), sums.end(), found.filtered.begin(), ryxsc::round);
        return found;
    }

    void mark(int dropped) {
        int at = 0;
        for (int track = 0; track < 5; track++)
            for (int k = 0; k < dropped; k++) {
                int16_t least = max16;
                for (int n = track; n < length; n += 5)
                    if (marked_[n] && d_[n] < least) {
                        least = d_[n];
                        at = n;
                    }
                marked_[at] = false;
            }
    }

private:
    void correlate(const Subframe &x, const Subframe &h) {
        int32_t y[length] = {};
        int32_t most[5] = {};
        for (int n = 0; n < length; n++) {
            for (int i = n; i < length; i++)
                y[n] = L_mac(y[n], x[i], h[i - n]);
            most[n % tracks_] = std::max(most[n % tracks_], L_abs(y[n]));
        }
        int32_t total = 5;
        for (const int32_t m : most)
            total = L_add(total, m >> 1);
        const int shift = norm_l(total) - (pulses_ > 4 ? 2 : 1);
        std::transform(y, y + length, d_.begin(), [=](int32_t v) { return ryxsc::round(L_shl(v, shift)); });
    }

    void splitSigns() {
        for (int n = 0; n < length; n++) {
            sign_[n] = d_[n] >= 0 ? 32767 : -32767;
            d_[n] = abs_s(d_[n]);
        }
    }

    void combineSigns(const Subframe &r) {
        const auto scale = [](const Subframe &v) {
            int32_t energy = 256;
            for (const int16_t sample : v)
                energy = L_mac(energy, sample, sample);
            return extract_h(L_shl(common::inverseSqrt(energy), 5));
        };
        const int16_t kr = scale(r), kd = scale(d_);
        Subframe e;
        for (int n = 0; n < length; n++) {
            const int16_t c = ryxsc::round(L_shl(L_mac(L_mult(kr, r[n]), kd, d_[n]), 10));
            sign_[n] = c >= 0 ? 32767 : -32767;
            e[n] = abs_s(c);
            if (c < 0) d_[n] = negate(d_[n]);
        }
        int largest = -1;
        for (int track = 0; track < tracks_; track++) {
            largest_[track] = track;
            for (int n = track; n < length; n += tracks_)
                if (e[n] > e[largest_[track]]) largest_[track] = n;
            if (e[largest_[track]] > largest) {
                largest = e[largest_[track]];
                startTrack_ = track;
            }
        }
    }

    void buildMatrix(const Subframe &h) {
        int32_t energy = 2;
        for (const int16_t sample : h)
            energy = L_mac(energy, sample, sample);
        Subframe g;
        const int16_t k = mult(extract_h(L_shl(common::inverseSqrt(energy >> 1), 7)), 32440);
        for (int n = 0; n < length; n++)
            g[n] = extract_h(energy) == 32767 ? int16_t(h[n] >> 1) : sat16((h[n] * k + 32) >> 6);
        for (int m = 0; m < length; m++) {
            int32_t sum = 0;
            for (int n = 0; n < length - m; n++) {
                sum = L_mac(sum, g[n], g[n + m]);
                const int j = length - 1 - n, i = j - m;
                const int16_t v = ryxsc::round(sum);
                R_[i][j] = R_[j][i] = m == 0 ? v : mult(v, mult(sign_[i], sign_[j]));
            }
        }
    }

    static bool isBetter(const Candidate &x, const Candidate &best) { return best.a * x.q > best.q * x.a; }

    static Candidate candidate(int p, int a) { return {p, std::min((p * p) >> 15, 32767), a}; }

    Candidate bestOnTrack(int k, int track, Positions &at, const Candidate &last) const {
        Candidate best;
        at[k] = track;
        for (int n = track; n < length; n += 5) {
            int cross = 0;
            for (int j = 0; j < k; j++)
                cross += 2 * R_[at[j]][n];
            const int a = k == 1   ? (R_[at[0]][at[0]] + R_[n][n] + cross + 2) >> 2
                          : k == 2 ? (4 * last.a + R_[n][n] + cross + 8) >> 4
                                   : sat16((16 * last.a + R_[n][n] + cross + 8) >> 4);
            const Candidate c = candidate(sat16(last.p + d_[n]), a);
            if (isBetter(c, best)) {
                best = c;
                at[k] = n;
            }
        }
        return best;
    }

    // Energy of a further pulse beside the first k, on top of `start`.
    int32_t addPulse(int32_t start, int weight, int k, const Positions &at, int n) const {
        int32_t sum = L_add(start, weight * R_[n][n]);
        for (int j = 0; j < k; j++)
            sum = L_add(sum, 2 * weight * R_[at[j]][n]);
        return sum;
    }

    Candidate bestPair(int k, const Positions &ip, Positions &at, int p0, int32_t energy) const {
        constexpr int w[] = {8192, 8192, 4096, 4096}, c[] = {4096, 2048, 1024, 512}, z[] = {32768, 16384, 16384, 8192};
        const int stage = k / 2 - 1;
        const Positions placed = at;
        Candidate best;
        at[k] = ip[k];
        at[k + 1] = ip[k + 1];
        for (int u = ip[k]; u < length; u += tracks_) {
            const int p1 = sat16(p0 + d_[u]);
            const int32_t first = addPulse(energy, c[stage], k, placed, u);
            for (int v = ip[k + 1]; v < length; v += tracks_) {
                const int r = ryxsc::round(addPulse(0, w[stage], k, placed, v));
                const int32_t both = L_add(L_add(first, z[stage] * r), 2 * c[stage] * R_[u][v]);
                const Candidate pair = candidate(sat16(p1 + d_[v]), ryxsc::round(both));
                if (isBetter(pair, best)) {
                    best = pair;
                    at[k] = u;
                    at[k + 1] = v;
                }
            }
        }
        return best;
    }

    void keepWinner(const Candidate &c, const Positions &at) {
        if (!isBetter(c, best_)) return;
        best_ = c;
        winner_ = at;
    }

    int pulses_, tracks_;
    Subframe d_, sign_;
    bool marked_[length];
    int R_[length][length];
    int largest_[5], startTrack_ = 0;
    Candidate best_;
    Positions winner_;
};

// Each set of tracks and all its rotations to the right.
Orders rotations(int tracks, const Orders &sets) {
    Orders all;
    for (Order order : sets)
        for (int k = 0; k < tracks; k++) {
            all.push_back(order);
            std::rotate(order.begin(), order.begin() + tracks - 1, order.begin() + tracks);
        }
    return all;
}

Orders ordersOf(int subframe, int rate) {
    const Order front = {{0, 2 + subframe % 2}}, back = {{subframe == 1 ? 2 : 1, subframe == 0 ? 3 : 4}};
    switch (rate) {
    case 0:
    case 1:
        return {front, back};
    case 3:
        return {{{1, 0}}, {{1, 1}}, {{1, 2}}, {{1, 4}}, {{3, 0}}, {{3, 1}}, {{3, 2}}, {{3, 4}}};
    case 6:
        return rotations(3, {{{0, 1, 2}}, {{0, 1, 4}}, {{0, 3, 2}}, {{0, 3, 4}}});
    default:
        return rotations(4, {{{0, 1, 2, 3}}, {{0, 1, 2, 4}}});
    }
}

} // namespace

void prepare(const int16_t *speech, const int16_t *numerator, const int16_t *denominator, const int16_t *lpc,
             const int16_t *synthesisMemory, const int16_t *weightingMemory, Subframe &impulse, Subframe &residual,
             Subframe &target) {
    constexpr int order = 10;
    const auto synthesise = [&](const int16_t *a, const int16_t *memory, const int16_t *x) {
        Array<int16_t, order + length> y = {};
        std::copy_n(memory, order, y.begin());
        for (int n = 0; n < length; n++) {
            int32_t sum = L_mult(a[0], x[n]);
            for (int k = 1; k <= order; k++)
                sum = L_msu(sum, a[k], y[order + n - k]);
            y[order + n] = ryxsc::round(L_shl(sum, 3));
        }
        return y;
    };
    const auto filter = [&](const int16_t *a, const int16_t *x, Subframe &y) {
        for (int n = 0; n < length; n++) {
            int32_t sum = 0;
            for (int k = 0; k <= order; k++)
                sum = L_mac(sum, a[k], x[order + n - k]);
            y[n] = ryxsc::round(L_shl(sum, 3));
        }
    };
    const int16_t rest[order] = {};
    Subframe input = {};
    std::copy_n(numerator, order + 1, input.begin());
    const auto response = synthesise(denominator, rest, &synthesise(lpc, rest, input.data())[order]);
    std::copy_n(&response[order], length, impulse.begin());
    filter(lpc, speech, residual);
    filter(numerator, synthesise(lpc, synthesisMemory, residual.data()).data(), input);
    const auto weighted = synthesise(denominator, weightingMemory, input.data());
    std::copy_n(&weighted[order], length, target.begin());
}

Found search(int16_t lag, int16_t gain, const Subframe &target, const Subframe &residual, Subframe &impulse,
             int subframe, int rate) {
    const int pulses = rate < 6 ? 2 : rate == 6 ? 3 : rate < 11 ? 4 : rate == 11 ? 8 : 10;
    const int16_t factor = sat16(2 * gain);
    sharpen(lag, factor, impulse);
    Search search(target, residual, impulse, pulses, pulses == 8 ? 4 : 5);
    if (pulses == 3) search.mark(2);
    if (pulses == 4) search.mark(4);
    pulses > 4 ? search.searchPairs() : search.searchOrders(ordersOf(subframe, rate));
    Found found = search.build(impulse);
    found.sharpened = found.code;
    sharpen(lag, factor, found.sharpened);
    return found;
}

} // namespace reference::gsmamr
