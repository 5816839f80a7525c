// SPDX-License-Identifier: BSD-2-Clause
#include "codec_call.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sndfile.h>
#include <sstream>
#include <string_view>
#include <utility>

#include "failure.h"
#include "library_call.h"

namespace fs = std::filesystem;

namespace {

std::string listed(const std::vector<std::string> &words) {
    std::string text;
    for (size_t i = 0; i < words.size(); i++)
        text += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    return text;
}

std::unique_ptr<std::byte[]> blockOf(const ryxCodec &codec, ryxStatus (*getSize)(const ryxCodec *, int *)) {
    int size = 0;
    check(getSize(&codec, &size));
    return std::make_unique<std::byte[]>(static_cast<size_t>(size));
}

void checkOptions(const ryxCodec &codec, ryxStatus status) {
    if (status == ryxStsOutOfRange) throw Failure(std::string(codec.name) + " does not have what the options ask for");
    check(status);
}

// Extensions that are not the name of their format.
struct Extension {
    const char *extension, *format;
};
constexpr Extension extensions[] = {{"pkt", "packets"}, {"bit", "itu"},     {"g192", "itu"},
                                    {"cod", "3gpp"},    {"gsm49", "wav49"}, {"wav", "wav49"}};

std::string formatOfExtension(const fs::path &path) {
    const std::string extension = path.extension().string();
    if (extension.empty()) return "";
    for (const Extension &other : extensions)
        if (extension.substr(1) == other.extension) return other.format;
    return extension.substr(1);
}

bool isItuOfAmrWb(const StreamForm &form) {
    return std::string_view(form.format->name) == "itu" && std::string_view(form.codec->name) == "amr-wb";
}

bool isPairFormat(const ryxCodecFormat &format) {
    return std::string_view(format.name) == "wav49";
}

uint32_t littleEndian(std::span<const uint8_t> octets) {
    uint32_t value = 0;
    for (size_t i = octets.size(); i-- > 0;)
        value = value << 8 | octets[i];
    return value;
}

// Goes to the samples of a WAV file of GSM frames; returns how many octets they take.
size_t skipWavHeader(OctetReader &octets, const fs::path &path) {
    constexpr uint32_t gsm610 = 0x31;
    octets.skip(12);
    for (;;) {
        const std::span<const uint8_t> head = octets.peek(10);
        if (head.size() < 10) throw Failure(path.string() + " is a WAV file without samples");
        const std::string name(head.begin(), head.begin() + 4);
        const size_t size = littleEndian(head.subspan(4, 4));
        if (name == "fmt " && littleEndian(head.subspan(8, 2)) != gsm610)
            throw Failure(path.string() + " is a WAV file of another format than GSM 6.10");
        octets.skip(8);
        if (name == "data") return size;
        octets.skip(octets.peek(std::min(size + size % 2, size_t{1} << 16)).size());
    }
}

bool takes(const ryxCodecFormat &format, const ryxCodec &codec) {
    const std::string list = std::string(" ") + format.codecs;
    return *format.codecs == 0 || list.find(std::string(" ") + codec.name + " ") != list.npos;
}

} // namespace

const ryxCodec &codecNamed(const std::string &name) {
    if (const ryxCodec *codec = ryxcodecFind(name.c_str())) return *codec;
    std::vector<std::string> names;
    for (int i = 0; ryxcodecAt(i) != nullptr; i++)
        names.emplace_back(ryxcodecAt(i)->name);
    throw Failure("there is no codec " + name + "; --codec takes " + listed(names));
}

int rateOf(const ryxCodec &codec, const std::string &kilobits) {
    double number = 0;
    const char *end = kilobits.data() + kilobits.size();
    const auto [stopped, error] = std::from_chars(kilobits.data(), end, number);
    std::vector<std::string> names;
    for (int i = 0; i < codec.rateCount; i++) {
        const int rate = codec.rates[i].bitsPerSecond;
        if (error == std::errc() && stopped == end && std::lround(number * 1000) == rate) return rate;
        names.emplace_back(codec.rates[i].name);
    }
    throw Failure(std::string(codec.name) + " has no rate " + kilobits.substr(0, 20) + "; --rate takes " +
                  listed(names));
}

std::string rateName(const ryxCodec &codec, int bitsPerSecond) {
    for (int i = 0; i < codec.rateCount; i++)
        if (codec.rates[i].bitsPerSecond == bitsPerSecond) return codec.rates[i].name;
    return "?";
}

CodecEncoder::CodecEncoder(const ryxCodec &codec, const ryxCodecOptions &options)
    : codec_(codec), block_(blockOf(codec, ryxcodecEncoderGetSize)) {
    checkOptions(codec, ryxcodecEncoderInit(&codec, block_.get(), &options));
}

void CodecEncoder::setRate(int bitsPerSecond) {
    if (ryxcodecSetRate(block_.get(), bitsPerSecond) != ryxStsOk)
        throw Failure(std::string(codec_.name) + " cannot change its rate from frame to frame");
}

ryxCodecFrame CodecEncoder::encode(const int16_t *speech) {
    ryxCodecFrame frame = {};
    check(ryxcodecEncode(block_.get(), speech, frame.octets, &frame.count));
    return frame;
}

CodecDecoder::CodecDecoder(const ryxCodec &codec, const ryxCodecOptions &options)
    : codec_(codec), block_(blockOf(codec, ryxcodecDecoderGetSize)) {
    checkOptions(codec, ryxcodecDecoderInit(&codec, block_.get(), &options));
}

void CodecDecoder::decode(const ryxCodecFrame &frame, int16_t *speech) {
    const uint8_t *octets = frame.lost ? nullptr : frame.octets;
    const ryxStatus status = ryxcodecDecodeMarked(block_.get(), octets, frame.count, frame.marks, speech);
    if (status == ryxStsBadSize || status == ryxStsBadIndex)
        throw Failure("a frame of " + std::to_string(frame.count) + " octets is none of " + codec_.name);
    check(status);
}

const ryxCodecFormat &formatFor(const std::string &word, const fs::path &path, const ryxCodec *codec) {
    std::string name = word.empty() ? formatOfExtension(path) : word;
    for (int i = 0; const ryxCodecFormat *format = ryxcodecFormatAt(i); i++)
        if (name == format->name && (codec == nullptr || takes(*format, *codec))) return *format;
    if (!word.empty() && ryxcodecFormatFind(word.c_str()) == nullptr)
        throw Failure("there is no format " + word + " (ryxcodec list names them)");
    if (!word.empty()) throw Failure("the format " + word + " is not for " + codec->name);
    // A name that says nothing: the codec's own format.
    if (codec != nullptr)
        for (int i = 0; const ryxCodecFormat *format = ryxcodecFormatAt(i); i++)
            if (*format->codecs != 0 && takes(*format, *codec)) return *format;
    throw Failure("the name " + path.string() + " does not tell the format; give --format or --codec");
}

const ryxCodecFormat &formatOfStream(const std::string &word, const fs::path &path, const ryxCodec *codec) {
    const std::string named = word.empty() ? formatOfExtension(path) : word;
    const ryxCodecFormat *ofName = ryxcodecFormatFind(named.c_str());
    if (isStandardStream(path) || !word.empty() || (ofName != nullptr && *ofName->header == 0))
        return formatFor(word, path, codec);
    char head[16] = {};
    std::ifstream(path).read(head, sizeof head);
    for (int i = 0; const ryxCodecFormat *format = ryxcodecFormatAt(i); i++) {
        const size_t length = std::strlen(format->header);
        const bool begins = length > 0 && std::memcmp(head, format->header, length) == 0;
        if (begins && (codec == nullptr || takes(*format, *codec))) return *format;
    }
    return formatFor(word, path, codec);
}

const ryxCodec *codecOf(const ryxCodecFormat &format) {
    std::istringstream list(format.codecs);
    std::string first;
    list >> first;
    for (std::string other; list >> other;)
        if (!other.starts_with(first)) return nullptr;
    return ryxcodecFind(first.c_str());
}

FrameReader::FrameReader(const fs::path &path, const StreamForm &form)
    : path_(isStandardStream(path) ? "standard input" : path), form_(form), octets_(path),
      unit_(static_cast<size_t>(form.format->framesPerUnit)) {
    const size_t length = std::strlen(form.format->header);
    const std::span<const uint8_t> head = octets_.peek(length);
    if (length > 0 && (head.size() < length || std::memcmp(head.data(), form.format->header, length) != 0))
        throw Failure(path_.string() + " does not begin like the " + form.format->title);
    octets_.skip(length);
    const std::span<const uint8_t> riff = octets_.peek(12);
    const bool isWav =
        riff.size() == 12 && std::memcmp(riff.data(), "RIFF", 4) == 0 && std::memcmp(&riff[8], "WAVE", 4) == 0;
    if (isWav && isPairFormat(*form.format))
        left_ = skipWavHeader(octets_, path_);
    else if (isWav)
        throw Failure(path_.string() + " is a WAV file and no " + form.codec->name + " stream");
}

std::optional<ryxCodecFrame> FrameReader::next() {
    if (given_ < count_) return unit_[given_++];
    std::span<const uint8_t> octets = octets_.peek(std::min(left_, static_cast<size_t>(form_.format->largestUnit)));
    if (octets.empty()) return std::nullopt;
    const auto read = [&](std::span<const uint8_t> source, int *used) {
        return ryxcodecReadUnit(form_.format, form_.codec, form_.rate, source.data(), static_cast<int>(source.size()),
                                unit_.data(), used);
    };
    int used = 0;
    ryxStatus status = read(octets, &used);
    present_ = used;
    const bool countsOctets = *form_.format->codecs == 0;
    if (status == ryxStsBadSize && !countsOctets && (form_.codec->features & ryxCodecAnyLength) != 0) {
        std::vector<uint8_t> filled(octets.begin(), octets.end());
        present_ = static_cast<int>(filled.size());
        filled.resize(static_cast<size_t>(form_.format->largestUnit));
        status = read(filled, &used);
        used = present_;
    }
    const std::string place = " at octet " + std::to_string(octets_.position());
    if (status == ryxStsBadSize) throw Failure(path_.string() + " ends within the frame" + place);
    if (status == ryxStsBadIndex) throw Failure(path_.string() + " has no frame of this format" + place);
    if (status == ryxStsOutOfRange)
        throw Failure("the format " + std::string(form_.format->name) + " is not for " + form_.codec->name);
    check(status);
    octets_.skip(static_cast<size_t>(used));
    left_ -= static_cast<size_t>(used);
    count_ = unit_.size();
    given_ = 1;
    // AMR-WB in ITU words: the first empty frame behind speech stands for a SID_FIRST.
    if (isItuOfAmrWb(form_)) {
        if (unit_[0].count == 0 && behindSpeech_) unit_[0] = {{9 << 3 | 4}, 6, 0, 0};
        behindSpeech_ = unit_[0].count > 6;
    }
    return unit_[0];
}

FrameWriter::FrameWriter(const fs::path &path, const StreamForm &form) : form_(form), path_(path), octets_(path) {
    if (isPairFormat(*form.format) && path.extension() == ".wav") {
        SF_INFO info = {};
        info.samplerate = form.codec->sampleRate;
        info.channels = 1;
        info.format = SF_FORMAT_WAV | SF_FORMAT_GSM610;
        wav_ = sf_open_fd(octets_.file()->descriptor(), SFM_WRITE, &info, 0);
        if (wav_ == nullptr) throw Failure("cannot write " + path.string() + ": " + sf_strerror(nullptr));
    }
    const char *header = form.format->header;
    octets_.write({reinterpret_cast<const uint8_t *>(header), std::strlen(header)});
}

FrameWriter::~FrameWriter() {
    if (wav_ != nullptr) sf_close(static_cast<SNDFILE *>(wav_));
}

void FrameWriter::write(const ryxCodecFrame &frame, std::optional<size_t> octets) {
    unit_.push_back(frame);
    if (unit_.size() < static_cast<size_t>(form_.format->framesPerUnit)) return;
    std::vector<uint8_t> unit(static_cast<size_t>(form_.format->largestUnit));
    int written = 0;
    const ryxStatus status = ryxcodecWriteUnit(form_.format, form_.codec, unit_.data(), unit.data(), &written);
    if (status == ryxStsBadSize)
        throw Failure(std::string("the format ") + form_.format->name + " cannot hold a frame of " +
                      std::to_string(frame.count) + " octets; --format packets can");
    check(status);
    if (wav_ == nullptr)
        octets_.write(std::span(unit).first(octets.value_or(static_cast<size_t>(written))));
    else if (sf_write_raw(static_cast<SNDFILE *>(wav_), unit.data(), written) != written)
        throw Failure("cannot write " + path_.string() + ": " + strerror(errno ? errno : EIO));
    unit_.clear();
}

void FrameWriter::commit() {
    if (!unit_.empty())
        note(path_.string() + ": the last frame is left out, " + form_.format->name + " holds them in pairs");
    if (wav_ != nullptr && sf_close(static_cast<SNDFILE *>(std::exchange(wav_, nullptr))) != 0)
        throw Failure("cannot write " + path_.string() + ": " + strerror(errno ? errno : EIO));
    octets_.commit();
}
