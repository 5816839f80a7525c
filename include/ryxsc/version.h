/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/version.h
 * @brief Version record.
 */
#ifndef RYXSC_VERSION_H
#define RYXSC_VERSION_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup version Version
 * @brief Which library, and which of its processor variants, is in use.
 * @{
 */

#define RYXSC_VERSION_MAJOR 8  /**< ryxLibraryVersion::majorVersion of the library that this header belongs to */
#define RYXSC_VERSION_MINOR 2  /**< ryxLibraryVersion::minorVersion */
#define RYXSC_VERSION_UPDATE 2 /**< ryxLibraryVersion::majorBuild */
/** The version in one number that may be compared: 80202 for 8.2.2. */
#define RYXSC_VERSION (RYXSC_VERSION_MAJOR * 10000 + RYXSC_VERSION_MINOR * 100 + RYXSC_VERSION_UPDATE)
#define RYXSC_VERSION_TEXT "8.2.2" /**< the version as text */

/** Version record of a processor variant. Constant; never to be changed or freed by the caller. */
typedef struct ryxLibraryVersion {
    int32_t majorVersion;  /**< major version */
    int32_t minorVersion;  /**< minor version */
    int32_t majorBuild;    /**< update number */
    int32_t build;         /**< revision number */
    char targetCpu[4];     /**< processor code, "u8" or "n8", padded with zero bytes */
    const char *name;      /**< library name and variant, zero-terminated */
    const char *version;   /**< version text, zero-terminated */
    const char *buildDate; /**< build date, zero-terminated */
} ryxLibraryVersion;

/**
 * @brief Returns the version record of the variant that this process uses.
 *
 * The variant is chosen once, when the library is loaded: "u8", or "n8" when the core library reports a processor of the
 * low-power Wren family. No processor reports itself as one yet; the environment variable RYX_CPU_FEATURES chooses it.
 * Both give the same results; this record is the only difference that can be seen.
 *
 * @return pointer to a constant record, never null, the same on every call
 */
const ryxLibraryVersion *ryxscGetLibVersion(void);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
