// A page of an OpenDocument drawing, as what a vector image shows.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PAGE_DRAWING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PAGE_DRAWING_H

#include <memory>
#include <vector>

#include "runtime/native/behaviors/vector/drawing.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_painter.h"

namespace zelmor::embed {

class OdPageDrawing final : public Drawing {
 public:
    OdPageDrawing(std::shared_ptr<const OdDocument> document, size_t page);

    drawwork::RectD bounds() const override;
    void draw(drawwork::Canvas& canvas, const drawwork::Affine& placing, const DrawSettings& settings) override;
    std::vector<Ref<ImageBase>> embedded_images() override;
    const OdDocument& document() const { return *m_document; }

 private:
    void add_images(const OdNode& element, std::vector<Ref<ImageBase>>& images) const;

    std::shared_ptr<const OdDocument> m_document;
    size_t m_page;
    drawwork::PointD m_size;
    OdPictures m_pictures;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PAGE_DRAWING_H
