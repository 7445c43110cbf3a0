// EXIF and XMP of a DNG file: tags of its first directory, as in a TIFF.
//
// The file says how its picture has to be turned, and the picture of an image is turned already: its metadata say that
// it is upright. They come along when the image is saved in another format.
#include <string_view>

#include "runtime/native/behaviors/metadata/containers/metadata_container.h"
#include "runtime/native/behaviors/metadata/exif/exif_data.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

constexpr uint16_t kOrientation = 274;

// A packet has the number as an attribute or as an element.
void set_upright(Bytes& xmp) {
    const std::string_view text(reinterpret_cast<const char*>(xmp.data()), xmp.size());
    for (const std::string_view name : {std::string_view("tiff:Orientation=\""), std::string_view("tiff:Orientation='"),
                                        std::string_view("<tiff:Orientation>")}) {
        const size_t at = text.find(name);
        const size_t digit = at + name.size();
        if (at != std::string_view::npos && digit < text.size() && text[digit] >= '2' && text[digit] <= '8') {
            xmp[digit] = std::byte{'1'};
        }
    }
}

FileMetadata find_in_dng(const imagework::SharedSource& file) {
    FileMetadata found = find_in_tiff(file);
    set_upright(found.xmp);
    try {
        const Ref<ExifObject> exif = read_exif_of_tiff(file);
        if (exif->find(ExifDirectory::kCommon, kOrientation) != nullptr) {
            exif->put(ExifDirectory::kCommon, make_tag(TiffType::kShort, kOrientation, int64_t{1}));
        }
        if (!exif->empty()) {
            found.exif = write_exif(*exif);
        }
    } catch (const ManagedException& error) {
        // A truncated file has no tags. The decoder reports the damage.
        if (error.name() != "FormatException" && error.name() != "EndOfStreamException") {
            throw;
        }
    }
    return found;
}

}  // namespace

extern const MetadataContainer kDngContainer;
const MetadataContainer kDngContainer{
    .format = imagework::Format::kDng,
    .find = &find_in_dng,
};

}  // namespace zelmor::embed
