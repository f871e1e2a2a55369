// SettingsStream: the IBStream through which a VST 3 plug-in writes its
// state into, or reads it back from, the host's settings blob. It grows as
// the plug-in writes and never shrinks; what counts is `size`, not the
// capacity of `bytes`.
//
// The fields are open on purpose: the host builds a stream, hands it to the
// plug-in, and afterwards takes `bytes` cut to `size`.
//
// Threads: one thread at a time (the plug-in's state calls come from the
// host's main thread); only the reference count is safe from any thread.
// Objects live on the heap and die with their last release.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "pluginterfaces/base/ibstream.h"

class SettingsStream : public Steinberg::IBStream {
public:
    // Empty and writable.
    SettingsStream();
    // A read-only copy of `size` bytes at `data` (which may be null when
    // `size` is 0), positioned at the start.
    SettingsStream(const uint8_t* data, uint64_t size);

    SettingsStream(const SettingsStream&) = delete;
    SettingsStream& operator=(const SettingsStream&) = delete;

    // FUnknown and IBStream only; anything else gives null and kNoInterface.
    Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID iid, void** object) override;
    Steinberg::uint32 PLUGIN_API addRef() override;
    Steinberg::uint32 PLUGIN_API release() override;

    // Copies what is left up to `size` (never more than asked); always
    // kResultOk, so a short read shows only in `numBytesRead`.
    Steinberg::tresult PLUGIN_API read(void* buffer, Steinberg::int32 numBytes,
                                       Steinberg::int32* numBytesRead) override;
    // kNotImplemented on a read-only stream. Grows `bytes` by doubling, to
    // at least 16 KiB, so that a plug-in writing its state in many small
    // pieces does not reallocate for each.
    Steinberg::tresult PLUGIN_API write(void* buffer, Steinberg::int32 numBytes,
                                        Steinberg::int32* numBytesWritten) override;
    // kIBSeekSet, kIBSeekCur or kIBSeekEnd (from `size`). A target before
    // the start or past `size`, or another mode, gives kResultFalse and
    // changes nothing: there are no holes to fill.
    Steinberg::tresult PLUGIN_API seek(Steinberg::int64 offset, Steinberg::int32 mode,
                                       Steinberg::int64* result) override;
    Steinberg::tresult PLUGIN_API tell(Steinberg::int64* result) override;

    std::vector<uint8_t> bytes;
    uint64_t size = 0;     // bytes of valid data at the start of `bytes`
    uint64_t position = 0; // never above `size`
    bool writable = true;

protected:
    virtual ~SettingsStream() = default;

private:
    std::atomic<Steinberg::uint32> references{1};
};
