// SPDX-License-Identifier: BSD-2-Clause
// The list of codecs, and the checks that stand in front of every encoder and decoder.
#include <cstdint>
#include <cstring>

#include "codec.h"

namespace ryxcodec {

namespace {

const Codec *const codecs[] = {
#define CODEC(name) &name,
#include "codecs.def"
#undef CODEC
};
constexpr int codecCount = sizeof codecs / sizeof *codecs;

int indexOf(const ryxCodec *record) {
    for (int i = 0; i < codecCount; i++)
        if (&codecs[i]->record == record) return i;
    return -1;
}

// An encoder or decoder in the caller's memory: from its first 16-byte boundary on, this head and then the object.
enum Kind : uint32_t { encoderKind = 0x52784563, decoderKind = 0x52784463 };

struct alignas(16) Head {
    uint32_t kind;
    uint32_t codec; // index in the list
};
constexpr size_t slack = 15;

Head *headOf(void *block) {
    return reinterpret_cast<Head *>((reinterpret_cast<uintptr_t>(block) + slack) & ~uintptr_t{slack});
}
void *objectOf(Head *head) {
    return head + 1;
}

// The head of an initialised block of this kind, else null.
Head *opened(void *block, Kind kind) {
    Head *head = headOf(block);
    return head->kind == kind && head->codec < codecCount ? head : nullptr;
}

ryxStatus getSize(const ryxCodec *record, int *size, size_t Codec::*objectSize) {
    if (record == nullptr || size == nullptr) return ryxStsNullPtr;
    const int index = indexOf(record);
    if (index < 0) return ryxStsBadContext;
    *size = static_cast<int>(slack + sizeof(Head) + codecs[index]->*objectSize);
    return ryxStsOk;
}

int largestDtx(const ryxCodec &codec) {
    if ((codec.features & ryxCodecDtx) == 0) return 0;
    return (codec.features & ryxCodecDownlinkDtx) == 0 ? 1 : 2;
}

ryxStatus init(const ryxCodec *record, void *block, const ryxCodecOptions *given, Kind kind, size_t Codec::*objectSize,
               ryxStatus (*Codec::*initialise)(void *, const ryxCodecOptions &)) {
    if (record == nullptr || block == nullptr) return ryxStsNullPtr;
    const int index = indexOf(record);
    if (index < 0) return ryxStsBadContext;
    const Codec &codec = *codecs[index];
    ryxCodecOptions options{};
    if (given != nullptr) options = *given;
    if (options.rate == 0) options.rate = record->defaultRate;
    if (!hasRate(*record, options.rate)) return ryxStsOutOfRange;
    if (options.dtx < 0 || options.dtx > largestDtx(*record)) return ryxStsOutOfRange;
    if (options.packing < 0 || options.packing > 1 || options.law < 0 || options.law > 2) return ryxStsOutOfRange;
    if (options.lossFrame < 0 || options.lossFrame > 8) return ryxStsOutOfRange;

    Head *head = headOf(block);
    *head = {0, static_cast<uint32_t>(index)};
    std::memset(objectOf(head), 0, codec.*objectSize);
    const ryxStatus status = (codec.*initialise)(objectOf(head), options);
    if (status >= 0) head->kind = kind;
    return status;
}

} // namespace

bool isCodec(const ryxCodec *record) {
    return indexOf(record) >= 0;
}

bool hasRate(const ryxCodec &codec, int rate) {
    for (int i = 0; i < codec.rateCount; i++)
        if (codec.rates[i].bitsPerSecond == rate) return true;
    return false;
}

} // namespace ryxcodec

using namespace ryxcodec;

const ryxCodec *ryxcodecFind(const char *name) {
    if (name == nullptr) return nullptr;
    for (const Codec *codec : codecs)
        if (std::strcmp(codec->record.name, name) == 0) return &codec->record;
    return nullptr;
}

const ryxCodec *ryxcodecAt(int index) {
    return index < 0 || index >= codecCount ? nullptr : &codecs[index]->record;
}

ryxStatus ryxcodecEncoderGetSize(const ryxCodec *codec, int *size) {
    return getSize(codec, size, &Codec::encoderSize);
}

ryxStatus ryxcodecEncoderInit(const ryxCodec *codec, void *encoder, const ryxCodecOptions *options) {
    return init(codec, encoder, options, encoderKind, &Codec::encoderSize, &Codec::initEncoder);
}

ryxStatus ryxcodecEncode(void *encoder, const int16_t *speech, uint8_t *frame, int *octets) {
    if (encoder == nullptr || speech == nullptr || frame == nullptr || octets == nullptr) return ryxStsNullPtr;
    Head *head = opened(encoder, encoderKind);
    if (head == nullptr) return ryxStsBadContext;
    return codecs[head->codec]->encode(objectOf(head), speech, frame, *octets);
}

ryxStatus ryxcodecSetRate(void *encoder, int rate) {
    if (encoder == nullptr) return ryxStsNullPtr;
    Head *head = opened(encoder, encoderKind);
    if (head == nullptr) return ryxStsBadContext;
    const Codec &codec = *codecs[head->codec];
    if (codec.setRate == nullptr || !hasRate(codec.record, rate)) return ryxStsOutOfRange;
    codec.setRate(objectOf(head), rate);
    return ryxStsOk;
}

ryxStatus ryxcodecDecoderGetSize(const ryxCodec *codec, int *size) {
    return getSize(codec, size, &Codec::decoderSize);
}

ryxStatus ryxcodecDecoderInit(const ryxCodec *codec, void *decoder, const ryxCodecOptions *options) {
    return init(codec, decoder, options, decoderKind, &Codec::decoderSize, &Codec::initDecoder);
}

ryxStatus ryxcodecDecode(void *decoder, const uint8_t *frame, int octets, int16_t *speech) {
    return ryxcodecDecodeMarked(decoder, frame, octets, 0, speech);
}

ryxStatus ryxcodecDecodeMarked(void *decoder, const uint8_t *frame, int octets, int marks, int16_t *speech) {
    if (decoder == nullptr || speech == nullptr) return ryxStsNullPtr;
    Head *head = opened(decoder, decoderKind);
    if (head == nullptr) return ryxStsBadContext;
    const bool lost = frame == nullptr;
    if (octets < 0 && !lost) return ryxStsBadSize;
    return codecs[head->codec]->decode(objectOf(head), {frame, lost ? 0 : octets, marks, octets}, speech);
}
