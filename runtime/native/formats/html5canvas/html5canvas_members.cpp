// HTML5 canvas in the API: saving with Html5CanvasOptions.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/html5canvas/script_canvas.h"
#include "runtime/native/formats/svg/embedded_png.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

using api::ImageOptions::Html5CanvasOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kHtml5Canvas, Format::kHtml5Canvas, "Html5Canvas", api::RasterCachedImage::kType,
     Html5CanvasOptions::kType, nullptr, false},
};

constexpr DefaultValue kDefaults[] = {
    {Html5CanvasOptions::property_FullHtmlPage, true},
};
const DefaultTable ZELMOR_UNNAMED(kDefaults);

enum class Units { kBytes, kLittleEndian, kBigEndian };

struct Charset {
    std::string name = "utf-8";
    Units units = Units::kBytes;
};

// A page consists of the characters of ASCII alone, which most encodings have as single bytes.
Charset charset_of(const std::string& name) {
    std::string small = name;
    for (char& c : small) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    if (small == "utf-16" || small == "utf-16le" || small == "unicode") {
        return {"utf-16", Units::kLittleEndian};
    }
    if (small == "utf-16be") {
        return {"utf-16", Units::kBigEndian};
    }
    if (small == "utf8") {
        return {};
    }
    constexpr std::string_view kNames[] = {"utf-8",     "us-ascii", "ascii",  "latin1", "gb18030", "gbk",      "big5",
                                           "shift_jis", "euc-jp",   "euc-kr", "koi8-r", "koi8-u",  "macintosh"};
    const bool known = std::find(std::begin(kNames), std::end(kNames), small) != std::end(kNames) ||
                       small.starts_with("iso-8859-") || small.starts_with("windows-125");
    const bool plain = std::all_of(small.begin(), small.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    });
    if (!known || !plain) {
        throw_not_supported("The encoding '" + name + "' of Html5CanvasOptions.encoding");
    }
    return {small, Units::kBytes};
}

std::vector<uint8_t> encoded(const std::string& text, Units units) {
    if (units == Units::kBytes) {
        return {text.begin(), text.end()};
    }
    const bool big_endian = units == Units::kBigEndian;
    std::vector<uint8_t> bytes = big_endian ? std::vector<uint8_t>{0xFE, 0xFF} : std::vector<uint8_t>{0xFF, 0xFE};
    for (const char c : text) {
        bytes.push_back(big_endian ? 0 : static_cast<uint8_t>(c));
        bytes.push_back(big_endian ? static_cast<uint8_t>(c) : 0);
    }
    return bytes;
}

void write_html(std::span<const DrawnPage> pages, const Record* options, const std::string&, ByteSink& out) {
    const DrawnPage& page = pages.front();
    std::string id = "canvas";
    bool whole = true;
    Charset charset;
    if (options != nullptr) {
        if (const auto tag_id = property_string(*options, "CanvasTagId"); tag_id && !tag_id->empty()) {
            id = to_utf8(*tag_id);
        }
        if (const auto name = property_string(*options, "Encoding"); name && !name->empty()) {
            charset = charset_of(to_utf8(*name));
        }
        whole = property_bool(*options, "FullHtmlPage");
    }
    ScriptCanvas canvas(drawing_backend(), {page.width, page.height, id, &png_address});
    page.draw(canvas);
    std::string text = canvas.finish();
    if (whole) {
        text = "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"" + charset.name +
               "\">\n<title>Canvas</title>\n</head>\n<body>\n" + text + "</body>\n</html>\n";
    }
    out.write(encoded(text, charset.units));
}

}  // namespace

extern const FormatMembers kHtml5CanvasMembers;
const FormatMembers kHtml5CanvasMembers{
    .format = Format::kHtml5Canvas,
    .classes = kClasses,
    .write_drawing = &write_html,
};

}  // namespace zelmor::embed
