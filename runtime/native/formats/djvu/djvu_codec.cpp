// The codec of DjVu: it reads.
#include "runtime/native/formats/djvu/djvu_codec.h"
#include "runtime/native/imagework/format_codec.h"

namespace zelmor::imagework {
namespace {

SharedFrames open_djvu(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_djvu(source, options.recovery, options.memory);
}

}  // namespace

extern const FormatCodec kDjvuCodec;
const FormatCodec kDjvuCodec{
    .format = Format::kDjvu,
    .open = &open_djvu,
};

}  // namespace zelmor::imagework
