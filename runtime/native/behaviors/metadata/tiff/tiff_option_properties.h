// Which tag each property of TiffOptions is.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_OPTION_PROPERTIES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_OPTION_PROPERTIES_H

#include <span>

#include "runtime/native/behaviors/metadata/tiff/tiff_tags.h"
#include "runtime/native/catalogue/names.h"

namespace zelmor::embed {

enum class TiffOptionKind : uint8_t {
    kText,
    kArray,     // of the element that the property has in the catalogue
    kInteger,   // a number
    kChoice,    // an enumeration, of as many bytes as its tag
    kRational,  // one fraction
    kWideText,  // text in UTF-16, as an array of bytes
};

struct TiffOptionProperty {
    const PropertyName& property;
    api::FileFormats::Tiff::Enums::TiffTags tag;
    TiffType type;
    TiffOptionKind kind;
    bool always = false;  // every file has this tag

    uint16_t id() const { return number_of(tag); }
};

std::span<const TiffOptionProperty> tiff_option_properties();

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TIFF_OPTION_PROPERTIES_H
