#include "vst3/settings_stream.h"

#include <algorithm>
#include <cstring>

using namespace Steinberg;

SettingsStream::SettingsStream() = default;

SettingsStream::SettingsStream(const uint8_t* data, uint64_t size) : size(size), writable(false) {
    if (size > 0)
        bytes.assign(data, data + size);
}

tresult PLUGIN_API SettingsStream::queryInterface(const TUID iid, void** object) {
    if (FUnknownPrivate::iidEqual(iid, FUnknown::iid) || FUnknownPrivate::iidEqual(iid, IBStream::iid)) {
        addRef();
        *object = static_cast<IBStream*>(this);
        return kResultOk;
    }
    *object = nullptr;
    return kNoInterface;
}

uint32 PLUGIN_API SettingsStream::addRef() {
    return ++references;
}

uint32 PLUGIN_API SettingsStream::release() {
    uint32 left = --references;
    if (left == 0)
        delete this;
    return left;
}

tresult PLUGIN_API SettingsStream::read(void* buffer, int32 numBytes, int32* numBytesRead) {
    uint64_t count = numBytes > 0 ? std::min<uint64_t>(static_cast<uint64_t>(numBytes), size - position) : 0;
    if (count > 0) {
        std::memcpy(buffer, bytes.data() + position, static_cast<size_t>(count));
        position += count;
    }
    if (numBytesRead)
        *numBytesRead = static_cast<int32>(count);
    return kResultOk;
}

tresult PLUGIN_API SettingsStream::write(void* buffer, int32 numBytes, int32* numBytesWritten) {
    if (!writable)
        return kNotImplemented;
    uint64_t count = numBytes > 0 ? static_cast<uint64_t>(numBytes) : 0;
    if (count > 0) {
        uint64_t end = position + count;
        if (end > bytes.size())
            bytes.resize(static_cast<size_t>(std::max<uint64_t>({2 * bytes.size(), end, 16384})));
        std::memcpy(bytes.data() + position, buffer, static_cast<size_t>(count));
        position = end;
        size = std::max(size, position);
    }
    if (numBytesWritten)
        *numBytesWritten = static_cast<int32>(count);
    return kResultOk;
}

tresult PLUGIN_API SettingsStream::seek(int64 offset, int32 mode, int64* result) {
    uint64_t base;
    switch (mode) {
    case kIBSeekSet:
        base = 0;
        break;
    case kIBSeekCur:
        base = position;
        break;
    case kIBSeekEnd:
        base = size;
        break;
    default:
        return kResultFalse;
    }
    // Compared against what lies on either side of `base`, so that no
    // offset can overflow the sum.
    if (offset < 0 ? static_cast<uint64_t>(-(offset + 1)) >= base : static_cast<uint64_t>(offset) > size - base)
        return kResultFalse;
    position = offset < 0 ? base - static_cast<uint64_t>(-(offset + 1)) - 1 : base + static_cast<uint64_t>(offset);
    if (result)
        *result = static_cast<int64>(position);
    return kResultOk;
}

tresult PLUGIN_API SettingsStream::tell(int64* result) {
    if (result)
        *result = static_cast<int64>(position);
    return kResultOk;
}
