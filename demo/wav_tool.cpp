// fxdemo_wav: the demo's small audio tool, for raw 32-bit float stereo.
//   signal <out.raw> <seconds> <rate>   a test signal: short plucked notes, then silence
//   wav <in.raw> <out.wav> <rate> <channels>   wraps raw float samples as a WAV file
//   stats <in.raw> <channels>           "frames peak_dBFS rms_dBFS" on one line

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const double pi = 3.14159265358979323846;

bool readAll(const char* path, std::vector<float>& samples) {
    FILE* f = std::fopen(path, "rb");
    if (!f)
        return false;
    std::vector<char> bytes;
    char buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
        bytes.insert(bytes.end(), buffer, buffer + n);
    std::fclose(f);
    samples.resize(bytes.size() / 4);
    if (!samples.empty())
        std::memcpy(samples.data(), bytes.data(), samples.size() * 4);
    return true;
}

bool writeAll(const char* path, const void* data, size_t size) {
    FILE* f = std::fopen(path, "wb");
    if (!f)
        return false;
    bool ok = std::fwrite(data, 1, size, f) == size;
    return std::fclose(f) == 0 && ok;
}

int signal(const char* path, double seconds, int rate) {
    // Four plucked notes in the first half, silence after: the echo's
    // repeats are then easy to hear, and its tail has room to ring out.
    const double notes[] = {220.0, 277.18, 329.63, 440.0};
    size_t frames = size_t(seconds * rate);
    std::vector<float> out(frames * 2, 0.0f);
    for (int k = 0; k < 4; ++k) {
        size_t start = size_t(k * 0.25 * rate);
        for (size_t i = 0; start + i < frames && i < size_t(0.4 * rate); ++i) {
            double t = double(i) / rate;
            double v = 0.5 * std::exp(-t * 9.0) * std::sin(2 * pi * notes[k] * t);
            double pan = k % 2 ? 0.3 : 0.7;
            out[(start + i) * 2] += float(v * pan);
            out[(start + i) * 2 + 1] += float(v * (1.0 - pan));
        }
    }
    return writeAll(path, out.data(), out.size() * 4) ? 0 : 1;
}

void put16(std::string& s, uint16_t v) {
    s.push_back(char(v & 0xFF));
    s.push_back(char(v >> 8));
}

void put32(std::string& s, uint32_t v) {
    put16(s, uint16_t(v & 0xFFFF));
    put16(s, uint16_t(v >> 16));
}

int wav(const char* in, const char* out, int rate, int channels) {
    std::vector<float> samples;
    if (!readAll(in, samples))
        return 1;
    uint32_t dataBytes = uint32_t(samples.size() * 4);
    std::string header = "RIFF";
    put32(header, 36 + dataBytes);
    header += "WAVEfmt ";
    put32(header, 16);
    put16(header, 3); // IEEE float
    put16(header, uint16_t(channels));
    put32(header, uint32_t(rate));
    put32(header, uint32_t(rate * channels * 4));
    put16(header, uint16_t(channels * 4));
    put16(header, 32);
    header += "data";
    put32(header, dataBytes);
    std::string file = header;
    file.append(reinterpret_cast<const char*>(samples.data()), dataBytes);
    return writeAll(out, file.data(), file.size()) ? 0 : 1;
}

double decibels(double v) { return v > 0.0 ? 20.0 * std::log10(v) : -999.0; }

int stats(const char* in, int channels) {
    std::vector<float> samples;
    if (!readAll(in, samples))
        return 1;
    double peak = 0.0, sum = 0.0;
    for (float s : samples) {
        peak = std::fmax(peak, std::fabs(double(s)));
        sum += double(s) * s;
    }
    double rms = samples.empty() ? 0.0 : std::sqrt(sum / samples.size());
    std::printf("%zu %.1f %.1f\n", samples.size() / size_t(channels), decibels(peak), decibels(rms));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    std::string command = argc > 1 ? argv[1] : "";
    if (command == "signal" && argc == 5)
        return signal(argv[2], std::atof(argv[3]), std::atoi(argv[4]));
    if (command == "wav" && argc == 6)
        return wav(argv[2], argv[3], std::atoi(argv[4]), std::atoi(argv[5]));
    if (command == "stats" && argc == 4)
        return stats(argv[2], std::atoi(argv[3]));
    std::fprintf(stderr, "usage: fxdemo_wav signal|wav|stats ...\n");
    return 2;
}
