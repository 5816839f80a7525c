/* SPDX-License-Identifier: BSD-2-Clause */
/* What a user of the installed codec library writes first: a second of silence through every codec. */
#include <ryxcodec.h>
#include <stdio.h>
#include <stdlib.h>

static int through(const ryxCodec *codec) {
    int encoderSize, decoderSize, octets;
    if (ryxcodecEncoderGetSize(codec, &encoderSize) || ryxcodecDecoderGetSize(codec, &decoderSize)) return 1;
    void *encoder = malloc((size_t)encoderSize), *decoder = malloc((size_t)decoderSize);
    int16_t *speech = calloc((size_t)codec->frameLength, sizeof *speech);
    uint8_t *frame = malloc((size_t)codec->largestFrame);
    int failed = !encoder || !decoder || !speech || !frame || ryxcodecEncoderInit(codec, encoder, NULL) ||
                 ryxcodecDecoderInit(codec, decoder, NULL);
    for (int i = 0; !failed && i < codec->sampleRate / codec->frameLength; i++)
        failed = ryxcodecEncode(encoder, speech, frame, &octets) || ryxcodecDecode(decoder, frame, octets, speech);
    free(encoder);
    free(decoder);
    free(speech);
    free(frame);
    return failed;
}

int main(void) {
    int i, failures = 0;
    for (i = 0; ryxcodecAt(i); i++)
        failures += through(ryxcodecAt(i));
    printf("%d codecs, %d failures\n", i, failures);
    return i == 0 || failures > 0;
}
