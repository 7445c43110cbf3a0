// A list of directories; see tiff_pages.h.
#include "runtime/native/imagework/tiff/tiff_pages.h"

#include <algorithm>
#include <cassert>
#include <utility>
#include <vector>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/tiff/tiff_reader.h"

namespace zelmor::imagework {
namespace {

// Pieces of a source for the probe, which asks for a few bytes at a time: the bytes around them come with them.
class SourceBytes final : public ByteSource {
 public:
    explicit SourceBytes(const DataSource& source) : m_source(source) {}

    std::span<const uint8_t> at(uint64_t offset, uint64_t length) override {
        if (const auto all = m_source.in_memory(); !all.empty()) {
            return ByteReader(all).piece(offset, length);
        }
        const bool is_there =
            offset >= m_first && offset - m_first <= m_block.size() && length <= m_block.size() - (offset - m_first);
        if (!is_there) {
            fetch(offset, length);
        }
        return ByteReader(m_block).piece(offset - m_first, length);
    }

 private:
    void fetch(uint64_t offset, uint64_t length) {
        constexpr uint64_t kBlock = 1024;
        const uint64_t left = offset < m_source.size() ? m_source.size() - offset : 0;
        m_first = offset;
        m_block.resize(std::min(std::max(length, kBlock), left));
        m_block.resize(m_source.read_at(offset, m_block));
    }

    const DataSource& m_source;
    uint64_t m_first = 0;
    std::vector<uint8_t> m_block;
};

class TiffPages final : public FrameSource {
 public:
    TiffPages(SharedSource source, DecodeOptions options) : m_source(std::move(source)), m_options(std::move(options)) {
        SourceBytes bytes(*m_source);
        m_directories = probe_tiff_directories(bytes);
        if (m_directories.empty()) {
            throw PictureError(Failure::kDamaged, "the file has no page");
        }
    }

    size_t count() const override { return m_directories.size(); }

    FrameHeader header(size_t index) const override {
        assert(index < count());
        SourceBytes bytes(*m_source);
        FrameHeader header;
        header.facts = probe_tiff_page(bytes, m_directories[index]);
        header.area = {0, 0, static_cast<int32_t>(header.facts.width), static_cast<int32_t>(header.facts.height)};
        return header;
    }

    std::unique_ptr<RowReader> open(size_t index) const override {
        assert(index < count());
        return open_tiff_page(m_source, m_directories[index], m_options);
    }

 private:
    SharedSource m_source;
    DecodeOptions m_options;
    std::vector<uint64_t> m_directories;
};

}  // namespace

SharedFrames open_tiff(SharedSource source, const DecodeOptions& options) {
    assert(source != nullptr);
    return std::make_shared<const TiffPages>(std::move(source), options);
}

}  // namespace zelmor::imagework
