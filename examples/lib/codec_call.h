// SPDX-License-Identifier: BSD-2-Clause
// The codec library from C++: encoders and decoders as objects, streams of frames as files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <ryxcodec.h>
#include <span>
#include <string>
#include <vector>

#include "octet_file.h"

/** The codec of this name; throws Failure with the list of names. */
const ryxCodec &codecNamed(const std::string &name);

/** The codec's rate in bits per second for "12.2", "6.60" or "16"; throws Failure with the list of rates. */
int rateOf(const ryxCodec &codec, const std::string &kilobits);

/** The same, as the codec's record names it. */
std::string rateName(const ryxCodec &codec, int bitsPerSecond);

class CodecEncoder {
public:
    CodecEncoder(const ryxCodec &codec, const ryxCodecOptions &options);

    /** From the next frame on; throws Failure where the codec cannot. */
    void setRate(int bitsPerSecond);
    /** A frame of speech; no octets when nothing is to be sent. */
    ryxCodecFrame encode(const int16_t *speech);

private:
    const ryxCodec &codec_;
    std::unique_ptr<std::byte[]> block_;
};

class CodecDecoder {
public:
    CodecDecoder(const ryxCodec &codec, const ryxCodecOptions &options);

    /** A frame of speech; throws Failure for a frame that the codec cannot have. */
    void decode(const ryxCodecFrame &frame, int16_t *speech);

private:
    const ryxCodec &codec_;
    std::unique_ptr<std::byte[]> block_;
};

/** How a stream is laid out, and whose it is. */
struct StreamForm {
    const ryxCodecFormat *format;
    const ryxCodec *codec;
    int rate;
};

/** The format of a word of --format, or of a file's extension when the word is empty; throws Failure. */
const ryxCodecFormat &formatFor(const std::string &word, const std::filesystem::path &path, const ryxCodec *codec);

/** The same for a stream to be read. Where the name says nothing, or names a format with a header, the header counts. */
const ryxCodecFormat &formatOfStream(const std::string &word, const std::filesystem::path &path, const ryxCodec *codec);

/** The codec of a format that is for one only, or for one and its annex; else null. */
const ryxCodec *codecOf(const ryxCodecFormat &format);

class FrameReader {
public:
    FrameReader(const std::filesystem::path &path, const StreamForm &form);

    /** The next frame; nothing at the end. The last one of a codec of any length may be filled up with zeros. */
    std::optional<ryxCodecFrame> next();

    /** How many octets of the last frame were there, of a codec of any length. */
    int present() const { return present_; }
    const OctetReader &octets() const { return octets_; }

private:
    std::filesystem::path path_;
    StreamForm form_;
    OctetReader octets_;
    std::vector<ryxCodecFrame> unit_;
    size_t given_ = 0, count_ = 0, left_ = SIZE_MAX;
    int present_ = 0;
    bool behindSpeech_ = false;
};

class FrameWriter {
public:
    FrameWriter(const std::filesystem::path &path, const StreamForm &form);
    ~FrameWriter();
    FrameWriter(const FrameWriter &) = delete;
    FrameWriter &operator=(const FrameWriter &) = delete;

    /** `octets`: how many of the frame's are kept, when the last one of a codec of any length is cut. */
    void write(const ryxCodecFrame &frame, std::optional<size_t> octets = {});
    void commit();

private:
    StreamForm form_;
    std::filesystem::path path_;
    OctetWriter octets_;
    void *wav_ = nullptr; // SNDFILE, for GSM frames in a WAV file
    std::vector<ryxCodecFrame> unit_;
};
