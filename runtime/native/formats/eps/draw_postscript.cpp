// A program that draws PostScript: from the standard input to a PNG file on the standard output.
//
// PostScript is a programming language, and a file can run for ever or take all memory. So it is drawn in a process of
// its own, whose time and memory are limited and which can write no file. The interpreter is Ghostscript's library,
// which has to be installed; it allows programs no access to files besides its own ones. It would let them look through
// folders for files that they may use, and this program keeps it from that (opendir).
//
// Arguments: width and height in pixels, dots per inch across and down, the point that becomes the left lower corner,
// seconds, bytes of memory, and 1 for smooth edges of shapes, and of characters. Exit codes: 0, kNoLibrary, kFailed.
#include <dirent.h>
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/core/child_limits.h"
#include "runtime/native/formats/eps/postscript_process.h"

namespace {

using zelmor::embed::limit_process;
using zelmor::embed::PostScriptExit;

// Of the library's interface; all of its versions have them.
using NewInstance = int (*)(void** instance, void* caller);
using SetArgumentEncoding = int (*)(void* instance, int encoding);
using InitWithArguments = int (*)(void* instance, int count, char** arguments);
using Exit = int (*)(void* instance);
using DeleteInstance = void (*)(void* instance);
constexpr int kUtf8 = 1;

// Folders of fonts, of their settings, and of the library's own resources.
constexpr std::array<std::string_view, 7> kFolders = {"/etc/fonts",
                                                      "/usr/share/fonts",
                                                      "/usr/share/fontconfig",
                                                      "/usr/local/share/fonts",
                                                      "/usr/share/ghostscript",
                                                      "/var/lib/ghostscript",
                                                      "/var/cache/fontconfig"};

bool may_be_listed(std::string_view path) {
    return path.find("..") == std::string_view::npos &&
           std::any_of(kFolders.begin(), kFolders.end(), [&](std::string_view folder) {
               return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
           });
}

void* open_library() {
    for (const char* name : {"libgs.so.10", "libgs.so.9"}) {
        if (void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL); library != nullptr) {
            return library;
        }
    }
    return nullptr;
}

int draw(char** arguments) {
    void* library = open_library();
    if (library == nullptr) {
        return static_cast<int>(PostScriptExit::kNoLibrary);
    }
    const auto create = reinterpret_cast<NewInstance>(dlsym(library, "gsapi_new_instance"));
    const auto encode = reinterpret_cast<SetArgumentEncoding>(dlsym(library, "gsapi_set_arg_encoding"));
    const auto run = reinterpret_cast<InitWithArguments>(dlsym(library, "gsapi_init_with_args"));
    const auto end = reinterpret_cast<Exit>(dlsym(library, "gsapi_exit"));
    const auto destroy = reinterpret_cast<DeleteInstance>(dlsym(library, "gsapi_delete_instance"));
    if (create == nullptr || encode == nullptr || run == nullptr || end == nullptr || destroy == nullptr) {
        return static_cast<int>(PostScriptExit::kNoLibrary);
    }
    const std::string size = std::string("-g") + arguments[1] + "x" + arguments[2];
    const std::string resolution = std::string("-r") + arguments[3] + "x" + arguments[4];
    const std::string place = std::string(arguments[5]) + " neg " + arguments[6] + " neg translate";
    const auto bits = [](const char* smooth) { return std::string(smooth) == "1" ? "4" : "1"; };
    std::vector<std::string> texts{"gs",
                                   "-dSAFER",
                                   "-dBATCH",
                                   "-dNOPAUSE",
                                   "-dQUIET",
                                   "-dNOPROMPT",
                                   "-dFIXEDMEDIA",
                                   "-sDEVICE=pngalpha",
                                   "-dMaxBitmap=2147483647",
                                   size,
                                   resolution,
                                   std::string("-dTextAlphaBits=") + bits(arguments[10]),
                                   std::string("-dGraphicsAlphaBits=") + bits(arguments[9]),
                                   "-sstdout=%stderr",
                                   "-sOutputFile=-",
                                   "-c",
                                   place,
                                   "-f",
                                   "-"};
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    void* instance = nullptr;
    if (create(&instance, nullptr) < 0) {
        return static_cast<int>(PostScriptExit::kFailed);
    }
    encode(instance, kUtf8);
    constexpr int kQuit = -101;  // the program ended itself
    const int status = run(instance, static_cast<int>(pointers.size()), pointers.data());
    const int last = end(instance);
    destroy(instance);
    const bool good = (status == 0 || status == kQuit) && (last == 0 || last == kQuit);
    return good ? 0 : static_cast<int>(PostScriptExit::kFailed);
}

}  // namespace

// Stands in for the function of the C library in the libraries of this process.
extern "C" [[gnu::visibility("default")]] DIR* opendir(const char* name) {
    static const auto original = reinterpret_cast<DIR* (*)(const char*)>(dlsym(RTLD_NEXT, "opendir"));
    if (original == nullptr || !may_be_listed(name)) {
        errno = EACCES;
        return nullptr;
    }
    return original(name);
}

int main(int count, char** arguments) {
    if (count != 11) {
        return static_cast<int>(PostScriptExit::kFailed);
    }
    // Programs may use the folder of temporary files even in the safe mode, and this one is not there.
    for (const char* name : {"TMPDIR", "TEMP", "TMP"}) {
        setenv(name, "/nonexistent", 1);
    }
    limit_process(std::atoi(arguments[7]), std::strtoull(arguments[8], nullptr, 10));
    return draw(arguments);
}
