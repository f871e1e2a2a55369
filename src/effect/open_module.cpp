#include "effect/open_module.h"

#include <string>

#include "effect/vst_effect.h"
#include "vst3/effect_classes.h"
#include "vst3/module.h"
#include "vst3/vst3_adapter.h"

bool openModule(VSTEffect& effect, const char* path) {
    std::string errorDescription;
    VST3::Hosting::Module::Ptr module = VST3::Hosting::Module::create(path, errorDescription);
    // The loader's text is not the user's business: the caller goes on to
    // VST 2 or reports that nothing opened.
    if (!module)
        return false;
    // Never released: plug-ins leave threads and callbacks behind, so the
    // library must not be unloaded, not even at the process's teardown.
    new VST3::Hosting::Module::Ptr(module);
    return openFactory(effect, std::move(module));
}

bool openFactory(VSTEffect& effect, std::shared_ptr<VST3::Hosting::Module> module) {
    effect.module = std::move(module);
    const VST3::Hosting::PluginFactory& factory = effect.module->getFactory();
    for (const VST3::Hosting::ClassInfo& info : audioEffectClasses(factory)) {
        // The first class that makes an adapter is the plug-in; the others
        // are passed over without a word.
        VstEffectBase* base = Vst3Adapter::create(factory.get(), info.ID().data(), &VSTEffect::hostCallback);
        if (!base)
            continue;
        effect.adapter = static_cast<Vst3Adapter*>(base);
        AEffect* record = base->getAeffect();
        if (effect.openEffect(record))
            return true;
        // A record that openEffect refused outright (an instrument) is not
        // the effect's to close.
        if (!effect.aeffect) {
            effect.adapter = nullptr;
            record->dispatcher(record, effClose, 0, 0, nullptr, 0.0f);
        }
        return false;
    }
    effect.adapter = nullptr;
    return false;
}
