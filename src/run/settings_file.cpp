// The --data file: the plug-in's settings blob between runs, read once as a
// run starts and written back by the editors when it changed.

#include <exception>

#include "run/vst_globals.h"
#include "support/file/file_win32.h"
#include "support/thread/wait.h"

namespace {
// Larger files are not read: no plug-in's settings come near this, and a
// parent that names the wrong file must not make the host swallow it.
const uint64_t settingsFileLimit = 64u * 1024 * 1024;
const int openAttempts = 10;
} // namespace

void VSTGlobals::loadSettings() {
    if (dataPath.empty())
        return;
    try {
        Qz::fileWin32 file;
        file.openRead(dataPath);
        uint64_t size = file.size();
        if (size > 0 && size < settingsFileLimit) {
            data.assign(size_t(size), 0);
            file.read(data.data(), size); // a short read leaves zeros behind
        }
    } catch (const std::exception&) {
        // Missing, locked or unreadable: the run goes on without settings.
        data.clear();
    }
    if (!data.empty() && effect && effect->aeffect && effect->canConfigure())
        effect->applySettings(data.data(), data.size());
}

void VSTGlobals::saveSettings() {
    if (dataPath.empty())
        return;
    std::vector<uint8_t> blob = effect ? effect->currentSettings() : std::vector<uint8_t>();
    if (blob == data)
        return;

    // The parent may still hold the file open for a moment; try a few times.
    Qz::fileWin32 file;
    for (int attempt = 0; attempt < openAttempts && !file.isOpen(); ++attempt) {
        try {
            file.openWrite(dataPath);
        } catch (const std::exception&) {
            if (attempt + 1 < openAttempts)
                Qz::waitAny(nullptr, 0, 0.01);
        }
    }
    if (!file.isOpen())
        return; // data keeps the old blob, so the next save tries again
    file.write(blob.data(), blob.size());
    data.swap(blob);
}
