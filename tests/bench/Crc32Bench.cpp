// CRC-32 beside Boost's and zlib's, and over files beside memory.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <boost/crc.hpp>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "base/TempFolder.h"
#include "provisioning/keys/FileCrc.h"
#include "text/Crc32.h"

namespace {

std::vector<std::uint8_t> RandomBytes(std::size_t size) {
    std::mt19937 random(1);
    std::vector<std::uint8_t> bytes(size);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

void CountBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void Crc32(benchmark::State& state) {
    const std::vector<std::uint8_t> bytes = RandomBytes(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(zel::Crc32(bytes.data(), 0, bytes.size()));
    }
    CountBytes(state);
}

void Crc32Boost(benchmark::State& state) {
    const std::vector<std::uint8_t> bytes = RandomBytes(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        boost::crc_32_type crc;
        crc.process_bytes(bytes.data(), bytes.size());
        benchmark::DoNotOptimize(crc.checksum());
    }
    CountBytes(state);
}

void Crc32Zlib(benchmark::State& state) {
    const std::vector<std::uint8_t> bytes = RandomBytes(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
    }
    CountBytes(state);
}

// A file that the system holds in memory: what is measured is the routine, not the disk.
void Crc32File(benchmark::State& state) {
    const tests::TempFolder folder;
    const std::string path = folder.At("file.bin").string();
    const std::vector<std::uint8_t> bytes = RandomBytes(static_cast<std::size_t>(state.range(0)));
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    const bool written = file != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if (file == nullptr || std::fclose(file) != 0 || !written) {
        state.SkipWithError("the file cannot be written");
    }
    std::uint32_t crc = 0;
    for (auto _ : state) {
        if (zel::FileCrc(path, crc) != 1) {
            state.SkipWithError("the file cannot be read");
            break;
        }
    }
    CountBytes(state);
}

constexpr std::int64_t kLargestTransfer = 16320;
constexpr std::int64_t kLarge = 4 << 20;

BENCHMARK(Crc32)->Arg(64)->Arg(kLargestTransfer)->Arg(kLarge);
BENCHMARK(Crc32Boost)->Arg(kLargestTransfer)->Arg(kLarge);
BENCHMARK(Crc32Zlib)->Arg(64)->Arg(kLargestTransfer)->Arg(kLarge);
BENCHMARK(Crc32File)->Arg(kLargestTransfer)->Arg(kLarge);

}  // namespace
