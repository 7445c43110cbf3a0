// What a DICOM file says of its picture: the size, the form of the samples, and where they lie.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_HEADER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_HEADER_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "runtime/native/formats/dicom/dicom_elements.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

// How the pixels are stored. A picture that is compressed tells by its first bytes by which of the JPEG codings.
enum class DicomCoding : uint8_t { kRaw, kRle, kJpeg, kOther };

// A transfer syntax: how a file is written.
struct DicomSyntax {
    const char* uid;
    const char* name;  // for messages
    DicomCoding coding;
    DicomOrder order = {};
    bool deflated = false;  // everything behind the file's own header is compressed
};
// Null for one that is not known.
const DicomSyntax* dicom_syntax(const std::string& uid);

enum class DicomColor : uint8_t {
    kMonochrome1,  // the least value is white
    kMonochrome2,
    kPalette,
    kRgb,
    kYbrFull,
    kYbrFull422,     // two pixels share the differences
    kYbrPartial422,  // the same, and the values do not use their whole range
    kYbrCoded,       // the codec of JPEG 2000 gives RGB
};

// The tables of a palette, by their colors.
struct DicomLookup {
    uint32_t entries = 0;
    int32_t first = 0;  // the sample that has the first entry
    int bits = 8;
    DicomElement data = {};  // `length` is 0 where there is none
    bool segmented = false;
};

struct DicomHeader {
    std::string syntax_uid;
    const DicomSyntax* syntax = nullptr;
    DicomOrder order = {};
    uint64_t data_set_at = 0;  // behind the elements of the file itself, which all have the group 2

    int columns = 0;
    int rows = 0;
    int samples = 1;
    int allocated = 0;  // bits of a sample in the file
    int stored = 0;     // bits of it that count
    int high_bit = 0;   // the highest of these
    bool is_signed = false;
    int planar = 0;  // 1: each color has all of its samples together
    std::string photometric;
    std::optional<DicomColor> color;
    int64_t frames = 1;
    std::optional<double> window_center;
    std::optional<double> window_width;
    double intercept = 0;
    double slope = 1;
    std::array<DicomLookup, 3> palette;  // red, green, blue
    std::optional<Resolution> resolution;
    DicomElement profile;  // ICC

    // Absent as long as the walk has not come so far.
    std::optional<DicomElement> pixels;
    bool float_pixels = false;
    bool goes_on = false;  // elements follow those that tell of the picture
    DicomElement offsets;  // a table of 64-bit offsets of the frames

    int64_t bits_of_frame() const;
};

// The file's own header, up to the data set. Nothing where this is no DICOM file.
std::optional<DicomHeader> dicom_file_header(const ByteReader& file);
// The data set: up to what tells of the pixels, or up to the pixels themselves.
void read_dicom_data_set(const ByteReader& file, DicomHeader& header, bool up_to_pixels);

// Why no picture can be read: "a DICOM file with MPEG2 video"; empty for one that can. What is not there because the
// file is cut off is no reason.
std::string dicom_obstacle(const DicomHeader& header);
// Whether all numbers that tell of the picture are there and make sense.
bool is_sound(const DicomHeader& header);

// The form of the picture, of a header that is sound.
PixelForm dicom_form(const DicomHeader& header);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_HEADER_H
