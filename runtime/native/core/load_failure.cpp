// Reasons of failed loads; see load_failure.h.
#include "runtime/native/core/load_failure.h"

#include <dlfcn.h>

#include <fstream>
#include <set>

namespace zelmor::embed {
namespace {

// The file, in the directory of the shared object that this function is part of.
std::ifstream open_list() {
    Dl_info info{};
    std::string path = "./";
    if (dladdr(reinterpret_cast<void*>(&open_list), &info) != 0 && info.dli_fname != nullptr) {
        path = info.dli_fname;
        path.resize(path.rfind('/') + 1);  // nothing is left of a name without a directory
    }
    return std::ifstream(path + kSystemLibraries);
}

}  // namespace

std::string load_failure() {
    const char* found = dlerror();
    if (found == nullptr) {
        return "no reason was given";
    }
    const std::string reason = found;
    // So the dynamic linker says that there is no file of the name.
    const size_t end = reason.find(": cannot open shared object file: No such file");
    return end == std::string::npos || end == 0 ? reason
                                                : reason + packages_to_install(std::string_view(reason).substr(0, end));
}

std::string packages_to_install(std::string_view library) {
    std::ifstream list = open_list();
    std::string owner;
    std::set<std::string> packages;
    for (std::string name, package; list >> name >> package;) {
        if (name == library) {
            owner = package;
        }
        packages.insert(package);
    }
    if (packages.empty() || (owner.empty() && !library.empty())) {
        return {};
    }
    std::string text = owner.empty() ? " (" : " (it is in the Debian package " + owner + "; ";
    text += "all system libraries are installed by: apt-get install";
    for (const std::string& package : packages) {
        text += ' ' + package;
    }
    return text + ')';
}

}  // namespace zelmor::embed
