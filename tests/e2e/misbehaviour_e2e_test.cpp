// Plug-ins that misbehave, seen from the parent: whatever a plug-in prints
// stays off the parent's channels, and whatever it does to end the run
// gives exit code -1 and one line that says so on standard error, at once:
// no debugger, no dialog, nothing more on standard output. Each rude
// plug-in (tests/plugins/vst2/misbehaviour.h) runs through a plain stream, a
// chunked stream and `info`, as VST 2 and as VST 3, against the quiet
// plug-in it was built from.

#include <gtest/gtest.h>

#include <cstring>

#include "parent.h"
#include "stream_bytes.h"

namespace {

const std::string newline = "\r\n";

enum class Mode { Plain, Chunked, Info };
const Mode modes[] = {Mode::Plain, Mode::Chunked, Mode::Info};
const char* const modeNames[] = {"plain", "chunked", "info"};

// When the misbehaviour ends the run, if it does.
enum class Strikes { Never, Open, Block, Close };

const size_t blocks = 120, frameBytes = 8, blockBytes = 512 * frameBytes; // float 32, stereo

std::vector<std::wstring> arguments(Mode mode, const std::wstring& plugin) {
    const std::wstring path = testPlugin(plugin);
    if (mode == Mode::Info)
        return {L"info", L"--vst", path};
    std::vector<std::wstring> result = {L"process", L"--vst", path, L"--bits", L"32", L"--formattag", L"3"};
    if (mode == Mode::Plain)
        result.insert(result.end(), {L"--rate", L"44100", L"--channels", L"2"});
    else
        result.insert(result.end(), {L"--protocol", L"chunked"});
    return result;
}

std::string input(Mode mode) {
    const std::string first = floatFrames(blocks / 2 * 512, 2),
                      second = floatFrames(blocks / 2 * 512, 2, blocks / 2 * 512);
    if (mode == Mode::Plain)
        return first + second;
    if (mode == Mode::Chunked)
        return message(3, formatRecord(44100, 2, 0, 2, 0)) + message(1, first) + message(1, second) + message(4, "");
    return std::string();
}

// What a parent has read by the time the 50th block would go out: the
// granted format, then 49 blocks.
size_t beforeBlock50(Mode mode) {
    return (mode == Mode::Chunked ? 20 : 0) + 49 * blockBytes;
}

// Whether `rest` is `line` and a line end; a `line` that ends in "0x" goes
// on with the hexadecimal offset of an address in a module, which is small.
bool isLine(const std::string& rest, const std::string& line) {
    if (rest.compare(0, line.size(), line) != 0)
        return false;
    std::string after = rest.substr(line.size());
    if (line.size() < 2 || line.compare(line.size() - 2, 2, "0x") != 0)
        return after == newline;
    size_t digits = after.find_first_not_of("0123456789abcdef");
    return digits != 0 && digits <= 7 && after.substr(digits) == newline;
}

// `error` is `before`, then one of `lines` with its line end.
::testing::AssertionResult oneLine(const std::string& error, const std::string& before,
                                   const std::vector<std::string>& lines) {
    if (error.compare(0, before.size(), before) == 0)
        for (const std::string& line : lines)
            if (isLine(error.substr(before.size()), line))
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
            HostRun quiet = runHost(arguments(mode, kind.quiet), input(mode), StandardInput::File, seconds);
            ASSERT_EQ(quiet.exitCode, 0u) << kind.name << " " << modeName;
            for (const Row& row : rows) {
                std::wstring what(row.name, row.name + std::strlen(row.name));
                std::wstring plugin = kind.prefix + what + kind.suffix;
                std::vector<std::string> lines = row.lines;
                for (std::string& line : lines)
                    if (line.find("<module>") != std::string::npos)
                        line.replace(line.find("<module>"), 8, narrow(plugin));
                HostRun run = runHost(arguments(mode, plugin), input(mode), StandardInput::File, seconds);
                std::string where = std::string(kind.name) + " " + modeName + " " + row.name;
                Strikes strikes = mode == Mode::Info && row.strikes == Strikes::Block ? Strikes::Never : row.strikes;
                std::string output = strikes == Strikes::Never || strikes == Strikes::Close ? quiet.output
                                     : strikes == Strikes::Open                             ? std::string()
                                                                : quiet.output.substr(0, beforeBlock50(mode));
                EXPECT_TRUE(sameBytes(run.output, output)) << where;
                if (strikes == Strikes::Never) {
                    EXPECT_EQ(run.exitCode, 0u) << where;
                    EXPECT_EQ(run.error, quiet.error) << where;
                    continue;
                }
                EXPECT_EQ(run.exitCode, exitFailure) << where;
                EXPECT_TRUE(oneLine(run.error, strikes == Strikes::Close ? quiet.error : std::string(), lines))
                    << where;
            }
        }
}

// What a plug-in prints goes where the user asks, from every thread, and
// still not to the parent.
TEST(MisbehavingPlugin, PrintsGoToTheFileOfPluginOutput) {
    for (const Kind& kind : kinds) {
        ScopedTempFolder folder;
        const std::wstring file = folder.path() + L"plugin output.txt";
        std::vector<std::wstring> options = arguments(Mode::Plain, kind.prefix + L"print" + kind.suffix);
        options.insert(options.end(), {L"--plugin-output", file});
        HostRun quiet = runHost(arguments(Mode::Plain, kind.quiet), input(Mode::Plain));
        HostRun run = runHost(options, input(Mode::Plain), StandardInput::File, 30.0);
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
    std::vector<std::wstring> options = arguments(Mode::Info, L"fx_rude-print.dll");
    options.insert(options.end(), {L"--plugin-output", folder.path() + L"missing\\output.txt"});
    HostRun run = runHost(options);
    EXPECT_EQ(run.exitCode, exitFailure);
    EXPECT_EQ(run.error, "file not found" + newline);
}

} // namespace
