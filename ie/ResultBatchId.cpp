#include "ie/ResultBatchId.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstdint>

#include "qx_platform/Random.h"

namespace NSQX_script {

namespace {

thread_local bool t_lastWasStrong = false;

std::uint64_t SplitMix64(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

std::uint16_t FallbackId() {
    static std::atomic<std::uint64_t> counter{0};
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    std::uint64_t seed = static_cast<std::uint64_t>(now);
    seed ^= SplitMix64(counter.fetch_add(1, std::memory_order_relaxed));
    seed ^= static_cast<std::uint64_t>(pthread_self()) << 1;
    return static_cast<std::uint16_t>(SplitMix64(seed) >> 48);
}

}  // namespace

unsigned short NewResultBatchId() {
    unsigned char bytes[2] = {0, 0};
    if (qxp::RandomBytes(bytes, sizeof bytes)) {
        t_lastWasStrong = true;
        return static_cast<unsigned short>((bytes[0] << 8) | bytes[1]);
    }
    t_lastWasStrong = false;
    return FallbackId();
}

bool LastResultBatchIdWasStrong() {
    return t_lastWasStrong;
}

}  // namespace NSQX_script
