// An image of lines and text: a drawing, the size of its page, and how the page was changed since.
//
// The members that all classes of vector images have are implemented here and in vector_members.cpp, once. An image of
// several pages holds an image for each; its own size is that of the first page.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_VECTOR_IMAGE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_VECTOR_IMAGE_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/behaviors/vector/drawing.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

class VectorImageObject : public ImageBase {
 public:
    static constexpr const char* kManagedName = api::VectorImage::kType.name;
    // Without a drawing the image is an empty page.
    explicit VectorImageObject(const TypeInfo& type) : ImageBase(type) {}
    // An image of a file. The size is that of the page in pixels, 96 of which make an inch.
    VectorImageObject(const TypeInfo& type, std::shared_ptr<Drawing> drawing, double width, double height);
    ~VectorImageObject() override;

    // ---- Size. Of an image of several pages that of its first page.

    SizeFValue size_f() const;
    int32_t image_width() const override;  // rounded up
    int32_t image_height() const override;
    int32_t image_bits() const override;
    FileFormat image_format() const override;
    // The format of the file that the image was read from, where its class stands for several.
    void set_image_format(FileFormat format) { m_format = format; }
    ImageBase* image_container() const override { return m_container; }

    // ---- What the image shows; null for an empty page

    const std::shared_ptr<Drawing>& drawing() const { return m_drawing; }
    // The page as it is when nothing was changed yet. Changes so far are forgotten.
    void set_drawing(std::shared_ptr<Drawing> drawing, double width, double height);
    // Maps the drawing's own space to the page as it is now.
    drawwork::Affine placing() const;
    // Whether the page was resized, turned or cut.
    bool is_changed() const;

    // ---- Changes, of all pages

    void resize_image(int32_t new_width, int32_t new_height, api::ResizeType resize_type) override;
    void turn_image(int quarter_turns, bool mirror_x, bool mirror_y) override;
    // Cuts the page to the rectangle, or enlarges it where the rectangle is larger.
    void resize_canvas(const RectangleValue& area);

    // ---- Pages. An image of a single page has none.

    void add_page(Ref<VectorImageObject> page);
    const std::vector<Ref<VectorImageObject>>& pages() const { return m_pages; }
    // The pages, or the image itself where it has none.
    std::vector<Ref<VectorImageObject>> shown_pages();
    // The name that the file gives to the page; empty for none.
    std::string title;

    // The colors that the image is to be drawn in; empty for any.
    std::vector<imagework::Argb> palette;
    // Otherwise the palette is only that which pictures of few colors are written with.
    bool palette_replaces_colors = false;

    void on_dispose() override;
    void references(ReferenceVisitor& visitor) override;

 private:
    void release_pages();

    std::shared_ptr<Drawing> m_drawing;
    double m_width = 0, m_height = 0;              // of the page now
    double m_first_width = 0, m_first_height = 0;  // of the page that the drawing was made for
    drawwork::Affine m_view;                       // from that page to the page now
    std::optional<FileFormat> m_format;
    std::vector<Ref<VectorImageObject>> m_pages;
    VectorImageObject* m_container = nullptr;  // holds this page, or lets go of it before it ends
};

// A new image of the class ("Zelmor.Imaging.FileFormats.Emf.EmfImage"); ArgumentOutOfRangeException for a size that is
// not positive.
Ref<VectorImageObject> make_vector_image(const char* type_name, int32_t width, int32_t height);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_VECTOR_IMAGE_H
