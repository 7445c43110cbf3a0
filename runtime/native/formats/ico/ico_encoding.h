// The settings that the entries of an ICO or CUR file are written with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_ENCODING_H

#include <cstdint>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// The numbers are those of the format.
enum class IcoKind : uint16_t { kIcon = 1, kCursor = 2 };

enum class IcoEntryFormat : uint8_t { kBmp, kPng };

struct IcoEntryEncoding {
    IcoEntryFormat format = IcoEntryFormat::kPng;
    int bits_per_pixel = 32;  // BMP: 1, 4, 8, 16, 24 or 32; PNG: 1, 2, 4, 8, 24 or 32, and 16, 48 and 64 of deep forms

    bool operator==(const IcoEntryEncoding&) const = default;
};

// The pixel of a cursor that points.
struct IcoHotSpot {
    uint16_t x = 0;
    uint16_t y = 0;
    bool operator==(const IcoHotSpot&) const = default;
};

// Of an entry, and what its file is.
struct IcoEncoding {
    static constexpr Format kFormat = Format::kIco;

    IcoKind kind = IcoKind::kIcon;
    IcoEntryEncoding entry = {};
    IcoHotSpot hot_spot = {};
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_ENCODING_H
