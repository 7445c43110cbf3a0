// The structures that XMP defines and the classes that stand for them: which field each property is.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_STRUCTURES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_STRUCTURES_H

#include <cstdint>
#include <span>
#include <string_view>

namespace zelmor::embed {

enum class XmpFieldKind : uint8_t {
    kText,
    kDate,    // text too, as long as it is no date
    kNumber,  // of the width that the property has
    kBool,
    kTexts,      // an ordered array
    kRational,   // "1/25"
    kChoice,     // an enumeration, by the words of the format
    kToken,      // one of the ready-made values of a class
    kStructure,  // of the type that the property has
};

// An enumerator and the word that the format has for it.
struct XmpChoice {
    template <class Enum>
    constexpr XmpChoice(Enum of_number, const char* of_word) : number(static_cast<int64_t>(of_number)), word(of_word) {}
    int64_t number;
    std::string_view word;
};

struct XmpField {
    const char* name;      // in the namespace of its structure
    const char* property;  // managed name
    XmpFieldKind kind;
    std::span<const XmpChoice> choices = {};
};

struct XmpStructure {
    const char* type;  // full managed name
    const char* prefix;
    const char* uri;
    std::span<const XmpField> fields;  // of the type itself and its bases
};

std::span<const XmpStructure> xmp_structures();
// The structure that a class stands for, or null.
const XmpStructure* find_xmp_structure(std::string_view type);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_STRUCTURES_H
