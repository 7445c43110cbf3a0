// What the boxes and the main header of a JPEG 2000 file say, field by field, with the bounds that the format sets; and
// which pictures they make. The files have no data behind their headers.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/formats/jpeg2000/jpeg2000_layout.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"
#include "tests/unit/imagework/failure_of.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

void add(Bytes& out, uint64_t value, int bytes) {
    for (int i = bytes; i-- > 0;) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}
void add(Bytes& out, const Bytes& bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}
void add(Bytes& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
}
Bytes words(std::initializer_list<unsigned> values) {
    Bytes out;
    for (const unsigned value : values) {
        add(out, value, 2);
    }
    return out;
}
Bytes joined(std::initializer_list<Bytes> pieces) {
    Bytes out;
    for (const Bytes& piece : pieces) {
        add(out, piece);
    }
    return out;
}

// A marker with its length.
Bytes marked(unsigned marker, const Bytes& content) {
    Bytes out = words({marker, static_cast<unsigned>(content.size()) + 2});
    add(out, content);
    return out;
}
Bytes box(std::string_view type, const Bytes& content) {
    Bytes out;
    add(out, content.size() + 8, 4);
    add(out, type);
    add(out, content);
    return out;
}

struct Stream {
    std::array<uint32_t, 8> sizes{20, 16, 0, 0, 20, 16, 0, 0};  // as they follow each other in the file
    std::vector<std::array<uint8_t, 3>> components{{7, 1, 1}, {7, 1, 1}, {7, 1, 1}};
    std::optional<unsigned> count = {};  // of components, where it is not theirs
    Bytes coding{0, 0, 0, 1, 0, 5, 4, 4, 0, 1};
    Bytes more = {};  // segments behind the coding
    Bytes end = words({0xFF90});

    Bytes size() const {
        Bytes content = words({0});
        for (const uint32_t value : sizes) {
            add(content, value, 4);
        }
        add(content, count.value_or(static_cast<unsigned>(components.size())), 2);
        for (const auto& component : components) {
            content.insert(content.end(), component.begin(), component.end());
        }
        return marked(0xFF51, content);
    }
    Bytes file() const { return joined({words({0xFF4F}), size(), marked(0xFF52, coding), more, end}); }
};

const Bytes kSignature = {0, 0, 0, 12, 'j', 'P', ' ', ' ', '\r', '\n', 0x87, '\n'};
Bytes boxed(const Bytes& header, const Stream& stream = {}, const Bytes& behind = {}) {
    return joined({kSignature, box("ftyp", Bytes(12)), box("jp2h", header), box("jp2c", stream.file()), behind});
}

Jpeg2000Structure structure(const Bytes& file) {
    return jpeg2000_structure(ByteReader(file));
}
Jpeg2000Layout layout(const Bytes& file) {
    return jpeg2000_layout(ByteReader(file), structure(file));
}
std::string damage(const Bytes& file, Failure kind = Failure::kDamaged) {
    const PictureError error = failure_of([&] { layout(file); });
    EXPECT_EQ(error.kind(), kind) << error.what();
    const std::string text = error.what();
    const std::string begin = "the JPEG 2000 file is damaged: ";
    return text.rfind(begin, 0) == 0 ? text.substr(begin.size()) : text;
}

// ---- The main header.

TEST(Jpeg2000Header, TheSizeSegment) {
    Stream stream;
    stream.sizes = {0x01000203, 0x02030405, 7, 9, 0x01010101, 0x02020202, 3, 5};
    stream.components = {{0, 1, 2}, {0x8F, 3, 4}, {37, 255, 6}};
    const Jpeg2000Structure found = structure(stream.file());
    EXPECT_EQ(found.grid.right, 0x01000203U);
    EXPECT_EQ(found.grid.bottom, 0x02030405U);
    EXPECT_EQ(found.grid.left, 7U);
    EXPECT_EQ(found.grid.top, 9U);
    EXPECT_EQ(found.grid.tile_width, 0x01010101U);
    EXPECT_EQ(found.grid.tile_height, 0x02020202U);
    EXPECT_EQ(found.grid.tile_left, 3U);
    EXPECT_EQ(found.grid.tile_top, 5U);
    ASSERT_EQ(found.components.size(), 3U);
    const std::array<std::array<uint32_t, 4>, 3> expected{{{1, 0, 1, 2}, {16, 1, 3, 4}, {38, 0, 255, 6}}};
    for (size_t i = 0; i < 3; i++) {
        EXPECT_EQ(found.components[i].bits, static_cast<int>(expected[i][0]));
        EXPECT_EQ(found.components[i].is_signed, expected[i][1] != 0);
        EXPECT_EQ(found.components[i].dx, expected[i][2]);
        EXPECT_EQ(found.components[i].dy, expected[i][3]);
    }
    EXPECT_EQ(found.codec, Jpeg2000Codec::kJ2k);
    EXPECT_EQ(found.codestream.at, 0U);
}

TEST(Jpeg2000Header, SizesHaveBounds) {
    struct Case {
        std::array<uint32_t, 8> sizes;
        bool sound;
    };
    constexpr uint32_t kMost = 0x7FFFFFFF;
    for (const Case& one : {Case{{20, 16, 0, 0, 20, 16, 0, 0}, true},
                            Case{{20, 16, 19, 15, 20, 16, 0, 0}, true},
                            Case{{20, 16, 20, 0, 30, 16, 0, 0}, false},
                            Case{{20, 16, 0, 16, 20, 30, 0, 0}, false},
                            Case{{20, 16, 0, 0, 0, 16, 0, 0}, false},
                            Case{{20, 16, 0, 0, 20, 0, 0, 0}, false},
                            Case{{20, 16, 5, 6, 20, 16, 5, 6}, true},
                            Case{{20, 16, 5, 6, 20, 16, 6, 6}, false},
                            Case{{20, 16, 5, 6, 20, 16, 5, 7}, false},
                            Case{{20, 16, 5, 6, 6, 7, 0, 0}, true},
                            Case{{20, 16, 5, 6, 5, 7, 0, 0}, false},
                            Case{{20, 16, 5, 6, 6, 6, 0, 0}, false},
                            Case{{kMost, 1, kMost - 1, 0, kMost, 1, 0, 0}, true},
                            Case{{kMost + 1, 1, kMost, 0, kMost + 1, 1, 0, 0}, false},
                            Case{{1, kMost, 0, kMost - 1, 1, kMost, 0, 0}, true},
                            Case{{1, kMost + 1, 0, kMost, 1, kMost + 1, 0, 0}, false},
                            Case{{65535, 1, 0, 0, 1, 1, 0, 0}, true},
                            Case{{65536, 1, 0, 0, 1, 1, 0, 0}, false},
                            Case{{1, 65535, 0, 0, 1, 1, 0, 0}, true},
                            Case{{1, 65536, 0, 0, 1, 1, 0, 0}, false},
                            Case{{510, 257, 0, 0, 2, 1, 0, 0}, true},
                            Case{{512, 257, 0, 0, 2, 1, 0, 0}, false}}) {
        Stream stream;
        stream.sizes = one.sizes;
        if (one.sound) {
            EXPECT_NO_THROW(structure(stream.file()));
        } else {
            EXPECT_EQ(damage(stream.file()), "its size or its tiles make no sense");
        }
    }
    Stream stream;
    stream.sizes = {20, 16, 0, 0, 7, 5, 0, 0};
    EXPECT_EQ(structure(stream.file()).grid.columns(), 3U);
    EXPECT_EQ(structure(stream.file()).grid.rows(), 4U);
    stream.sizes = {21, 15, 3, 1, 7, 5, 1, 0};
    EXPECT_EQ(structure(stream.file()).grid.columns(), 3U);
    EXPECT_EQ(structure(stream.file()).grid.rows(), 3U);
}

TEST(Jpeg2000Header, ComponentsHaveBounds) {
    Stream stream;
    for (const unsigned count : {0U, 2U, 4U}) {
        stream.count = count;
        EXPECT_EQ(damage(stream.file()), "its size segment makes no sense");
    }
    stream.count = {};
    for (const std::array<uint8_t, 3> bad : {std::array<uint8_t, 3>{38, 1, 1}, {7, 0, 1}, {7, 1, 0}, {0xA6, 1, 1}}) {
        stream.components[1] = bad;
        EXPECT_EQ(damage(stream.file()), "a component makes no sense");
    }
    stream.components[1] = {37, 1, 1};
    EXPECT_EQ(structure(stream.file()).components[1].bits, 38);
    stream.components.assign(65, {7, 1, 1});
    EXPECT_EQ(damage(stream.file(), Failure::kUnsupported),
              "this is a JPEG 2000 file with 65 components; up to 64 are read");
    stream.components.assign(64, {7, 1, 1});
    EXPECT_EQ(structure(stream.file()).components.size(), 64U);
}

TEST(Jpeg2000Header, TheCodingSegment) {
    Stream stream;
    stream.coding = {0, 1, 0x12, 0x34, 1, 2, 3, 5, 0, 1, 0x21, 0x43, 0x65};
    const Jpeg2000Structure found = structure(stream.file());
    EXPECT_EQ(found.coding.layers, 0x1234);
    const Jpeg2000Coding& coding = found.coding.usual;
    EXPECT_EQ(coding.levels, 2);
    EXPECT_EQ(coding.block_width, 5);
    EXPECT_EQ(coding.block_height, 7);
    EXPECT_TRUE(coding.reversible);
    EXPECT_TRUE(coding.precincts.empty());
    stream.coding[0] = 1;
    const Jpeg2000Coding own = structure(stream.file()).coding.usual;
    EXPECT_EQ(own.precincts, (std::vector<uint8_t>{0x21, 0x43, 0x65}));
    EXPECT_EQ(own.precinct_width(0), 1);
    EXPECT_EQ(own.precinct_height(0), 2);
    EXPECT_EQ(own.precinct_width(2), 5);
    EXPECT_EQ(own.precinct_height(2), 6);
    stream.coding[0] = 0xFE;  // the other bits are of other things
    EXPECT_TRUE(structure(stream.file()).coding.usual.precincts.empty());
    EXPECT_EQ(structure(stream.file()).coding.usual.precinct_width(1), 15);
    EXPECT_EQ(structure(stream.file()).coding.usual.precinct_height(1), 15);
    for (const uint8_t wavelet : {0, 2}) {
        stream.coding[9] = wavelet;
        EXPECT_FALSE(structure(stream.file()).coding.usual.reversible);
    }
}

TEST(Jpeg2000Header, CodingsHaveBounds) {
    const auto with = [](size_t at, uint8_t value, size_t other = 4, uint8_t other_value = 0) {
        Stream stream;
        stream.coding[at] = value;
        stream.coding[other] = other_value;
        return stream.file();
    };
    EXPECT_EQ(structure(with(5, 32)).coding.usual.levels, 32);
    EXPECT_EQ(damage(with(5, 33)), "its coding makes no sense");
    EXPECT_EQ(structure(with(6, 8, 7, 0)).coding.usual.block_width, 10);
    EXPECT_EQ(damage(with(6, 9, 7, 0)), "its coding makes no sense");
    EXPECT_EQ(structure(with(7, 8, 6, 0)).coding.usual.block_height, 10);
    EXPECT_EQ(damage(with(7, 9, 6, 0)), "its coding makes no sense");
    EXPECT_NO_THROW(structure(with(6, 4, 7, 4)));
    EXPECT_EQ(damage(with(6, 5, 7, 4)), "its coding makes no sense");
    EXPECT_EQ(damage(with(6, 4, 7, 5)), "its coding makes no sense");
    EXPECT_EQ(structure(with(6, 0xF4, 7, 0xF3)).coding.usual.block_width, 6) << "half a byte counts";
    EXPECT_EQ(damage(with(2, 0, 3, 0)), "it has no quality layer");
    Stream cut;
    cut.coding.pop_back();
    EXPECT_EQ(damage(cut.file()), "its coding is cut off");
    cut.coding = {1, 0, 0, 1, 0, 2, 4, 4, 0, 1, 0x55, 0x55};
    EXPECT_EQ(damage(cut.file()), "its coding is cut off");
    cut.coding.push_back(0x55);
    EXPECT_EQ(structure(cut.file()).coding.usual.precincts.size(), 3U);
}

TEST(Jpeg2000Header, CodingsOfComponents) {
    Stream stream;
    stream.more = joined({marked(0xFF53, {2, 0, 3, 2, 1, 0, 0}), marked(0xFF53, {0, 1, 1, 1, 2, 0, 1, 0x11, 0x22}),
                          marked(0xFF53, {2, 0, 7, 0, 0, 0, 1})});
    const Jpeg2000Codings found = structure(stream.file()).coding;
    ASSERT_EQ(found.own.size(), 3U);
    EXPECT_EQ(found.of(1).levels, 5);
    EXPECT_EQ(found.of(2).levels, 7) << "the last one counts";
    EXPECT_TRUE(found.of(2).reversible);
    EXPECT_EQ(found.own[0].first, 2);
    EXPECT_EQ(found.own[0].second.levels, 3);
    EXPECT_EQ(found.own[0].second.block_width, 4);
    EXPECT_EQ(found.own[0].second.block_height, 3);
    EXPECT_FALSE(found.own[0].second.reversible);
    EXPECT_EQ(found.of(0).precincts, (std::vector<uint8_t>{0x11, 0x22}));
    stream.more = marked(0xFF53, {3, 0, 3, 2, 1, 0, 0});
    EXPECT_EQ(damage(stream.file()), "a coding belongs to no component");
    stream.more = {};
    for (int i = 0; i < 1024; i++) {
        add(stream.more, marked(0xFF53, {2, 0, 3, 2, 1, 0, 0}));
    }
    EXPECT_EQ(structure(stream.file()).coding.own.size(), 1024U);
    add(stream.more, marked(0xFF53, {2, 0, 3, 2, 1, 0, 0}));
    EXPECT_EQ(damage(stream.file()), "a coding belongs to no component");
    stream.more = marked(0xFF53, {2, 0, 3, 2, 1, 0});
    EXPECT_EQ(damage(stream.file()), "its coding is cut off");
}

TEST(Jpeg2000Header, OtherSegments) {
    Stream stream;
    const Bytes quantization = marked(0xFF5C, Bytes(7));
    const Bytes comment = marked(0xFF64, {0, 1, 'a', 0xA4});
    const Bytes own = marked(0xFF53, {2, 0, 3, 2, 1, 0, 0});
    stream.more = joined({quantization, comment, marked(0xFF64, {0, 0, 'b'}), marked(0xFF64, {0, 2, 'c'}),
                          marked(0xFF64, {0, 1}), marked(0xFF64, {0}), marked(0xFF55, Bytes(4)),
                          marked(0xFF57, Bytes(3)), marked(0xFF63, Bytes(12)), own, marked(0xFF64, {0, 1, 'd'})});
    const Bytes file = stream.file();
    const Jpeg2000Structure found = structure(file);
    EXPECT_EQ(found.comments, (std::vector<std::string>{"a\u20AC", "", "d"}));
    EXPECT_FALSE(found.packed_headers);
    EXPECT_EQ(found.tiles_at, file.size() - 2);
    const size_t coding = 2 + stream.size().size();
    ASSERT_EQ(found.kept_markers.size(), 3U);
    EXPECT_EQ(found.kept_markers[0].at, coding);
    EXPECT_EQ(found.kept_markers[0].size, 14U);
    EXPECT_EQ(found.kept_markers[1].at, coding + 14);
    EXPECT_EQ(found.kept_markers[1].size, quantization.size());
    EXPECT_EQ(found.kept_markers[2].size, own.size());
    stream.more = marked(0xFF60, Bytes(9));
    EXPECT_TRUE(structure(stream.file()).packed_headers);
    EXPECT_EQ(structure(stream.file()).kept_markers.size(), 1U);
}

TEST(Jpeg2000Header, WhereItIsCutOff) {
    const std::string cut_off = "its main header is cut off";
    Stream stream;
    stream.end = {};
    EXPECT_EQ(damage(stream.file()), cut_off);
    for (const unsigned marker : {0xFEFFU, 0U, 0x7FFFU}) {
        stream.end = words({marker, 2, 0xFF90});
        EXPECT_EQ(damage(stream.file()), cut_off);
    }
    stream.end = words({0xFF00, 2, 0xFF90});
    EXPECT_NO_THROW(structure(stream.file()));
    for (const unsigned length : {0U, 1U, 5U}) {
        stream.end = words({0xFF5C, length, 0xFF90});
        EXPECT_EQ(damage(stream.file()), cut_off);
    }
    stream.end = {};
    stream.more = joined({stream.size(), words({0xFF90})});
    EXPECT_EQ(damage(stream.file()), "it has two sizes");
    stream = {};
    EXPECT_EQ(damage(joined({words({0xFF4F}), stream.size(), words({0xFF90})})),
              "its main header does not tell the coding");
    const Bytes file = stream.file();
    for (const size_t at : {size_t{0}, size_t{1}, size_t{2}, size_t{3}}) {
        Bytes other = file;
        other[at] ^= 1;
        EXPECT_EQ(damage(other), "it has no signature");
        EXPECT_FALSE(is_jpeg2000(ByteReader(other)));
    }
    for (size_t at = 0; at < kSignature.size(); at++) {
        Bytes other = boxed({});
        EXPECT_TRUE(is_jpeg2000(ByteReader(other)));
        other[at] ^= 1;
        EXPECT_FALSE(is_jpeg2000(ByteReader(other)));
    }
}

// ---- Boxes.

TEST(Jpeg2000Boxes, TheWalkOverTheFile) {
    const Stream stream;
    const Bytes code = stream.file();
    const Bytes header = box("jp2h", {});
    EXPECT_EQ(structure(boxed({})).codec, Jpeg2000Codec::kJp2);
    // Lengths of eight bytes, and none in the last box.
    Bytes wide;
    add(wide, 1, 4);
    add(wide, "jp2c");
    add(wide, code.size() + 16, 8);
    add(wide, code);
    Jpeg2000Structure found = structure(joined({kSignature, header, wide}));
    EXPECT_EQ(found.codestream.at, 12U + 8 + 16);
    EXPECT_EQ(found.codestream.size, code.size());
    Bytes open;
    add(open, 0, 4);
    add(open, "jp2c");
    found = structure(joined({kSignature, header, open, code}));
    EXPECT_EQ(found.codestream.at, 12U + 8 + 8);
    EXPECT_GT(found.codestream.size, code.size());
    found = structure(joined({kSignature, header, box("jp2c", code), box("jp2c", Bytes(3))}));
    EXPECT_EQ(found.codestream.size, code.size()) << "the first one counts";
    EXPECT_EQ(damage(joined({kSignature, box("jp2c", code)})), "it has no header box");
    EXPECT_EQ(damage(joined({kSignature, header})), "it has no codestream");
    EXPECT_EQ(damage(joined({kSignature, header, box("jp2c", {0, 0, 0, 0})})), "its codestream has no header");
    for (const unsigned length : {2U, 7U}) {
        Bytes other = joined({kSignature, header, box("jp2c", code)});
        other[23 - 8] = static_cast<uint8_t>(length);
        EXPECT_EQ(damage(other), "a box does not end where it should");
    }
    wide[15] = 15;
    EXPECT_EQ(damage(joined(
                  {kSignature, header, Bytes(wide.begin(), wide.begin() + 8), Bytes{0, 0, 0, 0, 0, 0, 0, 15}, code})),
              "a box does not end where it should");
    // Behind the codestream damage takes nothing away.
    EXPECT_NO_THROW(structure(boxed({}, {}, {0, 0, 0, 3, 'u', 'u', 'i', 'd'})));
    // A box within the header ends within it.
    Bytes inner = box("colr", Bytes(7));
    inner[3]++;
    EXPECT_EQ(damage(boxed(inner)), "a box does not end where it should");
    inner[3] -= 2;
    EXPECT_NO_THROW(structure(boxed(inner))) << "seven bytes are no box";
}

Bytes color(uint8_t method, const Bytes& content) {
    return box("colr", joined({{method, 0, 0}, content}));
}

TEST(Jpeg2000Boxes, Colors) {
    const auto space = [](const Bytes& header) { return structure(boxed(header)).color_space; };
    EXPECT_EQ(space(color(1, {0x12, 0x34, 0x56, 0x78})), 0x12345678U);
    EXPECT_EQ(space(color(1, {0, 0, 16})), std::nullopt) << "too short";
    EXPECT_EQ(space(color(0, {0, 0, 0, 16})), std::nullopt);
    EXPECT_EQ(space(color(4, {0, 0, 0, 16})), std::nullopt);
    EXPECT_EQ(space(joined({color(4, Bytes(4)), color(1, {0, 0, 0, 17}), color(1, {0, 0, 0, 16})})), 17U);
    EXPECT_EQ(space(joined({box("colr", {1, 0}), color(1, {0, 0, 0, 17})})), 17U);
    for (const uint8_t method : {2, 3}) {
        const Bytes first = color(method, {9, 8, 7});
        const Jpeg2000Structure found = structure(boxed(joined({first, color(1, {0, 0, 0, 17})})));
        EXPECT_EQ(found.color_space, std::nullopt);
        EXPECT_EQ(found.profile.size, 3U);
        EXPECT_EQ(found.profile.at, 12U + 20 + 8 + 8 + 3);
    }
}

TEST(Jpeg2000Boxes, Palettes) {
    const auto palette = [](const Bytes& content) { return *structure(boxed(box("pclr", content))).palette; };
    const Jpeg2000Palette found =
        palette({0, 2, 3, 7, 0x8A, 15, 1, 0x02, 0x03, 0x04, 0x05, 11, 0x12, 0x13, 0x14, 0x15});
    EXPECT_EQ(found.entries, 2U);
    EXPECT_EQ(found.bits, (std::vector<int>{8, 11, 16}));
    EXPECT_EQ(found.is_signed, (std::vector<bool>{false, true, false}));
    EXPECT_EQ(found.values, (std::vector<uint32_t>{1, 0x0203, 0x0405, 11, 0x1213, 0x1415}));
    EXPECT_EQ(damage(boxed(box("pclr", {0, 0, 1, 7}))), "its palette has no valid size");
    EXPECT_EQ(damage(boxed(box("pclr", {0, 1, 0, 7}))), "its palette has no valid size");
    Bytes most{4, 0, 1, 7};
    most.resize(4 + 1024);
    EXPECT_EQ(palette(most).values.size(), 1024U);
    most[1] = 1;
    most.push_back(0);
    EXPECT_EQ(damage(boxed(box("pclr", most))), "its palette has no valid size");
    EXPECT_EQ(damage(boxed(box("pclr", {0, 1, 1, 16, 0, 0})), Failure::kUnsupported),
              "this is a JPEG 2000 file with a palette of 17 bits a sample; up to 16 are read");
    EXPECT_EQ(damage(boxed(box("pclr", {0, 2, 1, 8, 0, 1, 0}))), "its palette is cut off");
    EXPECT_EQ(damage(boxed(box("pclr", {0, 2, 1, 7, 0}))), "its palette is cut off");
    const Bytes two = joined({box("pclr", {0, 1, 1, 7, 5}), box("pclr", {0, 1, 1, 7, 6})});
    EXPECT_EQ(structure(boxed(two)).palette->values, (std::vector<uint32_t>{5}));
}

TEST(Jpeg2000Boxes, ChannelsAndTheirDefinitions) {
    const Bytes mapping{1, 2, 0, 0, 0, 3, 1, 4, 0, 0, 2, 5, 9, 9, 9};
    const Bytes other = box("cmap", {0, 0, 0, 0});
    Jpeg2000Structure found = structure(boxed(joined({box("cmap", mapping), other})));
    ASSERT_EQ(found.channels.size(), 3U);
    EXPECT_EQ(found.channels[0].component, 0x102);
    EXPECT_EQ(found.channels[0].column, std::nullopt);
    EXPECT_EQ(found.channels[1].component, 3);
    EXPECT_EQ(found.channels[1].column, 4);
    EXPECT_EQ(found.channels[2].column, std::nullopt);
    const Bytes definitions{0, 2, 1, 2, 3, 4, 5, 6, 0, 1, 0, 2, 0, 3, 0, 0, 0, 0, 0, 0};
    found = structure(boxed(joined({box("cdef", definitions), box("cdef", {0, 1, 0, 0, 0, 0, 0, 0})})));
    ASSERT_EQ(found.definitions.size(), 2U);
    EXPECT_EQ(found.definitions[0].channel, 0x102);
    EXPECT_EQ(found.definitions[0].type, 0x304);
    EXPECT_EQ(found.definitions[0].place, 0x506);
    EXPECT_EQ(found.definitions[1].channel, 1);
    EXPECT_EQ(found.definitions[1].type, 2);
    EXPECT_EQ(found.definitions[1].place, 3);
    found = structure(boxed(box("cdef", {0, 9, 0, 0, 0, 0, 0, 1, 0})));
    EXPECT_EQ(found.definitions.size(), 1U) << "as many as there are";
    EXPECT_TRUE(structure(boxed(box("cdef", {9}))).definitions.empty());
    for (const auto& [type, entry] : {std::pair<const char*, size_t>{"cmap", 4}, {"cdef", 6}}) {
        Bytes many = entry == 6 ? Bytes{0, 65} : Bytes();
        many.resize(many.size() + 65 * entry);
        EXPECT_EQ(damage(boxed(box(type, many))), "it has too many channels");
        many = entry == 6 ? Bytes{0, 64} : Bytes();
        many.resize(many.size() + 64 * entry);
        EXPECT_NO_THROW(structure(boxed(box(type, many))));
    }
}

TEST(Jpeg2000Boxes, Resolutions) {
    const auto found = [](const Bytes& boxes) { return structure(boxed(box("res ", boxes))).resolution; };
    // Numerators and denominators of the height and of the width, then the powers of ten of both; to a meter.
    const auto content = [](unsigned up, unsigned up_by, unsigned across, unsigned across_by, int power_up,
                            int power_across) {
        return joined({words({up, up_by, across, across_by}),
                       {static_cast<uint8_t>(power_up), static_cast<uint8_t>(power_across)}});
    };
    const auto capture = found(box("resc", content(0x1234, 7, 500, 3, 1, 2)));
    ASSERT_TRUE(capture);
    EXPECT_DOUBLE_EQ(capture->vertical, 0x1234 / 7.0 * 10 * 0.0254);
    EXPECT_DOUBLE_EQ(capture->horizontal, 500 / 3.0 * 100 * 0.0254);
    const auto small = found(box("resd", content(60000, 1, 50000, 2, -1, -2)));
    ASSERT_TRUE(small);
    EXPECT_DOUBLE_EQ(small->vertical, 6000 * 0.0254);
    EXPECT_DOUBLE_EQ(small->horizontal, 250 * 0.0254);
    const Bytes first = box("resc", content(1000, 1, 1000, 1, 0, 0));
    const Bytes second = box("resd", content(2000, 1, 2000, 1, 0, 0));
    EXPECT_DOUBLE_EQ(found(joined({first, second}))->vertical, 25.4);
    EXPECT_DOUBLE_EQ(found(joined({second, first}))->vertical, 25.4);
    EXPECT_DOUBLE_EQ(found(second)->vertical, 50.8);
    for (const Bytes& bad :
         {content(0, 1, 1, 1, 0, 0), content(1, 0, 1, 1, 0, 0), content(1, 1, 0, 1, 0, 0), content(1, 1, 1, 0, 0, 0)}) {
        EXPECT_EQ(found(box("resc", bad)), std::nullopt);
    }
    Bytes cut = content(1000, 1, 1000, 1, 0, 0);
    cut.pop_back();
    EXPECT_EQ(found(box("resc", cut)), std::nullopt);
    EXPECT_EQ(found(box("resx", content(1000, 1, 1000, 1, 0, 0))), std::nullopt);
}

TEST(Jpeg2000Boxes, Metadata) {
    Bytes xmp{0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9, 0x42, 0xE8, 0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC};
    Bytes exif;
    add(exif, "JpgTiffExif->JP2");
    const Bytes first = box("uuid", joined({xmp, {'x', 'y', 'z'}}));
    const Bytes second = box("uuid", joined({exif, {'e'}}));
    const Bytes file = boxed({}, {}, joined({first, second, first, second}));
    const size_t behind = file.size() - 2 * (first.size() + second.size());
    const Jpeg2000Structure found = structure(file);
    EXPECT_EQ(found.xmp.at, behind + 24);
    EXPECT_EQ(found.xmp.size, 3U);
    EXPECT_EQ(found.exif.at, behind + first.size() + 24);
    EXPECT_EQ(found.exif.size, 1U);
    for (size_t i = 0; i < 16; i++) {
        Bytes other = xmp;
        other[i] ^= 1;
        Bytes text = exif;
        text[i] ^= 1;
        const Jpeg2000Structure none =
            structure(boxed({}, {}, joined({box("uuid", joined({other, {1}})), box("uuid", joined({text, {1}}))})));
        EXPECT_EQ(none.xmp.size + none.exif.size, 0U);
    }
    xmp.pop_back();
    EXPECT_EQ(structure(boxed({}, {}, box("uuid", xmp))).xmp.size, 0U);
}

// ---- Which picture it is.

Stream of(std::vector<std::array<uint8_t, 3>> components) {
    Stream stream;
    stream.components = std::move(components);
    return stream;
}
using Parts = std::vector<std::array<uint8_t, 3>>;
constexpr std::array<uint8_t, 3> kByte{7, 1, 1};

TEST(Jpeg2000Layouts, ColorsByTheirNumberOrProfile) {
    const auto model = [](size_t channels, const Bytes& header) {
        const Jpeg2000Layout found = layout(boxed(header, of(Parts(channels, kByte))));
        EXPECT_EQ(found.bands.size(), channels);
        EXPECT_EQ(found.form.bands(), static_cast<int>(channels));
        return std::pair(found.form.color, found.ycc);
    };
    const auto number = [](uint8_t value) { return color(1, {0, 0, 0, value}); };
    const auto profile = [](std::string_view space) {
        Bytes content(16);
        add(content, space);
        return color(2, content);
    };
    using enum ColorModel;
    const std::pair gray{kGray, false};
    const std::pair rgb{kRgb, false};
    const std::pair cmyk{kCmyk, false};
    for (const size_t more : {0U, 1U}) {
        EXPECT_EQ(model(1 + more, number(17)), gray);
        EXPECT_EQ(model(3 + more, number(16)), rgb);
        EXPECT_EQ(model(3 + more, number(18)), std::pair(kRgb, true));
        EXPECT_EQ(model(4 + more, number(12)), cmyk);
        EXPECT_EQ(model(1 + more, profile("GRAY")), gray);
        EXPECT_EQ(model(3 + more, profile("RGB ")), rgb);
        EXPECT_EQ(model(4 + more, profile("CMYK")), cmyk);
        EXPECT_EQ(model(1 + more, {}), gray);
        EXPECT_EQ(model(3 + more, {}), rgb);
        // Colors that the file does not have.
        EXPECT_EQ(model(1 + more, number(16)), gray);
        EXPECT_EQ(model(3, number(12)), rgb);
        EXPECT_EQ(model(2, profile("CMYK")), gray);
    }
    for (const uint8_t other : {0, 11, 13, 14, 15, 19, 20}) {
        EXPECT_EQ(damage(boxed(number(other)), Failure::kUnsupported),
                  "this is a JPEG 2000 file of the color space number " + std::to_string(other) +
                      "; sRGB, gray, sYCC and CMYK are read");
    }
    EXPECT_EQ(damage(boxed(profile("Lab ")), Failure::kUnsupported),
              "this is a JPEG 2000 file with a color profile of another space than gray, RGB and CMYK");
    EXPECT_EQ(damage(boxed({}, of(Parts(5, kByte))), Failure::kUnsupported),
              "this is a JPEG 2000 file with 2 channels that are neither colors nor the opacity of the picture");
    EXPECT_EQ(damage(boxed(number(17), of(Parts(4, kByte))), Failure::kUnsupported),
              "this is a JPEG 2000 file with 3 channels that are neither colors nor the opacity of the picture");
}

TEST(Jpeg2000Layouts, HalvedDifferences) {
    const auto ycc = [](const Parts& parts) { return layout(of(parts).file()).ycc; };
    EXPECT_TRUE(ycc({{7, 1, 1}, {7, 2, 2}, {7, 2, 2}}));
    EXPECT_TRUE(ycc({{7, 1, 1}, {7, 2, 1}, {7, 2, 1}}));
    EXPECT_FALSE(ycc({{7, 1, 1}, {7, 1, 2}, {7, 1, 2}}));
    EXPECT_FALSE(ycc({{7, 1, 1}, {7, 1, 1}, {7, 1, 1}}));
    EXPECT_FALSE(ycc({{7, 1, 1}, {7, 2, 2}, {7, 4, 2}}));
    EXPECT_FALSE(ycc({{7, 1, 1}, {7, 2, 2}, {7, 2, 1}}));
    EXPECT_FALSE(ycc({{7, 2, 1}, {7, 2, 1}, {7, 2, 1}}));
    EXPECT_FALSE(ycc({{7, 1, 2}, {7, 2, 2}, {7, 2, 2}}));
    EXPECT_FALSE(layout(boxed(color(1, {0, 0, 0, 16}), of({{7, 1, 1}, {7, 2, 2}, {7, 2, 2}}))).ycc);
}

TEST(Jpeg2000Layouts, PixelsAreTheFinestSamples) {
    Stream stream = of({{7, 4, 6}, {7, 2, 3}, {7, 8, 3}});
    stream.sizes = {21, 17, 3, 4, 21, 17, 0, 0};
    const Jpeg2000Layout found = layout(stream.file());
    EXPECT_EQ(found.unit_x, 2U);
    EXPECT_EQ(found.unit_y, 3U);
    EXPECT_EQ(found.width, 11 - 2);
    EXPECT_EQ(found.height, 6 - 2);
    const std::string sides =
        "this is a JPEG 2000 file whose components are sampled by sides that are no multiples of each other";
    EXPECT_EQ(damage(of({{7, 2, 1}, {7, 3, 1}, {7, 2, 1}}).file(), Failure::kUnsupported), sides);
    EXPECT_EQ(damage(of({{7, 1, 2}, {7, 1, 3}, {7, 1, 2}}).file(), Failure::kUnsupported), sides);
    stream = of({{7, 2, 1}});
    stream.sizes = {2, 5, 1, 0, 2, 5, 0, 0};
    EXPECT_EQ(damage(stream.file()), "it has no pixels");
    stream = of({{7, 1, 2}});
    stream.sizes = {5, 2, 0, 1, 5, 2, 0, 0};
    EXPECT_EQ(damage(stream.file()), "it has no pixels");
}

TEST(Jpeg2000Layouts, ADefinitionTellsTheChannelOfAColor) {
    const auto definitions = [](std::initializer_list<std::array<unsigned, 3>> entries) {
        Bytes content = words({static_cast<unsigned>(entries.size())});
        for (const auto& entry : entries) {
            add(content, words({entry[0], entry[1], entry[2]}));
        }
        return box("cdef", content);
    };
    const Stream four = of(Parts(4, kByte));
    const auto found = [&](const Bytes& header, const Stream& stream) {
        const Jpeg2000Layout made = layout(boxed(header, stream));
        std::vector<int> components;
        for (const Jpeg2000Band& band : made.bands) {
            components.push_back(band.component);
        }
        return std::tuple(components, made.form.alpha, made.premultiplied);
    };
    using Found = std::tuple<std::vector<int>, bool, bool>;
    EXPECT_EQ(found(definitions({{0, 0, 3}, {1, 0, 1}, {2, 0, 2}, {3, 1, 0}}), four), Found({1, 2, 0, 3}, true, false));
    EXPECT_EQ(found(definitions({{3, 0, 1}, {2, 0, 2}, {1, 0, 3}, {0, 2, 0}}), four), Found({3, 2, 1, 0}, true, true));
    EXPECT_EQ(found(definitions({{0, 0, 1}, {1, 0, 2}, {2, 0, 3}}), of(Parts(3, kByte))),
              Found({0, 1, 2}, false, false));
    const auto others = [](int count) {
        return "this is a JPEG 2000 file with " + std::to_string(count) +
               " channels that are neither colors nor the opacity of the picture";
    };
    const auto refused = [&](std::initializer_list<std::array<unsigned, 3>> entries) {
        return damage(boxed(definitions(entries), four), Failure::kUnsupported);
    };
    EXPECT_EQ(refused({{0, 0, 1}, {1, 0, 2}, {2, 0, 3}, {3, 0, 4}}), others(1));
    EXPECT_EQ(refused({{0, 0, 1}, {1, 0, 2}, {2, 0, 3}, {3, 1, 1}}), others(1)) << "the opacity of one color";
    EXPECT_EQ(refused({{0, 0, 1}, {1, 0, 2}, {2, 0, 3}, {3, 3, 0}}), others(1));
    EXPECT_EQ(refused({{0, 0, 1}, {1, 0, 2}, {2, 0, 3}, {3, 65535, 65535}}), others(1));
    EXPECT_EQ(refused({{0, 0, 0}, {1, 0, 2}, {2, 0, 3}, {3, 1, 0}}), others(1));
    EXPECT_EQ(damage(boxed(definitions({{0, 0, 1}, {1, 0, 2}, {3, 1, 0}}), four)), "it lacks the channel of a color");
    EXPECT_EQ(damage(boxed(definitions({{0, 0, 1}, {1, 0, 2}, {2, 0, 3}, {4, 1, 0}}), four)),
              "a channel stands for nothing");
    // Two that are no colors make the rest gray.
    EXPECT_EQ(damage(boxed(definitions({{0, 0, 1}, {1, 1, 0}, {2, 1, 0}}), of(Parts(3, kByte))), Failure::kUnsupported),
              others(1));
    EXPECT_EQ(damage(boxed(box("cmap", {0, 3, 0, 0}))), "a channel stands for nothing");
    EXPECT_EQ(damage(boxed(box("cmap", {0, 0, 1, 0}))), "a channel stands for nothing") << "there is no palette";
    const Bytes palette = box("pclr", {0, 1, 1, 7, 5});
    EXPECT_EQ(damage(boxed(joined({palette, box("cmap", {0, 0, 1, 1})}))), "a channel stands for nothing");
    EXPECT_NO_THROW(layout(boxed(joined({palette, box("cmap", {0, 2, 1, 0})}))));
}

TEST(Jpeg2000Layouts, EveryDepth) {
    for (int bits = 1; bits <= 38; bits++) {
        for (const bool is_signed : {false, true}) {
            for (const size_t channels : {1U, 2U, 3U, 4U}) {
                const auto depth = static_cast<uint8_t>((bits - 1) | (is_signed ? 0x80 : 0));
                const Stream stream = of(Parts(channels, {depth, 1, 1}));
                if (bits > 24) {
                    EXPECT_EQ(damage(stream.file(), Failure::kUnsupported),
                              "this is a JPEG 2000 file with " + std::to_string(bits) +
                                  " bits per component; up to 24 are read");
                    continue;
                }
                const Jpeg2000Layout found = layout(stream.file());
                using enum SampleType;
                EXPECT_EQ(found.bits, bits);
                EXPECT_EQ(found.form.sample, bits <= 8    ? (is_signed ? kInt8 : kUint8)
                                             : bits <= 16 ? (is_signed ? kInt16 : kUint16)
                                                          : (is_signed ? kInt32 : kUint32));
                const bool small = channels == 1 && !is_signed && (bits == 1 || bits == 2 || bits == 4);
                EXPECT_EQ(found.form.bits, small ? bits : bits <= 8 ? 8 : bits <= 16 ? 16 : 32);
                EXPECT_EQ(found.form.alpha, channels % 2 == 0);
                EXPECT_EQ(found.bands[0].bits, bits);
                EXPECT_EQ(found.bands[0].is_signed, is_signed);
            }
        }
    }
    // The deepest counts, and signed samples among others do not.
    const Jpeg2000Layout mixed = layout(of({{3, 1, 1}, {0x89, 1, 1}, {4, 1, 1}}).file());
    EXPECT_EQ(mixed.bits, 10);
    EXPECT_EQ(mixed.form.sample, SampleType::kUint16);
    EXPECT_FALSE(mixed.bands[0].is_signed);
    EXPECT_TRUE(mixed.bands[1].is_signed);
    EXPECT_EQ(layout(boxed(color(1, {0, 0, 0, 18}), of(Parts(3, {0x87, 1, 1})))).form.sample, SampleType::kUint8);
}

TEST(Jpeg2000Layouts, PalettesOfIndices) {
    // Two bytes and a signed one; the last entries have no index.
    Bytes content{0, 9, 3, 7, 3, 0x87};
    for (uint8_t i = 0; i < 9; i++) {
        add(content, {static_cast<uint8_t>(20 * i), i, static_cast<uint8_t>(0x80 + i)});
    }
    const Bytes palette = box("pclr", content);
    for (const int bits : {1, 2, 3, 4, 5, 8}) {
        const Jpeg2000Layout found = layout(boxed(palette, of({{static_cast<uint8_t>(bits - 1), 1, 1}})));
        EXPECT_EQ(found.form, (PixelForm{ColorModel::kIndexed, SampleType::kUint8,
                                         bits <= 2   ? bits
                                         : bits <= 4 ? 4
                                                     : 8,
                                         false}));
        EXPECT_EQ(found.bits, bits);
        ASSERT_EQ(found.bands.size(), 1U);
        EXPECT_EQ(found.bands[0].bits, bits);
        EXPECT_EQ(found.bands[0].column, std::nullopt);
        ASSERT_EQ(found.palette.size(), std::min<size_t>(9, size_t{1} << bits));
        EXPECT_TRUE(found.deep_palette.empty());
        for (Argb i = 0; i < found.palette.size(); i++) {
            EXPECT_EQ(found.palette[i], 0xFF000000 | 20 * i << 16 | 17 * i << 8 | i);
        }
    }
    EXPECT_EQ(layout(boxed(palette, of({{8, 1, 1}}))).form.color, ColorModel::kRgb) << "indices of nine bits";
    EXPECT_EQ(layout(boxed(palette, of({{0x87, 1, 1}}))).form.color, ColorModel::kRgb) << "signed indices";
    EXPECT_EQ(layout(boxed(joined({palette, color(1, {0, 0, 0, 18})}), of({kByte}))).form.color, ColorModel::kRgb);
    const Bytes two = joined({palette, box("cmap", {0, 0, 1, 0, 0, 0, 1, 1, 0, 1, 1, 2})});
    EXPECT_EQ(layout(boxed(two, of({kByte, kByte}))).form.color, ColorModel::kRgb) << "of two components";
    const Bytes direct = joined({palette, box("cmap", {0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 0})});
    EXPECT_EQ(layout(boxed(direct, of({kByte}))).form.color, ColorModel::kRgb) << "a channel without the palette";
    // Gray with opacity, in columns of sixteen and nine bits; colors multiplied by it are divided.
    const Bytes deep = box("pclr", {0, 2, 2, 15, 8, 0x12, 0x34, 0x01, 0xFF, 0x40, 0x00, 0x01, 0x00});
    const Jpeg2000Layout gray = layout(boxed(deep, of({kByte})));
    EXPECT_EQ(gray.deep_palette, (std::vector<uint64_t>{0xFFFF123412341234, 0x8040400040004000}));
    EXPECT_EQ(gray.palette, (std::vector<Argb>{0xFF121212, 0x80404040}));
    const Bytes multiplied = joined({deep, box("cdef", joined({words({2}), words({0, 0, 1, 1, 2, 0})}))});
    const Jpeg2000Layout divided = layout(boxed(multiplied, of({kByte})));
    const uint64_t half = (0x4000 * uint64_t{0xFFFF} + 0x8040 / 2) / 0x8040;
    EXPECT_EQ(divided.deep_palette,
              (std::vector<uint64_t>{0xFFFF123412341234, 0x8040000000000000 | half << 32 | half << 16 | half}));
    EXPECT_FALSE(divided.premultiplied);
}

TEST(Jpeg2000Layouts, ColorsAreDividedByTheirOpacity) {
    EXPECT_EQ(unmultiplied(0x0000123456789ABC), 0U);
    EXPECT_EQ(unmultiplied(0xFFFF123456789ABC), 0xFFFF123456789ABC);
    EXPECT_EQ(unmultiplied(0x8000400080008001), 0x80008000FFFFFFFF);
    EXPECT_EQ(unmultiplied(0x0001000000010002), 0x00010000FFFFFFFF);
    EXPECT_EQ(unmultiplied(0x0003000100020003), 0x00035555AAAAFFFF);
}

}  // namespace
}  // namespace zelmor::imagework
