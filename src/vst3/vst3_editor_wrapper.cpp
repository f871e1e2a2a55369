#include "vst3/vst3_editor_wrapper.h"

#include "vst3/vst_effect_base.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace Steinberg {
// The view interfaces' identifiers; the SDK's own sources define no others
// of the GUI folder.
DEF_CLASS_IID(IPlugView)
DEF_CLASS_IID(IPlugFrame)
} // namespace Steinberg

namespace {

const unsigned char spaceKey = 7;    // VKEY_SPACE
const unsigned char numPadBase = 128; // VKEY_NUMPAD0 and the pad keys after it
const int numPadToDigit = 80;         // VKEY_NUMPAD0 - 80 is "0"

} // namespace

Vst3Key vst3KeyOf(const VstKeyCode& keyCode) {
    Vst3Key key = {0, int16(keyCode.virt), int16(keyCode.modifier)};
    if (keyCode.virt >= numPadBase)
        key.key = char16(keyCode.virt - numPadToDigit);
    else if (keyCode.virt == spaceKey)
        key.key = char16(' ');
    return key;
}

Vst3EditorWrapper::Vst3EditorWrapper(VstEffectBase* effectBase, IEditController* editController)
    : effect(effectBase), controller(editController) {}

Vst3EditorWrapper::~Vst3EditorWrapper() {
    endView();
    controller = nullptr;
}

void Vst3EditorWrapper::detach() {
    close();
    effect = nullptr;
    controller = nullptr;
}

tresult PLUGIN_API Vst3EditorWrapper::queryInterface(const TUID iid, void** obj) {
    if (FUnknownPrivate::iidEqual(iid, FUnknown::iid) || FUnknownPrivate::iidEqual(iid, IPlugFrame::iid)) {
        addRef();
        *obj = static_cast<IPlugFrame*>(this);
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

bool Vst3EditorWrapper::makeView() {
    if (!view && controller) {
        view = owned(controller->createView(ViewType::kEditor));
        if (view)
            view->setFrame(this);
    }
    return view != nullptr;
}

void Vst3EditorWrapper::endView() {
    if (!view)
        return;
    view->setFrame(nullptr);
    view->removed();
    view = nullptr;
}

bool Vst3EditorWrapper::getRect(ERect** rect) {
    ViewRect size;
    if (makeView() && view->getSize(&size) == kResultOk && size.getHeight() > 0 && size.getWidth() > 0) {
        viewRect = size;
        // ERect holds 16 bits a side; a larger view wraps.
        editorRect.top = VstInt16(size.top);
        editorRect.left = VstInt16(size.left);
        editorRect.bottom = VstInt16(size.bottom);
        editorRect.right = VstInt16(size.right);
        *rect = &editorRect;
        return true;
    }
    *rect = nullptr;
    return false;
}

bool Vst3EditorWrapper::open(void* window) {
    systemWindow = window;
    return makeView() && view->attached(window, kPlatformTypeHWND) == kResultOk;
}

void Vst3EditorWrapper::close() {
    endView();
    systemWindow = nullptr;
}

tresult PLUGIN_API Vst3EditorWrapper::resizeView(IPlugView* resized, ViewRect* newSize) {
    if (!resized || !newSize || !effect)
        return kResultFalse;
    if (newSize->getHeight() == viewRect.getHeight() && newSize->getWidth() == viewRect.getWidth())
        return kResultOk;
    if (!effect->hostSizeWindow(newSize->getWidth(), newSize->getHeight()))
        return kResultFalse;
    return resized->onSize(newSize);
}

bool Vst3EditorWrapper::onKeyDown(VstKeyCode& keyCode) {
    Vst3Key key = vst3KeyOf(keyCode);
    return view && view->onKeyDown(key.key, key.keyCode, key.modifiers) == kResultOk;
}

bool Vst3EditorWrapper::onKeyUp(VstKeyCode& keyCode) {
    Vst3Key key = vst3KeyOf(keyCode);
    return view && view->onKeyUp(key.key, key.keyCode, key.modifiers) == kResultOk;
}

bool Vst3EditorWrapper::onWheel(float distance) { return view && view->onWheel(distance) == kResultOk; }

bool Vst3EditorWrapper::setKnobMode(VstInt32 mode) {
    FUnknownPtr<IEditController2> controller2(controller);
    return controller2 && controller2->setKnobMode(KnobMode(mode)) == kResultOk;
}
