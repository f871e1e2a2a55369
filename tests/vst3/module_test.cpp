#include "vst3/module.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "../plugins/vst3/test_effect_ids.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "test_plugins.h"

using VST3::UID;
using VST3::Hosting::ClassInfo;
using VST3::Hosting::Module;

namespace {

const char* const notLoadedText = "LoadLibray failed.";
const char* const noFactoryExportText = "dll does not export the required 'GetPluginFactory' function";

Module::Ptr open(const std::string& path) {
    std::string error;
    Module::Ptr module = Module::create(path, error);
    EXPECT_TRUE(module) << path << ": " << error;
    return module;
}

UID uidOf(const Steinberg::TUID tuid) {
    return UID::fromTUID(tuid);
}
} // namespace

// Pure path text: the folder, "Contents", the architecture and the folder's
// own last component; a trailing separator leaves that component empty.
TEST(ModulePath, BundleLibraryIsNamedAfterItsFolder) {
    struct Case {
        const char* path;
        const char* expected;
    } cases[] = {
        {"C:\\plugins\\Name.vst3", "C:\\plugins\\Name.vst3\\Contents\\x86_64-win\\Name.vst3"},
        {"C:/plugins/Name.vst3", "C:/plugins/Name.vst3\\Contents\\x86_64-win\\Name.vst3"},
        {"C:\\a/b\\Mixed.vst3", "C:\\a/b\\Mixed.vst3\\Contents\\x86_64-win\\Mixed.vst3"},
        {"Name.vst3", "Name.vst3\\Contents\\x86_64-win\\Name.vst3"},
        {"C:\\plugins\\Name.vst3\\", "C:\\plugins\\Name.vst3\\Contents\\x86_64-win\\"},
        {"C:\\plugins\\Name.vst3/", "C:\\plugins\\Name.vst3/Contents\\x86_64-win\\"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(VST3::Hosting::bundleLibraryPath(c.path), c.expected) << "path " << c.path;
    EXPECT_STREQ(VST3::Hosting::architectureFolder(), "x86_64-win");
}

TEST(Module, LoadsAFileAndABundleFolder) {
    struct Case {
        std::string path;
        std::string name;
        std::string library; // the file that ends up loaded
    } cases[] = {
        {testPluginPath("fx3_effect.vst3"), "fx3_effect.vst3", testPluginPath("fx3_effect.vst3")},
        {testPluginPath("fx3_bundle.vst3"), "fx3_bundle.vst3",
         testPluginPath("fx3_bundle.vst3\\Contents\\x86_64-win\\fx3_bundle.vst3")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        std::string error;
        Module::Ptr module = Module::create(c.path, error);
        ASSERT_TRUE(module) << error;
        EXPECT_EQ(error, "");
        EXPECT_EQ(module->getPath(), c.path);
        EXPECT_EQ(module->getName(), c.name);
        EXPECT_TRUE(module->getFactory().get());
        EXPECT_TRUE(isLibraryLoaded(c.library));
        auto infos = module->getFactory().classInfos();
        ASSERT_EQ(infos.size(), 1u);
        EXPECT_EQ(infos[0].ID(), uidOf(fx3::effectClassId));

        module.reset();
        EXPECT_FALSE(isLibraryLoaded(c.library)) << "the last owner unloads the library";
    }
}

// Every failure is a null module with the step's text, and whatever got
// loaded on the way is unloaded again.
TEST(Module, FailuresGiveNullWithTheirTextAndUnload) {
    ScopedTempDir temp;
    // A bundle folder without its library, and one whose library is named
    // after something else than its folder.
    std::filesystem::path hollow = temp.path() / "hollow.vst3";
    std::filesystem::create_directories(hollow / "Contents" / "x86_64-win");
    std::filesystem::path renamed = temp.path() / "renamed.vst3";
    std::filesystem::create_directories(renamed / "Contents" / "x86_64-win");
    std::filesystem::copy_file(std::filesystem::u8path(testPluginPath("fx3_effect.vst3")),
                               renamed / "Contents" / "x86_64-win" / "fx3_effect.vst3");
    // Not a library at all.
    std::filesystem::path text = temp.path() / "notes.vst3";
    std::ofstream(text) << "not a module\n";

    struct Case {
        std::string path;
        std::string error;
        std::string library; // loaded on the way, if any
    } cases[] = {
        {testPluginPath("no-such-module.vst3"), notLoadedText, ""},
        {"", notLoadedText, ""},
        {utf8Path(text), notLoadedText, ""},
        {utf8Path(hollow), notLoadedText, ""},
        {utf8Path(renamed), notLoadedText, ""},
        // The bundle's own last component is empty here.
        {testPluginPath("fx3_bundle.vst3\\"), notLoadedText, ""},
        // A VST 2 plug-in: a perfectly good DLL, but no VST 3 module.
        {testPluginPath("fx_effect.dll"), noFactoryExportText, testPluginPath("fx_effect.dll")},
        {testPluginPath("fx3_initfail.vst3"), "Calling 'InitDll' failed", testPluginPath("fx3_initfail.vst3")},
        {testPluginPath("fx3_nullfactory.vst3"), "Calling 'GetPluginFactory' returned nullptr",
         testPluginPath("fx3_nullfactory.vst3")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        std::string error;
        EXPECT_FALSE(Module::create(c.path, error));
        EXPECT_EQ(error, c.error);
        if (!c.library.empty()) {
            EXPECT_FALSE(isLibraryLoaded(c.library));
        }
    }
}

// InitDll runs before the factory is asked for; ExitDll runs after the
// factory is released, and also when loading stopped halfway, even if
// InitDll failed or never ran.
TEST(Module, ModuleEntriesRunAroundTheFactory) {
    struct Case {
        const char* plugin;
        std::vector<std::string> calls;
    } cases[] = {
        {"fx3_effect", {"InitDll", "GetPluginFactory", "factory released", "ExitDll"}},
        {"fx3_initfail", {"InitDll", "ExitDll"}},
        {"fx3_nullfactory", {"InitDll", "GetPluginFactory", "ExitDll"}},
        {"fx3_factory2", {"GetPluginFactory", "factory released"}}, // exports neither entry
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.plugin);
        std::vector<std::string> expected;
        for (auto& call : c.calls)
            expected.push_back(std::string(c.plugin) + " " + call);

        CallLog log;
        std::string error;
        Module::Ptr module = Module::create(testPluginPath(std::string(c.plugin) + ".vst3"), error);
        module.reset();
        EXPECT_EQ(log.lines(), expected);
    }
}

TEST(PluginFactory, ReadsFactoryInfo) {
    Module::Ptr effect = open(testPluginPath("fx3_effect.vst3"));
    Module::Ptr noclass = open(testPluginPath("fx3_noclass.vst3"));
    ASSERT_TRUE(effect && noclass);

    auto info = effect->getFactory().info();
    EXPECT_EQ(info.vendor(), fx3::factoryVendor);
    EXPECT_EQ(info.url(), fx3::factoryUrl);
    EXPECT_EQ(info.email(), fx3::factoryEmail);
    EXPECT_EQ(info.flags(), Steinberg::PFactoryInfo::kUnicode);
    EXPECT_FALSE(info.classesDiscardable());

    info = noclass->getFactory().info();
    EXPECT_EQ(info.flags(), Steinberg::PFactoryInfo::kClassesDiscardable);
    EXPECT_TRUE(info.classesDiscardable());
    EXPECT_FALSE(info.licenseCheck());
    EXPECT_FALSE(info.componentNonDiscardable());

    EXPECT_EQ(effect->getFactory().classCount(), 1u);
    EXPECT_EQ(noclass->getFactory().classCount(), 3u);
}

// IPluginFactory3: every field, texts from UTF-16.
TEST(PluginFactory, ReadsUnicodeClassInfo) {
    Module::Ptr module = open(testPluginPath("fx3_twoclasses.vst3"));
    ASSERT_TRUE(module);
    auto infos = module->getFactory().classInfos();
    ASSERT_EQ(infos.size(), 2u);

    EXPECT_EQ(infos[0].ID(), uidOf(fx3::componentOnlyClassId));
    EXPECT_EQ(infos[0].name(), fx3::componentOnlyName) << "U+00E9 and U+1D11E survive UTF-16";
    const ClassInfo& effect = infos[1];
    EXPECT_EQ(effect.ID(), uidOf(fx3::effectClassId));
    EXPECT_EQ(effect.cardinality(), Steinberg::PClassInfo::kManyInstances);
    EXPECT_EQ(effect.category(), kVstAudioEffectClass);
    EXPECT_EQ(effect.name(), fx3::effectName);
    EXPECT_EQ(effect.vendor(), fx3::effectVendor);
    EXPECT_EQ(effect.version(), fx3::effectVersion);
    EXPECT_EQ(effect.sdkVersion(), kVstVersionString);
    EXPECT_EQ(effect.subCategories(), ClassInfo::SubCategories{"Fx"});
    EXPECT_EQ(effect.classFlags(), static_cast<Steinberg::uint32>(Steinberg::Vst::kDistributable));
}

// IPluginFactory2: narrow texts, a field filled to the brim, several
// sub-categories and the factory's vendor for a class without one.
TEST(PluginFactory, ReadsClassInfo2) {
    Module::Ptr module = open(testPluginPath("fx3_factory2.vst3"));
    ASSERT_TRUE(module);
    auto infos = module->getFactory().classInfos();
    ASSERT_EQ(infos.size(), 1u);
    const ClassInfo& effect = infos[0];
    EXPECT_EQ(effect.ID(), uidOf(fx3::effectClassId));
    EXPECT_EQ(effect.category(), kVstAudioEffectClass);
    EXPECT_EQ(effect.name(), fx3::fullFieldName);
    EXPECT_EQ(effect.vendor(), fx3::factoryVendor);
    EXPECT_EQ(effect.version(), fx3::factory2Version);
    EXPECT_EQ(effect.sdkVersion(), kVstVersionString);
    EXPECT_EQ(effect.subCategories(), (ClassInfo::SubCategories{"Fx", "Delay", "Stereo"}));
    EXPECT_EQ(effect.subCategoriesString(), fx3::factory2SubCategories);
    EXPECT_EQ(effect.classFlags(), static_cast<Steinberg::uint32>(Steinberg::Vst::kDistributable));
}

// IPluginFactory only: what PClassInfo has, the factory's vendor, and a
// class whose info cannot be read left out without disturbing the order.
TEST(PluginFactory, ReadsPlainClassInfo) {
    Module::Ptr module = open(testPluginPath("fx3_noclass.vst3"));
    ASSERT_TRUE(module);
    auto infos = module->getFactory().classInfos();
    ASSERT_EQ(infos.size(), 2u);

    EXPECT_EQ(infos[0].ID(), uidOf(fx3::controllerClassId));
    EXPECT_EQ(infos[0].category(), kVstComponentControllerClass);
    EXPECT_EQ(infos[0].name(), fx3::controllerName);
    EXPECT_EQ(infos[1].ID(), uidOf(fx3::lowercaseClassId));
    EXPECT_EQ(infos[1].category(), fx3::lowercaseCategory);
    EXPECT_EQ(infos[1].name(), fx3::lowercaseName);
    for (const ClassInfo& info : infos) {
        EXPECT_EQ(info.cardinality(), Steinberg::PClassInfo::kManyInstances);
        EXPECT_EQ(info.vendor(), fx3::factoryVendor);
        EXPECT_EQ(info.version(), "");
        EXPECT_EQ(info.sdkVersion(), "");
        EXPECT_TRUE(info.subCategories().empty());
        EXPECT_EQ(info.classFlags(), 0u);
    }
}

// Only a factory that offers IPluginFactory3 hears of the host context.
TEST(PluginFactory, HostContextReachesOnlyFactory3) {
    Module::Ptr effect = open(testPluginPath("fx3_effect.vst3"));
    Module::Ptr plain = open(testPluginPath("fx3_noclass.vst3"));
    ASSERT_TRUE(effect && plain);
    CallLog log;
    effect->getFactory().setHostContext(nullptr);
    plain->getFactory().setHostContext(nullptr);
    EXPECT_EQ(log.lines(), std::vector<std::string>{"fx3_effect setHostContext"});
}

TEST(PluginFactory, CreatesInstancesOnlyOfWhatAClassIs) {
    Module::Ptr module = open(testPluginPath("fx3_twoclasses.vst3"));
    ASSERT_TRUE(module);
    const auto& factory = module->getFactory();

    EXPECT_FALSE(factory.createInstance<Steinberg::Vst::IAudioProcessor>(uidOf(fx3::componentOnlyClassId)))
        << "a component that is no processor";
    EXPECT_TRUE(factory.createInstance<Steinberg::Vst::IComponent>(uidOf(fx3::componentOnlyClassId)));
    EXPECT_TRUE(factory.createInstance<Steinberg::Vst::IAudioProcessor>(uidOf(fx3::effectClassId)));
    EXPECT_FALSE(factory.createInstance<Steinberg::Vst::IComponent>(uidOf(fx3::controllerClassId)))
        << "a class this factory does not have";
}

// The VST 3 test effect itself, as later tests rely on it: one object that
// is component, processor and controller, stereo in and out, and copies its
// input in both sample sizes.
TEST(TestEffect, IsAStereoPassThroughSingleComponentEffect) {
    using namespace Steinberg;
    using namespace Steinberg::Vst;
    Module::Ptr module = open(testPluginPath("fx3_effect.vst3"));
    ASSERT_TRUE(module);
    auto processor = module->getFactory().createInstance<IAudioProcessor>(uidOf(fx3::effectClassId));
    ASSERT_TRUE(processor);
    FUnknownPtr<IComponent> component(processor);
    FUnknownPtr<IEditController> controller(processor);
    ASSERT_TRUE(component && controller);
    EXPECT_EQ(FUnknownPtr<FUnknown>(controller).get(), FUnknownPtr<FUnknown>(processor).get());

    ASSERT_EQ(component->initialize(nullptr), kResultOk);
    for (BusDirection direction : {kInput, kOutput}) {
        ASSERT_EQ(component->getBusCount(kAudio, direction), 1);
        BusInfo bus{};
        ASSERT_EQ(component->getBusInfo(kAudio, direction, 0, bus), kResultOk);
        EXPECT_EQ(bus.channelCount, 2);
        EXPECT_EQ(bus.busType, kMain);
        SpeakerArrangement arrangement = 0;
        ASSERT_EQ(processor->getBusArrangement(direction, 0, arrangement), kResultTrue);
        EXPECT_EQ(arrangement, SpeakerArr::kStereo);
    }
    EXPECT_EQ(controller->getParameterCount(), 0);

    for (int32 sampleSize : {kSample32, kSample64}) {
        SCOPED_TRACE(sampleSize);
        ProcessSetup setup{kRealtime, sampleSize, 4, 44100.0};
        ASSERT_EQ(processor->setupProcessing(setup), kResultOk);
        ASSERT_EQ(component->setActive(true), kResultOk);
        ASSERT_EQ(processor->setProcessing(true), kResultOk);

        double in[2][4] = {{0.5, -0.25, 1.0, 0.0}, {-1.0, 0.125, 0.75, -0.5}};
        float in32[2][4], out32[2][4] = {};
        double out64[2][4] = {};
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < 4; ++i)
                in32[c][i] = static_cast<float>(in[c][i]);
        float* inputs32[2] = {in32[0], in32[1]};
        float* outputs32[2] = {out32[0], out32[1]};
        double* inputs64[2] = {in[0], in[1]};
        double* outputs64[2] = {out64[0], out64[1]};
        AudioBusBuffers input, output;
        input.numChannels = output.numChannels = 2;
        if (sampleSize == kSample32) {
            input.channelBuffers32 = inputs32;
            output.channelBuffers32 = outputs32;
        } else {
            input.channelBuffers64 = inputs64;
            output.channelBuffers64 = outputs64;
        }
        ProcessData data;
        data.symbolicSampleSize = sampleSize;
        data.numSamples = 4;
        data.numInputs = data.numOutputs = 1;
        data.inputs = &input;
        data.outputs = &output;
        ASSERT_EQ(processor->process(data), kResultOk);
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < 4; ++i)
                if (sampleSize == kSample32)
                    EXPECT_EQ(out32[c][i], in32[c][i]) << "channel " << c << " frame " << i;
                else
                    EXPECT_EQ(out64[c][i], in[c][i]) << "channel " << c << " frame " << i;

        EXPECT_EQ(processor->setProcessing(false), kResultOk);
        EXPECT_EQ(component->setActive(false), kResultOk);
    }
    EXPECT_EQ(component->terminate(), kResultOk);
}

// The SDK's split: every "|" ends an item, empty items included, and a
// trailing one adds none. Joining gives the text back except for that.
TEST(ClassInfo, SplitsSubCategoriesAtEveryBar) {
    struct Case {
        const char* text;
        ClassInfo::SubCategories items;
        const char* joined;
    } cases[] = {
        {"", {}, ""},
        {"Fx", {"Fx"}, "Fx"},
        {"Fx|Delay", {"Fx", "Delay"}, "Fx|Delay"},
        {"Fx||Delay", {"Fx", "", "Delay"}, "Fx||Delay"},
        {"|Fx", {"", "Fx"}, "|Fx"},
        {"Fx|", {"Fx"}, "Fx"},
    };
    for (const Case& c : cases) {
        Steinberg::PClassInfo2 raw;
        std::strcpy(raw.subCategories, c.text);
        ClassInfo info(raw);
        EXPECT_EQ(info.subCategories(), c.items) << "text \"" << c.text << "\"";
        EXPECT_EQ(info.subCategoriesString(), c.joined) << "text \"" << c.text << "\"";
    }
}

// A text that fills its field has no terminator; reading stops at the
// field's end, not in the next field.
TEST(ClassInfo, ReadsFullFieldsWithoutRunningOver) {
    Steinberg::PClassInfo2 narrow;
    std::memset(narrow.category, 'c', sizeof narrow.category);
    std::memset(narrow.name, 'n', sizeof narrow.name);
    std::memset(narrow.vendor, 'v', sizeof narrow.vendor);
    std::strcpy(narrow.version, "1.0");
    ClassInfo fromNarrow(narrow);
    EXPECT_EQ(fromNarrow.category(), std::string(Steinberg::PClassInfo::kCategorySize, 'c'));
    EXPECT_EQ(fromNarrow.name(), std::string(Steinberg::PClassInfo::kNameSize, 'n'));
    EXPECT_EQ(fromNarrow.vendor(), std::string(Steinberg::PClassInfo2::kVendorSize, 'v'));
    EXPECT_EQ(fromNarrow.version(), "1.0");

    Steinberg::PClassInfoW wide;
    for (auto& unit : wide.name)
        unit = 0x00E9; // two bytes each in UTF-8
    for (auto& unit : wide.vendor)
        unit = L'v';
    ClassInfo fromWide(wide);
    std::string expectedName;
    for (int i = 0; i < Steinberg::PClassInfo::kNameSize; ++i)
        expectedName += "\xC3\xA9";
    EXPECT_EQ(fromWide.name(), expectedName);
    EXPECT_EQ(fromWide.vendor(), std::string(Steinberg::PClassInfoW::kVendorSize, 'v'));
    EXPECT_EQ(fromWide.version(), "");
}
