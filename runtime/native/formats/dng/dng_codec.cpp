// The codec of DNG: it reads.
#include "runtime/native/formats/dng/dng_codec.h"

#include "runtime/native/imagework/format_codec.h"

namespace zelmor::imagework {
namespace {

SharedFrames open_dng(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_dng(source, options);
}

}  // namespace

extern const FormatCodec kDngCodec;
const FormatCodec kDngCodec{
    .format = Format::kDng,
    .open = &open_dng,
};

}  // namespace zelmor::imagework
