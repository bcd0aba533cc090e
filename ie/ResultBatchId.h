#pragma once

#include <cstdint>

namespace NSQX_script {

// A 16-bit random number that tags one batch of results (for example the results a task
// collects in its thread's error manager during one run), so that reports of overlapping runs
// can be told apart. Not a secret and not unique: two batches may draw the same number.
//
// Drawn from the crypto library's generator when it reports itself seeded; otherwise, or when
// the draw fails, it falls back to mixing the clock, a per-process counter and the calling
// thread, which still differs from call to call but is predictable. Thread-safe.
std::uint16_t NewResultBatchId();

// Whether the last call on this thread used the crypto generator (false: the fallback).
bool LastResultBatchIdWasStrong();

}  // namespace NSQX_script
