// SPDX-License-Identifier: BSD-2-Clause
// What the comparison needs of a library: encoders and decoders of the codecs that it has.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include <ryxcodec.h>

namespace ryxsc::compare {

// What is to be done.
struct Job {
    const ryxCodec &codec;
    const ryxCodecRate &rate;
    bool dtx;

    std::string_view name() const { return codec.name; }
};

class Encoder {
public:
    virtual ~Encoder() = default;

    // Appends the octets for frameLength samples of the codec to the stream and returns its new end. May hold samples
    // back until it has a frame of its own.
    virtual uint8_t *encode(const int16_t *speech, uint8_t *stream) = 0;
};

class Decoder {
public:
    virtual ~Decoder() = default;

    // Decodes a frame as ryxcodec writes it and returns the end of the speech, frameLength samples later.
    virtual int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) = 0;
};

enum class Direction { encode, decode };

// A library that the program may have been built with.
struct Library {
    const char *name;
    const char *package; // the Debian package that was missing, null if it was there
    bool (*covers)(const Job &job, Direction direction);
    std::unique_ptr<Encoder> (*encoder)(const Job &job); // of a covered job, in its initial state; null if it refuses
    std::unique_ptr<Decoder> (*decoder)(const Job &job);

    bool present() const { return package == nullptr; }
};

// ryxcodec itself, which covers everything.
extern const Library own;

// The others, in the order of their columns.
extern const Library gsm, spandsp, opencoreAmrNb, opencoreAmrWb, voAmrWbEnc, bcg729, avcodec;
inline constexpr const Library *others[] = {&gsm,        &spandsp, &opencoreAmrNb, &opencoreAmrWb,
                                            &voAmrWbEnc, &bcg729,  &avcodec};

// The number of the rate among the codec's, which is the number of the mode of both AMR codecs.
inline int rateIndex(const Job &job) {
    return static_cast<int>(&job.rate - job.codec.rates);
}

} // namespace ryxsc::compare
