// DicomImage and its pages, and what the header of a file says.
#include <algorithm>
#include <string>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Dicom.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/arguments.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/saving.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/formats/dicom/dicom_encoding.h"
#include "runtime/native/formats/dicom/dicom_palette.h"
#include "runtime/native/formats/dicom/dicom_texts.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/loader.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::embed {

using imagework::DicomEncoding;
using imagework::FileFacts;
using imagework::Format;

namespace {

using DicomImageApi = api::FileFormats::Dicom::DicomImage;
using DicomImageInfoApi = api::FileFormats::Dicom::DicomImageInfo;
using DicomPageApi = api::FileFormats::Dicom::DicomPage;

// ---- Images

Ref<ImageObject> of_size(Record* dicom_options, int32_t width, int32_t height) {
    required_options(dicom_options, "dicom_options");
    return create_image(dicom_options, width, height);
}

Ref<ImageObject> of_stream_with_options(const VariantArg* stream, Record* load_options) {
    Ref<ImageObject> image = image_of_stream(read_stream(stream), load_options);
    if (image->facts().format != Format::kDicom) {
        throw ManagedException("ImageLoadException",
                               std::string("Cannot load the image from the stream: the data is ") +
                                   imagework::format_name(image->facts().format) + ", not DICOM.");
    }
    return image;
}
Ref<ImageObject> of_stream_alone(const VariantArg* stream) {
    return of_stream_with_options(stream, nullptr);
}

// ---- Pages

// All pages of a file have one size.
void require_size_of_pages(ImageObject& self, const ImageObject& page) {
    const FrameRange pages = self.frames();
    if (pages.empty()) {
        return;
    }
    const Ref<ImageObject> first = pages[0];
    if (first->image_width() != page.image_width() || first->image_height() != page.image_height()) {
        throw_argument("All pages of a DICOM image have one size: those that are there have " +
                       size_text(first->image_width(), first->image_height()) + " pixels, and the new one has " +
                       size_text(page.image_width(), page.image_height()) + ". (Parameter 'page')");
    }
}

void add_page(ImageObject& self, ImageObject* page) {
    ImageObject& source = required_image(page, "page");
    require_size_of_pages(self, source);
    Ref<ImageObject> added = frame_copy(self, source);
    if (added->facts().format != Format::kDicom) {
        const imagework::PixelForm form = added->picture().form();
        added->facts() = facts_of_picture(Format::kDicom, added->picture(), form.bits * form.bands());
        added->facts().encoding = DicomEncoding{};
    }
    append_frame(self, std::move(added));
}

// A black page, of the form of those that are there.
Ref<ImageObject> new_page(ImageObject& self, size_t index) {
    self.require_live();
    const FrameRange pages = self.frames();
    FileFacts facts = self.facts();
    std::unique_ptr<imagework::Picture> picture;
    if (pages.empty()) {
        picture = image_backend().create(static_cast<int32_t>(facts.width), static_cast<int32_t>(facts.height),
                                         pixel_form(imagework::ColorModel::kRgb, false), imagework::kBlack, {});
    } else {
        const imagework::Picture& first = pages[0]->picture();
        picture =
            image_backend().create(first.width(), first.height(), first.form(), imagework::kBlack, first.palette());
        picture->set_resolution(first.resolution());
    }
    auto encoding = facts.encoding;
    facts = facts_of_picture(Format::kDicom, *picture, picture->form().bits * picture->form().bands());
    facts.encoding = encoding;
    Ref<ImageObject> page = self.make_frame(std::move(picture), std::move(facts));
    self.insert_frame(index, page);
    return page;
}
Ref<ImageObject> add_new_page(ImageObject& self) {
    return new_page(self, self.frames().size());
}
Ref<ImageObject> insert_page(ImageObject& self, int32_t page_index) {
    return new_page(self, checked_index(self, page_index, "page_index", true));
}
void remove_page(ImageObject& self, int32_t page_index) {
    self.take_frame(checked_index(self, page_index, "page_index"));
}

Collection dicom_pages(ImageObject& self) {
    return frame_array(self, DicomPageApi::kType);
}
int32_t active_page_index(ImageObject& self) {
    self.require_live();
    return static_cast<int32_t>(self.active_index());
}

// The page itself: what is done to it is done to the image.
Ref<ImageObject> page_of_image(ImageObject* image, int32_t index) {
    ImageObject& owner = required_image(image, "image");
    return owner.frames()[checked_index(owner, index, "index")];
}

// The pages are loaded as their image was.
Ref<ImageObject> page_of_image_with_options(ImageObject* image, int32_t index, Record* load_options) {
    Ref<ImageObject> page = page_of_image(image, index);
    if (load_options == nullptr) {
        return page;
    }
    const Ref<ManagedObject> fresh = make_instance(load_options->type());
    for (const TypeInfo* type = &load_options->type(); type != nullptr; type = type_at(type->base)) {
        for (const PropertyInfo& declared : type->properties) {
            const bool counts = !declared.is_static && declared.writable;
            if (counts && !values_equal(property(*load_options, declared.name), property(*fresh, declared.name))) {
                throw_not_supported(std::string(load_options->type().name) + "." + declared.name +
                                    " for a page, which is loaded with the options of its image,");
            }
        }
    }
    return page;
}

int32_t page_index(ImageObject& self) {
    self.require_live();
    ImageObject* const image = self.container();
    const auto index = image != nullptr ? image->index_of(self) : std::nullopt;
    return index ? static_cast<int32_t>(*index) : 0;
}

// ---- What the header says

// At most so many bytes of the header as they stand in the file.
constexpr uint64_t kMostHeaderBytes = imagework::limits::kTextBytes;

Value byte_array(const std::vector<uint8_t>& bytes) {
    const auto all = std::as_bytes(std::span(bytes));
    return Bytes(all.begin(), all.end());
}

void put_palette(Record& info, const imagework::DicomFile& file) {
    imagework::SourceBytes bytes(file.source, imagework::SourceBytes::kHeaderWindow);
    const imagework::ByteReader in(bytes);
    constexpr const char* kNames[] = {"Reds", "Greens", "Blues"};
    for (size_t band = 0; band < 3; band++) {
        const imagework::DicomLookup& lookup = file.header.palette[band];
        std::vector<uint8_t> values;
        for (const uint16_t value : imagework::dicom_table(in, lookup)) {
            values.push_back(static_cast<uint8_t>(lookup.bits == 8 ? value : value >> 8));
        }
        set_property(info, kNames[band], byte_array(values));
    }
}

Value list_of_lines(const imagework::DicomFile& file) {
    std::vector<Value> items;
    for (const std::string& line : imagework::dicom_lines(file)) {
        items.emplace_back(to_utf16(line));
    }
    return Ref<ManagedObject>(make_ref<ValueList>(ListShape::kList, element_of(Wire::kString), std::move(items)));
}

Ref<ManagedObject> info_of(const imagework::DicomFile& file) {
    const imagework::DicomHeader& header = file.header;
    const auto info = make_ref<Record>(require_type(DicomImageInfoApi::kType.name));
    const uint64_t offset = header.pixels ? header.pixels->at : file.source->size();
    std::vector<uint8_t> head(static_cast<size_t>(std::min({offset, file.source->size(), kMostHeaderBytes})));
    head.resize(file.source->read_at(0, head));
    set_property(*info, "DicomHeaderInfoByBytes", byte_array(head));
    set_property(*info, "Offset", static_cast<int64_t>(std::min<uint64_t>(offset, INT32_MAX)));
    set_property(*info, "DicomInfo", list_of_lines(file));
    set_property(*info, "PlanarConfiguration", int64_t{header.planar});
    set_property(*info, "SignedImage", header.is_signed);
    set_property(*info, "PixelRepresentation", static_cast<int64_t>(header.is_signed));
    set_property(*info, "SamplesPerPixel", int64_t{header.samples});
    set_property(*info, "BitsAllocated", int64_t{header.allocated});
    set_property(*info, "PhotoInterpretation", to_utf16(header.photometric));
    set_property(*info, "Width", int64_t{header.columns});
    set_property(*info, "Height", int64_t{header.rows});
    set_property(*info, "WindowCentre", header.window_center.value_or(0));
    set_property(*info, "WindowWidth", header.window_width.value_or(0));
    set_property(*info, "RescaleIntercept", header.intercept);
    set_property(*info, "RescaleSlope", header.slope);
    set_property(*info, "NumberOfFrames", std::min<int64_t>(header.frames, INT32_MAX));
    set_property(*info, "IsLittleEndian", !header.order.big_endian);
    put_palette(*info, file);
    return info;
}

// Of the file that the image came from; null of one that came from nowhere.
Ref<ManagedObject> file_info(ImageObject& self) {
    self.require_live();
    Ref<ManagedObject> info = property_object(self, "FileInfo");
    const auto* dicom = settings_as<DicomEncoding>(self.facts());
    if (!info && dicom != nullptr && dicom->file != nullptr) {
        info = info_of(*dicom->file);
        set_property(self, "FileInfo", info);
    }
    return info;
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&of_size, DicomImageApi::ctor_000_DicomImage>(),
    behavior<&of_stream_with_options, DicomImageApi::ctor_001_DicomImage>(),
    behavior<&of_stream_alone, DicomImageApi::ctor_002_DicomImage>(),
    behavior<&add_page, DicomImageApi::call_000_AddPage>(),
    behavior<&add_new_page, DicomImageApi::call_001_AddPage>(),
    behavior<&insert_page, DicomImageApi::call_000_InsertPage>(),
    behavior<&remove_page, DicomImageApi::call_000_RemovePage>(),
    behavior<&dicom_pages, DicomImageApi::get_DicomPages>(),
    behavior<&active_page_index, DicomImageApi::get_ActivePageIndex>(),
    behavior<&file_info, DicomImageApi::get_FileInfo>(),
    behavior<&save_all, DicomImageApi::call_000_SaveAll>(),
    property<&active_frame_of, &set_active_frame_of, DicomImageApi::property_ActivePage>(),
    behavior<&page_of_image, DicomPageApi::ctor_000_DicomPage>(),
    behavior<&page_of_image_with_options, DicomPageApi::ctor_001_DicomPage>(),
    behavior<&page_index, DicomPageApi::get_Index>(),
});

}  // namespace

}  // namespace zelmor::embed
