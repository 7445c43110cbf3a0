// Bitmaps of records: those of version 3 and later go through the reader of BMP files.
#include "runtime/native/formats/metafile/player/dib_pixels.h"

#include <algorithm>
#include <limits>

#include "runtime/native/formats/metafile/record_forms.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed::metafile {

namespace {

constexpr int64_t kRuns8 = 1, kRuns4 = 2, kBitFields = 3, kJpeg = 4, kPng = 5;
constexpr int64_t kMostPixels = int64_t{1} << 28;

struct DibHeader {
    int64_t width = 0, height = 0, bits = 0, compression = 0;
    bool top_down = false;
};

DibHeader header_of(const ManagedObject& bitmap) {
    DibHeader header;
    const auto fields = object_in(bitmap, "DibHeaderInfo");
    if (!fields) {
        return header;
    }
    header.width = whole_in(*fields, "Width");
    header.height = whole_in(*fields, "Height");
    header.bits = whole_in(*fields, "BitCount");
    if (has_property(*fields, "Compression")) {
        header.compression = whole_in(*fields, "Compression");
    }
    header.top_down = header.height < 0;
    header.height = std::abs(header.height);
    return header;
}

// The masks of red, green, blue and alpha.
std::vector<uint32_t> masks_of(const ManagedObject& bitmap, const std::vector<Argb>& colors) {
    const auto fields = object_in(bitmap, "DibHeaderInfo");
    FileBytes raw = kept_in(*fields, "_more");
    const size_t count = raw.size() >= 16 ? 4 : 3;
    if (raw.size() < 12) {
        raw = kept_in(bitmap, "Colors");
    }
    std::vector<uint32_t> masks;
    for (size_t i = 0; i < count; ++i) {
        const bool known = raw.size() >= 4 * i + 4;
        const uint32_t color = i < colors.size() ? colors[i] & 0xFFFFFF : 0;
        masks.push_back(known ? static_cast<uint32_t>(read_number(FileView(raw).subspan(4 * i, 4))) : color);
    }
    return masks;
}

// The bitmap as a BMP file with the usual header.
FileBytes bmp_file(const ManagedObject& bitmap, const DibHeader& header, const DibReading& reading) {
    std::vector<Argb> colors = colors_in(bitmap, "Colors");
    FileBytes table;
    if (header.compression == kBitFields) {
        for (const uint32_t mask : masks_of(bitmap, colors)) {
            append_number(table, mask, 4);
        }
        table.resize(12);
    } else if (header.bits <= 8) {
        const size_t most = size_t{1} << header.bits;
        colors.resize(std::min(colors.size(), most));
        if (reading.two_colors) {
            colors = {kBlack, kWhite};
        } else if (reading.usage == 1) {
            for (Argb& color : colors) {
                color = color < reading.palette.size() ? reading.palette[color] : kBlack;
            }
        }
        colors.resize(most, kBlack);
        for (const Argb color : colors) {
            append_number(table, color & 0xFFFFFF, 4);
        }
    }
    constexpr size_t kFileHeader = 14, kInfoHeader = 40;
    const FileBytes data = bytes_in(bitmap, "AData");
    const size_t pixels_at = kFileHeader + kInfoHeader + table.size();
    FileBytes file{'B', 'M'};
    append_number(file, pixels_at + data.size(), 4);
    append_number(file, 0, 4);
    append_number(file, pixels_at, 4);
    append_number(file, kInfoHeader, 4);
    append_number(file, static_cast<uint64_t>(header.width), 4);
    append_number(file, static_cast<uint64_t>(header.top_down ? -header.height : header.height), 4);
    append_number(file, 1, 2);
    append_number(file, static_cast<uint64_t>(header.bits), 2);
    append_number(file, static_cast<uint64_t>(header.compression), 4);
    for (const uint64_t number :
         {data.size(), size_t{0}, size_t{0}, header.bits <= 8 ? table.size() / 4 : 0, size_t{0}}) {
        append_number(file, number, 4);
    }
    file.insert(file.end(), table.begin(), table.end());
    file.insert(file.end(), data.begin(), data.end());
    return file;
}

// Pixels of four bytes with alpha; the colors are multiplied by it in the file.
Pixels alpha_pixels(const ManagedObject& bitmap, const DibHeader& header) {
    const FileBytes data = bytes_in(bitmap, "AData");
    Pixels pixels{static_cast<int32_t>(header.width), static_cast<int32_t>(header.height), {}, false};
    const auto width = static_cast<size_t>(header.width), height = static_cast<size_t>(header.height);
    pixels.colors.resize(width * height);
    for (size_t y = 0; y < height; ++y) {
        const size_t row = header.top_down ? y : height - 1 - y;
        for (size_t x = 0; x < width; ++x) {
            const size_t at = (row * width + x) * 4;
            if (at + 4 > data.size()) {
                break;
            }
            const uint32_t alpha = data[at + 3];
            Argb color = alpha << 24;
            for (size_t channel = 0; channel < 3 && alpha != 0; ++channel) {
                const uint32_t straight = std::min<uint32_t>((data[at + channel] * 255U + alpha / 2) / alpha, 255);
                color |= straight << 8 * channel;
            }
            pixels.colors[y * width + x] = color;
        }
    }
    return pixels;
}

}  // namespace

Pixels file_pixels(std::span<const uint8_t> file) {
    imagework::DecodeOptions options;
    options.recovery = imagework::Recovery::kMaximal;
    options.background = imagework::kBlack;
    const std::unique_ptr<imagework::Picture> picture = image_backend().decode(file, options);
    Pixels pixels{picture->width(), picture->height(), {}, false};
    pixels.colors.resize(static_cast<size_t>(pixels.width) * static_cast<size_t>(pixels.height));
    picture->read_argb({0, 0, pixels.width, pixels.height}, pixels.colors);
    return pixels;
}

bool is_top_down(const ManagedObject& bitmap) {
    return header_of(bitmap).top_down;
}

Pixels dib_pixels(const ManagedObject* bitmap, const DibReading& reading) {
    if (bitmap == nullptr) {
        return {};
    }
    DibHeader header = header_of(*bitmap);
    if (reading.rows >= 0 && header.compression != kJpeg && header.compression != kPng) {
        header.height = std::min(header.height, reading.rows);
    }
    if (header.width <= 0 || header.height == 0) {
        return {};
    }
    if (header.compression == kJpeg || header.compression == kPng) {
        return file_pixels(bytes_in(*bitmap, "AData"));
    }
    // A row of runs may be longer than its bytes; all others are compared with the bytes that are there.
    const auto data = static_cast<int64_t>(bytes_in(*bitmap, "AData").size());
    const bool runs = header.compression == kRuns8 || header.compression == kRuns4;
    const int64_t row = (header.width * std::max<int64_t>(header.bits, 1) + 31) / 32 * 4;
    if (data == 0 || header.width > kMostPixels || header.height > kMostPixels / header.width ||
        (!runs && row > data)) {
        return {};
    }
    constexpr int64_t kMostMissing = int64_t{1} << 24;
    if (!runs && row * header.height > data && header.width * header.height > kMostMissing) {
        return {};
    }
    if (reading.keeps_alpha && header.bits == 32) {
        return alpha_pixels(*bitmap, header);
    }
    Pixels pixels = file_pixels(bmp_file(*bitmap, header, reading));
    pixels.mono = header.bits == 1;
    return pixels;
}

Pixels old_bitmap_pixels(const ManagedObject& bitmap, const FileBytes& bits) {
    const int64_t width = whole_in(bitmap, "Width"), height = whole_in(bitmap, "Height");
    const int64_t depth = whole_in(bitmap, "BitsPixel"), stride = whole_in(bitmap, "WidthBytes");
    if (width <= 0 || height <= 0 || stride <= 0 || (depth != 1 && depth != 24 && depth != 32) ||
        (width * depth + 7) / 8 > stride || static_cast<int64_t>(bits.size()) < stride) {
        return {};
    }
    const int64_t rows = std::min<int64_t>(height, static_cast<int64_t>(bits.size()) / stride);
    Pixels pixels{static_cast<int32_t>(width), static_cast<int32_t>(rows), {}, depth == 1};
    for (int64_t y = 0; y < rows; ++y) {
        const uint8_t* row = bits.data() + y * stride;
        for (int64_t x = 0; x < width; ++x) {
            if (depth == 1) {
                pixels.colors.push_back(row[x / 8] >> (7 - x % 8) & 1 ? kWhite : kBlack);
                continue;
            }
            const uint8_t* pixel = row + x * depth / 8;
            pixels.colors.push_back(kBlack | static_cast<Argb>(pixel[2] << 16 | pixel[1] << 8 | pixel[0]));
        }
    }
    return pixels;
}

}  // namespace zelmor::embed::metafile
