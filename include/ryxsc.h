/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc.h
 * @brief Public interface of ryxSC, a library of speech-coding primitives for x86-64 Linux.
 *
 * ryxSC offers the building blocks from which speech codecs are assembled, one exported function per block. The
 * fixed-point results equal those of the ITU-T, ETSI or 3GPP recommendation bit for bit, on every processor.
 *
 * **Memory.** The caller owns every buffer and every state block. Nothing is allocated, kept or freed behind the
 * caller's back. Input and output vectors are ordinary arrays and need no alignment beyond that of their elements;
 * state blocks may lie at any address. Source and destination must not overlap unless a function says so.
 *
 * **States.** Ask for the size, allocate that many bytes, initialise, work block by block, free:
 * @code
 * int size;
 * ryxsSBADPCMEncodeStateSize_G722_16s(&size);
 * SBADPCMState_G722 *state = malloc((size_t)size);
 * ryxsSBADPCMEncodeInit_G722_16s(state);
 * while (read_subbands(subbands, 160))
 *     ryxsSBADPCMEncode_G722_16s(subbands, codes, 160, state);
 * free(state);
 * @endcode
 * A block holds plain values only. It may be copied, but some kinds are used from the next 16-byte boundary inside the
 * caller's memory, so a copy must lie at the same distance from such a boundary.
 *
 * **Errors.** Every function returns a ::ryxStatus. Zero is success. A negative status is an error: the function has
 * written nothing, neither to an output nor to a state. A positive status is a warning: all outputs are valid. Where a
 * function departs from either, its description says so. Checks stop at the first failure, null pointers first.
 *
 * **Threads.** The library has no mutable state of its own. Calls may run on any number of threads at once as long as
 * no two of them share a state block or an output buffer.
 *
 * **Names.** `ryxs` + operation + `_` + codec + `_` + element types (`16s` is a signed 16-bit integer, `8u` an unsigned
 * octet, two types are input and output). The suffix `_I` marks a function that rewrites its first vector in place.
 */
#ifndef RYXSC_H
#define RYXSC_H

#include "ryxsc/alc.h"
#include "ryxsc/amrwb.h"
#include "ryxsc/common.h"
#include "ryxsc/ec.h"
#include "ryxsc/g722.h"
#include "ryxsc/g7221.h"
#include "ryxsc/g723.h"
#include "ryxsc/g726.h"
#include "ryxsc/g728.h"
#include "ryxsc/g729.h"
#include "ryxsc/g7291.h"
#include "ryxsc/gsmamr.h"
#include "ryxsc/gsmfr.h"
#include "ryxsc/rta.h"
#include "ryxsc/status.h"
#include "ryxsc/types.h"
#include "ryxsc/version.h"

#endif
