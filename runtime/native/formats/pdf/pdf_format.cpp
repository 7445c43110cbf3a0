// PDF: the mark may stand behind bytes that mean nothing, but the files that programs write begin with it.
#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/pdf/pdf_encoding.h"

namespace zelmor::imagework {
namespace {

bool begins_pdf(const ByteReader& in) {
    return in.starts_with(0, "%PDF-");
}

constexpr const char* kPdfExtensions[] = {"pdf"};

}  // namespace

extern const FormatRoom kPdfRoom;
const FormatRoom kPdfRoom{
    .format = Format::kPdf,
    .name = "PDF",
    .extensions = kPdfExtensions,
    .begins = &begins_pdf,
    .default_settings = &default_settings_of<PdfEncoding>,
};

}  // namespace zelmor::imagework
