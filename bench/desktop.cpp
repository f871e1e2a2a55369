// Keeps a Wine desktop alive for as long as its standard input stays open.
// On Windows the desktop always exists; under Wine it is started by the first
// process that needs a message queue and stopped a second after the last one
// leaves, so without this every benchmarked run would pay for starting it.
#include <windows.h>

int main() {
    // A queue ties this thread to the desktop, which keeps it running; asking
    // for the desktop window is what starts it, before the first measured run.
    MSG message;
    PeekMessageW(&message, NULL, 0, 0, PM_NOREMOVE);
    GetDesktopWindow();
    char scratch[64];
    DWORD got = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), scratch, sizeof scratch, &got, NULL) && got > 0) {
    }
    return 0;
}
