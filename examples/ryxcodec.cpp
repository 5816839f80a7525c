// SPDX-License-Identifier: BSD-2-Clause
// All codecs of the library from the command line: speech to a stream of frames and back.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "lib/codec_call.h"
#include "lib/command_line.h"
#include "lib/failure.h"
#include "lib/input_file.h"
#include "lib/progress.h"
#include "lib/round_trip.h"
#include "lib/speech_file.h"

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> encoding = {"encode", "roundtrip"}, decoding = {"decode", "roundtrip"},
                               everywhere = {"encode", "decode", "roundtrip", "info"};

const ProgramDescription program = {
    "ryxcodec",
    "Usage: ryxcodec list\n"
    "       ryxcodec encode IN OUT [--codec NAME] [--rate R | --rates FILE] [--dtx] ...\n"
    "       ryxcodec decode IN OUT [--codec NAME] [--rate R] [--lost FILE] ...\n"
    "       ryxcodec roundtrip IN OUT --codec NAME [--rate R] [--dtx] [--loss PERCENT] ...\n"
    "       ryxcodec info FILE [--codec NAME] [--format F]\n"
    "\n"
    "Speech is a WAV file (reading: any audio file that libsndfile knows, converted to one\n"
    "channel at the codec's sample rate when it has to be) or, in files named .raw or .pcm\n"
    "and for the name -, headerless 16-bit little-endian samples at the codec's rate. The\n"
    "last incomplete frame is filled with zeros. Decoded speech has the frames' length; the\n"
    "codec's delay stays unless --align is given.\n"
    "\n"
    "The format of a stream follows from its name (.amr .awb .gsm .g722 .g723 .g726 .g728\n"
    ".g729 .g7221 .cw .bit .pkt .cod), or from --format; `ryxcodec list` shows formats,\n"
    "codecs and their rates. Where a format belongs to one codec, or to one and its annex,\n"
    "--codec can be left out. AMR and AMR-WB files are known by their first octets, too.\n"
    "\n"
    "  --codec NAME       the codec\n"
    "  --rate R           bit rate in kbit/s, as in 12.2; decoders of g722, g726, g729 and\n"
    "                     g7221 need the encoder's when it is not the default\n"
    "  --rates FILE       encode: a rate a line, for frame after frame; the last one stays\n"
    "  --sample-rate HZ   g7221: 16000 or 32000\n"
    "  --format F         format of the stream, whatever its name\n"
    "  --dtx [downlink]   silence descriptors in pauses; gsm-fr: the downlink's VAD\n"
    "  --no-highpass      g723: encoder without its high-pass filter\n"
    "  --no-postfilter    decoder without its post-filter\n"
    "  --lost FILE        decode: a 0 or 1 for every frame, 1 = it was lost\n"
    "  --receive FILE     decode gsm-fr with its receive handler: lines `state TAF`, state\n"
    "                     0 good, 1 bad but here, 2 absent\n"
    "  --loss PERCENT     roundtrip: loses so many frames, the same ones every time\n"
    "  --loss-frame MS    g728: what a digit of --lost stands for, 2.5, 5, 10 or 20 (10)\n"
    "  --packing P        g726: rfc3551 (first code in the low bits, default) or aal2\n"
    "  --law L            g726 decoder: linear (default), alaw or mulaw WAV\n"
    "  --align            decoded speech without the codec's delay\n"
    "  --help, --version\n"
    "\n"
    "roundtrip also prints the segmental signal-to-noise ratio (20 ms segments above -50 dB\n"
    "of full scale, each limited to -10..35 dB, the codec's delay taken out) and the speed.\n",
    {"list", "encode", "decode", "roundtrip", "info"},
    {{.name = "codec", .values = {""}, .commands = everywhere, .anyText = true},
     {.name = "rate", .values = {""}, .commands = everywhere, .anyText = true},
     {.name = "mode", .values = {""}, .commands = everywhere, .anyText = true},
     {.name = "rates", .values = {""}, .commands = encoding, .anyText = true},
     {"sample-rate", {"16000", "32000"}, everywhere},
     {.name = "format", .values = {""}, .commands = {"encode", "decode", "info"}, .anyText = true},
     {.name = "dtx", .values = {"off", "uplink", "downlink"}, .commands = encoding, .alone = "uplink"},
     {.name = "no-highpass", .values = {"no", "yes"}, .commands = encoding, .alone = "yes"},
     {.name = "no-postfilter", .values = {"no", "yes"}, .commands = decoding, .alone = "yes"},
     {.name = "lost", .values = {""}, .commands = {"decode"}, .anyText = true},
     {.name = "receive", .values = {""}, .commands = {"decode"}, .anyText = true},
     {.name = "loss", .values = {"0"}, .commands = {"roundtrip"}, .numbers = Range{0, 100}},
     {"loss-frame", {"10", "2.5", "5", "20"}, decoding},
     {"packing", {"rfc3551", "aal2"}, {"encode", "decode", "roundtrip"}},
     {"law", {"linear", "alaw", "mulaw"}, decoding},
     {.name = "align", .values = {"no", "yes"}, .commands = decoding, .alone = "yes"}},
    {"an input", "an output file"},
};

// What the options say, for encoder and decoder alike.
struct Choice {
    const ryxCodec &codec;
    ryxCodecOptions options;

    size_t frameLength() const { return static_cast<size_t>(codec.frameLength); }
    bool anyLength() const { return (codec.features & ryxCodecAnyLength) != 0; }
};

const ryxCodec &atSampleRate(const CommandLine &line, const ryxCodec &codec) {
    const bool isWide = std::string(codec.name) == "g7221" && line.values.at("sample-rate") == "32000";
    return isWide ? codecNamed("g7221c") : codec;
}

const ryxCodec *givenCodec(const CommandLine &line) {
    const std::string &name = line.values.at("codec");
    return name.empty() ? nullptr : &atSampleRate(line, codecNamed(name));
}

// The codec that the options name, or the one of the format.
const ryxCodec &codecFor(const CommandLine &line, const ryxCodecFormat &format, const fs::path &stream) {
    if (const ryxCodec *codec = givenCodec(line)) return *codec;
    if (const ryxCodec *codec = codecOf(format)) return atSampleRate(line, *codec);
    throw Failure("the name " + stream.string() + " does not tell the codec; give --codec");
}

int indexOf(const std::vector<std::string> &words, const std::string &word) {
    return static_cast<int>(std::find(words.begin(), words.end(), word) - words.begin());
}

// Options that only one codec knows, and their values that mean nothing to any other.
void refuseOptionsOfOthers(const CommandLine &line, const ryxCodec &codec) {
    struct Special {
        const char *option, *usual, *codec;
    };
    constexpr Special specials[] = {
        {"sample-rate", "16000", "g7221c"}, {"no-highpass", "no", "g723"},  {"receive", "", "gsm-fr"},
        {"loss-frame", "10", "g728"},       {"packing", "rfc3551", "g726"}, {"law", "linear", "g726"},
    };
    const auto refuse = [&](const std::string &option) {
        throw Failure("--" + option + " means nothing to " + codec.name);
    };
    for (const Special &special : specials)
        if (line.values.at(special.option) != special.usual && std::string(codec.name) != special.codec)
            refuse(special.option);
    if (line.values.at("no-postfilter") == "yes" && (codec.features & ryxCodecPostFilter) == 0) refuse("no-postfilter");
}

Choice choose(const CommandLine &line, const ryxCodec &codec) {
    const auto value = [&](const char *name) { return line.values.at(name); };
    refuseOptionsOfOthers(line, codec);
    ryxCodecOptions options = {};
    const std::string rate = value("rate").empty() ? value("mode") : value("rate");
    options.rate = rate.empty() ? codec.defaultRate : rateOf(codec, rate);
    options.dtx = indexOf({"off", "uplink", "downlink"}, value("dtx"));
    if (options.dtx != 0 && (codec.features & ryxCodecDtx) == 0)
        throw Failure(std::string(codec.name) + " has no discontinuous transmission, --dtx means nothing to it");
    if (options.dtx == 2 && (codec.features & ryxCodecDownlinkDtx) == 0)
        throw Failure("--dtx downlink means nothing to " + std::string(codec.name));
    options.noHighPass = value("no-highpass") == "yes";
    options.noPostFilter = value("no-postfilter") == "yes";
    options.receiveHandler = !value("receive").empty() || line.number("loss") > 0;
    options.lossFrame = static_cast<int>(std::lround(line.number("loss-frame") / 2.5));
    options.packing = indexOf({"rfc3551", "aal2"}, value("packing"));
    options.law = indexOf({"linear", "alaw", "mulaw"}, value("law"));
    return {codec, options};
}

std::string textOf(const std::string &path) {
    requireInputFile(path);
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// One rate a line; none without a file.
std::vector<int> ratesIn(const std::string &path, const ryxCodec &codec) {
    std::vector<int> rates;
    if (path.empty()) return rates;
    std::string word;
    for (const char c : textOf(path) + "\n") {
        if (!std::isspace(static_cast<unsigned char>(c))) {
            word += c;
        } else if (!word.empty()) {
            rates.push_back(rateOf(codec, word));
            word.clear();
        }
    }
    if (rates.empty()) throw Failure(path + " holds no rates");
    return rates;
}

// A digit a frame.
std::vector<bool> lostIn(const std::string &path) {
    std::vector<bool> lost;
    for (const char c : textOf(path)) {
        if (c == '0' || c == '1')
            lost.push_back(c == '1');
        else if (!std::isspace(static_cast<unsigned char>(c)))
            throw Failure(path + " has to consist of 0 and 1");
    }
    return lost;
}

// Lines of two numbers: 0 good, 1 bad, 2 absent; time alignment flag.
std::vector<std::pair<int, int>> receivedIn(const std::string &path) {
    std::vector<std::pair<int, int>> states;
    std::ifstream file(path);
    for (int state, aligned; file >> state >> aligned;) {
        if (state < 0 || state > 2) throw Failure(path + " has a state that is none of 0, 1 and 2");
        states.emplace_back(state, aligned);
    }
    if (!file.eof() || states.empty()) throw Failure(path + " has to consist of lines `state TAF`");
    return states;
}

// The octets of a frame's first samples. What the codes leave of the last octet is zero.
size_t cut(ryxCodecFrame &frame, size_t samples, const Choice &choice) {
    const size_t bits = samples * 8 * static_cast<size_t>(frame.count) / choice.frameLength();
    const size_t octets = (bits + 7) / 8, filled = bits % 8;
    if (filled != 0 && std::string(choice.codec.name) == "g726") {
        const unsigned low = (1u << filled) - 1;
        const unsigned mask = choice.options.packing == 0 ? low : low << (8 - filled);
        frame.octets[octets - 1] = static_cast<uint8_t>(frame.octets[octets - 1] & mask);
    }
    return octets;
}

size_t encodeAll(const std::vector<int> &rates, const Choice &choice, SpeechReader &speech, FrameWriter &stream) {
    CodecEncoder encoder(choice.codec, choice.options);
    Progress progress("encoding", speech.total());
    std::vector<int16_t> frame(choice.frameLength());
    size_t total = 0, number = 0;
    for (size_t count; (count = speech.read(frame)) > 0; total += count, number++) {
        if (number < rates.size()) encoder.setRate(rates[number]);
        ryxCodecFrame coded = encoder.encode(frame.data());
        std::optional<size_t> kept;
        if (choice.anyLength() && count < frame.size()) kept = cut(coded, count, choice);
        stream.write(coded, kept);
        progress.update(total);
    }
    return total;
}

// What happened to the frames on their way.
class Channel {
public:
    Channel(const CommandLine &line, const Choice &choice) {
        if (const std::string &path = line.values.at("lost"); !path.empty()) lost_ = lostIn(path);
        if (const std::string &path = line.values.at("receive"); !path.empty()) received_ = receivedIn(path);
        if (std::string(choice.codec.name) == "g728") together_ = static_cast<size_t>(choice.options.lossFrame);
    }

    void pass(ryxCodecFrame &frame, size_t number) const {
        if (number / together_ < lost_.size() && lost_[number / together_]) frame.lost = 1;
        if (number >= received_.size()) return;
        const auto [state, aligned] = received_[number];
        if (state == 1) frame.marks |= ryxFrameBad;
        if (state == 2) frame.lost = 1;
        if (aligned) frame.marks |= ryxFrameTimeAligned;
    }

    // Frames that are lost together are decoded together; an incomplete group at the end is not.
    size_t together() const { return lost_.empty() ? 1 : together_; }

private:
    std::vector<bool> lost_;
    std::vector<std::pair<int, int>> received_;
    size_t together_ = 1;
};

SpeechForm formOf(const Choice &choice) {
    return choice.options.law == 0   ? SpeechForm::linear
           : choice.options.law == 1 ? SpeechForm::aLaw
                                     : SpeechForm::muLaw;
}

// Writes decoded frames, without the codec's delay when asked to.
class Output {
public:
    Output(const CommandLine &line, const Choice &choice, SpeechWriter &writer) : writer_(writer) {
        if (line.values.at("align") == "yes") skip_ = delay_ = static_cast<size_t>(choice.codec.delay);
    }

    void write(std::span<const int16_t> speech) {
        const size_t left = std::min(skip_, speech.size());
        skip_ -= left;
        writer_.write(speech.subspan(left));
    }
    // The speech keeps its length.
    void end() { writer_.write(std::vector<int16_t>(delay_ - skip_)); }

private:
    SpeechWriter &writer_;
    size_t skip_ = 0, delay_ = 0;
};

void decodeAll(const CommandLine &line, const Choice &choice, FrameReader &stream, SpeechWriter &writer) {
    const Channel channel(line, choice);
    CodecDecoder decoder(choice.codec, choice.options);
    Output output(line, choice, writer);
    Progress progress("decoding", stream.octets().size());
    std::vector<int16_t> speech(choice.frameLength());
    std::vector<ryxCodecFrame> group;
    for (size_t number = 0;;) {
        group.clear();
        while (group.size() < channel.together())
            if (const std::optional<ryxCodecFrame> frame = stream.next())
                group.push_back(*frame);
            else
                break;
        if (group.size() < channel.together()) break;
        for (ryxCodecFrame &frame : group) {
            channel.pass(frame, number++);
            decoder.decode(frame, speech.data());
            const auto present = static_cast<size_t>(stream.present());
            size_t count = speech.size();
            if (choice.anyLength() && frame.count > stream.present())
                count = present * speech.size() / static_cast<size_t>(frame.count);
            output.write(std::span(speech).first(count));
        }
        progress.update(stream.octets().position());
    }
    output.end();
}

void encode(const CommandLine &line) {
    const fs::path &source = line.files[0], &target = line.files[1];
    const ryxCodecFormat &format = formatFor(line.values.at("format"), target, givenCodec(line));
    const ryxCodec &codec = codecFor(line, format, target);
    const Choice choice = choose(line, codec);
    requireDifferentFiles(source, target);
    const std::vector<int> rates = ratesIn(line.values.at("rates"), codec);
    FrameWriter stream(target, {&format, &codec, choice.options.rate});
    SpeechReader speech(source, codec.sampleRate);
    encodeAll(rates, choice, speech, stream);
    stream.commit();
}

void decode(const CommandLine &line) {
    const fs::path &source = line.files[0], &target = line.files[1];
    const ryxCodecFormat &format = formatOfStream(line.values.at("format"), source, givenCodec(line));
    const Choice choice = choose(line, codecFor(line, format, source));
    requireDifferentFiles(source, target);
    SpeechWriter speech(target, choice.codec.sampleRate, formOf(choice));
    FrameReader stream(source, {&format, &choice.codec, choice.options.rate});
    decodeAll(line, choice, stream, speech);
    speech.commit();
}

int16_t expandALaw(int octet) {
    const int code = octet ^ 0x55;
    const int segment = code >> 4 & 7;
    const int step = (code & 15) * 16 + 8;
    const int magnitude = segment == 0 ? step : (step + 256) << (segment - 1);
    return static_cast<int16_t>(code & 128 ? magnitude : -magnitude);
}

int16_t expandMuLaw(int octet) {
    const int code = ~octet;
    const int magnitude = (((code & 15) * 8 + 132) << (code >> 4 & 7)) - 132;
    return static_cast<int16_t>(code & 128 ? -magnitude : magnitude);
}

// Fills the block from the reader, whole frames but for the end of the speech. Returns how many samples there were.
size_t readBlock(SpeechReader &reader, size_t frameLength, std::vector<int16_t> &block) {
    size_t count = 0;
    for (size_t start = 0; start < block.size() && count == start; start += frameLength)
        count += reader.read(std::span(block).subspan(start, frameLength));
    return count;
}

// Some seconds at a time are encoded and then decoded, long enough for the clock. The decoded speech has the length of the
// original: what fills the last frame is dropped.
void roundTrip(const CommandLine &line) {
    const fs::path &source = line.files[0], &target = line.files[1];
    const ryxCodec *codec = givenCodec(line);
    if (codec == nullptr) throw Failure("roundtrip needs --codec");
    const Choice choice = choose(line, *codec);
    const std::vector<int> rates = ratesIn(line.values.at("rates"), *codec);
    requireDifferentFiles(source, target);
    SpeechWriter writer(target, codec->sampleRate, formOf(choice));
    SpeechReader reader(source, codec->sampleRate);
    CodecEncoder encoder(*codec, choice.options);
    CodecDecoder decoder(*codec, choice.options);
    Output output(line, choice, writer);
    std::mt19937 random(1);

    const size_t frameLength = choice.frameLength();
    const size_t together = 4 * static_cast<size_t>(codec->sampleRate) / frameLength + 1;
    std::vector<int16_t> original(together * frameLength), decoded(original.size());
    std::vector<ryxCodecFrame> frames;
    RoundTrip trip(*codec, rateName(*codec, choice.options.rate));
    Stopwatch stopwatch;
    for (size_t count, number = 0; (count = readBlock(reader, frameLength, original)) > 0;) {
        frames.resize((count + frameLength - 1) / frameLength);
        stopwatch.lap();
        for (size_t i = 0; i < frames.size(); i++, number++) {
            if (number < rates.size()) encoder.setRate(rates[number]);
            frames[i] = encoder.encode(&original[i * frameLength]);
        }
        trip.encodingSeconds += stopwatch.lap();
        for (ryxCodecFrame &frame : frames)
            frame.lost = static_cast<double>(random() % 100000) < 1000 * line.number("loss") ? 1 : 0;
        stopwatch.lap();
        for (size_t i = 0; i < frames.size(); i++)
            decoder.decode(frames[i], &decoded[i * frameLength]);
        trip.decodingSeconds += stopwatch.lap();

        const std::span present = std::span(decoded).first(count);
        output.write(present);
        if (choice.options.law != 0)
            for (int16_t &sample : present)
                sample = choice.options.law == 1 ? expandALaw(sample) : expandMuLaw(sample);
        trip.add(std::span(original).first(count), present);
    }
    if (trip.samples() == 0) throw Failure(source.string() + " holds no samples");
    output.end();
    writer.commit();
    trip.print();
}

void info(const CommandLine &line) {
    const fs::path &source = line.files[0];
    const ryxCodecFormat &format = formatOfStream(line.values.at("format"), source, givenCodec(line));
    const Choice choice = choose(line, codecFor(line, format, source));
    FrameReader stream(source, {&format, &choice.codec, choice.options.rate});
    std::map<int, size_t> ofSize;
    size_t frames = 0, lost = 0, octets = 0;
    while (const std::optional<ryxCodecFrame> frame = stream.next()) {
        frames++;
        lost += frame->lost ? 1 : 0;
        octets += static_cast<size_t>(frame->count);
        ofSize[frame->count]++;
    }
    const double seconds = static_cast<double>(frames) * choice.codec.frameLength / choice.codec.sampleRate;
    std::printf("%s\nformat    %s: %s\ncodec     %s: %s\nduration  %.2f s, %zu frames of %.4g ms at %d Hz\n",
                source.c_str(), format.name, format.title, choice.codec.name, choice.codec.title, seconds, frames,
                1000.0 * choice.codec.frameLength / choice.codec.sampleRate, choice.codec.sampleRate);
    std::printf("bit rate  %.2f kbit/s on average\n", static_cast<double>(octets) * 8 / seconds / 1000);
    for (const auto &[count, number] : ofSize)
        if (count == 0)
            std::printf("frames    %zu of which nothing was sent\n", number);
        else
            std::printf("frames    %zu of %d octets\n", number, count);
    if (lost > 0) std::printf("lost      %zu frames\n", lost);
}

void list() {
    std::printf("codec     rate in kbit/s                                         sampling  frame    title\n");
    for (int i = 0; const ryxCodec *codec = ryxcodecAt(i); i++) {
        std::string rates;
        for (int k = 0; k < codec->rateCount; k++)
            rates.append(k ? " " : "").append(codec->rates[k].name);
        std::printf("%-9s %-54s %5d Hz  %4.1f ms  %s%s%s\n", codec->name, rates.c_str(), codec->sampleRate,
                    1000.0 * codec->frameLength / codec->sampleRate, codec->title,
                    codec->features & ryxCodecDtx ? ", DTX" : "",
                    codec->features & ryxCodecConcealment ? ", concealment" : "");
    }
    std::printf("\nformat    codecs                    title\n");
    for (int i = 0; const ryxCodecFormat *format = ryxcodecFormatAt(i); i++)
        std::printf("%-9s %-25s %s\n", format->name, *format->codecs ? format->codecs : "all", format->title);
}

int run(int argc, char **argv) {
    // The commands take different numbers of files.
    ProgramDescription described = program;
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "list") described.files.clear();
    if (command == "info") described.files = {"a file"};
    const std::optional<CommandLine> line = parseCommandLine(described, argc, argv);
    if (!line) return 0;
    if (line->command == "list") list();
    if (line->command == "encode") encode(*line);
    if (line->command == "decode") decode(*line);
    if (line->command == "roundtrip") roundTrip(*line);
    if (line->command == "info") info(*line);
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    return runProgram(program.name, argc, argv, run);
}
