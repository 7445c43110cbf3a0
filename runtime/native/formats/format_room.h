// The header part of a format's room: facts about a file of the format that need no library and decode nothing.
//
// A *room* is the folder of one file format. formats/CMakeLists.txt lists the rooms, and CMake makes from the list the
// enumeration Format and the table behind format_rooms(). The header parts are linked into the runtime itself.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_FORMAT_ROOM_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_FORMAT_ROOM_H

#include <memory>
#include <span>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/picture_end.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

struct FormatRoom {
    Format format;
    const char* name;                         // "PNG"; for messages
    std::span<const char* const> extensions;  // of file names, in small letters

    // Whether the first bytes of a file are those of the format. The rooms are asked in the order of their list.
    bool (*begins)(const ByteReader& file);
    // Fills in the facts of a file that begins so. Null for a format that this runtime cannot read: then a file is told
    // by its first bytes and refused with the format's name.
    void (*probe)(const ByteReader& file, FileFacts& facts) = nullptr;
    // Finds where the picture ends in a stream. Null where the format does not tell: all that follows belongs to it.
    std::unique_ptr<PictureEnd> (*end)(const FileFacts& facts) = nullptr;
    // Whether a file may be whole although its structure points behind its end.
    bool may_point_behind_end = false;
    // The default of each setting. Null for a format that this runtime cannot write.
    FormatEncoding (*default_settings)() = nullptr;
    // Which of its variants (format_list.h) a file that begins so is of; asked where `probe` is null.
    Variant (*variant)(const ByteReader& file) = nullptr;
};

template <class E>
FormatEncoding default_settings_of() {
    return E{};
}

// All rooms, in the order of their list.
std::span<const FormatRoom* const> format_rooms();
// The room of a format other than kUnknown.
const FormatRoom& room_of(Format format);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_FORMAT_ROOM_H
