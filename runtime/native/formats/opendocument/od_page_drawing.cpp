// Drawing pages with the services of the runtime; see od_page_drawing.h.
#include "runtime/native/formats/opendocument/od_page_drawing.h"

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/opendocument/od_drawing.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using namespace imagework;
using drawwork::Affine;
using drawwork::RectD;

namespace {

// Pictures within pictures are followed so far.
constexpr int kMostNested = 3;
thread_local int nested = 0;  // one for each thread

// Measures by the drawing backend, and pictures of other formats by their rooms.
class Services final : public OdServices {
 public:
    explicit Services(const DrawSettings* settings) : m_settings(settings) {}
    drawwork::TextExtent measure(const drawwork::TextLayout& layout) override {
        return drawing_backend().measure(layout);
    }
    drawwork::Outline outline_of(const drawwork::TextLayout& layout) override {
        return drawing_backend().outline_of(layout);
    }
    std::shared_ptr<const OdPicture> picture(const std::vector<uint8_t>& bytes) override {
        const auto image = decoded(bytes);
        auto* raster = dynamic_cast<ImageObject*>(image.get());
        if (raster == nullptr) {
            return nullptr;
        }
        auto result = std::make_shared<OdPicture>();
        result->width = raster->image_width();
        result->height = raster->image_height();
        const auto count = static_cast<uint64_t>(result->width) * static_cast<uint64_t>(result->height);
        if (count * sizeof(Argb) > limits::kCodecBytes) {
            throw PictureError(Failure::kTooLarge, "a picture of the document has " + std::to_string(result->width) +
                                                       " by " + std::to_string(result->height) + " pixels");
        }
        try {
            result->pixels.resize(count);
            raster->picture().read_argb({0, 0, result->width, result->height}, result->pixels);
        } catch (const PictureError&) {
            return nullptr;  // as a picture that cannot be read at all
        }
        return result;
    }
    bool draw_picture(drawwork::Canvas& canvas, const std::vector<uint8_t>& bytes, const Affine& placing) override {
        const auto image = decoded(bytes);
        auto* vector = dynamic_cast<VectorImageObject*>(image.get());
        if (vector == nullptr || vector->drawing() == nullptr || m_settings == nullptr) {
            return false;
        }
        const RectD box = vector->drawing()->bounds();
        if (!(box.width > 0) || !(box.height > 0)) {
            return false;
        }
        nested++;
        try {
            vector->drawing()->draw(
                canvas,
                Affine::translation(-box.x, -box.y).then(Affine::scaling(1 / box.width, 1 / box.height)).then(placing),
                *m_settings);
        } catch (...) {
            nested--;
            throw;
        }
        nested--;
        return true;
    }
    // Null where the bytes are no picture: such a frame stays empty, as other programs leave it.
    static Ref<ImageBase> decoded(const std::vector<uint8_t>& bytes) {
        if (nested >= kMostNested) {
            return nullptr;
        }
        try {
            return any_decoded_image(bytes, nullptr, "Cannot load a picture of the document");
        } catch (const ManagedException&) {
            return nullptr;
        }
    }

 private:
    const DrawSettings* m_settings;
};

}  // namespace

std::shared_ptr<const OdPicture> od_picture(const std::vector<uint8_t>& bytes) {
    return bytes.empty() ? nullptr : Services(nullptr).picture(bytes);
}

OdPageDrawing::OdPageDrawing(std::shared_ptr<const OdDocument> document, size_t page, SharedBudget budget)
    : m_document(std::move(document)),
      m_page(page),
      m_size(od_page_size(*m_document, page)),
      m_patterns(*m_document, std::move(budget)) {}

RectD OdPageDrawing::bounds() const {
    return {0, 0, m_size.x, m_size.y};
}

void OdPageDrawing::draw(drawwork::Canvas& canvas, const Affine& placing, const DrawSettings& settings) {
    Services services(&settings);
    OdCanvas target{.canvas = canvas,
                    .document = *m_document,
                    .services = services,
                    .pictures = m_pictures,
                    .smooth = settings.smooth,
                    .smooth_text = settings.smooth_text,
                    .hinted = settings.hinted};
    draw_od_page(target, m_page, placing);
}

std::vector<Ref<ImageBase>> OdPageDrawing::embedded_images() {
    std::vector<Ref<ImageBase>> images;
    add_images(*m_document->pages()[m_page], images);
    return images;
}

void OdPageDrawing::add_images(const OdNode& element, std::vector<Ref<ImageBase>>& images) const {
    for (const OdNode& each : element.children) {
        if (each.is("draw:image")) {
            const std::vector<uint8_t> bytes = m_document->picture(each);
            const auto image = bytes.empty() ? nullptr : Services::decoded(bytes);
            if (dynamic_cast<ImageObject*>(image.get()) != nullptr) {
                images.push_back(image);
            }
        }
        add_images(each, images);
    }
}

}  // namespace zelmor::embed
