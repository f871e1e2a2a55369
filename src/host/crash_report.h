// The one line on standard error with which a run that a plug-in brought
// down ends. Parents recognise such a run by the line's start, crashPrefix:
// keep it as it is.
//
// Built into a caller's buffer, with no allocation and little stack: it is
// written from inside a crash, perhaps a stack overflow, perhaps with the
// heap's lock held by the thread that stopped.
#pragma once

#include <cstddef>
#include <cstdint>

extern const char crashPrefix[]; // "plug-in crashed: "

// A line that ends in "\r\n", the line end of the program's other texts.
// Never longer than its buffer; a text that does not fit is cut.
class CrashLine {
public:
    // "plug-in crashed: <what>"
    explicit CrashLine(const char* what);
    // "plug-in crashed: access violation (c0000005) at rude.dll+0x13e0": the
    // exception's name (just "exception" for a code without one), its code,
    // and the faulting address as an offset into the module that holds it.
    // With no module (null or empty), the address itself: "at 0x1234".
    CrashLine(uint32_t code, const char* module, uint64_t offset);

    const char* text() const { return buffer; }
    size_t size() const { return length; }

private:
    void append(const char* text);
    void appendHex(uint64_t value, int minimumDigits);
    void end();

    char buffer[600];
    size_t length = 0;
};

// The name of a structured exception code, or null for one without a name.
const char* exceptionName(uint32_t code);
