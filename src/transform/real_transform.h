// SPDX-License-Identifier: BSD-2-Clause
// Discrete Fourier transform of N = 2^order real values, to and from N/2 + 1 bins in natural order.
//
//     forward   X[k] = f * sum over n of x[n] exp(-2 pi i k n / N), k = 0 .. N/2
//     inverse   x[n] = g * (X[0] + (-1)^n X[N/2] + 2 * sum over k = 1 .. N/2-1 of Re(X[k] exp(2 pi i k n / N)))
//
// f and g follow from the normalisation. The imaginary parts of bins 0 and N/2 are 0, and ignored by the inverse.
//
// The transform of floats computes in single precision, the inverse in double precision: where the sums cancel, as in
// front of the first sound of a signal, the noise of single precision would be all there is. Both directions for 32-bit
// integers compute in double precision and round once, at the end: scaled by 2^-sf (sf limited to 31), to nearest, ties
// upwards, saturated. What they add to the 0.5 of rounding is more than their errors, so exact ties do go upwards.
#pragma once

#include <cstdint>
#include <type_traits>

#include "frame/scratch.h"
#include "ryxsc/status.h"

namespace ryxsc::transform {

// Which direction divides.
enum Normalisation : int {
    forwardByN = 1,
    inverseByN = 2,
    bothBySqrtN = 4,
    dividesNothing = 8,
};

// What a transform is made of, laid over memory that the caller aligns to 16 bytes. Sample is float or int32_t.
template <class Sample> class RealTransform {
public:
    // Bytes of a specification, a multiple of 16. -15 for an order below 1 or above 30, -16 for a normalisation that is
    // none, -6 for an order above 26, whose working memory would exceed the allocator's range.
    static ryxStatus getSize(int order, int normalisation, int *bytes);
    // The same statuses.
    static ryxStatus initialise(RealTransform *specification, int order, int normalisation);

    bool isValid() const { return identifier_ == identifier; }
    int order() const { return order_; }

    // N samples to N/2 + 1 pairs (re, im), and back; sf is for integers. Source and destination do not overlap. `memory`
    // is a TransformMemory's. -17, and nothing is written, when this is no specification for such samples.
    ryxStatus forward(const Sample *src, Sample *dst, int sf, void *memory) const;
    ryxStatus inverse(const Sample *src, Sample *dst, int sf, void *memory) const;
    // In single precision, for floats only.
    ryxStatus inverseSingle(const float *src, float *dst, void *memory) const requires std::is_same_v<Sample, float>;

private:
    static constexpr uint32_t identifier = std::is_same_v<Sample, float> ? 0x52465446 : 0x52465449; // "RFTF", "RFTI"

    static constexpr int highestOrder = 26;

    struct Direction {
        double scale;
        double guard; // more than the errors of a result of integers
    };

    uint32_t identifier_;
    int32_t order_;
    Direction forward_, inverse_;
    double alignment_; // of the tables
};
static_assert(sizeof(RealTransform<float>) % 16 == 0);

// Working memory of one call: two doubles per point, on the stack up to 512 points and from the core library above.
class TransformMemory {
public:
    explicit TransformMemory(int order)
        : scratch_(order > localOrder ? allocateBytes(static_cast<int>(2 * sizeof(double)) << order) : nullptr),
          memory_(order > localOrder ? scratch_.get() : local_) {}

    void *get() const { return memory_; } // null when the memory cannot be had

private:
    static constexpr int localOrder = 9;

    Scratch<double> scratch_;
    double *memory_;
    alignas(16) double local_[2 << localOrder];
};

extern template class RealTransform<float>;
extern template class RealTransform<int32_t>;

} // namespace ryxsc::transform
