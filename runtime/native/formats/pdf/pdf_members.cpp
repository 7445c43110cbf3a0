// PDF in the API: save options. There are no images of PDF files: the format is written only, pictures by the codec
// (pdf_codec.cpp) and drawings by the drawing library.
#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Pdf.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/behaviors/images/counterparts.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/images/option_rules.h"
#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/pdf/archive_copy.h"
#include "runtime/native/formats/pdf/pdf_encoding.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

using api::PdfComplianceVersion;
using api::ImageOptions::PdfImageCompressionOptions;
using drawwork::Affine;

// Of the drawing library and of this runtime's own files: 96 pixels to the inch, 72 points.
constexpr double kPointsPerPixel = 72.0 / 96.0;
// Of a page that becomes a picture: a sheet of two by three feet.
constexpr int64_t kMostFlatPixels = 80'000'000;

constexpr Counterpart<PdfImageCompressionOptions, PdfCompression> kCompressions[] = {
    {PdfImageCompressionOptions::kAuto, PdfCompression::kAuto},
    {PdfImageCompressionOptions::kNone, PdfCompression::kNone},
    {PdfImageCompressionOptions::kRle, PdfCompression::kRunLength},
    {PdfImageCompressionOptions::kFlate, PdfCompression::kFlate},
    {PdfImageCompressionOptions::kLzwBaselinePredictor, PdfCompression::kLzw},
    {PdfImageCompressionOptions::kLzwOptimizedPredictor, PdfCompression::kLzwOptimized},
    {PdfImageCompressionOptions::kJpeg, PdfCompression::kJpeg},
    {PdfImageCompressionOptions::kCcitt3, PdfCompression::kGroup3},
    {PdfImageCompressionOptions::kCcitt4, PdfCompression::kGroup4},
};

constexpr Counterpart<PdfComplianceVersion, PdfCompliance> kStandards[] = {
    {PdfComplianceVersion::kPdf15, PdfCompliance::kNone},
    {PdfComplianceVersion::kPdfA1a, PdfCompliance::kA1a},
    {PdfComplianceVersion::kPdfA1b, PdfCompliance::kA1b},
};

std::string text_of(const ManagedObject& object, const char* property) {
    const auto text = property_string(object, property);
    return text ? to_utf8(*text) : std::string();
}

PdfInfo info_of(const ManagedObject& options) {
    PdfInfo info;
    if (const Ref<ManagedObject> given = property_object(options, "PdfDocumentInfo")) {
        info.title = text_of(*given, "Title");
        info.author = text_of(*given, "Author");
        info.subject = text_of(*given, "Subject");
        info.keywords = text_of(*given, "Keywords");
    }
    return info;
}

void take_core(const ManagedObject& core, PdfEncoding& pdf) {
    require_effective_options(core);
    const auto standard = property_enum<PdfComplianceVersion>(core, "PdfCompliance");
    const auto compliance = backend_value(kStandards, standard);
    if (!compliance) {
        throw_out_of_range("PdfCompliance", "The value " + std::to_string(number_of(standard)) + " of " +
                                                member_name(core, "PdfCompliance") + " is not one of its enumeration.");
    }
    pdf.compliance = *compliance;
    const auto wanted = property_enum<PdfImageCompressionOptions>(core, "Compression");
    const auto compression = backend_value(kCompressions, wanted);
    if (!compression) {
        throw_out_of_range("Compression", "The value " + std::to_string(number_of(wanted)) + " of " +
                                              member_name(core, "Compression") + " is not one of its enumeration.");
    }
    pdf.compression = *compression;
    if (pdf.is_archive() &&
        (pdf.compression == PdfCompression::kLzw || pdf.compression == PdfCompression::kLzwOptimized)) {
        throw_not_supported(member_name(core, "Compression") + " of LZW in PDF/A-1, which does not allow it,");
    }
    pdf.jpeg_quality = static_cast<int>(ranged(core, "JpegQuality", 1, 100));
}

PdfEncoding pdf_of(const ManagedObject& options) {
    PdfEncoding pdf;
    pdf.info = info_of(options);
    if (const Ref<ManagedObject> core = property_object(options, "PdfCoreOptions")) {
        take_core(*core, pdf);
    }
    if (const Ref<ManagedObject> page = property_object(options, "PageSize")) {
        const auto size = unbox<SizeFValue>(*page);
        for (const float side : {size.width, size.height}) {
            if (!std::isfinite(side) || side < 0) {
                throw_out_of_range("PageSize", "The value " + to_utf8(number_text(side)) + " of " +
                                                   member_name(options, "PageSize") + " is not a length.");
            }
        }
        pdf.page_width = size.width;
        pdf.page_height = size.height;
    }
    pdf.own_resolution =
        property_bool(options, "UseOriginalImageResolution") || property_object(options, "ResolutionSettings");
    return pdf;
}

// A new image that is to become a page.
NewPixels new_pixels(const FormatEncoding&) {
    return pixels_of(ColorModel::kRgb, false);
}

FormatEncoding settings_of(const ManagedObject& options) {
    return pdf_of(options);
}

Value text_value(const std::string& text) {
    return text.empty() ? Value(Ref<ManagedObject>()) : Value(to_utf16(text));
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& pdf = facts.encoding->get<PdfEncoding>();
    const Ref<ManagedObject> info = make_instance(api::FileFormats::Pdf::PdfDocumentInfo::kType.name);
    set_property(*info, "Title", text_value(pdf.info.title));
    set_property(*info, "Author", text_value(pdf.info.author));
    set_property(*info, "Subject", text_value(pdf.info.subject));
    set_property(*info, "Keywords", text_value(pdf.info.keywords));
    set_property(options, "PdfDocumentInfo", info);
    const Ref<ManagedObject> core = make_instance(api::FileFormats::Pdf::PdfCoreOptions::kType.name);
    set_property(*core, "Compression", *api_value(kCompressions, pdf.compression));
    set_property(*core, "JpegQuality", pdf.jpeg_quality);
    set_property(*core, "PdfCompliance", *api_value(kStandards, pdf.compliance));
    set_property(options, "PdfCoreOptions", core);
    set_property(options, "PageSize",
                 box(SizeFValue{static_cast<float>(pdf.page_width), static_cast<float>(pdf.page_height)}));
    set_property(options, "UseOriginalImageResolution", pdf.own_resolution);
}

void complete(const ImageObject& image, FormatEncoding& settings) {
    settings.get<PdfEncoding>().from_jpeg = image.facts().format == Format::kJpeg;
}

// A page as a picture without transparency, on white.
void draw_flat(const DrawnPage& page, const Affine& map, double width, double height, drawwork::Document& document) {
    constexpr double kDots = 300;
    const double scale = kDots / 72;
    const drawwork::PixelArea area{0, 0, static_cast<int32_t>(std::ceil(width * scale)),
                                   static_cast<int32_t>(std::ceil(height * scale))};
    if (static_cast<int64_t>(area.width) * area.height > kMostFlatPixels) {
        throw_not_supported("PDF/A-1 has no transparency, and a picture of a page as large as this one");
    }
    const auto canvas = drawing_backend().canvas(area, 0xFFFFFFFF);
    page.draw(*canvas, map.then(Affine::scaling(scale, scale)));
    drawwork::Paint paint;
    paint.kind = drawwork::Paint::Kind::kTexture;
    paint.pixels = canvas->pixels();
    paint.width = area.width;
    paint.height = area.height;
    paint.placing = Affine::scaling(1 / scale, 1 / scale);
    document.fill({rectangle_contour({0, 0, width, height})}, drawwork::FillRule::kWinding, paint, false);
}

// The page as large as the options say, with the drawing in the middle.
void write_page(const DrawnPage& page, const PdfEncoding& pdf, bool flat, drawwork::Document& document) {
    const double width = page.width * kPointsPerPixel;
    const double height = page.height * kPointsPerPixel;
    const double page_width = pdf.page_width > 0    ? pdf.page_width
                              : pdf.page_height > 0 ? pdf.page_height * width / height
                                                    : width;
    const double page_height = pdf.page_height > 0 ? pdf.page_height : page_width * height / width;
    const double scale = std::min(page_width / width, page_height / height);
    const Affine map =
        Affine::scaling(scale * kPointsPerPixel, scale * kPointsPerPixel)
            .then(Affine::translation((page_width - width * scale) / 2, (page_height - height * scale) / 2));
    document.page(page_width, page_height);
    flat ? draw_flat(page, map, page_width, page_height, document) : page.draw(document, map);
}

void write_document(std::span<const DrawnPage> pages, const PdfEncoding& pdf, bool flat, ByteSink& out) {
    const auto document =
        drawing_backend().pdf({pdf.info.title, pdf.info.author, pdf.info.subject, pdf.info.keywords}, out);
    for (const DrawnPage& page : pages) {
        write_page(page, pdf, flat, *document);
    }
    document->finish();
}

// For archives: pages of lines and text, or pictures of all pages where these need what PDF/A-1 does not have.
void write_archive(std::span<const DrawnPage> pages, const PdfEncoding& pdf, ByteSink& out) {
    for (const bool flat : {false, true}) {
        MemorySink bytes;
        write_document(pages, pdf, flat, bytes);
        if (const auto archive = archive_copy(bytes.take().bytes(), pdf.info, pdf.compliance)) {
            out.write({reinterpret_cast<const uint8_t*>(archive->data()), archive->size()});
            return;
        }
    }
    throw PictureError(Failure::kInternal, "a picture of a page has transparency");
}

void write_drawing(std::span<const DrawnPage> pages, const Record* options, const std::string&, ByteSink& out) {
    const PdfEncoding pdf = options != nullptr ? pdf_of(*options) : PdfEncoding{};
    if (pdf.compression != PdfCompression::kAuto && pdf.compression != PdfCompression::kFlate) {
        throw_not_supported("PdfCoreOptions.Compression other than AUTO and FLATE for pages of lines and text");
    }
    if (options != nullptr && property_object(*options, "ResolutionSettings")) {
        throw_not_supported("PdfOptions.ResolutionSettings for pages of lines and text");
    }
    for (const DrawnPage& page : pages) {
        if (!(page.width > 0) || !(page.height > 0)) {
            throw_invalid_operation("An image without a size cannot be a page.");
        }
    }
    pdf.is_archive() ? write_archive(pages, pdf, out) : write_document(pages, pdf, false, out);
}

constexpr FormatClasses kClasses[] = {
    {FileFormat::kPdf, Format::kPdf, "Pdf", api::RasterCachedImage::kType, api::ImageOptions::PdfOptions::kType,
     nullptr, true},
};

}  // namespace

extern const FormatMembers kPdfMembers;
const FormatMembers kPdfMembers{
    .format = Format::kPdf,
    .classes = kClasses,
    .settings = &settings_of,
    .fill_options = &fill_options,
    .new_pixels = &new_pixels,
    .complete = &complete,
    .has_pages = true,
    .write_drawing = &write_drawing,
};

}  // namespace zelmor::embed
