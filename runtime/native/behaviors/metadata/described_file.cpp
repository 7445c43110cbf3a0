// Files that get their metadata while they are written; see described_file.h.
#include "runtime/native/behaviors/metadata/described_file.h"

#include <cassert>
#include <optional>

#include "runtime/native/behaviors/formats/interrupt_monitor.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/metadata/containers/file_metadata.h"

namespace zelmor::embed {

using imagework::EncodedBytes;

namespace {

std::span<const uint8_t> unsigned_bytes_of(const Bytes& bytes) {
    return {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
}

}  // namespace

void DescribedFile::write(std::span<const uint8_t> bytes) {
    assert(!m_pictures.empty() && m_whole.data == nullptr && m_edited == nullptr);
    if (m_has_head || !gets_metadata(m_format)) {
        m_has_head = true;
        return m_target.write(bytes);
    }
    m_head.insert(m_head.end(), bytes.begin(), bytes.end());
    const std::optional<size_t> size = size_of_head(std::as_bytes(std::span(m_head)));
    if (!size) {
        return;
    }
    const std::vector<uint8_t> start = std::exchange(m_head, {});
    HeadAndTail described = head_with_metadata(std::span(start).first(*size), m_pictures, m_options);
    m_has_head = true;
    m_tail = std::move(described.tail);
    m_target.write(unsigned_bytes_of(described.head));
    m_target.write(std::span(start).subspan(*size));
}

void DescribedFile::write_whole(EncodedBytes file) {
    assert(!m_pictures.empty() && m_head.empty() && !m_has_head && m_edited == nullptr);
    m_whole = std::move(file);
}

imagework::EditableFile* DescribedFile::editable() {
    assert(!m_pictures.empty() && m_head.empty() && !m_has_head && m_whole.data == nullptr);
    assert(gets_metadata_in_place(m_format));
    m_edited = m_target.editable();
    return m_edited;
}

void DescribedFile::finish() {
    require_uninterrupted(m_image);
    if (m_edited != nullptr) {
        return add_metadata(*m_edited, m_format, m_pictures, m_options);
    }
    if (m_has_head) {
        return m_target.write(unsigned_bytes_of(m_tail));
    }
    assert(m_whole.data != nullptr && m_head.empty());  // what comes piece by piece has a head
    EncodedBytes file = std::exchange(m_whole, {});
    std::vector<uint8_t> described = file_with_metadata(file.bytes(), m_pictures, m_options);
    m_target.write_whole(described.empty() ? std::move(file) : imagework::to_encoded(std::move(described)));
}

}  // namespace zelmor::embed
