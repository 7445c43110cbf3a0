// The small values inside metafile records: packed words, and properties that follow from others.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Types.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Records.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.EmfPlus.Consts.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.EmfPlus.Records.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kBlend = api::FileFormats::Emf::Emf::Records::EmfBlendFunction::kType.name;
constexpr const char* kRop4 = api::FileFormats::Emf::Emf::Records::EmfRop4::kType.name;
constexpr const char* kExtension2 = api::FileFormats::Emf::Emf::Objects::EmfHeaderExtension2::kType.name;
constexpr const char* kEffects = api::FileFormats::Emf::EmfPlus::Consts::EmfPlusImageEffectsIdentifiers::kType.name;

// " EMF", as the header of a metafile has it.
constexpr int64_t kEnhancedSignature = 0x464D4520;

int64_t byte_of(uint32_t word, int index) {
    return word >> 8 * index & 0xFF;
}

// A blend function: the operation, its flags, the alpha of the whole source, and whether its pixels have their own.
Ref<ManagedObject> blend_function(int32_t dword_data) {
    const auto word = static_cast<uint32_t>(dword_data);
    if (byte_of(word, 3) > 1) {
        throw_out_of_range("dword_data", "The alpha format " + std::to_string(byte_of(word, 3)) + " is not 0 or 1.");
    }
    auto value = make_instance(kBlend);
    set_property(*value, "BlendOperation", byte_of(word, 0));
    set_property(*value, "BlendFlags", byte_of(word, 1));
    set_property(*value, "SrcConstantAlpha", byte_of(word, 2));
    set_property(*value, "AlphaFormat", byte_of(word, 3));
    return value;
}
int32_t blend_word(Record& self) {
    const auto byte = [&](const char* name) { return static_cast<uint32_t>(property_int(self, name) & 0xFF); };
    return static_cast<int32_t>(byte("BlendOperation") | byte("BlendFlags") << 8 | byte("SrcConstantAlpha") << 16 |
                                byte("AlphaFormat") << 24);
}

// A quaternary raster operation: two ternary ones, for the pixels that a mask sets and those that it clears. The two
// low bytes are reserved.
Ref<ManagedObject> rop4(int32_t dword_data) {
    const auto word = static_cast<uint32_t>(dword_data);
    auto value = make_instance(kRop4);
    set_property(*value, "BackgroundRop3", byte_of(word, 3));
    set_property(*value, "ForegroundRop3", byte_of(word, 2));
    return value;
}

// The second extension of a header begins as the first one does.
Ref<ManagedObject> header_extension2(Record* header_extension1) {
    if (header_extension1 == nullptr) {
        throw_argument_null("header_extension1");
    }
    auto value = make_instance(kExtension2);
    cast_object<Record>(*value).assign_from(*header_extension1);
    return value;
}

// A header is valid if it has the signature of an enhanced metafile.
bool get_valid(Record& self) {
    return property_int(self, "RecordSignature") == kEnhancedSignature;
}

// The meaning of the lowest bits of the flags of the record.
constexpr int64_t kHavePalette = 1;
constexpr int64_t kBasicVgaColors = 2;
bool get_basic_vga_colors(Record& self) {
    return (property_int(self, "Flags") & kBasicVgaColors) != 0;
}
bool get_have_palette(Record& self) {
    return (property_int(self, "Flags") & kHavePalette) != 0;
}

// The 32 digits of an identifier in lower case, without the marks between and around them.
std::u16string digits_of(std::u16string_view guid) {
    std::u16string digits;
    for (const char16_t c : guid) {
        if (c == u'{' || c == u'}' || c == u'-') {
            continue;
        }
        digits += c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
    }
    return digits;
}

bool contain(const std::optional<std::u16string>& object_guid) {
    if (!object_guid) {
        return false;
    }
    const TypeInfo& identifiers = require_type(kEffects);
    for (const PropertyInfo& each : identifiers.properties) {
        const auto& known = std::get<std::u16string>(static_property(identifiers, each.name));
        if (digits_of(known) == digits_of(*object_guid)) {
            return true;
        }
    }
    return false;
}

PointFValue to_point_f(Record& self) {
    return {static_cast<float>(property_double(self, "X")), static_cast<float>(property_double(self, "Y"))};
}
void from_point_f(Record& self, const PointFValue& point) {
    set_property(self, "X", double{point.x});
    set_property(self, "Y", double{point.y});
}

using EmfBlendFunctionApi = api::FileFormats::Emf::Emf::Records::EmfBlendFunction;
using EmfHeaderExtension2Api = api::FileFormats::Emf::Emf::Objects::EmfHeaderExtension2;
using EmfHeaderObjectApi = api::FileFormats::Emf::Emf::Objects::EmfHeaderObject;
using EmfPlusImageEffectsIdentifiersApi = api::FileFormats::Emf::EmfPlus::Consts::EmfPlusImageEffectsIdentifiers;
using EmfPlusSetTsGraphicsApi = api::FileFormats::Emf::EmfPlus::Records::EmfPlusSetTsGraphics;
using EmfRop4Api = api::FileFormats::Emf::Emf::Records::EmfRop4;
using PointDApi = api::FileFormats::Cdr::Types::PointD;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&blend_function, EmfBlendFunctionApi::ctor_000_EmfBlendFunction>(),
    behavior<&blend_word, EmfBlendFunctionApi::call_000_ToInt>(),
    behavior<&rop4, EmfRop4Api::ctor_000_EmfRop4>(),
    behavior<&header_extension2, EmfHeaderExtension2Api::ctor_001_EmfHeaderExtension2>(),
    behavior<&get_valid, EmfHeaderObjectApi::get_Valid>(),
    behavior<&get_basic_vga_colors, EmfPlusSetTsGraphicsApi::get_BasicVgaColors>(),
    behavior<&get_have_palette, EmfPlusSetTsGraphicsApi::get_HavePalette>(),
    behavior<&contain, EmfPlusImageEffectsIdentifiersApi::call_000_Contain>(),
    behavior<&to_point_f, PointDApi::call_000_ToPointF>(),
    behavior<&from_point_f, PointDApi::call_000_FromPointF>(),
});

}  // namespace

}  // namespace zelmor::embed
