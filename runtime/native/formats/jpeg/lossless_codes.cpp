// Making Huffman codes; see lossless_codes.h.
#include "runtime/native/formats/jpeg/lossless_codes.h"

#include <algorithm>
#include <cassert>
#include <numeric>

namespace zelmor::imagework {
namespace {

constexpr size_t kSymbols = kLosslessLengths + 1;  // the last one takes the code of ones only
constexpr uint8_t kLongestCode = 16;

struct Knot {
    uint64_t weight;
    size_t least;  // a symbol below it, so that the result does not depend on anything but the weights
    std::vector<size_t> symbols;
};

// The lengths of the codes: the two lightest knots become one until a single knot is left.
std::array<uint8_t, kSymbols> code_lengths(const std::array<uint64_t, kSymbols>& weights) {
    std::array<uint8_t, kSymbols> lengths{};
    std::vector<Knot> knots;
    for (size_t symbol = 0; symbol < kSymbols; symbol++) {
        if (weights[symbol] > 0) {
            knots.push_back({weights[symbol], symbol, {symbol}});
        }
    }
    while (knots.size() > 1) {
        std::sort(knots.begin(), knots.end(), [](const Knot& a, const Knot& b) {
            return a.weight != b.weight ? a.weight > b.weight : a.least < b.least;
        });
        const Knot lightest = std::move(knots.back());
        knots.pop_back();
        Knot& next = knots.back();
        next.weight += lightest.weight;
        next.least = std::min(next.least, lightest.least);
        next.symbols.insert(next.symbols.end(), lightest.symbols.begin(), lightest.symbols.end());
        for (const size_t symbol : next.symbols) {
            lengths[symbol]++;
        }
    }
    return lengths;
}

}  // namespace

LosslessCodes make_lossless_codes(const LosslessFrequencies& frequencies) {
    std::array<uint64_t, kSymbols> weights{};
    std::copy(frequencies.begin(), frequencies.end(), weights.begin());
    weights.back() = 1;
    if (std::accumulate(frequencies.begin(), frequencies.end(), uint64_t{0}) == 0) {
        weights[0] = 1;
    }
    auto lengths = code_lengths(weights);
    while (*std::max_element(lengths.begin(), lengths.end()) > kLongestCode) {
        for (uint64_t& weight : weights) {
            weight = (weight + 1) / 2;
        }
        lengths = code_lengths(weights);
    }
    // The code of ones is the last of the longest ones, so that the symbol for it has to be among those.
    const auto longest = std::max_element(lengths.begin(), lengths.end());
    std::swap(*longest, lengths.back());
    LosslessCodes result;
    uint32_t next = 0;
    for (uint8_t length = 1; length <= kLongestCode; length++, next <<= 1) {
        for (size_t symbol = 0; symbol < kLosslessLengths; symbol++) {
            if (lengths[symbol] == length) {
                result.codes[symbol] = {static_cast<uint16_t>(next++), length};
                result.counts[length - 1U]++;
                result.values.push_back(static_cast<uint8_t>(symbol));
            }
        }
    }
    assert(next <= 0xFFFFU << 1);
    return result;
}

}  // namespace zelmor::imagework
