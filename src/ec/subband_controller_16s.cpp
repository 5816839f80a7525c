// SPDX-License-Identifier: BSD-2-Clause
// Adaptation controller of a sub-band echo canceller with two sets of coefficients, in integer arithmetic. Rules and
// constants are those of the controller in single precision. Energies of samples are exact sums in 64 bits, smoothed with
// factors in Q15 and compared by integer multiples; numbers of bands are mantissas of 32 bits with an exponent each, and
// only the two steps of a band take a division.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "common/checks.h"
#include "common/state_block.h"
#include "ec/controller_16s.h"
#include "ec/implementations.h"
#include "ec/scaled.h"
#include "ec/subband_controller.h"
#include "ec/subband_filter.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

constexpr uint32_t kind = 0x31534345;

struct Controller {
    uint32_t kind;
    int32_t bands, taps, hop, scaleFactor;
    int32_t energySmoothing; // factor of a block, Q15
    int32_t probationBlocks, holdBlocks;
    Scaled nearSmoothing, nearEntry; // factor of a block, and what is missing to 1
    Scaled drift, driftPerTap;       // what a block takes off the variance, and its share for one tap
    Scaled perTap, lasting;          // 1 / taps, and what a full step leaves of the variance: 1 - hop / (points * taps)
    Scaled overlap;                  // length of the transform over the hop
    Scaled regularisation;           // stands for a near-end noise of rms 39
    Scaled shadowRegularisation;
    Scaled firstVariance, nearFloorGrowth;

    Scaled nearFloor;                                 // follows what the error holds beyond the residual echo
    int64_t mainResidual, shadowResidual, microphone; // smoothed energies
    int64_t mainSum, backupSum;                       // of the residuals while on probation
    int32_t probation;                                // blocks until the backup is given up
    int32_t startsNearEnergy; // the next update takes the energies of the error instead of smoothing them
    int32_t doubleTalk;       // blocks for which it is still reported
    int32_t reserved[3];
};
static_assert(sizeof(Controller) == 192);

// The block holds, from the next 16-byte boundary: the fields, three rows of a number for each band, and the backup.
struct Rows {
    explicit Rows(const Controller &controller)
        : bands_(controller.bands),
          first_(const_cast<std::byte *>(reinterpret_cast<const std::byte *>(&controller)) + sizeof(Controller)) {}

    Scaled *variance() const { return row(0); }      // expected |error|^2 of a coefficient
    Scaled *nearEnergy() const { return row(1); }    // of noise, near speech and residual, smoothed
    Scaled *savedVariance() const { return row(2); } // of the backup
    ryx32sc *backup(int tap) const { return reinterpret_cast<ryx32sc *>(row(3)) + tap * bands_; }

    static int64_t bytes(int bands, int taps) { return (int64_t{8} * bands * (3 + taps) + 15) & ~int64_t{15}; }

private:
    Scaled *row(int i) const { return reinterpret_cast<Scaled *>(first_) + i * bands_; }

    std::ptrdiff_t bands_;
    std::byte *first_;
};

using Set = ryx32sc *const *;

Controller *opened(const SubbandControllerState_EC_16s *block) {
    auto &controller = alignedBlock<Controller>(const_cast<SubbandControllerState_EC_16s *>(block));
    const bool isSound = controller.kind == kind && !isBadBandCount(controller.bands) &&
                         !isBadTapCount(controller.taps) && controller.hop >= 1;
    return isSound ? &controller : nullptr;
}

ryxStatus checkConfiguration(int numBands, int taps, int hop, int sampleRate) {
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (isBadTapCount(taps)) return ryxStsOutOfRange;
    if (hop < 1) return ryxStsBadArg;
    return isBlockRate(sampleRate) ? ryxStsOk : ryxStsOutOfRange;
}

Scaled integer(int64_t x) {
    return normalised(static_cast<uint64_t>(x), 0);
}

// Only for constants.
Scaled real(double x) {
    int exponent = 0;
    const double fraction = std::frexp(x, &exponent);
    return normalised(static_cast<uint64_t>(std::ldexp(fraction, 63)), exponent - 63);
}

// For the sums of up to 255 times two squares of 31 bits each.
Scaled fromSum(unsigned __int128 x, int exponent) {
    const auto high = static_cast<uint64_t>(x >> 64);
    if (high == 0) return normalised(static_cast<uint64_t>(x), exponent);
    return normalised(static_cast<uint64_t>(x >> 16), exponent + 16);
}

uint64_t power(ryx32sc x) {
    return static_cast<uint64_t>(int64_t{x.re} * x.re) + static_cast<uint64_t>(int64_t{x.im} * x.im);
}

// The sum of |rows[t][k]|^2 over t.
Scaled energyOver(const ryx32sc *const *rows, int taps, int k, int exponent) {
    unsigned __int128 sum = 0;
    for (int t = 0; t < taps; t++)
        sum += power(rows[t][k]);
    return fromSum(sum, exponent);
}

Scaled coefficientEnergy(const Controller &controller, const ryx32sc *const *set, int k) {
    return energyOver(set, controller.taps, k, -2 * controller.scaleFactor);
}

void copySet(const Controller &controller, Set to, const ryx32sc *const *from) {
    for (int t = 0; t < controller.taps; t++)
        std::memcpy(to[t], from[t], static_cast<size_t>(controller.bands) * sizeof(ryx32sc));
}

void clearSet(const Controller &controller, Set set) {
    for (int t = 0; t < controller.taps; t++)
        std::memset(set[t], 0, static_cast<size_t>(controller.bands) * sizeof(ryx32sc));
}

// Nothing is known of the path.
void forget(Controller &controller) {
    std::fill_n(Rows(controller).variance(), controller.bands, controller.firstVariance);
    controller.startsNearEnergy = 1;
    controller.probation = 0;
}

void startAnew(Controller &controller, Set main, Set shadow) {
    clearSet(controller, main);
    clearSet(controller, shadow);
    forget(controller);
    controller.mainResidual = controller.shadowResidual = controller.microphone;
}

void restoreBackup(Controller &controller, Set main, Set shadow, int64_t residual) {
    const Rows rows(controller);
    for (int t = 0; t < controller.taps; t++)
        std::memcpy(main[t], rows.backup(t), static_cast<size_t>(controller.bands) * sizeof(ryx32sc));
    copySet(controller, shadow, main);
    std::copy_n(rows.savedVariance(), controller.bands, rows.variance());
    controller.mainResidual = controller.shadowResidual = residual;
}

void keepBackup(Controller &controller, const ryx32sc *const *main) {
    const Rows rows(controller);
    for (int t = 0; t < controller.taps; t++)
        std::memcpy(rows.backup(t), main[t], static_cast<size_t>(controller.bands) * sizeof(ryx32sc));
    std::copy_n(rows.variance(), controller.bands, rows.savedVariance());
    controller.mainSum = controller.backupSum = 0;
}

// The shadow's path becomes the main one. It is as uncertain as the share of the echo that it leaves.
void takeOver(Controller &controller, Set main, const ryx32sc *const *shadow) {
    const Rows rows(controller);
    if (controller.probation == 0) keepBackup(controller, main);
    controller.probation = controller.probationBlocks;
    copySet(controller, main, shadow);
    // The microphone's energy is above that of the residual, so not 0.
    const Scaled left = integer(4) * integer(controller.shadowResidual) / integer(controller.microphone);
    const Scaled share = smaller(left, integer(1)) * controller.perTap;
    for (int k = 0; k < controller.bands; k++)
        rows.variance()[k] = larger(rows.variance()[k], share * coefficientEnergy(controller, main, k));
    controller.startsNearEnergy = 1;
    controller.mainResidual = controller.shadowResidual;
}

// Whether the backup turns out better than what replaced it.
bool backupWins(Controller &controller, int64_t mainEnergy, int64_t backupEnergy) {
    if (controller.probation == 0) return false;
    controller.backupSum += backupEnergy;
    controller.mainSum += mainEnergy;
    return --controller.probation == 0 && controller.backupSum < controller.mainSum;
}

int chooseSets(Controller &controller, Set main, Set shadow) {
    const int64_t mainResidual = controller.mainResidual, shadowResidual = controller.shadowResidual;
    const int64_t microphone = controller.microphone;
    if (timesIsMore(10, mainResidual, 13, microphone) && timesIsMore(1, mainResidual, 100, controller.hop)) {
        startAnew(controller, main, shadow);
        return ryxEcAnew;
    }
    if (timesIsMore(1, mainResidual, 2, shadowResidual) && timesIsMore(7, microphone, 10, shadowResidual)) {
        takeOver(controller, main, shadow);
        return ryxEcTakenOver;
    }
    if (timesIsMore(1, shadowResidual, 4, mainResidual)) {
        copySet(controller, shadow, main);
        controller.shadowResidual = mainResidual;
        return ryxEcShadowReset;
    }
    return ryxEcNone;
}

// A step as ryxsFIRSubbandLowCoeffUpdate_EC_32sc_I() takes it, for coefficients in Q(scaleFactor).
void writeStep(Scaled step, int scaleFactor, int32_t &mantissa, int32_t &exponent) {
    if (step.mantissa == 0) {
        mantissa = exponent = 0;
        return;
    }
    mantissa = static_cast<int32_t>(step.mantissa >> 17);
    exponent = -(step.exponent + 17 + scaleFactor);
}

struct Steps {
    Scaled main, shadow, residual;
};

Steps updateBand(const Controller &controller, Scaled &varianceSlot, Scaled &nearSlot, Scaled errorEnergy,
                 Scaled coefEnergy, Scaled historyEnergy) {
    Scaled variance = varianceSlot - varianceSlot * controller.drift + coefEnergy * controller.driftPerTap;
    const Scaled near = controller.startsNearEnergy
                            ? errorEnergy
                            : nearSlot * controller.nearSmoothing + errorEnergy * controller.nearEntry;
    const Scaled echo = variance * historyEnergy;
    const Scaled noise = near * controller.overlap + controller.regularisation;
    Steps steps;
    steps.main = variance / (echo + noise);
    steps.shadow = integer(1) / (historyEnergy + controller.shadowRegularisation);
    steps.residual = echo / controller.overlap;
    // variance * (1 - step * energy * hop / (points * taps)) without a difference
    varianceSlot = steps.main * (noise + echo * controller.lasting);
    nearSlot = near;
    return steps;
}

// Double talk is what the error holds beyond the residual echo and a slowly rising floor.
void followDoubleTalk(Controller &controller, Scaled residual, Scaled near) {
    controller.nearFloor = smaller(controller.nearFloor * controller.nearFloorGrowth, near);
    const Scaled threshold =
        integer(8) * (residual + integer(2) * controller.nearFloor) + integer(int64_t{400} * controller.hop);
    controller.doubleTalk = threshold < near ? controller.holdBlocks : std::max(controller.doubleTalk - 1, 0);
}

} // namespace

ryxStatus ryxsSubbandControllerGetSize_EC_16s_u8(int numBands, int taps, int hop, int sampleRate, int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    if (const ryxStatus status = checkConfiguration(numBands, taps, hop, sampleRate)) return status;
    *size = static_cast<int>(alignedBlockBytes<Controller> + Rows::bytes(numBands, taps));
    return ryxStsOk;
}

ryxStatus ryxsSubbandControllerInit_EC_16s_u8(SubbandControllerState_EC_16s *state, int numBands, int taps, int hop,
                                              int sampleRate, int scaleFactor) {
    if (anyNull(state)) return ryxStsNullPtr;
    if (const ryxStatus status = checkConfiguration(numBands, taps, hop, sampleRate)) return status;
    if (scaleFactor < 0 || scaleFactor > 31) return ryxStsOutOfRange;
    auto &controller = alignedBlock<Controller>(state);
    const double seconds = static_cast<double>(hop) / sampleRate, points = std::max(2 * (numBands - 1), 1);
    controller = {};
    controller.kind = kind;
    controller.bands = numBands;
    controller.taps = taps;
    controller.hop = hop;
    controller.scaleFactor = scaleFactor;
    controller.energySmoothing = static_cast<int32_t>(std::lround(one * std::exp(-seconds / 0.11)));
    controller.nearSmoothing = real(std::exp(-seconds / 0.036));
    controller.nearEntry = real(-std::expm1(-seconds / 0.036));
    controller.drift = real(-std::expm1(-2 * seconds / 1000));
    controller.perTap = real(1.0 / taps);
    controller.driftPerTap = controller.drift * controller.perTap;
    controller.overlap = real(points / hop);
    controller.lasting = integer(1) - controller.perTap / controller.overlap;
    controller.regularisation = integer(static_cast<int64_t>(1500 * points));
    controller.shadowRegularisation = controller.regularisation * integer(taps);
    controller.firstVariance = real(4.0 / taps);
    controller.nearFloorGrowth = real(std::pow(1.2, std::min(seconds, 100.0)));
    controller.probationBlocks = std::max(static_cast<int>(0.24 / seconds), 1);
    controller.holdBlocks = std::max(static_cast<int>(std::lround(0.032 / seconds)), 1);
    return ryxsSubbandControllerReset_EC_16s_u8(state);
}

ryxStatus ryxsSubbandControllerReset_EC_16s_u8(SubbandControllerState_EC_16s *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    forget(*controller);
    std::fill_n(Rows(*controller).nearEnergy(), controller->bands, Scaled{0, 0});
    controller->mainResidual = controller->shadowResidual = controller->microphone = 0;
    controller->mainSum = controller->backupSum = 0;
    controller->nearFloor = real(1e12);
    controller->doubleTalk = 0;
    return ryxStsOk;
}

ryxStatus ryxsSubbandController_EC_16s_u8(const int16_t *s, const int16_t *e1, const int16_t *e2, const int16_t *e3,
                                          ryx32sc *const *a, ryx32sc *const *b, int *event,
                                          SubbandControllerState_EC_16s *state) {
    if (anyNull(s, e1, e2, a, b, event, state)) return ryxStsNullPtr;
    Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    if (controller->probation > 0 && anyNull(e3)) return ryxStsNullPtr;
    const int32_t g = controller->energySmoothing;
    const int64_t mainEnergy = energyOf(e1, controller->hop);
    controller->mainResidual = smooth(controller->mainResidual, mainEnergy, g);
    controller->shadowResidual = smooth(controller->shadowResidual, energyOf(e2, controller->hop), g);
    controller->microphone = smooth(controller->microphone, energyOf(s, controller->hop), g);
    const int64_t backupEnergy = controller->probation > 0 ? energyOf(e3, controller->hop) : 0;
    if (backupWins(*controller, mainEnergy, backupEnergy)) {
        restoreBackup(*controller, a, b, backupEnergy);
        *event = ryxEcRestored;
    } else {
        *event = chooseSets(*controller, a, b);
    }
    return ryxStsOk;
}

ryxStatus ryxsSubbandControllerBackup_EC_16s_u8(const ryx32sc *const *history, ryx32sc *dst, int *onProbation,
                                                SubbandControllerState_EC_16s *state) {
    if (anyNull(history, dst, onProbation, state)) return ryxStsNullPtr;
    const Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    *onProbation = controller->probation > 0;
    if (*onProbation == 0) return ryxStsOk;
    const Rows rows(*controller);
    const ryx32sc *backup[mostTaps];
    for (int t = 0; t < controller->taps; t++)
        backup[t] = rows.backup(t);
    return ryxsFIRSubband_EC_32sc_Sfs_u8(history, backup, dst, controller->taps, controller->bands,
                                         controller->scaleFactor);
}

ryxStatus ryxsSubbandControllerUpdate_EC_16s_u8(const ryx32sc *const *history, const ryx32sc *const *coefs,
                                                const ryx32sc *error, int32_t *step, int32_t *stepExponent,
                                                int32_t *stepShadow, int32_t *stepShadowExponent,
                                                SubbandControllerState_EC_16s *state) {
    if (anyNull(history, coefs, error, step, stepExponent, stepShadow, stepShadowExponent, state)) return ryxStsNullPtr;
    Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    const Rows rows(*controller);
    Scaled residual = {0, 0}, near = {0, 0};
    for (int k = 0; k < controller->bands; k++) {
        Scaled &nearEnergy = rows.nearEnergy()[k];
        const Steps steps =
            updateBand(*controller, rows.variance()[k], nearEnergy, normalised(power(error[k]), 0),
                       coefficientEnergy(*controller, coefs, k), energyOver(history, controller->taps, k, 0));
        writeStep(steps.main, controller->scaleFactor, step[k], stepExponent[k]);
        writeStep(steps.shadow, controller->scaleFactor, stepShadow[k], stepShadowExponent[k]);
        if (k < 2 || k >= controller->bands - 2) continue;
        residual = residual + steps.residual;
        near = near + nearEnergy;
    }
    controller->startsNearEnergy = 0;
    followDoubleTalk(*controller, residual, near);
    return ryxStsOk;
}

ryxStatus ryxsSubbandControllerDT_EC_16s_u8(int *doubleTalk, const SubbandControllerState_EC_16s *state) {
    if (anyNull(doubleTalk, state)) return ryxStsNullPtr;
    const Controller *const controller = opened(state);
    if (controller == nullptr) return ryxStsBadContext;
    *doubleTalk = controller->doubleTalk > 0;
    return ryxStsOk;
}
