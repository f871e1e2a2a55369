// VstEditorBase: the VST 2 face of a plug-in's editor, as the adapter's
// dispatcher sees it (effEditGetRect, effEditOpen, effEditClose and the
// calls that go to an open editor).
//
// Threads: the main thread, which owns the editor's window.
#pragma once

#include "vst2/vst2_interface.h"

class VstEffectBase;

class VstEditorBase {
public:
    virtual ~VstEditorBase() {}
    virtual VstEffectBase* getEffect() = 0;
    // The editor's size, in a record that stays the editor's; false and
    // *rect null when the plug-in has no size to give.
    virtual bool getRect(ERect** rect) = 0;
    // Places the editor in `window`, the host's window of the platform.
    virtual bool open(void* window) = 0;
    virtual void close() = 0;
    virtual bool isOpen() = 0;
    virtual void idle() = 0;
    virtual bool onKeyDown(VstKeyCode& keyCode) = 0;
    virtual bool onKeyUp(VstKeyCode& keyCode) = 0;
    virtual bool onWheel(float distance) = 0;
    virtual bool setKnobMode(VstInt32 mode) = 0;
};
