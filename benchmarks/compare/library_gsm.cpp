// SPDX-License-Identifier: BSD-2-Clause
// libgsm: GSM full rate.
#include "coder.h"

#ifdef RYXSC_HAVE_GSM
#include <gsm.h>
#endif

namespace ryxsc::compare {

namespace {

bool covers(const Job &job, Direction) {
    return job.name() == "gsm-fr" && !job.dtx;
}

#ifdef RYXSC_HAVE_GSM
class Coder : public Encoder, public Decoder {
public:
    Coder() : state_(gsm_create()) {}
    Coder(const Coder &) = delete;
    Coder &operator=(const Coder &) = delete;
    ~Coder() override { gsm_destroy(state_); }

    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        gsm_encode(state_, const_cast<int16_t *>(speech), stream);
        return stream + 33;
    }
    int16_t *decode(const uint8_t *frame, int, int16_t *speech) override {
        gsm_decode(state_, const_cast<uint8_t *>(frame), speech);
        return speech + 160;
    }

private:
    gsm_state *state_;
};
#endif

} // namespace

#ifdef RYXSC_HAVE_GSM
const Library gsm = {"libgsm", nullptr, covers,
                     [](const Job &) -> std::unique_ptr<Encoder> { return std::make_unique<Coder>(); },
                     [](const Job &) -> std::unique_ptr<Decoder> { return std::make_unique<Coder>(); }};
#else
const Library gsm = {"libgsm", "libgsm1-dev", covers, nullptr, nullptr};
#endif

} // namespace ryxsc::compare
