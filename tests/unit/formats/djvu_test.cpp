// DjVu files of DjVuLibre's tools: pages, layers, text, and damage.
//
// The codec is tested in its shared object, loaded as the runtime does: what the library finds there belongs to it.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <thread>

#include "runtime/native/formats/djvu/djvu_codec.h"
#include "runtime/native/formats/djvu/djvu_probe.h"
#include "runtime/native/imagework/codec_library.h"
#include "tests/unit/formats/oracle_files.h"

namespace zelmor::imagework {
namespace {

const FormatCodec& codec() {
    static const FormatCodec* const loaded = load_codec(DJVU_LIBRARY, true);
    return *loaded;
}

SharedDjvu opened(const Bytes& file, Recovery recovery = Recovery::kNone, const SharedBudget& budget = {}) {
    DecodeOptions options;
    options.recovery = recovery;
    options.memory = budget;
    return std::static_pointer_cast<const DjvuFrames>(codec().open(memory_source(file), FileFacts{}, options));
}

// Black and white blocks, as bytes of 0 and 255.
Bytes blocks(int32_t width, int32_t height) {
    Bytes rows;
    for (int32_t y = 0; y < height; y++) {
        for (int32_t x = 0; x < width; x++) {
            rows.push_back(x / 9 % 3 == 1 && y / 11 % 2 == 1 && x * y % 7 != 0 ? 0 : 255);
        }
    }
    return rows;
}

Bytes bitmap_file(int32_t width, int32_t height, const Bytes& rows) {
    const std::string head = "P4\n" + std::to_string(width) + " " + std::to_string(height) + "\n";
    Bytes out(head.begin(), head.end());
    for (int32_t y = 0; y < height; y++) {
        for (int32_t x = 0; x < width; x += 8) {
            unsigned byte = 0;
            for (int32_t i = 0; i < 8; i++) {
                const bool black = x + i < width && rows[static_cast<size_t>(y * width + x + i)] == 0;
                byte = byte << 1 | (black ? 1U : 0U);
            }
            out.push_back(static_cast<uint8_t>(byte));
        }
    }
    return out;
}

constexpr int32_t kWidth = 203;
constexpr int32_t kHeight = 331;

// Files of the tools: a bitonal page, a photo, a gray one, and a page of all layers.
class DjvuFiles : public ::testing::Test {
 protected:
    static void SetUpTestSuite() {
        files = std::make_unique<OracleDirectory>();
        files->write("in.pbm", bitmap_file(kWidth, kHeight, blocks(kWidth, kHeight)));
        files->write("in.ppm", portable_map(kWidth, kHeight, 3, 255, waves(kWidth, kHeight, 3)));
        files->write("in.pgm", portable_map(kWidth, kHeight, 1, 255, waves(kWidth, kHeight, 1)));
        files->write("small.ppm", portable_map(68, 111, 3, 255, waves(68, 111, 3)));
        files->run("cjb2 -dpi 200 in.pbm mask.djvu");
        files->run("c44 -dpi 150 in.ppm photo.djvu");
        files->run("c44 -dpi 120 in.pgm gray.djvu");
        files->run("c44 small.ppm small.djvu");
        files->run("djvuextract mask.djvu Sjbz=mask.sjbz");
        files->run("djvuextract small.djvu BG44=small.bg44");
        files->run("djvumake all.djvu INFO=203,331,300 Sjbz=mask.sjbz FGbz=#ff2040 BG44=small.bg44");
        files->run("djvm -c book.djvu mask.djvu photo.djvu all.djvu");
    }
    static void TearDownTestSuite() { files.reset(); }

    // The pixels that the other program draws.
    static Bytes drawn(const std::string& name, const std::string& options) {
        files->run("ddjvu " + options + " " + name + " out.map");
        return map_samples(files->read("out.map"));
    }

    static std::unique_ptr<OracleDirectory> files;  // of all tests of the suite
};

std::unique_ptr<OracleDirectory> DjvuFiles::files;

TEST_F(DjvuFiles, BitonalPageIsGrayOfOneBit) {
    const auto document = opened(files->read("mask.djvu"));
    ASSERT_EQ(document->count(), 1U);
    const auto reader = document->open(0);
    EXPECT_EQ(reader->header().form, (PixelForm{ColorModel::kGray, SampleType::kUint8, 1, false}));
    EXPECT_EQ(reader->header().resolution, (Resolution{200, 200}));
    EXPECT_TRUE(same(all_rows(*reader, 50), blocks(kWidth, kHeight)));
    EXPECT_EQ(document->header(0).facts.bits_per_pixel, 1);
    EXPECT_EQ(document->reduction(0, 1), 1);
    EXPECT_EQ(document->reduction(0, 8), 1);
}

TEST_F(DjvuFiles, PagesWithColorsAreThoseOfTheOtherProgram) {
    for (const std::string name : {"photo.djvu", "all.djvu"}) {
        const auto document = opened(files->read(name));
        const auto reader = document->open(0);
        EXPECT_EQ(reader->header().form, PixelForm{});
        EXPECT_TRUE(same(all_rows(*reader, 100), drawn(name, "-format=ppm"))) << name;
    }
    const auto gray = opened(files->read("gray.djvu"))->open(0);
    EXPECT_EQ(gray->header().form, PixelForm{ColorModel::kGray});
    EXPECT_EQ(gray->header().resolution, (Resolution{120, 120}));
    EXPECT_TRUE(same(all_rows(*gray), drawn("gray.djvu", "-format=pgm")));
}

TEST_F(DjvuFiles, LargePagesAreDrawnInStrips) {
    constexpr int32_t kSide = 4200;
    Bytes rows(size_t{kSide} * kSide, 255);
    for (size_t y = 0; y < kSide; y++) {  // few shapes, which the encoder compares with each other
        std::fill_n(rows.begin() + static_cast<std::ptrdiff_t>(y * kSide + y / 3), y / 7 % 60, uint8_t{0});
    }
    files->write("large.pbm", bitmap_file(kSide, kSide, rows));
    files->run("cjb2 large.pbm large.djvu");
    const auto reader = opened(files->read("large.djvu"))->open(0);
    EXPECT_TRUE(same(all_rows(*reader, 999), rows));
}

TEST_F(DjvuFiles, PicturesAreDecodedSmaller) {
    const auto document = opened(files->read("photo.djvu"));
    const std::pair<int, int> divisors[] = {{1, 1}, {2, 2}, {3, 2}, {4, 4}, {7, 4}, {8, 8}, {12, 8}, {16, 8}, {100, 8}};
    for (const auto& [most, divisor] : divisors) {
        EXPECT_EQ(document->reduction(0, most), divisor) << most;
    }
    for (const int divisor : {2, 4, 8}) {
        const auto reader = document->open_reduced(0, divisor);
        EXPECT_EQ(reader->header().width, (kWidth + divisor - 1) / divisor);
        EXPECT_TRUE(same(all_rows(*reader, 9),
                         drawn("photo.djvu", "-format=ppm -aspect=no -size=" + std::to_string(reader->header().width) +
                                                 "x" + std::to_string(reader->header().height))));
    }
}

TEST_F(DjvuFiles, BookHasItsPagesInOrder) {
    const auto book = opened(files->read("book.djvu"));
    ASSERT_EQ(book->count(), 3U);
    EXPECT_EQ(book->header(0).facts.frame_count, 3);
    const char* const pages[] = {"mask.djvu", "photo.djvu", "all.djvu"};
    for (const size_t index : {2U, 0U, 1U}) {
        const auto alone = opened(files->read(pages[index]));
        EXPECT_TRUE(same(all_rows(*book->open(index), 64), all_rows(*alone->open(0), 331))) << index;
        EXPECT_EQ(book->page(index).dpi, alone->page(0).dpi);
    }
}

TEST_F(DjvuFiles, PagesWithSharedPartsNeedTheDocument) {
    files->run("cp book.djvu shared.djvu");
    const std::string note = "(background #ffffff)";
    files->write("note.txt", Bytes(note.begin(), note.end()));
    files->run("djvused shared.djvu -e 'create-shared-ant; set-ant note.txt; save'");
    const auto book = opened(files->read("shared.djvu"));
    ASSERT_EQ(book->count(), 3U);
    EXPECT_TRUE(book->page(1).includes);
    const auto first = book->open(1);
    const auto second = book->open(2);
    EXPECT_TRUE(same(all_rows(*second), drawn("all.djvu", "-format=ppm")));
    EXPECT_TRUE(same(all_rows(*first), drawn("photo.djvu", "-format=ppm")));
}

TEST_F(DjvuFiles, PagesAreUpright) {
    files->run("cp photo.djvu turned.djvu");
    for (const int turns : {1, 2, 3}) {
        files->run("djvused turned.djvu -e 'select 1; set-rotation " + std::to_string(turns) + "; save'");
        const auto document = opened(files->read("turned.djvu"));
        EXPECT_EQ(document->page(0).quarter_turns, turns);
        const auto reader = document->open(0);
        EXPECT_EQ(reader->header().width, turns == 2 ? kWidth : kHeight);
        EXPECT_TRUE(same(all_rows(*reader), drawn("turned.djvu", "-format=ppm"))) << turns;
    }
}

TEST_F(DjvuFiles, LayersComeAlone) {
    const auto document = opened(files->read("all.djvu"));
    const auto mask = document->open_layer(0, DjvuLayer::kMask, 1);
    ASSERT_NE(mask, nullptr);
    EXPECT_TRUE(same(all_rows(*mask), blocks(kWidth, kHeight)));
    EXPECT_TRUE(same(all_rows(*document->open_layer(0, DjvuLayer::kForeground, 1)),
                     drawn("all.djvu", "-format=ppm -mode=foreground")));
    EXPECT_TRUE(same(all_rows(*document->open_layer(0, DjvuLayer::kBackground, 3)),
                     drawn("all.djvu", "-format=ppm -mode=background -aspect=no -size=68x111")));
    EXPECT_TRUE(same(all_rows(*document->open_layer(0, DjvuLayer::kMask, 2)),
                     drawn("all.djvu", "-format=pgm -mode=mask -aspect=no -size=102x166")));
    const auto photo = opened(files->read("photo.djvu"));
    EXPECT_EQ(photo->open_layer(0, DjvuLayer::kMask, 1), nullptr);
    EXPECT_EQ(photo->open_layer(0, DjvuLayer::kForeground, 1), nullptr);
    EXPECT_EQ(failure_of([&] { photo->open_layer(0, DjvuLayer::kPage, 13); }).parameter(), "subsample");
}

TEST_F(DjvuFiles, TextLiesUnderThePage) {
    files->run("cp book.djvu text.djvu");
    const std::string text =
        "(page 0 0 203 331 (line 10 300 200 320 (word 10 300 60 320 \"Grüße\") (word 70 300 120 320 \"an\"))"
        " (line 10 270 200 290 (word 10 270 60 290 \"hier\")))";
    files->write("page.txt", Bytes(text.begin(), text.end()));
    files->run("djvused text.djvu -e 'select 2; set-txt page.txt; save'");
    const auto document = opened(files->read("text.djvu"));
    EXPECT_TRUE(document->words(0).empty());
    const auto words = document->words(1);
    ASSERT_EQ(words.size(), 3U);
    EXPECT_EQ(words[0].text, "Grüße");
    EXPECT_EQ(words[0].area, (Rect{10, 11, 50, 20}));
    EXPECT_FALSE(words[0].ends_line);
    EXPECT_TRUE(words[1].ends_line);
    EXPECT_EQ(words[2].text, "hier");
    EXPECT_EQ(djvu_text(words, {0, 0, kWidth, kHeight}), "Grüße an\nhier");
    EXPECT_EQ(djvu_text(words, {0, 0, 60, kHeight}), "Grüße\nhier");
    EXPECT_EQ(djvu_text(words, {0, 100, 60, kHeight}), "");
}

TEST_F(DjvuFiles, DocumentsOfSeveralFilesAreRefusedByName) {
    files->run("mkdir pages && djvmcvt -i book.djvu pages index.djvu");
    const Bytes index = files->read("pages/index.djvu");
    EXPECT_EQ(probe_djvu(ByteReader(index)).unreadable,
              "this is an indirect DjVu document, whose pages lie in other files; only bundled ones are read");
    EXPECT_EQ(failure_of([&] { opened(index); }).kind(), Failure::kUnsupported);
}

TEST_F(DjvuFiles, HeadersAreReadWithoutTheLibrary) {
    const Bytes file = files->read("book.djvu");
    const DjvuFacts facts = probe_djvu(ByteReader(file));
    EXPECT_TRUE(facts.facts.readable) << facts.unreadable;
    EXPECT_EQ(facts.facts.width, kWidth);
    EXPECT_EQ(facts.facts.height, kHeight);
    EXPECT_EQ(facts.facts.bits_per_pixel, 1);
    EXPECT_FALSE(is_djvu(ByteReader(Bytes{'F', 'O', 'R', 'M', 0, 0, 0, 4, 'A', 'I', 'F', 'F'})));
}

TEST_F(DjvuFiles, CutDocumentsKeepTheirFirstPages) {
    Bytes file = files->read("book.djvu");
    file.resize(file.size() - 400);
    const PictureError error = failure_of([&] { opened(file); });
    EXPECT_EQ(error.kind(), Failure::kDamaged);
    EXPECT_STREQ(error.what(), "the DjVu file is damaged: a page is cut off");
    const auto book = opened(file, Recovery::kConsistent);
    ASSERT_GE(book->count(), 2U);
    EXPECT_TRUE(same(all_rows(*book->open(0)), blocks(kWidth, kHeight)));
    EXPECT_TRUE(same(all_rows(*book->open(1)), drawn("photo.djvu", "-format=ppm")));
}

TEST_F(DjvuFiles, ClaimsOfThePictureAreCounted) {
    Bytes file = files->read("photo.djvu");
    const auto at = std::search(file.begin(), file.end(), std::begin("BG44"), std::end("BG44") - 1) - file.begin();
    std::fill_n(file.begin() + at + 12, 4, uint8_t{0xF0});  // 61680 by 61680
    const auto budget = std::make_shared<MemoryBudget>(uint64_t{256} << 20);
    EXPECT_EQ(failure_of([&] { all_rows(*opened(file, Recovery::kNone, budget)->open(0)); }).kind(),
              Failure::kTooLarge);
    EXPECT_EQ(budget->used(), 0U);
}

TEST_F(DjvuFiles, LibraryKeepsTheLocaleAndHasALimitOfMemory) {
    setenv("LC_ALL", "C.UTF-8", 1);
    std::setlocale(LC_ALL, "C");
    const auto document = opened(files->read("photo.djvu"));
    all_rows(*document->open(0));
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
    unsetenv("LC_ALL");
#if !defined(__SANITIZE_ADDRESS__)
    void* const library = dlopen(DJVU_LIBRARY, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    const auto take = reinterpret_cast<void* (*)(size_t)>(dlsym(library, "_Znwm"));
    EXPECT_ANY_THROW(take(size_t{257} << 20));
    void* const memory = take(1000);
    EXPECT_NE(memory, nullptr);
    ::operator delete(memory);
#endif
}

size_t threads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
}

TEST_F(DjvuFiles, NoThreadStaysBehind) {
    const Bytes file = files->read("book.djvu");
    const size_t before = threads();
    for (int i = 0; i < 5; i++) {
        const auto book = opened(file);
        const auto reader = book->open(2);
        Bytes row(row_size(reader->header()));
        reader->read(1, row);
    }
    for (int i = 0; i < 100 && threads() > before; i++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(threads(), before);
}

TEST_F(DjvuFiles, DamageIsAnErrorOrAPicture) {
    const Bytes sources[] = {files->read("mask.djvu"), files->read("all.djvu"), files->read("book.djvu"),
                             files->read("photo.djvu")};
    const auto budget = std::make_shared<MemoryBudget>(uint64_t{256} << 20);
    int pictures = 0;
    for (unsigned seed = 0; seed < 300; seed++) {
        const Bytes file = damaged(sources[seed % 4], seed / 4 * 5 + seed % 4);
        const auto start = std::chrono::steady_clock::now();
        try {
            const auto document = opened(file, seed % 3 == 0 ? Recovery::kNone : Recovery::kMaximal, budget);
            for (size_t i = 0; i < std::min<size_t>(document->count(), 3); i++) {
                const auto reader = document->open(i);
                if (int64_t{reader->header().width} * reader->header().height < 4'000'000) {
                    all_rows(*reader, 64);
                    pictures++;
                }
            }
        } catch (const PictureError& error) {
            EXPECT_STRNE(error.what(), "");
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << seed;
        EXPECT_EQ(budget->used(), 0U) << seed;
    }
    EXPECT_GT(pictures, 50);
}

}  // namespace
}  // namespace zelmor::imagework
