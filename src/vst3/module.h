// VST 3 module hosting under the SDK's names: VST3::Hosting::Module loads a
// plug-in library and holds its factory, PluginFactory wraps the factory's
// interfaces, ClassInfo and FactoryInfo are what the factory says of itself
// and its classes, as UTF-8 strings. The SDK copy we build from lacks these
// classes; they behave as the SDK's own Windows module does.
//
// Threads: a module is created and destroyed on the thread that hosts the
// plug-in (the main thread). Plug-ins run their InitDll, ExitDll and factory
// code there and may rely on it. Nothing here takes a lock.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "pluginterfaces/base/ipluginbase.h"
#include "vst3/uid.h"

namespace VST3 {
namespace Hosting {

// What the factory says of its vendor (PFactoryInfo).
class FactoryInfo {
public:
    FactoryInfo() noexcept = default;
    explicit FactoryInfo(const Steinberg::PFactoryInfo& source) noexcept : info(source) {}

    std::string vendor() const noexcept;
    std::string url() const noexcept;
    std::string email() const noexcept;
    Steinberg::int32 flags() const noexcept;
    bool classesDiscardable() const noexcept;
    bool licenseCheck() const noexcept;
    bool componentNonDiscardable() const noexcept;

    Steinberg::PFactoryInfo& get() noexcept { return info; }

private:
    Steinberg::PFactoryInfo info{};
};

// One class of a factory, from whichever of PClassInfo, PClassInfo2 and
// PClassInfoW the factory gave. Fields the source struct lacks stay empty.
// Texts are read up to their terminator or the end of their field, whichever
// comes first: a plug-in that fills a field to the brim is still read
// correctly. UTF-16 texts become UTF-8.
class ClassInfo {
public:
    using SubCategories = std::vector<std::string>;

    ClassInfo() noexcept = default;
    explicit ClassInfo(const Steinberg::PClassInfo& info) noexcept;
    explicit ClassInfo(const Steinberg::PClassInfo2& info) noexcept;
    explicit ClassInfo(const Steinberg::PClassInfoW& info) noexcept;

    const UID& ID() const noexcept { return data.classID; }
    int32_t cardinality() const noexcept { return data.cardinality; }
    const std::string& category() const noexcept { return data.category; }
    const std::string& name() const noexcept { return data.name; }
    const std::string& vendor() const noexcept { return data.vendor; }
    const std::string& version() const noexcept { return data.version; }
    const std::string& sdkVersion() const noexcept { return data.sdkVersion; }
    // The "|"-separated list split into its items, in order.
    const SubCategories& subCategories() const noexcept { return data.subCategories; }
    // The items joined with "|" again.
    std::string subCategoriesString() const noexcept;
    Steinberg::uint32 classFlags() const noexcept { return data.classFlags; }

    struct Data {
        UID classID;
        int32_t cardinality = 0;
        std::string category;
        std::string name;
        std::string vendor;
        std::string version;
        std::string sdkVersion;
        SubCategories subCategories;
        Steinberg::uint32 classFlags = 0;
    };

    Data& get() noexcept { return data; }

private:
    void parseSubCategories(const std::string& text) noexcept;
    // PClassInfo2 and PClassInfoW differ only in their character type.
    template <class Info> void readExtended(const Info& info) noexcept;

    Data data;
};

// The factory of a module, asked through the richest interface it offers.
// Holds one counted reference; a null factory is allowed only as the empty
// state of a module that did not load, and every query on it is undefined.
// Unlike the SDK's, the queries are not noexcept: they run plug-in code, and
// an exception from there goes up to the caller like any other.
class PluginFactory {
public:
    using ClassInfos = std::vector<ClassInfo>;
    using PluginFactoryPtr = Steinberg::IPtr<Steinberg::IPluginFactory>;

    explicit PluginFactory(const PluginFactoryPtr& source) noexcept : factory(source) {}

    // IPluginFactory3::setHostContext; ignored by older factories.
    void setHostContext(Steinberg::FUnknown* context) const;

    // A factory whose getFactoryInfo fails gives empty texts.
    FactoryInfo info() const;
    // countClasses; a negative count reads as 0.
    uint32_t classCount() const;
    // Every class whose info can be read, in factory order, from
    // getClassInfoUnicode, getClassInfo2 or getClassInfo, the first that
    // succeeds. A class without a vendor of its own gets the factory's. A
    // class that no call describes is left out.
    ClassInfos classInfos() const;

    // An instance of `classID` as interface T, or null if the factory does
    // not succeed with exactly kResultOk.
    template <typename T> Steinberg::IPtr<T> createInstance(const UID& classID) const {
        void* object = nullptr;
        if (factory->createInstance(classID.data(), T::iid, &object) != Steinberg::kResultOk || !object)
            return nullptr;
        return Steinberg::owned(static_cast<T*>(object));
    }

    const PluginFactoryPtr& get() const noexcept { return factory; }

private:
    PluginFactoryPtr factory;
};

// One loaded plug-in library. The library stays loaded while the last
// shared owner lives; destroying the module releases the factory, calls the
// library's "ExitDll" if it exports one (also when "InitDll" was never
// called or failed) and unloads the library.
class Module {
public:
    using Ptr = std::shared_ptr<Module>;

    // Loads `path` (UTF-8): first as a file, and if that fails for whatever
    // reason, as a bundle folder "Name.vst3" whose library is
    // "Name.vst3\Contents\x86_64-win\Name.vst3" (the architecture folder
    // follows the build). Then "GetPluginFactory" must be exported, the
    // optional "InitDll" must not return false, and the factory must answer
    // IPluginFactory. Returns null with a text in `errorDescription` when
    // any step fails, having unloaded whatever was loaded; throws nothing of
    // its own, and an exception out of the plug-in's code goes through.
    static Ptr create(const std::string& path, std::string& errorDescription);

    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    // The last component of the path given to create, and that path.
    const std::string& getName() const noexcept { return name; }
    const std::string& getPath() const noexcept { return path; }
    const PluginFactory& getFactory() const noexcept { return factory; }

private:
    Module() = default;
    bool load(const std::string& libraryPath, std::string& errorDescription);

    PluginFactory factory{nullptr};
    std::string name;
    std::string path;
    // The HMODULE; kept as void* so that this header needs no <windows.h>.
    void* library = nullptr;
};

// The name of the folder inside "Contents" that holds the library for this
// build's processor, e.g. "x86_64-win".
const char* architectureFolder() noexcept;

// The library inside the bundle folder `path`, as create tries it second:
// Name.vst3\Contents\<architecture>\Name.vst3, also when `path` ends in a
// separator.
std::string bundleLibraryPath(const std::string& path);

} // namespace Hosting
} // namespace VST3
