/* SPDX-License-Identifier: BSD-2-Clause */
/* What a user of the installed library writes first. */
#include <ryxsc.h>
#include <stdio.h>
#include <stdlib.h>

int main(void) {
    const int16_t silence[160] = {0};
    uint8_t codes[160];
    int size;
    if (ryxsEncodeGetStateSize_G726_16s8u(&size) != ryxStsOk) return 1;
    EncoderState_G726 *state = malloc((size_t)size);
    if (!state || ryxsEncodeInit_G726_16s8u(state, ryxG726Rate32k) != ryxStsOk) return 1;
    const ryxStatus status = ryxsEncode_G726_16s8u(state, silence, codes, 160);
    free(state);
    printf("%s %s: status %d, first code %d\n", ryxscGetLibVersion()->name, ryxscGetLibVersion()->version, status,
           codes[0]);
    return status == ryxStsOk && codes[0] == 15 ? 0 : 1;
}
