// MD5 as RFC 1321 defines it; see md5.h.
#include "runtime/native/behaviors/metadata/containers/md5.h"

#include <array>
#include <bit>
#include <cmath>

namespace zelmor::embed {

namespace {

constexpr size_t kBlock = 64;

// The constant of each step: the fraction of a sine, in 32 bits.
std::array<uint32_t, kBlock> sines() {
    std::array<uint32_t, kBlock> result{};
    for (size_t i = 0; i < kBlock; ++i) {
        result[i] = static_cast<uint32_t>(std::floor(std::abs(std::sin(static_cast<double>(i + 1))) * 4294967296.0));
    }
    return result;
}

uint32_t word_at(const std::byte* block, size_t index) {
    uint32_t word = 0;
    for (size_t i = 0; i < 4; ++i) {
        word |= std::to_integer<uint32_t>(block[4 * index + i]) << 8 * i;
    }
    return word;
}

void take_block(std::array<uint32_t, 4>& state, const std::byte* block) {
    static const std::array<uint32_t, kBlock> kSines = sines();
    constexpr int kTurns[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    auto [a, b, c, d] = state;
    for (size_t i = 0; i < kBlock; ++i) {
        uint32_t mixed = 0;
        size_t index = 0;
        switch (i / 16) {
            case 0:
                mixed = (b & c) | (~b & d);
                index = i;
                break;
            case 1:
                mixed = (d & b) | (~d & c);
                index = (5 * i + 1) % 16;
                break;
            case 2:
                mixed = b ^ c ^ d;
                index = (3 * i + 5) % 16;
                break;
            default:
                mixed = c ^ (b | ~d);
                index = 7 * i % 16;
                break;
        }
        mixed += a + kSines[i] + word_at(block, index);
        a = d;
        d = c;
        c = b;
        b += std::rotl(mixed, kTurns[i / 16][i % 4]);
    }
    state = {state[0] + a, state[1] + b, state[2] + c, state[3] + d};
}

}  // namespace

std::string md5_text(std::span<const std::byte> data) {
    // Behind the data: a one bit, zeros, and the length in bits, little-endian.
    Bytes padded(data.begin(), data.end());
    padded.push_back(std::byte{0x80});
    while (padded.size() % kBlock != kBlock - 8) {
        padded.push_back(std::byte{0});
    }
    for (int i = 0; i < 8; ++i) {
        padded.push_back(static_cast<std::byte>(uint64_t{data.size()} * 8 >> 8 * i));
    }
    std::array<uint32_t, 4> state{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    for (size_t at = 0; at < padded.size(); at += kBlock) {
        take_block(state, padded.data() + at);
    }
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string text;
    for (const uint32_t word : state) {
        for (int i = 0; i < 4; ++i) {
            const uint32_t byte = word >> 8 * i & 0xFF;
            text += kDigits[byte >> 4];
            text += kDigits[byte & 15];
        }
    }
    return text;
}

}  // namespace zelmor::embed
