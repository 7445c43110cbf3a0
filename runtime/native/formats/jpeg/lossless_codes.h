// The Huffman code of a lossless JPEG file: how many bits the difference of a sample to its forecast has.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_LOSSLESS_CODES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_LOSSLESS_CODES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zelmor::imagework {

// Lengths of differences: 0 to 16 bits.
inline constexpr size_t kLosslessLengths = 17;
using LosslessFrequencies = std::array<uint64_t, kLosslessLengths>;

struct LosslessCodes {
    struct Code {
        uint16_t bits = 0;
        uint8_t length = 0;  // 0: none
    };
    std::array<Code, kLosslessLengths> codes = {};  // by the length of a difference
    // As the file has them: how many codes there are of 1 to 16 bits, and what they stand for in their order.
    std::array<uint8_t, 16> counts = {};
    std::vector<uint8_t> values = {};
};

// The code that makes the file shortest. No code consists of ones only, which the format does not allow.
LosslessCodes make_lossless_codes(const LosslessFrequencies& frequencies);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_LOSSLESS_CODES_H
