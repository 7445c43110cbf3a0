// The bitmaps in the records of a metafile, each as an image.
#include "runtime/native/formats/metafile/player/embedded_pictures.h"

#include <string_view>

#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/formats/metafile/player/dib_pixels.h"
#include "runtime/native/formats/metafile/player/plus_objects.h"
#include "runtime/native/formats/png/png_encoding.h"

namespace zelmor::embed::metafile {

namespace {

void add(std::vector<Ref<ImageBase>>& images, const Pixels& pixels) {
    if (pixels.empty()) {
        return;
    }
    imagework::PngEncoding png;
    imagework::Encoding encoding;
    encoding.format = png;
    Ref<ImageObject> image = new_image(encoding, pixels.width, pixels.height);
    image->picture().write_argb({0, 0, pixels.width, pixels.height}, pixels.colors);
    images.emplace_back(image);
}

bool makes_brush(const ManagedObject& record) {
    return std::string_view(record.type().name).find("Create") != std::string_view::npos;
}

}  // namespace

std::vector<Ref<ImageBase>> embedded_pictures(const Records& records) {
    std::vector<Ref<ImageBase>> images;
    for (const Ref<ManagedObject>& record : records) {
        if (std::string_view(record->type().name) == "EmfCommentEmfPlus") {
            for_plus_records(*record, [&](const ManagedObject& plus) {
                const auto data =
                    has_property(plus, "ObjectData") ? object_in(plus, "ObjectData") : Ref<ManagedObject>();
                if (data && has_property(*data, "ImageData")) {
                    add(images, plus_image(*data).pixels);
                }
            });
            continue;
        }
        if (makes_brush(*record) || !has_property(*record, "SourceBitmap")) {
            continue;
        }
        const auto bitmap = object_in(*record, "SourceBitmap");
        if (!bitmap) {
            continue;
        }
        const bool old = std::string_view(bitmap->type().name) == "WmfBitmap16";
        add(images, old ? old_bitmap_pixels(*bitmap, bytes_in(*bitmap, "Bits")) : dib_pixels(bitmap.get(), {}));
    }
    return images;
}

}  // namespace zelmor::embed::metafile
