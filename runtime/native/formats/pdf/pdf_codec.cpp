// Writing PDF: the picture is brought to a form that the format has, and its rows go to the writer.
#include <algorithm>
#include <optional>
#include <vector>

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/pdf/jpeg_copy.h"
#include "runtime/native/formats/pdf/pdf_archive.h"
#include "runtime/native/formats/pdf/pdf_encoding.h"
#include "runtime/native/formats/pdf/pdf_writer.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

bool is_opaque_pdf(std::span<const Argb> palette) {
    return std::all_of(palette.begin(), palette.end(), [](Argb color) { return color >> 24 == 0xFF; });
}

// Black and white.
void to_bilevel(VipsPicture& picture, const Encoding& encoding) {
    picture.lose_alpha(encoding);
    PixelForm form;
    form.color = ColorModel::kGray;
    form.bits = 1;
    picture.to_form(form);
}

void to_page_form(VipsPicture& picture, const PdfEncoding& pdf, const Encoding& encoding) {
    if (pdf.compression == PdfCompression::kGroup3 || pdf.compression == PdfCompression::kGroup4) {
        return to_bilevel(picture, encoding);
    }
    if (pdf.is_archive()) {
        // PDF/A-1 has neither transparency nor inks without a profile, and none of the profiles of the fourth version.
        picture.lose_alpha(encoding);
        const bool knows = picture.profile() != nullptr && is_archive_profile(*picture.profile());
        if (!knows && picture.form().color == ColorModel::kCmyk) {
            picture.to_colors();
        } else if (!knows && picture.profile() != nullptr) {
            picture.to_srgb();
        }
    }
    const bool jpeg = pdf_compression_for(pdf, picture.form()) == PdfCompression::kJpeg;
    if (picture.form().color == ColorModel::kIndexed && (jpeg || !is_opaque_pdf(picture.palette()))) {
        picture.to_direct();
    }
    if (picture.form().color == ColorModel::kLab) {
        picture.to_colors();
    }
    PixelForm form = picture.form();
    const bool bytes = form.sample == SampleType::kUint8;
    if (form.color != ColorModel::kIndexed && (!bytes || jpeg || form.bands() > 1)) {
        const bool words = !bytes && form.sample != SampleType::kInt8 && !jpeg && !pdf.is_archive();
        form.sample = words ? SampleType::kUint16 : SampleType::kUint8;
        form.bits = words ? 16 : 8;
        picture.to_form(form);
    }
}

// The data of the JPEG file that the picture still is, where a page can have them as they are.
std::optional<std::vector<uint8_t>> own_jpeg(const VipsPicture& picture, const PdfEncoding& pdf) {
    const PixelForm& form = picture.form();
    const bool fits = (form.color == ColorModel::kGray || form.color == ColorModel::kRgb) && form.bits == 8 &&
                      form.sample == SampleType::kUint8 && !form.alpha;
    const bool known = !pdf.is_archive() || picture.profile() == nullptr || is_archive_profile(*picture.profile());
    const SharedFrames& frames = picture.origin().source;
    if (pdf.compression != PdfCompression::kAuto || !fits || !known || frames == nullptr || picture.changed_at() != 0) {
        return std::nullopt;
    }
    const SharedSource file = jpeg_file_of(*frames);
    return file != nullptr ? jpeg_for_pdf(all_bytes(*file), picture.profile() != nullptr) : std::nullopt;
}

void write_page(PdfFile& file, VipsPicture& picture, const Encoding& encoding) {
    const auto& pdf = encoding.format.get<PdfEncoding>();
    if (auto jpeg = own_jpeg(picture, pdf)) {
        return file.add_jpeg_page(picture.rows_header(), pdf, to_encoded(std::move(*jpeg)));
    }
    to_page_form(picture, pdf, encoding);
    const auto page = file.add_page(picture.rows_header(), pdf);
    write_rows(picture, *page);
    page->finish();
}

void encode_pdf(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    const auto& pdf = encoding.format.get<PdfEncoding>();
    PdfFile file(out, pdf.info, pdf.compliance);
    write_page(file, picture, encoding);
    file.finish();
}

void encode_pdf_frames(std::span<const FrameToWrite> frames, ByteSink& out) {
    const auto& pdf = frames[0].encoding->format.get<PdfEncoding>();
    PdfFile file(out, pdf.info, pdf.compliance);
    for (const FrameToWrite& frame : frames) {
        const auto own = frame.picture->copy();
        prepare_for_encoding(*own, *frame.encoding);
        write_page(file, static_cast<VipsPicture&>(*own), *frame.encoding);
    }
    file.finish();
}

}  // namespace

extern const FormatCodec kPdfCodec;
const FormatCodec kPdfCodec{
    .format = Format::kPdf,
    .encode = &encode_pdf,
    .encode_frames = &encode_pdf_frames,
    .has_one_size = false,
};

}  // namespace zelmor::imagework
