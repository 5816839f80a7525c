// SPDX-License-Identifier: BSD-2-Clause
// libbcg729: G.729 Annexes A and B. Its streams are those of G.729A; the main body's decoder reads them too.
#include "coder.h"

#ifdef RYXSC_HAVE_BCG729
extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}
#endif

namespace ryxsc::compare {

namespace {

bool covers(const Job &job, Direction) {
    return (job.name() == "g729" || job.name() == "g729a") && job.rate.bitsPerSecond == 8000;
}

#ifdef RYXSC_HAVE_BCG729
class G729Encoder : public Encoder {
public:
    explicit G729Encoder(bool dtx) : coder_(initBcg729EncoderChannel(dtx ? 1 : 0)) {}
    G729Encoder(const G729Encoder &) = delete;
    G729Encoder &operator=(const G729Encoder &) = delete;
    ~G729Encoder() override { closeBcg729EncoderChannel(coder_); }
    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        uint8_t octets = 0;
        bcg729Encoder(coder_, speech, stream, &octets);
        return stream + octets;
    }

private:
    bcg729EncoderChannelContextStruct *coder_;
};

class G729Decoder : public Decoder {
public:
    G729Decoder() = default;
    G729Decoder(const G729Decoder &) = delete;
    G729Decoder &operator=(const G729Decoder &) = delete;
    ~G729Decoder() override { closeBcg729DecoderChannel(coder_); }
    int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) override {
        bcg729Decoder(coder_, frame, static_cast<uint8_t>(octets), octets == 0, octets == 2, 0, speech);
        return speech + 80;
    }

private:
    bcg729DecoderChannelContextStruct *coder_ = initBcg729DecoderChannel();
};
#endif

} // namespace

#ifdef RYXSC_HAVE_BCG729
const Library bcg729 = {
    "libbcg729", nullptr, covers,
    [](const Job &job) -> std::unique_ptr<Encoder> { return std::make_unique<G729Encoder>(job.dtx); },
    [](const Job &) -> std::unique_ptr<Decoder> { return std::make_unique<G729Decoder>(); }};
#else
const Library bcg729 = {"libbcg729", "libbcg729-dev", covers, nullptr, nullptr};
#endif

} // namespace ryxsc::compare
