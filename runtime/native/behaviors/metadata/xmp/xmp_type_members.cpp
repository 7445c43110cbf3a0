// Members of XMP's typed values that do more than store: constructors from text, comparing, ready-made values.
#include <array>
#include <cassert>
#include <charconv>
#include <limits>
#include <utility>

#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.Photoshop.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpDm.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Basic.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.Colorant.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Derived.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.h"
#include "runtime/native/behaviors/metadata/xmp/iso_date.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

namespace basic = api::Xmp::Types::Basic;
namespace derived = api::Xmp::Types::Derived;
namespace colorant = api::Xmp::Types::Complex::Colorant;
namespace photoshop = api::Xmp::Schemas::Photoshop;
namespace media = api::Xmp::Schemas::XmpDm;

constexpr const char* kIsoFormat = "yyyy-MM-ddTHH:mm:sszzz";

std::string representation(XmpTypeObject& self) {
    return self.representation();
}

[[noreturn]] void throw_format(const std::string& text, const char* what) {
    throw ManagedException("FormatException", "'" + text + "' is not " + what + ".");
}

template <class Number>
Number number_in(const std::string& text, const char* what) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::result_out_of_range) {
        throw ManagedException("OverflowException", "'" + text + "' is too large or too small for " + what + ".");
    }
    if (error != std::errc() || end != text.data() + text.size()) {
        throw_format(text, what);
    }
    return number;
}

Ref<ManagedObject> with_value(const char* type, Value value) {
    auto object = make_instance(type);
    set_property(*object, "Value", std::move(value));
    return object;
}

Ref<ManagedObject> boolean_of_text(const std::string& value) {
    std::string lower = value;
    for (char& c : lower) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    if (lower != "true" && lower != "false") {
        throw_format(value, "a truth value; XMP has True and False");
    }
    return with_value(basic::XmpBoolean::kType.name, lower == "true");
}

Ref<ManagedObject> integer_of_text(const std::string& value) {
    return with_value(basic::XmpInteger::kType.name, number_in<int64_t>(value, "an integer"));
}

Ref<ManagedObject> real_of_text(const std::string& value) {
    return with_value(basic::XmpReal::kType.name, double{number_in<float>(value, "a real number")});
}

Ref<ManagedObject> date_of_text(const std::string& date_string) {
    auto date = with_value(basic::XmpDate::kType.name, parse_iso_date(date_string));
    set_property(*date, "Format", to_utf16(iso_date_format(date_string)));
    return date;
}

Ref<ManagedObject> date_of(const DateTimeValue& date_time) {
    return with_value(basic::XmpDate::kType.name, date_time);
}

std::string iso_format() {
    return kIsoFormat;
}

// "uuid:0011..." or the identifier alone.
Ref<ManagedObject> guid_of_text(const std::string& value) {
    const size_t colon = value.rfind(':');
    const std::string digits = colon == std::string::npos ? value : value.substr(colon + 1);
    std::array<uint8_t, 16> in_order{};
    size_t count = 0;
    for (const char c : digits) {
        if (c == '-') {
            continue;
        }
        const int digit = c >= '0' && c <= '9'   ? c - '0'
                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                 : -1;
        if (digit < 0 || count == 32) {
            throw_format(value, "an identifier of 32 hexadecimal digits");
        }
        in_order[count / 2] = static_cast<uint8_t>(in_order[count / 2] * 16 + digit);
        ++count;
    }
    if (count != 32) {
        throw_format(value, "an identifier of 32 hexadecimal digits");
    }
    constexpr size_t kOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    GuidValue guid;
    for (size_t i = 0; i < 16; ++i) {
        guid.bytes[i] = in_order[kOrder[i]];
    }
    auto object = with_value(derived::XmpGuid::kType.name, text_of(guid));
    if (colon != std::string::npos) {
        set_property(*object, "Prefix", to_utf16(value.substr(0, colon)));
    }
    return object;
}

Ref<ManagedObject> guid_of(const GuidValue& guid) {
    return with_value(derived::XmpGuid::kType.name, text_of(guid));
}

Ref<ManagedObject> layer_of(const std::u16string& layer_name, const std::u16string& layer_text) {
    auto layer = make_instance(photoshop::Layer::kType.name);
    set_property(*layer, "Name", layer_name);
    set_property(*layer, "Text", layer_text);
    return layer;
}

float float_value(XmpTypeObject& self) {
    return static_cast<float>(property_double(self, "Numerator") / property_double(self, "Denominator"));
}

Collection defined_renditions() {
    std::vector<Value> tokens;
    for (const char16_t* token : {u"default", u"thumbnail", u"screen", u"proof", u"draft", u"low-res"}) {
        tokens.emplace_back(std::u16string(token));
    }
    return {Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(Wire::kString), std::move(tokens)))};
}

bool equal_types(XmpTypeObject& self, XmpTypeObject* other) {
    return other != nullptr && self.equals(*other);
}
bool equal_tokens(XmpTokenObject& self, XmpTokenObject* other) {
    return other == &self;
}

// A ready-made value: a static property of its class, and the word of the format.
struct Token {
    const PropertyName& property;
    const char* word;
};
constexpr Token kTokens[] = {
    {media::AudioChannelType::property_Audio51, "5.1"},
    {media::AudioChannelType::property_Audio71, "7.1"},
    {media::AudioChannelType::property_Audio16Channel, "16 Channel"},
    {media::AudioChannelType::property_Mono, "Mono"},
    {media::AudioChannelType::property_OtherChannel, "Other"},
    {media::AudioChannelType::property_Stereo, "Stereo"},
    {media::AudioSampleType::property_Compressed, "Compressed"},
    {media::AudioSampleType::property_Packed, "Packed"},
    {media::AudioSampleType::property_Sample16Int, "16Int"},
    {media::AudioSampleType::property_Sample24Int, "24Int"},
    {media::AudioSampleType::property_Sample32Float, "32Float"},
    {media::AudioSampleType::property_Sample32Int, "32Int"},
    {media::AudioSampleType::property_Sample8Int, "8Int"},
    {media::TimeFormat::property_DropTimecode2997, "2997DropTimecode"},
    {media::TimeFormat::property_DropTimecode5994, "5994DropTimecode"},
    {media::TimeFormat::property_NonDropTimecode2997, "2997NonDropTimecode"},
    {media::TimeFormat::property_NonDropTimecode5994, "5994NonDropTimecode"},
    {media::TimeFormat::property_Timecode23976, "23976Timecode"},
    {media::TimeFormat::property_Timecode24, "24Timecode"},
    {media::TimeFormat::property_Timecode25, "25Timecode"},
    {media::TimeFormat::property_Timecode30, "30Timecode"},
    {media::TimeFormat::property_Timecode50, "50Timecode"},
    {media::TimeFormat::property_Timecode60, "60Timecode"},
};

// There is one object for each, which is made when it is asked for first.
Ref<ManagedObject> token(const Token& row) {
    static auto& made = *new std::array<Ref<ManagedObject>, std::size(kTokens)>;
    const auto index = static_cast<size_t>(&row - kTokens);
    assert(index < made.size());
    auto& object = made[index];
    if (!object) {
        object = make_ref<XmpTokenObject>(require_type(row.property.type.name), row.word);
    }
    return object;
}

// The limits of the numbers in colorants, constants of their classes.
struct Limit {
    const PropertyName& property;
    int32_t number;
};
constexpr Limit kLimits[] = {
    {colorant::ColorantLab::property_MaxA, 127},
    {colorant::ColorantLab::property_MaxB, 127},
    {colorant::ColorantLab::property_MinA, -128},
    {colorant::ColorantLab::property_MinB, -128},
};
constexpr Limit kFloatLimits[] = {
    {colorant::ColorantCmyk::property_ColorValueMax, 100},
    {colorant::ColorantCmyk::property_ColorValueMin, 0},
    {colorant::ColorantLab::property_MaxL, 100},
    {colorant::ColorantLab::property_MinL, 0},
};
int32_t limit(const Limit& row) {
    return row.number;
}
float float_limit(const Limit& row) {
    return static_cast<float>(row.number);
}

const BehaviorTable ZELMOR_UNNAMED(each_row(kTokens,
                                            [](const Token& row) { return row_property<&token>(row.property, row); }));
const BehaviorTable ZELMOR_UNNAMED(each_row(kLimits,
                                            [](const Limit& row) { return row_property<&limit>(row.property, row); }));
const BehaviorTable ZELMOR_UNNAMED(each_row(kFloatLimits, [](const Limit& row) {
    return row_property<&float_limit>(row.property, row);
}));
const BehaviorTable ZELMOR_UNNAMED({
    behavior<&representation, api::Xmp::Types::XmpTypeBase::call_000_GetXmpRepresentation>(),
    behavior<&boolean_of_text, basic::XmpBoolean::ctor_002_XmpBoolean>(),
    behavior<&integer_of_text, basic::XmpInteger::ctor_002_XmpInteger>(),
    behavior<&real_of_text, basic::XmpReal::ctor_001_XmpReal>(),
    behavior<&date_of, basic::XmpDate::ctor_000_XmpDate>(),
    behavior<&date_of_text, basic::XmpDate::ctor_001_XmpDate>(),
    behavior<&iso_format, basic::XmpDate::getsa_Iso8601Format>(),
    behavior<&guid_of_text, derived::XmpGuid::ctor_000_XmpGuid>(),
    behavior<&guid_of, derived::XmpGuid::ctor_001_XmpGuid>(),
    behavior<&float_value, derived::Rational::get_FloatValue>(),
    behavior<&defined_renditions, derived::RenditionClass::getsa_DefinedValues>(),
    behavior<&layer_of, photoshop::Layer::ctor_000_Layer>(),
    behavior<&equal_types, photoshop::Layer::call_000_Equals>(),
    behavior<&equal_types, media::Timecode::call_000_Equals>(),
    behavior<&equal_tokens, media::TimeFormat::call_000_Equals>(),
});

}  // namespace

std::u16string XmpTokenObject::to_text() const {
    return to_utf16(m_token);
}

Ref<ManagedObject> find_xmp_token(const TypeInfo& type, std::string_view word) {
    for (const Token& row : kTokens) {
        if (std::string_view(row.property.type.name) == type.full_name && word == row.word) {
            return token(row);
        }
    }
    return nullptr;
}

}  // namespace zelmor::embed
