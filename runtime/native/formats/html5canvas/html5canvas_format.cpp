// HTML5 canvas: a document of HTML with a canvas in it.
#include <string>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/text_head.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kMostHtml5Canvas = 4096;

bool begins_html5canvas(const ByteReader& in) {
    std::string text = text_head(in, kMostHtml5Canvas, "<");
    for (char& c : text) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return (text.starts_with("<!doctype html") || text.starts_with("<html")) &&
           text.find("<canvas") != std::string::npos;
}

constexpr const char* kHtml5CanvasExtensions[] = {"htm", "html"};

}  // namespace

extern const FormatRoom kHtml5CanvasRoom;
const FormatRoom kHtml5CanvasRoom{
    .format = Format::kHtml5Canvas,
    .name = "HTML5 canvas",
    .extensions = kHtml5CanvasExtensions,
    .begins = &begins_html5canvas,
};

}  // namespace zelmor::imagework
