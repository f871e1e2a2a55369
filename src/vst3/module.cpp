#include "vst3/module.h"

#include "support/text/utf.h"
#include "support/win32.h"

namespace VST3 {
namespace Hosting {

namespace {

// Plug-ins that export them take no arguments and answer a bool; PLUGIN_API
// is empty on x64 and __stdcall on 32-bit Windows, as in the plug-ins.
using InitModuleFunc = bool(PLUGIN_API*)();
using ExitModuleFunc = bool(PLUGIN_API*)();
using GetFactoryFunc = Steinberg::IPluginFactory*(PLUGIN_API*)();

// A narrow text field: up to its terminator or its end.
std::string fieldText(const Steinberg::char8* field, size_t size) {
    size_t length = 0;
    while (length < size && field[length] != 0)
        ++length;
    return std::string(field, length);
}

// A UTF-16 text field (char16 is wchar_t on Windows): the same, as UTF-8.
std::string fieldText(const Steinberg::char16* field, size_t size) {
    return Qz::wideToUtf8(field, size);
}

template <size_t N> std::string fieldText(const Steinberg::char8 (&field)[N]) {
    return fieldText(field, N);
}
template <size_t N> std::string fieldText(const Steinberg::char16 (&field)[N]) {
    return fieldText(field, N);
}

bool isSeparator(char c) {
    return c == '\\' || c == '/';
}

// The last name in the path. Separators at its end do not count: shell
// completion writes a bundle folder as "Name.vst3\", which still names the
// library Name.vst3 inside it.
std::string lastComponent(const std::string& path) {
    size_t end = path.size();
    while (end > 0 && isSeparator(path[end - 1]))
        --end;
    size_t at = end;
    while (at > 0 && !isSeparator(path[at - 1]))
        --at;
    return path.substr(at, end - at);
}

template <typename Function> Function libraryFunction(void* library, const char* name) {
    // GetProcAddress hands back a generic function pointer; the cast to the
    // real signature is the documented way to call it.
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name)));
}

HMODULE loadLibrary(const std::string& path) {
    // What LoadLibraryW makes of an empty name is not documented.
    if (path.empty())
        return NULL;
    std::wstring wide = Qz::utf8ToWide(path);
    SetLastError(0);
    return LoadLibraryW(wide.c_str());
}

} // namespace

// FactoryInfo ----------------------------------------------------------------

std::string FactoryInfo::vendor() const noexcept {
    return fieldText(info.vendor);
}
std::string FactoryInfo::url() const noexcept {
    return fieldText(info.url);
}
std::string FactoryInfo::email() const noexcept {
    return fieldText(info.email);
}
Steinberg::int32 FactoryInfo::flags() const noexcept {
    return info.flags;
}

bool FactoryInfo::classesDiscardable() const noexcept {
    return (info.flags & Steinberg::PFactoryInfo::kClassesDiscardable) != 0;
}

bool FactoryInfo::licenseCheck() const noexcept {
    return (info.flags & Steinberg::PFactoryInfo::kLicenseCheck) != 0;
}

bool FactoryInfo::componentNonDiscardable() const noexcept {
    return (info.flags & Steinberg::PFactoryInfo::kComponentNonDiscardable) != 0;
}

// ClassInfo ------------------------------------------------------------------

ClassInfo::ClassInfo(const Steinberg::PClassInfo& info) noexcept {
    data.classID = info.cid;
    data.cardinality = info.cardinality;
    data.category = fieldText(info.category);
    data.name = fieldText(info.name);
}

template <class Info> void ClassInfo::readExtended(const Info& info) noexcept {
    data.classID = info.cid;
    data.cardinality = info.cardinality;
    data.category = fieldText(info.category);
    data.name = fieldText(info.name);
    data.vendor = fieldText(info.vendor);
    data.version = fieldText(info.version);
    data.sdkVersion = fieldText(info.sdkVersion);
    parseSubCategories(fieldText(info.subCategories));
    data.classFlags = info.classFlags;
}

ClassInfo::ClassInfo(const Steinberg::PClassInfo2& info) noexcept {
    readExtended(info);
}

ClassInfo::ClassInfo(const Steinberg::PClassInfoW& info) noexcept {
    readExtended(info);
}

void ClassInfo::parseSubCategories(const std::string& text) noexcept {
    // As the SDK splits: every "|" ends an item, a trailing one adds none.
    size_t start = 0;
    while (start < text.size()) {
        size_t bar = text.find('|', start);
        if (bar == std::string::npos)
            bar = text.size();
        data.subCategories.push_back(text.substr(start, bar - start));
        start = bar + 1;
    }
}

std::string ClassInfo::subCategoriesString() const noexcept {
    std::string result;
    for (size_t i = 0; i < data.subCategories.size(); ++i) {
        if (i > 0)
            result += '|';
        result += data.subCategories[i];
    }
    return result;
}

// PluginFactory --------------------------------------------------------------

void PluginFactory::setHostContext(Steinberg::FUnknown* context) const {
    if (auto factory3 = Steinberg::FUnknownPtr<Steinberg::IPluginFactory3>(factory))
        factory3->setHostContext(context);
}

FactoryInfo PluginFactory::info() const {
    Steinberg::PFactoryInfo info;
    if (factory->getFactoryInfo(&info) != Steinberg::kResultOk)
        info = Steinberg::PFactoryInfo();
    return FactoryInfo(info);
}

uint32_t PluginFactory::classCount() const {
    Steinberg::int32 count = factory->countClasses();
    return count > 0 ? static_cast<uint32_t>(count) : 0;
}

PluginFactory::ClassInfos PluginFactory::classInfos() const {
    uint32_t count = classCount();
    ClassInfos infos;
    infos.reserve(count);
    auto factory3 = Steinberg::FUnknownPtr<Steinberg::IPluginFactory3>(factory);
    auto factory2 = Steinberg::FUnknownPtr<Steinberg::IPluginFactory2>(factory);
    // Asked once, and only if some class leaves its vendor to the factory.
    bool haveFactoryVendor = false;
    std::string factoryVendor;
    for (uint32_t i = 0; i < count; ++i) {
        auto index = static_cast<Steinberg::int32>(i);
        Steinberg::PClassInfoW infoW;
        Steinberg::PClassInfo2 info2;
        Steinberg::PClassInfo info1;
        if (factory3 && factory3->getClassInfoUnicode(index, &infoW) == Steinberg::kResultOk)
            infos.emplace_back(infoW);
        else if (factory2 && factory2->getClassInfo2(index, &info2) == Steinberg::kResultOk)
            infos.emplace_back(info2);
        else if (factory->getClassInfo(index, &info1) == Steinberg::kResultOk)
            infos.emplace_back(info1);
        else
            continue;
        ClassInfo& added = infos.back();
        if (added.vendor().empty()) {
            if (!haveFactoryVendor) {
                factoryVendor = info().vendor();
                haveFactoryVendor = true;
            }
            added.get().vendor = factoryVendor;
        }
    }
    return infos;
}

// Module ---------------------------------------------------------------------

const char* architectureFolder() noexcept {
#if defined(_M_ARM64) || defined(__aarch64__)
    return "arm64-win";
#elif defined(_M_X64) || defined(__x86_64__)
    return "x86_64-win";
#else
    return "x86-win";
#endif
}

std::string bundleLibraryPath(const std::string& path) {
    std::string result = path;
    if (!result.empty() && !isSeparator(result.back()))
        result += '\\';
    result += "Contents\\";
    result += architectureFolder();
    result += '\\';
    result += lastComponent(path);
    return result;
}

Module::Ptr Module::create(const std::string& path, std::string& errorDescription) {
    // Owned before anything is loaded, so that every way out of load,
    // an exception from the plug-in included, unloads again.
    Ptr module(new Module());
    if (!module->load(path, errorDescription))
        return nullptr;
    module->path = path;
    module->name = lastComponent(path);
    return module;
}

bool Module::load(const std::string& libraryPath, std::string& errorDescription) {
    library = loadLibrary(libraryPath);
    if (!library)
        library = loadLibrary(bundleLibraryPath(libraryPath));
    if (!library) {
        errorDescription = "LoadLibray failed.";
        return false;
    }

    auto getFactory = libraryFunction<GetFactoryFunc>(library, "GetPluginFactory");
    if (!getFactory) {
        errorDescription = "dll does not export the required 'GetPluginFactory' function";
        return false;
    }
    auto initDll = libraryFunction<InitModuleFunc>(library, "InitDll");
    if (initDll && !initDll()) {
        errorDescription = "Calling 'InitDll' failed";
        return false;
    }
    // GetPluginFactory hands over a reference; the query takes our own, and
    // the handed one goes when `handed` does.
    auto handed = Steinberg::owned(getFactory());
    auto asked = Steinberg::FUnknownPtr<Steinberg::IPluginFactory>(handed);
    if (!asked) {
        errorDescription = "Calling 'GetPluginFactory' returned nullptr";
        return false;
    }
    factory = PluginFactory(asked);
    return true;
}

Module::~Module() {
    // The factory is the plug-in's code: it must be gone before ExitDll.
    factory = PluginFactory(nullptr);
    if (!library)
        return;
    if (auto exitDll = libraryFunction<ExitModuleFunc>(library, "ExitDll"))
        exitDll();
    FreeLibrary(static_cast<HMODULE>(library));
}

} // namespace Hosting
} // namespace VST3
