// Metadata in the containers of file formats: what is written is found again, and damage ends in an answer or a managed
// exception, never beyond the bytes.
#include <gtest/gtest.h>

#include "runtime/native/behaviors/metadata/containers/file_metadata.h"
#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/image_resources.h"
#include "runtime/native/behaviors/metadata/containers/md5.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_packet.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {
namespace {

Bytes bytes(std::string_view text) {
    const auto* data = reinterpret_cast<const std::byte*>(text.data());
    return {data, data + text.size()};
}

std::string text(const Bytes& data) {
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

// Files of one pixel or none, as far as their containers go.
Bytes jpeg() {
    return bytes({"\xFF\xD8\xFF\xE0\0\x10JFIF\0\1\1\0\0\1\0\1\0\0\xFF\xDB\0\3\0\xFF\xDA\0\2\xFF\xD9", 31});
}
Bytes png() {
    return bytes(
        {"\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\0\1\0\0\0\1\x8\0\0\0\0\x3A\x7E\x9B\x55\0\0\0\0IEND\xAE\x42\x60\x82", 45});
}
Bytes webp() {
    return bytes({"RIFF\x12\0\0\0WEBPVP8L\5\0\0\0\x2F\0\0\0\x10\0", 26});
}
Bytes gif() {
    return bytes({"GIF89a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF\x2C\0\0\0\0\1\0\1\0\0\2\2\x44\1\0;", 35});
}
Bytes tiff(bool big_endian) {
    Bytes file = bytes(big_endian ? std::string_view("MM\0*\0\0\0\x08", 8) : std::string_view("II*\0\x08\0\0\0", 8));
    put_number(file, 1, 2, big_endian);
    put_number(file, 256, 2, big_endian);  // one entry: a width of 7
    put_number(file, 3, 2, big_endian);
    put_number(file, 1, 4, big_endian);
    put_number(file, 7, 2, big_endian);
    put_number(file, 0, 2, big_endian);
    put_number(file, 0, 4, big_endian);
    return file;
}

constexpr const char* kPacket =
    "<?xpacket begin='' id='x'?><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
    "<rdf:Description xmlns:a='urn:a' a:b='c'><a:d><rdf:Seq><rdf:li>e</rdf:li></rdf:Seq></a:d></rdf:Description>"
    "</rdf:RDF><?xpacket end='w'?>";

Ref<ExifObject> exif() {
    auto exif = make_exif(true);
    exif->put(ExifDirectory::kCommon, make_tag(TiffType::kAscii, 271, std::u16string(u"Maker of cameras")));
    exif->put(ExifDirectory::kExif, make_tag(TiffType::kUndefined, 36864, bytes("0231")));
    exif->put(ExifDirectory::kGps, make_tag(TiffType::kByte, 0, bytes({"\2\3\0\0", 4})));
    exif->thumbnail = bytes("a picture");
    return exif;
}

MetadataToWrite all_of(const ExifObject& exif) {
    MetadataToWrite write;
    write.exif = write_exif(exif);
    write.xmp = bytes(kPacket);
    write.photoshop = bytes({"8BIM\4\4\0\0\0\0\0\2ab", 14});
    write.comments = {bytes("one comment"), bytes("another")};
    write.texts = {bytes({"tEXtTitle\0words", 15})};
    write.tags = exif.tags(ExifDirectory::kCommon);
    write.below = &exif;
    return write;
}

std::vector<Bytes> files() {
    return {jpeg(), png(), webp(), gif(), tiff(false), tiff(true)};
}

TEST(MetadataFilesTest, WrittenMetadataIsFoundAgain) {
    const auto data = exif();
    for (const Bytes& file : files()) {
        const imagework::Format format = metadata_format(file);
        ASSERT_NE(format, imagework::Format::kUnknown);
        const MetadataToWrite write = all_of(*data);
        const Bytes written = with_metadata(file, write);
        EXPECT_EQ(metadata_format(written), format);
        const FileMetadata found = find_metadata(written);
        EXPECT_EQ(text(found.xmp), kPacket);
        EXPECT_EQ(found.comments, format == imagework::Format::kJpeg ? write.comments : std::vector<Bytes>());
        EXPECT_EQ(found.texts, format == imagework::Format::kPng ? write.texts : std::vector<Bytes>());
        const bool has_resources = format == imagework::Format::kJpeg || format == imagework::Format::kTiff;
        EXPECT_EQ(text(found.photoshop), has_resources ? text(write.photoshop) : "");
        if (format == imagework::Format::kTiff) {
            const auto read = read_exif_of_tiff(source_of(written));
            EXPECT_EQ(read->tags(ExifDirectory::kCommon).size(), 1u);
            EXPECT_EQ(read->tags(ExifDirectory::kExif).size(), 1u);
            EXPECT_EQ(read->tags(ExifDirectory::kGps).size(), 1u);
        } else if (format != imagework::Format::kGif) {
            EXPECT_EQ(text(found.exif), text(write.exif));
        }
        if (format == imagework::Format::kTiff) {
            continue;  // grows by what it had before
        }
        // Written again it is the same file, and without any what it was.
        EXPECT_EQ(text(with_metadata(written, write)), text(written));
        const Bytes bare = with_metadata(written, {});
        EXPECT_TRUE(find_metadata(bare).exif.empty() && find_metadata(bare).xmp.empty());
        if (format != imagework::Format::kWebp) {
            EXPECT_EQ(text(bare), text(file));
        }
    }
}

TEST(MetadataFilesTest, AnExtensionIsPutTogether) {
    MetadataToWrite write;
    write.xmp = bytes("<a note:HasExtendedXMP=\"0123456789ABCDEF0123456789ABCDEF\"/>");
    write.extended_guid = "0123456789ABCDEF0123456789ABCDEF";
    write.extended_xmp = bytes(std::string(200000, 'x'));
    const Bytes written = with_metadata(jpeg(), write);
    const FileMetadata found = find_metadata(written);
    EXPECT_EQ(found.extended_guid, write.extended_guid);
    EXPECT_EQ(found.extended_xmp, write.extended_xmp);
    EXPECT_TRUE(find_metadata(Bytes(written.begin(), written.begin() + 150000)).extended_xmp.empty());
}

TEST(MetadataFilesTest, DigestsAreThoseOfTheStandard) {
    EXPECT_EQ(md5_text(bytes("")), "D41D8CD98F00B204E9800998ECF8427E");
    EXPECT_EQ(md5_text(bytes("abc")), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_EQ(md5_text(bytes("12345678901234567890123456789012345678901234567890123456789012345678901234567890")),
              "57EDF4A22BE3C955AC49DA2E2107B67A");
}

TEST(MetadataFilesTest, ThumbnailsAreTakenOutOfResources) {
    const Bytes iptc = bytes({"8BIM\4\4\3abc\0\0\0\3xyz\0", 18});
    const Bytes shown = bytes({"8BIM\4\x0C\0\0\0\0\0\4abcd", 16});
    Bytes all = shown;
    all.insert(all.end(), iptc.begin(), iptc.end());
    all.insert(all.end(), shown.begin(), shown.end());
    EXPECT_EQ(text(resources_without_thumbnails(all)), text(iptc));
    for (size_t size = 0; size < all.size(); ++size) {
        const Bytes part(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(text(resources_without_thumbnails(part)).find("abcd"), std::string::npos);
    }
}

TEST(MetadataFilesTest, ExifIsReadAsItWasWritten) {
    const auto data = exif();
    for (const bool big_endian : {false, true}) {
        set_property(*data, "IsBigEndian", big_endian);
        const Bytes written = write_exif(*data);
        const auto read = read_exif(written, true);
        EXPECT_EQ(text(write_exif(*read)), text(written));
        EXPECT_EQ(text(read->thumbnail), "a picture");
        EXPECT_EQ(read->big_endian(), big_endian);
        ASSERT_NE(read->find(ExifDirectory::kCommon, 271), nullptr);
        EXPECT_EQ(text_of_value(read->find(ExifDirectory::kCommon, 271)->value()), u"Maker of cameras");
    }
}

// The first elements of a DICOM file, which holds nothing but XMP.
Bytes dicom() {
    Bytes file(128);
    for (const std::string_view part :
         {std::string_view("DICM\2\0\0\0UL\4\0\x1C\0\0\0", 16),
          std::string_view("\2\0\x10\0UI\x14\0"
                           "1.2.840.10008.1.2.1\0",
                           28),
          std::string_view("\x08\0\x60\0CS\2\0OT", 10), std::string_view("\x28\0\x10\0US\2\0\1\0", 10),
          std::string_view("\x28\0\x11\0US\2\0\1\0", 10), std::string_view("\xE0\x7F\x10\0OW\0\0\2\0\0\0\0\0", 14)}) {
        const Bytes more = bytes(part);
        file.insert(file.end(), more.begin(), more.end());
    }
    return file;
}

// Whole files with metadata.
std::vector<Bytes> filled_files() {
    std::vector<Bytes> result;
    for (const Bytes& file : files()) {
        result.push_back(with_metadata(file, all_of(*exif())));
    }
    MetadataToWrite write;
    write.xmp = bytes("<x/>");
    result.push_back(with_metadata(dicom(), write));
    EXPECT_EQ(text(find_metadata(result.back()).xmp), "<x/>");
    return result;
}

// Everything that reads a file, on a file that is not what it says.
void read_all(const Bytes& file) {
    try {
        const FileMetadata found = find_metadata(file);
        if (!found.exif.empty()) {
            write_exif(*read_exif(found.exif, true));
        }
        if (!found.xmp.empty()) {
            read_xmp_packet(found.xmp)->text();
        }
        if (metadata_format(file) == imagework::Format::kTiff) {
            write_exif(*read_exif_of_tiff(source_of(file)));
        }
        with_metadata(file, all_of(*exif()));
    } catch (const ManagedException& error) {
        EXPECT_NE(error.detail(), "");
    }
}

TEST(MetadataFilesTest, TruncatedFilesAreReadWithoutACrash) {
    for (const Bytes& whole : filled_files()) {
        for (size_t size = 0; size <= whole.size(); ++size) {
            read_all(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        }
    }
}

TEST(MetadataFilesTest, DamagedFilesAreReadWithoutACrash) {
    for (const Bytes& whole : filled_files()) {
        for (size_t at = 0; at < whole.size(); ++at) {
            for (const int value : {0, 1, 0x7F, 0xFF}) {
                Bytes damaged = whole;
                damaged[at] = static_cast<std::byte>(value);
                read_all(damaged);
            }
        }
    }
}

// A directory that names itself as the one below or behind it.
TEST(MetadataFilesTest, DirectoriesInACircleEnd) {
    Bytes file = bytes({"II*\0\x08\0\0\0\2\0", 10});
    for (const uint64_t pointer : {exif_tags::kExifPointer, exif_tags::kGpsPointer}) {
        put_number(file, pointer, 2, false);
        put_number(file, 4, 2, false);
        put_number(file, 1, 4, false);
        put_number(file, 8, 4, false);
    }
    put_number(file, 8, 4, false);
    const auto read = read_exif(file, true);
    EXPECT_LE(read->all().size(), 4u);
    read_all(file);
}

}  // namespace
}  // namespace zelmor::embed
