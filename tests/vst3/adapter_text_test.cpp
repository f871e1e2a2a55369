// Version, category and text conversions by which a VST 3 class presents
// itself to a VST 2 host.

#include "vst3/adapter_text.h"

#include <gtest/gtest.h>

#include <string>

#include "support/win32.h"

using Steinberg::Vst::TChar;

TEST(AdapterText, VendorVersionFromClassVersion) {
    struct Case {
        const char* text;
        Steinberg::uint32 expected;
    } cases[] = {
        {"2.1", 0x02010000},
        {"2.1.3", 0x02010300},
        {"2.1.3.4", 0x02010304},
        {"", 0x01000000},
        {nullptr, 0x01000000},
        {"beta", 0x01000000},
        {"3", 0x03000000},
        {"1.2.3.4.5", 0x01020304},
        {"1.2.3 build 7", 0x01020300},
        // Parts above a byte keep their low byte; the first part is shifted
        // whole, so only its low byte survives too.
        {"1.256.300.511", 0x01002CFF},
        {"300.1", 0x2C010000},
        {"255.255.255.255", 0xFFFFFFFF},
        {"-1.0", 0xFF000000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text ? c.text : "(null)");
        EXPECT_EQ(static_cast<Steinberg::uint32>(parseVendorVersion(c.text)), c.expected);
    }
}

TEST(AdapterText, CategoryFromSubCategoriesInOrder) {
    struct Case {
        const char* text;
        VstInt32 expected;
    } cases[] = {
        {"", kPlugCategUnknown},
        {nullptr, kPlugCategUnknown},
        {"Fx", kPlugCategEffect},
        {"Instrument|Synth", kPlugCategSynth},
        {"Fx|Analyzer", kPlugCategAnalysis},
        {"Fx|Delay", kPlugCategRoomFx},
        {"Fx|Reverb", kPlugCategRoomFx},
        {"Fx|Dynamics", kPlugCategMastering},
        {"Fx|Mastering", kPlugCategMastering},
        {"Fx|Restoration", kPlugCategRestoration},
        {"Fx|Generator", kPlugCategGenerator},
        {"Fx|Spatial", kPlugCategSpacializer},
        {"Fx|Instrument", kPlugCategEffect},
        {"Instrument|Fx", kPlugCategEffect},
        {"Fx|Reverb|Analyzer", kPlugCategAnalysis},
        {"Delay|Dynamics", kPlugCategRoomFx},
        {"Spatial|Generator", kPlugCategGenerator},
        // Substrings, case-sensitive.
        {"Fx|Spatial|Ambisonics", kPlugCategSpacializer},
        {"Fx|Pitch Shift", kPlugCategEffect},
        {"fx|delay", kPlugCategUnknown},
        {"Network", kPlugCategUnknown},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text ? c.text : "(null)");
        EXPECT_EQ(plugCategoryFromSubCategories(c.text), c.expected);
    }
}

// Wine takes code page 1252 for its default locale; Latin-1 letters then
// are one byte each.
TEST(AdapterText, NarrowAndWideTextCutToTheirRoom) {
    if (GetACP() != 1252)
        GTEST_SKIP() << "the system code page is " << GetACP() << ", not 1252";

    struct NarrowCase {
        std::u16string text;
        size_t maxBytes;
        std::string expected;
    } narrowCases[] = {
        {u"Gain", 8, "Gain"},
        {u"Gain", 4, "Gain"},
        {u"Frequency", 8, "Frequenc"},
        {u"Caf\u00e9 cr\u00e8me", 64, "Caf\xe9 cr\xe8me"},
        {u"Caf\u00e9", 3, "Caf"},
        {u"", 8, ""},
        {u"Gain", 0, ""},
        // Only the first 128 units of a text count, terminated or not.
        {std::u16string(200, u'x'), 300, std::string(128, 'x')},
    };
    for (const NarrowCase& c : narrowCases) {
        SCOPED_TRACE(c.expected);
        std::string out(c.maxBytes + 1, '#');
        std::u16string source = c.text;
        if (source.size() > 128)
            source.resize(200); // no terminator within the first 128 units
        narrowText(reinterpret_cast<const TChar*>(source.c_str()), &out[0], c.maxBytes);
        EXPECT_EQ(std::string(out.c_str()), c.expected);
    }
    char untouched[4] = "abc";
    narrowText(nullptr, untouched, 3);
    EXPECT_STREQ(untouched, "");

    struct WideCase {
        std::string text;
        size_t maxUnits;
        std::u16string expected;
    } wideCases[] = {
        {"Gain", 8, u"Gain"},
        {"Frequency", 8, u"Frequenc"},
        {"Caf\xe9", 4, u"Caf\u00e9"},
        {"Caf\xe9", 3, u"Caf"},
        {"", 8, u""},
        {"Gain", 0, u""},
    };
    for (const WideCase& c : wideCases) {
        SCOPED_TRACE(c.text);
        std::u16string out(c.maxUnits + 1, u'#');
        wideText(c.text.c_str(), reinterpret_cast<TChar*>(&out[0]), c.maxUnits);
        EXPECT_EQ(std::u16string(out.c_str()), c.expected);
    }
}
