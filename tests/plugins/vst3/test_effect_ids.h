// What the VST 3 test plug-ins say of themselves, shared with the tests that
// check the host reads it back unchanged.
#pragma once

#include "pluginterfaces/base/funknown.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivstunits.h"

namespace fx3 {

// Class identifiers, laid out by INLINE_UID as the plug-ins' own factory
// lays them out.
const Steinberg::TUID effectClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A01);
const Steinberg::TUID componentOnlyClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A02);
const Steinberg::TUID controllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A03);
const Steinberg::TUID lowercaseClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8A04);

// The factory.
constexpr const char* factoryVendor = "fxhost tests";
constexpr const char* factoryUrl = "https://fxhost.invalid/tests";
constexpr const char* factoryEmail = "mailto:tests@fxhost.invalid";

// The effect class of fx3_effect (and fx3_twoclasses).
constexpr const char* effectName = "Fx3 Effect";
constexpr const char* effectVendor = "fxhost test vendor";
constexpr const char* effectVersion = "1.2.3.4";
constexpr const char* effectSubCategories = "Fx";

// fx3_twoclasses: a first class of the right category that is a component
// but no audio processor, with a name beyond Latin-1 and beyond the basic
// plane (U+00E9 and U+1D11E, as UTF-8).
constexpr const char* componentOnlyName = "Fx3 Caf\xC3\xA9 \xF0\x9D\x84\x9E";

// fx3_factory2: sub-categories with several items, and a name that fills its
// 64-byte field with no terminator.
constexpr const char* fullFieldName = "Fx3 Factory2 name that fills all of the sixty-four bytes exactly";
constexpr const char* factory2SubCategories = "Fx|Delay|Stereo";
constexpr const char* factory2Version = "2.5";

// fx3_noclass: the category names that are not "Audio Module Class".
constexpr const char* controllerName = "Fx3 Controller";
constexpr const char* lowercaseName = "Fx3 Lowercase";
constexpr const char* lowercaseCategory = "audio module class";

// ---------------------------------------------------------------------------
// The plug-ins of test_pair.cpp.

// Two classes each: the audio processor and its controller. fx3_params and
// fx3_midi have the first only.
const Steinberg::TUID gainClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B01);
const Steinberg::TUID gainControllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B02);
const Steinberg::TUID sidechainClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B03);
const Steinberg::TUID sidechainControllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B04);
const Steinberg::TUID doubleClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B05);
const Steinberg::TUID doubleControllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B06);
const Steinberg::TUID stateFailClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B07);
const Steinberg::TUID stateFailControllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B08);
const Steinberg::TUID instrumentClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B09);
const Steinberg::TUID instrumentControllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B0A);
const Steinberg::TUID liarClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B0B);
const Steinberg::TUID liarControllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B0C);
const Steinberg::TUID throwFactoryClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B0D);
const Steinberg::TUID throwFactoryControllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B0E);
const Steinberg::TUID paramsClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B0F);
const Steinberg::TUID midiClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B10);
const Steinberg::TUID splitClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B11);
const Steinberg::TUID splitControllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B12);
const Steinberg::TUID refuseClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B13);
const Steinberg::TUID refuseControllerClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B14);
const Steinberg::TUID refuseAllClassId = INLINE_UID(0x6A4F1C52, 0x8E3B4D7A, 0x9C21F0B3, 0x5D7E8B15);

// Class names ("Audio Module Class"). The classes have no vendor of their
// own: the host reads the factory's.
constexpr const char* gainName = "Fx3 Gain";
constexpr const char* sidechainName = "Fx3 Sidechain";
constexpr const char* doubleName = "Fx3 Double";
constexpr const char* stateFailName = "Fx3 StateFail";
constexpr const char* instrumentName = "Fx3 Instrument";
constexpr const char* liarName = "Fx3 Liar";
constexpr const char* throwFactoryName = "Fx3 ThrowFactory";
constexpr const char* paramsName = "Fx3 Params";
constexpr const char* midiName = "Fx3 Midi";
constexpr const char* splitName = "Fx3 Split";
constexpr const char* refuseName = "Fx3 Refuse";
constexpr const char* refuseAllName = "Fx3 RefuseAll";
// The "Component Controller Class" of every two-class plug-in.
constexpr const char* pairControllerName = "Fx3 Pair Controller";
// The version of every class of these plug-ins.
constexpr const char* pairVersion = "2.1.3";
// Sub-categories of the two-class plug-ins but fx3_instrument; fx3_params
// and fx3_midi have effectSubCategories.
constexpr const char* gainSubCategories = "Fx|Dynamics";
constexpr const char* instrumentSubCategories = "Instrument|Synth";

// Bus names.
constexpr const char* stereoInName = "Stereo In";
constexpr const char* stereoOutName = "Stereo Out";
constexpr const char* sidechainBusName = "Sidechain";
constexpr const char* eventInName = "Event In";
constexpr const char* eventOutName = "Event Out";
constexpr Steinberg::int32 eventChannels = 16;

// One parameter as getParameterInfo describes it; its value starts at
// defaultValue.
struct ParamEntry {
    Steinberg::Vst::ParamID id;
    const char* title;
    const char* shortTitle;
    const char* units;
    Steinberg::int32 stepCount;
    Steinberg::Vst::ParamValue defaultValue;
    Steinberg::Vst::UnitID unitId;
    Steinberg::int32 flags;
};

using Steinberg::Vst::ParameterInfo;

// The one parameter of the two-class plug-ins. The audio is the input times
// twice its value, so the default passes the input through exactly; its
// text is that factor, "%.2f".
constexpr Steinberg::Vst::ParamID gainParamId = 100;
constexpr ParamEntry gainParameters[] = {
    {gainParamId, "Gain", "Gn", "dB", 0, 0.5, Steinberg::Vst::kRootUnitId, ParameterInfo::kCanAutomate},
};

// The two-class plug-ins' states. The processor's: the gain as IEEE
// binary64, little-endian, then these two bytes (10 bytes in all). The
// controller's: these two bytes, then one byte it keeps for the host (3 in
// all; the byte starts as controllerStateStart).
constexpr Steinberg::int32 gainStateSize = 10;
constexpr char gainStateMark[2] = {'G', '1'};
constexpr Steinberg::int32 controllerStateSize = 3;
constexpr char controllerStateMark[2] = {'U', 'I'};
constexpr Steinberg::uint8 controllerStateStart = 1;

// What the processor sends its controller on connect: an IMessage with this
// ID and one int attribute.
constexpr const char* helloMessageId = "gainHello";
constexpr const char* helloAttribute = "value";
constexpr Steinberg::int64 helloValue = 42;

// fx3_params: parameters in getParameterInfo order. Their texts are the
// normalized value, "%.2f".
constexpr ParamEntry paramsParameters[] = {
    {1, "Locked", "", "", 0, 0.25, Steinberg::Vst::kRootUnitId, ParameterInfo::kIsReadOnly},
    {2, "Bypass", "", "", 1, 0.0, Steinberg::Vst::kRootUnitId, ParameterInfo::kIsBypass | ParameterInfo::kCanAutomate},
    {3, "Program", "", "", 2, 0.0, 0, ParameterInfo::kIsProgramChange},
    {4, "Gain", "", "dB", 0, 0.5, 0, ParameterInfo::kCanAutomate},
    {5, "Cutoff", "", "Hz", 0, 0.75, 2, ParameterInfo::kNoFlags},
    {6, "Hidden", "", "", 1, 0.0, Steinberg::Vst::kRootUnitId, ParameterInfo::kIsHidden | ParameterInfo::kCanAutomate},
    {7, "Steps", "", "", 2, 0.5, 1, ParameterInfo::kNoFlags},
    {8, "An extremely long parameter title beyond 32", "Long", "", 0, 0.125, 0, ParameterInfo::kNoFlags},
};

// fx3_params: units in getUnitInfo order.
struct UnitEntry {
    Steinberg::Vst::UnitID id;
    Steinberg::Vst::UnitID parentId;
    const char* name;
    Steinberg::Vst::ProgramListID programListId;
};
constexpr UnitEntry paramsUnits[] = {
    {Steinberg::Vst::kRootUnitId, Steinberg::Vst::kNoParentUnitId, "Root", 1},
    {1, 0, "Osc", Steinberg::Vst::kNoProgramListId},
    {2, 1, "Filter", Steinberg::Vst::kNoProgramListId},
};

// fx3_params: program lists in getProgramListInfo order. Only list 1 has
// program attributes (instrumentAttribute) and a pitch name (for
// pitchNameKey, every program).
constexpr const char* otherPrograms[] = {"Other A", "Other B"};
constexpr const char* factoryPrograms[] = {"Init", "Warm", "Bright"};
constexpr const char* factoryInstruments[] = {"Piano|Grand", "Piano|Upright", "Organ"};
struct ProgramListEntry {
    Steinberg::Vst::ProgramListID id;
    const char* name;
    Steinberg::int32 programCount;
    const char* const* programs;
};
constexpr ProgramListEntry paramsProgramLists[] = {
    {2, "Other", 2, otherPrograms},
    {1, "Factory", 3, factoryPrograms},
};
constexpr Steinberg::Vst::ProgramListID instrumentListId = 1;
constexpr const char* instrumentAttribute = "MusicalInstrument";
constexpr Steinberg::int16 pitchNameKey = 60;
constexpr const char* pitchName = "Middle C";

// fx3_midi: parameters, and the MIDI controllers of event bus 0 (any
// channel) mapped to them. Texts as fx3_params'.
constexpr Steinberg::Vst::ParamID volumeParamId = 10;
constexpr Steinberg::Vst::ParamID bendParamId = 11;
constexpr ParamEntry midiParameters[] = {
    {volumeParamId, "Volume", "", "", 0, 1.0, Steinberg::Vst::kRootUnitId, ParameterInfo::kCanAutomate},
    {bendParamId, "Bend", "", "", 0, 0.5, Steinberg::Vst::kRootUnitId, ParameterInfo::kCanAutomate},
};
constexpr Steinberg::int16 volumeController = 7; // kCtrlVolume
constexpr Steinberg::int16 bendController = 129; // kPitchBend

} // namespace fx3
