// Reading SVG files, and putting one document into another; see svg_drawing.h.
#include "runtime/native/formats/svg/svg_drawing.h"

#include <dlfcn.h>

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/core/load_failure.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/drawwork/decimal_text.h"
#include "runtime/native/drawwork/outline_maps.h"
#include "runtime/native/formats/svg/svg_canvas.h"
#include "runtime/native/formats/svg/svg_rehearsal.h"
#include "runtime/native/formats/svg/svg_root.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/packed_head.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

using namespace imagework;
using drawwork::decimal_text;

namespace {

constexpr const char* kLibrary = "libzelmor.embed.format.svg.so";

SvgLibrary* load_library() {
    Dl_info info{};
    std::string folder = ".";
    if (dladdr(reinterpret_cast<void*>(&load_library), &info) != 0 && info.dli_fname != nullptr) {
        const std::string path = info.dli_fname;
        folder = path.substr(0, std::min(path.rfind('/'), path.size()));
    }
    const std::string path = folder + "/" + kLibrary;
    // Never unloaded: the libraries behind it have types that stay.
    void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* const symbol = library != nullptr ? dlsym(library, kSvgLibrarySymbol) : nullptr;
    if (symbol == nullptr) {
        throw ManagedException("DllNotFoundException",
                               "The SVG library '" + path + "' cannot be loaded: " + load_failure() + ".");
    }
    return reinterpret_cast<SvgLibraryFunction>(symbol)();
}

std::string matrix_text(const drawwork::Affine& map) {
    std::string text = "matrix(";
    for (const double part : {map.m11, map.m12, map.m21, map.m22, map.dx, map.dy}) {
        text += (text.back() == '(' ? "" : " ") + decimal_text(part, 8);
    }
    return text + ')';
}

}  // namespace

SvgLibrary& svg_library() {
    // Set once, under the interpreter lock, which loading the library does not release.
    static SvgLibrary* library = nullptr;
    if (library == nullptr) {
        library = load_library();
    }
    return *library;
}

SvgFileDrawing::SvgFileDrawing(std::vector<uint8_t> file, drawwork::PointD otherwise) : m_file(std::move(file)) {
    m_packed = m_file.size() > 1 && m_file[0] == 0x1F && m_file[1] == 0x8B;
    if (m_packed) {
        m_document = unpacked_head(ByteReader(m_file), limits::kInflatedBytes);
        if (m_document.size() >= limits::kInflatedBytes) {
            throw PictureError(Failure::kTooLarge, "the SVG document is too large");
        }
    }
    m_picture = svg_library().open(document());
    const std::string text = svg_text(document());
    const auto root = svg_root(text);
    const SvgSize size = root ? svg_size(*root) : SvgSize{};
    m_width = size.width > 0 ? size.width : otherwise.x;
    m_height = size.height > 0 ? size.height : otherwise.y;
    if (!(m_width > 0) || !(m_height > 0)) {
        const drawwork::RectD ink = m_picture->ink();
        m_width = m_width > 0 ? m_width : std::ceil(ink.right());
        m_height = m_height > 0 ? m_height : std::ceil(ink.bottom());
    }
    if (!(m_width > 0) || !(m_height > 0)) {
        throw PictureError(Failure::kDamaged, "the SVG document has no size, and shows nothing that has one");
    }
    if (std::max(m_width, m_height) > static_cast<double>(limits::kSide)) {
        throw PictureError(Failure::kTooLarge, "the SVG document is too large: " + decimal_text(m_width) + " by " +
                                                   decimal_text(m_height) + " pixels");
    }
}

void SvgFileDrawing::draw(drawwork::Canvas& canvas, const drawwork::Affine& placing, const DrawSettings& settings) {
    SvgDrawing drawing{placing, m_width, m_height, settings.smooth, settings.smooth_text};
    const bool upright = placing.m12 == 0 && placing.m21 == 0 && placing.m11 > 0 && placing.m22 > 0;
    if (upright || canvas.context() == nullptr) {
        return draw_in_time(*m_picture, document(), canvas, drawing);
    }
    // The library counts on a page that is neither turned nor mirrored: the document is put into one that is upright.
    const drawwork::RectD around =
        drawwork::rectangle_around(drawwork::mapped_outline(drawwork::rectangle_outline(bounds()), placing));
    drawwork::Affine turn = placing.then(drawwork::Affine::translation(-around.x, -around.y));
    if (m_turned == nullptr || m_turn != turn) {
        const std::string text = placed_document(turn, around.width, around.height, 0);
        if (text.empty()) {
            throw PictureError(Failure::kUnsupported,
                               "the end of the SVG document cannot be found, which has to be "
                               "known to turn it");
        }
        m_turned_document.assign(text.begin(), text.end());
        m_turned = svg_library().open(m_turned_document);
        m_turn = turn;
    }
    drawing.placing = drawwork::Affine::translation(around.x, around.y);
    drawing.width = around.width;
    drawing.height = around.height;
    draw_in_time(*m_turned, m_turned_document, canvas, drawing);
}

void SvgFileDrawing::draw_in_time(SvgPicture& picture, const std::vector<uint8_t>& document, drawwork::Canvas& canvas,
                                  const SvgDrawing& drawing) {
    const double scale = drawing.placing.largest_scale();
    const double width = drawing.width * scale, height = drawing.height * scale;
    if (width * height > m_rehearsed && needs_rehearsal(picture.filtering(), width, height)) {
        rehearse(document, width, height);
        m_rehearsed = width * height;
    }
    picture.draw(canvas, drawing);
}

std::vector<Ref<ImageBase>> SvgFileDrawing::embedded_images() {
    std::vector<Ref<ImageBase>> images;
    for (SvgEmbedded& embedded : svg_library().embedded(document())) {
        // A picture of a format that is not read, or an SVG document in this one, is no picture of pixels.
        if (!probe(std::span<const uint8_t>(embedded.bytes)).readable) {
            continue;
        }
        images.push_back(any_decoded_image(std::move(embedded.bytes), nullptr, "Cannot load an embedded image"));
    }
    return images;
}

std::string SvgFileDrawing::placed_document(const drawwork::Affine& placing, double width, double height,
                                            drawwork::Argb background, const std::string& above) const {
    const std::string text = svg_text(document());
    const auto root = svg_root(text);
    const auto end = root ? svg_end(text, *root) : std::nullopt;
    if (!end) {
        return {};
    }
    // The start tag with the size in pixels. A root has no place on the page; an element inside of another has.
    std::string tag = text.substr(root->begin, root->tag_end - root->begin);
    for (size_t i = root->attributes.size(); i > 0; --i) {
        const SvgAttribute& each = root->attributes[i - 1];
        if (each.name == "x" || each.name == "y" || each.name == "width" || each.name == "height") {
            tag.erase(each.begin - root->begin, each.end - each.begin);
        }
    }
    tag.insert(1 + root->name.size(),
               " width=\"" + decimal_text(m_width) + "\" height=\"" + decimal_text(m_height) + '"');
    const std::string across = decimal_text(width), down = decimal_text(height);
    std::string result = text.substr(0, root->begin);
    result += "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"" + across + "\" height=\"" + down +
              "\" viewBox=\"0 0 " + across + ' ' + down + "\">";
    if (background >> 24 != 0) {
        result += "<path d=\"M0 0 H" + across + " V" + down + " H0 Z\" fill=\"rgb(" +
                  std::to_string(background >> 16 & 255) + ',' + std::to_string(background >> 8 & 255) + ',' +
                  std::to_string(background & 255) + ")\" fill-opacity=\"" + decimal_text((background >> 24) / 255.0) +
                  "\"/>";
    }
    result += "<g transform=\"" + matrix_text(placing) + "\">" + tag;
    result += text.substr(root->tag_end, *end - root->tag_end);
    return result + "</g>" + above + "</svg>" + text.substr(*end);
}

}  // namespace zelmor::embed
