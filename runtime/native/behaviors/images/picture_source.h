// A stream or file that a picture is looked for in, read no further than that takes.
//
// The header is read in small blocks, as its parser asks for them: a stream that can seek skips the bytes between two
// blocks, another one is read up to the second. Then the picture is read to its end, and no further. All failures
// are managed exceptions, or PictureError where the data is at fault.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PICTURE_SOURCE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PICTURE_SOURCE_H

#include <cstdint>
#include <map>
#include <vector>

#include "runtime/native/core/stream.h"
#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

class PictureSource final : private imagework::ByteSource {
 public:
    // From where the stream stands.
    explicit PictureSource(Ref<ManagedStream> stream);

    // The facts that the header gives.
    imagework::FileFacts facts() { return imagework::probe(*this); }
    // The bytes of the picture. A stream that can seek stands behind them afterwards. Files that cannot be decoded, and
    // files that `check` refuses, are refused before their pixels are read.
    template <class Check>
    std::vector<uint8_t> picture(const imagework::DecodeOptions& options, Check&& check) {
        const imagework::FileFacts header = facts();
        if (header.format == imagework::Format::kUnknown && at(0, 1).empty()) {
            return {};
        }
        check(header);
        imagework::require_decodable(header, options);
        return rest(header, options);
    }
    // Puts a stream that can seek back to where it stood.
    void go_back();

 private:
    std::vector<uint8_t> rest(const imagework::FileFacts& header, const imagework::DecodeOptions& options);
    std::span<const uint8_t> at(uint64_t offset, uint64_t length) override;
    std::span<const uint8_t> block(uint64_t number);
    void go_to(uint64_t offset);
    // Appends the bytes of one read, at most `count`; false at the end of the stream.
    bool append(std::vector<uint8_t>& to, uint64_t count);

    Ref<ManagedStream> m_stream;
    bool m_seeks;
    int64_t m_begin = 0;  // of the stream's own positions
    uint64_t m_next = 0;  // where the stream stands, counted from there
    uint64_t m_looked_at = 0;
    uint64_t m_last_block = UINT64_MAX;
    std::map<uint64_t, std::vector<uint8_t>> m_blocks;  // of a stream that can seek
    std::vector<uint8_t> m_read;                        // of another one: all that came so far
    std::vector<uint8_t> m_piece;
};

// The facts of the file ahead in a stream, whose position stays; NotSupportedException where the stream cannot seek.
imagework::FileFacts facts_ahead(const Ref<ManagedStream>& stream);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PICTURE_SOURCE_H
