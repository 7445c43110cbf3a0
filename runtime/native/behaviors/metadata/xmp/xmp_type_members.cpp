// Members of XMP's typed values that do more than store: constructors from text, comparing, ready-made values.
#include <array>
#include <charconv>
#include <limits>
#include <utility>

#include "runtime/native/behaviors/metadata/xmp/iso_date.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_types.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

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
    return with_value("Zelmor.Imaging.Xmp.Types.Basic.XmpBoolean", lower == "true");
}

Ref<ManagedObject> integer_of_text(const std::string& value) {
    return with_value("Zelmor.Imaging.Xmp.Types.Basic.XmpInteger", number_in<int64_t>(value, "an integer"));
}

Ref<ManagedObject> real_of_text(const std::string& value) {
    return with_value("Zelmor.Imaging.Xmp.Types.Basic.XmpReal", double{number_in<float>(value, "a real number")});
}

Ref<ManagedObject> date_of_text(const std::string& date_string) {
    auto date = with_value("Zelmor.Imaging.Xmp.Types.Basic.XmpDate", parse_iso_date(date_string));
    set_property(*date, "Format", to_utf16(iso_date_format(date_string)));
    return date;
}

Ref<ManagedObject> date_of(const DateTimeValue& date_time) {
    return with_value("Zelmor.Imaging.Xmp.Types.Basic.XmpDate", date_time);
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
    auto object = with_value("Zelmor.Imaging.Xmp.Types.Derived.XmpGuid", text_of(guid));
    if (colon != std::string::npos) {
        set_property(*object, "Prefix", to_utf16(value.substr(0, colon)));
    }
    return object;
}

Ref<ManagedObject> guid_of(const GuidValue& guid) {
    return with_value("Zelmor.Imaging.Xmp.Types.Derived.XmpGuid", text_of(guid));
}

Ref<ManagedObject> layer_of(const std::u16string& layer_name, const std::u16string& layer_text) {
    auto layer = make_instance("Zelmor.Imaging.Xmp.Schemas.Photoshop.Layer");
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
    return other && self.equals(*other);
}
bool equal_tokens(XmpTokenObject& self, XmpTokenObject* other) {
    return other == &self;
}

// Ready-made values by class: the managed name of the static property and the word of the format.
struct Token {
    const char* type;
    const char* getter;
    const char* word;
};
constexpr Token kTokens[] = {
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioChannelType", "getsa_Audio51", "5.1"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioChannelType", "getsa_Audio71", "7.1"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioChannelType", "getsa_Audio16Channel", "16 Channel"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioChannelType", "getsa_Mono", "Mono"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioChannelType", "getsa_OtherChannel", "Other"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioChannelType", "getsa_Stereo", "Stereo"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioSampleType", "getsa_Compressed", "Compressed"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioSampleType", "getsa_Packed", "Packed"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioSampleType", "getsa_Sample16Int", "16Int"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioSampleType", "getsa_Sample24Int", "24Int"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioSampleType", "getsa_Sample32Float", "32Float"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioSampleType", "getsa_Sample32Int", "32Int"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.AudioSampleType", "getsa_Sample8Int", "8Int"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_DropTimecode2997", "2997DropTimecode"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_DropTimecode5994", "5994DropTimecode"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_NonDropTimecode2997", "2997NonDropTimecode"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_NonDropTimecode5994", "5994NonDropTimecode"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_Timecode23976", "23976Timecode"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_Timecode24", "24Timecode"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_Timecode25", "25Timecode"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_Timecode30", "30Timecode"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_Timecode50", "50Timecode"},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "getsa_Timecode60", "60Timecode"},
};

template <size_t kIndex>
Ref<ManagedObject> token() {
    static auto& made =
        *new Ref<ManagedObject>(make_ref<XmpTokenObject>(require_type(kTokens[kIndex].type), kTokens[kIndex].word));
    return made;
}

template <size_t... kIndex>
void add_tokens(BehaviorTable& table, std::index_sequence<kIndex...>) {
    (table.add({kTokens[kIndex].type, kTokens[kIndex].getter, entry<&token<kIndex>>()}), ...);
}

using TokenMaker = Ref<ManagedObject> (*)();
template <size_t... kIndex>
constexpr std::array<TokenMaker, sizeof...(kIndex)> token_makers(std::index_sequence<kIndex...>) {
    return {&token<kIndex>...};
}
constexpr auto kTokenMakers = token_makers(std::make_index_sequence<std::size(kTokens)>());

template <auto kNumber>
auto constant() {
    return kNumber;
}
// A float is no template argument everywhere; these ranges are whole numbers.
template <int kNumber>
float float_constant() {
    return static_cast<float>(kNumber);
}

BehaviorTable& table() {
    static auto& table = *new BehaviorTable(
        Assembly::kImaging,
        {
            {XmpTypeObject::kManagedName, "call_000_GetXmpRepresentation", entry<&representation>()},
            {"Zelmor.Imaging.Xmp.Types.Basic.XmpBoolean", "ctor_002_XmpBoolean", entry<&boolean_of_text>()},
            {"Zelmor.Imaging.Xmp.Types.Basic.XmpInteger", "ctor_002_XmpInteger", entry<&integer_of_text>()},
            {"Zelmor.Imaging.Xmp.Types.Basic.XmpReal", "ctor_001_XmpReal", entry<&real_of_text>()},
            {"Zelmor.Imaging.Xmp.Types.Basic.XmpDate", "ctor_000_XmpDate", entry<&date_of>()},
            {"Zelmor.Imaging.Xmp.Types.Basic.XmpDate", "ctor_001_XmpDate", entry<&date_of_text>()},
            {"Zelmor.Imaging.Xmp.Types.Basic.XmpDate", "getsa_Iso8601Format", entry<&iso_format>()},
            {"Zelmor.Imaging.Xmp.Types.Derived.XmpGuid", "ctor_000_XmpGuid", entry<&guid_of_text>()},
            {"Zelmor.Imaging.Xmp.Types.Derived.XmpGuid", "ctor_001_XmpGuid", entry<&guid_of>()},
            {"Zelmor.Imaging.Xmp.Types.Derived.Rational", "get_FloatValue", entry<&float_value>()},
            {"Zelmor.Imaging.Xmp.Types.Derived.RenditionClass", "getsa_DefinedValues", entry<&defined_renditions>()},
            {"Zelmor.Imaging.Xmp.Schemas.Photoshop.Layer", "ctor_000_Layer", entry<&layer_of>()},
            {"Zelmor.Imaging.Xmp.Schemas.Photoshop.Layer", "call_000_Equals", entry<&equal_types>()},
            {"Zelmor.Imaging.Xmp.Schemas.XmpDm.Timecode", "call_000_Equals", entry<&equal_types>()},
            {"Zelmor.Imaging.Xmp.Schemas.XmpDm.TimeFormat", "call_000_Equals", entry<&equal_tokens>()},
            {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantCmyk", "getsa_ColorValueMax",
             entry<&float_constant<100>>()},
            {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantCmyk", "getsa_ColorValueMin",
             entry<&float_constant<0>>()},
            {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantLab", "getsa_MaxA", entry<&constant<int32_t{127}>>()},
            {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantLab", "getsa_MaxB", entry<&constant<int32_t{127}>>()},
            {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantLab", "getsa_MinA", entry<&constant<int32_t{-128}>>()},
            {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantLab", "getsa_MinB", entry<&constant<int32_t{-128}>>()},
            {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantLab", "getsa_MaxL", entry<&float_constant<100>>()},
            {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantLab", "getsa_MinL", entry<&float_constant<0>>()},
        });
    return table;
}

[[maybe_unused]] const bool registered = [] {
    add_tokens(table(), std::make_index_sequence<std::size(kTokens)>());
    return true;
}();

}  // namespace

std::u16string XmpTokenObject::to_text() const {
    return to_utf16(m_token);
}

Ref<ManagedObject> find_xmp_token(const TypeInfo& type, std::string_view property_or_token) {
    for (size_t i = 0; i < std::size(kTokens); ++i) {
        const Token& token = kTokens[i];
        if (std::string_view(token.type) != type.full_name) {
            continue;
        }
        if (property_or_token == token.word || property_or_token == token.getter + 6) {
            return kTokenMakers[i]();
        }
    }
    return nullptr;
}

}  // namespace zelmor::embed
