// A program that draws an SVG document from the standard input into a picture that nobody sees.
//
// The runtime draws documents in its own process, where nothing ends a drawing that goes on for hours. A document whose
// filters may take long is first drawn here, where the processor time is limited: if this process ends in time, the
// other one will.
//
// Arguments: width and height in pixels, seconds, bytes of memory. The exit code is 0 if the document was drawn, or
// cannot be drawn.
#include <cairo.h>
#include <librsvg/rsvg.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <vector>

#include "runtime/native/core/child_limits.h"

namespace {

std::vector<unsigned char> read_input() {
    std::vector<unsigned char> bytes;
    std::array<unsigned char, 1 << 16> piece{};
    ssize_t count = 0;
    while ((count = read(STDIN_FILENO, piece.data(), piece.size())) > 0) {
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + count);
    }
    return bytes;
}

void draw(const std::vector<unsigned char>& document, int width, int height) {
    GInputStream* const input =
        g_memory_input_stream_new_from_data(document.data(), static_cast<gssize>(document.size()), nullptr);
    RsvgHandle* const handle =
        rsvg_handle_new_from_stream_sync(input, nullptr, RSVG_HANDLE_FLAGS_NONE, nullptr, nullptr);
    if (handle == nullptr) {
        return;
    }
    cairo_surface_t* const surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height);
    cairo_t* const context = cairo_create(surface);
    const RsvgRectangle viewport{0, 0, static_cast<double>(width), static_cast<double>(height)};
    rsvg_handle_render_document(handle, context, &viewport, nullptr);
    // Nothing is freed: the process ends.
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 5) {
        return EXIT_FAILURE;
    }
    zelmor::embed::limit_process(std::atoi(arguments[3]), std::strtoull(arguments[4], nullptr, 10));
    draw(read_input(), std::atoi(arguments[1]), std::atoi(arguments[2]));
    return EXIT_SUCCESS;
}
