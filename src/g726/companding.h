// ITU-T G.711 octets as ITU-T G.726 uses them, for 14-bit linear values.
#pragma once

#include <cstdint>

namespace ryxsc::g726 {

struct MuLaw {
    static uint8_t compress(int sr);      // sr of the decoder, any 16-bit value
    static int expand(uint8_t octet);     // -8031 .. 8031
    static uint8_t stepUp(uint8_t octet); // the next more positive octet; the ends stay
    static uint8_t stepDown(uint8_t octet);
};

struct ALaw {
    static uint8_t compress(int sr);
    static int expand(uint8_t octet); // -8064 .. 8064
    static uint8_t stepUp(uint8_t octet);
    static uint8_t stepDown(uint8_t octet);
};

} // namespace ryxsc::g726
