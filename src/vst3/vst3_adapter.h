// Vst3Adapter: one VST 3 plug-in presented as a VST 2 effect. Vst3AdapterCore
// talks to the plug-in; VstEffectBase is the AEffect record the host sees.
// The host reaches past the record only for the settings blob (classId,
// component, controller) and, with an editor open, onParamEdit.
//
// Threads: as VstEffectBase and Vst3AdapterCore say. effProcessEvents
// belongs on the audio thread between blocks.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "pluginterfaces/vst/ivsthostapplication.h"
#include "vst2/vst2_interface.h"
#include "vst3/vst3_adapter_core.h"
#include "vst3/vst_effect_base.h"

class Vst3Adapter : public Vst3AdapterCore, public VstEffectBase, public Steinberg::Vst::IVst3ToVst2Wrapper {
public:
    // An adapter for class `classId` of `factory`, or null when the factory
    // makes no audio processor of it, neither directly nor through its
    // component, or the plug-in fails to initialise.
    // Runs the plug-in's set-up; the host callback is answered without an
    // object (AEffect.user is still 0) throughout.
    static VstEffectBase* create(Steinberg::IPluginFactory* factory, const Steinberg::TUID classId,
                                 audioMasterCallback audioMaster);
    ~Vst3Adapter() override;

    // ---- VST 2 ------------------------------------------------------------
    VstIntPtr dispatcher(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) override;
    void setParameter(VstInt32 index, float value) override;
    float getParameter(VstInt32 index) override;
    void processReplacing(float** inputs, float** outputs, VstInt32 frames) override;
    void processDoubleReplacing(double** inputs, double** outputs, VstInt32 frames) override;

    void getParameterName(VstInt32 index, char* text);
    void getParameterLabel(VstInt32 index, char* text);
    void getParameterDisplay(VstInt32 index, char* text);
    bool canParameterBeAutomated(VstInt32 index);
    bool string2parameter(VstInt32 index, char* text);
    bool getParameterProperties(VstInt32 index, VstParameterProperties* properties);
    void setProgram(VstInt32 program);
    void getProgramName(char* text);
    bool getProgramNameIndexed(VstInt32 category, VstInt32 index, char* text);
    VstInt32 getMidiProgramName(VstInt32 channel, MidiProgramName* program);
    VstInt32 getCurrentMidiProgram(VstInt32 channel, MidiProgramName* program);
    VstInt32 getMidiProgramCategory(VstInt32 channel, MidiProgramCategory* category);
    bool getMidiKeyName(VstInt32 channel, MidiKeyName* key);
    bool getInputProperties(VstInt32 index, VstPinProperties* properties);
    bool getOutputProperties(VstInt32 index, VstPinProperties* properties);
    bool setSpeakerArrangement(VstSpeakerArrangement* input, VstSpeakerArrangement* output);
    bool getSpeakerArrangement(VstSpeakerArrangement** input, VstSpeakerArrangement** output);
    VstInt32 canDo(const char* text);
    VstInt32 getPlugCategory();
    VstInt32 processEvents(VstEvents* events);

    // ---- hooks of the core, bound to VST 2 --------------------------------
    bool init() override;
    void enableDoubleReplacing() override { enableDoubleReplacingFlag(); }
    void setInitialDelay(int32 frames) override { setInitialDelayValue(frames); }
    void setNoTail() override { setNoTailFlag(); }
    void ioChanged() override { hostIoChanged(); }
    void updateDisplay() override { hostUpdateDisplay(); }
    void setNumInputs(int32 count) override;
    void setNumOutputs(int32 count) override;
    bool sizeWindow(int32 width, int32 height) override { return hostSizeWindow(width, height); }
    void setupParameters() override;
    void setupProcessTimeInfo() override;
    void processOutputEvents() override;
    void setupBuses() override;
    void automate(int32 index, float value) override;
    void beginEditHost(int32 index) override;
    void endEditHost(int32 index) override;
    void paramEdited(ParamID id, double value) override;

    // ---- FUnknown, once for all bases -------------------------------------
    tresult PLUGIN_API queryInterface(const Steinberg::TUID iid, void** obj) override;
    Steinberg::uint32 PLUGIN_API addRef() override { return Vst3AdapterCore::addRef(); }
    Steinberg::uint32 PLUGIN_API release() override { return Vst3AdapterCore::release(); }
    // IHostApplication: the VST 2 host's product name.
    tresult PLUGIN_API getName(Steinberg::Vst::String128 name) override;

    VstSpeakerArrangement* vst2InputArrangement = nullptr;
    VstSpeakerArrangement* vst2OutputArrangement = nullptr;
    VstEvents* vst2OutputEvents = nullptr;
    VstInt32 currentProcessLevel = kVstProcessLevelRealtime;
    struct ProgramCategory {
        MidiProgramCategory category;
        Steinberg::Vst::String128 attribute;
    };
    std::vector<std::vector<ProgramCategory>> programCategories;
    // While an editor is open: told of each edit the plug-in makes itself.
    std::function<void(ParamID, double&)> onParamEdit;

private:
    Vst3Adapter(Steinberg::IPluginFactory* factory, Steinberg::Vst::IAudioProcessor* processor,
                Steinberg::Vst::IComponent* component, Steinberg::Vst::IEditController* controller,
                const Steinberg::TUID classId, audioMasterCallback audioMaster);
    void readClassInfo(Steinberg::IPluginFactory* factory, const Steinberg::TUID classId);
    template <typename Sample> void runBlock(Sample** inputs, Sample** outputs, VstInt32 frames, int32 size);
    void updateProcessLevel();
    bool pinProperties(Steinberg::Vst::BusDirection direction, VstInt32 index, VstPinProperties* properties);
    void fillMidiProgram(VstInt32 channel, Steinberg::Vst::ProgramListID list, MidiProgramName* program);
    int32 addCategory(std::vector<ProgramCategory>& list, const Steinberg::Vst::TChar* text);
    void freeOutputEvents();
};
