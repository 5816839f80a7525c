// SPDX-License-Identifier: BSD-2-Clause
// Rooms with two talkers, for the tests of the echo canceller.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct Scene {
    int sampleRate;
    std::vector<int16_t> far, microphone;
    std::vector<float> echo; // what of the microphone is echo
};

/** Signals that scenes are made of, as the files of a folder hold them. */
struct SceneSignals {
    SceneSignals(const std::string &folder, int sampleRate);

    int sampleRate;
    std::vector<float> far, near;
    std::vector<float> echo1, echo2; /**< of the far end over either path */
};

/** single, double, change, start, drift, or noise */
Scene makeScene(const SceneSignals &signals, const std::string &name);

/** Echo in decibels over what is left of it, second by second; `output` is late by `delay`. */
std::vector<double> reductions(const Scene &scene, const std::vector<float> &output, size_t delay);

/** Mean of the seconds from `first` to `last`, counted from 1. */
double meanOf(const std::vector<double> &perSecond, size_t first, size_t last);
