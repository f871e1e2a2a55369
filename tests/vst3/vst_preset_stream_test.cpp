// The stream effSetChunk hands to a plug-in: it reads the host's bytes in
// place and carries attributes the plug-in can look up through
// queryInterface, the way plug-ins ask (FUnknownPtr).

#include "vst3/vst_preset_stream.h"

#include <gtest/gtest.h>

#include <string>

#include "vst3/preset_keys.h"

using namespace Steinberg;

TEST(VstPresetStream, ReadsInPlaceAndAnswersStreamAttributes) {
    char memory[] = "state bytes";
    IPtr<VstPresetStream> stream = owned(new VstPresetStream(memory, 5));
    char buffer[16] = {};
    int32 got = 0;
    stream->read(buffer, sizeof buffer, &got);
    EXPECT_EQ(std::string(buffer, static_cast<size_t>(got)), "state");

    // Through the IBStream a plug-in is given, as plug-ins ask.
    IBStream* given = stream;
    FUnknownPtr<Vst::IStreamAttributes> attributes(given);
    ASSERT_TRUE(attributes);
    EXPECT_EQ(static_cast<Vst::IStreamAttributes*>(attributes), static_cast<Vst::IStreamAttributes*>(stream));
    Vst::String128 name = {};
    EXPECT_EQ(attributes->getFileName(name), kNotImplemented);

    Vst::IAttributeList* list = attributes->getAttributes();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list, stream->getAttributes());
    const Vst::TChar project[] = {'P', 'r', 'o', 'j', 'e', 'c', 't', 0};
    EXPECT_EQ(list->setString(Vst::PresetAttributes::kStateType, project), kResultOk);
    Vst::TChar value[16] = {};
    EXPECT_EQ(list->getString(Vst::PresetAttributes::kStateType, value, sizeof value), kResultOk);
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(value)), u"Project");

    // Both bases share one count: the interface pointer holds the stream.
    FUnknownPtr<IBStream> back(attributes);
    ASSERT_TRUE(back);
    EXPECT_EQ(static_cast<IBStream*>(back), given);
    EXPECT_EQ(stream->addRef(), 4u);
    EXPECT_EQ(attributes->release(), 3u);

    FUnknownPtr<Vst::IAttributeList> notAList(given);
    EXPECT_FALSE(notAList);

    // No memory at all is an empty stream.
    IPtr<VstPresetStream> empty = owned(new VstPresetStream(nullptr, 0));
    EXPECT_EQ(empty->read(buffer, sizeof buffer, &got), kResultOk);
    EXPECT_EQ(got, 0);
}
