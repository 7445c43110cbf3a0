// Base64, in which data URIs hold pictures.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_BASE64_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_BASE64_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmor::imagework {

std::string to_base64(std::span<const uint8_t> bytes);
// White space between the characters is skipped. Nothing where there is another character.
std::optional<std::vector<uint8_t>> from_base64(std::string_view text);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_BASE64_H
