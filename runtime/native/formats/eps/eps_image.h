// EPS images: what a file shows, its previews, and files of either form.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_EPS_IMAGE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_EPS_IMAGE_H

#include <memory>
#include <string_view>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Eps.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/formats/eps/eps_structure.h"
#include "runtime/native/formats/eps/postscript_process.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::embed {

using EpsPreviewFormat = api::FileFormats::Eps::EpsPreviewFormat;

// A file, and the picture that its PostScript or one of its previews draws. Its space has pixels of 96 to the inch.
class EpsDrawing final : public Drawing {
 public:
    // PictureError where the parts do not lie within the file.
    explicit EpsDrawing(std::vector<uint8_t> file);

    drawwork::RectD bounds() const override;
    void draw(drawwork::Canvas& canvas, const drawwork::Affine& placing, const DrawSettings& settings) override;

    const std::vector<uint8_t>& file() const { return m_file; }
    const imagework::EpsParts& parts() const { return m_parts; }
    const imagework::EpsComments& comments() const { return m_comments; }
    std::span<const uint8_t> bytes(const imagework::EpsPart& part) const;
    std::string_view text() const;

    // The previews as images; null where the file has none of the kind.
    Ref<ImageBase> tiff_preview() const;
    Ref<ImageBase> wmf_preview() const;
    Ref<ImageBase> text_preview() const;
    Ref<ImageBase> thumbnail() const;

    // What is drawn unless options say it.
    EpsPreviewFormat shown = EpsPreviewFormat::kDefault;

 private:
    void draw_preview(ImageBase& preview, drawwork::Canvas& canvas, const drawwork::Affine& placing,
                      const DrawSettings& settings) const;
    void draw_program(drawwork::Canvas& canvas, const drawwork::Affine& placing, const DrawSettings& settings);

    std::vector<uint8_t> m_file;
    imagework::EpsParts m_parts;
    imagework::EpsComments m_comments;
    imagework::EpsBox m_box;
    // The program as it was drawn last: a picture is drawn in strips.
    struct Drawn {
        PostScriptPage page;
        std::vector<imagework::Argb> pixels;
    };
    Drawn m_drawn;
};

// An EpsBinaryImage or EpsInterchangeImage of the file's bytes.
Ref<VectorImageObject> eps_image(std::vector<uint8_t> file);

// The file in the other form.
std::vector<uint8_t> eps_as_binary(const EpsDrawing& drawing);
std::vector<uint8_t> eps_as_interchange(const EpsDrawing& drawing);

// A file that shows the pixels of a page; a page has so many to the inch.
std::vector<uint8_t> eps_of_page(const DrawnPage& page, imagework::Resolution resolution, bool with_header);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_EPS_IMAGE_H
