// Vst3EditorWrapper: a VST 3 plug-in's editor view behind the VST 2 editor
// calls. One object with two faces: VstEditorBase, which the adapter's
// dispatcher calls, and IPlugFrame, which the view gets by setFrame and
// calls back to change its size. The view is made when the host first asks
// for its size or opens it, and each close ends it.
//
// Threads: the main thread, which owns the host's window; the view's
// resizeView is expected there too.
#pragma once

#include "base/source/fobject.h"
#include "pluginterfaces/gui/iplugview.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "vst3/vst_editor_base.h"

// A VST 2 key as the view's key calls take it.
struct Vst3Key {
    Steinberg::char16 key;
    Steinberg::int16 keyCode;
    Steinberg::int16 modifiers;
};

// The VST 2 virtual key and modifier bytes of `keyCode` as a VST 3 key: the
// virtual key is passed on as the key code; the numeric pad's keys (128 and
// above) also carry their digit or sign as the character, and space carries
// " "; the character field of `keyCode` is not used.
Vst3Key vst3KeyOf(const VstKeyCode& keyCode);

class Vst3EditorWrapper : public VstEditorBase, public Steinberg::IPlugFrame, public Steinberg::FObject {
public:
    // `effect` is the VST 2 side the host's answers come through, not
    // counted; `controller` is counted and makes the view.
    Vst3EditorWrapper(VstEffectBase* effect, Steinberg::Vst::IEditController* controller);
    ~Vst3EditorWrapper() override;

    // Ends the view and lets go of controller and effect: for the adapter,
    // which goes before a plug-in that kept this frame is done with it.
    void detach();

    // ---- VstEditorBase ----------------------------------------------------
    VstEffectBase* getEffect() override { return effect; }
    bool getRect(ERect** rect) override;
    bool open(void* window) override;
    void close() override;
    bool isOpen() override { return systemWindow != nullptr; }
    void idle() override {}
    bool onKeyDown(VstKeyCode& keyCode) override;
    bool onKeyUp(VstKeyCode& keyCode) override;
    bool onWheel(float distance) override;
    bool setKnobMode(VstInt32 mode) override;

    // ---- IPlugFrame -------------------------------------------------------
    // A view asks for a new size: the host's window follows, then the view
    // is told. A size the host already has from getRect goes nowhere.
    Steinberg::tresult PLUGIN_API resizeView(Steinberg::IPlugView* view, Steinberg::ViewRect* newSize) override;

    // ---- FUnknown: FUnknown and IPlugFrame only ----------------------------
    Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID iid, void** obj) override;
    Steinberg::uint32 PLUGIN_API addRef() override { return FObject::addRef(); }
    Steinberg::uint32 PLUGIN_API release() override { return FObject::release(); }

    OBJ_METHODS(Vst3EditorWrapper, FObject)

private:
    bool makeView();
    void endView();

    VstEffectBase* effect;
    void* systemWindow = nullptr; // parent window of the open view; null: not open
    Steinberg::IPtr<Steinberg::Vst::IEditController> controller;
    Steinberg::IPtr<Steinberg::IPlugView> view;
    Steinberg::ViewRect viewRect;  // the size getRect last saw
    ERect editorRect = {0, 0, 0, 0}; // the same, as effEditGetRect hands it out
};
