/* SPDX-License-Identifier: BSD-2-Clause */
/* 8 kHz, 16-bit samples on standard input become an AMR file on standard output, with silence descriptors in pauses. */
#include <ryxcodec.h>
#include <stdio.h>
#include <stdlib.h>

int main(void) {
    const ryxCodec *codec = ryxcodecFind("gsm-amr");
    const ryxCodecFormat *format = ryxcodecFormatFind("amr");
    ryxCodecOptions options = {0}; /* the usual choice of everything else */
    ryxCodecFrame frame = {0};
    int16_t speech[160]; /* codec->frameLength */
    uint8_t unit[64];    /* format->largestUnit */
    int size;

    options.rate = 12200;
    options.dtx = 1;
    if (ryxcodecEncoderGetSize(codec, &size) != ryxStsOk) return 1;
    void *encoder = malloc((size_t)size);
    ryxStatus status = ryxcodecEncoderInit(codec, encoder, &options); /* an error also when malloc gave null */
    fputs(format->header, stdout);
    while (status == ryxStsOk && fread(speech, sizeof *speech, 160, stdin) == 160) {
        status = ryxcodecEncode(encoder, speech, frame.octets, &frame.count);
        if (status == ryxStsOk) status = ryxcodecWriteUnit(format, codec, &frame, unit, &size);
        if (status == ryxStsOk) fwrite(unit, 1, (size_t)size, stdout);
    }
    if (status != ryxStsOk) fprintf(stderr, "%s\n", ryxscStatusText(status));
    free(encoder);
    return status != ryxStsOk;
}
