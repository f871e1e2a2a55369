#include "host/dispatch.h"

#include <cstdio>

#include "editor/configure.h"
#include "run/vst_globals.h"
#include "stream/live_loop.h"
#include "stream/stream_command.h"
#include "support/error/error.h"
#include "support/file/file_win32.h"
#include "support/file/std_channels.h"
#include "support/http/file_http.h"
#include "support/net/winsock.h"
#include "support/text/path.h"
#include "support/text/text.h"
#include "support/text/utf.h"
#include "support/thread/message_pump.h"
#include "support/thread/worker_thread.h"
#include "support/win32.h"
#include "effect/open_module.h"

namespace {

struct PluginKinds {
    bool vst3;
    bool vst2;
};

PluginKinds kindsToTry(const OptionMap& arguments) {
    const std::string* version = findOption(arguments, "--vst-version");
    if (!version)
        return {true, true};
    int32_t wanted = decimalValue(*version);
    return {wanted == 3, wanted == 2};
}

std::unique_ptr<VSTEffect> openVst2(const OptionMap& arguments, const std::string& path) {
    std::unique_ptr<VSTEffect> effect = VSTEffect::create(arguments);
    int32_t rate = decimalOption(arguments, "--rate", 0);
    if (rate > 0)
        effect->sampleRate = uint32_t(rate);

    // Never unloaded: a plug-in may leave threads or callbacks behind that
    // outlive its effClose.
    HMODULE library = LoadLibraryW(Qz::utf8ToWide(path).c_str());
    if (!library) {
        std::fprintf(Qz::standardError(), "Could not load VST bundle: %s\n", path.c_str());
        return nullptr;
    }
    FARPROC entry = GetProcAddress(library, "VSTPluginMain");
    if (!entry)
        entry = GetProcAddress(library, "main");
    if (!entry || !effect->openEntry(reinterpret_cast<VstPluginMainProc>(reinterpret_cast<void*>(entry)))) {
        std::fprintf(Qz::standardError(), "Could not load VST: %s\n", path.c_str());
        return nullptr;
    }
    return effect;
}

// `path` against the working directory as it is now; the path as given if
// the system cannot make it full.
std::string fullPath(const std::string& path) {
    std::wstring wide = Qz::utf8ToWide(path);
    DWORD length = GetFullPathNameW(wide.c_str(), 0, NULL, NULL);
    if (length == 0)
        return path;
    std::wstring full(length, L'\0');
    length = GetFullPathNameW(wide.c_str(), DWORD(full.size()), &full[0], NULL);
    if (length == 0 || length >= full.size())
        return path;
    full.resize(length);
    return Qz::wideToUtf8(full);
}

// The paths a user types are meant from the caller's folder, but the
// working directory is about to move to the plug-in's: made full first.
void makePathsFull(OptionMap& arguments) {
    for (const char* key : {"--vst", "--data"}) {
        auto found = arguments.find(key);
        if (found != arguments.end() && !found->second.empty())
            found->second = fullPath(found->second);
    }
}

bool isHttpUrl(const std::string& value) {
    std::string head = Qz::toLowerAscii(value.substr(0, 8));
    return head.compare(0, 7, "http://") == 0 || head.compare(0, 8, "https://") == 0;
}

// Where the stream comes from and goes to. Failures here are thrown, so
// that a bad transport is reported before anything about the plug-in.
void openTransports(VSTGlobals& globals) {
    const OptionMap& arguments = globals.arguments;
    if (const std::string* name = findOption(arguments, "--pipe")) {
        std::shared_ptr<Qz::filePipe> pipe = std::make_shared<Qz::filePipe>();
        pipe->connect(Qz::utf8ToWide(*name), GENERIC_READ | GENERIC_WRITE);
        globals.input = std::shared_ptr<Qz::fileReader>(pipe, pipe.get());
        globals.output = std::shared_ptr<Qz::fileWriter>(pipe, pipe.get());
        globals.pipe = pipe;
    }
    if (const std::string* name = findOption(arguments, "--inpipe")) {
        std::shared_ptr<Qz::filePipe> pipe = std::make_shared<Qz::filePipe>();
        pipe->connect(Qz::utf8ToWide(*name), GENERIC_READ);
        globals.input = std::shared_ptr<Qz::fileReader>(pipe, pipe.get());
        globals.pipe = pipe;
    }
    if (const std::string* path = findOption(arguments, "--input")) {
        if (isHttpUrl(*path)) {
            // The socket library leaves starting Winsock to the program, and
            // only a run with a URL needs it: the library is bound on first use.
            WSADATA winsock;
            WSAStartup(MAKEWORD(2, 2), &winsock);
            std::shared_ptr<Qz::fileHttp> remote = std::make_shared<Qz::fileHttp>();
            remote->openAtOffset(*path, 0, Qz::unknownSize);
            globals.input = std::shared_ptr<Qz::fileReader>(remote, static_cast<Qz::fileSeekable*>(remote.get()));
        } else {
            std::shared_ptr<Qz::fileWin32> file = std::make_shared<Qz::fileWin32>();
            file->openRead(*path);
            globals.input = std::shared_ptr<Qz::fileReader>(file, static_cast<Qz::fileSeekable*>(file.get()));
        }
    }
    if (const std::string* path = findOption(arguments, "--output")) {
        // Created or truncated now, whatever happens to the plug-in later.
        std::shared_ptr<Qz::fileWin32> file = std::make_shared<Qz::fileWin32>();
        file->openWrite(*path);
        globals.output = std::shared_ptr<Qz::fileWriter>(file, file.get());
    }
}

// The window on this thread, the parent's audio through the same plug-in
// on a worker beside it; each side ends the other. No lock stands between
// them: the plug-in's own thread safety is what protects it. The worker
// starts once the window is on the screen: a window that cannot be made
// then ends the run at once, instead of waiting for a read of standard
// input that nothing can interrupt, and the dialog's probe is over before
// any audio runs.
bool configureLive(VSTGlobals& globals) {
    // Not abortOnDestroy: the worker is stopped by the join below, or has
    // ended by itself, before the object goes.
    Qz::workerThread worker(std::string(), Qz::workerThread::withAbortEvent);
    const DWORD mainThread = GetCurrentThreadId();
    // The same priority as the window's thread: audio that falls behind
    // the user's edits would be heard.
    auto startWorker = [&worker, &globals, mainThread] {
        worker.start(
            [&globals, mainThread] {
                try {
                    liveLoop(globals);
                } catch (...) {
                    // liveLoop reports its own failures; nothing else is owed.
                }
                // However the stream ended, the window goes with it.
                PostThreadMessageW(mainThread, WM_QUIT, 0, 0);
            },
            GetThreadPriority(GetCurrentThread()));
    };
    bool result;
    try {
        result = configure(globals, startWorker);
    } catch (...) {
        worker.join(); // the worker must not outlive the plug-in it uses
        throw;
    }
    // A worker blocked on a pipe leaves at once; one in a read of standard
    // input only once the parent writes or closes it.
    worker.join();
    return result;
}

} // namespace

bool mainWithGlobals(VSTGlobals& globals) {
    const OptionMap& arguments = globals.arguments;
    openTransports(globals);
    makePathsFull(globals.arguments);

    const std::string* vst = findOption(arguments, "--vst");
    if (!vst) {
        std::fprintf(Qz::standardError(), "No VST specified.\n");
        return false;
    }

    // Plug-ins find their resources relative to their own folder. Failing
    // here (a bare name gives "") is harmless.
    SetCurrentDirectoryW(Qz::utf8ToWide(Qz::parentPath(*vst)).c_str());

    PluginKinds kinds = kindsToTry(arguments);
    if (kinds.vst3) {
        // A failed attempt says nothing: the file may well be a VST 2
        // library, which is tried next.
        std::unique_ptr<VSTEffect> effect = VSTEffect::create(arguments);
        if (openModule(*effect, vst->c_str()))
            globals.effect = std::move(effect);
    }
    if (!globals.effect && kinds.vst2)
        globals.effect = openVst2(arguments, *vst);
    if (!globals.effect) {
        std::fprintf(Qz::standardError(), "Could not open VST.");
        return false;
    }

    if (globals.command == "test")
        return true;

    // Work the plug-in queued for this thread while it opened runs before
    // the command begins.
    Qz::pumpMessages();

    if (globals.command == "has-editor")
        return globals.effect->canConfigure();

    if (const std::string* data = findOption(arguments, "--data")) {
        globals.dataPath = *data;
        globals.loadSettings();
    }

    if (globals.command == "info") {
        globals.effect->printInfo();
        return true;
    }

    if (globals.command == "configure")
        return configure(globals);
    if (globals.command == "configure-live")
        return configureLive(globals);

    if (globals.command == "process")
        return process(globals);

    std::fprintf(Qz::standardError(), "Invalid arguments, no command found.\n");
    return false;
}
