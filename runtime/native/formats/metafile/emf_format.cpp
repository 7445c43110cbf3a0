// EMF: the first record is the header, whose mark stands behind its sizes. EMZ is that packed by gzip.
#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/packed_head.h"

namespace zelmor::imagework {
namespace {

bool is_emf(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    return in.u32(0) == 1 && in.starts_with(40, " EMF");
}

std::vector<uint8_t> unpacked(const ByteReader& file) {
    constexpr size_t kHeader = 44;
    return unpacked_head(file, kHeader);
}

bool begins_emf(const ByteReader& in) {
    return is_emf(in) || is_emf(ByteReader(unpacked(in)));
}

Variant variant_of(const ByteReader& in) {
    return is_emf(in) ? Variant::kUsual : Variant::kEmz;
}

constexpr const char* kExtensions[] = {"emf", "emz"};

}  // namespace

extern const FormatRoom kEmfRoom;
const FormatRoom kEmfRoom{
    .format = Format::kEmf,
    .name = "EMF",
    .extensions = kExtensions,
    .begins = &begins_emf,
    .variant = &variant_of,
};

}  // namespace zelmor::imagework
