// Drawing in strips; see rasterize.h.
#include "runtime/native/behaviors/vector/rasterize.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "runtime/native/behaviors/settings/memory_limit.h"
#include "runtime/native/behaviors/vector/page_layout.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/loader.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

// Pixels of a strip: one canvas at a time. Most pictures are one strip, so that they are drawn once.
constexpr int64_t kStripPixels = int64_t{1} << 22;
// Pixels across a canvas: the drawing library has coordinates of 16 bits for pixels.
constexpr int32_t kCanvasSide = 1 << 14;

int32_t pixels_of(double length) {
    const double pixels = std::max(1.0, std::ceil(length - 1e-4));
    return pixels > static_cast<double>(limits::kSide) ? static_cast<int32_t>(limits::kSide) + 1
                                                       : static_cast<int32_t>(pixels);
}

PixelForm form_of(const DrawnPage& page) {
    PixelForm form;
    form.alpha = page.background >> 24 != 0xFF;
    return form;
}

// The rows of a page, drawn as they are asked for.
class DrawnRows final : public RowReader {
 public:
    DrawnRows(std::shared_ptr<const DrawnPage> page, RowsHeader header, SharedBudget budget)
        : m_page(std::move(page)), m_header(std::move(header)), m_budget(std::move(budget)) {}

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        for (int32_t done = 0; done < count;) {
            if (m_next == m_first + m_height) {
                draw_strip();
            }
            const int32_t ready = std::min(count - done, m_first + m_height - m_next);
            std::copy_n(m_strip.begin() + static_cast<std::ptrdiff_t>(row_size * static_cast<size_t>(m_next - m_first)),
                        row_size * static_cast<size_t>(ready),
                        rows.begin() + static_cast<std::ptrdiff_t>(row_size * static_cast<size_t>(done)));
            m_next += ready;
            done += ready;
        }
        if (m_next == m_header.height) {
            m_strip = {};
            m_share.reset();
        }
    }

 private:
    // The rows from m_next on, as many as a strip has.
    void draw_strip() {
        const int32_t width = m_header.width;
        m_first = m_next;
        m_height = static_cast<int32_t>(
            std::clamp<int64_t>(kStripPixels / width, 1, std::min(kCanvasSide, m_header.height - m_first)));
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(width);
        const size_t size = row_size * static_cast<size_t>(m_height);
        const size_t canvas_size =
            sizeof(Argb) * static_cast<size_t>(std::min(width, kCanvasSide)) * static_cast<size_t>(m_height);
        m_share.reset();
        m_share = MemoryShare(m_budget, size + canvas_size);
        m_strip.resize(size);
        for (int32_t left = 0; left < width; left += kCanvasSide) {
            const int32_t columns = std::min(kCanvasSide, width - left);
            try {
                // Coordinates begin at the corner of the canvas, so that they are small where something is seen.
                const auto canvas = drawing_backend().canvas({0, 0, columns, m_height}, Argb{0});
                m_page->draw(*canvas, drawwork::Affine::translation(-left, -m_first));
                canvas->read(m_header.form.alpha, row_size,
                             m_strip.data() + m_header.form.pixel_size() * static_cast<size_t>(left));
            } catch (const drawwork::DrawError& error) {
                throw PictureError(Failure::kInternal, error.what());
            }
        }
    }

    std::shared_ptr<const DrawnPage> m_page;
    RowsHeader m_header;
    SharedBudget m_budget;
    MemoryShare m_share;
    std::vector<uint8_t> m_strip;
    int32_t m_first = 0, m_height = 0;  // of the strip
    int32_t m_next = 0;
};

// The page as a source of frames, as files are.
class DrawnFrames final : public FrameSource {
 public:
    DrawnFrames(const DrawnPage& page, RowsHeader header, SharedBudget budget)
        : m_page(std::make_shared<const DrawnPage>(on_pixels(page, header))),
          m_header(std::move(header)),
          m_budget(std::move(budget)) {}

    size_t count() const override { return 1; }
    FrameHeader header([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        FrameHeader result;
        result.facts = facts_of(m_header);
        result.area = {0, 0, m_header.width, m_header.height};
        return result;
    }
    std::unique_ptr<RowReader> open([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        return std::make_unique<DrawnRows>(m_page, m_header, m_budget);
    }

    static FileFacts facts_of(const RowsHeader& header) {
        FileFacts facts;
        facts.readable = true;
        facts.width = header.width;
        facts.height = header.height;
        facts.bits_per_pixel = header.form.bits * header.form.bands();
        facts.has_alpha = header.form.alpha;
        return facts;
    }

 private:
    // A page that ends within a pixel goes on to its end, so that the background is behind every pixel.
    static DrawnPage on_pixels(DrawnPage page, const RowsHeader& header) {
        page.width = header.width;
        page.height = header.height;
        return page;
    }

    std::shared_ptr<const DrawnPage> m_page;
    RowsHeader m_header;
    SharedBudget m_budget;
};

RowsHeader header_of(const DrawnPage& page) {
    RowsHeader header;
    header.width = pixels_of(page.width);
    header.height = pixels_of(page.height);
    header.form = form_of(page);
    header.resolution = kDefaultResolution;
    check_picture_size(header.width, header.height, static_cast<int>(header.form.pixel_size()));
    return header;
}

}  // namespace

std::unique_ptr<Picture> picture_of(const DrawnPage& page, const SharedBudget& budget) {
    DecodeOptions options;
    options.memory = budget;
    return image_backend().picture_of_rows(std::make_shared<DrawnFrames>(page, header_of(page), budget), options);
}

Ref<ImageObject> raster_of(const DrawnPage& page, const SharedBudget& budget) {
    return make_ref<ImageObject>(picture_of(page, budget), DrawnFrames::facts_of(header_of(page)));
}

std::unique_ptr<Picture> rasterize(VectorImageObject& image, const ManagedObject* options) {
    return picture_of(laid_out(*image.shown_pages().front(), options),
                      std::make_shared<MemoryBudget>(decoded_memory_limit(options)));
}

}  // namespace zelmor::embed
