// SPDX-License-Identifier: BSD-2-Clause
// Codes of 2 to 8 bits as a stream of octets.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

/** Where in an octet the first code stands, and with it the order of the bits of a code that crosses into the next. */
enum class BitOrder {
    leastSignificantFirst, /**< RFC 3551 */
    mostSignificantFirst   /**< ITU-T I.366.2 (AAL2) */
};

/** Packs codes without gaps; an incomplete last octet is filled with zero bits. */
std::vector<uint8_t> packCodes(std::span<const uint8_t> codes, int bitsPerCode, BitOrder order);

/** Unpacks as many whole codes as the octets hold, one per element, right-aligned. */
std::vector<uint8_t> unpackCodes(std::span<const uint8_t> octets, int bitsPerCode, BitOrder order);
