// Plug-ins that misbehave, seen from the parent: whatever a plug-in prints
// stays off the parent's channels, and whatever it does to end the run
// gives exit code -1 and one line that says so on standard error, at once:
// no debugger, no dialog, nothing more on standard output. Each rude
// plug-in (tests/plugins/vst2/misbehaviour.h) runs through a plain stream
// over the standard handles, and through the client a chunked stream and
// `info`, as VST 2 and as VST 3, against the quiet plug-in it was built
// from: the client's CrashError is what its parent sees.

#include <gtest/gtest.h>

#include <cstring>

#include "parent.h"
#include "running_host.h"
#include "stream_bytes.h"

namespace {

const std::string newline = "\r\n";

enum class Mode { Plain, Chunked, Info };
const Mode modes[] = {Mode::Plain, Mode::Chunked, Mode::Info};
const char* const modeNames[] = {"plain", "chunked", "info"};

// When the misbehaviour ends the run, if it does.
enum class Strikes { Never, Open, Block, Close };

const size_t blocks = 120, frameBytes = 8, blockBytes = 512 * frameBytes; // float 32, stereo

// What a parent has read by the time the 50th block would go out.
const size_t beforeBlock50 = 49 * blockBytes;

std::vector<std::wstring> plainArguments(const std::wstring& plugin) {
    return {L"process", L"--vst",  testPlugin(plugin), L"--bits",     L"32", L"--formattag",
            L"3",       L"--rate", L"44100",           L"--channels", L"2"};
}

// A run of the plug-in in `mode`: its output is the audio (the chunked
// stream's tail included), or the pins `info` gave.
HostRun played(Mode mode, const std::wstring& plugin, double seconds) {
    const std::string audio = floatFrames(blocks * 512, 2);
    if (mode == Mode::Plain)
        return runHost(plainArguments(plugin), audio, StandardInput::File, seconds);
    fxhost::HostOptions options;
    options.timeoutSeconds = options.startTimeoutSeconds = seconds;
    std::string output;
    HostRun run = outcome([&] {
        fxhost::Host host = clientFor(testPlugin(plugin), options);
        if (mode == Mode::Info) {
            output = pinsText(host.info());
            return;
        }
        std::unique_ptr<fxhost::Stream> stream = host.openStream(fxhost::SampleType::Float32);
        stream->setFormat(44100, 2);
        // The blocks before the one where a misbehaviour strikes go in a call
        // of their own, so that what came back of them shows.
        output = stream->processBytes(audio.data(), beforeBlock50);
        output += stream->processBytes(audio.data() + beforeBlock50, audio.size() - beforeBlock50);
        output += stream->drainBytes();
        stream->close();
    });
    run.output = output;
    return run;
}

// Whether `rest` is `line` and a line end; a `line` that ends in "0x" goes
// on with the hexadecimal offset of an address in a module, which is small.
bool isLine(const std::string& rest, const std::string& line, const std::string& end) {
    if (rest.compare(0, line.size(), line) != 0)
        return false;
    std::string after = rest.substr(line.size());
    if (line.size() < 2 || line.compare(line.size() - 2, 2, "0x") != 0)
        return after == end;
    size_t digits = after.find_first_not_of("0123456789abcdef");
    return digits != 0 && digits <= 7 && after.substr(digits) == end;
}

// `error` is `before`, then one of `lines` with the line end `end`.
::testing::AssertionResult oneLine(const std::string& error, const std::string& before,
                                   const std::vector<std::string>& lines, const std::string& end) {
    if (error.compare(0, before.size(), before) == 0)
        for (const std::string& line : lines)
            if (isLine(error.substr(before.size()), line, end))
                return ::testing::AssertionSuccess();
    ::testing::AssertionResult failure = ::testing::AssertionFailure();
    failure << "standard error \"" << error << "\", expected \"" << before << "\" and then one of";
    for (const std::string& line : lines)
        failure << " \"" << line << "...\"";
    return failure;
}

struct Kind {
    const char* name;
    std::wstring quiet;  // the plug-in the rude ones were built from
    std::wstring prefix; // of the rude copies' names
    std::wstring suffix;
};
const Kind kinds[] = {{"VST 2", L"fx_effect.dll", L"fx_rude-", L".dll"},
                      {"VST 3", L"fx3_gain.vst3", L"fx3_rude-", L".vst3"}};

TEST(MisbehavingPlugin, NeverCorruptsTheStreamNorPassesForASuccess) {
    const std::string crashed = "plug-in crashed: ";
    struct Row {
        const char* name; // as in the rude plug-in's file name
        Strikes strikes;
        std::vector<std::string> lines; // what the crash line may be, without its line end; "<module>" stands
                                        // for the plug-in's file name
    } rows[] = {
        {"print", Strikes::Never, {}},
        {"crash-open", Strikes::Open, {crashed + "access violation (c0000005) at <module>+0x"}},
        {"crash-block", Strikes::Block, {crashed + "access violation (c0000005) at <module>+0x"}},
        {"crash-close", Strikes::Close, {crashed + "access violation (c0000005) at <module>+0x"}},
        {"crash-thread", Strikes::Block, {crashed + "access violation (c0000005) at <module>+0x"}},
        {"overflow", Strikes::Block, {crashed + "stack overflow (c00000fd) at <module>+0x"}},
        {"overflow-thread", Strikes::Block, {crashed + "stack overflow (c00000fd) at <module>+0x"}},
        {"illegal", Strikes::Block, {crashed + "illegal instruction (c000001d) at <module>+0x"}},
        {"divide", Strikes::Block, {crashed + "integer divide by zero (c0000094) at <module>+0x"}},
        {"abort", Strikes::Block, {crashed + "abort"}},
        // The plug-in's own std::terminate ends in abort of the runtime it shares.
        {"terminate", Strikes::Block, {crashed + "abort"}},
        {"exit", Strikes::Block, {crashed + "exit called before the command finished"}},
        {"end-thread", Strikes::Block, {crashed + "the main thread was ended before the command finished"}},
    };
    for (const Kind& kind : kinds)
        for (Mode mode : modes) {
            const char* modeName = modeNames[int(mode)];
            // A dialog or a debugger would keep a run alive: a time limit
            // makes it a failure.
            const double seconds = 30.0;
            HostRun quiet = played(mode, kind.quiet, seconds);
            ASSERT_EQ(quiet.exitCode, 0u) << kind.name << " " << modeName;
            for (const Row& row : rows) {
                std::wstring what(row.name, row.name + std::strlen(row.name));
                std::wstring plugin = kind.prefix + what + kind.suffix;
                std::vector<std::string> lines = row.lines;
                for (std::string& line : lines)
                    if (line.find("<module>") != std::string::npos)
                        line.replace(line.find("<module>"), 8, narrow(plugin));
                HostRun run = played(mode, plugin, seconds);
                std::string where = std::string(kind.name) + " " + modeName + " " + row.name;
                Strikes strikes = mode == Mode::Info && row.strikes == Strikes::Block ? Strikes::Never : row.strikes;
                // `info` that fails as the plug-in closes has written its
                // report, which comes with the client's error.
                const bool reported = mode == Mode::Info && strikes == Strikes::Close;
                std::string output = strikes == Strikes::Never              ? quiet.output
                                     : strikes == Strikes::Open || reported ? std::string()
                                     : strikes == Strikes::Close            ? quiet.output
                                                                            : quiet.output.substr(0, beforeBlock50);
                EXPECT_TRUE(sameBytes(run.output, output)) << where;
                if (strikes == Strikes::Never) {
                    EXPECT_EQ(run.exitCode, 0u) << where;
                    EXPECT_EQ(run.error, quiet.error) << where;
                    continue;
                }
                EXPECT_EQ(run.exitCode, exitFailure) << where;
                const std::string end = mode == Mode::Plain ? newline : "\n"; // the client's line end
                std::string before = strikes == Strikes::Close ? quiet.error : std::string();
                if (reported) {
                    before = run.error.substr(0, run.error.find(crashed));
                    EXPECT_EQ(pinsText(fxhost::parseInfo(before)), quiet.output) << where;
                }
                EXPECT_TRUE(oneLine(run.error, before, lines, end)) << where;
            }
        }
}

// What a plug-in prints goes where the user asks, from every thread, and
// still not to the parent.
TEST(MisbehavingPlugin, PrintsGoToTheFileOfPluginOutput) {
    for (const Kind& kind : kinds) {
        ScopedTempFolder folder;
        const std::wstring file = folder.path() + L"plugin output.txt";
        std::vector<std::wstring> options = plainArguments(kind.prefix + L"print" + kind.suffix);
        options.insert(options.end(), {L"--plugin-output", file});
        HostRun quiet = played(Mode::Plain, kind.quiet, 60.0);
        HostRun run = runHost(options, floatFrames(blocks * 512, 2), StandardInput::File, 30.0);
        EXPECT_EQ(run.exitCode, 0u) << kind.name;
        EXPECT_EQ(run.error, "") << kind.name;
        EXPECT_TRUE(sameBytes(run.output, quiet.output)) << kind.name;
        std::string printed = readWholeFile(file);
        for (const char* text : {"printf to standard output while opening", "fprintf to standard error while opening",
                                 "WriteFile to a standard handle while opening", "on a thread of its own",
                                 "every 100th block", "while closing"})
            EXPECT_NE(printed.find(text), std::string::npos) << kind.name << ": no \"" << text << "\" in " << printed;
    }
    ScopedTempFolder folder;
    std::vector<std::wstring> options = {L"info", L"--vst", testPlugin(L"fx_rude-print.dll")};
    options.insert(options.end(), {L"--plugin-output", folder.path() + L"missing\\output.txt"});
    HostRun run = runHost(options);
    EXPECT_EQ(run.exitCode, exitFailure);
    EXPECT_EQ(run.error, "file not found" + newline);
}

} // namespace
