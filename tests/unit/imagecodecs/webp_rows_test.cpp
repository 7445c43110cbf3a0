// WebP files: frames that are found without decoding, rows of still pictures, canvases of animations, and the writers.
#include <webp/decode.h>
#include <webp/encode.h>

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <tuple>

#include "runtime/native/formats/webp/webp_codec.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "tests/unit/imagecodecs/codec_files.h"
#include "tests/unit/imagework/counted_source.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr PixelForm kRgb{};
constexpr PixelForm kRgba{ColorModel::kRgb, SampleType::kUint8, 8, true};

// Soft waves: noise would make each file as long as its pixels.
Bytes waves(const RowsHeader& header, int phase = 0) {
    Bytes rows;
    const int bands = header.form.bands();
    for (int32_t y = 0; y < header.height; y++) {
        for (int32_t x = 0; x < header.width; x++) {
            for (int band = 0; band < bands; band++) {
                rows.push_back(static_cast<uint8_t>(8 * ((x + phase) % 31) + 3 * y * (band + 1)));
            }
        }
    }
    return rows;
}

Bytes still_file(const RowsHeader& header, const Bytes& rows, const WebpEncoding& encoding, int32_t step = 3) {
    MemorySink out;
    const auto writer = make_webp_writer(header, encoding, out);
    write_all(*writer, header, rows, step);
    return bytes_in(out);
}

// The pixels that the library's plain decoder gives.
Bytes plainly_decoded(const Bytes& file, bool alpha) {
    int width = 0;
    int height = 0;
    uint8_t* pixels = alpha ? WebPDecodeRGBA(file.data(), file.size(), &width, &height)
                            : WebPDecodeRGB(file.data(), file.size(), &width, &height);
    if (pixels == nullptr) {
        return {};
    }
    const auto count = static_cast<size_t>(width) * static_cast<size_t>(height) * (alpha ? 4 : 3);
    Bytes result(pixels, pixels + count);
    WebPFree(pixels);
    return result;
}

// A source over a file of its own, which is removed at once.
class TemporaryFile {
 public:
    explicit TemporaryFile(const Bytes& bytes) : m_file(std::tmpfile()) {
        std::fwrite(bytes.data(), 1, bytes.size(), m_file);
        std::fflush(m_file);
    }
    ~TemporaryFile() { std::fclose(m_file); }
    SharedSource source() const { return file_source(fileno(m_file)); }
    void change() {
        std::rewind(m_file);
        std::fputs("something else", m_file);
        std::fflush(m_file);
        EXPECT_EQ(ftruncate(fileno(m_file), 60), 0);
    }

 private:
    std::FILE* m_file;
};

void put(Bytes& out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; i++) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}

Bytes chunk(const char* type, const Bytes& content) {
    Bytes out(type, type + 4);
    put(out, content.size(), 4);
    out.insert(out.end(), content.begin(), content.end());
    if (content.size() % 2 != 0) {
        out.push_back(0);
    }
    return out;
}

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

Bytes riff(const Bytes& chunks) {
    Bytes out{'R', 'I', 'F', 'F'};
    put(out, chunks.size() + 4, 4);
    return joined({out, {'W', 'E', 'B', 'P'}, chunks});
}

Bytes extended(int flags, int32_t width, int32_t height) {
    Bytes content{static_cast<uint8_t>(flags), 0, 0, 0};
    put(content, static_cast<uint64_t>(width) - 1, 3);
    put(content, static_cast<uint64_t>(height) - 1, 3);
    return chunk("VP8X", content);
}

// The chunks of a file of one picture that belong to its pixels.
Bytes coded_chunks(const Bytes& file) {
    const bool has_header = std::equal(file.begin() + 12, file.begin() + 16, "VP8X");
    return {file.begin() + (has_header ? 30 : 12), file.end()};
}

struct Part {
    Rect area;
    Bytes pixels;  // RGBA
    int duration = 40;
    bool clears = false;
    bool replaces = false;
    bool lossless = true;
};

Bytes animation(int32_t width, int32_t height, const std::vector<Part>& parts) {
    Bytes chunks = joined({extended(0x12, width, height), chunk("ANIM", {1, 2, 3, 4, 5, 0})});
    for (const Part& part : parts) {
        WebpEncoding encoding;
        encoding.lossless = part.lossless;
        encoding.quality = 100;
        const auto file = still_file(header_of(part.area.width, part.area.height, kRgba), part.pixels, encoding);
        Bytes content;
        put(content, static_cast<uint64_t>(part.area.x) / 2, 3);
        put(content, static_cast<uint64_t>(part.area.y) / 2, 3);
        put(content, static_cast<uint64_t>(part.area.width) - 1, 3);
        put(content, static_cast<uint64_t>(part.area.height) - 1, 3);
        put(content, static_cast<uint64_t>(part.duration), 3);
        content.push_back(static_cast<uint8_t>((part.clears ? 1 : 0) | (part.replaces ? 2 : 0)));
        chunks = joined({chunks, chunk("ANMF", joined({content, coded_chunks(file)}))});
    }
    return riff(chunks);
}

Bytes plain(const Rect& area, std::array<uint8_t, 4> color) {
    Bytes pixels;
    for (int32_t i = 0; i < area.width * area.height; i++) {
        pixels.insert(pixels.end(), color.begin(), color.end());
    }
    return pixels;
}

std::array<uint8_t, 4> pixel(const Bytes& rows, int32_t width, int32_t x, int32_t y) {
    std::array<uint8_t, 4> found{};
    std::copy_n(rows.begin() + 4 * (y * width + x), 4, found.begin());
    return found;
}
using Color = std::array<uint8_t, 4>;

Bytes rows_of(const Bytes& file, size_t frame = 0, Recovery recovery = Recovery::kNone, int32_t step = 1) {
    return all_rows(*open_webp(memory_source(file), recovery)->open(frame), step);
}

TEST(WebpRowsTest, RowsAreThoseOfTheLibrarysDecoder) {
    for (const bool lossless : {false, true}) {
        for (const bool alpha : {false, true}) {
            for (const auto& [width, height] : {std::pair{1, 1}, {2, 3}, {37, 23}, {16, 64}, {301, 130}}) {
                const RowsHeader header = header_of(width, height, alpha ? kRgba : kRgb);
                WebpEncoding encoding;
                encoding.lossless = lossless;
                const Bytes rows = waves(header);
                const Bytes file = still_file(header, rows, encoding);
                const TemporaryFile kept(file);
                for (const SharedSource& source : {memory_source(file), kept.source()}) {
                    const auto frames = open_webp(source, Recovery::kNone);
                    ASSERT_EQ(frames->count(), 1U);
                    EXPECT_EQ(frames->header(0).facts.width, width);
                    for (const int32_t step : {1, 7, height}) {
                        const auto reader = frames->open(0);
                        const bool has_alpha = reader->header().form.alpha;
                        EXPECT_EQ(all_rows(*reader, step), plainly_decoded(file, has_alpha));
                        if (lossless) {
                            EXPECT_EQ(all_rows(*frames->open(0), step), rows);
                        }
                    }
                }
            }
        }
    }
}

// The library converts a whole picture to luma and chroma at once; here strips of it come.
TEST(WebpRowsTest, AFileIsTheOneOfTheLibrarysEncoder) {
    for (const bool lossless : {false, true}) {
        for (const bool alpha : {false, true}) {
            const RowsHeader header = header_of(75, 41, alpha ? kRgba : kRgb);
            Bytes rows = waves(header);
            if (alpha) {  // opaque strips, transparent ones, and such that are both
                for (size_t i = 3; i < rows.size(); i += 4) {
                    rows[i] = i < rows.size() / 2 ? 255 : i < rows.size() * 3 / 4 ? 0 : rows[i];
                }
            }
            WebPConfig config;
            WebPConfigInit(&config);
            config.lossless = lossless ? 1 : 0;
            config.exact = config.lossless;
            config.quality = 60;
            WebPPicture picture;
            WebPPictureInit(&picture);
            picture.use_argb = config.lossless;
            picture.width = header.width;
            picture.height = header.height;
            const int stride = static_cast<int>(row_size(header));
            alpha ? WebPPictureImportRGBA(&picture, rows.data(), stride)
                  : WebPPictureImportRGB(&picture, rows.data(), stride);
            WebPMemoryWriter memory;
            WebPMemoryWriterInit(&memory);
            picture.writer = WebPMemoryWrite;
            picture.custom_ptr = &memory;
            ASSERT_NE(WebPEncode(&config, &picture), 0);
            const Bytes expected(memory.mem, memory.mem + memory.size);
            WebPMemoryWriterClear(&memory);
            WebPPictureFree(&picture);
            WebpEncoding encoding;
            encoding.lossless = lossless;
            encoding.quality = 60;
            for (const int32_t step : {1, 2, 3, 16, 41}) {
                EXPECT_EQ(still_file(header, rows, encoding, step), expected) << lossless << alpha << step;
            }
        }
    }
}

TEST(WebpRowsTest, TheProfileStandsInItsChunk) {
    for (const bool lossless : {false, true}) {
        for (const bool alpha : {false, true}) {
            RowsHeader header = header_of(13, 9, alpha ? kRgba : kRgb);
            header.profile = std::make_shared<const Bytes>(Bytes{1, 2, 3, 4, 5});
            WebpEncoding encoding;
            encoding.lossless = lossless;
            const Bytes file = still_file(header, waves(header), encoding);
            const auto reader = open_webp(memory_source(file), Recovery::kNone)->open(0);
            ASSERT_NE(reader->header().profile, nullptr);
            EXPECT_EQ(*reader->header().profile, *header.profile);
            EXPECT_EQ(reader->header().form.alpha, alpha);
            header.profile = nullptr;
            EXPECT_EQ(plainly_decoded(file, true), plainly_decoded(still_file(header, waves(header), encoding), true));
        }
    }
}

TEST(WebpRowsTest, TheResolutionIsThatOfTheExifData) {
    const RowsHeader header = header_of(4, 4, kRgb);
    const Bytes picture = coded_chunks(still_file(header, waves(header), {}));
    const auto resolution_of = [&](const std::string& mark, int unit) {
        Bytes exif(mark.begin(), mark.end());
        Bytes tiff{'I', 'I', 42, 0, 8, 0, 0, 0, 3, 0};
        for (const auto& [tag, type, value] : {std::tuple{282, 5, 50}, {283, 5, 58}, {296, 3, unit}}) {
            put(tiff, static_cast<uint64_t>(tag), 2);
            put(tiff, static_cast<uint64_t>(type), 2);
            put(tiff, 1, 4);
            put(tiff, static_cast<uint64_t>(value), 4);
        }
        put(tiff, 0, 4);
        for (const int number : {300, 1, 301, 2}) {
            put(tiff, static_cast<uint64_t>(number), 4);
        }
        exif.insert(exif.end(), tiff.begin(), tiff.end());
        const Bytes file = riff(joined({extended(8, 4, 4), picture, chunk("EXIF", exif)}));
        return open_webp(memory_source(file), Recovery::kNone)->open(0)->header().resolution;
    };
    EXPECT_EQ(resolution_of("", 2), (Resolution{300, 150.5}));
    EXPECT_EQ(resolution_of(std::string("Exif\0\0", 6), 2), (Resolution{300, 150.5}));
    EXPECT_EQ(resolution_of("", 3), (Resolution{762, 150.5 * 2.54}));
    EXPECT_EQ(resolution_of("", 1), std::nullopt);
}

TEST(WebpRowsTest, FramesAreFoundByTheirHeaders) {
    const Bytes file = animation(20, 10,
                                 {{{0, 0, 20, 10}, plain({0, 0, 20, 10}, {1, 2, 3, 255}), 70},
                                  {{4, 2, 5, 3}, plain({4, 2, 5, 3}, {9, 9, 9, 128}), 16777215, true, true}});
    const auto frames = open_webp(memory_source(file), Recovery::kNone);
    ASSERT_EQ(frames->count(), 2U);
    EXPECT_EQ(frames->header(0).duration, 70);
    EXPECT_EQ(frames->header(1).duration, 16777215);
    EXPECT_EQ(frames->header(1).area, (Rect{4, 2, 5, 3}));
    EXPECT_EQ(frames->header(0).disposal, FrameDisposal::kLeave);
    EXPECT_EQ(frames->header(1).disposal, FrameDisposal::kClear);
    EXPECT_EQ(frames->reduction(0, 8), 1);
}

// Opaque over opaque, half over half, half over nothing; cleared areas; replaced pixels.
TEST(WebpRowsTest, CanvasesAreComposedInAnyOrder) {
    const Bytes file = animation(6, 4,
                                 {{{0, 0, 6, 4}, plain({0, 0, 6, 4}, {200, 100, 0, 255})},
                                  {{0, 0, 2, 4}, plain({0, 0, 2, 4}, {0, 0, 250, 51}), 40, true},
                                  {{0, 0, 4, 2}, plain({0, 0, 4, 2}, {10, 20, 30, 102}), 40},
                                  {{2, 0, 2, 2}, plain({2, 0, 2, 2}, {1, 1, 1, 7}), 40, false, true}});
    const auto frames = open_webp(memory_source(file), Recovery::kNone);
    const auto at = [&](size_t frame, int32_t x, int32_t y) { return pixel(all_rows(*frames->open(frame)), 6, x, y); };
    EXPECT_EQ(at(3, 2, 1), (Color{1, 1, 1, 7}));  // asked for first
    EXPECT_EQ(at(0, 0, 0), (Color{200, 100, 0, 255}));
    EXPECT_EQ(at(1, 0, 0), (Color{160, 80, 50, 255}));  // a fifth of blue
    EXPECT_EQ(at(2, 0, 0), (Color{10, 20, 30, 102}));   // over what was cleared
    EXPECT_EQ(at(2, 1, 3), (Color{0, 0, 0, 0}));        // cleared
    EXPECT_EQ(at(2, 3, 1), (Color{124, 68, 12, 255}));  // two fifths over the first frame
    EXPECT_EQ(at(3, 0, 0), (Color{10, 20, 30, 102}));   // left as it was
    EXPECT_EQ(at(3, 5, 3), (Color{200, 100, 0, 255}));
}

TEST(WebpRowsTest, HalfTransparentFramesAreWeighedByBothAlphas) {
    const Bytes file = animation(
        2, 2,
        {{{0, 0, 2, 2}, plain({0, 0, 2, 2}, {255, 0, 0, 128})}, {{0, 0, 2, 2}, plain({0, 0, 2, 2}, {0, 255, 0, 128})}});
    // 128 of 255 green, then what it lets through of 128 red: alpha 128 + 63.75.
    EXPECT_EQ(pixel(rows_of(file, 1), 2, 0, 0), (Color{85, 170, 0, 192}));
}

TEST(WebpRowsTest, FramesThatCoverTheCanvasNeedNoAlpha) {
    Bytes pixels = plain({0, 0, 8, 8}, {9, 60, 9, 255});
    EXPECT_FALSE(
        open_webp(memory_source(animation(8, 8, {{{0, 0, 8, 8}, pixels}, {{0, 0, 8, 8}, pixels}})), Recovery::kNone)
            ->open(1)
            ->header()
            .form.alpha);
    const Part small{{0, 0, 4, 4}, plain({0, 0, 4, 4}, {9, 60, 9, 255})};
    EXPECT_TRUE(open_webp(memory_source(animation(8, 8, {{{0, 0, 8, 8}, pixels}, small})), Recovery::kNone)
                    ->open(1)
                    ->header()
                    .form.alpha);
}

// An animation whose frames change a pixel each: any order gives the same canvases as the order of the file.
TEST(WebpRowsTest, LongAnimationsInAnyOrder) {
    std::vector<Part> parts{{{0, 0, 32, 16}, plain({0, 0, 32, 16}, {0, 0, 0, 255})}};
    for (int32_t i = 1; i < 60; i++) {
        const Rect area{2 * (i % 16), 2 * (i / 16), 2, 2};
        parts.push_back({area, plain(area, {static_cast<uint8_t>(4 * i), 200, 7, 200}), 10 * i, i % 3 == 0});
    }
    const Bytes file = animation(32, 16, parts);
    const auto in_order = open_webp(memory_source(file), Recovery::kNone);
    std::vector<Bytes> canvases;
    for (size_t i = 0; i < 60; i++) {
        canvases.push_back(all_rows(*in_order->open(i)));
    }
    const TemporaryFile kept(file);
    const auto other = open_webp(kept.source(), Recovery::kNone);
    for (const size_t i : {59U, 3U, 58U, 17U, 0U, 31U, 30U, 29U, 59U}) {
        EXPECT_EQ(all_rows(*other->open(i)), canvases[i]) << i;
    }
}

TEST(WebpRowsTest, ACutFileIsAnErrorOrHasTheRowsBeforeTheCut) {
    for (const bool lossless : {false, true}) {
        const RowsHeader header = header_of(120, 200, kRgb);
        WebpEncoding encoding;
        encoding.lossless = lossless;
        encoding.quality = 95;
        const Bytes rows = random_rows(header);
        const Bytes file = still_file(header, rows, encoding);
        const Bytes whole = plainly_decoded(file, false);
        size_t most = 0;
        for (size_t length = 0; length < file.size(); length += 1 + file.size() / 60) {
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_EQ(failure_of([&] { rows_of(cut); }).kind(), Failure::kDamaged) << length;
            for (const Recovery recovery : {Recovery::kConsistent, Recovery::kMaximal}) {
                std::unique_ptr<RowReader> reader;
                try {
                    reader = open_webp(memory_source(cut), recovery)->open(0);
                } catch (const PictureError& error) {
                    EXPECT_EQ(error.kind(), Failure::kDamaged);
                    EXPECT_LT(length, 100U);  // the header alone
                    continue;
                }
                Bytes row(row_size(header));
                size_t good = 0;
                try {
                    for (; good < 200; good++) {
                        reader->read(1, row);
                        EXPECT_TRUE(std::equal(row.begin(), row.end(),
                                               whole.begin() + static_cast<std::ptrdiff_t>(good * row.size())));
                    }
                } catch (const PictureError& error) {
                    EXPECT_EQ(error.kind(), Failure::kDamaged);
                }
                EXPECT_GE(good, most);
                most = std::max(most, good);
            }
        }
        EXPECT_GT(most, 150U);
    }
}

TEST(WebpRowsTest, ACutAnimationHasTheFramesBeforeTheCut) {
    const RowsHeader header = header_of(40, 60, kRgba);
    std::vector<Part> parts;
    for (unsigned i = 0; i < 4; i++) {
        parts.push_back({{0, 0, 40, 60}, random_rows(header, i)});
    }
    const Bytes file = animation(40, 60, parts);
    const auto whole = open_webp(memory_source(file), Recovery::kNone);
    const Bytes first = all_rows(*whole->open(0));
    const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(file.size() * 6 / 10));
    EXPECT_EQ(failure_of([&] { open_webp(memory_source(cut), Recovery::kNone); }).kind(), Failure::kDamaged);
    const auto frames = open_webp(memory_source(cut), Recovery::kMaximal);
    ASSERT_EQ(frames->count(), 3U);
    EXPECT_EQ(all_rows(*frames->open(0)), first);
    const Bytes third = all_rows(*frames->open(2));
    const Bytes second = all_rows(*frames->open(1));
    EXPECT_TRUE(std::equal(third.end() - 160, third.end(), second.end() - 160));  // rows that are lost show the canvas
    EXPECT_FALSE(std::equal(third.begin(), third.begin() + 160, second.begin()));
}

TEST(WebpRowsTest, AlteredHeadersAreAnErrorOrAPicture) {
    const RowsHeader header = header_of(24, 16, kRgba);
    const Bytes files[] = {
        still_file(header, random_rows(header), {}),
        animation(24, 16, {{{0, 0, 24, 16}, random_rows(header)}, {{2, 2, 8, 8}, plain({2, 2, 8, 8}, {1, 2, 3, 99})}})};
    for (const Bytes& file : files) {
        for (size_t at = 0; at < std::min<size_t>(90, file.size()); at++) {
            for (const uint8_t value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
                Bytes altered = file;
                altered[at] = value;
                for (const Recovery recovery : {Recovery::kNone, Recovery::kMaximal}) {
                    try {
                        const auto frames =
                            open_webp(memory_source(altered), recovery, std::make_shared<MemoryBudget>(1 << 20));
                        for (size_t i = 0; i < frames->count(); i++) {
                            all_rows(*frames->open(i));
                        }
                    } catch (const PictureError& error) {
                        EXPECT_NE(error.kind(), Failure::kInternal) << error.what();
                    }
                }
            }
        }
    }
}

TEST(WebpRowsTest, AFileThatWasChangedIsAnError) {
    const RowsHeader header = header_of(64, 64, kRgb);
    TemporaryFile file(still_file(header, random_rows(header), {}));
    const auto frames = open_webp(file.source(), Recovery::kNone);
    const auto reader = frames->open(0);
    file.change();
    Bytes row(row_size(header));
    EXPECT_EQ(failure_of([&] { reader->read(1, row); }).kind(), Failure::kDamaged);
    EXPECT_EQ(failure_of([&] { all_rows(*frames->open(0)); }).kind(), Failure::kDamaged);
}

TEST(WebpRowsTest, FindingFramesReadsNoPixels) {
    const RowsHeader header = header_of(150, 150, kRgba);
    std::vector<Part> parts;
    for (unsigned i = 0; i < 20; i++) {
        Bytes pixels = random_rows(header, i);
        for (size_t at = 3; at < pixels.size(); at += 4) {
            pixels[at] = 255;
        }
        parts.push_back({{0, 0, 150, 150}, std::move(pixels), 40, false, true, false});
    }
    const Bytes file = animation(150, 150, parts);
    const auto source = std::make_shared<CountedSource>(file);
    const auto frames = open_webp(source, Recovery::kNone);
    EXPECT_EQ(frames->count(), 20U);
    const uint64_t finding = source->read;
    EXPECT_LT(finding, uint64_t{30} * 4096);
    EXPECT_LT(finding, file.size() / 5);
    frames->open(17);  // it replaces all of the canvas
    EXPECT_LT(source->read - finding, file.size() / 15);
    source->read = 0;
    frames->open(18);
    EXPECT_LT(source->read, file.size() / 15);
}

TEST(WebpRowsTest, SizesAreCheckedBeforeMemoryIsTaken) {
    const Bytes tiny = coded_chunks(still_file(header_of(2, 2, kRgb), Bytes(12), {}));
    Bytes frame(16);
    frame[6] = frame[9] = 1;  // 2 by 2 pixels
    const auto bomb = [&](int32_t width, int32_t height) {
        return riff(
            joined({extended(2, width, height), chunk("ANIM", Bytes(6)), chunk("ANMF", joined({frame, tiny}))}));
    };
    EXPECT_EQ(failure_of([&] { open_webp(memory_source(bomb(1 << 24, 1 << 24)), Recovery::kNone); }).kind(),
              Failure::kTooLarge);
    const auto budget = std::make_shared<MemoryBudget>(900'000);
    const auto frames = open_webp(memory_source(bomb(1000, 1000)), Recovery::kNone, budget);
    EXPECT_EQ(failure_of([&] { frames->open(0); }).kind(), Failure::kTooLarge);
    EXPECT_EQ(budget->used(), 0U);
    const RowsHeader header = header_of(1000, 1000, kRgb);
    const auto still = open_webp(memory_source(still_file(header, waves(header), {})), Recovery::kNone, budget);
    EXPECT_EQ(failure_of([&] { still->open(0); }).kind(), Failure::kTooLarge);
}

TEST(WebpRowsTest, AReductionIsTheMeanOfThePixels) {
    const RowsHeader header = header_of(64, 48, kRgb);
    Bytes rows;
    for (int i = 0; i < 64 * 48; i++) {
        const int x = i % 64;
        const int y = i / 64;
        for (const int level : {40 + x + y, 30 + 2 * x + y, 200 - 2 * y}) {
            rows.push_back(static_cast<uint8_t>(level));
        }
    }
    const Bytes file = still_file(header, rows, {false, 100});
    const auto frames = open_webp(memory_source(file), Recovery::kNone);
    EXPECT_EQ(frames->reduction(0, 1), 1);
    EXPECT_EQ(frames->reduction(0, 5), 4);
    EXPECT_EQ(frames->reduction(0, 1000), 16);
    const Bytes whole = plainly_decoded(file, false);
    for (const int divisor : {2, 4, 8}) {
        const auto reader = frames->open_reduced(0, divisor);
        ASSERT_EQ(reader->header().width, 64 / divisor);
        ASSERT_EQ(reader->header().height, 48 / divisor);
        const Bytes reduced = all_rows(*reader, 2);
        for (int32_t y = 0; y < 48 / divisor; y++) {
            for (int32_t x = 0; x < 64 / divisor; x++) {
                int sum = 0;
                for (int32_t i = 0; i < divisor * divisor; i++) {
                    sum += whole[static_cast<size_t>(
                        3 * ((y * divisor + i / divisor) * 64 + x * divisor + i % divisor) + 1)];
                }
                EXPECT_NEAR(reduced[static_cast<size_t>(3 * (y * (64 / divisor) + x) + 1)],
                            double(sum) / (divisor * divisor), 3);
            }
        }
    }
    const auto reduction_of = [](int32_t width, int32_t height, const PixelForm& form, bool lossless) {
        const RowsHeader other = header_of(width, height, form);
        const Bytes other_file = still_file(other, waves(other), {lossless, 75});
        return open_webp(memory_source(other_file), Recovery::kNone)->reduction(0, 8);
    };
    EXPECT_EQ(reduction_of(64, 48, kRgb, true), 1);
    EXPECT_EQ(reduction_of(64, 48, kRgba, false), 1);
    EXPECT_EQ(reduction_of(63, 48, kRgb, false), 1);
    EXPECT_EQ(reduction_of(64, 50, kRgb, false), 2);
}

TEST(WebpRowsTest, AnimationsComeBack) {
    for (const bool lossless : {false, true}) {
        const RowsHeader header = header_of(21, 13, kRgba);
        MemorySink out;
        WebpEncoding encoding;
        encoding.lossless = lossless;
        encoding.quality = 90;
        encoding.loops = 7;
        encoding.background = 0x11223344;
        const auto writer = make_webp_animation_writer(21, 13, encoding, out);
        std::vector<Bytes> pictures;
        for (const int duration : {1, 0, 10, 300}) {
            pictures.push_back(waves(header, 5 * static_cast<int>(pictures.size())));
            for (size_t i = 3; i < pictures.back().size(); i += 4) {
                pictures.back()[i] = 255;
            }
            const auto frame = writer->frame(header, duration);
            frame->write(13, pictures.back());
            frame->finish();
        }
        writer->finish();
        const auto frames = open_webp(memory_source(bytes_in(out)), Recovery::kNone);
        ASSERT_EQ(frames->count(), 4U);
        EXPECT_EQ(frames->header(0).duration, 1);
        EXPECT_EQ(frames->header(1).duration, 0);
        EXPECT_EQ(frames->header(2).duration, 10);
        EXPECT_EQ(frames->header(3).duration, 300);
        const FrameHeader facts = frames->header(0);
        const auto* found = settings_as<WebpEncoding>(facts.facts);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->loops, 7);
        EXPECT_EQ(found->background, 0x11223344U);
        EXPECT_EQ(found->lossless, lossless);
        for (size_t i = 0; i < 4; i++) {
            const auto reader = frames->open(i);
            const size_t step = reader->header().form.pixel_size();
            const Bytes rows = all_rows(*reader);
            int sum = 0;
            for (size_t at = 0; at < 21 * 13; at++) {
                for (size_t band = 0; band < 3; band++) {
                    sum += std::abs(rows[step * at + band] - pictures[i][4 * at + band]);
                }
            }
            EXPECT_LE(sum, lossless ? 0 : 21 * 13 * 3 * 20) << i;
        }
    }
}

// Notes the pieces that a file comes in.
class PiecesSink final : public ByteSink {
 public:
    void write(std::span<const uint8_t> bytes) override {
        pieces++;
        file.insert(file.end(), bytes.begin(), bytes.end());
    }
    void write_whole(EncodedBytes) override { ADD_FAILURE() << "the file was kept as a whole"; }

    Bytes file;
    int pieces = 0;
};

TEST(WebpRowsTest, BytesGoOnAsTheLibraryGivesThem) {
    for (const bool profiled : {false, true}) {
        for (const bool alpha : {false, true}) {
            for (const bool lossless : {false, true}) {
                RowsHeader header = header_of(64, 48, alpha ? kRgba : kRgb);
                if (profiled) {
                    header.profile = std::make_shared<const Bytes>(Bytes(333, 7));
                }
                WebpEncoding encoding;
                encoding.lossless = lossless;
                PiecesSink out;
                const Bytes rows = random_rows(header);
                const auto writer = make_webp_writer(header, encoding, out);
                write_all(*writer, header, rows, 5);
                EXPECT_GT(out.pieces, 1);
                EXPECT_EQ(ByteReader(out.file).u32(4), out.file.size() - 8);
                EXPECT_EQ(std::string(out.file.begin() + 12, out.file.begin() + 16) == "VP8X",
                          profiled || (alpha && !lossless));
                const auto reader = open_webp(memory_source(out.file), Recovery::kNone)->open(0);
                EXPECT_EQ(reader->header().profile != nullptr, profiled);
                const Bytes found = all_rows(*reader);
                EXPECT_TRUE(!lossless || found == rows);
                for (const size_t room : {size_t{0}, size_t{40}, out.file.size() / 2}) {
                    FullSink full(room);
                    const auto failing = make_webp_writer(header, encoding, full);
                    EXPECT_THROW(write_all(*failing, header, rows, 48), FullSink::Full) << room;
                }
            }
        }
    }
}

TEST(WebpRowsTest, OtherFormsAndSizesAreRefused) {
    MemorySink out;
    const auto refused = [&](const RowsHeader& header, const WebpEncoding& encoding) {
        return failure_of([&] { make_webp_writer(header, encoding, out); }).kind();
    };
    EXPECT_EQ(refused(header_of(2, 2, {ColorModel::kGray}), {}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(2, 2, {ColorModel::kRgb, SampleType::kUint16, 16}), {}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(16384, 2, kRgb), {}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(2, 16384, kRgb), {}), Failure::kEncoding);
    EXPECT_EQ(refused(header_of(2, 2, kRgb), {false, 101}), Failure::kEncoding);
    EXPECT_EQ(failure_of([&] { make_webp_animation_writer(16384, 1, {}, out); }).kind(), Failure::kEncoding);
    const auto writer = make_webp_animation_writer(4, 4, {}, out);
    EXPECT_EQ(failure_of([&] { writer->frame(header_of(4, 5, kRgb), 10); }).kind(), Failure::kEncoding);
}

}  // namespace
}  // namespace zelmor::imagework
