// Finding the raw picture of a DNG file; see dng_structure.h.
#include "runtime/native/formats/dng/dng_structure.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "runtime/native/formats/tiff/tiff_directories.h"
#include "runtime/native/formats/tiff/tiff_entry.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

enum DngTag : uint16_t {
    kSubfileType = 254,
    kOrientation = 274,
    kCfaLayout = 50711,
    kLinearizationTable = 50712,
    kDefaultCropOrigin = 50719,
    kDefaultCropSize = 50720,
    kBaselineExposure = 50730,
    kActiveArea = 50829,
};

enum Photometric : uint32_t { kColorFilterArray = 32803, kLinearRaw = 34892 };

// Pictures of a file: more of them than any camera writes are not looked at.
constexpr size_t kMostDirectories = 64;
constexpr double kMostExposure = 16;

// The entries of one directory that tell of its picture.
struct Directory {
    TiffEntry subfile, width, height, bits, compression, photometric, samples, numbers, x_resolution, y_resolution;
    TiffEntry unit, orientation, layout, curve, crop_origin, crop_size, exposure, active, below;
};

TiffEntry* slot(Directory& directory, uint16_t tag) {
    switch (tag) {
        case kSubfileType:
            return &directory.subfile;
        case kTiffWidth:
            return &directory.width;
        case kTiffHeight:
            return &directory.height;
        case kTiffBitsPerSample:
            return &directory.bits;
        case kTiffCompression:
            return &directory.compression;
        case kTiffPhotometric:
            return &directory.photometric;
        case kTiffSamplesPerPixel:
            return &directory.samples;
        case kTiffSampleFormat:
            return &directory.numbers;
        case kTiffXResolution:
            return &directory.x_resolution;
        case kTiffYResolution:
            return &directory.y_resolution;
        case kTiffResolutionUnit:
            return &directory.unit;
        case kTiffSubDirectories:
            return &directory.below;
        case kOrientation:
            return &directory.orientation;
        case kCfaLayout:
            return &directory.layout;
        case kLinearizationTable:
            return &directory.curve;
        case kDefaultCropOrigin:
            return &directory.crop_origin;
        case kDefaultCropSize:
            return &directory.crop_size;
        case kBaselineExposure:
            return &directory.exposure;
        case kActiveArea:
            return &directory.active;
        default:
            return nullptr;
    }
}

Directory read_directory(const ByteReader& in, TiffForm form, uint64_t at) {
    Directory directory;
    const uint64_t count = std::min(form.entries(in, at), limits::kEntries);
    for (uint64_t i = 0; i < count && in.has(form.entry_at(at, i), form.entry_size()); i++) {
        const uint64_t entry = form.entry_at(at, i);
        if (TiffEntry* known = slot(directory, in.u16(entry)); known != nullptr) {
            *known = TiffEntry(in, form, entry);
        }
    }
    return directory;
}

// The directories of the chain, and those below them.
std::vector<Directory> all_directories(const ByteReader& file, const ByteReader& in) {
    const TiffForm form = tiff_form(in);
    std::vector<uint64_t> places = tiff_directories(file);
    std::vector<Directory> all;
    for (size_t i = 0; i < places.size() && i < kMostDirectories; i++) {
        all.push_back(read_directory(in, form, places[i]));
        const TiffEntry& below = all.back().below;
        for (uint64_t child = 0; child < below.count() && places.size() < kMostDirectories; child++) {
            const uint64_t place = below.number(in, 0, child);
            if (std::find(places.begin(), places.end(), place) == places.end()) {
                places.push_back(place);
            }
        }
    }
    return all;
}

// Nothing where the entry is not there, or is none such.
std::optional<Rect> area_of(const ByteReader& in, const TiffEntry& corners, const Rect& whole) {
    if (corners.count() < 4) {
        return std::nullopt;
    }
    const auto side = [&](uint64_t i) { return static_cast<int64_t>(corners.number(in, 0, i) & 0xFFFFFFFF); };
    const int64_t top = side(0);
    const int64_t left = side(1);
    const int64_t bottom = side(2);
    const int64_t right = side(3);
    if (top >= bottom || left >= right || bottom > whole.height || right > whole.width) {
        return std::nullopt;
    }
    return Rect{static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(right - left),
                static_cast<int32_t>(bottom - top)};
}

Rect crop_of(const ByteReader& in, const Directory& raw, const Rect& active) {
    const Rect all{0, 0, active.width, active.height};
    if (raw.crop_size.count() < 2) {
        return all;
    }
    const double left = std::round(raw.crop_origin.value(in, 0));
    const double top = std::round(raw.crop_origin.value(in, 1));
    const double width = std::round(raw.crop_size.value(in, 0));
    const double height = std::round(raw.crop_size.value(in, 1));
    const bool inside = left >= 0 && top >= 0 && width >= 1 && height >= 1 && left + width <= active.width &&
                        top + height <= active.height;
    return inside ? Rect{static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(width),
                         static_cast<int32_t>(height)}
                  : all;
}

std::optional<Resolution> resolution_of(const ByteReader& in, const Directory& directory) {
    constexpr uint64_t kInch = 2;
    constexpr uint64_t kCentimeter = 3;
    const uint64_t unit = directory.unit.number(in, kInch);
    const double per_inch = unit == kCentimeter ? kCentimetersPerInch : 1.0;
    const Resolution found{directory.x_resolution.fraction(in) * per_inch,
                           directory.y_resolution.fraction(in) * per_inch};
    const bool tells = (unit == kInch || unit == kCentimeter) && found.horizontal > 0 && found.vertical > 0;
    return tells ? std::optional(found) : std::nullopt;
}

// The same of the raw picture, as its entries claim.
uint64_t pixels_of(const ByteReader& in, const Directory& directory) {
    constexpr uint64_t kMost = 0xFFFFFFFF;
    return std::min(directory.width.number(in, 0), kMost) * std::min(directory.height.number(in, 0), kMost);
}

bool is_raw(const ByteReader& in, const Directory& directory) {
    const uint64_t photometric = directory.photometric.number(in, 0);
    return directory.subfile.number(in, 0) == 0 && (photometric == kColorFilterArray || photometric == kLinearRaw);
}

// Why this runtime does not read the raw picture.
std::string obstacle_of(const ByteReader& in, const Directory& raw, const DngStructure& found) {
    constexpr uint64_t kNone = 1;
    constexpr uint64_t kLosslessJpeg = 7;
    constexpr uint64_t kLossyJpeg = 34892;
    constexpr uint64_t kUsualLayout = 1;
    constexpr int64_t kLongestSide = 65535;
    const uint64_t compression = raw.compression.number(in, kNone);
    if (compression != kNone && compression != kLosslessJpeg && compression != kLossyJpeg) {
        return "this runtime does not read DNG data with compression " + std::to_string(compression) +
               (compression == 8       ? " (Deflate)"
                : compression == 52546 ? " (JPEG XL)"
                                       : "");
    }
    if (raw.layout.number(in, kUsualLayout) != kUsualLayout) {
        return "this runtime does not read DNG data with filters in rows or columns that are shifted";
    }
    if (raw.numbers.number(in, kTiffUnsigned) != kTiffUnsigned) {
        return "this runtime does not read DNG data with samples that are no whole numbers";
    }
    if (found.bits > 16) {
        return "this runtime does not read DNG data with " + std::to_string(found.bits) + " bits per sample";
    }
    if (found.samples > 4 || (!found.linear && found.samples != 1) || (found.linear && found.samples == 2)) {
        return "this runtime does not read DNG data with " + std::to_string(found.samples) + " samples per pixel";
    }
    if (found.raw_width > kLongestSide || found.raw_height > kLongestSide) {
        return "this runtime does not read DNG data with more than " + std::to_string(kLongestSide) +
               " pixels to a side";
    }
    return {};
}

}  // namespace

PixelForm DngStructure::form() const {
    PixelForm form;
    form.color = linear && samples == 1 ? ColorModel::kGray : ColorModel::kRgb;
    if (bits > 8 || has_curve) {
        form.sample = SampleType::kUint16;
        form.bits = 16;
    }
    return form;
}

DngStructure dng_structure(const ByteReader& file) {
    const ByteReader in = file.in_order(file.u8(0) == 'M');
    DngStructure found;
    const std::vector<Directory> all = all_directories(file, in);
    const Directory* raw = nullptr;
    for (const Directory& directory : all) {
        if (is_raw(in, directory) && (raw == nullptr || pixels_of(in, directory) > pixels_of(in, *raw))) {
            raw = &directory;
        }
    }
    if (raw == nullptr) {
        return found;
    }
    const uint64_t width = raw->width.number(in, 0);
    const uint64_t height = raw->height.number(in, 0);
    const uint64_t bits = raw->bits.number(in, 1);
    const uint64_t samples = raw->samples.number(in, 1);
    if (width == 0 || height == 0 || width > INT32_MAX || height > INT32_MAX || bits == 0 ||
        bits > limits::kBitsOfSample || samples == 0 || samples > limits::kSamplesOfPixel) {
        return found;
    }
    found.raw_width = static_cast<int32_t>(width);
    found.raw_height = static_cast<int32_t>(height);
    found.bits = static_cast<int>(bits);
    found.samples = static_cast<int>(samples);
    found.linear = raw->photometric.number(in, 0) == kLinearRaw;
    found.compressed = raw->compression.number(in, 1) != 1;
    found.has_curve = raw->curve.there();
    const Rect whole{0, 0, found.raw_width, found.raw_height};
    found.active = area_of(in, raw->active, whole).value_or(whole);
    found.crop = crop_of(in, *raw, found.active);
    const Directory& first = all.front();
    const uint64_t orientation = first.orientation.number(in, 1);
    found.orientation = orientation >= 1 && orientation <= 8 ? static_cast<int>(orientation) : 1;
    found.baseline_exposure = std::clamp(first.exposure.value(in, 0), -kMostExposure, kMostExposure);
    found.resolution = resolution_of(in, raw->x_resolution.there() ? *raw : first);
    found.obstacle = obstacle_of(in, *raw, found);
    found.readable = true;
    return found;
}

}  // namespace zelmor::imagework
