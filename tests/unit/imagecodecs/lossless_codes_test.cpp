// The Huffman codes of lossless JPEG: what the format allows, and as short as can be.
#include "runtime/native/formats/jpeg/lossless_codes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <queue>
#include <random>

namespace zelmor::imagework {
namespace {

// What codes of any length make of the symbols that are used, and of one more that is used once: the format keeps the
// code of ones free. The bits of all, but for that one; nothing where a code would have more than 16 bits.
std::optional<uint64_t> shortest(const LosslessFrequencies& frequencies) {
    struct Node {
        uint64_t weight;
        int depth;
        bool operator>(const Node& other) const { return weight > other.weight; }
    };
    std::priority_queue<Node, std::vector<Node>, std::greater<>> nodes;
    for (const uint64_t weight : frequencies) {
        if (weight > 0) {
            nodes.push({weight, 0});
        }
    }
    nodes.push({1, 0});
    uint64_t bits = 0;
    int deepest = 0;
    while (nodes.size() > 1) {
        const Node a = nodes.top();
        nodes.pop();
        const Node b = nodes.top();
        nodes.pop();
        const Node both{a.weight + b.weight, std::max(a.depth, b.depth) + 1};
        bits += both.weight;
        deepest = both.depth;
        nodes.push(both);
    }
    return deepest <= 16 ? std::optional(bits) : std::nullopt;
}

// The bits of all symbols by the codes, which have to be sound.
uint64_t checked(const LosslessFrequencies& frequencies, const LosslessCodes& found) {
    EXPECT_EQ(std::accumulate(found.counts.begin(), found.counts.end(), size_t{0}), found.values.size());
    uint64_t bits = 0;
    uint32_t code = 0;
    size_t at = 0;
    for (size_t length = 1; length <= 16; length++) {  // by annex C of the standard: the codes follow each other
        for (int i = 0; i < found.counts[length - 1]; i++, at++, code++) {
            const LosslessCodes::Code& own = found.codes[found.values[at]];
            EXPECT_EQ(own.length, length);
            EXPECT_EQ(own.bits, code);
            EXPECT_LT(code, (uint32_t{1} << length) - 1) << "a code of ones";
            bits += frequencies[found.values[at]] * length;
        }
        code <<= 1;
    }
    for (size_t i = 0; i < frequencies.size(); i++) {
        const bool there = std::find(found.values.begin(), found.values.end(), i) != found.values.end();
        EXPECT_EQ(found.codes[i].length > 0, there) << i;
        EXPECT_TRUE(there || frequencies[i] == 0) << i;
    }
    return bits;
}

TEST(LosslessCodes, AreAsShortAsCanBe) {
    std::mt19937 random(1);
    for (int round = 0; round < 200; round++) {
        LosslessFrequencies frequencies{};
        for (uint64_t& each : frequencies) {
            each = random() % 3 == 0 ? 0 : random() % (uint64_t{1} << random() % 20);
        }
        if (const auto least = shortest(frequencies); least && *least > 0) {
            const LosslessCodes found = make_lossless_codes(frequencies);
            const uint64_t bits = checked(frequencies, found);
            // The code of ones is one of the longest, of a symbol that is never there.
            const auto longest =
                std::find_if(found.counts.rbegin(), found.counts.rend(), [](uint8_t n) { return n > 0; });
            const auto length = static_cast<uint64_t>(found.counts.rend() - longest);
            EXPECT_LE(bits + length, *least + 1) << round;
        }
    }
}

TEST(LosslessCodes, HaveSixteenBitsAtMost) {
    for (const double growth : {1.6180339887498949, 2.0, 3.0}) {
        LosslessFrequencies frequencies{};
        double weight = 1;
        for (uint64_t& each : frequencies) {  // which makes a code of each length
            each = static_cast<uint64_t>(weight);
            weight = weight * growth + 1;
        }
        EXPECT_EQ(shortest(frequencies), std::nullopt);
        const LosslessCodes found = make_lossless_codes(frequencies);
        checked(frequencies, found);
        EXPECT_EQ(found.values.size(), kLosslessLengths);
        for (size_t i = 1; i < kLosslessLengths; i++) {
            EXPECT_GE(found.codes[i - 1].length, found.codes[i].length) << i;
        }
    }
}

TEST(LosslessCodes, OneSymbolAndNone) {
    for (size_t only = 0; only < kLosslessLengths; only++) {
        LosslessFrequencies frequencies{};
        frequencies[only] = 7;
        const LosslessCodes found = make_lossless_codes(frequencies);
        EXPECT_EQ(checked(frequencies, found), 7U);
        EXPECT_EQ(found.values, std::vector<uint8_t>{static_cast<uint8_t>(only)});
    }
    const LosslessCodes found = make_lossless_codes({});
    checked({}, found);
    EXPECT_EQ(found.values, std::vector<uint8_t>{0}) << "a table is not empty";
}

}  // namespace
}  // namespace zelmor::imagework
