#include "vst3/effect_classes.h"

#include <gtest/gtest.h>

#include "../plugins/vst3/test_effect_ids.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "test_plugins.h"

using VST3::UID;
using VST3::Hosting::Module;

// Exact category, case included, and factory order kept: a class that
// cannot be made into an effect still comes first if the module lists it
// first; choosing among them is the caller's.
TEST(AudioEffectClasses, KeepsTheExactCategoryInFactoryOrder) {
    struct Case {
        const char* plugin;
        std::vector<UID> expected;
    } cases[] = {
        {"fx3_effect.vst3", {UID::fromTUID(fx3::effectClassId)}},
        {"fx3_twoclasses.vst3", {UID::fromTUID(fx3::componentOnlyClassId), UID::fromTUID(fx3::effectClassId)}},
        {"fx3_factory2.vst3", {UID::fromTUID(fx3::effectClassId)}},
        // A controller class and "audio module class" in lower case.
        {"fx3_noclass.vst3", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.plugin);
        std::string error;
        Module::Ptr module = Module::create(testPluginPath(c.plugin), error);
        ASSERT_TRUE(module) << error;
        std::vector<UID> found;
        for (auto& info : audioEffectClasses(module->getFactory())) {
            EXPECT_EQ(info.category(), kVstAudioEffectClass);
            found.push_back(info.ID());
        }
        EXPECT_EQ(found, c.expected);
    }
}
