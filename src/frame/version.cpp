// SPDX-License-Identifier: BSD-2-Clause
#include <cstddef>

#include "frame/implementations.h"

namespace {

const char versionText[] = "8.2.2 (r46212)";
const char buildDate[] = "Apr  1 2015";

const ryxLibraryVersion u8Record = {8, 2, 2, 46212, "u8", "ryxSC SSSE3 (u8)", versionText, buildDate};
const ryxLibraryVersion n8Record = {8, 2, 2, 46212, "n8", "ryxSC Wren (n8)", versionText, buildDate};

// The record is part of the binary interface.
static_assert(offsetof(ryxLibraryVersion, targetCpu) == 16 && offsetof(ryxLibraryVersion, name) == 24 &&
              sizeof(ryxLibraryVersion) == 48);

} // namespace

const ryxLibraryVersion *ryxscGetLibVersion_u8() {
    return &u8Record;
}

const ryxLibraryVersion *ryxscGetLibVersion_n8() {
    return &n8Record;
}
