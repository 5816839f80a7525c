// SPDX-License-Identifier: BSD-2-Clause
// libryxcodec, through its public interface.
#include <cstdlib>
#include <stdexcept>

#include "coder.h"

namespace ryxsc::compare {

namespace {

struct Free {
    void operator()(void *block) const { std::free(block); }
};

// An encoder's or decoder's block.
std::unique_ptr<void, Free> block(const Job &job, ryxStatus (*getSize)(const ryxCodec *, int *),
                                  ryxStatus (*init)(const ryxCodec *, void *, const ryxCodecOptions *)) {
    int size = 0;
    ryxCodecOptions options = {};
    options.rate = job.rate.bitsPerSecond;
    options.dtx = job.dtx && init == ryxcodecEncoderInit ? 1 : 0;
    if (getSize(&job.codec, &size) != ryxStsOk) throw std::runtime_error("no size of a coder");
    std::unique_ptr<void, Free> memory(std::malloc(static_cast<size_t>(size)));
    if (init(&job.codec, memory.get(), &options) != ryxStsOk) throw std::runtime_error("a coder refuses its options");
    return memory;
}

class OwnEncoder : public Encoder {
public:
    explicit OwnEncoder(const Job &job) : encoder_(block(job, ryxcodecEncoderGetSize, ryxcodecEncoderInit)) {}

    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        int octets = 0;
        if (ryxcodecEncode(encoder_.get(), speech, stream, &octets) != ryxStsOk)
            throw std::runtime_error("an encoder failed");
        return stream + octets;
    }

private:
    std::unique_ptr<void, Free> encoder_;
};

class OwnDecoder : public Decoder {
public:
    explicit OwnDecoder(const Job &job)
        : decoder_(block(job, ryxcodecDecoderGetSize, ryxcodecDecoderInit)), frameLength_(job.codec.frameLength) {}

    int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) override {
        if (ryxcodecDecode(decoder_.get(), frame, octets, speech) != ryxStsOk)
            throw std::runtime_error("a decoder failed");
        return speech + frameLength_;
    }

private:
    std::unique_ptr<void, Free> decoder_;
    int frameLength_;
};

} // namespace

const Library own = {
    .name = "ryxcodec",
    .package = nullptr,
    .covers = [](const Job &, Direction) { return true; },
    .encoder = [](const Job &job) -> std::unique_ptr<Encoder> { return std::make_unique<OwnEncoder>(job); },
    .decoder = [](const Job &job) -> std::unique_ptr<Decoder> { return std::make_unique<OwnDecoder>(job); },
};

} // namespace ryxsc::compare
