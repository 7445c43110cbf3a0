// The heavy libraries of a room whose format consists of drawings: a shared object of the room's own.
//
// formats/CMakeLists.txt names its sources (DRAWING_LIBRARY). One of them defines the function that is exported,
//
//     extern "C" __attribute__((visibility("default"))) SvgLibrary* zelmor_drawing_library();
//
// whose result is an interface of the room, an object that lives as long as the process. The members part of the room
// calls drawing_library<SvgLibrary>("svg"), which loads the shared object the first time. PictureError crosses the
// boundary, as it does from codecs.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_DRAWING_LIBRARY_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_DRAWING_LIBRARY_H

#include <string>

#include "runtime/native/core/own_libraries.h"

namespace zelmor::embed {

constexpr const char* kDrawingLibrarySymbol = "zelmor_drawing_library";

// `room` is the folder of the room. DllNotFoundException if the library cannot be loaded.
template <class Interface>
Interface& drawing_library(const char* room) {
    // Set once, under the interpreter lock, which loading the library does not release.
    static Interface* library = nullptr;
    if (library == nullptr) {
        const std::string file = std::string("libzelmor.embed.drawing.") + room + ".so";
        library = reinterpret_cast<Interface* (*)()>(function_of_library(room, file, kDrawingLibrarySymbol))();
    }
    return *library;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_DRAWING_LIBRARY_H
