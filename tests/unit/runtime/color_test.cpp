// Colors, CMYK and their translations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "fake_python.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/behaviors/values/known_colors.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {
namespace {

using test::call;
using test::Owned;

constexpr const char* kColor = "Zelmor.Imaging.Color";
constexpr const char* kTranslator = "Zelmor.Imaging.ColorTranslator";

class ColorTest : public test::RuntimeTest {
 protected:
    static ColorValue named(const char* entry) {
        Owned color(call<void*>(kColor, entry));
        return struct_target<ColorValue>(color.get());
    }
    static std::u16string name(const ColorValue& value) {
        Owned color(make_struct_handle(value));
        return test::text_of_object(call<PyObject*>(kColor, "get_Name", color.get()));
    }
};

TEST_F(ColorTest, TheNamedColorsAreThoseOfTheEnumeration) {
    const TypeInfo& known = require_type("Zelmor.Imaging.KnownColor");
    ASSERT_EQ(known.members.size(), std::size(kNamedColors));
    for (size_t i = 0; i < known.members.size(); ++i) {
        EXPECT_EQ(known.members[i].value, kFirstKnownColor + static_cast<int64_t>(i));
        std::string plain;
        for (const char c : std::string_view(known.members[i].name)) {
            if (c != '_') {
                plain += static_cast<char>(std::tolower(c));
            }
        }
        std::string wanted = kNamedColors[i].name;
        for (char& c : wanted) {
            c = static_cast<char>(std::tolower(c));
        }
        EXPECT_EQ(plain, wanted);
    }
}

TEST_F(ColorTest, NamedColorsReportTheirNameAndNumber) {
    const ColorValue red = named("getsa_Red");
    EXPECT_EQ(red.argb, 0xFFFF0000u);
    EXPECT_EQ(red.known_color, 141);
    EXPECT_EQ(name(red), u"Red");
    EXPECT_EQ(text_of(red), u"Color [Red]");
    EXPECT_NE(red, ColorValue::from_argb(0xFFFF0000));
    EXPECT_EQ(named("getsa_Transparent").argb, 0x00FFFFFFu);
    EXPECT_EQ(named("getsa_Empty"), ColorValue());
    EXPECT_EQ(text_of(ColorValue()), u"Color [Empty]");
}

TEST_F(ColorTest, ComponentsAreChecked) {
    Owned color(call<void*>(kColor, "call_001_FromArgb", 1, 2, 3, 4));
    EXPECT_EQ(struct_target<ColorValue>(color.get()).argb, 0x01020304u);
    EXPECT_EQ(text_of(struct_target<ColorValue>(color.get())), u"Color [A=1, R=2, G=3, B=4]");
    EXPECT_EQ(name(struct_target<ColorValue>(color.get())), u"1020304");
    EXPECT_EQ(call<void*>(kColor, "call_003_FromArgb", 0, 256, 0), nullptr);
    const auto raised = test::take_raised();
    EXPECT_EQ(raised.name, "ArgumentException");
    EXPECT_NE(raised.detail.find("'256'"), std::string::npos);
    EXPECT_NE(raised.detail.find("'green'"), std::string::npos);
}

TEST_F(ColorTest, AlphaIsPutOverABaseColor) {
    Owned base(make_struct_handle(find_color("RED")));
    const VariantArg arg = base.struct_arg();
    Owned color(call<void*>(kColor, "call_002_FromArgb", 128, &arg));
    EXPECT_EQ(struct_target<ColorValue>(color.get()), ColorValue::from_argb(0x80FF0000));
}

TEST_F(ColorTest, NamesAreFoundInAnyCaseAndOthersAreKept) {
    const test::TextArgument blue("bLUE");
    Owned known(call<void*>(kColor, "call_000_FromName", blue.get()));
    EXPECT_EQ(struct_target<ColorValue>(known.get()), find_color("Blue"));
    const test::TextArgument odd("NoColor");
    Owned unknown(call<void*>(kColor, "call_000_FromName", odd.get()));
    EXPECT_EQ(struct_target<ColorValue>(unknown.get()).argb, 0u);
    EXPECT_EQ(name(struct_target<ColorValue>(unknown.get())), u"NoColor");
    const test::TextArgument none;
    EXPECT_EQ(call<void*>(kColor, "call_000_FromName", none.get()), nullptr);
    EXPECT_EQ(test::take_raised().name, "ArgumentNullException");
}

TEST_F(ColorTest, HueSaturationAndBrightness) {
    const auto ask = [](const char* method, uint32_t argb) {
        Owned color(make_struct_handle(ColorValue::from_argb(argb)));
        return call<float>(kColor, method, color.get());
    };
    EXPECT_FLOAT_EQ(ask("call_000_GetHue", 0xFFFF0000), 0);
    EXPECT_FLOAT_EQ(ask("call_000_GetHue", 0xFF00FF00), 120);
    EXPECT_FLOAT_EQ(ask("call_000_GetHue", 0xFF0000FF), 240);
    EXPECT_FLOAT_EQ(ask("call_000_GetHue", 0xFFFF00FF), 300);
    EXPECT_FLOAT_EQ(ask("call_000_GetHue", 0xFF808080), 0);
    EXPECT_FLOAT_EQ(ask("call_000_GetSaturation", 0xFFFF0000), 1);
    EXPECT_FLOAT_EQ(ask("call_000_GetSaturation", 0xFF808080), 0);
    EXPECT_FLOAT_EQ(ask("call_000_GetSaturation", 0xFF80C0FF), 1);
    EXPECT_FLOAT_EQ(ask("call_000_GetBrightness", 0xFFFFFFFF), 1);
    EXPECT_FLOAT_EQ(ask("call_000_GetBrightness", 0xFFFF0000), 0.5f);
}

TEST_F(ColorTest, CmykRoundTripsAreExactUpToRounding) {
    EXPECT_EQ(cmyk_of(0xFF000000), (CmykValue{0, 0, 0, 255}));
    EXPECT_EQ(cmyk_of(0xFFFFFFFF), (CmykValue{0, 0, 0, 0}));
    EXPECT_EQ(cmyk_of(0xFFFF0000), (CmykValue{0, 255, 255, 0}));
    EXPECT_EQ(unpacked_cmyk(packed_cmyk({1, 2, 3, 4})), (CmykValue{1, 2, 3, 4}));
    // There and back is off by rounding alone.
    for (uint32_t rgb = 0; rgb < 0x1000000; rgb += 0x1F3D7) {
        const uint32_t back = argb_of(cmyk_of(rgb));
        for (int shift = 0; shift < 24; shift += 8) {
            const int was = static_cast<int>(rgb >> shift & 0xFF), is = static_cast<int>(back >> shift & 0xFF);
            ASSERT_LE(std::abs(was - is), 1) << std::hex << rgb;
        }
    }
}

// Each ink, and each channel of a light, is the rounded quotient of its published formula.
TEST_F(ColorTest, EveryInkAndEveryLightIsRounded) {
    for (int light = 1; light < 256; light++) {
        for (int part = 0; part <= light; part++) {
            const auto ink = static_cast<uint8_t>(std::floor((light - part) * 255.0 / light + 0.5));
            const auto black = static_cast<uint8_t>(255 - light);
            const auto word = [](int r, int g, int b) { return static_cast<uint32_t>(r << 16 | g << 8 | b); };
            ASSERT_EQ(cmyk_of(word(part, light, light)), (CmykValue{ink, 0, 0, black})) << light << ' ' << part;
            ASSERT_EQ(cmyk_of(word(light, part, light)), (CmykValue{0, ink, 0, black})) << light << ' ' << part;
            ASSERT_EQ(cmyk_of(word(light, light, part)), (CmykValue{0, 0, ink, black})) << light << ' ' << part;
        }
    }
    for (int ink = 0; ink < 256; ink++) {
        for (int black = 0; black < 256; black++) {
            const auto light = static_cast<uint32_t>(std::lround((255 - ink) * (255 - black) / 255.0));
            const auto white = static_cast<uint32_t>(255 - black);
            const auto i = static_cast<uint8_t>(ink), k = static_cast<uint8_t>(black);
            ASSERT_EQ(argb_of({i, 0, 0, k}), 0xFF000000u | light << 16 | white << 8 | white) << ink << ' ' << black;
            ASSERT_EQ(argb_of({0, i, 0, k}), 0xFF000000u | white << 16 | light << 8 | white) << ink << ' ' << black;
            ASSERT_EQ(argb_of({0, 0, i, k}), 0xFF000000u | white << 16 | white << 8 | light) << ink << ' ' << black;
        }
    }
}

TEST_F(ColorTest, RowsOfColorsAndInksAreThoseOfTheirElements) {
    const uint32_t colors[] = {0xFF102030, 0x00FFFFFF, 0x12000000, 0x80FF8000};
    std::byte inks[18];
    std::fill_n(inks, 18, std::byte{0xEE});
    inks_of(colors, inks + 1);
    EXPECT_EQ(inks[0], std::byte{0xEE});
    EXPECT_EQ(inks[17], std::byte{0xEE});
    for (size_t i = 0; i < 4; i++) {
        const CmykValue one = cmyk_of(colors[i]);
        const uint8_t wanted[] = {one.c, one.m, one.y, one.k};
        for (size_t k = 0; k < 4; k++) {
            EXPECT_EQ(inks[1 + 4 * i + k], std::byte{wanted[k]}) << i << ' ' << k;
        }
    }
    uint32_t back[4];
    colors_of_inks(inks + 1, back);
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(back[i], argb_of(cmyk_of(colors[i]))) << i;
    }
    EXPECT_EQ(packed_cmyk({0x81, 2, 3, 4}), static_cast<int32_t>(0x81020304));
    EXPECT_EQ(unpacked_cmyk(static_cast<int32_t>(0x81020304)), (CmykValue{0x81, 2, 3, 4}));
}

TEST_F(ColorTest, CmykComponentsAreChecked) {
    EXPECT_EQ(call<void*>("Zelmor.Imaging.CmykColor", "call_000_FromParams", 0, -1, 0, 0), nullptr);
    const auto raised = test::take_raised();
    EXPECT_EQ(raised.name, "ArgumentException");
    EXPECT_NE(raised.detail.find("magenta"), std::string::npos);
    EXPECT_NE(raised.detail.find("'-1'"), std::string::npos);
}

TEST_F(ColorTest, HtmlColorsAreReadAndWritten) {
    const auto from_html = [](const char* text) {
        const test::TextArgument html(text);
        Owned color(call<void*>(kTranslator, "call_000_FromHtml", html.get()));
        return color.get() != nullptr ? struct_target<ColorValue>(color.get()) : ColorValue();
    };
    EXPECT_EQ(from_html("#1E90FF").argb, 0xFF1E90FFu);
    EXPECT_EQ(from_html("#18F").argb, 0xFF1188FFu);
    EXPECT_EQ(from_html("tomato"), find_color("Tomato"));
    EXPECT_EQ(from_html("LightGrey"), find_color("LightGray"));
    EXPECT_EQ(from_html(""), ColorValue());
    from_html("#12");
    EXPECT_EQ(test::take_raised().name, "ArgumentException");
    from_html("#GGGGGG");
    EXPECT_EQ(test::take_raised().name, "ArgumentException");
    const auto to_html = [](const ColorValue& color) {
        Owned box(make_struct_handle(color));
        const VariantArg arg = box.struct_arg();
        return test::text_of_object(call<PyObject*>(kTranslator, "call_000_ToHtml", &arg));
    };
    EXPECT_EQ(to_html(ColorValue::from_argb(0xFF1E90FF)), u"#1E90FF");
    EXPECT_EQ(to_html(find_color("LightGray")), u"LightGrey");
    EXPECT_EQ(to_html({}), u"");
    Owned ole(call<void*>(kTranslator, "call_000_FromOle", 0x0000FF));
    EXPECT_EQ(struct_target<ColorValue>(ole.get()).argb, 0xFFFF0000u);
    const VariantArg arg = ole.struct_arg();
    EXPECT_EQ(call<int>(kTranslator, "call_000_ToWin32", &arg), 0x0000FF);
}

}  // namespace
}  // namespace zelmor::embed
