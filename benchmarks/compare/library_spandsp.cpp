// SPDX-License-Identifier: BSD-2-Clause
// libspandsp: GSM full rate, G.722, G.726.
#include "coder.h"

#ifdef RYXSC_HAVE_SPANDSP
#include <spandsp.h>
#endif

namespace ryxsc::compare {

namespace {

bool covers(const Job &job, Direction) {
    return !job.dtx && (job.name() == "gsm-fr" || job.name() == "g722" || job.name() == "g726");
}

#ifdef RYXSC_HAVE_SPANDSP
// A coder of any of the three: State with its functions.
template <class State, int (*release)(State *)> class Holder {
public:
    explicit Holder(State *made) : state(made) {}
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;
    ~Holder() { release(state); }

    State *const state;
};

class GsmCoder : public Encoder, public Decoder {
public:
    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        return stream + gsm0610_encode(coder_.state, stream, speech, 160);
    }
    int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) override {
        return speech + gsm0610_decode(coder_.state, speech, frame, octets);
    }

private:
    Holder<gsm0610_state_t, gsm0610_free> coder_{gsm0610_init(nullptr, GSM0610_PACKING_VOIP)};
};

// At 56 and 48 kbit/s its octets hold 7 and 6 bits, at the lower end.
class G722Encoder : public Encoder {
public:
    explicit G722Encoder(const Job &job)
        : shift_(8 - job.rate.bitsPerSecond / 8000), length_(job.codec.frameLength),
          coder_(g722_encode_init(nullptr, job.rate.bitsPerSecond, 0)) {}
    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        const int octets = g722_encode(coder_.state, stream, speech, length_);
        if (shift_ > 0)
            for (int i = 0; i < octets; i++)
                stream[i] = static_cast<uint8_t>(stream[i] << shift_);
        return stream + octets;
    }

private:
    int shift_, length_;
    Holder<g722_encode_state_t, g722_encode_free> coder_;
};
class G722Decoder : public Decoder {
public:
    explicit G722Decoder(const Job &job)
        : shift_(8 - job.rate.bitsPerSecond / 8000), coder_(g722_decode_init(nullptr, job.rate.bitsPerSecond, 0)) {}
    int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) override {
        uint8_t codes[1024];
        if (shift_ > 0) {
            for (int i = 0; i < octets; i++)
                codes[i] = static_cast<uint8_t>(frame[i] >> shift_);
            frame = codes;
        }
        return speech + g722_decode(coder_.state, speech, frame, octets);
    }

private:
    int shift_;
    Holder<g722_decode_state_t, g722_decode_free> coder_;
};

class G726Coder : public Encoder, public Decoder {
public:
    explicit G726Coder(const Job &job)
        : length_(job.codec.frameLength),
          coder_(g726_init(nullptr, job.rate.bitsPerSecond, G726_ENCODING_LINEAR, G726_PACKING_RIGHT)) {}
    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        return stream + g726_encode(coder_.state, stream, speech, length_);
    }
    int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) override {
        return speech + g726_decode(coder_.state, speech, frame, octets);
    }

private:
    int length_;
    Holder<g726_state_t, g726_free> coder_;
};

std::unique_ptr<Encoder> encoder(const Job &job) {
    if (job.name() == "g722") return std::make_unique<G722Encoder>(job);
    if (job.name() == "g726") return std::make_unique<G726Coder>(job);
    return std::make_unique<GsmCoder>();
}
std::unique_ptr<Decoder> decoder(const Job &job) {
    if (job.name() == "g722") return std::make_unique<G722Decoder>(job);
    if (job.name() == "g726") return std::make_unique<G726Coder>(job);
    return std::make_unique<GsmCoder>();
}
#endif

} // namespace

#ifdef RYXSC_HAVE_SPANDSP
const Library spandsp = {"libspandsp", nullptr, covers, encoder, decoder};
#else
const Library spandsp = {"libspandsp", "libspandsp-dev", covers, nullptr, nullptr};
#endif

} // namespace ryxsc::compare
