#include "g726/companding.h"

#include <algorithm>
#include <array>

#include "common/fixed_point.h"

namespace ryxsc::g726 {

namespace {

// Octets as sign and magnitude: positive values have the top bit, magnitudes grow with the lower seven bits. A-law octets
// become such by inverting their even bits, mu-law octets by inverting all magnitude bits.
constexpr uint8_t aLawInversion = 0x55;
constexpr uint8_t muLawInversion = 0x7f;
constexpr uint8_t positive = 0x80;

constexpr int signedValue(uint8_t signMagnitude, int magnitude) {
    return signMagnitude & positive ? magnitude : -magnitude;
}

// One step along the line from the most negative octet (0x7f) over the two zeros to the most positive one (0xff).
constexpr uint8_t neighbour(uint8_t signMagnitude, bool up) {
    const bool grows = (signMagnitude >= positive) == up;
    if (grows) return (signMagnitude & 0x7f) == 0x7f ? signMagnitude : static_cast<uint8_t>(signMagnitude + 1);
    return (signMagnitude & 0x7f) == 0 ? signMagnitude ^ positive : static_cast<uint8_t>(signMagnitude - 1);
}

constexpr int clamp14(int x) {
    return std::clamp(x, -8192, 8191);
}

} // namespace

uint8_t ALaw::compress(int sr) {
    const int value = 4 * clamp14(sr == min16 ? -2 : sr);
    const int magnitude = (value < 0 ? ~value : value) >> 4;
    int code = magnitude;
    if (magnitude >= 16) {
        const int segment = significantBits(static_cast<uint32_t>(magnitude)) - 4;
        code = segment << 4 | ((magnitude >> (segment - 1)) & 15);
    }
    return static_cast<uint8_t>((code | (value < 0 ? 0 : positive)) ^ aLawInversion);
}

int ALaw::expand(uint8_t octet) {
    const uint8_t code = octet ^ aLawInversion;
    const int segment = (code >> 4) & 7;
    const int step = 2 * (code & 15) + 1;
    return signedValue(code, 2 * (segment == 0 ? step : (step + 32) << (segment - 1)));
}

uint8_t ALaw::stepUp(uint8_t octet) {
    return neighbour(octet ^ aLawInversion, true) ^ aLawInversion;
}

uint8_t ALaw::stepDown(uint8_t octet) {
    return neighbour(octet ^ aLawInversion, false) ^ aLawInversion;
}

uint8_t MuLaw::compress(int sr) {
    const int scaled = 4 * clamp14(sr == min16 ? 0 : sr);
    const int value = scaled < 0 && scaled != min16 ? scaled - 1 : scaled;
    const int magnitude = std::min(((value < 0 ? ~value : value) >> 2) + 33, 8191);
    const int segment = significantBits(static_cast<uint32_t>(magnitude)) - 6;
    const int code = segment << 4 | ((magnitude >> (segment + 1)) & 15);
    return static_cast<uint8_t>((code | (value < 0 ? 0 : positive)) ^ muLawInversion);
}

int MuLaw::expand(uint8_t octet) {
    const uint8_t code = octet ^ muLawInversion;
    const int magnitude = ((2 * (code & 15) + 33) << ((code >> 4) & 7)) - 33;
    return signedValue(code, magnitude);
}

// Up from the smallest negative value comes the negative zero; down from the positive zero it is passed over.
uint8_t MuLaw::stepUp(uint8_t octet) {
    return neighbour(octet ^ muLawInversion, true) ^ muLawInversion;
}

uint8_t MuLaw::stepDown(uint8_t octet) {
    constexpr uint8_t negativeZero = 0x7f;
    const uint8_t below = neighbour(octet ^ muLawInversion, false) ^ muLawInversion;
    return below == negativeZero ? negativeZero - 1 : below;
}

} // namespace ryxsc::g726
