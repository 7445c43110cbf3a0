// The extension blocks of a GIF file as managed objects: read from a stream and written to one as GIF89a has them.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_GIF_BLOCKS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_GIF_BLOCKS_H

#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/core/records.h"
#include "runtime/native/core/stream.h"

namespace zelmor::embed {

// The byte after the introducer of an extension: the kind of the extension.
enum class GifLabel : uint8_t { kPlainText = 0x01, kControl = 0xF9, kComment = 0xFE, kApplication = 0xFF };
constexpr uint8_t kGifExtensionIntroducer = 0x21;

// The class of the blocks with this label.
const char* gif_block_class(uint8_t label);
// A block from the position of a stream, which stands at an introducer. EndOfStreamException for a block that has no
// end, ArgumentException for one whose fixed part is not as long as it has to be.
Ref<ManagedObject> read_gif_block(ManagedStream& stream);
void write_gif_block(const ManagedObject& block, ManagedStream& stream);

// A block of a file that was read, from its introducer to its end. One whose fixed part is not as long as it has to be
// becomes a GifUnknownExtensionBlock.
Ref<ManagedObject> gif_block_of_bytes(std::span<const uint8_t> bytes);
std::vector<uint8_t> bytes_of_gif_block(const ManagedObject& block);
// Whether an object is a block of this label.
bool is_gif_block(const ManagedObject& object, GifLabel label);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_GIF_BLOCKS_H
