// VstEffectBase: the VST 2 face of an adapted plug-in. It owns the AEffect
// record that the host sees, turns the record's entry points into virtual
// operations on the object behind it, and wraps the calls back into the
// host's audioMasterCallback.
//
// Threads: the dispatcher is entered on the main thread, and on the worker
// of a live run for the stream's calls; processReplacing and
// processDoubleReplacing on whichever thread runs blocks. Nothing here locks.
#pragma once

#include "vst2/vst2_interface.h"
#include "vst3/vst_editor_base.h"

class VstEffectBase {
public:
    explicit VstEffectBase(audioMasterCallback audioMaster);
    virtual ~VstEffectBase();
    VstEffectBase(const VstEffectBase&) = delete;
    VstEffectBase& operator=(const VstEffectBase&) = delete;

    AEffect* getAeffect() { return &cEffect; }

    // One dispatcher opcode. The record's dispatcher entry calls this and,
    // for effClose, then destroys the object.
    virtual VstIntPtr dispatcher(VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr, float opt) = 0;
    virtual void setParameter(VstInt32 index, float value) = 0;
    virtual float getParameter(VstInt32 index) = 0;
    virtual void processReplacing(float** inputs, float** outputs, VstInt32 frames) = 0;
    virtual void processDoubleReplacing(double** inputs, double** outputs, VstInt32 frames) = 0;

    // What the adapter tells the host about itself.
    void enableDoubleReplacingFlag();
    void setInitialDelayValue(VstInt32 frames) { cEffect.initialDelay = frames; }
    void setNoTailFlag() { cEffect.flags |= effFlagsNoSoundInStop; }
    // audioMasterIOChanged, audioMasterUpdateDisplay, audioMasterSizeWindow;
    // false while there is no host callback.
    bool hostIoChanged();
    bool hostUpdateDisplay();
    bool hostSizeWindow(VstInt32 width, VstInt32 height);
    // Any other call to the host; 0 without a callback.
    VstIntPtr callHost(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr,
                       float opt = 0.0f);

    audioMasterCallback audioMaster;
    VstEditorBase* editor = nullptr; // the editor's VST 2 face; null: no editor
    float sampleRate = 44100.0f;
    VstInt32 blockSize = 1024;
    VstInt32 numPrograms = 0;
    VstInt32 numParams = 0;
    VstInt32 curProgram = 0;

protected:
    AEffect cEffect;
};
