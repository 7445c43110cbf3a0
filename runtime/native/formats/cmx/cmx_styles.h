// What objects of CMX drawings are filled and stroked with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_STYLES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_STYLES_H

#include <vector>

#include "runtime/native/formats/cmx/cmx_pictures.h"

namespace zelmor::embed {

class CmxStyles {
 public:
    // Reads the tables of colors, outlines, pens, line styles and dashes. The pictures outlive the object.
    CmxStyles(const imagework::RiffTree& tree, const CmxPictures& pictures, const CmxForm& form);

    // Reads the attributes that stand before the fields of an object, and sets the object's properties. False where the
    // length of the attributes is not known, so that nothing behind them can be read in a file with short numbers.
    bool apply(CmxNumbers& in, ManagedObject& object) const;

 private:
    struct Color {
        uint8_t color_model = 0;
        uint32_t value = 0;
    };
    struct Outline {
        uint16_t line_style = 0, color = 0, pen = 0, dashes = 0;
    };
    struct LineStyle {
        uint8_t kind = 0, cap_and_join = 0;
    };
    struct Pen {
        double width = 0, stretch = 1, angle = 0;
    };

    template <class Entry, class Take>
    std::vector<Entry> table(const imagework::RiffTree& tree, const char* id, std::initializer_list<uint8_t> parts,
                             Take&& take) const;

    Ref<ManagedObject> color(uint16_t number) const;
    Ref<ManagedObject> outline(uint16_t number) const;
    bool fill(CmxNumbers& in, ManagedObject& object) const;
    Ref<ManagedObject> gradient(CmxNumbers& in) const;
    Ref<ManagedObject> tiles(CmxNumbers& in) const;
    bool lens(CmxNumbers& in) const;

    const CmxPictures& m_pictures;
    CmxForm m_form;
    std::vector<Color> m_colors;
    std::vector<Outline> m_outlines;
    std::vector<LineStyle> m_line_styles;
    std::vector<Pen> m_pens;
    std::vector<std::vector<int16_t>> m_dashes;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_STYLES_H
