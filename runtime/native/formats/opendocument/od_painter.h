// Fills, lines, arrows and shadows of OpenDocument shapes, by their styles.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PAINTER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PAINTER_H

#include <map>
#include <memory>

#include "runtime/native/drawwork/canvas.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_services.h"

namespace zelmor::embed {

// Decoded pictures of a document, by their element.
using OdPictures = std::map<const OdNode*, std::shared_ptr<const OdPicture>>;

// A canvas with what all of a page's drawing shares.
struct OdCanvas {
    drawwork::Canvas& canvas;
    const OdDocument& document;
    OdServices& services;
    OdPictures& pictures;
    bool smooth = true;
    bool smooth_text = true;
    bool hinted = false;
};

class OdPainter {
 public:
    OdPainter(OdCanvas& target, const OdStyle& style, std::string_view properties = "style:graphic-properties")
        : m_target(target), m_style(style), m_properties(properties) {}

    // Draws a shape: its shadow, its inside, its line. The outline is in a space that `placing` maps to the canvas.
    void shape(const drawwork::Outline& outline, const drawwork::Affine& placing, bool filled, bool stroked);
    void fill(const drawwork::Outline& outline, const drawwork::Affine& placing);
    void stroke(const drawwork::Outline& outline, const drawwork::Affine& placing);
    bool has_stroke() const;

 private:
    std::string_view get(std::string_view attribute) const { return m_style.get(m_properties, attribute); }
    double opacity() const;
    void shadow(const drawwork::Outline& outline, const drawwork::Affine& placing, bool filled, bool stroked);
    void fill_solid(const drawwork::Outline& outline, const drawwork::Affine& placing, drawwork::FillRule rule,
                    drawwork::Argb color);
    void fill_gradient(const drawwork::Outline& outline, const drawwork::Affine& placing, drawwork::FillRule rule);
    void fill_hatch(const drawwork::Outline& outline, const drawwork::Affine& placing, drawwork::FillRule rule);
    void fill_picture(const drawwork::Outline& outline, const drawwork::Affine& placing, drawwork::FillRule rule);
    void arrow(const drawwork::Outline& marker, drawwork::PointD tip, drawwork::PointD direction, double length,
               double width, const drawwork::RectD& box, bool centered, const drawwork::Affine& placing,
               const drawwork::Paint& paint);
    drawwork::Stroke pen(const drawwork::Affine& placing, double width) const;

    OdCanvas& m_target;
    const OdStyle& m_style;
    std::string_view m_properties;
};

// The picture of an element, decoded once; null where it cannot be.
std::shared_ptr<const OdPicture> decoded_picture(OdCanvas& target, const OdNode& element);
// Draws a picture into the unit square, which `placing` maps to the canvas.
void draw_od_picture(OdCanvas& target, const OdNode& element, const drawwork::Affine& placing, double opacity);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_PAINTER_H
