// The end points of a color space in a bitmap header: three coordinates each, fixed point numbers of 32 bits, low byte
// first.
#include "runtime/native/behaviors/formats/cie_coordinates.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.Structures.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kCoordinates = api::FileFormats::Bmp::Structures::CieCoordinates::kType.name;
constexpr const char* kTriple = api::FileFormats::Bmp::Structures::CieCoordinatesTriple::kType.name;
constexpr size_t kCoordinatesBytes = 12;
static_assert(kCieTripleBytes == 3 * kCoordinatesBytes);

void require_bytes(std::span<const std::byte> bytes, size_t count) {
    if (bytes.size() < count) {
        throw_argument("There are " + std::to_string(bytes.size()) + " bytes; " + std::to_string(count) +
                       " are wanted. (Parameter 'bytes')");
    }
}

int64_t int32_at(std::span<const std::byte> bytes, size_t offset) {
    uint32_t word = 0;
    for (size_t i = 4; i-- > 0;) {
        word = word << 8 | std::to_integer<uint32_t>(bytes[offset + i]);
    }
    return static_cast<int32_t>(word);
}

Ref<ManagedObject> coordinates(std::span<const std::byte> bytes) {
    require_bytes(bytes, kCoordinatesBytes);
    auto value = make_instance(kCoordinates);
    set_property(*value, "CieCoordinatesX", int32_at(bytes, 0));
    set_property(*value, "CieCoordinatesY", int32_at(bytes, 4));
    set_property(*value, "CieCoordinatesZ", int32_at(bytes, 8));
    return value;
}

}  // namespace

Ref<ManagedObject> cie_triple_of(std::span<const std::byte> bytes) {
    require_bytes(bytes, kCieTripleBytes);
    auto value = make_instance(kTriple);
    set_property(*value, "CieXyzRed", coordinates(bytes));
    set_property(*value, "CieXyzGreen", coordinates(bytes.subspan(kCoordinatesBytes)));
    set_property(*value, "CieXyzBlue", coordinates(bytes.subspan(2 * kCoordinatesBytes)));
    return value;
}

namespace {

using CieCoordinatesApi = api::FileFormats::Bmp::Structures::CieCoordinates;
using CieCoordinatesTripleApi = api::FileFormats::Bmp::Structures::CieCoordinatesTriple;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&coordinates, CieCoordinatesApi::ctor_000_CieCoordinates>(),
    behavior<&cie_triple_of, CieCoordinatesTripleApi::ctor_000_CieCoordinatesTriple>(),
});

}  // namespace

}  // namespace zelmor::embed
