// SPDX-License-Identifier: BSD-2-Clause
// The stages of the GSM-AMR encoder and decoder, with frames of recorded speech as the encoder meets them. Stages of a
// subframe take the second one's.
#include <algorithm>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int frameLength = 160, subframeLength = 40, past = 320;
constexpr int16_t noLimit = 32767;

// What the stages of a frame take. The signals go on in front of the frame.
struct Frame {
    const int16_t *speech, *weighted, *excitation;
    int16_t lpc[4][11], weighted1[4][11], weighted2[4][11], impulses[4][subframeLength], lsp[2][10], lsf[10];
    int16_t target[subframeLength], target2[subframeLength], adaptive[subframeLength];
    int16_t code[subframeLength], filtered[subframeLength], codeword[10], indices[2][5], energies[4], pitchGain;
    int32_t correlations[3], openLoopEnergies[3];
};

// Speech, weighted speech and LP residual of the whole recording, and its frames.
class Recording {
public:
    Recording() : speech_(speech8k()), weighted_(speech_.size()), excitation_(speech_.size()) {
        const size_t count = speech_.size() / frameLength - past / frameLength - 1;
        Frame frame;
        std::copy_n(ryxGSMAMRStartLsp, 10, frame.lsp[1]);
        for (size_t i = 0; i < count; i++) {
            prepare(past + i * frameLength, gsmAmrSubframes()[4 * (i + past / frameLength) + 1], frame);
            frames.push_back(frame);
        }
    }

    std::vector<Frame> frames;

private:
    void prepare(size_t at, const celp::Subframe &sub, Frame &frame) {
        int32_t autocorrelation[11];
        int16_t reflections[10], energy, residual[10] = {}, lag, highPass;
        const int16_t *const speech = frame.speech = speech_.data() + at;
        std::copy_n(frame.lsp[1], 10, frame.lsp[0]);
        ryxsAutoCorr_GSMAMR_16s32s(speech - 40, autocorrelation, ryxGSMAMRWindow);
        ryxsLagWindow_G729_32s_I(autocorrelation + 1, 10);
        ryxsLevinsonDurbin_G729_32s16s(autocorrelation, 10, lpc_, reflections, &energy);
        ryxsLPCToLSP_GSMAMR_16s(lpc_, frame.lsp[0], frame.lsp[1]);
        ryxsInterpolatedLPC_GSMAMR_16s(frame.lsp[0], frame.lsp[1], frame.lpc[0], ryxGSMAMRRate7400);
        for (size_t k = 0; k < 4; k++) {
            ryxsMulPowerC_NR_16s_Sfs(frame.lpc[k], 30802, frame.weighted1[k], 11, 15);
            ryxsMulPowerC_NR_16s_Sfs(frame.lpc[k], 19661, frame.weighted2[k], 11, 15);
            const size_t start = at + k * subframeLength;
            ryxsWeightingFilter_GSMAMR_16s(&speech_[start], frame.weighted1[k], frame.weighted2[k], &weighted_[start]);
            ryxsResidualFilter_GSMAMR_16s(frame.lpc[k], &speech_[start], &excitation_[start], subframeLength);
        }
        frame.weighted = weighted_.data() + at;
        frame.excitation = excitation_.data() + at + subframeLength;
        ryxsImpulseResponses_GSMAMR_16s(frame.weighted1[0], frame.weighted2[0], frame.lpc[0], frame.impulses[0]);
        ryxsOpenLoopPitchSearch_GSMAMR_16s(frame.weighted, 0, ryxGSMAMRRate7400, &lag, frame.correlations,
                                           frame.openLoopEnergies, &highPass, openLoop_.started());
        std::copy_n(sub.target.begin(), subframeLength, frame.target2);
        int16_t vector[154 + subframeLength];
        std::copy_n(frame.excitation - 154, std::size(vector), vector);
        ryxsDecodeAdaptiveVector_GSMAMR_16s_I(vector + 154, sub.pitchLag, 0, ryxGSMAMRRate7400);
        ryxsConvolve_GSMAMR_16s(vector + 154, frame.impulses[1], frame.adaptive);
        std::transform(frame.target2, frame.target2 + subframeLength, frame.adaptive, frame.target,
                       [](int16_t x, int16_t y) { return static_cast<int16_t>(std::clamp(x + y / 2, -32768, 32767)); });
        ryxsAdaptiveCodebookGain_GSMAMR_16s(frame.target, frame.adaptive, &frame.pitchGain, frame.energies,
                                            ryxGSMAMRRate7400);
        ryxsFixedCodebookSearch_GSMAMR_16s(sub.pitchLag, 0, frame.target2, sub.residual.data(), frame.impulses[1],
                                           frame.code, frame.filtered, frame.codeword, 1, ryxGSMAMRRate7400);
        int16_t quantised[20], residual122[10] = {};
        ryxsLSPQuant_GSMAMR_16s(frame.lsp[1], residual, quantised, frame.indices[0], ryxGSMAMRRate7400);
        ryxsLSPQuant_GSMAMR_16s(frame.lsp[0], residual122, quantised, frame.indices[1], ryxGSMAMRRate12200);
        ryxsLSPToLSF_Norm_G729_16s(frame.lsp[1], frame.lsf);
    }

    struct OpenLoop : StateBlock<OpenLoopPitchState_GSMAMR> {
        OpenLoop() : StateBlock(ryxsOpenLoopPitchGetStateSize_GSMAMR_16s) {}
        OpenLoopPitchState_GSMAMR *started() {
            ryxsOpenLoopPitchInit_GSMAMR_16s(*this);
            return *this;
        }
    };

    const std::vector<int16_t> &speech_;
    std::vector<int16_t> weighted_, excitation_;
    int16_t lpc_[11] = {4096};
    OpenLoop openLoop_;
};

// Everything that stages write and remember.
struct Memory {
    StateBlock<HighPassFilterState_GSMAMR> highPass{ryxsHighPassFilterGetStateSize_GSMAMR_16s};
    StateBlock<OpenLoopPitchState_GSMAMR> openLoop{ryxsOpenLoopPitchGetStateSize_GSMAMR_16s};
    StateBlock<GainAdaptState_GSMAMR> gainAdapt{ryxsGainQuantAdaptGetStateSize_GSMAMR_16s};
    StateBlock<JointGainState_GSMAMR> joint{ryxsGainQuantJointGetStateSize_GSMAMR_16s};
    StateBlock<GainConcealState_GSMAMR> conceal{ryxsGainConcealGetStateSize_GSMAMR_16s};
    StateBlock<VADState_GSMAMR> vad{ryxsVADGetSize_GSMAMR_16s};
    StateBlock<DecDTXState_GSMAMR> reception{ryxsDecDTXGetStateSize_GSMAMR_16s};
    StateBlock<CodeGainAverageState_GSMAMR> gainAverage{ryxsCodeGainAverageGetStateSize_GSMAMR_16s};
    StateBlock<PhaseDispersionState_GSMAMR> dispersion{ryxsPhaseDispersionGetStateSize_GSMAMR_16s};
    StateBlock<BackgroundState_GSMAMR> background{ryxsBackgroundDetectGetStateSize_GSMAMR_16s};
    StateBlock<PostFilterState_GSMAMR> postFilter{ryxsPostFilterGetStateSize_GSMAMR_16s};

    int16_t words[16][4 * subframeLength] = {}; // outputs
    int32_t dwords[2][16];
    int16_t residual[10] = {}, lsf[10] = {}, filterMemory[10] = {}, weightingMemory[10] = {};
    int16_t pastEnergies[4] = {-14336, -14336, -14336, -14336}, pastEnergies122[4] = {-2381, -2381, -2381, -2381};
    int16_t pastGains[7] = {}, lag = 60, fraction = 0, gain = 0, limit = 0, codeGain = 0, index = 0, count = 0,
            seed = 1;
    int16_t energies[9] = {}, lsfHistory[80] = {}, logEnergies[8] = {};

    Memory() {
        ryxsHighPassFilterInit_GSMAMR_16s(highPass);
        ryxsOpenLoopPitchInit_GSMAMR_16s(openLoop);
        ryxsGainQuantAdaptInit_GSMAMR_16s(gainAdapt);
        ryxsGainConcealInit_GSMAMR_16s(conceal);
        ryxsVADInit_GSMAMR_16s(vad);
        ryxsDecDTXInit_GSMAMR_16s(reception);
        ryxsCodeGainAverageInit_GSMAMR_16s(0, gainAverage);
        ryxsPhaseDispersionInit_GSMAMR_16s(dispersion);
        ryxsBackgroundDetectInit_GSMAMR_16s(background);
        ryxsPostFilterInit_GSMAMR_16s(postFilter);
        std::copy_n(ryxGSMAMRMeanLsf, 10, lsf);
    }
    // A copy that a stage may work on in place.
    int16_t *copy(const int16_t *from, size_t n) {
        std::copy_n(from, n, words[0]);
        return words[0];
    }
};

struct Stage {
    const char *name;
    int samples; // of speech that a call serves
    ryxStatus (*call)(const Frame &in, Memory &m);
};

template <int type> ryxStatus highPass(const Frame &in, Memory &m) {
    return ryxsHighPassFilter_GSMAMR_16s_I(m.copy(in.speech, frameLength), frameLength, type, m.highPass);
}
template <int rate> ryxStatus quantiseLsp(const Frame &in, Memory &m) {
    return ryxsLSPQuant_GSMAMR_16s(in.lsp[rate == ryxGSMAMRRate12200 ? 0 : 1], m.residual, m.words[0], m.words[1],
                                   rate);
}
template <int rate> ryxStatus decodeLsf(const Frame &in, Memory &m) {
    return ryxsLSFDecode_GSMAMR_16s(in.indices[rate == ryxGSMAMRRate12200], m.residual, m.lsf, m.words[0], 0, rate);
}
template <int rate> ryxStatus searchOpenLoop(const Frame &in, Memory &m) {
    return ryxsOpenLoopPitchSearch_GSMAMR_16s(in.weighted, 0, rate, &m.lag, m.dwords[0], m.dwords[1], m.words[0],
                                              m.openLoop);
}
template <int rate> ryxStatus searchClosedLoop(const Frame &in, Memory &m) {
    m.lag = 60;
    return ryxsAdaptiveCodebookSearch_GSMAMR_16s(in.excitation, in.target, in.impulses[1], 60, &m.lag, &m.fraction,
                                                 &m.index, 1, rate);
}
template <int rate> ryxStatus decodeVector(const Frame &in, Memory &m) {
    return ryxsDecodeAdaptiveVector_GSMAMR_16s_I(m.copy(in.excitation - 154, 194) + 154, 60, 1, rate);
}
template <int rate> ryxStatus searchFixedCodebook(const Frame &in, Memory &m) {
    return ryxsFixedCodebookSearch_GSMAMR_16s(60, 0, in.target2, in.excitation, m.copy(in.impulses[1], subframeLength),
                                              m.words[1], m.words[2], m.words[3], 1, rate);
}
template <int rate> ryxStatus quantiseGains(const Frame &in, Memory &m) {
    return ryxsGainQuant_GSMAMR_16s(in.target, in.adaptive, in.filtered, in.code, in.energies, noLimit, m.pastEnergies,
                                    m.pastEnergies122, &m.gain, &m.codeGain, &m.index, rate);
}

constexpr Stage stages[] = {
    {"high_pass/encoder", frameLength, highPass<ryxGSMAMRPreProcessing>},
    {"autocorrelation", frameLength,
     [](const Frame &in, Memory &m) {
         return ryxsAutoCorr_GSMAMR_16s32s(in.speech - 40, m.dwords[0], ryxGSMAMRWindow);
     }},
    {"lpc_to_lsp", frameLength,
     [](const Frame &in, Memory &m) { return ryxsLPCToLSP_GSMAMR_16s(in.lpc[3], in.lsp[0], m.words[0]); }},
    {"interpolated_lpc", frameLength,
     [](const Frame &in, Memory &m) {
         return ryxsInterpolatedLPC_GSMAMR_16s(in.lsp[0], in.lsp[1], m.words[0], ryxGSMAMRRate7400);
     }},
    {"interpolate", frameLength,
     [](const Frame &in, Memory &m) {
         return ryxsInterpolate_GSMAMR_16s(in.lsp[0], in.lsp[1], m.words[0], ryxGSMAMRRate7400);
     }},
    {"lsp_quantiser/7.40", frameLength, quantiseLsp<ryxGSMAMRRate7400>},
    {"lsp_quantiser/12.2", frameLength, quantiseLsp<ryxGSMAMRRate12200>},
    {"lsf_to_lsp", frameLength, [](const Frame &in, Memory &m) { return ryxsLSFToLSP_GSMAMR_16s(in.lsf, m.words[0]); }},
    {"lsf_weights", frameLength,
     [](const Frame &in, Memory &m) { return ryxsLSFWeights_GSMAMR_16s(in.lsf, m.words[0]); }},
    {"lsf_reorder", frameLength,
     [](const Frame &in, Memory &m) { return ryxsLSFReorder_GSMAMR_16s_I(m.copy(in.lsf, 10)); }},
    {"lsp_resonance", frameLength,
     [](const Frame &in, Memory &m) { return ryxsLSPResonance_GSMAMR_16s(in.lsp[1], &m.count, m.words[0]); }},
    {"vad", frameLength, [](const Frame &in, Memory &m) { return ryxsVAD_GSMAMR_16s(in.speech, m.vad, m.words[0]); }},
    {"vad_tone", frameLength / 2,
     [](const Frame &in, Memory &m) {
         return ryxsVADToneDetection_GSMAMR_16s(in.correlations, in.openLoopEnergies, 0, m.vad);
     }},
    {"vad_pitch", frameLength,
     [](const Frame &in, Memory &m) { return ryxsVADPitchDetection_GSMAMR_16s(in.codeword, 100, m.vad); }},
    {"weighting_filter", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsWeightingFilter_GSMAMR_16s(in.speech, in.weighted1[1], in.weighted2[1], m.words[0] + 10);
     }},
    {"open_loop/5.15", frameLength, searchOpenLoop<ryxGSMAMRRate5150>},
    {"open_loop/7.40", frameLength / 2, searchOpenLoop<ryxGSMAMRRate7400>},
    {"open_loop/10.2", frameLength / 2, searchOpenLoop<ryxGSMAMRRate10200>},
    {"open_loop/12.2", frameLength / 2, searchOpenLoop<ryxGSMAMRRate12200>},
    {"impulse_responses", frameLength,
     [](const Frame &in, Memory &m) {
         return ryxsImpulseResponses_GSMAMR_16s(in.weighted1[0], in.weighted2[0], in.lpc[0], m.words[0]);
     }},
    {"target", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsTarget_GSMAMR_16s(in.speech + subframeLength - 10, in.weighted1[1], in.weighted2[1], in.lpc[1],
                                      m.filterMemory, m.weightingMemory, m.words[0], m.words[1]);
     }},
    {"adaptive_codebook/5.90", subframeLength, searchClosedLoop<ryxGSMAMRRate5900>},
    {"adaptive_codebook/7.95", subframeLength, searchClosedLoop<ryxGSMAMRRate7950>},
    {"adaptive_codebook/12.2", subframeLength, searchClosedLoop<ryxGSMAMRRate12200>},
    {"adaptive_vector/7.40", subframeLength, decodeVector<ryxGSMAMRRate7400>},
    {"adaptive_vector/12.2", subframeLength, decodeVector<ryxGSMAMRRate12200>},
    {"convolve", subframeLength,
     [](const Frame &in, Memory &m) { return ryxsConvolve_GSMAMR_16s(in.excitation, in.impulses[1], m.words[0]); }},
    {"adaptive_gain", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsAdaptiveCodebookGain_GSMAMR_16s(in.target, in.adaptive, &m.gain, m.words[0], ryxGSMAMRRate7400);
     }},
    {"pitch_gain_limit", subframeLength,
     [](const Frame &in, Memory &m) {
         m.gain = in.pitchGain;
         return ryxsPitchGainLimit_GSMAMR_16s(1, m.pastGains, &m.gain, &m.limit, ryxGSMAMRRate7400);
     }},
    {"pitch_gain_quantiser", subframeLength,
     [](const Frame &in, Memory &m) {
         m.gain = in.pitchGain;
         return ryxsPitchGainQuant_GSMAMR_16s(&m.gain, noLimit, &m.index);
     }},
    {"subtract_adaptive_vector", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsSubtractAdaptiveVector_GSMAMR_16s(in.target, in.adaptive, in.pitchGain, m.words[0]);
     }},
    {"fixed_codebook/4.75", subframeLength, searchFixedCodebook<ryxGSMAMRRate4750>},
    {"fixed_codebook/12.2", subframeLength, searchFixedCodebook<ryxGSMAMRRate12200>},
    {"gain_quantiser/5.90", subframeLength, quantiseGains<ryxGSMAMRRate5900>},
    {"gain_quantiser/7.40", subframeLength, quantiseGains<ryxGSMAMRRate7400>},
    {"gain_quantiser/4.75", 2 * subframeLength,
     [](const Frame &in, Memory &m) {
         const ryxStatus first =
             ryxsGainQuantJointFirst_GSMAMR_16s(in.target, in.target2, in.adaptive, in.filtered, in.code, in.energies,
                                                m.pastEnergies, m.pastEnergies122, &m.codeGain, m.joint);
         return std::min(first, ryxsGainQuantJointSecond_GSMAMR_16s(in.target, in.adaptive, in.filtered, in.code,
                                                                    in.energies, noLimit, m.pastEnergies,
                                                                    m.pastEnergies122, m.words[0], &m.index, m.joint));
     }},
    {"gain_quantiser/7.95", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsGainQuantAdapt_GSMAMR_16s(in.target, in.target2, in.adaptive, in.filtered, in.excitation,
                                              in.excitation - 60, in.code, in.energies, noLimit, m.pastEnergies,
                                              m.pastEnergies122, &m.gain, &m.codeGain, m.words[0], m.gainAdapt);
     }},
    {"code_gain_quantiser/12.2", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsCodeGainQuant_GSMAMR_16s(in.target2, in.filtered, in.code, m.pastEnergies, m.pastEnergies122,
                                             &m.codeGain, &m.index);
     }},
    {"total_excitation", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsTotalExcitation_GSMAMR_16s_I(m.copy(in.excitation, subframeLength), in.code, in.pitchGain, 500,
                                                 ryxGSMAMRRate7400);
     }},
    {"error_memories", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsUpdateErrorMemories_GSMAMR_16s(in.speech, in.weighted, in.target, in.adaptive, in.filtered,
                                                   in.pitchGain, 500, m.words[0], m.words[1], ryxGSMAMRRate7400);
     }},
    {"random_parameters", frameLength,
     [](const Frame &, Memory &m) {
         constexpr uint8_t widths[17] = {8, 9, 9, 8, 13, 4, 7, 5, 13, 4, 7, 8, 13, 4, 7, 5, 13};
         return ryxsRandomParameters_GSMAMR_16s(&m.seed, widths, m.words[0], 17);
     }},
    {"comfort_noise", frameLength,
     [](const Frame &, Memory &m) {
         constexpr int16_t descriptor[5] = {3, 100, 200, 300, 30};
         ryxsDecDTXHandler_GSMAMR_16s(ryxGSMAMRSidUpdate, m.words[0], m.words[1], m.reception);
         return ryxsDecDTXComfortNoise_GSMAMR_16s(descriptor, m.lsfHistory, m.logEnergies, 7, m.residual, m.lsf,
                                                  m.pastEnergies, m.pastEnergies122, m.filterMemory, m.words[0],
                                                  m.words[1], ryxGSMAMRRate7400, m.reception);
     }},
    {"lsf_decoder/7.40", frameLength, decodeLsf<ryxGSMAMRRate7400>},
    {"lsf_decoder/12.2", frameLength, decodeLsf<ryxGSMAMRRate12200>},
    {"pitch_lag_decoder", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsPitchLagDecode_GSMAMR_16s(static_cast<int16_t>(in.speech[0] & 31), 0, 0, 60, &m.lag, &m.fraction, 1,
                                              ryxGSMAMRRate7400);
     }},
    {"pitch_gain_decoder", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsPitchGainDecode_GSMAMR_16s(static_cast<int16_t>(in.speech[0] & 127), 0, 0, 0, &m.gain, 1,
                                               ryxGSMAMRRate7400, m.conceal);
     }},
    {"code_gain_decoder", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsCodeGainDecode_GSMAMR_16s(static_cast<int16_t>(in.speech[0] & 127), in.code, 0, 0, 0,
                                              m.pastEnergies, m.pastEnergies122, &m.codeGain, 1, ryxGSMAMRRate7400,
                                              m.conceal);
     }},
    {"fixed_vector_decoder", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsDecodeFixedVector_GSMAMR_16s(in.codeword, 60, 0, m.words[0], 1, ryxGSMAMRRate7400);
     }},
    {"code_gain_average", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsCodeGainAverage_GSMAMR_16s(500, in.lsf, m.lsf, 0, 0, 0, &m.gain, ryxGSMAMRRate7400, m.gainAverage);
     }},
    {"lsf_average", frameLength, [](const Frame &in, Memory &m) { return ryxsLSFAverage_GSMAMR_16s_I(in.lsf, m.lsf); }},
    {"phase_dispersion", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsPhaseDispersion_GSMAMR_16s(in.code, 5000, 500, 0, m.words[0], ryxGSMAMRRate5900, m.dispersion);
     }},
    {"excitation_control", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsExcitationControl_GSMAMR_16s_I(m.copy(in.excitation, subframeLength), 0, 1, 0, 0, m.energies,
                                                   ryxGSMAMRRate7400);
     }},
    {"pitch_emphasis", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsPitchEmphasis_GSMAMR_16s(in.excitation, in.adaptive, in.pitchGain, 13017, m.words[0],
                                             ryxGSMAMRRate7400);
     }},
    {"synthesis_filter", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsSynthesisFilter_GSMAMR_16s(in.lpc[1], in.excitation, m.words[0], subframeLength, m.filterMemory);
     }},
    {"residual_filter", subframeLength,
     [](const Frame &in, Memory &m) {
         return ryxsResidualFilter_GSMAMR_16s(in.lpc[1], in.speech, m.words[0], subframeLength);
     }},
    {"background", frameLength,
     [](const Frame &in, Memory &m) {
         return ryxsBackgroundDetect_GSMAMR_16s(in.speech, m.energies, m.words[0], m.words[1], m.background);
     }},
    {"post_filter", frameLength,
     [](const Frame &in, Memory &m) {
         return ryxsPostFilter_GSMAMR_16s_I(m.copy(in.speech, frameLength), in.lpc[0], ryxGSMAMRRate7400, m.postFilter);
     }},
    {"high_pass/decoder", frameLength, highPass<ryxGSMAMRPostProcessing>},
};

const Recording &recording() {
    static const Recording made;
    return made;
}

const Registration registration([] {
    for (const Stage &stage : stages)
        addCase(std::string("GSMAMR/") + stage.name, [&stage](benchmark::State &run) {
            Memory memory;
            const double seconds = stage.samples / 8000.0;
            measure(run, {.inputLength = 1, .seconds = seconds}, recording().frames,
                    [&](const Frame *in) { return stage.call(*in, memory); });
        });
});

} // namespace
