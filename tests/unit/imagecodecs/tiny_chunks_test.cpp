// Files of endless tiny chunks, extensions and palettes: what they cost is bounded by the table of limits, and so are
// the bytes that each step reads of them.
#include "runtime/native/formats/gif/gif_codec.h"
#include "runtime/native/formats/png/png_chunks.h"
#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/png/png_frames.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/imagecodecs/codec_files.h"
#include "tests/unit/imagework/counted_source.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr PixelForm kGray{ColorModel::kGray, SampleType::kUint8, 8, false};

Bytes chunk(uint32_t type, const Bytes& content = {}) {
    Bytes out;
    put_png_chunk(out, type, content);
    return out;
}

void repeat(Bytes& out, const Bytes& piece, uint64_t count) {
    out.reserve(out.size() + piece.size() * count);
    for (uint64_t i = 0; i < count; i++) {
        out.insert(out.end(), piece.begin(), piece.end());
    }
}

void append(Bytes& out, const Bytes& piece) {
    out.insert(out.end(), piece.begin(), piece.end());
}

// A picture of 3 by 2 pixels, with so many pieces before its pixels or among them.
struct Picture {
    RowsHeader header = header_of(3, 2, kGray);
    Bytes rows = random_rows(header);
    Bytes pixels;  // the content of its data chunk
    Bytes head;    // up to that

    Picture() {
        MemorySink out;
        const auto writer = make_png_writer(header, {}, out);
        write_all(*writer, header, rows, 2);
        const Bytes file = bytes_in(out);
        for (const PngChunk& found : png_chunks(file)) {
            if (found.type == kIdat) {
                pixels.assign(found.data.begin(), found.data.end());
                head.assign(file.data(), found.data.data() - 8);
            }
        }
    }
    Bytes with(const Bytes& piece, uint64_t count, bool among_pixels) const {
        Bytes file = head;
        if (among_pixels) {
            append(file, chunk(kIdat, {pixels.begin(), pixels.begin() + 3}));
        }
        repeat(file, piece, count);
        append(file, chunk(kIdat, {pixels.begin() + (among_pixels ? 3 : 0), pixels.end()}));
        append(file, chunk(kIend));
        return file;
    }
};

TEST(TinyChunksTest, SomeEmptyDataAreReadOnce) {
    const Picture picture;
    const auto source = std::make_shared<CountedSource>(picture.with(chunk(kIdat), 300'000, true));
    EXPECT_EQ(all_rows(*open_png(source), 2), picture.rows);
    EXPECT_LT(source->read, source->size() + 200'000);
    EXPECT_LT(source->reads, 200U);
    EXPECT_EQ(all_rows(*open_png(source, {true, true, {}}), 2), picture.rows);
}

TEST(TinyChunksTest, MoreChunksThanTheLimitAreRefused) {
    const Picture picture;
    for (const bool among_pixels : {false, true}) {
        const uint32_t type = among_pixels ? kIdat : png_type("teSt");
        const Bytes file = picture.with(chunk(type), limits::kChunks, among_pixels);
        const auto failure = failure_of([&] { all_rows(*open_png(borrowed_source(file)), 2); });
        EXPECT_EQ(failure.kind(), Failure::kTooLarge);
        EXPECT_NE(std::string(failure.what()).find(std::to_string(limits::kChunks)), std::string::npos);
        FileFacts facts;
        facts.format = Format::kPng;
        const auto end = picture_end(facts);
        EXPECT_LE(end->needed(file), file.size());  // no reader looks further
    }
}

Bytes frame_control(uint32_t sequence) {
    Bytes content;
    for (const uint32_t number : {sequence, uint32_t{3}, uint32_t{2}, uint32_t{0}, uint32_t{0}}) {
        put_png_u32(content, number);
    }
    append(content, {0, 1, 0, 10, 0, 0});
    return chunk(kFrame, content);
}

// Two frames; `before` stands before the first data, `data` among the data of the second frame.
Bytes animation(const Picture& picture, const Bytes& before, const Bytes& data) {
    Bytes file = picture.head;
    append(file, chunk(kControl, {0, 0, 0, 2, 0, 0, 0, 0}));
    append(file, before);
    append(file, frame_control(0));
    append(file, chunk(kIdat, picture.pixels));
    append(file, frame_control(1));
    append(file, data);
    Bytes content{0, 0, 0, 2};
    append(content, picture.pixels);
    append(file, chunk(kFrameData, content));
    append(file, chunk(kIend));
    return file;
}

TEST(TinyChunksTest, AFrameOfAnAnimationCostsNoChunksOfOthers) {
    const Picture picture;
    Bytes before;
    repeat(before, chunk(png_type("gAMA"), {0, 0, 0xB1, 0x8F}), 50'000);
    const auto source = std::make_shared<CountedSource>(animation(picture, before, {}));
    const SharedFrames frames = open_apng(source);
    ASSERT_EQ(frames->count(), 2U);
    const uint64_t walked = source->read;
    EXPECT_LT(walked, 4 * source->size());
    for (const size_t i : {1, 0, 1}) {
        EXPECT_EQ(all_rows(*frames->open(i), 2), picture.rows);
    }
    EXPECT_LT(source->read - walked, source->size() / 2);
}

TEST(TinyChunksTest, EmptyDataOfAFrameAreNotKept) {
    const Picture picture;
    Bytes data;
    repeat(data, chunk(kFrameData, {0, 0, 0, 2}), 200'000);
    const auto source = std::make_shared<CountedSource>(animation(picture, {}, data));
    const SharedFrames frames = open_apng(source);
    const uint64_t walked = source->read;
    EXPECT_EQ(all_rows(*frames->open(1), 2), picture.rows);
    EXPECT_LT(source->read - walked, source->size() / 2);
}

TEST(TinyChunksTest, AFrameWithoutDataIsDamage) {
    const Picture picture;
    Bytes data;
    repeat(data, frame_control(1), 100'000);
    EXPECT_EQ(failure_of([&] { open_apng(memory_source(animation(picture, {}, data))); }).kind(), Failure::kDamaged);
    Bytes empty;
    append(empty, chunk(kFrameData, {0, 0, 0, 2}));
    append(empty, frame_control(3));
    EXPECT_EQ(failure_of([&] { open_apng(memory_source(animation(picture, {}, empty))); }).kind(), Failure::kDamaged);
    EXPECT_EQ(open_apng(memory_source(animation(picture, {}, data)), true)->count(), 1U);
}

TEST(TinyChunksTest, AnAnimationOfMoreChunksIsRefused) {
    const Picture picture;
    Bytes data;
    repeat(data, chunk(kFrameData, {0, 0, 0, 2}), limits::kChunks);
    EXPECT_EQ(failure_of([&] { open_apng(memory_source(animation(picture, {}, data))); }).kind(), Failure::kTooLarge);
}

TEST(TinyChunksTest, AFileHasOnePalette) {
    const RowsHeader header = header_of(3, 2, {ColorModel::kIndexed, SampleType::kUint8, 8, false});
    MemorySink out;
    const auto writer = make_png_writer(header, {}, out);
    write_all(*writer, header, random_rows(header), 2);
    const Bytes file = bytes_in(out);
    Bytes doubled;
    for (const PngChunk& found : png_chunks(file)) {
        if (found.type == png_type("PLTE")) {
            doubled.assign(file.data(), found.data.data() - 8);
            repeat(doubled, chunk(found.type, {found.data.begin(), found.data.end()}), 1000);
            doubled.insert(doubled.end(), found.data.data() + found.data.size() + 4, file.data() + file.size());
        }
    }
    EXPECT_EQ(probe(doubled).palette.size(), 256U);
    EXPECT_EQ(failure_of([&] { open_png(memory_source(doubled)); }).kind(), Failure::kDamaged);
}

TEST(TinyChunksTest, ExtensionsOfAGifAreCounted) {
    const RowsHeader header = header_of(3, 2, {ColorModel::kIndexed, SampleType::kUint8, 8, false});
    MemorySink out;
    const auto writer = make_gif_writer(header, {}, out);
    write_all(*writer, header, random_rows(header), 2);
    const Bytes file = bytes_in(out);
    const size_t screen = 13 + 3 * 256;
    const auto with = [&](uint64_t count) {
        Bytes result(file.begin(), file.begin() + screen);
        repeat(result, {0x21, 0x01, 0x00}, count);
        result.insert(result.end(), file.begin() + screen, file.end());
        return result;
    };
    EXPECT_EQ(open_gif(memory_source(with(1000)))->structure().extensions.size(), 1000U);
    EXPECT_EQ(failure_of([&] { open_gif(memory_source(with(limits::kChunks + 1))); }).kind(), Failure::kTooLarge);
}

}  // namespace
}  // namespace zelmor::imagework
