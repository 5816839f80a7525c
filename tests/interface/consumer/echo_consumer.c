/* SPDX-License-Identifier: BSD-2-Clause */
/* What a user of the installed echo canceller writes first: two seconds of noise and its echo. */
#include <ryxecho.h>
#include <stdio.h>
#include <stdlib.h>

enum { block = 160, delay = 100 };

int main(void) {
    ryxEchoOptions options;
    ryxEchoInfo info;
    int16_t far[delay + block] = {0}, microphone[block], output[block];
    int size, failed = ryxechoDefaults(&options) || ryxechoGetSize(&options, &size);
    void *canceller = failed ? NULL : malloc((size_t)size);
    uint32_t x = 1;
    failed = failed || !canceller || ryxechoInit(canceller, &options);
    for (int i = 0; !failed && i < 100; i++) {
        for (int n = 0; n < delay; n++)
            far[n] = far[n + block];
        for (int n = 0; n < block; n++) {
            x = 1664525 * x + 1013904223;
            far[delay + n] = (int16_t)((int)(x >> 20) - 2048);
            microphone[n] = far[n] / 2;
        }
        failed = ryxechoProcess(canceller, far + delay, microphone, output, block);
    }
    failed = failed || ryxechoGetInfo(canceller, &info);
    if (!failed) printf("echo weakened by %.0f dB\n", info.echoReduction);
    free(canceller);
    return failed || info.echoReduction < 20;
}
