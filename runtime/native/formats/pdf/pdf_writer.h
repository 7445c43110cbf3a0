// PDF files of pictures: one page for each, as large as the picture or as the settings say.
//
// Everything is written as it comes. The samples of a picture without transparency go through their compression to the
// sink; with transparency, colors and opacity are kept compressed until the last row is there.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PDF_WRITER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PDF_WRITER_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/native/formats/pdf/pdf_archive.h"
#include "runtime/native/formats/pdf/pdf_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// The compression that a picture of this form gets; PictureError(kEncoding) where a wanted one does not take it.
PdfCompression pdf_compression_for(const PdfEncoding& encoding, const PixelForm& form);

// A number with up to four decimals.
std::string pdf_number(double value);

class PdfFile final : private PdfObjects {
 public:
    // The sink has to outlive this.
    PdfFile(ByteSink& out, const PdfInfo& info, PdfCompliance compliance);
    ~PdfFile() override;
    PdfFile(const PdfFile&) = delete;
    PdfFile& operator=(const PdfFile&) = delete;

    // The next page, with a picture as the header tells: gray, RGB, CMYK or indexed with opaque colors, of 8 or 16 bits
    // or fewer. The page before has to be finished.
    std::unique_ptr<RowWriter> add_page(const RowsHeader& header, const PdfEncoding& encoding);

    // The same with a picture that is there as JPEG data already: gray or RGB of 8 bits without alpha.
    void add_jpeg_page(const RowsHeader& header, const PdfEncoding& encoding, const EncodedBytes& jpeg);

    // After the last page.
    void finish();

 private:
    friend class PdfPage;

    int new_object() override;
    void begin_object(int number);
    void write(std::string_view text);
    void write_object(int number, std::string_view text) override;
    // An object with a stream, all of whose bytes are there.
    void write_stream(int number, std::string_view entries, const EncodedBytes& bytes);
    int profile_object(const ProfileBytes& profile, int colors);

    // Counts the bytes on their way to the sink.
    class Counter final : public ByteSink {
     public:
        explicit Counter(ByteSink& out) : m_out(out) {}
        void write(std::span<const uint8_t> bytes) override {
            m_out.write(bytes);
            m_count += bytes.size();
            m_identifier.add(bytes);
        }
        uint64_t count() const { return m_count; }
        std::string identifier() const { return m_identifier.entry(); }

     private:
        ByteSink& m_out;
        uint64_t m_count = 0;
        PdfIdentifier m_identifier;
    };

    Counter m_out;
    PdfInfo m_info;
    PdfCompliance m_compliance;
    std::vector<uint64_t> m_offsets;  // of the objects, from number 1 on
    std::vector<int> m_pages;
    std::vector<std::pair<ProfileBytes, int>> m_profiles;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PDF_WRITER_H
