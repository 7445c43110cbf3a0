// Text of one or two bytes a character, by the character set of its font.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_CHARSETS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_CHARSETS_H

#include <cstdint>
#include <string>
#include <vector>

namespace zelmor::embed::metafile {

// `bytes` has a byte in each character, as records have such text. The advances of a character of two bytes are added
// up. Bytes without a meaning stay characters of the same number.
std::u16string decoded_text(const std::u16string& bytes, uint8_t charset, std::vector<double>& advances);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_CHARSETS_H
