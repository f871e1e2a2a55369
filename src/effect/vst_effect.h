// VSTEffect: the host's side of one opened VST 2 plug-in (or of the adapter
// that presents a VST 3 plug-in as one). Everything above this class speaks
// VST 2 only.
//
// Threads: the main thread opens, closes, runs the idle timer and drives
// editors. hostCallback may be called on any thread the plug-in chooses and
// takes no lock.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "request/options.h"
#include "request/stream_format.h"
#include "vst2/vst2_interface.h"

class Vst3Adapter;
namespace VST3 {
namespace Hosting {
class Module;
}
} // namespace VST3

class VSTEffect {
public:
    VSTEffect();
    // A new, unopened effect with the process level --process asks for.
    static std::unique_ptr<VSTEffect> create(const OptionMap& arguments);
    ~VSTEffect(); // suspend, close an open editor, effClose
    VSTEffect(const VSTEffect&) = delete;
    VSTEffect& operator=(const VSTEffect&) = delete;

    // Opens through a library's main entry. False for a null entry, an entry
    // that throws, or a record that openEffect refuses.
    bool openEntry(VstPluginMainProc entry);
    // Verifies and starts a plug-in record: refuses null, a wrong magic and
    // instruments; then effOpen, the rate if known, block size 512, the idle
    // timer and effMainsChanged 1. False if the plug-in throws while opening;
    // `aeffect` then stays set so that the destructor still closes it.
    bool openEffect(AEffect* effect);

    // True when a configuration window can be offered: the plug-in has its
    // own editor, or parameters for the generic dialog.
    bool canConfigure() const;

    // Makes the plug-in agree with `format`, which comes back with the
    // channels and masks it granted; fills usedInputs and usedOutputs. False
    // for a plug-in without audio inputs or outputs. May run again at any
    // time, also while the plug-in is resumed.
    bool negotiateFormat(StreamFormat& format);
    // Tells the plug-in which sample type the blocks will have.
    void setPrecision(bool doublePrecision);
    // Run one block of at most 512 frames. The planes are the stream's
    // channels; pins the stream does not use get zeroed scratch planes.
    // False if the plug-in is not running. After the first block of a given
    // size nothing allocates.
    bool processFloat(float** inputs, float** outputs, uint32_t frames);
    bool processDouble(double** inputs, double** outputs, uint32_t frames);
    // effGetTailSize: the plug-in's answer, low 32 bits.
    uint32_t tailSize();
    // initialDelay in frames; negative and absent read as 0.
    uint64_t latency() const;

    // Parameters and texts; a plug-in's exception gives 0.5, nothing or an
    // empty text. `opcode` is effGetParamLabel, effGetParamDisplay or
    // effGetParamName.
    float getParameter(int32_t index);
    void setParameter(int32_t index, float value);
    std::string getText(int32_t index, int32_t opcode);
    // Gives a settings blob to the plug-in: its chunk, or its parameters as
    // little-endian floats. Whether it accepted them is not known.
    void applySettings(const uint8_t* blob, uint64_t size);
    // The plug-in's settings blob as it stands: its chunk when it keeps one,
    // else its parameters as little-endian floats; empty without a plug-in.
    std::vector<uint8_t> currentSettings();

    // Delivers parameter changes that wait inside a VST 3 adapter by a
    // block of 0 frames, so that a state read next sees them. Negotiates a
    // default format first if no stream has.
    void flushParameters();
    // The information report: the pins of both directions, on standard
    // error.
    void printInfo();

    // The plug-in's own editor in `window` (an HWND): effEditOpen, then the
    // window's client area is sized to the editor's rectangle (100 by 100
    // when it gives none). Nothing for a plug-in without an editor or with
    // one open already. Main thread.
    void openEditor(void* window);
    // effEditClose if the editor is open; the window is forgotten. Main
    // thread.
    void closeEditor();

    // Main thread, from the idle timer.
    void idleTick();
    void updateDisplay();
    void resizeEditor(int32_t width, int32_t height);
    // effMainsChanged 0 / 1; a plug-in's exception is swallowed and the flag
    // is set all the same.
    void suspend();
    void resume();

    // The one audioMasterCallback of the process. Finds its object through
    // AEffect::user; answers calls made before that is set (from inside the
    // main entry) without one.
    static VstIntPtr VSTCALLBACK hostCallback(AEffect* effect, VstInt32 opcode, VstInt32 index,
                                              VstIntPtr value, void* ptr, float opt);

    // What the host answers, whoever asks.
    static const VstInt32 hostVersion = 2400;
    static const VstInt32 blockSize = 512;
    static const char* const vendorString;
    static const char* const productString;

    bool running = false;     // effMainsChanged was last called with 1
    uint32_t sampleRate = 0;  // last rate given to the plug-in; 0: none yet
    AEffect* aeffect = nullptr;
    VstPluginMainProc entryPoint = nullptr; // kept so the plug-in can be reopened
    std::shared_ptr<VST3::Hosting::Module> module; // the VST 3 module this effect came from
    Vst3Adapter* adapter = nullptr;                // set for a VST 3 plug-in; effClose destroys it
    bool editorOpen = false;
    float tempo = 120.0f;
    uint32_t timeSignature = 0x40002; // numerator << 16 | log2(denominator): 4/4
    int32_t sizeCheckCount = 0;       // idle ticks left that look for a new editor size
    int32_t editorWidth = 0;
    int32_t editorHeight = 0;
    std::function<void(int32_t)> changeCallback; // told of plug-in notifications
    void* editorWindow = nullptr;                // HWND holding the plug-in's editor
    VstTimeInfo timeInfo;                        // what audioMasterGetTime hands out
    bool needIdle = false;
    int32_t processLevel = kVstProcessLevelOffline;
    uint32_t usedInputs = 0;  // plug-in inputs the stream feeds
    uint32_t usedOutputs = 0; // plug-in outputs the stream takes
    std::vector<uint8_t> scratch;        // planes for pins the stream does not use; only grows
    std::vector<void*> channelPointers;  // inputs then outputs of one block when scratch is in use
    bool useDouble = false;  // the plug-in was told kVstProcessPrecision64
    bool configured = false; // negotiateFormat has succeeded at least once

private:
    VstIntPtr dispatch(VstInt32 opcode, VstInt32 index = 0, VstIntPtr value = 0, void* ptr = nullptr,
                       float opt = 0.0f);
    VstTimeInfo* fillTimeInfo(VstIntPtr mask);
    struct PinGroup {
        VstInt32 count;
        VstInt32 arrangement;
    };
    PinGroup pinGroup(VstInt32 pins, VstInt32 opcode);
    template <class T> T** pinPlanes(T** inputs, T** outputs, uint32_t frames);
    void currentEditorSize(int32_t& width, int32_t& height);
    VstIntPtr callback(VstInt32 opcode, VstInt32 index, VstIntPtr value);
};

// A count field of the plug-in's record, negative read as 0.
inline int32_t nonNegative(VstInt32 count) { return count < 0 ? 0 : count; }
