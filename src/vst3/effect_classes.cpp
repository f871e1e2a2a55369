#include "vst3/effect_classes.h"

#include "pluginterfaces/vst/ivstaudioprocessor.h"

std::vector<VST3::Hosting::ClassInfo> audioEffectClasses(const VST3::Hosting::PluginFactory& factory) {
    std::vector<VST3::Hosting::ClassInfo> effects;
    for (auto& info : factory.classInfos())
        if (info.category() == kVstAudioEffectClass)
            effects.push_back(info);
    return effects;
}
