// Why a shared object of the runtime could not be loaded, in words that help to mend it.
//
// An installation that no package manager has checked, such as that of a wheel, may lack libraries of the system. It
// has a file beside the runtime that names the Debian package of each library, in lines "libvips.so.42 libvips42".
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_LOAD_FAILURE_H
#define ZELMOR_RUNTIME_NATIVE_CORE_LOAD_FAILURE_H

#include <string>
#include <string_view>

namespace zelmor::embed {

// The file, in the directory of the runtime.
constexpr const char* kSystemLibraries = "system_libraries.txt";

// The last failure of dlopen or dlsym in this thread. If a library of the file is missing, the packages to install
// follow in parentheses.
std::string load_failure();

// What to install, in parentheses with a space before them, if `library` or, where it is empty, some library of the
// installation is missing. Empty text if the installation has no such file, or if the file does not name the library.
std::string packages_to_install(std::string_view library);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_LOAD_FAILURE_H
