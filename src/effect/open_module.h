// Opening a VST 3 module as a VSTEffect: the module is loaded, its factory
// walked for the first "Audio Module Class" that an adapter can be made of,
// and the adapter's AEffect opened like any VST 2 plug-in's.
//
// Threads: the main thread, at start and on a reopen from the stream loop.
#pragma once

#include <memory>

class VSTEffect;
namespace VST3 {
namespace Hosting {
class Module;
}
} // namespace VST3

// `path` is the UTF-8 text of --vst: a module file or a bundle folder. False
// when the module cannot be loaded, offers no class the adapter can take,
// or the effect does not open; nothing is printed. A module that loaded
// stays loaded to the end of the process.
bool openModule(VSTEffect& effect, const char* path);
// The second half of openModule, also used to reopen a plug-in from the
// module an earlier effect gave up: `module` moves into the effect.
bool openFactory(VSTEffect& effect, std::shared_ptr<VST3::Hosting::Module> module);
