/* SPDX-License-Identifier: BSD-2-Clause */
/* 16 kHz, 16-bit samples from standard input to standard output through AMR-WB at 12.65 kbit/s, of which every tenth
   frame is lost: the decoder fills the gap. */
#include <ryxcodec.h>
#include <stdio.h>
#include <stdlib.h>

int main(void) {
    const ryxCodec *codec = ryxcodecFind("amr-wb");
    ryxCodecOptions options = {0};
    int16_t speech[320]; /* codec->frameLength */
    uint8_t frame[64];   /* codec->largestFrame */
    int encoderSize, decoderSize, octets;

    options.rate = 12650;
    if (ryxcodecEncoderGetSize(codec, &encoderSize) != ryxStsOk) return 1;
    if (ryxcodecDecoderGetSize(codec, &decoderSize) != ryxStsOk) return 1;
    void *encoder = malloc((size_t)encoderSize), *decoder = malloc((size_t)decoderSize);
    ryxStatus status = ryxcodecEncoderInit(codec, encoder, &options); /* an error also when malloc gave null */
    if (status == ryxStsOk) status = ryxcodecDecoderInit(codec, decoder, NULL);
    for (int i = 1; status == ryxStsOk && fread(speech, sizeof *speech, 320, stdin) == 320; i++) {
        status = ryxcodecEncode(encoder, speech, frame, &octets);
        if (status == ryxStsOk) status = ryxcodecDecode(decoder, i % 10 ? frame : NULL, octets, speech);
        fwrite(speech, sizeof *speech, 320, stdout);
    }
    if (status != ryxStsOk) fprintf(stderr, "%s\n", ryxscStatusText(status));
    free(decoder);
    free(encoder);
    return status != ryxStsOk;
}
