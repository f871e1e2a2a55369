// bench_client: seconds of stereo float noise through a plug-in with the
// C++ client, one second per message, then the tail; prints the seconds the
// job took, from starting fxhost.exe to its end, on standard output.
//   bench_client <plug-in> <seconds of audio>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "fxhost_client.h"

int wmain(int argc, wchar_t** argv) {
    if (argc != 3)
        return 2;
    const uint32_t rate = 44100, channels = 2;
    int seconds = _wtoi(argv[2]);
    std::vector<float> second(rate * channels);
    uint32_t state = 1;
    for (float& sample : second) {
        state = state * 1664525u + 1013904223u;
        sample = float(int32_t(state)) / 2147483648.0f;
    }
    try {
        auto start = std::chrono::steady_clock::now();
        fxhost::HostOptions options;
        options.vstVersion = 2;
        fxhost::Host host(argv[1], options);
        std::unique_ptr<fxhost::Stream> stream = host.openStream(fxhost::SampleType::Float32);
        stream->setFormat(rate, channels);
        for (int i = 0; i < seconds; ++i)
            stream->process(second.data(), rate);
        stream->drainFloat();
        stream->close();
        std::printf("%.6f\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    } catch (const fxhost::Error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
