// The codec of PSD as a program, for tests that compare it with other programs.
//
//   psd_rows read FILE ROWS                    prints the form of the picture and writes its rows
//   psd_rows write ROWS FILE WIDTH HEIGHT COLOR BITS ALPHA COMPRESSION LARGE THUMBNAIL
//   psd_rows again FILE NEW                    writes an unchanged picture again
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "runtime/native/formats/psd/psd_codec.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/probe/probe.h"

namespace {

using namespace zelmor::imagework;
using Bytes = std::vector<uint8_t>;

Bytes content(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}
void save(const std::string& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}
Bytes rows_of(RowReader& reader) {
    const RowsHeader& header = reader.header();
    Bytes rows(header.form.pixel_size() * static_cast<size_t>(header.width) * static_cast<size_t>(header.height));
    reader.read(header.height, rows);
    return rows;
}
void write(const RowsHeader& header, const PsdEncoding& encoding, PsdKept kept, const Bytes& rows,
           const std::string& path) {
    Bytes out;
    const auto writer = make_psd_writer(header, encoding, std::move(kept), out,
                                        [](const RowsHeader&, Bytes samples) { return samples; });  // of RGB
    writer->write(header.height, rows);
    writer->finish();
    save(path, out);
}

int run(const std::vector<std::string>& words) {
    const auto number = [&](size_t i) { return std::atoi(words.at(i).c_str()); };
    if (words.at(0) == "read") {
        const auto reader = open_psd(memory_source(content(words.at(1))), {})->open(0);
        const RowsHeader& header = reader->header();
        std::printf("%d %d %d %d %d %zu\n", header.width, header.height, static_cast<int>(header.form.color),
                    header.form.bits, header.form.alpha ? 1 : 0, header.palette.size());
        for (const Argb color : header.palette) {
            std::printf("%08x\n", color);
        }
        save(words.at(2), rows_of(*reader));
        return 0;
    }
    if (words.at(0) == "again") {
        const SharedSource source = memory_source(content(words.at(1)));
        SourceBytes bytes(source);
        const PsdEncoding encoding = probe(bytes).encoding->get<PsdEncoding>();
        const auto reader = open_psd(source, {})->open(0);
        write(reader->header(), encoding, {source, true}, rows_of(*reader), words.at(2));
        return 0;
    }
    RowsHeader header;
    header.width = number(3);
    header.height = number(4);
    header.form.color = static_cast<ColorModel>(number(5));
    header.form.bits = number(6);
    header.form.alpha = number(7) != 0;
    header.form.sample = header.form.bits == 16   ? SampleType::kUint16
                         : header.form.bits == 32 ? SampleType::kFloat
                                                  : SampleType::kUint8;
    header.resolution = Resolution{300, 150};
    if (header.form.color == ColorModel::kIndexed) {
        for (Argb i = 0; i < 256; i++) {
            header.palette.push_back(kBlack | i << 16 | (255 - i) << 8 | i / 2);
        }
    }
    PsdEncoding encoding;
    encoding.compression = static_cast<PsdCompression>(number(8));
    encoding.large = number(9) != 0;
    encoding.new_thumbnail = number(10) != 0;
    write(header, encoding, {}, content(words.at(1)), words.at(2));
    return 0;
}

}  // namespace

int main(int count, char** words) {
    try {
        return run({words + 1, words + count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
