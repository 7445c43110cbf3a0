// Decoding of all formats. The format is found from the first bytes, never from a name, and only the one loader that
// belongs to it sees the data.
#include "runtime/native/imagework/vips/decode.h"

#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/imagework/codecs/bmp_codec.h"
#include "runtime/native/imagework/gif/gif_codec.h"
#include "runtime/native/imagework/jpeg/jpeg_codec.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/single_frame.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/png/png_codec.h"
#include "runtime/native/imagework/png/png_frames.h"
#include "runtime/native/imagework/probe/probe.h"
#include "runtime/native/imagework/tiff/tiff_pages.h"
#include "runtime/native/imagework/vips/deferred_rows.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

const char* loader_of(Format format) {
    switch (format) {
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

// Without what describes the picture: the runtime keeps that with the image, and writes it, or leaves it out when a
// program took it away. The library would write its own copy of it into every file.
VImage without_descriptions(const VImage& image) {
    VImage result = image.copy();
    const std::unique_ptr<char*, void (*)(char**)> fields(vips_image_get_fields(image.get_image()), g_strfreev);
    for (char** name = fields.get(); *name != nullptr; ++name) {
        const std::string field = *name;
        const bool describes = field.starts_with("exif-") || field.starts_with("png-comment-") ||
                               field == VIPS_META_XMP_NAME || field == VIPS_META_IPTC_NAME ||
                               field == VIPS_META_PHOTOSHOP_NAME || field == VIPS_META_IMAGEDESCRIPTION;
        if (describes) {
            result.remove(*name);
        }
    }
    return result;
}

// What the options and the header's palette make of a decoded picture.
std::unique_ptr<Picture> finished(std::unique_ptr<VipsPicture> picture, const FileFacts& facts,
                                  const DecodeOptions& options) {
    if (!facts.palette.empty() && picture->form().color != ColorModel::kIndexed && picture->has_only(facts.palette)) {
        picture->reduce(facts.palette, false);
    }
    if (facts.bits_per_pixel == 1 || facts.bits_per_pixel == 2 || facts.bits_per_pixel == 4) {
        picture->narrow_to(facts.bits_per_pixel);
    }
    picture->apply_profiles(options);
    picture->forget_changes();
    return picture;
}

std::unique_ptr<Picture> picture_of(const VImage& image, const FileFacts& facts, const DecodeOptions& options) {
    const int pixel = static_cast<int>(VIPS_IMAGE_SIZEOF_PEL(image.get_image()));
    check_picture_size(image.width(), image.height(), pixel);
    check_memory(options, image.width(), image.height(), pixel);
    return finished(std::make_unique<VipsPicture>(with_resolution(without_descriptions(image), facts.has_resolution),
                                                  frames_in(image)),
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
    return guarded(Failure::kDamaged, label(format, "is beyond recovery").c_str(), [&] {
        auto picture = recovered(data, facts, options);
        static_cast<VipsPicture&>(*picture).forget_changes();
        return picture;
    });
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

// What is said of damage in a frame of the format.
std::string damage_of(Format format, const DecodeOptions& options) {
    const bool recovers = options.recovery != Recovery::kNone && format == Format::kTiff;
    return label(format, recovers ? "has no complete row" : "is damaged or incomplete");
}

// Tells which format it was.
template <class Step>
auto labeled(const std::string& damage, Step&& step) -> decltype(step()) {
    try {
        return std::forward<Step>(step)();
    } catch (const PictureError& error) {
        if (error.kind() != Failure::kDamaged) {
            throw;
        }
        throw PictureError(Failure::kDamaged, damage + ": " + error.what());
    }
}

// The picture that programs show which know no animations.
SharedFrames open_still_png(const SharedSource& source, FileFacts facts, const DecodeOptions& options) {
    const PngReading reading{options.recovery != Recovery::kNone, options.recovery == Recovery::kMaximal};
    return std::make_shared<const SingleFrame>(std::move(facts), [=] { return open_png(source, reading); });
}

SharedFrames opened_frames(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options,
                           bool animates) {
    const bool lenient = options.recovery != Recovery::kNone;
    switch (facts.format) {
        case Format::kGif:
            return open_gif(source, lenient, options.memory);
        case Format::kJpeg:
            return open_jpeg(source, options.recovery, options.memory);
        case Format::kPng:
            return facts.is_apng && animates ? open_apng(source, lenient, options.memory)
                                             : open_still_png(source, facts, options);
        case Format::kTiff:
            return open_tiff(source, options);
        default:
            return nullptr;
    }
}

// A frame whose rows are not decoded yet, unless that is done by opening it. A recovery finds out what is lost.
std::unique_ptr<VipsPicture> opened_picture(const SharedFrames& frames, size_t index, const DecodeOptions& options,
                                            const std::string& damage) {
    auto reader = frames->open(index);
    const int count = static_cast<int>(std::min<size_t>(frames->count(), INT32_MAX));
    if (frames->composes() || options.recovery != Recovery::kNone) {
        return read_picture(*reader, options, count);
    }
    const RowsHeader header = reader->header();
    return std::make_unique<VipsPicture>(DeferredRows::of_frame(frames, index, std::move(reader), options, damage),
                                         header, count);
}

// The frames of an animation come below each other, each as large as the canvas, and are cut apart in that order.
std::vector<Frame> animation_frames(std::span<const uint8_t> data, const FileFacts& facts, const DecodeOptions& options,
                                    VipsFailOn fail_on) {
    const VImage strip = opened(data, facts.format, fail_on, 0, -1);
    const int height = strip.get_typeof("page-height") != 0 ? strip.get_int("page-height") : strip.height();
    check_memory(options, strip.width(), strip.height(), static_cast<int>(VIPS_IMAGE_SIZEOF_PEL(strip.get_image())));
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

}  // namespace

SharedFrames open_frames(const SharedSource& source, const DecodeOptions& options) {
    settle_after_fork();
    SourceBytes bytes(source);
    const FileFacts facts = probe(bytes);
    return labeled(damage_of(facts.format, {}), [&] { return opened_frames(source, facts, options, true); });
}

std::unique_ptr<Picture> decode_frame(const SharedFrames& frames, size_t index, const DecodeOptions& options) {
    settle_after_fork();
    const FrameHeader header = frames->header(index);
    const FileFacts& facts = header.facts;
    const std::string damage = damage_of(facts.format, options);
    return labeled(damage, [&] {
        auto picture = opened_picture(frames, index, options, damage);
        const bool covers = header.area == Rect{0, 0, picture->width(), picture->height()};
        const bool clear = header.control && header.control->transparent;
        if (options.recovery != Recovery::kNone && facts.format == Format::kGif && covers && !clear) {
            picture->flatten(options.background);  // no pixel of such a frame is transparent but what was lost
        }
        picture->apply_profiles(options);
        picture->forget_changes();
        picture->set_origin({frames, index});
        return std::unique_ptr<Picture>(std::move(picture));
    });
}

namespace {

// The data go with the caller.
std::unique_ptr<Picture> independent(std::unique_ptr<Picture> picture) {
    auto& own = static_cast<VipsPicture&>(*picture);
    own.image();
    own.set_origin({});
    return picture;
}

}  // namespace

std::vector<Frame> decode_frames(std::span<const uint8_t> data, const DecodeOptions& options) {
    settle_after_fork();
    const FileFacts facts = probe(data);
    const VipsFailOn fail_on = options.recovery == Recovery::kNone ? VIPS_FAIL_ON_ERROR : VIPS_FAIL_ON_NONE;
    const std::string what = label(facts.format, "is damaged or incomplete");
    return guarded(Failure::kDamaged, what.c_str(), [&] {
        std::vector<Frame> result;
        if (const SharedFrames frames = open_frames(borrowed_source(data), options)) {
            for (size_t i = 0; i < frames->count(); i++) {
                result.push_back({independent(decode_frame(frames, i, options)), frames->header(i).duration});
            }
        } else if (facts.format == Format::kWebp) {
            result = animation_frames(data, facts, options, fail_on);
        } else {
            result.push_back({decode(data, options), 0});
        }
        return result;
    });
}

std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options) {
    settle_after_fork();
    vips_error_clear();  // of what another picture was warned about
    const FileFacts facts = probe(data);
    require_decodable(facts, options);
    const SharedFrames frames = labeled(damage_of(facts.format, options),
                                        [&] { return opened_frames(borrowed_source(data), facts, options, false); });
    if (frames != nullptr) {
        return independent(decode_frame(frames, 0, options));
    }
    return facts.format == Format::kBmp ? decode_raster(data, facts, options) : decode_with_vips(data, facts, options);
}

}  // namespace zelmor::imagework
