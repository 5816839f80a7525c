// SPDX-License-Identifier: BSD-2-Clause
// The echo cancellers of the examples: how far they weaken the echo, and what they bear.
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "lib/echo_canceller.h"
#include "lib/room.h"
#include "program_test.h"

namespace {

using Samples = std::vector<float>;
constexpr int rate = 8000;
constexpr size_t tail = 512;
constexpr size_t window = rate / 2;
constexpr int methods[] = {ryxEchoTransform, ryxEchoFullband, ryxEchoSubband};

class EchoCancellerProgram : public ProgramTest {
protected:
    Samples farEnd() const {
        const Audio audio = readMono(speech, rate);
        return {audio.samples.begin(), audio.samples.end()};
    }
};

Samples cancel(int method, const Samples &far, const Samples &near, bool suppression = false) {
    return cancelEcho(echoOptions(rate, 64, method, suppression), far, near);
}

Samples difference(Samples a, const Samples &b) {
    for (size_t i = 0; i < a.size(); i++)
        a[i] -= b[i];
    return a;
}

// Decibels by which the echo alone falls, every half second.
std::vector<double> reductions(int method, const Samples &far, const Samples &near) {
    const Samples microphone = pickUp(far, near, roomResponse(rate, tail)), silence(far.size());
    const Samples residual = difference(cancel(method, far, microphone), cancel(method, silence, near));
    return echoReduction(cancel(method, silence, difference(microphone, near)), residual, window);
}

double power(const Samples &samples, size_t from, size_t to) {
    double sum = 0;
    for (size_t i = from; i < to; i++)
        sum += static_cast<double>(samples[i]) * samples[i];
    return sum;
}

// What it must have reached at the end of a half second, counted from 0, and kept from then on.
struct Mark {
    size_t halfSecond;
    double leastHere, leastLater;
};

void expectMarks(const std::vector<double> &found, std::initializer_list<Mark> marks) {
    for (const Mark &mark : marks) {
        EXPECT_GT(found.at(mark.halfSecond), mark.leastHere) << "half second " << mark.halfSecond;
        for (size_t i = mark.halfSecond; i < found.size(); i++)
            EXPECT_GT(found[i], mark.leastLater) << "half second " << i;
    }
}

TEST_F(EchoCancellerProgram, MethodsLearnTheEchoPathWithinSeconds) {
    const Samples far = farEnd(), silence(far.size());
    expectMarks(reductions(ryxEchoTransform, far, silence), {{0, 12, 12}, {2, 28, 28}, {7, 38, 38}});
    expectMarks(reductions(ryxEchoFullband, far, silence), {{2, 9, 9}, {5, 17, 13}, {10, 24, 24}});
    expectMarks(reductions(ryxEchoSubband, far, silence), {{1, 12, 12}, {3, 20, 20}});
}

// Near-end speech from 3 to 5 s, 5 dB above the echo.
TEST_F(EchoCancellerProgram, MethodsKeepTheEchoPathThroughDoubleTalkAndRecover) {
    const Samples far = farEnd(), echo = pickUp(far, Samples(far.size()), roomResponse(rate, tail));
    for (const size_t lag : {10000U, 20000U, 45000U}) {
        const size_t from = 3 * rate, to = 5 * rate;
        Samples near(far.size());
        for (size_t i = from; i < to; i++)
            near[i] = far[(i + lag) % far.size()];
        const double gain = std::sqrt(power(echo, from, to) / power(near, from, to) * std::pow(10, 0.5));
        for (float &x : near)
            x *= static_cast<float>(gain);
        SCOPED_TRACE(lag);
        expectMarks(reductions(ryxEchoTransform, far, near), {{2, 28, 25}, {13, 35, 35}});
        expectMarks(reductions(ryxEchoFullband, far, near), {{5, 17, 8}, {13, 18, 18}});
        expectMarks(reductions(ryxEchoSubband, far, near), {{5, 20, 14}, {13, 19, 19}});
    }
}

// Unrelated, silent and overdriven signals: the output stays finite and near the size of what comes in.
TEST_F(EchoCancellerProgram, MethodsStayBoundedWhateverComesIn) {
    std::mt19937 random(5);
    const auto noise = [&](size_t) { return static_cast<float>(static_cast<int>(random() % 65536) - 32768); };
    const auto silence = [](size_t) { return 0.0F; };
    const auto square = [](size_t i) { return i / 40 % 2 ? 32767.0F : -32768.0F; };
    const auto clicks = [](size_t i) { return i % 4001 ? 0.0F : 32767.0F; };
    const std::vector<std::function<float(size_t)>> kinds = {noise, silence, square, clicks, noise, square, silence};
    for (const int method : methods)
        for (const size_t shift : {1U, 2U, 3U}) {
            Samples far, near;
            for (size_t i = 0; i < kinds.size() * 3 * rate; i++) {
                const size_t kind = i / (3 * rate);
                far.push_back(kinds[kind](i));
                near.push_back(kinds[(kind + shift) % kinds.size()](i));
            }
            for (const float x : cancel(method, far, near, shift == 1))
                ASSERT_LT(std::fabs(x), 4 * 32768.0F);
        }
}

// A far end that says nothing leaves the near end where it was, sample by sample.
TEST_F(EchoCancellerProgram, MethodsKeepTheNearEndInItsPlace) {
    const Samples near = farEnd(), silence(near.size());
    EXPECT_TRUE(cancel(ryxEchoTransform, silence, near) == near);
    EXPECT_TRUE(cancel(ryxEchoFullband, silence, near) == near);
    for (const int method : methods)
        for (const bool suppression : {false, true}) {
            const Samples output = cancel(method, silence, near, suppression);
            ASSERT_EQ(output.size(), near.size());
            EXPECT_LT(power(difference(output, near), 0, near.size()), power(near, 0, near.size()) / 30)
                << method << " " << suppression;
        }
}

TEST_F(EchoCancellerProgram, ComparesWithSpeexdspWhereItIsThere) {
    const Outcome outcome = run("echo_canceller --simulate '" + speech + "' a.wav --compare");
    EXPECT_EQ(outcome.exitCode, hasSpeexCanceller() ? 0 : 1);
    const std::string &where = hasSpeexCanceller() ? outcome.output : outcome.errors;
    EXPECT_NE(where.find("speexdsp"), std::string::npos) << where;
}

TEST_F(EchoCancellerProgram, SimulatesOrTakesTheMicrophonesRecording) {
    for (const std::string method : {"", " --suppression off", " --method fullband", " --method subband"}) {
        const Outcome outcome = run("echo_canceller --simulate '" + speech + "' a.wav --mic mic.wav" + method);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        const size_t line = outcome.output.find("     8  ");
        ASSERT_NE(line, std::string::npos) << outcome.output;
        EXPECT_GT(std::stod(outcome.output.substr(line + 8)), 18);
        runWell("echo_canceller '" + speech + "' mic.wav b.wav" + method);
        const auto energyOf = [this](const std::string &name) { // in the second half
            const std::vector<int16_t> all = samples(name, rate);
            return power({all.begin(), all.end()}, all.size() / 2, all.size());
        };
        EXPECT_LT(energyOf("a.wav"), energyOf("mic.wav") / 30);
        EXPECT_LT(energyOf("b.wav"), energyOf("mic.wav") / 30);
        if (method == " --suppression off") {
            EXPECT_NEAR(energyOf("b.wav") / energyOf("a.wav"), 1, 0.5);
        }
        EXPECT_EQ(samples("b.wav", rate).size(), samples("mic.wav", rate).size());
    }
    runWell("echo_canceller --simulate '" + speech + "' '" + speech + "' c.wav --rate 16000 --tail 20");
}

TEST_F(EchoCancellerProgram, RefusesWrongCommandLinesAndLeavesNoOutput) {
    const std::string file = "'" + speech + "' ";
    const std::pair<std::string, std::string> table[] = {
        {file + "out.wav", "3 files are needed"},
        {file + file + "out.wav --tail 5", "--tail takes"},
        {file + file + "out.wav --tail 20x", "--tail takes"},
        {file + file + "out.wav --rate 11025", "--rate takes"},
        {file + file + "out.wav --method both", "--method takes"},
        {file + file + "out.wav --suppression much", "--suppression takes"},
        {file + file + "out.wav --mic m.wav", "without --simulate"},
        {"--simulate " + file + "out.wav --mic out.wav", "the same file"},
        {file + file + "out.wav --tail", "needs a value"},
        {file + file + "out.wav more", "too many"},
        {file + "none.wav out.wav", "none.wav"},
    };
    for (const auto &[arguments, sentence] : table) {
        const Outcome outcome = run("echo_canceller " + arguments);
        EXPECT_EQ(outcome.exitCode, 1) << arguments;
        EXPECT_NE(outcome.errors.find(sentence), std::string::npos) << outcome.errors;
        EXPECT_TRUE(names().empty());
    }
}

} // namespace
