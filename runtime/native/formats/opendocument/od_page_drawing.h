// A page of an OpenDocument drawing, as what a vector image shows.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PAGE_DRAWING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PAGE_DRAWING_H

#include <memory>
#include <vector>

#include "runtime/native/behaviors/vector/drawing.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_painter.h"
#include "runtime/native/formats/opendocument/od_patterns.h"

namespace zelmor::embed {

class OdPageDrawing final : public Drawing {
 public:
    // The budget is that of the image, for pixels that a program looks at; null where it sees none.
    OdPageDrawing(std::shared_ptr<const OdDocument> document, size_t page, imagework::SharedBudget budget = nullptr);

    drawwork::RectD bounds() const override;
    void draw(drawwork::Canvas& canvas, const drawwork::Affine& placing, const DrawSettings& settings) override;
    std::vector<Ref<ImageBase>> embedded_images() override;
    const OdDocument& document() const { return *m_document; }
    OdPatterns& patterns() { return m_patterns; }

 private:
    void add_images(const OdNode& element, std::vector<Ref<ImageBase>>& images) const;

    std::shared_ptr<const OdDocument> m_document;
    size_t m_page;
    drawwork::PointD m_size;
    OdPictures m_pictures;
    OdPatterns m_patterns;
};

// The pixels of a picture in a document; null where the bytes are none that can be decoded. PictureError(kTooLarge).
std::shared_ptr<const OdPicture> od_picture(const std::vector<uint8_t>& bytes);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PAGE_DRAWING_H
