// A list of directories; see tiff_pages.h.
#include "runtime/native/formats/tiff/tiff_pages.h"

#include <algorithm>
#include <cassert>
#include <utility>
#include <vector>

#include "runtime/native/formats/tiff/piece_sizes.h"
#include "runtime/native/formats/tiff/reduced_copies.h"
#include "runtime/native/formats/tiff/tiff_directories.h"
#include "runtime/native/formats/tiff/tiff_input.h"
#include "runtime/native/formats/tiff/tiff_reader.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

// Bytes that are read of an open file at once: a directory and what it points to lie close together, and the next one
// may be far away.
constexpr size_t kDirectory = 1024;

class TiffPages final : public FrameSource {
 public:
    TiffPages(SharedSource source, DecodeOptions options) : m_source(std::move(source)), m_options(std::move(options)) {
        SourceBytes bytes(m_source, kDirectory);
        m_directories = tiff_directories(ByteReader(bytes));
        if (m_directories.empty()) {
            throw PictureError(Failure::kDamaged, "the file has no page");
        }
    }

    size_t count() const override { return m_directories.size(); }

    FrameHeader header(size_t index) const override {
        assert(index < count());
        SourceBytes bytes(m_source, kDirectory);
        FrameHeader header;
        header.facts = probe_tiff_page(ByteReader(bytes), m_directories[index]);
        header.area = {0, 0, static_cast<int32_t>(header.facts.width), static_cast<int32_t>(header.facts.height)};
        return header;
    }

    PageDirectory directory(size_t index) const override {
        assert(index < count());
        return {m_source, m_directories[index]};
    }

    std::unique_ptr<RowReader> open(size_t index) const override {
        assert(index < count());
        return open_tiff_page(m_source, m_directories[index], m_options);
    }

    FrameCopy open_copy(size_t index, Sides least) const override {
        assert(index < count());
        if (m_options.recovery != Recovery::kNone) {
            return {};  // what is lost of the page is another part of a copy
        }
        SourceBytes bytes(m_source, kDirectory);
        const auto copies = reduced_copies(ByteReader(bytes), m_directories, index, least);
        if (copies.empty()) {
            return {};
        }
        const RowsHeader page = open(index)->header();
        if (!has_means(page.form)) {
            return {};
        }
        for (const ReducedCopy& found : copies) {
            auto copy = opened_copy(found);
            if (copy != nullptr && shows_the_same(copy->header(), page)) {
                const ReducedSides sides = sides_in_copy(copy->header(), page);
                return {std::move(copy), sides};
            }
        }
        return {};
    }

 private:
    // Null for a copy that makes no sense: the page has the same pixels.
    std::unique_ptr<RowReader> opened_copy(const ReducedCopy& copy) const {
        try {
            TiffInput input(m_source, copy.directory);
            if (!has_all_pieces(input)) {
                return nullptr;
            }
            auto reader = open_tiff_page(m_source, copy.directory, m_options);
            const RowsHeader& header = reader->header();
            return header.width == copy.sides.width && header.height == copy.sides.height ? std::move(reader) : nullptr;
        } catch (const PictureError& error) {
            if (error.kind() == Failure::kInternal) {
                throw;
            }
            return nullptr;
        }
    }

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
