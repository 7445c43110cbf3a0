// What the chunks of a DjVu file say, field by field: pages, their layers, and the directory of a document. The files
// are made by hand and have no pixels.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/formats/djvu/djvu_structure.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagework/failure_of.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

void add(Bytes& out, uint64_t value, int bytes) {
    for (int i = bytes; i-- > 0;) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}
Bytes text(std::string_view letters) {
    return {letters.begin(), letters.end()};
}
Bytes joined(std::initializer_list<Bytes> pieces) {
    Bytes out;
    for (const Bytes& piece : pieces) {
        out.insert(out.end(), piece.begin(), piece.end());
    }
    return out;
}
Bytes chunk(std::string_view type, const Bytes& content) {
    Bytes out = text(type);
    add(out, content.size(), 4);
    out.insert(out.end(), content.begin(), content.end());
    out.resize((out.size() + 1) / 2 * 2);
    return out;
}
Bytes form(std::string_view type, const Bytes& chunks) {
    return chunk("FORM", joined({text(type), chunks}));
}
// The size of the page, its version, dots per inch with the lower byte first, a gamma, and how it is turned.
const Bytes kInfo{0x12, 0x34, 0x02, 0x03, 0x18, 0x01, 0x2C, 0x01, 22, 1};
Bytes info(const Bytes& content = kInfo) {
    return chunk("INFO", content);
}
// The first piece of a wavelet picture.
Bytes wavelet(std::string_view type, bool gray, unsigned width = 33, unsigned height = 64, uint8_t serial = 0) {
    Bytes content{serial, 1, static_cast<uint8_t>(gray ? 0x81 : 1), 2};
    add(content, width, 2);
    add(content, height, 2);
    return chunk(type, content);
}
Bytes page(const Bytes& chunks) {
    return joined({text("AT&T"), form("DJVU", joined({info(), chunks}))});
}

DjvuStructure structure(const Bytes& file, bool lenient = false, size_t most = 1000) {
    return djvu_structure(ByteReader(file), lenient, most);
}
DjvuPagePlace only(const Bytes& file) {
    const DjvuStructure found = structure(file);
    EXPECT_EQ(found.pages.size(), 1U);
    EXPECT_FALSE(found.is_bundled);
    EXPECT_EQ(found.size, file.size());
    return found.pages.at(0);
}
std::string damage(const Bytes& file, Failure kind = Failure::kDamaged, bool lenient = false) {
    const PictureError error = failure_of([&] { structure(file, lenient); });
    EXPECT_EQ(error.kind(), kind) << error.what();
    const std::string found = error.what();
    const std::string begin = "the DjVu file is damaged: ";
    return found.rfind(begin, 0) == 0 ? found.substr(begin.size()) : found;
}

TEST(DjvuHeader, TheMark) {
    for (const std::string_view type : {"DJVU", "DJVM", "PM44", "BM44"}) {
        const Bytes plain = form(type, info());
        EXPECT_TRUE(is_djvu(ByteReader(plain)));
        EXPECT_EQ(sniff(plain), Format::kDjvu);
        const Bytes magic = joined({text("AT&T"), plain});
        EXPECT_TRUE(is_djvu(ByteReader(magic)));
        for (size_t at = 0; at < 16; at++) {
            Bytes other = magic;
            other[at] ^= 1;
            EXPECT_EQ(is_djvu(ByteReader(other)), at >= 8 && at < 12) << type << " " << at;
        }
    }
    EXPECT_FALSE(is_djvu(ByteReader(form("THUM", {}))));
    EXPECT_FALSE(is_djvu(ByteReader(form("DJVI", {}))));
    EXPECT_EQ(damage(Bytes(40)), "it has no signature");
}

TEST(DjvuHeader, TheInformationOfAPage) {
    DjvuPagePlace found = only(page({}));
    EXPECT_EQ(found.width, 0x1234);
    EXPECT_EQ(found.height, 0x0203);
    EXPECT_EQ(found.version, 0x0118);
    EXPECT_EQ(found.dpi, 300);
    EXPECT_EQ(found.quarter_turns, 0);
    EXPECT_EQ(found.at, 4U);
    EXPECT_EQ(found.size, page({}).size() - 4);
    EXPECT_TRUE(found.complete);
    EXPECT_FALSE(found.has_layers() || found.has_text || found.includes);
    // Fields that an older file does not have.
    const auto with = [](const Bytes& content) { return only(joined({text("AT&T"), form("DJVU", info(content))})); };
    for (size_t size = 5; size <= 10; size++) {
        Bytes content{0, 3, 0, 5, 7, 1, 0x90, 0x01, 22, 6};
        content.resize(size);
        found = with(content);
        EXPECT_EQ(found.version, size >= 6 ? 0x107 : 7);
        EXPECT_EQ(found.dpi, size >= 8 ? 400 : 300);
        EXPECT_EQ(found.quarter_turns, size >= 10 ? 1 : 0);
        EXPECT_EQ(found.width, size >= 10 ? 5 : 3);
        EXPECT_EQ(found.height, size >= 10 ? 3 : 5);
    }
    for (const auto& [dpi, expected] :
         {std::pair{24, 300}, {25, 25}, {26, 26}, {6000, 6000}, {6001, 300}, {0, 300}, {0xFFFF, 300}}) {
        EXPECT_EQ(with({0, 3, 0, 5, 7, 1, static_cast<uint8_t>(dpi), static_cast<uint8_t>(dpi >> 8), 22, 1}).dpi,
                  expected);
    }
    constexpr int kTurns[] = {0, 0, 2, 0, 0, 3, 1, 0};
    for (int flags = 0; flags < 256; flags++) {
        found = with({0, 3, 0, 5, 7, 1, 44, 1, 22, static_cast<uint8_t>(flags)});
        const int turns = kTurns[flags % 8];
        EXPECT_EQ(found.quarter_turns, turns);
        EXPECT_EQ(found.width, turns % 2 == 1 ? 5 : 3);
        EXPECT_EQ(found.height, turns % 2 == 1 ? 3 : 5);
    }
    EXPECT_EQ(damage(form("DJVU", info({0, 3, 0, 5}))), "a page does not tell its size");
    EXPECT_EQ(damage(form("DJVU", info({0, 0, 0, 5, 7}))), "a page has no size");
    EXPECT_EQ(damage(form("DJVU", info({0, 3, 0, 0, 7}))), "a page has no size");
    EXPECT_EQ(damage(form("DJVU", chunk("Sjbz", {1}))), "a page has no size");
}

TEST(DjvuHeader, TheLayersOfAPage) {
    struct Case {
        Bytes chunks;
        bool mask;
        bool background;
        bool foreground;
        bool gray;
        bool text;
        bool includes;
    };
    const auto any = [](std::string_view type) { return chunk(type, {1, 2, 3}); };
    const std::vector<Case> cases{
        {any("Sjbz"), true, false, false, true, false, false},
        {any("Smmr"), true, false, false, true, false, false},
        {wavelet("BG44", false), false, true, false, false, false, false},
        {wavelet("BG44", true), false, true, false, true, false, false},
        {wavelet("PM44", false), false, true, false, false, false, false},
        {wavelet("BM44", true), false, true, false, true, false, false},
        {wavelet("FG44", true), false, false, true, false, false, false},
        {any("BGjp"), false, true, false, false, false, false},
        {any("FGbz"), false, false, true, false, false, false},
        {any("FGjp"), false, false, true, false, false, false},
        {any("TXTa"), false, false, false, true, true, false},
        {any("TXTz"), false, false, false, true, true, false},
        {any("INCL"), false, false, false, true, false, true},
        {any("ANTz"), false, false, false, true, false, false},
        {joined({any("Sjbz"), any("FGbz"), wavelet("BG44", true)}), true, true, true, false, false, false},
        {joined({any("Sjbz"), wavelet("BG44", true)}), true, true, false, true, false, false},
    };
    for (const Case& one : cases) {
        const DjvuPagePlace found = only(page(one.chunks));
        EXPECT_EQ(found.has_mask, one.mask);
        EXPECT_EQ(found.has_background, one.background);
        EXPECT_EQ(found.has_foreground, one.foreground);
        EXPECT_EQ(found.is_gray, one.gray);
        EXPECT_EQ(found.has_text, one.text);
        EXPECT_EQ(found.includes, one.includes);
        EXPECT_EQ(found.has_layers(), one.mask || one.background || one.foreground);
        const bool bitonal = !one.background && !one.foreground;
        EXPECT_EQ(found.is_bitonal(), bitonal);
        const bool gray = bitonal || (one.gray && !one.mask);
        EXPECT_EQ(found.form(),
                  (PixelForm{gray ? ColorModel::kGray : ColorModel::kRgb, SampleType::kUint8, bitonal ? 1 : 8, false}));
        const FileFacts facts = probe(page(one.chunks));
        EXPECT_TRUE(facts.readable);
        EXPECT_EQ(facts.bits_per_pixel, bitonal ? 1 : gray ? 8 : 24);
        EXPECT_EQ(facts.width, 0x1234);
        EXPECT_TRUE(facts.has_resolution);
    }
    for (const std::string_view type : {"BG2k", "FG2k"}) {
        EXPECT_EQ(damage(page(any(type)), Failure::kUnsupported),
                  "this is a DjVu file with a layer that is coded as JPEG 2000, which is not read");
        EXPECT_EQ(probe(page(any(type))).obstacle,
                  "this is a DjVu file with a layer that is coded as JPEG 2000, which is not read");
    }
}

TEST(DjvuHeader, WaveletPictures) {
    for (const auto& [width, height, pixels] : {std::tuple{1U, 1U, 1024U},
                                                {32U, 32U, 1024U},
                                                {33U, 32U, 2048U},
                                                {32U, 33U, 2048U},
                                                {0x1234U, 64U, 146U * 2 * 1024}}) {
        EXPECT_EQ(only(page(wavelet("BG44", true, width, height))).wavelet_pixels, pixels);
    }
    const Bytes several = joined({wavelet("BG44", true), wavelet("BG44", true, 500, 500, 1), wavelet("FG44", true)});
    EXPECT_EQ(only(page(several)).wavelet_pixels, 2U * 2 * 2 * 1024) << "only the first piece has the size";
    for (const std::string_view type : {"PM44", "BM44"}) {
        const DjvuPagePlace alone = only(form(type, wavelet(type, type == "BM44", 0x0102, 0x0304)));
        EXPECT_EQ(alone.width, 0x0102);
        EXPECT_EQ(alone.height, 0x0304);
        EXPECT_EQ(alone.dpi, 100);
        EXPECT_EQ(alone.is_gray, type == "BM44");
        EXPECT_EQ(alone.at, 0U);
    }
    EXPECT_EQ(only(page(wavelet("BG44", true))).dpi, 300) << "that of the page";
    for (size_t size = 0; size < 8; size++) {
        EXPECT_EQ(damage(page(chunk("BG44", Bytes(size)))), "a picture has no header") << size;
    }
    EXPECT_NO_THROW(structure(page(chunk("BG44", {1, 0}))));
    EXPECT_EQ(damage(page(chunk("FG44", {1}))), "a picture has no header");
}

TEST(DjvuHeader, ChunksThatDoNotEnd) {
    const Bytes file = page(joined({chunk("Sjbz", Bytes(5)), chunk("TXTa", Bytes(4))}));
    EXPECT_TRUE(only(file).has_text);
    for (size_t size = 16 + 18; size < file.size(); size++) {
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(damage(cut), "a page is cut off") << size;
        const DjvuStructure found = structure(cut, true);
        ASSERT_EQ(found.pages.size(), 1U);
        EXPECT_FALSE(found.pages[0].complete);
        EXPECT_EQ(found.size, file.size());
    }
    Bytes longer = file;
    longer[16 + 18 + 7] += 12;  // up to the end of the page
    EXPECT_NO_THROW(structure(longer));
    longer[16 + 18 + 7] += 3;
    EXPECT_EQ(damage(longer), "a chunk does not end within its page");
}

// ---- Documents.

Bytes document(const std::vector<Bytes>& forms, uint8_t flags = 0x81) {
    Bytes directory{flags};
    add(directory, forms.size(), 2);
    size_t at = 4 + 12 + 8 + 3 + 4 * forms.size();
    at += at % 2;
    for (const Bytes& one : forms) {
        add(directory, at, 4);
        at += one.size();
    }
    Bytes all;
    for (const Bytes& one : forms) {
        all.insert(all.end(), one.begin(), one.end());
    }
    return joined({text("AT&T"), form("DJVM", joined({chunk("DIRM", directory), all}))});
}
Bytes sized(unsigned width) {
    Bytes content = kInfo;
    content[0] = static_cast<uint8_t>(width >> 8);
    content[1] = static_cast<uint8_t>(width);
    return form("DJVU", info(content));
}

TEST(DjvuDocument, PagesInTheOrderOfTheDirectory) {
    const Bytes file = document({sized(1), form("DJVI", chunk("Djbz", {1})), sized(2), sized(3)});
    const DjvuStructure found = structure(file);
    EXPECT_TRUE(found.is_bundled);
    EXPECT_EQ(found.size, file.size());
    ASSERT_EQ(found.pages.size(), 3U);
    for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(found.pages[i].width, static_cast<int32_t>(i) + 1);
        EXPECT_EQ(found.pages[i].size, 30U);
        EXPECT_EQ(found.pages[i].thumbnail_size, 0U);
    }
    for (size_t most = 1; most < 5; most++) {
        EXPECT_EQ(structure(file, false, most).pages.size(), std::min<size_t>(most, 3));
    }
    EXPECT_EQ(picture_end(probe(file))->needed(file), file.size());
    for (size_t come = 0; come < 30; come++) {
        const Bytes part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(come));
        EXPECT_EQ(picture_end(probe(file))->needed(part), come < 12 ? 12 : file.size());
    }
}

TEST(DjvuDocument, Thumbnails) {
    const auto thumbnails = [](const std::vector<size_t>& sizes) {
        Bytes chunks;
        for (const size_t size : sizes) {
            const Bytes one = chunk("TH44", Bytes(size, 5));
            chunks.insert(chunks.end(), one.begin(), one.end());
        }
        return form("THUM", joined({chunks, chunk("ANTz", {1})}));
    };
    const Bytes first = thumbnails({7, 8});
    const Bytes file = document({first, sized(1), sized(2), thumbnails({9, 10}), sized(3)});
    const DjvuStructure found = structure(file);
    ASSERT_EQ(found.pages.size(), 3U);
    const size_t begin = found.pages[0].at - first.size();
    EXPECT_EQ(found.pages[0].thumbnail_at, begin + 12 + 8);
    EXPECT_EQ(found.pages[0].thumbnail_size, 7U);
    EXPECT_EQ(found.pages[1].thumbnail_at, begin + 12 + 16 + 8);
    EXPECT_EQ(found.pages[1].thumbnail_size, 8U);
    EXPECT_EQ(found.pages[2].thumbnail_size, 9U) << "a fourth one belongs to no page";
    Bytes longer = file;
    longer[begin + 12 + 16 + 7] = 200;  // beyond its form: it keeps its place
    const DjvuStructure some = structure(longer);
    EXPECT_EQ(some.pages[0].thumbnail_size, 7U);
    EXPECT_EQ(some.pages[1].thumbnail_size, 0U);
    EXPECT_EQ(some.pages[2].thumbnail_size, 9U);
}

TEST(DjvuDocument, WhatIsRefused) {
    const Bytes file = document({sized(1), sized(2)});
    Bytes other = file;
    other[16 + 3] = '0';
    std::copy_n("DIR0", 4, other.begin() + 16);
    EXPECT_EQ(damage(other, Failure::kUnsupported),
              "this is a DjVu document of the form before version 3, which is not read");
    std::copy_n("DIRN", 4, other.begin() + 16);
    EXPECT_EQ(damage(other), "the document has no directory");
    EXPECT_EQ(damage(document({sized(1)}, 0x7F), Failure::kUnsupported),
              "this is an indirect DjVu document, whose pages lie in other files; only bundled ones are read");
    EXPECT_NO_THROW(structure(document({sized(1)}, 0x80)));
    for (const uint8_t size : {0, 2}) {
        other = file;
        other[16 + 7] = size;
        EXPECT_EQ(damage(other), "the document has no directory");
    }
    for (const uint8_t size : {3, 7, 10}) {
        other = file;
        other[16 + 7] = size;
        EXPECT_EQ(damage(other), "the directory is cut off") << int{size};
    }
    EXPECT_EQ(damage(document({})), "it has no page");
    EXPECT_EQ(damage(document({form("DJVI", {})})), "it has no page");
    // A page that is not there ends the document.
    other = file;
    const auto least = static_cast<uint8_t>(file.size() - 12);
    other[16 + 8 + 3 + 7] = static_cast<uint8_t>(least + 1);
    EXPECT_EQ(damage(other), "a page lies behind the end of the file");
    EXPECT_EQ(structure(other, true).pages.size(), 1U);
    other[16 + 8 + 3 + 3] = 255;
    EXPECT_EQ(damage(other, Failure::kDamaged, true), "it has no page");
    other = file;
    other[16 + 8 + 3 + 7] = least;
    EXPECT_EQ(structure(other).pages.size(), 1U) << "there is something, and it is no page";
}

}  // namespace
}  // namespace zelmor::imagework
