// The decoder of JPEG-LS beside CharLS: files of that library in every depth, layout, loss and preset are decoded
// exactly as it decodes them. What the decoder refuses is made by hand.
#include <charls/charls.h>

#include <functional>
#include <random>
#include <string>

#include "runtime/native/formats/jpegls/jpegls_decoder.h"
#include "tests/unit/imagework/failure_of.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;
using Samples = std::vector<uint16_t>;

struct Picture {
    int width = 1;
    int height = 1;
    int bits = 8;
    int bands = 1;
    charls::interleave_mode order = charls::interleave_mode::none;
    int near = 0;
    charls::jpegls_pc_parameters preset = {};
    charls::color_transformation transform = charls::color_transformation::none;

    int top() const { return preset.maximum_sample_value != 0 ? preset.maximum_sample_value : (1 << bits) - 1; }
    size_t count() const { return static_cast<size_t>(width) * static_cast<size_t>(height * bands); }
    JpegFrameSize size() const { return {width, height, bands}; }
};

// Samples of each component by a function of the place.
Samples made(const Picture& picture, const std::function<int(int band, int x, int y)>& at) {
    Samples samples;
    const bool apart = picture.order == charls::interleave_mode::none;
    const auto put = [&](int band, int x, int y) {
        const int span = picture.top() + 1;
        samples.push_back(static_cast<uint16_t>((at(band, x, y) % span + span) % span));
    };
    for (int plane = 0; plane < (apart ? picture.bands : 1); plane++) {
        for (int y = 0; y < picture.height; y++) {
            for (int x = 0; x < picture.width; x++) {
                for (int band = 0; band < (apart ? 1 : picture.bands); band++) {
                    put(apart ? plane : band, x, y);
                }
            }
        }
    }
    return samples;
}

Bytes encoded(const Picture& picture, const Samples& samples) {
    charls::jpegls_encoder encoder;
    encoder.frame_info(
        {static_cast<uint32_t>(picture.width), static_cast<uint32_t>(picture.height), picture.bits, picture.bands});
    encoder.near_lossless(picture.near);
    encoder.interleave_mode(picture.order);
    encoder.preset_coding_parameters(picture.preset);
    encoder.color_transformation(picture.transform);
    Bytes file(encoder.estimated_destination_size() * 2 + 4096);
    encoder.destination(file);
    if (picture.bits > 8) {
        file.resize(encoder.encode(samples));
    } else {
        file.resize(encoder.encode(Bytes(samples.begin(), samples.end())));
    }
    return file;
}

// As CharLS decodes it, the samples of each pixel one after the other.
Samples by_charls(const Picture& picture, const Bytes& file) {
    charls::jpegls_decoder decoder(file, true);
    Samples found;
    if (picture.bits > 8) {
        found = decoder.decode<Samples>();
    } else {
        const auto bytes = decoder.decode<Bytes>();
        found.assign(bytes.begin(), bytes.end());
    }
    if (picture.order != charls::interleave_mode::none || picture.bands == 1) {
        return found;
    }
    Samples joined;
    const size_t pixels = found.size() / static_cast<size_t>(picture.bands);
    for (size_t i = 0; i < found.size(); i++) {
        joined.push_back(
            found[i % static_cast<size_t>(picture.bands) * pixels + i / static_cast<size_t>(picture.bands)]);
    }
    return joined;
}

Samples decoded(const Picture& picture, const Bytes& file, bool keeps_part = false) {
    const JpegPlanes planes = decode_jpegls(file, picture.size(), keeps_part);
    EXPECT_EQ(planes.width, picture.width);
    EXPECT_EQ(planes.height, picture.height);
    EXPECT_EQ(planes.components, picture.bands);
    return planes.samples;
}

// Pictures that take the coder into each of its ways: runs and what ends them, ramps, edges, noise, and guesses that
// are off by the same again and again.
using Pattern = std::function<int(int band, int x, int y)>;
std::vector<Pattern> patterns(int top) {
    const auto hash = [](int band, int x, int y) {
        auto value = static_cast<uint32_t>(x * 7919 + y * 104729 + band * 1299709 + 12345);
        value ^= value << 13;
        value ^= value >> 17;
        value ^= value << 5;
        return static_cast<int>((value * 2654435761U) >> 12);
    };
    const int slope = top / 433;
    return {
        [=](int, int, int) { return top / 3; },
        [=](int band, int x, int) { return (x / 5 + band) % 2 * top; },
        [=](int, int x, int y) { return x * 3 + y * 5; },
        [=](int band, int x, int y) { return (x / 7 + y / 3 + band) * 37; },
        [=](int band, int x, int y) { return hash(band, x, y); },
        [=](int band, int x, int y) { return hash(band, x, y) % 29 == 0 ? top : 0; },
        [=](int band, int x, int y) { return hash(band, x, y) % 29 == 0 ? 0 : top; },
        [=](int band, int x, int y) { return x + y * 2 + hash(band, x, y) % 4; },
        [=](int band, int x, int y) { return y % 2 == 0 ? top / 2 : top / 2 + hash(band, x, y) % 3 - 1; },
        [=](int, int x, int y) { return slope * x * (1 + y % 2); },
        [=](int, int x, int y) { return top - slope * x * (1 + y % 2); },
        [=](int band, int x, int y) { return band == 1 ? hash(band, x, y) : top / 5 + y / 2; },
    };
}

constexpr std::pair<int, int> kSizes[] = {{1, 1}, {1, 9}, {9, 1}, {2, 3}, {40, 6}, {216, 5}};

void expect_same(const Picture& picture, const Samples& samples, size_t pattern) {
    const Bytes file = encoded(picture, samples);
    const Samples expected = by_charls(picture, file);
    ASSERT_EQ(decoded(picture, file), expected)
        << picture.width << " by " << picture.height << ", bits " << picture.bits << ", near " << picture.near
        << ", bands " << picture.bands << ", order " << static_cast<int>(picture.order) << ", pattern " << pattern;
}

void every_pattern(Picture picture) {
    const auto all = patterns(picture.top());
    for (const auto& [width, height] : kSizes) {
        picture.width = width;
        picture.height = height;
        for (size_t i = 0; i < all.size(); i++) {
            expect_same(picture, made(picture, all[i]), i);
        }
    }
}

TEST(JpegLs, EveryDepth) {
    for (int bits = 2; bits <= 16; bits++) {
        Picture picture;
        picture.bits = bits;
        every_pattern(picture);
    }
}

TEST(JpegLs, EveryLoss) {
    for (const int bits : {2, 3, 5, 7, 8, 10, 12, 13, 16}) {
        for (const int near : {1, 2, 3, 7, 40, 127, 255}) {
            Picture picture;
            picture.bits = bits;
            picture.near = near;
            if (near <= std::min(255, picture.top() / 2)) {
                every_pattern(picture);
            }
        }
    }
}

TEST(JpegLs, EveryOrderOfComponents) {
    for (const charls::interleave_mode order :
         {charls::interleave_mode::none, charls::interleave_mode::line, charls::interleave_mode::sample}) {
        for (const int bands : {2, 3, 4}) {
            // CharLS has no lines of two components, and we no samples of four that take turns.
            if (order == charls::interleave_mode::sample ? bands != 3
                                                         : order == charls::interleave_mode::line && bands == 2) {
                continue;
            }
            for (const int bits : {4, 8, 13}) {
                for (const int near : {0, 3}) {
                    Picture picture;
                    picture.bits = bits;
                    picture.bands = bands;
                    picture.order = order;
                    picture.near = near;
                    every_pattern(picture);
                }
            }
        }
    }
}

// CharLS writes a lower greatest sample into the file, and codes as if there were none.
TEST(JpegLs, EveryPreset) {
    for (const charls::jpegls_pc_parameters& preset :
         std::vector<charls::jpegls_pc_parameters>{{255, 1, 1, 1, 3},
                                                   {255, 2, 5, 11, 8},
                                                   {255, 30, 100, 255, 255},
                                                   {255, 3, 7, 21, 64},
                                                   {0, 5, 0, 0, 0},
                                                   {0, 0, 9, 0, 0},
                                                   {0, 0, 0, 30, 0},
                                                   {0, 0, 0, 0, 100},
                                                   {0, 0, 0, 0, 255},
                                                   {255, 255, 255, 255, 3}}) {
        for (const int near : {0, 1}) {
            if (preset.threshold1 == 1 && near == 1) {
                continue;  // a limit is above the loss
            }
            Picture picture;
            picture.preset = preset;
            picture.near = near;
            every_pattern(picture);
        }
    }
    Picture deep;
    deep.bits = 16;
    deep.preset = {65535, 20, 90, 290, 16};
    every_pattern(deep);
    deep.preset = {0, 0, 0, 0, 65535};
    every_pattern(deep);
}

// ---- What is refused, and what is left of a file that ends too early.

struct Parts {
    Bytes frame;  // what its segment says
    Bytes scan;
    Bytes before = {};  // whole segments
    Bytes data;
    Bytes end = {0xFF, 0xD9};

    Bytes file() const {
        Bytes out{0xFF, 0xD8};
        const auto add = [&](const Bytes& bytes) { out.insert(out.end(), bytes.begin(), bytes.end()); };
        const auto segment = [&](uint8_t marker, const Bytes& content) {
            add({0xFF, marker, static_cast<uint8_t>((content.size() + 2) >> 8),
                 static_cast<uint8_t>(content.size() + 2)});
            add(content);
        };
        segment(0xF7, frame);
        add(before);
        segment(0xDA, scan);
        add(data);
        add(end);
        return out;
    }
};

constexpr JpegFrameSize kExampleSize{4, 4, 1};
// Annex H.3 of the standard: a picture of 4 by 4 samples.
Parts example() {
    return {{8, 0, 4, 0, 4, 1, 1, 0x11, 0}, {1, 1, 0, 0, 0, 0}, {}, {0xC0, 0x00, 0x00, 0x6C, 0x80, 0x20, 0x8E, 0x01,
                                                                     0xC0, 0x00, 0x00, 0x57, 0x40, 0x00, 0x00, 0x6E,
                                                                     0xE6, 0x00, 0x00, 0x01, 0xBC, 0x18, 0x00, 0x00,
                                                                     0x05, 0xD8, 0x00, 0x00, 0x91, 0x60}};
}
const Samples kExample{0, 0, 90, 74, 68, 50, 43, 205, 64, 145, 145, 145, 100, 145, 145, 145};

Samples example_of(const Bytes& file, bool keeps_part = false) {
    return decode_jpegls(file, kExampleSize, keeps_part).samples;
}
std::string refusal(const Bytes& file, Failure kind = Failure::kDamaged, const JpegFrameSize& size = kExampleSize) {
    const PictureError error = failure_of([&] { decode_jpegls(file, size, false); });
    EXPECT_EQ(error.kind(), kind) << error.what();
    return error.what();
}

TEST(JpegLsRefusals, TheExampleOfTheStandard) {
    EXPECT_EQ(example_of(example().file()), kExample);
    // Segments that say nothing of the samples, bytes between them, and markers without a length.
    Parts parts = example();
    parts.before = {0xFF, 0xE0, 0,    2,    0xFF, 0xFE, 0,    5,    'a',  'b',  'c', 0xFF, 0xDD, 0, 4,
                    0,    0,    0xFF, 0xFF, 0xE8, 0,    6,    'm',  'r',  'f',  'x', 0xFF, 0xE8, 0, 7,
                    'm',  'r',  'f',  'x',  0,    0xFF, 0xE8, 0,    7,    'm',  'r', 'f',  'y',  1, 7,
                    0xFF, 0x10, 0xFF, 0xD0, 0xFF, 0xD7, 0xFF, 0xD8, 0xFF, 0xC0, 0,   2};
    EXPECT_EQ(example_of(parts.file()), kExample);
}

TEST(JpegLsRefusals, TheFrame) {
    for (size_t size = 0; size < 9; size++) {
        Parts parts = example();
        parts.frame.resize(size);
        const std::string text = refusal(parts.file());
        EXPECT_EQ(text, size < 6 ? "the header of a frame makes no sense"
                                 : "a frame has 4 by 4 pixels of 1 samples of 8 bits, where the header tells of 4 by 4 "
                                   "of 1");
    }
    struct Case {
        size_t at;
        uint8_t value;
        std::string text;
    };
    for (const Case& one :
         {Case{0, 1, "4 by 4 pixels of 1 samples of 1 bits"}, Case{0, 17, "4 by 4 pixels of 1 samples of 17 bits"},
          Case{1, 1, "4 by 260 pixels of 1 samples of 8 bits"}, Case{2, 5, "4 by 5 pixels of 1 samples of 8 bits"},
          Case{3, 2, "516 by 4 pixels of 1 samples of 8 bits"}, Case{4, 3, "3 by 4 pixels of 1 samples of 8 bits"},
          Case{5, 2, "4 by 4 pixels of 2 samples of 8 bits"}}) {
        Parts parts = example();
        parts.frame[one.at] = one.value;
        parts.frame.resize(12, 0x11);
        EXPECT_EQ(refusal(parts.file()), "a frame has " + one.text + ", where the header tells of 4 by 4 of 1");
    }
    for (const uint8_t sampling : {0x12, 0x21, 0x22, 0}) {
        Parts parts = example();
        parts.frame[7] = sampling;
        EXPECT_EQ(refusal(parts.file(), Failure::kUnsupported),
                  "JPEG-LS data whose colors have fewer samples than pixels are not read");
    }
    Parts twice = example();
    twice.before = {0xFF, 0xF7, 0, 11, 8, 0, 4, 0, 4, 1, 1, 0x11, 0};
    EXPECT_EQ(refusal(twice.file()), "the header of a frame makes no sense");
}

TEST(JpegLsRefusals, OtherSegments) {
    const auto with = [](const Bytes& before) {
        Parts parts = example();
        parts.before = before;
        return parts.file();
    };
    EXPECT_EQ(refusal(with({0xFF, 0xDD, 0, 4, 0, 1}), Failure::kUnsupported),
              "JPEG-LS data with restart markers are not read");
    EXPECT_EQ(refusal(with({0xFF, 0xE8, 0, 7, 'm', 'r', 'f', 'x', 1}), Failure::kUnsupported),
              "JPEG-LS data with transformed colors are not read");
    for (const uint8_t kind : {0, 2, 3, 4}) {
        EXPECT_EQ(refusal(with({0xFF, 0xF8, 0, 13, kind, 0, 255, 0, 3, 0, 7, 0, 21, 0, 64}), Failure::kUnsupported),
                  "JPEG-LS data with tables or large sizes are not read");
    }
    EXPECT_EQ(refusal(with({0xFF, 0xF8, 0, 2}), Failure::kUnsupported),
              "JPEG-LS data with tables or large sizes are not read");
    EXPECT_EQ(refusal(with({0xFF, 0xF8, 0, 12, 1, 0, 255, 0, 3, 0, 7, 0, 21, 0})),
              "the settings of JPEG-LS are cut off");
    EXPECT_EQ(example_of(with({0xFF, 0xF8, 0, 13, 1, 0, 255, 0, 3, 0, 7, 0, 21, 0, 64})), kExample);
    // A transformation of colors as the library writes it.
    Picture picture;
    picture.bands = 3;
    picture.order = charls::interleave_mode::line;
    picture.transform = charls::color_transformation::hp1;
    EXPECT_EQ(refusal(encoded(picture, {1, 2, 3}), Failure::kUnsupported, picture.size()),
              "JPEG-LS data with transformed colors are not read");
    // A segment that is longer than the file ends it.
    EXPECT_EQ(refusal(with({0xFF, 0xE0, 0xFF, 0xFF})), "a frame has no data, or too few");
    EXPECT_EQ(refusal(with({0xFF, 0xE0, 0, 1})), "a frame has no data, or too few");
}

TEST(JpegLsRefusals, SettingsHaveBounds) {
    const auto settings = [](int top, int t1, int t2, int t3, int reset, int near = 0) {
        Parts parts = example();
        parts.before = {0xFF, 0xF8, 0, 13, 1};
        for (const int value : {top, t1, t2, t3, reset}) {
            parts.before.push_back(static_cast<uint8_t>(value >> 8));
            parts.before.push_back(static_cast<uint8_t>(value));
        }
        parts.scan[3] = static_cast<uint8_t>(near);
        return parts.file();
    };
    // The samples that come out are others; what counts is whether the numbers are taken.
    const auto taken = [](const Bytes& file) {
        try {
            example_of(file, true);
            return true;
        } catch (const PictureError& error) {
            const std::string text = error.what();
            EXPECT_TRUE(text == "the settings of JPEG-LS make no sense" || text == "a frame has no data, or too few");
            return text != "the settings of JPEG-LS make no sense";
        }
    };
    EXPECT_TRUE(taken(settings(255, 3, 7, 21, 64)));
    EXPECT_TRUE(taken(settings(254, 3, 7, 21, 64)));
    EXPECT_FALSE(taken(settings(256, 3, 7, 21, 64)));
    EXPECT_TRUE(taken(settings(0, 0, 0, 0, 0)));
    EXPECT_TRUE(taken(settings(255, 1, 7, 21, 64)));
    EXPECT_TRUE(taken(settings(255, 7, 7, 21, 64)));
    EXPECT_FALSE(taken(settings(255, 8, 7, 21, 64)));
    EXPECT_TRUE(taken(settings(255, 3, 21, 21, 64)));
    EXPECT_FALSE(taken(settings(255, 3, 22, 21, 64)));
    EXPECT_TRUE(taken(settings(255, 3, 7, 255, 64)));
    EXPECT_FALSE(taken(settings(255, 3, 7, 256, 64)));
    EXPECT_TRUE(taken(settings(200, 3, 7, 200, 64)));
    EXPECT_FALSE(taken(settings(200, 3, 7, 201, 64)));
    EXPECT_TRUE(taken(settings(255, 3, 7, 21, 3)));
    EXPECT_FALSE(taken(settings(255, 3, 7, 21, 2)));
    EXPECT_FALSE(taken(settings(255, 3, 7, 21, 1)));
    EXPECT_TRUE(taken(settings(255, 3, 7, 21, 65535)));
    EXPECT_TRUE(taken(settings(255, 3, 7, 21, 64, 2)));
    EXPECT_FALSE(taken(settings(255, 3, 7, 21, 64, 3)));
    EXPECT_TRUE(taken(settings(0, 0, 0, 0, 0, 127)));
    EXPECT_FALSE(taken(settings(0, 0, 0, 0, 0, 128)));
    EXPECT_TRUE(taken(settings(100, 0, 0, 0, 0, 50)));
    EXPECT_FALSE(taken(settings(100, 0, 0, 0, 0, 51)));
}

// Table C.3 of the standard, for the usual basic values of 3, 7 and 21. What a file leaves out shows by what it may say
// besides: the limits rise.
TEST(JpegLsRefusals, LimitsThatAFileLeavesOutAreThoseOfTheStandard) {
    const auto taken = [](int top, int near, int t1, int t2, int t3) {
        Parts parts = example();
        parts.frame[0] = 16;
        parts.before = {0xFF, 0xF8, 0, 13, 1};
        for (const int value : {top, t1, t2, t3, 0}) {
            parts.before.push_back(static_cast<uint8_t>(value >> 8));
            parts.before.push_back(static_cast<uint8_t>(value));
        }
        parts.scan[3] = static_cast<uint8_t>(near);
        try {
            example_of(parts.file(), true);
        } catch (const PictureError& error) {
            return std::string(error.what()) != "the settings of JPEG-LS make no sense";
        }
        return true;
    };
    const auto clamped = [](int value, int least, int top) { return value > top || value < least ? least : value; };
    for (const int top : {3,   4,   5,   6,   7,    9,    14,   15,   16,   20,   30,   31,   32,   40,    62,
                          63,  64,  84,  85,  86,   100,  126,  127,  128,  129,  200,  255,  256,  383,   384,
                          385, 500, 639, 640, 1000, 2000, 3967, 3968, 4000, 4094, 4095, 4096, 5000, 30000, 65535}) {
        for (const int near : {0, 1, 2, 5, 9, 50, 127, 255}) {
            if (near > std::min(255, top / 2)) {
                continue;
            }
            int limits[3];
            constexpr int kBasic[] = {3, 7, 21};
            constexpr int kLeast[] = {2, 3, 4};
            constexpr int kOfLoss[] = {3, 5, 7};
            for (int i = 0; i < 3; i++) {
                const int least = i == 0 ? near + 1 : limits[i - 1];
                if (top >= 128) {
                    const int factor = (std::min(top, 4095) + 128) / 256;
                    limits[i] = clamped(factor * (kBasic[i] - kLeast[i]) + kLeast[i] + kOfLoss[i] * near, least, top);
                } else {
                    const int factor = 256 / (top + 1);
                    limits[i] = clamped(std::max(kLeast[i], kBasic[i] / factor + kOfLoss[i] * near), least, top);
                }
            }
            SCOPED_TRACE("top " + std::to_string(top) + ", near " + std::to_string(near));
            const auto [t1, t2, t3] = limits;
            EXPECT_TRUE(taken(top, near, 0, t1, 0));
            EXPECT_TRUE(taken(top, near, 0, t3, 0));
            EXPECT_TRUE(taken(top, near, t2, 0, 0));
            EXPECT_TRUE(taken(top, near, 0, 0, t2));
            EXPECT_FALSE(t1 > 1 && taken(top, near, 0, t1 - 1, 0));
            EXPECT_FALSE(taken(top, near, 0, t3 + 1, 0));
            EXPECT_FALSE(taken(top, near, t2 + 1, 0, 0));
            EXPECT_FALSE(t2 > 1 && taken(top, near, 0, 0, t2 - 1));
        }
    }
}

// A sample that is a run of one: a single bit.
TEST(JpegLsRefusals, AByteOfOnesIsFollowedByAZero) {
    const auto found = [](const Bytes& data) {
        const Parts parts{{8, 0, 1, 0, 1, 1, 1, 0x11, 0}, {1, 1, 0, 0, 0, 0}, {}, data, {}};
        try {
            return decode_jpegls(parts.file(), {1, 1, 1}, false).samples == Samples{0};
        } catch (const PictureError&) {
            return false;
        }
    };
    EXPECT_TRUE(found({0x80}));
    EXPECT_TRUE(found({0xFF, 0}));
    EXPECT_TRUE(found({0xFF, 0x7F}));
    EXPECT_TRUE(found({0xFE}));
    EXPECT_FALSE(found({0xFF, 0x80})) << "a marker";
    EXPECT_FALSE(found({0xFF, 0xD9}));
    EXPECT_FALSE(found({0xFF})) << "the beginning of one";
    EXPECT_FALSE(found({}));
}

TEST(JpegLsRefusals, TheScan) {
    struct Case {
        Bytes scan;
        Failure kind;
        std::string text;
    };
    const std::string order = "JPEG-LS data whose samples are in this order or with a point transform are not read";
    const std::string sense = "a scan makes no sense";
    const std::string component = "a scan has a component that the frame has not, or one for the second time";
    constexpr auto kDamaged = Failure::kDamaged;
    constexpr auto kUnsupported = Failure::kUnsupported;
    for (const Case& one :
         {Case{{}, kDamaged, sense}, Case{{0, 0, 0, 0}, kDamaged, sense}, Case{{1, 1, 0, 0, 0}, kDamaged, sense},
          Case{{1, 2, 0, 0, 0, 0}, kDamaged, component},
          Case{{1, 1, 1, 0, 0, 0}, kUnsupported, "JPEG-LS data with tables are not read"},
          Case{{1, 1, 0, 128, 0, 0}, kDamaged, "the settings of JPEG-LS make no sense"},
          Case{{1, 1, 0, 0, 1, 0}, kUnsupported, order}, Case{{1, 1, 0, 0, 2, 0}, kUnsupported, order},
          Case{{1, 1, 0, 0, 3, 0}, kUnsupported, order}, Case{{1, 1, 0, 0, 0, 1}, kUnsupported, order},
          Case{{1, 1, 0, 0, 0, 8}, kUnsupported, order}}) {
        Parts parts = example();
        parts.scan = one.scan;
        EXPECT_EQ(refusal(parts.file(), one.kind), one.text);
    }
    Parts parts = example();
    parts.scan[5] = 0xF0;  // the other half of the byte
    EXPECT_EQ(example_of(parts.file()), kExample);
    Bytes late = example().file();
    late.erase(late.begin() + 2, late.begin() + 15);
    EXPECT_EQ(refusal(late), sense) << "a scan without a frame";
    // Three components whose scan says something else of their order.
    Picture picture;
    picture.bands = 3;
    picture.width = picture.height = 4;
    for (const charls::interleave_mode mode : {charls::interleave_mode::line, charls::interleave_mode::sample}) {
        picture.order = mode;
        const Bytes file = encoded(picture, made(picture, patterns(255)[4]));
        const Bytes head{0xFF, 0xDA, 0, 12, 3};
        const auto at = std::search(file.begin(), file.end(), head.begin(), head.end()) - file.begin();
        for (const uint8_t value : {0, 3, 4}) {
            Bytes other = file;
            other[static_cast<size_t>(at) + 12] = value;
            EXPECT_EQ(refusal(other, Failure::kUnsupported, picture.size()), order);
        }
        EXPECT_NO_THROW(decode_jpegls(file, picture.size(), false));
    }
    // Two components cannot take turns sample by sample.
    parts = example();
    parts.frame = {8, 0, 4, 0, 4, 2, 1, 0x11, 0, 2, 0x11, 0};
    parts.scan = {2, 1, 0, 2, 0, 0, 2, 0};
    EXPECT_EQ(refusal(parts.file(), Failure::kUnsupported, {4, 4, 2}), order);
    parts.scan[6] = 1;
    EXPECT_EQ(refusal(parts.file(), Failure::kDamaged, {4, 4, 2}),
              "the data of a frame end too early or make no sense");
}

TEST(JpegLsRefusals, AComponentHasOneScan) {
    Parts parts = example();
    parts.frame = {8, 0, 4, 0, 4, 2, 1, 0x11, 0, 2, 0x11, 0};
    const Bytes scan{0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 0, 0};
    parts.end = scan;
    parts.end.insert(parts.end.end(), parts.data.begin(), parts.data.end());
    EXPECT_EQ(refusal(parts.file(), Failure::kDamaged, {4, 4, 2}),
              "a scan has a component that the frame has not, or one for the second time");
    parts.end[5] = 2;
    const Samples both = decode_jpegls(parts.file(), {4, 4, 2}, false).samples;
    ASSERT_EQ(both.size(), 32U);
    for (size_t i = 0; i < 32; i++) {
        EXPECT_EQ(both[i], kExample[i / 2]);
    }
    // Behind the last row of all components nothing is looked at.
    parts.end.insert(parts.end.end(), scan.begin(), scan.end());
    EXPECT_EQ(decode_jpegls(parts.file(), {4, 4, 2}, false).samples, both);
    parts.end = {0xFF, 0xD9};
    EXPECT_EQ(refusal(parts.file(), Failure::kDamaged, {4, 4, 2}), "a frame has no data, or too few");
}

TEST(JpegLsRefusals, RowsBeforeTheEndAreKept) {
    for (const charls::interleave_mode order :
         {charls::interleave_mode::none, charls::interleave_mode::line, charls::interleave_mode::sample}) {
        Picture picture;
        picture.width = 7;
        picture.height = 9;
        picture.bands = 3;
        picture.order = order;
        const Bytes file = encoded(picture, made(picture, patterns(255)[7]));
        const Samples whole = decoded(picture, file);
        size_t parts = 0;
        for (size_t size = 0; size + 2 < file.size(); size++) {
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
            const PictureError error = failure_of([&] { decode_jpegls(cut, picture.size(), false); });
            EXPECT_EQ(error.kind(), Failure::kDamaged);
            try {
                const Samples some = decoded(picture, cut, true);
                ASSERT_EQ(some.size() % 21, 0U);
                ASSERT_GT(some.size(), 0U);
                EXPECT_TRUE(std::equal(some.begin(), some.end(), whole.begin()));
                parts++;
            } catch (const PictureError& lost) {
                EXPECT_STREQ(lost.what(), "a frame has no data, or too few");
            }
        }
        EXPECT_GT(parts, file.size() / 8) << static_cast<int>(order);
    }
    Bytes cut = example().file();
    cut.resize(cut.size() - 10);
    EXPECT_EQ(refusal(cut), "the data of a frame end too early or make no sense");
    EXPECT_EQ(refusal({0xFF, 0xD8, 0xFF, 0xD9}), "a frame has no data, or too few");
}

}  // namespace
}  // namespace zelmor::imagework
