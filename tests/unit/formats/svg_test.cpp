// The SVG library through its shared object, with the drawing backend; and the root of a document by its text.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "runtime/native/drawwork/canvas.h"
#include "runtime/native/formats/svg/svg_library.h"
#include "runtime/native/formats/svg/svg_root.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {
namespace {

using drawwork::Affine;
using drawwork::Argb;
using drawwork::PixelCanvas;

template <class Function>
Function loaded(const char* path, const char* symbol) {
    void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(library, nullptr) << dlerror();
    return reinterpret_cast<Function>(dlsym(library, symbol));
}
drawwork::Backend& backend() {
    static auto* backend = loaded<drawwork::BackendFunction>(DRAWWORK_LIBRARY, drawwork::kBackendSymbol)();
    return *backend;
}
SvgLibrary& library() {
    static auto* library = loaded<SvgLibraryFunction>(SVG_LIBRARY, kSvgLibrarySymbol)();
    return *library;
}

std::span<const uint8_t> bytes_of(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// A canvas that has no context to give away.
class ApartCanvas final : public drawwork::Canvas {
 public:
    explicit ApartCanvas(PixelCanvas& pixels) : m_pixels(pixels) {}
    void save() override { m_pixels.save(); }
    void restore() override { m_pixels.restore(); }
    void unclip() override { m_pixels.unclip(); }
    void clip(const drawwork::Outline& outline, drawwork::FillRule rule, bool smooth) override {
        m_pixels.clip(outline, rule, smooth);
    }
    void fill(const drawwork::Outline& outline, drawwork::FillRule rule, const drawwork::Paint& paint,
              bool smooth) override {
        ++calls;
        m_pixels.fill(outline, rule, paint, smooth);
    }
    void stroke(const drawwork::Outline& outline, const drawwork::Stroke& stroke, const drawwork::Paint& paint,
                bool smooth) override {
        ++calls;
        m_pixels.stroke(outline, stroke, paint, smooth);
    }
    void clear(Argb color) override { m_pixels.clear(color); }
    void text(const drawwork::TextLayout& layout, const Affine& placing, const drawwork::Paint& paint) override {
        m_pixels.text(layout, placing, paint);
    }
    void begin_group() override { m_pixels.begin_group(); }
    void end_group(double opacity, drawwork::Blend blend) override { m_pixels.end_group(opacity, blend); }

    int calls = 0;

 private:
    PixelCanvas& m_pixels;
};

constexpr int32_t kWidth = 200, kHeight = 150;

std::string document(const std::string& content) {
    return "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' width='200' "
           "height='150'>"
           "<defs><linearGradient id='a'><stop offset='0' stop-color='red'/>"
           "<stop offset='1' stop-color='blue' stop-opacity='.5'/></linearGradient>"
           "<radialGradient id='r' fx='.3' fy='.4'><stop offset='0' stop-color='lime'/>"
           "<stop offset='1' stop-color='navy'/></radialGradient>"
           "<pattern id='p' width='10' height='10' patternUnits='userSpaceOnUse'>"
           "<rect width='5' height='5' fill='red'/></pattern>"
           "<mask id='m'><rect width='200' height='150' fill='url(#a)'/></mask>"
           "<clipPath id='c'><circle cx='100' cy='75' r='50'/></clipPath>"
           "<filter id='f'><feGaussianBlur stdDeviation='3'/></filter></defs>" +
           content + "</svg>";
}

std::vector<Argb> drawn(const std::string& text, bool apart, int* calls = nullptr) {
    const std::vector<Argb> white(static_cast<size_t>(kWidth) * kHeight, 0xFFFFFFFF);
    const auto canvas = backend().canvas({0, 0, kWidth, kHeight}, white);
    ApartCanvas taken(*canvas);
    const auto picture = library().open(bytes_of(text));
    SvgDrawing drawing;
    drawing.width = kWidth;
    drawing.height = kHeight;
    drawing.placing = {0.8, 0, 0, 0.9, 15, 7};
    picture->draw(apart ? static_cast<drawwork::Canvas&>(taken) : *canvas, drawing);
    if (calls != nullptr) {
        *calls = taken.calls;
    }
    return canvas->pixels();
}

// The mean difference of the channels, and how many pixels are painted at all.
double difference(const std::vector<Argb>& a, const std::vector<Argb>& b) {
    double sum = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        for (int shift = 0; shift < 24; shift += 8) {
            sum += std::abs(static_cast<int>(a[i] >> shift & 255) - static_cast<int>(b[i] >> shift & 255));
        }
    }
    return sum / (3.0 * static_cast<double>(a.size()));
}
int64_t painted(const std::vector<Argb>& pixels) {
    return std::count_if(pixels.begin(), pixels.end(), [](Argb pixel) { return pixel != 0xFFFFFFFF; });
}

struct Sample {
    const char* name;
    const char* content;
    int most_calls;  // of a drawing that is taken apart
    double tolerance;
};
constexpr Sample kSamples[] = {
    {"Shapes",
     "<rect x='10' y='10' width='50' height='30'/><path d='M80 20q40 60 80 0z' fill='#08f' fill-rule='evenodd'/>", 2,
     0.1},
    {"Strokes",
     "<rect x='10' y='10' width='90' height='50' fill='none' stroke='black' stroke-width='4' stroke-dasharray='8 3'/>"
     "<path d='M20 100L90 130L150 90' fill='none' stroke='red' stroke-width='9' stroke-linejoin='round' "
     "stroke-linecap='round'/><g transform='scale(2 .5)'><circle cx='70' cy='60' r='15' stroke='green' "
     "stroke-width='5' fill='none'/></g>",
     3, 0.1},
    {"Gradients",
     "<rect x='10' y='10' width='80' height='60' fill='url(#a)'/><circle cx='140' cy='70' r='50' "
     "fill='url(#r)' stroke='url(#a)' stroke-width='6'/>",
     3, 0.3},
    {"Clips",
     "<g clip-path='url(#c)'><rect width='200' height='150' fill='teal'/><g clip-path='url(#c)'>"
     "<rect y='70' width='200' height='20'/></g></g>",
     2, 0.1},
    {"Opacity",
     "<g opacity='.5'><rect x='10' y='10' width='60' height='60'/><rect x='40' y='40' width='60' height='60' "
     "fill='red'/></g>",
     2, 0.1},
    {"Text", "<text x='10' y='60' font-family='DejaVu Sans' font-size='30' fill='purple'>Text &#xE9;</text>", 9, 0.1},
    {"Masks", "<rect width='200' height='150' fill='green' mask='url(#m)'/><rect width='20' height='20'/>", 2, 0.5},
    {"Patterns", "<rect x='20' y='20' width='100' height='100' fill='url(#p)'/>", 1, 1.5},
    {"Filters", "<rect x='50' y='50' width='60' height='60' filter='url(#f)'/>", 1, 1},
    {"Blends",
     "<rect x='10' y='10' width='90' height='90' fill='yellow'/><rect x='50' y='50' width='90' height='90' "
     "fill='#08f' style='mix-blend-mode:multiply'/>",
     2, 1},
    {"Images",
     "<image x='10' y='10' width='80' height='80' xlink:href='data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAAAEAA"
     "AABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg=='/>",
     1, 0.5},
};

class SvgApartTest : public testing::TestWithParam<Sample> {};

// A canvas without a context gets the same picture in its own terms.
TEST_P(SvgApartTest, ShowsTheSame) {
    const std::string text = document(GetParam().content);
    int calls = 0;
    const auto whole = drawn(text, false), apart = drawn(text, true, &calls);
    EXPECT_GT(painted(whole), 500);
    EXPECT_LT(difference(whole, apart), GetParam().tolerance);
    EXPECT_GT(calls, 0);
    EXPECT_LE(calls, GetParam().most_calls);
}
// A canvas may be a part of the picture.
TEST_P(SvgApartTest, PartsAreThoseOfTheWhole) {
    const auto picture = library().open(bytes_of(document(GetParam().content)));
    const drawwork::PixelArea part{40, 30, 80, 60};
    const auto pixels = [&](const drawwork::PixelArea& area) {
        const auto count = static_cast<size_t>(area.width) * static_cast<size_t>(area.height);
        const auto canvas = backend().canvas(area, std::vector<Argb>(count, 0xFFFFFFFF));
        picture->draw(*canvas, {{0.7, 0, 0, 0.8, 5, 9}, kWidth, kHeight, true, true});
        return canvas->pixels();
    };
    const auto whole = pixels({0, 0, kWidth, kHeight}), found = pixels(part);
    std::vector<Argb> wanted;
    for (int32_t y = part.y; y < part.y + part.height; ++y) {
        const auto row = whole.begin() + y * kWidth + part.x;
        wanted.insert(wanted.end(), row, row + part.width);
    }
    EXPECT_LT(difference(wanted, found), 0.01);
}

INSTANTIATE_TEST_SUITE_P(Samples, SvgApartTest, testing::ValuesIn(kSamples),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(SvgTest, EdgesAreSmoothUnlessAskedOtherwise) {
    const auto picture = library().open(
        bytes_of(document("<circle cx='100' cy='75' r='50'/><text x='3' y='140' font-size='30'>Ag</text>")));
    const auto colors = [&](bool smooth, bool smooth_text) {
        const auto canvas = backend().canvas({0, 0, kWidth, kHeight}, std::vector<Argb>(kWidth * kHeight, 0xFFFFFFFF));
        picture->draw(*canvas, {{}, kWidth, kHeight, smooth, smooth_text});
        std::vector<Argb> pixels = canvas->pixels();
        std::sort(pixels.begin(), pixels.end());
        return std::unique(pixels.begin(), pixels.end()) - pixels.begin();
    };
    EXPECT_GT(colors(true, true), 20);
    EXPECT_GT(colors(false, true), 2);
    EXPECT_GT(colors(true, false), 2);
    EXPECT_EQ(colors(false, false), 2);
}

TEST(SvgTest, EmbeddedPicturesAreFound) {
    const auto found = library().embedded(
        bytes_of("<!DOCTYPE svg [<!ENTITY head 'data:image/x-own;base64,'>]>"
                 "<s:svg xmlns:s='http://www.w3.org/2000/svg' xmlns:l='http://www.w3.org/1999/xlink'>"
                 "<s:image l:href='&head;AQID'/><s:image href='data:image/png;base64,AA==' l:href='data:,x'/>"
                 "<s:image href='other.png'/><s:image href='data:image/png;base64,!'/><image "
                 "href='data:a/b;base64,AA=='/></s:svg>"));
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].mime_type, "image/x-own");
    EXPECT_EQ(found[0].bytes, (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(found[1].bytes, std::vector<uint8_t>{0});
}

// Each beginning of a document, and documents with bytes that were changed at random, are drawn or refused.
TEST(SvgTest, DamagedDocumentsAreRefused) {
    std::string whole;
    for (const Sample& sample : kSamples) {
        whole += sample.content;
    }
    whole = document(whole);
    int refused = 0;
    for (size_t length = 0; length < whole.size(); length += 97) {
        EXPECT_THROW(library().open(bytes_of(whole.substr(0, length))), PictureError) << length;
    }
    std::mt19937 random(1);
    for (int i = 0; i < 60; ++i) {
        std::string text = whole;
        for (int change = 0; change < 5; ++change) {
            text[random() % text.size()] = static_cast<char>(random() % 96 + 32);
        }
        try {
            drawn(text, true);
        } catch (const PictureError&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, 5);
    EXPECT_LT(refused, 60);
}

TEST(SvgTest, EntitiesThatGrowWithoutEndAreRefused) {
    std::string text = "<!DOCTYPE svg [<!ENTITY a 'aaaaaaaaaa'>";
    for (char name = 'b'; name < 'm'; ++name) {
        const std::string before = "&" + std::string(1, static_cast<char>(name - 1)) + ";";
        text += "<!ENTITY " + std::string(1, name) + " '";
        for (int i = 0; i < 10; ++i) {
            text += before;
        }
        text += "'>";
    }
    text += "]><svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><text>&l;</text></svg>";
    EXPECT_THROW(library().open(bytes_of(text)), PictureError);
    EXPECT_THROW(library().embedded(bytes_of(text)), PictureError);
}

// ---- The root

TEST(SvgRootTest, FilesAreProbed) {
    const struct {
        std::string text;
        int64_t width, height;
    } cases[] = {
        {"<?xml version='1.0'?>\n<!-- <html> -->\n<!DOCTYPE svg [<!ENTITY a \">\">]>\n<svg width='1.5' height='1in'/>",
         2, 96},
        {"<s:svg xmlns:s='a'>", 0, 0},
    };
    for (const auto& each : cases) {
        const FileFacts facts = probe(bytes_of(each.text));
        EXPECT_EQ(facts.format, Format::kSvg);
        EXPECT_TRUE(facts.readable);
        EXPECT_EQ(facts.width, each.width);
        EXPECT_EQ(facts.height, each.height);
    }
    EXPECT_FALSE(probe(bytes_of("<svg width='1'")).readable);
}

SvgSize size_of(const std::string& attributes) {
    const std::string text =
        "<?xml version='1.0'?><!-- <svg> --><!DOCTYPE svg [ <!ENTITY x '>]'> <!-- ' --> ]>\n<svg " + attributes +
        "></svg>";
    const auto root = svg_root(text);
    EXPECT_TRUE(root.has_value());
    return root ? svg_size(*root) : SvgSize{};
}

TEST(SvgRootTest, LengthsAreInPixels) {
    const struct {
        const char* attributes;
        double width, height;
    } cases[] = {
        {"width='30' height=\"40px\"", 30, 40},
        {"width='1in' height='72pt'", 96, 96},
        {"width='2.54cm' height='25.4mm'", 96, 96},
        {"width='6pc' height='1e2'", 96, 100},
        {"width='2em' height='2ex'", 24, 12},
        {"viewBox='5 5 30 40'", 30, 40},
        {"viewBox='0,0,30,40' width='60'", 60, 80},
        {"viewBox='0 0 30 40' height='20' width='100%'", 15, 20},
        {"width='100%' height='-3'", 0, 0},
        {"width='7' viewBox='0 0 0 4'", 7, 0},
        {"x:width='7' width = '8' height='9furlongs'", 8, 0},
    };
    for (const auto& each : cases) {
        const SvgSize size = size_of(each.attributes);
        EXPECT_NEAR(size.width, each.width, 1e-9) << each.attributes;
        EXPECT_NEAR(size.height, each.height, 1e-9) << each.attributes;
    }
}

TEST(SvgRootTest, EndsBehindItsLastTag) {
    const std::string text = "<svg><g/></svg>\n<!-- </svg> --><?end ?> ";
    const auto root = svg_root(text);
    ASSERT_TRUE(root);
    EXPECT_EQ(svg_end(text, *root), text.find('\n'));
    const std::string open = "<svg a='>'";
    EXPECT_FALSE(svg_root(open));
    EXPECT_FALSE(svg_root("no document"));
    EXPECT_FALSE(svg_root(""));
}

TEST(SvgRootTest, TextsOfTwoBytesBecomeUtf8) {
    const std::u16string text = u"<?xml version='1.0' encoding='UTF-16'?><svg id='\u00E9\U0001F600'/>";
    for (const bool big_endian : {false, true}) {
        std::vector<uint8_t> bytes = big_endian ? std::vector<uint8_t>{0xFE, 0xFF} : std::vector<uint8_t>{0xFF, 0xFE};
        for (const char16_t c : text) {
            bytes.push_back(static_cast<uint8_t>(big_endian ? c >> 8 : c & 255));
            bytes.push_back(static_cast<uint8_t>(big_endian ? c & 255 : c >> 8));
        }
        EXPECT_EQ(svg_text(bytes), "<?xml version=\"1.0\" encoding=\"UTF-8\"?><svg id='\xC3\xA9\xF0\x9F\x98\x80'/>");
    }
}

std::vector<uint8_t> of_two_bytes(const std::u16string& text, bool big_endian) {
    std::vector<uint8_t> bytes;
    for (const char16_t c : u"\uFEFF" + text) {
        bytes.push_back(static_cast<uint8_t>(big_endian ? c >> 8 : c & 255));
        bytes.push_back(static_cast<uint8_t>(big_endian ? c & 255 : c >> 8));
    }
    return bytes;
}

// The ends of the ranges with one to four bytes; halves of pairs that stand alone have the sign for what is no text.
TEST(SvgRootTest, CharactersOfTwoBytes) {
    const std::pair<std::u16string, std::string> cases[] = {
        {u"\x01\x7F", "\x01\x7F"},
        {u"\u0080\u07FF", "\xC2\x80\xDF\xBF"},
        {u"\u0800\uD7FF\uE000\uFFFD", "\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD"},
        {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {u"\U00010400\U000103FF", "\xF0\x90\x90\x80\xF0\x90\x8F\xBF"},
        {std::u16string{0xD800, u'a'}, "\xEF\xBF\xBD\x61"},
        {std::u16string{u'a', 0xDBFF}, "\x61\xEF\xBF\xBD"},
        {std::u16string{0xDC00, 0xDFFF}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {std::u16string{0xD83D, 0xD83D, 0xDE00}, "\xEF\xBF\xBD\xF0\x9F\x98\x80"}};
    for (const auto& [text, expected] : cases) {
        for (const bool big_endian : {false, true}) {
            EXPECT_EQ(svg_text(of_two_bytes(text, big_endian)), expected);
            std::vector<uint8_t> odd = of_two_bytes(text, big_endian);
            odd.push_back('a');
            EXPECT_EQ(svg_text(odd), expected);
        }
    }
    EXPECT_EQ(svg_text(bytes_of("\xEF\xBB\xBF<svg/>")), "<svg/>");
    EXPECT_EQ(svg_text(bytes_of("<svg/>")), "<svg/>");
}

TEST(SvgRootTest, TagsAndTheirAttributes) {
    const std::string text = "\t<?a?> <!--b--><!DOCTYPE c [<!-- ] --> <?d ]?> '>' ]>\r\n<x:svg\ta = 'b' c:d=\"'e>\"/>x";
    const auto root = svg_root(text);
    ASSERT_TRUE(root);
    EXPECT_EQ(root->begin, text.find("<x:svg"));
    EXPECT_EQ(root->name, "x:svg");
    ASSERT_EQ(root->attributes.size(), 2U);
    EXPECT_EQ(root->attributes[0].name, "a");
    EXPECT_EQ(root->attributes[0].value, "b");
    EXPECT_EQ(root->attributes[1].name, "c:d");
    EXPECT_EQ(root->attributes[1].value, "'e>");
    EXPECT_EQ(root->tag_end, text.size() - 1);
    ASSERT_NE(root->find("a"), nullptr);
    EXPECT_EQ(root->find("b"), nullptr);
    for (const char* bad : {"<svg a>", "<svg a=b>", "<svg a='b>", "<svg a=\"b'>", "<svg a=", "<svg", "<?svg?>",
                            "x<svg/>", "<!-- <svg/>", "<!DOCTYPE svg [ <svg/>"}) {
        EXPECT_FALSE(svg_root(bad)) << bad;
    }
    EXPECT_EQ(svg_root("<svg/>")->name, "svg");
    EXPECT_EQ(svg_root("<svg>")->name, "svg");
    EXPECT_EQ(svg_root("<svg\n>")->name, "svg");
}

TEST(SvgRootTest, EndsOfDocuments) {
    const auto end = [](const std::string& text) {
        const auto root = svg_root(text);
        EXPECT_TRUE(root.has_value());
        return root ? svg_end(text, *root) : std::nullopt;
    };
    EXPECT_EQ(end("<svg/>"), 6U);
    EXPECT_EQ(end("<svg></svg> \t\r\n"), 11U);
    EXPECT_EQ(end("<svg></svg><!--a-->"), 11U);
    EXPECT_EQ(end("<svg></svg>\n<?a?>\n<!--b--> "), 11U);
    EXPECT_FALSE(end("<svg> text"));
    EXPECT_FALSE(end("<svg>-->"));
    EXPECT_FALSE(end("<!-- a --><svg> -->"));
    EXPECT_FALSE(end("<?a?><svg>?>"));
}

}  // namespace
}  // namespace zelmor::imagework
