// ISO 8859-15 and UTF-8; see latin_text.h.
#include "runtime/native/formats/jpeg2000/latin_text.h"

#include <utility>

namespace zelmor::imagework {
namespace {

// The bytes that stand for other characters than those of the same number.
constexpr std::pair<uint8_t, uint32_t> kSpecial[] = {{0xA4, 0x20AC}, {0xA6, 0x0160}, {0xA8, 0x0161}, {0xB4, 0x017D},
                                                     {0xB8, 0x017E}, {0xBC, 0x0152}, {0xBD, 0x0153}, {0xBE, 0x0178}};

uint32_t character_of(uint8_t byte) {
    for (const auto& [own, character] : kSpecial) {
        if (own == byte) {
            return character;
        }
    }
    return byte;
}

std::optional<uint8_t> byte_of(uint32_t character) {
    for (const auto& [own, other] : kSpecial) {
        if (other == character) {
            return own;
        }
        if (own == character) {
            return std::nullopt;
        }
    }
    return character < 0x100 ? std::optional(static_cast<uint8_t>(character)) : std::nullopt;
}

}  // namespace

std::string from_latin9(std::span<const uint8_t> text) {
    std::string out;
    for (const uint8_t byte : text) {
        const uint32_t character = character_of(byte);
        if (character < 0x80) {
            out += static_cast<char>(character);
        } else if (character < 0x800) {
            out += static_cast<char>(0xC0 | character >> 6);
            out += static_cast<char>(0x80 | (character & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | character >> 12);
            out += static_cast<char>(0x80 | (character >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (character & 0x3F));
        }
    }
    return out;
}

std::optional<std::vector<uint8_t>> to_latin9(std::string_view text) {
    std::vector<uint8_t> out;
    for (size_t i = 0; i < text.size();) {
        const auto first = static_cast<uint8_t>(text[i++]);
        const size_t more = first < 0x80 ? 0 : first >= 0xE0 ? 2 : 1;
        if ((first >= 0x80 && first < 0xC2) || first >= 0xF0 || more > text.size() - i) {
            return std::nullopt;
        }
        uint32_t character = more == 0 ? first : more == 1 ? first & 0x1FU : first & 0x0FU;
        for (size_t k = 0; k < more; k++) {
            const auto next = static_cast<uint8_t>(text[i++]);
            if ((next & 0xC0) != 0x80) {
                return std::nullopt;
            }
            character = character << 6 | (next & 0x3FU);
        }
        const auto byte = byte_of(character);
        if (!byte) {
            return std::nullopt;
        }
        out.push_back(*byte);
    }
    return out;
}

}  // namespace zelmor::imagework
