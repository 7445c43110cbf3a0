// A program that reads a CDR or CMX file from its standard input, and writes a flat OpenDocument drawing to its
// standard output.
//
// The parser is libcdr. It works in a process of its own, whose memory and time are limited and which opens no file, so
// that a damaged file can do no harm.
//
// Arguments: "cdr" or "cmx", seconds, bytes of memory. Exit codes: 0, and those of ConvertExit.
#include <libcdr/libcdr.h>
#include <librevenge-stream/librevenge-stream.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <string_view>
#include <vector>

#include "runtime/native/core/child_limits.h"
#include "runtime/native/formats/cdr/converted_drawing.h"
#include "runtime/native/formats/cdr/drawing_to_xml.h"

namespace {

using zelmor::embed::ConvertExit;

std::vector<unsigned char> read_all() {
    std::vector<unsigned char> bytes;
    unsigned char piece[1 << 16];
    for (ssize_t count = 0; (count = read(STDIN_FILENO, piece, sizeof piece)) > 0;) {
        bytes.insert(bytes.end(), piece, piece + count);
    }
    return bytes;
}

bool write_all(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(STDOUT_FILENO, text.data(), text.size());
        if (count <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

ConvertExit convert(bool cmx) {
    const std::vector<unsigned char> file = read_all();
    librevenge::RVNGStringStream stream(file.data(), static_cast<unsigned>(file.size()));
    if (!(cmx ? libcdr::CMXDocument::isSupported(&stream) : libcdr::CDRDocument::isSupported(&stream))) {
        return ConvertExit::kUnknown;
    }
    stream.seek(0, librevenge::RVNG_SEEK_SET);
    zelmor::embed::DrawingToXml drawing;
    const bool good =
        cmx ? libcdr::CMXDocument::parse(&stream, &drawing) : libcdr::CDRDocument::parse(&stream, &drawing);
    const std::string text = drawing.take();
    if (!good || text.empty()) {
        return ConvertExit::kFailed;
    }
    return write_all(text) ? ConvertExit::kGood : ConvertExit::kFailed;
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        return static_cast<int>(ConvertExit::kFailed);
    }
    zelmor::embed::limit_process(std::atoi(arguments[2]), std::strtoull(arguments[3], nullptr, 10));
    try {
        return static_cast<int>(convert(std::string_view(arguments[1]) == "cmx"));
    } catch (const std::exception&) {
        return static_cast<int>(ConvertExit::kFailed);
    }
}
