/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/status.h
 * @brief Status values.
 */
#ifndef RYXSC_STATUS_H
#define RYXSC_STATUS_H

#include <stdint.h>

/**
 * @defgroup status Status values
 * @brief What every function returns.
 * @{
 */

/** Result of every function: 0 success, negative error (nothing was written), positive warning (outputs are valid). */
typedef int32_t ryxStatus;

/** Values of ::ryxStatus. */
enum {
    ryxStsOk = 0,             /**< success */
    ryxStsOverflow = 12,      /**< warning: a result was saturated, or an LP analysis found an unstable filter */
    ryxStsLsfLowClamped = 13, /**< warning: the lowest decoded LSF was raised to its floor (G.723.1: no full spacing) */
    ryxStsLsfHighClamped = 14, /**< warning: the highest decoded LSF was lowered to its ceiling */
    ryxStsLsfClamped = 15,     /**< warning: both ends of the decoded LSF vector were clamped */
    ryxStsIllConditioned =
        17,             /**< warning: a hybrid window's last autocorrelation is 0: nothing can be predicted from it */
    ryxStsErr = -2,     /**< an internal set-up step failed */
    ryxStsBadArg = -5,  /**< a length or configuration argument is invalid */
    ryxStsBadSize = -6, /**< a length, order or lag is below 1 or outside the accepted sizes */
    ryxStsOutOfRange = -7,    /**< an argument lies outside its permitted range or set */
    ryxStsNullPtr = -8,       /**< a required pointer is null */
    ryxStsNoMem = -9,         /**< scratch memory could not be obtained */
    ryxStsBadIndex = -11,     /**< a received index, flag or decoded delay lies outside its range */
    ryxStsBadScale = -13,     /**< a scale factor is negative */
    ryxStsBadOrder = -15,     /**< the order of an internal transform is above 30 */
    ryxStsBadFlag = -16,      /**< the normalisation flag of an internal transform is not 1, 2, 4 or 8 */
    ryxStsBadContext = -17,   /**< a specification or state block does not carry the identifier of its kind */
    ryxStsBadBounds = -18,    /**< a lower bound exceeds an upper bound */
    ryxStsBadLevel = -19,     /**< a level is negative */
    ryxStsBadShift = -32,     /**< a shift count is negative */
    ryxStsBadBandCount = -119 /**< the band count of a sub-band adaptive filter lies outside 1..4097 */
};

/**
 * @brief What a status says: its name and a sentence, "ryxStsNullPtr: a required pointer is null".
 * @param[in] status any value
 * @return a constant text; "unknown status" for a value that no function returns
 */
static inline const char *ryxscStatusText(ryxStatus status) {
    switch (status) {
    case ryxStsOk:
        return "ryxStsOk: success";
    case ryxStsOverflow:
        return "ryxStsOverflow: a result was saturated, or an LP analysis found an unstable filter";
    case ryxStsLsfLowClamped:
        return "ryxStsLsfLowClamped: the lowest LSF was raised to its floor, or the LSFs have not their full spacing";
    case ryxStsLsfHighClamped:
        return "ryxStsLsfHighClamped: the highest LSF was lowered to its ceiling";
    case ryxStsLsfClamped:
        return "ryxStsLsfClamped: both ends of the LSF vector were clamped";
    case ryxStsIllConditioned:
        return "ryxStsIllConditioned: nothing can be predicted from this autocorrelation";
    case ryxStsErr:
        return "ryxStsErr: an internal set-up step failed";
    case ryxStsBadArg:
        return "ryxStsBadArg: a length or configuration argument is invalid";
    case ryxStsBadSize:
        return "ryxStsBadSize: a length, order or lag is outside the accepted sizes";
    case ryxStsOutOfRange:
        return "ryxStsOutOfRange: an argument lies outside its permitted range or set";
    case ryxStsNullPtr:
        return "ryxStsNullPtr: a required pointer is null";
    case ryxStsNoMem:
        return "ryxStsNoMem: scratch memory could not be obtained";
    case ryxStsBadIndex:
        return "ryxStsBadIndex: a received index, flag or decoded delay lies outside its range";
    case ryxStsBadScale:
        return "ryxStsBadScale: a scale factor is negative";
    case ryxStsBadOrder:
        return "ryxStsBadOrder: the order of an internal transform is too high";
    case ryxStsBadFlag:
        return "ryxStsBadFlag: the normalisation flag of an internal transform is none";
    case ryxStsBadContext:
        return "ryxStsBadContext: a block does not carry the identifier of its kind";
    case ryxStsBadBounds:
        return "ryxStsBadBounds: a lower bound exceeds an upper bound";
    case ryxStsBadLevel:
        return "ryxStsBadLevel: a level is negative";
    case ryxStsBadShift:
        return "ryxStsBadShift: a shift count is negative";
    case ryxStsBadBandCount:
        return "ryxStsBadBandCount: the band count of a sub-band adaptive filter lies outside its range";
    default:
        return "unknown status";
    }
}

/** @} */

#endif
