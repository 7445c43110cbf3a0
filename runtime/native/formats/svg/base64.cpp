// Six bits a character; see base64.h.
#include "runtime/native/formats/svg/base64.h"

#include <algorithm>

namespace zelmor::imagework {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string to_base64(std::span<const uint8_t> bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t count = std::min<size_t>(3, bytes.size() - i);
        uint32_t bits = static_cast<uint32_t>(bytes[i]) << 16;
        bits |= count > 1 ? static_cast<uint32_t>(bytes[i + 1]) << 8 : 0;
        bits |= count > 2 ? bytes[i + 2] : 0U;
        for (size_t digit = 0; digit < 4; ++digit) {
            text.push_back(digit <= count ? kDigits[bits >> (18 - 6 * digit) & 63] : '=');
        }
    }
    return text;
}

std::optional<std::vector<uint8_t>> from_base64(std::string_view text) {
    std::vector<uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3);
    uint32_t bits = 0;
    unsigned count = 0;
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            continue;
        }
        if (c == '=') {
            break;
        }
        const size_t digit = kDigits.find(c);
        if (digit == std::string_view::npos) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<uint32_t>(digit);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<uint8_t>(bits >> count));
        }
    }
    return bytes;
}

}  // namespace zelmor::imagework
