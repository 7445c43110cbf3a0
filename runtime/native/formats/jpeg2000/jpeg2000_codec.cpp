// The codec of JPEG 2000.
#include <algorithm>
#include <vector>

#include "runtime/native/formats/jpeg2000/jpeg2000_codec.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/imagework/format_codec.h"

namespace zelmor::imagework {
namespace {

SharedFrames open_jpeg2000(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_jpeg2000(source, {options.recovery, options.memory, options.most_time, options.most_time_of_part});
}

// Any picture as it is, but for forms that the format has not: numbers with a point become words, Lab becomes RGB.
WantedRows wanted(const FormatEncoding& settings, const RowsHeader& header) {
    const auto& jpeg2000 = settings.get<Jpeg2000Encoding>();
    const bool boxes = jpeg2000.codec != Jpeg2000Codec::kJ2k;  // a bare codestream tells no colors
    WantedRows rows{header.form, boxes};
    PixelForm& form = rows.form;
    if (form.color == ColorModel::kLab || (form.color == ColorModel::kCmyk && !boxes)) {
        form.color = ColorModel::kRgb;
        rows.keeps_profile = false;
    }
    if (form.color == ColorModel::kIndexed &&
        (!boxes || jpeg2000.irreversible || !jpeg2000.compression_ratios.empty())) {
        const bool gray = std::all_of(header.palette.begin(), header.palette.end(), [](Argb color) {
            return (color >> 16 & 0xFF) == (color & 0xFF) && (color >> 8 & 0xFF) == (color & 0xFF);
        });
        form = {gray ? ColorModel::kGray : ColorModel::kRgb};
        form.alpha =
            std::any_of(header.palette.begin(), header.palette.end(), [](Argb color) { return color >> 24 != 0xFF; });
    }
    if (form.sample == SampleType::kFloat || form.sample == SampleType::kDouble) {
        form.sample = SampleType::kUint16;
        form.bits = 16;
    }
    return rows;
}

// The library goes back in the file while it writes, so that the file is made in memory.
class WriterToSink final : public RowWriter {
 public:
    WriterToSink(const RowsHeader& header, const Jpeg2000Encoding& encoding, ByteSink& out)
        : m_out(out), m_writer(make_jpeg2000_writer(header, encoding, m_file)) {}
    void write(int32_t count, std::span<const uint8_t> rows) override { m_writer->write(count, rows); }
    void finish() override {
        m_writer->finish();
        m_out.write_whole(to_encoded(std::move(m_file)));
    }

 private:
    ByteSink& m_out;
    std::vector<uint8_t> m_file;
    std::unique_ptr<RowWriter> m_writer;
};

std::unique_ptr<RowWriter> make_writer(const RowsHeader& header, const FormatEncoding& settings, ByteSink& out) {
    return std::make_unique<WriterToSink>(header, settings.get<Jpeg2000Encoding>(), out);
}

}  // namespace

extern const FormatCodec kJpeg2000Codec;
const FormatCodec kJpeg2000Codec{
    .format = Format::kJpeg2000,
    .open = &open_jpeg2000,
    .wanted = &wanted,
    .make_writer = &make_writer,
};

}  // namespace zelmor::imagework
