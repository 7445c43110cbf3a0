// Tiles by copying pixels; see texture_tile.h.
#include "runtime/native/drawwork/texture_tile.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/drawwork/outline_maps.h"

namespace zelmor::drawwork {
namespace {

// Pixels that a texture which goes on around its edge may become.
constexpr double kMostPixels = 16e6;

Argb pixel_at(const Paint& texture, int32_t x, int32_t y) {
    return texture.pixels[static_cast<size_t>(y) * static_cast<size_t>(texture.width) + static_cast<size_t>(x)];
}

// `at` maps the pixels of the tile to those of the texture.
template <class At>
TextureTile copied(const Paint& texture, int32_t left, int32_t top, int32_t width, int32_t height, At&& at) {
    TextureTile tile;
    tile.width = width;
    tile.height = height;
    tile.placing = Affine::translation(left, top).then(texture.placing);
    tile.pixels.reserve(static_cast<size_t>(width) * static_cast<size_t>(height));
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            tile.pixels.push_back(pixel_at(texture, at(left + x, texture.width), at(top + y, texture.height)));
        }
    }
    return tile;
}

TextureTile padded(const Paint& texture, const RectD& reach) {
    const auto back = texture.placing.inverse();
    const RectD seen = back ? rectangle_around(mapped_outline(rectangle_outline(reach), *back)) : RectD{0, 0, 1, 1};
    // Less than half a pixel beyond the edge is a matter of rounding.
    const auto before = [](double at) { return at < -0.5 ? std::floor(at) : 0.0; };
    const auto behind = [](double at, int32_t size) { return at > size + 0.5 ? std::ceil(at) : double(size); };
    const double left = before(seen.x), top = before(seen.y);
    const double right = behind(seen.right(), texture.width), bottom = behind(seen.bottom(), texture.height);
    if (!((right - left) * (bottom - top) <= std::max(kMostPixels, double(texture.width) * texture.height))) {
        throw DrawError("a texture goes on too far around its edge");
    }
    return copied(texture, int32_t(left), int32_t(top), int32_t(right - left), int32_t(bottom - top),
                  [](int32_t at, int32_t size) { return std::clamp(at, 0, size - 1); });
}

}  // namespace

TextureTile tile_of(const Paint& texture, const RectD& reach) {
    assert(texture.kind == Paint::Kind::kTexture && texture.width > 0 && texture.height > 0);
    if (texture.extend == Extend::kPad) {
        return padded(texture, reach);
    }
    if (texture.extend == Extend::kReflect) {
        TextureTile tile = copied(texture, 0, 0, 2 * texture.width, 2 * texture.height,
                                  [](int32_t at, int32_t size) { return at < size ? at : 2 * size - 1 - at; });
        tile.repeats = true;
        return tile;
    }
    return {texture.pixels, texture.width, texture.height, texture.placing, texture.extend == Extend::kRepeat};
}

Paint texture_of_paint(Backend& backend, const Paint& paint, const RectD& area) {
    constexpr double kDetail = 2;
    const double detail = std::min(kDetail, std::sqrt(kMostPixels / std::max(1.0, area.width * area.height)));
    Paint texture;
    texture.kind = Paint::Kind::kTexture;
    texture.width = std::max(1, static_cast<int32_t>(std::ceil(area.width * detail)));
    texture.height = std::max(1, static_cast<int32_t>(std::ceil(area.height * detail)));
    texture.placing = Affine::scaling(1 / detail, 1 / detail).then(Affine::translation(area.x, area.y));
    const auto back = texture.placing.inverse();
    assert(back);
    Paint inside = paint;
    inside.placing = paint.placing.then(*back);
    inside.opacity = 1;
    texture.pixels.resize(static_cast<size_t>(texture.width) * static_cast<size_t>(texture.height));
    const auto canvas = backend.canvas({0, 0, texture.width, texture.height}, texture.pixels);
    canvas->fill(rectangle_outline({0, 0, double(texture.width), double(texture.height)}), FillRule::kWinding, inside,
                 false);
    texture.pixels = canvas->pixels();
    texture.opacity = paint.opacity;
    return texture;
}

RectD reach_of_stroke(const Outline& outline, const Stroke& stroke) {
    const RectD around = rectangle_around(outline);
    const double longest =
        std::max(PointD{stroke.nib.m11, stroke.nib.m12}.length(), PointD{stroke.nib.m21, stroke.nib.m22}.length());
    const double reach = stroke.width * longest * std::max(1.5, stroke.miter_limit);
    return {around.x - reach, around.y - reach, around.width + 2 * reach, around.height + 2 * reach};
}

}  // namespace zelmor::drawwork
