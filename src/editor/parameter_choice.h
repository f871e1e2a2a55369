// What the generic dialog shows for one parameter: the texts of its value,
// its slider position, and the probe that decides between a slider and a
// list. Pure code: the plug-in is reached through the function given in.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// One item of a parameter's drop-down list.
struct ParameterChoice {
    int32_t value = 0; // slider position, 0 to 100: the middle of the band that shows these texts
    std::string display;
    std::string label;
};

// The display and label texts that a plug-in gives for its value.
struct ParameterTexts {
    std::string display;
    std::string label;
};

// The probe's rule. `textsAt` sets the parameter to a value and returns the
// texts the plug-in then gives; it is called for 0.00, 0.01, ... 1.00 in
// turn. Each run of steps with equal texts becomes one item. A parameter
// with one text, or with 11 or more, gets an empty list (a slider): only
// 2 to 10 different texts make a list. The caller puts the value back.
std::vector<ParameterChoice> choices(const std::function<ParameterTexts(float)>& textsAt);

// The slider position of a value: hundredths, rounded, held to 0 to 100
// (NaN gives 0).
int32_t position(float value);

// `text` without leading and trailing blanks (the character 0x20 only).
std::string trimmed(const std::string& text);

// The trimmed display, then one blank and the trimmed label if that is not
// empty: "0.50 dB", or "On" with no trailing blank.
std::string joined(const std::string& display, const std::string& label);
