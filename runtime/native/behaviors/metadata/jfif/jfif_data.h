// JFIFData: the header of a JPEG with version, density and thumbnail, and the form in which a file holds it.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_JFIF_JFIF_DATA_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_JFIF_JFIF_DATA_H

#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "runtime/native/core/records.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

using api::FileFormats::Jpeg::JfifDensityUnits;

class JfifObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::FileFormats::Jpeg::JFIFData::kType.name;
    explicit JfifObject(const TypeInfo& type) : Record(type) {}

    // The thumbnail of the header: its sides, and three bytes for each pixel. It becomes an image when it is asked for.
    int thumbnail_width = 0;
    int thumbnail_height = 0;
    Bytes thumbnail;
    Bytes extension;           // the same in another form, in a segment of its own
    int64_t thumbnail_at = 0;  // when it was made of the picture, on the steady clock

    void drop_thumbnail();
    bool has_thumbnail() const { return !thumbnail.empty() || !extension.empty(); }

    // Whether both say the same of the density.
    bool same_density(const JfifObject& other) const;
    // In the units of the object; in dots per inch where it has none.
    void set_density(const imagework::Resolution& resolution);

    Ref<ManagedObject> copy() const override;
};

// `header` and `extension` are what stands behind the marks of the two segments. Null for a header that is too short.
Ref<JfifObject> read_jfif(const Bytes& header, const Bytes& extension);
Bytes write_jfif(const JfifObject& jfif);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_JFIF_JFIF_DATA_H
