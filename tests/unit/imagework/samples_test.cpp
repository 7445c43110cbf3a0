// Rows of samples: depths, signs, colors, few bits and blending, beside plain formulas.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "failure_of.h"
#include "runtime/native/imagework/pixels/blending.h"
#include "runtime/native/imagework/pixels/packed_pixels.h"
#include "runtime/native/imagework/pixels/samples.h"

namespace zelmor::imagework {
namespace {

constexpr Storage kStorages[] = {Storage::kByte, Storage::kWord, Storage::kLong, Storage::kFloat, Storage::kDouble};
constexpr SampleType kTypes[] = {SampleType::kUint8,  SampleType::kInt8,  SampleType::kUint16, SampleType::kInt16,
                                 SampleType::kUint32, SampleType::kInt32, SampleType::kFloat,  SampleType::kDouble};
constexpr ColorModel kModels[] = {ColorModel::kGray, ColorModel::kRgb, ColorModel::kCmyk, ColorModel::kLab,
                                  ColorModel::kIndexed};

bool is_whole(Storage storage) {
    return storage <= Storage::kLong;
}
double top_of(Storage storage) {
    return storage == Storage::kByte   ? 255
           : storage == Storage::kWord ? 65535
           : storage == Storage::kLong ? 4294967295
                                       : 1;
}

// Samples as numbers, in the storage and back.
std::vector<uint8_t> stored(Storage storage, const std::vector<double>& values) {
    std::vector<uint8_t> bytes;
    with_storage(storage, [&](auto sample) {
        using Sample = decltype(sample);
        bytes.resize(values.size() * sizeof(Sample));
        for (size_t i = 0; i < values.size(); i++) {
            const auto value = static_cast<Sample>(values[i]);
            std::memcpy(&bytes[i * sizeof(Sample)], &value, sizeof value);
        }
    });
    return bytes;
}
std::vector<double> numbers(Storage storage, const std::vector<uint8_t>& bytes) {
    std::vector<double> values;
    with_storage(storage, [&](auto sample) {
        using Sample = decltype(sample);
        for (size_t at = 0; at < bytes.size(); at += sizeof(Sample)) {
            Sample value;
            std::memcpy(&value, &bytes[at], sizeof value);
            values.push_back(static_cast<double>(value));
        }
    });
    return values;
}

// What a sample becomes: of 16 bits the upper byte, otherwise the nearest value; floats are what part of the range it
// is.
double in_depth(Storage from, double value, Storage to) {
    if (from == to) {
        return value;
    }
    if (!is_whole(to)) {
        const double part = is_whole(from) ? value / top_of(from) : value;
        return to == Storage::kFloat ? static_cast<float>(part) : part;
    }
    if (from == Storage::kWord && to == Storage::kByte) {
        return std::floor(value / 256);
    }
    if (!is_whole(from)) {
        return std::isnan(value) ? 0 : std::floor(std::clamp(value * top_of(to), 0.0, top_of(to)) + 0.5);
    }
    return std::round(value * (top_of(to) / top_of(from)));
}

std::vector<double> some_samples(Storage storage) {
    std::vector<double> values{0, top_of(storage)};
    if (!is_whole(storage)) {
        const double nan = std::numeric_limits<double>::quiet_NaN(), far = std::numeric_limits<double>::infinity();
        values.insert(values.end(), {-0.5, -1e-9, 1.5, 1 + 1e-6, 1e20, nan, far, -far, 0.5, 0.499, 1e-9, 0.001});
    } else {
        values.insert(values.end(), {1, 127, 128, 129, 254});
    }
    std::mt19937_64 draw(7);
    for (int i = 0; i < 300; i++) {
        const double part = static_cast<double>(draw() >> 11) / 9007199254740992.0;
        values.push_back(is_whole(storage) ? std::floor(part * top_of(storage)) : static_cast<float>(part));
    }
    if (storage == Storage::kLong) {
        for (const double step : {65537.0, 16843009.0}) {  // the steps of 16 and of 8 bits, and what is half-way
            for (const double times : {1.0, 77.0, 200.0}) {
                for (const double more : {-1.0, 0.0, 1.0}) {
                    values.push_back(step * times + std::floor(step / 2) + more);
                }
            }
        }
    }
    return values;
}

TEST(SamplesTest, EachDepthBecomesEachOther) {
    for (const Storage from : kStorages) {
        const std::vector<uint8_t> in = stored(from, some_samples(from));
        const std::vector<double> values = numbers(from, in);  // as floats hold them
        for (const Storage to : kStorages) {
            std::vector<uint8_t> out = stored(to, std::vector<double>(values.size() + 1, 0));
            const size_t size = out.size() / (values.size() + 1);
            std::fill(out.begin(), out.end(), uint8_t{0x5A});
            change_depth(from, in.data(), to, out.data(), values.size());
            EXPECT_EQ(std::count(out.end() - static_cast<ptrdiff_t>(size), out.end(), 0x5A),
                      static_cast<ptrdiff_t>(size));
            const std::vector<double> found = numbers(to, out);
            for (size_t i = 0; i < values.size(); i++) {
                const double expected = in_depth(from, values[i], to);
                if (std::isnan(expected)) {
                    EXPECT_TRUE(std::isnan(found[i]));
                } else if (std::isinf(expected)) {
                    EXPECT_EQ(found[i], expected);
                } else {
                    EXPECT_NEAR(found[i], expected, is_whole(to) ? 0 : 1e-7 * std::fabs(expected))
                        << static_cast<int>(from) << " to " << static_cast<int>(to) << ": " << values[i];
                }
            }
        }
    }
}

TEST(SamplesTest, TypesHaveTheirStorageAndSize) {
    constexpr Storage kOf[] = {Storage::kByte, Storage::kByte, Storage::kWord,  Storage::kWord,
                               Storage::kLong, Storage::kLong, Storage::kFloat, Storage::kDouble};
    constexpr size_t kSizes[] = {1, 1, 2, 2, 4, 4, 4, 8};
    for (size_t i = 0; i < std::size(kTypes); i++) {
        EXPECT_EQ(storage_of(kTypes[i]), kOf[i]);
        EXPECT_EQ(sample_size(kTypes[i]), kSizes[i]);
        EXPECT_EQ(with_storage(kOf[i], [](auto sample) { return sizeof(sample); }), kSizes[i]);
        EXPECT_EQ(sample_top(kOf[i]), top_of(kOf[i]));
        EXPECT_EQ(with_storage(kOf[i], [](auto sample) { return sample_top<decltype(sample)>(); }), top_of(kOf[i]));
    }
}

TEST(SamplesTest, FormsHaveTheirBands) {
    constexpr int kColors[] = {1, 3, 4, 3, 1};
    for (size_t i = 0; i < std::size(kModels); i++) {
        for (const SampleType type : kTypes) {
            for (const bool alpha : {false, true}) {
                const PixelForm form{kModels[i], type, 8, alpha};
                EXPECT_EQ(form.color_bands(), kColors[i]);
                EXPECT_EQ(form.bands(), kColors[i] + (alpha ? 1 : 0));
                EXPECT_EQ(form.pixel_size(), sample_size(type) * static_cast<size_t>(form.bands()));
                EXPECT_EQ(form.is_integer(), type != SampleType::kFloat && type != SampleType::kDouble);
                EXPECT_EQ(form.has_inks(), kModels[i] == ColorModel::kCmyk &&
                                               (type == SampleType::kUint8 || type == SampleType::kUint16));
                EXPECT_EQ(PackedPixels::suit({kModels[i], type, 4, alpha}),
                          type == SampleType::kUint8 && form.bands() == 1);
                EXPECT_FALSE(PackedPixels::suit(form));
            }
        }
    }
}

TEST(SamplesTest, SignsAreTurnedWhereAFileHasThem) {
    for (const ColorModel model : kModels) {
        for (const SampleType type : kTypes) {
            for (const bool alpha : {false, true}) {
                const PixelForm form{model, type, 8, alpha};
                const bool is_signed =
                    type == SampleType::kInt8 || type == SampleType::kInt16 || type == SampleType::kInt32;
                const bool lab = model == ColorModel::kLab && form.is_integer();
                EXPECT_EQ(has_signs(form), is_signed || lab);
                const auto bands = static_cast<size_t>(form.bands());
                const size_t size = sample_size(type);
                std::vector<uint8_t> rows(5 * bands * size), expected;
                for (size_t i = 0; i < rows.size(); i++) {
                    rows[i] = static_cast<uint8_t>(37 * i + 5);
                    // The sign is in the last byte of a sample. L* and alpha have none.
                    const size_t band = i / size % bands;
                    const bool turns = lab ? band == 1 || band == 2 : is_signed;
                    expected.push_back(static_cast<uint8_t>(rows[i] ^ (turns && i % size == size - 1 ? 0x80 : 0)));
                }
                turn_signs(form, rows);
                EXPECT_EQ(rows, expected) << static_cast<int>(model) << ' ' << static_cast<int>(type) << alpha;
            }
        }
    }
}

TEST(SamplesTest, FloatsAreInRangeFromZeroToOne) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const Storage storage : kStorages) {
        for (const double value : {0.0, 0.5, 1.0, -0.001, 1.001, nan}) {
            if (is_whole(storage) && !(value >= 0)) {
                continue;
            }
            for (size_t place = 0; place < 3; place++) {
                std::vector<double> values{0, 1, 0};
                values[place] = value;
                const std::vector<uint8_t> bytes = stored(storage, values);
                EXPECT_EQ(in_range(storage, bytes.data(), 3), is_whole(storage) || (value >= 0 && value <= 1));
                EXPECT_TRUE(in_range(storage, bytes.data(), place));
            }
        }
    }
}

TEST(SamplesTest, PixelsAreColorsAndBack) {
    std::mt19937_64 draw(3);
    for (const SampleType type : kTypes) {
        const Storage storage = storage_of(type);
        for (const ColorModel model : {ColorModel::kGray, ColorModel::kRgb}) {
            for (const bool alpha : {false, true}) {
                const PixelForm form{model, type, 8, alpha};
                const auto bands = static_cast<size_t>(form.bands());
                constexpr size_t kCount = 40;
                std::vector<double> values;
                for (size_t i = 0; i < kCount * bands; i++) {
                    const double part = static_cast<double>(draw() >> 11) / 9007199254740992.0;
                    values.push_back(is_whole(storage) ? std::floor(part * top_of(storage)) : static_cast<float>(part));
                }
                const std::vector<uint8_t> rows = stored(storage, values);
                std::vector<Argb> narrow(kCount);
                std::vector<uint64_t> wide(kCount);
                to_argb(form, rows.data(), narrow);
                to_argb64(form, rows.data(), wide);
                for (size_t i = 0; i < kCount; i++) {
                    const auto channel = [&](int which, Storage depth) -> uint64_t {  // alpha, red, green, blue
                        if (which == 0 && !alpha) {
                            return static_cast<uint64_t>(top_of(depth));
                        }
                        const size_t band = which == 0                   ? bands - 1
                                            : model == ColorModel::kGray ? 0
                                                                         : static_cast<size_t>(which) - 1;
                        return static_cast<uint64_t>(in_depth(storage, values[i * bands + band], depth));
                    };
                    uint64_t expected = 0, expected_wide = 0;
                    for (int which = 0; which < 4; which++) {
                        expected = expected << 8 | channel(which, Storage::kByte);
                        expected_wide = expected_wide << 16 | channel(which, Storage::kWord);
                    }
                    EXPECT_EQ(narrow[i], expected);
                    EXPECT_EQ(wide[i], expected_wide);
                }
                // Back: gray takes red, and alpha is lost where the form has none.
                std::vector<uint8_t> again(rows.size());
                for (Argb& color : narrow) {
                    color = static_cast<Argb>(draw());
                }
                for (uint64_t& color : wide) {
                    color = draw();
                }
                for (const bool is_wide : {false, true}) {
                    is_wide ? from_argb64(form, wide, again.data()) : from_argb(form, narrow, again.data());
                    const std::vector<double> found = numbers(storage, again);
                    for (size_t i = 0; i < kCount * bands; i++) {
                        const size_t band = i % bands;
                        const int shift = alpha && band == bands - 1 ? 3 : 2 - static_cast<int>(band);
                        const auto value = is_wide ? static_cast<double>(wide[i / bands] >> 16 * shift & 0xFFFF)
                                                   : static_cast<double>(narrow[i / bands] >> 8 * shift & 0xFF);
                        EXPECT_NEAR(found[i], in_depth(is_wide ? Storage::kWord : Storage::kByte, value, storage),
                                    1e-7);
                    }
                }
            }
        }
    }
}

TEST(SamplesTest, ColorsOfConstants) {
    EXPECT_EQ(widened(0x00000000), 0U);
    EXPECT_EQ(widened(0x80FF0102), 0x8080FFFF01010202U);
    for (const auto& [colors, bits] : {std::pair{1, 1}, {2, 1}, {3, 2}, {4, 2}, {5, 4}, {16, 4}, {17, 8}, {256, 8}}) {
        EXPECT_EQ(index_bits(static_cast<size_t>(colors)), bits);
    }
    EXPECT_TRUE(is_gray_color(0x80121212));
    EXPECT_TRUE(is_gray_color64(0x8000123412341234));
    for (const Argb other : {0xFF131212U, 0xFF121312U, 0xFF121213U}) {
        EXPECT_FALSE(is_gray_color(other));
    }
    for (const uint64_t other : {0xFFFF133412341234U, 0xFFFF123413341234U, 0xFFFF123412341334U, 0xFFFF123512341234U}) {
        EXPECT_FALSE(is_gray_color64(other));
    }
}

// ---- Few bits

TEST(PackedPixelsTest, PixelsComeBackFromEachColumnOn) {
    std::mt19937 draw(5);
    for (const int bits : {1, 2, 4}) {
        for (const ColorModel model : {ColorModel::kGray, ColorModel::kIndexed}) {
            const unsigned step = model == ColorModel::kGray ? 255U / ((1U << bits) - 1) : 1;
            for (const int32_t width : {1, 3, 7, 8, 9, 16, 31}) {
                RowsHeader header;
                header.width = width;
                header.height = 5;
                header.form = {model, SampleType::kUint8, bits, false};
                const auto columns = static_cast<size_t>(width);
                std::vector<uint8_t> rows(columns * 5);
                for (uint8_t& sample : rows) {
                    sample = static_cast<uint8_t>(draw() % (1U << bits) * step);
                }
                const auto budget = std::make_shared<MemoryBudget>();
                auto pixels = std::make_shared<PackedPixels>(header, budget);
                EXPECT_EQ(budget->used(), (columns * static_cast<size_t>(bits) + 7) / 8 * 5);
                EXPECT_TRUE(pixels->add(2, std::span(rows).first(2 * columns)));
                EXPECT_TRUE(pixels->add(3, std::span(rows).subspan(2 * columns)));
                for (int32_t y = 0; y < 5; y++) {
                    for (size_t x = 0; x < columns; x++) {
                        for (size_t count = 0; x + count <= columns; count++) {
                            std::vector<uint8_t> found(count);
                            pixels->read(static_cast<int32_t>(x), y, found);
                            const auto from =
                                rows.begin() + static_cast<ptrdiff_t>(static_cast<size_t>(y) * columns + x);
                            EXPECT_TRUE(std::equal(found.begin(), found.end(), from));
                        }
                    }
                }
                const auto reader = rows_of_packed(pixels, header);
                EXPECT_EQ(reader->header().width, width);
                std::vector<uint8_t> found(rows.size());
                reader->read(4, std::span(found).first(4 * columns));
                reader->read(1, std::span(found).subspan(4 * columns));
                EXPECT_EQ(found, rows);
            }
        }
    }
}

TEST(PackedPixelsTest, OtherSamplesAreTold) {
    for (const int bits : {1, 2, 4}) {
        for (const ColorModel model : {ColorModel::kGray, ColorModel::kIndexed}) {
            RowsHeader header;
            header.width = 9;
            header.height = 1;
            header.form = {model, SampleType::kUint8, bits, false};
            const unsigned step = model == ColorModel::kGray ? 255U / ((1U << bits) - 1) : 1;
            for (unsigned sample = 0; sample < 256; sample++) {
                for (const size_t place : {0U, 4U, 8U}) {
                    std::vector<uint8_t> row(9, 0);
                    row[place] = static_cast<uint8_t>(sample);
                    EXPECT_EQ(PackedPixels(header, nullptr).add(1, row),
                              sample % step == 0 && sample / step < 1U << bits);
                }
            }
        }
    }
}

// ---- One color over another

template <class Sample>
void expect_blended(const std::vector<Sample>& from, const std::vector<Sample>& below) {
    const double top = std::numeric_limits<Sample>::max();
    const auto colors = static_cast<int>(from.size()) - 1;
    std::vector<Sample> found = below;
    blend(from.data(), found.data(), colors);
    const double over = from.back() / top, under = below.back() / top;
    const double alpha = over + under * (1 - over);
    EXPECT_NEAR(found.back(), alpha * top, 0.5001);
    for (size_t i = 0; i + 1 < from.size() && alpha > 0; i++) {
        EXPECT_NEAR(found[i], (from[i] * over + below[i] * under * (1 - over)) / alpha, 0.5001);
    }
    if (under == 0 || over == 1) {
        EXPECT_EQ(found, from);
    }
    if (over == 0 && under > 0) {
        EXPECT_EQ(found, below);
    }
}

TEST(BlendingTest, ColorsAreMixedByWhatIsSeenOfThem) {
    for (const unsigned over : {0U, 1U, 50U, 128U, 254U, 255U}) {
        for (const unsigned under : {0U, 1U, 100U, 254U, 255U}) {
            for (const unsigned color : {0U, 7U, 128U, 255U}) {
                const auto byte = [](unsigned value) { return static_cast<uint8_t>(value); };
                const auto word = [](unsigned value) { return static_cast<uint16_t>(value * 257 ^ 1); };
                expect_blended<uint8_t>({byte(color), byte(255 - color), 3, byte(over)},
                                        {9, byte(color), 200, byte(under)});
                expect_blended<uint8_t>({byte(color), byte(over)}, {byte(255 - color), byte(under)});
                const auto alpha = [](unsigned value) { return static_cast<uint16_t>(value * 257); };
                expect_blended<uint16_t>({word(color), word(over), 3, alpha(over)},
                                         {9, word(color), 200, alpha(under)});
            }
        }
    }
}

}  // namespace
}  // namespace zelmor::imagework
