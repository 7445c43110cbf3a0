// The parts of a file that metadata are kept in, found by walking over its structure and read one by one.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_PARTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_PARTS_H

#include <string>

#include "runtime/native/core/value.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::embed {

// Bytes in memory that outlive the source.
inline imagework::SharedSource source_of(std::span<const std::byte> bytes) {
    return imagework::borrowed_source({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
}

// All members throw what reading the source throws.
class FileParts {
 public:
    // A walk from one header to the next, over data that may be long.
    static constexpr size_t kHeaders = 64;
    // A walk whose steps are so short that they touch every part of the file anyway.
    static constexpr size_t kShortSteps = imagework::SourceBytes::kUsualWindow;

    FileParts(imagework::SharedSource source, size_t steps) : m_bytes(std::move(source), steps) {}

    uint64_t size() const { return m_bytes.size(); }
    // Numbers and marks; the reader is good for as long as this object.
    imagework::ByteReader reader(bool big_endian) { return imagework::ByteReader(m_bytes, big_endian); }
    std::string text(uint64_t at, size_t length) {
        const auto found = m_bytes.at(at, length);
        return {found.begin(), found.end()};
    }
    // A part that the file has as a whole. PictureError(kDamaged) where all parts are more than one file may have.
    Bytes take(uint64_t at, uint64_t length) {
        if (++m_parts > imagework::limits::kTexts) {
            throw imagework::PictureError(
                imagework::Failure::kDamaged,
                "the file has more than " + std::to_string(imagework::limits::kTexts) + " pieces of metadata");
        }
        constexpr uint64_t kMost = imagework::limits::kTextBytes;
        if (length > kMost - m_taken) {
            throw imagework::PictureError(imagework::Failure::kDamaged,
                                          "the file has more than " + std::to_string(kMost) + " bytes of metadata");
        }
        m_taken += length;
        Bytes part(static_cast<size_t>(length));
        auto* first = reinterpret_cast<uint8_t*>(part.data());
        part.resize(m_bytes.copy(at, {first, part.size()}));
        return part;
    }

 private:
    imagework::SourceBytes m_bytes;
    uint64_t m_taken = 0;
    uint64_t m_parts = 0;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_PARTS_H
