// Paths, regions, images and fonts of EMF+.
#include "runtime/native/formats/metafile/player/plus_objects.h"

#include <algorithm>
#include <string_view>

#include "runtime/native/formats/metafile/record_forms.h"

namespace zelmor::embed::metafile {

namespace {

constexpr int kDeepest = 400;

struct PointType {
    int64_t type = 0, flags = 0;
};

std::vector<PointType> types_of(const ManagedObject& path, size_t most) {
    std::vector<PointType> types;
    for (const auto& each : objects_in(path, "PathPointTypes")) {
        const bool run = std::string_view(each->type().name) == "EmfPlusPathPointTypeRle";
        const auto point = run ? object_in(*each, "PointType") : each;
        if (!point) {
            continue;
        }
        const PointType type{whole_in(*point, "Type"), whole_in(*point, "Flags")};
        const int64_t count = run ? whole_in(*each, "RunCount") : 1;
        for (int64_t i = 0; i < count && types.size() < most; ++i) {
            types.push_back(type);
        }
    }
    return types;
}

RegionTree node_region(const ManagedObject* node, int depth) {
    enum : int64_t { kAnd = 1, kOr, kXor, kExclude, kComplement, kRect = 0x10000000, kPath, kEmpty, kInfinite };
    if (node == nullptr || depth > kDeepest) {
        return empty_region();
    }
    const int64_t type = whole_in(*node, "Type");
    const auto data = object_in(*node, "RegionNodeData");
    if (type == kInfinite) {
        return infinite_region();
    }
    if (!data) {
        return empty_region();
    }
    const std::string_view name = data->type().name;
    if (name == "EmfPlusRectF") {
        const RectD rect{number_in(*data, "X"), number_in(*data, "Y"), number_in(*data, "Width"),
                         number_in(*data, "Height")};
        return region_of({rectangle_contour(rect)}, FillRule::kWinding);
    }
    if (name == "EmfPlusRegionNodePath") {
        const auto path = object_in(*data, "RegionNodePath");
        return path ? region_of(plus_path(*path), plus_rule(*path)) : empty_region();
    }
    if (!has_property(*data, "Left")) {
        return empty_region();
    }
    constexpr RegionOperation kOperations[] = {RegionOperation::kIntersect, RegionOperation::kUnion,
                                               RegionOperation::kXor, RegionOperation::kExclude,
                                               RegionOperation::kComplement};
    if (type < kAnd || type > kComplement) {
        return empty_region();
    }
    return combined(node_region(object_in(*data, "Left").get(), depth + 1),
                    node_region(object_in(*data, "Right").get(), depth + 1), kOperations[type - kAnd]);
}

// ---- Pixels by their format

uint8_t wide(uint32_t value, uint32_t bits) {
    const uint32_t top = (1U << bits) - 1;
    return static_cast<uint8_t>((value & top) * 255 / top);
}

Argb straight(Argb color) {
    const uint32_t alpha = color >> 24;
    Argb result = alpha << 24;
    for (int shift = 0; shift < 24 && alpha != 0; shift += 8) {
        result |= std::min((color >> shift & 0xFF) * 255 / alpha, 255U) << shift;
    }
    return result;
}

Argb color_at(const uint8_t* at, int64_t format) {
    const auto word = [&](size_t i) { return static_cast<uint32_t>(at[2 * i] | at[2 * i + 1] << 8); };
    const auto argb = [&](uint32_t a, uint32_t r, uint32_t g, uint32_t b) { return a << 24 | r << 16 | g << 8 | b; };
    // Channels of 16 bits reach to 8192 for full light.
    const auto light = [&](size_t i) { return std::min(word(i) * 255 / 8192, 255U); };
    switch (format & 0xFF) {
        case 4:
            return argb(255, word(0) >> 8, word(0) >> 8, word(0) >> 8);
        case 5:
            return argb(255, wide(word(0) >> 10, 5), wide(word(0) >> 5, 5), wide(word(0), 5));
        case 6:
            return argb(255, wide(word(0) >> 11, 5), wide(word(0) >> 5, 6), wide(word(0), 5));
        case 7:
            return argb(word(0) >> 15 ? 255 : 0, wide(word(0) >> 10, 5), wide(word(0) >> 5, 5), wide(word(0), 5));
        case 8:
        case 9:
            return argb(255, at[2], at[1], at[0]);
        case 10:
            return argb(at[3], at[2], at[1], at[0]);
        case 11:
            return straight(argb(at[3], at[2], at[1], at[0]));
        case 12:
            return argb(255, light(2), light(1), light(0));
        case 13:
            return argb(light(3), light(2), light(1), light(0));
        case 14:
            return straight(argb(light(3), light(2), light(1), light(0)));
        default:
            return 0;
    }
}

Pixels raw_pixels(const ManagedObject& bitmap, const ManagedObject& data) {
    constexpr int64_t kIndexed = 0x10000, kMostSide = 1 << 16;
    const int64_t width = whole_in(bitmap, "Width"), height = whole_in(bitmap, "Height");
    const int64_t stride = whole_in(bitmap, "Stride"), format = whole_in(bitmap, "PixelFormat");
    const int64_t bits = format >> 8 & 0xFF;
    const FileBytes bytes = bytes_in(data, "PixelData");
    if (width <= 0 || height <= 0 || width > kMostSide || height > kMostSide || bits == 0 || stride <= 0 ||
        stride < (width * bits + 7) / 8) {
        return {};
    }
    std::vector<Argb> palette;
    if (const auto colors = (format & kIndexed) != 0 ? object_in(data, "Colors") : Ref<ManagedObject>()) {
        palette = colors_in(*colors, "Argb32Entries");
    }
    // The last row may lack its padding.
    const int64_t rows =
        std::min(height, (static_cast<int64_t>(bytes.size()) + stride - (width * bits + 7) / 8) / stride);
    Pixels pixels{static_cast<int32_t>(width), static_cast<int32_t>(rows), {}, false};
    if (rows <= 0) {
        return {};
    }
    for (int64_t y = 0; y < rows; ++y) {
        const uint8_t* row = bytes.data() + y * stride;
        for (int64_t x = 0; x < width; ++x) {
            if ((format & kIndexed) == 0) {
                pixels.colors.push_back(color_at(row + x * bits / 8, format));
                continue;
            }
            const int64_t place = x * bits;
            const auto index = static_cast<size_t>(row[place / 8] >> (8 - bits - place % 8) & ((1 << bits) - 1));
            pixels.colors.push_back(index < palette.size() ? palette[index] : kBlack);
        }
    }
    return pixels;
}

}  // namespace

Outline plus_path(const ManagedObject& path) {
    enum : int64_t { kStart = 0, kLine = 1, kBezier = 3, kClose = 8 };
    const std::vector<PointD> points = points_in(path, "PathPoints");
    const std::vector<PointType> types = types_of(path, points.size());
    Outline outline;
    for (size_t i = 0; i < points.size() && i < types.size(); ++i) {
        if (types[i].type == kStart || outline.empty()) {
            outline.push_back({points[i], {}, false});
        } else if (types[i].type == kBezier && i + 2 < points.size() && i + 2 < types.size()) {
            outline.back().curve_to(points[i], points[i + 1], points[i + 2]);
            i += 2;
        } else {
            outline.back().line_to(points[i]);
        }
        if ((types[i].flags & kClose) != 0) {
            outline.back().closed = true;
        }
    }
    return outline;
}

FillRule plus_rule(const ManagedObject& path) {
    constexpr int64_t kWinding = 0x2000;
    return (whole_in(path, "PathPointFlags") & kWinding) != 0 ? FillRule::kWinding : FillRule::kAlternate;
}

RegionTree plus_region(const ManagedObject& region) {
    const auto nodes = objects_in(region, "RegionNode");
    return nodes.empty() ? infinite_region() : node_region(nodes.front().get(), 0);
}

PlusImage plus_image(const ManagedObject& image) {
    PlusImage made;
    const auto data = object_in(image, "ImageData");
    if (!data) {
        return made;
    }
    const std::string_view name = data->type().name;
    if (name == "EmfPlusMetafile") {
        made.metafile = bytes_in(*data, "MetafileData");
    } else if (const auto bitmap = name == "EmfPlusBitmap" ? object_in(*data, "BitmapData") : Ref<ManagedObject>()) {
        const bool compressed = std::string_view(bitmap->type().name) == "EmfPlusCompressedImage";
        made.pixels = compressed ? file_pixels(bytes_in(*bitmap, "CompressedImageData")) : raw_pixels(*data, *bitmap);
    }
    return made;
}

Ref<ManagedObject> plus_font(const ManagedObject& font) {
    auto made = make_instance(api::Font::kType.name);
    set_property(*made, "Name", Value(text_in(font, "FamilyName")));
    set_property(*made, "Size", number_in(font, "EmSize"));
    set_property(*made, "Style", whole_in(font, "FontStyleFlags") & 0xF);
    set_property(*made, "Unit", whole_in(font, "SizeUnit"));
    return made;
}

Ref<ManagedObject> plus_format(const ManagedObject& format) {
    auto made = make_instance(api::StringFormat::kType.name);
    constexpr int64_t kOfTheFormat = 0x7FFF;  // and one that does not concern the drawing
    set_property(*made, "FormatFlags", whole_in(format, "StringFormatFlags") & kOfTheFormat);
    set_property(*made, "Alignment", std::clamp<int64_t>(whole_in(format, "StringAlignment"), 0, 2));
    set_property(*made, "LineAlignment", std::clamp<int64_t>(whole_in(format, "LineAlign"), 0, 2));
    set_property(*made, "Trimming", std::clamp<int64_t>(whole_in(format, "Trimming"), 0, 5));
    set_property(*made, "HotkeyPrefix", std::clamp<int64_t>(whole_in(format, "HotkeyPrefix"), 0, 2));
    set_property(*made, "FirstTabOffset", number_in(format, "FirstTabOffset"));
    if (const auto data = object_in(format, "StringFormatData")) {
        set_property(*made, "TabStops", property(*data, "TabStops"));
    }
    return made;
}

}  // namespace zelmor::embed::metafile
