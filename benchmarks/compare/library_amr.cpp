// SPDX-License-Identifier: BSD-2-Clause
// libopencore-amrnb: GSM-AMR. libopencore-amrwb and libvo-amrwbenc: decoder and encoder of AMR-WB.
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

// A state behind a plain pointer.
template <void (*release)(void *)> class Handle {
public:
    explicit Handle(void *made) : state(made) {}
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
    ~Handle() { release(state); }

    void *const state;
};

#ifdef RYXSC_HAVE_OPENCORE_AMRNB
class NarrowBandEncoder : public Encoder {
public:
    explicit NarrowBandEncoder(const Job &job)
        : mode_(static_cast<Mode>(rateIndex(job))), coder_(Encoder_Interface_init(job.dtx ? 1 : 0)) {}
    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        return stream + Encoder_Interface_Encode(coder_.state, mode_, speech, stream, 0);
    }

private:
    Mode mode_;
    Handle<Encoder_Interface_exit> coder_;
};
class NarrowBandDecoder : public Decoder {
public:
    int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) override {
        constexpr uint8_t nothing = 0x7c;
        Decoder_Interface_Decode(coder_.state, octets > 0 ? frame : &nothing, speech, 0);
        return speech + 160;
    }

private:
    Handle<Decoder_Interface_exit> coder_{Decoder_Interface_init()};
};
#endif

#ifdef RYXSC_HAVE_OPENCORE_AMRWB
class WideBandDecoder : public Decoder {
public:
    int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) override {
        constexpr uint8_t nothing = 0x7c;
        D_IF_decode(coder_.state, octets > 0 ? frame : &nothing, speech, 0);
        return speech + 320;
    }

private:
    Handle<D_IF_exit> coder_{D_IF_init()};
};
#endif

#ifdef RYXSC_HAVE_VO_AMRWBENC
class WideBandEncoder : public Encoder {
public:
    explicit WideBandEncoder(const Job &job) : mode_(rateIndex(job)), dtx_(job.dtx), coder_(E_IF_init()) {}
    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        return stream + E_IF_encode(coder_.state, mode_, speech, stream, dtx_ ? 1 : 0);
    }

private:
    int mode_;
    bool dtx_;
    Handle<E_IF_exit> coder_;
};
#endif

} // namespace

#ifdef RYXSC_HAVE_OPENCORE_AMRNB
const Library opencoreAmrNb = {
    "libopencore-amrnb", nullptr, coversNarrowBand,
    [](const Job &job) -> std::unique_ptr<Encoder> { return std::make_unique<NarrowBandEncoder>(job); },
    [](const Job &) -> std::unique_ptr<Decoder> { return std::make_unique<NarrowBandDecoder>(); }};
#else
const Library opencoreAmrNb = {"libopencore-amrnb", "libopencore-amrnb-dev", coversNarrowBand, nullptr, nullptr};
#endif

#ifdef RYXSC_HAVE_OPENCORE_AMRWB
const Library opencoreAmrWb = {
    "libopencore-amrwb", nullptr, coversWideBandDecoder, nullptr,
    [](const Job &) -> std::unique_ptr<Decoder> { return std::make_unique<WideBandDecoder>(); }};
#else
const Library opencoreAmrWb = {"libopencore-amrwb", "libopencore-amrwb-dev", coversWideBandDecoder, nullptr, nullptr};
#endif

#ifdef RYXSC_HAVE_VO_AMRWBENC
const Library voAmrWbEnc = {
    "libvo-amrwbenc", nullptr, coversWideBandEncoder,
    [](const Job &job) -> std::unique_ptr<Encoder> { return std::make_unique<WideBandEncoder>(job); }, nullptr};
#else
const Library voAmrWbEnc = {"libvo-amrwbenc", "libvo-amrwbenc-dev", coversWideBandEncoder, nullptr, nullptr};
#endif

} // namespace ryxsc::compare
