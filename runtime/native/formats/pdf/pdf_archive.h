// What a file for archives (PDF/A-1) has besides pages: the color space that its colors are meant in, metadata that
// name the standard, and for level A a structure.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PDF_ARCHIVE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PDF_ARCHIVE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/formats/pdf/pdf_encoding.h"

namespace zelmor::imagework {

// The file that objects are added to.
class PdfObjects {
 public:
    virtual ~PdfObjects() = default;
    virtual int new_object() = 0;
    virtual void write_object(int number, std::string_view text) = 0;
};

// Writes the objects for a document with these pages, and gives the entries that its catalog gets.
std::string write_archive_objects(PdfObjects& objects, const PdfInfo& info, PdfCompliance compliance,
                                  std::span<const int> pages);

// Level A has the contents of each page between these, and its number in the page.
constexpr std::string_view kMarkedBegin = "/Figure << /MCID 0 >> BDC";
constexpr std::string_view kMarkedEnd = "EMC";

// An object with a stream that is not compressed. The entries are open, for its length.
std::string stream_object(std::string_view entries, std::string_view bytes);

// The entry of the trailer that tells files apart.
class PdfIdentifier {
 public:
    void add(std::span<const uint8_t> bytes);
    std::string entry() const;

 private:
    uint64_t m_first = 0xCBF29CE484222325, m_second = 0x84222325CBF29CE4;
};

// Whether a picture's profile is one that PDF/A-1 knows: those of the second version.
bool is_archive_profile(std::span<const uint8_t> profile);
// sRGB as such a profile.
std::vector<uint8_t> srgb_profile();

// A text string of a document: as it is, or in UTF-16 where it has more than ASCII.
std::string pdf_text(const std::string& utf8);
// Bytes as a string of hexadecimal digits.
std::string pdf_hex(std::span<const uint8_t> bytes);
// The entries of the dictionary about the document.
std::string pdf_info_entries(const PdfInfo& info);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PDF_ARCHIVE_H
