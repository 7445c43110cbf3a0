// A program for the tests in Python: pictures of the rooms of file formats as plain colors, and back.
//
//     format_rows read tga|ico FILE INDEX     size, bits and depth as a line of text, then R, G, B, A of each pixel
//     format_rows write tga MODEL BITS RUNS TOP RIGHT WIDTH HEIGHT FILE < pixels
//     format_rows write ico FORMAT BITS WIDTH HEIGHT X Y FILE < pixels
//
// MODEL is gray, rgb or indexed; the pixels that are read have the bands of the form, and indices mean shades of gray.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/native/formats/ico/ico_codec.h"
#include "runtime/native/formats/tga/tga_codec.h"

namespace {

using namespace zelmor::imagework;
using Bytes = std::vector<uint8_t>;

Bytes bytes_of(std::FILE* file) {
    Bytes bytes;
    for (int byte = std::fgetc(file); byte != EOF; byte = std::fgetc(file)) {
        bytes.push_back(static_cast<uint8_t>(byte));
    }
    return bytes;
}

Bytes file_at(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        throw std::runtime_error("cannot open " + path);
    }
    Bytes bytes = bytes_of(file);
    std::fclose(file);
    return bytes;
}

void print(const FrameSource& frames, size_t index, const std::string& more) {
    if (index >= frames.count()) {
        throw std::runtime_error("there is no such frame");
    }
    const auto reader = frames.open(index);
    const RowsHeader& header = reader->header();
    const auto width = static_cast<size_t>(header.width);
    std::printf("%d %d %d %zu %s\n", header.width, header.height, frames.header(index).facts.bits_per_pixel,
                frames.count(), more.c_str());
    const auto bands = static_cast<size_t>(header.form.bands());
    const size_t step = header.form.pixel_size() / bands;  // of wide samples, the upper byte
    Bytes row(width * header.form.pixel_size());
    for (int32_t y = 0; y < header.height; y++) {
        reader->read(1, row);
        for (size_t x = 0; x < width; x++) {
            const auto band = [&](size_t i) { return row[(x * bands + i) * step + step - 1]; };
            uint8_t color[4] = {band(0), band(0), band(0), header.form.alpha ? band(bands - 1) : uint8_t{255}};
            if (header.form.color == ColorModel::kIndexed) {
                const Argb entry = header.palette.at(band(0));
                for (int i = 0; i < 3; i++) {
                    color[i] = static_cast<uint8_t>(entry >> (16 - 8 * i));
                }
                color[3] = static_cast<uint8_t>(entry >> 24);
            } else if (header.form.color == ColorModel::kRgb) {
                color[1] = band(1);
                color[2] = band(2);
            }
            std::fwrite(color, 1, sizeof color, stdout);
        }
    }
}

void read(const std::string& format, const std::string& path, size_t index) {
    const SharedSource source = memory_source(file_at(path));
    if (format == "tga") {
        const auto frames = open_tga(source, {});
        print(*frames, index, frames->settings().footer ? "footer" : "bare");
    } else {
        const auto frames = open_ico(source, {});
        const IcoHotSpot spot = frames->entry(index).hot_spot;
        print(*frames, index,
              (frames->encoding(index).format == IcoEntryFormat::kPng ? "png " : "bmp ") + std::to_string(spot.x) +
                  " " + std::to_string(spot.y));
    }
}

RowsHeader header_of(const PixelForm& form, int width, int height) {
    RowsHeader header;
    header.width = width;
    header.height = height;
    header.form = form;
    if (form.color == ColorModel::kIndexed) {
        for (Argb i = 0; i < Argb{1} << form.bits; i++) {
            header.palette.push_back(kBlack | i * 255 / ((1U << form.bits) - 1) * 0x010101);
        }
    }
    return header;
}

void put_rows(RowWriter& writer, const RowsHeader& header) {
    const Bytes rows = bytes_of(stdin);
    if (rows.size() !=
        header.form.pixel_size() * static_cast<size_t>(header.width) * static_cast<size_t>(header.height)) {
        throw std::runtime_error("the pixels are not as many as stated");
    }
    writer.write(header.height, rows);
    writer.finish();
}

void write(const std::vector<std::string>& words) {
    const auto number = [&](size_t i) { return std::atoi(words.at(i).c_str()); };
    Bytes out;
    if (words.at(0) == "tga") {
        TgaEncoding encoding;
        encoding.bits_per_pixel = number(2);
        encoding.run_length = number(3) != 0;
        encoding.from_top = number(4) != 0;
        encoding.from_right = number(5) != 0;
        PixelForm form;
        if (words[1] == "indexed") {
            form.color = ColorModel::kIndexed;
        } else if (words[1] == "gray") {
            form.color = ColorModel::kGray;
            form.alpha = encoding.bits_per_pixel == 16;
        } else {
            form.alpha = encoding.bits_per_pixel == 32;
        }
        const RowsHeader header = header_of(form, number(6), number(7));
        put_rows(*make_tga_writer(header, encoding, out), header);
    } else {
        const bool cursor = number(5) + number(6) != 0;
        const IcoEntryEncoding encoding{words.at(1) == "png" ? IcoEntryFormat::kPng : IcoEntryFormat::kBmp, number(2)};
        const RowsHeader header = header_of(form_of_ico_entry(encoding, true), number(3), number(4));
        IcoWriter icons(cursor ? IcoKind::kCursor : IcoKind::kIcon, out);
        put_rows(*icons.start(header, encoding, {static_cast<uint16_t>(number(5)), static_cast<uint16_t>(number(6))}),
                 header);
        icons.finish();
    }
    std::FILE* file = std::fopen(words.back().c_str(), "wb");
    if (file == nullptr || std::fwrite(out.data(), 1, out.size(), file) != out.size() || std::fclose(file) != 0) {
        throw std::runtime_error("cannot write " + words.back());
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    try {
        if (words.size() == 4 && words[0] == "read") {
            read(words[1], words[2], static_cast<size_t>(std::atoi(words[3].c_str())));
        } else if (words.size() >= 8 && words[0] == "write") {
            write({words.begin() + 1, words.end()});
        } else {
            throw std::runtime_error("usage: see the source");
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
    return 0;
}
