// SPDX-License-Identifier: BSD-2-Clause
// The whole codecs, one after the other: every one that the codec library has.
#include <map>
#include <string>

#include "codec_page.h"
#include "lib/failure.h"

namespace {

const Recordings &speechAt(const Speech &speech, int sampleRate) {
    for (const Recordings *recordings : {&speech.at8k, &speech.at16k, &speech.at32k})
        if (recordings->sampleRate == sampleRate) return *recordings;
    throw Failure("there is no speech at " + std::to_string(sampleRate) + " Hz");
}

// What is worth knowing before one listens.
const std::map<std::string, std::string> introductions = {
    {"g722",
     "A quadrature mirror filter splits 16 kHz speech into two bands of 4 kHz. Adaptive differential coding spends six "
     "bits a sample on the low band and two on the high band. The lower rates drop one or two bits of the low band's "
     "code, so they raise the coding error below 4 kHz and leave the high band as it is."},
    {"g726",
     "One code of five, four, three or two bits per sample. A predictor with two poles and six zeros and a quantiser "
     "with an adaptive step follow the speech; encoder and decoder adapt from the codes alone. Every bit less adds "
     "four "
     "to six decibels of error, spread evenly over the band."},
    {"gsm-fr", "Regular-pulse excitation with long-term prediction: every 5 ms the best of four decimated grids of the "
               "prediction's residual is sent."},
    {"gsm-amr",
     "Algebraic code-excited linear prediction at eight rates. The error is shaped to hide under the speech, so the "
     "signal-to-noise ratio says less than the ear."},
    {"amr-wb",
     "Algebraic code-excited linear prediction of the band up to 6.4 kHz; the decoder makes the band above from noise, "
     "at 23.85 kbit/s with a gain that is sent."},
    {"g723",
     "30 ms frames: multi-pulse excitation at 6.3 kbit/s, four algebraic pulses at 5.3 kbit/s, a fifth-order pitch "
     "predictor at both."},
    {"g728", "Vectors of five samples from a codebook of 1024; predictor and gain adapt backwards, from decoded speech "
             "alone, so "
             "the delay is below a millisecond."},
    {"g729", "Conjugate-structure algebraic code-excited linear prediction in frames of 10 ms, with Annexes D and E."},
    {"g729a", "The same streams as G.729 from a smaller search."},
    {"g7221",
     "A modulated lapped transform with 320 coefficients; regions of 20 of them share a level and a quantiser, and the "
     "frame's bits are spent where they count."},
    {"g7221c",
     "The same transform with 640 coefficients, for speech and music up to 14 kHz. The recordings end at 8 kHz."},
};

} // namespace

void codecsSection(const Speech &speech, Report &report) {
    for (int i = 0; const ryxCodec *codec = ryxcodecAt(i); i++) {
        report.beginSection(codec->title);
        if (const auto text = introductions.find(codec->name); text != introductions.end())
            report.addParagraph(text->second);
        showCodec(report, *codec, speechAt(speech, codec->sampleRate), speech.excerpt);
    }
}
