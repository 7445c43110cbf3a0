// What each step says of a picture: whether its pixels are still those of its file, and when they were changed.
#include <functional>
#include <string>
#include <utility>

#include "runtime/native/formats/png/png_encoding.h"
#include "tests/unit/imagework/pictures.h"

namespace zelmor::imagework {
namespace {

using Step = std::pair<const char*, std::function<void(Picture&)>>;

std::unique_ptr<Picture> of_file(bool decoded_first) {
    auto picture = backend().decode_frame(opened(encoded(*noise(9, 6, true), PngEncoding{})), 0, {});
    if (decoded_first) {
        picture->decode();
    }
    return picture;
}

const std::vector<Step>& changing_steps() {
    static const std::vector<Argb> drawn(54, 0x80FF0000), ground(54, 0xFFFF0000);
    static const std::vector<uint64_t> wide(54, 0x8000'FFFF'0000'0000);
    static const std::vector<uint8_t> indices(54, 1), samples(9 * 6 * 4, 7);
    static const std::vector<Argb> palette{kBlack, kWhite};
    static const std::vector<Step> steps = {
        {"set_argb", [](Picture& p) { p.set_argb(3, 2, 0xFF123456); }},
        {"write_argb",
         [](Picture& p) {
             p.write_argb({0, 0, 9, 6}, drawn);
         }},
        {"write_argb64",
         [](Picture& p) {
             p.write_argb64({0, 0, 9, 6}, wide);
         }},
        {"write_samples",
         [](Picture& p) {
             p.write_samples({0, 0, 9, 6}, 36, samples);
         }},
        {"crop",
         [](Picture& p) {
             p.crop({1, 1, 5, 4});
         }},
        {"resize", [](Picture& p) { p.resize(5, 4, Resampling::kLanczos); }},
        {"place", [](Picture& p) { p.place(12, 9, 1, 1, kWhite); }},
        {"rotate_flip", [](Picture& p) { p.rotate_flip(1, false, false); }},
        {"rotate", [](Picture& p) { p.rotate(30, true, kWhite); }},
        {"take_form",
         [](Picture& p) {
             p.take_form({ColorModel::kRgb, SampleType::kUint16, 16, true}, kWhite);
         }},
        {"take_form without alpha", [](Picture& p) { p.take_form({}, kWhite); }},
        {"replace_area",
         [](Picture& p) {
             p.replace_area({1, 1, 3, 3}, 0xFF204060);
         }},
        {"draw", [](Picture& p) { p.draw(*noise(3, 3, false, 5), 2, 2); }},
        {"blend",
         [](Picture& p) {
             p.blend({0, 0, 9, 6}, drawn, ground);
         }},
        {"grayscale", [](Picture& p) { p.grayscale(); }},
        {"adjust_brightness", [](Picture& p) { p.adjust_brightness(40); }},
        {"adjust_contrast", [](Picture& p) { p.adjust_contrast(30); }},
        {"adjust_gamma", [](Picture& p) { p.adjust_gamma(2, 1.5, 0.7); }},
        {"binarize_fixed", [](Picture& p) { p.binarize_fixed(90); }},
        {"binarize_otsu", [](Picture& p) { p.binarize_otsu(); }},
        {"binarize_bradley", [](Picture& p) { p.binarize_bradley(0.1, 5); }},
        {"replace_color", [](Picture& p) { p.replace_color(p.get_argb(0, 0), 3, kWhite); }},
        {"replace_rgb", [](Picture& p) { p.replace_rgb(0xFF204060); }},
        {"paint", [](Picture& p) { p.paint(indices, palette); }},
        {"reduce", [](Picture& p) { p.reduce(palette, false); }},
    };
    return steps;
}

TEST(PictureStepTest, AChangeOfPixelsIsNoted) {
    for (const bool decoded_first : {false, true}) {
        for (const auto& [name, step] : changing_steps()) {
            const auto picture = of_file(decoded_first);
            ASSERT_NE(picture->origin().source, nullptr) << name;
            ASSERT_EQ(picture->changed_at(), 0) << name;
            const auto kept = picture->copy();
            const std::vector<Argb> before = pixels_of(*kept);
            step(*picture);
            EXPECT_EQ(picture->origin().source, nullptr) << name;
            EXPECT_GT(picture->changed_at(), 0) << name;
            // What is shared was copied before.
            EXPECT_NE(kept->origin().source, nullptr) << name;
            EXPECT_EQ(kept->changed_at(), 0) << name;
            EXPECT_EQ(pixels_of(*kept), before) << name;
            // A second one is later, and a copy has the time of what it was made of.
            const int64_t first = picture->changed_at();
            const auto copy = picture->copy();
            EXPECT_EQ(copy->changed_at(), first) << name;
            picture->set_argb(0, 0, 0xFF0A0B0C);
            EXPECT_GT(picture->changed_at(), first) << name;
            EXPECT_EQ(copy->changed_at(), first) << name;
        }
    }
}

// A picture that nobody else has the pixels of is changed where it is, and one that was changed before as any other.
TEST(PictureStepTest, StepsAfterStepsDoWhatTheyDoAlone) {
    for (const auto& [name, step] : changing_steps()) {
        const auto plain = noise(9, 6, true), changed = noise(9, 6, true, 7);
        changed->write_argb({0, 0, 9, 6}, pixels_of(*plain));
        const auto loaded = of_file(false), turned = of_file(false);
        turned->rotate_flip(2, false, false);
        turned->rotate_flip(2, false, false);
        step(*plain);
        const std::vector<Argb> expected = pixels_of(*plain);
        for (Picture* other : {changed.get(), loaded.get(), turned.get()}) {
            step(*other);
            EXPECT_EQ(other->form(), plain->form()) << name;
            EXPECT_EQ(pixels_of(*other), expected) << name;
        }
    }
}

TEST(PictureStepTest, LookingChangesNothing) {
    const std::vector<Step> looks = {
        {"get_argb", [](Picture& p) { (void)p.get_argb(1, 1); }},
        {"read_argb", [](Picture& p) { (void)pixels_of(p); }},
        {"opacity", [](Picture& p) { (void)p.opacity(); }},
        {"close_palette", [](Picture& p) { (void)p.close_palette(9, true); }},
        {"has_only", [](Picture& p) { (void)p.has_only({}); }},
        {"skew_angle", [](Picture& p) { (void)p.skew_angle(); }},
        {"encode", [](Picture& p) { (void)encoded(p, PngEncoding{}); }},
        {"copy", [](Picture& p) { (void)p.copy(); }},
        {"let_go", [](Picture& p) { p.let_go(); }},
    };
    for (const auto& [name, look] : looks) {
        const auto picture = of_file(true);
        const std::vector<Argb> before = pixels_of(*picture);
        look(*picture);
        EXPECT_NE(picture->origin().source, nullptr) << name;
        EXPECT_EQ(picture->changed_at(), 0) << name;
        EXPECT_EQ(pixels_of(*picture), before) << name;
    }
}

// What is said of the pixels is another thing than the pixels; a file with it would be another one all the same.
TEST(PictureStepTest, ADescriptionIsNoChangeOfPixels) {
    const auto picture = of_file(false);
    picture->set_resolution({100, 50});
    EXPECT_EQ(picture->origin().source, nullptr);
    EXPECT_EQ(picture->changed_at(), 0);
    EXPECT_NEAR(picture->resolution().horizontal, 100, 1e-9);
    EXPECT_NEAR(picture->resolution().vertical, 50, 1e-9);
    const auto other = of_file(false);
    other->set_profile({});
    EXPECT_EQ(other->origin().source, nullptr);
    EXPECT_EQ(other->changed_at(), 0);
}

TEST(PictureStepTest, PixelsThatCanBeDecodedAgainAreLetGo) {
    const auto picture = of_file(true);
    const std::vector<Argb> before = pixels_of(*picture);
    EXPECT_TRUE(picture->is_decoded());
    picture->let_go();
    EXPECT_FALSE(picture->is_decoded());
    EXPECT_EQ(pixels_of(*picture), before);
    picture->let_go();
    const auto copy = picture->copy();
    picture->set_argb(0, 0, 0xFF010203);
    picture->let_go();  // now they are nowhere else
    EXPECT_TRUE(picture->is_decoded());
    EXPECT_EQ(picture->get_argb(0, 0), 0xFF010203U);
    EXPECT_EQ(pixels_of(*copy), before);
}

}  // namespace
}  // namespace zelmor::imagework
