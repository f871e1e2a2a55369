#include "editor/window_options.h"

#include "run/vst_globals.h"

std::wstring& windowTitle() {
    static std::wstring title = L"VST Effect Configuration";
    return title;
}

bool parseWindowHandle(const std::string& text, uint64_t& value) {
    value = 0;
    for (char c : text) {
        uint64_t digit;
        if (c >= '0' && c <= '9')
            digit = uint64_t(c - '0');
        else if (c >= 'a' && c <= 'f')
            digit = uint64_t(c - 'a' + 10);
        else if (c >= 'A' && c <= 'F')
            digit = uint64_t(c - 'A' + 10);
        else
            return false;
        if (value >> 60 != 0)
            return false; // a 17th significant digit
        value = value << 4 | digit;
    }
    return true;
}

void* parentWindow(const VSTGlobals& globals) {
    const std::string* text = findOption(globals.arguments, "--parent-window");
    uint64_t value = 0;
    // A parent that cannot be read is no reason to refuse the window: it
    // simply stands alone.
    if (!text || !parseWindowHandle(*text, value))
        return nullptr;
    return reinterpret_cast<void*>(uintptr_t(value));
}
