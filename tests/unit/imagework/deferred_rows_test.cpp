// Pictures whose pixels are decoded when they are needed, over a source of frames that counts what is asked of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "pictures.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/imagework/pixels/memory_budget.h"

namespace zelmor::imagework {
namespace {

constexpr int32_t kWidth = 96;
constexpr int32_t kHeight = 64;

uint8_t level(int32_t x, int32_t y) {
    return static_cast<uint8_t>(7 * x + 13 * y);
}

struct Counts {
    int opened = 0;
    int rows = 0;
    int divisor = 0;  // of the last reduced reader
    int32_t intact = kHeight;
};

class CountedRows final : public RowReader {
 public:
    CountedRows(Counts& counts, int divisor) : m_counts(counts) {
        m_header.width = (kWidth + divisor - 1) / divisor;
        m_header.height = (kHeight + divisor - 1) / divisor;
        m_header.form.color = ColorModel::kGray;
    }
    const RowsHeader& header() const override { return m_header; }
    void read(int32_t count, std::span<uint8_t> rows) override {
        if (m_next + count > m_counts.intact) {
            throw PictureError(Failure::kDamaged, "the tape is torn");
        }
        for (int32_t i = 0; i < count; i++, m_next++, m_counts.rows++) {
            for (int32_t x = 0; x < m_header.width; x++) {
                rows[static_cast<size_t>(i) * static_cast<size_t>(m_header.width) + static_cast<size_t>(x)] =
                    level(x, m_next);
            }
        }
    }

 private:
    Counts& m_counts;
    RowsHeader m_header;
    int32_t m_next = 0;
};

class CountedFrames final : public FrameSource {
 public:
    CountedFrames(Counts& counts, size_t frames, bool reduces)
        : m_counts(counts), m_frames(frames), m_reduces(reduces) {}
    size_t count() const override { return m_frames; }
    FrameHeader header(size_t) const override {
        FrameHeader header;
        header.facts.format = Format::kPng;
        header.facts.width = kWidth;
        header.facts.height = kHeight;
        header.area = {0, 0, kWidth, kHeight};
        return header;
    }
    std::unique_ptr<RowReader> open(size_t) const override {
        m_counts.opened++;
        return std::make_unique<CountedRows>(m_counts, 1);
    }
    int reduction(size_t, int most) const override { return m_reduces ? std::min(most, 4) & 6 : 1; }
    std::unique_ptr<RowReader> open_reduced(size_t, int divisor) const override {
        m_counts.divisor = divisor;
        return std::make_unique<CountedRows>(m_counts, divisor);
    }

 private:
    Counts& m_counts;
    size_t m_frames;
    bool m_reduces;
};

struct DeferredRowsTest : testing::Test {
    Counts counts;
    std::shared_ptr<MemoryBudget> budget = std::make_shared<MemoryBudget>();

    std::unique_ptr<Picture> picture(size_t frames = 1, bool reduces = false) {
        DecodeOptions options;
        options.memory = budget;
        options.subject = "Cannot load 'a.png'";
        return backend().decode_frame(std::make_shared<const CountedFrames>(counts, frames, reduces), 0, options);
    }
};

std::vector<Argb> levels(const Rect& area) {
    std::vector<Argb> colors;
    for (int32_t y = area.y; y < area.y + area.height; y++) {
        for (int32_t x = area.x; x < area.x + area.width; x++) {
            colors.push_back(kBlack | level(x, y) * 0x010101U);
        }
    }
    return colors;
}

TEST_F(DeferredRowsTest, NothingIsReadBeforePixelsAreNeeded) {
    auto loaded = picture();
    EXPECT_EQ(loaded->width(), kWidth);
    EXPECT_EQ(loaded->height(), kHeight);
    EXPECT_TRUE(loaded->is_gray());
    EXPECT_FALSE(loaded->is_decoded());
    loaded->crop({8, 8, 80, 40});
    loaded->resize(40, 20, Resampling::kNearest);
    EXPECT_EQ(loaded->copy()->width(), 40);
    EXPECT_EQ(counts.rows, 0);
    EXPECT_EQ(budget->used(), 0U);
    loaded->get_argb(0, 0);
    EXPECT_TRUE(loaded->is_decoded());
    EXPECT_EQ(counts.rows, 8 + 40);  // those below the part are not read
    EXPECT_EQ(counts.opened, 1);
}

TEST_F(DeferredRowsTest, AFileIsDecodedTwiceAtMost) {
    const auto loaded = picture();
    const auto file = encoded(*loaded, PngEncoding{});
    EXPECT_EQ(counts.opened, 1);
    EXPECT_FALSE(loaded->is_decoded());
    EXPECT_EQ(budget->used(), 0U);
    EXPECT_EQ(encoded(*loaded, PngEncoding{}), file);
    EXPECT_EQ(counts.opened, 2);
    EXPECT_EQ(budget->used(), uint64_t{kWidth} * kHeight);
    EXPECT_EQ(encoded(*loaded, PngEncoding{}), file);
    EXPECT_EQ(pixels_of(*loaded), levels({0, 0, kWidth, kHeight}));
    EXPECT_EQ(counts.opened, 2);
}

TEST_F(DeferredRowsTest, PartsOfCopiesShareThePixels) {
    const auto loaded = picture();
    for (int32_t i = 0; i < 5; i++) {
        const Rect area{3 * i, 5 * i, 40, 30};
        auto part = loaded->copy();
        part->crop(area);
        EXPECT_EQ(pixels_of(*decoded(encoded(*part, PngEncoding{}))), levels(area));
        EXPECT_EQ(pixels_of(*part), levels(area));
    }
    EXPECT_EQ(counts.opened, 2);
}

TEST_F(DeferredRowsTest, AChangeOfOneCopyIsNotSeenInAnother) {
    const auto loaded = picture();
    auto first = loaded->copy();
    first->decode();
    first->set_argb(0, 0, kWhite);
    first->let_go();
    EXPECT_EQ(first->get_argb(0, 0), kWhite);
    EXPECT_EQ(pixels_of(*loaded), levels({0, 0, kWidth, kHeight}));
    auto second = loaded->copy();
    second->set_argb(1, 0, kWhite);
    EXPECT_EQ(loaded->get_argb(1, 0), levels({1, 0, 1, 1})[0]);
}

TEST_F(DeferredRowsTest, APageOfSeveralIsNotKept) {
    const auto page = picture(3);
    const auto file = encoded(*page, PngEncoding{});
    for (int opened = 2; opened < 5; opened++) {
        EXPECT_EQ(encoded(*page, PngEncoding{}), file);
        EXPECT_EQ(counts.opened, opened);
        EXPECT_EQ(budget->used(), 0U);
    }
}

TEST_F(DeferredRowsTest, PixelsAreLetGoAndDecodedAgain) {
    const auto page = picture(3);
    page->decode();
    EXPECT_EQ(budget->used(), uint64_t{kWidth} * kHeight);
    page->let_go();
    EXPECT_FALSE(page->is_decoded());
    EXPECT_EQ(budget->used(), 0U);
    EXPECT_EQ(pixels_of(*page), levels({0, 0, kWidth, kHeight}));
    EXPECT_EQ(counts.opened, 2);
    page->replace_area({0, 0, 1, 1}, kWhite);
    page->let_go();
    EXPECT_TRUE(page->is_decoded());
    EXPECT_EQ(page->get_argb(0, 0), kWhite);
}

TEST_F(DeferredRowsTest, OthersAreLetGoBeforeTheLimitIsAnError) {
    budget = std::make_shared<MemoryBudget>(uint64_t{kWidth} * kHeight * 3 / 2);
    const auto first = picture(2);
    const auto second = picture(2);
    budget->set_reclaim([&] { first->let_go(); });
    first->decode();
    second->decode();
    EXPECT_FALSE(first->is_decoded());
    EXPECT_TRUE(second->is_decoded());
    const PictureError error = failure_of([&] { first->decode(); });
    EXPECT_EQ(error.kind(), Failure::kDamaged);
    EXPECT_TRUE(std::string(error.what()).starts_with("Cannot load 'a.png': its pixels need 6144 bytes"))
        << error.what();
}

TEST_F(DeferredRowsTest, AGreatReductionIsTheDecoders) {
    struct Case {
        int32_t width, height;
        Resampling resampling;
        int divisor;
    };
    for (const Case& one : {Case{12, 8, Resampling::kLanczos, 4}, Case{24, 16, Resampling::kBilinear, 2},
                            Case{25, 16, Resampling::kLanczos, 0}, Case{12, 40, Resampling::kLanczos, 0},
                            Case{12, 8, Resampling::kNearest, 0}}) {
        counts = {};
        const auto loaded = picture(1, true);
        loaded->resize(one.width, one.height, one.resampling);
        loaded->decode();
        EXPECT_EQ(counts.divisor, one.divisor) << one.width;
        EXPECT_EQ(loaded->width(), one.width);
    }
    counts = {};
    const auto loaded = picture(1, true);
    loaded->decode();
    loaded->resize(12, 8, Resampling::kLanczos);
    EXPECT_EQ(counts.divisor, 0);
}

TEST_F(DeferredRowsTest, DamageIsAnErrorEachTime) {
    counts.intact = 40;
    const auto loaded = picture();
    for (int i = 0; i < 2; i++) {
        const PictureError error = failure_of([&] { loaded->decode(); });
        EXPECT_EQ(error.kind(), Failure::kDamaged);
        EXPECT_STREQ(error.what(), "Cannot load 'a.png': the PNG data is damaged or incomplete: the tape is torn");
        EXPECT_EQ(failure_of([&] { encoded(*loaded, PngEncoding{}); }).kind(), Failure::kDamaged);
        EXPECT_FALSE(loaded->is_decoded());
        EXPECT_EQ(budget->used(), 0U);
    }
    auto part = loaded->copy();
    part->crop({0, 0, kWidth, 40});
    EXPECT_EQ(pixels_of(*part), levels({0, 0, kWidth, 40}));
}

}  // namespace
}  // namespace zelmor::imagework
