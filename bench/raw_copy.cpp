// The floor for streaming: standard input to standard output in pieces of a
// given size, through the same ReadFile and WriteFile calls fxhost makes,
// with nothing in between.
//   bench_raw_copy <bytes per read>
#include <cstdlib>
#include <vector>

#include <windows.h>

int main(int argc, char** argv) {
    size_t piece = argc > 1 ? size_t(std::atol(argv[1])) : 4096;
    std::vector<char> buffer(piece ? piece : 1);
    HANDLE in = GetStdHandle(STD_INPUT_HANDLE), out = GetStdHandle(STD_OUTPUT_HANDLE);
    for (;;) {
        DWORD got = 0, put = 0;
        // Fill the piece as fxhost's read does, so both make the same calls.
        size_t filled = 0;
        while (filled < buffer.size() && ReadFile(in, buffer.data() + filled, DWORD(buffer.size() - filled), &got, NULL) &&
               got > 0)
            filled += got;
        if (filled == 0)
            return 0;
        if (!WriteFile(out, buffer.data(), DWORD(filled), &put, NULL))
            return 1;
        if (filled < buffer.size())
            return 0;
    }
}
