// SPDX-License-Identifier: BSD-2-Clause
// What a codec is to the library: its public record, and an encoder and a decoder as classes of this shape.
//
//     struct Encoder {
//         ryxStatus init(const ryxCodecOptions &options);      // in zeroed memory; options.rate is one of the codec's
//         void setRate(int bitsPerSecond);                     // one of the codec's; with ryxCodecRateSwitching only
//         ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets);
//     };
//     struct Decoder {
//         ryxStatus init(const ryxCodecOptions &options);
//         ryxStatus decode(const ReceivedFrame &frame, int16_t *speech); // an error must leave the decoder as it was
//     };
//
// Both are plain values without pointers into themselves, at most 16-byte aligned: a caller may copy the block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#pragma GCC visibility push(default)
#include "ryxcodec.h"
#pragma GCC visibility pop

namespace ryxcodec {

struct ReceivedFrame {
    const uint8_t *octets; // null: lost
    int count;             // 0: nothing was sent, or lost
    int marks;             // ryxFrameBad and its kin
    int sent = 0;          // octets that a lost frame had, too; 0 where the caller does not know

    bool lost() const { return octets == nullptr; }
    bool has(int mark) const { return (marks & mark) != 0; }
    bool usable() const { return !lost() && !has(ryxFrameBad); }
};

struct Codec {
    ryxCodec record;

    size_t encoderSize;
    ryxStatus (*initEncoder)(void *, const ryxCodecOptions &);
    ryxStatus (*encode)(void *, const int16_t *, uint8_t *, int &);
    void (*setRate)(void *, int); // null: the rate cannot change

    size_t decoderSize;
    ryxStatus (*initDecoder)(void *, const ryxCodecOptions &);
    ryxStatus (*decode)(void *, const ReceivedFrame &, int16_t *);
};

template <class Encoder, class Decoder> constexpr Codec describe(const ryxCodec &record) {
    static_assert(alignof(Encoder) <= 16 && alignof(Decoder) <= 16);
    Codec codec{};
    codec.record = record;
    codec.encoderSize = sizeof(Encoder);
    codec.initEncoder = [](void *at, const ryxCodecOptions &options) { return (new (at) Encoder())->init(options); };
    codec.encode = [](void *at, const int16_t *speech, uint8_t *frame, int &octets) {
        return static_cast<Encoder *>(at)->encode(speech, frame, octets);
    };
    if constexpr (requires(Encoder encoder) { encoder.setRate(0); })
        codec.setRate = [](void *at, int rate) { static_cast<Encoder *>(at)->setRate(rate); };
    codec.decoderSize = sizeof(Decoder);
    codec.initDecoder = [](void *at, const ryxCodecOptions &options) { return (new (at) Decoder())->init(options); };
    codec.decode = [](void *at, const ReceivedFrame &frame, int16_t *speech) {
        return static_cast<Decoder *>(at)->decode(frame, speech);
    };
    return codec;
}

// Whether a record is one of the list; whether it has the rate.
bool isCodec(const ryxCodec *record);
bool hasRate(const ryxCodec &codec, int rate);

#define CODEC(name) extern const Codec name;
#include "codecs.def"
#undef CODEC

// A state block of a primitive inside an encoder or decoder. The sizes of these blocks are constants of the library;
// init() of the codec hands back what fits() says, so that a library with larger ones is refused instead of overrun.
template <class State, size_t octets> class Block {
public:
    template <class GetSize, class... Arguments> ryxStatus fits(GetSize getSize, Arguments... arguments) const {
        int size = 0;
        const ryxStatus status = getSize(arguments..., &size);
        return status != ryxStsOk ? status : size > static_cast<int>(octets) ? ryxStsBadContext : ryxStsOk;
    }

    operator State *() { return reinterpret_cast<State *>(octets_); }

private:
    alignas(16) uint8_t octets_[octets];
};

} // namespace ryxcodec
