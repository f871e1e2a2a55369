// The factory every VST 3 test plug-in hands out: a table of classes and the
// richest IPluginFactoryN it answers. Plug-in code, called by the host on the
// thread that loads the module.
#pragma once

#include <cstring>
#include <cwchar>
#include <string>

#include "pluginterfaces/base/ipluginbase.h"

#include "support/win32.h"

namespace fx3 {

// One class the factory offers.
struct FactoryClass {
    const Steinberg::int8* cid;
    const char* category;
    const char* name; // UTF-8, as are the texts below
    const char* subCategories;
    const char* vendor;
    const char* version;
    Steinberg::int32 classFlags;
    // A new object holding one reference. createInstance queries it for the
    // interface asked and lets an exception from here go to the host.
    Steinberg::FUnknown* (*create)();
    // Neither described nor created: every getClassInfo call fails for its
    // index and createInstance does not know its ID.
    bool unreadable = false;
    // Interfaces that createInstance answers with kNoInterface before it
    // makes anything: a sum of the refuse... values below.
    int refusals = 0;
};

const int refuseProcessor = 1; // IAudioProcessor
const int refuseComponent = 2; // IComponent and FUnknown

struct FactorySetup {
    int level;              // 1, 2 or 3: the IPluginFactoryN it answers up to
    Steinberg::int32 flags; // PFactoryInfo::flags, exactly
    const FactoryClass* classes;
    Steinberg::int32 classCount;
};

// What GetPluginFactory hands out: the module's one factory, made on first
// use, with one new reference for the caller. Vendor, URL and e-mail are
// factoryVendor, factoryUrl and factoryEmail. Logs "setHostContext" when
// told a host context and "factory released" when its last reference goes.
Steinberg::IPluginFactory* sharedFactory(const FactorySetup& setup);

// Texts go into their fields without a forced terminator, so that a text as
// long as its field fills it completely, as a careless plug-in's would.
template <size_t N> void putText(Steinberg::char8 (&field)[N], const char* text) {
    size_t length = std::strlen(text);
    std::memset(field, 0, N);
    std::memcpy(field, text, length < N ? length : N);
}

// The same for a UTF-16 field of `size` units, from UTF-8.
inline void putText(Steinberg::char16* field, size_t size, const char* text) {
    std::memset(field, 0, sizeof(Steinberg::char16) * size);
    int units = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    std::wstring wide(static_cast<size_t>(units > 0 ? units : 1), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text, -1, &wide[0], units);
    size_t length = std::wcslen(wide.c_str());
    std::memcpy(field, wide.data(), sizeof(Steinberg::char16) * (length < size ? length : size));
}

template <size_t N> void putText(Steinberg::char16 (&field)[N], const char* text) {
    putText(field, N, text);
}

} // namespace fx3
