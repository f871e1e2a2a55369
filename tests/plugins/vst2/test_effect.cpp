// One small VST 2 effect, built into several test plug-ins: compile
// definitions give its pins, parameters and latency, and FX_TRAITS names what
// it does otherwise (tests/plugins/CMakeLists.txt says what each provokes).
// Output pin c is input pin c delayed by the latency (silence where there is
// no such input): a known function of the input, so the tests can check
// every byte. Every call received is logged, and the host's answers to what
// the plug-in asks as it opens (see plugin_log.h).

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "misbehaviour.h"
#include "plugin_log.h"
#include "vst2/vst2_interface.h"

namespace {

constexpr VstInt32 pinsIn = FX_INPUTS, pinsOut = FX_OUTPUTS, params = FX_PARAMS, latency = FX_LATENCY;

// Whether FX_TRAITS names `trait`.
constexpr bool has(std::string_view trait) {
    return std::string_view(FX_TRAITS).find(trait) != trait.npos;
}

struct Plugin {
    AEffect effect{};
    audioMasterCallback host = nullptr;
    std::deque<double> delay[4] = {}; // per output pin, the last `latency` inputs
    std::string chunk = "chunk of " FX_PLUGIN_NAME;
    float values[8] = {0.75f, 0.35f, 0.5f, 0.2f, 0.25f}; // "Probe" starts here; the rest start at 0
    HWND view = NULL;                                    // the editor's own window, while open
    int bursts = 0;
    // Looked up once, at the entry: the audio calls would otherwise search
    // the environment once per block, which a benchmark would count as the
    // host's time.
    bool logging = pluginLogEnabled();
};

// The "Probe" parameters, each making one case of the dialog's choice
// between a list and a slider. Others show their value with no label.
const char* const probeNames[] = {"Switch", "Ten steps", "Eleven steps", "Fixed", "Output level"};

std::string parameterText(const Plugin& plugin, VstInt32 index, VstInt32 opcode) {
    char text[64] = "";
    float value = index >= 0 && index < params && index < 8 ? plugin.values[index] : 0.0f;
    int percent = int(value * 100.0f + 0.5f), probe = has("Probe") ? int(index) : -1;
    if (opcode == effGetParamName && probe >= 0 && probe < 5)
        return probeNames[probe];
    if (opcode == effGetParamName)
        return "Param " + std::to_string(index);
    if (opcode == effGetParamLabel)
        return probe == 4 ? " dB " : "";
    switch (probe) {
    case 0: // two texts, flipping at 0.5, blanks around
        return value >= 0.5f ? " On " : " Off ";
    case 1: // exactly ten
        return std::to_string(std::min(percent / 10, 9));
    case 2: // eleven
        return std::to_string(percent / 10);
    case 3: // one
        return "fixed";
    case 4: // continuous, blanks around
        std::snprintf(text, sizeof text, "  %.2f  ", double(value));
        return text;
    default:
        std::snprintf(text, sizeof text, "%.3f", double(value));
        return text;
    }
}

// The editor's rectangle: 320 by 240 away from the origin; with "ZeroRect"
// an empty one; with "HugeRect" one as large as the 16-bit fields allow.
ERect editorRect = has("ZeroRect")   ? ERect{0, 0, 0, 0}
                   : has("HugeRect") ? ERect{-32768, -32768, 32767, 32767}
                                     : ERect{4, 8, 244, 328};

// Messages a test sends to the editor's own window, as a user's clicks in
// it would make the plug-in act: resize yourself to wParam by lParam; make
// a burst of lParam notifications, on a thread of your own, after changing
// your settings if wParam is not 0. Characters typed into it are logged
// ("char <code>"), as a text field would take them.
const UINT resizeYourself = WM_APP + 1, notifyBurst = WM_APP + 2;

LRESULT CALLBACK viewProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Plugin* plugin = reinterpret_cast<Plugin*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == resizeYourself && plugin)
        return plugin->host(&plugin->effect, audioMasterSizeWindow, VstInt32(wParam), lParam, nullptr, 0.0f);
    if (message == notifyBurst && plugin) {
        if (wParam != 0)
            plugin->chunk = "chunk after burst " + std::to_string(++plugin->bursts);
        std::thread notifier([plugin, lParam] {
            for (LPARAM i = 0; i < lParam; ++i)
                plugin->host(&plugin->effect, audioMasterAutomate, 0, 0, nullptr, 0.5f);
        });
        notifier.join();
        return 1;
    }
    if (message == WM_CHAR) {
        pluginLog("char %u", unsigned(wParam));
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

// The start of this DLL's image, which the linker names: its instance.
extern "C" IMAGE_DOS_HEADER __ImageBase;

// A child window of the host's, as real editors make, of the editor's size.
void openView(Plugin& plugin, HWND parent) {
    WNDCLASSW viewClass = {};
    viewClass.lpfnWndProc = viewProc;
    viewClass.hInstance = HINSTANCE(&__ImageBase);
    viewClass.lpszClassName = L"fx editor view";
    RegisterClassW(&viewClass); // fails harmlessly when already registered
    plugin.view =
        CreateWindowExW(0, L"fx editor view", L"", WS_CHILD | WS_VISIBLE, 0, 0, editorRect.right - editorRect.left,
                        editorRect.bottom - editorRect.top, parent, NULL, HINSTANCE(&__ImageBase), NULL);
    SetWindowLongPtrW(plugin.view, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&plugin));
}

// What plug-ins commonly ask, without an instance (effect null) and with
// one, on one line, so that a test compares all the answers at once.
void askHost(audioMasterCallback host, AEffect* effect) {
    auto ask = [&](VstInt32 opcode, void* ptr = nullptr, VstIntPtr value = 0) {
        return static_cast<long long>(host(effect, opcode, 0, value, ptr, 0.0f));
    };
    char vendor[256] = {}, time[128] = "null";
    std::string canDo;
    for (const char* what : {"sendVstTimeInfo", "sizeWindow", "supplyIdle", "receiveVstEvents"})
        canDo += std::to_string(ask(audioMasterCanDo, const_cast<char*>(what)));
    if (const VstTimeInfo* t = reinterpret_cast<const VstTimeInfo*>(
            ask(audioMasterGetTime, nullptr, kVstNanosValid | kVstTempoValid | kVstTimeSigValid)))
        std::snprintf(time, sizeof time, "flags=%d tempo=%g sig=%d/%d rate=%g", t->flags, t->tempo, t->timeSigNumerator,
                      t->timeSigDenominator, t->sampleRate);
    long long vendorAnswer = ask(audioMasterGetVendorString, vendor);
    pluginLog("host version=%lld rate=%lld block=%lld level=%lld vendor=%lld:%s canDo=%s time=%s",
              ask(audioMasterVersion), ask(audioMasterGetSampleRate), ask(audioMasterGetBlockSize),
              ask(audioMasterGetCurrentProcessLevel), vendorAnswer, vendor, canDo.c_str(), time);
}

// The opcodes the host sends, by name, so that the log reads like its code.
#define NAMED(opcode)                                                                                                  \
    { opcode, #opcode }
const struct {
    VstInt32 opcode;
    const char* name;
} opcodeNames[] = {
    // clang-format off
    NAMED(effOpen), NAMED(effClose), NAMED(effSetSampleRate), NAMED(effSetBlockSize), NAMED(effMainsChanged),
    NAMED(effGetChunk), NAMED(effSetChunk), NAMED(effConnectInput), NAMED(effConnectOutput), NAMED(effIdle),
    NAMED(effGetInputProperties), NAMED(effGetOutputProperties), NAMED(effSetSpeakerArrangement),
    NAMED(effGetTailSize), NAMED(effSetProcessPrecision), NAMED(effEditOpen), NAMED(effEditClose),
    NAMED(effEditGetRect),
    // clang-format on
};

VstIntPtr fillPin(VstInt32 index, void* ptr, bool input) {
    VstInt32 pins = input ? pinsIn : pinsOut;
    if (index < 0 || index >= pins)
        return 0;
    VstPinProperties* pin = static_cast<VstPinProperties*>(ptr);
    std::memset(pin, 0, sizeof *pin);
    std::snprintf(pin->label, sizeof pin->label, "%s %d", input ? "In" : "Out", int(index) + 1);
    bool mono = pins == 1 || (input && has("MixedPins") && index >= 2);
    pin->arrangementType = mono ? kSpeakerArrMono : kSpeakerArrStereo;
    pin->flags = kVstPinIsActive | (mono ? 0 : kVstPinIsStereo);
    return 1;
}

VstIntPtr VSTCALLBACK dispatcher(AEffect* effect, VstInt32 opcode, VstInt32 index, VstIntPtr value, void* ptr,
                                 float opt) {
    // Logged before acting, so that a call that throws still shows; an
    // arrangement by its type, not by its address. The parameter texts and
    // the editor's idle calls come too often to be worth a line.
    Plugin* plugin = static_cast<Plugin*>(effect->object);
    if (opcode == effGetParamLabel || opcode == effGetParamDisplay || opcode == effGetParamName) {
        std::string text = parameterText(*plugin, index, opcode);
        std::snprintf(static_cast<char*>(ptr), 64, "%s", text.c_str()); // the VST 2 limits are smaller still
        return 0;
    }
    if (opcode == effEditIdle)
        return 0;
    const char* name = "other";
    for (const auto& named : opcodeNames)
        name = named.opcode == opcode ? named.name : name;
    if (opcode == effSetSpeakerArrangement)
        value = static_cast<VstSpeakerArrangement*>(ptr)->type;
    pluginLog("dispatch %s %d %lld %g", name, index, static_cast<long long>(value), opt);
    switch (opcode) {
    case effOpen:
        if (has("ThrowOpen"))
            throw std::runtime_error("fails in effOpen on purpose");
        if (has("Rude"))
            misbehave(Moment::Open);
        if (has("Asks")) {
            askHost(plugin->host, effect);
            plugin->host(effect, audioMasterNeedIdle, 0, 0, nullptr, 0.0f);
        }
        return 0;
    case effClose:
        if (has("Rude"))
            misbehave(Moment::Close);
        delete plugin; // the host never touches the record again
        return 1;
    case effEditOpen:
        openView(*plugin, static_cast<HWND>(ptr));
        return 1;
    case effEditGetRect:
        if (has("NoRect"))
            return 0;
        *static_cast<ERect**>(ptr) = &editorRect;
        return 1;
    case effEditClose:
        // The host may have destroyed its window, and ours with it, first.
        if (plugin->view && IsWindow(plugin->view))
            DestroyWindow(plugin->view);
        plugin->view = NULL;
        return 1;
    case effGetInputProperties:
    case effGetOutputProperties:
        return fillPin(index, ptr, opcode == effGetInputProperties);
    case effSetProcessPrecision:
        return has("FloatOnly") && value == kVstProcessPrecision64 ? 0 : 1;
    case effGetTailSize: // asked as a stream drains
        if (has("HangInTail"))
            Sleep(INFINITE);
        if (has("CrashInTail")) {
            volatile int* nowhere = nullptr;
            *nowhere = 1;
        }
        return 0;
    case effGetChunk:
        *static_cast<void**>(ptr) = &plugin->chunk[0];
        return has("Chunks") ? VstIntPtr(plugin->chunk.size()) : 0;
    case effSetChunk:
        plugin->chunk.assign(static_cast<const char*>(ptr), size_t(value));
        pluginLog("chunk %s", plugin->chunk.c_str());
        return 1;
    }
    return 0; // including effIdle: "no more idle calls"
}

void VSTCALLBACK setParameter(AEffect* effect, VstInt32 index, float value) {
    pluginLog("setParameter %d %g", index, value);
    if (index >= 0 && index < params && index < 8)
        static_cast<Plugin*>(effect->object)->values[index] = value;
}

float VSTCALLBACK getParameter(AEffect* effect, VstInt32 index) {
    return index >= 0 && index < params && index < 8 ? static_cast<Plugin*>(effect->object)->values[index] : 0.0f;
}

// processReplacing, processDoubleReplacing and the old accumulating
// process, which adds to what the outputs hold.
template <typename Sample>
void VSTCALLBACK render(AEffect* effect, Sample** inputs, Sample** outputs, VstInt32 frames) {
    constexpr bool accumulate = has("Accumulate");
    const char* call = sizeof(Sample) == 8 ? "processDoubleReplacing" : accumulate ? "process" : "processReplacing";
    if (static_cast<Plugin*>(effect->object)->logging)
        pluginLog("%s %d", call, frames);
    if (has("Rude") && frames > 0)
        misbehave(Moment::Block);
    if (latency == 0 && !accumulate) { // a plain copy, so that a benchmark measures the host
        for (VstInt32 c = 0; c < pinsOut; ++c) {
            if (c < pinsIn)
                std::memmove(outputs[c], inputs[c], size_t(frames) * sizeof(Sample));
            else
                std::fill(outputs[c], outputs[c] + frames, Sample(0));
        }
        return;
    }
    for (VstInt32 c = 0; c < pinsOut; ++c)
        for (VstInt32 i = 0; i < frames; ++i) {
            double x = c < pinsIn ? double(inputs[c][i]) : 0.0;
            if (latency > 0) {
                std::deque<double>& line = static_cast<Plugin*>(effect->object)->delay[c];
                line.push_back(x);
                x = line.front();
                line.pop_front();
            }
            outputs[c][i] = Sample(accumulate ? outputs[c][i] + x : x);
        }
}

} // namespace

// Exported under the names the variant's .def file gives it.
extern "C" AEffect* VSTCALLBACK plugin_main_entry(audioMasterCallback host) {
    pluginLog("entry");
    static int opened = 0;
    if (has("ThrowEntry"))
        throw std::runtime_error("fails in its entry on purpose");
    if (has("Asks")) {
        wchar_t folder[4 * MAX_PATH];
        char text[4 * 4 * MAX_PATH];
        DWORD length = GetCurrentDirectoryW(4 * MAX_PATH, folder);
        text[WideCharToMultiByte(CP_UTF8, 0, folder, int(length), text, int(sizeof text) - 1, nullptr, nullptr)] = 0;
        pluginLog("cwd %s", text);
        askHost(host, nullptr);
    }
    if (has("NullEntry") || (has("Once") && opened++ > 0))
        return nullptr;

    Plugin* plugin = new Plugin();
    plugin->host = host;
    if (!has("Probe")) // plain parameters start at 0
        std::fill(std::begin(plugin->values), std::end(plugin->values), 0.0f);
    for (std::deque<double>& line : plugin->delay)
        line.assign(size_t(latency), 0.0);
    AEffect& effect = plugin->effect;
    effect.magic = has("BadMagic") ? 0 : kEffectMagic;
    effect.dispatcher = dispatcher;
    effect.setParameter = setParameter;
    effect.getParameter = getParameter;
    effect.numParams = params;
    effect.numInputs = pinsIn;
    effect.numOutputs = pinsOut;
    effect.initialDelay = latency;
    effect.flags = (has("Accumulate") ? 0 : effFlagsCanReplacing) |
                   (has("FloatOnly") ? 0 : effFlagsCanDoubleReplacing) | (has("Chunks") ? effFlagsProgramChunks : 0) |
                   (has("Editor") ? effFlagsHasEditor : 0) | (has("Synth") ? effFlagsIsSynth : 0);
    effect.object = plugin;
    effect.process = render<float>;
    effect.processReplacing = has("Accumulate") || has("NoProcess") ? nullptr : render<float>;
    effect.processDoubleReplacing = has("FloatOnly") ? nullptr : render<double>;
    return &effect;
}
