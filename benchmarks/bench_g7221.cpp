// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.722.1 and Annex C, stage by stage on frames of 20 ms of speech. Frames of 640 samples are taken from speech at
// 16 kHz as well: what a stage costs depends on the spectrum's level and slope, hardly on its pitch.
#include <algorithm>
#include <numeric>

#include "measuring.h"
#include "recording.h"

using namespace ryxsc::bench;

namespace {

constexpr int maxLength = 640, maxRegions = ryxG7221RegionsC, maxCoded = maxRegions * ryxG7221RegionLength;
constexpr int maxVectors = maxRegions * ryxG7221VectorsPerRegion;

struct Mode {
    int length, regions, controlBits, frameBits;

    Workload frame() const { return {.inputLength = 1, .seconds = 0.020, .units = double(regions), .unit = "region"}; }
};
constexpr Mode narrow = {320, ryxG7221Regions, 4, 480};
constexpr Mode wide = {640, ryxG7221RegionsC, 5, 960};

// All that the stages of an encoder hand on in a frame, and the octets.
struct Frame {
    int16_t samples[maxLength], coefficients[maxLength], scaled[maxLength];
    int magShift, available, control, envelopeBits;
    int16_t power[maxRegions], index[maxRegions], scaledIndex[maxRegions], deviation[maxRegions];
    int16_t finest[maxRegions], categories[maxRegions], balances[31], vectors[maxVectors];
    uint8_t octets[120];
};

// Appends codes to a frame that starts as zeros; what does not fit is dropped.
void append(Frame &frame, const Mode &mode, int &position, uint32_t code, int bits) {
    for (int bit = bits - 1; bit >= 0 && position < mode.frameBits; bit--, position++)
        frame.octets[position / 8] |= static_cast<uint8_t>((code >> bit & 1) << (7 - position % 8));
}

Frame encoded(const Mode &mode, const int16_t *speech, int16_t *history) {
    Frame f = {};
    uint32_t codes[maxVectors];
    uint8_t bits[maxVectors];
    int count = 0, position = 0;
    std::copy_n(speech, mode.length, f.samples);
    require(ryxsMLTFwd_G7221_16s(speech, mode.length, f.coefficients, &f.magShift, history));
    require(ryxsRegionPower_G7221_16s(f.coefficients, mode.regions, f.magShift, f.power));
    require(ryxsEnvelopeEncode_G7221_16s32u(f.power, mode.regions, f.index, codes, bits));
    for (int i = 0; i < mode.regions; i++)
        append(f, mode, position, codes[i], bits[i]);
    f.envelopeBits = position;
    f.available = mode.frameBits - position - mode.controlBits;
    require(ryxsCategorize_G7221_16s(f.index, mode.regions, f.available, f.finest, f.balances));
    std::copy_n(f.coefficients, mode.length, f.scaled);
    std::copy_n(f.finest, mode.regions, f.categories);
    require(ryxsScaleRegions_G7221_16s_I(f.scaled, f.index, mode.regions, f.magShift, f.scaledIndex));
    require(ryxsRateControl_G7221_16s(f.scaled, f.scaledIndex, f.balances, mode.regions, f.available, f.categories,
                                      f.vectors, &f.control));
    append(f, mode, position, static_cast<uint32_t>(f.control), mode.controlBits);
    require(ryxsHuffmanEncode_G7221_16s32u(f.scaled, f.vectors, f.categories, mode.regions, codes, bits, &count));
    for (int i = 0; i < count; i++)
        append(f, mode, position, codes[i], bits[i]);
    append(f, mode, position, ~uint32_t{0}, 32);
    require(ryxsEnvelopeDecode_G7221_8u16s(f.octets, mode.frameBits, mode.regions, f.index, f.deviation, &f.magShift,
                                           &position));
    return f;
}

const std::vector<Frame> &frames(const Mode &mode) {
    const auto encodeAll = [](const Mode &m) {
        std::vector<Frame> all;
        int16_t history[maxLength] = {};
        const auto length = static_cast<size_t>(m.length);
        for (size_t i = 0; i + length <= speech16k().size(); i += length)
            all.push_back(encoded(m, &speech16k()[i], history));
        return all;
    };
    static const std::vector<Frame> narrowFrames = encodeAll(narrow), wideFrames = encodeAll(wide);
    return mode.length == narrow.length ? narrowFrames : wideFrames;
}

template <class Call> void measureFrames(benchmark::State &run, const Mode &mode, Call call) {
    measure(run, mode.frame(), frames(mode), [&](const Frame *f) { return call(*f); });
}

void mltForward(benchmark::State &run, const Mode &mode) {
    int16_t history[maxLength] = {}, out[maxLength];
    int shift = 0;
    measureFrames(run, mode,
                  [&](const Frame &f) { return ryxsMLTFwd_G7221_16s(f.samples, mode.length, out, &shift, history); });
}

void mltInverse(benchmark::State &run, const Mode &mode) {
    int16_t overlap[maxLength / 2] = {}, out[maxLength];
    measureFrames(run, mode, [&](const Frame &f) {
        return ryxsMLTInv_G7221_16s(f.coefficients, mode.length, f.magShift, out, overlap);
    });
}

void dctForward(benchmark::State &run, const Mode &mode) {
    int16_t out[maxLength];
    measureFrames(run, mode, [&](const Frame &f) { return ryxsDCTFwd_G7221_16s(f.samples, out, mode.length); });
}

void dctInverse(benchmark::State &run, const Mode &mode) {
    int16_t out[maxLength];
    measureFrames(run, mode, [&](const Frame &f) { return ryxsDCTInv_G7221_16s(f.coefficients, out, mode.length); });
}

void envelopeEncode(benchmark::State &run, const Mode &mode) {
    int16_t power[maxRegions];
    uint32_t codes[maxRegions];
    uint8_t bits[maxRegions];
    measureFrames(run, mode, [&](const Frame &f) {
        return ryxsRegionPower_G7221_16s(f.coefficients, mode.regions, f.magShift, power) |
               ryxsEnvelopeEncode_G7221_16s32u(f.power, mode.regions, power, codes, bits);
    });
}

void envelopeDecode(benchmark::State &run, const Mode &mode) {
    int16_t index[maxRegions], deviation[maxRegions];
    int shift = 0, position = 0;
    measureFrames(run, mode, [&](const Frame &f) {
        return ryxsEnvelopeDecode_G7221_8u16s(f.octets, mode.frameBits, mode.regions, index, deviation, &shift,
                                              &position);
    });
}

void categorize(benchmark::State &run, const Mode &mode) {
    int16_t categories[maxRegions], balances[31];
    measureFrames(run, mode, [&](const Frame &f) {
        return ryxsCategorize_G7221_16s(f.index, mode.regions, f.available, categories, balances);
    });
}

void rateControl(benchmark::State &run, const Mode &mode) {
    int16_t categories[maxRegions], vectors[maxVectors];
    int control = 0;
    measureFrames(run, mode, [&](const Frame &f) {
        std::copy_n(f.finest, mode.regions, categories);
        return ryxsRateControl_G7221_16s(f.scaled, f.scaledIndex, f.balances, mode.regions, f.available, categories,
                                         vectors, &control);
    });
}

void huffmanEncode(benchmark::State &run, const Mode &mode) {
    uint32_t codes[maxVectors];
    uint8_t bits[maxVectors];
    int count = 0;
    measureFrames(run, mode, [&](const Frame &f) {
        return ryxsHuffmanEncode_G7221_16s32u(f.scaled, f.vectors, f.categories, mode.regions, codes, bits, &count);
    });
}

void huffmanDecode(benchmark::State &run, const Mode &mode) {
    int16_t categories[maxRegions], out[maxCoded];
    measureFrames(run, mode, [&](const Frame &f) {
        int position = f.envelopeBits + mode.controlBits, left = 0;
        std::copy_n(f.categories, mode.regions, categories);
        return ryxsHuffmanDecode_G7221_8u16s(f.octets, mode.frameBits, f.deviation, mode.regions, out, categories,
                                             &position, &left);
    });
}

void noiseFill(benchmark::State &run, const Mode &mode) {
    int16_t out[maxCoded] = {}, seeds[4] = {1, 1, 1, 1};
    measureFrames(run, mode, [&](const Frame &f) {
        std::fill_n(out, mode.regions * ryxG7221RegionLength, int16_t{0});
        return ryxsNoiseFill_G7221_16s_I(out, f.categories, f.deviation, mode.regions, seeds);
    });
}

void addMode(const std::string &name, const Mode &mode) {
    addCase("G7221/mlt_forward/" + name, mltForward, mode);
    addCase("G7221/mlt_inverse/" + name, mltInverse, mode);
    addCase("G7221/dct_forward/" + name, dctForward, mode);
    addCase("G7221/dct_inverse/" + name, dctInverse, mode);
    addCase("G7221/envelope_encode/" + name, envelopeEncode, mode);
    addCase("G7221/envelope_decode/" + name, envelopeDecode, mode);
    addCase("G7221/categorize/" + name, categorize, mode);
    addCase("G7221/rate_control/" + name, rateControl, mode);
    addCase("G7221/huffman_encode/" + name, huffmanEncode, mode);
    addCase("G7221/huffman_decode/" + name, huffmanDecode, mode);
    addCase("G7221/noise_fill/" + name, noiseFill, mode);
}

const Registration registration([] {
    addMode("320", narrow);
    addMode("640", wide);
});

} // namespace
