// Reading DjVu; see djvu_codec.h.
#include <algorithm>
#include <bit>
#include <cassert>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/native/formats/djvu/djvu_codec.h"
#include "runtime/native/formats/djvu/djvu_probe.h"
#include "runtime/native/formats/djvu/djvu_session.h"
#include "runtime/native/formats/djvu/djvu_structure.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

// Bytes that are drawn at a time: most pages as a whole. A wavelet picture that is computed in part differs by a level
// or two near the edges of the part, so that some rows more are drawn there than are used.
constexpr size_t kBytesAtATime = size_t{16} << 20;
constexpr int32_t kMargin = 64;
constexpr int kMostSubsample = 12;

int32_t divided(int32_t side, int by) {
    return (side + by - 1) / by;
}

// Gets a session with the page, and the page's number in it.
struct PlaceInSession {
    std::shared_ptr<DjvuSession> session;
    int number = 0;
};

class Document;
using SharedDocument = std::shared_ptr<const Document>;

// The file and its structure, shared by the source and its readers.
class Document {
 public:
    Document(SharedSource source, Recovery recovery, SharedBudget budget)
        : m_source(std::move(source)), m_budget(std::move(budget)), m_lenient(recovery != Recovery::kNone) {
        SourceBytes bytes(m_source, SourceBytes::kHeaderWindow);
        m_structure = djvu_structure(ByteReader(bytes), m_lenient, limits::kFrames);
        const ByteReader in(bytes);
        m_begin = in.starts_with(0, "AT&T") ? 4 : 0;
    }

    const DjvuStructure& structure() const { return m_structure; }
    const SharedBudget& budget() const { return m_budget; }
    bool lenient() const { return m_lenient; }
    const DataSource& source() const { return *m_source; }

    // The library gets a page alone, where no other part of the document belongs to it; otherwise all of the document.
    PlaceInSession session(size_t index) const {
        const DjvuPagePlace& page = m_structure.pages[index];
        if (!m_structure.is_bundled || !page.includes) {
            return {std::make_shared<DjvuSession>(*m_source, page.at, page.size), 0};
        }
        const std::lock_guard lock(m_mutex);
        std::shared_ptr<DjvuSession> all = m_all.lock();
        if (all == nullptr) {
            all = std::make_shared<DjvuSession>(*m_source, m_begin, m_source->size() - m_begin);
            m_all = all;
        }
        return {std::move(all), static_cast<int>(index)};
    }

    // Bytes that the library takes for a page: its data, and the coefficients and colors of its wavelet pictures.
    uint64_t cost(size_t index) const {
        constexpr uint64_t kBytesOfPixel = 12;
        const DjvuPagePlace& page = m_structure.pages[index];
        const uint64_t data = m_structure.is_bundled && page.includes ? m_source->size() : page.size;
        return data + kBytesOfPixel * page.wavelet_pixels;
    }

 private:
    SharedSource m_source;
    SharedBudget m_budget;
    bool m_lenient;
    DjvuStructure m_structure;
    uint64_t m_begin = 0;
    mutable std::mutex m_mutex;
    mutable std::weak_ptr<DjvuSession> m_all;  // of the whole document, while a reader has it; under the mutex
};

class PageReader final : public RowReader {
 public:
    PageReader(SharedDocument document, size_t index, DjvuLayer layer, int divisor)
        : m_document(std::move(document)), m_index(index), m_layer(layer) {
        const DjvuPagePlace& page = m_document->structure().pages[index];
        m_header.width = divided(page.width, divisor);
        m_header.height = divided(page.height, divisor);
        m_header.resolution =
            Resolution{static_cast<double>(page.dpi) / divisor, static_cast<double>(page.dpi) / divisor};
        m_header.form = page.form();
        if (layer == DjvuLayer::kMask) {
            m_header.form = {ColorModel::kGray, SampleType::kUint8, 1, false};
        } else if (layer == DjvuLayer::kForeground || (layer == DjvuLayer::kBackground && page.is_bitonal())) {
            m_header.form = {};
        }
        if (divisor > 1 && m_header.form.bits < 8) {
            m_header.form.bits = 8;  // means of black and white
        }
        check_picture_size(m_header.width, m_header.height, static_cast<int>(m_header.form.pixel_size()));
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        assert(count >= 0 && m_next + count <= m_header.height &&
               rows.size() == row_size() * static_cast<size_t>(count));
        for (int32_t done = 0; done < count;) {
            if (m_next >= m_drawn_to) {
                draw();
            }
            const int32_t step = std::min(count - done, m_drawn_to - m_next);
            std::copy_n(m_strip.begin() + static_cast<std::ptrdiff_t>(row_size()) * (m_next - m_drawn_from),
                        row_size() * static_cast<size_t>(step),
                        rows.begin() + static_cast<std::ptrdiff_t>(row_size()) * done);
            done += step;
            m_next += step;
        }
        if (m_next == m_header.height) {
            m_page.reset();
            m_strip = {};
            m_share.reset();
        }
    }

 private:
    size_t row_size() const { return m_header.form.pixel_size() * static_cast<size_t>(m_header.width); }

    int32_t rows_at_a_time() const {
        constexpr size_t kLeast = 256;
        return static_cast<int32_t>(std::clamp<size_t>(kBytesAtATime / row_size(), kLeast, INT32_MAX / 2));
    }

    void draw() {
        if (m_failed) {
            throw PictureError(Failure::kDamaged, "an earlier row could not be decoded");
        }
        const bool has_layers = m_document->structure().pages[m_index].has_layers();
        if (!m_page && has_layers) {
            m_failed = true;
            const uint64_t strip =
                row_size() * static_cast<uint64_t>(std::min(m_header.height, rows_at_a_time() + 2 * kMargin));
            m_share = MemoryShare(m_document->budget(), m_document->cost(m_index) + strip);
            PlaceInSession place = m_document->session(m_index);
            m_page.emplace(std::move(place.session), place.number, m_document->lenient());
            m_failed = false;
        }
        m_drawn_from = std::max(0, m_next - kMargin);
        m_drawn_to = std::min(m_header.height, m_next + rows_at_a_time());
        const int32_t end = std::min(m_header.height, m_drawn_to + kMargin);
        m_strip.assign(row_size() * static_cast<size_t>(end - m_drawn_from), 0xFF);
        if (!has_layers) {
            return;  // an empty page is white
        }
        const DjvuPixels pixels = m_header.form.color == ColorModel::kGray ? DjvuPixels::kGray : DjvuPixels::kRgb;
        if (!m_page->draw(m_layer, m_header.width, m_header.height, m_drawn_from, end - m_drawn_from, pixels,
                          m_strip)) {
            m_failed = true;
            djvu_damaged("a page has no picture");
        }
    }

    SharedDocument m_document;
    size_t m_index;
    DjvuLayer m_layer;
    RowsHeader m_header;
    MemoryShare m_share;
    std::optional<DjvuDecodedPage> m_page;
    bool m_failed = false;
    std::vector<uint8_t> m_strip;
    int32_t m_drawn_from = 0;
    int32_t m_drawn_to = 0;
    int32_t m_next = 0;
};

class DjvuDocumentFrames final : public DjvuFrames {
 public:
    explicit DjvuDocumentFrames(SharedDocument document) : m_document(std::move(document)) {}

    size_t count() const override { return m_document->structure().pages.size(); }

    const DjvuPagePlace& page(size_t index) const override {
        assert(index < count());
        return m_document->structure().pages[index];
    }

    FrameHeader header(size_t index) const override {
        FrameHeader header;
        header.facts = djvu_page_facts(page(index));
        header.facts.frame_count = static_cast<int>(count());
        header.area = {0, 0, page(index).width, page(index).height};
        return header;
    }

    std::unique_ptr<RowReader> open(size_t index) const override { return open_reduced(index, 1); }

    int reduction(size_t index, int most) const override {
        assert(most >= 1);
        // The mask is drawn as a whole for every size.
        const auto least = static_cast<unsigned>(std::min(most, kMostSubsample));
        return page(index).is_bitonal() ? 1 : static_cast<int>(std::bit_floor(least));
    }

    std::unique_ptr<RowReader> open_reduced(size_t index, int divisor) const override {
        assert(index < count() && divisor >= 1 && divisor <= reduction(index, divisor));
        return std::make_unique<PageReader>(m_document, index, DjvuLayer::kPage, divisor);
    }

    std::unique_ptr<RowReader> open_layer(size_t index, DjvuLayer layer, int subsample) const override {
        const DjvuPagePlace& place = page(index);
        if (subsample < 1 || subsample > kMostSubsample) {
            throw PictureError(Failure::kArgument, "a DjVu layer is made smaller by 1 to 12", "subsample");
        }
        const bool there = layer == DjvuLayer::kMask         ? place.has_mask
                           : layer == DjvuLayer::kForeground ? place.has_mask && place.has_foreground
                           : layer == DjvuLayer::kBackground ? place.has_background
                                                             : true;
        return there ? std::make_unique<PageReader>(m_document, index, layer, subsample) : nullptr;
    }

    std::vector<DjvuWord> words(size_t index) const override {
        if (!page(index).has_text) {
            return {};
        }
        const MemoryShare share(m_document->budget(), m_document->cost(index));
        const PlaceInSession place = m_document->session(index);
        return place.session->words(place.number, page(index).height);
    }

    std::vector<uint8_t> thumbnail(size_t index) const override {
        const DjvuPagePlace& place = page(index);
        std::vector<uint8_t> data(place.thumbnail_size);
        constexpr size_t kColors = 2;  // the byte of the data whose highest bit says that there are none
        if (data.size() <= kColors || data.size() > limits::kCodecBytes) {
            return {};
        }
        if (m_document->source().read_at(place.thumbnail_at, data) != data.size()) {
            djvu_damaged("a thumbnail is cut off");
        }
        const std::string_view kind = (data[kColors] & 0x80) != 0 ? "BM44" : "PM44";
        std::vector<uint8_t> file;
        const auto add = [&](std::string_view id) { file.insert(file.end(), id.begin(), id.end()); };
        const auto add_size = [&](size_t size) {
            for (int shift = 24; shift >= 0; shift -= 8) {
                file.push_back(static_cast<uint8_t>(size >> shift));
            }
        };
        add("AT&TFORM");
        add_size(kind.size() + 2 * sizeof(uint32_t) + data.size());
        add(kind);
        add(kind);
        add_size(data.size());
        file.insert(file.end(), data.begin(), data.end());
        return file;
    }

 private:
    SharedDocument m_document;
};

}  // namespace

SharedDjvu open_djvu(const SharedSource& source, Recovery recovery, SharedBudget budget) {
    assert(source != nullptr);
    return std::make_shared<const DjvuDocumentFrames>(
        std::make_shared<const Document>(source, recovery, std::move(budget)));
}

}  // namespace zelmor::imagework
