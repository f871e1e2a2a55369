#include "test_factory.h"

#include "../vst2/plugin_log.h"
#include "test_effect_ids.h"

#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"

using namespace Steinberg;

namespace fx3 {
namespace {

class Factory;
Factory* theFactory = nullptr;

// Answers the interfaces of its level only, so that a host sees what an older
// module would show it.
class Factory final : public IPluginFactory3 {
public:
    explicit Factory(const FactorySetup& setup) : setup(setup) {}

    tresult PLUGIN_API queryInterface(const TUID interfaceId, void** obj) override {
        bool known = FUnknownPrivate::iidEqual(interfaceId, FUnknown::iid) ||
                     FUnknownPrivate::iidEqual(interfaceId, IPluginFactory::iid) ||
                     (setup.level >= 2 && FUnknownPrivate::iidEqual(interfaceId, IPluginFactory2::iid)) ||
                     (setup.level >= 3 && FUnknownPrivate::iidEqual(interfaceId, IPluginFactory3::iid));
        if (!known) {
            *obj = nullptr;
            return kNoInterface;
        }
        addRef();
        *obj = this;
        return kResultOk;
    }
    uint32 PLUGIN_API addRef() override { return static_cast<uint32>(FUnknownPrivate::atomicAdd(references, 1)); }
    uint32 PLUGIN_API release() override {
        int32 left = FUnknownPrivate::atomicAdd(references, -1);
        if (left == 0) {
            pluginLog("factory released");
            theFactory = nullptr;
            delete this;
        }
        return static_cast<uint32>(left);
    }

    tresult PLUGIN_API getFactoryInfo(PFactoryInfo* info) override {
        *info = PFactoryInfo(factoryVendor, factoryUrl, factoryEmail, setup.flags);
        // The constructor adds kUnicode whenever the SDK is built for
        // Unicode, which it always is; say only what this module means.
        info->flags = setup.flags;
        return kResultOk;
    }
    int32 PLUGIN_API countClasses() override { return setup.classCount; }
    tresult PLUGIN_API getClassInfo(int32 index, PClassInfo* info) override {
        const FactoryClass* entry = readableClass(index);
        if (!entry)
            return kInvalidArgument;
        *info = PClassInfo();
        std::memcpy(info->cid, entry->cid, sizeof(TUID));
        info->cardinality = PClassInfo::kManyInstances;
        putText(info->category, entry->category);
        putText(info->name, entry->name);
        return kResultOk;
    }
    tresult PLUGIN_API createInstance(FIDString cid, FIDString interfaceId, void** obj) override {
        *obj = nullptr;
        for (int32 index = 0; index < setup.classCount; ++index) {
            const FactoryClass& entry = setup.classes[index];
            if (entry.unreadable || !FUnknownPrivate::iidEqual(entry.cid, cid))
                continue;
            bool asksProcessor = FUnknownPrivate::iidEqual(interfaceId, Vst::IAudioProcessor::iid);
            bool asksComponent = FUnknownPrivate::iidEqual(interfaceId, Vst::IComponent::iid) ||
                                 FUnknownPrivate::iidEqual(interfaceId, FUnknown::iid);
            if ((asksProcessor && (entry.refusals & refuseProcessor)) ||
                (asksComponent && (entry.refusals & refuseComponent)))
                return kNoInterface;
            FUnknown* object = entry.create();
            if (!object)
                return kResultFalse;
            tresult result = object->queryInterface(interfaceId, obj);
            object->release();
            return result;
        }
        return kInvalidArgument;
    }

    tresult PLUGIN_API getClassInfo2(int32 index, PClassInfo2* info) override { return fillExtended(index, info); }

    tresult PLUGIN_API getClassInfoUnicode(int32 index, PClassInfoW* info) override {
        return fillExtended(index, info);
    }

    tresult PLUGIN_API setHostContext(FUnknown*) override {
        pluginLog("setHostContext");
        return kResultOk;
    }

private:
    const FactoryClass* readableClass(int32 index) const {
        if (index < 0 || index >= setup.classCount || setup.classes[index].unreadable)
            return nullptr;
        return &setup.classes[index];
    }

    // The two extended records differ only in their character type.
    template <class Info> tresult fillExtended(int32 index, Info* info) {
        const FactoryClass* entry = readableClass(index);
        if (!entry)
            return kInvalidArgument;
        *info = Info();
        std::memcpy(info->cid, entry->cid, sizeof(TUID));
        info->cardinality = PClassInfo::kManyInstances;
        putText(info->category, entry->category);
        putText(info->name, entry->name);
        info->classFlags = static_cast<uint32>(entry->classFlags);
        putText(info->subCategories, entry->subCategories);
        putText(info->vendor, entry->vendor);
        putText(info->version, entry->version);
        putText(info->sdkVersion, kVstVersionString);
        return kResultOk;
    }

    FactorySetup setup;
    int32 references = 1;
};

} // namespace

IPluginFactory* sharedFactory(const FactorySetup& setup) {
    // The caller owns one reference to what it gets, as it would from
    // queryInterface.
    if (theFactory)
        theFactory->addRef();
    else
        theFactory = new Factory(setup);
    return theFactory;
}

} // namespace fx3
