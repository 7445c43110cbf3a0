// PSD files by hand: every section from its bytes, with codings of their own.
#ifndef ZELMOR_TESTS_UNIT_FORMATS_PSD_FILES_H
#define ZELMOR_TESTS_UNIT_FORMATS_PSD_FILES_H

#include <zlib.h>

#include <cstdint>
#include <random>
#include <string_view>
#include <vector>

namespace zelmor::imagework {

using Bytes = std::vector<uint8_t>;

inline void put(Bytes& out, uint64_t value, int bytes) {
    for (int i = bytes; i-- > 0;) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}
inline void put(Bytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}
inline void put(Bytes& out, const Bytes& bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

inline Bytes zipped(const Bytes& data) {
    uLongf size = compressBound(data.size());
    Bytes out(size);
    compress(out.data(), &size, data.data(), data.size());
    out.resize(size);
    return out;
}

inline Bytes resource(unsigned id, const Bytes& data, std::string_view name = {}) {
    Bytes out;
    put(out, "8BIM");
    put(out, id, 2);
    put(out, name.size(), 1);
    put(out, name);
    if (name.size() % 2 == 0) {
        out.push_back(0);
    }
    put(out, data.size(), 4);
    put(out, data);
    if (data.size() % 2 != 0) {
        out.push_back(0);
    }
    return out;
}

// A file whose planes are random bytes.
struct PsdParts {
    int version = 1;
    unsigned channels = 3;
    unsigned width = 5;
    unsigned height = 4;
    unsigned depth = 8;
    unsigned mode = 3;
    unsigned compression = 0;
    Bytes color_data = {};
    Bytes resources = {};
    Bytes layers = {};
    unsigned seed = 1;

    size_t row_bytes() const { return depth == 1 ? (width + 7) / 8 : width * depth / 8; }

    // The samples of the file, plane after plane.
    Bytes planes() const {
        std::mt19937 random(seed);
        Bytes data(row_bytes() * height * channels);
        for (size_t i = 0; i < data.size(); i++) {
            // Runs among them, and no floating samples that are not finite.
            data[i] = i % 7 < 3 && i > 0 ? data[i - 1] : static_cast<uint8_t>(random());
            if (depth == 32 && i % 4 == 0) {
                data[i] = static_cast<uint8_t>(0x3C + random() % 4);
            }
        }
        return data;
    }

    Bytes coded_planes() const {
        Bytes data = planes();
        const size_t row = row_bytes();
        Bytes out;
        if (compression == 0) {
            return data;
        }
        if (compression == 1) {
            Bytes coded;
            for (size_t at = 0; at < data.size(); at += row) {
                const size_t before = coded.size();
                for (size_t i = at; i < at + row;) {
                    if (i + 1 < at + row && data[i] == data[i + 1]) {
                        coded.push_back(0xFF);  // two of it
                        coded.push_back(data[i]);
                        i += 2;
                        continue;
                    }
                    coded.push_back(0x80);  // no bytes
                    coded.push_back(0);     // one byte
                    coded.push_back(data[i++]);
                }
                put(out, coded.size() - before, version == 2 ? 4 : 2);
            }
            put(out, coded);
            return out;
        }
        return zipped(compression == 2 ? data : differences(data));
    }

    Bytes differences(const Bytes& data) const {
        Bytes result;
        const size_t row = row_bytes();
        for (size_t at = 0; at < data.size(); at += row) {
            Bytes line(data.begin() + static_cast<std::ptrdiff_t>(at),
                       data.begin() + static_cast<std::ptrdiff_t>(at + row));
            if (depth == 32) {
                Bytes sorted;
                for (size_t byte = 0; byte < 4; byte++) {
                    for (size_t x = 0; x < width; x++) {
                        sorted.push_back(line[4 * x + byte]);
                    }
                }
                line = sorted;
            }
            const size_t step = depth == 16 ? 2 : 1;
            Bytes coded;
            unsigned before = 0;
            for (size_t i = 0; i < line.size(); i += step) {
                const unsigned value = step == 2 ? unsigned{line[i]} << 8 | line[i + 1] : line[i];
                put(coded, value - before, static_cast<int>(step));
                before = value;
            }
            put(result, coded);
        }
        return result;
    }

    Bytes file() const {
        Bytes out;
        put(out, "8BPS");
        put(out, static_cast<uint64_t>(version), 2);
        put(out, 0, 6);
        put(out, channels, 2);
        put(out, height, 4);
        put(out, width, 4);
        put(out, depth, 2);
        put(out, mode, 2);
        put(out, color_data.size(), 4);
        put(out, color_data);
        put(out, resources.size(), 4);
        put(out, resources);
        put(out, layers.size(), version == 2 ? 8 : 4);
        put(out, layers);
        put(out, compression, 2);
        put(out, coded_planes());
        return out;
    }
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_FORMATS_PSD_FILES_H
