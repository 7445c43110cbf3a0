// A drawing of an SVG file.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_DRAWING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_DRAWING_H

#include <memory>
#include <string>
#include <vector>

#include "runtime/native/behaviors/vector/drawing.h"
#include "runtime/native/formats/svg/svg_library.h"

namespace zelmor::embed {

// The shared object with the SVG library; DllNotFoundException where it cannot be loaded.
imagework::SvgLibrary& svg_library();

class SvgFileDrawing final : public Drawing {
 public:
    // The bytes of a file, which may be packed. A side that the document does not tell is that of `otherwise`, or where
    // that is 0 as long as what is drawn. PictureError for a document that cannot be read or has no size.
    SvgFileDrawing(std::vector<uint8_t> file, drawwork::PointD otherwise);

    drawwork::RectD bounds() const override { return {0, 0, m_width, m_height}; }
    void draw(drawwork::Canvas& canvas, const drawwork::Affine& placing, const DrawSettings& settings) override;
    std::vector<Ref<ImageBase>> embedded_images() override;

    // The file as it was read.
    const std::vector<uint8_t>& file() const { return m_file; }
    bool is_packed() const { return m_packed; }
    // The document of the file.
    const std::vector<uint8_t>& document() const { return m_packed ? m_document : m_file; }

    // A document of the size given that shows this one under the map: the text of this one, but for the place and the
    // size of its root, inside of a root of its own. Empty where the text does not allow that.
    // `above` is a document that is laid over it, or empty.
    std::string placed_document(const drawwork::Affine& placing, double width, double height, drawwork::Argb background,
                                const std::string& above = {}) const;

 private:
    // Draws a picture of a document, unless that takes too long.
    void draw_in_time(imagework::SvgPicture& picture, const std::vector<uint8_t>& document, drawwork::Canvas& canvas,
                      const imagework::SvgDrawing& drawing);

    std::vector<uint8_t> m_file, m_document;
    bool m_packed = false;
    double m_width = 0, m_height = 0;
    std::unique_ptr<imagework::SvgPicture> m_picture;
    // The same turned or mirrored, as it was drawn last.
    drawwork::Affine m_turn;
    std::vector<uint8_t> m_turned_document;
    std::unique_ptr<imagework::SvgPicture> m_turned;
    double m_rehearsed = 0;  // pixels of the largest page that is known to be drawn in time
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_DRAWING_H
