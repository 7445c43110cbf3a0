// The drawing behind an image of a metafile: its records, as they are now.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_DRAWING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_DRAWING_H

#include <memory>
#include <optional>

#include "runtime/native/behaviors/vector/drawing.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/formats/metafile/embedded_copy.h"
#include "runtime/native/formats/metafile/metafile_file.h"
#include "runtime/native/formats/metafile/player/play.h"

namespace zelmor::embed::metafile {

// What a file has besides its records, and the list of these. A program may change the list and every record in it.
class MetafileDrawing final : public Drawing {
 public:
    static std::shared_ptr<MetafileDrawing> of_emf(EmfFile file);
    static std::shared_ptr<MetafileDrawing> of_wmf(WmfFile file);
    // Of an empty image of so many pixels.
    static std::shared_ptr<MetafileDrawing> empty(RecordFamily family, double width, double height);

    RecordFamily family() const { return m_family; }
    double width() const;  // in pixels, 96 to the inch
    double height() const;

    const Ref<ManagedList>& records() const { return m_records; }
    void set_records(Ref<ManagedList> records) { m_records = std::move(records); }
    // The header of an enhanced metafile; in a file it is the first record.
    const Ref<ManagedObject>& header() const { return m_header; }
    void set_header(Ref<ManagedObject> header) { m_header = std::move(header); }
    const WmfFrame& window() const { return m_window; }
    void set_inch(int32_t inch);
    void set_window(const WmfFrame& window) { m_window = window; }

    RectD bounds() const override;
    void draw(drawwork::Canvas& canvas, const Affine& placing, const DrawSettings& settings) override;
    std::vector<Ref<ImageBase>> embedded_images() override;

    // As ManagedObject::references(), for the image that holds the drawing alone.
    void references(ReferenceVisitor& visitor);

    // The file of the records as they are now. PictureError(kEncoding) for a record that has no place in a file.
    FileBytes file() const;
    // The names of the fonts that the records make, in their order, each once.
    std::vector<std::u16string> fonts() const;
    // PostScript in the records, as text of one byte a character.
    std::u16string post_script() const;

 private:
    explicit MetafileDrawing(RecordFamily family) : m_family(family) {}
    Records current() const;
    EmfFrame frame() const;

    RecordFamily m_family;
    Ref<ManagedList> m_records;
    Ref<ManagedObject> m_header;
    double m_width = 0, m_height = 0;  // of an empty image
    // Of the file that was read.
    FileBytes m_tail, m_source;
    std::optional<Placeable> m_placeable;
    WmfHeader m_wmf_header;
    WmfFrame m_window;
    EmbeddedCopy m_copy;
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_DRAWING_H
