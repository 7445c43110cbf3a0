// Layers and results; see masking_result.h.
#include "runtime/native/behaviors/masking/masking_result.h"

#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Png.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.Masking.Result.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/masking/masked_pixels.h"
#include "runtime/native/behaviors/masking/parts.h"
#include "runtime/native/behaviors/settings/memory_limit.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"
#include "runtime/native/imagework/limits.h"

namespace zelmor::embed {

using imagework::Argb;
using imagework::Rect;

std::vector<uint8_t> mask_of_object(const Separation& separation, int32_t object) {
    std::vector<uint8_t> mask(separation.labels.size());
    std::transform(separation.labels.begin(), separation.labels.end(), mask.begin(),
                   [&](int32_t label) { return label == object ? uint8_t{255} : uint8_t{0}; });
    return feathered(std::move(mask), separation.area.width, separation.area.height, separation.feathering);
}

namespace {

using LayerApi = api::Masking::Result::IMaskingLayer;
using ResultApi = api::Masking::Result::MaskingResult;

class LayerObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = LayerApi::kType.name;
    LayerObject(std::shared_ptr<const Separation> its_separation, Ref<Record> its_options, int32_t its_object)
        : ManagedObject(require_type(kManagedName)),
          separation(std::move(its_separation)),
          options(std::move(its_options)),
          object(its_object) {
        track();
    }
    std::shared_ptr<const Separation> separation;  // null once the result is disposed
    Ref<Record> options;
    int32_t object;

    const Separation& live() const {
        require_live();
        return *separation;
    }
    void on_dispose() override { separation.reset(); }
    void references(ReferenceVisitor& visitor) override { visitor(options); }
    std::u16string to_text() const override { return u"Zelmor.Imaging.Masking.Result.MaskingLayer"; }
};

const ElementType& layer_element() {
    static const ElementType& element = element_of(Wire::kInterface, LayerObject::kManagedName);
    return element;
}

class ResultObject final : public ManagedEnumerable {
 public:
    static constexpr const char* kManagedName = ResultApi::kType.name;
    explicit ResultObject(Ref<Record> its_options)
        : ManagedEnumerable(require_type(kManagedName)), options(std::move(its_options)) {
        track();
    }
    Ref<Record> options;
    std::vector<Ref<LayerObject>> layers;

    const ElementType& element() const override { return layer_element(); }
    Ref<ManagedEnumerator> enumerator() override { return array()->enumerator(); }
    Ref<ManagedList> array() const {
        require_live();
        std::vector<Value> items(layers.begin(), layers.end());
        return make_ref<ValueList>(ListShape::kArray, layer_element(), std::move(items));
    }

    void on_dispose() override {
        for (const Ref<LayerObject>& layer : layers) {
            layer->dispose();
        }
    }
    void references(ReferenceVisitor& visitor) override {
        visitor(options);
        visitor(layers);
    }
};

// The options that an image of a layer is made for: colors with alpha, without a loss.
Ref<Record> png_options(api::FileFormats::Png::PngColorType type) {
    auto options = make_instance(api::ImageOptions::PngOptions::kType.name);
    set_property(*options, "ColorType", type);
    return Ref<Record>(&cast_object<Record>(*options));
}

void require_memory(const Separation& separation, const ManagedObject* export_options) {
    const uint64_t bytes = static_cast<uint64_t>(separation.picture->width()) *
                           static_cast<uint64_t>(separation.picture->height()) * sizeof(Argb);
    const uint64_t limit = decoded_memory_limit(export_options);
    if (bytes > limit) {
        using imagework::limits::kMebibyte;
        throw ManagedException("OutOfMemoryException",
                               "The pixels of a layer take " + std::to_string(bytes / kMebibyte + 1) +
                                   " megabytes, and BufferSizeHint allows " + std::to_string(limit / kMebibyte) + ".");
    }
}

// Rows of the source that are worked on at a time.
constexpr int32_t kRows = 64;

// Calls `use(area, first)` for strips of rows over the whole picture, where `area` is the strip.
template <class Use>
void for_each_strip(const imagework::Picture& picture, Use&& use) {
    for (int32_t y = 0; y < picture.height(); y += kRows) {
        use(Rect{0, y, picture.width(), std::min(kRows, picture.height() - y)});
    }
}

// The mask of an object over the whole picture.
class WholeMask {
 public:
    WholeMask(const Separation& separation, int32_t object)
        : m_area(separation.area), m_outside(object == 0 ? 255 : 0), m_mask(mask_of_object(separation, object)) {}
    uint8_t at(int32_t x, int32_t y) const {
        const int32_t column = x - m_area.x, row = y - m_area.y;
        if (column < 0 || row < 0 || column >= m_area.width || row >= m_area.height) {
            return m_outside;
        }
        return m_mask[static_cast<size_t>(row) * static_cast<size_t>(m_area.width) + static_cast<size_t>(column)];
    }

 private:
    RectangleValue m_area;
    uint8_t m_outside;
    std::vector<uint8_t> m_mask;
};

Ref<ManagedObject> layer_image(LayerObject& self) {
    const Separation& separation = self.live();
    const Ref<ManagedObject> wanted = property_object(*self.options, "ExportOptions");
    require_memory(separation, wanted.get());
    Ref<Record> made = wanted ? Ref<Record>(&cast_object<Record>(*wanted))
                              : png_options(api::FileFormats::Png::PngColorType::kTruecolorWithAlpha);
    const imagework::Picture& source = *separation.picture;
    auto image = create_image(made.get(), source.width(), source.height());
    const Argb replacement = color_property(*self.options, "BackgroundReplacementColor");
    const bool keeps_alpha = image->picture().has_alpha();
    // Without alpha there is a color behind the object in any case.
    const Argb behind = replacement >> 24 == 0 && !keeps_alpha ? imagework::kWhite : replacement;
    const WholeMask mask(separation, self.object);
    for_each_strip(source, [&](const Rect& strip) {
        std::vector<Argb> pixels(static_cast<size_t>(strip.width) * static_cast<size_t>(strip.height));
        source.read_argb(strip, pixels);
        for (size_t i = 0; i < pixels.size(); ++i) {
            const auto x = static_cast<int32_t>(i % static_cast<size_t>(strip.width));
            const auto y = strip.y + static_cast<int32_t>(i / static_cast<size_t>(strip.width));
            pixels[i] = MaskedArgb::masked(pixels[i], mask.at(x, y));
            if (behind >> 24 != 0) {
                pixels[i] = MaskedArgb::over(pixels[i], keeps_alpha ? behind : behind | 0xFF000000);
            }
        }
        image->picture().write_argb(strip, pixels);
    });
    return image;
}

Ref<ManagedObject> layer_mask(LayerObject& self) {
    const Separation& separation = self.live();
    require_memory(separation, nullptr);
    const Ref<Record> options = png_options(api::FileFormats::Png::PngColorType::kGrayscale);
    const imagework::Picture& source = *separation.picture;
    auto image = create_image(options.get(), source.width(), source.height());
    const WholeMask mask(separation, self.object);
    for_each_strip(source, [&](const Rect& strip) {
        std::vector<Argb> pixels;
        for (int32_t y = strip.y; y < strip.y + strip.height; ++y) {
            for (int32_t x = 0; x < strip.width; ++x) {
                pixels.push_back(0xFF000000 | mask.at(x, y) * Argb{0x010101});
            }
        }
        image->picture().write_argb(strip, pixels);
    });
    return image;
}

int32_t object_number(LayerObject& self) {
    self.live();
    return self.object;
}

// The items of the class as a sequence are these: an object without a handle is refused by the name of the property.
Collection layers(ResultObject* self) {
    if (self == nullptr) {
        throw_null_reference("Object reference not set to an instance of an object: MaskingResult.Layers");
    }
    return {Ref<ManagedObject>(self->array())};
}
int32_t length(ResultObject& self) {
    self.require_live();
    return static_cast<int32_t>(self.layers.size());
}
Ref<ManagedObject> options_of(ResultObject& self) {
    self.require_live();
    return self.options;
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&layer_image, LayerApi::call_000_GetImage>(),
    behavior<&layer_mask, LayerApi::call_000_GetMask>(),
    behavior<&object_number, LayerApi::get_ObjectNumber>(),
    behavior<&layers, ResultApi::get_Layers>(),
    behavior<&length, ResultApi::get_Length>(),
    behavior<&options_of, ResultApi::get_MaskingOptions>(),
});

}  // namespace

Ref<ManagedObject> make_masking_result(std::shared_ptr<const Separation> separation, Ref<Record> options) {
    auto result = make_ref<ResultObject>(options);
    // Objects without a pixel have no layer; the background always has one.
    std::vector<bool> present(static_cast<size_t>(separation->objects) + 1, false);
    for (const int32_t label : separation->labels) {
        present[static_cast<size_t>(label)] = true;
    }
    for (int32_t i = 0; i <= separation->objects; ++i) {
        if (i == 0 || present[static_cast<size_t>(i)]) {
            result->layers.push_back(make_ref<LayerObject>(separation, options, i));
        }
    }
    return result;
}

}  // namespace zelmor::embed
