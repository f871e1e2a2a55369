#include "host/crash_report.h"

const char crashPrefix[] = "plug-in crashed: ";

namespace {

const struct {
    uint32_t code;
    const char* name;
} exceptionNames[] = {
    {0xC0000005u, "access violation"},
    {0xC0000006u, "in-page error"},
    {0xC00000FDu, "stack overflow"},
    {0xC000001Du, "illegal instruction"},
    {0xC0000096u, "privileged instruction"},
    {0xC0000094u, "integer divide by zero"},
    {0xC0000095u, "integer overflow"},
    {0xC000008Cu, "array bounds exceeded"},
    {0xC000008Du, "float denormal operand"},
    {0xC000008Eu, "float divide by zero"},
    {0xC000008Fu, "float inexact result"},
    {0xC0000090u, "float invalid operation"},
    {0xC0000091u, "float overflow"},
    {0xC0000092u, "float stack check"},
    {0xC0000093u, "float underflow"},
    {0x80000002u, "datatype misalignment"},
    {0x80000003u, "breakpoint"},
    {0xC0000025u, "noncontinuable exception"},
    {0xC0000026u, "invalid disposition"},
    {0xC0000374u, "heap corruption"},
    {0xC0000409u, "stack buffer overrun"},
    {0xE06D7363u, "unhandled C++ exception"},
};

} // namespace

const char* exceptionName(uint32_t code) {
    for (const auto& known : exceptionNames)
        if (known.code == code)
            return known.name;
    return nullptr;
}

CrashLine::CrashLine(const char* what) {
    append(crashPrefix);
    append(what);
    end();
}

CrashLine::CrashLine(uint32_t code, const char* module, uint64_t offset) {
    const char* name = exceptionName(code);
    append(crashPrefix);
    append(name ? name : "exception");
    append(" (");
    appendHex(code, 8);
    append(") at ");
    if (module && *module) {
        append(module);
        append("+");
    }
    append("0x");
    appendHex(offset, 1);
    end();
}

void CrashLine::append(const char* text) {
    // Room is kept for the line end.
    while (*text && length + 2 < sizeof buffer - 1)
        buffer[length++] = *text++;
}

void CrashLine::appendHex(uint64_t value, int minimumDigits) {
    char digits[16];
    int count = 0;
    do {
        digits[count++] = "0123456789abcdef"[value & 15];
        value >>= 4;
    } while (value != 0 || count < minimumDigits);
    char text[17];
    for (int i = 0; i < count; ++i)
        text[i] = digits[count - 1 - i];
    text[count] = 0;
    append(text);
}

void CrashLine::end() {
    buffer[length++] = '\r';
    buffer[length++] = '\n';
    buffer[length] = 0;
}
