// Pictures of all forms and the files of them; see own_files.h.
#include "tests/fuzz/own_files.h"

#include <stdexcept>

#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "tests/fuzz/trial.h"

namespace zelmor::fuzz {
namespace {

using namespace imagework;

constexpr int32_t kWidth = 37;
constexpr int32_t kHeight = 29;

template <class T>
void put(std::vector<uint8_t>& samples, T number) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&number);
    samples.insert(samples.end(), bytes, bytes + sizeof number);
}

// A number from 0 to 255, as a sample of the form.
void put_sample(std::vector<uint8_t>& samples, const PixelForm& form, uint8_t number) {
    switch (form.sample) {
        case SampleType::kUint16:
            return put(samples, static_cast<uint16_t>(number * 257));
        case SampleType::kFloat:
            return put(samples, static_cast<float>(number) / 256);
        case SampleType::kDouble:
            return put(samples, static_cast<double>(number) / 256);
        default:
            return put(samples, form.color == ColorModel::kIndexed ? static_cast<uint8_t>(number % (1U << form.bits))
                                : form.bits == 1                   ? static_cast<uint8_t>(number < 128 ? 0 : 255)
                                                                   : number);
    }
}

// Soft colors with some noise, so that all of an encoder's ways occur.
std::unique_ptr<Picture> drawn(const PixelForm& form, int number = 0) {
    std::vector<Argb> palette;
    for (uint32_t i = 0; form.color == ColorModel::kIndexed && i < 1U << form.bits; ++i) {
        palette.push_back((i == 1 ? 0 : 0xFF000000) | (i * 0x3F1D0B & 0xFFFFFF));
    }
    auto picture = backend().create(kWidth, kHeight, form, kBlack, palette);
    Lots lots(7, static_cast<uint64_t>(number));
    std::vector<uint8_t> samples;
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 0; x < kWidth; ++x) {
            for (int32_t band = 0; band < form.bands(); ++band) {
                const auto noise = static_cast<int32_t>(lots.one_in(8) ? lots.below(32) : 0);
                put_sample(samples, form, static_cast<uint8_t>(x * (6 - band) + y * (3 + band) + noise));
            }
        }
    }
    picture->write_samples({0, 0, kWidth, kHeight}, form.pixel_size() * kWidth, samples);
    return picture;
}

std::vector<uint8_t> written(const Picture& picture, FormatEncoding format) {
    Encoding encoding;
    encoding.format = std::move(format);
    const EncodedBytes encoded = picture.encode(encoding);
    return {encoded.bytes().begin(), encoded.bytes().end()};
}

std::vector<uint8_t> frames_of(const std::vector<PixelForm>& forms, FormatEncoding format) {
    Encoding encoding;
    encoding.format = std::move(format);
    std::vector<std::unique_ptr<Picture>> pictures;
    std::vector<FrameToWrite> frames;
    for (const PixelForm& form : forms) {
        pictures.push_back(drawn(form, static_cast<int>(pictures.size())));
        frames.push_back({pictures.back().get(), 70, &encoding});
    }
    const EncodedBytes encoded = backend().encode_frames(frames);
    return {encoded.bytes().begin(), encoded.bytes().end()};
}

TiffEncoding tiff(TiffCompression compression, TiffDifferencing predictor = TiffDifferencing::kNone) {
    TiffEncoding encoding;
    encoding.compression = compression;
    encoding.predictor = predictor;
    return encoding;
}

}  // namespace

std::vector<NamedFile> own_files() {
    const PixelForm bilevel{ColorModel::kGray, SampleType::kUint8, 1};
    const PixelForm gray{ColorModel::kGray};
    const PixelForm gray16{ColorModel::kGray, SampleType::kUint16, 16, true};
    const PixelForm rgb{};
    const PixelForm rgb16{ColorModel::kRgb, SampleType::kUint16, 16};
    const PixelForm rgba{ColorModel::kRgb, SampleType::kUint8, 8, true};
    const PixelForm rgba16{ColorModel::kRgb, SampleType::kUint16, 16, true};
    const PixelForm cmyk{ColorModel::kCmyk};
    const PixelForm lab{ColorModel::kLab};
    const PixelForm indexed1{ColorModel::kIndexed, SampleType::kUint8, 1};
    const PixelForm indexed4{ColorModel::kIndexed, SampleType::kUint8, 4};
    const PixelForm indexed8{ColorModel::kIndexed};
    const PixelForm half{ColorModel::kRgb, SampleType::kFloat, 16};
    const PixelForm floating{ColorModel::kGray, SampleType::kFloat, 32};
    const PixelForm real{ColorModel::kRgb, SampleType::kDouble, 64};

    std::vector<NamedFile> files;
    const auto add = [&](const char* name, const PixelForm& form, FormatEncoding format) {
        try {
            files.push_back({name, written(*drawn(form), std::move(format))});
        } catch (const PictureError& error) {
            throw std::runtime_error(std::string(name) + ": " + error.what());
        }
    };
    add("bmp-1", indexed1, BmpEncoding{1});
    add("bmp-4", indexed4, BmpEncoding{4});
    add("bmp-8", indexed8, BmpEncoding{8});
    add("bmp-rle8", indexed8, BmpEncoding{8, BmpCompression::kRle8});
    add("bmp-rle4", indexed4, BmpEncoding{4, BmpCompression::kRle4});
    add("bmp-16-masks", rgb, BmpEncoding{16, BmpCompression::kBitFields});
    add("bmp-24", rgb, BmpEncoding{24});
    add("bmp-32-masks", rgba, BmpEncoding{32, BmpCompression::kBitFields});

    add("gif-8", indexed8, GifEncoding{});
    add("gif-4-interlaced", indexed4, GifEncoding{4, true});
    files.push_back({"gif-animation", frames_of({indexed8, indexed4, indexed8, indexed1}, GifEncoding{})});

    add("jpeg-baseline", rgb, JpegEncoding{});
    add("jpeg-progressive", rgb, JpegEncoding{85, true});
    add("jpeg-gray", gray, JpegEncoding{60, false, JpegColor::kGray});
    add("jpeg-cmyk", cmyk, JpegEncoding{75, false, JpegColor::kCmyk});
    add("jpeg-cmyk-progressive", cmyk, JpegEncoding{75, true, JpegColor::kCmyk});

    JpegEncoding lossless;
    lossless.is_lossless = true;
    add("jpeg-lossless", rgb, lossless);
    add("jpeg-lossless-cmyk", cmyk, lossless);
    lossless.bits = 12;
    add("jpeg-lossless-12", gray16, lossless);

    add("png-gray-1", bilevel, PngEncoding{});
    add("png-gray", gray, PngEncoding{});
    add("png-gray-alpha-16", gray16, PngEncoding{});
    add("png-indexed-4", indexed4, PngEncoding{});
    add("png-indexed-8-interlaced", indexed8, {PngEncoding{PngColor::kAuto, 0, true}});
    add("png-rgb", rgb, PngEncoding{});
    add("png-rgb-16", rgb16, PngEncoding{});
    add("png-rgba-interlaced", rgba, {PngEncoding{PngColor::kAuto, 0, true}});
    add("png-rgba-16", rgba16, PngEncoding{});
    files.push_back({"png-animation", frames_of({rgba, rgba, rgba}, PngEncoding{})});

    add("tiff-none", rgb, tiff(TiffCompression::kNone));
    add("tiff-lzw-predictor", rgb16, tiff(TiffCompression::kLzw, TiffDifferencing::kHorizontal));
    add("tiff-deflate-float", floating, tiff(TiffCompression::kDeflate, TiffDifferencing::kFloatingPoint));
    add("tiff-packbits-half", half, tiff(TiffCompression::kPackBits));
    add("tiff-double", real, tiff(TiffCompression::kNone));
    add("tiff-fax4", bilevel, tiff(TiffCompression::kFax4));
    add("tiff-fax3", bilevel, tiff(TiffCompression::kFax3));
    add("tiff-rle", bilevel, tiff(TiffCompression::kCcittRle));
    add("tiff-jpeg", rgb, tiff(TiffCompression::kJpeg));
    add("tiff-zstd-cmyk", cmyk, tiff(TiffCompression::kZstd));
    add("tiff-lzma-lab", lab, tiff(TiffCompression::kLzma));
    add("tiff-indexed", indexed8, tiff(TiffCompression::kLzw));
    TiffEncoding tiles = tiff(TiffCompression::kDeflate);
    tiles.tile_width = tiles.tile_height = 16;
    tiles.big_endian = true;
    add("tiff-tiles", rgba, tiles);
    tiles.separate_planes = true;
    tiles.big_tiff = true;
    add("tiff-planes-big", rgba16, tiles);
    files.push_back({"tiff-pages", frames_of({rgb, rgb, rgb, rgb}, tiff(TiffCompression::kLzw))});

    add("webp-lossy", rgb, WebpEncoding{});
    add("webp-lossy-alpha", rgba, WebpEncoding{});
    add("webp-lossless", rgba, WebpEncoding{true});
    files.push_back({"webp-animation", frames_of({rgba, rgba, rgba}, WebpEncoding{})});
    return files;
}

}  // namespace zelmor::fuzz
