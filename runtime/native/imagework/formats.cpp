// Names and defaults of the formats, and the limit on the size of a picture.
#include "runtime/native/imagework/formats.h"

#include <cassert>
#include <cstdint>
#include <string>
#include <utility>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/memory_budget.h"

namespace zelmor::imagework {

FormatEncoding::FormatEncoding() noexcept = default;
FormatEncoding::FormatEncoding(BmpEncoding settings) : AnyEncoding(settings) {}
FormatEncoding::FormatEncoding(GifEncoding settings) : AnyEncoding(settings) {}
FormatEncoding::FormatEncoding(JpegEncoding settings) : AnyEncoding(std::move(settings)) {}
FormatEncoding::FormatEncoding(PngEncoding settings) : AnyEncoding(settings) {}
FormatEncoding::FormatEncoding(TiffEncoding settings) : AnyEncoding(std::move(settings)) {}
FormatEncoding::FormatEncoding(WebpEncoding settings) : AnyEncoding(settings) {}
FormatEncoding::FormatEncoding(const FormatEncoding& other) = default;
FormatEncoding::FormatEncoding(FormatEncoding&& other) noexcept = default;
FormatEncoding& FormatEncoding::operator=(const FormatEncoding& other) = default;
FormatEncoding& FormatEncoding::operator=(FormatEncoding&& other) noexcept = default;
FormatEncoding::~FormatEncoding() = default;

const char* format_name(Format format) {
    switch (format) {
        case Format::kBmp:
            return "BMP";
        case Format::kGif:
            return "GIF";
        case Format::kJpeg:
            return "JPEG";
        case Format::kPng:
            return "PNG";
        case Format::kTiff:
            return "TIFF";
        case Format::kWebp:
            return "WebP";
        case Format::kUnknown:
            break;
    }
    return "unknown format";
}

Encoding default_encoding(Format format) {
    Encoding encoding;
    switch (format) {
        case Format::kBmp:
            encoding.format = BmpEncoding{};
            break;
        case Format::kGif:
            encoding.format = GifEncoding{};
            break;
        case Format::kJpeg:
            encoding.format = JpegEncoding{};
            break;
        case Format::kPng:
            encoding.format = PngEncoding{};
            break;
        case Format::kTiff:
            encoding.format = TiffEncoding{};
            break;
        case Format::kWebp:
            encoding.format = WebpEncoding{};
            break;
        case Format::kUnknown:
            throw PictureError(Failure::kUnsupported, "there is no such format to save to");
    }
    return encoding;
}

Format format_of(const Encoding& encoding) {
    // In the order of the variant's alternatives.
    static constexpr Format kFormats[] = {Format::kBmp, Format::kGif,  Format::kJpeg,
                                          Format::kPng, Format::kTiff, Format::kWebp};
    static_assert(std::variant_size_v<AnyEncoding> == std::size(kFormats));
    return kFormats[encoding.format.index()];
}

namespace {

// Of the filters' widest pixels. The product with two sides stays below 2^63.
constexpr int kMostBytesPerPixel = static_cast<int>(limits::kSamplesOfPixel * sizeof(double));
static_assert(limits::kSide * limits::kSide <= INT64_MAX / kMostBytesPerPixel);

}  // namespace

void check_picture_size(int64_t width, int64_t height, int bytes_per_pixel) {
    using limits::kDecodedBytes;
    using limits::kSide;
    constexpr auto kMost = static_cast<int64_t>(kDecodedBytes);
    assert(bytes_per_pixel > 0 && bytes_per_pixel <= kMostBytesPerPixel);
    if (width > kSide || height > kSide || width * height * bytes_per_pixel > kMost) {
        throw PictureError(Failure::kTooLarge, "a picture of " + std::to_string(width) + " by " +
                                                   std::to_string(height) + " pixels is larger than the limit of " +
                                                   std::to_string(kMost) + " bytes or " + std::to_string(kSide) +
                                                   " pixels to a side");
    }
}

}  // namespace zelmor::imagework
