// Loading pixels in parts, into a receiver of the test's own: no class of the API stands behind these interfaces.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "fake_python.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/partial_loads.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

imagework::Backend& backend() {
    static imagework::Backend* loaded = [] {
        void* library = dlopen(IMAGEWORK_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            throw std::runtime_error(dlerror());
        }
        return reinterpret_cast<imagework::BackendFunction>(dlsym(library, imagework::kBackendSymbol))();
    }();
    return *loaded;
}

class Collector final : public PixelReceiver {
 public:
    Collector() : PixelReceiver(require_type("Zelmor.Imaging.IPartialArgb64PixelLoader")) {}
    void take_argb32(const PixelPart& part, const std::vector<int32_t>& pixels) override { take(part, pixels, argb32); }
    void take_argb64(const PixelPart& part, const std::vector<int64_t>& pixels) override { take(part, pixels, argb64); }
    void take_colors(const PixelPart& part, const std::vector<ColorValue>& pixels) override {
        take(part, pixels, colors);
    }
    void take_raw(const PixelPart& part, const Bytes& data) override { take(part, data, raw); }

    std::vector<PixelPart> parts;
    std::vector<int32_t> argb32;
    std::vector<int64_t> argb64;
    std::vector<ColorValue> colors;
    Bytes raw;

 private:
    template <class T>
    void take(const PixelPart& part, const std::vector<T>& items, std::vector<T>& all) {
        parts.push_back(part);
        all.insert(all.end(), items.begin(), items.end());
    }
};

Ref<ImageObject> striped(int32_t width, int32_t height) {
    auto picture = backend().create(width, height, false, false, imagework::kBlack);
    std::vector<imagework::Argb> pixels;
    for (int32_t i = 0; i < width * height; ++i) {
        pixels.push_back(0xFF000000 | static_cast<uint32_t>(i));
    }
    picture->write_argb({0, 0, width, height}, pixels);
    imagework::FileFacts facts;
    facts.format = imagework::Format::kPng;
    return make_ref<ImageObject>(std::move(picture), facts);
}

void load(const char* entry, const Ref<ImageObject>& image, RectangleValue area, Collector* collector) {
    Handle self = make_handle(image);
    const VariantArg rectangle{kHandleStruct, make_struct_handle(area)};
    const VariantArg loader{kHandleObject, collector != nullptr ? make_handle(Ref<ManagedObject>(collector)) : nullptr};
    test::call<void>("Zelmor.Imaging.RasterImage", entry, self, &rectangle, &loader);
    free_handle(self);
    free_handle(rectangle.value);
    free_handle(loader.value);
}

class PartialLoadsTest : public test::RuntimeTest {};

TEST_F(PartialLoadsTest, PartsAreWholeLinesInOrder) {
    const auto parts = parts_of({5, 7, 1000, 200});
    ASSERT_GT(parts.size(), 1U);
    int32_t top = 7;
    for (const PixelPart& part : parts) {
        EXPECT_EQ(part.area.y, top);
        EXPECT_EQ(part.area.width, 1000);
        EXPECT_EQ(part.start, (PointValue{5, top}));
        top += part.area.height;
        EXPECT_EQ(part.end, (PointValue{1005, top}));
    }
    EXPECT_EQ(top, 207);
}

TEST_F(PartialLoadsTest, AllPixelsArrive) {
    const auto image = striped(700, 300);
    auto collector = make_ref<Collector>();
    const RectangleValue area{10, 20, 500, 270};
    load("call_000_LoadPartialArgb32Pixels", image, area, collector.get());
    ASSERT_EQ(collector->argb32.size(), 500U * 270);
    EXPECT_GT(collector->parts.size(), 1U);
    for (size_t i = 0; i < collector->argb32.size(); i += 997) {
        const auto expected = 0xFF000000 | static_cast<uint32_t>((20 + i / 500) * 700 + 10 + i % 500);
        EXPECT_EQ(static_cast<uint32_t>(collector->argb32[i]), expected);
    }
    load("call_000_LoadPartialPixels", image, area, collector.get());
    load("call_000_LoadPartialArgb64Pixels", image, area, collector.get());
    ASSERT_EQ(collector->colors.size(), collector->argb32.size());
    ASSERT_EQ(collector->argb64.size(), collector->argb32.size());
    EXPECT_EQ(collector->colors.back().argb, static_cast<uint32_t>(collector->argb32.back()));
    EXPECT_EQ(static_cast<uint64_t>(collector->argb64[0]) >> 48, 0xFFFFU);
}

TEST_F(PartialLoadsTest, NoPixelsOutsideTheAreaAreDelivered) {
    auto collector = make_ref<Collector>();
    for (const RectangleValue& area :
         {RectangleValue{0, 0, 300, 301}, RectangleValue{0, 0, 301, 300}, RectangleValue{0, 0, 0, 5},
          RectangleValue{0, 0, 5, 0}, RectangleValue{0, 0, -5, 5}}) {
        load("call_000_LoadPartialArgb32Pixels", striped(300, 300), area, collector.get());
        EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
        EXPECT_TRUE(collector->parts.empty());
    }
    load("call_000_LoadPartialArgb32Pixels", striped(3, 3), {0, 0, 3, 3}, nullptr);
    EXPECT_EQ(test::take_raised().name, "ArgumentNullException");
}

TEST_F(PartialLoadsTest, RawDataGoToTheirPlaceInAnotherImage) {
    const auto image = striped(9, 7);
    auto collector = make_ref<Collector>();
    const auto load_raw = [&](RectangleValue area, RectangleValue bounds) {
        Handle self = make_handle(image);
        Handle settings = make_handle(make_instance("Zelmor.Imaging.RawDataSettings"));
        const VariantArg rectangle{kHandleStruct, make_struct_handle(area)};
        const VariantArg place{kHandleStruct, make_struct_handle(bounds)};
        const VariantArg loader{kHandleObject, make_handle(Ref<ManagedObject>(collector))};
        test::call<void>("Zelmor.Imaging.RasterImage", "call_001_LoadRawData", self, &rectangle, &place, settings,
                         &loader);
        for (Handle handle : {self, settings, rectangle.value, place.value, loader.value}) {
            free_handle(handle);
        }
    };
    load_raw({2, 1, 5, 4}, {100, 50, 3, 9});
    ASSERT_EQ(collector->parts.size(), 1U);
    EXPECT_EQ(collector->parts[0].start, (PointValue{100, 50}));
    EXPECT_EQ(collector->parts[0].end, (PointValue{103, 54}));
    ASSERT_EQ(collector->raw.size(), 3U * 3 * 4);
    EXPECT_EQ(std::to_integer<int>(collector->raw[0]), 9 + 2);  // blue comes first
    load_raw({2, 1, 5, 4}, {0, 0, 0, 9});
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
    load_raw({8, 1, 5, 4}, {0, 0, 5, 4});
    EXPECT_EQ(test::take_raised().name, "ArgumentOutOfRangeException");
    EXPECT_EQ(collector->parts.size(), 1U);
}

}  // namespace
}  // namespace zelmor::embed
