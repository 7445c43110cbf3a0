// CDR and CMX files as OpenDocument drawings, which this runtime draws.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CONVERTED_DRAWING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CONVERTED_DRAWING_H

#include <cstdint>
#include <span>
#include <vector>

namespace zelmor::embed {

// Exit codes of the program, convert_drawing.cpp.
enum class ConvertExit { kGood = 0, kUnknown = 3, kFailed = 4 };

// A flat OpenDocument drawing of the file. PictureError(kDamaged) where the parser cannot read the file, or takes more
// time or memory than it may.
std::vector<uint8_t> converted_drawing(std::span<const uint8_t> file, bool cmx);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CONVERTED_DRAWING_H
