#pragma once

#include <cstdint>

namespace NSQX_script {

// The bytes of a chunk that an odd run of backslashes precedes: each backslash not itself
// escaped escapes the next byte. backslash: bit i set for a backslash at byte i of a chunk of
// kBits bytes (no bit at or above kBits). carry: the bit of the chunk's first byte when the byte
// before it escapes it, else 0 (bit 0, or bit k for a caller that ignores the k bytes below,
// where backslash has no bits); becomes 0 or 1 for the next chunk. Bits at or above kBits of
// the result mean nothing. Subtracting the backslashes from the odd bit positions above them
// tells an even run from an odd one by where each borrow stops, wherever the run begins; a
// borrow never runs downwards, so bits above kBits leave the chunk's alone.
template <typename Word, unsigned kBits = sizeof(Word) * 8>
inline Word EscapedBytes(Word backslash, Word& carry) {
    static_assert(kBits <= sizeof(Word) * 8, "the chunk fits the word");
    constexpr Word kOddBits = static_cast<Word>(0xAAAAAAAAAAAAAAAAull);
    const Word starts = backslash & static_cast<Word>(~carry);
    const Word code = static_cast<Word>((((starts << 1) | kOddBits) - starts) ^ kOddBits);
    const Word escaped = code ^ (backslash | carry);
    carry = static_cast<Word>((code & backslash) >> (kBits - 1));
    return escaped;
}

}  // namespace NSQX_script
