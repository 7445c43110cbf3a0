// Files of other programs for the tests of formats: programs that are run, and what they wrote.
#ifndef ZELMOR_TESTS_UNIT_FORMATS_ORACLE_FILES_H
#define ZELMOR_TESTS_UNIT_FORMATS_ORACLE_FILES_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "tests/unit/imagecodecs/codec_files.h"

namespace zelmor::imagework {

using Bytes = std::vector<uint8_t>;

// A directory that is removed with the object.
class OracleDirectory {
 public:
    OracleDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "formats-XXXXXX").string();
        m_path = mkdtemp(name.data());
    }
    ~OracleDirectory() { std::filesystem::remove_all(m_path); }
    OracleDirectory(const OracleDirectory&) = delete;
    OracleDirectory& operator=(const OracleDirectory&) = delete;

    std::string path(const std::string& name) const { return m_path + "/" + name; }

    void write(const std::string& name, std::span<const uint8_t> bytes) const {
        std::ofstream file(path(name), std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    Bytes read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        EXPECT_TRUE(file.good()) << name;
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    // Runs a program of the test's packages in the directory.
    void run(const std::string& command) const {
        EXPECT_EQ(std::system(("cd " + m_path + " && " + command + " >log 2>&1").c_str()), 0) << command;
    }

 private:
    std::string m_path;
};

// A file of the portable maps: P5 or P6 of 8 or 16 bits; P4 as packed bits, where `rows` are bytes of 0 and 255.
inline Bytes portable_map(int32_t width, int32_t height, int bands, int top, std::span<const uint8_t> rows) {
    const std::string head = (bands == 1 ? "P5\n" : "P6\n") + std::to_string(width) + " " + std::to_string(height) +
                             "\n" + std::to_string(top) + "\n";
    Bytes out(head.begin(), head.end());
    out.insert(out.end(), rows.begin(), rows.end());
    return out;
}

// The samples of such a file, behind its header of four words and of comments.
inline Bytes map_samples(const Bytes& file) {
    size_t at = 0;
    for (int words = 0; words < 4; words++) {
        while (at < file.size() && (std::isspace(file[at]) != 0 || file[at] == '#')) {
            const bool comment = file[at] == '#';
            while (comment && at < file.size() && file[at] != '\n') {
                at++;
            }
            at++;
        }
        while (at < file.size() && std::isspace(file[at]) == 0) {
            at++;
        }
    }
    return {file.begin() + static_cast<std::ptrdiff_t>(std::min(at + 1, file.size())), file.end()};
}

// Whether all bytes are the same; otherwise where they first differ, and by how much they do.
inline ::testing::AssertionResult same(const Bytes& found, const Bytes& expected) {
    if (found.size() != expected.size()) {
        return ::testing::AssertionFailure() << found.size() << " bytes instead of " << expected.size();
    }
    size_t count = 0;
    size_t first = found.size();
    int most = 0;
    for (size_t i = 0; i < found.size(); i++) {
        if (found[i] != expected[i]) {
            first = std::min(first, i);
            most = std::max(most, std::abs(int{found[i]} - int{expected[i]}));
            count++;
        }
    }
    if (count == 0) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << count << " bytes differ by up to " << most << ", from byte " << first
                                         << " of " << found.size() << " on";
}

// Soft waves, of bytes.
inline Bytes waves(int32_t width, int32_t height, int bands) {
    Bytes rows;
    for (int32_t y = 0; y < height; y++) {
        for (int32_t x = 0; x < width; x++) {
            for (int band = 0; band < bands; band++) {
                rows.push_back(static_cast<uint8_t>(128 + 60 * ((x / 7 + band) % 3 - 1) + (y * (band + 1) / 3) % 60));
            }
        }
    }
    return rows;
}

// Peak signal to noise of bytes, in decibels.
inline double psnr(std::span<const uint8_t> a, std::span<const uint8_t> b) {
    EXPECT_EQ(a.size(), b.size());
    double sum = 0;
    for (size_t i = 0; i < std::min(a.size(), b.size()); i++) {
        const double difference = static_cast<double>(a[i]) - b[i];
        sum += difference * difference;
    }
    return sum == 0 ? 100 : 10 * std::log10(255.0 * 255 / (sum / static_cast<double>(a.size())));
}

// The bytes with a few of them changed, or cut off, by a seed.
inline Bytes damaged(const Bytes& file, unsigned seed) {
    std::mt19937 random(seed);
    Bytes out = file;
    if (seed % 4 == 0) {
        out.resize(random() % file.size());
        return out;
    }
    for (unsigned i = 0; i <= seed % 7; i++) {
        // Headers are met more often than their share.
        const size_t range = random() % 2 == 0 ? std::min<size_t>(file.size(), 300) : file.size();
        out[random() % range] = static_cast<uint8_t>(random());
    }
    return out;
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_FORMATS_ORACLE_FILES_H
