// When the metadata of a file are read, and how much of the file that takes.
#include <gtest/gtest.h>

#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/behaviors/metadata/kept_metadata.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/png/png_checks.h"

namespace zelmor::embed {
namespace {

using imagework::Failure;
using imagework::PictureError;

Bytes bytes(std::string_view text) {
    const auto* data = reinterpret_cast<const std::byte*>(text.data());
    return {data, data + text.size()};
}

void append(Bytes& to, const Bytes& more) {
    to.insert(to.end(), more.begin(), more.end());
}

// A file that does not say that it lies in memory, counts what is read of it, and may break off.
class CountedFile final : public imagework::DataSource {
 public:
    explicit CountedFile(Bytes file) : m_file(std::move(file)) {}
    uint64_t size() const override { return m_file.size(); }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        if (reads_left == 0) {
            throw PictureError(Failure::kDamaged, "the file was changed");
        }
        --reads_left;
        const size_t count = offset < size() ? std::min<uint64_t>(out.size(), size() - offset) : 0;
        const auto* first = reinterpret_cast<const uint8_t*>(m_file.data());
        std::copy_n(first + (count > 0 ? offset : 0), count, out.begin());
        read += count;
        return count;
    }
    mutable size_t reads_left = SIZE_MAX;
    mutable size_t read = 0;

 private:
    Bytes m_file;
};

constexpr size_t kPixels = size_t{8} << 20;

// Files with much data for their pixels, and metadata before them and, where the format lets them be there, behind.
Bytes jpeg() {
    Bytes file = bytes({"\xFF\xD8\xFF\xE0\0\x10JFIF\0\1\1\0\0\1\0\1\0\0\xFF\xE2\x80\0ICC_PROFILE\0", 36});
    file.resize(20 + 2 + 0x8000);  // a long segment of no interest
    append(file, bytes({"\xFF\xFE\0\6word\xFF\xE1\0\x1Fhttp://ns.adobe.com/xap/1.0/\0", 41}));
    append(file, bytes({"\xFF\xDB\0\3\0\xFF\xDA\0\2", 9}));
    file.resize(file.size() + kPixels, std::byte{0x55});
    append(file, bytes({"\xFF\xD9", 2}));
    return file;
}

Bytes png_chunk(std::string_view type, const Bytes& data) {
    Bytes chunk;
    put_number(chunk, data.size(), 4, true);
    append(chunk, bytes(type));
    append(chunk, data);
    put_number(chunk, 0, 4, true);
    return chunk;
}
Bytes png() {
    Bytes file = bytes("\x89PNG\r\n\x1A\n");
    append(file, png_chunk("IHDR", Bytes(13)));
    append(file, png_chunk("tEXt", bytes({"Title\0before", 12})));
    for (size_t i = 0; i < kPixels; i += 8192) {
        append(file, png_chunk("IDAT", Bytes(8192)));
    }
    append(file, png_chunk("fdAT", Bytes(kPixels)));
    append(file, png_chunk("iTXt", bytes({"XML:com.adobe.xmp\0\0\0\0\0<xmp/>", 28})));
    append(file, png_chunk("eXIf", bytes("II*")));
    append(file, png_chunk("IEND", {}));
    append(file, png_chunk("tEXt", bytes({"Title\0of no picture", 19})));
    return file;
}

Bytes webp() {
    Bytes file = bytes({"RIFF\0\0\0\0WEBPVP8 ", 16});
    put_number(file, kPixels, 4, false);
    file.resize(file.size() + kPixels);
    append(file, bytes({"EXIF\6\0\0\0Exif\0\0", 14}));
    append(file, bytes({"XMP \6\0\0\0<xmp/>", 14}));
    Bytes size;
    put_number(size, file.size() - 8, 4, false);
    std::copy(size.begin(), size.end(), file.begin() + 4);
    append(file, bytes({"XMP \6\0\0\0behind", 14}));
    return file;
}

// The directory stands behind the pixels, with a packet, a description that no decoder needs, and EXIF tags.
Bytes tiff() {
    Bytes file = bytes({"II*\0", 4});
    put_number(file, 16 + kPixels, 4, false);
    append(file, bytes("<xmp/>12"));
    file.resize(16 + kPixels);
    put_number(file, 2, 2, false);
    for (const uint64_t number : {700, 7, 6, 8}) {
        put_number(file, number, number > 600 || number == 7 ? 2 : 4, false);
    }
    put_number(file, 270, 2, false);
    put_number(file, 2, 2, false);
    put_number(file, 4, 4, false);
    append(file, bytes({"abc\0", 4}));
    put_number(file, 0, 4, false);
    return file;
}

Bytes gif() {
    Bytes file = bytes({"GIF89a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF\x2C\0\0\0\0\1\0\1\0\0\2\2\x44\1\0", 34});
    append(file, bytes({"\x21\xFF\x0BXMP DataXMP<xmp/>\1", 21}));
    for (int value = 255; value >= 0; --value) {
        file.push_back(static_cast<std::byte>(value));
    }
    append(file, bytes({"\0;", 2}));
    return file;
}

std::string packet_of(const FileMetadata& found) {
    return {reinterpret_cast<const char*>(found.xmp.data()), found.xmp.size()};
}

TEST(MetadataReadingTest, PixelsAreNotReadForTheMetadata) {
    constexpr size_t kMost = kPixels / 8192 * 64 + 4096;  // one small look at each chunk
    for (const Bytes& file : {jpeg(), png(), webp(), tiff()}) {
        const auto source = std::make_shared<CountedFile>(file);
        const FileMetadata found = find_metadata(source);
        EXPECT_LT(source->read, kMost);
        EXPECT_GT(source->read, 0u);
        if (metadata_format(file) == imagework::Format::kJpeg) {
            EXPECT_LT(source->read, 1024u);
            EXPECT_EQ(found.comments, std::vector<Bytes>{bytes("word")});
            EXPECT_EQ(found.jfif.size(), 9u);
        } else {
            EXPECT_EQ(packet_of(found), "<xmp/>");
        }
        if (metadata_format(file) == imagework::Format::kPng) {
            EXPECT_EQ(found.exif, bytes("II*"));
            EXPECT_EQ(found.texts, std::vector<Bytes>{bytes({"tEXtTitle\0before", 16})});
        }
        if (metadata_format(file) == imagework::Format::kTiff) {
            source->read = 0;
            EXPECT_EQ(read_exif_of_tiff(source)->tags(ExifDirectory::kCommon).size(), 1u);
            EXPECT_LT(source->read, kMost);
        }
    }
}

TEST(MetadataReadingTest, NothingIsReadBeforeItIsAskedFor) {
    auto source = std::make_shared<CountedFile>(tiff());
    const std::weak_ptr<CountedFile> watched = source;
    const auto metadata = keep_metadata(source);
    EXPECT_EQ(source->read, 0u);
    EXPECT_EQ(packet_of(metadata->found()), "<xmp/>");
    EXPECT_TRUE(metadata->of_tiff());

    // Now the file is not needed any more, and copies have what was read.
    source.reset();
    EXPECT_TRUE(watched.expired());
    const ImageMetadata copy = *metadata;
    EXPECT_EQ(&copy.found(), &metadata->found());
}

TEST(MetadataReadingTest, CopiesShareOneReading) {
    const auto source = std::make_shared<CountedFile>(gif());
    const auto metadata = keep_metadata(source);
    const ImageMetadata copy = *metadata;
    EXPECT_EQ(packet_of(copy.found()), "<xmp/>");
    const size_t once = source->read;
    EXPECT_EQ(packet_of(metadata->found()), "<xmp/>");
    EXPECT_EQ(source->read, once);
}

TEST(MetadataReadingTest, BytesInMemoryAreReadAtOnceAndNotKept) {
    for (const Bytes& file : {gif(), tiff()}) {
        const auto* first = reinterpret_cast<const uint8_t*>(file.data());
        auto source = imagework::memory_source({first, first + file.size()});
        const std::weak_ptr<const imagework::DataSource> watched = source;
        const auto metadata = keep_metadata(std::move(source));
        EXPECT_TRUE(watched.expired());
        EXPECT_EQ(packet_of(metadata->found()), "<xmp/>");
        EXPECT_EQ(static_cast<bool>(metadata->of_tiff()), metadata_format(file) == imagework::Format::kTiff);
    }
}

TEST(MetadataReadingTest, WhatBreaksOffIsReadAgainAsAWhole) {
    for (const Bytes& file : {jpeg(), webp(), tiff(), gif()}) {
        const auto source = std::make_shared<CountedFile>(file);
        const auto metadata = keep_metadata(source);
        size_t failures = 0;
        for (size_t reads = 0;; ++reads) {
            source->reads_left = reads;
            try {
                metadata->found();
                break;
            } catch (const PictureError& error) {
                EXPECT_EQ(error.kind(), Failure::kDamaged);
                ++failures;
            }
        }
        EXPECT_GT(failures, 1u);
        const FileMetadata whole = find_metadata(file);
        EXPECT_EQ(metadata->found().xmp, whole.xmp);
        EXPECT_EQ(metadata->found().exif, whole.exif);
        EXPECT_EQ(metadata->found().comments, whole.comments);
        EXPECT_EQ(static_cast<bool>(metadata->of_tiff()), metadata_format(file) == imagework::Format::kTiff);
    }
}

TEST(MetadataReadingTest, AFileCannotHaveMoreMetadataThanTheLimit) {
    Bytes file = bytes("\x89PNG\r\n\x1A\n");
    append(file, png_chunk("IHDR", Bytes(13)));
    for (int i = 0; i < 3; ++i) {
        append(file, png_chunk("tEXt", Bytes(imagework::limits::kTextBytes / 3)));
    }
    append(file, png_chunk("IEND", {}));
    EXPECT_THROW(find_metadata(file), PictureError);
}

TEST(MetadataReadingTest, StrictChecksReadALongChunkInPieces) {
    Bytes file = bytes("\x89PNG\r\n\x1A\n");
    const auto add = [&](std::string_view type, const Bytes& data, uint64_t sum) {
        Bytes chunk = png_chunk(type, data);
        chunk.resize(chunk.size() - 4);
        put_number(chunk, sum, 4, true);
        append(file, chunk);
    };
    add("IHDR", Bytes(13), 0x2E90680F);
    add("IDAT", Bytes(200000), 0xE9398CA0);
    EXPECT_EQ(png_fault(std::make_shared<CountedFile>(file)), "the data ends before the end chunk");
    add("IEND", {}, 0xAE426082);
    EXPECT_EQ(png_fault(std::make_shared<CountedFile>(file)), "");
    file[150000] = std::byte{1};
    EXPECT_EQ(png_fault(std::make_shared<CountedFile>(file)), "the chunk 'IDAT' has a wrong checksum");
}

// Found by altered files: a TIFF whose first directory stands nowhere.
TEST(MetadataReadingTest, ATiffWithoutDirectoriesTakesNoMetadata) {
    const Bytes file = bytes(std::string_view("II*\0\0\0\0\0\0\0\0\0", 12));
    MetadataToWrite metadata;
    metadata.xmp = bytes("<x/>");
    EXPECT_THROW(with_metadata(file, metadata), ManagedException);
}

}  // namespace
}  // namespace zelmor::embed
