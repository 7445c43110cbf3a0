// Tables of pictures and their data; see cmx_pictures.h.
#include "runtime/native/formats/cmx/cmx_pictures.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Specs.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

using imagework::RiffChunk;
namespace cmx_specs = api::FileFormats::Cmx::ObjectModel::Specs;

namespace {

Value cmx_bytes(std::span<const uint8_t> bytes) {
    const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
    return Bytes(first, first + bytes.size());
}

void set_number(ManagedObject& picture, const char* property, uint32_t value) {
    set_property(picture, property, static_cast<int64_t>(static_cast<int32_t>(value)));
}

// A file of its own, behind the two letters that it begins with; its numbers have the lowest byte first.
void take_bmp(ManagedObject& picture, std::span<const uint8_t> file) {
    CmxNumbers in(file, {});
    constexpr uint64_t kHeader = 14, kPlaceAt = 10, kLeast = 40;
    in.go_to(kPlaceAt);
    const uint32_t pixels_at = in.u32();
    const uint32_t header_size = in.u32();
    if (header_size < kLeast || !in.has(header_size - 4)) {
        return;
    }
    const uint32_t width = in.u32();
    set_number(picture, "Width", width);
    set_number(picture, "Height", in.u32());
    in.skip(2);
    const uint16_t bits = in.u16();
    set_number(picture, "BitsPerPixel", bits);
    set_number(picture, "BytesPerLine", static_cast<uint32_t>((uint64_t{width} * bits + 31) / 32 * 4));
    const uint64_t colors_at = kHeader + header_size;
    in.go_to(colors_at);
    if (pixels_at > colors_at) {
        set_property(picture, "ColorPalette", cmx_bytes(in.piece(pixels_at - colors_at)));
    }
    in.go_to(pixels_at);
    set_property(picture, "RawData", cmx_bytes(in.rest()));
}

// The same form as pictures in CDR files have.
void take_raster(ManagedObject& picture, CmxNumbers& in) {
    constexpr uint64_t kHead = 14;
    in.go_to(kHead);
    const uint32_t model = in.u32();
    set_number(picture, "ColorModel", model);
    in.skip(4);
    set_number(picture, "Width", in.u32());
    set_number(picture, "Height", in.u32());
    in.skip(4);
    const uint32_t bits = in.u32();
    set_number(picture, "BitsPerPixel", bits);
    set_number(picture, "BytesPerLine", in.u32());
    const uint32_t size = in.u32();
    in.skip(32);
    constexpr uint32_t kGray = 5, kBlackAndWhite = 6;
    if (bits < 24 && model != kGray && model != kBlackAndWhite) {
        in.skip(2);
        set_property(picture, "ColorPalette", cmx_bytes(in.piece(uint64_t{in.u16()} * 3)));
    }
    set_property(picture, "RawData", cmx_bytes(in.piece(size)));
}

void take_data(ManagedObject& picture, std::span<const uint8_t> data, const CmxForm& form) {
    CmxNumbers in(data, form);
    const uint8_t first = in.u8(), second = in.u8();
    if (first == 'B' && second == 'M') {
        take_bmp(picture, data);
    } else if (first == 'R' && second == 'I') {
        take_raster(picture, in);
    } else {
        set_property(picture, "RawData", cmx_bytes(data));
    }
}

}  // namespace

CmxPictures::CmxPictures(const imagework::RiffTree& tree, std::span<const uint8_t> file, const CmxForm& form)
    : m_form(form) {
    Places places;
    for (const RiffChunk& chunk : tree.root.children) {
        if (chunk.kind == "imag") {
            constexpr ptrdiff_t kListHead = 12;
            places[static_cast<uint32_t>(chunk.data.data() - file.data() - kListHead)] = &chunk;
        }
    }
    for (const RiffChunk& chunk : tree.root.children) {
        if (chunk.id == "ixtl") {
            read_patterns(chunk, places);
        } else if (chunk.id == "ixef") {
            read_embedded(chunk, places);
        }
    }
}

void CmxPictures::read_patterns(const RiffChunk& table, const Places& places) {
    constexpr uint16_t kBitmaps = 5;
    CmxNumbers in(table.data, m_form);
    const uint16_t count = in.u16();
    const uint16_t size = m_form.is_long ? in.u16() : 4;
    if (in.u16() != kBitmaps || size < 4) {
        return;
    }
    for (uint32_t number = 1; number <= count && in.has(size); ++number) {
        if (const auto found = places.find(in.u32()); found != places.end()) {
            m_patterns[number] = found->second;
        }
        in.skip(size - 4U);
    }
}

void CmxPictures::read_embedded(const RiffChunk& table, const Places& places) {
    constexpr uint16_t kPicture = 0x11, kLeast = 6;
    CmxNumbers in(table.data, m_form);
    const uint16_t count = in.u16();
    for (uint32_t number = 1; number <= count && in.has(kLeast); ++number) {
        const uint16_t size = m_form.is_long ? in.u16() : kLeast;
        if (size < kLeast) {
            return;
        }
        const uint32_t place = in.u32();
        const auto found = places.find(place);
        if (in.u16() == kPicture && found != places.end()) {
            m_embedded[number] = found->second;
        }
        in.skip(size - uint64_t{kLeast});
    }
}

Ref<ManagedObject> CmxPictures::picture_of(const RiffChunk& list) const {
    auto picture = make_instance(cmx_specs::CmxRasterImage::kType.name);
    constexpr uint16_t kTagged = 0x10;
    uint16_t type = 0;
    if (const RiffChunk* info = list.child("info")) {
        CmxNumbers in(info->data, m_form);
        in.parts({1}, [&](uint8_t part) {
            if (part == 1) {
                type = in.u16();
                set_number(*picture, "Type", type);
                set_number(*picture, "Compression", in.u16());
                set_number(*picture, "Size", in.u32());
                set_number(*picture, "CompressedSize", in.u32());
            }
        });
    }
    const RiffChunk* data = list.child("data");
    if (data == nullptr) {
        return picture;
    }
    if (!m_form.is_long || type != kTagged) {
        take_data(*picture, data->data, m_form);
        return picture;
    }
    // Parts with sizes of 32 bits.
    constexpr uint8_t kData = 2, kEnd = 255;
    constexpr uint32_t kHead = 5;
    for (uint64_t at = 0;;) {
        CmxNumbers in(data->data, m_form);
        in.go_to(at);
        if (!in.has(kHead)) {
            return picture;
        }
        const uint8_t tag = in.u8();
        const uint32_t size = in.u32();
        in.go_to(at);
        if (tag == kEnd || size < kHead || !in.has(size)) {
            return picture;
        }
        if (tag == kData) {
            take_data(*picture, in.piece(size).subspan(kHead), m_form);
        }
        at += size;
    }
}

Value CmxPictures::array_of(const std::map<uint32_t, const RiffChunk*>& numbered, uint16_t number) const {
    std::vector<Value> pictures;
    if (const auto found = numbered.find(number); found != numbered.end()) {
        pictures.emplace_back(picture_of(*found->second));
    }
    return Ref<ManagedObject>(make_ref<ValueList>(
        ListShape::kArray, element_of(Wire::kClass, cmx_specs::CmxRasterImage::kType.name), std::move(pictures)));
}

}  // namespace zelmor::embed
