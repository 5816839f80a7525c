/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/types.h
 * @brief Complex numbers.
 */
#ifndef RYXSC_TYPES_H
#define RYXSC_TYPES_H

#include <stdint.h>

/**
 * @defgroup types Complex numbers
 * @brief Elements of the complex vectors, real part first.
 * @{
 */

/** Complex number of two 32-bit integers, suffix `32sc`. */
typedef struct ryx32sc {
    int32_t re; /**< real part */
    int32_t im; /**< imaginary part */
} ryx32sc;

/** Complex number in single precision, suffix `32fc`. */
typedef struct ryx32fc {
    float re; /**< real part */
    float im; /**< imaginary part */
} ryx32fc;

/** @} */

#endif
