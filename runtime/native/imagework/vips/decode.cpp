// Decoding of all formats. The format is found from the first bytes, never from a name, and only the one loader that
// belongs to it sees the data.
#include "runtime/native/imagework/vips/decode.h"

#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/imagework/codecs/bmp_codec.h"
#include "runtime/native/imagework/gif/gif_codec.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/png/png_codec.h"
#include "runtime/native/imagework/png/png_frames.h"
#include "runtime/native/imagework/probe/probe.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

const char* loader_of(Format format) {
    switch (format) {
        case Format::kJpeg:
            return "jpegload_buffer";
        case Format::kTiff:
            return "tiffload_buffer";
        case Format::kWebp:
            return "webpload_buffer";
        default:
            return nullptr;
    }
}

std::string label(Format format, const char* what) {
    return std::string("the ") + format_name(format) + " data " + what;
}

// Opens the data; pixels are decoded from top to bottom when they are asked for.
VImage opened(std::span<const uint8_t> data, Format format, VipsFailOn fail_on, int page = 0, int pages = 1) {
    VipsBlob* blob = vips_blob_new(nullptr, data.data(), data.size());
    VImage image;
    try {
        vips::VOption* options = VImage::option()
                                     ->set("buffer", blob)
                                     ->set("out", &image)
                                     ->set("access", VIPS_ACCESS_SEQUENTIAL)
                                     ->set("fail_on", fail_on);
        if (page != 0) {
            options->set("page", page);
        }
        if (pages != 1) {
            options->set("n", pages);
        }
        VImage::call(loader_of(format), options);
    } catch (...) {
        vips_area_unref(VIPS_AREA(blob));
        throw;
    }
    vips_area_unref(VIPS_AREA(blob));
    return image;
}

int frames_in(const VImage& image) {
    return image.get_typeof("n-pages") == 0 ? 1 : std::max(1, image.get_int("n-pages"));
}

// The library has a default of its own, which differs by format, for a file that says nothing about its resolution.
VImage with_resolution(const VImage& image, bool known) {
    if (known && (image.xres() != 1.0 || image.yres() != 1.0)) {
        return image;
    }
    return image.copy(VImage::option()
                          ->set("xres", dots_per_millimeter(kDefaultResolution.horizontal))
                          ->set("yres", dots_per_millimeter(kDefaultResolution.vertical)));
}

// What the options and the header's palette make of a decoded picture.
std::unique_ptr<Picture> finished(std::unique_ptr<VipsPicture> picture, const FileFacts& facts,
                                  const DecodeOptions& options) {
    if (!facts.palette.empty() && picture->form().color != ColorModel::kIndexed && picture->has_only(facts.palette)) {
        picture->reduce(facts.palette, false);
    }
    picture->apply_profiles(options);
    return picture;
}

std::unique_ptr<Picture> picture_of(const VImage& image, const FileFacts& facts, const DecodeOptions& options) {
    check_picture_size(image.width(), image.height(), static_cast<int>(VIPS_IMAGE_SIZEOF_PEL(image.get_image())));
    return finished(std::make_unique<VipsPicture>(with_resolution(image, facts.has_resolution), frames_in(image)),
                    facts, options);
}

// The number of complete rows at the top of damaged data.
int32_t intact_rows(std::span<const uint8_t> data, Format format) {
    int32_t rows = 0;
    try {
        VImage image = opened(data, format, VIPS_FAIL_ON_TRUNCATED);
        VipsRect strip{0, 0, image.width(), 1};
        VipsRegion* region = vips_region_new(image.get_image());
        while (strip.top < image.height() && vips_region_prepare(region, &strip) == 0) {
            rows = ++strip.top;
        }
        g_object_unref(region);
    } catch (const vips::VError&) {
        // The rows counted so far are the answer; the error was told by the first attempt.
    }
    vips_error_clear();
    return rows;
}

// The intact rows on a canvas of the whole size.
std::unique_ptr<Picture> top_rows(std::span<const uint8_t> data, const FileFacts& facts, const DecodeOptions& options) {
    int32_t rows = intact_rows(data, facts.format);
    if (rows == 0) {
        throw PictureError(Failure::kDamaged, label(facts.format, "has no complete row"));
    }
    VImage image = opened(data, facts.format, VIPS_FAIL_ON_NONE);
    int32_t width = image.width();
    int32_t height = image.height();
    auto picture = picture_of(image.extract_area(0, 0, width, rows), facts, options);
    if (rows < height) {
        picture->place(width, height, 0, 0, picture->has_alpha() ? options.background : options.background | kBlack);
    }
    return picture;
}

// What can be read of damaged data.
std::unique_ptr<Picture> recovered(std::span<const uint8_t> data, const FileFacts& facts,
                                   const DecodeOptions& options) {
    if (options.recovery == Recovery::kConsistent) {
        return top_rows(data, facts, options);
    }
    try {
        return picture_of(opened(data, facts.format, VIPS_FAIL_ON_NONE), facts, options);
    } catch (const vips::VError&) {
        vips_error_clear();
        return top_rows(data, facts, options);  // of a decoder that stops at the first damage
    }
}

std::unique_ptr<Picture> decode_with_vips(std::span<const uint8_t> data, const FileFacts& facts,
                                          const DecodeOptions& options) {
    Format format = facts.format;
    std::string text;
    try {
        return picture_of(opened(data, format, VIPS_FAIL_ON_ERROR), facts, options);
    } catch (const vips::VError& error) {
        text = take_vips_error(error);
    }
    if (options.recovery == Recovery::kNone) {
        throw PictureError(Failure::kDamaged, label(format, "is damaged or incomplete") + ": " + text);
    }
    return guarded(Failure::kDamaged, label(format, "is beyond recovery").c_str(),
                   [&] { return recovered(data, facts, options); });
}

std::unique_ptr<Picture> decode_raster(std::span<const uint8_t> data, const FileFacts& facts,
                                       const DecodeOptions& options) {
    Raster raster;
    try {
        raster = decode_bmp(data, options);
    } catch (const PictureError& error) {
        if (error.kind() != Failure::kDamaged) {
            throw;
        }
        throw PictureError(Failure::kDamaged, label(Format::kBmp, "is damaged or incomplete") + ": " + error.what());
    }
    Resolution resolution = raster.resolution.value_or(kDefaultResolution);
    return guarded(Failure::kInternal, "the decoded pixels could not be taken over", [&]() -> std::unique_ptr<Picture> {
        VImage image = VImage::new_from_memory(raster.pixels.data(), raster.pixels.size(), raster.width, raster.height,
                                               raster.bands, VIPS_FORMAT_UCHAR);
        VImage owned = VImage::new_memory();
        image
            .copy(VImage::option()
                      ->set("interpretation", raster.bands == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB)
                      ->set("xres", dots_per_millimeter(resolution.horizontal))
                      ->set("yres", dots_per_millimeter(resolution.vertical)))
            .write(owned);
        return finished(std::make_unique<VipsPicture>(owned), facts, options);
    });
}

// Pages of their own size each.
std::vector<Frame> tiff_pages(std::span<const uint8_t> data, const DecodeOptions& options, VipsFailOn fail_on) {
    const std::vector<FileFacts> facts = probe_pages(data);
    std::vector<Frame> frames;
    for (size_t page = 0; page < facts.size(); page++) {
        const VImage image = opened(data, Format::kTiff, fail_on, static_cast<int>(page));
        frames.push_back({picture_of(image, facts[page], options), 0});
    }
    return frames;
}

// The frames of an animation come below each other, each as large as the canvas, and are cut apart in that order.
std::vector<Frame> animation_frames(std::span<const uint8_t> data, const FileFacts& facts, const DecodeOptions& options,
                                    VipsFailOn fail_on) {
    const VImage strip = opened(data, facts.format, fail_on, 0, -1);
    const int height = strip.get_typeof("page-height") != 0 ? strip.get_int("page-height") : strip.height();
    const std::vector<int> delays = strip.get_typeof("delay") != 0 ? strip.get_array_int("delay") : std::vector<int>();
    std::vector<Frame> frames;
    for (int top = 0; top + height <= strip.height(); top += height) {
        VImage frame = strip.extract_area(0, top, strip.width(), height).copy();
        frame.set("page-height", height);
        const size_t i = frames.size();
        frames.push_back({picture_of(frame, facts, options), i < delays.size() ? delays[i] : 0});
    }
    return frames;
}

// Tells which format it was.
template <class Step>
auto labeled(Format format, Step&& step) -> decltype(step()) {
    try {
        return std::forward<Step>(step)();
    } catch (const PictureError& error) {
        if (error.kind() != Failure::kDamaged) {
            throw;
        }
        throw PictureError(Failure::kDamaged, label(format, "is damaged or incomplete") + ": " + error.what());
    }
}

std::unique_ptr<Picture> decode_png(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options) {
    const PngReading reading{options.recovery != Recovery::kNone, options.recovery == Recovery::kMaximal};
    const auto reader = open_png(source, reading);
    const RowsHeader& header = reader->header();
    check_picture_size(header.width, header.height, static_cast<int>(header.form.pixel_size()));
    return finished(read_picture(*reader, options), facts, options);
}

std::vector<Frame> all_frames(const SharedFrames& frames, const DecodeOptions& options) {
    std::vector<Frame> result;
    for (size_t i = 0; i < frames->count(); i++) {
        result.push_back({decode_frame(frames, i, options), frames->header(i).duration});
    }
    return result;
}

}  // namespace

SharedFrames open_frames(const SharedSource& source, const DecodeOptions& options) {
    settle_after_fork();
    SourceBytes bytes(source);
    const FileFacts facts = probe(bytes);
    const bool lenient = options.recovery != Recovery::kNone;
    if (facts.format == Format::kGif) {
        return labeled(facts.format, [&]() -> SharedFrames { return open_gif(source, lenient, options.memory); });
    }
    if (facts.format == Format::kPng && facts.is_apng) {
        return labeled(facts.format, [&] { return open_apng(source, lenient, options.memory); });
    }
    return nullptr;
}

std::unique_ptr<Picture> decode_frame(const SharedFrames& frames, size_t index, const DecodeOptions& options) {
    settle_after_fork();
    const FileFacts facts = frames->header(index).facts;
    return labeled(facts.format, [&] {
        const auto reader = frames->open(index);
        auto picture = read_picture(*reader, options, static_cast<int>(frames->count()));
        picture->apply_profiles(options);
        picture->set_origin({frames, index});
        return std::unique_ptr<Picture>(std::move(picture));
    });
}

std::vector<Frame> decode_frames(std::span<const uint8_t> data, const DecodeOptions& options) {
    settle_after_fork();
    const FileFacts facts = probe(data);
    const VipsFailOn fail_on = options.recovery == Recovery::kNone ? VIPS_FAIL_ON_ERROR : VIPS_FAIL_ON_NONE;
    const std::string what = label(facts.format, "is damaged or incomplete");
    return guarded(Failure::kDamaged, what.c_str(), [&] {
        if (facts.format == Format::kTiff) {
            return tiff_pages(data, options, fail_on);
        }
        if (const SharedFrames found = open_frames(borrowed_source(data), options)) {
            std::vector<Frame> decoded = all_frames(found, options);
            for (Frame& frame : decoded) {
                static_cast<VipsPicture&>(*frame.picture).set_origin({});  // the data go with the caller
            }
            return decoded;
        }
        if (facts.format == Format::kWebp) {
            return animation_frames(data, facts, options, fail_on);
        }
        std::vector<Frame> frames;
        frames.push_back({decode(data, options), 0});
        return frames;
    });
}

std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options) {
    settle_after_fork();
    FileFacts facts = probe(data);
    require_decodable(facts, options);
    switch (facts.format) {
        case Format::kBmp:
            return decode_raster(data, facts, options);
        case Format::kGif: {
            auto picture = decode_frame(open_frames(borrowed_source(data), options), 0, options);
            static_cast<VipsPicture&>(*picture).set_origin({});  // the data go with the caller
            return picture;
        }
        case Format::kPng:
            return labeled(facts.format, [&] { return decode_png(borrowed_source(data), facts, options); });
        default:
            return decode_with_vips(data, facts, options);
    }
}

}  // namespace zelmor::imagework
