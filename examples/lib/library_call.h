// SPDX-License-Identifier: BSD-2-Clause
// Calling the library from C++: statuses as exceptions, state blocks as objects.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "failure.h"
#include "ryxsc.h"

/** Throws Failure for an error status. Warnings are left to the caller: all outputs are valid then. */
inline void check(ryxStatus status) {
    if (status < 0) throw Failure(std::string("the library refused a call: ") + ryxscStatusText(status));
}

/** A state block of the size that the library asks for. It never moves, as some kinds require. */
template <class State> class StateBlock {
public:
    /** @param getSize reports the size through its last argument; @param arguments those in front of it */
    template <class GetSize, class... Arguments> explicit StateBlock(GetSize getSize, Arguments... arguments) {
        int size = 0;
        check(getSize(arguments..., &size));
        octets_ = std::make_unique<std::byte[]>(static_cast<size_t>(size));
    }

    operator State *() { return reinterpret_cast<State *>(octets_.get()); }

private:
    std::unique_ptr<std::byte[]> octets_;
};
