// SPDX-License-Identifier: BSD-2-Clause
// A core library for tests: the real one's four functions, and control over what they do.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// The feature mask is the value of the environment variable RYXTEST_CPU_FEATURES, 0x10 without it.

// The calls of the two feature functions so far, in order: "detect(null,null) ", "detect " and "enabled ".
const char *testCoreCalls(void);

// From now on `count` allocations succeed and the others fail; a negative count lets all succeed.
void testCoreFailAllocationsAfter(int count);
// Blocks that were allocated and not freed yet.
int testCoreLiveAllocations(void);
// Calls of ryxMalloc() so far, and the length that the last one asked for.
int testCoreAllocationCalls(void);
int testCoreLastLength(void);

#ifdef __cplusplus
}
#endif
