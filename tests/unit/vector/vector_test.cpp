// Vector images with a drawing of the test's own: how they are laid out, changed and drawn as pixels.
#include <gtest/gtest.h>

#include "fake_python.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Svg.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/vector/page_choice.h"
#include "runtime/native/behaviors/vector/page_layout.h"
#include "runtime/native/behaviors/vector/picture_drawing.h"
#include "runtime/native/behaviors/vector/rasterize.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/imagework/loader.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {
namespace {

using drawwork::Affine;
using drawwork::Argb;
using drawwork::Contour;
using drawwork::FillRule;
using drawwork::Paint;
using drawwork::RectD;
using imagework::Picture;

constexpr Argb kRed = 0xFFFF0000, kBlue = 0xFF0000FF, kWhite = 0xFFFFFFFF, kGreen = 0xFF00FF00;

void fill(drawwork::Canvas& canvas, const Affine& map, const RectD& area, Argb color, bool smooth) {
    Contour contour;
    contour.start = map.apply({area.x, area.y});
    contour.line_to(map.apply({area.right(), area.y}));
    contour.line_to(map.apply({area.right(), area.bottom()}));
    contour.line_to(map.apply({area.x, area.bottom()}));
    contour.closed = true;
    Paint paint;
    paint.color = color;
    canvas.fill({contour}, FillRule::kWinding, paint, smooth);
}

// A page of 40 by 20 units that begins at (100, 200): its left quarter red, its bottom right corner of 10 by 10 blue,
// and marks far outside.
class Marks final : public Drawing {
 public:
    RectD bounds() const override { return {100, 200, 40, 20}; }
    void draw(drawwork::Canvas& canvas, const Affine& placing, const DrawSettings& settings) override {
        last = settings;
        ++times;
        fill(canvas, placing, {100, 200, 10, 20}, kRed, settings.smooth);
        fill(canvas, placing, {130, 210, 10, 10}, kBlue, settings.smooth);
        fill(canvas, placing, {0, 0, 100, 1000}, kGreen, settings.smooth);
    }

    DrawSettings last;
    int times = 0;
};

class VectorImages : public testing::Test {
 protected:
    VectorImages() : marks(std::make_shared<Marks>()) {}

    Ref<VectorImageObject> image(double width = 40, double height = 20) {
        return make_ref<VectorImageObject>(require_type(api::FileFormats::Svg::SvgImage::kType.name), marks, width,
                                           height);
    }
    static Ref<ManagedObject> options() {
        return make_instance(api::ImageOptions::SvgRasterizationOptions::kType.name);
    }
    static void set_page(ManagedObject& options, float width, float height) {
        set_property(options, "PageSize", box(SizeFValue{width, height}));
    }
    static Argb at(const Picture& picture, int32_t x, int32_t y) { return picture.get_argb(x, y); }

    std::shared_ptr<Marks> marks;
};

TEST_F(VectorImages, AreDrawnAtTheirOwnSizeWithoutABackground) {
    const auto picture = rasterize(*image(), nullptr);
    ASSERT_EQ(picture->width(), 40);
    ASSERT_EQ(picture->height(), 20);
    EXPECT_TRUE(picture->has_alpha());
    EXPECT_EQ(at(*picture, 0, 0), kRed);
    EXPECT_EQ(at(*picture, 9, 19), kRed);
    EXPECT_EQ(at(*picture, 10, 19), 0U);
    EXPECT_EQ(at(*picture, 30, 9), 0U);
    EXPECT_EQ(at(*picture, 30, 10), kBlue);
    EXPECT_EQ(at(*picture, 39, 19), kBlue);
    EXPECT_EQ(marks->times, 1);
}

TEST_F(VectorImages, AFractionOfAPixelIsAPixel) {
    const auto picture = rasterize(*image(40.25, 20.00001), nullptr);
    EXPECT_EQ(picture->width(), 41);
    EXPECT_EQ(picture->height(), 20);
}

TEST_F(VectorImages, AreResizedTurnedAndCut) {
    auto page = image();
    page->resize_image(80, 60, api::ResizeType::kLanczosResample);
    auto picture = rasterize(*page, nullptr);
    EXPECT_EQ(at(*picture, 19, 0), kRed);
    EXPECT_EQ(at(*picture, 20, 0), 0U);
    EXPECT_EQ(at(*picture, 60, 30), kBlue);
    EXPECT_EQ(at(*picture, 59, 30), 0U);
    EXPECT_EQ(at(*picture, 60, 29), 0U);

    page->turn_image(1, false, false);  // clockwise: what was at the left is at the top now
    picture = rasterize(*page, nullptr);
    ASSERT_EQ(picture->width(), 60);
    ASSERT_EQ(picture->height(), 80);
    EXPECT_EQ(at(*picture, 0, 19), kRed);
    EXPECT_EQ(at(*picture, 59, 19), kRed);
    EXPECT_EQ(at(*picture, 0, 20), 0U);
    EXPECT_EQ(at(*picture, 0, 60), kBlue);
    EXPECT_EQ(at(*picture, 29, 79), kBlue);
    EXPECT_EQ(at(*picture, 30, 79), 0U);

    page->turn_image(0, true, true);
    picture = rasterize(*page, nullptr);
    EXPECT_EQ(at(*picture, 0, 79), kRed);
    EXPECT_EQ(at(*picture, 59, 0), kBlue);

    page->resize_canvas({-10, 50, 80, 30});
    picture = rasterize(*page, nullptr);
    ASSERT_EQ(picture->width(), 80);
    ASSERT_EQ(picture->height(), 30);
    EXPECT_EQ(at(*picture, 9, 29), 0U);
    EXPECT_EQ(at(*picture, 10, 29), kRed);
    EXPECT_EQ(at(*picture, 10, 10), kRed);
    EXPECT_EQ(at(*picture, 10, 9), 0U);
    EXPECT_TRUE(page->is_changed());
}

TEST_F(VectorImages, GrowTheirCanvasByTypesThatDoNotScale) {
    auto page = image();
    page->resize_image(60, 40, api::ResizeType::kCenterToCenter);
    const auto picture = rasterize(*page, nullptr);
    EXPECT_EQ(at(*picture, 9, 20), 0U);
    EXPECT_EQ(at(*picture, 10, 20), kRed);
    EXPECT_EQ(at(*picture, 19, 10), kRed);
    EXPECT_EQ(at(*picture, 20, 20), 0U);
    EXPECT_EQ(at(*picture, 49, 29), kBlue);
    EXPECT_THROW(page->resize_image(5, 5, static_cast<api::ResizeType>(99)), ManagedException);
}

// ---- VectorRasterizationOptions

TEST_F(VectorImages, AreFittedToThePage) {
    const auto wanted = options();
    set_page(*wanted, 100, 100);  // twice the size and a half
    auto picture = rasterize(*image(), wanted.get());
    ASSERT_EQ(picture->width(), 100);
    ASSERT_EQ(picture->height(), 100);
    EXPECT_FALSE(picture->has_alpha());
    EXPECT_EQ(at(*picture, 24, 49), kRed);
    EXPECT_EQ(at(*picture, 25, 49), kWhite);
    EXPECT_EQ(at(*picture, 0, 50), kWhite);
    EXPECT_EQ(at(*picture, 99, 49), kBlue);
    set_property(*wanted, "CenterDrawing", true);
    picture = rasterize(*image(), wanted.get());
    EXPECT_EQ(at(*picture, 0, 24), kWhite);
    EXPECT_EQ(at(*picture, 0, 25), kRed);
    EXPECT_EQ(at(*picture, 0, 74), kRed);
    EXPECT_EQ(at(*picture, 0, 75), kWhite);
}

TEST_F(VectorImages, HaveBordersAndAScale) {
    const auto wanted = options();
    set_property(*wanted, "BorderX", 5.0F);
    set_property(*wanted, "BorderY", 3.0F);
    set_property(*wanted, "ScaleX", 2.0F);
    const auto picture = rasterize(*image(), wanted.get());
    ASSERT_EQ(picture->width(), 90);
    ASSERT_EQ(picture->height(), 26);
    EXPECT_EQ(at(*picture, 4, 3), kWhite);
    EXPECT_EQ(at(*picture, 5, 3), kRed);
    EXPECT_EQ(at(*picture, 24, 22), kRed);
    EXPECT_EQ(at(*picture, 25, 3), kWhite);
    EXPECT_EQ(at(*picture, 5, 2), kWhite);
    EXPECT_EQ(at(*picture, 5, 23), kWhite);
}

TEST_F(VectorImages, OneSideFollowsFromTheOther) {
    const auto wanted = options();
    set_page(*wanted, 80, 0);
    auto picture = rasterize(*image(), wanted.get());
    EXPECT_EQ(picture->height(), 40);
    set_page(*wanted, 0, 10);
    picture = rasterize(*image(), wanted.get());
    EXPECT_EQ(picture->width(), 20);
}

TEST_F(VectorImages, KeepTheirSizeWhereTheOptionsPlaceThem) {
    const auto wanted = options();
    set_page(*wanted, 100, 50);
    set_property(*wanted, "Positioning", api::ImageOptions::PositioningTypes::kDefinedByOptions);
    set_property(*wanted, "BorderX", 7.0F);
    const auto picture = rasterize(*image(), wanted.get());
    ASSERT_EQ(picture->width(), 100);
    EXPECT_EQ(at(*picture, 6, 0), kWhite);
    EXPECT_EQ(at(*picture, 7, 0), kRed);
    EXPECT_EQ(at(*picture, 16, 19), kRed);
    EXPECT_EQ(at(*picture, 17, 19), kWhite);
    EXPECT_EQ(at(*picture, 7, 20), kWhite);
}

// Of which only a part is drawn on.
class Spot final : public Drawing {
 public:
    RectD bounds() const override { return {0, 0, 100, 100}; }
    void draw(drawwork::Canvas& canvas, const Affine& placing, const DrawSettings& settings) override {
        fill(canvas, placing, {20, 30, 10, 20}, kRed, settings.smooth);
    }
};

TEST_F(VectorImages, AreFittedByWhatIsSeen) {
    auto page = image();
    page->set_drawing(std::make_shared<Spot>(), 100, 100);
    const auto wanted = options();
    set_property(*wanted, "Positioning", api::ImageOptions::PositioningTypes::kRelative);
    auto picture = rasterize(*page, wanted.get());
    ASSERT_EQ(picture->width(), 10);
    ASSERT_EQ(picture->height(), 20);
    EXPECT_EQ(at(*picture, 0, 0), kRed);
    EXPECT_EQ(at(*picture, 9, 19), kRed);
    set_page(*wanted, 50, 40);
    picture = rasterize(*page, wanted.get());
    EXPECT_EQ(at(*picture, 19, 39), kRed);
    EXPECT_EQ(at(*picture, 20, 39), kWhite);
}

TEST_F(VectorImages, AreDrawnAsTheOptionsSay) {
    const auto wanted = options();
    set_property(*wanted, "BackgroundColor", box(ColorValue::from_argb(0x80123456)));
    set_property(*wanted, "DrawColor", box(ColorValue::from_argb(kGreen)));
    set_property(*wanted, "SmoothingMode", api::SmoothingMode::kNone);
    set_property(*wanted, "TextRenderingHint", api::TextRenderingHint::kSingleBitPerPixelGridFit);
    auto picture = rasterize(*image(), wanted.get());
    EXPECT_EQ(at(*picture, 20, 5) >> 24, 0x80U);
    EXPECT_FALSE(marks->last.smooth);
    EXPECT_FALSE(marks->last.smooth_text);
    EXPECT_TRUE(marks->last.hinted);
    EXPECT_EQ(marks->last.color, kGreen);
    EXPECT_EQ(marks->last.options.get(), wanted.get());
    set_property(*wanted, "SmoothingMode", api::SmoothingMode::kAntiAlias);
    set_property(*wanted, "TextRenderingHint", api::TextRenderingHint::kAntiAliasGridFit);
    picture = rasterize(*image(), wanted.get());
    at(*picture, 0, 0);
    EXPECT_TRUE(marks->last.smooth && marks->last.smooth_text && marks->last.hinted);
}

TEST_F(VectorImages, OptionsThatMakeNoSenseAreRefusedByName) {
    const auto refused = [&](const char* property, Value value, const char* name) {
        const auto wanted = options();
        set_property(*wanted, property, std::move(value));
        try {
            rasterize(*image(), wanted.get());
        } catch (const ManagedException& error) {
            EXPECT_NE(error.detail().find(property), std::string::npos) << error.detail();
            EXPECT_EQ(error.name(), name) << property;
            return;
        }
        ADD_FAILURE() << property;
    };
    constexpr const char* kRange = "ArgumentOutOfRangeException";
    refused("BorderX", -1.0F, kRange);
    refused("BorderY", std::numeric_limits<float>::infinity(), kRange);
    refused("ScaleX", 0.0F, kRange);
    refused("ScaleY", std::nanf(""), kRange);
    refused("SmoothingMode", static_cast<int64_t>(-1), kRange);
    refused("TextRenderingHint", static_cast<int64_t>(77), kRange);
    refused("Positioning", static_cast<int64_t>(3), kRange);
    refused("FullFrame", true, "NotSupportedException");
    refused("ResolutionSettings", make_instance(api::ResolutionSetting::kType.name), "NotSupportedException");
}

TEST_F(VectorImages, BordersThatTakeThePageAreRefused) {
    const auto wanted = options();
    set_page(*wanted, 20, 20);
    set_property(*wanted, "BorderY", 10.0F);
    EXPECT_THROW(rasterize(*image(), wanted.get()), ManagedException);
    set_page(*wanted, -5, 100);
    EXPECT_THROW(rasterize(*image(), wanted.get()), ManagedException);
}

// ---- Large pictures

// Lines of one pixel, each of a color that tells its number.
class Lines final : public Drawing {
 public:
    Lines(double width, double height) : m_width(width), m_height(height) {}
    RectD bounds() const override { return {0, 0, m_width, m_height}; }
    void draw(drawwork::Canvas& canvas, const Affine& placing, const DrawSettings&) override {
        ++times;
        for (int line = 0; line < m_height; line += 97) {
            fill(canvas, placing, {0, static_cast<double>(line), m_width, 1}, kBlue - static_cast<Argb>(line % 251),
                 false);
        }
        for (int column = 0; column < m_width; column += 997) {
            fill(canvas, placing, {static_cast<double>(column), 0, 1, m_height}, kGreen, false);
        }
    }
    int times = 0;

 private:
    double m_width, m_height;
};

TEST_F(VectorImages, LargeOnesAreDrawnInStrips) {
    auto page = image();
    const auto lines = std::make_shared<Lines>(20000, 500);
    page->set_drawing(lines, 20000, 500);
    const auto picture = rasterize(*page, nullptr);
    EXPECT_EQ(lines->times, 0);
    ASSERT_EQ(picture->width(), 20000);
    std::vector<Argb> pixels(size_t{20000} * 500);
    picture->read_argb({0, 0, 20000, 500}, pixels);
    EXPECT_GT(lines->times, 4);
    for (int y = 0; y < 500; ++y) {
        for (int x = 0; x < 20000; x += 37) {
            const Argb expected = x % 997 == 0 ? kGreen : y % 97 == 0 ? kBlue - static_cast<Argb>(y % 251) : 0;
            ASSERT_EQ(pixels[static_cast<size_t>(y) * 20000 + static_cast<size_t>(x)], expected) << x << ' ' << y;
        }
    }
}

TEST_F(VectorImages, TooLargeOnesAreRefusedBeforeTheyAreDrawn) {
    auto page = image(4e6, 4e6);
    EXPECT_THROW(rasterize(*page, nullptr), imagework::PictureError);
    page = image(1e30, 1);
    EXPECT_THROW(rasterize(*page, nullptr), imagework::PictureError);
    const auto wanted = options();
    set_property(*wanted, "BufferSizeHint", 1);
    page = image(2000, 2000);
    const auto picture = rasterize(*page, wanted.get());
    EXPECT_THROW(picture->decode(), imagework::PictureError);
    EXPECT_EQ(marks->times, 0);
}

// ---- Pages

TEST_F(VectorImages, KnowWhetherTheyAreAsTheyWereLoaded) {
    auto page = image();
    EXPECT_TRUE(laid_out(*page, nullptr).is_unchanged());
    EXPECT_FALSE(laid_out(*page, options().get()).is_unchanged());  // with a white background
    EXPECT_FALSE(cut_to(laid_out(*page, nullptr), {0, 0, 10, 10}).is_unchanged());
    EXPECT_THROW(cut_to(laid_out(*page, nullptr), {0, 0, 41, 10}), imagework::PictureError);
    page->turn_image(1, false, false);
    EXPECT_FALSE(laid_out(*page, nullptr).is_unchanged());
    page->turn_image(3, false, false);
    EXPECT_TRUE(laid_out(*page, nullptr).is_unchanged());
}

TEST_F(VectorImages, HoldPages) {
    auto document = make_ref<VectorImageObject>(require_type("Zelmor.Imaging.VectorMultipageImage"));
    for (const double width : {30.0, 50.0}) {
        document->add_page(image(width, 10));
    }
    EXPECT_EQ(document->image_width(), 30);
    document->resize_image(12, 6, api::ResizeType::kNearestNeighbourResample);
    EXPECT_EQ(document->pages()[1]->image_width(), 12);
    const Ref<VectorImageObject> second = document->pages()[1];
    EXPECT_EQ(second->image_container(), document.get());
    document = nullptr;
    EXPECT_EQ(second->image_container(), nullptr);
}

Ref<ManagedObject> choice_of(const char* property, Value value, api::ImageOptions::MultiPageMode mode) {
    Ref<ManagedObject> choice = make_instance(api::ImageOptions::MultiPageOptions::kType.name);
    set_property(*choice, "Mode", mode);
    set_property(*choice, property, std::move(value));
    Ref<ManagedObject> options = make_instance(api::ImageOptions::TiffOptions::kType.name);
    set_property(*options, "MultiPageOptions", choice);
    return options;
}

TEST_F(VectorImages, PagesAreChosenByNumberAndTitle) {
    using api::ImageOptions::MultiPageMode;
    auto document = make_ref<VectorImageObject>(require_type("Zelmor.Imaging.VectorMultipageImage"));
    for (int i = 1; i <= 3; ++i) {
        auto page = image(10 * i, 10);
        page->title = i == 2 ? "two" : "other";
        document->add_page(std::move(page));
    }
    const auto widths = [&](const Ref<ManagedObject>& options, bool several = true) {
        std::vector<int> result;
        for (const DrawnPage& page :
             chosen_pages(*document, options ? &cast_object<Record>(*options) : nullptr, nullptr, several)) {
            result.push_back(static_cast<int>(page.width));
        }
        return result;
    };
    EXPECT_EQ(widths(nullptr), (std::vector{10, 20, 30}));
    EXPECT_EQ(widths(nullptr, false), std::vector{10});
    auto chosen = choice_of("Pages", Ref<ManagedObject>(make_array<int32_t>({2, 0})), MultiPageMode::kPages);
    EXPECT_EQ(widths(chosen), (std::vector{30, 10}));
    const Ref<ManagedObject> choice = property_object(*chosen, "MultiPageOptions");
    set_property(*choice, "ExportArea", box(RectangleValue{2, 3, 5, 4}));
    EXPECT_EQ(widths(chosen), (std::vector{5, 5}));
    chosen = choice_of("PageTitles",
                       Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(Wire::kString),
                                                              std::vector<Value>{Value(std::u16string(u"two"))})),
                       MultiPageMode::kTitles);
    EXPECT_EQ(widths(chosen), std::vector{20});
    chosen = choice_of("Pages", Ref<ManagedObject>(make_array<int32_t>({3})), MultiPageMode::kPages);
    EXPECT_THROW(widths(chosen), ManagedException);
}

// ---- Documents

class FailingSink final : public imagework::ByteSink {
 public:
    void write(std::span<const uint8_t>) override { throw ManagedException("IOException", "The disk is full."); }
};

TEST_F(VectorImages, BecomePagesOfADocument) {
    imagework::MemorySink out;
    const auto document = drawing_backend().pdf({"A title", "", "", ""}, out);
    for (int i = 0; i < 2; ++i) {
        document->page(30, 15);
        laid_out(*image(), nullptr).draw(*document, Affine::scaling(0.75, 0.75));
    }
    document->finish();
    const auto file = out.take();
    const std::string text(reinterpret_cast<const char*>(file.bytes().data()), file.size);
    EXPECT_EQ(text.substr(0, 8), "%PDF-1.5");
    EXPECT_NE(text.find("/Count 2"), std::string::npos);
    EXPECT_NE(text.find("(A title)"), std::string::npos);
    EXPECT_NE(text.find("%%EOF"), std::string::npos);
    EXPECT_EQ(text.find("/Subtype /Image"), std::string::npos);
    EXPECT_EQ(marks->times, 2);
}

TEST_F(VectorImages, FailuresOfTheSinkComeOutOfADocument) {
    FailingSink sink;
    const auto document = drawing_backend().pdf({}, sink);
    EXPECT_THROW(
        {
            document->page(30, 15);
            document->finish();
        },
        ManagedException);
}

TEST_F(VectorImages, PicturesAreDrawingsToo) {
    std::shared_ptr<Picture> picture = image_backend().create(3, 2, true, false, 0);
    picture->set_argb(1, 1, kRed);
    auto page = image();
    page->set_drawing(std::make_shared<PictureDrawing>(picture), 6, 4);
    const auto drawn = rasterize(*page, nullptr);
    EXPECT_EQ(at(*drawn, 0, 0), 0U);
    EXPECT_EQ(drawn->width(), 6);
    page->set_drawing(std::make_shared<PictureDrawing>(picture), 3, 2);
    const auto same = rasterize(*page, nullptr);
    EXPECT_EQ(at(*same, 1, 1), kRed);
    EXPECT_EQ(at(*same, 2, 1), 0U);
}

}  // namespace
}  // namespace zelmor::embed
