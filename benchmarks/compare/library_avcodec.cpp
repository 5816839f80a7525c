// SPDX-License-Identifier: BSD-2-Clause
// libavcodec: encoders of G.722, G.726 and G.723.1 (6.3 kbit/s), decoders of most.
#include "coder.h"

#ifdef RYXSC_HAVE_AVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>
#endif

namespace ryxsc::compare {

namespace {

// Their name of the codec, null when they have none.
const char *nameOf(const Job &job, Direction direction) {
    const bool decode = direction == Direction::decode;
    if (job.name() == "g726") return "g726le";
    if (job.name() == "g722") return decode || job.rate.bitsPerSecond == 64000 ? "g722" : nullptr;
    if (job.name() == "g723") return decode || job.rate.bitsPerSecond == 6300 ? "g723_1" : nullptr;
    if (!decode) return nullptr;
    if (job.name() == "gsm-fr") return "gsm";
    if (job.name() == "gsm-amr") return "amrnb";
    if (job.name() == "amr-wb") return "amrwb";
    const int g729Rate = job.rate.bitsPerSecond;
    if (job.name() == "g729" || job.name() == "g729a") return g729Rate == 8000 || g729Rate == 6400 ? "g729" : nullptr;
    return nullptr;
}

bool covers(const Job &job, Direction direction) {
    return !job.dtx && nameOf(job, direction) != nullptr;
}

#ifdef RYXSC_HAVE_AVCODEC
class Context {
public:
    Context(const AVCodec *codec, const Job &job) : context(avcodec_alloc_context3(codec)) {
        context->sample_rate = job.codec.sampleRate;
        context->bit_rate = job.rate.bitsPerSecond;
        context->bits_per_coded_sample = job.rate.bitsPerSecond / 8000;
        context->block_align = job.codec.largestFrame;
        context->thread_count = 1;
        av_channel_layout_default(&context->ch_layout, 1);
        if (av_codec_is_encoder(codec)) context->sample_fmt = AV_SAMPLE_FMT_S16;
        if (job.name() == "g722" && !av_codec_is_encoder(codec))
            av_opt_set_int(context->priv_data, "bits_per_codeword", job.rate.bitsPerSecond / 8000, 0);
        opened = avcodec_open2(context, codec, nullptr) == 0;
    }
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;
    ~Context() {
        avcodec_free_context(&context);
        av_frame_free(&frame);
        av_packet_free(&packet);
    }

    AVCodecContext *context;
    AVFrame *frame = av_frame_alloc();
    AVPacket *packet = av_packet_alloc();
    bool opened = false;
};

// Has frames of its own for the codecs that need none.
class AvEncoder : public Encoder {
public:
    AvEncoder(const AVCodec *codec, const Job &job) : av_(codec, job), length_(job.codec.frameLength) {}
    bool opened() const { return av_.opened; }

    uint8_t *encode(const int16_t *speech, uint8_t *stream) override {
        held_.insert(held_.end(), speech, speech + length_);
        const int own = av_.context->frame_size > 0 ? av_.context->frame_size : length_;
        while (static_cast<int>(held_.size()) >= own) {
            av_.frame->nb_samples = own;
            av_.frame->format = AV_SAMPLE_FMT_S16;
            av_.frame->sample_rate = av_.context->sample_rate;
            av_channel_layout_default(&av_.frame->ch_layout, 1);
            av_.frame->data[0] = reinterpret_cast<uint8_t *>(held_.data());
            av_.frame->extended_data = av_.frame->data;
            av_.frame->linesize[0] = own * 2;
            avcodec_send_frame(av_.context, av_.frame);
            while (avcodec_receive_packet(av_.context, av_.packet) == 0) {
                std::memcpy(stream, av_.packet->data, static_cast<size_t>(av_.packet->size));
                stream += av_.packet->size;
                av_packet_unref(av_.packet);
            }
            held_.erase(held_.begin(), held_.begin() + own);
        }
        return stream;
    }

private:
    Context av_;
    int length_;
    std::vector<int16_t> held_;
};

class AvDecoder : public Decoder {
public:
    AvDecoder(const AVCodec *codec, const Job &job)
        : av_(codec, job), octets_(static_cast<size_t>(job.codec.largestFrame) + AV_INPUT_BUFFER_PADDING_SIZE) {}
    bool opened() const { return av_.opened; }

    int16_t *decode(const uint8_t *frame, int octets, int16_t *speech) override {
        std::memcpy(octets_.data(), frame, static_cast<size_t>(octets));
        av_.packet->data = octets_.data();
        av_.packet->size = octets;
        avcodec_send_packet(av_.context, av_.packet);
        while (avcodec_receive_frame(av_.context, av_.frame) == 0) {
            speech = take(speech);
            av_frame_unref(av_.frame);
        }
        return speech;
    }

private:
    int16_t *take(int16_t *speech) const {
        const auto count = static_cast<size_t>(av_.frame->nb_samples);
        if (av_.frame->format == AV_SAMPLE_FMT_FLT || av_.frame->format == AV_SAMPLE_FMT_FLTP) {
            const auto *samples = reinterpret_cast<const float *>(av_.frame->data[0]);
            for (size_t i = 0; i < count; i++)
                speech[i] = static_cast<int16_t>(std::lrintf(std::clamp(samples[i] * 32768, -32768.0F, 32767.0F)));
        } else {
            std::memcpy(speech, av_.frame->data[0], 2 * count);
        }
        return speech + count;
    }

    Context av_;
    std::vector<uint8_t> octets_;
};

std::unique_ptr<Encoder> encoder(const Job &job) {
    const AVCodec *codec = avcodec_find_encoder_by_name(nameOf(job, Direction::encode));
    if (codec == nullptr) return nullptr;
    auto made = std::make_unique<AvEncoder>(codec, job);
    return made->opened() ? std::move(made) : nullptr;
}
std::unique_ptr<Decoder> decoder(const Job &job) {
    const AVCodec *codec = avcodec_find_decoder_by_name(nameOf(job, Direction::decode));
    if (codec == nullptr) return nullptr;
    auto made = std::make_unique<AvDecoder>(codec, job);
    return made->opened() ? std::move(made) : nullptr;
}
#endif

} // namespace

#ifdef RYXSC_HAVE_AVCODEC
const Library avcodec = {"libavcodec", nullptr, covers, encoder, decoder};
#else
const Library avcodec = {"libavcodec", "libavcodec-dev", covers, nullptr, nullptr};
#endif

} // namespace ryxsc::compare
