// A picture of pixels as a drawing, for formats of lines and text: one texture, or several where it is large.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_PICTURE_DRAWING_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_PICTURE_DRAWING_H

#include <memory>

#include "runtime/native/behaviors/vector/drawing.h"
#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

// Its space has a unit for each pixel.
class PictureDrawing final : public Drawing {
 public:
    explicit PictureDrawing(std::shared_ptr<const imagework::Picture> picture) : m_picture(std::move(picture)) {}
    drawwork::RectD bounds() const override;
    void draw(drawwork::Canvas& canvas, const drawwork::Affine& placing, const DrawSettings& settings) override;

 private:
    std::shared_ptr<const imagework::Picture> m_picture;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_PICTURE_DRAWING_H
