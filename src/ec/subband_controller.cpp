// SPDX-License-Identifier: BSD-2-Clause
// Adaptation controller of a sub-band echo canceller with two sets of coefficients, single precision. The main set makes the
// output and learns with the step of a Kalman filter whose covariance is one number for each band; the shadow set always
// learns with a full step, and takes over when it is better. The main set that it replaces stays as a backup on probation.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "common/checks.h"
#include "common/state_block.h"
#include "ec/four_bins.h"
#include "ec/implementations.h"
#include "ec/subband_controller.h"
#include "ec/subband_filter.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

constexpr uint32_t identifier = 0x52455342; // "RESB"

struct Controller {
    uint32_t identifier;
    int32_t bands, taps, hop;
    float energySmoothing, nearSmoothing, drift; // factors of a block
    float regularisation;                        // stands for a near-end noise of rms 39
    float overlap;                               // length of the transform over the hop
    float firstVariance;
    float nearFloorGrowth;
    int32_t probationBlocks, holdBlocks;

    int32_t updates;          // so far, modulo 8
    int32_t probation;        // blocks until the backup is given up
    int32_t startsNearEnergy; // the next update takes the energies of the error instead of smoothing them
    int32_t doubleTalk;       // blocks for which it is still reported
    double mainResidual, shadowResidual, microphone; // smoothed energies
    double mainSum, backupSum;                       // of the residuals while on probation
    double nearFloor;                                // follows what the error holds beyond the residual echo
};
static_assert(sizeof(Controller) <= 128);

// The block holds, from the next 16-byte boundary: the fields, four rows of a number for each band, and the backup.
struct Rows {
    Rows(Controller &controller) : bands_(controller.bands), first_(reinterpret_cast<std::byte *>(&controller) + 128) {}

    float *variance() const { return row(0); }      // expected |error|^2 of a coefficient
    float *nearEnergy() const { return row(1); }    // of noise, near speech and residual, smoothed
    float *savedVariance() const { return row(2); } // of the backup
    float *coefEnergy() const { return row(3); }    // of the main set, some bands behind
    ryx32fc *backup(int tap) const { return reinterpret_cast<ryx32fc *>(first_ + 4 * rowBytes()) + tap * bands_; }

    static constexpr int64_t rowBytes(int bands) { return (int64_t{4} * bands + 15) & ~int64_t{15}; }

private:
    int64_t rowBytes() const { return rowBytes(static_cast<int>(bands_)); }
    float *row(int i) const { return reinterpret_cast<float *>(first_ + i * rowBytes()); }

    std::ptrdiff_t bands_;
    std::byte *first_;
};

using Set = ryx32fc *const *;

Controller *opened(SubbandControllerState_EC_32f *block) {
    auto &controller = alignedBlock<Controller>(block);
    return controller.identifier == identifier && !isBadBandCount(controller.bands) && !isBadTapCount(controller.taps)
               ? &controller
               : nullptr;
}

ryxStatus checkConfiguration(int numBands, int taps, int hop, int sampleRate) {
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (isBadTapCount(taps)) return ryxStsOutOfRange;
    if (hop < 1) return ryxStsBadArg;
    return isBlockRate(sampleRate) ? ryxStsOk : ryxStsOutOfRange;
}

float factorOf(double seconds, double timeConstant) {
    return static_cast<float>(std::exp(-seconds / timeConstant));
}

double energyOf(const float *x, int len) {
    __m128 sums[2] = {_mm_setzero_ps(), _mm_setzero_ps()};
    int i = 0;
    for (; len - i >= 8; i += 8)
        for (int k = 0; k < 2; k++) {
            const __m128 four = _mm_loadu_ps(x + i + 4 * k);
            sums[k] = _mm_add_ps(sums[k], _mm_mul_ps(four, four));
        }
    float parts[4];
    _mm_storeu_ps(parts, _mm_add_ps(sums[0], sums[1]));
    float sum = (parts[0] + parts[1]) + (parts[2] + parts[3]);
    for (; i < len; i++)
        sum += x[i] * x[i];
    return sum;
}

void copySet(const Controller &controller, Set to, const ryx32fc *const *from) {
    for (int t = 0; t < controller.taps; t++)
        std::memcpy(to[t], from[t], static_cast<size_t>(controller.bands) * sizeof(ryx32fc));
}

void clearSet(const Controller &controller, Set set) {
    for (int t = 0; t < controller.taps; t++)
        std::memset(set[t], 0, static_cast<size_t>(controller.bands) * sizeof(ryx32fc));
}

void copyRow(const Controller &controller, float *to, const float *from) {
    std::memcpy(to, from, static_cast<size_t>(controller.bands) * sizeof(float));
}

// The sum of |rows[t][k]|^2 over t for `count` neighbouring bands.
__m128 energiesOver(const ryx32fc *const *rows, int taps, int k, int count) {
    FourEnergies energies;
    if (count == 4) {
        for (int t = 0; t < taps; t++)
            energies.add(rows[t] + k);
        return energies.get();
    }
    alignas(16) float sums[4] = {};
    for (int i = 0; i < count; i++) {
        FourEnergies single;
        for (int t = 0; t < taps; t++)
            single.add(rows[t][k + i]);
        sums[i] = _mm_cvtss_f32(single.get());
    }
    return _mm_load_ps(sums);
}

// Nothing is known of the path.
void forget(Controller &controller) {
    const Rows rows(controller);
    std::fill_n(rows.variance(), controller.bands, controller.firstVariance);
    controller.startsNearEnergy = 1;
    controller.probation = 0;
}

void startAnew(Controller &controller, Set main, Set shadow, double microphone) {
    clearSet(controller, main);
    clearSet(controller, shadow);
    forget(controller);
    controller.mainResidual = controller.shadowResidual = controller.microphone = microphone;
}

void restoreBackup(Controller &controller, Set main, Set shadow, double residual) {
    const Rows rows(controller);
    for (int t = 0; t < controller.taps; t++)
        std::memcpy(main[t], rows.backup(t), static_cast<size_t>(controller.bands) * sizeof(ryx32fc));
    copySet(controller, shadow, main);
    copyRow(controller, rows.variance(), rows.savedVariance());
    controller.mainResidual = controller.shadowResidual = residual;
}

void keepBackup(Controller &controller, const ryx32fc *const *main) {
    const Rows rows(controller);
    for (int t = 0; t < controller.taps; t++)
        std::memcpy(rows.backup(t), main[t], static_cast<size_t>(controller.bands) * sizeof(ryx32fc));
    copyRow(controller, rows.savedVariance(), rows.variance());
    controller.mainSum = controller.backupSum = 0;
}

// The shadow's path becomes the main one. It is as uncertain as the share of the echo that it leaves.
void takeOver(Controller &controller, Set main, const ryx32fc *const *shadow) {
    const Rows rows(controller);
    if (controller.probation == 0) keepBackup(controller, main);
    controller.probation = controller.probationBlocks;
    copySet(controller, main, shadow);
    const double uncertain = std::min(1.0, 4 * controller.shadowResidual / controller.microphone);
    const __m128 share = _mm_set1_ps(static_cast<float>(uncertain / controller.taps));
    for (int k = 0; k < controller.bands; k += 4) {
        const __m128 energy = energiesOver(main, controller.taps, k, std::min(4, controller.bands - k));
        float *const variance = rows.variance() + k;
        _mm_store_ps(variance, _mm_max_ps(_mm_load_ps(variance), _mm_mul_ps(energy, share)));
    }
    controller.startsNearEnergy = 1;
    controller.mainResidual = controller.shadowResidual;
}

double smooth(double factor, double old, double value) {
    return factor * old + (1 - factor) * value;
}

// Whether the backup turns out better than what replaced it.
bool backupWins(Controller &controller, double mainEnergy, double backupEnergy) {
    if (controller.probation == 0) return false;
    controller.backupSum += backupEnergy;
    controller.mainSum += mainEnergy;
    return --controller.probation == 0 && controller.backupSum < controller.mainSum;
}

// What an update takes from the sums of four bands.
struct FourSteps {
    __m128 main, shadow, residual;
};

// With p regressors: an affine projection of that order learns so much faster.
FourSteps updateFour(const Controller &controller, float *varianceRow, float *nearRow, const FourBins &error,
                     __m128 coefEnergy, __m128 historyEnergy, int order) {
    const __m128 one = _mm_set1_ps(1), perTap = _mm_set1_ps(1 / static_cast<float>(controller.taps));
    const __m128 drift = _mm_set1_ps(controller.drift), overlap = _mm_set1_ps(controller.overlap);
    const __m128 regularisation = _mm_set1_ps(controller.regularisation);
    __m128 variance = _mm_load_ps(varianceRow);
    variance =
        _mm_add_ps(_mm_mul_ps(drift, variance), _mm_mul_ps(_mm_mul_ps(_mm_sub_ps(one, drift), coefEnergy), perTap));
    const __m128 alpha = controller.startsNearEnergy ? _mm_setzero_ps() : _mm_set1_ps(controller.nearSmoothing);
    const __m128 near =
        _mm_add_ps(_mm_mul_ps(alpha, _mm_load_ps(nearRow)), _mm_mul_ps(_mm_sub_ps(one, alpha), error.power()));
    _mm_store_ps(nearRow, near);
    const __m128 echo = _mm_mul_ps(variance, historyEnergy);
    const __m128 noise = _mm_add_ps(_mm_mul_ps(overlap, near), regularisation);
    FourSteps steps;
    steps.residual = _mm_mul_ps(echo, _mm_set1_ps(1 / controller.overlap));
    steps.main = order > 0 ? _mm_div_ps(noise, _mm_max_ps(variance, _mm_set1_ps(FLT_MIN)))
                           : _mm_div_ps(variance, _mm_add_ps(echo, noise));
    steps.shadow = _mm_div_ps(
        one, _mm_add_ps(historyEnergy, _mm_mul_ps(regularisation, _mm_set1_ps(static_cast<float>(controller.taps)))));
    const __m128 learnt = _mm_div_ps(echo, _mm_mul_ps(_mm_add_ps(echo, noise), overlap));
    const __m128 count = _mm_set1_ps(static_cast<float>(std::max(order, 1)));
    variance = _mm_mul_ps(variance, _mm_sub_ps(one, _mm_mul_ps(_mm_mul_ps(learnt, count), perTap)));
    _mm_store_ps(varianceRow, _mm_max_ps(variance, _mm_setzero_ps()));
    return steps;
}

void storeSteps(double *to, __m128 steps, int count) {
    alignas(16) double four[4];
    double *const at = count == 4 ? to : four;
    _mm_storeu_pd(at, _mm_cvtps_pd(steps));
    _mm_storeu_pd(at + 2, _mm_cvtps_pd(_mm_movehl_ps(steps, steps)));
    if (count < 4) std::copy_n(four, count, to);
}

void storeFloats(float *to, __m128 values, int count) {
    float four[4];
    _mm_storeu_ps(four, values);
    std::copy_n(four, count, to);
}

// Sums over the bands without the two at either end.
class InnerSum {
public:
    explicit InnerSum(int bands) : bands_(bands) {}

    void add(__m128 values, int k) {
        float four[4];
        _mm_storeu_ps(four, values);
        for (int i = 0; i < 4; i++)
            if (k + i >= 2 && k + i < bands_ - 2) sum_ += four[i];
    }
    void addInside(__m128 values) { inside_ = _mm_add_ps(inside_, values); }
    double get() const {
        float four[4];
        _mm_storeu_ps(four, inside_);
        return sum_ + ((four[0] + four[1]) + (four[2] + four[3]));
    }
    bool isInside(int k) const { return k >= 4 && k + 4 <= bands_ - 2; }

private:
    int bands_;
    float sum_ = 0;
    __m128 inside_ = _mm_setzero_ps();
};

// Double talk is what the error holds beyond the residual echo and a slowly rising floor.
void followDoubleTalk(Controller &controller, double residual, double near) {
    if (!(near <= FLT_MAX)) near = FLT_MAX;
    controller.nearFloor = std::min(controller.nearFloor * controller.nearFloorGrowth, near);
    if (near > 8 * (residual + 2 * controller.nearFloor) + 400.0 * controller.hop)
        controller.doubleTalk = controller.holdBlocks;
    else
        controller.doubleTalk = std::max(controller.doubleTalk - 1, 0);
}

// Calls store(k, steps, count) for every four bands.
template <class Store> void update(Controller &controller, const ryx32fc *const *history, const ryx32fc *const *coefs,
                                   const ryx32fc *error, int order, Store store) {
    const Rows rows(controller);
    const Controller fixed = controller; // a copy, since what the rows take might be a field
    InnerSum residual(fixed.bands), near(fixed.bands);
    for (int k = 0; k < fixed.bands; k += 4) {
        const int count = std::min(4, fixed.bands - k);
        // The path drifts within minutes: its energy in a band may be eight blocks old.
        if (k / 4 % 8 == fixed.updates) _mm_store_ps(rows.coefEnergy() + k, energiesOver(coefs, fixed.taps, k, count));
        const FourSteps steps =
            updateFour(fixed, rows.variance() + k, rows.nearEnergy() + k, FourBins::load(error + k, count),
                       _mm_load_ps(rows.coefEnergy() + k), energiesOver(history, fixed.taps, k, count), order);
        store(k, steps, count);
        const __m128 nearEnergy = _mm_load_ps(rows.nearEnergy() + k);
        if (residual.isInside(k)) {
            residual.addInside(steps.residual);
            near.addInside(nearEnergy);
        } else {
            residual.add(steps.residual, k);
            near.add(nearEnergy, k);
        }
    }
    controller.updates = (controller.updates + 1) % 8;
    controller.startsNearEnergy = 0;
    followDoubleTalk(controller, residual.get(), near.get());
}

} // namespace

ryxStatus ryxsSubbandControllerGetSize_EC_32f_u8(int numBands, int taps, int hop, int sampleRate, int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    if (const ryxStatus status = checkConfiguration(numBands, taps, hop, sampleRate)) return status;
    const int64_t backup = (int64_t{8} * taps * numBands + 15) & ~int64_t{15};
    *size = static_cast<int>(16 + 128 + 4 * Rows::rowBytes(numBands) + backup);
    return ryxStsOk;
}

ryxStatus ryxsSubbandControllerInit_EC_32f_u8(SubbandControllerState_EC_32f *state, int numBands, int taps, int hop,
                                              int sampleRate) {
    if (anyNull(state)) return ryxStsNullPtr;
    if (const ryxStatus status = checkConfiguration(numBands, taps, hop, sampleRate)) return status;
    auto &controller = alignedBlock<Controller>(state);
    const double seconds = static_cast<double>(hop) / sampleRate, points = std::max(2 * (numBands - 1), 1);
    controller = {};
    controller.identifier = identifier;
    controller.bands = numBands;
    controller.taps = taps;
    controller.hop = hop;
    controller.energySmoothing = factorOf(seconds, 0.11);
    controller.nearSmoothing = factorOf(seconds, 0.036);
    controller.drift = factorOf(2 * seconds, 1000);
    controller.regularisation = static_cast<float>(1500 * points);
    controller.overlap = static_cast<float>(points / hop);
    controller.firstVariance = 4 / static_cast<float>(taps);
    controller.nearFloorGrowth = static_cast<float>(std::pow(1.2, seconds));
    controller.probationBlocks = std::max(static_cast<int>(0.24 / seconds), 1);
    controller.holdBlocks = std::max(static_cast<int>(std::lround(0.032 / seconds)), 1);
    return ryxsSubbandControllerReset_EC_32f_u8(state);
}

ryxStatus ryxsSubbandControllerReset_EC_32f_u8(SubbandControllerState_EC_32f *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    std::memset(Rows(*controller).variance(), 0, static_cast<size_t>(4 * Rows::rowBytes(controller->bands)));
    forget(*controller);
    controller->startsNearEnergy = controller->updates = 0;
    controller->mainResidual = controller->shadowResidual = controller->microphone = 0;
    controller->mainSum = controller->backupSum = 0;
    controller->nearFloor = 1e12;
    controller->doubleTalk = 0;
    return ryxStsOk;
}

ryxStatus ryxsSubbandController_EC_32f_u8(const float *s, const float *e1, const float *e2, const float *e3,
                                          ryx32fc *const *a, ryx32fc *const *b, int *event,
                                          SubbandControllerState_EC_32f *state) {
    if (anyNull(s, e1, e2, a, b, event, state)) return ryxStsNullPtr;
    Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    if (controller->probation > 0 && anyNull(e3)) return ryxStsNullPtr;
    const int hop = controller->hop;
    const double g = controller->energySmoothing;
    const double mainEnergy = energyOf(e1, hop), shadowEnergy = energyOf(e2, hop);
    double &main = controller->mainResidual, &shadow = controller->shadowResidual;
    double &microphone = controller->microphone;
    double microphoneEnergy = energyOf(s, hop);
    if (!(microphoneEnergy <= FLT_MAX)) microphoneEnergy = 0;
    if (!(mainEnergy <= FLT_MAX)) {
        startAnew(*controller, a, b, microphoneEnergy);
        *event = ryxEcAnew;
        return ryxStsOk;
    }
    main = smooth(g, main, mainEnergy);
    shadow = shadowEnergy <= FLT_MAX ? smooth(g, shadow, shadowEnergy) : HUGE_VAL;
    microphone = smooth(g, microphone, microphoneEnergy);
    *event = ryxEcNone;
    const double backupEnergy = controller->probation > 0 ? energyOf(e3, hop) : 0;
    if (backupWins(*controller, mainEnergy, backupEnergy)) {
        restoreBackup(*controller, a, b, backupEnergy);
        *event = ryxEcRestored;
    } else if (main > 1.3 * microphone && main > 100.0 * hop) {
        startAnew(*controller, a, b, microphone);
        *event = ryxEcAnew;
    } else if (shadow < 0.5 * main && shadow < 0.7 * microphone) {
        takeOver(*controller, a, b);
        *event = ryxEcTakenOver;
    } else if (shadow > 4 * main) {
        copySet(*controller, b, a);
        shadow = main;
        *event = ryxEcShadowReset;
    }
    return ryxStsOk;
}

ryxStatus ryxsSubbandControllerBackup_EC_32f_u8(const ryx32fc *const *history, ryx32fc *dst, int *onProbation,
                                                SubbandControllerState_EC_32f *state) {
    if (anyNull(history, dst, onProbation, state)) return ryxStsNullPtr;
    Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    *onProbation = controller->probation > 0;
    if (*onProbation == 0) return ryxStsOk;
    const Rows rows(*controller);
    const ryx32fc *backup[mostTaps];
    for (int t = 0; t < controller->taps; t++)
        backup[t] = rows.backup(t);
    filterSpectra(history, backup, dst, controller->taps, controller->bands);
    return ryxStsOk;
}

ryxStatus ryxsSubbandControllerUpdate_EC_32f_u8(const ryx32fc *const *history, const ryx32fc *const *coefs,
                                                const ryx32fc *error, double *step, double *stepShadow, float *residual,
                                                SubbandControllerState_EC_32f *state) {
    if (anyNull(history, coefs, error, step, stepShadow, state)) return ryxStsNullPtr;
    Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    update(*controller, history, coefs, error, 0, [=](int k, const FourSteps &steps, int count) {
        storeSteps(step + k, steps.main, count);
        storeSteps(stepShadow + k, steps.shadow, count);
        if (residual != nullptr) storeFloats(residual + k, steps.residual, count);
    });
    return ryxStsOk;
}

ryxStatus ryxsSubbandAPControllerUpdate_EC_32f_u8(const ryx32fc *const *history, const ryx32fc *const *coefs,
                                                  const ryx32fc *error, double *const *step, float *residual, int order,
                                                  SubbandControllerState_EC_32f *state) {
    if (anyNull(history, coefs, error, step, state)) return ryxStsNullPtr;
    Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    if (order < 1) return ryxStsOutOfRange;
    update(*controller, history, coefs, error, order, [=](int k, const FourSteps &steps, int count) {
        std::fill_n(step[0] + k, count, 1.0);
        storeSteps(step[1] + k, steps.main, count);
        if (residual != nullptr) storeFloats(residual + k, steps.residual, count);
    });
    return ryxStsOk;
}

ryxStatus ryxsSubbandControllerDT_EC_32f_u8(int *doubleTalk, const SubbandControllerState_EC_32f *state) {
    if (anyNull(doubleTalk, state)) return ryxStsNullPtr;
    const Controller *const controller = opened(const_cast<SubbandControllerState_EC_32f *>(state));
    if (controller == nullptr) return ryxStsBadContext;
    *doubleTalk = controller->doubleTalk > 0;
    return ryxStsOk;
}
