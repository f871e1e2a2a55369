// The stream a plug-in writes its state into and reads it back from. A
// plug-in may seek about while writing (the preset image writes its list
// offset last, back at byte 40), so size and position must stay apart.

#include "vst3/settings_stream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "pluginterfaces/vst/ivstattributes.h"

using namespace Steinberg;

namespace {

std::string text(const SettingsStream& stream) {
    return std::string(stream.bytes.begin(), stream.bytes.begin() + static_cast<ptrdiff_t>(stream.size));
}

} // namespace

TEST(SettingsStream, WritesGrowAndSeekingBackKeepsTheSize) {
    IPtr<SettingsStream> stream = owned(new SettingsStream);
    int32 done = -1;
    EXPECT_EQ(stream->write(const_cast<char*>("abcdef"), 6, &done), kResultOk);
    EXPECT_EQ(done, 6);
    EXPECT_EQ(stream->size, 6u);
    // The first growth reserves 16 KiB, so small writes do not reallocate.
    EXPECT_EQ(stream->bytes.size(), 16384u);

    int64 at = -1;
    EXPECT_EQ(stream->seek(2, IBStream::kIBSeekSet, &at), kResultOk);
    EXPECT_EQ(at, 2);
    stream->write(const_cast<char*>("XY"), 2, nullptr);
    EXPECT_EQ(text(*stream), "abXYef");
    EXPECT_EQ(stream->position, 4u);

    // Overwriting across the end raises the size only by what passes it.
    stream->seek(-1, IBStream::kIBSeekEnd, nullptr);
    stream->write(const_cast<char*>("123"), 3, nullptr);
    EXPECT_EQ(text(*stream), "abXYe123");
    stream->tell(&at);
    EXPECT_EQ(at, 8);

    // Past the capacity: doubling, or exactly what is needed if that is more.
    std::string big(20000, 'z');
    stream->write(&big[0], static_cast<int32>(big.size()), nullptr);
    EXPECT_EQ(stream->size, 20008u);
    EXPECT_EQ(stream->bytes.size(), 32768u);
    std::string huge(70000, 'q');
    stream->write(&huge[0], static_cast<int32>(huge.size()), nullptr);
    EXPECT_EQ(stream->bytes.size(), 90008u);

    // A negative count writes nothing.
    EXPECT_EQ(stream->write(&big[0], -5, &done), kResultOk);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(stream->size, 90008u);
}

TEST(SettingsStream, ReadsStopAtTheSizeAndBadSeeksChangeNothing) {
    const uint8_t data[] = {1, 2, 3, 4, 5};
    IPtr<SettingsStream> stream = owned(new SettingsStream(data, sizeof data));
    EXPECT_FALSE(stream->writable);
    int32 done = -1;
    EXPECT_EQ(stream->write(const_cast<uint8_t*>(data), 1, &done), kNotImplemented);
    EXPECT_EQ(stream->size, 5u);

    uint8_t buffer[8] = {};
    EXPECT_EQ(stream->read(buffer, 3, &done), kResultOk);
    EXPECT_EQ(done, 3);
    EXPECT_EQ(stream->read(buffer, 8, &done), kResultOk);
    EXPECT_EQ(done, 2);
    EXPECT_EQ(buffer[0], 4);
    EXPECT_EQ(buffer[1], 5);
    EXPECT_EQ(stream->read(buffer, 8, &done), kResultOk);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(stream->read(buffer, 8, nullptr), kResultOk);

    struct Case {
        int64 offset;
        int32 mode;
        tresult expected;
        uint64_t position; // from position 3
    } cases[] = {
        {0, IBStream::kIBSeekSet, kResultOk, 0},
        {5, IBStream::kIBSeekSet, kResultOk, 5},
        {6, IBStream::kIBSeekSet, kResultFalse, 3},
        {-1, IBStream::kIBSeekSet, kResultFalse, 3},
        {2, IBStream::kIBSeekCur, kResultOk, 5},
        {3, IBStream::kIBSeekCur, kResultFalse, 3},
        {-3, IBStream::kIBSeekCur, kResultOk, 0},
        {-4, IBStream::kIBSeekCur, kResultFalse, 3},
        {0, IBStream::kIBSeekEnd, kResultOk, 5},
        {-5, IBStream::kIBSeekEnd, kResultOk, 0},
        {1, IBStream::kIBSeekEnd, kResultFalse, 3},
        {INT64_MAX, IBStream::kIBSeekCur, kResultFalse, 3},
        {INT64_MIN, IBStream::kIBSeekEnd, kResultFalse, 3},
        {0, 3, kResultFalse, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "offset " << c.offset << " mode " << c.mode);
        stream->position = 3;
        int64 result = -7;
        EXPECT_EQ(stream->seek(c.offset, c.mode, &result), c.expected);
        EXPECT_EQ(stream->position, c.position);
        EXPECT_EQ(result, c.expected == kResultOk ? static_cast<int64>(c.position) : -7);
    }

    IPtr<SettingsStream> empty = owned(new SettingsStream(nullptr, 0));
    EXPECT_EQ(empty->read(buffer, 4, &done), kResultOk);
    EXPECT_EQ(done, 0);
}

// Preset loading wraps this stream in ReadOnlyBStream, which passes
// queryInterface on: a plug-in asking for stream attributes must get a clean
// refusal, not a stale pointer.
TEST(SettingsStream, AnswersOnlyItsOwnInterfacesAndCountsReferences) {
    SettingsStream* stream = new SettingsStream;
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(stream->queryInterface(Vst::IStreamAttributes::iid, &object), kNoInterface);
    EXPECT_EQ(object, nullptr);

    EXPECT_EQ(stream->queryInterface(IBStream::iid, &object), kResultOk);
    EXPECT_EQ(object, static_cast<IBStream*>(stream));
    EXPECT_EQ(stream->queryInterface(FUnknown::iid, &object), kResultOk);
    EXPECT_EQ(object, static_cast<FUnknown*>(stream));
    EXPECT_EQ(stream->addRef(), 4u);
    EXPECT_EQ(stream->release(), 3u);
    EXPECT_EQ(stream->release(), 2u);
    EXPECT_EQ(stream->release(), 1u);
    EXPECT_EQ(stream->release(), 0u);
}
