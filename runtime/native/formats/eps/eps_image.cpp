// Drawing EPS files, and converting them; see eps_image.h.
#include "runtime/native/formats/eps/eps_image.h"

#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/vector/rasterize.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/eps/eps_pixels.h"
#include "runtime/native/formats/eps/postscript_process.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/loader.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::embed {

using namespace imagework;
using drawwork::Affine;
using drawwork::RectD;

namespace {

constexpr double kPixelsOfPoint = 96.0 / 72;
// Dots per inch of a program that is drawn for a file of lines and text, and of a page that becomes an EPS file.
constexpr double kFineDots = 300;
constexpr const char* kSubject = "Cannot load the preview";

// Pixels that a program or a page may be drawn with at once.
constexpr double kMostPixels = static_cast<double>(limits::kCodecBytes) / sizeof(Argb);

Ref<ImageBase> image_of(std::span<const uint8_t> bytes) {
    return bytes.empty() ? nullptr : any_decoded_image({bytes.begin(), bytes.end()}, nullptr, kSubject);
}

uint8_t sample_at(const EpsPreview& preview, int32_t x, int32_t y) {
    const size_t row = (static_cast<size_t>(preview.width) * static_cast<size_t>(preview.depth) + 7) / 8;
    const size_t bit = static_cast<size_t>(x) * static_cast<size_t>(preview.depth);
    const uint8_t byte = preview.rows[static_cast<size_t>(y) * row + bit / 8];
    const int shift = 8 - preview.depth - static_cast<int>(bit % 8);
    const int most = (1 << preview.depth) - 1;
    return static_cast<uint8_t>(255 - (byte >> shift & most) * 255 / most);
}

// The picture on white, as a preview of 8 bits.
EpsPreview preview_of(const Picture& picture) {
    EpsPreview preview;
    preview.width = picture.width();
    preview.height = picture.height();
    preview.depth = 8;
    std::vector<Argb> row(static_cast<size_t>(preview.width));
    for (int32_t y = 0; y < preview.height; y++) {
        picture.read_argb({0, y, preview.width, 1}, row);
        for (const Argb color : row) {
            const double alpha = (color >> 24) / 255.0;
            const double gray = 0.299 * (color >> 16 & 0xFF) + 0.587 * (color >> 8 & 0xFF) + 0.114 * (color & 0xFF);
            preview.rows.push_back(static_cast<uint8_t>(std::lround((255 - gray) * alpha)));
        }
    }
    return preview;
}

// With the compression that every reader of the format knows; the others are extensions of it.
std::vector<uint8_t> as_tiff(const Picture& picture) {
    TiffEncoding settings;
    settings.compression = TiffCompression::kPackBits;
    Encoding encoding;
    encoding.format = settings;
    MemorySink sink;
    picture.encode(encoding, sink);
    const EncodedBytes file = sink.take();
    const auto bytes = file.bytes();
    return {bytes.begin(), bytes.end()};
}

}  // namespace

EpsDrawing::EpsDrawing(std::vector<uint8_t> file) : m_file(std::move(file)) {
    const ByteReader in(m_file);
    m_parts = eps_parts(in);
    if (!m_parts.has_header) {
        m_parts.text = {0, m_file.size()};
    }
    for (const EpsPart& part : {m_parts.text, m_parts.wmf, m_parts.tiff}) {
        if (!part.empty() && !in.has(part.at, part.size)) {
            throw PictureError(Failure::kDamaged, "a part of the EPS file lies outside of it");
        }
    }
    if (!in.starts_with(m_parts.text.at, "%!")) {
        throw PictureError(Failure::kDamaged, "the EPS file has no PostScript");
    }
    m_comments = eps_comments(in, m_parts.text);
    m_box = m_comments.shown();
}

RectD EpsDrawing::bounds() const {
    return {0, 0, (m_box.right - m_box.left) * kPixelsOfPoint, (m_box.top - m_box.bottom) * kPixelsOfPoint};
}

std::span<const uint8_t> EpsDrawing::bytes(const EpsPart& part) const {
    return std::span(m_file).subspan(part.at, part.size);
}

std::string_view EpsDrawing::text() const {
    const auto part = bytes(m_parts.text);
    return {reinterpret_cast<const char*>(part.data()), part.size()};
}

Ref<ImageBase> EpsDrawing::tiff_preview() const {
    return image_of(m_parts.tiff.empty() ? std::span<const uint8_t>() : bytes(m_parts.tiff));
}
Ref<ImageBase> EpsDrawing::wmf_preview() const {
    return image_of(m_parts.wmf.empty() ? std::span<const uint8_t>() : bytes(m_parts.wmf));
}
Ref<ImageBase> EpsDrawing::thumbnail() const {
    return image_of(eps_thumbnail(text()));
}

Ref<ImageBase> EpsDrawing::text_preview() const {
    const auto preview = eps_preview(text());
    if (!preview) {
        return nullptr;
    }
    auto picture = image_backend().create(preview->width, preview->height, false, true, kWhite);
    std::vector<Argb> row(static_cast<size_t>(preview->width));
    for (int32_t y = 0; y < preview->height; y++) {
        for (int32_t x = 0; x < preview->width; x++) {
            row[static_cast<size_t>(x)] = 0xFF000000 | uint32_t{0x010101} * sample_at(*preview, x, y);
        }
        picture->write_argb({0, y, preview->width, 1}, row);
    }
    FileFacts facts;
    facts.readable = true;
    facts.width = preview->width;
    facts.height = preview->height;
    facts.bits_per_pixel = 8;
    return Ref<ImageBase>(make_ref<ImageObject>(std::move(picture), std::move(facts)));
}

void EpsDrawing::draw_preview(ImageBase& preview, drawwork::Canvas& canvas, const Affine& placing,
                              const DrawSettings& settings) const {
    const RectD page = bounds();
    if (auto* vector = dynamic_cast<VectorImageObject*>(&preview); vector != nullptr) {
        const RectD box = vector->drawing() != nullptr ? vector->drawing()->bounds() : RectD{};
        if (box.width > 0 && box.height > 0) {
            vector->drawing()->draw(canvas,
                                    Affine::translation(-box.x, -box.y)
                                        .then(Affine::scaling(page.width / box.width, page.height / box.height))
                                        .then(placing),
                                    settings);
        }
        return;
    }
    auto& raster = cast_object<ImageObject>(preview);
    drawwork::Paint paint;
    paint.kind = drawwork::Paint::Kind::kTexture;
    paint.width = raster.image_width();
    paint.height = raster.image_height();
    if (double{static_cast<double>(paint.width)} * paint.height > kMostPixels) {
        throw PictureError(Failure::kTooLarge, "the preview of the EPS file has too many pixels");
    }
    paint.pixels.resize(static_cast<size_t>(paint.width) * static_cast<size_t>(paint.height));
    raster.picture().read_argb({0, 0, paint.width, paint.height}, paint.pixels);
    paint.placing = Affine::scaling(page.width / paint.width, page.height / paint.height).then(placing);
    canvas.fill(transformed({rectangle_contour(page)}, placing), drawwork::FillRule::kAlternate, paint,
                settings.smooth);
}

void EpsDrawing::draw_program(drawwork::Canvas& canvas, const Affine& placing, const DrawSettings& settings) {
    const RectD page = bounds();
    // Pixels of the page across and down: those of the canvas, where it has any.
    const bool has_pixels = dynamic_cast<drawwork::PixelCanvas*>(&canvas) != nullptr;
    double across = has_pixels ? std::hypot(placing.m11, placing.m12) : kFineDots / 96;
    double down = has_pixels ? std::hypot(placing.m21, placing.m22) : kFineDots / 96;
    const double pixels = across * page.width * down * page.height;
    if (!(pixels > 0)) {
        return;
    }
    if (pixels > kMostPixels) {
        const double less = std::sqrt(kMostPixels / pixels);
        across *= less;
        down *= less;
    }
    const auto width = static_cast<int32_t>(std::max(1.0, std::ceil(page.width * across - 1e-4)));
    const auto height = static_cast<int32_t>(std::max(1.0, std::ceil(page.height * down - 1e-4)));
    // A pixel of the drawing is one of the canvas, so that none is mixed of others: where the page ends within a pixel,
    // the drawing goes on to its end. Its left top corner is that of the page.
    const PostScriptPage wanted{.width = width,
                                .height = height,
                                .dots_across = across * 96,
                                .dots_down = down * 96,
                                .left = m_box.left,
                                .bottom = m_box.bottom - (height / down - page.height) * 72 / 96,
                                .smooth = settings.smooth,
                                .smooth_text = settings.smooth_text};
    if (m_drawn.page != wanted) {
        const auto program = bytes(m_parts.text);
        const std::vector<uint8_t> png = drawn_postscript(program, wanted);
        const auto picture = image_backend().decode(png, {});
        if (picture->width() != width || picture->height() != height) {
            throw PictureError(Failure::kDamaged, "the PostScript program draws a page of another size");
        }
        m_drawn = {wanted, std::vector<Argb>(static_cast<size_t>(width) * static_cast<size_t>(height))};
        picture->read_argb({0, 0, width, height}, m_drawn.pixels);
    }
    drawwork::Paint paint;
    paint.kind = drawwork::Paint::Kind::kTexture;
    paint.pixels = m_drawn.pixels;
    paint.width = width;
    paint.height = height;
    paint.placing = Affine::scaling(1 / across, 1 / down).then(placing);
    canvas.fill(transformed({rectangle_contour(page)}, placing), drawwork::FillRule::kAlternate, paint,
                settings.smooth);
}

void EpsDrawing::draw(drawwork::Canvas& canvas, const Affine& placing, const DrawSettings& settings) {
    EpsPreviewFormat format = shown;
    if (settings.options && has_property(*settings.options, "PreviewToExport")) {
        const auto wanted = static_cast<EpsPreviewFormat>(property_int(*settings.options, "PreviewToExport"));
        format = wanted != EpsPreviewFormat::kDefault ? wanted : format;
    }
    Ref<ImageBase> preview;
    switch (format) {
        case EpsPreviewFormat::kTiff:
            preview = m_parts.has_header ? tiff_preview() : text_preview();
            break;
        case EpsPreviewFormat::kWmf:
            preview = wmf_preview();
            break;
        case EpsPreviewFormat::kPhotoshopThumbnail:
            preview = thumbnail();
            break;
        case EpsPreviewFormat::kDefault:
        case EpsPreviewFormat::kPostScriptRendering:
            draw_program(canvas, placing, settings);
            return;
        default:
            throw_not_supported("PreviewToExport " + std::to_string(static_cast<int>(format)));
    }
    if (!preview) {
        throw_invalid_operation("The EPS file has no preview of the kind that PreviewToExport asks for.");
    }
    draw_preview(*preview, canvas, placing, settings);
}

Ref<VectorImageObject> eps_image(std::vector<uint8_t> file) {
    auto drawing = std::make_shared<EpsDrawing>(std::move(file));
    const TypeName& type = drawing->parts().has_header ? api::FileFormats::Eps::EpsBinaryImage::kType
                                                       : api::FileFormats::Eps::EpsInterchangeImage::kType;
    const RectD size = drawing->bounds();
    return make_ref<VectorImageObject>(require_type(type.name), std::move(drawing), size.width, size.height);
}

std::vector<uint8_t> eps_as_binary(const EpsDrawing& drawing) {
    if (drawing.parts().has_header) {
        return drawing.file();
    }
    std::vector<uint8_t> tiff;
    if (const Ref<ImageBase> preview = drawing.text_preview()) {
        tiff = as_tiff(cast_object<ImageObject>(*preview).picture());
    }
    const std::string text = without_preview(drawing.text());
    return eps_with_header(std::span(reinterpret_cast<const uint8_t*>(text.data()), text.size()), {}, tiff);
}

std::vector<uint8_t> eps_as_interchange(const EpsDrawing& drawing) {
    if (!drawing.parts().has_header) {
        return drawing.file();
    }
    std::string text(drawing.text());
    if (const Ref<ImageBase> preview = drawing.tiff_preview()) {
        text = with_preview(without_preview(text), preview_of(cast_object<ImageObject>(*preview).picture()));
    }
    return {text.begin(), text.end()};
}

std::vector<uint8_t> eps_of_page(const DrawnPage& page, imagework::Resolution resolution, bool with_header) {
    // Pictures keep their pixels; drawings become fine ones. What is transparent becomes white paper.
    std::unique_ptr<Picture> drawn;
    const Picture* picture = page.picture;
    if (picture == nullptr) {
        double scale = kFineDots / 96;
        const double pixels = page.width * scale * page.height * scale;
        if (pixels > kMostPixels) {
            scale *= std::sqrt(kMostPixels / pixels);
        }
        DrawnPage fine = page;
        fine.width *= scale;
        fine.height *= scale;
        fine.placing = page.placing.then(Affine::scaling(scale, scale));
        if (fine.background >> 24 != 0xFF) {
            fine.background = kWhite;
        }
        drawn = picture_of(fine, nullptr);
        picture = drawn.get();
    }
    const bool gray = picture->is_gray();
    const int32_t width = picture->width();
    const int32_t height = picture->height();
    const Argb paper = page.background >> 24 == 0xFF ? page.background : kWhite;
    const auto number = [](double value) {
        char text[32];
        std::snprintf(text, sizeof text, "%.4f", value);
        return std::string(text);
    };
    constexpr double kPointsPerInch = 72;
    const double wide = page.width * kPointsPerInch / resolution.horizontal;
    const double high = page.height * kPointsPerInch / resolution.vertical;
    const std::string w = std::to_string(width), h = std::to_string(height);
    const std::string head =
        "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 " + std::to_string(std::lround(std::ceil(wide - 1e-4))) + ' ' +
        std::to_string(std::lround(std::ceil(high - 1e-4))) + "\n%%HiResBoundingBox: 0 0 " + number(wide) + ' ' +
        number(high) + "\n%%LanguageLevel: 2\n%%Pages: 1\n%%EndComments\n%%Page: 1 1\ngsave\n" + number(wide) + ' ' +
        number(high) + " scale\n" + (gray ? "/DeviceGray" : "/DeviceRGB") + " setcolorspace\n<< /ImageType 1 /Width " +
        w + " /Height " + h + " /BitsPerComponent 8 /Decode " + (gray ? "[0 1]" : "[0 1 0 1 0 1]") + " /ImageMatrix [" +
        w + " 0 0 -" + h + " 0 " + h +
        "]\n/DataSource currentfile /ASCII85Decode filter /RunLengthDecode filter >> image\n";
    std::vector<uint8_t> bytes(head.begin(), head.end());
    {
        const std::string pixels = eps_pixels(*picture, gray, paper) + "grestore\nshowpage\n%%EOF\n";
        bytes.insert(bytes.end(), pixels.begin(), pixels.end());
    }
    if (with_header) {
        return eps_with_header(bytes, {}, as_tiff(*picture));
    }
    return bytes;
}

}  // namespace zelmor::embed
