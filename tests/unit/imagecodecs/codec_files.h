// Rows and files for the tests of the codecs.
#ifndef ZELMOR_TESTS_UNIT_IMAGECODECS_CODEC_FILES_H
#define ZELMOR_TESTS_UNIT_IMAGECODECS_CODEC_FILES_H

#include <algorithm>
#include <random>
#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "tests/unit/imagework/failure_of.h"

namespace zelmor::imagework {

inline RowsHeader header_of(int32_t width, int32_t height, const PixelForm& form) {
    RowsHeader header;
    header.width = width;
    header.height = height;
    header.form = form;
    if (form.color == ColorModel::kIndexed) {
        for (Argb i = 0; i < Argb{1} << form.bits; i++) {
            header.palette.push_back(kBlack | i * 0x010503 % 0x1000000);
        }
    }
    return header;
}

inline std::vector<uint8_t> bytes_in(MemorySink& sink) {
    const EncodedBytes file = sink.take();
    return {file.bytes().begin(), file.bytes().end()};
}

// Takes so many bytes and fails at the next one.
class FullSink final : public ByteSink {
 public:
    struct Full {};
    explicit FullSink(size_t room) : m_room(room) {}
    void write(std::span<const uint8_t> bytes) override {
        if (bytes.size() > m_room) {
            throw Full();
        }
        m_room -= bytes.size();
    }

 private:
    size_t m_room;
};

inline size_t row_size(const RowsHeader& header) {
    return header.form.pixel_size() * static_cast<size_t>(header.width);
}

// Random samples as the form has them: spread over the range, or indices.
inline std::vector<uint8_t> random_rows(const RowsHeader& header, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::vector<uint8_t> rows(row_size(header) * static_cast<size_t>(header.height));
    const bool small = header.form.sample == SampleType::kUint8 && header.form.bits < 8;
    const unsigned top = (1U << (small ? header.form.bits : 8)) - 1;
    const unsigned scale = header.form.color == ColorModel::kIndexed ? 1 : 255 / top;
    for (uint8_t& byte : rows) {
        byte = static_cast<uint8_t>((random() & top) * scale);
    }
    return rows;
}

inline std::vector<uint8_t> all_rows(RowReader& reader, int32_t step = 1) {
    const RowsHeader& header = reader.header();
    std::vector<uint8_t> rows(row_size(header) * static_cast<size_t>(header.height));
    for (int32_t y = 0; y < header.height; y += step) {
        const int32_t count = std::min(step, header.height - y);
        reader.read(count, std::span(rows).subspan(row_size(header) * static_cast<size_t>(y),
                                                   row_size(header) * static_cast<size_t>(count)));
    }
    return rows;
}

// All rows of a picture, so many at a time, and the end.
inline void write_all(RowWriter& writer, const RowsHeader& header, std::span<const uint8_t> rows, int32_t step) {
    for (int32_t y = 0; y < header.height; y += step) {
        const int32_t count = std::min(step, header.height - y);
        writer.write(count, rows.subspan(row_size(header) * static_cast<size_t>(y),
                                         row_size(header) * static_cast<size_t>(count)));
    }
    writer.finish();
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_IMAGECODECS_CODEC_FILES_H
