// Which JPEG files become streams of PDF files as they are, and which of their segments: by the markers that the
// standards of JPEG, JFIF and Exif give them.
#include "runtime/native/formats/pdf/jpeg_copy.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <span>
#include <string>
#include <vector>

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Bytes segment(uint8_t marker, const Bytes& body) {
    const size_t length = body.size() + 2;
    return joined({{0xFF, marker, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length & 255)}, body});
}
Bytes segment(uint8_t marker, const std::string& text) {
    return segment(marker, Bytes(text.begin(), text.end()));
}

// A frame header of so many components, whose names are 1, 2 and 3 or begin with another number.
Bytes frame(uint8_t marker = 0xC0, uint8_t count = 3, uint8_t bits = 8, uint8_t first_name = 1) {
    Bytes body{bits, 0, 16, 0, 16, count};
    for (uint8_t i = 0; i < count; ++i) {
        body.insert(body.end(), {static_cast<uint8_t>(first_name + i), 0x11, 0});
    }
    return segment(marker, body);
}

const Bytes kStart{0xFF, 0xD8}, kEnd{0xFF, 0xD9};
const Bytes kJfif = segment(0xE0, std::string("JFIF\0\1\2", 7));
const Bytes kAdobe = segment(0xEE, std::string("Adobe\0d\0\0\0\0\1", 12));
const Bytes kTables = joined({segment(0xDB, Bytes(65, 1)), segment(0xC4, Bytes(20, 2)), segment(0xDD, Bytes{0, 4})});
// The data have stuffed bytes, restarts and a fill before the next marker.
const Bytes kScan = joined({segment(0xDA, Bytes{1, 1, 0, 0, 63, 0}), {1, 0xFF, 0, 2, 0xFF, 0xD0, 3, 0xFF, 0xD7, 4}});
const Bytes kProfile = segment(0xE2, std::string("ICC_PROFILE\0\1\1", 14));

Bytes file(const Bytes& head, const Bytes& of_frame = frame()) {
    return joined({kStart, head, kTables, of_frame, kScan, kEnd});
}

TEST(JpegCopyTest, APlainFileStaysAsItIs) {
    for (const Bytes& head : {kJfif, kAdobe, joined({kJfif, kAdobe}), Bytes()}) {
        for (const uint8_t marker : {0xC0, 0xC1, 0xC2}) {
            for (const uint8_t count : {1, 3}) {
                EXPECT_EQ(jpeg_for_pdf(file(head, frame(marker, count)), false), file(head, frame(marker, count)));
            }
        }
    }
    // Several scans, with tables between them.
    const Bytes progressive = joined({kStart, kJfif, kTables, frame(0xC2), kScan, kTables, kScan, kScan, kEnd});
    EXPECT_EQ(jpeg_for_pdf(progressive, false), progressive);
}

TEST(JpegCopyTest, WhatDescribesThePictureIsLeftOut) {
    for (int marker = 0xE1; marker <= 0xEF; ++marker) {
        const Bytes head = joined({kJfif, segment(static_cast<uint8_t>(marker), std::string("other data"))});
        EXPECT_EQ(jpeg_for_pdf(file(head), false), file(marker == 0xEE ? head : kJfif)) << marker;
    }
    EXPECT_EQ(jpeg_for_pdf(file(joined({kJfif, segment(0xFE, std::string("a comment"))})), false), file(kJfif));
    EXPECT_EQ(jpeg_for_pdf(file(joined({kJfif, segment(0xE0, std::string("JFXX"))})), false),
              file(joined({kJfif, segment(0xE0, std::string("JFXX"))})));
    EXPECT_EQ(jpeg_for_pdf(joined({file(kJfif), {1, 2, 3}}), false), file(kJfif));  // behind its end
    // Bytes that fill the room before a marker.
    EXPECT_EQ(jpeg_for_pdf(joined({kStart, {0xFF, 0xFF}, kJfif, kTables, frame(), kScan, {0xFF}, kEnd}), false),
              joined({kStart, kJfif, kTables, frame(), kScan, {0xFF}, kEnd}));
}

TEST(JpegCopyTest, ProfilesArePutElsewhere) {
    const Bytes with = file(joined({kJfif, kProfile}));
    EXPECT_EQ(jpeg_for_pdf(with, true), file(kJfif));
    EXPECT_FALSE(jpeg_for_pdf(with, false));
    EXPECT_FALSE(jpeg_for_pdf(file(kJfif), true));
    EXPECT_FALSE(jpeg_for_pdf(file(joined({kJfif, segment(0xE2, std::string("ICC_PROFIL"))})), true));
    EXPECT_FALSE(jpeg_for_pdf(file(joined({kJfif, segment(0xE1, std::string("ICC_PROFILE"))})), true));
}

// Without a marker that tells the colors they follow from the names of the components.
TEST(JpegCopyTest, ColorsThatNoMarkerTells) {
    const Bytes others = frame(0xC0, 3, 8, 'R');
    EXPECT_FALSE(jpeg_for_pdf(file({}, others), false));
    EXPECT_TRUE(jpeg_for_pdf(file(kJfif, others), false));
    EXPECT_TRUE(jpeg_for_pdf(file(kAdobe, others), false));
    EXPECT_TRUE(jpeg_for_pdf(file({}, frame(0xC0, 1, 8, 'Y')), false));
    EXPECT_TRUE(jpeg_for_pdf(file({}, frame()), false));
    EXPECT_FALSE(jpeg_for_pdf(file(segment(0xE0, std::string("JFI")), others), false));
    EXPECT_FALSE(jpeg_for_pdf(file(segment(0xE1, std::string("JFIF")), others), false));
    EXPECT_FALSE(jpeg_for_pdf(file(segment(0xEE, std::string("Adob")), others), false));
    EXPECT_FALSE(jpeg_for_pdf(file(segment(0xED, std::string("Adobe")), others), false));
    for (size_t place = 0; place < 3; ++place) {
        Bytes one = frame();
        one[10 + 3 * place] += 1;
        EXPECT_FALSE(jpeg_for_pdf(file({}, one), false)) << place;
    }
}

TEST(JpegCopyTest, OtherCodingsAreNot) {
    for (const uint8_t marker : {0xC3, 0xC5, 0xC6, 0xC7, 0xC9, 0xCA, 0xCB, 0xCD, 0xCE, 0xCF}) {
        EXPECT_FALSE(jpeg_for_pdf(file(kJfif, frame(marker)), false)) << int{marker};
    }
    for (const uint8_t count : {0, 2, 4, 5}) {
        EXPECT_FALSE(jpeg_for_pdf(file(kJfif, frame(0xC0, count)), false)) << int{count};
    }
    for (const uint8_t bits : {7, 9, 12}) {
        EXPECT_FALSE(jpeg_for_pdf(file(kJfif, frame(0xC1, 3, bits)), false)) << int{bits};
    }
    Bytes longer{8, 0, 16, 0, 16, 1, 1, 0x11, 0, 0};
    EXPECT_FALSE(jpeg_for_pdf(file(kJfif, segment(0xC0, longer)), false));
    longer.resize(8);
    EXPECT_FALSE(jpeg_for_pdf(file(kJfif, segment(0xC0, longer)), false));
    EXPECT_FALSE(jpeg_for_pdf(file(kJfif, segment(0xC0, Bytes{8, 0, 16, 0, 16})), false));
    EXPECT_FALSE(jpeg_for_pdf(file(kJfif, joined({frame(), frame()})), false));
    EXPECT_FALSE(jpeg_for_pdf(joined({kStart, kJfif, kTables, kEnd}), false));
}

TEST(JpegCopyTest, DamagedFilesAreNot) {
    const Bytes whole = file(kJfif);
    for (size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(jpeg_for_pdf(std::span(whole).first(size), false)) << size;
    }
    for (const uint8_t bare : {0x01, 0xD0, 0xD7, 0xD8}) {
        EXPECT_FALSE(jpeg_for_pdf(file({0xFF, bare}), false)) << int{bare};
    }
    EXPECT_FALSE(jpeg_for_pdf(file({0x00}), false));
    EXPECT_FALSE(jpeg_for_pdf(file({0xFF, 0xE0, 0, 1}), false));
    EXPECT_TRUE(jpeg_for_pdf(file({0xFF, 0xE0, 0, 2}), false));
    EXPECT_FALSE(jpeg_for_pdf(joined({{0xFE, 0xD8}, kJfif, kTables, frame(), kScan, kEnd}), false));
    EXPECT_FALSE(jpeg_for_pdf(joined({{0xFF, 0xD7}, kJfif, kTables, frame(), kScan, kEnd}), false));
    // A segment that ends with the file, before any end of the picture.
    EXPECT_FALSE(
        jpeg_for_pdf(joined({kStart, kJfif, kTables, frame(), kScan, segment(0xFE, std::string("end"))}), false));
}

}  // namespace
}  // namespace zelmor::imagework
