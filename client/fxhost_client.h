// fxhost client: a parent application's side of fxhost.exe, in one header
// and one source file (Win32 and the standard library only).
//
// A Host names one plug-in and runs each command in a fresh fxhost.exe
// process; a Stream keeps one process and one plug-in instance for audio on
// the chunked protocol over a named pipe. The plug-in never runs in the
// caller's process: a plug-in that crashes or hangs ends its own process,
// and the caller gets an exception.
//
// Every wait has a time limit; when one runs out the process is killed and
// TimeoutError thrown. Every failure is an Error carrying the exit code and
// the program's standard error text. One Host or Stream is for one thread
// at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace fxhost {

// A run of fxhost.exe failed. exitCode() is the process's exit code
// (0xFFFFFFFF for the program's -1), meaningful only if exited().
class Error : public std::runtime_error {
public:
    Error(const std::string& what, bool exited, uint32_t exitCode, std::string errorText);
    bool exited() const { return hasExited; }
    uint32_t exitCode() const { return code; }
    const std::string& errorText() const { return text; } // standard error, line ends as "\n"

private:
    bool hasExited;
    uint32_t code;
    std::string text;
};

// The plug-in did not open: no such file, not a plug-in, an instrument, a
// library for another processor.
class OpenError : public Error {
public:
    using Error::Error;
};

// The plug-in faulted; its process is gone. The first line of errorText()
// that starts with crashPrefix says how.
class CrashError : public Error {
public:
    using Error::Error;
};

// No answer within the time limit; the process has been killed.
class TimeoutError : public Error {
public:
    using Error::Error;
};

// A format or samples that the program or the plug-in cannot take.
class FormatError : public Error {
public:
    using Error::Error;
};

// The standard error line by which fxhost.exe reports a plug-in's fault.
extern const char* const crashPrefix;

// The exception for a run that ended with `exitCode` and standard error
// `errorText`; `what` names the command.
Error errorFor(const std::string& what, uint32_t exitCode, const std::string& errorText);
// Throws errorFor(...) as its own type.
[[noreturn]] void throwFor(const std::string& what, uint32_t exitCode, const std::string& errorText);
// Throws TimeoutError for a process that stopped answering (and was
// killed), or CrashError if its standard error shows it crashed first.
[[noreturn]] void throwTimeout(const std::string& what, const std::string& errorText);

struct Pin {
    std::string label;
    int32_t flags = 0;
    int32_t arrangement = 0; // VST 2 speaker arrangement type
};

struct PluginInfo {
    std::vector<Pin> inputs, outputs;
};

// The pins of an `info` report; lines that are not part of it are passed
// over. Throws Error for a report without both counts or with missing pins.
PluginInfo parseInfo(const std::string& text);

// A stream's rate, channels and speaker masks (wave channel-mask bits).
struct StreamFormat {
    uint32_t sampleRate = 0;
    uint32_t inputChannels = 0;
    uint32_t inputMask = 0;
    uint32_t outputChannels = 0;
    uint32_t outputMask = 0;
};

// The usual speaker mask for a channel count (1, 2, 4, 6), else 0.
uint32_t defaultMask(uint32_t channels);

enum class SampleType { Float32, Float64 };

struct HostOptions {
    // fxhost.exe to run; empty: FXHOST_EXE, else fxhost.exe beside this
    // program. A 32-bit plug-in runs in fxhost32.exe from the same folder.
    std::wstring program;
    double timeoutSeconds = 30.0;      // each wait for an answer once running
    double startTimeoutSeconds = 60.0; // start-up up to the plug-in opened
    int vstVersion = 0;                // 2 or 3 tries only that kind; 0 both
    bool realtime = false;             // report the realtime process level
    // configure: the window follows the system's DPI setting (system aware)
    // rather than being scaled by it as a DPI-unaware window is.
    bool dpiAware = false;
};

// The PE machine field of an image (0x14C x86, 0x8664 x64), 0 if the file
// is no image. For a VST 3 bundle folder, that of its library inside.
uint16_t pluginMachine(const std::wstring& pluginPath);

class Stream;

class Host {
public:
    // Throws Error when no program is found for the plug-in.
    explicit Host(std::wstring pluginPath, HostOptions options = HostOptions());

    // True if the plug-in opens, false if it does not; then `reason`, if
    // given, receives the program's standard error text, which says why. A
    // crash or a hang still throws.
    bool test(std::string* reason = nullptr) const;
    // True if a configure window can be offered (an editor, or parameters).
    // Throws OpenError for a plug-in that does not open.
    bool hasEditor() const;
    // The audio pins, with the settings file applied if one is named.
    PluginInfo info(const std::wstring& dataPath = std::wstring()) const;
    // Shows the editor or the parameter dialog until the user closes it;
    // the settings go to `dataPath` as they change. `parentWindow` is an
    // HWND that owns the window, or null. Waits without a time limit.
    void configure(const std::wstring& dataPath, void* parentWindow = nullptr,
                   const std::wstring& title = std::wstring()) const;
    // A stream process for this plug-in; see Stream.
    std::unique_ptr<Stream> openStream(SampleType type, const std::wstring& dataPath = std::wstring()) const;

    const std::wstring& pluginPath() const { return plugin; }
    const std::wstring& programPath() const { return program; } // the one this plug-in needs
    const HostOptions& options() const { return settings; }

private:
    friend class Stream;
    std::vector<std::wstring> arguments(const wchar_t* command, const std::wstring& dataPath) const;
    uint32_t run(const wchar_t* command, const std::wstring& dataPath, const std::vector<std::wstring>& extra,
                 double timeoutSeconds, std::string& errorText) const;

    std::wstring plugin, program;
    HostOptions settings;
};

// One fxhost.exe process on the chunked protocol: set a format, then send
// interleaved blocks of any length; each comes back with as many frames.
// The destructor kills a process still running; close() ends it in order.
class Stream {
public:
    Stream(const Host& host, SampleType type, const std::wstring& dataPath = std::wstring());
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // Asks for a format and gives what the plug-in granted (channels may be
    // fewer, masks are the plug-in's). Throws FormatError for another rate
    // or no channels at all.
    StreamFormat setFormat(const StreamFormat& asked);
    StreamFormat setFormat(uint32_t sampleRate, uint32_t channels);
    const StreamFormat& format() const { return granted; }

    // `frames` interleaved frames of format().inputChannels samples in;
    // as many frames of format().outputChannels out. The overload must
    // match the stream's sample type (FormatError otherwise).
    std::vector<float> process(const float* samples, size_t frames);
    std::vector<double> process(const double* samples, size_t frames);
    // The latency the plug-in reported with the last block, in frames.
    uint32_t latency() const { return lastLatency; }
    // Asks the plug-in's latency without sending audio.
    uint32_t queryLatency();

    // The tail: silence run through the plug-in until it falls silent, at
    // most what it reports (a tenth of a second if it says nothing).
    std::vector<float> drainFloat();
    std::vector<double> drainDouble();

    void setSettings(const std::string& blob);
    // A fresh instance of the plug-in, given the last format asked for (and
    // `blob`, if not empty). Gives the granted format.
    StreamFormat reopen(const std::string& blob = std::string());

    // Ends the stream: the program exits; throws if it did not exit with 0.
    void close();

    // Bytes level: sends `bytes` of samples, returns the processed bytes.
    std::string processBytes(const void* bytes, size_t size);
    std::string drainBytes();

private:
    friend class Host;
    struct Process;
    std::unique_ptr<Process> process_;
    SampleType type;
    size_t sampleBytes;
    StreamFormat asked, granted;
    uint32_t lastLatency = 0;
    double timeoutSeconds, runTimeoutSeconds;
};

} // namespace fxhost
