// Files that get their metadata while they are written; see described_file.h.
#include "runtime/native/behaviors/metadata/described_file.h"

#include <cassert>
#include <optional>

#include "runtime/native/behaviors/formats/interrupt_monitor.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/metadata/containers/file_metadata.h"

namespace zelmor::embed {

using imagework::EncodedBytes;

void DescribedFile::write(std::span<const uint8_t> bytes) {
    assert(!m_pictures.empty() && m_whole.data == nullptr);
    if (m_has_head) {
        return m_target.write(bytes);
    }
    m_head.insert(m_head.end(), bytes.begin(), bytes.end());
    const std::optional<size_t> size = size_of_head(std::as_bytes(std::span(m_head)));
    if (!size) {
        return;
    }
    const std::vector<uint8_t> pixels(m_head.begin() + static_cast<std::ptrdiff_t>(*size), m_head.end());
    m_head.resize(*size);
    m_target.write(described(imagework::to_encoded(std::exchange(m_head, {}))).bytes());
    m_has_head = true;
    m_target.write(pixels);
}

void DescribedFile::write_whole(EncodedBytes file) {
    assert(!m_pictures.empty() && m_head.empty() && !m_has_head);
    m_whole = std::move(file);
}

void DescribedFile::finish() {
    require_uninterrupted(m_image);
    if (m_has_head) {
        return;
    }
    if (m_whole.data == nullptr) {
        m_whole = imagework::to_encoded(std::exchange(m_head, {}));
    }
    m_target.write_whole(described(std::exchange(m_whole, {})));
}

EncodedBytes DescribedFile::described(EncodedBytes file) const {
    std::vector<uint8_t> bytes = file_with_metadata(file.bytes(), m_pictures, m_options);
    return bytes.empty() ? file : imagework::to_encoded(std::move(bytes));
}

}  // namespace zelmor::embed
