// Reading the header of a file; see dicom_header.h.
#include "runtime/native/formats/dicom/dicom_header.h"

#include <algorithm>
#include <cassert>
#include <iterator>

#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

constexpr DicomOrder kImplicit{false, false};
constexpr DicomOrder kExplicit{true, false};
constexpr DicomOrder kBigEndian{true, true};

constexpr DicomSyntax kSyntaxes[] = {
    {"1.2.840.10008.1.2", "implicit little endian", DicomCoding::kRaw, kImplicit},
    {"1.2.840.10008.1.2.1", "explicit little endian", DicomCoding::kRaw, kExplicit},
    {"1.2.840.10008.1.2.1.98", "encapsulated uncompressed pixels", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.1.99", "deflated explicit little endian", DicomCoding::kRaw, kExplicit, true},
    {"1.2.840.10008.1.2.2", "explicit big endian", DicomCoding::kRaw, kBigEndian},
    {"1.2.840.113619.5.2", "implicit little endian with big endian pixels", DicomCoding::kOther, kImplicit},
    {"1.2.840.10008.1.2.4.50", "JPEG baseline", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.51", "JPEG extended", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.53", "JPEG spectral selection", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.55", "JPEG full progression", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.57", "JPEG lossless", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.70", "JPEG lossless, first-order prediction", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.80", "JPEG-LS lossless", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.81", "JPEG-LS near-lossless", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.90", "JPEG 2000 lossless", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.91", "JPEG 2000", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.92", "JPEG 2000 multi-component lossless", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.93", "JPEG 2000 multi-component", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.94", "pixels on a JPIP server", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.95", "pixels on a JPIP server", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.100", "MPEG-2 video", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.101", "MPEG-2 video", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.102", "MPEG-4 video", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.103", "MPEG-4 video", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.104", "MPEG-4 video", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.105", "MPEG-4 video", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.106", "MPEG-4 video", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.107", "HEVC video", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.108", "HEVC video", DicomCoding::kOther, kExplicit},
    {"1.2.840.10008.1.2.4.201", "high-throughput JPEG 2000 lossless", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.202", "high-throughput JPEG 2000 lossless", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.4.203", "high-throughput JPEG 2000", DicomCoding::kJpeg, kExplicit},
    {"1.2.840.10008.1.2.5", "RLE", DicomCoding::kRle, kExplicit},
};

struct ColorName {
    const char* name;
    DicomColor color;
};
constexpr ColorName kColors[] = {
    {"MONOCHROME1", DicomColor::kMonochrome1},
    {"MONOCHROME2", DicomColor::kMonochrome2},
    {"PALETTE COLOR", DicomColor::kPalette},
    {"RGB", DicomColor::kRgb},
    {"YBR_FULL", DicomColor::kYbrFull},
    {"YBR_FULL_422", DicomColor::kYbrFull422},
    {"YBR_PARTIAL_422", DicomColor::kYbrPartial422},
    {"YBR_RCT", DicomColor::kYbrCoded},
    {"YBR_ICT", DicomColor::kYbrCoded},
};

void take_spacing(const ByteReader& file, const DicomElement& element, DicomHeader& header) {
    // Between rows, and then between columns.
    const auto rows = dicom_number(file, element, 0);
    const auto columns = dicom_number(file, element, 1);
    constexpr double kLeast = 1e-4;
    if (rows && columns && *rows >= kLeast && *columns >= kLeast) {
        header.resolution = Resolution{kMillimetersPerInch / *columns, kMillimetersPerInch / *rows};
    }
}

void take_palette(const ByteReader& file, const DicomElement& element, DicomHeader& header) {
    DicomLookup& lookup = header.palette[(element.tag & 3) - 1];
    const uint32_t kind = element.tag & 0xFFF0;
    if (kind == 0x1100) {
        const ByteReader in = file.in_order(element.order.big_endian);
        const uint16_t entries = in.u16(element.at);
        const uint16_t first = in.u16(element.at + 2);
        const uint16_t bits = in.u16(element.at + 4);
        if (element.length < 6 || !in.ok()) {
            return;
        }
        lookup.entries = entries == 0 ? 65536U : entries;
        lookup.first = header.is_signed ? static_cast<int16_t>(first) : first;
        lookup.bits = bits;
    } else {
        lookup.data = element;
        lookup.segmented = kind == 0x1220;
    }
}

void take_element(const ByteReader& file, const DicomElement& element, DicomHeader& header) {
    const auto count = [&] { return static_cast<int>(std::min<uint32_t>(dicom_count(file, element), 1U << 20)); };
    switch (element.tag) {
        case 0x00181164:
        case 0x00182010:
            if (!header.resolution) {
                take_spacing(file, element, header);
            }
            return;
        case 0x00280002:
            header.samples = count();
            return;
        case 0x00280004:
            header.photometric = dicom_text(file, element);
            return;
        case 0x00280006:
            header.planar = count();
            return;
        case 0x00280008:
            header.frames = dicom_count(file, element);
            return;
        case 0x00280010:
            header.rows = count();
            return;
        case 0x00280011:
            header.columns = count();
            return;
        case 0x00280030:
            take_spacing(file, element, header);
            return;
        case 0x00280100:
            header.allocated = count();
            return;
        case 0x00280101:
            header.stored = count();
            return;
        case 0x00280102:
            header.high_bit = count();
            return;
        case 0x00280103:
            header.is_signed = count() == 1;
            return;
        case 0x00281050:
            header.window_center = dicom_number(file, element);
            return;
        case 0x00281051:
            header.window_width = dicom_number(file, element);
            return;
        case 0x00281052:
            header.intercept = dicom_number(file, element).value_or(0);
            return;
        case 0x00281053:
            header.slope = dicom_number(file, element).value_or(1);
            return;
        case 0x00281101:
        case 0x00281102:
        case 0x00281103:
        case 0x00281201:
        case 0x00281202:
        case 0x00281203:
        case 0x00281221:
        case 0x00281222:
        case 0x00281223:
            take_palette(file, element, header);
            return;
        case 0x00282000:
            header.profile = element;
            return;
        case 0x7FE00001:
            header.offsets = element;
            return;
        case 0x7FE00008:
        case 0x7FE00009:
            header.float_pixels = true;
            return;
        case DicomWalk::kPixelData:
            header.pixels = element;
            return;
        default:
            return;
    }
}

// In files of many frames the values of the first frame stand inside of sequences.
void take_inner_element(const ByteReader& file, const DicomElement& element, DicomHeader& header, uint32_t& taken) {
    const auto once = [&](uint32_t bit) {
        const bool first = (taken & bit) == 0;
        taken |= bit;
        return first;
    };
    switch (element.tag) {
        case 0x00281050:
            if (!header.window_center) {
                header.window_center = dicom_number(file, element);
            }
            return;
        case 0x00281051:
            if (!header.window_width) {
                header.window_width = dicom_number(file, element);
            }
            return;
        case 0x00281052:
            if (once(1)) {
                header.intercept = dicom_number(file, element).value_or(0);
            }
            return;
        case 0x00281053:
            if (once(2)) {
                header.slope = dicom_number(file, element).value_or(1);
            }
            return;
        case 0x00280030:
            if (!header.resolution) {
                take_spacing(file, element, header);
            }
            return;
        default:
            return;
    }
}

}  // namespace

const DicomSyntax* dicom_syntax(const std::string& uid) {
    const auto found = std::find_if(std::begin(kSyntaxes), std::end(kSyntaxes),
                                    [&](const DicomSyntax& syntax) { return uid == syntax.uid; });
    return found != std::end(kSyntaxes) ? &*found : nullptr;
}

std::optional<DicomHeader> dicom_file_header(const ByteReader& file) {
    constexpr uint64_t kMark = 128;
    constexpr uint16_t kOwnGroup = 2;
    if (!file.starts_with(kMark, "DICM")) {
        return std::nullopt;
    }
    DicomHeader header;
    header.data_set_at = kMark + 4;
    DicomWalk walk(file, header.data_set_at, kExplicit);
    const ByteReader in = file.in_order(false);
    while (in.u16(header.data_set_at) == kOwnGroup) {
        const auto element = walk.next();
        if (!element) {
            break;
        }
        header.data_set_at = walk.position();
        if (element->tag == 0x00020010) {
            header.syntax_uid = dicom_text(file, *element);
        }
    }
    // A file that does not tell is written as all files were before there was a choice.
    header.syntax = header.syntax_uid.empty() ? &kSyntaxes[0] : dicom_syntax(header.syntax_uid);
    if (header.syntax != nullptr) {
        header.order = header.syntax->order;
    }
    return header;
}

void read_dicom_data_set(const ByteReader& file, DicomHeader& header, bool up_to_pixels) {
    constexpr DicomTag kBehindImage = 0x00290000;
    constexpr DicomTag kFunctionalGroups = 0x52009229;
    constexpr DicomTag kGroupsOfFrames = 0x52009230;
    DicomWalk walk(file, header.data_set_at, header.order);
    uint32_t taken = 0;
    DicomTag top = 0;
    while (const auto element = walk.next()) {
        if (element->depth == 0) {
            top = element->tag;
            header.goes_on = header.goes_on || top >= kBehindImage;
            if (!up_to_pixels && top >= kBehindImage) {
                break;
            }
            take_element(file, *element, header);
            if (element->tag == DicomWalk::kPixelData) {
                break;
            }
        } else if (top == kFunctionalGroups || top == kGroupsOfFrames) {
            take_inner_element(file, *element, header, taken);
        }
    }
    header.stored = header.stored == 0 ? header.allocated : header.stored;
    header.high_bit = header.high_bit == 0 ? header.stored - 1 : header.high_bit;
    header.frames = std::max<int64_t>(1, header.frames);
    for (const ColorName& row : kColors) {
        if (header.photometric == row.name) {
            header.color = row.color;
        }
    }
    // Old files of one sample do not tell.
    if (header.photometric.empty() && header.samples == 1 && header.rows > 0) {
        header.color = DicomColor::kMonochrome2;
    }
}

int64_t DicomHeader::bits_of_frame() const {
    const int64_t pixels = int64_t{columns} * rows;
    const bool shared = color == DicomColor::kYbrFull422 || color == DicomColor::kYbrPartial422;
    return pixels * (shared ? 2 : samples) * allocated;
}

namespace {

// The beginning of a text of the file as a part of a message: what cannot be shown becomes question marks.
std::string shown(std::string text) {
    constexpr size_t kMost = 64;
    text.resize(std::min(text.size(), kMost));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
    return text;
}

}  // namespace

std::string dicom_obstacle(const DicomHeader& header) {
    const std::string begin = "this is a DICOM file with ";
    if (header.syntax == nullptr) {
        return begin + "the unknown transfer syntax " + shown(header.syntax_uid);
    }
    if (header.syntax->coding == DicomCoding::kOther) {
        return begin + header.syntax->name + ", which is not read";
    }
    const bool says_nothing = header.rows == 0 && header.columns == 0 && header.photometric.empty();
    if (header.goes_on && says_nothing) {
        return "this is a DICOM file without a picture";
    }
    if (header.float_pixels) {
        return begin + "floating-point samples, which are not read";
    }
    if (!header.photometric.empty() && !header.color) {
        return begin + "the photometric interpretation " + shown(header.photometric) + ", which is not read";
    }
    if (header.allocated != 0 && header.allocated != 1 && header.allocated != 8 && header.allocated != 16 &&
        header.allocated != 24 && header.allocated != 32) {
        return begin + std::to_string(header.allocated) + " bits allocated for a sample, which are not read";
    }
    if (header.allocated == 1 && header.syntax->coding != DicomCoding::kRaw) {
        return begin + "compressed samples of 1 bit, which are not read";
    }
    return {};
}

bool is_sound(const DicomHeader& header) {
    if (!header.color || header.rows < 1 || header.rows > 65535 || header.columns < 1 || header.columns > 65535 ||
        header.stored < 1 || header.stored > header.allocated || header.stored > 32 ||
        header.high_bit >= header.allocated || header.high_bit < header.stored - 1 || header.planar > 1) {
        return false;
    }
    const int samples = *header.color <= DicomColor::kPalette ? 1 : 3;
    if (header.samples != samples || (*header.color == DicomColor::kYbrCoded && header.syntax != nullptr &&
                                      header.syntax->coding != DicomCoding::kJpeg)) {
        return false;
    }
    const bool shared = *header.color == DicomColor::kYbrFull422 || *header.color == DicomColor::kYbrPartial422;
    if (shared && header.syntax != nullptr && header.syntax->coding == DicomCoding::kRaw && header.columns % 2 != 0) {
        return false;
    }
    if (*header.color == DicomColor::kPalette) {
        return header.stored <= 16 && std::all_of(header.palette.begin(), header.palette.end(), [](const auto& lookup) {
                   return lookup.entries > 0 && lookup.data.length > 0 && (lookup.bits == 8 || lookup.bits == 16);
               });
    }
    return true;
}

PixelForm dicom_form(const DicomHeader& header) {
    assert(is_sound(header));
    PixelForm form;
    const bool gray = header.samples == 1;
    form.color = gray ? ColorModel::kGray : ColorModel::kRgb;
    if (*header.color == DicomColor::kPalette) {
        if (header.stored <= 8) {
            form.color = ColorModel::kIndexed;
            return form;
        }
        const bool deep = std::any_of(header.palette.begin(), header.palette.end(),
                                      [](const DicomLookup& lookup) { return lookup.bits == 16; });
        form.color = ColorModel::kRgb;
        form.sample = deep ? SampleType::kUint16 : SampleType::kUint8;
        form.bits = deep ? 16 : 8;
        return form;
    }
    const bool is_signed = header.is_signed && (gray || *header.color == DicomColor::kRgb);
    if (header.stored <= 8) {
        form.sample = is_signed ? SampleType::kInt8 : SampleType::kUint8;
        const bool small = gray && !is_signed && (header.stored == 1 || header.stored == 2 || header.stored == 4);
        form.bits = small ? header.stored : 8;
    } else if (header.stored <= 16) {
        form.sample = is_signed ? SampleType::kInt16 : SampleType::kUint16;
        form.bits = 16;
    } else {
        form.sample = is_signed ? SampleType::kInt32 : SampleType::kUint32;
        form.bits = 32;
    }
    return form;
}

}  // namespace zelmor::imagework
