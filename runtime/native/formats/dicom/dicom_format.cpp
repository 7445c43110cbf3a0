// DICOM: the mark stands behind 128 bytes that mean nothing.
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_dicom(const ByteReader& in) {
    return in.starts_with(128, "DICM");
}

constexpr const char* kExtensions[] = {"dcm", "dicom"};

}  // namespace

extern const FormatRoom kDicomRoom;
const FormatRoom kDicomRoom{
    .format = Format::kDicom,
    .name = "DICOM",
    .extensions = kExtensions,
    .begins = &begins_dicom,
};

}  // namespace zelmor::imagework
