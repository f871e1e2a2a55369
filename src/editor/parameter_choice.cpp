#include "editor/parameter_choice.h"

#include <cmath>

std::vector<ParameterChoice> choices(const std::function<ParameterTexts(float)>& textsAt) {
    std::vector<ParameterChoice> result;
    int32_t runStart = -1;
    ParameterTexts run;
    for (int32_t step = 0; step <= 100; ++step) {
        ParameterTexts texts = textsAt(float(step) * 0.01f);
        if (runStart >= 0 && texts.display == run.display && texts.label == run.label)
            continue;
        // The middle of the run in hundredths lies inside the plug-in's band
        // for its texts, however wide the band.
        if (runStart >= 0)
            result.push_back({(runStart + step) / 2, run.display, run.label});
        runStart = step;
        run = texts;
    }
    result.push_back({(runStart + 100) / 2, run.display, run.label});
    // One text says nothing, and a long list is harder to use than a slider.
    if (result.size() == 1 || result.size() >= 11)
        result.clear();
    return result;
}

int32_t position(float value) {
    float rounded = std::floor(value * 100.0f + 0.5f);
    if (!(rounded > 0.0f))
        return 0;
    return rounded >= 100.0f ? 100 : int32_t(rounded);
}

std::string trimmed(const std::string& text) {
    size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return std::string();
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string joined(const std::string& display, const std::string& label) {
    std::string text = trimmed(display), unit = trimmed(label);
    return unit.empty() ? text : text + " " + unit;
}
