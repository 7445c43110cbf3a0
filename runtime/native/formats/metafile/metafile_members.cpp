// Loading and saving that EMF and WMF have in common.
#include "runtime/native/formats/metafile/metafile_members.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.h"
#include "runtime/native/formats/metafile/metafile_images.h"
#include "runtime/native/formats/metafile/recording/recorded_page.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed::metafile {

using imagework::Failure;
using imagework::PictureError;

namespace {

// The metafile of the page's image, where it is written again as it is.
const MetafileDrawing* own_metafile(RecordFamily family, const DrawnPage& page) {
    const auto* image = dynamic_cast<const MetaImageObject*>(page.source.get());
    const bool same = image != nullptr && image->metafile().family() == family && page.is_unchanged();
    return same ? &image->metafile() : nullptr;
}

}  // namespace

Ref<ImageBase> load_metafile(RecordFamily family, const imagework::SharedSource& source, FileFormat format) {
    const bool emf = family == RecordFamily::kEmf;
    const char* class_name =
        emf ? api::FileFormats::Emf::EmfImage::kType.name : api::FileFormats::Wmf::WmfImage::kType.name;
    try {
        const FileBytes bytes = unpacked(imagework::all_bytes(*source));
        std::shared_ptr<MetafileDrawing> drawing =
            emf ? MetafileDrawing::of_emf(read_emf(bytes)) : MetafileDrawing::of_wmf(read_wmf(bytes));
        auto image = make_ref<MetaImageObject>(require_type(class_name), std::move(drawing));
        image->set_image_format(format);
        return Ref<ImageBase>(std::move(image));
    } catch (const MetafileError& error) {
        throw PictureError(Failure::kDamaged, error.what());
    }
}

void write_metafile(RecordFamily family, std::span<const DrawnPage> pages, const Record* options,
                    const std::string& extension, imagework::ByteSink& out) {
    const DrawnPage& page = pages.front();
    const MetafileDrawing* own = own_metafile(family, page);
    FileBytes bytes;
    if (own != nullptr) {
        bytes = own->file();
    } else {
        try {
            bytes = family == RecordFamily::kEmf ? emf_of_page(page) : wmf_of_page(page);
        } catch (const MetafileError& error) {
            throw PictureError(Failure::kEncoding, error.what());
        }
    }
    const bool compressed =
        options != nullptr ? property_bool(*options, "Compress") : extension == "emz" || extension == "wmz";
    out.write(compressed ? packed(bytes) : bytes);
}

}  // namespace zelmor::embed::metafile
