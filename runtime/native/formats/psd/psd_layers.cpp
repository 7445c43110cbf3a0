// Walking over layers and the blocks behind them; see psd_layers.h.
#include "runtime/native/formats/psd/psd_layers.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "runtime/native/formats/psd/psd_cursor.h"

namespace zelmor::imagework {
namespace {

// Blocks of layers whose length has 8 bytes in large files.
bool has_long_length(std::string_view key) {
    constexpr std::string_view kKeys[] = {"LMsk", "Lr16", "Lr32", "Layr", "Mt16", "Mt32", "Mtrn",
                                          "Alph", "FMsk", "lnk2", "FEid", "FXid", "PxSD"};
    return std::find(std::begin(kKeys), std::end(kKeys), key) != std::end(kKeys);
}

// Blocks of a layer that change none of its pixels when it stands alone: names, numbers, marks of the user interface.
bool is_harmless(std::string_view key) {
    constexpr std::string_view kKeys[] = {"luni", "lyid", "lnsr", "lspf", "lclr", "shmd", "fxrp",
                                          "clbl", "infx", "knko", "tsly", "lmgm", "vmgm", "cinf"};
    return std::find(std::begin(kKeys), std::end(kKeys), key) != std::end(kKeys);
}

struct LayerRecord {
    std::vector<PsdLayerPlane> planes;  // with the lengths alone at first
    bool is_picture = false;
};

// Whether the blending ranges leave all of the layer visible.
bool whole_ranges(const std::string& ranges) {
    constexpr std::string_view kWhole("\0\0\xFF\xFF", 4);
    for (size_t i = 0; i + 4 <= ranges.size(); i += 4) {
        if (std::string_view(ranges).substr(i, 4) != kWhole) {
            return false;
        }
    }
    return ranges.size() % 4 == 0;
}

LayerRecord read_layer_record(PsdCursor& in, const PsdFile& file) {
    LayerRecord layer;
    const auto side = [&] { return static_cast<int32_t>(in.take(4)); };
    const std::array<int32_t, 4> area{side(), side(), side(), side()};
    layer.is_picture = area == std::array<int32_t, 4>{0, 0, file.height, file.width};
    const uint64_t count = in.take(2);
    if (count > static_cast<uint64_t>(kPsdMostChannels) + 3 || !in.has(count * (file.large ? 10 : 6))) {
        layer.is_picture = false;
        return layer;
    }
    for (uint64_t i = 0; i < count; i++) {
        const auto id = static_cast<int16_t>(in.take(2));
        layer.planes.push_back({id, {0, in.take_length()}});
    }
    layer.is_picture = layer.is_picture && in.text(4) == "8BIM" && in.text(4) == "norm";
    const uint64_t opacity = in.take(1);
    const uint64_t clipping = in.take(1);
    const uint64_t flags = in.take(1);
    in.skip(1);
    constexpr uint64_t kHidden = 2;
    layer.is_picture = layer.is_picture && opacity == 255 && clipping == 0 && (flags & kHidden) == 0;
    const uint64_t extra = in.take(4);
    const uint64_t end = in.at() + extra;
    if (!layer.is_picture || !in.has(extra)) {
        layer.is_picture = false;
        return layer;
    }
    layer.is_picture = in.take(4) == 0;  // no mask
    const uint64_t ranges = in.take(4);
    constexpr uint64_t kMostRanges = 8 * (kPsdMostChannels + 2);
    layer.is_picture = layer.is_picture && ranges <= kMostRanges && whole_ranges(in.text(ranges));
    const uint64_t name = 1 + in.take(1);
    in.skip((name + 3) / 4 * 4 - 1);
    while (layer.is_picture && in.ok() && in.at() + 12 <= end) {
        layer.is_picture = in.starts_with("8BIM") || in.starts_with("8B64");
        in.skip(4);
        layer.is_picture = layer.is_picture && is_harmless(in.text(4));
        in.skip(even_size(in.take(4)));
    }
    layer.is_picture = layer.is_picture && in.ok() && in.at() <= end;
    in.skip(end > in.at() ? end - in.at() : 0);
    return layer;
}

// Layers: their count, their records, and the planes of all of them. Tells whether the count says that the composite
// has transparency.
bool read_layer_info(ByteSource& bytes, const PsdRange& range, PsdFile& file) {
    PsdCursor in(bytes, range, file.large);
    const auto count = static_cast<int16_t>(in.take(2));
    if (!in.ok() || count >= 0) {
        return false;
    }
    if (count != -1) {
        return true;
    }
    LayerRecord layer = read_layer_record(in, file);
    if (!layer.is_picture || !in.ok()) {
        return true;
    }
    for (PsdLayerPlane& plane : layer.planes) {
        plane.data.at = in.at();
        in.skip(plane.data.size);
    }
    const auto colors = static_cast<size_t>(file.planes);
    if (!in.ok() || layer.planes.size() != colors + 1 || file.planes != file.form.color_bands()) {
        return true;
    }
    std::vector<PsdLayerPlane> ordered(colors + 1);
    std::vector<bool> found(colors + 1);
    for (const PsdLayerPlane& plane : layer.planes) {
        const auto band = plane.id == -1 ? colors : static_cast<size_t>(plane.id);
        if (plane.id < -1 || band > colors || (plane.id != -1 && band == colors) || plane.data.size < 2) {
            return true;
        }
        ordered[band] = plane;
        found[band] = true;
    }
    if (std::find(found.begin(), found.end(), false) == found.end()) {
        file.layer = std::move(ordered);
    }
    return true;
}

// Blocks for all of the file behind the layers. Tells whether one says that the composite has transparency.
bool read_layer_blocks(ByteSource& bytes, const PsdRange& range, PsdFile& file) {
    PsdCursor in(bytes, range, file.large);
    bool transparent = false;
    while (in.left() >= 12) {
        // Their data are padded, by 4 in most files.
        for (int i = 0; i < 3 && !in.starts_with("8BIM") && !in.starts_with("8B64") && in.left() > 12; i++) {
            in.skip(1);
        }
        if (!in.starts_with("8BIM") && !in.starts_with("8B64")) {
            break;
        }
        const uint64_t start = in.at();
        in.skip(4);
        const std::string key = in.text(4);
        const uint64_t size = file.large && has_long_length(key) ? in.take(8) : in.take(4);
        if (!in.ok() || !in.has(size)) {
            break;
        }
        const PsdRange data{in.at(), size};
        in.skip(size);
        if (key == "Mtrn" || key == "Mt16" || key == "Mt32") {
            transparent = true;
        } else if (key == "Layr" || key == "Lr16" || key == "Lr32") {
            transparent = read_layer_info(bytes, data, file) || transparent;
        } else if (key == "Txt2" && file.text_engine.size == 0) {
            // The padding belongs to the block where the next one or the end of the section follows it.
            const uint64_t padded = (size + 3) / 4 * 4;
            const uint64_t end = std::min(range.end(), data.at + padded);
            const bool next = end == range.end() || ByteReader(bytes).starts_with(end, "8BIM") ||
                              ByteReader(bytes).starts_with(end, "8B64");
            file.text_engine = {start, (next ? end : data.end()) - start};
        }
    }
    return transparent;
}

}  // namespace

bool read_psd_layers(ByteSource& bytes, PsdFile& file) {
    PsdCursor in(bytes, file.layers, file.large);
    bool transparent = false;
    const uint64_t info = in.take_length();
    if (!in.ok() || !in.has(info)) {
        return false;
    }
    if (info > 0) {
        transparent = read_layer_info(bytes, {in.at(), info}, file);
    }
    in.skip(info);
    if (!in.has(4)) {
        return transparent;
    }
    in.skip(in.take(4));  // the mask of all layers
    if (in.ok() && in.left() > 0) {
        transparent = read_layer_blocks(bytes, {in.at(), in.left()}, file) || transparent;
    }
    return transparent;
}

}  // namespace zelmor::imagework
