// VST3::UID: a class identifier as a value, under the VST 3 SDK's name for
// it. The SDK's copy that we build from has no utility folder, so this is
// the part of its interface that module hosting needs: construction from
// the 16 bytes of a TUID, the bytes back for IPluginFactory::createInstance,
// and comparison so that identifiers can be found and sorted.
//
// The bytes are kept exactly as the plug-in gave them; no COM reordering.
#pragma once

#include <cstring>

#include "pluginterfaces/base/funknown.h"

namespace VST3 {

class UID {
public:
    using TUID = Steinberg::TUID;

    UID() noexcept : bytes() {}
    // Implicit, as in the SDK, so that a PClassInfo's `cid` assigns directly.
    UID(const TUID& uid) noexcept { std::memcpy(bytes, uid, sizeof bytes); }

    static UID fromTUID(const TUID uid) noexcept {
        UID result;
        std::memcpy(result.bytes, uid, sizeof result.bytes);
        return result;
    }

    // What IPluginFactory::createInstance takes as its class identifier.
    const TUID& data() const noexcept { return bytes; }

    bool operator==(const UID& other) const noexcept { return std::memcmp(bytes, other.bytes, sizeof bytes) == 0; }
    bool operator!=(const UID& other) const noexcept { return !(*this == other); }
    bool operator<(const UID& other) const noexcept { return std::memcmp(bytes, other.bytes, sizeof bytes) < 0; }

private:
    TUID bytes;
};

} // namespace VST3
