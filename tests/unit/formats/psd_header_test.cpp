// What the bytes before the pixels of a PSD file say: each field of its header, its resources and its layers, with the
// bounds that the format sets.
#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "runtime/native/formats/psd/psd_structure.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/probe/probe.h"
#include "tests/unit/formats/psd_files.h"
#include "tests/unit/imagecodecs/codec_files.h"

namespace zelmor::imagework {
namespace {

PsdFile structure_of(const Bytes& file) {
    SourceBytes bytes(memory_source(file));
    return read_psd_structure(bytes, file.size());
}
std::string refusal(const Bytes& file, Failure kind = Failure::kDamaged) {
    const PictureError error = failure_of([&] { structure_of(file); });
    EXPECT_EQ(error.kind(), kind) << error.what();
    return error.what();
}
void set(Bytes& file, size_t at, uint64_t value, int bytes) {
    Bytes number;
    put(number, value, bytes);
    std::copy(number.begin(), number.end(), file.begin() + static_cast<std::ptrdiff_t>(at));
}

// ---- The header.

TEST(PsdHeader, EachFieldStandsWhereTheFormatSays) {
    PsdParts parts;
    parts.version = 2;
    parts.channels = 5;
    parts.height = 7;
    parts.width = 9;
    parts.depth = 16;
    parts.mode = 4;
    parts.compression = 3;
    parts.color_data = Bytes(11);
    parts.resources = resource(4000, Bytes(5));
    parts.layers = Bytes(13);
    const Bytes file = parts.file();
    const PsdFile found = structure_of(file);
    EXPECT_TRUE(found.large);
    EXPECT_EQ(found.channels, 5);
    EXPECT_EQ(found.height, 7);
    EXPECT_EQ(found.width, 9);
    EXPECT_EQ(found.depth, 16);
    EXPECT_EQ(found.mode, PsdColorMode::kCmyk);
    EXPECT_EQ(found.compression, PsdCompression::kZipWithPrediction);
    EXPECT_EQ(found.color_data.at, 30U);
    EXPECT_EQ(found.color_data.size, 11U);
    EXPECT_EQ(found.resources.at, 45U);
    EXPECT_EQ(found.resources.size, 18U);
    EXPECT_EQ(found.layers.at, 45U + 18 + 8);
    EXPECT_EQ(found.layers.size, 13U);
    EXPECT_EQ(found.image.at, 45U + 18 + 8 + 13);
    EXPECT_EQ(found.image.end(), file.size());
    EXPECT_EQ(found.row_bytes(), 18U);
    EXPECT_EQ(found.planes, 4);
    parts.version = 1;
    EXPECT_FALSE(structure_of(parts.file()).large);
    EXPECT_EQ(structure_of(parts.file()).layers.at, 45U + 18 + 4);
}

TEST(PsdHeader, TheMarkAndTheVersion) {
    const Bytes file = PsdParts().file();
    EXPECT_TRUE(is_psd(file));
    for (size_t at = 0; at < 4; at++) {
        Bytes other = file;
        other[at] ^= 0x20;
        EXPECT_EQ(refusal(other), "this is no PSD file");
        EXPECT_FALSE(is_psd(other));
        EXPECT_NE(sniff(other), Format::kPsd);
    }
    for (const unsigned version : {0U, 3U, 0x100U, 0x201U, 0xFFFFU}) {
        Bytes other = file;
        set(other, 4, version, 2);
        EXPECT_EQ(refusal(other, Failure::kUnsupported),
                  "this is a PSD of version " + std::to_string(version) + ", which the format does not define");
        EXPECT_FALSE(is_psd(other));
        EXPECT_NE(sniff(other), Format::kPsd);
    }
    for (size_t at = 6; at < 12; at++) {  // reserved
        Bytes other = file;
        other[at] = 0xFF;
        EXPECT_EQ(structure_of(other).channels, 3);
    }
}

TEST(PsdHeader, SidesAndChannelsHaveBounds) {
    const Bytes file = PsdParts().file();
    struct Case {
        size_t at;
        int bytes;
        uint32_t value;
        bool fits;
    };
    for (const Case& one :
         {Case{14, 4, 0, false}, Case{14, 4, 1, true}, Case{14, 4, 300'000, true}, Case{14, 4, 300'001, false},
          Case{14, 4, 0x80000001, false}, Case{18, 4, 0, false}, Case{18, 4, 1, true}, Case{18, 4, 300'000, true},
          Case{18, 4, 300'001, false}, Case{18, 4, 0xFFFFFFFF, false}, Case{12, 2, 0, false}, Case{12, 2, 3, true},
          Case{12, 2, 56, true}, Case{12, 2, 57, false}, Case{12, 2, 0x100, false}}) {
        Bytes other = file;
        set(other, one.at, one.value, one.bytes);
        if (one.fits) {
            EXPECT_NO_THROW(structure_of(other)) << one.at << " " << one.value;
            continue;
        }
        const auto value_at = [&](size_t at, uint32_t own) { return std::to_string(one.at == at ? one.value : own); };
        EXPECT_EQ(refusal(other), "the header tells " + value_at(18, 5) + " by " + value_at(14, 4) + " pixels and " +
                                      value_at(12, 3) + " channels");
    }
}

// The modes as the format lists them, with the depths of each.
TEST(PsdHeader, EveryModeWithEveryDepthAndCountOfChannels) {
    struct Mode {
        const char* name;
        std::vector<unsigned> depths;
        unsigned channels;
    };
    const std::map<unsigned, Mode> modes{
        {0, {"Bitmap", {1}, 1}},          {1, {"Grayscale", {8, 16, 32}, 1}}, {2, {"Indexed", {8}, 1}},
        {3, {"RGB", {8, 16, 32}, 3}},     {4, {"CMYK", {8, 16, 32}, 4}},      {7, {"Multichannel", {8, 16, 32}, 1}},
        {8, {"Duotone", {8, 16, 32}, 1}}, {9, {"Lab", {8, 16}, 3}},
    };
    for (unsigned mode = 0; mode < 12; mode++) {
        for (const unsigned depth : {0U, 1U, 2U, 4U, 7U, 8U, 9U, 15U, 16U, 17U, 24U, 31U, 32U, 33U, 64U}) {
            for (unsigned channels = 1; channels < 7; channels++) {
                SCOPED_TRACE("mode " + std::to_string(mode) + ", depth " + std::to_string(depth) + ", channels " +
                             std::to_string(channels));
                PsdParts parts;
                parts.color_data = Bytes(768);
                Bytes file = parts.file();
                set(file, 12, channels, 2);
                set(file, 22, depth, 2);
                set(file, 24, mode, 2);
                const auto found = modes.find(mode);
                const bool usual = depth == 8 || depth == 16 || depth == 32;
                const std::string name = found == modes.end() ? "unknown" : found->second.name;
                const bool defined = found == modes.end()
                                         ? usual
                                         : std::find(found->second.depths.begin(), found->second.depths.end(), depth) !=
                                               found->second.depths.end();
                if (!defined) {
                    EXPECT_EQ(refusal(file, Failure::kUnsupported), "this is a PSD with " + std::to_string(depth) +
                                                                        " bits per channel in " + name +
                                                                        " mode, which the format does not define");
                } else if (found == modes.end()) {
                    EXPECT_EQ(
                        refusal(file, Failure::kUnsupported),
                        "this is a PSD with color mode " + std::to_string(mode) + ", which the format does not define");
                } else if (mode == 7 && channels > 4) {
                    EXPECT_EQ(refusal(file, Failure::kUnsupported),
                              "this is a PSD with " + std::to_string(channels) +
                                  " channels in Multichannel mode, of which up to 4 are read");
                } else if (channels < found->second.channels) {
                    EXPECT_EQ(refusal(file),
                              "the file has " + std::to_string(channels) + " channels, too few for " + name + " mode");
                } else {
                    const PsdFile psd = structure_of(file);
                    EXPECT_EQ(psd.form.bits, static_cast<int>(depth));
                    EXPECT_EQ(psd.form.color, mode == 2                   ? ColorModel::kIndexed
                                              : mode == 3                 ? ColorModel::kRgb
                                              : mode == 4                 ? ColorModel::kCmyk
                                              : mode == 9                 ? ColorModel::kLab
                                              : mode == 7 && channels > 1 ? ColorModel::kCmyk
                                                                          : ColorModel::kGray);
                    EXPECT_EQ(psd.form.sample, depth == 16   ? SampleType::kUint16
                                               : depth == 32 ? SampleType::kFloat
                                                             : SampleType::kUint8);
                    EXPECT_EQ(psd.planes, static_cast<int>(mode == 7 ? channels : found->second.channels));
                    const bool can_be_clear = mode != 0 && mode != 2 && mode != 7;
                    EXPECT_EQ(psd.form.alpha, can_be_clear && channels > found->second.channels);
                    EXPECT_EQ(psd_mode_name(psd.mode), name);
                }
            }
        }
    }
}

TEST(PsdHeader, AFileThatEndsIsToldByTheSection) {
    PsdParts parts;
    parts.color_data = Bytes(6);
    parts.resources = resource(4000, Bytes(4));
    for (const int version : {1, 2}) {
        parts.version = version;
        parts.layers = Bytes(8);
        const Bytes file = parts.file();
        const size_t resources = 26 + 4 + 6;
        const size_t layers = resources + 4 + parts.resources.size();
        const size_t image = layers + (version == 2 ? 8 : 4) + 8;
        for (size_t size = 4; size < image + 2; size++) {
            const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
            EXPECT_EQ(refusal(cut), size < 26          ? "the file ends in its header"
                                    : size < resources ? "the file ends in its color mode data"
                                    : size < layers    ? "the file ends in its resources"
                                    : size < image     ? "the file ends in its layers"
                                                       : "the file ends before its pixels")
                << size;
        }
        EXPECT_NO_THROW(structure_of(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(image + 2))));
        Bytes other = file;
        for (const unsigned compression : {4U, 0x100U, 0xFFFFU}) {
            set(other, image, compression, 2);
            EXPECT_EQ(refusal(other, Failure::kUnsupported),
                      std::string("this is a ") + (version == 2 ? "PSB" : "PSD") + " with compression " +
                          std::to_string(compression) + ", which the format does not define");
        }
    }
}

// ---- Resources.

TEST(PsdBlocks, NamesAndDataArePaddedToEvenSizes) {
    for (const std::string_view mark : {"8BIM", "MeSa", "AgHg", "PHUT", "DCSR"}) {
        for (size_t name = 0; name < 6; name++) {
            for (size_t data = 0; data < 5; data++) {
                PsdParts parts;
                Bytes first = resource(4001, Bytes(data, 7), std::string(name, 'n'));
                std::copy(mark.begin(), mark.end(), first.begin());
                parts.resources = first;
                put(parts.resources, resource(0xFFFE, {1, 2}));
                const PsdFile found = structure_of(parts.file());
                ASSERT_EQ(found.blocks.size(), 2U) << mark << " " << name << " " << data;
                EXPECT_EQ(found.blocks[0].id, 4001);
                EXPECT_EQ(found.blocks[0].block.at, 34U);
                EXPECT_EQ(found.blocks[0].block.size, first.size());
                EXPECT_EQ(found.blocks[0].data.size, data);
                EXPECT_EQ(found.blocks[0].data.at, 34U + 6 + (name + 2) / 2 * 2 + 4);
                EXPECT_EQ(found.blocks[1].id, 0xFFFE);
                EXPECT_EQ(found.blocks[1].block.at, 34U + first.size());
                EXPECT_EQ(found.find(4001), &found.blocks[0]);
                EXPECT_EQ(found.find(4002), nullptr);
            }
        }
    }
}

TEST(PsdBlocks, TheWalkEndsAtDamage) {
    const auto count = [](const Bytes& resources) {
        PsdParts parts;
        parts.resources = resources;
        return structure_of(parts.file()).blocks.size();
    };
    Bytes two = resource(4001, {1, 2});
    const size_t first = two.size();
    put(two, resource(4002, {}));  // twelve bytes, the least there is
    EXPECT_EQ(count(two), 2U);
    for (size_t at = 0; at < 4; at++) {
        Bytes other = two;
        other[first + at] ^= 1;
        EXPECT_EQ(count(other), 1U);
    }
    Bytes more = two;
    more[first + 11] = 1;  // a byte that is not there
    EXPECT_EQ(count(more), 1U);
    more.push_back(9);
    EXPECT_EQ(count(more), 2U) << "the padding of the last one may lack";
    Bytes less(two.begin(), two.end() - 1);
    EXPECT_EQ(count(less), 1U);
    Bytes many;
    for (int i = 0; i < 65536 + 3; i++) {
        put(many, resource(4001, {}));
    }
    EXPECT_EQ(count(many), 65536U) << "as many as there are numbers";
    Bytes again = two;
    for (int i = 0; i < 11; i++) {
        again.push_back('8');
        EXPECT_EQ(count(again), 2U);
    }
}

TEST(PsdBlocks, TheResolutionIsAFixedPointNumberOfTwoSides) {
    const auto found = [](const Bytes& data) {
        PsdParts parts;
        parts.resources = resource(1005, data);
        const Bytes file = parts.file();
        SourceBytes bytes(memory_source(file));
        return psd_resolution(read_psd_structure(bytes, file.size()), bytes);
    };
    const auto numbers = [](uint32_t horizontal, uint32_t vertical, unsigned units = 1) {
        Bytes data;
        put(data, horizontal, 4);
        put(data, units, 2);
        put(data, 2, 2);
        put(data, vertical, 4);
        put(data, units, 2);
        put(data, 2, 2);
        return data;
    };
    EXPECT_EQ(found(numbers(0x012C8000, 0x00480001)), (Resolution{300.5, 72 + 1 / 65536.0}));
    EXPECT_EQ(found(numbers(0x012C8000, 0x00480000, 2)), (Resolution{300.5, 72})) << "units are those that are shown";
    EXPECT_EQ(found(numbers(0xFFFFFFFF, 0x00010000)), (Resolution{0xFFFFFFFF / 65536.0, 1}));
    // The least is a hundredth.
    EXPECT_EQ(found(numbers(656, 656)), (Resolution{656 / 65536.0, 656 / 65536.0}));
    EXPECT_EQ(found(numbers(655, 656)), std::nullopt);
    EXPECT_EQ(found(numbers(656, 655)), std::nullopt);
    EXPECT_EQ(found(numbers(0, 0)), std::nullopt);
    Bytes data = numbers(0x00480000, 0x00480000);
    data.resize(12);
    EXPECT_EQ(found(data), (Resolution{72, 72}));
    data.resize(11);
    EXPECT_EQ(found(data), std::nullopt);
}

TEST(PsdBlocks, ThePaletteItsCountAndItsTransparentIndex) {
    PsdParts parts;
    parts.mode = 2;
    parts.channels = 1;
    for (unsigned i = 0; i < 768; i++) {
        parts.color_data.push_back(static_cast<uint8_t>(i % 256 ^ i / 256 * 0x55));
    }
    const auto check = [&](const Bytes& resources, size_t used, std::optional<size_t> clear) {
        parts.resources = resources;
        const Bytes file = parts.file();
        SourceBytes bytes(memory_source(file));
        const PsdFile psd = read_psd_structure(bytes, file.size());
        const auto palette = psd_palette(psd, bytes);
        ASSERT_EQ(palette.size(), 256U);
        for (unsigned i = 0; i < 256; i++) {
            const Argb color = i << 16 | (i ^ 0x55) << 8 | (i ^ 0xAA);
            EXPECT_EQ(palette[i], clear == i ? color : kBlack | color);
        }
        EXPECT_EQ(psd_used_colors(psd, bytes), used);
        EXPECT_EQ(probe(file).palette, std::vector<Argb>(palette.begin(), palette.begin() + static_cast<int>(used)));
    };
    check({}, 256, {});
    for (const auto& [count, used] : {std::pair{0U, 256U},
                                      {1U, 1U},
                                      {2U, 2U},
                                      {255U, 255U},
                                      {256U, 256U},
                                      {257U, 256U},
                                      {0x100U + 7, 256U},
                                      {0xFFFFU, 256U}}) {
        Bytes data;
        put(data, count, 2);
        check(resource(1046, data), used, {});
    }
    for (const unsigned index : {0U, 1U, 254U, 255U, 256U, 0xFFFFU}) {
        Bytes data;
        put(data, index, 2);
        const auto clear = index < 256 ? std::optional<size_t>(index) : std::nullopt;
        check(resource(1047, data), 256, clear);
        Bytes both = resource(1046, {0, 5});
        put(both, resource(1047, data));
        check(both, index < 256 && index > 4 ? index + 1 : 5, clear);
    }
    check(resource(1046, {3}), 256, {});
    check(resource(1047, {3}), 256, {});
    parts.color_data.pop_back();
    EXPECT_EQ(refusal(parts.file()), "the file has no palette");
}

TEST(PsdBlocks, WhatTellsTransparencyFromSelections) {
    const auto alpha = [](unsigned id, const Bytes& data) {
        PsdParts parts;
        parts.channels = 4;
        parts.resources = resource(id, data);
        return structure_of(parts.file()).form.alpha;
    };
    for (const unsigned id : {1006U, 1045U, 1053U}) {
        EXPECT_FALSE(alpha(id, {1, 'a'})) << id;
    }
    for (const unsigned id : {1005U, 1007U, 1044U, 1046U, 1052U, 1054U}) {
        EXPECT_TRUE(alpha(id, {1, 'a'})) << id;
    }
    Bytes name{12};
    put(name, "Transparency");
    EXPECT_TRUE(alpha(1006, name));
    Bytes others = name;
    put(others, Bytes{1, 'b'});
    EXPECT_TRUE(alpha(1006, others));
    for (size_t at = 0; at < name.size(); at++) {
        Bytes other = name;
        other[at] ^= 1;
        EXPECT_FALSE(alpha(1006, other)) << at;
    }
    EXPECT_FALSE(alpha(1006, Bytes(name.begin(), name.end() - 1)));
    EXPECT_FALSE(alpha(1045, name)) << "a name of another kind";
    // With layers, but for their count, the file is not silent.
    PsdParts parts;
    parts.channels = 4;
    parts.layers = {0, 0};
    EXPECT_FALSE(structure_of(parts.file()).form.alpha);
}

// ---- Layers.

// A layer that is the picture, as the format lays out its record.
struct Layer {
    std::array<int32_t, 4> area{0, 0, 4, 5};  // top, left, bottom, right
    std::vector<std::pair<int, uint64_t>> planes{{-1, 22}, {0, 22}, {1, 22}, {2, 22}};
    std::string mode = "8BIMnorm";
    unsigned opacity = 255;
    unsigned clipping = 0;
    unsigned flags = 0;
    unsigned mask = 0;
    Bytes ranges = {};
    std::string name = "layer";
    Bytes blocks = {};
    int more = 0;  // bytes that its further data are longer than they are
    int count = -1;

    Bytes info(int version) const {
        Bytes out;
        put(out, static_cast<uint16_t>(count), 2);
        for (const int32_t side : area) {
            put(out, static_cast<uint32_t>(side), 4);
        }
        put(out, planes.size(), 2);
        for (const auto& [id, size] : planes) {
            put(out, static_cast<uint16_t>(id), 2);
            put(out, size, version == 2 ? 8 : 4);
        }
        put(out, mode);
        put(out, opacity, 1);
        put(out, clipping, 1);
        put(out, flags, 1);
        put(out, 0, 1);
        Bytes extra;
        put(extra, mask, 4);
        put(extra, Bytes(mask));
        put(extra, ranges.size(), 4);
        put(extra, ranges);
        put(extra, name.size(), 1);
        put(extra, name);
        while ((1 + name.size()) % 4 != 0 && (extra.size() - 8 - mask - ranges.size()) % 4 != 0) {
            extra.push_back(0);
        }
        put(extra, blocks);
        put(out, extra.size() + static_cast<size_t>(more), 4);
        put(out, extra);
        for (const auto& [id, size] : planes) {
            put(out, Bytes(size));
        }
        return out;
    }
};

Bytes layer_section(const Bytes& info, int version, const Bytes& blocks = {}) {
    Bytes out;
    put(out, info.size(), version == 2 ? 8 : 4);
    put(out, info);
    put(out, 0, 4);  // no mask of all layers
    put(out, blocks);
    return out;
}
Bytes layer_block(std::string_view key, const Bytes& data, int digits = 4, std::string_view mark = "8BIM") {
    Bytes out;
    put(out, mark);
    put(out, key);
    put(out, data.size(), digits);
    put(out, data);
    return out;
}

PsdFile with_layer(const Layer& layer, int version = 1, unsigned mode = 3, unsigned channels = 4, unsigned depth = 8) {
    PsdParts parts;
    parts.version = version;
    parts.mode = mode;
    parts.channels = channels;
    parts.depth = depth;
    parts.layers = layer_section(layer.info(version), version);
    return structure_of(parts.file());
}

TEST(PsdLayer, TheOnlyLayerIsThePictureWhereNothingChangesIt) {
    struct Case {
        const char* what;
        std::function<void(Layer&)> change;
        bool is_picture;
    };
    const auto ranges = [](size_t count, std::optional<size_t> other = {}) {
        Bytes bytes;
        for (size_t i = 0; i < count; i++) {
            bytes.push_back(static_cast<uint8_t>((i % 4 < 2 ? 0 : 0xFF) ^ (other == i ? 1 : 0)));
        }
        return bytes;
    };
    std::vector<Case> cases{
        {"as it is", [](Layer&) {}, true},
        {"no name", [](Layer& layer) { layer.name = ""; }, true},
        {"a name of 2", [](Layer& layer) { layer.name = "ab"; }, true},
        {"a name of 3", [](Layer& layer) { layer.name = "abc"; }, true},
        {"a name of 4", [](Layer& layer) { layer.name = "abcd"; }, true},
        {"a name of 255", [](Layer& layer) { layer.name = std::string(255, 'n'); }, true},
        {"another blending", [](Layer& layer) { layer.mode = "8BIMmul "; }, false},
        {"another mark", [](Layer& layer) { layer.mode = "8BIRnorm"; }, false},
        {"nearly opaque", [](Layer& layer) { layer.opacity = 254; }, false},
        {"clipped", [](Layer& layer) { layer.clipping = 1; }, false},
        {"hidden", [](Layer& layer) { layer.flags = 2; }, false},
        {"hidden and locked", [](Layer& layer) { layer.flags = 3; }, false},
        {"other flags", [](Layer& layer) { layer.flags = 0xFD; }, true},
        {"a mask", [](Layer& layer) { layer.mask = 4; }, false},
        {"data that do not end", [](Layer& layer) { layer.more = 1000; }, false},
        {"whole ranges", [&](Layer& layer) { layer.ranges = ranges(40); }, true},
        {"all ranges", [&](Layer& layer) { layer.ranges = ranges(8 * 58); }, true},
        {"more ranges", [&](Layer& layer) { layer.ranges = ranges(8 * 58 + 4); }, false},
        {"a part of a range", [&](Layer& layer) { layer.ranges = ranges(6); }, false},
        {"three channels", [](Layer& layer) { layer.planes.pop_back(); }, false},
        {"a fifth channel", [](Layer& layer) { layer.planes.emplace_back(3, 22); }, false},
        {"a channel twice", [](Layer& layer) { layer.planes[1].first = 1; }, false},
        {"a mask for a color", [](Layer& layer) { layer.planes[1].first = -2; }, false},
        {"a channel behind the colors", [](Layer& layer) { layer.planes[0].first = 3; }, false},
        {"a channel far behind", [](Layer& layer) { layer.planes[0].first = 4; }, false},
        {"another order", [](Layer& layer) { std::swap(layer.planes[0], layer.planes[2]); }, true},
        {"the least plane", [](Layer& layer) { layer.planes[1].second = 2; }, true},
        {"a plane without compression", [](Layer& layer) { layer.planes[1].second = 1; }, false},
        {"60 channels", [](Layer& layer) { layer.planes.resize(60); }, false},
        {"an unknown block", [](Layer& layer) { layer.blocks = layer_block("SoCo", Bytes(4)); }, false},
        {"a long block's mark", [](Layer& layer) { layer.blocks = layer_block("luni", Bytes(4), 4, "8B64"); }, true},
        {"a block's other mark", [](Layer& layer) { layer.blocks = layer_block("luni", Bytes(4), 4, "8BIX"); }, false},
        {"blocks of odd sizes",
         [](Layer& layer) {
             layer.blocks = layer_block("luni", Bytes(3));
             layer.blocks.push_back(0);
             put(layer.blocks, layer_block("lyid", {}));
         },
         true},
        {"a second block that matters",
         [](Layer& layer) {
             layer.blocks = layer_block("luni", Bytes(2));
             put(layer.blocks, layer_block("lfx2", {}));
         },
         false},
        {"a block that does not end",
         [](Layer& layer) {
             layer.blocks = layer_block("luni", Bytes(2));
             layer.blocks[11] = 40;
         },
         false},
        {"11 bytes more", [](Layer& layer) { layer.blocks = Bytes(11, 'x'); }, true},
    };
    for (const char* key : {"luni", "lyid", "lnsr", "lspf", "lclr", "shmd", "fxrp", "clbl", "infx", "knko", "tsly",
                            "lmgm", "vmgm", "cinf"}) {
        cases.push_back({key, [key](Layer& layer) { layer.blocks = layer_block(key, Bytes(8)); }, true});
    }
    for (size_t side = 0; side < 4; side++) {
        for (const int more : {-1, 1}) {
            cases.push_back({"another area", [=](Layer& layer) { layer.area[side] += more; }, false});
        }
    }
    for (size_t at = 0; at < 8; at++) {
        cases.push_back({"a narrower range", [=](Layer& layer) { layer.ranges = ranges(8, at); }, false});
    }
    for (const int version : {1, 2}) {
        for (const Case& one : cases) {
            Layer layer;
            one.change(layer);
            const PsdFile found = with_layer(layer, version);
            EXPECT_EQ(found.layer.size(), one.is_picture ? 4U : 0U) << one.what << ", version " << version;
            EXPECT_TRUE(found.marked && found.form.alpha);
            EXPECT_EQ(found.on_white, !one.is_picture) << one.what;
        }
    }
}

TEST(PsdLayer, ThePlanesStandInTheOrderOfTheBands) {
    for (const int version : {1, 2}) {
        Layer layer;
        layer.planes = {{2, 10}, {-1, 20}, {0, 30}, {1, 40}};
        const PsdFile found = with_layer(layer, version);
        ASSERT_EQ(found.layer.size(), 4U);
        const uint64_t begin = found.layers.end() - 4 - 100;
        const std::pair<uint64_t, uint64_t> places[] = {{30, 30}, {60, 40}, {0, 10}, {10, 20}};
        for (size_t band = 0; band < 4; band++) {
            EXPECT_EQ(found.layer[band].data.at, begin + places[band].first) << band;
            EXPECT_EQ(found.layer[band].data.size, places[band].second) << band;
            EXPECT_EQ(found.layer[band].id, band == 3 ? -1 : static_cast<int>(band));
        }
    }
}

TEST(PsdLayer, TheCountTellsWhatItMeans) {
    for (const auto& [count, marked] : {std::pair{-2, true}, {-32768, true}, {0, false}, {1, false}, {32767, false}}) {
        Layer layer;
        layer.count = count;
        const PsdFile found = with_layer(layer);
        EXPECT_EQ(found.marked, marked) << count;
        EXPECT_EQ(found.form.alpha, marked) << count;
        EXPECT_TRUE(found.layer.empty());
        EXPECT_EQ(found.on_white, marked);
    }
    // Without a channel for it there is no transparency, whatever the layers say.
    const PsdFile none = with_layer({}, 1, 3, 3);
    EXPECT_TRUE(none.marked);
    EXPECT_FALSE(none.form.alpha);
    EXPECT_TRUE(none.layer.empty());
    EXPECT_FALSE(none.on_white);
    // A layer of gray, and one whose length is that of nothing.
    Layer gray;
    gray.planes.resize(2);
    EXPECT_EQ(with_layer(gray, 1, 1, 2).layer.size(), 2U);
    PsdParts parts;
    parts.channels = 4;
    for (const Bytes& layers : {Bytes{0}, Bytes(3), Bytes(4), Bytes(7), Bytes{0, 0, 0, 9, 255, 255}}) {
        parts.layers = layers;
        EXPECT_FALSE(structure_of(parts.file()).marked);
    }
    parts.layers = {0, 0, 0, 2, 255, 254};
    EXPECT_TRUE(structure_of(parts.file()).marked);
}

TEST(PsdLayer, BlocksBehindTheLayers) {
    for (const int version : {1, 2}) {
        const auto found = [&](const Bytes& blocks) {
            PsdParts parts;
            parts.version = version;
            parts.channels = 4;
            parts.layers = layer_section({}, version, blocks);
            return structure_of(parts.file());
        };
        // In large files, the lengths of some have 8 bytes: what follows is found only where they are read so.
        for (const char* key : {"LMsk", "Lr16", "Lr32", "Layr", "Mt16", "Mt32", "Mtrn", "Alph", "FMsk", "lnk2", "FEid",
                                "FXid", "PxSD", "cinf", "Patt", "Txt2"}) {
            const std::string_view name = key;
            const bool is_short = name == "cinf" || name == "Patt" || name == "Txt2";
            const bool clear = name == "Mtrn" || name == "Mt16" || name == "Mt32";
            Bytes blocks = layer_block(key, Bytes(8), version == 2 && !is_short ? 8 : 4);
            EXPECT_EQ(found(blocks).marked, clear) << key;
            put(blocks, layer_block("Mt16", {}, version == 2 ? 8 : 4));
            EXPECT_TRUE(found(blocks).marked) << key;
        }
        // The only layer may stand in such a block.
        for (const char* key : {"Layr", "Lr16", "Lr32"}) {
            const PsdFile file = found(layer_block(key, Layer().info(version), version == 2 ? 8 : 4));
            EXPECT_TRUE(file.marked) << key;
            EXPECT_EQ(file.layer.size(), 4U) << key;
        }
        const Bytes clear = layer_block("Mtrn", {}, version == 2 ? 8 : 4);
        // Up to three bytes of padding come before a block.
        for (size_t padding = 0; padding < 6; padding++) {
            Bytes blocks = layer_block("Patt", Bytes(4));
            put(blocks, Bytes(padding));
            put(blocks, clear);
            EXPECT_EQ(found(blocks).marked, padding < 4) << padding;
        }
        Bytes blocks = layer_block("Patt", Bytes(4), 4, "8B64");
        put(blocks, clear);
        EXPECT_TRUE(found(blocks).marked);
        blocks[3] = '5';
        EXPECT_FALSE(found(blocks).marked);
        Bytes cut = layer_block("Mt16", Bytes(8), version == 2 ? 8 : 4);
        cut.pop_back();
        EXPECT_FALSE(found(cut).marked);
    }
}

TEST(PsdLayer, TheTextEngineHasItsPadding) {
    const auto found = [](const Bytes& blocks) {
        PsdParts parts;
        parts.layers = layer_section({}, 1, blocks);
        return structure_of(parts.file());
    };
    for (size_t size = 0; size < 9; size++) {
        for (size_t padding = 0; padding < 4; padding++) {
            for (const std::string_view mark : {"8BIM", "8B64", ""}) {
                SCOPED_TRACE(std::to_string(size) + " " + std::to_string(padding) + std::string(mark));
                Bytes blocks = layer_block("Patt", Bytes(4));
                put(blocks, layer_block("Txt2", Bytes(size, 7)));
                put(blocks, Bytes(padding));
                if (!mark.empty()) {
                    put(blocks, layer_block("Patt", Bytes(4), 4, mark));
                }
                const PsdFile file = found(blocks);
                const size_t wanted = (size + 3) / 4 * 4 - size;
                const bool belongs = mark.empty() ? padding <= wanted : padding == wanted;
                EXPECT_EQ(file.text_engine.at, file.layers.at + 8 + 16);
                EXPECT_EQ(file.text_engine.size, 12 + size + (belongs ? padding : 0));
            }
        }
    }
    Bytes twice = layer_block("Txt2", Bytes(4));
    put(twice, layer_block("Txt2", Bytes(8)));
    EXPECT_EQ(found(twice).text_engine.size, 16U) << "the first one";
    EXPECT_EQ(found({}).text_engine.size, 0U);
}

}  // namespace
}  // namespace zelmor::imagework
