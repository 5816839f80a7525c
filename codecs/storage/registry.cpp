// SPDX-License-Identifier: BSD-2-Clause
// The list of stream formats, and the checks that stand in front of each.
#include <cstring>

#include "storage/format.h"

namespace ryxcodec {

namespace {

const Format *const formats[] = {
#define FORMAT(name) &name,
#include "storage/formats.def"
#undef FORMAT
};
constexpr int formatCount = sizeof formats / sizeof *formats;

const Format *formatOf(const ryxCodecFormat *record) {
    for (const Format *format : formats)
        if (&format->record == record) return format;
    return nullptr;
}

// The list of names has a blank after each.
bool takes(const Format &format, const ryxCodec &codec) {
    const char *list = format.record.codecs;
    if (*list == 0) return true;
    const size_t length = std::strlen(codec.name);
    for (const char *name = list; *name != 0; name = std::strchr(name, ' ') + 1)
        if (std::strncmp(name, codec.name, length) == 0 && name[length] == ' ') return true;
    return false;
}

} // namespace

} // namespace ryxcodec

using namespace ryxcodec;

const ryxCodecFormat *ryxcodecFormatFind(const char *name) {
    if (name == nullptr) return nullptr;
    for (const Format *format : formats)
        if (std::strcmp(format->record.name, name) == 0) return &format->record;
    return nullptr;
}

const ryxCodecFormat *ryxcodecFormatAt(int index) {
    return index < 0 || index >= formatCount ? nullptr : &formats[index]->record;
}

ryxStatus ryxcodecReadUnit(const ryxCodecFormat *record, const ryxCodec *codec, int rate, const uint8_t *src, int size,
                           ryxCodecFrame *frames, int *used) {
    if (record == nullptr || codec == nullptr || src == nullptr || frames == nullptr || used == nullptr)
        return ryxStsNullPtr;
    const Format *format = formatOf(record);
    if (format == nullptr || !isCodec(codec)) return ryxStsBadContext;
    if (size < 1) return ryxStsBadSize;
    if (rate == 0) rate = codec->defaultRate;
    if (!takes(*format, *codec) || !hasRate(*codec, rate)) return ryxStsOutOfRange;
    const int count = format->read({*codec, rate}, src, size, frames);
    if (count < 0) return count;
    *used = count;
    return ryxStsOk;
}

ryxStatus ryxcodecWriteUnit(const ryxCodecFormat *record, const ryxCodec *codec, const ryxCodecFrame *frames,
                            uint8_t *dst, int *octets) {
    if (record == nullptr || codec == nullptr || frames == nullptr || dst == nullptr || octets == nullptr)
        return ryxStsNullPtr;
    const Format *format = formatOf(record);
    if (format == nullptr || !isCodec(codec)) return ryxStsBadContext;
    if (!takes(*format, *codec)) return ryxStsOutOfRange;
    for (int i = 0; i < record->framesPerUnit; i++)
        if (frames[i].count < 0 || frames[i].count > codec->largestFrame) return ryxStsBadSize;
    const int count = format->write(*codec, frames, dst);
    if (count < 0) return count;
    *octets = count;
    return ryxStsOk;
}
