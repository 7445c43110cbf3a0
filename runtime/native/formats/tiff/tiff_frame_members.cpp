// TiffImage and its frames. Each frame keeps the options that its page is written with.
#include <cassert>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.FileFormats.BigTiff.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/tiff/tiff_enumerations.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using imagework::FileFacts;
using imagework::Format;
using imagework::TiffEncoding;
using imagework::Variant;

namespace {

using Path = std::optional<std::u16string>;

using BigTiffImageApi = api::FileFormats::BigTiff::BigTiffImage;
using TiffFrameApi = api::FileFormats::Tiff::TiffFrame;
using TiffImageApi = api::FileFormats::Tiff::TiffImage;

// The settings of a page that came from no file.
FileFacts page_facts(const imagework::Picture& picture) {
    const imagework::PixelForm& form = picture.form();
    FileFacts facts = facts_of_picture(Format::kTiff, picture, form.bits * form.bands());
    facts.encoding = TiffEncoding{};
    return facts;
}

void take_options(FileFacts& facts, const Record& options) {
    const imagework::Encoding encoding = encoding_of_options(options);
    if (encoding.format.as<TiffEncoding>() == nullptr) {
        throw_invalid_cast(options.type().full_name, api::ImageOptions::TiffOptions::kType.name);
    }
    facts.encoding = encoding.format;
}

Ref<ImageObject> frame_of(ImageObject& source, const Record* options) {
    auto picture = source.picture().copy();
    FileFacts facts = source.facts().format == Format::kTiff ? source.facts() : page_facts(*picture);
    if (options != nullptr) {
        take_options(facts, *options);
    }
    auto frame = make_ref<ImageObject>(require_type(TiffFrameApi::kType.name), std::move(picture), std::move(facts));
    carry_metadata(source, *frame);
    return frame;
}

Ref<ImageObject> frame_of_image(ImageObject* image) {
    return frame_of(required_image(image, "image"), nullptr);
}
Ref<ImageObject> frame_of_image_with_options(ImageObject* image, Record* options) {
    return frame_of(required_image(image, "image"), &required_options(options));
}
Ref<ImageObject> frame_of_path(const Path& path) {
    return frame_of(*image_of_file(path, nullptr, "path"), nullptr);
}
Ref<ImageObject> frame_of_path_with_options(const Path& path, Record* options) {
    return frame_of(*image_of_file(path, nullptr, "path"), &required_options(options));
}
Ref<ImageObject> frame_of_stream(Ref<ManagedStream> stream) {
    return frame_of(*image_of_stream(stream, nullptr), nullptr);
}
Ref<ImageObject> frame_of_stream_with_options(Ref<ManagedStream> stream, Record* options) {
    return frame_of(*image_of_stream(stream, nullptr), &required_options(options));
}
Ref<ImageObject> empty_frame(Record* options, int32_t width, int32_t height) {
    required_options(options);
    require_positive(width, "width");
    require_positive(height, "height");
    FileFacts facts;
    take_options(facts, *options);
    imagework::Encoding settings;
    settings.format = *facts.encoding;
    const imagework::PixelForm form = form_of_new_image(settings);
    auto picture = image_backend().create(width, height, form, form.alpha ? 0 : imagework::kBlack, {});
    const auto encoding = facts.encoding;
    facts = page_facts(*picture);
    facts.encoding = encoding;
    return make_ref<ImageObject>(require_type(TiffFrameApi::kType.name), std::move(picture), std::move(facts));
}
Ref<ImageObject> copy_frame(ImageObject* tiff_frame) {
    return frame_of(required_image(tiff_frame, "tiff_frame"), nullptr);
}
Ref<ImageObject> create_frame_from(ImageObject* tiff_frame, Record* options) {
    return frame_of(required_image(tiff_frame, "tiff_frame"), &required_options(options));
}

// The same number of dots per inch in both directions, the greater of the two; the picture grows accordingly.
void align_resolution(imagework::Picture& picture) {
    const imagework::Resolution before = picture.resolution();
    const double dpi = std::max(before.horizontal, before.vertical);
    const auto scaled = [&](int32_t side, double from) {
        return std::max(1, static_cast<int32_t>(std::lround(side * dpi / from)));
    };
    if (before.horizontal != before.vertical) {
        picture.resize(scaled(picture.width(), before.horizontal), scaled(picture.height(), before.vertical),
                       imagework::Resampling::kLanczos);
    }
    picture.set_resolution({dpi, dpi});
}
void align_resolutions(ImageObject& self) {
    self.change([](imagework::Picture& picture) { align_resolution(picture); });
}

// ---- TiffImage

template <const TypeName& kType>
Ref<ImageObject> image_of_frames(const std::vector<Ref<ImageObject>>& frames) {
    assert(!frames.empty());
    FileFacts facts = frames[0]->facts();
    facts.variant = std::string_view(kType.name) == BigTiffImageApi::kType.name ? Variant::kBigTiff : Variant::kUsual;
    if (auto* tiff = settings_as<TiffEncoding>(facts); tiff != nullptr) {
        tiff->big_tiff = facts.variant == Variant::kBigTiff;
    }
    Ref<ImageObject> image = make_container(kType, std::move(facts), frames[0]);
    for (size_t i = 1; i < frames.size(); ++i) {
        append_frame(*image, frames[i]);
    }
    image->set_active_index(0);
    return image;
}
std::vector<Ref<ImageObject>> frames_of(const VariantArg* frames, const char* parameter) {
    static const ElementType& element = element_of(Wire::kClass, TiffFrameApi::kType.name);
    std::vector<Ref<ImageObject>> result;
    for (const Value& value : read_elements(frames, element, parameter)) {
        if (is_null(value)) {
            throw_argument_null(parameter);
        }
        result.emplace_back(&cast_object<ImageObject>(*std::get<Ref<ManagedObject>>(value)));
        result.back()->require_live();
    }
    return result;
}
std::vector<Ref<ImageObject>> some_frames(const VariantArg* frames) {
    auto result = frames_of(frames, "frames");
    if (result.empty()) {
        throw_argument("An image has at least one frame. (Parameter 'frames')");
    }
    return result;
}
template <const TypeName& kType>
Ref<ImageObject> image_with_frame(ImageObject* frame) {
    return image_of_frames<kType>({Ref<ImageObject>(&required_image(frame, "frame"))});
}
template <const TypeName& kType>
Ref<ImageObject> image_with_frames(const VariantArg* frames) {
    return image_of_frames<kType>(some_frames(frames));
}

Collection frames(ImageObject& self) {
    return frame_array(self, TiffFrameApi::kType);
}

void add_frame(ImageObject& self, ImageObject* frame) {
    append_frame(self, Ref<ImageObject>(&required_image(frame, "frame")));
}
void add_frames(ImageObject& self, const VariantArg* frames) {
    const auto added = frames_of(frames, "frames");
    for (const Ref<ImageObject>& frame : added) {
        if (frame->container() != nullptr) {
            throw_argument("A frame is part of an image already. (Parameter 'frames')");
        }
    }
    for (const Ref<ImageObject>& frame : added) {
        append_frame(self, frame);
    }
}
void add_image(ImageObject& self, ImageObject* image) {
    ImageObject& other = required_image(image, "image");
    const FrameRange sources = other.frames();
    const size_t count = sources.size();  // which grows where an image is added to itself
    for (size_t i = 0; i < count; ++i) {
        append_frame(self, frame_of(*sources[i], nullptr));
    }
}
void add_page(ImageObject& self, ImageObject* page) {
    append_frame(self, frame_of(required_image(page, "page"), nullptr));
}
void insert_frame(ImageObject& self, int32_t index, ImageObject* frame_to_insert) {
    const size_t at = checked_index(self, index, "index", true);
    self.insert_frame(at, Ref<ImageObject>(&required_image(frame_to_insert, "frame_to_insert")));
}
Ref<ImageObject> remove_frame_at(ImageObject& self, int32_t index) {
    return self.take_frame(checked_index(self, index, "index"));
}
void remove_frame(ImageObject& self, ImageObject* frame) {
    const auto index = self.index_of(required_image(frame, "frame"));
    if (!index) {
        throw_argument("The frame is not one of the image. (Parameter 'frame')");
    }
    self.take_frame(*index);
}
Ref<ImageObject> replace_frame(ImageObject& self, int32_t index, ImageObject* frame_to_replace) {
    const size_t at = checked_index(self, index, "index");
    Ref<ImageObject> added(&required_image(frame_to_replace, "frame_to_replace"));
    if (added->container() != nullptr) {
        throw_argument("The frame is part of an image already. (Parameter 'frame_to_replace')");
    }
    const size_t active = self.active_index();
    Ref<ImageObject> removed = self.take_frame(at);
    self.insert_frame(at, std::move(added));
    self.set_active_index(active);
    return removed;
}

TiffByteOrder byte_order(ImageObject& self) {
    self.require_live();
    const auto* tiff = settings_as<TiffEncoding>(self.facts());
    return tiff != nullptr && tiff->big_endian ? TiffByteOrder::kBigEndian : TiffByteOrder::kLittleEndian;
}
void set_byte_order(ImageObject& self, TiffByteOrder value) {
    const bool big_endian = value == TiffByteOrder::kBigEndian;
    if (!big_endian && value != TiffByteOrder::kLittleEndian) {
        throw_out_of_range("value", "The value " + std::to_string(number_of(value)) + " is not one of TiffByteOrder.");
    }
    const auto take = [&](FileFacts& facts) {
        if (auto* tiff = settings_as<TiffEncoding>(facts); tiff != nullptr) {
            tiff->big_endian = big_endian;
        }
    };
    for (const Ref<ImageObject>& frame : self.frames()) {
        take(frame->facts());
    }
    take(self.facts());
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&frame_of_stream, TiffFrameApi::ctor_000_TiffFrame>(),
    behavior<&frame_of_stream_with_options, TiffFrameApi::ctor_001_TiffFrame>(),
    behavior<&frame_of_path, TiffFrameApi::ctor_002_TiffFrame>(),
    behavior<&frame_of_path_with_options, TiffFrameApi::ctor_003_TiffFrame>(),
    behavior<&frame_of_image, TiffFrameApi::ctor_004_TiffFrame>(),
    behavior<&frame_of_image_with_options, TiffFrameApi::ctor_005_TiffFrame>(),
    behavior<&empty_frame, TiffFrameApi::ctor_006_TiffFrame>(),
    behavior<&copy_frame, TiffFrameApi::call_000_CopyFrame>(),
    behavior<&create_frame_from, TiffFrameApi::call_000_CreateFrameFrom>(),
    behavior<&align_resolutions, TiffFrameApi::call_000_AlignResolutions, TiffImageApi::call_000_AlignResolutions>(),
    behavior<&image_with_frame<TiffImageApi::kType>, TiffImageApi::ctor_000_TiffImage>(),
    behavior<&image_with_frames<TiffImageApi::kType>, TiffImageApi::ctor_001_TiffImage>(),
    behavior<&image_with_frame<BigTiffImageApi::kType>, BigTiffImageApi::ctor_000_BigTiffImage>(),
    behavior<&image_with_frames<BigTiffImageApi::kType>, BigTiffImageApi::ctor_001_BigTiffImage>(),
    behavior<&frames, TiffImageApi::get_Frames>(),
    property<&active_frame_of, &set_active_frame_of, TiffImageApi::property_ActiveFrame>(),
    property<&byte_order, &set_byte_order, TiffImageApi::property_ByteOrder>(),
    behavior<&add_frame, TiffImageApi::call_000_AddFrame>(),
    behavior<&add_frames, TiffImageApi::call_000_AddFrames>(),
    behavior<&add_image, TiffImageApi::call_000_Add>(),
    behavior<&add_page, TiffImageApi::call_000_AddPage, BigTiffImageApi::call_000_AddPage>(),
    behavior<&insert_frame, TiffImageApi::call_000_InsertFrame>(),
    behavior<&remove_frame_at, TiffImageApi::call_000_RemoveFrame, TiffImageApi::call_000_RemoveFrameByIndex>(),
    behavior<&remove_frame, TiffImageApi::call_001_RemoveFrame>(),
    behavior<&replace_frame, TiffImageApi::call_000_ReplaceFrame>(),
});

}  // namespace

}  // namespace zelmor::embed
