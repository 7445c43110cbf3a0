// DXF: pairs of lines, a number and a value, of which the first is a section; or the same in bytes.
#include <algorithm>
#include <string>
#include <string_view>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/text_head.h"

namespace zelmor::imagework {
namespace {

// One line, without white space around; the text goes on behind it.
std::string_view next_line(std::string_view& text) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    constexpr std::string_view kSpace = " \t\r";
    line.remove_prefix(std::min(line.find_first_not_of(kSpace), line.size()));
    return line.substr(0, line.find_last_not_of(kSpace) + 1);
}

bool begins_dxf(const ByteReader& in) {
    if (in.starts_with(0, std::string_view("AutoCAD Binary DXF\r\n\x1A\0", 22))) {
        return true;
    }
    constexpr size_t kMost = 4096;
    const std::string head = text_head(in, kMost, "09");
    std::string_view text = head;
    constexpr std::string_view kComment = "999";
    std::string_view code = next_line(text);
    while (code == kComment && !text.empty()) {
        next_line(text);
        code = next_line(text);
    }
    return code == "0" && next_line(text) == "SECTION";
}

constexpr const char* kDxfExtensions[] = {"dxf"};

}  // namespace

extern const FormatRoom kDxfRoom;
const FormatRoom kDxfRoom{
    .format = Format::kDxf,
    .name = "DXF",
    .extensions = kDxfExtensions,
    .begins = &begins_dxf,
};

}  // namespace zelmor::imagework
