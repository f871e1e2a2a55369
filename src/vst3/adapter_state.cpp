#include "vst3/adapter_state.h"

#include <cstring>
#include <limits>

#include "public.sdk/source/vst/vstpresetfile.h"
#include "vst3/preset_keys.h"
#include "vst3/settings_stream.h"

using namespace Steinberg;

namespace {

// The blob form of a controller that only knows parameters: records of a
// uint32 parameter id and a binary64 normalized value, little-endian.
const uint64_t kParameterRecordSize = 12;

uint64_t readLittleEndian(const uint8_t* bytes, size_t count) {
    uint64_t value = 0;
    for (size_t i = count; i-- > 0;)
        value = (value << 8) | bytes[i];
    return value;
}

void writeLittleEndian(uint8_t* bytes, uint64_t value, size_t count) {
    for (size_t i = 0; i < count; ++i, value >>= 8)
        bytes[i] = static_cast<uint8_t>(value);
}

void applyParameterRecords(SettingsStream& stream, Vst::IEditController& controller) {
    stream.seek(0, IBStream::kIBSeekSet, nullptr);
    uint8_t record[kParameterRecordSize];
    int32 got = 0;
    while (stream.read(record, sizeof record, &got) == kResultOk && got == static_cast<int32>(sizeof record)) {
        uint64_t bits = readLittleEndian(record + 4, 8);
        double value;
        std::memcpy(&value, &bits, sizeof value);
        controller.setParamNormalized(static_cast<Vst::ParamID>(readLittleEndian(record, 4)), value);
    }
}

// One part's state; empty unless getState answered kResultOk, since a
// plug-in that failed may have written half a state.
template <class Part> IPtr<MemoryStream> partState(Part* part) {
    IPtr<MemoryStream> state = owned(new MemoryStream);
    if (part && part->getState(state) != kResultOk)
        state->setSize(0);
    return state;
}

void setProjectStateType(VstPresetStream& stream) {
    Vst::TChar value[16] = {};
    const char* text = Vst::StateType::kProject;
    for (size_t i = 0; text[i] != 0 && i + 1 < sizeof value / sizeof value[0]; ++i)
        value[i] = static_cast<Vst::TChar>(text[i]);
    stream.getAttributes()->setString(Vst::PresetAttributes::kStateType, value);
}

} // namespace

std::vector<uint8_t> savePresetImage(const FUID& classId, Vst::IComponent* component,
                                     Vst::IEditController* controller) {
    IPtr<SettingsStream> stream = owned(new SettingsStream);
    Vst::PresetFile::savePreset(stream, classId, component, controller);
    return std::vector<uint8_t>(stream->bytes.begin(), stream->bytes.begin() + static_cast<ptrdiff_t>(stream->size));
}

void applyPresetImage(const uint8_t* blob, uint64_t size, const FUID& classId, Vst::IComponent* component,
                      Vst::IEditController* controller) {
    IPtr<SettingsStream> stream = owned(new SettingsStream(blob, size));
    if (size >= 4 && std::memcmp(blob, "VST3", 4) == 0) {
        Vst::PresetFile::loadPreset(stream, classId, component, controller);
    } else if (controller) {
        if (controller->setState(stream) == kNotImplemented && size % kParameterRecordSize == 0)
            applyParameterRecords(*stream, *controller);
    }
}

int32 buildAdapterChunk(MemoryStream& chunk, Vst::IComponent* component, Vst::IEditController* controller) {
    chunk.setSize(0);
    IPtr<MemoryStream> componentState = partState(component);
    IPtr<MemoryStream> controllerState = partState(controller);
    TSize c = componentState->getSize();
    TSize k = controllerState->getSize();
    if (c + k == 0 || c + k > std::numeric_limits<int32>::max() - 16)
        return 0;

    uint8_t sizes[16];
    writeLittleEndian(sizes, static_cast<uint64_t>(c), 8);
    writeLittleEndian(sizes + 8, static_cast<uint64_t>(k), 8);
    chunk.write(sizes, sizeof sizes, nullptr);
    if (c > 0)
        chunk.write(componentState->getData(), static_cast<int32>(c), nullptr);
    if (k > 0)
        chunk.write(controllerState->getData(), static_cast<int32>(k), nullptr);
    return static_cast<int32>(16 + c + k);
}

bool readAdapterChunkSizes(const void* data, int32 byteSize, int64& c, int64& k) {
    auto* bytes = static_cast<const uint8_t*>(data);
    c = byteSize >= 8 ? static_cast<int64>(readLittleEndian(bytes, 8)) : 0;
    k = byteSize >= 16 ? static_cast<int64>(readLittleEndian(bytes + 8, 8)) : 0;
    if (c < 0 || k < 0)
        return false;
    if (c == 0 && k == 0)
        return true;
    // Subtracting from what is there keeps c + k from overflowing.
    int64 room = static_cast<int64>(byteSize) - 16;
    return c <= room && k <= room - c;
}

void applyAdapterChunk(const void* data, int32 byteSize, bool isPreset, Vst::IComponent* component,
                       Vst::IEditController* controller) {
    int64 c = 0;
    int64 k = 0;
    if (!readAdapterChunkSizes(data, byteSize, c, k))
        return;
    // The streams only read, though MemoryStream takes its memory as writable.
    auto* bytes = static_cast<char*>(const_cast<void*>(data));
    IPtr<VstPresetStream> componentPart = owned(new VstPresetStream(c > 0 ? bytes + 16 : nullptr, c));
    IPtr<VstPresetStream> controllerPart = owned(new VstPresetStream(k > 0 ? bytes + 16 + c : nullptr, k));

    if (component)
        component->setState(componentPart);
    componentPart->seek(0, IBStream::kIBSeekSet, nullptr);
    if (!controller)
        return;
    if (!isPreset) {
        setProjectStateType(*componentPart);
        setProjectStateType(*controllerPart);
    }
    controller->setComponentState(componentPart);
    controller->setState(controllerPart);
}
