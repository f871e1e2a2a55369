# The parts of the VST 3 SDK (3.7.2, as Debian's juce-modules-source ships
# it) that the host and our test plug-ins link: the interfaces' identifiers,
# the base library, the hosting helpers, preset files and the component
# classes that a small effect builds on. The SDK is used as published, from
# its own folder; what that copy lacks (module loading, process data,
# parameter changes, event lists, the timer) lives in src/vst3.
#
# Defines the static library `vst3sdk`. Including code gets the SDK root on
# its include path, so it writes "pluginterfaces/..." and "public.sdk/...".

set(VST3_SDK_DIR /usr/share/juce/modules/juce_audio_processors/format_types/VST3_SDK
    CACHE PATH "Root of the VST 3 SDK (pluginterfaces, base, public.sdk)")

if(NOT EXISTS ${VST3_SDK_DIR}/pluginterfaces/base/funknown.h)
  message(FATAL_ERROR "No VST 3 SDK at ${VST3_SDK_DIR}: apt-get install juce-modules-source")
endif()

add_library(vst3sdk STATIC
  # Interface identifiers and the COM-like base of every interface.
  ${VST3_SDK_DIR}/pluginterfaces/base/coreiids.cpp
  ${VST3_SDK_DIR}/pluginterfaces/base/funknown.cpp
  ${VST3_SDK_DIR}/pluginterfaces/base/ustring.cpp
  ${VST3_SDK_DIR}/public.sdk/source/vst/vstinitiids.cpp
  # Base library: FObject with its update handler and lock, String, Buffer.
  ${VST3_SDK_DIR}/base/source/baseiids.cpp
  ${VST3_SDK_DIR}/base/source/fbuffer.cpp
  ${VST3_SDK_DIR}/base/source/fdebug.cpp
  ${VST3_SDK_DIR}/base/source/fobject.cpp
  ${VST3_SDK_DIR}/base/source/fstring.cpp
  ${VST3_SDK_DIR}/base/source/updatehandler.cpp
  ${VST3_SDK_DIR}/base/thread/source/flock.cpp
  # Host side: host classes, interface support, streams and preset files.
  ${VST3_SDK_DIR}/public.sdk/source/common/memorystream.cpp
  ${VST3_SDK_DIR}/public.sdk/source/vst/hosting/hostclasses.cpp
  ${VST3_SDK_DIR}/public.sdk/source/vst/hosting/pluginterfacesupport.cpp
  ${VST3_SDK_DIR}/public.sdk/source/vst/vstpresetfile.cpp
  # Plug-in side, for the test plug-ins: a component with its buses.
  ${VST3_SDK_DIR}/public.sdk/source/vst/vstbus.cpp
  ${VST3_SDK_DIR}/public.sdk/source/vst/vstcomponentbase.cpp
  ${VST3_SDK_DIR}/public.sdk/source/vst/vstcomponent.cpp
)

# SYSTEM: the SDK's headers are not ours to keep free of warnings.
target_include_directories(vst3sdk SYSTEM PUBLIC ${VST3_SDK_DIR})

# fdebug.h refuses to build unless one of the two is set, and GCC does not
# define _DEBUG for debug builds as MSVC does.
target_compile_definitions(vst3sdk PUBLIC $<IF:$<CONFIG:Debug>,DEVELOPMENT=1,RELEASE=1>)

# The SDK's own sources are compiled as they are published, warnings off.
if(MSVC)
  target_compile_options(vst3sdk PRIVATE /w)
else()
  target_compile_options(vst3sdk PRIVATE -w)
endif()

# FLock and FUnknown's reference counting use Win32 and COM; the string
# conversions of fstring use the C runtime's multibyte functions.
if(WIN32)
  target_link_libraries(vst3sdk PUBLIC ole32)
endif()
