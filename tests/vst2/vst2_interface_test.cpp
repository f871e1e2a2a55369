// The records cross a binary boundary into plug-ins built with other
// compilers: their 64-bit layout must match the published interface exactly.

#include "vst2/vst2_interface.h"

#include <gtest/gtest.h>

#include <cstddef>

static_assert(sizeof(void*) == 8, "the host is a 64-bit program");

static_assert(sizeof(AEffect) == 192, "AEffect size");
static_assert(offsetof(AEffect, dispatcher) == 8, "AEffect::dispatcher");
static_assert(offsetof(AEffect, numPrograms) == 40, "AEffect::numPrograms");
static_assert(offsetof(AEffect, flags) == 56, "AEffect::flags");
static_assert(offsetof(AEffect, resvd1) == 64, "AEffect::resvd1");
static_assert(offsetof(AEffect, initialDelay) == 80, "AEffect::initialDelay");
static_assert(offsetof(AEffect, ioRatio) == 92, "AEffect::ioRatio");
static_assert(offsetof(AEffect, object) == 96, "AEffect::object");
static_assert(offsetof(AEffect, user) == 104, "AEffect::user");
static_assert(offsetof(AEffect, uniqueID) == 112, "AEffect::uniqueID");
static_assert(offsetof(AEffect, processReplacing) == 120, "AEffect::processReplacing");
static_assert(offsetof(AEffect, processDoubleReplacing) == 128, "AEffect::processDoubleReplacing");

static_assert(sizeof(VstTimeInfo) == 88, "VstTimeInfo size");
static_assert(offsetof(VstTimeInfo, timeSigNumerator) == 64, "VstTimeInfo::timeSigNumerator");
static_assert(offsetof(VstTimeInfo, flags) == 84, "VstTimeInfo::flags");

static_assert(sizeof(ERect) == 8, "ERect size");
static_assert(sizeof(VstPinProperties) == 128, "VstPinProperties size");
static_assert(offsetof(VstPinProperties, arrangementType) == 68, "VstPinProperties::arrangementType");
static_assert(sizeof(VstSpeakerProperties) == 112, "VstSpeakerProperties size");
static_assert(sizeof(VstSpeakerArrangement) == 8 + 8 * 112, "VstSpeakerArrangement size");
static_assert(sizeof(VstParameterProperties) == 152, "VstParameterProperties size");
static_assert(sizeof(VstEvent) == 32, "VstEvent size");
static_assert(sizeof(VstMidiEvent) == 32, "VstMidiEvent size");
static_assert(offsetof(VstMidiEvent, midiData) == 24, "VstMidiEvent::midiData");
static_assert(sizeof(VstMidiSysexEvent) == 48, "VstMidiSysexEvent size");
static_assert(offsetof(VstMidiSysexEvent, sysexDump) == 32, "VstMidiSysexEvent::sysexDump");
static_assert(offsetof(VstEvents, events) == 16, "VstEvents::events");
static_assert(sizeof(MidiProgramName) == 80, "MidiProgramName size");
static_assert(sizeof(MidiProgramCategory) == 76, "MidiProgramCategory size");
static_assert(sizeof(MidiKeyName) == 80, "MidiKeyName size");

TEST(Vst2Interface, OpcodesKeepTheirPublishedNumbers) {
    // Spot checks across the enumerations, where a missing entry would shift
    // every later number.
    EXPECT_EQ(effEditIdle, 19);
    EXPECT_EQ(effGetChunk, 23);
    EXPECT_EQ(effConnectInput, 31);
    EXPECT_EQ(effSetSpeakerArrangement, 42);
    EXPECT_EQ(effGetTailSize, 52);
    EXPECT_EQ(effIdle, 53);
    EXPECT_EQ(effGetMidiProgramName, 62);
    EXPECT_EQ(effStartProcess, 71);
    EXPECT_EQ(effSetProcessPrecision, 77);
    EXPECT_EQ(effGetNumMidiOutputChannels, 79);
    EXPECT_EQ(audioMasterGetTime, 7);
    EXPECT_EQ(audioMasterIOChanged, 13);
    EXPECT_EQ(audioMasterGetCurrentProcessLevel, 23);
    EXPECT_EQ(audioMasterGetVendorString, 32);
    EXPECT_EQ(audioMasterCanDo, 37);
    EXPECT_EQ(audioMasterUpdateDisplay, 42);
    EXPECT_EQ(audioMasterOpenFileSelector, 45);
    EXPECT_EQ(kSpeakerArr51, 15);
    EXPECT_EQ(kSpeakerArr102, 28);
    EXPECT_EQ(kSpeakerLfe2, 19);
    EXPECT_EQ(kEffectMagic, ('V' << 24) | ('s' << 16) | ('t' << 8) | 'P');
}
