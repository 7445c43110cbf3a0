// JPEG files of kinds that the backend's own writer does not make, and their pixels, both by libjpeg alone.
#ifndef ZELMOR_TESTS_UNIT_IMAGECODECS_JPEG_FILES_H
#define ZELMOR_TESTS_UNIT_IMAGECODECS_JPEG_FILES_H

#include <cstdio>  // which the library's header takes for granted

#include <jpeglib.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace zelmor::imagework {

struct JpegKind {
    std::string name;
    J_COLOR_SPACE pixels =
        JCS_RGB;  // of the rows that go in: JCS_GRAYSCALE, JCS_RGB, JCS_CMYK, JCS_UNKNOWN (two bands)
    J_COLOR_SPACE file = JCS_YCbCr;
    int across = 1;  // the sampling factors of the first component; those of the others are 1
    int down = 1;
    bool progressive = false;
    bool arithmetic = false;
    int restart_rows = 0;
    bool separate_scans = false;  // one for each component, without progression
    int quality = 85;
};

inline int bands_of(J_COLOR_SPACE pixels) {
    return pixels == JCS_GRAYSCALE ? 1 : pixels == JCS_UNKNOWN ? 2 : pixels == JCS_RGB ? 3 : 4;
}

// Soft waves, which survive the compression.
inline std::vector<uint8_t> waves(int width, int height, int bands) {
    std::vector<uint8_t> rows;
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) {
            for (int band = 0; band < bands; band++) {
                const int phase = (x * (band + 2) + y * (5 - band)) % 64;
                rows.push_back(static_cast<uint8_t>(170 + (phase < 32 ? phase : 64 - phase) * 2));
            }
        }
    }
    return rows;
}

// The file of such rows. `change` may set more before it is started, and write segments behind its header.
inline std::vector<uint8_t> jpeg_file(const JpegKind& kind, int width, int height, const std::vector<uint8_t>& rows,
                                      const std::function<void(jpeg_compress_struct&)>& change = {},
                                      const std::function<void(jpeg_compress_struct&)>& header = {}) {
    jpeg_compress_struct codec{};
    jpeg_error_mgr errors{};
    codec.err = jpeg_std_error(&errors);
    jpeg_create_compress(&codec);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&codec, &bytes, &size);
    codec.image_width = static_cast<JDIMENSION>(width);
    codec.image_height = static_cast<JDIMENSION>(height);
    codec.input_components = bands_of(kind.pixels);
    codec.in_color_space = kind.pixels;
    jpeg_set_defaults(&codec);
    jpeg_set_colorspace(&codec, kind.file);
    jpeg_set_quality(&codec, kind.quality, TRUE);
    for (int i = 0; i < codec.num_components; i++) {
        const bool fine = i == 0 || (i == 3 && kind.file == JCS_YCCK);
        codec.comp_info[i].h_samp_factor = fine ? kind.across : 1;
        codec.comp_info[i].v_samp_factor = fine ? kind.down : 1;
    }
    codec.arith_code = kind.arithmetic ? TRUE : FALSE;
    codec.restart_in_rows = kind.restart_rows;
    if (kind.progressive) {
        jpeg_simple_progression(&codec);
    }
    std::vector<jpeg_scan_info> scans;
    if (kind.separate_scans) {
        for (int i = 0; i < codec.num_components; i++) {
            scans.push_back({1, {i}, 0, 63, 0, 0});
        }
        codec.scan_info = scans.data();
        codec.num_scans = codec.num_components;
    }
    if (change) {
        change(codec);
    }
    jpeg_start_compress(&codec, TRUE);
    if (header) {
        header(codec);
    }
    const size_t row = static_cast<size_t>(width) * static_cast<size_t>(bands_of(kind.pixels));
    while (codec.next_scanline < codec.image_height) {
        JSAMPROW pointer = const_cast<JSAMPROW>(rows.data()) + row * codec.next_scanline;
        jpeg_write_scanlines(&codec, &pointer, 1);
    }
    jpeg_finish_compress(&codec);
    std::vector<uint8_t> file(bytes, bytes + size);
    jpeg_destroy_compress(&codec);
    std::free(bytes);
    return file;
}

// The pixels of a sound file; those of CMYK as the file has them.
inline std::vector<uint8_t> jpeg_pixels(const std::vector<uint8_t>& file) {
    jpeg_decompress_struct codec{};
    jpeg_error_mgr errors{};
    codec.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&codec);
    jpeg_mem_src(&codec, file.data(), file.size());
    jpeg_read_header(&codec, TRUE);
    jpeg_start_decompress(&codec);
    const size_t row = size_t{codec.output_width} * static_cast<size_t>(codec.output_components);
    std::vector<uint8_t> rows(row * codec.output_height);
    while (codec.output_scanline < codec.output_height) {
        JSAMPROW pointer = rows.data() + row * codec.output_scanline;
        jpeg_read_scanlines(&codec, &pointer, 1);
    }
    jpeg_finish_decompress(&codec);
    jpeg_destroy_decompress(&codec);
    return rows;
}

// All kinds that this libjpeg writes.
inline std::vector<JpegKind> jpeg_kinds() {
    std::vector<JpegKind> kinds{{"gray", JCS_GRAYSCALE, JCS_GRAYSCALE},
                                {"rgb", JCS_RGB, JCS_RGB},
                                {"4:4:4", JCS_RGB, JCS_YCbCr, 1, 1},
                                {"4:2:2", JCS_RGB, JCS_YCbCr, 2, 1},
                                {"4:2:0", JCS_RGB, JCS_YCbCr, 2, 2},
                                {"4:4:0", JCS_RGB, JCS_YCbCr, 1, 2},
                                {"4:1:1", JCS_RGB, JCS_YCbCr, 4, 1},
                                {"4:1:0", JCS_RGB, JCS_YCbCr, 4, 2},
                                {"cmyk", JCS_CMYK, JCS_CMYK},
                                {"ycck", JCS_CMYK, JCS_YCCK, 1, 1},
                                {"ycck 4:2:0", JCS_CMYK, JCS_YCCK, 2, 2}};
    const size_t plain = kinds.size();
    for (size_t i = 0; i < plain; i++) {
        for (const bool progressive : {false, true}) {
            for (const bool arithmetic : {false, true}) {
                for (const int restart_rows : {0, 1}) {
                    if (progressive || arithmetic || restart_rows > 0) {
                        JpegKind kind = kinds[i];
                        kind.progressive = progressive;
                        kind.arithmetic = arithmetic;
                        kind.restart_rows = restart_rows;
                        kind.name += std::string(progressive ? " progressive" : "") +
                                     (arithmetic ? " arithmetic" : "") + (restart_rows > 0 ? " restarts" : "");
                        kinds.push_back(kind);
                    }
                }
            }
        }
        if (kinds[i].file != JCS_GRAYSCALE) {
            JpegKind kind = kinds[i];
            kind.separate_scans = true;
            kind.name += " separate";
            kinds.push_back(kind);
        }
    }
    return kinds;
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_IMAGECODECS_JPEG_FILES_H
