// The extensions of all formats; see file_extensions.h.
#include "runtime/native/behaviors/images/file_extensions.h"

#include <algorithm>

#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/format_room.h"

namespace zelmor::embed {

using imagework::Format;
using imagework::FormatRoom;

namespace {

// Null where the extension stands for no format.
const FormatRoom* room_of_extension(const std::string& extension) {
    for (const FormatRoom* room : imagework::format_rooms()) {
        if (std::any_of(room->extensions.begin(), room->extensions.end(),
                        [&](const char* known) { return extension == known; })) {
            return room;
        }
    }
    return nullptr;
}

}  // namespace

std::string extension_of(const std::string& path) {
    const size_t dot = path.find_last_of("./");
    if (dot == std::string::npos || path[dot] == '/') {
        return {};
    }
    std::string extension = path.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
    return extension;
}

Format format_of_extension(const std::string& path) {
    const std::string extension = extension_of(path);
    const FormatRoom* room = room_of_extension(extension);
    if (room == nullptr) {
        return Format::kUnknown;
    }
    const FormatMembers* members = members_of(room->format);
    const bool draws = members != nullptr && members->write_drawing != nullptr;
    if (room->default_settings == nullptr && !draws) {
        throw_not_supported("Saving as " + std::string(room->name) + ", which the extension '." + extension +
                            "' asks for,");
    }
    return room->format;
}

}  // namespace zelmor::embed
