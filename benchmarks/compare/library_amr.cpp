// SPDX-License-Identifier: BSD-2-Clause
// libopencore-amrnb: GSM-AMR. libopencore-amrwb and libvo-amrwbenc: decoder and encoder of AMR-WB.
#include <algorithm>

#include "coder.h"

#ifdef RYXSC_HAVE_OPENCORE_AMRNB
#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrnb/interf_enc.h>
#endif
#ifdef RYXSC_HAVE_OPENCORE_AMRWB
#include <opencore-amrwb/dec_if.h>
#endif
#ifdef RYXSC_HAVE_VO_AMRWBENC
#include <vo-amrwbenc/enc_if.h>
#endif

namespace ryxsc::compare {

namespace {

bool coversNarrowBand(const Job &job, Direction) {
    return job.name() == "gsm-amr";
}
bool coversWideBandDecoder(const Job &job, Direction direction) {
    return job.name() == "amr-wb" && direction == Direction::decode;
}
bool coversWideBandEncoder(const Job &job, Direction direction) {
    return job.name() == "amr-wb" && direction == Direction::encode;
}

// The libraries keep their state behind a plain pointer and work on frames of the storage format of RFC 4867.
template <void (*release)(void *)> class Handle {
public:
    explicit Handle(void *made) : state(made) {}
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
    ~Handle() { release(state); }

    void *const state;
};

// encodeFrame(state, mode, speech, stream, dtx) returns the octets. It gets a copy of the speech: libopencore-amrnb filters
// it in place, const or not.
template <void (*release)(void *), int frameLength, class EncodeFrame> class StorageEncoder : public Encoder {
public:
    StorageEncoder(const Job &job, void *state, EncodeFrame encodeFrame)
        : mode_(rateIndex(job)), dtx_(job.dtx ? 1 : 0), coder_(state), encodeFrame_(encodeFrame) {}
    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        int16_t frame[frameLength];
        std::copy_n(speech, frameLength, frame);
        const int octets = encodeFrame_(coder_.state, mode_, frame, stream, dtx_);
        return stream + (octets > 1 ? octets : 0); // a header alone is nothing sent
    }

private:
    int mode_, dtx_;
    Handle<release> coder_;
    EncodeFrame encodeFrame_;
};

template <auto decodeFrame, void (*release)(void *), int frameLength> class StorageDecoder : public Decoder {
public:
    explicit StorageDecoder(void *state) : coder_(state) {}
    int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) override {
        constexpr uint8_t nothing = 0x7c;
        decodeFrame(coder_.state, octets > 0 ? frame : &nothing, speech, 0);
        return speech + frameLength;
    }

private:
    Handle<release> coder_;
};

} // namespace

#ifdef RYXSC_HAVE_OPENCORE_AMRNB
const Library opencoreAmrNb = {
    "libopencore-amrnb", nullptr, coversNarrowBand,
    [](const Job &job) -> std::unique_ptr<Encoder> {
        const auto encodeFrame = [](void *state, int mode, const int16_t *speech, uint8_t *stream, int) {
            return Encoder_Interface_Encode(state, static_cast<Mode>(mode), speech, stream, 0);
        };
        using Coder = StorageEncoder<Encoder_Interface_exit, 160, decltype(encodeFrame)>;
        return std::make_unique<Coder>(job, Encoder_Interface_init(job.dtx ? 1 : 0), encodeFrame);
    },
    [](const Job &) -> std::unique_ptr<Decoder> {
        using Coder = StorageDecoder<Decoder_Interface_Decode, Decoder_Interface_exit, 160>;
        return std::make_unique<Coder>(Decoder_Interface_init());
    }};
#else
const Library opencoreAmrNb = {"libopencore-amrnb", "libopencore-amrnb-dev", coversNarrowBand, nullptr, nullptr};
#endif

#ifdef RYXSC_HAVE_OPENCORE_AMRWB
const Library opencoreAmrWb = {"libopencore-amrwb", nullptr, coversWideBandDecoder, nullptr,
                               [](const Job &) -> std::unique_ptr<Decoder> {
                                   return std::make_unique<StorageDecoder<D_IF_decode, D_IF_exit, 320>>(D_IF_init());
                               }};
#else
const Library opencoreAmrWb = {"libopencore-amrwb", "libopencore-amrwb-dev", coversWideBandDecoder, nullptr, nullptr};
#endif

#ifdef RYXSC_HAVE_VO_AMRWBENC
const Library voAmrWbEnc = {"libvo-amrwbenc", nullptr, coversWideBandEncoder,
                            [](const Job &job) -> std::unique_ptr<Encoder> {
                                return std::make_unique<StorageEncoder<E_IF_exit, 320, decltype(&E_IF_encode)>>(
                                    job, E_IF_init(), E_IF_encode);
                            },
                            nullptr};
#else
const Library voAmrWbEnc = {"libvo-amrwbenc", "libvo-amrwbenc-dev", coversWideBandEncoder, nullptr, nullptr};
#endif

} // namespace ryxsc::compare
