#include "vst3/adapter_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "support/win32.h"

using Steinberg::int32;
using Steinberg::uint32;
using Steinberg::Vst::TChar;

namespace {

// Longest 16-bit text the adapter reads: a String128 field.
const size_t kMaxWideUnits = 128;

} // namespace

int32 parseVendorVersion(const char* text) {
    int a = 1, b = 0, c = 0, d = 0;
    int n = text ? std::sscanf(text, "%d.%d.%d.%d", &a, &b, &c, &d) : 0;
    uint32 version = static_cast<uint32>(a) << 24;
    if (n > 3)
        version += static_cast<uint32>(d) & 0xFF;
    if (n > 2)
        version += (static_cast<uint32>(c) & 0xFF) << 8;
    if (n > 1)
        version += (static_cast<uint32>(b) & 0xFF) << 16;
    return static_cast<int32>(version);
}

VstInt32 plugCategoryFromSubCategories(const char* subCategories) {
    if (!subCategories || !*subCategories)
        return kPlugCategUnknown;
    struct Rule {
        const char* word;
        VstInt32 category;
    };
    // Order matters: "Fx|Delay" is a room effect before it is an effect.
    static const Rule rules[] = {
        {"Analyzer", kPlugCategAnalysis},   {"Delay", kPlugCategRoomFx},        {"Reverb", kPlugCategRoomFx},
        {"Dynamics", kPlugCategMastering},  {"Mastering", kPlugCategMastering}, {"Restoration", kPlugCategRestoration},
        {"Generator", kPlugCategGenerator}, {"Spatial", kPlugCategSpacializer}, {"Fx", kPlugCategEffect},
        {"Instrument", kPlugCategSynth},
    };
    for (const Rule& rule : rules)
        if (std::strstr(subCategories, rule.word))
            return rule.category;
    return kPlugCategUnknown;
}

void narrowText(const TChar* text, char* out, size_t maxBytes) {
    out[0] = 0;
    if (!text)
        return;
    size_t units = 0;
    while (units < kMaxWideUnits && text[units] != 0)
        ++units;
    if (units == 0)
        return;
    // TChar is wchar_t on Windows.
    int needed = WideCharToMultiByte(CP_ACP, 0, text, static_cast<int>(units), nullptr, 0, nullptr, nullptr);
    if (needed <= 0)
        return;
    std::vector<char> narrow(static_cast<size_t>(needed));
    int length = WideCharToMultiByte(CP_ACP, 0, text, static_cast<int>(units), narrow.data(), needed, nullptr, nullptr);
    if (length <= 0)
        return;
    size_t kept = std::min(static_cast<size_t>(length), maxBytes);
    std::memcpy(out, narrow.data(), kept);
    out[kept] = 0;
}

void wideText(const char* text, TChar* out, size_t maxUnits) {
    out[0] = 0;
    if (!text || !*text)
        return;
    int bytes = static_cast<int>(std::min<size_t>(std::strlen(text), 0x7FFFFFFF));
    int needed = MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text, bytes, nullptr, 0);
    if (needed <= 0)
        return;
    std::vector<wchar_t> wide(static_cast<size_t>(needed));
    int length = MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text, bytes, wide.data(), needed);
    if (length <= 0)
        return;
    size_t kept = std::min(static_cast<size_t>(length), maxUnits);
    std::copy(wide.begin(), wide.begin() + static_cast<ptrdiff_t>(kept), out);
    out[kept] = 0;
}
