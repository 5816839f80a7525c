/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxcore.h
 * @brief Interface of the core library: processor features and aligned memory.
 *
 * The primitives of ryxsc.h are loaded beside this library and take these four functions from it. Programs may use them
 * too.
 */
#ifndef RYXCORE_H
#define RYXCORE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup core Core library
 * @brief Processor features and aligned memory.
 * @{
 */

/** Bits of the processor feature mask. No others are detected. */
enum {
    ryxCpuSsse3 = 0x10, /**< SSSE3 is present and usable */
    ryxCpuWren = 0x20   /**< a low-power core of the Wren family */
};

/**
 * @brief Detects the features of the processor.
 *
 * @param[out] features  mask of the processor's own features, whatever #ryxGetEnabledCpuFeatures is told; may be null
 * @param[out] cpuidInfo the four registers EAX, EBX, ECX, EDX of CPUID leaf 1; may be null
 * @return 0 (always successful)
 */
int32_t ryxGetCpuFeatures(uint64_t *features, uint32_t cpuidInfo[4]);

/**
 * @brief Returns the mask of the processor features that are present and enabled.
 *
 * The environment variable `RYX_CPU_FEATURES` (a number: decimal, octal with 0, hexadecimal with 0x) replaces the
 * detected mask with all its bits, for testing and support. It is read once, at the first call; a text that is not a
 * number is ignored, and so is the variable in programs that run with raised privileges.
 *
 * @return mask of ::ryxCpuSsse3 and its kin
 */
uint64_t ryxGetEnabledCpuFeatures(void);

/**
 * @brief Allocates memory aligned to 64 bytes; free it with ryxFree().
 * @param[in] length number of bytes
 * @return the memory, or null when `length` is 0 or less or memory is out
 */
void *ryxMalloc(int length);

/**
 * @brief Frees memory of ryxMalloc().
 * @param[in] memory a result of ryxMalloc(); null is allowed and does nothing
 */
void ryxFree(void *memory);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
